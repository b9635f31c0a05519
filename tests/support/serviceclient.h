#ifndef OMTEST_SERVICECLIENT_H
#define OMTEST_SERVICECLIENT_H

#include <om/ppsobject.h>

#include <QList>
#include <QVariantMap>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace omtest {

/**
 * A client of a control object whose service runs on the test's own thread,
 * opened as the application @p package if one is given. It keeps every
 * message the service sends, so that a test can wait for the answer to one
 * request while notifications and other answers come in between; waiting
 * runs the event loop, so the service gets its turn.
 */
class ServiceClient : public QObject
{
public:
    explicit ServiceClient(const QString &path, const QString &package = QString())
    {
        if (!package.isNull())
            qputenv("OM_PACKAGE_NAME", package.toUtf8());
        m_pps = std::make_unique<om::PpsObject>(path);
        m_open = m_pps->open(om::PpsOpenMode::PublishSubscribe);
        if (!package.isNull())
            qunsetenv("OM_PACKAGE_NAME");
        connect(m_pps.get(), &om::PpsObject::readyRead, this, [this] {
            bool ok = true;
            while (ok) {
                const QByteArray text = m_pps->read(&ok);
                if (!ok)
                    break;
                // The attributes under the object's name ("@control"), if any.
                const QVariantMap decoded = om::PpsObject::decode(text);
                const bool headed =
                    !decoded.isEmpty() && decoded.firstKey().startsWith(QLatin1Char('@'));
                m_messages.append(headed ? decoded.first().toMap() : decoded);
            }
        });
    }

    bool isOpen() const { return m_open; }
    void sendRaw(const QByteArray &text) { m_pps->write(text); }

    /** Writes a request, numbered by the client unless @p id is given; its id. */
    QString send(const QString &msg, const QVariant &dat = QVariant(), QString id = QString())
    {
        if (id.isNull())
            id = QString::number(++m_lastId);
        QVariantMap message{{"msg", msg}, {"id", id}};
        if (dat.isValid())
            message.insert("dat", dat);
        sendRaw(om::PpsObject::encode(message));
        return id;
    }
    /** Writes a request and waits for the answer with its id. */
    QVariantMap call(const QString &msg, const QVariantMap &dat = QVariantMap(),
                     const QString &id = QString())
    {
        return answerTo(send(msg, dat, id));
    }
    /** The "dat" of the answer to a request. */
    QVariantMap datOf(const QString &msg, const QVariantMap &dat = QVariantMap())
    {
        return call(msg, dat).value("dat").toMap();
    }

    /** The first message that @p match accepts, taken out; empty if none
     *  comes in time. */
    QVariantMap waitFor(const std::function<bool(const QVariantMap &)> &match, int timeoutMs = 5000)
    {
        int found = -1;
        const bool came = QTest::qWaitFor(
            [&] {
                for (int i = 0; i < m_messages.size() && found < 0; ++i)
                    found = match(m_messages.at(i)) ? i : -1;
                return found >= 0;
            },
            timeoutMs);
        return came ? m_messages.takeAt(found) : QVariantMap();
    }
    /** The answer to the request @p id, if it comes in time. */
    QVariantMap answerTo(const QString &id, int timeoutMs = 5000)
    {
        return waitFor([id](const QVariantMap &m) { return m.value("id").toString() == id; },
                       timeoutMs);
    }
    /** The next message, whatever it is. */
    QVariantMap next(int timeoutMs = 5000)
    {
        return waitFor([](const QVariantMap &) { return true; }, timeoutMs);
    }
    /** Whether no message waits, after the service had time for its turn. */
    bool quiet()
    {
        return !QTest::qWaitFor([this] { return !m_messages.isEmpty(); }, 200);
    }
    /** The messages that came and were not taken yet. */
    QList<QVariantMap> waiting() const { return m_messages; }

private:
    std::unique_ptr<om::PpsObject> m_pps;
    bool m_open = false;
    int m_lastId = 0;
    QList<QVariantMap> m_messages;
};

} // namespace omtest

#endif
