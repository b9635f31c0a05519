// A module's saved state: what load() finds after changes, after a change
// cut short by a crash, after a crash right behind a change, after
// compactions, and what it does with files it cannot read.

#include "childprocess.h"
#include "common/datastore.h"
#include "warningcapture.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/stat.h>

using omdevice::DataStore;

class tst_DataStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesComeBack_data();
    void changesComeBack();
    void tornLastRecordKeepsTheWholeOnes_data();
    void tornLastRecordKeepsTheWholeOnes();
    void killedRightAfterAChangeLosesNothing();
    void compactionKeepsEverything();
    void compactionCutShortLosesNothing();
    void unreadableFilesAreSetAside_data();
    void unreadableFilesAreSetAside();
    void moduleSetsContentAside();
    void earlierFormatIsTakenOver();
    void filesAreTheUsersOwn();
};

namespace {
const QString Name = QStringLiteral("module");

QString journalOf(const QTemporaryDir &dir, int generation = 1)
{
    return dir.filePath(QStringLiteral("module.%1.journal").arg(generation));
}

void cut(const QString &path, int bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(file.size() - bytes));
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(content);
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The files of the directory whose name says they were set aside.
QStringList setAside(const QTemporaryDir &dir)
{
    return QDir(dir.path())
        .entryList({QStringLiteral("*.unreadable-*")},
                   QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot);
}

QVariantMap item(int n)
{
    return {{QStringLiteral("n"), n},
            {QStringLiteral("title"), QStringLiteral("item %1").arg(n)},
            {QStringLiteral("list"), QVariantList{n, 2.5, true, QStringLiteral("x")}}};
}
} // namespace

void tst_DataStore::changesComeBack_data()
{
    QTest::addColumn<QString>("changes");
    QTest::addColumn<QVariantMap>("expected");

    QTest::newRow("nothing") << "" << QVariantMap();
    QTest::newRow("one value") << "set a" << QVariantMap{{"a", item(1)}};
    QTest::newRow("nested, maps made on the way")
        << "nested" << QVariantMap{{"items", QVariantMap{{"app", QVariantMap{{"x", item(2)}}}}}};
    QTest::newRow("removed again") << "set a,remove a" << QVariantMap();
    QTest::newRow("a nested one removed")
        << "nested,nested2,remove nested"
        << QVariantMap{{"items", QVariantMap{{"app", QVariantMap{{"y", item(3)}}}}}};
    QTest::newRow("the whole replaced") << "set a,whole" << QVariantMap{{"w", 1}};
    QTest::newRow("save records what differs")
        << "set a,save" << QVariantMap{{"a", item(1)}, {"b", QStringLiteral("b")}};
}

void tst_DataStore::changesComeBack()
{
    QFETCH(QString, changes);
    QFETCH(QVariantMap, expected);
    QTemporaryDir dir;
    {
        DataStore store(dir.path(), Name);
        QCOMPARE(store.origin(), DataStore::Origin::Fresh);
        for (const QString &change : changes.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
            if (change == QLatin1String("set a"))
                QVERIFY(store.set({"a"}, item(1)));
            else if (change == QLatin1String("remove a"))
                QVERIFY(store.remove({"a"}));
            else if (change == QLatin1String("nested"))
                QVERIFY(store.set({"items", "app", "x"}, item(2)));
            else if (change == QLatin1String("nested2"))
                QVERIFY(store.set({"items", "app", "y"}, item(3)));
            else if (change == QLatin1String("remove nested"))
                QVERIFY(store.remove({"items", "app", "x"}));
            else if (change == QLatin1String("whole"))
                QVERIFY(store.set({}, QVariantMap{{"w", 1}}));
            else if (change == QLatin1String("save"))
                QVERIFY(store.save({{"a", item(1)}, {"b", QStringLiteral("b")}}));
        }
        QCOMPARE(store.load(), expected);
    }
    DataStore again(dir.path(), Name);
    QCOMPARE(again.load(), expected);
    QCOMPARE(again.origin(),
             changes.isEmpty() ? DataStore::Origin::Fresh : DataStore::Origin::Loaded);
}

void tst_DataStore::tornLastRecordKeepsTheWholeOnes_data()
{
    QTest::addColumn<int>("cutBytes"); // taken off the end of the journal
    QTest::addColumn<int>("kept");

    QTest::newRow("whole") << 0 << 5;
    QTest::newRow("its last byte") << 1 << 4;
    QTest::newRow("in its middle") << 20 << 4;
    QTest::newRow("all but its header") << 40 << 4;
    QTest::newRow("through its header") << 60 << 4;
}

