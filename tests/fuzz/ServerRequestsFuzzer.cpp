// Messages to a server of any kind, with any properties and any body, on its address and on those of discovery. Each
// request gets exactly one reply: what was asked for, or a system message with one of the server's errors; and the
// server's own report of it agrees. What is well-formed is never refused. This file stands in for the router: what the
// server publishes comes here.
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>
#include <nlohmann/json.hpp>
#include <snappy.h>

#include "ImServer.h"
#include "Require.h"
#include "TempDir.h"

namespace {

constexpr std::size_t LargestRequest = 65'536;
constexpr const char* User = "USER01";
constexpr std::int64_t LargestMessage = 1 << 20; // of the router

struct Handler
{
    natsMsgHandler handle = nullptr;
    void* self = nullptr;
};

// ---- The router -----------------------------------------------------------------------------------------------------

std::map<std::string, Handler> handlers; // by subject
int connection = 0;                      // its address is the handle
int subscription = 0;

struct Published
{
    std::string subject;
    std::map<std::string, std::string> properties;
    std::string body;
};
std::vector<Published> published;

std::string Text(const char* text) { return text == nullptr ? "" : text; }

} // namespace

extern "C" {

natsStatus natsConnection_Connect(natsConnection** made, natsOptions*)
{
    *made = reinterpret_cast<natsConnection*>(&connection);
    return NATS_OK;
}
natsStatus natsConnection_Subscribe(natsSubscription** made, natsConnection*, const char* subject,
                                    natsMsgHandler handler, void* self)
{
    handlers[subject] = {handler, self};
    *made = reinterpret_cast<natsSubscription*>(&subscription);
    return NATS_OK;
}
natsStatus natsConnection_QueueSubscribe(natsSubscription** made, natsConnection* router, const char* subject,
                                         const char*, natsMsgHandler handler, void* self)
{
    return natsConnection_Subscribe(made, router, subject, handler, self);
}
natsStatus natsSubscription_SetPendingLimits(natsSubscription*, int, int) { return NATS_OK; }
void natsSubscription_Destroy(natsSubscription*) {}
natsStatus natsConnection_Flush(natsConnection*) { return NATS_OK; }
natsStatus natsConnection_DrainTimeout(natsConnection*, int64_t) { return NATS_OK; }
bool natsConnection_IsClosed(natsConnection*) { return true; }
void natsConnection_Destroy(natsConnection*) {}
int64_t natsConnection_GetMaxPayload(natsConnection*) { return LargestMessage; }

natsStatus natsConnection_Publish(natsConnection*, const char* subject, const void* data, int size)
{
    published.push_back({subject, {}, std::string(static_cast<const char*>(data), static_cast<std::size_t>(size))});
    return NATS_OK;
}
natsStatus natsConnection_PublishMsg(natsConnection* router, natsMsg* message)
{
    natsConnection_Publish(router, natsMsg_GetSubject(message), natsMsg_GetData(message),
                           natsMsg_GetDataLength(message));
    for (const char* const name : {"Z9_Category", "Z9_Type", "kv7go_ping", "kv7go_error", "snappy_support",
                                   "snappy_decompressedSize", "snappy_compressedSize"}) {
        const char* value = nullptr;
        if (natsMsgHeader_Get(message, name, &value) == NATS_OK) published.back().properties[name] = Text(value);
    }
    return NATS_OK;
}

} // extern "C"

namespace {

// ---- The server -----------------------------------------------------------------------------------------------------

std::string MarketText()
{
    return "<root><CommonParameters EdgeCoeff=\"0.75\"/><!--" + std::string(2000, 'x') + "--></root>";
}

struct Served
{
    std::vector<quindal::AnsweredRequest> reports; // texts of theirs live as long as the call
    std::vector<std::string> users;
    std::uint64_t requests = 0;
    std::unique_ptr<quindal::ImServer> server;

