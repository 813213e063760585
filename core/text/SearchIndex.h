#pragma once

#include <QList>
#include <QSet>
#include <QString>

#include <memory>

#include "LibraryData.h"
#include "SearchHit.h"

class Embedder;

// Ranks saved tabs against a free-text query: cosine of the embedder's
// vectors plus a score for where the query's words occur in the tab.
// Copies share one cache of per-tab word stems; any thread may search.
class SearchIndex
{
public:
    static constexpr float semanticWeight = 0.55f;
    static constexpr float keywordWeight = 0.45f;
    static constexpr float threshold = 0.04f;
    static constexpr qsizetype textCut = 6000;

    explicit SearchIndex(std::shared_ptr<const Embedder> embedder);

    const std::shared_ptr<const Embedder> &embedder() const { return m_embedder; }

    // Best first, at most `limit`.
    QList<SearchHit> hits(const QString &query, const LibraryData &data, qsizetype limit) const;
    QList<SavedTab> search(const QString &query, const LibraryData &data, qsizetype limit) const;

    // Stems of the query's words, stop words removed.
    static QSet<QString> queryStems(const QString &query);
    // 0…1: the mean over the query stems of where each occurs in the tab.
    static float keywordScore(const QSet<QString> &queryStems, const SavedTab &tab);

private:
    struct Cache;
    std::shared_ptr<const Embedder> m_embedder;
    std::shared_ptr<Cache> m_cache;
};
