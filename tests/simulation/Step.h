// Step: one thing that happens on a simulated day, as plain data.
//
// A step names nothing by its code: `who` and `what` are taken modulo what stands when it is played, so it means
// something whatever steps before it were left out. A step that finds nothing to act upon does nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace simulation {

enum class Kind : std::uint8_t
{
    SetPosition,        // of a client
    SetFirmPosition,    // by a record of the firm's own
    SetAccountPosition, // by a record of the account's own
    PlaceOrder,
    CancelOrder,  // all of an open order, or a part
    ExecuteOrder, // an open order goes, a position comes; a calendar spread leaves one in each leg
    WhatIfPosition,
    WhatIfOrder,
    ChangePart,
    ChangeRatio, // of a client's GO, from the inside
    ReadFigures,
    ReadInstruments,
    Refuse,        // calls that must change nothing
    InsertOptions, // an option of a series, or a series with an option
    InsertFutures,
    ChangeMarket, // a transaction of the inside is opened, or goes on
    CommitMarket,
    JumpClock,
    LoseLink, // until the library is started anew
    Restart,
    ClearParts,
    NewMarket, // ClearAll and another market, inserted or downloaded
    NewLife,   // of the calculator: destroyed, the library stopped and started
    WildPosition,
    Count
};
inline constexpr std::size_t Kinds = static_cast<std::size_t>(Kind::Count);
[[nodiscard]] const char* NameOf(Kind kind);

struct Step
{
    static constexpr int Plenty = -1;

    Kind kind = Kind::ReadFigures;
    std::uint32_t who = 0;
    std::uint32_t what = 0;
    std::int32_t price = 0; // steps off the instrument's own
    std::int64_t quantity = 0;
    std::uint32_t seed = 0;   // of what the step draws, or its further choices
    int memory = Plenty;      // allocations that the first call has before one fails
    bool failsOnce = true;    // otherwise all that follow within the call fail as well
    bool otherThread = false; // whose turn it is, where two share the day

    friend bool operator==(const Step&, const Step&) = default;
};
[[nodiscard]] std::string TextOf(const Step& step);

/// What may happen on a day at all.
struct Habits
{
    bool failuresUnderNetting = true; // allocations fail where all levels above live by records of their own
    bool failuresUnderLosses = true;  // and where a level sums losses or the GO of its firms
    bool wildNumbers = false;         // prices that are no number, quantities beyond all measure
    // Orders in calendar spreads come and go while changes of instruments are not committed. The spread property of a
    // multileg changes at once, so an order that stood before leaves something when it goes then.
    bool spreadOrdersWhileOpen = false;
};

/// A day: the seed that it was drawn with, and what happens.
struct Day
{
    std::uint64_t seed = 0;
    Habits habits = {};
    bool twoThreads = false;
    bool wideGrids = false; // as many price points as markets have; most days have a few
    bool traced = false;    // the library writes its trace log
    std::vector<Step> steps = {};
};

/// The day of a seed; equal on every machine.
[[nodiscard]] Day MakeDay(std::uint64_t seed, const Habits& habits = {});

} // namespace simulation
