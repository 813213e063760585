#include <QFile>
#include <QTest>
#include <QTimeZone>

#include "DemoData.h"
#include "Embedder.h"
#include "LibraryBuilder.h"
#include "SearchIndex.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

QList<QUuid> idsOf(const QList<SearchHit> &hits)
{
    QList<QUuid> ids;
    for (const SearchHit &hit : hits)
        ids.append(hit.tab.id);
    return ids;
}

} // namespace

class TestSearchIndex : public QObject
{
    Q_OBJECT

private slots:
    void keywordScore_data();
    void keywordScore();
    void orderAndLimit();
    void staleVectorsRecomputed();
    void changedTabNotScoredFromCache();
    void demoRanking();
};

void TestSearchIndex::keywordScore_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("field"); // where the tab gets `content`
    QTest::addColumn<QString>("content");
    QTest::addColumn<float>("expected");
    QTest::newRow("title") << u"garten"_s << u"title"_s << u"Mein Garten"_s << 1.0f;
    QTest::newRow("summary") << u"garten"_s << u"summary"_s << u"Garten"_s << 0.8f;
    QTest::newRow("tag") << u"garten"_s << u"tags"_s << u"garten"_s << 0.8f;
    QTest::newRow("project tag") << u"garten"_s << u"projects"_s << u"Garten"_s << 0.8f;
    QTest::newRow("address") << u"garten"_s << u"url"_s << u"https://garten.ch/x"_s << 0.6f;
    QTest::newRow("text") << u"garten"_s << u"text"_s << u"Im Garten"_s << 0.4f;
    QTest::newRow("text beyond 6000 ignored") << u"garten"_s << u"text"_s << (QString(5999, u'x') + u" garten"_s) << 0.0f;
    QTest::newRow("shared stem") << u"projektplan"_s << u"title"_s << u"Projekte"_s << 1.0f;
    QTest::newRow("substring in title") << u"m\u00f6bel"_s << u"title"_s << u"Gartenm\u00f6bel"_s << 0.7f;
    QTest::newRow("substring in summary") << u"m\u00f6bel"_s << u"summary"_s << u"Gartenm\u00f6bel"_s << 0.5f;
    QTest::newRow("no substring in project tags") << u"m\u00f6bel"_s << u"projects"_s << u"Gartenm\u00f6bel"_s << 0.0f;
    QTest::newRow("four letters, no substring") << u"bahn"_s << u"title"_s << u"Eisenbahn"_s << 0.0f;
    QTest::newRow("suffix dropped") << u"kameras"_s << u"title"_s << u"Spiegelreflexkamera"_s << 0.7f;
    // "en" is tried before "n": three letters remain, too few, though "hose" would match.
    QTest::newRow("en before n, too short") << u"hosen"_s << u"title"_s << u"Regenhose"_s << 0.0f;
    QTest::newRow("averaged") << u"garten katze"_s << u"title"_s << u"Garten"_s << 0.5f;
    QTest::newRow("Latin-1 capitals") << u"\u00f6l"_s << u"title"_s << u"\u00d6L"_s << 1.0f;
    QTest::newRow("quotes outside Latin-1 separate") << u"garten"_s << u"title"_s << u"\u201eGarten\u201c"_s << 1.0f;
    QTest::newRow("soft hyphen separates") << u"gabe"_s << u"title"_s << u"Aus\u00adgabe"_s << 1.0f;
    QTest::newRow("combining mark stays in its word") << u"cafe"_s << u"title"_s << u"Cafe\u0301 Bar"_s << 0.0f;
}

void TestSearchIndex::keywordScore()
{
    QFETCH(QString, query);
    QFETCH(QString, field);
    QFETCH(QString, content);
    QFETCH(float, expected);
    LibraryBuilder builder;
    builder.tab(field == u"title" ? content : u"Leer"_s, field == u"url" ? content : u"https://example.org/"_s);
    if (field == u"summary")
        builder.summary(content);
    else if (field == u"tags")
        builder.tags({u"x"_s, content});
    else if (field == u"projects")
        builder.projects({content});
    else if (field == u"text")
        builder.text(content);
    const float got = SearchIndex::keywordScore(SearchIndex::queryStems(query), builder.build().tabs.first());
    QVERIFY2(std::fabs(got - expected) < 1e-6f, qPrintable(QString::number(got)));
}

