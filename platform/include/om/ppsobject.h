#ifndef OM_PPSOBJECT_H
#define OM_PPSOBJECT_H

#include <om/omsys_export.h>
#include <om/ppsopenmode.h>

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace om {

class PpsObjectPrivate;

/**
 * One PPS object of the device bus, opened by path.
 *
 * A path names the object under /pps and may carry options after a '?',
 * separated by commas: "wait" (read blocks until something arrives),
 * "server" (become the server of a control object), "create" (a publisher
 * creates a plain object), "mode=0640" (permissions of an object this
 * connection creates or serves). Each PpsObject is one connection: to the
 * server of a control object, else to the bus broker. The object is closed
 * when it is destroyed.
 *
 * A control object's client outlives its server: when the server goes
 * away, the object stays open, tells its reader nothing, and connects again
 * once the object is served again. Messages written meanwhile are lost.
 *
 * The bus is found through the directory named by OM_PPS_ROOT, else
 * $XDG_RUNTIME_DIR/om-pps, else /tmp/om-pps-<uid>.
 */
class OMSYS_EXPORT PpsObject : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PpsObject)
    Q_DECLARE_PRIVATE(PpsObject)

public:
    /** Binds the object to @p path; nothing is opened yet. */
    explicit PpsObject(const QString &path, QObject *parent = nullptr);
    ~PpsObject() override;

    QString path() const;

    /**
     * Opens the object. Blocks only for a connect, and for the broker's
     * answer where the broker is asked (plain objects, servers). False on
     * failure, with error() set: ENOENT no such object, EACCES refused by
     * the object's permissions, EBUSY the object already has a server,
     * EINVAL a bad path or option, ECONNREFUSED no broker running.
     */
    bool open(PpsOpenMode::Types mode = PpsOpenMode::PublishSubscribe);
    bool isOpen() const;
    void close();

    /**
     * Makes read() block until data arrives, like the "wait" option.
     * Call before open().
     */
    void setBlocking(bool enable);
    bool isBlocking() const;

    /**
     * Takes one message waiting on the object. Sets *ok to true if data was
     * read. Without blocking, with nothing waiting, *ok is false and error()
     * is EAGAIN (11). Once the far side has ended the connection for good
     * (the broker went away, or a server shut this client out), it fails at
     * once with ENOTCONN.
     */
    QByteArray read(bool *ok);

    /** Writes one message of PPS text; at most 64 KiB (EMSGSIZE beyond). */
    bool write(const QByteArray &data);

    /** Writes "msg", "id" and "dat" as one message. Returns 0 on success. */
    int writeMessage(const QString &msg, const QString &id, const QVariantMap &dat);

    int error() const;
    QString errorString() const;

    /** Encodes a map as PPS text. Keys beginning with '@' whose values are
     *  maps become objects of that name. @p ok may be null. */
    static QByteArray encode(const QVariantMap &map, bool *ok = nullptr);

    /** Decodes PPS text: one entry per "@name" line holding that object's
     *  attributes; attributes before any such line stand at top level.
     *  @p ok may be null. */
    static QVariantMap decode(const QByteArray &data, bool *ok = nullptr);

    /** The directory that holds the broker's socket and the mirror files. */
    static QString rootDirectory();

    /** The mirror file of the object at @p ppsPath (options are ignored).
     *  It exists while the object does, with the object's owner and mode. */
    static QString mirrorFilePath(const QString &ppsPath);

    /**
     * Names the objects and directories directly below @p ppsDirectory
     * (directories end with '/'). On failure returns an empty list and sets
     * *error to an errno value.
     */
    static QStringList list(const QString &ppsDirectory, int *error = nullptr);

    /** The largest message that can be written. */
    static constexpr int MaxMessageSize = 64 * 1024;

Q_SIGNALS:
    /** Emitted when the object has data to read. */
    void readyRead();

protected:
    bool event(QEvent *e) override;

private:
    PpsObjectPrivate *const d_ptr;
};

} // namespace om

#endif
