#ifndef OMDEVICE_INVOCATION_H
#define OMDEVICE_INVOCATION_H

#include <QByteArray>
#include <QString>
#include <QVariantMap>

namespace omdevice {

/** One invocation as the service received it, and what became of it. */
struct Invocation
{
    qint64 time = 0; ///< When it arrived, in ms since the epoch.
    QString sender;  ///< The sending application's package name.
    QString action;
    QString mimeType;
    QString uri;
    QByteArray data;
    QString requestedTarget; ///< The target the request named, if any.
    QString target;          ///< The target that took it; empty if none.
    int error = 0;           ///< 0 when a target took it.
    QString errorText;

    /** For storage and for the simulator's answers; the data in base64.
     *  With @p maxData >= 0 at most that many bytes of data are kept, and
     *  "dataSize" tells the whole size. */
    QVariantMap toVariant(int maxData = -1) const;
    static Invocation fromVariant(const QVariantMap &map);
};

} // namespace omdevice

#endif
