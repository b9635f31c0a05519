#include "omctlclient.h"

#include "command.h"

#include <om/ppsobject.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <QUuid>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace omctl {

namespace {

const QString KeyId = QStringLiteral("id");
const QString KeyDat = QStringLiteral("dat");
const QString KeyErr = QStringLiteral("err");
constexpr int RequestTimeoutMs = 5000;

// The answer to one request: its attributes, or false with the reason.
bool exchange(const QString &path, const QString &msg, const QVariantMap &dat, QVariantMap *answer,
              QString *error)
{
    om::PpsObject pps(path);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe)) {
        *error = pps.error() == ENOENT ? QStringLiteral("no such object (is its service running?)")
                                       : reason(pps.error());
        return false;
    }
    const QString id = QUuid::createUuid().toString();
    if (pps.writeMessage(msg, id, dat) != 0) {
        *error = reason(pps.error());
        return false;
    }
    QElapsedTimer clock;
    clock.start();
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(&pps, &om::PpsObject::readyRead, &loop, &QEventLoop::quit);
    for (;;) {
        bool ok = false;
        const QByteArray data = pps.read(&ok);
        if (ok) {
            const QVariantMap decoded = om::PpsObject::decode(data, &ok);
            if (!ok) {
                *error = QStringLiteral("the service sent an answer that cannot be decoded");
                return false;
            }
            QVariantMap attributes = decoded;
            if (!decoded.isEmpty() && decoded.firstKey().startsWith(QLatin1Char('@')))
                attributes = decoded.first().toMap();
            // Broadcasts to every client may come between; the answer
            // carries our id.
            if (attributes.value(KeyId).toString() == id) {
                *answer = attributes;
                return true;
            }
        } else if (pps.error() != EAGAIN) {
            *error = reason(pps.error());
            return false;
        }
        const qint64 left = RequestTimeoutMs - clock.elapsed();
        if (left <= 0) {
            *error =
                QStringLiteral("no answer from the service within %1 ms").arg(RequestTimeoutMs);
            return false;
        }
        timer.start(int(left));
        loop.exec();
    }
}

} // namespace

int fail(const QString &subject, const QString &reason)
{
    std::fprintf(stderr, "omctl: %s: %s\n", qPrintable(subject), qPrintable(reason));
    return Failure;
}

int usage(const QString &message)
{
    std::fprintf(stderr, "omctl: %s (see 'omctl --help')\n", qPrintable(message));
    return Usage;
}

QString reason(int error)
{
    switch (error) {
    case ENOENT:
        return QStringLiteral("no such object");
    case EACCES:
        return QStringLiteral("permission denied");
    case ECONNREFUSED:
        return QStringLiteral("no bus broker is running at %1 (start omdeviced)")
            .arg(om::PpsObject::rootDirectory());
    case EBUSY:
        return QStringLiteral("the object already has a server");
    case EINVAL:
        return QStringLiteral("invalid object path or option");
    case ENOTDIR:
        return QStringLiteral("not a directory");
    case EMSGSIZE:
        return QStringLiteral("message longer than 64 KiB");
    case ENOTCONN:
        return QStringLiteral("the bus broker went away");
    default:
        return QString::fromLocal8Bit(std::strerror(error));
    }
}

namespace {
bool quietly = false;
}

bool isQuiet()
{
    return quietly;
}

void setQuiet(bool quiet)
{
    quietly = quiet;
}

void out(const QString &line)
{
    if (quietly)
        return;
    std::fputs(qPrintable(line), stdout);
    std::fputc('\n', stdout);
}

std::optional<int> Invocation::positive(const QString &option, int fallback) const
{
    if (!isSet(option))
        return fallback;
    bool ok = false;
    const int number = value(option).toInt(&ok);
    if (!ok || number <= 0) {
        usage(QStringLiteral("--%1 needs a positive number").arg(option));
        return std::nullopt;
    }
    return number;
}

int Invocation::usage(const QString &message) const
{
    return omctl::usage(message);
}

int Invocation::fail(const QString &reason) const
{
    return omctl::fail(m_command.name, reason);
}

std::optional<QVariantMap> Invocation::request(const QString &path, const QString &msg,
                                               const QVariantMap &dat) const
{
    QVariantMap answer;
    QString error;
    // The bus's failures name the object; the service's refusals the command.
    if (!exchange(path, msg, dat, &answer, &error)) {
        omctl::fail(path, error);
        return std::nullopt;
    }
    if (answer.contains(KeyErr)) {
        fail(answer.value(KeyErr).toString());
        return std::nullopt;
    }
    return answer.value(KeyDat).toMap();
}

} // namespace omctl
