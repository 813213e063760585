#pragma once

#include <QList>
#include <QStringList>
#include <QUuid>

#include <functional>
#include <stop_token>

#include "LibraryData.h"
#include "SleepOptions.h"
#include "SleepStage.h"

class BrowserBridge;
class Clock;
class LibraryAccess;
class SleepPipeline;

// One whole sleep run, as the application and the command line drive it:
// read the browser's tabs (or the demo snapshot), save them, fetch their
// texts, summarise, group, write the library after each step, verify the
// file, close the saved tabs and report the counts. Synchronous: the caller
// runs it on a worker thread and receives every stage change through the
// callback on that thread (the application moves them to its main thread).
// Knows nothing of which browser the bridge talks to.
class SleepRun
{
public:
    using StageCallback = std::function<void(const SleepStage &stage)>;

    struct Outcome
    {
        // done or failed; idle when the run was stopped through the token.
        SleepStage stage;
        bool cancelled = false;
        QList<QUuid> newIds;
        // The library after the last step that ran (written when it could be).
        LibraryData data;
    };

    // `bridge` may be null for demo runs; a non-demo run without one fails.
    SleepRun(const SleepPipeline &pipeline, LibraryAccess &library, BrowserBridge *bridge,
             const Clock &clock);

    // Options and demo flag are taken as they are for the whole run. Stages
    // are reported in order; no stage is reported after a stop.
    Outcome run(const SleepOptions &options, bool demo, const StageCallback &onStage = {},
                std::stop_token stop = {}) const;

    // Names the connected browsers, as their extensions call them.
    static QString emptyMessage(const QStringList &browsers = {});

private:
    const SleepPipeline &m_pipeline;
    LibraryAccess &m_library;
    BrowserBridge *m_bridge;
    const Clock &m_clock;
};
