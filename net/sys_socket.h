#ifndef JAY_NET_SYS_SOCKET_H
#define JAY_NET_SYS_SOCKET_H

#include <sys/select.h>
#include <sys/socket.h>

#include "core/JExport.h"

/**
 * select() with an exact time-out: waits in slices of 100 ms until a descriptor is ready or the time-out is over.
 * Continues after signals. Ends early if the calling thread is interrupted (JThread::interrupted()). A cancellation
 * point.
 *
 * @param nfds highest descriptor plus one; above FD_SETSIZE the call fails with EINVAL, because an fd_set
 * cannot contain such a descriptor.
 * @param timeout the longest time to wait; null: no limit, and no slices. Not modified. The system's default timeval: a 32-bit program must not define
 * _TIME_BITS where it calls this.
 * @return the number of ready descriptors, which are left in the sets; errno is unchanged. 0 after the time-out,
 * with errno ETIMEDOUT. -1 if the thread is interrupted, or if select fails with an error other than EINTR and
 * EAGAIN.
 */
JAY_API int sys_select(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, timeval* timeout);

/**
 * connect() with a time-out, for descriptors of any number. The descriptor is blocking after success and
 * non-blocking after failure. A cancellation point.
 *
 * @param timeoutMs milliseconds.
 * @return 0, or -1. errno is ETIMEDOUT after a time-out; an error that arrives later than connect()'s own
 *         return is not put into errno (kept: JSocket::connect() relies on it).
 */
JAY_API int sys_connect(int fd, sockaddr* addr, int addrlen, int timeoutMs);

#endif
