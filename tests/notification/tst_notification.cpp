// Notification against a fake notification service on an in-process bus:
// the "notify" message for the property combinations that matter, how the
// answer is judged, the removal messages, and the properties' signals.

#include "fakeserver.h"
#include "testbroker.h"

#include <om/platform/notification.h>

#include <QCoreApplication>
#include <QDir>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <memory>

using om::platform::Notification;
using om::platform::NotificationError;
using om::platform::NotificationType;
using om::system::InvokeRequest;

namespace {

const QString ControlPath = QStringLiteral("/pps/services/notify/control");

QString fileUrl(const QString &path)
{
    return QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded());
}

// Sets up a notification from a table row: property names of the class,
// and "invoke.<field>" for the invocation.
void apply(Notification &n, const QVariantMap &setup)
{
    InvokeRequest request;
    bool invoke = false;
    for (auto it = setup.cbegin(); it != setup.cend(); ++it) {
        const QString &key = it.key();
        if (key == QLatin1String("invoke.target")) {
            request.setTarget(it.value().toString());
        } else if (key == QLatin1String("invoke.action")) {
            request.setAction(it.value().toString());
        } else if (key == QLatin1String("invoke.mimeType")) {
            request.setMimeType(it.value().toString());
        } else if (key == QLatin1String("invoke.uri")) {
            request.setUri(it.value().toUrl());
        } else if (key == QLatin1String("invoke.data")) {
            request.setData(it.value().toByteArray());
        } else if (key == QLatin1String("timestamp")) {
            n.setTimestamp(it.value().toLongLong());
            continue;
        } else if (key == QLatin1String("type")) {
            n.setType(NotificationType::Type(it.value().toInt()));
            continue;
        } else {
            QVERIFY2(n.setProperty(key.toLatin1().constData(), it.value()), qPrintable(key));
            continue;
        }
        invoke = true;
    }
    if (invoke)
        n.setInvokeRequest(request);
}

} // namespace

class tst_Notification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void notifyMessage_data();
    void notifyMessage();
    void keyIsTheItem();
    void answerIsJudged_data();
    void answerIsJudged();
    void noServiceIsServiceUnavailable();
    void eventsRunWhileNotifyWaits();
    void removalMessages_data();
    void removalMessages();
    void staticOperationsLeaveErrorAlone();
    void memberRemovalsSetError();
    void settersSignalOnlyOnChange_data();
    void settersSignalOnlyOnChange();
    void typeSignalsInBothForms();
    void invokeRequestChangedAlwaysEmitted();
    void metaObject();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_Notification::init()
{
    m_broker = std::make_unique<omtest::TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_service = std::make_unique<omtest::FakeServer>(ControlPath);
    QVERIFY(m_service->start());
}

void tst_Notification::cleanup()
{
    m_service.reset();
    m_broker.reset();
}

