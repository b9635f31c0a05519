#ifndef OM_PLATFORM_SUBSCRIPTIONSTATUSREPLY_H
#define OM_PLATFORM_SUBSCRIPTIONSTATUSREPLY_H

#include <om/platform/digitalgoodreply.h>

namespace om {
namespace platform {

class SubscriptionStatusReplyPrivate;

/** The reply to a request for the status of a subscription. */
class OMPLATFORM_EXPORT SubscriptionStatusReply : public DigitalGoodReply
{
    Q_OBJECT
    Q_PROPERTY(bool active READ isActive CONSTANT)

public:
    explicit SubscriptionStatusReply(QObject *parent = nullptr);
    ~SubscriptionStatusReply() override;

    bool isActive() const;

private:
    Q_DECLARE_PRIVATE(SubscriptionStatusReply)
};

} // namespace platform
} // namespace om

#endif
