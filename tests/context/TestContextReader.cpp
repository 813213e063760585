#include "ContextReader.h"
#include "TextCut.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>
#include "TestRegistry.h"

// Builds a tree from "relative/path=content" entries.
static void makeTree(const QString &root, const QStringList &entries)
{
    for (const QString &entry : entries) {
        const qsizetype eq = entry.indexOf(u'=');
        const QString rel = eq < 0 ? entry : entry.left(eq);
        const QString path = root + u'/' + rel;
        if (rel.endsWith(u'/')) {
            QDir().mkpath(path);
            continue;
        }
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(entry.mid(eq + 1).toUtf8());
    }
}

class TestContextReader : public QObject
{
    Q_OBJECT
private slots:
    void projects_data();
    void projects();
    void freeTextOnly();
    void byteAndCharacterLimits_data();
    void byteAndCharacterLimits();
    void badUtf8IsRepaired();
    void projectCount_data();
    void projectCount();
};

void TestContextReader::projects_data()
{
    QTest::addColumn<QStringList>("tree");
    QTest::addColumn<QStringList>("folders"); // relative to the root; "" is the root
    QTest::addColumn<QString>("freeText");
    QTest::addColumn<QStringList>("expected"); // "name|relative path|text"

    QTest::newRow("claude before readme")
        << QStringList{"p/README.md=r", "p/CLAUDE.md=c"} << QStringList{"p"} << QString()
        << QStringList{"p|p|c\n\nr"};
    QTest::newRow("subfolders by name, free text last")
        << QStringList{"top/beta/README.md=b", "top/Alpha/README.md=a", "top/alpha/README.md=x"}
        << QStringList{"top"} << QString("  notes \n")
        << QStringList{"Alpha|top/Alpha|a", "alpha|top/alpha|x", "beta|top/beta|b",
                       "Eigener Text||notes"};
    QTest::newRow("depth two read, depth three not")
        << QStringList{"r/a/b/README.md=two", "r/a/b/c/README.md=three"} << QStringList{"r"}
        << QString() << QStringList{"b|r/a/b|two"};
    QTest::newRow("only exact names")
        << QStringList{"p/readme.md=x", "p/TODO.yml=x", "p/Claude.md=x", "p/TODO.yaml=t"}
        << QStringList{"p"} << QString() << QStringList{"p|p|t"};
    QTest::newRow("hidden folder and hidden file skipped")
        << QStringList{"p/.git/README.md=x", "p/.README.md=x", "p/q/README.md=q"}
        << QStringList{"p"} << QString() << QStringList{"q|p/q|q"};
    QTest::newRow("files and folders interleaved by name")
        << QStringList{"p/B/README.md=b", "p/CLAUDE.md=c", "p/A/README.md=a", "p/README.md=r"}
        << QStringList{"p"} << QString()
        << QStringList{"A|p/A|a", "B|p/B|b", "p|p|c\n\nr"};
    QTest::newRow("names beyond the basic plane by code point")
        << QStringList{"p/\U0001F600/README.md=e", "p/\uFF21/README.md=f"} << QStringList{"p"} << QString()
        << QStringList{"\uFF21|p/\uFF21|f", "\U0001F600|p/\U0001F600|e"};
    QTest::newRow("same folder twice appends again")
        << QStringList{"p/README.md=r"} << QStringList{"p", "p/"} << QString()
        << QStringList{"p|p|r\n\nr"};
    QTest::newRow("nested chosen folder appends to same project")
        << QStringList{"p/q/README.md=q"} << QStringList{"p", "p/q"} << QString()
        << QStringList{"q|p/q|q\n\nq"};
    QTest::newRow("missing folder and a file path")
        << QStringList{"f/README.md=r"} << QStringList{"nope", "f/README.md"} << QString()
        << QStringList{};
    QTest::newRow("empty file makes no project")
        << QStringList{"p/README.md=", "p/sub/"} << QStringList{"p"} << QString("   \n ")
        << QStringList{};
}

void TestContextReader::projects()
{
    QFETCH(QStringList, tree);
    QFETCH(QStringList, folders);
    QFETCH(QString, freeText);
    QFETCH(QStringList, expected);

    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QString root = QDir(tmp.path()).canonicalPath();
    makeTree(root, tree);

    UserContext context;
    for (const QString &f : folders)
        context.folderPaths.append(root + u'/' + f);
    context.freeText = freeText;

    QStringList got;
    for (const ProjectText &p : ContextReader::projectsFor(context)) {
        QString rel = p.path;
        if (!rel.isEmpty()) {
            QVERIFY2(rel.startsWith(root + u'/'), qPrintable(rel));
            rel = rel.mid(root.size() + 1);
        }
        got.append(p.name + u'|' + rel + u'|' + p.text);
    }
    QCOMPARE(got, expected);
}

