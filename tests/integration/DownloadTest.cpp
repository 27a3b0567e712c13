// From an ini file to a filled calculator, through the exported functions, over a real router.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>

#include "FakeServer.h"
#include "LogCapture.h"
#include "QuindalIM.h"
#include "RouterFixture.h"

namespace test::DownloadTest {
namespace {

using namespace quindal::test;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr std::int32_t Ok = 0;
constexpr std::int32_t BadLogin = 94816;
constexpr std::int32_t BadUserInfo = 94817;
constexpr std::int32_t BadPartCount = 94824;
constexpr std::int32_t NoRouter = 94815;
constexpr std::int32_t CommonError = 94808;
constexpr std::int32_t EndOfData = 94810;
constexpr std::int32_t AlreadyLoaded = 94995;

std::string Content(const std::filesystem::path& file)
{
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

/// The example that a new user starts from: a document as a server sends it.
std::string ExampleMarket() { return Content(std::filesystem::path(QUINDAL_EXAMPLES) / "market.xml"); }

std::size_t CountOf(const std::string& text, const std::string& what)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

class DownloadTest : public testing::Test
{
protected:
    DownloadTest() : server(router.Port())
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-download-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
        folder = name;
        server.SetUserInfo(R"(<root><Clients part_count="250" login_type="CLIENT"/></root>)");
        server.SetInstruments(ExampleMarket());
    }
    ~DownloadTest() override
    {
        if (calc != 0) {
            static_cast<void>(ClearAll(calc));
            static_cast<void>(DestroyQuindalIMCalculator(calc));
        }
        static_cast<void>(DeInitQuindalIM());
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

    std::int32_t Init(const char* user = "USER01", const char* password = "secret1")
    {
        const std::filesystem::path ini = folder / "client.ini";
        std::ofstream(ini) << "[QuindalIM::mq]\nport = " << router.Port() << "\ntimeout = 3000\n"
                           << "[QuindalIM::options]\nxmlPath = " << (folder / "copy.xml").string() << "\n"
                           << "[QuindalIM::xplog]\nfile = " << (folder / "trace.log").string() << "\n";
        return InitQuindalIM(ini.c_str(), user, password);
    }
    void InitWithCalculator()
    {
        ASSERT_EQ(Init(), Ok);
        ASSERT_EQ(CreateQuindalIMCalculator(&calc), Ok);
    }
    [[nodiscard]] std::int32_t Futures() const
    {
        std::int32_t count = -1;
        static_cast<void>(SetOnFirstFutures(calc, &count));
        return count;
    }
    /// The document of the last request.
    [[nodiscard]] std::string LastRequest() const { return server.Requests().back().body; }

    LogCapture log;
    RouterFixture router;
    FakeServer server;
    std::filesystem::path folder;
    std::intptr_t calc = 0;
};

TEST_F(DownloadTest, TheExampleMarketComesInWhole)
{
    InitWithCalculator();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);

    const std::string market = ExampleMarket();
    ASSERT_GT(CountOf(market, "<Futures "), 0u);
    EXPECT_EQ(static_cast<std::size_t>(Futures()), CountOf(market, "<Futures "));
    std::int32_t count = -1;
    ASSERT_EQ(SetOnFirstOptionSeries(calc, &count), Ok);
    EXPECT_EQ(static_cast<std::size_t>(count), CountOf(market, "<VirtFutures "));
    ASSERT_EQ(SetOnFirstOption(calc, &count), Ok);
    EXPECT_EQ(static_cast<std::size_t>(count), CountOf(market, "<Option "));
    ASSERT_EQ(SetOnFirstBaseContract(calc, &count), Ok);
    EXPECT_EQ(static_cast<std::size_t>(count), CountOf(market, "<BaseContract "));
    ASSERT_EQ(SetOnFirstCurrency(calc, &count), Ok);
    EXPECT_EQ(static_cast<std::size_t>(count), CountOf(market, "<Currency "));
    double EdgeCoeff = 0.0;
    ASSERT_EQ(GetCommonParams(calc, &EdgeCoeff), Ok);
    EXPECT_EQ(EdgeCoeff, 0.75);

    const LinkMessage request = server.Requests().back();
    EXPECT_EQ(request.Number("Z9_Type"), 109u);
    EXPECT_EQ(request.Number("snappy_support"), 1u);
    EXPECT_EQ(Content(folder / "copy.xml"), market) << "unpacked, byte for byte";
}

TEST_F(DownloadTest, APlainReplyDoesAsWell)
{
    server.OnRequest(109, [](const LinkMessage&) {
        LinkMessage answer = Answer(110);
        answer.properties["snappy_support"] = "0";
        answer.body = ExampleMarket();
        return std::optional(answer);
    });
    InitWithCalculator();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    EXPECT_EQ(static_cast<std::size_t>(Futures()), CountOf(ExampleMarket(), "<Futures "));
}

TEST_F(DownloadTest, AMomentGoesOutWithItsMillisecondsAndAnEmptyOneNotAtAll)
{
    server.SetInstruments("<root/>"); // leaves the calculator empty, so that it may ask again
    InitWithCalculator();
    ASSERT_EQ(GetInstrumentParameters(calc, "2026/11/20/18/45/00"), Ok);
    EXPECT_THAT(LastRequest(), HasSubstr("msg_type=\"103\" datetime=\"2026/11/20/18/45/00/000\""));
    ASSERT_EQ(GetInstrumentParameters(calc, ""), Ok);
    EXPECT_THAT(LastRequest(), Not(HasSubstr("datetime")));
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    EXPECT_THAT(LastRequest(), Not(HasSubstr("datetime")));
    EXPECT_EQ(server.Count(109), 3u);
}

TEST_F(DownloadTest, AFilledCalculatorIsRefusedWithoutAnyTraffic)
{
    InitWithCalculator();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), AlreadyLoaded);
    ASSERT_EQ(ClearParts(calc), Ok);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), AlreadyLoaded) << "participants are not what fills it";
    EXPECT_EQ(server.Count(109), 1u);

    ASSERT_EQ(ClearAll(calc), Ok);
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    EXPECT_EQ(server.Count(109), 2u);
}

