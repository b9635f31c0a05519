#include "common/servicemodule.h"

#include <algorithm>

namespace omdevice {

namespace {
QList<ModuleInfo> &registry()
{
    static QList<ModuleInfo> modules;
    return modules;
}
} // namespace

void ModuleRegistry::add(const ModuleInfo &info)
{
    registry().append(info);
}

QList<ModuleInfo> ModuleRegistry::all()
{
    QList<ModuleInfo> modules = registry();
    std::sort(modules.begin(), modules.end(),
              [](const ModuleInfo &a, const ModuleInfo &b) { return a.name < b.name; });
    return modules;
}

} // namespace omdevice
