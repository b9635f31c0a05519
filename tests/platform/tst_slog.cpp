#include <sys/slog.h>

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

class tst_Slog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void appendsLines();
};

void tst_Slog::appendsLines()
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("log"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(file));
    QCOMPARE(slogf(7, SLOG_ERROR, "%s is %d", "size", 42), 0);
    QCOMPARE(slogf(-3, 99, "two\nlines\n"), 0);
    qunsetenv("OM_SLOG_FILE");
    QCOMPARE(slogf(1, SLOG_INFO, "only to syslog"), 0);

    QFile log(file);
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QString head = QStringLiteral("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} tst_slog\\[%1\\] ")
                             .arg(::getpid());
    const QRegularExpression expected(QLatin1Char('^') + head + QStringLiteral("7 2 size is 42\n")
                                      + head + QStringLiteral("-3 99 two lines \n$"));
    const QString written = QString::fromLatin1(log.readAll());
    QVERIFY2(expected.match(written).hasMatch(), qPrintable(written));
}

QTEST_GUILESS_MAIN(tst_Slog)
#include "tst_slog.moc"
