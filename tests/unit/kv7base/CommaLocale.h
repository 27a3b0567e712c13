// A host whose numbers have a decimal comma. Machines need not have such a locale, so one is made, of the definitions
// of Debian's package locales, in a directory of its own.
#pragma once

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "TempFiles.h"

namespace testing_support {

/// While it lives, the process writes one and a half as "1,5". Throws where that cannot be had: a test of the host's
/// locale must not pass for want of one.
class CommaLocale
{
public:
    static constexpr const char* Name = "xx_XX.UTF-8";

    CommaLocale()
    {
        const std::string definition = m_files.Write("comma", "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                                                              "grouping 3\nEND LC_NUMERIC\n"
                                                              "LC_CTYPE\ncopy \"POSIX\"\nEND LC_CTYPE\n");
        // It warns of the categories that are not there, by its status too.
        const std::string command = "localedef -c -f UTF-8 -i '" + definition + "' '" + m_files.Path(Name) + "' 2>'" +
                                    m_files.Path("warnings") + "'";
        [[maybe_unused]] const int status = std::system(command.c_str());
        setenv("LOCPATH", m_files.Path("").c_str(), 1);
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
    static void Leave() noexcept
    {
        std::setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
    }

    const TempFiles m_files;
};

} // namespace testing_support
