#include <om/platform/contentformatutility.h>

#include <QtTest>

#include <cstring>
#include <functional>

using namespace om::platform;

namespace {

const double U = UnsetCoordinate;

struct MapArgs
{
    double centerLatitude = U;
    double centerLongitude = U;
    int altitude = 0;
    int heading = 0;
    bool currentLocationEnabled = false;
    double searchLatitude = U;
    double searchLongitude = U;
    QString searchText;
    int searchMode = MapSearchMode::Radial;
    double locationLatitude = U;
    double locationLongitude = U;
    QString locationName;
    QString locationDescription;
    bool geocodeLocationEnabled = false;
};

struct NavArgs
{
    double centerLatitude = U;
    double centerLongitude = U;
    int altitude = 0;
    int heading = 0;
    double startLatitude = U;
    double startLongitude = U;
    QString startName;
    QString startDescription;
    QString startAddress;
    double endLatitude = U;
    double endLongitude = U;
    QString endName;
    QString endDescription;
    QString endAddress;
    int handsFree = HandsFreeNavigation::Undefined;
    int navigationMode = MapNavigationMode::Undefined;
    bool avoidHighways = false;
    bool avoidTolls = false;
    bool avoidOptionsSet = false;
    int transportationMode = MapTransportationMode::Undefined;
    double searchLatitude = U;
    double searchLongitude = U;
    QString searchText;
    int searchMode = MapSearchMode::Radial;
    bool currentLocationEnabled = false;
};

MapArgs map(const std::function<void(MapArgs &)> &change = nullptr)
{
    MapArgs args;
    if (change)
        change(args);
    return args;
}

NavArgs nav(const std::function<void(NavArgs &)> &change = nullptr)
{
    NavArgs args;
    if (change)
        change(args);
    return args;
}

QString generate(const MapArgs &a, ContentType type = JsonContent)
{
    return generateMapViewContent(type, a.centerLatitude, a.centerLongitude, a.altitude, a.heading,
                                  a.currentLocationEnabled, a.searchLatitude, a.searchLongitude,
                                  a.searchText, MapSearchMode::Type(a.searchMode),
                                  a.locationLatitude, a.locationLongitude, a.locationName,
                                  a.locationDescription, a.geocodeLocationEnabled);
}

QString generate(const NavArgs &a, ContentType type = JsonContent)
{
    return generateNavigationViewContent(
        type, a.centerLatitude, a.centerLongitude, a.altitude, a.heading, a.startLatitude,
        a.startLongitude, a.startName, a.startDescription, a.startAddress, a.endLatitude,
        a.endLongitude, a.endName, a.endDescription, a.endAddress,
        HandsFreeNavigation::Type(a.handsFree), MapNavigationMode::Type(a.navigationMode),
        a.avoidHighways, a.avoidTolls, a.avoidOptionsSet,
        MapTransportationMode::Type(a.transportationMode), a.searchLatitude, a.searchLongitude,
        a.searchText, MapSearchMode::Type(a.searchMode), a.currentLocationEnabled);
}

} // namespace

Q_DECLARE_METATYPE(MapArgs)
Q_DECLARE_METATYPE(NavArgs)

class tst_ContentFormatUtility : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void constants_data();
    void constants();
    void unsetCoordinate();
    void mapView_data();
    void mapView();
    void navigationView_data();
    void navigationView();
    void members_data();
    void members();
    void deviceLocation();
    void placemarkList_data();
    void placemarkList();
    void otherContentTypes_data();
    void otherContentTypes();
};

