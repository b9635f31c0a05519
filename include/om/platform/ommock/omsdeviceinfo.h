#ifndef OMMOCK_OMSDEVICEINFO_H
#define OMMOCK_OMSDEVICEINFO_H

#include <om/platform/omplatform_export.h>

#include <oms/deviceinfo.h>

namespace ommock {

/** Device information of the platform services library, one operation per
 *  platform function. */
class OMPLATFORM_EXPORT OmsDeviceInfo
{
public:
    virtual ~OmsDeviceInfo();

    virtual int get_details(deviceinfo_details_t **details) = 0;
    virtual void free_details(deviceinfo_details_t **details) = 0;
    virtual const char *details_get_device_os_version(deviceinfo_details_t *details) = 0;
};

} // namespace ommock

#endif
