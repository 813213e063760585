#include "TopicClusterer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <QHash>
#include <QSet>
#include <QUuid>

#include "AIEngine.h"
#include "AIStatus.h"
#include "Embedder.h"
#include "TextCut.h"
#include "TextTools.h"
#include "TopicPalette.h"

namespace {

constexpr qsizetype fallbackTextLimit = 600;
constexpr qsizetype maxReruns = 6;
constexpr qsizetype smallLibrary = 3;

// Eight running sums so the compiler can use vector registers.
float dot(const float *x, const float *y, qsizetype n)
{
    constexpr qsizetype lanes = 8;
    float sums[lanes] = {};
    qsizetype i = 0;
    for (; i + lanes <= n; i += lanes) {
        for (qsizetype k = 0; k < lanes; ++k)
            sums[k] += x[i + k] * y[i + k];
    }
    for (; i < n; ++i)
        sums[0] += x[i] * y[i];
    float total = 0.0f;
    for (float s : sums)
        total += s;
    return total;
}

float commonDot(const Vector &a, const Vector &b)
{
    return dot(a.constData(), b.constData(), std::min(a.size(), b.size()));
}

// Both sides already unit (or zero) vectors; another length is undefined and counts 0.
float unitCosine(const Vector &a, const Vector &b)
{
    if (a.isEmpty() || a.size() != b.size())
        return 0.0f;
    return dot(a.constData(), b.constData(), a.size());
}

QList<Vector> normalizedAll(const QList<Vector> &vectors)
{
    QList<Vector> units;
    units.reserve(vectors.size());
    for (const Vector &v : vectors)
        units.append(Embedder::normalized(v));
    return units;
}

// Row-major n × n, zero diagonal.
std::vector<float> similarityMatrix(const QList<Vector> &units)
{
    const auto n = size_t(units.size());
    std::vector<float> s(n * n, 0.0f);
    for (size_t i = 0; i < n; ++i) {
        for (size_t j = i + 1; j < n; ++j) {
            const float v = commonDot(units.at(qsizetype(i)), units.at(qsizetype(j)));
            s[i * n + j] = v;
            s[j * n + i] = v;
        }
    }
    return s;
}

Vector sumOf(const QList<const Vector *> &vectors)
{
    if (vectors.isEmpty())
        return {};
    Vector sum(vectors.first()->size(), 0.0f);
    for (const Vector *v : vectors) {
        const qsizetype common = std::min(sum.size(), v->size());
        float *out = sum.data();
        const float *in = v->constData();
        for (qsizetype i = 0; i < common; ++i)
            out[i] += in[i];
    }
    return Embedder::normalized(std::move(sum));
}

struct RowBest
{
    float value = 0.0f;
    qsizetype column = -1; // -1: no active partner to the right
};

// Average-linkage merging on a prepared matrix (taken by value: it is updated).
TopicGrouping mergeOnMatrix(std::vector<float> s, qsizetype n, qsizetype k, float outlierSimilarity,
                            float mergeFloor)
{
    const auto at = [&s, n](qsizetype i, qsizetype j) -> float & { return s[size_t(i * n + j)]; };

    TopicGrouping result;
    std::vector<QList<qsizetype>> groups(static_cast<size_t>(n));
    std::vector<char> active(size_t(n), 1);
    for (qsizetype i = 0; i < n; ++i)
        groups[size_t(i)] = {i};

    // Outliers are judged on the untouched matrix, earlier outliers included.
    for (qsizetype i = 0; i < n; ++i) {
        float best = -std::numeric_limits<float>::infinity();
        for (qsizetype j = 0; j < n; ++j) {
            if (j != i)
                best = std::max(best, at(i, j));
        }
        if (best < outlierSimilarity) {
            active[size_t(i)] = 0;
            groups[size_t(i)].clear();
            result.outliers.append(i);
        }
    }
    qsizetype activeCount = n - result.outliers.size();

    // Each row remembers its best active partner to the right (smallest
    // column on ties), so a merge step does not rescan the whole matrix.
    std::vector<RowBest> rows(static_cast<size_t>(n));
    const auto rescan = [&](qsizetype a) {
        RowBest best;
        for (qsizetype b = a + 1; b < n; ++b) {
            if (active[size_t(b)] && (best.column < 0 || at(a, b) > best.value))
                best = {at(a, b), b};
        }
        rows[size_t(a)] = best;
    };
    for (qsizetype a = 0; a < n; ++a) {
        if (active[size_t(a)])
            rescan(a);
    }

    while (activeCount > k) {
        qsizetype a = -1;
        float bestValue = 0.0f;
        for (qsizetype r = 0; r < n; ++r) {
            const RowBest &row = rows[size_t(r)];
            if (!active[size_t(r)] || row.column < 0)
                continue;
            if (a < 0 || row.value > bestValue) {
                a = r;
                bestValue = row.value;
            }
        }
        if (a < 0 || bestValue < mergeFloor)
            break;
        const qsizetype b = rows[size_t(a)].column;
        const float na = float(groups[size_t(a)].size());
        const float nb = float(groups[size_t(b)].size());
        for (qsizetype c = 0; c < n; ++c) {
            if (!active[size_t(c)] || c == a || c == b)
                continue;
            const float merged = (at(a, c) * na + at(b, c) * nb) / (na + nb);
            at(a, c) = merged;
            at(c, a) = merged;
        }
        groups[size_t(a)].append(groups[size_t(b)]);
        groups[size_t(b)].clear();
        active[size_t(b)] = 0;
        --activeCount;

        rescan(a);
        for (qsizetype c = 0; c < n; ++c) {
            if (!active[size_t(c)] || c == a)
                continue;
            RowBest &row = rows[size_t(c)];
            if (row.column == b || row.column == a) {
                rescan(c);
            } else if (c < a) {
                const float v = at(c, a);
                if (row.column < 0 || v > row.value || (v == row.value && a < row.column))
                    row = {v, a};
            }
        }
    }

    for (const QList<qsizetype> &group : groups) {
        if (!group.isEmpty())
            result.groups.append(group);
    }
    return result;
}

qsizetype singles(const TopicGrouping &grouping)
{
    return std::count_if(grouping.groups.cbegin(), grouping.groups.cend(),
                         [](const QList<qsizetype> &g) { return g.size() == 1; });
}

bool isNameTrim(QChar c)
{
    return c == u' ' || c == u'"' || c == u'«' || c == u'»' || c == u'\n' || c == u'.';
}

} // namespace

