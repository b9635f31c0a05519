#include <om/packageinfo.h>

#include <QFileInfo>

namespace om {

PackageInfo::PackageInfo(QObject *parent) : QObject(parent) {}

PackageInfo::~PackageInfo() = default;

QString PackageInfo::name() const
{
    if (qEnvironmentVariableIsSet("OM_PACKAGE_NAME"))
        return qEnvironmentVariable("OM_PACKAGE_NAME");
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).fileName();
}

} // namespace om
