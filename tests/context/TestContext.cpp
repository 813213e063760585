#include <QDBusConnection>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include "ContextReader.h"
#include "Embedder.h"
#include "FakeClock.h"
#include "FreedesktopNotifications.h"
#include "HintEngine.h"
#include "LibraryBuilder.h"
#include "NotificationRecorder.h"
#include "PrivateBus.h"
#include "Reminders.h"
#include "TestSupport.h"
#include "TestRegistry.h"

using Auth = NotificationService::Authorisation;

// The desktop's notification service on the private bus: records what it
// is asked to show and answers with ids of its own.
class FakeNotificationServer : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Call { uint replacesId; QString summary; QStringList actions; QVariantMap hints; uint id; }; // summary: "app: summary"
    QList<Call> calls;

    explicit FakeNotificationServer(QDBusConnection bus) : m_bus(std::move(bus))
    {
        m_bus.registerObject("/org/freedesktop/Notifications", this, QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals);
        m_bus.registerService("org.freedesktop.Notifications");
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
        calls.append(Call{replacesId, appName + ": " + summary, actions, hints, replacesId ? replacesId : uint(calls.size() + 1)});
        return calls.last().id;
    }

signals:
    void ActionInvoked(uint id, const QString &actionKey);
    void NotificationClosed(uint id, uint reason);

private:
    QDBusConnection m_bus;
};

namespace {

NotificationRequest request(const QString &id, std::optional<QDateTime> at, QMap<QString, QString> info = {})
{
    return NotificationRequest{id, id, "Text", Reminders::categoryHint, std::move(info), true, std::move(at)};
}

SavedTab tabWith(std::optional<QDateTime> reminder, int number = 1)
{
    SavedTab tab = LibraryBuilder().tabs(number).build().tabs.last();
    tab.reminderAt = std::move(reminder);
    return tab;
}

// Projects that share no word.
const QList<ProjectText> projects{{"Alpenreise", "/p/a", "Wanderung Gletscher Huette"},
                                  {"Buchhaltung", "/p/b", "Rechnung Steuer Beleg"},
                                  {"Eigener Text", "", "Orchester Geige Konzert"}};

// Requests due so many seconds after now; what the check shows after the clock moved on.
struct DueCheck { QList<qint64> fireOffsets; qint64 advance; QStringList shown, stillPending; };

} // namespace

// Reminders and hints: when they are due, which tabs fit the user's
// projects, the project files read, and the way to the desktop's
// notification service on a private session bus.
class TestContext : public QObject
{
    Q_OBJECT
    PrivateBus m_bus;
    int m_connections = 0;
    FakeClock m_clock;
    Embedder m_embedder{false};

    // A connection of its own per use, so registrations never leak between tests.
    QDBusConnection connect() { return QDBusConnection::connectToBus(m_bus.address(), QString::number(++m_connections)); }

