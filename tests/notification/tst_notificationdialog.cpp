// NotificationDialog against a fake notification service on an in-process
// bus: the alert/update/choice/cancel course, each way an exchange can fail,
// the button list, and exec().

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

const QString ControlPath = QStringLiteral("/pps/services/notify/control");

QString idOf(const QObject *object)
{
    return object->property("_om_ppsID").toString();
}

InvokeRequest requestTo(const QString &target)
{
    InvokeRequest request;
    request.setTarget(target);
    return request;
}

// Records both forms of finished(), in the order they come.
struct FinishedLog
{
    explicit FinishedLog(NotificationDialog *dialog)
    {
        QObject::connect(dialog, QOverload<NotificationResult::Type>::of(&NotificationDialog::finished),
                         [this](NotificationResult::Type v) { entries << QStringLiteral("enum %1").arg(v); });
        QObject::connect(dialog, QOverload<int>::of(&NotificationDialog::finished),
                         [this](int v) { entries << QStringLiteral("int %1").arg(v); });
    }
    QStringList entries;
};

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
    void noButtons();
    void serviceUnavailable();
    void showTwiceSendsUpdate();
    void clearButtonsWhileUp();
    void cancelIdleAndUp();
    void cancelInsideExecKeepsWaiting();
    void execReturnsOnChoice();
    void buttonListAfterButtonDies();
    void sameButtonTwice();
    void outOfRange_data();
    void outOfRange();
    void selectedButtonDestroyedLater();
    void earlierSelectionSurvivesUnknownContext();
    void destroyedWhileUp();
    void destroyedInsideExec();
    void declarativeButtons();
    void settersSignalOnlyOnChange_data();
    void settersSignalOnlyOnChange();

private:
    NotificationDialog *makeDialog(const QStringList &labels);
    void acknowledgeAlerts();
    // Shows the dialog and returns the alert as the service got it.
    omtest::Received showAndWait(NotificationDialog *dialog, int messagesBefore = 0);
    void choose(const omtest::Received &alert, const QString &context);

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<omtest::FakeServer> m_service;
    QList<QPointer<NotificationDialog>> m_dialogs;
};

void tst_NotificationDialog::init()
{
    m_broker = std::make_unique<omtest::TestBroker>();
    QVERIFY(m_broker->isRunning());
    m_service = std::make_unique<omtest::FakeServer>(ControlPath);
    QVERIFY(m_service->start());
}

void tst_NotificationDialog::cleanup()
{
    for (const QPointer<NotificationDialog> &dialog : qAsConst(m_dialogs))
        delete dialog.data();
    m_dialogs.clear();
    m_service.reset();
    m_broker.reset();
}

NotificationDialog *tst_NotificationDialog::makeDialog(const QStringList &labels)
{
    auto *dialog = new NotificationDialog;
    m_dialogs.append(dialog);
    for (const QString &label : labels)
        dialog->appendButton(new SystemUiButton(label));
    return dialog;
}

void tst_NotificationDialog::acknowledgeAlerts()
{
    m_service->answerOk(QStringLiteral("alert"));
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
    QVERIFY(m_service->reply(alert.clientId,
                             {{"msg", "choice"}, {"id", id}, {"dat", QVariantMap{{"itemId", id}, {"context", context}}}}));
}

void tst_NotificationDialog::course()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    FinishedLog log(dialog);
    const QString id = idOf(dialog);

    const omtest::Received alert = showAndWait(dialog);
    QCOMPARE(alert.msg(), QStringLiteral("alert"));
    QCOMPARE(alert.id(), id);
    QCOMPARE(alert.dat().value("itemId").toString(), id);
    QCOMPARE(dialog->result(), NotificationResult::None);

    choose(alert, idOf(dialog->buttonAt(1)));
    QTRY_COMPARE(log.entries, (QStringList{"enum 2", "int 2"}));
    QCOMPARE(dialog->result(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog->error(), NotificationError::None);
    QCOMPARE(dialog->buttonSelection(), dialog->buttonAt(1));

    // The dialog takes itself down at the service, and lets go of it.
    QVERIFY(m_service->waitForReceived(2));
    QCOMPARE(m_service->last().attributes,
             (QVariantMap{{"msg", "cancel"}, {"id", id}, {"dat", QVariantMap{{"itemId", id}}}}));
    QVERIFY(m_service->waitForClosed(1));
    QCOMPARE(m_service->received().size(), 2);
}

