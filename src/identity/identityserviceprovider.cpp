#include <om/platform/identity/identityserviceprovider.h>

#include "identity/identityserviceprovider_p.h"

namespace om {
namespace platform {
namespace identity {

namespace {
constexpr int MaxPropertyCount = 10;
constexpr int MaxPropertyNameLength = 32;
constexpr int MaxDataNameLength = 128;
} // namespace

IdentityServiceProvider::IdentityServiceProvider(QObject *parent)
    : QObject(parent), d_ptr(new IdentityServiceProviderPrivate(this))
{
}

IdentityServiceProvider::IdentityServiceProvider(const QString &providerName, QObject *parent)
    : QObject(parent), d_ptr(new IdentityServiceProviderPrivate(providerName, this))
{
}

IdentityServiceProvider::~IdentityServiceProvider()
{
    delete d_ptr;
}

int IdentityServiceProvider::maxPropertyCount() const
{
    return MaxPropertyCount;
}

int IdentityServiceProvider::maxPropertyNameLength() const
{
    return MaxPropertyNameLength;
}

int IdentityServiceProvider::maxDataNameLength() const
{
    return MaxDataNameLength;
}

int IdentityServiceProvider::setProvider(const QString &providerName)
{
    Q_D(IdentityServiceProvider);
    return d->setProvider(providerName);
}

int IdentityServiceProvider::requestToken(const QString &tokenType, const QString &appliesTo) const
{
    Q_D(const IdentityServiceProvider);
    // Connected anew on every call; the engine never emits the signal.
    connect(d, "2getTokenFailed( int, int, QString )", this,
            "2tokenRetrievalFailed( int, int, QString )", Qt::AutoConnection);
    return d->getToken(tokenType, appliesTo);
}

int IdentityServiceProvider::clearToken(const QString &tokenType, const QString &appliesTo)
{
    Q_D(IdentityServiceProvider);
    return d->clearToken(tokenType, appliesTo);
}

int IdentityServiceProvider::requestProperties(int type, const QStringList &propertyList) const
{
    Q_D(const IdentityServiceProvider);
    return d->getProperties(type, propertyList);
}

int IdentityServiceProvider::requestData(int type, int flags, const QString &name) const
{
    Q_D(const IdentityServiceProvider);
    return d->getData(type, flags, name);
}

int IdentityServiceProvider::setData(int type, int flags, const QString &name,
                                     const QByteArray &value)
{
    Q_D(IdentityServiceProvider);
    return d->setData(type, flags, name, value);
}

int IdentityServiceProvider::setData(int type, int flags, const QString &name, const QString &value)
{
    return setData(type, flags, name, value.toLatin1());
}

int IdentityServiceProvider::createData(int type, int flags, const QString &name,
                                        const QByteArray &value)
{
    Q_D(IdentityServiceProvider);
    return d->createData(type, flags, name, value);
}

int IdentityServiceProvider::createData(int type, int flags, const QString &name,
                                        const QString &value)
{
    return createData(type, flags, name, value.toLatin1());
}

int IdentityServiceProvider::deleteData(int type, int flags, const QString &name)
{
    Q_D(IdentityServiceProvider);
    return d->deleteData(type, flags, name);
}

int IdentityServiceProvider::listData(int type, int flags) const
{
    Q_D(const IdentityServiceProvider);
    return d->listData(type, flags);
}

int IdentityServiceProvider::challenge(int type, int flags) const
{
    Q_D(const IdentityServiceProvider);
    return d->challenge(type, flags);
}

int IdentityServiceProvider::setNotification(int type, int flags, const QString &name)
{
    Q_D(IdentityServiceProvider);
    return d->registerNotifier(type, flags, name);
}

int IdentityServiceProvider::error() const
{
    Q_D(const IdentityServiceProvider);
    return d->lastError();
}

bool IdentityServiceProvider::isValid() const
{
    Q_D(const IdentityServiceProvider);
    return d->isValid();
}

} // namespace identity
} // namespace platform
} // namespace om
