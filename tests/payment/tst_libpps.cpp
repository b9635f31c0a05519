// The PPS encoder and decoder of sys/pps.h: the text they share with
// om::PpsObject, read and written both ways, the walk with null names, and
// what they do with bad input.

#include "ppstree.h"

#include <om/ppsobject.h>
#include <sys/pps.h>

#include <QtTest/QTest>

#include <cmath>
#include <functional>
#include <malloc.h>
#include <memory>

using omtest::ppsSame;
using omtest::ppsTree;

Q_DECLARE_METATYPE(std::function<void(pps_encoder_t *)>)

namespace {

using Build = std::function<void(pps_encoder_t *)>;

// An encoder is 64 KiB; tests keep theirs off the stack.
std::unique_ptr<pps_encoder_t> newEncoder(bool json = false)
{
    std::unique_ptr<pps_encoder_t> e(new pps_encoder_t);
    pps_encoder_initialize(e.get(), json);
    return e;
}

QByteArray text(pps_encoder_t *e)
{
    return QByteArray(pps_encoder_buffer(e), pps_encoder_length(e));
}

} // namespace

class tst_LibPps : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encoderTextReadsBackAsPpsObject_data();
    void encoderTextReadsBackAsPpsObject();
    void encoderKeepsCallOrder();
    void encoderJsonForm();
    void encoderRefuses_data();
    void encoderRefuses();
    void encoderErrorsAreSticky();
    void encoderLimitIsOneMessage();

    void decoderReadsPpsObjectText_data();
    void decoderReadsPpsObjectText();
    void decoderWalkWithNullNames();
    void decoderNamedReadsDoNotMove();
    void decoderPushesIntoLists();
    void decoderNumbers_data();
    void decoderNumbers();
    void decoderTypeMismatch();
    void decoderRefusesBadText_data();
    void decoderRefusesBadText();
    void decoderDeepNesting();
    void decoderJsonForm();

    void nothingLeftBehindLeaks();
};

