#include <QColor>
#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QQuickItem>
#include <QQuickView>
#include <QTest>

#include <memory>

#include "AppModel.h"
#include "LibraryText.h"
#include "LibrarySample.h"
#include "ViewHarness.h"
#include "SidebarModel.h"
#include "TabListModel.h"
#include "PlatformWords.h"
#include "TestRegistry.h"

// The library window offscreen: the sidebar, the header texts per
// selection and search, the empty states, what each row shows and its menu.
class TestLibraryView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void headerTexts_data();
    void headerTexts();
    void headerOfRemovedSelection_data();
    void headerOfRemovedSelection();
    void sidebarClickSelectsAndEndsSearch();
    void searchHighlightsNoRow();
    void clearButtonEmptiesSearch();
    void sectionsAndCounts_data();
    void sectionsAndCounts();
    void emptyLibraryOffersDemo();
    void emptyList_data();
    void emptyList();
    void rowLines_data();
    void rowLines();
    void hintReasonOnlyUnderHints_data();
    void hintReasonOnlyUnderHints();
    void dueReminderTurnsRed();
    void contextMenuItems_data();
    void contextMenuItems();
    void contextMenuDeletes();
    void rowClickOpensDetail();
    void reopenAllOpensTheListedTabs_data();
    void reopenAllOpensTheListedTabs();
    void askHandsTheSearchToTheChat();
    void noticeBannerConfirms();
    void demoCapsuleFollowsDemoTabs();
    void renderDemoLibrary_data();
    void renderDemoLibrary();

private:
    bool load(const QString &selection = {});

    std::unique_ptr<AppModelFixture> f;
    std::unique_ptr<ViewHarness> h;
};

void TestLibraryView::init()
{
    f = std::make_unique<AppModelFixture>();
}

void TestLibraryView::cleanup()
{
    h.reset();
    f.reset();
}

bool TestLibraryView::load(const QString &selection)
{
    h = std::make_unique<ViewHarness>(f->model());
    return LibrarySample::load(*h, f->model(), selection);
}

void TestLibraryView::headerTexts_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("subtitle");

    QTest::newRow("topic from one window") << LibrarySample::topicKey(1) << QString() << "Rust"
                                           << "2 Tabs aus 1 Fenster · nach Stichwörtern";
    QTest::newRow("topic from two windows") << LibrarySample::topicKey(2) << QString() << "Reisen"
                                            << "2 Tabs aus 2 Fenstern · nach Stichwörtern";
    QTest::newRow("unsorted topic") << LibrarySample::topicKey(3) << QString() << "Sonstiges"
                                    << "1 Tabs aus 1 Fenster · passt zu keinem Thema";
    QTest::newRow("window") << LibrarySample::windowKey(2) << QString() << "Fenster 2 · 15.11."
                            << QStringLiteral("2") + PlatformWords::savedWindowLine();
    QTest::newRow("all") << "all" << QString() << "Alle Tabs" << "5 gespeicherte Tabs aus 2 Fenstern";
    QTest::newRow("reminders") << "reminders" << QString() << "Erinnerungen"
                               << "2 Tabs mit Erinnerung, die nächste zuoberst";
    QTest::newRow("notes") << "notes" << QString() << "Mit Notiz" << "1 Tabs mit deiner Notiz";
    QTest::newRow("hints") << "hints" << QString() << "Hinweise zu deinen Projekten"
                           << "1 ungelesene Tabs, die zu deinem Kontext passen";
    QTest::newRow("search") << "all" << "Capuns" << "Suche: «Capuns»" << "1 Treffer nach Bedeutung und Stichwort";
}

void TestLibraryView::headerTexts()
{
    QFETCH(QString, key);
    QFETCH(QString, query);
    QFETCH(QString, title);
    QFETCH(QString, subtitle);

    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    f->model().setSelectionKey(key);
    f->model().setQuery(query);
    h->settle();
    QCOMPARE(h->text("listTitle"), title);
    QCOMPARE(h->text("listSubtitle"), subtitle);
    QCOMPARE(shownOnScreen(h->findIn(QStringLiteral("contentList"), QStringLiteral("askButton"))), !query.isEmpty());
}

