#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "Library.h"
#include "LibraryStore.h"
#include "LibraryTransfer.h"
#include "TestSupport.h"
#include "TestRegistry.h"

Q_DECLARE_METATYPE(ExportFormat)

// The file menu's export and import: formats by file name, a library written
// and read back in each format that can be read, known addresses skipped,
// and files that cannot be read or written.
class TestLibraryTransfer : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void formatByName_data();
    void formatByName();
    void exportAndImportBack_data();
    void exportAndImportBack();
    void unreadableFile();
    void notAnImport();
    void unwritablePlace();

private:
    LibraryData sample() const;
    std::unique_ptr<Library> emptyLibrary(const QString &name) const;

    std::unique_ptr<QTemporaryDir> m_dir;
    const QDateTime m_now = QDateTime(QDate(2026, 11, 16), QTime(20, 31));
};

void TestLibraryTransfer::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

void TestLibraryTransfer::cleanup()
{
    m_dir.reset();
}

LibraryData TestLibraryTransfer::sample() const
{
    LibraryData data;
    const QList<QStringList> windows = {
        {QStringLiteral("https://www.sbb.ch/de/fahrplan"), QStringLiteral("https://www.alfama.pt/hotel")},
        {QStringLiteral("https://de.wikipedia.org/wiki/Sintra")},
    };
    qint64 number = 0;
    for (const QStringList &urls : windows) {
        SavedWindow window;
        window.id = QUuid::createUuid();
        window.savedAt = m_now.addDays(-1);
        window.title = SavedWindow::makeTitle(++number, window.savedAt);
        for (const QString &url : urls) {
            SavedTab tab;
            tab.id = QUuid::createUuid();
            tab.url = url;
            tab.title = QStringLiteral("Seite ") + QString::number(data.tabs.size() + 1);
            tab.domain = SavedTab::domainOf(url);
            tab.savedAt = window.savedAt;
            tab.windowId = window.id;
            data.tabs.append(tab);
            window.tabIds.append(tab.id);
        }
        data.windows.append(window);
    }
    return data;
}

std::unique_ptr<Library> TestLibraryTransfer::emptyLibrary(const QString &name) const
{
    return std::make_unique<Library>(LibraryStore(m_dir->filePath(name)));
}

void TestLibraryTransfer::formatByName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<ExportFormat>("format");
    QTest::newRow("json") << "/a/Pellmora.json" << ExportFormat::json;
    QTest::newRow("html") << "/a/b.html" << ExportFormat::html;
    QTest::newRow("htm, upper case") << "/a/B.HTM" << ExportFormat::html;
    QTest::newRow("tab lines") << "/a/tabs.txt" << ExportFormat::onetab;
    QTest::newRow("markdown") << "/a/notes.md" << ExportFormat::markdown;
    QTest::newRow("no ending") << "/a/Pellmora" << ExportFormat::json;
    QTest::newRow("unknown ending") << "/a/x.csv" << ExportFormat::json;
    QTest::newRow("dot in the folder only") << "/a.html/x" << ExportFormat::json;
}

void TestLibraryTransfer::formatByName()
{
    QFETCH(QString, path);
    QFETCH(ExportFormat, format);
    QCOMPARE(LibraryTransfer::exportFormatFor(path), format);
}

void TestLibraryTransfer::exportAndImportBack_data()
{
    QTest::addColumn<QString>("fileName");
    QTest::newRow("json") << "export.json";
    QTest::newRow("bookmarks") << "export.html";
    QTest::newRow("tab lines") << "export.txt";
}

void TestLibraryTransfer::exportAndImportBack()
{
    QFETCH(QString, fileName);
    const QString path = m_dir->filePath(fileName);
    const Result<QString> exported = LibraryTransfer::exportTo(sample(), path);
    QVERIFY2(exported, qPrintable(exported.error()));
    QCOMPARE(*exported, QStringLiteral("Bibliothek exportiert: ") + path);

    auto library = emptyLibrary(QStringLiteral("library.json"));
    const Result<ImportResult> read = LibraryTransfer::readImport(path);
    QVERIFY2(read, qPrintable(read.error()));
    const Result<QString> applied = LibraryTransfer::applyImport(*library, *read, m_now);
    QVERIFY2(applied, qPrintable(applied.error()));
    QCOMPARE(*applied, QStringLiteral("3 Tabs in 2 Fenstern importiert, 0 bereits gespeichert, "
                                      "0 fehlerhafte Zeilen übersprungen."));
    QStringList urls;
    for (const SavedTab &tab : library->data().tabs)
        urls.append(tab.url);
    QCOMPARE(urls, QStringList({QStringLiteral("https://www.sbb.ch/de/fahrplan"),
                                QStringLiteral("https://www.alfama.pt/hotel"),
                                QStringLiteral("https://de.wikipedia.org/wiki/Sintra")}));
    QCOMPARE(library->data().windows.size(), 2);
    // Written through to the file at once.
    QCOMPARE(LibraryStore(library->store().filePath()).load().tabs.size(), 3);

    // The same file again adds nothing and does not write.
    QSignalSpy changes(library.get(), &Library::dataChanged);
    const Result<QString> again = LibraryTransfer::applyImport(*library, *read, m_now);
    QVERIFY(again);
    QCOMPARE(*again, QStringLiteral("0 Tabs in 0 Fenstern importiert, 3 bereits gespeichert, "
                                    "0 fehlerhafte Zeilen übersprungen."));
    QCOMPARE(changes.size(), 0);
    QCOMPARE(library->data().tabs.size(), 3);
}

void TestLibraryTransfer::unreadableFile()
{
    const QString path = m_dir->filePath(QStringLiteral("fehlt.json"));
    const Result<ImportResult> read = LibraryTransfer::readImport(path);
    QVERIFY(!read);
    QVERIFY2(read.error().startsWith(QStringLiteral("Die Datei ") + path
                                     + QStringLiteral(" kann nicht gelesen werden: ")),
             qPrintable(read.error()));
}

void TestLibraryTransfer::notAnImport()
{
    // Something that looks like JSON but is not a library: nothing is added.
    const QString path = m_dir->filePath(QStringLiteral("kaputt.json"));
    QVERIFY(TestSupport::writeFile(path, "{\"tabs\": 12"));
    auto library = emptyLibrary(QStringLiteral("library.json"));
    const Result<ImportResult> read = LibraryTransfer::readImport(path);
    QVERIFY(read);
    const Result<QString> applied = LibraryTransfer::applyImport(*library, *read, m_now);
    QVERIFY(!applied);
    QVERIFY(!applied.error().isEmpty());
    QVERIFY(library->data().tabs.isEmpty());
    QVERIFY(!QFile::exists(library->store().filePath()));
}

void TestLibraryTransfer::unwritablePlace()
{
    const QString path = m_dir->filePath(QStringLiteral("gibt-es-nicht/export.json"));
    const Result<QString> exported = LibraryTransfer::exportTo(sample(), path);
    QVERIFY(!exported);
    QVERIFY2(exported.error().startsWith(QStringLiteral("Die Datei ") + path
                                         + QStringLiteral(" kann nicht geschrieben werden: ")),
             qPrintable(exported.error()));
}

PELLMORA_TEST_GUILESS_MAIN(TestLibraryTransfer)
#include "TestLibraryTransfer.moc"
