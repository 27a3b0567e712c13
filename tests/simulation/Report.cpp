#include "Report.h"

#include <cstdio>
#include <vector>

#include "Shrinker.h"

namespace simulation {

namespace {

/// What a step may become that is plainer.
std::vector<Step> Plainer(const Step& step)
{
    std::vector<Step> plainer;
    const auto offer = [&](const auto& change) { change(plainer.emplace_back(step)); };
    offer([](Step& s) { s.memory = Step::Plenty; });
    offer([](Step& s) { s.otherThread = false; });
    offer([](Step& s) { s.quantity = s.quantity < 0 ? -1 : 1; });
    return plainer;
}

std::string Lines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

} // namespace

std::string CommandFor(const Day& day)
{
    std::string command = "simulate --days 1 --seed " + std::to_string(day.seed);
    if (!day.habits.failuresUnderLosses)
        command += day.habits.failuresUnderNetting ? " --failures netting" : " --failures none";
    if (day.habits.wildNumbers) command += " --wild";
    if (day.habits.spreadOrdersWhileOpen) command += " --spread-orders";
    return command;
}

Day ShrunkDay(const Day& day, const Finding& finding, const Distortion& distortion)
{
    Day shrunk = day;
    if (finding.step + 1 < shrunk.steps.size()) shrunk.steps.resize(finding.step + 1);
    const auto fails = [&](const std::vector<Step>& steps) {
        Tally ignored;
        Day candidate = day;
        candidate.steps = steps;
        return Play(candidate, ignored, distortion).has_value();
    };
    shrunk.steps = Shrunk(shrunk.steps, fails);
    shrunk.steps = Simplified(shrunk.steps, Plainer, fails);
    return shrunk;
}

std::string Shrink(const Day& day, const Finding& finding, const Distortion& distortion)
{
    std::string text = "\nThe day of seed " + std::to_string(day.seed) + ", step " + std::to_string(finding.step + 1) +
                       " of " + std::to_string(day.steps.size()) + ":\n" + finding.text + "\n\nTo repeat it:\n    " +
                       CommandFor(day) + "\n\n";
    const Day shrunk = ShrunkDay(day, finding, distortion);
    Tally ignored;
    std::vector<std::string> story;
    const std::optional<Finding> found = Play(shrunk, ignored, distortion, story);
    text += "What is left of it when nothing more can be left out";
    if (!found) return text + " does not fail every time.\n";
    return text + ":\n" + Lines(story) + found->text + "\n";
}

std::string StoryOf(const Day& day)
{
    Tally ignored;
    std::vector<std::string> story;
    static_cast<void>(Play(day, ignored, {}, story));
    return "The day of seed " + std::to_string(day.seed) + ":\n" + Lines(story);
}

std::string TextOf(const Tally& tally, std::uint64_t days)
{
    std::string text;
    const auto add = [&text](const char* name, std::uint64_t count) {
        char line[80];
        std::snprintf(line, sizeof line, "%-20s %12llu\n", name, static_cast<unsigned long long>(count));
        text += line;
    };
    for (std::size_t kind = 0; kind < Kinds; ++kind)
        if (tally.steps[kind] != 0) add(NameOf(static_cast<Kind>(kind)), tally.steps[kind]);
    add("All steps", tally.Steps());
    add("Days", days);
    add("Failed for memory", tally.failures);
    add("Figures compared", tally.comparisons);
    return text;
}

} // namespace simulation
