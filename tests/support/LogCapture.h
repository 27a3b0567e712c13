// LogCapture: what the library logs while a test runs.
//
// From its construction to its end the library's messages go to a file of the test's own; Take() gives the lines that
// came since the last Take(), without their time:
//     LogCapture log;
//     ... something that warns ...
//     EXPECT_THAT(log.Take(), ElementsAre("WARNING [InstrumentsRepository] While ..."));
// Afterwards the library writes to the default log again, and the files are gone. One at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Z9Ini.h"
#include "z9log.h"

class LogCapture
{
public:
    LogCapture()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-log-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory: " + name);
        m_directory = name;
        m_file = m_directory / "test.log";

        const std::filesystem::path iniFile = m_directory / "test.ini";
        std::ofstream(iniFile) << "[log]\nfile = " << m_file.string() << "\nlevel = info\n";
        Z9INI_HANDLE ini = nullptr;
        if (Z9IniCustOpen(&ini, iniFile.c_str()) != 0) throw std::runtime_error("cannot open " + iniFile.string());
        kv7base::GetCustomLog().Open(ini, "log");
        static_cast<void>(Z9IniCustClose(ini));
        kv7base::UseCustomAppLog();
    }

    ~LogCapture()
    {
        kv7base::UseDefaultAppLog();
        kv7base::GetCustomLog().Close();
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Lines since the last call, "SEVERITY [category] text" each.
    [[nodiscard]] std::vector<std::string> Take()
    {
        std::ifstream file(m_file);
        std::vector<std::string> lines;
        std::size_t number = 0;
        for (std::string line; std::getline(file, line);)
            if (number++ >= m_taken) lines.push_back(line.substr(std::min(TimeLength, line.size())));
        m_taken = number;
        return lines;
    }

private:
    static constexpr std::size_t TimeLength = sizeof("2026-11-21 10:15:30.123 ") - 1;

    std::filesystem::path m_directory;
    std::filesystem::path m_file;
    std::size_t m_taken = 0;
};
