// Who may act on an application's data: the device's services, in this
// process, met by a client of another user (uid 65534) that names itself
// after the victim's package, and files that a client names, read with the
// client's rights.

#include "childprocess.h"
#include "controlclient.h"
#include "testbroker.h"

#include "common/requestrouter.h"
#include "common/servicemodule.h"
#include "ids/idsprotocol_p.h"
#include "invoke/invokeprotocol_p.h"
#include "notify/notifyprotocol_p.h"
#include "oms/navigatorprotocol_p.h"
#include "payments/paymentsprotocol_p.h"

#include <ids/ids.h>
#include <om/ppsobject.h>
#include <om/system/invokerequest.h>

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <unistd.h>

using omtest::ControlClient;

namespace {

const QByteArray Victim = "com.example.victim";

// What a client of uid 65534 that calls its package Victim gets when it
// sends @p messages to @p path in turn: the first @p answers messages it
// reads, each the attributes under the object's name.
QList<QVariantMap> asAnotherUser(const QString &path, const QList<QVariantMap> &messages,
                                 int answers)
{
    int pipeFds[2];
    if (::pipe(pipeFds) != 0)
        return {};
    const int status = omtest::runInChildWithEvents(
        [&]() {
            ::close(pipeFds[0]);
            ::alarm(10); // a missing answer fails the test instead of hanging it
            qputenv("OM_PACKAGE_NAME", Victim);
            om::PpsObject pps(path + QStringLiteral("?wait"));
            if (!pps.open(om::PpsOpenMode::PublishSubscribe))
                return 1;
            for (const QVariantMap &message : messages)
                pps.write(om::PpsObject::encode(message));
            QByteArray out;
            for (int i = 0; i < answers; ++i) {
                bool ok = false;
                const QByteArray answer = pps.read(&ok);
                if (!ok)
                    return 2;
                out += QByteArray::number(answer.size()) + '\n' + answer;
            }
            return ::write(pipeFds[1], out.constData(), size_t(out.size())) == out.size() ? 0 : 3;
        },
        true);
    ::close(pipeFds[1]);
    QByteArray all;
    char buffer[4096];
    for (ssize_t n; (n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        all.append(buffer, int(n));
    ::close(pipeFds[0]);
    if (status != 0) {
        qWarning("the other user's client ended with %d", status);
        return {};
    }
    QList<QVariantMap> decoded;
    while (!all.isEmpty()) {
        const int nl = all.indexOf('\n');
        const int size = all.left(nl).toInt();
        decoded.append(om::PpsObject::decode(all.mid(nl + 1, size)).first().toMap());
        all.remove(0, nl + 1 + size);
    }
    return decoded;
}

QVariantMap message(const QString &msg, const QVariant &dat, const QVariant &id = "a")
{
    return ControlClient::message(msg, id, dat);
}

// A client of the victim's application: this process, as the device's
// owner, with the victim's package.
std::unique_ptr<ControlClient> victimOf(const QString &path)
{
    qputenv("OM_PACKAGE_NAME", Victim);
    std::unique_ptr<ControlClient> client(new ControlClient(path));
    qunsetenv("OM_PACKAGE_NAME");
    return client;
}

QVariantMap userSide(const QString &path, const QString &msg, const QVariantMap &dat = {})
{
    ControlClient user(path);
    return user.ask(message(msg, dat, "u")).value("dat").toMap();
}

} // namespace

class tst_ApplicationAccess : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void applicationNames_data();
    void applicationNames();
    void inboxItems();
    void dialogs();
    void settings();
    void homeScreen();
    void purchases();
    void identityData();
    void invocations();
    void filesNamedByClients_data();
    void filesNamedByClients();
    void userSideIsTheOwners();

private:
    std::unique_ptr<omtest::TestBroker> m_broker;
    std::unique_ptr<QTemporaryDir> m_data;
    std::unique_ptr<omtest::SharedTemporaryDir> m_files;
    std::vector<std::unique_ptr<omdevice::ServiceModule>> m_modules;
};

void tst_ApplicationAccess::init()
{
    m_broker.reset(new omtest::TestBroker);
    QVERIFY(m_broker->isRunning());
    m_data.reset(new QTemporaryDir);
    m_files.reset(new omtest::SharedTemporaryDir);
    omdevice::DeviceContext context;
    context.dataDirectory = m_data->path();
    for (const omdevice::ModuleInfo &info : omdevice::ModuleRegistry::all()) {
        m_modules.emplace_back(info.create(context, nullptr));
        QString error;
        QVERIFY2(m_modules.back()->start(&error), qPrintable(error));
    }
}

void tst_ApplicationAccess::cleanup()
{
    m_modules.clear();
    m_broker.reset();
    m_data.reset();
    m_files.reset();
}

void tst_ApplicationAccess::applicationNames_data()
{
    QTest::addColumn<QVariantMap>("client");
    QTest::addColumn<QString>("named");
    QTest::addColumn<QString>("own");
    QTest::addColumn<QString>("application");
    QTest::addColumn<QStringList>("mayActOn");
    QTest::addColumn<QStringList>("mayNot");

    const QVariantMap root{{"uid", 0}, {"package", "app"}};
    const QVariantMap other{{"uid", 65534}, {"package", "app"}};
    const QStringList some{"app", "65534/app", "1000/app"};
    QTest::newRow("root") << root << "mail"
                          << "app"
                          << "mail" << some << QStringList();
    QTest::newRow("root names another user's") << root << "65534/mail"
                                               << "app"
                                               << "65534/mail" << some << QStringList();
    QTest::newRow("another user") << other << "mail"
                                  << "65534/app"
                                  << "65534/mail" << QStringList{"65534/app", "65534/x"}
                                  << QStringList{"app", "1000/app", "655340/app", "6553/app"};
    QTest::newRow("another user names a whole name")
        << other << "0/mail"
        << "65534/app"
        << "65534/0?mail" << QStringList() << QStringList{"0/mail", "mail"};
    QVariantMap slashed = other;
    slashed.insert("package", "../app");
    QTest::newRow("a package with a slash") << slashed << "a/b"
                                            << "65534/..?app"
                                            << "65534/a?b" << QStringList() << QStringList();
    QTest::newRow("no client known") << QVariantMap() << "mail"
                                     << "0/"
                                     << "0/mail" << QStringList() << QStringList{"mail"};
}

void tst_ApplicationAccess::applicationNames()
{
    QFETCH(QVariantMap, client);
    QFETCH(QString, named);
    QFETCH(QString, own);
    QFETCH(QString, application);
    QFETCH(QStringList, mayActOn);
    QFETCH(QStringList, mayNot);
    const omdevice::Request request(1, {{"msg", "m"}}, client);
    QCOMPARE(request.application(), own);
    QCOMPARE(request.application(named), application);
    for (const QString &name : mayActOn)
        QVERIFY2(request.mayActOn(name), qPrintable(name));
    for (const QString &name : mayNot)
        QVERIFY2(!request.mayActOn(name), qPrintable(name));
}

void tst_ApplicationAccess::inboxItems()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace notify = om::notifyprotocol;
    auto victim = victimOf(notify::controlPath());
    QCOMPARE(victim->ask(message("notify", QVariantMap{{"itemId", "i1"}, {"title", "mine"}}))
                 .value("res"),
             QVariant("notify"));

