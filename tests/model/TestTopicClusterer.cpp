#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

#include <cmath>
#include <memory>

#include "Embedder.h"
#include "LocalHttpServer.h"
#include "ModelClient.h"
#include "TopicClusterer.h"
#include "TopicPalette.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Groups = QList<QList<qsizetype>>;

namespace {

Vector angle(double degrees)
{
    const double r = degrees * M_PI / 180.0;
    return {float(std::cos(r)), float(std::sin(r))};
}

Vector unit(qsizetype dimension, qsizetype axis, float weight = 1.0f)
{
    Vector v(dimension, 0.0f);
    v[axis] = weight;
    return v;
}

LocalHttpServer::Response ollamaChat(const QJsonObject &record, int delayMs = 0)
{
    const QJsonObject answer{{"model", "gemma"},
                             {"message", QJsonObject{{"role", "assistant"},
                                                     {"content", QString::fromUtf8(QJsonDocument(record).toJson(
                                                                     QJsonDocument::Compact))}}},
                             {"done", true}};
    return LocalHttpServer::page(QJsonDocument(answer).toJson(QJsonDocument::Compact), "application/json", delayMs);
}

QString userMessage(const LocalHttpServer::Request &request)
{
    const QJsonArray messages = QJsonDocument::fromJson(request.body).object().value("messages").toArray();
    return messages.isEmpty() ? QString() : messages.last().toObject().value("content").toString();
}

} // namespace

class TestTopicClusterer : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void kFor_data();
    void kFor();
    void centroid_data();
    void centroid();
    void agglomerative_data();
    void agglomerative();
    void kMeans_data();
    void kMeans();
    void fallbackName_data();
    void fallbackName();
    void nameFromReply_data();
    void nameFromReply();

    void emptyLibrary();
    void oneTab();
    void twoNearlyIdentical();
    void negativeCosineGoesToUnsorted();
    void unrelatedTabStaysInGroup();
    void pruning_data();
    void pruning();
    void rerunSplitsAnOverMergedGroup();
    void sixReRunsAtMost();
    void agglomerativeUpTo400KMeansAbove();
    void workingOrderIsByAddress();
    void sameNameInOtherCase();
    void modelNamesAndPrompt();
    void modelFailureFallsBackPerGroup();
    void slowModelFallsBack();
    void withoutModel();

private:
    void add(LibraryData &data, const QString &title, const Vector &vector, const QString &domain = {},
             const QString &summary = {}) const;
    LibraryData library() const;
    TopicClusterer clusterer(std::chrono::milliseconds nameLimit = TopicClusterer::defaultNameLimit) const;
    void startModel();
    QStringList namesOf(const LibraryData &data) const;

    std::shared_ptr<Embedder> m_embedder;
    std::unique_ptr<LocalHttpServer> m_server;
};

void TestTopicClusterer::init()
{
    m_embedder = std::make_shared<Embedder>(false);
    ModelClient::forgetApis();
    qunsetenv("PELLMORA_MODEL");
    qunsetenv("PELLMORA_MODEL_URL");
}

void TestTopicClusterer::cleanup()
{
    m_server.reset();
    qunsetenv("PELLMORA_MODEL");
    qunsetenv("PELLMORA_MODEL_URL");
}

void TestTopicClusterer::add(LibraryData &data, const QString &title, const Vector &vector, const QString &domain,
                             const QString &summary) const
{
    SavedTab tab;
    tab.id = QUuid::createUuid();
    // Addresses in insertion order, so working positions equal library positions.
    tab.url = QStringLiteral("https://t.example/%1").arg(data.tabs.size(), 4, 10, QLatin1Char('0'));
    tab.title = title;
    tab.domain = domain;
    tab.summary = summary;
    data.tabs.append(tab);
    data.embeddings.insert(idText(tab.id), vector);
}

LibraryData TestTopicClusterer::library() const
{
    LibraryData data;
    data.embedderKind = m_embedder->kind();
    return data;
}

