#ifndef OM_PLATFORM_ADARPDOMAIN_H
#define OM_PLATFORM_ADARPDOMAIN_H

#include <om/platform/datalockstate.h>
#include <om/platform/omplatform_export.h>

#include <QDateTime>
#include <QObject>
#include <QString>

namespace om {
namespace platform {

class AdarpDomainPrivate;

/**
 * Follows the enterprise data lock of the device and asks the perimeter
 * manager to lock the data now or to put a pending lock off.
 *
 * The constructor opens the perimeter manager's state object and reads it
 * once, blocking until the object has content; no signal comes from that
 * first reading. Later changes arrive through the event loop of the thread
 * that owns the object. If the state or the control object cannot be opened,
 * the constructor logs a warning and goes on: the state then stays
 * NotLocked, or the requests return -1.
 */
class OMPLATFORM_EXPORT AdarpDomain : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AdarpDomain)
    Q_DECLARE_PRIVATE(AdarpDomain)
    Q_PROPERTY(om::platform::DataLockState::Type dataLockState READ dataLockState NOTIFY
                   dataLockStateChanged FINAL)
    Q_PROPERTY(
        QDateTime nextDataLockTime READ nextDataLockTime NOTIFY nextDataLockTimeChanged FINAL)

public:
    explicit AdarpDomain(QObject *parent = nullptr);
    ~AdarpDomain() override;

    /** The last state read from the perimeter manager. */
    DataLockState::Type dataLockState() const;
    /** When a pending lock falls due; a null date-time unless LockPending
     *  with a readable time. */
    QDateTime nextDataLockTime() const;

public Q_SLOTS:
    /**
     * Asks for the data to be locked now. Returns 0 if the request was
     * written, -1 if not; the service's verdict comes later through
     * responseReceived() with the same @p requestId.
     */
    int requestDataLock(const QString &requestId);
    /**
     * Asks for a pending lock to be put off by @p interval seconds. Returns
     * as requestDataLock() does; a granted extension shows as a new
     * nextDataLockTime().
     */
    int extendDataLockTime(const QString &requestId, uint interval);

Q_SIGNALS:
    /** The state changed; when this comes, dataLockState() is @p newState. */
    void dataLockStateChanged(om::platform::DataLockState::Type oldState,
                              om::platform::DataLockState::Type newState);
    /** The time changed; comes after dataLockStateChanged() when both did. */
    void nextDataLockTimeChanged(const QDateTime &newDataLockTime);
    /** The service answered the request @p requestId: 0 success, -1 failure. */
    void responseReceived(const QString &requestId, int requestStatus);

private:
    AdarpDomainPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
