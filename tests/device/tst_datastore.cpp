// A module's saved state: what load() finds after saves, after a save cut
// short by a crash, and after a crash right behind a save.

#include "childprocess.h"
#include "common/datastore.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using omdevice::DataStore;

class tst_DataStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newestWholeCopyWins_data();
    void newestWholeCopyWins();
    void killedRightAfterASaveLosesNothing();
};

namespace {
QVariantMap state(int n)
{
    return {{QStringLiteral("n"), n},
            {QStringLiteral("list"), QVariantList{n, QStringLiteral("x")}}};
}

void cutShort(const QString &path)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.resize(file.size() - 3));
}
} // namespace

void tst_DataStore::newestWholeCopyWins_data()
{
    QTest::addColumn<int>("saves");
    QTest::addColumn<QString>("damage"); // what a crash left
    QTest::addColumn<int>("loaded");     // the n found, 0 for nothing

    QTest::newRow("nothing saved") << 0 << "" << 0;
    QTest::newRow("one save") << 1 << "" << 1;
    QTest::newRow("many saves") << 5 << "" << 5;
    QTest::newRow("the newest cut short") << 5 << "newest" << 4;
    QTest::newRow("the only one cut short") << 1 << "newest" << 0;
    QTest::newRow("the older cut short") << 5 << "older" << 5;
    QTest::newRow("a file from before copies") << 0 << "legacy" << 7;
    QTest::newRow("a save after a file from before") << 1 << "legacy" << 1;
}

void tst_DataStore::newestWholeCopyWins()
{
    QFETCH(int, saves);
    QFETCH(QString, damage);
    QFETCH(int, loaded);
    QTemporaryDir dir;
    const QString first = dir.filePath(QStringLiteral("module.json"));
    const QString second = dir.filePath(QStringLiteral("module.2.json"));
    if (damage == QLatin1String("legacy")) {
        QFile file(first);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("{\"n\": 7}\n");
    }
    {
        DataStore store(dir.path(), QStringLiteral("module"));
        for (int i = 1; i <= saves; ++i)
            QVERIFY(store.save(state(i)));
    }
    // Saves go to the two files in turn.
    const bool newestIsFirst = damage == QLatin1String("legacy") ? saves % 2 == 0 : saves % 2 == 1;
    if (damage == QLatin1String("newest"))
        cutShort(newestIsFirst ? first : second);
    else if (damage == QLatin1String("older"))
        cutShort(newestIsFirst ? second : first);
    const QVariantMap found = DataStore(dir.path(), QStringLiteral("module")).load();
    QCOMPARE(found.value(QStringLiteral("n")).toInt(), loaded);
    if (loaded != 0 && damage != QLatin1String("legacy"))
        QCOMPARE(found, state(loaded));
}

void tst_DataStore::killedRightAfterASaveLosesNothing()
{
    QTemporaryDir dir;
    const int status = omtest::runInChild([&]() {
        DataStore store(dir.path(), QStringLiteral("module"));
        for (int i = 1; i <= 3; ++i) {
            if (!store.save(state(i)))
                return 1;
        }
        ::raise(SIGKILL);
        return 2;
    });
    QCOMPARE(status, -1); // it did not end on its own
    QCOMPARE(DataStore(dir.path(), QStringLiteral("module")).load(), state(3));
}

QTEST_GUILESS_MAIN(tst_DataStore)
#include "tst_datastore.moc"