void tst_NotificationDialog::showMessage_data()
{
    QTest::addColumn<QVariantMap>("setup");
    QTest::addColumn<QVariantList>("buttons"); // maps: label, and request fields
    QTest::addColumn<QVariantMap>("expected"); // "dat" apart from itemId; contexts left out

    const QVariantMap ok{{"label", "OK"}};
    QTest::newRow("one button")
        << QVariantMap() << QVariantList{ok}
        << QVariantMap{{"repeating", "off"}, {"promptChoices", QVariantList{ok}}};
    QTest::newRow("empty title and body are sent")
        << QVariantMap{{"title", QString("")}, {"body", QString("")}} << QVariantList{ok}
        << QVariantMap{{"title", QString("")}, {"subtitle", QString("")}, {"repeating", "off"},
                       {"promptChoices", QVariantList{ok}}};
    QTest::newRow("repeat, category and sound")
        << QVariantMap{{"repeat", true}, {"category", "call"}, {"soundUrl", QUrl("/tmp/a b.wav")}}
        << QVariantList{ok}
        << QVariantMap{{"repeating", "on"}, {"type", "call"}, {"sound", "file:///tmp/a%20b.wav"},
                       {"promptChoices", QVariantList{ok}}};
    QTest::newRow("sound that names no file")
        << QVariantMap{{"soundUrl", QUrl("http://example.com/a.wav")}} << QVariantList{ok}
        << QVariantMap{{"repeating", "off"}, {"promptChoices", QVariantList{ok}}};
    QTest::newRow("button invocation: data as it is, uri unencoded, no MIME type")
        << QVariantMap()
        << QVariantList{QVariantMap{{"label", "Open"}, {"target", "com.example.app"},
                                    {"action", "om.action.OPEN"}, {"data", QByteArray("caf\xc3\xa9")},
                                    {"uri", QUrl("http://example.com/a b")}, {"mimeType", "text/plain"}},
                        QVariantMap{{"label", QString("")}}}
        << QVariantMap{{"repeating", "off"},
                       {"promptChoices",
                        QVariantList{QVariantMap{{"label", "Open"}, {"target", "com.example.app"},
                                                 {"action", "om.action.OPEN"}, {"data", QString::fromUtf8("café")},
                                                 {"uri", "http://example.com/a b"}},
                                     QVariantMap{{"label", QString("")}}}}};
}

void tst_NotificationDialog::showMessage()
{
    QFETCH(QVariantMap, setup);
    QFETCH(QVariantList, buttons);
    QFETCH(QVariantMap, expected);

    NotificationDialog *dialog = makeDialog({});
    for (auto it = setup.cbegin(); it != setup.cend(); ++it)
        QVERIFY(dialog->setProperty(it.key().toLatin1().constData(), it.value()));
    for (const QVariant &value : qAsConst(buttons)) {
        const QVariantMap b = value.toMap();
        InvokeRequest request;
        request.setTarget(b.value("target").toString());
        request.setAction(b.value("action").toString());
        request.setData(b.value("data").toByteArray());
        request.setUri(b.value("uri").toUrl());
        request.setMimeType(b.value("mimeType").toString());
        dialog->appendButton(new SystemUiButton(b.value("label").toString()), request);
    }

    const omtest::Received alert = showAndWait(dialog);
    QVariantMap dat = alert.dat();
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
}

