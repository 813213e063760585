#pragma once

#include <QString>

#include <optional>

#include "SleepStats.h"

// Where a sleep run stands, with the German label the popover shows.
struct SleepStage
{
    enum class Kind { idle, reading, fetching, summarizing, grouping, closing, done, failed };

    Kind kind = Kind::idle;
    int done = 0;     // fetching and summarizing only
    int total = 0;    // fetching and summarizing only
    SleepStats stats; // done only
    QString message;  // failed only

    static SleepStage idle();
    static SleepStage reading();
    static SleepStage fetching(int done, int total);
    static SleepStage summarizing(int done, int total);
    static SleepStage grouping();
    static SleepStage closing();
    static SleepStage finished(const SleepStats &stats);
    static SleepStage failed(const QString &message);

    QString label() const;
    // Share of the run behind it; none where the progress is unknown.
    std::optional<double> fraction() const;
    bool isRunning() const;

    friend bool operator==(const SleepStage &, const SleepStage &) = default;
};

size_t qHash(const SleepStage &stage, size_t seed = 0);
