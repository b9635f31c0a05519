#ifndef OMDEVICE_IDENTITY_IDENTITYSTATE_H
#define OMDEVICE_IDENTITY_IDENTITYSTATE_H

#include "common/datastore.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace omdevice {

/** The outcome of one operation: a result code of the identity service
 *  (0 success) with its text, or the answer's "dat". */
struct IdentityResult
{
    int code = 0;
    QString info;
    QVariantMap dat;
    /** Entries of the owner that the operation changed, for notifiers. */
    QString owner;
    QStringList changed;

    bool ok() const { return code == 0; }
    static IdentityResult failure(int code, const QString &info);
};

/**
 * What the identity service knows and keeps: the signed-in account, the
 * tokens given out, the named data of applications and vendors, and the
 * user's switches (offline, how challenges are answered). Every change is
 * written to the device's data directory before it is confirmed; a change
 * that cannot be written is undone and fails.
 *
 * No sockets here: the service hands in who asks (the application's
 * package, as the broker told it) and what.
 */
class IdentityState
{
public:
    struct Entry
    {
        QByteArray value;
        bool cached = false;
        bool encrypted = false;
    };
    struct Token
    {
        QString token;
        qint64 issued = 0; // seconds since 1970
    };

    /** The keys of the account's properties. */
    static QStringList propertyKeys();
    /** The vendor of an application: its package name up to the last dot,
     *  or the whole name when it has none. */
    static QString vendorOf(const QString &package);
    /** The key under which data of @p type for @p package is kept:
     *  "application/<package>" or "vendor/<vendor>"; empty for another type. */
    static QString ownerOf(int type, const QString &package);

    IdentityState(const QString &dataDirectory, const QStringList &tokenTypes,
                  const QStringList &appliesTo);

    QString fileName() const { return m_store.fileName(); }

    // --- Account and tokens (the "ids:omb:omid" provider).
    QVariantMap account() const { return m_data.account; }
    IdentityResult getProperties(int type, const QStringList &names) const;
    IdentityResult getToken(const QString &package, const QString &tokenType,
                            const QString &appliesTo);
    IdentityResult clearToken(const QString &package, const QString &tokenType,
                              const QString &appliesTo);
    bool isOffline() const { return m_data.offline; }

    // --- Data (the "ids:omb:profile" provider).
    IdentityResult getData(const QString &package, int type, int flags, const QString &name);
    IdentityResult setData(const QString &package, int type, int flags, const QString &name,
                           const QByteArray &value);
    IdentityResult createData(const QString &package, int type, int flags, const QString &name,
                              const QByteArray &value);
    IdentityResult deleteData(const QString &package, int type, int flags, const QString &name);
    IdentityResult listData(const QString &package, int type, int flags) const;

    // --- The user's side.
    IdentityResult setAccount(const QVariantMap &changes);
    QVariantList tokens() const;
    IdentityResult revokeTokens(const QString &package, const QString &tokenType,
                                const QString &appliesTo);
    QStringList tokenTypes() const { return m_data.tokenTypes; }
    QStringList appliesTo() const { return m_data.appliesTo; }
    IdentityResult changeAppliesTo(const QStringList &add, const QStringList &remove);
    IdentityResult setOffline(bool offline);
    QString challengePolicy() const { return m_data.policy; }
    IdentityResult setChallengePolicy(const QString &policy);
    /** The entries of @p owner with their marks, for listing. */
    QMap<QString, Entry> entries(const QString &owner) const { return m_data.data.value(owner); }
    /** Everyone who has stored entries. */
    QStringList owners() const { return m_data.data.keys(); }
    /** Writes an entry as the user, made if missing. */
    IdentityResult putEntry(const QString &owner, const QString &name, const QByteArray &value);
    IdentityResult removeEntry(const QString &owner, const QString &name);

private:
    struct Persisted
    {
        QVariantMap account;
        QStringList tokenTypes;
        QStringList appliesTo;
        // package -> "<token type>\n<applies to>" -> token
        QMap<QString, QMap<QString, Token>> tokens;
        // owner -> name -> entry
        QMap<QString, QMap<QString, Entry>> data;
        bool offline = false;
        QString policy;
    };

    /** Saves @p next; on success it becomes the state. */
    IdentityResult commit(const Persisted &next, IdentityResult result);
    IdentityResult checkToken(const QString &tokenType, const QString &appliesTo) const;
    /** The owner, flag, name and value checks shared by the data operations. */
    IdentityResult checkData(const QString &package, int type, int flags, int knownFlags,
                             const QString *name, QString *owner,
                             const QByteArray *value = nullptr) const;
    QVariantMap toVariant(const Persisted &data) const;
    void fromVariant(const QVariantMap &stored);

    DataStore m_store;
    Persisted m_data;
};

} // namespace omdevice

#endif