void TestContextReader::freeTextOnly()
{
    UserContext context;
    context.freeText = QStringLiteral(" \t Rust Compiler Bau\n ");
    const QList<ProjectText> projects = ContextReader::projectsFor(context);
    QCOMPARE(projects.size(), 1);
    QCOMPARE(projects[0], (ProjectText{"Eigener Text", QString(), "Rust Compiler Bau"}));
}

void TestContextReader::byteAndCharacterLimits_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("expected");

    QTest::newRow("over the byte limit keeps the first bytes")
        << QByteArray(130000, 'a') << TextCut::prefix(QString(120000, u'a'), 30000);
    // Each "e" + combining acute is one character of three bytes: 40,000 of
    // them fit the byte limit but are cut to 30,000 characters.
    const QByteArray eAcute = QByteArray("e\xCC\x81");
    QTest::newRow("characters, not code units")
        << eAcute.repeated(40000) << QString::fromUtf8(eAcute.repeated(30000));
    QTest::newRow("two-byte letter kept whole")
        << QByteArray(29999, 'b') + QByteArray("\xC3\xA4")
        << QString(29999, u'b') + QChar(0xE4);
    QTest::newRow("short file whole") << QByteArray("Hallo\nWelt") << QString("Hallo\nWelt");
    // One replacement per invalid sequence: a sequence cut short counts once,
    // a byte that begins nothing counts alone.
    const QString r(QChar::ReplacementCharacter);
    QTest::newRow("three-byte sequence cut short") << QByteArray("a\xE2\x82" "b") << "a" + r + "b";
    QTest::newRow("four-byte sequence cut short") << QByteArray("a\xF0\x9F\x98" "b") << "a" + r + "b";
    QTest::newRow("overlong and surrogate bytes alone")
        << QByteArray("\xC0\xAF" "-" "\xED\xA0\x80") << r + r + "-" + r + r + r;
}

void TestContextReader::byteAndCharacterLimits()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, expected);
    QTemporaryDir tmp;
    const QString path = tmp.path() + "/README.md";
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(content);
    f.close();
    const std::optional<QString> text = ContextReader::readLimited(path);
    QVERIFY(text.has_value());
    QCOMPARE(TextCut::length(*text), TextCut::length(expected));
    QCOMPARE(*text, expected);
}

void TestContextReader::badUtf8IsRepaired()
{
    QTemporaryDir tmp;
    const QString path = tmp.path() + "/README.md";
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    QByteArray content(119999, 'x');
    content.append("\xE2\x82\xAC"); // the euro sign crosses the byte limit
    f.write(QByteArray("a\xFF" "b") + content);
    f.close();
    const std::optional<QString> text = ContextReader::readLimited(path);
    QVERIFY(text.has_value());
    QVERIFY(text->startsWith(QString("a") + QChar(0xFFFD) + "b"));
    QVERIFY(text->size() <= 30000);
    QVERIFY(!ContextReader::readLimited(tmp.path() + "/missing.md").has_value());
}

void TestContextReader::projectCount_data()
{
    QTest::addColumn<QStringList>("tree");
    QTest::addColumn<QString>("folder");
    QTest::addColumn<qsizetype>("count");
    QTest::newRow("one project") << QStringList{"p/README.md=r"} << "p" << qsizetype(1);
    QTest::newRow("three levels") << QStringList{"p/README.md=r", "p/a/TODO.yaml=t",
                                                 "p/a/b/CLAUDE.md=c", "p/a/b/c/CLAUDE.md=x"}
                                  << "p" << qsizetype(3);
    QTest::newRow("missing folder") << QStringList{} << "missing" << qsizetype(0);
}

void TestContextReader::projectCount()
{
    QFETCH(QStringList, tree);
    QFETCH(QString, folder);
    QFETCH(qsizetype, count);
    QTemporaryDir tmp;
    makeTree(tmp.path(), tree);
    QCOMPARE(ContextReader::projectCountIn(tmp.path() + u'/' + folder), count);
}

PELLMORA_TEST_GUILESS_MAIN(TestContextReader)
#include "TestContextReader.moc"
