// ChildProcess: a program run by a test, with its output in hand.
//
// Always true:  the child is ours and is signalled only while it lives; it does not outlive the object, nor the test
//               program, which the kernel sees to.
#pragma once

#include <cstddef>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "PrivateRouter.h"

namespace quindal::test {

class ChildProcess
{
public:
    /// Starts arguments[0]. variables: "NAME=value", added to the environment of this process. Standard input is empty.
    explicit ChildProcess(std::vector<std::string> arguments, std::vector<std::string> variables = {})
        : m_arguments(std::move(arguments)), m_variables(std::move(variables))
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        m_out = ends[0];
        const std::string errors = ErrorFile();
        std::vector<char*> argv = Pointers(m_arguments);
        std::vector<char*> environment = Environment();
        const pid_t parent = ::getpid();
        m_pid = ::fork();
        if (m_pid == 0) Become(argv.data(), environment.data(), ends[1], errors.c_str(), parent);
        ::close(ends[1]);
        if (m_pid < 0) throw std::runtime_error("no child");
    }
    ~ChildProcess()
    {
        Signal(SIGKILL);
        if (m_pid > 0) ::waitpid(m_pid, nullptr, 0);
        if (m_out >= 0) ::close(m_out);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    [[nodiscard]] pid_t Pid() const noexcept { return m_pid; }
    void Signal(int signal) const
    {
        if (m_pid > 0) ::kill(m_pid, signal); // ours until waited for
    }
    /// Next line of its standard output, without the line break; what is left at the end of it.
    std::string ReadLine()
    {
        while (m_unread.find('\n') == std::string::npos && Fill()) {
        }
        const std::size_t end = m_unread.find('\n');
        std::string line = m_unread.substr(0, end);
        m_unread.erase(0, end == std::string::npos ? end : end + 1);
        return line;
    }
    /// The rest of its standard output; returns when the child has closed it.
    std::string ReadOut()
    {
        while (Fill()) {
        }
        return std::exchange(m_unread, {});
    }
    /// Nobody reads its standard output any more.
    void CloseOut() { ::close(std::exchange(m_out, -1)); }
    /// Its exit status, 128 and more for a signal; -1 once it was waited for. Blocks until it ends.
    int Wait()
    {
        int status = 0;
        if (m_pid < 0 || ::waitpid(m_pid, &status, 0) != m_pid) return -1;
        m_pid = -1;
        m_signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    /// The signal that it died of, 0 for none: an exit status may look like one. Blocks until it ends.
    int WaitForSignal()
    {
        static_cast<void>(Wait());
        return m_signal;
    }
    [[nodiscard]] std::string Errors() const
    {
        std::ifstream file(ErrorFile());
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

private:
    [[nodiscard]] std::string ErrorFile() const { return (m_folder.Path() / "stderr").string(); }

    [[noreturn]] static void Become(char** argv, char** environment, int out, const char* errors, pid_t parent)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(126);
        ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(::open(errors, O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
        ::execve(argv[0], argv, environment);
        ::_exit(127);
    }

    static std::vector<char*> Pointers(std::vector<std::string>& texts)
    {
        std::vector<char*> pointers;
        for (std::string& text : texts)
            pointers.push_back(text.data());
        pointers.push_back(nullptr);
        return pointers;
    }
    // The added variables first: the first of a name counts.
    std::vector<char*> Environment()
    {
        std::vector<char*> all = Pointers(m_variables);
        all.pop_back();
        for (char** variable = ::environ; *variable != nullptr; ++variable)
            all.push_back(*variable);
        all.push_back(nullptr);
        return all;
    }
    bool Fill()
    {
        char bytes[4096];
        const ssize_t count = ::read(m_out, bytes, sizeof bytes);
        if (count > 0) m_unread.append(bytes, static_cast<std::size_t>(count));
        return count > 0;
    }

    TemporaryFolder m_folder{"quindal-child-"};
    std::vector<std::string> m_arguments;
    std::vector<std::string> m_variables;
    int m_out = -1;
    pid_t m_pid = -1; // -1 once it was waited for
    int m_signal = 0; // that it died of
    std::string m_unread;
};

/// Processes whose parent is this one.
inline std::vector<pid_t> ChildrenOf(pid_t parent)
{
    // Of its first thread, which is the one that starts any.
    std::ifstream file("/proc/" + std::to_string(parent) + "/task/" + std::to_string(parent) + "/children");
    return {std::istream_iterator<pid_t>(file), {}};
}

/// Text of a file of /proc: "cmdline", "environ".
inline std::string OfProcess(pid_t pid, const std::string& name)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/" + name, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

/// Waits for what is to come within seconds; whether it has.
template <class Condition>
bool Eventually(const Condition& condition)
{
    for (int wait = 0; wait < 5000; ++wait) {
        if (condition()) return true;
        ::usleep(1000);
    }
    return condition();
}

/// What a program left behind that ran to its end.
struct Finished
{
    int status;
    std::string out;
    std::string errors;
};

inline Finished RunToEnd(std::vector<std::string> arguments, std::vector<std::string> variables = {})
{
    ChildProcess child(std::move(arguments), std::move(variables));
    std::string out = child.ReadOut();
    const int status = child.Wait();
    return {status, std::move(out), child.Errors()};
}

} // namespace quindal::test
