#include "PrivateRouter.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "Errors.h"
#include "Printable.h"
#include "UserNames.h"

namespace quindal {

namespace {

using namespace std::chrono_literals;

constexpr auto StartLimit = 10s;
constexpr auto EndLimit = 3s;
constexpr auto PollInterval = 2ms;

// Exit statuses of a child that has not become a router.
constexpr int NotInstalled = 127;
constexpr int NotStarted = 126;

constexpr const char* ErrorFile = "router.err"; // what it prints before it knows its log
constexpr const char* LogFile = "router.log";

/// A text in the router's configuration: every byte stands for itself, and none can end the text.
std::string Quoted(std::string_view text)
{
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isPlain = byte >= 0x20 && byte < 0x7F && c != '"' && c != '\\';
        if (isPlain)
            quoted += c;
        else
            (quoted += "\\x") += {"0123456789abcdef"[byte >> 4U], "0123456789abcdef"[byte & 15U]};
    }
    return quoted + '"';
}

std::string UserBlock(const RouterUser& user, const std::string& permissions)
{
    return "    { user: " + Quoted(user.name) + ", password: " + Quoted(user.password) + ", permissions: { " +
           permissions + " } }\n";
}

void Check(const RouterUser& user)
{
    if (!IsUserName(user.name)) throw InputError(NotAUserName(user.name));
    if (const std::string_view fault = FaultOfPassword(user.password); !fault.empty())
        throw InputError("password of " + user.name + ": " + std::string(fault));
}

// In the child, between fork and exec: only calls that are safe there.
[[noreturn]] void BecomeRouter(const char* configuration, const char* errors, char* const* environment, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(NotStarted); // the parent died before the line above
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    ::signal(SIGPIPE, SIG_DFL);
    // A terminal's Ctrl-C is for the command: it ends the router itself, after the last request is answered.
    ::setpgid(0, 0);
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    ::dup2(nowhere, STDIN_FILENO);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(::open(errors, O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
    char* const arguments[] = {const_cast<char*>("nats-server"), const_cast<char*>("-c"),
                               const_cast<char*>(configuration), nullptr};
    ::execvpe("nats-server", arguments, environment);
    ::execve("/usr/sbin/nats-server", arguments, environment);
    ::_exit(errno == ENOENT ? NotInstalled : NotStarted);
}

/// The first line of a file that tells a fault; empty when none does.
std::string FirstComplaint(const std::filesystem::path& file, std::initializer_list<std::string_view> marks)
{
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);)
        for (const std::string_view mark : marks)
            if (const std::size_t at = line.find(mark); at != std::string::npos)
                return Printable(line.substr(at + mark.size()));
    return {};
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::string& prefix)
    : m_path(std::filesystem::temp_directory_path() / (prefix + "XXXXXX")),
      m_tidyUp(
          [this] {
              std::string name = m_path.string();
              if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
              m_path = name;
          },
          [this] {
              std::error_code ignored;
              std::filesystem::remove_all(m_path, ignored);
          })
{}

std::string_view FaultOfPassword(std::string_view password)
{
    if (!IsPlainText(password)) return "is no UTF-8 text, or holds control characters";
    if (password.size() > 3 && password.starts_with("$2") && password[3] == '$')
        return "begins as a bcrypt hash does, and the router would take it for one";
    return {};
}

PrivateRouter::PrivateRouter(const RouterUser& server, const std::vector<RouterUser>& users, std::uint16_t port)
    : m_folder("quindal-router-"),
      m_tidyUp(
          [&] {
              WriteConfiguration(server, users, port);
              Start();
          },
          [this] { End(); })
{
    WaitUntilReady();
}

void PrivateRouter::WriteConfiguration(const RouterUser& server, const std::vector<RouterUser>& users,
                                       std::uint16_t port) const
{
    const std::string folder = m_folder.Path().string();
    std::string text = "server_name: z9router\n"
                       "host: \"127.0.0.1\"\n"
                       "port: " +
                       std::to_string(port == 0 ? -1 : port) +
                       "\n"
                       "ports_file_dir: " +
                       Quoted(folder) +
                       "\n"
                       "pid_file: " +
                       Quoted(folder + "/router.pid") +
                       "\n"
                       "log_file: " +
                       Quoted(folder + "/" + LogFile) +
                       "\n"
                       "max_payload: 64MB\n"
                       "max_pending: 256MB\n"
                       "write_deadline: \"10s\"\n"
                       "ping_interval: \"20s\"\n"
                       "ping_max: 2\n"
                       "authorization {\n"
                       "  timeout: 2\n"
                       "  users = [\n";
    Check(server);
    text += UserBlock(server, R"(subscribe: ["z9.svc.>", "$SRV.>"], allow_responses: true)");
    for (const RouterUser& user : users) {
        Check(user);
        if (user.name == server.name) throw InputError("\"" + user.name + "\" is the name of the server itself");
        text += UserBlock(user, R"(publish: ["z9.svc.>", "$SRV.INFO.>", "$SRV.PING.>", "$SRV.STATS.>"], )"
                                R"(subscribe: ["_INBOX.)" +
                                    user.name + R"(.>"])");
    }
    text += "  ]\n}\n";

    std::ofstream file(m_folder.Path() / "router.conf", std::ios::binary);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write the router's configuration in " + folder);
}

