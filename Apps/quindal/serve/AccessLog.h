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

    /// Writes "time=... instance=... user=... request=... outcome=... bytes=... us=...", with every character of the
    /// user's name that is no plain letter written out. A line that cannot be written is lost, since the answer matters
    /// more. May be called from any thread.
    void Write(const AnsweredRequest& request) noexcept;

    /// Opens the file again, since it may have been moved away. Throws InputError and goes on with the old file.
    void Reopen();

private:
    [[nodiscard]] int Open() const;

    std::string m_file;
    std::mutex m_mutex;
    int m_descriptor;
};

} // namespace quindal
