/**
 * @file
 * The message bus for programs in C (C99, and C++): a client in seven functions.
 *
 * A message is a buffer of bytes: a 16-byte little-endian header, then the payload.
 *
 *     offset  size  field
 *     0       2     length of the whole message, 16..65535: filled in by ca_write
 *     2       2     destination id, 0..31
 *     4       2     source id: your own
 *     6       1     flag: 1 SYNC (goes to client 0), 2 BROADCAST, 4 TIMED, or a sum of them
 *     7       1     priority, 0 the most urgent
 *     8       4     time stamp in milliseconds: filled in by ca_write; in a TIMED message the time-out, which
 *                   the program fills in
 *     12      4     section: a number of your own, carried unchanged
 *     16            payload
 *
 * Conventions: with a null handle, a function returns -1 or does nothing; with a null buffer it returns 0. No other
 * errors are reported. ca_read, ca_write, ca_peek, ca_next and ca_dump may be called by any thread at any time. A client
 * does not connect again after a loss: writes then send nothing, and reads return the messages received before. No
 * function reports whether there is a connection; a program that must know sends a message to its own id and waits for
 * it with ca_read. After a loss, close the client and open another one.
 */
#ifndef JAY_BUS_CA_C_H
#define JAY_BUS_CA_C_H

#include "core/JExport.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A client, valid from ca_open to ca_close. */
typedef void* ca_handle;

/**
 * Opens a client and connects it once. Blocks for up to 10 seconds, and for the time of a name look-up.
 * @param id client id, 0..31; the server ignores others.
 * @param host name or dotted address of the server; copied. @param port its TCP port.
 * @return a handle; never null, also if it could not connect. Release it with ca_close.
 */
JAY_API ca_handle ca_open(int id, const char* host, int port);

/**
 * Closes a client and frees it. Every message that ca_write has sent before reaches the server first: the connection ends
 * behind it, and ca_close waits, for 1 second at most, until the server has read everything and closes its side. What the
 * server has not read by then the system goes on sending in the background; it is lost only if the server's computer or
 * its connection fails, or if messages for this client arrive after that. A message that the server has read is delivered
 * or kept for its receiver, as any other.
 *
 * Messages not read by the program, and those that arrive meanwhile, are lost. Null is ignored. The handle is dead
 * afterwards: no other thread may be inside a call with it, or make one.
 */
JAY_API void ca_close(ca_handle handle);

/**
 * Sends one message. Blocks while the server does not read, up to 10 seconds for each wait.
 * @param buf the whole message; the function writes the length and the time stamp that it has sent back into buf.
 * @param len bytes in buf, 16 to 65535. More is not sent. 8 to 15 are accepted (kept: callers rely on it), but the
 * server then takes the missing bytes of the header from the next message.
 * @return len, also without a connection; 0 if buf is null or len is below 8, and then nothing is sent; -1 for a null
 * handle.
 */
JAY_API int ca_write(ca_handle handle, void* buf, int len);

/**
 * Takes the next message: one from each of the three bands (priority 0, 1, others) in turn. Does not wait.
 * @param buf receives the message, header included. If the message is longer than `size` bytes, the rest is lost.
 * @return the number of bytes copied; 0 if there is no message, or if buf is null (no message is taken then); -1 for a
 * null handle.
 */
JAY_API int ca_read(ca_handle handle, void* buf, int size);

/** As ca_read, but the message is not taken: further calls return the same one until ca_read or ca_next. */
JAY_API int ca_peek(ca_handle handle, void* buf, int size);

/** Skips the band whose turn it is: the next ca_peek or ca_read begins with the following one. Removes no
 * message. */
JAY_API void ca_next(ca_handle handle);

/** Writes a hex dump of `len` bytes to standard error, while the library's debug output is on. */
JAY_API void ca_dump(const char* buf, int len);

#ifdef __cplusplus
}
#endif

#endif
