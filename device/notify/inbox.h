#ifndef OMDEVICE_INBOX_H
#define OMDEVICE_INBOX_H

#include "common/datastore.h"
#include "notify/notifyservice.h"

#include <QHash>
#include <QList>

#include <map>
#include <set>

namespace omdevice {

/**
 * The inbox: the items that applications post. An item is named by its
 * application and its "itemId", so two applications may use the same id.
 * The application is the package that the bus reports for the client (the
 * library does not send one). An item holds every attribute of its last
 * "notify"; a second "notify" replaces them and raises its effects again.
 * "cancel" clears an item's effects (it stays, marked seen), "delete"
 * removes it; without "itemId" both apply to every item of the
 * application.
 *
 * Every change is in the device's data store before it is answered. An
 * application keeps at most "inbox-cap" items (1000 unless omdeviced is
 * given --set inbox-cap=N): a new item beyond that drops the
 * application's oldest, and the drops are counted.
 */
class Inbox : public NotifyPart
{
    Q_OBJECT
public:
    static constexpr int DefaultCap = 1000;
    /** The omdeviced --set key for the cap. */
    static constexpr const char *CapSetting = "inbox-cap";

    explicit Inbox(NotifyService *service);

    bool start(QString *error) override;

    /** The items from place @p from on, at most @p count, oldest first:
     *  "application", "itemId", "attributes" (as the application sent
     *  them), "received" and "updated" (ms since the epoch),
     *  "effectsCleared". */
    QList<QVariantMap> items(int from = 0, int count = -1) const;
    int count() const { return int(m_order.size()); }
    /** How many items each application lost to the cap, by package. */
    QVariantMap dropped() const;
    /** The item @p itemId of @p application, as items() gives it; empty
     *  if there is none. */
    QVariantMap item(const QString &application, const QString &itemId) const;

    /**
     * Clears the effects of (or with @p remove, deletes) the item @p itemId
     * of @p application, or every item of the application when @p itemId
     * is empty, once the change is in the store. False if no item matched,
     * or with the reason in @p error if the store cannot keep the change.
     */
    bool clear(const QString &application, const QString &itemId, bool remove,
               QString *error = nullptr);

    /** Waits for a compaction of the store under way. */
    void flush() { m_store.flush(); }

Q_SIGNALS:
    /** An item came, changed or went. */
    void itemsChanged();

private:
    struct Application
    {
        QHash<QString, qint64> sequences; // itemId -> sequence
        std::set<qint64> order;           // its items' sequences, oldest first
        qint64 dropped = 0;
    };

    void notify(const Request &request);
    void clear(const Request &request, bool remove);
    /** Takes in what the store holds; false with a reason if it makes no sense. */
    bool load(const QVariantMap &stored, QString *reason);
    void insert(const QVariantMap &item);
    void erase(Application &application, qint64 sequence);

    DataStore m_store;
    int m_cap = DefaultCap;
    QHash<QString, Application> m_applications;
    std::map<qint64, QVariantMap> m_order; // sequence -> item, oldest first
    qint64 m_sequence = 0;
};

} // namespace omdevice

#endif