void tst_ContentFormatUtility::constants_data()
{
    QTest::addColumn<QString>("constant");
    QTest::addColumn<QString>("text");

    QTest::newRow("VIEW_MODE_TAG") << VIEW_MODE_TAG << "\"view_mode\"";
    QTest::newRow("MAP_VIEW_MODE_VALUE") << MAP_VIEW_MODE_VALUE << "\"map\"";
    QTest::newRow("NAVIGATION_VIEW_MODE_VALUE") << NAVIGATION_VIEW_MODE_VALUE << "\"nav\"";
    QTest::newRow("SATELLITE_VIEW_MODE_VALUE") << SATELLITE_VIEW_MODE_VALUE << "\"sat\"";
    QTest::newRow("CENTER_LOCATION_TAG") << CENTER_LOCATION_TAG << "\"center\"";
    QTest::newRow("SEARCH_CENTER_LOCATION_TAG") << SEARCH_CENTER_LOCATION_TAG << "\"search_center\"";
    QTest::newRow("PLACEMARK_LOCATION_TAG") << PLACEMARK_LOCATION_TAG << "\"placemark\"";
    QTest::newRow("NAVIGATION_START_LOCATION_TAG") << NAVIGATION_START_LOCATION_TAG << "\"nav_start\"";
    QTest::newRow("NAVIGATION_END_LOCATION_TAG") << NAVIGATION_END_LOCATION_TAG << "\"nav_end\"";
    QTest::newRow("NAVIGATION_OPTIONS_TAG") << NAVIGATION_OPTIONS_TAG << "\"nav_options\"";
    QTest::newRow("NAVIGATION_PROPERTIES_TAG") << NAVIGATION_PROPERTIES_TAG << "\"properties\"";
    QTest::newRow("GEOLOCATION_TAG") << GEOLOCATION_TAG << "\"geolocation\"";
    QTest::newRow("SEARCH_TAG") << SEARCH_TAG << "\"search\"";
    QTest::newRow("SEARCH_PATTERN_TAG") << SEARCH_PATTERN_TAG << "\"search_pattern\"";
    QTest::newRow("RADIAL_SEARCH_VALUE") << RADIAL_SEARCH_VALUE << "\"radial\"";
    QTest::newRow("PATH_SEARCH_VALUE") << PATH_SEARCH_VALUE << "\"path\"";
    QTest::newRow("NAVIGATION_MODE_TAG") << NAVIGATION_MODE_TAG << "\"nav_mode\"";
    QTest::newRow("FASTEST_NAVIGATION_MODE_VALUE") << FASTEST_NAVIGATION_MODE_VALUE << "\"fastest\"";
    QTest::newRow("SHORTEST_NAVIGATION_MODE_VALUE") << SHORTEST_NAVIGATION_MODE_VALUE << "\"shortest\"";
    QTest::newRow("AVOID_HIGHWAYS_TAG") << AVOID_HIGHWAYS_TAG << "\"avoid_highways\"";
    QTest::newRow("AVOID_TOLLS_TAG") << AVOID_TOLLS_TAG << "\"avoid_tolls\"";
    QTest::newRow("TRANSPORT_MODE_TAG") << TRANSPORT_MODE_TAG << "\"transport_mode\"";
    QTest::newRow("PEDESTRIAN_TRANSPORT_MODE_VALUE") << PEDESTRIAN_TRANSPORT_MODE_VALUE << "\"pedestrian\"";
    QTest::newRow("CAR_TRANSPORT_MODE_VALUE") << CAR_TRANSPORT_MODE_VALUE << "\"car\"";
    QTest::newRow("HANDS_FREE_TAG") << HANDS_FREE_TAG << "\"hands_free\"";
    QTest::newRow("LATITUDE_TAG") << LATITUDE_TAG << "\"latitude\"";
    QTest::newRow("LONGITUDE_TAG") << LONGITUDE_TAG << "\"longitude\"";
    QTest::newRow("ALTITUDE_TAG") << ALTITUDE_TAG << "\"altitude\"";
    QTest::newRow("HEADING_TAG") << HEADING_TAG << "\"heading\"";
    QTest::newRow("NAME_TAG") << NAME_TAG << "\"name\"";
    QTest::newRow("DESCRIPTION_TAG") << DESCRIPTION_TAG << "\"description\"";
    QTest::newRow("ADDRESS_TAG") << ADDRESS_TAG << "\"address\"";
    QTest::newRow("GEOCODE_TAG") << GEOCODE_TAG << "\"geocode\"";
    QTest::newRow("TRUE_VALUE") << TRUE_VALUE << "true";
    QTest::newRow("FALSE_VALUE") << FALSE_VALUE << "false";
    QTest::newRow("ACTION_INVOKE_TYPE") << ACTION_INVOKE_TYPE << "application/vnd.omb.map.action-v1";
    QTest::newRow("VIEW1_INVOKE_TYPE") << VIEW1_INVOKE_TYPE << "application/vnd.google-earth.kml+xml";
    QTest::newRow("VIEW2_INVOKE_TYPE") << VIEW2_INVOKE_TYPE << "application/vnd.google-earth.kmz";
}

