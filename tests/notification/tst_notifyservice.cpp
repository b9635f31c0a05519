// End to end: the library against the notification service of a real
// omdeviced process, with omctl playing the user.

#include "deviceprocess.h"
#include "notification/notificationssharedconstants.h"

#include <om/packageinfo.h>
#include <om/platform/notification.h>
#include <om/platform/notificationdialog.h>
#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QProcess>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <memory>

using om::platform::Notification;
using om::platform::NotificationDialog;
using om::platform::NotificationError;
using om::platform::NotificationResult;
using om::system::SystemUiButton;

namespace {

const QString OtherPackage = QStringLiteral("com.example.other");

// One block of "omctl notifications" or "omctl dialogs".
struct Entry
{
    QString first;  // application, or dialog id
    QString second; // item id, or application
    QMap<QString, QString> fields;
    QStringList buttons;
};

QList<Entry> listing(const QString &command)
{
    const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl({command});
    if (r.exitCode != 0) {
        qWarning() << "omctl" << command << "failed:" << r.err;
        return {};
    }
    QList<Entry> entries;
    QString lastField;
    static const QRegularExpression field(QStringLiteral("^  (\\w+):\\s+(.*)$"));
    const QStringList lines = QString::fromUtf8(r.out).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.isEmpty() || line.startsWith(QLatin1Char('(')))
            continue;
        if (!line.startsWith(QLatin1Char(' '))) {
            const QStringList parts = line.split(QStringLiteral("  "));
            entries.append(Entry{parts.value(0), parts.value(1), {}, {}});
            continue;
        }
        const QRegularExpressionMatch m = field.match(line);
        if (entries.isEmpty())
            continue;
        Entry &entry = entries.last();
        if (m.hasMatch()) {
            lastField = m.captured(1);
            if (lastField == QLatin1String("button"))
                entry.buttons.append(m.captured(2));
            else
                entry.fields.insert(lastField, m.captured(2));
        } else if (line.startsWith(QLatin1String("            "))) {
            // A further line of a value.
            entry.fields[lastField] += QLatin1Char('\n') + line.mid(12);
        }
    }
    return entries;
}

QList<Entry> inbox()
{
    return listing(QStringLiteral("notifications"));
}

QList<Entry> dialogsOnScreen()
{
    return listing(QStringLiteral("dialogs"));
}

// The effects of the item @p key of @p application, or "" if there is no such item.
QString effectsOf(const QString &application, const QString &key)
{
    const QList<Entry> items = inbox();
    for (const Entry &e : items) {
        if (e.first == application && e.second == key)
            return e.fields.value(QStringLiteral("effects"));
    }
    return QString();
}

int runHelper(const QStringList &args)
{
    QProcess helper;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("OM_PACKAGE_NAME"), OtherPackage);
    helper.setProcessEnvironment(env);
    helper.start(QStringLiteral(NOTIFYHELPER_PATH), args);
    if (!helper.waitForFinished(15000))
        return -1;
    return helper.exitCode();
}

// One request on the device's user-side object, as omctl makes it.
QVariantMap userSide(const QString &msg, const QVariantMap &dat)
{
    om::PpsObject pps(QStringLiteral("/pps/simulator/notifications"));
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return {};
    QSignalSpy spy(&pps, &om::PpsObject::readyRead);
    if (pps.writeMessage(msg, QStringLiteral("t1"), dat) != 0 || !spy.wait(5000))
        return {};
    bool ok = false;
    return om::PpsObject::decode(pps.read(&ok)).value(QStringLiteral("@notifications")).toMap();
}

QString buttonLine(const SystemUiButton *button)
{
    return QStringLiteral("%1  [%2]").arg(button->label(), button->property("_om_ppsID").toString());
}

} // namespace

class tst_NotifyService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void postUpdateClearDelete();
    void applicationsAreKeptApart();
    void malformedRequestsAreRefused_data();
    void malformedRequestsAreRefused();
    void inboxKeepsEveryAttributeAcrossRestart();
    void longInboxIsListedWhole();
    void dialogAnsweredWithOmctl();
    void chooseRefusals_data();
    void chooseRefusals();
    void dialogFollowsItsApplication();
    void withoutServiceOmctlSaysSo();

private:
    std::unique_ptr<omtest::DeviceProcess> m_device;
    QString m_package;
};

void tst_NotifyService::init()
{
    m_device = std::make_unique<omtest::DeviceProcess>();
    QVERIFY2(m_device->start(), m_device->output().constData());
    m_package = om::PackageInfo().name();
}

void tst_NotifyService::cleanup()
{
    QVERIFY2(m_device->stop(), m_device->output().constData());
    m_device.reset();
}