TopicClusterer TestTopicClusterer::clusterer(std::chrono::milliseconds nameLimit) const
{
    return TopicClusterer(m_embedder, 0.12f, 0.10f, 0.02f, nameLimit);
}

void TestTopicClusterer::startModel()
{
    m_server = std::make_unique<LocalHttpServer>();
    QVERIFY(m_server->isListening());
    m_server->route("/api/tags", LocalHttpServer::page(R"({"models":[{"name":"gemma"}]})", "application/json"));
    qputenv("PELLMORA_MODEL_URL", m_server->address(QStringLiteral("/")).toUtf8());
    qputenv("PELLMORA_MODEL", "gemma");
}

QStringList TestTopicClusterer::namesOf(const LibraryData &data) const
{
    QStringList names;
    for (const Topic &topic : data.topics)
        names.append(topic.name);
    return names;
}

void TestTopicClusterer::kFor_data()
{
    QTest::addColumn<qsizetype>("n");
    QTest::addColumn<qsizetype>("k");
    QTest::newRow("1 clamps up") << qsizetype(1) << qsizetype(2);
    QTest::newRow("4") << qsizetype(4) << qsizetype(2);
    QTest::newRow("13 rounds up") << qsizetype(13) << qsizetype(3);
    QTest::newRow("18") << qsizetype(18) << qsizetype(3);
    QTest::newRow("50") << qsizetype(50) << qsizetype(5);
    QTest::newRow("100") << qsizetype(100) << qsizetype(7);
    QTest::newRow("264") << qsizetype(264) << qsizetype(11);
    QTest::newRow("265") << qsizetype(265) << qsizetype(12);
    QTest::newRow("10000 clamps down") << qsizetype(10000) << qsizetype(12);
}

void TestTopicClusterer::kFor()
{
    QFETCH(qsizetype, n);
    QFETCH(qsizetype, k);
    QCOMPARE(TopicClusterer::kFor(n), k);
}

void TestTopicClusterer::centroid_data()
{
    QTest::addColumn<QList<Vector>>("vectors");
    QTest::addColumn<Vector>("expected");
    const float h = float(1.0 / std::sqrt(2.0));
    QTest::newRow("none") << QList<Vector>{} << Vector{};
    QTest::newRow("two axes") << QList<Vector>{{1, 0}, {0, 1}} << Vector{h, h};
    QTest::newRow("not normalised first") << QList<Vector>{{3, 0}, {0, 1}} << Vector{0.9486833f, 0.3162278f};
    QTest::newRow("zero sum stays zero") << QList<Vector>{{1, -1}, {-1, 1}} << Vector{0, 0};
    QTest::newRow("first length, common part") << QList<Vector>{{1, 0, 0}, {0, 1}} << Vector{h, h, 0};
    QTest::newRow("longer later vector cut") << QList<Vector>{{1}, {0, 1}} << Vector{1};
}

void TestTopicClusterer::centroid()
{
    QFETCH(QList<Vector>, vectors);
    QFETCH(Vector, expected);
    const Vector result = TopicClusterer::centroid(vectors);
    QCOMPARE(result.size(), expected.size());
    for (qsizetype i = 0; i < result.size(); ++i)
        QVERIFY2(std::abs(result.at(i) - expected.at(i)) < 1e-6f, qPrintable(QString::number(i)));
}

