#include <QSet>
#include <QTest>

#include "SavedTab.h"
#include "ThemeRules.h"
#include "TopicPalette.h"
#include "TestRegistry.h"

class TestThemeRules : public QObject
{
    Q_OBJECT

private slots:
    void chipKey_data();
    void chipKey();
    void chipLetter_data();
    void chipLetter();
    void fnv1a_data();
    void fnv1a();
    void chipColor_data();
    void chipColor();
    void sameSiteSharesLetterAndColour();
    void topicColor_data();
    void topicColor();
    void everyPaletteKeyHasItsOwnColour();
};

void TestThemeRules::chipKey_data()
{
    QTest::addColumn<QString>("domain");
    QTest::addColumn<QString>("key");
    QTest::newRow("two labels") << "github.com" << "github";
    QTest::newRow("three labels take the middle") << "docs.python.org" << "python";
    QTest::newRow("many labels take the second-to-last") << "a.b.c.d" << "c";
    QTest::newRow("bare host") << "localhost" << "localhost";
    QTest::newRow("empty") << "" << "";
    QTest::newRow("umlaut domain") << "bahn.zürich.ch" << "zürich";
}

void TestThemeRules::chipKey()
{
    QFETCH(QString, domain);
    QFETCH(QString, key);
    QCOMPARE(ThemeRules::chipKey(domain), key);
    SavedTab tab;
    tab.domain = domain;
    QCOMPARE(ThemeRules::chipKey(tab), key);
}

void TestThemeRules::chipLetter_data()
{
    QTest::addColumn<QString>("domain");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("letter");
    QTest::newRow("site part upper-cased") << "github.com" << "Repo" << "G";
    QTest::newRow("sub-domain ignored") << "docs.python.org" << "" << "P";
    QTest::newRow("bare host") << "localhost" << "" << "L";
    QTest::newRow("r-site") << "reddit.com" << "Thread" << "r";
    QTest::newRow("r-site other tld") << "reddit.co.uk" << "" << "r";
    QTest::newRow("r-site only as prefix") << "old.reddit.com" << "" << "R";
    QTest::newRow("r-site needs the dot") << "redditfan.com" << "" << "R";
    QTest::newRow("no domain uses the title") << "" << "über uns" << "Ü";
    QTest::newRow("nothing at all") << "" << "" << "?";
    QTest::newRow("umlaut site") << "äpfel.ch" << "" << "Ä";
    QTest::newRow("combining accent stays whole") << "" << QString::fromUtf8("e\xCC\x81tude")
                                                  << QString::fromUtf8("E\xCC\x81");
    QTest::newRow("emoji stays whole") << "" << QString::fromUtf8("\xF0\x9F\x8C\x99 Nacht")
                                       << QString::fromUtf8("\xF0\x9F\x8C\x99");
    QTest::newRow("digit") << "9gag.com" << "" << "9";
}

void TestThemeRules::chipLetter()
{
    QFETCH(QString, domain);
    QFETCH(QString, title);
    QFETCH(QString, letter);
    QCOMPARE(ThemeRules::chipLetter(domain, title), letter);
    SavedTab tab;
    tab.domain = domain;
    tab.title = title;
    QCOMPARE(ThemeRules::chipLetter(tab), letter);
}

void TestThemeRules::fnv1a_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<quint32>("hash");
    // Reference values computed outside this code base.
    QTest::newRow("empty is the offset basis") << "" << quint32(2166136261u);
    QTest::newRow("a") << "a" << quint32(3826002220u);
    QTest::newRow("github") << "github" << quint32(584874290u);
    QTest::newRow("python") << "python" << quint32(265224087u);
    QTest::newRow("utf-8 bytes, not code units") << "zürich" << quint32(2932497984u);
}

void TestThemeRules::fnv1a()
{
    QFETCH(QString, key);
    QFETCH(quint32, hash);
    QCOMPARE(ThemeRules::fnv1a(key.toUtf8()), hash);
}

void TestThemeRules::chipColor_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("index");
    QTest::newRow("empty key") << "" << 1;
    QTest::newRow("github") << "github" << 0;
    QTest::newRow("python") << "python" << 7;
    QTest::newRow("zürich") << "zürich" << 4;
    QTest::newRow("localhost") << "localhost" << 8;
    QTest::newRow("wikipedia") << "wikipedia" << 4;
}

void TestThemeRules::chipColor()
{
    QFETCH(QString, key);
    QFETCH(int, index);
    QCOMPARE(ThemeRules::chipPaletteIndex(key), index);
}

void TestThemeRules::sameSiteSharesLetterAndColour()
{
    SavedTab docs;
    docs.domain = QStringLiteral("docs.python.org");
    SavedTab wiki;
    wiki.domain = QStringLiteral("wiki.python.org");
    QCOMPARE(ThemeRules::chipLetter(docs), ThemeRules::chipLetter(wiki));
    QCOMPARE(ThemeRules::chipColor(ThemeRules::chipKey(docs)),
             ThemeRules::chipColor(ThemeRules::chipKey(wiki)));
}

void TestThemeRules::topicColor_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("unknown") << "magenta";
    QTest::newRow("case matters") << "Gelb";
    QTest::newRow("empty") << "";
}

// Names outside the palette take the grey of unsorted tabs.
void TestThemeRules::topicColor()
{
    QFETCH(QString, name);
    QCOMPARE(ThemeRules::topicColor(name), ThemeRules::topicColor(TopicPalette::unsorted()));
}

void TestThemeRules::everyPaletteKeyHasItsOwnColour()
{
    const QColor grey = ThemeRules::topicColor(TopicPalette::unsorted());
    QSet<QRgb> seen;
    for (const QString &key : TopicPalette::names()) {
        const QColor c = ThemeRules::topicColor(key);
        QVERIFY2(c != grey, qPrintable(key));
        seen.insert(c.rgb());
    }
    QCOMPARE(seen.size(), TopicPalette::names().size());
}

PELLMORA_TEST_GUILESS_MAIN(TestThemeRules)
#include "TestThemeRules.moc"
