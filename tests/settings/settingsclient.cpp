// A small application of the library for the tests that need a process of
// its own (one that runs under another user):
//
//   settings_client <setting> <number>
//
// makes a NotificationGlobalSettings, calls the setter of <setting> (sound,
// vibrate, led, preview, volume or mode) with <number>, and prints a line
// "warning <text>" for each warning and then "result <number>".

#include <om/platform/notificationglobalsettings.h>

#include <QCoreApplication>

#include <cstdio>

using om::platform::NotificationGlobalSettings;
using om::platform::NotificationMode;
using om::platform::NotificationPolicy;

namespace {
void printWarning(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtWarningMsg)
        std::printf("warning %s\n", qPrintable(text));
}
} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler(printWarning);
    const QStringList args = app.arguments().mid(1);
    bool ok = false;
    const int value = args.value(1).toInt(&ok);
    if (args.size() != 2 || !ok) {
        std::fprintf(stderr, "usage: settings_client <setting> <number>\n");
        return 2;
    }
    NotificationGlobalSettings settings;
    const QString &name = args.first();
    int result = -1;
    const auto policy = NotificationPolicy::Type(value);
    if (name == QLatin1String("sound"))
        result = settings.setSound(policy);
    else if (name == QLatin1String("vibrate"))
        result = settings.setVibrate(policy);
    else if (name == QLatin1String("led"))
        result = settings.setLed(policy);
    else if (name == QLatin1String("preview"))
        result = settings.setPreview(policy);
    else if (name == QLatin1String("volume"))
        result = settings.setVolume(value);
    else if (name == QLatin1String("mode"))
        result = settings.setMode(NotificationMode::Type(value));
    else
        return 2;
    std::printf("result %d\n", result);
    return 0;
}
