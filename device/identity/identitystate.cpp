#include "identity/identitystate.h"

#include "ids/idsprotocol_p.h"

#include <ids/ids.h>

#include <QDateTime>
#include <QLoggingCategory>
#include <QRandomGenerator>

namespace omdevice {

namespace protocol = om::ids::protocol;

Q_DECLARE_LOGGING_CATEGORY(lcIdentity)

namespace {

const QString KeyAccount = QStringLiteral("account");
const QString KeyTokenTypes = QStringLiteral("tokenTypes");
const QString KeyAppliesTo = QStringLiteral("appliesTo");
const QString KeyTokens = QStringLiteral("tokens");
const QString KeyData = QStringLiteral("data");
const QString KeyOffline = QStringLiteral("offline");
const QString KeyPolicy = QStringLiteral("policy");
const QString KeyToken = QStringLiteral("token");
const QString KeyIssued = QStringLiteral("issued");
const QString KeyValue = QStringLiteral("value");
const QString KeyCached = QStringLiteral("cached");
const QString KeyEncrypted = QStringLiteral("encrypted");

// An application or vendor keeps at most this many entries, so that a
// listing of the names always fits in one bus message.
constexpr int MaxEntriesPerOwner = 256;

QString tokenKey(const QString &tokenType, const QString &appliesTo)
{
    return tokenType + QLatin1Char('\n') + appliesTo;
}

int utf8Length(const QString &text)
{
    return text.toUtf8().size();
}

QVariantMap defaultAccount()
{
    const QStringList keys = IdentityState::propertyKeys();
    const QStringList values = {QStringLiteral("alex@example.org"),
                                QStringLiteral("alex"),
                                QStringLiteral("Alex"),
                                QStringLiteral("Example"),
                                QStringLiteral("1000001"),
                                QStringLiteral("alex@example.org")};
    QVariantMap account;
    for (int i = 0; i < keys.size(); ++i)
        account.insert(keys.at(i), values.at(i));
    return account;
}

QString newToken()
{
    quint32 words[6];
    QRandomGenerator::system()->fillRange(words);
    return QString::fromLatin1(
        QByteArray(reinterpret_cast<const char *>(words), sizeof words)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

IdentityResult missing(const QString &name)
{
    return IdentityResult::failure(IDS_DOES_NOT_EXIST, QStringLiteral("no entry \"%1\"").arg(name));
}

IdentityResult tooLarge()
{
    return IdentityResult::failure(
        IDS_VALUE_TOO_LARGE,
        QStringLiteral("value larger than %1 bytes").arg(protocol::MaxDataValueBytes));
}

/** A success that changed @p names of @p owner. */
IdentityResult changes(const QString &owner, const QStringList &names)
{
    IdentityResult r;
    r.owner = owner;
    r.changed = names;
    return r;
}

} // namespace

IdentityResult IdentityResult::failure(int code, const QString &info)
{
    IdentityResult r;
    r.code = code;
    r.info = info;
    return r;
}

QStringList IdentityState::propertyKeys()
{
    return {QStringLiteral("urn:omid:username"),  QStringLiteral("urn:omid:screenname"),
            QStringLiteral("urn:omid:firstname"), QStringLiteral("urn:omid:lastname"),
            QStringLiteral("urn:omid:uid"),       QStringLiteral("urn:omid:email")};
}

QString IdentityState::vendorOf(const QString &package)
{
    const int dot = package.lastIndexOf(QLatin1Char('.'));
    return dot > 0 ? package.left(dot) : package;
}

QString IdentityState::ownerOf(int type, const QString &package)
{
    switch (type) {
    case protocol::DataApplication:
        return QStringLiteral("application/") + package;
    case protocol::DataVendor:
        return QStringLiteral("vendor/") + vendorOf(package);
    default:
        return QString();
    }
}

IdentityState::IdentityState(const QString &dataDirectory, const QStringList &tokenTypes,
                             const QStringList &appliesTo)
    : m_store(dataDirectory, QStringLiteral("identity"))
{
    m_data.account = defaultAccount();
    m_data.tokenTypes = tokenTypes;
    m_data.appliesTo = appliesTo;
    m_data.policy = protocol::policyAsk();
    fromVariant(m_store.load());
}

IdentityResult IdentityState::commit(const Persisted &next, IdentityResult result)
{
    QString error;
    if (!m_store.save(toVariant(next), &error)) {
        qCWarning(lcIdentity) << "cannot save" << m_store.fileName() << ":" << error;
        return IdentityResult::failure(IDS_INTERNAL_ERROR,
                                       QStringLiteral("the device cannot store it: %1").arg(error));
    }
    m_data = next;
    return result;
}

// --- Account and tokens.

IdentityResult IdentityState::getProperties(int type, const QStringList &names) const
{
    if (type != protocol::PropertyCore)
        return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                       QStringLiteral("unknown property type %1").arg(type));
    if (names.size() > protocol::MaxPropertyCount)
        return IdentityResult::failure(IDS_TOO_MANY_NAMES_PASSED,
                                       QStringLiteral("%1 names; at most %2")
                                           .arg(names.size())
                                           .arg(protocol::MaxPropertyCount));
    for (const QString &name : names) {
        if (utf8Length(name) > protocol::MaxPropertyNameBytes)
            return IdentityResult::failure(IDS_NAME_TOO_LONG,
                                           QStringLiteral("property name longer than %1 bytes")
                                               .arg(protocol::MaxPropertyNameBytes));
    }
    QList<QPair<QString, QString>> pairs;
    for (const QString &name : names) {
        if (!m_data.account.contains(name))
            return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                           QStringLiteral("unknown property \"%1\"").arg(name));
        pairs.append({name, m_data.account.value(name).toString()});
    }
    IdentityResult r;
    r.dat.insert(protocol::keyProperties(), protocol::writePairs(pairs));
    return r;
}

IdentityResult IdentityState::checkToken(const QString &tokenType, const QString &appliesTo) const
{
    if (!m_data.tokenTypes.contains(tokenType))
        return IdentityResult::failure(IDS_UNKNOWN_TOKEN_TYPE,
                                       QStringLiteral("unknown token type \"%1\"").arg(tokenType));
    if (!m_data.appliesTo.contains(appliesTo))
        return IdentityResult::failure(IDS_UNKNOWN_APPLIES_TO,
                                       QStringLiteral("unknown applies-to \"%1\"").arg(appliesTo));
    return IdentityResult();
}

IdentityResult IdentityState::getToken(const QString &package, const QString &tokenType,
                                       const QString &appliesTo)
{
    IdentityResult checked = checkToken(tokenType, appliesTo);
    if (!checked.ok())
        return checked;
    if (m_data.offline)
        return IdentityResult::failure(IDS_CANNOT_GET_TOKEN_WHILE_OFFLINE,
                                       QStringLiteral("the device is offline"));
    const QString key = tokenKey(tokenType, appliesTo);
    Persisted next = m_data;
    Token token = next.tokens.value(package).value(key);
    const bool fresh = token.token.isEmpty();
    if (fresh) {
        token.token = newToken();
        token.issued = QDateTime::currentSecsSinceEpoch();
        next.tokens[package].insert(key, token);
    }
    IdentityResult r;
    r.dat.insert(protocol::keyToken(), token.token);
    r.dat.insert(protocol::keyParams(),
                 protocol::writePairs({{QStringLiteral("appliesTo"), appliesTo},
                                       {QStringLiteral("issued"), QString::number(token.issued)},
                                       {QStringLiteral("tokenType"), tokenType},
                                       {QStringLiteral("username"),
                                        m_data.account.value(propertyKeys().at(0)).toString()}}));
    return fresh ? commit(next, r) : r;
}

IdentityResult IdentityState::clearToken(const QString &package, const QString &tokenType,
                                         const QString &appliesTo)
{
    IdentityResult checked = checkToken(tokenType, appliesTo);
    if (!checked.ok())
        return checked;
    IdentityResult r;
    const QString key = tokenKey(tokenType, appliesTo);
    const bool present = m_data.tokens.value(package).contains(key);
    r.dat.insert(protocol::keyCleared(), present);
    if (!present)
        return r;
    Persisted next = m_data;
    next.tokens[package].remove(key);
    if (next.tokens[package].isEmpty())
        next.tokens.remove(package);
    return commit(next, r);
}

// --- Data.

IdentityResult IdentityState::checkData(const QString &package, int type, int flags, int knownFlags,
                                        const QString *name, QString *owner,
                                        const QByteArray *value) const
{
    *owner = ownerOf(type, package);
    if (owner->isEmpty())
        return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                       QStringLiteral("unknown data type %1").arg(type));
    if (flags & ~knownFlags)
        return IdentityResult::failure(
            IDS_NULL_OR_UNKNOWN_PARAMETERS,
            QStringLiteral("unknown flags 0x%1").arg(flags & ~knownFlags, 0, 16));
    if (name) {
        if (name->isEmpty())
            return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                           QStringLiteral("an empty name"));
        if (utf8Length(*name) > protocol::MaxDataNameBytes)
            return IdentityResult::failure(
                IDS_NAME_TOO_LONG,
                QStringLiteral("name longer than %1 bytes").arg(protocol::MaxDataNameBytes));
    }
    if (value && value->size() > protocol::MaxDataValueBytes)
        return tooLarge();
    return IdentityResult();
}

