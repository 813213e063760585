#include "BenchTable.h"

#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

namespace Bench {

double medianMs(int runs, const std::function<void()> &work)
{
    work();
    std::vector<double> times;
    times.reserve(static_cast<size_t>(runs));
    for (int i = 0; i < runs; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(static_cast<double>(timer.nsecsElapsed()) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

int report(const QString &title, const std::vector<Row> &rows)
{
    std::printf("\n%s\n", qPrintable(title));
    std::printf("  %-52s %12s %12s  %s\n", "measure", "value", "limit", "");
    int failed = 0;
    for (const Row &row : rows) {
        const bool hasLimit = row.limit > 0;
        const bool ok = !hasLimit || row.value <= row.limit;
        failed += ok ? 0 : 1;
        const QString limit = hasLimit ? QString::number(row.limit, 'f', 1) + u' ' + row.unit
                                       : QStringLiteral("-");
        std::printf("  %-52s %9.2f %-2s %12s  %s\n", qPrintable(row.name), row.value,
                    qPrintable(row.unit), qPrintable(limit), hasLimit ? (ok ? "ok" : "MISS") : "");
    }
    return failed == 0 ? 0 : 1;
}

} // namespace Bench
