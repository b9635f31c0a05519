// The identity service: the account, tokens and data, and the user's side
// of challenges, through the service's simulator object.

#include "command.h"
#include "omctlclient.h"

#include "ids/idsprotocol_p.h"

#include <climits>
#include <QDateTime>

#include <cstdio>
#include <optional>

namespace omctl {
namespace {

namespace protocol = om::ids::protocol;

const QCommandLineOption packageOption(QStringLiteral("package"),
                                       QStringLiteral("The application (its package name)."),
                                       QStringLiteral("name"));
const QCommandLineOption vendorOption(QStringLiteral("vendor"),
                                      QStringLiteral("The application's vendor's shared data."));
const QCommandLineOption base64Option(QStringLiteral("base64"),
                                      QStringLiteral("The value is (show: print it as) base64."));
const QCommandLineOption typeOption(QStringLiteral("type"), QStringLiteral("Token type (revoke)."),
                                    QStringLiteral("type"));
const QCommandLineOption targetOption(QStringLiteral("applies-to"),
                                      QStringLiteral("Applies-to target (revoke)."),
                                      QStringLiteral("target"));
const QCommandLineOption addOption(QStringLiteral("add"),
                                   QStringLiteral("Add a target (applies-to)."),
                                   QStringLiteral("target"));
const QCommandLineOption removeOption(QStringLiteral("remove"),
                                      QStringLiteral("Remove a target (applies-to)."),
                                      QStringLiteral("target"));
const QCommandLineOption levelOption(
    QStringLiteral("level"), QStringLiteral("online or offline (approve; default: as the device is)."),
    QStringLiteral("level"));

/** One request to the service's user side: its "dat", or null after a
 *  failure line. */
std::optional<QVariantMap> call(const Invocation &inv, const QString &msg,
                                const QVariantMap &dat = QVariantMap())
{
    return inv.request(protocol::simulatorPath(), msg, dat);
}

/** Refuses the options that @p action does not take and a wrong number of
 *  arguments after it; 0 when the command line fits. */
int check(const Invocation &inv, const QString &action, const QList<QCommandLineOption> &allowed,
          int minimum, int maximum)
{
    const QList<QCommandLineOption> all{packageOption, vendorOption, base64Option, typeOption,
                                        targetOption,  addOption,    removeOption, levelOption};
    for (const QCommandLineOption &option : all) {
        const QString name = option.names().constFirst();
        bool takes = false;
        for (const QCommandLineOption &a : allowed)
            takes = takes || a.names().constFirst() == name;
        if (!takes && inv.isSet(name))
            return inv.usage(QStringLiteral("identity %1 does not take --%2").arg(action, name));
    }
    const int n = inv.args().size() - 1 - action.count(QLatin1Char(' '));
    if (n < minimum || n > maximum)
        return inv.usage(QStringLiteral("identity %1: wrong number of arguments").arg(action));
    return 0;
}

QString propertyKey(const QString &key)
{
    return key.startsWith(QLatin1String("urn:")) ? key : QStringLiteral("urn:omid:") + key;
}

void printAccount(const QVariantMap &account)
{
    for (auto it = account.cbegin(); it != account.cend(); ++it)
        out(QStringLiteral("%1: %2").arg(it.key().mid(it.key().lastIndexOf(QLatin1Char(':')) + 1),
                                         it.value().toString()));
}

int show(const Invocation &inv)
{
    if (const int bad = check(inv, QString(), {}, 0, 0))
        return bad;
    const auto dat = call(inv, protocol::simState());
    if (!dat)
        return Failure;
    printAccount(dat->value(protocol::simKeyAccount()).toMap());
    out(QStringLiteral("offline: %1")
            .arg(dat->value(protocol::simKeyOffline()).toBool() ? QStringLiteral("yes")
                                                                : QStringLiteral("no")));
    out(QStringLiteral("challenges: %1, %2 pending")
            .arg(dat->value(protocol::simKeyPolicy()).toString())
            .arg(dat->value(protocol::simKeyPending()).toInt()));
    out(QStringLiteral("token types: %1")
            .arg(dat->value(protocol::simKeyTokenTypes()).toStringList().join(QLatin1Char(' '))));
    out(QStringLiteral("applies to: %1")
            .arg(dat->value(protocol::keyAppliesTo()).toStringList().join(QLatin1Char(' '))));
    out(QStringLiteral("tokens: %1").arg(dat->value(protocol::simKeyTokens()).toInt()));
    return Success;
}

int account(const Invocation &inv)
{
    if (const int bad = check(inv, QStringLiteral("account"), {}, 0, INT_MAX))
        return bad;
    QVariantMap changes;
    for (const QString &arg : inv.args().mid(1)) {
        const int eq = arg.indexOf(QLatin1Char('='));
        if (eq <= 0)
            return inv.usage(QStringLiteral("identity account takes KEY=VALUE, not '%1'").arg(arg));
        changes.insert(propertyKey(arg.left(eq)), arg.mid(eq + 1));
    }
    const auto dat = changes.isEmpty()
                         ? call(inv, protocol::simState())
                         : call(inv, protocol::simSetAccount(), {{protocol::simKeyAccount(), changes}});
    if (!dat)
        return Failure;
    printAccount(dat->value(protocol::simKeyAccount()).toMap());
    if (dat->contains(protocol::simKeyRevoked()))
        out(QStringLiteral("another account: %1 tokens revoked")
                .arg(dat->value(protocol::simKeyRevoked()).toInt()));
    return Success;
}

int tokens(const Invocation &inv)
{
    if (const int bad = check(inv, QStringLiteral("tokens"), {}, 0, 0))
        return bad;
    const auto dat = call(inv, protocol::simTokens());
    if (!dat)
        return Failure;
    for (const QVariant &entry : dat->value(protocol::simKeyTokens()).toList()) {
        const QVariantMap t = entry.toMap();
        out(QStringLiteral("%1 %2 %3 %4")
                .arg(t.value(protocol::simKeyPackage()).toString(),
                     t.value(protocol::keyTokenType()).toString(),
                     t.value(protocol::keyAppliesTo()).toString(),
                     t.value(protocol::keyToken()).toString()));
    }
    return Success;
}

int revoke(const Invocation &inv)
{
    if (const int bad =
            check(inv, QStringLiteral("revoke"), {packageOption, typeOption, targetOption}, 0, 0))
        return bad;
    const auto dat = call(inv, protocol::simRevoke(),
                          {{protocol::simKeyPackage(), inv.value(QStringLiteral("package"))},
                           {protocol::keyTokenType(), inv.value(QStringLiteral("type"))},
                           {protocol::keyAppliesTo(), inv.value(QStringLiteral("applies-to"))}});
    if (!dat)
        return Failure;
    out(QStringLiteral("revoked: %1").arg(dat->value(protocol::simKeyRevoked()).toInt()));
    return Success;
}

int appliesTo(const Invocation &inv)
{
    if (const int bad = check(inv, QStringLiteral("applies-to"), {addOption, removeOption}, 0, 0))
        return bad;
    const auto dat = call(inv, protocol::simAppliesTo(),
                          {{protocol::simKeyAdd(), inv.values(QStringLiteral("add"))},
                           {protocol::simKeyRemove(), inv.values(QStringLiteral("remove"))}});
    if (!dat)
        return Failure;
    for (const QString &t : dat->value(protocol::keyAppliesTo()).toStringList())
        out(t);
    return Success;
}

int data(const Invocation &inv)
{
    const QString action = inv.args().value(1);
    int names = 0;
    if (action == QLatin1String("list"))
        names = 0;
    else if (action == QLatin1String("show") || action == QLatin1String("delete"))
        names = 1;
    else if (action == QLatin1String("set"))
        names = 2;
    else
        return inv.usage(QStringLiteral("identity data takes list, show, set or delete"));
    QList<QCommandLineOption> allowed{packageOption, vendorOption};
    if (action == QLatin1String("show") || action == QLatin1String("set"))
        allowed.append(base64Option);
    if (const int bad = check(inv, QStringLiteral("data ") + action, allowed, names, names))
        return bad;
    if (!inv.isSet(QStringLiteral("package")))
        return inv.usage(QStringLiteral("identity data %1: --package is needed").arg(action));
    const QStringList positional = inv.args().mid(2);
    const bool base64 = inv.isSet(QStringLiteral("base64"));
    QVariantMap request{{protocol::simKeyPackage(), inv.value(QStringLiteral("package"))},
                        {protocol::simKeyVendor(), inv.isSet(QStringLiteral("vendor"))}};
    if (names > 0)
        request.insert(protocol::keyName(), positional.at(0));

    if (action == QLatin1String("list")) {
        const auto dat = call(inv, protocol::simListData(), request);
        if (!dat)
            return Failure;
        for (const QVariant &e : dat->value(protocol::simKeyEntries()).toList()) {
            const QVariantMap entry = e.toMap();
            QString marks;
            if (entry.value(protocol::simKeyCached()).toBool())
                marks += QStringLiteral(" cached");
            if (entry.value(protocol::simKeyEncrypted()).toBool())
                marks += QStringLiteral(" encrypted");
            out(QStringLiteral("%1 (%2 bytes)%3")
                    .arg(entry.value(protocol::keyName()).toString())
                    .arg(entry.value(protocol::simKeySize()).toInt())
                    .arg(marks));
        }
        return Success;
    }
    if (action == QLatin1String("show")) {
        const auto dat = call(inv, protocol::simGetData(), request);
        if (!dat)
            return Failure;
        QByteArray value;
        protocol::readBytes(*dat, protocol::keyValue(), &value);
        if (base64)
            value = value.toBase64();
        if (!isQuiet()) {
            std::fwrite(value.constData(), 1, size_t(value.size()), stdout);
            std::fputc('\n', stdout);
        }
        return Success;
    }
    if (action == QLatin1String("set")) {
        QByteArray value = positional.at(1).toUtf8();
        if (base64) {
            const auto decoded =
                QByteArray::fromBase64Encoding(value, QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded)
                return inv.usage(QStringLiteral("identity data set: the value is not base64"));
            value = *decoded;
        }
        request.insert(protocol::keyValue(), protocol::encodeBytes(value));
        if (!inv.request(protocol::simulatorPath(), protocol::simSetData(), request))
            return Failure;
        out(QStringLiteral("%1: %2 bytes stored").arg(positional.at(0)).arg(value.size()));
        return Success;
    }
    if (!inv.request(protocol::simulatorPath(), protocol::simDeleteData(), request))
        return Failure;
    out(QStringLiteral("%1: deleted").arg(positional.at(0)));
    return Success;
}

int offline(const Invocation &inv)
{
    const QString value = inv.args().value(1);
    if (inv.args().size() != 2 || (value != QLatin1String("on") && value != QLatin1String("off")))
        return inv.usage(QStringLiteral("identity offline takes on or off"));
    if (const int bad = check(inv, QStringLiteral("offline"), {}, 1, 1))
        return bad;
    const auto dat =
        call(inv, protocol::simSetOffline(), {{protocol::simKeyOffline(), value == QLatin1String("on")}});
    if (!dat)
        return Failure;
    out(QStringLiteral("offline: %1")
            .arg(dat->value(protocol::simKeyOffline()).toBool() ? "yes" : "no"));
    return Success;
}

int failNext(const Invocation &inv)
{
    if (const int bad = check(inv, QStringLiteral("fail"), {packageOption}, 2, 3))
        return bad;
    const QStringList positional = inv.args().mid(1);
    bool ok = false;
    const int result = positional.at(1).toInt(&ok);
    if (!ok || result == 0)
        return inv.usage(QStringLiteral("identity fail: the code is a number other than 0"));
    const auto dat = call(inv, protocol::simFailNext(),
                          {{protocol::simKeyRequest(), positional.at(0)},
                           {protocol::simKeyCode(), result},
                           {protocol::keyInfo(), positional.value(2)},
                           {protocol::simKeyPackage(), inv.value(QStringLiteral("package"))}});
    if (!dat)
        return Failure;
    out(QStringLiteral("failures waiting: %1").arg(dat->value(protocol::simKeyPending()).toInt()));
    return Success;
}

int challenges(const Invocation &inv)
{
    if (const int bad = check(inv, QStringLiteral("challenges"), {}, 0, 0))
        return bad;
    const auto dat = call(inv, protocol::simChallenges());
    if (!dat)
        return Failure;
    for (const QVariant &c : dat->value(protocol::simKeyChallenges()).toList()) {
        const QVariantMap challenge = c.toMap();
        const int type = challenge.value(protocol::keyType()).toInt();
        QString line = QStringLiteral("%1 %2 %3")
                           .arg(challenge.value(protocol::keyId()).toInt())
                           .arg(challenge.value(protocol::simKeyPackage()).toString(),
                                type == protocol::ChallengeAuthenticate
                                    ? QStringLiteral("authenticate")
                                    : QStringLiteral("email-confirmation"));
        const QString group = challenge.value(protocol::simKeyGroupId()).toString();
        if (!group.isEmpty())
            line += QStringLiteral(" window-group=") + group;
        out(line);
    }
    return Success;
}

int answer(const Invocation &inv, bool approve)
{
    const QString action = approve ? QStringLiteral("approve") : QStringLiteral("refuse");
    const QList<QCommandLineOption> allowed =
        approve ? QList<QCommandLineOption>{levelOption} : QList<QCommandLineOption>{};
    if (const int bad = check(inv, action, allowed, 1, 1))
        return bad;
    const QString which = inv.args().at(1);
    QVariantMap request{{protocol::simKeyApprove(), approve}};
    if (which == QLatin1String("all")) {
        request.insert(protocol::simKeyAll(), true);
    } else {
        bool ok = false;
        const int id = which.toInt(&ok);
        if (!ok)
            return inv.usage(
                QStringLiteral("identity %1 takes a challenge number or 'all'").arg(action));
        request.insert(protocol::keyId(), id);
    }
    if (inv.isSet(QStringLiteral("level"))) {
        const QString value = inv.value(QStringLiteral("level"));
        if (value != QLatin1String("online") && value != QLatin1String("offline"))
            return inv.usage(QStringLiteral("identity approve: --level is online or offline"));
        request.insert(protocol::keyLevel(), value == QLatin1String("online")
                                                 ? protocol::AuthenticatedOnline
                                                 : protocol::AuthenticatedOffline);
    }
    const auto dat = call(inv, protocol::simAnswerChallenge(), request);
    if (!dat)
        return Failure;
    out(QStringLiteral("answered: %1").arg(dat->value(protocol::simKeyAnswered()).toInt()));
    return Success;
}

int policy(const Invocation &inv)
{
    if (inv.args().size() != 2)
        return inv.usage(QStringLiteral("identity policy takes ask, approve or refuse"));
    if (const int bad = check(inv, QStringLiteral("policy"), {}, 1, 1))
        return bad;
    const auto dat = call(inv, protocol::simSetPolicy(), {{protocol::simKeyPolicy(), inv.args().at(1)}});
    if (!dat)
        return Failure;
    out(QStringLiteral("challenges: %1").arg(dat->value(protocol::simKeyPolicy()).toString()));
    return Success;
}

int identity(const Invocation &inv)
{
    if (inv.args().isEmpty())
        return show(inv);
    const QString action = inv.args().first();
    if (action == QLatin1String("account"))
        return account(inv);
    if (action == QLatin1String("tokens"))
        return tokens(inv);
    if (action == QLatin1String("revoke"))
        return revoke(inv);
    if (action == QLatin1String("applies-to"))
        return appliesTo(inv);
    if (action == QLatin1String("data"))
        return data(inv);
    if (action == QLatin1String("offline"))
        return offline(inv);
    if (action == QLatin1String("fail"))
        return failNext(inv);
    if (action == QLatin1String("challenges"))
        return challenges(inv);
    if (action == QLatin1String("approve"))
        return answer(inv, true);
    if (action == QLatin1String("refuse"))
        return answer(inv, false);
    if (action == QLatin1String("policy"))
        return policy(inv);
    return inv.usage(QStringLiteral("unknown identity action '%1'").arg(action));
}

} // namespace

OMCTL_COMMAND(
    {QStringLiteral("identity"), QStringLiteral("[action ...]"),
     QStringLiteral("Show and play the identity service: account, tokens, data, challenges."),
     QStringLiteral(
         "Without arguments: the account, whether the device is offline, how challenges\n"
         "are answered, and the token types and applies-to targets the service knows.\n"
         "  account [KEY=VALUE ...]      show or change the account's properties; KEY is\n"
         "                               username, screenname, firstname, lastname, uid,\n"
         "                               email (or urn:omid:...). Another username or uid\n"
         "                               is another account: every token is revoked\n"
         "  tokens                       the tokens given out, by application\n"
         "  revoke [--package P] [--type T] [--applies-to A]\n"
         "                               revoke the tokens that match (all without options)\n"
         "  applies-to [--add A] [--remove A]\n"
         "                               change the targets tokens can be had for\n"
         "  data list --package P [--vendor]\n"
         "  data show NAME --package P [--vendor] [--base64]\n"
         "  data set NAME VALUE --package P [--vendor] [--base64]\n"
         "  data delete NAME --package P [--vendor]\n"
         "                               the data of application P (or of its vendor) as\n"
         "                               that application; set makes a missing entry, and\n"
         "                               set and delete tell the entry's notifiers\n"
         "  offline on|off               tokens then fail with 50011\n"
         "  fail REQUEST CODE [INFO] [--package P]\n"
         "                               the next REQUEST (getToken, clearToken,\n"
         "                               getProperties, getData, setData, createData,\n"
         "                               deleteData, listData, challenge), of P if given,\n"
         "                               fails with CODE\n"
         "  challenges                   the challenges waiting for the user\n"
         "  approve ID|all [--level online|offline]\n"
         "  refuse ID|all                answer waiting challenges (refused: 50004)\n"
         "  policy ask|approve|refuse    how new challenges are answered\n"
         "These need the device's owner."),
     {packageOption, vendorOption, base64Option, typeOption, targetOption, addOption, removeOption,
      levelOption},
     identity});

} // namespace omctl
