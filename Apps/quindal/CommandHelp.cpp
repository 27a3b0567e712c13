#include "CommandHelp.h"

#include "UserNames.h"

namespace quindal {

CLI::App* AddWord(CLI::App& app, const std::string& name, const std::string& purpose, const std::string& examples)
{
    CLI::App* const word = app.add_subcommand(name, purpose);
    word->group("Commands");
    word->footer("Examples:\n" + examples + "\n" + ExitStatuses());
    return word;
}

std::string ExitStatuses()
{
    return "Exit statuses: 0 good; 1 an input was refused; 2 wrong usage; 3 router, login, server or a time-out;\n"
           "4 internal; 5 figures that do not hold: a limit is exceeded, or the clearing has another figure.\n"
           "A signal ends the run as that signal.";
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string name) const
{
    const bool isOutermost = app->get_parent() == nullptr;
    return "\nUsage: " + (isOutermost ? name + " COMMAND [OPTION]...\n" : name + " [OPTION]...\n");
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const
{
    if (option->get_type_size() == 0) return {}; // a flag
    return " " + option->get_type_name() + (option->get_required() ? " (required)" : "");
}

std::string HelpFormatter::make_option_desc(const CLI::Option* option) const
{
    const std::string& byDefault = option->get_default_str();
    return option->get_description() + (byDefault.empty() ? "" : " [" + byDefault + "]");
}

CLI::Validator UserName()
{
    const auto fault = [](const std::string& name) { return IsUserName(name) ? std::string() : NotAUserName(name); };
    return {fault, "", "user name"};
}

} // namespace quindal
