#include "FakeServer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <nlohmann/json.hpp>
#include <snappy.h>
#include <sys/socket.h>
#include <unistd.h>

namespace quindal::test {

namespace {

constexpr uint32_t kPing = 105;
constexpr uint32_t kInstruments = 109;
constexpr uint32_t kUserInfo = 111;
constexpr uint32_t kWrongArguments = 2;
constexpr uint32_t kBufferTooLarge = 8;
constexpr uint32_t kNotSupported = 16;

std::string DiscoveryText(const FakeServerSettings& settings, const char* type, bool withEndpoints)
{
    nlohmann::ordered_json reply{{"type", std::string("io.nats.micro.v1.") + type},
                                 {"name", settings.service},
                                 {"id", settings.instance},
                                 {"version", "1.0.0"},
                                 {"metadata", nlohmann::json::object()}};
    if (withEndpoints) {
        reply["description"] = "";
        reply["endpoints"] = {{{"name", "im"},
                               {"subject", settings.address},
                               {"queue_group", "q"},
                               {"metadata", nlohmann::json::object()}}};
    }
    return reply.dump();
}

std::string HeaderBlock(const LinkMessage& message)
{
    std::string block = "NATS/1.0\r\n";
    for (const auto& [name, value] : message.properties)
        block += name + ": " + value + "\r\n";
    return block + "\r\n";
}

LinkMessage ParseMessage(const std::string& header, std::string body)
{
    LinkMessage message;
    message.body = std::move(body);
    std::istringstream lines(header);
    std::string line;
    std::getline(lines, line); // the version
    while (std::getline(lines, line)) {
        while (!line.empty() && line.back() == '\r')
            line.pop_back();
        const std::size_t colon = line.find(':');
        if (colon == std::string::npos) continue;
        const std::size_t value = line.find_first_not_of(' ', colon + 1);
        message.properties[line.substr(0, colon)] = value == std::string::npos ? "" : line.substr(value);
    }
    return message;
}

std::optional<LinkMessage> EchoPing(const LinkMessage& request)
{
    LinkMessage answer = Answer(kPing + 1);
    answer.properties["kv7go_ping"] = std::to_string(request.Number("kv7go_ping"));
    return answer;
}

LinkMessage InstrumentsAnswer(const std::string& xml, bool compressed)
{
    LinkMessage answer = Answer(kInstruments + 1);
    answer.properties["snappy_support"] = compressed ? "1" : "0";
    answer.body = xml;
    if (!compressed) return answer;
    snappy::Compress(xml.data(), xml.size(), &answer.body);
    answer.properties["snappy_decompressedSize"] = std::to_string(xml.size());
    answer.properties["snappy_compressedSize"] = std::to_string(answer.body.size());
    return answer;
}

} // namespace

// One message of the router: "MSG subject sid [reply] bytes", or "HMSG subject sid [reply] header-bytes bytes".
struct FakeServer::Delivery
{
    std::string subject;
    std::string reply;
    LinkMessage message;
};

uint32_t LinkMessage::Number(const std::string& name) const
{
    const auto found = properties.find(name);
    return found == properties.end() ? 0 : static_cast<uint32_t>(std::strtoul(found->second.c_str(), nullptr, 10));
}

std::string LinkText(std::string_view text)
{
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned>(static_cast<unsigned char>(c));
        std::array<char, 4> escape{};
        std::snprintf(escape.data(), escape.size(), "%%%02X", byte);
        const bool plain = byte > 0x20 && byte < 0x7F && c != '%';
        encoded += plain ? std::string(1, c) : std::string(escape.data());
    }
    return encoded.empty() ? "%00" : encoded;
}

std::string LinkTextRead(std::string_view encoded)
{
    std::string text;
    for (std::size_t i = 0; i < encoded.size(); ++i) {
        if (encoded[i] != '%') {
            text += encoded[i];
            continue;
        }
        text += static_cast<char>(std::stoi(std::string(encoded.substr(i + 1, 2)), nullptr, 16));
        i += 2;
    }
    return encoded == "%00" ? "" : text;
}

