// Every result code of the library by name, and the one way from a code to its text.
//
// A code is a Z9ERR, unsigned 32-bit, 0 for success. The code space is cut into ranges of Z9ERR_RANGE_SIZE codes, each
// owned by one component of the platform; the library and the trading core share Z9ERR_CORE.
#pragma once

#include "Z9Err.h"

// Ranges: ..._BEGIN is the first code, ..._END the last.
#define KV7_ERROR_RANGE(name, begin)                                                                                   \
    inline constexpr Z9ERR name##_BEGIN = begin;                                                                       \
    inline constexpr Z9ERR name##_END = name##_BEGIN + Z9ERR_RANGE_SIZE - 1;
KV7_ERROR_RANGE(Z9ERR_COMMON, 0x0000)
KV7_ERROR_RANGE(Z9ERR_MSG, 0x1000)
KV7_ERROR_RANGE(Z9ERR_CONN, 0x2000)
KV7_ERROR_RANGE(Z9ERR_ROUTE, 0x3000)
KV7_ERROR_RANGE(Z9ERR_INI, 0x4000)
KV7_ERROR_RANGE(Z9ERR_LOG, 0x5000)
KV7_ERROR_RANGE(Z9ERR_MQ, 0x6000)
KV7_ERROR_RANGE(Z9ERR_MQCRYPT, 0x7000)
KV7_ERROR_RANGE(Z9ERR_DB, 0x8000)
KV7_ERROR_RANGE(Z9ERR_SERV, 0x9000)
KV7_ERROR_RANGE(Z9ERR_REPL, 0xA000)
KV7_ERROR_RANGE(Z9ERR_CRYPT, 0xB000)
KV7_ERROR_RANGE(Z9ERR_ASNS, 0xC000)
KV7_ERROR_RANGE(Z9ERR_VM, 0xD000)
KV7_ERROR_RANGE(Z9ERR_MQASNS, 0xE000)
KV7_ERROR_RANGE(Z9ERR_ACL, 0xF000)
KV7_ERROR_RANGE(Z9ERR_MQSTAT, 0x10000)
KV7_ERROR_RANGE(Z9ERR_BL, 0x11000)
KV7_ERROR_RANGE(Z9ERR_TEST, 0x14000)
KV7_ERROR_RANGE(Z9ERR_ISAMSM, 0x15000)
KV7_ERROR_RANGE(Z9ERR_LRPCQ, 0x16000)
KV7_ERROR_RANGE(Z9ERR_CORE, 0x17000)
KV7_ERROR_RANGE(Z9ERR_HBX, 0x20000)
KV7_ERROR_RANGE(Z9ERR_USER_DEFINED, 0x90000)
#undef KV7_ERROR_RANGE

// The common range; its texts live in the platform.
inline constexpr Z9ERR Z9ERR_OK = 0;
inline constexpr Z9ERR Z9ERR_COMMON_NO_MEMORY = 1;
inline constexpr Z9ERR Z9ERR_COMMON_WRONG_ARGUMENTS = 2;
inline constexpr Z9ERR Z9ERR_COMMON_INTERNAL_ERROR = 3;
inline constexpr Z9ERR Z9ERR_COMMON_SYSCALL_FAILED = 4;
inline constexpr Z9ERR Z9ERR_COMMON_NOT_IMPLEMENTED = 5;
inline constexpr Z9ERR Z9ERR_COMMON_OBJECT_NOT_INITED = 6;
inline constexpr Z9ERR Z9ERR_COMMON_BUFFER_TOO_SMALL = 7;
inline constexpr Z9ERR Z9ERR_COMMON_BUFFER_TOO_LARGE = 8;
inline constexpr Z9ERR Z9ERR_COMMON_MESSAGE_WAS_INTERCEPTED = 9;
inline constexpr Z9ERR Z9ERR_COMMON_INVALID_INTERFACE_VERSION = 10;
inline constexpr Z9ERR Z9ERR_COMMON_BAD_STRING = 11;
inline constexpr Z9ERR Z9ERR_COMMON_CANCEL_ENUM = 12;
inline constexpr Z9ERR Z9ERR_COMMON_EXITCODE_FATAL = 13;
inline constexpr Z9ERR Z9ERR_COMMON_OVERFLOW = 14;
inline constexpr Z9ERR Z9ERR_COMMON_REAL_SIZE_RETURNED = 15;
inline constexpr Z9ERR Z9ERR_COMMON_NOT_SUPPORTED = 16;
inline constexpr Z9ERR Z9ERR_COMMON_ALREADY_INITIALIZED = 17;
inline constexpr Z9ERR Z9ERR_COMMON_WRONG_BUILD = 18;
inline constexpr Z9ERR Z9ERR_COMMON_ALREADY_DEFINED = 19;
inline constexpr Z9ERR Z9ERR_COMMON_EXITCODE_TERMINATED = 20;
inline constexpr Z9ERR Z9ERR_NOT_OK = 21;
inline constexpr Z9ERR Z9ERR_BUFFER_SIZES_MISMATCH = 22;
inline constexpr Z9ERR Z9ERR_COMMON_WRONG_INI_PARAMETER = 23;
inline constexpr Z9ERR Z9ERR_COMMON_NOT_INITIALIZED = 24;
inline constexpr Z9ERR Z9ERR_COMMON_TIMEOUT = 25;
inline constexpr Z9ERR Z9ERR_COMMON_OPEN_FILE_MAPPING_FAILED = 26;
inline constexpr Z9ERR Z9ERR_COMMON_INVALID_OBJECT_STATE = 27;
inline constexpr Z9ERR Z9ERR_COMMON_NO_FREE_OBJECTS = 28;
inline constexpr Z9ERR Z9ERR_COMMON_OBJECT_BUSY = 29;
inline constexpr Z9ERR Z9ERR_COMMON_EXIT_EVENT_RECEIVED = 30;
inline constexpr Z9ERR Z9ERR_COMMON_HANDLE_EOF = 31;
inline constexpr Z9ERR Z9ERR_COMMON_NO_SUCH_ITEM = 32;
inline constexpr Z9ERR Z9ERR_COMMON_EXITCODE_RESTART = 33;
inline constexpr Z9ERR Z9ERR_COMMON_DUPLICATE = 34;
inline constexpr Z9ERR Z9ERR_COMMON_LAST = 35;

// The trading core, 94209 to 95042 with gaps.
#define KV7_ERROR(value, name, text) inline constexpr Z9ERR name = value;
#define KV7_ERROR_NO_TEXT(value, name) inline constexpr Z9ERR name = value;
#include "kv7errors.def"
#undef KV7_ERROR
#undef KV7_ERROR_NO_TEXT
inline constexpr Z9ERR Z9ERR_LAST_ERROR = 95043;

/// Text of a code: from the table of this library for the trading core, from the platform for any other code. Never
/// null, static lifetime. May be called from any thread at any time.
[[nodiscard]] const char* Kv7ErrGetDescrStr(Z9ERR err) noexcept;
