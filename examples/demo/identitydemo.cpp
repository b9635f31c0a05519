// The demo's sign-in: the account's properties and a token from the
// OmbrelId provider, and a data entry kept with the OmbrelProfile provider.

#include "identitydemo.h"

#include <om/platform/identity/identityservicepropertyresult.h>
#include <om/platform/identity/identityserviceprovider.h>
#include <om/platform/identity/ombrelid.h>
#include <om/platform/identity/ombrelidpropertytype.h>
#include <om/platform/identity/ombrelprofile.h>
#include <om/platform/identity/ombrelprofilepropertytype.h>

#include <QDateTime>
#include <QEventLoop>
#include <QTimer>

#include <functional>

using namespace om::platform::identity;

namespace {

constexpr int AnswerTimeoutMs = 10000;

/**
 * Runs the event loop until @p done is called or the time is up; false when
 * no answer came. Connections made with @p context as receiver end here.
 */
bool waitForAnswer(
    const std::function<void(QObject *context, const std::function<void()> &done)> &start)
{
    QEventLoop loop;
    bool answered = false;
    QTimer::singleShot(AnswerTimeoutMs, &loop, &QEventLoop::quit);
    QObject context;
    start(&context, [&] {
        answered = true;
        loop.quit();
    });
    if (!answered)
        loop.exec();
    return answered;
}

} // namespace

int runIdentityDemo(void (*say)(const QString &line))
{
    IdentityServiceProvider account(OmbrelId::providerName());
    if (!account.isValid()) {
        say(QStringLiteral(
            "identity: no identity service (is omdeviced running its identity module?)"));
        return 1;
    }

    // Who is signed in.
    QMap<QString, QString> properties;
    QString failure;
    auto failed = [&failure](int, int result, const QString &info) {
        failure = QStringLiteral("%1 %2").arg(result).arg(info);
    };
    bool ok = waitForAnswer([&](QObject *context, const std::function<void()> &done) {
        QObject::connect(&account,
                         qOverload<int, const QMap<QString, QString> &>(
                             &IdentityServiceProvider::propertiesRetrieved),
                         context, [&, done](int, const QMap<QString, QString> &values) {
                             properties = values;
                             done();
                         });
        QObject::connect(
            &account,
            qOverload<int, int, const QString &>(&IdentityServiceProvider::propertyRetrievalFailed),
            context, [&, done](int id, int result, const QString &info) {
                failed(id, result, info);
                done();
            });
        account.requestProperties(OmbrelIdPropertyType::Core,
                                  {OmbrelId::userNamePropertyKey(),
                                   OmbrelId::firstNamePropertyKey(), OmbrelId::emailPropertyKey()});
    });
    if (!ok || properties.isEmpty()) {
        say(QStringLiteral("identity: no properties: %1")
                .arg(ok ? failure : QStringLiteral("no answer")));
        return 1;
    }
    say(QStringLiteral("identity: signed in as %1 (%2, %3)")
            .arg(properties.value(OmbrelId::userNamePropertyKey()),
                 properties.value(OmbrelId::firstNamePropertyKey()),
                 properties.value(OmbrelId::emailPropertyKey())));

    // A token for the demo's service.
    QByteArray token;
    failure.clear();
    ok = waitForAnswer([&](QObject *context, const std::function<void()> &done) {
        QObject::connect(&account,
                         qOverload<int, const QByteArray &, const QMap<QString, QString> &>(
                             &IdentityServiceProvider::tokenRetrieved),
                         context,
                         [&, done](int, const QByteArray &value, const QMap<QString, QString> &) {
                             token = value;
                             done();
                         });
        QObject::connect(
            &account,
            qOverload<int, int, const QString &>(&IdentityServiceProvider::tokenRetrievalFailed),
            context, [&, done](int id, int result, const QString &info) {
                failed(id, result, info);
                done();
            });
        account.requestToken(QStringLiteral("bearer"), QStringLiteral("urn:omb:demo"));
    });
    if (!ok || token.isEmpty()) {
        say(QStringLiteral("identity: no token: %1 (offline? try: omctl identity offline off)")
                .arg(ok ? failure : QStringLiteral("no answer")));
        return 1;
    }
    say(QStringLiteral("identity: token for urn:omb:demo: %1...")
            .arg(QString::fromLatin1(token.left(8))));

    // A data entry of the application, written and read back.
    IdentityServiceProvider profile(OmbrelProfile::providerName());
    const QString name = QStringLiteral("lastRun");
    const QByteArray stamp = QDateTime::currentDateTimeUtc().toString(Qt::ISODate).toUtf8();
    const int type = OmbrelProfilePropertyType::Application;
    QByteArray read;
    failure.clear();
    ok = waitForAnswer([&](QObject *context, const std::function<void()> &done) {
        // dataSet comes twice for one write: read back once.
        auto readBack = [&profile, &name, type, reading = false]() mutable {
            if (!reading)
                profile.requestData(type, 0, name);
            reading = true;
        };
        QObject::connect(&profile, &IdentityServiceProvider::dataSet, context, readBack);
        QObject::connect(&profile, &IdentityServiceProvider::dataCreated, context, readBack);
        QObject::connect(
            &profile, qOverload<int, int, const QString &>(&IdentityServiceProvider::dataSetFailed),
            context, [&, done](int id, int result, const QString &info) {
                // The first run makes the entry.
                if (result == IdentityServicePropertyResult::DoesNotExist) {
                    profile.createData(type, 0, name, stamp);
                    return;
                }
                failed(id, result, info);
                done();
            });
        QObject::connect(
            &profile, qOverload<int, const QByteArray &>(&IdentityServiceProvider::dataRetrieved),
            context, [&, done](int, const QByteArray &value) {
                read = value;
                done();
            });
        for (auto signal :
             {qOverload<int, int, const QString &>(&IdentityServiceProvider::dataCreateFailed),
              qOverload<int, int, const QString &>(&IdentityServiceProvider::dataRetrievalFailed)})
            QObject::connect(&profile, signal, context,
                             [&, done](int id, int result, const QString &info) {
                                 failed(id, result, info);
                                 done();
                             });
        profile.setData(type, 0, name, stamp);
    });
    if (!ok || read != stamp) {
        say(QStringLiteral("identity: the data entry failed: %1")
                .arg(ok ? failure : QStringLiteral("no answer")));
        return 1;
    }
    say(QStringLiteral("identity: stored \"%1\" = %2 and read it back")
            .arg(name, QString::fromUtf8(read)));
    return 0;
}