IdentityResult IdentityState::getData(const QString &package, int type, int flags,
                                      const QString &name)
{
    QString owner;
    IdentityResult checked = checkData(package, type, flags, protocol::GetCacheData, &name, &owner);
    if (!checked.ok())
        return checked;
    const auto entries = m_data.data.value(owner);
    if (!entries.contains(name))
        return missing(name);
    const Entry entry = entries.value(name);
    IdentityResult r;
    r.dat.insert(protocol::keyName(), name);
    r.dat.insert(protocol::keyValue(), protocol::encodeBytes(entry.value));
    if ((flags & protocol::GetCacheData) && !entry.cached) {
        Persisted next = m_data;
        next.data[owner][name].cached = true;
        return commit(next, r);
    }
    return r;
}

IdentityResult IdentityState::setData(const QString &package, int type, int flags,
                                      const QString &name, const QByteArray &value)
{
    QString owner;
    IdentityResult checked =
        checkData(package, type, flags, protocol::SetCacheData, &name, &owner, &value);
    if (!checked.ok())
        return checked;
    if (!m_data.data.value(owner).contains(name))
        return missing(name);
    Persisted next = m_data;
    Entry &entry = next.data[owner][name];
    entry.value = value;
    if (flags & protocol::SetCacheData)
        entry.cached = true;
    return commit(next, changes(owner, {name}));
}

