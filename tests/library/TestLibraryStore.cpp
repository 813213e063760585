#include "FakeClock.h"
#include "Fmt.h"
#include "Library.h"
#include "LibraryBackups.h"
#include "LibraryBuilder.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestRegistry.h"
#include "TestSupport.h"

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <limits>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

using TestSupport::readFile;
using TestSupport::writeFile;

namespace {

LibraryData oneTab(const QString &url)
{
    return LibraryBuilder().tab(QStringLiteral("T"), url);
}

QByteArray fileWith(int tabs)
{
    return *LibraryCodec::encode(LibraryBuilder().tabs(tabs));
}

QDateTime local(int day, int hour, int minute = 0, int second = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute, second));
}

} // namespace

// The library file: loading, atomic saving, what failures leave behind,
// taking in other processes' writes, and the daily backups beside it.
class TestLibraryStore : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    FakeClock m_clock;

    QString path(const QString &name = QStringLiteral("library.json")) const
    {
        return m_dir->filePath(QStringLiteral("Pellmora/") + name);
    }
    QStringList files(const QString &pattern) const
    {
        return QDir(path({})).entryList({pattern}, QDir::Files | QDir::Hidden);
    }
    LibraryBackups backups() const { return LibraryBackups(path(), m_clock); }
    QString backupPath(const QString &key) const { return path(QStringLiteral("backups/library-%1.json").arg(key)); }
    QStringList keys() const
    {
        QStringList result;
        for (const LibraryBackup &b : backups().list())
            result.append(b.key);
        return result;
    }
    // A write as the store does it: the backup first, then the new content.
    void writeLibrary(const QByteArray &bytes)
    {
        backups().backUpBeforeWrite();
        QVERIFY(writeFile(path(), bytes));
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_clock.set(local(16, 20, 31));
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
        QTest::newRow("other file's temporary") << ".pellmora-tmp-notes.json-iOwmic" << false << false;
    }

    void saveRemovesTemporariesOfDeadWriters()
    {
        QFETCH(QString, name);
        QFETCH(bool, otherWriting);
        QFETCH(bool, removed);
        QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://a.ch"))));
        QVERIFY(writeFile(path(name), "{\"tabs\":"));
        // Another writer's save holds the folder shared, as LibraryStore does.
        const int other = ::open(QFile::encodeName(path({})).constData(), O_RDONLY | O_DIRECTORY);
        QVERIFY(other >= 0);
        if (otherWriting)
            QCOMPARE(::flock(other, LOCK_SH), 0);
        QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://b.ch"))));
        ::close(other);
        QCOMPARE(QFile::exists(path(name)), !removed);
        QCOMPARE(LibraryStore(path()).load().tabs.value(0).url, QStringLiteral("https://b.ch"));
    }

    void unreadableFileIsKeptAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not json") << QByteArray("kein JSON");
        QTest::newRow("bad record") << QByteArray("{\"tabs\":[{\"url\":\"x\"}]}");
    }

    void unreadableFileIsKeptAside()
    {
        QFETCH(QByteArray, content);
        QVERIFY(writeFile(path(), content));
        QCOMPARE(LibraryStore(path()).load(), LibraryData{});
        const QStringList copies = files(QStringLiteral("library.defekt-*.json"));
        QCOMPARE(copies.size(), 1);
        QCOMPARE(readFile(path(copies.first())), content);
        // The bad file stays until the next change replaces it.
        QCOMPARE(readFile(path()), content);
        Library library{LibraryStore(path())};
        library.mutate([](LibraryData &d) { d.embedderKind = QStringLiteral("x"); });
        QVERIFY(LibraryCodec::decode(readFile(path()), {}).ok());
    }

    // A write that fails keeps the change in memory and the old file as it
    // was, tells once, and the next write after the cause is gone saves.
    void failedWriteKeepsDataAndTheOldFile_data()
    {
        QTest::addColumn<int>("cause");
        QTest::newRow("file where the folder should be") << 0;
        QTest::newRow("folder where the file should be") << 1;
        QTest::newRow("value JSON cannot hold, halfway through") << 2;
    }

    void failedWriteKeepsDataAndTheOldFile()
    {
        QFETCH(int, cause);
        // Tests may run as root, so permissions cannot block the write; a
        // file in the folder's place or a folder in the file's place does.
        const QString blocker = m_dir->filePath(QStringLiteral("blocker"));
        const QString file = cause == 0 ? blocker + QStringLiteral("/library.json") : cause == 1 ? blocker : path();
        if (cause < 2)
            QVERIFY(writeFile(cause == 1 ? blocker + QStringLiteral("/inside") : blocker, "x"));
        Library library{LibraryStore(file)};
        QSignalSpy errors(&library, &Library::lastErrorChanged);
        library.replace(oneTab(QStringLiteral("https://a.ch")));
        const QByteArray before = readFile(file);
        library.mutate([&](LibraryData &d) {
            d.tabs[0].note = QStringLiteral("neu");
            if (cause == 2)
                d.embeddings.insert(idText(d.tabs[0].id), {1.0f, std::numeric_limits<float>::infinity()});
        });
        QVERIFY(!library.lastError().isEmpty());
        QCOMPARE(errors.count(), 1);
        QCOMPARE(library.data().tabs.value(0).note, QStringLiteral("neu"));
        QCOMPARE(readFile(file), before);
        QCOMPARE(files(QStringLiteral("*")), cause == 2 ? QStringList{QStringLiteral("library.json")} : QStringList());

        if (cause < 2)
            QVERIFY(cause == 1 ? QDir(blocker).removeRecursively() : QFile::remove(blocker));
        library.mutate([](LibraryData &d) { d.embeddings.clear(); });
        QVERIFY(library.lastError().isEmpty());
        QCOMPARE(LibraryStore(file).load(), library.data());
    }

    // Another process's write is taken in; the library's own writes, and
    // anything within half a second of them, are not read back.
    void reloadTakesForeignWrites_data()
    {
        QTest::addColumn<int>("laterMs"); // -1: the file was removed
        QTest::addColumn<bool>("reloads");
        QTest::newRow("own write") << 0 << false;
        QTest::newRow("within half a second") << 400 << false;
        QTest::newRow("after half a second") << 1500 << true;
        QTest::newRow("file removed") << -1 << false;
    }

    void reloadTakesForeignWrites()
    {
        QFETCH(int, laterMs);
        QFETCH(bool, reloads);
        Library library{LibraryStore(path())};
        library.replace(oneTab(QStringLiteral("https://own.ch")));
        const QDateTime ownWrite = *library.store().modificationDate();
        if (laterMs < 0) {
            QVERIFY(QFile::remove(path()));
        } else {
            QVERIFY(LibraryStore(path()).save(oneTab(QStringLiteral("https://foreign.ch"))).ok());
            QFile file(path());
            QVERIFY(file.open(QIODevice::ReadWrite));
            QVERIFY(file.setFileTime(ownWrite.addMSecs(laterMs), QFileDevice::FileModificationTime));
        }
        QSignalSpy changes(&library, &Library::dataChanged);
        library.reloadIfChangedOnDisk();
        library.reloadIfChangedOnDisk(); // the same file again changes nothing
        QCOMPARE(changes.count(), reloads ? 1 : 0);
        QCOMPARE(library.data().tabs.value(0).url,
                 reloads ? QStringLiteral("https://foreign.ch") : QStringLiteral("https://own.ch"));
    }

    void storeBacksUpBeforeItsFirstWriteOfTheDay()
    {
        const LibraryStore store(path());
        QVERIFY(store.save(LibraryData{}).ok());
        QVERIFY(!QDir(backups().folder()).exists()); // nothing to copy before the first write
        const QByteArray first = readFile(path());
        QVERIFY(store.save(oneTab(QStringLiteral("https://a.ch"))).ok());
        QVERIFY(store.save(LibraryData{}).ok());
        QCOMPARE(LibraryBackups(path()).list().size(), 1);
        QCOMPARE(readFile(backupPath(Fmt::dayKey(QDateTime::currentDateTime()))), first);
    }

    // One copy a local calendar day, of the file as it was before the day's
    // first write.
    void backupOncePerLocalDay()
    {
        const QByteArray a = fileWith(1), b = fileWith(2);
        QVERIFY(writeFile(path(), a));
        for (const QDateTime &at : {local(16, 8), local(16, 23, 59, 59), local(17, 0, 0, 0)}) {
            m_clock.set(at);
            writeLibrary(at.date().day() == 16 ? b : fileWith(3));
        }
        QCOMPARE(keys(), (QStringList{"2026-11-17", "2026-11-16"}));
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-16"))), a);
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-17"))), b);
    }

    void backupsKeepTheNewestFourteenAndNothingElse()
    {
        QVERIFY(writeFile(backupPath(QStringLiteral("notizen")), "{}"));
        for (int day = 1; day <= 20; ++day) {
            m_clock.set(local(day, 10));
            writeLibrary(fileWith(day));
        }
        const QStringList kept = keys();
        QCOMPARE(kept.size(), LibraryBackups::kept);
        // Day 1 had no file yet, so copies exist for days 2..20; 7..20 remain.
        QCOMPARE(kept.first(), QStringLiteral("2026-11-20"));
        QCOMPARE(kept.last(), QStringLiteral("2026-11-07"));
        QCOMPARE(backups().list().first().tabCount, 19);
        QVERIFY(QFile::exists(backupPath(QStringLiteral("notizen"))));
    }

    // A corrupt file never enters the rotation, where it would push out a
    // good copy, and the day's first good file is copied after all; a
    // restore over it sets it aside.
    void corruptFileIsNeverCopiedButKept()
    {
        QVERIFY(writeFile(path(), "nicht json"));
        QVERIFY(!backups().backUpBeforeWrite().ok());
        QVERIFY(writeFile(backupPath(QStringLiteral("2026-11-09")), fileWith(7)));
        QVERIFY(backups().restore(QStringLiteral("2026-11-09")).ok());
        QCOMPARE(keys(), QStringList{"2026-11-09"});
        QCOMPARE(readFile(path(files(QStringLiteral("library.defekt-*.json")).value(0))), QByteArray("nicht json"));
        writeLibrary(fileWith(5));
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-16"))), fileWith(7));
    }

    // A restore refuses what is no good copy and changes nothing then. Every
    // file it replaces is kept: as today's copy, or, when today has one,
    // under a key with the time, a second later if that is taken.
    void restoreKeepsEveryReplacedFile()
    {
        const QByteArray old = fileWith(7), current = fileWith(2);
        QVERIFY(writeFile(backupPath(QStringLiteral("2026-11-09")), old));
        QVERIFY(writeFile(backupPath(QStringLiteral("2026-11-10")), "{\"tabs\":3}"));
        QVERIFY(writeFile(path(), current));
        for (const char *key : {"2026-11-01", "2026-11-10", "gestern", "../library"}) // none, corrupt, no day, outside
            QVERIFY2(!backups().restore(QString::fromLatin1(key)).ok(), key);
        QCOMPARE(readFile(path()), current);
        QCOMPARE(keys(), (QStringList{"2026-11-10", "2026-11-09"}));

        QVERIFY(backups().restore(QStringLiteral("2026-11-09")).ok());
        QCOMPARE(readFile(path()), old);
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-16"))), current);
        QVERIFY(backups().restore(QStringLiteral("2026-11-16")).ok());
        QVERIFY(backups().restore(QStringLiteral("2026-11-09")).ok());
        QCOMPARE(keys().first(3), (QStringList{"2026-11-16-203101", "2026-11-16-203100", "2026-11-16"}));
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-16-203101"))), current);
        QCOMPARE(readFile(path()), old);
    }

    // The user's own library while the demo stands in for it: kept whole and
    // brought back byte for byte, the demo library going to the backups.
    void ownLibraryKeptAsideComesBackByteForByte()
    {
        const QByteArray own = fileWith(3), demo = fileWith(52);
        QVERIFY(writeFile(path(), own));
        QVERIFY(backups().keepAside().ok());
        QVERIFY(writeFile(path(), demo));
        QVERIFY(backups().hasKept());
        QVERIFY(backups().bringBackKept().ok());
        QCOMPARE(readFile(path()), own);
        QVERIFY(!backups().hasKept());
        QCOMPARE(readFile(backupPath(QStringLiteral("2026-11-16"))), demo);
        QVERIFY(!backups().bringBackKept().ok()); // nothing kept any more
        QCOMPARE(readFile(path()), own);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryStore)
#include "TestLibraryStore.moc"
