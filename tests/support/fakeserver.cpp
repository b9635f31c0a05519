#include "fakeserver.h"

#include "common/controlserver.h"

#include <om/ppsobject.h>

#include <QMutexLocker>
#include <QThread>
#include <QTimer>
#include <QtTest/QTest>

namespace omtest {

class FakeServerWorker : public QObject
{
public:
    FakeServerWorker(FakeServer *owner, const QString &path, int mode)
        : m_owner(owner), m_path(path), m_mode(mode)
    {
    }

    int open()
    {
        m_server = new omdevice::ControlServer(m_path, m_mode, this);
        QString error;
        if (!m_server->open(&error)) {
            const int code = m_server->error();
            delete m_server;
            m_server = nullptr;
            return code;
        }
        connect(m_server, &omdevice::ControlServer::clientOpened, this,
                [this](int id) { m_owner->clientOpened(id, m_server->clientInfo(id)); });
        connect(m_server, &omdevice::ControlServer::clientClosed, this,
                [this](int id) { m_owner->clientClosed(id); });
        connect(m_server, &omdevice::ControlServer::message, this,
                [this](int id, const QVariantMap &attributes) {
                    Received r;
                    r.clientId = id;
                    r.attributes = attributes;
                    r.raw = om::PpsObject::encode(attributes);
                    r.decoded = true;
                    handle(r);
                });
        connect(m_server, &omdevice::ControlServer::undecodable, this,
                [this](int id, const QByteArray &raw) {
                    Received r;
                    r.clientId = id;
                    r.raw = raw;
                    handle(r);
                });
        return 0;
    }

    void close()
    {
        delete m_server;
        m_server = nullptr;
    }

    bool send(int clientId, const Answer &a)
    {
        if (!m_server)
            return false;
        bool written;
        if (!a.raw.isEmpty())
            written = m_server->replyRaw(clientId, a.raw);
        else if (!a.objectName.isEmpty())
            written = m_server->replyAs(clientId, a.objectName, a.attributes);
        else
            written = m_server->reply(clientId, a.attributes);
        if (written)
            m_owner->answerSent();
        return written;
    }

    bool broadcast(const QVariantMap &attributes) { return m_server && m_server->broadcast(attributes); }

private:
    void handle(const Received &r)
    {
        m_owner->record(r);
        const QList<Answer> answers = m_owner->answersFor(r);
        for (const Answer &a : answers) {
            if (a.delayMs <= 0)
                send(r.clientId, a);
            else
                QTimer::singleShot(a.delayMs, this, [this, r, a]() { send(r.clientId, a); });
        }
    }

