// An application with a shop, for the end-to-end tests: it makes one
// payment request through the library and prints the finished reply as one
// line of JSON. Its package is what OM_PACKAGE_NAME says.
//
//   paymentclient [--test] [--timeout MS] price|status|buy ID [METADATA]
//   paymentclient [--test] [--timeout MS] existing | cancel PURCHASE-ID
//
// Prints {"finished":false} and exits with 1 if no answer comes in time.

#include <om/platform/paymentmanager.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMetaProperty>
#include <QTimer>

#include <cstdio>

using namespace om::platform;

namespace {

// Every property of the reply's class and its bases, as script code sees them.
QJsonObject describe(const PaymentReply *reply)
{
    QJsonObject object;
    const QMetaObject *mo = reply->metaObject();
    for (int i = PaymentReply::staticMetaObject.propertyOffset(); i < mo->propertyCount(); ++i) {
        const QMetaProperty p = mo->property(i);
        object.insert(QString::fromLatin1(p.name()), QJsonValue::fromVariant(p.read(reply)));
    }
    object.insert(QStringLiteral("error"), reply->isError());
    return object;
}

int usage()
{
    std::fprintf(stderr,
                 "usage: paymentclient [--test] [--timeout MS] price|status|buy ID [METADATA] | "
                 "existing | cancel PURCHASE-ID\n");
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    int timeout = 10000;
    bool test = false;
    while (!args.isEmpty() && args.first().startsWith(QLatin1String("--"))) {
        const QString option = args.takeFirst();
        if (option == QLatin1String("--test"))
            test = true;
        else if (option == QLatin1String("--timeout") && !args.isEmpty())
            timeout = args.takeFirst().toInt();
        else
            return usage();
    }
    if (args.isEmpty())
        return usage();
    const QString op = args.takeFirst();
    const QString arg = args.value(0);

    if (test)
        PaymentManager::setConnectionMode(PaymentConnectionMode::Test);
    PaymentManager manager;
    manager.setWindowGroupId(QStringLiteral("paymentclient-window"));
    manager.setApplicationName(QStringLiteral("Payment client"));
    PaymentReply *reply = nullptr;
    if (op == QLatin1String("price") && !arg.isEmpty())
        reply = manager.requestPrice(arg);
    else if (op == QLatin1String("status") && !arg.isEmpty())
        reply = manager.requestSubscriptionStatus(arg);
    else if (op == QLatin1String("buy") && !arg.isEmpty())
        reply = manager.requestPurchase(arg, QString(), QString(), args.value(1));
    else if (op == QLatin1String("existing"))
        reply = manager.requestExistingPurchases(false);
    else if (op == QLatin1String("cancel") && !arg.isEmpty())
        reply = manager.requestCancelSubscription(arg);
    else
        return usage();
    if (!reply) {
        std::printf("{\"sent\":false}\n");
        return 1;
    }
    // Told on stderr, so that a test knows the request is on its way.
    std::fprintf(stderr, "paymentclient: sent\n");
    std::fflush(stderr);

    QObject::connect(reply, &PaymentReply::finished, &app, [&]() {
        std::printf("%s\n",
                    QJsonDocument(describe(reply)).toJson(QJsonDocument::Compact).constData());
        app.exit(0);
    });
    QTimer::singleShot(timeout, &app, [&]() {
        std::printf("{\"finished\":false}\n");
        app.exit(1);
    });
    return app.exec();
}
