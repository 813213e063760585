#include <QCoreApplication>
#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTimeZone>

#include <cstdio>

#include "BenchTable.h"
#include "LibraryBackups.h"
#include "LibraryCodec.h"
#include "LibraryImport.h"
#include "LibraryStore.h"

using namespace Qt::StringLiterals;

// Importing a long "url | title" list into a large library, as
// `pellmora-cli import` does it: read the library, parse, merge, write once.
namespace {

QString words(QRandomGenerator &rng, int characters)
{
    static const QStringList pool = {u"Garten"_s, u"Kamera"_s, u"Velo"_s, u"Projekt"_s, u"Reise"_s,
                                     u"M\u00f6bel"_s, u"Bahn"_s, u"Zeitung"_s, u"K\u00e4se"_s, u"Z\u00fcrich"_s};
    QString out;
    while (out.size() < characters)
        out += pool[rng.bounded(int(pool.size()))] + u' ';
    out.truncate(characters);
    return out;
}

// 10,000 tabs with page text, summaries and vectors, as a library looks after months of use.
LibraryData library(int count)
{
    QRandomGenerator rng(11);
    LibraryData data;
    const QDateTime base(QDate(2026, 1, 1), QTime(8, 0), QTimeZone::utc());
    SavedWindow window{QUuid::createUuid(), base, SavedWindow::makeTitle(1, base), {}};
    for (int i = 0; i < count; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = u"https://www.site%1.example/path/%2"_s.arg(i % 97).arg(i);
        tab.domain = SavedTab::domainOf(tab.url);
        tab.title = words(rng, 60);
        tab.summary = words(rng, 300);
        tab.text = words(rng, 2000);
        tab.savedAt = base.addSecs(i * 61);
        tab.windowId = window.id;
        tab.windowIndex = 1;
        tab.tabIndex = i + 1;
        window.tabIds.append(tab.id);
        Vector vector(256);
        for (float &f : vector)
            f = static_cast<float>(rng.generateDouble() * 2.0 - 1.0);
        data.embeddings.insert(idText(tab.id), vector);
        data.tabs.append(tab);
    }
    data.windows = {window};
    data.embedderKind = u"hash"_s;
    return data;
}

// 30,000 lines in windows of 25; one in six is already in the library and
// one in sixty repeats an earlier line of the file.
QByteArray lines(int count)
{
    QRandomGenerator rng(12);
    QByteArray out;
    for (int i = 0; i < count; ++i) {
        if (i > 0 && i % 25 == 0)
            out += '\n';
        QString url;
        if (i % 6 == 0)
            url = u"https://www.site%1.example/path/%2"_s.arg(i % 10000 % 97).arg(i % 10000);
        else if (i % 60 == 1)
            url = u"https://neu.example/artikel/%1"_s.arg(i - 30);
        else
            url = u"https://neu.example/artikel/%1"_s.arg(i);
        out += url.toUtf8() + " | " + words(rng, 50).toUtf8() + '\n';
    }
    return out;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const LibraryData data = library(10000);
    const LibraryStore source(dir.filePath(u"library.json"_s));
    if (!source.save(data).ok()) {
        std::fprintf(stderr, "could not write the library\n");
        return 1;
    }
    const QByteArray input = lines(30000);
    const QDateTime now = QDateTime::currentDateTimeUtc();

    // The result goes to a second file so that every run starts from the same library.
    const LibraryStore target(dir.filePath(u"imported.json"_s));
    const LibraryBackups targetBackups(target.filePath());
    qsizetype added = 0, skipped = 0, problems = 0;
    const auto importOnce = [&] {
        const ImportResult parsed = LibraryImport::parse(input, LibraryImport::guessFormat(input));
        const MergedImport merged = LibraryImport::merge(source.load(), parsed, now);
        if (!target.save(merged.library).ok())
            std::fprintf(stderr, "write failed\n");
        added = merged.newTabIds.size();
        skipped = merged.skipped;
        problems = parsed.problems.size();
    };

    const int runs = 7;
    const double total = Bench::medianMs(runs, importOnce);
    const double firstOfDay = Bench::medianMs(runs, [&] {
        QDir(targetBackups.folder()).removeRecursively();
        importOnce();
    });
    const ImportResult parsed = LibraryImport::parse(input, ImportFormat::onetab);
    const LibraryData loaded = source.load();
    const MergedImport merged = LibraryImport::merge(loaded, parsed, now);
    const double parse = Bench::medianMs(runs, [&] { added = LibraryImport::parse(input, ImportFormat::onetab).tabCount(); });
    const double read = Bench::medianMs(runs, [&] { added = source.load().tabs.size(); });
    const double merge = Bench::medianMs(runs, [&] { added = LibraryImport::merge(loaded, parsed, now).newTabIds.size(); });
    const double write = Bench::medianMs(runs, [&] { target.save(merged.library); });

    std::printf("library %.1f MB, import %.1f MB: %lld new tabs, %lld skipped, %lld problems\n",
                double(QFileInfo(source.filePath()).size()) / 1e6, double(input.size()) / 1e6,
                static_cast<long long>(merged.newTabIds.size()), static_cast<long long>(merged.skipped),
                static_cast<long long>(problems));
    return Bench::report(u"Import of 30,000 lines into 10,000 tabs (median of %1 runs)"_s.arg(runs),
                         {{u"whole import: read, parse, merge, write"_s, total, u"ms"_s, 2000},
                          {u"the same with the day's first backup"_s, firstOfDay, u"ms"_s, 0},
                          {u"read the library"_s, read, u"ms"_s, 0},
                          {u"parse the lines"_s, parse, u"ms"_s, 0},
                          {u"merge"_s, merge, u"ms"_s, 0},
                          {u"write the library"_s, write, u"ms"_s, 0}});
}
