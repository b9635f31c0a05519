// The PPS text codec behind PpsObject::encode and decode.

#include <om/ppsobject.h>

#include <QtTest>

#include <cmath>
#include <random>

using om::PpsObject;

class tst_PpsCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip_data();
    void roundTrip();
    void decodeText_data();
    void decodeText();
    void encodeText_data();
    void encodeText();
    void refused_data();
    void refused();
    void encodeRefused_data();
    void encodeRefused();
    void nestingLimit();
    void arbitraryBytes();
};

static QVariantMap nested()
{
    QVariantMap inner;
    inner.insert(QStringLiteral("label"), QStringLiteral("OK"));
    inner.insert(QStringLiteral("count"), 3);
    inner.insert(QStringLiteral("ratio"), 0.25);
    inner.insert(QStringLiteral("flag"), false);
    inner.insert(QStringLiteral("nothing"), QVariant());
    inner.insert(QStringLiteral("list"),
                 QVariantList{1, QStringLiteral("two"), QVariantList{true, 4.5},
                              QVariantMap{{QStringLiteral("k"), QStringLiteral("v")}}});
    return inner;
}

void tst_PpsCodec::roundTrip_data()
{
    QTest::addColumn<QVariantMap>("map");

    QTest::newRow("empty") << QVariantMap();
    QTest::newRow("scalars") << QVariantMap{{QStringLiteral("s"), QStringLiteral("text")},
                                            {QStringLiteral("i"), 42},
                                            {QStringLiteral("neg"), -7},
                                            {QStringLiteral("big"), qlonglong(1) << 40},
                                            {QStringLiteral("d"), 3.0},
                                            {QStringLiteral("tiny"), 1e-300},
                                            {QStringLiteral("t"), true},
                                            {QStringLiteral("f"), false}};
    QTest::newRow("empty and colon strings")
        << QVariantMap{{QStringLiteral("e"), QString()}, {QStringLiteral("c"), QStringLiteral("a:b::c")}};
    QTest::newRow("newlines and backslashes")
        << QVariantMap{{QStringLiteral("n"), QStringLiteral("line one\nline two\n")},
                       {QStringLiteral("b"), QStringLiteral("C:\\path\\to")},
                       {QStringLiteral("ctl"), QStringLiteral("tab\there\r\x01")},
                       {QStringLiteral("nul"), QString::fromLatin1("a\0b", 3)}};
    QTest::newRow("non-ASCII") << QVariantMap{
        {QStringLiteral("de"), QStringLiteral("Grüße aus Köln")},
        {QStringLiteral("ja"), QStringLiteral("通知")},
        {QStringLiteral("emoji"), QString::fromUtf8("\xf0\x9f\x94\x94 bell")},
        {QStringLiteral("ключ"), QStringLiteral("значение")}};
    QTest::newRow("nested maps and lists") << QVariantMap{{QStringLiteral("dat"), nested()},
                                                          {QStringLiteral("list"), QVariantList()},
                                                          {QStringLiteral("map"), QVariantMap()}};
    QTest::newRow("nested text needing escapes") << QVariantMap{
        {QStringLiteral("dat"), QVariantMap{{QStringLiteral("q"), QStringLiteral("say \"hi\"\n\\ \t")},
                                            {QStringLiteral("nul"), QString::fromLatin1("x\0y", 3)},
                                            {QStringLiteral("u"), QStringLiteral("ünï \x7f")}}}};
    QTest::newRow("objects") << QVariantMap{
        {QStringLiteral("top"), QStringLiteral("level")},
        {QStringLiteral("@control"), QVariantMap{{QStringLiteral("msg"), QStringLiteral("notify")},
                                                 {QStringLiteral("dat"), nested()}}},
        {QStringLiteral("@state"), QVariantMap{{QStringLiteral("state"), 5}}}};
}

void tst_PpsCodec::roundTrip()
{
    QFETCH(QVariantMap, map);
    bool ok = false;
    const QByteArray text = PpsObject::encode(map, &ok);
    QVERIFY(ok);
    const QVariantMap back = PpsObject::decode(text, &ok);
    QVERIFY2(ok, text.constData());
    QCOMPARE(back, map);
    // Types survive too, not only values.
    for (auto it = map.cbegin(); it != map.cend(); ++it)
        QCOMPARE(back.value(it.key()).userType(), it.value().userType());
}

