/* libZ9Sys: calendar time. */
#ifndef Z9TIME_H
#define Z9TIME_H

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Reads "yyyy/MM/dd/hh/mm/ss/mmm" or "yyyy-MM-dd hh:mm:ss[.mmm]"; anything else, a day that the month does not have
 * included, gives Z9ERR_COMMON_WRONG_ARGUMENTS (2) and leaves *time as it was. All digits 0 is the null time. */
Z9_API Z9ERR Z9TimeGetFromStr(Z9TIME* time, const char* text);

/* 0 for a time that the calendar holds (the null time included), else Z9ERR_COMMON_WRONG_ARGUMENTS. */
Z9_API Z9ERR Z9TimeCheck(const Z9TIME* time);

/* Local wall-clock time to UTC, by the C library's time zone; the null time stays null. utc may be local. A time out of
 * the calendar gives Z9ERR_COMMON_WRONG_ARGUMENTS and leaves *utc as it was. */
Z9_API Z9ERR Z9TimeConvertLocalToUTC(Z9TIME* utc, const Z9TIME* local);

#ifdef __cplusplus
}
#endif
#endif
