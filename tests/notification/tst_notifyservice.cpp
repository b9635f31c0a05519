// End to end: the library against the notification service of omdeviced, with omctl playing the user.

#include "deviceprocess.h"
#include "notification/notificationssharedconstants.h"

#include <om/packageinfo.h>
#include <om/platform/notification.h>
#include <om/platform/notificationdialog.h>
#include <om/platform/ommock/notificationppschannel.h>
#include <om/ppsobject.h>

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <functional>
#include <memory>

using om::platform::Notification;
using om::platform::NotificationDialog;
using om::platform::NotificationError;
using om::platform::NotificationResult;
using om::system::SystemUiButton;

namespace {

const QString OtherPackage = QStringLiteral("com.example.other");

// One block of "omctl notifications" or "omctl dialogs": "head" is its first line, then its
// fields by name, a value of several lines or several buttons joined by newlines.
using Entry = QMap<QString, QString>;

QList<Entry> listing(const QString &command)
{
    const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl({command});
    if (r.exitCode != 0)
        qWarning() << "omctl" << command << "failed:" << r.err;
    QList<Entry> entries;
    QString key;
    static const QRegularExpression field(QStringLiteral("^  (\\w+): +(.*)$"));
    for (const QString &line : QString::fromUtf8(r.out).split(QLatin1Char('\n'))) {
        const QRegularExpressionMatch m = field.match(line);
        if (!line.isEmpty() && !line.startsWith(QLatin1Char(' ')) && !line.startsWith(QLatin1Char('('))) {
            entries.append({{QStringLiteral("head"), line}});
        } else if (entries.isEmpty()) {
            continue;
        } else if (m.hasMatch()) {
            QString &value = entries.last()[key = m.captured(1)];
            value += (value.isNull() ? QString() : QStringLiteral("\n")) + m.captured(2);
        } else if (line.startsWith(QString(12, QLatin1Char(' ')))) {
            entries.last()[key] += QLatin1Char('\n') + line.mid(12);
        }
    }
    return entries;
}

// The item @p key of @p application as omctl shows it; empty if there is none.
Entry itemOf(const QString &application, const QString &key)
{
    for (const Entry &e : listing("notifications")) {
        if (e.value(QStringLiteral("head")) == application + QLatin1String("  ") + key)
            return e;
    }
    return Entry();
}

// The device knows an application by the package its client names.
NotificationError::Type asOtherApplication(const std::function<NotificationError::Type()> &call)
{
    const QByteArray own = qgetenv("OM_PACKAGE_NAME");
    qputenv("OM_PACKAGE_NAME", OtherPackage.toUtf8());
    const NotificationError::Type result = call();
    own.isNull() ? qunsetenv("OM_PACKAGE_NAME") : qputenv("OM_PACKAGE_NAME", own);
    return result;
}

// The inbox as the device's user-side object gives it, as omctl asks for it.
QVariantList rawInbox()
{
    om::PpsObject pps(QStringLiteral("/pps/simulator/notifications"));
    if (!pps.open(om::PpsOpenMode::PublishSubscribe))
        return {};
    QSignalSpy spy(&pps, &om::PpsObject::readyRead);
    if (pps.writeMessage(QStringLiteral("inbox"), QStringLiteral("t1"), QVariantMap()) != 0 || !spy.wait(5000))
        return {};
    bool ok = false;
    const QVariantMap answer = om::PpsObject::decode(pps.read(&ok)).value(QStringLiteral("@notifications")).toMap();
    return answer.value(QStringLiteral("dat")).toMap().value(QStringLiteral("items")).toList();
}

} // namespace

class tst_NotifyService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void inboxThroughTheService();
    void malformedRequestsAreRefused_data();
    void malformedRequestsAreRefused();
    void inboxKeepsEveryAttributeAcrossRestart();
    void dialogAnsweredWithOmctl();
    void chooseRefusals_data();
    void chooseRefusals();
    void inboxActionsOfTheUser_data();
    void inboxActionsOfTheUser();

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