void tst_PpsCodec::decodeText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QVariantMap>("expected");

    QTest::newRow("object") << QByteArray("@control\nmsg::notify\nid::7\n")
                            << QVariantMap{{QStringLiteral("@control"),
                                            QVariantMap{{QStringLiteral("msg"), QStringLiteral("notify")},
                                                        {QStringLiteral("id"), QStringLiteral("7")}}}};
    QTest::newRow("top level") << QByteArray("a::1\nb:n:2\nc:b:true")
                               << QVariantMap{{QStringLiteral("a"), QStringLiteral("1")},
                                              {QStringLiteral("b"), 2},
                                              {QStringLiteral("c"), true}};
    QTest::newRow("value with colons") << QByteArray("url::file:///a:b")
                                       << QVariantMap{{QStringLiteral("url"), QStringLiteral("file:///a:b")}};
    QTest::newRow("empty object") << QByteArray("@empty\n")
                                  << QVariantMap{{QStringLiteral("@empty"), QVariantMap()}};
    QTest::newRow("client notices") << QByteArray("+@control.12\n")
                                    << QVariantMap{{QStringLiteral("+@control.12"), QVariantMap()}};
    QTest::newRow("removal lines carry no data") << QByteArray("@s\na::1\n-b\n")
                                                 << QVariantMap{{QStringLiteral("@s"),
                                                                 QVariantMap{{QStringLiteral("a"), QStringLiteral("1")}}}};
    QTest::newRow("c escapes") << QByteArray("s:c:a\\nb\\\\c\\x41\\101\\t")
                               << QVariantMap{{QStringLiteral("s"), QStringLiteral("a\nb\\cAA\t")}};
    QTest::newRow("numbers") << QByteArray("i:n:-12\nd:n:1.5\ne:n:1e-05\nl:n:12345678901\n")
                             << QVariantMap{{QStringLiteral("i"), -12},
                                            {QStringLiteral("d"), 1.5},
                                            {QStringLiteral("e"), 1e-05},
                                            {QStringLiteral("l"), qlonglong(12345678901)}};
    QTest::newRow("json with spaces and unicode escapes")
        << QByteArray("j:json: { \"a\" : [ 1 , \"\\u00fc\\ud83d\\udd14\" ] } ")
        << QVariantMap{{QStringLiteral("j"),
                        QVariantMap{{QStringLiteral("a"),
                                     QVariantList{1, QString::fromUtf8("\xc3\xbc\xf0\x9f\x94\x94")}}}}};
    QTest::newRow("repeated attribute: last wins") << QByteArray("a::1\na::2\n")
                                                   << QVariantMap{{QStringLiteral("a"), QStringLiteral("2")}};
    QTest::newRow("repeated object merges") << QByteArray("@o\na::1\n@o\nb::2\n")
                                            << QVariantMap{{QStringLiteral("@o"),
                                                            QVariantMap{{QStringLiteral("a"), QStringLiteral("1")},
                                                                        {QStringLiteral("b"), QStringLiteral("2")}}}};
}

void tst_PpsCodec::decodeText()
{
    QFETCH(QByteArray, text);
    QFETCH(QVariantMap, expected);
    bool ok = false;
    QCOMPARE(PpsObject::decode(text, &ok), expected);
    QVERIFY(ok);
}

void tst_PpsCodec::encodeText_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::addColumn<QByteArray>("text");

    QTest::newRow("kinds") << QVariantMap{{QStringLiteral("s"), QStringLiteral("x")},
                                          {QStringLiteral("n"), 3},
                                          {QStringLiteral("b"), true}}
                           << QByteArray("b:b:true\nn:n:3\ns::x\n");
    QTest::newRow("escaped string") << QVariantMap{{QStringLiteral("s"), QStringLiteral("a\nb\\")}}
                                    << QByteArray("s:c:a\\nb\\\\\n");
    QTest::newRow("nested") << QVariantMap{{QStringLiteral("dat"),
                                            QVariantMap{{QStringLiteral("itemId"), QStringLiteral("1")},
                                                        {QStringLiteral("n"), 2.5}}}}
                            << QByteArray("dat:json:{\"itemId\":\"1\",\"n\":2.5}\n");
    QTest::newRow("attributes before objects")
        << QVariantMap{{QStringLiteral("@a"), QVariantMap{{QStringLiteral("x"), QStringLiteral("1")}}},
                       {QStringLiteral("z"), QStringLiteral("2")}}
        << QByteArray("z::2\n@a\nx::1\n");
    QTest::newRow("bytes go out as text") << QVariantMap{{QStringLiteral("data"), QByteArray("\xc3\xa9t\xc3\xa9")}}
                                          << QByteArray("data::\xc3\xa9t\xc3\xa9\n");
}

void tst_PpsCodec::encodeText()
{
    QFETCH(QVariantMap, map);
    QFETCH(QByteArray, text);
    bool ok = false;
    QCOMPARE(PpsObject::encode(map, &ok), text);
    QVERIFY(ok);
}

