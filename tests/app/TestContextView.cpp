#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtMath>

#include "AppModelFixture.h"
#include "AssistantConfig.h"
#include "ContextPresenter.h"
#include "ViewHarness.h"
#include "TestRegistry.h"

// The context window over a model with fakes: folder rows for present and
// missing folders, connecting and removing, the free text written once, the
// hint pickers with stored values outside their choices, the hint search and
// the assistant block on the clipboard.
class TestContextView : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void folderSubtitle_data();
    void folderSubtitle();
    void choiceIndex_data();
    void choiceIndex();

    void noFolderShowsOnlyTheConnectRow();
    void folderRows_data();
    void folderRows();
    void removesAMissingFolder();
    void chooserAddsTheFolder();
    void freeTextWrittenOnce_data();
    void freeTextWrittenOnce();
    void pickers_data();
    void pickers();
    void choosingStoresAtOnce();
    void searchHintsShowsTheNotice();
    void copiesTheConfiguration();
    void sizeKnownBeforeTheFirstFrame();

private:
    QString makeProjects(const QStringList &files);
    void setContext(const std::function<void(UserContext &)> &change);

    QTemporaryDir m_folders;
    std::unique_ptr<AppModelFixture> m_fixture;
    std::unique_ptr<ViewHarness> m_harness;
};

void TestContextView::init()
{
    m_fixture = std::make_unique<AppModelFixture>();
    m_harness = std::make_unique<ViewHarness>(m_fixture->model());
}

void TestContextView::cleanup()
{
    m_harness.reset();
    m_fixture.reset();
}

QString TestContextView::makeProjects(const QStringList &files)
{
    static int counter = 0;
    const QString root = m_folders.filePath(QStringLiteral("Projekte%1").arg(++counter));
    QDir().mkpath(root);
    for (const QString &file : files) {
        const QString path = root + u'/' + file;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile out(path);
        if (out.open(QIODevice::WriteOnly))
            out.write("# Projekt\nEine Bibliothek für Tabs.\n");
    }
    return root;
}

void TestContextView::setContext(const std::function<void(UserContext &)> &change)
{
    m_fixture->library().mutate([&](LibraryData &data) { change(data.context); });
}

void TestContextView::folderSubtitle_data()
{
    QTest::addColumn<int>("projects");
    QTest::addColumn<QString>("subtitle");
    QTest::newRow("none") << 0 << "liest nur CLAUDE.md, TODO.yaml und README.md, 0 Projekte erkannt";
    QTest::newRow("one") << 1 << "liest nur CLAUDE.md, TODO.yaml und README.md, 1 Projekt erkannt";
    QTest::newRow("two") << 2 << "liest nur CLAUDE.md, TODO.yaml und README.md, 2 Projekte erkannt";
}

void TestContextView::folderSubtitle()
{
    QFETCH(int, projects);
    QFETCH(QString, subtitle);
    QCOMPARE(ContextPresenter::folderSubtitle(projects), subtitle);
}

void TestContextView::choiceIndex_data()
{
    QTest::addColumn<qint64>("value");
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("last");
    QTest::addColumn<int>("index");
    QTest::newRow("count zero") << qint64(0) << 0 << 5 << 0;
    QTest::newRow("count five") << qint64(5) << 0 << 5 << 5;
    QTest::newRow("count six") << qint64(6) << 0 << 5 << -1;
    QTest::newRow("count negative") << qint64(-1) << 0 << 5 << -1;
    QTest::newRow("hour four") << qint64(4) << 5 << 22 << -1;
    QTest::newRow("hour five") << qint64(5) << 5 << 22 << 0;
    QTest::newRow("hour nine") << qint64(9) << 5 << 22 << 4;
    QTest::newRow("hour twenty-two") << qint64(22) << 5 << 22 << 17;
    QTest::newRow("hour twenty-three") << qint64(23) << 5 << 22 << -1;
}

void TestContextView::choiceIndex()
{
    QFETCH(qint64, value);
    QFETCH(int, first);
    QFETCH(int, last);
    QFETCH(int, index);
    QCOMPARE(ContextPresenter::choiceIndex(value, first, last), index);
}

