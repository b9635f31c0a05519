#include <om/packageinfo.h>

#include "pps/busprotocol_p.h"

namespace om {

PackageInfo::PackageInfo(QObject *parent) : QObject(parent) {}

PackageInfo::~PackageInfo() = default;

QString PackageInfo::name() const
{
    return bus::packageName();
}

} // namespace om
