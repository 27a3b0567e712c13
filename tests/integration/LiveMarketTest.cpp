// A run against a live server: the instruments are known only when they are there.
#include <string>
#include <vector>

#include "ServerProcess.h"

namespace test::LiveMarketTest {
namespace {

using namespace quindal::test;
using testing::HasSubstr;
using testing::IsEmpty;

class LiveMarket : public ServerProcess
{};

/// The market of the examples with one text in it changed.
std::string ChangedMarket(std::string text, const std::string& from, const std::string& to)
{
    text.replace(text.find(from), from.size(), to);
    return text;
}

// USER02 may register one client: its explanation needs no other.
TEST_F(LiveMarket, AnExplanationLoadsTheRowsOfItsClientOnly)
{
    Start();
    const std::vector<std::string> explain{
        QUINDAL_COMMAND,         "explain", "--client", "CL01001", "--accounts", Example("accounts.csv"), "--positions",
        Example("positions.csv")};
    std::vector<std::string> alone = explain;
    alone.insert(alone.end(), {"--instruments", market});
    const Finished finished = As("USER02", "other", explain);
    EXPECT_EQ(finished.status, 0) << finished.errors;
    EXPECT_THAT(finished.out, testing::Not(IsEmpty()));
    EXPECT_EQ(finished.out, RunToEnd(alone).out);
}

TEST_F(LiveMarket, WhatTheLibraryCorrectsOfALiveServersInstrumentsIsToldToo)
{
    Write("market.xml",
          ChangedMarket(TextOf(market), "ShortOptionMinimumCharge=\"0.1\"", "ShortOptionMinimumCharge=\"7\""));
    Start();
    const std::string warning =
        "quindal: warning: the server's instruments: While InsertBaseContract Code(INDX) assertion "
        "(SOMC<=Constants::MaximumSOMC) failed. SOMC(7.000000) forcibly set to (0.100000). \n"
        "quindal: 1 warning\n";
    const Finished followed = MarginAs("USER01", Password);
    EXPECT_EQ(followed.status, 0);
    EXPECT_EQ(followed.errors, warning) << "from the log that the ini file names";
    // Without a log of the user's, and with one that shows errors only.
    const std::string link = "[QuindalIM::mq]\nport = " + this->port + "\ntimeout = 5000\n";
    ini = Write("without.ini", link);
    EXPECT_EQ(MarginAs("USER01", Password).errors, warning);
    const std::string log = File("errors.log");
    ini = Write("errors.ini", link + "[QuindalIM::log]\nfile = " + log + "\nlevel = error\n");
    EXPECT_EQ(MarginAs("USER01", Password).errors, "quindal: warning: " + ini +
                                                       ": warnings of the library stay unseen: the level of the log " +
                                                       log + " is error\nquindal: 1 warning\n");
}

TEST_F(LiveMarket, RowsAreCheckedAgainstItsInstrumentsBeforeAnyPositionIsSet)
{
    Start();
    const std::string rows =
        Write("rows.csv", "code,instrument,quantity\nCL01001,INDX-12.62,1\nCL01001,INDX-12.26-3.27,1\n");
    const Finished finished = As("USER01", Password, Margin({}, Example("accounts.csv"), rows));
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_EQ(finished.errors,
              "quindal: " + rows +
                  ":2: column \"instrument\": \"INDX-12.62\" is none of the instruments of the market; did "
                  "you mean \"INDX-12.26\"?\nquindal: " +
                  rows + ":3: column \"instrument\": \"INDX-12.26-3.27\" is a calendar spread: hold its legs\n");
}

TEST_F(LiveMarket, ANumberThatIsNoneIsNotReckonedWith)
{
    Write("market.xml", ChangedMarket(TextOf(market), "MRAddOnUp=\"0\"", "MRAddOnUp=\"nan\""));
    Start();
    const Finished finished = MarginAs("USER01", Password);
    EXPECT_EQ(finished.status, 1);
    EXPECT_THAT(finished.out, IsEmpty());
    EXPECT_THAT(finished.errors, HasSubstr(ini + ": Futures \"INDX-12.26\": attribute \"MRAddOnUp\": \"nan\" is not a "
                                                 "finite number"));
}

} // namespace
} // namespace test::LiveMarketTest