IdentityResult IdentityState::createData(const QString &package, int type, int flags,
                                         const QString &name, const QByteArray &value)
{
    QString owner;
    IdentityResult checked = checkData(
        package, type, flags, protocol::CreateEncryptDeviceToDevice | protocol::CreateCacheData,
        &name, &owner, &value);
    if (!checked.ok())
        return checked;
    const auto entries = m_data.data.value(owner);
    if (entries.contains(name))
        return IdentityResult::failure(IDS_ALREADY_EXISTS,
                                       QStringLiteral("entry \"%1\" exists").arg(name));
    if (entries.size() >= MaxEntriesPerOwner)
        return IdentityResult::failure(
            IDS_NOT_ENOUGH_RESOURCES,
            QStringLiteral("at most %1 entries for one owner").arg(MaxEntriesPerOwner));
    Persisted next = m_data;
    Entry entry;
    entry.value = value;
    entry.cached = flags & protocol::CreateCacheData;
    entry.encrypted = flags & protocol::CreateEncryptDeviceToDevice;
    next.data[owner].insert(name, entry);
    return commit(next, changes(owner, {name}));
}

IdentityResult IdentityState::deleteData(const QString &package, int type, int flags,
                                         const QString &name)
{
    const bool all = flags & protocol::DeleteAll;
    QString owner;
    IdentityResult checked =
        checkData(package, type, flags, protocol::DeleteCacheOnly | protocol::DeleteAll,
                  all ? nullptr : &name, &owner);
    if (!checked.ok())
        return checked;
    const auto entries = m_data.data.value(owner);
    if (!all && !entries.contains(name))
        return missing(name);
    const QStringList names = all ? entries.keys() : QStringList{name};
    Persisted next = m_data;
    if (flags & protocol::DeleteCacheOnly) {
        // Only the device's cached copy goes; the entry stays.
        for (const QString &n : names)
            next.data[owner][n].cached = false;
        return commit(next, changes(owner, {}));
    }
    for (const QString &n : names)
        next.data[owner].remove(n);
    if (next.data[owner].isEmpty())
        next.data.remove(owner);
    return commit(next, changes(owner, names));
}

