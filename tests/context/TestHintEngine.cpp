#include <QtTest>

#include <cmath>

#include "Embedder.h"
#include "FakeClock.h"
#include "HintEngine.h"
#include "LibraryBuilder.h"
#include "TestRegistry.h"

// Projects whose query vectors share no word, so that a tab's vector can be
// made with an exact score for each.
static const QList<ProjectText> projects{
    {"Alpenreise", "/p/a", "Wanderung Gletscher Huette"},
    {"Buchhaltung", "/p/b", "Rechnung Steuer Beleg"},
    {"Eigener Text", "", "Orchester Geige Konzert"},
};

class TestHintEngine : public QObject
{
    Q_OBJECT
    Embedder m_embedder{false};
    QList<Vector> m_queries; // unit query vector per project
    qsizetype m_free = -1;   // a dimension no query uses

    // "sA sB sC [read] [hinted] [dismissed]" per tab: its score for each project.
    LibraryData library(const QStringList &tabs) const
    {
        LibraryBuilder builder;
        for (qsizetype t = 0; t < tabs.size(); ++t) {
            const QStringList parts = tabs[t].split(u' ');
            builder.tab("Tab " + QString::number(t)).summary("Summary " + QString::number(t));
            Vector v(m_embedder.dimension(), 0.f);
            double rest = 1;
            for (qsizetype p = 0; p < 3; ++p) {
                const double score = parts.value(p).toDouble();
                for (qsizetype i = 0; i < v.size(); ++i)
                    v[i] += float(score * m_queries[p][i]);
                rest -= score * score;
            }
            v[m_free] = float(std::sqrt(std::max(0.0, rest)));
            builder.vector(v);
            if (parts.contains("read"))
                builder.read();
            if (parts.contains("hinted") || parts.contains("dismissed"))
                builder.hint(int(t) + 1, "x", parts.contains("dismissed"));
        }
        return builder.embedderKind(m_embedder.kind());
    }

private slots:
    void initTestCase()
    {
        for (const ProjectText &p : projects)
            m_queries.append(Embedder::normalized(m_embedder.vector(HintEngine::queryText(p))));
        for (qsizetype i = 0; i < m_embedder.dimension() && m_free < 0; ++i) {
            if (m_queries[0][i] == 0.f && m_queries[1][i] == 0.f && m_queries[2][i] == 0.f)
                m_free = i;
        }
        QVERIFY(m_free >= 0);
        QVERIFY2(Embedder::cosine(m_queries[0], m_queries[1]) == 0.f && Embedder::cosine(m_queries[1], m_queries[2]) == 0.f
                     && Embedder::cosine(m_queries[0], m_queries[2]) == 0.f,
                 "the projects must not share hashed words");
    }

    void passes_data()
    {
        QTest::addColumn<int>("projectCount");
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<qint64>("max");
        QTest::addColumn<QStringList>("expected"); // "tab index>project name"
        QTest::newRow("one project, best two, best first") << 1 << QStringList{"0.3", "0.8", "0.05", "0.5"} << qint64(2)
                                                           << QStringList{"1>Alpenreise", "3>Alpenreise"};
        QTest::newRow("ties keep library order") << 1 << QStringList{"0.2", "0.6", "0.6"} << qint64(2)
                                                 << QStringList{"1>Alpenreise", "2>Alpenreise"};
        QTest::newRow("read and hinted tabs never") << 1 << QStringList{"0.9 0 0 read", "0.8 0 0 dismissed", "0.7 0 0 hinted", "0.2"}
                                                    << qint64(5) << QStringList{"3>Alpenreise"};
        QTest::newRow("same best tab goes to the first project") << 2 << QStringList{"0.6 0.6", "0 0.3"} << qint64(2)
                                                                 << QStringList{"0>Alpenreise", "1>Buchhaltung"};
        // A = (t0, t1), B = (t0), C = (t2, t3): B gets nothing, C its second.
        QTest::newRow("fair passes skip exhausted lists") << 3 << QStringList{"0.6 0.5", "0.4", "0 0 0.5", "0 0 0.3"} << qint64(4)
                                                         << QStringList{"0>Alpenreise", "2>Eigener Text", "1>Alpenreise", "3>Eigener Text"};
        QTest::newRow("max cuts a pass short") << 2 << QStringList{"0.5", "0.4", "0 0.3", "0 0.2"} << qint64(3)
                                               << QStringList{"0>Alpenreise", "2>Buchhaltung", "1>Alpenreise"};
        QTest::newRow("below threshold nothing") << 2 << QStringList{"0.05 0.09", "0 0"} << qint64(2) << QStringList{};
    }

