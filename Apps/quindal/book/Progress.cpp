#include "Progress.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace quindal {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto Patience = 1s;
constexpr auto Interval = 100ms;
constexpr std::size_t Width = 40;

} // namespace

Progress::Progress(std::string what, std::size_t total, Listener listener)
    : m_what(std::move(what)),
      m_total(total),
      m_listener(std::move(listener)),
      m_visible(::isatty(STDERR_FILENO) == 1),
      m_next(Clock::now() + Patience)
{}

Progress::~Progress()
{
    if (m_drawn) std::fputs("\r\033[K", stderr);
}

void Progress::Step()
{
    ++m_done;
    if (m_listener) m_listener(m_what, m_done, m_total);
    if (!m_visible || Clock::now() < m_next) return;
    m_next = Clock::now() + Interval;
    m_drawn = true;
    Draw();
}

void Progress::Draw() const
{
    const std::size_t filled = m_total == 0 ? Width : Width * m_done / m_total;
    const std::string bar = std::string(filled, '#') + std::string(Width - filled, ' ');
    std::fprintf(stderr, "\r%s [%s] %zu of %zu", m_what.c_str(), bar.c_str(), m_done, m_total);
}

} // namespace quindal
