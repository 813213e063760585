#include "LibraryBuilder.h"
#include "LibraryExport.h"
#include "LibraryImport.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(ImportFormat)
Q_DECLARE_METATYPE(ExportFormat)

namespace {

const QDateTime now(QDate(2026, 11, 16), QTime(20, 31)); // local, as the clock gives it

// Per window "name: url,url" (without a name, the addresses alone), windows
// joined by "|", for compact expectations.
QString shape(const ImportResult &result)
{
    QStringList windows;
    for (const ImportedWindow &w : result.windows) {
        QStringList urls;
        for (const ImportedTab &t : w.tabs)
            urls.append(t.url);
        windows.append((w.name.isEmpty() ? QString() : w.name + u": "_s) + urls.join(u','));
    }
    return windows.join(u'|');
}

QStringList all(const ImportResult &result, QString ImportedTab::*field)
{
    QStringList values;
    for (const ImportedWindow &w : result.windows)
        for (const ImportedTab &t : w.tabs)
            values.append(t.*field);
    return values;
}

QList<qint64> problemLines(const ImportResult &result)
{
    QList<qint64> lines;
    for (const ImportProblem &p : result.problems)
        lines.append(p.line);
    return lines;
}

// Two windows and a topic across them, with text that needs escaping everywhere.
LibraryData sampleLibrary()
{
    LibraryData d = LibraryBuilder(now.addDays(-3))
        .tab(u"Zölle & \"Preise\" <heute>"_s, u"https://www.zeit.de/a?x=1&y=2"_s).note(u"Lesen\nvor Freitag"_s)
        .vector({0.5f, 0.25f}).tab(u"Bern | Wikipedia"_s, u"https://de.wikipedia.org/wiki/Bern_(Stadt)"_s)
        .window().tab({}, u"https://example.ch/"_s).note(u"nur eine Zeile"_s)
        .tab(u"[Rösti] *knusprig* 🥔"_s, u"https://rezepte.ch/rösti"_s).topic(u"Essen und Reisen"_s, {4, 2});
    d.context.freeText = u"privat"_s;
    return d;
}

} // namespace

