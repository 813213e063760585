#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestSupport.h"

#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

namespace {

QByteArray libraryWith(const QStringList &urls)
{
    LibraryData data;
    const QUuid window = QUuid::createUuid();
    const QDateTime at = QDateTime(QDate(2026, 11, 1), QTime(8, 0), Qt::UTC);
    data.windows.append(SavedWindow{window, at, SavedWindow::makeTitle(1, at), {}});
    for (const QString &url : urls) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = url;
        tab.title = QStringLiteral("Titel ") + url.section(u'/', -1);
        tab.savedAt = at;
        tab.windowId = window;
        data.tabs.append(tab);
        data.windows[0].tabIds.append(tab.id);
    }
    const Topic topic{QUuid::createUuid(), QStringLiteral("Lesen"), QStringLiteral("gelb"), {data.tabs.value(0).id}, false};
    data.topics.append(topic);
    return *LibraryCodec::encode(data);
}

} // namespace

class TestExchangeCommands : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_home;

    TestSupport::ProcessResult cli(const QStringList &args, const QByteArray &input = {})
    {
        return TestSupport::run(qEnvironmentVariable("PELLMORA_CLI"), args,
                                {{QStringLiteral("XDG_DATA_HOME"), m_home->path()}}, input);
    }
    QString libraryPath() const { return m_home->filePath(QStringLiteral("Pellmora/library.json")); }
    QString backupPath(const QString &key) const
    {
        return m_home->filePath(QStringLiteral("Pellmora/backups/library-%1.json").arg(key));
    }
    QString writeInput(const QByteArray &bytes)
    {
        const QString path = m_home->filePath(QStringLiteral("eingabe.txt"));
        TestSupport::writeFile(path, bytes);
        return path;
    }

