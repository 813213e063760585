#pragma once

#include <QHashFunctions>
#include <QString>

// One project the user works on: a folder with context files, or the free text.
struct ProjectText
{
    QString name;
    QString path; // empty for the free-text project
    QString text;

    friend bool operator==(const ProjectText &, const ProjectText &) = default;
};

inline size_t qHash(const ProjectText &p, size_t seed = 0)
{
    return qHashMulti(seed, p.name, p.path, p.text);
}