// Reading other programs' tab lists and bookmark files, adding them to the
// library, and writing the library out so that it reads back.
class TestLibraryExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Tab lists and bookmark files as other programs write them; what cannot
    // be read is skipped and named by its line.
    void parse_data()
    {
        QTest::addColumn<ImportFormat>("format");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("shape");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("notes");
        QTest::addColumn<QList<qint64>>("problems");
        const auto lines = ImportFormat::onetab;
        const auto html = ImportFormat::html;
        QTest::newRow("blank lines part windows")
            << lines << QByteArray("https://a.ch | A\r\nhttps://b.ch | B\r\n\r\n\r\n  \nhttps://c.ch | C\n")
            << "https://a.ch,https://b.ch|https://c.ch" << QStringList{"A", "B", "C"}
            << QStringList{"", "", ""} << QList<qint64>{};
        QTest::newRow("bar inside title, missing titles")
            << lines << QByteArray("\xEF\xBB\xBFhttps://a.ch/x | Ein | Zwei\nhttps://b.ch |\nhttps://c.ch\n")
            << "https://a.ch/x,https://b.ch,https://c.ch" << QStringList{"Ein | Zwei", "", ""}
            << QStringList{"", "", ""} << QList<qint64>{};
        QTest::newRow("malformed lines by number")
            << lines << QByteArray("https://a.ch | A\nkeine Adresse | X\nhttp:// | leer\n\njavascript:void(0) | J\n"
                                   "https://b.ch | B\nhttps://bad host.ch | C")
            << "https://a.ch|https://b.ch" << QStringList{"A", "B"} << QStringList{"", ""}
            << QList<qint64>{2, 3, 5, 7};
        QTest::newRow("browser export with nested folders")
            << html
            << QByteArray("<!DOCTYPE NETSCAPE-Bookmark-file-1>\n"
                          "<!-- This is an automatically generated file. <DL><A HREF=\"https://no.ch\">x</A> -->\n"
                          "<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html; charset=UTF-8\">\n"
                          "<TITLE>Bookmarks</TITLE>\n<H1>Bookmarks</H1>\n<DL><p>\n"
                          "    <DT><H3 ADD_DATE=\"1\" PERSONAL_TOOLBAR_FOLDER=\"true\">Leiste</H3>\n    <DL><p>\n"
                          "        <DT><A HREF=\"https://a.ch/\" ADD_DATE=\"2\" ICON=\"data:image/png;base64,AA==\">A</A>\n"
                          "        <DT><H3>Küche &amp; Garten</H3>\n        <DL><p>\n"
                          "            <DT><A HREF=\"https://b.ch/\">B</A>\n            <DD>eine\n   Beschreibung\n"
                          "        </DL><p>\n        <DT><A HREF=\"https://c.ch/\">C</A>\n    </DL><p>\n"
                          "    <DT><A HREF=\"https://d.ch/\">D</A>\n</DL><p>\n")
            << "Leiste: https://a.ch/,https://c.ch/|Leiste / Küche & Garten: https://b.ch/|https://d.ch/"
            << QStringList{"A", "C", "B", "D"}
            << QStringList{"", "", "eine\n   Beschreibung", ""} << QList<qint64>{};
        QTest::newRow("entities and odd attributes")
            << html
            << QByteArray("<dl><dt><a add_date=1 href='https://a.ch/?q=1&amp;r=2' data-x=\"a>b\" private>"
                          "Fish &amp; Chips &#8211; &#x1F954; &lt;tag&gt; &bogus; &nbsp;x</a>\n"
                          "<dt><A\n  HREF=https://b.ch/ TAGS=\"x,y\">B</A><DD>Zeile 1<br>Zeile&#10;2\n"
                          "<DT><A ICON_URI=\"https://c.ch/favicon.ico\" HREF = \"https://c.ch/\" >C</A></dl>")
            << "https://a.ch/?q=1&r=2,https://b.ch/,https://c.ch/"
            << QStringList{u"Fish & Chips \u2013 \U0001F954 <tag> &bogus; \u00A0x"_s, "B", "C"}
            << QStringList{"", "Zeile 1\nZeile\n2", ""} << QList<qint64>{};
        QTest::newRow("links without page addresses by line")
            << html
            << QByteArray("<DL><p>\n<DT><A>ohne</A>\n<DT><A HREF=\"place:sort=8\">Zuletzt</A>\n"
                          "<DT><A HREF=\"https://a.ch\">A</A>\n<DT><A HREF=\"javascript:alert(1)\">J</A>\n"
                          "<DT><A HREF=\"\">leer</A>\n</DL>")
            << "https://a.ch" << QStringList{"A"} << QStringList{""} << QList<qint64>{2, 3, 5, 6};
    }

    void parse()
    {
        QFETCH(ImportFormat, format);
        QFETCH(QByteArray, input);
        QFETCH(QString, shape);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, notes);
        QFETCH(QList<qint64>, problems);
        const ImportResult result = LibraryImport::parse(input, format);
        QCOMPARE(::shape(result), shape);
        QCOMPARE(all(result, &ImportedTab::title), titles);
        QCOMPARE(all(result, &ImportedTab::note), notes);
        QCOMPARE(problemLines(result), problems);
    }

    void brokenJsonIsOneProblem()
    {
        const ImportResult result = LibraryImport::parse("{\"tabs\":[{\"url\":\"https://a.ch\"}]}", ImportFormat::json);
        QVERIFY(result.windows.isEmpty());
        QCOMPARE(problemLines(result), QList<qint64>{0});
        QVERIFY(!result.problems[0].message.isEmpty());
    }

    // New windows are numbered after the library's, as a sleep run numbers
    // them; known and repeated addresses are skipped, what was there stays.
    void mergeAddsLikeASleepRun()
    {
        const LibraryData library = LibraryBuilder(now).tab(u"K"_s, u"https://known.ch"_s).window().window().window();
        const auto tab = [](const char *url, const char *title, qint64 line) {
            return ImportedTab{QString::fromUtf8(url), QString::fromUtf8(title), {}, {}, {}, line};
        };
        ImportResult import;
        import.windows = {
            {u"Fenster 2 · 01.11. 09:15"_s,
             {{u"https://www.A.ch/1"_s, u"A"_s, u"n"_s, {u"P"_s}, now, 1}, tab("https://known.ch", "K", 2),
              tab("https://b.ch", "B", 3)}},
            {u"nur Bekanntes"_s, {tab("https://b.ch", "B", 5)}},
            {u"Sammlung · 02.11. 10:00 · Rezepte"_s, {tab("https://c.ch", "C", 7), tab("https://c.ch", "C2", 8)}},
        };
        const MergedImport merged = LibraryImport::merge(library, import, now);
        QCOMPARE(merged.newWindows, 2);
        QCOMPARE(merged.skipped, 3);
        QCOMPARE(merged.newTabIds.size(), 3);
        const LibraryData &d = merged.library;
        QCOMPARE(d.windows.first(4), library.windows);
        QCOMPARE(d.tabs.first(), library.tabs.first());
        QCOMPARE(d.windows.size(), 6);
        QCOMPARE(d.windows[4].title, u"Fenster 5 · 16.11. 20:31"_s);
        QCOMPARE(d.windows[5].title, u"Fenster 7 · 16.11. 20:31 · Rezepte"_s);

        // What the file carried, nothing the later steps make.
        const SavedTab a{merged.newTabIds[0], u"https://www.A.ch/1"_s, u"A"_s, u"a.ch"_s, now, d.windows[4].id,
                         1, 1, {}, {}, {}, u"n"_s, now, {u"P"_s}, {}, {}, false};
        QVERIFY(d.tab(a.id) == a);
        QCOMPARE(d.tab(merged.newTabIds[1])->tabIndex, 3); // its place in the group, skipped ones counted
        QCOMPARE(d.tab(merged.newTabIds[2])->title, u"C"_s); // the first of a repeated address
        QCOMPARE(d.tab(merged.newTabIds[2])->windowIndex, 3);
    }

    void roundTrip_data()
    {
        QTest::addColumn<ExportFormat>("out");
        QTest::addColumn<ImportFormat>("in");
        QTest::addColumn<bool>("notes");
        QTest::newRow("json") << ExportFormat::json << ImportFormat::json << true;
        QTest::newRow("html") << ExportFormat::html << ImportFormat::html << true;
        QTest::newRow("onetab") << ExportFormat::onetab << ImportFormat::onetab << false;
    }

    void roundTrip()
    {
        QFETCH(ExportFormat, out);
        QFETCH(ImportFormat, in);
        QFETCH(bool, notes);
        const LibraryData library = sampleLibrary();
        const auto bytes = LibraryExport::write(library, out);
        QVERIFY2(bytes.ok(), qPrintable(bytes.error()));
        QCOMPARE(LibraryImport::guessFormat(*bytes), in);
        const ImportResult import = LibraryImport::parse(*bytes, in);
        QCOMPARE(import.problems, QList<ImportProblem>{});
        const LibraryData back = LibraryImport::merge(LibraryData{}, import, now).library;
        QCOMPARE(back.windows.size(), library.windows.size());
        for (qsizetype w = 0; w < library.windows.size(); ++w) {
            const QList<SavedTab> was = library.tabsIn(library.windows[w]);
            const QList<SavedTab> is = back.tabsIn(back.windows[w]);
            QCOMPARE(is.size(), was.size());
            for (qsizetype i = 0; i < was.size(); ++i) {
                QCOMPARE(is[i].url, was[i].url);
                QCOMPARE(is[i].title, was[i].title);
                QCOMPARE(is[i].note, notes ? was[i].note : QString());
            }
        }
        // A topic's tabs alone, in library order, not the topic's.
        const auto topic = LibraryExport::write(library, out, u"Essen und Reisen"_s);
        QVERIFY(topic.ok());
        const ImportResult topicImport = LibraryImport::parse(*topic, in);
        QCOMPARE(all(topicImport, &ImportedTab::url), (QStringList{library.tabs[1].url, library.tabs[3].url}));
        if (out == ExportFormat::html)
            QCOMPARE(topicImport.windows.value(0).name, u"Essen und Reisen"_s);
        QVERIFY(!LibraryExport::write(library, out, u"essen und reisen"_s).ok());
    }

    void jsonExportLeavesPrivateDataOut()
    {
        const LibraryData library = sampleLibrary();
        const QByteArray bytes = *LibraryExport::write(library, ExportFormat::json, u"Essen und Reisen"_s);
        QVERIFY(!bytes.contains("privat"));
        QVERIFY(!bytes.contains("embeddings\":{\""));
        QVERIFY(!bytes.contains(idText(library.tabs[0].id).toLatin1())); // not in the topic
        QVERIFY(bytes.contains(idText(library.windows[0].id).toLatin1())); // its window stays, with tab 2 only
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryExchange)
#include "TestLibraryExchange.moc"
