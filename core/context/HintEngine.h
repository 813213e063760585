#pragma once

#include "Clock.h"
#include "Hint.h"
#include "HintRun.h"
#include "LibraryData.h"
#include "ProjectText.h"

#include <QList>

class Embedder;

// Finds unread tabs that fit the user's projects and shares the day's hints
// fairly: every project gets its best remaining tab before any gets a second.
class HintEngine
{
public:
    static constexpr float defaultThreshold = 0.1f;
    static constexpr qsizetype keywordLimit = 40;
    static constexpr qsizetype keywordMinLength = 4;
    static constexpr qsizetype queryTextChars = 800;

    explicit HintEngine(const Embedder &embedder, float threshold = defaultThreshold);

    // Makes up to `max` hints, appends them to `data.hints` and returns them
    // in the order made. May complete `data.embeddings`.
    QList<Hint> generateHints(LibraryData &data, const QList<ProjectText> &projects, qint64 max,
                              const Clock &clock = Clock::system()) const;

    // The text a project is matched by: name, keywords, start of its text.
    static QString queryText(const ProjectText &project);
    static QString reason(const ProjectText &project, const SavedTab &tab);

    // Looks for hints now: reads the projects of the library's context, makes
    // up to `hintsPerDay` hints and records today as the last hint day.
    static HintRun lookForHints(LibraryData data, const Embedder &embedder,
                                const Clock &clock = Clock::system());
    // Whether the automatic daily run is due at the clock's time.
    static bool dailyCheckDue(const LibraryData &data, const Clock &clock = Clock::system());

    float threshold() const { return m_threshold; }

private:
    const Embedder &m_embedder;
    float m_threshold;
};
