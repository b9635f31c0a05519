#include <om/uitoolkitsupport.h>

#include <QDir>
#include <QFileInfo>

namespace om {

namespace {
QString executableDirectory()
{
    return QFileInfo(QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget()).absolutePath();
}
} // namespace

QString UIToolkitSupport::absolutePathFromUrl(const QUrl &url)
{
    if (url.isEmpty() || !url.isValid())
        return QString();
    const QString scheme = url.scheme();
    QString path;
    if (scheme.isEmpty()) {
        path = url.path();
    } else if (scheme == QLatin1String("file")) {
        if (!url.host().isEmpty() && url.host() != QLatin1String("localhost"))
            return QString();
        path = url.toLocalFile();
        // "file:relative" has a path but no leading slash.
        if (path.isEmpty())
            path = url.path();
    } else if (scheme == QLatin1String("asset")) {
        QString rest = url.host().isEmpty() ? url.path() : url.host() + url.path();
        while (rest.startsWith(QLatin1Char('/')))
            rest.remove(0, 1);
        if (rest.isEmpty())
            return QString();
        return QDir::cleanPath(executableDirectory() + QLatin1String("/assets/") + rest);
    } else {
        return QString();
    }
    if (path.isEmpty())
        return QString();
    // Only a relative path needs the working directory (a system call).
    return QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().absoluteFilePath(path));
}

} // namespace om
