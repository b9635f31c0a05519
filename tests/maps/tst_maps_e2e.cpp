#include "deviceprocess.h"

#include <om/platform/locationmapinvoker.h>
#include <om/platform/routemapinvoker.h>
#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>

#include <QtTest>

#include <functional>
#include <memory>

using namespace om::platform;
using omtest::DeviceProcess;

namespace {

using InvokerFactory = std::function<MapInvoker *()>;

const QString Kml = QStringLiteral(
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><kml xmlns=\"http://www.opengis.net/kml/2.2\">"
    "<Placemark><name>Eiffel Tower</name><Point><coordinates>2.2945,48.8584</coordinates></Point>"
    "</Placemark></kml>");

QStringList lines(const QByteArray &out)
{
    return QString::fromLocal8Bit(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

RouteMapInvoker *workedRoute()
{
    auto *route = new RouteMapInvoker;
    route->setStartLatitude(43.6532);
    route->setStartLongitude(-79.3832);
    route->setStartName(QStringLiteral("Home"));
    route->setEndLatitude(43.4723);
    route->setEndLongitude(-80.5449);
    route->setEndName(QStringLiteral("Office"));
    route->setEndAddress(QStringLiteral("1 Main St"));
    route->setHandsFreeNavigation(HandsFreeNavigation::Enabled);
    route->setNavigationMode(MapNavigationMode::ShortestRoute);
    route->setAvoidHighwaysEnabled(true);
    route->setTransportationMode(MapTransportationMode::Car);
    return route;
}

const QStringList WorkedRouteLines{
    "view: route",
    "start: \"Home\", at 43.6532, -79.3832",
    "end: \"Office\", address \"1 Main St\", at 43.4723, -80.5449",
    "options: hands-free on, shortest route, avoid highways on, avoid tolls off, by car",
    "current location: not shown"};

} // namespace

Q_DECLARE_METATYPE(InvokerFactory)

class tst_MapsEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void goReachesTheMapsApplication_data();
    void goReachesTheMapsApplication();
    void keptAcrossRestart();
    void refusedInvocationIsListed();
    void clearAndTargets();
    void omctlErrors_data();
    void omctlErrors();

private:
    /** go() and wait until the device has answered the invocation. */
    static void goAndWait(MapInvoker *invoker);

    std::unique_ptr<DeviceProcess> m_device;
};

void tst_MapsEndToEnd::initTestCase()
{
    qputenv("OM_PACKAGE_NAME", "tst.maps.e2e");
}

void tst_MapsEndToEnd::init()
{
    m_device.reset(new DeviceProcess);
    QVERIFY2(m_device->start(), m_device->output().constData());
}

void tst_MapsEndToEnd::cleanup()
{
    m_device.reset();
}

void tst_MapsEndToEnd::goAndWait(MapInvoker *invoker)
{
    invoker->go();
    // The reply lives until the device has answered.
    QCOMPARE(invoker->findChildren<om::system::InvokeTargetReply *>().size(), 1);
    QTRY_COMPARE(invoker->findChildren<om::system::InvokeTargetReply *>().size(), 0);
}

void tst_MapsEndToEnd::goReachesTheMapsApplication_data()
{
    QTest::addColumn<InvokerFactory>("factory");
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QStringList>("shown");

    const QString action = QStringLiteral("application/vnd.omb.map.action-v1");
    const QString kml = QStringLiteral("application/vnd.google-earth.kml+xml");

    QTest::newRow("geocoded place") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setLocationName(QStringLiteral("Paris"));
        location->setGeocodeLocationEnabled(true);
        return location;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},\"geolocation\":false}"
       << action
       << QStringList{"view: map", "place: \"Paris\", geocode on", "current location: not shown"};
    QTest::newRow("map view") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setCenterLatitude(43.6532);
        location->setCenterLongitude(-79.3832);
        location->setAltitude(1200);
        location->setHeading(90);
        location->setSearchText(QStringLiteral("coffee"));
        location->setSearchLatitude(43.65);
        location->setSearchLongitude(-79.38);
        location->setLocationLatitude(43.6426);
        location->setLocationLongitude(-79.3871);
        location->setLocationName(QStringLiteral("Tower"));
        location->setLocationDescription(QStringLiteral("Deck"));
        location->setCurrentLocationEnabled(true);
        return location;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":43.6532,\"longitude\":-79.3832,"
          "\"heading\":90,\"altitude\":1200},\"search\":\"coffee\",\"search_pattern\":\"radial\","
          "\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38},\"placemark\":{\"latitude\":"
          "43.6426,\"longitude\":-79.3871,\"name\":\"Tower\",\"description\":\"Deck\",\"geocode\":"
          "false},\"geolocation\":true}"
       << action
       << QStringList{"view: map", "center: 43.6532, -79.3832, heading 90, altitude 1200",
                      "place: \"Tower\", description \"Deck\", at 43.6426, -79.3871, geocode off",
                      "search: \"coffee\", radial, around 43.65, -79.38", "current location: shown"};
    QTest::newRow("route") << InvokerFactory([] { return workedRoute(); })
        << "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"properties\":{\"name\":\"Home\"},\"latitude\":"
           "43.6532,\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":\"Office\",\"address\":"
           "\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},\"nav_options\":{\"hands_free\":"
           "true,\"nav_mode\":\"shortest\",\"avoid_highways\":true,\"avoid_tolls\":false,"
           "\"transport_mode\":\"car\"},\"geolocation\":false}"
        << action << WorkedRouteLines;
    QTest::newRow("KML") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setKmlContent(Kml);
        return location;
    }) << Kml << kml << QStringList{"view: KML places", "place: \"Eiffel Tower\", at 48.8584, 2.2945"};
    QTest::newRow("empty KML") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setKmlContent(Kml);
        location->setKmlContent(QLatin1String(""));
        return location;
    }) << QString(QLatin1String("")) << kml << QStringList{"could not read it: the KML is empty"};
    QTest::newRow("double quote in a name") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setLocationName(QStringLiteral("Joe \"Bar"));
        location->setGeocodeLocationEnabled(true);
        return location;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Joe \"Bar\",\"geocode\":true},\"geolocation\":false}"
       << action
       << QStringList{"could not read it: the content is not valid after \"JSON \": unterminated object at offset 46"};
}

