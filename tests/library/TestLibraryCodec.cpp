#include "LibraryBuilder.h"
#include "LibraryCodec.h"
#include "TestRegistry.h"

#include <QJsonDocument>
#include <QRegularExpression>

#include <limits>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(LibraryData)

namespace {

const QDateTime kNow = LibraryBuilder::now();
const QByteArray kId = "6F1C2D3E-4A5B-4C6D-8E9F-0A1B2C3D4E5F";

QDateTime utc(int y, int mo, int d, int h, int mi, int s)
{
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s), Qt::UTC);
}

// One tab with its required keys, its window and the given further keys.
QByteArray tabJson(const QByteArray &fields, const QByteArray &id = kId)
{
    return "{\"tabs\":[{\"id\":\"" + id + "\",\"url\":\"https://a.ch/x\",\"windowId\":\"" + kId + "\"" + fields + "}]}";
}

// The library tabJson() reads as, changed by `change`.
LibraryData tabRead(void (*change)(SavedTab &) = nullptr)
{
    SavedTab t;
    t.id = t.windowId = QUuid::fromString(QLatin1String(kId));
    t.url = u"https://a.ch/x"_s;
    t.domain = u"a.ch"_s;
    t.savedAt = kNow;
    if (change)
        change(t);
    LibraryData d;
    d.tabs = {t};
    return d;
}

// Every field set: text that needs escaping, escapes and multi-byte
// characters where the eight- and sixteen-byte blocks of reader and writer
// end, dates at the edges of their form, floats at the limits and more than
// one block of them.
LibraryData fullLibrary()
{
    Vector floats = {0.1f, -1.5e-7f, 3.40282347e38f, -0.0f, 1.0f / 3.0f, 1.4e-45f, 1.17549435e-38f};
    for (int i = 0; i < 30; ++i)
        floats.append(float(i) / 7.0f);
    LibraryData d = LibraryBuilder()
        .tab(u"Grüezi «Welt» 👋🏽 e\u0301\t\\ </script>"_s, u"https://www.example.org/a/b?q=1&r=\"2\""_s)
        .text(u"Zeile 1\nZeile 2\r\n\x01 Ende / 🧭 \b\f\u001f\u007f\u0080"_s + QChar(0))
        .tags({u"abcdefghijklmno\n"_s, u"abcdefghijklmnop/q"_s, u"abcdefg🌙hijklmnop"_s, u"12345678\\"_s,
               u"abcdefghijklmno🌙abcdefghijklmnop"_s, u"abc\"defghijklmnopqrstu\\"_s, QString(40, QChar(0x20AC)), {}})
        .summary(u"Eine Zusammenfassung."_s).note(u"Notiz"_s).projects({u"Haus"_s}).demo().vector(floats)
        .reminder(utc(999, 3, 4, 5, 6, 7)).read(utc(1969, 12, 31, 23, 59, 59))
        .window().tab({}, u"about:blank"_s).savedAt(QDateTime(QDate(2026, 7, 1), QTime(0, 30))).vector({})
        .topic(u"Reisen & Hotels"_s, {1}).unsorted().hint(2, u"passt"_s, true).embedderKind(u"none-0+bow256"_s);
    d.windows[1].savedAt = utc(2000, 2, 29, 12, 0, 7);
    d.context = UserContext{{u"/home/u/Projekt"_s}, u"frei"_s, 3, 7};
    d.topicsByAI = true;
    d.lastHintDay = u"2026-11-16"_s;
    return d;
}

} // namespace

