#include "invoke/invokeservice.h"
#include "invoke/mapsapplication.h"

#include "childprocess.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include "invoke/invokeprotocol_p.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>

using om::system::InvokeReply;
using om::system::InvokeRequest;
using omdevice::InvokeService;

namespace {

const QString ActionType = QStringLiteral("application/vnd.omb.map.action-v1");

QByteArray cString(const QByteArray &text)
{
    return text + '\0';
}

InvokeRequest request(const QString &target, const QString &action, const QString &type,
                      const QByteArray &data = cString("JSON {\"view_mode\":\"map\",\"geolocation\":false}"))
{
    InvokeRequest r;
    r.setTarget(target);
    r.setAction(action);
    r.setMimeType(type);
    r.setData(data);
    return r;
}

/** Sends @p request through the invocation framework; the reply's error, or -1. */
int invoke(const InvokeRequest &request, QString *errorString = nullptr)
{
    std::unique_ptr<om::system::InvokeTargetReply> reply(om::system::InvokeManager().invoke(request));
    QSignalSpy finished(reply.get(), &InvokeReply::finished);
    if (!finished.wait(5000))
        return -1;
    if (errorString)
        *errorString = reply->errorString();
    return reply->error();
}

} // namespace

class tst_InvokeService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_service.reset(); m_broker.reset(); m_data.reset(); }

    void mapsReads_data();
    void mapsReads();
    void routing_data();
    void routing();
    void historyAndRestart();
    void simulatorIsTheOwners();
    void unknownModesRefused_data();
    void unknownModesRefused();

private:
    void startService();

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<InvokeService> m_service;
};

void tst_InvokeService::init()
{
    qputenv("OM_PACKAGE_NAME", "tst.service");
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_data.reset(new QTemporaryDir);
    startService();
}

void tst_InvokeService::startService()
{
    m_service.reset();
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    context.settings = {{QStringLiteral("invoke.history"), QStringLiteral("3")}};
    m_service.reset(new InvokeService(context, nullptr));
    QString error;
    QVERIFY2(m_service->start(&error), qPrintable(error));
}

void tst_InvokeService::mapsReads_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariantMap>("view");
    QTest::addColumn<QString>("reason");

    const QVariantMap emptyMap{{"view", "map"}, {"currentLocation", false}};
    const QByteArray empty("JSON {\"view_mode\":\"map\",\"geolocation\":false}");
    QTest::newRow("no NUL at the end") << ActionType << empty << emptyMap << QString();
    QTest::newRow("text after the NUL is not read") << ActionType << cString(empty) + "garbage"
                                                    << emptyMap << QString();

    // What cannot be read, and why.
    auto refused = [](const char *tag, const QString &type, const QByteArray &data, const char *reason) {
        QTest::newRow(tag) << type << cString(data) << QVariantMap() << QString::fromUtf8(reason);
    };
    refused("only a NUL", ActionType, "", "the content is empty");
    refused("no keyword", ActionType, "{\"view_mode\":\"map\"}",
            "the content does not begin with \"JSON {\"");
    refused("unknown view mode", ActionType, "JSON {\"view_mode\":\"3d\"}",
            "\"view_mode\" has the unknown value \"3d\"");
    refused("other type", QStringLiteral("text/plain"), "hi",
            "the maps application does not read \"text/plain\"");
}

void tst_InvokeService::mapsReads()
{
    QFETCH(QString, mimeType);
    QFETCH(QByteArray, data);
    QFETCH(QVariantMap, view);
    QFETCH(QString, reason);
    QString why;
    QCOMPARE(omdevice::MapsApplication::read(mimeType, data, &why), view);
    QCOMPARE(why, reason);
}

