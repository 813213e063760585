#include <QTest>

#include <cmath>
#include <map>

#include "Embedder.h"
#include "LibraryBuilder.h"
#include "SemanticSource.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

// Answers fixed vectors for known texts and nothing for the rest.
class TableSource : public SemanticSource
{
public:
    explicit TableSource(qsizetype dimension, std::map<QString, Vector> answers = {})
        : m_dimension(dimension), m_answers(std::move(answers)) {}
    qsizetype dimension() const override { return m_dimension; }
    QString identity() const override { return u"local"_s; }
    std::optional<Vector> vector(const QString &text) override
    {
        ++calls;
        const auto it = m_answers.find(text);
        return it == m_answers.end() ? std::nullopt : std::optional<Vector>(it->second);
    }
    int calls = 0;

private:
    qsizetype m_dimension;
    std::map<QString, Vector> m_answers;
};

bool near(float a, float b)
{
    return std::fabs(a - b) < 1e-5f;
}

} // namespace

class TestEmbedder : public QObject
{
    Q_OBJECT

private slots:
    void init() { qunsetenv("PELLMORA_NO_SEMANTIC"); }

    void wordVectors()
    {
        // Stored vectors depend on these: reference values from an
        // independent script over the UTF-8 bytes.
        QCOMPARE(Embedder::fnv(u"garten"_s), quint64(0xf55318d91dbb4304ull));
        QCOMPARE(Embedder::fnv(u"z\u00fcrich"_s), quint64(0xfe8bb21e6544b7a0ull));
        // garten -> bin 4 negative, projek -> 102 positive, katze -> 142
        // negative, hund -> 20 positive; counts weigh by their logarithm.
        const std::map<int, float> bins{{4, -(std::log(3.0f) + 1.0f)}, {102, std::log(2.0f) + 1.0f}, {142, -1.0f}, {20, 1.0f}};
        const Vector v = Embedder::hashedBagOfWords(u"Projekte Projektplan Garten garten GARTEN Katze Hund die a"_s);
        QCOMPARE(v.size(), 256);
        for (int i = 0; i < 256; ++i)
            QVERIFY2(near(v[i], bins.count(i) ? bins.at(i) : 0.0f), qPrintable(QString::number(i)));
    }

    void cosine_data()
    {
        QTest::addColumn<Vector>("a");
        QTest::addColumn<Vector>("b");
        QTest::addColumn<float>("expected");
        QTest::newRow("length differs") << Vector{1, 0} << Vector{1, 0, 0} << 0.0f;
        QTest::newRow("zero vector") << Vector{0, 0} << Vector{1, 0} << 0.0f;
        QTest::newRow("opposite") << Vector{1, 0} << Vector{-3, 0} << -1.0f;
        QTest::newRow("45 degrees") << Vector{1, 0} << Vector{1, 1} << float(1.0 / std::sqrt(2.0));
    }

    void cosine()
    {
        QFETCH(Vector, a);
        QFETCH(Vector, b);
        QFETCH(float, expected);
        QVERIFY(near(Embedder::cosine(a, b), expected));
    }

    void semanticSource_data()
    {
        QTest::addColumn<bool>("allow");
        QTest::addColumn<bool>("envOff");
        QTest::addColumn<QString>("kind");
        QTest::newRow("used") << true << false << u"local-3+bow256"_s;
        QTest::newRow("not allowed") << false << false << u"none-0+bow256"_s;
        QTest::newRow("switched off by environment") << true << true << u"none-0+bow256"_s;
    }

    void semanticSource()
    {
        QFETCH(bool, allow);
        QFETCH(bool, envOff);
        QFETCH(QString, kind);
        if (envOff)
            qputenv("PELLMORA_NO_SEMANTIC", "");
        // "Katze" gets a vector of the wrong length: ignored.
        const Embedder embedder(allow, std::make_unique<TableSource>(3, std::map<QString, Vector>{
                                                                            {u"Hund"_s, {3, 0, 4}}, {u"Katze"_s, {1, 2}}}));
        QCOMPARE(embedder.kind(), kind);
        const qsizetype semantic = embedder.dimension() - 256;
        const Vector dog = embedder.vector(u"Hund"_s);
        QCOMPARE(dog.size(), embedder.dimension());
        if (semantic) {
            QVERIFY(near(dog[0], 0.6f * Embedder::semWeight) && near(dog[2], 0.8f * Embedder::semWeight));
            QVERIFY(near(dog[3 + 20], Embedder::bowWeight)); // "hund" sits in bin 20
        }
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
};

PELLMORA_TEST_GUILESS_MAIN(TestEmbedder)
#include "TestEmbedder.moc"
