#include <QDBusConnection>
#include <QSignalSpy>
#include <QtTest>

#include "FakeClock.h"
#include "FreedesktopNotifications.h"
#include "LibraryBuilder.h"
#include "NotificationRecorder.h"
#include "PrivateBus.h"
#include "Reminders.h"
#include "TestRegistry.h"

using Auth = NotificationService::Authorisation;

// The desktop's notification service on the private bus: records what it
// is asked to show and answers with its own ids.
class FakeNotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Call
    {
        QString appName;
        uint replacesId = 0;
        QString summary;
        QStringList actions;
        QVariantMap hints;
        uint id = 0;
    };
    QList<Call> calls;

    explicit FakeNotificationServer(QDBusConnection bus) : m_bus(std::move(bus))
    {
        QVERIFY(m_bus.registerObject("/org/freedesktop/Notifications", this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals));
        QVERIFY(m_bus.registerService("org.freedesktop.Notifications"));
    }
    ~FakeNotificationServer() override
    {
        m_bus.unregisterService("org.freedesktop.Notifications");
        m_bus.unregisterObject("/org/freedesktop/Notifications");
    }

public slots:
    uint Notify(const QString &appName, uint replacesId, const QString &, const QString &summary, const QString &,
                const QStringList &actions, const QVariantMap &hints, int)
    {
        calls.append(Call{appName, replacesId, summary, actions, hints, replacesId ? replacesId : ++m_lastId});
        return calls.last().id;
    }

signals:
    void ActionInvoked(uint id, const QString &actionKey);
    void NotificationClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
    uint m_lastId = 0;
};

namespace {

NotificationRequest request(const QString &id, std::optional<QDateTime> at, QMap<QString, QString> info = {})
{
    return NotificationRequest{id, id, "Text", Reminders::categoryHint, std::move(info), true, std::move(at)};
}

SavedTab tabWith(std::optional<QDateTime> reminder)
{
    SavedTab tab = LibraryBuilder().tab("Hotels").build().tabs.first();
    tab.reminderAt = std::move(reminder);
    return tab;
}

} // namespace

// Reminders and hints as notifications, and their way over the desktop's
// notification service on a private session bus.
class TestNotifications : public QObject
{
    Q_OBJECT
    PrivateBus m_bus;
    int m_connections = 0;
    FakeClock m_clock;

