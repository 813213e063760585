#include <QGuiApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QQuickItem>
#include <QQuickView>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include "AppModelFixture.h"
#include "LibraryBuilder.h"
#include "MainMenu.h"
#include "TestRegistry.h"
#include "TestSupport.h"
#include "ViewHarness.h"
#include "WindowManager.h"

// The application's windows over a model with fakes: each one, over a full
// and an empty library, loads without QML errors and cuts no text off; and
// the few clicks whose way to the model can break.
class TestViews : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        ViewHarness::failOnQmlWarnings();
        f = std::make_unique<AppModelFixture>();
    }
    void cleanup()
    {
        h.reset();
        f.reset();
    }

    void textsFit_data()
    {
        QTest::addColumn<QString>("window");
        QTest::addColumn<bool>("full");
        for (const char *window : {"popover", "popover running", "popover done", "library", "detail", "menus",
                                   "chat", "context", "settings"}) {
            for (bool full : {true, false}) {
                if (full || qstrcmp(window, "detail") != 0)
                    QTest::addRow("%s, %s", window, full ? "full" : "empty") << QString::fromLatin1(window) << full;
            }
        }
    }
    void textsFit()
    {
        QFETCH(QString, window);
        QFETCH(bool, full);
        if (full)
            fill();
        const bool inLibrary = window == u"detail" || window == u"menus";
        const QString key = inLibrary ? QStringLiteral("library") : window.section(u' ', 0, 0);
        QQuickView *view = show(key);
        QVERIFY(view);
        if (!view->minimumSize().isEmpty()) // where a window can be made smaller, at its smallest
            view->resize(view->minimumSize());
        if (window == u"popover running")
            f->model().setSleepStage(SleepStage::summarizing(1'234, 2'000));
        if (window == u"popover done")
            f->model().setSleepStage(SleepStage::finished(SleepStats{1'234, 2, 11}));
        if (full && window == u"chat")
            f->model().ask(QStringLiteral("Was habe ich über Rust gespeichert?"));
        // Each row over the library shows it in another state: the topic with
        // the long name, a search under the menus, the hints with their
        // reasons under the detail sheet.
        const QString topic = SidebarSelection::topic(LibraryBuilder::topicId(1)).key();
        f->model().setSelectionKey(window == u"detail" ? QStringLiteral("hints") : topic);
        if (window == u"menus")
            f->model().setQuery(QStringLiteral("Rust"));
        if (window == u"detail")
            f->model().showDetail(idText(LibraryBuilder::tabId(1)));
        QTRY_VERIFY(!f->model().chatBusy() && (window != u"detail" || h->find(QStringLiteral("detailSave"))));
        h->settle();
        // Sized by its content, a window is as tall as that content laid out.
        if (const WindowSetup *setup = WindowManager::setupFor(key); setup && setup->sizedByContent())
            QVERIFY(qAbs(view->height() - view->rootObject()->implicitHeight()) <= 1);
        if (window != u"menus")
            return checkTexts(view);
        QObject *bar = h->find(QStringLiteral("mainMenuBar"));
        QObject *menu = nullptr;
        const auto menuAt = [&](int i) {
            return QMetaObject::invokeMethod(bar, "menuAt", QGenericReturnArgument("QQuickMenu*", &menu),
                                             Q_ARG(int, i));
        };
        for (int i = 0; menuAt(i) && menu && !QTest::currentTestFailed(); ++i) {
            QMetaObject::invokeMethod(menu, "open");
            QTRY_VERIFY(menu->property("opened").toBool());
            checkTexts(view);
            QMetaObject::invokeMethod(menu, "close");
            QTRY_VERIFY(!menu->property("visible").toBool());
        }
    }

    void popoverTogglesConnectsAndSleeps()
    {
        SleepOptions offline;
        offline.saveContent = false;
        offline.sortByTopic = false;
        f->settings().setValue(QStringLiteral("sleepOptions"), offline.encode());
        const QStringList urls{QStringLiteral("https://a.ch"), QStringLiteral("https://b.ch")};
        f->bridge().setWindows({AppModelFixture::window(1, urls)});
        QVERIFY(show(QStringLiteral("popover")));
        AppModel &model = f->model();
        for (const char *field : {"groupByWindow", "sortByTopic", "saveContent", "keepPinned"}) {
            QString name = QStringLiteral("option") + QString::fromLatin1(field);
            name[6] = name[6].toUpper();
            QQuickItem *box = h->find(name);
            const bool before = model.property(field).toBool();
            QVERIFY2(h->click(box), field);
            QCOMPARE(model.property(field).toBool(), !before);
            QCOMPARE(SleepOptions::decode(f->settings().value(QStringLiteral("sleepOptions")).toByteArray()).value(),
                     model.options());
            // Set back elsewhere, the box follows, so the next click flips it
            // again: the click's own assignment must not cut it off the model.
            model.setProperty(field, before);
            QVERIFY(h->click(box));
            QCOMPARE(model.property(field).toBool(), !before);
            model.setProperty(field, before);
        }
        // Not connected yet: the one button connects, and only connects.
        QVERIFY(h->click(QStringLiteral("sleepButton")));
        QTRY_VERIFY(model.safariConnected());
        QVERIFY(f->bridge().closeRequests().isEmpty());
        QVERIFY(h->click(QStringLiteral("sleepButton")));
        QTRY_COMPARE(model.sleepStage().kind, SleepStage::Kind::done);
        QCOMPARE(f->library().data().tabs.size(), 2);
        QCOMPARE(f->bridge().closeRequests().size(), 1);
    }

    void libraryDeletesAndEditsThroughTheModel()
    {
        fill();
        f->model().setSelectionKey(QStringLiteral("all"));
        QVERIFY(show(QStringLiteral("library")));
        QVERIFY(h->click(row(4), Qt::RightButton));
        QTRY_VERIFY(h->find(QStringLiteral("menuDelete")));
        QVERIFY(h->click(QStringLiteral("menuDelete")));
        QVERIFY(!f->library().data().tab(LibraryBuilder::tabId(4)));
        QVERIFY(!row(4));

        QVERIFY(h->click(row(2)));
        QTRY_VERIFY(h->find(QStringLiteral("noteEditor")));
        QVERIFY(h->type(QStringLiteral("noteEditor"), QStringLiteral("Am Sonntag lesen")));
        QVERIFY(h->click(QStringLiteral("detailSave")));
        QCOMPARE(f->library().data().tab(LibraryBuilder::tabId(2))->note, QStringLiteral("Am Sonntag lesen"));
    }

    void chatAsksOpensAndReminds()
    {
        fill();
        QVERIFY(show(QStringLiteral("chat")));
        QVERIFY(h->type(QStringLiteral("questionField"), QStringLiteral("Rust")));
        QTest::keyClick(h->view(), Qt::Key_Return);
        QTRY_VERIFY(!f->model().chatBusy() && f->model().chat().size() == 2);
        const QList<ChatCard> cards = f->model().chat().last().cards;
        QList<QUrl> urls;
        for (const ChatCard &card : cards)
            urls << QUrl(card.tab.url);
        QVERIFY(urls.size() > 1);
        QVERIFY(h->click(QStringLiteral("openAll")));
        QTRY_COMPARE(f->bridge().reopenRequests().value(0).urls, urls); // through the connected browser
        // The date is taken at the click, not when the answer was drawn:
        // Monday noon gives the Monday after.
        f->clock().set(QDateTime(QDate(2026, 11, 23), QTime(12, 0)));
        QVERIFY(h->click(QStringLiteral("remindAll")));
        for (const ChatCard &card : cards)
            QCOMPARE(f->library().data().tab(card.tab.id)->reminderAt, QDateTime(QDate(2026, 11, 30), QTime(9, 0)));
    }

    void contextAndSettingsStoreWhatIsTyped()
    {
        QVERIFY(show(QStringLiteral("context")));
        QSignalSpy writes(&f->library(), &Library::dataChanged);
        QVERIFY(h->click(QStringLiteral("editFreeText")));
        QVERIFY(h->type(QStringLiteral("freeTextEditor"), QStringLiteral("Rust lernen")));
        QCOMPARE(writes.size(), 0); // the free text is written once, when done
        QVERIFY(h->click(QStringLiteral("editFreeText")));
        QCOMPARE(writes.size(), 1);
        QCOMPARE(f->library().data().context.freeText, QStringLiteral("Rust lernen"));

        QVERIFY(h->show(QStringLiteral("settings")));
        QVERIFY(h->type(QStringLiteral("pinnedEditor"), QStringLiteral(" notion.so")));
        QTest::keyClick(h->view(), Qt::Key_Return);
        QVERIFY(h->type(QStringLiteral("pinnedEditor"), QStringLiteral("github.com")));
        const QStringList expected{QStringLiteral("notion.so"), QStringLiteral("github.com")};
        QCOMPARE(f->model().options().pinnedDomains, expected);
        QCOMPARE(SleepOptions::decode(f->settings().value(QStringLiteral("sleepOptions")).toByteArray())->pinnedDomains,
                 expected);
    }

    // Emptying the library, or loading the sample over the user's own tabs,
    // happens only once confirmed.
    void menuAsksBeforeReplacing_data()
    {
        QTest::addColumn<bool>("clear");
        QTest::addColumn<bool>("ownTabs");
        QTest::addColumn<int>("answer"); // 1 the default button, 0 the other, -1 no question
        QTest::newRow("clear, confirmed") << true << false << 1;
        QTest::newRow("clear, cancelled") << true << false << 0;
        QTest::newRow("sample over own tabs, cancelled") << false << true << 0;
        QTest::newRow("sample over the sample") << false << false << -1;
    }
    void menuAsksBeforeReplacing()
    {
        QFETCH(bool, clear);
        QFETCH(bool, ownTabs);
        QFETCH(int, answer);
        MainMenu menu(nullptr);
        menu.setAskBeforeDemo(ownTabs);
        QSignalSpy asked(&menu, clear ? &MainMenu::clearLibraryRequested : &MainMenu::loadDemoRequested);
        clear ? menu.clearLibrary() : menu.loadDemo();
        QMessageBox *box = menu.confirmation();
        QCOMPARE(box != nullptr, answer >= 0);
        if (box) {
            QCOMPARE(asked.size(), 0);
            QAbstractButton *accept = box->defaultButton();
            (answer ? accept : box->buttons().at(box->buttons().at(0) == accept ? 1 : 0))->click();
        }
        QCOMPARE(asked.size(), answer != 0 ? 1 : 0);
    }

    void windowFrames_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QRect>("saved");
        QTest::addColumn<bool>("kept"); // else centred on the screen
        QTest::newRow("remembered") << "library" << QRect(40, 30, 1100, 700) << true;
        QTest::newRow("sized by content: the place only") << "settings" << QRect(20, 25, 999, 888) << true;
        QTest::newRow("off every screen") << "chat" << QRect(-20000, -20000, 800, 600) << false;
    }
    void windowFrames()
    {
        QFETCH(QString, key);
        QFETCH(QRect, saved);
        QFETCH(bool, kept);
        const WindowSetup *setup = WindowManager::setupFor(key);
        f->settings().setValue(setup->frameName, saved);
        QQuickView *view = show(key);
        QVERIFY(view);
        if (kept)
            QCOMPARE(view->geometry(), setup->sizedByContent() ? QRect(saved.topLeft(), view->minimumSize()) : saved);
        else
            QVERIFY((view->geometry().center() - QGuiApplication::primaryScreen()->availableGeometry().center())
                        .manhattanLength() <= 2);
        // Saved while open; closed, the window only hides and comes back.
        view->setPosition(view->position() + QPoint(5, 7));
        QTRY_COMPARE(f->settings().value(setup->frameName).toRect(), view->geometry());
        view->close();
        QCOMPARE(h->windows().show(key), view);
        QVERIFY(view->isVisible());
    }

private:
    QQuickView *show(const QString &window)
    {
        h = std::make_unique<ViewHarness>(*f);
        return h->show(window);
    }

    QQuickItem *row(int tab) const
    {
        const QString id = idText(LibraryBuilder::tabId(tab));
        return h->find([&](QQuickItem *item) { return item->property("tabId").toString() == id; });
    }

    // Everything a window can show at once: long titles, a due reminder, a
    // read tab, a note, a hint, a counted browser, context folders.
    void fill()
    {
        SleepOptions options;
        options.pinnedDomains = {QStringLiteral("mail.google.com"), QStringLiteral("notion.so")};
        f->settings().setValue(QStringLiteral("sleepOptions"), options.encode());
        f->settings().setValue(QStringLiteral("safariConnected"), true);
        QStringList urls;
        for (int t = 0; t < 617; ++t)
            urls << QStringLiteral("https://example.org/%1").arg(t);
        f->bridge().setWindows({AppModelFixture::window(1, urls), AppModelFixture::window(2, urls)});
        const QDateTime now = f->clock().now();
        LibraryData data =
            LibraryBuilder()
                .window()
                .tab(QStringLiteral("Rust Ownership, Borrowing und Lifetimes: Das Kapitel mit dem Titel ohne Ende"),
                     QStringLiteral("https://doc.rust-lang.org/book/ch04-01-what-is-ownership.html"))
                .note(QStringLiteral("Kapitel 4 nochmals lesen, bevor ich am Projekt weiterarbeite."))
                .reminder(now.addSecs(-3600))
                .projects({QStringLiteral("Pellmora"), QStringLiteral("Vortrag am Freitag")})
                .summary(QStringLiteral("Wie Rust Speicher ohne Garbage Collector verwaltet: Besitz und Ausleihen."))
                .tags({QStringLiteral("rust"), QStringLiteral("speicherverwaltung"), QStringLiteral("graubünden")})
                .tab(QStringLiteral("Rust Cargo Workspaces")).reminder(now.addDays(2)).read()
                .window().tab(QStringLiteral("Wandern im Engadin")).tab(QStringLiteral("Rezept Capuns"))
                .topic(QStringLiteral("Programmiersprachen und Werkzeuge für sichere Systeme"), {1, 2})
                .topic(QStringLiteral("Reisen"), {3}).unsorted()
                .hint(3, QStringLiteral("Passt zu «Ferien 2027 im Engadin»: Wanderungen über dem Silsersee"));
        const QString projects = m_folders.filePath(QStringLiteral("Projekte"));
        QVERIFY(TestSupport::writeFile(projects + QStringLiteral("/pellmora/README.md"), "# Pellmora\n"));
        data.context.folderPaths = {projects, m_folders.filePath(QStringLiteral("gibt-es-nicht"))};
        data.context.freeText = QStringLiteral("Ich plane eine Reise nach Lissabon im Mai und ein Büro zu Hause.");
        f->library().replace(data);
        f->model().refreshLiveCount();
        QTRY_VERIFY(f->model().liveTabs());
    }

    // Every shown text lies across inside the window and inside each clipping
    // item around it, and down inside the window unless it scrolls; one that
    // neither elides nor wraps also fits its own box.
    void checkTexts(QQuickView *view)
    {
        int checked = 0;
        QList<QQuickItem *> pending{view->contentItem()};
        while (!pending.isEmpty()) {
            QQuickItem *item = pending.takeLast();
            if (!item->isVisible() || item->opacity() == 0)
                continue;
            pending += item->childItems();
            const QString text = item->property("text").toString();
            if (!item->inherits("QQuickText") || text.isEmpty())
                continue;
            ++checked;
            const QByteArray what = text.left(50).toUtf8();
            const qreal room = item->width() - item->property("leftPadding").toReal()
                - item->property("rightPadding").toReal();
            if (item->property("elide").toInt() == Qt::ElideNone && item->property("wrapMode").toInt() == 0)
                QVERIFY2(item->property("contentWidth").toReal() <= room + 1, what);
            const QRectF box = item->mapRectToScene(QRectF(0, 0, item->width(), item->height()));
            qreal left = 0;
            qreal right = view->width();
            bool scrolls = false;
            for (QQuickItem *outer = item->parentItem(); outer; outer = outer->parentItem()) {
                const QRectF r = outer->mapRectToScene(QRectF(0, 0, outer->width(), outer->height()));
                left = outer->clip() ? std::max(left, r.left()) : left;
                right = outer->clip() ? std::min(right, r.right()) : right;
                scrolls = scrolls || outer->inherits("QQuickFlickable");
            }
            QVERIFY2(box.left() >= left - 1 && box.right() <= right + 1, what);
            QVERIFY2(scrolls || (box.top() >= -1 && box.bottom() <= view->height() + 1), what);
        }
        QVERIFY(checked >= 3);
    }

    QTemporaryDir m_folders;
    std::unique_ptr<AppModelFixture> f;
    std::unique_ptr<ViewHarness> h;
};

PELLMORA_TEST_MAIN(TestViews)
#include "TestViews.moc"
