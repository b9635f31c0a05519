#ifndef OMMOCK_OMSDEVICEINFOIMPL_H
#define OMMOCK_OMSDEVICEINFOIMPL_H

#include <om/platform/ommock/omsdeviceinfo.h>

namespace ommock {

/** The default device information: every operation calls its platform
 *  function. */
class OMPLATFORM_EXPORT OmsDeviceInfoImpl : public OmsDeviceInfo
{
public:
    OmsDeviceInfoImpl();
    ~OmsDeviceInfoImpl() override;

    int get_details(deviceinfo_details_t **details) override;
    void free_details(deviceinfo_details_t **details) override;
    const char *details_get_device_os_version(deviceinfo_details_t *details) override;
};

} // namespace ommock

#endif
