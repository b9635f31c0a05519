#ifndef OM_SYS_SLOG_H
#define OM_SYS_SLOG_H

#include <om/omsys_export.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Severities of a system log message, from the most to the least severe. */
#define SLOG_SHUTDOWN 0
#define SLOG_CRITICAL 1
#define SLOG_ERROR 2
#define SLOG_WARNING 3
#define SLOG_NOTICE 4
#define SLOG_INFO 5
#define SLOG_DEBUG1 6
#define SLOG_DEBUG2 7

/*
 * Writes one message to the system log. opcode tells which component wrote
 * it, severity how serious it is (SLOG_*; out-of-range values count as
 * SLOG_DEBUG2), and fmt with the arguments after it is a printf format.
 *
 * The message goes to syslog. When the environment variable OM_SLOG_FILE
 * names a file, one line is also appended to that file:
 *
 *   <time> <program>[<pid>] <opcode> <severity> <text>
 *
 * with the local time as yyyy-MM-ddThh:mm:ss.zzz and every newline of the
 * text replaced by a blank, so that one message is one line.
 * Returns 0, or -1 with errno set if the file could not be written.
 */
OMSYS_EXPORT int slogf(int opcode, int severity, const char *fmt, ...);

#ifdef __cplusplus
}
#endif

#endif
