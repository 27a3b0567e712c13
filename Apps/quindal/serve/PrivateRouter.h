// PrivateRouter: a message router of our own, on a free loopback port, alive as long as this object.
//
// The router is nats-server, started as a child process with its configuration in a folder of its own. The child ends
// with us: by the destructor, and by the kernel if this process dies first. Nobody else's process is ever touched.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace quindal {

/// A folder under the system's temporary folder, readable by its owner alone, removed with everything in it.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string& prefix); ///< Throws std::system_error.
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const noexcept { return m_path; }

private:
    std::filesystem::path m_path;
};

struct RouterUser
{
    std::string name;     // [A-Za-z0-9_-]+
    std::string password; // any text
};

class PrivateRouter
{
public:
    /// Starts a router that lets the server answer for every service and each user send requests and read its own
    /// inbox, and waits until it is ready. Throws std::runtime_error that says what went wrong.
    PrivateRouter(const RouterUser& server, const std::vector<RouterUser>& users);
    ~PrivateRouter();
    PrivateRouter(const PrivateRouter&) = delete;
    PrivateRouter& operator=(const PrivateRouter&) = delete;

    [[nodiscard]] std::uint16_t Port() const noexcept { return m_port; }

private:
    void WriteConfiguration(const RouterUser& server, const std::vector<RouterUser>& users) const;
    void Start();
    void WaitUntilReady();
    [[nodiscard]] bool HasEnded();
    void End() noexcept;

    TemporaryFolder m_folder;
    pid_t m_pid = -1; // our child, -1 when there is none
    std::uint16_t m_port = 0;
};

/// A password that nobody can guess, for a router that nobody else is to use: 32 hexadecimal digits.
[[nodiscard]] std::string MakePassword();

} // namespace quindal
