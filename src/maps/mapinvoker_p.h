#ifndef OM_PLATFORM_MAPINVOKER_P_H
#define OM_PLATFORM_MAPINVOKER_P_H

#include <om/platform/contentformatutility.h>
#include <om/platform/mapinvoker.h>
#include <om/platform/mapviewmode.h>

#include "enumbits_p.h"

#include <QObject>
#include <QString>

#include <cstddef>

namespace om {
namespace platform {

/** Switches the trace messages of the map invokers; the code that writes
 *  them stays in place. */
constexpr bool DEBUG_TO_SYSTEMLOG_FILE = false;

/** Code and severity of the map invokers' traces in the system log. */
constexpr int MapTraceCode = 10000;
constexpr int MapTraceSeverity = 6;

/** Buffer sizes of the traces of sendRequest() and onRequestFinished(). */
constexpr std::size_t SendTraceBufferSize = 3000;
constexpr std::size_t ReplyTraceBufferSize = 200;

/**
 * Formats a trace with vsnprintf into a buffer of @p bufferSize bytes (a
 * longer text is cut) and hands the text to slogf as its format, with
 * MapTraceCode and MapTraceSeverity.
 */
void writeMapTrace(std::size_t bufferSize, const char *format, ...);

// Stores @p value in @p field unless they are equal; true if it changed.
// Strings compare by QString::compare, so that null and empty are equal.
template <typename T>
bool assignIfChanged(T &field, const T &value)
{
    if (field == value)
        return false;
    field = value;
    return true;
}

inline bool assignIfChanged(QString &field, const QString &value)
{
    if (QString::compare(field, value) == 0)
        return false;
    field = value;
    return true;
}

class MapInvokerPrivate : public QObject
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(MapInvoker)

public:
    explicit MapInvokerPrivate(MapInvoker *q);
    ~MapInvokerPrivate() override;

    /** The content to send; null (the base's answer) sends nothing. */
    virtual QString generateMsgContent() const;
    /** The MIME type of the content. */
    virtual QString msgMimeType() const;

    MapViewMode::Type viewMode() const { return MapViewMode::Type(m_viewMode); }
    bool isCurrentLocationEnabled() const { return m_currentLocationEnabled; }
    double searchLatitude() const { return m_searchLatitude; }
    double searchLongitude() const { return m_searchLongitude; }
    QString searchText() const { return m_searchText; }
    MapSearchMode::Type searchMode() const { return MapSearchMode::Type(m_searchMode); }
    double centerLatitude() const { return m_centerLatitude; }
    double centerLongitude() const { return m_centerLongitude; }
    int altitude() const { return m_altitude; }
    int heading() const { return m_heading; }

    void setCurrentLocationEnabled(bool enable);
    void setSearchLatitude(double value);
    void setSearchLongitude(double value);
    void setSearchText(const QString &text);
    void setSearchMode(MapSearchMode::Type mode);
    void setCenterLatitude(double value);
    void setCenterLongitude(double value);
    void setAltitude(int value);
    void setHeading(int value);

    /** Sends @p content as Latin-1, up to its first NUL, with a NUL added,
     *  to the maps application; the reply is a child of this object until
     *  it has finished. */
    void sendRequest(const QString &content);

public Q_SLOTS:
    void onRequestFinished();

protected:
    /** For subclasses only; emits nothing. */
    void setViewMode(MapViewMode::Type mode) { m_viewMode = enumBits(mode); }

    MapInvoker *const q_ptr;

private:
    // Modes are kept as the numbers they were given (see enumBits()).
    int m_viewMode = MapViewMode::Map;
    bool m_currentLocationEnabled = false;
    double m_searchLatitude = UnsetCoordinate;
    double m_searchLongitude = UnsetCoordinate;
    QString m_searchText;
    int m_searchMode = MapSearchMode::Radial;
    double m_centerLatitude = UnsetCoordinate;
    double m_centerLongitude = UnsetCoordinate;
    int m_altitude = 0;
    int m_heading = 0;
};

} // namespace platform
} // namespace om

#endif
