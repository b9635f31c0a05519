#include "notify/inbox.h"

#include "notify/notifyprotocol_p.h"

#include <QDateTime>

#include <cmath>

namespace omdevice {

namespace {
namespace protocol = om::notifyprotocol;
const QString KeyApplication = protocol::keyApplication();
const QString KeyItemId = protocol::keyItemId();
const QString KeyAttributes = protocol::keyAttributes();
const QString KeyReceived = protocol::keyReceived();
const QString KeyUpdated = protocol::keyUpdated();
const QString KeyEffectsCleared = protocol::keyEffectsCleared();
// Kept in the store only: the order in which items came.
const QString KeySequence = QStringLiteral("sequence");
// The store: "items" -> application -> itemId -> item; "dropped" ->
// application -> how many items the cap took.
const QString StoreItems = QStringLiteral("items");
const QString StoreDropped = QStringLiteral("dropped");

bool isNumber(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return true;
    case QMetaType::Double:
        return std::isfinite(value.toDouble());
    default:
        return false;
    }
}

// Why @p item, kept as @p itemId of @p application, makes no sense; empty
// if it does.
QString checkItem(const QString &application, const QString &itemId, const QVariant &value)
{
    const QString which = QStringLiteral("item '%1' of '%2'").arg(itemId, application);
    if (value.userType() != QMetaType::QVariantMap)
        return which + QStringLiteral(" is not a map");
    const QVariantMap item = value.toMap();
    if (itemId.isEmpty() || item.value(KeyItemId) != itemId ||
        item.value(KeyApplication) != application)
        return which + QStringLiteral(" names another item");
    if (item.value(KeyAttributes).userType() != QMetaType::QVariantMap)
        return which + QStringLiteral(": attributes are not a map");
    for (const QString &key : {KeyReceived, KeyUpdated, KeySequence}) {
        if (!isNumber(item.value(key)))
            return which + QStringLiteral(": %1 is not a number").arg(key);
    }
    if (item.value(KeyEffectsCleared).userType() != QMetaType::Bool)
        return which + QStringLiteral(": effectsCleared is not true or false");
    if (item.value(KeySequence).toLongLong() <= 0)
        return which + QStringLiteral(": sequence %1 is out of range")
                           .arg(item.value(KeySequence).toString());
    return QString();
}
} // namespace

Inbox::Inbox(NotifyService *service)
    : NotifyPart(service), m_store(service->context().dataDirectory, QStringLiteral("inbox"))
{
    // A dialog's "cancel" carries its id and is the dialogs' to take; an
    // item's never does.
    service->router()->add({
        {protocol::notifyMessage(), Shape::Map, [this](const Request &r) { notify(r); }},
        {protocol::cancelMessage(), Shape::Any, [this](const Request &r) { clear(r, false); }},
        {protocol::deleteMessage(), Shape::Any, [this](const Request &r) { clear(r, true); }},
    });
}

bool Inbox::start(QString *error)
{
    const QString capText = service()->context().setting(QLatin1String(CapSetting));
    if (!capText.isEmpty()) {
        bool ok = false;
        m_cap = capText.toInt(&ok);
        if (!ok || m_cap < 1) {
            *error = QStringLiteral("%1: '%2' is no number of items (1 or more)")
                         .arg(QLatin1String(CapSetting), capText);
            return false;
        }
    }
    QString reason;
    if (!load(m_store.load(), &reason)) {
        m_store.setAside(reason);
        m_applications.clear();
        m_order.clear();
        m_sequence = 0;
    }
    return true;
}

