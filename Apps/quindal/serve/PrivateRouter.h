// PrivateRouter: a message router of our own, on a free loopback port, alive as long as this object.
//
// The router is nats-server, started as a child process with its configuration in a folder of its own. The child ends
// with us: by the destructor, by the signal that ends the run, and by the kernel if this process dies without either.
// Nobody else's process is ever touched. Of our environment it gets PATH alone: the rest may hold passwords.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "TidyUp.h"

namespace quindal {

/// A folder under the system's temporary folder, readable by its owner alone, removed with everything in it.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::string& prefix); ///< Throws std::system_error.

    [[nodiscard]] const std::filesystem::path& Path() const noexcept { return m_path; }

private:
    std::filesystem::path m_path;
    TidyUp m_tidyUp;
};

struct RouterUser
{
    std::string name; // [A-Za-z0-9_-]+
    std::string password;
};

/// Why the router would not take a text as a password; empty when it would.
[[nodiscard]] std::string_view FaultOfPassword(std::string_view password);

class PrivateRouter
{
public:
    /// Starts a router and waits until it is ready. The router lets the server answer for every service, and lets each
    /// user send requests and read its own inbox. port 0: a free one. Throws InputError for a name or a password that
    /// it cannot take, LinkError with the reason why the router did not start.
    PrivateRouter(const RouterUser& server, const std::vector<RouterUser>& users, std::uint16_t port = 0);

    [[nodiscard]] std::uint16_t Port() const noexcept { return m_port; }
    /// Throws LinkError when the router has ended.
    void CheckThatItRuns();

private:
    void WriteConfiguration(const RouterUser& server, const std::vector<RouterUser>& users, std::uint16_t port) const;
    void Start();
    void WaitUntilReady();
    [[nodiscard]] bool HasEnded() noexcept;
    [[nodiscard]] std::string ReasonOfItsEnd() const;
    void End() noexcept;

    TemporaryFolder m_folder;
    pid_t m_pid = -1;     // our child, -1 when there is none
    int m_exitStatus = 0; // of the child when it has ended, as waitpid gives it
    std::uint16_t m_port = 0;
    TidyUp m_tidyUp; // last: undone first
};

/// A password that nobody can guess, for a router that nobody else is to use: 32 hexadecimal digits.
[[nodiscard]] std::string MakePassword();

} // namespace quindal