void tst_MapsEndToEnd::goReachesTheMapsApplication()
{
    QFETCH(InvokerFactory, factory);
    QFETCH(QString, content);
    QFETCH(QString, mimeType);
    QFETCH(QStringList, shown);
    std::unique_ptr<MapInvoker> invoker(factory());
    goAndWait(invoker.get());
    if (QTest::currentTestFailed())
        return;

    // The payload is the content and its NUL.
    const int size = content.toLatin1().size() + 1;
    const DeviceProcess::Result invocations = DeviceProcess::omctl({"invocations"});
    QCOMPARE(invocations.exitCode, 0);
    const QStringList listed = lines(invocations.out);
    QCOMPARE(listed.size(), 4);
    QVERIFY2(listed.at(0).startsWith(QLatin1String("1. ")), qPrintable(listed.at(0)));
    QVERIFY2(listed.at(0).endsWith(QLatin1String(" from tst.maps.e2e: taken by om.maps")), qPrintable(listed.at(0)));
    QCOMPARE(listed.at(1), QStringLiteral("   action: om.action.OPEN"));
    QCOMPARE(listed.at(2), QStringLiteral("   type: ") + mimeType);
    QCOMPARE(listed.at(3), QStringLiteral("   data (%1 bytes): %2\\0").arg(size).arg(content));

    const DeviceProcess::Result maps = DeviceProcess::omctl({"maps"});
    QCOMPARE(maps.exitCode, 0);
    QCOMPARE(maps.err, QByteArray());
    const QStringList printed = lines(maps.out);
    QVERIFY(printed.size() >= 2);
    QVERIFY2(printed.at(0).startsWith(QLatin1String("asked by: tst.maps.e2e at ")), qPrintable(printed.at(0)));
    QCOMPARE(printed.at(1), QStringLiteral("type: %1 (%2 bytes)").arg(mimeType).arg(size));
    QCOMPARE(printed.mid(2), shown);
}

void tst_MapsEndToEnd::keptAcrossRestart()
{
    std::unique_ptr<RouteMapInvoker> route(workedRoute());
    goAndWait(route.get());
    QVERIFY(m_device->stop());
    QVERIFY(m_device->start());
    QCOMPARE(lines(DeviceProcess::omctl({"maps"}).out).mid(2), WorkedRouteLines);
    const QStringList listed = lines(DeviceProcess::omctl({"invocations"}).out);
    QCOMPARE(listed.size(), 4);
    QVERIFY(listed.at(0).endsWith(QLatin1String("taken by om.maps")));
}

