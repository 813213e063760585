#include "SearchIndex.h"

#include <QHash>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Embedder.h"
#include "TextCut.h"
#include "TextTools.h"

namespace {

// Everything of a tab that its keyword score depends on, prepared once.
struct Prepared
{
    // The fields the data below was made from; a changed tab is re-prepared.
    QString title, summary, note, url, text;
    QStringList tags, projectTags;

    QString key; // the id's text form, the key of the cached vectors
    // Stems as ids of the cache's stem table, sorted: matching a query is a
    // binary search over small integers instead of string hashing.
    std::vector<int> titleStems, annotationStems, addressStems, textStems;
    QString lowerTitle, lowerAnnotation;
};

QSet<QString> stemsOf(const QString &text)
{
    QSet<QString> stems;
    for (const QString &word : TextTools::words(text))
        stems.insert(TextTools::stem(word));
    return stems;
}

using Interner = QHash<QString, int>;

// How a UTF-16 unit takes part in splitting text into words, where that is
// settled by the unit alone: a Latin-1 letter or digit, or a separator that
// lower-casing leaves alone. Everything else (other letters, marks, joiners,
// surrogates) needs the general Unicode walk.
enum UnitKind : quint8 { separator, latin1Word, general };

struct UnitTable
{
    UnitKind kinds[0x10000];
    char lower[0x100]; // of the Latin-1 word units
};

const UnitTable &unitTable()
{
    static const std::unique_ptr<UnitTable> table = [] {
        auto t = std::make_unique<UnitTable>();
        for (char32_t c = 0; c < 0x10000; ++c) {
            const QChar::Category category = QChar::category(c);
            const bool mark = category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
                || category == QChar::Mark_Enclosing || c == 0x200D;
            if (QChar::isSurrogate(c) || mark)
                t->kinds[c] = general;
            else if (QChar::isLetterOrNumber(c))
                t->kinds[c] = c < 0x100 && QChar::toLower(c) < 0x100 ? latin1Word : general;
            else
                t->kinds[c] = QChar::toLower(c) == c ? separator : general;
            if (c < 0x100)
                t->lower[c] = char(QChar::toLower(c));
        }
        return t;
    }();
    return *table;
}

// Stem ids of words. Latin-1 words are remembered as bytes with their id, so
// that each distinct word is lower-cased, checked against the stop words and
// stemmed once; in such text a character is one code unit, so the general
// rules (words of two or more characters, stems of six) count units there.
class StemTable
{
public:
    // Appends the stem ids of the words of `text`, stop words left out.
    void collect(const QString &text, std::vector<int> &ids)
    {
        const UnitTable &table = unitTable();
        const char16_t *units = reinterpret_cast<const char16_t *>(text.constData());
        const qsizetype n = text.size();
        const size_t start = ids.size();
        m_word.clear();
        quint64 hash = hashBasis;
        for (qsizetype i = 0; i < n; ++i) {
            const char16_t c = units[i];
            switch (table.kinds[c]) {
            case latin1Word: {
                const char lower = table.lower[c];
                m_word.push_back(lower);
                hash = (hash ^ quint8(lower)) * hashPrime;
                break;
            }
            case separator:
                if (!m_word.empty()) {
                    finishWord(hash, ids);
                    m_word.clear();
                    hash = hashBasis;
                }
                break;
            case general:
                ids.resize(start);
                for (const QString &word : TextTools::words(text))
                    ids.push_back(intern(TextTools::stem(word)));
                return;
            }
        }
        if (!m_word.empty())
            finishWord(hash, ids);
    }

    // -1 for a stem no text has.
    int find(const QString &stem) const { return m_interner.value(stem, -1); }

private:
    static constexpr quint64 hashBasis = 0xCBF29CE484222325ull;
    static constexpr quint64 hashPrime = 0x100000001B3ull;

    struct Slot
    {
        quint64 hash = 0;
        quint32 offset = 0;
        quint32 length = 0; // 0: empty
        int id = -1;        // -1: a stop word
    };

    // The high bits of the product mix every bit of the hash.
    size_t slotOf(quint64 hash) const
    {
        return size_t((hash * 0x9E3779B97F4A7C15ull) >> 40) & (m_slots.size() - 1);
    }

    int intern(const QString &stem)
    {
        auto it = m_interner.constFind(stem);
        if (it == m_interner.constEnd())
            it = m_interner.insert(stem, int(m_interner.size()));
        return *it;
    }