void tst_LibPps::encoderTextReadsBackAsPpsObject_data()
{
    QTest::addColumn<Build>("build");
    QTest::addColumn<QVariantMap>("expected");

    QTest::newRow("strings, bool, numbers") << Build([](pps_encoder_t *e) {
        pps_encoder_add_string(e, "msg", "getPriceType");
        pps_encoder_add_bool(e, "ok", true);
        pps_encoder_add_bool(e, "no", false);
        pps_encoder_add_int(e, "n", -42);
        pps_encoder_add_int64(e, "big", 9000000000LL);
        pps_encoder_add_double(e, "d", 2.5);
        pps_encoder_add_double(e, "whole", 3.0);
    }) << QVariantMap{{"msg", "getPriceType"}, {"ok", true}, {"no", false}, {"n", -42},
                      {"big", 9000000000LL},   {"d", 2.5},   {"whole", 3.0}};
    QTest::newRow("text with escapes and line breaks") << Build([](pps_encoder_t *e) {
        pps_encoder_add_string(e, "top", "a\nb\\c\td\x01");
        pps_encoder_start_object(e, "dat");
        pps_encoder_add_string(e, "in", "q\"u\no\\te\x1f");
        pps_encoder_end_object(e);
    }) << QVariantMap{{"top", "a\nb\\c\td\x01"}, {"dat", QVariantMap{{"in", "q\"u\no\\te\x1f"}}}};
    QTest::newRow("UTF-8 and empty text") << Build([](pps_encoder_t *e) {
        pps_encoder_add_string(e, "name", "caf\xc3\xa9 \xe2\x82\xac");
        pps_encoder_add_string(e, "empty", "");
    }) << QVariantMap{{"name", QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac")}, {"empty", ""}};
    QTest::newRow("nested objects and lists")
        << Build([](pps_encoder_t *e) {
               pps_encoder_start_object(e, "dat");
               pps_encoder_add_string(e, "uiGroupID", "wg");
               pps_encoder_start_array(e, "list");
               pps_encoder_add_int(e, nullptr, 1);
               pps_encoder_add_string(e, nullptr, "two");
               pps_encoder_start_object(e, nullptr);
               pps_encoder_add_bool(e, "three", true);
               pps_encoder_end_object(e);
               pps_encoder_start_array(e, nullptr);
               pps_encoder_end_array(e);
               pps_encoder_add_null(e, nullptr);
               pps_encoder_end_array(e);
               pps_encoder_start_object(e, "extras");
               pps_encoder_end_object(e);
               pps_encoder_end_object(e);
               pps_encoder_add_string(e, "after", "x");
           })
        << QVariantMap{
               {"dat", QVariantMap{{"uiGroupID", "wg"},
                                   {"list", QVariantList{1, "two", QVariantMap{{"three", true}},
                                                         QVariantList(), QVariant()}},
                                   {"extras", QVariantMap()}}},
               {"after", "x"}};
    QTest::newRow("a list at the top level") << Build([](pps_encoder_t *e) {
        pps_encoder_start_array(e, "ids");
        pps_encoder_add_string(e, nullptr, "a");
        pps_encoder_end_array(e);
    }) << QVariantMap{{"ids", QVariantList{"a"}}};
    QTest::newRow("not finite") << Build([](pps_encoder_t *e) {
        pps_encoder_add_double(e, "inf", HUGE_VAL);
        pps_encoder_start_array(e, "in");
        pps_encoder_add_double(e, nullptr, -HUGE_VAL);
        pps_encoder_end_array(e);
    }) << QVariantMap{{"inf", HUGE_VAL}, {"in", QVariantList{QVariant()}}};
    QTest::newRow("bytes that are not UTF-8 pass as they are")
        << Build([](pps_encoder_t *e) {
               pps_encoder_add_string(e, "latin1", "caf\xe9");
               pps_encoder_start_object(e, "dat");
               pps_encoder_add_string(e, "k", "\xe9t\xe9");
               pps_encoder_end_object(e);
           })
        << QVariantMap{{"latin1", QString::fromUtf8("caf\xe9")},
                       {"dat", QVariantMap{{"k", QString::fromUtf8("\xe9t\xe9")}}}};
    QTest::newRow("empty message") << Build([](pps_encoder_t *) {}) << QVariantMap();
}

void tst_LibPps::encoderTextReadsBackAsPpsObject()
{
    QFETCH(Build, build);
    QFETCH(QVariantMap, expected);
    auto e = newEncoder();
    build(e.get());
    QCOMPARE(pps_encoder_error(e.get()), PPS_ENCODER_OK);
    const QByteArray written = text(e.get());
    QCOMPARE(int(qstrlen(pps_encoder_buffer(e.get()))), written.size());

    bool ok = false;
    const QVariantMap decoded = om::PpsObject::decode(written, &ok);
    QVERIFY2(ok, written.constData());
    QVERIFY2(ppsSame(decoded, expected), written.constData());

    // And the decoder reads its own encoder's text to the same map.
    pps_decoder_t d;
    QByteArray copy = written;
    QCOMPARE(pps_decoder_initialize(&d, copy.data()), PPS_DECODER_OK);
    QVERIFY(ppsSame(ppsTree(&d, &ok), expected));
    QVERIFY(ok);
}

void tst_LibPps::encoderKeepsCallOrder()
{
    auto e = newEncoder();
    pps_encoder_add_string(e.get(), "id", "7");
    pps_encoder_add_string(e.get(), "msg", "checkExistingType");
    pps_encoder_start_object(e.get(), "dat");
    pps_encoder_add_string(e.get(), "digitalGoodID", "g");
    pps_encoder_add_string(e.get(), "digitalGoodSKU", "s");
    pps_encoder_add_string(e.get(), "uiGroupID", "w");
    pps_encoder_add_bool(e.get(), "canHandleInvocation", true);
    pps_encoder_end_object(e.get());
    QCOMPARE(
        text(e.get()),
        QByteArray("id::7\nmsg::checkExistingType\ndat:json:{\"digitalGoodID\":\"g\","
                   "\"digitalGoodSKU\":\"s\",\"uiGroupID\":\"w\",\"canHandleInvocation\":true}\n"));
}

void tst_LibPps::encoderJsonForm()
{
    auto e = newEncoder(true);
    pps_encoder_add_string(e.get(), "a", "x");
    pps_encoder_start_array(e.get(), "l");
    pps_encoder_add_int(e.get(), nullptr, 1);
    pps_encoder_end_array(e.get());
    QCOMPARE(text(e.get()), QByteArray("{\"a\":\"x\",\"l\":[1]}"));
    // Taking the text leaves the encoder open for more.
    pps_encoder_add_bool(e.get(), "b", false);
    QCOMPARE(text(e.get()), QByteArray("{\"a\":\"x\",\"l\":[1],\"b\":false}"));
}

void tst_LibPps::encoderRefuses_data()
{
    QTest::addColumn<Build>("build");
    QTest::addColumn<int>("error");

    const int badName = PPS_ENCODER_BAD_NAME;
    const int badNesting = PPS_ENCODER_BAD_NESTING;
    QTest::newRow("null name at the top")
        << Build([](pps_encoder_t *e) { pps_encoder_add_string(e, nullptr, "v"); }) << badName;
    QTest::newRow("empty name") << Build([](pps_encoder_t *e) {
        pps_encoder_add_bool(e, "", true);
    }) << badName;
    QTest::newRow("object line name")
        << Build([](pps_encoder_t *e) { pps_encoder_add_int(e, "@control", 1); }) << badName;
    QTest::newRow("removal name") << Build([](pps_encoder_t *e) {
        pps_encoder_add_int(e, "-x", 1);
    }) << badName;
    QTest::newRow("colon in name")
        << Build([](pps_encoder_t *e) { pps_encoder_start_object(e, "a:b"); }) << badName;
    QTest::newRow("line break in name")
        << Build([](pps_encoder_t *e) { pps_encoder_add_null(e, "a\nb"); }) << badName;
    QTest::newRow("null name in an object") << Build([](pps_encoder_t *e) {
        pps_encoder_start_object(e, "dat");
        pps_encoder_add_string(e, nullptr, "v");
    }) << badName;
    QTest::newRow("null value") << Build([](pps_encoder_t *e) {
        pps_encoder_add_string(e, "a", nullptr);
    }) << int(PPS_ENCODER_BAD_VALUE);
    QTest::newRow("end without start")
        << Build([](pps_encoder_t *e) { pps_encoder_end_object(e); }) << badNesting;
    QTest::newRow("object ended as list") << Build([](pps_encoder_t *e) {
        pps_encoder_start_object(e, "dat");
        pps_encoder_end_array(e);
    }) << badNesting;
    QTest::newRow("too deep") << Build([](pps_encoder_t *e) {
        pps_encoder_start_array(e, "l");
        for (int i = 1; i <= PPS_MAX_NESTING; ++i)
            pps_encoder_start_array(e, nullptr);
    }) << badNesting;
}

void tst_LibPps::encoderRefuses()
{
    QFETCH(Build, build);
    QFETCH(int, error);
    auto e = newEncoder();
    pps_encoder_add_string(e.get(), "before", "kept");
    build(e.get());
    QCOMPARE(int(pps_encoder_error(e.get())), error);
    // The failed element left no trace.
    const QByteArray written = text(e.get());
    QVERIFY2(written.startsWith("before::kept\n"), written.constData());
    QVERIFY(!written.contains("@control") && !written.contains("a:b") &&
            !written.contains("\"v\""));
}

void tst_LibPps::encoderErrorsAreSticky()
{
    auto e = newEncoder();
    QCOMPARE(pps_encoder_add_string(e.get(), "", "x"), PPS_ENCODER_BAD_NAME);
    QCOMPARE(pps_encoder_add_string(e.get(), "good", "x"), PPS_ENCODER_BAD_NAME);
    QCOMPARE(pps_encoder_end_object(e.get()), PPS_ENCODER_BAD_NAME);
    QCOMPARE(pps_encoder_length(e.get()), 0);
    QCOMPARE(pps_encoder_reset(e.get()), PPS_ENCODER_OK);
    QCOMPARE(pps_encoder_add_string(e.get(), "good", "x"), PPS_ENCODER_OK);
    QCOMPARE(text(e.get()), QByteArray("good::x\n"));
}

void tst_LibPps::encoderLimitIsOneMessage()
{
    auto e = newEncoder();
    const QByteArray chunk(1000, 'x');
    int added = 0;
    while (pps_encoder_add_string(e.get(), "a", chunk.constData()) == PPS_ENCODER_OK)
        ++added;
    QCOMPARE(pps_encoder_error(e.get()), PPS_ENCODER_NO_MEMORY);
    QCOMPARE(added, PPS_ENCODER_MAX_LENGTH / 1004);
    QCOMPARE(pps_encoder_length(e.get()), added * 1004);
    QVERIFY(text(e.get()).endsWith("xx\n"));
}

void tst_LibPps::decoderReadsPpsObjectText_data()
{
    QTest::addColumn<QVariantMap>("message");

    QTest::newRow("answer") << QVariantMap{
        {"@control",
         QVariantMap{{"msg", "getPriceType"},
                     {"id", "3"},
                     {"res", "getPriceSuccess"},
                     {"dat", QVariantMap{{"price", "$1.99"}, {"renewalPeriod", "30"}}}}}};
    QTest::newRow("top level and two objects") << QVariantMap{{"a", 1},
                                                              {"b", "x"},
                                                              {"@one", QVariantMap{{"c", true}}},
                                                              {"@two", QVariantMap{{"d", 2.5}}}};
    QTest::newRow("escapes") << QVariantMap{
        {"c", QString("line\nbreak\\and\ttab\x7f")},
        {"dat", QVariantMap{{"q", QString("\"quoted\"\n\x02")},
                            {"u", QString::fromUtf8("\xe2\x82\xac\xf0\x9f\x98\x80")}}}};
    QTest::newRow("numbers") << QVariantMap{
        {"i", 7},
        {"neg", -7},
        {"big", qlonglong(1) << 40},
        {"d", 0.1},
        {"e", 1e300},
        {"nan", std::nan("")},
        {"list", QVariantList{1, -2.5, -(qlonglong(1) << 50), 0}}};
    QTest::newRow("lists of receipts") << QVariantMap{
        {"dat", QVariantList{QVariantMap{{"date", "1700000000"}, {"itemState", "0"}},
                             QVariantMap{{"date", "1700000001000"},
                                         {"extras", QVariantMap{{"k", "v"}, {"n", 3}}}}}}};
    QTest::newRow("empty containers and null")
        << QVariantMap{{"m", QVariantMap()}, {"l", QVariantList()}, {"n", QVariant()}, {"s", ""}};
    QTest::newRow("keys that JSON must escape")
        << QVariantMap{{"dat", QVariantMap{{"a\"b", 1}, {"c\\d", 2}, {"e\nf", 3}, {"", 4}}}};
}

void tst_LibPps::decoderReadsPpsObjectText()
{
    QFETCH(QVariantMap, message);
    bool ok = false;
    QByteArray written = om::PpsObject::encode(message, &ok);
    QVERIFY(ok);
    pps_decoder_t d;
    pps_decoder_initialize(&d, nullptr);
    QCOMPARE(pps_decoder_parse_pps_str(&d, written.data()), PPS_DECODER_OK);
    const QVariantMap read = ppsTree(&d, &ok);
    QVERIFY(ok);
    QVERIFY(ppsSame(read, message));
}

void tst_LibPps::decoderWalkWithNullNames()
{
    QByteArray text("@control\nid::12\nmsg::m\nres::r\ndat:json:{\"x\":\"1\",\"y\":2}\n");
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_length(&d), 1);
    QCOMPARE(pps_decoder_name(&d), "@control");
    QCOMPARE(pps_decoder_push(&d, "@control"), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_length(&d), 4);

    const char *value = nullptr;
    QCOMPARE(pps_decoder_name(&d), "id");
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_STRING);
    QCOMPARE(int(pps_decoder_type(&d, nullptr)), 3);
    QCOMPARE(pps_decoder_get_string(&d, nullptr, &value), PPS_DECODER_OK);
    QCOMPARE(value, "12");
    QCOMPARE(pps_decoder_name(&d), "msg");
    QCOMPARE(pps_decoder_next(&d), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_next(&d), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_OBJECT);
    QCOMPARE(pps_decoder_push(&d, nullptr), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_get_string(&d, nullptr, &value), PPS_DECODER_OK);
    QCOMPARE(value, "1");
    int n = 0;
    QCOMPARE(pps_decoder_get_int(&d, nullptr, &n), PPS_DECODER_OK);
    QCOMPARE(n, 2);
    // Past the end: nothing more, and nothing moves.
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_NONE);
    QCOMPARE(pps_decoder_name(&d), static_cast<const char *>(nullptr));
    QCOMPARE(pps_decoder_get_string(&d, nullptr, &value), PPS_DECODER_BAD_NAME);
    QCOMPARE(pps_decoder_next(&d), PPS_DECODER_BAD_NAME);
    QCOMPARE(pps_decoder_pop(&d), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_NONE); // "dat" was the last
    QCOMPARE(pps_decoder_pop(&d), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_pop(&d), PPS_DECODER_BAD_NESTING);
}

