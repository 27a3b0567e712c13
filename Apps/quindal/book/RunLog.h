// RunLog: the library's log during a run, read line by line, so that its warnings reach the person who runs it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "PrivateRouter.h"

namespace quindal {

struct LogLine
{
    bool isError = false; ///< False for a warning.
    std::string text;
};

/// The severity and the text of a log line that warns or tells an error; nothing for information and for other texts.
[[nodiscard]] std::optional<LogLine> ReadLogLine(const std::string& line);

class RunLog
{
public:
    /// Follows the log that an ini file names, from its present end. Without such a log, or without an ini file, makes
    /// the library log its warnings into a file of ours. Throws InputError for an ini file that cannot be read.
    explicit RunLog(const std::string& iniFile = {});
    ~RunLog();
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

    /// Why the library's warnings stay unseen; empty where its log is followed.
    [[nodiscard]] const std::string& Unseen() const noexcept { return m_unseen; }
    /// Lines logged since the last call, without information.
    [[nodiscard]] std::vector<LogLine> Next();

private:
    void OpenOwn();
    void Follow(const std::string& file, const std::string& level);

    std::optional<TemporaryFolder> m_folder; // folder of a log of ours
    std::filesystem::path m_file;
    std::uintmax_t m_read = 0; // bytes read so far
    std::string m_unseen;
};

} // namespace quindal