void TestTopicClusterer::agglomerative_data()
{
    QTest::addColumn<QList<Vector>>("vectors");
    QTest::addColumn<qsizetype>("k");
    QTest::addColumn<Groups>("groups");
    QTest::addColumn<QList<qsizetype>>("outliers");

    const Vector x{1, 0, 0};
    const Vector y{0, 1, 0};
    QTest::newRow("equal pairs: lower pair merges first")
        << QList<Vector>{x, x, y, y} << qsizetype(3) << Groups{{0, 1}, {2}, {3}} << QList<qsizetype>{};
    QTest::newRow("equal pairs to k=2") << QList<Vector>{x, x, y, y} << qsizetype(2) << Groups{{0, 1}, {2, 3}}
                                        << QList<qsizetype>{};
    QTest::newRow("tie in a row: smaller partner") << QList<Vector>{{1, 1}, {1, 0}, {0, 1}} << qsizetype(2)
                                                   << Groups{{0, 1}, {2}} << QList<qsizetype>{};
    QTest::newRow("merge floor stops short of k")
        << QList<Vector>{x, x, y, y} << qsizetype(1) << Groups{{0, 1}, {2, 3}} << QList<qsizetype>{};
    // After {0,1} the average to 2 is 0.704, below 2–3 at 0.707; single
    // linkage would take 2 to {0,1} at 0.766.
    QTest::newRow("average linkage")
        << QList<Vector>{angle(0), angle(10), angle(50), angle(95)} << qsizetype(2) << Groups{{0, 1}, {2, 3}}
        << QList<qsizetype>{};
    QTest::newRow("orthogonal tab is an outlier")
        << QList<Vector>{x, x, {0, 0, 1}, x} << qsizetype(1) << Groups{{0, 1, 3}} << QList<qsizetype>{2};
    QTest::newRow("zero vector is an outlier")
        << QList<Vector>{{0, 0, 0}, x, x} << qsizetype(2) << Groups{{1}, {2}} << QList<qsizetype>{0};
    QTest::newRow("best 0.0998 is an outlier, 0.1004 is not")
        << QList<Vector>{angle(0), angle(84.27), angle(168.5)} << qsizetype(3) << Groups{{1}, {2}}
        << QList<qsizetype>{0};
    QTest::newRow("single vector") << QList<Vector>{x} << qsizetype(2) << Groups{} << QList<qsizetype>{0};
    QTest::newRow("shorter vector compared on common part")
        << QList<Vector>{{1, 0}, {1, 0, 5}, {0, 1}} << qsizetype(1) << Groups{{0, 1}} << QList<qsizetype>{2};
}

void TestTopicClusterer::agglomerative()
{
    QFETCH(QList<Vector>, vectors);
    QFETCH(qsizetype, k);
    QFETCH(Groups, groups);
    QFETCH(QList<qsizetype>, outliers);
    const TopicGrouping result = clusterer().agglomerative(vectors, k);
    QCOMPARE(result.groups, groups);
    QCOMPARE(result.outliers, outliers);
}

void TestTopicClusterer::kMeans_data()
{
    QTest::addColumn<QList<Vector>>("vectors");
    QTest::addColumn<qsizetype>("k");
    QTest::addColumn<Groups>("groups");

    const Vector x{1, 0, 0};
    const Vector y{0, 1, 0};
    const Vector z{0, 0, 1};
    QTest::newRow("two clear groups") << QList<Vector>{x, x, y, y} << qsizetype(2) << Groups{{0, 1}, {2, 3}};
    // y and z are equally far from x: the first one seeds; z, at 0 to
    // both, stays with the first centroid.
    QTest::newRow("seed and assignment ties") << QList<Vector>{x, y, z, x} << qsizetype(2)
                                              << Groups{{0, 2, 3}, {1}};
    QTest::newRow("more groups than vectors") << QList<Vector>{x, y} << qsizetype(3) << Groups{{0}, {1}};
    // Seeds 0° and 90° (the farthest); 40° goes to the first, 50° and 80°
    // to the second, and the moved centroids keep it so.
    QTest::newRow("centroids move")
        << QList<Vector>{angle(0), angle(90), angle(40), angle(50), angle(80)} << qsizetype(2)
        << Groups{{0, 2}, {1, 3, 4}};
    QTest::newRow("empty") << QList<Vector>{} << qsizetype(2) << Groups{};
}

void TestTopicClusterer::kMeans()
{
    QFETCH(QList<Vector>, vectors);
    QFETCH(qsizetype, k);
    QFETCH(Groups, groups);
    QCOMPARE(TopicClusterer::kMeans(vectors, k), groups);
}

