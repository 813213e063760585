#pragma once

#include "LibraryExport.h"
#include "LibraryImport.h"
#include "Result.h"

#include <QDateTime>
#include <QString>

#include <stop_token>

class Library;

// The file menu's import and export: reading a file into new windows of the
// live library and writing the library to a file, each ending in one line
// for the library window's notice.
namespace LibraryTransfer {

// The format an export file gets from its name: .html/.htm bookmarks,
// .txt tab lines, .md Markdown, anything else JSON.
ExportFormat exportFormatFor(const QString &path);
// Writes atomically; the message says where it went.
Result<QString> exportTo(const LibraryData &library, const QString &path);

// Reads and parses the file; slow for large files, so it may run on a worker
// thread. The format is guessed from the content.
Result<ImportResult> readImport(const QString &path, std::stop_token stop = {});
// Adds what was read to the library in one change and says what happened;
// a file that gave nothing but a problem fails with that problem.
Result<QString> applyImport(Library &library, const ImportResult &import, const QDateTime &now);

} // namespace LibraryTransfer
