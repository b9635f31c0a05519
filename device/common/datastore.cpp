#include "common/datastore.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QLoggingCategory>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace omdevice {

namespace {

// Each copy begins with a line that tells which save made it and how long
// and what its JSON is, so that a copy cut short by a crash is known as such.
constexpr char Magic[] = "omdevice-store";

// Enough to tell a copy cut short from a whole one, eight bytes a step: a
// large module's state is hashed on every save.
quint64 hashOf(const char *p, int length)
{
    quint64 h = 1469598103934665603ull ^ quint64(length);
    int i = 0;
    for (; i + 8 <= length; i += 8) {
        quint64 word;
        std::memcpy(&word, p + i, 8);
        h = (h ^ word) * 1099511628211ull;
        h ^= h >> 29;
    }
    for (; i < length; ++i)
        h = (h ^ uchar(p[i])) * 1099511628211ull;
    return h;
}

struct Copy
{
    bool whole = false;
    quint64 generation = 0;
    QByteArray json;
};

Copy readCopy(const QString &path)
{
    Copy copy;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return copy;
    const QByteArray all = file.readAll();
    if (all.startsWith('{')) {
        // Written before copies had a header: the oldest there is.
        copy.whole = true;
        copy.json = all;
        return copy;
    }
    const int nl = all.indexOf('\n');
    const QList<QByteArray> header = all.left(nl).split(' ');
    if (nl < 0 || header.size() != 4 || header.at(0) != Magic)
        return copy;
    bool ok[3] = {false, false, false};
    const quint64 generation = header.at(1).toULongLong(&ok[0]);
    const int length = header.at(2).toInt(&ok[1]);
    const quint64 hash = header.at(3).toULongLong(&ok[2], 16);
    if (!ok[0] || !ok[1] || !ok[2] || length < 0 || all.size() - nl - 1 < length ||
        hashOf(all.constData() + nl + 1, length) != hash)
        return copy;
    copy.whole = true;
    copy.generation = generation;
    copy.json = all.mid(nl + 1, length);
    return copy;
}

bool writeAll(int fd, const QByteArray &text)
{
    qint64 done = 0;
    while (done < text.size()) {
        const ssize_t n = ::pwrite(fd, text.constData() + done, size_t(text.size() - done), done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += n;
    }
    return ::ftruncate(fd, text.size()) == 0;
}

} // namespace

// What is known of the two copies: which holds the newest save.
struct DataStore::Files
{
    std::mutex lock;
    QString paths[2];
    bool known = false;
    int newest = -1; // index into paths, -1: neither
    quint64 generation = 0;
    bool directoryMade = false;

    // The newest whole copy; with the lock held.
    Copy newestCopy()
    {
        const Copy copies[2] = {readCopy(paths[0]), readCopy(paths[1])};
        newest = -1;
        for (int i = 0; i < 2; ++i) {
            if (copies[i].whole && (newest < 0 || copies[i].generation > copies[newest].generation))
                newest = i;
        }
        generation = newest < 0 ? 0 : copies[newest].generation;
        known = true;
        return newest < 0 ? Copy() : copies[newest];
    }
};

DataStore::DataStore(const QString &dataDirectory, const QString &name)
    : m_fileName(QDir(dataDirectory).filePath(name + QLatin1String(".json"))),
      m_files(std::make_shared<Files>())
{
    m_files->paths[0] = m_fileName;
    m_files->paths[1] = QDir(dataDirectory).filePath(name + QLatin1String(".2.json"));
}

QVariantMap DataStore::load() const
{
    std::lock_guard<std::mutex> lock(m_files->lock);
    const Copy copy = m_files->newestCopy();
    return QJsonDocument::fromJson(copy.json).object().toVariantMap();
}

bool DataStore::save(const QVariantMap &data, QString *error) const
{
    // The copy that is not the newest is overwritten in place: a crash
    // while it is written leaves the other, whole, and load() takes that.
    // Once the write has returned, the kernel has the new copy, so a device
    // killed right after its answer loses nothing. It is not synced to the
    // disk, which only a power cut would need, and neither is it written
    // beside and renamed: a rename over an old file makes this file system
    // start writing it out, a flush of its own of 0.15 to 0.3 ms before
    // every answer.
    const QByteArray json =
        QJsonDocument(QJsonObject::fromVariantMap(data)).toJson(QJsonDocument::Indented);
    std::lock_guard<std::mutex> lock(m_files->lock);
    Files &files = *m_files;
    if (!files.directoryMade) {
        QDir().mkpath(QFileInfo(m_fileName).absolutePath());
        files.directoryMade = true;
    }
    if (!files.known)
        files.newestCopy();
    const int target = files.newest == 0 ? 1 : 0;
    const quint64 generation = files.generation + 1;
    QByteArray text = QByteArray(Magic) + ' ' + QByteArray::number(generation) + ' ' +
                      QByteArray::number(json.size()) + ' ' +
                      QByteArray::number(hashOf(json.constData(), json.size()), 16) + '\n';
    text += json;
    const int fd = ::open(QFile::encodeName(files.paths[target]).constData(),
                          O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const bool written = fd >= 0 && writeAll(fd, text);
    const int failure = errno;
    if (fd >= 0)
        ::close(fd);
    if (!written) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(files.paths[target],
                                                  QString::fromLocal8Bit(std::strerror(failure)));
        // The copy may be cut short: which copy is newest is to be read again.
        files.known = false;
        return false;
    }
    files.newest = target;
    files.generation = generation;
    return true;
}

bool DataStore::save(const QVariantMap &data, const QLoggingCategory &log) const
{
    QString error;
    if (save(data, &error))
        return true;
    qCWarning(log).noquote() << QStringLiteral("cannot save %1:").arg(m_fileName) << error;
    return false;
}

QString DataStore::defaultDirectory()
{
    const QByteArray dir = qgetenv("OM_DEVICE_DATA");
    if (!dir.isEmpty())
        return QString::fromLocal8Bit(dir);
    const QByteArray xdg = qgetenv("XDG_DATA_HOME");
    if (!xdg.isEmpty())
        return QString::fromLocal8Bit(xdg) + QLatin1String("/omdevice");
    return QDir::homePath() + QLatin1String("/.local/share/omdevice");
}

} // namespace omdevice
