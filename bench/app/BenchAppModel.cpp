#include <QCoreApplication>
#include <QRandomGenerator>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimeZone>

#include <memory>

#include "AppModel.h"
#include "BenchTable.h"
#include "BrowserBridge.h"
#include "Embedder.h"
#include "Library.h"
#include "LibraryStore.h"
#include "SidebarModel.h"

// The lists the library window reads are sorted and filtered afresh on every
// read and after every change; this measures them on large libraries. One
// frame (16 ms) is the budget for a read, and a change must be applied with
// its write well under the time of a click.
namespace {

class NoBrowser final : public BrowserBridge
{
public:
    bool isSafariRunning() const override { return false; }
    SafariResult<QList<SafariWindow>> snapshotWindows() override { return SafariError::notRunning(); }
    SafariResult<SafariTabCount> countTabs() override { return SafariError::notRunning(); }
    SafariResult<int> closeTabs(const QSet<QString> &, const QStringList &) override { return SafariError::notRunning(); }
    SafariStatus reopen(const QList<QUrl> &, bool) override { return SafariError::notRunning(); }
    void openWithWorkspace(const QList<QUrl> &) override {}
};

LibraryData library(int count)
{
    QRandomGenerator rng(11);
    LibraryData data;
    const QDateTime base(QDate(2026, 1, 1), QTime(8, 0), QTimeZone::utc());
    const int runs = std::max(1, count / 40);
    for (int r = 0; r < runs; ++r) {
        SavedWindow window{QUuid::createUuid(), base.addDays(r), QStringLiteral("Fenster %1").arg(r + 1), {}};
        data.windows.append(window);
    }
    for (int t = 0; t < 12; ++t)
        data.topics.append({QUuid::createUuid(), QStringLiteral("Thema %1").arg(t), QStringLiteral("blue"), {}, false});
    for (int i = 0; i < count; ++i) {
        SavedTab tab;
        tab.id = QUuid::createUuid();
        tab.url = QStringLiteral("https://example.org/%1").arg(i);
        tab.title = QStringLiteral("Seite %1").arg(i);
        tab.domain = QStringLiteral("example.org");
        const int run = int(rng.bounded(runs));
        tab.savedAt = base.addDays(run);
        tab.tabIndex = i % 40 + 1;
        tab.windowId = data.windows[run].id;
        data.windows[run].tabIds.append(tab.id);
        Topic &topic = data.topics[int(rng.bounded(12))];
        tab.topicId = topic.id;
        topic.tabIds.append(tab.id);
        if (rng.bounded(5) == 0)
            tab.note = QStringLiteral("Notiz");
        if (rng.bounded(4) == 0)
            tab.reminderAt = base.addSecs(qint64(rng.bounded(1000000)));
        if (rng.bounded(10) == 0)
            data.hints.append({QUuid::createUuid(), tab.id, QStringLiteral("passt"), base, false});
        data.tabs.append(tab);
    }
    return data;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    std::vector<Bench::Row> rows;
    for (int count : {1000, 5000}) {
        Library lib(LibraryStore(dir.filePath(QStringLiteral("library-%1.json").arg(count))));
        lib.replace(library(count));
        AppModel::Services services;
        services.library = &lib;
        services.embedder = std::make_shared<Embedder>(false);
        services.bridge = std::make_shared<NoBrowser>();
        services.settings = std::make_shared<QSettings>(dir.filePath(QStringLiteral("settings.ini")),
                                                        QSettings::IniFormat);
        services.autostartFolder = dir.filePath(QStringLiteral("autostart"));
        services.aiAvailable = [] { return false; };
        AppModel model(std::move(services));
        const QString n = QString::number(count);
        const QUuid topic = lib.data().topics.first().id;
        const QUuid window = lib.data().windows.first().id;
        qsizetype sink = 0;
        rows.push_back({n + QStringLiteral(" Tabs: alle"), Bench::medianMs(21, [&] {
                            sink += model.tabsFor(SidebarSelection::all()).size();
                        }),
                        QStringLiteral("ms"), 16});
        rows.push_back({n + QStringLiteral(" Tabs: Thema"), Bench::medianMs(21, [&] {
                            sink += model.tabsFor(SidebarSelection::topic(topic)).size();
                        }),
                        QStringLiteral("ms"), 16});
        rows.push_back({n + QStringLiteral(" Tabs: Fenster"), Bench::medianMs(21, [&] {
                            sink += model.tabsFor(SidebarSelection::window(window)).size();
                        }),
                        QStringLiteral("ms"), 16});
        rows.push_back({n + QStringLiteral(" Tabs: Erinnerungen"), Bench::medianMs(21, [&] {
                            sink += model.tabsFor(SidebarSelection::reminders()).size();
                        }),
                        QStringLiteral("ms"), 16});
        rows.push_back({n + QStringLiteral(" Tabs: Hinweise"), Bench::medianMs(21, [&] {
                            sink += model.tabsFor(SidebarSelection::hints()).size();
                        }),
                        QStringLiteral("ms"), 16});
        rows.push_back({n + QStringLiteral(" Tabs: Seitenleiste"), Bench::medianMs(21, [&] {
                            sink += SidebarModel::rowsFor(lib.data()).size();
                        }),
                        QStringLiteral("ms"), 16});
        // A dismissed hint: one mutation, the file written, both lists rebuilt.
        const QList<SavedTab> hinted = model.tabsFor(SidebarSelection::hints());
        qsizetype next = 0;
        rows.push_back({n + QStringLiteral(" Tabs: Änderung mit Schreiben"), Bench::medianMs(11, [&] {
                            model.dismissHint(hinted.at(next++ % hinted.size()));
                        }),
                        QStringLiteral("ms"), 100});
        if (sink < 0)
            return 2;
    }
    return Bench::report(QStringLiteral("App model: lists on large libraries"), rows);
}
