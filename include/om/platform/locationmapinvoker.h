#ifndef OM_PLATFORM_LOCATIONMAPINVOKER_H
#define OM_PLATFORM_LOCATIONMAPINVOKER_H

#include <om/platform/mapinvoker.h>

namespace om {
namespace platform {

class LocationMapInvokerPrivate;

/**
 * Opens the maps application on a place: a location (coordinates, name,
 * description, and whether to find the place by its name), or ready-made
 * KML text that replaces everything else.
 *
 * The two exclude each other. Setting a non-null KML text resets the
 * coordinates, the name and the description (their signals first, then
 * kmlContentChanged); completing a coordinate pair resets the KML text
 * (kmlContentChanged first, then the coordinate's signal). A single
 * coordinate, or a reset of one, leaves the KML in place.
 */
class OMPLATFORM_EXPORT LocationMapInvoker : public MapInvoker
{
    Q_OBJECT
    Q_DISABLE_COPY(LocationMapInvoker)
    Q_DECLARE_PRIVATE(LocationMapInvoker)
    Q_PROPERTY(double locationLatitude READ locationLatitude WRITE setLocationLatitude RESET
                   resetLocationLatitude NOTIFY locationLatitudeChanged)
    Q_PROPERTY(double locationLongitude READ locationLongitude WRITE setLocationLongitude RESET
                   resetLocationLongitude NOTIFY locationLongitudeChanged)
    Q_PROPERTY(QString locationName READ locationName WRITE setLocationName RESET
                   resetLocationName NOTIFY locationNameChanged)
    Q_PROPERTY(QString locationDescription READ locationDescription WRITE setLocationDescription
                   RESET resetLocationDescription NOTIFY locationDescriptionChanged)
    Q_PROPERTY(bool geocodeLocationEnabled READ isGeocodeLocationEnabled WRITE
                   setGeocodeLocationEnabled RESET resetGeocodeLocationEnabled NOTIFY
                       geocodeLocationEnabledChanged)
    Q_PROPERTY(QString kmlContent READ kmlContent WRITE setKmlContent RESET resetKmlContent NOTIFY
                   kmlContentChanged)

public:
    explicit LocationMapInvoker(QObject *parent = nullptr);
    ~LocationMapInvoker() override;

    double locationLatitude() const;
    double locationLongitude() const;
    QString locationName() const;
    QString locationDescription() const;
    /** Whether the maps application finds the place by its name: then the
     *  place is shown when it has a name, whatever its coordinates. */
    bool isGeocodeLocationEnabled() const;
    /** KML text sent instead of the location; null (the default) for none. */
    QString kmlContent() const;

public Q_SLOTS:
    void setLocationLatitude(double value);
    void resetLocationLatitude();
    void setLocationLongitude(double value);
    void resetLocationLongitude();
    void setLocationName(const QString &name);
    void resetLocationName();
    void setLocationDescription(const QString &description);
    void resetLocationDescription();
    void setGeocodeLocationEnabled(bool enable);
    void resetGeocodeLocationEnabled();
    void setKmlContent(const QString &content);
    void resetKmlContent();

Q_SIGNALS:
    void locationLatitudeChanged(double newLocationLatitude);
    void locationLongitudeChanged(double newLocationLongitude);
    void locationNameChanged(const QString &newLocationName);
    void locationDescriptionChanged(const QString &newLocationDescription);
    void geocodeLocationEnabledChanged(bool enable);
    void kmlContentChanged(const QString &newKmlContent);
};

} // namespace platform
} // namespace om

#endif
