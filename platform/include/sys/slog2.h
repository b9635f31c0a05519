#ifndef OM_SYS_SLOG2_H
#define OM_SYS_SLOG2_H

#include <om/omsys_export.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Severities, from the most to the least severe. */
#define SLOG2_SHUTDOWN 0
#define SLOG2_CRITICAL 1
#define SLOG2_ERROR 2
#define SLOG2_WARNING 3
#define SLOG2_NOTICE 4
#define SLOG2_INFO 5
#define SLOG2_DEBUG1 6
#define SLOG2_DEBUG2 7

/* The most buffers one set may have. */
#define SLOG2_MAX_BUFFERS 4

/* One buffer of a registered set; valid for the life of the process. */
typedef struct slog2_buffer_s *slog2_buffer_t;

typedef struct
{
    const char *buffer_name;
    int num_pages; /* kept for the record: the log is not held in memory */
} slog2_buffer_config_t;

typedef struct
{
    int num_buffers; /* 1 to SLOG2_MAX_BUFFERS */
    const char *buffer_set_name;
    uint8_t verbosity_level; /* messages of a greater severity number are dropped */
    slog2_buffer_config_t buffer_config[SLOG2_MAX_BUFFERS];
} slog2_buffer_set_config_t;

/*
 * Registers a set of log buffers and writes one handle per buffer to
 * handles[0 .. num_buffers - 1]. flags must be 0. Returns 0, or -1 with
 * errno EINVAL for a bad configuration.
 */
OMSYS_EXPORT int slog2_register(const slog2_buffer_set_config_t *config, slog2_buffer_t *handles,
                                uint32_t flags);

/*
 * Writes the text @data to @buffer with @code and @severity, unless the
 * severity is above the set's verbosity level. Like slogf(), the message
 * goes to syslog, and when OM_SLOG_FILE names a file one line is appended:
 *
 *   <time> <program>[<pid>] <buffer name> <code> <severity> <text>
 *
 * Returns 0 (also for a message dropped by the verbosity level), or -1 with
 * errno set: EINVAL for a null buffer or text, or the file's error.
 */
OMSYS_EXPORT int slog2c(slog2_buffer_t buffer, uint16_t code, uint8_t severity, const char *data);

#ifdef __cplusplus
}
#endif

#endif
