#ifndef OM_IDS_IDSPROTOCOL_P_H
#define OM_IDS_IDSPROTOCOL_P_H

// The messages of the identity service's control object, shared by the
// client (libids), the device's service and omctl.
//
// Each registered provider is one connection. Its first request registers
// the provider; every later request on it is for that provider and names it
// too ("provider" in each "dat", left out below), so that a service that
// meets a connection it did not see register (handed over from a service
// before it) still serves it:
//
//   msg::register         id::<n>  dat:json:{"provider":"ids:omb:profile"}
//   msg::getToken         id::<n>  dat:json:{"tokenType":..,"appliesTo":..}
//   msg::clearToken       id::<n>  dat:json:{"tokenType":..,"appliesTo":..}
//   msg::getProperties    id::<n>  dat:json:{"type":0,"names":[..]}
//   msg::getData          id::<n>  dat:json:{"type":1,"flags":0,"name":..}
//   msg::setData          id::<n>  dat:json:{"type":1,"flags":0,"name":..,"value":<base64>}
//   msg::createData       id::<n>  dat:json:{"type":1,"flags":0,"name":..,"value":<base64>}
//   msg::deleteData       id::<n>  dat:json:{"type":1,"flags":0,"name":..}
//   msg::listData         id::<n>  dat:json:{"type":1,"flags":0}
//   msg::challenge        id::<n>  dat:json:{"type":0,"flags":0}
//   msg::registerNotifier id::<n>  dat:json:{"type":1,"flags":0,"name":..,"watcher":<w>
//                                           [,"resume":true]}
//   msg::wake             id::<n>                 (answered with nothing in it)
//   msg::setOption        id::<n>  dat:json:{"option":2,"value":"Verbose"}
//                                                 (on a connection of its own)
//
// Answers carry the request's "msg" as "res" and its "id":
//
//   res::getToken id::<n> dat:json:{"token":..,"params":[{"name":..,"value":..},..]}
//   res::getProperties    dat:json:{"properties":[{"name":..,"value":..},..]}
//   res::getData          dat:json:{"name":..,"value":<base64>}
//   res::listData         dat:json:{"names":[..]}
//   res::challenge        dat:json:{"level":1}
//   res::clearToken       dat:json:{"cleared":true}
//   res::<msg> id::<n> err:n:<code> [info::<text>]                    refused
//
// <code> is an ids_result_t value for the nine requests of a provider, and
// an errno value for register, registerNotifier and setOption, whose
// callers return errno. Pairs go as lists so that equal names and their
// order survive. Data values are base64, so that any bytes survive.
//
// The service's notifications of a notifier, on its provider's connection:
//
//   msg::notify dat:json:{"type":1,"name":..,"notification":2,"watcher":<w>}
//
// A watcher is one receiver of notifications inside the client process (an
// object that registered notifiers), numbered by the client, so that one
// object's start and stop leave another's notifier on the same entry alone.
// "resume" restarts a notifier after the client connected again, with no
// "Started" notification.

