// The identity service: the account, tokens and data, and the user's side
// of challenges, through the service's simulator object.

#include "command.h"
#include "omctlclient.h"

#include "ids/idsprotocol_p.h"

#include <QCommandLineParser>
#include <QDateTime>

#include <cstdio>

namespace omctl {
namespace {

namespace protocol = om::ids::protocol;

const QString subject = QStringLiteral("identity");

/** One request to the service's user side; its "dat", or a failure line. */
bool call(const QString &msg, const QVariantMap &dat, QVariantMap *result, int *exitCode)
{
    QVariantMap answer;
    QString error;
    if (!request(protocol::simulatorPath(), msg, dat, &answer, &error)) {
        *exitCode =
            fail(subject, error == reason(ENOENT) ? QStringLiteral("no identity service on the bus")
                                                  : error);
        return false;
    }
    if (answer.contains(QStringLiteral("err"))) {
        *exitCode = fail(subject, answer.value(QStringLiteral("err")).toString());
        return false;
    }
    *result = answer.value(QStringLiteral("dat")).toMap();
    return true;
}

/** Parses @p args of "identity <action>"; false with the exit code set. */
bool parse(QCommandLineParser *parser, const QString &action, const QStringList &args, int minimum,
           int maximum, int *exitCode)
{
    parser->setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    if (!parser->parse(QStringList{QStringLiteral("omctl identity ") + action} + args)) {
        *exitCode = usage(QStringLiteral("identity %1: %2").arg(action, parser->errorText()));
        return false;
    }
    const int n = parser->positionalArguments().size();
    if (n < minimum || n > maximum) {
        *exitCode = usage(QStringLiteral("identity %1: wrong number of arguments").arg(action));
        return false;
    }
    return true;
}

const QCommandLineOption packageOption(QStringLiteral("package"),
                                       QStringLiteral("The application (its package name)."),
                                       QStringLiteral("name"));
const QCommandLineOption vendorOption(QStringLiteral("vendor"),
                                      QStringLiteral("The application's vendor's shared data."));

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

int show(const QStringList &args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("identity takes an action; see 'omctl help identity'"));
    QVariantMap dat;
    int code = Success;
    if (!call(protocol::simState(), QVariantMap(), &dat, &code))
        return code;
    printAccount(dat.value(protocol::simKeyAccount()).toMap());
    out(QStringLiteral("offline: %1")
            .arg(dat.value(protocol::simKeyOffline()).toBool() ? QStringLiteral("yes")
                                                               : QStringLiteral("no")));
    out(QStringLiteral("challenges: %1, %2 pending")
            .arg(dat.value(protocol::simKeyPolicy()).toString())
            .arg(dat.value(protocol::simKeyPending()).toInt()));
    out(QStringLiteral("token types: %1")
            .arg(dat.value(protocol::simKeyTokenTypes()).toStringList().join(QLatin1Char(' '))));
    out(QStringLiteral("applies to: %1")
            .arg(dat.value(protocol::keyAppliesTo()).toStringList().join(QLatin1Char(' '))));
    out(QStringLiteral("tokens: %1").arg(dat.value(protocol::simKeyTokens()).toInt()));
    return Success;
}

int account(const QStringList &args)
{
    QVariantMap changes;
    for (const QString &arg : args) {
        const int eq = arg.indexOf(QLatin1Char('='));
        if (eq <= 0)
            return usage(QStringLiteral("identity account takes KEY=VALUE, not '%1'").arg(arg));
        changes.insert(propertyKey(arg.left(eq)), arg.mid(eq + 1));
    }
    QVariantMap dat;
    int code = Success;
    if (changes.isEmpty()) {
        if (!call(protocol::simState(), QVariantMap(), &dat, &code))
            return code;
    } else if (!call(protocol::simSetAccount(), {{protocol::simKeyAccount(), changes}}, &dat,
                     &code)) {
        return code;
    }
    printAccount(dat.value(protocol::simKeyAccount()).toMap());
    if (dat.contains(protocol::simKeyRevoked()))
        out(QStringLiteral("another account: %1 tokens revoked")
                .arg(dat.value(protocol::simKeyRevoked()).toInt()));
    return Success;
}

int tokens(const QStringList &args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("identity tokens takes no arguments"));
    QVariantMap dat;
    int code = Success;
    if (!call(protocol::simTokens(), QVariantMap(), &dat, &code))
        return code;
    for (const QVariant &entry : dat.value(protocol::simKeyTokens()).toList()) {
        const QVariantMap t = entry.toMap();
        out(QStringLiteral("%1 %2 %3 %4")
                .arg(t.value(protocol::simKeyPackage()).toString(),
                     t.value(protocol::keyTokenType()).toString(),
                     t.value(protocol::keyAppliesTo()).toString(),
                     t.value(protocol::keyToken()).toString()));
    }
    return Success;
}

