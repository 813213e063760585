#pragma once

#include <QMutex>

#include "LibraryAccess.h"
#include "LibraryStore.h"

// Library access straight through the file, for runs outside the
// application (the command line, tests, benchmarks). Thread-safe.
class StoreLibraryAccess final : public LibraryAccess
{
public:
    explicit StoreLibraryAccess(LibraryStore store);

    const LibraryStore &store() const { return m_store; }
    // The message of the last failed write; empty after a successful one.
    QString lastError() const;

    LibraryData current() override;
    Status write(const LibraryData &data) override;
    Result<LibraryData> readBack() override;

private:
    LibraryStore m_store;
    mutable QMutex m_mutex;
    QString m_lastError;
};
