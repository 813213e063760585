#include <QSet>
#include <QTest>

#include "DemoData.h"
#include "FakeClock.h"
#include "TestRegistry.h"

class TestDemoData : public QObject
{
    Q_OBJECT

private slots:
    void windowShape_data();
    void windowShape();
    void entriesPerSubject_data();
    void entriesPerSubject();
    void entryRows();
    void deviations();
    void reminders();
    void snapshot();
    void textFor_data();
    void textFor();
    void contentIndependentOfNow();
};

namespace {

const QDateTime fixedNow(QDate(2026, 11, 16), QTime(20, 31), Qt::LocalTime);

} // namespace

void TestDemoData::windowShape_data()
{
    QTest::addColumn<int>("window");
    QTest::addColumn<int>("tabs");
    QTest::addColumn<QDateTime>("savedAt");
    QTest::addColumn<QString>("title");
    QTest::newRow("1") << 1 << 14 << QDateTime(QDate(2026, 11, 14), QTime(19, 12), Qt::LocalTime)
                       << QString::fromUtf8("Fenster 1 · 14.11. 19:12");
    QTest::newRow("2") << 2 << 19 << QDateTime(QDate(2026, 11, 7), QTime(18, 5), Qt::LocalTime)
                       << QString::fromUtf8("Fenster 2 · 07.11. 18:05");
    QTest::newRow("3") << 3 << 19 << QDateTime(QDate(2026, 10, 31), QTime(22, 40), Qt::LocalTime)
                       << QString::fromUtf8("Fenster 3 · 31.10. 22:40");
}

void TestDemoData::windowShape()
{
    QFETCH(int, window);
    QFETCH(int, tabs);
    QFETCH(QDateTime, savedAt);
    QFETCH(QString, title);

    const LibraryData data = DemoData::library(fixedNow);
    QCOMPARE(data.tabs.size(), 52);
    QCOMPARE(data.windows.size(), 3);
    const SavedWindow &record = data.windows.at(window - 1);
    QCOMPARE(record.tabIds.size(), tabs);
    QCOMPARE(record.savedAt, savedAt);
    QCOMPARE(record.title, title);
    const QList<SavedTab> inWindow = data.tabsIn(record);
    QCOMPARE(inWindow.size(), tabs);
    for (qsizetype i = 0; i < inWindow.size(); ++i) {
        const SavedTab &tab = inWindow.at(i);
        QCOMPARE(tab.windowIndex, window);
        QCOMPARE(tab.tabIndex, i + 1);
        QCOMPARE(tab.windowId, record.id);
        QCOMPARE(tab.savedAt, savedAt);
        QVERIFY(tab.isDemo);
        QVERIFY(!tab.topicId);
        QVERIFY(!tab.domain.isEmpty());
    }
}

void TestDemoData::entriesPerSubject_data()
{
    QTest::addColumn<DemoData::Key>("key");
    QTest::addColumn<QList<int>>("perWindow");
    QTest::newRow("trip") << DemoData::Key::trip << QList<int>{8, 0, 2};
    QTest::newRow("office") << DemoData::Key::office << QList<int>{0, 10, 0};
    QTest::newRow("swift") << DemoData::Key::swift << QList<int>{0, 7, 3};
    QTest::newRow("camera") << DemoData::Key::camera << QList<int>{5, 2, 3};
    QTest::newRow("finance") << DemoData::Key::finance << QList<int>{0, 0, 10};
    QTest::newRow("none") << DemoData::Key::none << QList<int>{1, 0, 1};
}

void TestDemoData::entriesPerSubject()
{
    QFETCH(DemoData::Key, key);
    QFETCH(QList<int>, perWindow);
    QList<int> counted{0, 0, 0};
    for (const DemoData::Entry &entry : DemoData::entries())
        if (entry.key == key)
            ++counted[entry.window - 1];
    QCOMPARE(counted, perWindow);
}

void TestDemoData::entryRows()
{
    QSet<QString> urls;
    QSet<QString> titles;
    int singleTags = 0;
    const QList<DemoData::Entry> &all = DemoData::entries();
    QCOMPARE(all.size(), 52);
    int lastWindow = 1;
    for (const DemoData::Entry &entry : all) {
        QVERIFY2(entry.window >= lastWindow, qPrintable(entry.url)); // windows in order
        lastWindow = entry.window;
        urls.insert(entry.url);
        titles.insert(entry.title);
        QVERIFY2(entry.title.count(QString::fromUtf8(" · ")) == 1, qPrintable(entry.title));
        QVERIFY2(entry.url.startsWith(QLatin1String("https://")), qPrintable(entry.url));
        QVERIFY(!entry.summary.isEmpty());
        QVERIFY(entry.tags.size() == 1 || entry.tags.size() == 2);
        singleTags += entry.tags.size() == 1;
    }
    QCOMPARE(urls.size(), 52);
    QCOMPARE(singleTags, 2);
    QCOMPARE(all.at(0).title, QString::fromUtf8("Booking.com · Hotels in Lisbon"));
    QCOMPARE(all.at(33).tags, (QStringList{"Index fund", "Basics"}));
}

