#include "LibraryCodec.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>

#include <limits>
#include "TestRegistry.h"

namespace {

const QDateTime kNow(QDate(2026, 11, 16), QTime(19, 31, 5), Qt::UTC);
const QString kId = QStringLiteral("6F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F");
const QString kWin = QStringLiteral("11111111-2222-4333-8444-555555555555");

QByteArray tabJson(const QByteArray &fields)
{
    return "{\"tabs\":[{\"id\":\"" + kId.toLatin1() + "\",\"url\":\"https://a.ch/x\"" + fields
           + "}]}";
}

SavedTab fullTab()
{
    SavedTab t;
    t.id = QUuid::fromString(kId);
    t.url = QStringLiteral("https://www.example.org/a/b?q=1&r=\"2\"");
    t.title = QStringLiteral("Grüezi «Welt» 👋🏽 e\u0301\t\\ </script>");
    t.domain = QStringLiteral("example.org");
    t.savedAt = kNow;
    t.windowId = QUuid::fromString(kWin);
    t.windowIndex = 2;
    t.tabIndex = 7;
    t.text = QStringLiteral("Zeile 1\nZeile 2\r\n\x01 Ende / 🧭");
    t.summary = QStringLiteral("Eine Zusammenfassung.");
    t.topicId = QUuid::fromString(kWin);
    t.note = QStringLiteral("Notiz");
    t.reminderAt = kNow.addDays(3);
    t.projectTags = {QStringLiteral("Haus")};
    t.tags = {QStringLiteral("a"), QStringLiteral("b")};
    t.readAt = kNow.addSecs(-60);
    t.isDemo = true;
    return t;
}

LibraryData fullLibrary()
{
    LibraryData d;
    d.tabs = {fullTab()};
    SavedTab bare;
    bare.id = QUuid::createUuid();
    bare.url = QStringLiteral("about:blank");
    bare.savedAt = kNow;
    bare.windowId = QUuid::createUuid();
    d.tabs.append(bare);
    d.windows = {SavedWindow{QUuid::fromString(kWin), kNow, QStringLiteral("Fenster 1 · 16.11. 20:31"),
                             {d.tabs[0].id, bare.id}}};
    d.topics = {Topic{QUuid::createUuid(), QStringLiteral("Reisen & Hotels"), QStringLiteral("gelb"),
                      {d.tabs[0].id}, false}};
    d.context = UserContext{{QStringLiteral("/home/u/Projekt")}, QStringLiteral("frei"), 3, 7};
    d.hints = {Hint{QUuid::createUuid(), bare.id, QStringLiteral("passt"), kNow, true}};
    d.embeddings.insert(idText(d.tabs[0].id), {0.1f, -1.5e-7f, 3.4028235e38f, 0.0f, 1.0f / 3.0f});
    d.embeddings.insert(idText(bare.id), {});
    d.embedderKind = QStringLiteral("none-0+bow256");
    d.topicsByAI = true;
    d.lastHintDay = QStringLiteral("2026-11-16");
    return d;
}

} // namespace

using namespace Qt::StringLiterals;

class TestLibraryCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void emptyObjectIsNewLibrary()
    {
        const auto d = LibraryCodec::decode("{}", kNow);
        QVERIFY(d.ok());
        QCOMPARE(*d, LibraryData{});
        QCOMPARE(d->version, 1);
        QCOMPARE(d->context.hintsPerDay, 2);
        QCOMPARE(d->context.hintHour, 9);
    }

    void minimalTabGetsDefaults()
    {
        const QByteArray json = "{\"tabs\":[{\"id\":\"" + kId.toLower().toLatin1()
                                + "\",\"url\":\"https:\\/\\/WWW.Example.ORG\\/Pfad\"}]}";
        const auto d = LibraryCodec::decode(json, kNow);
        QVERIFY2(d.ok(), qPrintable(d.error()));
        const SavedTab &t = d->tabs.at(0);
        QCOMPARE(t.id, QUuid::fromString(kId));
        QCOMPARE(t.url, QStringLiteral("https://WWW.Example.ORG/Pfad"));
        QCOMPARE(t.domain, QStringLiteral("example.org"));
        QCOMPARE(t.title, QString());
        QCOMPARE(t.windowIndex, 0);
        QCOMPARE(t.tabIndex, 0);
        QCOMPARE(t.savedAt, kNow);
        QVERIFY(!t.windowId.isNull());
        QVERIFY(!t.topicId && !t.reminderAt && !t.readAt);
        QVERIFY(t.tags.isEmpty() && t.projectTags.isEmpty());
        QVERIFY(!t.isDemo);
    }

    void accepted_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("null optional tab keys")
            << tabJson(",\"topicId\":null,\"title\":null,\"reminderAt\":null,\"tags\":null");
        QTest::newRow("null root keys") << QByteArray(
            "{\"tabs\":null,\"context\":null,\"lastHintDay\":null,\"version\":null}");
        QTest::newRow("unknown keys of every type")
            << QByteArray("{\"x\":{\"a\":[1,2.5e3,{\"b\":null}],\"c\":\"\\u00e4\\/\"},\"y\":true,"
                          "\"tabs\":[],\"z\":-0.5}");
        QTest::newRow("whitespace everywhere") << QByteArray(" \n{ \"tabs\" :\t[ ] ,\r\n\"version\" : 1 } \n");
        QTest::newRow("integral float for an integer") << tabJson(",\"tabIndex\":3.0");
        QTest::newRow("surrogate pair escape") << tabJson(",\"title\":\"\\ud83d\\ude00\"");
        QTest::newRow("uuid with an escape") << QByteArray(
            "{\"tabs\":[{\"id\":\"\\u0036F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F\",\"url\":\"x\"}]}");
        QTest::newRow("uuid in mixed case") << QByteArray(
            "{\"tabs\":[{\"id\":\"6f1C2d3E-4a5B-4c6D-8e9F-0a1B2c3D4e5F\",\"url\":\"x\"}]}");
        QTest::newRow("vector with blanks") << QByteArray("{\"embeddings\":{\"a\":[ 1 ,\n-2.5e3\t, 0.25 ],\"b\":[ ]}}");
        QTest::newRow("context complete")
            << QByteArray("{\"context\":{\"folderPaths\":[],\"freeText\":\"\",\"hintsPerDay\":0,"
                          "\"hintHour\":5}}");
    }

    void accepted()
    {
        QFETCH(QByteArray, json);
        const auto d = LibraryCodec::decode(json, kNow);
        QVERIFY2(d.ok(), qPrintable(d.error()));
    }

    void uuidReadInAnyForm_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("upper") << QByteArray("6F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F");
        QTest::newRow("lower") << QByteArray("6f1c2d3e-4a5b-4c6d-8e9f-0a1b2c3d4e5f");
        QTest::newRow("escaped digit") << QByteArray("\\u0036F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F");
        QTest::newRow("escaped dash") << QByteArray("6F1C2D3E\\u002d4A5B-4C6D-8E9F-0A1B2C3D4E5F");
    }

    void uuidReadInAnyForm()
    {
        QFETCH(QByteArray, text);
        const auto d = LibraryCodec::decode("{\"tabs\":[{\"id\":\"" + text + "\",\"url\":\"x\"}]}", kNow);
        QVERIFY2(d.ok(), qPrintable(d.error()));
        QCOMPARE(d->tabs.at(0).id, QUuid::fromString(kId));
    }

    void rejected_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("not json") << QByteArray("Hallo");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("array root") << QByteArray("[]");
        QTest::newRow("trailing garbage") << QByteArray("{} x");
        QTest::newRow("two objects") << QByteArray("{}{}");
        QTest::newRow("trailing comma") << QByteArray("{\"tabs\":[],}");
        QTest::newRow("unterminated") << QByteArray("{\"tabs\":[");
        QTest::newRow("tab without url") << QByteArray("{\"tabs\":[{\"id\":\"" + kId.toLatin1() + "\"}]}");
        QTest::newRow("tab without id") << QByteArray("{\"tabs\":[{\"url\":\"x\"}]}");
        QTest::newRow("null id") << QByteArray("{\"tabs\":[{\"id\":null,\"url\":\"x\"}]}");
        QTest::newRow("uuid in braces")
            << QByteArray("{\"tabs\":[{\"id\":\"{" + kId.toLatin1() + "}\",\"url\":\"x\"}]}");
        QTest::newRow("uuid not hex")
            << QByteArray("{\"tabs\":[{\"id\":\"ZF1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F\",\"url\":\"x\"}]}");
        QTest::newRow("uuid with a dash out of place")
            << QByteArray("{\"tabs\":[{\"id\":\"6F1C2D3-E4A5B-4C6D-8E9F-0A1B2C3D4E5F\",\"url\":\"x\"}]}");
        QTest::newRow("uuid one digit short")
            << QByteArray("{\"tabs\":[{\"id\":\"6F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5\",\"url\":\"x\"}]}");
        QTest::newRow("uuid without dashes")
            << QByteArray("{\"tabs\":[{\"id\":\"6F1C2D3E04A5B04C6D08E9F00A1B2C3D4E5F\",\"url\":\"x\"}]}");
        QTest::newRow("fractional seconds") << tabJson(",\"savedAt\":\"2026-11-16T19:31:05.250Z\"");
        QTest::newRow("date without zone") << tabJson(",\"savedAt\":\"2026-11-16T19:31:05\"");
        QTest::newRow("date with an offset") << tabJson(",\"savedAt\":\"2026-11-16T21:31:05+02:00\"");
        QTest::newRow("impossible date") << tabJson(",\"savedAt\":\"2026-02-30T19:31:05Z\"");
        QTest::newRow("date as number") << tabJson(",\"savedAt\":1763321465");
        QTest::newRow("string for integer") << tabJson(",\"tabIndex\":\"3\"");
        QTest::newRow("fractional integer") << tabJson(",\"tabIndex\":2.5");
        QTest::newRow("integer overflow") << tabJson(",\"tabIndex\":99999999999999999999");
        QTest::newRow("number for bool") << tabJson(",\"isDemo\":1");
        QTest::newRow("string in tags") << tabJson(",\"tags\":[\"a\",1]");
        QTest::newRow("leading zero") << tabJson(",\"tabIndex\":01");
        QTest::newRow("plus sign") << tabJson(",\"tabIndex\":+1");
        QTest::newRow("context without hintHour")
            << QByteArray("{\"context\":{\"folderPaths\":[],\"freeText\":\"\",\"hintsPerDay\":2}}");
        QTest::newRow("topic without isUnsorted") << QByteArray(
            "{\"topics\":[{\"id\":\"" + kId.toLatin1() + "\",\"name\":\"n\",\"color\":\"gelb\",\"tabIds\":[]}]}");
        QTest::newRow("hint without dismissed") << QByteArray(
            "{\"hints\":[{\"id\":\"" + kId.toLatin1() + "\",\"tabId\":\"" + kId.toLatin1()
            + "\",\"reason\":\"r\",\"createdAt\":\"2026-11-16T19:31:05Z\"}]}");
        QTest::newRow("window with null title") << QByteArray(
            "{\"windows\":[{\"id\":\"" + kId.toLatin1()
            + "\",\"savedAt\":\"2026-11-16T19:31:05Z\",\"title\":null,\"tabIds\":[]}]}");
        QTest::newRow("vector with string") << QByteArray("{\"embeddings\":{\"a\":[1,\"2\"]}}");
        QTest::newRow("vector overflow") << QByteArray("{\"embeddings\":{\"a\":[1e50]}}");
        // Forms std::from_chars reads but JSON does not have.
        QTest::newRow("vector leading zero") << QByteArray("{\"embeddings\":{\"a\":[0.5,01]}}");
        QTest::newRow("vector point without digits") << QByteArray("{\"embeddings\":{\"a\":[1.e3]}}");
        QTest::newRow("vector fraction without digit") << QByteArray("{\"embeddings\":{\"a\":[-.5]}}");
        QTest::newRow("vector infinity") << QByteArray("{\"embeddings\":{\"a\":[-inf]}}");
        QTest::newRow("vector with a trailing comma") << QByteArray("{\"embeddings\":{\"a\":[1,]}}");
        QTest::newRow("vector without a comma") << QByteArray("{\"embeddings\":{\"a\":[1 2]}}");
        QTest::newRow("vector starting with a comma") << QByteArray("{\"embeddings\":{\"a\":[,1]}}");
        QTest::newRow("vector not closed") << QByteArray("{\"embeddings\":{\"a\":[0.5");
        QTest::newRow("vector of a bool") << QByteArray("{\"embeddings\":{\"a\":[true]}}");
        QTest::newRow("invalid utf8") << tabJson(",\"title\":\"\xC3\x28\"");
        QTest::newRow("overlong utf8") << tabJson(",\"title\":\"\xC0\xAF\"");
        QTest::newRow("utf8 surrogate") << tabJson(",\"title\":\"\xED\xA0\x80\"");
        QTest::newRow("lone high surrogate escape") << tabJson(",\"title\":\"\\ud83d x\"");
        QTest::newRow("lone low surrogate escape") << tabJson(",\"title\":\"\\ude00\"");
        QTest::newRow("raw control char") << tabJson(",\"title\":\"a\tb\"");
        QTest::newRow("bad escape") << tabJson(",\"title\":\"\\x\"");
        QTest::newRow("invalid utf8 after a block") << tabJson(",\"title\":\"abcdefghijklmnopqrst\xC3\x28\"");
        QTest::newRow("control char after a block") << tabJson(",\"title\":\"abcdefghijklmnopqrst\x01\"");
        QTest::newRow("multi-byte cut by the quote") << tabJson(",\"title\":\"abcdefghijklmnopq\xE2\x82\"");
        QTest::newRow("beyond U+10FFFF") << tabJson(",\"title\":\"\xF4\x90\x80\x80\"");
        QTest::newRow("string without end") << QByteArray("{\"embedderKind\":\"abcdefghijklmnopqrstuvwxyz");
        QTest::newRow("backslash at the end") << QByteArray("{\"embedderKind\":\"abc\\");
        QTest::newRow("short unicode escape") << QByteArray("{\"embedderKind\":\"\\u12\"}");
        QTest::newRow("deep nesting") << QByteArray("{\"x\":" + QByteArray(5000, '[') + QByteArray(5000, ']') + "}");
    }

    void rejected()
    {
        QFETCH(QByteArray, json);
        const auto d = LibraryCodec::decode(json, kNow);
        QVERIFY(!d.ok());
        QVERIFY(!d.error().isEmpty());
    }

    void roundTrip()
    {
        const LibraryData original = fullLibrary();
        const auto bytes = LibraryCodec::encode(original);
        QVERIFY(bytes.ok());
        const auto back = LibraryCodec::decode(*bytes, kNow.addDays(1));
        QVERIFY2(back.ok(), qPrintable(back.error()));
        QCOMPARE(*back, original);
        // Stable: writing again gives the same bytes.
        QCOMPARE(*LibraryCodec::encode(*back), *bytes);
        // Streamed a megabyte at a time, the same bytes, also around a text
        // larger than that.
        LibraryData big = original;
        big.tabs[0].text = QString(700000, u'\u00fc');
        QByteArray streamed;
        QVERIFY(LibraryCodec::encodeTo(big, [&](const char *part, qsizetype size) {
                    streamed.append(part, size);
                    return true;
                }).ok());
        QCOMPARE(streamed, *LibraryCodec::encode(big));
    }

    void floatsReadBackExactly_data()
    {
        QTest::addColumn<float>("value");
        QTest::newRow("one third") << 1.0f / 3.0f;
        QTest::newRow("needs nine digits") << 0.100000001f;
        QTest::newRow("tiny") << 1.17549435e-38f;
        QTest::newRow("denormal") << 1.4e-45f;
        QTest::newRow("max") << 3.40282347e38f;
        QTest::newRow("negative") << -0.7746f;
    }

    void floatsReadBackExactly()
    {
        QFETCH(float, value);
        LibraryData d;
        d.embeddings.insert(QStringLiteral("k"), {value});
        const auto back = LibraryCodec::decode(*LibraryCodec::encode(d), kNow);
        QVERIFY(back.ok());
        QCOMPARE(back->embeddings.value(QStringLiteral("k")).at(0), value);
    }

    void nonFiniteVectorFailsTheSave()
    {
        LibraryData d;
        d.embeddings.insert(QStringLiteral("k"), {1.0f, std::numeric_limits<float>::quiet_NaN()});
        QVERIFY(!LibraryCodec::encode(d).ok());
        d.embeddings.insert(QStringLiteral("k"), {std::numeric_limits<float>::infinity()});
        QVERIFY(!LibraryCodec::encode(d).ok());
    }

    void writtenForm()
    {
        LibraryData d = fullLibrary();
        const QByteArray bytes = *LibraryCodec::encode(d);
        QVERIFY(!bytes.contains('\n'));
        QVERIFY(!bytes.contains(": "));
        QVERIFY(bytes.contains("https:\\/\\/www.example.org\\/a\\/b?q=1&r=\\\"2\\\""));
        QVERIFY(bytes.contains("\"savedAt\":\"2026-11-16T19:31:05Z\""));
        QVERIFY(bytes.contains("\"id\":\"" + kId.toLatin1() + "\""));
        QVERIFY(bytes.contains("\\u0001"));
        QVERIFY(bytes.contains("Gr\xC3\xBC" "ezi")); // raw UTF-8, not \u escapes
        // A second, independent reader agrees.
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(bytes, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QCOMPARE(doc.object().value(u"tabs").toArray().at(0).toObject().value(u"url").toString(),
                 d.tabs.at(0).url);
    }

    // Dates as written: whole seconds in UTC, four-digit years.
    void writtenDates_data()
    {
        QTest::addColumn<QDateTime>("date");
        QTest::addColumn<QByteArray>("text");
        const auto utc = [](int y, int mo, int d, int h, int mi, int s) {
            return QDateTime(QDate(y, mo, d), QTime(h, mi, s), QTimeZone::utc());
        };
        QTest::newRow("epoch") << utc(1970, 1, 1, 0, 0, 0) << QByteArray("1970-01-01T00:00:00Z");
        QTest::newRow("before the epoch") << utc(1969, 12, 31, 23, 59, 59) << QByteArray("1969-12-31T23:59:59Z");
        QTest::newRow("leap day") << utc(2000, 2, 29, 12, 0, 7) << QByteArray("2000-02-29T12:00:07Z");
        QTest::newRow("year below 1000") << utc(999, 3, 4, 5, 6, 7) << QByteArray("0999-03-04T05:06:07Z");
        QTest::newRow("last four-digit second") << utc(9999, 12, 31, 23, 59, 59) << QByteArray("9999-12-31T23:59:59Z");
        QTest::newRow("five-digit year") << utc(10000, 1, 1, 0, 0, 0) << QByteArray("10000-01-01T00:00:00Z");
        QTest::newRow("local time to UTC")
            << QDateTime(QDate(2026, 7, 1), QTime(0, 30, 0), QTimeZone("Europe/Zurich"))
            << QByteArray("2026-06-30T22:30:00Z");
        QTest::newRow("milliseconds dropped") << utc(2026, 11, 16, 19, 31, 5).addMSecs(999)
                                              << QByteArray("2026-11-16T19:31:05Z");
    }

    void writtenDates()
    {
        QFETCH(QDateTime, date);
        QFETCH(QByteArray, text);
        LibraryData d;
        d.windows = {SavedWindow{QUuid::createUuid(), date, u"Fenster"_s, {}}};
        const QByteArray bytes = *LibraryCodec::encode(d);
        QVERIFY2(bytes.contains("\"savedAt\":\"" + text + "\""), bytes.constData());
    }

    // Text as written: escapes at the edges, next to each other and across
    // the eight-byte blocks the writer scans, multi-byte characters kept raw.
    void writtenText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("plain, longer than a block") << u"abcdefghijklmnopq"_s << QByteArray("\"abcdefghijklmnopq\"");
        QTest::newRow("escape first and last") << u"/abcdefghij\""_s << QByteArray("\"\\/abcdefghij\\\"\"");
        QTest::newRow("escapes side by side") << u"\n\t\r\b\f"_s << QByteArray("\"\\n\\t\\r\\b\\f\"");
        QTest::newRow("control characters") << u"a\u0001bcdefgh\u001fi"_s
                                            << QByteArray("\"a\\u0001bcdefgh\\u001fi\"");
        QTest::newRow("escape after a block") << u"12345678\\"_s << QByteArray("\"12345678\\\\\"");
        QTest::newRow("umlaut, emoji, escape") << u"Gr\u00fcezi \U0001F319/x"_s
                                              << QByteArray("\"Gr\xC3\xBC" "ezi \xF0\x9F\x8C\x99\\/x\"");
        QTest::newRow("lone surrogate") << (u"a"_s + QChar(0xD83D) + u"b"_s) << QByteArray("\"a\xEF\xBF\xBD" "b\"");
        QTest::newRow("empty") << QString() << QByteArray("\"\"");
        QTest::newRow("emoji across a block") << u"abcdefg\U0001F319hijklmnop"_s
                                              << QByteArray("\"abcdefg\xF0\x9F\x8C\x99hijklmnop\"");
        QTest::newRow("lone surrogates at both ends") << (QChar(0xDE00) + u"abcdefghij"_s + QChar(0xD83D))
                                                      << QByteArray("\"\xEF\xBF\xBD" "abcdefghij\xEF\xBF\xBD\"");
        QTest::newRow("DEL and U+0080 stay raw") << u"\u007f\u0080abcdefgh"_s
                                                 << QByteArray("\"\x7F\xC2\x80" "abcdefgh\"");
        QTest::newRow("escape after sixteen") << u"abcdefghijklmnop/q"_s << QByteArray("\"abcdefghijklmnop\\/q\"");
        QTest::newRow("escape last of sixteen") << u"abcdefghijklmno\n"_s << QByteArray("\"abcdefghijklmno\\n\"");
        QTest::newRow("emoji across sixteen") << u"abcdefghijklmno\U0001F319abcdefghijklmnop"_s
                                              << QByteArray("\"abcdefghijklmno\xF0\x9F\x8C\x99" "abcdefghijklmnop\"");
        QTest::newRow("umlaut after two blocks") << u"abcdefghijklmnopqrstuvwxyzabcdef\u00e4"_s
                                                 << QByteArray("\"abcdefghijklmnopqrstuvwxyzabcdef\xC3\xA4\"");
    }

    void writtenText()
    {
        QFETCH(QString, text);
        QFETCH(QByteArray, json);
        LibraryData d;
        d.embedderKind = text;
        const QByteArray bytes = *LibraryCodec::encode(d);
        QVERIFY2(bytes.contains("\"embedderKind\":" + json + ","), bytes.constData());
        const auto back = LibraryCodec::decode(bytes, kNow);
        QVERIFY(back.ok());
        if (!text.contains(QChar(0xD83D)))
            QCOMPARE(back->embedderKind, text);
    }

    // Strings as read: escapes and multi-byte characters at the edges of the
    // sixteen-byte blocks the reader widens at once.
    void readText_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("text");
        QTest::newRow("plain, two blocks") << QByteArray("abcdefghijklmnopqrstuvwxyz0123456789")
                                           << u"abcdefghijklmnopqrstuvwxyz0123456789"_s;
        QTest::newRow("umlaut across a block") << QByteArray("abcdefghijklmno\xC3\xBCx") << u"abcdefghijklmno\u00fcx"_s;
        QTest::newRow("emoji across a block")
            << QByteArray("abcdefghijklmn\xF0\x9F\x8C\x99xyz") << u"abcdefghijklmn\U0001F319xyz"_s;
        QTest::newRow("escape on the block edge") << QByteArray("abcdefghijklmnop\\/q") << u"abcdefghijklmnop/q"_s;
        QTest::newRow("unicode escapes after a block")
            << QByteArray("abcdefghijklmnopq\\u00e4\\ud83d\\ude00") << u"abcdefghijklmnopq\u00e4\U0001F600"_s;
        QTest::newRow("escaped quote is no end") << QByteArray("abc\\\"defghijklmnopqrstu") << u"abc\"defghijklmnopqrstu"_s;
        QTest::newRow("escaped backslash before the end") << QByteArray("abc\\\\") << u"abc\\"_s;
        QTest::newRow("three-byte text") << QByteArray("\xE2\x82\xAC").repeated(40) << QString(40, QChar(0x20AC));
        QTest::newRow("null character") << QByteArray("a\\u0000b") << (u"a"_s + QChar(0) + u"b"_s);
        QTest::newRow("empty") << QByteArray() << QString();
    }

    void readText()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, text);
        const auto d = LibraryCodec::decode("{\"embedderKind\":\"" + json + "\"}", kNow);
        QVERIFY2(d.ok(), qPrintable(d.error()));
        QCOMPARE(d->embedderKind, text);
    }

    void optionalKeysLeftOut()
    {
        LibraryData d;
        SavedTab t;
        t.id = QUuid::fromString(kId);
        t.url = QStringLiteral("u");
        t.savedAt = kNow;
        t.windowId = QUuid::fromString(kWin);
        d.tabs = {t};
        const QByteArray bytes = *LibraryCodec::encode(d);
        for (const char *key : {"topicId", "reminderAt", "readAt", "lastHintDay"})
            QVERIFY2(!bytes.contains(key), key);
        for (const char *key : {"\"text\":\"\"", "\"tags\":[]", "\"note\":\"\"", "\"hints\":[]"})
            QVERIFY2(bytes.contains(key), key);
        QVERIFY(!LibraryCodec::decode(bytes, kNow)->tabs.at(0).topicId);
    }

    void keysSortedAtEveryLevel()
    {
        const QByteArray bytes = *LibraryCodec::encode(fullLibrary());
        // Walk the text and check that the keys of each object ascend.
        QList<QByteArray> last; // last key per open object
        QList<char> stack;
        bool inString = false;
        qsizetype start = 0;
        for (qsizetype i = 0; i < bytes.size(); ++i) {
            const char c = bytes.at(i);
            if (inString) {
                if (c == '\\') {
                    ++i;
                } else if (c == '"') {
                    inString = false;
                    const bool isKey = i + 1 < bytes.size() && bytes.at(i + 1) == ':'
                                       && !stack.isEmpty() && stack.last() == '{';
                    if (isKey) {
                        const QByteArray key = bytes.mid(start, i - start);
                        QVERIFY2(last.last() < key, key.constData());
                        last.last() = key;
                    }
                }
                continue;
            }
            if (c == '"') {
                inString = true;
                start = i + 1;
            } else if (c == '{' || c == '[') {
                stack.append(c);
                last.append(QByteArray());
            } else if (c == '}' || c == ']') {
                stack.removeLast();
                last.removeLast();
            }
        }
        QVERIFY(stack.isEmpty());
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryCodec)
#include "TestLibraryCodec.moc"
