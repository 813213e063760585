#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "ContextReader.h"
#include "DemoData.h"
#include "SelfTestSupport.h"
#include "SnapshotMode.h"
#include "ViewShot.h"
#include "TestRegistry.h"

// The two self-test modes, run through the real program with a private home:
// their lines, their pictures, the one setting each may touch, and that the
// user's library and the temporary folder are left as they were.
class TestSelfTestModes : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void sleepTestPassesAndRestoresDemoMode_data();
    void sleepTestPassesAndRestoresDemoMode();
    void snapshotWritesFivePictures();
    void storedSettingComesBackExactly_data();
    void storedSettingComesBackExactly();
    void projectsAreFoundByTheContextReader();
    void pngHasExactlyTwiceThePoints_data();
    void pngHasExactlyTwiceThePoints();

private:
    QString userSettingsPath() const;
    QString userLibraryPath() const;
    void writeUserLibrary();
    // Files below a folder of the private home, relative to it, sorted.
    QStringList filesUnder(const QString &folder) const;
    // Runs the program; its standard output split into lines.
    QStringList runApp(const QStringList &arguments, int *exitCode);

    std::unique_ptr<QTemporaryDir> m_home;
    QByteArray m_library;
};

void TestSelfTestModes::init()
{
    m_home = std::make_unique<QTemporaryDir>();
    QVERIFY(m_home->isValid());
    for (const char *folder : {"data", "config", "cache", "run", "tmp"})
        QVERIFY(QDir(m_home->path()).mkpath(QString::fromLatin1(folder)));
    QFile::setPermissions(m_home->filePath(QStringLiteral("run")),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    writeUserLibrary();
}

void TestSelfTestModes::cleanup()
{
    m_home.reset();
}

QString TestSelfTestModes::userSettingsPath() const
{
    return m_home->filePath(QStringLiteral("config/Pellmora/Pellmora.conf"));
}

QString TestSelfTestModes::userLibraryPath() const
{
    return m_home->filePath(QStringLiteral("data/Pellmora/library.json"));
}

void TestSelfTestModes::writeUserLibrary()
{
    // Any content will do: the modes must neither read it nor write it.
    m_library = QByteArrayLiteral("{\"tabs\":[],\"windows\":[],\"topics\":[],\"note\":\"the user's own\"}");
    QVERIFY(QDir().mkpath(QFileInfo(userLibraryPath()).path()));
    QFile file(userLibraryPath());
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(m_library), m_library.size());
}

