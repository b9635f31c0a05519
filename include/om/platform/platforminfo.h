#ifndef OM_PLATFORM_PLATFORMINFO_H
#define OM_PLATFORM_PLATFORMINFO_H

#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {

class PlatformInfoPrivate;

/** Facts about the platform the application runs on. */
class OMPLATFORM_EXPORT PlatformInfo : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PlatformInfo)
    Q_DECLARE_PRIVATE(PlatformInfo)
    Q_PROPERTY(QString osVersion READ osVersion CONSTANT)

public:
    explicit PlatformInfo(QObject *parent = nullptr);
    ~PlatformInfo() override;

    /**
     * The version of the device's operating system, as the device gives it,
     * such as "10.3.1.1234"; "0.0.0.0" if it cannot be read. Asks the device
     * at every call; nothing is kept.
     */
    QString osVersion() const;

private:
    PlatformInfoPrivate *const d_ptr;
};

} // namespace platform
} // namespace om

#endif
