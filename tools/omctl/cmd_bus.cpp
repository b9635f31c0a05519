// The bus commands: ls, cat, write (watch is in cmd_watch.cpp).

#include "command.h"
#include "omctlclient.h"

#include <om/ppsobject.h>

#include <QCoreApplication>

#include <cerrno>
#include <cstdio>
#include <optional>

namespace omctl {

void printText(const QByteArray &text)
{
    if (isQuiet())
        return;
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    if (!text.endsWith('\n'))
        std::fputc('\n', stdout);
    std::fflush(stdout);
}

namespace {

int ls(const Invocation &call)
{
    if (call.args().size() > 1)
        return call.usage(QStringLiteral("ls takes at most one path"));
    const QString path = call.args().value(0, QStringLiteral("/pps"));
    int error = 0;
    const QStringList names = om::PpsObject::list(path, &error);
    if (error != 0)
        return fail(path, reason(error));
    for (const QString &name : names)
        out(name);
    return Success;
}

int cat(const Invocation &call)
{
    if (call.args().size() != 1)
        return call.usage(QStringLiteral("cat takes one object path"));
    const QString path = call.args().first();
    om::PpsObject pps(path);
    if (!pps.open(om::PpsOpenMode::Subscribe))
        return fail(path, reason(pps.error()));
    bool ok = false;
    const QByteArray text = pps.read(&ok);
    if (ok)
        printText(text);
    else if (pps.error() != EAGAIN)
        return fail(path, reason(pps.error()));
    return Success;
}

int write(const Invocation &call)
{
    const QStringList args = call.args();
    QByteArray text;
    for (const QString &arg : args.mid(1)) {
        const QByteArray line = arg.toUtf8();
        bool ok = line.startsWith('-') && line.size() > 1 && !line.contains('\n');
        if (!ok && !line.contains('\n'))
            om::PpsObject::decode(line, &ok);
        if (!ok || line.startsWith('@') || line.startsWith("+@"))
            return call.usage(
                QStringLiteral(
                    "'%1' is not an attribute (name:encoding:value) or a removal (-name)")
                    .arg(arg));
        text += line;
        text += '\n';
    }
    if (text.isEmpty())
        return call.usage(QStringLiteral("write takes an object path and at least one attribute"));
    QString path = args.first();
    om::PpsOpenMode::Types mode = om::PpsOpenMode::Publish;
    if (call.isSet(QStringLiteral("create"))) {
        mode |= om::PpsOpenMode::Create;
        // omctl ends right after it wrote: an object that went with its
        // last client would be gone before anyone read it.
        path += path.contains(QLatin1Char('?')) ? QStringLiteral(",persistent")
                                                : QStringLiteral("?persistent");
    }
    om::PpsObject pps(path);
    if (!pps.open(mode))
        return fail(path, reason(pps.error()));
    if (!pps.write(text))
        return fail(path, reason(pps.error()));
    // The new state, if the object is one that keeps it.
    om::PpsObject state(path);
    if (state.open(om::PpsOpenMode::Subscribe)) {
        bool ok = false;
        const QByteArray content = state.read(&ok);
        if (ok && !isQuiet())
            std::fwrite(content.constData(), 1, size_t(content.size()), stdout);
    }
    return Success;
}

} // namespace

OMCTL_COMMAND({QStringLiteral("ls"),
               QStringLiteral("[path]"),
               QStringLiteral("List the objects and directories below a path (default /pps)."),
               QStringLiteral("Directories end with '/'."),
               {},
               ls});

OMCTL_COMMAND({QStringLiteral("cat"),
               QStringLiteral("<object>"),
               QStringLiteral("Print the current attributes of an object as PPS text."),
               QStringLiteral("A control object has no attributes of its own and prints nothing."),
               {},
               cat});

OMCTL_COMMAND(
    {QStringLiteral("write"),
     QStringLiteral("<object> <name:encoding:value | -name>..."),
     QStringLiteral("Write attributes to an object as one message."),
     QStringLiteral("Encodings: empty for text, n number, b boolean (true/false),\n"
                    "json a nested map or list, c text with C escapes.\n"
                    "-name removes an attribute from a plain object.\n"
                    "Example: omctl write /pps/services/navigator/state isDeviceLocked::notLocked"),
     {{QStringLiteral("create"), QStringLiteral("Make a plain object that does not exist yet; it stays when omctl "
                                    "ends (only the device's owner may).")}},
     write,
     true});

} // namespace omctl
