#include "invokeservice.h"
#include "mapsapplication.h"

#include "mapstest.h"
#include "testbroker.h"

#include <om/ppsobject.h>
#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using om::system::InvokeReply;
using om::system::InvokeRequest;
using omdevice::InvokeService;
using omdevice::MapsApplication;

namespace {

using RequestSetup = std::function<void(InvokeRequest &)>;

const QString ActionType = QStringLiteral("application/vnd.omb.map.action-v1");
const QString KmlType = QStringLiteral("application/vnd.google-earth.kml+xml");

QByteArray cString(const QByteArray &text)
{
    return text + QByteArray(1, '\0');
}

QVariantMap point(double latitude, double longitude)
{
    return {{"latitude", latitude}, {"longitude", longitude}};
}

QVariantMap with(QVariantMap map, const QVariantMap &more)
{
    for (auto it = more.begin(); it != more.end(); ++it)
        map.insert(it.key(), it.value());
    return map;
}

} // namespace

Q_DECLARE_METATYPE(RequestSetup)

class tst_InvokeService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void mapsReads_data();
    void mapsReads();
    void routing_data();
    void routing();
    void badRequests_data();
    void badRequests();
    void recordAndShow();
    void history();
    void longDataIsCutInListings();
    void survivesRestart();
    void simulatorMessages();
    void simulatorIsTheOwners();

private:
    bool startService(const QMap<QString, QString> &settings = {});
    /** Sends @p request through the invocation framework; the reply's error. */
    int invoke(const InvokeRequest &request, QString *errorString = nullptr);
    /** One request to the user's side; its answer's attributes. */
    QVariantMap simulator(const QString &msg, const QVariantMap &dat = {});

    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<InvokeService> m_service;
};

void tst_InvokeService::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", "tst.service");
}

void tst_InvokeService::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_data.reset(new QTemporaryDir);
    QVERIFY(startService());
}

void tst_InvokeService::cleanup()
{
    m_service.reset();
    m_broker.reset();
    m_data.reset();
}

