#include "ImServer.h"

#include <charconv>
#include <csignal>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>
#include <boost/property_tree/xml_parser.hpp>
#include <nlohmann/json.hpp>
#include <snappy.h>

#include "CsvTable.h"
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

// Bytes of a request's body. The requests of the client have some hundreds.
constexpr std::size_t LargestRequest = 64U << 10;

void Check(natsStatus status, const char* what)
{
    if (status != NATS_OK) throw std::runtime_error(std::string(what) + ": " + natsStatus_GetText(status));
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

/// The market does not depend on what the document of a request asks for, but it must be one.
bool IsDocumentOrNothing(std::string_view body)
{
    try {
        if (!body.empty()) static_cast<void>(XmlDocument(body));
        return true;
    } catch (const XmlError&) {
        return false;
    }
}

/// Who a request for user information asks about; nothing when its document does not say.
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
    std::string_view body; // what is sent
    std::string ownedBody; // where body points when it was made for this reply
    bool isSystem = false;

    static Reply Failure(std::uint32_t error)
    {
        Reply reply;
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
      m_instruments(std::move(instruments))
{
    const SignalsBlocked whileThreadsStart;
    Connect();
    Subscribe("$SRV.INFO." + m_settings.service, nullptr, &ImServer::OnDiscovery);
    Subscribe("$SRV.PING." + m_settings.service, nullptr, &ImServer::OnDiscovery);
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
    const std::unique_ptr<natsOptions, Destroyer<natsOptions_Destroy>> options(raw);
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
    for (Subscription& place : m_subscriptions)
        if (place == nullptr) {
            place.reset(raw);
            break;
        }
    Check(natsSubscription_SetPendingLimits(raw, -1, -1), "subscribe");
}

bool ImServer::IsRunning() const { return !natsConnection_IsClosed(m_connection.get()); }

std::string ImServer::DiscoveryReply(bool isInfo) const
{
    nlohmann::ordered_json reply{{"type", isInfo ? "io.nats.micro.v1.info_response" : "io.nats.micro.v1.ping_response"},
                                 {"name", m_settings.service},
                                 {"id", m_instance},
                                 {"version", "1.0.0"},
                                 {"metadata", nlohmann::json::object()}};
    if (isInfo) {
        reply["description"] = "";
        reply["endpoints"] = nlohmann::json::array(
            {{{"name", "im"}, {"subject", m_address}, {"queue_group", "q"}, {"metadata", nlohmann::json::object()}}});
    }
    return reply.dump();
}

void ImServer::OnDiscovery(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept
{
    const std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>> life(request);
    const char* const replyTo = natsMsg_GetReply(request);
    if (replyTo == nullptr) return;
    try {
        const bool isInfo = std::string_view(natsMsg_GetSubject(request)).starts_with("$SRV.INFO.");
        const std::string text = static_cast<const ImServer*>(self)->DiscoveryReply(isInfo);
        natsConnection_Publish(connection, replyTo, text.data(), static_cast<int>(text.size()));
    } catch (...) { // out of memory: the client asks again
    }
}

void ImServer::OnRequest(natsConnection* connection, natsSubscription*, natsMsg* request, void* self) noexcept
{
    const std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>> life(request);
    const char* const replyTo = natsMsg_GetReply(request);
    if (replyTo == nullptr) return; // nobody waits
    try {
        const auto* const server = static_cast<const ImServer*>(self);
        server->Send(connection, replyTo, server->Answer(request));
    } catch (...) { // out of memory: the client's time-out tells it
    }
}

ImServer::Reply ImServer::Answer(natsMsg* request) const
{
    if (BodyOf(request).size() > LargestRequest) return Reply::Failure(WrongArguments);
    const std::optional<std::uint32_t> type = UInt32Property(request, "Z9_Type");
    if (!type) return Reply::Failure(WrongArguments);
    switch (*type) {
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
    if (*support == 0 || !m_settings.compress) {
        reply.properties = {{"snappy_support", 0}};
        reply.body = m_instruments.plain;
    } else {
        reply.properties = {{"snappy_support", 1},
                            {"snappy_decompressedSize", static_cast<std::uint32_t>(m_instruments.plain.size())},
                            {"snappy_compressedSize", static_cast<std::uint32_t>(m_instruments.compressed.size())}};
        reply.body = m_instruments.compressed;
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
    constexpr std::size_t headerRoom = 4096;
    const auto limit = static_cast<std::size_t>(natsConnection_GetMaxPayload(connection));
    if (body.size() + headerRoom > limit && !reply.isSystem) {
        Send(connection, subject, Reply::Failure(BufferTooLarge));
        return;
    }
    natsMsg* raw = nullptr;
    if (natsMsg_Create(&raw, subject, nullptr, body.data(), static_cast<int>(body.size())) != NATS_OK) return;
    const std::unique_ptr<natsMsg, Destroyer<natsMsg_Destroy>> message(raw);
    natsMsgHeader_Set(raw, "Z9_Category", reply.isSystem ? "Z9_System" : "kv7go");
    natsMsgHeader_Set(raw, "Z9_Type", std::to_string(reply.type).c_str());
    for (const auto& [name, value] : reply.properties)
        natsMsgHeader_Set(raw, name, std::to_string(value).c_str());
    natsConnection_PublishMsg(connection, raw);
}

} // namespace quindal
