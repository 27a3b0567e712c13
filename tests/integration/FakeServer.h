// FakeServer: the server's side of the link, with answers that the test sets.
//
//     RouterFixture router;
//     FakeServer server(router.Port());
//     server.SetUserInfo(R"(<root><Clients part_count="2" login_type="CLIENT"/></root>)");
//     server.SetInstruments("<root>...</root>");
//     ... run the client ...
//     EXPECT_EQ(server.Count(111), 1u);
//
// It answers discovery and pings (105) by itself, an unknown type with NOT_SUPPORTED (16) and a request without a type
// with WRONG_ARGUMENTS (2). Handlers run on the server's own thread, one request at a time.
// It speaks the router's text protocol by itself instead of through libnats: Z9MQCleanup closes libnats for the whole
// process, and a second user in it would hold that up; and a test can so send what no proper server would.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace quindal::test {

// A message as it stands on the link.
struct LinkMessage
{
    std::map<std::string, std::string> properties; // encoded: decimal digits, or LinkText(...)
    std::string body;                              // empty: none

    // The number under a name, 0 when there is none.
    [[nodiscard]] uint32_t Number(const std::string& name) const;
};

// A string property in its encoded form, and back. Plain twins of what the library does.
[[nodiscard]] std::string LinkText(std::string_view text);
[[nodiscard]] std::string LinkTextRead(std::string_view encoded);

// An answer of the given type, "Z9_Category" "kv7go" already in it.
[[nodiscard]] LinkMessage Answer(uint32_t type);
// The system message that stands for an error number.
[[nodiscard]] LinkMessage SystemError(uint32_t code);

struct FakeServerSettings
{
    std::string user = "kv7go_srv"; // not used by a router without passwords
    std::string password = "srvpass";
    std::string service = "kv7go_srv_60";
    std::string address = "z9.svc.kv7go_srv_60"; // where it listens, and what discovery answers
    std::string instance = "fake-1";
};

class FakeServer
{
public:
    // nullopt: the request stays without an answer.
    using Handler = std::function<std::optional<LinkMessage>(const LinkMessage& request)>;

    // Returns when it is reachable; throws std::runtime_error when the router refuses it.
    explicit FakeServer(uint16_t port, FakeServerSettings settings = {});
    ~FakeServer();
    FakeServer(const FakeServer&) = delete;
    FakeServer& operator=(const FakeServer&) = delete;

    // How requests of a type are answered from now on.
    void OnRequest(uint32_t type, Handler handler);
    // 111 -> 112 with this error number and body.
    void SetUserInfo(std::string xml, uint32_t error = 0);
    // 109 -> 110 with this body, one snappy block when the request announced support.
    void SetInstruments(std::string xml);
    // What discovery is answered with, verbatim and in this order; none: it stays silent.
    void SetDiscoveryReplies(std::vector<std::string> replies);
    // The proper reply to discovery.
    [[nodiscard]] std::string DiscoveryReply() const;

    [[nodiscard]] std::vector<LinkMessage> Requests() const; // all so far, in order of arrival
    [[nodiscard]] std::size_t Count(uint32_t type) const;
    [[nodiscard]] std::size_t Discoveries() const;
    // Waits until so many requests of a type have arrived; false when they do not in time.
    [[nodiscard]] bool WaitForRequests(uint32_t type, std::size_t count,
                                       std::chrono::milliseconds timeout = std::chrono::seconds(5));
    // Leaves the router, as a server that was ended.
    void Stop();

private:
    struct Delivery;

    void Connect(uint16_t port);
    void Send(const std::string& bytes) const;
    void Serve();
    [[nodiscard]] bool Fill();
    [[nodiscard]] bool ReadLine(std::string& line);
    [[nodiscard]] bool ReadBytes(std::size_t count, std::string& bytes);
    void Dispatch(const Delivery& delivery);
    void AnswerDiscovery(const Delivery& delivery);
    void AnswerRequest(const Delivery& delivery);
    void Publish(const std::string& subject, const LinkMessage& message) const;

    FakeServerSettings settings_;
    int socket_ = -1;
    std::string unread_;         // bytes that came and were not parsed yet; the server's thread only
    std::size_t maxPayload_ = 0; // bytes that the router takes in one message
    mutable std::mutex mutex_;   // guards what follows
    std::condition_variable arrived_;
    std::map<uint32_t, Handler> handlers_;
    std::vector<LinkMessage> requests_;
    std::vector<std::string> discoveryReplies_;
    std::size_t discoveries_ = 0;
    std::thread thread_; // last: it uses everything above
};

} // namespace quindal::test
