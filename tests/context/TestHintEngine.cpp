#include "Embedder.h"
#include "FakeClock.h"
#include "HintEngine.h"

#include <QtTest>

#include <cmath>
#include "TestRegistry.h"

// Projects whose query vectors share no word, so tab vectors can be built
// with an exact score per project.
static const QList<ProjectText> allProjects{
    {"Alpenreise", "/p/a", "Wanderung Gletscher Huette"},
    {"Buchhaltung", "/p/b", "Rechnung Steuer Beleg"},
    {"Eigener Text", "", "Orchester Geige Konzert"},
};

static Vector unit(Vector v)
{
    double n = 0;
    for (float x : v)
        n += double(x) * x;
    for (float &x : v)
        x = float(x / std::sqrt(n));
    return v;
}

static double dot(const Vector &a, const Vector &b)
{
    double d = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        d += double(a[i]) * b[i];
    return d;
}

class TestHintEngine : public QObject
{
    Q_OBJECT
    Embedder m_embedder{false};
    QList<Vector> m_q; // unit query vector per project
    Vector m_filler;   // unit vector orthogonal to every query

    Vector tabVector(const QList<double> &scores) const
    {
        Vector v(m_embedder.dimension(), 0.f);
        double rest = 1;
        for (qsizetype p = 0; p < scores.size(); ++p) {
            for (qsizetype i = 0; i < v.size(); ++i)
                v[i] += float(scores[p] * m_q[p][i]);
            rest -= scores[p] * scores[p];
        }
        for (qsizetype i = 0; i < v.size(); ++i)
            v[i] += float(std::sqrt(std::max(0.0, rest)) * m_filler[i]);
        return v;
    }

    // "sA sB sC [read] [hinted] [dismissed]" per tab.
    LibraryData library(const QStringList &tabs) const
    {
        LibraryData data;
        data.embedderKind = m_embedder.kind();
        for (qsizetype t = 0; t < tabs.size(); ++t) {
            const QStringList parts = tabs[t].split(u' ');
            SavedTab tab;
            tab.id = QUuid::createUuid();
            tab.title = "Tab " + QString::number(t);
            tab.summary = parts.contains("nosummary") ? QString() : "Summary " + QString::number(t);
            tab.url = "https://example.org/" + QString::number(t);
            if (parts.contains("read"))
                tab.readAt = QDateTime(QDate(2026, 11, 1), QTime(8, 0));
            if (parts.contains("hinted") || parts.contains("dismissed"))
                data.hints.append(Hint{QUuid::createUuid(), tab.id, "x", QDateTime(),
                                       parts.contains("dismissed")});
            QList<double> scores;
            for (qsizetype p = 0; p < 3; ++p)
                scores.append(parts.value(p).toDouble());
            data.embeddings.insert(idText(tab.id), tabVector(scores));
            data.tabs.append(tab);
        }
        return data;
    }

private slots:
    void initTestCase();
    void passes_data();
    void passes();
    void thresholdIsInclusive();
    void nothingToDo();
    void lookForHintsRecordsDay();
    void dailyCheck_data();
    void dailyCheck();
};

void TestHintEngine::initTestCase()
{
    for (const ProjectText &p : allProjects)
        m_q.append(unit(m_embedder.vector(HintEngine::queryText(p))));
    for (qsizetype a = 0; a < m_q.size(); ++a)
        for (qsizetype b = a + 1; b < m_q.size(); ++b)
            QVERIFY2(std::abs(dot(m_q[a], m_q[b])) < 1e-6, "test projects must not share hashed words");
    // A basis direction none of the queries uses.
    for (qsizetype i = 0; i < m_embedder.dimension() && m_filler.isEmpty(); ++i) {
        bool free = true;
        for (const Vector &q : std::as_const(m_q))
            free = free && q[i] == 0.f;
        if (free) {
            m_filler = Vector(m_embedder.dimension(), 0.f);
            m_filler[i] = 1.f;
        }
    }
    QVERIFY(!m_filler.isEmpty());
}

