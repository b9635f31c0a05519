#ifndef MAPSTEST_H
#define MAPSTEST_H

// Helpers of the maps tests: a recorder of every signal of an object, in
// order, and the decoding of what an application sent to the invocation
// service.

#include "fakeserver.h"
#include "testbroker.h"

#include <QByteArray>
#include <QMetaEnum>
#include <QMetaMethod>
#include <QMetaProperty>
#include <QtTest/QTest>
#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>

namespace mapstest {

/**
 * Records each signal that an object emits as "name(argument, ...)", in
 * the order of emission. Strings print quoted ("null" for a null string),
 * enumerations by their key, doubles with ten significant digits.
 */
class SignalRecorder : public QObject
{
public:
    explicit SignalRecorder(QObject *target)
    {
        const QMetaObject *meta = target->metaObject();
        const int offset = QObject::staticMetaObject.methodCount();
        for (int i = offset; i < meta->methodCount(); ++i) {
            const QMetaMethod method = meta->method(i);
            if (method.methodType() != QMetaMethod::Signal)
                continue;
            QMetaObject::connect(target, i, this, offset + m_signals.size(), Qt::DirectConnection);
            m_signals.append(method);
        }
    }

    QStringList records;

    int qt_metacall(QMetaObject::Call call, int id, void **args) override
    {
        id = QObject::qt_metacall(call, id, args);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        const QMetaMethod method = m_signals.at(id);
        QStringList values;
        for (int i = 0; i < method.parameterCount(); ++i)
            values.append(format(method.parameterType(i), args[i + 1]));
        records.append(QString::fromLatin1(method.name()) + QLatin1Char('(')
                       + values.join(QLatin1String(", ")) + QLatin1Char(')'));
        return -1;
    }

    static QString format(int type, const void *value)
    {
        switch (type) {
        case QMetaType::Double:
            return QString::number(*static_cast<const double *>(value), 'g', 10);
        case QMetaType::Int:
            return QString::number(*static_cast<const int *>(value));
        case QMetaType::Bool:
            return *static_cast<const bool *>(value) ? QStringLiteral("true") : QStringLiteral("false");
        case QMetaType::QString: {
            const QString &text = *static_cast<const QString *>(value);
            return text.isNull() ? QStringLiteral("null") : QLatin1Char('"') + text + QLatin1Char('"');
        }
        default:
            break;
        }
        if (const QMetaObject *meta = QMetaType::metaObjectForType(type)) {
            const QMetaEnum enumeration = meta->enumerator(meta->indexOfEnumerator("Type"));
            const char *key = enumeration.valueToKey(*static_cast<const int *>(value));
            return key ? QString::fromLatin1(key) : QString::number(*static_cast<const int *>(value));
        }
        return QStringLiteral("?");
    }

private:
    QList<QMetaMethod> m_signals;
};

/** An invocation as the invocation service received it. */
struct SentInvocation
{
    QString action;
    QString mimeType;
    QString target;
    QString sender;
    QByteArray data;
};

inline SentInvocation sentInvocation(const omtest::Received &received)
{
    const QVariantMap dat = received.dat();
    SentInvocation sent;
    sent.action = dat.value(QStringLiteral("action")).toString();
    sent.mimeType = dat.value(QStringLiteral("mimeType")).toString();
    sent.target = dat.value(QStringLiteral("target")).toString();
    sent.sender = dat.value(QStringLiteral("sender")).toString();
    sent.data = QByteArray::fromBase64(dat.value(QStringLiteral("data")).toString().toLatin1());
    return sent;
}

/**
 * Writes @p before to @p property of @p object, then records the signals of
 * writing @p value (or of resetting the property when @p value is null) and
 * checks them and the value read back. A QString is also checked for being
 * null.
 */
inline void checkProperty(QObject *object, const char *property, const QVariantList &before,
                          const QVariant &value, const QStringList &expectedSignals,
                          const QVariant &stored)
{
    const QMetaObject *meta = object->metaObject();
    const int index = meta->indexOfProperty(property);
    QVERIFY2(index >= 0, property);
    const QMetaProperty metaProperty = meta->property(index);
    for (const QVariant &v : before)
        QVERIFY(metaProperty.write(object, v));
    SignalRecorder recorder(object);
    if (value.isValid())
        QVERIFY(metaProperty.write(object, value));
    else
        QVERIFY(metaProperty.reset(object));
    QCOMPARE(recorder.records, expectedSignals);
    const QVariant actual = metaProperty.read(object);
    if (stored.userType() == QMetaType::QString) {
        QCOMPARE(actual.toString(), stored.toString());
        QCOMPARE(actual.toString().isNull(), stored.toString().isNull());
    } else {
        QCOMPARE(actual.toDouble(), stored.toDouble());
    }
}

/**
 * Runs @p setup on a new invoker, then @p action while recording signals;
 * checks the signals, the @p properties read back (strings also for being
 * null), and what go() then sends to @p service: the MIME type and the
 * content followed by one NUL.
 */
template <typename Invoker>
void checkScenario(omtest::FakeServer *service, const std::function<void(Invoker &)> &setup,
                   const std::function<void(Invoker &)> &action,
                   const QStringList &expectedSignals, const QVariantMap &properties,
                   const QString &mimeType, const QByteArray &content)
{
    Invoker invoker;
    if (setup)
        setup(invoker);
    {
        SignalRecorder recorder(&invoker);
        action(invoker);
        QCOMPARE(recorder.records, expectedSignals);
    }
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        const QVariant actual = invoker.property(it.key().toLatin1().constData());
        QVERIFY2(actual.isValid(), qPrintable(it.key()));
        if (it.value().userType() == QMetaType::QString) {
            QCOMPARE(actual.toString(), it.value().toString());
            QCOMPARE(actual.toString().isNull(), it.value().toString().isNull());
        } else {
            QCOMPARE(actual.toDouble(), it.value().toDouble());
        }
    }
    const int before = service->received().size();
    invoker.go();
    QVERIFY(service->waitForReceived(before + 1));
    const SentInvocation sent = sentInvocation(service->last());
    QCOMPARE(sent.action, QStringLiteral("om.action.OPEN"));
    QCOMPARE(sent.target, QString());
    QCOMPARE(sent.sender, QString::fromLocal8Bit(qgetenv("OM_PACKAGE_NAME")));
    QCOMPARE(sent.mimeType, mimeType);
    QCOMPARE(QString::fromLatin1(sent.data), QString::fromLatin1(content + QByteArray(1, '\0')));
    QCOMPARE(sent.data, content + QByteArray(1, '\0'));
}