void tst_NotifyService::postUpdateClearDelete()
{
    Notification n;
    n.setTitle(QStringLiteral("First"));
    n.setBody(QStringLiteral("Body"));
    n.setCategory(QStringLiteral("news"));
    n.setTimestamp(QDateTime(QDate(2024, 5, 1), QTime(12, 30, 15)));
    QCOMPARE(n.notify(), NotificationError::None);

    QList<Entry> items = inbox();
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.at(0).first, m_package);
    QCOMPARE(items.at(0).second, n.key());
    QCOMPARE(items.at(0).fields.value("title"), QStringLiteral("First"));
    QCOMPARE(items.at(0).fields.value("body"), QStringLiteral("Body"));
    QCOMPARE(items.at(0).fields.value("time"), QStringLiteral("2024-05-01 12:30:15"));
    QCOMPARE(items.at(0).fields.value("category"), QStringLiteral("news"));
    QCOMPARE(items.at(0).fields.value("effects"), QStringLiteral("active"));

    // A second notify updates the item: what is no longer sent is gone.
    n.setTitle(QStringLiteral("Second"));
    n.resetBody();
    QCOMPARE(n.notify(), NotificationError::None);
    items = inbox();
    QCOMPARE(items.size(), 1);
    QCOMPARE(items.at(0).fields.value("title"), QStringLiteral("Second"));
    QCOMPARE(items.at(0).fields.value("body"), QStringLiteral("(none)"));

    QCOMPARE(n.clearEffects(), NotificationError::None);
    QTRY_COMPARE(effectsOf(m_package, n.key()), QStringLiteral("cleared"));
    QCOMPARE(inbox().size(), 1);

    // Posted again, its effects come back.
    QCOMPARE(n.notify(), NotificationError::None);
    QCOMPARE(effectsOf(m_package, n.key()), QStringLiteral("active"));

    QCOMPARE(n.deleteFromInbox(), NotificationError::None);
    QTRY_VERIFY(inbox().isEmpty());
}

void tst_NotifyService::applicationsAreKeptApart()
{
    const QString key = QStringLiteral("shared-key");
    QCOMPARE(runHelper({"post", key, "theirs"}), int(NotificationError::None));
    Notification ours(key);
    ours.setTitle(QStringLiteral("ours"));
    QCOMPARE(ours.notify(), NotificationError::None);
    Notification second;
    QCOMPARE(second.notify(), NotificationError::None);
    QCOMPARE(inbox().size(), 3);

    QCOMPARE(Notification::clearEffectsForAll(), NotificationError::None);
    QTRY_COMPARE(effectsOf(m_package, second.key()), QStringLiteral("cleared"));
    QCOMPARE(effectsOf(m_package, key), QStringLiteral("cleared"));
    QCOMPARE(effectsOf(OtherPackage, key), QStringLiteral("active"));

    // Deleting by key touches only the caller's item of that key.
    QCOMPARE(Notification::deleteFromInbox(key), NotificationError::None);
    QTRY_COMPARE(inbox().size(), 2);
    QCOMPARE(effectsOf(OtherPackage, key), QStringLiteral("active"));

    QCOMPARE(Notification::deleteAllFromInbox(), NotificationError::None);
    QTRY_COMPARE(inbox().size(), 1);
    QCOMPARE(inbox().at(0).first, OtherPackage);
    QCOMPARE(inbox().at(0).fields.value("title"), QStringLiteral("theirs"));

    QCOMPARE(runHelper({"deleteall"}), int(NotificationError::None));
    QTRY_VERIFY(inbox().isEmpty());
}

void tst_NotifyService::malformedRequestsAreRefused_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::newRow("notify without dat") << QVariantMap{{"msg", "notify"}, {"id", "r1"}};
    QTest::newRow("notify with dat that is no map")
        << QVariantMap{{"msg", "notify"}, {"id", "r1"}, {"dat", "text"}};
    QTest::newRow("notify without itemId")
        << QVariantMap{{"msg", "notify"}, {"id", "r1"}, {"dat", QVariantMap{{"title", "t"}}}};
    QTest::newRow("alert without buttons")
        << QVariantMap{{"msg", "alert"}, {"id", "r1"}, {"dat", QVariantMap{{"itemId", "r1"}}}};
    QTest::newRow("alert with a button without context")
        << QVariantMap{{"msg", "alert"}, {"id", "r1"},
                       {"dat", QVariantMap{{"itemId", "r1"}, {"promptChoices", QVariantList{QVariantMap{{"label", "x"}}}}}}};
    QTest::newRow("unknown message") << QVariantMap{{"msg", "bogus"}, {"id", "r1"}};
}