LinkMessage Answer(uint32_t type) { return {{{"Z9_Category", "kv7go"}, {"Z9_Type", std::to_string(type)}}, ""}; }

LinkMessage SystemError(uint32_t code)
{
    LinkMessage message{{{"Z9_Category", "Z9_System"}, {"Z9_Type", "2"}}, ""};
    for (unsigned shift = 0; shift < 32; shift += 8)
        message.body += static_cast<char>((code >> shift) & 0xFFu);
    return message;
}

FakeServer::FakeServer(uint16_t port, FakeServerSettings settings) : settings_(std::move(settings))
{
    discoveryReplies_ = {DiscoveryReply()};
    handlers_[kPing] = EchoPing;
    Connect(port);
    thread_ = std::thread([this] { Serve(); });
}

FakeServer::~FakeServer() { Stop(); }

void FakeServer::Stop()
{
    if (!thread_.joinable()) return;
    ::shutdown(socket_, SHUT_RDWR);
    thread_.join();
    ::close(socket_);
    socket_ = -1;
}

void FakeServer::OnRequest(uint32_t type, Handler handler)
{
    const std::lock_guard lock(mutex_);
    handlers_[type] = std::move(handler);
}

void FakeServer::SetUserInfo(std::string xml, uint32_t error)
{
    OnRequest(kUserInfo, [xml = std::move(xml), error](const LinkMessage&) {
        LinkMessage answer = Answer(kUserInfo + 1);
        answer.properties["kv7go_error"] = std::to_string(error);
        answer.body = xml;
        return answer;
    });
}

void FakeServer::SetInstruments(std::string xml)
{
    OnRequest(kInstruments, [xml = std::move(xml)](const LinkMessage& request) {
        return InstrumentsAnswer(xml, request.Number("snappy_support") != 0);
    });
}

void FakeServer::SetDiscoveryReplies(std::vector<std::string> replies)
{
    const std::lock_guard lock(mutex_);
    discoveryReplies_ = std::move(replies);
}

std::string FakeServer::DiscoveryReply() const { return DiscoveryText(settings_, "info_response", true); }

std::vector<LinkMessage> FakeServer::Requests() const
{
    const std::lock_guard lock(mutex_);
    return requests_;
}

std::size_t FakeServer::Count(uint32_t type) const
{
    const std::lock_guard lock(mutex_);
    return static_cast<std::size_t>(std::count_if(
        requests_.begin(), requests_.end(), [type](const LinkMessage& m) { return m.Number("Z9_Type") == type; }));
}

std::size_t FakeServer::Discoveries() const
{
    const std::lock_guard lock(mutex_);
    return discoveries_;
}

bool FakeServer::WaitForRequests(uint32_t type, std::size_t count, std::chrono::milliseconds timeout)
{
    const auto isType = [type](const LinkMessage& m) { return m.Number("Z9_Type") == type; };
    std::unique_lock lock(mutex_);
    return arrived_.wait_for(lock, timeout, [&] {
        return static_cast<std::size_t>(std::count_if(requests_.begin(), requests_.end(), isType)) >= count;
    });
}

void FakeServer::Connect(uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    std::string line;
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || !ReadLine(line)) {
        ::close(socket_);
        throw std::runtime_error("no router for the fake server");
    }
    maxPayload_ = nlohmann::json::parse(line.substr(5)).value("max_payload", std::size_t{1} << 20);

    const nlohmann::json login{
        {"verbose", false}, {"pedantic", false},     {"user", settings_.user}, {"pass", settings_.password},
        {"headers", true},  {"no_responders", true}, {"lang", "test"},         {"version", "1.0.0"},
        {"protocol", 1}};
    Send("CONNECT " + login.dump() + "\r\nSUB " + settings_.address + " q 1\r\nSUB $SRV.INFO." + settings_.service +
         " 2\r\nSUB $SRV.PING." + settings_.service + " 3\r\nPING\r\n");
    while (ReadLine(line)) {
        if (line == "PONG") return;
        if (line.starts_with("-ERR")) break;
    }
    ::close(socket_);
    throw std::runtime_error("the router refused the fake server: " + line);
}

