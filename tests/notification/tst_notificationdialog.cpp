// NotificationDialog against a fake notification service on an in-process bus.

#include "fakeserver.h"
#include "testbroker.h"

#include <om/platform/notificationdialog.h>

#include <QMetaProperty>
#include <QPointer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <memory>

using om::platform::NotificationDialog;
using om::platform::NotificationError;
using om::platform::NotificationResult;
using om::system::InvokeRequest;
using om::system::SystemUiButton;

namespace {

QString idOf(const QObject *object)
{
    return object->property("_om_ppsID").toString();
}

InvokeRequest requestTo(const QString &target, const QString &action = QString(), const QByteArray &data = QByteArray(),
                        const QUrl &uri = QUrl(), const QString &mimeType = QString())
{
    InvokeRequest request;
    request.setTarget(target);
    request.setAction(action);
    request.setData(data);
    request.setUri(uri);
    request.setMimeType(mimeType);
    return request;
}

QVariantMap cancelOf(const QString &id)
{
    return {{"msg", "cancel"}, {"id", id}, {"dat", QVariantMap{{"itemId", id}}}};
}

const QStringList FinishedError{"enum 1", "int 1"};
const QStringList FinishedSelection{"enum 2", "int 2"};

} // namespace

class tst_NotificationDialog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void course();
    void showMessage_data();
    void showMessage();
    void failures_data();
    void failures();
    void immediateFailures_data();
    void immediateFailures();
    void cancelKeepsExecWaiting();
    void buttonList();
    void earlierSelectionLastsWhileItsButtonLives();
    void declarativeButtons();

private:
    // A dialog with buttons of @p labels; m_finished records both forms of its finished().
    NotificationDialog *makeDialog(const QStringList &labels);
    // Shows the dialog and returns the message the service got for it.
    omtest::Received showAndWait(NotificationDialog *dialog, int messagesBefore = 0);
    void choose(const omtest::Received &alert, const QString &context);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
    QPointer<NotificationDialog> m_dialog;
    QStringList m_finished;
};

void tst_NotificationDialog::init()
{
    m_broker = std::make_unique<omtest::TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_service = std::make_unique<omtest::FakeServer>(QStringLiteral("/pps/services/notify/control"));
    QVERIFY(m_service->start());
    m_service->answerOk(QStringLiteral("alert"));
    m_finished.clear();
}

void tst_NotificationDialog::cleanup()
{
    delete m_dialog.data();
    m_service.reset();
    m_broker.reset();
}

NotificationDialog *tst_NotificationDialog::makeDialog(const QStringList &labels)
{
    m_dialog = new NotificationDialog;
    for (const QString &label : labels)
        m_dialog->appendButton(new SystemUiButton(label));
    connect(m_dialog, QOverload<NotificationResult::Type>::of(&NotificationDialog::finished), this,
            [this](NotificationResult::Type v) { m_finished << QStringLiteral("enum %1").arg(v); });
    connect(m_dialog, QOverload<int>::of(&NotificationDialog::finished), this,
            [this](int v) { m_finished << QStringLiteral("int %1").arg(v); });
    return m_dialog;
}

omtest::Received tst_NotificationDialog::showAndWait(NotificationDialog *dialog, int messagesBefore)
{
    dialog->show();
    if (!m_service->waitForReceived(messagesBefore + 1))
        return omtest::Received();
    return m_service->received().at(messagesBefore);
}

void tst_NotificationDialog::choose(const omtest::Received &alert, const QString &context)
{
    const QString id = alert.id();
    QVERIFY(m_service->reply(alert.clientId, {{"msg", "choice"}, {"id", id},
                                              {"dat", QVariantMap{{"itemId", id}, {"context", context}}}}));
}