void TestTopicClusterer::fallbackName_data()
{
    QTest::addColumn<QStringList>("titles");
    QTest::addColumn<QStringList>("domains");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("name");

    QTest::newRow("two keywords") << QStringList{"Kamera kaufen", "Kamera Objektiv Vergleich", "Objektiv"}
                                  << QStringList{"a.ch", "b.ch", "c.ch"} << QStringList{"", "", ""}
                                  << "Kamera & Objektiv";
    QTest::newRow("one keyword and top domain") << QStringList{"Fahrplan", "Zug", "Bus"}
                                                << QStringList{"zvv.ch", "sbb.ch", "sbb.ch"}
                                                << QStringList{"", "", ""} << "Fahrplan · sbb.ch";
    QTest::newRow("one keyword, no domain") << QStringList{"Fahrplan", "Zug"} << QStringList{"", ""}
                                            << QStringList{"", ""} << "Fahrplan";
    QTest::newRow("no keyword: two domains, ties by name") << QStringList{"Zug", "Bus", "Tee"}
                                                           << QStringList{"x.ch", "a.ch", "m.ch"}
                                                           << QStringList{"", "", ""} << "a.ch · m.ch";
    QTest::newRow("no keyword: more frequent first") << QStringList{"Zug", "Bus", "Tee"}
                                                     << QStringList{"a.ch", "x.ch", "x.ch"}
                                                     << QStringList{"", "", ""} << "x.ch · a.ch";
    QTest::newRow("no keyword: one domain") << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "a.ch"}
                                            << QStringList{"", ""} << "a.ch";
    QTest::newRow("text words in two tabs count")
        << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "a.ch"}
        << QStringList{"Verspätung heute Fahrplan", "Fahrplan mit Verspätung"} << "Fahrplan & Verspätung";
    QTest::newRow("text word in one tab only is no keyword")
        << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "b.ch"} << QStringList{"Fahrplan", ""}
        << "a.ch · b.ch";
    const QString filler = QStringLiteral("x ").repeated(300);
    QTest::newRow("text after 600 characters unseen")
        << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "a.ch"}
        << QStringList{filler + "Geheimwort Geheimtipp", filler + "Geheimwort Geheimtipp"} << "a.ch";
}

void TestTopicClusterer::fallbackName()
{
    QFETCH(QStringList, titles);
    QFETCH(QStringList, domains);
    QFETCH(QStringList, texts);
    QFETCH(QString, name);
    QList<SavedTab> tabs;
    for (qsizetype i = 0; i < titles.size(); ++i) {
        SavedTab tab;
        tab.title = titles.at(i);
        tab.domain = domains.at(i);
        tab.text = texts.at(i);
        tabs.append(tab);
    }
    QCOMPARE(TopicClusterer::fallbackName(tabs), name);
}

void TestTopicClusterer::nameFromReply_data()
{
    QTest::addColumn<QJsonObject>("reply");
    QTest::addColumn<QString>("name");

    QTest::newRow("plain") << QJsonObject{{"name", "Reisen in Japan"}} << "Reisen in Japan";
    QTest::newRow("guillemets") << QJsonObject{{"name", "«Reisen in Japan»"}} << "Reisen in Japan";
    QTest::newRow("straight quotes and blanks") << QJsonObject{{"name", " \"Reisen\" "}} << "Reisen";
    QTest::newRow("full stop and line feed") << QJsonObject{{"name", "Reisen in Japan.\n"}} << "Reisen in Japan";
    QTest::newRow("inner quotes stay") << QJsonObject{{"name", "Der «Kleine» Prinz"}} << "Der «Kleine» Prinz";
    QTest::newRow("40 characters") << QJsonObject{{"name", QString(40, u'a')}} << QString(40, u'a');
    QTest::newRow("41 characters") << QJsonObject{{"name", QString(41, u'a')}} << QString();
    QTest::newRow("40 flags are 40 characters")
        << QJsonObject{{"name", QStringLiteral("🇨🇭").repeated(40)}} << QStringLiteral("🇨🇭").repeated(40);
    QTest::newRow("only dots") << QJsonObject{{"name", " ... "}} << QString();
    QTest::newRow("wrong type") << QJsonObject{{"name", 3}} << QString();
    QTest::newRow("missing") << QJsonObject{{"title", "Reisen"}} << QString();
}

