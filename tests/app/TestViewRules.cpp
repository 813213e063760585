#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "AppModelFixture.h"
#include "AssistantConfig.h"
#include "ChatRules.h"
#include "ContextPresenter.h"
#include "DemoData.h"
#include "LibraryBuilder.h"
#include "LibraryPresenter.h"
#include "LibraryText.h"
#include "PopoverText.h"
#include "SettingsPresenter.h"
#include "SidebarModel.h"
#include "TabDraft.h"
#include "TabListModel.h"
#include "TestRegistry.h"
#include "TestSupport.h"
#include "ThemeRules.h"
#include "WindowManager.h"

namespace {

// The words of a text with every number taken out: equal for the same form.
QString shape(QString text)
{
    static const QRegularExpression number(QStringLiteral("\\d[\\d',]*"));
    return text.replace(number, QStringLiteral("#"));
}

// Any digit at all.
const QRegularExpression digit(QStringLiteral("\\d"));

QDateTime local(int y, int m, int d, int h = 9, int min = 0)
{
    return QDateTime(QDate(y, m, d), QTime(h, min));
}

QVariant counts(int tabs, int windows)
{
    return QVariantMap{{QStringLiteral("tabs"), tabs}, {QStringLiteral("windows"), windows}};
}

} // namespace

// The rules behind the views, tested on the classes that own them: which
// counts, dates, choices and orders they give, and where singular and plural
// part. Texts are checked only for the numbers and names they must carry.
class TestViewRules : public QObject
{
    Q_OBJECT

public:
    // The model server settings go to the per-user store: keep them private.
    TestViewRules() { qputenv("XDG_CONFIG_HOME", m_config.path().toUtf8()); }

private slots:
    // Each row: what a rule gives, and what it must give.
    void rules_data()
    {
        QTest::addColumn<QVariant>("got");
        QTest::addColumn<QVariant>("expected");
        const auto row = [](const char *name, const QVariant &got, const QVariant &expected) {
            QTest::newRow(name) << got << expected;
        };
        // The popover's counts: a preview first, the sample snapshot in demo
        // mode without a browser, else the live counts when both are known.
        int sampleTabs = 0;
        const QList<SafariWindow> sample = DemoData::safariSnapshot();
        for (const SafariWindow &w : sample)
            sampleTabs += int(w.tabs.size());
        row("counts: preview wins", PopoverText::countsFor(counts(7, 2), true, false, 40, 4), counts(7, 2));
        row("counts: demo shows the sample", PopoverText::countsFor({}, true, false, 40, 4),
            counts(sampleTabs, int(sample.size())));
        row("counts: demo with a browser", PopoverText::countsFor({}, true, true, 40, 4), counts(40, 4));
        row("counts: no windows counted", PopoverText::countsFor({}, false, true, 3, {}), QVariant());
        // 7.5 MB a tab; the warning from 50 tabs on.
        row("memory: half a megabyte cut", PopoverText::memoryEstimate(1), "7 MB");
        row("memory: last below a gigabyte", PopoverText::memoryEstimate(133), "997 MB");
        row("memory: first gigabyte", PopoverText::memoryEstimate(134), "1,0 GB");
        row("memory: half rounds up", PopoverText::memoryEstimate(140), "1,1 GB");
        row("memory: thousands grouped", PopoverText::memoryEstimate(200000), "1'500,0 GB");
        row("memory: no warning below 50", PopoverText::memoryLine(49).isEmpty(), true);
        row("memory: warning names the estimate", PopoverText::memoryLine(50).contains("375 MB"), true);
        // The popover footer counts today's reminders, overdue ones included.
        AppModelFixture fixture;
        const QDateTime now = fixture.clock().now(); // Monday 16.11.2026 20:31
        const auto remindersToday = [&](const QList<int> &hours) {
            LibraryBuilder library;
            library.tab(QStringLiteral("Ohne Erinnerung"));
            for (int h : hours)
                library.tab(QStringLiteral("Erinnert")).reminder(now.addSecs(h * 3600));
            return AppModel::remindersOfToday(library, now);
        };
        row("today: yesterday's still due", remindersToday({-24}), 1);
        row("today: after midnight is tomorrow", remindersToday({-30, 2, 4, 24}), 2);
        // The detail sheet's reminder: tomorrow 9:00 unless set; the picker's
        // fields as a date. The night the clocks go back has 25 hours.
        const auto later = &LibraryText::defaultReminder;
        const auto parts = &LibraryText::reminderFromParts;
        row("later: tomorrow 9:00", later(now), local(2026, 11, 17));
        row("later: end of year", later(local(2026, 12, 31, 23, 59)), local(2027, 1, 1));
        row("later: autumn change", later(local(2026, 10, 25, 0, 30)), local(2026, 10, 26));
        row("later: from UTC", later(QDateTime(QDate(2026, 11, 16), QTime(23, 30), Qt::UTC)), local(2026, 11, 18));
        row("picker: 31st of April", parts(2027, 4, 31, 9, 0), local(2027, 4, 30));
        row("picker: leap day", parts(2028, 2, 30, 9, 0), local(2028, 2, 29));
        row("picker: no leap day", parts(2027, 2, 29, 9, 0), local(2027, 2, 28));
        row("picker: month out of range", parts(2027, 13, 1, 9, 0), local(2027, 12, 1));
        row("picker: time out of range", parts(2027, 1, 1, 24, 60), local(2027, 1, 1, 23, 59));
        // The chat's reminder: 23.11.2026 is a Monday; the clocks go forward
        // on Sunday 29.03.2026.
        const auto monday = &ChatRules::nextMonday;
        row("monday: before nine", monday(local(2026, 11, 23, 8, 59)), local(2026, 11, 23));
        row("monday: at nine", monday(local(2026, 11, 23)), local(2026, 11, 30));
        row("monday: across the year", monday(local(2026, 12, 29, 10, 0)), local(2027, 1, 4));
        row("monday: summer time starts", monday(local(2026, 3, 28, 12, 0)), local(2026, 3, 30));
        row("monday: given in UTC", monday(local(2026, 11, 23, 8, 30).toUTC()), local(2026, 11, 23));
        row("monday: the label names the day", ChatRules::remindLabel(local(2026, 11, 30)).contains("30.11."), true);
        // The chat's texts: one to three in words, every other count as its
        // number; the card's local day, and "never read" after it.
        const auto open = &ChatRules::openLabel;
        row("open: three words", QSet<QString>{open(1), open(2), open(3)}.size(), 3);
        row("open: no digits up to three", (open(1) + open(2) + open(3)).contains(digit), false);
        row("open: numbers from four", open(4).contains(u'4') && open(0).contains(u'0'), true);
        const QDateTime lateUtc(QDate(2026, 11, 2), QTime(23, 30), Qt::UTC);
        const QString cardRead = ChatRules::savedLine(lateUtc, true);
        row("card: the local day", cardRead.contains("03.11."), true);
        row("card: unread says so", ChatRules::savedLine(lateUtc, false).startsWith(cardRead + u','), true);
        // One domain a line, trimmed, nothing else changed.
        using L = QStringList;
        const auto pinned = &SettingsPresenter::pinnedDomainsFrom;
        row("pinned: blanks and empty lines", pinned(" a.ch \n\n\t\n\tb.ch\t\n"), L{"a.ch", "b.ch"});
        row("pinned: windows line ends", pinned("a.ch\r\nb.ch\r\n"), L{"a.ch", "b.ch"});
        row("pinned: order and repeats", pinned("z.ch\na.ch\nz.ch"), L{"z.ch", "a.ch", "z.ch"});
        row("pinned: as typed", pinned("https://Mail.ch/ \nmit leer"), L{"https://Mail.ch/", "mit leer"});
        // A typed project joins the tags: trimmed, never empty, never twice.
        const L one{"Pellmora"};
        row("project: added at the end", LibraryText::addProject(one, "\t Ferien "), L{"Pellmora", "Ferien"});
        row("project: only spaces", LibraryText::addProject(one, "   "), one);
        row("project: already there", LibraryText::addProject(one, " Pellmora "), one);
        row("project: another spelling", LibraryText::addProject(one, "pellmora"), L{"Pellmora", "pellmora"});
        // The sidebar's keys: a topic or window with its id, a collection without.
        const QString topicKey = SidebarSelection::topic(LibraryBuilder::id(1)).key();
        row("key: topic", SidebarSelection::fromKey(topicKey).value_or(SidebarSelection()).key(), topicKey);
        row("key: topic without id", SidebarSelection::fromKey("topic").has_value(), false);
        row("key: collection with id", SidebarSelection::fromKey("all:x").has_value(), false);
        row("key: broken id", SidebarSelection::fromKey("window:kein-uuid").has_value(), false);
        // The context pickers: a stored value outside the choices has no index.
        row("choice: below", ContextPresenter::choiceIndex(4, 5, 22), -1);
        row("choice: last", ContextPresenter::choiceIndex(22, 5, 22), 17);
        row("choice: above", ContextPresenter::choiceIndex(23, 5, 22), -1);
        // A chip's site part and letter; its colour from the FNV-1a hash of the
        // site (reference values from outside this code), so a site looks the
        // same in every run and on every machine.
        row("chip: site part", ThemeRules::chipKey("docs.python.org"), "python");
        row("chip: letter of the site", ThemeRules::chipLetter("docs.python.org", "Repo"), "P");
        row("chip: r-site", ThemeRules::chipLetter("reddit.com", {}), "r");
        row("chip: r-site only as prefix", ThemeRules::chipLetter("old.reddit.com", {}), "R");
        row("chip: r-site needs the dot", ThemeRules::chipLetter("redditfan.com", {}), "R");
        row("chip: no domain, the title", ThemeRules::chipLetter({}, "über uns"), "Ü");
        row("chip: nothing at all", ThemeRules::chipLetter({}, {}), "?");
        row("hash: empty is the basis", ThemeRules::fnv1a({}), 2166136261u);
        row("hash: utf-8 bytes", ThemeRules::fnv1a(QStringLiteral("zürich").toUtf8()), 2932497984u);
        row("colour: from the hash", ThemeRules::chipPaletteIndex("github"), int(584874290u % 10));
        // A window keeps room for its frame and is cut only where it does not fit.
        const QSize frame = WindowManager::decoration;
        const auto fitted = &WindowManager::fitted;
        row("fitted: fits", fitted({620, 700}, {0, 0, 1920, 1040}), QSize(620, 700));
        row("fitted: too tall", fitted({620, 1025}, {0, 0, 1600, 1000}), QSize(620, 1000 - frame.height()));
        row("fitted: too wide", fitted({1180, 600}, {0, 24, 1024, 744}), QSize(1024 - frame.width(), 600));
        // Each counted text for 1, 2 and 37: the number shows, 1 takes another
        // form than 2, and 2 the same as 37.
        const auto plural = [](auto text) {
            const QString single = text(1), two = text(2), many = text(37);
            return QVariantList{single.contains(u'1') && two.contains(u'2') && many.contains(QStringLiteral("37")),
                                shape(single) != shape(two), shape(two) == shape(many)};
        };
        const QVariantList formsRight{true, true, true};
        row("plural: tabs", plural([](int n) { return PopoverText::countLine(n, 1); }), formsRight);
        row("plural: windows", plural([](int n) { return PopoverText::countLine(1, n); }), formsRight);
        row("plural: group option", plural([](int n) { return PopoverText::groupOption(n); }), formsRight);
        row("plural: reminders today", plural([](int n) { return PopoverText::footerLine(n, 1); }), formsRight);
        row("plural: new hints", plural([](int n) { return PopoverText::footerLine(1, n); }), formsRight);
        row("plural: folder subtitle", plural([](int n) { return ContextPresenter::folderSubtitle(n); }), formsRight);
        row("plural: windows not counted", PopoverText::groupOption({}).contains(digit), false);
        // The library's header: a topic or window by its own name, one gone by
        // a name of its own; the listed tabs counted, for a topic with the
        // windows they come from and how it was formed.
        using S = SidebarSelection;
        LibraryData data = LibraryBuilder()
                               .window().tab(QStringLiteral("Ownership")).tab(QStringLiteral("Zug"))
                               .window().tab(QStringLiteral("Wandern")).tab(QStringLiteral("Capuns"))
                               .topic(QStringLiteral("Rust"), {1}).topic(QStringLiteral("Reisen"), {2, 3}).unsorted();
        const QList<SavedTab> tabs = data.tabs;
        const auto title = [&](const S &s, const QString &query = {}) { return LibraryText::title(data, s, query); };
        const auto subtitle = [&](const S &s, const QList<SavedTab> &listed, const QString &query = {}) {
            return LibraryText::subtitle(data, s, query, listed);
        };
        const auto topic = [](int n) { return S::topic(LibraryBuilder::topicId(n)); };
        const QString oneWindow = subtitle(topic(1), {tabs[0]});
        const QString twoWindows = subtitle(topic(2), {tabs[1], tabs[2]});
        row("header: topic", title(topic(1)), "Rust");
        row("header: window", title(S::window(LibraryBuilder::windowId(2))), data.windows[1].title);
        row("header: gone", !title(S::topic({})).isEmpty() && title(S::topic({})) != title(S::window({})), true);
        row("header: search", title(S::all(), "Capuns").contains("Capuns"), true);
        row("header: listed counted", oneWindow.startsWith("1 ") && twoWindows.startsWith("2 "), true);
        row("header: one window or two", shape(oneWindow) != shape(twoWindows), true);
        row("header: unsorted", shape(subtitle(topic(3), {tabs[3]})) != shape(oneWindow), true);
        row("header: all from the windows", subtitle(S::all(), tabs).contains(QRegularExpression("^4\\D+2\\D")), true);
        row("header: search hits", subtitle(S::all(), {tabs[0]}, "Rust").startsWith("1 "), true);
        data.topicsByAI = true;
        row("header: grouped by the model", subtitle(topic(1), {tabs[0]}) != oneWindow, true);
        row("header: no hits", LibraryText::emptyListText("Quantenschaum").contains("Quantenschaum"), true);
        // A row's date line: the site, the local day, then whether it was read.
        SavedTab tab = tabs[0];
        const QString unread = LibraryText::dateLine(tab);
        tab.readAt = LibraryBuilder::now();
        row("date line: site and day", unread.startsWith(tab.domain) && unread.contains("16.11."), true);
        const QString read = LibraryText::dateLine(tab);
        row("date line: read", read.startsWith(unread) && read != unread, true);
        // A listed row: due from the reminder's very minute on, the hint's
        // reason only under the hints; a sidebar click ends the search.
        fixture.library().replace(LibraryBuilder().tab("A").reminder(now).tab("B").reminder(now.addSecs(60)).tab("C")
                                      .hint(3, "Passt"));
        LibraryPresenter library;
        library.setModel(&fixture.model());
        const auto listed = [&](int n, const QString &selection) {
            fixture.model().setQuery(QStringLiteral("Rust"));
            library.select(selection);
            const QVariantMap info = library.rowInfo(idText(LibraryBuilder::tabId(n)));
            return QVariantList{fixture.model().query().isEmpty() && fixture.model().selectionKey() == selection,
                                info.value("reminderDue").toBool(), info.value("hasHint").toBool(),
                                info.contains("hintReason")};
        };
        row("row: due at its minute", listed(1, "all"), QVariantList{true, true, false, false});
        row("row: not yet due", listed(2, "reminders"), QVariantList{true, false, false, false});
        row("row: hint under the hints", listed(3, "hints"), QVariantList{true, false, true, true});
        row("row: hint elsewhere", listed(3, "all"), QVariantList{true, false, true, false});
        // The context window: a folder's row with its name, its projects and
        // whether it is there; only local folders, cleaned; the chosen hour,
        // nothing past the choices.
        QTemporaryDir folders;
        for (const char *file : {"pellmora/README.md", "kunden/web/CLAUDE.md", "notizen.txt"})
            QVERIFY(TestSupport::writeFile(folders.filePath(QString::fromLatin1(file)), "# Projekt\n"));
        const QVariantMap present = ContextPresenter::folderRow(folders.path());
        const QVariantMap missing = ContextPresenter::folderRow(folders.filePath("weg"));
        row("folder: there or not", QVariantList{present["found"], missing["found"]}, QVariantList{true, false});
        row("folder: status", present["status"] != missing["status"], true);
        row("folder: named", present["title"].toString().contains(QFileInfo(folders.path()).fileName()), true);
        row("folder: projects", present["subtitle"].toString().contains(u'2'), true);
        row("folder: none when gone", missing["subtitle"].toString().contains(u'0'), true);
        ContextPresenter context;
        context.setModel(&fixture.model());
        context.addFolder(QUrl("https://example.org/"));
        context.addFolder(QUrl::fromLocalFile(folders.path() + "/pellmora/.."));
        row("context: local, cleaned", fixture.library().data().context.folderPaths, QStringList{folders.path()});
        context.saveFreeText("Rust lernen");
        row("context: free text", context.freeTextSubtitle().contains("Rust lernen"), true);
        context.chooseHintHour(2);
        context.chooseHintHour(ContextPresenter::lastHour - ContextPresenter::firstHour + 1);
        context.chooseHintsPerDay(ContextPresenter::maxHintsPerDay + 1);
        row("context: hour chosen", int(fixture.library().data().context.hintHour), ContextPresenter::firstHour + 2);
        row("context: nothing past the choices", context.hintsPerDayIndex() >= 0, true);
        context.searchHints();
        row("context: hints listed", fixture.model().selectionKey(), "hints");
        // The model server: only addresses on this machine are taken, and a
        // refused one is not stored.
        const auto server = [](const QString &url) {
            QSettings store(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
            store.clear();
            SettingsPresenter settings;
            const bool refused = !settings.saveServerSettings(url, " qwen3:4b ", {}).isEmpty();
            store.sync();
            return QVariantList{refused, store.contains("modelServerURL"), settings.modelName()};
        };
        row("server: loopback", server("http://127.0.0.1:8080"), QVariantList{false, true, "qwen3:4b"});
        row("server: empty, the default", server(""), QVariantList{false, true, "qwen3:4b"});
        row("server: another machine", server("http://192.168.1.20:11434"), QVariantList{true, false, ""});
        row("server: not http", server("ftp://127.0.0.1"), QVariantList{true, false, ""});
        // Where the assistant finds pellmora-cli: beside the program (in app/),
        // in the build tree (cli/ beside it), on the search path, else where a
        // package puts it. "-" marks a file that is not executable.
        const auto cli = [](const QStringList &files, const QString &searchPath) {
            QTemporaryDir tmp;
            QDir(tmp.path()).mkpath(QStringLiteral("app"));
            for (const QString &file : files) {
                const QString path = tmp.filePath(file.startsWith(u'-') ? file.mid(1) : file);
                TestSupport::writeFile(path, "#!/bin/sh\n");
                if (!file.startsWith(u'-'))
                    QFile::setPermissions(path, QFile::permissions(path) | QFile::ExeOwner);
            }
            QStringList path;
            for (const QString &part : searchPath.split(u':'))
                path << tmp.filePath(part);
            const QString found = AssistantConfig::cliPath(tmp.filePath(QStringLiteral("app")), path.join(u':'));
            return QString(found).remove(tmp.path() + u'/');
        };
        row("cli: beside the program", cli({"app/pellmora-cli", "cli/pellmora-cli"}, "bin"), "app/pellmora-cli");
        row("cli: build tree", cli({"cli/pellmora-cli", "bin/pellmora-cli"}, "bin"), "cli/pellmora-cli");
        row("cli: search path", cli({"bin/pellmora-cli"}, "nowhere:bin"), "bin/pellmora-cli");
        row("cli: not executable", cli({"-app/pellmora-cli", "-bin/pellmora-cli"}, "bin"), "/usr/bin/pellmora-cli");
    }
    void rules()
    {
        QFETCH(QVariant, got);
        QFETCH(QVariant, expected);
        QCOMPARE(got, expected);
    }

    void sidebarRows()
    {
        const QDateTime now = LibraryBuilder::now();
        LibraryData data = LibraryBuilder()
                               .window().tab(QStringLiteral("A")).reminder(now).note(QStringLiteral("n"))
                               .tab(QStringLiteral("B")).window().tab(QStringLiteral("C")).reminder(now)
                               .topic(QStringLiteral("Rust"), {1, 2}).unsorted()
                               .hint(3, QStringLiteral("offen")).hint(1, QStringLiteral("weg"), true);
        data.windows[1].savedAt = now.addDays(1);
        // Topics as listed, windows newest first, then the four collections.
        using S = SidebarSelection;
        const QList<S> order{S::topic(LibraryBuilder::topicId(1)), S::topic(LibraryBuilder::topicId(2)),
                             S::window(LibraryBuilder::windowId(2)), S::window(LibraryBuilder::windowId(1)),
                             S::reminders(), S::notes(), S::hints(), S::all()};
        const QList<int> counts{2, 1, 1, 2, 2, 1, 1, 3};
        const QList<SidebarModel::Row> rows = SidebarModel::rowsFor(data);
        QCOMPARE(rows.size(), order.size());
        for (int i = 0; i < rows.size(); ++i)
            QVERIFY2(rows[i].selection == order[i] && rows[i].count == counts[i], qPrintable(rows[i].label));
        // New counts keep the rows (and the view's place); a new row resets them.
        SidebarModel model;
        model.setData(data);
        QSignalSpy resets(&model, &QAbstractItemModel::modelReset);
        data.tabs[1].note = QStringLiteral("auch");
        model.setData(data);
        QCOMPARE(resets.size(), 0);
        QCOMPARE(model.rows().at(5).count, 2);
        data.topics.removeFirst();
        model.setData(data);
        QCOMPARE(resets.size(), 1);
        // Likewise the list of tabs: reset only when it differs.
        TabListModel list;
        QSignalSpy listResets(&list, &QAbstractItemModel::modelReset);
        list.setTabs(data.tabs);
        list.setTabs(data.tabs);
        QCOMPARE(listResets.size(), 1);
    }

    void draft_data()
    {
        QTest::addColumn<int>("tab");
        QTest::addColumn<QString>("action"); // save, close, or save after the tab was deleted
        QTest::addColumn<QVariantList>("edits"); // note typed (empty: left), reminder -1 off/0 left/1 on, project typed
        QTest::addColumn<QVariantList>("saved"); // note, reminder, projects
        const QString kept = QStringLiteral("Kapitel 4");
        const QDateTime none;
        const QDateTime old = local(2026, 11, 16, 19, 31);
        using V = QVariantList;
        using L = QStringList;
        QTest::newRow("note") << 2 << "save" << V{"Am Sonntag", 0, ""} << V{"Am Sonntag", none, L()};
        QTest::newRow("reminder on: tomorrow 9:00") << 2 << "save" << V{"", 1, ""} << V{"", local(2026, 11, 17), L()};
        QTest::newRow("reminder off") << 1 << "save" << V{"", -1, ""} << V{kept, none, L()};
        QTest::newRow("reminder kept") << 1 << "save" << V{"", 0, ""} << V{kept, old, L()};
        QTest::newRow("typed project joins") << 2 << "save" << V{"", 0, " Znacht "} << V{"", none, L{"Znacht"}};
        QTest::newRow("closed unsaved") << 1 << "close" << V{"anders", -1, "X"} << V{kept, old, L()};
        QTest::newRow("deleted meanwhile") << 1 << "deleted" << V{"anders", 0, ""} << V();
    }
    void draft()
    {
        QFETCH(int, tab);
        QFETCH(QString, action);
        QFETCH(QVariantList, edits);
        QFETCH(QVariantList, saved);
        AppModelFixture fixture;
        fixture.library().replace(LibraryBuilder().tab(QStringLiteral("A")).note(QStringLiteral("Kapitel 4"))
                                      .reminder(local(2026, 11, 16, 19, 31)).tab(QStringLiteral("B")));
        TabDraft draft;
        draft.setModel(&fixture.model());
        fixture.model().showDetail(idText(LibraryBuilder::tabId(tab)));
        QCOMPARE(draft.tabId(), idText(LibraryBuilder::tabId(tab)));
        if (!edits[0].toString().isEmpty())
            draft.setNote(edits[0].toString());
        if (edits[1].toInt())
            draft.setHasReminder(edits[1].toInt() > 0);
        draft.setNewProject(edits[2].toString());
        if (action == u"deleted")
            fixture.library().mutate([](LibraryData &data) { data.tabs.removeFirst(); });
        action == u"close" ? draft.close() : draft.save();
        QVERIFY(!fixture.model().detailTab());
        const auto tabNow = fixture.library().data().tab(LibraryBuilder::tabId(tab));
        QCOMPARE(fixture.library().data().tabs.size(), saved.isEmpty() ? 1 : 2);
        if (tabNow)
            QCOMPARE((QVariantList{tabNow->note, tabNow->reminderAt.value_or(QDateTime()), tabNow->projectTags}),
                     saved);
    }

private:
    QTemporaryDir m_config;
};

PELLMORA_TEST_MAIN(TestViewRules)
#include "TestViewRules.moc"
