#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICE_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICE_H

#include <om/platform/identity/identityservicelogverbosity.h>
#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {
namespace identity {

/**
 * The options of the identity client library, for the whole process and
 * every provider object in it. The setters wait for the identity service's
 * answer for a bounded time; each returns 0 or an error number (22 for a
 * value the service does not take, 70 when there is no service).
 */
class OMPLATFORM_EXPORT IdentityService : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(IdentityService)
    Q_PROPERTY(int version READ version CONSTANT FINAL)

public:
    explicit IdentityService(QObject *parent = nullptr);
    ~IdentityService() override;

    /** The version of the identity client library. */
    static int version();
    /** Whether the service may show the user a dialog for this application. */
    Q_INVOKABLE static int setGuiAllowed(bool allowed);
    /** How much the service logs of this application's requests. */
    Q_INVOKABLE static int
    setLogVerbosity(om::platform::identity::IdentityServiceLogVerbosity::Type verbosity);
    /** The window group of the application, shown with its challenges. */
    Q_INVOKABLE static int setWindowGroupId(const QString &groupId);
};

} // namespace identity
} // namespace platform
} // namespace om

#endif
