#pragma once

#include <QString>
#include <QStringList>

// A tab's one-sentence summary and tags; `byAI` when the model wrote them.
struct SummaryResult
{
    QString summary;
    QStringList tags;
    bool byAI = false;

    friend bool operator==(const SummaryResult &, const SummaryResult &) = default;
};