void TestLibraryView::headerOfRemovedSelection_data()
{
    QTest::addColumn<SidebarSelection>("selection");
    QTest::addColumn<QString>("title");

    QTest::newRow("topic") << SidebarSelection::topic(LibrarySample::id(999)) << "Thema";
    QTest::newRow("window") << SidebarSelection::window(LibrarySample::id(999)) << "Fenster";
}

void TestLibraryView::headerOfRemovedSelection()
{
    QFETCH(SidebarSelection, selection);
    QFETCH(QString, title);

    LibraryData data;
    data.topicsByAI = true;
    QCOMPARE(LibraryText::title(data, selection, QString()), title);
}

void TestLibraryView::sidebarClickSelectsAndEndsSearch()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    f->model().setQuery(QStringLiteral("Rust"));
    h->settle();
    QCOMPARE(h->text("searchInput"), QStringLiteral("Rust"));

    QVERIFY(h->click(QStringLiteral("sidebarRow:notes")));
    QCOMPARE(f->model().selectionKey(), QStringLiteral("notes"));
    QCOMPARE(f->model().query(), QString());
    QCOMPARE(h->text("searchInput"), QString());
    QCOMPARE(h->find(QStringLiteral("sidebarRow:notes"))->property("selected").toBool(), true);
    QCOMPARE(h->find(QStringLiteral("sidebarRow:all"))->property("selected").toBool(), false);
    QCOMPARE(h->text("listTitle"), QStringLiteral("Mit Notiz"));
}

void TestLibraryView::searchHighlightsNoRow()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    f->model().setSelectionKey(QStringLiteral("reminders"));
    h->settle();
    QVERIFY(h->find(QStringLiteral("sidebarRow:reminders"))->property("selected").toBool());

    // Typing as a user would goes through the field into the model.
    QQuickItem *input = h->item(QStringLiteral("searchInput"));
    QVERIFY(input);
    input->forceActiveFocus();
    h->typeText(QStringLiteral("Engadin"));
    h->settle();
    QCOMPARE(f->model().query(), QStringLiteral("Engadin"));
    const auto *rows = f->model().sidebarModel();
    for (int i = 0; i < rows->rowCount(); ++i) {
        const QString key = rows->data(rows->index(i), SidebarModel::KeyRole).toString();
        QVERIFY2(!h->find(QStringLiteral("sidebarRow:") + key)->property("selected").toBool(), qPrintable(key));
    }
}

void TestLibraryView::clearButtonEmptiesSearch()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QVERIFY(!h->isShown("searchClear"));
    f->model().setQuery(QStringLiteral("Capuns"));
    h->settle();
    QVERIFY(h->isShown("searchClear"));
    QVERIFY(h->click(QStringLiteral("searchClear")));
    QCOMPARE(f->model().query(), QString());
    QVERIFY(!h->isShown("searchClear"));
    QCOMPARE(f->model().visibleTabsModel()->count(), 5);
}

void TestLibraryView::sectionsAndCounts_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("label");
    QTest::addColumn<QString>("count");

    QTest::newRow("topic") << LibrarySample::topicKey(1) << "Rust" << "2";
    QTest::newRow("window") << LibrarySample::windowKey(1) << "Fenster 1 · 13.11." << "3";
    QTest::newRow("reminders") << "reminders" << "Erinnerungen" << "2";
    QTest::newRow("all") << "all" << "Alle Tabs" << "5";
}

void TestLibraryView::sectionsAndCounts()
{
    QFETCH(QString, key);
    QFETCH(QString, label);
    QFETCH(QString, count);

    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QObject *row = h->find(QStringLiteral("sidebarRow:") + key);
    QVERIFY(row);
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowLabel"))->property("text").toString(), label);
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowCount"))->property("text").toString(), count);
}

