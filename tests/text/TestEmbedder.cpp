#include <QTest>

#include <cmath>
#include <map>

#include "Embedder.h"
#include "SemanticSource.h"
#include "TestRegistry.h"

using namespace Qt::StringLiterals;

namespace {

// Answers fixed vectors for known texts and nothing for the rest.
class TableSource : public SemanticSource
{
public:
    TableSource(QString name, qsizetype dim) : m_name(std::move(name)), m_dim(dim) {}
    qsizetype dimension() const override { return m_dim; }
    std::optional<Vector> vector(const QString &text) override
    {
        ++calls;
        const auto it = answers.find(text);
        if (it == answers.end())
            return std::nullopt;
        return it->second;
    }
    QString identity() const override { return m_name; }

    std::map<QString, Vector> answers;
    int calls = 0;

private:
    QString m_name;
    qsizetype m_dim;
};

SavedTab makeTab(const QString &title)
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    tab.title = title;
    return tab;
}

} // namespace

class TestEmbedder : public QObject
{
    Q_OBJECT

private slots:
    void init() { qunsetenv("PELLMORA_NO_SEMANTIC"); }
    void fnv_data();
    void fnv();
    void bagOfWords_data();
    void bagOfWords();
    void cosine_data();
    void cosine();
    void noneKind();
    void semanticSource_data();
    void semanticSource();
    void vectorCutsText();
    void ensureEmbeddings();
};

void TestEmbedder::fnv_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<quint64>("hash");
    // Reference values from an independent script over the UTF-8 bytes.
    QTest::newRow("empty") << QString() << quint64(0xcbf29ce484222325ull);
    QTest::newRow("garten") << u"garten"_qs << quint64(0xf55318d91dbb4304ull);
    QTest::newRow("projek") << u"projek"_qs << quint64(0x526cd2e63f9d1166ull);
    QTest::newRow("umlaut as two bytes") << u"z\u00fcrich"_qs << quint64(0xfe8bb21e6544b7a0ull);
}

void TestEmbedder::fnv()
{
    QFETCH(QString, text);
    QFETCH(quint64, hash);
    QCOMPARE(Embedder::fnv(text), hash);
}

using Bins = std::map<int, float>;

void TestEmbedder::bagOfWords_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<Bins>("bins"); // every other bin is zero

    // garten -> bin 4 negative, projek -> 102 positive, katze -> 142 negative,
    // hund -> 20 positive, zürich -> 160 positive, möbel -> 84 positive.
    QTest::newRow("empty") << QString() << Bins{};
    QTest::newRow("stop words and single letters only") << u"die und a b the"_qs << Bins{};
    QTest::newRow("counts, signs and shared stems")
        << u"Projekte Projektplan Garten garten GARTEN Katze Hund die"_qs
        << Bins{{4, -(std::log(3.0f) + 1.0f)}, {102, std::log(2.0f) + 1.0f}, {142, -1.0f}, {20, 1.0f}};
    QTest::newRow("umlauts") << u"Z\u00fcrich M\u00f6bel"_qs << Bins{{160, 1.0f}, {84, 1.0f}};
}

void TestEmbedder::bagOfWords()
{
    QFETCH(QString, text);
    QFETCH(Bins, bins);
    const Vector v = Embedder::hashedBagOfWords(text);
    QCOMPARE(v.size(), 256);
    for (int i = 0; i < 256; ++i) {
        const auto it = bins.find(i);
        const float expected = it == bins.end() ? 0.0f : it->second;
        QVERIFY2(std::fabs(v[i] - expected) < 1e-5f, qPrintable(u"bin %1: %2"_qs.arg(i).arg(v[i])));
    }
}

void TestEmbedder::cosine_data()
{
    QTest::addColumn<Vector>("a");
    QTest::addColumn<Vector>("b");
    QTest::addColumn<float>("expected");
    QTest::newRow("empty") << Vector{} << Vector{} << 0.0f;
    QTest::newRow("length differs") << Vector{1, 0} << Vector{1, 0, 0} << 0.0f;
    QTest::newRow("zero vector") << Vector{0, 0} << Vector{1, 0} << 0.0f;
    QTest::newRow("same direction") << Vector{1, 2} << Vector{2, 4} << 1.0f;
    QTest::newRow("opposite") << Vector{1, 0} << Vector{-3, 0} << -1.0f;
    QTest::newRow("orthogonal") << Vector{1, 0} << Vector{0, 5} << 0.0f;
    QTest::newRow("45 degrees") << Vector{1, 0} << Vector{1, 1} << float(1.0 / std::sqrt(2.0));
}

void TestEmbedder::cosine()
{
    QFETCH(Vector, a);
    QFETCH(Vector, b);
    QFETCH(float, expected);
    QVERIFY(std::fabs(Embedder::cosine(a, b) - expected) < 1e-6f);
}

