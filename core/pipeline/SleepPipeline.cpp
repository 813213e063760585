#include "SleepPipeline.h"

#include <QSet>

#include "DemoData.h"
#include "Embedder.h"
#include "Fmt.h"
#include "TopicClusterer.h"

SleepPipeline::SleepPipeline(std::shared_ptr<const Embedder> embedder, PageFetcher fetcher, Summarizer summarizer)
    : m_embedder(std::move(embedder))
    , m_fetcher(std::move(fetcher))
    , m_summarizer(std::move(summarizer))
{
    Q_ASSERT(m_embedder);
}

SleepPipeline::Added SleepPipeline::addSnapshot(const QList<SafariWindow> &windows, LibraryData data,
                                                const SleepOptions &options, bool demo, const QDateTime &now)
{
    QSet<QString> saved;
    for (const SavedTab &tab : std::as_const(data.tabs))
        saved.insert(tab.url);
    QSet<QString> seen;
    QList<QUuid> newIds;
    const qint64 windowsBefore = data.windows.size();

    auto newWindow = [&](const QString &title) {
        SavedWindow window;
        window.id = QUuid::createUuid();
        window.savedAt = now;
        window.title = title;
        return window;
    };

    // Made before any tab is looked at, so its title carries the run's time
    // whichever window brings the first new tab.
    SavedWindow collection;
    if (!options.groupByWindow)
        collection = newWindow(QStringLiteral("Sammlung · ") + Fmt::dayMonthTime(now));

    for (qsizetype p = 0; p < windows.size(); ++p) {
        const SafariWindow &source = windows.at(p);
        // Numbered by position in the snapshot, so windows without new tabs leave gaps.
        SavedWindow own;
        if (options.groupByWindow)
            own = newWindow(SavedWindow::makeTitle(windowsBefore + p + 1, now));
        SavedWindow &target = options.groupByWindow ? own : collection;

        for (const SafariTab &safariTab : source.tabs) {
            if (saved.contains(safariTab.url) || seen.contains(safariTab.url))
                continue;
            seen.insert(safariTab.url);

            SavedTab tab;
            tab.id = QUuid::createUuid();
            tab.url = safariTab.url;
            tab.title = safariTab.title;
            tab.domain = SavedTab::domainOf(safariTab.url);
            tab.savedAt = now;
            tab.windowId = target.id;
            tab.windowIndex = source.index;
            tab.tabIndex = safariTab.index;
            if (demo)
                tab.text = DemoData::textFor(safariTab.url).value_or(QString());
            tab.isDemo = demo;

            target.tabIds.append(tab.id);
            newIds.append(tab.id);
            data.tabs.append(std::move(tab));
        }
        if (options.groupByWindow && !own.tabIds.isEmpty())
            data.windows.append(std::move(own));
    }
    if (!options.groupByWindow && !collection.tabIds.isEmpty())
        data.windows.append(std::move(collection));

    return {std::move(data), std::move(newIds)};
}

LibraryData SleepPipeline::fetchTexts(LibraryData data, const QList<QUuid> &ids, const Progress &progress,
                                      std::stop_token stop) const
{
    const QSet<QUuid> wanted(ids.begin(), ids.end());
    QStringList addresses;
    for (const SavedTab &tab : std::as_const(data.tabs)) {
        if (wanted.contains(tab.id) && tab.text.isEmpty())
            addresses.append(tab.url);
    }
    if (addresses.isEmpty())
        return data;

    const QHash<QString, QString> texts = m_fetcher.fetchAll(addresses, progress, stop);
    for (SavedTab &tab : data.tabs) {
        if (!wanted.contains(tab.id))
            continue;
        const QString text = texts.value(tab.url);
        if (!text.isEmpty())
            tab.text = text;
    }
    return data;
}

LibraryData SleepPipeline::summarize(LibraryData data, const QList<QUuid> &ids, const Progress &progress,
                                     std::stop_token stop) const
{
    const QSet<QUuid> wanted(ids.begin(), ids.end());
    QList<qsizetype> targets;
    for (qsizetype i = 0; i < data.tabs.size(); ++i) {
        const SavedTab &tab = data.tabs.at(i);
        if (wanted.contains(tab.id) && tab.summary.isEmpty())
            targets.append(i);
    }

    const int total = int(targets.size());
    int finished = 0;
    for (const qsizetype i : std::as_const(targets)) {
        if (stop.stop_requested())
            break;
        SavedTab &tab = data.tabs[i];
        const SummaryResult result = m_summarizer.summarize(tab.title, tab.text, stop);
        tab.summary = result.summary;
        // Tags the user or an earlier run gave are worth more than new guesses.
        if (tab.tags.isEmpty())
            tab.tags = result.tags;
        ++finished;
        if (progress)
            progress(finished, total);
    }
    return data;
}

LibraryData SleepPipeline::group(LibraryData data, bool byTopic, std::stop_token stop) const
{
    m_embedder->ensureEmbeddings(data, stop);
    if (!byTopic)
        return data;
    const TopicClusterer clusterer(m_embedder, minSimilarity, outlierSimilarity, mergeFloor);
    clusterer.cluster(data, true, stop);
    return data;
}
