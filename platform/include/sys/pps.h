#ifndef OM_SYS_PPS_H
#define OM_SYS_PPS_H

#include <om/omsys_export.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Opens a PPS object and returns a descriptor connected to it, for plain
 * read(), write() and close(). oflag is O_RDONLY, O_WRONLY or O_RDWR,
 * optionally with O_CREAT (create a plain object). The path may carry
 * options after '?', as for om::PpsObject. Returns -1 with errno set on
 * failure. Each read() gives one whole message; a write() of more than
 * 64 KiB fails with EMSGSIZE.
 */
OMSYS_EXPORT int pps_open(const char *path, int oflag);

#ifdef __cplusplus
}
#endif

#endif
