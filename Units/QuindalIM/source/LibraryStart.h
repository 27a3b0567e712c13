// LibraryStart: the two parts of InitQuindalIM behind its frame: settings and login.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "CalcGOConsts.h"
#include "kv7errors.h"

namespace QuindalIM {

/// The settings of the ini file.
struct QuindalImConfig
{
    std::int32_t mqPort = -1;                         // of the router; only the low 16 bits reach it
    std::int32_t mqTimeout = -1;                      // of a request, ms
    std::string xmlInstrumentsPath;                   // file that takes a copy of each instrument reply, empty for none
    std::size_t maxReplyBytes = DefaultMaxReplyBytes; // of the text of a reply
};

/// Opens the logs and reads the settings, from the file or, where the name is null or empty, from the process's default
/// ini file. Throws CZ9Error.
void InitConfigAndLog(const char* IniFile, QuindalImConfig& config);

/// Starts the queue, connects, logs in and learns how many clients the user may have. Blocks. Returns 0 or the code of
/// the step that failed; the client is clean then.
[[nodiscard]] Z9ERR InitMqCore(const QuindalImConfig& config, const char* username, const char* password);

} // namespace QuindalIM
