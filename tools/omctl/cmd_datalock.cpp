// The data lock: show it, and play the user's side of the perimeter manager.

#include "command.h"
#include "omctlclient.h"

#include <om/ppsobject.h>

#include <QDateTime>

#include <cerrno>

namespace omctl {
namespace {

const QString statePath = QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state");
const QString simulatorPath = QStringLiteral("/pps/simulator/perimeter");
const QString subject = QStringLiteral("datalock");

QString rawStateName(int raw)
{
    switch (raw) {
    case 0:
        return QStringLiteral("locked since start-up");
    case 1:
        return QStringLiteral("unlocked");
    case 2:
        return QStringLiteral("unlocking");
    case 3:
        return QStringLiteral("locked");
    case 4:
        return QStringLiteral("no data lock policy");
    case 5:
        return QStringLiteral("lock pending");
    case 6:
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

int show()
{
    om::PpsObject pps(statePath);
    if (!pps.open(om::PpsOpenMode::Subscribe)) {
        if (pps.error() == ENOENT)
            return fail(subject,
                        QStringLiteral("no perimeter manager on the bus (%1 does not exist)")
                            .arg(statePath));
        return fail(subject, reason(pps.error()));
    }
    // The content comes with the open answer; an object without any has no
    // state yet.
    bool ok = false;
    const QByteArray text = pps.read(&ok);
    if (!ok) {
        if (pps.error() == EAGAIN)
            return fail(subject, QStringLiteral("the perimeter manager has published no state"));
        return fail(subject, reason(pps.error()));
    }
    const QVariantMap decoded = om::PpsObject::decode(text, &ok);
    if (!ok)
        return fail(subject, QStringLiteral("the state object cannot be decoded"));
    const QVariantMap attributes = decoded.value(QStringLiteral("@state")).toMap();
    printState(attributes.value(QStringLiteral("state")),
               attributes.value(QStringLiteral("data_lock_time")));
    return Success;
}

/** One request to the simulator; prints the state that results. */
int change(const QString &msg, const QVariantMap &dat)
{
    QVariantMap answer;
    QString error;
    if (!request(simulatorPath, msg, dat, &answer, &error))
        return fail(subject, error);
    if (answer.contains(QStringLiteral("err")))
        return fail(subject, answer.value(QStringLiteral("err")).toString());
    const QVariantMap state = answer.value(QStringLiteral("dat")).toMap();
    printState(state.value(QStringLiteral("state")), state.value(QStringLiteral("time")));
    return Success;
}

int datalock(const QStringList &args)
{
    if (args.isEmpty())
        return show();
    const QString &action = args.first();
    const QStringList rest = args.mid(1);
    if (action == QLatin1String("lock") || action == QLatin1String("unlock")) {
        if (!rest.isEmpty())
            return usage(QStringLiteral("datalock %1 takes no arguments").arg(action));
        return change(action, QVariantMap());
    }
    if (action == QLatin1String("pending")) {
        bool ok = false;
        const qint64 seconds = rest.value(0).toLongLong(&ok);
        if (rest.size() != 1 || !ok || seconds < 0)
            return usage(
                QStringLiteral("datalock pending takes one number of seconds, zero or more"));
        return change(action, {{QStringLiteral("seconds"), seconds}});
    }
    if (action == QLatin1String("raw")) {
        bool ok = false;
        const int raw = rest.value(0).toInt(&ok);
        if (rest.isEmpty() || rest.size() > 2 || !ok)
            return usage(
                QStringLiteral("datalock raw takes a whole number and, optionally, a time"));
        QVariantMap dat{{QStringLiteral("state"), raw}};
        if (rest.size() == 2)
            dat.insert(QStringLiteral("time"), rest.at(1));
        return change(action, dat);
    }
    return usage(QStringLiteral("unknown datalock action '%1'").arg(action));
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("datalock"),
     QStringLiteral("[pending <seconds> | lock | unlock | raw <n> [time]]"),
     QStringLiteral("Show the enterprise data lock, or change it as its user or administrator."),
     QStringLiteral("Without arguments: the raw state that the perimeter manager publishes, and\n"
                    "the time at which a pending lock falls due (seconds since 1970, UTC).\n"
                    "  pending <seconds>  a lock falls due that many seconds from now\n"
                    "  lock               lock the data now\n"
                    "  unlock             open the data; nothing pending\n"
                    "  raw <n> [time]     publish raw state n, with the time text as given\n"
                    "                     (5 with a time is a pending lock that falls due)\n"
                    "Raw states: 0 locked since start-up, 1 unlocked, 2 unlocking, 3 locked,\n"
                    "4 no data lock policy, 5 lock pending, 6 start-up lock being opened.\n"
                    "Changes print the state that results. They need the device's owner."),
     datalock});

} // namespace omctl
