#include "mapinvoker_p.h"

#include <om/system/invokemanager.h>
#include <om/system/invokerequest.h>
#include <om/system/invoketargetreply.h>
#include <sys/slog.h>

#include <QByteArray>

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace om {
namespace platform {

void writeMapTrace(std::size_t bufferSize, const char *format, ...)
{
    std::vector<char> buffer(bufferSize);
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer.data(), buffer.size(), format, args);
    va_end(args);
    slogf(MapTraceCode, MapTraceSeverity, buffer.data());
}

MapInvokerPrivate::MapInvokerPrivate(MapInvoker *q) : q_ptr(q) {}

MapInvokerPrivate::~MapInvokerPrivate() = default;

QString MapInvokerPrivate::generateMsgContent() const
{
    return QString();
}

QString MapInvokerPrivate::msgMimeType() const
{
    return QString();
}

void MapInvokerPrivate::setCurrentLocationEnabled(bool enable)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_currentLocationEnabled, enable))
        Q_EMIT q->currentLocationEnabledChanged(m_currentLocationEnabled);
}

void MapInvokerPrivate::setSearchLatitude(double value)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_searchLatitude, value))
        Q_EMIT q->searchLatitudeChanged(m_searchLatitude);
}

void MapInvokerPrivate::setSearchLongitude(double value)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_searchLongitude, value))
        Q_EMIT q->searchLongitudeChanged(m_searchLongitude);
}

void MapInvokerPrivate::setSearchText(const QString &text)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_searchText, text))
        Q_EMIT q->searchTextChanged(m_searchText);
}

void MapInvokerPrivate::setSearchMode(MapSearchMode::Type mode)
{
    Q_Q(MapInvoker);
    if (!assignIfChanged(m_searchMode, enumBits(mode)))
        return;
    Q_EMIT q->searchModeChanged(searchMode());
    Q_EMIT q->searchModeChanged(int(m_searchMode));
}

void MapInvokerPrivate::setCenterLatitude(double value)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_centerLatitude, value))
        Q_EMIT q->centerLatitudeChanged(m_centerLatitude);
}

void MapInvokerPrivate::setCenterLongitude(double value)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_centerLongitude, value))
        Q_EMIT q->centerLongitudeChanged(m_centerLongitude);
}

void MapInvokerPrivate::setAltitude(int value)
{
    Q_Q(MapInvoker);
    if (assignIfChanged(m_altitude, value))
        Q_EMIT q->altitudeChanged(m_altitude);
}

void MapInvokerPrivate::setHeading(int value)
{
    Q_Q(MapInvoker);
    if (value < 0 || value > 360)
        return;
    if (assignIfChanged(m_heading, value))
        Q_EMIT q->headingChanged(m_heading);
}

void MapInvokerPrivate::sendRequest(const QString &content)
{
    // The maps application reads a C string: the payload ends at the first
    // NUL of the content, and carries a NUL of its own at its end.
    const QByteArray latin1 = content.toLatin1();
    QByteArray data(latin1.constData());
    const int contentSize = data.size();

    om::system::InvokeRequest request;
    request.setAction(QStringLiteral("om.action.OPEN"));
    request.setMimeType(msgMimeType());
    data.append('\0');
    request.setData(data);

    if (DEBUG_TO_SYSTEMLOG_FILE) {
        writeMapTrace(SendTraceBufferSize, "MapInvokerPrivate::sendRequest(): Data is: %s",
                      latin1.constData());
        writeMapTrace(SendTraceBufferSize, "MapInvokerPrivate::sendRequest(): Data size is: %d",
                      contentSize);
        writeMapTrace(SendTraceBufferSize,
                      "MapInvokerPrivate::sendRequest(): Data MIME type is: %s",
                      msgMimeType().toLatin1().constData());
    }

    om::system::InvokeManager manager;
    om::system::InvokeTargetReply *reply = manager.invoke(request);
    connect(reply, &om::system::InvokeReply::finished, this,
            &MapInvokerPrivate::onRequestFinished);
    reply->setParent(this);
}

