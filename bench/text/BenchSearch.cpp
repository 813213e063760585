#include <QCoreApplication>
#include <QRandomGenerator>
#include <QTimeZone>

#include <algorithm>
#include <cstdio>

#include "BenchTable.h"
#include "Embedder.h"
#include "SearchIndex.h"

using namespace Qt::StringLiterals;

namespace {

const QStringList vocabulary = [] {
    QStringList list;
    const QStringList roots = {u"garten"_s, u"kamera"_s, u"velo"_s, u"projekt"_s, u"reise"_s,
                               u"rezept"_s, u"m\u00f6bel"_s, u"bahn"_s, u"zeitung"_s, u"musik"_s,
                               u"steuer"_s, u"wohnung"_s, u"schule"_s, u"wetter"_s, u"berg"_s};
    const QStringList endings = {u""_s, u"e"_s, u"en"_s, u"plan"_s, u"haus"_s, u"welt"_s, u"zeit"_s};
    for (const QString &r : roots)
        for (const QString &e : endings)
            list.append(r + e);
    for (int i = 0; i < 400; ++i)
        list.append(u"wort%1"_s.arg(i));
    return list;
}();

QString sentence(QRandomGenerator &rng, int words)
{
    QStringList out;
    for (int i = 0; i < words; ++i)
        out.append(vocabulary[rng.bounded(int(vocabulary.size()))]);
    out[0][0] = out[0][0].toUpper();
    return out.join(u' ');
}

LibraryData library(int count)
{
    QRandomGenerator rng(42);
    LibraryData data;
    data.tabs.reserve(count);
    const QDateTime base(QDate(2026, 1, 1), QTime(8, 0), QTimeZone::utc());
    for (int i = 0; i < count; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.title = sentence(rng, 6);
        tab.url = u"https://site%1.example/%2"_s.arg(i % 97).arg(i);
        tab.domain = SavedTab::domainOf(tab.url);
        tab.summary = sentence(rng, 20);
        tab.tags = {vocabulary[rng.bounded(int(vocabulary.size()))]};
        tab.text = sentence(rng, 400);
        tab.savedAt = base.addSecs(rng.bounded(1000) * 3600);
        data.tabs.append(tab);
    }
    return data;
}

// The ranking written out plainly from the public pieces, each tab from scratch.
QList<SearchHit> reference(const Embedder &embedder, const QString &query, const LibraryData &data, int limit)
{
    const QSet<QString> stems = SearchIndex::queryStems(query);
    const Vector q = embedder.vector(query);
    QList<SearchHit> hits;
    for (const SavedTab &tab : data.tabs) {
        const float cosine = Embedder::cosine(q, data.embeddings.value(idText(tab.id)));
        const float score = std::max(cosine, 0.0f) * SearchIndex::semanticWeight
            + SearchIndex::keywordScore(stems, tab) * SearchIndex::keywordWeight;
        if (score > SearchIndex::threshold)
            hits.append({tab, score});
    }
    std::stable_sort(hits.begin(), hits.end(), [](const SearchHit &a, const SearchHit &b) {
        return a.score != b.score ? a.score > b.score : a.tab.savedAt > b.tab.savedAt;
    });
    return hits.mid(0, limit);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto embedder = std::make_shared<Embedder>(false);
    std::vector<Bench::Row> rows;
    bool same = true;
    const QString query = u"Gartenm\u00f6bel Projektplan kamera"_s;
    double perTab10k = 0;
    for (int count : {10000, 100000}) {
        LibraryData data = library(count);
        embedder->ensureEmbeddings(data);
        const SearchIndex index(embedder);
        const QList<SearchHit> first = index.hits(query, data, 50);
        const double ms = Bench::medianMs(count > 10000 ? 5 : 11, [&] { index.hits(query, data, 50); });
        const QList<SearchHit> cached = index.hits(query, data, 50);
        if (cached != reference(*embedder, query, data, 50) || cached != first || cached.isEmpty())
            same = false;
        if (count == 10000) {
            perTab10k = ms / count;
            rows.push_back({u"one query, 10,000 tabs, cached vectors"_s, ms, u"ms"_s, 20.0});
        } else {
            rows.push_back({u"one query, 100,000 tabs, cached vectors"_s, ms, u"ms"_s, 0.0});
            // Linear growth at most: cost per tab may not rise (some slack for noise).
            rows.push_back({u"per-tab cost 100,000 vs 10,000 (ratio)"_s, (ms / count) / perTab10k, u"x"_s, 1.5});
        }
    }
    rows.push_back({u"cached result equals scoring from scratch (1 = yes)"_s, same ? 1.0 : 0.0, u""_s, 0.0});
    const int status = Bench::report(u"Search index"_s, rows);
    return same ? status : 1;
}
