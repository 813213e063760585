#include "SearchIndex.h"

#include <QHash>

#include <algorithm>
#include <mutex>
#include <vector>

#include "Embedder.h"
#include "TextCut.h"
#include "TextTools.h"

namespace {

// Everything of a tab that its keyword score depends on, prepared once.
struct Prepared
{
    // The fields the data below was made from; a changed tab is re-prepared.
    QString title, summary, note, url, text;
    QStringList tags, projectTags;

    QString key; // the id's text form, the key of the cached vectors
    // Stems as ids of the cache's interner, sorted: matching a query is a
    // binary search over small integers instead of string hashing.
    std::vector<int> titleStems, annotationStems, addressStems, textStems;
    QString lowerTitle, lowerAnnotation;
};

QSet<QString> stemsOf(const QString &text)
{
    QSet<QString> stems;
    for (const QString &word : TextTools::words(text))
        stems.insert(TextTools::stem(word));
    return stems;
}

using Interner = QHash<QString, int>;

std::vector<int> stemIds(const QString &text, Interner &interner)
{
    std::vector<int> ids;
    for (const QString &word : TextTools::words(text)) {
        const QString stem = TextTools::stem(word);
        auto it = interner.constFind(stem);
        if (it == interner.constEnd())
            it = interner.insert(stem, int(interner.size()));
        ids.push_back(*it);
    }
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
    return ids;
}

// Unknown stems get -1, which no tab holds.
std::vector<int> queryIds(const QList<QString> &stems, const Interner &interner)
{
    std::vector<int> ids;
    ids.reserve(size_t(stems.size()));
    for (const QString &stem : stems)
        ids.push_back(interner.value(stem, -1));
    return ids;
}

bool holds(const std::vector<int> &ids, int id)
{
    return std::binary_search(ids.begin(), ids.end(), id);
}

std::shared_ptr<const Prepared> prepare(const SavedTab &tab, Interner &interner)
{
    auto p = std::make_shared<Prepared>();
    p->title = tab.title;
    p->summary = tab.summary;
    p->note = tab.note;
    p->url = tab.url;
    p->text = tab.text;
    p->tags = tab.tags;
    p->projectTags = tab.projectTags;
    p->key = idText(tab.id);
    const QString tags = tab.tags.join(u' ');
    p->titleStems = stemIds(tab.title, interner);
    p->annotationStems = stemIds(
        tab.summary + u' ' + tags + u' ' + tab.note + u' ' + tab.projectTags.join(u' '), interner);
    p->addressStems = stemIds(tab.url, interner);
    p->textStems = stemIds(TextCut::prefix(tab.text, SearchIndex::textCut), interner);
    p->lowerTitle = tab.title.toLower();
    p->lowerAnnotation = (tab.summary + u' ' + tags + u' ' + tab.note).toLower();
    return p;
}

// Library snapshots share their strings, so the pointer check settles
// nearly every comparison without reading the text.
bool same(const QString &a, const QString &b)
{
    return (a.constData() == b.constData() && a.size() == b.size()) || a == b;
}

bool same(const QStringList &a, const QStringList &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!same(a[i], b[i]))
            return false;
    }
    return true;
}

bool isCurrent(const Prepared &p, const SavedTab &tab)
{
    return same(p.title, tab.title) && same(p.summary, tab.summary) && same(p.note, tab.note)
        && same(p.url, tab.url) && same(p.text, tab.text) && same(p.tags, tab.tags)
        && same(p.projectTags, tab.projectTags);
}

// The part of a query stem found only inside a longer word, or "" when the
// stem is too short for that.
QString fallbackTerm(const QString &stem)
{
    if (TextCut::length(stem) < 5)
        return {};
    static const QLatin1StringView suffixes[] = {
        QLatin1StringView("en"), QLatin1StringView("er"), QLatin1StringView("es"),
        QLatin1StringView("e"),  QLatin1StringView("n"),  QLatin1StringView("s"),
    };
    for (QLatin1StringView suffix : suffixes) {
        if (stem.endsWith(suffix)) {
            const QString rest = stem.chopped(suffix.size());
            return TextCut::length(rest) < 4 ? QString() : rest;
        }
    }
    return stem;
}

float score(const std::vector<int> &stems, const QList<QString> &terms, const Prepared &p)
{
    if (stems.empty())
        return 0.0f;
    float sum = 0.0f;
    for (size_t i = 0; i < stems.size(); ++i) {
        const int q = stems[i];
        if (holds(p.titleStems, q))
            sum += 1.0f;
        else if (holds(p.annotationStems, q))
            sum += 0.8f;
        else if (holds(p.addressStems, q))
            sum += 0.6f;
        else if (holds(p.textStems, q))
            sum += 0.4f;
        else if (const QString &term = terms[qsizetype(i)]; !term.isEmpty()) {
            if (p.lowerTitle.contains(term))
                sum += 0.7f;
            else if (p.lowerAnnotation.contains(term))
                sum += 0.5f;
        }
    }
    return sum / float(stems.size());
}

