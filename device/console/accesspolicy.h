#ifndef OMDEVICE_ACCESSPOLICY_H
#define OMDEVICE_ACCESSPOLICY_H

#include <QString>

namespace omdevice {

/**
 * Who may use the console: whoever holds its token, from the console's
 * own page. Pure, so that every case is tested without a socket.
 *
 * - The token comes in the query ("token"), in the header "X-Om-Token",
 *   or in the cookie the page is given; without it: 401.
 * - Host must name the console itself (127.0.0.1 or localhost and its
 *   port), so that a page on another name that resolves to 127.0.0.1
 *   cannot reach it; else 403.
 * - Origin, when the browser sends one, must be the console's own; else
 *   403.
 * - A wrong token: 403.
 */
class AccessPolicy
{
public:
    AccessPolicy(const QString &token, int port) : m_token(token), m_port(port) {}

    struct Request
    {
        QString host;
        QString origin;
        bool hasOrigin = false;
        QString queryToken;
        QString headerToken;
        QString cookieHeader;
    };
    struct Verdict
    {
        int status = 200; ///< 200, or the 4xx that refuses the request
        QString reason;
        bool allowed() const { return status == 200; }
    };

    Verdict check(const Request &request) const;

    /** The name of the cookie that carries the token: one per port, so
     *  that two consoles on one machine do not overwrite each other's. */
    QString cookieName() const;
    /** The Set-Cookie value that hands the page its token. */
    QString cookie() const;
    /** The origins of the console's own page. */
    bool isOwnOrigin(const QString &origin) const;
    bool isOwnHost(const QString &host) const;

    /** A new random token: 32 hex digits from the system's generator. */
    static QString newToken();

private:
    QString tokenFromCookie(const QString &header) const;
    bool matches(const QString &given) const;

    QString m_token;
    int m_port;
};

} // namespace omdevice

#endif
