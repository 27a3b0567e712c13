#include "AccessLog.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "Errors.h"
#include "Printable.h"
#include "UtcText.h"

namespace quindal {

namespace {

/// A value of a line as one word, whatever a client has sent.
std::string Word(std::string_view text)
{
    if (text.empty()) return "-";
    std::string word = Printable(text.substr(0, 64));
    for (char& c : word)
        if (c == ' ' || c == '"' || c == '=') c = '_';
    return word;
}

} // namespace

AccessLog::AccessLog(std::string file) : m_file(std::move(file)), m_descriptor(Open()) {}

AccessLog::~AccessLog()
{
    if (!m_file.empty()) ::close(m_descriptor);
}

int AccessLog::Open() const
{
    if (m_file.empty()) return STDERR_FILENO;
    const int descriptor =
        ::open(m_file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0640);
    if (descriptor < 0) throw InputError(m_file + ": cannot be written: " + std::generic_category().message(errno));
    return descriptor;
}

void AccessLog::Reopen()
{
    if (m_file.empty()) return;
    const int descriptor = Open();
    const std::lock_guard lock(m_mutex);
    ::close(std::exchange(m_descriptor, descriptor));
}

void AccessLog::Write(const AnsweredRequest& request) noexcept
{
    try {
        const std::string line =
            "time=" + UtcText(std::chrono::system_clock::now()) + " instance=" + std::string(request.instance) +
            " user=" + Word(request.user) + " request=" + std::string(request.request) +
            " outcome=" + std::string(request.outcome) + " bytes=" + std::to_string(request.bytes) +
            " us=" + std::to_string(request.took.count()) + '\n';
        const std::lock_guard lock(m_mutex);
        if (::write(m_descriptor, line.data(), line.size()) < 0) return;
    } catch (...) { // memory has run out
    }
}

} // namespace quindal
