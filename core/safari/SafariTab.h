#pragma once

#include <QString>

// One tab as the snapshot read it. `index` is the 1-based position in its
// window, counting skipped tabs too, so positions may leave gaps.
struct SafariTab
{
    QString title;
    QString url;
    int index = 0;

    friend bool operator==(const SafariTab &, const SafariTab &) = default;
};