void tst_LibPps::decoderNamedReadsDoNotMove()
{
    QByteArray text("a::1\nb:n:2\nc:b:true\ndat:json:{\"k\":\"v\"}\n");
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_OK);
    int b = 0;
    bool c = false;
    const char *k = nullptr;
    QCOMPARE(pps_decoder_get_int(&d, "b", &b), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_get_bool(&d, "c", &c), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_push(&d, "dat"), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_get_string(&d, "k", &k), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_get_string(&d, "missing", &k), PPS_DECODER_BAD_NAME);
    QCOMPARE(pps_decoder_type(&d, "missing"), PPS_TYPE_NONE);
    QCOMPARE(pps_decoder_pop(&d), PPS_DECODER_OK);
    QCOMPARE(b, 2);
    QVERIFY(c);
    QCOMPARE(k, "v");
    // The pop stepped past "dat", the last element; by name all is still there.
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_NONE);
    QCOMPARE(pps_decoder_get_string(&d, "a", &k), PPS_DECODER_OK);
    QCOMPARE(k, "1");
}

void tst_LibPps::decoderPushesIntoLists()
{
    QByteArray text("dat:json:[{\"date\":\"1\"},\"skip\",{\"date\":\"3\"},[[\"deep\"]]]\n");
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_push(&d, "dat"), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_length(&d), 4);
    QStringList dates;
    for (int i = 0; i < 3; ++i) {
        if (pps_decoder_push(&d, nullptr) != PPS_DECODER_OK) {
            QCOMPARE(pps_decoder_next(&d), PPS_DECODER_OK);
            continue;
        }
        const char *date = nullptr;
        QCOMPARE(pps_decoder_get_string(&d, "date", &date), PPS_DECODER_OK);
        dates.append(QString::fromUtf8(date));
        QCOMPARE(pps_decoder_pop(&d), PPS_DECODER_OK);
    }
    QCOMPARE(dates, QStringList({"1", "3"}));
    QCOMPARE(pps_decoder_push(&d, nullptr), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_push(&d, nullptr), PPS_DECODER_OK);
    const char *deep = nullptr;
    QCOMPARE(pps_decoder_get_string(&d, nullptr, &deep), PPS_DECODER_OK);
    QCOMPARE(deep, "deep");
}

