#include <om/platform/contentformatutility.h>

#include "enumbits_p.h"

namespace om {
namespace platform {

const QString VIEW_MODE_TAG = QStringLiteral("\"view_mode\"");
const QString MAP_VIEW_MODE_VALUE = QStringLiteral("\"map\"");
const QString NAVIGATION_VIEW_MODE_VALUE = QStringLiteral("\"nav\"");
const QString SATELLITE_VIEW_MODE_VALUE = QStringLiteral("\"sat\"");
const QString CENTER_LOCATION_TAG = QStringLiteral("\"center\"");
const QString SEARCH_CENTER_LOCATION_TAG = QStringLiteral("\"search_center\"");
const QString PLACEMARK_LOCATION_TAG = QStringLiteral("\"placemark\"");
const QString NAVIGATION_START_LOCATION_TAG = QStringLiteral("\"nav_start\"");
const QString NAVIGATION_END_LOCATION_TAG = QStringLiteral("\"nav_end\"");
const QString NAVIGATION_OPTIONS_TAG = QStringLiteral("\"nav_options\"");
const QString NAVIGATION_PROPERTIES_TAG = QStringLiteral("\"properties\"");
const QString GEOLOCATION_TAG = QStringLiteral("\"geolocation\"");
const QString SEARCH_TAG = QStringLiteral("\"search\"");
const QString SEARCH_PATTERN_TAG = QStringLiteral("\"search_pattern\"");
const QString RADIAL_SEARCH_VALUE = QStringLiteral("\"radial\"");
const QString PATH_SEARCH_VALUE = QStringLiteral("\"path\"");
const QString NAVIGATION_MODE_TAG = QStringLiteral("\"nav_mode\"");
const QString FASTEST_NAVIGATION_MODE_VALUE = QStringLiteral("\"fastest\"");
const QString SHORTEST_NAVIGATION_MODE_VALUE = QStringLiteral("\"shortest\"");
const QString AVOID_HIGHWAYS_TAG = QStringLiteral("\"avoid_highways\"");
const QString AVOID_TOLLS_TAG = QStringLiteral("\"avoid_tolls\"");
const QString TRANSPORT_MODE_TAG = QStringLiteral("\"transport_mode\"");
const QString PEDESTRIAN_TRANSPORT_MODE_VALUE = QStringLiteral("\"pedestrian\"");
const QString CAR_TRANSPORT_MODE_VALUE = QStringLiteral("\"car\"");
const QString HANDS_FREE_TAG = QStringLiteral("\"hands_free\"");
const QString LATITUDE_TAG = QStringLiteral("\"latitude\"");
const QString LONGITUDE_TAG = QStringLiteral("\"longitude\"");
const QString ALTITUDE_TAG = QStringLiteral("\"altitude\"");
const QString HEADING_TAG = QStringLiteral("\"heading\"");
const QString NAME_TAG = QStringLiteral("\"name\"");
const QString DESCRIPTION_TAG = QStringLiteral("\"description\"");
const QString ADDRESS_TAG = QStringLiteral("\"address\"");
const QString GEOCODE_TAG = QStringLiteral("\"geocode\"");
const QString TRUE_VALUE = QStringLiteral("true");
const QString FALSE_VALUE = QStringLiteral("false");

const QString ACTION_INVOKE_TYPE = QStringLiteral("application/vnd.omb.map.action-v1");
const QString VIEW1_INVOKE_TYPE = QStringLiteral("application/vnd.google-earth.kml+xml");
const QString VIEW2_INVOKE_TYPE = QStringLiteral("application/vnd.google-earth.kmz");

namespace {

const QLatin1String ContentKeyword("JSON {");

QString coordinate(double value)
{
    return QString::number(value, 'g', 6);
}

const QString &boolean(bool value)
{
    return value ? TRUE_VALUE : FALSE_VALUE;
}

bool isPairSet(double latitude, double longitude)
{
    return latitude != UnsetCoordinate && longitude != UnsetCoordinate;
}

void removeTrailingCommas(QString &text)
{
    while (text.endsWith(QLatin1Char(',')))
        text.chop(1);
}

// key:"value",
void appendText(QString &text, const QString &tag, const QString &value)
{
    text += tag + QLatin1String(":\"") + value + QLatin1String("\",");
}

// "search":"...","search_pattern":"...","search_center":{...}, each with its
// comma; nothing of it without a search text.
void appendSearch(QString &text, double searchLatitude, double searchLongitude,
                  const QString &searchText, int searchMode)
{
    if (searchText.isNull())
        return;
    appendText(text, SEARCH_TAG, searchText);
    if (searchMode == MapSearchMode::Radial)
        text += SEARCH_PATTERN_TAG + QLatin1Char(':') + RADIAL_SEARCH_VALUE + QLatin1Char(',');
    else if (searchMode == MapSearchMode::Path)
        text += SEARCH_PATTERN_TAG + QLatin1Char(':') + PATH_SEARCH_VALUE + QLatin1Char(',');
    if (isPairSet(searchLatitude, searchLongitude))
        text += generateSearchLocation(JsonContent, searchLatitude, searchLongitude)
                + QLatin1Char(',');
}

// The keyword, the view mode and, if its pair is set, the centre; each
// member with its comma.
QString beginView(const QString &viewMode, double latitude, double longitude, int altitude,
                  int heading)
{
    QString text = ContentKeyword + VIEW_MODE_TAG + QLatin1Char(':') + viewMode + QLatin1Char(',');
    if (isPairSet(latitude, longitude))
        text += generateCameraLocation(JsonContent, latitude, longitude, altitude, heading)
                + QLatin1Char(',');
    return text;
}

} // namespace

QString generateLocation(ContentType type, double latitude, double longitude, const QString &name,
                         const QString &description, bool geocode)
{
    if (enumBits(type) != JsonContent)
        return QString();
    QString text = PLACEMARK_LOCATION_TAG + QLatin1String(":{");
    if (isPairSet(latitude, longitude)) {
        text += LATITUDE_TAG + QLatin1Char(':') + coordinate(latitude) + QLatin1Char(',')
                + LONGITUDE_TAG + QLatin1Char(':') + coordinate(longitude) + QLatin1Char(',');
    }
    if (!name.isNull())
        appendText(text, NAME_TAG, name);
    if (!description.isNull())
        appendText(text, DESCRIPTION_TAG, description);
    text += GEOCODE_TAG + QLatin1Char(':') + boolean(geocode) + QLatin1Char('}');
    return text;
}

QString generateSearchLocation(ContentType type, double latitude, double longitude)
{
    if (enumBits(type) != JsonContent)
        return QString();
    return SEARCH_CENTER_LOCATION_TAG + QLatin1String(":{") + LATITUDE_TAG + QLatin1Char(':')
           + coordinate(latitude) + QLatin1Char(',') + LONGITUDE_TAG + QLatin1Char(':')
           + coordinate(longitude) + QLatin1Char('}');
}

QString generateCameraLocation(ContentType type, double latitude, double longitude, int altitude,
                               int heading)
{
    if (enumBits(type) != JsonContent)
        return QString();
    return CENTER_LOCATION_TAG + QLatin1String(":{") + LATITUDE_TAG + QLatin1Char(':')
           + coordinate(latitude) + QLatin1Char(',') + LONGITUDE_TAG + QLatin1Char(':')
           + coordinate(longitude) + QLatin1Char(',') + HEADING_TAG + QLatin1Char(':')
           + QString::number(heading, 10) + QLatin1Char(',') + ALTITUDE_TAG + QLatin1Char(':')
           + QString::number(altitude, 10) + QLatin1Char('}');
}

QString generateMapViewContent(ContentType type, double centerLatitude, double centerLongitude,
                               int altitude, int heading, bool currentLocationEnabled,
                               double searchLatitude, double searchLongitude,
                               const QString &searchText, MapSearchMode::Type searchMode,
                               double locationLatitude, double locationLongitude,
                               const QString &locationName, const QString &locationDescription,
                               bool geocodeLocationEnabled)
{
    if (enumBits(type) != JsonContent)
        return QString();
    QString text = beginView(MAP_VIEW_MODE_VALUE, centerLatitude, centerLongitude, altitude, heading);
    appendSearch(text, searchLatitude, searchLongitude, searchText, enumBits(searchMode));
    // A geocoded place is found by its name; otherwise it needs coordinates.
    const bool placemark = geocodeLocationEnabled ? !locationName.isNull()
                                                  : isPairSet(locationLatitude, locationLongitude);
    if (placemark) {
        text += generateLocation(JsonContent, locationLatitude, locationLongitude, locationName,
                                 locationDescription, geocodeLocationEnabled)
                + QLatin1Char(',');
    }
    text += GEOLOCATION_TAG + QLatin1Char(':') + boolean(currentLocationEnabled);
    removeTrailingCommas(text);
    text += QLatin1Char('}');
    return text;
}

QString generateNavigationEndPointLocation(ContentType type, bool isStart, double latitude,
                                           double longitude, const QString &name,
                                           const QString &description, const QString &address)
{
    if (enumBits(type) != JsonContent)
        return QString();
    QString text = (isStart ? NAVIGATION_START_LOCATION_TAG : NAVIGATION_END_LOCATION_TAG)
                   + QLatin1String(":{");
    if (!name.isNull() || !description.isNull() || !address.isNull()) {
        text += NAVIGATION_PROPERTIES_TAG + QLatin1String(":{");
        if (!name.isNull())
            appendText(text, NAME_TAG, name);
        if (!description.isNull())
            appendText(text, DESCRIPTION_TAG, description);
        if (!address.isNull())
            text += ADDRESS_TAG + QLatin1String(":\"") + address + QLatin1Char('"');
        removeTrailingCommas(text);
        text += QLatin1String("},");
    }
    text += LATITUDE_TAG + QLatin1Char(':') + coordinate(latitude) + QLatin1Char(',')
            + LONGITUDE_TAG + QLatin1Char(':') + coordinate(longitude) + QLatin1Char('}');
    return text;
}

QString generateNavigationViewContent(
    ContentType type, double centerLatitude, double centerLongitude, int altitude, int heading,
    double startLatitude, double startLongitude, const QString &startName,
    const QString &startDescription, const QString &startAddress, double endLatitude,
    double endLongitude, const QString &endName, const QString &endDescription,
    const QString &endAddress, HandsFreeNavigation::Type handsFree,
    MapNavigationMode::Type navigationMode, bool avoidHighways, bool avoidTolls,
    bool avoidOptionsSet, MapTransportationMode::Type transportationMode, double searchLatitude,
    double searchLongitude, const QString &searchText, MapSearchMode::Type searchMode,
    bool currentLocationEnabled)
{
    if (enumBits(type) != JsonContent)
        return QString();
    QString text =
        beginView(NAVIGATION_VIEW_MODE_VALUE, centerLatitude, centerLongitude, altitude, heading);
    if (isPairSet(startLatitude, startLongitude)) {
        text += generateNavigationEndPointLocation(JsonContent, true, startLatitude, startLongitude,
                                                   startName, startDescription, startAddress)
                + QLatin1Char(',');
    }
    if (isPairSet(endLatitude, endLongitude)) {
        text += generateNavigationEndPointLocation(JsonContent, false, endLatitude, endLongitude,
                                                   endName, endDescription, endAddress)
                + QLatin1Char(',');
    }
    // The modes as the numbers they hold: any number may come, and one the
    // enumeration does not know counts as the value that is not Undefined.
    const int hands = enumBits(handsFree);
    const int route = enumBits(navigationMode);
    const int transport = enumBits(transportationMode);
    if (hands != HandsFreeNavigation::Undefined || route != MapNavigationMode::Undefined
        || avoidOptionsSet || transport != MapTransportationMode::Undefined) {
        text += NAVIGATION_OPTIONS_TAG + QLatin1String(":{");
        if (hands != HandsFreeNavigation::Undefined) {
            text += HANDS_FREE_TAG + QLatin1Char(':')
                    + boolean(hands == HandsFreeNavigation::Enabled) + QLatin1Char(',');
        }
        if (route != MapNavigationMode::Undefined) {
            text += NAVIGATION_MODE_TAG + QLatin1Char(':')
                    + (route == MapNavigationMode::ShortestRoute
                           ? SHORTEST_NAVIGATION_MODE_VALUE
                           : FASTEST_NAVIGATION_MODE_VALUE)
                    + QLatin1Char(',');
        }
        if (avoidOptionsSet) {
            text += AVOID_HIGHWAYS_TAG + QLatin1Char(':') + boolean(avoidHighways) + QLatin1Char(',')
                    + AVOID_TOLLS_TAG + QLatin1Char(':') + boolean(avoidTolls) + QLatin1Char(',');
        }
        if (transport != MapTransportationMode::Undefined) {
            text += TRANSPORT_MODE_TAG + QLatin1Char(':')
                    + (transport == MapTransportationMode::Pedestrian
                           ? PEDESTRIAN_TRANSPORT_MODE_VALUE
                           : CAR_TRANSPORT_MODE_VALUE);
        }
        removeTrailingCommas(text);
        text += QLatin1String("},");
    }
    text += GEOLOCATION_TAG + QLatin1Char(':') + boolean(currentLocationEnabled) + QLatin1Char(',');
    appendSearch(text, searchLatitude, searchLongitude, searchText, enumBits(searchMode));
    removeTrailingCommas(text);
    text += QLatin1Char('}');
    return text;
}

QString generateDeviceLocation()
{
    return ContentKeyword + VIEW_MODE_TAG + QLatin1Char(':') + MAP_VIEW_MODE_VALUE
           + QLatin1Char(',') + GEOLOCATION_TAG + QLatin1Char(':') + TRUE_VALUE
           + QLatin1Char('}');
}

QString generatePlacemarkList(const QString &kml)
{
    return kml;
}

} // namespace platform
} // namespace om
