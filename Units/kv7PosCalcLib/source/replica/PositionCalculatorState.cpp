// The serialised state. Bytes are put together by hand, so that it is little-endian on every machine, and read by hand,
// so that a block may stand at any address.
#include <stdexcept>
#include <string>

#include "PositionCalculator.h"

namespace {

class Writer
{
public:
    explicit Writer(std::span<std::byte> bytes) noexcept : m_rest(bytes) {}

    void Put(std::uint64_t value, std::size_t size) noexcept
    {
        for (std::size_t i = 0; i < size; ++i)
            m_rest[i] = static_cast<std::byte>(value >> (8 * i));
        m_rest = m_rest.subspan(size);
    }
    void Int32(std::int32_t value) noexcept { Put(static_cast<std::uint32_t>(value), 4); }
    void Int64(std::int64_t value) noexcept { Put(static_cast<std::uint64_t>(value), 8); }
    void Money(t_bsum_int value) noexcept { Int64(value.AsPlain()); }
    void Unused(std::size_t size) noexcept { Put(0, size); }

private:
    std::span<std::byte> m_rest;
};

/// Reads values off a block. The caller makes sure of the length.
class Reader
{
public:
    explicit Reader(std::span<const std::byte> bytes) noexcept : m_rest(bytes) {}

    [[nodiscard]] std::uint64_t Get(std::size_t size) noexcept
    {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value |= std::to_integer<std::uint64_t>(m_rest[i]) << (8 * i);
        m_rest = m_rest.subspan(size);
        return value;
    }
    [[nodiscard]] std::uint32_t Count() noexcept { return static_cast<std::uint32_t>(Get(4)); }
    [[nodiscard]] std::int32_t Int32() noexcept { return static_cast<std::int32_t>(Count()); }
    [[nodiscard]] std::int64_t Int64() noexcept { return static_cast<std::int64_t>(Get(8)); }
    [[nodiscard]] t_bsum_int Money() noexcept { return t_bsum_int::FromPlain(Int64()); }
    void Skip(std::size_t size) noexcept { m_rest = m_rest.subspan(size); }

private:
    std::span<const std::byte> m_rest;
};

void Put(Writer& writer, const SPosition& position) noexcept
{
    writer.Int32(position.isin);
    writer.Unused(4);
    writer.Int64(position.quantity);
    writer.Int64(position.buyQuantityTechnic);
    writer.Int64(position.sellQuantityTechnic);
    writer.Money(position.waprice);
    writer.Money(position.vmClose);
    writer.Money(position.buyVolume);
    writer.Money(position.sellVolume);
    writer.Unused(8); // instr: an address means nothing to another process
    writer.Int64(position.afterLastClearingQuantity);
    writer.Money(position.netOptionValue);
}

SPosition GetPosition(Reader& reader) noexcept
{
    SPosition position;
    position.isin = reader.Int32();
    reader.Skip(4);
    position.quantity = reader.Int64();
    position.buyQuantityTechnic = reader.Int64();
    position.sellQuantityTechnic = reader.Int64();
    position.waprice = reader.Money();
    position.vmClose = reader.Money();
    position.buyVolume = reader.Money();
    position.sellVolume = reader.Money();
    reader.Skip(8);
    position.afterLastClearingQuantity = reader.Int64();
    position.netOptionValue = reader.Money();
    return position;
}

[[noreturn]] void RefuseLength(std::size_t given, std::uint64_t needed)
{
    throw std::runtime_error("Position calculator state: " + std::to_string(given) + " bytes given, " +
                             std::to_string(needed) + " expected");
}

void GetCurrencies(Reader& reader, std::uint32_t count, VMCloseByCurrencies& currencies)
{
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::int32_t currId = reader.Int32();
        reader.Skip(4);
        if (!currencies.try_emplace(currId, reader.Money()).second)
            throw std::runtime_error("Position calculator state: currency " + std::to_string(currId) + " stands twice");
    }
}

constexpr std::size_t SizeOf(std::size_t positions, std::size_t currencies) noexcept
{
    using State = CPositionCalculator::BinaryState;
    return State::HeadSize + positions * State::PositionSize + currencies * State::OneVMCloseByCurrencySize;
}

} // namespace

std::size_t CPositionCalculator::GetRequiredBufferSize() const noexcept
{
    return SizeOf(m_positions.size(), VMCurr.size());
}

void CPositionCalculator::Serialize(std::span<std::byte> buffer) const
{
    if (buffer.size() < GetRequiredBufferSize()) throw std::runtime_error("Not enough buffer");
    // The table has no order that would be the same next time, so positions are sorted.
    const std::vector<SPosition> positions = GetPositionsForDumper();

    Writer writer(buffer);
    writer.Money(VM);
    writer.Money(NetOptionValue);
    writer.Put(positions.size(), 4);
    writer.Put(VMCurr.size(), 4);
    for (const SPosition& position : positions)
        Put(writer, position);
    for (const auto& [currId, vmClose] : VMCurr) {
        writer.Int32(currId);
        writer.Unused(4);
        writer.Money(vmClose);
    }
}

void CPositionCalculator::Deserialize(std::span<const std::byte> bytes)
{
    if (bytes.size() < BinaryState::HeadSize) RefuseLength(bytes.size(), BinaryState::HeadSize);
    Reader reader(bytes);
    CPositionCalculator state(m_instruments);
    state.VM = reader.Money();
    state.NetOptionValue = reader.Money();
    const std::uint32_t numPos = reader.Count();
    const std::uint32_t numVMCurrencies = reader.Count();
    // Counts of 32 bits cannot take the product out of 64.
    if (const std::uint64_t needed = SizeOf(numPos, numVMCurrencies); bytes.size() != needed)
        RefuseLength(bytes.size(), needed);

    std::vector<SPosition> positions;
    positions.reserve(numPos);
    for (std::uint32_t i = 0; i < numPos; ++i)
        positions.push_back(GetPosition(reader));
    GetCurrencies(reader, numVMCurrencies, state.VMCurr);
    state.VMFull = state.VM;
    state.VMCurrFull = state.VMCurr;
    for (const SPosition& position : positions)
        state.RestorePosition(position);

    m_positions.swap(state.m_positions);
    VMCurr.swap(state.VMCurr);
    VMCurrFull.swap(state.VMCurrFull);
    VM = state.VM;
    VMFull = state.VMFull;
    NetOptionValue = state.NetOptionValue;
}

void CPositionCalculator::RestorePosition(const SPosition& position)
{
    InsertPosition(position, false, false);
    const pos::SInstrCLR& instrument = *getPosition(position.isin)->instr;
    if (!pos::IsPremiumStyle(instrument)) return;
    VMFull += position.vmClose;
    AddIfCurrContract(VMCurrFull, m_instruments.getClearingInstrumentBaseContract(position.isin), position.vmClose);
}