void tst_Notification::notifyMessage_data()
{
    QTest::addColumn<QVariantMap>("setup");
    QTest::addColumn<QVariantMap>("expected"); // "dat" apart from "itemId"

    const QString badge = QStringLiteral("badge");
    const QString t = QStringLiteral("true");
    const int hubOff = NotificationType::HubOff;

    QTest::newRow("nothing set") << QVariantMap() << QVariantMap{{badge, t}};
    QTest::newRow("empty title is sent")
        << QVariantMap{{"title", QString("")}} << QVariantMap{{badge, t}, {"title", QString("")}};
    QTest::newRow("title and body")
        << QVariantMap{{"title", "Hi"}, {"body", "There"}}
        << QVariantMap{{badge, t}, {"title", "Hi"}, {"subtitle", "There"}};
    QTest::newRow("empty body and category")
        << QVariantMap{{"body", QString("")}, {"category", QString("")}}
        << QVariantMap{{badge, t}, {"subtitle", QString("")}, {"type", QString("")}};
    QTest::newRow("category with default type")
        << QVariantMap{{"category", "news"}} << QVariantMap{{badge, t}, {"type", "news"}};
    QTest::newRow("preview off replaces category")
        << QVariantMap{{"category", "news"}, {"type", int(NotificationType::PreviewOff)}}
        << QVariantMap{{badge, t}, {"type", "uib_only"}};
    QTest::newRow("all alerts off")
        << QVariantMap{{"type", int(NotificationType::AllAlertsOff)}}
        << QVariantMap{{badge, t}, {"type", "uib_silent"}};
    QTest::newRow("hub off replaces category")
        << QVariantMap{{"category", "news"}, {"type", hubOff}}
        << QVariantMap{{badge, t}, {"type", "preview_only"}};
    QTest::newRow("timestamp before the epoch")
        << QVariantMap{{"timestamp", qint64(-1500)}} << QVariantMap{{badge, t}, {"timestamp", "-1500"}};
    QTest::newRow("timestamp at the epoch")
        << QVariantMap{{"timestamp", qint64(0)}} << QVariantMap{{badge, t}, {"timestamp", "0"}};
    QTest::newRow("timestamp")
        << QVariantMap{{"timestamp", qint64(1700000000123)}}
        << QVariantMap{{badge, t}, {"timestamp", "1700000000123"}};
    QTest::newRow("sound file path")
        << QVariantMap{{"soundUrl", QUrl("/tmp/ring tone.wav")}}
        << QVariantMap{{badge, t}, {"sound", "file:///tmp/ring%20tone.wav"}};
    QTest::newRow("sound file url")
        << QVariantMap{{"soundUrl", QUrl("file:///usr/share/a.wav")}}
        << QVariantMap{{badge, t}, {"sound", "file:///usr/share/a.wav"}};
    QTest::newRow("relative sound path")
        << QVariantMap{{"soundUrl", QUrl("sounds/a.wav")}}
        << QVariantMap{{badge, t}, {"sound", fileUrl(QDir::current().absoluteFilePath("sounds/a.wav"))}};
    QTest::newRow("sound that names no file")
        << QVariantMap{{"soundUrl", QUrl("http://example.com/a.wav")}} << QVariantMap{{badge, t}};
    QTest::newRow("icon asset")
        << QVariantMap{{"iconUrl", QUrl("asset:///images/icon.png")}}
        << QVariantMap{{badge, t},
                       {"iconUrl", fileUrl(QCoreApplication::applicationDirPath()
                                           + "/assets/images/icon.png")}};
    QTest::newRow("icon that names no file")
        << QVariantMap{{"iconUrl", QUrl("mailto:someone@example.com")}} << QVariantMap{{badge, t}};
    QTest::newRow("invocation with only a MIME type")
        << QVariantMap{{"invoke.mimeType", "text/plain"}}
        << QVariantMap{{badge, t}, {"payloadType", "text/plain"}};
    QTest::newRow("invocation data outside ASCII is base64")
        << QVariantMap{{"invoke.data", QByteArray("caf\xc3\xa9\xff")}}
        << QVariantMap{{badge, t}, {"payload", QString::fromLatin1(QByteArray("caf\xc3\xa9\xff").toBase64())}};
    QTest::newRow("invocation uri is encoded")
        << QVariantMap{{"invoke.uri", QUrl("http://example.com/a b?q=\xc3\xa9")}}
        << QVariantMap{{badge, t}, {"payloadURI", "http://example.com/a%20b?q=%C3%A9"}};
    QTest::newRow("whole invocation")
        << QVariantMap{{"invoke.target", "com.example.app"}, {"invoke.action", "om.action.OPEN"},
                       {"invoke.mimeType", "text/plain"}, {"invoke.uri", QUrl("file:///x")},
                       {"invoke.data", QByteArray("hi")}}
        << QVariantMap{{badge, t}, {"target", "com.example.app"}, {"targetAction", "om.action.OPEN"},
                       {"payloadType", "text/plain"}, {"payloadURI", "file:///x"}, {"payload", "aGk="}};
    QTest::newRow("empty invocation adds nothing")
        << QVariantMap{{"invoke.target", QString("")}} << QVariantMap{{badge, t}};
}

void tst_Notification::notifyMessage()
{
    QFETCH(QVariantMap, setup);
    QFETCH(QVariantMap, expected);
    m_service->answerOk(QStringLiteral("notify"));

    Notification n;
    apply(n, setup);
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);

    QCOMPARE(m_service->received().size(), 1);
    const omtest::Received r = m_service->last();
    QCOMPARE(r.attributes.size(), 3);
    QCOMPARE(r.msg(), QStringLiteral("notify"));
    QCOMPARE(r.id(), n.key());
    expected.insert(QStringLiteral("itemId"), n.key());
    QCOMPARE(r.dat(), expected);
}