bool tst_InvokeService::startService(const QMap<QString, QString> &settings)
{
    m_service.reset();
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    context.settings = settings;
    m_service.reset(new InvokeService(context, nullptr));
    QString error;
    if (!m_service->start(&error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    return true;
}

int tst_InvokeService::invoke(const InvokeRequest &request, QString *errorString)
{
    om::system::InvokeManager manager;
    std::unique_ptr<om::system::InvokeTargetReply> reply(manager.invoke(request));
    QSignalSpy finished(reply.get(), &InvokeReply::finished);
    if (!finished.wait(5000))
        return -1;
    if (errorString)
        *errorString = reply->errorString();
    return reply->error();
}

QVariantMap tst_InvokeService::simulator(const QString &msg, const QVariantMap &dat)
{
    om::PpsObject pps(QStringLiteral("/pps/simulator/invoke"));
    if (!pps.open(om::PpsOpenMode::PublishSubscribe) || pps.writeMessage(msg, QStringLiteral("1"), dat) != 0)
        return {};
    QSignalSpy ready(&pps, &om::PpsObject::readyRead);
    if (!ready.wait(5000))
        return {};
    bool ok = false;
    const QVariantMap decoded = om::PpsObject::decode(pps.read(&ok));
    return decoded.value(QStringLiteral("@invoke")).toMap();
}

void tst_InvokeService::mapsReads_data()
{
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariantMap>("view");
    QTest::addColumn<QString>("reason");

    const QVariantMap emptyMap{{"view", "map"}, {"currentLocation", false}};

    QTest::newRow("map example") << ActionType << cString(
        "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":43.6532,\"longitude\":-79.3832,"
        "\"heading\":90,\"altitude\":1200},\"search\":\"coffee\",\"search_pattern\":\"radial\","
        "\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38},\"placemark\":{\"latitude\":"
        "43.6426,\"longitude\":-79.3871,\"name\":\"Tower\",\"description\":\"Deck\",\"geocode\":"
        "false},\"geolocation\":true}")
        << QVariantMap{{"view", "map"},
                       {"center", with(point(43.6532, -79.3832), {{"heading", 90}, {"altitude", 1200}})},
                       {"search", QVariantMap{{"text", "coffee"}, {"pattern", "radial"},
                                              {"center", point(43.65, -79.38)}}},
                       {"placemark", with(point(43.6426, -79.3871), {{"name", "Tower"},
                                          {"description", "Deck"}, {"geocode", false}})},
                       {"currentLocation", true}}
        << QString();
    QTest::newRow("route example") << ActionType << cString(
        "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"properties\":{\"name\":\"Home\"},\"latitude\":"
        "43.6532,\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":\"Office\",\"address\":"
        "\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},\"nav_options\":{\"hands_free\":"
        "true,\"nav_mode\":\"shortest\",\"avoid_highways\":true,\"avoid_tolls\":false,"
        "\"transport_mode\":\"car\"},\"geolocation\":false}")
        << QVariantMap{{"view", "nav"},
                       {"start", with(point(43.6532, -79.3832), {{"name", "Home"}})},
                       {"end", with(point(43.4723, -80.5449), {{"name", "Office"}, {"address", "1 Main St"}})},
                       {"options", QVariantMap{{"hands_free", true}, {"nav_mode", "shortest"},
                                               {"avoid_highways", true}, {"avoid_tolls", false},
                                               {"transport_mode", "car"}}},
                       {"currentLocation", false}}
        << QString();
    QTest::newRow("geocoded place") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
                   "\"geolocation\":false}")
        << with(emptyMap, {{"placemark", QVariantMap{{"name", "Paris"}, {"geocode", true}}}}) << QString();
    QTest::newRow("no NUL at the end") << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"geolocation\":false}") << emptyMap << QString();
    QTest::newRow("text after the NUL is not read") << ActionType
        << QByteArray("JSON {\"view_mode\":\"map\",\"geolocation\":false}\0garbage", 51)
        << emptyMap << QString();
    QTest::newRow("device location") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"geolocation\":true}")
        << QVariantMap{{"view", "map"}, {"currentLocation", true}} << QString();
    QTest::newRow("Latin-1 name") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"search\":\"caf\xe9\",\"geolocation\":false}")
        << with(emptyMap, {{"search", QVariantMap{{"text", QStringLiteral("caf\u00e9")}}}}) << QString();

    // What cannot be read, and why.
    QTest::newRow("double quote in a name") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Joe \"Bar\",\"geocode\":true},"
                   "\"geolocation\":false}")
        << QVariantMap() << "the content is not valid after \"JSON \": unterminated object at offset 46";
    QTest::newRow("only a NUL") << ActionType << QByteArray(1, '\0') << QVariantMap()
                                << "the content is empty";
    QTest::newRow("no keyword") << ActionType << cString("{\"view_mode\":\"map\"}") << QVariantMap()
                                << "the content does not begin with \"JSON {\"";
    QTest::newRow("no view mode") << ActionType << cString("JSON {\"geolocation\":true}")
                                  << QVariantMap() << "the content has no \"view_mode\"";
    QTest::newRow("unknown view mode") << ActionType << cString("JSON {\"view_mode\":\"3d\"}")
                                       << QVariantMap() << "\"view_mode\" has the unknown value \"3d\"";
    QTest::newRow("latitude as text") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":\"1\",\"longitude\":2}}")
        << QVariantMap() << "\"center.latitude\" is not a number";
    QTest::newRow("end point without longitude") << ActionType
        << cString("JSON {\"view_mode\":\"nav\",\"nav_end\":{\"latitude\":1}}")
        << QVariantMap() << "\"nav_end\" has no \"longitude\"";
    QTest::newRow("placemark with half a pair") << ActionType
        << cString("JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":1,\"geocode\":false}}")
        << QVariantMap() << "\"placemark\" has only one of latitude and longitude";
    QTest::newRow("options not an object") << ActionType
        << cString("JSON {\"view_mode\":\"nav\",\"nav_options\":true}")
        << QVariantMap() << "\"nav_options\" is not an object";

    // KML.
    QTest::newRow("KML placemarks") << KmlType << cString(
        "<?xml version=\"1.0\"?><kml xmlns=\"http://www.opengis.net/kml/2.2\"><Document>"
        "<name>Trip</name><Placemark><name>Paris</name><description>City</description>"
        "<Point><coordinates> 2.3522,48.8566,35 </coordinates></Point></Placemark>"
        "<Folder><Placemark><name>Lyon</name><address>Place Bellecour</address></Placemark></Folder>"
        "</Document></kml>")
        << QVariantMap{{"view", "kml"},
                       {"placemarks", QVariantList{with(point(48.8566, 2.3522), {{"name", "Paris"},
                                                        {"description", "City"}, {"altitude", 35}}),
                                                   QVariantMap{{"name", "Lyon"}, {"address", "Place Bellecour"}}}}}
        << QString();
    QTest::newRow("KML without placemarks") << KmlType << cString("<kml/>")
        << QVariantMap{{"view", "kml"}, {"placemarks", QVariantList()}} << QString();
    QTest::newRow("empty KML") << KmlType << QByteArray(1, '\0') << QVariantMap() << "the KML is empty";
    QTest::newRow("not KML") << KmlType << cString("<html/>") << QVariantMap()
                             << "the root element is <html>, not <kml>";
    QTest::newRow("malformed KML") << KmlType << cString("<kml>\n<Placemark>\n</kml>") << QVariantMap()
        << "the KML is not well-formed: Opening and ending tag mismatch. (line 3, column 6)";
    QTest::newRow("bad KML coordinates") << KmlType
        << cString("<kml><Placemark><Point><coordinates>north</coordinates></Point></Placemark></kml>")
        << QVariantMap() << "the coordinates \"north\" are not longitude,latitude[,altitude]";
    QTest::newRow("other type") << QStringLiteral("text/plain") << cString("hi") << QVariantMap()
                                << "the maps application does not read \"text/plain\"";
}

