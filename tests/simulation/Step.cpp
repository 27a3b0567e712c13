#include "Step.h"

#include <array>

namespace simulation {

const char* NameOf(Kind kind)
{
    static constexpr std::array<const char*, Kinds> names = {
        "SetPosition",    "SetFirmPosition", "SetAccountPosition", "PlaceOrder",   "CancelOrder",  "ExecuteOrder",
        "WhatIfPosition", "WhatIfOrder",     "ChangePart",         "ChangeRatio",  "ReadFigures",  "ReadInstruments",
        "Refuse",         "InsertOptions",   "InsertFutures",      "ChangeMarket", "CommitMarket", "JumpClock",
        "LoseLink",       "Restart",         "ClearParts",         "NewMarket",    "NewLife",      "WildPosition"};
    static_assert(names.back() != nullptr, "every kind has a name");
    return names[static_cast<std::size_t>(kind)];
}

std::string TextOf(const Step& step)
{
    std::string text = NameOf(step.kind);
    const auto add = [&](const char* name, std::int64_t value) {
        text += std::string(" ") + name + "=" + std::to_string(value);
    };
    add("who", step.who);
    add("what", step.what);
    add("price", step.price);
    add("quantity", step.quantity);
    add("seed", step.seed);
    if (step.memory != Step::Plenty) add(step.failsOnce ? "one-failure-after" : "memory-ends-after", step.memory);
    if (step.otherThread) text += " on the other thread";
    return text;
}

} // namespace simulation