void TestLibraryView::emptyLibraryOffersDemo()
{
    QVERIFY(load(QStringLiteral("all")));
    QVERIFY(h->isShown("emptyLibrary"));
    QVERIFY(!h->isShown("contentList"));
    QVERIFY(!h->isShown("demoCapsule"));

    QVERIFY(h->click(QStringLiteral("loadDemoButton")));
    QTRY_VERIFY_WITH_TIMEOUT(f->model().tabCount() > 0, 20000);
    h->settle();
    QVERIFY(!h->isShown("emptyLibrary"));
    QVERIFY(h->isShown("contentList"));
    QVERIFY(h->isShown("demoCapsule"));
}

void TestLibraryView::emptyList_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("query");
    QTest::addColumn<QString>("text");

    QTest::newRow("no hits") << "all" << "Quantenschaum" << "Keine Treffer für «Quantenschaum».";
    QTest::newRow("nothing selected yet") << "notes" << QString() << "Hier ist noch nichts.";
}

void TestLibraryView::emptyList()
{
    QFETCH(QString, key);
    QFETCH(QString, query);
    QFETCH(QString, text);

    LibrarySample::fill(*f);
    f->library().mutate([](LibraryData &data) {
        for (SavedTab &tab : data.tabs)
            tab.note.clear();
    });
    QVERIFY(load(QStringLiteral("all")));
    f->model().setSelectionKey(key);
    f->model().setQuery(query);
    h->settle();
    QVERIFY(h->isShown("emptyListText"));
    QCOMPARE(h->text("emptyListText"), text);
    QVERIFY(!h->isShown("reopenAllButton"));
    QCOMPARE(shownOnScreen(h->findIn(QStringLiteral("contentList"), QStringLiteral("askButton"))), !query.isEmpty());
}

void TestLibraryView::rowLines_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("dateLine");
    QTest::addColumn<bool>("note");
    QTest::addColumn<bool>("reminder");
    QTest::addColumn<bool>("hint");
    QTest::addColumn<QString>("summary");
    QTest::addColumn<QStringList>("tags");

    QTest::newRow("note and due reminder") << 1 << "doc.rust-lang.org · gespeichert 13.11." << true << true << false
                                           << QString() << QStringList();
    QTest::newRow("read") << 3 << "sbb.ch · gespeichert 13.11. · gelesen" << false << false << false << QString()
                          << QStringList();
    QTest::newRow("open hint") << 4 << "engadin.ch · gespeichert 15.11." << false << false << true << QString()
                               << QStringList();
    QTest::newRow("summary and tags")
        << 5 << "swissmilk.ch · gespeichert 15.11." << false << false << false
        << "Zusammenfassung: Ein Bündner Gericht aus Mangoldblättern."
        << QStringList{QStringLiteral("kochen"), QStringLiteral("graubünden")};
}

void TestLibraryView::rowLines()
{
    QFETCH(int, tab);
    QFETCH(QString, dateLine);
    QFETCH(bool, note);
    QFETCH(bool, reminder);
    QFETCH(bool, hint);
    QFETCH(QString, summary);
    QFETCH(QStringList, tags);

    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QQuickItem *row = LibrarySample::rowFor(*h, LibrarySample::id(tab));
    QVERIFY(row);
    auto shown = [&](const char *name) {
        auto *found = qobject_cast<QQuickItem *>(ViewHarness::findBelow(row, QString::fromLatin1(name)));
        return found && found->isVisible();
    };
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("tabDateLine"))->property("text").toString(), dateLine);
    QCOMPARE(shown("markerNote"), note);
    QCOMPARE(shown("markerReminder"), reminder);
    QCOMPARE(shown("markerHint"), hint);
    QCOMPARE(shown("tabSummary"), !summary.isEmpty());
    if (!summary.isEmpty())
        QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("tabSummary"))->property("text").toString(), summary);
    QCOMPARE(shown("tabTags"), !tags.isEmpty());
    for (const QString &tag : tags) {
        auto *chip = qobject_cast<QQuickItem *>(ViewHarness::findBelow(row, QStringLiteral("tag:") + tag));
        QVERIFY2(chip && chip->isVisible(), qPrintable(tag));
    }
}