void tst_NotifyService::malformedRequestsAreRefused()
{
    QFETCH(QVariantMap, message);
    QVariantMap response;
    QCOMPARE(ommock::NotificationPpsChannel::sendAndWait(message, response, 5000), NotificationError::None);
    const QVariantMap answer = om::platform::controlAttributes(response);
    QVERIFY2(answer.contains("err"), qPrintable(QVariant(answer).toString()));
    QCOMPARE(answer.value("res"), message.value("msg"));
    QCOMPARE(answer.value("id").toString(), QStringLiteral("r1"));
    QVERIFY(inbox().isEmpty());
    QVERIFY(dialogsOnScreen().isEmpty());
}

void tst_NotifyService::inboxKeepsEveryAttributeAcrossRestart()
{
    Notification full;
    full.setTitle(QStringLiteral("Title"));
    full.setBody(QStringLiteral("Line one\nline two, \"quoted\" \\ é"));
    full.setTimestamp(qint64(-1500));
    full.setSoundUrl(QUrl::fromLocalFile(QStringLiteral("/tmp/ring.wav")));
    full.setIconUrl(QUrl(QStringLiteral("asset:///icon.png")));
    full.setType(om::platform::NotificationType::AllAlertsOff);
    om::system::InvokeRequest request;
    request.setTarget(QStringLiteral("com.example.viewer"));
    request.setData(QByteArray("\x01\x02\xff"));
    full.setInvokeRequest(request);
    QCOMPARE(full.notify(), NotificationError::None);
    Notification cleared;
    QCOMPARE(cleared.notify(), NotificationError::None);
    QCOMPARE(cleared.clearEffects(), NotificationError::None);
    QTRY_COMPARE(effectsOf(m_package, cleared.key()), QStringLiteral("cleared"));
    const QVariantList before = userSide("inbox", {}).value("dat").toMap().value("items").toList();
    QCOMPARE(before.size(), 2);

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());

    const QVariantList after = userSide("inbox", {}).value("dat").toMap().value("items").toList();
    QCOMPARE(after, before);
    const QVariantMap attributes = after.at(0).toMap().value("attributes").toMap();
    QCOMPARE(attributes.value("subtitle").toString(), full.body());
    QCOMPARE(attributes.value("timestamp").toString(), QStringLiteral("-1500"));
    QCOMPARE(attributes.value("type").toString(), QStringLiteral("uib_silent"));
    QCOMPARE(attributes.value("payload").toString(), QStringLiteral("AQL/"));
    QCOMPARE(attributes.value("sound").toString(), QStringLiteral("file:///tmp/ring.wav"));
    QCOMPARE(attributes.size(), 10); // and title, itemId, badge, iconUrl, target
    QCOMPARE(inbox().at(0).fields.value("body"), full.body());
    QCOMPARE(effectsOf(m_package, cleared.key()), QStringLiteral("cleared"));

    // Still the same items: an update and a removal reach them.
    full.setTitle(QStringLiteral("Again"));
    QCOMPARE(full.notify(), NotificationError::None);
    QCOMPARE(cleared.deleteFromInbox(), NotificationError::None);
    QTRY_COMPARE(inbox().size(), 1);
    QCOMPARE(inbox().at(0).fields.value("title"), QStringLiteral("Again"));
}

void tst_NotifyService::longInboxIsListedWhole()
{
    // Far more than one message of the bus can carry.
    const QString body(4000, QLatin1Char('x'));
    QStringList keys;
    for (int i = 0; i < 40; ++i) {
        Notification n(QStringLiteral("item-%1").arg(i));
        n.setBody(body);
        QCOMPARE(n.notify(), NotificationError::None);
        keys << n.key();
    }
    const QList<Entry> items = inbox();
    QStringList listed;
    for (const Entry &e : items) {
        listed << e.second;
        QCOMPARE(e.fields.value("body"), body);
    }
    QCOMPARE(listed, keys);
}

void tst_NotifyService::dialogAnsweredWithOmctl()
{
    NotificationDialog dialog;
    dialog.setTitle(QStringLiteral("Delete the file?"));
    dialog.setBody(QStringLiteral("It cannot be undone."));
    dialog.appendButton(new SystemUiButton(QStringLiteral("Yes")));
    dialog.appendButton(new SystemUiButton(QStringLiteral("No")));
    const QString id = dialog.property("_om_ppsID").toString();

    // Inside exec(): once the dialog is on screen, the user presses "No".
    QList<Entry> shown;
    omtest::DeviceProcess::Result chosen;
    QTimer::singleShot(0, this, [&]() {
        QTRY_COMPARE(dialogsOnScreen().size(), 1);
        shown = dialogsOnScreen();
        chosen = omtest::DeviceProcess::omctl({"choose", id, "No"});
    });
    QCOMPARE(dialog.exec(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog.buttonSelection(), dialog.buttonAt(1));

    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.at(0).first, id);
    QCOMPARE(shown.at(0).second, m_package);
    QCOMPARE(shown.at(0).fields.value("title"), dialog.title());
    QCOMPARE(shown.at(0).fields.value("body"), dialog.body());
    QCOMPARE(shown.at(0).buttons, (QStringList{buttonLine(dialog.buttonAt(0)), buttonLine(dialog.buttonAt(1))}));
    QCOMPARE(chosen.exitCode, 0);
    QCOMPARE(QString::fromUtf8(chosen.out), QStringLiteral("chose 'No' in dialog %1\n").arg(id));
    QVERIFY(dialogsOnScreen().isEmpty());
}

