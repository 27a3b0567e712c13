// The words of the command line, and what is said of those that it does not know.
#include <nats/nats.h>

#include "CommandLine.h"

namespace test::UsageTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

std::vector<std::string> Quindal(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), QUINDAL_COMMAND);
    return arguments;
}

TEST(Usage, WrongWordsAreToldInOneLineAndEndWithStatusTwo)
{
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"margn"}, "unknown command \"margn\": did you mean \"margin\"?"},
        {{"frobnicate"}, "unknown command \"frobnicate\""},
        {{"mar\x1B[31mgin"}, "unknown command \"mar\\x1B[31mgin\""},
        {{"serv", "--help"}, "unknown command \"serv\": did you mean \"serve\"?"},
        {{"--frobnicate"}, "--frobnicate"},
        {{"margin", "--formt", "csv"}, "unknown option \"--formt\": did you mean \"--format\"?"},
        {{"margin", "--accounts", "a", "--positions", "b"}, "--ini or --instruments is required"},
        {{"margin", "--format", "1"}, "--format: \"1\" is none of csv|json|table"},
        {{"margin", "--format", "xml"}, "--format: \"xml\" is none of csv|json|table"},
        {{"explain", "--format", "xml"}, "--format: \"xml\" is none of csv|json|table"},
        {{"margin", "--currency", "eur"}, "--currency: \"eur\": a currency's code is three capital letters"},
        {{"explain", "--currency", "EURO"}, "--currency: \"EURO\": a currency's code is three capital letters"},
        {{"explain", "--top", "0"}, "--top: \"0\": a whole number from 1 to 1000000"},
        {{"explain", "--client", "A", "--firm", "B"}, "--client excludes --firm"},
        {{"explain", "--client", "A", "--accounts", "a", "--positions", "b", "--compare", "c", "--svg", "d"},
         "--compare excludes --svg"},
        {{"check", "--accounts", "a", "--provenance"}, "--provenance requires --instruments"},
        {{"margin", "--user", "a b"}, "--user: \"a b\": a user's name consists of letters"},
        {{"margin", "--user", "a\"; b"}, "a user's name consists of letters"},
        {{"margin", "--user", "kv7go_srv", "--instruments", Example("market.xml"), "--accounts",
          Example("accounts.csv"), "--positions", Example("positions.csv")},
         "--user: \"kv7go_srv\" is the server itself"},
        {{"serve", "--server-user", "a b"}, "--server-user: \"a b\": a user's name consists of letters"},
        {{"serve", "--port", "0"}, "--port: "},
        {{"serve", "--port", "65536"}, "--port: "},
        {{"serve", "--router-timeout", "nan"}, "--router-timeout: "},
        {{"serve", "--instruments", "m", "--users", "u", "--port", "1", "--router-port", "2"},
         "--port excludes --router-port"},
        {{"fetch", "--ini", "i", "--user", "u"}, "--out is required"},
    };
    for (const auto& [arguments, text] : cases) {
        const Finished finished = RunToEnd(Quindal(arguments));
        EXPECT_EQ(finished.status, 2) << text;
        EXPECT_THAT(finished.out, IsEmpty());
        EXPECT_THAT(finished.errors, AllOf(StartsWith("quindal: "), HasSubstr(text), Not(HasSubstr("\x1B"))));
        const std::vector<std::string> lines = Split(finished.errors, "\n");
        ASSERT_EQ(lines.size(), 3U) << finished.errors;
        EXPECT_EQ(lines[1], "Run with --help for what there is.");
    }
}

TEST(Usage, WithoutAWordItShowsWhatThereIs)
{
    const Finished finished = RunToEnd(Quindal({}));
    EXPECT_EQ(finished.status, 2);
    EXPECT_THAT(finished.out, IsEmpty());
    const Finished help = RunToEnd(Quindal({"--help"}));
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(finished.errors, help.out);
    EXPECT_THAT(help.errors, IsEmpty());
}

// The first line is the program's; one line a part follows, the library as its export tells it.
TEST(Usage, TheVersionNamesTheProgramAndItsParts)
{
    const Finished finished = RunToEnd(Quindal({"--version"}));
    EXPECT_EQ(finished.status, 0);
    EXPECT_THAT(finished.errors, IsEmpty());
    EXPECT_THAT(Split(finished.out, "\n"),
                ElementsAre(MatchesRegex("quindal [0-9]+[.][0-9]+[.][0-9]+"),
                            MatchesRegex("libQuindalIM_Client: [0-9]+[.][0-9]+[.][0-9]+[.][0-9]+"),
                            MatchesRegex("libZ9Sys: [0-9.]+"), "libnats: " + std::string(nats_GetVersion()),
                            MatchesRegex("snappy: 1[.][0-9]+[.][0-9]+"), MatchesRegex("pugixml: 1[.][0-9.]+"),
                            MatchesRegex("Boost: 1[.][0-9]+[.][0-9]+"), "instructions: x86-64-v3 (AVX2)",
                            MatchesRegex("compiler: (gcc|clang) [0-9]+[.].+"), ""));
}

