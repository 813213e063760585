#include "FakeClock.h"
#include "PrivateBus.h"
#include "NotificationService.h"
#include "Reminders.h"

#include <QtTest>
#include "TestRegistry.h"

using Auth = NotificationService::Authorisation;

// Keeps requests in memory and answers authorisation as told.
class MemoryService final : public NotificationService
{
public:
    Auth state = Auth::Authorised;
    bool grant = true;
    int asked = 0;
    QMap<QString, NotificationRequest> pending;
    QList<NotificationRequest> added;

    Auth authorisation() override { return state; }
    bool requestAuthorisation() override
    {
        ++asked;
        state = grant ? Auth::Authorised : Auth::Denied;
        return grant;
    }
    void add(const NotificationRequest &r) override
    {
        added.append(r);
        if (r.fireAt)
            pending.insert(r.identifier, r);
    }
    void removePending(const QStringList &ids) override
    {
        for (const QString &id : ids)
            pending.remove(id);
    }
    QStringList pendingIdentifiers() const override { return pending.keys(); }
};

static const QUuid tabUuid("{6f1c2b1e-0a4d-4e55-9a7b-3c1d2e3f4a5b}");
static const QString tabText = "6F1C2B1E-0A4D-4E55-9A7B-3C1D2E3F4A5B";

static SavedTab tabWith(std::optional<QDateTime> reminder, QString note = {})
{
    SavedTab t;
    t.id = tabUuid;
    t.title = "Hotels in der Altstadt";
    t.savedAt = QDateTime(QDate(2026, 11, 3), QTime(10, 0));
    t.note = std::move(note);
    t.reminderAt = std::move(reminder);
    return t;
}

class TestReminders : public QObject
{
    Q_OBJECT
    PrivateBus m_bus;

private slots:
    void initTestCase()
    {
        // isUsable() needs a session bus: give it a private one.
        QVERIFY(m_bus.start());
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.address().toUtf8());
    }
    void init()
    {
        qunsetenv("PELLMORA_NO_NOTIFICATIONS");
        Reminders::setEnabled(true);
        if (!Reminders::isUsable())
            QFAIL("no session bus");
    }
    void cleanup() { Reminders::setEnabled(false); }

    void reminderFormat_data();
    void reminderFormat();
    void hintFormat();
    void schedule_data();
    void schedule();
    void missedSince_data();
    void missedSince();
    void rescheduleAll_data();
    void rescheduleAll();
    void postHintPermission_data();
    void postHintPermission();
    void unusableDoesNothing();
    void laterDate_data();
    void laterDate();
};

void TestReminders::reminderFormat_data()
{
    QTest::addColumn<QString>("note");
    QTest::addColumn<QString>("body");
    QTest::newRow("no note") << QString() << QString("Hotels in der Altstadt");
    QTest::newRow("with note") << QString("Preise vergleichen")
                               << QString("Hotels in der Altstadt\nPreise vergleichen");
}

void TestReminders::reminderFormat()
{
    QFETCH(QString, note);
    QFETCH(QString, body);
    const NotificationRequest r = Reminders::reminderRequest(
        tabWith(QDateTime(QDate(2026, 11, 20), QTime(14, 30, 45)), note));
    QCOMPARE(r.identifier, "reminder-" + tabText);
    QCOMPARE(r.title, QString("Schau dir diesen Tab an"));
    QCOMPARE(r.body, body);
    QCOMPARE(r.category, QString("PELLMORA_HINT"));
    QCOMPARE(r.userInfo, (QMap<QString, QString>{{"tabId", tabText}}));
    QVERIFY(r.sound);
    QCOMPARE(r.fireAt, std::optional(QDateTime(QDate(2026, 11, 20), QTime(14, 30))));
}

