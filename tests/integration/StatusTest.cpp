// What `quindal status` reads of a server's statistics, whoever the server is.
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "ServerStatistics.h"
#include "UtcText.h"

namespace test::StatusTest {
namespace {

using namespace std::chrono_literals;
using quindal::ReadServerStatistics;
using quindal::ReadUtcText;

nlohmann::json Reply()
{
    return nlohmann::json::parse(R"({"id": "4711-5872", "started": "2026-11-21T10:00:00.000Z", "endpoints": [
        {"num_requests": 12, "num_errors": 1,
         "data": {"market_bytes": 20713, "market_read": "2026-11-21T10:15:30.123Z"}}]})");
}

TEST(ServerStatistics, AreReadOfAReply)
{
    const auto statistics = ReadServerStatistics(Reply().dump());
    ASSERT_TRUE(statistics);
    EXPECT_EQ(statistics->instance, "4711-5872");
    EXPECT_EQ(statistics->requests, 12U);
    EXPECT_EQ(statistics->refused, 1U);
    EXPECT_EQ(statistics->marketBytes, 20713U);
    EXPECT_EQ(statistics->marketRead - statistics->started, 15min + 30s + 123ms);
}

TEST(ServerStatistics, AReplyOfAnotherFormTellsNothing)
{
    for (const char* text : {"", "{", "null", "[]", R"({"endpoints": []})"})
        EXPECT_FALSE(ReadServerStatistics(text)) << text;
    for (const char* path : {"/id", "/started", "/endpoints", "/endpoints/0/num_requests", "/endpoints/0/num_errors",
                             "/endpoints/0/data", "/endpoints/0/data/market_bytes", "/endpoints/0/data/market_read"}) {
        nlohmann::json reply = Reply();
        reply[nlohmann::json::json_pointer(path)] = nlohmann::json::object();
        EXPECT_FALSE(ReadServerStatistics(reply.dump())) << path;
    }
    nlohmann::json reply = Reply();
    reply["started"] = "yesterday";
    EXPECT_FALSE(ReadServerStatistics(reply.dump()));
}

TEST(UtcText, IsReadBackToTheMillisecond)
{
    for (const std::chrono::milliseconds since : {0ms, 1ms, 1'795'342'530'123ms, 951'782'399'999ms}) {
        const std::chrono::system_clock::time_point time{since};
        EXPECT_EQ(ReadUtcText(quindal::UtcText(time)), time);
    }
    EXPECT_EQ(quindal::UtcText(*ReadUtcText("2024-02-29T23:59:59.999Z") + 1ms), "2024-03-01T00:00:00.000Z");
}

TEST(UtcText, AnotherTextIsNone)
{
    for (const char* text :
         {"", "2026-11-21", "2026-11-21T10:15:30Z", "2026-11-21T10:15:30.1Z", "2026-11-21T10:15:30.123",
          "2026-11-21T10:15:30.123Zulu", "2026-13-21T10:15:30.123Z", "2026-11-21 10:15:30.123Z"})
        EXPECT_FALSE(ReadUtcText(text)) << text;
}

} // namespace
} // namespace test::StatusTest
