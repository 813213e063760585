#pragma once

#include <QPointer>

#include "LibraryAccess.h"

class Library;

// Library access through the application's live library, so that every step
// of a run is seen by the views. The live library belongs to its own thread
// (the main thread): calls from a worker thread are carried over to it and
// wait for it, so that thread must not be waiting for the run.
class LiveLibraryAccess final : public LibraryAccess
{
public:
    explicit LiveLibraryAccess(Library *library);

    LibraryData current() override;
    Status write(const LibraryData &data) override;
    Result<LibraryData> readBack() override;

private:
    QPointer<Library> m_library;
};