private Q_SLOTS:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(m_home->isValid());
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("import without file") << QStringList{"import"};
        QTest::newRow("import two files") << QStringList{"import", "a", "b"};
        QTest::newRow("import unknown format") << QStringList{"import", "a", "--format", "xml"};
        QTest::newRow("import format without value") << QStringList{"import", "a", "--format"};
        QTest::newRow("import unknown option") << QStringList{"import", "--alles", "a"};
        QTest::newRow("export without format") << QStringList{"export"};
        QTest::newRow("export unknown format") << QStringList{"export", "--format", "pdf"};
        QTest::newRow("export stray argument") << QStringList{"export", "--format", "json", "datei"};
        QTest::newRow("export -o without file") << QStringList{"export", "--format", "json", "-o"};
        QTest::newRow("restore without date") << QStringList{"restore"};
        QTest::newRow("restore not a date") << QStringList{"restore", "gestern"};
        QTest::newRow("restore two dates") << QStringList{"restore", "2026-11-01", "2026-11-02"};
        QTest::newRow("backups with argument") << QStringList{"backups", "alle"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        QVERIFY(TestSupport::writeFile(libraryPath(), libraryWith({QStringLiteral("https://a.ch/1")})));
        const QByteArray before = TestSupport::readFile(libraryPath());
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 2);
        QVERIFY2(r.err.contains(QStringLiteral("Aufruf: pellmora-cli ") + args.first()), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
        QCOMPARE(TestSupport::readFile(libraryPath()), before);
    }

    void importAddsOnceAndReportsLines()
    {
        const QString file = writeInput("https://a.ch/1 | Eins\nhttps://a.ch/2 | Zwei\n\nkaputt\n"
                                        "https://a.ch/1 | doppelt\nhttps://a.ch/3 | Drei\n");
        auto r = cli({QStringLiteral("import"), file});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("3 Tabs in 2 Fenstern importiert, 1 bereits gespeichert, "
                                       "1 fehlerhafte Zeile übersprungen.\n"));
        QCOMPARE(r.err, QStringLiteral("Zeile 4: keine gültige Adresse: kaputt\n"));
        const LibraryData data = LibraryStore(libraryPath()).load();
        QCOMPARE(data.tabs.size(), 3);
        QCOMPARE(data.windows.size(), 2);
        QVERIFY(data.windows[1].title.startsWith(QStringLiteral("Fenster 2 · ")));

        const QByteArray written = TestSupport::readFile(libraryPath());
        r = cli({QStringLiteral("import"), file, QStringLiteral("--format=onetab")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("0 Tabs in 0 Fenstern importiert, 4 bereits gespeichert, "
                                       "1 fehlerhafte Zeile übersprungen.\n"));
        QCOMPARE(TestSupport::readFile(libraryPath()), written); // nothing new, nothing written
    }

    void importGuessesBookmarksFromStandardInput()
    {
        QVERIFY(TestSupport::writeFile(libraryPath(), libraryWith({QStringLiteral("https://a.ch/1")})));
        const QByteArray html = "<!DOCTYPE NETSCAPE-Bookmark-file-1>\n<DL><p>\n<DT><H3>Reisen</H3>\n<DL><p>\n"
                                "<DT><A HREF=\"https://a.ch/1\">alt</A>\n<DT><A HREF=\"https://b.ch/\">Neu</A>\n"
                                "<DD>mit Notiz\n</DL><p>\n</DL>\n";
        const auto r = cli({QStringLiteral("import"), QStringLiteral("-")}, html);
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("1 Tab in 1 Fenster importiert, 1 bereits gespeichert, "
                                       "0 fehlerhafte Zeilen übersprungen.\n"));
        const LibraryData data = LibraryStore(libraryPath()).load();
        QCOMPARE(data.tabs.size(), 2);
        QCOMPARE(data.tabs[1].note, QStringLiteral("mit Notiz"));
        QVERIFY(data.windows[1].title.startsWith(QStringLiteral("Fenster 2 · ")));
        QVERIFY(data.windows[1].title.endsWith(QStringLiteral(" · Reisen")));
        // The first write of the day kept the file as it was.
        QCOMPARE(LibraryStore(backupPath(QDate::currentDate().toString(Qt::ISODate))).load().tabs.size(), 1);
    }

    void importFailures_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing file") << QStringList{"import", "/nicht/da.txt"} << QByteArray()
                                      << "Die Datei /nicht/da.txt kann nicht gelesen werden";
        QTest::newRow("broken export") << QStringList{"import", "DATEI"} << QByteArray("{\"tabs\": [1]}")
                                       << "keine gültige Pellmora-Datei: ";
        QTest::newRow("lines read as json") << QStringList{"import", "DATEI", "--format", "json"}
                                            << QByteArray("https://a.ch | A\n") << "keine gültige Pellmora-Datei: ";
    }

    void importFailures()
    {
        QFETCH(QStringList, args);
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        if (!content.isEmpty())
            args.replace(1, writeInput(content));
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.startsWith(message), qPrintable(r.err));
        QVERIFY(!QFileInfo::exists(libraryPath()));
    }

    void importOfALargeFileShowsProgress()
    {
        QByteArray lines;
        for (int i = 0; lines.size() < 1200 * 1024; ++i)
            lines += "https://example.ch/seite/" + QByteArray::number(i) + " | Seite mit einem längeren Titel " + QByteArray::number(i) + '\n';
        const qint64 count = lines.count('\n');
        const auto r = cli({QStringLiteral("import"), writeInput(lines)});
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.contains(QStringLiteral(" … 100 %\n")), qPrintable(r.err));
        QVERIFY(r.err.contains(QStringLiteral(" … 50 %")));
        QVERIFY(r.err.count(u'\r') >= 5);
        QVERIFY(r.out.startsWith(QStringLiteral("%1 Tabs in 1 Fenster importiert")
                                     .arg(QString::number(count).insert(QString::number(count).size() - 3, u'\''))));
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), count);
    }

    void exportToStandardOutputAndFile()
    {
        QVERIFY(TestSupport::writeFile(libraryPath(),
                                       libraryWith({QStringLiteral("https://a.ch/1"), QStringLiteral("https://a.ch/2")})));
        auto r = cli({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("onetab")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("https://a.ch/1 | Titel 1\nhttps://a.ch/2 | Titel 2\n"));

        const QString out = m_home->filePath(QStringLiteral("export/lesen.md"));
        QVERIFY(QDir().mkpath(QFileInfo(out).absolutePath()));
        r = cli({QStringLiteral("export"), QStringLiteral("--topic"), QStringLiteral("Lesen"), QStringLiteral("-o"), out,
                 QStringLiteral("--format"), QStringLiteral("markdown")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.isEmpty());
        QCOMPARE(TestSupport::readFile(out), QByteArray("# Pellmora\n\n## Lesen\n\n- [Titel 1](https://a.ch/1)\n"));

        r = cli({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json"),
                 QStringLiteral("--topic"), QStringLiteral("Kochen")});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.err, QStringLiteral("Kein Thema heisst «Kochen».\n"));
        QVERIFY(r.out.isEmpty());
    }

    void exportThenImportElsewhere()
    {
        QVERIFY(TestSupport::writeFile(libraryPath(),
                                       libraryWith({QStringLiteral("https://a.ch/1"), QStringLiteral("https://a.ch/2")})));
        const auto exported = cli({QStringLiteral("export"), QStringLiteral("--format"), QStringLiteral("json")});
        QCOMPARE(exported.exitCode, 0);
        init(); // a second machine
        const auto imported = cli({QStringLiteral("import"), QStringLiteral("-")}, exported.out.toUtf8());
        QCOMPARE(imported.exitCode, 0);
        QCOMPARE(imported.out, QStringLiteral("2 Tabs in 1 Fenster importiert, 0 bereits gespeichert, "
                                              "0 fehlerhafte Zeilen übersprungen.\n"));
    }

    void backupsAndRestore()
    {
        auto r = cli({QStringLiteral("backups")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Noch keine Sicherungen in %1\n").arg(m_home->filePath(QStringLiteral("Pellmora/backups"))));

        QStringList many;
        for (int i = 0; i < 1500; ++i)
            many.append(QStringLiteral("https://a.ch/%1").arg(i));
        const QByteArray big = libraryWith(many);
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-02")), big));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-03")), libraryWith({QStringLiteral("https://a.ch/1")})));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-04")), "kaputt"));
        r = cli({QStringLiteral("backups")});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split(u'\n');
        QCOMPARE(lines.value(0), QStringLiteral("Sicherungen in %1:").arg(m_home->filePath(QStringLiteral("Pellmora/backups"))));
        QCOMPARE(lines.value(1), QStringLiteral("2026-11-04           beschädigt        1 KB"));
        QCOMPARE(lines.value(2), QStringLiteral("2026-11-03                1 Tab        1 KB"));
        QCOMPARE(lines.value(3), QStringLiteral("2026-11-02           1'500 Tabs  %1 KB")
                                     .arg(QString::number((big.size() + 1023) / 1024), 7));

        QVERIFY(TestSupport::writeFile(libraryPath(), libraryWith({QStringLiteral("https://jetzt.ch/1")})));
        r = cli({QStringLiteral("restore"), QStringLiteral("2026-11-03")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Bibliothek vom 2026-11-03 wiederhergestellt (1 Tab). "
                                       "Die bisherige ist als Sicherung erhalten.\n"));
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.value(0).url, QStringLiteral("https://a.ch/1"));
        const QString today = QDate::currentDate().toString(Qt::ISODate);
        QCOMPARE(LibraryStore(backupPath(today)).load().tabs.value(0).url, QStringLiteral("https://jetzt.ch/1"));

        r = cli({QStringLiteral("restore"), QStringLiteral("2026-11-04")});
        QCOMPARE(r.exitCode, 1);
        QCOMPARE(r.err, QStringLiteral("Die Sicherung vom 2026-11-04 ist beschädigt.\n"));
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.value(0).url, QStringLiteral("https://a.ch/1"));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestExchangeCommands)
#include "TestExchangeCommands.moc"