    // Delete and cancel the item, all items, then post one of that id.
    const QList<QVariantMap> answers =
        asAnotherUser(notify::controlPath(),
                      {message("delete", QVariantMap{{"itemId", "i1"}}, QVariant()),
                       message("cancel", QVariantMap{{"itemId", "i1"}}, QVariant()),
                       message("delete", QVariant(), QVariant()),
                       message("notify", QVariantMap{{"itemId", "i1"}, {"title", "theirs"}})},
                      1);
    QCOMPARE(answers.size(), 1);
    QCOMPARE(answers.first().value("dat").toMap().value("itemId"), QVariant("i1"));

    const QVariantList items = userSide(notify::userSidePath(), "inbox").value("items").toList();
    QCOMPARE(items.size(), 2);
    QMap<QString, QVariantMap> byApplication;
    for (const QVariant &item : items)
        byApplication.insert(item.toMap().value("application").toString(), item.toMap());
    QCOMPARE(byApplication.keys(), (QStringList{"65534/com.example.victim", "com.example.victim"}));
    const QVariantMap mine = byApplication.value("com.example.victim");
    QCOMPARE(mine.value("attributes").toMap().value("title"), QVariant("mine"));
    QCOMPARE(mine.value("effectsCleared"), QVariant(false));
}

void tst_ApplicationAccess::dialogs()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace notify = om::notifyprotocol;
    const auto alert = [](const QString &title) {
        return message(
            "alert", QVariantMap{{"itemId", "d1"},
                                 {"title", title},
                                 {"promptChoices",
                                  QVariantList{QVariantMap{{"label", "OK"}, {"context", "ok"}}}}});
    };
    auto victim = victimOf(notify::controlPath());
    QCOMPARE(victim->ask(alert("mine")).value("res"), QVariant("alert"));

    const QList<QVariantMap> answers = asAnotherUser(notify::controlPath(), {alert("theirs")}, 1);
    QCOMPARE(answers,
             (QList<QVariantMap>{{{"res", "alert"},
                                  {"id", "a"},
                                  {"err", "alert: permission denied: com.example.victim"}}}));
    const QVariantList shown =
        userSide(notify::userSidePath(), "dialogs").value("dialogs").toList();
    QCOMPARE(shown.size(), 1);
    QCOMPARE(shown.first().toMap().value("application"), QVariant("com.example.victim"));
    QCOMPARE(shown.first().toMap().value("content").toMap().value("title"), QVariant("mine"));
}

