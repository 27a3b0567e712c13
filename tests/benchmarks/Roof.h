// Roof: the time that the bare movement of a change's bytes takes, which nothing that changes the margin can go below:
// aligned 32-byte loads and stores alone, over the blocks of the grid, within 24 KB, so that all of it stays in the
// first cache.
//
// Counts of a block of four price points under five scenarios:
//
//                      loads  stores
//   futures               16      13   price and both rate stresses of the instrument; read and written: value and both
//                                      rates of the futures, which has one value under all scenarios, five values and
//                                      both rates of its base contract, its collapsed row, two rows of the group above
//   option alone          12       8   five values and one rate stress of its grid; read and written: five values and a
//                                      rate row of the series, whose mismatch is two numbers; the collapsed row of
//                                      either side is written
//   option in spread      34      28   six of the grid; read and written: the nine of the series (five values, both
//                                      rates, both mismatches), of its futures and of the contract; the collapsed row
//   option, losses only   36      30   six of the grid; read and written: the nine of the series, the nine that the
//                                      futures holds of it, five values of the futures and of the contract; the
//                                      collapsed row of either side
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

    /// Moves what a change of the whole grid needs, with so many vectors read and written a block.
    template <std::size_t Loads, std::size_t Stores>
    void Move() noexcept
    {
        static_assert(Stores <= Loads);
        std::size_t at = 0;
        for (std::size_t block = 0; block < RoofBlocks; ++block, at += Loads) {
            if (at + Loads > m_set.size()) at = 0;
            MoveBlock<Loads, Stores>(m_set.data() + at);
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
