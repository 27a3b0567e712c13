#include "Problems.h"

#include <algorithm>
#include <utility>

#include "Printable.h"

namespace quindal {

namespace {

/// The value, shortened to fit a line of a message.
std::string Shortened(const std::string& value)
{
    constexpr std::size_t most = 80;
    return value.size() <= most ? Printable(value) : Printable(value.substr(0, most)) + "...";
}

} // namespace

std::string Problem::Text() const
{
    std::string text = Printable(file);
    if (line != 0) text += ':' + std::to_string(line);
    text += ": ";
    if (!column.empty()) text += "column \"" + column + (value ? "\": " : "\" ");
    if (value) text += '"' + Shortened(*value) + "\" ";
    return text + reason;
}

void Problems::Add(Problem problem)
{
    if (!IsFull()) m_told.push_back(std::move(problem));
    ++m_count;
}

std::vector<Problem> Problems::Told() const
{
    std::vector<std::string> files;
    for (const Problem& problem : m_told)
        if (std::find(files.begin(), files.end(), problem.file) == files.end()) files.push_back(problem.file);
    const auto place = [&files](const Problem& problem) {
        return std::pair(std::find(files.begin(), files.end(), problem.file), problem.line);
    };
    std::vector<Problem> sorted = m_told;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](const Problem& a, const Problem& b) { return place(a) < place(b); });
    return sorted;
}

void Problems::ThrowIfAny() const
{
    if (IsEmpty()) return;
    std::string text;
    for (const Problem& problem : Told())
        text += (text.empty() ? "" : "\n") + problem.Text();
    if (m_count > m_told.size()) text += "\nand " + std::to_string(m_count - m_told.size()) + " more";
    throw InputError(text);
}

} // namespace quindal
