#ifndef OM_PLATFORM_CONTENTFORMATUTILITY_H
#define OM_PLATFORM_CONTENTFORMATUTILITY_H

#include <om/platform/handsfreenavigation.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/mapsearchmode.h>
#include <om/platform/maptransportationmode.h>
#include <om/platform/omplatform_export.h>

#include <QString>

/**
 * @file
 * The content that tells the maps application what to show: a map view
 * (centre, search, placemark) or a navigation view (start, end, options).
 *
 * The text starts with the keyword "JSON {" and is built by appending fixed
 * tokens in a fixed order; nothing in it is escaped, so a double quote in a
 * name reaches the maps application as it is. Coordinates print with six
 * significant digits (QString::number(value, 'g', 6)). A coordinate equal to
 * UnsetCoordinate is unset, and a pair counts as set only when both halves
 * are; a null QString is unset, an empty one is set.
 */

namespace om {
namespace platform {

/** The marker of an unset latitude or longitude: -2^31. */
constexpr double UnsetCoordinate = -2147483648.0;

/** The kind of content the generating functions make. Only JsonContent
 *  yields text; any other value gives a null QString. */
enum ContentType {
    JsonContent = 0,
};

// Vocabulary of the content; each constant holds its double quotes.
OMPLATFORM_EXPORT extern const QString VIEW_MODE_TAG;
OMPLATFORM_EXPORT extern const QString MAP_VIEW_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString NAVIGATION_VIEW_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString SATELLITE_VIEW_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString CENTER_LOCATION_TAG;
OMPLATFORM_EXPORT extern const QString SEARCH_CENTER_LOCATION_TAG;
OMPLATFORM_EXPORT extern const QString PLACEMARK_LOCATION_TAG;
OMPLATFORM_EXPORT extern const QString NAVIGATION_START_LOCATION_TAG;
OMPLATFORM_EXPORT extern const QString NAVIGATION_END_LOCATION_TAG;
OMPLATFORM_EXPORT extern const QString NAVIGATION_OPTIONS_TAG;
OMPLATFORM_EXPORT extern const QString NAVIGATION_PROPERTIES_TAG;
OMPLATFORM_EXPORT extern const QString GEOLOCATION_TAG;
OMPLATFORM_EXPORT extern const QString SEARCH_TAG;
OMPLATFORM_EXPORT extern const QString SEARCH_PATTERN_TAG;
OMPLATFORM_EXPORT extern const QString RADIAL_SEARCH_VALUE;
OMPLATFORM_EXPORT extern const QString PATH_SEARCH_VALUE;
OMPLATFORM_EXPORT extern const QString NAVIGATION_MODE_TAG;
OMPLATFORM_EXPORT extern const QString FASTEST_NAVIGATION_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString SHORTEST_NAVIGATION_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString AVOID_HIGHWAYS_TAG;
OMPLATFORM_EXPORT extern const QString AVOID_TOLLS_TAG;
OMPLATFORM_EXPORT extern const QString TRANSPORT_MODE_TAG;
OMPLATFORM_EXPORT extern const QString PEDESTRIAN_TRANSPORT_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString CAR_TRANSPORT_MODE_VALUE;
OMPLATFORM_EXPORT extern const QString HANDS_FREE_TAG;
OMPLATFORM_EXPORT extern const QString LATITUDE_TAG;
OMPLATFORM_EXPORT extern const QString LONGITUDE_TAG;
OMPLATFORM_EXPORT extern const QString ALTITUDE_TAG;
OMPLATFORM_EXPORT extern const QString HEADING_TAG;
OMPLATFORM_EXPORT extern const QString NAME_TAG;
OMPLATFORM_EXPORT extern const QString DESCRIPTION_TAG;
OMPLATFORM_EXPORT extern const QString ADDRESS_TAG;
OMPLATFORM_EXPORT extern const QString GEOCODE_TAG;
OMPLATFORM_EXPORT extern const QString TRUE_VALUE;
OMPLATFORM_EXPORT extern const QString FALSE_VALUE;

/** MIME type of the content made here. */
OMPLATFORM_EXPORT extern const QString ACTION_INVOKE_TYPE;
/** MIME type of KML text, sent unchanged. */
OMPLATFORM_EXPORT extern const QString VIEW1_INVOKE_TYPE;
/** MIME type of zipped KML. */
OMPLATFORM_EXPORT extern const QString VIEW2_INVOKE_TYPE;

/** The "placemark" member: coordinates if the pair is set, then name and
 *  description if not null, then "geocode". */
OMPLATFORM_EXPORT QString generateLocation(ContentType type, double latitude, double longitude,
                                           const QString &name, const QString &description,
                                           bool geocode);

/** The "search_center" member; prints the coordinates whatever they are. */
OMPLATFORM_EXPORT QString generateSearchLocation(ContentType type, double latitude,
                                                 double longitude);

/** The "center" member, heading before altitude; prints the coordinates
 *  whatever they are. */
OMPLATFORM_EXPORT QString generateCameraLocation(ContentType type, double latitude,
                                                 double longitude, int altitude, int heading);

/**
 * A whole map view. With @p geocodeLocationEnabled the placemark appears
 * when @p locationName is not null, whatever the coordinates; without it,
 * when the location pair is set, whatever the name. A search pair or mode
 * without search text is dropped. "geolocation" is the last member.
 */
OMPLATFORM_EXPORT QString generateMapViewContent(
    ContentType type, double centerLatitude, double centerLongitude, int altitude, int heading,
    bool currentLocationEnabled, double searchLatitude, double searchLongitude,
    const QString &searchText, MapSearchMode::Type searchMode, double locationLatitude,
    double locationLongitude, const QString &locationName, const QString &locationDescription,
    bool geocodeLocationEnabled);

/** The "nav_start" (@p isStart) or "nav_end" member; prints the coordinates
 *  whatever they are, "properties" only if a text is not null. */
OMPLATFORM_EXPORT QString generateNavigationEndPointLocation(ContentType type, bool isStart,
                                                             double latitude, double longitude,
                                                             const QString &name,
                                                             const QString &description,
                                                             const QString &address);

/**
 * A whole navigation view. A start or end point appears only with a set
 * pair. The avoid flags appear, both together, only when
 * @p avoidOptionsSet. "geolocation" comes before the search.
 */
OMPLATFORM_EXPORT QString generateNavigationViewContent(
    ContentType type, double centerLatitude, double centerLongitude, int altitude, int heading,
    double startLatitude, double startLongitude, const QString &startName,
    const QString &startDescription, const QString &startAddress, double endLatitude,
    double endLongitude, const QString &endName, const QString &endDescription,
    const QString &endAddress, HandsFreeNavigation::Type handsFree,
    MapNavigationMode::Type navigationMode, bool avoidHighways, bool avoidTolls,
    bool avoidOptionsSet, MapTransportationMode::Type transportationMode, double searchLatitude,
    double searchLongitude, const QString &searchText, MapSearchMode::Type searchMode,
    bool currentLocationEnabled);

/** A map view of the device's current location. */
OMPLATFORM_EXPORT QString generateDeviceLocation();

/** KML text, returned unchanged. */
OMPLATFORM_EXPORT QString generatePlacemarkList(const QString &kml);

} // namespace platform
} // namespace om

#endif
