// ISerializable: an object whose state can be written into a block of bytes and read back from it.
#pragma once

#include <cstddef>
#include <span>

class ISerializable
{
public:
    virtual ~ISerializable() = default;

    /// Bytes that Serialize writes for the present state.
    [[nodiscard]] virtual std::size_t GetRequiredBufferSize() const noexcept = 0;
    /// Writes GetRequiredBufferSize() bytes; bytes behind them stay. A smaller buffer: std::runtime_error, "Not enough
    /// buffer", and nothing is written.
    virtual void Serialize(std::span<std::byte> buffer) const = 0;
    /// Reads the state from exactly these bytes. Throws for wrong bytes; the object stays as it was then.
    virtual void Deserialize(std::span<const std::byte> bytes) = 0;

protected:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;
    ISerializable& operator=(const ISerializable&) = default;
};
