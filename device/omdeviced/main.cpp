// omdeviced: the simulated device. Runs the bus broker on OM_PPS_ROOT and
// the device's service modules on it, until SIGTERM or SIGINT.

#include "broker/broker.h"
#include "common/datastore.h"
#include "common/servicemodule.h"

#include <om/ppsobject.h>

#include <QCoreApplication>
#include <QFile>
#include <QLoggingCategory>
#include <QSocketNotifier>
#include <QTextStream>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char c = 1;
    (void)!::write(signalPipe[1], &c, 1);
}

QString usage()
{
    QString text;
    QTextStream out(&text);
    out << "Usage: omdeviced [options]\n"
           "\n"
           "The simulated device: runs the bus broker on the PPS root and the device's\n"
           "service modules on it, until it receives SIGTERM or SIGINT.\n"
           "\n"
           "Options:\n"
           "  --services=LIST   Comma-separated service modules to run; 'all' (the\n"
           "                    default) runs every module that is not off by\n"
           "                    default, 'none' the bare bus.\n"
           "  --MODULE          Also runs a module that is off by default (--console,\n"
           "                    --desktop); so does a --set MODULE.KEY=VALUE.\n"
           "  --root=DIR        PPS root directory (default: $OM_PPS_ROOT, else\n"
           "                    $XDG_RUNTIME_DIR/om-pps, else /tmp/om-pps-<uid>).\n"
           "  --data=DIR        Where the services keep their state (default:\n"
           "                    $OM_DEVICE_DATA, else ~/.local/share/omdevice).\n"
           "  --set KEY=VALUE   A setting for a service module (see below); may repeat.\n"
           "  --verbose         Log what the bus and the services do (the debug level of\n"
           "                    the om.device.* and om.bus logging categories).\n"
           "  --list-services   Print the service modules and exit.\n"
           "  --version         Print the version and exit.\n"
           "  -h, --help        Print this help and exit.\n"
           "\n"
           "Service modules:\n";
    const QList<omdevice::ModuleInfo> modules = omdevice::ModuleRegistry::all();
    int width = 0;
    for (const omdevice::ModuleInfo &info : modules) {
        for (const omdevice::Setting &setting : info.settings)
            width = qMax(width, int(setting.key.size() + 1 + setting.valueName.size()) + 2);
    }
    for (const omdevice::ModuleInfo &info : modules) {
        out << "  " << info.name.leftJustified(18) << info.description
            << (info.optional ? QStringLiteral(" (off unless --%1)").arg(info.name) : QString())
            << "\n";
        for (const omdevice::Setting &setting : info.settings) {
            const QString head = setting.key + QLatin1Char('=') + setting.valueName;
            const QStringList lines = setting.help.split(QLatin1Char('\n'));
            out << "      --set " << head.leftJustified(width) << lines.first() << "\n";
            for (const QString &line : lines.mid(1))
                out << QString(12 + width, QLatin1Char(' ')) << line << "\n";
        }
    }
    out << "\nWhen all services are up, omdeviced prints a line beginning with\n"
           "\"omdeviced: ready\" on standard output. Warnings and, with --verbose, the\n"
           "log go to standard error, each line headed by its category.\n";
    return text;
}

// Tells a service manager that started omdeviced with Type=notify (the
// systemd user unit) that the device is up: "READY=1" to $NOTIFY_SOCKET.
void notifyReady()
{
    const QByteArray path = qgetenv("NOTIFY_SOCKET");
    if (path.isEmpty() || path.size() >= int(sizeof(sockaddr_un::sun_path)))
        return;
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), size_t(path.size()));
    if (address.sun_path[0] == '@')
        address.sun_path[0] = '\0'; // an abstract socket
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return;
    static const char ready[] = "READY=1";
    ::sendto(fd, ready, sizeof(ready) - 1, MSG_NOSIGNAL, reinterpret_cast<sockaddr *>(&address),
             socklen_t(offsetof(sockaddr_un, sun_path) + size_t(path.size())));
    ::close(fd);
}

int fail(const QString &message, int code = 1)
{
    std::fprintf(stderr, "omdeviced: %s\n", qPrintable(message));
    return code;
}

// The names of every service module, comma-separated.
QString moduleNames()
{
    QStringList names;
    for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all())
        names.append(info.name);
    return names.join(QStringLiteral(", "));
}