void tst_ApplicationAccess::settings()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace notify = om::notifyprotocol;
    const QVariantMap query{{"name", QString::fromLatin1(Victim)}, {"type", "category"}};
    auto victim = victimOf(notify::controlPath());
    const QVariantMap before = victim->ask(message("query", query)).value("dat").toMap();
    QCOMPARE(before.value("alerts"), QVariant("on"));

    // Its alerts off, by defaults of the other user's making.
    const QList<QVariantMap> answers = asAnotherUser(
        notify::controlPath(),
        {message("registerSettings",
                 QVariantMap{{"name", QString::fromLatin1(Victim)}, {"alerts", "off"}})},
        1);
    QCOMPARE(answers.size(), 1);
    QCOMPARE(answers.first().value("dat").toMap().value("name"),
             QVariant("65534/com.example.victim"));
    QCOMPARE(answers.first().value("dat").toMap().value("alerts"), QVariant("off"));
    QCOMPARE(victim->ask(message("query", query)).value("dat").toMap(), before);
}

void tst_ApplicationAccess::homeScreen()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace navigator = om::navigatorprotocol;
    const QString icon = m_files->filePath("icon.png");
    QFile file(icon);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("icon") == 4);
    file.close();
    QVERIFY(file.setPermissions(QFileDevice::ReadOwner | QFileDevice::ReadOther));
    const QVariantMap shortcut{{"icon", icon}, {"label", "Mine"}, {"url", "victim:"}};
    auto victim = victimOf(navigator::controlPath());
    QCOMPARE(victim->ask(message("setBadge", QVariantMap{{"app", Victim}, {"badge", "splat"}})),
             (QVariantMap{{"res", "setBadge"}, {"id", "a"}}));
    QCOMPARE(victim->ask(message("addShortcut", shortcut)),
             (QVariantMap{{"res", "addShortcut"}, {"id", "a"}}));

    // The victim's badge cleared, and a shortcut of its URL: the other user
    // reaches its own application's badge and shortcuts only.
    const QList<QVariantMap> answers = asAnotherUser(
        navigator::controlPath(),
        {message("clearBadge", QVariantMap{{"app", Victim}}),
         message("setBadge", QVariantMap{{"app", "com.example.other"}, {"badge", "splat"}}),
         message("addShortcut", shortcut)},
        3);
    for (const QVariantMap &answer : answers)
        QVERIFY2(!answer.contains("err"), qPrintable(answer.value("err").toString()));
    const QVariantMap home = userSide(navigator::userSidePath(), "home");
    QCOMPARE(home.value("badges").toMap(),
             (QVariantMap{{"com.example.victim", "splat"}, {"65534/com.example.other", "splat"}}));
    QStringList owners;
    for (const QVariant &entry : home.value("shortcuts").toList())
        owners.append(entry.toMap().value("app").toString());
    QCOMPARE(owners, (QStringList{"com.example.victim", "65534/com.example.victim"}));
}

