#include "deviceprocess.h"

#include <om/platform/locationmapinvoker.h>
#include <om/platform/routemapinvoker.h>
#include <om/system/invoketargetreply.h>

#include <QtTest>

#include <functional>
#include <memory>

using namespace om::platform;
using omtest::DeviceProcess;

namespace {

using InvokerFactory = std::function<MapInvoker *()>;

QStringList omctl(const QStringList &arguments)
{
    return QString::fromLocal8Bit(DeviceProcess::omctl(arguments).out).split('\n', Qt::SkipEmptyParts);
}

/** go(), and wait until the device has answered: the reply lives until then. */
void goAndWait(MapInvoker *invoker)
{
    invoker->go();
    QCOMPARE(invoker->findChildren<om::system::InvokeTargetReply *>().size(), 1);
    QTRY_COMPARE(invoker->findChildren<om::system::InvokeTargetReply *>().size(), 0);
}

} // namespace

Q_DECLARE_METATYPE(InvokerFactory)

class tst_MapsEndToEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { m_device.reset(); }

    void goReachesTheMapsApplication_data();
    void goReachesTheMapsApplication();
    void listingClearingAndTargets();
    void omctlRefusesArguments();

private:
    std::unique_ptr<DeviceProcess> m_device;
};

void tst_MapsEndToEnd::init()
{
    qputenv("OM_PACKAGE_NAME", "tst.maps.e2e");
    m_device.reset(new DeviceProcess);
    QVERIFY2(m_device->start(), m_device->output().constData());
}

void tst_MapsEndToEnd::goReachesTheMapsApplication_data()
{
    QTest::addColumn<InvokerFactory>("factory");
    QTest::addColumn<QString>("content");
    QTest::addColumn<QString>("mimeType");
    QTest::addColumn<QStringList>("shown");

    const QString action = QStringLiteral("application/vnd.omb.map.action-v1");
    const QString kml = QStringLiteral(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?><kml xmlns=\"http://www.opengis.net/kml/2.2\">"
        "<Placemark><name>Eiffel Tower</name><Point><coordinates>2.2945,48.8584</coordinates>"
        "</Point></Placemark></kml>");

    QTest::newRow("place") << InvokerFactory([] {
        auto *location = new LocationMapInvoker;
        location->setLocationLatitude(43.6426), location->setLocationLongitude(-79.3871);
        location->setLocationName(QStringLiteral("Tower"));
        location->setLocationDescription(QStringLiteral("Deck"));
        return location;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":43.6426,\"longitude\":-79.3871,"
          "\"name\":\"Tower\",\"description\":\"Deck\",\"geocode\":false},\"geolocation\":false}"
       << action << QStringList{"view: map", "place: \"Tower\", description \"Deck\", at 43.6426, -79.3871, "
                                "geocode off", "current location: not shown"};
    QTest::newRow("route") << InvokerFactory([] {
        auto *route = new RouteMapInvoker;
        route->setStartLatitude(43.6532), route->setStartLongitude(-79.3832);
        route->setStartName(QStringLiteral("Home"));
        route->setEndLatitude(43.4723), route->setEndLongitude(-80.5449);
        route->setEndName(QStringLiteral("Office")), route->setEndAddress(QStringLiteral("1 Main St"));
        route->setHandsFreeNavigation(HandsFreeNavigation::Enabled);
        route->setNavigationMode(MapNavigationMode::ShortestRoute);
        route->setAvoidHighwaysEnabled(true);
        route->setTransportationMode(MapTransportationMode::Car);
        return route;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"properties\":{\"name\":\"Home\"},\"latitude\":"
          "43.6532,\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":\"Office\",\"address\":"
          "\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},\"nav_options\":{\"hands_free\":"
          "true,\"nav_mode\":\"shortest\",\"avoid_highways\":true,\"avoid_tolls\":false,"
          "\"transport_mode\":\"car\"},\"geolocation\":false}"
       << action
       << QStringList{"view: route", "start: \"Home\", at 43.6532, -79.3832",
                      "end: \"Office\", address \"1 Main St\", at 43.4723, -80.5449",
                      "options: hands-free on, shortest route, avoid highways on, avoid tolls off, by car",
                      "current location: not shown"};
    QTest::newRow("KML") << InvokerFactory([kml] {
        auto *location = new LocationMapInvoker;
        location->setKmlContent(kml);
        return location;
    }) << kml << QStringLiteral("application/vnd.google-earth.kml+xml")
       << QStringList{"view: KML places", "place: \"Eiffel Tower\", at 48.8584, 2.2945"};
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
    const QStringList listed = omctl({"invocations"});
    QCOMPARE(listed.size(), 4);
    QVERIFY2(listed.at(0).startsWith(QLatin1String("1. "))
                 && listed.at(0).endsWith(QLatin1String(" from tst.maps.e2e: taken by om.maps")),
             qPrintable(listed.at(0)));
    QCOMPARE(listed.mid(1), (QStringList{"   action: om.action.OPEN", "   type: " + mimeType,
                                         QStringLiteral("   data (%1 bytes): %2\\0").arg(size).arg(content)}));

    const DeviceProcess::Result maps = DeviceProcess::omctl({"maps"});
    QCOMPARE(maps.exitCode, 0);
    QCOMPARE(maps.err, QByteArray());
    const QStringList printed = QString::fromLocal8Bit(maps.out).split('\n', Qt::SkipEmptyParts);
    QVERIFY(printed.size() >= 2);
    QVERIFY2(printed.at(0).startsWith(QLatin1String("asked by: tst.maps.e2e at ")), qPrintable(printed.at(0)));
    QCOMPARE(printed.at(1), QStringLiteral("type: %1 (%2 bytes)").arg(mimeType).arg(size));
    QCOMPARE(printed.mid(2), shown);
}

void tst_MapsEndToEnd::listingClearingAndTargets()
{
    QCOMPARE(omctl({"maps"}), QStringList{"The maps application has not been asked to show anything."});
    LocationMapInvoker location;
    goAndWait(&location);
    goAndWait(&location);
    QCOMPARE(omctl({"invocations", "--clear"}), QStringList{"Cleared 2 invocations."});
    QCOMPARE(omctl({"invocations"}), QStringList{"No invocations."});
    // The maps application first; the payment service's store screen after it.
    QCOMPARE(omctl({"invocations", "--targets"}).mid(0, 3),
             (QStringList{"om.maps", "  actions: om.action.OPEN",
                          "  types:   application/vnd.omb.map.action-v1, application/vnd.google-earth.kml+xml"}));
}

void tst_MapsEndToEnd::omctlRefusesArguments()
{
    const DeviceProcess::Result result = DeviceProcess::omctl({"maps", "now"});
    QCOMPARE(result.exitCode, 2);
    QCOMPARE(result.out + result.err, QByteArray("omctl: maps takes no arguments (see 'omctl --help')\n"));
}

QTEST_GUILESS_MAIN(tst_MapsEndToEnd)
#include "tst_maps_e2e.moc"
