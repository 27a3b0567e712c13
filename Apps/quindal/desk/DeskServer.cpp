#include "DeskServer.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <sys/socket.h>
#include <thread>
#include <utility>

#include <httplib.h>

#include "DeskJson.h"
#include "Errors.h"
#include "PageFiles.h"
#include "PrivateRouter.h"

namespace quindal {

namespace {

using httplib::Request;
using httplib::Response;
using Handled = httplib::Server::HandlerResponse;

constexpr const char* Loopback = "127.0.0.1";
constexpr std::size_t LargestBody = 64UL << 20U; // bytes: a positions file of a million rows
constexpr std::size_t Threads = 16;              // a browser keeps six connections open
constexpr int Patience = 10;                     // seconds for a request to come and for an answer to go
constexpr const char* TokenHeader = "X-Quindal-Token";

/// Headers of all answers: nothing is loaded from elsewhere, shown within another page, or kept.
const httplib::Headers& SafeHeaders()
{
    static const httplib::Headers headers{
        {"Content-Security-Policy",
         "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
         "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
        {"X-Content-Type-Options", "nosniff"},
        {"X-Frame-Options", "DENY"},
        {"Referrer-Policy", "no-referrer"},
        {"Cross-Origin-Opener-Policy", "same-origin"},
        {"Cross-Origin-Resource-Policy", "same-origin"},
        {"Cache-Control", "no-store"}};
    return headers;
}

/// Compares in a time that does not depend on where the texts differ.
bool IsSame(const std::string& given, const std::string& token)
{
    if (given.size() != token.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < token.size(); ++i)
        difference |= static_cast<unsigned char>(given[i]) ^ static_cast<unsigned char>(token[i]);
    return difference == 0;
}

void Refuse(Response& response, int status, const char* text)
{
    response.status = status;
    response.set_content(std::string(text) + '\n', "text/plain");
}

void AllowReuse(socket_t socket)
{
    const int yes = 1; // of a port whose last connections are being closed; nobody else may listen beside us
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

std::string ServerTiming(double milliseconds)
{
    std::array<char, 60> text{};
    std::snprintf(text.data(), text.size(), "answer;dur=%.3f", milliseconds);
    return text.data();
}

} // namespace

class DeskServer::Listener
{
public:
    Listener(std::uint16_t port, Ask ask)
        : m_ask(std::move(ask)), m_token(MakePassword() + MakePassword()), m_port(Bound(port))
    {
        for (const char* const host : {"127.0.0.1:", "localhost:"})
            m_hosts.push_back(host + std::to_string(m_port));
        m_server.set_default_headers(SafeHeaders());
        m_server.set_payload_max_length(LargestBody);
        m_server.set_read_timeout(Patience);
        m_server.set_write_timeout(Patience);
        m_server.set_keep_alive_timeout(1);
        m_server.set_keep_alive_max_count(10'000);
        m_server.set_tcp_nodelay(true);
        m_server.new_task_queue = [] { return new httplib::ThreadPool(Threads); };
        m_server.set_pre_routing_handler([this](const Request& request, Response& response) {
            return IsOfOurs(request, response) ? Handled::Unhandled : Handled::Handled;
        });
        m_server.set_error_handler([](const Request&, Response& response) {
            if (response.body.empty()) Refuse(response, response.status, "there is nothing here");
        });
        AddRoads();
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running())
            std::this_thread::yield();
    }
    ~Listener()
    {
        m_server.stop();
        m_thread.join();
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    [[nodiscard]] std::string Address() const
    {
        return "http://" + std::string(Loopback) + ':' + std::to_string(m_port) + "/?token=" + m_token;
    }

private:
    int Bound(std::uint16_t port)
    {
        m_server.set_socket_options(AllowReuse);
        if (port == 0) {
            const int found = m_server.bind_to_any_port(Loopback);
            if (found > 0) return found;
            throw InputError("no port of this machine is free");
        }
        if (m_server.bind_to_port(Loopback, port)) return port;
        throw InputError("--port: " + std::to_string(port) + " cannot be had: is it taken?");
    }

    /// Whether a request comes from our own page, as far as its host and origin tell.
    [[nodiscard]] bool IsOfOurs(const Request& request, Response& response) const
    {
        const auto isOurs = [&](const std::string& host) {
            return std::find(m_hosts.begin(), m_hosts.end(), host) != m_hosts.end();
        };
        // A name that was made to lead to this machine is not ours.
        if (!isOurs(request.get_header_value("Host"))) {
            Refuse(response, 403, "this host is not served");
            return false;
        }
        const std::string origin = request.get_header_value("Origin");
        const std::string scheme = "http://";
        if (!origin.empty() && (origin.rfind(scheme, 0) != 0 || !isOurs(origin.substr(scheme.size())))) {
            Refuse(response, 403, "pages of other origins are not answered");
            return false;
        }
        return true;
    }

    [[nodiscard]] bool HasToken(const std::string& given, Response& response) const
    {
        if (IsSame(given, m_token)) return true;
        Refuse(response, 401, "open the address that quindal desk has printed");
        return false;
    }

    void AddRoads()
    {
        m_server.Get("/", [this](const Request& request, Response& response) {
            if (!HasToken(request.get_param_value("token"), response)) return;
            // The files of the page stand below the token, so that its scripts find each other.
            std::string text(FindPageFile("index.html")->text);
            const std::string place = "TOKEN";
            for (std::size_t at = 0; (at = text.find(place, at)) != std::string::npos; at += m_token.size())
                text.replace(at, place.size(), m_token);
            response.set_content(text, "text/html; charset=utf-8");
        });
        m_server.Get(R"(/page/([0-9a-f]+)/([a-z]+\.[a-z]+))", [this](const Request& request, Response& response) {
            if (!HasToken(request.matches[1], response)) return;
            const std::string name = request.matches[2];
            const PageFile* const file = FindPageFile(name);
            if (file == nullptr || name == "index.html") return Refuse(response, 404, "there is nothing here");
            response.set_content(std::string(file->text), std::string(file->type) + "; charset=utf-8");
        });
        m_server.Post(R"(/api/([a-z]+))", [this](const Request& request, Response& response) {
            if (!HasToken(request.get_header_value(TokenHeader), response)) return;
            const DeskAnswer answer = m_ask(request.matches[1], request.body);
            response.status = answer.status;
            response.set_header("Server-Timing", ServerTiming(answer.milliseconds));
            response.set_content(answer.body, answer.type + "; charset=utf-8");
        });
    }

    Ask m_ask;
    std::string m_token;
    httplib::Server m_server;
    int m_port;
    std::vector<std::string> m_hosts;
    std::thread m_thread;
};

DeskServer::DeskServer(std::uint16_t port, Ask ask) : m_listener(std::make_unique<Listener>(port, std::move(ask))) {}
DeskServer::~DeskServer() = default;
std::string DeskServer::Address() const { return m_listener->Address(); }

} // namespace quindal