void tst_NotificationDialog::failures_data()
{
    QTest::addColumn<QVariantMap>("message"); // "ID": the dialog's id, "CTX": its first button's
    QTest::addColumn<QString>("objectName");
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("cancelSent");

    const int unknown = NotificationError::Unknown;
    const int invalid = NotificationError::InvalidRequest;
    QTest::newRow("alert refused")
        << QVariantMap{{"res", "alert"}, {"id", "ID"}, {"err", "bad"}} << QString() << invalid << false;
    QTest::newRow("alert refused, prefix object")
        << QVariantMap{{"res", "alert"}, {"id", "ID"}, {"err", ""}} << QStringLiteral("@control_2")
        << invalid << false;
    QTest::newRow("another id")
        << QVariantMap{{"msg", "choice"}, {"id", "other"}, {"dat", QVariantMap{{"itemId", "ID"}, {"context", "CTX"}}}}
        << QString() << unknown << false;
    QTest::newRow("no id") << QVariantMap{{"res", "alert"}} << QString() << unknown << false;
    QTest::newRow("neither alert answer nor choice")
        << QVariantMap{{"res", "update"}, {"id", "ID"}} << QString() << unknown << false;
    QTest::newRow("choice for another item")
        << QVariantMap{{"msg", "choice"}, {"id", "ID"}, {"dat", QVariantMap{{"itemId", "x"}, {"context", "CTX"}}}}
        << QString() << unknown << true;
    QTest::newRow("choice naming no button")
        << QVariantMap{{"msg", "choice"}, {"id", "ID"}, {"dat", QVariantMap{{"itemId", "ID"}, {"context", "nope"}}}}
        << QString() << unknown << true;
    QTest::newRow("choice without context")
        << QVariantMap{{"msg", "choice"}, {"id", "ID"}, {"dat", QVariantMap{{"itemId", "ID"}}}} << QString()
        << unknown << true;
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
    FinishedLog log(dialog);
    const omtest::Received alert = showAndWait(dialog);

    // Put the dialog's id and its button's context where the row says.
    std::function<QVariant(const QVariant &)> fill = [&](const QVariant &v) -> QVariant {
        if (v.userType() == QMetaType::QVariantMap) {
            QVariantMap m = v.toMap();
            for (auto it = m.begin(); it != m.end(); ++it)
                it.value() = fill(it.value());
            return m;
        }
        if (v.toString() == QLatin1String("ID"))
            return idOf(dialog);
        if (v.toString() == QLatin1String("CTX"))
            return idOf(dialog->buttonAt(0));
        return v;
    };
    QVERIFY(m_service->replyAs(alert.clientId, objectName, fill(message).toMap()));

    QTRY_COMPARE(log.entries, (QStringList{"enum 1", "int 1"}));
    QCOMPARE(dialog->result(), NotificationResult::Error);
    QCOMPARE(int(dialog->error()), error);
    QCOMPARE(dialog->buttonSelection(), nullptr);
    QVERIFY(m_service->waitForClosed(1));
    const QList<omtest::Received> received = m_service->received();
    QCOMPARE(received.size(), cancelSent ? 2 : 1);
    if (cancelSent)
        QCOMPARE(received.last().msg(), QStringLiteral("cancel"));
}

void tst_NotificationDialog::noButtons()
{
    NotificationDialog *dialog = makeDialog({});
    FinishedLog log(dialog);
    dialog->show();
    QCOMPARE(log.entries, (QStringList{"enum 1", "int 1"}));
    QCOMPARE(dialog->result(), NotificationResult::Error);
    QCOMPARE(dialog->error(), NotificationError::NoButtons);

    QCOMPARE(dialog->exec(), NotificationResult::Error);
    QCOMPARE(log.entries.size(), 4);
    QCOMPARE(m_service->openedCount(), 0);
    QVERIFY(m_service->received().isEmpty());
}

void tst_NotificationDialog::serviceUnavailable()
{
    m_service->stop();
    NotificationDialog *dialog = makeDialog({"OK"});
    FinishedLog log(dialog);
    dialog->show();
    QCOMPARE(log.entries, (QStringList{"enum 1", "int 1"}));
    QCOMPARE(dialog->error(), NotificationError::ServiceUnavailable);
    QCOMPARE(dialog->exec(), NotificationResult::Error);
    QCOMPARE(dialog->error(), NotificationError::ServiceUnavailable);

    // Once the service is back, the dialog goes up.
    QVERIFY(m_service->start());
    acknowledgeAlerts();
    const omtest::Received alert = showAndWait(dialog);
    QCOMPARE(alert.msg(), QStringLiteral("alert"));
    QCOMPARE(dialog->result(), NotificationResult::None);
    QCOMPARE(dialog->error(), NotificationError::None);
}

