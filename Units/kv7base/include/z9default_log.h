// The process's default log. Holds nothing: every object of the class speaks to the same log, by the null handle.
#pragma once

#include "z9log.h"

namespace kv7base {

class Z9DefaultLog : public CZ9Log
{
public:
    /// A log that is open already is the platform's refusal, and throws.
    void Open(const CZ9Ini& ini, const std::string& section) override;
    void Open(Z9INI_HANDLE ini, const std::string& section) override;
    [[nodiscard]] bool IsOpen() const override;
    void Close() override;
    [[nodiscard]] Z9LOG_HANDLE GetHandle() const override { return nullptr; }
};

} // namespace kv7base
