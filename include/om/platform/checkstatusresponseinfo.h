#ifndef OM_PLATFORM_CHECKSTATUSRESPONSEINFO_H
#define OM_PLATFORM_CHECKSTATUSRESPONSEINFO_H

#include <om/platform/digitalgoodresponse.h>

namespace om {
namespace platform {

class CheckStatusResponseInfoPrivate;

/** Whether a subscription is active. */
class OMPLATFORM_EXPORT CheckStatusResponseInfo : public DigitalGoodResponse
{
public:
    CheckStatusResponseInfo();
    CheckStatusResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku);
    /** An error; error() is true whatever the code. */
    CheckStatusResponseInfo(const QString &digitalGoodId, const QString &digitalGoodSku,
                            int errorCode, const QString &errorText, const QString &errorInfo);
    CheckStatusResponseInfo(const CheckStatusResponseInfo &other);
    CheckStatusResponseInfo &operator=(const CheckStatusResponseInfo &other);
    ~CheckStatusResponseInfo() override;

    bool active() const;

private:
    OM_DECLARE_SHARED_PRIVATE(CheckStatusResponseInfo)
};

} // namespace platform
} // namespace om

Q_DECLARE_METATYPE(om::platform::CheckStatusResponseInfo)

#endif
