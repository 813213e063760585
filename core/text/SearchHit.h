#pragma once

#include "SavedTab.h"

// A saved tab with its search score; hits come best first.
struct SearchHit
{
    SavedTab tab;
    float score = 0.0f;

    friend bool operator==(const SearchHit &, const SearchHit &) = default;
};
