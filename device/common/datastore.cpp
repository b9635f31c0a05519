#include "common/datastore.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace omdevice {

DataStore::DataStore(const QString &dataDirectory, const QString &name)
    : m_fileName(QDir(dataDirectory).filePath(name + QLatin1String(".json")))
{
}

QVariantMap DataStore::load() const
{
    QFile file(m_fileName);
    if (!file.open(QIODevice::ReadOnly))
        return QVariantMap();
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll());
    return doc.object().toVariantMap();
}

bool DataStore::save(const QVariantMap &data, QString *error) const
{
    // Written beside the file and renamed over it: whatever moment a crash
    // of the device comes at, the file holds the old content or the new,
    // whole. Once write() has returned, the kernel has the new content, and
    // a device killed right after its answer loses nothing; it is not
    // synced to the disk, which only a power cut would need, at the price of
    // a disk flush before every answer.
    QDir().mkpath(QFileInfo(m_fileName).absolutePath());
    const QString written =
        m_fileName + QStringLiteral(".new-%1").arg(quintptr(QThread::currentThreadId()), 0, 16);
    QFile file(written);
    const QByteArray text = QJsonDocument(QJsonObject::fromVariantMap(data)).toJson(QJsonDocument::Indented);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(text) != text.size()
        || !file.flush()) {
        if (error)
            *error = file.errorString();
        file.close();
        QFile::remove(written);
        return false;
    }
    file.close();
    if (::rename(QFile::encodeName(written).constData(), QFile::encodeName(m_fileName).constData()) != 0) {
        if (error)
            *error = QString::fromLocal8Bit(std::strerror(errno));
        QFile::remove(written);
        return false;
    }
    return true;
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