void tst_ApplicationAccess::purchases()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace payments = om::paymentsprotocol;
    auto victim = victimOf(payments::controlPath());
    const QVariantMap bought =
        victim->ask(message("paymentSystemType", QVariantMap{{"digitalGoodID", "premium"}}));
    QCOMPARE(bought.value("res"), QVariant("paymentSystemSuccess"));
    const QString purchaseId = bought.value("dat").toMap().value("purchaseID").toString();
    QVERIFY(!purchaseId.isEmpty());
    const QVariantMap existing = victim->ask(message("getExistingPurchasesType", QVariantMap()));

    const QList<QVariantMap> answers = asAnotherUser(
        payments::controlPath(),
        {message("getExistingPurchasesType", QVariantMap(), "1"),
         message("cancelSubscriptionType", QVariantMap{{"purchaseID", purchaseId}}, "2")},
        2);
    QCOMPARE(answers.size(), 2);
    QCOMPARE(answers.at(0).value("dat"), QVariant(QVariantList()));
    QCOMPARE(answers.at(1).value("res"), QVariant("cancelSubscriptionFailure"));
    QCOMPARE(victim->ask(message("getExistingPurchasesType", QVariantMap())), existing);
}

void tst_ApplicationAccess::identityData()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace ids = om::ids::protocol;
    const QVariantMap registration{{"provider", ids::providerProfile()}};
    const auto entry = [](int type, const QString &name, const QByteArray &value = QByteArray()) {
        QVariantMap dat{{"type", type}, {"flags", 0}, {"name", name}};
        if (!value.isNull())
            dat.insert("value", ids::encodeBytes(value));
        return dat;
    };
    auto victim = victimOf(ids::controlPath());
    QVERIFY(!victim->ask(message("register", registration)).contains("err"));
    // The application's own entry, and one of its vendor's.
    QVERIFY(!victim->ask(message("createData", entry(1, "own", "secret"))).contains("err"));
    QVERIFY(!victim->ask(message("createData", entry(2, "vendor's", "shared"))).contains("err"));

    QVariantMap deleteAll = entry(1, QString());
    deleteAll.insert("flags", 2);
    const QList<QVariantMap> answers = asAnotherUser(
        ids::controlPath(),
        {message("register", registration, "1"), message("getData", entry(1, "own"), "2"),
         message("getData", entry(2, "vendor's"), "3"), message("deleteData", deleteAll, "4")},
        4);
    QCOMPARE(answers.size(), 4);
    QCOMPARE(answers.at(1).value("err").toInt(), int(IDS_DOES_NOT_EXIST));
    QCOMPARE(answers.at(2).value("err").toInt(), int(IDS_DOES_NOT_EXIST));
    const QVariantMap own = victim->ask(message("getData", entry(1, "own")));
    QByteArray value;
    QVERIFY(ids::readBytes(own.value("dat").toMap(), "value", &value));
    QCOMPARE(value, QByteArray("secret"));
}

void tst_ApplicationAccess::invocations()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace invoke = om::system::invokeprotocol;
    om::system::InvokeRequest request;
    request.setAction("om.action.NOTHING");
    // The request names the victim as its sender.
    const QVariantMap dat = invoke::encodeRequest(request, QString::fromLatin1(Victim));
    QCOMPARE(asAnotherUser(invoke::controlPath(), {message("invoke", dat)}, 1).size(), 1);
    const QVariantList recorded =
        userSide(invoke::userSidePath(), "invocations").value("invocations").toList();
    QCOMPARE(recorded.size(), 1);
    QCOMPARE(recorded.first().toMap().value("sender"), QVariant("65534/com.example.victim"));
}

