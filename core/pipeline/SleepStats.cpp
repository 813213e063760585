#include "SleepStats.h"

#include "Fmt.h"

#include <QHashFunctions>

namespace {

QString counted(int n, const QString &one, const QString &many)
{
    return n == 1 ? one : Fmt::number(n) + u' ' + many;
}

} // namespace

QString SleepStats::sentence() const
{
    return counted(tabs, QStringLiteral("1 Tab schläft"), QStringLiteral("Tabs schlafen")) + QStringLiteral(", ")
        + counted(groups, QStringLiteral("1 Gruppe"), QStringLiteral("Gruppen")) + QStringLiteral(", ")
        + counted(topics, QStringLiteral("1 Thema"), QStringLiteral("Themen"));
}

size_t qHash(const SleepStats &stats, size_t seed)
{
    return qHashMulti(seed, stats.tabs, stats.groups, stats.topics, stats.newTabs, stats.closed);
}