    explicit Served(bool compress)
    {
        const TempDir folder;
        const quindal::InstrumentsDocument document(folder.Write("market.xml", MarketText()));
        quindal::ImServer::Settings settings;
        settings.compress = compress;
        settings.onRequest = [this](const quindal::AnsweredRequest& request) {
            reports.push_back(request);
            users.emplace_back(request.user);
        };
        server = std::make_unique<quindal::ImServer>(settings, std::map<std::string, quindal::UserRecord>{{User, {}}},
                                                     document);
        plain = document.plain;
    }
    std::string plain;
};

/// A server of each kind; both subscribe to the same subjects, so the last one made is asked.
Served& TheServer(bool compress)
{
    static Served plainly(false);
    static const std::map<std::string, Handler> ofPlainly = handlers;
    static Served compressing(true);
    static const std::map<std::string, Handler> ofCompressing = handlers;
    handlers = compress ? ofCompressing : ofPlainly;
    return compress ? compressing : plainly;
}

// ---- A request ------------------------------------------------------------------------------------------------------

struct Request
{
    std::map<std::string, std::string> properties;
    std::string body;
    std::optional<std::string> replyTo;
    bool isOfUser = false; // the body asks about a user that is entered
};

bool IsNumber(const std::string& text)
{
    return !text.empty() && text.size() <= 10 && text.find_first_not_of("0123456789") == text.npos &&
           std::stoull(text) <= 0xFFFFFFFFU;
}

std::string AnyValue(FuzzedDataProvider& input, const char* usual)
{
    const int kind = input.ConsumeIntegralInRange(0, 7);
    if (kind == 0) return std::to_string(input.ConsumeIntegral<std::uint32_t>());
    return kind == 1 ? std::string(input.ConsumeRandomLengthString(20).c_str()) : usual; // zero-terminated
}

Request AnyRequest(FuzzedDataProvider& input)
{
    static constexpr const char* types[] = {"105", "109", "111", "111"};
    static const std::string bodiesOfUser[] = {
        "<root><RequestUserInfo username=\"USER01\"/></root>",
        "<!DOCTYPE root><root><other/><RequestUserInfo x='1' username='&#85;SER01'/>&amp;<![CDATA[x]]></root>"};
    static const std::string otherBodies[] = {"", "<root/>", "<root><RequestUserInfo username=\"NOBODY\"/></root>"};
    Request request;
    request.properties["Z9_Type"] = AnyValue(input, input.PickValueInArray(types));
    for (const char* const name : {"kv7go_ping", "snappy_support", "Z9_Category"})
        if (input.ConsumeIntegralInRange(0, 7) > 0) request.properties[name] = AnyValue(input, "1");
    if (input.ConsumeIntegralInRange(0, 15) > 0)
        request.replyTo = input.ConsumeBool() ? "_INBOX.USER01.x" : "_INBOX." + input.ConsumeRandomLengthString(20);
    if (request.replyTo) *request.replyTo = request.replyTo->c_str();
    const bool isTooLong = input.ConsumeIntegralInRange(0, 31) == 0;
    const int body = input.ConsumeIntegralInRange(0, 3);
    request.isOfUser = body == 0;
    request.body = body == 0   ? input.PickValueInArray(bodiesOfUser)
                   : body == 1 ? input.PickValueInArray(otherBodies)
                               : input.ConsumeRemainingBytesAsString();
    if (isTooLong) request.body.resize(LargestRequest + 1, ' ');
    return request;
}

void Deliver(const std::string& subject, const Request& request)
{
    natsMsg* message = nullptr;
    Require(natsMsg_Create(&message, subject.c_str(), request.replyTo ? request.replyTo->c_str() : nullptr,
                           request.body.data(), static_cast<int>(request.body.size())) == NATS_OK,
            "a message can be made");
    for (const auto& [name, value] : request.properties)
        natsMsgHeader_Set(message, name.c_str(), value.c_str());
    published.clear();
    const Handler& handler = handlers.at(subject);
    handler.handle(reinterpret_cast<natsConnection*>(&connection), nullptr, message, handler.self);
}

// ---- What must hold of the reply ------------------------------------------------------------------------------------

/// The number of the error, or 0.
std::uint32_t ErrorOf(const Published& reply)
{
    if (reply.properties.at("Z9_Category") != "Z9_System") return 0;
    Require(reply.properties.at("Z9_Type") == "2" && reply.body.size() == 4, "an error is a number of four bytes");
    std::uint32_t error = 0;
    std::memcpy(&error, reply.body.data(), sizeof error);
    return error;
}

void RequireMarket(const Published& reply, const Served& served, bool isCompressed)
{
    Require(reply.properties.at("snappy_support") == (isCompressed ? "1" : "0"), "a block comes to who takes one");
    std::string text = reply.body;
    if (isCompressed) {
        Require(reply.properties.at("snappy_compressedSize") == std::to_string(reply.body.size()) &&
                    reply.properties.at("snappy_decompressedSize") == std::to_string(served.plain.size()),
                "a block says its sizes");
        Require(snappy::Uncompress(reply.body.data(), reply.body.size(), &text), "a block unpacks");
    }
    Require(text == served.plain, "the market is the file's");
}

void RequireAnswer(const Request& request, const Published& reply, const Served& served, bool compress)
{
    constexpr std::uint32_t wrongArguments = 2;
    constexpr std::uint32_t notSupported = 16;
    const auto isNumber = [&](const char* name) {
        const auto found = request.properties.find(name);
        return found != request.properties.end() && IsNumber(found->second);
    };
    const std::uint32_t error = ErrorOf(reply);
    if (!isNumber("Z9_Type") || request.body.size() > LargestRequest)
        return Require(error == wrongArguments, "a request without a type, or one too long, is a wrong argument");
    switch (std::stoull(request.properties.at("Z9_Type"))) {
    case 105:
        Require((error == 0) == isNumber("kv7go_ping"), "a ping with a number is answered");
        if (error == 0)
            Require(std::stoull(reply.properties.at("kv7go_ping")) == std::stoull(request.properties.at("kv7go_ping")),
                    "by its number");
        break;
    case 109:
        Require(error == 0 || error == wrongArguments, "a market is sent, or the request is wrong");
        Require(error == 0 || !isNumber("snappy_support") || !request.body.empty(), "a good request is answered");
        if (error == 0)
            RequireMarket(reply, served, compress && std::stoull(request.properties.at("snappy_support")) != 0);
        break;
    case 111:
        Require(error == 0 || error == wrongArguments, "a user is told, or the request is wrong");
        Require(!request.isOfUser || reply.body.find("part_count=\"2147483647\"") != reply.body.npos,
                "a user that is entered has a number of clients");
        break;
    default:
        Require(error == notSupported, "any other type is not supported");
    }
}

void RequireReport(const Served& served, const Published& reply)
{
    Require(served.reports.size() == 1, "each request is reported once");
    const quindal::AnsweredRequest& report = served.reports.front();
    Require((report.outcome == "ok") == (ErrorOf(reply) == 0), "a failure is reported as one");
    Require(report.bytes == reply.body.size(), "the bytes of the reply are reported");
    Require(served.users.front().find('.') == std::string::npos, "a user is one word of the subject");
}

void RequireDiscovery(const Served& served, const std::string& subject, const Published& reply)
{
    const auto answer = nlohmann::json::parse(reply.body);
    Require(answer.at("name") == "kv7go_srv_60", "the service says its name");
    if (subject.starts_with("$SRV.STATS."))
        Require(answer.at("endpoints").at(0).at("num_requests") == served.requests, "every request is counted");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const bool compress = input.ConsumeBool();
    Served& served = TheServer(compress);
    static const std::string subjects[] = {"z9.svc.kv7go_srv_60",    "z9.svc.kv7go_srv_60",
                                           "z9.svc.kv7go_srv_60",    "$SRV.INFO.kv7go_srv_60",
                                           "$SRV.PING.kv7go_srv_60", "$SRV.STATS.kv7go_srv_60"};
    const std::string& subject = input.PickValueInArray(subjects);
    const Request request = AnyRequest(input);
    served.reports.clear();
    served.users.clear();
    Deliver(subject, request);

    Require(published.size() == (request.replyTo ? 1U : 0U), "whoever waits gets one reply, nobody else");
    if (!request.replyTo) return 0;
    Require(published.front().subject == *request.replyTo, "and gets it where it waits");
    if (subject.starts_with("$SRV.")) {
        RequireDiscovery(served, subject, published.front());
        return 0;
    }
    ++served.requests;
    RequireAnswer(request, published.front(), served, compress);
    RequireReport(served, published.front());
    return 0;
}
