#include "broker/policy.h"

#include "pps/busprotocol_p.h"

#include <QList>

#include <algorithm>
#include <set>

namespace omdevice {
namespace broker {

bool permitted(mode_t mode, uid_t owner, gid_t group, uid_t uid, gid_t gid, bool read, bool write)
{
    if (uid == 0)
        return true;
    int bits;
    if (uid == owner)
        bits = (mode >> 6) & 7;
    else if (gid == group)
        bits = (mode >> 3) & 7;
    else
        bits = mode & 7;
    return (!read || (bits & 4)) && (!write || (bits & 2));
}

bool merge(Attributes *attributes, const QByteArray &objectName, const QByteArray &write)
{
    Attributes merged = *attributes;
    const QList<QByteArray> lines = write.split('\n');
    for (const QByteArray &line : lines) {
        if (line.isEmpty() || line.startsWith('@'))
            continue;
        if (line.startsWith('-')) {
            merged.erase(line.mid(1));
            continue;
        }
        const int c1 = line.indexOf(':');
        if (c1 <= 0 || line.indexOf(':', c1 + 1) < 0)
            continue;
        merged[line.left(c1)] = line;
    }
    size_t size = size_t(objectName.size()) + 2;
    for (const auto &entry : merged)
        size += size_t(entry.second.size()) + 1;
    if (size > size_t(om::bus::MaxMessage))
        return false;
    attributes->swap(merged);
    return true;
}

QByteArray wholeObject(const QByteArray &objectName, const Attributes &attributes)
{
    QByteArray text = "@" + objectName + '\n';
    for (const auto &entry : attributes) {
        text += entry.second;
        text += '\n';
    }
    return text;
}

int listDirectory(const std::vector<QString> &objects, QString directory, QByteArray *names)
{
    if (directory.endsWith(QLatin1Char('/')))
        directory.chop(1);
    if (std::find(objects.begin(), objects.end(), directory) != objects.end())
        return ENOTDIR;
    const QString prefix = directory + QLatin1Char('/');
    std::set<QString> found;
    for (const QString &path : objects) {
        if (!path.startsWith(prefix))
            continue;
        const QString rest = path.mid(prefix.size());
        const int slash = rest.indexOf(QLatin1Char('/'));
        found.insert(slash < 0 ? rest : rest.left(slash + 1));
    }
    if (found.empty() && directory != QLatin1String("/pps"))
        return ENOENT;
    names->clear();
    for (const QString &name : found) {
        *names += name.toUtf8();
        *names += '\n';
    }
    return 0;
}

} // namespace broker
} // namespace omdevice