void tst_LibPps::decoderNumbers_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("intResult");
    QTest::addColumn<int>("intValue");
    QTest::addColumn<double>("doubleValue");

    const int ok = PPS_DECODER_OK;
    const int badType = PPS_DECODER_BAD_TYPE;
    QTest::newRow("line integer") << QByteArray("v:n:42") << ok << 42 << 42.0;
    QTest::newRow("line negative") << QByteArray("v:n:-7") << ok << -7 << -7.0;
    QTest::newRow("line plus") << QByteArray("v:n:+7") << ok << 7 << 7.0;
    QTest::newRow("whole double") << QByteArray("v:n:3.0") << ok << 3 << 3.0;
    QTest::newRow("fraction") << QByteArray("v:n:2.5") << badType << 0 << 2.5;
    QTest::newRow("exponent") << QByteArray("v:json:1e2") << ok << 100 << 100.0;
    QTest::newRow("beyond int") << QByteArray("v:n:4294967296") << badType << 0 << 4294967296.0;
    QTest::newRow("int min") << QByteArray("v:n:-2147483648") << ok << INT_MIN << -2147483648.0;
    QTest::newRow("infinity") << QByteArray("v:n:inf") << badType << 0 << double(HUGE_VAL);
    QTest::newRow("json member") << QByteArray("dat:json:{\"v\":-12}") << ok << -12 << -12.0;
}

