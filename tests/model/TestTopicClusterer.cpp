#include <QJsonObject>
#include <QtTest>

#include <cmath>
#include <memory>

#include "Embedder.h"
#include "FakeModelServer.h"
#include "LibraryBuilder.h"
#include "ModelClient.h"
#include "TopicClusterer.h"
#include "TopicPalette.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;
using Numbers = QList<int>; // tab numbers as LibraryBuilder counts them

namespace {

Vector angle(double degrees)
{
    return {float(std::cos(degrees * M_PI / 180.0)), float(std::sin(degrees * M_PI / 180.0))};
}

// Addresses in the order added, so the clusterer's working order (by
// address) is the library's.
LibraryData library(const QList<Vector> &vectors, const QStringList &titles = {})
{
    LibraryBuilder builder;
    for (qsizetype i = 0; i < vectors.size(); ++i)
        builder.tab(titles.value(i, "Tab"), QStringLiteral("https://t.ch/%1").arg(i, 4, 10, QLatin1Char('0')))
            .vector(vectors.at(i));
    return builder.embedderKind(Embedder(false).kind());
}

QList<QUuid> ids(const Numbers &numbers)
{
    QList<QUuid> out;
    for (int n : numbers)
        out.append(LibraryBuilder::tabId(n));
    return out;
}

QStringList namesOf(const LibraryData &data)
{
    QStringList names;
    for (const Topic &topic : data.topics)
        names.append(topic.name);
    return names;
}

TopicClusterer clusterer(std::chrono::milliseconds nameLimit = TopicClusterer::defaultNameLimit)
{
    return TopicClusterer(std::make_shared<Embedder>(false), 0.12f, 0.10f, 0.02f, nameLimit);
}

} // namespace

class TestTopicClusterer : public QObject
{
    Q_OBJECT

private slots:
    void init() { ModelClient::forgetApis(); }

    void kFor_data()
    {
        QTest::addColumn<qsizetype>("n");
        QTest::addColumn<qsizetype>("k");
        QTest::newRow("1 clamps up") << qsizetype(1) << qsizetype(2);
        QTest::newRow("13 rounds up") << qsizetype(13) << qsizetype(3);
        QTest::newRow("264") << qsizetype(264) << qsizetype(11);
        QTest::newRow("265") << qsizetype(265) << qsizetype(12);
        QTest::newRow("10000 clamps down") << qsizetype(10000) << qsizetype(12);
    }

    void kFor()
    {
        QFETCH(qsizetype, n);
        QFETCH(qsizetype, k);
        QCOMPARE(TopicClusterer::kFor(n), k);
    }

