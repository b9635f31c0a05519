// Device information: one reading of the device properties object.

#include "devicepropertiesprotocol_p.h"

#include <oms/deviceinfo.h>

#include <om/ppsobject.h>

#include <cerrno>
#include <new>

struct deviceinfo_details_t
{
    QByteArray osVersion;
    QByteArray os;
    QByteArray deviceName;
    QByteArray modelName;
    QByteArray modelNumber;
    QByteArray hardwareId;
    QByteArray serialNumber;
};

namespace {

namespace protocol = om::devicepropertiesprotocol;

const char *text(deviceinfo_details_t *details, QByteArray deviceinfo_details_t::*field)
{
    if (!details) {
        errno = EINVAL;
        return nullptr;
    }
    return (details->*field).constData();
}

} // namespace

extern "C" {

int deviceinfo_get_details(deviceinfo_details_t **details)
{
    if (!details) {
        errno = EINVAL;
        return -1;
    }
    *details = nullptr;
    // The object's content comes with the answer to the open, so the read
    // below never waits.
    om::PpsObject pps(protocol::path());
    if (!pps.open(om::PpsOpenMode::Subscribe)) {
        errno = pps.error();
        return -1;
    }
    bool ok = false;
    const QByteArray data = pps.read(&ok);
    if (!ok) {
        errno = pps.error() == EAGAIN ? ENODATA : pps.error();
        return -1;
    }
    QVariantMap attributes = om::PpsObject::decode(data, &ok);
    if (!ok) {
        errno = EBADMSG;
        return -1;
    }
    if (!attributes.isEmpty() && attributes.firstKey().startsWith(QLatin1Char('@')))
        attributes = attributes.first().toMap();

    auto *result = new (std::nothrow) deviceinfo_details_t;
    if (!result) {
        errno = ENOMEM;
        return -1;
    }
    const auto take = [&attributes](const QString &name) {
        return attributes.value(name).toString().toUtf8();
    };
    result->osVersion = take(protocol::keyOsVersion());
    result->os = take(protocol::keyOs());
    result->deviceName = take(protocol::keyDeviceName());
    result->modelName = take(protocol::keyModelName());
    result->modelNumber = take(protocol::keyModelNumber());
    result->hardwareId = take(protocol::keyHardwareId());
    result->serialNumber = take(protocol::keySerialNumber());
    *details = result;
    return 0;
}

void deviceinfo_free_details(deviceinfo_details_t **details)
{
    if (!details)
        return;
    delete *details;
    *details = nullptr;
}

const char *deviceinfo_details_get_device_os_version(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::osVersion);
}

const char *deviceinfo_details_get_device_os(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::os);
}

const char *deviceinfo_details_get_device_name(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::deviceName);
}

const char *deviceinfo_details_get_model_name(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::modelName);
}

const char *deviceinfo_details_get_model_number(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::modelNumber);
}

const char *deviceinfo_details_get_hardware_id(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::hardwareId);
}

const char *deviceinfo_details_get_serial_number(deviceinfo_details_t *details)
{
    return text(details, &deviceinfo_details_t::serialNumber);
}

} // extern "C"