void tst_ContentFormatUtility::constants()
{
    QFETCH(QString, constant);
    QFETCH(QString, text);
    QCOMPARE(constant, text);
}

void tst_ContentFormatUtility::unsetCoordinate()
{
    QCOMPARE(UnsetCoordinate, -2147483648.0);
    quint64 bits;
    std::memcpy(&bits, &UnsetCoordinate, sizeof bits);
    QCOMPARE(bits, Q_UINT64_C(0xC1E0000000000000));
}

void tst_ContentFormatUtility::mapView_data()
{
    QTest::addColumn<MapArgs>("args");
    QTest::addColumn<QString>("expected");

    QTest::newRow("worked example") << map([](MapArgs &a) {
        a.centerLatitude = 43.6532;
        a.centerLongitude = -79.3832;
        a.altitude = 1200;
        a.heading = 90;
        a.searchText = QStringLiteral("coffee");
        a.searchMode = MapSearchMode::Radial;
        a.searchLatitude = 43.65;
        a.searchLongitude = -79.38;
        a.locationLatitude = 43.6426;
        a.locationLongitude = -79.3871;
        a.locationName = QStringLiteral("Tower");
        a.locationDescription = QStringLiteral("Deck");
        a.geocodeLocationEnabled = false;
        a.currentLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":43.6532,\"longitude\":-79.3832,"
          "\"heading\":90,\"altitude\":1200},\"search\":\"coffee\",\"search_pattern\":\"radial\","
          "\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38},\"placemark\":{\"latitude\":"
          "43.6426,\"longitude\":-79.3871,\"name\":\"Tower\",\"description\":\"Deck\",\"geocode\":"
          "false},\"geolocation\":true}";
    QTest::newRow("everything unset") << map() << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("only the current location")
        << map([](MapArgs &a) { a.currentLocationEnabled = true; })
        << "JSON {\"view_mode\":\"map\",\"geolocation\":true}";

    // Coordinate pairs.
    QTest::newRow("center latitude without longitude") << map([](MapArgs &a) {
        a.centerLatitude = 43.6532;
        a.altitude = 500;
    }) << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("center longitude without latitude")
        << map([](MapArgs &a) { a.centerLongitude = -79.3832; })
        << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("center with zero heading and negative altitude") << map([](MapArgs &a) {
        a.centerLatitude = 1;
        a.centerLongitude = 2;
        a.altitude = -5;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":1,\"longitude\":2,\"heading\":0,"
          "\"altitude\":-5},\"geolocation\":false}";
    QTest::newRow("out-of-range and zero coordinates are set values") << map([](MapArgs &a) {
        a.centerLatitude = 95.0;
        a.centerLongitude = 0.0;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":95,\"longitude\":0,\"heading\":0,"
          "\"altitude\":0},\"geolocation\":false}";
    QTest::newRow("six significant digits") << map([](MapArgs &a) {
        a.centerLatitude = 43.6425662;
        a.centerLongitude = -122.4194155;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":43.6426,\"longitude\":-122.419,"
          "\"heading\":0,\"altitude\":0},\"geolocation\":false}";
    QTest::newRow("exponent notation") << map([](MapArgs &a) {
        a.centerLatitude = 0.00001;
        a.centerLongitude = 1234567.0;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":1e-05,\"longitude\":1.23457e+06,"
          "\"heading\":0,\"altitude\":0},\"geolocation\":false}";
    QTest::newRow("neighbour of the marker is a set value") << map([](MapArgs &a) {
        a.centerLatitude = -2147483647.0;
        a.centerLongitude = 1;
    }) << "JSON {\"view_mode\":\"map\",\"center\":{\"latitude\":-2.14748e+09,\"longitude\":1,"
          "\"heading\":0,\"altitude\":0},\"geolocation\":false}";

    // Search.
    QTest::newRow("search text with path mode, no search pair") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("gas");
        a.searchMode = MapSearchMode::Path;
    }) << "JSON {\"view_mode\":\"map\",\"search\":\"gas\",\"search_pattern\":\"path\","
          "\"geolocation\":false}";
    QTest::newRow("search mode outside 1 and 2") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("gas");
        a.searchMode = 3;
    }) << "JSON {\"view_mode\":\"map\",\"search\":\"gas\",\"geolocation\":false}";
    QTest::newRow("search mode 0") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("gas");
        a.searchMode = 0;
    }) << "JSON {\"view_mode\":\"map\",\"search\":\"gas\",\"geolocation\":false}";
    QTest::newRow("search pair and mode without text") << map([](MapArgs &a) {
        a.searchLatitude = 43.65;
        a.searchLongitude = -79.38;
        a.searchMode = MapSearchMode::Path;
    }) << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("empty search text is set")
        << map([](MapArgs &a) { a.searchText = QLatin1String(""); })
        << "JSON {\"view_mode\":\"map\",\"search\":\"\",\"search_pattern\":\"radial\","
           "\"geolocation\":false}";
    QTest::newRow("search with half a pair") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("gas");
        a.searchLatitude = 43.65;
    }) << "JSON {\"view_mode\":\"map\",\"search\":\"gas\",\"search_pattern\":\"radial\","
          "\"geolocation\":false}";

    // The placemark rule, both ways.
    QTest::newRow("geocoded name without coordinates") << map([](MapArgs &a) {
        a.locationName = QStringLiteral("Paris");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
          "\"geolocation\":false}";
    QTest::newRow("geocoded coordinates without name") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566;
        a.locationLongitude = 2.3522;
        a.locationDescription = QStringLiteral("City");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("geocoded empty name") << map([](MapArgs &a) {
        a.locationName = QLatin1String("");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"\",\"geocode\":true},"
          "\"geolocation\":false}";
    QTest::newRow("geocoded name with coordinates and description") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566;
        a.locationLongitude = 2.3522;
        a.locationName = QStringLiteral("Paris");
        a.locationDescription = QStringLiteral("City");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,\"longitude\":2.3522,"
          "\"name\":\"Paris\",\"description\":\"City\",\"geocode\":true},\"geolocation\":false}";
    QTest::newRow("coordinates without name, not geocoded") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566;
        a.locationLongitude = 2.3522;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":48.8566,\"longitude\":2.3522,"
          "\"geocode\":false},\"geolocation\":false}";
    QTest::newRow("name without coordinates, not geocoded") << map([](MapArgs &a) {
        a.locationName = QStringLiteral("Paris");
    }) << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("name with half a pair, not geocoded") << map([](MapArgs &a) {
        a.locationLatitude = 48.8566;
        a.locationName = QStringLiteral("Paris");
    }) << "JSON {\"view_mode\":\"map\",\"geolocation\":false}";
    QTest::newRow("geocoded name with half a pair") << map([](MapArgs &a) {
        a.locationLongitude = 2.3522;
        a.locationName = QStringLiteral("Paris");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Paris\",\"geocode\":true},"
          "\"geolocation\":false}";
    QTest::newRow("empty description is set") << map([](MapArgs &a) {
        a.locationLatitude = 1;
        a.locationLongitude = 2;
        a.locationDescription = QLatin1String("");
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"latitude\":1,\"longitude\":2,"
          "\"description\":\"\",\"geocode\":false},\"geolocation\":false}";

    // Nothing is escaped.
    QTest::newRow("double quote in a name") << map([](MapArgs &a) {
        a.locationName = QStringLiteral("Joe's \"Bar");
        a.geocodeLocationEnabled = true;
    }) << "JSON {\"view_mode\":\"map\",\"placemark\":{\"name\":\"Joe's \"Bar\",\"geocode\":true},"
          "\"geolocation\":false}";
    QTest::newRow("backslash and comma kept") << map([](MapArgs &a) {
        a.searchText = QStringLiteral("a\\b,");
    }) << "JSON {\"view_mode\":\"map\",\"search\":\"a\\b,\",\"search_pattern\":\"radial\","
          "\"geolocation\":false}";
}

void tst_ContentFormatUtility::mapView()
{
    QFETCH(MapArgs, args);
    QFETCH(QString, expected);
    QCOMPARE(generate(args), expected);
}

void tst_ContentFormatUtility::navigationView_data()
{
    QTest::addColumn<NavArgs>("args");
    QTest::addColumn<QString>("expected");

    QTest::newRow("worked example") << nav([](NavArgs &a) {
        a.startLatitude = 43.6532;
        a.startLongitude = -79.3832;
        a.startName = QStringLiteral("Home");
        a.endLatitude = 43.4723;
        a.endLongitude = -80.5449;
        a.endName = QStringLiteral("Office");
        a.endAddress = QStringLiteral("1 Main St");
        a.handsFree = HandsFreeNavigation::Enabled;
        a.navigationMode = MapNavigationMode::ShortestRoute;
        a.avoidHighways = true;
        a.avoidTolls = false;
        a.avoidOptionsSet = true;
        a.transportationMode = MapTransportationMode::Car;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"properties\":{\"name\":\"Home\"},"
          "\"latitude\":43.6532,\"longitude\":-79.3832},\"nav_end\":{\"properties\":{\"name\":"
          "\"Office\",\"address\":\"1 Main St\"},\"latitude\":43.4723,\"longitude\":-80.5449},"
          "\"nav_options\":{\"hands_free\":true,\"nav_mode\":\"shortest\",\"avoid_highways\":true,"
          "\"avoid_tolls\":false,\"transport_mode\":\"car\"},\"geolocation\":false}";
    QTest::newRow("everything unset") << nav() << "JSON {\"view_mode\":\"nav\",\"geolocation\":false}";

    // End points.
    QTest::newRow("start name without a start pair") << nav([](NavArgs &a) {
        a.startLatitude = 43.6532;
        a.startName = QStringLiteral("Home");
        a.startDescription = QStringLiteral("d");
        a.startAddress = QStringLiteral("a");
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false}";
    QTest::newRow("end name without an end pair") << nav([](NavArgs &a) {
        a.endLongitude = -80.5449;
        a.endName = QStringLiteral("Office");
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false}";
    QTest::newRow("start without properties") << nav([](NavArgs &a) {
        a.startLatitude = 1;
        a.startLongitude = 2;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"latitude\":1,\"longitude\":2},"
          "\"geolocation\":false}";
    QTest::newRow("end with a description only") << nav([](NavArgs &a) {
        a.endLatitude = 1;
        a.endLongitude = 2;
        a.endDescription = QStringLiteral("Gate 4");
    }) << "JSON {\"view_mode\":\"nav\",\"nav_end\":{\"properties\":{\"description\":\"Gate 4\"},"
          "\"latitude\":1,\"longitude\":2},\"geolocation\":false}";
    QTest::newRow("end with three empty strings") << nav([](NavArgs &a) {
        a.endLatitude = 1;
        a.endLongitude = 2;
        a.endName = QLatin1String("");
        a.endDescription = QLatin1String("");
        a.endAddress = QLatin1String("");
    }) << "JSON {\"view_mode\":\"nav\",\"nav_end\":{\"properties\":{\"name\":\"\",\"description\":"
          "\"\",\"address\":\"\"},\"latitude\":1,\"longitude\":2},\"geolocation\":false}";
    QTest::newRow("center before the start") << nav([](NavArgs &a) {
        a.centerLatitude = 3;
        a.centerLongitude = 4;
        a.heading = 360;
        a.altitude = 10;
        a.startLatitude = 1;
        a.startLongitude = 2;
    }) << "JSON {\"view_mode\":\"nav\",\"center\":{\"latitude\":3,\"longitude\":4,\"heading\":360,"
          "\"altitude\":10},\"nav_start\":{\"latitude\":1,\"longitude\":2},\"geolocation\":false}";

    // Options.
    QTest::newRow("hands-free disabled opens the options") << nav([](NavArgs &a) {
        a.handsFree = HandsFreeNavigation::Disabled;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"hands_free\":false},\"geolocation\":false}";
    QTest::newRow("hands-free value outside the enumeration") << nav([](NavArgs &a) {
        a.handsFree = 7;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"hands_free\":false},\"geolocation\":false}";
    QTest::newRow("fastest route") << nav([](NavArgs &a) {
        a.navigationMode = MapNavigationMode::FastestRoute;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"nav_mode\":\"fastest\"},\"geolocation\":false}";
    QTest::newRow("navigation mode outside the enumeration") << nav([](NavArgs &a) {
        a.navigationMode = 9;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"nav_mode\":\"fastest\"},\"geolocation\":false}";
    QTest::newRow("pedestrian") << nav([](NavArgs &a) {
        a.transportationMode = MapTransportationMode::Pedestrian;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"transport_mode\":\"pedestrian\"},"
          "\"geolocation\":false}";
    QTest::newRow("transportation mode outside the enumeration") << nav([](NavArgs &a) {
        a.transportationMode = -1;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"transport_mode\":\"car\"},"
          "\"geolocation\":false}";
    QTest::newRow("avoid options set, both false") << nav([](NavArgs &a) {
        a.avoidOptionsSet = true;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"avoid_highways\":false,\"avoid_tolls\":"
          "false},\"geolocation\":false}";
    QTest::newRow("avoid flags without avoidOptionsSet") << nav([](NavArgs &a) {
        a.avoidHighways = true;
        a.avoidTolls = true;
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false}";
    QTest::newRow("avoid options without transport mode lose their comma") << nav([](NavArgs &a) {
        a.handsFree = HandsFreeNavigation::Enabled;
        a.avoidOptionsSet = true;
        a.avoidTolls = true;
    }) << "JSON {\"view_mode\":\"nav\",\"nav_options\":{\"hands_free\":true,\"avoid_highways\":"
          "false,\"avoid_tolls\":true},\"geolocation\":false}";

    // Search comes after geolocation here.
    QTest::newRow("search after geolocation") << nav([](NavArgs &a) {
        a.currentLocationEnabled = true;
        a.searchText = QStringLiteral("gas");
        a.searchMode = MapSearchMode::Path;
        a.searchLatitude = 43.65;
        a.searchLongitude = -79.38;
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":true,\"search\":\"gas\",\"search_pattern\":"
          "\"path\",\"search_center\":{\"latitude\":43.65,\"longitude\":-79.38}}";
    QTest::newRow("search text ending in a comma") << nav([](NavArgs &a) {
        a.searchText = QStringLiteral("a,");
        a.searchMode = 0;
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false,\"search\":\"a,\"}";
    QTest::newRow("search pair without text") << nav([](NavArgs &a) {
        a.searchLatitude = 43.65;
        a.searchLongitude = -79.38;
    }) << "JSON {\"view_mode\":\"nav\",\"geolocation\":false}";
    QTest::newRow("start name ending in a comma keeps it") << nav([](NavArgs &a) {
        a.startLatitude = 1;
        a.startLongitude = 2;
        a.startName = QStringLiteral("Home,");
    }) << "JSON {\"view_mode\":\"nav\",\"nav_start\":{\"properties\":{\"name\":\"Home,\"},"
          "\"latitude\":1,\"longitude\":2},\"geolocation\":false}";
}

void tst_ContentFormatUtility::navigationView()
{
    QFETCH(NavArgs, args);
    QFETCH(QString, expected);
    QCOMPARE(generate(args), expected);
}

void tst_ContentFormatUtility::members_data()
{
    QTest::addColumn<QString>("member");
    QTest::addColumn<QString>("expected");

    // The member functions do not look at the marker themselves.
    QTest::newRow("search location with the marker")
        << generateSearchLocation(JsonContent, U, U)
        << "\"search_center\":{\"latitude\":-2.14748e+09,\"longitude\":-2.14748e+09}";
    QTest::newRow("camera location with the marker, heading first")
        << generateCameraLocation(JsonContent, U, 5, 100, 45)
        << "\"center\":{\"latitude\":-2.14748e+09,\"longitude\":5,\"heading\":45,\"altitude\":100}";
    QTest::newRow("end point with the marker")
        << generateNavigationEndPointLocation(JsonContent, false, U, U, QString(), QString(), QString())
        << "\"nav_end\":{\"latitude\":-2.14748e+09,\"longitude\":-2.14748e+09}";
    QTest::newRow("start point with every property")
        << generateNavigationEndPointLocation(JsonContent, true, 1.5, -2.5, QStringLiteral("n"),
                                              QStringLiteral("d"), QStringLiteral("a"))
        << "\"nav_start\":{\"properties\":{\"name\":\"n\",\"description\":\"d\",\"address\":\"a\"},"
           "\"latitude\":1.5,\"longitude\":-2.5}";
    QTest::newRow("end point with name and description")
        << generateNavigationEndPointLocation(JsonContent, false, 1, 2, QStringLiteral("n"),
                                              QStringLiteral("d"), QString())
        << "\"nav_end\":{\"properties\":{\"name\":\"n\",\"description\":\"d\"},\"latitude\":1,"
           "\"longitude\":2}";
    QTest::newRow("location with everything")
        << generateLocation(JsonContent, 1, 2, QStringLiteral("n"), QStringLiteral("d"), true)
        << "\"placemark\":{\"latitude\":1,\"longitude\":2,\"name\":\"n\",\"description\":\"d\","
           "\"geocode\":true}";
    QTest::newRow("location with half a pair and nothing else")
        << generateLocation(JsonContent, 1, U, QString(), QString(), false)
        << "\"placemark\":{\"geocode\":false}";
    QTest::newRow("location with empty strings")
        << generateLocation(JsonContent, U, U, QLatin1String(""), QLatin1String(""), false)
        << "\"placemark\":{\"name\":\"\",\"description\":\"\",\"geocode\":false}";
}

void tst_ContentFormatUtility::members()
{
    QFETCH(QString, member);
    QFETCH(QString, expected);
    QCOMPARE(member, expected);
}

void tst_ContentFormatUtility::deviceLocation()
{
    QCOMPARE(generateDeviceLocation(),
             QStringLiteral("JSON {\"view_mode\":\"map\",\"geolocation\":true}"));
}

void tst_ContentFormatUtility::placemarkList_data()
{
    QTest::addColumn<QString>("kml");

    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString(QLatin1String(""));
    QTest::newRow("document") << QStringLiteral(
        "<?xml version=\"1.0\"?><kml><Placemark><name>P</name></Placemark></kml>");
    QTest::newRow("not KML at all") << QStringLiteral("JSON {\"a\" \\ \"}");
}

void tst_ContentFormatUtility::placemarkList()
{
    QFETCH(QString, kml);
    const QString result = generatePlacemarkList(kml);
    QCOMPARE(result, kml);
    QCOMPARE(result.isNull(), kml.isNull());
}

void tst_ContentFormatUtility::otherContentTypes_data()
{
    QTest::addColumn<int>("type");
    QTest::newRow("1") << 1;
    QTest::newRow("-1") << -1;
    QTest::newRow("42") << 42;
}

void tst_ContentFormatUtility::otherContentTypes()
{
    QFETCH(int, type);
    const ContentType t = ContentType(type);
    const QString name = QStringLiteral("n");
    QVERIFY(generateLocation(t, 1, 2, name, name, true).isNull());
    QVERIFY(generateSearchLocation(t, 1, 2).isNull());
    QVERIFY(generateCameraLocation(t, 1, 2, 3, 4).isNull());
    QVERIFY(generateNavigationEndPointLocation(t, true, 1, 2, name, name, name).isNull());
    QVERIFY(generate(map([](MapArgs &a) { a.currentLocationEnabled = true; }), t).isNull());
    QVERIFY(generate(nav([](NavArgs &a) { a.avoidOptionsSet = true; }), t).isNull());
}

QTEST_GUILESS_MAIN(tst_ContentFormatUtility)
#include "tst_contentformatutility.moc"
