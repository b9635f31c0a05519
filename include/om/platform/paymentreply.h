#ifndef OM_PLATFORM_PAYMENTREPLY_H
#define OM_PLATFORM_PAYMENTREPLY_H

#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {

class PaymentReplyPrivate;

/**
 * The reply to one payment request. It comes back unfinished; when the
 * service has answered it finishes, emits finished() and then the
 * manager's signal for its kind. Read its properties only after that. A
 * reply may stay unfinished for ever, for instance when the payment service
 * goes away; nothing limits the wait.
 *
 * The manager that made a reply is its parent. An application that wants
 * to let go of a reply earlier deletes it.
 */
class OMPLATFORM_EXPORT PaymentReply : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PaymentReply)
    Q_PROPERTY(bool finished READ isFinished CONSTANT)
    Q_PROPERTY(QString errorText READ errorText CONSTANT)
    Q_PROPERTY(int errorCode READ errorCode CONSTANT)
    Q_PROPERTY(QString errorInfo READ errorInfo CONSTANT)

public:
    ~PaymentReply() override;

    bool isFinished() const;
    /** True if the service answered with a failure. */
    bool isError() const;
    /** The service's code, unchanged (see PaymentErrorCode); 0 on success. */
    int errorCode() const;
    QString errorText() const;
    QString errorInfo() const;

Q_SIGNALS:
    void finished();

protected:
    PaymentReply(PaymentReplyPrivate &dd, QObject *parent);
    PaymentReplyPrivate *const d_ptr;

private:
    Q_DECLARE_PRIVATE(PaymentReply)
};

} // namespace platform
} // namespace om

#endif
