#ifndef OMDEVICE_INBOX_H
#define OMDEVICE_INBOX_H

#include "common/datastore.h"
#include "notify/notifyservice.h"

#include <QList>
#include <QMap>
#include <QThread>
#include <QTimer>

#include <memory>

namespace omdevice {

/**
 * The inbox: the items that applications post. An item is named by its
 * application and its "itemId", so two applications may use the same id.
 * The application is the package that the bus reports for the client (the
 * library does not send one). An item holds every attribute of its last
 * "notify"; a second "notify" replaces them and raises its effects again.
 * "cancel" clears an item's effects (it stays, marked seen), "delete"
 * removes it; without "itemId" both apply to every item of the
 * application. The inbox is kept in the device's data directory.
 */
class Inbox : public NotifyPart
{
    Q_OBJECT
public:
    explicit Inbox(NotifyService *service);
    ~Inbox() override;

    bool start(QString *error) override;

    /** Every item, oldest first: "application", "itemId", "attributes"
     *  (as the application sent them), "received" and "updated" (ms since
     *  the epoch), "effectsCleared". */
    QList<QVariantMap> items() const;
    /** The item @p itemId of @p application, as items() gives it; empty
     *  if there is none. */
    QVariantMap item(const QString &application, const QString &itemId) const;

    /**
     * Clears the effects of (or with @p remove, deletes) the item @p itemId
     * of @p application, or every item of the application when @p itemId
     * is empty. False if no item matched.
     */
    bool clear(const QString &application, const QString &itemId, bool remove);

    /** Writes the inbox now if it changed since the last write; waits
     *  for a write under way first. */
    bool flush(QString *error = nullptr);

Q_SIGNALS:
    /** An item came, changed or went. */
    void itemsChanged();

private:
    void notify(const Request &request);
    void clear(const Request &request, bool remove);
    void changed();
    void load();
    QVariantMap snapshot() const;
    void saveInBackground();
    void saved(bool ok, const QString &error);

    DataStore m_store;
    // application -> itemId -> item
    QMap<QString, QMap<QString, QVariantMap>> m_items;
    qint64 m_sequence = 0;
    bool m_dirty = false;
    QTimer m_saveTimer;
    // The write under way, off the service's thread: a slow disk must not
    // hold up the answers.
    QThread *m_saver = nullptr;
    std::shared_ptr<bool> m_saverOk;
};

} // namespace omdevice

#endif
