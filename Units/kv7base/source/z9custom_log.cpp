#include "z9custom_log.h"

#include <utility>

#include "except.h"
#include "z9ini.h"

namespace kv7base {

Z9CustomLog::~Z9CustomLog() { Z9CustomLog::Close(); }

void Z9CustomLog::Open(const CZ9Ini& ini, const std::string& section)
{
    Z9CustomLog::Close();
    const Z9ERR code = Z9LogCustOpenEx(&m_handle, ini.GetHandle(), section.c_str());
    if (code != Z9ERR_OK) {
        throw CZ9Error(code, KV7_CURRENT_LOCATION)
            .Fmt("Z9LogCustOpenEx failed. file name(%s), section(%s)", ini.GetName().c_str(), section.c_str());
    }
}

void Z9CustomLog::Open(Z9INI_HANDLE ini, const std::string& section)
{
    Z9CustomLog::Close();
    const Z9ERR code = Z9LogCustOpenEx(&m_handle, ini, section.c_str());
    if (code != Z9ERR_OK)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Z9LogCustOpenEx failed. section(%s)", section.c_str());
}

void Z9CustomLog::Close()
{
    if (m_handle != nullptr) static_cast<void>(Z9LogCustClose(std::exchange(m_handle, nullptr)));
}

} // namespace kv7base
