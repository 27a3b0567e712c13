#include "z9ini.h"

#include <array>
#include <exception>

#include "except.h"
#include "z9log.h"

namespace kv7base {

namespace {

constexpr const char* logCategory = "QuindalIM";

// Collects a name. No exception may pass through the platform, which calls back from its own loops: a list that cannot
// be filled any further ends the walk.
int Collect(const char* name, void* names, const char* exceptionFormat, const char* unknownText) noexcept
{
    try {
        try {
            static_cast<std::vector<std::string>*>(names)->emplace_back(name);
            return 0;
        } catch (const std::exception& e) {
            KV7TRACE_ERROR_EX(logCategory, exceptionFormat, e.what());
        } catch (...) {
            KV7TRACE_ERROR_EX(logCategory, "%s", unknownText);
        }
    } catch (...) {
        // Not even the message had room.
    }
    return 1;
}

int enum_sections_cb(const char* name, void* context) noexcept
{
    return Collect(name, context, "Exception occurred in enum_sections_cb %s",
                   "Oops! 'catch(...)' occurred in enum_sections_cb :(");
}

int enum_section_keys_cb(const char* name, void* context) noexcept
{
    return Collect(name, context, "Exception occurred in enum_section_keys_cb %s",
                   "Oops! 'catch(...)' occurred in enum_section_keys_cb :(");
}

[[noreturn]] void ThrowMissing(const CZ9Ini& ini, const std::string& section, const std::string& key,
                               const source_location& location)
{
    throw CZ9Error(Z9ERR_COMMON_WRONG_INI_PARAMETER, location)
        .Fmt("Can't read key '%s' in section '%s' from ini-file '%s', parameter is missing", key.c_str(),
             section.c_str(), ini.GetName().c_str());
}

} // namespace

void CZ9Ini::Open(const std::string& name)
{
    m_name = name;
    Z9INI_HANDLE opened = nullptr;
    const Z9ERR code = Z9IniCustOpen(&opened, name.c_str());
    if (code != Z9ERR_OK) throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Open ini file '%s' failed", name.c_str());
    Attach(opened);
}

void CZ9Ini::Close() { Release(); }

void CZ9Ini::WriteInt(const std::string& section, const std::string& key, int value)
{
    const Z9ERR code = Z9IniCustWriteInt(GetHandle(), section.c_str(), key.c_str(), value);
    if (code != Z9ERR_OK) {
        throw CZ9Error(code, KV7_CURRENT_LOCATION)
            .Fmt("Failed to write key '%s' value %d in section '%s' in ini-file '%s'", key.c_str(), value,
                 section.c_str(), m_name.c_str());
    }
}

void CZ9Ini::WriteStr(const std::string& section, const std::string& key, const std::string& value)
{
    const Z9ERR code = Z9IniCustWriteStr(GetHandle(), section.c_str(), key.c_str(), value.c_str());
    if (code != Z9ERR_OK) {
        throw CZ9Error(code, KV7_CURRENT_LOCATION)
            .Fmt("Failed to write key '%s' value '%s' in section '%s' in ini-file '%s'", key.c_str(), value.c_str(),
                 section.c_str(), m_name.c_str());
    }
}

bool CZ9Ini::ReadBool(const std::string& section, const std::string& key, bool defaultValue) const
{
    const std::string undefined = "undefined";
    const std::string text = ReadStr(section, key, undefined);
    if (text == undefined) return defaultValue;
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    throw CZ9Error(Z9ERR_COMMON_WRONG_INI_PARAMETER, KV7_CURRENT_LOCATION)
        .Fmt("Can't read key '%s' in section '%s' from ini-file '%s', unexpected boolean parameter", key.c_str(),
             section.c_str(), m_name.c_str());
}

int CZ9Ini::ReadInt(const std::string& section, const std::string& key, int defaultValue) const
{
    return Z9IniCustGetInt(GetHandle(), section.c_str(), key.c_str(), defaultValue);
}

int CZ9Ini::ReadRequiredInt(const std::string& section, const std::string& key) const
{
    // Read twice with two defaults: only an existing key gives one answer.
    const int first = ReadInt(section, key, 1);
    const int second = ReadInt(section, key, 2);
    if (first != second) ThrowMissing(*this, section, key, KV7_CURRENT_LOCATION);
    return first;
}

std::string CZ9Ini::ReadStr(const std::string& section, const std::string& key, const std::string& defaultValue) const
{
    std::array<char, 512> ordinary{};
    const std::size_t needed = Z9IniCustGetStr(GetHandle(), ordinary.data(), ordinary.size(), section.c_str(),
                                               key.c_str(), defaultValue.c_str());
    if (needed <= ordinary.size()) return ordinary.data();
    std::vector<char> large(needed);
    static_cast<void>(
        Z9IniCustGetStr(GetHandle(), large.data(), large.size(), section.c_str(), key.c_str(), defaultValue.c_str()));
    return large.data();
}

std::string CZ9Ini::ReadRequiredStr(const std::string& section, const std::string& key) const
{
    // Read twice with two defaults; no text can equal both.
    std::string first = ReadStr(section, key, "-1");
    const std::string second = ReadStr(section, key, "-2");
    if (first != second) ThrowMissing(*this, section, key, KV7_CURRENT_LOCATION);
    return first;
}

bool CZ9Ini::EnumSections(std::vector<std::string>& sections) const
{
    return Z9IniCustEnumSections(GetHandle(), &enum_sections_cb, &sections) == Z9ERR_OK;
}

bool CZ9Ini::EnumSectionKeys(const std::string& section, std::vector<std::string>& keys) const
{
    return Z9IniCustEnumKeys(GetHandle(), section.c_str(), &enum_section_keys_cb, &keys) == Z9ERR_OK;
}

CZ9DefaultIni::~CZ9DefaultIni()
{
    static_cast<void>(Detach()); // the marker only names the process's file
}

void CZ9DefaultIni::Open(const std::string& name)
{
    m_name = name;
    const Z9ERR code = Z9IniOpen(name.c_str());
    if (code != Z9ERR_OK && code != Z9ERR_INI_ALREADY_OPENED)
        throw CZ9Error(code, KV7_CURRENT_LOCATION).Fmt("Open default ini file '%s' failed", name.c_str());
    if (GetHandle() == Z9INI_DEFAULT) return;
    Attach(Z9INI_DEFAULT);
}

} // namespace kv7base
