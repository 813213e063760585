#include <QQuickItem>
#include <QTest>

#include <memory>

#include "AppModel.h"
#include "LibraryText.h"
#include "LibrarySample.h"
#include "ViewHarness.h"
#include "TestRegistry.h"

// The detail sheet: what it opens with, the save rules for note, reminder
// and project tags, cancelling, and the rules behind the fields.
class TestTabDetail : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void opensWithTheTab_data();
    void opensWithTheTab();
    void saves_data();
    void saves();
    void cancelKeepsTheLibrary_data();
    void cancelKeepsTheLibrary();
    void projectsAddAndRemove();
    void returnKey_data();
    void returnKey();
    void pickerKeepsDayInMonth();
    void savingADeletedTabChangesNothing();

    void defaultReminder_data();
    void defaultReminder();
    void reminderFromParts_data();
    void reminderFromParts();
    void addProject_data();
    void addProject();

private:
    void openDetail(int tab);
    QObject *draft() const;
    // The detail's own texts: the list behind it has rows with the same names.
    QString detailText(const char *name) const;

    bool load(const QString &selection = {});

    std::unique_ptr<AppModelFixture> f;
    std::unique_ptr<ViewHarness> h;
};

void TestTabDetail::init()
{
    f = std::make_unique<AppModelFixture>();
    LibrarySample::fill(*f);
    QVERIFY(load(QStringLiteral("all")));
}

void TestTabDetail::cleanup()
{
    h.reset();
    f.reset();
}

bool TestTabDetail::load(const QString &selection)
{
    h = std::make_unique<ViewHarness>(f->model());
    return LibrarySample::load(*h, f->model(), selection);
}

void TestTabDetail::openDetail(int tab)
{
    f->model().showDetail(idText(LibrarySample::id(tab)));
    h->settle();
    QTRY_VERIFY(h->isShown(QStringLiteral("tabDetail")));
}

QString TestTabDetail::detailText(const char *name) const
{
    QObject *found = h->findIn(QStringLiteral("tabDetail"), QString::fromLatin1(name));
    return found ? found->property("text").toString() : QString();
}

QObject *TestTabDetail::draft() const
{
    QObject *detail = h->find(QStringLiteral("tabDetail"));
    return detail ? detail->property("draft").value<QObject *>() : nullptr;
}

void TestTabDetail::opensWithTheTab_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("note");
    QTest::addColumn<bool>("reminderOn");
    QTest::addColumn<QString>("reminderText");
    QTest::addColumn<bool>("summary");

    QTest::newRow("note and reminder") << 1 << "Kapitel 4 nochmals lesen" << true << "Montag, 16.11.2026, 19:31"
                                       << false;
    // Without a reminder the picker waits at tomorrow 09:00, switched off.
    QTest::newRow("nothing yet") << 5 << QString() << false << "keine Erinnerung" << true;
}

void TestTabDetail::opensWithTheTab()
{
    QFETCH(int, tab);
    QFETCH(QString, note);
    QFETCH(bool, reminderOn);
    QFETCH(QString, reminderText);
    QFETCH(bool, summary);

    openDetail(tab);
    QCOMPARE(h->text("noteEditor"), note);
    QCOMPARE(h->find(QStringLiteral("reminderCheck"))->property("checked").toBool(), reminderOn);
    QCOMPARE(h->item(QStringLiteral("reminderPicker"))->isEnabled(), reminderOn);
    QCOMPARE(detailText("reminderText"), reminderText);
    QCOMPARE(h->isShown(QStringLiteral("detailSummary")), summary);
    if (!reminderOn) {
        QCOMPARE(draft()->property("reminderDate").toDateTime(),
                 QDateTime(QDate(2026, 11, 17), QTime(9, 0)));
        QCOMPARE(h->find(QStringLiteral("pickerDay"))->property("value").toInt(), 17);
        QCOMPARE(h->find(QStringLiteral("pickerHour"))->property("value").toInt(), 9);
    }
}

