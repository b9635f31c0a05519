#include <sys/slog2.h>

#include "slog/slog_p.h"

#include <QByteArray>

#include <cerrno>

struct slog2_buffer_s
{
    QByteArray name;
    uint8_t verbosity = SLOG2_INFO;
};

extern "C" int slog2_register(const slog2_buffer_set_config_t *config, slog2_buffer_t *handles,
                              uint32_t flags)
{
    if (!config || !handles || flags != 0 || config->num_buffers < 1 ||
        config->num_buffers > SLOG2_MAX_BUFFERS) {
        errno = EINVAL;
        return -1;
    }
    for (int i = 0; i < config->num_buffers; ++i) {
        if (!config->buffer_config[i].buffer_name || config->buffer_config[i].num_pages < 1) {
            errno = EINVAL;
            return -1;
        }
    }
    for (int i = 0; i < config->num_buffers; ++i) {
        // Handles live as long as the process: a log may be written to
        // until its very end.
        auto *buffer = new slog2_buffer_s;
        buffer->name = QByteArray(config->buffer_config[i].buffer_name);
        buffer->verbosity = config->verbosity_level;
        handles[i] = buffer;
    }
    return 0;
}

extern "C" int slog2c(slog2_buffer_t buffer, uint16_t code, uint8_t severity, const char *data)
{
    if (!buffer || !data) {
        errno = EINVAL;
        return -1;
    }
    if (severity > buffer->verbosity)
        return 0;
    return om::slog::write(buffer->name + ' ' + QByteArray::number(code), severity,
                           QByteArray(data));
}
