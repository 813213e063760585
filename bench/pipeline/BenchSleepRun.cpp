#include "SleepRun.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include "BenchTable.h"
#include "Clock.h"
#include "Embedder.h"
#include "SleepPipeline.h"
#include "StoreLibraryAccess.h"

// A whole demo sleep run (52 tabs into an empty library: save, summarise by
// keywords, vectors, topics, four writes) with no model server, and a repeat
// run that finds every address saved.
int main(int argc, char **argv)
{
    qputenv("PELLMORA_NO_AI", "1");
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Pellmora/library.json"));
    StoreLibraryAccess library{LibraryStore(path)};
    const SleepPipeline pipeline(std::make_shared<const Embedder>(false));
    const SleepRun sleep(pipeline, library, nullptr, Clock::system());

    int failures = 0;
    auto once = [&] {
        if (sleep.run(SleepOptions(), true).stage.kind != SleepStage::Kind::done)
            ++failures;
    };
    const double fresh = Bench::medianMs(9, [&] {
        QFile::remove(path);
        once();
    });
    once();
    const double repeat = Bench::medianMs(9, once);

    return Bench::report(QStringLiteral("Sleep run"),
                         {{QStringLiteral("demo run, 52 new tabs, no model"), fresh, QStringLiteral("ms"), 1000},
                          {QStringLiteral("demo run, nothing new"), repeat, QStringLiteral("ms"), 1000},
                          {QStringLiteral("runs not done"), double(failures), QStringLiteral("runs"), 0.5}});
}
