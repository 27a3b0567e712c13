// GridMemory: where the values of options stand.
//
// Why:          a market of 40,000 options has 200,000 grids of 8 KB each. Taken one by one from the general heap, half
//               the time of valuing them goes into the first touch of their small pages. Here they stand close
//               together, in regions that the system gives in one huge page each.
// Shape:        a region is filled from its start. A block that comes back waits on the list of its size and is handed
//               out again; a region whose blocks have all come back goes to the system, unless it is the one in
//               filling. The first region takes pages as it fills, so that a host of few options pays for those alone.
// Always true:  a block is aligned to RiskItem. A block may be taken on one thread and returned on another.
//               All of it may be used at any moment of the life of the process: singletons hold options to the end.
#pragma once

#include <cstddef>

namespace kv7im {

class GridMemory
{
public:
    static constexpr std::size_t RegionBytes = std::size_t{2} << 20;   // a huge page
    static constexpr std::size_t LargestBlock = std::size_t{32} << 10; // what is larger comes from the general heap

    GridMemory() = delete;

    /// Memory with undefined content. Throws std::bad_alloc.
    [[nodiscard]] static void* Take(std::size_t bytes);
    /// Takes back what Take gave for so many bytes.
    static void Return(void* block, std::size_t bytes) noexcept;

    /// Regions that the system has given and not got back.
    [[nodiscard]] static std::size_t RegionsCount();
};

} // namespace kv7im
