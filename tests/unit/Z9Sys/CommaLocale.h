// CommaLocale: the process as a host in Germany has it, 77,25 for 77.25, for the time of a test.
#pragma once

#include <clocale>
#include <cstdlib>

#include <gtest/gtest.h>

#include "TempDir.h"

// The locale need not be installed: it is made here, by Debian's localedef from a description of its numbers alone.
class CommaLocale
{
public:
    CommaLocale()
    {
        const std::string source = dir_.Write("numbers", "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                                                         "grouping 3;3\nEND LC_NUMERIC\n");
        const std::string make =
            "localedef --no-archive --force -i " + source + " " + dir_.File("comma") + " 2>/dev/null";
        static_cast<void>(std::system(make.c_str())); // whether it is there now, setlocale tells
        ::setenv("LOCPATH", std::filesystem::path(source).parent_path().c_str(), 1);
        isThere_ = std::setlocale(LC_ALL, "comma") != nullptr;
    }
    ~CommaLocale()
    {
        std::setlocale(LC_ALL, "C");
        ::unsetenv("LOCPATH");
    }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    [[nodiscard]] bool IsThere() const { return isThere_; }

private:
    const TempDir dir_;
    bool isThere_ = false;
};

#define SKIP_WITHOUT_COMMA_LOCALE(locale)                                                                              \
    if (!(locale).IsThere()) GTEST_SKIP() << "no locale can be made: the package locales is missing"