    void finishWord(quint64 hash, std::vector<int> &ids)
    {
        if (m_word.size() < 2)
            return; // a single character is never a word
        const int id = wordId(hash);
        if (id >= 0)
            ids.push_back(id);
    }

    int wordId(quint64 hash)
    {
        if (m_slots.empty())
            m_slots.resize(1024);
        const size_t mask = m_slots.size() - 1;
        for (size_t at = slotOf(hash);; at = (at + 1) & mask) {
            Slot &slot = m_slots[at];
            if (slot.length == 0)
                break;
            if (slot.hash == hash && slot.length == m_word.size()
                && std::memcmp(m_bytes.data() + slot.offset, m_word.data(), m_word.size()) == 0)
                return slot.id;
        }
        const QString word = QString::fromLatin1(m_word.data(), qsizetype(m_word.size()));
        const int id = TextTools::stopWords().contains(word) ? -1 : intern(TextTools::stem(word));
        if (m_bytes.size() + m_word.size() > std::numeric_limits<quint32>::max())
            return id; // not remembered; a table this big is no longer worth growing
        insert({hash, quint32(m_bytes.size()), quint32(m_word.size()), id});
        m_bytes.append(m_word);
        return id;
    }

    void insert(const Slot &slot)
    {
        if (2 * (m_used + 1) > m_slots.size()) {
            std::vector<Slot> old(m_slots.size() * 2);
            old.swap(m_slots);
            m_used = 0;
            for (const Slot &s : old) {
                if (s.length != 0)
                    insert(s);
            }
        }
        const size_t mask = m_slots.size() - 1;
        size_t at = slotOf(slot.hash);
        while (m_slots[at].length != 0)
            at = (at + 1) & mask;
        m_slots[at] = slot;
        ++m_used;
    }

    Interner m_interner; // stem -> id
    std::vector<Slot> m_slots;
    size_t m_used = 0;
    std::string m_bytes;
    std::string m_word;
};

// Which of a query's stems occur among the words of a text, found in one walk
// over the text that compares stems in place: no string, id or set per word.
// What the first search over a library uses, before anything is prepared.
class QueryMatcher
{
public:
    static constexpr qsizetype most = 64;

    // At most `most` stems.
    explicit QueryMatcher(const QList<QString> &stems) : m_stems(stems)
    {
        Q_ASSERT(stems.size() <= most);
        for (const QString &stem : stems)
            m_packed.push_back(pack(stem));
    }

    // Bit i set: stem i occurs in `text`; only the bits of `wanted` are looked for.
    quint64 found(const QString &text, quint64 wanted) const
    {
        if (wanted == 0)
            return 0;
        const UnitTable &table = unitTable();
        const char16_t *units = reinterpret_cast<const char16_t *>(text.constData());
        const qsizetype n = text.size();
        quint64 result = 0;
        quint64 stem = 0;
        qsizetype length = 0;
        qsizetype start = 0;
        for (qsizetype i = 0; i <= n; ++i) {
            const UnitKind kind = i < n ? table.kinds[units[i]] : separator;
            if (kind == latin1Word) {
                if (length < 6)
                    stem |= quint64(quint8(table.lower[units[i]])) << (8 * length);
                if (length++ == 0)
                    start = i;
            } else if (kind == separator) {
                if (length >= 2) { // a single character is never a word
                    const quint64 key = stem | quint64(std::min<qsizetype>(length, 6)) << 56;
                    for (size_t j = 0; j < m_packed.size(); ++j) {
                        const quint64 bit = quint64(1) << j;
                        if ((wanted & bit) && m_packed[j] == key
                            && !TextTools::stopWords().contains(QStringView(units + start, length).toString().toLower()))
                            result |= bit;
                    }
                    wanted &= ~result;
                    if (wanted == 0)
                        return result;
                }
                stem = 0;
                length = 0;
            } else {
                return result | generalFound(text, wanted);
            }
        }
        return result;
    }

private:
    // A stem of Latin-1 units as bytes and length; 0, which no word has, else.
    static quint64 pack(const QString &stem)
    {
        if (stem.size() > 6)
            return 0;
        quint64 packed = quint64(stem.size()) << 56;
        for (qsizetype i = 0; i < stem.size(); ++i) {
            const char16_t c = stem.at(i).unicode();
            if (c >= 0x100)
                return 0;
            packed |= quint64(c) << (8 * i);
        }
        return packed;
    }

