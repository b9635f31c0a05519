#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROVIDER_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROVIDER_H

#include <om/platform/identity/identityservicepropertyresult.h>
#include <om/platform/identity/identityservicetokenresult.h>
#include <om/platform/omplatform_export.h>

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

namespace om {
namespace platform {
namespace identity {

class IdentityServiceProviderPrivate;

/**
 * One identity provider (OmbrelId::providerName(), OmbrelProfile::providerName())
 * as an application talks to it: tokens, user properties, named data,
 * challenges and change notifications.
 *
 * Every request returns at once with a request id, or 0 when it could not be
 * issued (error() then says why). Its outcome comes later from the event
 * loop of the object's thread, as a signal carrying that id: a success
 * signal, or a failure signal with the service's result code and text.
 * Signals with two forms are emitted in both, the native form first.
 * Requests still pending when the object is destroyed end with no signal.
 */
class OMPLATFORM_EXPORT IdentityServiceProvider : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(IdentityServiceProvider)
    Q_DECLARE_PRIVATE(IdentityServiceProvider)
    Q_PROPERTY(int maxPropertyCount READ maxPropertyCount CONSTANT FINAL)
    Q_PROPERTY(int maxPropertyNameLength READ maxPropertyNameLength CONSTANT FINAL)
    Q_PROPERTY(int maxDataNameLength READ maxDataNameLength CONSTANT FINAL)

public:
    /** An object with no provider: invalid until setProvider() succeeds. */
    explicit IdentityServiceProvider(QObject *parent = nullptr);
    /** Registers @p providerName at once; see isValid() for the outcome. */
    explicit IdentityServiceProvider(const QString &providerName, QObject *parent = nullptr);
    ~IdentityServiceProvider() override;

    /** The most property names the service takes in one request. The
     *  service enforces it (TooManyNamesPassed), not this class. */
    int maxPropertyCount() const;
    /** The longest property name, in bytes; the service answers NameTooLong. */
    int maxPropertyNameLength() const;
    /** The longest data entry name, in bytes; the service answers NameTooLong. */
    int maxDataNameLength() const;

    /**
     * Registers the provider, waiting for the service's answer for a bounded
     * time. Returns an IdentityServiceResult value: 0, or the error number
     * (70 when there is no service or no such provider). A failure ends an
     * earlier registration of this object. error() does not change.
     */
    Q_INVOKABLE int setProvider(const QString &providerName);

    /** Asks for a token of @p tokenType for @p appliesTo. */
    Q_INVOKABLE int requestToken(const QString &tokenType, const QString &appliesTo) const;
    /** Discards the token of @p tokenType for @p appliesTo. */
    Q_INVOKABLE int clearToken(const QString &tokenType, const QString &appliesTo);
    /** Reads the user properties named in @p propertyList. */
    Q_INVOKABLE int requestProperties(int type, const QStringList &propertyList) const;
    /** Reads the data entry @p name. */
    Q_INVOKABLE int requestData(int type, int flags, const QString &name) const;
    /** Replaces the data entry @p name with @p value. */
    int setData(int type, int flags, const QString &name, const QByteArray &value);
    /** The same with a text value, sent as Latin-1; read back as UTF-8. */
    Q_INVOKABLE int setData(int type, int flags, const QString &name, const QString &value);
    /** Makes the data entry @p name with @p value. */
    int createData(int type, int flags, const QString &name, const QByteArray &value);
    /** The same with a text value, sent as Latin-1; read back as UTF-8. */
    Q_INVOKABLE int createData(int type, int flags, const QString &name, const QString &value);
    /** Removes the data entry @p name. */
    Q_INVOKABLE int deleteData(int type, int flags, const QString &name);
    /** Lists the names of the data entries. */
    Q_INVOKABLE int listData(int type, int flags) const;
    /** Makes the service check the user; may wait for the user for long. */
    Q_INVOKABLE int challenge(int type, int flags) const;
    /**
     * Starts or stops (OmbrelProfileSetNotificationFlag) notifications of
     * changes to the entry @p name, waiting for the service's answer for a
     * bounded time. Returns 0 or an error number, not a request id.
     */
    Q_INVOKABLE int setNotification(int type, int flags, const QString &name);

    /** The error of the last request that could not be issued; 49999
     *  (InternalError) until one fails. Never cleared. */
    Q_INVOKABLE int error() const;
    /** Whether a provider is registered. */
    Q_INVOKABLE bool isValid() const;

Q_SIGNALS:
    void tokenRetrieved(int requestId, const QByteArray &token,
                        const QMap<QString, QString> &parameters);
    void tokenRetrieved(int requestId, const QVariant &token, const QVariantMap &parameters);
    void tokenRetrievalFailed(int requestId,
                              om::platform::identity::IdentityServiceTokenResult::Type result,
                              const QString &info);
    void tokenRetrievalFailed(int requestId, int result, const QString &info);
    void tokenCleared(int requestId);
    void tokenClearFailed(int requestId,
                          om::platform::identity::IdentityServiceTokenResult::Type result,
                          const QString &info);
    void tokenClearFailed(int requestId, int result, const QString &info);
    void propertiesRetrieved(int requestId, const QMap<QString, QString> &userProperties);
    void propertiesRetrieved(int requestId, const QVariantMap &userProperties);
    void propertyRetrievalFailed(int requestId,
                                 om::platform::identity::IdentityServicePropertyResult::Type result,
                                 const QString &info);
    void propertyRetrievalFailed(int requestId, int result, const QString &info);
    /** The native form carries every byte; the text form stops at the first NUL. */
    void dataRetrieved(int requestId, const QByteArray &data);
    void dataRetrieved(int requestId, const QString &data);
    void dataRetrievalFailed(int requestId,
                             om::platform::identity::IdentityServicePropertyResult::Type result,
                             const QString &info);
    void dataRetrievalFailed(int requestId, int result, const QString &info);
    /** Emitted twice for each successful setData(). */
    void dataSet(int requestId);
    void dataSetFailed(int requestId,
                       om::platform::identity::IdentityServicePropertyResult::Type result,
                       const QString &info);
    void dataSetFailed(int requestId, int result, const QString &info);
    void dataCreated(int requestId);
    void dataCreateFailed(int requestId,
                          om::platform::identity::IdentityServicePropertyResult::Type result,
                          const QString &info);
    void dataCreateFailed(int requestId, int result, const QString &info);
    void dataDeleted(int requestId);
    void dataDeleteFailed(int requestId,
                          om::platform::identity::IdentityServicePropertyResult::Type result,
                          const QString &info);
    void dataDeleteFailed(int requestId, int result, const QString &info);
    void dataListRetrieved(int requestId, const QStringList &dataList);
    void dataListFailed(int requestId,
                        om::platform::identity::IdentityServicePropertyResult::Type result,
                        const QString &info);
    void dataListFailed(int requestId, int result, const QString &info);
    /** @p level is an OmbrelIdAssuranceLevel value. */
    void challengeComplete(int requestId, int level);
    void challengeFailed(int requestId,
                         om::platform::identity::IdentityServicePropertyResult::Type result,
                         const QString &info);
    void challengeFailed(int requestId, int result, const QString &info);
    /** @p notification is an OmbrelProfileNotification value. */
    void notificationReceived(int type, const QString &notificationName, int notification);

private:
    IdentityServiceProviderPrivate *const d_ptr;
};

} // namespace identity
} // namespace platform
} // namespace om

#endif
