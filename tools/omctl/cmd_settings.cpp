// The notification settings, as the user of the device sees and changes
// them: omctl settings [global <key> <value> | app <package> <key> <value>].

#include "command.h"
#include "omctlclient.h"

#include "notify/notifyprotocol_p.h"

#include <QDir>
#include <QUrl>

namespace omctl {
namespace {

namespace protocol = om::notifyprotocol;
const QString SettingsPath = protocol::settingsUserSidePath();

// One block: a heading, then "  key  value  [source]" lines in a fixed order.
void printBlock(const QString &heading, const QStringList &keys, const QVariantMap &settings,
                const QVariantMap &sources)
{
    out(heading);
    int width = 0;
    for (const QString &key : keys)
        width = qMax(width, settings.value(key).toString().size());
    for (const QString &key : keys) {
        QString line = QStringLiteral("  ") + key.leftJustified(11) +
                       settings.value(key).toString().leftJustified(width);
        if (sources.contains(key))
            line += QStringLiteral("  ") + sources.value(key).toString();
        while (line.endsWith(QLatin1Char(' ')))
            line.chop(1);
        out(line);
    }
}

int show(const Invocation &call)
{
    const auto listed = call.request(SettingsPath, protocol::listMessage());
    if (!listed)
        return Failure;
    const QVariantMap &dat = *listed;
    printBlock(QStringLiteral("global"), protocol::globalSettings(),
               dat.value(protocol::globalName()).toMap(), QVariantMap());
    const QVariantMap applications = dat.value(protocol::keyApplications()).toMap();
    for (auto it = applications.cbegin(); it != applications.cend(); ++it) {
        const QVariantMap app = it.value().toMap();
        out(QString());
        printBlock(QStringLiteral("app ") + it.key(), protocol::applicationSettings(),
                   app.value(protocol::keySettings()).toMap(),
                   app.value(protocol::keySources()).toMap());
    }
    return Success;
}

// A tone may be given as a path; the service keeps file URLs.
QString toneValue(const QString &value)
{
    if (value.startsWith(QLatin1String("file:")))
        return value;
    return QString::fromUtf8(
        QUrl::fromLocalFile(QDir::current().absoluteFilePath(value)).toEncoded());
}

int change(const Invocation &call, const QString &msg, const QString &scope, QVariantMap dat)
{
    const QString key = dat.value(protocol::keyKey()).toString();
    if (key == QLatin1String("tone"))
        dat.insert(protocol::keyValue(), toneValue(dat.value(protocol::keyValue()).toString()));
    const auto settings = call.request(SettingsPath, msg, dat);
    if (!settings)
        return Failure;
    out(QStringLiteral("%1 %2 %3").arg(scope, key, settings->value(key).toString()));
    return Success;
}

int settings(const Invocation &call)
{
    const QStringList args = call.args();
    if (args.isEmpty())
        return show(call);
    const QString scope = args.first();
    if (scope == QLatin1String("global")) {
        if (args.size() != 3)
            return call.usage(QStringLiteral("settings global takes a key and a value"));
        return change(call, protocol::setGlobalMessage(), scope,
                      {{protocol::keyKey(), args.at(1)}, {protocol::keyValue(), args.at(2)}});
    }
    if (scope == QLatin1String("app")) {
        if (args.size() != 4)
            return call.usage(QStringLiteral("settings app takes a package, a key and a value"));
        if (args.at(1).isEmpty())
            return call.usage(QStringLiteral("settings app needs a package name"));
        return change(call, protocol::setApplicationMessage(), QStringLiteral("app ") + args.at(1),
                      {{protocol::keyName(), args.at(1)},
                       {protocol::keyKey(), args.at(2)},
                       {protocol::keyValue(), args.at(3)}});
    }
    return call.usage(QStringLiteral("settings: unknown scope '%1' (global or app)").arg(scope));
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("settings"),
     QStringLiteral("[global <key> <value> | app <package> <key> <value>]"),
     QStringLiteral("Show or change the notification settings, as the user."),
     QStringLiteral("Without arguments, prints the global settings and those of every\n"
                    "application the device knows, with where each application setting\n"
                    "comes from: factory, registered (the application's default) or user.\n"
                    "\n"
                    "Global keys: sound, vibrate, led, preview (on|off), volume (0-100),\n"
                    "  mode (silent|vibrate|normal|phoneonly|alertsoff).\n"
                    "Application keys: alerts, sound, vibrate, led (on|off),\n"
                    "  preview (on|off|disabled|priority), vib_count (1-5), tone (a file\n"
                    "  URL or a path).\n"
                    "\n"
                    "A change is the user's choice: it overrides the application's default\n"
                    "and reaches every application that follows those settings."),
     {},
     settings,
     true});

} // namespace omctl