TopicClusterer::TopicClusterer(std::shared_ptr<const Embedder> embedder, float minSimilarity,
                               float outlierSimilarity, float mergeFloor, std::chrono::milliseconds nameLimit)
    : m_embedder(std::move(embedder)),
      m_minSimilarity(minSimilarity),
      m_outlierSimilarity(outlierSimilarity),
      m_mergeFloor(mergeFloor),
      m_nameLimit(nameLimit)
{
    Q_ASSERT(m_embedder);
}

void TopicClusterer::cluster(LibraryData &data, bool useAI, std::stop_token stop) const
{
    m_embedder->ensureEmbeddings(data, stop);
    if (stop.stop_requested())
        return;

    const qsizetype n = data.tabs.size();
    QList<qsizetype> order(n);
    for (qsizetype i = 0; i < n; ++i)
        order[i] = i;
    {
        QStringList ids(n);
        for (qsizetype i = 0; i < n; ++i)
            ids[i] = idText(data.tabs.at(i).id);
        std::sort(order.begin(), order.end(), [&](qsizetype x, qsizetype y) {
            const SavedTab &a = data.tabs.at(x);
            const SavedTab &b = data.tabs.at(y);
            if (a.url != b.url)
                return a.url < b.url;
            if (a.title != b.title)
                return a.title < b.title;
            return ids.at(x) < ids.at(y);
        });
    }

    if (n == 0) {
        data.topics.clear();
        return;
    }

    QList<Vector> vectors;
    vectors.reserve(n);
    for (qsizetype position : std::as_const(order)) {
        const SavedTab &tab = data.tabs.at(position);
        const auto cached = data.embeddings.constFind(idText(tab.id));
        vectors.append(cached != data.embeddings.cend() ? *cached : m_embedder->vector(tab.searchableText()));
    }

    TopicGrouping grouping;
    if (n <= smallLibrary) {
        QList<qsizetype> all(n);
        for (qsizetype i = 0; i < n; ++i)
            all[i] = i;
        grouping.groups.append(all);
    } else if (n > agglomerativeLimit) {
        grouping.groups = kMeans(vectors, kFor(n));
    } else {
        // Every re-run merges the same way and only stops earlier, so the
        // matrix is made once.
        const std::vector<float> matrix = similarityMatrix(normalizedAll(vectors));
        const qsizetype k0 = kFor(n);
        grouping = mergeOnMatrix(matrix, n, k0, m_outlierSimilarity, m_mergeFloor);
        qsizetype previousK = k0;
        for (qsizetype rerun = 0; rerun < maxReruns; ++rerun) {
            const qsizetype s = singles(grouping);
            if (s == 0 || grouping.groups.size() - s >= k0)
                break;
            const qsizetype next = k0 + s;
            if (next <= previousK)
                break;
            grouping = mergeOnMatrix(matrix, n, next, m_outlierSimilarity, m_mergeFloor);
            previousK = next;
        }
    }
    if (stop.stop_requested())
        return;

    QList<qsizetype> outliers = grouping.outliers;
    QList<QList<qsizetype>> kept;
    for (const QList<qsizetype> &group : std::as_const(grouping.groups)) {
        if (group.size() == 1) {
            outliers.append(group.first());
            continue;
        }
        QList<const Vector *> members;
        members.reserve(group.size());
        for (qsizetype index : group)
            members.append(&vectors.at(index));
        const Vector center = sumOf(members);
        QList<qsizetype> fitting;
        for (qsizetype index : group) {
            if (Embedder::cosine(vectors.at(index), center) >= m_minSimilarity)
                fitting.append(index);
            else
                outliers.append(index);
        }
        if (fitting.size() < 2)
            outliers.append(fitting);
        else
            kept.append(fitting);
    }
    std::stable_sort(kept.begin(), kept.end(), [](const QList<qsizetype> &a, const QList<qsizetype> &b) {
        if (a.size() != b.size())
            return a.size() > b.size();
        return a.first() < b.first();
    });

    const bool modelNames = useAI && !AIStatus::forceOff() && AIStatus::isAvailable();

    const QStringList &palette = TopicPalette::names();
    QList<Topic> topics;
    QSet<QString> usedNames;
    for (qsizetype i = 0; i < kept.size(); ++i) {
        QList<SavedTab> tabs;
        for (qsizetype index : std::as_const(kept.at(i)))
            tabs.append(data.tabs.at(order.at(index)));

        std::optional<QString> name;
        if (modelNames && !stop.stop_requested())
            name = nameWithModel(tabs, stop);
        if (!name)
            name = fallbackName(tabs);
        if (usedNames.contains(name->toLower()))
            *name += QLatin1Char(' ') + QString::number(i + 1);
        usedNames.insert(name->toLower());

        Topic topic;
        topic.id = QUuid::createUuid();
        topic.name = *name;
        topic.color = palette.at(i % palette.size());
        for (const SavedTab &tab : std::as_const(tabs))
            topic.tabIds.append(tab.id);
        topic.isUnsorted = false;
        topics.append(topic);
    }
    if (stop.stop_requested())
        return;

    if (!outliers.isEmpty()) {
        Topic unsorted;
        unsorted.id = QUuid::createUuid();
        unsorted.name = unsortedName();
        unsorted.color = TopicPalette::unsorted();
        for (qsizetype index : std::as_const(outliers))
            unsorted.tabIds.append(data.tabs.at(order.at(index)).id);
        unsorted.isUnsorted = true;
        topics.append(unsorted);
    }

    QHash<QUuid, QUuid> topicOfTab;
    for (const Topic &topic : std::as_const(topics)) {
        for (const QUuid &tabId : topic.tabIds)
            topicOfTab.insert(tabId, topic.id);
    }
    for (SavedTab &tab : data.tabs) {
        const auto found = topicOfTab.constFind(tab.id);
        tab.topicId = found != topicOfTab.cend() ? std::optional<QUuid>(*found) : std::nullopt;
    }
    data.topics = topics;
    data.topicsByAI = modelNames;
}

