#ifndef OMDEVICE_DATASTORE_H
#define OMDEVICE_DATASTORE_H

#include <QString>
#include <QVariantMap>

class QLoggingCategory;

namespace omdevice {

/**
 * What one module keeps across restarts of the device: a JSON file in the
 * device's data directory, replaced atomically on every save so that a
 * crash never leaves half a file.
 */
class DataStore
{
public:
    DataStore(const QString &dataDirectory, const QString &name);

    QString fileName() const { return m_fileName; }
    /** The saved data, or an empty map if there is none or it is unreadable. */
    QVariantMap load() const;
    bool save(const QVariantMap &data, QString *error = nullptr) const;
    /** Saves @p data; when that fails, warns "cannot save <file>: <why>"
     *  in @p log. For modules that keep their state in memory anyway. */
    bool save(const QVariantMap &data, const QLoggingCategory &log) const;

    /** OM_DEVICE_DATA, else $XDG_DATA_HOME/omdevice, else ~/.local/share/omdevice. */
    static QString defaultDirectory();

private:
    QString m_fileName;
};

} // namespace omdevice

#endif