void tst_NotificationDialog::showTwiceSendsUpdate()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"OK"});
    FinishedLog log(dialog);
    const omtest::Received alert = showAndWait(dialog);
    dialog->setTitle(QStringLiteral("Changed"));
    const omtest::Received update = showAndWait(dialog, 1);
    QCOMPARE(update.msg(), QStringLiteral("update"));
    QVERIFY(!update.attributes.contains("id"));
    QCOMPARE(update.clientId, alert.clientId);
    QCOMPARE(update.dat().value("itemId").toString(), idOf(dialog));
    QCOMPARE(update.dat().value("title").toString(), QStringLiteral("Changed"));
    QCOMPARE(update.dat().value("promptChoices").toList().size(), 1);

    choose(alert, idOf(dialog->buttonAt(0)));
    QTRY_COMPARE(log.entries, (QStringList{"enum 2", "int 2"}));
}

void tst_NotificationDialog::clearButtonsWhileUp()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"A", "B"});
    QPointer<SystemUiButton> a = dialog->buttonAt(0);
    FinishedLog log(dialog);
    showAndWait(dialog);
    dialog->clearButtons();
    QCOMPARE(dialog->buttonCount(), 0);
    dialog->show();
    QCOMPARE(log.entries, (QStringList{"enum 1", "int 1"}));
    QCOMPARE(dialog->error(), NotificationError::NoButtons);
    QVERIFY(m_service->waitForReceived(2));
    QCOMPARE(m_service->last().msg(), QStringLiteral("cancel"));
    QCOMPARE(m_service->last().id(), idOf(dialog));
    QVERIFY(m_service->waitForClosed(1));
    QTRY_VERIFY(a.isNull()); // deleted later
}

void tst_NotificationDialog::cancelIdleAndUp()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"OK"});
    FinishedLog log(dialog);
    dialog->cancel();
    QCOMPARE(m_service->openedCount(), 0);

    const omtest::Received alert = showAndWait(dialog);
    dialog->cancel();
    dialog->cancel();
    QVERIFY(m_service->waitForClosed(1));
    const QList<omtest::Received> received = m_service->received();
    QCOMPARE(received.size(), 2);
    QCOMPARE(received.at(1).msg(), QStringLiteral("cancel"));
    QCOMPARE(received.at(1).clientId, alert.clientId);
    QVERIFY(log.entries.isEmpty());
    QCOMPARE(dialog->result(), NotificationResult::None);
}

void tst_NotificationDialog::cancelInsideExecKeepsWaiting()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"OK"});
    FinishedLog log(dialog);
    bool execReturned = false;
    bool checked = false;
    QTimer::singleShot(0, this, [&]() {
        QVERIFY(m_service->waitForReceived(1));
        dialog->cancel();
        QVERIFY(m_service->waitForReceived(2));
        QVERIFY(m_service->waitForClosed(1));
        QVERIFY(!execReturned);
        QVERIFY(log.entries.isEmpty());
        // Shown again, the same exec() ends with the choice.
        dialog->show();
        QVERIFY(m_service->waitForReceived(3));
        const omtest::Received again = m_service->received().at(2);
        QCOMPARE(again.msg(), QStringLiteral("alert"));
        choose(again, idOf(dialog->buttonAt(0)));
        checked = true;
    });
    QCOMPARE(dialog->exec(), NotificationResult::ButtonSelection);
    execReturned = true;
    QVERIFY(checked);
    QCOMPARE(log.entries, (QStringList{"enum 2", "int 2"}));
}

