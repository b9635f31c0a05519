#include "routemapinvoker_p.h"

namespace om {
namespace platform {

RouteMapInvokerPrivate::RouteMapInvokerPrivate(RouteMapInvoker *q) : MapInvokerPrivate(q)
{
    setViewMode(MapViewMode::Navigation);
}

QString RouteMapInvokerPrivate::generateMsgContent() const
{
    // The avoid flags go highways first, the reverse of their field order.
    return generateNavigationViewContent(
        JsonContent, centerLatitude(), centerLongitude(), altitude(), heading(), m_startLatitude,
        m_startLongitude, m_startName, m_startDescription, m_startAddress, m_endLatitude,
        m_endLongitude, m_endName, m_endDescription, m_endAddress, handsFreeNavigation(),
        navigationMode(), m_avoidHighwaysEnabled, m_avoidTollsEnabled, m_avoidOptionsSet,
        transportationMode(), searchLatitude(), searchLongitude(), searchText(), searchMode(),
        isCurrentLocationEnabled());
}

QString RouteMapInvokerPrivate::msgMimeType() const
{
    return ACTION_INVOKE_TYPE;
}

void RouteMapInvokerPrivate::setStartLatitude(double value)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_startLatitude, value))
        Q_EMIT q->startLatitudeChanged(m_startLatitude);
}

void RouteMapInvokerPrivate::setStartLongitude(double value)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_startLongitude, value))
        Q_EMIT q->startLongitudeChanged(m_startLongitude);
}

void RouteMapInvokerPrivate::setStartName(const QString &name)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_startName, name))
        Q_EMIT q->startNameChanged(m_startName);
}

void RouteMapInvokerPrivate::setStartDescription(const QString &description)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_startDescription, description))
        Q_EMIT q->startDescriptionChanged(m_startDescription);
}

void RouteMapInvokerPrivate::setStartAddress(const QString &address)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_startAddress, address))
        Q_EMIT q->startAddressChanged(m_startAddress);
}

void RouteMapInvokerPrivate::setEndLatitude(double value)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_endLatitude, value))
        Q_EMIT q->endLatitudeChanged(m_endLatitude);
}

void RouteMapInvokerPrivate::setEndLongitude(double value)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_endLongitude, value))
        Q_EMIT q->endLongitudeChanged(m_endLongitude);
}

void RouteMapInvokerPrivate::setEndName(const QString &name)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_endName, name))
        Q_EMIT q->endNameChanged(m_endName);
}

void RouteMapInvokerPrivate::setEndDescription(const QString &description)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_endDescription, description))
        Q_EMIT q->endDescriptionChanged(m_endDescription);
}

void RouteMapInvokerPrivate::setEndAddress(const QString &address)
{
    Q_Q(RouteMapInvoker);
    if (assignIfChanged(m_endAddress, address))
        Q_EMIT q->endAddressChanged(m_endAddress);
}

void RouteMapInvokerPrivate::setHandsFreeNavigation(HandsFreeNavigation::Type value)
{
    Q_Q(RouteMapInvoker);
    if (!assignIfChanged(m_handsFreeNavigation, enumBits(value)))
        return;
    Q_EMIT q->handsFreeNavigationChanged(handsFreeNavigation());
    Q_EMIT q->handsFreeNavigationChanged(int(m_handsFreeNavigation));
}

void RouteMapInvokerPrivate::setNavigationMode(MapNavigationMode::Type mode)
{
    Q_Q(RouteMapInvoker);
    if (!assignIfChanged(m_navigationMode, enumBits(mode)))
        return;
    Q_EMIT q->navigationModeChanged(navigationMode());
    Q_EMIT q->navigationModeChanged(int(m_navigationMode));
}

void RouteMapInvokerPrivate::setAvoidTollsEnabled(bool enable)
{
    Q_Q(RouteMapInvoker);
    if (!assignIfChanged(m_avoidTollsEnabled, enable))
        return;
    m_avoidOptionsSet = true;
    Q_EMIT q->avoidTollsEnabledChanged(m_avoidTollsEnabled);
}

void RouteMapInvokerPrivate::setAvoidHighwaysEnabled(bool enable)
{
    Q_Q(RouteMapInvoker);
    if (!assignIfChanged(m_avoidHighwaysEnabled, enable))
        return;
    m_avoidOptionsSet = true;
    Q_EMIT q->avoidHighwaysEnabledChanged(m_avoidHighwaysEnabled);
}

void RouteMapInvokerPrivate::setTransportationMode(MapTransportationMode::Type mode)
{
    Q_Q(RouteMapInvoker);
    if (!assignIfChanged(m_transportationMode, enumBits(mode)))
        return;
    Q_EMIT q->transportationModeChanged(transportationMode());
    Q_EMIT q->transportationModeChanged(int(m_transportationMode));
}

