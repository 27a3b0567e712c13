// A serialised state of a position calculator out of any bytes. One that is taken is written as bytes of the same
// length, which read as the same state; one that is refused leaves the calculator alone. What was taken, sums that no
// deal could make included, then bears any deal: it is booked, or refused and nothing has changed.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <span>
#include <vector>

#include "PositionCalculator.h"
#include "Require.h"

namespace {

constexpr Isin PremiumStyle = 3; // isins 1 and 2 are futures

void InsertInstruments(pos::PositionCalculatorInstruments& instruments)
{
    instruments.InsertBaseContract(1, true, 840);
    for (const Isin isin : {1, 2})
        instruments.InsertFutures(isin == 1 ? "A" : "B", isin, 1, 0.01, 0.065, t_bprice(10), 1,
                                  Enums::InstrumentStatus::None, 1);
    instruments.InsertVirtFutures("S", "A", Enums::MarginStyle::Equity, 0.01, 0.065);
    instruments.InsertOption("O", "S", PremiumStyle, Enums::OptionType::Put, t_bprice(2.5));
}

std::vector<std::byte> StateOf(const CPositionCalculator& calculator)
{
    std::vector<std::byte> bytes(calculator.GetRequiredBufferSize());
    calculator.Serialize(bytes);
    return bytes;
}

/// False when it was refused.
bool Read(CPositionCalculator& calculator, std::span<const std::byte> bytes)
{
    const std::vector<std::byte> before = StateOf(calculator);
    try {
        calculator.Deserialize(bytes);
        return true;
    } catch (const std::exception&) {
        Require(StateOf(calculator) == before, "a refused state leaves the calculator alone");
        return false;
    }
}

void Deal(CPositionCalculator& calculator, Isin isin, std::int64_t price, std::int64_t quantity, bool reverse)
{
    const std::vector<std::byte> before = StateOf(calculator);
    pos::SPosTradesVector trades;
    try {
        calculator.ProcessTradeCLR(isin, t_bprice_int::FromPlain(price), quantity, trades, nullptr, reverse, true);
    } catch (const std::exception&) {
        Require(StateOf(calculator) == before, "a refused deal changes nothing");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // The deal stands in front: price and quantity.
    std::int64_t price = 0;
    std::int64_t quantity = 0;
    if (size < 16) return 0;
    std::memcpy(&price, data, 8);
    std::memcpy(&quantity, data + 8, 8);
    const auto bytes = std::as_bytes(std::span(data, size)).subspan(16);

    pos::PositionCalculatorInstruments instruments;
    InsertInstruments(instruments);
    CPositionCalculator calculator(instruments);
    if (!Read(calculator, bytes)) return 0;

    const std::vector<std::byte> written = StateOf(calculator);
    Require(written.size() == bytes.size(), "a state that was taken is written in the same length");
    CPositionCalculator again(instruments);
    Require(Read(again, written), "what was written is taken");
    Require(StateOf(again) == written, "and reads as the same state");

    for (const Isin isin : {1, 2, 3})
        for (const bool reverse : {false, true})
            Deal(calculator, isin, price, quantity, reverse);
    const std::vector<std::byte> dealt = StateOf(calculator);
    try {
        calculator.refreshAllPositions();
    } catch (const std::exception&) {
        Require(StateOf(calculator) == dealt, "a refused clearing changes nothing");
    }
    return 0;
}
