// Another application for the end-to-end tests: one data operation of the
// profile provider as the package OM_PACKAGE_NAME names, through the
// library. Prints "ok <value>" or "failed <code>".
//   identitypeer create|read <type> <name> [value]

#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/ombrelprofile.h>

#include <QCoreApplication>
#include <QTimer>

#include <cstdio>

using namespace om::platform::identity;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.size() < 3)
        return 2;
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    if (!profile.isValid())
        return 1;
    auto done = [](const QByteArray &line) {
        std::printf("%s\n", line.constData());
        QCoreApplication::exit(0);
    };
    auto failed = [done](int, int result, const QString &) {
        done("failed " + QByteArray::number(result));
    };
    QObject::connect(&profile, &IdentityServiceProvider::dataCreated, [done] { done("ok"); });
    QObject::connect(&profile,
                     qOverload<int, const QByteArray &>(&IdentityServiceProvider::dataRetrieved),
                     [done](int, const QByteArray &value) { done("ok " + value); });
    QObject::connect(
        &profile, qOverload<int, int, const QString &>(&IdentityServiceProvider::dataCreateFailed),
        failed);
    QObject::connect(
        &profile,
        qOverload<int, int, const QString &>(&IdentityServiceProvider::dataRetrievalFailed),
        failed);
    const int type = args.at(1).toInt();
    if (args.at(0) == QLatin1String("create"))
        profile.createData(type, 0, args.at(2), args.value(3).toUtf8());
    else
        profile.requestData(type, 0, args.at(2));
    QTimer::singleShot(10000, &app, [] { QCoreApplication::exit(1); });
    return app.exec();
}
