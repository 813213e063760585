#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "OsascriptRunner.h"
#include "SafariBridge.h"
#include "TestRegistry.h"
#include "TestSupport.h"

// The way to Safari on macOS: the snapshot script run through an `osascript`
// on PATH that records what it gets and prints what a real one would, its
// printed answer read back into windows or an error.
class TestOsascriptRunner : public QObject
{
    Q_OBJECT

private slots:
    void snapshot_data();

    void snapshot()
    {
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QFETCH(std::optional<SafariError>, error);
        QTemporaryDir dir;
        const QByteArray d = dir.path().toLocal8Bit();
        QVERIFY(TestSupport::writeFile(dir.filePath("answer.out"), out) && TestSupport::writeFile(dir.filePath("answer.err"), err));
        QVERIFY(TestSupport::writeFile(dir.filePath("osascript"), "#!/bin/sh\nprintf '%s ' \"$@\" > '" + d + "/args'\ncat > '" + d
                                           + "/input'\ncat '" + d + "/answer.out'\ncat '" + d + "/answer.err' >&2\nexit "
                                           + (err.isEmpty() ? "0" : "1") + "\n"));
        QVERIFY(QFile::setPermissions(dir.filePath("osascript"), QFile::ReadOwner | QFile::ExeOwner));

        const ScriptRunner::Outcome outcome = OsascriptRunner(dir.filePath("osascript")).run(SafariBridge::snapshotScript());
        QCOMPARE(TestSupport::readFile(dir.filePath("input")), SafariBridge::snapshotScript().toUtf8());
        QCOMPARE(TestSupport::readFile(dir.filePath("args")), "-s s ");
        const auto *value = std::get_if<ScriptValue>(&outcome);
        QCOMPARE(!value, error.has_value());
        if (value) {
            QTEST(SafariBridge::parseWindows(*value), "windows");
        } else {
            const SafariError got = SafariBridge::errorFor(std::get<ScriptRunner::Failure>(outcome));
            QCOMPARE(got.kind, error->kind);
            QCOMPARE(got.code, error->code);
            if (!error->message.isEmpty())
                QCOMPARE(got.message, error->message);
        }
    }
};

void TestOsascriptRunner::snapshot_data()
{
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<QList<SafariWindow>>("windows");
    QTest::addColumn<std::optional<SafariError>>("error"); // none: the answer is read

    // Blank tabs keep their positions; a window of only blank tabs is left out;
    // a window of one tab comes as plain values.
    QTest::newRow("windows")
        << QByteArray(R"({{1, {"https://a.example/?q=\"x\"\\", "about:blank", "https://c.example/"}, {"Zürich · Café 😀", "Leer", missing value}},)"
                      R"( {2, {"favorites://"}, {"Favoriten"}}, {3, "https://solo.example/", ""}})")
        << QByteArray()
        << QList<SafariWindow>{{1, {{"Zürich · Café 😀", "https://a.example/?q=\"x\"\\", 1}, {"https://c.example/", "https://c.example/", 3}}},
                               {3, {{"", "https://solo.example/", 1}}}}
        << std::optional<SafariError>();
    const QByteArray deep(64, '{');
    QTest::newRow("64 lists deep") << deep + QByteArray(64, '}') << QByteArray() << QList<SafariWindow>{} << std::optional<SafariError>();
    const std::optional unreadable = SafariError::scriptFailed(0, {});
    QTest::newRow("65 lists deep") << deep + "{}" + QByteArray(64, '}') << QByteArray() << QList<SafariWindow>{} << unreadable;
    QTest::newRow("far too deep for the stack")
        << QByteArray(200000, '{') + QByteArray(200000, '}') << QByteArray() << QList<SafariWindow>{} << unreadable;
    for (const char *broken : {"{\"abc}", "{1 2}", "{1}x", "{1, 2"})
        QTest::newRow(broken) << QByteArray(broken) << QByteArray() << QList<SafariWindow>{} << unreadable;
    QTest::newRow("permission") << QByteArray() << QByteArray("27:60: execution error: Not authorized to send Apple events to Safari. (-1743)\n")
                                << QList<SafariWindow>{} << std::optional(SafariError::permissionDenied());
    QTest::newRow("not running") << QByteArray() << QByteArray("0:40: execution error: Safari got an error: Connection is invalid. (-609)")
                                 << QList<SafariWindow>{} << std::optional(SafariError::notRunning());
    QTest::newRow("other error") << QByteArray() << QByteArray("0:9: execution error: Safari got an error: Can’t get window 2. (-1728)\n")
                                 << QList<SafariWindow>{} << std::optional(SafariError::scriptFailed(-1728, "Safari got an error: Can’t get window 2."));
}

PELLMORA_TEST_GUILESS_MAIN(TestOsascriptRunner)
#include "TestOsascriptRunner.moc"