qsizetype TopicClusterer::kFor(qsizetype n)
{
    const auto k = qsizetype(std::round(std::sqrt(double(n) * 0.5)));
    return std::clamp<qsizetype>(k, 2, 12);
}

TopicGrouping TopicClusterer::agglomerative(const QList<Vector> &vectors, qsizetype k) const
{
    return mergeOnMatrix(similarityMatrix(normalizedAll(vectors)), vectors.size(), k, m_outlierSimilarity,
                         m_mergeFloor);
}

QList<QList<qsizetype>> TopicClusterer::kMeans(const QList<Vector> &vectors, qsizetype k)
{
    const qsizetype n = vectors.size();
    if (n == 0)
        return {};
    k = std::max<qsizetype>(k, 1);
    const QList<Vector> units = normalizedAll(vectors);

    QList<Vector> centroids{units.first()};
    std::vector<float> nearest(static_cast<size_t>(n));
    for (qsizetype i = 0; i < n; ++i)
        nearest[size_t(i)] = unitCosine(units.at(i), centroids.first());
    while (centroids.size() < k) {
        qsizetype pick = 0;
        for (qsizetype i = 1; i < n; ++i) {
            if (nearest[size_t(i)] < nearest[size_t(pick)])
                pick = i;
        }
        centroids.append(units.at(pick));
        for (qsizetype i = 0; i < n; ++i)
            nearest[size_t(i)] = std::max(nearest[size_t(i)], unitCosine(units.at(i), centroids.last()));
    }

    std::vector<qsizetype> assignment(size_t(n), 0);
    for (int round = 0; round < kMeansRounds; ++round) {
        bool changed = false;
        for (qsizetype i = 0; i < n; ++i) {
            qsizetype best = 0;
            float bestValue = unitCosine(units.at(i), centroids.first());
            for (qsizetype c = 1; c < centroids.size(); ++c) {
                const float v = unitCosine(units.at(i), centroids.at(c));
                if (v > bestValue) {
                    best = c;
                    bestValue = v;
                }
            }
            if (assignment[size_t(i)] != best) {
                assignment[size_t(i)] = best;
                changed = true;
            }
        }
        std::vector<QList<const Vector *>> members(static_cast<size_t>(centroids.size()));
        for (qsizetype i = 0; i < n; ++i)
            members[size_t(assignment[size_t(i)])].append(&units.at(i));
        for (qsizetype c = 0; c < centroids.size(); ++c) {
            if (!members[size_t(c)].isEmpty())
                centroids[c] = sumOf(members[size_t(c)]);
        }
        if (!changed)
            break;
    }

    QList<QList<qsizetype>> groups(centroids.size());
    for (qsizetype i = 0; i < n; ++i)
        groups[assignment[size_t(i)]].append(i);
    groups.removeIf([](const QList<qsizetype> &g) { return g.isEmpty(); });
    return groups;
}

