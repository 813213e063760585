#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include "AppModelFixture.h"
#include "AssistantConfig.h"
#include "MCPServer.h"
#include "SettingsPresenter.h"
#include "SleepOptions.h"
#include "ViewHarness.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

// The settings window over a model with fakes: the library path, launch at
// login, the pinned domains, the model and search lines, the model server
// settings and the assistant block on the clipboard.
class TestSettingsView : public QObject
{
    Q_OBJECT

public:
    TestSettingsView();

private slots:
    void init();
    void cleanup();

    void pinnedDomainsFrom_data();
    void pinnedDomainsFrom();
    void pinnedEditorStoresEveryChange();
    void pinnedEditorRefilledWhenShown();
    void keepPinnedSwitch();
    void launchAtLogin_data();
    void launchAtLogin();
    void statusLines();
    void copiesTheConfiguration();
    void cliPath_data();
    void cliPath();
    void serverSettings_data();
    void serverSettings();
    void browsersLine_data();
    void browsersLine();
    void sizeKnownBeforeTheFirstFrame();

private:
    // The model server settings go to the per-user store: keep them private.
    QTemporaryDir m_config;
    std::unique_ptr<AppModelFixture> m_fixture;
    std::unique_ptr<ViewHarness> m_harness;
};

TestSettingsView::TestSettingsView()
{
    qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8());
}

void TestSettingsView::init()
{
    m_fixture = std::make_unique<AppModelFixture>();
    m_harness = std::make_unique<ViewHarness>(m_fixture->model());
}

void TestSettingsView::cleanup()
{
    m_harness.reset();
    m_fixture.reset();
}

void TestSettingsView::pinnedDomainsFrom_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("domains");
    QTest::newRow("empty") << QString() << QStringList();
    QTest::newRow("blank lines and spaces")
        << "  mail.google.com \n\n\t\n\tnotion.so\t\n   \n" << QStringList{"mail.google.com", "notion.so"};
    QTest::newRow("windows line ends") << "a.ch\r\nb.ch\r\n" << QStringList{"a.ch", "b.ch"};
    QTest::newRow("order and repeats kept") << "z.ch\na.ch\nz.ch" << QStringList{"z.ch", "a.ch", "z.ch"};
    QTest::newRow("nothing else normalised")
        << " https://Mail.Google.com/ \nmit leer zeichen" << QStringList{"https://Mail.Google.com/", "mit leer zeichen"};
}

void TestSettingsView::pinnedDomainsFrom()
{
    QFETCH(QString, text);
    QFETCH(QStringList, domains);
    QCOMPARE(SettingsPresenter::pinnedDomainsFrom(text), domains);
}

void TestSettingsView::pinnedEditorStoresEveryChange()
{
    SleepOptions options = m_fixture->model().options();
    options.pinnedDomains = {QStringLiteral("mail.google.com"), QStringLiteral("notion.so")};
    m_fixture->model().setOptions(options);
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->text(QStringLiteral("pinnedEditor")), QStringLiteral("mail.google.com\nnotion.so"));

    // Filling the editor is no edit: the stored list is untouched.
    QCOMPARE(m_fixture->model().options().pinnedDomains, options.pinnedDomains);

    m_harness->find(QStringLiteral("pinnedEditor"))->setProperty("text", QStringLiteral("  github.com \n\n\tnotion.so\n"));
    QCOMPARE(m_fixture->model().options().pinnedDomains, (QStringList{"github.com", "notion.so"}));
    // Written to the settings store at once.
    const auto stored =
        SleepOptions::decode(m_fixture->settings().value(QStringLiteral("sleepOptions")).toByteArray());
    QVERIFY(stored);
    QCOMPARE(stored->pinnedDomains, (QStringList{"github.com", "notion.so"}));

    // Typing stores on every key, and the text stays as typed.
    QObject *editor = m_harness->find(QStringLiteral("pinnedEditor"));
    editor->setProperty("cursorPosition", editor->property("length"));
    QVERIFY(m_harness->type(QStringLiteral("pinnedEditor"), QStringLiteral(" x")));
    QCOMPARE(m_fixture->model().options().pinnedDomains, (QStringList{"github.com", "notion.so", "x"}));
    QCOMPARE(m_harness->text(QStringLiteral("pinnedEditor")), QStringLiteral("  github.com \n\n\tnotion.so\n x"));
}

void TestSettingsView::pinnedEditorRefilledWhenShown()
{
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->text(QStringLiteral("pinnedEditor")), QString());
    m_harness->view()->hide();
    SleepOptions options = m_fixture->model().options();
    options.pinnedDomains = {QStringLiteral("outlook.live.com")};
    m_fixture->model().setOptions(options);
    m_harness->view()->show();
    QTRY_COMPARE(m_harness->text(QStringLiteral("pinnedEditor")), QStringLiteral("outlook.live.com"));
}