// The value of "--name=VALUE" in @p arg, which must not be empty; false,
// after saying so, if @p arg is no such option or has no value.
bool valueOf(const QString &arg, const QString &name, const QString &valueName, QString *value)
{
    const QString head = name + QLatin1Char('=');
    if (!arg.startsWith(head) || arg.size() == head.size()) {
        fail(QStringLiteral("%1 needs a value: %1=%2").arg(name, valueName), 2);
        return false;
    }
    *value = arg.mid(head.size());
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    // The device is all sockets and no GUI: Qt's own poll() loop wakes and
    // sleeps for less than the GLib one, and every round trip on the bus
    // pays for the service's wake-ups.
    if (!qEnvironmentVariableIsSet("QT_NO_GLIB"))
        qputenv("QT_NO_GLIB", "1");
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    // QT_MESSAGE_PATTERN, if set, still wins.
    qSetMessagePattern(QStringLiteral("omdeviced: %{if-category}%{category}: %{endif}%{message}"));

    QString services = QStringLiteral("all");
    QString root;
    QString dataDirectory;
    omdevice::DeviceContext context;
    QStringList turnedOn; // modules that are off by default, asked for
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        const omdevice::ModuleInfo *flagged =
            arg.startsWith(QLatin1String("--")) ? omdevice::ModuleRegistry::find(arg.mid(2))
                                                : nullptr;
        if (flagged && flagged->optional) {
            turnedOn.append(flagged->name);
            continue;
        }
        if (arg == QLatin1String("-h") || arg == QLatin1String("--help")) {
            std::fputs(qPrintable(usage()), stdout);
            return 0;
        }
        if (arg == QLatin1String("--version")) {
            std::printf("omdeviced %s (Qt %s)\n", OM_VERSION, qVersion());
            return 0;
        }
        if (arg == QLatin1String("--list-services")) {
            for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all())
                std::printf("%s\t%s\n", qPrintable(info.name), qPrintable(info.description));
            return 0;
        }
        if (arg == QLatin1String("--verbose")) {
            // QT_LOGGING_RULES, if set, still wins.
            QLoggingCategory::setFilterRules(QStringLiteral("om.device.*.debug=true\n"
                                                            "om.bus.debug=true"));
        } else if (arg.startsWith(QLatin1String("--services"))) {
            if (!valueOf(arg, QStringLiteral("--services"), QStringLiteral("LIST"), &services))
                return 2;
        } else if (arg.startsWith(QLatin1String("--root"))) {
            if (!valueOf(arg, QStringLiteral("--root"), QStringLiteral("DIR"), &root))
                return 2;
        } else if (arg.startsWith(QLatin1String("--data"))) {
            if (!valueOf(arg, QStringLiteral("--data"), QStringLiteral("DIR"), &dataDirectory))
                return 2;
        } else if (arg == QLatin1String("--set") || arg.startsWith(QLatin1String("--set="))) {
            QString setting;
            if (arg == QLatin1String("--set")) {
                if (i + 1 >= args.size())
                    return fail(QStringLiteral("--set needs KEY=VALUE; see --help"), 2);
                setting = args.at(++i);
            } else {
                setting = arg.mid(6);
            }
            const int eq = setting.indexOf(QLatin1Char('='));
            if (eq <= 0)
                return fail(QStringLiteral("--set needs KEY=VALUE, not '%1'").arg(setting), 2);
            const QString refused = omdevice::checkSetting(setting.left(eq), setting.mid(eq + 1));
            if (!refused.isEmpty())
                return fail(QStringLiteral("--set %1: %2").arg(setting, refused), 2);
            context.settings.insert(setting.left(eq), setting.mid(eq + 1));
        } else {
            QStringList optional;
            for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all()) {
                if (info.optional)
                    optional.append(QStringLiteral("--") + info.name);
            }
            return fail(QStringLiteral("unknown option '%1'; the options are --services=LIST, "
                                       "%2, --root=DIR, --data=DIR, --set KEY=VALUE, --verbose, "
                                       "--list-services, --version, --help")
                            .arg(arg, optional.join(QStringLiteral(", "))),
                        2);
        }
    }

    // The modules reach the broker through the platform, which reads the
    // root from the environment.
    if (!root.isEmpty())
        qputenv("OM_PPS_ROOT", QFile::encodeName(root));
    root = om::PpsObject::rootDirectory();
    context.dataDirectory =
        dataDirectory.isEmpty() ? omdevice::DataStore::defaultDirectory() : dataDirectory;

    QList<omdevice::ModuleInfo> chosen;
    for (auto it = context.settings.cbegin(); it != context.settings.cend(); ++it)
        turnedOn.append(it.key().section(QLatin1Char('.'), 0, 0));
    if (services == QLatin1String("all")) {
        for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all()) {
            if (!info.optional)
                chosen.append(info);
        }
    } else if (services != QLatin1String("none")) {
        const QStringList names = services.split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &name : names) {
            const omdevice::ModuleInfo *info = omdevice::ModuleRegistry::find(name.trimmed());
            if (!info)
                return fail(QStringLiteral("--services: unknown service '%1'; the services are "
                                           "%2, or 'all' or 'none' alone")
                                .arg(name, moduleNames()),
                            2);
            chosen.append(*info);
        }
    }
    if (services != QLatin1String("none")) {
        for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all()) {
            const bool listed = std::any_of(chosen.cbegin(), chosen.cend(),
                                            [&info](const omdevice::ModuleInfo &c) {
                                                return c.name == info.name;
                                            });
            if (info.optional && !listed && turnedOn.contains(info.name))
                chosen.append(info);
        }
    }

    omdevice::Broker broker(root);
    QString error;
    if (!broker.start(&error))
        return fail(error);

    if (::pipe2(signalPipe, O_CLOEXEC) == 0) {
        struct sigaction sa = {};
        sa.sa_handler = onSignal;
        sigemptyset(&sa.sa_mask);
        ::sigaction(SIGTERM, &sa, nullptr);
        ::sigaction(SIGINT, &sa, nullptr);
    }
    ::signal(SIGPIPE, SIG_IGN);
    QSocketNotifier signalNotifier(signalPipe[0], QSocketNotifier::Read);
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &app, [&]() {
        char c;
        (void)!::read(signalPipe[0], &c, 1);
        app.quit();
    });

    QList<omdevice::ServiceModule *> modules;
    QStringList names;
    for (const omdevice::ModuleInfo &info : chosen) {
        omdevice::ServiceModule *module = info.create(context, nullptr);
        if (!module->start(&error)) {
            delete module;
            qDeleteAll(modules);
            broker.shutdown();
            return fail(QStringLiteral("service %1 could not start: %2").arg(info.name, error));
        }
        modules.append(module);
        names.append(info.name);
    }

    std::printf("omdeviced: ready on %s (services: %s)\n", qPrintable(root),
                names.isEmpty() ? "none" : qPrintable(names.join(QLatin1String(", "))));
    std::fflush(stdout);
    notifyReady();

    const int code = app.exec();
    // Modules first, so that their connections close before the bus goes.
    for (int i = modules.size() - 1; i >= 0; --i)
        delete modules.at(i);
    broker.shutdown();
    return code;
}