void TestReminders::hintFormat()
{
    Hint h;
    h.id = QUuid("{00000000-0000-4000-8000-0000000000ab}");
    h.tabId = tabUuid;
    h.reason = "passt zu deinem Projekt Reise: Vergleich der Hotels in der Altstadt.";
    const NotificationRequest r = Reminders::hintRequest(h, tabWith(std::nullopt));
    QCOMPARE(r.identifier, QString("hint-00000000-0000-4000-8000-0000000000AB"));
    QCOMPARE(r.title, QString("Schau dir diesen Tab an: «Hotels in der Altstadt»"));
    QCOMPARE(r.body, QString("Gespeichert am 03.11. passt zu deinem Projekt Reise: "
                             "Vergleich der Hotels in der Altstadt."));
    QCOMPARE(r.userInfo.value("hintId"), QString("00000000-0000-4000-8000-0000000000AB"));
    QCOMPARE(r.userInfo.value("tabId"), tabText);
    QVERIFY(!r.sound);
    QVERIFY(!r.fireAt);
}

void TestReminders::schedule_data()
{
    QTest::addColumn<QList<qint64>>("offsets"); // seconds from now per call; <= -1e9 means none
    QTest::addColumn<bool>("pendingAfter");
    QTest::addColumn<qint64>("lastOffset");
    QTest::newRow("future") << QList<qint64>{3600} << true << qint64(3600);
    QTest::newRow("past removes") << QList<qint64>{3600, -60} << false << qint64(0);
    QTest::newRow("now is not later") << QList<qint64>{3600, 0} << false << qint64(0);
    QTest::newRow("none removes") << QList<qint64>{3600, qint64(-2e9)} << false << qint64(0);
    QTest::newRow("second date wins") << QList<qint64>{3600, 7200} << true << qint64(7200);
}

void TestReminders::schedule()
{
    QFETCH(QList<qint64>, offsets);
    QFETCH(bool, pendingAfter);
    QFETCH(qint64, lastOffset);
    FakeClock clock(QDateTime(QDate(2026, 11, 16), QTime(20, 31)));
    MemoryService service;
    for (qint64 off : offsets) {
        std::optional<QDateTime> at;
        if (off > qint64(-1e9))
            at = clock.now().addSecs(off);
        Reminders::schedule(service, tabWith(at), clock);
    }
    QCOMPARE(service.pending.size(), pendingAfter ? 1 : 0);
    if (pendingAfter)
        QCOMPARE(*service.pending.first().fireAt, clock.now().addSecs(lastOffset));
}

void TestReminders::missedSince_data()
{
    QTest::addColumn<qint64>("offset"); // reminder, in minutes after the last run; <= -1e6 means none
    QTest::addColumn<bool>("missed");
    // The last run ended at 08:00, now is 10:00.
    QTest::newRow("before the last run") << qint64(-30) << false;
    QTest::newRow("at the end of the last run") << qint64(0) << false;
    QTest::newRow("while closed") << qint64(60) << true;
    QTest::newRow("due right now") << qint64(120) << true;
    QTest::newRow("still to come") << qint64(121) << false;
    QTest::newRow("no reminder") << qint64(-2e6) << false;
}

void TestReminders::missedSince()
{
    QFETCH(qint64, offset);
    QFETCH(bool, missed);
    const QDateTime since(QDate(2026, 11, 16), QTime(8, 0));
    std::optional<QDateTime> at;
    if (offset > qint64(-1e6))
        at = since.addSecs(offset * 60);
    const QList<SavedTab> found = Reminders::missedSince({tabWith(at)}, since, since.addSecs(7200));
    QCOMPARE(found.size(), missed ? 1 : 0);
}

void TestReminders::rescheduleAll_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("scheduled");
    QTest::newRow("authorised") << int(Auth::Authorised) << 1;
    QTest::newRow("provisional") << int(Auth::Provisional) << 1;
    QTest::newRow("not determined never asks") << int(Auth::NotDetermined) << 0;
    QTest::newRow("denied") << int(Auth::Denied) << 0;
}

