// RunLog: what the library logs during a run, read line by line, so that its warnings reach whoever runs it.
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
    bool isError = false; ///< A warning otherwise.
    std::string text;
};

/// The last part of a log line that is no mere information; nothing for one that is, or for no log line at all.
[[nodiscard]] std::optional<LogLine> ReadLogLine(const std::string& line);

class RunLog
{
public:
    /// Follows the log that an ini file names, from its present end. Where it names none, and without an ini file, the
    /// library is made to log its warnings into a file of ours. Throws InputError for an ini file that cannot be read.
    explicit RunLog(const std::string& iniFile = {});
    ~RunLog();
    RunLog(const RunLog&) = delete;
    RunLog& operator=(const RunLog&) = delete;

    /// Empty where the log is followed; otherwise why its warnings stay unseen.
    [[nodiscard]] const std::string& Unseen() const noexcept { return m_unseen; }
    /// What has been logged since the last call, information left out.
    [[nodiscard]] std::vector<LogLine> Next();

private:
    void OpenOwn();
    void Follow(const std::string& file, const std::string& level);

    std::optional<TemporaryFolder> m_folder; // of a log of ours
    std::filesystem::path m_file;
    std::uintmax_t m_read = 0; // bytes that were looked at
    std::string m_unseen;
};

} // namespace quindal
