#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "OsascriptRunner.h"
#include "SafariBridge.h"
#include "TestRegistry.h"
#include "TestSupport.h"

namespace {

using V = ScriptValue;

V s(const QString &text)
{
    return V::string(text);
}

V l(QList<V> items)
{
    return V::list(std::move(items));
}

} // namespace

// The way to Safari on macOS: scripts run through `osascript`, their printed
// answers read back into values, windows and errors.
class TestOsascriptRunner : public QObject
{
    Q_OBJECT

private slots:
    void parseValue_data();

    void parseValue()
    {
        QFETCH(QString, printed);
        QTEST(OsascriptRunner::parseValue(printed), "expected");
    }

    // A Safari snapshot through an `osascript` on PATH that records its input
    // and prints what a real one would.
    void snapshot_data();

    void snapshot()
    {
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QTemporaryDir dir;
        QVERIFY(TestSupport::writeFile(dir.filePath("answer.out"), out) && TestSupport::writeFile(dir.filePath("answer.err"), err));
        const QByteArray d = dir.path().toLocal8Bit();
        QVERIFY(TestSupport::writeFile(dir.filePath("osascript"), "#!/bin/sh\nprintf '%s ' \"$@\" > '" + d + "/args'\ncat > '" + d
                                           + "/input'\ncat '" + d + "/answer.out'\ncat '" + d + "/answer.err' >&2\nexit "
                                           + (err.isEmpty() ? "0" : "1") + "\n"));
        QVERIFY(QFile::setPermissions(dir.filePath("osascript"), QFile::ReadOwner | QFile::ExeOwner));

        const ScriptRunner::Outcome outcome = OsascriptRunner(dir.filePath("osascript")).run(SafariBridge::snapshotScript());
        QCOMPARE(TestSupport::readFile(dir.filePath("input")), SafariBridge::snapshotScript().toUtf8());
        QCOMPARE(TestSupport::readFile(dir.filePath("args")), "-s s ");
        if (const auto *value = std::get_if<ScriptValue>(&outcome))
            QTEST(SafariBridge::parseWindows(*value), "windows");
        else
            QTEST(SafariBridge::errorFor(std::get<ScriptRunner::Failure>(outcome)), "error");
        QCOMPARE(std::holds_alternative<ScriptValue>(outcome), err.isEmpty());
    }

    void missingProgram()
    {
        OsascriptRunner runner(QStringLiteral("/nicht/da/osascript"));
        QVERIFY(std::holds_alternative<ScriptRunner::Failure>(runner.run(QStringLiteral("return 1"))));
        QVERIFY(!runner.isRunning(QStringLiteral("com.apple.Safari")));
    }
};

void TestOsascriptRunner::parseValue_data()
{
    QTest::addColumn<QString>("printed");
    QTest::addColumn<std::optional<ScriptValue>>("expected");
    QTest::newRow("negative") << "-17\n" << std::optional(V::integer(-17));
    QTest::newRow("nothing") << "" << std::optional(V());
    QTest::newRow("missing value") << "missing value\n" << std::optional(V());
    QTest::newRow("empty list") << "{}" << std::optional(l({}));
    QTest::newRow("nested") << "{1, \"a\", {2, \"b\"}}" << std::optional(l({V::integer(1), s("a"), l({V::integer(2), s("b")})}));
    QTest::newRow("escapes") << R"({"say \"hi\"", "C:\\dir", "tab\there"})"
                             << std::optional(l({s("say \"hi\""), s("C:\\dir"), s("tab\there")}));
    QTest::newRow("unicode") << QString::fromUtf8("{\"Zürich · Café 😀\", missing value}")
                             << std::optional(l({s(QString::fromUtf8("Zürich · Café 😀")), V()}));
    QTest::newRow("unterminated string") << "{\"abc}" << std::optional<V>();
    QTest::newRow("missing comma") << "{1 2}" << std::optional<V>();
    QTest::newRow("trailing junk") << "{1}x" << std::optional<V>();
    QTest::newRow("unclosed list") << "{1, 2" << std::optional<V>();
    V deep = l({});
    for (int i = 1; i < 64; ++i)
        deep = l({deep});
    QTest::newRow("64 lists deep") << QString(64, u'{') + QString(64, u'}') << std::optional(deep);
    QTest::newRow("65 lists deep") << QString(65, u'{') + QString(65, u'}') << std::optional<V>();
    QTest::newRow("far too deep for the stack") << QString(200000, u'{') + QString(200000, u'}') << std::optional<V>();
}

void TestOsascriptRunner::snapshot_data()
{
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<QList<SafariWindow>>("windows");
    QTest::addColumn<SafariError>("error");

    // Blank tabs keep their positions; a window of only blank tabs is left
    // out; a window of one tab comes as plain values.
    QTest::newRow("windows")
        << QByteArray(R"({{1, {"https://a.example/?q=\"x\"", "about:blank", "https://c.example/"}, {"A", "Leer", missing value}},)"
                      R"( {2, {"favorites://"}, {"Favoriten"}}, {3, "https://solo.example/", ""}})")
        << QByteArray()
        << QList<SafariWindow>{{1, {{"A", "https://a.example/?q=\"x\"", 1}, {"https://c.example/", "https://c.example/", 3}}},
                               {3, {{"", "https://solo.example/", 1}}}}
        << SafariError{};
    QTest::newRow("permission") << QByteArray() << QByteArray("27:60: execution error: Not authorized to send Apple events to Safari. (-1743)\n")
                                << QList<SafariWindow>{} << SafariError::permissionDenied();
    QTest::newRow("not running") << QByteArray() << QByteArray("0:40: execution error: Safari got an error: Connection is invalid. (-609)")
                                 << QList<SafariWindow>{} << SafariError::notRunning();
    QTest::newRow("other error") << QByteArray() << QByteArray("0:9: execution error: Safari got an error: Can’t get window 2. (-1728)\n")
                                 << QList<SafariWindow>{}
                                 << SafariError::scriptFailed(-1728, QString::fromUtf8("Safari got an error: Can’t get window 2."));
}

PELLMORA_TEST_GUILESS_MAIN(TestOsascriptRunner)
#include "TestOsascriptRunner.moc"
