#include "perimeter/perimetermanager.h"

#include "common/statepublisher.h"

#include <QDateTime>

#include <cerrno>
#include <cmath>
#include <limits>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcPerimeter, "perimeter");

namespace {

namespace protocol = om::perimeterprotocol;
const QString s_attributeState = protocol::keyState();
const QString s_attributeDataLockTime = protocol::keyDataLockTime();
// The user side's answers, and the saved state.
const QString s_keyState = protocol::keyState();
const QString s_keyTime = protocol::keyTime();

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

WireForm PerimeterManager::wireForm()
{
    WireForm form = WireForm::standard();
    form.answer = &WireForm::answerWithoutEmptyDat;
    form.failure = WireForm::bareWhenUndecodable(form.failure);
    form.unknown = [](const Request &request) {
        return Failure(0, QStringLiteral("unknown request '%1'").arg(request.msg()));
    };
    form.badShape = [](const Request &request, Shape) {
        return Failure(0,
                       QStringLiteral("%1 needs dat with the perimeter's name").arg(request.msg()));
    };
    return form;
}

PerimeterManager::PerimeterManager(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent), m_context(context),
      m_store(context.dataDirectory, QStringLiteral("perimeter")),
      // Applications read the state; only the perimeter manager writes it.
      m_state(new StatePublisher(protocol::statePath(), 0644, this)),
      m_control(new RequestRouter(protocol::controlPath(), 0666, wireForm(), this)),
      m_userSide(new RequestRouter(protocol::userSidePath(), 0600, wireForm(), this)),
      m_watchers(m_userSide)
{
    m_due.setSingleShot(true);
    m_due.setTimerType(Qt::PreciseTimer);
    connect(&m_due, &QTimer::timeout, this, &PerimeterManager::fallDue);
    m_control->add({
        {protocol::lockMessage(), Shape::Map, [this](const Request &r) { lock(r); }},
        {protocol::extendLockMessage(), Shape::Map, [this](const Request &r) { extendLock(r); }},
    });
    m_userSide->add({
        {protocol::statusMessage(), Shape::Any,
         [this](const Request &r) { m_userSide->answer(r, describe()); }},
        {protocol::lockMessage(), Shape::Any,
         [this](const Request &r) {
             change(r, LockState{protocol::Locked, false, QString()});
         }},
        {protocol::unlockMessage(), Shape::Any,
         [this](const Request &r) {
             change(r, LockState{protocol::Unlocked, false, QString()});
         }},
        {protocol::pendingMessage(), Shape::Any, [this](const Request &r) { setPending(r); }},
        {protocol::extendMessage(), Shape::Any, [this](const Request &r) { extendByUser(r); }},
        {protocol::rawMessage(), Shape::Any, [this](const Request &r) { setRaw(r); }},
    });
}

bool PerimeterManager::start(QString *error)
{
    const QVariantMap saved = m_store.load();
    QString reason;
    if (saved.contains(s_keyState) && !readState(saved, &m_current, &reason))
        m_store.setAside(reason);
    if (m_store.origin() == DataStore::Origin::SetAside) {
        // A data lock whose state is unknown is locked; kept so, so that
        // the next start does not take it for a new device.
        m_current = LockState{protocol::Locked, false, QString()};
        QString saveError;
        if (!keep(m_current, &saveError))
            qCWarning(lcPerimeter).noquote() << "cannot save the data lock:" << saveError;
    } else if (!saved.contains(s_keyState)) {
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
    if (!m_state->open(error) || !m_control->open(error) || !m_userSide->open(error))
        return false;
    publish();
    // A lock that fell due while the device was off is locked now.
    schedule();
    return true;
}

bool PerimeterManager::readState(const QVariantMap &saved, LockState *state, QString *reason)
{
    const QVariant raw = saved.value(s_keyState);
    qint64 value = 0;
    if (raw.userType() == QMetaType::QString || !integerValue(raw, &value)) {
        *reason = QStringLiteral("the state '%1' is not a whole number").arg(raw.toString());
        return false;
    }
    if (value < std::numeric_limits<qint32>::min() || value > std::numeric_limits<qint32>::max()) {
        *reason = QStringLiteral("the state %1 is out of range").arg(value);
        return false;
    }
    const QVariant time = saved.value(s_keyTime);
    if (time.isValid() && time.userType() != QMetaType::QString) {
        *reason = QStringLiteral("the time is not text");
        return false;
    }
    *state = LockState{int(value), time.isValid(), time.toString()};
    return true;
}

bool PerimeterManager::dueSeconds(qint64 *seconds) const
{
    if (m_current.raw != protocol::Pending || !m_current.hasTime)
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
    return m_current.raw == protocol::Locked || m_current.raw == protocol::StartupLocked ||
           m_current.raw == protocol::StartupUnlocking;
}

bool PerimeterManager::keep(const LockState &state, QString *error)
{
    QVariantMap saved;
    saved.insert(s_keyState, state.raw);
    if (state.hasTime)
        saved.insert(s_keyTime, state.time);
    return m_store.save(saved, error);
}

void PerimeterManager::enter(const LockState &state)
{
    m_current = state;
    publish();
    schedule();
    m_watchers.changed(protocol::statusMessage());
}

void PerimeterManager::apply(const LockState &state)
{
    // Nobody waits for an answer: the lock takes effect even if the
    // store cannot keep it.
    QString error;
    if (!keep(state, &error))
        qCWarning(lcPerimeter).noquote() << "cannot save the data lock:" << error;
    enter(state);
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
    apply(LockState{protocol::Locked, false, QString()});
}

QVariantMap PerimeterManager::describe() const
{
    QVariantMap dat;
    dat.insert(s_keyState, m_current.raw);
    if (m_current.hasTime)
        dat.insert(s_keyTime, m_current.time);
    return dat;
}

bool PerimeterManager::perimeterOf(const Request &request)
{
    const QString name = request.map().value(protocol::keyName()).toString();
    if (name == protocol::enterprisePerimeter())
        return true;
    m_control->fail(request, 0, QStringLiteral("no data lock on perimeter '%1'").arg(name));
    return false;
}

void PerimeterManager::lock(const Request &request)
{
    if (!perimeterOf(request))
        return;
    const QVariantMap dat = request.map();
    qint64 type = protocol::DataLockType;
    if (dat.contains(protocol::keyType()) &&
        (!integerValue(dat.value(protocol::keyType()), &type) || type != protocol::DataLockType)) {
        m_control->fail(request, 0, QStringLiteral("unknown lock type"));
        return;
    }
    // The lock is kept before it is granted, and the answer goes out
    // before the new state, so that an application hears "granted" before
    // it sees the lock.
    const LockState locked{protocol::Locked, false, QString()};
    QString error;
    if (!isLocked() && !keep(locked, &error)) {
        m_control->fail(request, EIO,
                        QStringLiteral("the data lock cannot be kept: %1").arg(error));
        return;
    }
    const bool wasLocked = isLocked();
    m_control->answer(request);
    if (!wasLocked)
        enter(locked);
}

void PerimeterManager::extendLock(const Request &request)
{
    if (!perimeterOf(request))
        return;
    qint64 interval = 0;
    if (!integerValue(request.map().value(protocol::keyTime()), &interval) || interval < 0) {
        m_control->fail(request, 0,
                        QStringLiteral("extend_lock needs a time of zero or more seconds"));
        return;
    }
    qint64 due = 0;
    QString error;
    if (!extended(interval, &due, &error)) {
        m_control->fail(request, 0, error);
        return;
    }
    const LockState pending{protocol::Pending, true, QString::number(due)};
    if (!keep(pending, &error)) {
        m_control->fail(request, EIO,
                        QStringLiteral("the data lock cannot be kept: %1").arg(error));
        return;
    }
    m_control->answer(request, QVariantMap{{protocol::keyTime(), due}});
    enter(pending);
}

bool PerimeterManager::extended(qint64 seconds, qint64 *due, QString *error) const
{
    qint64 current = 0;
    if (!dueSeconds(&current)) {
        *error = QStringLiteral("no lock is pending");
        return false;
    }
    if (seconds > s_latestTime || current + seconds > s_latestTime) {
        *error = QStringLiteral("the lock cannot be put off that far");
        return false;
    }
    *due = current + seconds;
    return true;
}

void PerimeterManager::extendByUser(const Request &request)
{
    qint64 seconds = 0;
    qint64 due = 0;
    QString error;
    if (!integerValue(request.map().value(protocol::keySeconds()), &seconds) || seconds < 0)
        error = QStringLiteral("extend needs zero or more seconds");
    else if (extended(seconds, &due, &error))
        return change(request, LockState{protocol::Pending, true, QString::number(due)});
    m_userSide->fail(request, 0, error);
}

void PerimeterManager::change(const Request &request, const LockState &state)
{
    QString error;
    if (!keep(state, &error)) {
        m_userSide->fail(request, EIO,
                         QStringLiteral("the data lock cannot be kept: %1").arg(error));
        return;
    }
    enter(state);
    m_userSide->answer(request, describe());
}

void PerimeterManager::setPending(const Request &request)
{
    qint64 seconds = 0;
    if (!integerValue(request.map().value(protocol::keySeconds()), &seconds) || seconds < 0) {
        m_userSide->fail(request, 0, QStringLiteral("pending needs zero or more seconds"));
        return;
    }
    const qint64 due = nowSeconds() + seconds;
    if (seconds > s_latestTime || due > s_latestTime) {
        m_userSide->fail(request, 0, QStringLiteral("the time would be out of range"));
        return;
    }
    change(request, LockState{protocol::Pending, true, QString::number(due)});
}

void PerimeterManager::setRaw(const Request &request)
{
    const QVariantMap dat = request.map();
    qint64 raw = 0;
    if (!integerValue(dat.value(s_keyState), &raw) || raw < std::numeric_limits<qint32>::min() ||
        raw > std::numeric_limits<qint32>::max()) {
        m_userSide->fail(request, 0,
                         QStringLiteral("raw needs a state that is a 32-bit whole number"));
        return;
    }
    LockState state{int(raw), dat.contains(s_keyTime), QString()};
    if (state.hasTime) {
        const QVariant time = dat.value(s_keyTime);
        if (time.userType() == QMetaType::QVariantMap ||
            time.userType() == QMetaType::QVariantList) {
            m_userSide->fail(request, 0, QStringLiteral("the time must be text or a number"));
            return;
        }
        state.time = time.toString();
    }
    change(request, state);
}

OM_DEVICE_MODULE(PerimeterManager, "perimeter", "perimeter manager: the enterprise data lock",
                 {{QStringLiteral("perimeter.state"), QStringLiteral("N"),
                   QStringLiteral("raw data lock state at the first start (default 1, unlocked)"),
                   Setting::wholeNumber(std::numeric_limits<qint32>::min(),
                                        std::numeric_limits<qint32>::max())}});

} // namespace omdevice
