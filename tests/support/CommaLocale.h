// CommaLocale: the process as a host has it whose numbers have a decimal comma, 77,25 for 77.25. Machines need not have
// such a locale, so one is made, of the definitions of Debian's package locales, in a folder of its own.
#pragma once

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace testing_support {

/// While it lives, the process writes one and a half as "1,5". Throws where that cannot be had: a test of the host's
/// locale must not pass for want of one.
class CommaLocale
{
public:
    static constexpr const char* Name = "xx_XX.UTF-8";

    CommaLocale()
    {
        std::string folder = (std::filesystem::temp_directory_path() / "comma-locale-XXXXXX").string();
        if (::mkdtemp(folder.data()) == nullptr) throw std::runtime_error("no folder for a locale");
        m_folder = folder;
        const std::string definition = m_folder / "comma";
        std::ofstream(definition) << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3\n"
                                     "END LC_NUMERIC\nLC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n";
        // It warns of the categories that are not there, by its status too.
        const std::string command = "localedef -c -f UTF-8 -i '" + definition + "' '" + (m_folder / Name).string() +
                                    "' 2>'" + (m_folder / "warnings").string() + "'";
        [[maybe_unused]] const int status = std::system(command.c_str());
        ::setenv("LOCPATH", m_folder.c_str(), 1);
        const bool isSet = std::setlocale(LC_NUMERIC, Name) != nullptr;
        char shown[8];
        std::snprintf(shown, sizeof shown, "%.1f", 1.5);
        if (isSet && shown == std::string("1,5")) return;
        Leave();
        throw std::runtime_error("localedef makes no locale with a decimal comma: is the package locales installed?");
    }
    ~CommaLocale() { Leave(); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

private:
    void Leave() const noexcept
    {
        std::setlocale(LC_NUMERIC, "C");
        ::unsetenv("LOCPATH");
        std::error_code ignored;
        std::filesystem::remove_all(m_folder, ignored);
    }

    std::filesystem::path m_folder;
};

} // namespace testing_support
