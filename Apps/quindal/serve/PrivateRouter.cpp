#include "PrivateRouter.h"

#include <array>
#include <cerrno>
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

namespace quindal {

namespace {

using namespace std::chrono_literals;

constexpr auto StartLimit = 10s;
constexpr auto EndLimit = 3s;
constexpr auto PollInterval = 2ms;

std::string Quoted(const std::string& text) { return nlohmann::json(text).dump(); }

std::string UserBlock(const RouterUser& user, const std::string& permissions)
{
    return "    { user: " + Quoted(user.name) + ", password: " + Quoted(user.password) + ", permissions: { " +
           permissions + " } }\n";
}

// In the child, between fork and exec: only calls that are safe there.
[[noreturn]] void BecomeRouter(const char* configuration, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != parent) ::_exit(127); // the parent died before the line above
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    // A terminal's Ctrl-C is for the command: it ends the router itself, after the last request is answered.
    ::setpgid(0, 0);
    const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(nowhere, stream);
    ::execlp("nats-server", "nats-server", "-c", configuration, nullptr);
    ::execl("/usr/sbin/nats-server", "nats-server", "-c", configuration, nullptr);
    ::_exit(127);
}

} // namespace

TemporaryFolder::TemporaryFolder(const std::string& prefix)
{
    std::string name = (std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string();
    if (::mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    m_path = name;
}

TemporaryFolder::~TemporaryFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

PrivateRouter::PrivateRouter(const RouterUser& server, const std::vector<RouterUser>& users)
    : m_folder("quindal-router-")
{
    WriteConfiguration(server, users);
    Start();
    try {
        WaitUntilReady();
    } catch (...) {
        End();
        throw;
    }
}

PrivateRouter::~PrivateRouter() { End(); }

void PrivateRouter::WriteConfiguration(const RouterUser& server, const std::vector<RouterUser>& users) const
{
    const std::string folder = m_folder.Path().string();
    std::string text = "server_name: z9router\n"
                       "host: \"127.0.0.1\"\n"
                       "port: -1\n"
                       "ports_file_dir: " +
                       Quoted(folder) +
                       "\n"
                       "pid_file: " +
                       Quoted(folder + "/router.pid") +
                       "\n"
                       "log_file: " +
                       Quoted(folder + "/router.log") +
                       "\n"
                       "max_payload: 64MB\n"
                       "max_pending: 256MB\n"
                       "write_deadline: \"10s\"\n"
                       "ping_interval: \"20s\"\n"
                       "ping_max: 2\n"
                       "authorization {\n"
                       "  timeout: 2\n"
                       "  users = [\n";
    text += UserBlock(server, R"(subscribe: ["z9.svc.>", "$SRV.>"], allow_responses: true)");
    for (const RouterUser& user : users)
        text +=
            UserBlock(user, R"(publish: ["z9.svc.>", "$SRV.INFO.>"], subscribe: ["_INBOX.)" + user.name + R"(.>"])");
    text += "  ]\n}\n";

    std::ofstream file(m_folder.Path() / "router.conf", std::ios::binary);
    file << text;
    if (!file.flush()) throw std::runtime_error("cannot write the router's configuration in " + folder);
}

void PrivateRouter::Start()
{
    const std::string configuration = (m_folder.Path() / "router.conf").string();
    const pid_t parent = ::getpid();
    m_pid = ::fork();
    if (m_pid == 0) BecomeRouter(configuration.c_str(), parent);
    if (m_pid < 0) throw std::system_error(errno, std::generic_category(), "cannot start the router");
}

// The router writes the port it found into a file of its own once it listens.
void PrivateRouter::WaitUntilReady()
{
    const auto portsFile = m_folder.Path() / ("nats-server_" + std::to_string(m_pid) + ".ports");
    const auto deadline = std::chrono::steady_clock::now() + StartLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (HasEnded()) throw std::runtime_error("the router ended at once: is nats-server installed?");
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
    throw std::runtime_error("the router did not become ready");
}

bool PrivateRouter::HasEnded()
{
    if (m_pid > 0 && ::waitpid(m_pid, nullptr, WNOHANG) == m_pid) m_pid = -1;
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
            ::waitpid(m_pid, nullptr, 0);
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
