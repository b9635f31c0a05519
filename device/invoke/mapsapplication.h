#ifndef OMDEVICE_MAPSAPPLICATION_H
#define OMDEVICE_MAPSAPPLICATION_H

#include "common/datastore.h"
#include "invoke/targetregistry.h"

namespace omdevice {

/**
 * The device's maps application as a target of invocations. It opens
 * content of the map action type ("JSON {...}", a C string) and KML, and
 * keeps what it would show for the last invocation it took, or why it
 * could not read it; that survives a restart of the device, in the
 * invocation service's store, so that an invocation and what it shows are
 * one record.
 */
class MapsApplication : public InvokeTarget
{
public:
    static constexpr const char *TargetName = "om.maps";
    static constexpr const char *ActionType = "application/vnd.omb.map.action-v1";
    static constexpr const char *KmlType = "application/vnd.google-earth.kml+xml";

    /** Keeps its view in @p store, which must outlive it; takes over what
     *  an earlier version kept in a store of its own in @p dataDirectory. */
    MapsApplication(DataStore *store, const QString &dataDirectory);

    QString name() const override;
    QStringList actions() const override;
    QStringList mimeTypes() const override;
    void take(const Invocation &invocation) override;
    /** Takes @p invocation, adding what it shows now to @p changes for
     *  the caller to write with its own. */
    void take(const Invocation &invocation, DataStore::Changes *changes);

    /**
     * What the application shows now: "sender", "mimeType", "time", "size"
     * of the invocation, and either "readable" true with the view, or
     * "readable" false with the "reason". Empty before the first invocation.
     */
    QVariantMap shown() const { return m_shown; }
    /** Shows nothing, as before the first invocation. */
    void forget() { m_shown.clear(); }

    /**
     * Reads content of @p mimeType. The view has "view" ("map", "nav",
     * "sat" or "kml") and, as the content gives them: "center", "search",
     * "placemark", "currentLocation", "start", "end", "options",
     * "placemarks" (KML). Empty with *reason set when it cannot be read.
     */
    static QVariantMap read(const QString &mimeType, const QByteArray &data, QString *reason);

private:
    DataStore *m_store;
    QVariantMap m_shown;
};

} // namespace omdevice

#endif
