#ifndef OM_PLATFORM_SUBSCRIPTIONTERMSREPLY_H
#define OM_PLATFORM_SUBSCRIPTIONTERMSREPLY_H

#include <om/platform/pricereply.h>

namespace om {
namespace platform {

class SubscriptionTermsReplyPrivate;

/** The reply to a request for the terms of a subscription, in the service's words. */
class OMPLATFORM_EXPORT SubscriptionTermsReply : public PriceReply
{
    Q_OBJECT
    Q_PROPERTY(QString initialPeriod READ initialPeriod CONSTANT)
    Q_PROPERTY(QString renewalPrice READ renewalPrice CONSTANT)
    Q_PROPERTY(QString renewalPeriod READ renewalPeriod CONSTANT)

public:
    explicit SubscriptionTermsReply(QObject *parent = nullptr);
    ~SubscriptionTermsReply() override;

    QString initialPeriod() const;
    QString renewalPrice() const;
    QString renewalPeriod() const;

private:
    Q_DECLARE_PRIVATE(SubscriptionTermsReply)
};

} // namespace platform
} // namespace om

#endif