TEST(Usage, EachHelpHasExamplesAndTheExitStatusesAndNothingOfTheParser)
{
    std::vector<std::vector<std::string>> words{{"--help"}};
    for (const char* word : {"margin", "explain", "what-if", "reconcile", "fetch", "serve", "status"}) {
        EXPECT_THAT(RunToEnd(Quindal({"--help"})).out, HasSubstr(std::string("\n  ") + word + ' '));
        words.push_back({word, "--help"});
    }
    for (const std::vector<std::string>& arguments : words) {
        const Finished help = RunToEnd(Quindal(arguments));
        EXPECT_EQ(help.status, 0);
        EXPECT_THAT(help.out,
                    AllOf(HasSubstr("Usage: quindal "), HasSubstr("\nExamples"),
                          HasSubstr("Exit statuses: 0 good; 1 an input was refused; 2 wrong usage; 3 router")));
        for (const char* leftover : {"ENUM", "{", "TEXT", "INT", "REQUIRED", "Excludes", "Needs", "OPTIONS"})
            EXPECT_THAT(help.out, Not(HasSubstr(leftover))) << arguments.front();
    }
    EXPECT_THAT(RunToEnd(Quindal({"margin", "--help"})).out, HasSubstr("--format csv|json|table"));
}

/// What bash offers behind "quindal" and some words, the last of which is being written.
std::vector<std::string> Completed(const std::string& words)
{
    const std::string script = "source <(\"$0\" completion); COMP_WORDS=(quindal " + words +
                               "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _quindal; printf '%s\\n' \"${COMPREPLY[@]}\"";
    const Finished finished = RunToEnd({"/bin/bash", "-c", script, QUINDAL_COMMAND});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    std::vector<std::string> offered = Split(finished.out, "\n");
    offered.pop_back();
    return offered;
}

/// Words of a help text that begin a line of its lists: commands, or names of options with those that follow a comma.
std::vector<std::string> ListedIn(const std::string& help)
{
    std::vector<std::string> listed;
    std::istringstream lines(help);
    std::string line;
    for (bool isList = false; std::getline(lines, line);) {
        if (line.ends_with(':')) isList = line == "Commands:" || line == "Options:";
        if (!isList || !line.starts_with("  ") || line[2] == ' ') continue;
        std::istringstream names(line.substr(0, line.find("  ", 2)));
        for (std::string name; std::getline(names, name, ',');)
            listed.push_back(Split(name.substr(name.find_first_not_of(' ')), " ").front());
    }
    return listed;
}

TEST(Usage, BashCompletesEveryCommandAndEveryOptionThatHelpLists)
{
    const std::vector<std::string> commands = ListedIn(RunToEnd(Quindal({"--help"})).out);
    EXPECT_THAT(commands, IsSupersetOf({"margin", "serve", "status", "--version", "-h", "--help"}));
    EXPECT_THAT(Completed("''"), UnorderedElementsAreArray(commands));
    for (const std::string& command : commands) {
        if (command.starts_with('-')) continue;
        const std::vector<std::string> options = ListedIn(RunToEnd(Quindal({command, "--help"})).out);
        EXPECT_THAT(options, IsSupersetOf({"-h", "--help"})) << command;
        EXPECT_THAT(Completed(command + " ''"), UnorderedElementsAreArray(options)) << command;
    }
}

TEST(Usage, BashCompletesWhatIsBegunAndTheWordsOfAnOption)
{
    EXPECT_THAT(Completed("mar"), ElementsAre("margin"));
    EXPECT_THAT(Completed("margin --strict --acc"), ElementsAre("--accounts"));
    EXPECT_THAT(Completed("margin --format ''"), ElementsAre("csv", "json", "table"));
    EXPECT_THAT(Completed("explain --format t"), ElementsAre("table"));
    EXPECT_THAT(Completed("margin --strict --form"), ElementsAre("--format")) << "a flag takes no value";
    EXPECT_THAT(Completed("margin --user ''"), ElementsAre("")) << "nobody knows it but the user";
}

TEST(Usage, AWordOfAnOptionIsTakenInAnyCase)
{
    const Finished finished = RunToEnd(Margin({"--instruments", Example("market.xml"), "--format", "CSV"}));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out, StartsWith("level,code,parent,"));
}

} // namespace
} // namespace test::UsageTest
