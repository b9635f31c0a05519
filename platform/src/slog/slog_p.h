#ifndef OM_SLOG_P_H
#define OM_SLOG_P_H

#include <QByteArray>

namespace om {
namespace slog {

/**
 * Writes one message to syslog and, when OM_SLOG_FILE names a file, appends
 * the line "<time> <program>[<pid>] <source> <severity> <text>" to it.
 * @p source says who wrote it (slogf's opcode, slog2's buffer and code).
 * Returns 0, or -1 with errno set if the file could not be written.
 */
int write(const QByteArray &source, int severity, const QByteArray &text);

} // namespace slog
} // namespace om

#endif
