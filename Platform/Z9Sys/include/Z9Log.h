/* libZ9Sys: logs. One default log a process, and as many custom logs as the caller opens.
 *
 * Opened from a section of an ini file:
 *   file       path of a regular file, relative to the working directory; its folder must exist. Required for a custom
 *              log; a default log without it is open and writes nowhere
 *   level      info, warning, error, fatal or off; info by default
 *   max_size   bytes before rotation, 0 for none
 *   max_files  rotated files kept, 5 by default
 *   flush      line: a line is in the file when its call returns (the default); buffer: lines are gathered, some
 *              thousand bytes of them, until the buffer is full, an error or a fatal line comes, or the log is closed
 * The section is found by its exact name or by that name in lower case.
 * A file that is made now is for its owner and group (0640, or less by the umask), a rotated one too; one that was
 * there keeps its permissions. Pipes, devices, folders and sockets are refused, a link to a regular file is followed.
 * A line: "2026-11-21 10:15:30.123 WARNING [category] text"; line breaks in the text become "\n", tabs "\t", the bytes
 * of other control characters their number, "\x1b". A text is cut at 65535 characters. */
#ifndef Z9LOG_H
#define Z9LOG_H

#include <stdarg.h>

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define Z9ERR_LOG_CANNOT_OPEN 0x5001u     /* no file named, it cannot be written, or is no regular file */
#define Z9ERR_LOG_WRONG_PARAMETER 0x5002u /* an unknown level, a number that is none */
#define Z9ERR_LOG_NOT_OPENED 0x5003u

enum
{
    Z9LOG_INFO = 0,
    Z9LOG_WARNING = 1,
    Z9LOG_ERROR = 2,
    Z9LOG_FATAL = 3,
    Z9LOG_OFF = 4
};

/* The default log. Opening it while it is open gives Z9ERR_COMMON_ALREADY_INITIALIZED (17) and changes nothing. */
Z9_API int Z9LogIsOpened(void); /* 1 or 0 */
Z9_API Z9ERR Z9LogOpenEx(Z9INI_HANDLE ini, const char* section);
Z9_API Z9ERR Z9LogClose(void);

/* A custom log. On a failing code *log is left as it was. */
Z9_API Z9ERR Z9LogCustOpenEx(Z9LOG_HANDLE* log, Z9INI_HANDLE ini, const char* section);
Z9_API Z9ERR Z9LogCustClose(Z9LOG_HANDLE log);

/* Lowest severity that is written from now on, Z9LOG_OFF for none. Null is the default log. Acts at once, on call
 * sites that hold a gate too. */
Z9_API Z9ERR Z9LogCustSetLevel(Z9LOG_HANDLE log, int severity);

/* Formats with the verbs of Z9Fmt.h and writes one line. Null is the default log; a log that is not open writes
 * nothing. */
Z9_API void Z9LogCustExv(Z9LOG_HANDLE log, int severity, const char* category, const char* format, va_list args);

/* The gate of a call site: a word that is not 0 while any open log writes this severity and category. One word a
 * (severity, category), alive until the process ends, so that a call site may keep the pointer over closing and
 * reopening of logs. Never null. log and format are taken for the sake of other builds. The form that ends in 0 is for
 * call sites that are seldom on. */
Z9_API volatile int32_t* trcheckEx_Z9LogCustExv_(Z9LOG_HANDLE log, int severity, const char* category,
                                                 const char* format, ...);
Z9_API volatile int32_t* trcheckEx_Z9LogCustExv_0(Z9LOG_HANDLE log, int severity, const char* category,
                                                  const char* format, ...);

/* Straight to the default log. The form Ex takes a category; the others write the empty one. */
Z9_API void Z9LogError(const char* format, ...);
Z9_API void Z9LogErrorEx(const char* category, const char* format, ...);
Z9_API void Z9LogWarning(const char* format, ...);
Z9_API void Z9LogWarningEx(const char* category, const char* format, ...);
Z9_API void Z9LogErrorWithCode(Z9ERR code, const char* format, ...); /* " (code N)" behind the text */

#ifdef __cplusplus
}
#endif
#endif
