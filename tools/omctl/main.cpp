// omctl: reads, watches and writes the device's bus objects, and plays the
// user's side of the simulated device.

#include "command.h"
#include "omctlclient.h"

#include <QCoreApplication>

#include <algorithm>
#include <csignal>
#include <cstdio>

namespace omctl {

namespace {
QList<Command> &registry()
{
    static QList<Command> commands;
    return commands;
}

void printHelp()
{
    std::printf("Usage: omctl <command> [arguments]\n\n"
                "Reads and writes the device's bus objects and plays the user's side of the\n"
                "simulated device. The bus is found through OM_PPS_ROOT (default\n"
                "$XDG_RUNTIME_DIR/om-pps, else /tmp/om-pps-<uid>), as for applications.\n\n"
                "Commands:\n");
    for (const Command &command : CommandRegistry::all()) {
        const QString head = command.name + QLatin1Char(' ') + command.synopsis;
        std::printf("  %s\n      %s\n", qPrintable(head.trimmed()), qPrintable(command.summary));
    }
    std::printf("\n'omctl help <command>' tells more of one command.\n"
                "Exit status: 0 success, 1 the operation failed, 2 bad usage.\n");
}

void printCommandHelp(const Command &command)
{
    std::printf("Usage: omctl %s %s\n\n%s\n", qPrintable(command.name),
                qPrintable(command.synopsis), qPrintable(command.summary));
    if (!command.details.isEmpty())
        std::printf("\n%s\n", qPrintable(command.details));
}
} // namespace

void CommandRegistry::add(const Command &command)
{
    registry().append(command);
}

QList<Command> CommandRegistry::all()
{
    QList<Command> commands = registry();
    std::sort(commands.begin(), commands.end(),
              [](const Command &a, const Command &b) { return a.name < b.name; });
    return commands;
}

const Command *CommandRegistry::find(const QString &name)
{
    for (const Command &command : registry()) {
        if (command.name == name)
            return &command;
    }
    return nullptr;
}

} // namespace omctl

int main(int argc, char *argv[])
{
    ::signal(SIGPIPE, SIG_IGN);
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return omctl::usage(QStringLiteral("no command given"));
    const QString name = args.first();
    if (name == QLatin1String("-h") || name == QLatin1String("--help")) {
        omctl::printHelp();
        return omctl::Success;
    }
    if (name == QLatin1String("help")) {
        if (args.size() < 2) {
            omctl::printHelp();
            return omctl::Success;
        }
        const omctl::Command *command = omctl::CommandRegistry::find(args.at(1));
        if (!command)
            return omctl::usage(QStringLiteral("unknown command '%1'").arg(args.at(1)));
        omctl::printCommandHelp(*command);
        return omctl::Success;
    }
    const omctl::Command *command = omctl::CommandRegistry::find(name);
    if (!command)
        return omctl::usage(QStringLiteral("unknown command '%1'").arg(name));
    const QStringList rest = args.mid(1);
    if (rest.contains(QLatin1String("--help")) || rest.contains(QLatin1String("-h"))) {
        omctl::printCommandHelp(*command);
        return omctl::Success;
    }
    return command->run(rest);
}