int revoke(const QStringList &args)
{
    QCommandLineParser parser;
    const QCommandLineOption type(QStringLiteral("type"), QStringLiteral("Token type."),
                                  QStringLiteral("type"));
    const QCommandLineOption target(QStringLiteral("applies-to"), QStringLiteral("Applies-to."),
                                    QStringLiteral("target"));
    parser.addOptions({packageOption, type, target});
    int code = Success;
    if (!parse(&parser, QStringLiteral("revoke"), args, 0, 0, &code))
        return code;
    QVariantMap dat;
    if (!call(protocol::simRevoke(),
              {{protocol::simKeyPackage(), parser.value(packageOption)},
               {protocol::keyTokenType(), parser.value(type)},
               {protocol::keyAppliesTo(), parser.value(target)}},
              &dat, &code))
        return code;
    out(QStringLiteral("revoked: %1").arg(dat.value(protocol::simKeyRevoked()).toInt()));
    return Success;
}

int appliesTo(const QStringList &args)
{
    QCommandLineParser parser;
    const QCommandLineOption add(QStringLiteral("add"), QStringLiteral("Add a target."),
                                 QStringLiteral("target"));
    const QCommandLineOption remove(QStringLiteral("remove"), QStringLiteral("Remove a target."),
                                    QStringLiteral("target"));
    parser.addOptions({add, remove});
    int code = Success;
    if (!parse(&parser, QStringLiteral("applies-to"), args, 0, 0, &code))
        return code;
    QVariantMap dat;
    if (!call(protocol::simAppliesTo(),
              {{protocol::simKeyAdd(), parser.values(add)},
               {protocol::simKeyRemove(), parser.values(remove)}},
              &dat, &code))
        return code;
    for (const QString &t : dat.value(protocol::keyAppliesTo()).toStringList())
        out(t);
    return Success;
}

