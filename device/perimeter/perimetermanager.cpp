#include "perimeter/perimetermanager.h"

#include "common/controlserver.h"
#include "common/statepublisher.h"

#include <QDateTime>
#include <QDebug>

#include <cmath>
#include <limits>

namespace omdevice {

namespace {

const QString s_perimeterName = QStringLiteral("enterprise");
const QString s_attributeState = QStringLiteral("state");
const QString s_attributeDataLockTime = QStringLiteral("data_lock_time");
const QString s_keyState = QStringLiteral("state");
const QString s_keyTime = QStringLiteral("time");

// Applications read the time as a signed 32-bit count of seconds; a time
// beyond that could be published but never read.
const qint64 s_latestTime = std::numeric_limits<qint32>::max();
// Long waits are cut into pieces of at most a day (QTimer counts in int
// milliseconds); each piece looks at the clock again.
const qint64 s_longestWaitMs = 24 * 3600 * 1000;

/** An integer from a decoded attribute: a whole number, or text of one. */
bool integerValue(const QVariant &value, qint64 *out)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
        *out = value.toLongLong();
        return true;
    case QMetaType::ULongLong: {
        const qulonglong v = value.toULongLong();
        if (v > qulonglong(std::numeric_limits<qint64>::max()))
            return false;
        *out = qint64(v);
        return true;
    }
    case QMetaType::Double: {
        const double d = value.toDouble();
        if (!std::isfinite(d) || d != std::floor(d) || std::fabs(d) > 9007199254740992.0)
            return false;
        *out = qint64(d);
        return true;
    }
    case QMetaType::QString: {
        bool ok = false;
        *out = value.toString().toLongLong(&ok);
        return ok;
    }
    default:
        return false;
    }
}

qint64 nowSeconds()
{
    return QDateTime::currentMSecsSinceEpoch() / 1000;
}

} // namespace

