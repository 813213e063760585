#pragma once

#include "Hint.h"
#include "LibraryData.h"

#include <QList>

// The outcome of one hint run: the library to store back and the new hints.
struct HintRun
{
    LibraryData data;
    QList<Hint> hints;
};