void TestTabDetail::saves_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<QString>("typedNote");
    QTest::addColumn<int>("reminder"); // -1 switch off, 0 leave, 1 switch on
    QTest::addColumn<QString>("typedProject");
    QTest::addColumn<QString>("note");
    QTest::addColumn<QDateTime>("reminderAt");
    QTest::addColumn<QStringList>("projects");

    const QDateTime old(QDate(2026, 11, 16), QTime(19, 31));
    const QDateTime tomorrow(QDate(2026, 11, 17), QTime(9, 0));
    QTest::newRow("note typed") << 5 << "Am Sonntag kochen" << 0 << QString() << "Am Sonntag kochen" << QDateTime()
                                << QStringList();
    QTest::newRow("reminder switched on") << 5 << QString() << 1 << QString() << QString() << tomorrow
                                          << QStringList();
    QTest::newRow("reminder switched off") << 1 << QString() << -1 << QString() << "Kapitel 4 nochmals lesen"
                                           << QDateTime() << QStringList();
    QTest::newRow("reminder kept") << 1 << QString() << 0 << QString() << "Kapitel 4 nochmals lesen" << old
                                   << QStringList();
    // A project name still in the field is added as "+ Projekt" would.
    QTest::newRow("typed project joins") << 5 << QString() << 0 << "  Znacht  " << QString() << QDateTime()
                                         << QStringList{QStringLiteral("Znacht")};
}

void TestTabDetail::saves()
{
    QFETCH(int, tab);
    QFETCH(QString, typedNote);
    QFETCH(int, reminder);
    QFETCH(QString, typedProject);
    QFETCH(QString, note);
    QFETCH(QDateTime, reminderAt);
    QFETCH(QStringList, projects);

    openDetail(tab);
    if (!typedNote.isEmpty()) {
        h->item(QStringLiteral("noteEditor"))->forceActiveFocus();
        h->typeText(typedNote);
    }
    if (reminder != 0) {
        QVERIFY(h->click(QStringLiteral("reminderCheck")));
        QCOMPARE(h->find(QStringLiteral("reminderCheck"))->property("checked").toBool(), reminder > 0);
    }
    if (!typedProject.isEmpty()) {
        h->item(QStringLiteral("newProjectField"))->forceActiveFocus();
        h->typeText(typedProject);
    }
    QVERIFY(h->click(QStringLiteral("detailSave")));

    QVERIFY(!f->model().detailTab());
    QTRY_VERIFY(!h->isShown(QStringLiteral("tabDetail")));
    const auto saved = f->model().library().data().tab(LibrarySample::id(tab));
    QVERIFY(saved);
    QCOMPARE(saved->note, note);
    QCOMPARE(saved->reminderAt.has_value(), reminderAt.isValid());
    if (reminderAt.isValid())
        QCOMPARE(saved->reminderAt->toLocalTime(), reminderAt);
    QCOMPARE(saved->projectTags, projects);
}

void TestTabDetail::cancelKeepsTheLibrary_data()
{
    QTest::addColumn<QString>("button");
    QTest::newRow("Abbrechen") << "detailCancel";
    QTest::newRow("close symbol") << "detailClose";
}

void TestTabDetail::cancelKeepsTheLibrary()
{
    QFETCH(QString, button);

    const LibraryData before = f->model().library().data();
    openDetail(1);
    h->item(QStringLiteral("noteEditor"))->forceActiveFocus();
    h->typeText(QStringLiteral(" und 5"));
    QVERIFY(h->click(QStringLiteral("reminderCheck")));
    QVERIFY(h->click(button));

    QVERIFY(!f->model().detailTab());
    QTRY_VERIFY(!h->isShown(QStringLiteral("tabDetail")));
    QCOMPARE(f->model().library().data().tabs, before.tabs);

    // Opened again, the sheet starts from the library, not from the dropped edits.
    openDetail(1);
    QCOMPARE(h->text("noteEditor"), QStringLiteral("Kapitel 4 nochmals lesen"));
    QVERIFY(h->find(QStringLiteral("reminderCheck"))->property("checked").toBool());
}

