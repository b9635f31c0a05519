#ifndef OMDEVICE_DATASTORE_H
#define OMDEVICE_DATASTORE_H

#include <QString>
#include <QVariantMap>

#include <memory>

class QLoggingCategory;

namespace omdevice {

/**
 * What one module keeps across restarts of the device: JSON in the device's
 * data directory, in two copies that are written in turn, so that a crash
 * never leaves the module with half its state: load() takes the newest
 * whole copy. Copies of a DataStore share what they know of the files.
 */
class DataStore
{
public:
    DataStore(const QString &dataDirectory, const QString &name);

    QString fileName() const { return m_fileName; }
    /** The saved data, or an empty map if there is none or it is unreadable. */
    QVariantMap load() const;
    /** Saves @p data; once it returns, a crash of the device loses nothing
     *  of it (a power cut may). */
    bool save(const QVariantMap &data, QString *error = nullptr) const;
    /** Saves @p data; when that fails, warns "cannot save <file>: <why>"
     *  in @p log. For modules that keep their state in memory anyway. */
    bool save(const QVariantMap &data, const QLoggingCategory &log) const;

    /** OM_DEVICE_DATA, else $XDG_DATA_HOME/omdevice, else ~/.local/share/omdevice. */
    static QString defaultDirectory();

private:
    struct Files;
    QString m_fileName;
    std::shared_ptr<Files> m_files;
};

} // namespace omdevice

#endif
