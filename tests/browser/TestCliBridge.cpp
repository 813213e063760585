#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <vector>

#include "BrowserHub.h"
#include "FakeExtension.h"
#include "LibraryStore.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

using namespace std::chrono_literals;

// pellmora-cli sleep with browsers that connect the way their hosts do:
// over and over until the command's own hub appears, some later than others.
class TestCliBridge : public QObject
{
    Q_OBJECT

private slots:
    void sleep_data();
    void sleep();
};

void TestCliBridge::sleep_data()
{
    QTest::addColumn<bool>("appRunning");
    QTest::addColumn<QList<int>>("delaysMs"); // when each browser starts trying
    QTest::addColumn<QString>("refuse");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("saved"); // window number and address
    QTest::addColumn<QString>("message");
    QTest::addColumn<int>("left"); // tabs still open in all browsers

    const QStringList both{"1 https://a.ch/1", "1 https://b.ch/x", "3 https://docs.example.org/p"};
    QTest::newRow("one browser") << false << QList<int>{0} << QString() << 0
                                 << QStringList{"1 https://a.ch/1", "1 https://b.ch/x"} << QString() << 2;
    QTest::newRow("two browsers at once") << false << QList<int>{0, 0} << QString() << 0 << both << QString() << 2;
    // The second one arrives while the command waits for stragglers.
    QTest::newRow("second browser a little later")
        << false << QList<int>{0, 900} << QString() << 0 << both << QString() << 2;
    QTest::newRow("browser refuses to list")
        << false << QList<int>{0} << QStringLiteral("Kein Zugriff auf Tabs") << 1 << QStringList{}
        << PlatformWords::noAnswerError(0, QStringLiteral("Kein Zugriff auf Tabs")) << 4;
    QTest::newRow("no browser") << false << QList<int>{} << QString() << 1 << QStringList{}
                                << QStringLiteral("Kein Browser mit der Pellmora-Erweiterung ist verbunden.") << 0;
    QTest::newRow("the app holds the browsers")
        << true << QList<int>{0} << QString() << 1 << QStringList{}
        << QStringLiteral("Pellmora läuft bereits und ist mit dem Browser verbunden.") << 4;
}

void TestCliBridge::sleep()
{
    QFETCH(bool, appRunning);
    QFETCH(QList<int>, delaysMs);
    QFETCH(QString, refuse);
    QFETCH(int, exitCode);
    QFETCH(QStringList, saved);
    QFETCH(QString, message);
    QFETCH(int, left);

    QTemporaryDir home;
    QVERIFY(home.isValid());
    QVERIFY(QDir().mkpath(home.path() + "/run"));
    QVERIFY(QFile::setPermissions(home.path() + "/run", QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    const QString socketPath = home.path() + "/run/pellmora/browser.sock";
    const QString libraryPath = home.path() + "/data/Pellmora/library.json";

    std::unique_ptr<BrowserHub> app;
    if (appRunning) {
        app = std::make_unique<BrowserHub>(socketPath);
        QVERIFY(app->start());
    }

    const auto tab = &FakeExtension::tab;
    std::vector<std::unique_ptr<FakeExtension>> browsers;
    for (qsizetype i = 0; i < delaysMs.size(); ++i)
        browsers.push_back(std::make_unique<FakeExtension>(i == 0 ? QStringLiteral("chromium")
                                                                  : QStringLiteral("firefox")));
    if (!browsers.empty()) {
        browsers[0]->windows = {{tab(1, "https://a.ch/1", "A"), tab(2, "about:blank", {}), tab(3, "https://b.ch/x", {})},
                                {tab(4, "about:blank", {})}};
        browsers[0]->refuse = refuse;
    }
    if (browsers.size() > 1)
        browsers[1]->windows = {{tab(10, "https://docs.example.org/p", "Docs"), tab(11, "https://a.ch/1", "A")}};

    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("XDG_RUNTIME_DIR", home.path() + "/run");
    env.insert("XDG_DATA_HOME", home.path() + "/data");
    env.insert("XDG_CONFIG_HOME", home.path() + "/config");
    env.insert("XDG_CACHE_HOME", home.path() + "/cache");
    env.insert("PELLMORA_NO_AI", "1");
    env.insert("PELLMORA_NO_SEMANTIC", "1");
    QProcess cli;
    cli.setProcessEnvironment(env);
    cli.start(QStringLiteral(PELLMORA_CLI), {"sleep", "--no-content", "--no-topics"});
    QVERIFY(cli.waitForStarted());

    QElapsedTimer since;
    since.start();
    QDeadlineTimer deadline(60000);
    while (cli.state() != QProcess::NotRunning && !deadline.hasExpired()) {
        for (qsizetype i = 0; i < qsizetype(browsers.size()); ++i) {
            FakeExtension &browser = *browsers[size_t(i)];
            if (browser.isConnected())
                browser.serveOnce();
            else if (since.elapsed() >= delaysMs.at(i))
                browser.connectTo(socketPath);
        }
        cli.waitForFinished(10);
    }
    QCOMPARE(cli.state(), QProcess::NotRunning);
    const QString err = QString::fromUtf8(cli.readAllStandardError());
    QVERIFY2(cli.exitStatus() == QProcess::NormalExit, qPrintable(err));
    QVERIFY2(cli.exitCode() == exitCode, qPrintable(err));
    if (!message.isEmpty())
        QVERIFY2(err.contains(message), qPrintable(err));

    QStringList library;
    const LibraryData data = LibraryStore(libraryPath).load();
    for (const SavedTab &t : data.tabs)
        library.append(QString::number(t.windowIndex) + ' ' + t.url);
    library.sort();
    QCOMPARE(library, saved);

    // Saved tabs are closed, blank ones and unsaved ones stay.
    int open = 0;
    for (const auto &browser : browsers)
        open += browser->tabCount();
    QCOMPARE(open, left);
}

PELLMORA_TEST_GUILESS_MAIN(TestCliBridge)
#include "TestCliBridge.moc"