void tst_MapsEndToEnd::refusedInvocationIsListed()
{
    om::system::InvokeRequest request;
    request.setAction(QStringLiteral("om.action.SHARE"));
    request.setMimeType(QStringLiteral("text/plain"));
    request.setData("hi\n");
    om::system::InvokeManager manager;
    std::unique_ptr<om::system::InvokeTargetReply> reply(manager.invoke(request));
    QSignalSpy finished(reply.get(), &om::system::InvokeReply::finished);
    QVERIFY(finished.wait(5000));
    QCOMPARE(reply->error(), int(om::system::InvokeReply::NoTarget));

    const QStringList listed = lines(DeviceProcess::omctl({"invocations", "--last", "5"}).out);
    QCOMPARE(listed.size(), 4);
    QVERIFY2(listed.at(0).endsWith(QLatin1String(
                 "from tst.maps.e2e: refused, error 1: no target handles action \"om.action.SHARE\" "
                 "with type \"text/plain\"")),
             qPrintable(listed.at(0)));
    QCOMPARE(listed.at(3), QStringLiteral("   data (3 bytes): hi\\n"));
    // Nothing reached the maps application.
    QCOMPARE(lines(DeviceProcess::omctl({"maps"}).out),
             QStringList{"The maps application has not been asked to show anything."});
}

void tst_MapsEndToEnd::clearAndTargets()
{
    LocationMapInvoker location;
    goAndWait(&location);
    goAndWait(&location);
    const DeviceProcess::Result cleared = DeviceProcess::omctl({"invocations", "--clear"});
    QCOMPARE(cleared.exitCode, 0);
    QCOMPARE(lines(cleared.out), QStringList{"Cleared 2 invocations."});
    QCOMPARE(lines(DeviceProcess::omctl({"invocations"}).out), QStringList{"No invocations."});

    const DeviceProcess::Result targets = DeviceProcess::omctl({"invocations", "--targets"});
    QCOMPARE(targets.exitCode, 0);
    QCOMPARE(lines(targets.out),
             (QStringList{"om.maps", "  actions: om.action.OPEN",
                          "  types:   application/vnd.omb.map.action-v1, application/vnd.google-earth.kml+xml"}));
}

void tst_MapsEndToEnd::omctlErrors_data()
{
    QTest::addColumn<QStringList>("deviceArguments"); // empty: no device at all
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QString>("error");

    const QStringList all{"--services=all"};
    QTest::newRow("maps with an argument") << all << QStringList{"maps", "now"} << 2
        << "omctl: maps takes no arguments (see 'omctl --help')";
    QTest::newRow("last zero") << all << QStringList{"invocations", "--last", "0"} << 2
        << "omctl: --last needs a positive number (see 'omctl --help')";
    QTest::newRow("last without number") << all << QStringList{"invocations", "--last"} << 2
        << "omctl: unexpected argument '--last' (see 'omctl --help')";
    QTest::newRow("clear and targets") << all << QStringList{"invocations", "--clear", "--targets"} << 2
        << "omctl: --clear and --targets do not go together (see 'omctl --help')";
    QTest::newRow("no invocation service") << QStringList{"--services=notifications"}
        << QStringList{"maps"} << 1 << "omctl: /pps/simulator/invoke: no such object";
    QTest::newRow("no device") << QStringList() << QStringList{"invocations"} << 1
        << "omctl: /pps/simulator/invoke: no bus broker is running at %1 (start omdeviced)";
}

void tst_MapsEndToEnd::omctlErrors()
{
    QFETCH(QStringList, deviceArguments);
    QFETCH(QStringList, arguments);
    QFETCH(int, exitCode);
    QFETCH(QString, error);
    QVERIFY(m_device->stop());
    if (!deviceArguments.isEmpty())
        QVERIFY(m_device->start(deviceArguments));
    const DeviceProcess::Result result = DeviceProcess::omctl(arguments);
    QCOMPARE(result.exitCode, exitCode);
    QCOMPARE(result.out, QByteArray());
    if (error.contains(QLatin1String("%1")))
        error = error.arg(m_device->root());
    QCOMPARE(lines(result.err), QStringList{error});
}

QTEST_GUILESS_MAIN(tst_MapsEndToEnd)
#include "tst_maps_e2e.moc"
