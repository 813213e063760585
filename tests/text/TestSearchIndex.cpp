#include <QFile>
#include <QTest>
#include <QTimeZone>

#include "DemoData.h"
#include "Embedder.h"
#include "SearchIndex.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

SavedTab makeTab(const QString &title, int day = 1)
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    tab.title = title;
    tab.url = u"https://example.org/"_qs;
    tab.domain = u"example.org"_qs;
    tab.savedAt = QDateTime(QDate(2026, 3, day), QTime(12, 0), Qt::UTC);
    return tab;
}

} // namespace

class TestSearchIndex : public QObject
{
    Q_OBJECT

private slots:
    void keywordScore_data();
    void keywordScore();
    void emptyQueries_data();
    void emptyQueries();
    void ordering();
    void staleVectorsRecomputed();
    void changedTabNotScoredFromCache();
    void limitAndSearch();
    void demoRanking();
};

void TestSearchIndex::keywordScore_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("field"); // where the tab gets `content`
    QTest::addColumn<QString>("content");
    QTest::addColumn<float>("expected");

    QTest::newRow("title") << u"garten"_qs << u"title"_qs << u"Mein Garten"_qs << 1.0f;
    QTest::newRow("summary") << u"garten"_qs << u"summary"_qs << u"Garten"_qs << 0.8f;
    QTest::newRow("tag") << u"garten"_qs << u"tags"_qs << u"garten"_qs << 0.8f;
    QTest::newRow("note") << u"garten"_qs << u"note"_qs << u"Garten"_qs << 0.8f;
    QTest::newRow("project tag") << u"garten"_qs << u"projectTags"_qs << u"Garten"_qs << 0.8f;
    QTest::newRow("address") << u"garten"_qs << u"url"_qs << u"https://garten.ch/x"_qs << 0.6f;
    QTest::newRow("text") << u"garten"_qs << u"text"_qs << u"Im Garten"_qs << 0.4f;
    QTest::newRow("text beyond 6000 ignored")
        << u"garten"_qs << u"text"_qs << (QString(5999, u'x') + u" garten"_qs) << 0.0f;
    QTest::newRow("shared stem") << u"projektplan"_qs << u"title"_qs << u"Projekte"_qs << 1.0f;
    QTest::newRow("substring in title") << u"m\u00f6bel"_qs << u"title"_qs << u"Gartenm\u00f6bel"_qs << 0.7f;
    QTest::newRow("substring in summary") << u"m\u00f6bel"_qs << u"summary"_qs << u"Gartenm\u00f6bel"_qs << 0.5f;
    QTest::newRow("project tags not in substring text")
        << u"m\u00f6bel"_qs << u"projectTags"_qs << u"Gartenm\u00f6bel"_qs << 0.0f;
    QTest::newRow("four letters no fallback") << u"bahn"_qs << u"title"_qs << u"Eisenbahn"_qs << 0.0f;
    QTest::newRow("suffix dropped") << u"kameras"_qs << u"title"_qs << u"Spiegelreflexkamera"_qs << 0.7f;
    // "en" is tried before "n": three letters remain, too few, though "hose" would match.
    QTest::newRow("en before n, too short") << u"hosen"_qs << u"title"_qs << u"Regenhose"_qs << 0.0f;
    QTest::newRow("four left is enough") << u"tasse"_qs << u"title"_qs << u"Kaffeetass"_qs << 0.7f;
    QTest::newRow("stop words only") << u"die und the"_qs << u"title"_qs << u"die und the"_qs << 0.0f;
    QTest::newRow("averaged") << u"garten katze"_qs << u"title"_qs << u"Garten"_qs << 0.5f;
    QTest::newRow("Latin-1 capitals") << u"\u00f6l"_qs << u"title"_qs << u"\u00d6L"_qs << 1.0f;
    QTest::newRow("quotes outside Latin-1 separate")
        << u"garten"_qs << u"title"_qs << u"\u201eGarten\u201c"_qs << 1.0f;
    QTest::newRow("soft hyphen separates") << u"gabe"_qs << u"title"_qs << u"Aus\u00adgabe"_qs << 1.0f;
    QTest::newRow("combining mark stays in its word")
        << u"cafe"_qs << u"title"_qs << u"Cafe\u0301 Bar"_qs << 0.0f;
    QTest::newRow("title wins over text") << u"garten"_qs << u"title"_qs << u"garten"_qs << 1.0f;
}

void TestSearchIndex::keywordScore()
{
    QFETCH(QString, query);
    QFETCH(QString, field);
    QFETCH(QString, content);
    QFETCH(float, expected);
    SavedTab tab = makeTab(u"Leer"_qs);
    tab.url = u"https://example.org/"_qs;
    if (field == u"title")
        tab.title = content;
    else if (field == u"summary")
        tab.summary = content;
    else if (field == u"tags")
        tab.tags = {u"x"_qs, content};
    else if (field == u"note")
        tab.note = content;
    else if (field == u"projectTags")
        tab.projectTags = {content};
    else if (field == u"url")
        tab.url = content;
    else if (field == u"text")
        tab.text = content;
    const float got = SearchIndex::keywordScore(SearchIndex::queryStems(query), tab);
    QVERIFY2(std::fabs(got - expected) < 1e-6f, qPrintable(QString::number(got)));
}

