#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include "SelfTestRequest.h"
#include "TestSupport.h"
#include "TestRegistry.h"

// One instance per session, checked through the real program: a second start
// hands over to the first and ends; the self-test arguments are read first.
class TestSingleInstance : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void secondStartActivatesFirst_data();
    void secondStartActivatesFirst();
    void firstStartAfterTheOneEnded();
    void selfTestArguments_data();
    void selfTestArguments();

private:
    QHash<QString, QString> environment() const;
    QString socketPath() const { return m_runtime->filePath(QStringLiteral("pellmora.socket")); }
    void startFirst();
    void stopFirst();

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<QTemporaryDir> m_runtime;
    std::unique_ptr<QProcess> m_first;
    QByteArray m_firstErr;
};

void TestSingleInstance::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    m_runtime = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid() && m_runtime->isValid());
    m_firstErr.clear();
}

void TestSingleInstance::cleanup()
{
    stopFirst();
    m_runtime.reset();
    m_home.reset();
}

QHash<QString, QString> TestSingleInstance::environment() const
{
    return {
        {QStringLiteral("XDG_RUNTIME_DIR"), m_runtime->path()},
        {QStringLiteral("XDG_DATA_HOME"), m_home->filePath(QStringLiteral("data"))},
        {QStringLiteral("XDG_CONFIG_HOME"), m_home->filePath(QStringLiteral("config"))},
        {QStringLiteral("XDG_CACHE_HOME"), m_home->filePath(QStringLiteral("cache"))},
        {QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen")},
        {QStringLiteral("PELLMORA_NO_NOTIFICATIONS"), QStringLiteral("1")},
        {QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("pellmora.*.info=true")},
    };
}

void TestSingleInstance::startFirst()
{
    m_first = std::make_unique<QProcess>();
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    const QHash<QString, QString> extra = environment();
    for (auto it = extra.cbegin(); it != extra.cend(); ++it)
        env.insert(it.key(), it.value());
    m_first->setProcessEnvironment(env);
    connect(m_first.get(), &QProcess::readyReadStandardError, this,
            [this] { m_firstErr += m_first->readAllStandardError(); });
    m_first->start(qEnvironmentVariable("PELLMORA_APP"), {});
    QVERIFY2(m_first->waitForStarted(), qPrintable(m_first->errorString()));
    // Ready once its library window is up; the socket is there before it.
    QTRY_VERIFY_WITH_TIMEOUT(m_firstErr.contains("library window open"), 30000);
    QVERIFY(QFileInfo(socketPath()).exists());
}

void TestSingleInstance::stopFirst()
{
    if (!m_first)
        return;
    if (m_first->state() != QProcess::NotRunning) {
        m_first->terminate();
        if (!m_first->waitForFinished(10000)) {
            m_first->kill();
            m_first->waitForFinished();
        }
    }
    m_first.reset();
}

void TestSingleInstance::secondStartActivatesFirst_data()
{
    QTest::addColumn<bool>("leftover");
    QTest::newRow("clean runtime folder") << false;
    // A crashed instance leaves its socket behind; it must not block the next start.
    QTest::newRow("socket file left from a crash") << true;
}

void TestSingleInstance::secondStartActivatesFirst()
{
    QFETCH(bool, leftover);
    if (leftover)
        QVERIFY(TestSupport::writeFile(socketPath(), "stale"));
    startFirst();
    QVERIFY(!m_firstErr.contains("shown on request"));

    const TestSupport::ProcessResult second =
        TestSupport::run(qEnvironmentVariable("PELLMORA_APP"), {}, environment());
    QCOMPARE(second.exitCode, 0);
    // The second start opened no window of its own.
    QVERIFY2(!second.err.contains(QStringLiteral("library window open")), qPrintable(second.err));
    QTRY_VERIFY_WITH_TIMEOUT(m_firstErr.contains("library window shown on request: true"), 10000);
    QCOMPARE(m_first->state(), QProcess::Running);
}

void TestSingleInstance::firstStartAfterTheOneEnded()
{
    startFirst();
    stopFirst();
    // The next start becomes the instance itself rather than handing over to nobody.
    startFirst();
    QCOMPARE(m_first->state(), QProcess::Running);
}

void TestSingleInstance::selfTestArguments_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<bool>("sleepTest");
    QTest::addColumn<bool>("snapshot");
    QTest::addColumn<QString>("folder");
    const QString shots = QDir(QDir::tempPath()).filePath(QStringLiteral("pellmora-shots"));
    QTest::newRow("none") << QStringList() << false << false << QString();
    QTest::newRow("a longer option is not the one")
        << QStringList{QStringLiteral("--sleeptest-no")} << false << false << QString();
    QTest::newRow("sleeptest") << QStringList{QStringLiteral("--sleeptest")} << true << false
                               << QString();
    QTest::newRow("snapshot without folder")
        << QStringList{QStringLiteral("--snapshot")} << false << true << shots;
    QTest::newRow("snapshot followed by an option")
        << QStringList{QStringLiteral("--snapshot"), QStringLiteral("--sleeptest")} << true << true
        << shots;
    QTest::newRow("snapshot into a folder")
        << QStringList{QStringLiteral("--snapshot"), QStringLiteral("/tmp/x")} << false << true
        << QStringLiteral("/tmp/x");
    QTest::newRow("home folder expanded")
        << QStringList{QStringLiteral("--snapshot"), QStringLiteral("~/shots")} << false << true
        << QDir::homePath() + QStringLiteral("/shots");
    QTest::newRow("tilde inside a name stays")
        << QStringList{QStringLiteral("--snapshot"), QStringLiteral("a~/b")} << false << true
        << QStringLiteral("a~/b");
}

void TestSingleInstance::selfTestArguments()
{
    QFETCH(QStringList, args);
    QFETCH(bool, sleepTest);
    QFETCH(bool, snapshot);
    QFETCH(QString, folder);
    // The program's own name never counts as an argument.
    args.prepend(QStringLiteral("--snapshot"));
    const SelfTestRequest request = SelfTestRequest::fromArguments(args);
    QCOMPARE(request.sleepTest, sleepTest);
    QCOMPARE(request.snapshot, snapshot);
    QCOMPARE(request.snapshotFolder, folder);
    QCOMPARE(request.any(), sleepTest || snapshot);
}

PELLMORA_TEST_GUILESS_MAIN(TestSingleInstance)
#include "TestSingleInstance.moc"
