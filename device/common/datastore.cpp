#include "common/datastore.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QSaveFile>

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
    QDir().mkpath(QFileInfo(m_fileName).absolutePath());
    QSaveFile file(m_fileName);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    file.write(QJsonDocument(QJsonObject::fromVariantMap(data)).toJson(QJsonDocument::Indented));
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
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
