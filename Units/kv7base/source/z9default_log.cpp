#include "z9default_log.h"

#include "except.h"
#include "z9ini.h"

namespace kv7base {

namespace {

void OpenDefaultLog(Z9INI_HANDLE ini, const std::string& name, const std::string& section)
{
    const Z9ERR code = Z9LogOpenEx(ini, section.c_str());
    if (code != Z9ERR_OK) {
        throw CZ9Error(code, KV7_CURRENT_LOCATION)
            .Fmt("Unable to open default log. Name(%s), section(%s)", name.c_str(), section.c_str());
    }
}

} // namespace

void Z9DefaultLog::Open(const CZ9Ini& ini, const std::string& section)
{
    OpenDefaultLog(ini.GetHandle(), ini.GetName(), section);
}

void Z9DefaultLog::Open(Z9INI_HANDLE ini, const std::string& section)
{
    OpenDefaultLog(ini, {}, section); // a bare handle does not tell its file
}

bool Z9DefaultLog::IsOpen() const { return Z9LogIsOpened() != 0; }

void Z9DefaultLog::Close() { static_cast<void>(Z9LogClose()); }

} // namespace kv7base
