/* libZ9Sys: the message queue. A client connects to the local router, logs in, asks for the address of a service and
 * sends requests to it, each answered by one message. One connection is used from one thread at a time.
 *
 * Every call on a connection gives Z9ERR_MQ_INVALID_CONN_HANDLE for a handle that is not, or no longer, one of this
 * process: null, freed, ended by Z9MQCleanup or by the exit of the process, or inherited through fork, whose child
 * leaves the link of its parent alone. A child that is forked while its parent has no handle may start the queue for
 * itself; no other thread may be inside a function of the queue at that moment.
 *
 * No call waits for the router longer than it says, whatever the router does; only the look-up of a host's name takes
 * the time of the name service. SIGPIPE stays as the process has it, and no write of the queue raises it. A null
 * pointer where a text, a message or a place to write is asked for gives Z9ERR_COMMON_WRONG_ARGUMENTS (2). */
#ifndef Z9MQ_H
#define Z9MQ_H

#include "Z9Err.h"
#include "Z9Types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Status word: connection state in the low bits, router state in the high ones. */
#define Z9MQ_CONNECTION_STATE_MASK 0x6u
#define Z9MQ_CONNECTION_CLOSED 0x0u
#define Z9MQ_CONNECTION_READY 0x2u
#define Z9MQ_CONNECTION_BUSY 0x4u /* connecting or reconnecting */
#define Z9MQ_ROUTER_STATUS_MASK 0xFFFF0000u
#define Z9MQ_ROUTER_DISCONNECTED 0x00010000u
#define Z9MQ_ROUTER_RECONNECTING 0x00020000u
#define Z9MQ_ROUTER_CONNECTED 0x00040000u
#define Z9MQ_ROUTER_LOGINFAILED 0x00080000u

/* System messages, "Z9_Category" "Z9_System": the values of their "Z9_Type". */
#define Z9MQ_SYSTEM_ROUTER_STATE 1u   /* "Z9_RouterState", "Z9_LoginId" */
#define Z9MQ_SYSTEM_REQUEST_FAILED 2u /* body: the error number, 4 bytes little-endian */

/* Starts the library; a second call is harmless. While the process exits, and in a child that was forked while its
 * parent had a handle: Z9ERR_COMMON_INVALID_OBJECT_STATE (27). */
Z9_API Z9ERR Z9MQStartup(void);
/* Closes every connection and ends the library, as the exit of the process does. Calls that wait in other threads
 * return at once. Without a start it is harmless. */
Z9_API Z9ERR Z9MQCleanup(void);

/* Makes a handle. The first one starts threads, which take no signals. Before Z9MQStartup:
 * Z9ERR_COMMON_NOT_INITIALIZED (24). */
Z9_API Z9ERR Z9MQCreateConnection(void** handle);
/* Ends the session if there is one. With the last handle the threads end, and with them the NATS client of the process,
 * unless the process had it before the first handle. */
Z9_API Z9ERR Z9MQFreeConnection(Z9MQ_CONN_HANDLE handle);

/* Reaches the router at host:port (host null: 127.0.0.1) and learns what it asks for; flags is 0.
 * Z9ERR_MQ_SOCK_ERROR when nobody greets within 2 s. While a session is open: Z9ERR_COMMON_ALREADY_INITIALIZED (17). */
Z9_API Z9ERR Z9MQConnect(Z9MQ_CONN_HANDLE handle, const char* host, uint16_t port, uint32_t flags);
/* Ends the session if there is one, drops unread messages and forgets the router. */
Z9_API Z9ERR Z9MQDisconnect(Z9MQ_CONN_HANDLE handle);

/* Opens a session. connectionString is "USERNAME=" user ";PASSWORD=" password; a user is [A-Za-z0-9_-]+, the password
 * is everything behind its key. The outcome comes as a router-state message that carries *loginId:
 * Z9MQ_ROUTER_CONNECTED, or Z9MQ_ROUTER_LOGINFAILED for a refused password. A router without passwords: the session is
 * open and the result is Z9ERR_MQCRYPT_LOGIN_NOT_PERMITTED, without a message. No Z9MQConnect before:
 * Z9ERR_MQ_NOT_CONNECTED_YET. A session that is open, reconnecting or not: Z9ERR_MQCRYPT_ALREADY_LOGGED_IN. The router
 * does not let us in within 2 s: Z9ERR_MQ_SOCK_ERROR. Where the router demands TLS, nothing is said before the router
 * has shown a certificate for its host that the system's store trusts; otherwise Z9ERR_MQ_SOCK_ERROR. A session
 * restores itself when the router comes back, over TLS if it began so; it keeps the password for that. */
