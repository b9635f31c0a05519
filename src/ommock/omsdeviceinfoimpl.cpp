#include <om/platform/ommock/omsdeviceinfoimpl.h>

namespace ommock {

OmsDeviceInfo::~OmsDeviceInfo() = default;

OmsDeviceInfoImpl::OmsDeviceInfoImpl() = default;
OmsDeviceInfoImpl::~OmsDeviceInfoImpl() = default;

int OmsDeviceInfoImpl::get_details(deviceinfo_details_t **details)
{
    return deviceinfo_get_details(details);
}

void OmsDeviceInfoImpl::free_details(deviceinfo_details_t **details)
{
    deviceinfo_free_details(details);
}

const char *OmsDeviceInfoImpl::details_get_device_os_version(deviceinfo_details_t *details)
{
    return deviceinfo_details_get_device_os_version(details);
}

} // namespace ommock