bool Inbox::load(const QVariantMap &stored, QString *reason)
{
    const QVariant items = stored.value(StoreItems);
    DataStore::Changes changes;
    if (items.userType() == QMetaType::QVariantList) {
        // An earlier version kept a list, oldest first.
        QVariantMap byApplication;
        for (const QVariant &entry : items.toList()) {
            QVariantMap item = entry.toMap();
            const QString application = item.value(KeyApplication).toString();
            item.insert(KeyReceived, item.value(KeyReceived).toLongLong());
            item.insert(KeyUpdated, item.value(KeyUpdated).toLongLong());
            item.insert(KeyEffectsCleared, item.value(KeyEffectsCleared).toBool());
            item.insert(KeySequence, item.value(KeySequence).toLongLong());
            QVariantMap ofApplication = byApplication.take(application).toMap();
            ofApplication.insert(item.value(KeyItemId).toString(), item);
            byApplication.insert(application, ofApplication);
        }
        if (!load({{StoreItems, byApplication}}, reason))
            return false;
        QString error;
        if (!m_store.set({StoreItems}, byApplication, &error))
            qCWarning(lcNotify).noquote() << "cannot save the inbox:" << error;
        return true;
    }
    if (items.isValid() && items.userType() != QMetaType::QVariantMap) {
        *reason = QStringLiteral("the items are not a map");
        return false;
    }
    const QVariantMap applications = items.toMap();
    for (auto app = applications.cbegin(); app != applications.cend(); ++app) {
        if (app.value().userType() != QMetaType::QVariantMap) {
            *reason = QStringLiteral("the items of '%1' are not a map").arg(app.key());
            return false;
        }
        const QVariantMap ofApplication = app.value().toMap();
        for (auto it = ofApplication.cbegin(); it != ofApplication.cend(); ++it) {
            *reason = checkItem(app.key(), it.key(), it.value());
            if (!reason->isEmpty())
                return false;
            QVariantMap item = it.value().toMap();
            const qint64 sequence = item.value(KeySequence).toLongLong();
            if (m_order.count(sequence)) {
                *reason = QStringLiteral("two items have sequence %1").arg(sequence);
                return false;
            }
            // Changed only where it must be: an item left as it is shares
            // its content with the store's document instead of copying it.
            if (item.value(KeySequence).userType() == QMetaType::Double)
                item.insert(KeySequence, sequence);
            insert(item);
        }
    }
    const QVariantMap dropped = stored.value(StoreDropped).toMap();
    for (auto it = dropped.cbegin(); it != dropped.cend(); ++it) {
        if (!isNumber(it.value()) || it.value().toLongLong() < 0) {
            *reason =
                QStringLiteral("the count of items dropped of '%1' is out of range").arg(it.key());
            return false;
        }
        m_applications[it.key()].dropped = it.value().toLongLong();
    }
    // A cap made smaller since takes effect at once.
    for (auto app = m_applications.begin(); app != m_applications.end(); ++app) {
        if (int(app->order.size()) <= m_cap)
            continue;
        while (int(app->order.size()) > m_cap) {
            const qint64 oldest = *app->order.begin();
            changes.remove({StoreItems, app.key(), m_order.at(oldest).value(KeyItemId).toString()});
            erase(*app, oldest);
            ++app->dropped;
        }
        changes.set({StoreDropped, app.key()}, app->dropped);
    }
    QString error;
    if (!m_store.commit(changes, &error))
        qCWarning(lcNotify).noquote() << "cannot save the inbox:" << error;
    return true;
}

void Inbox::insert(const QVariantMap &item)
{
    const qint64 sequence = item.value(KeySequence).toLongLong();
    Application &app = m_applications[item.value(KeyApplication).toString()];
    app.sequences.insert(item.value(KeyItemId).toString(), sequence);
    app.order.insert(sequence);
    m_order[sequence] = item;
    m_sequence = std::max(m_sequence, sequence);
}

void Inbox::erase(Application &application, qint64 sequence)
{
    auto it = m_order.find(sequence);
    if (it == m_order.end())
        return;
    application.sequences.remove(it->second.value(KeyItemId).toString());
    application.order.erase(sequence);
    m_order.erase(it);
}

void Inbox::notify(const Request &request)
{
    const QVariantMap attributes = request.map();
    const QString itemId = attributes.value(KeyItemId).toString();
    if (itemId.isEmpty()) {
        service()->router()->fail(request, 0, QStringLiteral("notify without itemId"));
        return;
    }
    // The application is the client's user and package, as the bus
    // reports them: another user's client never reaches these items.
    const QString application = request.application();
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    Application &app = m_applications[application];
    const auto known = app.sequences.constFind(itemId);
    const bool isNew = known == app.sequences.cend();
    QVariantMap item;
    if (known != app.sequences.cend()) {
        item = m_order.at(*known);
    } else {
        item.insert(KeyApplication, application);
        item.insert(KeyItemId, itemId);
        item.insert(KeyReceived, now);
        item.insert(KeySequence, m_sequence + 1);
    }
    item.insert(KeyAttributes, attributes);
    item.insert(KeyUpdated, now);
    item.insert(KeyEffectsCleared, false);

    // The item is in the store before the application hears "ok"; so is
    // what the cap drops for it.
    DataStore::Changes changes;
    changes.set({StoreItems, application, itemId}, item);
    int dropping = 0;
    if (known == app.sequences.cend()) {
        dropping = std::max(0, int(app.order.size()) + 1 - m_cap);
        auto oldest = app.order.cbegin();
        for (int i = 0; i < dropping; ++i, ++oldest)
            changes.remove(
                {StoreItems, application, m_order.at(*oldest).value(KeyItemId).toString()});
        if (dropping > 0)
            changes.set({StoreDropped, application}, app.dropped + dropping);
    }
    QString error;
    if (!m_store.commit(changes, &error)) {
        qCWarning(lcNotify).noquote() << "cannot save the inbox:" << error;
        service()->router()->fail(request, 0,
                                  QStringLiteral("the inbox cannot keep the item: %1").arg(error));
        if (app.order.empty() && app.dropped == 0)
            m_applications.remove(application);
        return;
    }
    for (int i = 0; i < dropping; ++i)
        erase(app, *app.order.begin());
    app.dropped += dropping;
    insert(item);
    service()->router()->answer(request, QVariantMap{{KeyItemId, itemId}});
    Q_EMIT itemsChanged();
    service()->publish(protocol::eventPosted(),
                       {{KeyApplication, application},
                        {KeyItemId, itemId},
                        {KeyAttributes, attributes},
                        {QStringLiteral("new"), isNew}});
}

