#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include "OsascriptRunner.h"
#include "SafariBridge.h"
#include "TestRegistry.h"

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

class TestOsascriptRunner : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void parseValue_data();
    void parseValue();
    void parseFailure_data();
    void parseFailure();
    void endToEnd_data();
    void endToEnd();
    void missingProgram();

private:
    // Puts an `osascript` on PATH that records its input and arguments and
    // prints the given answer.
    void installFake(const QByteArray &out, const QByteArray &err, int exitCode);
    QByteArray recordedInput() const;

    QTemporaryDir m_dir;
    QByteArray m_oldPath;
};

void TestOsascriptRunner::init()
{
    QVERIFY(m_dir.isValid());
    m_oldPath = qgetenv("PATH");
    qputenv("PATH", m_dir.path().toLocal8Bit() + ':' + m_oldPath);
}

void TestOsascriptRunner::cleanup()
{
    qputenv("PATH", m_oldPath);
}

void TestOsascriptRunner::installFake(const QByteArray &out, const QByteArray &err, int exitCode)
{
    QFile(m_dir.filePath("out")).remove();
    QFile outFile(m_dir.filePath("answer.out"));
    QVERIFY(outFile.open(QIODevice::WriteOnly));
    outFile.write(out);
    outFile.close();
    QFile errFile(m_dir.filePath("answer.err"));
    QVERIFY(errFile.open(QIODevice::WriteOnly));
    errFile.write(err);
    errFile.close();
    const QByteArray dir = m_dir.path().toLocal8Bit();
    QFile script(m_dir.filePath("osascript"));
    QVERIFY(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\n"
                 "printf '%s ' \"$@\" > '" + dir + "/args'\n"
                 "cat > '" + dir + "/input'\n"
                 "cat '" + dir + "/answer.out'\n"
                 "cat '" + dir + "/answer.err' >&2\n"
                 "exit " + QByteArray::number(exitCode) + "\n");
    script.close();
    QVERIFY(script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

QByteArray TestOsascriptRunner::recordedInput() const
{
    QFile file(m_dir.filePath("input"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void TestOsascriptRunner::parseValue_data()
{
    QTest::addColumn<QString>("printed");
    QTest::addColumn<std::optional<ScriptValue>>("expected");

    QTest::newRow("integer") << "42\n" << std::optional<V>(V::integer(42));
    QTest::newRow("negative") << "-17" << std::optional<V>(V::integer(-17));
    QTest::newRow("nothing") << "" << std::optional<V>(V());
    QTest::newRow("missing value") << "missing value\n" << std::optional<V>(V());
    QTest::newRow("empty list") << "{}" << std::optional<V>(l({}));
    QTest::newRow("nested")
        << "{1, \"a\", {2, \"b\"}}\n" << std::optional<V>(l({V::integer(1), s("a"), l({V::integer(2), s("b")})}));
    QTest::newRow("escapes")
        << R"({"say \"hi\"", "C:\\dir", "tab\there"})"
        << std::optional<V>(l({s("say \"hi\""), s("C:\\dir"), s("tab\there")}));
    QTest::newRow("unicode") << QString::fromUtf8("{\"Zürich · Café 😀\", missing value}")
                             << std::optional<V>(l({s(QString::fromUtf8("Zürich · Café 😀")), V()}));
    QTest::newRow("snapshot shape")
        << R"({{1, {"https://a.example/", "favorites://"}, {"A", "Favoriten"}}, {3, "https://b.example/", "B"}})"
        << std::optional<V>(l({l({V::integer(1), l({s("https://a.example/"), s("favorites://")}), l({s("A"), s("Favoriten")})}),
                               l({V::integer(3), s("https://b.example/"), s("B")})}));
    QTest::newRow("unterminated string") << "{\"abc}" << std::optional<V>();
    QTest::newRow("missing comma") << "{1 2}" << std::optional<V>();
    QTest::newRow("trailing junk") << "{1}x" << std::optional<V>();
    QTest::newRow("unclosed list") << "{1, 2" << std::optional<V>();
    V deep = l({});
    for (int i = 1; i < 64; ++i)
        deep = l({deep});
    QTest::newRow("64 lists deep") << QString(64, u'{') + QString(64, u'}') << std::optional<V>(deep);
    QTest::newRow("65 lists deep") << QString(65, u'{') + QString(65, u'}') << std::optional<V>();
    QTest::newRow("far too deep for the stack")
        << QString(200000, u'{') + QString(200000, u'}') << std::optional<V>();
}

void TestOsascriptRunner::parseValue()
{
    QFETCH(QString, printed);
    QFETCH(std::optional<ScriptValue>, expected);
    QCOMPARE(OsascriptRunner::parseValue(printed), expected);
}

void TestOsascriptRunner::parseFailure_data()
{
    QTest::addColumn<QString>("stderrText");
    QTest::addColumn<ScriptRunner::Failure>("expected");

    QTest::newRow("permission")
        << "27:60: execution error: Not authorized to send Apple events to Safari. (-1743)\n"
        << ScriptRunner::Failure{-1743, QString("Not authorized to send Apple events to Safari."), false};
    QTest::newRow("not running") << "0:40: execution error: Safari got an error: Connection is invalid. (-609)"
                                 << ScriptRunner::Failure{-609, QString("Safari got an error: Connection is invalid."), false};
    QTest::newRow("syntax") << "12:15: syntax error: Expected end of line but found identifier. (-2741)"
                            << ScriptRunner::Failure{-2741, QString("Expected end of line but found identifier."), true};
    QTest::newRow("no number") << "1:2: execution error: Something odd"
                               << ScriptRunner::Failure{std::nullopt, QString("Something odd"), false};
    QTest::newRow("nothing") << "" << ScriptRunner::Failure{};
}

void TestOsascriptRunner::parseFailure()
{
    QFETCH(QString, stderrText);
    QFETCH(ScriptRunner::Failure, expected);
    QCOMPARE(OsascriptRunner::parseFailure(stderrText), expected);
}

void TestOsascriptRunner::endToEnd_data()
{
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("err");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QList<SafariWindow>>("windows");
    QTest::addColumn<SafariError>("error");

    QTest::newRow("windows")
        << QByteArray(R"({{1, {"https://a.example/?q=\"x\"", "about:blank", "https://c.example/"}, {"A", "Leer", missing value}}})"
                      "\n")
        << QByteArray() << 0 << true
        << QList<SafariWindow>{{1,
                                {{"A", "https://a.example/?q=\"x\"", 1},
                                 {"https://c.example/", "https://c.example/", 3}}}}
        << SafariError{};
    QTest::newRow("permission")
        << QByteArray() << QByteArray("27:60: execution error: Not authorized to send Apple events to Safari. (-1743)\n")
        << 1 << false << QList<SafariWindow>{} << SafariError::permissionDenied();
    QTest::newRow("other error")
        << QByteArray() << QByteArray("0:9: execution error: Safari got an error: Can’t get window 2. (-1728)\n") << 1
        << false << QList<SafariWindow>{}
        << SafariError::scriptFailed(-1728, QString::fromUtf8("Safari got an error: Can’t get window 2."));
    QTest::newRow("unreadable answer") << QByteArray("{{1, ") << QByteArray() << 0 << false << QList<SafariWindow>{}
                                       << SafariError::scriptFailed(0, "Antwort unlesbar");
}

void TestOsascriptRunner::endToEnd()
{
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, err);
    QFETCH(int, exitCode);
    QFETCH(bool, ok);
    QFETCH(QList<SafariWindow>, windows);
    QFETCH(SafariError, error);

    installFake(out, err, exitCode);
    OsascriptRunner runner;
    const ScriptRunner::Outcome outcome = runner.run(SafariBridge::snapshotScript());
    QCOMPARE(recordedInput(), SafariBridge::snapshotScript().toUtf8());
    QFile args(m_dir.filePath("args"));
    QVERIFY(args.open(QIODevice::ReadOnly));
    QCOMPARE(args.readAll(), QByteArray("-s s "));

    if (ok) {
        const ScriptValue *value = std::get_if<ScriptValue>(&outcome);
        QVERIFY(value);
        QCOMPARE(SafariBridge::parseWindows(*value), windows);
    } else {
        const ScriptRunner::Failure *failure = std::get_if<ScriptRunner::Failure>(&outcome);
        QVERIFY(failure);
        QCOMPARE(SafariBridge::errorFor(*failure), error);
    }
}

void TestOsascriptRunner::missingProgram()
{
    OsascriptRunner runner(m_dir.filePath("no-such-osascript"));
    const ScriptRunner::Outcome outcome = runner.run(QStringLiteral("return 1"));
    QVERIFY(std::holds_alternative<ScriptRunner::Failure>(outcome));
    QVERIFY(!runner.isRunning(QStringLiteral("com.apple.Safari")));
}

PELLMORA_TEST_GUILESS_MAIN(TestOsascriptRunner)
#include "TestOsascriptRunner.moc"
