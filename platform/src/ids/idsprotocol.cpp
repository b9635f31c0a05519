#include "ids/idsprotocol_p.h"

#include "pps/ppscodec_p.h"

#include <cmath>
#include <limits>

namespace om {
namespace ids {
namespace protocol {

QString encodeBytes(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

bool readInt(const QVariantMap &map, const QString &key, int *value)
{
    const QVariant v = map.value(key);
    switch (v.userType()) {
    case QMetaType::Int:
        *value = v.toInt();
        return true;
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::UInt: {
        bool ok = false;
        const qlonglong n = v.toLongLong(&ok);
        if (!ok || n < std::numeric_limits<int>::min() || n > std::numeric_limits<int>::max())
            return false;
        if (v.userType() == QMetaType::ULongLong && v.toULongLong() > quint64(n))
            return false;
        *value = int(n);
        return true;
    }
    case QMetaType::Double: {
        const double d = v.toDouble();
        if (!std::isfinite(d) || d != std::floor(d) || d < std::numeric_limits<int>::min() ||
            d > std::numeric_limits<int>::max())
            return false;
        *value = int(d);
        return true;
    }
    default:
        return false;
    }
}

bool readText(const QVariantMap &map, const QString &key, QString *value)
{
    const QVariant v = map.value(key);
    if (v.userType() != QMetaType::QString)
        return false;
    *value = v.toString();
    return true;
}

bool readBool(const QVariantMap &map, const QString &key, bool *value)
{
    const QVariant v = map.value(key);
    if (v.userType() != QMetaType::Bool)
        return false;
    *value = v.toBool();
    return true;
}

bool readBytes(const QVariantMap &map, const QString &key, QByteArray *value)
{
    QString text;
    if (!readText(map, key, &text))
        return false;
    const auto decoded =
        QByteArray::fromBase64Encoding(text.toLatin1(), QByteArray::AbortOnBase64DecodingErrors);
    // toLatin1() turns what is not Latin-1 into '?', which base64 refuses.
    if (!decoded)
        return false;
    *value = *decoded;
    return true;
}

bool readTextList(const QVariantMap &map, const QString &key, QStringList *value)
{
    const QVariant v = map.value(key);
    if (v.userType() != QMetaType::QVariantList)
        return false;
    QStringList texts;
    const QVariantList list = v.toList();
    texts.reserve(list.size());
    for (const QVariant &entry : list) {
        if (entry.userType() != QMetaType::QString)
            return false;
        texts.append(entry.toString());
    }
    *value = texts;
    return true;
}

bool readPairs(const QVariantMap &map, const QString &key, Pairs *value)
{
    const QVariant v = map.value(key);
    if (v.userType() != QMetaType::QVariantList)
        return false;
    Pairs pairs;
    const QVariantList list = v.toList();
    pairs.reserve(list.size());
    for (const QVariant &entry : list) {
        if (entry.userType() != QMetaType::QVariantMap)
            return false;
        const QVariantMap pair = entry.toMap();
        QString name;
        QString text;
        if (!readText(pair, keyName(), &name) || !readText(pair, keyValue(), &text))
            return false;
        pairs.append(qMakePair(name.toUtf8(), text.toUtf8()));
    }
    *value = pairs;
    return true;
}

QVariantList writePairs(const QList<QPair<QString, QString>> &pairs)
{
    QVariantList list;
    list.reserve(pairs.size());
    for (const auto &pair : pairs)
        list.append(QVariantMap{{keyName(), pair.first}, {keyValue(), pair.second}});
    return list;
}

namespace {

// The id of a request as it went out: a decimal number, never 0.
bool readRequestId(const QVariant &value, unsigned int *id)
{
    if (value.userType() != QMetaType::QString)
        return false;
    bool ok = false;
    const uint n = value.toString().toUInt(&ok, 10);
    if (!ok || n == 0)
        return false;
    *id = n;
    return true;
}

} // namespace

bool readIncoming(const QByteArray &text, Incoming *message)
{
    bool ok = false;
    QVariantMap attributes = om::pps::decode(text, &ok);
    if (!ok)
        return false;
    // The service writes under its object's name ("@control").
    if (attributes.size() == 1 && attributes.firstKey().startsWith(QLatin1Char('@'))) {
        const QVariant inner = attributes.first();
        if (inner.userType() != QMetaType::QVariantMap)
            return false;
        attributes = inner.toMap();
    }

    Incoming m;
    const QVariant dat = attributes.value(keyDat());
    if (dat.isValid() && dat.userType() != QMetaType::QVariantMap)
        return false;
    m.dat = dat.toMap();

    if (attributes.contains(keyRes())) {
        if (!readText(attributes, keyRes(), &m.res) ||
            !readRequestId(attributes.value(keyId()), &m.id))
            return false;
        m.kind = Incoming::Answer;
        if (attributes.contains(keyErr())) {
            if (!readInt(attributes, keyErr(), &m.code))
                return false;
            m.failed = true;
            if (attributes.contains(keyInfo())) {
                QString info;
                if (!readText(attributes, keyInfo(), &info))
                    return false;
                m.hasInfo = true;
                m.info = info.toUtf8();
            }
        }
        *message = m;
        return true;
    }

    QString msg;
    if (!readText(attributes, keyMsg(), &msg) || msg != msgNotify())
        return false;
    QString name;
    if (!readInt(m.dat, keyType(), &m.type) || !readText(m.dat, keyName(), &name) ||
        !readInt(m.dat, keyNotification(), &m.notification) ||
        !readInt(m.dat, keyWatcher(), &m.watcher))
        return false;
    m.kind = Incoming::Notification;
    m.name = name.toUtf8();
    *message = m;
    return true;
}

bool readTokenAnswer(const QVariantMap &dat, TokenAnswer *answer)
{
    QString token;
    if (!readText(dat, keyToken(), &token))
        return false;
    TokenAnswer a;
    a.token = token.toUtf8();
    if (dat.contains(keyParams()) && !readPairs(dat, keyParams(), &a.params))
        return false;
    *answer = a;
    return true;
}

bool readPropertiesAnswer(const QVariantMap &dat, Pairs *properties)
{
    return readPairs(dat, keyProperties(), properties);
}

bool readDataAnswer(const QVariantMap &dat, QByteArray *name, QByteArray *value)
{
    QString text;
    if (!readText(dat, keyName(), &text) || !readBytes(dat, keyValue(), value))
        return false;
    *name = text.toUtf8();
    return true;
}

bool readListAnswer(const QVariantMap &dat, QList<QByteArray> *names)
{
    QStringList texts;
    if (!readTextList(dat, keyNames(), &texts))
        return false;
    names->clear();
    for (const QString &text : qAsConst(texts))
        names->append(text.toUtf8());
    return true;
}

bool readChallengeAnswer(const QVariantMap &dat, int *level)
{
    return readInt(dat, keyLevel(), level);
}

bool readClearAnswer(const QVariantMap &dat, bool *cleared)
{
    return readBool(dat, keyCleared(), cleared);
}

} // namespace protocol
} // namespace ids
} // namespace om