void tst_DataStore::tornLastRecordKeepsTheWholeOnes()
{
    QFETCH(int, cutBytes);
    QFETCH(int, kept);
    QTemporaryDir dir;
    const QString padding(30, QLatin1Char('p')); // each record is longer than every cut
    {
        DataStore store(dir.path(), Name);
        for (int i = 1; i <= 5; ++i)
            QVERIFY(store.set({QString::number(i)}, padding));
    }
    cut(journalOf(dir), cutBytes);
    omtest::WarningCapture capture;
    {
        DataStore store(dir.path(), Name);
        QCOMPARE(store.load().size(), kept);
        QCOMPARE(store.origin(), DataStore::Origin::Loaded);
        // Nothing is lost from here on either.
        QVERIFY(store.set({QStringLiteral("after")}, true));
    }
    QCOMPARE(capture.warnings(), QStringList());
    QCOMPARE(setAside(dir), QStringList());
    DataStore store(dir.path(), Name);
    QCOMPARE(store.load().size(), kept + 1);
    QCOMPARE(store.load().value(QStringLiteral("after")), QVariant(true));
}

void tst_DataStore::killedRightAfterAChangeLosesNothing()
{
    QTemporaryDir dir;
    const int status = omtest::runInChild([&]() {
        DataStore store(dir.path(), Name);
        for (int i = 1; i <= 3; ++i) {
            if (!store.set({QStringLiteral("items"), QString::number(i)}, item(i)))
                return 1;
        }
        ::raise(SIGKILL);
        return 2;
    });
    QCOMPARE(status, -1); // it did not end on its own
    const QVariantMap items =
        DataStore(dir.path(), Name).load().value(QStringLiteral("items")).toMap();
    QCOMPARE(items, (QVariantMap{{"1", item(1)}, {"2", item(2)}, {"3", item(3)}}));
}

void tst_DataStore::compactionKeepsEverything()
{
    QTemporaryDir dir;
    QVariantMap expected;
    {
        DataStore store(dir.path(), Name);
        // Enough changes for several compactions on their own, each key
        // set once: a change that a snapshot missed is not written over.
        const QString text(400, QLatin1Char('t'));
        for (int i = 0; i < 3000; ++i) {
            QString key = QString::number(i);
            QVariantMap entry = item(i);
            entry.insert(QStringLiteral("text"), text);
            if (i % 5 == 4) {
                key = QString::number(i - 3);
                QVERIFY(store.remove({QStringLiteral("items"), QStringLiteral("a"), key}));
                expected.remove(key);
            } else {
                QVERIFY(store.set({QStringLiteral("items"), QStringLiteral("a"), key}, entry));
                expected.insert(key, entry);
            }
        }
        store.flush();
        QVERIFY(QFile::exists(store.fileName()));
    }
    // The journals that a snapshot holds are gone.
    QVERIFY(!QFile::exists(journalOf(dir)));
    QVERIFY(QDir(dir.path()).entryList({QStringLiteral("*.journal")}).size() <= 2);
    DataStore store(dir.path(), Name);
    QCOMPARE(store.load().value(QStringLiteral("items")).toMap().value(QStringLiteral("a")).toMap(),
             expected);
}

void tst_DataStore::compactionCutShortLosesNothing()
{
    // A device killed while a snapshot is written leaves a temporary file;
    // killed after the snapshot took its place, the journals it holds.
    QTemporaryDir dir;
    {
        DataStore store(dir.path(), Name);
        QVERIFY(store.set({"a"}, 1));
        QVERIFY(store.set({"b"}, 2));
    }
    const QByteArray journal = contentOf(journalOf(dir));
    {
        DataStore store(dir.path(), Name);
        QVERIFY(store.compact());
        QVERIFY(store.set({"c"}, 3));
    }
    write(journalOf(dir), journal);
    write(dir.filePath(QStringLiteral("module.state.tmp")), "omdevice-state 1 9\n12 ");
    DataStore store(dir.path(), Name);
    QCOMPARE(store.load(), (QVariantMap{{"a", 1}, {"b", 2}, {"c", 3}}));
    QVERIFY(!QFile::exists(journalOf(dir)));
    QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("module.state.tmp"))));
}

void tst_DataStore::unreadableFilesAreSetAside_data()
{
    QTest::addColumn<QString>("damage");
    QTest::addColumn<QString>("culprit");
    QTest::addColumn<QString>("reason");

    QTest::newRow("snapshot truncated") << "truncated"
                                        << "module.state"
                                        << "cut short after";
    QTest::newRow("snapshot not records") << "garbage"
                                          << "module.state"
                                          << "not a state file of the device";
    QTest::newRow("snapshot unreadable") << "directory"
                                         << "module.state"
                                         << "Is a directory";
    QTest::newRow("journal damaged before its end") << "journal"
                                                    << "module.2.journal"
                                                    << "damaged after 0 records";
    QTest::newRow("earlier format, not JSON") << "legacy"
                                              << "module.json"
                                              << "";
}

