#pragma once

#include <QString>

#include <functional>
#include <vector>

// Timing helpers and the table every benchmark prints.
namespace Bench {

// Runs `work` `runs` times (after one warm-up) and gives the median in ms.
double medianMs(int runs, const std::function<void()> &work);

struct Row
{
    QString name;
    double value;   // measured
    QString unit;   // "ms", "MB", ...
    double limit;   // target; <= 0 means none
};

// Prints the rows as a table under `title`; returns 0 when every row with a
// limit meets it, 1 otherwise (so `make bench` shows a miss).
int report(const QString &title, const std::vector<Row> &rows);

} // namespace Bench
