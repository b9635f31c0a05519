// omhello: the smallest application of libomplatform. Posts a notification
// and reads a device-wide notification setting, then says what it did.

#include <om/platform/notification.h>
#include <om/platform/notificationglobalsettings.h>
#include <om/platform/version.h>

#include <QCoreApplication>
#include <QMetaEnum>

#include <cstdio>

using om::platform::Notification;
using om::platform::NotificationError;
using om::platform::NotificationGlobalSettings;
using om::platform::NotificationMode;

template <class Enum> const char *nameOf(Enum value)
{
    return QMetaEnum::fromType<Enum>().valueToKey(int(value));
}

int main(int argc, char *argv[])
{
    // The library's answers and signals come through Qt's event loop.
    QCoreApplication app(argc, argv);

    Notification notification;
    notification.setTitle(QStringLiteral("Hello"));
    notification.setBody(QStringLiteral("from omhello, built against libomplatform " OMPLATFORM_VERSION_STRING));
    const NotificationError::Type error = notification.notify();
    if (error != NotificationError::None) {
        std::fprintf(stderr, "omhello: notify() failed: %s\n", nameOf(error));
        return 1;
    }
    std::printf("omhello: posted notification %s\n", qPrintable(notification.key()));

    const NotificationGlobalSettings settings;
    std::printf("omhello: the device's notification mode is %s\n", nameOf(settings.mode()));
    return settings.mode() == NotificationMode::Unknown ? 1 : 0;
}