void tst_InvokeService::mapsReads()
{
    QFETCH(QString, mimeType);
    QFETCH(QByteArray, data);
    QFETCH(QVariantMap, view);
    QFETCH(QString, reason);
    QString why;
    const QVariantMap read = MapsApplication::read(mimeType, data, &why);
    QCOMPARE(why, reason);
    QCOMPARE(read, view);
}

void tst_InvokeService::routing_data()
{
    QTest::addColumn<RequestSetup>("setup");
    QTest::addColumn<int>("error");
    QTest::addColumn<QString>("errorString");

    auto request = [](const QString &target, const QString &action, const QString &type) {
        return RequestSetup([=](InvokeRequest &r) {
            r.setTarget(target);
            r.setAction(action);
            r.setMimeType(type);
            r.setData(cString("JSON {\"view_mode\":\"map\",\"geolocation\":false}"));
        });
    };
    const QString open = QStringLiteral("om.action.OPEN");

    QTest::newRow("map content") << request({}, open, ActionType) << 0 << QString();
    QTest::newRow("KML") << request({}, open, KmlType) << 0 << QString();
    QTest::newRow("type with case and parameters")
        << request({}, open, QStringLiteral("Application/VND.omb.map.action-v1; charset=US-ASCII"))
        << 0 << QString();
    QTest::newRow("other action") << request({}, QStringLiteral("om.action.VIEW"), ActionType)
        << int(InvokeReply::NoTarget)
        << "no target handles action \"om.action.VIEW\" with type \"application/vnd.omb.map.action-v1\"";
    QTest::newRow("other type") << request({}, open, QStringLiteral("text/plain"))
        << int(InvokeReply::NoTarget) << "no target handles action \"om.action.OPEN\" with type \"text/plain\"";
    QTest::newRow("no type") << request({}, open, {}) << int(InvokeReply::NoTarget)
                             << "no target handles action \"om.action.OPEN\" with type \"\"";
    QTest::newRow("neither target nor action") << request({}, {}, ActionType)
        << int(InvokeReply::BadRequest) << "the request names neither a target nor an action";
    QTest::newRow("named target without action") << request(QStringLiteral("om.maps"), {}, KmlType)
                                                 << 0 << QString();
    QTest::newRow("unknown target") << request(QStringLiteral("om.browser"), open, ActionType)
        << int(InvokeReply::NoTarget) << "no target is named \"om.browser\"";
    QTest::newRow("named target, other type") << request(QStringLiteral("om.maps"), open, QStringLiteral("image/png"))
        << int(InvokeReply::TargetFailed)
        << "target \"om.maps\" does not handle action \"om.action.OPEN\" with type \"image/png\"";
}

