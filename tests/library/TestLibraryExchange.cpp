#include "LibraryExport.h"
#include "LibraryImport.h"

#include <QTest>
#include "TestRegistry.h"

Q_DECLARE_METATYPE(ImportFormat)
Q_DECLARE_METATYPE(ExportFormat)

namespace {

const QDateTime now(QDate(2026, 11, 16), QTime(20, 31), Qt::LocalTime);

// "url,url|url" per window, for compact expectations.
QString shape(const ImportResult &result)
{
    QStringList windows;
    for (const ImportedWindow &w : result.windows) {
        QStringList urls;
        for (const ImportedTab &t : w.tabs)
            urls.append(t.url);
        windows.append(urls.join(u','));
    }
    return windows.join(u'|');
}

QList<qint64> problemLines(const ImportResult &result)
{
    QList<qint64> lines;
    for (const ImportProblem &p : result.problems)
        lines.append(p.line);
    return lines;
}

SavedTab tab(const QString &url, const QString &title, const QUuid &window, const QString &note = {})
{
    SavedTab t;
    t.id = QUuid::createUuid();
    t.url = url;
    t.title = title;
    t.domain = SavedTab::domainOf(url);
    t.savedAt = now.addDays(-3);
    t.windowId = window;
    t.note = note;
    return t;
}

// Two windows and a topic across them, with text that needs escaping everywhere.
LibraryData sampleLibrary()
{
    LibraryData d;
    const QUuid w1 = QUuid::createUuid(), w2 = QUuid::createUuid();
    d.tabs = {
        tab(QStringLiteral("https://www.zeit.de/a?x=1&y=2"), QStringLiteral("Zölle & \"Preise\" <heute>"), w1,
            QStringLiteral("Lesen\nvor Freitag")),
        tab(QStringLiteral("https://de.wikipedia.org/wiki/Bern_(Stadt)"), QStringLiteral("Bern | Wikipedia"), w1),
        tab(QStringLiteral("https://example.ch/"), QString(), w2, QStringLiteral("nur eine Zeile")),
        tab(QStringLiteral("https://rezepte.ch/rösti"), QStringLiteral("[Rösti] *knusprig* 🥔"), w2),
    };
    d.windows = {SavedWindow{w1, now.addDays(-3), SavedWindow::makeTitle(1, now.addDays(-3)), {d.tabs[0].id, d.tabs[1].id}},
                 SavedWindow{w2, now.addDays(-3), SavedWindow::makeTitle(2, now.addDays(-3)), {d.tabs[2].id, d.tabs[3].id}}};
    const Topic topic{QUuid::createUuid(), QStringLiteral("Essen und Reisen"), QStringLiteral("gelb"),
                      {d.tabs[3].id, d.tabs[1].id}, false};
    d.topics = {topic};
    d.tabs[1].topicId = topic.id;
    d.tabs[3].topicId = topic.id;
    d.context.freeText = QStringLiteral("privat");
    d.embeddings.insert(idText(d.tabs[0].id), {0.5f, 0.25f});
    return d;
}

} // namespace

