#ifndef OM_PLATFORM_PRICEREPLY_H
#define OM_PLATFORM_PRICEREPLY_H

#include <om/platform/digitalgoodreply.h>

namespace om {
namespace platform {

class PriceReplyPrivate;

/** The reply to a request for the price of a digital good. */
class OMPLATFORM_EXPORT PriceReply : public DigitalGoodReply
{
    Q_OBJECT
    Q_PROPERTY(QString price READ price CONSTANT)

public:
    explicit PriceReply(QObject *parent = nullptr);
    ~PriceReply() override;

    /** The price, in the service's words. */
    QString price() const;

protected:
    PriceReply(PriceReplyPrivate &dd, QObject *parent);

private:
    Q_DECLARE_PRIVATE(PriceReply)
};

} // namespace platform
} // namespace om

#endif