Z9_API Z9ERR Z9MQLogin(Z9MQ_CONN_HANDLE handle, const char* connectionString, uint32_t* loginId);
/* Ends the session and drops unread messages. No session: Z9ERR_MQ_NOT_CONNECTED_YET. */
Z9_API Z9ERR Z9MQLogout(Z9MQ_CONN_HANDLE handle);
Z9_API Z9ERR Z9MQGetStatus(Z9MQ_CONN_HANDLE handle, uint32_t* status);

/* Gives the next message that came by itself, within timeout milliseconds, otherwise Z9ERR_MQ_TIMEOUT. The caller frees
 * it. */
Z9_API Z9ERR Z9MQGetMsg(Z9MQ_CONN_HANDLE handle, Z9Message** message, uint32_t timeout);

/* Sends a request to its "Z9_To" and waits up to timeout milliseconds. 0 with *reply, which the caller frees: the
 * answer, or a system message that names what went wrong: Z9ERR_MQ_TIMEOUT, Z9ERR_MQ_NO_SERVICE (nobody listens there),
 * Z9ERR_MQ_SOCK_ERROR (the link broke while waiting). Any other result: nothing was sent or received, *reply is null.
 * Z9ERR_MQ_NOT_CONNECTED_YET: no session, or it is reconnecting. Z9ERR_COMMON_WRONG_ARGUMENTS: "Z9_To" is missing or no
 * address. Z9ERR_COMMON_BUFFER_TOO_LARGE (8): properties over 4096 bytes, or the whole over what the router takes. The
 * request stays the caller's. */
Z9_API Z9ERR Z9MQSendMsg(Z9MQ_CONN_HANDLE handle, const Z9Message* message, Z9Message** reply, uint32_t timeout);

/* Writes the address of a service, terminating zero included. *size: capacity in, size needed out. Too small:
 * Z9ERR_COMMON_BUFFER_TOO_SMALL (7). Nobody there within 2 s: Z9ERR_MQ_NO_SERVICE. No session:
 * Z9ERR_MQ_NOT_CONNECTED_YET. A name is [A-Za-z0-9_-]{1,64}. The last two arguments are null and 0. */
Z9_API Z9ERR Z9MQServiceResolve(Z9MQ_CONN_HANDLE handle, const char* name, char* buffer, size_t* size, void* reserved,
                                uint32_t flags);

/* Messages. Property names are case-sensitive visible ASCII without ':'; a property set again takes the new value.
 * The type of a property is its reader's choice: a number may be read as its decimal text. */
Z9_API Z9ERR Z9MsgCreateMessage(Z9Message** message);
Z9_API Z9ERR Z9MsgFreeMessage(Z9Message* message); /* null is harmless */
Z9_API Z9ERR Z9MsgSetFieldStr(Z9Message* message, const char* name, const char* value);
Z9_API Z9ERR Z9MsgSetFieldUINT32(Z9Message* message, const char* name, uint32_t value);
/* Gives a property as a number. Z9ERR_COMMON_NO_SUCH_ITEM (32) when there is no such property,
 * Z9ERR_COMMON_WRONG_ARGUMENTS when it is no uint32. */
Z9_API Z9ERR Z9MsgCopyFieldUINT32(const Z9Message* message, const char* name, uint32_t* value);
/* Gives a property as text; *value lives as long as the message and its property. Z9ERR_COMMON_NO_SUCH_ITEM (32) when
 * there is no such property, Z9ERR_COMMON_WRONG_ARGUMENTS when it is malformed. */
Z9_API Z9ERR Z9MsgGetStrField(const Z9Message* message, const char* name, const char** value);
/* Sets the body to a copy of the bytes; size 0 makes it a message without a body. */
Z9_API Z9ERR Z9MsgSetBody(Z9Message* message, const void* data, size_t size);
/* Gives the body, which stays until it is set again; *data is null and *size 0 for a message without a body. */
Z9_API Z9ERR Z9MsgGetBody(const Z9Message* message, const void** data, size_t* size);
/* Copies the body. *size: capacity in, size of the body out; too small: Z9ERR_COMMON_BUFFER_TOO_SMALL. */
Z9_API Z9ERR Z9MsgCopyBody(const Z9Message* message, void* buffer, size_t* size);

/* Version text of this library; *version is static. */
Z9_API Z9ERR Z9GetVersion(char** version);

#ifdef __cplusplus
}
#endif
#endif
