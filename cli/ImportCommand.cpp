#include "ImportCommand.h"

#include "CliCommand.h"
#include "Clock.h"
#include "Fmt.h"
#include "LibraryBackups.h"
#include "LibraryImport.h"
#include "LibraryStore.h"

#include <QFile>

namespace {

// Files below this size are read too quickly for a progress line to help.
constexpr qint64 progressFrom = 1024 * 1024;

QString counted(qint64 n, const char *one, const char *many)
{
    return Fmt::number(n) + u' ' + QString::fromUtf8(n == 1 ? one : many);
}

} // namespace

int runImportCommand(const QStringList &args)
{
    const QString usage = QStringLiteral("import DATEI [--format onetab|html|json]");
    if (Cli::wantsHelp(args)) {
        Cli::out() << "Aufruf: pellmora-cli " << usage << "\n"
                   << "Übernimmt die Adressen einer Tab-Liste (Zeilen \"Adresse | Titel\", Leerzeilen\n"
                   << "trennen Fenster), einer Lesezeichen-Datei (HTML, ein Fenster je Ordner) oder\n"
                   << "eines Pellmora-Exports (JSON) als neue Fenster. Bereits gespeicherte Adressen\n"
                   << "werden übersprungen. Ohne --format wird das Format am Inhalt erkannt.\n"
                   << "DATEI \"-\" liest von der Standardeingabe.\n";
        return 0;
    }
    QString path;
    std::optional<ImportFormat> format;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString &arg = args[i];
        if (arg == u"--format" || arg.startsWith(QLatin1String("--format="))) {
            QString name;
            if (arg == u"--format") {
                if (i + 1 >= args.size())
                    return Cli::usageError(usage, QStringLiteral("--format braucht einen Wert"));
                name = args[++i];
            } else {
                name = arg.mid(9);
            }
            format = LibraryImport::formatFromName(name);
            if (!format)
                return Cli::usageError(usage, QStringLiteral("Unbekanntes Format: ") + name);
        } else if (arg.startsWith(u'-') && arg != u"-") {
            return Cli::usageError(usage, QStringLiteral("Unbekanntes Argument: ") + arg);
        } else if (path.isEmpty()) {
            path = arg;
        } else {
            return Cli::usageError(usage, QStringLiteral("Nur eine DATEI erwartet"));
        }
    }
    if (path.isEmpty())
        return Cli::usageError(usage, QStringLiteral("DATEI erwartet"));

    QFile file(path);
    const bool opened = path == u"-" ? file.open(stdin, QIODevice::ReadOnly) : file.open(QIODevice::ReadOnly);
    if (!opened) {
        Cli::err() << "Die Datei " << path << " kann nicht gelesen werden: " << file.errorString() << Qt::endl;
        return 1;
    }
    const QByteArray bytes = file.readAll();
    file.close();

    QTextStream &err = Cli::err();
    int lastPercent = -1;
    const auto progress = [&](qint64 done, qint64 total) {
        if (total < progressFrom)
            return;
        const int percent = int(done * 100 / total);
        if (percent / 10 == lastPercent / 10)
            return;
        lastPercent = percent;
        err << "\rLese " << path << " … " << percent / 10 * 10 << " %";
        if (done == total)
            err << '\n';
        err.flush();
    };
    const ImportResult parsed = LibraryImport::parse(bytes, format.value_or(LibraryImport::guessFormat(bytes)), progress);
    for (const ImportProblem &problem : parsed.problems) {
        if (problem.line > 0)
            err << "Zeile " << problem.line << ": " << problem.message << '\n';
        else
            err << problem.message << '\n';
    }
    err.flush();
    const bool wholeFileFailed = parsed.tabCount() == 0 && !parsed.problems.isEmpty()
                                 && parsed.problems.first().line == 0;
    if (wholeFileFailed)
        return 1;

    // Read, merge and write once at the end, so nothing is half-imported.
    const LibraryStore store = LibraryStore::standard();
    const MergedImport merged = LibraryImport::merge(store.load(), parsed, Clock::system().now());
    if (!merged.newTabIds.isEmpty()) {
        // A large import is undone by restoring the copy taken here.
        LibraryBackups(store.filePath()).backUpBeforeReplace();
        const Status saved = store.save(merged.library);
        if (!saved) {
            err << saved.error() << Qt::endl;
            return 1;
        }
    }
    Cli::out() << counted(merged.newTabIds.size(), "Tab", "Tabs") << " in "
               << counted(merged.newWindows, "Fenster", "Fenstern") << " importiert, "
               << Fmt::number(merged.skipped) << " bereits gespeichert, "
               << counted(parsed.problems.size(), "fehlerhafte Zeile", "fehlerhafte Zeilen")
               << " übersprungen.\n";
    return 0;
}
