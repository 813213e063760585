#pragma once

#include "LibraryData.h"

#include <QString>

// A large library whose content is fixed by a generation number, so that a
// reader can tell which save a file came from and compare it whole.
namespace BigLibrary {

LibraryData make(qint64 generation);
// The generation a library made by `make` carries; -1 for any other library.
qint64 generationOf(const LibraryData &data);

} // namespace BigLibrary
