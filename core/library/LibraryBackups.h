#pragma once

#include "Clock.h"
#include "Result.h"

#include <QDate>
#include <QList>
#include <QString>

// One copy of the library file in the backups folder.
struct LibraryBackup
{
    QString path;
    // "2026-11-16" for the daily copy, "2026-11-16-203100" for a copy taken
    // before the whole library was replaced on a day that already had its daily copy.
    QString key;
    QDate day;
    qint64 tabCount = -1; // -1 when the copy does not decode
    qint64 size = 0;      // bytes

    friend bool operator==(const LibraryBackup &, const LibraryBackup &) = default;
};

// Rolling copies of the library file in "backups/" beside it: at most one a
// local calendar day, taken before that day's first write, newest 14 kept.
// Safe to use from several processes: every copy is written atomically.
class LibraryBackups
{
public:
    static constexpr int kept = 14;

    explicit LibraryBackups(QString libraryPath, const Clock &clock = Clock::system());

    QString folder() const;

    // Called before every write of the library file. Copies the current file
    // when today has no copy yet and the file decodes; a missing or corrupt
    // file is never copied. Failures leave the write to go ahead.
    Status backUpBeforeWrite() const;

    // Called before the whole library is replaced (demo data, clearing, an
    // import, a restore), so the library as it was can be restored: copies the
    // current file as today's copy when today has none, else under a key with
    // the time. Nothing to do when the file is missing or the newest copy
    // already holds it; a file that does not decode is refused.
    Status backUpBeforeReplace() const;

    // Newest first. Reads every copy whole to count its tabs: for a large
    // library that takes a while, so the application calls it off the main thread.
    QList<LibraryBackup> list() const;

    // Puts the copy named by `key` (a day "yyyy-MM-dd" or a full key from
    // list()) in place of the library file. The current file is copied first,
    // as today's copy when today has none, else under a key with the time.
    // A copy that does not decode is refused.
    Status restore(const QString &key) const;

    // The user's own library, kept whole beside the library file
    // ("library.eigene.json") while the demo library stands in for it.
    QString keptPath() const;
    bool hasKept() const;
    // Copies the library file as it is, byte for byte; a missing file is
    // nothing to keep.
    Status keepAside() const;
    // Backs up the current file (backUpBeforeReplace), then puts the kept
    // library back in its place, byte for byte, and removes the kept copy.
    Status bringBackKept() const;

private:
    QString pathFor(const QString &key) const;
    QStringList keys() const; // every copy's key, newest first
    Status copyCurrent(const QString &key) const;
    void rotate() const;

    QString m_libraryPath;
    const Clock &m_clock;
};
