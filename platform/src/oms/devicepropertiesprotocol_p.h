#ifndef OM_DEVICEPROPERTIESPROTOCOL_P_H
#define OM_DEVICEPROPERTIESPROTOCOL_P_H

// The device properties object (plain, read by deviceinfo_get_details()
// and published by the device), and the names of its attributes.

#include <QString>

namespace om {
namespace devicepropertiesprotocol {

// One name a line, as a table.
// clang-format off

inline QString path() { return QStringLiteral("/pps/services/deviceproperties"); }

inline QString keyOsVersion() { return QStringLiteral("osVersion"); }
inline QString keyOs() { return QStringLiteral("os"); }
inline QString keyDeviceName() { return QStringLiteral("deviceName"); }
inline QString keyModelName() { return QStringLiteral("modelName"); }
inline QString keyModelNumber() { return QStringLiteral("modelNumber"); }
inline QString keyHardwareId() { return QStringLiteral("hardwareId"); }
inline QString keySerialNumber() { return QStringLiteral("serialNumber"); }

// clang-format on

} // namespace devicepropertiesprotocol
} // namespace om

#endif
