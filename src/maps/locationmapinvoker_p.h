#ifndef OM_PLATFORM_LOCATIONMAPINVOKER_P_H
#define OM_PLATFORM_LOCATIONMAPINVOKER_P_H

#include "mapinvoker_p.h"

#include <om/platform/locationmapinvoker.h>

namespace om {
namespace platform {

class LocationMapInvokerPrivate : public MapInvokerPrivate
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(LocationMapInvoker)

public:
    explicit LocationMapInvokerPrivate(LocationMapInvoker *q);

    /** The KML text when there is one, else the map view. */
    QString generateMsgContent() const override;
    QString msgMimeType() const override;

    double locationLatitude() const { return m_locationLatitude; }
    double locationLongitude() const { return m_locationLongitude; }
    QString locationName() const { return m_locationName; }
    QString locationDescription() const { return m_locationDescription; }
    bool isGeocodeLocationEnabled() const { return m_geocodeLocationEnabled; }
    QString kmlContent() const { return m_kmlContent; }

    void setLocationLatitude(double value);
    void setLocationLongitude(double value);
    void setLocationName(const QString &name);
    void setLocationDescription(const QString &description);
    void setGeocodeLocationEnabled(bool enable);
    void setKmlContent(const QString &content);

private:
    /** A complete coordinate pair replaces the KML. */
    void dropKmlIfPairComplete();

    double m_locationLatitude = UnsetCoordinate;
    double m_locationLongitude = UnsetCoordinate;
    QString m_locationName;
    QString m_locationDescription;
    bool m_geocodeLocationEnabled = false;
    QString m_kmlContent;
};

} // namespace platform
} // namespace om

#endif