PerimeterManager::PerimeterManager(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_store(context.dataDirectory, QStringLiteral("perimeter")),
      // Applications read the state; only the perimeter manager writes it.
      m_state(new StatePublisher(QString::fromLatin1(StatePath), 0644, this)),
      m_control(new ControlServer(QString::fromLatin1(ControlPath), 0666, this)),
      m_simulator(new ControlServer(QString::fromLatin1(SimulatorPath), 0600, this))
{
    m_due.setSingleShot(true);
    m_due.setTimerType(Qt::PreciseTimer);
    connect(&m_due, &QTimer::timeout, this, &PerimeterManager::fallDue);
    connect(m_control, &ControlServer::message, this, &PerimeterManager::onControl);
    connect(m_simulator, &ControlServer::message, this, &PerimeterManager::onSimulator);
    for (ControlServer *server : {m_control, m_simulator}) {
        connect(server, &ControlServer::undecodable, this, [server](int clientId) {
            server->reply(clientId, {{QStringLiteral("err"), QStringLiteral("malformed message")}});
        });
    }
}

bool PerimeterManager::start(QString *error)
{
    const QVariantMap saved = m_store.load();
    if (saved.contains(s_keyState)) {
        m_current.raw = saved.value(s_keyState).toInt();
        m_current.hasTime = saved.contains(s_keyTime);
        m_current.time = saved.value(s_keyTime).toString();
    } else {
        const QString initial = m_context.setting(QStringLiteral("perimeter.state"));
        if (!initial.isEmpty()) {
            bool ok = false;
            m_current.raw = initial.toInt(&ok);
            if (!ok) {
                *error =
                    QStringLiteral("perimeter.state must be a whole number, not '%1'").arg(initial);
                return false;
            }
        }
    }
    if (!m_state->open(error) || !m_control->open(error) || !m_simulator->open(error))
        return false;
    publish();
    // A lock that fell due while the device was off is locked now.
    schedule();
    return true;
}

bool PerimeterManager::dueSeconds(qint64 *seconds) const
{
    if (m_current.raw != Pending || !m_current.hasTime)
        return false;
    bool ok = false;
    const int value = m_current.time.toInt(&ok, 10);
    if (!ok || value < 0)
        return false;
    *seconds = value;
    return true;
}

bool PerimeterManager::isLocked() const
{
    return m_current.raw == Locked || m_current.raw == StartupLocked ||
           m_current.raw == StartupUnlocking;
}

void PerimeterManager::apply(const LockState &state)
{
    m_current = state;
    // Applications see the change first; the disk can wait for them.
    publish();
    schedule();
    QVariantMap saved;
    saved.insert(s_keyState, state.raw);
    if (state.hasTime)
        saved.insert(s_keyTime, state.time);
    QString error;
    if (!m_store.save(saved, &error))
        qWarning().noquote() << "perimeter: cannot save the data lock state:" << error;
}

void PerimeterManager::publish()
{
    QVariantMap attributes;
    attributes.insert(s_attributeState, m_current.raw);
    QStringList removed;
    if (m_current.hasTime)
        attributes.insert(s_attributeDataLockTime, m_current.time);
    else
        removed.append(s_attributeDataLockTime);
    m_state->publish(attributes, removed);
}

void PerimeterManager::schedule()
{
    m_due.stop();
    qint64 due = 0;
    if (!dueSeconds(&due))
        return;
    const qint64 wait = due * 1000 - QDateTime::currentMSecsSinceEpoch();
    m_due.start(int(qBound<qint64>(0, wait, s_longestWaitMs)));
}

void PerimeterManager::fallDue()
{
    qint64 due = 0;
    if (!dueSeconds(&due))
        return;
    if (QDateTime::currentMSecsSinceEpoch() < due * 1000) {
        schedule();
        return;
    }
    apply(LockState{Locked, false, QString()});
}

QVariantMap PerimeterManager::describe() const
{
    QVariantMap dat;
    dat.insert(s_keyState, m_current.raw);
    if (m_current.hasTime)
        dat.insert(s_keyTime, m_current.time);
    return dat;
}

void PerimeterManager::respond(ControlServer *server, int clientId, const QVariantMap &request,
                               const QString &key, const QVariant &value)
{
    QVariantMap reply;
    reply.insert(QStringLiteral("res"), request.value(QStringLiteral("msg")));
    if (request.contains(QStringLiteral("id")))
        reply.insert(QStringLiteral("id"), request.value(QStringLiteral("id")));
    if (!key.isEmpty())
        reply.insert(key, value);
    server->reply(clientId, reply);
}

void PerimeterManager::answer(ControlServer *server, int clientId, const QVariantMap &request,
                              const QVariantMap &dat)
{
    respond(server, clientId, request, dat.isEmpty() ? QString() : QStringLiteral("dat"), dat);
}

void PerimeterManager::refuse(ControlServer *server, int clientId, const QVariantMap &request,
                              const QString &error)
{
    respond(server, clientId, request, QStringLiteral("err"), error);
}

void PerimeterManager::onControl(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    if (msg != QLatin1String("lock") && msg != QLatin1String("extend_lock")) {
        refuse(m_control, clientId, request, QStringLiteral("unknown request '%1'").arg(msg));
        return;
    }
    const QVariant datValue = request.value(QStringLiteral("dat"));
    if (datValue.userType() != QMetaType::QVariantMap) {
        refuse(m_control, clientId, request,
               QStringLiteral("%1 needs dat with the perimeter's name").arg(msg));
        return;
    }
    const QVariantMap dat = datValue.toMap();
    const QString name = dat.value(QStringLiteral("name")).toString();
    if (name != s_perimeterName) {
        refuse(m_control, clientId, request,
               QStringLiteral("no data lock on perimeter '%1'").arg(name));
        return;
    }

    if (msg == QLatin1String("lock")) {
        qint64 type = 1;
        if (dat.contains(QStringLiteral("type")) &&
            (!integerValue(dat.value(QStringLiteral("type")), &type) || type != 1)) {
            refuse(m_control, clientId, request, QStringLiteral("unknown lock type"));
            return;
        }
        // The answer goes out before the new state, so that an application
        // hears "granted" before it sees the lock.
        answer(m_control, clientId, request);
        if (!isLocked())
            apply(LockState{Locked, false, QString()});
        return;
    }

    qint64 interval = 0;
    if (!integerValue(dat.value(QStringLiteral("time")), &interval) || interval < 0) {
        refuse(m_control, clientId, request,
               QStringLiteral("extend_lock needs a time of zero or more seconds"));
        return;
    }
    qint64 due = 0;
    if (!dueSeconds(&due)) {
        refuse(m_control, clientId, request, QStringLiteral("no lock is pending"));
        return;
    }
    const qint64 extended = due + interval;
    if (extended > s_latestTime) {
        refuse(m_control, clientId, request, QStringLiteral("the lock cannot be put off that far"));
        return;
    }
    answer(m_control, clientId, request, {{QStringLiteral("time"), extended}});
    apply(LockState{Pending, true, QString::number(extended)});
}

void PerimeterManager::onSimulator(int clientId, const QVariantMap &request)
{
    const QString msg = request.value(QStringLiteral("msg")).toString();
    const QVariantMap dat = request.value(QStringLiteral("dat")).toMap();
    if (msg == QLatin1String("status")) {
        // Nothing changes.
    } else if (msg == QLatin1String("lock")) {
        apply(LockState{Locked, false, QString()});
    } else if (msg == QLatin1String("unlock")) {
        apply(LockState{Unlocked, false, QString()});
    } else if (msg == QLatin1String("pending")) {
        qint64 seconds = 0;
        if (!integerValue(dat.value(QStringLiteral("seconds")), &seconds) || seconds < 0) {
            refuse(m_simulator, clientId, request,
                   QStringLiteral("pending needs zero or more seconds"));
            return;
        }
        const qint64 due = nowSeconds() + seconds;
        if (seconds > s_latestTime || due > s_latestTime) {
            refuse(m_simulator, clientId, request,
                   QStringLiteral("the time would be out of range"));
            return;
        }
        apply(LockState{Pending, true, QString::number(due)});
    } else if (msg == QLatin1String("raw")) {
        qint64 raw = 0;
        if (!integerValue(dat.value(s_keyState), &raw) ||
            raw < std::numeric_limits<qint32>::min() || raw > std::numeric_limits<qint32>::max()) {
            refuse(m_simulator, clientId, request,
                   QStringLiteral("raw needs a state that is a 32-bit whole number"));
            return;
        }
        LockState state{int(raw), dat.contains(s_keyTime), QString()};
        if (state.hasTime) {
            const QVariant time = dat.value(s_keyTime);
            if (time.userType() == QMetaType::QVariantMap ||
                time.userType() == QMetaType::QVariantList) {
                refuse(m_simulator, clientId, request,
                       QStringLiteral("the time must be text or a number"));
                return;
            }
            state.time = time.toString();
        }
        apply(state);
    } else {
        refuse(m_simulator, clientId, request, QStringLiteral("unknown request '%1'").arg(msg));
        return;
    }
    answer(m_simulator, clientId, request, describe());
}

OM_DEVICE_MODULE(PerimeterManager, "perimeter", "perimeter manager: the enterprise data lock",
                 "perimeter.state=N  raw data lock state at the first start (default 1, unlocked)");

} // namespace omdevice
