// The process's default log. It holds nothing: every object of the class writes to one log, by the null handle.
#pragma once

#include "z9log.h"

namespace kv7base {

class Z9DefaultLog : public CZ9Log
{
public:
    /// Opens the default log. The platform refuses one that is open already, which throws.
    void Open(const CZ9Ini& ini, const std::string& section) override;
    void Open(Z9INI_HANDLE ini, const std::string& section) override;
    [[nodiscard]] bool IsOpen() const override;
    void Close() override;
    [[nodiscard]] Z9LOG_HANDLE GetHandle() const override { return nullptr; }
};

} // namespace kv7base