void tst_NotifyService::inboxThroughTheService()
{
    const QString key = QStringLiteral("shared-key");
    const QString active = QStringLiteral("active"), cleared = QStringLiteral("cleared");
    Notification theirs(key), ours(key), other;
    theirs.setTitle(QStringLiteral("theirs"));
    QCOMPARE(asOtherApplication([&]() { return theirs.notify(); }), NotificationError::None);
    ours.setTitle(QStringLiteral("First"));
    ours.setBody(QStringLiteral("Body"));
    ours.setCategory(QStringLiteral("news"));
    ours.setTimestamp(QDateTime(QDate(2024, 5, 1), QTime(12, 30, 15)));
    QCOMPARE(ours.notify(), NotificationError::None);
    QCOMPARE(other.notify(), NotificationError::None);
    QCOMPARE(listing("notifications").size(), 3);
    const Entry first{{"head", m_package + "  " + key}, {"title", "First"}, {"body", "Body"},
                      {"time", "2024-05-01 12:30:15"}, {"category", "news"}, {"effects", "active"}};
    QCOMPARE(itemOf(m_package, key), first);

    // Another object of the same key updates the item: what it does not send is gone.
    Notification again(key);
    again.setTitle(QStringLiteral("Second"));
    QCOMPARE(again.notify(), NotificationError::None);
    QCOMPARE(listing("notifications").size(), 3);
    QCOMPARE(itemOf(m_package, key).value("title"), QStringLiteral("Second"));
    QCOMPARE(itemOf(m_package, key).value("body"), QStringLiteral("(none)"));
    QCOMPARE(itemOf(OtherPackage, key).value("title"), QStringLiteral("theirs"));

    QCOMPARE(again.clearEffects(), NotificationError::None);
    QTRY_COMPARE(itemOf(m_package, key).value("effects"), cleared);
    QCOMPARE(itemOf(m_package, other.key()).value("effects"), active);
    QCOMPARE(again.notify(), NotificationError::None); // posted again, its effects come back
    QCOMPARE(itemOf(m_package, key).value("effects"), active);

    QCOMPARE(Notification::clearEffectsForAll(), NotificationError::None);
    QTRY_COMPARE(itemOf(m_package, other.key()).value("effects"), cleared);
    QCOMPARE(itemOf(m_package, key).value("effects"), cleared);
    QCOMPARE(itemOf(OtherPackage, key).value("effects"), active);

    QCOMPARE(ours.deleteFromInbox(), NotificationError::None);
    QTRY_COMPARE(listing("notifications").size(), 2);
    QCOMPARE(Notification::deleteAllFromInbox(), NotificationError::None);
    QTRY_COMPARE(listing("notifications").size(), 1);
    QCOMPARE(itemOf(OtherPackage, key).value("effects"), active);
    QCOMPARE(asOtherApplication(&Notification::deleteAllFromInbox), NotificationError::None);
    QTRY_VERIFY(listing("notifications").isEmpty());
}

void tst_NotifyService::malformedRequestsAreRefused_data()
{
    QTest::addColumn<QVariantMap>("message");
    QTest::newRow("notify without dat") << QVariantMap{{"msg", "notify"}, {"id", "r1"}};
    QTest::newRow("notify with dat that is no map") << QVariantMap{{"msg", "notify"}, {"id", "r1"}, {"dat", "text"}};
    QTest::newRow("notify without itemId")
        << QVariantMap{{"msg", "notify"}, {"id", "r1"}, {"dat", QVariantMap{{"title", "t"}}}};
    QTest::newRow("alert without buttons")
        << QVariantMap{{"msg", "alert"}, {"id", "r1"}, {"dat", QVariantMap{{"itemId", "r1"}}}};
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
    QVERIFY(listing("notifications").isEmpty());
    QVERIFY(listing("dialogs").isEmpty());
}