Vector TopicClusterer::centroid(const QList<Vector> &vectors)
{
    QList<const Vector *> pointers;
    pointers.reserve(vectors.size());
    for (const Vector &v : vectors)
        pointers.append(&v);
    return sumOf(pointers);
}

QString TopicClusterer::fallbackName(const QList<SavedTab> &tabs)
{
    QStringList heads;
    QStringList fulls;
    for (const SavedTab &tab : tabs) {
        const QString tags = tab.tags.join(QLatin1Char(' '));
        heads.append(tab.title + QLatin1Char(' ') + tags);
        fulls.append(QStringList{tab.title, tags, tab.summary, TextCut::prefix(tab.text, fallbackTextLimit)}.join(
            QLatin1Char(' ')));
    }
    QHash<QString, qsizetype> headCounts;
    for (const TextTools::Keyword &keyword : TextTools::keywordCounts(heads, 4))
        headCounts.insert(keyword.key, keyword.count);

    struct Candidate
    {
        QString key;
        QString display;
        qsizetype score = 0;
    };
    QList<Candidate> candidates;
    for (const TextTools::Keyword &keyword : TextTools::keywordCounts(fulls, 4)) {
        const qsizetype score = keyword.count + 2 * headCounts.value(keyword.key, 0);
        if (score >= 2)
            candidates.append({keyword.key, keyword.display, score});
    }
    std::stable_sort(candidates.begin(), candidates.end(), [](const Candidate &a, const Candidate &b) {
        if (a.score != b.score)
            return a.score > b.score;
        return a.key < b.key;
    });
    if (candidates.size() >= 2)
        return candidates.at(0).display + QStringLiteral(" & ") + candidates.at(1).display;

    // A tab without a host has no domain to name.
    QHash<QString, qsizetype> domainCounts;
    for (const SavedTab &tab : tabs) {
        if (!tab.domain.isEmpty())
            ++domainCounts[tab.domain];
    }
    QStringList domains = domainCounts.keys();
    std::sort(domains.begin(), domains.end(), [&](const QString &a, const QString &b) {
        const qsizetype ca = domainCounts.value(a);
        const qsizetype cb = domainCounts.value(b);
        if (ca != cb)
            return ca > cb;
        return a < b;
    });
    const QString separator = QStringLiteral(" · ");
    if (candidates.size() == 1)
        return domains.isEmpty() ? candidates.first().display : candidates.first().display + separator + domains.first();
    return QStringList(domains.mid(0, 2)).join(separator);
}

