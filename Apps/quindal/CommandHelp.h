// Common parts of the words of the command line: how help looks, options that take a word, names of users.
#pragma once

#include <map>
#include <string>

#include <CLI/CLI.hpp>

namespace quindal {

/// Adds a word to the command line: its name, its purpose and examples that stand behind its options, each a line that
/// can be run; the exit statuses follow them.
[[nodiscard]] CLI::App* AddWord(CLI::App& app, const std::string& name, const std::string& purpose,
                                const std::string& examples);

/// The last lines of every help: what the exit statuses mean.
[[nodiscard]] std::string ExitStatuses();

/// Layout of help: "--users FILE (required)", defaults behind the text.
class HelpFormatter : public CLI::Formatter
{
public:
    HelpFormatter() { column_width(34); }
    [[nodiscard]] std::string make_usage(const CLI::App* app, std::string name) const override;
    [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override;
    [[nodiscard]] std::string make_option_desc(const CLI::Option* option) const override;
};

/// Accepts a user's name at the router: letters, digits, "_" and "-".
[[nodiscard]] CLI::Validator UserName();

/// An option whose value is one of some words, taken in any case; shown as "csv|json|table".
template <class Value>
CLI::Option* Choice(CLI::App& app, const std::string& name, Value& value, const std::map<std::string, Value>& words,
                    const std::string& purpose)
{
    std::string known;
    for (const auto& [word, meaning] : words)
        known += (known.empty() ? "" : "|") + word;
    const auto take = [&value, name, words, known](const std::string& text) {
        const auto found = words.find(CLI::detail::to_lower(text));
        if (found == words.end()) throw CLI::ValidationError(name, "\"" + text + "\" is none of " + known);
        value = found->second;
    };
    return app.add_option_function<std::string>(name, take, purpose)->type_name(known);
}

} // namespace quindal