void TestReminders::rescheduleAll()
{
    QFETCH(int, state);
    QFETCH(int, scheduled);
    FakeClock clock;
    MemoryService service;
    service.state = Auth(state);
    NotificationRequest stale{"reminder-OLD", "t", "b", "PELLMORA_HINT", {}, true,
                              clock.now().addDays(1)};
    NotificationRequest hint{"hint-KEEP", "t", "b", "PELLMORA_HINT", {}, false,
                             clock.now().addDays(1)};
    service.pending.insert(stale.identifier, stale);
    service.pending.insert(hint.identifier, hint);
    SavedTab past = tabWith(clock.now().addSecs(-10));
    past.id = QUuid::createUuid();
    Reminders::rescheduleAll(service, {past, tabWith(clock.now().addDays(2))}, clock);
    QCOMPARE(service.asked, 0);
    QVERIFY(!service.pending.contains("reminder-OLD"));
    QVERIFY(service.pending.contains("hint-KEEP"));
    QCOMPARE(service.pending.contains("reminder-" + tabText), scheduled == 1);
    QCOMPARE(service.pending.size(), 1 + scheduled);
}

void TestReminders::postHintPermission_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<bool>("grant");
    QTest::addColumn<int>("asked");
    QTest::addColumn<int>("added");
    QTest::newRow("authorised") << int(Auth::Authorised) << false << 0 << 1;
    QTest::newRow("ephemeral") << int(Auth::Ephemeral) << false << 0 << 1;
    QTest::newRow("asks, granted") << int(Auth::NotDetermined) << true << 1 << 1;
    QTest::newRow("asks, refused") << int(Auth::NotDetermined) << false << 1 << 0;
    QTest::newRow("denied") << int(Auth::Denied) << true << 0 << 0;
}

void TestReminders::postHintPermission()
{
    QFETCH(int, state);
    QFETCH(bool, grant);
    QFETCH(int, asked);
    QFETCH(int, added);
    MemoryService service;
    service.state = Auth(state);
    service.grant = grant;
    Hint h;
    h.id = QUuid::createUuid();
    Reminders::postHint(service, h, tabWith(std::nullopt));
    QCOMPARE(service.asked, asked);
    QCOMPARE(service.added.size(), added);
}

void TestReminders::unusableDoesNothing()
{
    qputenv("PELLMORA_NO_NOTIFICATIONS", "");
    QVERIFY(!Reminders::isUsable());
    FakeClock clock;
    MemoryService service;
    NotificationRequest old{"reminder-" + tabText, "t", "b", "PELLMORA_HINT", {}, true,
                            clock.now().addDays(1)};
    service.pending.insert(old.identifier, old);
    Reminders::schedule(service, tabWith(clock.now().addDays(1)), clock);
    Reminders::rescheduleAll(service, {}, clock);
    Reminders::postHint(service, Hint{}, tabWith(std::nullopt));
    Reminders::cancel(service, tabUuid);
    QVERIFY(!Reminders::ensurePermission(service));
    QCOMPARE(service.added.size(), 0);
    QCOMPARE(service.pending.size(), 1);
    qunsetenv("PELLMORA_NO_NOTIFICATIONS");
    Reminders::setEnabled(false); // never switched on, as in the terminal companion
    Reminders::cancel(service, tabUuid);
    QCOMPARE(service.pending.size(), 1);
    Reminders::setEnabled(true);
    Reminders::cancel(service, tabUuid);
    QCOMPARE(service.pending.size(), 0);
}

void TestReminders::laterDate_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("expected");
    QTest::newRow("late evening") << QDateTime(QDate(2026, 11, 16), QTime(23, 50))
                                  << QDateTime(QDate(2026, 11, 17), QTime(9, 0));
    QTest::newRow("after midnight") << QDateTime(QDate(2026, 11, 17), QTime(0, 10))
                                    << QDateTime(QDate(2026, 11, 18), QTime(9, 0));
    QTest::newRow("into summer time") << QDateTime(QDate(2026, 3, 28), QTime(12, 0))
                                      << QDateTime(QDate(2026, 3, 29), QTime(9, 0));
}

void TestReminders::laterDate()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, expected);
    QCOMPARE(Reminders::laterDate(now), expected);
}

PELLMORA_TEST_GUILESS_MAIN(TestReminders)
#include "TestReminders.moc"
