// AccessLog: a line for each request that a server has answered.
#pragma once

#include <mutex>
#include <string>

#include "ImServer.h"

namespace quindal {

class AccessLog
{
public:
    /// Appends to a file, or writes to stderr when there is no name. Throws InputError that names the file.
    explicit AccessLog(std::string file);
    ~AccessLog();
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;

    /// "time=... instance=... user=... request=... outcome=... bytes=... us=...", a user's name with whatever is no
    /// plain letter written out. A line that cannot be written is lost: the answer matters more. From any thread.
    void Write(const AnsweredRequest& request) noexcept;

    /// Opens the file anew, which may have been moved away. Throws InputError, and goes on with the old one.
    void Reopen();

private:
    [[nodiscard]] int Open() const;

    std::string m_file;
    std::mutex m_mutex;
    int m_descriptor;
};

} // namespace quindal
