#include <QFile>
#include <QTest>

#include <cmath>
#include <map>

#include "DemoData.h"
#include "Embedder.h"
#include "LibraryBuilder.h"
#include "SearchIndex.h"
#include "SemanticSource.h"
#include "TextTools.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

enum class Tool { decode, words, stem, keywords, sentence, truncate, readable };

// Every tool's result as one text, so one table holds them all.
QString apply(Tool tool, const QString &input, int n)
{
    switch (tool) {
    case Tool::decode:
        return TextTools::decodeEntities(input);
    case Tool::words:
        return TextTools::words(input).join(u'|');
    case Tool::stem:
        return TextTools::stem(input);
    case Tool::keywords: { // texts separated by '/', n the shortest length
        QStringList out;
        for (const TextTools::Keyword &k : TextTools::keywordCounts(input.split(u'/'), n))
            out << k.key + u':' + k.display + u':' + QString::number(k.count);
        return out.join(u' ');
    }
    case Tool::sentence:
        return TextTools::firstSentence(input, n).value_or(u"<keiner>"_s);
    case Tool::truncate:
        return TextTools::truncate(input, n);
    case Tool::readable: {
        const TextTools::Readable readable = TextTools::readableText(input, n);
        return readable.title + u'|' + readable.text;
    }
    }
    return {};
}

// Answers fixed vectors for known texts and nothing for the rest.
struct TableSource : SemanticSource
{
    TableSource(qsizetype dimension, std::map<QString, Vector> table = {}) : size(dimension), answers(std::move(table)) {}
    qsizetype dimension() const override { return size; }
    QString identity() const override { return u"local"_s; }
    std::optional<Vector> vector(const QString &text) override
    {
        ++calls;
        return answers.contains(text) ? std::optional<Vector>(answers.at(text)) : std::nullopt;
    }
    qsizetype size;
    std::map<QString, Vector> answers;
    int calls = 0;
};

bool near(float a, float b)
{
    return std::fabs(a - b) < 1e-5f;
}

QList<QUuid> idsOf(const QList<SearchHit> &hits)
{
    QList<QUuid> ids;
    for (const SearchHit &hit : hits)
        ids.append(hit.tab.id);
    return ids;
}

} // namespace

// The saved tabs' words and vectors and the search over them.
class TestText : public QObject
{
    Q_OBJECT

private slots:
    void init() { qunsetenv("PELLMORA_NO_SEMANTIC"); }

    void tools_data()
    {
        QTest::addColumn<Tool>("tool");
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("expected");
        using enum Tool;
        // An entity ends within 12 characters of its '&', counted as the user sees them.
        QTest::newRow("decode: window counts characters") << decode << u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_s << 0
            << u"&e\u0301e\u0301e\u0301e\u0301xxxxxx;"_s;
        QTest::newRow("decode: window 13 outside") << decode << u"&#0000000065;"_s << 0 << u"&#0000000065;"_s;
        QTest::newRow("decode: szlig is two letters") << decode << u"a &szlig; b"_s << 0 << u"a ss b"_s;
        QTest::newRow("decode: astral") << decode << u"&#x1F600;"_s << 0 << u"\U0001F600"_s;
        QTest::newRow("decode: surrogate stays") << decode << u"&#xD800;"_s << 0 << u"&#xD800;"_s;
        QTest::newRow("decode: beyond unicode stays") << decode << u"&#x110000;"_s << 0 << u"&#x110000;"_s;
        QTest::newRow("words: combining mark stays in word") << words << u"Cafe\u0301 ok"_s << 0 << u"cafe\u0301|ok"_s;
        QTest::newRow("words: astral letters") << words << u"\U0001D400\U0001D401 zz"_s << 0 << u"\U0001D400\U0001D401|zz"_s;
        QTest::newRow("stem: six characters of eight code units") << stem << u"re\u0301sume\u0301"_s << 0 << u"re\u0301sume\u0301"_s;
        QTest::newRow("stem: seven with combining marks") << stem << u"re\u0301sume\u0301s"_s << 0 << u"re\u0301sume\u0301"_s;
        QTest::newRow("keywords: capitalised wins, counted per text") << keywords << u"garten Garten/Garten"_s << 3 << u"garten:Garten:2"_s;
        QTest::newRow("keywords: code point order above surrogates") << keywords << u"\uff41\uff41 \U0001D41A\U0001D41A"_s << 2
            << u"\uff41\uff41:\uff41\uff41:1 \U0001D41A\U0001D41A:\U0001D41A\U0001D41A:1"_s;
        const QString good = u"Der Garten braucht im Fruehling viel Wasser und Licht."_s;
        const QString forty = u"Kurz. "_s.repeated(40);
        QTest::newRow("sentence: the 41st counts") << sentence << forty + good << 200 << good;
        QTest::newRow("sentence: the 42nd is out") << sentence << forty + forty.left(6) + good << 200 << u"<keiner>"_s;
        QTest::newRow("truncate: at a space") << truncate << u"the quick brown fox"_s << 12 << u"the quick\u2026"_s;
        QTest::newRow("truncate: only U+0020 is a space") << truncate << u"abcdef\u00a0ghijkl"_s << 10 << u"abcdef\u00a0gh\u2026"_s;
        // A thumbs-up with skin tone is one character of four code units.
        QTest::newRow("truncate: emoji with skin tone cut whole") << truncate
            << u"\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD\U0001F44D\U0001F3FD"_s << 2
            << u"\U0001F44D\U0001F3FD\u2026"_s;
        QTest::newRow("truncate: combining marks") << truncate << u"e\u0301e\u0301e\u0301e\u0301"_s << 3 << u"e\u0301e\u0301\u2026"_s;
        const QString a400(400, u'a');
        QTest::newRow("readable: title decoded and trimmed") << readable << u"<TITLE lang=de>  Caf&eacute; &amp; Bar\n </title>"_s << 100
            << u"Caf\u00e9 & Bar|Caf\u00e9 & Bar"_s;
        QTest::newRow("readable: unwanted elements removed") << readable
            << u"<script>var a=1;</script><nav>Menu</nav><div>Inhalt</div><footer>F</footer><STYLE>p{}</STYLE>"_s << 100
            << u"|Inhalt"_s;
        QTest::newRow("readable: article of 400 reads the whole page") << readable
            << u"<p>Aussen</p><article>"_s + a400 + u"</article>"_s << 1000
            << u"|Aussen\n"_s + a400;
        QTest::newRow("readable: limit in characters") << readable << u"<p>e\u0301e\u0301e\u0301e\u0301</p>"_s << 3
            << u"|e\u0301e\u0301e\u0301"_s;
    }