RouteMapInvoker::RouteMapInvoker(QObject *parent)
    : MapInvoker(parent, new RouteMapInvokerPrivate(this))
{
}

RouteMapInvoker::~RouteMapInvoker() = default;

double RouteMapInvoker::startLatitude() const { return d_func()->startLatitude(); }
double RouteMapInvoker::startLongitude() const { return d_func()->startLongitude(); }
QString RouteMapInvoker::startName() const { return d_func()->startName(); }
QString RouteMapInvoker::startDescription() const { return d_func()->startDescription(); }
QString RouteMapInvoker::startAddress() const { return d_func()->startAddress(); }
double RouteMapInvoker::endLatitude() const { return d_func()->endLatitude(); }
double RouteMapInvoker::endLongitude() const { return d_func()->endLongitude(); }
QString RouteMapInvoker::endName() const { return d_func()->endName(); }
QString RouteMapInvoker::endDescription() const { return d_func()->endDescription(); }
QString RouteMapInvoker::endAddress() const { return d_func()->endAddress(); }
HandsFreeNavigation::Type RouteMapInvoker::handsFreeNavigation() const { return d_func()->handsFreeNavigation(); }
MapNavigationMode::Type RouteMapInvoker::navigationMode() const { return d_func()->navigationMode(); }
bool RouteMapInvoker::isAvoidTollsEnabled() const { return d_func()->isAvoidTollsEnabled(); }
bool RouteMapInvoker::isAvoidHighwaysEnabled() const { return d_func()->isAvoidHighwaysEnabled(); }
MapTransportationMode::Type RouteMapInvoker::transportationMode() const { return d_func()->transportationMode(); }

void RouteMapInvoker::setStartLatitude(double value) { d_func()->setStartLatitude(value); }
void RouteMapInvoker::resetStartLatitude() { setStartLatitude(UnsetCoordinate); }
void RouteMapInvoker::setStartLongitude(double value) { d_func()->setStartLongitude(value); }
void RouteMapInvoker::resetStartLongitude() { setStartLongitude(UnsetCoordinate); }
void RouteMapInvoker::setStartName(const QString &name) { d_func()->setStartName(name); }
void RouteMapInvoker::resetStartName() { setStartName(QString()); }
void RouteMapInvoker::setStartDescription(const QString &description) { d_func()->setStartDescription(description); }
void RouteMapInvoker::resetStartDescription() { setStartDescription(QString()); }
void RouteMapInvoker::setStartAddress(const QString &address) { d_func()->setStartAddress(address); }
void RouteMapInvoker::resetStartAddress() { setStartAddress(QString()); }
void RouteMapInvoker::setEndLatitude(double value) { d_func()->setEndLatitude(value); }
void RouteMapInvoker::resetEndLatitude() { setEndLatitude(UnsetCoordinate); }
void RouteMapInvoker::setEndLongitude(double value) { d_func()->setEndLongitude(value); }
void RouteMapInvoker::resetEndLongitude() { setEndLongitude(UnsetCoordinate); }
void RouteMapInvoker::setEndName(const QString &name) { d_func()->setEndName(name); }
void RouteMapInvoker::resetEndName() { setEndName(QString()); }
void RouteMapInvoker::setEndDescription(const QString &description) { d_func()->setEndDescription(description); }
void RouteMapInvoker::resetEndDescription() { setEndDescription(QString()); }
void RouteMapInvoker::setEndAddress(const QString &address) { d_func()->setEndAddress(address); }
void RouteMapInvoker::resetEndAddress() { setEndAddress(QString()); }
void RouteMapInvoker::setHandsFreeNavigation(HandsFreeNavigation::Type newValue) { d_func()->setHandsFreeNavigation(newValue); }
void RouteMapInvoker::resetHandsFreeNavigation() { setHandsFreeNavigation(HandsFreeNavigation::Undefined); }
void RouteMapInvoker::setNavigationMode(MapNavigationMode::Type mode) { d_func()->setNavigationMode(mode); }
void RouteMapInvoker::resetNavigationMode() { setNavigationMode(MapNavigationMode::Undefined); }
void RouteMapInvoker::setAvoidTollsEnabled(bool enable) { d_func()->setAvoidTollsEnabled(enable); }
void RouteMapInvoker::resetAvoidTollsEnabled() { setAvoidTollsEnabled(false); }
void RouteMapInvoker::setAvoidHighwaysEnabled(bool enable) { d_func()->setAvoidHighwaysEnabled(enable); }
void RouteMapInvoker::resetAvoidHighwaysEnabled() { setAvoidHighwaysEnabled(false); }
void RouteMapInvoker::setTransportationMode(MapTransportationMode::Type mode) { d_func()->setTransportationMode(mode); }
void RouteMapInvoker::resetTransportationMode() { setTransportationMode(MapTransportationMode::Undefined); }

} // namespace platform
} // namespace om
