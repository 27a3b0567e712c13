#include "Uploads.h"

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "DeskJson.h"
#include "DeskOrders.h"

namespace quindal {

namespace {

constexpr std::size_t LongestLine = 300; // of which more is not shown
constexpr std::size_t LongestName = 200;

std::vector<std::string> LinesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, std::min(end - begin, LongestLine));
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(std::move(line));
        begin = end + 1;
    }
    return lines;
}

} // namespace

InputFile UploadedFile(const nlohmann::json& request)
{
    InputFile file{TextField(request, "name"), TextField(request, "text"), {}};
    if (file.name.empty() || file.name.size() > LongestName)
        throw DeskError(DeskMalformed, "the name of a file has 1 to " + std::to_string(LongestName) + " characters");
    return file;
}

nlohmann::ordered_json LinesWithProblems(const InputFile& file, const Problems& problems)
{
    const std::vector<std::string> lines = LinesOf(file.text);
    std::set<std::size_t> shown{1}; // the header
    for (const Problem& problem : problems.Told())
        for (const std::size_t line : {problem.line - 1, problem.line, problem.line + 1})
            if (problem.line > 0) shown.insert(line);
    nlohmann::ordered_json rows = nlohmann::ordered_json::array();
    for (const std::size_t line : shown)
        if (line >= 1 && line <= lines.size()) rows.push_back({{"line", line}, {"text", lines[line - 1]}});
    nlohmann::ordered_json answer = ProblemsJson(problems);
    answer["file"] = file.name;
    answer["lines"] = std::move(rows);
    return answer;
}

} // namespace quindal
