#include "payments/paymentsystem.h"

#include "common/controlserver.h"
#include "payments/paymentsprotocol_p.h"
#include "payments/storetarget.h"

#include <om/ppsobject.h>

#include <QDateTime>
#include <QLoggingCategory>

#include <algorithm>
#include <cerrno>

namespace omdevice {

OM_DEVICE_LOGGING_CATEGORY(lcPayments, "payments")

namespace protocol = om::paymentsprotocol;

namespace {

const QString KeyMsg = QStringLiteral("msg");
const QString KeyId = QStringLiteral("id");
const QString KeyRes = QStringLiteral("res");
const QString KeyDat = QStringLiteral("dat");

// A listing is one bus message: room is left for the envelope.
constexpr int ListingBudget = om::PpsObject::MaxMessageSize - 2048;

// "paymentSystemType" is of the kind "paymentSystem".
QString kindOf(const QString &msg)
{
    return msg.endsWith(protocol::messageSuffix()) ? msg.chopped(protocol::messageSuffix().size())
                                                   : msg;
}

// The head of every answer: the request's "msg" and "id" as they came.
QVariantMap envelope(const Request &request, const QString &res)
{
    QVariantMap answer{{KeyMsg, request.msg()}, {KeyRes, res}};
    if (request.hasId())
        answer.insert(KeyId, request.id());
    return answer;
}

QString text(const QVariantMap &dat, const QString &key)
{
    return dat.value(key).toString();
}

QString periodWords(int days)
{
    return days == 1 ? QStringLiteral("1 day") : QStringLiteral("%1 days").arg(days);
}

Failure failure(int code, const QString &text, const QString &subCode)
{
    return Failure{code, text, {{protocol::keyErrorSubCode(), subCode}}};
}

// As many entries as fit in one message, the most recent kept.
QVariantList fitted(const QVariantList &entries)
{
    QVariantList kept;
    int size = 0;
    for (int i = entries.size() - 1; i >= 0; --i) {
        const int entrySize = om::PpsObject::encode({{QStringLiteral("x"), entries.at(i)}}).size();
        if (size + entrySize > ListingBudget)
            break;
        size += entrySize;
        kept.prepend(entries.at(i));
    }
    return kept;
}

const QStringList &modes()
{
    static const QStringList all{protocol::modeApprove(), protocol::modeHold(),
                                 protocol::modeDecline(), protocol::modeFail(),
                                 protocol::modeBusy(),    protocol::modeOffline()};
    return all;
}

// The names the user side gives kinds of request, and their messages.
QString messageOfKind(const QString &kind)
{
    static const QMap<QString, QString> kinds{
        {QStringLiteral("purchase"), protocol::purchaseMessage()},
        {QStringLiteral("existing"), protocol::existingPurchasesMessage()},
        {QStringLiteral("price"), protocol::priceMessage()},
        {QStringLiteral("status"), protocol::checkExistingMessage()},
        {QStringLiteral("cancel"), protocol::cancelSubscriptionMessage()}};
    return kinds.value(kind);
}

} // namespace

WireForm PaymentSystem::wireForm()
{
    WireForm form;
    form.answer = [](const Request &request, const QVariant &dat) {
        QVariantMap answer = envelope(request, kindOf(request.msg()) + protocol::successSuffix());
        answer.insert(KeyDat, dat.isValid() ? dat : QVariant(QVariantMap()));
        return answer;
    };
    form.failure = [](const Request &request, const Failure &failure) {
        QVariantMap dat{{protocol::keyErrorId(), failure.code},
                        {protocol::keyErrorText(), failure.text}};
        const QString subCode = failure.extra.value(protocol::keyErrorSubCode()).toString();
        if (!subCode.isEmpty())
            dat.insert(protocol::keyErrorSubCode(), subCode);
        QVariantMap answer = envelope(request, kindOf(request.msg()) + protocol::failureSuffix());
        answer.insert(KeyDat, dat);
        return answer;
    };
    form.malformed = failure(protocol::ErrorFailed, QStringLiteral("the request cannot be decoded"),
                             protocol::subCodeBadRequest());
    form.unknown = [](const Request &request) {
        return failure(protocol::ErrorFailed,
                       QStringLiteral("unknown request \"%1\"").arg(request.msg()),
                       protocol::subCodeBadRequest());
    };
    form.badShape = [](const Request &, Shape) {
        return failure(protocol::ErrorFailed, QStringLiteral("the request has no \"dat\" object"),
                       protocol::subCodeBadRequest());
    };
    return form;
}

PaymentSystem::PaymentSystem(const DeviceContext &context, QObject *parent)
    : ServiceModule(parent),
      m_controlServer(new ControlServer(protocol::controlPath(), 0666, this)),
      m_control(new RequestRouter(m_controlServer, wireForm(), this)),
      m_userServer(new ControlServer(protocol::userSidePath(), 0600, this)),
      m_userSide(new RequestRouter(m_userServer, WireForm::standard(), this)), m_watchers(m_userSide),
      m_catalogue(context.dataDirectory), m_store(context.dataDirectory),
      m_settings(context.dataDirectory, QStringLiteral("payments-settings"))
{
    const QVariantMap settings = m_settings.load();
    m_mode = settings.value(protocol::keyMode(), protocol::modeApprove()).toString();
    if (!modes().contains(m_mode))
        m_mode = protocol::modeApprove();
    m_invoke = settings.value(protocol::keyInvoke()).toBool();
    loadPending(settings);

    using namespace std::placeholders;
    m_control->add({
        {protocol::purchaseMessage(), Shape::Map, std::bind(&PaymentSystem::purchase, this, _1)},
        {protocol::existingPurchasesMessage(), Shape::Map,
         std::bind(&PaymentSystem::existingPurchases, this, _1)},
        {protocol::priceMessage(), Shape::Map, std::bind(&PaymentSystem::price, this, _1)},
        {protocol::checkExistingMessage(), Shape::Map,
         std::bind(&PaymentSystem::checkExisting, this, _1)},
        {protocol::cancelSubscriptionMessage(), Shape::Map,
         std::bind(&PaymentSystem::cancelSubscription, this, _1)},
    });
    connect(m_controlServer, &ControlServer::clientClosed, this, &PaymentSystem::clientClosed);
    addUserSideRoutes();
}

PaymentSystem::~PaymentSystem() = default;

bool PaymentSystem::start(QString *error)
{
    return m_controlServer->open(error) && m_userServer->open(error);
}

namespace {
// In the settings' store: pending number -> the purchase that waits.
const QString PendingKey = QStringLiteral("pending");
} // namespace

bool PaymentSystem::saveSettings(QString *error)
{
    DataStore::Changes changes;
    changes.set({protocol::keyMode()}, m_mode).set({protocol::keyInvoke()}, m_invoke);
    if (!m_settings.commit(changes, error))
        return false;
    changed();
    return true;
}

void PaymentSystem::loadPending(const QVariantMap &saved)
{
    const QVariantMap pending = saved.value(PendingKey).toMap();
    for (auto it = pending.cbegin(); it != pending.cend(); ++it) {
        bool ok = false;
        const int number = it.key().toInt(&ok);
        const Purchase purchase = Purchase::fromVariant(it.value().toMap());
        if (!ok || number <= 0 || purchase.package.isEmpty() || purchase.goodId.isEmpty()) {
            qCWarning(lcPayments).noquote()
                << QStringLiteral("%1: the waiting purchase '%2' makes no sense; dropped")
                       .arg(m_settings.fileName(), it.key());
            m_settings.remove({PendingKey, it.key()});
            continue;
        }
        Pending restored;
        restored.number = number;
        restored.purchase = purchase;
        restored.restored = true;
        // No connection has this id: the purchase answers nobody.
        restored.request =
            Request(-1, QVariantMap(), QVariantMap{{QStringLiteral("package"), purchase.package}});
        m_pending.append(restored);
        m_nextPending = std::max(m_nextPending, number + 1);
    }
}

bool PaymentSystem::keepPending(const Pending &pending, QString *error)
{
    return m_settings.set({PendingKey, QString::number(pending.number)},
                          pending.purchase.toVariant(), error);
}

bool PaymentSystem::forgetPending(const Pending &pending, QString *error)
{
    return m_settings.remove({PendingKey, QString::number(pending.number)}, error);
}

void PaymentSystem::changed() const
{
    m_watchers.changed(protocol::storeChanged());
}

bool PaymentSystem::fail(const Request &request, int code, const QString &text,
                         const QString &subCode)
{
    qCDebug(lcPayments, "%s of %s fails with %d: %s", qPrintable(request.msg()),
            qPrintable(request.application()), code, qPrintable(text));
    return m_control->fail(request, failure(code, text, subCode));
}

bool PaymentSystem::refuseFirst(const Request &request)
{
    for (int i = 0; i < m_injected.size(); ++i) {
        if (m_injected.at(i).msg.isEmpty() || m_injected.at(i).msg == request.msg()) {
            m_control->fail(request, m_injected.takeAt(i).failure);
            return true;
        }
    }
    if (m_mode == protocol::modeOffline())
        return fail(request, protocol::ErrorNoNetwork,
                    QStringLiteral("the store cannot be reached"), protocol::subCodeOffline());
    return false;
}

const Good *PaymentSystem::goodOf(const Request &request)
{
    const QVariantMap dat = request.map();
    const Good *good =
        m_catalogue.find(text(dat, protocol::keyGoodId()), text(dat, protocol::keyGoodSku()));
    if (!good) {
        fail(request, protocol::ErrorFailed,
             QStringLiteral("no digital good with the id \"%1\" or the SKU \"%2\"")
                 .arg(text(dat, protocol::keyGoodId()), text(dat, protocol::keyGoodSku())),
             protocol::subCodeUnknownGood());
    }
    return good;
}

void PaymentSystem::purchase(const Request &request)
{
    if (refuseFirst(request))
        return;
    const Good *good = goodOf(request);
    if (!good)
        return;
    const QVariantMap dat = request.map();
    const bool test = dat.value(protocol::keyLocalMode()).toBool();
    m_store.advance();
    if (good->kind != Good::Consumable && m_store.activeOf(request.application(), test, *good)) {
        fail(request, protocol::ErrorFailed,
             good->isSubscription() ? QStringLiteral("the subscription runs already")
                                    : QStringLiteral("the good is owned already"),
             protocol::subCodeAlreadyOwned());
        return;
    }
    if (!m_pending.isEmpty()) {
        fail(request, protocol::ErrorBusy, QStringLiteral("another purchase waits for the user"),
             protocol::subCodeBusy());
        return;
    }
    if (m_invoke)
        sendInvocation(request, *good);

    Pending pending;
    pending.request = request;
    pending.purchase.package = request.application();
    pending.purchase.test = test;
    pending.purchase.goodId = good->id;
    pending.purchase.metadata = text(dat, protocol::keyMetadata());
    const QVariantMap extras = dat.value(protocol::keyExtras()).toMap();
    for (auto it = extras.cbegin(); it != extras.cend(); ++it)
        pending.purchase.extras.insert(it.key(), it.value().toString());
    pending.purchase.appName = text(dat, protocol::keyAppName());
    pending.purchase.appIcon = text(dat, protocol::keyAppIcon());

    if (m_mode == protocol::modeDecline()) {
        fail(request, protocol::ErrorCanceled, QStringLiteral("the user declined the purchase"),
             protocol::subCodeDeclined());
    } else if (m_mode == protocol::modeFail()) {
        fail(request, protocol::ErrorFailed, QStringLiteral("the purchase failed"),
             protocol::subCodeFailed());
    } else if (m_mode == protocol::modeBusy()) {
        fail(request, protocol::ErrorBusy, QStringLiteral("the store is busy"),
             protocol::subCodeBusy());
    } else if (m_mode == protocol::modeHold()) {
        pending.number = m_nextPending++;
        // Kept before anyone can see it waiting: the user may answer it
        // after the device restarted.
        QString error;
        if (!keepPending(pending, &error)) {
            qCWarning(lcPayments, "cannot keep a purchase: %s", qPrintable(error));
            fail(request, protocol::ErrorFailed,
                 QStringLiteral("the store cannot keep the purchase"), protocol::subCodeFailed());
            return;
        }
        m_pending.append(pending);
        changed();
        qCInfo(lcPayments, "purchase %d of \"%s\" by %s waits for the user", pending.number,
               qPrintable(good->id), qPrintable(request.application()));
    } else {
        complete(pending);
    }
}

void PaymentSystem::sendInvocation(const Request &request, const Good &good)
{
    // The store's screen, which the application is to invoke while the
    // purchase goes on; the real answer follows with the same id.
    QVariantMap answer = envelope(request, protocol::invokeTargetResult());
    answer.insert(
        KeyDat,
        QVariantMap{{QStringLiteral("target"), protocol::storeTargetName()},
                    {QStringLiteral("action"), protocol::storeAction()},
                    {QStringLiteral("mimeType"), protocol::storeMimeType()},
                    {QStringLiteral("uri"), QStringLiteral("store://purchase/") + good.id},
                    {QStringLiteral("metadata"), QVariantMap{{protocol::keyGoodId(), good.id},
                                                             {protocol::keyName(), good.name},
                                                             {protocol::keyPrice(), good.price}}}});
    m_controlServer->reply(request.clientId(), answer);
}

bool PaymentSystem::complete(const Pending &pending, Purchase *done)
{
    const Good *good = m_catalogue.find(pending.purchase.goodId, QString());
    if (!good) {
        if (!pending.restored)
            fail(pending.request, protocol::ErrorFailed,
                 QStringLiteral("the good has left the store"), protocol::subCodeUnknownGood());
        return false;
    }
    Purchase bought;
    QString error;
    if (!m_store.buy(pending.purchase, *good, &bought, &error)) {
        qCWarning(lcPayments, "cannot keep a purchase: %s", qPrintable(error));
        if (!pending.restored)
            fail(pending.request, protocol::ErrorFailed,
                 QStringLiteral("the store cannot keep the purchase"), protocol::subCodeFailed());
        return false;
    }
    if (done)
        *done = bought;
    if (pending.restored)
        return true; // its application asked before the device restarted
    qCInfo(lcPayments, "%s bought \"%s\" in the %s store (purchase %s)", qPrintable(bought.package),
           qPrintable(bought.goodId), bought.test ? "test" : "production",
           qPrintable(bought.purchaseId));
    m_control->answer(pending.request, bought.receipt());
    changed();
    return true;
}

void PaymentSystem::clientClosed(int clientId)
{
    // An application that has gone can no longer be answered: its waiting
    // purchase goes too.
    for (int i = m_pending.size() - 1; i >= 0; --i) {
        if (!m_pending.at(i).restored && m_pending.at(i).request.clientId() == clientId) {
            qCInfo(lcPayments, "purchase %d is dropped: its application has gone",
                   m_pending.at(i).number);
            QString error;
            if (!forgetPending(m_pending.at(i), &error))
                qCWarning(lcPayments, "cannot forget a purchase: %s", qPrintable(error));
            m_pending.removeAt(i);
            changed();
        }
    }
}

void PaymentSystem::existingPurchases(const Request &request)
{
    if (refuseFirst(request))
        return;
    m_store.advance();
    const bool test = request.map().value(protocol::keyLocalMode()).toBool();
    QVariantList receipts;
    for (const Purchase &p : m_store.purchasesOf(request.application(), test)) {
        if (!p.refunded)
            receipts.append(p.receipt());
    }
    m_control->answer(request, fitted(receipts));
}

void PaymentSystem::price(const Request &request)
{
    if (refuseFirst(request))
        return;
    const Good *good = goodOf(request);
    if (!good)
        return;
    QVariantMap dat{{protocol::keyPrice(), good->price}};
    if (good->isSubscription()) {
        dat.insert(protocol::keyInitialPeriod(), periodWords(good->initialPeriodDays));
        dat.insert(protocol::keyRenewalPrice(), good->renewalPrice);
        dat.insert(protocol::keyRenewalPeriod(), periodWords(good->renewalPeriodDays));
    }
    m_control->answer(request, dat);
}

void PaymentSystem::checkExisting(const Request &request)
{
    if (refuseFirst(request))
        return;
    const Good *good = goodOf(request);
    if (!good)
        return;
    m_store.advance();
    const bool test = request.map().value(protocol::keyLocalMode()).toBool();
    const bool exists = m_store.activeOf(request.application(), test, *good) != nullptr;
    m_control->answer(request, QVariantMap{{protocol::keySubscriptionExists(), exists}});
}

void PaymentSystem::cancelSubscription(const Request &request)
{
    if (refuseFirst(request))
        return;
    const QVariantMap dat = request.map();
    const QString purchaseId = text(dat, protocol::keyPurchaseId());
    const bool test = dat.value(protocol::keyLocalMode()).toBool();
    m_store.advance();
    const Purchase *found = m_store.find(purchaseId);
    // Another application's purchase, or one of the other store, is none.
    if (!found || found->package != request.application() || found->test != test) {
        fail(request, protocol::ErrorFailed, QStringLiteral("no purchase \"%1\"").arg(purchaseId),
             protocol::subCodeUnknownPurchase());
        return;
    }
    if (!found->subscription || found->state == Purchase::SubscriptionRefunded) {
        fail(request, protocol::ErrorFailed,
             found->subscription ? QStringLiteral("the subscription was refunded")
                                 : QStringLiteral("the purchase is no subscription"),
             protocol::subCodeNotSubscription());
        return;
    }
    Purchase cancelled;
    QString error;
    if (!m_store.cancel(purchaseId, &cancelled, &error)) {
        qCWarning(lcPayments, "cannot keep a cancellation: %s", qPrintable(error));
        fail(request, protocol::ErrorFailed,
             QStringLiteral("the store cannot keep the cancellation"), protocol::subCodeFailed());
        return;
    }
    m_control->answer(request, QVariantMap{{protocol::keyPurchaseId(), purchaseId},
                                           {protocol::keyCancelled(), QStringLiteral("true")}});
    changed();
}

// ---------------------------------------------------------------- the user side

void PaymentSystem::addUserSideRoutes()
{
    RequestRouter *r = m_userSide;
    r->add(protocol::goodsMessage(), Shape::Any, [this, r](const Request &request) {
        QVariantList goods;
        for (const Good &good : m_catalogue.goods())
            goods.append(good.toVariant());
        r->answer(request, QVariantMap{{protocol::keyGoods(), goods}});
    });
    // The catalogue's edits: the good as it is afterwards, or why not.
    using Edit = std::function<bool(const QVariantMap &dat, Good *good, QString *error)>;
    auto editRoute = [this, r](const QString &msg, const Edit &edit) {
        r->add(msg, Shape::Map, [this, r, edit](const Request &request) {
            Good good;
            QString error;
            if (!edit(request.map(), &good, &error)) {
                r->fail(request, 0, error);
                return;
            }
            r->answer(request, QVariantMap{{protocol::keyGood(), good.toVariant()}});
            changed();
        });
    };
    editRoute(protocol::addGoodMessage(),
              [this](const QVariantMap &dat, Good *good, QString *error) {
                  return Good::fromVariant(dat, good, error) && m_catalogue.add(*good, error);
              });
    editRoute(protocol::changeGoodMessage(),
              [this](const QVariantMap &dat, Good *good, QString *error) {
                  return m_catalogue.change(text(dat, protocol::keyId()), dat, good, error);
              });
    editRoute(protocol::removeGoodMessage(),
              [this](const QVariantMap &dat, Good *good, QString *error) {
                  return m_catalogue.remove(text(dat, protocol::keyId()), good, error);
              });
    r->add(protocol::purchasesMessage(), Shape::OptionalMap, [this, r](const Request &request) {
        const QString package = text(request.map(), protocol::keyPackage());
        const QString store = text(request.map(), protocol::keyStore());
        if (!store.isEmpty() && store != protocol::storeTest() &&
            store != protocol::storeProduction()) {
            r->fail(request, 0, QStringLiteral("the store is \"test\" or \"production\""));
            return;
        }
        m_store.advance();
        const qint64 now = m_store.now();
        QVariantList purchases;
        for (const Purchase &p : m_store.purchases()) {
            if ((!package.isEmpty() && p.package != package) ||
                (!store.isEmpty() && p.test != (store == protocol::storeTest())))
                continue;
            QVariantMap entry = p.toVariant();
            entry.insert(protocol::keyActive(), p.isActive(now));
            purchases.append(entry);
        }
        r->answer(request, QVariantMap{{protocol::keyPurchases(), fitted(purchases)},
                                       {protocol::keyTotal(), purchases.size()}});
    });
    r->add(protocol::modeMessage(), Shape::OptionalMap, [this, r](const Request &request) {
        const QVariantMap dat = request.map();
        const QString oldMode = m_mode;
        const bool oldInvoke = m_invoke;
        if (dat.contains(protocol::keyMode())) {
            const QString mode = text(dat, protocol::keyMode());
            if (!modes().contains(mode)) {
                r->fail(request, 0,
                        QStringLiteral("unknown mode \"%1\" (%2)")
                            .arg(mode, modes().join(QLatin1String(", "))));
                return;
            }
            m_mode = mode;
        }
        if (dat.contains(protocol::keyInvoke()))
            m_invoke = dat.value(protocol::keyInvoke()).toBool();
        QString error;
        if (!saveSettings(&error)) {
            m_mode = oldMode;
            m_invoke = oldInvoke;
            r->fail(request, EIO,
                    QStringLiteral("the store's settings cannot be kept: %1").arg(error));
            return;
        }
        r->answer(request,
                  QVariantMap{{protocol::keyMode(), m_mode}, {protocol::keyInvoke(), m_invoke}});
    });
    r->add(protocol::pendingMessage(), Shape::Any, [this, r](const Request &request) {
        QVariantList pending;
        for (const Pending &p : qAsConst(m_pending)) {
            const Good *good = m_catalogue.find(p.purchase.goodId, QString());
            pending.append(
                QVariantMap{{protocol::keyPending(), p.number},
                            {protocol::keyPackage(), p.purchase.package},
                            {protocol::keyStore(),
                             p.purchase.test ? protocol::storeTest() : protocol::storeProduction()},
                            {protocol::keyId(), p.purchase.goodId},
                            {protocol::keyName(), good ? good->name : QString()},
                            {protocol::keyPrice(), good ? good->price : QString()},
                            {protocol::keyAppName(), p.purchase.appName}});
        }
        r->answer(request, QVariantMap{{protocol::keyPending(), pending}});
    });
    // Approving or declining: the purchase named, else the one waiting.
    auto takePending = [this, r](const Request &request, Pending *taken) {
        const QVariantMap dat = request.map();
        for (int i = 0; i < m_pending.size(); ++i) {
            if (!dat.contains(protocol::keyPending()) ||
                m_pending.at(i).number == dat.value(protocol::keyPending()).toInt()) {
                // Forgotten before it is bought or declined: a device
                // killed in between has not answered the application, and
                // never buys it twice.
                QString error;
                if (!forgetPending(m_pending.at(i), &error)) {
                    r->fail(request, EIO,
                            QStringLiteral("the store cannot keep the change: %1").arg(error));
                    return false;
                }
                *taken = m_pending.takeAt(i);
                return true;
            }
        }
        r->fail(request, 0,
                dat.contains(protocol::keyPending())
                    ? QStringLiteral("no purchase %1 waits for the user")
                          .arg(text(dat, protocol::keyPending()))
                    : QStringLiteral("no purchase waits for the user"));
        return false;
    };
    r->add(protocol::approveMessage(), Shape::OptionalMap,
           [this, r, takePending](const Request &request) {
               Pending pending;
               if (!takePending(request, &pending))
                   return;
               Purchase bought;
               if (!complete(pending, &bought)) {
                   r->fail(request, 0,
                           QStringLiteral("the purchase failed; the application was told so"));
                   return;
               }
               r->answer(request, QVariantMap{{protocol::keyPending(), pending.number},
                                              {protocol::keyPurchase(), bought.toVariant()}});
           });
    r->add(protocol::declineMessage(), Shape::OptionalMap,
           [this, r, takePending](const Request &request) {
               Pending pending;
               if (!takePending(request, &pending))
                   return;
               if (!pending.restored)
                   fail(pending.request, protocol::ErrorCanceled,
                        QStringLiteral("the user declined the purchase"),
                        protocol::subCodeDeclined());
               r->answer(request, QVariantMap{{protocol::keyPending(), pending.number}});
               changed();
           });
    r->add(protocol::failNextMessage(), Shape::Map, [this, r](const Request &request) {
        const QVariantMap dat = request.map();
        bool ok = false;
        const int code = dat.value(protocol::keyCode()).toInt(&ok);
        const QString kind = text(dat, protocol::keyRequest());
        const QString msg = messageOfKind(kind);
        if (!ok || (!kind.isEmpty() && msg.isEmpty())) {
            r->fail(request, 0,
                    ok ? QStringLiteral(
                             "unknown request \"%1\" (purchase, existing, price, status or cancel)")
                             .arg(kind)
                       : QStringLiteral("\"code\" must be a number"));
            return;
        }
        const QString failureText = dat.contains(protocol::keyText())
                                        ? text(dat, protocol::keyText())
                                        : QStringLiteral("failed on demand with %1").arg(code);
        const QString subCode = dat.contains(protocol::keySubCode())
                                    ? text(dat, protocol::keySubCode())
                                    : protocol::subCodeOnDemand();
        m_injected.append({failure(code, failureText, subCode), msg});
        r->answer(request, QVariantMap{{protocol::keyQueued(), m_injected.size()}});
    });
    r->add(protocol::clockMessage(), Shape::OptionalMap, [this, r](const Request &request) {
        const QVariantMap dat = request.map();
        if (dat.contains(protocol::keyDays())) {
            bool ok = false;
            const qint64 days = dat.value(protocol::keyDays()).toLongLong(&ok);
            QString error;
            if (!ok || !m_store.moveClock(days, &error)) {
                r->fail(request, 0, ok ? error : QStringLiteral("\"days\" must be a number"));
                return;
            }
            qCInfo(lcPayments, "the store's clock moved %lld days ahead", days);
            changed();
        }
        r->answer(request, QVariantMap{{protocol::keyNow(), m_store.now()},
                                       {protocol::keyOffsetDays(), m_store.offsetDays()}});
    });
    r->add(protocol::refundMessage(), Shape::Map, [this, r](const Request &request) {
        Purchase refunded;
        QString error;
        if (!m_store.refund(text(request.map(), protocol::keyPurchaseIdPlain()), &refunded,
                            &error)) {
            r->fail(request, 0, error);
            return;
        }
        r->answer(request, QVariantMap{{protocol::keyPurchase(), refunded.toVariant()}});
        changed();
    });
    r->add(protocol::invocationsMessage(), Shape::Any, [r](const Request &request) {
        QVariantList invocations;
        for (const Invocation &invocation : StoreTarget::instance().invocations()) {
            invocations.append(QVariantMap{{protocol::keyTime(), invocation.time},
                                           {protocol::keySender(), invocation.sender},
                                           {protocol::keyAction(), invocation.action},
                                           {protocol::keyMimeType(), invocation.mimeType},
                                           {protocol::keyUri(), invocation.uri}});
        }
        r->answer(request, QVariantMap{{protocol::keyInvocations(), invocations}});
    });
}

OM_DEVICE_MODULE(
    PaymentSystem, "payments",
    "payment service: a store of digital goods, its purchases kept by application and store", "");

} // namespace omdevice