void tst_DataStore::unreadableFilesAreSetAside()
{
    QFETCH(QString, damage);
    QFETCH(QString, culprit);
    QFETCH(QString, reason);
    QTemporaryDir dir;
    const QString statePath = dir.filePath(QStringLiteral("module.state"));
    if (damage == QLatin1String("legacy")) {
        write(dir.filePath(culprit), "{\"lockState\": ");
    } else {
        DataStore store(dir.path(), Name);
        QVERIFY(store.set({"a"}, item(1)));
        QVERIFY(store.set({"b"}, item(2)));
        QVERIFY(store.compact());
        QVERIFY(store.set({"c"}, item(3)));
        QVERIFY(store.set({"d"}, item(4)));
    }
    if (damage == QLatin1String("truncated")) {
        cut(statePath, 30);
    } else if (damage == QLatin1String("garbage")) {
        write(statePath, "{\"a\": 1}\n");
    } else if (damage == QLatin1String("directory")) {
        QVERIFY(QFile::remove(statePath));
        QVERIFY(QDir().mkdir(statePath));
    } else if (damage == QLatin1String("journal")) {
        QByteArray content = contentOf(dir.filePath(culprit));
        content[content.indexOf('\n') + 20] = 'X';
        write(dir.filePath(culprit), content);
    }
    const QByteArray original = contentOf(dir.filePath(culprit));

    omtest::WarningCapture capture;
    {
        DataStore store(dir.path(), Name);
        QCOMPARE(store.load(), QVariantMap());
        QCOMPARE(store.origin(), DataStore::Origin::SetAside);
        // The first change starts anew and leaves what was set aside.
        QVERIFY(store.set({"new"}, 1));
    }
    const QStringList kept = setAside(dir);
    QVERIFY2(!kept.isEmpty(), qPrintable(QDir(dir.path()).entryList().join(' ')));
    const QString keptCulprit =
        kept.filter(QRegularExpression(QStringLiteral("^%1\\.unreadable-\\d{8}-\\d{6}$")
                                           .arg(QRegularExpression::escape(culprit))))
            .value(0);
    QVERIFY2(!keptCulprit.isEmpty(), qPrintable(kept.join(' ')));
    QCOMPARE(contentOf(dir.filePath(keptCulprit)), original);
    QCOMPARE(capture.warnings().size(), 1);
    const QString warning = capture.warnings().first();
    QVERIFY2(
        warning.startsWith(dir.filePath(culprit) + QLatin1String(" cannot be read (") + reason),
        qPrintable(warning));
    QVERIFY2(warning.contains(QLatin1String("kept as ") + dir.filePath(keptCulprit)),
             qPrintable(warning));
    QVERIFY(warning.endsWith(QLatin1String("module starts from its defaults")));

    capture.clear();
    DataStore again(dir.path(), Name);
    QCOMPARE(again.load(), (QVariantMap{{"new", 1}}));
    QCOMPARE(capture.warnings(), QStringList()); // reported once
    QCOMPARE(setAside(dir), kept);
}

void tst_DataStore::moduleSetsContentAside()
{
    QTemporaryDir dir;
    {
        DataStore store(dir.path(), Name);
        QVERIFY(store.set({"lockState"}, 42));
    }
    omtest::WarningCapture capture;
    DataStore store(dir.path(), Name);
    QCOMPARE(store.load(), (QVariantMap{{"lockState", 42}}));
    store.setAside(QStringLiteral("lockState is no lock state"));
    QCOMPARE(store.origin(), DataStore::Origin::SetAside);
    QCOMPARE(store.load(), QVariantMap());
    QCOMPARE(capture.warnings().size(), 1);
    QVERIFY(capture.warnings().first().startsWith(
        store.fileName() + QLatin1String(" cannot be read (lockState is no lock state)")));
    QCOMPARE(setAside(dir).size(), 1);
    QVERIFY(setAside(dir).first().startsWith(QLatin1String("module.1.journal.unreadable-")));
}

void tst_DataStore::earlierFormatIsTakenOver()
{
    // What an earlier version of the device kept: one JSON file.
    QTemporaryDir dir;
    write(dir.filePath(QStringLiteral("module.json")), "{\"n\": 7, \"m\": {\"k\": \"v\"}}\n");
    const QVariantMap expected{{"n", 7}, {"m", QVariantMap{{"k", "v"}}}};
    {
        DataStore store(dir.path(), Name);
        QCOMPARE(store.load(), expected);
        store.flush();
    }
    // Written in the new form at once; the old file is gone.
    QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("module.json"))));
    DataStore store(dir.path(), Name);
    QCOMPARE(store.load(), expected);
}

void tst_DataStore::filesAreTheUsersOwn()
{
    QTemporaryDir parent;
    const QString dir = parent.filePath(QStringLiteral("data"));
    QVERIFY(QDir().mkdir(dir));
    QVERIFY(::chmod(QFile::encodeName(dir).constData(), 0755) == 0);
    {
        DataStore store(dir, Name);
        QVERIFY(store.set({"a"}, 1));
        QVERIFY(store.compact());
        QVERIFY(store.set({"b"}, 2));
    }
    struct stat info
    {
    };
    QCOMPARE(::stat(QFile::encodeName(dir).constData(), &info), 0);
    QCOMPARE(info.st_mode & 07777, mode_t(0700));
    const QStringList files = QDir(dir).entryList(QDir::Files);
    QCOMPARE(files, (QStringList{"module.2.journal", "module.state"}));
    for (const QString &file : files) {
        QCOMPARE(::stat(QFile::encodeName(dir + QLatin1Char('/') + file).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777, mode_t(0600));
    }
}

QTEST_GUILESS_MAIN(tst_DataStore)
#include "tst_datastore.moc"