    quint64 generalFound(const QString &text, quint64 wanted) const
    {
        quint64 result = 0;
        for (const QString &word : TextTools::words(text)) {
            const QString stem = TextTools::stem(word);
            for (qsizetype j = 0; j < m_stems.size(); ++j) {
                if ((wanted & (quint64(1) << j)) && m_stems.at(j) == stem)
                    result |= quint64(1) << j;
            }
        }
        return result;
    }

    QList<QString> m_stems;
    std::vector<quint64> m_packed;
};

// Sorted, each once: matching a query is a binary search over small integers.
void sortIds(std::vector<int> &ids)
{
    std::sort(ids.begin(), ids.end());
    ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
}

// Unknown stems get -1, which no tab holds.
std::vector<int> queryIds(const QList<QString> &stems, const StemTable &table)
{
    std::vector<int> ids;
    ids.reserve(size_t(stems.size()));
    for (const QString &stem : stems)
        ids.push_back(table.find(stem));
    return ids;
}

bool holds(const std::vector<int> &ids, int id)
{
    return std::binary_search(ids.begin(), ids.end(), id);
}

std::shared_ptr<const Prepared> prepare(const SavedTab &tab, StemTable &table)
{
    auto p = std::make_shared<Prepared>();
    p->title = tab.title;
    p->summary = tab.summary;
    p->note = tab.note;
    p->url = tab.url;
    p->text = tab.text;
    p->tags = tab.tags;
    p->projectTags = tab.projectTags;
    p->key = idText(tab.id);
    table.collect(tab.title, p->titleStems);
    sortIds(p->titleStems);
    // The parts one by one: words never run across the blanks between them.
    table.collect(tab.summary, p->annotationStems);
    for (const QString &tag : tab.tags)
        table.collect(tag, p->annotationStems);
    table.collect(tab.note, p->annotationStems);
    for (const QString &tag : tab.projectTags)
        table.collect(tag, p->annotationStems);
    sortIds(p->annotationStems);
    table.collect(tab.url, p->addressStems);
    sortIds(p->addressStems);
    // Never more characters than code units: a shorter text needs no counting.
    table.collect(tab.text.size() <= SearchIndex::textCut ? tab.text
                                                          : TextCut::prefix(tab.text, SearchIndex::textCut),
                  p->textStems);
    sortIds(p->textStems);
    p->lowerTitle = tab.title.toLower();
    p->lowerAnnotation = (tab.summary + u' ' + tab.tags.join(u' ') + u' ' + tab.note).toLower();
    return p;
}

// Library snapshots share their strings, so the pointer check settles
// nearly every comparison without reading the text.
bool same(const QString &a, const QString &b)
{
    return (a.constData() == b.constData() && a.size() == b.size()) || a == b;
}

bool same(const QStringList &a, const QStringList &b)
{
    if (a.size() != b.size())
        return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        if (!same(a[i], b[i]))
            return false;
    }
    return true;
}

bool isCurrent(const Prepared &p, const SavedTab &tab)
{
    return same(p.title, tab.title) && same(p.summary, tab.summary) && same(p.note, tab.note)
        && same(p.url, tab.url) && same(p.text, tab.text) && same(p.tags, tab.tags)
        && same(p.projectTags, tab.projectTags);
}

// The part of a query stem found only inside a longer word, or "" when the
// stem is too short for that.
QString fallbackTerm(const QString &stem)
{
    if (TextCut::length(stem) < 5)
        return {};
    static const QLatin1StringView suffixes[] = {
        QLatin1StringView("en"), QLatin1StringView("er"), QLatin1StringView("es"),
        QLatin1StringView("e"),  QLatin1StringView("n"),  QLatin1StringView("s"),
    };
    for (QLatin1StringView suffix : suffixes) {
        if (stem.endsWith(suffix)) {
            const QString rest = stem.chopped(suffix.size());
            return TextCut::length(rest) < 4 ? QString() : rest;
        }
    }
    return stem;
}

