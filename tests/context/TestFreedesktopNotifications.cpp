#include "FakeClock.h"
#include "FakeNotificationServer.h"
#include "FreedesktopNotifications.h"
#include "PrivateBus.h"
#include "Reminders.h"

#include <QSignalSpy>
#include <QtTest>
#include "TestRegistry.h"

static NotificationRequest request(const QString &id, std::optional<QDateTime> at,
                                   QMap<QString, QString> info = {})
{
    return NotificationRequest{id, "Titel " + id, "Text", "PELLMORA_HINT", std::move(info), true,
                               std::move(at)};
}

class TestFreedesktopNotifications : public QObject
{
    Q_OBJECT
    PrivateBus m_bus;
    int m_connections = 0;

    // A fresh pair of connections per test, so registrations never leak.
    QDBusConnection connect(const QString &role)
    {
        return QDBusConnection::connectToBus(m_bus.address(),
                                             role + QString::number(++m_connections));
    }

private slots:
    void initTestCase() { QVERIFY(m_bus.start()); }

    void authorisation();
    void immediateNotify();
    void scheduler_data();
    void scheduler();
    void replaceAndRemove();
    void clockJumpFiresOnCheck();
    void answers_data();
    void answers();
};

void TestFreedesktopNotifications::authorisation()
{
    FakeClock clock;
    FreedesktopNotifications client(connect("client"), clock);
    QCOMPARE(client.authorisation(), NotificationService::Authorisation::Denied);
    QVERIFY(!client.requestAuthorisation());
    QDBusConnection serverBus = connect("server");
    FakeNotificationServer server;
    QVERIFY(server.attach(serverBus));
    QCOMPARE(client.authorisation(), NotificationService::Authorisation::Authorised);
    serverBus.unregisterService("org.freedesktop.Notifications");
    serverBus.unregisterObject("/org/freedesktop/Notifications");
}

void TestFreedesktopNotifications::immediateNotify()
{
    FakeClock clock;
    QDBusConnection serverBus = connect("server");
    FakeNotificationServer server;
    QVERIFY(server.attach(serverBus));
    FreedesktopNotifications client(connect("client"), clock);
    NotificationRequest r = request("hint-1", std::nullopt);
    r.sound = false;
    client.add(r);
    QTRY_COMPARE(server.calls.size(), 1);
    const auto &call = server.calls.first();
    QCOMPARE(call.appName, QString("Pellmora"));
    QCOMPARE(call.summary, QString("Titel hint-1"));
    QCOMPARE(call.body, QString("Text"));
    QCOMPARE(call.actions, (QStringList{"OPEN", "Öffnen", "LATER", "Später", "DISMISS",
                                        "Nicht relevant", "default", ""}));
    QCOMPARE(call.hints.value("suppress-sound").toBool(), true);
    QVERIFY(client.pendingIdentifiers().isEmpty());
    serverBus.unregisterService("org.freedesktop.Notifications");
    serverBus.unregisterObject("/org/freedesktop/Notifications");
}

void TestFreedesktopNotifications::scheduler_data()
{
    QTest::addColumn<QList<qint64>>("fireOffsets"); // seconds after start, one request each
    QTest::addColumn<qint64>("advance");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<QStringList>("stillPending");
    QTest::newRow("not yet") << QList<qint64>{120} << qint64(119) << QStringList{}
                             << QStringList{"r0"};
    QTest::newRow("at its minute") << QList<qint64>{120} << qint64(120) << QStringList{"r0"}
                                   << QStringList{};
    QTest::newRow("only the due ones, oldest first")
        << QList<qint64>{600, 180, 60} << qint64(200) << QStringList{"r2", "r1"}
        << QStringList{"r0"};
    QTest::newRow("past date shown at once") << QList<qint64>{-60} << qint64(0)
                                             << QStringList{"r0"} << QStringList{};
}

