// Host: the library as an application drives it, over a message queue and a clock that the simulation plays.
//
// There is one library in a process, so there is one Host at a time. It starts the library and makes a calculator; at
// its end nothing is left in the library, and it is stopped.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>

#include "DrawnTree.h"
#include "ExportCalls.h"
#include "PlainMargin.h"

namespace simulation {

class Host
{
public:
    /// traced: every call leaves a line in a trace log.
    explicit Host(bool traced);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    [[nodiscard]] std::intptr_t Calculator() const { return m_calc; }

    /// The library stops and starts, and what it holds stays.
    void Restart();
    /// The library starts after it was stopped.
    void StartAgain();
    /// Everything is cleared, the calculator destroyed, the library stopped and started with another calculator.
    void BeginNewLife();

    /// Enters a market, inserted call by call or downloaded, plain or compressed, and gives its records the isins that
    /// the library knows its instruments by.
    void Enter(plain::Market& market, bool byDownload, bool compressed);
    /// A download that the server answers with a document that breaks off; the code.
    [[nodiscard]] std::int32_t DownloadSomethingBroken();
    /// Makes a call that has to work: takes its name and what makes it, gives the code.
    using Caller = std::function<std::int32_t(const std::string&, const std::function<std::int32_t()>&)>;
    void Register(const Tree& tree, const Caller& make) const;

    /// The isin of an instrument that is in.
    [[nodiscard]] Isin IsinOf(const std::string& code) const;

    /// Moves the clock, forward or back.
    static void MoveClock(std::int64_t milliseconds);
    /// Has the link looked at, so that no call of the next seconds asks the server.
    void LookAtTheLink();
    /// From now on the server does not answer, or does.
    static void SetServerAnswers(bool answers);
    /// The queue writes down what it is asked; a long day would fill the memory with that.
    static void ForgetWhatWasAsked();

private:
    void Start();
    void Stop();

    std::filesystem::path m_folder; // of the ini file
    std::string m_ini;
    std::intptr_t m_calc = 0;
};

/// Throws where a call that has to work gives another code than 0.
void Require(std::int32_t code, const std::string& call);

} // namespace simulation