void TestTabDetail::projectsAddAndRemove()
{
    f->library().updateTab(LibrarySample::id(4),
                                     [](SavedTab &tab) { tab.projectTags = {QStringLiteral("Ferien 2027")}; });
    openDetail(4);
    QVERIFY(h->isShown(QStringLiteral("project:Ferien 2027")));

    auto type = [&](const QString &text) {
        h->item(QStringLiteral("newProjectField"))->forceActiveFocus();
        h->typeText(text);
    };
    type(QStringLiteral("Wanderwoche"));
    h->pressReturn();
    h->settle();
    QVERIFY(h->isShown(QStringLiteral("project:Wanderwoche")));
    QCOMPARE(h->text("newProjectField"), QString());

    type(QStringLiteral("Ferien 2027"));
    QVERIFY(h->click(QStringLiteral("addProjectButton")));
    QCOMPARE(draft()->property("projectTags").toStringList(),
             (QStringList{QStringLiteral("Ferien 2027"), QStringLiteral("Wanderwoche")}));

    QVERIFY(h->click(QStringLiteral("removeProject:Ferien 2027")));
    QCOMPARE(draft()->property("projectTags").toStringList(), QStringList{QStringLiteral("Wanderwoche")});
    // Only the draft changed so far.
    QCOMPARE(f->model().library().data().tab(LibrarySample::id(4))->projectTags,
             QStringList{QStringLiteral("Ferien 2027")});

    QVERIFY(h->click(QStringLiteral("detailSave")));
    QCOMPARE(f->model().library().data().tab(LibrarySample::id(4))->projectTags,
             QStringList{QStringLiteral("Wanderwoche")});
}

void TestTabDetail::returnKey_data()
{
    QTest::addColumn<QString>("focus");
    QTest::addColumn<bool>("saves");

    QTest::newRow("in the note: a new line") << "noteEditor" << false;
    QTest::newRow("in the project field: adds it") << "newProjectField" << false;
    QTest::newRow("elsewhere: the default button") << "reminderCheck" << true;
}

void TestTabDetail::returnKey()
{
    QFETCH(QString, focus);
    QFETCH(bool, saves);

    openDetail(5);
    h->item(focus)->forceActiveFocus();
    h->typeText(QStringLiteral("Znacht"));
    h->pressReturn();
    h->settle();
    QCOMPARE(!f->model().detailTab(), saves);
    if (focus == u"noteEditor")
        QCOMPARE(draft()->property("note").toString(), QStringLiteral("Znacht\n"));
    if (focus == u"newProjectField")
        QCOMPARE(draft()->property("projectTags").toStringList(), QStringList{QStringLiteral("Znacht")});
}

void TestTabDetail::pickerKeepsDayInMonth()
{
    openDetail(5);
    QVERIFY(h->click(QStringLiteral("reminderCheck")));
    QObject *edit = draft();
    QMetaObject::invokeMethod(edit, "setReminderParts", Q_ARG(int, 2027), Q_ARG(int, 1), Q_ARG(int, 31),
                              Q_ARG(int, 18), Q_ARG(int, 45));
    h->settle();
    QCOMPARE(h->find(QStringLiteral("pickerDay"))->property("value").toInt(), 31);
    QCOMPARE(h->find(QStringLiteral("pickerMinute"))->property("value").toInt(), 45);

    // One step up in the month field: February has no 31st.
    QQuickItem *month = h->item(QStringLiteral("pickerMonth"));
    QVERIFY(month);
    QMetaObject::invokeMethod(month, "increase");
    h->settle();
    QCOMPARE(edit->property("reminderDate").toDateTime(), QDateTime(QDate(2027, 2, 28), QTime(18, 45)));
    QCOMPARE(h->find(QStringLiteral("pickerDay"))->property("value").toInt(), 28);
    QCOMPARE(detailText("reminderText"), QStringLiteral("Sonntag, 28.02.2027, 18:45"));

    QVERIFY(h->click(QStringLiteral("detailSave")));
    QCOMPARE(f->model().library().data().tab(LibrarySample::id(5))->reminderAt->toLocalTime(),
             QDateTime(QDate(2027, 2, 28), QTime(18, 45)));
}

void TestTabDetail::savingADeletedTabChangesNothing()
{
    openDetail(2);
    // The companion program removed the tab meanwhile; the sheet keeps its copy.
    f->library().mutate([](LibraryData &data) {
        data.tabs.removeIf([](const SavedTab &tab) { return tab.id == LibrarySample::id(2); });
    });
    h->settle();
    QVERIFY(h->isShown(QStringLiteral("tabDetail")));
    QCOMPARE(h->text("detailTitle"), QStringLiteral("Cargo Workspaces"));
    h->item(QStringLiteral("noteEditor"))->forceActiveFocus();
    h->typeText(QStringLiteral("zu spät"));
    const QList<SavedTab> before = f->model().library().data().tabs;
    QVERIFY(h->click(QStringLiteral("detailSave")));
    QCOMPARE(f->model().library().data().tabs, before);
    QVERIFY(!f->model().library().data().tab(LibrarySample::id(2)));
}

