// TraceText: a text that grows at its end, piece by piece. The room of an ordinary line stands in the object, so that
// building one does not touch the heap.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace kv7base {

/// Copies a piece of a text to `at` and returns its end there. Names and numbers are short: two copies of a fixed size
/// that overlap are cheaper than a call.
inline char* PutPiece(char* at, std::string_view piece) noexcept
{
    const char* const from = piece.data();
    const std::size_t size = piece.size();
    const auto putEnds = [&]<std::size_t Width>(std::array<char, Width>) {
        std::memcpy(at, from, Width);
        std::memcpy(at + size - Width, from + size - Width, Width);
    };
    if (size > 32)
        std::memcpy(at, from, size);
    else if (size >= 16)
        putEnds(std::array<char, 16>{});
    else if (size >= 8)
        putEnds(std::array<char, 8>{});
    else if (size >= 4)
        putEnds(std::array<char, 4>{});
    else
        for (std::size_t i = 0; i < size; ++i)
            at[i] = from[i];
    return at + size;
}

template <std::size_t Room>
class TraceText
{
public:
    TraceText() noexcept {} // NOLINT(*-member-init, *-equals-default): the room is filled as the text grows
    TraceText(const TraceText&) = delete;
    TraceText& operator=(const TraceText&) = delete;

    /// Makes the text longer and returns where the new characters, still to be written, begin. Throws std::bad_alloc,
    /// and the text is as it was.
    [[nodiscard]] char* Extend(std::size_t count)
    {
        if (count > m_capacity - m_size) Grow(m_size + count);
        char* const at = m_begin + m_size;
        m_size += count;
        return at;
    }
    void Append(std::string_view piece) { PutPiece(Extend(piece.size()), piece); }
    void Append(char character) { *Extend(1) = character; }
    void Clear() noexcept { m_size = 0; }
    /// Takes characters from the end.
    void DropLast(std::size_t count) noexcept { m_size -= count; }

    [[nodiscard]] std::size_t Size() const noexcept { return m_size; }
    [[nodiscard]] std::string_view View() const noexcept { return {m_begin, m_size}; }

private:
    void Grow(std::size_t needed)
    {
        const std::size_t capacity = std::max(needed, 2 * m_capacity);
        std::unique_ptr<char[]> larger(new char[capacity]);
        std::memcpy(larger.get(), m_begin, m_size);
        m_heap = std::move(larger);
        m_begin = m_heap.get();
        m_capacity = capacity;
    }

    std::array<char, Room> m_room;
    std::unique_ptr<char[]> m_heap;
    char* m_begin = m_room.data();
    std::size_t m_size = 0;
    std::size_t m_capacity = Room;
};

} // namespace kv7base