void tst_InvokeService::routing()
{
    QFETCH(RequestSetup, setup);
    QFETCH(int, error);
    QFETCH(QString, errorString);
    InvokeRequest request;
    setup(request);
    QString text;
    QCOMPARE(invoke(request, &text), error);
    QCOMPARE(text, errorString);
    // Every invocation is recorded, taken or not.
    QCOMPARE(m_service->invocations().size(), 1);
    const omdevice::Invocation recorded = m_service->invocations().last();
    QCOMPARE(recorded.error, error);
    QCOMPARE(recorded.errorText, errorString);
    QCOMPARE(recorded.target, error == 0 ? QStringLiteral("om.maps") : QString());
    QCOMPARE(recorded.mimeType, request.mimeType());
    QCOMPARE(recorded.data, request.data());
    QCOMPARE(recorded.sender, QStringLiteral("tst.service"));
    // Only what was taken reaches the maps application.
    QCOMPARE(m_service->maps().shown().isEmpty(), error != 0);
}

void tst_InvokeService::badRequests_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<QString>("errorString");

    QTest::newRow("unknown message") << QByteArray("msg::open\nid::7\n") << "unknown message \"open\"";
    QTest::newRow("no dat") << QByteArray("msg::invoke\nid::7\n") << "the request has no \"dat\" object";
    QTest::newRow("dat not an object") << QByteArray("msg::invoke\nid::7\ndat::text\n")
                                       << "the request has no \"dat\" object";
    QTest::newRow("data not base64") << QByteArray("msg::invoke\nid::7\ndat:json:{\"action\":\"a\",\"data\":\"***\"}\n")
                                     << "\"data\" is not base64";
    QTest::newRow("action not text") << QByteArray("msg::invoke\nid::7\ndat:json:{\"action\":5}\n")
                                     << "\"action\" is not a string";
    QTest::newRow("perimeter not a number") << QByteArray("msg::invoke\nid::7\ndat:json:{\"perimeter\":\"x\"}\n")
                                            << "\"perimeter\" is not a number";
    QTest::newRow("metadata not an object") << QByteArray("msg::invoke\nid::7\ndat:json:{\"metadata\":[1]}\n")
                                            << "\"metadata\" is not an object";
    QTest::newRow("undecodable") << QByteArray("msg::invoke\nid::7\ncount:n:abc\n")
                                 << "the request cannot be decoded";
}

void tst_InvokeService::badRequests()
{
    QFETCH(QByteArray, message);
    QFETCH(QString, errorString);
    om::PpsObject pps(mapstest::invokeControlPath());
    QVERIFY(pps.open(om::PpsOpenMode::PublishSubscribe));
    QVERIFY(pps.write(message));
    QSignalSpy ready(&pps, &om::PpsObject::readyRead);
    QVERIFY(ready.wait(5000));
    bool ok = false;
    const QVariantMap answer = om::PpsObject::decode(pps.read(&ok)).value(QStringLiteral("@control")).toMap();
    QVERIFY(ok);
    QCOMPARE(answer.value(QStringLiteral("err")).toInt(), int(InvokeReply::BadRequest));
    QCOMPARE(answer.value(QStringLiteral("errstr")).toString(), errorString);
    // Refused before routing: nothing is recorded.
    QVERIFY(m_service->invocations().isEmpty());
}

