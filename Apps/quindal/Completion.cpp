#include "Completion.h"

#include <algorithm>
#include <iostream>
#include <vector>

#include "CommandHelp.h"
#include "Errors.h"

namespace quindal {

namespace {

constexpr const char* Begin = R"(# Completion of bash for quindal, printed by `quindal completion`.
_quindal()
{
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} command='' words='' at
    for ((at = 1; at < COMP_CWORD; ++at)); do
        if [[ ${COMP_WORDS[at]} != -* ]]; then
            command=${COMP_WORDS[at]}
            break
        fi
    done
    COMPREPLY=()
    case $command in
)";

constexpr const char* End = R"(    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -F _quindal quindal
)";

std::string Joined(const std::vector<std::string>& words, const std::string& separator)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

/// "--help" and "-h" for one option that has both.
void AddNames(const CLI::Option& option, std::vector<std::string>& names)
{
    for (const std::string& name : option.get_snames())
        names.push_back("-" + name);
    for (const std::string& name : option.get_lnames())
        names.push_back("--" + name);
}

std::vector<std::string> AllNames(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* const option : command.get_options())
        AddNames(*option, names);
    return names;
}

/// What stands behind an option that takes a value: a branch that completes the value and returns.
std::string ValueBranch(const CLI::Option& option)
{
    std::vector<std::string> names;
    AddNames(option, names);
    std::string action; // none: a value that only the user knows
    std::string values = option.get_type_name();
    if (values == "FILE") action = "compopt -o default; ";
    if (values.find('|') != std::string::npos) {
        std::replace(values.begin(), values.end(), '|', ' ');
        action = "mapfile -t COMPREPLY < <(compgen -W '" + values + "' -- \"$word\"); ";
    }
    return "        " + Joined(names, " | ") + ") " + action + "return ;;\n";
}

std::string CommandBranch(const CLI::App& command)
{
    std::string values;
    for (const CLI::Option* const option : command.get_options())
        if (option->get_expected_max() != 0) values += ValueBranch(*option);
    if (!values.empty()) values = "        case $before in\n" + values + "        esac\n";
    return "    " + command.get_name() + ")\n" + values + "        words='" + Joined(AllNames(command), " ") +
           "'\n        ;;\n";
}

} // namespace

std::string BashCompletion(const CLI::App& app)
{
    std::vector<std::string> words;
    std::string branches;
    for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_group().empty()) continue; // hidden
        words.push_back(command->get_name());
        branches += CommandBranch(*command);
    }
    for (const std::string& name : AllNames(app))
        words.push_back(name);
    return Begin + branches + "    '') words='" + Joined(words, " ") + "' ;;\n" + End;
}

Command AddCompletion(CLI::App& app)
{
    CLI::App* const word = app.add_subcommand("completion", "Print a script that completes the command line in bash");
    word->group("");
    return {word, [&app] {
                std::cout << BashCompletion(app);
                return StatusGood;
            }};
}

} // namespace quindal
