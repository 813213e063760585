#include "Library.h"
#include "LibraryCodec.h"
#include "LibraryStore.h"
#include "TestSupport.h"

#include <QElapsedTimer>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include "TestRegistry.h"

namespace {

// Tabs 0..19 get notes from the MCP server, tabs 20..39 from the application.
constexpr int tabsPerSide = 20;
constexpr qint64 runMs = 3000;

QUuid tabId(int n)
{
    return QUuid(uint(n + 1), 0x7777, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}
QUuid serverTab(qint64 call) { return tabId(int(call % tabsPerSide)); }
QUuid appTab(qint64 step) { return tabId(tabsPerSide + int(step % tabsPerSide)); }
QString serverNote(qint64 call) { return QStringLiteral("mcp %1").arg(call); }
QString appNote(qint64 step) { return QStringLiteral("app %1").arg(step); }

LibraryData startLibrary()
{
    LibraryData d;
    for (int i = 0; i < 2 * tabsPerSide; ++i) {
        SavedTab t;
        t.id = tabId(i);
        t.url = QStringLiteral("https://beispiel.ch/%1").arg(i);
        t.domain = SavedTab::domainOf(t.url);
        t.title = QStringLiteral("Tab %1").arg(i);
        t.savedAt = QDateTime::fromSecsSinceEpoch(1763321465 + i, Qt::UTC);
        t.text = QStringLiteral("Etwas Seitentext, damit die Datei nicht winzig ist. ").repeated(20);
        d.tabs.append(t);
    }
    return d;
}

// The notes of one side's tabs after the changes first..last (none when first > last).
QHash<QUuid, QString> notesAfter(qint64 first, qint64 last, QUuid (*tabOf)(qint64),
                                 QString (*noteOf)(qint64))
{
    QHash<QUuid, QString> notes;
    for (qint64 k = first; k <= last; ++k)
        notes.insert(tabOf(k), noteOf(k));
    return notes;
}

// Which change numbers of one side ("mcp" or "app") the library holds.
QList<qint64> changesIn(const LibraryData &d, const QString &side)
{
    QList<qint64> found;
    for (const SavedTab &t : d.tabs) {
        if (t.note.startsWith(side + u' '))
            found.append(t.note.mid(side.size() + 1).toLongLong());
    }
    std::sort(found.begin(), found.end());
    return found;
}

void compareNotes(const LibraryData &d, int firstTab, const QHash<QUuid, QString> &expected)
{
    for (int i = firstTab; i < firstTab + tabsPerSide; ++i) {
        const auto tab = d.tab(tabId(i));
        QVERIFY(tab);
        QCOMPARE(tab->note, expected.value(tabId(i)));
    }
}

QByteArray addNoteLine(qint64 call, const QUuid &tab, const QString &note)
{
    const QJsonObject message{
        {QStringLiteral("jsonrpc"), QStringLiteral("2.0")},
        {QStringLiteral("id"), call},
        {QStringLiteral("method"), QStringLiteral("tools/call")},
        {QStringLiteral("params"),
         QJsonObject{{QStringLiteral("name"), QStringLiteral("add_note")},
                     {QStringLiteral("arguments"),
                      QJsonObject{{QStringLiteral("id"), idText(tab)},
                                  {QStringLiteral("note"), note}}}}}};
    return QJsonDocument(message).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

// The MCP server and the application write the same file at the same time,
// without a lock: every write replaces the whole file, the last one wins, and
// the application takes the server's write in at its next reload.
class TestTwoWriters : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;
    QProcess m_server;
    QByteArray m_replies;
    int m_repliesSeen = 0;

    QString path() const { return m_home.filePath(QStringLiteral("data/Pellmora/library.json")); }

    // Takes in the replies that have arrived; each must be a successful call.
    void collectReplies()
    {
        m_replies += m_server.readAllStandardOutput();
        qsizetype end;
        while ((end = m_replies.indexOf('\n')) >= 0) {
            const QByteArray line = m_replies.left(end);
            m_replies.remove(0, end + 1);
            const QJsonObject reply = QJsonDocument::fromJson(line).object();
            QVERIFY2(reply.contains(QStringLiteral("result")), line.constData());
            QVERIFY2(!reply.value(QStringLiteral("result")).toObject().value(QStringLiteral("isError")).toBool(),
                     line.constData());
            ++m_repliesSeen;
        }
    }

    void waitForReplies(int count)
    {
        while (m_repliesSeen < count) {
            QVERIFY2(m_server.waitForReadyRead(30000), "the MCP server stopped answering");
            collectReplies();
            if (QTest::currentTestFailed())
                return;
        }
    }

private Q_SLOTS:
    void lastWriterWinsAndReloadTakesServerWrite()
    {
        QVERIFY(m_home.isValid());
        LibraryStore store(path());
        Library library{store};
        library.replace(startLibrary());
        QVERIFY(library.lastError().isEmpty());

        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("XDG_DATA_HOME"), m_home.filePath(QStringLiteral("data")));
        env.insert(QStringLiteral("PELLMORA_NO_SEMANTIC"), QStringLiteral("1"));
        env.insert(QStringLiteral("PELLMORA_NO_AI"), QStringLiteral("1"));
        m_server.setProcessEnvironment(env);
        m_server.start(QStringLiteral(PELLMORA_CLI), {QStringLiteral("mcp")});
        QVERIFY(m_server.waitForStarted());

        // Both sides change their own tabs as fast as they can for a while.
        qint64 calls = 0;
        qint64 steps = 0;
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < runMs) {
            if (calls - m_repliesSeen < 4) {
                ++calls;
                m_server.write(addNoteLine(calls, serverTab(calls), serverNote(calls)));
            }
            ++steps;
            library.updateTab(appTab(steps), [&](SavedTab &t) { t.note = appNote(steps); });
            QVERIFY(library.lastError().isEmpty());
            m_server.waitForBytesWritten(0);
            m_server.waitForReadyRead(1);
            collectReplies();
            if (QTest::currentTestFailed())
                return;
        }
        waitForReplies(int(calls));
        if (QTest::currentTestFailed())
            return;

        const auto onDisk = LibraryCodec::decode(TestSupport::readFile(path()), QDateTime::currentDateTimeUtc());
        QVERIFY2(onDisk, qPrintable(onDisk.error()));
        const QList<qint64> appChanges = changesIn(*onDisk, QStringLiteral("app"));
        const QList<qint64> serverChanges = changesIn(*onDisk, QStringLiteral("mcp"));
        qInfo("%lld server calls and %lld application writes; the file holds %lld server notes and "
              "application writes up to %lld",
              static_cast<long long>(calls), static_cast<long long>(steps),
              static_cast<long long>(serverChanges.size()),
              static_cast<long long>(appChanges.isEmpty() ? 0 : appChanges.last()));
        QVERIFY(calls > 10);
        QVERIFY(steps > 10);

        // The application never reloads here, so its writes carry no server
        // note and all of its own changes up to that write.
        const qint64 appUpTo = appChanges.isEmpty() ? 0 : appChanges.last();
        compareNotes(*onDisk, tabsPerSide, notesAfter(1, appUpTo, appTab, appNote));
        if (serverChanges.isEmpty()) {
            // The application wrote last: the file is exactly its library.
            QCOMPARE(appUpTo, steps);
            QCOMPARE(*onDisk, library.data());
        } else {
            // The server wrote last: its final call is there, with every call
            // since the application write it built on.
            QCOMPARE(serverChanges.last(), calls);
            compareNotes(*onDisk, 0, notesAfter(serverChanges.first(), calls, serverTab, serverNote));
        }

        // A server write more than half a second after the application's
        // last one is taken in by the next reload.
        QThread::msleep(700);
        const qint64 finalCall = calls + 1;
        m_server.write(addNoteLine(finalCall, serverTab(finalCall), QStringLiteral("mcp final")));
        waitForReplies(int(finalCall));
        if (QTest::currentTestFailed())
            return;
        LibraryData expected = *onDisk;
        for (SavedTab &t : expected.tabs) {
            if (t.id == serverTab(finalCall))
                t.note = QStringLiteral("mcp final");
        }
        QCOMPARE(store.load(), expected);

        QSignalSpy changed(&library, &Library::dataChanged);
        library.reloadIfChangedOnDisk();
        QCOMPARE(changed.count(), 1);
        QCOMPARE(library.data(), expected);

        // The application's next change builds on the server's note.
        library.updateTab(appTab(0), [](SavedTab &t) { t.note = QStringLiteral("app after"); });
        const LibraryData last = store.load();
        QCOMPARE(last.tab(serverTab(finalCall))->note, QStringLiteral("mcp final"));
        QCOMPARE(last.tab(appTab(0))->note, QStringLiteral("app after"));
        QCOMPARE(last, library.data());

        m_server.closeWriteChannel();
        QVERIFY(m_server.waitForFinished(30000));
        QCOMPARE(m_server.exitCode(), 0);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestTwoWriters)
#include "TestTwoWriters.moc"