void TestTopicClusterer::nameFromReply()
{
    QFETCH(QJsonObject, reply);
    QFETCH(QString, name);
    const std::optional<TopicName> result = TopicClusterer::nameFromReply(reply);
    QCOMPARE(result.has_value(), !name.isEmpty());
    if (result)
        QCOMPARE(result->name, name);
}

void TestTopicClusterer::emptyLibrary()
{
    LibraryData data = library();
    data.topics.append(Topic{QUuid::createUuid(), "Alt", "gelb", {}, false});
    data.topicsByAI = true;
    clusterer().cluster(data, true);
    QVERIFY(data.topics.isEmpty());
    QCOMPARE(data.topicsByAI, true);
}

void TestTopicClusterer::oneTab()
{
    LibraryData data = library();
    add(data, "Allein", {1, 0});
    data.topicsByAI = true;
    clusterer().cluster(data, true);
    QCOMPARE(data.topics.size(), 1);
    const Topic &topic = data.topics.first();
    QCOMPARE(topic.name, QStringLiteral("Ohne klares Thema"));
    QCOMPARE(topic.color, QStringLiteral("grau"));
    QVERIFY(topic.isUnsorted);
    QCOMPARE(topic.tabIds, QList<QUuid>{data.tabs.first().id});
    QCOMPARE(data.tabs.first().topicId, std::optional<QUuid>(topic.id));
    QCOMPARE(data.topicsByAI, false);
}

void TestTopicClusterer::twoNearlyIdentical()
{
    LibraryData data = library();
    add(data, "Kamera Test", {1, 0.01f, 0});
    add(data, "Kamera Objektiv", {1, 0, 0.01f});
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 1);
    QCOMPARE(data.topics.first().tabIds, (QList<QUuid>{data.tabs.at(0).id, data.tabs.at(1).id}));
    QCOMPARE(data.topics.first().color, QStringLiteral("gelb"));
    QVERIFY(!data.topics.first().isUnsorted);
    for (const SavedTab &tab : std::as_const(data.tabs))
        QCOMPARE(tab.topicId, std::optional<QUuid>(data.topics.first().id));
}

void TestTopicClusterer::negativeCosineGoesToUnsorted()
{
    LibraryData data = library();
    add(data, "Eins", {1, 0});
    add(data, "Zwei", {1, 0.2f});
    add(data, "Gegenteil", {-1, 0.1f});
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 2);
    QCOMPARE(data.topics.at(0).tabIds, (QList<QUuid>{data.tabs.at(0).id, data.tabs.at(1).id}));
    QVERIFY(!data.topics.at(0).isUnsorted);
    QCOMPARE(data.topics.at(1).tabIds, QList<QUuid>{data.tabs.at(2).id});
    QVERIFY(data.topics.at(1).isUnsorted);
    QCOMPARE(data.topics.at(1).name, QStringLiteral("Ohne klares Thema"));
    QCOMPARE(data.tabs.at(2).topicId, std::optional<QUuid>(data.topics.at(1).id));
}

void TestTopicClusterer::unrelatedTabStaysInGroup()
{
    // The third is orthogonal to the others but 0.447 to the centroid.
    LibraryData data = library();
    add(data, "Eins", {1, 0});
    add(data, "Zwei", {1, 0});
    add(data, "Drei", {0, 1});
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 1);
    QCOMPARE(data.topics.first().tabIds.size(), 3);
    QVERIFY(!data.topics.first().isUnsorted);
}

