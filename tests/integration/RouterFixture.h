// RouterFixture: a message router of the test's own, a real nats-server on loopback.
// Always true:  it listens on a free port that nobody else was given, keeps its files in a directory of its own, and
//               ends with the fixture; should the test program die first, the kernel ends it.
// Make it in a thread that outlives it (the test's own): the router ends with the thread that started it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/types.h>

namespace quindal::test {

struct RouterUser
{
    std::string name;
    std::string password;
    std::vector<std::string> publish;   // subjects it may send to
    std::vector<std::string> subscribe; // subjects it may listen on
    bool answers = false;               // may reply to whoever asked it
};

// A client of the link, allowed what clients do; its inbox carries its name.
[[nodiscard]] RouterUser ClientUser(std::string name, std::string password);
// The server of the link.
[[nodiscard]] RouterUser ServerUser();

struct RouterSettings
{
    // None: a router that asks nobody for a password.
    std::vector<RouterUser> users = {ServerUser(), ClientUser("USER01", "secret1")};
    std::string maxPayload = "64MB"; // largest message, properties included
    // A certificate and its key: the router demands TLS. Empty: it does without.
    std::filesystem::path certificate = {};
    std::filesystem::path key = {};
};

class RouterFixture
{
public:
    // Returns when the router takes connections; throws std::runtime_error when it does not within 10 s.
    explicit RouterFixture(RouterSettings settings = {});
    ~RouterFixture();
    RouterFixture(const RouterFixture&) = delete;
    RouterFixture& operator=(const RouterFixture&) = delete;

    [[nodiscard]] uint16_t Port() const noexcept { return port_; }
    [[nodiscard]] const std::filesystem::path& Directory() const noexcept { return directory_; }

    // Ends the router without a word to its clients, as a crash does.
    void Kill();
    // Starts it again on the same port, with other settings if given.
    void Restart();
    void Restart(RouterSettings settings);
    // Stops and resumes its process: connections stay, nothing is answered.
    void Freeze();
    void Thaw();

private:
    void Start();
    void Signal(int signal) const;
    void Wait();
    [[nodiscard]] bool IsOwnLiveChild() const;
    void WriteConfiguration() const;

    RouterSettings settings_;
    std::filesystem::path directory_;
    uint16_t port_ = 0; // 0 until the first start found a free one
    pid_t pid_ = -1;    // -1: not running
};

} // namespace quindal::test
