#include <QSignalSpy>
#include <QTest>

#include "AppModelFixture.h"
#include "NotificationAnswers.h"
#include "Reminders.h"
#include "TestSupport.h"
#include "TestRegistry.h"

using Outcome = NotificationAnswers::Outcome;

// The answers to a notification as the application receives them: each
// action's effect on the library, "later" at any hour, and answers that
// point at nothing.
class TestNotificationAnswers : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void laterIsTomorrowAtNine_data();
    void laterIsTomorrowAtNine();
    void actions_data();
    void actions();
    void answersForNoTabAreIgnored_data();
    void answersForNoTabAreIgnored();

private:
    NotificationAnswer answerFor(const QString &action, const QString &tabId) const;

    std::unique_ptr<AppModelFixture> m_fixture;
    SavedTab m_tab;
    Hint m_hint;
};

void TestNotificationAnswers::init()
{
    m_fixture = std::make_unique<AppModelFixture>();
    m_tab = AppModelFixture::tab(QStringLiteral("Sintra Tagesausflug"),
                                 QDateTime(QDate(2026, 11, 10), QTime(18, 0)), 0);
    m_hint = Hint{};
    m_hint.id = QUuid::createUuid();
    m_hint.tabId = m_tab.id;
    m_hint.createdAt = QDateTime(QDate(2026, 11, 12), QTime(9, 0));
    m_fixture->library().mutate([this](LibraryData &data) {
        data.tabs.append(m_tab);
        data.hints.append(m_hint);
    });
}

void TestNotificationAnswers::cleanup()
{
    m_fixture.reset();
}

NotificationAnswer TestNotificationAnswers::answerFor(const QString &action,
                                                      const QString &tabId) const
{
    NotificationAnswer answer;
    answer.action = action;
    answer.userInfo.insert(QStringLiteral("tabId"), tabId);
    answer.userInfo.insert(QStringLiteral("hintId"), Reminders::uuidText(m_hint.id));
    return answer;
}

void TestNotificationAnswers::laterIsTomorrowAtNine_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("expected");
    QTest::newRow("23:50") << QDateTime(QDate(2026, 11, 16), QTime(23, 50))
                           << QDateTime(QDate(2026, 11, 17), QTime(9, 0));
    // Just after midnight "tomorrow" is the next calendar day, not the same morning.
    QTest::newRow("00:10") << QDateTime(QDate(2026, 11, 17), QTime(0, 10))
                           << QDateTime(QDate(2026, 11, 18), QTime(9, 0));
    QTest::newRow("08:59, before the hour") << QDateTime(QDate(2026, 11, 17), QTime(8, 59))
                                            << QDateTime(QDate(2026, 11, 18), QTime(9, 0));
    QTest::newRow("into summer time") << QDateTime(QDate(2026, 3, 28), QTime(23, 50))
                                      << QDateTime(QDate(2026, 3, 29), QTime(9, 0));
    QTest::newRow("last day of the year") << QDateTime(QDate(2026, 12, 31), QTime(12, 0))
                                          << QDateTime(QDate(2027, 1, 1), QTime(9, 0));
}

void TestNotificationAnswers::laterIsTomorrowAtNine()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, expected);
    m_fixture->clock().set(now);
    const Outcome outcome = NotificationAnswers::apply(
        m_fixture->model(), answerFor(QStringLiteral("LATER"), Reminders::uuidText(m_tab.id)),
        m_fixture->clock());
    QCOMPARE(outcome, Outcome::Later);
    const std::optional<SavedTab> saved = m_fixture->library().data().tab(m_tab.id);
    QVERIFY(saved && saved->reminderAt);
    QCOMPARE(*saved->reminderAt, expected);
    QCOMPARE(saved->reminderAt->toLocalTime().time(), QTime(9, 0));
}

void TestNotificationAnswers::actions_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<Outcome>("outcome");
    QTest::newRow("open") << QStringLiteral("OPEN") << Outcome::Opened;
    QTest::newRow("dismiss") << QStringLiteral("DISMISS") << Outcome::Dismissed;
    QTest::newRow("click on the notification") << QStringLiteral("default") << Outcome::ShowDetail;
    QTest::newRow("unknown action counts as a click") << QStringLiteral("ZOOM")
                                                      << Outcome::ShowDetail;
}

void TestNotificationAnswers::actions()
{
    QFETCH(QString, action);
    QFETCH(Outcome, outcome);
    AppModel &model = m_fixture->model();
    const Outcome got = NotificationAnswers::apply(
        model, answerFor(action, Reminders::uuidText(m_tab.id)), m_fixture->clock());
    QCOMPARE(got, outcome);
    // Opening runs on a worker thread.
    QTRY_VERIFY(!model.isBusy());

    const LibraryData &data = m_fixture->library().data();
    const std::optional<SavedTab> saved = data.tab(m_tab.id);
    QVERIFY(saved);
    QCOMPARE(data.hints.first().dismissed, outcome == Outcome::Dismissed);
    QCOMPARE(saved->readAt.has_value(), outcome == Outcome::Opened);
    // One tab opens by the system's handler.
    QCOMPARE(m_fixture->bridge().openedWithWorkspace(),
             outcome == Outcome::Opened ? QList<QUrl>{QUrl(m_tab.url)} : QList<QUrl>{});
    QCOMPARE(model.detailTab().has_value(), outcome == Outcome::ShowDetail);
    if (outcome == Outcome::ShowDetail)
        QCOMPARE(model.detailTab()->id, m_tab.id);
    QVERIFY(!saved->reminderAt);
}

void TestNotificationAnswers::answersForNoTabAreIgnored_data()
{
    QTest::addColumn<QString>("action");
    QTest::addColumn<QString>("tabId");
    QTest::addColumn<bool>("deleteFirst");
    for (const QString &action : {QStringLiteral("OPEN"), QStringLiteral("LATER"),
                                  QStringLiteral("DISMISS"), QStringLiteral("default")}) {
        QTest::addRow("%s, deleted tab", qPrintable(action)) << action << QString() << true;
        QTest::addRow("%s, malformed id", qPrintable(action))
            << action << QStringLiteral("not-a-uuid") << false;
        QTest::addRow("%s, no id", qPrintable(action)) << action << QStringLiteral("") << false;
        QTest::addRow("%s, unknown id", qPrintable(action))
            << action << Reminders::uuidText(QUuid::createUuid()) << false;
    }
}

void TestNotificationAnswers::answersForNoTabAreIgnored()
{
    QFETCH(QString, action);
    QFETCH(QString, tabId);
    QFETCH(bool, deleteFirst);
    AppModel &model = m_fixture->model();
    if (deleteFirst) {
        tabId = Reminders::uuidText(m_tab.id);
        model.deleteTab(m_tab);
    }
    const QByteArray before = TestSupport::readFile(m_fixture->library().store().filePath());
    QSignalSpy changes(&m_fixture->library(), &Library::dataChanged);
    const Outcome got = NotificationAnswers::apply(model, answerFor(action, tabId),
                                                   m_fixture->clock());
    QCOMPARE(got, Outcome::Ignored);
    QCOMPARE(changes.size(), 0);
    QCOMPARE(TestSupport::readFile(m_fixture->library().store().filePath()), before);
    QVERIFY(!model.detailTab());
    QVERIFY(m_fixture->bridge().openedWithWorkspace().isEmpty());
    QVERIFY(m_fixture->bridge().reopenRequests().isEmpty());
}

PELLMORA_TEST_GUILESS_MAIN(TestNotificationAnswers)
#include "TestNotificationAnswers.moc"