void tst_InvokeService::recordAndShow()
{
    InvokeRequest request;
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setMimeType(KmlType);
    request.setUri(QStringLiteral("file:///tmp/trip.kml"));
    request.setData(cString("<kml><Placemark><name>P</name></Placemark></kml>"));
    QCOMPARE(invoke(request), 0);

    const QVariantMap listing = simulator(QStringLiteral("invocations"));
    QCOMPARE(listing.value(QStringLiteral("res")).toString(), QStringLiteral("invocations"));
    const QVariantMap dat = listing.value(QStringLiteral("dat")).toMap();
    QCOMPARE(dat.value(QStringLiteral("total")).toInt(), 1);
    const QVariantMap entry = dat.value(QStringLiteral("invocations")).toList().value(0).toMap();
    QCOMPARE(entry.value(QStringLiteral("sender")).toString(), QStringLiteral("tst.service"));
    QCOMPARE(entry.value(QStringLiteral("action")).toString(), QStringLiteral("om.action.OPEN"));
    QCOMPARE(entry.value(QStringLiteral("mimeType")).toString(), KmlType);
    QCOMPARE(entry.value(QStringLiteral("uri")).toString(), QStringLiteral("file:///tmp/trip.kml"));
    QCOMPARE(entry.value(QStringLiteral("target")).toString(), QStringLiteral("om.maps"));
    QCOMPARE(entry.value(QStringLiteral("error")).toInt(), 0);
    QCOMPARE(QByteArray::fromBase64(entry.value(QStringLiteral("data")).toString().toLatin1()), request.data());
    QCOMPARE(entry.value(QStringLiteral("dataSize")).toInt(), request.data().size());

    const QVariantMap shown = simulator(QStringLiteral("maps")).value(QStringLiteral("dat")).toMap();
    QCOMPARE(shown.value(QStringLiteral("readable")).toBool(), true);
    QCOMPARE(shown.value(QStringLiteral("view")).toString(), QStringLiteral("kml"));
    QCOMPARE(shown.value(QStringLiteral("sender")).toString(), QStringLiteral("tst.service"));
    QCOMPARE(shown.value(QStringLiteral("size")).toInt(), request.data().size());
    QCOMPARE(shown.value(QStringLiteral("placemarks")).toList(),
             (QVariantList{QVariantMap{{"name", "P"}}}));

    // Content it cannot read is taken all the same, and the reason kept.
    request.setMimeType(ActionType);
    request.setData(cString("JSON {"));
    QCOMPARE(invoke(request), 0);
    const QVariantMap unreadable = simulator(QStringLiteral("maps")).value(QStringLiteral("dat")).toMap();
    QCOMPARE(unreadable.value(QStringLiteral("readable")).toBool(), false);
    QCOMPARE(unreadable.value(QStringLiteral("reason")).toString(),
             QStringLiteral("the content is not valid after \"JSON \": unterminated object at offset 1"));
    QVERIFY(!unreadable.contains(QStringLiteral("view")));
}

void tst_InvokeService::history()
{
    QVERIFY(startService({{QStringLiteral("invoke.history"), QStringLiteral("3")}}));
    for (int i = 0; i < 5; ++i) {
        InvokeRequest request;
        request.setAction(QStringLiteral("a%1").arg(i));
        request.setMimeType(ActionType);
        QCOMPARE(invoke(request), int(InvokeReply::NoTarget));
    }
    QCOMPARE(m_service->invocations().size(), 3);
    const QVariantMap dat = simulator(QStringLiteral("invocations"), {{"last", 2}})
                                .value(QStringLiteral("dat")).toMap();
    QCOMPARE(dat.value(QStringLiteral("total")).toInt(), 3);
    QStringList actions;
    for (const QVariant &entry : dat.value(QStringLiteral("invocations")).toList())
        actions.append(entry.toMap().value(QStringLiteral("action")).toString());
    QCOMPARE(actions, (QStringList{"a3", "a4"})); // oldest first
}

