#ifndef OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROVIDER_P_H
#define OM_PLATFORM_IDENTITY_IDENTITYSERVICEPROVIDER_P_H

#include <om/platform/identity/identityserviceprovider.h>

#include <ids/ids.h>

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>

class QSocketNotifier;

namespace om {
namespace platform {
namespace identity {

/** The kind of a pending request, as the request table keeps it. */
typedef enum {
    RequestGetToken = 0,
    RequestClearToken = 1,
    RequestGetProperties = 2,
    RequestGetData = 3,
    RequestSetData = 4,
    RequestCreateData = 5,
    RequestDeleteData = 6,
    RequestListData = 7,
    RequestChallenge = 8,
} ids_request_type_t;

/**
 * The engine of IdentityServiceProvider: one provider of the identity
 * client library, its descriptor in the event loop, the pending requests by
 * id, and the library's callbacks turned into the public object's signals.
 */
class IdentityServiceProviderPrivate : public QObject
{
    Q_OBJECT
    Q_DECLARE_PUBLIC(IdentityServiceProvider)

public:
    explicit IdentityServiceProviderPrivate(IdentityServiceProvider *q);
    IdentityServiceProviderPrivate(const QString &provider, IdentityServiceProvider *q);
    ~IdentityServiceProviderPrivate() override;

    int setProvider(const QString &provider);
    int registerProvider(const QString &provider);
    int registerNotifier(int type, int flags, const QString &name);

    int getToken(const QString &tokenType, const QString &appliesTo) const;
    int clearToken(const QString &tokenType, const QString &appliesTo);
    int getProperties(int type, const QStringList &names) const;
    int getData(int type, int flags, const QString &name) const;
    int setData(int type, int flags, const QString &name, const QByteArray &value);
    int createData(int type, int flags, const QString &name, const QByteArray &value);
    int deleteData(int type, int flags, const QString &name);
    int listData(int type, int flags) const;
    int challenge(int type, int flags) const;

    int lastError() const;
    bool isValid() const;

    QMap<unsigned int, ids_request_type_t> requestList() const;
    void removeRequest(unsigned int requestId);

    // The ends of requests, called by the library's callbacks.
    void getTokenSuccess(unsigned int requestId, const char *token, int paramCount,
                         const ids_token_param_t *params);
    void clearTokenSuccess(unsigned int requestId);
    void getPropertiesSuccess(unsigned int requestId, int propertyCount,
                              const ids_property_t *properties);
    void getDataSuccess(unsigned int requestId, const ids_data_t *data);
    void setDataSuccess(unsigned int requestId);
    void createDataSuccess(unsigned int requestId);
    void deleteDataSuccess(unsigned int requestId);
    void listDataSuccess(unsigned int requestId, int nameCount, const char **names);
    void challengeSuccess(unsigned int requestId, int level);
    void notify(int type, const char *name, int notification);

    void getTokenFail(unsigned int requestId, ids_result_t result, const char *info);
    void clearTokenFail(unsigned int requestId, ids_result_t result, const char *info);
    void getPropertiesFail(unsigned int requestId, ids_result_t result, const char *info);
    void getDataFail(unsigned int requestId, ids_result_t result, const char *info);
    void setDataFail(unsigned int requestId, ids_result_t result, const char *info);
    void createDataFail(unsigned int requestId, ids_result_t result, const char *info);
    void deleteDataFail(unsigned int requestId, ids_result_t result, const char *info);
    void listDataFail(unsigned int requestId, ids_result_t result, const char *info);
    void challengeFail(unsigned int requestId, ids_result_t result, const char *info);

public Q_SLOTS:
    void eventReceived(int fd);

Q_SIGNALS:
    // Mirrors of the public signals. Never emitted: every outcome goes to
    // the public object directly.
    void getTokenSucceeded(int requestId, const QByteArray &token,
                           const QMap<QString, QString> &parameters);
    void getTokenFailed(int requestId, int result, const QString &info);
    void clearTokenSucceeded(int requestId);
    void clearTokenFailed(int requestId, int result, const QString &info);
    void getPropertiesSucceeded(int requestId, const QMap<QString, QString> &userProperties);
    void getPropertiesFailed(int requestId, int result, const QString &info);
    void getDataSucceeded(int requestId, const QByteArray &data);
    void getDataFailed(int requestId, int result, const QString &info);
    void setDataSucceeded(int requestId);
    void setDataFailed(int requestId, int result, const QString &info);
    void createDataSucceeded(int requestId);
    void createDataFailed(int requestId, int result, const QString &info);
    void deleteDataSucceeded(int requestId);
    void deleteDataFailed(int requestId, int result, const QString &info);
    void listDataSucceeded(int requestId, const QStringList &dataList);
    void listDataFailed(int requestId, int result, const QString &info);
    void challengeSucceeded(int requestId, int level);
    void challengeFailed(int requestId, int result, const QString &info);

private:
    void init();
    /** Enters an issued request into the table, or keeps the error of a
     *  request that could not be issued; returns the request id. */
    int issued(int result, unsigned int requestId, ids_request_type_t type) const;

public:
    IdentityServiceProvider *const q_ptr;
    // Requests are issued from const operations too.
    mutable QMap<unsigned int, ids_request_type_t> m_requests;
    mutable int m_lastError;
    ids_provider_t *m_provider;
    int m_fd;
    QSocketNotifier *m_notifier;
};

// The library's callbacks; each hands on to the like-named member of the
// engine given as callback data, and does nothing without one.
void getTokenSuccessCb(unsigned int requestId, const char *token, int paramCount,
                       const ids_token_param_t *params, void *data);
void clearTokenSuccessCb(unsigned int requestId, bool cleared, void *data);
void getPropertiesSuccessCb(unsigned int requestId, int propertyCount,
                            const ids_property_t *properties, void *data);
void getDataSuccessCb(unsigned int requestId, const ids_data_t *entry, void *data);
void setDataSuccessCb(unsigned int requestId, void *data);
void createDataSuccessCb(unsigned int requestId, void *data);
void deleteDataSuccessCb(unsigned int requestId, void *data);
void listDataSuccessCb(unsigned int requestId, int nameCount, const char **names, void *data);
void challengeSuccessCb(unsigned int requestId, int level, void *data);
void notifyOnChangeCb(int type, const char *name, int notification, void *data);
void idsFailureCb(unsigned int requestId, ids_result_t result, const char *info, void *data);

} // namespace identity
} // namespace platform
} // namespace om

#endif
