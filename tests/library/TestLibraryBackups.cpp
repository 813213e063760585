#include "FakeClock.h"
#include "Fmt.h"
#include "LibraryBackups.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestSupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

namespace {

QByteArray libraryWith(int tabs)
{
    LibraryData data;
    const QDateTime at(QDate(2026, 11, 1), QTime(8, 0), Qt::UTC);
    for (int i = 0; i < tabs; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = QStringLiteral("https://example.ch/%1").arg(i);
        tab.savedAt = at;
        tab.windowId = QUuid::createUuid();
        data.tabs.append(tab);
    }
    return *LibraryCodec::encode(data);
}

QDateTime local(int day, int hour, int minute = 0, int second = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute, second));
}

} // namespace

class TestLibraryBackups : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_dir;
    FakeClock m_clock;

    QString libraryPath() const { return m_dir->filePath(QStringLiteral("Pellmora/library.json")); }
    LibraryBackups backups() const { return LibraryBackups(libraryPath(), m_clock); }
    QString backupPath(const QString &key) const
    {
        return m_dir->filePath(QStringLiteral("Pellmora/backups/library-%1.json").arg(key));
    }
    QStringList keys() const
    {
        QStringList result;
        for (const LibraryBackup &b : backups().list())
            result.append(b.key);
        return result;
    }
    // A write as the store does it: backup first, then the new content.
    void writeLibrary(const QByteArray &bytes)
    {
        backups().backUpBeforeWrite();
        QVERIFY(TestSupport::writeFile(libraryPath(), bytes));
    }

