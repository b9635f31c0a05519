#ifndef OM_PLATFORM_IDENTITY_OMBRELID_H
#define OM_PLATFORM_IDENTITY_OMBRELID_H

#include <om/platform/omplatform_export.h>

#include <QObject>
#include <QString>

namespace om {
namespace platform {
namespace identity {

/**
 * The OmbrelId provider, the user's account: its name for
 * IdentityServiceProvider::setProvider() and the keys of its user
 * properties for requestProperties().
 */
class OMPLATFORM_EXPORT OmbrelId : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(OmbrelId)
    Q_PROPERTY(QString providerName READ providerName CONSTANT FINAL)
    Q_PROPERTY(QString userNamePropertyKey READ userNamePropertyKey CONSTANT FINAL)
    Q_PROPERTY(QString screenNamePropertyKey READ screenNamePropertyKey CONSTANT FINAL)
    Q_PROPERTY(QString firstNamePropertyKey READ firstNamePropertyKey CONSTANT FINAL)
    Q_PROPERTY(QString lastNamePropertyKey READ lastNamePropertyKey CONSTANT FINAL)
    Q_PROPERTY(QString uniqueIdPropertyKey READ uniqueIdPropertyKey CONSTANT FINAL)
    Q_PROPERTY(QString emailPropertyKey READ emailPropertyKey CONSTANT FINAL)

public:
    explicit OmbrelId(QObject *parent = nullptr);
    ~OmbrelId() override;

    /** "ids:omb:omid" */
    static QString providerName();
    /** "urn:omid:username" */
    static QString userNamePropertyKey();
    /** "urn:omid:screenname" */
    static QString screenNamePropertyKey();
    /** "urn:omid:firstname" */
    static QString firstNamePropertyKey();
    /** "urn:omid:lastname" */
    static QString lastNamePropertyKey();
    /** "urn:omid:uid" */
    static QString uniqueIdPropertyKey();
    /** "urn:omid:email" */
    static QString emailPropertyKey();
};

} // namespace identity
} // namespace platform
} // namespace om

#endif
