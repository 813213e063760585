#include "SleepRun.h"

#include <QSet>

#include "BrowserBridge.h"
#include "Clock.h"
#include "DemoData.h"
#include "Fmt.h"
#include "Library.h"
#include "LibraryAccess.h"
#include "SleepPipeline.h"
#include "PlatformWords.h"

namespace {

// Every address the bridge may close must be in the file before any tab
// goes: the tab is the user's only other copy. A failed write comes with
// its message already made by the library access.
std::optional<QString> verifySaved(LibraryAccess &library, const Status &lastWrite,
                                   const QList<SafariWindow> &windows)
{
    if (!lastWrite)
        return lastWrite.error();
    const Result<LibraryData> stored = library.readBack();
    if (!stored)
        return Library::saveFailedMessage(stored.error());
    QSet<QString> urls;
    for (const SavedTab &tab : stored->tabs)
        urls.insert(tab.url);
    QSet<QString> missing;
    for (const SafariWindow &window : windows) {
        for (const SafariTab &tab : window.tabs) {
            if (!urls.contains(tab.url))
                missing.insert(tab.url);
        }
    }
    if (missing.isEmpty())
        return std::nullopt;
    if (missing.size() == 1)
        return Library::saveFailedMessage(QStringLiteral("1 Adresse fehlt in der gespeicherten Bibliothek."));
    return Library::saveFailedMessage(Fmt::number(missing.size())
                                      + QStringLiteral(" Adressen fehlen in der gespeicherten Bibliothek."));
}

} // namespace

SleepRun::SleepRun(const SleepPipeline &pipeline, LibraryAccess &library, BrowserBridge *bridge,
                   const Clock &clock)
    : m_pipeline(pipeline)
    , m_library(library)
    , m_bridge(bridge)
    , m_clock(clock)
{
}

QString SleepRun::emptyMessage(const QStringList &browsers)
{
    return PlatformWords::emptyBrowser(browsers);
}

SleepRun::Outcome SleepRun::run(const SleepOptions &options, bool demo, const StageCallback &onStage,
                                std::stop_token stop) const
{
    Outcome outcome;
    auto report = [&](const SleepStage &stage) {
        if (onStage && !stop.stop_requested())
            onStage(stage);
    };
    auto finish = [&](const SleepStage &stage) {
        outcome.stage = stage;
        report(stage);
        return outcome;
    };
    auto stopped = [&] {
        outcome.stage = SleepStage::idle();
        outcome.cancelled = true;
        return outcome;
    };

    report(SleepStage::reading());
    QList<SafariWindow> windows;
    if (demo) {
        windows = DemoData::safariSnapshot();
    } else {
        if (!m_bridge)
            return finish(SleepStage::failed(SafariError::notRunning().errorDescription()));
        SafariResult<QList<SafariWindow>> snapshot = m_bridge->snapshotWindows();
        if (!snapshot)
            return finish(SleepStage::failed(snapshot.error().errorDescription()));
        windows = std::move(snapshot).value();
    }
    int counted = 0;
    for (const SafariWindow &window : std::as_const(windows))
        counted += int(window.tabs.size());
    if (counted == 0)
        return finish(SleepStage::failed(emptyMessage(m_bridge ? m_bridge->connectedNames() : QStringList())));
    if (stop.stop_requested())
        return stopped();

    SleepPipeline::Added added =
        SleepPipeline::addSnapshot(windows, m_library.current(), options, demo, m_clock.now());
    outcome.data = std::move(added.data);
    outcome.newIds = std::move(added.newIds);
    const int newCount = int(outcome.newIds.size());
    Status written = m_library.write(outcome.data);
    if (stop.stop_requested())
        return stopped();

    if (options.saveContent && !demo) {
        report(SleepStage::fetching(0, newCount));
        outcome.data = m_pipeline.fetchTexts(
            std::move(outcome.data), outcome.newIds,
            [&](int done, int total) { report(SleepStage::fetching(done, total)); }, stop);
        written = m_library.write(outcome.data);
        if (stop.stop_requested())
            return stopped();
    }

    report(SleepStage::summarizing(0, newCount));
    outcome.data = m_pipeline.summarize(
        std::move(outcome.data), outcome.newIds,
        [&](int done, int total) { report(SleepStage::summarizing(done, total)); }, stop);
    written = m_library.write(outcome.data);
    if (stop.stop_requested())
        return stopped();

    report(SleepStage::grouping());
    outcome.data = m_pipeline.group(std::move(outcome.data), options.sortByTopic, stop);
    written = m_library.write(outcome.data);
    if (stop.stop_requested())
        return stopped();

    int closed = 0;
    if (!demo) {
        if (const auto problem = verifySaved(m_library, written, windows))
            return finish(SleepStage::failed(*problem));
        if (stop.stop_requested())
            return stopped();
        report(SleepStage::closing());
        if (!m_bridge)
            return finish(SleepStage::failed(SafariError::notRunning().errorDescription()));
        const SafariResult<int> result = m_bridge->closeAllTabs(windows, options.keepPinned, options.pinnedDomains);
        if (!result)
            return finish(SleepStage::failed(result.error().errorDescription()));
        closed = *result;
    }

    SleepStats stats;
    stats.tabs = counted;
    stats.groups = options.groupByWindow ? int(windows.size()) : 1;
    for (const Topic &topic : std::as_const(outcome.data.topics))
        stats.topics += topic.isUnsorted ? 0 : 1;
    stats.newTabs = newCount;
    stats.closed = closed;
    return finish(SleepStage::finished(stats));
}
