// An application for the end-to-end tests, run as a process of its own so
// that the device sees a second package: posts and removes items.
//   notifyhelper post <key> <title> | clearall | deleteall
// Exits with the NotificationError value of the operation.

#include <om/platform/notification.h>

#include <QCoreApplication>

#include <cstdio>

using om::platform::Notification;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.value(0) == QLatin1String("post") && args.size() == 3) {
        Notification n(args.at(1));
        n.setTitle(args.at(2));
        return n.notify();
    }
    if (args.value(0) == QLatin1String("clearall") && args.size() == 1)
        return Notification::clearEffectsForAll();
    if (args.value(0) == QLatin1String("deleteall") && args.size() == 1)
        return Notification::deleteAllFromInbox();
    std::fprintf(stderr, "usage: notifyhelper post <key> <title> | clearall | deleteall\n");
    return 100;
}
