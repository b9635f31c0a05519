#include "common/controlserver.h"

#include <om/ppsobject.h>

#include <QPointer>

namespace omdevice {

namespace {
constexpr int MaxMessagesPerWakeup = 16;
}

ControlServer::ControlServer(const QString &path, int mode, QObject *parent)
    : QObject(parent), m_path(path), m_mode(mode)
{
    m_objectName = QLatin1Char('@') + path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
}

ControlServer::~ControlServer() = default;

bool ControlServer::open(QString *error)
{
    const QString options = QStringLiteral("?server,mode=%1").arg(m_mode, 4, 8, QLatin1Char('0'));
    m_pps = new om::PpsObject(m_path + options, this);
    if (!m_pps->open(om::PpsOpenMode::PublishSubscribe)) {
        m_error = m_pps->error();
        if (error)
            *error = QStringLiteral("%1: %2").arg(m_path, m_pps->errorString());
        delete m_pps;
        m_pps = nullptr;
        return false;
    }
    connect(m_pps, &om::PpsObject::readyRead, this, &ControlServer::onReadyRead);
    return true;
}

bool ControlServer::isOpen() const
{
    return m_pps && m_pps->isOpen();
}

QString ControlServer::path() const
{
    return m_path;
}

void ControlServer::onReadyRead()
{
    // A client's open and its first message often arrive together: take
    // what is there, a bounded number at a time so that other sources of
    // events get their turn.
    QPointer<ControlServer> self(this);
    for (int i = 0; i < MaxMessagesPerWakeup && self && m_pps; ++i) {
        bool ok = false;
        const QByteArray data = m_pps->read(&ok);
        if (!ok)
            return;
        handle(data);
    }
}

void ControlServer::handle(const QByteArray &data)
{
    // The first line names the client: "@name.<id>" for a message,
    // "+@name.<id>" and "-@name.<id>" when it opens and closes.
    const int nl = data.indexOf('\n');
    const QByteArray header = nl < 0 ? data : data.left(nl);
    const int dot = header.lastIndexOf('.');
    bool idOk = false;
    const int clientId = dot < 0 ? 0 : header.mid(dot + 1).toInt(&idOk);
    if (!idOk)
        return;
    if (header.startsWith("+@")) {
        m_clients.insert(clientId);
        // The broker tells who the client is: pid, uid, gid, package.
        if (nl >= 0)
            m_clientInfo.insert(clientId, om::PpsObject::decode(data.mid(nl + 1)));
        Q_EMIT clientOpened(clientId);
        return;
    }
    if (header.startsWith("-@")) {
        m_clients.remove(clientId);
        Q_EMIT clientClosed(clientId);
        m_clientInfo.remove(clientId);
        return;
    }
    const QByteArray body = nl < 0 ? QByteArray() : data.mid(nl + 1);
    bool decoded = false;
    const QVariantMap attributes = om::PpsObject::decode(body, &decoded);
    if (!decoded) {
        Q_EMIT undecodable(clientId, body);
        return;
    }
    Q_EMIT message(clientId, attributes);
}

bool ControlServer::reply(int clientId, const QVariantMap &attributes)
{
    return replyAs(clientId, m_objectName, attributes);
}

bool ControlServer::replyAs(int clientId, const QString &objectName, const QVariantMap &attributes)
{
    bool ok = false;
    const QByteArray body = om::PpsObject::encode(attributes, &ok);
    if (!ok || !m_pps)
        return false;
    return m_pps->write(objectName.toUtf8() + '.' + QByteArray::number(clientId) + '\n' + body);
}

bool ControlServer::replyRaw(int clientId, const QByteArray &text)
{
    if (!m_pps)
        return false;
    return m_pps->write(m_objectName.toUtf8() + '.' + QByteArray::number(clientId) + '\n' + text);
}

bool ControlServer::broadcast(const QVariantMap &attributes)
{
    bool ok = false;
    const QByteArray body = om::PpsObject::encode(attributes, &ok);
    if (!ok || !m_pps)
        return false;
    return m_pps->write(m_objectName.toUtf8() + '\n' + body);
}

} // namespace omdevice
