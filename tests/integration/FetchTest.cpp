// The market of a live server, saved to be used without it.
#include "ServerProcess.h"

namespace test::FetchTest {
namespace {

using namespace quindal::test;
using testing::HasSubstr;
using testing::IsEmpty;

class Fetch : public ServerProcess
{
protected:
    [[nodiscard]] Finished To(const std::string& out, const std::string& password = Password) const
    {
        return As("USER01", password, {QUINDAL_COMMAND, "fetch", "--out", out});
    }
};

TEST_F(Fetch, SavesWhatTheServerHandsOutByteForByte)
{
    Start();
    const Finished finished = To(File("fetched.xml"));
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, IsEmpty());
    EXPECT_EQ(TextOf(File("fetched.xml")), TextOf(market));
    EXPECT_EQ(To("-").out, TextOf(market));
    Stop();
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

TEST_F(Fetch, TheSavedMarketGivesTheFiguresOfTheLiveOne)
{
    Start();
    const Finished live = MarginAs("USER01", Password);
    ASSERT_EQ(live.status, 0) << live.errors;
    ASSERT_EQ(To(File("fetched.xml")).status, 0);
    Stop();
    const Finished offline =
        RunToEnd(Margin({"--instruments", File("fetched.xml"), "--orders", Example("orders.csv"), "--format", "csv"}));
    EXPECT_EQ(offline.status, 0) << offline.errors;
    EXPECT_EQ(FiguresOf(offline.out), FiguresOf(live.out));
}

// The setting that leads to our copy stands behind whatever the file has.
TEST_F(Fetch, AnIniFileThatAsksForACopyOfItsOwnIsNoHindrance)
{
    Start();
    ini = Write("copying.ini", "[QuindalIM::mq]\nport = " + port +
                                   "\ntimeout = 5000\n[QuindalIM::options]\nxmlPath = " + File("copy.xml") +
                                   "\n[QuindalIM::log]\nfile = " + File("fetch.log"));
    ASSERT_EQ(To(File("fetched.xml")).status, 0);
    EXPECT_EQ(TextOf(File("fetched.xml")), TextOf(market));
    EXPECT_THAT(TextOf(File("fetch.log")), HasSubstr("RequestInstruments without datetime"));
}

TEST_F(Fetch, LeavesWhatStoodThereWhenItFails)
{
    Write("fetched.xml", "what stood there");
    Start();
    BeImpatient();
    const Finished refused = To(File("fetched.xml"), "wrong");
    EXPECT_EQ(refused.status, 3);
    EXPECT_THAT(refused.errors, HasSubstr("94816"));
    Stop();
    EXPECT_EQ(To(File("fetched.xml")).status, 3);
    EXPECT_EQ(TextOf(File("fetched.xml")), "what stood there");

    Write("market.xml", "<root><Currency IndicatorID=\"840\"/></root>");
    Start();
    const Finished noMarket = To(File("fetched.xml"));
    EXPECT_EQ(noMarket.status, 1);
    EXPECT_THAT(noMarket.errors, HasSubstr("Radius"));
    EXPECT_EQ(TextOf(File("fetched.xml")), "what stood there");
    Stop();
    EXPECT_THAT(LeftBehind(), IsEmpty());
}

TEST_F(Fetch, NamesAFileThatCannotBeReadOrWritten)
{
    Start();
    const Finished unwritable = To(File("nowhere/fetched.xml"));
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_THAT(unwritable.errors, HasSubstr("nowhere/fetched.xml: cannot be written"));
    ini = File("absent.ini");
    const Finished unreadable = To(File("fetched.xml"));
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_THAT(unreadable.errors, HasSubstr("absent.ini: cannot be read"));
}

} // namespace
} // namespace test::FetchTest
