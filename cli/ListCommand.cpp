#include "ListCommand.h"

#include "CliCommand.h"
#include "LibraryStore.h"
#include "MCPServer.h"
#include "ToolOutput.h"

#include <QJsonArray>
#include <algorithm>

int runListCommand(const QStringList &arguments)
{
    const QString usage = QStringLiteral("list [--topic NAME | --window TITEL | --reminders | --notes] [--json]");
    QStringList args = arguments;
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Listet gespeicherte Tabs: alle, die eines Themas oder Fensters,\n"
                   << "die mit Erinnerung (früheste zuerst) oder die mit Notiz.\n";
        return 0;
    }
    const bool json = ToolOutput::takeJson(args);
    QString filter;
    QString name;
    if (!args.isEmpty()) {
        filter = args.takeFirst();
        if (filter == u"--topic" || filter == u"--window") {
            if (args.isEmpty())
                return Cli::usageError(usage, filter + QStringLiteral(" braucht einen Namen"));
            name = args.takeFirst();
        } else if (filter != u"--reminders" && filter != u"--notes") {
            return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + filter);
        }
        if (!args.isEmpty())
            return Cli::usageError(usage, QStringLiteral("Unerwartetes Argument: ") + args.first());
    }

    const LibraryData data = LibraryStore::standard().load();
    QList<SavedTab> tabs;
    if (filter == u"--topic") {
        const auto it = std::find_if(data.topics.begin(), data.topics.end(),
                                     [&](const Topic &t) { return t.name == name; });
        if (it == data.topics.end()) {
            Cli::err() << "Thema nicht gefunden: " << name << '\n';
            return 1;
        }
        tabs = data.tabsIn(*it);
    } else if (filter == u"--window") {
        const auto it = std::find_if(data.windows.begin(), data.windows.end(),
                                     [&](const SavedWindow &w) { return w.title == name; });
        if (it == data.windows.end()) {
            Cli::err() << "Fenster nicht gefunden: " << name << '\n';
            return 1;
        }
        tabs = data.tabsIn(*it);
    } else {
        for (const SavedTab &tab : data.tabs) {
            if ((filter == u"--reminders" && !tab.reminderAt) || (filter == u"--notes" && tab.note.isEmpty()))
                continue;
            tabs.append(tab);
        }
        if (filter == u"--reminders") {
            std::stable_sort(tabs.begin(), tabs.end(), [](const SavedTab &a, const SavedTab &b) {
                return *a.reminderAt < *b.reminderAt;
            });
        }
    }

    QJsonArray briefs;
    for (const SavedTab &tab : tabs)
        briefs.append(MCPServer::brief(tab, data));
    if (json) {
        ToolOutput::printJson(briefs);
        return 0;
    }
    if (briefs.isEmpty())
        Cli::out() << "Keine Tabs.\n";
    for (const auto &b : briefs)
        ToolOutput::printTab(b.toObject());
    return 0;
}
