#ifndef OM_PLATFORM_CANCELSUBSCRIPTIONREPLY_H
#define OM_PLATFORM_CANCELSUBSCRIPTIONREPLY_H

#include <om/platform/paymentreply.h>

namespace om {
namespace platform {

class CancelSubscriptionReplyPrivate;

/** The reply to the cancellation of a subscription. */
class OMPLATFORM_EXPORT CancelSubscriptionReply : public PaymentReply
{
    Q_OBJECT
    Q_PROPERTY(bool canceled READ isCanceled CONSTANT)
    Q_PROPERTY(QString purchaseId READ purchaseId CONSTANT)

public:
    explicit CancelSubscriptionReply(QObject *parent = nullptr);
    ~CancelSubscriptionReply() override;

    bool isCanceled() const;
    /** The purchase whose subscription was to be cancelled, as asked. */
    QString purchaseId() const;

private:
    Q_DECLARE_PRIVATE(CancelSubscriptionReply)
};

} // namespace platform
} // namespace om

#endif