    FakeServer *m_owner;
    QString m_path;
    int m_mode;
    omdevice::ControlServer *m_server = nullptr;
};

FakeServer::FakeServer(const QString &path, int mode)
    : m_path(path), m_mode(mode), m_thread(new QThread)
{
    m_thread->setObjectName(QStringLiteral("FakeServer ") + path);
    m_thread->start();
    m_worker = new FakeServerWorker(this, m_path, m_mode);
    m_worker->moveToThread(m_thread);
}

FakeServer::~FakeServer()
{
    QMetaObject::invokeMethod(m_worker, [this]() { delete m_worker; }, Qt::BlockingQueuedConnection);
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

bool FakeServer::start()
{
    int error = 0;
    QMetaObject::invokeMethod(m_worker, [&]() { error = m_worker->open(); },
                              Qt::BlockingQueuedConnection);
    m_error = error;
    return error == 0;
}

void FakeServer::stop()
{
    QMetaObject::invokeMethod(m_worker, [this]() { m_worker->close(); }, Qt::BlockingQueuedConnection);
}

int FakeServer::error() const
{
    return m_error;
}

void FakeServer::answer(const QString &msg, const QVariantMap &attributes, int delayMs)
{
    respond([msg, attributes, delayMs](const Received &r) {
        QList<Answer> answers;
        if (r.msg() == msg)
            answers.append(Answer{attributes, QByteArray(), QString(), delayMs});
        return answers;
    });
}

void FakeServer::answerOk(const QString &msg, const QVariant &dat, int delayMs)
{
    respond([msg, dat, delayMs](const Received &r) {
        QList<Answer> answers;
        if (r.msg() == msg)
            answers.append(Answer{okAnswer(r.attributes, dat), QByteArray(), QString(), delayMs});
        return answers;
    });
}

void FakeServer::respond(const std::function<QList<Answer>(const Received &)> &rule)
{
    QMutexLocker lock(&m_mutex);
    m_rules.append(rule);
}

void FakeServer::clearScript()
{
    QMutexLocker lock(&m_mutex);
    m_rules.clear();
}

QVariantMap FakeServer::okAnswer(const QVariantMap &request, const QVariant &dat)
{
    QVariantMap a;
    a.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    if (request.contains(QStringLiteral("id")))
        a.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    if (!dat.isNull())
        a.insert(QStringLiteral("dat"), dat);
    return a;
}

bool FakeServer::reply(int clientId, const QVariantMap &attributes)
{
    return replyAs(clientId, QString(), attributes);
}

bool FakeServer::replyAs(int clientId, const QString &objectName, const QVariantMap &attributes)
{
    bool ok = false;
    const Answer a{attributes, QByteArray(), objectName, 0};
    QMetaObject::invokeMethod(m_worker, [&]() { ok = m_worker->send(clientId, a); },
                              Qt::BlockingQueuedConnection);
    return ok;
}

bool FakeServer::replyRaw(int clientId, const QByteArray &text)
{
    bool ok = false;
    const Answer a{QVariantMap(), text, QString(), 0};
    QMetaObject::invokeMethod(m_worker, [&]() { ok = m_worker->send(clientId, a); },
                              Qt::BlockingQueuedConnection);
    return ok;
}

bool FakeServer::broadcast(const QVariantMap &attributes)
{
    bool ok = false;
    QMetaObject::invokeMethod(m_worker, [&]() { ok = m_worker->broadcast(attributes); },
                              Qt::BlockingQueuedConnection);
    return ok;
}

QList<Received> FakeServer::received() const
{
    QMutexLocker lock(&m_mutex);
    return m_received;
}

Received FakeServer::last() const
{
    QMutexLocker lock(&m_mutex);
    return m_received.isEmpty() ? Received() : m_received.last();
}

bool FakeServer::waitForReceived(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&]() { return received().size() >= count; }, timeoutMs);
}

QList<int> FakeServer::clients() const
{
    QMutexLocker lock(&m_mutex);
    return m_clients;
}

bool FakeServer::waitForClients(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&]() { return clients().size() >= count; }, timeoutMs);
}

int FakeServer::openedCount() const
{
    QMutexLocker lock(&m_mutex);
    return m_opened;
}

int FakeServer::closedCount() const
{
    QMutexLocker lock(&m_mutex);
    return m_closed;
}

bool FakeServer::waitForClosed(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&]() { return closedCount() >= count; }, timeoutMs);
}

int FakeServer::sentCount() const
{
    QMutexLocker lock(&m_mutex);
    return m_sent;
}

bool FakeServer::waitForSent(int count, int timeoutMs) const
{
    return QTest::qWaitFor([&]() { return sentCount() >= count; }, timeoutMs);
}

void FakeServer::answerSent()
{
    QMutexLocker lock(&m_mutex);
    ++m_sent;
}

QList<Answer> FakeServer::answersFor(const Received &message) const
{
    QList<std::function<QList<Answer>(const Received &)>> rules;
    {
        QMutexLocker lock(&m_mutex);
        rules = m_rules;
    }
    for (const auto &rule : rules) {
        const QList<Answer> answers = rule(message);
        if (!answers.isEmpty())
            return answers;
    }
    return QList<Answer>();
}

void FakeServer::record(const Received &message)
{
    QMutexLocker lock(&m_mutex);
    m_received.append(message);
}

QVariantMap FakeServer::clientInfo(int clientId) const
{
    QMutexLocker lock(&m_mutex);
    return m_clientInfo.value(clientId);
}

void FakeServer::clientOpened(int clientId, const QVariantMap &info)
{
    QMutexLocker lock(&m_mutex);
    m_clients.append(clientId);
    m_clientInfo.insert(clientId, info);
    ++m_opened;
}

void FakeServer::clientClosed(int clientId)
{
    QMutexLocker lock(&m_mutex);
    m_clients.removeAll(clientId);
    ++m_closed;
}

} // namespace omtest