    void passes()
    {
        QFETCH(int, projectCount);
        QFETCH(QStringList, tabs);
        QFETCH(qint64, max);
        QFETCH(QStringList, expected);
        LibraryData data = library(tabs);
        const qsizetype hintsBefore = data.hints.size();
        const FakeClock clock;
        const QList<Hint> made = HintEngine(m_embedder).generateHints(data, projects.mid(0, projectCount), max, clock);
        QStringList got;
        for (const Hint &hint : made) {
            qsizetype index = 0;
            while (index < data.tabs.size() - 1 && data.tabs[index].id != hint.tabId)
                ++index;
            for (const ProjectText &p : projects) {
                if (hint.reason.contains(p.name))
                    got << QString::number(index) + u'>' + p.name;
            }
            QVERIFY(hint.reason.contains(data.tabs[index].summary));
            QCOMPARE(hint.createdAt, clock.now());
        }
        QCOMPARE(got, expected);
        QCOMPARE(data.hints.mid(hintsBefore), made);
    }

    void thresholdIsInclusive()
    {
        LibraryData data = library({"0.3"});
        const float score = Embedder::cosine(m_queries[0], data.embeddings.value(idText(LibraryBuilder::tabId(1))));
        LibraryData copy = data;
        QCOMPARE(HintEngine(m_embedder, score).generateHints(data, {projects[0]}, 1).size(), 1);
        QCOMPARE(HintEngine(m_embedder, std::nextafter(score, 2.f)).generateHints(copy, {projects[0]}, 1).size(), 0);
    }

    void lookForHintsRecordsTheDay()
    {
        LibraryData data = library({"0.9"});
        data.context.freeText = "Orchester Geige Konzert";
        const FakeClock clock(QDateTime(QDate(2026, 11, 16), QTime(9, 5)));
        HintRun run = HintEngine::lookForHints(data, m_embedder, clock);
        QVERIFY(run.hints.isEmpty()); // the tab fits another project
        QCOMPARE(run.data.lastHintDay, std::optional<QString>("2026-11-16"));
        data.context.freeText = "\n Wanderung Gletscher Huette ";
        data.context.folderPaths = {"/does/not/exist"};
        run = HintEngine::lookForHints(data, m_embedder, clock);
        QCOMPARE(run.hints.size(), 1);
        QCOMPARE(run.data.hints, run.hints);
    }

    void dailyCheck_data()
    {
        QTest::addColumn<QString>("freeText");
        QTest::addColumn<QTime>("time");
        QTest::addColumn<QString>("lastDay");
        QTest::addColumn<bool>("due");
        QTest::newRow("at the hour") << "Reise" << QTime(9, 0) << "2026-11-15" << true;
        QTest::newRow("before the hour") << "Reise" << QTime(8, 59) << "" << false;
        QTest::newRow("already today") << "Reise" << QTime(18, 0) << "2026-11-16" << false;
        QTest::newRow("no context") << "" << QTime(18, 0) << "" << false;
        QTest::newRow("blank text counts as stored") << " " << QTime(18, 0) << "" << true;
    }

    void dailyCheck()
    {
        QFETCH(QString, freeText);
        QFETCH(QTime, time);
        QFETCH(QString, lastDay);
        QFETCH(bool, due);
        LibraryData data;
        data.context.freeText = freeText;
        if (!lastDay.isEmpty())
            data.lastHintDay = lastDay;
        QCOMPARE(HintEngine::dailyCheckDue(data, FakeClock(QDateTime(QDate(2026, 11, 16), time))), due);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestHintEngine)
#include "TestHintEngine.moc"