void TestSettingsView::keepPinnedSwitch()
{
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->read(QStringLiteral("keepPinned"), "checked").toBool(), false);
    QVERIFY(m_harness->click(QStringLiteral("keepPinned")));
    QVERIFY(m_fixture->model().options().keepPinned);
    SleepOptions options = m_fixture->model().options();
    options.keepPinned = false;
    m_fixture->model().setOptions(options);
    QCOMPARE(m_harness->read(QStringLiteral("keepPinned"), "checked").toBool(), false);
}

void TestSettingsView::launchAtLogin_data()
{
    QTest::addColumn<bool>("refused");
    QTest::newRow("allowed") << false;
    QTest::newRow("refused") << true;
}

void TestSettingsView::launchAtLogin()
{
    QFETCH(bool, refused);
    if (refused) {
        // A file where the autostart folder should be: the entry cannot be written.
        QFile blocker(m_fixture->autostartFolder());
        QVERIFY(blocker.open(QIODevice::WriteOnly));
    }
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->read(QStringLiteral("launchAtLogin"), "checked").toBool(), false);
    QVERIFY(!m_harness->isShown(QStringLiteral("notice")));

    QVERIFY(m_harness->click(QStringLiteral("launchAtLogin")));
    QCOMPARE(m_fixture->model().launchAtLogin(), !refused);
    QCOMPARE(m_harness->read(QStringLiteral("launchAtLogin"), "checked").toBool(), !refused);
    QCOMPARE(m_harness->isShown(QStringLiteral("notice")), refused);
    if (refused)
        QVERIFY(m_harness->text(QStringLiteral("notice")).startsWith(u"Beim Anmelden starten: "));

    if (!refused) {
        QVERIFY(m_harness->click(QStringLiteral("launchAtLogin")));
        QCOMPARE(m_fixture->model().launchAtLogin(), false);
        QCOMPARE(m_harness->read(QStringLiteral("launchAtLogin"), "checked").toBool(), false);
    }
}

void TestSettingsView::statusLines()
{
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->text(QStringLiteral("libraryPath")),
             QStringLiteral("Bibliothek: ") + m_fixture->path(QStringLiteral("library.json")));
    // The test runs with PELLMORA_NO_SEMANTIC and PELLMORA_NO_AI.
    QCOMPARE(m_harness->text(QStringLiteral("searchLine")),
             QStringLiteral("Suche nach Bedeutung: ") + PlatformWords::searchSource(false, {}));
    QTRY_COMPARE(m_harness->text(QStringLiteral("aiStatus")),
                 PlatformWords::modelStatus(PlatformWords::ModelState::forcedOff, {}));
}

void TestSettingsView::copiesTheConfiguration()
{
    QGuiApplication::clipboard()->setText(QStringLiteral("vorher"));
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    const QString block = m_harness->text(QStringLiteral("configBlock"));
    QCOMPARE(block, MCPServer::claudeConfigSnippet(AssistantConfig::cliPath()));
    QCOMPARE(m_harness->read(QStringLiteral("copyButton"), "text").toString(), QStringLiteral("Kopieren"));

    QVERIFY(m_harness->click(QStringLiteral("copyButton")));
    QCOMPARE(QGuiApplication::clipboard()->text(), block);
    QCOMPARE(m_harness->read(QStringLiteral("copyButton"), "text").toString(), QStringLiteral("Kopiert ✓"));
    // Stays so for the life of the window.
    m_harness->view()->hide();
    m_harness->view()->show();
    QCOMPARE(m_harness->read(QStringLiteral("copyButton"), "text").toString(), QStringLiteral("Kopiert ✓"));
}

void TestSettingsView::cliPath_data()
{
    QTest::addColumn<QStringList>("programs"); // made executable, relative to a temporary folder
    QTest::addColumn<QStringList>("plainFiles");
    QTest::addColumn<QString>("programFolder");
    QTest::addColumn<QString>("searchPath");
    QTest::addColumn<QString>("expected"); // "<tmp>/…" or an absolute path

    QTest::newRow("beside the program") << QStringList{"app/pellmora-cli", "cli/pellmora-cli", "bin/pellmora-cli"}
                                        << QStringList() << "app" << "bin" << "<tmp>/app/pellmora-cli";
    QTest::newRow("build tree") << QStringList{"cli/pellmora-cli", "bin/pellmora-cli"} << QStringList() << "app"
                                << "bin" << "<tmp>/cli/pellmora-cli";
    QTest::newRow("search path") << QStringList{"bin/pellmora-cli"} << QStringList() << "app"
                                 << "nowhere:bin" << "<tmp>/bin/pellmora-cli";
    QTest::newRow("not executable") << QStringList() << QStringList{"app/pellmora-cli", "bin/pellmora-cli"} << "app"
                                    << "bin" << "/usr/bin/pellmora-cli";
    QTest::newRow("nothing anywhere") << QStringList() << QStringList() << QString() << QString()
                                      << "/usr/bin/pellmora-cli";
}

