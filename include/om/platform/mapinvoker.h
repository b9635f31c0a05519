#ifndef OM_PLATFORM_MAPINVOKER_H
#define OM_PLATFORM_MAPINVOKER_H

#include <om/platform/mapsearchmode.h>
#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {

class MapInvokerPrivate;

/**
 * The common base of LocationMapInvoker and RouteMapInvoker: the camera,
 * the search and the use of the device's current location, and go(), which
 * opens the maps application on what the object describes.
 *
 * Every setter ignores the value it already holds; otherwise it stores the
 * value and emits the change signal with it. Strings compare so that null
 * and empty are equal, although the content tells them apart: a text set to
 * empty stays empty through a reset. A coordinate equal to UnsetCoordinate
 * (see contentformatutility.h) is unset.
 *
 * go() is fire and forget: nothing about the outcome reaches the
 * application.
 */
class OMPLATFORM_EXPORT MapInvoker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(MapInvoker)
    Q_DECLARE_PRIVATE(MapInvoker)
    Q_PROPERTY(bool currentLocationEnabled READ isCurrentLocationEnabled WRITE
                   setCurrentLocationEnabled RESET resetCurrentLocationEnabled NOTIFY
                       currentLocationEnabledChanged)
    Q_PROPERTY(double searchLatitude READ searchLatitude WRITE setSearchLatitude RESET
                   resetSearchLatitude NOTIFY searchLatitudeChanged)
    Q_PROPERTY(double searchLongitude READ searchLongitude WRITE setSearchLongitude RESET
                   resetSearchLongitude NOTIFY searchLongitudeChanged)
    Q_PROPERTY(QString searchText READ searchText WRITE setSearchText RESET resetSearchText NOTIFY
                   searchTextChanged)
    Q_PROPERTY(om::platform::MapSearchMode::Type searchMode READ searchMode WRITE setSearchMode
                   RESET resetSearchMode NOTIFY searchModeChanged)
    Q_PROPERTY(int altitude READ altitude WRITE setAltitude RESET resetAltitude NOTIFY
                   altitudeChanged)
    Q_PROPERTY(int heading READ heading WRITE setHeading RESET resetHeading NOTIFY headingChanged)
    Q_PROPERTY(double centerLatitude READ centerLatitude WRITE setCenterLatitude RESET
                   resetCenterLatitude NOTIFY centerLatitudeChanged)
    Q_PROPERTY(double centerLongitude READ centerLongitude WRITE setCenterLongitude RESET
                   resetCenterLongitude NOTIFY centerLongitudeChanged)

public:
    /** For subclasses: takes @p d, which becomes a child of this object. */
    MapInvoker(QObject *parent, MapInvokerPrivate *d);
    ~MapInvoker() override;

    /** Whether the maps application also shows where the device is. */
    bool isCurrentLocationEnabled() const;
    double searchLatitude() const;
    double searchLongitude() const;
    /** What to search for; null (the default) for no search. */
    QString searchText() const;
    MapSearchMode::Type searchMode() const;
    /** Height of the camera above the ground, in metres. */
    int altitude() const;
    /** Direction the camera faces, in degrees from 0 to 360. */
    int heading() const;
    double centerLatitude() const;
    double centerLongitude() const;

public Q_SLOTS:
    void setCurrentLocationEnabled(bool enable);
    void resetCurrentLocationEnabled();
    void setSearchLatitude(double value);
    void resetSearchLatitude();
    void setSearchLongitude(double value);
    void resetSearchLongitude();
    void setSearchText(const QString &text);
    void resetSearchText();
    void setSearchMode(om::platform::MapSearchMode::Type mode);
    void resetSearchMode();
    void setAltitude(int value);
    void resetAltitude();
    /** Takes 0 to 360 inclusive; any other value is dropped silently. */
    void setHeading(int value);
    void resetHeading();
    void setCenterLatitude(double value);
    void resetCenterLatitude();
    void setCenterLongitude(double value);
    void resetCenterLongitude();

    /** Opens the maps application on what this object describes. Sends
     *  nothing when the object has nothing to send. */
    void go();

Q_SIGNALS:
    void currentLocationEnabledChanged(bool enable);
    void searchLatitudeChanged(double newSearchLatitude);
    void searchLongitudeChanged(double newSearchLongitude);
    void searchTextChanged(const QString &newSearchText);
    void searchModeChanged(om::platform::MapSearchMode::Type newSearchPattern);
    /** The same change as an int, right after the other form, for scripts. */
    void searchModeChanged(int newSearchPattern);
    void altitudeChanged(int newAltitude);
    void headingChanged(int newHeading);
    void centerLatitudeChanged(double newCenterLatitude);
    void centerLongitudeChanged(double newCenterLongitude);

protected:
    MapInvokerPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
