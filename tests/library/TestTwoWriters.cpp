#include "CliHome.h"
#include "JsonRpc.h"
#include "Library.h"
#include "LibraryBuilder.h"
#include "LibraryStore.h"
#include "TestRegistry.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QSignalSpy>
#include <QThread>

namespace {

// Tabs 1..20 get notes from the MCP server, tabs 21..40 from the application.
constexpr int tabsPerSide = 20;
constexpr qint64 runMs = 1500;

QUuid serverTab(qint64 call) { return LibraryBuilder::tabId(int(call % tabsPerSide) + 1); }
QUuid appTab(qint64 step) { return LibraryBuilder::tabId(tabsPerSide + int(step % tabsPerSide) + 1); }
QString note(const char *side, qint64 change) { return QStringLiteral("%1 %2").arg(QLatin1String(side)).arg(change); }

QByteArray addNote(qint64 call, const QString &text)
{
    return JsonRpc::toolCall(call, QStringLiteral("add_note"),
                             {{QStringLiteral("id"), idText(serverTab(call))}, {QStringLiteral("note"), text}});
}

// The change numbers of one side ("mcp" or "app") the notes hold, ascending.
QList<qint64> changesIn(const LibraryData &d, const char *side)
{
    QList<qint64> found;
    for (const SavedTab &t : d.tabs)
        if (t.note.startsWith(QLatin1String(side) + u' '))
            found.append(t.note.section(u' ', 1).toLongLong());
    std::sort(found.begin(), found.end());
    return found;
}

// One side's tabs hold the notes of its changes first..last, the later one
// where two went to the same tab, and no note where none did.
void compareNotes(const LibraryData &d, const char *side, qint64 first, qint64 last, QUuid (*tabOf)(qint64))
{
    QHash<QUuid, QString> expected;
    for (qint64 k = first; k <= last; ++k)
        expected.insert(tabOf(k), note(side, k));
    for (qint64 k = 0; k < tabsPerSide; ++k)
        QCOMPARE(d.tab(tabOf(k))->note, expected.value(tabOf(k)));
}

} // namespace

// The MCP server and the application write the same file at the same time,
// without a lock: every write replaces the whole file, the last one wins, and
// the application takes the server's write in at its next reload.
class TestTwoWriters : public QObject
{
    Q_OBJECT

private:
    QProcess m_server;
    QByteArray m_output;
    int m_replies = 0;

    // Takes in the replies that have arrived, waiting until there are
    // `count`; each must be a successful call.
    void collectReplies(qint64 count = 0)
    {
        do {
            if (m_replies < count)
                QVERIFY2(m_server.waitForReadyRead(30000), "the MCP server stopped answering");
            m_output += m_server.readAllStandardOutput();
            const qsizetype end = m_output.lastIndexOf('\n') + 1;
            for (const QJsonObject &reply : JsonRpc::replies(m_output.left(end))) {
                const QJsonObject result = reply.value(QStringLiteral("result")).toObject();
                QVERIFY2(!result.isEmpty() && !result.value(QStringLiteral("isError")).toBool(), m_output.constData());
                ++m_replies;
            }
            m_output.remove(0, end);
        } while (m_replies < count && !QTest::currentTestFailed());
    }

private Q_SLOTS:
    void lastWriterWinsAndReloadTakesServerWrite()
    {
        CliHome home;
        QVERIFY(home.isValid());
        LibraryStore store(home.libraryPath());
        Library library{store};
        LibraryBuilder start;
        for (int n = 1; n <= 2 * tabsPerSide; ++n)
            start.tab(QStringLiteral("Tab %1").arg(n)).text(QStringLiteral("Etwas Seitentext. ").repeated(50));
        library.replace(start);
        QVERIFY(library.lastError().isEmpty());

        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), home.path(QStringLiteral("data")));
        env.insert(QStringLiteral("PELLMORA_NO_SEMANTIC"), QStringLiteral("1"));
        env.insert(QStringLiteral("PELLMORA_NO_AI"), QStringLiteral("1"));
        m_server.setProcessEnvironment(env);
        m_server.start(CliHome::program(), {QStringLiteral("mcp")});
        QVERIFY(m_server.waitForStarted());

        // Both sides change their own tabs as fast as they can for a while.
        qint64 calls = 0, steps = 0;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < runMs && !QTest::currentTestFailed()) {
            if (calls - m_replies < 4) {
                ++calls;
                m_server.write(addNote(calls, note("mcp", calls)));
            }
            ++steps;
            library.updateTab(appTab(steps), [&](SavedTab &t) { t.note = note("app", steps); });
            QVERIFY(library.lastError().isEmpty());
            m_server.waitForBytesWritten(0);
            m_server.waitForReadyRead(1);
            collectReplies();
        }
        collectReplies(calls);
        if (QTest::currentTestFailed())
            return;

        const LibraryData onDisk = store.load();
        const QList<qint64> appChanges = changesIn(onDisk, "app");
        const QList<qint64> serverChanges = changesIn(onDisk, "mcp");
        QVERIFY(calls > 10 && steps > 10);

        // The application never reloads here, so its writes carry no server
        // note and all of its own changes up to that write.
        const qint64 appUpTo = appChanges.isEmpty() ? 0 : appChanges.last();
        compareNotes(onDisk, "app", 1, appUpTo, appTab);
        if (serverChanges.isEmpty()) {
            // The application wrote last: the file is exactly its library.
            QCOMPARE(appUpTo, steps);
            QCOMPARE(onDisk, library.data());
        } else {
            // The server wrote last: its final call is there, with every call
            // since the application write it built on.
            QCOMPARE(serverChanges.last(), calls);
            compareNotes(onDisk, "mcp", serverChanges.first(), calls, serverTab);
        }

        // A server write more than half a second after the application's
        // last one is taken in by the next reload.
        QThread::msleep(700);
        const qint64 finalCall = calls + 1;
        m_server.write(addNote(finalCall, QStringLiteral("mcp final")));
        collectReplies(finalCall);
        LibraryData expected = onDisk;
        for (SavedTab &t : expected.tabs)
            if (t.id == serverTab(finalCall))
                t.note = QStringLiteral("mcp final");
        QCOMPARE(store.load(), expected);
        QSignalSpy changed(&library, &Library::dataChanged);
        library.reloadIfChangedOnDisk();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(library.data(), expected);

        // The application's next change builds on the server's note.
        library.updateTab(appTab(0), [](SavedTab &t) { t.note = QStringLiteral("app after"); });
        const LibraryData last = store.load();
        QCOMPARE(last.tab(serverTab(finalCall))->note, QStringLiteral("mcp final"));
        QCOMPARE(last, library.data());

        m_server.closeWriteChannel();
        QVERIFY(m_server.waitForFinished(30000));
        QCOMPARE(m_server.exitCode(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestTwoWriters)
#include "TestTwoWriters.moc"
