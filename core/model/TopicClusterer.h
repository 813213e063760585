#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

#include <chrono>
#include <memory>
#include <optional>
#include <stop_token>

#include "LibraryData.h"
#include "ModelSchema.h"
#include "TopicGrouping.h"
#include "TopicName.h"

class Embedder;

// Sorts every saved tab of a library into named, coloured topics: groups of
// similar vectors (average linkage up to 400 tabs, k-means above), tabs that
// fit nowhere in one unsorted topic, names by the model or from keywords.
// All functions are synchronous and may run on any thread; the model is
// asked one group after another through the shared gate.
class TopicClusterer
{
public:
    static constexpr float defaultMinSimilarity = 0.12f;
    static constexpr float defaultOutlierSimilarity = 0.10f;
    static constexpr float defaultMergeFloor = 0.02f;
    static constexpr std::chrono::milliseconds defaultNameLimit = std::chrono::seconds(30);
    // Above this many tabs the n × n matrix gives way to k-means.
    static constexpr qsizetype agglomerativeLimit = 400;
    static constexpr int kMeansRounds = 25;
    static constexpr qsizetype modelTabLimit = 12;
    static constexpr qsizetype nameLengthLimit = 40;

    explicit TopicClusterer(std::shared_ptr<const Embedder> embedder,
                            float minSimilarity = defaultMinSimilarity,
                            float outlierSimilarity = defaultOutlierSimilarity,
                            float mergeFloor = defaultMergeFloor,
                            std::chrono::milliseconds nameLimit = defaultNameLimit);

    const std::shared_ptr<const Embedder> &embedder() const { return m_embedder; }
    float minSimilarity() const { return m_minSimilarity; }
    float outlierSimilarity() const { return m_outlierSimilarity; }
    float mergeFloor() const { return m_mergeFloor; }
    std::chrono::milliseconds nameLimit() const { return m_nameLimit; }

    // Replaces all topics of the data and sets every tab's topicId. With
    // `useAI` the model names the topics when it is available. A stopped
    // token leaves the data as it was (apart from vectors already cached).
    void cluster(LibraryData &data, bool useAI, std::stop_token stop = {}) const;

    // Target number of groups for n tabs: round(√(n/2)) within 2…12.
    static qsizetype kFor(qsizetype n);
    TopicGrouping agglomerative(const QList<Vector> &vectors, qsizetype k) const;
    static QList<QList<qsizetype>> kMeans(const QList<Vector> &vectors, qsizetype k);
    // Normalised component-wise sum; empty for no vectors.
    static Vector centroid(const QList<Vector> &vectors);

    static QString fallbackName(const QList<SavedTab> &tabs);
    // Absent when the model fails, is too slow or answers with nothing usable.
    std::optional<QString> nameWithModel(const QList<SavedTab> &tabs, std::stop_token stop = {}) const;

    static QString namePrompt(const QList<SavedTab> &tabs);
    static const ModelSchema &nameSchema();
    // The trimmed name, absent when it is empty or too long.
    static std::optional<TopicName> nameFromReply(const QJsonObject &reply);

    static QString unsortedName();

private:
    std::shared_ptr<const Embedder> m_embedder;
    float m_minSimilarity;
    float m_outlierSimilarity;
    float m_mergeFloor;
    std::chrono::milliseconds m_nameLimit;
};
