// ISerializable: an object whose state goes into a block of bytes and comes back from it.
#pragma once

#include <cstddef>
#include <span>

class ISerializable
{
public:
    virtual ~ISerializable() = default;

    /// Bytes that Serialize writes for the present state.
    [[nodiscard]] virtual std::size_t GetRequiredBufferSize() const noexcept = 0;
    /// Writes GetRequiredBufferSize() bytes; what is behind them stays. A smaller buffer: std::runtime_error, "Not
    /// enough buffer", and nothing is written.
    virtual void Serialize(std::span<std::byte> buffer) const = 0;
    /// Takes the state of exactly these bytes. What is wrong with them is thrown, and the object stays as it was.
    virtual void Deserialize(std::span<const std::byte> bytes) = 0;

protected:
    ISerializable() = default;
    ISerializable(const ISerializable&) = default;
    ISerializable& operator=(const ISerializable&) = default;
};