IdentityResult IdentityState::listData(const QString &package, int type, int flags) const
{
    QString owner;
    IdentityResult checked = checkData(package, type, flags, 0, nullptr, &owner);
    if (!checked.ok())
        return checked;
    IdentityResult r;
    r.dat.insert(protocol::keyNames(), QVariant(m_data.data.value(owner).keys()));
    return r;
}

// --- The user's side.

IdentityResult IdentityState::setAccount(const QVariantMap &changes)
{
    Persisted next = m_data;
    const QStringList keys = propertyKeys();
    for (auto it = changes.cbegin(); it != changes.cend(); ++it) {
        if (!keys.contains(it.key()) || it.value().userType() != QMetaType::QString)
            return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                           QStringLiteral("unknown property \"%1\"").arg(it.key()));
        next.account.insert(it.key(), it.value());
    }
    // Another user name or uid is another account: its tokens are not the
    // new account's.
    const QString user = keys.at(0);
    const QString uid = keys.at(4);
    IdentityResult r;
    if (next.account.value(user) != m_data.account.value(user) ||
        next.account.value(uid) != m_data.account.value(uid)) {
        int revoked = 0;
        for (const auto &tokens : qAsConst(next.tokens))
            revoked += tokens.size();
        next.tokens.clear();
        r.dat.insert(protocol::simKeyRevoked(), revoked);
    }
    r.dat.insert(protocol::simKeyAccount(), next.account);
    return commit(next, r);
}

QVariantList IdentityState::tokens() const
{
    QVariantList list;
    for (auto p = m_data.tokens.cbegin(); p != m_data.tokens.cend(); ++p) {
        for (auto t = p.value().cbegin(); t != p.value().cend(); ++t) {
            const QStringList parts = t.key().split(QLatin1Char('\n'));
            list.append(QVariantMap{{protocol::simKeyPackage(), p.key()},
                                    {protocol::keyTokenType(), parts.value(0)},
                                    {protocol::keyAppliesTo(), parts.value(1)},
                                    {protocol::keyToken(), t.value().token},
                                    {KeyIssued, t.value().issued}});
        }
    }
    return list;
}

IdentityResult IdentityState::revokeTokens(const QString &package, const QString &tokenType,
                                           const QString &appliesTo)
{
    Persisted next = m_data;
    int revoked = 0;
    for (auto p = next.tokens.begin(); p != next.tokens.end();) {
        if (!package.isEmpty() && p.key() != package) {
            ++p;
            continue;
        }
        for (auto t = p.value().begin(); t != p.value().end();) {
            const QStringList parts = t.key().split(QLatin1Char('\n'));
            if ((tokenType.isEmpty() || parts.value(0) == tokenType) &&
                (appliesTo.isEmpty() || parts.value(1) == appliesTo)) {
                t = p.value().erase(t);
                ++revoked;
            } else {
                ++t;
            }
        }
        p = p.value().isEmpty() ? next.tokens.erase(p) : std::next(p);
    }
    IdentityResult r;
    r.dat.insert(protocol::simKeyRevoked(), revoked);
    return revoked ? commit(next, r) : r;
}

IdentityResult IdentityState::changeAppliesTo(const QStringList &add, const QStringList &remove)
{
    Persisted next = m_data;
    for (const QString &target : add) {
        if (target.isEmpty())
            return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                           QStringLiteral("an empty applies-to"));
        if (!next.appliesTo.contains(target))
            next.appliesTo.append(target);
    }
    for (const QString &target : remove)
        next.appliesTo.removeAll(target);
    IdentityResult r;
    r.dat.insert(protocol::keyAppliesTo(), next.appliesTo);
    r.dat.insert(protocol::simKeyTokenTypes(), next.tokenTypes);
    return commit(next, r);
}

IdentityResult IdentityState::setOffline(bool offline)
{
    Persisted next = m_data;
    next.offline = offline;
    IdentityResult r;
    r.dat.insert(protocol::simKeyOffline(), offline);
    return commit(next, r);
}

IdentityResult IdentityState::setChallengePolicy(const QString &policy)
{
    if (policy != protocol::policyAsk() && policy != protocol::policyApprove() &&
        policy != protocol::policyRefuse())
        return IdentityResult::failure(IDS_NULL_OR_UNKNOWN_PARAMETERS,
                                       QStringLiteral("unknown policy \"%1\"").arg(policy));
    Persisted next = m_data;
    next.policy = policy;
    IdentityResult r;
    r.dat.insert(protocol::simKeyPolicy(), policy);
    return commit(next, r);
}