void tst_ApplicationAccess::filesNamedByClients_data()
{
    QTest::addColumn<QString>("name"); // in the shared directory
    QTest::addColumn<bool>("taken");
    QTest::newRow("readable") << "open.png" << true;
    QTest::newRow("through a link") << "link-to-open.png" << true;
    QTest::newRow("root's alone") << "closed.png" << false;
    QTest::newRow("missing") << "missing.png" << false;
    QTest::newRow("in a closed directory") << "closed/open.png" << false;
    QTest::newRow("a link to root's alone") << "link-to-closed.png" << false;
    QTest::newRow("through a link into a closed directory") << "closed-link/open.png" << false;
    QTest::newRow("the shadow file") << "/etc/shadow" << false;
}

void tst_ApplicationAccess::filesNamedByClients()
{
    QFETCH(QString, name);
    QFETCH(bool, taken);
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    namespace navigator = om::navigatorprotocol;
    const QDir dir(m_files->path());
    const auto make = [&](const QString &file, QFileDevice::Permissions permissions) {
        QFile f(dir.filePath(file));
        return f.open(QIODevice::WriteOnly) && f.write("image") == 5 &&
               f.setPermissions(permissions);
    };
    const QFileDevice::Permissions open = QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ReadGroup | QFileDevice::ReadOther;
    QVERIFY(make("open.png", open));
    QVERIFY(make("closed.png", QFileDevice::ReadOwner | QFileDevice::WriteOwner));
    QVERIFY(dir.mkdir("closed"));
    QVERIFY(make("closed/open.png", open));
    QVERIFY(QFile::setPermissions(dir.filePath("closed"), QFileDevice::ReadOwner |
                                                              QFileDevice::WriteOwner |
                                                              QFileDevice::ExeOwner));
    QVERIFY(QFile::link(dir.filePath("open.png"), dir.filePath("link-to-open.png")));
    QVERIFY(QFile::link(dir.filePath("closed.png"), dir.filePath("link-to-closed.png")));
    QVERIFY(QFile::link("closed", dir.filePath("closed-link")));
    const QString path = name.startsWith('/') ? name : dir.filePath(name);

    const QList<QVariantMap> answers = asAnotherUser(
        navigator::controlPath(), {message("setWallpaper", QVariantMap{{"path", path}})}, 1);
    const QVariantMap home = userSide(navigator::userSidePath(), "home");
    if (taken) {
        QCOMPARE(answers, (QList<QVariantMap>{{{"res", "setWallpaper"}, {"id", "a"}}}));
        QFile copy(home.value("wallpaperFile").toString());
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), QByteArray("image"));
        return;
    }
    // Missing or forbidden: one answer, nothing copied.
    QCOMPARE(answers, (QList<QVariantMap>{{{"res", "setWallpaper"},
                                           {"id", "a"},
                                           {"err", "cannot read " + path},
                                           {"errno", EACCES}}}));
    QCOMPARE(home.value("wallpaperFile").toString(), QString());
}

void tst_ApplicationAccess::userSideIsTheOwners()
{
    if (!omtest::canDropPrivileges())
        QSKIP("needs root to run a client as another user (uid 65534)");
    int error = 0;
    const QStringList names = om::PpsObject::list(QStringLiteral("/pps/simulator"), &error);
    QCOMPARE(error, 0);
    QVERIFY(names.size() >= 6);
    for (const QString &name : names) {
        const QString path = QStringLiteral("/pps/simulator/") + name;
        // Every service's side for the user: another user's client cannot
        // so much as read it.
        const int status = omtest::runInChild(
            [&]() {
                om::PpsObject pps(path);
                return pps.open(om::PpsOpenMode::Subscribe) ? 0 : pps.error();
            },
            true);
        QVERIFY2(status == EACCES,
                 qPrintable(path + QStringLiteral(": ") + QString::number(status)));
    }
}

QTEST_GUILESS_MAIN(tst_ApplicationAccess)
#include "tst_applicationaccess.moc"