    void fallbackName_data()
    {
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("hosts");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("name");
        const QStringList none{"", "", ""};
        const QString filler = QStringLiteral("x ").repeated(300);
        QTest::newRow("two keywords") << QStringList{"Kamera kaufen", "Kamera Objektiv Vergleich", "Objektiv"}
                                      << QStringList{"a.ch", "b.ch", "c.ch"} << none << "Kamera & Objektiv";
        QTest::newRow("one keyword and top domain") << QStringList{"Fahrplan", "Zug", "Bus"}
                                                    << QStringList{"zvv.ch", "sbb.ch", "sbb.ch"} << none << "Fahrplan · sbb.ch";
        QTest::newRow("no keyword: domains, ties by name") << QStringList{"Zug", "Bus", "Tee"}
                                                           << QStringList{"x.ch", "a.ch", "m.ch"} << none << "a.ch · m.ch";
        QTest::newRow("text words in two tabs count") << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "a.ch"}
                                                      << QStringList{"Verspätung heute Fahrplan", "Fahrplan mit Verspätung"}
                                                      << "Fahrplan & Verspätung";
        QTest::newRow("text after 600 characters unseen") << QStringList{"Zug", "Bus"} << QStringList{"a.ch", "a.ch"}
                                                          << QStringList{filler + "Geheimwort", filler + "Geheimwort"} << "a.ch";
    }

    void fallbackName()
    {
        QFETCH(QStringList, titles);
        QFETCH(QStringList, hosts);
        QFETCH(QStringList, texts);
        QFETCH(QString, name);
        LibraryBuilder builder;
        for (qsizetype i = 0; i < titles.size(); ++i)
            builder.tab(titles.at(i), "https://" + hosts.at(i) + "/").text(texts.at(i));
        QCOMPARE(TopicClusterer::fallbackName(builder.build().tabs), name);
    }

    void cluster_data()
    {
        QTest::addColumn<QList<Vector>>("vectors");
        QTest::addColumn<QList<Numbers>>("topics");
        QTest::addColumn<Numbers>("unsorted");
        const Vector a{1, 0, 0};
        const Vector b{1, 1, 0};
        QTest::newRow("empty library") << QList<Vector>{} << QList<Numbers>{} << Numbers{};
        QTest::newRow("one tab is unsorted") << QList<Vector>{{1, 0}} << QList<Numbers>{} << Numbers{1};
        QTest::newRow("negative cosine goes to unsorted") << QList<Vector>{{1, 0}, {1, 0.2f}, {-1, 0.1f}}
                                                          << QList<Numbers>{{1, 2}} << Numbers{3};
        // Orthogonal to the others but at 0.447 to the centroid.
        QTest::newRow("unrelated tab stays in group") << QList<Vector>{{1, 0}, {1, 0}, {0, 1}}
                                                      << QList<Numbers>{{1, 2, 3}} << Numbers{};
        QTest::newRow("vector of another length counts 0") << QList<Vector>{{1, 0}, {1, 0}, {1, 0, 0}}
                                                           << QList<Numbers>{{1, 2}} << Numbers{3};
        QTest::newRow("empty vector counts 0") << QList<Vector>{{1, 0}, {}, {1, 0}} << QList<Numbers>{{1, 3}} << Numbers{2};
        QTest::newRow("zero centroid drops the group") << QList<Vector>{{1, 0}, {0, 1}, {-1, -1}}
                                                       << QList<Numbers>{} << Numbers{1, 2, 3};
        // After {1,2} the average to 3 is 0.704, below 3–4 at 0.707; single
        // linkage would take 3 to {1,2} at 0.766.
        QTest::newRow("average linkage") << QList<Vector>{angle(0), angle(10), angle(50), angle(95)}
                                         << QList<Numbers>{{1, 2}, {3, 4}} << Numbers{};
        // 1 and 2 fit; 3 goes first, then the single 1 left with 2 follows.
        QTest::newRow("one left after pruning follows in member order")
            << QList<Vector>{{1, 0}, {0, 1}, {0, -0.9f}} << QList<Numbers>{} << Numbers{2, 3, 1};
        // k0 = 2 first joins both triples and leaves the stray tab alone; a
        // re-run with k = 3 keeps them apart.
        QTest::newRow("re-run splits an over-merged group") << QList<Vector>{a, a, a, b, b, b, {0.2f, 0, 1}}
                                                            << QList<Numbers>{{1, 2, 3}, {4, 5, 6}} << Numbers{7};
        // Each re-run peels one more tab off the chain; after the sixth all
        // are single groups, which go to unsorted in group order.
        QTest::newRow("six re-runs at most") << QList<Vector>{a, a, a, a, a, a, a, {0.3f, 0, 1}}
                                             << QList<Numbers>{} << Numbers{1, 2, 3, 4, 5, 6, 7, 8};
    }

    void cluster()
    {
        QFETCH(QList<Vector>, vectors);
        QFETCH(QList<Numbers>, topics);
        QFETCH(Numbers, unsorted);
        LibraryData data = library(vectors);
        data.topics = LibraryBuilder().tab("Alt").topic("Alt", {1}).build().topics; // replaced
        clusterer().cluster(data, false);
        QCOMPARE(data.topics.size(), topics.size() + (unsorted.isEmpty() ? 0 : 1));
        for (qsizetype i = 0; i < topics.size(); ++i) {
            QCOMPARE(data.topics.at(i).tabIds, ids(topics.at(i)));
            QVERIFY(!data.topics.at(i).isUnsorted);
            QCOMPARE(data.topics.at(i).color, TopicPalette::names().at(i));
        }
        if (!unsorted.isEmpty()) {
            QVERIFY(data.topics.last().isUnsorted);
            QCOMPARE(data.topics.last().tabIds, ids(unsorted));
        }
        for (const Topic &topic : std::as_const(data.topics)) {
            for (const SavedTab &tab : std::as_const(data.tabs))
                QCOMPARE(tab.topicId == topic.id, topic.tabIds.contains(tab.id));
        }
    }

    void workingOrderIsByAddress()
    {
        // Library order is the reverse of address order: members come in
        // address order, and the larger group first.
        LibraryData data = LibraryBuilder()
                               .tab("Tab", "https://z.ch/").vector({0, 1}).tab("Tab", "https://y.ch/").vector({0, 1})
                               .tab("Tab", "https://b.ch/").vector({1, 0}).tab("Tab", "https://a.ch/").vector({1, 0})
                               .tab("Tab", "https://x.ch/").vector({0, 1})
                               .embedderKind(Embedder(false).kind());
        clusterer().cluster(data, false);
        QCOMPARE(data.topics.size(), 2);
        QCOMPARE(data.topics.at(0).tabIds, ids({5, 2, 1}));
        QCOMPARE(data.topics.at(1).tabIds, ids({4, 3}));
    }

    void agglomerativeUpTo400KMeansAbove()
    {
        // Twenty separate subjects: average linkage stops at the merge floor
        // with all twenty; k-means makes at most twelve groups.
        QList<Vector> vectors;
        for (int i = 0; i < 401; ++i) {
            vectors.append(Vector(20, 0.0f));
            vectors.last()[i % 20] = 1.0f;
        }
        LibraryData larger = library(vectors);
        LibraryData data = library(vectors.mid(0, 400));
        clusterer().cluster(data, false);
        QCOMPARE(data.topics.size(), 20);
        for (qsizetype i = 0; i < data.topics.size(); ++i) {
            QCOMPARE(data.topics.at(i).tabIds.size(), 20);
            QCOMPARE(data.topics.at(i).color, TopicPalette::names().at(i % TopicPalette::names().size()));
        }
        // Seeds are subjects 1 to 12; the others are at 0 to every seed and
        // stay with the first centroid: 21 + 8 × 20 tabs.
        clusterer().cluster(larger, false);
        QCOMPARE(larger.topics.size(), 12);
        QCOMPARE(larger.topics.first().tabIds.size(), 181);
        QCOMPARE(larger.topics.last().tabIds.size(), 20);
    }

    void naming_data()
    {
        QTest::addColumn<QJsonValue>("answer"); // undefined: no model chosen
        QTest::addColumn<int>("delayMs");
        QTest::addColumn<bool>("useAI");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("byAI");
        const QString keywords = QStringLiteral("Rezept & Suppe");
        const QString flags = QStringLiteral("🇨🇭").repeated(40);
        QTest::newRow("guillemets") << QJsonValue("«Fotografie»") << 0 << true << "Fotografie" << true;
        QTest::newRow("quotes around a full stop") << QJsonValue(" \"Kochen.\" ") << 0 << true << "Kochen" << true;
        QTest::newRow("full stop and line feed") << QJsonValue("Reisen in Japan.\n") << 0 << true << "Reisen in Japan" << true;
        QTest::newRow("inner quotes stay") << QJsonValue("Der «Kleine» Prinz") << 0 << true << "Der «Kleine» Prinz" << true;
        QTest::newRow("40 flags are 40 characters") << QJsonValue(flags) << 0 << true << flags << true;
        QTest::newRow("41 characters") << QJsonValue(QString(41, u'a')) << 0 << true << keywords << true;
        QTest::newRow("only dots") << QJsonValue(" ... ") << 0 << true << keywords << true;
        QTest::newRow("wrong type") << QJsonValue(3) << 0 << true << keywords << true;
        QTest::newRow("late") << QJsonValue("Zu spät") << 3000 << true << keywords << true;
        QTest::newRow("no model") << QJsonValue(QJsonValue::Undefined) << 0 << true << keywords << false;
        QTest::newRow("model not allowed") << QJsonValue("Kochen") << 0 << false << keywords << false;
    }

    void naming()
    {
        QFETCH(QJsonValue, answer);
        QFETCH(int, delayMs);
        QFETCH(bool, useAI);
        QFETCH(QString, name);
        QFETCH(bool, byAI);
        FakeModelServer server;
        server.answerChat({{"name", answer}}, delayMs);
        if (answer.isUndefined())
            qputenv("PELLMORA_MODEL", "");
        LibraryData data = library({{1, 0}, {1, 0}}, {"Rezept", "Suppe"});
        clusterer(200ms).cluster(data, useAI);
        QCOMPARE(namesOf(data), QStringList{name});
        QCOMPARE(data.topicsByAI, byAI);
        QCOMPARE(server.requestCount("/api/chat"), useAI && !answer.isUndefined() ? 1 : 0);
    }

    void promptShowsTwelveTabs()
    {
        LibraryBuilder builder;
        for (int i = 1; i <= 14; ++i)
            builder.tab(QStringLiteral("Foto %1").arg(i)).summary(QStringLiteral("Über Bilder %1.").arg(i));
        const QString prompt = TopicClusterer::namePrompt(builder.build().tabs);
        QVERIFY(prompt.contains("Foto 12") && prompt.contains("Über Bilder 12."));
        QVERIFY(!prompt.contains("Foto 13"));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestTopicClusterer)
#include "TestTopicClusterer.moc"