TEST_F(DownloadTest, ACurrencyAloneDoesNotStandInTheWay)
{
    InitWithCalculator();
    ASSERT_EQ(InsertCurrency(calc, 978, 0.5), Ok);
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    std::int32_t count = -1;
    ASSERT_EQ(SetOnFirstCurrency(calc, &count), Ok);
    std::int32_t id = 0;
    double radius = 0.0;
    while (GetNextCurrency(calc, &id, &radius) != EndOfData)
        EXPECT_NE(id, 978) << "the download replaces everything";
}

TEST_F(DownloadTest, AReplyTooLargeForTheRouterIsTheServersErrorEight)
{
    InitWithCalculator();
    server.OnRequest(109, [](const LinkMessage&) { return std::optional(SystemError(8)); });
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), CommonError);
    EXPECT_THAT(Content(folder / "trace.log"),
                HasSubstr("Response not received in specified timeout or router error occurred; Z9ERR 8,"));
}

TEST_F(DownloadTest, ADamagedReplyFailsAndAGoodOneBringsTheMarket)
{
    InitWithCalculator();
    server.SetInstruments("<root><Futures Code=\"F\"/></root>");
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), CommonError);
    EXPECT_THAT(Content(folder / "trace.log"), HasSubstr("No such node (<xmlattr>.CodeBC)"));
    server.SetInstruments(ExampleMarket());
    EXPECT_EQ(GetInstrumentParameters(calc, nullptr), Ok) << "nothing had been inserted";
    EXPECT_GT(Futures(), 0);
}

TEST_F(DownloadTest, UsersThatTheServerTurnsAwayCannotStartTheLibrary)
{
    const struct
    {
        const char* document;
        std::int32_t code;
    } cases[] = {
        {R"(<root><Clients part_count="0" login_type="CLIENT"/></root>)", BadPartCount},
        {R"(<root><Clients part_count="-1" login_type="CLIENT"/></root>)", BadPartCount},
        {R"(<root><Clients part_count="many" login_type="CLIENT"/></root>)", BadUserInfo},
        {R"(<root><Clients part_count="250" login_type="SERVER"/></root>)", BadUserInfo},
        {"<root/>", BadUserInfo},
        {"", BadUserInfo},
    };
    for (const auto& [document, code] : cases) {
        server.SetUserInfo(document);
        EXPECT_EQ(Init(), code) << document;
    }
    server.SetUserInfo(R"(<root><Clients part_count="1" login_type="CLIENT"/></root>)");
    EXPECT_EQ(Init(), Ok) << "a failed start may be repeated";
}

TEST_F(DownloadTest, AStartSaysWhichStepFailed)
{
    EXPECT_EQ(Init("USER01", "wrong-password"), BadLogin);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("MQ core login failed: Login failed")));
    server.Stop();
    router.Kill();
    EXPECT_EQ(Init(), NoRouter);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("MQ core connect failed: Connect to router failed")));
    EXPECT_THAT(Content(folder / "trace.log"), Not(HasSubstr("wrong-password")));
}

TEST_F(DownloadTest, AMarketOfSeveralMegabytesComesInWhole)
{
    // The example market with some six megabytes behind it that the reader passes over.
    std::string market = ExampleMarket();
    std::string filler;
    while (filler.size() < 6'000'000)
        filler += "  <Session Number=\"" + std::to_string(filler.size()) + "\"/>\n";
    const std::size_t end = market.rfind("</root>");
    ASSERT_NE(end, std::string::npos);
    market.insert(end, filler);
    server.SetInstruments(market);
    InitWithCalculator();
    ASSERT_EQ(GetInstrumentParameters(calc, nullptr), Ok);
    EXPECT_EQ(static_cast<std::size_t>(Futures()), CountOf(ExampleMarket(), "<Futures "));
    EXPECT_EQ(std::filesystem::file_size(folder / "copy.xml"), market.size());
}

} // namespace
} // namespace test::DownloadTest
