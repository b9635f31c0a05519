#ifndef OM_SYSTEM_INVOKEREPLY_P_H
#define OM_SYSTEM_INVOKEREPLY_P_H

#include <om/system/invokereply.h>
#include <om/system/invokerequest.h>

#include <QString>

class QTimer;

namespace om {
class PpsObject;

namespace system {

class InvokeReplyPrivate
{
public:
    explicit InvokeReplyPrivate(InvokeReply *q) : q_ptr(q) {}
    virtual ~InvokeReplyPrivate() = default;

    /** Records the outcome and emits finished(), once. */
    void finish(int error, const QString &errorString);
    /** The same from the next turn of the event loop. */
    void finishLater(int error, const QString &errorString);

    InvokeReply *const q_ptr;
    bool finished = false;
    int error = InvokeReply::NoError;
    QString errorString;
};

/**
 * One exchange with the invocation service, on a connection of the reply's
 * own: open, write the request, read until the answer with the request's id
 * comes, then close.
 */
class InvokeTargetReplyPrivate : public InvokeReplyPrivate
{
public:
    explicit InvokeTargetReplyPrivate(InvokeReply *q) : InvokeReplyPrivate(q) {}

    void start(const InvokeRequest &request, const QString &sender, int timeoutMs);
    void onReadyRead();
    /** Takes the answer if @p attributes is the one for this request. */
    bool takeAnswer(const QVariantMap &attributes);
    void end(int error, const QString &errorString);

    QString id;
    QString target;
    PpsObject *pps = nullptr;
    QTimer *timer = nullptr;
};

} // namespace system
} // namespace om

#endif
