// The payment service's store, played from the command line: its goods, the
// purchases of each application and store, what a purchase meets, the
// store's clock.

#include "command.h"
#include "omctlclient.h"

#include "payments/paymentsprotocol_p.h"

#include <QDateTime>

#include <optional>

namespace omctl {
namespace {

namespace protocol = om::paymentsprotocol;
const QString UserSide = protocol::userSidePath();

// The options of every subcommand, and the keys of a good they set.
struct GoodOption
{
    const char *option;
    QString key;
    bool number;
};

const QList<GoodOption> &goodOptions()
{
    static const QList<GoodOption> options{
        {"sku", protocol::keySku(), false},
        {"name", protocol::keyName(), false},
        {"price", protocol::keyPrice(), false},
        {"kind", protocol::keyKind(), false},
        {"initial-days", protocol::keyInitialPeriodDays(), true},
        {"renewal-price", protocol::keyRenewalPrice(), false},
        {"renewal-days", protocol::keyRenewalPeriodDays(), true}};
    return options;
}

QList<QCommandLineOption> options()
{
    auto option = [](const char *name, const char *description, const char *value) {
        return QCommandLineOption(QString::fromLatin1(name), QString::fromLatin1(description),
                                  QString::fromLatin1(value));
    };
    return {option("sku", "add-good, change-good: the good's SKU", "sku"),
            option("name", "add-good, change-good: the good's name", "name"),
            option("price", "add-good, change-good: the price, as the store words it", "price"),
            option("kind", "add-good, change-good: owned, consumable or subscription", "kind"),
            option("initial-days", "add-good, change-good: days of a subscription's first period",
                   "days"),
            option("renewal-price", "add-good, change-good: the price of each renewal", "price"),
            option("renewal-days", "add-good, change-good: days of each renewal", "days"),
            option("app", "purchases: only those of this package", "package"),
            option("store", "purchases: only those of the test or the production store", "store"),
            option("invoke", "mode: on or off, the store's screen invoked first", "on|off"),
            option("text", "fail-next: the failure's text", "text"),
            option("sub", "fail-next: the failure's sub-code", "sub-code"),
            option("request", "fail-next: only for purchase, existing, price, status or cancel",
                   "kind")};
}

using Options = QVariantMap;

// The answer's "dat" of one request to the user side; prints why and gives
// false when there is none.
bool ask(const Invocation &call, const QString &msg, const QVariantMap &dat, QVariantMap *result)
{
    const std::optional<QVariantMap> answer = call.request(UserSide, msg, dat);
    if (answer)
        *result = *answer;
    return bool(answer);
}

QString when(qint64 msecs)
{
    return QDateTime::fromMSecsSinceEpoch(msecs).toString(QStringLiteral("yyyy-MM-dd hh:mm"));
}

QString days(int count)
{
    return count == 1 ? QStringLiteral("1 day") : QStringLiteral("%1 days").arg(count);
}

QString describeGood(const QVariantMap &g)
{
    QString terms = g.value(protocol::keyPrice()).toString();
    if (g.value(protocol::keyKind()).toString() == protocol::kindSubscription()) {
        terms = QStringLiteral("%1 for %2, then %3 every %4")
                    .arg(terms, days(g.value(protocol::keyInitialPeriodDays()).toInt()),
                         g.value(protocol::keyRenewalPrice()).toString(),
                         days(g.value(protocol::keyRenewalPeriodDays()).toInt()));
    }
    return QStringLiteral("%1  sku %2  %3  %4  \"%5\"")
        .arg(g.value(protocol::keyId()).toString(),
             g.value(protocol::keySku()).toString().isEmpty()
                 ? QStringLiteral("-")
                 : g.value(protocol::keySku()).toString(),
             g.value(protocol::keyKind()).toString(), terms,
             g.value(protocol::keyName()).toString());
}

QString stateName(int state)
{
    switch (state) {
    case 0:
        return QStringLiteral("owned");
    case 1:
        return QStringLiteral("new subscription");
    case 2:
        return QStringLiteral("refunded");
    case 3:
        return QStringLiteral("cancelled");
    case 4:
        return QStringLiteral("renewed");
    default:
        return QStringLiteral("state %1").arg(state);
    }
}

QString describePurchase(const QVariantMap &p)
{
    QString line = QStringLiteral("%1  %2  %3 store  %4  bought %5  %6")
                       .arg(p.value(QStringLiteral("purchaseId")).toString(),
                            p.value(QStringLiteral("package")).toString(),
                            p.value(QStringLiteral("store")).toString(),
                            p.value(QStringLiteral("goodId")).toString(),
                            when(p.value(QStringLiteral("date")).toLongLong()),
                            p.value(QStringLiteral("refunded")).toBool()
                                ? QStringLiteral("refunded")
                                : stateName(p.value(QStringLiteral("state")).toInt()));
    if (p.value(QStringLiteral("subscription")).toBool()) {
        line += QStringLiteral(", period %1 to %2")
                    .arg(when(p.value(QStringLiteral("startDate")).toLongLong()),
                         when(p.value(QStringLiteral("endDate")).toLongLong()));
    }
    line += p.value(protocol::keyActive()).toBool() ? QStringLiteral(", active")
                                                    : QStringLiteral(", over");
    return line;
}

int goods(const Invocation &call)
{
    QVariantMap result;
    if (!ask(call, protocol::goodsMessage(), {}, &result))
        return Failure;
    const QVariantList list = result.value(protocol::keyGoods()).toList();
    if (list.isEmpty())
        out(QStringLiteral("The store has no goods."));
    for (const QVariant &good : list)
        out(describeGood(good.toMap()));
    return Success;
}

// add-good and change-good: the good's fields from the options.
int editGood(const Invocation &call, const QString &msg, const QStringList &args,
             const Options &options)
{
    if (args.size() != 1)
        return usage(QStringLiteral("payments %1 takes the id of one good")
                         .arg(msg == protocol::addGoodMessage() ? "add-good" : "change-good"));
    QVariantMap dat{{protocol::keyId(), args.first()}};
    for (const GoodOption &o : goodOptions()) {
        const QString name = QString::fromLatin1(o.option);
        if (!options.contains(name))
            continue;
        if (!o.number) {
            dat.insert(o.key, options.value(name));
            continue;
        }
        bool ok = false;
        const int value = options.value(name).toString().toInt(&ok);
        if (!ok || value < 0)
            return usage(QStringLiteral("--%1 needs a number of days").arg(name));
        dat.insert(o.key, value);
    }
    if (msg == protocol::changeGoodMessage() && dat.size() == 1)
        return usage(QStringLiteral("payments change-good needs something to change"));
    QVariantMap result;
    if (!ask(call, msg, dat, &result))
        return Failure;
    out(describeGood(result.value(protocol::keyGood()).toMap()));
    return Success;
}

int purchases(const Invocation &call, const Options &options)
{
    QVariantMap dat;
    if (options.contains(QStringLiteral("app")))
        dat.insert(protocol::keyPackage(), options.value(QStringLiteral("app")));
    if (options.contains(QStringLiteral("store")))
        dat.insert(protocol::keyStore(), options.value(QStringLiteral("store")));
    QVariantMap result;
    if (!ask(call, protocol::purchasesMessage(), dat, &result))
        return Failure;
    const QVariantList list = result.value(protocol::keyPurchases()).toList();
    if (list.isEmpty())
        out(QStringLiteral("No purchases."));
    for (const QVariant &p : list)
        out(describePurchase(p.toMap()));
    const int total = result.value(protocol::keyTotal()).toInt();
    if (total > list.size())
        out(QStringLiteral("(the last %1 of %2 shown)").arg(list.size()).arg(total));
    return Success;
}

int mode(const Invocation &call, const QStringList &args, const Options &options)
{
    QVariantMap dat;
    if (args.size() > 1)
        return usage(QStringLiteral("payments mode takes one mode"));
    if (!args.isEmpty())
        dat.insert(protocol::keyMode(), args.first());
    if (options.contains(QStringLiteral("invoke"))) {
        const QString invoke = options.value(QStringLiteral("invoke")).toString();
        if (invoke != QLatin1String("on") && invoke != QLatin1String("off"))
            return usage(QStringLiteral("--invoke is on or off"));
        dat.insert(protocol::keyInvoke(), invoke == QLatin1String("on"));
    }
    QVariantMap result;
    if (!ask(call, protocol::modeMessage(), dat, &result))
        return Failure;
    out(QStringLiteral("mode: %1").arg(result.value(protocol::keyMode()).toString()));
    out(QStringLiteral("store screen invoked before a purchase's answer: %1")
            .arg(result.value(protocol::keyInvoke()).toBool() ? QStringLiteral("on")
                                                              : QStringLiteral("off")));
    return Success;
}

int pending(const Invocation &call)
{
    QVariantMap result;
    if (!ask(call, protocol::pendingMessage(), {}, &result))
        return Failure;
    const QVariantList list = result.value(protocol::keyPending()).toList();
    if (list.isEmpty())
        out(QStringLiteral("No purchase waits for the user."));
    for (const QVariant &entry : list) {
        const QVariantMap p = entry.toMap();
        out(QStringLiteral("%1  %2  %3 store  %4 \"%5\" for %6")
                .arg(p.value(protocol::keyPending()).toString(),
                     p.value(protocol::keyPackage()).toString(),
                     p.value(protocol::keyStore()).toString(),
                     p.value(protocol::keyId()).toString(), p.value(protocol::keyName()).toString(),
                     p.value(protocol::keyPrice()).toString()));
    }
    return Success;
}

// approve and decline: the purchase named, else the one that waits.
int answerPending(const Invocation &call, const QString &msg, const QStringList &args)
{
    QVariantMap dat;
    if (args.size() > 1)
        return usage(QStringLiteral("payments %1 takes at most one waiting purchase").arg(msg));
    if (!args.isEmpty()) {
        bool ok = false;
        const int number = args.first().toInt(&ok);
        if (!ok)
            return usage(
                QStringLiteral("'%1' is no number of a waiting purchase").arg(args.first()));
        dat.insert(protocol::keyPending(), number);
    }
    QVariantMap result;
    if (!ask(call, msg, dat, &result))
        return Failure;
    if (msg == protocol::approveMessage())
        out(QStringLiteral("approved: ") +
            describePurchase(result.value(protocol::keyPurchase()).toMap()));
    else
        out(QStringLiteral("declined purchase %1")
                .arg(result.value(protocol::keyPending()).toInt()));
    return Success;
}

int failNext(const Invocation &call, const QStringList &args, const Options &options)
{
    if (args.size() != 1)
        return usage(QStringLiteral("payments fail-next takes one error code"));
    bool ok = false;
    const int code = args.first().toInt(&ok);
    if (!ok)
        return usage(QStringLiteral("'%1' is no error code").arg(args.first()));
    QVariantMap dat{{protocol::keyCode(), code}};
    if (options.contains(QStringLiteral("text")))
        dat.insert(protocol::keyText(), options.value(QStringLiteral("text")));
    if (options.contains(QStringLiteral("sub")))
        dat.insert(protocol::keySubCode(), options.value(QStringLiteral("sub")));
    if (options.contains(QStringLiteral("request")))
        dat.insert(protocol::keyRequest(), options.value(QStringLiteral("request")));
    QVariantMap result;
    if (!ask(call, protocol::failNextMessage(), dat, &result))
        return Failure;
    out(QStringLiteral("%1 failure(s) queued").arg(result.value(protocol::keyQueued()).toInt()));
    return Success;
}

int clock(const Invocation &call, const QStringList &args)
{
    QVariantMap dat;
    if (args.size() > 1)
        return usage(QStringLiteral("payments clock takes one number of days"));
    if (!args.isEmpty()) {
        QString text = args.first();
        if (text.startsWith(QLatin1Char('+')))
            text.remove(0, 1);
        bool ok = false;
        const int count = text.toInt(&ok);
        if (!ok || count < 0)
            return usage(QStringLiteral("the clock moves ahead by a number of days, such as +30"));
        dat.insert(protocol::keyDays(), count);
    }
    QVariantMap result;
    if (!ask(call, protocol::clockMessage(), dat, &result))
        return Failure;
    out(QStringLiteral("store clock: %1 (%2 ahead)")
            .arg(when(result.value(protocol::keyNow()).toLongLong()),
                 days(result.value(protocol::keyOffsetDays()).toInt())));
    return Success;
}

int refund(const Invocation &call, const QStringList &args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("payments refund takes one purchase id"));
    QVariantMap result;
    if (!ask(call, protocol::refundMessage(), {{protocol::keyPurchaseIdPlain(), args.first()}},
             &result))
        return Failure;
    out(QStringLiteral("refunded: ") +
        describePurchase(result.value(protocol::keyPurchase()).toMap()));
    return Success;
}

int invocations(const Invocation &call)
{
    QVariantMap result;
    if (!ask(call, protocol::invocationsMessage(), {}, &result))
        return Failure;
    const QVariantList list = result.value(protocol::keyInvocations()).toList();
    if (list.isEmpty())
        out(QStringLiteral("The store's screen has not been invoked."));
    for (const QVariant &entry : list) {
        const QVariantMap i = entry.toMap();
        out(QStringLiteral("%1  from %2  %3  %4  %5")
                .arg(when(i.value(protocol::keyTime()).toLongLong()),
                     i.value(protocol::keySender()).toString(),
                     i.value(protocol::keyAction()).toString(),
                     i.value(protocol::keyMimeType()).toString(),
                     i.value(protocol::keyUri()).toString()));
    }
    return Success;
}

int payments(const Invocation &call, const Options &options)
{
    const QString sub = call.args().value(0, QStringLiteral("goods"));
    const QStringList args = call.args().mid(1);
    auto none = [&](int (*run)(const Invocation &)) {
        return args.isEmpty()
                   ? run(call)
                   : call.usage(QStringLiteral("payments %1 takes no arguments").arg(sub));
    };
    if (sub == QLatin1String("goods"))
        return none(goods);
    if (sub == QLatin1String("add-good"))
        return editGood(call, protocol::addGoodMessage(), args, options);
    if (sub == QLatin1String("change-good"))
        return editGood(call, protocol::changeGoodMessage(), args, options);
    if (sub == QLatin1String("remove-good")) {
        QVariantMap result;
        if (args.size() != 1)
            return call.usage(QStringLiteral("payments remove-good takes the id of one good"));
        if (!ask(call, protocol::removeGoodMessage(), {{protocol::keyId(), args.first()}}, &result))
            return Failure;
        out(QStringLiteral("removed: ") + describeGood(result.value(protocol::keyGood()).toMap()));
        return Success;
    }
    if (sub == QLatin1String("purchases"))
        return args.isEmpty() ? purchases(call, options)
                              : call.usage(QStringLiteral("payments purchases takes no arguments"));
    if (sub == QLatin1String("mode"))
        return mode(call, args, options);
    if (sub == QLatin1String("pending"))
        return none(pending);
    if (sub == QLatin1String("approve"))
        return answerPending(call, protocol::approveMessage(), args);
    if (sub == QLatin1String("decline"))
        return answerPending(call, protocol::declineMessage(), args);
    if (sub == QLatin1String("fail-next"))
        return failNext(call, args, options);
    if (sub == QLatin1String("clock"))
        return clock(call, args);
    if (sub == QLatin1String("refund"))
        return refund(call, args);
    if (sub == QLatin1String("invocations"))
        return none(invocations);
    return call.usage(QStringLiteral("unknown payments command '%1'").arg(sub));
}

// The options given, by name, for the subcommands.
int run(const Invocation &call)
{
    Options values;
    for (const QCommandLineOption &option : options()) {
        const QString name = option.names().first();
        if (call.isSet(name))
            values.insert(name, call.value(name));
    }
    return payments(call, values);
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("payments"),
     QStringLiteral(
         "[goods | add-good ID | change-good ID | remove-good ID | purchases | mode [MODE] | "
         "pending | approve [N] | decline [N] | fail-next CODE | clock [+DAYS] | refund ID | "
         "invocations]"),
     QStringLiteral(
         "Play the payment service's store: goods, purchases, what a purchase meets, the clock."),
     QStringLiteral(
         "goods                      the goods of the store (the default)\n"
         "add-good ID [--sku S] [--name N] [--price P] [--kind owned|consumable|subscription]\n"
         "    [--initial-days D] [--renewal-price P] [--renewal-days D]\n"
         "                           add a good; change-good ID takes the same options\n"
         "remove-good ID             take a good out of the store\n"
         "purchases [--app PACKAGE] [--store test|production]\n"
         "                           the purchases, of one application or store\n"
         "mode [approve|hold|decline|fail|busy|offline] [--invoke on|off]\n"
         "                           show or choose what a purchase meets: approval at once,\n"
         "                           a wait for the user, a refusal (code 1), a failure (3),\n"
         "                           a busy store (2); offline fails every request (8).\n"
         "                           --invoke on: the store's screen is invoked first\n"
         "pending                    the purchases that wait for the user\n"
         "approve [N], decline [N]   answer a waiting purchase as the user\n"
         "fail-next CODE [--text T] [--sub S] [--request purchase|existing|price|status|cancel]\n"
         "                           the next request (of that kind) fails with CODE\n"
         "clock [+DAYS]              show the store's clock, or move it ahead\n"
         "refund ID                  refund a purchase: a subscription ends at once\n"
         "invocations                what the store's screen was invoked with"),
     options(), run});

} // namespace omctl
