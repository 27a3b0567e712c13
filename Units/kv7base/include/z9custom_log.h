// A log of the library's own, opened from a section of an ini file. Owns its handle: the log closes with the object.
#pragma once

#include "z9log.h"

namespace kv7base {

class Z9CustomLog final : public CZ9Log
{
public:
    constexpr Z9CustomLog() noexcept = default;
    Z9CustomLog(const Z9CustomLog&) = delete;
    Z9CustomLog& operator=(const Z9CustomLog&) = delete;
    ~Z9CustomLog() override;

    /// Opens the log from a section of the ini file. An open log is closed first, and stays closed when the new one
    /// cannot be opened.
    void Open(const CZ9Ini& ini, const std::string& section) override;
    void Open(Z9INI_HANDLE ini, const std::string& section) override;
    [[nodiscard]] bool IsOpen() const override { return m_handle != nullptr; }
    void Close() override;
    [[nodiscard]] Z9LOG_HANDLE GetHandle() const override { return m_handle; }

private:
    Z9LOG_HANDLE m_handle = nullptr; // null when closed
};

} // namespace kv7base
