#pragma once

#include "LibraryData.h"

#include <QByteArrayView>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <functional>
#include <optional>
#include <stop_token>

enum class ImportFormat {
    onetab, // "url | title" lines, a blank line between windows
    html,   // Netscape bookmark file as browsers export it
    json,   // our own export (the library file format)
};

// One address read from a file, with what the format could carry.
struct ImportedTab
{
    QString url;
    QString title;
    QString note;
    QStringList projectTags;
    std::optional<QDateTime> reminderAt;
    qint64 line = 0; // 1-based line of the source where it stood

    friend bool operator==(const ImportedTab &, const ImportedTab &) = default;
};

// A group of addresses that becomes one saved window: a block of lines, a
// bookmark folder, or a window of an exported library.
struct ImportedWindow
{
    QString name; // folder or window name; "" when the source has none
    QList<ImportedTab> tabs;

    friend bool operator==(const ImportedWindow &, const ImportedWindow &) = default;
};

// A part of the file that was skipped.
struct ImportProblem
{
    qint64 line = 0; // 1-based; 0 when the problem concerns the whole file
    QString message;

    friend bool operator==(const ImportProblem &, const ImportProblem &) = default;
};

struct ImportResult
{
    QList<ImportedWindow> windows;
    QList<ImportProblem> problems;
    bool cancelled = false;

    qint64 tabCount() const;

    friend bool operator==(const ImportResult &, const ImportResult &) = default;
};

// What merging added to the library.
struct MergedImport
{
    LibraryData library;
    QList<QUuid> newTabIds;       // in the order they were added
    qint64 newWindows = 0;
    qint64 skipped = 0;           // addresses already saved or repeated in the file

    friend bool operator==(const MergedImport &, const MergedImport &) = default;
};

// Reading tab lists that other programs (or this one) wrote, and adding them
// to a library the way a sleep run adds a snapshot. Thread-safe, no state.
namespace LibraryImport {

// (bytes read, bytes in total)
using Progress = std::function<void(qint64 done, qint64 total)>;

// "onetab", "html", "json"; no value for anything else.
std::optional<ImportFormat> formatFromName(QStringView name);
// Guessed from the first bytes: an object is JSON, markup is a bookmark
// file, anything else is taken as lines.
ImportFormat guessFormat(QByteArrayView bytes);

// Malformed lines become problems with their line number and are skipped;
// the rest is read. Each group of the source stays a window of its own.
ImportResult parse(QByteArrayView bytes, ImportFormat format, const Progress &progress = {},
                   std::stop_token stop = {});

// Every non-empty window of the import becomes a new saved window numbered
// after the library's windows (as a sleep run numbers them, gaps included).
// Addresses already in the library or seen earlier in the import are skipped.
// Text, summary, tags and topic are left for the usual steps.
MergedImport merge(LibraryData library, const ImportResult &import, const QDateTime &now);

} // namespace LibraryImport