void tst_NotificationDialog::course()
{
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    const QString id = idOf(dialog);
    const omtest::Received alert = showAndWait(dialog);
    QCOMPARE(alert.msg(), QStringLiteral("alert"));
    QCOMPARE(alert.id(), id);
    QCOMPARE(alert.dat().value("itemId").toString(), id);
    QCOMPARE(dialog->result(), NotificationResult::None);

    // Shown again while up: an update on the same channel, without "id".
    dialog->setTitle(QStringLiteral("Changed"));
    const omtest::Received update = showAndWait(dialog, 1);
    QCOMPARE(update.msg(), QStringLiteral("update"));
    QVERIFY(!update.attributes.contains("id"));
    QCOMPARE(update.clientId, alert.clientId);
    QCOMPARE(update.dat().value("itemId").toString(), id);
    QCOMPARE(update.dat().value("title").toString(), QStringLiteral("Changed"));
    QCOMPARE(update.dat().value("promptChoices").toList().size(), 2);

    choose(alert, idOf(dialog->buttonAt(1)));
    QTRY_COMPARE(m_finished, FinishedSelection);
    QCOMPARE(dialog->result(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog->error(), NotificationError::None);
    QCOMPARE(dialog->buttonSelection(), dialog->buttonAt(1));

    // The dialog takes itself down at the service, and lets go of it.
    QVERIFY(m_service->waitForReceived(3));
    QCOMPARE(m_service->last().attributes, cancelOf(id));
    QVERIFY(m_service->waitForClosed(1));
    QCOMPARE(m_service->received().size(), 3);
}

void tst_NotificationDialog::showMessage_data()
{
    QTest::addColumn<QVariantMap>("setup");
    QTest::addColumn<QVariantList>("buttons");  // maps: label, and request fields
    QTest::addColumn<QVariantMap>("expected"); // "dat" apart from itemId; contexts left out

    const QVariantList ok{QVariantMap{{"label", "OK"}}};
    const QString e("");
    QTest::newRow("one button") << QVariantMap() << ok << QVariantMap{{"repeating", "off"}, {"promptChoices", ok}};
    QTest::newRow("empty title and body are sent")
        << QVariantMap{{"title", e}, {"body", e}} << ok
        << QVariantMap{{"title", e}, {"subtitle", e}, {"repeating", "off"}, {"promptChoices", ok}};
    QTest::newRow("repeat, category and sound")
        << QVariantMap{{"repeat", true}, {"category", "call"}, {"soundUrl", QUrl("/tmp/a b.wav")}} << ok
        << QVariantMap{{"repeating", "on"}, {"type", "call"}, {"sound", "file:///tmp/a%20b.wav"},
                       {"promptChoices", ok}};
    const QVariantMap open{{"label", "Open"}, {"target", "com.example.app"}, {"action", "om.action.OPEN"}};
    QVariantMap given = open, sent = open;
    given.insert({{"data", QByteArray("caf\xc3\xa9")}, {"uri", QUrl("http://example.com/a b")},
                  {"mimeType", "text/plain"}});
    sent.insert({{"data", QString::fromUtf8("café")}, {"uri", "http://example.com/a b"}});
    QTest::newRow("button invocation: data as it is, uri unencoded, no MIME type")
        << QVariantMap() << QVariantList{given, QVariantMap{{"label", e}}}
        << QVariantMap{{"repeating", "off"}, {"promptChoices", QVariantList{sent, QVariantMap{{"label", e}}}}};
}

void tst_NotificationDialog::showMessage()
{
    QFETCH(QVariantMap, setup);
    QFETCH(QVariantList, buttons);
    QFETCH(QVariantMap, expected);

    NotificationDialog *dialog = makeDialog({});
    const auto apply = [&](bool reset) {
        for (auto it = setup.cbegin(); it != setup.cend(); ++it) {
            // Set or reset twice, a property signals once.
            const QMetaObject *mo = dialog->metaObject();
            const QMetaProperty p = mo->property(mo->indexOfProperty(qPrintable(it.key())));
            QSignalSpy spy(dialog, p.notifySignal());
            for (int i = 0; i < 2; ++i)
                QVERIFY(reset ? p.reset(dialog) : p.write(dialog, it.value()));
            QCOMPARE(spy.count(), 1);
            QCOMPARE(spy.at(0).at(0), p.read(dialog));
        }
    };
    apply(false);
    for (const QVariant &value : qAsConst(buttons)) {
        const QVariantMap b = value.toMap();
        const InvokeRequest request = requestTo(b.value("target").toString(), b.value("action").toString(),
                                                b.value("data").toByteArray(), b.value("uri").toUrl(),
                                                b.value("mimeType").toString());
        dialog->appendButton(new SystemUiButton(b.value("label").toString()), request);
    }

    QVariantMap dat = showAndWait(dialog).dat();
    QCOMPARE(dat.take("itemId").toString(), idOf(dialog));
    QVariantList choices = dat.value("promptChoices").toList();
    QCOMPARE(choices.size(), dialog->buttonCount());
    for (int i = 0; i < choices.size(); ++i) {
        QVariantMap choice = choices.at(i).toMap();
        QCOMPARE(choice.take("context").toString(), idOf(dialog->buttonAt(i)));
        choices[i] = choice;
    }
    dat.insert("promptChoices", choices);
    QCOMPARE(dat, expected);

    // Reset, every property leaves the message again.
    apply(true);
    const QVariantMap update = showAndWait(dialog, 1).dat();
    QCOMPARE(update.keys(), (QStringList{"itemId", "promptChoices", "repeating"}));
    QCOMPARE(update.value("repeating").toString(), QStringLiteral("off"));
}

void tst_NotificationDialog::failures_data()
{
    QTest::addColumn<QVariantMap>("message"); // to a dialog of id "ID" whose button is "CTX"
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("cancelSent");

    const int unknown = NotificationError::Unknown, invalid = NotificationError::InvalidRequest;
    const auto choice = [](const QString &id, const QVariantMap &dat) {
        return QVariantMap{{"msg", "choice"}, {"id", id}, {"dat", dat}};
    };
    QTest::newRow("alert refused")
        << QVariantMap{{"res", "alert"}, {"id", "ID"}, {"err", "bad"}} << QString() << invalid << false;
    QTest::newRow("alert refused, prefix object")
        << QVariantMap{{"res", "alert"}, {"id", "ID"}, {"err", ""}} << "@control_2" << invalid << false;
    QTest::newRow("another id")
        << choice("other", {{"itemId", "ID"}, {"context", "CTX"}}) << QString() << unknown << false;
    QTest::newRow("no id") << QVariantMap{{"res", "alert"}} << QString() << unknown << false;
    QTest::newRow("neither alert answer nor choice")
        << QVariantMap{{"res", "update"}, {"id", "ID"}} << QString() << unknown << false;
    QTest::newRow("choice for another item")
        << choice("ID", {{"itemId", "x"}, {"context", "CTX"}}) << QString() << unknown << true;
    QTest::newRow("choice naming no button")
        << choice("ID", {{"itemId", "ID"}, {"context", "nope"}}) << QString() << unknown << true;
    QTest::newRow("choice without context") << choice("ID", {{"itemId", "ID"}}) << QString() << unknown << true;
    QTest::newRow("choice without dat")
        << QVariantMap{{"msg", "choice"}, {"id", "ID"}} << QString() << unknown << true;
}

void tst_NotificationDialog::failures()
{
    QFETCH(QVariantMap, message);
    QFETCH(QString, objectName);
    QFETCH(int, error);
    QFETCH(bool, cancelSent);

    NotificationDialog *dialog = makeDialog({"Yes"});
    dialog->setProperty("_om_ppsID", "ID");
    dialog->buttonAt(0)->setProperty("_om_ppsID", "CTX");
    QVERIFY(m_service->replyAs(showAndWait(dialog).clientId, objectName, message));
    QTRY_COMPARE(m_finished, FinishedError);
    QCOMPARE(dialog->result(), NotificationResult::Error);
    QCOMPARE(int(dialog->error()), error);
    QCOMPARE(dialog->buttonSelection(), nullptr);
    QVERIFY(m_service->waitForClosed(1));
    const QList<omtest::Received> received = m_service->received();
    QCOMPARE(received.size(), cancelSent ? 2 : 1);
    if (cancelSent)
        QCOMPARE(received.last().attributes, cancelOf("ID"));
}

void tst_NotificationDialog::immediateFailures_data()
{
    QTest::addColumn<bool>("withButton");
    QTest::addColumn<bool>("upBefore"); // shown, then its buttons cleared
    QTest::addColumn<int>("error");
    QTest::newRow("no buttons") << false << false << int(NotificationError::NoButtons);
    QTest::newRow("buttons cleared while up") << true << true << int(NotificationError::NoButtons);
    QTest::newRow("no service") << true << false << int(NotificationError::ServiceUnavailable);
}

void tst_NotificationDialog::immediateFailures()
{
    QFETCH(bool, withButton);
    QFETCH(bool, upBefore);
    QFETCH(int, error);
    const bool serviceDown = withButton && !upBefore;
    if (serviceDown)
        m_service->stop();
    NotificationDialog *dialog = makeDialog(withButton ? QStringList{"OK"} : QStringList());
    const QPointer<SystemUiButton> button = dialog->buttonAt(0);
    if (upBefore) {
        showAndWait(dialog);
        dialog->clearButtons();
        QCOMPARE(dialog->buttonCount(), 0);
    }
    dialog->show();
    QCOMPARE(m_finished, FinishedError);
    QCOMPARE(dialog->result(), NotificationResult::Error);
    QCOMPARE(int(dialog->error()), error);
    QCOMPARE(dialog->exec(), NotificationResult::Error);
    QCOMPARE(m_finished, FinishedError + FinishedError);
    QCOMPARE(int(dialog->error()), error);
    if (upBefore) { // taken down at the service; the buttons are deleted later
        QVERIFY(m_service->waitForClosed(1));
        QCOMPARE(m_service->received().size(), 2);
        QCOMPARE(m_service->last().attributes, cancelOf(idOf(dialog)));
        QTRY_VERIFY(button.isNull());
    } else {
        QCOMPARE(m_service->openedCount(), 0);
    }

    // With a button and the service back, the dialog goes up; destroyed, it is taken down without finished().
    if (serviceDown)
        QVERIFY(m_service->start());
    else
        dialog->appendButton(new SystemUiButton(QStringLiteral("OK")));
    const int sent = m_service->received().size();
    QCOMPARE(showAndWait(dialog, sent).msg(), QStringLiteral("alert"));
    QCOMPARE(dialog->result(), NotificationResult::None);
    QCOMPARE(dialog->error(), NotificationError::None);
    const QString id = idOf(dialog);
    delete dialog;
    QVERIFY(m_service->waitForReceived(sent + 2));
    QCOMPARE(m_service->last().attributes, cancelOf(id));
    QCOMPARE(m_finished.size(), 4);
}

void tst_NotificationDialog::cancelKeepsExecWaiting()
{
    NotificationDialog *dialog = makeDialog({"OK"});
    dialog->cancel(); // idle: nothing to say
    QCOMPARE(m_service->openedCount(), 0);

    bool execReturned = false;
    bool checked = false;
    QTimer::singleShot(0, this, [&]() {
        QVERIFY(m_service->waitForReceived(1));
        dialog->cancel();
        dialog->cancel();
        QVERIFY(m_service->waitForClosed(1));
        QCOMPARE(m_service->received().size(), 2);
        QCOMPARE(m_service->last().attributes, cancelOf(idOf(dialog)));
        QCOMPARE(m_service->last().clientId, m_service->received().first().clientId);
        QVERIFY(!execReturned);
        QVERIFY(m_finished.isEmpty());
        QCOMPARE(dialog->result(), NotificationResult::None);
        // Shown again, the same exec() ends with the choice.
        const omtest::Received again = showAndWait(dialog, 2);
        QCOMPARE(again.msg(), QStringLiteral("alert"));
        choose(again, idOf(dialog->buttonAt(0)));
        checked = true;
    });
    QCOMPARE(dialog->exec(), NotificationResult::ButtonSelection);
    execReturned = true;
    QVERIFY(checked);
    QCOMPARE(m_finished, FinishedSelection);
    QCOMPARE(dialog->buttonSelection(), dialog->buttonAt(0));
}

void tst_NotificationDialog::buttonList()
{
    NotificationDialog *dialog = makeDialog({});
    QObject other;
    auto *a = new SystemUiButton(QStringLiteral("a"), &other);
    auto *b = new SystemUiButton(QStringLiteral("b"));
    auto *c = new SystemUiButton(QStringLiteral("c"));
    dialog->appendButton(a, requestTo("ra"));
    dialog->appendButton(b, requestTo("rb"));
    dialog->appendButton(c, requestTo("rc"));
    dialog->appendButton(a, requestTo("again")); // already there: the request is dropped
    dialog->appendButton(nullptr, requestTo("none"));
    QCOMPARE(a->parent(), dialog);
    QCOMPARE(dialog->buttonCount(), 3);
    for (int index : {-1, 3, 1000}) {
        QCOMPARE(dialog->buttonAt(index), nullptr);
        QCOMPARE(dialog->invokeRequestAt(index), InvokeRequest());
        QVERIFY(!dialog->setInvokeRequestAt(index, requestTo("x")));
    }
    QVERIFY(dialog->setInvokeRequestAt(2, requestTo("rc2")));
    QCOMPARE(dialog->invokeRequestAt(2).target(), QStringLiteral("rc2"));

    // The requests stay where they were: each button behind the gap sees its predecessor's.
    delete a;
    QCOMPARE(dialog->buttonCount(), 2);
    QCOMPARE(dialog->buttonAt(0), b);
    QCOMPARE(dialog->buttonAt(1), c);
    QCOMPARE(dialog->invokeRequestAt(0).target(), QStringLiteral("ra"));
    QCOMPARE(dialog->invokeRequestAt(1).target(), QStringLiteral("rb"));
    QCOMPARE(dialog->invokeRequestAt(2), InvokeRequest());

    QStringList sent;
    for (const QVariant &choice : showAndWait(dialog).dat().value("promptChoices").toList())
        sent << choice.toMap().value("label").toString() + ' ' + choice.toMap().value("target").toString();
    QCOMPARE(sent, (QStringList{"b ra", "c rb"}));
}

void tst_NotificationDialog::earlierSelectionLastsWhileItsButtonLives()
{
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    choose(showAndWait(dialog), idOf(dialog->buttonAt(0)));
    QTRY_COMPARE(m_finished, FinishedSelection);
    QVERIFY(m_service->waitForReceived(2)); // the cancel

    // Shown again: a new channel, a new alert with the same id, and a choice naming no button.
    const omtest::Received again = showAndWait(dialog, 2);
    QCOMPARE(again.msg(), QStringLiteral("alert"));
    QCOMPARE(again.id(), idOf(dialog));
    choose(again, QStringLiteral("nope"));
    QTRY_COMPARE(m_finished, (FinishedSelection + QStringList{"enum 0", "int 0"}));
    QCOMPARE(dialog->result(), NotificationResult::None);
    QCOMPARE(dialog->error(), NotificationError::None);
    QCOMPARE(dialog->buttonSelection()->label(), QStringLiteral("Yes"));

    delete dialog->buttonAt(0);
    QCOMPARE(dialog->buttonSelection(), nullptr);
    QCOMPARE(dialog->buttonCount(), 1);
}

void tst_NotificationDialog::declarativeButtons()
{
    NotificationDialog *dialog = makeDialog({});
    const QMetaObject *mo = dialog->metaObject();
    const QByteArray name = mo->classInfo(mo->indexOfClassInfo("DefaultProperty")).value();
    QCOMPARE(name, QByteArray("buttons"));
    QCOMPARE(mo->property(mo->indexOfProperty(name)).typeName(), "QQmlListProperty<om::system::SystemUiButton>");

    QQmlListProperty<SystemUiButton> list = dialog->qmlButtons();
    QPointer<SystemUiButton> button = new SystemUiButton(QStringLiteral("OK"));
    list.append(&list, nullptr);
    QCOMPARE(list.count(&list), 0);
    list.append(&list, button);
    QCOMPARE(list.count(&list), 1);
    QCOMPARE(list.at(&list, 0), button);
    QCOMPARE(button->parent(), dialog);
    list.clear(&list);
    QCOMPARE(dialog->buttonCount(), 0);
    QTRY_VERIFY(button.isNull());
}

QTEST_GUILESS_MAIN(tst_NotificationDialog)
#include "tst_notificationdialog.moc"