// A fixed order, so that every path sums the same floats the same way.
QList<QString> ordered(const QSet<QString> &stems)
{
    QList<QString> list(stems.begin(), stems.end());
    std::sort(list.begin(), list.end());
    return list;
}

QList<QString> termsFor(const QList<QString> &stems)
{
    QList<QString> terms;
    terms.reserve(stems.size());
    for (const QString &q : stems)
        terms.append(fallbackTerm(q));
    return terms;
}

} // namespace

struct SearchIndex::Cache
{
    std::mutex lock;
    QHash<QUuid, std::shared_ptr<const Prepared>> entries;
    Interner interner;
};

SearchIndex::SearchIndex(std::shared_ptr<const Embedder> embedder)
    : m_embedder(std::move(embedder)), m_cache(std::make_shared<Cache>())
{
    Q_ASSERT(m_embedder);
}

QSet<QString> SearchIndex::queryStems(const QString &query)
{
    return stemsOf(query);
}

float SearchIndex::keywordScore(const QSet<QString> &queryStems, const SavedTab &tab)
{
    const QList<QString> stems = ordered(queryStems);
    Interner interner;
    const std::shared_ptr<const Prepared> prepared = prepare(tab, interner);
    return score(queryIds(stems, interner), termsFor(stems), *prepared);
}

QList<SearchHit> SearchIndex::hits(const QString &query, const LibraryData &data, qsizetype limit) const
{
    const QString trimmed = query.trimmed();
    if (trimmed.isEmpty() || data.tabs.isEmpty() || limit <= 0)
        return {};
    const QList<QString> stems = ordered(queryStems(trimmed));
    const QList<QString> terms = termsFor(stems);
    const bool useCache = data.embedderKind == m_embedder->kind();
    const Vector queryVector = m_embedder->vector(trimmed);

    // Rank plain (index, score) pairs; only the hits returned copy their tab.
    struct Scored
    {
        qsizetype index;
        float score;
    };
    std::vector<Scored> scored;
    {
        // Scoring under the lock keeps the prepared entries alive without
        // touching a reference count per tab.
        std::lock_guard guard(m_cache->lock);
        std::vector<const Prepared *> prepared;
        prepared.reserve(size_t(data.tabs.size()));
        for (const SavedTab &tab : data.tabs) {
            auto &entry = m_cache->entries[tab.id];
            if (!entry || !isCurrent(*entry, tab))
                entry = prepare(tab, m_cache->interner);
            prepared.push_back(entry.get());
        }
        const std::vector<int> ids = queryIds(stems, m_cache->interner);
        for (qsizetype i = 0; i < data.tabs.size(); ++i) {
            const Prepared &p = *prepared[size_t(i)];
            float cosine = 0.0f;
            const auto cached = useCache ? data.embeddings.constFind(p.key) : data.embeddings.constEnd();
            if (cached != data.embeddings.constEnd())
                cosine = Embedder::cosine(queryVector, *cached);
            else
                cosine = Embedder::cosine(queryVector, m_embedder->vector(data.tabs[i].searchableText()));
            const float semantic = cosine < 0.0f ? 0.0f : cosine * semanticWeight;
            const float total = semantic + score(ids, terms, p) * keywordWeight;
            if (total > threshold)
                scored.push_back({i, total});
        }
        // Forget tabs that left the library once they clearly outnumber the rest.
        if (m_cache->entries.size() > 2 * data.tabs.size() + 64) {
            QHash<QUuid, std::shared_ptr<const Prepared>> kept;
            for (const SavedTab &tab : data.tabs)
                kept.insert(tab.id, m_cache->entries.value(tab.id));
            m_cache->entries.swap(kept);
        }
    }
    std::stable_sort(scored.begin(), scored.end(), [&](const Scored &a, const Scored &b) {
        if (a.score != b.score)
            return a.score > b.score;
        return data.tabs[a.index].savedAt > data.tabs[b.index].savedAt;
    });
    QList<SearchHit> result;
    const qsizetype count = std::min<qsizetype>(limit, qsizetype(scored.size()));
    result.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        result.append({data.tabs[scored[size_t(i)].index], scored[size_t(i)].score});
    return result;
}

QList<SavedTab> SearchIndex::search(const QString &query, const LibraryData &data, qsizetype limit) const
{
    QList<SavedTab> tabs;
    for (const SearchHit &hit : hits(query, data, limit))
        tabs.append(hit.tab);
    return tabs;
}
