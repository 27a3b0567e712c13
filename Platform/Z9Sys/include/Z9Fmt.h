/* libZ9Sys: the formatter. The standard printf verbs, and four of its own:
 *   %R     Z9ERR          the code in decimal, ": " and its text, "94820: QuindalIM is not connected"
 *   %P     size_t         decimal
 *   %B     decimal value  const unsigned char* of the packed form in Z9BCDII.h, plain decimal text
 *   %I64d  int64_t        decimal
 * Flags and width hold for all of them. The locale of the process changes nothing: numbers have a point and no groups,
 * texts of errno are English, and wide characters beyond ASCII are a failure. A text argument is never taken for a
 * format; what is no verb is copied as it stands, and %n writes through no pointer. */
#ifndef Z9FMT_H
#define Z9FMT_H

#include <stdarg.h>

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Writes at most size - 1 characters and a terminating zero into buffer; a text that does not fit is cut. Returns the
 * count of characters that stand in the buffer, 0 or less on failure. */
Z9_API int Z9SysVSNPrintf(char* buffer, size_t size, const char* format, va_list args);
Z9_API int Z9SysSNPrintf(char* buffer, size_t size, const char* format, ...);

#ifdef __cplusplus
}
#endif
#endif