float score(const std::vector<int> &stems, const QList<QString> &terms, const Prepared &p)
{
    if (stems.empty())
        return 0.0f;
    float sum = 0.0f;
    for (size_t i = 0; i < stems.size(); ++i) {
        const int q = stems[i];
        if (holds(p.titleStems, q))
            sum += 1.0f;
        else if (holds(p.annotationStems, q))
            sum += 0.8f;
        else if (holds(p.addressStems, q))
            sum += 0.6f;
        else if (holds(p.textStems, q))
            sum += 0.4f;
        else if (const QString &term = terms[qsizetype(i)]; !term.isEmpty()) {
            if (p.lowerTitle.contains(term))
                sum += 0.7f;
            else if (p.lowerAnnotation.contains(term))
                sum += 0.5f;
        }
    }
    return sum / float(stems.size());
}

// The same sum as score(), for a tab nothing was prepared for; a field is
// walked only for the stems no earlier field holds.
float coldScore(const QueryMatcher &matcher, const QList<QString> &terms, const SavedTab &tab)
{
    const qsizetype count = terms.size();
    if (count == 0)
        return 0.0f;
    const quint64 all = count == 64 ? ~quint64(0) : (quint64(1) << count) - 1;
    const quint64 inTitle = matcher.found(tab.title, all);
    quint64 inAnnotation = matcher.found(tab.summary, all & ~inTitle);
    for (const QString &tag : tab.tags)
        inAnnotation |= matcher.found(tag, all & ~inTitle & ~inAnnotation);
    inAnnotation |= matcher.found(tab.note, all & ~inTitle & ~inAnnotation);
    for (const QString &tag : tab.projectTags)
        inAnnotation |= matcher.found(tag, all & ~inTitle & ~inAnnotation);
    const quint64 inAddress = matcher.found(tab.url, all & ~inTitle & ~inAnnotation);
    const quint64 rest = all & ~inTitle & ~inAnnotation & ~inAddress;
    const quint64 inText = matcher.found(tab.text.size() <= SearchIndex::textCut
                                             ? tab.text
                                             : TextCut::prefix(tab.text, SearchIndex::textCut),
                                         rest);
    std::optional<QString> lowerTitle, lowerAnnotation;
    float sum = 0.0f;
    for (qsizetype i = 0; i < count; ++i) {
        const quint64 bit = quint64(1) << i;
        if (inTitle & bit)
            sum += 1.0f;
        else if (inAnnotation & bit)
            sum += 0.8f;
        else if (inAddress & bit)
            sum += 0.6f;
        else if (inText & bit)
            sum += 0.4f;
        else if (const QString &term = terms[i]; !term.isEmpty()) {
            if (!lowerTitle)
                lowerTitle = tab.title.toLower();
            if (lowerTitle->contains(term)) {
                sum += 0.7f;
                continue;
            }
            if (!lowerAnnotation)
                lowerAnnotation = (tab.summary + u' ' + tab.tags.join(u' ') + u' ' + tab.note).toLower();
            if (lowerAnnotation->contains(term))
                sum += 0.5f;
        }
    }
    return sum / float(count);
}

// A fixed order, so that every path sums the same floats the same way.
QList<QString> ordered(const QSet<QString> &stems)
{
    QList<QString> list(stems.begin(), stems.end());
    std::sort(list.begin(), list.end());
    return list;
}

QList<QString> termsFor(const QList<QString> &stems)
{
    QList<QString> terms;
    terms.reserve(stems.size());
    for (const QString &q : stems)
        terms.append(fallbackTerm(q));
    return terms;
}

} // namespace

struct SearchIndex::Cache
{
    std::mutex lock;
    QHash<QUuid, std::shared_ptr<const Prepared>> entries;
    StemTable stems;
    // The first search walks the texts without preparing them: one search
    // (every call of the command line) never pays for a second. Later
    // searches prepare each tab once and then reuse it.
    bool searched = false;
};

SearchIndex::SearchIndex(std::shared_ptr<const Embedder> embedder)
    : m_embedder(std::move(embedder)), m_cache(std::make_shared<Cache>())
{
    Q_ASSERT(m_embedder);
}

QSet<QString> SearchIndex::queryStems(const QString &query)
{
    return stemsOf(query);
}

float SearchIndex::keywordScore(const QSet<QString> &queryStems, const SavedTab &tab)
{
    const QList<QString> stems = ordered(queryStems);
    if (stems.size() <= QueryMatcher::most)
        return coldScore(QueryMatcher(stems), termsFor(stems), tab);
    StemTable table;
    const std::shared_ptr<const Prepared> prepared = prepare(tab, table);
    return score(queryIds(stems, table), termsFor(stems), *prepared);
}