void tst_LibPps::decoderNumbers()
{
    QFETCH(QByteArray, text);
    QFETCH(int, intResult);
    QFETCH(int, intValue);
    QFETCH(double, doubleValue);
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_OK);
    if (pps_decoder_type(&d, "dat") == PPS_TYPE_OBJECT)
        QCOMPARE(pps_decoder_push(&d, "dat"), PPS_DECODER_OK);
    QCOMPARE(pps_decoder_type(&d, "v"), PPS_TYPE_NUMBER);
    int i = 0;
    QCOMPARE(int(pps_decoder_get_int(&d, "v", &i)), intResult);
    if (intResult == PPS_DECODER_OK)
        QCOMPARE(i, intValue);
    double x = 0;
    QCOMPARE(pps_decoder_get_double(&d, "v", &x), PPS_DECODER_OK);
    QCOMPARE(x, doubleValue);
}

void tst_LibPps::decoderTypeMismatch()
{
    QByteArray text("s::text\nb:b:false\nn:n:1\no:json:{}\nz:json:null\n");
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_OK);
    const char *s = nullptr;
    bool b = true;
    int n = 0;
    QCOMPARE(pps_decoder_get_string(&d, "n", &s), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_get_string(&d, "b", &s), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_get_int(&d, "s", &n), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_get_bool(&d, "z", &b), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_push(&d, "s"), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_get_null(&d, "z"), PPS_DECODER_OK);
    // A failed read with a null name stays where it is.
    QCOMPARE(pps_decoder_get_int(&d, nullptr, &n), PPS_DECODER_BAD_TYPE);
    QCOMPARE(pps_decoder_name(&d), "s");
    QCOMPARE(pps_decoder_get_string(&d, nullptr, nullptr), PPS_DECODER_BAD_ARGUMENT);
    QCOMPARE(pps_decoder_get_bool(&d, "b", &b), PPS_DECODER_OK);
    QVERIFY(!b);
}