    // "title[|read|hinted|dismissed]" per tab.
    static LibraryData library(const QStringList &tabs)
    {
        LibraryBuilder builder;
        for (int t = 0; t < tabs.size(); ++t) {
            const QString flag = tabs[t].section(u'|', 1);
            builder.tab(tabs[t].section(u'|', 0, 0));
            if (flag == "read")
                builder.read();
            else if (!flag.isEmpty())
                builder.hint(t + 1, "x", flag == "dismissed");
        }
        return builder;
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

    void missedAndLater_data()
    {
        QTest::addColumn<int>("minutes"); // a reminder after the last run ended at 08:00; now is 10:00
        QTest::addColumn<bool>("missed");
        QTest::newRow("before the last run") << -30 << false;
        QTest::newRow("at its end") << 0 << false;
        QTest::newRow("while closed") << 60 << true;
        QTest::newRow("due right now") << 120 << true;
        QTest::newRow("still to come") << 121 << false;
    }

    void missedAndLater()
    {
        QFETCH(int, minutes);
        QFETCH(bool, missed);
        const QDateTime since(QDate(2026, 11, 16), QTime(8, 0));
        const QList<SavedTab> tabs{tabWith(since.addSecs(minutes * 60)), tabWith(std::nullopt, 2)};
        QCOMPARE(Reminders::missedSince(tabs, since, since.addSecs(7200)).size(), missed ? 1 : 0);
        // "Später" is 09:00 on the next calendar day, across midnight and summer time too.
        const QDate day(2026, 3, 28);
        QCOMPARE(Reminders::laterDate(QDateTime(day, QTime(0, 0).addSecs(minutes * 60 + 3600))), QDateTime(day.addDays(1), QTime(9, 0)));
    }

    void permission()
    {
        // Restoring reminders at start-up replaces the old ones and never asks.
        NotificationRecorder service;
        service.state = Auth::NotDetermined;
        for (const QString id : {"reminder-OLD", "hint-KEEP"})
            service.pending.insert(id, request(id, m_clock.now().addDays(1)));
        const QList<SavedTab> tabs{tabWith(m_clock.now().addSecs(-10), 2), tabWith(m_clock.now().addDays(2))};
        Reminders::rescheduleAll(service, tabs, m_clock);
        QVERIFY(service.pending.keys() == QStringList{"hint-KEEP"} && service.asked == 0);
        // A hint asks; once granted, the start-up brings back the future reminder only.
        Reminders::postHint(service, Hint{LibraryBuilder::id(9), LibraryBuilder::tabId(1), "x", {}, false}, tabWith(std::nullopt));
        QVERIFY(service.asked == 1 && service.added.size() == 1);
        Reminders::rescheduleAll(service, tabs, m_clock);
        QCOMPARE(service.pending.keys(), (QStringList{"hint-KEEP", "reminder-" + Reminders::uuidText(LibraryBuilder::tabId(1))}));
        // Where they are refused, nothing is shown and nobody is asked.
        service.state = Auth::Denied;
        Reminders::postHint(service, Hint{}, tabWith(std::nullopt));
        QVERIFY(service.asked == 1 && service.added.size() == 2);
    }

    void switchedOffDoesNothing()
    {
        NotificationRecorder service;
        const SavedTab tab = tabWith(m_clock.now().addDays(1));
        service.pending.insert("reminder-" + Reminders::uuidText(tab.id), Reminders::reminderRequest(tab));
        Reminders::setEnabled(false); // never switched on, as in the terminal companion
        Reminders::schedule(service, tab, m_clock);
        Reminders::postHint(service, Hint{}, tab);
        Reminders::cancel(service, tab.id);
        QVERIFY(!Reminders::ensurePermission(service) && service.added.isEmpty() && service.pending.size() == 1);
        Reminders::setEnabled(true);
        qputenv("PELLMORA_NO_NOTIFICATIONS", "");
        QVERIFY(!Reminders::isUsable());
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
        QCOMPARE(server.calls[0].summary, "Pellmora: hint-1");
        QStringList keys;
        for (qsizetype i = 0; i < server.calls[0].actions.size(); i += 2)
            keys << server.calls[0].actions[i];
        QCOMPARE(keys, (QStringList{Reminders::actionOpen, Reminders::actionLater, Reminders::actionDismiss, Reminders::actionDefault}));
        QVERIFY(server.calls[0].hints.value("suppress-sound").toBool() && client.pendingIdentifiers().isEmpty());
    }

    void dueCheck_data()
    {
        QTest::addColumn<DueCheck>("row");
        QTest::newRow("not yet") << DueCheck{{120}, 119, {}, {"r0"}};
        QTest::newRow("at its minute") << DueCheck{{120}, 120, {"r0"}, {}};
        QTest::newRow("only the due ones, oldest first") << DueCheck{{600, 180, 60}, 200, {"r2", "r1"}, {"r0"}};
        QTest::newRow("past date shown at once") << DueCheck{{-60}, 0, {"r0"}, {}};
        // After sleep the wall clock is far ahead: the next check shows it.
        QTest::newRow("clock jumped") << DueCheck{{86400}, 2 * 86400, {"r0"}, {}};
    }

    void dueCheck()
    {
        QFETCH(DueCheck, row);
        FakeNotificationServer server(connect());
        FreedesktopNotifications client(connect(), m_clock);
        for (int i = 0; i < row.fireOffsets.size(); ++i)
            client.add(request("r" + QString::number(i), m_clock.now().addSecs(row.fireOffsets[i])));
        m_clock.advance(row.advance);
        if (row.advance > 0 && !row.shown.isEmpty())
            QCOMPARE(client.nextCheckInMs(), 0); // due now, not after the old delay
        client.runDueCheck();
        QTRY_COMPARE(server.calls.size(), row.shown.size());
        QStringList shown;
        for (const FakeNotificationServer::Call &call : std::as_const(server.calls))
            shown << call.summary.section(": ", 1);
        QCOMPARE(shown, row.shown);
        QCOMPARE(client.pendingIdentifiers(), row.stillPending);
        // A request again under its identifier replaces it; a removed one is gone.
        client.add(request("r0", m_clock.now().addSecs(60)));
        client.add(request("r0", m_clock.now().addSecs(120)));
        client.removePending({"r1", "r2", "missing"});
        m_clock.advance(60);
        client.runDueCheck();
        QCOMPARE(client.pendingIdentifiers(), QStringList{"r0"}); // the later date holds
        client.removePending({"r0"});
        QCOMPARE(client.nextCheckInMs(), -1);
    }

    void answers()
    {
        FakeNotificationServer server(connect());
        FreedesktopNotifications client(connect(), m_clock);
        QSignalSpy spy(&client, &NotificationService::answered);
        const auto answers = [&](const QString &hint) {
            QList<NotificationAnswer> out;
            for (const QList<QVariant> &signal : std::as_const(spy)) {
                if (signal[0].value<NotificationAnswer>().userInfo.value("hintId") == hint)
                    out << signal[0].value<NotificationAnswer>();
            }
            return out;
        };
        const QMap<QString, QString> info{{"tabId", "T1"}, {"hintId", "H1"}};
        client.add(request("hint-H1", std::nullopt, info));
        client.add(request("hint-H2", std::nullopt, {{"tabId", "T2"}, {"hintId", "H2"}}));
        QTRY_COMPARE(server.calls.size(), 2);
        // The service's ids come back later: the second answered means both are known.
        QTRY_VERIFY((emit server.ActionInvoked(server.calls[1].id, Reminders::actionOpen), !answers("H2").isEmpty()));
        emit server.ActionInvoked(4242, Reminders::actionLater); // not ours: ignored
        emit server.ActionInvoked(server.calls[0].id, Reminders::actionLater);
        QTRY_COMPARE(answers("H1"), QList<NotificationAnswer>{(NotificationAnswer{Reminders::actionLater, info})});
        // The same identifier shown again replaces the notification on screen.
        client.add(request("hint-H1", std::nullopt, info));
        QTRY_COMPARE(server.calls.size(), 3);
        QCOMPARE(server.calls[2].replacesId, server.calls[0].id);
        // Once closed, late answers for it are ignored; the answer to the
        // other, sent after them, shows they were handled.
        emit server.NotificationClosed(server.calls[0].id, 2);
        emit server.ActionInvoked(server.calls[0].id, Reminders::actionDefault);
        const qsizetype before = answers("H2").size();
        emit server.ActionInvoked(server.calls[1].id, Reminders::actionDismiss);
        QTRY_VERIFY(answers("H2").size() > before && answers("H2").last().action == Reminders::actionDismiss);
        QCOMPARE(answers("H1").size(), 1);
    }

    void hints_data()
    {
        QTest::addColumn<QStringList>("tabs");
        QTest::addColumn<qint64>("max");
        QTest::addColumn<QStringList>("expected"); // "tab index>project name"
        // More of a project's words, a better fit.
        QTest::newRow("best two, best first") << QStringList{"Wanderung", "Wanderung Gletscher Huette", "Kochen", "Wanderung Gletscher"}
                                              << qint64(2) << QStringList{"1>Alpenreise", "3>Alpenreise"};
        QTest::newRow("read and hinted tabs never")
            << QStringList{"Wanderung Gletscher Huette|read", "Wanderung Gletscher|dismissed", "Gletscher Huette|hinted", "Wanderung"}
            << qint64(5) << QStringList{"3>Alpenreise"};
        QTest::newRow("same best tab goes to the first project") << QStringList{"Wanderung Gletscher Rechnung", "Steuer Kochen Velo Garten"}
                                                                 << qint64(2) << QStringList{"0>Alpenreise", "1>Buchhaltung"};
        // A = (t0, t1), B = (t0), C = (t2, t3): B gets nothing, C its second.
        QTest::newRow("fair passes skip exhausted lists")
            << QStringList{"Wanderung Gletscher Rechnung", "Wanderung", "Orchester Geige", "Orchester"} << qint64(4)
            << QStringList{"0>Alpenreise", "2>Eigener Text", "1>Alpenreise", "3>Eigener Text"};
        QTest::newRow("below threshold nothing") << QStringList{"Kochen", "Velo Garten"} << qint64(2) << QStringList{};
    }

    void hints()
    {
        QFETCH(QStringList, tabs);
        QFETCH(qint64, max);
        QFETCH(QStringList, expected);
        LibraryData data = library(tabs);
        const qsizetype hintsBefore = data.hints.size();
        const QList<Hint> made = HintEngine(m_embedder).generateHints(data, projects, max, m_clock);
        QStringList got;
        for (const Hint &hint : made) {
            const qsizetype t = std::find_if(data.tabs.cbegin(), data.tabs.cend(), [&](const SavedTab &s) { return s.id == hint.tabId; })
                                - data.tabs.cbegin();
            for (const ProjectText &p : projects) {
                if (hint.reason.contains(p.name))
                    got << QString::number(t) + u'>' + p.name;
            }
            QVERIFY(hint.reason.contains(data.tabs[t].title) && hint.createdAt == m_clock.now());
        }
        QCOMPARE(got, expected);
        QCOMPARE(data.hints.mid(hintsBefore), made);
    }

    void hintRunOnceADay_data()
    {
        QTest::addColumn<QString>("freeText");
        QTest::addColumn<QTime>("time");
        QTest::addColumn<QString>("lastDay");
        QTest::addColumn<bool>("due");
        QTest::newRow("at the hour") << "Reise" << QTime(9, 0) << "2026-11-15" << true;
        QTest::newRow("before the hour") << "Reise" << QTime(8, 59) << "" << false;
        QTest::newRow("already today") << "Reise" << QTime(18, 0) << "2026-11-16" << false;
        QTest::newRow("no context") << "" << QTime(18, 0) << "" << false;
        QTest::newRow("blank text counts as stored") << " " << QTime(18, 0) << "" << true;
    }

    void hintRunOnceADay()
    {
        QFETCH(QString, freeText);
        QFETCH(QTime, time);
        QFETCH(QString, lastDay);
        QFETCH(bool, due);
        LibraryData data = library({"Wanderung Gletscher Huette"});
        data.context.freeText = freeText;
        if (!lastDay.isEmpty())
            data.lastHintDay = lastDay;
        const FakeClock clock(QDateTime(QDate(2026, 11, 16), time));
        QCOMPARE(HintEngine::dailyCheckDue(data, clock), due);
        // A run records the day; the tab fits the project of the second words only.
        data.context.freeText = "Orchester Geige Konzert";
        const HintRun run = HintEngine::lookForHints(data, m_embedder, clock);
        QVERIFY(run.data.lastHintDay == "2026-11-16" && run.hints.isEmpty());
        data.context.freeText = "\n Wanderung Gletscher Huette ";
        data.context.folderPaths = {"/does/not/exist"};
        QCOMPARE(HintEngine::lookForHints(data, m_embedder, clock).data.hints.size(), 1);
    }

    void readLimited_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("expected");
        const QString r(QChar::ReplacementCharacter);
        // 120,000 bytes are read, then 30,000 characters kept.
        QTest::newRow("over the byte limit") << QByteArray(130000, 'a') << QString(30000, u'a');
        // "e" + combining acute is one character of three bytes.
        QTest::newRow("characters, not code units") << QByteArray("e\xCC\x81").repeated(40000)
                                                    << QString::fromUtf8(QByteArray("e\xCC\x81").repeated(30000));
        QTest::newRow("two-byte letter kept whole") << QByteArray(29999, 'b') + "\xC3\xA4" << QString(29999, u'b') + QChar(0xE4);
        // One replacement per invalid sequence: one cut short counts once, a
        // byte that begins nothing alone.
        QTest::newRow("sequences cut short") << QByteArray("a\xE2\x82" "b\xF0\x9F\x98" "c") << "a" + r + "b" + r + "c";
        QTest::newRow("overlong and surrogate bytes alone") << QByteArray("\xC0\xAF" "-" "\xED\xA0\x80") << r + r + "-" + r + r + r;
    }

    void readLimited()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        QTemporaryDir tmp;
        QVERIFY(TestSupport::writeFile(tmp.filePath("README.md"), content));
        QCOMPARE(ContextReader::readLimited(tmp.filePath("README.md")), std::optional<QString>(expected));
        QCOMPARE(ContextReader::readLimited(tmp.filePath("missing.md")), std::nullopt);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestContext)
#include "TestContext.moc"