void TestContextView::noFolderShowsOnlyTheConnectRow()
{
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QVERIFY(!m_harness->find(QStringLiteral("folderRow0")));
    QObject *connect = m_harness->find(QStringLiteral("connectRow"));
    QCOMPARE(ViewHarness::findBelow(connect, QStringLiteral("rowTitle"))->property("text").toString(),
             QStringLiteral("Ordner verbinden"));
    QVERIFY(!shownOnScreen(ViewHarness::findBelow(connect, QStringLiteral("rowStatus"))));

    const QString folder = makeProjects({QStringLiteral("pellmora/README.md")});
    m_fixture->model().addContextFolder(folder);
    QTRY_VERIFY(m_harness->find(QStringLiteral("folderRow0")));
    QCOMPARE(ViewHarness::findBelow(connect, QStringLiteral("rowTitle"))->property("text").toString(),
             QStringLiteral("Weiteren Ordner verbinden"));
    // The folder's row stands above the connecting row.
    auto *folderRow = qobject_cast<QQuickItem *>(m_harness->find(QStringLiteral("folderRow0")));
    auto *connectRow = qobject_cast<QQuickItem *>(connect);
    QVERIFY(folderRow->mapToScene({0, 0}).y() < connectRow->mapToScene({0, 0}).y());
}

void TestContextView::folderRows_data()
{
    QTest::addColumn<QStringList>("files");
    QTest::addColumn<bool>("deleted");
    QTest::addColumn<QString>("subtitleEnd");
    QTest::addColumn<QString>("status");

    QTest::newRow("two projects")
        << QStringList{"pellmora/README.md", "pellmora/TODO.yaml", "kunden/web/CLAUDE.md", "notizen.txt"} << false
        << ", 2 Projekte erkannt" << "✓ verbunden";
    QTest::newRow("deleted folder") << QStringList{"pellmora/README.md"} << true << ", 0 Projekte erkannt"
                                    << "nicht gefunden";
}

void TestContextView::folderRows()
{
    QFETCH(QStringList, files);
    QFETCH(bool, deleted);
    QFETCH(QString, subtitleEnd);
    QFETCH(QString, status);

    const QString folder = makeProjects(files);
    if (deleted)
        QVERIFY(QDir(folder).removeRecursively());
    setContext([&](UserContext &c) { c.folderPaths = {folder}; });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));

    QObject *row = m_harness->find(QStringLiteral("folderRow0"));
    QVERIFY(row);
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowTitle"))->property("text").toString(),
             QStringLiteral("Ordner: ") + QFileInfo(folder).fileName());
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowSubtitle"))->property("text").toString(),
             QStringLiteral("liest nur CLAUDE.md, TODO.yaml und README.md") + subtitleEnd);
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowStatus"))->property("text").toString(), status);
}

void TestContextView::removesAMissingFolder()
{
    const QString present = makeProjects({QStringLiteral("a/README.md")});
    const QString missing = m_folders.filePath(QStringLiteral("weg"));
    setContext([&](UserContext &c) { c.folderPaths = {missing, present}; });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QObject *first = m_harness->find(QStringLiteral("folderRow0"));
    QCOMPARE(ViewHarness::findBelow(first, QStringLiteral("rowStatus"))->property("text").toString(),
             QStringLiteral("nicht gefunden"));

    QVERIFY(m_harness->click(ViewHarness::findBelow(first, QStringLiteral("removeFolder"))));
    QCOMPARE(m_fixture->library().data().context.folderPaths, QStringList{present});
    QTRY_VERIFY(!m_harness->find(QStringLiteral("folderRow1")));
    QCOMPARE(ViewHarness::findBelow(m_harness->find(QStringLiteral("folderRow0")), QStringLiteral("rowStatus"))
                 ->property("text")
                 .toString(),
             QStringLiteral("✓ verbunden"));
}

