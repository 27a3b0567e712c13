#include "RunLog.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "CalcGOConsts.h"
#include "InputFile.h"
#include "except.h"
#include "z9ini.h"
#include "z9log.h"

namespace quindal {

namespace {

/// "2026-11-21 10:15:30.123 WARNING [category] text": the word behind date and time.
constexpr std::size_t SeverityAt = 24;

std::uintmax_t SizeOf(const std::filesystem::path& file)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(file, error);
    return error ? 0 : size;
}

/// The name under which the ini file has the section of the library's log: as it is or in lower case.
std::optional<std::string> FindLogSection(const kv7base::CZ9Ini& ini)
{
    std::vector<std::string> sections;
    if (!ini.EnumSections(sections)) return std::nullopt;
    for (const char* name : {QuindalIM::IniSectionLog, "quindalim::log"})
        if (std::find(sections.begin(), sections.end(), name) != sections.end()) return name;
    return std::nullopt;
}

} // namespace

std::optional<LogLine> ReadLogLine(const std::string& line)
{
    if (line.size() < SeverityAt || line[4] != '-' || line[10] != ' ' || line[23] != ' ') return std::nullopt;
    const std::string rest = line.substr(SeverityAt);
    const std::string severity = rest.substr(0, rest.find(' '));
    const bool isError = severity == "ERROR" || severity == "FATAL";
    const std::size_t text = rest.find("] ");
    if ((!isError && severity != "WARNING") || text == std::string::npos) return std::nullopt;
    return LogLine{isError, rest.substr(text + 2)};
}

RunLog::RunLog(const std::string& iniFile)
{
    if (iniFile.empty()) {
        OpenOwn();
        return;
    }
    static_cast<void>(ReadInput(iniFile)); // throws for a file that cannot be read
    kv7base::CZ9Ini ini;
    ini.Open(iniFile);
    const std::optional<std::string> section = FindLogSection(ini);
    if (section)
        Follow(ini.ReadStr(*section, "file", ""), ini.ReadStr(*section, "level", "info"));
    else if (const std::string file = ini.ReadStr("", "file", ""); !file.empty())
        Follow(file, ini.ReadStr("", "level", "info"));
    else
        OpenOwn();
}

RunLog::~RunLog()
{
    if (!m_folder) return;
    kv7base::UseDefaultAppLog();
    try {
        kv7base::GetCustomLog().Close();
    } catch (const std::exception&) { // it was written to the last line; nobody reads on
    }
}

void RunLog::OpenOwn()
{
    m_folder.emplace("quindal-log-");
    m_file = m_folder->Path() / "run.log";
    const std::string iniFile = (m_folder->Path() / "log.ini").string();
    std::ofstream text(iniFile);
    text << '[' << QuindalIM::IniSectionLog << "]\nfile = " << m_file.string() << "\nlevel = warning\n";
    if (!text.flush()) throw std::runtime_error("cannot write " + iniFile);
    kv7base::CZ9Ini ini;
    ini.Open(iniFile);
    kv7base::GetCustomLog().Open(ini, QuindalIM::IniSectionLog);
    kv7base::UseCustomAppLog();
}

void RunLog::Follow(const std::string& file, const std::string& level)
{
    std::error_code error;
    const auto type = std::filesystem::status(file, error).type();
    m_file = file;
    m_read = SizeOf(m_file);
    if (level != "info" && level != "warning")
        m_unseen = "the level of the log " + file + " is " + level;
    else if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::not_found)
        m_unseen = "the log " + file + " is no regular file";
}

std::vector<LogLine> RunLog::Next()
{
    std::vector<LogLine> lines;
    if (!m_unseen.empty()) return lines;
    const std::uintmax_t size = SizeOf(m_file);
    if (size < m_read) m_read = 0; // a new file has taken the place of a full one
    if (size == m_read) return lines;
    std::ifstream stream(m_file, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(m_read));
    // A line that is not wholly there yet is left for the next time.
    for (std::string line; std::getline(stream, line) && !stream.eof(); m_read += line.size() + 1)
        if (std::optional<LogLine> read = ReadLogLine(line)) lines.push_back(std::move(*read));
    return lines;
}

} // namespace quindal
