#pragma once

#include <QList>

#include "SafariTab.h"

// One browser window; `index` is its 1-based number as the snapshot counted it.
struct SafariWindow
{
    int index = 0;
    QList<SafariTab> tabs;

    friend bool operator==(const SafariWindow &, const SafariWindow &) = default;
};
