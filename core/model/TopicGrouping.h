#pragma once

#include <QList>

// The result of grouping vectors: groups of indices and the indices that fit
// no group. Indices are positions in the vector list that was grouped.
struct TopicGrouping
{
    QList<QList<qsizetype>> groups;
    QList<qsizetype> outliers;

    friend bool operator==(const TopicGrouping &, const TopicGrouping &) = default;
};