void TestEmbedder::noneKind()
{
    const Embedder embedder;
    QCOMPARE(embedder.kind(), u"none-0+bow256"_qs);
    QCOMPARE(embedder.dimension(), 256);
    QVERIFY(!embedder.semanticVector(u"Garten"_qs));
    const Vector a = embedder.vector(u"Katze Hund Garten"_qs);
    QCOMPARE(a, Embedder::normalized(Embedder::hashedBagOfWords(u"Katze Hund Garten"_qs)));
    QVERIFY(std::fabs(Embedder::cosine(a, embedder.vector(u"garten, die KATZE und der hund"_qs)) - 1.0f) < 1e-6f);
    const Vector empty = embedder.vector(u"und die"_qs);
    QCOMPARE(empty, Vector(256, 0.0f));
    QCOMPARE(Embedder::cosine(empty, a), 0.0f);
}

void TestEmbedder::semanticSource_data()
{
    QTest::addColumn<bool>("allow");
    QTest::addColumn<bool>("envOff");
    QTest::addColumn<QString>("kind");
    QTest::newRow("used") << true << false << u"local-3+bow256"_qs;
    QTest::newRow("not allowed") << false << false << u"none-0+bow256"_qs;
    QTest::newRow("switched off by environment") << true << true << u"none-0+bow256"_qs;
}

void TestEmbedder::semanticSource()
{
    QFETCH(bool, allow);
    QFETCH(bool, envOff);
    QFETCH(QString, kind);
    if (envOff)
        qputenv("PELLMORA_NO_SEMANTIC", "");
    auto source = std::make_unique<TableSource>(u"local"_qs, 3);
    source->answers[u"Hund"_qs] = Vector{3, 0, 4};
    source->answers[u"Katze"_qs] = Vector{1, 2}; // wrong length: ignored
    const Embedder embedder(allow, std::move(source));
    QCOMPARE(embedder.kind(), kind);
    if (kind.startsWith(u"none"))
        return;
    QCOMPARE(embedder.dimension(), 259);

    const Vector dog = embedder.vector(u"Hund"_qs);
    QCOMPARE(dog.size(), 259);
    QVERIFY(std::fabs(dog[0] - 0.6f * Embedder::semWeight) < 1e-6f);
    QVERIFY(std::fabs(dog[2] - 0.8f * Embedder::semWeight) < 1e-6f);
    QVERIFY(std::fabs(dog[3 + 20] - Embedder::bowWeight) < 1e-6f); // "hund" sits in bin 20

    // No usable semantic answer: zero-filled part, words at full weight.
    for (const QString &text : {u"Katze"_qs, u"Garten"_qs}) {
        const Vector v = embedder.vector(text);
        QCOMPARE(v.size(), 259);
        QCOMPARE(v.mid(0, 3), Vector(3, 0.0f));
        QCOMPARE(v.mid(3), Embedder::normalized(Embedder::hashedBagOfWords(text)));
    }
}

void TestEmbedder::vectorCutsText()
{
    auto source = std::make_unique<TableSource>(u"local"_qs, 2);
    // 1,200 characters of which each is four code units.
    const QString thumb = u"\U0001F44D\U0001F3FD"_qs;
    QString text;
    for (int i = 0; i < 1200; ++i)
        text += thumb;
    source->answers[text] = Vector{1, 0};
    const Embedder embedder(true, std::move(source));
    QCOMPARE(embedder.vector(text + u" Garten"_qs).mid(0, 2), (Vector{Embedder::semWeight, 0.0f}));
}

void TestEmbedder::ensureEmbeddings()
{
    LibraryData data;
    data.tabs = {makeTab(u"Garten"_qs), makeTab(u"Katze"_qs)};
    const QString stale = idText(QUuid::createUuid());
    data.embeddings.insert(stale, Vector(256, 1.0f));
    data.embeddings.insert(idText(data.tabs[0].id), Vector(256, 0.5f));
    data.embedderKind = u"none-0+bow256"_qs;

    const Embedder embedder;
    embedder.ensureEmbeddings(data);
    // Same kind: the existing vector stays, the missing one is added, the stale one goes.
    QCOMPARE(data.embeddings.size(), 2);
    QVERIFY(!data.embeddings.contains(stale));
    QCOMPARE(data.embeddings.value(idText(data.tabs[0].id)), Vector(256, 0.5f));
    QCOMPARE(data.embeddings.value(idText(data.tabs[1].id)), embedder.vector(data.tabs[1].searchableText()));

    // Another vector space: every vector is made again.
    auto source = std::make_unique<TableSource>(u"local"_qs, 2);
    TableSource *raw = source.get();
    const Embedder semantic(true, std::move(source));
    semantic.ensureEmbeddings(data);
    QCOMPARE(data.embedderKind, u"local-2+bow256"_qs);
    QCOMPARE(raw->calls, 2);
    for (const SavedTab &tab : std::as_const(data.tabs))
        QCOMPARE(data.embeddings.value(idText(tab.id)), semantic.vector(tab.searchableText()));
}

PELLMORA_TEST_GUILESS_MAIN(TestEmbedder)
#include "TestEmbedder.moc"