void PrivateRouter::Start()
{
    const std::string configuration = (m_folder.Path() / "router.conf").string();
    const std::string errors = (m_folder.Path() / ErrorFile).string();
    const char* const path = std::getenv("PATH");
    std::string onlyVariable = std::string("PATH=") + (path == nullptr ? "" : path);
    char* const environment[] = {onlyVariable.data(), nullptr};
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid == 0) BecomeRouter(configuration.c_str(), errors.c_str(), environment, parent);
    if (m_pid < 0) throw std::system_error(errno, std::generic_category(), "cannot start the router");
}

// The router writes the port it found into a file of its own once it listens.
void PrivateRouter::WaitUntilReady()
{
    const auto portsFile = m_folder.Path() / ("nats-server_" + std::to_string(m_pid) + ".ports");
    const auto deadline = std::chrono::steady_clock::now() + StartLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        CheckThatItRuns();
        std::ifstream file(portsFile);
        const auto ports = nlohmann::json::parse(file, nullptr, false);
        if (ports.is_object() && ports.contains("nats") && !ports["nats"].empty()) {
            const std::string address = ports["nats"].front().get<std::string>();
            m_port = static_cast<std::uint16_t>(std::stoul(address.substr(address.rfind(':') + 1)));
            // Read by now; its passwords shall not outlive us on the disk if we are killed.
            std::filesystem::remove(m_folder.Path() / "router.conf");
            return;
        }
        std::this_thread::sleep_for(PollInterval);
    }
    throw LinkError("the router did not become ready within " + std::to_string(StartLimit.count()) + " s");
}

void PrivateRouter::CheckThatItRuns()
{
    bool hasEnded = false;
    TidyUp::Undisturbed([&] { hasEnded = HasEnded(); });
    if (hasEnded) throw LinkError("the router has ended: " + ReasonOfItsEnd());
}

std::string PrivateRouter::ReasonOfItsEnd() const
{
    if (WIFSIGNALED(m_exitStatus)) return "killed by signal " + std::to_string(WTERMSIG(m_exitStatus));
    if (WEXITSTATUS(m_exitStatus) == NotInstalled)
        return "nats-server is not installed; on Debian: apt-get install nats-server";
    std::string reason = FirstComplaint(m_folder.Path() / LogFile, {"[FTL] ", "[ERR] "});
    if (reason.empty()) reason = FirstComplaint(m_folder.Path() / ErrorFile, {"nats-server: ", ""});
    const std::string status = "exit status " + std::to_string(WEXITSTATUS(m_exitStatus));
    return reason.empty() ? status : reason + " (" + status + ")";
}

bool PrivateRouter::HasEnded() noexcept
{
    if (m_pid > 0 && ::waitpid(m_pid, &m_exitStatus, WNOHANG) == m_pid) m_pid = -1;
    return m_pid < 0;
}

void PrivateRouter::End() noexcept
{
    if (HasEnded()) return;
    ::kill(m_pid, SIGTERM); // our own live child: waitpid has just said so
    const auto deadline = std::chrono::steady_clock::now() + EndLimit;
    while (!HasEnded()) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, &m_exitStatus, 0);
            m_pid = -1;
            return;
        }
        std::this_thread::sleep_for(PollInterval);
    }
}

std::string MakePassword()
{
    std::array<unsigned char, 16> bytes{};
    if (::getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size()))
        throw std::system_error(errno, std::generic_category(), "getrandom");
    std::string password;
    for (const unsigned char byte : bytes) {
        password += "0123456789abcdef"[byte >> 4];
        password += "0123456789abcdef"[byte & 15];
    }
    return password;
}

} // namespace quindal
