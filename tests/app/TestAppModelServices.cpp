// The app model with its outside services switched on: notifications for
// reminders and hints on a private session bus, and the language model
// served by a local fake server.
#include "AppModelFixture.h"

#include "LocalHttpServer.h"
#include "ModelClient.h"
#include "NotificationService.h"
#include "Reminders.h"
#include "Embedder.h"
#include "Library.h"
#include "LibraryStore.h"
#include "SafariError.h"
#include "PrivateBus.h"
#include "PlatformWords.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QFileInfo>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QSignalSpy>
#include <QTest>

#include <memory>
#include "TestRegistry.h"

namespace {

QDateTime at(int day, int hour, int minute = 0)
{
    return QDateTime(QDate(2026, 11, day), QTime(hour, minute));
}

// Keeps what it is handed, as the desktop's service would.
class RecordingNotifications final : public NotificationService
{
public:
    Authorisation authorisation() override { return Authorisation::Authorised; }
    bool requestAuthorisation() override { return true; }
    void add(const NotificationRequest &request) override
    {
        added.append(request);
        if (request.fireAt)
            pending.insert(request.identifier, request);
    }
    void removePending(const QStringList &identifiers) override
    {
        for (const QString &id : identifiers)
            pending.remove(id);
    }
    QStringList pendingIdentifiers() const override { return pending.keys(); }

    QList<NotificationRequest> added;
    QMap<QString, NotificationRequest> pending;
};

QString reminderId(const SavedTab &tab)
{
    return QStringLiteral("reminder-") + Reminders::uuidText(tab.id);
}

LocalHttpServer::Response ollamaChat(const QJsonObject &record)
{
    const QJsonObject answer{
        {"model", "gemma"},
        {"message", QJsonObject{{"role", "assistant"},
                                {"content", QString::fromUtf8(QJsonDocument(record).toJson(QJsonDocument::Compact))}}},
        {"done", true}};
    return LocalHttpServer::page(QJsonDocument(answer).toJson(QJsonDocument::Compact), "application/json");
}

LibraryData twoTabs()
{
    LibraryData data;
    SavedTab camera = AppModelFixture::tab(QStringLiteral("Kamera Objektiv Vergleich"), at(12, 9), 1);
    camera.summary = QStringLiteral("Welche Kamera und welches Objektiv sich für die Fotografie auf Reisen eignen.");
    SavedTab bag = AppModelFixture::tab(QStringLiteral("Kamerataschen im Test"), at(12, 9), 2);
    bag.summary = QStringLiteral("Taschen für Kamera und Objektiv auf Reisen.");
    data.tabs = {camera, bag};
    return data;
}

} // namespace

class TestAppModelServices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void saveSchedulesAndMovesTheReminder();
    void deleteCancelsTheReminder();
    void setReminderSchedulesEveryTab();
    void missedRemindersArePostedOnce();
    void hintsAreAnnouncedOnlyWhenAsked_data();
    void hintsAreAnnouncedOnlyWhenAsked();
    void outcomeIsAnnouncedWhenThePopoverIsClosed_data();
    void outcomeIsAnnouncedWhenThePopoverIsClosed();

    void askUsesTheModel();
    void productionWiring();

private:
    PrivateBus m_bus;
    std::unique_ptr<RecordingNotifications> m_notifications;
    std::unique_ptr<AppModelFixture> f;
    std::unique_ptr<LocalHttpServer> m_server;
};

void TestAppModelServices::initTestCase()
{
    // Reminders are only handed on with a session bus: a private one.
    QVERIFY(m_bus.start());
    qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
    qunsetenv("PELLMORA_NO_NOTIFICATIONS");
    qunsetenv("PELLMORA_NO_AI");
}

void TestAppModelServices::init()
{
    Reminders::setEnabled(true);
    QVERIFY(Reminders::isUsable());
    ModelClient::forgetApis();
    m_notifications = std::make_unique<RecordingNotifications>();
    f = std::make_unique<AppModelFixture>();
    f->useNotifications(m_notifications.get());
}

void TestAppModelServices::cleanup()
{
    f.reset();
    m_notifications.reset();
    m_server.reset();
    Reminders::setEnabled(false);
    qunsetenv("PELLMORA_MODEL");
    qunsetenv("PELLMORA_MODEL_URL");
}