private Q_SLOTS:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_clock.set(local(16, 20, 31));
    }

    void noLibraryNoBackup()
    {
        QVERIFY(backups().backUpBeforeWrite().ok());
        QVERIFY(!QDir(backups().folder()).exists());
        QVERIFY(backups().list().isEmpty());
    }

    void oncePerLocalDay_data()
    {
        QTest::addColumn<QDateTime>("first");
        QTest::addColumn<QDateTime>("second");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("same day") << local(16, 8) << local(16, 23, 59, 59) << QStringList{"2026-11-16"};
        QTest::newRow("across midnight") << local(16, 23, 59, 59) << local(17, 0, 0, 0)
                                         << QStringList{"2026-11-17", "2026-11-16"};
        // 23:30 UTC is already the next day in Zurich.
        QTest::newRow("local calendar, not UTC")
            << QDateTime(QDate(2026, 11, 16), QTime(22, 0), Qt::UTC)
            << QDateTime(QDate(2026, 11, 16), QTime(23, 30), Qt::UTC)
            << QStringList{"2026-11-17", "2026-11-16"};
    }

    void oncePerLocalDay()
    {
        QFETCH(QDateTime, first);
        QFETCH(QDateTime, second);
        QFETCH(QStringList, expected);
        const QByteArray a = libraryWith(1), b = libraryWith(2), c = libraryWith(3);
        QVERIFY(TestSupport::writeFile(libraryPath(), a));
        m_clock.set(first);
        writeLibrary(b);
        m_clock.set(second);
        writeLibrary(c);
        QCOMPARE(keys(), expected);
        // The copy holds the file as it was before the day's first write.
        QCOMPARE(TestSupport::readFile(backupPath(expected.last())), a);
        if (expected.size() == 2)
            QCOMPARE(TestSupport::readFile(backupPath(expected.first())), b);
    }

    void keepsNewestFourteen()
    {
        for (int day = 1; day <= 20; ++day) {
            m_clock.set(local(day, 10));
            writeLibrary(libraryWith(day));
        }
        const QStringList kept = keys();
        QCOMPARE(kept.size(), LibraryBackups::kept);
        // Day 1 had no file yet, so copies exist for days 2..20; 7..20 remain.
        QCOMPARE(kept.first(), QStringLiteral("2026-11-20"));
        QCOMPARE(kept.last(), QStringLiteral("2026-11-07"));
        QCOMPARE(backups().list().first().tabCount, 19);
    }

    void corruptFileIsNeverCopied()
    {
        QVERIFY(TestSupport::writeFile(libraryPath(), "{\"tabs\": [oops"));
        const Status status = backups().backUpBeforeWrite();
        QVERIFY(!status.ok());
        QVERIFY(!QFileInfo::exists(backupPath(QStringLiteral("2026-11-16"))));
        // A later write that day, once the file is good again, takes the copy.
        QVERIFY(TestSupport::writeFile(libraryPath(), libraryWith(4)));
        m_clock.advance(60);
        writeLibrary(libraryWith(5));
        QCOMPARE(backups().list().value(0).tabCount, 4);
    }

    void listShowsCountsAndSizes()
    {
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-10")), libraryWith(3)));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-12")), "kaputt"));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-12-093000")), libraryWith(1)));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("notizen")), "{}"));
        QVERIFY(TestSupport::writeFile(m_dir->filePath(QStringLiteral("Pellmora/backups/anderes.json")), "{}"));
        const QList<LibraryBackup> list = backups().list();
        QCOMPARE(list.size(), 3);
        QCOMPARE(list[0].key, QStringLiteral("2026-11-12-093000"));
        QCOMPARE(list[0].day, QDate(2026, 11, 12));
        QCOMPARE(list[1].tabCount, -1);
        QCOMPARE(list[1].size, 6);
        QCOMPARE(list[2].tabCount, 3);
        QCOMPARE(list[2].size, libraryWith(3).size());
    }

    void restoreKeepsTheCurrentFile_data()
    {
        QTest::addColumn<bool>("todayHasCopy");
        QTest::addColumn<QString>("savedAs");
        QTest::newRow("today without copy") << false << "2026-11-16";
        QTest::newRow("today with copy") << true << "2026-11-16-203100";
    }

    void restoreKeepsTheCurrentFile()
    {
        QFETCH(bool, todayHasCopy);
        QFETCH(QString, savedAs);
        const QByteArray old = libraryWith(7), current = libraryWith(2);
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-09")), old));
        if (todayHasCopy)
            QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-16")), libraryWith(1)));
        QVERIFY(TestSupport::writeFile(libraryPath(), current));

        const Status status = backups().restore(QStringLiteral("2026-11-09"));
        QVERIFY2(status.ok(), qPrintable(status.error()));
        QCOMPARE(TestSupport::readFile(libraryPath()), old);
        QCOMPARE(TestSupport::readFile(backupPath(savedAs)), current);
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), 7);
        if (todayHasCopy)
            QCOMPARE(backups().list().value(1).tabCount, 1);
    }

    void restoreTwiceInOneSecondKeepsBoth()
    {
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-09")), libraryWith(7)));
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-16")), libraryWith(1)));
        QVERIFY(TestSupport::writeFile(libraryPath(), libraryWith(2)));
        QVERIFY(backups().restore(QStringLiteral("2026-11-09")).ok());
        QVERIFY(backups().restore(QStringLiteral("2026-11-16")).ok());
        QCOMPARE(keys(), (QStringList{"2026-11-16-203101", "2026-11-16-203100", "2026-11-16", "2026-11-09"}));
        QCOMPARE(LibraryStore(libraryPath()).load().tabs.size(), 1);
    }

    void restoreRefuses_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("message");
        QTest::newRow("no such day") << "2026-11-01" << "Keine Sicherung vom 2026-11-01.";
        QTest::newRow("corrupt copy") << "2026-11-10" << "Die Sicherung vom 2026-11-10 ist beschädigt.";
        QTest::newRow("not a date") << "gestern" << "Ungültiges Datum: gestern (erwartet JJJJ-MM-TT)";
        QTest::newRow("path outside") << "../library" << "Ungültiges Datum: ../library (erwartet JJJJ-MM-TT)";
    }

    void restoreRefuses()
    {
        QFETCH(QString, key);
        QFETCH(QString, message);
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-10")), "{\"tabs\":3}"));
        const QByteArray current = libraryWith(2);
        QVERIFY(TestSupport::writeFile(libraryPath(), current));
        const Status status = backups().restore(key);
        QVERIFY(!status.ok());
        QCOMPARE(status.error(), message);
        QCOMPARE(TestSupport::readFile(libraryPath()), current);
        QCOMPARE(keys(), QStringList{"2026-11-10"});
    }

    void restoreOverCorruptFileSetsItAside()
    {
        QVERIFY(TestSupport::writeFile(backupPath(QStringLiteral("2026-11-09")), libraryWith(7)));
        QVERIFY(TestSupport::writeFile(libraryPath(), "nicht json"));
        QVERIFY(backups().restore(QStringLiteral("2026-11-09")).ok());
        QCOMPARE(keys(), QStringList{"2026-11-09"});
        const QStringList aside = QDir(m_dir->filePath(QStringLiteral("Pellmora")))
                                      .entryList({QStringLiteral("library.defekt-*.json")});
        QCOMPARE(aside.size(), 1);
    }

    void storeBacksUpBeforeItsFirstWrite()
    {
        const LibraryStore store(libraryPath());
        LibraryData data;
        QVERIFY(store.save(data).ok());
        QVERIFY(!QDir(backups().folder()).exists()); // nothing to copy before the first write
        const QByteArray first = TestSupport::readFile(libraryPath());
        data.topicsByAI = true;
        QVERIFY(store.save(data).ok());
        QVERIFY(store.save(LibraryData{}).ok());
        const QString today = Fmt::dayKey(QDateTime::currentDateTime());
        const LibraryBackups real(libraryPath());
        QCOMPARE(real.list().size(), 1);
        QCOMPARE(TestSupport::readFile(backupPath(today)), first);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryBackups)
#include "TestLibraryBackups.moc"
