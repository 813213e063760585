#include "RestoreCommand.h"

#include "CliCommand.h"
#include "Fmt.h"
#include "LibraryBackups.h"
#include "LibraryStore.h"

#include <QRegularExpression>

int runRestoreCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("restore DATUM");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Stellt die Sicherung vom DATUM (JJJJ-MM-TT, wie \"pellmora-cli backups\" sie\n"
                   << "listet) wieder her. Die aktuelle Bibliothek wird vorher selbst gesichert.\n";
        return 0;
    }
    if (args.size() != 1)
        return Cli::usageError(usage, QStringLiteral("Genau ein DATUM erwartet"));
    static const QRegularExpression key(QStringLiteral("^\\d{4}-\\d{2}-\\d{2}(?:-\\d{6})?$"));
    if (!key.match(args.first()).hasMatch())
        return Cli::usageError(usage, QStringLiteral("Ungültiges Datum: ") + args.first());

    const LibraryStore store = LibraryStore::standard();
    const Status restored = LibraryBackups(store.filePath()).restore(args.first());
    if (!restored) {
        Cli::err() << restored.error() << Qt::endl;
        return 1;
    }
    const qint64 tabs = store.load().tabs.size();
    Cli::out() << "Bibliothek vom " << args.first() << " wiederhergestellt ("
               << Fmt::number(tabs) << (tabs == 1 ? " Tab" : " Tabs")
               << "). Die bisherige ist als Sicherung erhalten.\n";
    return 0;
}