void TestSearchIndex::orderAndLimit()
{
    // Same title, same score: the newer save first, equal dates in library order.
    const QDateTime later = LibraryBuilder::now().addDays(4);
    LibraryData data = LibraryBuilder()
                           .tab("Kamera Test").tab("Kamera Test").savedAt(later).tab("Kamera Test").savedAt(later)
                           .tab("Kamera").tab("Nichts davon").savedAt(later.addDays(4));
    auto embedder = std::make_shared<Embedder>(false);
    embedder->ensureEmbeddings(data);
    const SearchIndex index(embedder);
    const QList<SearchHit> hits = index.hits(u" Kamera "_s, data, 10);
    using B = LibraryBuilder;
    QCOMPARE(idsOf(hits), (QList<QUuid>{B::tabId(4), B::tabId(2), B::tabId(3), B::tabId(1)}));
    QVERIFY(hits[0].score > hits[1].score); // the closer word match
    QCOMPARE(hits[1].score, hits[3].score);
    QVERIFY(hits[3].score >= SearchIndex::keywordWeight); // the title holds every query word
    QCOMPARE(index.search(u"kamera"_s, data, 2).value(1).id, B::tabId(2));
    QVERIFY(index.search(u"kamera"_s, data, 0).isEmpty());
    QVERIFY(index.hits(u"  \n\t "_s, data, 10).isEmpty());
    QVERIFY(index.hits(u"die und der"_s, LibraryBuilder().tab("die und der Garten"), 10).isEmpty());
}

void TestSearchIndex::staleVectorsRecomputed()
{
    LibraryData data = LibraryBuilder().tab("Garten");
    auto embedder = std::make_shared<Embedder>(false);
    embedder->ensureEmbeddings(data);
    const SearchIndex index(embedder);
    const float fresh = index.hits(u"garten"_s, data, 10).value(0).score;
    // A vector from another space pointing away from everything is not used.
    data.embeddings[idText(data.tabs[0].id)] = Vector(256, 0.0f);
    data.embedderKind = u"other-3+bow256"_s;
    QCOMPARE(index.hits(u"garten"_s, data, 10).value(0).score, fresh);
    // With the same kind the cache is trusted, even when it is empty.
    data.embedderKind = embedder->kind();
    QVERIFY(std::fabs(index.hits(u"garten"_s, data, 10).value(0).score - SearchIndex::keywordWeight) < 1e-6f);
    QVERIFY(fresh > SearchIndex::keywordWeight);
}

void TestSearchIndex::changedTabNotScoredFromCache()
{
    LibraryData data = LibraryBuilder().tab("Garten", "https://a.ch/1").tab("Katze", "https://a.ch/2");
    const SearchIndex index(std::make_shared<Embedder>(false));
    QCOMPARE(index.hits(u"katze"_s, data, 10).size(), 1);
    data.tabs[0].note = u"Katze im Garten"_s;
    data.tabs[1].title = u"Hund"_s;
    QCOMPARE(idsOf(index.hits(u"katze"_s, data, 10)), QList<QUuid>{data.tabs[0].id});
    // A copy of the index shares the cache and agrees with a fresh one.
    const SearchIndex copy = index;
    QCOMPARE(copy.hits(u"katze garten"_s, data, 10),
             SearchIndex(std::make_shared<Embedder>(false)).hits(u"katze garten"_s, data, 10));
}

// Hits, scores and order on the demo library, as recorded in demo_ranking.txt
// (query, address, score; tab separated): a faster scorer must rank alike.
void TestSearchIndex::demoRanking()
{
    QFile file(QStringLiteral(PELLMORA_DEMO_RANKING));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QStringList expected = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    QStringList queries;
    for (const QString &line : expected) {
        const QString query = line.section(u'\t', 0, 0);
        if (!queries.contains(query))
            queries.append(query);
    }
    QVERIFY(queries.size() > 5);

    LibraryData data = DemoData::library(QDateTime(QDate(2026, 5, 4), QTime(9, 0), Qt::UTC));
    auto embedder = std::make_shared<Embedder>(false);
    embedder->ensureEmbeddings(data);
    // Each query once as the first search of an index and once after others.
    const SearchIndex shared(embedder);
    shared.hits(u"desk"_qs, data, 1);
    for (const bool first : {true, false}) {
        QStringList got;
        for (const QString &query : std::as_const(queries)) {
            const SearchIndex index = first ? SearchIndex(embedder) : shared;
            for (const SearchHit &hit : index.hits(query, data, 8))
                got.append(query + u'\t' + hit.tab.url + u'\t' + QString::number(double(hit.score), 'g', 9));
        }
        QVERIFY2(got == expected, qPrintable(got.join(u'\n')));
    }
}

PELLMORA_TEST_GUILESS_MAIN(TestSearchIndex)
#include "TestSearchIndex.moc"
