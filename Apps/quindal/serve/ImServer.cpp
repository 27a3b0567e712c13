#include "ImServer.h"

#include <charconv>
#include <csignal>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <nlohmann/json.hpp>
#include <snappy.h>

#include "Errors.h"
#include "UtcText.h"
#include "XmlDocument.h"

namespace quindal {

namespace {

using boost::property_tree::ptree;
using QuindalIM::NoSuchNode;
using QuindalIM::XmlDocument;
using QuindalIM::XmlError;

// Message types of the exchange.
constexpr std::uint32_t PingRequest = 105;
constexpr std::uint32_t PingReply = 106;
constexpr std::uint32_t InstrumentsRequest = 109;
constexpr std::uint32_t InstrumentsReply = 110;
constexpr std::uint32_t UserInfoRequest = 111;
constexpr std::uint32_t UserInfoReply = 112;

// Error numbers of a failed request.
constexpr std::uint32_t WrongArguments = 2;
constexpr std::uint32_t BufferTooLarge = 8;
constexpr std::uint32_t NotSupported = 16;
constexpr std::uint32_t SystemRequestFailed = 2;

/// Largest body of a request, bytes. No request of a client comes near it; a longer one is not read.
constexpr std::size_t LargestRequest = 64U << 10;

constexpr std::string_view Discovery = "$SRV.INFO.";
constexpr std::string_view Health = "$SRV.PING.";
constexpr std::string_view Statistics = "$SRV.STATS.";

void Check(natsStatus status, const char* what)
{
    if (status != NATS_OK) throw LinkError(std::string(what) + ": " + natsStatus_GetText(status));
}

std::string_view NameOfRequest(std::uint32_t type)
{
    switch (type) {
    case PingRequest:
        return "ping";
    case InstrumentsRequest:
        return "instruments";
    case UserInfoRequest:
        return "user-info";
    default:
        return "unknown";
    }
}

std::string_view NameOfError(std::uint32_t error)
{
    switch (error) {
    case 0:
        return "ok";
    case WrongArguments:
        return "wrong-arguments";
    case BufferTooLarge:
        return "too-large";
    default:
        return "not-supported";
    }
}

/// The user of a reply subject "_INBOX.<user>.<anything>", the form that the router allows to its users.
std::string_view UserOf(std::string_view replySubject)
{
    constexpr std::string_view inbox = "_INBOX.";
    if (!replySubject.starts_with(inbox)) return {};
    replySubject.remove_prefix(inbox.size());
    return replySubject.substr(0, replySubject.find('.'));
}

std::optional<std::uint32_t> UInt32Property(natsMsg* message, const char* name)
{
    const char* text = nullptr;
    if (natsMsgHeader_Get(message, name, &text) != NATS_OK || text == nullptr) return std::nullopt;
    const std::string_view digits(text);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (error != std::errc{} || end != digits.data() + digits.size() || digits.size() > 10) return std::nullopt;
    return value;
}

std::string_view BodyOf(natsMsg* message)
{
    return {natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))};
}

/// True for an XML document or an empty body. The market does not depend on the document of a request, but it must be
/// one.
bool IsDocumentOrNothing(std::string_view body)
{
    try {
        if (!body.empty()) static_cast<void>(XmlDocument(body));
        return true;
    } catch (const XmlError&) {
        return false;
    }
}

/// The user that a request for user information asks about; nothing when its document does not name one.
std::optional<std::string> UserName(std::string_view body)
{
    try {
        const XmlDocument document(body);
        const pugi::xml_attribute name = document.Root("root").child("RequestUserInfo").attribute("username");
        return name ? std::optional<std::string>(name.value()) : std::nullopt;
    } catch (const XmlError&) {
    } catch (const NoSuchNode&) {
    }
    return std::nullopt;
}

std::string WriteXml(const ptree& document)
{
    std::ostringstream stream;
    boost::property_tree::write_xml(stream, document);
    return stream.str();
}

// Blocks every signal while threads start, so that they inherit the block and signals stay with the main thread.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

} // namespace

