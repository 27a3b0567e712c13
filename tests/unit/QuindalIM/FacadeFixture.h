// FacadeFixture: a library that is started over the fake link, with one calculator; all of it undone at the end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FakeLink.h"
#include "LogCapture.h"
#include "QLTracer.h"
#include "QuindalIM.h"
#include "Z9Log.h"

/// A folder of the test's own, gone with everything in it.
class TestFolder
{
public:
    TestFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "quindal-facade-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        m_path = name;
    }
    ~TestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    [[nodiscard]] std::string File(const std::string& name) const { return (m_path / name).string(); }
    /// Writes a file and gives its path.
    [[nodiscard]] std::string Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(File(name)) << content;
        return File(name);
    }
    [[nodiscard]] std::vector<std::string> Lines(const std::string& name) const
    {
        std::ifstream file(File(name));
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    }

private:
    std::filesystem::path m_path;
};

/// Not started yet: each test says how.
class LibraryTest : public testing::Test
{
protected:
    LibraryTest() { TheLink() = FakeLink(); }
    ~LibraryTest() override
    {
        std::intptr_t calc = 0;
        if (CreateQuindalIMCalculator(&calc) == 0) {
            static_cast<void>(ClearAll(calc));
            static_cast<void>(DestroyQuindalIMCalculator(calc));
            static_cast<void>(DeInitQuindalIM());
        }
        kv7base::QLTracer::DeInit(); // an InitQuindalIM that failed leaves its logs open
        if (Z9LogIsOpened() != 0) static_cast<void>(Z9LogClose());
        TheLink() = FakeLink();
    }

    /// An ini file that works, with a trace log.
    [[nodiscard]] std::string GoodIni() const
    {
        return folder.Write("good.ini", "[QuindalIM::mq]\nport = 4001\ntimeout = 3000\n[QuindalIM::xplog]\nfile = " +
                                            folder.File("trace.log") + "\n");
    }
    /// Lines of the trace log about one function, from its code on: "00,,ClearAll,@QuindalIMCalculator=1".
    [[nodiscard]] std::vector<std::string> TraceOf(const std::string& function) const
    {
        std::vector<std::string> found;
        for (const std::string& line : folder.Lines("trace.log")) {
            std::size_t from = line.find(',', line.find(']')); // behind the start time
            if (from == std::string::npos) continue;
            from = line.find(',', from + 1); // behind the duration
            const std::string rest = line.substr(from + 1);
            if (rest.find("," + function + ",") != std::string::npos) found.push_back(rest);
        }
        return found;
    }

    TestFolder folder;
    LogCapture log;
};

/// Started, with a calculator.
class CalculatorTest : public LibraryTest
{
protected:
    CalculatorTest()
    {
        if (InitQuindalIM(GoodIni().c_str(), "user", "secret") != 0) throw std::runtime_error("init failed");
        if (CreateQuindalIMCalculator(&calc) != 0) throw std::runtime_error("create failed");
        static_cast<void>(log.Take());
    }

    /// Name and value of the handle as the trace has them.
    [[nodiscard]] std::string Handle() const { return "@QuindalIMCalculator=" + std::to_string(calc); }

    std::intptr_t calc = 0;
};
