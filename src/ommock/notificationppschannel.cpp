#include <om/platform/ommock/notificationppschannel.h>

#include "notification/notificationssharedconstants.h"

#include <om/ppsobject.h>

#include <QAbstractEventDispatcher>
#include <QEventLoop>
#include <QTimer>

using om::platform::NotificationError;

namespace ommock {

NotificationPpsChannel::NotificationPpsChannel(QObject *parent)
    : QObject(parent), m_pps(new om::PpsObject(om::platform::s_servicesPath, this))
{
    // A channel that could not open stands without connections; its user
    // asks isOpen().
    if (m_pps->open(om::PpsOpenMode::PublishSubscribe)) {
        connect(m_pps, &om::PpsObject::readyRead, this, &NotificationPpsChannel::onReadyRead);
        connect(this, &NotificationPpsChannel::sendPassthrough, this, &NotificationPpsChannel::onSend);
    }
}

NotificationPpsChannel::~NotificationPpsChannel() = default;

bool NotificationPpsChannel::isOpen() const
{
    return m_pps && m_pps->isOpen();
}

NotificationError::Type NotificationPpsChannel::send(const QVariantMap &message)
{
    const QByteArray text = om::PpsObject::encode(message, nullptr);
    om::PpsObject pps(om::platform::s_servicesPath);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return NotificationError::ServiceUnavailable;
    const bool written = pps.write(text);
    return written ? NotificationError::None : NotificationError::InvalidRequest;
}

NotificationError::Type NotificationPpsChannel::sendAndWait(const QVariantMap &message,
                                                            QVariantMap &response, int timeoutMs)
{
    // The text is ready before the connection opens: the service is told
    // of a new connection at once, and then finds the message waiting
    // instead of going back to sleep until it comes.
    const QByteArray text = om::PpsObject::encode(message, nullptr);
    om::PpsObject pps(om::platform::s_servicesPath);
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return NotificationError::ServiceUnavailable;
    if (!pps.write(text))
        return NotificationError::InvalidRequest;

    // Without an event dispatcher on this thread (no QCoreApplication) a
    // nested loop cannot wait, it would spin for ever: the answer is taken
    // if it is there already, and otherwise counts as not come in time.
    if (QAbstractEventDispatcher::instance()) {
        QEventLoop loop;
        QTimer timer;
        timer.setSingleShot(true);
        QObject::connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
        QObject::connect(&pps, &om::PpsObject::readyRead, &loop, &QEventLoop::quit);
        if (timeoutMs > 0)
            timer.start(timeoutMs);
        loop.exec();
    }

    // Whatever ended the wait, the first data that arrived is the answer.
    bool ok = false;
    const QByteArray data = pps.read(&ok);
    if (!ok)
        return NotificationError::Unknown;
    bool decoded = false;
    response = om::PpsObject::decode(data, &decoded);
    return decoded ? NotificationError::None : NotificationError::Unknown;
}

void NotificationPpsChannel::onSend(QVariantMap map)
{
    if (!isOpen())
        return;
    m_pps->write(om::PpsObject::encode(map, nullptr));
}

void NotificationPpsChannel::onReadyRead()
{
    if (!isOpen())
        return;
    bool ok = false;
    const QByteArray data = m_pps->read(&ok);
    if (!ok)
        return;
    Q_EMIT receivePassthrough(om::PpsObject::decode(data, nullptr));
}

} // namespace ommock