void TestFreedesktopNotifications::scheduler()
{
    QFETCH(QList<qint64>, fireOffsets);
    QFETCH(qint64, advance);
    QFETCH(QStringList, shown);
    QFETCH(QStringList, stillPending);
    FakeClock clock(QDateTime(QDate(2026, 11, 16), QTime(20, 30)));
    QDBusConnection serverBus = connect("server");
    FakeNotificationServer server;
    QVERIFY(server.attach(serverBus));
    FreedesktopNotifications client(connect("client"), clock);
    for (int i = 0; i < fireOffsets.size(); ++i)
        client.add(request("r" + QString::number(i), clock.now().addSecs(fireOffsets[i])));
    clock.advance(advance);
    client.runDueCheck();
    QTRY_COMPARE(server.calls.size(), shown.size());
    QStringList got;
    for (const auto &c : std::as_const(server.calls))
        got << c.summary.mid(6);
    QCOMPARE(got, shown);
    QCOMPARE(client.pendingIdentifiers(), stillPending);
    serverBus.unregisterService("org.freedesktop.Notifications");
    serverBus.unregisterObject("/org/freedesktop/Notifications");
}

void TestFreedesktopNotifications::replaceAndRemove()
{
    FakeClock clock;
    FreedesktopNotifications client(connect("client"), clock);
    client.add(request("reminder-A", clock.now().addSecs(3600)));
    client.add(request("reminder-A", clock.now().addSecs(7200)));
    client.add(request("reminder-B", clock.now().addSecs(60)));
    QCOMPARE(client.pendingIdentifiers(), (QStringList{"reminder-A", "reminder-B"}));
    QCOMPARE(client.nextCheckInMs(), 60000 > FreedesktopNotifications::checkIntervalMs
                                         ? FreedesktopNotifications::checkIntervalMs
                                         : 60000);
    client.removePending({"reminder-B", "missing"});
    QCOMPARE(client.pendingIdentifiers(), QStringList{"reminder-A"});
    clock.advance(3600);
    client.runDueCheck();
    QCOMPARE(client.pendingIdentifiers(), QStringList{"reminder-A"}); // replaced by the later date
    client.removePending({"reminder-A"});
    QCOMPARE(client.nextCheckInMs(), -1);
}

void TestFreedesktopNotifications::clockJumpFiresOnCheck()
{
    // After sleep the wall clock is far ahead; the timer that fires next
    // must show what became due, without waiting for the original delay.
    FakeClock clock(QDateTime(QDate(2026, 11, 16), QTime(20, 30)));
    QDBusConnection serverBus = connect("server");
    FakeNotificationServer server;
    QVERIFY(server.attach(serverBus));
    FreedesktopNotifications client(connect("client"), clock);
    client.add(request("reminder-A", clock.now().addDays(1)));
    QCOMPARE(client.nextCheckInMs(), FreedesktopNotifications::checkIntervalMs);
    clock.advance(2 * 86400);
    QCOMPARE(client.nextCheckInMs(), 0);
    client.runDueCheck();
    QTRY_COMPARE(server.calls.size(), 1);
    serverBus.unregisterService("org.freedesktop.Notifications");
    serverBus.unregisterObject("/org/freedesktop/Notifications");
}

void TestFreedesktopNotifications::answers_data()
{
    QTest::addColumn<QString>("action");
    QTest::newRow("open") << "OPEN";
    QTest::newRow("later") << "LATER";
    QTest::newRow("dismiss") << "DISMISS";
    QTest::newRow("click") << "default";
}

void TestFreedesktopNotifications::answers()
{
    QFETCH(QString, action);
    FakeClock clock;
    QDBusConnection serverBus = connect("server");
    FakeNotificationServer server;
    QVERIFY(server.attach(serverBus));
    FreedesktopNotifications client(connect("client"), clock);
    QSignalSpy spy(&client, &NotificationService::answered);
    const QMap<QString, QString> info{{"tabId", "T1"}, {"hintId", "H1"}};
    client.add(request("hint-H1", std::nullopt, info));
    client.add(request("hint-H2", std::nullopt, {{"tabId", "T2"}}));
    QTRY_COMPARE(server.calls.size(), 2);
    // Let the replies with the notification ids arrive.
    QTest::qWait(200);
    emit server.ActionInvoked(4242, action); // unknown id: ignored
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
    QTest::qWait(200);
    QCOMPARE(spy.size(), 1);
    serverBus.unregisterService("org.freedesktop.Notifications");
    serverBus.unregisterObject("/org/freedesktop/Notifications");
}

PELLMORA_TEST_GUILESS_MAIN(TestFreedesktopNotifications)
#include "TestFreedesktopNotifications.moc"
