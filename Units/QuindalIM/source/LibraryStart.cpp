#include "LibraryStart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

#include "CalcGOConsts.h"
#include "LibraryState.h"
#include "QLTracer.h"
#include "SecretText.h"
#include "except.h"
#include "z9ini.h"
#include "z9log.h"

namespace QuindalIM {

using kv7base::CZ9Error;

namespace {

[[nodiscard]] std::string LowerCased(std::string text)
{
    // Section names are ASCII; the locale of the process must not matter.
    std::ranges::transform(text, text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

/// A section that is looked for among the names of an ini file, under its name or the name in lower case.
struct WantedSection
{
    std::string name;
    std::string inLowerCase;
    bool isThere = false;
};

/// Looks at one section name; `context` is the WantedSection. The walk goes on.
int LookAtSectionName(const char* name, void* context) noexcept
{
    auto& wanted = *static_cast<WantedSection*>(context);
    wanted.isThere = wanted.isThere || name == wanted.name || name == wanted.inLowerCase;
    return 0;
}

/// True when the ini file has the section, under this name or the name in lower case.
[[nodiscard]] bool IsExistIniSection(Z9INI_HANDLE handle, const std::string& name)
{
    WantedSection wanted{name, LowerCased(name)};
    const Z9ERR result = Z9IniCustEnumSections(handle, LookAtSectionName, &wanted);
    if (result != Z9ERR_OK)
        throw CZ9Error(result, KV7_CURRENT_LOCATION).Fmt("Error while enumerating QuindalIM ini-file sections");
    return wanted.isThere;
}

void OpenLogsOf(Z9INI_HANDLE handle)
{
    kv7base::CZ9Log& defaultLog = kv7base::GetDefaultLog();
    if (!defaultLog.IsOpen()) defaultLog.Open(handle, "");

    kv7base::CZ9Log& customLog = kv7base::GetCustomLog();
    if (!customLog.IsOpen() && IsExistIniSection(handle, IniSectionLog)) {
        customLog.Open(handle, IniSectionLog);
        kv7base::UseCustomAppLog();
    }
    if (IsExistIniSection(handle, IniSectionTraceLog)) {
        kv7base::QLTracer::Init(handle, IniSectionTraceLog);
        kv7base::QLTracer::SetLogCategory(LogCategory);
    }
}

void OpenLogs(Z9INI_HANDLE handle)
{
    try {
        OpenLogsOf(handle);
    } catch (const CZ9Error& error) {
        throw CZ9Error(error.GetCode(), error.GetLocation()).Fmt("Logs opening failed. %s", error.what());
    }
}

/// Reads a required value. A value of -1 in the file is meant to count as a missing key.
[[nodiscard]] std::int32_t ReadRequired(Z9INI_HANDLE handle, const char* key, Z9ERR codeWhenMissing)
{
    const std::int32_t value = Z9IniCustGetInt(handle, IniSectionMq, key, -1);
    if (value == -1) throw CZ9Error(codeWhenMissing, KV7_CURRENT_LOCATION);
    return value;
}

/// The limit of the ini file, where it is a whole number and above the limit that holds without it.
[[nodiscard]] std::size_t ReadMaxReplyBytes(Z9INI_HANDLE handle)
{
    std::array<char, 32> text{}; // more than the digits of any size
    const std::size_t needed =
        Z9IniCustGetStr(handle, text.data(), text.size(), IniSectionOptions, IniKeyMaxReplyBytes, "");
    if (needed > text.size()) return DefaultMaxReplyBytes;
    const std::string_view digits(text.data());
    std::size_t bytes = 0;
    const auto [behind, error] = std::from_chars(digits.data(), digits.data() + digits.size(), bytes);
    const bool isNumber = error == std::errc{} && behind == digits.data() + digits.size();
    return isNumber ? std::max(bytes, DefaultMaxReplyBytes) : DefaultMaxReplyBytes;
}

void ReadConfig(Z9INI_HANDLE handle, QuindalImConfig& config)
{
    config.mqPort = ReadRequired(handle, IniKeyPort, Z9ERR_QUINDAL_IM_WRONG_PORT);
    config.mqTimeout = ReadRequired(handle, IniKeyTimeout, Z9ERR_QUINDAL_IM_WRONG_MQ_TIMEOUT);

    std::array<char, 4097> path{}; // the longest path of the system and its terminating zero
    const std::size_t needed = Z9IniCustGetStr(handle, path.data(), path.size(), IniSectionOptions, IniKeyXmlPath, "");
    config.xmlInstrumentsPath = needed <= path.size() ? path.data() : "";
    config.maxReplyBytes = ReadMaxReplyBytes(handle);
}

/// A failed step of the login: logs it, leaves a clean client behind and returns the step's code.
[[nodiscard]] Z9ERR LoginStepFailed(const char* format, Z9ERR code)
{
    KV7TRACE_ERROR_EX(LogCategory, format, g_mq_core.GetLastError(), g_mq_core.GetLastErrorCode());
    g_mq_core.Cleanup();
    return code;
}

} // namespace

void InitConfigAndLog(const char* IniFile, QuindalImConfig& config)
{
    if (IniFile != nullptr && *IniFile != '\0') {
        kv7base::CZ9Ini ini;
        ini.Open(IniFile);
        OpenLogs(ini.GetHandle());
        ReadConfig(ini.GetHandle(), config);
        return;
    }
    if (Z9IniIsOpened() == 0)
        throw CZ9Error(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS, KV7_CURRENT_LOCATION)
            .Fmt("Ini file isn't passed and default ini file isn't opened");
    OpenLogs(Z9INI_DEFAULT);
    ReadConfig(Z9INI_DEFAULT, config);
}

Z9ERR InitMqCore(const QuindalImConfig& config, const char* username, const char* password)
{
    KV7TRACE_INFO_EX(LogCategory, "MQ initializing ... port(%d), timeout(%d)", config.mqPort, config.mqTimeout);
    g_mq_core.Cleanup(); // what an earlier try may have left
    g_mq_core.SetMaxReplyBytes(config.maxReplyBytes);

    if (!g_mq_core.Startup(static_cast<std::uint16_t>(config.mqPort), static_cast<std::uint32_t>(config.mqTimeout),
                           config.xmlInstrumentsPath))
        return LoginStepFailed("MQ core startup failed: %s (%R)", Z9ERR_QUINDAL_IM_STARTUP_ERROR);
    if (!g_mq_core.Connect()) return LoginStepFailed("MQ core connect failed: %s (%R)", Z9ERR_QUINDAL_IM_CONNECT_ERROR);
    SecretText secret;
    secret.Assign({password});
    if (!g_mq_core.Login(username, secret.Get()))
        return LoginStepFailed("MQ core login failed: %s (%R)", Z9ERR_QUINDAL_IM_LOGIN_ERROR);
    if (!g_mq_core.GetUserInfo())
        return LoginStepFailed("GetUserInfo failed: %s (%R)", Z9ERR_QUINDAL_IM_GET_USER_INFO_ERROR);

    if (g_mq_core.m_part_count <= 0) {
        KV7TRACE_ERROR_EX(LogCategory, "MQ core - Wrong part_count (%d)", g_mq_core.m_part_count);
        g_mq_core.Cleanup();
        return Z9ERR_QUINDAL_IM_WRONG_PART_COUNT;
    }
    return Z9ERR_OK;
}

} // namespace QuindalIM
