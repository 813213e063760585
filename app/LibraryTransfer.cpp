#include "LibraryTransfer.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include "Fmt.h"
#include "Library.h"
#include "LibraryBackups.h"

namespace {

QString counted(qint64 n, const char *one, const char *many)
{
    return Fmt::number(n) + u' ' + QString::fromUtf8(n == 1 ? one : many);
}

} // namespace

namespace LibraryTransfer {

ExportFormat exportFormatFor(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    if (suffix == u"html" || suffix == u"htm")
        return ExportFormat::html;
    if (suffix == u"txt")
        return ExportFormat::onetab;
    if (suffix == u"md" || suffix == u"markdown")
        return ExportFormat::markdown;
    return ExportFormat::json;
}

Result<QString> exportTo(const LibraryData &library, const QString &path)
{
    const Result<QByteArray> bytes = LibraryExport::write(library, exportFormatFor(path));
    if (!bytes)
        return Result<QString>::failure(bytes.error());
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(*bytes) != bytes->size() || !file.commit())
        return Result<QString>::failure(QStringLiteral("Die Datei ") + path
                                        + QStringLiteral(" kann nicht geschrieben werden: ")
                                        + file.errorString());
    return QStringLiteral("Bibliothek exportiert: ") + path;
}

Result<ImportResult> readImport(const QString &path, std::stop_token stop)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return Result<ImportResult>::failure(QStringLiteral("Die Datei ") + path
                                             + QStringLiteral(" kann nicht gelesen werden: ")
                                             + file.errorString());
    const QByteArray bytes = file.readAll();
    return LibraryImport::parse(bytes, LibraryImport::guessFormat(bytes), {}, std::move(stop));
}

Result<QString> applyImport(Library &library, const ImportResult &import, const QDateTime &now)
{
    if (import.tabCount() == 0 && !import.problems.isEmpty() && import.problems.first().line == 0)
        return Result<QString>::failure(import.problems.first().message);
    // Merged on the library as it is now, so changes made while reading stay.
    const MergedImport merged = LibraryImport::merge(library.data(), import, now);
    if (!merged.newTabIds.isEmpty()) {
        // A large import is undone by restoring the copy taken here.
        LibraryBackups(library.store().filePath()).backUpBeforeReplace();
        library.replace(merged.library);
    }
    return counted(merged.newTabIds.size(), "Tab", "Tabs") + QStringLiteral(" in ")
        + counted(merged.newWindows, "Fenster", "Fenstern") + QStringLiteral(" importiert, ")
        + Fmt::number(merged.skipped) + QStringLiteral(" bereits gespeichert, ")
        + counted(import.problems.size(), "fehlerhafte Zeile", "fehlerhafte Zeilen")
        + QStringLiteral(" übersprungen.");
}

} // namespace LibraryTransfer