void TestSearchIndex::emptyQueries_data()
{
    QTest::addColumn<QString>("query");
    QTest::addColumn<bool>("withTabs");
    QTest::newRow("blanks") << u"  \n\t "_qs << true;
    QTest::newRow("no tabs") << u"garten"_qs << false;
    QTest::newRow("stop words without semantic source") << u"die und der"_qs << true;
}

void TestSearchIndex::emptyQueries()
{
    QFETCH(QString, query);
    QFETCH(bool, withTabs);
    LibraryData data;
    if (withTabs)
        data.tabs = {makeTab(u"die und der Garten"_qs)};
    const SearchIndex index(std::make_shared<Embedder>(false));
    QVERIFY(index.hits(query, data, 10).isEmpty());
}

void TestSearchIndex::ordering()
{
    LibraryData data;
    // Same title, so same score: the newer save comes first, equal dates keep library order.
    SavedTab a = makeTab(u"Kamera Test"_qs, 1);
    SavedTab b = makeTab(u"Kamera Test"_qs, 5);
    SavedTab c = makeTab(u"Kamera Test"_qs, 5);
    SavedTab d = makeTab(u"Kamera"_qs, 1); // closer word match, higher score
    SavedTab e = makeTab(u"Nichts davon"_qs, 9);
    data.tabs = {a, b, c, d, e};
    auto embedder = std::make_shared<Embedder>(false);
    embedder->ensureEmbeddings(data);
    const SearchIndex index(embedder);
    const QList<SearchHit> hits = index.hits(u" Kamera "_qs, data, 10);
    QCOMPARE(hits.size(), 4);
    QCOMPARE(hits[0].tab, d);
    QCOMPARE(hits[1].tab, b);
    QCOMPARE(hits[2].tab, c);
    QCOMPARE(hits[3].tab, a);
    QVERIFY(hits[0].score > hits[1].score);
    QCOMPARE(hits[1].score, hits[3].score);
    // Title holds every query word: at least the keyword weight.
    QVERIFY(hits[3].score >= 0.45f);
}

void TestSearchIndex::staleVectorsRecomputed()
{
    LibraryData data;
    data.tabs = {makeTab(u"Garten"_qs)};
    auto embedder = std::make_shared<Embedder>(false);
    embedder->ensureEmbeddings(data);
    const SearchIndex index(embedder);
    const float fresh = index.hits(u"garten"_qs, data, 10).value(0).score;

    // A vector from another space pointing away from everything must not be used.
    data.embeddings[idText(data.tabs[0].id)] = Vector(256, 0.0f);
    data.embedderKind = u"other-3+bow256"_qs;
    QCOMPARE(index.hits(u"garten"_qs, data, 10).value(0).score, fresh);

    // With the same kind the cache is trusted, even when it is empty.
    data.embedderKind = embedder->kind();
    const float cached = index.hits(u"garten"_qs, data, 10).value(0).score;
    QVERIFY(std::fabs(cached - 0.45f) < 1e-6f);
    QVERIFY(fresh > cached);
}

void TestSearchIndex::changedTabNotScoredFromCache()
{
    LibraryData data;
    data.tabs = {makeTab(u"Garten"_qs), makeTab(u"Katze"_qs)};
    const SearchIndex index(std::make_shared<Embedder>(false));
    QCOMPARE(index.hits(u"katze"_qs, data, 10).size(), 1);
    data.tabs[0].note = u"Katze im Garten"_qs;
    data.tabs[1].title = u"Hund"_qs;
    const QList<SearchHit> hits = index.hits(u"katze"_qs, data, 10);
    QCOMPARE(hits.size(), 1);
    QCOMPARE(hits[0].tab.id, data.tabs[0].id);
    // A copy of the index shares the cache and must agree with a fresh one.
    const SearchIndex copy = index;
    const SearchIndex fresh(std::make_shared<Embedder>(false));
    QCOMPARE(copy.hits(u"katze garten"_qs, data, 10), fresh.hits(u"katze garten"_qs, data, 10));
}

void TestSearchIndex::limitAndSearch()
{
    LibraryData data;
    for (int i = 1; i <= 5; ++i)
        data.tabs.append(makeTab(u"Velo Tour %1"_qs.arg(i), i));
    const SearchIndex index(std::make_shared<Embedder>(false));
    const QList<SavedTab> tabs = index.search(u"velo"_qs, data, 3);
    QCOMPARE(tabs.size(), 3);
    QCOMPARE(tabs[0].id, data.tabs[4].id);
    QCOMPARE(tabs[2].id, data.tabs[2].id);
    QVERIFY(index.search(u"velo"_qs, data, 0).isEmpty());
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
