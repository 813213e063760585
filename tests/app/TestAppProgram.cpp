// The real program in a private home: one instance per session (a second
// start hands over to the first and ends), and the self-test modes a build
// is checked with, which must leave the user's library and settings alone.
#include "TestSupport.h"
#include "ViewShot.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include "TestRegistry.h"

class TestAppProgram : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void secondStartHandsOver_data();
    void secondStartHandsOver();
    void selfTestLeavesTheUserAlone_data();
    void selfTestLeavesTheUserAlone();

private:
    QString home(const QString &name) const { return m_home->filePath(name); }
    QProcessEnvironment environment(bool selfTest) const;
    // Runs the program to its end: exit code (-1 when it crashed or hung)
    // and the lines of its standard output.
    std::pair<int, QStringList> run(const QStringList &args, bool selfTest, QByteArray *err);

    std::unique_ptr<QTemporaryDir> m_home;
    std::unique_ptr<QProcess> m_first;
    QByteArray m_firstErr;
};

void TestAppProgram::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    for (const char *folder : {"data", "config", "cache", "run", "tmp"})
        QVERIFY(QDir(m_home->path()).mkpath(QString::fromLatin1(folder)));
    QFile::setPermissions(home(QStringLiteral("run")), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

void TestAppProgram::cleanup()
{
    if (m_first) {
        m_first->kill();
        m_first->waitForFinished();
    }
    m_first.reset();
    m_firstErr.clear();
    m_home.reset();
}

QProcessEnvironment TestAppProgram::environment(bool selfTest) const
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // No display and no platform chosen: the self-tests must pick one themselves.
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_SCALE_FACTOR"})
        env.remove(QString::fromLatin1(name));
    if (!selfTest)
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    for (const auto &[name, folder] : {std::pair{"XDG_DATA_HOME", "data"}, {"XDG_CONFIG_HOME", "config"},
                                       {"XDG_CACHE_HOME", "cache"}, {"XDG_RUNTIME_DIR", "run"}, {"TMPDIR", "tmp"}})
        env.insert(QString::fromLatin1(name), home(QString::fromLatin1(folder)));
    env.insert(QStringLiteral("PELLMORA_NO_NOTIFICATIONS"), QStringLiteral("1"));
    env.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("pellmora.*.info=true"));
    return env;
}

std::pair<int, QStringList> TestAppProgram::run(const QStringList &args, bool selfTest, QByteArray *err)
{
    QProcess app;
    app.setProcessEnvironment(environment(selfTest));
    app.start(qEnvironmentVariable("PELLMORA_APP"), args);
    const bool ended = app.waitForFinished(60000);
    app.kill();
    app.waitForFinished();
    *err = app.readAllStandardError();
    const int code = ended && app.exitStatus() == QProcess::NormalExit ? app.exitCode() : -1;
    return {code, QString::fromUtf8(app.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts)};
}

void TestAppProgram::secondStartHandsOver_data()
{
    QTest::addColumn<bool>("leftover");
    QTest::newRow("clean runtime folder") << false;
    // A crashed instance leaves its socket behind; it must not block the next start.
    QTest::newRow("socket left by a crash") << true;
}

void TestAppProgram::secondStartHandsOver()
{
    QFETCH(bool, leftover);
    if (leftover)
        QVERIFY(TestSupport::writeFile(home(QStringLiteral("run/pellmora.socket")), "stale"));
    m_first = std::make_unique<QProcess>();
    m_first->setProcessEnvironment(environment(false));
    connect(m_first.get(), &QProcess::readyReadStandardError, this,
            [this] { m_firstErr += m_first->readAllStandardError(); });
    m_first->start(qEnvironmentVariable("PELLMORA_APP"), {});
    QTRY_VERIFY_WITH_TIMEOUT(m_firstErr.contains("library window open"), 30000);

    QByteArray err;
    QCOMPARE(run({}, false, &err).first, 0);
    // The second start opened no window of its own; the first came forward.
    QVERIFY2(!err.contains("library window open"), err.constData());
    QTRY_VERIFY_WITH_TIMEOUT(m_firstErr.contains("library window shown on request: true"), 10000);
    QCOMPARE(m_first->state(), QProcess::Running);
}

void TestAppProgram::selfTestLeavesTheUserAlone_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::newRow("sleep test") << QStringList{QStringLiteral("--sleeptest")};
    QTest::newRow("snapshot") << QStringList{QStringLiteral("--snapshot"), QStringLiteral("shots")};
}

void TestAppProgram::selfTestLeavesTheUserAlone()
{
    QFETCH(QStringList, args);
    const bool snapshot = args.first() == QLatin1String("--snapshot");
    if (snapshot)
        args[1] = home(args[1]);
    const QString libraryPath = home(QStringLiteral("data/Pellmora/library.json"));
    const QByteArray library = R"({"tabs":[],"windows":[],"topics":[],"note":"the user's own"})";
    QVERIFY(TestSupport::writeFile(libraryPath, library));
    const QString settingsPath = home(QStringLiteral("config/Pellmora/Pellmora.conf"));
    QSettings(settingsPath, QSettings::IniFormat).setValue(QStringLiteral("demoMode"), false);
    const QByteArray settings = TestSupport::readFile(settingsPath);

    QByteArray err;
    const auto [code, lines] = run(args, true, &err);
    QVERIFY2(code == 0 && !lines.isEmpty(), err.constData());
    int pictures = 0;
    const QRegularExpression shot(QStringLiteral("^\\[snapshot\\] (\\S+) (\\d+)×(\\d+) pt$"));
    for (const QString &line : lines) {
        if (!snapshot) {
            QVERIFY2(line.endsWith(QStringLiteral(" OK")), qPrintable(line));
        } else if (const QRegularExpressionMatch match = shot.match(line); match.hasMatch()) {
            // Twice the size in points, and not blank.
            const QImage image(QDir(args[1]).filePath(match.captured(1)));
            QCOMPARE(image.size(), QSize(match.captured(2).toInt(), match.captured(3).toInt()) * 2);
            QVERIFY2(ViewShot::distinctColours(image) > 4, qPrintable(line));
            ++pictures;
        }
    }
    QCOMPARE(pictures, snapshot ? 5 : 0);

    QCOMPARE(TestSupport::readFile(libraryPath), library);
    QCOMPARE(TestSupport::readFile(settingsPath), settings);
    // No backup beside the library; the sandbox in the temporary folder is gone.
    const auto all = QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot;
    QCOMPARE(QDir(home(QStringLiteral("data"))).entryList(all), QStringList{QStringLiteral("Pellmora")});
    QCOMPARE(QDir(home(QStringLiteral("data/Pellmora"))).entryList(all), QStringList{QStringLiteral("library.json")});
    QVERIFY(QDir(home(QStringLiteral("tmp"))).isEmpty(all));
}

PELLMORA_TEST_GUILESS_MAIN(TestAppProgram)
#include "TestAppProgram.moc"
