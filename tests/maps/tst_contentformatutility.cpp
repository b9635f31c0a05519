#include <om/platform/contentformatutility.h>

#include <QtTest>

#include <functional>

using namespace om::platform;

namespace {

const double U = UnsetCoordinate;

struct MapArgs
{
    double centerLatitude = U, centerLongitude = U;
    int altitude = 0, heading = 0;
    bool currentLocationEnabled = false;
    double searchLatitude = U, searchLongitude = U;
    QString searchText;
    int searchMode = MapSearchMode::Radial;
    double locationLatitude = U, locationLongitude = U;
    QString locationName, locationDescription;
    bool geocodeLocationEnabled = false;
};

struct NavArgs
{
    double centerLatitude = U, centerLongitude = U;
    int altitude = 0, heading = 0;
    double startLatitude = U, startLongitude = U;
    QString startName, startDescription, startAddress;
    double endLatitude = U, endLongitude = U;
    QString endName, endDescription, endAddress;
    int handsFree = HandsFreeNavigation::Undefined;
    int navigationMode = MapNavigationMode::Undefined;
    bool avoidHighways = false, avoidTolls = false, avoidOptionsSet = false;
    int transportationMode = MapTransportationMode::Undefined;
    double searchLatitude = U, searchLongitude = U;
    QString searchText;
    int searchMode = MapSearchMode::Radial;
    bool currentLocationEnabled = false;
};

// Content types and modes are ints up to the call, as a script would give
// them: a variable of an enumeration may not hold another number.
QString map(const std::function<void(MapArgs &)> &change = {}, int type = JsonContent)
{
    MapArgs a;
    if (change)
        change(a);
    return generateMapViewContent(ContentType(type), a.centerLatitude, a.centerLongitude, a.altitude, a.heading,
                                  a.currentLocationEnabled, a.searchLatitude, a.searchLongitude,
                                  a.searchText, MapSearchMode::Type(a.searchMode),
                                  a.locationLatitude, a.locationLongitude, a.locationName,
                                  a.locationDescription, a.geocodeLocationEnabled);
}

QString nav(const std::function<void(NavArgs &)> &change = {}, int type = JsonContent)
{
    NavArgs a;
    if (change)
        change(a);
    return generateNavigationViewContent(
        ContentType(type), a.centerLatitude, a.centerLongitude, a.altitude, a.heading, a.startLatitude,
        a.startLongitude, a.startName, a.startDescription, a.startAddress, a.endLatitude,
        a.endLongitude, a.endName, a.endDescription, a.endAddress,
        HandsFreeNavigation::Type(a.handsFree), MapNavigationMode::Type(a.navigationMode),
        a.avoidHighways, a.avoidTolls, a.avoidOptionsSet,
        MapTransportationMode::Type(a.transportationMode), a.searchLatitude, a.searchLongitude,
        a.searchText, MapSearchMode::Type(a.searchMode), a.currentLocationEnabled);
}

QString view(const char *viewMode, const char *members)
{
    return QStringLiteral("JSON {\"view_mode\":\"%1\",%2\"geolocation\":false}")
        .arg(QLatin1String(viewMode), QLatin1String(members));
}

} // namespace

class tst_ContentFormatUtility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void content_data();
    void content();
};

