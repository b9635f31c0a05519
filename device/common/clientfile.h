#ifndef OMDEVICE_CLIENTFILE_H
#define OMDEVICE_CLIENTFILE_H

#include <QString>

#include <sys/types.h>
#include <vector>

namespace omdevice {

class Request;

/** Who a client is to the file system: its user, group and supplementary
 *  groups, as the kernel told its server when it connected. */
struct FileCredentials
{
    uid_t uid = 0;
    gid_t gid = 0;
    std::vector<gid_t> groups;

    static FileCredentials of(const Request &request);
};

/**
 * Opens @p path (absolute) for reading as a process with @p who could: the
 * service may be able to read more than its client, and must not read for
 * it what it could not read itself. Every directory on the way must let
 * @p who search it and the file must let it read; symbolic links are
 * followed as the kernel follows them, through the same checks, and each
 * step is taken from the descriptor of the one before, so that a link
 * swapped in meanwhile changes nothing. Access control lists are not
 * consulted: only the mode bits grant.
 *
 * Returns the descriptor (owned by the caller), or -1 with errno set:
 * EACCES, ENOENT, ENOTDIR, ELOOP, EINVAL for a relative path.
 */
int openAsClient(const FileCredentials &who, const QString &path);

} // namespace omdevice

#endif
