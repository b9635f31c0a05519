#ifndef OM_SYSTEM_INVOKEMANAGER_H
#define OM_SYSTEM_INVOKEMANAGER_H

#include <om/omsys_export.h>

#include <QObject>

namespace om {
namespace system {

class InvokeManagerPrivate;
class InvokeRequest;
class InvokeTargetReply;

/**
 * Sends requests to the device's invocation service, which hands each to
 * the target that handles its action and MIME type (or to the target it
 * names).
 *
 * A manager may be short-lived: each reply keeps its own connection to the
 * service and outlives the manager that made it.
 */
class OMSYS_EXPORT InvokeManager : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(InvokeManager)
    Q_DECLARE_PRIVATE(InvokeManager)

public:
    /** The default of replyTimeout(): ten seconds. */
    static constexpr int DefaultReplyTimeout = 10000;

    explicit InvokeManager(QObject *parent = nullptr);
    ~InvokeManager() override;

    /**
     * Sends @p request and returns its reply at once, unfinished and
     * without a parent: the caller owns it. The reply's finished() comes
     * through the event loop, also when the request could not even be
     * sent, so a connection made right after this call never misses it.
     * Never returns null.
     */
    InvokeTargetReply *invoke(const InvokeRequest &request);

    /** How long a reply waits for the service before it finishes with
     *  InvokeReply::NoAnswer, in milliseconds. */
    int replyTimeout() const;
    /** Applies to the replies of later invoke() calls; at least 1 ms. */
    void setReplyTimeout(int msecs);

private:
    InvokeManagerPrivate *const d_ptr;
};

} // namespace system
} // namespace om

#endif
