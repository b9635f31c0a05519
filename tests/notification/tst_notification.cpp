// Notification against a fake notification service on an in-process bus.

#include "fakeserver.h"
#include "testbroker.h"

#include <om/platform/notification.h>

#include <QCoreApplication>
#include <QDir>
#include <QMetaProperty>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>

using om::platform::Notification;
using om::platform::NotificationError;
using om::platform::NotificationType;
using om::system::InvokeRequest;

namespace {

QString fileUrl(const QString &path)
{
    return QString::fromUtf8(QUrl::fromLocalFile(path).toEncoded());
}

QVariant invocation(const QString &target, const QString &action, const QString &mimeType,
                    const QUrl &uri, const QByteArray &data)
{
    InvokeRequest request;
    request.setTarget(target);
    request.setAction(action);
    request.setMimeType(mimeType);
    request.setUri(uri);
    request.setData(data);
    return QVariant::fromValue(request);
}

using Removal = std::function<NotificationError::Type(Notification &)>;

} // namespace

Q_DECLARE_METATYPE(Removal)

class tst_Notification : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void notifyMessage_data();
    void notifyMessage();
    void relativePathsResolveWhenSent();
    void answerIsJudged_data();
    void answerIsJudged();
    void errorIsSetByMemberOperationsOnly();
    void removalMessages_data();
    void removalMessages();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
};

void tst_Notification::init()
{
    m_broker = std::make_unique<omtest::TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_service = std::make_unique<omtest::FakeServer>(QStringLiteral("/pps/services/notify/control"));
    QVERIFY(m_service->start());
}

void tst_Notification::cleanup()
{
    m_service.reset();
    m_broker.reset();
}

void tst_Notification::notifyMessage_data()
{
    QTest::addColumn<QVariantMap>("setup");    // properties; "invoke": the invocation
    QTest::addColumn<QVariantMap>("expected"); // "dat" apart from "itemId" and "badge"
    const auto row = [](const char *name, const QVariantMap &setup, const QVariantMap &expected) {
        QTest::newRow(name) << setup << expected;
    };

    const QString e(""); // empty, not null
    const QString pdf = QStringLiteral("application/pdf");
    const QByteArray bytes("caf\xc3\xa9\xff");
    const int previewOff = NotificationType::PreviewOff, allOff = NotificationType::AllAlertsOff;
    row("nothing set", {}, {});
    row("empty title, body and category are sent", {{"title", e}, {"body", e}, {"category", e}},
        {{"title", e}, {"subtitle", e}, {"type", e}});
    row("category", {{"category", "news"}}, {{"type", "news"}});
    row("preview off replaces category", {{"category", "news"}, {"type", previewOff}}, {{"type", "uib_only"}});
    row("all alerts off replaces category", {{"category", "news"}, {"type", allOff}}, {{"type", "uib_silent"}});
    row("hub off replaces category", {{"category", "news"}, {"type", int(NotificationType::HubOff)}},
        {{"type", "preview_only"}});
    row("timestamp before the epoch", {{"timestamp", QDateTime::fromMSecsSinceEpoch(-1500)}}, {{"timestamp", "-1500"}});
    row("timestamp at the epoch", {{"timestamp", QDateTime::fromMSecsSinceEpoch(0)}}, {{"timestamp", "0"}});
    row("timestamp beyond 32 bits", {{"timestamp", QDateTime::fromMSecsSinceEpoch(1700000000123)}},
        {{"timestamp", "1700000000123"}});
    row("sound file path", {{"soundUrl", QUrl("/tmp/ring tone.wav")}}, {{"sound", "file:///tmp/ring%20tone.wav"}});
    row("sound file url", {{"soundUrl", QUrl("file:///usr/share/a.wav")}}, {{"sound", "file:///usr/share/a.wav"}});
    row("relative sound path", {{"soundUrl", QUrl("sounds/a.wav")}},
        {{"sound", fileUrl(QDir::current().absoluteFilePath("sounds/a.wav"))}});
    row("sound that names no file", {{"soundUrl", QUrl("http://example.com/a.wav")}}, {});
    row("icon asset", {{"iconUrl", QUrl("asset:///images/icon.png")}},
        {{"iconUrl", fileUrl(QCoreApplication::applicationDirPath() + "/assets/images/icon.png")}});
    row("icon that names no file", {{"iconUrl", QUrl("mailto:someone@example.com")}}, {});
    row("invocation with only a MIME type", {{"invoke", invocation(e, e, pdf, QUrl(), {})}}, {{"payloadType", pdf}});
    row("invocation data outside ASCII is base64", {{"invoke", invocation(e, e, e, QUrl(), bytes)}},
        {{"payload", QString::fromLatin1(bytes.toBase64())}});
    row("invocation uri is encoded", {{"invoke", invocation(e, e, e, QUrl("http://example.com/a b?q=\xc3\xa9"), {})}},
        {{"payloadURI", "http://example.com/a%20b?q=%C3%A9"}});
    row("whole invocation", {{"invoke", invocation("com.example.app", "om.action.OPEN", pdf, QUrl("file:///x"), "hi")}},
        {{"target", "com.example.app"}, {"targetAction", "om.action.OPEN"}, {"payloadType", pdf},
         {"payloadURI", "file:///x"}, {"payload", "aGk="}});
    row("empty invocation adds nothing", {{"invoke", invocation(e, e, e, QUrl(), {})}}, {});
}