void TestLibraryView::hintReasonOnlyUnderHints_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<bool>("reason");

    QTest::newRow("hints") << "hints" << true;
    QTest::newRow("all") << "all" << false;
}

void TestLibraryView::hintReasonOnlyUnderHints()
{
    QFETCH(QString, key);
    QFETCH(bool, reason);

    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    f->model().setSelectionKey(key);
    h->settle();
    QQuickItem *row = LibrarySample::rowFor(*h, LibrarySample::id(4));
    QVERIFY(row);
    auto *line = qobject_cast<QQuickItem *>(ViewHarness::findBelow(row, QStringLiteral("tabHintReason")));
    QVERIFY(line);
    QCOMPARE(line->isVisible(), reason);
    if (reason)
        QCOMPARE(line->property("text").toString(), QStringLiteral("💡 Passt zu «Ferien 2027»: Wanderungen"));
    // The marker shows wherever the tab is listed.
    QVERIFY(qobject_cast<QQuickItem *>(ViewHarness::findBelow(row, QStringLiteral("markerHint")))->isVisible());
}

void TestLibraryView::dueReminderTurnsRed()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    const QColor red(176, 48, 26);
    const QColor secondary(134, 134, 139);
    QQuickItem *due = LibrarySample::rowFor(*h, LibrarySample::id(1));
    QQuickItem *later = LibrarySample::rowFor(*h, LibrarySample::id(2));
    QVERIFY(due && later);
    QObject *dueText = ViewHarness::findBelow(due, QStringLiteral("reminderText"));
    QObject *laterText = ViewHarness::findBelow(later, QStringLiteral("reminderText"));
    QCOMPARE(dueText->property("text").toString(), QStringLiteral("Mo. 16.11."));
    QCOMPARE(dueText->property("color").value<QColor>(), red);
    QCOMPARE(laterText->property("text").toString(), QStringLiteral("Mi. 18.11."));
    QCOMPARE(laterText->property("color").value<QColor>(), secondary);

    // Exactly at its minute a reminder counts as due.
    QVERIFY(LibraryText::isDue(f->clock().now(), f->clock().now()));
    QVERIFY(!LibraryText::isDue(f->clock().now().addSecs(60), f->clock().now()));
}

void TestLibraryView::contextMenuItems_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<bool>("dismiss");

    QTest::newRow("with open hint") << 4 << true;
    QTest::newRow("without hint") << 5 << false;
}

void TestLibraryView::contextMenuItems()
{
    QFETCH(int, tab);
    QFETCH(bool, dismiss);

    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QQuickItem *row = LibrarySample::rowFor(*h, LibrarySample::id(tab));
    QVERIFY(h->click(row, Qt::RightButton));
    QObject *menu = ViewHarness::findBelow(row, QStringLiteral("tabMenu"));
    QVERIFY(menu);
    QTRY_VERIFY(menu->property("opened").toBool());
    // Every row has a menu of its own: look in this one.
    auto entry = [&](const char *name) {
        return qobject_cast<QQuickItem *>(ViewHarness::findBelow(menu, QString::fromLatin1(name)));
    };
    for (const char *name : {"menuOpen", "menuDetail", "menuDelete"})
        QVERIFY2(entry(name) && entry(name)->isVisible(), name);
    QCOMPARE(entry("menuDismissHint")->isVisible(), dismiss);
    if (!dismiss)
        return;
    QVERIFY(h->click(entry("menuDismissHint")));
    QVERIFY(f->model().hintFor(*f->library().data().tab(LibrarySample::id(tab))) == std::nullopt);
    QCOMPARE(f->model().library().data().openHints().size(), 0);
}

