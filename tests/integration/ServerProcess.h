// ServerProcess: `quindal serve` in a process of its own, on a router of its own, with the files that clients need.
#pragma once

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "CommandLine.h"

namespace quindal::test {

class ServerProcess : public testing::Test
{
protected:
    static constexpr const char* Password = "sesame-of-USER01";

    ~ServerProcess() override { Stop(); }

    [[nodiscard]] std::string File(const std::string& name) const { return (folder.Path() / name).string(); }
    std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }
    [[nodiscard]] static std::string TextOf(const std::string& file)
    {
        std::ostringstream text;
        text << std::ifstream(file, std::ios::binary).rdbuf();
        return text.str();
    }
    /// What a program leaves in its temporary folder, which is the test's own.
    [[nodiscard]] std::vector<std::string> LeftBehind() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(temporary))
            names.push_back(entry.path().filename());
        return names;
    }

    /// The arguments of a server for USER01 and USER02.
    [[nodiscard]] std::vector<std::string> ServeArguments(std::vector<std::string> further = {}) const
    {
        std::vector<std::string> arguments{QUINDAL_COMMAND, "serve", "--instruments", market, "--users", users};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return arguments;
    }
    /// Starts it, and takes the port from the line that it prints.
    void Start(std::vector<std::string> further = {}, std::vector<std::string> variables = {})
    {
        variables.push_back("TMPDIR=" + temporary);
        server.emplace(ServeArguments(std::move(further)), std::move(variables));
        const std::string line = server->ReadLine();
        ASSERT_TRUE(line.starts_with("serving kv7go_srv_60 on port ")) << line << server->Errors();
        port = line.substr(line.rfind(' ') + 1);
        ini = Write("margin.ini", "[QuindalIM::mq]\nport = " + port + "\ntimeout = 5000\n" +
                                      "[QuindalIM::log]\nfile = " + File("margin.log") +
                                      "\n[QuindalIM::xplog]\nfile = " + File("trace.log") + "\n");
    }
    void Stop()
    {
        if (!server) return;
        server->Signal(SIGTERM);
        static_cast<void>(server->Wait());
        server.reset();
    }
    [[nodiscard]] pid_t Router() const
    {
        const std::vector<pid_t> routers = ChildrenOf(server->Pid());
        return routers.size() == 1 ? routers.front() : -1;
    }

    /// Runs a command as a user of the server.
    [[nodiscard]] Finished As(const std::string& user, const std::string& password,
                              std::vector<std::string> arguments) const
    {
        for (const std::string& argument : {std::string("--ini"), ini, std::string("--user"), user})
            arguments.push_back(argument);
        return RunToEnd(std::move(arguments), {"QUINDAL_PASSWORD=" + password, "TMPDIR=" + temporary});
    }
    [[nodiscard]] Finished Status(const std::string& user, const std::string& password) const
    {
        return As(user, password, {QUINDAL_COMMAND, "status"});
    }
    /// From here on nobody waits long for what does not come.
    void BeImpatient() { ini = Write("impatient.ini", "[QuindalIM::mq]\nport = " + port + "\ntimeout = 500\n"); }
    [[nodiscard]] Finished MarginAs(const std::string& user, const std::string& password) const
    {
        return As(user, password, Margin({"--orders", Example("orders.csv"), "--format", "csv"}));
    }

    TemporaryFolder folder{"quindal-serve-"};
    const std::string temporary = [this] {
        std::filesystem::create_directory(File("tmp"));
        return File("tmp");
    }();
    const std::string market = Write("market.xml", TextOf(Example("market.xml")));
    const std::string users = Write("users.csv", "user,part_count,login_type,password\nUSER01,100,CLIENT," +
                                                     std::string(Password) + "\nUSER02,1,CLIENT,other\n");
    std::optional<ChildProcess> server;
    std::string port;
    std::string ini;
};

} // namespace quindal::test
