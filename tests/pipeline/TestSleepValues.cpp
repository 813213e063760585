#include "SleepOptions.h"
#include "SleepStage.h"
#include "SleepStats.h"
#include "PlatformWords.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTest>
#include "TestRegistry.h"

using Kind = SleepStage::Kind;
Q_DECLARE_METATYPE(SleepStage)

class TestSleepValues : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stages_data()
    {
        QTest::addColumn<SleepStage>("stage");
        QTest::addColumn<QString>("label");
        QTest::addColumn<double>("fraction"); // -1: none
        QTest::addColumn<bool>("running");

        SleepStats stats;
        stats.tabs = 12;
        stats.groups = 3;
        stats.topics = 4;
        QTest::newRow("idle") << SleepStage::idle() << "" << -1.0 << false;
        QTest::newRow("reading") << SleepStage::reading() << PlatformWords::readingStage() << -1.0 << true;
        QTest::newRow("fetching half") << SleepStage::fetching(5, 10) << "Speichere Seiteninhalte: 5 von 10" << 0.275
                                       << true;
        QTest::newRow("fetching without total") << SleepStage::fetching(3, 0)
                                                << "Speichere Seiteninhalte: 3 von 0" << -1.0 << true;
        QTest::newRow("fetching thousands") << SleepStage::fetching(0, 1204)
                                            << "Speichere Seiteninhalte: 0 von 1'204" << 0.05 << true;
        QTest::newRow("summarizing all") << SleepStage::summarizing(10, 10) << "Fasse zusammen: 10 von 10" << 0.85
                                         << true;
        QTest::newRow("summarizing start") << SleepStage::summarizing(0, 4) << "Fasse zusammen: 0 von 4" << 0.5
                                           << true;
        QTest::newRow("summarizing negative total") << SleepStage::summarizing(0, -1) << "Fasse zusammen: 0 von -1"
                                                    << -1.0 << true;
        QTest::newRow("grouping") << SleepStage::grouping() << "Sortiere nach Thema …" << 0.88 << true;
        QTest::newRow("closing") << SleepStage::closing() << PlatformWords::closingStage() << 0.95 << true;
        QTest::newRow("done") << SleepStage::finished(stats) << "12 Tabs schlafen, 3 Gruppen, 4 Themen" << 1.0
                              << false;
        QTest::newRow("failed") << SleepStage::failed(QStringLiteral("Kaputt.")) << "Kaputt." << -1.0 << false;
    }

    void stages()
    {
        QFETCH(SleepStage, stage);
        QFETCH(QString, label);
        QFETCH(double, fraction);
        QFETCH(bool, running);
        QCOMPARE(stage.label(), label);
        QCOMPARE(stage.isRunning(), running);
        if (fraction < 0) {
            QVERIFY(!stage.fraction().has_value());
        } else {
            QVERIFY(stage.fraction().has_value());
            QVERIFY(qAbs(*stage.fraction() - fraction) < 1e-12);
        }
    }

    void ellipsisIsOneCharacterAfterABlank()
    {
        for (const SleepStage &stage : {SleepStage::reading(), SleepStage::grouping()}) {
            const QString label = stage.label();
            QVERIFY(label.endsWith(QStringLiteral(" \u2026")));
            QVERIFY(!label.contains(QStringLiteral("...")));
        }
    }

    void stagesCompareByCaseAndValues()
    {
        QCOMPARE(SleepStage::fetching(1, 2), SleepStage::fetching(1, 2));
        QVERIFY(SleepStage::fetching(1, 2) != SleepStage::summarizing(1, 2));
        QVERIFY(SleepStage::fetching(1, 2) != SleepStage::fetching(2, 2));
        QVERIFY(SleepStage::failed(QStringLiteral("a")) != SleepStage::failed(QStringLiteral("b")));
    }

    void valuesWorkAsSetMembers()
    {
        SleepOptions pinned;
        pinned.pinnedDomains = {QStringLiteral("a.ch")};
        SleepOptions otherPin = pinned;
        otherPin.pinnedDomains = {QStringLiteral("b.ch")};
        const QSet<SleepOptions> options = {SleepOptions(), pinned, SleepOptions(pinned), otherPin};
        QCOMPARE(options.size(), 3);

        SleepStats a;
        a.tabs = 3;
        SleepStats b = a;
        b.closed = 1;
        const QSet<SleepStage> stages = {SleepStage::finished(a), SleepStage::finished(b), SleepStage::finished(a),
                                         SleepStage::fetching(1, 2), SleepStage::summarizing(1, 2),
                                         SleepStage::fetching(1, 2)};
        QCOMPARE(stages.size(), 4);
    }

    void sentence_data()
    {
        QTest::addColumn<int>("tabs");
        QTest::addColumn<int>("groups");
        QTest::addColumn<int>("topics");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("singular, no topic") << 1 << 1 << 0 << "1 Tab schläft, 1 Gruppe, 0 Themen";
        QTest::newRow("thousands, one topic") << 1204 << 3 << 1 << "1'204 Tabs schlafen, 3 Gruppen, 1 Thema";
        QTest::newRow("nothing") << 0 << 0 << 0 << "0 Tabs schlafen, 0 Gruppen, 0 Themen";
        QTest::newRow("two of each") << 2 << 2 << 2 << "2 Tabs schlafen, 2 Gruppen, 2 Themen";
    }

    void sentence()
    {
        QFETCH(int, tabs);
        QFETCH(int, groups);
        QFETCH(int, topics);
        QFETCH(QString, sentence);
        SleepStats stats;
        stats.tabs = tabs;
        stats.groups = groups;
        stats.topics = topics;
        stats.newTabs = 7; // not part of the sentence
        stats.closed = 5;
        QCOMPARE(stats.sentence(), sentence);
    }

    void optionsDefaults()
    {
        const SleepOptions options;
        QVERIFY(options.groupByWindow);
        QVERIFY(options.sortByTopic);
        QVERIFY(options.saveContent);
        QVERIFY(!options.keepPinned);
        QVERIFY(options.pinnedDomains.isEmpty());
    }

    void optionsWriteExactlyTheirKeys()
    {
        SleepOptions options;
        options.groupByWindow = false;
        options.keepPinned = true;
        options.pinnedDomains = {QStringLiteral("github.com"), QStringLiteral("mail")};
        const QJsonObject json = QJsonDocument::fromJson(options.encode()).object();
        QStringList keys = json.keys();
        keys.sort();
        QCOMPARE(keys, QStringList({"groupByWindow", "keepPinned", "pinnedDomains", "saveContent", "sortByTopic"}));
        QCOMPARE(json.value("groupByWindow").toBool(true), false);
        QCOMPARE(json.value("keepPinned").toBool(false), true);
        QCOMPARE(json.value("sortByTopic").toBool(false), true);

        const Result<SleepOptions> back = SleepOptions::decode(options.encode());
        QVERIFY(back.ok());
        QCOMPARE(back.value(), options);
    }

    void optionsDecodeNeedsEveryKey_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("ok");
        const QByteArray full = R"({"groupByWindow":false,"sortByTopic":true,"saveContent":false,)"
                                R"("keepPinned":true,"pinnedDomains":["a.ch"]})";
        QTest::newRow("complete") << full << true;
        QTest::newRow("extra key ignored") << QByteArray(full).replace("{", R"({"x":1,)") << true;
        QTest::newRow("no groupByWindow") << QByteArray(full).replace(R"("groupByWindow":false,)", "") << false;
        QTest::newRow("no sortByTopic") << QByteArray(full).replace(R"("sortByTopic":true,)", "") << false;
        QTest::newRow("no saveContent") << QByteArray(full).replace(R"("saveContent":false,)", "") << false;
        QTest::newRow("no keepPinned") << QByteArray(full).replace(R"("keepPinned":true,)", "") << false;
        QTest::newRow("no pinnedDomains") << QByteArray(full).replace(R"(,"pinnedDomains":["a.ch"])", "") << false;
        QTest::newRow("flag as text") << QByteArray(full).replace("false", "\"false\"") << false;
        QTest::newRow("domain not text") << QByteArray(full).replace(R"(["a.ch"])", "[1]") << false;
        QTest::newRow("not an object") << QByteArray("[]") << false;
        QTest::newRow("not JSON") << QByteArray("{") << false;
    }

    void optionsDecodeNeedsEveryKey()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, ok);
        const Result<SleepOptions> decoded = SleepOptions::decode(json);
        QCOMPARE(decoded.ok(), ok);
        if (ok) {
            QCOMPARE(decoded->groupByWindow, false);
            QCOMPARE(decoded->saveContent, false);
            QCOMPARE(decoded->keepPinned, true);
            QCOMPARE(decoded->pinnedDomains, QStringList{QStringLiteral("a.ch")});
        } else {
            QVERIFY(!decoded.error().isEmpty());
        }
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepValues)
#include "TestSleepValues.moc"