QStringList TestSelfTestModes::filesUnder(const QString &folder) const
{
    const QDir base(m_home->filePath(folder));
    QStringList files;
    QDirIterator it(base.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(base.relativeFilePath(it.next()));
    files.sort();
    return files;
}

QStringList TestSelfTestModes::runApp(const QStringList &arguments, int *exitCode)
{
    QProcess app;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    // No display and no platform chosen: the modes must pick one themselves.
    for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "QT_SCALE_FACTOR"})
        env.remove(QString::fromLatin1(name));
    env.insert(QStringLiteral("XDG_DATA_HOME"), m_home->filePath(QStringLiteral("data")));
    env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_home->filePath(QStringLiteral("config")));
    env.insert(QStringLiteral("XDG_CACHE_HOME"), m_home->filePath(QStringLiteral("cache")));
    env.insert(QStringLiteral("XDG_RUNTIME_DIR"), m_home->filePath(QStringLiteral("run")));
    env.insert(QStringLiteral("TMPDIR"), m_home->filePath(QStringLiteral("tmp")));
    app.setProcessEnvironment(env);
    app.start(qEnvironmentVariable("PELLMORA_APP"), arguments);
    if (!app.waitForStarted() || !app.waitForFinished(240000)) {
        app.kill();
        app.waitForFinished();
        *exitCode = -1;
        return {};
    }
    *exitCode = app.exitStatus() == QProcess::NormalExit ? app.exitCode() : -1;
    const QByteArray err = app.readAllStandardError();
    if (*exitCode != 0)
        qWarning().noquote() << QString::fromUtf8(err);
    return QString::fromUtf8(app.readAllStandardOutput()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

void TestSelfTestModes::sleepTestPassesAndRestoresDemoMode_data()
{
    QTest::addColumn<QVariant>("before"); // invalid: absent
    QTest::newRow("on before") << QVariant(true);
    QTest::newRow("off before") << QVariant(false);
    QTest::newRow("absent before") << QVariant();
}

void TestSelfTestModes::sleepTestPassesAndRestoresDemoMode()
{
    QFETCH(QVariant, before);
    {
        QSettings user(userSettingsPath(), QSettings::IniFormat);
        if (before.isValid())
            user.setValue(QStringLiteral("demoMode"), before);
        user.setValue(QStringLiteral("sleepOptions"), QByteArrayLiteral("kept"));
    }
    QFile settingsFile(userSettingsPath());
    QVERIFY(settingsFile.open(QIODevice::ReadOnly));
    const QByteArray settingsBefore = settingsFile.readAll();
    settingsFile.close();

    int exitCode = 0;
    const QStringList lines = runApp({QStringLiteral("--sleeptest")}, &exitCode);
    QCOMPARE(exitCode, 0);
    QCOMPARE(lines.size(), 3);
    QVERIFY2(QRegularExpression(QStringLiteral("^\\[sleeptest\\] 52 Tabs schlafen, .* → OK$"))
                 .match(lines.at(0)).hasMatch(),
             qPrintable(lines.at(0)));

    const QString chatPrefix = QStringLiteral("[sleeptest] Chat: ");
    const QString ok = QStringLiteral(" → OK");
    QVERIFY2(lines.at(1).startsWith(chatPrefix) && lines.at(1).endsWith(ok), qPrintable(lines.at(1)));
    const QStringList titles = lines.at(1).mid(chatPrefix.size(), lines.at(1).size() - chatPrefix.size() - ok.size())
                                   .split(QStringLiteral(" | "));
    QStringList demoTitles;
    for (const DemoData::Entry &entry : DemoData::entries())
        demoTitles.append(entry.title);
    for (const QString &title : titles)
        QVERIFY2(demoTitles.contains(title), qPrintable(title));

    QCOMPARE(lines.at(2), QStringLiteral("[sleeptest] Fenster-Ansichten aufgebaut → OK"));

    QSettings user(userSettingsPath(), QSettings::IniFormat);
    QCOMPARE(user.contains(QStringLiteral("demoMode")), before.isValid());
    if (before.isValid())
        QCOMPARE(user.value(QStringLiteral("demoMode")).toBool(), before.toBool());
    QCOMPARE(user.value(QStringLiteral("sleepOptions")).toByteArray(), QByteArrayLiteral("kept"));
    QVERIFY(settingsFile.open(QIODevice::ReadOnly));
    QCOMPARE(settingsFile.readAll(), settingsBefore);

    QFile library(userLibraryPath());
    QVERIFY(library.open(QIODevice::ReadOnly));
    QCOMPARE(library.readAll(), m_library);
    // No backup, nothing else in the user's data; the sandbox is gone.
    QCOMPARE(filesUnder(QStringLiteral("data")), QStringList{QStringLiteral("Pellmora/library.json")});
    QCOMPARE(filesUnder(QStringLiteral("tmp")), QStringList());
}

void TestSelfTestModes::snapshotWritesFivePictures()
{
    {
        QSettings user(userSettingsPath(), QSettings::IniFormat);
        user.setValue(QStringLiteral("sleepOptions"), QByteArrayLiteral("{}"));
        user.setValue(QStringLiteral("demoMode"), true);
    }
    const QString out = m_home->filePath(QStringLiteral("shots/new"));
    int exitCode = 0;
    const QStringList lines = runApp({QStringLiteral("--snapshot"), out}, &exitCode);
    QCOMPARE(exitCode, 0);
    QCOMPARE(lines.size(), 6);
    QCOMPARE(lines.constLast(), QStringLiteral("[snapshot] 5 Bilder in ") + out);

    const QRegularExpression shotLine(QStringLiteral("^\\[snapshot\\] (\\S+) (\\d+)×(\\d+) pt$"));
    for (int i = 0; i < 5; ++i) {
        const SnapshotMode::Shot &shot = SnapshotMode::shots().at(i);
        const QRegularExpressionMatch match = shotLine.match(lines.at(i));
        QVERIFY2(match.hasMatch(), qPrintable(lines.at(i)));
        QCOMPARE(match.captured(1), shot.file);
        const QSize points(match.captured(2).toInt(), match.captured(3).toInt());
        if (!shot.points.isEmpty())
            QCOMPARE(points, shot.points);
        QVERIFY2(points.width() >= 100 && points.height() >= 100, qPrintable(lines.at(i)));

        const QImage image(QDir(out).filePath(shot.file));
        QVERIFY2(!image.isNull(), qPrintable(shot.file));
        QCOMPARE(image.size(), points * SelfTestSupport::kShotScale);
        QVERIFY2(ViewShot::distinctColours(image) > 4, qPrintable(shot.file));
    }

    QSettings user(userSettingsPath(), QSettings::IniFormat);
    QVERIFY(!user.contains(QStringLiteral("sleepOptions")));
    QCOMPARE(user.value(QStringLiteral("demoMode")).toBool(), true);
    QFile library(userLibraryPath());
    QVERIFY(library.open(QIODevice::ReadOnly));
    QCOMPARE(library.readAll(), m_library);
    QCOMPARE(filesUnder(QStringLiteral("data")), QStringList{QStringLiteral("Pellmora/library.json")});
    QCOMPARE(filesUnder(QStringLiteral("tmp")), QStringList());
}

void TestSelfTestModes::storedSettingComesBackExactly_data()
{
    QTest::addColumn<QVariant>("before"); // invalid: absent
    QTest::addColumn<QVariant>("during");
    QTest::newRow("true, set to false") << QVariant(true) << QVariant(false);
    QTest::newRow("false, set to true") << QVariant(false) << QVariant(true);
    QTest::newRow("absent, set") << QVariant() << QVariant(true);
    QTest::newRow("absent, untouched") << QVariant() << QVariant();
    QTest::newRow("text, removed") << QVariant(QStringLiteral("x")) << QVariant();
}

void TestSelfTestModes::storedSettingComesBackExactly()
{
    QFETCH(QVariant, before);
    QFETCH(QVariant, during);
    const QString key = QStringLiteral("demoMode");
    QSettings settings(m_home->filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    if (before.isValid())
        settings.setValue(key, before);
    const auto stored = SelfTestSupport::StoredSetting::remember(settings, key);
    if (during.isValid())
        settings.setValue(key, during);
    else
        settings.remove(key);
    stored.restore(settings);

    QSettings reread(m_home->filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
    QCOMPARE(reread.contains(key), before.isValid());
    if (before.isValid())
        QCOMPARE(reread.value(key).toString(), before.toString());
}

void TestSelfTestModes::projectsAreFoundByTheContextReader()
{
    const QString folder = m_home->filePath(QStringLiteral("Projects"));
    QString error;
    QVERIFY2(SnapshotMode::writeProjects(folder, &error), qPrintable(error));
    QFile trip(folder + QStringLiteral("/Lisbon trip/CLAUDE.md"));
    QFile office(folder + QStringLiteral("/Home office/CLAUDE.md"));
    QVERIFY(trip.open(QIODevice::ReadOnly) && office.open(QIODevice::ReadOnly));
    const QByteArray tripText = trip.readAll();
    QCOMPARE(tripText.size(), 109);
    QCOMPARE(office.readAll().size(), 84);
    QVERIFY(tripText.startsWith("# Lisbon trip\nTwo weeks in Lisbon in May:"));
    QVERIFY(!tripText.endsWith('\n'));

    UserContext context;
    context.folderPaths = {folder};
    QStringList names;
    for (const ProjectText &project : ContextReader::projectsFor(context))
        names.append(project.name);
    names.sort();
    QCOMPARE(names, (QStringList{QStringLiteral("Home office"), QStringLiteral("Lisbon trip")}));
}

void TestSelfTestModes::pngHasExactlyTwiceThePoints_data()
{
    QTest::addColumn<QSize>("rendered");
    QTest::addColumn<QSize>("points");
    QTest::newRow("rendered at the ratio") << QSize(200, 100) << QSize(100, 50);
    QTest::newRow("a screen of ratio one") << QSize(100, 50) << QSize(100, 50);
    QTest::newRow("a screen of ratio three") << QSize(300, 150) << QSize(100, 50);
}

void TestSelfTestModes::pngHasExactlyTwiceThePoints()
{
    QFETCH(QSize, rendered);
    QFETCH(QSize, points);
    QImage image(rendered, QImage::Format_ARGB32);
    image.fill(Qt::white);
    for (int x = 0; x < rendered.width(); x += 2)
        image.setPixel(x, x % rendered.height(), qRgb(x % 256, 40, 200));
    const QString path = m_home->filePath(QStringLiteral("shot.png"));
    QVERIFY(ViewShot::writePng(image, points, 2, path));
    const QImage written(path);
    QCOMPARE(written.size(), points * 2);
    QVERIFY(ViewShot::distinctColours(written) > 1);
    QVERIFY(!ViewShot::writePng(QImage(), points, 2, path));
}

PELLMORA_TEST_GUILESS_MAIN(TestSelfTestModes)
#include "TestSelfTestModes.moc"
