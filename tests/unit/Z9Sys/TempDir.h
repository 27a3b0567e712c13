// A folder of the test's own, gone with everything in it at the end of the scope; and whole files in one call.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

class TempDir
{
public:
    TempDir()
    {
        std::string name = (std::filesystem::temp_directory_path() / "z9sys.XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = name;
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] std::string File(const std::string& name) const { return (path_ / name).string(); }

    // Writes a file and gives its path.
    [[nodiscard]] std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name), std::ios::binary) << content;
        return File(name);
    }

private:
    std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline std::vector<std::string> ReadLines(const std::string& path)
{
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}
