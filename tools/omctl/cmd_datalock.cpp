// The data lock: show it, and play the user's side of the perimeter manager.

#include "command.h"
#include "omctlclient.h"

#include "perimeter/perimeterprotocol_p.h"

#include <om/ppsobject.h>

#include <QDateTime>

#include <cerrno>

namespace omctl {
namespace {

namespace protocol = om::perimeterprotocol;
const QString statePath = protocol::statePath();
const QString simulatorPath = protocol::userSidePath();

QString rawStateName(int raw)
{
    switch (raw) {
    case protocol::StartupLocked:
        return QStringLiteral("locked since start-up");
    case protocol::Unlocked:
        return QStringLiteral("unlocked");
    case protocol::Unlocking:
        return QStringLiteral("unlocking");
    case protocol::Locked:
        return QStringLiteral("locked");
    case protocol::NoPolicy:
        return QStringLiteral("no data lock policy");
    case protocol::Pending:
        return QStringLiteral("lock pending");
    case protocol::StartupUnlocking:
        return QStringLiteral("start-up lock being opened");
    default:
        return QStringLiteral("unknown");
    }
}

QString describeTime(const QVariant &value)
{
    if (!value.isValid())
        return QStringLiteral("none");
    const QString text = value.toString();
    bool ok = false;
    const int seconds = text.toInt(&ok, 10);
    if (!ok)
        return QStringLiteral("%1 (not a number of seconds)").arg(text);
    const QDateTime when = QDateTime::fromSecsSinceEpoch(qint64(quint32(seconds)), Qt::UTC);
    const qint64 from = qint64(quint32(seconds)) - QDateTime::currentSecsSinceEpoch();
    const QString relative =
        from >= 0 ? QStringLiteral("in %1 s").arg(from) : QStringLiteral("%1 s ago").arg(-from);
    return QStringLiteral("%1 (%2, %3)")
        .arg(text, when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss 'UTC'")), relative);
}

/** Prints a state: @p state as the service publishes it, @p time if any. */
void printState(const QVariant &state, const QVariant &time)
{
    if (!state.isValid()) {
        out(QStringLiteral("state: none"));
    } else {
        bool ok = false;
        const int raw = state.toInt(&ok);
        out(ok ? QStringLiteral("state: %1 (%2)").arg(raw).arg(rawStateName(raw))
               : QStringLiteral("state: %1 (not a number)").arg(state.toString()));
    }
    out(QStringLiteral("time: ") + describeTime(time));
}

int show(const Invocation &call)
{
    om::PpsObject pps(statePath);
    if (!pps.open(om::PpsOpenMode::Subscribe)) {
        if (pps.error() == ENOENT)
            return call.fail(QStringLiteral("no perimeter manager on the bus (%1 does not exist)")
                                 .arg(statePath));
        return call.fail(reason(pps.error()));
    }
    // The content comes with the open answer; an object without any has no
    // state yet.
    bool ok = false;
    const QByteArray text = pps.read(&ok);
    if (!ok) {
        if (pps.error() == EAGAIN)
            return call.fail(QStringLiteral("the perimeter manager has published no state"));
        return call.fail(reason(pps.error()));
    }
    const QVariantMap decoded = om::PpsObject::decode(text, &ok);
    if (!ok)
        return call.fail(QStringLiteral("the state object cannot be decoded"));
    // Headed "@" and the object's name, the last part of its path.
    const QString name = QLatin1Char('@') + statePath.section(QLatin1Char('/'), -1);
    const QVariantMap attributes = decoded.value(name).toMap();
    printState(attributes.value(protocol::keyState()),
               attributes.value(protocol::keyDataLockTime()));
    return Success;
}

/** One request to the simulator; prints the state that results. */
int change(const Invocation &call, const QString &msg, const QVariantMap &dat)
{
    const auto state = call.request(simulatorPath, msg, dat);
    if (!state)
        return Failure;
    printState(state->value(protocol::keyState()), state->value(protocol::keyTime()));
    return Success;
}

int datalock(const Invocation &call)
{
    const QStringList args = call.args();
    if (args.isEmpty())
        return show(call);
    const QString &action = args.first();
    const QStringList rest = args.mid(1);
    if (action == protocol::lockMessage() || action == protocol::unlockMessage()) {
        if (!rest.isEmpty())
            return call.usage(QStringLiteral("datalock %1 takes no arguments").arg(action));
        return change(call, action, QVariantMap());
    }
    if (action == protocol::pendingMessage() || action == protocol::extendMessage()) {
        bool ok = false;
        const qint64 seconds = rest.value(0).toLongLong(&ok);
        if (rest.size() != 1 || !ok || seconds < 0)
            return call.usage(
                QStringLiteral("datalock %1 takes one number of seconds, zero or more").arg(action));
        return change(call, action, {{protocol::keySeconds(), seconds}});
    }
    if (action == protocol::rawMessage()) {
        bool ok = false;
        const int raw = rest.value(0).toInt(&ok);
        if (rest.isEmpty() || rest.size() > 2 || !ok)
            return call.usage(
                QStringLiteral("datalock raw takes a whole number and, optionally, a time"));
        QVariantMap dat{{protocol::keyState(), raw}};
        if (rest.size() == 2)
            dat.insert(protocol::keyTime(), rest.at(1));
        return change(call, action, dat);
    }
    return call.usage(QStringLiteral("unknown datalock action '%1'").arg(action));
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("datalock"),
     QStringLiteral("[pending <seconds> | extend <seconds> | lock | unlock | raw <n> [time]]"),
     QStringLiteral("Show the enterprise data lock, or change it as its user or administrator."),
     QStringLiteral("Without arguments: the raw state that the perimeter manager publishes, and\n"
                    "the time at which a pending lock falls due (seconds since 1970, UTC).\n"
                    "  pending <seconds>  a lock falls due that many seconds from now\n"
                    "  extend <seconds>   a pending lock falls due that much later\n"
                    "  lock               lock the data now\n"
                    "  unlock             open the data; nothing pending\n"
                    "  raw <n> [time]     publish raw state n, with the time text as given\n"
                    "                     (5 with a time is a pending lock that falls due)\n"
                    "Raw states: 0 locked since start-up, 1 unlocked, 2 unlocking, 3 locked,\n"
                    "4 no data lock policy, 5 lock pending, 6 start-up lock being opened.\n"
                    "Changes print the state that results. They need the device's owner."),
     {},
     datalock,
     true});

} // namespace omctl
