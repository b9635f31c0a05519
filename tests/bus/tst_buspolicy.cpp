// The bus's rules without a socket: paths, options, the open request, the
// broker's permission check, the publish merge and what a directory lists.

#include "broker/policy.h"
#include "pps/buspolicy_p.h"

#include <QtTest>

using namespace om::bus;
using namespace omdevice::broker;

class tst_BusPolicy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objectPaths_data();
    void objectPaths();
    void options_data();
    void options();
    void openRequests_data();
    void openRequests();
    void permissions_data();
    void permissions();
    void merge_data();
    void merge();
    void mergeKeepsAnObjectThatWouldNotFit();
    void listing_data();
    void listing();
};

void tst_BusPolicy::objectPaths_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<bool>("valid");

    QTest::newRow("control object") << QByteArray("/pps/services/notify/control") << true;
    QTest::newRow("one component") << QByteArray("/pps/a") << true;
    QTest::newRow("dots inside a name") << QByteArray("/pps/a/b.c..d") << true;
    QTest::newRow("the root itself") << QByteArray("/pps") << false;
    QTest::newRow("the root with a slash") << QByteArray("/pps/") << false;
    QTest::newRow("outside /pps") << QByteArray("/etc/passwd") << false;
    QTest::newRow("prefix only") << QByteArray("/ppsx/a") << false;
    QTest::newRow("parent") << QByteArray("/pps/../etc") << false;
    QTest::newRow("hidden component") << QByteArray("/pps/a/.lock") << false;
    QTest::newRow("empty component") << QByteArray("/pps/a//b") << false;
    QTest::newRow("trailing slash") << QByteArray("/pps/a/") << false;
    QTest::newRow("question mark") << QByteArray("/pps/a?b") << false;
    QTest::newRow("NUL") << QByteArray("/pps/a\0b", 8) << false;
    QTest::newRow("1024 bytes") << QByteArray("/pps/") + QByteArray(1019, 'x') << true;
    QTest::newRow("1025 bytes") << QByteArray("/pps/") + QByteArray(1020, 'x') << false;
}

void tst_BusPolicy::objectPaths()
{
    QFETCH(QByteArray, path);
    QFETCH(bool, valid);
    QCOMPARE(validObjectPath(path), valid);
    // A directory to list may also be the root, and end with a slash.
    QCOMPARE(validDirectoryPath(path),
             valid || path == "/pps" || path == "/pps/" || path == "/pps/a/");
}

void tst_BusPolicy::options_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QString>("parsed"); // wait server create separate mode

    QTest::newRow("none") << QByteArray() << true << "0 0 0 0 -";
    QTest::newRow("wait") << QByteArray("wait") << true << "1 0 0 0 -";
    QTest::newRow("all, spaced") << QByteArray(" server , create,separate,wait,mode=0640") << true
                                 << "1 1 1 1 640";
    QTest::newRow("empty items") << QByteArray(",,wait,") << true << "1 0 0 0 -";
    QTest::newRow("mode without zero") << QByteArray("mode=600") << true << "0 0 0 0 600";
    QTest::newRow("unknown") << QByteArray("wait,fast") << false << "";
    QTest::newRow("mode beyond 0777") << QByteArray("mode=01777") << false << "";
    QTest::newRow("mode not octal") << QByteArray("mode=0999") << false << "";
    QTest::newRow("mode empty") << QByteArray("mode=") << false << "";
    QTest::newRow("case") << QByteArray("Wait") << false << "";
}

void tst_BusPolicy::options()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, valid);
    QFETCH(QString, parsed);
    OpenOptions options;
    QCOMPARE(parseOptions(text, &options), valid);
    if (!valid)
        return;
    const QString mode = options.hasMode ? QString::number(options.mode, 8) : QStringLiteral("-");
    QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5")
                 .arg(int(options.wait))
                 .arg(int(options.server))
                 .arg(int(options.create))
                 .arg(int(options.separate))
                 .arg(mode),
             parsed);
}

void tst_BusPolicy::openRequests_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("valid");
    QTest::addColumn<QByteArrayList>("parts"); // path, mode, options, package

    QTest::newRow("whole") << QByteArray("OPEN\n/pps/a\n3\nwait\ncom.example") << true
                           << QByteArrayList{"/pps/a", "3", "wait", "com.example"};
    QTest::newRow("no options, no package")
        << QByteArray("OPEN\n/pps/a\n2") << true << QByteArrayList{"/pps/a", "2", "", ""};
    QTest::newRow("more lines: the package is the fifth")
        << QByteArray("OPEN\n/pps/a\n1\n\npkg\nrest") << true
        << QByteArrayList{"/pps/a", "1", "", "pkg"};
    QTest::newRow("mode missing") << QByteArray("OPEN\n/pps/a\n") << false << QByteArrayList();
    QTest::newRow("two lines") << QByteArray("OPEN\n/pps/a") << false << QByteArrayList();
    QTest::newRow("mode not a number")
        << QByteArray("OPEN\n/pps/a\nrw\n") << false << QByteArrayList();
    QTest::newRow("other verb") << QByteArray("LIST\n/pps\n3") << false << QByteArrayList();
    QTest::newRow("garbage") << QByteArray("\xff\xfe\x00garbage", 10) << false << QByteArrayList();
    QTest::newRow("empty") << QByteArray() << false << QByteArrayList();
}

void tst_BusPolicy::openRequests()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, valid);
    QFETCH(QByteArrayList, parts);
    OpenRequest request;
    QCOMPARE(parseOpenRequest(text, &request), valid);
    if (valid) {
        QCOMPARE((QByteArrayList{request.path, QByteArray::number(request.mode), request.options,
                                 request.package}),
                 parts);
    }
}