void TestLibraryView::contextMenuDeletes()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QQuickItem *row = LibrarySample::rowFor(*h, LibrarySample::id(3));
    QVERIFY(h->click(row, Qt::RightButton));
    auto *item = qobject_cast<QQuickItem *>(ViewHarness::findBelow(ViewHarness::findBelow(row, QStringLiteral("tabMenu")),
                                                       QStringLiteral("menuDelete")));
    QVERIFY(item);
    QTRY_VERIFY(item->isVisible());
    QVERIFY(h->click(item));
    QVERIFY(!f->model().library().data().tab(LibrarySample::id(3)));
    QCOMPARE(h->text("listSubtitle"), QStringLiteral("4 gespeicherte Tabs aus 2 Fenstern"));
}

void TestLibraryView::rowClickOpensDetail()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QVERIFY(h->click(LibrarySample::rowFor(*h, LibrarySample::id(2))));
    QVERIFY(f->model().detailTab());
    QCOMPARE(f->model().detailTab()->id, LibrarySample::id(2));
    QTRY_VERIFY(h->isShown(QStringLiteral("tabDetail")));
    QCOMPARE(h->text("detailTitle"), QStringLiteral("Cargo Workspaces"));
}

void TestLibraryView::reopenAllOpensTheListedTabs_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<int>("count");

    QTest::newRow("a topic") << LibrarySample::topicKey(2) << 2;
    QTest::newRow("a window") << LibrarySample::windowKey(1) << 3;
}

void TestLibraryView::reopenAllOpensTheListedTabs()
{
    QFETCH(QString, key);
    QFETCH(int, count);

    LibrarySample::fill(*f);
    QVERIFY(load(key));
    const QList<SavedTab> listed = f->model().visibleTabsModel()->tabs();
    QCOMPARE(listed.size(), count);
    QCOMPARE(h->text("reopenAllButton"), QStringLiteral("Alle %1 wieder öffnen").arg(count));
    QVERIFY(h->click(QStringLiteral("reopenAllButton")));
    QTRY_COMPARE(f->bridge().openedWithWorkspace().size(), count);
    QList<QUrl> expected;
    for (const SavedTab &tab : listed)
        expected << QUrl(tab.url);
    QCOMPARE(f->bridge().openedWithWorkspace(), expected);
    // The listed tabs count as read now; of the others only the one read before.
    QSet<QUuid> listedIds;
    for (const SavedTab &tab : listed)
        listedIds.insert(tab.id);
    for (const SavedTab &tab : f->model().library().data().tabs)
        QCOMPARE(tab.isRead(), listedIds.contains(tab.id) || tab.id == LibrarySample::id(3));
}

void TestLibraryView::askHandsTheSearchToTheChat()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    f->model().setQuery(QStringLiteral("Wandern"));
    h->settle();
    QVERIFY(h->click(h->findIn(QStringLiteral("contentList"), QStringLiteral("askButton"))));
    QTRY_VERIFY(!f->model().chat().isEmpty());
    QCOMPARE(f->model().chat().first().role, ChatMessage::Role::user);
    QCOMPARE(f->model().chat().first().text, QStringLiteral("Wandern"));
    QTRY_VERIFY(!f->model().chatBusy());
}

void TestLibraryView::noticeBannerConfirms()
{
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
    QVERIFY(!h->isShown("noticeBanner"));
    f->model().setNotice(QStringLiteral("12 Tabs importiert."));
    h->settle();
    QVERIFY(h->isShown("noticeBanner"));
    QCOMPARE(h->text("noticeText"), QStringLiteral("12 Tabs importiert."));
    QVERIFY(h->click(QStringLiteral("noticeOk")));
    QVERIFY(!f->model().notice());
    QVERIFY(!h->isShown("noticeBanner"));
}