void tst_InvokeService::longDataIsCutInListings()
{
    for (int i = 0; i < 3; ++i) {
        InvokeRequest request;
        request.setAction(QStringLiteral("om.action.OPEN"));
        request.setMimeType(KmlType);
        request.setData(cString("<kml>" + QByteArray(40000, ' ') + "</kml>"));
        QCOMPARE(invoke(request), 0);
    }
    const QVariantMap dat = simulator(QStringLiteral("invocations")).value(QStringLiteral("dat")).toMap();
    const QVariantList listed = dat.value(QStringLiteral("invocations")).toList();
    QCOMPARE(listed.size(), 3);
    for (const QVariant &entry : listed) {
        QCOMPARE(entry.toMap().value(QStringLiteral("dataSize")).toInt(), 40012);
        QCOMPARE(QByteArray::fromBase64(entry.toMap().value(QStringLiteral("data")).toString().toLatin1()).size(), 4096);
    }
    // The record itself keeps everything.
    QCOMPARE(m_service->invocations().last().data.size(), 40012);
}

void tst_InvokeService::survivesRestart()
{
    InvokeRequest request;
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setMimeType(ActionType);
    request.setData(cString("JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
                            "\"geolocation\":false}"));
    QCOMPARE(invoke(request), 0);
    const QVariantMap shown = m_service->maps().shown();

    QVERIFY(startService());
    QCOMPARE(m_service->invocations().size(), 1);
    QCOMPARE(m_service->invocations().first().data, request.data());
    QCOMPARE(m_service->maps().shown(), shown);
}

void tst_InvokeService::simulatorMessages()
{
    QCOMPARE(simulator(QStringLiteral("maps")).value(QStringLiteral("dat")).toMap(), QVariantMap());

    const QVariantMap targets = simulator(QStringLiteral("targets")).value(QStringLiteral("dat")).toMap();
    QCOMPARE(targets.value(QStringLiteral("targets")).toList(),
             (QVariantList{QVariantMap{{"name", "om.maps"},
                                       {"actions", QStringList{"om.action.OPEN"}},
                                       {"mimeTypes", QStringList{ActionType, KmlType}}}}));

    InvokeRequest request;
    request.setAction(QStringLiteral("x"));
    QCOMPARE(invoke(request), int(InvokeReply::NoTarget));
    QCOMPARE(invoke(request), int(InvokeReply::NoTarget));
    QCOMPARE(simulator(QStringLiteral("clear")).value(QStringLiteral("dat")).toMap(),
             (QVariantMap{{"cleared", 2}}));
    QVERIFY(m_service->invocations().isEmpty());

    const QVariantMap unknown = simulator(QStringLiteral("press"));
    QCOMPARE(unknown.value(QStringLiteral("err")).toString(), QStringLiteral("unknown message \"press\""));
}

void tst_InvokeService::simulatorIsTheOwners()
{
    // Another user may invoke, but not play the device's user.
    const pid_t child = ::fork();
    if (child == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(100);
        om::PpsObject simulator(QStringLiteral("/pps/simulator/invoke"));
        const int simulatorError = simulator.open() ? 0 : simulator.error();
        om::PpsObject control(mapstest::invokeControlPath());
        const int controlError = control.open() ? 0 : control.error();
        ::_exit(simulatorError == EACCES && controlError == 0 ? 0 : 1);
    }
    QVERIFY(child > 0);
    int status = 0;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 0);
}

QTEST_GUILESS_MAIN(tst_InvokeService)
#include "tst_invokeservice.moc"