struct ImServer::Reply
{
    std::uint32_t type = 0;
    std::vector<std::pair<const char*, std::uint32_t>> properties;
    std::string_view body;                               // what is sent
    std::string ownedBody;                               // where body points when it was made for this reply
    std::shared_ptr<const InstrumentsDocument> document; // where body points else
    bool isSystem = false;
    std::uint32_t error = 0;

    static Reply Failure(std::uint32_t error)
    {
        Reply reply;
        reply.error = error;
        reply.isSystem = true;
        reply.type = SystemRequestFailed;
        for (int byte = 0; byte < 4; ++byte)
            reply.ownedBody += static_cast<char>(error >> (8 * byte) & 0xFF);
        return reply;
    }
    [[nodiscard]] std::string_view Body() const { return ownedBody.empty() ? body : std::string_view(ownedBody); }
};

InstrumentsDocument::InstrumentsDocument(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    if (!stream || std::filesystem::is_directory(file) || !(text << stream.rdbuf()))
        throw InputError(file.string() + ": cannot be read");
    plain = text.str();
    try {
        static_cast<void>(XmlDocument(plain).Root("root"));
    } catch (const XmlError& error) {
        throw InputError(file.string() + ":" + std::to_string(error.Line()) + ": " + error.Reason());
    } catch (const NoSuchNode&) {
        throw InputError(file.string() + ": has no element \"root\"");
    }
    snappy::Compress(plain.data(), plain.size(), &compressed);
}

ImServer::ImServer(Settings settings, std::map<std::string, UserRecord> users, InstrumentsDocument instruments)
    : m_settings(std::move(settings)),
      m_address("z9.svc." + m_settings.service),
      m_instance(std::to_string(::getpid()) + "-" + std::to_string(reinterpret_cast<std::uintptr_t>(this) >> 4U)),
      m_users(std::move(users)),
      m_instruments(std::make_shared<const InstrumentsDocument>(std::move(instruments))),
      m_started(std::chrono::system_clock::now())
{
    const SignalsBlocked whileThreadsStart;
    Connect();
    for (const std::string_view kind : {Discovery, Health, Statistics})
        Subscribe(std::string(kind) + m_settings.service, nullptr, &ImServer::OnDiscovery);
    Subscribe(m_address, "q", &ImServer::OnRequest);
    Check(natsConnection_Flush(m_connection.get()), "subscribe");
}

ImServer::~ImServer()
{
    // Draining answers what has arrived, then closes.
    if (natsConnection_DrainTimeout(m_connection.get(), 2000) == NATS_OK)
        for (int wait = 0; wait < 2000 && !natsConnection_IsClosed(m_connection.get()); wait += 5)
            nats_Sleep(5);
}

