#include "SummaryCommand.h"

#include "CliCommand.h"
#include "Clock.h"
#include "Fmt.h"
#include "LibraryStore.h"

#include <QFileInfo>

namespace {

QString counted(qint64 n, const char *one, const char *many)
{
    return Fmt::number(n) + u' ' + QString::fromUtf8(n == 1 ? one : many);
}

} // namespace

int runSummaryCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("summary");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Zeigt, wo die Bibliothek liegt und was sie enthält.\n";
        return 0;
    }
    if (!args.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + args.first());

    const LibraryStore store = LibraryStore::standard();
    QTextStream &out = Cli::out();
    out << "Bibliothek: " << store.filePath() << '\n';
    if (!QFileInfo::exists(store.filePath())) {
        out << "Noch keine Tabs gespeichert.\n";
        return 0;
    }
    const LibraryData data = store.load();
    qint64 topics = 0;
    for (const Topic &topic : data.topics)
        topics += topic.isUnsorted ? 0 : 1;
    out << counted(data.tabs.size(), "Tab", "Tabs") << " in "
        << counted(data.windows.size(), "Fenster", "Fenstern") << ", "
        << counted(topics, "Thema", "Themen") << '\n';
    out << counted(data.openHints().size(), "offener Hinweis", "offene Hinweise") << ", "
        << counted(data.dueReminders(Clock::system().now()).size(), "fällige Erinnerung",
                   "fällige Erinnerungen")
        << '\n';
    return 0;
}
