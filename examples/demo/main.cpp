// A small application on the simulated device: signs in with the identity
// providers (identitydemo.cpp), posts a notification,
// updates it, asks the user a question in a notification dialog and prints
// the button the user chose, then shops in the payment service's test
// store. Answer the dialog with omctl (the demo says how).

#include "identitydemo.h"
#include "shop.h"

#include <om/platform/notification.h>
#include <om/platform/notificationdialog.h>
#include <om/system/systemuibutton.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QMetaEnum>

#include <cstdio>

using om::platform::Notification;
using om::platform::NotificationDialog;
using om::platform::NotificationError;
using om::platform::NotificationResult;

namespace {

const char *errorName(NotificationError::Type error)
{
    return QMetaEnum::fromType<NotificationError::Type>().valueToKey(error);
}

void say(const QString &line)
{
    std::printf("omdemo: %s\n", qPrintable(line));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);

    if (runIdentityDemo(say) != 0)
        return 1;

    Notification notification;
    notification.setTitle(QStringLiteral("Hello from omdemo"));
    notification.setBody(QStringLiteral("Posted through the notification service"));
    notification.setCategory(QStringLiteral("demo"));
    notification.setTimestamp(QDateTime::currentDateTime());
    NotificationError::Type error = notification.notify();
    if (error != NotificationError::None) {
        say(QStringLiteral("posting failed: %1 (is omdeviced running on this OM_PPS_ROOT?)")
                .arg(QLatin1String(errorName(error))));
        return 1;
    }
    say(QStringLiteral("posted item %1").arg(notification.key()));

    notification.setBody(QStringLiteral("Updated: the same item, with a new body"));
    error = notification.notify();
    if (error != NotificationError::None) {
        say(QStringLiteral("updating failed: %1").arg(QLatin1String(errorName(error))));
        return 1;
    }
    say(QStringLiteral("updated item %1").arg(notification.key()));

    NotificationDialog dialog;
    dialog.setTitle(QStringLiteral("omdemo"));
    dialog.setBody(QStringLiteral("Keep the demo's notification in the inbox?"));
    dialog.appendButton(new om::system::SystemUiButton(QStringLiteral("Keep")));
    dialog.appendButton(new om::system::SystemUiButton(QStringLiteral("Delete")));
    const QString dialogId = dialog.property("_om_ppsID").toString();
    say(QStringLiteral("showing dialog %1 with the buttons Keep and Delete").arg(dialogId));
    say(QStringLiteral("waiting for the user; answer with: omctl choose %1 Keep").arg(dialogId));

    const NotificationResult::Type result = dialog.exec();
    if (result != NotificationResult::ButtonSelection) {
        say(QStringLiteral("the dialog failed: %1").arg(QLatin1String(errorName(dialog.error()))));
        return 1;
    }
    const QString chosen = dialog.buttonSelection()->label();
    say(QStringLiteral("the user chose: %1").arg(chosen));
    if (chosen == QLatin1String("Delete")) {
        notification.deleteFromInbox();
        say(QStringLiteral("deleted item %1 from the inbox").arg(notification.key()));
    }
    return runShop();
}
