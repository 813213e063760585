#pragma once

#include "LibraryData.h"
#include "Result.h"

#include <QByteArray>
#include <QString>

#include <optional>

enum class ExportFormat {
    json,     // the library file format: tabs, windows and topics with everything they hold
    html,     // Netscape bookmark file: a folder per window (or the topic), notes as DD
    onetab,   // "url | title" lines, a blank line between windows; no notes
    markdown, // a heading per window (or the topic), links as a list, notes below them
};

// Writing the library for other programs. Stateless and thread-safe.
namespace LibraryExport {

// "json", "html", "onetab", "markdown"; no value for anything else.
std::optional<ExportFormat> formatFromName(QStringView name);

// The whole library grouped by window, or only the tabs of the topic named
// `topic` (exact name) under one heading. Fails when no topic has that name
// or when the JSON encoder refuses the data.
Result<QByteArray> write(const LibraryData &library, ExportFormat format,
                         const std::optional<QString> &topic = std::nullopt);

} // namespace LibraryExport