void TestTabDetail::defaultReminder_data()
{
    QTest::addColumn<QDateTime>("now");
    QTest::addColumn<QDateTime>("expected");

    QTest::newRow("evening") << QDateTime(QDate(2026, 11, 16), QTime(20, 31))
                             << QDateTime(QDate(2026, 11, 17), QTime(9, 0));
    QTest::newRow("just after midnight") << QDateTime(QDate(2026, 11, 16), QTime(0, 5))
                                         << QDateTime(QDate(2026, 11, 17), QTime(9, 0));
    QTest::newRow("end of year") << QDateTime(QDate(2026, 12, 31), QTime(23, 59))
                                 << QDateTime(QDate(2027, 1, 1), QTime(9, 0));
    // The night the clocks go back has 25 hours; tomorrow is still the next day.
    QTest::newRow("autumn change") << QDateTime(QDate(2026, 10, 25), QTime(0, 30))
                                   << QDateTime(QDate(2026, 10, 26), QTime(9, 0));
    QTest::newRow("from UTC") << QDateTime(QDate(2026, 11, 16), QTime(23, 30), Qt::UTC)
                              << QDateTime(QDate(2026, 11, 18), QTime(9, 0));
}

void TestTabDetail::defaultReminder()
{
    QFETCH(QDateTime, now);
    QFETCH(QDateTime, expected);
    QCOMPARE(LibraryText::defaultReminder(now), expected);
}

void TestTabDetail::reminderFromParts_data()
{
    QTest::addColumn<QList<int>>("parts");
    QTest::addColumn<QDateTime>("expected");

    QTest::newRow("plain") << QList<int>{2026, 11, 20, 14, 5} << QDateTime(QDate(2026, 11, 20), QTime(14, 5));
    QTest::newRow("31st of April") << QList<int>{2027, 4, 31, 9, 0} << QDateTime(QDate(2027, 4, 30), QTime(9, 0));
    QTest::newRow("leap day") << QList<int>{2028, 2, 30, 9, 0} << QDateTime(QDate(2028, 2, 29), QTime(9, 0));
    QTest::newRow("no leap day") << QList<int>{2027, 2, 29, 9, 0} << QDateTime(QDate(2027, 2, 28), QTime(9, 0));
    QTest::newRow("month out of range") << QList<int>{2027, 13, 1, 9, 0}
                                        << QDateTime(QDate(2027, 12, 1), QTime(9, 0));
    QTest::newRow("time out of range") << QList<int>{2027, 1, 1, 24, 60}
                                       << QDateTime(QDate(2027, 1, 1), QTime(23, 59));
}

void TestTabDetail::reminderFromParts()
{
    QFETCH(QList<int>, parts);
    QFETCH(QDateTime, expected);
    QCOMPARE(LibraryText::reminderFromParts(parts[0], parts[1], parts[2], parts[3], parts[4]), expected);
}

void TestTabDetail::addProject_data()
{
    QTest::addColumn<QStringList>("tags");
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("expected");

    const QStringList one{QStringLiteral("Pellmora")};
    QTest::newRow("added at the end") << one << "Ferien" << QStringList{QStringLiteral("Pellmora"), QStringLiteral("Ferien")};
    QTest::newRow("trimmed") << QStringList() << "\t Ferien  " << QStringList{QStringLiteral("Ferien")};
    QTest::newRow("only spaces") << one << "   " << one;
    QTest::newRow("empty") << one << "" << one;
    QTest::newRow("already there") << one << " Pellmora " << one;
    // Another spelling is another project.
    QTest::newRow("case differs") << one << "pellmora" << QStringList{QStringLiteral("Pellmora"), QStringLiteral("pellmora")};
}

void TestTabDetail::addProject()
{
    QFETCH(QStringList, tags);
    QFETCH(QString, typed);
    QFETCH(QStringList, expected);
    QCOMPARE(LibraryText::addProject(tags, typed), expected);
}

PELLMORA_TEST_MAIN(TestTabDetail)
#include "TestTabDetail.moc"
