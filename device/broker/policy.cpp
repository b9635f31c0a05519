#include "broker/policy.h"

#include "pps/buspolicy_p.h"
#include "pps/busprotocol_p.h"

#include <QFile>
#include <QList>

#include <algorithm>
#include <pwd.h>
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

QByteArray applicationArea(uid_t uid, const QByteArray &package)
{
    return "/pps/applications/" + QByteArray::number(quint64(uid)) + '/' + package + '/';
}

bool ClaimPolicy::load(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read the bus policy %1: %2").arg(path, file.errorString());
        return false;
    }
    std::vector<Rule> rules;
    int number = 0;
    while (!file.atEnd()) {
        ++number;
        QByteArray line = file.readLine();
        const int hash = line.indexOf('#');
        if (hash >= 0)
            line.truncate(hash);
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() == 1 && words.first().isEmpty())
            continue;
        Rule rule;
        bool known = words.size() == 3;
        if (known && words.at(0) == "serve")
            rule.claim = Serve;
        else if (known && words.at(0) == "create")
            rule.claim = Create;
        else
            known = false;
        if (known) {
            rule.path = words.at(1);
            known = rule.path.endsWith('/') ? om::bus::validDirectoryPath(rule.path)
                                            : om::bus::validObjectPath(rule.path);
        }
        if (known) {
            bool numeric = false;
            rule.uid = uid_t(words.at(2).toUInt(&numeric));
            if (!numeric) {
                const passwd *user = ::getpwnam(words.at(2).constData());
                known = user != nullptr;
                if (user)
                    rule.uid = user->pw_uid;
            }
        }
        if (!known) {
            *error = QStringLiteral("%1:%2: not a rule (serve|create <path> <user>): %3")
                         .arg(path)
                         .arg(number)
                         .arg(QString::fromUtf8(line.trimmed()));
            return false;
        }
        rules.push_back(rule);
    }
    m_rules.swap(rules);
    return true;
}

bool ClaimPolicy::allows(Claim claim, const QByteArray &path, uid_t uid,
                         const QByteArray &package) const
{
    if (isOwner(uid))
        return true;
    // A package that would climb out of, or reach into, another area has
    // none; path validation already refuses "." and ".." components.
    if (claim != Persist && !package.isEmpty() && !package.contains('/') &&
        path.startsWith(applicationArea(uid, package)))
        return true;
    const Claim granting = claim == Persist ? Create : claim;
    for (const Rule &rule : m_rules) {
        if (rule.claim == granting && rule.uid == uid &&
            (rule.path.endsWith('/') ? path.startsWith(rule.path) : path == rule.path))
            return true;
    }
    return false;
}

} // namespace broker
} // namespace omdevice
