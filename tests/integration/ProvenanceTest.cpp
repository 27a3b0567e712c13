// What a report says of where it comes from.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "ServerProcess.h"

namespace test::ProvenanceTest {
namespace {

using namespace quindal::test;
using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

constexpr const char* LibraryVersion = "9.9.64.4654";
constexpr const char* Changed = "2026-11-20T18:45:00.250Z";

/// The digest of a file by the system's own tool.
std::string DigestOf(const std::string& file)
{
    const Finished finished = RunToEnd({"/usr/bin/sha256sum", file});
    EXPECT_EQ(finished.status, 0) << finished.errors;
    return finished.out.substr(0, 64);
}

class ProvenanceOfAFile : public ServerProcess
{
protected:
    ProvenanceOfAFile()
    {
        using namespace std::chrono;
        const sys_time<milliseconds> moment = sys_days(November / 20 / 2026) + 18h + 45min + 250ms;
        std::filesystem::last_write_time(market, file_clock::from_sys(moment));
    }
    [[nodiscard]] std::vector<std::string> MarginOfMarket(const std::vector<std::string>& further) const
    {
        std::vector<std::string> words{"--instruments", market};
        words.insert(words.end(), further.begin(), further.end());
        return Margin(words);
    }
    [[nodiscard]] std::vector<std::string> Explain(const std::vector<std::string>& further) const
    {
        std::vector<std::string> words = MarginOfMarket(further);
        words[1] = "explain";
        words.insert(words.end(), {"--client", "CL01001"});
        return words;
    }
    [[nodiscard]] json InJson(const std::vector<std::string>& words, std::vector<std::string> variables = {}) const
    {
        const Finished finished = RunToEnd(words, std::move(variables));
        EXPECT_EQ(finished.status, 0) << finished.errors;
        return json::parse(finished.out).at("provenance");
    }
};

TEST_F(ProvenanceOfAFile, StandsInTheJsonOfMarginAndExplain)
{
    const json expected{{"market", {{"file", market}, {"sha256", DigestOf(market)}, {"changed", Changed}}},
                        {"library", LibraryVersion}};
    EXPECT_EQ(InJson(MarginOfMarket({"--format", "json"})), expected);
    EXPECT_EQ(InJson(Explain({"--format", "json"})), expected);
}

TEST_F(ProvenanceOfAFile, StandsBehindTheFiguresOfEachRowOfCsv)
{
    const std::string cells = "," + market + "," + DigestOf(market) + "," + Changed + "," + LibraryVersion + ",EUR";
    for (const bool hasOrders : {false, true}) {
        std::vector<std::string> words{"--format", "csv", "--currency", "EUR"};
        if (hasOrders) words.insert(words.end(), {"--orders", Example("orders.csv")});
        std::vector<std::string> lines = Split(RunToEnd(MarginOfMarket(words)).out, "\n");
        lines.pop_back();
        ASSERT_EQ(lines.size(), hasOrders ? 14U : 19U);
        EXPECT_TRUE(lines.front().ends_with(ProvenanceColumns)) << lines.front();
        lines.erase(lines.begin());
        for (const std::string& line : lines)
            EXPECT_TRUE(line.ends_with(cells)) << line;
    }
}

TEST_F(ProvenanceOfAFile, StandsBeforeATableThatIsAskedForIt)
{
    const std::string head = "market    " + market + "\nsha256    " + DigestOf(market) + "\nchanged   " + Changed +
                             "\nlibrary   " + LibraryVersion + "\ncurrency  ";
    for (const std::vector<std::string>& words : {MarginOfMarket({}), Explain({})}) {
        const std::string without = RunToEnd(words).out;
        EXPECT_THAT(without, Not(HasSubstr("sha256")));
        std::vector<std::string> asked = words;
        asked.push_back("--provenance");
        EXPECT_EQ(RunToEnd(asked).out, head + "not named by the market\n\n" + without);
        asked.insert(asked.end(), {"--currency", "USD"});
        EXPECT_EQ(RunToEnd(asked).out, head + "USD\n\n" + without);
    }
    const std::vector<std::string> check{QUINDAL_COMMAND, "check", "--instruments", market};
    std::vector<std::string> asked = check;
    asked.push_back("--provenance");
    EXPECT_EQ(RunToEnd(asked).out, "market   " + market + "\nsha256   " + DigestOf(market) + "\nchanged  " + Changed +
                                       "\nlibrary  " + LibraryVersion + "\n\n" + RunToEnd(check).out);
}

TEST_F(ProvenanceOfAFile, IsTheDescriptionOfADrawing)
{
    const std::string file = File("drawing.svg");
    ASSERT_EQ(RunToEnd(Explain({"--svg", file})).status, 0);
    EXPECT_THAT(TextOf(file), HasSubstr("<desc>market: " + market + "; sha256: " + DigestOf(market) +
                                        "; changed: " + Changed + "; library: " + LibraryVersion + "; currency: "));
}

TEST_F(ProvenanceOfAFile, ChangesWithOneByteOfTheMarket)
{
    const std::string before = DigestOf(market);
    std::ofstream(market, std::ios::app) << '\n';
    const json provenance = InJson(MarginOfMarket({"--format", "json"}));
    EXPECT_NE(provenance.at("market").at("sha256"), before);
    EXPECT_EQ(provenance.at("market").at("sha256"), DigestOf(market));
}

TEST_F(ProvenanceOfAFile, OfAPipeHasNoTime)
{
    const std::vector<std::string> words{"/bin/sh",
                                         "-c",
                                         "cat \"$0\" | exec \"$@\"",
                                         market,
                                         QUINDAL_COMMAND,
                                         "margin",
                                         "--instruments",
                                         "-",
                                         "--accounts",
                                         Example("accounts.csv"),
                                         "--positions",
                                         Example("positions.csv"),
                                         "--format",
                                         "json"};
    EXPECT_EQ(InJson(words).at("market"), (json{{"file", "<stdin>"}, {"sha256", DigestOf(market)}}));
}

// A point in time is told no later than SOURCE_DATE_EPOCH: a report from another copy of the file is the same then.
TEST_F(ProvenanceOfAFile, TellsNoTimeAfterTheSourceDateEpoch)
{
    const std::vector<std::string> words = MarginOfMarket({"--format", "json"});
    const auto changed = [&](const std::string& epoch) {
        return InJson(words, {"SOURCE_DATE_EPOCH=" + epoch}).at("market").at("changed");
    };
    EXPECT_EQ(changed("86400"), "1970-01-02T00:00:00.000Z");
    EXPECT_EQ(changed("1795200000"), "2026-11-20T18:40:00.000Z") << "five minutes before the change";
    EXPECT_EQ(changed("1795200600"), Changed) << "five minutes after it";
    EXPECT_EQ(changed("253402300799"), Changed) << "beyond what the clock counts";
    for (const std::string epoch : {"", "x", "1.5", "-1", "1e9", "99999999999999999999"}) {
        const Finished finished = RunToEnd(words, {"SOURCE_DATE_EPOCH=" + epoch});
        EXPECT_EQ(finished.status, 2) << epoch;
        EXPECT_THAT(finished.out, IsEmpty());
        EXPECT_THAT(finished.errors, StartsWith("quindal: SOURCE_DATE_EPOCH: \"" + epoch + "\" is no whole number"));
    }
}

class ProvenanceOfAServer : public ServerProcess
{
protected:
    [[nodiscard]] Finished MarginInJson(std::vector<std::string> variables = {}) const
    {
        variables.insert(variables.end(), {"QUINDAL_PASSWORD=" + std::string(Password), "TMPDIR=" + temporary});
        return RunToEnd(Margin({"--ini", ini, "--user", "USER01", "--format", "json"}), std::move(variables));
    }
};

// Compressed or not, the digest is that of the file which fetch would save.
TEST_F(ProvenanceOfAServer, HasTheDigestOfWhatItSentAndTheTimeOfTheReply)
{
    for (const bool plain : {false, true}) {
        Start(plain ? std::vector<std::string>{"--plain"} : std::vector<std::string>{});
        const Finished finished = MarginInJson();
        ASSERT_EQ(finished.status, 0) << finished.errors;
        const json source = json::parse(finished.out).at("provenance").at("market");
        EXPECT_EQ(source.at("server"), "127.0.0.1:" + port);
        EXPECT_EQ(source.at("sha256"), DigestOf(market));
        EXPECT_THAT(source.at("received").get<std::string>(),
                    MatchesRegex("20[0-9][0-9]-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9.]+Z"));
        EXPECT_EQ(source.size(), 3U);
        EXPECT_THAT(As("USER01", Password, Margin({"--provenance"})).out,
                    StartsWith("server    127.0.0.1:" + port + "\nsha256    " + DigestOf(market) + "\nreceived  20"));
        Stop();
    }
}

TEST_F(ProvenanceOfAServer, IsTheSameInEachRunUpToTheSourceDateEpoch)
{
    Start();
    const Finished one = MarginInJson({"SOURCE_DATE_EPOCH=1000000000"});
    ASSERT_EQ(one.status, 0) << one.errors;
    EXPECT_THAT(one.out, HasSubstr("\"received\": \"2001-09-09T01:46:40.000Z\""));
    EXPECT_EQ(MarginInJson({"SOURCE_DATE_EPOCH=1000000000"}).out, one.out);
}

TEST_F(ProvenanceOfAServer, IsNotAskedForWithASourceDateEpochThatIsNone)
{
    const std::string log = File("access.log");
    Start({"--access-log", log});
    const Finished finished = MarginInJson({"SOURCE_DATE_EPOCH=tomorrow"});
    EXPECT_EQ(finished.status, 2);
    EXPECT_THAT(finished.errors, StartsWith("quindal: SOURCE_DATE_EPOCH: \"tomorrow\" is no whole number"));
    EXPECT_THAT(TextOf(log), Not(HasSubstr("request=instruments")));
    ASSERT_EQ(MarginInJson().status, 0);
    EXPECT_THAT(TextOf(log), HasSubstr("request=instruments")) << "the log would have had it";
}

// Whoever asks for a copy of the reply in the ini file has it, and provenance does not stand in its way.
TEST_F(ProvenanceOfAServer, LeavesTheCopyOfTheIniFileToItsUser)
{
    Start();
    ini = Write("copying.ini", "[QuindalIM::mq]\nport = " + port +
                                   "\ntimeout = 5000\n[QuindalIM::options]\nxmlPath = " + File("copy.xml") + "\n");
    ASSERT_EQ(MarginInJson().status, 0);
    EXPECT_EQ(TextOf(File("copy.xml")), TextOf(market));
}

} // namespace
} // namespace test::ProvenanceTest