/** The path of the invocation service's control object. */
inline QString invokeControlPath()
{
    return QStringLiteral("/pps/services/invoke/control");
}

/** A private bus with a fake invocation service that lets "om.maps" take
 *  every request. Start it in init(), stop it in cleanup(). */
class FakeInvokeService
{
public:
    bool start()
    {
        m_broker.reset(new omtest::TestBroker);
        m_server.reset(new omtest::FakeServer(invokeControlPath()));
        if (!m_broker->isRunning() || !m_server->start())
            return false;
        m_server->answerOk(QStringLiteral("invoke"),
                           QVariantMap{{QStringLiteral("target"), QStringLiteral("om.maps")}});
        return true;
    }

    void stop()
    {
        m_server.reset();
        m_broker.reset();
    }

    omtest::FakeServer *server() const { return m_server.get(); }

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_server;
};

/** The columns of a scenario table for checkScenario(). */
template <typename Invoker>
void addScenarioColumns()
{
    using Step = std::function<void(Invoker &)>;
    QTest::addColumn<Step>("setup");
    QTest::addColumn<Step>("action");
    QTest::addColumn<QStringList>("expectedSignals");
    QTest::addColumn<QVariantMap>("properties");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QByteArray>("content");
}

/** Runs the current row of a scenario table. */
template <typename Invoker>
void runScenario(omtest::FakeServer *service)
{
    using Step = std::function<void(Invoker &)>;
    QFETCH(Step, setup);
    QFETCH(Step, action);
    QFETCH(QStringList, expectedSignals);
    QFETCH(QVariantMap, properties);
    QFETCH(QString, mimeType);
    QFETCH(QByteArray, content);
    checkScenario<Invoker>(service, setup, action, expectedSignals, properties, mimeType, content);
}

} // namespace mapstest

#endif
