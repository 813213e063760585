#pragma once

#include "LibraryData.h"
#include "Result.h"

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

// Where the library file lies, and reading and writing it whole.
class LibraryStore
{
public:
    explicit LibraryStore(QString filePath);

    // $XDG_DATA_HOME/Pellmora/library.json (~/.local/share/... by default).
    static QString defaultPath();
    static LibraryStore standard();

    const QString &filePath() const { return m_filePath; }
    std::optional<QDateTime> modificationDate() const;

    // Never fails: a missing file gives a new library; an unreadable one is
    // copied aside to "library.defekt-<seconds>.json" first.
    LibraryData load() const;
    // Atomic: a reader sees the old file or the new one, never a mix. A
    // failure carries the system's German text alone; whoever reports it
    // says what failed (Library::saveFailedMessage).
    Status save(const LibraryData &data) const;

private:
    QString m_filePath;
};
