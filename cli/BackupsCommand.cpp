#include "BackupsCommand.h"

#include "CliCommand.h"
#include "Fmt.h"
#include "LibraryBackups.h"
#include "LibraryStore.h"

int runBackupsCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("backups");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Listet die täglichen Sicherungen der Bibliothek, die neuste zuerst.\n"
                   << "\"pellmora-cli restore DATUM\" stellt eine davon wieder her.\n";
        return 0;
    }
    if (!args.isEmpty())
        return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + args.first());

    const LibraryBackups backups(LibraryStore::standard().filePath());
    const QList<LibraryBackup> list = backups.list();
    QTextStream &out = Cli::out();
    if (list.isEmpty()) {
        out << "Noch keine Sicherungen in " << backups.folder() << '\n';
        return 0;
    }
    out << "Sicherungen in " << backups.folder() << ":\n";
    for (const LibraryBackup &backup : list) {
        const QString tabs = backup.tabCount < 0
                                 ? QStringLiteral("beschädigt")
                                 : Fmt::number(backup.tabCount) + (backup.tabCount == 1 ? QStringLiteral(" Tab")
                                                                                        : QStringLiteral(" Tabs"));
        const qint64 kilobytes = (backup.size + 1023) / 1024;
        out << backup.key.leftJustified(19) << tabs.rightJustified(12) << "  "
            << (Fmt::number(kilobytes) + QStringLiteral(" KB")).rightJustified(10) << '\n';
    }
    return 0;
}