void FakeServer::Send(const std::string& bytes) const
{
    std::size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) return; // the router went away; the reading side sees it too
        sent += static_cast<std::size_t>(count);
    }
}

bool FakeServer::Fill()
{
    std::array<char, 65536> chunk{};
    const ssize_t count = ::recv(socket_, chunk.data(), chunk.size(), 0);
    if (count <= 0) return false;
    unread_.append(chunk.data(), static_cast<std::size_t>(count));
    return true;
}

bool FakeServer::ReadLine(std::string& line)
{
    std::size_t end = 0;
    while ((end = unread_.find("\r\n")) == std::string::npos)
        if (!Fill()) return false;
    line = unread_.substr(0, end);
    unread_.erase(0, end + 2);
    return true;
}

bool FakeServer::ReadBytes(std::size_t count, std::string& bytes)
{
    while (unread_.size() < count)
        if (!Fill()) return false;
    bytes = unread_.substr(0, count);
    unread_.erase(0, count);
    return true;
}

void FakeServer::Serve()
{
    std::string line;
    while (ReadLine(line)) {
        if (line == "PING") Send("PONG\r\n");
        const bool withHeader = line.starts_with("HMSG ");
        if (!withHeader && !line.starts_with("MSG ")) continue;
        std::istringstream stream(line);
        const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
        const std::size_t fixed = withHeader ? 5 : 4; // words without the reply subject
        const std::size_t total = std::stoul(words.back());
        const std::size_t header = withHeader ? std::stoul(words[words.size() - 2]) : 0;
        std::string bytes;
        if (!ReadBytes(total + 2, bytes)) return;
        Dispatch({words[1], words.size() > fixed ? words[3] : "",
                  ParseMessage(bytes.substr(0, header), bytes.substr(header, total - header))});
    }
}

void FakeServer::Dispatch(const Delivery& delivery)
{
    if (delivery.subject.starts_with("$SRV.")) {
        AnswerDiscovery(delivery);
    } else {
        AnswerRequest(delivery);
    }
}

void FakeServer::AnswerDiscovery(const Delivery& delivery)
{
    std::vector<std::string> replies = {DiscoveryText(settings_, "ping_response", false)};
    if (delivery.subject.starts_with("$SRV.INFO.")) {
        const std::lock_guard lock(mutex_);
        ++discoveries_;
        replies = discoveryReplies_;
    }
    for (const std::string& text : replies)
        Send("PUB " + delivery.reply + " " + std::to_string(text.size()) + "\r\n" + text + "\r\n");
}

void FakeServer::AnswerRequest(const Delivery& delivery)
{
    const uint32_t type = delivery.message.Number("Z9_Type");
    Handler handler;
    {
        const std::lock_guard lock(mutex_);
        requests_.push_back(delivery.message);
        if (const auto found = handlers_.find(type); found != handlers_.end()) handler = found->second;
    }
    arrived_.notify_all();
    if (handler) {
        if (const std::optional<LinkMessage> answer = handler(delivery.message)) Publish(delivery.reply, *answer);
    } else {
        Publish(delivery.reply, SystemError(type == 0 ? kWrongArguments : kNotSupported));
    }
}

void FakeServer::Publish(const std::string& subject, const LinkMessage& message) const
{
    const std::string header = HeaderBlock(message);
    const std::size_t total = header.size() + message.body.size();
    if (total > maxPayload_) return Publish(subject, SystemError(kBufferTooLarge));
    Send("HPUB " + subject + " " + std::to_string(header.size()) + " " + std::to_string(total) + "\r\n" + header +
         message.body + "\r\n");
}

} // namespace quindal::test