void Inbox::clear(const Request &request, bool remove)
{
    // No answer: these messages come on a connection that closes at once.
    QString itemId;
    if (request.dat().isValid()) {
        if (request.dat().userType() != QMetaType::QVariantMap)
            return; // malformed: never taken for "every item"
        itemId = request.map().value(KeyItemId).toString();
    }
    clear(request.application(), itemId, remove);
}

bool Inbox::clear(const QString &application, const QString &itemId, bool remove, QString *error)
{
    auto app = m_applications.find(application);
    if (app == m_applications.end())
        return false;
    std::vector<qint64> affected;
    if (itemId.isEmpty()) {
        affected.assign(app->order.cbegin(), app->order.cend());
    } else if (app->sequences.contains(itemId)) {
        affected.push_back(app->sequences.value(itemId));
    }
    if (affected.empty())
        return false;
    DataStore::Changes changes;
    if (remove && itemId.isEmpty()) {
        changes.remove({StoreItems, application});
    } else {
        for (qint64 sequence : affected) {
            const QVariantMap &item = m_order.at(sequence);
            const QString id = item.value(KeyItemId).toString();
            if (remove) {
                changes.remove({StoreItems, application, id});
            } else if (!item.value(KeyEffectsCleared).toBool()) {
                QVariantMap cleared = item;
                cleared.insert(KeyEffectsCleared, true);
                changes.set({StoreItems, application, id}, cleared);
            }
        }
    }
    if (changes.isEmpty())
        return true; // every effect was cleared already
    QString why;
    if (!m_store.commit(changes, &why)) {
        qCWarning(lcNotify).noquote() << "cannot save the inbox:" << why;
        if (error)
            *error = QStringLiteral("the inbox cannot keep the change: %1").arg(why);
        return false;
    }
    for (qint64 sequence : affected) {
        if (remove)
            erase(*app, sequence);
        else
            m_order.at(sequence).insert(KeyEffectsCleared, true);
    }
    if (app->order.empty() && app->dropped == 0)
        m_applications.erase(app);
    Q_EMIT itemsChanged();
    service()->publish(remove ? protocol::eventRemoved() : protocol::eventCleared(),
                       {{KeyApplication, application}, {KeyItemId, itemId}});
    return true;
}

QVariantMap Inbox::item(const QString &application, const QString &itemId) const
{
    const auto app = m_applications.constFind(application);
    if (app == m_applications.cend())
        return QVariantMap();
    const auto sequence = app->sequences.constFind(itemId);
    if (sequence == app->sequences.cend())
        return QVariantMap();
    return m_order.at(*sequence);
}

QList<QVariantMap> Inbox::items(int from, int count) const
{
    QList<QVariantMap> list;
    if (from >= int(m_order.size()) || count == 0)
        return list;
    auto it = m_order.cbegin();
    std::advance(it, std::max(0, from));
    for (; it != m_order.cend() && (count < 0 || list.size() < count); ++it)
        list.append(it->second);
    return list;
}

QVariantMap Inbox::dropped() const
{
    QVariantMap counts;
    for (auto it = m_applications.cbegin(); it != m_applications.cend(); ++it) {
        if (it->dropped > 0)
            counts.insert(it.key(), it->dropped);
    }
    return counts;
}

} // namespace omdevice