void tst_NotifyService::chooseRefusals_data()
{
    QTest::addColumn<QStringList>("args"); // "ID" stands for the dialog's id
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("err");

    QTest::newRow("unknown dialog") << QStringList{"choose", "nosuch", "Yes"} << 1
                                    << QStringLiteral("omctl: choose: no dialog 'nosuch' on screen\n");
    QTest::newRow("unknown button") << QStringList{"choose", "ID", "Maybe"} << 1
                                    << QStringLiteral("omctl: choose: dialog ID has no button 'Maybe'\n");
    QTest::newRow("ambiguous label")
        << QStringList{"choose", "ID", "OK"} << 1
        << QStringLiteral("omctl: choose: dialog ID has 2 buttons labelled 'OK'; name one by its context\n");
    QTest::newRow("no button named") << QStringList{"choose", "ID"} << 2
                                     << QStringLiteral("omctl: choose takes a dialog id and a button's label "
                                                       "or context (see 'omctl --help')\n");
}

void tst_NotifyService::chooseRefusals()
{
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QString, err);

    NotificationDialog dialog;
    dialog.appendButton(new SystemUiButton(QStringLiteral("OK")));
    dialog.appendButton(new SystemUiButton(QStringLiteral("OK")));
    dialog.appendButton(new SystemUiButton(QStringLiteral("Cancel")));
    QSignalSpy finished(&dialog, QOverload<int>::of(&NotificationDialog::finished));
    dialog.show();
    QTRY_COMPARE(dialogsOnScreen().size(), 1);
    const QString id = dialog.property("_om_ppsID").toString();
    args.replaceInStrings(QStringLiteral("ID"), id);
    err.replace(QStringLiteral("ID"), id);

    const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl(args);
    QCOMPARE(r.exitCode, exitCode);
    QCOMPARE(QString::fromUtf8(r.err), err);
    QVERIFY(r.out.isEmpty());
    QCOMPARE(dialogsOnScreen().size(), 1);
    QCOMPARE(finished.count(), 0);

    // The dialog can still be answered: by context, and by the start of its id.
    const QString context = dialog.buttonAt(1)->property("_om_ppsID").toString();
    const QString prefix = id.mid(1, 8);
    QCOMPARE(omtest::DeviceProcess::omctl({"choose", prefix, context}).exitCode, 0);
    QVERIFY(finished.wait());
    QCOMPARE(dialog.buttonSelection(), dialog.buttonAt(1));
}

void tst_NotifyService::dialogFollowsItsApplication()
{
    auto *dialog = new NotificationDialog;
    dialog->setTitle(QStringLiteral("One"));
    dialog->appendButton(new SystemUiButton(QStringLiteral("OK")));
    dialog->show();
    QTRY_COMPARE(dialogsOnScreen().value(0).fields.value("title"), QStringLiteral("One"));

    dialog->setTitle(QStringLiteral("Two"));
    dialog->setRepeat(true);
    dialog->show();
    QTRY_COMPARE(dialogsOnScreen().value(0).fields.value("title"), QStringLiteral("Two"));
    QCOMPARE(dialogsOnScreen().size(), 1);
    QCOMPARE(dialog->result(), NotificationResult::None);

    delete dialog;
    QTRY_VERIFY(dialogsOnScreen().isEmpty());
}

void tst_NotifyService::withoutServiceOmctlSaysSo()
{
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start({QStringLiteral("--services=none")}));
    const QString line = QStringLiteral(
        "omctl: notifications: the notification service is not running (no /pps/simulator/notifications)\n");
    for (const QString &command : {QStringLiteral("notifications"), QStringLiteral("dialogs")}) {
        const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl({command});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(QString::fromUtf8(r.err), line);
    }
    Notification n;
    QCOMPARE(n.notify(), NotificationError::ServiceUnavailable);
}

QTEST_GUILESS_MAIN(tst_NotifyService)
#include "tst_notifyservice.moc"