void tst_Notification::keyIsTheItem()
{
    m_service->answerOk(QStringLiteral("notify"));
    Notification a(QStringLiteral("order-17"));
    Notification b(QStringLiteral("order-17"));
    Notification c;
    Notification d;
    QCOMPARE(a.key(), QStringLiteral("order-17"));
    QCOMPARE(a.property("_om_ppsID").toString(), QStringLiteral("order-17"));
    QVERIFY(!QUuid(c.key()).isNull());
    QVERIFY(c.key() != d.key());

    QCOMPARE(a.notify(), NotificationError::None);
    QCOMPARE(b.notify(), NotificationError::None);
    QCOMPARE(a.notify(), NotificationError::None); // again: the same item
    const QList<omtest::Received> r = m_service->received();
    QCOMPARE(r.size(), 3);
    for (const omtest::Received &m : r) {
        QCOMPARE(m.id(), QStringLiteral("order-17"));
        QCOMPARE(m.dat().value("itemId").toString(), QStringLiteral("order-17"));
    }
}

void tst_Notification::answerIsJudged_data()
{
    QTest::addColumn<QString>("objectName"); // empty: "@control"
    QTest::addColumn<QVariantMap>("answer"); // "id" of the request added
    QTest::addColumn<QByteArray>("raw");     // instead of answer, if set
    QTest::addColumn<int>("delayMs");
    QTest::addColumn<bool>("answered");
    QTest::addColumn<int>("expected");

    const QVariantMap ok{{"res", "notify"}};
    const QVariantMap failed{{"res", "notify"}, {"err", "bad"}};
    const int none = NotificationError::None;
    const int invalid = NotificationError::InvalidRequest;
    const int unknown = NotificationError::Unknown;

    QTest::newRow("accepted") << QString() << ok << QByteArray() << 0 << true << none;
    QTest::newRow("err") << QString() << failed << QByteArray() << 0 << true << invalid;
    QTest::newRow("err with an empty value")
        << QString() << QVariantMap{{"err", QString("")}} << QByteArray() << 0 << true << invalid;
    QTest::newRow("err false still counts")
        << QString() << QVariantMap{{"err", false}} << QByteArray() << 0 << true << invalid;
    QTest::newRow("another res and id do not matter")
        << QString() << QVariantMap{{"res", "other"}, {"id", "someone-else"}} << QByteArray() << 0
        << true << none;
    QTest::newRow("prefix object with err")
        << QStringLiteral("@control_x") << failed << QByteArray() << 0 << true << invalid;
    QTest::newRow("prefix object without err")
        << QStringLiteral("@controller") << ok << QByteArray() << 0 << true << none;
    QTest::newRow("prefix is case-sensitive")
        << QStringLiteral("@Control") << failed << QByteArray() << 0 << true << none;
    QTest::newRow("exact object wins over prefix object")
        << QString() << QVariantMap() << QByteArray("res::notify\n@control_b\nerr::bad\n") << 0 << true
        << none;
    QTest::newRow("undecodable") << QString() << QVariantMap() << QByteArray("dat:json:{broken\n") << 0
                                 << true << unknown;
    QTest::newRow("no answer") << QString() << QVariantMap() << QByteArray() << 0 << false << unknown;
    QTest::newRow("answer after the time-out")
        << QString() << ok << QByteArray() << 2000 << true << unknown;
}

void tst_Notification::answerIsJudged()
{
    QFETCH(QString, objectName);
    QFETCH(QVariantMap, answer);
    QFETCH(QByteArray, raw);
    QFETCH(int, delayMs);
    QFETCH(bool, answered);
    QFETCH(int, expected);

    if (answered) {
        m_service->respond([=](const omtest::Received &r) {
            QVariantMap attributes = answer;
            if (!attributes.contains("id"))
                attributes.insert("id", r.id());
            return QList<omtest::Answer>{omtest::Answer{attributes, raw, objectName, delayMs}};
        });
    }
    Notification n;
    n.setTitle(QStringLiteral("t"));
    QCOMPARE(int(n.notify()), expected);
    QCOMPARE(int(n.error()), expected);
    // A failure changes no property: the call can be repeated as it stands.
    QCOMPARE(n.title(), QStringLiteral("t"));
}

void tst_Notification::noServiceIsServiceUnavailable()
{
    m_service->stop();
    Notification n;
    QCOMPARE(n.notify(), NotificationError::ServiceUnavailable);
    QCOMPARE(n.error(), NotificationError::ServiceUnavailable);

    // The next call starts afresh.
    QVERIFY(m_service->start());
    m_service->answerOk(QStringLiteral("notify"));
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);
}