void tst_LibPps::decoderRefusesBadText_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("no colon") << QByteArray("justtext\n");
    QTest::newRow("one colon") << QByteArray("a:b\n");
    QTest::newRow("empty name") << QByteArray(":b:true\n");
    QTest::newRow("unknown encoding") << QByteArray("a:x:1\n");
    QTest::newRow("bad bool") << QByteArray("a:b:yes\n");
    QTest::newRow("bad number") << QByteArray("a:n:12abc\n");
    QTest::newRow("empty number") << QByteArray("a:n:\n");
    QTest::newRow("bad escape") << QByteArray("a:c:\\q\n");
    QTest::newRow("trailing backslash") << QByteArray("a:c:x\\\n");
    QTest::newRow("lone @") << QByteArray("@\n");
    QTest::newRow("lone -") << QByteArray("-\n");
    QTest::newRow("open json") << QByteArray("a:json:{\"x\":1\n");
    QTest::newRow("json trailing comma") << QByteArray("a:json:[1,]\n");
    QTest::newRow("json junk after") << QByteArray("a:json:{} x\n");
    QTest::newRow("json control in string") << QByteArray("a:json:\"a\x01\"\n");
    QTest::newRow("json bad escape") << QByteArray("a:json:\"\\x\"\n");
    QTest::newRow("json bad surrogate") << QByteArray("a:json:\"\\ud800\\u0041\"\n");
    QTest::newRow("json short unicode") << QByteArray("a:json:\"\\u12\"\n");
    QTest::newRow("json bare word") << QByteArray("a:json:nope\n");
    QTest::newRow("json number") << QByteArray("a:json:-\n");
}