void TestAppModelServices::missedRemindersArePostedOnce()
{
    LibraryData data = twoTabs();
    f->clock().set(at(16, 8));
    data.tabs[0].reminderAt = at(16, 9);
    data.tabs[1].reminderAt = at(16, 12);
    f->library().replace(data);
    // The first start has no last run: nothing counts as missed, and the
    // notice offers starting at login.
    f->model().postMissedReminders();
    QVERIFY(m_notifications->added.isEmpty());
    QVERIFY(f->model().notice());

    // Closed at 08:00, started again at 10:00: the 09:00 reminder comes at once.
    f->resetModel();
    f->clock().set(at(16, 10));
    f->model().postMissedReminders();
    QCOMPARE(m_notifications->added.size(), 1);
    QCOMPARE(m_notifications->added.first().identifier, reminderId(data.tabs[0]));
    QVERIFY(!m_notifications->added.first().fireAt);

    // Another restart repeats nothing.
    f->resetModel();
    f->model().postMissedReminders();
    QCOMPARE(m_notifications->added.size(), 1);
}

void TestAppModelServices::saveSchedulesAndMovesTheReminder()
{
    f->library().replace(twoTabs());
    AppModel &model = f->model();
    SavedTab tab = f->library().data().tabs.first();

    tab.reminderAt = at(20, 9);
    model.save(tab);
    QCOMPARE(m_notifications->pending.keys(), QStringList{reminderId(tab)});
    QCOMPARE(m_notifications->pending.value(reminderId(tab)).fireAt, std::optional(at(20, 9)));

    tab.reminderAt = at(22, 18);
    model.save(tab);
    QCOMPARE(m_notifications->pending.size(), 1);
    QCOMPARE(m_notifications->pending.value(reminderId(tab)).fireAt, std::optional(at(22, 18)));

    tab.reminderAt.reset();
    model.save(tab);
    QVERIFY(m_notifications->pending.isEmpty());
}

void TestAppModelServices::deleteCancelsTheReminder()
{
    LibraryData data = twoTabs();
    data.tabs[0].reminderAt = at(20, 9);
    f->library().replace(data);
    AppModel &model = f->model();
    model.save(data.tabs[0]);
    QCOMPARE(m_notifications->pending.size(), 1);
    model.deleteTabById(idText(data.tabs[0].id));
    QVERIFY(m_notifications->pending.isEmpty());
    QCOMPARE(f->library().data().tabs.size(), 1);
}

void TestAppModelServices::setReminderSchedulesEveryTab()
{
    f->library().replace(twoTabs());
    AppModel &model = f->model();
    const QList<SavedTab> tabs = f->library().data().tabs;
    const QDateTime later = Reminders::laterDate(f->clock().now());
    model.setReminder({tabs.at(1), tabs.at(0)}, later);
    QCOMPARE(m_notifications->added.size(), 2);
    // In library order, whatever order they were given in.
    QCOMPARE(m_notifications->added.at(0).identifier, reminderId(tabs.at(0)));
    QCOMPARE(m_notifications->added.at(1).identifier, reminderId(tabs.at(1)));
    QCOMPARE(m_notifications->added.at(0).fireAt, std::optional(later));
}

void TestAppModelServices::hintsAreAnnouncedOnlyWhenAsked_data()
{
    QTest::addColumn<bool>("notify");
    QTest::newRow("from the menu") << false;
    QTest::newRow("with notifications") << true;
}

void TestAppModelServices::hintsAreAnnouncedOnlyWhenAsked()
{
    QFETCH(bool, notify);
    LibraryData data = twoTabs();
    data.context.freeText = QStringLiteral("Fotografie: Kamera und Objektiv für die Reise");
    data.context.hintsPerDay = 2;
    f->library().replace(data);
    AppModel &model = f->model();
    const int count = model.generateHints(notify);
    QVERIFY(count > 0);
    QCOMPARE(m_notifications->added.size(), notify ? count : 0);
    for (const NotificationRequest &request : std::as_const(m_notifications->added)) {
        QCOMPARE(request.category, QStringLiteral("PELLMORA_HINT"));
        QCOMPARE(request.fireAt, std::nullopt);
    }
    // The daily check always announces, but not twice a day.
    m_notifications->added.clear();
    model.dailyHintCheck();
    QVERIFY(m_notifications->added.isEmpty());
}

void TestAppModelServices::outcomeIsAnnouncedWhenThePopoverIsClosed_data()
{
    QTest::addColumn<bool>("popoverOpen");
    QTest::addColumn<bool>("tabsOpen");
    QTest::newRow("popover open") << true << true;
    QTest::newRow("popover closed") << false << true;
    QTest::newRow("popover closed, run failed") << false << false;
}

