#ifndef OM_SYS_PPS_H
#define OM_SYS_PPS_H

#include <om/omsys_export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Opens a PPS object and returns a descriptor connected to it, for plain
 * read(), write() and close(). oflag is O_RDONLY, O_WRONLY or O_RDWR,
 * optionally with O_CREAT (create a plain object) and O_NONBLOCK. The path
 * may carry options after '?', as for om::PpsObject ("server" is refused
 * with EINVAL). Returns -1 with errno set on failure.
 *
 * Each read() gives one whole message; a write() of more than 64 KiB fails
 * with EMSGSIZE. Without "wait" and O_NONBLOCK, a read() with nothing
 * waiting fails with EAGAIN after at most one clock tick, and a write()
 * waits while the far side has no room, so that nothing is lost. With
 * "wait", read() blocks until a message comes. read() returns 0 once the
 * far side (a control object's server, else the broker) has gone.
 */
OMSYS_EXPORT int pps_open(const char *path, int oflag);

#ifdef __cplusplus
}
#endif

#endif