void tst_NotifyService::inboxKeepsEveryAttributeAcrossRestart()
{
    Notification full, cleared;
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
    QCOMPARE(cleared.notify(), NotificationError::None);
    QCOMPARE(cleared.clearEffects(), NotificationError::None);
    QTRY_COMPARE(itemOf(m_package, cleared.key()).value("effects"), QStringLiteral("cleared"));
    const QVariantList before = rawInbox();

    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());

    const QVariantList after = rawInbox();
    QCOMPARE(after.size(), 2);
    QCOMPARE(after, before);
    const QVariantMap attributes{
        {"itemId", full.key()}, {"title", "Title"}, {"subtitle", full.body()}, {"timestamp", "-1500"},
        {"badge", "true"}, {"sound", "file:///tmp/ring.wav"}, {"type", "uib_silent"}, {"target", "com.example.viewer"},
        {"iconUrl", QUrl::fromLocalFile(QCoreApplication::applicationDirPath() + "/assets/icon.png").toString()},
        {"payload", "AQL/"}};
    QCOMPARE(after.at(0).toMap().value("attributes").toMap(), attributes);
    QCOMPARE(itemOf(m_package, cleared.key()).value("effects"), QStringLiteral("cleared"));

    // Still the same item: an update reaches it.
    full.setTitle(QStringLiteral("Again"));
    QCOMPARE(full.notify(), NotificationError::None);
    QCOMPARE(listing("notifications").size(), 2);
    QCOMPARE(itemOf(m_package, full.key()).value("title"), QStringLiteral("Again"));
    QCOMPARE(itemOf(m_package, full.key()).value("body"), full.body());
}

