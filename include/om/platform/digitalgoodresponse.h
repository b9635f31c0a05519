#ifndef OM_PLATFORM_DIGITALGOODRESPONSE_H
#define OM_PLATFORM_DIGITALGOODRESPONSE_H

#include <om/platform/paymentserviceresponse.h>

namespace om {
namespace platform {

class DigitalGoodResponsePrivate;

/** A response about one digital good, named by id and SKU as the request named it. */
class OMPLATFORM_EXPORT DigitalGoodResponse : public PaymentServiceResponse
{
public:
    DigitalGoodResponse(const DigitalGoodResponse &other);
    DigitalGoodResponse &operator=(const DigitalGoodResponse &other);
    ~DigitalGoodResponse() override;

    QString digitalGoodId() const;
    QString digitalGoodSku() const;

protected:
    explicit DigitalGoodResponse(DigitalGoodResponsePrivate &dd);

private:
    OM_DECLARE_SHARED_PRIVATE(DigitalGoodResponse)
};

} // namespace platform
} // namespace om

#endif