QList<SearchHit> SearchIndex::hits(const QString &query, const LibraryData &data, qsizetype limit) const
{
    const QString trimmed = query.trimmed();
    if (trimmed.isEmpty() || data.tabs.isEmpty() || limit <= 0)
        return {};
    const QList<QString> stems = ordered(queryStems(trimmed));
    const QList<QString> terms = termsFor(stems);
    const bool useCache = data.embedderKind == m_embedder->kind();
    const Vector queryVector = m_embedder->vector(trimmed);

    // Rank plain (index, score) pairs; only the hits returned copy their tab.
    struct Scored
    {
        qsizetype index;
        float score;
    };
    std::vector<Scored> scored;
    {
        // Scoring under the lock keeps the prepared entries alive without
        // touching a reference count per tab.
        std::lock_guard guard(m_cache->lock);
        const auto semanticScore = [&](qsizetype i, const QString &key) {
            float cosine = 0.0f;
            const auto cached = useCache ? data.embeddings.constFind(key) : data.embeddings.constEnd();
            if (cached != data.embeddings.constEnd())
                cosine = Embedder::cosine(queryVector, *cached);
            else
                cosine = Embedder::cosine(queryVector, m_embedder->vector(data.tabs[i].searchableText()));
            return cosine < 0.0f ? 0.0f : cosine * semanticWeight;
        };
        if (!m_cache->searched && stems.size() <= QueryMatcher::most) {
            m_cache->searched = true;
            const QueryMatcher matcher(stems);
            const auto scoreRange = [&](qsizetype from, qsizetype to, std::vector<Scored> &out) {
                for (qsizetype i = from; i < to; ++i) {
                    const SavedTab &tab = data.tabs[i];
                    const float total =
                        semanticScore(i, idText(tab.id)) + coldScore(matcher, terms, tab) * keywordWeight;
                    if (total > threshold)
                        out.push_back({i, total});
                }
            };
            // Nothing here writes shared state: a big library is scored in
            // two halves at once, the first half's hits kept first.
            const qsizetype count = data.tabs.size();
            if (count >= 2000 && std::thread::hardware_concurrency() > 1) {
                std::vector<Scored> second;
                std::thread helper(scoreRange, count / 2, count, std::ref(second));
                scoreRange(0, count / 2, scored);
                helper.join();
                scored.insert(scored.end(), second.begin(), second.end());
            } else {
                scoreRange(0, count, scored);
            }
        } else {
            m_cache->searched = true;
            std::vector<const Prepared *> prepared;
            prepared.reserve(size_t(data.tabs.size()));
            for (const SavedTab &tab : data.tabs) {
                auto &entry = m_cache->entries[tab.id];
                if (!entry || !isCurrent(*entry, tab))
                    entry = prepare(tab, m_cache->stems);
                prepared.push_back(entry.get());
            }
            const std::vector<int> ids = queryIds(stems, m_cache->stems);
            for (qsizetype i = 0; i < data.tabs.size(); ++i) {
                const Prepared &p = *prepared[size_t(i)];
                const float total = semanticScore(i, p.key) + score(ids, terms, p) * keywordWeight;
                if (total > threshold)
                    scored.push_back({i, total});
            }
            // Forget tabs that left the library once they clearly outnumber the rest.
            if (m_cache->entries.size() > 2 * data.tabs.size() + 64) {
                QHash<QUuid, std::shared_ptr<const Prepared>> kept;
                for (const SavedTab &tab : data.tabs)
                    kept.insert(tab.id, m_cache->entries.value(tab.id));
                m_cache->entries.swap(kept);
            }
        }
    }
    std::stable_sort(scored.begin(), scored.end(), [&](const Scored &a, const Scored &b) {
        if (a.score != b.score)
            return a.score > b.score;
        return data.tabs[a.index].savedAt > data.tabs[b.index].savedAt;
    });
    QList<SearchHit> result;
    const qsizetype count = std::min<qsizetype>(limit, qsizetype(scored.size()));
    result.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        result.append({data.tabs[scored[size_t(i)].index], scored[size_t(i)].score});
    return result;
}

QList<SavedTab> SearchIndex::search(const QString &query, const LibraryData &data, qsizetype limit) const
{
    QList<SavedTab> tabs;
    for (const SearchHit &hit : hits(query, data, limit))
        tabs.append(hit.tab);
    return tabs;
}
