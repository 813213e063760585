#pragma once

#include <QList>
#include <QSize>
#include <QString>

// "--snapshot [DIR]": the five main views with the demo library, rendered
// into PNG files at twice their size in points, each reported by a line
// "[snapshot] <file> <width>×<height> pt".
namespace SnapshotMode {

inline constexpr int kTopicLimitMs = 60000;
inline constexpr int kChatLimitMs = 60000;
inline constexpr float kHintThreshold = 0.1f;

struct Shot
{
    QString file; // in the output folder
    QString view; // under views/
    QSize points; // empty: the view's own size

    friend bool operator==(const Shot &, const Shot &) = default;
};

// In the order they are taken.
const QList<Shot> &shots();
QString chatQuestion();
// The site whose demo tab the detail shot shows.
QString sampleDomain();

// Writes the project files the context reader finds into `projectsFolder`
// ("Lisbon trip" and "Home office", each with a CLAUDE.md).
bool writeProjects(const QString &projectsFolder, QString *error);

// Takes the screenshots into `outputFolder` (created if needed) and gives
// the process's exit status. Removes the stored sleep options, so that the
// defaults show.
int run(const QString &outputFolder);

} // namespace SnapshotMode