int data(const QStringList &args)
{
    const QString action = args.value(0);
    QCommandLineParser parser;
    const QCommandLineOption base64(QStringLiteral("base64"),
                                    QStringLiteral("The value is (show: print it as) base64."));
    parser.addOptions({packageOption, vendorOption, base64});
    int code = Success;
    int names = 0;
    if (action == QLatin1String("list"))
        names = 0;
    else if (action == QLatin1String("show") || action == QLatin1String("delete"))
        names = 1;
    else if (action == QLatin1String("set"))
        names = 2;
    else
        return usage(QStringLiteral("identity data takes list, show, set or delete"));
    if (!parse(&parser, QStringLiteral("data ") + action, args.mid(1), names, names, &code))
        return code;
    if (!parser.isSet(packageOption))
        return usage(QStringLiteral("identity data %1: --package is needed").arg(action));
    const QStringList positional = parser.positionalArguments();
    QVariantMap request{{protocol::simKeyPackage(), parser.value(packageOption)},
                        {protocol::simKeyVendor(), parser.isSet(vendorOption)}};
    if (names > 0)
        request.insert(protocol::keyName(), positional.at(0));
    QVariantMap dat;

    if (action == QLatin1String("list")) {
        if (!call(protocol::simListData(), request, &dat, &code))
            return code;
        for (const QVariant &e : dat.value(protocol::simKeyEntries()).toList()) {
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
        if (!call(protocol::simGetData(), request, &dat, &code))
            return code;
        QByteArray value;
        protocol::readBytes(dat, protocol::keyValue(), &value);
        if (parser.isSet(base64))
            value = value.toBase64();
        std::fwrite(value.constData(), 1, size_t(value.size()), stdout);
        std::fputc('\n', stdout);
        return Success;
    }
    if (action == QLatin1String("set")) {
        QByteArray value = positional.at(1).toUtf8();
        if (parser.isSet(base64)) {
            const auto decoded =
                QByteArray::fromBase64Encoding(value, QByteArray::AbortOnBase64DecodingErrors);
            if (!decoded)
                return usage(QStringLiteral("identity data set: the value is not base64"));
            value = *decoded;
        }
        request.insert(protocol::keyValue(), protocol::encodeBytes(value));
        return call(protocol::simSetData(), request, &dat, &code) ? int(Success) : code;
    }
    return call(protocol::simDeleteData(), request, &dat, &code) ? int(Success) : code;
}

int offline(const QStringList &args)
{
    const QString value = args.value(0);
    if (args.size() != 1 || (value != QLatin1String("on") && value != QLatin1String("off")))
        return usage(QStringLiteral("identity offline takes on or off"));
    QVariantMap dat;
    int code = Success;
    if (!call(protocol::simSetOffline(),
              {{protocol::simKeyOffline(), value == QLatin1String("on")}}, &dat, &code))
        return code;
    out(QStringLiteral("offline: %1")
            .arg(dat.value(protocol::simKeyOffline()).toBool() ? "yes" : "no"));
    return Success;
}

int failNext(const QStringList &args)
{
    QCommandLineParser parser;
    parser.addOption(packageOption);
    int code = Success;
    if (!parse(&parser, QStringLiteral("fail"), args, 2, 3, &code))
        return code;
    const QStringList positional = parser.positionalArguments();
    bool ok = false;
    const int result = positional.at(1).toInt(&ok);
    if (!ok || result == 0)
        return usage(QStringLiteral("identity fail: the code is a number other than 0"));
    QVariantMap dat;
    if (!call(protocol::simFailNext(),
              {{protocol::simKeyRequest(), positional.at(0)},
               {protocol::simKeyCode(), result},
               {protocol::keyInfo(), positional.value(2)},
               {protocol::simKeyPackage(), parser.value(packageOption)}},
              &dat, &code))
        return code;
    out(QStringLiteral("failures waiting: %1").arg(dat.value(protocol::simKeyPending()).toInt()));
    return Success;
}

int challenges(const QStringList &args)
{
    if (!args.isEmpty())
        return usage(QStringLiteral("identity challenges takes no arguments"));
    QVariantMap dat;
    int code = Success;
    if (!call(protocol::simChallenges(), QVariantMap(), &dat, &code))
        return code;
    for (const QVariant &c : dat.value(protocol::simKeyChallenges()).toList()) {
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

int answer(const QStringList &args, bool approve)
{
    const QString action = approve ? QStringLiteral("approve") : QStringLiteral("refuse");
    QCommandLineParser parser;
    const QCommandLineOption level(QStringLiteral("level"),
                                   QStringLiteral("online or offline (default: as the device is)."),
                                   QStringLiteral("level"));
    if (approve)
        parser.addOption(level);
    int code = Success;
    if (!parse(&parser, action, args, 1, 1, &code))
        return code;
    const QString which = parser.positionalArguments().at(0);
    QVariantMap request{{protocol::simKeyApprove(), approve}};
    if (which == QLatin1String("all")) {
        request.insert(protocol::simKeyAll(), true);
    } else {
        bool ok = false;
        const int id = which.toInt(&ok);
        if (!ok)
            return usage(
                QStringLiteral("identity %1 takes a challenge number or 'all'").arg(action));
        request.insert(protocol::keyId(), id);
    }
    if (parser.isSet(level)) {
        const QString value = parser.value(level);
        if (value != QLatin1String("online") && value != QLatin1String("offline"))
            return usage(QStringLiteral("identity approve: --level is online or offline"));
        request.insert(protocol::keyLevel(), value == QLatin1String("online")
                                                 ? protocol::AuthenticatedOnline
                                                 : protocol::AuthenticatedOffline);
    }
    QVariantMap dat;
    if (!call(protocol::simAnswerChallenge(), request, &dat, &code))
        return code;
    out(QStringLiteral("answered: %1").arg(dat.value(protocol::simKeyAnswered()).toInt()));
    return Success;
}

int policy(const QStringList &args)
{
    if (args.size() != 1)
        return usage(QStringLiteral("identity policy takes ask, approve or refuse"));
    QVariantMap dat;
    int code = Success;
    if (!call(protocol::simSetPolicy(), {{protocol::simKeyPolicy(), args.at(0)}}, &dat, &code))
        return code;
    out(QStringLiteral("challenges: %1").arg(dat.value(protocol::simKeyPolicy()).toString()));
    return Success;
}

int identity(const QStringList &args)
{
    if (args.isEmpty())
        return show(args);
    const QString action = args.first();
    const QStringList rest = args.mid(1);
    if (action == QLatin1String("account"))
        return account(rest);
    if (action == QLatin1String("tokens"))
        return tokens(rest);
    if (action == QLatin1String("revoke"))
        return revoke(rest);
    if (action == QLatin1String("applies-to"))
        return appliesTo(rest);
    if (action == QLatin1String("data"))
        return data(rest);
    if (action == QLatin1String("offline"))
        return offline(rest);
    if (action == QLatin1String("fail"))
        return failNext(rest);
    if (action == QLatin1String("challenges"))
        return challenges(rest);
    if (action == QLatin1String("approve"))
        return answer(rest, true);
    if (action == QLatin1String("refuse"))
        return answer(rest, false);
    if (action == QLatin1String("policy"))
        return policy(rest);
    return usage(QStringLiteral("unknown identity action '%1'").arg(action));
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
     identity});

} // namespace omctl
