/* libZ9Sys: ini files. Sections in brackets, "key = value" lines, lines that begin with ";" or "#" are comments;
 * names are case-sensitive, the order of the file is kept, comments survive a write. Keys before the first section
 * belong to the section "". A section that stands twice is one section; of a key that stands twice the last value
 * counts. Lines that are none of this are ignored, with a warning in the default log, category "Z9Ini".
 *
 * Every operation takes Z9INI_DEFAULT for the process's default file. A handle that is not open gives
 * Z9ERR_COMMON_WRONG_ARGUMENTS (2), a default file that is not open Z9ERR_INI_NOT_OPENED; reads give their default. */
#ifndef Z9INI_H
#define Z9INI_H

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define Z9ERR_INI_ALREADY_OPENED 0x4000u /* the default ini file is open already: not a failure for its opener */
#define Z9ERR_INI_CANNOT_OPEN 0x4001u    /* missing, no regular file, not readable, over 16 MiB */
#define Z9ERR_INI_NOT_OPENED 0x4002u     /* the default file is asked for and not open */
#define Z9ERR_INI_CANNOT_WRITE 0x4003u

/* The process's default ini file. A second open of it gives Z9ERR_INI_ALREADY_OPENED and changes nothing. */
Z9_API Z9ERR Z9IniOpen(const char* name);
Z9_API int Z9IniIsOpened(void); /* 1 or 0 */
Z9_API Z9ERR Z9IniClose(void);

/* A file of the caller's own. On a failing code *handle is left as it was. */
Z9_API Z9ERR Z9IniCustOpen(Z9INI_HANDLE* handle, const char* name);
Z9_API Z9ERR Z9IniCustClose(Z9INI_HANDLE handle);

/* The value, or defaultValue when the key is missing or is no decimal int32. */
Z9_API int32_t Z9IniCustGetInt(Z9INI_HANDLE handle, const char* section, const char* key, int32_t defaultValue);

/* Copies the value (or defaultValue) with its terminating zero, cut to size; returns the size the whole value needs,
 * terminating zero included. A null buffer with size 0 only asks. */
Z9_API size_t Z9IniCustGetStr(Z9INI_HANDLE handle, char* buffer, size_t size, const char* section, const char* key,
                              const char* defaultValue);

/* Write through to the file, which is read again first, so that other writers' keys stay. A name or value that would
 * not be read back as it is (a line break, blanks at its ends, "=" in a key, "]" in a section) gives
 * Z9ERR_COMMON_WRONG_ARGUMENTS. */
Z9_API Z9ERR Z9IniCustWriteInt(Z9INI_HANDLE handle, const char* section, const char* key, int32_t value);
Z9_API Z9ERR Z9IniCustWriteStr(Z9INI_HANDLE handle, const char* section, const char* key, const char* value);

/* Calls back once a name, in file order; the section "" is not named. A section that is not there has no keys. The
 * callback may read the file. It returns 0 to go on; anything else ends the walk, which then
 * gives Z9ERR_COMMON_CANCEL_ENUM (12). */
typedef int (*Z9IniEnumCallback)(const char* name, void* context);
Z9_API Z9ERR Z9IniCustEnumSections(Z9INI_HANDLE handle, Z9IniEnumCallback callback, void* context);
Z9_API Z9ERR Z9IniCustEnumKeys(Z9INI_HANDLE handle, const char* section, Z9IniEnumCallback callback, void* context);

#ifdef __cplusplus
}
#endif
#endif
