// A directory of its own for a test: gone with the test, its files written and read as text.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace testing_support {

class TempFiles
{
public:
    TempFiles()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "kv7base-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no directory for the test");
        m_directory = pattern;
    }
    ~TempFiles()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }
    TempFiles(const TempFiles&) = delete;
    TempFiles& operator=(const TempFiles&) = delete;

    [[nodiscard]] std::string Path(std::string_view name) const { return (m_directory / name).string(); }

    /// Writes a file and gives its path.
    std::string Write(std::string_view name, std::string_view text) const
    {
        std::ofstream(Path(name)) << text;
        return Path(name);
    }

    [[nodiscard]] std::string Read(std::string_view name) const
    {
        std::ostringstream text;
        text << std::ifstream(Path(name)).rdbuf();
        return text.str();
    }

    [[nodiscard]] std::vector<std::string> Lines(std::string_view name) const
    {
        std::ifstream file(Path(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }

private:
    std::filesystem::path m_directory;
};

} // namespace testing_support
