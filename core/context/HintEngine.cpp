#include "HintEngine.h"

#include "ContextReader.h"
#include "Embedder.h"
#include "Fmt.h"
#include "TextCut.h"
#include "TextTools.h"

#include <QSet>

#include <algorithm>
#include <cmath>

namespace {
struct Scored
{
    qsizetype candidate; // index into the candidates
    float score;
};
} // namespace

HintEngine::HintEngine(const Embedder &embedder, float threshold)
    : m_embedder(embedder), m_threshold(threshold)
{
}

QString HintEngine::queryText(const ProjectText &project)
{
    const QStringList keywords =
        TextTools::topKeywords({project.text}, keywordLimit, keywordMinLength);
    return project.name + u' ' + keywords.join(u' ') + u' '
           + TextCut::prefix(project.text, queryTextChars);
}

QString HintEngine::reason(const ProjectText &project, const SavedTab &tab)
{
    return QStringLiteral("passt zu deinem Projekt ") + project.name + QStringLiteral(": ")
           + (tab.summary.isEmpty() ? tab.title : tab.summary);
}

QList<Hint> HintEngine::generateHints(LibraryData &data, const QList<ProjectText> &projects,
                                      qint64 max, const Clock &clock) const
{
    if (max <= 0 || projects.isEmpty())
        return {};
    m_embedder.ensureEmbeddings(data);

    QSet<QUuid> hinted;
    for (const Hint &h : std::as_const(data.hints))
        hinted.insert(h.tabId);
    QList<const SavedTab *> candidates;
    for (const SavedTab &tab : std::as_const(data.tabs))
        if (!tab.readAt && !hinted.contains(tab.id))
            candidates.append(&tab);

    // Tab vectors are the same for every project; a missing one is computed
    // once here and not stored.
    QList<Vector> tabVectors;
    tabVectors.reserve(candidates.size());
    for (const SavedTab *tab : std::as_const(candidates)) {
        const auto it = data.embeddings.constFind(idText(tab->id));
        tabVectors.append(it != data.embeddings.constEnd() ? *it
                                                           : m_embedder.vector(tab->searchableText()));
    }

    QList<QList<Scored>> ranked;
    ranked.reserve(projects.size());
    for (const ProjectText &project : projects) {
        const Vector q = m_embedder.vector(queryText(project));
        QList<Scored> list;
        for (qsizetype i = 0; i < candidates.size(); ++i) {
            const float score = Embedder::cosine(q, tabVectors[i]);
            if (!std::isnan(score) && score >= m_threshold)
                list.append(Scored{i, score});
        }
        std::stable_sort(list.begin(), list.end(),
                         [](const Scored &a, const Scored &b) { return a.score > b.score; });
        ranked.append(list);
    }

    QList<Hint> made;
    QSet<qsizetype> chosen;
    for (qsizetype pass = 0;; ++pass) {
        bool madeOne = false;
        for (qsizetype p = 0; p < projects.size(); ++p) {
            if (made.size() >= max || pass >= ranked[p].size())
                continue;
            const auto pick = std::find_if(ranked[p].cbegin(), ranked[p].cend(),
                                           [&](const Scored &s) { return !chosen.contains(s.candidate); });
            if (pick == ranked[p].cend())
                continue;
            chosen.insert(pick->candidate);
            const SavedTab &tab = *candidates[pick->candidate];
            made.append(Hint{QUuid::createUuid(), tab.id, reason(projects[p], tab), clock.now(), false});
            madeOne = true;
        }
        if (!madeOne || made.size() >= max)
            break;
    }
    data.hints.append(made);
    return made;
}

HintRun HintEngine::lookForHints(LibraryData data, const Embedder &embedder, const Clock &clock)
{
    const QList<ProjectText> projects = ContextReader::projectsFor(data.context);
    HintRun run;
    run.hints = HintEngine(embedder).generateHints(data, projects, data.context.hintsPerDay, clock);
    data.lastHintDay = Fmt::dayKey(clock.now());
    run.data = std::move(data);
    return run;
}

bool HintEngine::dailyCheckDue(const LibraryData &data, const Clock &clock)
{
    const UserContext &c = data.context;
    if (c.folderPaths.isEmpty() && c.freeText.isEmpty())
        return false;
    const QDateTime now = clock.now().toLocalTime();
    if (now.time().hour() < c.hintHour)
        return false;
    return data.lastHintDay != Fmt::dayKey(now);
}
