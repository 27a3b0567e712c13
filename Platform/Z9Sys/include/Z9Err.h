/* libZ9Sys: result codes and their texts. */
#ifndef Z9ERR_H
#define Z9ERR_H

#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

#define Z9ERR_RANGE_SIZE 0x1000u

/* Codes of the platform's own ranges that callers test for by value. The common range is listed whole in
 * the catalogue of the client library; these are the link's. */
#define Z9ERR_MQ_TIMEOUT 0x6001u             /* nothing came within the time given */
#define Z9ERR_MQ_INVALID_CONNECTION 0x6002u  /* the connection is closed for good */
#define Z9ERR_MQ_INVALID_CONN_HANDLE 0x6003u /* not a handle of Z9MQCreateConnection */
#define Z9ERR_MQ_NOT_CONNECTED_YET 0x6004u   /* no router reached, or no session open */
#define Z9ERR_MQ_SOCK_ERROR 0x6005u          /* the network failed */
#define Z9ERR_MQ_NO_SERVICE 0x6006u          /* nobody answers for the service */
#define Z9ERR_MQCRYPT_ALREADY_LOGGED_IN 0x7001u
#define Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED 0x7002u /* the router asks for no login; the session is open all the same */
#define Z9ERR_MQCRYPT_LOGIN_ABORTED 0x7003u

/* Text of a code: of the common range, of the platform's ranges and of every code registered.
 * Never null; the pointer lives until the process ends. One and the same pointer answers for every unknown code. */
Z9_API const char* Z9ErrGetDescrStr(Z9ERR code);

/* Registers a text (copied) for a code. A code that has a text keeps it: Z9ERR_COMMON_ALREADY_DEFINED (19).
 * A null text: Z9ERR_COMMON_WRONG_ARGUMENTS (2). */
Z9_API Z9ERR Z9ErrRegisterDescr(Z9ERR code, const char* text);

#ifdef __cplusplus
}
#endif
#endif
