// omctl: reads, watches and writes the device's bus objects, and plays the
// user's side of the simulated device.

#include "command.h"
#include "omctlclient.h"

#include <QCommandLineParser>
#include <QCoreApplication>

#include <csignal>
#include <cstdio>

namespace omctl {

namespace {

// "[--name VALUE]" for each option, in the order the command gives them.
QString optionSynopsis(const Command &command)
{
    QStringList parts;
    for (const QCommandLineOption &option : command.options) {
        QString part = QStringLiteral("--") + option.names().constLast();
        if (!option.valueName().isEmpty())
            part += QLatin1Char(' ') + option.valueName();
        parts.append(QLatin1Char('[') + part + QLatin1Char(']'));
    }
    return parts.join(QLatin1Char(' '));
}

// "name <arguments> [--option VALUE]", as the command is typed.
QString synopsis(const Command &command)
{
    QStringList parts{command.name};
    for (const QString &part : {command.arguments, optionSynopsis(command)}) {
        if (!part.isEmpty())
            parts.append(part);
    }
    return parts.join(QLatin1Char(' '));
}

void printHelp()
{
    std::printf("Usage: omctl [-q] <command> [arguments]\n\n"
                "Reads and writes the device's bus objects and plays the user's side of the\n"
                "simulated device. The bus is found through OM_PPS_ROOT (default\n"
                "$XDG_RUNTIME_DIR/om-pps, else /tmp/om-pps-<uid>), as for applications.\n\n"
                "Commands:\n");
    for (const Command &command : CommandRegistry::all())
        std::printf("  %s\n      %s\n", qPrintable(synopsis(command)), qPrintable(command.summary));
    std::printf("\nOptions of every command:\n"
                "  -q, --quiet  Print nothing on success; errors still go to standard error.\n"
                "  -h, --help   Show the command's help.\n"
                "Alone: omctl --version prints the version, omctl --help this help.\n"
                "\n'omctl help <command>' tells more of one command.\n"
                "Exit status: 0 success, 1 the operation failed, 2 bad usage.\n");
}

const QCommandLineOption HelpOption({QStringLiteral("h"), QStringLiteral("help")},
                                    QStringLiteral("Show this help."));
const QCommandLineOption QuietOption({QStringLiteral("q"), QStringLiteral("quiet")},
                                     QStringLiteral("Print nothing on success."));

// Every option of @p command, and the options every command has.
QList<QCommandLineOption> optionsOf(const Command &command)
{
    return command.options + QList<QCommandLineOption>{QuietOption, HelpOption};
}

void printCommandHelp(const Command &command)
{
    std::printf("Usage: omctl %s\n\n%s\n", qPrintable(synopsis(command)),
                qPrintable(command.summary));
    if (!command.details.isEmpty())
        std::printf("\n%s\n", qPrintable(command.details));
    // The option list as the parser writes it, without its own usage line.
    QCommandLineParser parser;
    parser.addOptions(optionsOf(command));
    const QString text = parser.helpText();
    const int options = text.indexOf(QLatin1String("Options:"));
    if (options >= 0)
        std::printf("\n%s", qPrintable(text.mid(options)));
}

// Whether @p arg names one of @p options, and whether the next argument is
// its value. With @p longOnly only "--name" counts: "-x" is then an argument.
bool isOption(const QList<QCommandLineOption> &options, const QString &arg, bool longOnly,
              bool *takesValue)
{
    const bool isLong = arg.startsWith(QLatin1String("--")) && arg.size() > 2;
    const bool isShort = !isLong && arg.startsWith(QLatin1Char('-')) && arg.size() == 2;
    if (!isLong && (!isShort || longOnly))
        return false;
    const QString name = arg.mid(isLong ? 2 : 1).section(QLatin1Char('='), 0, 0);
    for (const QCommandLineOption &option : options) {
        if (option.names().contains(name)) {
            *takesValue = !option.valueName().isEmpty() && !arg.contains(QLatin1Char('='));
            return true;
        }
    }
    return false;
}

// For a command whose arguments are taken as written: its options, wherever
// they stand, then "--" and the positional arguments, so that the parser
// takes an argument such as "-name" or "-1" as it is. Before the first
// positional argument anything with a dash goes to the parser, which
// refuses what it does not know.
QStringList verbatim(const QList<QCommandLineOption> &options, const QStringList &args)
{
    QStringList named;
    QStringList positional;
    for (int i = 0; i < args.size(); ++i) {
        const QString &arg = args.at(i);
        bool takesValue = false;
        if (arg == QLatin1String("--")) {
            positional += args.mid(i + 1);
            break;
        }
        if (isOption(options, arg, !positional.isEmpty(), &takesValue)) {
            named += args.mid(i, takesValue ? 2 : 1);
            i += takesValue ? 1 : 0;
        } else if (positional.isEmpty() && arg.startsWith(QLatin1Char('-'))) {
            named.append(arg);
        } else {
            positional.append(arg);
        }
    }
    return named + QStringList{QStringLiteral("--")} + positional;
}

// The option as typed: "--name", or "-n" for a name of one letter.
QString dashed(const QString &name)
{
    return (name.size() == 1 ? QStringLiteral("-") : QStringLiteral("--")) + name;
}

// The parser's complaint in omctl's words: the option, and what is valid
// instead (the options the command takes, or the kind of value).
QString parseError(const QCommandLineParser &parser, const QList<QCommandLineOption> &options)
{
    const QStringList unknown = parser.unknownOptionNames();
    if (!unknown.isEmpty()) {
        QStringList valid;
        for (const QCommandLineOption &option : options)
            valid.append(dashed(option.names().constLast()));
        return QStringLiteral("unknown option '%1'; the options are %2")
            .arg(dashed(unknown.first()), valid.join(QStringLiteral(", ")));
    }
    // "Missing value after '--name'." is the parser's only other complaint.
    const QString text = parser.errorText();
    const int open = text.indexOf(QLatin1Char('\''));
    const int close = text.lastIndexOf(QLatin1Char('\''));
    if (open >= 0 && close > open) {
        const QString typed = text.mid(open + 1, close - open - 1);
        const QString name = typed.mid(typed.startsWith(QLatin1String("--")) ? 2 : 1);
        for (const QCommandLineOption &option : options) {
            if (option.names().contains(name))
                return QStringLiteral("%1 needs a value: %1 %2").arg(typed, option.valueName());
        }
    }
    return text;
}

int unknownCommand(const QString &name)
{
    QStringList names;
    for (const Command &command : CommandRegistry::all())
        names.append(command.name);
    return usage(QStringLiteral("unknown command '%1'; the commands are %2")
                     .arg(name, names.join(QStringLiteral(", "))));
}

int runCommand(const Command &command, const QStringList &args)
{
    QCommandLineParser parser;
    const QList<QCommandLineOption> options = optionsOf(command);
    parser.addOptions(options);
    QStringList line = command.verbatimArguments ? verbatim(options, args) : args;
    // The parser looks for the program's name in front.
    line.prepend(QStringLiteral("omctl ") + command.name);
    if (!parser.parse(line))
        return usage(QStringLiteral("%1: %2").arg(command.name, parseError(parser, options)));
    if (parser.isSet(HelpOption)) {
        printCommandHelp(command);
        return Success;
    }
    if (parser.isSet(QuietOption))
        setQuiet(true);
    QVariantMap given;
    for (const QCommandLineOption &option : command.options) {
        const QString name = option.names().constLast();
        if (parser.isSet(name))
            given.insert(name, option.valueName().isEmpty() ? QStringList() : parser.values(name));
    }
    const QStringList positional = parser.positionalArguments();
    if (command.arguments.isEmpty() && !positional.isEmpty())
        return usage(QStringLiteral("%1 takes no arguments").arg(command.name));
    return command.run(Invocation(command, positional, given));
}

} // namespace

} // namespace omctl