std::optional<QString> TopicClusterer::nameWithModel(const QList<SavedTab> &tabs, std::stop_token stop) const
{
    const std::optional<QJsonObject> reply = AIEngine::generate(namePrompt(tabs), nameSchema(), m_nameLimit, stop);
    if (!reply)
        return std::nullopt;
    const std::optional<TopicName> name = nameFromReply(*reply);
    if (!name)
        return std::nullopt;
    return name->name;
}

QString TopicClusterer::namePrompt(const QList<SavedTab> &tabs)
{
    QStringList lines;
    for (qsizetype i = 0; i < std::min(tabs.size(), modelTabLimit); ++i) {
        const SavedTab &tab = tabs.at(i);
        lines.append(QStringLiteral("- ") + tab.title + QStringLiteral(" (") + tab.domain + QStringLiteral("): ")
                     + tab.summary);
    }
    return QStringLiteral("Diese gespeicherten Tabs gehören zu einem Thema. Wie heisst das Thema?\n")
        + lines.join(QLatin1Char('\n'));
}

const ModelSchema &TopicClusterer::nameSchema()
{
    static const ModelSchema schema{
        {{QStringLiteral("name"), ModelSchema::Type::string,
          QStringLiteral("Ein kurzer deutscher Themenname aus zwei bis vier Wörtern, ohne Anführungszeichen."), -1,
          {}}}};
    return schema;
}

std::optional<TopicName> TopicClusterer::nameFromReply(const QJsonObject &reply)
{
    if (!nameSchema().accepts(reply))
        return std::nullopt;
    const QString raw = reply.value(QStringLiteral("name")).toString();
    qsizetype start = 0;
    qsizetype end = raw.size();
    while (start < end && isNameTrim(raw.at(start)))
        ++start;
    while (end > start && isNameTrim(raw.at(end - 1)))
        --end;
    const QString name = raw.mid(start, end - start);
    if (name.isEmpty() || TextCut::length(name) > nameLengthLimit)
        return std::nullopt;
    return TopicName{name};
}

QString TopicClusterer::unsortedName()
{
    return QStringLiteral("Ohne klares Thema");
}
