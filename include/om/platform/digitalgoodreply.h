#ifndef OM_PLATFORM_DIGITALGOODREPLY_H
#define OM_PLATFORM_DIGITALGOODREPLY_H

#include <om/platform/paymentreply.h>

namespace om {
namespace platform {

class DigitalGoodReplyPrivate;

/** A reply about one digital good, named as the request named it. */
class OMPLATFORM_EXPORT DigitalGoodReply : public PaymentReply
{
    Q_OBJECT
    Q_PROPERTY(QString digitalGoodId READ digitalGoodId CONSTANT)
    Q_PROPERTY(QString digitalGoodSku READ digitalGoodSku CONSTANT)

public:
    ~DigitalGoodReply() override;

    QString digitalGoodId() const;
    QString digitalGoodSku() const;

protected:
    DigitalGoodReply(DigitalGoodReplyPrivate &dd, QObject *parent);

private:
    Q_DECLARE_PRIVATE(DigitalGoodReply)
};

} // namespace platform
} // namespace om

#endif
