// The bus commands: ls, cat, watch, write.

#include "command.h"
#include "omctlclient.h"

#include <om/ppsobject.h>

#include <QCoreApplication>

#include <cerrno>
#include <cstdio>

namespace omctl {
namespace {

void printText(const QByteArray &text)
{
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    if (!text.endsWith('\n'))
        std::fputc('\n', stdout);
    std::fflush(stdout);
}

int ls(const QStringList &args)
{
    if (args.size() > 1)
        return usage(QStringLiteral("ls takes at most one path"));
    const QString path = args.value(0, QStringLiteral("/pps"));
    int error = 0;
    const QStringList names = om::PpsObject::list(path, &error);
    if (error != 0)
        return fail(path, reason(error));
    for (const QString &name : names)
        out(name);
    return Success;
}

int cat(const QStringList &args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("cat takes one object path"));
    om::PpsObject pps(args.first());
    if (!pps.open(om::PpsOpenMode::Subscribe))
        return fail(args.first(), reason(pps.error()));
    bool ok = false;
    const QByteArray text = pps.read(&ok);
    if (ok)
        printText(text);
    else if (pps.error() != EAGAIN)
        return fail(args.first(), reason(pps.error()));
    return Success;
}

int watch(const QStringList &args)
{
    QString path;
    int count = -1;
    for (int i = 0; i < args.size(); ++i) {
        if (args.at(i) == QLatin1String("--count") && i + 1 < args.size()) {
            bool ok = false;
            count = args.at(++i).toInt(&ok);
            if (!ok || count <= 0)
                return usage(QStringLiteral("--count needs a positive number"));
        } else if (path.isEmpty() && !args.at(i).startsWith(QLatin1String("--"))) {
            path = args.at(i);
        } else {
            return usage(QStringLiteral("unexpected argument '%1'").arg(args.at(i)));
        }
    }
    if (path.isEmpty())
        return usage(QStringLiteral("watch takes one object path"));
    om::PpsObject pps(path);
    if (!pps.open(om::PpsOpenMode::Subscribe))
        return fail(path, reason(pps.error()));
    int result = Success;
    int seen = 0;
    QObject::connect(&pps, &om::PpsObject::readyRead, [&]() {
        bool ok = false;
        const QByteArray text = pps.read(&ok);
        if (!ok) {
            if (pps.error() == EAGAIN)
                return;
            result = fail(path, reason(pps.error()));
            QCoreApplication::exit(result);
            return;
        }
        printText(text);
        if (count > 0 && ++seen >= count)
            QCoreApplication::exit(Success);
    });
    const int code = QCoreApplication::exec();
    return code != Success ? code : result;
}

int write(const QStringList &args)
{
    QString path;
    bool create = false;
    QByteArray text;
    for (const QString &arg : args) {
        if (arg == QLatin1String("--create")) {
            create = true;
            continue;
        }
        if (path.isEmpty()) {
            path = arg;
            continue;
        }
        const QByteArray line = arg.toUtf8();
        bool ok = line.startsWith('-') && line.size() > 1 && !line.contains('\n');
        if (!ok && !line.contains('\n'))
            om::PpsObject::decode(line, &ok);
        if (!ok || line.startsWith('@') || line.startsWith("+@"))
            return usage(QStringLiteral("'%1' is not an attribute (name:encoding:value) or a removal (-name)").arg(arg));
        text += line;
        text += '\n';
    }
    if (path.isEmpty() || text.isEmpty())
        return usage(QStringLiteral("write takes an object path and at least one attribute"));
    om::PpsOpenMode::Types mode = om::PpsOpenMode::Publish;
    if (create)
        mode |= om::PpsOpenMode::Create;
    om::PpsObject pps(path);
    if (!pps.open(mode))
        return fail(path, reason(pps.error()));
    if (!pps.write(text))
        return fail(path, reason(pps.error()));
    return Success;
}

} // namespace

OMCTL_COMMAND({QStringLiteral("ls"), QStringLiteral("[path]"),
               QStringLiteral("List the objects and directories below a path (default /pps)."),
               QStringLiteral("Directories end with '/'."), ls});

OMCTL_COMMAND({QStringLiteral("cat"), QStringLiteral("<object>"),
               QStringLiteral("Print the current attributes of an object as PPS text."),
               QStringLiteral("A control object has no attributes of its own and prints nothing."),
               cat});

OMCTL_COMMAND({QStringLiteral("watch"), QStringLiteral("<object> [--count N]"),
               QStringLiteral("Print an object's content, then each update as it arrives."),
               QStringLiteral("Runs until interrupted, or until N updates have been printed.\n"
                              "On a control object it prints what the server sends to all clients."),
               watch});

OMCTL_COMMAND({QStringLiteral("write"),
               QStringLiteral("<object> [--create] <name:encoding:value | -name>..."),
               QStringLiteral("Write attributes to an object as one message."),
               QStringLiteral("Encodings: empty for text, n number, b boolean (true/false),\n"
                              "json a nested map or list, c text with C escapes.\n"
                              "-name removes an attribute from a plain object. --create makes\n"
                              "a plain object that does not exist yet.\n"
                              "Example: omctl write /pps/services/navigator/state isDeviceLocked::notLocked"),
               write});

} // namespace omctl
