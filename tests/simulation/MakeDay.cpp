// The generator of days.
#include <iterator>

#include "Draw.h"
#include "Step.h"

namespace simulation {

namespace {

using replay::Draw;

/// How often a kind comes, of all shares together.
struct Share
{
    Kind kind;
    int share;
};
constexpr Share Shares[] = {
    {Kind::SetPosition, 230},   {Kind::SetFirmPosition, 30}, {Kind::SetAccountPosition, 20},
    {Kind::PlaceOrder, 200},    {Kind::CancelOrder, 140},    {Kind::ExecuteOrder, 90},
    {Kind::WhatIfPosition, 40}, {Kind::WhatIfOrder, 40},     {Kind::ChangePart, 50},
    {Kind::ChangeRatio, 15},    {Kind::ReadFigures, 20},     {Kind::ReadInstruments, 4},
    {Kind::Refuse, 25},         {Kind::InsertOptions, 10},   {Kind::InsertFutures, 8},
    {Kind::ChangeMarket, 10},   {Kind::CommitMarket, 12},    {Kind::JumpClock, 20},
    {Kind::LoseLink, 4},        {Kind::Restart, 4},          {Kind::ClearParts, 4},
    {Kind::NewMarket, 2},       {Kind::NewLife, 2},          {Kind::WildPosition, 10},
};
static_assert(std::size(Shares) == Kinds);

Kind AnyKind(Draw& draw, const Habits& habits)
{
    int sum = 0;
    for (const Share& share : Shares)
        sum += share.share;
    for (;;) {
        int left = draw.Whole(1, sum);
        const Share* share = Shares;
        while (left > share->share)
            left -= share++->share;
        if (share->kind != Kind::WildPosition || habits.wildNumbers) return share->kind;
    }
}

std::int64_t AnyQuantity(Draw& draw)
{
    if (draw.OnceIn(8)) return 0;
    return draw.Whole(-500, 500);
}

std::uint32_t Any(Draw& draw) { return static_cast<std::uint32_t>(draw.Whole(0, 1'000'000)); }

Step AnyStep(Draw& draw, const Habits& habits, bool twoThreads, bool memoryFails)
{
    Step step;
    step.kind = AnyKind(draw, habits);
    step.who = Any(draw);
    step.what = Any(draw);
    step.price = draw.Whole(-16, 16);
    step.quantity = AnyQuantity(draw);
    step.seed = Any(draw);
    const bool fails = draw.OnceIn(3);
    const int memory = draw.OnceIn(3) ? draw.Whole(0, 60) : draw.Whole(0, 12);
    if (memoryFails && fails) step.memory = memory;
    step.failsOnce = draw.OnceIn(2);
    step.otherThread = draw.OnceIn(2) && twoThreads;
    return step;
}

} // namespace

Day MakeDay(std::uint64_t seed, const Habits& habits)
{
    Draw draw(seed);
    Day day{seed, habits};
    day.twoThreads = draw.OnceIn(4);
    day.wideGrids = draw.OnceIn(40);
    day.traced = draw.OnceIn(10);
    const bool memoryFails = draw.OnceIn(2) && (habits.failuresUnderNetting || habits.failuresUnderLosses);
    const int length = draw.OnceIn(3) ? draw.Whole(300, 900) : draw.Whole(20, 300);
    for (int i = 0; i < length; ++i)
        day.steps.push_back(AnyStep(draw, habits, day.twoThreads, memoryFails));
    return day;
}

} // namespace simulation
