#include "LibraryData.h"
#include "TextCut.h"
#include "TopicPalette.h"

#include <QTest>
#include "TestRegistry.h"

namespace {

SavedTab tab(const QString &url)
{
    SavedTab t;
    t.id = QUuid::createUuid();
    t.url = url;
    return t;
}

} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void domainOf_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("domain");
        QTest::newRow("capitals and www") << "https://WWW.Example.ORG/x" << "example.org";
        QTest::newRow("www twice") << "https://www.www.a.ch" << "www.a.ch";
        QTest::newRow("www2 stays") << "http://www2.a.ch" << "www2.a.ch";
        QTest::newRow("m stays") << "https://m.a.ch" << "m.a.ch";
        QTest::newRow("port and user") << "https://u@www.a.ch:8080/p" << "a.ch";
        QTest::newRow("no address") << "kein Link" << "";
        QTest::newRow("mail link") << "mailto:a@b.ch" << "";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("about") << "about:blank" << "";
        // As browsers report them, unescaped.
        QTest::newRow("bar in query") << "https://www.google.com/search?q=a|b" << "google.com";
        QTest::newRow("braces and blank") << "https://example.org/a b/{x}^`" << "example.org";
        QTest::newRow("international host") << "https://bücher.de/x" << "xn--bcher-kva.de";
        QTest::newRow("international host, ASCII form") << "https://XN--BCHER-KVA.de/x" << "xn--bcher-kva.de";
    }

    void domainOf()
    {
        QFETCH(QString, url);
        QFETCH(QString, domain);
        QCOMPARE(SavedTab::domainOf(url), domain);
    }

    void searchableText_data()
    {
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QStringList>("tags");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("title only") << "Titel" << "" << QStringList{} << "" << "Titel";
        QTest::newRow("all parts") << "T" << "S." << QStringList{"a", "b"} << "Text"
                                   << "T. a.ch. S.. a b. N. Text";
    }

    void searchableText()
    {
        QFETCH(QString, title);
        QFETCH(QString, summary);
        QFETCH(QStringList, tags);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        SavedTab t;
        t.title = title;
        t.summary = summary;
        t.tags = tags;
        t.text = text;
        if (!tags.isEmpty()) {
            t.domain = QStringLiteral("a.ch");
            t.note = QStringLiteral("N");
        }
        QCOMPARE(t.searchableText(), expected);
    }

    void searchableTextCutsTextByCharacters()
    {
        SavedTab t;
        // 1,499 plain letters and then a flag emoji made of two code points:
        // the cut must not split it.
        t.text = QString(1499, u'a') + QStringLiteral("🇨🇭") + QStringLiteral("zzz");
        QCOMPARE(t.searchableText(), QString(1499, u'a') + QStringLiteral("🇨🇭"));
    }

    void textCut_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("prefix");
        QTest::newRow("ascii") << "abcdef" << 6 << 3 << "abc";
        QTest::newRow("combining accent") << "e\u0301e\u0301e" << 3 << 2 << "e\u0301e\u0301";
        QTest::newRow("skin tone") << "👋🏽👋🏽x" << 3 << 1 << "👋🏽";
        QTest::newRow("family zwj") << "👨‍👩‍👧ab" << 3 << 1 << "👨‍👩‍👧";
        QTest::newRow("crlf is one") << "a\r\nb" << 3 << 2 << "a\r\n";
        QTest::newRow("shorter than count") << "ab" << 2 << 5 << "ab";
        QTest::newRow("empty") << "" << 0 << 3 << "";
    }

    void textCut()
    {
        QFETCH(QString, text);
        QFETCH(int, length);
        QFETCH(int, count);
        QFETCH(QString, prefix);
        QCOMPARE(TextCut::length(text), length);
        QCOMPARE(TextCut::prefix(text, count), prefix);
        QCOMPARE(TextCut::offsetOf(text, count), prefix.size());
    }

    void tabsInFollowsLibraryOrder()
    {
        LibraryData d;
        d.tabs = {tab("https://1"), tab("https://2"), tab("https://3")};
        Topic topic;
        topic.id = QUuid::createUuid();
        topic.tabIds = {d.tabs[2].id, QUuid::createUuid(), d.tabs[0].id, d.tabs[2].id};
        const QList<SavedTab> in = d.tabsIn(topic);
        QCOMPARE(in.size(), 2);
        QCOMPARE(in[0].id, d.tabs[0].id);
        QCOMPARE(in[1].id, d.tabs[2].id);

        SavedWindow window;
        window.id = QUuid::createUuid();
        window.tabIds = {d.tabs[1].id};
        QCOMPARE(d.tabsIn(window).size(), 1);
        d.windows = {window};
        d.tabs[1].windowId = window.id;
        QCOMPARE(d.windowOf(d.tabs[1])->id, window.id);
        QVERIFY(!d.windowOf(d.tabs[0]));
        QVERIFY(!d.topicOf(d.tabs[0]));
        d.topics = {topic};
        d.tabs[0].topicId = topic.id;
        QCOMPARE(d.topicOf(d.tabs[0])->id, topic.id);
        QVERIFY(!d.tab(QUuid::createUuid()));
    }

    void dueReminders()
    {
        const QDateTime now(QDate(2026, 11, 16), QTime(9, 0), Qt::UTC);
        LibraryData d;
        d.tabs = {tab("https://none"), tab("https://at"), tab("https://later"), tab("https://past")};
        d.tabs[1].reminderAt = now;
        d.tabs[2].reminderAt = now.addSecs(1);
        d.tabs[3].reminderAt = now.addDays(-1);
        const QList<SavedTab> due = d.dueReminders(now);
        QCOMPARE(due.size(), 2);
        QCOMPARE(due[0].url, QStringLiteral("https://at"));
        QCOMPARE(due[1].url, QStringLiteral("https://past"));
    }

    void openHintsSkipDismissed()
    {
        LibraryData d;
        d.hints = {Hint{QUuid::createUuid(), {}, "a", {}, true}, Hint{QUuid::createUuid(), {}, "b", {}, false}};
        QCOMPARE(d.openHints().size(), 1);
        QCOMPARE(d.openHints().at(0).reason, QStringLiteral("b"));
    }

    void windowTitle()
    {
        const QDateTime date(QDate(2026, 11, 16), QTime(19, 31), Qt::UTC); // 20:31 in Zurich
        QCOMPARE(SavedWindow::makeTitle(2, date), QStringLiteral("Fenster 2 · 16.11. 20:31"));
    }

    void palette()
    {
        QCOMPARE(TopicPalette::names().size(), 12);
        QCOMPARE(TopicPalette::names().first(), QStringLiteral("gelb"));
        QCOMPARE(TopicPalette::names().last(), QStringLiteral("indigo"));
        QCOMPARE(TopicPalette::unsorted(), QStringLiteral("grau"));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestRecords)
#include "TestRecords.moc"