void TestTopicClusterer::pruning_data()
{
    QTest::addColumn<QList<Vector>>("vectors");
    QTest::addColumn<Groups>("sorted");
    QTest::addColumn<QList<qsizetype>>("unsorted");

    QTest::newRow("vector of another length counts 0")
        << QList<Vector>{{1, 0}, {1, 0}, {1, 0, 0}} << Groups{{0, 1}} << QList<qsizetype>{2};
    QTest::newRow("empty vector counts 0") << QList<Vector>{{1, 0}, {}, {1, 0}} << Groups{{0, 2}}
                                           << QList<qsizetype>{1};
    QTest::newRow("zero centroid drops the group")
        << QList<Vector>{{1, 0}, {0, 1}, {-1, -1}} << Groups{} << QList<qsizetype>{0, 1, 2};
    // 0 and 1 fit; 2 goes first, then the single 1 left with 0 follows.
    QTest::newRow("one left after pruning joins the outliers in member order")
        << QList<Vector>{{1, 0}, {0, 1}, {0, -0.9f}} << Groups{} << QList<qsizetype>{1, 2, 0};
}

void TestTopicClusterer::pruning()
{
    QFETCH(QList<Vector>, vectors);
    QFETCH(Groups, sorted);
    QFETCH(QList<qsizetype>, unsorted);
    LibraryData data = library();
    for (const Vector &v : vectors)
        add(data, "Tab", v);
    clusterer().cluster(data, false);
    const auto idsOf = [&](const QList<qsizetype> &indices) {
        QList<QUuid> ids;
        for (qsizetype i : indices)
            ids.append(data.tabs.at(i).id);
        return ids;
    };
    QCOMPARE(data.topics.size(), sorted.size() + (unsorted.isEmpty() ? 0 : 1));
    for (qsizetype i = 0; i < sorted.size(); ++i)
        QCOMPARE(data.topics.at(i).tabIds, idsOf(sorted.at(i)));
    if (!unsorted.isEmpty()) {
        QVERIFY(data.topics.last().isUnsorted);
        QCOMPARE(data.topics.last().tabIds, idsOf(unsorted));
    }
}

void TestTopicClusterer::rerunSplitsAnOverMergedGroup()
{
    // k0 = 2 first joins A and B and leaves the stray tab alone; one
    // re-run with k = 3 keeps A and B apart.
    LibraryData data = library();
    for (int i = 0; i < 3; ++i)
        add(data, QStringLiteral("Alpha %1").arg(i), {1, 0, 0});
    for (int i = 0; i < 3; ++i)
        add(data, QStringLiteral("Beta %1").arg(i), {1, 1, 0});
    add(data, "Streuner", {0.2f, 0, 1});
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 3);
    QCOMPARE(data.topics.at(0).tabIds, (QList<QUuid>{data.tabs.at(0).id, data.tabs.at(1).id, data.tabs.at(2).id}));
    QCOMPARE(data.topics.at(1).tabIds, (QList<QUuid>{data.tabs.at(3).id, data.tabs.at(4).id, data.tabs.at(5).id}));
    QCOMPARE(data.topics.at(0).color, QStringLiteral("gelb"));
    QCOMPARE(data.topics.at(1).color, QStringLiteral("blau"));
    QVERIFY(data.topics.at(2).isUnsorted);
    QCOMPARE(data.topics.at(2).tabIds, QList<QUuid>{data.tabs.at(6).id});
}

void TestTopicClusterer::sixReRunsAtMost()
{
    // Identical vectors merge into one chain; each re-run only peels one
    // more tab off it, up to k = 8 after the sixth, where nothing merges.
    LibraryData data = library();
    for (int i = 0; i < 7; ++i)
        add(data, QStringLiteral("Gleich %1").arg(i), {1, 0, 0});
    add(data, "Streuner", {0.3f, 0, 1});
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 1);
    QVERIFY(data.topics.first().isUnsorted);
    QCOMPARE(data.topics.first().tabIds.size(), 8);
}