int main(int argc, char *argv[])
{
    ::signal(SIGPIPE, SIG_IGN);
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    // Options of omctl itself stand before the command.
    while (!args.isEmpty() && (args.first() == QLatin1String("-q") ||
                               args.first() == QLatin1String("--quiet"))) {
        omctl::setQuiet(true);
        args.removeFirst();
    }
    if (args.isEmpty())
        return omctl::usage(QStringLiteral("no command given"));
    const QString name = args.first();
    if (name == QLatin1String("--version")) {
        std::printf("omctl %s (Qt %s)\n", OM_VERSION, qVersion());
        return omctl::Success;
    }
    if (name == QLatin1String("--commands")) {
        // For shell completion: the command names, one a line.
        for (const omctl::Command &command : omctl::CommandRegistry::all())
            std::printf("%s\n", qPrintable(command.name));
        return omctl::Success;
    }
    if (name == QLatin1String("-h") || name == QLatin1String("--help")) {
        omctl::printHelp();
        return omctl::Success;
    }
    if (name.startsWith(QLatin1Char('-')))
        return omctl::usage(
            QStringLiteral("unknown option '%1'; before the command omctl takes -q, --version "
                           "and --help")
                .arg(name));
    if (name == QLatin1String("help")) {
        if (args.size() < 2) {
            omctl::printHelp();
            return omctl::Success;
        }
        const omctl::Command *command = omctl::CommandRegistry::find(args.at(1));
        if (!command)
            return omctl::unknownCommand(args.at(1));
        omctl::printCommandHelp(*command);
        return omctl::Success;
    }
    const omctl::Command *command = omctl::CommandRegistry::find(name);
    if (!command)
        return omctl::unknownCommand(name);
    return omctl::runCommand(*command, args.mid(1));
}