void TestContextView::chooserAddsTheFolder()
{
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QObject *dialog = m_harness->find(QStringLiteral("folderDialog"));
    QVERIFY(dialog);

    const QString folder = makeProjects({QStringLiteral("p/CLAUDE.md")});
    // Offscreen no folder can be picked; confirming takes the folder the
    // chooser stands in, as when the user confirms without picking a subfolder.
    QVERIFY(dialog->setProperty("currentFolder", QUrl::fromLocalFile(folder)));
    QVERIFY(QMetaObject::invokeMethod(dialog, "accepted"));
    QCOMPARE(m_fixture->library().data().context.folderPaths, QStringList{folder});
    // Choosing the same folder again adds nothing.
    QVERIFY(QMetaObject::invokeMethod(dialog, "accepted"));
    QCOMPARE(m_fixture->library().data().context.folderPaths, QStringList{folder});
    // Cancelling adds nothing either.
    QVERIFY(QMetaObject::invokeMethod(dialog, "rejected"));
    QCOMPARE(m_fixture->library().data().context.folderPaths, QStringList{folder});
}

void TestContextView::freeTextWrittenOnce_data()
{
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QString>("subtitle");
    QTest::newRow("into an empty text") << QString() << "Pellmora bauen" << "Pellmora bauen"
                                        << "«Pellmora bauen»";
    QTest::newRow("appended") << "Rust lernen" << " und Qt" << "Rust lernen und Qt" << "«Rust lernen und Qt»";
    QTest::newRow("opened and closed") << "Rust lernen" << QString() << "Rust lernen" << "«Rust lernen»";
    QTest::newRow("only blanks") << QString() << "   " << "   " << "«   »";
}

void TestContextView::freeTextWrittenOnce()
{
    QFETCH(QString, before);
    QFETCH(QString, typed);
    QFETCH(QString, after);
    QFETCH(QString, subtitle);

    setContext([&](UserContext &c) { c.freeText = before; });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QObject *row = m_harness->find(QStringLiteral("freeTextRow"));
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowSubtitle"))->property("text").toString(),
             before.isEmpty() ? QStringLiteral("Noch leer. Schreib in ein, zwei Sätzen, woran du arbeitest.")
                              : QStringLiteral("«") + before + QStringLiteral("»"));
    QVERIFY(!m_harness->isShown(QStringLiteral("freeTextBox")));
    QCOMPARE(m_harness->text(QStringLiteral("editFreeText")), QStringLiteral("bearbeiten"));

    QSignalSpy writes(&m_fixture->library(), &Library::dataChanged);
    QVERIFY(m_harness->click(QStringLiteral("editFreeText")));
    QVERIFY(m_harness->isShown(QStringLiteral("freeTextBox")));
    QCOMPARE(m_harness->text(QStringLiteral("editFreeText")), QStringLiteral("Fertig"));
    QCOMPARE(m_harness->text(QStringLiteral("freeTextEditor")), before);

    QObject *editor = m_harness->find(QStringLiteral("freeTextEditor"));
    editor->setProperty("cursorPosition", editor->property("length"));
    QVERIFY(m_harness->type(QStringLiteral("freeTextEditor"), typed));
    QCOMPARE(writes.count(), 0);

    QVERIFY(m_harness->click(QStringLiteral("editFreeText")));
    QCOMPARE(writes.count(), 1);
    QCOMPARE(m_fixture->library().data().context.freeText, after);
    QVERIFY(!m_harness->isShown(QStringLiteral("freeTextBox")));
    QCOMPARE(m_harness->text(QStringLiteral("editFreeText")), QStringLiteral("bearbeiten"));
    QCOMPARE(ViewHarness::findBelow(row, QStringLiteral("rowSubtitle"))->property("text").toString(), subtitle);
}

void TestContextView::pickers_data()
{
    QTest::addColumn<qint64>("perDay");
    QTest::addColumn<qint64>("hour");
    QTest::addColumn<int>("perDayIndex");
    QTest::addColumn<QString>("perDayShown");
    QTest::addColumn<int>("hourIndex");
    QTest::addColumn<QString>("hourShown");
    QTest::newRow("defaults") << qint64(2) << qint64(9) << 2 << "2" << 4 << "09:00";
    QTest::newRow("outside") << qint64(9) << qint64(23) << -1 << "" << -1 << "";
}