void TestLibraryView::demoCapsuleFollowsDemoTabs()
{
    LibrarySample::fill(*f);
    f->library().updateTab(LibrarySample::id(5), [](SavedTab &tab) { tab.isDemo = true; });
    QVERIFY(load(QStringLiteral("all")));
    QVERIFY(h->isShown("demoCapsule"));
    f->model().deleteTabById(idText(LibrarySample::id(5)));
    h->settle();
    QVERIFY(!h->isShown("demoCapsule"));
}

void TestLibraryView::renderDemoLibrary_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("selection");
    QTest::addColumn<QString>("query");
    QTest::addColumn<bool>("detail");

    QTest::newRow("empty") << "library-empty" << QString() << QString() << false;
    QTest::newRow("all") << "library-all" << "all" << QString() << false;
    QTest::newRow("first topic") << "library-topic" << "topic" << QString() << false;
    QTest::newRow("search") << "library-search" << "all" << "Lisbon" << false;
    QTest::newRow("detail") << "library-detail" << "all" << QString() << true;
    QTest::newRow("detail at the smallest size") << "library-detail-small" << "all" << QString() << true;
}

// The demo library as the user sees it, written as PNG files for a look by
// eye (to PELLMORA_GRAB_DIR when set); run with QT_SCALE_FACTOR=2 for sharp
// pictures. Every named text that shows lies inside the window.
void TestLibraryView::renderDemoLibrary()
{
    QFETCH(QString, name);
    QFETCH(QString, selection);
    QFETCH(QString, query);
    QFETCH(bool, detail);

    QVERIFY(load());
    if (name.endsWith(u"-small")) {
        h->view()->resize(1040, 640);
        h->settle();
    }
    const bool empty = selection.isEmpty();
    if (!empty) {
        // Loaded as the user would, so the topics are grouped too.
        f->model().loadDemoData();
        QTRY_VERIFY_WITH_TIMEOUT(f->model().tabCount() > 0 && !f->model().isBusy(), 60000);
        QVERIFY(!f->model().library().data().topics.isEmpty());
        if (selection == u"topic")
            f->model().setSelection(SidebarSelection::topic(f->model().library().data().topics.first().id));
        else
            f->model().setSelectionKey(selection);
        f->model().setQuery(query);
        h->settle();
        QVERIFY(f->model().visibleTabsModel()->count() > 0);
    }
    QCOMPARE(h->isShown(QStringLiteral("emptyLibrary")), empty);
    if (detail) {
        QList<SavedTab> tabs = f->model().library().data().tabs;
        const auto noted = std::find_if(tabs.cbegin(), tabs.cend(),
                                        [](const SavedTab &tab) { return !tab.summary.isEmpty(); });
        QVERIFY(noted != tabs.cend());
        SavedTab tab = *noted;
        tab.note = QStringLiteral("Für die Präsentation am Freitag.");
        tab.projectTags = {QStringLiteral("Pellmora"), QStringLiteral("Vortrag")};
        f->model().save(tab);
        f->model().showDetail(idText(tab.id));
        h->settle();
        QTRY_VERIFY(h->isShown(QStringLiteral("tabDetail")));
        QTest::qWait(300); // the sheet's opening transition
    }

    const QImage picture = h->view()->grabWindow();
    QVERIFY(!picture.isNull());
    QTemporaryDir temp;
    const QString dir = qEnvironmentVariable("PELLMORA_GRAB_DIR", temp.path());
    QVERIFY(picture.save(QDir(dir).filePath(name + QStringLiteral(".png"))));

    const QRectF window(0, 0, h->view()->width(), h->view()->height());
    for (const char *text : {"listTitle", "listSubtitle", "detailTitle", "reminderText", "emptyText",
                             "loadDemoButton"}) {
        QQuickItem *item = h->item(QString::fromLatin1(text));
        if (!item || !item->isVisible())
            continue;
        const QRectF r = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
        QVERIFY2(window.contains(r), text);
    }
}

PELLMORA_TEST_MAIN(TestLibraryView)
#include "TestLibraryView.moc"
