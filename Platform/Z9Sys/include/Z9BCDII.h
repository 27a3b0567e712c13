/* libZ9Sys: packed decimals.
 *
 * A value is an array of bytes: byte 0 the number M of fractional digits, byte 1 the number N of digits (1 to
 * Z9BCDII_MAX_DIGITS, at least M), then Z9BCDIISIZETL(type) bytes that hold digits and sign, all zero for the value
 * zero. The two head bytes are the caller's to set before a value is computed into it. Arithmetic is exact; a result
 * that does not fit its N digits overflows, one with more than M fractional digits is rounded to nearest, halves away
 * from zero. */
#ifndef Z9BCDII_H
#define Z9BCDII_H

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define Z9BCDII_MAX_DIGITS 63
#define Z9BCDIIMAKETYPE(N, M) (((N) << 8) | ((M)&0xFF))
#define Z9BCDIISIZETL(type) ((((type) >> 8) != 0) ? (((type) >> 9) + (((type) | ((type) >> 8)) & 1)) : 0)

/* Flags that every operation but Z9BCDIICmp returns, or-ed. */
#define Z9BCDII_RESULT_OVERFLOW 0x0001u
#define Z9BCDII_RESULT_ZERO 0x0002u
#define Z9BCDII_RESULT_NEGATIVE 0x0004u
#define Z9BCDII_RESULT_BAD 0x0010u  /* the result is null or its head no N and M, or memory ran out */
#define Z9BCDII_OPERAND_BAD 0x0020u /* the operand's head or digits make no decimal */
#define Z9BCDII_RESULT_PREC 0x0040u /* fractional digits were rounded away */
#define Z9BCDII_OPERAND_NAN 0x0080u
#define Z9BCDII_NOT_STRICT_FORMAT 0x0100u

/* A result is written only when none of OVERFLOW, RESULT_BAD, OPERAND_BAD and OPERAND_NAN is returned. */
Z9_API uint32_t Z9BCDIIAdd(unsigned char* result, const unsigned char* a, const unsigned char* b);
Z9_API uint32_t Z9BCDIISub(unsigned char* result, const unsigned char* a, const unsigned char* b);

/* Returns -1, 0 or 1 when a is below, equal to or above b. A NaN equals a NaN and is below every number; bytes that are
 * no decimal count as a NaN. */
Z9_API int Z9BCDIICmp(const unsigned char* a, const unsigned char* b);

/* Converts a double by its exact value; a NaN gives OPERAND_NAN, an infinity OVERFLOW. */
Z9_API uint32_t Z9BCDIIGetFromDouble(unsigned char* result, double value);
/* Converts a count of units of 10^-fractionalDigits. */
Z9_API uint32_t Z9BCDIIGetFromInt64(unsigned char* result, int64_t value, int fractionalDigits);
/* Reads plain decimal text, "-12.5": sign, digits, point, digits; ".5" and "1." will do. Blanks around it give
 * NOT_STRICT_FORMAT with the value; anything else OPERAND_BAD. */
Z9_API uint32_t Z9BCDIIGetFromStr(unsigned char* result, const char* text);

Z9_API uint32_t Z9BCDII2Double(double* result, const unsigned char* value); /* nearest double */
/* Gives the value in units of 10^-fractionalDigits, rounded to nearest, halves away from zero. */
Z9_API uint32_t Z9BCDII2Int64(int64_t* result, const unsigned char* value, int fractionalDigits);
/* Writes plain decimal text with all M fractional digits, "nan" for a NaN, cut to size; OVERFLOW when it does not
 * fit. */
Z9_API uint32_t Z9BCDII2Str(char* buffer, size_t size, const unsigned char* value);

/* The value that is no number, the smallest and the largest of its N and M. */
Z9_API void Z9BCDIISetNaN(unsigned char* value);
Z9_API void Z9BCDIISetMin(unsigned char* value);
Z9_API void Z9BCDIISetMax(unsigned char* value);
Z9_API int Z9BCDIIIsNaN(const unsigned char* value); /* 1 or 0 */

#ifdef __cplusplus
}
#endif
#endif
