// The shop of the demo application: prices, a purchase and the purchases it
// has made, through PaymentManager. Each request returns a reply at once;
// the answer comes through the event loop.

#include "shop.h"

#include <om/platform/paymentmanager.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <cstdio>

using namespace om::platform;

namespace {

void say(const QString &line)
{
    std::printf("omdemo: %s\n", qPrintable(line));
    std::fflush(stdout);
}

// Runs the event loop until @p reply has finished, for at most a while.
bool waitFor(PaymentReply *reply)
{
    if (!reply)
        return false;
    QEventLoop loop;
    QObject::connect(reply, &PaymentReply::finished, &loop, &QEventLoop::quit);
    QTimer::singleShot(30000, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    if (!reply->isFinished())
        say(QStringLiteral("no answer from the payment service"));
    return reply->isFinished();
}

QString failure(const PaymentReply *reply)
{
    return QStringLiteral("error %1: %2").arg(reply->errorCode()).arg(reply->errorText());
}

} // namespace

int runShop()
{
    // The test store: purchases there cost nothing and stay apart from the
    // real ones.
    PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
    PaymentManager shop;
    shop.setApplicationName(QStringLiteral("omdemo"));
    shop.setWindowGroupId(QStringLiteral("omdemo-window"));
    const QString good = QStringLiteral("gems-100");

    PriceReply *price = shop.requestPrice(good);
    if (!waitFor(price))
        return 1;
    if (price->isError()) {
        say(QStringLiteral("asking the price of %1 failed: %2").arg(good, failure(price)));
        return 1;
    }
    say(QStringLiteral("%1 costs %2").arg(good, price->price()));

    say(QStringLiteral("buying %1 (the store approves at once unless 'omctl payments mode' says otherwise)").arg(good));
    PurchaseReply *purchase = shop.requestPurchase(good, QString(), QStringLiteral("100 gems"),
                                                   QStringLiteral("bought by the demo"));
    if (!waitFor(purchase))
        return 1;
    if (purchase->isError()) {
        say(QStringLiteral("the purchase did not go through: %1").arg(failure(purchase)));
    } else {
        const PurchaseReceipt receipt = purchase->receipt();
        say(QStringLiteral("bought: purchase %1 on %2")
                .arg(receipt.purchaseId(), receipt.date().toString(Qt::ISODate)));
    }

    ExistingPurchasesReply *existing = shop.requestExistingPurchases(false);
    if (!waitFor(existing))
        return 1;
    if (existing->isError()) {
        say(QStringLiteral("listing the purchases failed: %1").arg(failure(existing)));
        return 1;
    }
    const QList<PurchaseReceipt> receipts = existing->purchases();
    say(QStringLiteral("the demo has made %1 purchase(s) in the test store:").arg(receipts.size()));
    for (const PurchaseReceipt &receipt : receipts) {
        say(QStringLiteral("  purchase %1: %2, %3").arg(receipt.purchaseId(), receipt.digitalGoodId(),
                                                       receipt.date().toString(Qt::ISODate)));
    }
    return 0;
}