void tst_Notification::notifyMessage()
{
    QFETCH(QVariantMap, setup);
    QFETCH(QVariantMap, expected);
    m_service->answerOk(QStringLiteral("notify"));

    Notification n;
    QList<int> typeRefs; // the reference form of typeChanged, which a spy cannot hold
    connect(&n, QOverload<NotificationType::Type &>::of(&Notification::typeChanged), this,
            [&](NotificationType::Type &type) { typeRefs << type; });
    const auto apply = [&](bool reset) {
        for (auto it = setup.cbegin(); it != setup.cend(); ++it) {
            // Set or reset twice: a property signals once, the invocation each time.
            const QMetaObject *mo = n.metaObject();
            const QMetaProperty p = mo->property(mo->indexOfProperty(qPrintable(it.key())));
            const bool invoke = it.key() == QLatin1String("invoke");
            const char *signal = invoke ? "invokeRequestChanged(om::system::InvokeRequest)"
                                        : it.key() == QLatin1String("type") ? "typeChanged(int)" : nullptr;
            QSignalSpy spy(&n, signal ? mo->method(mo->indexOfSignal(signal)) : p.notifySignal());
            for (int i = 0; i < 2; ++i) {
                if (invoke)
                    reset ? n.resetInvokeRequest() : n.setInvokeRequest(it.value().value<InvokeRequest>());
                else
                    QVERIFY2(reset ? p.reset(&n) : p.write(&n, it.value()), qPrintable(it.key()));
            }
            QCOMPARE(spy.count(), invoke ? 2 : 1);
            if (invoke)
                QCOMPARE(spy.at(1).at(0).value<InvokeRequest>(),
                         reset ? InvokeRequest() : it.value().value<InvokeRequest>());
        }
    };
    apply(false);
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);

    QCOMPARE(m_service->received().size(), 1);
    const omtest::Received r = m_service->last();
    QCOMPARE(r.attributes.size(), 3);
    QCOMPARE(r.msg(), QStringLiteral("notify"));
    QCOMPARE(r.id(), n.key());
    const QVariantMap bare{{"itemId", n.key()}, {"badge", "true"}};
    expected.insert(bare);
    QCOMPARE(r.dat(), expected);

    // Reset, every property leaves the message again.
    apply(true);
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(m_service->last().dat(), bare);
    QCOMPARE(typeRefs, (setup.contains("type") ? QList<int>{setup.value("type").toInt(), 0} : QList<int>()));
}

void tst_Notification::relativePathsResolveWhenSent()
{
    // A relative path is resolved against the working directory of the
    // moment the notification goes out, not of the moment it was set.
    m_service->answerOk(QStringLiteral("notify"));
    Notification n;
    n.setSoundUrl(QUrl(QStringLiteral("sounds/a.wav")));
    n.setIconUrl(QUrl(QStringLiteral("file:icons/i.png")));
    const QString before = QDir::currentPath();
    QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    const NotificationError::Type result = n.notify();
    QDir::setCurrent(before);
    QCOMPARE(result, NotificationError::None);
    QCOMPARE(m_service->last().dat().value("sound").toString(),
             fileUrl(QDir(elsewhere.path()).absoluteFilePath("sounds/a.wav")));
    QCOMPARE(m_service->last().dat().value("iconUrl").toString(),
             fileUrl(QDir(elsewhere.path()).absoluteFilePath("icons/i.png")));
}