class TestLibraryExchange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void guessFormat_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<ImportFormat>("format");
        QTest::newRow("lines") << QByteArray("https://a.ch | A\n") << ImportFormat::onetab;
        QTest::newRow("json") << QByteArray("\xEF\xBB\xBF  {\"tabs\":[]}") << ImportFormat::json;
        QTest::newRow("bookmarks") << QByteArray("<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<DL>") << ImportFormat::html;
        QTest::newRow("markup after text") << QByteArray("Bookmarks\n<dl><dt><a href=\"https://a.ch\">a</a>")
                                           << ImportFormat::html;
        QTest::newRow("empty") << QByteArray() << ImportFormat::onetab;
    }

    void guessFormat()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(ImportFormat, format);
        QCOMPARE(LibraryImport::guessFormat(bytes), format);
    }

    void lines_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QString>("shape");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QList<qint64>>("problems");

        QTest::newRow("blank lines part windows")
            << QByteArray("https://a.ch | A\r\nhttps://b.ch | B\r\n\r\n\r\n  \nhttps://c.ch | C\n")
            << "https://a.ch,https://b.ch|https://c.ch" << QStringList{"A", "B", "C"} << QList<qint64>{};
        QTest::newRow("bar inside title, missing titles")
            << QByteArray("\xEF\xBB\xBFhttps://a.ch/x | Ein | Zwei\nhttps://b.ch |\nhttps://c.ch\n")
            << "https://a.ch/x,https://b.ch,https://c.ch" << QStringList{"Ein | Zwei", "", ""} << QList<qint64>{};
        QTest::newRow("malformed lines by number")
            << QByteArray("https://a.ch | A\nkeine Adresse | X\nhttp:// | leer\n\njavascript:void(0) | J\n"
                          "https://b.ch | B\nhttps://bad host.ch | C")
            << "https://a.ch|https://b.ch" << QStringList{"A", "B"} << QList<qint64>{2, 3, 5, 7};
        QTest::newRow("a window of bad lines disappears")
            << QByteArray("nichts\n\nhttps://a.ch | A") << "https://a.ch" << QStringList{"A"} << QList<qint64>{1};
        QTest::newRow("other schemes stay")
            << QByteArray("file:///home/x/notiz.txt | Notiz\nabout:blank | leer")
            << "file:///home/x/notiz.txt,about:blank" << QStringList{"Notiz", "leer"} << QList<qint64>{};
    }

    void lines()
    {
        QFETCH(QByteArray, input);
        QFETCH(QString, shape);
        QFETCH(QStringList, titles);
        QFETCH(QList<qint64>, problems);
        const ImportResult result = LibraryImport::parse(input, ImportFormat::onetab);
        QCOMPARE(::shape(result), shape);
        QStringList got;
        for (const ImportedWindow &w : result.windows)
            for (const ImportedTab &t : w.tabs)
                got.append(t.title);
        QCOMPARE(got, titles);
        QCOMPARE(problemLines(result), problems);
    }

    void lineProblemsNameTheText()
    {
        const ImportResult result = LibraryImport::parse("https://a.ch\nwww.ohne-schema.ch | W", ImportFormat::onetab);
        QCOMPARE(result.problems, (QList<ImportProblem>{{2, QStringLiteral("keine gültige Adresse: www.ohne-schema.ch")}}));
        QCOMPARE(result.windows.value(0).tabs.value(0).line, 1);
    }

    void bookmarks_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QStringList>("names");
        QTest::addColumn<QString>("shape");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("notes");
        QTest::addColumn<QList<qint64>>("problems");

        QTest::newRow("browser export with nested folders")
            << QByteArray("<!DOCTYPE NETSCAPE-Bookmark-file-1>\n"
                          "<!-- This is an automatically generated file. <DL><A HREF=\"https://no.ch\">x</A> -->\n"
                          "<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html; charset=UTF-8\">\n"
                          "<TITLE>Bookmarks</TITLE>\n<H1>Bookmarks</H1>\n"
                          "<DL><p>\n"
                          "    <DT><H3 ADD_DATE=\"1\" PERSONAL_TOOLBAR_FOLDER=\"true\">Leiste</H3>\n"
                          "    <DL><p>\n"
                          "        <DT><A HREF=\"https://a.ch/\" ADD_DATE=\"2\" ICON=\"data:image/png;base64,AA==\">A</A>\n"
                          "        <DT><H3>Küche &amp; Garten</H3>\n"
                          "        <DL><p>\n"
                          "            <DT><A HREF=\"https://b.ch/\">B</A>\n"
                          "            <DD>eine\n   Beschreibung\n"
                          "        </DL><p>\n"
                          "        <DT><A HREF=\"https://c.ch/\">C</A>\n"
                          "    </DL><p>\n"
                          "    <DT><A HREF=\"https://d.ch/\">D</A>\n"
                          "</DL><p>\n")
            << QStringList{"Leiste", "Leiste / Küche & Garten", ""}
            << "https://a.ch/,https://c.ch/|https://b.ch/|https://d.ch/" << QStringList{"A", "C", "B", "D"}
            << QStringList{"", "", "eine\n   Beschreibung", ""} << QList<qint64>{};
        QTest::newRow("entities and odd attributes")
            << QByteArray("<dl><dt><a add_date=1 href='https://a.ch/?q=1&amp;r=2' data-x=\"a>b\" private>"
                          "Fish &amp; Chips &#8211; &#x1F954; &lt;tag&gt; &bogus; &nbsp;x</a>\n"
                          "<dt><A\n  HREF=https://b.ch/ TAGS=\"x,y\">B</A><DD>Zeile 1<br>Zeile&#10;2\n"
                          "<DT><A ICON_URI=\"https://c.ch/favicon.ico\" HREF = \"https://c.ch/\" >C</A></dl>")
            << QStringList{""} << "https://a.ch/?q=1&r=2,https://b.ch/,https://c.ch/"
            << QStringList{QString::fromUtf8("Fish & Chips \u2013 \U0001F954 <tag> &bogus; \u00A0x"), "B", "C"}
            << QStringList{"", "Zeile 1\nZeile\n2", ""} << QList<qint64>{};
        QTest::newRow("links without page addresses by line")
            << QByteArray("<DL><p>\n<DT><A>ohne</A>\n<DT><A HREF=\"place:sort=8\">Zuletzt</A>\n"
                          "<DT><A HREF=\"https://a.ch\">A</A>\n<DT><A HREF=\"javascript:alert(1)\">J</A>\n"
                          "<DT><A HREF=\"\">leer</A>\n</DL>")
            << QStringList{""} << "https://a.ch" << QStringList{"A"} << QStringList{""} << QList<qint64>{2, 3, 5, 6};
        QTest::newRow("unclosed link and folder")
            << QByteArray("<DL><DT><H3>F</H3><DL><DT><A HREF=\"https://a.ch\">A\n<DT><A HREF=\"https://b.ch\">B")
            << QStringList{"F"} << "https://a.ch,https://b.ch" << QStringList{"A", "B"} << QStringList{"", ""}
            << QList<qint64>{};
    }

    void bookmarks()
    {
        QFETCH(QByteArray, input);
        QFETCH(QStringList, names);
        QFETCH(QString, shape);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, notes);
        QFETCH(QList<qint64>, problems);
        const ImportResult result = LibraryImport::parse(input, ImportFormat::html);
        QStringList gotNames, gotTitles, gotNotes;
        for (const ImportedWindow &w : result.windows) {
            gotNames.append(w.name);
            for (const ImportedTab &t : w.tabs) {
                gotTitles.append(t.title);
                gotNotes.append(t.note);
            }
        }
        QCOMPARE(gotNames, names);
        QCOMPARE(::shape(result), shape);
        QCOMPARE(gotTitles, titles);
        QCOMPARE(gotNotes, notes);
        QCOMPARE(problemLines(result), problems);
    }

    void brokenJsonIsOneProblem()
    {
        const ImportResult result = LibraryImport::parse("{\"tabs\":[{\"url\":\"https://a.ch\"}]}", ImportFormat::json);
        QVERIFY(result.windows.isEmpty());
        QCOMPARE(result.problems.size(), 1);
        QCOMPARE(result.problems[0].line, 0);
        QVERIFY(result.problems[0].message.startsWith(QStringLiteral("keine gültige Pellmora-Datei: ")));
    }

    void mergeNumbersWindowsLikeASleepRun()
    {
        LibraryData library;
        for (int i = 1; i <= 4; ++i)
            library.windows.append(SavedWindow{QUuid::createUuid(), now, SavedWindow::makeTitle(i, now), {}});
        library.tabs.append(tab(QStringLiteral("https://known.ch"), QStringLiteral("K"), library.windows[0].id));
        library.windows[0].tabIds = {library.tabs[0].id};

        ImportResult import;
        import.windows = {
            ImportedWindow{QStringLiteral("Fenster 2 · 01.11. 09:15"),
                           {{QStringLiteral("https://www.A.ch/1"), QStringLiteral("A"), QStringLiteral("n"), {QStringLiteral("P")}, now, 1},
                            {QStringLiteral("https://known.ch"), QStringLiteral("K2"), {}, {}, std::nullopt, 2},
                            {QStringLiteral("https://b.ch"), QStringLiteral("B"), {}, {}, std::nullopt, 3}}},
            ImportedWindow{QStringLiteral("nur Bekanntes"),
                           {{QStringLiteral("https://b.ch"), QStringLiteral("B again"), {}, {}, std::nullopt, 5}}},
            ImportedWindow{QStringLiteral("Sammlung · 02.11. 10:00 · Rezepte"),
                           {{QStringLiteral("https://c.ch"), QStringLiteral("C"), {}, {}, std::nullopt, 7},
                            {QStringLiteral("https://c.ch"), QStringLiteral("C twice"), {}, {}, std::nullopt, 8}}},
        };
        const LibraryData before = library;
        const MergedImport merged = LibraryImport::merge(library, import, now);

        QCOMPARE(merged.newWindows, 2);
        QCOMPARE(merged.skipped, 3);
        QCOMPARE(merged.newTabIds.size(), 3);
        const LibraryData &d = merged.library;
        QCOMPARE(d.windows.size(), 6);
        QCOMPARE(d.windows.first(4), before.windows);
        QCOMPARE(d.tabs.first(), before.tabs.first());
        QCOMPARE(d.windows[4].title, SavedWindow::makeTitle(5, now));
        QCOMPARE(d.windows[5].title, SavedWindow::makeTitle(7, now) + QStringLiteral(" · Rezepte"));
        QCOMPARE(d.tabsIn(d.windows[4]).size(), 2);

        const SavedTab a = *d.tab(merged.newTabIds[0]);
        QCOMPARE(a.url, QStringLiteral("https://www.A.ch/1"));
        QCOMPARE(a.domain, QStringLiteral("a.ch"));
        QCOMPARE(a.note, QStringLiteral("n"));
        QCOMPARE(a.projectTags, QStringList{QStringLiteral("P")});
        QCOMPARE(a.reminderAt, std::optional<QDateTime>(now));
        QCOMPARE(a.savedAt, now);
        QCOMPARE(a.windowId, d.windows[4].id);
        QCOMPARE(a.windowIndex, 1);
        QCOMPARE(a.tabIndex, 1);
        const SavedTab c = *d.tab(merged.newTabIds[2]);
        QCOMPARE(c.title, QStringLiteral("C"));
        QCOMPARE(c.windowIndex, 3);
        QCOMPARE(d.tab(merged.newTabIds[1])->tabIndex, 3); // position in its group, skipped ones counted
        QVERIFY(c.text.isEmpty() && c.summary.isEmpty() && c.tags.isEmpty() && !c.topicId);
    }

    void mergeOfNothingNewChangesNothing()
    {
        const LibraryData library = sampleLibrary();
        const ImportResult import = LibraryImport::parse(*LibraryExport::write(library, ExportFormat::onetab),
                                                         ImportFormat::onetab);
        const MergedImport merged = LibraryImport::merge(library, import, now);
        QCOMPARE(merged.library, library);
        QCOMPARE(merged.skipped, 4);
        QCOMPARE(merged.newWindows, 0);
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
            QCOMPARE(back.windows[w].title, SavedWindow::makeTitle(w + 1, now));
            QCOMPARE(is.size(), was.size());
            for (qsizetype i = 0; i < was.size(); ++i) {
                QCOMPARE(is[i].url, was[i].url);
                QCOMPARE(is[i].title, was[i].title);
                QCOMPARE(is[i].note, notes ? was[i].note : QString());
            }
        }
    }

    void topicExport_data()
    {
        QTest::addColumn<ExportFormat>("format");
        QTest::addColumn<ImportFormat>("in");
        QTest::newRow("json") << ExportFormat::json << ImportFormat::json;
        QTest::newRow("html") << ExportFormat::html << ImportFormat::html;
        QTest::newRow("onetab") << ExportFormat::onetab << ImportFormat::onetab;
    }

    void topicExport()
    {
        QFETCH(ExportFormat, format);
        QFETCH(ImportFormat, in);
        const LibraryData library = sampleLibrary();
        const auto bytes = LibraryExport::write(library, format, QStringLiteral("Essen und Reisen"));
        QVERIFY(bytes.ok());
        const ImportResult import = LibraryImport::parse(*bytes, in);
        QStringList urls;
        for (const ImportedWindow &w : import.windows)
            for (const ImportedTab &t : w.tabs)
                urls.append(t.url);
        // Library order, not the topic's list order.
        QCOMPARE(urls, (QStringList{library.tabs[1].url, library.tabs[3].url}));
        if (format == ExportFormat::html)
            QCOMPARE(import.windows.value(0).name, QStringLiteral("Essen und Reisen"));
    }

    void jsonExportLeavesPrivateDataOut()
    {
        const LibraryData library = sampleLibrary();
        const QByteArray bytes = *LibraryExport::write(library, ExportFormat::json, QStringLiteral("Essen und Reisen"));
        QVERIFY(!bytes.contains("privat"));
        QVERIFY(!bytes.contains("embeddings\":{\""));
        QVERIFY(!bytes.contains(idText(library.tabs[0].id).toLatin1())); // not in the topic
        QVERIFY(bytes.contains(idText(library.windows[0].id).toLatin1())); // its window stays, with tab 1 only
    }

    void unknownTopicFails()
    {
        const auto result = LibraryExport::write(sampleLibrary(), ExportFormat::markdown, QStringLiteral("essen und reisen"));
        QVERIFY(!result.ok());
        QCOMPARE(result.error(), QStringLiteral("Kein Thema heisst «essen und reisen»."));
    }

    void markdown()
    {
        LibraryData library = sampleLibrary();
        library.windows.removeLast();
        library.tabs.append(tab(QStringLiteral("https://lose.ch"), QStringLiteral("Lose"), QUuid::createUuid()));
        const QString text = QString::fromUtf8(*LibraryExport::write(library, ExportFormat::markdown));
        const QString w1 = SavedWindow::makeTitle(1, now.addDays(-3));
        QCOMPARE(text, QStringLiteral("# Pellmora\n\n## %1\n\n"
                                      "- [Zölle & \"Preise\" \\<heute>](https://www.zeit.de/a?x=1&y=2)\n"
                                      "  Lesen\n  vor Freitag\n"
                                      "- [Bern | Wikipedia](<https://de.wikipedia.org/wiki/Bern_(Stadt)>)\n"
                                      "\n## Ohne Fenster\n\n"
                                      "- [https://example.ch/](https://example.ch/)\n  nur eine Zeile\n"
                                      "- [\\[Rösti\\] \\*knusprig\\* 🥔](https://rezepte.ch/rösti)\n"
                                      "- [Lose](https://lose.ch)\n")
                           .arg(w1));
    }

    void progressAndCancel_data()
    {
        QTest::addColumn<ImportFormat>("format");
        QTest::addColumn<QByteArray>("bytes");
        QByteArray lines, html = "<DL>\n";
        for (int i = 0; i < 10000; ++i) {
            lines += "https://a.ch/" + QByteArray::number(i) + " | T\n";
            html += "<DT><A HREF=\"https://a.ch/" + QByteArray::number(i) + "\">T</A>\n";
        }
        QTest::newRow("lines") << ImportFormat::onetab << lines;
        QTest::newRow("html") << ImportFormat::html << html;
        // The byte-order mark counts: progress is over the file as it lies.
        QTest::newRow("lines after a byte-order mark") << ImportFormat::onetab << "\xEF\xBB\xBF" + lines;
        QTest::newRow("html after a byte-order mark") << ImportFormat::html << "\xEF\xBB\xBF" + html;
    }

    void progressAndCancel()
    {
        QFETCH(ImportFormat, format);
        QFETCH(QByteArray, bytes);
        QList<qint64> seen;
        const ImportResult all = LibraryImport::parse(bytes, format, [&](qint64 done, qint64 total) {
            QCOMPARE(total, bytes.size());
            seen.append(done);
        });
        QCOMPARE(all.tabCount(), 10000);
        QVERIFY(seen.size() > 2);
        QVERIFY(std::is_sorted(seen.begin(), seen.end()));
        QCOMPARE(seen.last(), bytes.size());

        std::stop_source stop;
        stop.request_stop();
        const ImportResult cancelled = LibraryImport::parse(bytes, format, {}, stop.get_token());
        QVERIFY(cancelled.cancelled);
        QVERIFY(cancelled.tabCount() < 10000);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryExchange)
#include "TestLibraryExchange.moc"
