#include <sys/slog.h>

#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <functional>
#include <unistd.h>

namespace {
using LogCall = std::function<int()>;
}

Q_DECLARE_METATYPE(LogCall)

class tst_Slog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void line_data();
    void line();
    void appends();
    void withoutFile();
    void unwritableFile();
    void nullFormat();

private:
    QList<QByteArray> lines() const;

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_file;
};

void tst_Slog::init()
{
    m_dir.reset(new QTemporaryDir);
    m_file = m_dir->filePath(QStringLiteral("log"));
    qputenv("OM_SLOG_FILE", QFile::encodeName(m_file));
}

void tst_Slog::cleanup()
{
    qunsetenv("OM_SLOG_FILE");
    m_dir.reset();
}

QList<QByteArray> tst_Slog::lines() const
{
    QFile file(m_file);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QList<QByteArray> result = file.readAll().split('\n');
    if (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

void tst_Slog::line_data()
{
    QTest::addColumn<LogCall>("call");
    QTest::addColumn<QByteArray>("tail");

    QTest::newRow("plain text") << LogCall([] { return slogf(10000, SLOG_DEBUG1, "hello"); })
                                << QByteArray("10000 6 hello");
    QTest::newRow("formatted") << LogCall([] { return slogf(7, SLOG_ERROR, "%s is %d", "size", 42); })
                               << QByteArray("7 2 size is 42");
    QTest::newRow("newlines become blanks")
        << LogCall([] { return slogf(1, SLOG_INFO, "two\nlines\n"); }) << QByteArray("1 5 two lines ");
    QTest::newRow("long text") << LogCall([] {
        return slogf(1, SLOG_WARNING, "%s", QByteArray(3000, 'y').constData());
    }) << "1 3 " + QByteArray(3000, 'y');
    QTest::newRow("severity out of range")
        << LogCall([] { return slogf(-3, 99, "x"); }) << QByteArray("-3 99 x");
}

void tst_Slog::line()
{
    QFETCH(LogCall, call);
    QFETCH(QByteArray, tail);
    QCOMPARE(call(), 0);
    const QList<QByteArray> written = lines();
    QCOMPARE(written.size(), 1);
    const QRegularExpression head(QStringLiteral(
        "^\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3} tst_slog\\[%1\\] ").arg(::getpid()));
    const QString text = QString::fromLatin1(written.first());
    const QRegularExpressionMatch match = head.match(text);
    QVERIFY2(match.hasMatch(), qPrintable(text.left(80)));
    QCOMPARE(written.first().mid(match.capturedLength()), tail);
}

void tst_Slog::appends()
{
    QCOMPARE(slogf(1, SLOG_INFO, "first"), 0);
    QCOMPARE(slogf(2, SLOG_INFO, "second"), 0);
    const QList<QByteArray> written = lines();
    QCOMPARE(written.size(), 2);
    QVERIFY(written.at(0).endsWith(" 1 5 first"));
    QVERIFY(written.at(1).endsWith(" 2 5 second"));
}

void tst_Slog::withoutFile()
{
    qunsetenv("OM_SLOG_FILE");
    QCOMPARE(slogf(1, SLOG_INFO, "only to syslog"), 0);
    QVERIFY(!QFile::exists(m_file));
}

void tst_Slog::unwritableFile()
{
    qputenv("OM_SLOG_FILE", QFile::encodeName(m_dir->filePath(QStringLiteral("missing/log"))));
    errno = 0;
    QCOMPARE(slogf(1, SLOG_INFO, "lost"), -1);
    QCOMPARE(errno, ENOENT);
}

void tst_Slog::nullFormat()
{
    errno = 0;
    QCOMPARE(slogf(1, SLOG_INFO, nullptr), -1);
    QCOMPARE(errno, EINVAL);
    QVERIFY(!QFile::exists(m_file));
}

QTEST_GUILESS_MAIN(tst_Slog)
#include "tst_slog.moc"
