// Constants of the facade: its log category, its version and the names under which it reads the ini file.
#pragma once

#include <cstddef>

namespace QuindalIM {

/// Log category of every message of this unit.
inline constexpr const char* LogCategory = "QuindalIM";

/// Version of the library; the server learns it with the user information.
inline constexpr const char* LibraryVersion = "9.9.64.4654";

// The whole ini surface of the library. The keys inside the two log sections belong to the platform.
inline constexpr const char* IniSectionMq = "QuindalIM::mq";
inline constexpr const char* IniKeyPort = "port";
inline constexpr const char* IniKeyTimeout = "timeout"; // milliseconds
inline constexpr const char* IniSectionOptions = "QuindalIM::options";
inline constexpr const char* IniKeyXmlPath = "xmlPath";
inline constexpr const char* IniKeyMaxReplyBytes = "maxReplyBytes";
inline constexpr const char* IniSectionLog = "QuindalIM::log";
inline constexpr const char* IniSectionTraceLog = "QuindalIM::xplog";

/// Bytes that the text of a reply may have unless the ini file allows more: fifty times a whole market of today.
inline constexpr std::size_t DefaultMaxReplyBytes = 256U << 20;

} // namespace QuindalIM