void tst_NotificationDialog::execReturnsOnChoice()
{
    // The service acknowledges and the user picks the second button at once.
    m_service->respond([](const omtest::Received &r) {
        QList<omtest::Answer> answers;
        if (r.msg() != QLatin1String("alert"))
            return answers;
        const QString context = r.dat().value("promptChoices").toList().value(1).toMap().value("context").toString();
        answers.append({omtest::FakeServer::okAnswer(r.attributes), {}, {}, 0});
        answers.append({{{"msg", "choice"}, {"id", r.id()},
                         {"dat", QVariantMap{{"itemId", r.id()}, {"context", context}}}}, {}, {}, 0});
        return answers;
    });
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    QCOMPARE(dialog->exec(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog->buttonSelection()->label(), QStringLiteral("No"));
    QVERIFY(QMetaObject::invokeMethod(dialog, "buttonSelection"));
}

void tst_NotificationDialog::buttonListAfterButtonDies()
{
    NotificationDialog *dialog = makeDialog({});
    auto *a = new SystemUiButton(QStringLiteral("a"));
    auto *b = new SystemUiButton(QStringLiteral("b"));
    auto *c = new SystemUiButton(QStringLiteral("c"));
    dialog->appendButton(a, requestTo("ra"));
    dialog->appendButton(b, requestTo("rb"));
    dialog->appendButton(c, requestTo("rc"));
    delete a;

    QCOMPARE(dialog->buttonCount(), 2);
    QCOMPARE(dialog->buttonAt(0), b);
    QCOMPARE(dialog->buttonAt(1), c);
    // The requests stay where they were: each button now sees its
    // predecessor's, and the last one is out of range.
    QCOMPARE(dialog->invokeRequestAt(0).target(), QStringLiteral("ra"));
    QCOMPARE(dialog->invokeRequestAt(1).target(), QStringLiteral("rb"));
    QCOMPARE(dialog->invokeRequestAt(2), InvokeRequest());

    const omtest::Received alert = showAndWait(dialog);
    const QVariantList choices = alert.dat().value("promptChoices").toList();
    QCOMPARE(choices.size(), 2);
    QCOMPARE(choices.at(0).toMap().value("label").toString(), QStringLiteral("b"));
    QCOMPARE(choices.at(0).toMap().value("target").toString(), QStringLiteral("ra"));
    QCOMPARE(choices.at(1).toMap().value("label").toString(), QStringLiteral("c"));
    QCOMPARE(choices.at(1).toMap().value("target").toString(), QStringLiteral("rb"));
}

void tst_NotificationDialog::sameButtonTwice()
{
    NotificationDialog *dialog = makeDialog({});
    QObject other;
    auto *button = new SystemUiButton(QStringLiteral("OK"), &other);
    dialog->appendButton(button, requestTo("first"));
    dialog->appendButton(button, requestTo("second"));
    dialog->appendButton(nullptr, requestTo("third"));
    QCOMPARE(button->parent(), dialog);
    QCOMPARE(dialog->buttonCount(), 1);
    QCOMPARE(dialog->invokeRequestAt(0).target(), QStringLiteral("first"));
}

void tst_NotificationDialog::outOfRange_data()
{
    QTest::addColumn<int>("index");
    QTest::newRow("-1") << -1;
    QTest::newRow("count") << 2;
    QTest::newRow("far beyond") << 1000;
}

void tst_NotificationDialog::outOfRange()
{
    QFETCH(int, index);
    NotificationDialog *dialog = makeDialog({"A", "B"});
    QCOMPARE(dialog->buttonAt(index), nullptr);
    QCOMPARE(dialog->invokeRequestAt(index), InvokeRequest());
    QVERIFY(!dialog->setInvokeRequestAt(index, requestTo("x")));
    QVERIFY(dialog->setInvokeRequestAt(1, requestTo("x")));
    QCOMPARE(dialog->invokeRequestAt(1).target(), QStringLiteral("x"));
}

void tst_NotificationDialog::selectedButtonDestroyedLater()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    FinishedLog log(dialog);
    choose(showAndWait(dialog), idOf(dialog->buttonAt(0)));
    QTRY_COMPARE(log.entries.size(), 2);
    QCOMPARE(dialog->buttonSelection()->label(), QStringLiteral("Yes"));
    delete dialog->buttonAt(0);
    QCOMPARE(dialog->buttonSelection(), nullptr);
    QCOMPARE(dialog->result(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog->buttonCount(), 1);
}

void tst_NotificationDialog::earlierSelectionSurvivesUnknownContext()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"Yes", "No"});
    FinishedLog log(dialog);
    choose(showAndWait(dialog), idOf(dialog->buttonAt(0)));
    QTRY_COMPARE(log.entries.size(), 2);
    QVERIFY(m_service->waitForReceived(2)); // the cancel

    // Shown again, a new channel and a new alert with the same id.
    const omtest::Received again = showAndWait(dialog, 2);
    QCOMPARE(again.msg(), QStringLiteral("alert"));
    QCOMPARE(again.id(), idOf(dialog));
    choose(again, QStringLiteral("nope"));
    QTRY_COMPARE(log.entries, (QStringList{"enum 2", "int 2", "enum 0", "int 0"}));
    QCOMPARE(dialog->result(), NotificationResult::None);
    QCOMPARE(dialog->error(), NotificationError::None);
    QCOMPARE(dialog->buttonSelection()->label(), QStringLiteral("Yes"));
}

