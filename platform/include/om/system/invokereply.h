#ifndef OM_SYSTEM_INVOKEREPLY_H
#define OM_SYSTEM_INVOKEREPLY_H

#include <om/omsys_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace system {

class InvokeReplyPrivate;

/**
 * The answer to one request of the invocation framework. It starts
 * unfinished; finished() is emitted once, from the event loop, when the
 * invocation service has answered or the request has failed on the way.
 * Until then isFinished() is false and error() is NoError.
 */
class OMSYS_EXPORT InvokeReply : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(InvokeReply)
    Q_DECLARE_PRIVATE(InvokeReply)

public:
    /** The outcome of a request; NoError when a target took it. */
    enum Error {
        NoError = 0,            ///< A target took the request.
        NoTarget = 1,           ///< No target handles the request's action and type.
        BadRequest = 2,         ///< The request cannot be sent or the service refused it.
        TargetFailed = 3,       ///< The chosen target could not take the request.
        ServiceUnavailable = 4, ///< The invocation service could not be reached.
        NoAnswer = 5,           ///< The service did not answer in time, or went away.
        BadAnswer = 6,          ///< The service's answer could not be read.
    };
    Q_ENUM(Error)

    ~InvokeReply() override;

    bool isFinished() const;
    /** An Error value; 0 when the request reached a target. */
    int error() const;
    /** What went wrong, in words; empty when nothing did. */
    QString errorString() const;

Q_SIGNALS:
    void finished();

protected:
    explicit InvokeReply(InvokeReplyPrivate *d, QObject *parent = nullptr);

    InvokeReplyPrivate *const d_ptr;
};

} // namespace system
} // namespace om

#endif