void tst_LibPps::decoderRefusesBadText()
{
    QFETCH(QByteArray, text);
    bool ok = true;
    om::PpsObject::decode(text, &ok);
    QVERIFY(!ok); // the two readers agree that it is no message
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, text.data()), PPS_DECODER_PARSE_ERROR);
    const char *s = nullptr;
    QCOMPARE(pps_decoder_get_string(&d, "a", &s), PPS_DECODER_BAD_ARGUMENT);
    QCOMPARE(pps_decoder_push(&d, nullptr), PPS_DECODER_BAD_ARGUMENT);
    QCOMPARE(pps_decoder_length(&d), -1);
    QCOMPARE(pps_decoder_type(&d, nullptr), PPS_TYPE_NONE);
}

void tst_LibPps::decoderDeepNesting()
{
    // The deepest nesting om::PpsObject writes reads back; one more is refused.
    QVariant value = QStringLiteral("bottom");
    for (int i = 0; i < PPS_MAX_NESTING; ++i)
        value = QVariantList{value};
    const QVariantMap message{{"deep", value}};
    bool ok = false;
    QByteArray written = om::PpsObject::encode(message, &ok);
    QVERIFY(ok);
    QByteArray deeper = "a:json:[" + written.mid(int(qstrlen("deep:json:"))).trimmed() + "]\n";
    pps_decoder_t d;
    QCOMPARE(pps_decoder_initialize(&d, written.data()), PPS_DECODER_OK);
    QVERIFY(ppsSame(ppsTree(&d, &ok), message));
    QVERIFY(ok);
    QCOMPARE(pps_decoder_initialize(&d, deeper.data()), PPS_DECODER_PARSE_ERROR);
}

void tst_LibPps::decoderJsonForm()
{
    QByteArray text(" {\"a\":\"x\",\"l\":[1,{\"b\":true}]} ");
    pps_decoder_t d;
    pps_decoder_initialize(&d, nullptr);
    QCOMPARE(pps_decoder_parse_json_str(&d, text.data()), PPS_DECODER_OK);
    bool ok = false;
    QVERIFY(ppsSame(ppsTree(&d, &ok),
                    QVariantMap{{"a", "x"}, {"l", QVariantList{1, QVariantMap{{"b", true}}}}}));
    QVERIFY(ok);
    QByteArray list("[1]");
    QCOMPARE(pps_decoder_parse_json_str(&d, list.data()), PPS_DECODER_PARSE_ERROR);
}

void tst_LibPps::nothingLeftBehindLeaks()
{
    // Encoders and decoders that are never cleaned up: the heap does not grow.
    QByteArray answer = om::PpsObject::encode(
        {{"@control",
          QVariantMap{{"res", "getExistingPurchasesSuccess"},
                      {"dat", QVariantList{QVariantMap{{"date", "1"},
                                                       {"extras", QVariantMap{{"k", "v"}}}}}}}}});
    auto e = newEncoder();
    auto use = [&]() {
        pps_encoder_initialize(e.get(), false);
        pps_encoder_start_object(e.get(), "dat");
        pps_encoder_add_string(e.get(), "k", "v");
        pps_encoder_end_object(e.get());
        QByteArray copy(answer.constData(), answer.size());
        pps_decoder_t d;
        pps_decoder_initialize(&d, nullptr);
        pps_decoder_parse_pps_str(&d, copy.data());
        const char *s = nullptr;
        pps_decoder_push(&d, "@control");
        pps_decoder_get_string(&d, "res", &s);
        pps_decoder_push(&d, "dat");
        pps_decoder_push(&d, nullptr);
        pps_decoder_get_string(&d, "date", &s);
    };
    use();
    const size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i)
        use();
    QCOMPARE(mallinfo2().uordblks, before);
}

QTEST_GUILESS_MAIN(tst_LibPps)
#include "tst_libpps.moc"
