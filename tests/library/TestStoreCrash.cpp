#include "LibraryBuilder.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestRegistry.h"
#include "TestSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QThread>

namespace {

// Kills that met each outcome before the test is satisfied, and the most it tries.
constexpr int outcomesWanted = 15;
constexpr int killsAtMost = 600;

// Every file in the folder but the library itself, hidden ones included;
// folders (the backups) are no writer's temporary files.
QSet<QString> strayFiles(const QString &folder)
{
    QSet<QString> names;
    for (const QString &name : QDir(folder).entryList(QDir::Files | QDir::Hidden | QDir::System))
        if (name != u"library.json")
            names.insert(name);
    return names;
}

// The generations the writer reported as saved, the last one or `none`.
qint64 lastReported(QProcess &writer, qint64 none)
{
    const QList<QByteArray> lines = writer.readAllStandardOutput().trimmed().split('\n');
    bool ok = false;
    const qint64 last = lines.last().toLongLong(&ok);
    return ok ? last : none;
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

        // Pace the kills by how long this machine takes to start the writer
        // and finish its first save.
        QProcess first;
        QElapsedTimer timer;
        timer.start();
        first.start(QStringLiteral(STORE_WRITER), {path, QStringLiteral("1")});
        while (lastReported(first, -1) < 0)
            QVERIFY2(first.waitForReadyRead(30000), "the writer never finished a save");
        const qint64 firstSaveMs = timer.elapsed();
        first.kill();
        QVERIFY(first.waitForFinished());
        const quint32 seed = QRandomGenerator::global()->generate();
        qInfo("first save after %lld ms; seed %u", static_cast<long long>(firstSaveMs), seed);
        QRandomGenerator random(seed);

        qint64 confirmed = store.load().context.freeText.toLongLong();
        QVERIFY(confirmed >= 1);
        QSet<QString> strayBefore = strayFiles(folder);
        int keptOld = 0, tookNew = 0, kills = 0;
        for (; (keptOld < outcomesWanted || tookNew < outcomesWanted) && kills < killsAtMost; ++kills) {
            QProcess writer;
            writer.start(QStringLiteral(STORE_WRITER), {path, QString::number(confirmed + 1)});
            QVERIFY(writer.waitForStarted());
            QThread::msleep(random.bounded(quint32(2 * firstSaveMs + 1)));
            writer.kill();
            QVERIFY(writer.waitForFinished());
            const qint64 reported = lastReported(writer, confirmed);

            const QByteArray bytes = TestSupport::readFile(path);
            const auto decoded = LibraryCodec::decode(bytes, LibraryBuilder::now());
            QVERIFY2(decoded, qPrintable(QStringLiteral("kill %1: %2").arg(kills).arg(decoded.error())));
            // The last save the writer reported, or the one it was in when killed, whole.
            const qint64 onDisk = decoded->context.freeText.toLongLong();
            QVERIFY2(onDisk == reported || onDisk == reported + 1,
                     qPrintable(QStringLiteral("kill %1: generation %2 on disk, %3 reported")
                                    .arg(kills).arg(onDisk).arg(reported)));
            QCOMPARE(decoded->tabs.size(), 1200);
            QCOMPARE(decoded->tabs.last().summary, decoded->context.freeText);
            (onDisk == confirmed ? keptOld : tookNew) += 1;

            // A save that finished after the earlier kill removed its leftovers.
            const QSet<QString> strayNow = strayFiles(folder);
            if (onDisk != confirmed)
                QVERIFY2(!strayNow.intersects(strayBefore), qPrintable(strayNow.values().join(u' ')));
            strayBefore = strayNow;
            confirmed = onDisk;
        }
        qInfo("%d kills: %d kept the old library, %d found a new one", kills, keptOld, tookNew);
        // Both outcomes must occur, or the kills never met the writer at work.
        QVERIFY(keptOld >= outcomesWanted);
        QVERIFY(tookNew >= outcomesWanted);

        const LibraryData last = store.load();
        QVERIFY(store.save(last));
        QCOMPARE(strayFiles(folder), QSet<QString>());
        QCOMPARE(store.load(), last);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestStoreCrash)
#include "TestStoreCrash.moc"
