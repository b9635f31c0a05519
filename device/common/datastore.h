#ifndef OMDEVICE_DATASTORE_H
#define OMDEVICE_DATASTORE_H

#include <QList>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

class QLoggingCategory;

namespace omdevice {

/**
 * What one module keeps across restarts of the device: a map (the
 * document), changed by records appended to a journal before the change is
 * answered, and compacted into a snapshot in the background.
 *
 * In the data directory (mode 0700, its files 0600): `<name>.state`, the
 * document as records, ended by a line that counts them; and
 * `<name>.<generation>.journal`, the changes since, each a record with its
 * length and a hash, so that a record cut short by a crash is known as such
 * and loading keeps every whole record before it. A change is in the
 * kernel's hands once set(), remove(), save() or commit() has returned: a
 * device killed then, also with SIGKILL, loses nothing of it. Nothing is
 * synced to the disk, which only a power cut would need.
 *
 * A file that cannot be read (cut short, not records, unreadable) is moved
 * aside under a name with the time, reported once in the log, and the
 * module starts from its defaults (origin() is SetAside). A module that
 * finds the content unusable (wrong types, values out of range) does the
 * same with setAside(). Nothing written afterwards touches the files set
 * aside.
 */
class DataStore
{
public:
    /** Where the loaded document came from. */
    enum class Origin { Fresh, Loaded, SetAside };

    /** Changes applied together: one record in the journal. */
    class Changes
    {
    public:
        /** Sets the value at @p path (keys from the top), making the maps
         *  on the way; an empty path replaces the whole document. */
        Changes &set(const QStringList &path, const QVariant &value);
        Changes &remove(const QStringList &path);
        bool isEmpty() const { return m_ops.isEmpty(); }

    private:
        friend class DataStore;
        QVariantList m_ops;
    };

    DataStore(const QString &dataDirectory, const QString &name);
    ~DataStore();
    DataStore(const DataStore &) = delete;
    DataStore &operator=(const DataStore &) = delete;

    /** The path of the snapshot; the journals are beside it. */
    QString fileName() const;
    /** The document; the files are read at the first call. */
    QVariantMap load();
    Origin origin();
    /** Moves the loaded files aside because of @p reason, which is logged
     *  once with their path; the document starts empty. */
    void setAside(const QString &reason);

    /** Appends @p changes to the journal and applies them to the document.
     *  False with the reason if the journal cannot be written (the
     *  document is unchanged then). */
    bool commit(const Changes &changes, QString *error = nullptr);
    bool set(const QStringList &path, const QVariant &value, QString *error = nullptr);
    bool remove(const QStringList &path, QString *error = nullptr);
    /** Makes @p data the document, recording only the top-level entries
     *  that differ. */
    bool save(const QVariantMap &data, QString *error = nullptr);
    /** The same; when it fails, warns "cannot save <file>: <why>" in
     *  @p log. For modules that keep their state in memory anyway. */
    bool save(const QVariantMap &data, const QLoggingCategory &log);

    /** Waits for a compaction under way. */
    void flush();
    /** Writes a snapshot of the document now and waits for it. */
    bool compact();

    /** OM_DEVICE_DATA, else $XDG_DATA_HOME/omdevice, else ~/.local/share/omdevice. */
    static QString defaultDirectory();
    /** Makes @p path a directory of mode 0700, tightening an existing one
     *  of this user. */
    static bool makeDirectory(const QString &path, QString *error = nullptr);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace omdevice

#endif
