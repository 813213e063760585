#include "ExportCommand.h"

#include "CliCommand.h"
#include "LibraryExport.h"
#include "LibraryStore.h"

#include <QSaveFile>

#include <cstdio>

int runExportCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("export --format json|html|onetab|markdown [--topic NAME] [-o DATEI]");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Schreibt die Bibliothek, nach Fenstern geordnet, oder nur die Tabs eines Themas\n"
                   << "auf die Standardausgabe oder in DATEI. Notizen stehen im JSON, im HTML (als\n"
                   << "Beschreibung) und im Markdown; die Zeilen \"Adresse | Titel\" haben keinen Platz dafür.\n";
        return 0;
    }
    std::optional<ExportFormat> format;
    std::optional<QString> topic;
    QString output;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &arg = args[i];
        const bool takesValue = arg == u"--format" || arg == u"--topic" || arg == u"-o";
        if (!takesValue)
            return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + arg);
        if (i + 1 >= args.size())
            return Cli::usageError(usage, arg + QStringLiteral(" braucht einen Wert"));
        const QString &value = args[++i];
        if (arg == u"--format") {
            format = LibraryExport::formatFromName(value);
            if (!format)
                return Cli::usageError(usage, QStringLiteral("Unbekanntes Format: ") + value);
        } else if (arg == u"--topic") {
            topic = value;
        } else {
            output = value;
        }
    }
    if (!format)
        return Cli::usageError(usage, QStringLiteral("--format fehlt"));

    const auto bytes = LibraryExport::write(LibraryStore::standard().load(), *format, topic);
    if (!bytes) {
        Cli::err() << bytes.error() << Qt::endl;
        return 1;
    }
    if (output.isEmpty()) {
        Cli::out().flush();
        if (std::fwrite(bytes->constData(), 1, size_t(bytes->size()), stdout) != size_t(bytes->size())
            || std::fflush(stdout) != 0) {
            Cli::err() << "Schreiben fehlgeschlagen." << Qt::endl;
            return 1;
        }
        return 0;
    }
    QSaveFile file(output);
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit()) {
        Cli::err() << "Die Datei " << output << " kann nicht geschrieben werden: " << file.errorString() << Qt::endl;
        return 1;
    }
    return 0;
}
