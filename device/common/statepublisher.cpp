#include "common/statepublisher.h"

#include <om/ppsobject.h>

namespace omdevice {

StatePublisher::StatePublisher(const QString &path, int mode, QObject *parent)
    : QObject(parent), m_path(path), m_mode(mode)
{
}

bool StatePublisher::open(QString *error)
{
    const QString options = QStringLiteral("?create,mode=%1").arg(m_mode, 4, 8, QLatin1Char('0'));
    m_pps = new om::PpsObject(m_path + options, this);
    if (!m_pps->open(om::PpsOpenMode::Publish)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(m_path, m_pps->errorString());
        delete m_pps;
        m_pps = nullptr;
        return false;
    }
    return true;
}

bool StatePublisher::publish(const QVariantMap &attributes, const QStringList &removed)
{
    bool ok = false;
    QByteArray text = om::PpsObject::encode(attributes, &ok);
    if (!ok)
        return false;
    for (const QString &name : removed)
        text += '-' + name.toUtf8() + '\n';
    return publishRaw(text);
}

bool StatePublisher::publishRaw(const QByteArray &text)
{
    return m_pps && m_pps->write(text);
}

} // namespace omdevice
