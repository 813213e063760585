// The app model's work on the whole library: search, chat, hints and the
// daily check, regrouping, demo data, clearing, launch at login and the
// sidebar list.
#include "AppModelFixture.h"
#include "Embedder.h"

#include "ChatModel.h"
#include "DemoData.h"
#include "Fmt.h"
#include "LaunchAtLogin.h"
#include "LibraryBackups.h"
#include "SidebarModel.h"
#include "TabListModel.h"
#include "TestSupport.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>
#include <memory>
#include "TestRegistry.h"

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute));
}

QStringList titles(const QList<SavedTab> &tabs)
{
    QStringList out;
    for (const SavedTab &tab : tabs)
        out << tab.title;
    return out;
}

// Three unread tabs on clearly different subjects.
LibraryData subjects()
{
    LibraryData data;
    SavedTab camera = AppModelFixture::tab(QStringLiteral("Kamera Objektiv Vergleich"), at(12, 9), 1);
    camera.summary = QStringLiteral("Welche Kamera und welches Objektiv sich für die Fotografie auf Reisen eignen.");
    camera.tags = {QStringLiteral("Kamera"), QStringLiteral("Fotografie")};
    SavedTab taxes = AppModelFixture::tab(QStringLiteral("Steuererklärung Formular"), at(12, 9), 2);
    taxes.summary = QStringLiteral("Das Formular der Steuererklärung im Kanton Zürich ausfüllen.");
    SavedTab bread = AppModelFixture::tab(QStringLiteral("Sauerteig Brot backen"), at(12, 9), 3);
    bread.summary = QStringLiteral("Ein Rezept für Brot mit Sauerteig und langer Gare.");
    data.tabs = {camera, taxes, bread};
    return data;
}

} // namespace

class TestAppModelLibrary : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void searchWaitsThenShowsTheLastQuery();
    void clearingTheQueryCancelsTheWaitingSearch();
    void supersededSearchKeepsTheOldResults();

    void askShowsBusyAndTakesOneQuestionAtATime();
    void askWithNothingFound();

    void generateHints_data();
    void generateHints();
    void dailyHintCheck_data();
    void dailyHintCheck();

    void regroupTopics();
    void loadDemoData();
    void clearLibraryKeepsTheContext();
    void contextOperations();

    void launchAtLogin();
    void launchAtLoginFailure();

    void sidebarRows();

private:
    std::unique_ptr<AppModelFixture> f;
};

void TestAppModelLibrary::init()
{
    f = std::make_unique<AppModelFixture>();
}

void TestAppModelLibrary::cleanup()
{
    f.reset();
}