void tst_Notification::eventsRunWhileNotifyWaits()
{
    m_service->answerOk(QStringLiteral("notify"), QVariant(), 100);
    bool fired = false;
    QTimer::singleShot(0, this, [&]() { fired = true; });
    Notification n;
    QCOMPARE(n.notify(), NotificationError::None);
    QVERIFY(fired);
}

void tst_Notification::removalMessages_data()
{
    QTest::addColumn<int>("operation");
    QTest::addColumn<QString>("msg");
    QTest::addColumn<QVariant>("dat"); // invalid: no "dat"; the string "KEY": the object's key

    const QVariant own = QVariantMap{{"itemId", "KEY"}};
    QTest::newRow("clearEffects()") << 0 << "cancel" << own;
    QTest::newRow("deleteFromInbox()") << 1 << "delete" << own;
    QTest::newRow("clearEffectsForAll()") << 2 << "cancel" << QVariant();
    QTest::newRow("deleteAllFromInbox()") << 3 << "delete" << QVariant();
    QTest::newRow("clearEffects(\"\")") << 4 << "cancel" << QVariant();
    QTest::newRow("deleteFromInbox(\"\")") << 5 << "delete" << QVariant();
    QTest::newRow("clearEffects(QString())") << 6 << "cancel" << QVariant();
    QTest::newRow("clearEffects(key)") << 7 << "cancel" << QVariant(QVariantMap{{"itemId", "other"}});
    QTest::newRow("deleteFromInbox(key)") << 8 << "delete" << QVariant(QVariantMap{{"itemId", "other"}});
}

void tst_Notification::removalMessages()
{
    QFETCH(int, operation);
    QFETCH(QString, msg);
    QFETCH(QVariant, dat);

    Notification n(QStringLiteral("KEY"));
    NotificationError::Type result = NotificationError::Unknown;
    switch (operation) {
    case 0: result = n.clearEffects(); break;
    case 1: result = n.deleteFromInbox(); break;
    case 2: result = Notification::clearEffectsForAll(); break;
    case 3: result = Notification::deleteAllFromInbox(); break;
    case 4: result = Notification::clearEffects(QStringLiteral("")); break;
    case 5: result = Notification::deleteFromInbox(QStringLiteral("")); break;
    case 6: result = Notification::clearEffects(QString()); break;
    case 7: result = Notification::clearEffects(QStringLiteral("other")); break;
    case 8: result = Notification::deleteFromInbox(QStringLiteral("other")); break;
    }
    QCOMPARE(result, NotificationError::None);
    QVERIFY(m_service->waitForReceived(1));
    QVariantMap expected{{"msg", msg}};
    if (dat.isValid())
        expected.insert("dat", dat);
    QCOMPARE(m_service->last().attributes, expected);
    // Nothing is awaited: the connection is gone at once.
    QVERIFY(m_service->waitForClosed(1));
}

void tst_Notification::staticOperationsLeaveErrorAlone()
{
    Notification n;
    QCOMPARE(n.notify(), NotificationError::Unknown); // nobody answers
    QCOMPARE(Notification::clearEffectsForAll(), NotificationError::None);
    QCOMPARE(Notification::deleteAllFromInbox(), NotificationError::None);
    QCOMPARE(Notification::clearEffects(n.key()), NotificationError::None);
    QCOMPARE(Notification::deleteFromInbox(n.key()), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::Unknown);

    m_service->stop();
    QCOMPARE(Notification::deleteFromInbox(n.key()), NotificationError::ServiceUnavailable);
    QCOMPARE(n.error(), NotificationError::Unknown);
}

void tst_Notification::memberRemovalsSetError()
{
    Notification n;
    m_service->stop();
    QCOMPARE(n.clearEffects(), NotificationError::ServiceUnavailable);
    QCOMPARE(n.error(), NotificationError::ServiceUnavailable);
    QVERIFY(m_service->start());
    QCOMPARE(n.deleteFromInbox(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);
}

void tst_Notification::settersSignalOnlyOnChange_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");

    QTest::newRow("category") << QByteArray("category") << QVariant(QStringLiteral("news"));
    QTest::newRow("category empty, not null") << QByteArray("category") << QVariant(QStringLiteral(""));
    QTest::newRow("title") << QByteArray("title") << QVariant(QStringLiteral("t"));
    QTest::newRow("title empty, not null") << QByteArray("title") << QVariant(QStringLiteral(""));
    QTest::newRow("body") << QByteArray("body") << QVariant(QStringLiteral("b"));
    QTest::newRow("body empty, not null") << QByteArray("body") << QVariant(QStringLiteral(""));
    QTest::newRow("timestamp") << QByteArray("timestamp")
                               << QVariant(QDateTime::fromMSecsSinceEpoch(-1));
    QTest::newRow("soundUrl") << QByteArray("soundUrl") << QVariant(QUrl("file:///a.wav"));
    QTest::newRow("iconUrl") << QByteArray("iconUrl") << QVariant(QUrl("asset:///i.png"));
    QTest::newRow("type") << QByteArray("type")
                          << QVariant::fromValue(NotificationType::HubOff);
}

