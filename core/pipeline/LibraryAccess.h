#pragma once

#include "LibraryData.h"
#include "Result.h"

// How a sleep run reads and writes the library. The command line writes the
// file directly; the application goes through its live library so that
// every view sees each step. Calls come from the thread the run works on.
class LibraryAccess
{
public:
    virtual ~LibraryAccess() = default;

    // The library as it stands now, as the run's starting point.
    virtual LibraryData current() = 0;
    // Replaces the whole library and writes the file; the failure's message
    // (the store's last error) when the file could not be written.
    virtual Status write(const LibraryData &data) = 0;
    // The library as the file holds it, read afresh; a failure when there is
    // no readable file.
    virtual Result<LibraryData> readBack() = 0;
};
