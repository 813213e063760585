#include "AtomicFile.h"
#include "Library.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestSupport.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include "TestRegistry.h"

namespace {

LibraryData oneTab(const QString &url)
{
    LibraryData d;
    SavedTab t;
    t.id = QUuid::createUuid();
    t.url = url;
    t.domain = SavedTab::domainOf(url);
    t.savedAt = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);
    t.windowId = QUuid::createUuid();
    d.tabs = {t};
    return d;
}

void setModified(const QString &path, const QDateTime &when)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QVERIFY(file.setFileTime(when, QFileDevice::FileModificationTime));
}

} // namespace

class TestLibraryStore : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString path() const { return m_dir.filePath(QStringLiteral("Pellmora/library.json")); }

private Q_SLOTS:
    void init()
    {
        QDir(m_dir.path()).removeRecursively();
        QDir().mkpath(m_dir.path());
    }

    void defaultPathFollowsXdg()
    {
        const QString xdg = qEnvironmentVariable("XDG_DATA_HOME");
        QVERIFY(!xdg.isEmpty()); // the test environment sets it
        QCOMPARE(LibraryStore::defaultPath(), xdg + QStringLiteral("/Pellmora/library.json"));
    }

    void missingFileGivesNewLibraryAndNoFile()
    {
        Library library{LibraryStore(path())};
        QCOMPARE(library.data(), LibraryData{});
        QVERIFY(!QFile::exists(path()));
        QVERIFY(!library.store().modificationDate());
    }

    void firstChangeCreatesFolderAndFile()
    {
        Library library{LibraryStore(path())};
        library.replace(oneTab(QStringLiteral("https://a.ch")));
        QVERIFY(QFile::exists(path()));
        QCOMPARE(LibraryStore(path()).load(), library.data());
        QVERIFY(library.lastError().isEmpty());
    }

    // A writer killed between writing and renaming leaves its temporary file;
    // the next save removes it, but not while another writer is at work.
    void saveRemovesTemporariesOfDeadWriters_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("otherWriting");
        QTest::addColumn<bool>("removed");
        QTest::newRow("dead writer") << ".pellmora-tmp-library.json-iOwmic" << false << true;
        QTest::newRow("another writer at work") << ".pellmora-tmp-library.json-Ab12Cd" << true << false;
        QTest::newRow("user's backup") << "library.json.backup" << false << false;
        QTest::newRow("user's file, six letters") << "library.json.2024ab" << false << false;
        QTest::newRow("other file's temporary") << ".pellmora-tmp-notes.json-iOwmic" << false << false;
    }

    void saveRemovesTemporariesOfDeadWriters()
    {
        QFETCH(QString, name);
        QFETCH(bool, otherWriting);
        QFETCH(bool, removed);
        QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://a.ch"))));
        const QString folder = QFileInfo(path()).absolutePath();
        const QString stray = QDir(folder).filePath(name);
        QVERIFY(TestSupport::writeFile(stray, "{\"tabs\":"));
        // Another writer's save holds the folder shared, as LibraryStore does.
        const int other = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
        QVERIFY(other >= 0);
        if (otherWriting)
            QCOMPARE(::flock(other, LOCK_SH), 0);

        QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://b.ch"))));
        ::close(other);
        QCOMPARE(QFile::exists(stray), !removed);
        QCOMPARE(LibraryStore(path()).load().tabs.value(0).url, QStringLiteral("https://b.ch"));
    }

    void unreadableFileIsKeptAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not json") << QByteArray("kein JSON");
        QTest::newRow("bad record") << QByteArray("{\"tabs\":[{\"url\":\"x\"}]}");
        QTest::newRow("binary") << QByteArray("\xFF\xFE\x00\x01", 4);
    }

    void unreadableFileIsKeptAside()
    {
        QFETCH(QByteArray, content);
        QVERIFY(TestSupport::writeFile(path(), content));
        const LibraryData loaded = LibraryStore(path()).load();
        QCOMPARE(loaded, LibraryData{});
        const QStringList copies = QDir(m_dir.filePath(QStringLiteral("Pellmora")))
                                       .entryList({QStringLiteral("library.defekt-*.json")});
        QCOMPARE(copies.size(), 1);
        QVERIFY(copies.first().contains(QRegularExpression(QStringLiteral("^library\\.defekt-\\d{10}\\.json$"))));
        QCOMPARE(TestSupport::readFile(m_dir.filePath(QStringLiteral("Pellmora/") + copies.first())), content);
        // The bad file stays until the next change replaces it.
        QCOMPARE(TestSupport::readFile(path()), content);
        Library library{LibraryStore(path())};
        library.mutate([](LibraryData &d) { d.embedderKind = QStringLiteral("x"); });
        QVERIFY(LibraryCodec::decode(TestSupport::readFile(path()), {}).ok());
    }

    void writeFailureSetsMessageAndKeepsData_data()
    {
        QTest::addColumn<bool>("folderAtFile");
        QTest::newRow("file where the folder should be") << false;
        QTest::newRow("folder where the file should be") << true;
    }

    void writeFailureSetsMessageAndKeepsData()
    {
        QFETCH(bool, folderAtFile);
        // Tests may run as root, so permissions cannot block the write; a
        // file in the folder's place or a folder in the file's place does.
        const QString blocker = m_dir.filePath(QStringLiteral("blocker"));
        const QString blocked = folderAtFile ? blocker : blocker + QStringLiteral("/library.json");
        if (folderAtFile)
            QVERIFY(TestSupport::writeFile(blocker + QStringLiteral("/inside"), "x"));
        else
            QVERIFY(TestSupport::writeFile(blocker, "x"));
        Library library{LibraryStore(blocked)};
        QSignalSpy errors(&library, &Library::lastErrorChanged);
        QSignalSpy changes(&library, &Library::dataChanged);
        library.replace(oneTab(QStringLiteral("https://a.ch")));
        QVERIFY(library.lastError().startsWith(QStringLiteral("Speichern fehlgeschlagen: ")));
        // The system's reason in German, not the file library's English.
        if (folderAtFile)
            QCOMPARE(library.lastError(), Library::saveFailedMessage(AtomicFile::describeError(EISDIR)));
        QCOMPARE(library.data().tabs.size(), 1);
        QCOMPARE(errors.count(), 1);
        QCOMPARE(changes.count(), 1);
        // The same failure again does not signal again.
        library.mutate([](LibraryData &) {});
        QCOMPARE(errors.count(), 1);
        // Once the way is free, the next write clears the message.
        if (folderAtFile)
            QVERIFY(QDir(blocker).removeRecursively());
        else
            QVERIFY(QFile::remove(blocker));
        library.mutate([](LibraryData &) {});
        QVERIFY(library.lastError().isEmpty());
        QCOMPARE(errors.count(), 2);
        QCOMPARE(LibraryStore(blocked).load().tabs.size(), 1);
    }

    void nonFiniteVectorFailsSave()
    {
        Library library{LibraryStore(path())};
        library.mutate([](LibraryData &d) {
            d.embeddings.insert(QStringLiteral("k"), {std::numeric_limits<float>::infinity()});
        });
        QVERIFY(library.lastError().startsWith(QStringLiteral("Speichern fehlgeschlagen: ")));
    }

    void updateTabWritesEvenWithoutMatch()
    {
        Library library{LibraryStore(path())};
        library.replace(oneTab(QStringLiteral("https://a.ch")));
        QVERIFY(QFile::remove(path()));
        QSignalSpy changes(&library, &Library::dataChanged);
        const LibraryData before = library.data();
        library.updateTab(QUuid::createUuid(), [](SavedTab &t) { t.note = QStringLiteral("x"); });
        QCOMPARE(library.data(), before);
        QCOMPARE(changes.count(), 1);
        QVERIFY(QFile::exists(path()));

        library.updateTab(before.tabs.at(0).id, [](SavedTab &t) { t.note = QStringLiteral("Notiz"); });
        QCOMPARE(LibraryStore(path()).load().tabs.at(0).note, QStringLiteral("Notiz"));
    }

    void reloadTolerance_data()
    {
        QTest::addColumn<int>("laterMs");
        QTest::addColumn<bool>("reloads");
        QTest::newRow("own write") << 0 << false;
        QTest::newRow("within half a second") << 400 << false;
        QTest::newRow("after half a second") << 1500 << true;
    }

    void reloadTolerance()
    {
        QFETCH(int, laterMs);
        QFETCH(bool, reloads);
        Library library{LibraryStore(path())};
        library.replace(oneTab(QStringLiteral("https://own.ch")));
        const QDateTime ownWrite = *library.store().modificationDate();

        // Another process writes a different library.
        QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://foreign.ch"))).ok());
        setModified(path(), ownWrite.addMSecs(laterMs));

        QSignalSpy changes(&library, &Library::dataChanged);
        library.reloadIfChangedOnDisk();
        QCOMPARE(changes.count(), reloads ? 1 : 0);
        QCOMPARE(library.data().tabs.at(0).url,
                 reloads ? QStringLiteral("https://foreign.ch") : QStringLiteral("https://own.ch"));
        // A second reload of the same file changes nothing.
        library.reloadIfChangedOnDisk();
        QCOMPARE(changes.count(), reloads ? 1 : 0);
    }

    void reloadWithoutFileKeepsData()
    {
        Library library{LibraryStore(path())};
        library.replace(oneTab(QStringLiteral("https://a.ch")));
        QVERIFY(QFile::remove(path()));
        QSignalSpy changes(&library, &Library::dataChanged);
        library.reloadIfChangedOnDisk();
        QCOMPARE(changes.count(), 0);
        QCOMPARE(library.data().tabs.size(), 1);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryStore)
#include "TestLibraryStore.moc"
