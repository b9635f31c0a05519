#ifndef OM_PLATFORM_IDENTITY_OMBRELPROFILE_H
#define OM_PLATFORM_IDENTITY_OMBRELPROFILE_H

#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {
namespace identity {

/** The OmbrelProfile provider, which keeps named data for applications. */
class OMPLATFORM_EXPORT OmbrelProfile : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(OmbrelProfile)
    Q_PROPERTY(QString providerName READ providerName CONSTANT FINAL)

public:
    explicit OmbrelProfile(QObject *parent = nullptr);
    ~OmbrelProfile() override;

    /** "ids:omb:profile" */
    static QString providerName();
};

} // namespace identity
} // namespace platform
} // namespace om

#endif
