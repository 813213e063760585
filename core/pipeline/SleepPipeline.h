#pragma once

#include <QDateTime>
#include <QList>
#include <QUuid>

#include <functional>
#include <memory>
#include <stop_token>

#include "LibraryData.h"
#include "PageFetcher.h"
#include "SafariWindow.h"
#include "SleepOptions.h"
#include "Summarizer.h"

class Embedder;

// The steps of a sleep run: turn a browser snapshot into saved tabs and
// windows, fetch their page text, summarise them and group the library into
// topics. Every step takes the library by value and gives back the changed
// copy; none touches the file or the browser. Synchronous, holds no state
// between calls, callable from any thread.
class SleepPipeline
{
public:
    // (done, total); may be called from any thread.
    using Progress = std::function<void(int done, int total)>;

    struct Added
    {
        LibraryData data;
        QList<QUuid> newIds; // in the order the tabs were saved
        friend bool operator==(const Added &, const Added &) = default;
    };

    static constexpr float minSimilarity = 0.12f;
    static constexpr float outlierSimilarity = 0.10f;
    static constexpr float mergeFloor = 0.02f;

    explicit SleepPipeline(std::shared_ptr<const Embedder> embedder, PageFetcher fetcher = PageFetcher(),
                           Summarizer summarizer = Summarizer());

    const std::shared_ptr<const Embedder> &embedder() const { return m_embedder; }

    // New tabs and windows for every address not yet saved; `demo` marks the
    // tabs and fills in the sample page texts.
    static Added addSnapshot(const QList<SafariWindow> &windows, LibraryData data,
                             const SleepOptions &options, bool demo, const QDateTime &now);
    // Page text for the listed tabs that have none yet.
    LibraryData fetchTexts(LibraryData data, const QList<QUuid> &ids, const Progress &progress = {},
                           std::stop_token stop = {}) const;
    // Summary (and tags where there are none) for the listed tabs without a
    // summary, one at a time; a stop between tabs keeps what is done.
    LibraryData summarize(LibraryData data, const QList<QUuid> &ids, const Progress &progress = {},
                          std::stop_token stop = {}) const;
    // Brings the vectors up to date and, with `byTopic`, regroups the whole
    // library into named topics.
    LibraryData group(LibraryData data, bool byTopic, std::stop_token stop = {}) const;

private:
    std::shared_ptr<const Embedder> m_embedder;
    PageFetcher m_fetcher;
    Summarizer m_summarizer;
};
