// Roof: the time that the bare movement of a change's bytes takes, which nothing that changes the margin can go below:
// aligned 32-byte loads and stores alone, over the blocks of the grid, within 24 KB, so that all of it stays in the
// first cache.
//
// Counts of a block of four price points under five scenarios. A vector that changes is read and written; the
// instrument is read only.
//
//   futures      reads 3 of the instrument: price and both rate stresses
//                changes 13: the value and both rates of the futures, which has one value under all scenarios; five
//                values and both rates of its base contract; the collapsed row, and the two rows of the group above
//   option       reads 6 of its grid: five values and one rate stress
//     alone      changes 8: five values and both rates of the series, whose mismatch is two numbers; the collapsed row
//     in spread  changes 28: five values, both rates and both mismatches of the series, of its futures and of the base
//                contract; the collapsed row
//     losses     changes 30: the nine of the series; the nine that the futures holds of it, kept to be taken out
//                again; five values of the futures and five of the base contract; the collapsed rows of either side
#pragma once

#include <cstddef>
#include <vector>

#include "grids/RiskItem.h"

namespace bench {

inline constexpr std::size_t RoofBlocks = 41; // of 161 price points

class Roof
{
public:
    Roof() : m_set(24 * 1024 / sizeof(kv7im::RiskItem)) {}

    /// Moves what a change of the grid needs: Reads vectors that stay and Changes that are read and written, a block.
    template <std::size_t Reads, std::size_t Changes>
    void Move() noexcept
    {
        std::size_t at = 0;
        for (std::size_t block = 0; block < RoofBlocks; ++block, at += Reads + Changes) {
            if (at + Reads + Changes > m_set.size()) at = 0;
            MoveBlock<Reads + Changes, Changes>(m_set.data() + at);
        }
    }

private:
    // In assembler, so that each of them happens, and nothing beside them.
    template <std::size_t Loads, std::size_t Stores>
    static void MoveBlock(kv7im::RiskItem* cells) noexcept
    {
        __m256d lanes[4]; // four at a time: the loads wait for nobody
#pragma GCC unroll 64
        for (std::size_t i = 0; i < Loads; ++i)
            asm volatile("vmovapd %1, %0" : "=x"(lanes[i % 4]) : "m"(cells[i]));
#pragma GCC unroll 64
        for (std::size_t i = 0; i < Stores; ++i)
            asm volatile("vmovapd %1, %0" : "=m"(cells[i]) : "x"(lanes[i % 4]));
    }

    std::vector<kv7im::RiskItem> m_set;
};

} // namespace bench