void MapInvokerPrivate::onRequestFinished()
{
    auto *reply = qobject_cast<om::system::InvokeTargetReply *>(sender());
    if (!reply) {
        if (DEBUG_TO_SYSTEMLOG_FILE)
            writeMapTrace(ReplyTraceBufferSize,
                          "MapInvokerPrivate::onRequestFinished(): failed to cast to a valid "
                          "reply object");
        return;
    }
    if (reply->isFinished() && reply->error() != 0) {
        if (DEBUG_TO_SYSTEMLOG_FILE)
            writeMapTrace(ReplyTraceBufferSize,
                          "MapInvokerPrivate::onRequestFinished(): failed to send request to "
                          "target. Returned 'InvokeReply' error code is: %d",
                          reply->error());
    } else if (!reply->isFinished()) {
        if (DEBUG_TO_SYSTEMLOG_FILE)
            writeMapTrace(ReplyTraceBufferSize,
                          "MapInvokerPrivate::onRequestFinished(): Reply flagged as not "
                          "finished.");
    }
    reply->deleteLater();
}

MapInvoker::MapInvoker(QObject *parent, MapInvokerPrivate *d) : QObject(parent), d_ptr(d)
{
    d->setParent(this);
}

MapInvoker::~MapInvoker() = default;

bool MapInvoker::isCurrentLocationEnabled() const { return d_func()->isCurrentLocationEnabled(); }
double MapInvoker::searchLatitude() const { return d_func()->searchLatitude(); }
double MapInvoker::searchLongitude() const { return d_func()->searchLongitude(); }
QString MapInvoker::searchText() const { return d_func()->searchText(); }
MapSearchMode::Type MapInvoker::searchMode() const { return d_func()->searchMode(); }
int MapInvoker::altitude() const { return d_func()->altitude(); }
int MapInvoker::heading() const { return d_func()->heading(); }
double MapInvoker::centerLatitude() const { return d_func()->centerLatitude(); }
double MapInvoker::centerLongitude() const { return d_func()->centerLongitude(); }

void MapInvoker::setCurrentLocationEnabled(bool enable) { d_func()->setCurrentLocationEnabled(enable); }
void MapInvoker::resetCurrentLocationEnabled() { setCurrentLocationEnabled(false); }
void MapInvoker::setSearchLatitude(double value) { d_func()->setSearchLatitude(value); }
void MapInvoker::resetSearchLatitude() { setSearchLatitude(UnsetCoordinate); }
void MapInvoker::setSearchLongitude(double value) { d_func()->setSearchLongitude(value); }
void MapInvoker::resetSearchLongitude() { setSearchLongitude(UnsetCoordinate); }
void MapInvoker::setSearchText(const QString &text) { d_func()->setSearchText(text); }
void MapInvoker::resetSearchText() { setSearchText(QString()); }
void MapInvoker::setSearchMode(MapSearchMode::Type mode) { d_func()->setSearchMode(mode); }
void MapInvoker::resetSearchMode() { setSearchMode(MapSearchMode::Radial); }
void MapInvoker::setAltitude(int value) { d_func()->setAltitude(value); }
void MapInvoker::resetAltitude() { setAltitude(0); }
void MapInvoker::setHeading(int value) { d_func()->setHeading(value); }
void MapInvoker::resetHeading() { setHeading(0); }
void MapInvoker::setCenterLatitude(double value) { d_func()->setCenterLatitude(value); }
void MapInvoker::resetCenterLatitude() { setCenterLatitude(UnsetCoordinate); }
void MapInvoker::setCenterLongitude(double value) { d_func()->setCenterLongitude(value); }
void MapInvoker::resetCenterLongitude() { setCenterLongitude(UnsetCoordinate); }

void MapInvoker::go()
{
    Q_D(MapInvoker);
    const QString content = d->generateMsgContent();
    if (content.isNull())
        return;
    d->sendRequest(content);
}

} // namespace platform
} // namespace om