void TestDemoData::deviations()
{
    const FakeClock clock;
    const LibraryData data = DemoData::library(clock.now());
    QList<int> noted;
    QList<int> read;
    for (qsizetype i = 0; i < data.tabs.size(); ++i) {
        const SavedTab &tab = data.tabs.at(i);
        if (!tab.note.isEmpty())
            noted.append(int(i));
        if (tab.readAt) {
            read.append(int(i));
            QCOMPARE(*tab.readAt, clock.now());
        }
        QCOMPARE(tab.projectTags.isEmpty(), i != 0);
    }
    QCOMPARE(noted, (QList<int>{0, 3, 17, 29, 35}));
    QCOMPARE(read, (QList<int>{3, 31}));
    QCOMPARE(data.tabs.at(0).projectTags, QStringList{"Lisbon trip"});
    QCOMPARE(data.tabs.at(3).note, QString("Prices went up 20 euros since last week."));
    QCOMPARE(data.tabs.at(35).note, QString("Candidate for the monthly plan."));
}

void TestDemoData::reminders()
{
    const LibraryData data = DemoData::library(fixedNow);
    QList<QPair<int, QDateTime>> found;
    for (qsizetype i = 0; i < data.tabs.size(); ++i)
        if (data.tabs.at(i).reminderAt)
            found.append({int(i), *data.tabs.at(i).reminderAt});
    const auto nine = [](int day, int month) { return QDateTime(QDate(2026, month, day), QTime(9, 0), Qt::LocalTime); };
    const QList<QPair<int, QDateTime>> expected{
        {0, nine(19, 11)}, {11, nine(15, 11)}, {22, nine(16, 11)}, {29, nine(21, 11)}, {35, nine(14, 11)}};
    QCOMPARE(found, expected);
    QCOMPARE(data.dueReminders(fixedNow).size(), 3);
}

void TestDemoData::snapshot()
{
    const QList<SafariWindow> windows = DemoData::safariSnapshot();
    QCOMPARE(windows.size(), 3);
    QCOMPARE(windows, DemoData::safariSnapshot());
    const QList<int> sizes{14, 19, 19};
    qsizetype entry = 0;
    for (int w = 0; w < 3; ++w) {
        QCOMPARE(windows.at(w).index, w + 1);
        QCOMPARE(windows.at(w).tabs.size(), sizes.at(w));
        for (qsizetype t = 0; t < windows.at(w).tabs.size(); ++t, ++entry) {
            const SafariTab &tab = windows.at(w).tabs.at(t);
            QCOMPARE(tab.index, t + 1);
            QCOMPARE(tab.url, DemoData::entries().at(entry).url);
            QCOMPARE(tab.title, DemoData::entries().at(entry).title);
        }
    }
}

void TestDemoData::textFor_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<std::optional<QString>>("expected");
    QTest::newRow("unknown") << "https://unknown.example/" << std::optional<QString>();
    QTest::newRow("almost") << "https://www.sciencedaily.com/news" << std::optional<QString>();
    QTest::newRow("none subject")
        << "https://www.sciencedaily.com/news/"
        << std::optional<QString>(QString::fromUtf8("ScienceDaily · Latest science news. Today's headlines from "
                                                    "research in physics, biology and space."));
    QTest::newRow("finance subject")
        << "https://en.wikipedia.org/wiki/Index_fund"
        << std::optional<QString>(QString::fromUtf8(
               "Wikipedia · Index fund. The encyclopaedia article on index funds and their history. Personal finance "
               "and taxes: index funds, ETFs, savings rate, retirement accounts, tax deductions, budgeting and "
               "spreadsheets."));
}

void TestDemoData::textFor()
{
    QFETCH(QString, url);
    QFETCH(std::optional<QString>, expected);
    QCOMPARE(DemoData::textFor(url), expected);
    if (expected) {
        const LibraryData data = DemoData::library(fixedNow);
        const auto it = std::find_if(data.tabs.cbegin(), data.tabs.cend(),
                                     [&](const SavedTab &tab) { return tab.url == url; });
        QVERIFY(it != data.tabs.cend());
        QCOMPARE(it->text, *expected);
    }
}

void TestDemoData::contentIndependentOfNow()
{
    const LibraryData a = DemoData::library(fixedNow);
    const LibraryData b = DemoData::library(fixedNow.addDays(40));
    QCOMPARE(a.tabs.size(), b.tabs.size());
    for (qsizetype i = 0; i < a.tabs.size(); ++i) {
        QCOMPARE(a.tabs.at(i).url, b.tabs.at(i).url);
        QCOMPARE(a.tabs.at(i).text, b.tabs.at(i).text);
        QVERIFY(a.tabs.at(i).id != b.tabs.at(i).id);
    }
    QVERIFY(a.windows.at(0).savedAt != b.windows.at(0).savedAt);
    QCOMPARE(a.context, UserContext{});
    QVERIFY(a.topics.isEmpty() && a.hints.isEmpty() && a.embeddings.isEmpty());
}

PELLMORA_TEST_GUILESS_MAIN(TestDemoData)
#include "TestDemoData.moc"
