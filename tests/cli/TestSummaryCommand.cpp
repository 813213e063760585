#include "LibraryStore.h"
#include "TestSupport.h"

#include <QTemporaryDir>
#include <QTest>
#include "TestRegistry.h"

class TestSummaryCommand : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;

    TestSupport::ProcessResult cli(const QStringList &args)
    {
        return TestSupport::run(qEnvironmentVariable("PELLMORA_CLI"), args,
                                {{QStringLiteral("XDG_DATA_HOME"), m_home.path()}});
    }

    QString libraryPath() const { return m_home.filePath(QStringLiteral("Pellmora/library.json")); }

private Q_SLOTS:
    void withoutLibrary()
    {
        const auto r = cli({QStringLiteral("summary")});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("Bibliothek: %1\nNoch keine Tabs gespeichert.\n").arg(libraryPath()));
    }

    void counts_data()
    {
        QTest::addColumn<int>("tabs");
        QTest::addColumn<QString>("line");
        QTest::newRow("one") << 1 << "1 Tab in 1 Fenster, 1 Thema";
        QTest::newRow("many") << 1234 << "1'234 Tabs in 2 Fenstern, 2 Themen";
    }

    void counts()
    {
        QFETCH(int, tabs);
        QFETCH(QString, line);
        LibraryData d;
        const QDateTime now = QDateTime::currentDateTimeUtc();
        for (int i = 0; i < tabs; ++i) {
            SavedTab t;
            t.id = QUuid::createUuid();
            t.url = QStringLiteral("https://a.ch/%1").arg(i);
            t.savedAt = now;
            t.windowId = QUuid::createUuid();
            if (i == 0)
                t.reminderAt = now.addSecs(-5);
            d.tabs.append(t);
        }
        for (int w = 0; w < (tabs == 1 ? 1 : 2); ++w)
            d.windows.append(SavedWindow{QUuid::createUuid(), now, QStringLiteral("F"), {}});
        for (int n = 0; n < (tabs == 1 ? 1 : 2); ++n)
            d.topics.append(Topic{QUuid::createUuid(), QStringLiteral("T"), QStringLiteral("gelb"), {}, false});
        d.topics.append(Topic{QUuid::createUuid(), QStringLiteral("Ohne klares Thema"), QStringLiteral("grau"), {}, true});
        d.hints = {Hint{QUuid::createUuid(), d.tabs[0].id, QStringLiteral("r"), now, false}};
        QVERIFY(LibraryStore(libraryPath()).save(d).ok());

        const auto r = cli({});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split(u'\n');
        QCOMPARE(lines.value(1), line);
        QCOMPARE(lines.value(2), QStringLiteral("1 offener Hinweis, 1 fällige Erinnerung"));
    }

    void usageErrors_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("unknown command") << QStringList{"zaubern"};
        QTest::newRow("extra argument") << QStringList{"summary", "x"};
    }

    void usageErrors()
    {
        QFETCH(QStringList, args);
        const auto r = cli(args);
        QCOMPARE(r.exitCode, 2);
        QVERIFY(r.out.isEmpty());
        QVERIFY(r.err.contains(QStringLiteral("Aufruf: pellmora-cli")));
    }

    void help()
    {
        const auto r = cli({QStringLiteral("--help")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QStringLiteral("summary")));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestSummaryCommand)
#include "TestSummaryCommand.moc"
