#include "controlclient.h"

#include <QSignalSpy>

namespace omtest {

ControlClient::ControlClient(const QString &path)
    : m_pps(path), m_objectName(QLatin1Char('@') + path.section(QLatin1Char('/'), -1))
{
    m_open = m_pps.open(om::PpsOpenMode::PublishSubscribe);
}

bool ControlClient::send(const QVariantMap &message)
{
    return m_pps.write(om::PpsObject::encode(message));
}

bool ControlClient::sendRaw(const QByteArray &text)
{
    return m_pps.write(text);
}

QVariantMap ControlClient::next()
{
    QSignalSpy readable(&m_pps, &om::PpsObject::readyRead);
    bool ok = false;
    QByteArray data = m_pps.read(&ok);
    if (!ok && readable.wait(5000))
        data = m_pps.read(&ok);
    return ok ? om::PpsObject::decode(data).value(m_objectName).toMap() : QVariantMap();
}

QVariantMap ControlClient::ask(const QVariantMap &message)
{
    return send(message) ? next() : QVariantMap();
}

QVariantMap ControlClient::message(const QString &msg, const QVariant &id, const QVariant &dat)
{
    QVariantMap m{{QStringLiteral("msg"), msg}};
    if (id.isValid())
        m.insert(QStringLiteral("id"), id);
    if (dat.isValid())
        m.insert(QStringLiteral("dat"), dat);
    return m;
}

} // namespace omtest