#include <om/omsys_export.h>

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace om {
namespace ids {
namespace protocol {

inline QString controlPath()
{
    return QStringLiteral("/pps/services/identity/control");
}
/** The user's side of the device's service, for omctl. */
inline QString simulatorPath()
{
    return QStringLiteral("/pps/simulator/identity");
}

inline QString providerOmid()
{
    return QStringLiteral("ids:omb:omid");
}
inline QString providerProfile()
{
    return QStringLiteral("ids:omb:profile");
}

// --- Messages of a client.
inline QString msgRegister()
{
    return QStringLiteral("register");
}
inline QString msgGetToken()
{
    return QStringLiteral("getToken");
}
inline QString msgClearToken()
{
    return QStringLiteral("clearToken");
}
inline QString msgGetProperties()
{
    return QStringLiteral("getProperties");
}
inline QString msgGetData()
{
    return QStringLiteral("getData");
}
inline QString msgSetData()
{
    return QStringLiteral("setData");
}
inline QString msgCreateData()
{
    return QStringLiteral("createData");
}
inline QString msgDeleteData()
{
    return QStringLiteral("deleteData");
}
inline QString msgListData()
{
    return QStringLiteral("listData");
}
inline QString msgChallenge()
{
    return QStringLiteral("challenge");
}
inline QString msgRegisterNotifier()
{
    return QStringLiteral("registerNotifier");
}
inline QString msgWake()
{
    return QStringLiteral("wake");
}
inline QString msgSetOption()
{
    return QStringLiteral("setOption");
}
/** The service's notification to a notifier. */
inline QString msgNotify()
{
    return QStringLiteral("notify");
}

// --- Envelope.
inline QString keyMsg()
{
    return QStringLiteral("msg");
}
inline QString keyRes()
{
    return QStringLiteral("res");
}
inline QString keyId()
{
    return QStringLiteral("id");
}
inline QString keyDat()
{
    return QStringLiteral("dat");
}
inline QString keyErr()
{
    return QStringLiteral("err");
}
inline QString keyInfo()
{
    return QStringLiteral("info");
}

// --- Fields of "dat".
inline QString keyProvider()
{
    return QStringLiteral("provider");
}
inline QString keyTokenType()
{
    return QStringLiteral("tokenType");
}
inline QString keyAppliesTo()
{
    return QStringLiteral("appliesTo");
}
inline QString keyType()
{
    return QStringLiteral("type");
}
inline QString keyFlags()
{
    return QStringLiteral("flags");
}
inline QString keyName()
{
    return QStringLiteral("name");
}
inline QString keyNames()
{
    return QStringLiteral("names");
}
inline QString keyValue()
{
    return QStringLiteral("value");
}
inline QString keyToken()
{
    return QStringLiteral("token");
}
inline QString keyParams()
{
    return QStringLiteral("params");
}
inline QString keyProperties()
{
    return QStringLiteral("properties");
}
inline QString keyCleared()
{
    return QStringLiteral("cleared");
}
inline QString keyLevel()
{
    return QStringLiteral("level");
}
inline QString keyNotification()
{
    return QStringLiteral("notification");
}
inline QString keyResume()
{
    return QStringLiteral("resume");
}
inline QString keyWatcher()
{
    return QStringLiteral("watcher");
}
inline QString keyOption()
{
    return QStringLiteral("option");
}

// --- Values of the providers' arguments, as the service reads them.
enum PropertyType { PropertyCore = 0 };
enum DataType { DataApplication = 1, DataVendor = 2 };
enum ChallengeType { ChallengeAuthenticate = 0, ChallengeEmailConfirmation = 1 };
enum AssuranceLevel { AuthenticatedOffline = 0, AuthenticatedOnline = 1 };
enum GetDataFlag { GetCacheData = 1 };
enum SetDataFlag { SetCacheData = 1 };
enum CreateDataFlag { CreateEncryptDeviceToDevice = 1, CreateCacheData = 16 };
enum DeleteDataFlag { DeleteCacheOnly = 1, DeleteAll = 2 };
enum NotifierFlag { NotifierStart = 0, NotifierStop = 1 };
enum Notification { NotificationStarted = 0, NotificationStopped = 1, NotificationChanged = 2 };
enum Option { OptionGuiAllowed = 0, OptionGroupId = 1, OptionVerbosity = 2 };

/** The limits the service keeps; the client passes everything on. */
constexpr int MaxPropertyCount = 10;
constexpr int MaxPropertyNameBytes = 32;
constexpr int MaxDataNameBytes = 128;
/** The largest data value, well below what one bus message carries in
 *  base64, so that a larger value reaches the service and is refused. */
constexpr int MaxDataValueBytes = 32 * 1024;

using Pairs = QList<QPair<QByteArray, QByteArray>>;

// --- Values in "dat".

/** Bytes as they travel: base64. */
OMSYS_EXPORT QString encodeBytes(const QByteArray &bytes);

/** A whole number of @p map[@p key] (a json number without fraction). */
OMSYS_EXPORT bool readInt(const QVariantMap &map, const QString &key, int *value);
OMSYS_EXPORT bool readText(const QVariantMap &map, const QString &key, QString *value);
OMSYS_EXPORT bool readBool(const QVariantMap &map, const QString &key, bool *value);
/** A base64 text; false if it is none or not strict base64. */
OMSYS_EXPORT bool readBytes(const QVariantMap &map, const QString &key, QByteArray *value);
/** A list of texts. */
OMSYS_EXPORT bool readTextList(const QVariantMap &map, const QString &key, QStringList *value);
/** A list of {"name":..,"value":..} maps, as UTF-8. */
OMSYS_EXPORT bool readPairs(const QVariantMap &map, const QString &key, Pairs *value);
OMSYS_EXPORT QVariantList writePairs(const QList<QPair<QString, QString>> &pairs);

// --- What a client reads.

/** One message of the service, as far as its envelope goes. */
struct Incoming
{
    enum Kind { Answer, Notification };
    Kind kind = Answer;
    // An answer.
    QString res;
    unsigned int id = 0;
    bool failed = false;
    int code = 0;
    bool hasInfo = false;
    QByteArray info; ///< UTF-8
    QVariantMap dat;
    // A notification.
    int type = 0;
    QByteArray name; ///< UTF-8
    int notification = 0;
    int watcher = 0;
};

/**
 * Reads one message of the service. False for anything that is neither an
 * answer with a request id nor a well-formed notification.
 */
OMSYS_EXPORT bool readIncoming(const QByteArray &text, Incoming *message);

/** The contents of the answers, read from their "dat". */
struct TokenAnswer
{
    QByteArray token;
    Pairs params;
};
OMSYS_EXPORT bool readTokenAnswer(const QVariantMap &dat, TokenAnswer *answer);
OMSYS_EXPORT bool readPropertiesAnswer(const QVariantMap &dat, Pairs *properties);
OMSYS_EXPORT bool readDataAnswer(const QVariantMap &dat, QByteArray *name, QByteArray *value);
OMSYS_EXPORT bool readListAnswer(const QVariantMap &dat, QList<QByteArray> *names);
OMSYS_EXPORT bool readChallengeAnswer(const QVariantMap &dat, int *level);
OMSYS_EXPORT bool readClearAnswer(const QVariantMap &dat, bool *cleared);

// --- The user's side: "/pps/simulator/identity", for omctl. Requests and
//     answers in the standard form ("res", "id", "dat" or "err" with a text).

inline QString simState()
{
    return QStringLiteral("state");
}
inline QString simSetAccount()
{
    return QStringLiteral("setAccount");
}
inline QString simTokens()
{
    return QStringLiteral("tokens");
}
inline QString simRevoke()
{
    return QStringLiteral("revoke");
}
inline QString simListData()
{
    return QStringLiteral("listData");
}
inline QString simGetData()
{
    return QStringLiteral("getData");
}
inline QString simSetData()
{
    return QStringLiteral("setData");
}
inline QString simDeleteData()
{
    return QStringLiteral("deleteData");
}
inline QString simSetOffline()
{
    return QStringLiteral("setOffline");
}
inline QString simFailNext()
{
    return QStringLiteral("failNext");
}
inline QString simChallenges()
{
    return QStringLiteral("challenges");
}
inline QString simAnswerChallenge()
{
    return QStringLiteral("answerChallenge");
}
inline QString simSetPolicy()
{
    return QStringLiteral("setChallengePolicy");
}
/** Every application's and vendor's stored entries (names and sizes). */
inline QString simAllData()
{
    return QStringLiteral("allData");
}
inline QString simKeyOwners()
{
    return QStringLiteral("owners");
}
inline QString simAppliesTo()
{
    return QStringLiteral("appliesTo");
}

inline QString simKeyAccount()
{
    return QStringLiteral("account");
}
inline QString simKeyOffline()
{
    return QStringLiteral("offline");
}
inline QString simKeyPolicy()
{
    return QStringLiteral("policy");
}
inline QString simKeyPackage()
{
    return QStringLiteral("package");
}
inline QString simKeyVendor()
{
    return QStringLiteral("vendor");
}
inline QString simKeyOwner()
{
    return QStringLiteral("owner");
}
inline QString simKeyEntries()
{
    return QStringLiteral("entries");
}
inline QString simKeyTokens()
{
    return QStringLiteral("tokens");
}
inline QString simKeyChallenges()
{
    return QStringLiteral("challenges");
}
inline QString simKeyRequest()
{
    return QStringLiteral("request");
}
inline QString simKeyCode()
{
    return QStringLiteral("code");
}
inline QString simKeyAll()
{
    return QStringLiteral("all");
}
inline QString simKeyApprove()
{
    return QStringLiteral("approve");
}
inline QString simKeyAnswered()
{
    return QStringLiteral("answered");
}
inline QString simKeyAdd()
{
    return QStringLiteral("add");
}
inline QString simKeyRemove()
{
    return QStringLiteral("remove");
}
inline QString simKeyTokenTypes()
{
    return QStringLiteral("tokenTypes");
}
inline QString simKeyGroupId()
{
    return QStringLiteral("groupId");
}
inline QString simKeyCached()
{
    return QStringLiteral("cached");
}
inline QString simKeyEncrypted()
{
    return QStringLiteral("encrypted");
}
inline QString simKeySize()
{
    return QStringLiteral("size");
}
inline QString simKeyPending()
{
    return QStringLiteral("pending");
}
inline QString simKeyRevoked()
{
    return QStringLiteral("revoked");
}

/** The challenge policies: the user is asked, or the service answers. */
inline QString policyAsk()
{
    return QStringLiteral("ask");
}
inline QString policyApprove()
{
    return QStringLiteral("approve");
}
inline QString policyRefuse()
{
    return QStringLiteral("refuse");
}

} // namespace protocol
} // namespace ids
} // namespace om

#endif