void tst_InvokeService::routing_data()
{
    QTest::addColumn<InvokeRequest>("request");
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("errorString");

    const QString open = QStringLiteral("om.action.OPEN");
    QTest::newRow("map content") << request({}, open, ActionType) << 0 << QString();
    QTest::newRow("type with case and parameters")
        << request({}, open, QStringLiteral("Application/VND.omb.map.action-v1; charset=US-ASCII"))
        << 0 << QString();
    QTest::newRow("unreadable content is taken") << request({}, open, ActionType, cString("JSON {"))
                                                 << 0 << QString();
    QTest::newRow("other type") << request({}, open, QStringLiteral("text/plain")) << int(InvokeReply::NoTarget)
        << "no target handles action \"om.action.OPEN\" with type \"text/plain\"";
    QTest::newRow("neither target nor action") << request({}, {}, ActionType) << int(InvokeReply::BadRequest)
        << "the request names neither a target nor an action";
    QTest::newRow("unknown target") << request(QStringLiteral("om.browser"), open, ActionType)
        << int(InvokeReply::NoTarget) << "no target is named \"om.browser\"";
    QTest::newRow("named target, other type")
        << request(QStringLiteral("om.maps"), open, QStringLiteral("image/png")) << int(InvokeReply::TargetFailed)
        << "target \"om.maps\" does not handle action \"om.action.OPEN\" with type \"image/png\"";
}

void tst_InvokeService::routing()
{
    QFETCH(InvokeRequest, request);
    QFETCH(int, error);
    QFETCH(QString, errorString);
    QString text;
    QCOMPARE(invoke(request, &text), error);
    QCOMPARE(text, errorString);
    // Every invocation is recorded, taken or not; only what was taken reaches the maps application.
    QCOMPARE(m_service->invocations().size(), 1);
    const omdevice::Invocation recorded = m_service->invocations().last();
    QCOMPARE(recorded.error, error);
    QCOMPARE(recorded.errorText, errorString);
    QCOMPARE(recorded.target, error == 0 ? QStringLiteral("om.maps") : QString());
    QCOMPARE(recorded.mimeType, request.mimeType());
    QCOMPARE(recorded.data, request.data());
    QCOMPARE(recorded.sender, QStringLiteral("tst.service"));
    QCOMPARE(m_service->maps().shown().isEmpty(), error != 0);
}

void tst_InvokeService::historyAndRestart()
{
    const QByteArray paris = cString("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\","
                                     "\"geocode\":true},\"geolocation\":false}");
    QCOMPARE(invoke(request({}, QStringLiteral("om.action.OPEN"), ActionType, paris)), 0);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(invoke(request({}, QStringLiteral("a%1").arg(i), ActionType)), int(InvokeReply::NoTarget));
    const QVariantMap shown = m_service->maps().shown();
    QCOMPARE(shown.value(QStringLiteral("placemark")), QVariant(QVariantMap{{"name", "Paris"}, {"geocode", true}}));

    // The oldest go first; the record and what is shown survive a restart.
    startService();
    QStringList actions;
    for (const omdevice::Invocation &invocation : m_service->invocations())
        actions << invocation.action;
    QCOMPARE(actions, (QStringList{"a1", "a2", "a3"}));
    QCOMPARE(m_service->maps().shown(), shown);
}

void tst_InvokeService::simulatorIsTheOwners()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs to run as root to drop to another user");
    // Another user may invoke, but not play the device's user.
    QCOMPARE(omtest::runInChild([] {
        om::PpsObject simulator(QStringLiteral("/pps/simulator/invoke"));
        om::PpsObject control(QStringLiteral("/pps/services/invoke/control"));
        const bool refused = !simulator.open() && simulator.error() == EACCES;
        return refused && control.open() ? 0 : 1;
    }, true), 0);
}

void tst_InvokeService::unknownModesRefused_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("error");
    QTest::newRow("known transfer mode") << "fileTransferMode" << QVariant(4) << QString();
    QTest::newRow("transfer mode past the last") << "fileTransferMode" << QVariant(5)
                                                 << "\"fileTransferMode\" has the unknown value 5";
    QTest::newRow("negative perimeter") << "perimeter" << QVariant(-1)
                                        << "\"perimeter\" has the unknown value -1";
    QTest::newRow("perimeter beyond an int") << "perimeter" << QVariant(qint64(1) << 33)
                                             << "\"perimeter\" has the unknown value 8589934592";
}

void tst_InvokeService::unknownModesRefused()
{
    // Numbers from the wire become enumerations only when they name a value.
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QString, error);
    const QVariantMap dat{{"action", "om.action.OPEN"}, {key, value}};
    InvokeRequest request;
    QString sender, why;
    QCOMPARE(om::system::invokeprotocol::decodeRequest(dat, &request, &sender, &why), error.isEmpty());
    QCOMPARE(why, error);
}

QTEST_GUILESS_MAIN(tst_InvokeService)
#include "tst_invokeservice.moc"
