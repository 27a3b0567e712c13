/* libZ9Sys, the platform library: types that all its families share.
 *
 * Plain C99. No function of this library throws, prints or ends the process. Texts are zero-terminated bytes,
 * UTF-8 by custom; a pointer argument is never null unless its function says so. */
#ifndef Z9TYPES_H
#define Z9TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define Z9_API __attribute__((visibility("default")))
#else
#define Z9_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result code, 0 is success. Each component owns a range of 0x1000 codes. */
typedef uint32_t Z9ERR;

/* An open ini file. Z9INI_DEFAULT stands for the process's default ini file wherever a handle is asked for. */
typedef void* Z9INI_HANDLE;
#define Z9INI_DEFAULT ((Z9INI_HANDLE)(intptr_t)-1)

/* An open log; null stands for the process's default log. */
typedef void* Z9LOG_HANDLE;

/* A connection to the message router. */
typedef void* Z9MQ_CONN_HANDLE;

/* A message: properties by name and at most one body. */
typedef struct Z9Message Z9Message;

/* Calendar time, all fields 0 for "none". */
typedef struct Z9TIME
{
    uint16_t year;
    uint8_t month; /* 1 to 12 */
    uint8_t day;
    uint8_t hour;
    uint8_t minute;
    uint8_t second;
    uint8_t reserved_; /* keeps msec aligned; always 0 */
    uint16_t msec;
} Z9TIME;

#ifdef __cplusplus
}
#endif
#endif
