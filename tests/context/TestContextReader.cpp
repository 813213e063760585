#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include "ContextReader.h"
#include "TestSupport.h"
#include "TestRegistry.h"

class TestContextReader : public QObject
{
    Q_OBJECT

private slots:
    void projects_data()
    {
        QTest::addColumn<QStringList>("tree");    // "relative/path=content"; a path ending in '/' is a folder
        QTest::addColumn<QStringList>("folders"); // relative to the root
        QTest::addColumn<QString>("freeText");
        QTest::addColumn<QStringList>("expected"); // "name|relative path|text"
        QTest::newRow("claude before readme") << QStringList{"p/README.md=r", "p/CLAUDE.md=c"} << QStringList{"p"} << QString()
                                              << QStringList{"p|p|c\n\nr"};
        QTest::newRow("subfolders by name, free text last")
            << QStringList{"top/beta/README.md=b", "top/Alpha/README.md=a", "top/alpha/README.md=x"} << QStringList{"top"}
            << QString("  notes \n") << QStringList{"Alpha|top/Alpha|a", "alpha|top/alpha|x", "beta|top/beta|b", "Eigener Text||notes"};
        QTest::newRow("depth two read, depth three not") << QStringList{"r/a/b/README.md=two", "r/a/b/c/README.md=three"}
                                                         << QStringList{"r"} << QString() << QStringList{"b|r/a/b|two"};
        QTest::newRow("only exact names") << QStringList{"p/readme.md=x", "p/TODO.yml=x", "p/Claude.md=x", "p/TODO.yaml=t"}
                                          << QStringList{"p"} << QString() << QStringList{"p|p|t"};
        QTest::newRow("hidden folder and hidden file skipped")
            << QStringList{"p/.git/README.md=x", "p/.README.md=x", "p/q/README.md=q"} << QStringList{"p"} << QString()
            << QStringList{"q|p/q|q"};
        QTest::newRow("files and folders interleaved by name")
            << QStringList{"p/B/README.md=b", "p/CLAUDE.md=c", "p/A/README.md=a", "p/README.md=r"} << QStringList{"p"}
            << QString() << QStringList{"A|p/A|a", "B|p/B|b", "p|p|c\n\nr"};
        QTest::newRow("names beyond the basic plane by code point")
            << QStringList{"p/\U0001F600/README.md=e", "p/\uFF21/README.md=f"} << QStringList{"p"} << QString()
            << QStringList{"\uFF21|p/\uFF21|f", "\U0001F600|p/\U0001F600|e"};
        QTest::newRow("nested chosen folder appends to the same project")
            << QStringList{"p/q/README.md=q"} << QStringList{"p", "p/q/"} << QString() << QStringList{"q|p/q|q\n\nq"};
        QTest::newRow("missing folder, a file path, an empty file")
            << QStringList{"f/README.md=", "f/sub/"} << QStringList{"nope", "f/README.md", "f"} << QString("   \n ")
            << QStringList{};
    }

    void projects()
    {
        QFETCH(QStringList, tree);
        QFETCH(QStringList, folders);
        QFETCH(QString, freeText);
        QFETCH(QStringList, expected);
        QTemporaryDir tmp;
        const QString root = QDir(tmp.path()).canonicalPath();
        for (const QString &entry : tree) {
            if (entry.endsWith(u'/'))
                QVERIFY(QDir().mkpath(root + u'/' + entry));
            else
                QVERIFY(TestSupport::writeFile(root + u'/' + entry.section(u'=', 0, 0), entry.section(u'=', 1).toUtf8()));
        }
        UserContext context;
        for (const QString &f : folders)
            context.folderPaths.append(root + u'/' + f);
        context.freeText = freeText;
        QStringList got;
        for (const ProjectText &p : ContextReader::projectsFor(context))
            got.append(p.name + u'|' + p.path.mid(root.size() + 1) + u'|' + p.text);
        QCOMPARE(got, expected);
        if (folders.size() == 1)
            QCOMPARE(ContextReader::projectCountIn(context.folderPaths[0]), expected.size() - (freeText.isEmpty() ? 0 : 1));
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

PELLMORA_TEST_GUILESS_MAIN(TestContextReader)
#include "TestContextReader.moc"
