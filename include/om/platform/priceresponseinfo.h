#ifndef OM_PLATFORM_PRICERESPONSEINFO_H
#define OM_PLATFORM_PRICERESPONSEINFO_H

#include <om/platform/digitalgoodresponse.h>

namespace om {
namespace platform {

class PriceResponseInfoPrivate;

/** The price of a digital good, in the service's words. */
class OMPLATFORM_EXPORT PriceResponseInfo : public DigitalGoodResponse
{
public:
    PriceResponseInfo();
    PriceResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku);
    /** An error; error() is true whatever the code. */
    PriceResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku, int errorCode,
                      const QString &errorText, const QString &errorInfo);
    PriceResponseInfo(const PriceResponseInfo &other);
    PriceResponseInfo &operator=(const PriceResponseInfo &other);
    ~PriceResponseInfo() override;

    QString price() const;

protected:
    explicit PriceResponseInfo(PriceResponseInfoPrivate &dd);

private:
    OM_DECLARE_SHARED_PRIVATE(PriceResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::PriceResponseInfo)

#endif
