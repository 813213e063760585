#pragma once

// Open tabs and the windows holding at least one of them.
struct SafariTabCount
{
    int tabs = 0;
    int windows = 0;

    friend bool operator==(const SafariTabCount &, const SafariTabCount &) = default;
};