void TestHintEngine::passes_data()
{
    QTest::addColumn<int>("projectCount");
    QTest::addColumn<QStringList>("tabs");
    QTest::addColumn<qint64>("max");
    QTest::addColumn<QStringList>("expected"); // "tab index>project name"

    QTest::newRow("one project, best two, best first")
        << 1 << QStringList{"0.3", "0.8", "0.05", "0.5"} << qint64(2)
        << QStringList{"1>Alpenreise", "3>Alpenreise"};
    QTest::newRow("ties keep library order")
        << 1 << QStringList{"0.2", "0.6", "0.6"} << qint64(2)
        << QStringList{"1>Alpenreise", "2>Alpenreise"};
    QTest::newRow("read and hinted tabs never")
        << 1 << QStringList{"0.9 0 0 read", "0.8 0 0 dismissed", "0.7 0 0 hinted", "0.2"}
        << qint64(5) << QStringList{"3>Alpenreise"};
    QTest::newRow("same best tab goes to the first project")
        << 2 << QStringList{"0.6 0.6", "0 0.3"} << qint64(2)
        << QStringList{"0>Alpenreise", "1>Buchhaltung"};
    QTest::newRow("one each before seconds, in project order")
        << 3 << QStringList{"0.9", "0.8", "0 0.5", "0 0.4", "0 0 0.7", "0 0 0.2"} << qint64(3)
        << QStringList{"0>Alpenreise", "2>Buchhaltung", "4>Eigener Text"};
    // A = (t1, t2), B = (t1), C = (t3, t4): B gets nothing.
    QTest::newRow("fair passes skip exhausted lists")
        << 3 << QStringList{"0.6 0.5", "0.4", "0 0 0.5", "0 0 0.3"} << qint64(4)
        << QStringList{"0>Alpenreise", "2>Eigener Text", "1>Alpenreise", "3>Eigener Text"};
    QTest::newRow("max cuts a pass short")
        << 2 << QStringList{"0.5", "0.4", "0 0.3", "0 0.2"} << qint64(3)
        << QStringList{"0>Alpenreise", "2>Buchhaltung", "1>Alpenreise"};
    QTest::newRow("below threshold nothing")
        << 2 << QStringList{"0.05 0.09", "0 0"} << qint64(2) << QStringList{};
}

void TestHintEngine::passes()
{
    QFETCH(int, projectCount);
    QFETCH(QStringList, tabs);
    QFETCH(qint64, max);
    QFETCH(QStringList, expected);
    const QList<ProjectText> projects = allProjects.mid(0, projectCount);
    LibraryData data = library(tabs);
    const qsizetype hintsBefore = data.hints.size();
    FakeClock clock;
    const QList<Hint> made = HintEngine(m_embedder).generateHints(data, projects, max, clock);
    QStringList got;
    for (const Hint &h : made) {
        qsizetype index = -1;
        for (qsizetype t = 0; t < data.tabs.size(); ++t)
            if (data.tabs[t].id == h.tabId)
                index = t;
        const QString project = h.reason.section(u':', 0, 0).mid(QString("passt zu deinem Projekt ").size());
        got << QString::number(index) + u'>' + project;
        QCOMPARE(h.createdAt, clock.now());
        QVERIFY(!h.dismissed);
        QCOMPARE(h.reason, "passt zu deinem Projekt " + project + ": Summary " + QString::number(index));
    }
    QCOMPARE(got, expected);
    QCOMPARE(data.hints.mid(hintsBefore), made);
}

void TestHintEngine::thresholdIsInclusive()
{
    LibraryData data = library({"0.3 0 0 nosummary"});
    const Vector q = m_embedder.vector(HintEngine::queryText(allProjects[0]));
    const float score = Embedder::cosine(q, data.embeddings.value(idText(data.tabs[0].id)));
    LibraryData copy = data;
    const QList<Hint> atThreshold = HintEngine(m_embedder, score).generateHints(data, {allProjects[0]}, 1);
    QCOMPARE(atThreshold.size(), 1);
    QCOMPARE(atThreshold[0].reason, QString("passt zu deinem Projekt Alpenreise: Tab 0"));
    const float above = std::nextafter(score, 2.f);
    QCOMPARE(HintEngine(m_embedder, above).generateHints(copy, {allProjects[0]}, 1).size(), 0);
}

void TestHintEngine::nothingToDo()
{
    LibraryData data = library({"0.9"});
    data.embeddings.clear(); // would be filled in by a real run
    const LibraryData before = data;
    QVERIFY(HintEngine(m_embedder).generateHints(data, allProjects, 0).isEmpty());
    QVERIFY(HintEngine(m_embedder).generateHints(data, {}, 3).isEmpty());
    QCOMPARE(data, before);
}

void TestHintEngine::lookForHintsRecordsDay()
{
    LibraryData data = library({"0.9"});
    data.context.freeText = "Orchester Geige Konzert";
    FakeClock clock(QDateTime(QDate(2026, 11, 16), QTime(9, 5)));
    HintRun run = HintEngine::lookForHints(data, m_embedder, clock);
    QCOMPARE(run.hints.size(), 0); // the tab fits another project
    QCOMPARE(run.data.lastHintDay, std::optional<QString>("2026-11-16"));
    data.context.freeText = "\n Wanderung Gletscher Huette ";
    data.context.folderPaths = {"/does/not/exist"};
    run = HintEngine::lookForHints(data, m_embedder, clock);
    QCOMPARE(run.hints.size(), 1);
    QCOMPARE(run.hints[0].reason, QString("passt zu deinem Projekt Eigener Text: Summary 0"));
    QCOMPARE(run.data.hints, run.hints);
}

void TestHintEngine::dailyCheck_data()
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

void TestHintEngine::dailyCheck()
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

PELLMORA_TEST_GUILESS_MAIN(TestHintEngine)
#include "TestHintEngine.moc"