void ImServer::Connect()
{
    natsOptions* raw = nullptr;
    Check(natsOptions_Create(&raw), "options");
    const NatsOptions options(raw);
    const std::string url = "nats://127.0.0.1:" + std::to_string(m_settings.port);
    Check(natsOptions_SetURL(raw, url.c_str()), "url");
    if (!m_settings.user.empty())
        Check(natsOptions_SetUserInfo(raw, m_settings.user.c_str(), m_settings.password.c_str()), "user");
    Check(natsOptions_SetMaxReconnect(raw, -1), "reconnect");
    Check(natsOptions_SetReconnectWait(raw, 250), "reconnect");
    Check(natsOptions_SetReconnectJitter(raw, 0, 0), "reconnect");
    Check(natsOptions_SetIgnoreDiscoveredServers(raw, true), "options");
    Check(natsOptions_SetPingInterval(raw, 20'000), "options");
    Check(natsOptions_SetSendAsap(raw, true), "options"); // a ping takes 60 us instead of 1 ms

    natsConnection* connection = nullptr;
    Check(natsConnection_Connect(&connection, raw), ("connect to the router at " + url).c_str());
    m_connection.reset(connection);
}

void ImServer::Subscribe(const std::string& subject, const char* queueGroup, natsMsgHandler handler)
{
    natsSubscription* raw = nullptr;
    if (queueGroup == nullptr)
        Check(natsConnection_Subscribe(&raw, m_connection.get(), subject.c_str(), handler, this), "subscribe");
    else
        Check(natsConnection_QueueSubscribe(&raw, m_connection.get(), subject.c_str(), queueGroup, handler, this),
              "subscribe");
    for (NatsSubscription& place : m_subscriptions)
        if (place == nullptr) {
            place.reset(raw);
            break;
        }
    Check(natsSubscription_SetPendingLimits(raw, -1, -1), "subscribe");
}

void ImServer::Exchange(InstrumentsDocument instruments)
{
    m_instruments.store(std::make_shared<const InstrumentsDocument>(std::move(instruments)));
}

bool ImServer::IsConnected() const { return natsConnection_Status(m_connection.get()) == NATS_CONN_STATUS_CONNECTED; }

void ImServer::CheckThatItMayReconnect() const
{
    if (!natsConnection_IsClosed(m_connection.get())) return;
    const char* text = nullptr;
    const natsStatus status = natsConnection_GetLastError(m_connection.get(), &text);
    throw LinkError(std::string("the router has closed the connection: ") +
                    (text != nullptr && *text != '\0' ? text : natsStatus_GetText(status)));
}

// A reply in the form that monitors of NATS services read.
std::string ImServer::DiscoveryReply(std::string_view kind) const
{
    const std::string_view type = kind == Discovery ? "info" : kind == Health ? "ping" : "stats";
    nlohmann::ordered_json reply{{"type", "io.nats.micro.v1." + std::string(type) + "_response"},
                                 {"name", m_settings.service},
                                 {"id", m_instance},
                                 {"version", "1.0.0"},
                                 {"metadata", nlohmann::json::object()}};
    if (kind == Health) return reply.dump();
    nlohmann::ordered_json endpoint{{"name", "im"}, {"subject", m_address}, {"queue_group", "q"}};
    if (kind == Discovery) {
        reply["description"] = "";
        endpoint["metadata"] = nlohmann::json::object();
    } else {
        const std::shared_ptr<const InstrumentsDocument> document = m_instruments.load();
        const std::uint64_t requests = m_requests;
        reply["started"] = UtcText(m_started);
        endpoint["num_requests"] = requests;
        endpoint["num_errors"] = m_refused.load();
        endpoint["last_error"] = "";
        endpoint["processing_time"] = m_nanoseconds.load();
        endpoint["average_processing_time"] = requests == 0 ? 0 : m_nanoseconds / static_cast<std::int64_t>(requests);
        endpoint["data"] = {{"market_bytes", document->plain.size()}, {"market_read", UtcText(document->read)}};
    }
    reply["endpoints"] = nlohmann::ordered_json::array({endpoint});
    return reply.dump();
}

void ImServer::OnDiscovery(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept
{
    const NatsMessage life(request);
    const char* const replyTo = natsMsg_GetReply(request);
    if (replyTo == nullptr) return;
    try {
        const auto begin = Clock::now();
        const auto* const server = static_cast<const ImServer*>(self);
        const std::string_view subject = natsMsg_GetSubject(request);
        const std::string_view kind = subject.starts_with(Discovery) ? Discovery
                                      : subject.starts_with(Health)  ? Health
                                                                     : Statistics;
        Reply reply;
        reply.ownedBody = server->DiscoveryReply(kind);
        natsConnection_Publish(connection, replyTo, reply.ownedBody.data(), static_cast<int>(reply.ownedBody.size()));
        server->Report(replyTo,
                       kind == Discovery ? "discovery"
                       : kind == Health  ? "health"
                                         : "statistics",
                       reply, begin);
    } catch (...) { // out of memory: the client asks again
    }
}

void ImServer::OnRequest(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept
{
    const NatsMessage life(request);
    const char* const replyTo = natsMsg_GetReply(request);
    if (replyTo == nullptr) return; // nobody waits
    try {
        const auto begin = Clock::now();
        auto* const server = static_cast<ImServer*>(self);
        const std::optional<std::uint32_t> type = UInt32Property(request, "Z9_Type");
        const Reply reply = server->Answer(connection, request, type);
        // Counted before it is sent, so that a client with its answer finds it counted.
        ++server->m_requests;
        if (reply.error != 0) ++server->m_refused;
        server->m_nanoseconds += std::chrono::nanoseconds(Clock::now() - begin).count();
        server->Send(connection, replyTo, reply);
        server->Report(replyTo, NameOfRequest(type.value_or(0)), reply, begin);
    } catch (...) { // out of memory: the client's time-out tells it
    }
}

void ImServer::Report(const char* replyTo, std::string_view request, const Reply& reply, Clock::time_point begin) const
{
    if (!m_settings.onRequest) return;
    m_settings.onRequest({m_instance, UserOf(replyTo), request, NameOfError(reply.error), reply.Body().size(),
                          std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin)});
}

// Answers a request. A reply that is too large for the router is replaced by the error that says so.
ImServer::Reply ImServer::Answer(natsConnection* connection, natsMsg* request, std::optional<std::uint32_t> type) const
{
    if (!type || BodyOf(request).size() > LargestRequest) return Reply::Failure(WrongArguments);
    Reply reply = AnswerOfType(request, *type);
    constexpr std::size_t headerRoom = 4096;
    const auto limit = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection));
    return reply.Body().size() + headerRoom > limit && !reply.isSystem ? Reply::Failure(BufferTooLarge) : reply;
}

ImServer::Reply ImServer::AnswerOfType(natsMsg* request, std::uint32_t type) const
{
    switch (type) {
    case PingRequest:
        return AnswerPing(request);
    case InstrumentsRequest:
        return AnswerInstruments(request);
    case UserInfoRequest:
        return AnswerUserInfo(request);
    default:
        return Reply::Failure(NotSupported);
    }
}

ImServer::Reply ImServer::AnswerPing(natsMsg* request) const
{
    const std::optional<std::uint32_t> time = UInt32Property(request, "kv7go_ping");
    if (!time) return Reply::Failure(WrongArguments);
    Reply reply;
    reply.type = PingReply;
    reply.properties = {{"kv7go_ping", *time}};
    return reply;
}

ImServer::Reply ImServer::AnswerInstruments(natsMsg* request) const
{
    const std::optional<std::uint32_t> support = UInt32Property(request, "snappy_support");
    if (!support || !IsDocumentOrNothing(BodyOf(request))) return Reply::Failure(WrongArguments);
    Reply reply;
    reply.type = InstrumentsReply;
    reply.document = m_instruments.load();
    const InstrumentsDocument& instruments = *reply.document;
    if (*support == 0 || !m_settings.compress) {
        reply.properties = {{"snappy_support", 0}};
        reply.body = instruments.plain;
    } else {
        reply.properties = {{"snappy_support", 1},
                            {"snappy_decompressedSize", static_cast<std::uint32_t>(instruments.plain.size())},
                            {"snappy_compressedSize", static_cast<std::uint32_t>(instruments.compressed.size())}};
        reply.body = instruments.compressed;
    }
    return reply;
}

ImServer::Reply ImServer::AnswerUserInfo(natsMsg* request) const
{
    const std::optional<std::string> user = UserName(BodyOf(request));
    if (!user) return Reply::Failure(WrongArguments);

    // A user that nobody entered gets an answer without the element: the client then knows that it is not registered.
    ptree answer;
    ptree& root = answer.put("root", "");
    if (const auto found = m_users.find(*user); found != m_users.end()) {
        root.put("Clients.<xmlattr>.part_count", found->second.partCount);
        root.put("Clients.<xmlattr>.login_type", found->second.loginType);
    }
    Reply reply;
    reply.type = UserInfoReply;
    reply.properties = {{"kv7go_error", 0}};
    reply.ownedBody = WriteXml(answer);
    return reply;
}

void ImServer::Send(natsConnection* connection, const char* subject, const Reply& reply) const
{
    const std::string_view body = reply.Body();
    natsMsg* raw = nullptr;
    if (natsMsg_Create(&raw, subject, nullptr, body.data(), static_cast<int>(body.size())) != NATS_OK)
        throw std::bad_alloc();
    const NatsMessage message(raw);
    natsMsgHeader_Set(raw, "Z9_Category", reply.isSystem ? "Z9_System" : "kv7go");
    natsMsgHeader_Set(raw, "Z9_Type", std::to_string(reply.type).c_str());
    for (const auto& [name, value] : reply.properties)
        natsMsgHeader_Set(raw, name, std::to_string(value).c_str());
    natsConnection_PublishMsg(connection, raw);
}

} // namespace quindal