    void tools()
    {
        QFETCH(Tool, tool);
        QFETCH(QString, input);
        QFETCH(int, n);
        QFETCH(QString, expected);
        QCOMPARE(apply(tool, input, n), expected);
    }

    void semanticSource_data()
    {
        QTest::addColumn<bool>("allow");
        QTest::addColumn<QByteArray>("noSemantic"); // PELLMORA_NO_SEMANTIC, null: unset
        QTest::addColumn<QString>("kind");
        QTest::newRow("used") << true << QByteArray() << u"local-3+bow256"_s;
        QTest::newRow("not allowed") << false << QByteArray() << u"none-0+bow256"_s;
        QTest::newRow("switched off by environment") << true << QByteArray("") << u"none-0+bow256"_s;
    }

    void semanticSource()
    {
        QFETCH(bool, allow);
        QFETCH(QByteArray, noSemantic);
        QFETCH(QString, kind);
        if (!noSemantic.isNull())
            qputenv("PELLMORA_NO_SEMANTIC", noSemantic);
        // "Katze" gets a vector of the wrong length: ignored.
        const Embedder embedder(allow, std::make_unique<TableSource>(3, std::map<QString, Vector>{{u"Hund"_s, {3, 0, 4}}, {u"Katze"_s, {1, 2}}}));
        QCOMPARE(embedder.kind(), kind);
        // Vectors of other lengths or without direction are unrelated, never NaN.
        QVERIFY(Embedder::cosine({1, 0}, {1, 0, 0}) == 0.0f && Embedder::cosine({0, 0}, {1, 0}) == 0.0f);
        const qsizetype semantic = embedder.dimension() - 256;
        const Vector dog = embedder.vector(u"Hund"_s);
        // The semantic part first, then the words ("hund" in bin 20), each at its weight.
        QVERIFY(!semantic || (near(dog[0], 0.6f * Embedder::semWeight) && near(dog[2], 0.8f * Embedder::semWeight)));
        QVERIFY(near(dog[semantic + 20], semantic ? Embedder::bowWeight : 1.0f));
        // Without a usable semantic answer: zeros there, the words at full weight.
        for (const QString &text : {u"Katze"_s, u"Garten"_s}) {
            const Vector v = embedder.vector(text);
            QCOMPARE(v.mid(0, semantic), Vector(semantic, 0.0f));
            QCOMPARE(v.mid(semantic), Embedder::normalized(Embedder::hashedBagOfWords(text)));
        }
    }

    void semanticTextIsCutInCharacters()
    {
        // 1,200 characters of four code units each.
        const QString text = u"\U0001F44D\U0001F3FD"_s.repeated(1200);
        const Embedder embedder(true, std::make_unique<TableSource>(2, std::map<QString, Vector>{{text, {1, 0}}}));
        QCOMPARE(embedder.vector(text + u" Garten"_s).mid(0, 2), (Vector{Embedder::semWeight, 0.0f}));
    }