void TestAppModelLibrary::searchWaitsThenShowsTheLastQuery()
{
    f->library().replace(subjects());
    AppModel &model = f->model();
    QAbstractItemModelTester tester(model.visibleTabsModel(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy results(&model, &AppModel::searchResultsChanged);

    model.setQuery(QStringLiteral("Kamera"));
    model.setQuery(QStringLiteral("Steuererklärung"));
    // Nothing runs before the pause; the list already shows the (empty) results.
    QVERIFY(model.isSearchPending());
    QCOMPARE(results.count(), 0);
    QVERIFY(model.visibleTabs().isEmpty());

    QTRY_VERIFY(!model.isSearchPending());
    QCOMPARE(results.count(), 1); // the first query never ran
    QCOMPARE(titles(model.searchResults()).first(), QStringLiteral("Steuererklärung Formular"));
    QCOMPARE(model.visibleTabs(), model.searchResults());
    QCOMPARE(model.visibleTabsModel()->rowCount(), int(model.searchResults().size()));
    QCOMPARE(model.property("searchResults").toList().size(), model.searchResults().size());
    // The vectors the search made are kept, so the next query makes none.
    QCOMPARE(f->library().data().embedderKind, model.embedder()->kind());
    QCOMPARE(f->library().data().embeddings.size(), 3);

    // The empty query shows the selection again.
    model.setQuery(QString());
    QCOMPARE(model.visibleTabs().size(), 3);
}

void TestAppModelLibrary::clearingTheQueryCancelsTheWaitingSearch()
{
    f->library().replace(subjects());
    AppModel &model = f->model();
    QSignalSpy results(&model, &AppModel::searchResultsChanged);
    model.setQuery(QStringLiteral("Kamera"));
    QVERIFY(model.isSearchPending());
    model.setQuery(QStringLiteral("   "));
    QVERIFY(!model.isSearchPending());
    QCOMPARE(results.count(), 0);
    QVERIFY(model.searchResults().isEmpty());
}

void TestAppModelLibrary::supersededSearchKeepsTheOldResults()
{
    f->library().replace(subjects());
    AppModel &model = f->model();
    model.setQuery(QStringLiteral("Sauerteig"));
    QTRY_VERIFY(!model.isSearchPending());
    const QList<SavedTab> first = model.searchResults();
    QCOMPARE(first.first().title, QStringLiteral("Sauerteig Brot backen"));

    model.setQuery(QStringLiteral("Objektiv"));
    QVERIFY(model.isSearchPending());
    QCOMPARE(model.searchResults(), first);
    QTRY_VERIFY(!model.isSearchPending());
    QCOMPARE(model.searchResults().first().title, QStringLiteral("Kamera Objektiv Vergleich"));
}

void TestAppModelLibrary::askShowsBusyAndTakesOneQuestionAtATime()
{
    f->library().replace(subjects());
    AppModel &model = f->model();
    QAbstractItemModelTester tester(model.chatModel(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy busy(&model, &AppModel::chatBusyChanged);
    f->holdAnswers(true);

    model.ask(QStringLiteral(" \n "));
    QVERIFY(model.chat().isEmpty());
    QVERIFY(!model.chatBusy());

    model.ask(QStringLiteral("  Welche Kamera für die Reise?\n"));
    QVERIFY(model.chatBusy());
    QCOMPARE(model.chat().size(), 1);
    QCOMPARE(model.chat().first().role, ChatMessage::Role::user);
    QCOMPARE(model.chat().first().text, QStringLiteral("Welche Kamera für die Reise?"));
    QVERIFY(model.chat().first().cards.isEmpty());

    model.ask(QStringLiteral("Und das Brot?"));
    QCOMPARE(model.chat().size(), 1);

    f->holdAnswers(false);
    QTRY_VERIFY(!model.chatBusy());
    QCOMPARE(busy.count(), 2);
    QCOMPARE(f->answersGiven(), 1);
    QCOMPARE(model.chat().size(), 2);
    const ChatMessage &answer = model.chat().at(1);
    QCOMPARE(answer.role, ChatMessage::Role::assistant);
    QVERIFY(answer.id != model.chat().first().id);
    QVERIFY(!answer.byAI);
    QVERIFY(!answer.cards.isEmpty());
    QCOMPARE(answer.cards.first().tab.title, QStringLiteral("Kamera Objektiv Vergleich"));
    QVERIFY(answer.text.endsWith(QStringLiteral("ohne Begründung.")));

    QCOMPARE(model.chatModel()->rowCount(), 2);
    const QModelIndex row = model.chatModel()->index(1);
    QCOMPARE(row.data(ChatModel::IsUserRole).toBool(), false);
    const QVariantList cards = row.data(ChatModel::CardsRole).toList();
    QCOMPARE(cards.size(), answer.cards.size());
    QCOMPARE(cards.first().toMap().value(QStringLiteral("reason")).toString(), answer.cards.first().reason);
    QCOMPARE(cards.first().toMap().value(QStringLiteral("tabId")).toString(), idText(answer.cards.first().tab.id));
}

void TestAppModelLibrary::askWithNothingFound()
{
    AppModel &model = f->model();
    model.ask(QStringLiteral("Quantenchromodynamik"));
    QTRY_VERIFY(!model.chatBusy());
    QCOMPARE(model.chat().size(), 2);
    QCOMPARE(model.chat().at(1).text, QStringLiteral("Dazu habe ich in deinen gespeicherten Tabs nichts gefunden."));
    QVERIFY(model.chat().at(1).cards.isEmpty());
}

void TestAppModelLibrary::generateHints_data()
{
    QTest::addColumn<QString>("freeText");
    QTest::addColumn<QString>("notice");
    QTest::addColumn<int>("count");
    QTest::newRow("a match") << QStringLiteral("Fotografie: Kamera und Objektiv für die Reise aussuchen") << "1 neue Hinweise."
                             << 1;
    QTest::newRow("no match") << QStringLiteral("Quantenchromodynamik Gitterrechnung") << QStringLiteral(
        "Keine neuen Hinweise: kein ungelesener Tab passt zu deinen Projekten.")
                              << 0;
}

void TestAppModelLibrary::generateHints()
{
    QFETCH(QString, freeText);
    QFETCH(QString, notice);
    QFETCH(int, count);
    LibraryData data = subjects();
    data.context.freeText = freeText;
    data.context.hintsPerDay = 1;
    f->library().replace(data);
    AppModel &model = f->model();

    QCOMPARE(model.generateHints(false), count);
    QCOMPARE(model.notice(), std::optional(notice));
    // The day is recorded even when nothing matched.
    QCOMPARE(f->library().data().lastHintDay, std::optional(Fmt::dayKey(f->clock().now())));
    QCOMPARE(f->library().data().hints.size(), count);
    QCOMPARE(model.tabsFor(SidebarSelection::hints()).size(), count);
    if (count > 0)
        QCOMPARE(model.tabsFor(SidebarSelection::hints()).first().title, QStringLiteral("Kamera Objektiv Vergleich"));
}

void TestAppModelLibrary::dailyHintCheck_data()
{
    QTest::addColumn<QString>("freeText");
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<int>("hintHour");
    QTest::addColumn<bool>("alreadyToday");
    QTest::addColumn<bool>("runs");
    const QString text = QStringLiteral("Kamera Objektiv Fotografie");
    // The clock stands at 20:31.
    QTest::newRow("due") << text << QStringList() << 9 << false << true;
    QTest::newRow("at the hour") << text << QStringList() << 20 << false << true;
    QTest::newRow("folders only") << QString() << QStringList{QStringLiteral("/nirgends")} << 9 << false << true;
    QTest::newRow("no context") << QString() << QStringList() << 9 << false << false;
    QTest::newRow("before the hour") << text << QStringList() << 21 << false << false;
    QTest::newRow("already today") << text << QStringList() << 9 << true << false;
}

void TestAppModelLibrary::dailyHintCheck()
{
    QFETCH(QString, freeText);
    QFETCH(QStringList, folders);
    QFETCH(int, hintHour);
    QFETCH(bool, alreadyToday);
    QFETCH(bool, runs);
    LibraryData data = subjects();
    data.context.freeText = freeText;
    data.context.folderPaths = folders;
    data.context.hintHour = hintHour;
    if (alreadyToday)
        data.lastHintDay = Fmt::dayKey(f->clock().now());
    f->library().replace(data);
    AppModel &model = f->model();

    model.dailyHintCheck();
    QCOMPARE(model.notice().has_value(), runs);
    QCOMPARE(f->library().data().lastHintDay.has_value(), runs || alreadyToday);
    if (!runs)
        return;
    // A second check the same day does nothing.
    model.setNotice(std::nullopt);
    model.dailyHintCheck();
    QCOMPARE(model.notice(), std::nullopt);
    // The next day it runs again.
    f->clock().advance(24 * 3600);
    model.dailyHintCheck();
    QVERIFY(model.notice().has_value());
    QCOMPARE(f->library().data().lastHintDay, std::optional(Fmt::dayKey(f->clock().now())));
}

void TestAppModelLibrary::regroupTopics()
{
    SleepOptions options;
    options.sortByTopic = false; // regrouping ignores the option
    f->settings().setValue(QStringLiteral("sleepOptions"), options.encode());
    f->library().replace(subjects());
    AppModel &model = f->model();
    QCOMPARE(model.selection(), SidebarSelection::all());
    QSignalSpy done(&model, &AppModel::topicsRegrouped);
    QSignalSpy stage(&model, &AppModel::sleepStageChanged);

    model.regroupTopics();
    QVERIFY(done.wait(30000));
    const LibraryData &data = f->library().data();
    QVERIFY(!data.topics.isEmpty());
    for (const SavedTab &tab : data.tabs)
        QVERIFY(tab.topicId.has_value());
    QCOMPARE(model.selection(), SidebarSelection::topic(data.topics.first().id));
    QCOMPARE(stage.count(), 0);
    QCOMPARE(model.notice(), std::nullopt);
}

void TestAppModelLibrary::loadDemoData()
{
    LibraryData mine = subjects();
    mine.context.folderPaths = {f->path(QStringLiteral("projekte"))};
    mine.context.hintHour = 7;
    mine.context.hintsPerDay = 5;
    f->library().replace(mine);
    const QString file = f->library().store().filePath();
    const QByteArray own = TestSupport::readFile(file);
    AppModel &model = f->model();
    QVERIFY(model.demoReplacesOwnTabs());
    QSignalSpy loaded(&model, &AppModel::demoDataLoaded);

    model.loadDemoData();
    QVERIFY(loaded.wait(60000));
    const LibraryData &data = f->library().data();
    QCOMPARE(model.notice(), std::optional(QStringLiteral("Beispiel-Daten geladen: 52 Tabs in 3 Fenstern.")));
    QCOMPARE(data.tabs.size(), 52);
    QVERIFY(!data.tab(mine.tabs.first().id)); // the user's tabs are replaced
    QCOMPARE(data.context.folderPaths, mine.context.folderPaths);
    QCOMPARE(data.context.hintHour, 7);
    QCOMPARE(data.context.hintsPerDay, 5);
    QCOMPARE(data.context.freeText, DemoData::contextFreeText()); // the user had none
    QVERIFY(data.hints.size() <= 2);
    QVERIFY(!data.topics.isEmpty());
    QCOMPARE(model.selection(), SidebarSelection::topic(data.topics.first().id));
    QVERIFY(model.demoMode());
    f->settings().sync();
    QCOMPARE(f->settings().value(QStringLiteral("demoMode")).toBool(), true);
    QVERIFY(model.ownLibraryKept());
    QVERIFY(!model.demoReplacesOwnTabs());
    const QList<LibraryBackup> copies = LibraryBackups(file, f->clock()).list();
    QVERIFY(std::any_of(copies.cbegin(), copies.cend(),
                        [&](const LibraryBackup &copy) { return TestSupport::readFile(copy.path) == own; }));

    // Loading the demo again keeps the user's library, not the demo one.
    model.loadDemoData();
    QVERIFY(loaded.wait(60000));
    model.setDemoMode(false);
    QCOMPARE(TestSupport::readFile(file), own);
    QCOMPARE(f->library().data().tabs, mine.tabs);
    QVERIFY(!model.ownLibraryKept());
    QVERIFY(!model.demoMode());
}

void TestAppModelLibrary::clearLibraryKeepsTheContext()
{
    LibraryData data = subjects();
    data.context.folderPaths = {QStringLiteral("/home/a/projekt")};
    data.context.freeText = QStringLiteral("Fotografie");
    data.context.hintHour = 8;
    data.topics = {{QUuid::createUuid(), QStringLiteral("T"), QStringLiteral("blue"), {data.tabs.first().id}, false}};
    data.lastHintDay = QStringLiteral("2026-11-15");
    f->library().replace(data);
    AppModel &model = f->model();
    QCOMPARE(model.selection().kind, SidebarSelection::Kind::topic);

    const QByteArray before = TestSupport::readFile(f->library().store().filePath());
    model.clearLibrary();
    const QList<LibraryBackup> copies = LibraryBackups(f->library().store().filePath(), f->clock()).list();
    QVERIFY(std::any_of(copies.cbegin(), copies.cend(),
                        [&](const LibraryBackup &copy) { return TestSupport::readFile(copy.path) == before; }));
    const LibraryData &after = f->library().data();
    QVERIFY(after.tabs.isEmpty());
    QVERIFY(after.topics.isEmpty());
    QCOMPARE(after.context, data.context);
    QCOMPARE(after.lastHintDay, std::nullopt);
    QCOMPARE(model.selection(), SidebarSelection::all());
    QCOMPARE(model.tabCount(), 0);
}

void TestAppModelLibrary::contextOperations()
{
    AppModel &model = f->model();
    QSignalSpy changes(&model, &AppModel::libraryChanged);
    model.addContextFolder(QStringLiteral("/a"));
    model.addContextFolder(QStringLiteral("/b"));
    model.addContextFolder(QStringLiteral("/a"));
    QCOMPARE(f->library().data().context.folderPaths, (QStringList{QStringLiteral("/a"), QStringLiteral("/b")}));
    model.removeContextFolder(QStringLiteral("/a"));
    QCOMPARE(f->library().data().context.folderPaths, QStringList{QStringLiteral("/b")});
    model.updateContext([](UserContext &context) {
        context.freeText = QStringLiteral("Velo");
        context.hintsPerDay = 3;
    });
    QCOMPARE(f->library().data().context.freeText, QStringLiteral("Velo"));
    QCOMPARE(f->library().data().context.hintsPerDay, 3);
    // One write of the file per call, even when nothing changed.
    QCOMPARE(changes.count(), 5);
    QCOMPARE(f->library().store().load().context, f->library().data().context);
}

void TestAppModelLibrary::launchAtLogin()
{
    AppModel &model = f->model();
    const LaunchAtLogin login(f->autostartFolder());
    QVERIFY(!model.launchAtLogin());
    QSignalSpy changed(&model, &AppModel::launchAtLoginChanged);

    model.setLaunchAtLogin(true);
    QVERIFY(model.launchAtLogin());
    QVERIFY(QFile::exists(f->autostartFolder() + QStringLiteral("/pellmora.desktop")));
    QFile entry(login.entryPath());
    QVERIFY(entry.open(QIODevice::ReadOnly));
    const QByteArray text = entry.readAll();
    QVERIFY(text.startsWith("[Desktop Entry]\n"));
    QVERIFY(text.contains("\nExec="));
    QVERIFY(text.contains("\nType=Application\n"));

    // A model started later reads the state from the entry.
    f->resetModel();
    QVERIFY(f->model().launchAtLogin());
    f->model().setLaunchAtLogin(false);
    QVERIFY(!f->model().launchAtLogin());
    QVERIFY(!QFile::exists(login.entryPath()));
    QCOMPARE(f->model().notice(), std::nullopt);
    QCOMPARE(changed.count(), 1);
}

void TestAppModelLibrary::launchAtLoginFailure()
{
    // A file where the folder should be: the entry cannot be written.
    QFile blocker(f->autostartFolder());
    QVERIFY(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    AppModel &model = f->model();
    QSignalSpy changed(&model, &AppModel::launchAtLoginChanged);
    model.setLaunchAtLogin(true);
    QVERIFY(!model.launchAtLogin());
    QVERIFY(model.notice().has_value());
    QVERIFY(model.notice()->startsWith(QStringLiteral("Beim Anmelden starten: ")));
    QVERIFY(model.notice()->size() > QStringLiteral("Beim Anmelden starten: ").size());
    // The switch is told to show the real state again.
    QCOMPARE(changed.count(), 1);
}

void TestAppModelLibrary::sidebarRows()
{
    LibraryData data = subjects();
    data.tabs[0].note = QStringLiteral("Notiz");
    data.tabs[1].reminderAt = at(20, 9);
    const QUuid a = data.tabs[0].id;
    const QUuid b = data.tabs[1].id;
    const QUuid c = data.tabs[2].id;
    data.windows = {{QUuid::createUuid(), at(10, 9), QStringLiteral("Fenster 1 · 10.11. 09:00"), {a}},
                    {QUuid::createUuid(), at(12, 9), QStringLiteral("Fenster 3 · 12.11. 09:00"), {c}},
                    {QUuid::createUuid(), at(12, 9), QStringLiteral("Fenster 2 · 12.11. 09:00"), {b}}};
    data.topics = {{QUuid::createUuid(), QStringLiteral("Fotografie"), QStringLiteral("blue"), {a}, false},
                   {QUuid::createUuid(), QStringLiteral("Alltag"), QStringLiteral("green"), {b, c}, false}};
    data.topicsByAI = true;
    data.hints = {{QUuid::createUuid(), a, QStringLiteral("passt"), at(12, 10), false}};
    f->library().replace(data);
    AppModel &model = f->model();
    SidebarModel *sidebar = model.sidebarModel();
    QAbstractItemModelTester tester(sidebar, QAbstractItemModelTester::FailureReportingMode::QtTest);

    QStringList rows;
    for (int i = 0; i < sidebar->rowCount(); ++i) {
        const QModelIndex index = sidebar->index(i);
        rows << index.data(SidebarModel::SectionRole).toString() + QStringLiteral(" | ")
                    + index.data(SidebarModel::LabelRole).toString() + QStringLiteral(" | ")
                    + index.data(SidebarModel::CountRole).toString();
    }
    QCOMPARE(rows, (QStringList{
                       QStringLiteral("Nach Thema (KI) | Fotografie | 1"),
                       QStringLiteral("Nach Thema (KI) | Alltag | 2"),
                       QStringLiteral("Nach Fenster (wie es war) | Fenster 2 · 12.11. 09:00 | 1"),
                       QStringLiteral("Nach Fenster (wie es war) | Fenster 3 · 12.11. 09:00 | 1"),
                       QStringLiteral("Nach Fenster (wie es war) | Fenster 1 · 10.11. 09:00 | 1"),
                       QStringLiteral("Für später | Erinnerungen | 1"),
                       QStringLiteral("Für später | Mit Notiz | 1"),
                       QStringLiteral("Für später | Hinweise zu Projekten | 1"),
                       QStringLiteral("Für später | Alle Tabs | 3"),
                   }));
    QCOMPARE(sidebar->index(0).data(SidebarModel::KeyRole).toString(),
             QStringLiteral("topic:") + idText(data.topics.first().id));

    // A count change keeps the rows; a removed topic reshapes the list.
    QSignalSpy dataChanged(sidebar, &QAbstractItemModel::dataChanged);
    QSignalSpy reset(sidebar, &QAbstractItemModel::modelReset);
    model.dismissHint(data.tabs[0]);
    QCOMPARE(dataChanged.count(), 1);
    QCOMPARE(reset.count(), 0);
    QCOMPARE(sidebar->index(7).data(SidebarModel::CountRole).toInt(), 0);
    model.deleteTab(data.tabs[0]);
    QCOMPARE(reset.count(), 1);
    QCOMPARE(sidebar->rowCount(), 1 + 2 + 4);

    // Selecting a row by its key.
    model.setSelectionKey(sidebar->index(0).data(SidebarModel::KeyRole).toString());
    QCOMPARE(model.selection(), SidebarSelection::topic(data.topics.at(1).id));
    model.setSelectionKey(QStringLiteral("topic:kaputt"));
    QCOMPARE(model.selection(), SidebarSelection::topic(data.topics.at(1).id));
}

PELLMORA_TEST_GUILESS_MAIN(TestAppModelLibrary)
#include "TestAppModelLibrary.moc"
