// The console end to end: a real omdeviced with the console on, an
// application using the library in this process, and the page in
// headless Chromium, clicked with the mouse.

#include "chromium.h"
#include "deviceprocess.h"

#include <om/platform/homescreen.h>
#include <om/platform/notification.h>
#include <om/platform/notificationdialog.h>
#include <om/system/systemuibutton.h>

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <memory>

using namespace om::platform;
using om::system::SystemUiButton;
using omtest::Chromium;
using omtest::DeviceProcess;

namespace {

QString quoted(const QString &text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('\''), QLatin1String("\\'"));
    return QLatin1Char('\'') + escaped + QLatin1Char('\'');
}

} // namespace

class tst_ConsoleE2E : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void notificationAppearsWithoutReload();
    void dialogAnsweredByClick();
    void lockToggleReachesHomeScreen();
    void screenshot();

private:
    bool pageShows(const QString &panel, const QString &text);

    std::unique_ptr<DeviceProcess> m_device;
    std::unique_ptr<Chromium> m_browser;
};

void tst_ConsoleE2E::initTestCase()
{
    m_device = std::make_unique<DeviceProcess>();
    QVERIFY(m_device->start({QStringLiteral("--console")}));
    static const QRegularExpression line(QStringLiteral("omdeviced: console on (http://\\S+)"));
    const QRegularExpressionMatch match = line.match(QString::fromLocal8Bit(m_device->output()));
    QVERIFY2(match.hasMatch(), m_device->output().constData());

    m_browser = std::make_unique<Chromium>();
    QString error;
    if (!m_browser->start(&error)) {
        // Said plainly in the log of every run that skips.
        qWarning("Chromium cannot start on this machine, so the console's browser tests are "
                 "skipped: %s", qPrintable(error));
        QSKIP("Chromium cannot start on this machine");
    }
    QVERIFY2(m_browser->open(match.captured(1), &error), qPrintable(error));
    QTRY_COMPARE_WITH_TIMEOUT(
        m_browser->evaluate(QStringLiteral("document.getElementById('connection').textContent"))
            .toString(),
        QStringLiteral("Live"), 10000);
    // Every panel has its first state before the tests act.
    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("home"), QStringLiteral("Lock state")), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("inbox"), QStringLiteral("empty")), 10000);
}

void tst_ConsoleE2E::cleanupTestCase()
{
    m_browser.reset();
    if (m_device)
        QVERIFY(m_device->stop());
}

bool tst_ConsoleE2E::pageShows(const QString &panel, const QString &text)
{
    return m_browser
        ->evaluate(QStringLiteral("document.getElementById(%1).textContent.includes(%2)")
                       .arg(quoted(panel), quoted(text)))
        .toBool();
}

void tst_ConsoleE2E::notificationAppearsWithoutReload()
{
    // A mark that a reload would wipe out.
    m_browser->evaluate(QStringLiteral("window.notReloaded = true"));
    Notification notification;
    notification.setTitle(QStringLiteral("Parcel at the door"));
    notification.setBody(QStringLiteral("Signed for by a neighbour"));
    QCOMPARE(notification.notify(), NotificationError::None);

    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("inbox"), QStringLiteral("Parcel at the door")),
                             1000);
    QVERIFY(pageShows(QStringLiteral("inbox"), QStringLiteral("Signed for by a neighbour")));
    QCOMPARE(m_browser->evaluate(QStringLiteral("window.notReloaded === true")).toBool(), true);
}

void tst_ConsoleE2E::dialogAnsweredByClick()
{
    NotificationDialog dialog;
    dialog.setTitle(QStringLiteral("Delete all photos?"));
    dialog.setBody(QStringLiteral("This cannot be undone."));
    auto *keep = new SystemUiButton(QStringLiteral("Keep"), &dialog);
    auto *remove = new SystemUiButton(QStringLiteral("Delete"), &dialog);
    dialog.appendButton(keep);
    dialog.appendButton(remove);
    QSignalSpy finished(&dialog, qOverload<NotificationResult::Type>(&NotificationDialog::finished));
    dialog.show();

    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("dialogs"), QStringLiteral("Delete all photos?")),
                             5000);
    QVERIFY(m_browser->click(QStringLiteral(
        "[...document.querySelectorAll('#dialogs li')]"
        ".find((li) => li.textContent.includes('Delete all photos?'))"
        "?.querySelector('button.choice:nth-of-type(2)')")));
    // Waiting for the browser runs the event loop: it may have come already.
    QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 5000);
    QCOMPARE(finished.at(0).at(0).value<NotificationResult::Type>(), NotificationResult::ButtonSelection);
    QCOMPARE(dialog.buttonSelection(), remove);
    // It leaves the page too.
    QTRY_VERIFY_WITH_TIMEOUT(!pageShows(QStringLiteral("dialogs"), QStringLiteral("Delete all photos?")),
                             5000);
}

void tst_ConsoleE2E::lockToggleReachesHomeScreen()
{
    HomeScreen home;
    QSignalSpy changed(&home, qOverload<DeviceLockState::Type>(&HomeScreen::lockStateChanged));
    QVERIFY(m_browser->click(QStringLiteral("document.getElementById('lock-toggle')")));
    QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 5000);
    QCOMPARE(changed.last().at(0).value<DeviceLockState::Type>(), DeviceLockState::ScreenLocked);
    QTRY_COMPARE_WITH_TIMEOUT(
        m_browser->evaluate(QStringLiteral("document.getElementById('lock-toggle').ariaPressed"))
            .toString(),
        QStringLiteral("true"), 5000);

    QVERIFY(m_browser->click(QStringLiteral("document.getElementById('lock-toggle')")));
    QTRY_COMPARE_WITH_TIMEOUT(home.lockState(), DeviceLockState::Unlocked, 5000);
}

void tst_ConsoleE2E::screenshot()
{
    // Something in each of the busiest panels.
    Notification reminder;
    reminder.setTitle(QStringLiteral("Meeting in 10 minutes"));
    reminder.setBody(QStringLiteral("Room 4, with the design team"));
    om::system::InvokeRequest open;
    open.setTarget(QStringLiteral("om.maps"));
    open.setAction(QStringLiteral("om.action.OPEN"));
    reminder.setInvokeRequest(open);
    QCOMPARE(reminder.notify(), NotificationError::None);
    NotificationDialog dialog;
    dialog.setTitle(QStringLiteral("Allow the camera?"));
    dialog.appendButton(new SystemUiButton(QStringLiteral("Allow"), &dialog));
    dialog.appendButton(new SystemUiButton(QStringLiteral("Deny"), &dialog));
    dialog.show();
    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("dialogs"), QStringLiteral("Allow the camera?")),
                             5000);
    QTRY_VERIFY_WITH_TIMEOUT(pageShows(QStringLiteral("inbox"), QStringLiteral("Meeting in 10 minutes")),
                             5000);

    const QByteArray png = m_browser->screenshot();
    QVERIFY(png.startsWith("\x89PNG"));
    const QString path = qEnvironmentVariable("OM_CONSOLE_SCREENSHOT",
                                              QStringLiteral(OM_BUILD_DIR "/console-screenshot.png"));
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    file.write(png);
    qInfo("screenshot of the console: %s", qPrintable(path));
    dialog.cancel();
}

QTEST_MAIN(tst_ConsoleE2E)
#include "tst_console_e2e.moc"
