#include "LibraryStore.h"
#include "TestSupport.h"
#include "PlatformWords.h"

#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

class TestSleepCommand : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_home;

    TestSupport::ProcessResult cli(const QStringList &args)
    {
        return TestSupport::run(qEnvironmentVariable("PELLMORA_CLI"), QStringList{QStringLiteral("sleep")} + args,
                                {{QStringLiteral("XDG_DATA_HOME"), m_home->path()},
                                 {QStringLiteral("XDG_CONFIG_HOME"), m_home->path()},
                                 {QStringLiteral("PELLMORA_NO_AI"), QStringLiteral("1")},
                                 {QStringLiteral("PELLMORA_NO_SEMANTIC"), QStringLiteral("1")}});
    }

    QString libraryPath() const { return m_home->filePath(QStringLiteral("Pellmora/library.json")); }

    static int namedTopics(const LibraryData &data)
    {
        int n = 0;
        for (const Topic &topic : data.topics)
            n += topic.isUnsorted ? 0 : 1;
        return n;
    }

private Q_SLOTS:
    void init()
    {
        m_home = std::make_unique<QTemporaryDir>();
        QVERIFY(m_home->isValid());
    }

    void demoRunPrintsStagesAndSavesOnce()
    {
        const auto first = cli({QStringLiteral("--demo")});
        QCOMPARE(first.exitCode, 0);
        QVERIFY(first.err.isEmpty());
        const QStringList lines = first.out.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() >= 5);
        QCOMPARE(lines.first(), PlatformWords::readingStage());
        QCOMPARE(lines.at(1), QStringLiteral("Fasse zusammen: 0 von 52"));
        QVERIFY(lines.contains(QStringLiteral("Fasse zusammen: 52 von 52")));
        QCOMPARE(lines.at(lines.size() - 2), QStringLiteral("Sortiere nach Thema …"));
        QVERIFY(!first.out.contains(QStringLiteral("Speichere Seiteninhalte")));
        QVERIFY(!first.out.contains(QStringLiteral("Schliesse")));

        const LibraryData saved = LibraryStore(libraryPath()).load();
        QCOMPARE(saved.tabs.size(), 52);
        QCOMPARE(saved.windows.size(), 3);
        const int topics = namedTopics(saved);
        QVERIFY(topics >= 1);
        QCOMPARE(lines.last(), QStringLiteral("52 Tabs schlafen, 3 Gruppen, %1 Themen").arg(topics));

        const auto second = cli({QStringLiteral("--demo")});
        QCOMPARE(second.exitCode, 0);
        QVERIFY(second.out.contains(QStringLiteral("Fasse zusammen: 0 von 0\n")));
        QVERIFY(second.out.endsWith(QStringLiteral("52 Tabs schlafen, 3 Gruppen, %1 Themen\n").arg(topics)));
        const LibraryData again = LibraryStore(libraryPath()).load();
        QCOMPARE(again.tabs.size(), 52);
        for (qsizetype i = 0; i < again.tabs.size(); ++i) {
            QCOMPARE(again.tabs[i].id, saved.tabs[i].id);
            QCOMPARE(again.tabs[i].summary, saved.tabs[i].summary);
        }
        QCOMPARE(again.windows, saved.windows);
    }

    void options_data()
    {
        QTest::addColumn<QByteArray>("stored"); // the app's sleep options
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QString>("last");
        QTest::addColumn<int>("windows");
        const QByteArray noTopicsOneWindow = R"({"groupByWindow":false,"sortByTopic":false,"saveContent":true,)"
                                             R"("keepPinned":false,"pinnedDomains":[]})";
        QTest::newRow("one collection window, no topics")
            << QByteArray() << QStringList{"--demo", "--no-by-window", "--no-topics"}
            << "52 Tabs schlafen, 1 Gruppe, 0 Themen" << 1;
        QTest::newRow("by window again wins when last")
            << QByteArray() << QStringList{"--no-by-window", "--by-window", "--no-topics", "--demo"}
            << "52 Tabs schlafen, 3 Gruppen, 0 Themen" << 3;
        QTest::newRow("pinned and no content change nothing in a demo run")
            << QByteArray() << QStringList{"--demo", "--keep-pinned", "github.com", "apple.com", "--no-content", "--no-topics"}
            << "52 Tabs schlafen, 3 Gruppen, 0 Themen" << 3;
        QTest::newRow("the app's options are the start")
            << noTopicsOneWindow << QStringList{"--demo"} << "52 Tabs schlafen, 1 Gruppe, 0 Themen" << 1;
        QTest::newRow("a flag overrides the app's option")
            << noTopicsOneWindow << QStringList{"--demo", "--by-window"} << "52 Tabs schlafen, 3 Gruppen, 0 Themen" << 3;
    }

    void options()
    {
        QFETCH(QByteArray, stored);
        QFETCH(QStringList, args);
        QFETCH(QString, last);
        QFETCH(int, windows);
        if (!stored.isEmpty()) {
            QSettings settings(m_home->filePath(QStringLiteral("Pellmora/Pellmora.conf")), QSettings::IniFormat);
            settings.setValue(QStringLiteral("sleepOptions"), stored);
        }
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.out.endsWith(last + u'\n'), qPrintable(r.out));
        const LibraryData saved = LibraryStore(libraryPath()).load();
        QCOMPARE(saved.windows.size(), windows);
        QVERIFY(saved.topics.isEmpty());
    }

    void misuse_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("unknown flag") << QStringList{"--demo", "--schnell"};
        QTest::newRow("keep-pinned without domain") << QStringList{"--demo", "--keep-pinned"};
        QTest::newRow("keep-pinned followed by a flag") << QStringList{"--keep-pinned", "--demo"};
    }

    void misuse()
    {
        QFETCH(QStringList, args);
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.err.contains(QStringLiteral("Aufruf: pellmora-cli sleep")));
        QVERIFY(!QFile::exists(libraryPath()));
    }

    void browserRunWithoutConnectionFails()
    {
        const auto r = cli({});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(!r.err.trimmed().isEmpty());
        QVERIFY(!r.out.contains(QStringLiteral("Tabs schlafen")));
        QVERIFY(!QFile::exists(libraryPath()));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSleepCommand)
#include "TestSleepCommand.moc"