void TestTopicClusterer::agglomerativeUpTo400KMeansAbove()
{
    // Twenty separate subjects: average linkage stops at the merge floor
    // with all twenty; k-means makes at most twelve groups.
    constexpr int subjects = 20;
    LibraryData data = library();
    for (int i = 0; i < 400; ++i)
        add(data, QStringLiteral("Thema%1").arg(QChar(u'A' + i % subjects)), unit(subjects, i % subjects));
    LibraryData larger = data;
    add(larger, "ThemaA", unit(subjects, 0));

    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), subjects);
    for (const Topic &topic : std::as_const(data.topics)) {
        QVERIFY(!topic.isUnsorted);
        QCOMPARE(topic.tabIds.size(), 20);
    }
    const QStringList &palette = TopicPalette::names();
    QCOMPARE(palette.size(), 12);
    for (qsizetype i = 0; i < data.topics.size(); ++i)
        QCOMPARE(data.topics.at(i).color, palette.at(i % 12));
    QCOMPARE(data.topics.at(12).color, QStringLiteral("gelb"));
    QCOMPARE(data.topics.first().name, QStringLiteral("ThemaA"));
    QCOMPARE(data.topics.last().name, QStringLiteral("ThemaT"));

    // Seeds are subjects A to L; M to T are at 0 to every seed and stay
    // with the first centroid, so that group holds 21 + 8 × 20 tabs.
    clusterer().cluster(larger, false);
    QCOMPARE(larger.topics.size(), 12);
    QCOMPARE(larger.topics.first().tabIds.size(), 181);
    for (qsizetype i = 1; i < larger.topics.size(); ++i) {
        QVERIFY(!larger.topics.at(i).isUnsorted);
        QCOMPARE(larger.topics.at(i).tabIds.size(), 20);
    }
    for (const SavedTab &tab : std::as_const(larger.tabs))
        QVERIFY(tab.topicId.has_value());
}

void TestTopicClusterer::workingOrderIsByAddress()
{
    // Library order is the reverse of address order: members still come
    // in address order, and the larger group comes first.
    LibraryData data = library();
    const QList<QString> urls{"https://z.example/", "https://y.example/", "https://b.example/", "https://a.example/"};
    const QList<Vector> vectors{{0, 1}, {0, 1}, {1, 0}, {1, 0}};
    for (qsizetype i = 0; i < urls.size(); ++i) {
        add(data, "Tab", vectors.at(i));
        data.tabs.last().url = urls.at(i);
    }
    add(data, "Tab", {0, 1});
    data.tabs.last().url = "https://x.example/";
    clusterer().cluster(data, false);
    QCOMPARE(data.topics.size(), 2);
    QCOMPARE(data.topics.at(0).tabIds, (QList<QUuid>{data.tabs.at(4).id, data.tabs.at(1).id, data.tabs.at(0).id}));
    QCOMPARE(data.topics.at(1).tabIds, (QList<QUuid>{data.tabs.at(3).id, data.tabs.at(2).id}));
}

void TestTopicClusterer::sameNameInOtherCase()
{
    startModel();
    QStringList answers{"Reisen", "REISEN", "Kochen", "reisen"};
    QMutex mutex;
    m_server->setHandler([&](const LocalHttpServer::Request &) {
        QMutexLocker lock(&mutex);
        return ollamaChat({{"name", answers.takeFirst()}});
    });
    LibraryData data = library();
    constexpr int subjects = 4;
    for (int i = 0; i < 12; ++i)
        add(data, QStringLiteral("Tab %1").arg(i), unit(subjects, i % subjects));
    clusterer().cluster(data, true);
    QCOMPARE(namesOf(data), (QStringList{"Reisen", "REISEN 2", "Kochen", "reisen 4"}));
    QCOMPARE(data.topicsByAI, true);
}