void tst_Notification::answerIsJudged_data()
{
    QTest::addColumn<QString>("objectName"); // empty: "@control"
    QTest::addColumn<QVariantMap>("answer"); // "id" of the request added
    QTest::addColumn<QByteArray>("raw");     // instead of answer, if set
    QTest::addColumn<int>("delayMs");        // -1: no answer
    QTest::addColumn<int>("expected");

    const QVariantMap ok{{"res", "notify"}};
    const QVariantMap failed{{"res", "notify"}, {"err", "bad"}};
    const QByteArray none;
    const int accepted = NotificationError::None, invalid = NotificationError::InvalidRequest,
              unknown = NotificationError::Unknown;

    QTest::newRow("accepted") << QString() << ok << none << 0 << accepted;
    QTest::newRow("err") << QString() << failed << none << 0 << invalid;
    QTest::newRow("err with an empty value") << QString() << QVariantMap{{"err", ""}} << none << 0 << invalid;
    QTest::newRow("err false still counts") << QString() << QVariantMap{{"err", false}} << none << 0 << invalid;
    QTest::newRow("another res and id do not matter")
        << QString() << QVariantMap{{"res", "other"}, {"id", "someone-else"}} << none << 0 << accepted;
    QTest::newRow("prefix object with err") << "@control_x" << failed << none << 0 << invalid;
    QTest::newRow("prefix object without err") << "@controller" << ok << none << 0 << accepted;
    QTest::newRow("prefix is case-sensitive") << "@Control" << failed << none << 0 << accepted;
    QTest::newRow("exact object wins over prefix object")
        << QString() << QVariantMap() << QByteArray("res::notify\n@control_b\nerr::bad\n") << 0 << accepted;
    QTest::newRow("undecodable") << QString() << QVariantMap() << QByteArray("dat:json:{broken\n") << 0 << unknown;
    QTest::newRow("no answer") << QString() << QVariantMap() << none << -1 << unknown;
    QTest::newRow("answer after the time-out") << QString() << ok << none << 2000 << unknown;
}

void tst_Notification::answerIsJudged()
{
    QFETCH(QString, objectName);
    QFETCH(QVariantMap, answer);
    QFETCH(QByteArray, raw);
    QFETCH(int, delayMs);
    QFETCH(int, expected);

    if (delayMs >= 0) {
        m_service->respond([=](const omtest::Received &r) {
            QVariantMap attributes = answer;
            if (!attributes.contains("id"))
                attributes.insert("id", r.id());
            return QList<omtest::Answer>{omtest::Answer{attributes, raw, objectName, delayMs}};
        });
    }
    bool eventsRan = false; // while notify() waits
    QTimer::singleShot(0, this, [&]() { eventsRan = true; });
    Notification n;
    n.setTitle(QStringLiteral("t"));
    QCOMPARE(int(n.notify()), expected);
    QVERIFY(eventsRan || delayMs == 0);
    QCOMPARE(int(n.error()), expected);
    QCOMPARE(n.title(), QStringLiteral("t"));
}

void tst_Notification::errorIsSetByMemberOperationsOnly()
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
    QCOMPARE(n.clearEffects(), NotificationError::ServiceUnavailable);
    QCOMPARE(n.error(), NotificationError::ServiceUnavailable);
    QVERIFY(m_service->start());
    QCOMPARE(n.deleteFromInbox(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);

    m_service->stop();
    QCOMPARE(n.notify(), NotificationError::ServiceUnavailable);
    QCOMPARE(n.error(), NotificationError::ServiceUnavailable);
    QVERIFY(m_service->start());
    m_service->answerOk(QStringLiteral("notify"));
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(n.error(), NotificationError::None);
}

void tst_Notification::removalMessages_data()
{
    QTest::addColumn<Removal>("removal"); // on a notification of key "KEY"
    QTest::addColumn<QVariantMap>("expected");
    const auto row = [](const char *name, Removal removal, const QString &msg, const QString &key) {
        QVariantMap expected{{"msg", msg}};
        if (!key.isEmpty())
            expected.insert("dat", QVariantMap{{"itemId", key}});
        QTest::newRow(name) << removal << expected;
    };
    row("clearEffects()", [](Notification &n) { return n.clearEffects(); }, "cancel", "KEY");
    row("deleteFromInbox()", [](Notification &n) { return n.deleteFromInbox(); }, "delete", "KEY");
    row("clearEffectsForAll()", [](Notification &) { return Notification::clearEffectsForAll(); }, "cancel", "");
    row("deleteAllFromInbox()", [](Notification &) { return Notification::deleteAllFromInbox(); }, "delete", "");
    row("clearEffects(\"\")", [](Notification &) { return Notification::clearEffects(""); }, "cancel", "");
    row("deleteFromInbox(\"\")", [](Notification &) { return Notification::deleteFromInbox(""); }, "delete", "");
    row("clearEffects(key)", [](Notification &) { return Notification::clearEffects("other"); }, "cancel", "other");
    row("deleteFromInbox(key)", [](Notification &) { return Notification::deleteFromInbox("other"); }, "delete",
        "other");
}

void tst_Notification::removalMessages()
{
    QFETCH(Removal, removal);
    QFETCH(QVariantMap, expected);
    Notification n(QStringLiteral("KEY"));
    QCOMPARE(removal(n), NotificationError::None);
    QVERIFY(m_service->waitForReceived(1));
    QCOMPARE(m_service->last().attributes, expected);
    QVERIFY(m_service->waitForClosed(1)); // nothing is awaited
}

QTEST_GUILESS_MAIN(tst_Notification)
#include "tst_notification.moc"
