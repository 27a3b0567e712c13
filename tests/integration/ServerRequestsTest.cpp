// The real server and what a user who is logged in may send it: requests are answered or refused by number, and nothing
// that one user sends ends the service of the others.
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <gmock/gmock.h>
#include <nats/nats.h>

#include "LibraryHost.h"

namespace test::ServerRequestsTest {
namespace {

using namespace quindal::test;
using testing::HasSubstr;

struct Answer
{
    std::string category;
    std::string type;
    std::string body;
};

/// The error number of a system message, little-endian.
std::string ErrorBody(std::uint32_t number)
{
    std::string body;
    for (int shift = 0; shift < 32; shift += 8)
        body += static_cast<char>(number >> shift & 0xFF);
    return body;
}

class ServerRequests : public LibraryHost
{
protected:
    ServerRequests()
    {
        Serve();
        natsOptions* options = nullptr;
        natsOptions_Create(&options);
        const std::string url = "nats://127.0.0.1:" + std::to_string(router->Port());
        natsOptions_SetURL(options, url.c_str());
        natsOptions_SetUserInfo(options, User, Password);
        natsOptions_SetCustomInboxPrefix(options, (std::string("_INBOX.") + User).c_str());
        const natsStatus status = natsConnection_Connect(&connection, options);
        natsOptions_Destroy(options);
        if (status != NATS_OK) throw std::runtime_error(natsStatus_GetText(status));
    }
    ~ServerRequests() override { natsConnection_Destroy(connection); }

    [[nodiscard]] Answer Ask(const char* type, const std::string& body)
    {
        natsMsg* request = nullptr;
        natsMsg* reply = nullptr;
        natsMsg_Create(&request, (std::string("z9.svc.") + Service).c_str(), nullptr, body.data(),
                       static_cast<int>(body.size()));
        natsMsgHeader_Set(request, "Z9_Type", type);
        natsMsgHeader_Set(request, "snappy_support", "0");
        natsMsgHeader_Set(request, "kv7go_ping", "7");
        const natsStatus status = natsConnection_RequestMsg(&reply, connection, request, 5000);
        natsMsg_Destroy(request);
        EXPECT_EQ(status, NATS_OK) << natsStatus_GetText(status);
        if (status != NATS_OK) return {};
        Answer answer;
        const char* text = nullptr;
        if (natsMsgHeader_Get(reply, "Z9_Category", &text) == NATS_OK) answer.category = text;
        if (natsMsgHeader_Get(reply, "Z9_Type", &text) == NATS_OK) answer.type = text;
        answer.body.assign(natsMsg_GetData(reply), static_cast<std::size_t>(natsMsg_GetDataLength(reply)));
        natsMsg_Destroy(reply);
        return answer;
    }
    void ExpectWrongArguments(const char* type, const std::string& body)
    {
        const Answer answer = Ask(type, body);
        EXPECT_EQ(answer.category, "Z9_System") << type << " " << body.substr(0, 100);
        EXPECT_EQ(answer.type, "2") << type << " " << body.substr(0, 100);
        EXPECT_EQ(answer.body, ErrorBody(2)) << type << " " << body.substr(0, 100);
    }

    natsConnection* connection = nullptr;
};

/// A good request for user information, so long by a comment behind it.
std::string RequestOfSize(std::size_t size)
{
    std::string body = std::string("<root><RequestUserInfo username=\"") + User + "\"/></root><!--";
    body.resize(size - 3, 'x');
    return body + "-->";
}

TEST_F(ServerRequests, ARequestOf64KilobytesIsReadAndALongerOneIsNot)
{
    const Answer answer = Ask("111", RequestOfSize(65'536));
    EXPECT_EQ(answer.type, "112");
    EXPECT_THAT(answer.body, HasSubstr("part_count=\""));
    for (const char* type : {"105", "109", "111"})
        ExpectWrongArguments(type, RequestOfSize(65'537));
    ExpectWrongArguments("111", RequestOfSize(8U << 20));
}

TEST_F(ServerRequests, NestingEndsNoService)
{
    std::string deep; // three bytes an element
    for (int level = 0; level < 20'000; ++level)
        deep += "<a>";
    for (const char* type : {"109", "111"}) {
        ExpectWrongArguments(type, deep);
        ExpectWrongArguments(type, deep + deep + deep); // too long, whatever it is
    }
    std::string closed = "<root><RequestUserInfo username=\"USER01\"/>" + deep.substr(0, 3 * 9'000);
    for (int level = 0; level < 9'000; ++level)
        closed += "</a>";
    ASSERT_LE(closed.size() + 7, 65'536U);
    EXPECT_EQ(Ask("111", closed + "</root>").type, "112") << "depth is no fault";
    EXPECT_EQ(Init(), 0) << "others are served";
}

TEST_F(ServerRequests, ADocumentThatIsNoneIsAWrongArgument)
{
    for (const char* body : {"<root>", "<root><a></b></root>", "x", "<root/><root/>", "<root a='&no;'/>"}) {
        ExpectWrongArguments("111", body);
        ExpectWrongArguments("109", body);
    }
    for (const char* body : {"", "<root/>", "<other/>", "<root><RequestUserInfo/></root>",
                             "<root><requestuserinfo username='USER01'/></root>"})
        ExpectWrongArguments("111", body);
    EXPECT_EQ(Ask("109", "").type, "110") << "the market does not depend on the document";
}

TEST_F(ServerRequests, AUserIsAskedAboutByTheNameThatTheReferencesMake)
{
    EXPECT_THAT(Ask("111", "<root><RequestUserInfo username='&#85;SER01'/></root>").body, HasSubstr("part_count=\""));
    EXPECT_THAT(Ask("111", "<root><RequestUserInfo username='NO&amp;ONE'/></root>").body,
                testing::Not(HasSubstr("part_count")));
}

} // namespace
} // namespace test::ServerRequestsTest