void tst_PpsCodec::refused_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("no colon") << QByteArray("justtext\n");
    QTest::newRow("one colon") << QByteArray("a:b\n");
    QTest::newRow("empty name") << QByteArray(":x:y\n");
    QTest::newRow("unknown encoding") << QByteArray("a:zz:1\n");
    QTest::newRow("bad number") << QByteArray("a:n:abc\n");
    QTest::newRow("number with trailing text") << QByteArray("a:n:12x\n");
    QTest::newRow("bad boolean") << QByteArray("a:b:yes\n");
    QTest::newRow("truncated json") << QByteArray("a:json:{\"k\":[1,2\n");
    QTest::newRow("json with trailing text") << QByteArray("a:json:{} x\n");
    QTest::newRow("json control character") << QByteArray("a:json:\"a\x01\"\n");
    QTest::newRow("bad json escape") << QByteArray("a:json:\"\\q\"\n");
    QTest::newRow("bad c escape") << QByteArray("a:c:\\q\n");
    QTest::newRow("dangling c escape") << QByteArray("a:c:abc\\\n");
    QTest::newRow("bare @") << QByteArray("@\n");
    QTest::newRow("bare removal") << QByteArray("-\n");
}

void tst_PpsCodec::refused()
{
    QFETCH(QByteArray, text);
    bool ok = true;
    const QVariantMap map = PpsObject::decode(text, &ok);
    QVERIFY(!ok);
    QVERIFY(map.isEmpty());
}

void tst_PpsCodec::encodeRefused_data()
{
    QTest::addColumn<QVariantMap>("map");
    QTest::newRow("name with colon") << QVariantMap{{QStringLiteral("a:b"), 1}};
    QTest::newRow("name with newline") << QVariantMap{{QStringLiteral("a\nb"), 1}};
    QTest::newRow("empty name") << QVariantMap{{QString(), 1}};
    QTest::newRow("name starting with minus") << QVariantMap{{QStringLiteral("-a"), 1}};
    QTest::newRow("object inside object")
        << QVariantMap{{QStringLiteral("@a"), QVariantMap{{QStringLiteral("@b"), QVariantMap()}}}};
    QTest::newRow("value without text form")
        << QVariantMap{{QStringLiteral("p"), QVariant::fromValue(static_cast<QObject *>(nullptr))}};
}

void tst_PpsCodec::encodeRefused()
{
    QFETCH(QVariantMap, map);
    bool ok = true;
    QVERIFY(PpsObject::encode(map, &ok).isEmpty());
    QVERIFY(!ok);
}

void tst_PpsCodec::nestingLimit()
{
    QVariant value = QStringLiteral("leaf");
    for (int i = 0; i < 64; ++i)
        value = QVariantList{value};
    bool ok = false;
    const QByteArray fits = PpsObject::encode({{QStringLiteral("deep"), value}}, &ok);
    QVERIFY(ok);
    QCOMPARE(PpsObject::decode(fits, &ok).value(QStringLiteral("deep")), value);
    QVERIFY(ok);

    // Deeper than the limit is refused both ways, and hostile text of
    // great depth is refused without exhausting the stack.
    PpsObject::encode({{QStringLiteral("deep"), QVariantList{value}}}, &ok);
    QVERIFY(!ok);
    const QByteArray hostile = "a:json:" + QByteArray(100000, '[') + QByteArray(100000, ']');
    PpsObject::decode(hostile, &ok);
    QVERIFY(!ok);
}

void tst_PpsCodec::arbitraryBytes()
{
    // The decoder gives a map or refuses; it never crashes or hangs.
    std::mt19937 random(20261121);
    const QByteArray alphabet("@+-:nbcjso{}[]\",\\\n \x01\xc3\xbc" "0123456789.e");
    const QByteArray seed = PpsObject::encode({{QStringLiteral("@control"),
                                                QVariantMap{{QStringLiteral("dat"), nested()}}}});
    for (int round = 0; round < 3000; ++round) {
        QByteArray text = seed;
        const int edits = 1 + int(random() % 8);
        for (int e = 0; e < edits; ++e) {
            const int at = int(random() % uint(text.size()));
            switch (random() % 3) {
            case 0: text[at] = alphabet.at(int(random() % uint(alphabet.size()))); break;
            case 1: text.remove(at, 1 + int(random() % 5)); break;
            default: text.insert(at, char(random() % 256)); break;
            }
        }
        bool ok = false;
        const QVariantMap map = PpsObject::decode(text, &ok);
        if (!ok)
            QVERIFY(map.isEmpty());
    }
}

QTEST_GUILESS_MAIN(tst_PpsCodec)
#include "tst_ppscodec.moc"
