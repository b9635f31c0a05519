#include "locationmapinvoker_p.h"

namespace om {
namespace platform {

LocationMapInvokerPrivate::LocationMapInvokerPrivate(LocationMapInvoker *q) : MapInvokerPrivate(q)
{
}

QString LocationMapInvokerPrivate::generateMsgContent() const
{
    if (!m_kmlContent.isNull())
        return generatePlacemarkList(m_kmlContent);
    return generateMapViewContent(JsonContent, centerLatitude(), centerLongitude(), altitude(),
                                  heading(), isCurrentLocationEnabled(), searchLatitude(),
                                  searchLongitude(), searchText(), searchMode(), m_locationLatitude,
                                  m_locationLongitude, m_locationName, m_locationDescription,
                                  m_geocodeLocationEnabled);
}

QString LocationMapInvokerPrivate::msgMimeType() const
{
    return m_kmlContent.isNull() ? ACTION_INVOKE_TYPE : VIEW1_INVOKE_TYPE;
}

void LocationMapInvokerPrivate::dropKmlIfPairComplete()
{
    if (m_locationLatitude != UnsetCoordinate && m_locationLongitude != UnsetCoordinate)
        setKmlContent(QString());
}

void LocationMapInvokerPrivate::setLocationLatitude(double value)
{
    Q_Q(LocationMapInvoker);
    if (!assignIfChanged(m_locationLatitude, value))
        return;
    dropKmlIfPairComplete();
    Q_EMIT q->locationLatitudeChanged(m_locationLatitude);
}

void LocationMapInvokerPrivate::setLocationLongitude(double value)
{
    Q_Q(LocationMapInvoker);
    if (!assignIfChanged(m_locationLongitude, value))
        return;
    dropKmlIfPairComplete();
    Q_EMIT q->locationLongitudeChanged(m_locationLongitude);
}

void LocationMapInvokerPrivate::setLocationName(const QString &name)
{
    Q_Q(LocationMapInvoker);
    if (assignIfChanged(m_locationName, name))
        Q_EMIT q->locationNameChanged(m_locationName);
}

void LocationMapInvokerPrivate::setLocationDescription(const QString &description)
{
    Q_Q(LocationMapInvoker);
    if (assignIfChanged(m_locationDescription, description))
        Q_EMIT q->locationDescriptionChanged(m_locationDescription);
}

void LocationMapInvokerPrivate::setGeocodeLocationEnabled(bool enable)
{
    Q_Q(LocationMapInvoker);
    if (assignIfChanged(m_geocodeLocationEnabled, enable))
        Q_EMIT q->geocodeLocationEnabledChanged(m_geocodeLocationEnabled);
}

void LocationMapInvokerPrivate::setKmlContent(const QString &content)
{
    Q_Q(LocationMapInvoker);
    if (!assignIfChanged(m_kmlContent, content))
        return;
    if (!m_kmlContent.isNull()) {
        // KML describes the whole view: the location goes, the geocode flag
        // stays.
        setLocationLatitude(UnsetCoordinate);
        setLocationLongitude(UnsetCoordinate);
        setLocationName(QString());
        setLocationDescription(QString());
    }
    Q_EMIT q->kmlContentChanged(m_kmlContent);
}

LocationMapInvoker::LocationMapInvoker(QObject *parent)
    : MapInvoker(parent, new LocationMapInvokerPrivate(this))
{
}

LocationMapInvoker::~LocationMapInvoker() = default;

double LocationMapInvoker::locationLatitude() const { return d_func()->locationLatitude(); }
double LocationMapInvoker::locationLongitude() const { return d_func()->locationLongitude(); }
QString LocationMapInvoker::locationName() const { return d_func()->locationName(); }
QString LocationMapInvoker::locationDescription() const { return d_func()->locationDescription(); }
bool LocationMapInvoker::isGeocodeLocationEnabled() const { return d_func()->isGeocodeLocationEnabled(); }
QString LocationMapInvoker::kmlContent() const { return d_func()->kmlContent(); }

void LocationMapInvoker::setLocationLatitude(double value) { d_func()->setLocationLatitude(value); }
void LocationMapInvoker::resetLocationLatitude() { setLocationLatitude(UnsetCoordinate); }
void LocationMapInvoker::setLocationLongitude(double value) { d_func()->setLocationLongitude(value); }
void LocationMapInvoker::resetLocationLongitude() { setLocationLongitude(UnsetCoordinate); }
void LocationMapInvoker::setLocationName(const QString &name) { d_func()->setLocationName(name); }
void LocationMapInvoker::resetLocationName() { setLocationName(QString()); }
void LocationMapInvoker::setLocationDescription(const QString &description) { d_func()->setLocationDescription(description); }
void LocationMapInvoker::resetLocationDescription() { setLocationDescription(QString()); }
void LocationMapInvoker::setGeocodeLocationEnabled(bool enable) { d_func()->setGeocodeLocationEnabled(enable); }
void LocationMapInvoker::resetGeocodeLocationEnabled() { setGeocodeLocationEnabled(false); }
void LocationMapInvoker::setKmlContent(const QString &content) { d_func()->setKmlContent(content); }
void LocationMapInvoker::resetKmlContent() { setKmlContent(QString()); }

} // namespace platform
} // namespace om
