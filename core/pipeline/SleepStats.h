#pragma once

#include <QString>

// The counts shown at the end of a sleep run.
struct SleepStats
{
    int tabs = 0;    // tabs in the snapshot, already saved ones included
    int groups = 0;  // browser windows when grouping by window, else 1
    int topics = 0;  // topics of the library other than the unsorted one
    int newTabs = 0; // tabs newly saved by the run
    int closed = 0;  // tabs closed in the browser

    // "12 Tabs schlafen, 3 Gruppen, 1 Thema"; newTabs and closed are not part of it.
    QString sentence() const;

    friend bool operator==(const SleepStats &, const SleepStats &) = default;
};

size_t qHash(const SleepStats &stats, size_t seed = 0);