    // A fresh connection per use, so registrations never leak between tests.
    QDBusConnection connect()
    {
        return QDBusConnection::connectToBus(m_bus.address(), QString::number(++m_connections));
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_bus.start());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8()); // for Reminders::isUsable()
    }
    void init()
    {
        qunsetenv("PELLMORA_NO_NOTIFICATIONS");
        Reminders::setEnabled(true);
        m_clock.set(QDateTime(QDate(2026, 11, 16), QTime(20, 31)));
    }
    void cleanup() { Reminders::setEnabled(false); }

    void schedule_data()
    {
        QTest::addColumn<QList<qint64>>("offsets"); // seconds from now, one call each; -1: no reminder
        QTest::addColumn<qint64>("fireOffset");     // -1: nothing pending
        QTest::newRow("future, to the minute") << QList<qint64>{3645} << qint64(3600);
        QTest::newRow("past removes") << QList<qint64>{3600, -60} << qint64(-1);
        QTest::newRow("now is not later") << QList<qint64>{3600, 0} << qint64(-1);
        QTest::newRow("none removes") << QList<qint64>{3600, -1} << qint64(-1);
        QTest::newRow("second date wins") << QList<qint64>{3600, 7200} << qint64(7200);
    }

    void schedule()
    {
        QFETCH(QList<qint64>, offsets);
        QFETCH(qint64, fireOffset);
        NotificationRecorder service;
        for (qint64 offset : offsets)
            Reminders::schedule(service, tabWith(offset == -1 ? std::nullopt : std::optional(m_clock.now().addSecs(offset))), m_clock);
        QCOMPARE(service.pending.size(), fireOffset == -1 ? 0 : 1);
        if (fireOffset != -1) {
            QCOMPARE(service.pending.first().fireAt, m_clock.now().addSecs(fireOffset));
            QCOMPARE(service.pending.first().userInfo.value("tabId"), Reminders::uuidText(LibraryBuilder::tabId(1)));
        }
    }

    void missedSince_data()
    {
        QTest::addColumn<int>("minutes"); // reminder after the last run ended at 08:00; now is 10:00
        QTest::addColumn<bool>("missed");
        QTest::newRow("before the last run") << -30 << false;
        QTest::newRow("at the end of the last run") << 0 << false;
        QTest::newRow("while closed") << 60 << true;
        QTest::newRow("due right now") << 120 << true;
        QTest::newRow("still to come") << 121 << false;
    }

    void missedSince()
    {
        QFETCH(int, minutes);
        QFETCH(bool, missed);
        const QDateTime since(QDate(2026, 11, 16), QTime(8, 0));
        const QList<SavedTab> tabs{tabWith(since.addSecs(minutes * 60)), tabWith(std::nullopt)};
        QCOMPARE(Reminders::missedSince(tabs, since, since.addSecs(7200)).size(), missed ? 1 : 0);
    }

    void rescheduleAll_data()
    {
        QTest::addColumn<Auth>("state");
        QTest::addColumn<bool>("scheduled");
        QTest::newRow("authorised") << Auth::Authorised << true;
        QTest::newRow("provisional") << Auth::Provisional << true;
        QTest::newRow("not determined never asks") << Auth::NotDetermined << false;
        QTest::newRow("denied") << Auth::Denied << false;
    }

    void rescheduleAll()
    {
        QFETCH(Auth, state);
        QFETCH(bool, scheduled);
        NotificationRecorder service;
        service.state = state;
        for (const QString id : {"reminder-OLD", "hint-KEEP"})
            service.pending.insert(id, request(id, m_clock.now().addDays(1)));
        SavedTab past = tabWith(m_clock.now().addSecs(-10));
        past.id = LibraryBuilder::id(2);
        Reminders::rescheduleAll(service, {past, tabWith(m_clock.now().addDays(2))}, m_clock);
        QCOMPARE(service.asked, 0);
        QStringList expected{"hint-KEEP"};
        if (scheduled)
            expected << "reminder-" + Reminders::uuidText(LibraryBuilder::tabId(1));
        QCOMPARE(service.pending.keys(), expected);
    }

    void postHintPermission_data()
    {
        QTest::addColumn<Auth>("state");
        QTest::addColumn<bool>("grant");
        QTest::addColumn<int>("asked");
        QTest::addColumn<int>("added");
        QTest::newRow("ephemeral") << Auth::Ephemeral << false << 0 << 1;
        QTest::newRow("asks, granted") << Auth::NotDetermined << true << 1 << 1;
        QTest::newRow("asks, refused") << Auth::NotDetermined << false << 1 << 0;
        QTest::newRow("denied is not asked") << Auth::Denied << true << 0 << 0;
    }

    void postHintPermission()
    {
        QFETCH(Auth, state);
        QFETCH(bool, grant);
        QFETCH(int, asked);
        QFETCH(int, added);
        NotificationRecorder service;
        service.state = state;
        service.grant = grant;
        Reminders::postHint(service, Hint{LibraryBuilder::id(9), LibraryBuilder::tabId(1), "x", {}, false}, tabWith(std::nullopt));
        QCOMPARE(service.asked, asked);
        QCOMPARE(service.added.size(), added);
    }

    void unusableDoesNothing()
    {
        qputenv("PELLMORA_NO_NOTIFICATIONS", "");
        QVERIFY(!Reminders::isUsable());
        NotificationRecorder service;
        const SavedTab tab = tabWith(m_clock.now().addDays(1));
        const QString id = "reminder-" + Reminders::uuidText(tab.id);
        service.pending.insert(id, request(id, m_clock.now().addDays(1)));
        Reminders::schedule(service, tab, m_clock);
        Reminders::rescheduleAll(service, {}, m_clock);
        Reminders::postHint(service, Hint{}, tab);
        Reminders::cancel(service, tab.id);
        QVERIFY(!Reminders::ensurePermission(service));
        QVERIFY(service.added.isEmpty());
        QCOMPARE(service.pending.size(), 1);
        qunsetenv("PELLMORA_NO_NOTIFICATIONS");
        Reminders::setEnabled(false); // never switched on, as in the terminal companion
        Reminders::cancel(service, tab.id);
        QCOMPARE(service.pending.size(), 1);
        Reminders::setEnabled(true);
        Reminders::cancel(service, tab.id);
        QCOMPARE(service.pending.size(), 0);
    }

    void laterDate_data()
    {
        QTest::addColumn<QDateTime>("now");
        QTest::addColumn<QDateTime>("expected");
        QTest::newRow("late evening") << QDateTime(QDate(2026, 11, 16), QTime(23, 50)) << QDateTime(QDate(2026, 11, 17), QTime(9, 0));
        QTest::newRow("after midnight") << QDateTime(QDate(2026, 11, 17), QTime(0, 10)) << QDateTime(QDate(2026, 11, 18), QTime(9, 0));
        QTest::newRow("into summer time") << QDateTime(QDate(2026, 3, 28), QTime(12, 0)) << QDateTime(QDate(2026, 3, 29), QTime(9, 0));
    }

    void laterDate()
    {
        QFETCH(QDateTime, now);
        QFETCH(QDateTime, expected);
        QCOMPARE(Reminders::laterDate(now), expected);
    }

    void notifyOverTheBus()
    {
        FreedesktopNotifications client(connect(), m_clock);
        QCOMPARE(client.authorisation(), Auth::Denied); // no service on the bus yet
        FakeNotificationServer server(connect());
        QCOMPARE(client.authorisation(), Auth::Authorised);
        NotificationRequest quiet = request("hint-1", std::nullopt);
        quiet.sound = false;
        client.add(quiet);
        QTRY_COMPARE(server.calls.size(), 1);
        QCOMPARE(server.calls[0].appName, "Pellmora");
        QStringList keys;
        for (qsizetype i = 0; i < server.calls[0].actions.size(); i += 2)
            keys << server.calls[0].actions[i];
        QCOMPARE(keys, (QStringList{Reminders::actionOpen, Reminders::actionLater, Reminders::actionDismiss, Reminders::actionDefault}));
        QVERIFY(server.calls[0].hints.value("suppress-sound").toBool());
        QVERIFY(client.pendingIdentifiers().isEmpty());
    }

    void dueCheck_data()
    {
        QTest::addColumn<QList<qint64>>("fireOffsets"); // seconds after now, one request each
        QTest::addColumn<qint64>("advance");
        QTest::addColumn<QStringList>("shown");
        QTest::addColumn<QStringList>("stillPending");
        QTest::newRow("not yet") << QList<qint64>{120} << qint64(119) << QStringList{} << QStringList{"r0"};
        QTest::newRow("at its minute") << QList<qint64>{120} << qint64(120) << QStringList{"r0"} << QStringList{};
        QTest::newRow("only the due ones, oldest first") << QList<qint64>{600, 180, 60} << qint64(200)
                                                         << QStringList{"r2", "r1"} << QStringList{"r0"};
        QTest::newRow("past date shown at once") << QList<qint64>{-60} << qint64(0) << QStringList{"r0"} << QStringList{};
        // After sleep the wall clock is far ahead: the next check shows it.
        QTest::newRow("clock jumped") << QList<qint64>{86400} << qint64(2 * 86400) << QStringList{"r0"} << QStringList{};
    }

    void dueCheck()
    {
        QFETCH(QList<qint64>, fireOffsets);
        QFETCH(qint64, advance);
        QFETCH(QStringList, shown);
        QFETCH(QStringList, stillPending);
        FakeNotificationServer server(connect());
        FreedesktopNotifications client(connect(), m_clock);
        for (int i = 0; i < fireOffsets.size(); ++i)
            client.add(request("r" + QString::number(i), m_clock.now().addSecs(fireOffsets[i])));
        QVERIFY(client.nextCheckInMs() <= FreedesktopNotifications::checkIntervalMs);
        m_clock.advance(advance);
        if (advance > 0 && !shown.isEmpty())
            QCOMPARE(client.nextCheckInMs(), 0); // due now, not after the old delay
        client.runDueCheck();
        QTRY_COMPARE(server.calls.size(), shown.size());
        QStringList got;
        for (const FakeNotificationServer::Call &call : std::as_const(server.calls))
            got << call.summary;
        QCOMPARE(got, shown);
        QCOMPARE(client.pendingIdentifiers(), stillPending);
    }

    void replaceAndRemovePending()
    {
        FreedesktopNotifications client(connect(), m_clock);
        client.add(request("reminder-A", m_clock.now().addSecs(3600)));
        client.add(request("reminder-A", m_clock.now().addSecs(7200)));
        client.add(request("reminder-B", m_clock.now().addSecs(60)));
        client.removePending({"reminder-B", "missing"});
        QCOMPARE(client.pendingIdentifiers(), QStringList{"reminder-A"});
        m_clock.advance(3600);
        client.runDueCheck();
        QCOMPARE(client.pendingIdentifiers(), QStringList{"reminder-A"}); // replaced by the later date
        client.removePending({"reminder-A"});
        QCOMPARE(client.nextCheckInMs(), -1);
    }

    void answers_data()
    {
        QTest::addColumn<QString>("action");
        QTest::newRow("button") << Reminders::actionLater;
        QTest::newRow("click") << Reminders::actionDefault;
    }

    void answers()
    {
        QFETCH(QString, action);
        FakeNotificationServer server(connect());
        FreedesktopNotifications client(connect(), m_clock);
        QSignalSpy spy(&client, &NotificationService::answered);
        const QMap<QString, QString> info{{"tabId", "T1"}, {"hintId", "H1"}};
        client.add(request("hint-H1", std::nullopt, info));
        client.add(request("hint-H2", std::nullopt, {{"tabId", "T2"}}));
        QTRY_COMPARE(server.calls.size(), 2);
        QTest::qWait(100); // the replies with the service's ids come back
        emit server.ActionInvoked(4242, action); // not ours: ignored
        emit server.ActionInvoked(server.calls[0].id, action);
        QTRY_COMPARE(spy.size(), 1);
        QCOMPARE(spy.at(0).at(0).value<NotificationAnswer>(), (NotificationAnswer{action, info}));
        // The same identifier shown again replaces the notification on screen.
        client.add(request("hint-H1", std::nullopt, info));
        QTRY_COMPARE(server.calls.size(), 3);
        QCOMPARE(server.calls[2].replacesId, server.calls[0].id);
        // Once closed, late answers for it are ignored.
        emit server.NotificationClosed(server.calls[0].id, 2);
        emit server.ActionInvoked(server.calls[0].id, action);
        QTest::qWait(100);
        QCOMPARE(spy.size(), 1);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestNotifications)
#include "TestNotifications.moc"
