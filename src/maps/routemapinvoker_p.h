#ifndef OM_PLATFORM_ROUTEMAPINVOKER_P_H
#define OM_PLATFORM_ROUTEMAPINVOKER_P_H

#include "mapinvoker_p.h"

#include <om/platform/routemapinvoker.h>

namespace om {
namespace platform {

class RouteMapInvokerPrivate : public MapInvokerPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(RouteMapInvoker)

public:
    explicit RouteMapInvokerPrivate(RouteMapInvoker *q);

    /** The navigation view; never null. */
    QString generateMsgContent() const override;
    QString msgMimeType() const override;

    double startLatitude() const { return m_startLatitude; }
    double startLongitude() const { return m_startLongitude; }
    QString startName() const { return m_startName; }
    QString startDescription() const { return m_startDescription; }
    QString startAddress() const { return m_startAddress; }
    double endLatitude() const { return m_endLatitude; }
    double endLongitude() const { return m_endLongitude; }
    QString endName() const { return m_endName; }
    QString endDescription() const { return m_endDescription; }
    QString endAddress() const { return m_endAddress; }
    MapNavigationMode::Type navigationMode() const { return MapNavigationMode::Type(m_navigationMode); }
    bool isAvoidTollsEnabled() const { return m_avoidTollsEnabled; }
    bool isAvoidHighwaysEnabled() const { return m_avoidHighwaysEnabled; }
    MapTransportationMode::Type transportationMode() const { return MapTransportationMode::Type(m_transportationMode); }
    /** Whether an avoid option has ever changed; never goes back. */
    bool avoidOptionsSet() const { return m_avoidOptionsSet; }
    HandsFreeNavigation::Type handsFreeNavigation() const { return HandsFreeNavigation::Type(m_handsFreeNavigation); }

    void setStartLatitude(double value);
    void setStartLongitude(double value);
    void setStartName(const QString &name);
    void setStartDescription(const QString &description);
    void setStartAddress(const QString &address);
    void setEndLatitude(double value);
    void setEndLongitude(double value);
    void setEndName(const QString &name);
    void setEndDescription(const QString &description);
    void setEndAddress(const QString &address);
    void setHandsFreeNavigation(HandsFreeNavigation::Type value);
    void setNavigationMode(MapNavigationMode::Type mode);
    void setAvoidTollsEnabled(bool enable);
    void setAvoidHighwaysEnabled(bool enable);
    void setTransportationMode(MapTransportationMode::Type mode);

private:
    double m_startLatitude = UnsetCoordinate;
    double m_startLongitude = UnsetCoordinate;
    QString m_startName;
    QString m_startDescription;
    QString m_startAddress;
    double m_endLatitude = UnsetCoordinate;
    double m_endLongitude = UnsetCoordinate;
    QString m_endName;
    QString m_endDescription;
    QString m_endAddress;
    // Modes are kept as the numbers they were given (see enumBits()).
    int m_navigationMode = MapNavigationMode::Undefined;
    bool m_avoidTollsEnabled = false;
    bool m_avoidHighwaysEnabled = false;
    int m_transportationMode = MapTransportationMode::Undefined;
    bool m_avoidOptionsSet = false;
    int m_handsFreeNavigation = HandsFreeNavigation::Undefined;
};

} // namespace platform
} // namespace om

#endif
