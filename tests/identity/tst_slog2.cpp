// slog2: what a registered buffer writes, and what the verbosity drops.

#include <sys/slog2.h>

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <unistd.h>

class tst_Slog2 : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesWithTheBufferName();
    void refusesBadConfigurations_data();
    void refusesBadConfigurations();
};

void tst_Slog2::writesWithTheBufferName()
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("log"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(file));

    slog2_buffer_set_config_t config = {};
    config.num_buffers = 2;
    config.buffer_set_name = "Set";
    config.verbosity_level = SLOG2_INFO;
    config.buffer_config[0] = {"First", 7};
    config.buffer_config[1] = {"Second", 1};
    slog2_buffer_t buffers[2] = {nullptr, nullptr};
    QCOMPARE(slog2_register(&config, buffers, 0), 0);
    QVERIFY(buffers[0] && buffers[1] && buffers[0] != buffers[1]);

    QCOMPARE(slog2c(buffers[0], 0, SLOG2_INFO, "at the level"), 0);
    QCOMPARE(slog2c(buffers[1], 42, SLOG2_ERROR, "two\nlines"), 0);
    QCOMPARE(slog2c(buffers[0], 0, SLOG2_DEBUG1, "above the level"), 0);
    QCOMPARE(slog2c(nullptr, 0, SLOG2_INFO, "x"), -1);
    QCOMPARE(errno, EINVAL);
    QCOMPARE(slog2c(buffers[0], 0, SLOG2_INFO, nullptr), -1);
    qunsetenv("OM_SLOG_FILE");

    QFile log(file);
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QString head =
        QStringLiteral("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} tst_slog2\\[%1\\] ")
            .arg(::getpid());
    const QRegularExpression expected(QLatin1Char('^') + head +
                                      QStringLiteral("First 0 5 at the level\n") + head +
                                      QStringLiteral("Second 42 2 two lines\n$"));
    const QString written = QString::fromLatin1(log.readAll());
    QVERIFY2(expected.match(written).hasMatch(), qPrintable(written));
}

void tst_Slog2::refusesBadConfigurations_data()
{
    QTest::addColumn<int>("buffers");
    QTest::addColumn<bool>("named");
    QTest::addColumn<int>("pages");
    QTest::addColumn<uint>("flags");

    QTest::newRow("no buffer") << 0 << true << 1 << 0u;
    QTest::newRow("too many buffers") << SLOG2_MAX_BUFFERS + 1 << true << 1 << 0u;
    QTest::newRow("no name") << 1 << false << 1 << 0u;
    QTest::newRow("no pages") << 1 << true << 0 << 0u;
    QTest::newRow("flags") << 1 << true << 1 << 1u;
}

void tst_Slog2::refusesBadConfigurations()
{
    QFETCH(int, buffers);
    QFETCH(bool, named);
    QFETCH(int, pages);
    QFETCH(uint, flags);

    slog2_buffer_set_config_t config = {};
    config.num_buffers = buffers;
    config.buffer_set_name = "Set";
    config.verbosity_level = SLOG2_INFO;
    for (auto &buffer : config.buffer_config)
        buffer = {named ? "B" : nullptr, pages};
    slog2_buffer_t handles[SLOG2_MAX_BUFFERS + 1] = {};
    QCOMPARE(slog2_register(&config, handles, flags), -1);
    QCOMPARE(errno, EINVAL);
    QVERIFY(!handles[0]);
}

QTEST_GUILESS_MAIN(tst_Slog2)
#include "tst_slog2.moc"