void TestAppModelServices::outcomeIsAnnouncedWhenThePopoverIsClosed()
{
    QFETCH(bool, popoverOpen);
    QFETCH(bool, tabsOpen);
    f->settings().setValue(QStringLiteral("safariConnected"), true);
    f->bridge().setWindows({AppModelFixture::window(
        1, tabsOpen ? QStringList{QStringLiteral("https://a.ch/1")} : QStringList{})});
    AppModel &model = f->model();
    SleepOptions options = model.options();
    options.saveContent = false;
    model.setOptions(options);
    model.setPopoverOpen(popoverOpen);
    QSignalSpy ended(&model, &AppModel::sleepRunEnded);
    model.sleepAllTabs();
    QVERIFY(ended.wait(30000));
    const SleepStage &stage = model.sleepStage();
    QCOMPARE(stage.kind, tabsOpen ? SleepStage::Kind::done : SleepStage::Kind::failed);
    QCOMPARE(m_notifications->added.size(), popoverOpen ? 0 : 1);
    if (!popoverOpen) {
        const QString body = m_notifications->added.first().body;
        QVERIFY(body.contains(tabsOpen ? stage.stats.sentence() : stage.message));
    }
}

void TestAppModelServices::askUsesTheModel()
{
    m_server = std::make_unique<LocalHttpServer>();
    QVERIFY(m_server->isListening());
    m_server->route("/api/tags", LocalHttpServer::page(R"({"models":[{"name":"gemma"}]})", "application/json"));
    m_server->route("/api/chat",
                    ollamaChat({{"intro", "Zwei Tabs passen zu deiner Reise."},
                                {"picks", QJsonArray{QJsonObject{{"number", 2}, {"reason", "Die Tasche schützt."}},
                                                     QJsonObject{{"number", 9}, {"reason", "gibt es nicht"}}}}}));
    qputenv("PELLMORA_MODEL_URL", m_server->address(QStringLiteral("/")).toUtf8());
    qputenv("PELLMORA_MODEL", "gemma");
    f->useSystemAIStatus();
    f->library().replace(twoTabs());
    AppModel &model = f->model();
    QVERIFY(model.aiAvailable());

    model.ask(QStringLiteral("Kamera Objektiv"));
    QVERIFY(model.chatBusy());
    QTRY_VERIFY_WITH_TIMEOUT(!model.chatBusy(), 30000);
    QCOMPARE(model.chat().size(), 2);
    const ChatMessage &answer = model.chat().at(1);
    QVERIFY(answer.byAI);
    QCOMPARE(answer.text, QStringLiteral("Zwei Tabs passen zu deiner Reise."));
    QCOMPARE(answer.cards.size(), 1);
    QCOMPARE(answer.cards.first().reason, QStringLiteral("Die Tasche schützt."));
    QCOMPARE(m_server->requestCount("/api/chat"), 1);
}

void TestAppModelServices::productionWiring()
{
    // The browser socket goes into a folder of the test's own.
    QTemporaryDir runtime;
    QVERIFY(runtime.isValid());
    qputenv("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    qputenv("PELLMORA_NO_AI", "1");
    Library library(LibraryStore(runtime.filePath(QStringLiteral("library.json"))));
    std::unique_ptr<AppModel> model = AppModel::createDefault(&library, std::make_shared<Embedder>(false));
    qunsetenv("PELLMORA_NO_AI");
    QVERIFY(model->notifications());
    QVERIFY(QFileInfo(runtime.filePath(QStringLiteral("pellmora/browser.sock"))).exists());

    // No browser has connected: the connect button shows how to install the extension.
    QVERIFY(!model->bridge().isSafariRunning());
    model->connectSafari();
    QCOMPARE(model->safariMessage(), std::optional(PlatformWords::connectSteps(AppModel::extensionFolder())));
    model->setDemoMode(true);
    QSignalSpy ended(model.get(), &AppModel::sleepRunEnded);
    model->sleepAllTabs();
    QVERIFY(ended.wait(60000));
    QCOMPARE(model->sleepStage().kind, SleepStage::Kind::done);
    QCOMPARE(library.data().tabs.size(), 52);
    model->setDemoMode(false);
}

PELLMORA_TEST_GUILESS_MAIN(TestAppModelServices)
#include "TestAppModelServices.moc"