void tst_BusPolicy::permissions_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<uint>("uid");
    QTest::addColumn<uint>("gid");
    QTest::addColumn<QString>("allowed"); // read, write, both

    // The object belongs to uid 1000, gid 100.
    QTest::newRow("owner, 0600") << 0600 << 1000u << 1000u << "r w rw";
    QTest::newRow("group, 0640") << 0640 << 2000u << 100u << "r - -";
    QTest::newRow("other, 0640") << 0640 << 2000u << 200u << "- - -";
    QTest::newRow("other, 0666") << 0666 << 2000u << 200u << "r w rw";
    QTest::newRow("owner without bits, group has them") << 0060 << 1000u << 100u << "- - -";
    QTest::newRow("other, write only") << 0662 << 2000u << 200u << "- w -";
    QTest::newRow("root, 0000") << 0000 << 0u << 0u << "r w rw";
}

void tst_BusPolicy::permissions()
{
    QFETCH(int, mode);
    QFETCH(uint, uid);
    QFETCH(uint, gid);
    QFETCH(QString, allowed);
    const auto may = [&](bool read, bool write) {
        return permitted(mode_t(mode), 1000, 100, uid, gid, read, write);
    };
    const QString found = QStringLiteral("%1 %2 %3")
                              .arg(may(true, false) ? "r" : "-", may(false, true) ? "w" : "-",
                                   may(true, true) ? "rw" : "-");
    QCOMPARE(found, allowed);
}

void tst_BusPolicy::merge_data()
{
    QTest::addColumn<QByteArray>("write");
    QTest::addColumn<QByteArray>("whole");

    // The object holds "a::1" and "b:n:2" before each write.
    QTest::newRow("set") << QByteArray("c:b:true\n")
                         << QByteArray("@state\na::1\nb:n:2\nc:b:true\n");
    QTest::newRow("replace") << QByteArray("a::9") << QByteArray("@state\na::9\nb:n:2\n");
    QTest::newRow("remove") << QByteArray("-a\n") << QByteArray("@state\nb:n:2\n");
    QTest::newRow("remove what is not there")
        << QByteArray("-z\n") << QByteArray("@state\na::1\nb:n:2\n");
    QTest::newRow("object line ignored")
        << QByteArray("@other\nd::4\n") << QByteArray("@state\na::1\nb:n:2\nd::4\n");
    QTest::newRow("lines that are no attribute dropped")
        << QByteArray("junk\n:x:y\nonecolon:\ne::5\n") << QByteArray("@state\na::1\nb:n:2\ne::5\n");
    QTest::newRow("empty write") << QByteArray() << QByteArray("@state\na::1\nb:n:2\n");
}

void tst_BusPolicy::merge()
{
    QFETCH(QByteArray, write);
    QFETCH(QByteArray, whole);
    Attributes attributes{{"a", "a::1"}, {"b", "b:n:2"}};
    QVERIFY(omdevice::broker::merge(&attributes, "state", write));
    QCOMPARE(wholeObject("state", attributes), whole);
}

void tst_BusPolicy::mergeKeepsAnObjectThatWouldNotFit()
{
    Attributes attributes{{"a", "a::1"}};
    const QByteArray big = "big::" + QByteArray(64 * 1024, 'x') + '\n';
    QVERIFY(!omdevice::broker::merge(&attributes, "state", big));
    QCOMPARE(wholeObject("state", attributes), QByteArray("@state\na::1\n"));
    // Exactly one message's worth still fits.
    const int room = 64 * 1024 - int(QByteArray("@state\na::1\nbig::\n").size());
    QVERIFY(omdevice::broker::merge(&attributes, "state", "big::" + QByteArray(room, 'x')));
    QCOMPARE(wholeObject("state", attributes).size(), 64 * 1024);
}

void tst_BusPolicy::listing_data()
{
    QTest::addColumn<QString>("directory");
    QTest::addColumn<int>("error");
    QTest::addColumn<QByteArray>("names");

    QTest::newRow("root") << "/pps" << 0 << QByteArray("services/\nsystem/\n");
    QTest::newRow("root, slash") << "/pps/" << 0 << QByteArray("services/\nsystem/\n");
    QTest::newRow("objects and a directory")
        << "/pps/services/notify" << 0 << QByteArray("control\nsettings-control\nsub/\n");
    QTest::newRow("an object") << "/pps/services/notify/control" << ENOTDIR << QByteArray();
    QTest::newRow("nothing below") << "/pps/none" << ENOENT << QByteArray();
    QTest::newRow("a name's prefix is no directory")
        << "/pps/services/noti" << ENOENT << QByteArray();
}

void tst_BusPolicy::listing()
{
    QFETCH(QString, directory);
    QFETCH(int, error);
    QFETCH(QByteArray, names);
    const std::vector<QString> objects{QStringLiteral("/pps/services/notify/control"),
                                       QStringLiteral("/pps/services/notify/settings-control"),
                                       QStringLiteral("/pps/services/notify/sub/x"),
                                       QStringLiteral("/pps/system/state")};
    QByteArray found;
    QCOMPARE(listDirectory(objects, directory, &found), error);
    QCOMPARE(found, names);
    // An empty bus lists an empty root.
    QCOMPARE(listDirectory({}, QStringLiteral("/pps"), &found), 0);
    QVERIFY(found.isEmpty());
}

QTEST_GUILESS_MAIN(tst_BusPolicy)
#include "tst_buspolicy.moc"
