#include "notify/inbox.h"

#include "notify/notifyprotocol_p.h"

#include <QDateTime>
#include <QElapsedTimer>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace omdevice {

namespace {
namespace protocol = om::notifyprotocol;
const QString KeyApplication = protocol::keyApplication();
const QString KeyItemId = protocol::keyItemId();
const QString KeyAttributes = protocol::keyAttributes();
const QString KeyReceived = protocol::keyReceived();
const QString KeyUpdated = protocol::keyUpdated();
const QString KeyEffectsCleared = protocol::keyEffectsCleared();
// Kept in the saved inbox only: the order in which items came.
const QString KeySequence = QStringLiteral("sequence");

// Changes reach the disk this long after the first of them at the latest
// (longer for an inbox that takes long to write), and at once when the
// device stops. Writing the whole inbox for every message would make
// posting as slow as the disk.
constexpr int SaveDelayMs = 200;
} // namespace

Inbox::Inbox(NotifyService *service)
    : NotifyPart(service), m_store(service->context().dataDirectory, QStringLiteral("inbox"))
{
    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(SaveDelayMs);
    connect(&m_saveTimer, &QTimer::timeout, this, &Inbox::saveInBackground);
    // A dialog's "cancel" carries its id and is the dialogs' to take; an
    // item's never does.
    service->router()->add({
        {protocol::notifyMessage(), Shape::Map, [this](const Request &r) { notify(r); }},
        {protocol::cancelMessage(), Shape::Any, [this](const Request &r) { clear(r, false); }},
        {protocol::deleteMessage(), Shape::Any, [this](const Request &r) { clear(r, true); }},
    });
}

Inbox::~Inbox()
{
    QString error;
    if (!flush(&error))
        qCWarning(lcNotify).noquote() << "cannot save the inbox:" << error;
}

bool Inbox::start(QString *error)
{
    Q_UNUSED(error)
    load();
    return true;
}

void Inbox::notify(const Request &request)
{
    const QVariantMap attributes = request.map();
    const QString itemId = attributes.value(KeyItemId).toString();
    if (itemId.isEmpty()) {
        service()->router()->fail(request, 0, QStringLiteral("notify without itemId"));
        return;
    }
    // The application is the package the bus reports for the client.
    const QString application = request.package();
    const qint64 now = QDateTime::currentMSecsSinceEpoch();
    QVariantMap &item = m_items[application][itemId];
    const bool isNew = item.isEmpty();
    if (isNew) {
        item.insert(KeyApplication, application);
        item.insert(KeyItemId, itemId);
        item.insert(KeyReceived, now);
        item.insert(KeySequence, ++m_sequence);
    }
    item.insert(KeyAttributes, attributes);
    item.insert(KeyUpdated, now);
    item.insert(KeyEffectsCleared, false);
    changed();
    service()->router()->answer(request, QVariantMap{{KeyItemId, itemId}});
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
    clear(request.package(), itemId, remove);
}

bool Inbox::clear(const QString &application, const QString &itemId, bool remove)
{
    auto app = m_items.find(application);
    if (app == m_items.end())
        return false;
    bool any = false;
    for (auto it = app->begin(); it != app->end();) {
        if (!itemId.isEmpty() && it.key() != itemId) {
            ++it;
            continue;
        }
        any = true;
        if (remove) {
            it = app->erase(it);
        } else {
            it->insert(KeyEffectsCleared, true);
            ++it;
        }
    }
    if (app->isEmpty())
        m_items.erase(app);
    if (!any)
        return false;
    changed();
    service()->publish(remove ? protocol::eventRemoved() : protocol::eventCleared(),
                       {{KeyApplication, application}, {KeyItemId, itemId}});
    return true;
}

QVariantMap Inbox::item(const QString &application, const QString &itemId) const
{
    return m_items.value(application).value(itemId);
}

QList<QVariantMap> Inbox::items() const
{
    // Sorted by sequence numbers taken out once: looking them up in the maps
    // at every comparison made this the bulk of a save of a large inbox.
    std::vector<std::pair<qint64, const QVariantMap *>> order;
    for (const auto &app : m_items) {
        for (const QVariantMap &item : app)
            order.emplace_back(item.value(KeySequence).toLongLong(), &item);
    }
    std::sort(order.begin(), order.end(),
              [](const auto &a, const auto &b) { return a.first < b.first; });
    QList<QVariantMap> all;
    all.reserve(int(order.size()));
    for (const auto &entry : order)
        all.append(*entry.second);
    return all;
}

void Inbox::changed()
{
    m_dirty = true;
    if (!m_saveTimer.isActive())
        m_saveTimer.start();
    Q_EMIT itemsChanged();
}

QVariantMap Inbox::snapshot() const
{
    QVariantList list;
    const QList<QVariantMap> all = items();
    for (const QVariantMap &item : all)
        list.append(item);
    return {{QStringLiteral("items"), list}};
}

void Inbox::saveInBackground()
{
    if (m_saver || !m_dirty)
        return; // saved() looks again when the write under way ends
    const QVariantMap data = snapshot();
    m_dirty = false;
    const DataStore store = m_store;
    auto ok = m_saverOk = std::make_shared<bool>(false);
    auto error = std::make_shared<QString>();
    auto tookMs = std::make_shared<qint64>(0);
    m_saver = QThread::create([store, data, ok, error, tookMs]() {
        QElapsedTimer clock;
        clock.start();
        *ok = store.save(data, error.get());
        *tookMs = clock.elapsed();
    });
    connect(m_saver, &QThread::finished, this, [this, ok, error, tookMs]() {
        m_saver->deleteLater();
        m_saver = nullptr;
        // A large inbox takes long to write. Waiting ten times as long as
        // the last write before the next keeps the writing to a tenth of a
        // core, so that it never crowds out the answers to applications.
        m_saveTimer.setInterval(int(std::max<qint64>(SaveDelayMs, 10 * *tookMs)));
        saved(*ok, *error);
    });
    m_saver->start();
}

void Inbox::saved(bool ok, const QString &error)
{
    if (!ok) {
        qCWarning(lcNotify).noquote() << "cannot save the inbox:" << error;
        m_dirty = true; // the changes are still here: try again later
    }
    if (m_dirty && !m_saveTimer.isActive())
        m_saveTimer.start();
}

bool Inbox::flush(QString *error)
{
    m_saveTimer.stop();
    if (m_saver) {
        m_saver->wait();
        // Its finished() is not delivered any more: the object goes away.
        m_saver->disconnect(this);
        delete m_saver;
        m_saver = nullptr;
        if (!*m_saverOk)
            m_dirty = true;
    }
    if (!m_dirty)
        return true;
    if (!m_store.save(snapshot(), error))
        return false;
    m_dirty = false;
    return true;
}

void Inbox::load()
{
    const QVariantList list = m_store.load().value(QStringLiteral("items")).toList();
    for (const QVariant &value : list) {
        QVariantMap item = value.toMap();
        const QString itemId = item.value(KeyItemId).toString();
        if (itemId.isEmpty())
            continue;
        const QString application = item.value(KeyApplication).toString();
        // Written back as numbers of the right kind whatever JSON made of them.
        item.insert(KeyReceived, item.value(KeyReceived).toLongLong());
        item.insert(KeyUpdated, item.value(KeyUpdated).toLongLong());
        item.insert(KeyEffectsCleared, item.value(KeyEffectsCleared).toBool());
        const qint64 sequence = item.value(KeySequence).toLongLong();
        item.insert(KeySequence, sequence);
        m_sequence = std::max(m_sequence, sequence);
        m_items[application].insert(itemId, item);
    }
}

} // namespace omdevice