IdentityResult IdentityState::putEntry(const QString &owner, const QString &name,
                                       const QByteArray &value)
{
    if (name.isEmpty() || utf8Length(name) > protocol::MaxDataNameBytes)
        return IdentityResult::failure(
            IDS_NAME_TOO_LONG,
            QStringLiteral("a name of 1 to %1 bytes").arg(protocol::MaxDataNameBytes));
    if (value.size() > protocol::MaxDataValueBytes)
        return tooLarge();
    Persisted next = m_data;
    next.data[owner][name].value = value;
    return commit(next, changes(owner, {name}));
}

IdentityResult IdentityState::removeEntry(const QString &owner, const QString &name)
{
    if (!m_data.data.value(owner).contains(name))
        return missing(name);
    Persisted next = m_data;
    next.data[owner].remove(name);
    if (next.data[owner].isEmpty())
        next.data.remove(owner);
    return commit(next, changes(owner, {name}));
}

// --- Storage.

QVariantMap IdentityState::toVariant(const Persisted &data) const
{
    QVariantMap tokens;
    for (auto p = data.tokens.cbegin(); p != data.tokens.cend(); ++p) {
        QVariantMap byKey;
        for (auto t = p.value().cbegin(); t != p.value().cend(); ++t)
            byKey.insert(t.key(),
                         QVariantMap{{KeyToken, t.value().token}, {KeyIssued, t.value().issued}});
        tokens.insert(p.key(), byKey);
    }
    QVariantMap owners;
    for (auto o = data.data.cbegin(); o != data.data.cend(); ++o) {
        QVariantMap entries;
        for (auto e = o.value().cbegin(); e != o.value().cend(); ++e)
            entries.insert(e.key(), QVariantMap{{KeyValue, protocol::encodeBytes(e.value().value)},
                                                {KeyCached, e.value().cached},
                                                {KeyEncrypted, e.value().encrypted}});
        owners.insert(o.key(), entries);
    }
    return {{KeyAccount, data.account},
            {KeyTokenTypes, data.tokenTypes},
            {KeyAppliesTo, data.appliesTo},
            {KeyTokens, tokens},
            {KeyData, owners},
            {KeyOffline, data.offline},
            {KeyPolicy, data.policy}};
}

void IdentityState::fromVariant(const QVariantMap &stored)
{
    if (stored.isEmpty())
        return;
    const QVariantMap account = stored.value(KeyAccount).toMap();
    for (auto it = account.cbegin(); it != account.cend(); ++it) {
        if (m_data.account.contains(it.key()))
            m_data.account.insert(it.key(), it.value().toString());
    }
    if (stored.contains(KeyTokenTypes))
        m_data.tokenTypes = stored.value(KeyTokenTypes).toStringList();
    if (stored.contains(KeyAppliesTo))
        m_data.appliesTo = stored.value(KeyAppliesTo).toStringList();
    const QVariantMap tokens = stored.value(KeyTokens).toMap();
    for (auto p = tokens.cbegin(); p != tokens.cend(); ++p) {
        const QVariantMap byKey = p.value().toMap();
        for (auto t = byKey.cbegin(); t != byKey.cend(); ++t) {
            const QVariantMap fields = t.value().toMap();
            m_data.tokens[p.key()].insert(t.key(), Token{fields.value(KeyToken).toString(),
                                                         fields.value(KeyIssued).toLongLong()});
        }
    }
    const QVariantMap owners = stored.value(KeyData).toMap();
    for (auto o = owners.cbegin(); o != owners.cend(); ++o) {
        const QVariantMap entries = o.value().toMap();
        for (auto e = entries.cbegin(); e != entries.cend(); ++e) {
            const QVariantMap fields = e.value().toMap();
            Entry entry;
            if (!protocol::readBytes(fields, KeyValue, &entry.value))
                continue;
            entry.cached = fields.value(KeyCached).toBool();
            entry.encrypted = fields.value(KeyEncrypted).toBool();
            m_data.data[o.key()].insert(e.key(), entry);
        }
    }
    m_data.offline = stored.value(KeyOffline).toBool();
    const QString policy = stored.value(KeyPolicy).toString();
    if (!policy.isEmpty())
        m_data.policy = policy;
}

} // namespace omdevice
