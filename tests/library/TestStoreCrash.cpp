#include "BigLibrary.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include "TestRegistry.h"

namespace {

constexpr int killsWanted = 200;

// Every file in the folder but the library file itself, hidden ones included.
// Folders (such as the backups) are not the writer's temporary files.
QSet<QString> strayFiles(const QString &folder)
{
    QSet<QString> names;
    const auto entries = QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System);
    for (const QString &name : entries) {
        if (name != u"library.json")
            names.insert(name);
    }
    return names;
}

QList<qint64> reportedGenerations(const QByteArray &out)
{
    QList<qint64> generations;
    for (const QByteArray &line : out.split('\n')) {
        bool ok = false;
        const qint64 g = line.toLongLong(&ok);
        if (ok)
            generations.append(g);
    }
    return generations;
}

} // namespace

// A writer killed at any moment leaves the old library or the new one on
// disk, never a mix, and no temporary file outlives the next save.
class TestStoreCrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killedWriterLeavesOldOrNewLibrary()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString folder = dir.filePath(QStringLiteral("Pellmora"));
        const QString path = folder + QStringLiteral("/library.json");
        const LibraryStore store(path);
        QVERIFY(store.save(BigLibrary::make(0)));
        const QDateTime now = QDateTime::fromSecsSinceEpoch(1763321465, Qt::UTC);

        // Pace the kills by how long this machine (or this build) takes to
        // start the writer and finish its first save.
        qint64 firstSaveMs = 0;
        {
            QProcess child;
            QElapsedTimer timer;
            timer.start();
            child.start(QStringLiteral(STORE_WRITER), {path, QStringLiteral("1")});
            QVERIFY(child.waitForStarted());
            while (reportedGenerations(child.readAllStandardOutput()).isEmpty())
                QVERIFY2(child.waitForReadyRead(30000), "writer never finished a save");
            firstSaveMs = timer.elapsed();
            child.kill();
            QVERIFY(child.waitForFinished());
        }
        const quint32 seed = QRandomGenerator::global()->generate();
        qInfo("first save after %lld ms; seed %u", static_cast<long long>(firstSaveMs), seed);
        QRandomGenerator random(seed);

        qint64 confirmed = BigLibrary::generationOf(LibraryCodec::decode(TestSupport::readFile(path), now).value());
        QVERIFY(confirmed >= 1);
        QSet<QString> strayBefore = strayFiles(folder);
        int keptOld = 0;
        int tookNew = 0;
        int stray = 0;
        for (int kill = 0; kill < killsWanted; ++kill) {
            const qint64 first = confirmed + 1;
            QProcess child;
            child.start(QStringLiteral(STORE_WRITER), {path, QString::number(first)});
            QVERIFY(child.waitForStarted());
            QThread::msleep(random.bounded(quint32(2 * firstSaveMs + 1)));
            child.kill();
            QVERIFY(child.waitForFinished());
            QCOMPARE(child.exitStatus(), QProcess::CrashExit);

            const QList<qint64> reported = reportedGenerations(child.readAllStandardOutput());
            const qint64 lastReported = reported.isEmpty() ? confirmed : reported.last();
            const QByteArray bytes = TestSupport::readFile(path);
            const auto decoded = LibraryCodec::decode(bytes, now);
            QVERIFY2(decoded, qPrintable(QStringLiteral("kill %1: %2").arg(kill).arg(decoded.error())));
            const qint64 onDisk = BigLibrary::generationOf(*decoded);
            // The last save the writer reported, or the one it was in when killed.
            QVERIFY2(onDisk == lastReported || onDisk == lastReported + 1,
                     qPrintable(QStringLiteral("kill %1: generation %2 on disk, %3 reported")
                                    .arg(kill).arg(onDisk).arg(lastReported)));
            QCOMPARE(bytes, LibraryCodec::encode(BigLibrary::make(onDisk)).value());
            (onDisk == confirmed ? keptOld : tookNew) += 1;

            const QSet<QString> strayNow = strayFiles(folder);
            if (onDisk != confirmed) {
                // A save finished after the earlier kill: its leftovers are gone.
                QVERIFY2(!strayNow.intersects(strayBefore),
                         qPrintable(QStringList(strayNow.cbegin(), strayNow.cend()).join(u' ')));
            }
            stray += int(strayNow.size());
            strayBefore = strayNow;
            confirmed = onDisk;
        }
        qInfo("%d kills: %d kept the old library, %d found a new one, %d temporary files seen",
              killsWanted, keptOld, tookNew, stray);
        // Both outcomes must occur, or the kills never met the writer at work.
        QVERIFY(keptOld > 0);
        QVERIFY(tookNew > 0);

        QVERIFY(store.save(BigLibrary::make(confirmed + 1)));
        QCOMPARE(strayFiles(folder), QSet<QString>());
        QCOMPARE(store.load(), BigLibrary::make(confirmed + 1));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestStoreCrash)
#include "TestStoreCrash.moc"
