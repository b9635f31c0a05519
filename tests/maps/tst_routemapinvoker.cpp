#include "mapstest.h"

#include <om/platform/contentformatutility.h>
#include <om/platform/routemapinvoker.h>

#include <QtTest>

using namespace om::platform;

namespace {

using Step = std::function<void(RouteMapInvoker &)>;

const QString ActionType = QStringLiteral("application/vnd.omb.map.action-v1");

QByteArray navContent(const QByteArray &members)
{
    return "JSON {\"view_mode\":\"nav\"," + members + "\"geolocation\":false}";
}

} // namespace

Q_DECLARE_METATYPE(Step)

class tst_RouteMapInvoker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("OM_PACKAGE_NAME", "routemapinvoker"); }
    void init();
    void cleanup();

    void scenario_data();
    void scenario();

private:
    mapstest::FakeInvokeService m_service;
};

void tst_RouteMapInvoker::init()
{
    QVERIFY(m_service.start());
}

void tst_RouteMapInvoker::cleanup()
{
    m_service.stop();
}

void tst_RouteMapInvoker::scenario_data()
{
    mapstest::addScenarioColumns<RouteMapInvoker>();

    const QVariant null = QVariant(QString());

    QTest::newRow("new object") << Step() << Step([](RouteMapInvoker &) {}) << QStringList()
        << QVariantMap{{"startLatitude", UnsetCoordinate}, {"endName", null},
                       {"handsFreeNavigation", 0}, {"navigationMode", 0}, {"transportationMode", 0},
                       {"avoidTollsEnabled", false}, {"avoidHighwaysEnabled", false}}
        << ActionType << navContent("");
    QTest::newRow("worked example through the setters") << Step() << Step([](RouteMapInvoker &i) {
        i.setStartLatitude(43.6532);
        i.setStartLongitude(-79.3832);
        i.setStartName(QStringLiteral("Home"));
        i.setEndLatitude(43.4723);
        i.setEndLongitude(-80.5449);
        i.setEndName(QStringLiteral("Office"));
        i.setEndAddress(QStringLiteral("1 Main St"));
        i.setHandsFreeNavigation(HandsFreeNavigation::Enabled);
        i.setNavigationMode(MapNavigationMode::ShortestRoute);
        i.setAvoidHighwaysEnabled(true);
        i.setAvoidTollsEnabled(false);
        i.setTransportationMode(MapTransportationMode::Car);
    }) << QStringList{"startLatitudeChanged(43.6532)", "startLongitudeChanged(-79.3832)",
                      "startNameChanged(\"Home\")", "endLatitudeChanged(43.4723)",
                      "endLongitudeChanged(-80.5449)", "endNameChanged(\"Office\")",
                      "endAddressChanged(\"1 Main St\")", "handsFreeNavigationChanged(Enabled)",
                      "handsFreeNavigationChanged(1)", "navigationModeChanged(ShortestRoute)",
                      "navigationModeChanged(2)", "avoidHighwaysEnabledChanged(true)",
                      "transportationModeChanged(Car)", "transportationModeChanged(1)"}
       << QVariantMap() << ActionType
       << navContent("\"nav_start\":{\"properties\":{\"name\":\"Home\"},\"latitude\":43.6532,"
                     "\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":\"Office\","
                     "\"address\":\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},"
                     "\"nav_options\":{\"hands_free\":true,\"nav_mode\":\"shortest\","
                     "\"avoid_highways\":true,\"avoid_tolls\":false,\"transport_mode\":\"car\"},");

    // End points.
    QTest::newRow("start name without a complete pair") << Step() << Step([](RouteMapInvoker &i) {
        i.setStartLatitude(1);
        i.setStartName(QStringLiteral("Home"));
    }) << QStringList{"startLatitudeChanged(1)", "startNameChanged(\"Home\")"} << QVariantMap()
       << ActionType << navContent("");
    QTest::newRow("end description without a complete pair") << Step() << Step([](RouteMapInvoker &i) {
        i.setEndLongitude(2);
        i.setEndDescription(QStringLiteral("Gate"));
    }) << QStringList{"endLongitudeChanged(2)", "endDescriptionChanged(\"Gate\")"} << QVariantMap()
       << ActionType << navContent("");
    QTest::newRow("start without texts has no properties") << Step() << Step([](RouteMapInvoker &i) {
        i.setStartLatitude(1);
        i.setStartLongitude(2);
    }) << QStringList{"startLatitudeChanged(1)", "startLongitudeChanged(2)"} << QVariantMap()
       << ActionType << navContent("\"nav_start\":{\"latitude\":1,\"longitude\":2},");
    QTest::newRow("end with description and address") << Step() << Step([](RouteMapInvoker &i) {
        i.setEndLatitude(1);
        i.setEndLongitude(2);
        i.setEndDescription(QStringLiteral("Gate"));
        i.setEndAddress(QStringLiteral("Main St"));
    }) << QStringList{"endLatitudeChanged(1)", "endLongitudeChanged(2)",
                      "endDescriptionChanged(\"Gate\")", "endAddressChanged(\"Main St\")"}
       << QVariantMap() << ActionType
       << navContent("\"nav_end\":{\"properties\":{\"description\":\"Gate\",\"address\":"
                     "\"Main St\"},\"latitude\":1,\"longitude\":2},");
    QTest::newRow("empty start name over null") << Step()
        << Step([](RouteMapInvoker &i) { i.setStartName(QLatin1String("")); })
        << QStringList() << QVariantMap{{"startName", null}} << ActionType << navContent("");
    QTest::newRow("start address reset after empty stays empty")
        << Step([](RouteMapInvoker &i) {
               i.setStartLatitude(1);
               i.setStartLongitude(2);
               i.setStartAddress(QStringLiteral("x"));
               i.setStartAddress(QLatin1String(""));
           })
        << Step([](RouteMapInvoker &i) { i.resetStartAddress(); })
        << QStringList() << QVariantMap{{"startAddress", QLatin1String("")}} << ActionType
        << navContent("\"nav_start\":{\"properties\":{\"address\":\"\"},\"latitude\":1,\"longitude\":2},");

    // Hands-free, navigation and transportation modes.
    QTest::newRow("hands-free disabled") << Step()
        << Step([](RouteMapInvoker &i) { i.setHandsFreeNavigation(HandsFreeNavigation::Disabled); })
        << QStringList{"handsFreeNavigationChanged(Disabled)", "handsFreeNavigationChanged(2)"}
        << QVariantMap() << ActionType << navContent("\"nav_options\":{\"hands_free\":false},");
    QTest::newRow("hands-free back to undefined")
        << Step([](RouteMapInvoker &i) { i.setHandsFreeNavigation(HandsFreeNavigation::Disabled); })
        << Step([](RouteMapInvoker &i) { i.setHandsFreeNavigation(HandsFreeNavigation::Undefined); })
        << QStringList{"handsFreeNavigationChanged(Undefined)", "handsFreeNavigationChanged(0)"}
        << QVariantMap() << ActionType << navContent("");
    QTest::newRow("fastest route") << Step()
        << Step([](RouteMapInvoker &i) { i.setNavigationMode(MapNavigationMode::FastestRoute); })
        << QStringList{"navigationModeChanged(FastestRoute)", "navigationModeChanged(1)"}
        << QVariantMap() << ActionType << navContent("\"nav_options\":{\"nav_mode\":\"fastest\"},");
    QTest::newRow("navigation mode reset")
        << Step([](RouteMapInvoker &i) { i.setNavigationMode(MapNavigationMode::ShortestRoute); })
        << Step([](RouteMapInvoker &i) { i.resetNavigationMode(); })
        << QStringList{"navigationModeChanged(Undefined)", "navigationModeChanged(0)"}
        << QVariantMap() << ActionType << navContent("");
    QTest::newRow("on foot") << Step()
        << Step([](RouteMapInvoker &i) { i.setTransportationMode(MapTransportationMode::Pedestrian); })
        << QStringList{"transportationModeChanged(Pedestrian)", "transportationModeChanged(2)"}
        << QVariantMap() << ActionType
        << navContent("\"nav_options\":{\"transport_mode\":\"pedestrian\"},");
    QTest::newRow("same mode twice")
        << Step([](RouteMapInvoker &i) { i.setTransportationMode(MapTransportationMode::Car); })
        << Step([](RouteMapInvoker &i) { i.setTransportationMode(MapTransportationMode::Car); })
        << QStringList() << QVariantMap() << ActionType
        << navContent("\"nav_options\":{\"transport_mode\":\"car\"},");

    // The avoid options are sent only once one has changed, then always both.
    QTest::newRow("avoid tolls false on a new object") << Step()
        << Step([](RouteMapInvoker &i) { i.setAvoidTollsEnabled(false); })
        << QStringList() << QVariantMap() << ActionType << navContent("");
    QTest::newRow("avoid highways reset on a new object") << Step()
        << Step([](RouteMapInvoker &i) { i.resetAvoidHighwaysEnabled(); })
        << QStringList() << QVariantMap() << ActionType << navContent("");
    QTest::newRow("avoid highways brings both keys") << Step()
        << Step([](RouteMapInvoker &i) { i.setAvoidHighwaysEnabled(true); })
        << QStringList{"avoidHighwaysEnabledChanged(true)"} << QVariantMap{{"avoidHighwaysEnabled", true}}
        << ActionType
        << navContent("\"nav_options\":{\"avoid_highways\":true,\"avoid_tolls\":false},");
    QTest::newRow("avoid tolls set then reset keeps both keys")
        << Step([](RouteMapInvoker &i) { i.setAvoidTollsEnabled(true); })
        << Step([](RouteMapInvoker &i) { i.resetAvoidTollsEnabled(); })
        << QStringList{"avoidTollsEnabledChanged(false)"} << QVariantMap{{"avoidTollsEnabled", false}}
        << ActionType
        << navContent("\"nav_options\":{\"avoid_highways\":false,\"avoid_tolls\":false},");
    QTest::newRow("avoid options before the transport mode")
        << Step([](RouteMapInvoker &i) { i.setTransportationMode(MapTransportationMode::Car); })
        << Step([](RouteMapInvoker &i) { i.setAvoidTollsEnabled(true); })
        << QStringList{"avoidTollsEnabledChanged(true)"} << QVariantMap() << ActionType
        << navContent("\"nav_options\":{\"avoid_highways\":false,\"avoid_tolls\":true,"
                      "\"transport_mode\":\"car\"},");

    // The base's search follows geolocation in a navigation view.
    QTest::newRow("search after geolocation") << Step() << Step([](RouteMapInvoker &i) {
        i.setSearchText(QStringLiteral("gas"));
        i.setSearchLatitude(43.65);
        i.setSearchLongitude(-79.38);
        i.setCenterLatitude(43.6);
        i.setCenterLongitude(-79.4);
    }) << QStringList{"searchTextChanged(\"gas\")", "searchLatitudeChanged(43.65)",
                      "searchLongitudeChanged(-79.38)", "centerLatitudeChanged(43.6)",
                      "centerLongitudeChanged(-79.4)"}
       << QVariantMap() << ActionType
       << QByteArray("JSON {\"view_mode\":\"nav\",\"center\":{\"latitude\":43.6,\"longitude\":-79.4,"
                     "\"heading\":0,\"altitude\":0},\"geolocation\":false,\"search\":\"gas\","
                     "\"search_pattern\":\"radial\",\"search_center\":{\"latitude\":43.65,"
                     "\"longitude\":-79.38}}");
}

void tst_RouteMapInvoker::scenario()
{
    mapstest::runScenario<RouteMapInvoker>(m_service.server());
}

QTEST_GUILESS_MAIN(tst_RouteMapInvoker)
#include "tst_routemapinvoker.moc"
