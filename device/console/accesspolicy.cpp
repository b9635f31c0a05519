#include "console/accesspolicy.h"

#include <QRandomGenerator>
#include <QStringList>

namespace omdevice {

AccessPolicy::Verdict AccessPolicy::check(const Request &request) const
{
    if (!isOwnHost(request.host))
        return {403, QStringLiteral("the console answers only to its own address")};
    if (request.hasOrigin && !isOwnOrigin(request.origin))
        return {403, QStringLiteral("requests from other pages are refused")};
    QString given = request.queryToken;
    if (given.isEmpty())
        given = request.headerToken;
    if (given.isEmpty())
        given = tokenFromCookie(request.cookieHeader);
    if (given.isEmpty())
        return {401, QStringLiteral("the console's token is missing; open the URL omdeviced printed")};
    if (!matches(given))
        return {403, QStringLiteral("wrong token")};
    return {};
}

bool AccessPolicy::matches(const QString &given) const
{
    // Compared in full whatever differs first, so that the time taken
    // tells nothing about the token.
    const QByteArray a = given.toUtf8();
    const QByteArray b = m_token.toUtf8();
    int difference = a.size() ^ b.size();
    for (int i = 0; i < b.size(); ++i)
        difference |= (i < a.size() ? a.at(i) : 0) ^ b.at(i);
    return difference == 0;
}

QString AccessPolicy::cookieName() const
{
    return QStringLiteral("omconsole%1").arg(m_port);
}

QString AccessPolicy::cookie() const
{
    return QStringLiteral("%1=%2; Path=/; HttpOnly; SameSite=Strict").arg(cookieName(), m_token);
}

QString AccessPolicy::tokenFromCookie(const QString &header) const
{
    const QString prefix = cookieName() + QLatin1Char('=');
    const QStringList parts = header.split(QLatin1Char(';'));
    for (const QString &part : parts) {
        const QString trimmed = part.trimmed();
        if (trimmed.startsWith(prefix))
            return trimmed.mid(prefix.size());
    }
    return QString();
}

bool AccessPolicy::isOwnHost(const QString &host) const
{
    const QString port = QLatin1Char(':') + QString::number(m_port);
    const QString lower = host.toLower();
    return lower == QLatin1String("127.0.0.1") + port || lower == QLatin1String("localhost") + port;
}

bool AccessPolicy::isOwnOrigin(const QString &origin) const
{
    const QString lower = origin.toLower();
    return lower.startsWith(QLatin1String("http://")) && isOwnHost(lower.mid(7));
}

QString AccessPolicy::newToken()
{
    QString token;
    for (int i = 0; i < 4; ++i)
        token += QStringLiteral("%1").arg(QRandomGenerator::system()->generate(), 8, 16,
                                          QLatin1Char('0'));
    return token;
}

} // namespace omdevice
