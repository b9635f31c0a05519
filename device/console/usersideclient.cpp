#include "console/usersideclient.h"

#include "control/controlprotocol_p.h"

#include <om/ppsobject.h>

#include <QDateTime>
#include <QLoggingCategory>

#include <cerrno>
#include <cstring>

namespace omdevice {

Q_DECLARE_LOGGING_CATEGORY(lcConsole)

namespace {
namespace control = om::controlprotocol;

constexpr int FirstRetryMs = 100;
constexpr int LongestRetryMs = 5000;

QString errnoText(int error)
{
    if (error == ENOENT)
        return QStringLiteral("its service is not running");
    return QString::fromLocal8Bit(std::strerror(error));
}
} // namespace

UserSideClient::UserSideClient(const QString &path, QObject *parent) : QObject(parent), m_path(path)
{
    m_retry.setSingleShot(true);
    connect(&m_retry, &QTimer::timeout, this, &UserSideClient::tryOpen);
    m_expiry.setSingleShot(true);
    connect(&m_expiry, &QTimer::timeout, this, &UserSideClient::expire);
}

UserSideClient::~UserSideClient() = default;

void UserSideClient::start()
{
    m_retryMs = FirstRetryMs;
    tryOpen();
}

void UserSideClient::tryOpen()
{
    if (m_pps)
        return;
    auto *pps = new om::PpsObject(m_path, this);
    if (!pps->open(om::PpsOpenMode::PublishSubscribe)) {
        m_lastError = errnoText(pps->error());
        delete pps;
        m_retry.start(m_retryMs);
        m_retryMs = qMin(m_retryMs * 2, LongestRetryMs);
        return;
    }
    m_pps = pps;
    m_lastError.clear();
    m_retryMs = FirstRetryMs;
    connect(m_pps, &om::PpsObject::readyRead, this, &UserSideClient::onReadyRead);
    // Follow the object before anything else: a change after this write is
    // reported, and what the caller asks for next is at least as new.
    m_pps->writeMessage(control::watchMessage(), QStringLiteral("watch"), QVariantMap());
    Q_EMIT connectedChanged(true);
    // Whatever came with the open is waiting already.
    onReadyRead();
}

void UserSideClient::request(const QString &msg, const QVariantMap &dat, const Callback &callback)
{
    if (!m_pps) {
        failLater(callback, m_lastError.isEmpty() ? QStringLiteral("not connected") : m_lastError);
        return;
    }
    const QString id = QString::number(++m_nextId);
    if (m_pps->writeMessage(msg, id, dat) != 0) {
        failLater(callback, QStringLiteral("cannot write to %1: %2")
                                .arg(m_path, errnoText(m_pps->error())));
        return;
    }
    const qint64 deadline = QDateTime::currentMSecsSinceEpoch() + RequestTimeoutMs;
    m_pending.insert(id, Pending{callback, deadline});
    if (!m_expiry.isActive())
        m_expiry.start(RequestTimeoutMs);
}

void UserSideClient::failLater(const Callback &callback, const QString &reason)
{
    QMetaObject::invokeMethod(
        this, [callback, reason]() { callback(Answer{false, QVariantMap(), reason, false}); },
        Qt::QueuedConnection);
}

void UserSideClient::onReadyRead()
{
    while (m_pps) {
        bool ok = false;
        const QByteArray data = m_pps->read(&ok);
        if (!ok) {
            if (m_pps->error() != EAGAIN)
                lost(QStringLiteral("its service went away"));
            return;
        }
        const QVariantMap decoded = om::PpsObject::decode(data, &ok);
        if (!ok) {
            qCWarning(lcConsole).noquote() << m_path << "sent what cannot be decoded";
            continue;
        }
        QVariantMap attributes = decoded;
        if (!decoded.isEmpty() && decoded.firstKey().startsWith(QLatin1Char('@')))
            attributes = decoded.first().toMap();
        if (attributes.value(control::keyMsg()).toString() == control::changedMessage()) {
            Q_EMIT changed(
                attributes.value(control::keyDat()).toMap().value(control::keyWhat()).toString());
            continue;
        }
        const auto pending = m_pending.find(attributes.value(control::keyId()).toString());
        if (pending == m_pending.end())
            continue; // the answer to "watch", or to a request given up on
        const Callback callback = pending->callback;
        m_pending.erase(pending);
        Answer answer;
        if (attributes.contains(control::keyErr())) {
            answer.refused = true;
            answer.error = attributes.value(control::keyErr()).toString();
        } else {
            answer.ok = true;
            answer.dat = attributes.value(control::keyDat()).toMap();
        }
        callback(answer);
    }
}

void UserSideClient::lost(const QString &reason)
{
    m_pps->deleteLater();
    m_pps = nullptr;
    m_lastError = reason;
    const auto pending = m_pending;
    m_pending.clear();
    for (const Pending &p : pending)
        p.callback(Answer{false, QVariantMap(), reason, false});
    Q_EMIT connectedChanged(false);
    m_retry.start(m_retryMs);
}

void UserSideClient::expire()
{
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    qint64 next = 0;
    for (auto it = m_pending.begin(); it != m_pending.end();) {
        if (it->deadline <= now) {
            const Callback callback = it->callback;
            it = m_pending.erase(it);
            callback(Answer{false, QVariantMap(),
                            QStringLiteral("no answer from %1 within %2 ms")
                                .arg(m_path)
                                .arg(RequestTimeoutMs),
                            false});
            // The callback may have changed the table: look at it anew.
            it = m_pending.begin();
            next = 0;
            continue;
        }
        next = next == 0 ? it->deadline : qMin(next, it->deadline);
        ++it;
    }
    if (next > 0)
        m_expiry.start(int(qMax<qint64>(1, next - now)));
}

} // namespace omdevice
