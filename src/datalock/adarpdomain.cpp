#include "datalock/adarpdomain_p.h"

#include "notification/notificationssharedconstants.h"

#include <om/ppsobject.h>

#include <QDebug>
#include <QPointer>

#include <new>

namespace om {
namespace platform {

namespace {

// Every reading of the state object starts from "no time".
const QDateTime s_nullDateTime;

const QString s_objectState = QStringLiteral("@state");
const QString s_objectControlPublic = QStringLiteral("@control_public");
const QString s_attributeState = QStringLiteral("state");
const QString s_attributeDataLockTime = QStringLiteral("data_lock_time");
const QString s_attributeType = QStringLiteral("type");
const QString s_attributeTime = QStringLiteral("time");
const QString s_msgLock = QStringLiteral("lock");
const QString s_msgExtendLock = QStringLiteral("extend_lock");

// The raw state that means "a lock is pending"; only then is there a time.
const int s_rawStatePending = 5;

DataLockState::Type fromRawState(int raw)
{
    switch (raw) {
    case 0:
    case 6:
        return DataLockState::StartupLocked;
    case 3:
        return DataLockState::DataLocked;
    case s_rawStatePending:
        return DataLockState::LockPending;
    default:
        return DataLockState::NotLocked;
    }
}

/** A request to the perimeter manager: "msg", the caller's "id", "dat". */
QVariantMap envelope(const QString &msg, const QString &requestId, const QVariantMap &dat)
{
    return {{s_attributeMsg, msg}, {s_attributeId, requestId}, {s_attributeDat, dat}};
}

} // namespace

const QString AdarpDomainPrivate::StatePath =
    QStringLiteral("/pps/system/perimeter/info/1000/enterprise/state?wait");
const QString AdarpDomainPrivate::ControlPath =
    QStringLiteral("/pps/system/perimeter/control_public?wait");

AdarpDomainPrivate::AdarpDomainPrivate(AdarpDomain *q)
    : QObject(q), q(q), lockState(DataLockState::NotLocked), dataLockTime(s_nullDateTime),
      perimeterName(QStringLiteral("enterprise")), lockType(1), extendedTime(0)
{
    // For queued connections and QVariant: the signals carry the enumeration.
    qRegisterMetaType<DataLockState::Type>();

    // The state channel and the control channel fail independently: a
    // failure of one is logged and the other is still set up.
    statePps = new (std::nothrow) PpsObject(StatePath, this);
    if (!statePps) {
        qWarning() << "[AdarpDomain] perimeter manager PPS channel " << qPrintable(StatePath)
                   << " does not exist";
    } else if (!statePps->open(PpsOpenMode::Subscribe)) {
        qWarning() << "[AdarpDomain] Unable to open perimeter manager PPS channel "
                   << qPrintable(StatePath);
    } else {
        // The first reading is taken as it is, without signals: nobody can
        // be connected yet. Only later readings are compared and signalled.
        PpsDataState reading;
        readPpsState(reading);
        lockState = reading.state;
        dataLockTime = reading.time;
        connect(statePps, &PpsObject::readyRead, this, &AdarpDomainPrivate::onReadyRead);
    }

    controlPps = new (std::nothrow) PpsObject(ControlPath, this);
    if (!controlPps) {
        qWarning() << "[AdarpDomain] perimeter manager PPS channel " << qPrintable(ControlPath)
                   << " does not exist";
        return;
    }
    controlPps->setBlocking(true);
    if (!controlPps->open(PpsOpenMode::PublishSubscribe)) {
        qWarning() << "[AdarpDomain] error opening pps control channel: " << controlPps->error();
        return;
    }
    connect(controlPps, &PpsObject::readyRead, this, &AdarpDomainPrivate::onReadyReadControl);
}

DataLockState::Type AdarpDomainPrivate::state() const
{
    return lockState;
}

QDateTime AdarpDomainPrivate::nextDataLockTime() const
{
    return dataLockTime;
}

int AdarpDomainPrivate::requestDataLock(const QString &requestId)
{
    if (!controlPps) {
        qWarning() << "[AdarpDomain] requestDataLock: perimeter manager PPS channel "
                   << qPrintable(ControlPath) << " does not exist";
        return -1;
    }
    return send(envelope(s_msgLock, requestId,
                         {{s_attributeName, perimeterName}, {s_attributeType, lockType}}));
}

int AdarpDomainPrivate::extendDataLockTime(const QString &requestId, uint interval)
{
    if (!controlPps) {
        qWarning() << "[AdarpDomain] extendDataLockTime: perimeter manager PPS channel "
                   << qPrintable(ControlPath) << " does not exist";
        return -1;
    }
    return send(envelope(s_msgExtendLock, requestId,
                         {{s_attributeName, perimeterName}, {s_attributeTime, interval}}));
}

int AdarpDomainPrivate::send(QMap<QString, QVariant> request)
{
    bool encoded = false;
    const QByteArray data = PpsObject::encode(request, &encoded);
    if (!encoded) {
        qWarning() << "[AdarpDomain] failed to encode pps data";
        return -1;
    }
    if (!controlPps->write(data)) {
        qWarning() << "[AdarpDomain] error writing pps control channel: ("
                   << controlPps->errorString() << ")";
        return -1;
    }
    return 0;
}

void AdarpDomainPrivate::readPpsState(PpsDataState &result)
{
    result.state = DataLockState::NotLocked;
    result.time = s_nullDateTime;

    bool ok = false;
    const QByteArray data = statePps->read(&ok);
    if (!ok) {
        qWarning() << "[AdarpDomain] Could not read pps. error:" << statePps->errorString();
        return;
    }
    bool decoded = false;
    QVariantMap attributes = PpsObject::decode(data, &decoded);
    if (!decoded) {
        qWarning() << "[AdarpDomain] Could read, but not decode pps";
        return;
    }
    if (!attributes.contains(s_objectState)) {
        qWarning() << "[AdarpDomain] pps does not contain "
                   << "@state";
        return;
    }
    attributes = attributes.value(s_objectState).toMap();

    // A missing or unreadable state reads as raw 0, which is a start-up lock.
    const int raw = attributes.value(s_attributeState).toInt();
    result.state = fromRawState(raw);
    if (raw != s_rawStatePending)
        return;

    const QString text = attributes.value(s_attributeDataLockTime).toString();
    if (text.isEmpty()) {
        qWarning() << "[AdarpDomain] datalock time is missing";
        return;
    }
    bool parsed = false;
    const int seconds = text.toInt(&parsed, 10);
    if (!parsed) {
        qWarning() << "[AdarpDomain] datalock time could not be read";
        return;
    }
    // The service's time is a 32-bit count of seconds, taken as unsigned.
    result.time = QDateTime::fromSecsSinceEpoch(qint64(quint32(seconds)));
}

void AdarpDomainPrivate::onReadyRead()
{
    // A failed reading counts as "not locked": the follower keeps no memory
    // of the last good one.
    PpsDataState reading;
    readPpsState(reading);

    const DataLockState::Type oldState = lockState;
    const bool stateChanged = reading.state != lockState;
    const bool timeChanged = reading.time != dataLockTime;
    // Both properties hold the new values before either signal goes out.
    if (stateChanged)
        lockState = reading.state;
    if (timeChanged)
        dataLockTime = reading.time;

    QPointer<AdarpDomainPrivate> alive(this);
    if (stateChanged)
        Q_EMIT q->dataLockStateChanged(oldState, reading.state);
    // A receiver may have deleted the domain.
    if (alive && timeChanged)
        Q_EMIT q->nextDataLockTimeChanged(reading.time);
}

void AdarpDomainPrivate::onReadyReadControl()
{
    bool ok = false;
    const QByteArray data = controlPps->read(&ok);
    if (!ok) {
        qWarning() << "[AdarpDomain] unable to read pps control channel: ("
                   << controlPps->errorString() << ")";
        return;
    }
    bool decoded = false;
    const QVariantMap decodedMap = PpsObject::decode(data, &decoded);
    if (!decoded) {
        qWarning() << "[AdarpDomain] Unable to decode pps control result";
        return;
    }
    // An answer under another object name reads as an answer without "id".
    const QVariantMap answer = decodedMap.value(s_objectControlPublic).toMap();
    if (!answer.contains(s_attributeId)) {
        qWarning() << "[AdarpDomain] pps response id is missing";
        return;
    }
    const QString id = answer.value(s_attributeId).toString();
    if (!answer.contains(s_attributeRes)) {
        qWarning() << "[AdarpDomain] pps response request type is missing";
        Q_EMIT q->responseReceived(id, -1);
        return;
    }
    if (answer.contains(s_attributeError)) {
        Q_EMIT q->responseReceived(id, -1);
        return;
    }
    if (answer.value(s_attributeRes).toString() == s_msgExtendLock) {
        extendedTime = 0;
        if (answer.contains(s_attributeDat)) {
            const QVariantMap dat = answer.value(s_attributeDat).toMap();
            if (dat.contains(s_attributeTime))
                extendedTime = dat.value(s_attributeTime).toInt();
        }
    }
    // "lock", "extend_lock" and whatever else the service answers without
    // "err" count as granted.
    Q_EMIT q->responseReceived(id, 0);
}

AdarpDomain::AdarpDomain(QObject *parent) : QObject(parent), d_ptr(new AdarpDomainPrivate(this)) {}

AdarpDomain::~AdarpDomain() = default;

DataLockState::Type AdarpDomain::dataLockState() const
{
    Q_D(const AdarpDomain);
    return d->state();
}

QDateTime AdarpDomain::nextDataLockTime() const
{
    Q_D(const AdarpDomain);
    return d->nextDataLockTime();
}

int AdarpDomain::requestDataLock(const QString &requestId)
{
    Q_D(AdarpDomain);
    return d->requestDataLock(requestId);
}

int AdarpDomain::extendDataLockTime(const QString &requestId, uint interval)
{
    Q_D(AdarpDomain);
    return d->extendDataLockTime(requestId, interval);
}

} // namespace platform
} // namespace om
