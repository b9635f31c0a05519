#include "identity/identityservicelogger.h"

#include <sys/slog2.h>

#include <QByteArray>

void IdentityServiceLogger::Log(QString message)
{
    static bool initialized = false;
    static slog2_buffer_t buffer = nullptr;
    if (!initialized) {
        slog2_buffer_set_config_t config = {};
        config.num_buffers = 1;
        config.buffer_set_name = "IdentityService";
        config.verbosity_level = SLOG2_INFO;
        config.buffer_config[0].buffer_name = "IdentityService";
        config.buffer_config[0].num_pages = 7;
        slog2_register(&config, &buffer, 0);
        slog2c(buffer, 0, SLOG2_INFO, "Logger Initialized!");
        initialized = true;
    }
    const QByteArray text = message.toLatin1();
    slog2c(buffer, 0, SLOG2_INFO, text.constData());
}