class TestLibraryCodec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTrip()
    {
        const LibraryData original = fullLibrary();
        const auto bytes = LibraryCodec::encode(original);
        QVERIFY(bytes.ok());
        const auto back = LibraryCodec::decode(*bytes, kNow.addDays(1));
        QVERIFY2(back.ok(), qPrintable(back.error()));
        QCOMPARE(*back, original);
        QCOMPARE(*LibraryCodec::encode(*back), *bytes); // stable

        // Compact, slashes and control characters escaped, UTF-8 raw, dates
        // in UTC with four-digit years.
        QVERIFY(!bytes->contains('\n') && !bytes->contains(": "));
        for (const char *part : {"https:\\/\\/www.example.org\\/a\\/b?q=1&r=\\\"2\\\"", "Gr\xC3\xBC" "ezi",
                                 "\\u0001 Ende \\/ \xF0\x9F\xA7\xAD \\b\\f\\u001f\x7F\xC2\x80\\u0000\"",
                                 "\"readAt\":\"1969-12-31T23:59:59Z\"", "\"reminderAt\":\"0999-03-04T05:06:07Z\"",
                                 "\"savedAt\":\"2026-06-30T22:30:00Z\"", "\"savedAt\":\"2000-02-29T12:00:07Z\""})
            QVERIFY2(bytes->contains(part), part);
        // An independent reader agrees, and the keys of every object are sorted.
        QJsonParseError error;
        const QJsonDocument doc = QJsonDocument::fromJson(*bytes, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        const QRegularExpression key(u"(?<!\\\\)\"([A-Za-z]+)\":"_s);
        const auto keys = [&](const QByteArray &json) {
            QStringList all;
            for (const auto &m : key.globalMatch(QString::fromUtf8(json)))
                all.append(m.captured(1));
            return all;
        };
        QCOMPARE(keys(*bytes), keys(doc.toJson(QJsonDocument::Compact)));

        // Streamed a megabyte at a time, the same bytes, also around a text larger than that.
        LibraryData big = original;
        big.tabs[0].text = QString(700000, u'\u00fc');
        QByteArray streamed;
        QVERIFY(LibraryCodec::encodeTo(big, [&](const char *part, qsizetype size) {
                    streamed.append(part, size);
                    return true;
                }).ok());
        QCOMPARE(streamed, *LibraryCodec::encode(big));
    }

    // Lone surrogates become U+FFFD, so the file stays readable; a float JSON
    // cannot hold fails the save.
    void valuesJsonCannotHold()
    {
        LibraryData d = LibraryBuilder().tab(QChar(0xDE00) + u"abcdefghij"_s + QChar(0xD83D));
        QCOMPARE(LibraryCodec::decode(*LibraryCodec::encode(d), kNow)->tabs.at(0).title, u"\uFFFDabcdefghij\uFFFD"_s);
        for (float bad : {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<float>::infinity()}) {
            Vector vector(40, 0.5f);
            vector[35] = bad;
            d.embeddings.insert(u"k"_s, vector);
            QVERIFY(!LibraryCodec::encode(d).ok());
        }
    }

    // Forms the writer does not use, read for what they say.
    void accepted_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<LibraryData>("expected");
        QTest::newRow("empty object") << QByteArray("{}") << LibraryData{};
        QTest::newRow("null root keys")
            << QByteArray("{\"tabs\":null,\"context\":null,\"lastHintDay\":null,\"version\":null}") << LibraryData{};
        QTest::newRow("unknown keys, whitespace everywhere")
            << QByteArray(" \n{\"x\" :\t{\"a\":[1,2.5e3,{\"b\":null}],\"c\":\"\\u00e4\\/\"},\"y\":true,\r\n"
                          "\"tabs\":[ ] ,\"z\":-0.5} \n")
            << LibraryData{};
        // No window: one is made up (any id), as is the saving time (now).
        QTest::newRow("minimal tab")
            << QByteArray("{\"tabs\":[{\"id\":\"" + kId.toLower() + "\",\"url\":\"https:\\/\\/WWW.Example.ORG\\/P\"}]}")
            << tabRead([](SavedTab &t) {
                   t.url = u"https://WWW.Example.ORG/P"_s;
                   t.domain = u"example.org"_s;
                   t.windowId = {};
               });
        QTest::newRow("null optional keys")
            << tabJson(",\"topicId\":null,\"title\":null,\"reminderAt\":null,\"tags\":null") << tabRead();
        QTest::newRow("integral float for an integer")
            << tabJson(",\"tabIndex\":3.0") << tabRead([](SavedTab &t) { t.tabIndex = 3; });
        QTest::newRow("id with escapes, mixed case")
            << tabJson({}, "\\u0036f1C2d3E\\u002d4a5B-4c6D-8e9F-0a1B2c3D4e5F") << tabRead();
        QTest::newRow("unicode escapes after a block")
            << tabJson(",\"title\":\"abcdefghijklmnopq\\u00e4\\ud83d\\ude00\"")
            << tabRead([](SavedTab &t) { t.title = u"abcdefghijklmnopqä😀"_s; });
        QTest::newRow("vectors with blanks")
            << QByteArray("{\"embeddings\":{\"a\":[ 1 ,\n-2.5e3\t, 0.25 ],\"b\":[ ]}}")
            << [] { LibraryData d; d.embeddings = {{u"a"_s, {1.0f, -2500.0f, 0.25f}}, {u"b"_s, {}}}; return d; }();
        QTest::newRow("context")
            << QByteArray("{\"context\":{\"folderPaths\":[\"\\/p\"],\"freeText\":\"\",\"hintsPerDay\":0,\"hintHour\":5}}")
            << [] { LibraryData d; d.context = {{u"/p"_s}, {}, 0, 5}; return d; }();
    }

    void accepted()
    {
        QFETCH(QByteArray, json);
        QFETCH(LibraryData, expected);
        auto decoded = LibraryCodec::decode(json, kNow);
        QVERIFY2(decoded.ok(), qPrintable(decoded.error()));
        if (!expected.tabs.isEmpty() && expected.tabs[0].windowId.isNull()) {
            QVERIFY(!decoded->tabs.value(0).windowId.isNull());
            expected.tabs[0].windowId = decoded->tabs[0].windowId;
        }
        QCOMPARE(*decoded, expected);
    }

    void rejected_data()
    {
        QTest::addColumn<QByteArray>("json");
        const auto vector = [](const QByteArray &list) { return "{\"embeddings\":{\"a\":[" + list + "]}}"; };
        const auto title = [](const QByteArray &text) { return tabJson(",\"title\":\"" + text + "\""); };
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("array root") << QByteArray("[]");
        QTest::newRow("trailing comma") << QByteArray("{\"tabs\":[],}");
        QTest::newRow("unterminated") << QByteArray("{\"tabs\":[");
        QTest::newRow("deep nesting") << QByteArray("{\"x\":" + QByteArray(5000, '[') + QByteArray(5000, ']') + "}");
        QTest::newRow("tab without url") << QByteArray("{\"tabs\":[{\"id\":\"" + kId + "\"}]}");
        QTest::newRow("null id") << QByteArray("{\"tabs\":[{\"id\":null,\"url\":\"x\"}]}");
        QTest::newRow("id with a dash out of place") << tabJson({}, "6F1C2D3-E4A5B-4C6D-8E9F-0A1B2C3D4E5F");
        QTest::newRow("fractional seconds") << tabJson(",\"savedAt\":\"2026-11-16T19:31:05.250Z\"");
        QTest::newRow("date with an offset") << tabJson(",\"savedAt\":\"2026-11-16T21:31:05+02:00\"");
        QTest::newRow("impossible date") << tabJson(",\"savedAt\":\"2026-02-30T19:31:05Z\"");
        QTest::newRow("date as number") << tabJson(",\"savedAt\":1763321465");
        QTest::newRow("fractional integer") << tabJson(",\"tabIndex\":2.5");
        QTest::newRow("integer overflow") << tabJson(",\"tabIndex\":99999999999999999999");
        QTest::newRow("leading zero") << tabJson(",\"tabIndex\":01");
        QTest::newRow("number in tags") << tabJson(",\"tags\":[\"a\",1]");
        QTest::newRow("context without hintHour")
            << QByteArray("{\"context\":{\"folderPaths\":[],\"freeText\":\"\",\"hintsPerDay\":2}}");
        QTest::newRow("topic without isUnsorted")
            << QByteArray("{\"topics\":[{\"id\":\"" + kId + "\",\"name\":\"n\",\"color\":\"gelb\",\"tabIds\":[]}]}");
        // Numbers std::from_chars reads but JSON does not have, and broken lists.
        QTest::newRow("vector overflow") << vector("1e50");
        QTest::newRow("vector leading zero") << vector("0.5,01");
        QTest::newRow("vector point without digits") << vector("1.e3");
        QTest::newRow("vector infinity") << vector("-inf");
        QTest::newRow("vector trailing comma") << vector("1,");
        QTest::newRow("vector not closed") << QByteArray("{\"embeddings\":{\"a\":[0.5");
        QTest::newRow("invalid utf8") << title("\xC3\x28");
        QTest::newRow("overlong utf8") << title("\xC0\xAF");
        QTest::newRow("utf8 surrogate") << title("\xED\xA0\x80");
        QTest::newRow("beyond U+10FFFF") << title("\xF4\x90\x80\x80");
        QTest::newRow("lone high surrogate escape") << title("\\ud83d x");
        QTest::newRow("raw control char") << title("a\tb");
        QTest::newRow("bad escape") << title("\\x");
        QTest::newRow("invalid utf8 after a block") << title("abcdefghijklmnopqrst\xC3\x28");
        QTest::newRow("multi-byte cut by the quote") << title("abcdefghijklmnopq\xE2\x82");
        QTest::newRow("string without end") << QByteArray("{\"embedderKind\":\"abcdefghijklmnopqrstuvwxyz");
        QTest::newRow("short unicode escape") << QByteArray("{\"embedderKind\":\"\\u12\"}");
    }

    void rejected()
    {
        QFETCH(QByteArray, json);
        const auto d = LibraryCodec::decode(json, kNow);
        QVERIFY(!d.ok());
        QVERIFY(!d.error().isEmpty());
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryCodec)
#include "TestLibraryCodec.moc"
