#include "RouterFixture.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

#include <nlohmann/json.hpp>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quindal::test {

namespace {

using namespace std::chrono_literals;

// A quoted text of the router's configuration language.
std::string Quoted(const std::string& text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        if (c == '\t') {
            quoted += "\\t";
        } else {
            quoted += c;
        }
    }
    return quoted + '"';
}

std::string QuotedList(const std::vector<std::string>& texts)
{
    std::string list = "[";
    for (const std::string& text : texts)
        list += (list.size() > 1 ? ", " : "") + Quoted(text);
    return list + "]";
}

std::string UserEntry(const RouterUser& user)
{
    std::ostringstream entry;
    entry << "    { user: " << Quoted(user.name) << ", password: " << Quoted(user.password) << ", permissions: {";
    // A list left out would allow everything, an empty one is not taken: deny in words.
    if (user.publish.empty() && !user.answers) entry << " publish: { deny: \">\" },";
    if (!user.publish.empty()) entry << " publish: " << QuotedList(user.publish) << ",";
    entry << " subscribe: " << QuotedList(user.subscribe);
    if (user.answers) entry << ", allow_responses: true";
    entry << " } }";
    return entry.str();
}

std::filesystem::path MakeDirectory()
{
    std::string pattern = (std::filesystem::temp_directory_path() / "quindal-router-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory for the router");
    return pattern;
}

// The port in the file that the router writes when it is ready; nullopt while the file is not there or not whole.
std::optional<uint16_t> ReadPort(const std::filesystem::path& file)
{
    std::ifstream stream(file);
    const nlohmann::json ports = nlohmann::json::parse(stream, nullptr, false);
    if (!ports.is_object() || !ports.contains("nats") || ports["nats"].empty()) return std::nullopt;
    const auto url = ports["nats"].front().get<std::string>();
    return static_cast<uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
}

// Becomes the router. Between fork and exec of a program with threads only plain system calls are allowed.
[[noreturn]] void BecomeRouter(const char* configuration, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) ::_exit(126);
    ::execlp("nats-server", "nats-server", "-c", configuration, static_cast<char*>(nullptr));
    ::execl("/usr/sbin/nats-server", "nats-server", "-c", configuration, static_cast<char*>(nullptr));
    ::_exit(127);
}

} // namespace

RouterUser ClientUser(std::string name, std::string password)
{
    const std::string inbox = "_INBOX." + name + ".>";
    return {std::move(name), std::move(password), {"z9.svc.>", "$SRV.INFO.>"}, {inbox}, false};
}

RouterUser ServerUser() { return {"kv7go_srv", "srvpass", {}, {"z9.svc.>", "$SRV.>"}, true}; }

RouterFixture::RouterFixture(RouterSettings settings) : settings_(std::move(settings)), directory_(MakeDirectory())
{
    Start();
}

RouterFixture::~RouterFixture()
{
    Kill(); // it keeps nothing that a tidy end would save
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

void RouterFixture::Kill()
{
    Signal(SIGKILL);
    Wait();
}

void RouterFixture::Restart()
{
    if (pid_ > 0) Kill();
    Start();
}

void RouterFixture::Restart(RouterSettings settings)
{
    settings_ = std::move(settings);
    Restart();
}

void RouterFixture::Freeze()
{
    if (!IsOwnLiveChild()) return;
    Signal(SIGSTOP);
    siginfo_t state{}; // the signal takes its time to reach every thread
    ::waitid(P_PID, static_cast<id_t>(pid_), &state, WSTOPPED);
}

void RouterFixture::Thaw() { Signal(SIGCONT); }

void RouterFixture::Start()
{
    WriteConfiguration();
    const std::string configuration = (directory_ / "router.conf").string();
    const pid_t parent = ::getpid();
    pid_ = ::fork();
    if (pid_ == 0) BecomeRouter(configuration.c_str(), parent);
    if (pid_ < 0) throw std::runtime_error("the router could not be started");

    const auto portsFile = directory_ / ("nats-server_" + std::to_string(pid_) + ".ports");
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline && IsOwnLiveChild()) {
        if (const auto port = ReadPort(portsFile)) {
            port_ = *port;
            return;
        }
        std::this_thread::sleep_for(1ms);
    }
    if (IsOwnLiveChild()) Signal(SIGKILL);
    Wait();
    throw std::runtime_error("nats-server did not become ready; is it installed?");
}

// Only ever our own child: a pid that was reaped may meanwhile be somebody else's.
void RouterFixture::Signal(int signal) const
{
    if (IsOwnLiveChild()) ::kill(pid_, signal);
}

void RouterFixture::Wait()
{
    if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

bool RouterFixture::IsOwnLiveChild() const
{
    if (pid_ <= 0) return false;
    siginfo_t state{};
    const int failure = ::waitid(P_PID, static_cast<id_t>(pid_), &state, WEXITED | WNOHANG | WNOWAIT);
    return failure == 0 && state.si_pid == 0; // a child of ours, with nothing to report: it runs
}

void RouterFixture::WriteConfiguration() const
{
    std::ofstream file(directory_ / "router.conf");
    file << "server_name: z9router\n"
         << "host: \"127.0.0.1\"\n"
         << "port: " << (port_ == 0 ? std::string("-1") : std::to_string(port_)) << "\n"
         << "ports_file_dir: " << Quoted(directory_.string()) << "\n"
         << "pid_file: " << Quoted((directory_ / "router.pid").string()) << "\n"
         << "log_file: " << Quoted((directory_ / "router.log").string()) << "\n"
         << "max_payload: " << settings_.maxPayload << "\n"
         << "max_pending: 256MB\n"
         << "write_deadline: \"10s\"\n"
         << "ping_interval: \"20s\"\n"
         << "ping_max: 2\n";
    if (!settings_.certificate.empty())
        file << "tls { cert_file: " << Quoted(settings_.certificate.string())
             << ", key_file: " << Quoted(settings_.key.string()) << " }\n";
    if (settings_.users.empty()) return;
    file << "authorization {\n  timeout: 2\n  users = [\n";
    for (const RouterUser& user : settings_.users)
        file << UserEntry(user) << "\n";
    file << "  ]\n}\n";
}

} // namespace quindal::test
