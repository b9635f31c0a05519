#ifndef OMDEVICE_CONTROLSERVER_H
#define OMDEVICE_CONTROLSERVER_H

#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QVariantMap>

namespace om {
class PpsObject;
}

namespace omdevice {

/**
 * The server side of a control object: every client's message arrives
 * decoded with the client's id, and answers go to one client or to all.
 */
class ControlServer : public QObject
{
    Q_OBJECT
public:
    /** @p path is the object's path without options; @p mode its permissions. */
    explicit ControlServer(const QString &path, int mode = 0666, QObject *parent = nullptr);
    ~ControlServer() override;

    bool open(QString *error);
    bool isOpen() const;
    /** The errno value of a failed open(). */
    int error() const { return m_error; }
    QString path() const;
    /** The object's name as clients read it: "@" and the last path part. */
    QString objectName() const { return m_objectName; }

    /** Sends @p attributes to one client, headed with the object's name. */
    bool reply(int clientId, const QVariantMap &attributes);
    /** Sends to one client under another object name (e.g. "@control_x"). */
    bool replyAs(int clientId, const QString &objectName, const QVariantMap &attributes);
    /** Sends raw PPS text to one client, as the client will read it after
     *  its header line. */
    bool replyRaw(int clientId, const QByteArray &text);
    /** Sends @p attributes to every client. */
    bool broadcast(const QVariantMap &attributes);

    QSet<int> clients() const { return m_clients; }
    /** What the broker told of a connected client: "pid", "uid", "gid"
     *  and "package" (its application). Empty for an unknown client. */
    QVariantMap clientInfo(int clientId) const { return m_clientInfo.value(clientId); }

Q_SIGNALS:
    void clientOpened(int clientId);
    void clientClosed(int clientId);
    /** A client's message, decoded. */
    void message(int clientId, const QVariantMap &attributes);
    /** A client's message that could not be decoded. */
    void undecodable(int clientId, const QByteArray &text);

private:
    void onReadyRead();
    void handle(const QByteArray &data);

    QString m_path;
    QString m_objectName;
    int m_mode;
    int m_error = 0;
    om::PpsObject *m_pps = nullptr;
    QSet<int> m_clients;
    QHash<int, QVariantMap> m_clientInfo;
};

} // namespace omdevice

#endif