    void ensureEmbeddings()
    {
        const QString stale = idText(LibraryBuilder::id(99));
        LibraryData data = LibraryBuilder().tab("Garten").vector(Vector(256, 0.5f)).tab("Katze").embedderKind(u"none-0+bow256"_s);
        data.embeddings.insert(stale, Vector(256, 1.0f));
        const Embedder embedder;
        embedder.ensureEmbeddings(data);
        // Same kind: the existing vector stays, the missing one is added, the stale one goes.
        const QString first = idText(LibraryBuilder::tabId(1));
        QCOMPARE(data.embeddings.size(), 2);
        QCOMPARE(data.embeddings.value(first), Vector(256, 0.5f));
        QCOMPARE(data.embeddings.value(idText(LibraryBuilder::tabId(2))), embedder.vector(data.tabs[1].searchableText()));
        // Another vector space: every vector is made again.
        auto source = std::make_unique<TableSource>(2);
        const TableSource *asked = source.get();
        const Embedder semantic(true, std::move(source));
        semantic.ensureEmbeddings(data);
        QCOMPARE(data.embedderKind, u"local-2+bow256"_s);
        QCOMPARE(asked->calls, 2);
        QCOMPARE(data.embeddings.value(first), semantic.vector(data.tabs[0].searchableText()));
    }

    void keywordScore_data()
    {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("field"); // where the tab gets `content`
        QTest::addColumn<QString>("content");
        QTest::addColumn<float>("expected");
        QTest::newRow("title") << u"garten"_s << u"title"_s << u"Mein Garten"_s << 1.0f;
        QTest::newRow("address") << u"garten"_s << u"url"_s << u"https://garten.ch/x"_s << 0.6f;
        QTest::newRow("text") << u"garten"_s << u"text"_s << u"Im Garten"_s << 0.4f;
        QTest::newRow("text beyond 6000 ignored") << u"garten"_s << u"text"_s << (QString(5999, u'x') + u" garten"_s) << 0.0f;
        // "en" is tried before "n": three letters remain, too few, though "hose" would match.
        QTest::newRow("en before n, too short") << u"hosen"_s << u"title"_s << u"Regenhose"_s << 0.0f;
        QTest::newRow("combining mark stays in its word") << u"cafe"_s << u"title"_s << u"Cafe\u0301 Bar"_s << 0.0f;
    }

    void keywordScore()
    {
        QFETCH(QString, query);
        QFETCH(QString, field);
        QFETCH(QString, content);
        QFETCH(float, expected);
        LibraryBuilder builder;
        builder.tab(field == u"title" ? content : u"Leer"_s, field == u"url" ? content : u"https://example.org/"_s);
        if (field == u"text")
            builder.text(content);
        const float got = SearchIndex::keywordScore(SearchIndex::queryStems(query), builder.build().tabs.first());
        QVERIFY2(std::fabs(got - expected) < 1e-6f, qPrintable(QString::number(got)));
    }

    void orderAndLimit()
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
        // The closer word match first; a title with every query word weighs at least the keywords.
        QVERIFY(hits[0].score > hits[1].score && hits[1].score == hits[3].score && hits[3].score >= SearchIndex::keywordWeight);
        QCOMPARE(index.search(u"kamera"_s, data, 2).value(1).id, B::tabId(2));
        QVERIFY(index.search(u"kamera"_s, data, 0).isEmpty() && index.hits(u"  \n\t "_s, data, 10).isEmpty());
        QVERIFY(index.hits(u"die und der"_s, LibraryBuilder().tab("die und der Garten"), 10).isEmpty());
    }

    void cacheFollowsChanges()
    {
        LibraryData data = LibraryBuilder().tab("Garten", "https://a.ch/1").tab("Katze", "https://a.ch/2");
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
        // Without stored vectors the index keeps its own, made anew for changed
        // words; a copy shares them and agrees with a fresh index.
        data.embeddings.clear();
        data.embedderKind.clear();
        QCOMPARE(index.hits(u"katze"_s, data, 10).size(), 1);
        data.tabs[0].note = u"Katze im Garten"_s;
        data.tabs[1].title = u"Hund"_s;
        QCOMPARE(idsOf(index.hits(u"katze"_s, data, 10)), QList<QUuid>{data.tabs[0].id});
        const SearchIndex copy = index;
        QCOMPARE(copy.hits(u"katze garten"_s, data, 10), SearchIndex(embedder).hits(u"katze garten"_s, data, 10));
    }

    // Hits, scores and order on the demo library, as recorded in demo_ranking.txt
    // (query, address, score; tab separated): a faster scorer must rank alike.
    void demoRanking()
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
};

PELLMORA_TEST_GUILESS_MAIN(TestText)
#include "TestText.moc"
