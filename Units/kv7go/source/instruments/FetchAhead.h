// FetchAhead: has the processor fetch the futures of a family before a loop comes to them.
//
// A family of thousands is spread over the memory, its members pages apart. A loop that does little with each of them
// would wait for memory most of the time: for the node, for the futures that it leads to, for the node after it.
#pragma once

#include <cstddef>

#include "instruments/InstrumentsRepository.h"

namespace kv7im {

class FetchAhead
{
public:
    using Family = InstrumentsRepository::Range<StorageFutures, ByBaseContract>;

    /// Fetches the first members of the family, in the order in which a loop visits them.
    explicit FetchAhead(const Family& family) : m_node(family.begin()), m_futures(family.begin()), m_end(family.end())
    {
        for (int i = 0; i < NodesAhead; ++i)
            FetchNode();
        for (int i = 0; i < FuturesAhead; ++i)
            FetchFutures();
    }

    /// To be called once a turn of the loop, before it works on its member.
    void Step()
    {
        FetchNode();
        FetchFutures();
    }

private:
    static constexpr int NodesAhead = 8; // the futures are found through them, so they come earlier
    static constexpr int FuturesAhead = 4;
    static constexpr std::size_t CacheLine = 64;

    template <class Object>
    static void Fetch(const Object& object) noexcept
    {
        const auto* const bytes = reinterpret_cast<const char*>(&object);
        for (std::size_t at = 0; at < sizeof(Object); at += CacheLine)
            __builtin_prefetch(bytes + at);
    }
    void FetchNode()
    {
        if (m_node != m_end) Fetch(*m_node++);
    }
    void FetchFutures()
    {
        if (m_futures != m_end) Fetch(*(m_futures++)->GetCurrent());
    }

    Family::iterator m_node;
    Family::iterator m_futures;
    Family::iterator m_end;
};

} // namespace kv7im