void tst_Notification::settersSignalOnlyOnChange()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);

    Notification n;
    const QMetaProperty p = n.metaObject()->property(n.metaObject()->indexOfProperty(property));
    QVERIFY(p.isValid() && p.isResettable() && p.hasNotifySignal());
    // The notify signal of "type" passes a reference, which a spy cannot
    // hold; its int form comes with it.
    const QMetaMethod signal = property == "type"
                                   ? n.metaObject()->method(n.metaObject()->indexOfSignal("typeChanged(int)"))
                                   : p.notifySignal();
    QSignalSpy spy(&n, signal);
    const QVariant initial = p.read(&n);

    QVERIFY(p.write(&n, value));
    QCOMPARE(spy.count(), 1);
    QVERIFY(p.write(&n, value));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(p.read(&n), value);

    QVERIFY(p.reset(&n));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(p.read(&n), initial);
    QVERIFY(p.reset(&n));
    QCOMPARE(spy.count(), 2);
}

void tst_Notification::typeSignalsInBothForms()
{
    Notification n;
    QStringList order;
    connect(&n, QOverload<NotificationType::Type &>::of(&Notification::typeChanged), this,
            [&](NotificationType::Type &type) { order << QStringLiteral("enum %1").arg(type); });
    connect(&n, QOverload<int>::of(&Notification::typeChanged), this,
            [&](int type) { order << QStringLiteral("int %1").arg(type); });
    n.setType(NotificationType::AllAlertsOff);
    n.setType(NotificationType::AllAlertsOff);
    n.resetType();
    QCOMPARE(order, (QStringList{"enum 2", "int 2", "enum 0", "int 0"}));
}

void tst_Notification::invokeRequestChangedAlwaysEmitted()
{
    Notification n;
    QSignalSpy spy(&n, &Notification::invokeRequestChanged);
    InvokeRequest request;
    request.setTarget(QStringLiteral("com.example.viewer"));
    n.setInvokeRequest(request);
    n.setInvokeRequest(request);
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).value<InvokeRequest>().target(), QStringLiteral("com.example.viewer"));
    n.resetInvokeRequest();
    n.resetInvokeRequest();
    QCOMPARE(spy.count(), 4);
    QCOMPARE(n.invokeRequest(), InvokeRequest());
}

void tst_Notification::metaObject()
{
    const QMetaObject *mo = &Notification::staticMetaObject;
    const auto prop = [mo](const char *name) { return mo->property(mo->indexOfProperty(name)); };
    QVERIFY(prop("key").isConstant());
    QVERIFY(!prop("key").isWritable());
    QVERIFY(!prop("error").isWritable());
    QCOMPARE(prop("iconUrl").revision(), 1);
    QCOMPARE(prop("type").revision(), 1);
    QCOMPARE(prop("title").revision(), 0);
    QCOMPARE(mo->method(mo->indexOfSignal("iconUrlChanged(QUrl)")).revision(), 1);
    QCOMPARE(mo->method(mo->indexOfSignal("typeChanged(int)")).revision(), 1);
    QVERIFY(mo->indexOfSlot("clearEffects(QString)") >= 0);
    QVERIFY(mo->indexOfSlot("deleteAllFromInbox()") >= 0);

    // Script callers reach the slots by name.
    m_service->answerOk(QStringLiteral("notify"));
    Notification n;
    NotificationError::Type result = NotificationError::Unknown;
    QVERIFY(QMetaObject::invokeMethod(&n, "notify", Q_RETURN_ARG(om::platform::NotificationError::Type, result)));
    QCOMPARE(result, NotificationError::None);
    QVERIFY(QMetaObject::invokeMethod(&n, "setTimestamp", Q_ARG(qint64, 42)));
    QCOMPARE(n.timestamp().toMSecsSinceEpoch(), qint64(42));
}

QTEST_GUILESS_MAIN(tst_Notification)
#include "tst_notification.moc"