void tst_NotificationDialog::destroyedWhileUp()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"OK"});
    const QString id = idOf(dialog);
    int finished = 0;
    connect(dialog, QOverload<int>::of(&NotificationDialog::finished), this, [&]() { ++finished; });
    showAndWait(dialog);
    delete dialog;
    QVERIFY(m_service->waitForReceived(2));
    QCOMPARE(m_service->last().attributes,
             (QVariantMap{{"msg", "cancel"}, {"id", id}, {"dat", QVariantMap{{"itemId", id}}}}));
    QVERIFY(m_service->waitForClosed(1));
    QCOMPARE(finished, 0);
}

void tst_NotificationDialog::destroyedInsideExec()
{
    acknowledgeAlerts();
    NotificationDialog *dialog = makeDialog({"OK"});
    QTimer::singleShot(0, this, [&]() {
        QVERIFY(m_service->waitForReceived(1));
        delete dialog;
    });
    QCOMPARE(dialog->exec(), NotificationResult::None);
    QVERIFY(m_service->waitForReceived(2));
    QCOMPARE(m_service->last().msg(), QStringLiteral("cancel"));
}

void tst_NotificationDialog::declarativeButtons()
{
    NotificationDialog *dialog = makeDialog({});
    const QMetaObject *mo = dialog->metaObject();
    QCOMPARE(QString::fromLatin1(mo->classInfo(mo->indexOfClassInfo("DefaultProperty")).value()),
             QStringLiteral("buttons"));

    QQmlListProperty<SystemUiButton> list = dialog->qmlButtons();
    auto *button = new SystemUiButton(QStringLiteral("OK"));
    QPointer<SystemUiButton> watched = button;
    list.append(&list, nullptr);
    QCOMPARE(list.count(&list), 0);
    list.append(&list, button);
    QCOMPARE(list.count(&list), 1);
    QCOMPARE(list.at(&list, 0), button);
    QCOMPARE(list.at(&list, 1), nullptr);
    QCOMPARE(button->parent(), dialog);
    QCOMPARE(dialog->buttonAt(0), button);

    const QMetaProperty property = mo->property(mo->indexOfProperty("buttons"));
    QCOMPARE(property.typeName(), "QQmlListProperty<om::system::SystemUiButton>");
    QVERIFY(property.isReadable() && !property.isWritable());

    list.clear(&list);
    QCOMPARE(dialog->buttonCount(), 0);
    QTRY_VERIFY(watched.isNull());

    // A list without an owner takes nothing.
    QQmlListProperty<SystemUiButton> orphan = dialog->qmlButtons();
    orphan.object = nullptr;
    orphan.append(&orphan, new SystemUiButton(dialog));
    QCOMPARE(orphan.count(&orphan), 0);
    QCOMPARE(dialog->buttonCount(), 0);
}

void tst_NotificationDialog::settersSignalOnlyOnChange_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<QVariant>("value");
    QTest::newRow("category") << QByteArray("category") << QVariant(QStringLiteral("call"));
    QTest::newRow("title empty, not null") << QByteArray("title") << QVariant(QStringLiteral(""));
    QTest::newRow("body") << QByteArray("body") << QVariant(QStringLiteral("b"));
    QTest::newRow("repeat") << QByteArray("repeat") << QVariant(true);
    QTest::newRow("soundUrl") << QByteArray("soundUrl") << QVariant(QUrl("asset:///ring.wav"));
}

void tst_NotificationDialog::settersSignalOnlyOnChange()
{
    QFETCH(QByteArray, property);
    QFETCH(QVariant, value);
    NotificationDialog *dialog = makeDialog({});
    const QMetaProperty p = dialog->metaObject()->property(dialog->metaObject()->indexOfProperty(property));
    QSignalSpy spy(dialog, p.notifySignal());
    const QVariant initial = p.read(dialog);
    QVERIFY(p.write(dialog, value));
    QVERIFY(p.write(dialog, value));
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0), value);
    QVERIFY(p.reset(dialog));
    QVERIFY(p.reset(dialog));
    QCOMPARE(spy.count(), 2);
    QCOMPARE(p.read(dialog), initial);
}

QTEST_GUILESS_MAIN(tst_NotificationDialog)
#include "tst_notificationdialog.moc"
