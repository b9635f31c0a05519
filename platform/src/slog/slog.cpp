#include <sys/slog.h>

#include "slog/slog_p.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

namespace {

int syslogPriority(int severity)
{
    switch (severity) {
    case SLOG_SHUTDOWN:
        return LOG_EMERG;
    case SLOG_CRITICAL:
        return LOG_CRIT;
    case SLOG_ERROR:
        return LOG_ERR;
    case SLOG_WARNING:
        return LOG_WARNING;
    case SLOG_NOTICE:
        return LOG_NOTICE;
    case SLOG_INFO:
        return LOG_INFO;
    default:
        return LOG_DEBUG;
    }
}

QByteArray format(const char *fmt, va_list args)
{
    va_list copy;
    va_copy(copy, args);
    char small[512];
    const int n = std::vsnprintf(small, sizeof small, fmt, copy);
    va_end(copy);
    if (n < 0)
        return QByteArray();
    if (size_t(n) < sizeof small)
        return QByteArray(small, n);
    QByteArray text(n, Qt::Uninitialized);
    std::vsnprintf(text.data(), size_t(n) + 1, fmt, args);
    return text;
}

// One write() of the whole line on a descriptor opened with O_APPEND, so that
// lines of several processes never interleave.
int appendLine(const QByteArray &fileName, const QByteArray &source, int severity, QByteArray text)
{
    text.replace('\n', ' ');
    QByteArray line =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-ddThh:mm:ss.zzz")).toLatin1();
    line += ' ';
    line += program_invocation_short_name;
    line += '[' + QByteArray::number(qint64(::getpid())) + "] ";
    line += source + ' ' + QByteArray::number(severity) + ' ';
    line += text;
    line += '\n';
    const int fd = ::open(fileName.constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    ssize_t n;
    do {
        n = ::write(fd, line.constData(), size_t(line.size()));
    } while (n < 0 && errno == EINTR);
    const int saved = errno;
    ::close(fd);
    if (n != ssize_t(line.size())) {
        errno = n < 0 ? saved : EIO;
        return -1;
    }
    return 0;
}

} // namespace

int om::slog::write(const QByteArray &source, int severity, const QByteArray &text)
{
    ::syslog(syslogPriority(severity), "%s", text.constData());

    const QByteArray fileName = qgetenv("OM_SLOG_FILE");
    if (fileName.isEmpty())
        return 0;
    return appendLine(fileName, source, severity, text);
}

extern "C" int slogf(int opcode, int severity, const char *fmt, ...)
{
    if (!fmt) {
        errno = EINVAL;
        return -1;
    }
    va_list args;
    va_start(args, fmt);
    const QByteArray text = format(fmt, args);
    va_end(args);
    return om::slog::write(QByteArray::number(opcode), severity, text);
}
