#ifndef OMDEVICE_STATEPUBLISHER_H
#define OMDEVICE_STATEPUBLISHER_H

#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace om {
class PpsObject;
}

namespace omdevice {

/** The publisher of a plain (state) object: creates it and merges into it. */
class StatePublisher : public QObject
{
    Q_OBJECT
public:
    explicit StatePublisher(const QString &path, int mode = 0666, QObject *parent = nullptr);

    bool open(QString *error);
    /** Merges @p attributes into the object; every subscriber then reads
     *  the whole object. @p removed names attributes to take away. */
    bool publish(const QVariantMap &attributes, const QStringList &removed = QStringList());
    /** Writes raw PPS text (for a publisher that wants to send anything). */
    bool publishRaw(const QByteArray &text);

private:
    QString m_path;
    int m_mode;
    om::PpsObject *m_pps = nullptr;
};

} // namespace omdevice

#endif
