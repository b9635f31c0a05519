#include <om/platform/handsfreenavigation.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/mapsearchmode.h>
#include <om/platform/maptransportationmode.h>
#include <om/platform/mapviewmode.h>
#include <om/platform/typicalmapaltitude.h>

#include "enumbits_p.h"

namespace om {
namespace platform {

namespace {

// Writes the name (with the stream's blank after it) of a value that has
// one; a value without a name writes nothing, not even the blank. Values
// are read with enumBits(): they need not be one of the enumeration's.
QDebug printName(QDebug debug, const char *name)
{
    if (name)
        debug << name;
    return debug;
}

} // namespace

MapViewMode::MapViewMode() = default;
MapViewMode::~MapViewMode() = default;

QDebug operator<<(QDebug debug, const MapViewMode::Type &type)
{
    switch (enumBits(type)) {
    case MapViewMode::Map:
        return printName(debug, "MapViewMode::Map");
    case MapViewMode::Navigation:
        return printName(debug, "MapViewMode::Navigation");
    case MapViewMode::Satellite:
        return printName(debug, "MapViewMode::Satellite");
    }
    return printName(debug, nullptr);
}

MapSearchMode::MapSearchMode() = default;
MapSearchMode::~MapSearchMode() = default;

QDebug operator<<(QDebug debug, const MapSearchMode::Type &type)
{
    switch (enumBits(type)) {
    case MapSearchMode::Radial:
        return printName(debug, "MapSearchMode::Radial");
    case MapSearchMode::Path:
        return printName(debug, "MapSearchMode::Path");
    }
    return printName(debug, nullptr);
}

MapNavigationMode::MapNavigationMode() = default;
MapNavigationMode::~MapNavigationMode() = default;

QDebug operator<<(QDebug debug, const MapNavigationMode::Type &type)
{
    switch (enumBits(type)) {
    case MapNavigationMode::Undefined:
        return printName(debug, "MapNavigationMode::Undefined");
    case MapNavigationMode::FastestRoute:
        return printName(debug, "MapNavigationMode::FastestRoute");
    case MapNavigationMode::ShortestRoute:
        return printName(debug, "MapNavigationMode::ShortestRoute");
    }
    return printName(debug, nullptr);
}

MapTransportationMode::MapTransportationMode() = default;
MapTransportationMode::~MapTransportationMode() = default;

QDebug operator<<(QDebug debug, const MapTransportationMode::Type &type)
{
    switch (enumBits(type)) {
    case MapTransportationMode::Undefined:
        return printName(debug, "MapTransportationMode::Undefined");
    case MapTransportationMode::Car:
        return printName(debug, "MapTransportationMode::Car");
    case MapTransportationMode::Pedestrian:
        return printName(debug, "MapTransportationMode::Pedestrian");
    }
    return printName(debug, nullptr);
}

HandsFreeNavigation::HandsFreeNavigation() = default;
HandsFreeNavigation::~HandsFreeNavigation() = default;

QDebug operator<<(QDebug debug, const HandsFreeNavigation::Type &type)
{
    switch (enumBits(type)) {
    case HandsFreeNavigation::Undefined:
        return printName(debug, "HandsFreeNavigation::Undefined");
    case HandsFreeNavigation::Enabled:
        return printName(debug, "HandsFreeNavigation::Enabled");
    case HandsFreeNavigation::Disabled:
        return printName(debug, "HandsFreeNavigation::Disabled");
    }
    return printName(debug, nullptr);
}

TypicalMapAltitude::TypicalMapAltitude() = default;
TypicalMapAltitude::~TypicalMapAltitude() = default;

} // namespace platform
} // namespace om
