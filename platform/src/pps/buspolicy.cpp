#include "buspolicy_p.h"

#include <QList>

#include <cstring>

namespace om {
namespace bus {

bool parseOptions(const QByteArray &text, OpenOptions *options)
{
    const QList<QByteArray> parts = text.split(',');
    for (QByteArray part : parts) {
        part = part.trimmed();
        if (part.isEmpty())
            continue;
        if (part == "wait") {
            options->wait = true;
        } else if (part == "server") {
            options->server = true;
        } else if (part == "create") {
            options->create = true;
        } else if (part == "separate") {
            options->separate = true;
        } else if (part == "persistent") {
            options->persistent = true;
        } else if (part.startsWith("mode=")) {
            bool ok = false;
            const uint mode = part.mid(5).toUInt(&ok, 8);
            if (!ok || mode > 0777)
                return false;
            options->hasMode = true;
            options->mode = mode_t(mode);
        } else {
            return false;
        }
    }
    return true;
}

bool validObjectPath(const QByteArray &path)
{
    if (!path.startsWith("/pps/") || path.size() > 1024)
        return false;
    bool componentStart = true;
    for (int i = 5; i < path.size(); ++i) {
        const char c = path.at(i);
        if (c == '/') {
            if (componentStart)
                return false;
            componentStart = true;
            continue;
        }
        if ((componentStart && c == '.') || c == '?' || c == '\0')
            return false;
        componentStart = false;
    }
    return !componentStart;
}

bool validDirectoryPath(const QByteArray &path)
{
    return path == "/pps" || path == "/pps/" ||
           validObjectPath(path.endsWith('/') ? path.chopped(1) : path);
}

bool parseOpenRequest(const QByteArray &text, OpenRequest *request)
{
    // A server reads one of these for every client: no list of lines.
    const char *p = text.constData();
    const char *const end = p + text.size();
    const auto line = [&p, end]() {
        const char *start = p;
        while (p != end && *p != '\n')
            ++p;
        const QByteArray part = QByteArray(start, int(p - start));
        if (p != end)
            ++p;
        return part;
    };
    if (text.size() < 5 || std::memcmp(p, "OPEN\n", 5) != 0)
        return false;
    p += 5;
    const char *pathStart = p;
    request->path = line();
    if (p == end && (p == pathStart || p[-1] != '\n'))
        return false;
    bool ok = false;
    const char *modeStart = p;
    const int mode = line().toInt(&ok);
    if (!ok || p == modeStart)
        return false;
    request->mode = mode;
    request->options = line();
    request->package = line();
    return true;
}

QByteArray lineSafe(QByteArray text)
{
    for (char &c : text) {
        if (static_cast<unsigned char>(c) < 0x20 || c == '\\')
            c = '?';
    }
    return text;
}

} // namespace bus
} // namespace om
