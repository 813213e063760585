#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>
#include <optional>
#include <stop_token>

#include "ModelSchema.h"
#include "SummaryResult.h"

// A one-sentence German summary and up to three tags for a saved page, by the
// language model when it can, otherwise from the page's own words.
class Summarizer
{
public:
    static constexpr std::chrono::milliseconds defaultLimit = std::chrono::seconds(40);

    explicit Summarizer(std::chrono::milliseconds limit = defaultLimit);

    // Never fails: any trouble with the model ends in the fallback.
    SummaryResult summarize(const QString &title, const QString &text, std::stop_token stop = {}) const;
    std::optional<SummaryResult> summarizeWithModel(const QString &title, const QString &text,
                                                    std::stop_token stop = {}) const;
    static SummaryResult fallback(const QString &title, const QString &text);

    static QString prompt(const QString &title, const QString &text);
    static const ModelSchema &schema();
    // The model's record made into a result; absent when it is unusable.
    static std::optional<SummaryResult> fromReply(const QJsonObject &reply);

private:
    std::chrono::milliseconds m_limit;
};