void tst_NotifyService::dialogAnsweredWithOmctl()
{
    NotificationDialog dialog;
    dialog.setTitle(QStringLiteral("Delete it?"));
    dialog.setBody(QStringLiteral("It cannot be undone."));
    dialog.appendButton(new SystemUiButton(QStringLiteral("Yes")));
    dialog.appendButton(new SystemUiButton(QStringLiteral("No")));
    const QString id = dialog.property("_om_ppsID").toString();

    // Inside exec(): once the dialog is on screen, its content is updated, and the user presses "No".
    QList<Entry> shown;
    omtest::DeviceProcess::Result chosen;
    QTimer::singleShot(0, this, [&]() {
        QTRY_COMPARE(listing("dialogs").size(), 1);
        dialog.setTitle(QStringLiteral("Delete the file?"));
        dialog.show();
        QTRY_COMPARE(listing("dialogs").value(0).value("title"), dialog.title());
        shown = listing("dialogs");
        chosen = omtest::DeviceProcess::omctl({"choose", id, "No"});
    });
    QCOMPARE(dialog.exec(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog.buttonSelection(), dialog.buttonAt(1));

    const auto button = [&](int i) {
        return dialog.buttonAt(i)->label() + "  [" + dialog.buttonAt(i)->property("_om_ppsID").toString() + "]";
    };
    QCOMPARE(shown, (QList<Entry>{{{"head", id + "  " + m_package}, {"title", dialog.title()}, {"body", dialog.body()},
                                   {"button", button(0) + "\n" + button(1)}}}));
    QCOMPARE(chosen.exitCode, 0);
    QCOMPARE(QString::fromUtf8(chosen.out), QStringLiteral("chose 'No' in dialog %1\n").arg(id));
    QVERIFY(listing("dialogs").isEmpty());

    // Shown again, and cancelled.
    dialog.show();
    QTRY_COMPARE(listing("dialogs").size(), 1);
    dialog.cancel();
    QTRY_VERIFY(listing("dialogs").isEmpty());
}

void tst_NotifyService::chooseRefusals_data()
{
    QTest::addColumn<QStringList>("args"); // "ID" stands for the dialog's id
    QTest::addColumn<QString>("err");

    QTest::newRow("unknown dialog") << QStringList{"choose", "nosuch", "Yes"}
                                    << "omctl: choose: no dialog 'nosuch' on screen\n";
    QTest::newRow("unknown button") << QStringList{"choose", "ID", "Maybe"}
                                    << "omctl: choose: dialog ID has no button 'Maybe'\n";
    QTest::newRow("ambiguous label")
        << QStringList{"choose", "ID", "OK"}
        << "omctl: choose: dialog ID has 2 buttons labelled 'OK'; name one by its context\n";
}

void tst_NotifyService::chooseRefusals()
{
    QFETCH(QStringList, args);
    QFETCH(QString, err);

    NotificationDialog dialog;
    for (const char *label : {"OK", "OK", "Cancel"})
        dialog.appendButton(new SystemUiButton(QString::fromLatin1(label)));
    QSignalSpy finished(&dialog, QOverload<int>::of(&NotificationDialog::finished));
    dialog.show();
    QTRY_COMPARE(listing("dialogs").size(), 1);
    const QString id = dialog.property("_om_ppsID").toString();
    args.replaceInStrings(QStringLiteral("ID"), id);
    err.replace(QStringLiteral("ID"), id);

    const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl(args);
    QCOMPARE(r.exitCode, 1);
    QCOMPARE(QString::fromUtf8(r.err), err);
    QVERIFY(r.out.isEmpty());
    QCOMPARE(listing("dialogs").size(), 1);
    QCOMPARE(finished.count(), 0);

    // The dialog can still be answered: by context, and by the start of its id.
    const QString context = dialog.buttonAt(1)->property("_om_ppsID").toString();
    QCOMPARE(omtest::DeviceProcess::omctl({"choose", id.mid(1, 8), context}).exitCode, 0);
    QVERIFY(finished.wait());
    QCOMPARE(dialog.buttonSelection(), dialog.buttonAt(1));
}

void tst_NotifyService::inboxActionsOfTheUser_data()
{
    QTest::addColumn<QStringList>("args"); // "APP" stands for this test's package
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("output"); // stdout on success, stderr otherwise
    QTest::addColumn<QString>("effectsAfter"); // of k1 and k2; "gone" for a deleted item

    QTest::newRow("open") << QStringList{"open", "APP", "k1"} << 0
                          << "opened k1: nothing to invoke, effects cleared" << "cleared active";
    QTest::newRow("clear the effects of one")
        << QStringList{"clear-effects", "APP", "k2"} << 0
        << "cleared the effects of k2 of APP" << "active cleared";
    QTest::newRow("clear the effects of all")
        << QStringList{"clear-effects", "APP"} << 0
        << "cleared the effects of every item of APP" << "cleared cleared";
    QTest::newRow("delete one") << QStringList{"delete", "APP", "k1"} << 0 << "deleted k1 of APP"
                                << "gone active";
    QTest::newRow("delete all") << QStringList{"delete", "APP"} << 0
                                << "deleted every item of APP" << "gone gone";
    QTest::newRow("no such item") << QStringList{"open", "APP", "k9"} << 1
                                  << "omctl: open: no item 'k9' of 'APP' in the inbox"
                                  << "active active";
    QTest::newRow("another application's") << QStringList{"delete", "com.example.none"} << 1
                                           << "omctl: delete: no item of 'com.example.none' in the inbox"
                                           << "active active";
    QTest::newRow("open without an item")
        << QStringList{"open", "APP"} << 2
        << "omctl: open takes an application and an item id (see 'omctl --help')" << "active active";
}

void tst_NotifyService::inboxActionsOfTheUser()
{
    QFETCH(QStringList, args);
    QFETCH(int, exitCode);
    QFETCH(QString, output);
    QFETCH(QString, effectsAfter);
    args.replaceInStrings(QStringLiteral("APP"), m_package);
    output.replace(QStringLiteral("APP"), m_package);

    Notification first(QStringLiteral("k1")), second(QStringLiteral("k2"));
    QCOMPARE(first.notify(), NotificationError::None);
    QCOMPARE(second.notify(), NotificationError::None);

    const omtest::DeviceProcess::Result r = omtest::DeviceProcess::omctl(args);
    QCOMPARE(r.exitCode, exitCode);
    QCOMPARE(QString::fromUtf8(exitCode == 0 ? r.out : r.err).trimmed(), output);
    QStringList effects;
    for (const char *key : {"k1", "k2"}) {
        const QString e = itemOf(m_package, QLatin1String(key)).value(QStringLiteral("effects"));
        effects << (e.isEmpty() ? QStringLiteral("gone") : e);
    }
    QCOMPARE(effects.join(QLatin1Char(' ')), effectsAfter);
}

QTEST_GUILESS_MAIN(tst_NotifyService)
#include "tst_notifyservice.moc"