void TestSettingsView::cliPath()
{
    QFETCH(QStringList, programs);
    QFETCH(QStringList, plainFiles);
    QFETCH(QString, programFolder);
    QFETCH(QString, searchPath);
    QFETCH(QString, expected);

    QTemporaryDir tmp;
    const QDir root(tmp.path());
    for (const QString &name : QStringList{"app", "cli", "bin"})
        QVERIFY(root.mkpath(name));
    const auto make = [&](const QString &relative, bool executable) {
        QFile file(root.filePath(relative));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("#!/bin/sh\n");
        file.close();
        if (executable)
            QVERIFY(file.setPermissions(file.permissions() | QFileDevice::ExeOwner));
    };
    for (const QString &p : programs)
        make(p, true);
    for (const QString &p : plainFiles)
        make(p, false);
    QStringList folders;
    for (const QString &part : searchPath.split(u':', Qt::SkipEmptyParts))
        folders << root.filePath(part);

    expected.replace(QStringLiteral("<tmp>"), tmp.path());
    QCOMPARE(AssistantConfig::cliPath(programFolder.isEmpty() ? QString() : root.filePath(programFolder),
                                      folders.join(u':')),
             expected);
}

void TestSettingsView::serverSettings_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("loopback") << "http://127.0.0.1:8080" << true;
    QTest::newRow("empty means the default") << "" << true;
    QTest::newRow("another machine") << "http://192.168.1.20:11434" << false;
    QTest::newRow("not http") << "ftp://127.0.0.1" << false;
}

void TestSettingsView::serverSettings()
{
    QFETCH(QString, url);
    QFETCH(bool, accepted);
    QSettings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora")).clear();
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml")));
    QCOMPARE(m_harness->text(QStringLiteral("serverUrl")), QStringLiteral("http://127.0.0.1:11434"));

    m_harness->find(QStringLiteral("serverUrl"))->setProperty("text", url);
    m_harness->find(QStringLiteral("modelName"))->setProperty("text", QStringLiteral(" qwen3:4b "));
    QVERIFY(m_harness->click(QStringLiteral("applyServer")));

    const QSettings settings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
    if (accepted) {
        QCOMPARE(settings.value(QStringLiteral("modelServerURL")).toString(), url);
        QCOMPARE(settings.value(QStringLiteral("modelName")).toString(), QStringLiteral("qwen3:4b"));
        QCOMPARE(m_harness->text(QStringLiteral("serverMessage")),
                 QStringLiteral("Das Modell für die Suche gilt ab dem nächsten Start."));
    } else {
        QVERIFY(!settings.contains(QStringLiteral("modelServerURL")));
        QVERIFY(!settings.contains(QStringLiteral("modelName")));
        QVERIFY(m_harness->text(QStringLiteral("serverMessage")).startsWith(u"Nur Adressen auf diesem Rechner"));
    }
}

void TestSettingsView::browsersLine_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QString>("line");
    QTest::newRow("none") << QStringList()
                          << "Kein Browser verbunden. Lade die Pellmora-Erweiterung in Chromium oder Firefox.";
    QTest::newRow("two") << QStringList{"Chromium", "Firefox"} << "Verbunden: Chromium, Firefox";
}

void TestSettingsView::browsersLine()
{
    QFETCH(QStringList, names);
    QFETCH(QString, line);
    QCOMPARE(SettingsPresenter::browsersLineFor(names), line);
}

void TestSettingsView::sizeKnownBeforeTheFirstFrame()
{
    // The window takes the view's size when it is made, before any frame and
    // before the model server's answer.
    QSizeF before;
    QVERIFY(m_harness->load(QStringLiteral("SettingsView.qml"), &before));
    QTRY_VERIFY(m_harness->text(QStringLiteral("aiStatus")) != u"…");
    QTest::qWait(100);
    QCOMPARE(before, QSizeF(m_harness->root()->implicitWidth(), m_harness->root()->implicitHeight()));
}

PELLMORA_TEST_MAIN(TestSettingsView)
#include "TestSettingsView.moc"
