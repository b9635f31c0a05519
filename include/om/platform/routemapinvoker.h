#ifndef OM_PLATFORM_ROUTEMAPINVOKER_H
#define OM_PLATFORM_ROUTEMAPINVOKER_H

#include <om/platform/handsfreenavigation.h>
#include <om/platform/mapinvoker.h>
#include <om/platform/mapnavigationmode.h>
#include <om/platform/maptransportationmode.h>

namespace om {
namespace platform {

class RouteMapInvokerPrivate;

/**
 * Opens the maps application to navigate from a start to an end point,
 * each with coordinates, name, description and address, with the route
 * options.
 *
 * A point is sent only when both of its coordinates are set. The two avoid
 * options are sent together, and only once either of them has changed at
 * least once in the object's life (a reset that changes a value counts).
 */
class OMPLATFORM_EXPORT RouteMapInvoker : public MapInvoker
{
    Q_OBJECT
    Q_DISABLE_COPY(RouteMapInvoker)
    Q_DECLARE_PRIVATE(RouteMapInvoker)
    Q_PROPERTY(double startLatitude READ startLatitude WRITE setStartLatitude RESET
                   resetStartLatitude NOTIFY startLatitudeChanged)
    Q_PROPERTY(double startLongitude READ startLongitude WRITE setStartLongitude RESET
                   resetStartLongitude NOTIFY startLongitudeChanged)
    Q_PROPERTY(QString startName READ startName WRITE setStartName RESET resetStartName NOTIFY
                   startNameChanged)
    Q_PROPERTY(QString startDescription READ startDescription WRITE setStartDescription RESET
                   resetStartDescription NOTIFY startDescriptionChanged)
    Q_PROPERTY(QString startAddress READ startAddress WRITE setStartAddress RESET
                   resetStartAddress NOTIFY startAddressChanged)
    Q_PROPERTY(double endLatitude READ endLatitude WRITE setEndLatitude RESET resetEndLatitude
                   NOTIFY endLatitudeChanged)
    Q_PROPERTY(double endLongitude READ endLongitude WRITE setEndLongitude RESET
                   resetEndLongitude NOTIFY endLongitudeChanged)
    Q_PROPERTY(QString endName READ endName WRITE setEndName RESET resetEndName NOTIFY
                   endNameChanged)
    Q_PROPERTY(QString endDescription READ endDescription WRITE setEndDescription RESET
                   resetEndDescription NOTIFY endDescriptionChanged)
    Q_PROPERTY(QString endAddress READ endAddress WRITE setEndAddress RESET resetEndAddress
                   NOTIFY endAddressChanged)
    Q_PROPERTY(om::platform::HandsFreeNavigation::Type handsFreeNavigation READ
                   handsFreeNavigation WRITE setHandsFreeNavigation RESET
                       resetHandsFreeNavigation NOTIFY handsFreeNavigationChanged REVISION 1)
    Q_PROPERTY(om::platform::MapNavigationMode::Type navigationMode READ navigationMode WRITE
                   setNavigationMode RESET resetNavigationMode NOTIFY navigationModeChanged)
    Q_PROPERTY(bool avoidTollsEnabled READ isAvoidTollsEnabled WRITE setAvoidTollsEnabled RESET
                   resetAvoidTollsEnabled NOTIFY avoidTollsEnabledChanged)
    Q_PROPERTY(bool avoidHighwaysEnabled READ isAvoidHighwaysEnabled WRITE
                   setAvoidHighwaysEnabled RESET resetAvoidHighwaysEnabled NOTIFY
                       avoidHighwaysEnabledChanged)
    Q_PROPERTY(om::platform::MapTransportationMode::Type transportationMode READ
                   transportationMode WRITE setTransportationMode RESET resetTransportationMode
                       NOTIFY transportationModeChanged)

public:
    explicit RouteMapInvoker(QObject *parent = nullptr);
    ~RouteMapInvoker() override;

    double startLatitude() const;
    double startLongitude() const;
    QString startName() const;
    QString startDescription() const;
    QString startAddress() const;
    double endLatitude() const;
    double endLongitude() const;
    QString endName() const;
    QString endDescription() const;
    QString endAddress() const;
    HandsFreeNavigation::Type handsFreeNavigation() const;
    MapNavigationMode::Type navigationMode() const;
    bool isAvoidTollsEnabled() const;
    bool isAvoidHighwaysEnabled() const;
    MapTransportationMode::Type transportationMode() const;

public Q_SLOTS:
    void setStartLatitude(double value);
    void resetStartLatitude();
    void setStartLongitude(double value);
    void resetStartLongitude();
    void setStartName(const QString &name);
    void resetStartName();
    void setStartDescription(const QString &description);
    void resetStartDescription();
    void setStartAddress(const QString &address);
    void resetStartAddress();
    void setEndLatitude(double value);
    void resetEndLatitude();
    void setEndLongitude(double value);
    void resetEndLongitude();
    void setEndName(const QString &name);
    void resetEndName();
    void setEndDescription(const QString &description);
    void resetEndDescription();
    void setEndAddress(const QString &address);
    void resetEndAddress();
    Q_REVISION(1) void setHandsFreeNavigation(om::platform::HandsFreeNavigation::Type newValue);
    Q_REVISION(1) void resetHandsFreeNavigation();
    void setNavigationMode(om::platform::MapNavigationMode::Type mode);
    void resetNavigationMode();
    void setAvoidTollsEnabled(bool enable);
    void resetAvoidTollsEnabled();
    void setAvoidHighwaysEnabled(bool enable);
    void resetAvoidHighwaysEnabled();
    void setTransportationMode(om::platform::MapTransportationMode::Type mode);
    void resetTransportationMode();

Q_SIGNALS:
    void startLatitudeChanged(double newStartLatitude);
    void startLongitudeChanged(double newStartLongitude);
    void startNameChanged(const QString &newStartName);
    void startDescriptionChanged(const QString &newStartDescription);
    void startAddressChanged(const QString &newStartAddress);
    void endLatitudeChanged(double newEndLatitude);
    void endLongitudeChanged(double newEndLongitude);
    void endNameChanged(const QString &newEndName);
    void endDescriptionChanged(const QString &newEndDescription);
    void endAddressChanged(const QString &newEndAddress);
    Q_REVISION(1) void handsFreeNavigationChanged(om::platform::HandsFreeNavigation::Type newValue);
    /** The same change as an int, right after the other form, for scripts. */
    Q_REVISION(1) void handsFreeNavigationChanged(int newValue);
    void navigationModeChanged(om::platform::MapNavigationMode::Type newMode);
    /** The same change as an int, right after the other form, for scripts. */
    void navigationModeChanged(int newMode);
    void avoidTollsEnabledChanged(bool enable);
    void avoidHighwaysEnabledChanged(bool enable);
    void transportationModeChanged(om::platform::MapTransportationMode::Type newMode);
    /** The same change as an int, right after the other form, for scripts. */
    void transportationModeChanged(int newMode);
};

} // namespace platform
} // namespace om

#endif
