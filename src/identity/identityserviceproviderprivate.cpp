#include "identity/identityserviceprovider_p.h"

#include "identity/identityservicelogger.h"

#include <QSocketNotifier>
#include <QVarLengthArray>
#include <QVariant>
#include <QVariantMap>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace om {
namespace platform {
namespace identity {

namespace {

IdentityServiceProviderPrivate *engine(void *data)
{
    return static_cast<IdentityServiceProviderPrivate *>(data);
}

char *copy(const QString &text)
{
    // A failed copy is passed on as null, which the library refuses.
    return ::strdup(text.toUtf8().constData());
}

} // namespace

IdentityServiceProviderPrivate::IdentityServiceProviderPrivate(IdentityServiceProvider *q)
    : QObject(q), q_ptr(q)
{
    init();
}

IdentityServiceProviderPrivate::IdentityServiceProviderPrivate(const QString &provider,
                                                               IdentityServiceProvider *q)
    : QObject(q), q_ptr(q)
{
    init();
    registerProvider(provider);
}

void IdentityServiceProviderPrivate::init()
{
    qRegisterMetaType<IdentityServiceTokenResult::Type>();
    qRegisterMetaType<IdentityServicePropertyResult::Type>();
    qRegisterMetaType<QMap<QString, QString>>();
    ids_initialize();
    m_provider = nullptr;
    m_fd = 0;
    m_notifier = nullptr;
    m_lastError = IdentityServiceTokenResult::InternalError;
}

IdentityServiceProviderPrivate::~IdentityServiceProviderPrivate()
{
    // Other objects of the process may share this provider's descriptor and
    // read the answers to this object's requests: none may reach it now.
    ids_cancel_callbacks(this);
    ids_shutdown();
    delete m_notifier;
    m_requests.clear();
}

int IdentityServiceProviderPrivate::setProvider(const QString &provider)
{
    return registerProvider(provider);
}

int IdentityServiceProviderPrivate::registerProvider(const QString &provider)
{
    const QByteArray name = provider.toUtf8();
    if (ids_register_provider(name.constData(), &m_provider, &m_fd) != 0 && errno != EEXIST) {
        const int error = errno;
        delete m_notifier;
        m_notifier = nullptr;
        return error;
    }
    // A notifier of an earlier registration stays alive and connected.
    m_notifier = new QSocketNotifier(m_fd, QSocketNotifier::Read);
    m_notifier->setEnabled(true);
    connect(m_notifier, &QSocketNotifier::activated, this,
            &IdentityServiceProviderPrivate::eventReceived, Qt::AutoConnection);
    return 0;
}

int IdentityServiceProviderPrivate::registerNotifier(int type, int flags, const QString &name)
{
    // The library may keep the name: the copy is never freed.
    char *text = copy(name);
    if (ids_register_notifier(m_provider, type, flags, text, notifyOnChangeCb, this) != 0) {
        m_lastError = errno;
        return m_lastError;
    }
    return 0;
}

void IdentityServiceProviderPrivate::eventReceived(int fd)
{
    Q_UNUSED(fd)
    if (ids_process_msg(m_fd) == 0)
        IdentityServiceLogger::Log(QStringLiteral("eventReceived - FD changed"));
}

int IdentityServiceProviderPrivate::issued(int result, unsigned int requestId,
                                           ids_request_type_t type) const
{
    if (result != 0)
        m_lastError = errno;
    else
        m_requests.insert(requestId, type);
    return int(requestId);
}

int IdentityServiceProviderPrivate::getToken(const QString &tokenType,
                                             const QString &appliesTo) const
{
    char *type = copy(tokenType);
    char *target = copy(appliesTo);
    unsigned int requestId = 0;
    const int result =
        ids_get_token(m_provider, type, target, getTokenSuccessCb, idsFailureCb,
                      const_cast<IdentityServiceProviderPrivate *>(this), &requestId);
    const int id = issued(result, requestId, RequestGetToken);
    ::free(type);
    ::free(target);
    return id;
}

int IdentityServiceProviderPrivate::clearToken(const QString &tokenType, const QString &appliesTo)
{
    char *type = copy(tokenType);
    char *target = copy(appliesTo);
    unsigned int requestId = 0;
    const int result = ids_clear_token(m_provider, type, target, clearTokenSuccessCb, idsFailureCb,
                                       this, &requestId);
    const int id = issued(result, requestId, RequestClearToken);
    ::free(type);
    ::free(target);
    return id;
}

int IdentityServiceProviderPrivate::getProperties(int type, const QStringList &names) const
{
    QVarLengthArray<char *, 16> copies;
    for (const QString &name : names)
        copies.append(copy(name));
    unsigned int requestId = 0;
    const int result = ids_get_properties(
        m_provider, type, copies.size(), copies.data(), getPropertiesSuccessCb, idsFailureCb,
        const_cast<IdentityServiceProviderPrivate *>(this), &requestId);
    const int id = issued(result, requestId, RequestGetProperties);
    for (char *name : copies)
        ::free(name);
    return id;
}

int IdentityServiceProviderPrivate::getData(int type, int flags, const QString &name) const
{
    char *text = copy(name);
    unsigned int requestId = 0;
    const int result = ids_get_data(m_provider, type, flags, text, getDataSuccessCb, idsFailureCb,
                                    const_cast<IdentityServiceProviderPrivate *>(this), &requestId);
    const int id = issued(result, requestId, RequestGetData);
    ::free(text);
    return id;
}

int IdentityServiceProviderPrivate::setData(int type, int flags, const QString &name,
                                            const QByteArray &value)
{
    char *text = copy(name);
    const ids_data_t data = {text, value.constData(), size_t(value.size())};
    unsigned int requestId = 0;
    const int result = ids_set_data(m_provider, type, flags, &data, setDataSuccessCb, idsFailureCb,
                                    this, &requestId);
    const int id = issued(result, requestId, RequestSetData);
    ::free(text);
    return id;
}

int IdentityServiceProviderPrivate::createData(int type, int flags, const QString &name,
                                               const QByteArray &value)
{
    char *text = copy(name);
    const ids_data_t data = {text, value.constData(), size_t(value.size())};
    unsigned int requestId = 0;
    const int result = ids_create_data(m_provider, type, flags, &data, createDataSuccessCb,
                                       idsFailureCb, this, &requestId);
    const int id = issued(result, requestId, RequestCreateData);
    ::free(text);
    return id;
}

int IdentityServiceProviderPrivate::deleteData(int type, int flags, const QString &name)
{
    char *text = copy(name);
    unsigned int requestId = 0;
    const int result = ids_delete_data(m_provider, type, flags, text, deleteDataSuccessCb,
                                       idsFailureCb, this, &requestId);
    const int id = issued(result, requestId, RequestDeleteData);
    ::free(text);
    return id;
}

int IdentityServiceProviderPrivate::listData(int type, int flags) const
{
    unsigned int requestId = 0;
    const int result =
        ids_list_data(m_provider, type, flags, listDataSuccessCb, idsFailureCb,
                      const_cast<IdentityServiceProviderPrivate *>(this), &requestId);
    return issued(result, requestId, RequestListData);
}

int IdentityServiceProviderPrivate::challenge(int type, int flags) const
{
    unsigned int requestId = 0;
    const int result =
        ids_challenge(m_provider, type, flags, challengeSuccessCb, idsFailureCb,
                      const_cast<IdentityServiceProviderPrivate *>(this), &requestId);
    return issued(result, requestId, RequestChallenge);
}

int IdentityServiceProviderPrivate::lastError() const
{
    return m_lastError;
}

bool IdentityServiceProviderPrivate::isValid() const
{
    return m_notifier != nullptr;
}

QMap<unsigned int, ids_request_type_t> IdentityServiceProviderPrivate::requestList() const
{
    return m_requests;
}

void IdentityServiceProviderPrivate::removeRequest(unsigned int requestId)
{
    m_requests.remove(requestId);
}

namespace {

// Name and value pairs into both map forms; a later pair of an equal name wins.
template <typename Pair>
void collect(int count, const Pair *pairs, QMap<QString, QString> *texts, QVariantMap *variants)
{
    for (int i = 0; i < count; ++i) {
        const QString name = QString::fromLatin1(pairs[i].name);
        const QString value = QString::fromLatin1(pairs[i].value);
        texts->insert(name, value);
        variants->insert(name, QVariant(value));
    }
}

} // namespace

void IdentityServiceProviderPrivate::getTokenSuccess(unsigned int requestId, const char *token,
                                                     int paramCount,
                                                     const ids_token_param_t *params)
{
    Q_Q(IdentityServiceProvider);
    const QByteArray bytes(token);
    QMap<QString, QString> parameters;
    QVariantMap variantParameters;
    collect(paramCount, params, &parameters, &variantParameters);
    emit q->tokenRetrieved(int(requestId), bytes, parameters);
    emit q->tokenRetrieved(int(requestId), QVariant(bytes), variantParameters);
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::clearTokenSuccess(unsigned int requestId)
{
    Q_Q(IdentityServiceProvider);
    emit q->tokenCleared(int(requestId));
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::getPropertiesSuccess(unsigned int requestId, int propertyCount,
                                                          const ids_property_t *properties)
{
    Q_Q(IdentityServiceProvider);
    QMap<QString, QString> texts;
    QVariantMap variants;
    collect(propertyCount, properties, &texts, &variants);
    emit q->propertiesRetrieved(int(requestId), texts);
    emit q->propertiesRetrieved(int(requestId), variants);
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::getDataSuccess(unsigned int requestId, const ids_data_t *data)
{
    Q_Q(IdentityServiceProvider);
    const QByteArray bytes(static_cast<const char *>(data->value), int(data->length));
    const QString text = QString::fromUtf8(bytes.constData());
    emit q->dataRetrieved(int(requestId), bytes);
    emit q->dataRetrieved(int(requestId), text);
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::setDataSuccess(unsigned int requestId)
{
    Q_Q(IdentityServiceProvider);
    emit q->dataSet(int(requestId));
    emit q->dataSet(int(requestId));
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::createDataSuccess(unsigned int requestId)
{
    Q_Q(IdentityServiceProvider);
    emit q->dataCreated(int(requestId));
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::deleteDataSuccess(unsigned int requestId)
{
    Q_Q(IdentityServiceProvider);
    emit q->dataDeleted(int(requestId));
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::listDataSuccess(unsigned int requestId, int nameCount,
                                                     const char **names)
{
    Q_Q(IdentityServiceProvider);
    QStringList list;
    for (int i = 0; i < nameCount; ++i)
        list.append(QString::fromLatin1(names[i]));
    emit q->dataListRetrieved(int(requestId), list);
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::challengeSuccess(unsigned int requestId, int level)
{
    Q_Q(IdentityServiceProvider);
    emit q->challengeComplete(int(requestId), level);
    removeRequest(requestId);
}

void IdentityServiceProviderPrivate::notify(int type, const char *name, int notification)
{
    Q_Q(IdentityServiceProvider);
    emit q->notificationReceived(type, QString::fromLatin1(name), notification);
}

#define OM_IDENTITY_TOKEN_FAIL(routine, signal)                                                    \
    void IdentityServiceProviderPrivate::routine(unsigned int requestId, ids_result_t result,      \
                                                 const char *info)                                 \
    {                                                                                              \
        Q_Q(IdentityServiceProvider);                                                              \
        const QString text = QString::fromLatin1(info);                                            \
        emit q->signal(int(requestId), IdentityServiceTokenResult::Type(result), text);            \
        emit q->signal(int(requestId), int(result), text);                                         \
        removeRequest(requestId);                                                                  \
    }

#define OM_IDENTITY_PROPERTY_FAIL(routine, signal)                                                 \
    void IdentityServiceProviderPrivate::routine(unsigned int requestId, ids_result_t result,      \
                                                 const char *info)                                 \
    {                                                                                              \
        Q_Q(IdentityServiceProvider);                                                              \
        const QString text = QString::fromLatin1(info);                                            \
        emit q->signal(int(requestId), IdentityServicePropertyResult::Type(result), text);         \
        emit q->signal(int(requestId), int(result), text);                                         \
        removeRequest(requestId);                                                                  \
    }

OM_IDENTITY_TOKEN_FAIL(getTokenFail, tokenRetrievalFailed)
OM_IDENTITY_TOKEN_FAIL(clearTokenFail, tokenClearFailed)
OM_IDENTITY_PROPERTY_FAIL(getPropertiesFail, propertyRetrievalFailed)
OM_IDENTITY_PROPERTY_FAIL(getDataFail, dataRetrievalFailed)
OM_IDENTITY_PROPERTY_FAIL(setDataFail, dataSetFailed)
OM_IDENTITY_PROPERTY_FAIL(createDataFail, dataCreateFailed)
OM_IDENTITY_PROPERTY_FAIL(deleteDataFail, dataDeleteFailed)
OM_IDENTITY_PROPERTY_FAIL(listDataFail, dataListFailed)
OM_IDENTITY_PROPERTY_FAIL(challengeFail, challengeFailed)

#undef OM_IDENTITY_TOKEN_FAIL
#undef OM_IDENTITY_PROPERTY_FAIL

void getTokenSuccessCb(unsigned int requestId, const char *token, int paramCount,
                       const ids_token_param_t *params, void *data)
{
    if (data)
        engine(data)->getTokenSuccess(requestId, token, paramCount, params);
}

void clearTokenSuccessCb(unsigned int requestId, bool cleared, void *data)
{
    Q_UNUSED(cleared)
    if (data)
        engine(data)->clearTokenSuccess(requestId);
}

void getPropertiesSuccessCb(unsigned int requestId, int propertyCount,
                            const ids_property_t *properties, void *data)
{
    if (data)
        engine(data)->getPropertiesSuccess(requestId, propertyCount, properties);
}

void getDataSuccessCb(unsigned int requestId, const ids_data_t *entry, void *data)
{
    if (data)
        engine(data)->getDataSuccess(requestId, entry);
}

void setDataSuccessCb(unsigned int requestId, void *data)
{
    if (data)
        engine(data)->setDataSuccess(requestId);
}

void createDataSuccessCb(unsigned int requestId, void *data)
{
    if (data)
        engine(data)->createDataSuccess(requestId);
}

void deleteDataSuccessCb(unsigned int requestId, void *data)
{
    if (data)
        engine(data)->deleteDataSuccess(requestId);
}

void listDataSuccessCb(unsigned int requestId, int nameCount, const char **names, void *data)
{
    if (data)
        engine(data)->listDataSuccess(requestId, nameCount, names);
}

void challengeSuccessCb(unsigned int requestId, int level, void *data)
{
    if (data)
        engine(data)->challengeSuccess(requestId, level);
}

void notifyOnChangeCb(int type, const char *name, int notification, void *data)
{
    if (data)
        engine(data)->notify(type, name, notification);
}

void idsFailureCb(unsigned int requestId, ids_result_t result, const char *info, void *data)
{
    if (!data)
        return;
    IdentityServiceProviderPrivate *d = engine(data);
    const QMap<unsigned int, ids_request_type_t> requests = d->requestList();
    const auto it = requests.constFind(requestId);
    if (it == requests.constEnd() || int(it.value()) > RequestChallenge)
        return;
    switch (it.value()) {
    case RequestGetToken:
        d->getTokenFail(requestId, result, info);
        break;
    case RequestClearToken:
        d->clearTokenFail(requestId, result, info);
        break;
    case RequestGetProperties:
        d->getPropertiesFail(requestId, result, info);
        break;
    case RequestGetData:
        d->getDataFail(requestId, result, info);
        break;
    case RequestSetData:
        d->setDataFail(requestId, result, info);
        break;
    case RequestCreateData:
        d->createDataFail(requestId, result, info);
        break;
    case RequestDeleteData:
        d->deleteDataFail(requestId, result, info);
        break;
    case RequestListData:
        d->listDataFail(requestId, result, info);
        break;
    case RequestChallenge:
        d->challengeFail(requestId, result, info);
        break;
    }
}

} // namespace identity
} // namespace platform
} // namespace om