void tst_ContentFormatUtility::content_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("expected");

    const QStringList all{
        VIEW_MODE_TAG, MAP_VIEW_MODE_VALUE, NAVIGATION_VIEW_MODE_VALUE, SATELLITE_VIEW_MODE_VALUE,
        CENTER_LOCATION_TAG, SEARCH_CENTER_LOCATION_TAG, PLACEMARK_LOCATION_TAG,
        NAVIGATION_START_LOCATION_TAG, NAVIGATION_END_LOCATION_TAG, NAVIGATION_OPTIONS_TAG,
        NAVIGATION_PROPERTIES_TAG, GEOLOCATION_TAG, SEARCH_TAG, SEARCH_PATTERN_TAG,
        RADIAL_SEARCH_VALUE, PATH_SEARCH_VALUE, NAVIGATION_MODE_TAG, FASTEST_NAVIGATION_MODE_VALUE,
        SHORTEST_NAVIGATION_MODE_VALUE, AVOID_HIGHWAYS_TAG, AVOID_TOLLS_TAG, TRANSPORT_MODE_TAG,
        PEDESTRIAN_TRANSPORT_MODE_VALUE, CAR_TRANSPORT_MODE_VALUE, HANDS_FREE_TAG, LATITUDE_TAG,
        LONGITUDE_TAG, ALTITUDE_TAG, HEADING_TAG, NAME_TAG, DESCRIPTION_TAG, ADDRESS_TAG,
        GEOCODE_TAG, TRUE_VALUE, FALSE_VALUE, ACTION_INVOKE_TYPE, VIEW1_INVOKE_TYPE,
        VIEW2_INVOKE_TYPE};
    QTest::newRow("constants") << all.join(QLatin1Char(' ')) << QStringLiteral(
        "\"view_mode\" \"map\" \"nav\" \"sat\" \"center\" \"search_center\" \"placemark\" "
        "\"nav_start\" \"nav_end\" \"nav_options\" \"properties\" \"geolocation\" "
        "\"search\" \"search_pattern\" \"radial\" \"path\" \"nav_mode\" \"fastest\" "
        "\"shortest\" \"avoid_highways\" \"avoid_tolls\" \"transport_mode\" "
        "\"pedestrian\" \"car\" \"hands_free\" \"latitude\" \"longitude\" \"altitude\" "
        "\"heading\" \"name\" \"description\" \"address\" \"geocode\" true false "
        "application/vnd.omb.map.action-v1 application/vnd.google-earth.kml+xml "
        "application/vnd.google-earth.kmz");
    QTest::newRow("unset coordinate") << QString::number(UnsetCoordinate, 'g', 17) << "-2147483648";

    QTest::newRow("map worked example") << map([](MapArgs &a) {
        a.centerLatitude = 43.6532, a.centerLongitude = -79.3832, a.altitude = 1200, a.heading = 90;
        a.searchText = QStringLiteral("coffee"), a.searchLatitude = 43.65, a.searchLongitude = -79.38;
        a.locationLatitude = 43.6426, a.locationLongitude = -79.3871;
        a.locationName = QStringLiteral("Tower"), a.locationDescription = QStringLiteral("Deck");
        a.currentLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":43.6532,\"longitude\":-79.3832,"
          "\"heading\":90,\"altitude\":1200},\"search\":\"coffee\",\"search_pattern\":\"radial\","
          "\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38},\"placemark\":{\"latitude\":"
          "43.6426,\"longitude\":-79.3871,\"name\":\"Tower\",\"description\":\"Deck\",\"geocode\":"
          "false},\"geolocation\":true}";
    QTest::newRow("map, everything unset") << map() << view("map", "");
    QTest::newRow("device location") << generateDeviceLocation()
                                     << "JSON {\"view_mode\":\"map\",\"geolocation\":true}";

    // Numbers, and pairs with one half set.
    QTest::newRow("center with half a pair") << map([](MapArgs &a) {
        a.centerLatitude = 43.6532, a.altitude = 500;
    }) << view("map", "");
    QTest::newRow("zero and out-of-range coordinates are set") << map([](MapArgs &a) {
        a.centerLatitude = 95.0, a.centerLongitude = 0.0, a.altitude = -5;
    }) << view("map", "\"center\":{\"latitude\":95,\"longitude\":0,\"heading\":0,\"altitude\":-5},");
    QTest::newRow("six significant digits, exponents, the marker's neighbour") << map([](MapArgs &a) {
        a.centerLatitude = 43.6425662, a.centerLongitude = -122.4194155, a.searchText = QStringLiteral("s");
        a.searchLatitude = 0.00001, a.searchLongitude = 1234567.0;
        a.locationLatitude = -2147483647.0, a.locationLongitude = 1;
    }) << view("map", "\"center\":{\"latitude\":43.6426,\"longitude\":-122.419,\"heading\":0,"
                      "\"altitude\":0},\"search\":\"s\",\"search_pattern\":\"radial\",\"search_center\":"
                      "{\"latitude\":1e-05,\"longitude\":1.23457e+06},\"placemark\":{\"latitude\":"
                      "-2.14748e+09,\"longitude\":1,\"geocode\":false},");

    // Search.
    QTest::newRow("search mode outside 1 and 2") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("gas"), a.searchMode = 3;
    }) << view("map", "\"search\":\"gas\",");
    QTest::newRow("search pair and mode without text") << map([](MapArgs &a) {
        a.searchLatitude = 43.65, a.searchLongitude = -79.38, a.searchMode = MapSearchMode::Path;
    }) << view("map", "");
    QTest::newRow("empty search text, half a search pair") << map([](MapArgs &a) {
        a.searchText = QLatin1String(""), a.searchLatitude = 43.65;
    }) << view("map", "\"search\":\"\",\"search_pattern\":\"radial\",");

    // The placemark rule, both ways.
    QTest::newRow("geocoded coordinates without name") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566, a.locationLongitude = 2.3522;
        a.locationDescription = QStringLiteral("City"), a.geocodeLocationEnabled = true;
    }) << view("map", "");
    QTest::newRow("geocoded empty name") << map([](MapArgs &a) {
        a.locationName = QLatin1String(""), a.geocodeLocationEnabled = true;
    }) << view("map", "\"placemark\":{\"name\":\"\",\"geocode\":true},");
    QTest::newRow("geocoded name with half a pair") << map([](MapArgs &a) {
        a.locationLongitude = 2.3522, a.locationName = QStringLiteral("Paris");
        a.geocodeLocationEnabled = true;
    }) << view("map", "\"placemark\":{\"name\":\"Paris\",\"geocode\":true},");
    QTest::newRow("coordinates without name, not geocoded") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566, a.locationLongitude = 2.3522;
    }) << view("map", "\"placemark\":{\"latitude\":48.8566,\"longitude\":2.3522,\"geocode\":false},");
    QTest::newRow("name with half a pair, not geocoded") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566, a.locationName = QStringLiteral("Paris");
    }) << view("map", "");
    QTest::newRow("nothing is escaped") << map([](MapArgs &a) {
        a.locationName = QStringLiteral("Joe's \"Bar"), a.geocodeLocationEnabled = true;
        a.searchText = QStringLiteral("a\\b,"), a.searchMode = 0;
    }) << view("map", "\"search\":\"a\\b,\",\"placemark\":{\"name\":\"Joe's \"Bar\",\"geocode\":true},");

    QTest::newRow("nav worked example") << nav([](NavArgs &a) {
        a.startLatitude = 43.6532, a.startLongitude = -79.3832, a.startName = QStringLiteral("Home");
        a.endLatitude = 43.4723, a.endLongitude = -80.5449, a.endName = QStringLiteral("Office");
        a.endAddress = QStringLiteral("1 Main St");
        a.handsFree = HandsFreeNavigation::Enabled, a.navigationMode = MapNavigationMode::ShortestRoute;
        a.avoidHighways = true, a.avoidTolls = false, a.avoidOptionsSet = true;
        a.transportationMode = MapTransportationMode::Car;
    }) << view("nav", "\"nav_start\":{\"properties\":{\"name\":\"Home\"},\"latitude\":43.6532,"
                      "\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":\"Office\","
                      "\"address\":\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},"
                      "\"nav_options\":{\"hands_free\":true,\"nav_mode\":\"shortest\","
                      "\"avoid_highways\":true,\"avoid_tolls\":false,\"transport_mode\":\"car\"},");
    QTest::newRow("end points with half a pair") << nav([](NavArgs &a) {
        a.startLatitude = 43.6532, a.startName = QStringLiteral("Home");
        a.endLongitude = -80.5449, a.endDescription = QStringLiteral("Gate");
    }) << view("nav", "");
    QTest::newRow("center, then start without properties") << nav([](NavArgs &a) {
        a.centerLatitude = 3, a.centerLongitude = 4, a.heading = 360, a.altitude = 10;
        a.startLatitude = 1, a.startLongitude = 2;
    }) << view("nav", "\"center\":{\"latitude\":3,\"longitude\":4,\"heading\":360,\"altitude\":10},"
                      "\"nav_start\":{\"latitude\":1,\"longitude\":2},");
    QTest::newRow("end with three empty strings") << nav([](NavArgs &a) {
        a.endLatitude = 1, a.endLongitude = 2;
        a.endName = a.endDescription = a.endAddress = QLatin1String("");
    }) << view("nav", "\"nav_end\":{\"properties\":{\"name\":\"\",\"description\":\"\",\"address\":"
                      "\"\"},\"latitude\":1,\"longitude\":2},");
    QTest::newRow("hands-free disabled opens the options") << nav([](NavArgs &a) {
        a.handsFree = HandsFreeNavigation::Disabled;
    }) << view("nav", "\"nav_options\":{\"hands_free\":false},");
    QTest::newRow("fastest on foot") << nav([](NavArgs &a) {
        a.navigationMode = MapNavigationMode::FastestRoute;
        a.transportationMode = MapTransportationMode::Pedestrian;
    }) << view("nav", "\"nav_options\":{\"nav_mode\":\"fastest\",\"transport_mode\":\"pedestrian\"},");
    QTest::newRow("modes outside the enumerations") << nav([](NavArgs &a) {
        a.handsFree = 7, a.navigationMode = 9, a.transportationMode = -1;
    }) << view("nav", "\"nav_options\":{\"hands_free\":false,\"nav_mode\":\"fastest\","
                      "\"transport_mode\":\"car\"},");
    QTest::newRow("avoid flags without avoidOptionsSet") << nav([](NavArgs &a) {
        a.avoidHighways = true, a.avoidTolls = true;
    }) << view("nav", "");
    QTest::newRow("avoid options last lose their comma") << nav([](NavArgs &a) {
        a.handsFree = HandsFreeNavigation::Enabled, a.avoidOptionsSet = true, a.avoidTolls = true;
    }) << view("nav", "\"nav_options\":{\"hands_free\":true,\"avoid_highways\":false,"
                      "\"avoid_tolls\":true},");
    QTest::newRow("search text ending in a comma, last") << nav([](NavArgs &a) {
        a.searchText = QStringLiteral("a,"), a.searchMode = 0;
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false,\"search\":\"a,\"}";

    // The members do not look at the marker themselves.
    QTest::newRow("search location with the marker") << generateSearchLocation(JsonContent, U, U)
        << "\"search_center\":{\"latitude\":-2.14748e+09,\"longitude\":-2.14748e+09}";
    QTest::newRow("camera location with the marker, heading first")
        << generateCameraLocation(JsonContent, U, 5, 100, 45)
        << "\"center\":{\"latitude\":-2.14748e+09,\"longitude\":5,\"heading\":45,\"altitude\":100}";
    QTest::newRow("end point with the marker")
        << generateNavigationEndPointLocation(JsonContent, false, U, U, QString(), QString(), QString())
        << "\"nav_end\":{\"latitude\":-2.14748e+09,\"longitude\":-2.14748e+09}";
    QTest::newRow("location with half a pair") << generateLocation(JsonContent, 1, U, {}, {}, false)
                                               << "\"placemark\":{\"geocode\":false}";

    const QString kml = QStringLiteral("<kml><Placemark><name>P \"q\"</name></Placemark></kml>");
    QTest::newRow("KML passes unchanged") << generatePlacemarkList(kml) << kml;
    QTest::newRow("null KML") << generatePlacemarkList(QString()) << QString();
    QTest::newRow("empty KML") << generatePlacemarkList(QLatin1String("")) << QString(QLatin1String(""));

    // Only content type 0 yields text; a concatenation of null strings is null.
    const int other = 1;
    QTest::newRow("other content type")
        << generateLocation(ContentType(other), 1, 2, kml, kml, true)
               + generateSearchLocation(ContentType(other), 1, 2)
               + generateCameraLocation(ContentType(other), 1, 2, 3, 4) + map({}, other)
               + nav({}, other)
               + generateNavigationEndPointLocation(ContentType(other), true, 1, 2, kml, kml, kml)
        << QString();
}

void tst_ContentFormatUtility::content()
{
    QFETCH(QString, actual);
    QFETCH(QString, expected);
    QCOMPARE(actual, expected);
    QCOMPARE(actual.isNull(), expected.isNull());
}

QTEST_GUILESS_MAIN(tst_ContentFormatUtility)
#include "tst_contentformatutility.moc"