void TestTopicClusterer::modelNamesAndPrompt()
{
    startModel();
    QStringList answers{"«Fotografie»", "\"Kochen.\"", "Reisen"};
    QMutex mutex;
    m_server->setHandler([&](const LocalHttpServer::Request &) {
        QMutexLocker lock(&mutex);
        return ollamaChat({{"name", answers.takeFirst()}});
    });
    LibraryData data = library();
    // Fourteen photo tabs: the prompt shows the first twelve only.
    for (int i = 0; i < 14; ++i)
        add(data, QStringLiteral("Foto %1").arg(i, 2, 10, QLatin1Char('0')), {1, 0, 0}, "foto.ch",
            QStringLiteral("Über Bilder %1.").arg(i));
    add(data, "Rezept", {0, 1, 0}, "koch.ch", "");
    add(data, "Suppe", {0, 1, 0}, "koch.ch", "Eine Suppe.");
    add(data, "Zug", {0, 0, 1}, "sbb.ch", "Fahrplan.");
    add(data, "Hotel", {0, 0, 1}, "hotel.ch", "Zimmer.");
    clusterer().cluster(data, true);
    QCOMPARE(namesOf(data), (QStringList{"Fotografie", "Kochen", "Reisen"}));
    QCOMPARE(data.topicsByAI, true);

    QList<LocalHttpServer::Request> chats;
    for (const LocalHttpServer::Request &request : m_server->requests()) {
        if (request.path == "/api/chat")
            chats.append(request);
    }
    QCOMPARE(chats.size(), 3);
    QStringList lines;
    for (int i = 0; i < 12; ++i)
        lines.append(QStringLiteral("- Foto %1 (foto.ch): Über Bilder %2.").arg(i, 2, 10, QLatin1Char('0')).arg(i));
    const QString first = "Diese gespeicherten Tabs gehören zu einem Thema. Wie heisst das Thema?\n" + lines.join('\n');
    QCOMPARE(userMessage(chats.at(0)), ModelClient::promptWithSchema(first, TopicClusterer::nameSchema()));
    const QString second = "Diese gespeicherten Tabs gehören zu einem Thema. Wie heisst das Thema?\n"
                           "- Rezept (koch.ch): \n- Suppe (koch.ch): Eine Suppe.";
    QCOMPARE(userMessage(chats.at(1)), ModelClient::promptWithSchema(second, TopicClusterer::nameSchema()));
}

void TestTopicClusterer::modelFailureFallsBackPerGroup()
{
    startModel();
    QStringList answers{QString(41, u'x'), "Kochen"};
    QMutex mutex;
    m_server->setHandler([&](const LocalHttpServer::Request &) {
        QMutexLocker lock(&mutex);
        return ollamaChat({{"name", answers.takeFirst()}});
    });
    LibraryData data = library();
    add(data, "Kamera kaufen", {1, 0}, "a.ch");
    add(data, "Kamera Objektiv", {1, 0}, "a.ch");
    add(data, "Objektiv Test", {1, 0}, "a.ch");
    add(data, "Rezept", {0, 1}, "koch.ch");
    add(data, "Suppe", {0, 1}, "koch.ch");
    clusterer().cluster(data, true);
    QCOMPARE(namesOf(data), (QStringList{"Kamera & Objektiv", "Kochen"}));
    QCOMPARE(data.topicsByAI, true);
}

void TestTopicClusterer::slowModelFallsBack()
{
    startModel();
    m_server->setHandler([](const LocalHttpServer::Request &) { return ollamaChat({{"name", "Zu spät"}}, 3000); });
    LibraryData data = library();
    add(data, "Rezept", {1, 0}, "koch.ch");
    add(data, "Suppe", {1, 0}, "koch.ch");
    clusterer(200ms).cluster(data, true);
    QCOMPARE(namesOf(data), QStringList{"Rezept & Suppe"});
    QCOMPARE(data.topicsByAI, true);
}

void TestTopicClusterer::withoutModel()
{
    LibraryData data = library();
    add(data, "Rezept", {1, 0}, "koch.ch");
    add(data, "Suppe", {1, 0}, "koch.ch");
    data.topicsByAI = true;
    clusterer().cluster(data, true);
    QCOMPARE(namesOf(data), QStringList{"Rezept & Suppe"});
    QCOMPARE(data.topicsByAI, false);

    // A model that is there but not allowed is not asked.
    startModel();
    clusterer().cluster(data, false);
    QCOMPARE(namesOf(data), QStringList{"Rezept & Suppe"});
    QCOMPARE(data.topicsByAI, false);
    QCOMPARE(m_server->requestCount("/api/chat"), 0);
}

PELLMORA_TEST_GUILESS_MAIN(TestTopicClusterer)
#include "TestTopicClusterer.moc"
