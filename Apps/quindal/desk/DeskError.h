// A request of the page that cannot be answered.
#pragma once

#include <stdexcept>
#include <string>

#include "DeskAnswer.h"

namespace quindal {

class DeskError : public std::runtime_error
{
public:
    DeskError(DeskStatus status, const std::string& text) : std::runtime_error(text), m_status(status) {}
    [[nodiscard]] DeskStatus Status() const noexcept { return m_status; }

private:
    DeskStatus m_status;
};

} // namespace quindal
