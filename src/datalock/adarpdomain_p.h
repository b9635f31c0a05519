#ifndef OM_PLATFORM_ADARPDOMAIN_P_H
#define OM_PLATFORM_ADARPDOMAIN_P_H

#include <om/platform/adarpdomain.h>

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

namespace om {
class PpsObject;

namespace platform {

/** The workings of AdarpDomain: the two bus objects and what was read. */
class AdarpDomainPrivate : public QObject
{
    Q_OBJECT

public:
    /** One reading of the state object. */
    struct PpsDataState
    {
        DataLockState::Type state;
        QDateTime time;
    };

    static const QString StatePath;
    static const QString ControlPath;

    explicit AdarpDomainPrivate(AdarpDomain *q);

    DataLockState::Type state() const;
    QDateTime nextDataLockTime() const;

    int requestDataLock(const QString &requestId);
    int extendDataLockTime(const QString &requestId, uint interval);

    int send(QMap<QString, QVariant> request);
    void readPpsState(PpsDataState &result);

    AdarpDomain *const q;
    PpsObject *statePps = nullptr;
    PpsObject *controlPps = nullptr;
    // Named apart from state(), which reads it.
    DataLockState::Type lockState = DataLockState::NotLocked;
    QDateTime dataLockTime;
    QString perimeterName;
    int lockType;
    /** The time of the last granted extension; kept, not used further. */
    int extendedTime;

private Q_SLOTS:
    void onReadyRead();
    void onReadyReadControl();
};

} // namespace platform
} // namespace om

#endif