void TestContextView::pickers()
{
    QFETCH(qint64, perDay);
    QFETCH(qint64, hour);
    QFETCH(int, perDayIndex);
    QFETCH(QString, perDayShown);
    QFETCH(int, hourIndex);
    QFETCH(QString, hourShown);

    setContext([&](UserContext &c) {
        c.hintsPerDay = perDay;
        c.hintHour = hour;
    });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QObject *count = m_harness->find(QStringLiteral("hintsPerDay"));
    QObject *hourPicker = m_harness->find(QStringLiteral("hintHour"));
    QCOMPARE(count->property("currentIndex").toInt(), perDayIndex);
    QCOMPARE(ViewHarness::findBelow(count, QStringLiteral("shown"))->property("text").toString(), perDayShown);
    QCOMPARE(hourPicker->property("currentIndex").toInt(), hourIndex);
    QCOMPARE(ViewHarness::findBelow(hourPicker, QStringLiteral("shown"))->property("text").toString(), hourShown);
    // Showing a value outside the choices changes nothing.
    QCOMPARE(m_fixture->library().data().context.hintsPerDay, perDay);
    QCOMPARE(m_fixture->library().data().context.hintHour, hour);
}

void TestContextView::choosingStoresAtOnce()
{
    setContext([&](UserContext &c) {
        c.hintsPerDay = 9;
        c.hintHour = 3;
    });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QObject *count = m_harness->find(QStringLiteral("hintsPerDay"));
    QObject *hourPicker = m_harness->find(QStringLiteral("hintHour"));
    QVERIFY(QMetaObject::invokeMethod(count, "activated", Q_ARG(int, 4)));
    QCOMPARE(m_fixture->library().data().context.hintsPerDay, 4);
    QVERIFY(QMetaObject::invokeMethod(hourPicker, "activated", Q_ARG(int, 2)));
    QCOMPARE(m_fixture->library().data().context.hintHour, 7);
    QTRY_COMPARE(count->property("currentIndex").toInt(), 4);
    QTRY_COMPARE(hourPicker->property("currentIndex").toInt(), 2);
    QCOMPARE(ViewHarness::findBelow(hourPicker, QStringLiteral("shown"))->property("text").toString(),
             QStringLiteral("07:00"));
    // A change in the library from elsewhere moves the pickers.
    setContext([&](UserContext &c) { c.hintHour = 21; });
    QTRY_COMPARE(hourPicker->property("currentIndex").toInt(), 16);
}

void TestContextView::searchHintsShowsTheNotice()
{
    setContext([&](UserContext &c) { c.freeText = QStringLiteral("Gartenbau und Kompost"); });
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QVERIFY(!m_harness->isShown(QStringLiteral("notice")));

    QVERIFY(m_harness->click(QStringLiteral("searchHints")));
    QVERIFY(m_harness->isShown(QStringLiteral("notice")));
    QCOMPARE(m_harness->text(QStringLiteral("notice")),
             QStringLiteral("Keine neuen Hinweise: kein ungelesener Tab passt zu deinen Projekten."));
    QCOMPARE(m_fixture->model().selection(), SidebarSelection::hints());
    QCOMPARE(m_fixture->library().data().lastHintDay, QStringLiteral("2026-11-16"));
}

void TestContextView::copiesTheConfiguration()
{
    QGuiApplication::clipboard()->setText(QStringLiteral("vorher"));
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml")));
    QVERIFY(m_harness->click(QStringLiteral("copyConfig")));
    QCOMPARE(QGuiApplication::clipboard()->text(), AssistantConfig::snippet());
    QCOMPARE(m_harness->read(QStringLiteral("copyConfig"), "text").toString(), QStringLiteral("Kopiert ✓"));
}

void TestContextView::sizeKnownBeforeTheFirstFrame()
{
    // The window takes the view's size when it is made, before any frame.
    setContext([&](UserContext &c) {
        c.folderPaths = {makeProjects({QStringLiteral("a/README.md")}), m_folders.filePath(QStringLiteral("weg"))};
        c.freeText = QStringLiteral("Ich plane eine Reise nach Lissabon im Mai und richte ein Büro zu Hause ein, "
                                    "mit neuem Tisch und Bildschirm.");
    });
    QSizeF before;
    QVERIFY(m_harness->load(QStringLiteral("ContextView.qml"), &before));
    QTest::qWait(100);
    QCOMPARE(before, QSizeF(m_harness->root()->implicitWidth(), m_harness->root()->implicitHeight()));
}

PELLMORA_TEST_MAIN(TestContextView)
#include "TestContextView.moc"
