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
    // "2026-11-16" for the daily copy, "2026-11-16-203100" for the copy taken
    // before a restore on a day that already had its daily copy.
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

    // Newest first. Reads every copy whole to count its tabs: for a large
    // library that takes a while, so the application calls it off the main thread.
    QList<LibraryBackup> list() const;

    // Puts the copy named by `key` (a day "yyyy-MM-dd" or a full key from
    // list()) in place of the library file. The current file is copied first,
    // as today's copy when today has none, else under a key with the time.
    // A copy that does not decode is refused.
    Status restore(const QString &key) const;

private:
    QString pathFor(const QString &key) const;
    Status copyCurrent(const QString &key) const;
    void rotate() const;

    QString m_libraryPath;
    const Clock &m_clock;
};
