#include "LibraryCodec.h"

#include "FloatText.h"
#include "Fmt.h"
#include "JsonStringCodec.h"

#include <QDate>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#ifdef Q_OS_LINUX
#include <sys/mman.h>
#endif

// A hand-written streaming reader and writer: libraries of many thousand
// tabs with page texts and vectors must load and save without a visible
// pause, and a DOM in between would double the work and the memory.

namespace {

using namespace std::string_view_literals;

struct DecodeFailure
{
    QString reason;
};

// The proleptic Gregorian date of a count of days since 1970-01-01.
void civilFromDays(qint64 z, qint64 &y, unsigned &m, unsigned &d)
{
    z += 719468;
    const qint64 era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    y = static_cast<qint64>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = doy - (153 * mp + 2) / 5 + 1;
    m = mp < 10 ? mp + 3 : mp - 9;
    y += m <= 2;
}

bool isHex(char16_t c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Only the plain 36-character form counts; braces or other layouts do not.
std::optional<QUuid> parseUuid(const QString &text)
{
    if (text.size() != 36)
        return std::nullopt;
    for (int i = 0; i < 36; ++i) {
        const char16_t c = text.at(i).unicode();
        const bool dash = i == 8 || i == 13 || i == 18 || i == 23;
        if (dash ? c != u'-' : !isHex(c))
            return std::nullopt;
    }
    return QUuid::fromString(text);
}

// The plain 36-character form at p, hex digits in either case.
std::optional<QUuid> uuidFromBytes(const char *p)
{
    std::uint8_t b[16];
    int n = 0;
    for (int i = 0; i < 36; ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (p[i] != '-')
                return std::nullopt;
            continue;
        }
        const int high = hexValue(p[i]);
        const int low = hexValue(p[i + 1]);
        if (high < 0 || low < 0)
            return std::nullopt;
        b[n++] = std::uint8_t(high << 4 | low);
        ++i;
    }
    return QUuid(uint(b[0]) << 24 | uint(b[1]) << 16 | uint(b[2]) << 8 | b[3], ushort(b[4] << 8 | b[5]),
                 ushort(b[6] << 8 | b[7]), b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
}

class Reader
{
public:
    Reader(const char *begin, const char *end) : m_p(begin), m_end(end) {}

    [[noreturn]] void fail(const QString &reason) const { throw DecodeFailure{reason}; }

    void ws()
    {
        while (m_p < m_end && (*m_p == ' ' || *m_p == '\n' || *m_p == '\r' || *m_p == '\t'))
            ++m_p;
    }

    bool atEnd()
    {
        ws();
        return m_p == m_end;
    }

    char peek()
    {
        ws();
        if (m_p == m_end)
            fail(QStringLiteral("unerwartetes Dateiende"));
        return *m_p;
    }

    void expect(char c)
    {
        if (peek() != c)
            fail(QStringLiteral("'%1' erwartet").arg(QLatin1Char(c)));
        ++m_p;
    }

    void literal(std::string_view word)
    {
        if (std::size_t(m_end - m_p) < word.size() || std::string_view(m_p, word.size()) != word)
            fail(QStringLiteral("ungültiger Wert"));
        m_p += word.size();
    }

    // Consumes a null and says so; a null stands for a missing optional key.
    bool null()
    {
        if (peek() != 'n')
            return false;
        literal("null"sv);
        return true;
    }

    bool boolean()
    {
        const char c = peek();
        if (c == 't') {
            literal("true"sv);
            return true;
        }
        if (c == 'f') {
            literal("false"sv);
            return false;
        }
        fail(QStringLiteral("Wahrheitswert erwartet"));
    }

    template <typename OnKey>
    void object(OnKey &&onKey, int depth = 0)
    {
        if (depth > kMaxDepth)
            fail(QStringLiteral("zu tief verschachtelt"));
        expect('{');
        if (peek() == '}') {
            ++m_p;
            return;
        }
        for (;;) {
            if (peek() != '"')
                fail(QStringLiteral("Schlüssel erwartet"));
            const std::string_view k = key();
            expect(':');
            onKey(k);
            const char c = peek();
            ++m_p;
            if (c == '}')
                return;
            if (c != ',')
                fail(QStringLiteral("',' oder '}' erwartet"));
        }
    }

    template <typename OnElement>
    void array(OnElement &&onElement, int depth = 0)
    {
        if (depth > kMaxDepth)
            fail(QStringLiteral("zu tief verschachtelt"));
        expect('[');
        if (peek() == ']') {
            ++m_p;
            return;
        }
        for (;;) {
            onElement();
            const char c = peek();
            ++m_p;
            if (c == ']')
                return;
            if (c != ',')
                fail(QStringLiteral("',' oder ']' erwartet"));
        }
    }

    QString string()
    {
        if (peek() != '"')
            fail(QStringLiteral("Text erwartet"));
        ++m_p;
        const char *start = m_p;
        // Straight into the string, which is at most one unit per byte;
        // what fails is read again below for the reason.
        if (const char *close = JsonStringCodec::closingQuote(start, m_end)) {
            QString s(close - start, Qt::Uninitialized);
            auto *units = reinterpret_cast<char16_t *>(s.data());
            if (const char16_t *end = JsonStringCodec::decode(units, start, close)) {
                s.resize(end - units);
                if (s.capacity() > 64 && s.size() < s.capacity() / 4 * 3)
                    s.squeeze(); // text of mostly two- and three-byte characters
                m_p = close + 1;
                return s;
            }
        }
        if (scanPlain()) {
            const QString s = QString::fromUtf8(start, m_p - start);
            ++m_p;
            return s;
        }
        m_scratch.assign(start, m_p);
        unescapeRest();
        return QString::fromUtf8(m_scratch.data(), qsizetype(m_scratch.size()));
    }

    QStringList strings()
    {
        QStringList list;
        array([&] { list.append(string()); });
        return list;
    }

    QDateTime date()
    {
        const QString text = string();
        const auto date = Fmt::parseFileDate(text);
        if (!date)
            fail(QStringLiteral("ungültiges Datum: %1").arg(text));
        return *date;
    }

    QUuid uuid()
    {
        // Straight from the bytes when they are the plain form; anything
        // else (escapes included) takes the way through a string.
        if (peek() == '"' && m_end - m_p >= 38 && m_p[37] == '"') {
            if (const auto id = uuidFromBytes(m_p + 1)) {
                m_p += 38;
                return *id;
            }
        }
        const QString text = string();
        const auto id = parseUuid(text);
        if (!id)
            fail(QStringLiteral("ungültige Kennung: %1").arg(text));
        return *id;
    }

    QList<QUuid> uuids()
    {
        QList<QUuid> list;
        array([&] { list.append(uuid()); });
        return list;
    }

    qint64 integer()
    {
        const Number n = number();
        if (!n.fraction) {
            qint64 v = 0;
            const auto [ptr, ec] = std::from_chars(n.begin, n.end, v);
            if (ec != std::errc() || ptr != n.end)
                fail(QStringLiteral("Ganzzahl ausserhalb des Bereichs"));
            return v;
        }
        double d = 0;
        const auto [ptr, ec] = std::from_chars(n.begin, n.end, d);
        if (ec != std::errc() || ptr != n.end || d != std::trunc(d) || std::abs(d) > 9.0e15)
            fail(QStringLiteral("Ganzzahl erwartet"));
        return static_cast<qint64>(d);
    }

    float real()
    {
        if (m_p == m_end || (*m_p != '-' && unsigned(*m_p - '0') >= 10))
            ws(); // rare: the writer puts no blanks before a number
        const char *begin = m_p;
        float f = 0;
        const std::from_chars_result read = std::from_chars(begin, m_end, f);
        const char *end = read.ptr;
        const std::errc error = read.ec;
        // JSON allows less than from_chars: a digit right after the sign, no
        // leading zeros and a digit on both sides of a point. Checked on the
        // number read instead of walking it twice.
        const char *digits = begin + (begin < m_end && *begin == '-');
        const auto digit = [&](const char *p) { return p < end && unsigned(*p - '0') < 10; };
        bool json = error != std::errc::invalid_argument && digit(digits)
            && !(*digits == '0' && digit(digits + 1));
        if (json) {
            const auto *point = static_cast<const char *>(std::memchr(digits, '.', size_t(end - digits)));
            json = !point || digit(point + 1);
        }
        if (!json)
            fail(QStringLiteral("Zahl erwartet"));
        if (error == std::errc::result_out_of_range)
            fail(QStringLiteral("Zahl ausserhalb des Bereichs"));
        m_p = end;
        return f;
    }

    // An array of numbers, read without the general array's per-element
    // detours: the vectors hold millions of them. Collected in a scratch
    // buffer so that the vector is allocated once, at its size.
    Vector reals()
    {
        expect('[');
        m_floats.clear();
        if (peek() == ']') {
            ++m_p;
            return {};
        }
        for (;;) {
            m_floats.push_back(real());
            // The writer puts nothing between a number and the next comma.
            char c = m_p < m_end ? *m_p : '\0';
            if (c != ',' && c != ']')
                c = peek();
            ++m_p;
            if (c == ']')
                break;
            if (c != ',')
                fail(QStringLiteral("',' oder ']' erwartet"));
        }
        return Vector(m_floats.cbegin(), m_floats.cend());
    }

    void skip(int depth = 0)
    {
        switch (peek()) {
        case '{':
            object([&](std::string_view) { skip(depth + 1); }, depth + 1);
            return;
        case '[':
            array([&] { skip(depth + 1); }, depth + 1);
            return;
        case '"':
            ++m_p;
            if (scanPlain()) {
                ++m_p;
            } else {
                m_scratch.clear();
                unescapeRest();
            }
            return;
        case 't':
        case 'f':
            boolean();
            return;
        case 'n':
            literal("null"sv);
            return;
        default:
            number();
        }
    }

private:
    static constexpr int kMaxDepth = 256;

    struct Number
    {
        const char *begin;
        const char *end;
        bool fraction;
    };

    // JSON number grammar; the conversion is the caller's.
    Number number()
    {
        ws();
        const char *b = m_p;
        auto digit = [&] { return m_p < m_end && *m_p >= '0' && *m_p <= '9'; };
        if (m_p < m_end && *m_p == '-')
            ++m_p;
        if (!digit())
            fail(QStringLiteral("Zahl erwartet"));
        if (*m_p == '0')
            ++m_p;
        else
            while (digit())
                ++m_p;
        bool fraction = false;
        if (m_p < m_end && *m_p == '.') {
            ++m_p;
            if (!digit())
                fail(QStringLiteral("Zahl erwartet"));
            while (digit())
                ++m_p;
            fraction = true;
        }
        if (m_p < m_end && (*m_p == 'e' || *m_p == 'E')) {
            ++m_p;
            if (m_p < m_end && (*m_p == '+' || *m_p == '-'))
                ++m_p;
            if (!digit())
                fail(QStringLiteral("Zahl erwartet"));
            while (digit())
                ++m_p;
            fraction = true;
        }
        // from_chars does not take a leading plus, and JSON has none.
        return {b, m_p, fraction};
    }

    std::string_view key()
    {
        ++m_p; // opening quote
        const char *start = m_p;
        if (scanPlain()) {
            const std::string_view k(start, std::size_t(m_p - start));
            ++m_p;
            return k;
        }
        m_scratch.assign(start, m_p);
        unescapeRest();
        m_key = m_scratch;
        return m_key;
    }

    // Advances over valid UTF-8 without escapes. True when it stopped at the
    // closing quote, false at a backslash.
    bool scanPlain()
    {
        for (;;) {
            // Bulk-skip the common printable ASCII bytes, eight at a time;
            // the lowest mark in a block is the first byte that is not one.
            bool found = false;
            while (m_end - m_p >= 8) {
                std::uint64_t w;
                std::memcpy(&w, m_p, 8);
                constexpr std::uint64_t lanes = 0x0101010101010101;
                constexpr std::uint64_t high = 0x8080808080808080;
                const auto zeros = [](std::uint64_t x) { return (x - lanes) & ~x & high; };
                const std::uint64_t marks = (w & high) | ((w - 0x20 * lanes) & ~w & high)
                    | zeros(w ^ ('"' * lanes)) | zeros(w ^ ('\\' * lanes));
                if (marks) {
                    m_p += std::countr_zero(marks) / 8;
                    found = true;
                    break;
                }
                m_p += 8;
            }
            while (!found && m_p < m_end) {
                const unsigned char c = static_cast<unsigned char>(*m_p);
                if (c < 0x20 || c == '"' || c == '\\' || c >= 0x80)
                    break;
                ++m_p;
            }
            if (m_p == m_end)
                fail(QStringLiteral("Text ohne Ende"));
            const unsigned char c = static_cast<unsigned char>(*m_p);
            if (c == '"')
                return true;
            if (c == '\\')
                return false;
            if (c < 0x20)
                fail(QStringLiteral("Steuerzeichen im Text"));
            validateMultiByte();
        }
    }

    void validateMultiByte()
    {
        const auto *u = reinterpret_cast<const unsigned char *>(m_p);
        const std::size_t left = std::size_t(m_end - m_p);
        const unsigned char c = u[0];
        std::size_t len = 0;
        char32_t cp = 0;
        if (c >= 0xC2 && c <= 0xDF) {
            len = 2;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            len = 3;
            cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            len = 4;
            cp = c & 0x07;
        } else {
            fail(QStringLiteral("ungültiges UTF-8"));
        }
        if (left < len)
            fail(QStringLiteral("ungültiges UTF-8"));
        for (std::size_t i = 1; i < len; ++i) {
            if ((u[i] & 0xC0) != 0x80)
                fail(QStringLiteral("ungültiges UTF-8"));
            cp = (cp << 6) | (u[i] & 0x3F);
        }
        if ((len == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF)))
            || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)))
            fail(QStringLiteral("ungültiges UTF-8"));
        m_p += len;
    }

    unsigned hex4()
    {
        if (m_end - m_p < 4)
            fail(QStringLiteral("ungültige Escape-Folge"));
        unsigned v = 0;
        for (int i = 0; i < 4; ++i) {
            const char c = m_p[i];
            v <<= 4;
            if (c >= '0' && c <= '9')
                v |= unsigned(c - '0');
            else if (c >= 'a' && c <= 'f')
                v |= unsigned(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                v |= unsigned(c - 'A' + 10);
            else
                fail(QStringLiteral("ungültige Escape-Folge"));
        }
        m_p += 4;
        return v;
    }

    void appendUtf8(char32_t cp)
    {
        if (cp < 0x80) {
            m_scratch.push_back(char(cp));
        } else if (cp < 0x800) {
            m_scratch.push_back(char(0xC0 | (cp >> 6)));
            m_scratch.push_back(char(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            m_scratch.push_back(char(0xE0 | (cp >> 12)));
            m_scratch.push_back(char(0x80 | ((cp >> 6) & 0x3F)));
            m_scratch.push_back(char(0x80 | (cp & 0x3F)));
        } else {
            m_scratch.push_back(char(0xF0 | (cp >> 18)));
            m_scratch.push_back(char(0x80 | ((cp >> 12) & 0x3F)));
            m_scratch.push_back(char(0x80 | ((cp >> 6) & 0x3F)));
            m_scratch.push_back(char(0x80 | (cp & 0x3F)));
        }
    }

    // From a backslash to the closing quote, appending to m_scratch.
    void unescapeRest()
    {
        for (;;) {
            // m_p is at a backslash.
            ++m_p;
            if (m_p == m_end)
                fail(QStringLiteral("Text ohne Ende"));
            const char e = *m_p++;
            switch (e) {
            case '"': m_scratch.push_back('"'); break;
            case '\\': m_scratch.push_back('\\'); break;
            case '/': m_scratch.push_back('/'); break;
            case 'b': m_scratch.push_back('\b'); break;
            case 'f': m_scratch.push_back('\f'); break;
            case 'n': m_scratch.push_back('\n'); break;
            case 'r': m_scratch.push_back('\r'); break;
            case 't': m_scratch.push_back('\t'); break;
            case 'u': {
                char32_t cp = hex4();
                if (cp >= 0xDC00 && cp <= 0xDFFF)
                    fail(QStringLiteral("einzelnes Ersatzzeichen"));
                if (cp >= 0xD800 && cp <= 0xDBFF) {
                    if (m_end - m_p < 6 || m_p[0] != '\\' || m_p[1] != 'u')
                        fail(QStringLiteral("einzelnes Ersatzzeichen"));
                    m_p += 2;
                    const char32_t low = hex4();
                    if (low < 0xDC00 || low > 0xDFFF)
                        fail(QStringLiteral("einzelnes Ersatzzeichen"));
                    cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
                }
                appendUtf8(cp);
                break;
            }
            default:
                fail(QStringLiteral("ungültige Escape-Folge"));
            }
            const char *start = m_p;
            const bool closed = scanPlain();
            m_scratch.append(start, m_p);
            if (closed) {
                ++m_p;
                return;
            }
        }
    }

public:
    // For bytes mapped from a file: the pages already read are given back
    // every few megabytes, so that the file and the decoded library are
    // never both resident whole. Reading them again would map them again.
    void releaseWhileReading() { m_released = m_p; }

    void releaseRead()
    {
        if (!m_released || m_p - m_released < releaseStep)
            return;
#ifdef Q_OS_LINUX
        const auto page = std::uintptr_t(4096);
        const auto from = (reinterpret_cast<std::uintptr_t>(m_released) + page - 1) & ~(page - 1);
        const auto to = reinterpret_cast<std::uintptr_t>(m_p) & ~(page - 1);
        if (to > from)
            madvise(reinterpret_cast<void *>(from), to - from, MADV_DONTNEED);
#endif
        m_released = m_p;
    }

private:
    static constexpr std::ptrdiff_t releaseStep = 4 << 20;

    const char *m_p;
    const char *m_end;
    const char *m_released = nullptr;
    std::string m_scratch;
    std::string m_key;
    std::vector<float> m_floats;
};

// Records the required keys a record has shown.
class Required
{
public:
    void seen(int bit) { m_mask |= 1u << bit; }
    void check(Reader &r, unsigned all, const char *record) const
    {
        if ((m_mask & all) != all)
            r.fail(QStringLiteral("Pflichtfeld fehlt in %1").arg(QLatin1StringView(record)));
    }

private:
    unsigned m_mask = 0;
};

SavedTab readTab(Reader &r, const QDateTime &now)
{
    SavedTab tab;
    Required req;
    bool hasDomain = false, hasSavedAt = false, hasWindowId = false;
    r.object([&](std::string_view k) {
        if (k == "id"sv) {
            tab.id = r.uuid();
            req.seen(0);
        } else if (k == "url"sv) {
            tab.url = r.string();
            req.seen(1);
        } else if (r.null()) {
            // null stands for a missing optional key
        } else if (k == "title"sv) {
            tab.title = r.string();
        } else if (k == "domain"sv) {
            tab.domain = r.string();
            hasDomain = true;
        } else if (k == "savedAt"sv) {
            tab.savedAt = r.date();
            hasSavedAt = true;
        } else if (k == "windowId"sv) {
            tab.windowId = r.uuid();
            hasWindowId = true;
        } else if (k == "windowIndex"sv) {
            tab.windowIndex = r.integer();
        } else if (k == "tabIndex"sv) {
            tab.tabIndex = r.integer();
        } else if (k == "text"sv) {
            tab.text = r.string();
        } else if (k == "summary"sv) {
            tab.summary = r.string();
        } else if (k == "topicId"sv) {
            tab.topicId = r.uuid();
        } else if (k == "note"sv) {
            tab.note = r.string();
        } else if (k == "reminderAt"sv) {
            tab.reminderAt = r.date();
        } else if (k == "projectTags"sv) {
            tab.projectTags = r.strings();
        } else if (k == "tags"sv) {
            tab.tags = r.strings();
        } else if (k == "readAt"sv) {
            tab.readAt = r.date();
        } else if (k == "isDemo"sv) {
            tab.isDemo = r.boolean();
        } else {
            r.skip();
        }
    });
    req.check(r, 0b11, "Tab");
    if (!hasDomain)
        tab.domain = SavedTab::domainOf(tab.url);
    if (!hasSavedAt)
        tab.savedAt = now;
    if (!hasWindowId)
        tab.windowId = QUuid::createUuid();
    return tab;
}

SavedWindow readWindow(Reader &r)
{
    SavedWindow window;
    Required req;
    r.object([&](std::string_view k) {
        if (k == "id"sv) {
            window.id = r.uuid();
            req.seen(0);
        } else if (k == "savedAt"sv) {
            window.savedAt = r.date();
            req.seen(1);
        } else if (k == "title"sv) {
            window.title = r.string();
            req.seen(2);
        } else if (k == "tabIds"sv) {
            window.tabIds = r.uuids();
            req.seen(3);
        } else {
            r.skip();
        }
    });
    req.check(r, 0b1111, "Fenster");
    return window;
}

Topic readTopic(Reader &r)
{
    Topic topic;
    Required req;
    r.object([&](std::string_view k) {
        if (k == "id"sv) {
            topic.id = r.uuid();
            req.seen(0);
        } else if (k == "name"sv) {
            topic.name = r.string();
            req.seen(1);
        } else if (k == "color"sv) {
            topic.color = r.string();
            req.seen(2);
        } else if (k == "tabIds"sv) {
            topic.tabIds = r.uuids();
            req.seen(3);
        } else if (k == "isUnsorted"sv) {
            topic.isUnsorted = r.boolean();
            req.seen(4);
        } else {
            r.skip();
        }
    });
    req.check(r, 0b11111, "Thema");
    return topic;
}

Hint readHint(Reader &r)
{
    Hint hint;
    Required req;
    r.object([&](std::string_view k) {
        if (k == "id"sv) {
            hint.id = r.uuid();
            req.seen(0);
        } else if (k == "tabId"sv) {
            hint.tabId = r.uuid();
            req.seen(1);
        } else if (k == "reason"sv) {
            hint.reason = r.string();
            req.seen(2);
        } else if (k == "createdAt"sv) {
            hint.createdAt = r.date();
            req.seen(3);
        } else if (k == "dismissed"sv) {
            hint.dismissed = r.boolean();
            req.seen(4);
        } else {
            r.skip();
        }
    });
    req.check(r, 0b11111, "Hinweis");
    return hint;
}

UserContext readContext(Reader &r)
{
    UserContext context;
    Required req;
    r.object([&](std::string_view k) {
        if (k == "folderPaths"sv) {
            context.folderPaths = r.strings();
            req.seen(0);
        } else if (k == "freeText"sv) {
            context.freeText = r.string();
            req.seen(1);
        } else if (k == "hintsPerDay"sv) {
            context.hintsPerDay = r.integer();
            req.seen(2);
        } else if (k == "hintHour"sv) {
            context.hintHour = r.integer();
            req.seen(3);
        } else {
            r.skip();
        }
    });
    req.check(r, 0b1111, "Kontext");
    return context;
}

QHash<QString, Vector> readEmbeddings(Reader &r)
{
    QHash<QString, Vector> map;
    r.object([&](std::string_view k) {
        const QString key = QString::fromUtf8(k.data(), qsizetype(k.size()));
        map.insert(key, r.reals());
        r.releaseRead();
    });
    return map;
}

LibraryData readLibrary(Reader &r, const QDateTime &now)
{
    LibraryData data;
    r.object([&](std::string_view k) {
        if (r.null())
            return; // every key of the root is optional
        if (k == "version"sv) {
            data.version = r.integer();
        } else if (k == "tabs"sv) {
            // Every tab has its vector, listed before the tabs.
            data.tabs.reserve(data.embeddings.size());
            r.array([&] {
                data.tabs.append(readTab(r, now));
                r.releaseRead();
            });
        } else if (k == "windows"sv) {
            r.array([&] { data.windows.append(readWindow(r)); });
        } else if (k == "topics"sv) {
            r.array([&] { data.topics.append(readTopic(r)); });
        } else if (k == "context"sv) {
            data.context = readContext(r);
        } else if (k == "hints"sv) {
            r.array([&] { data.hints.append(readHint(r)); });
        } else if (k == "embeddings"sv) {
            data.embeddings = readEmbeddings(r);
        } else if (k == "embedderKind"sv) {
            data.embedderKind = r.string();
        } else if (k == "topicsByAI"sv) {
            data.topicsByAI = r.boolean();
        } else if (k == "lastHintDay"sv) {
            data.lastHintDay = r.string();
        } else {
            r.skip();
        }
    });
    return data;
}

class Writer
{
public:
    // Writes through a raw cursor into one buffer that grows by doubling;
    // QByteArray::append per byte costs more than the work itself. With a
    // device, a full buffer is written out instead of growing: a library of
    // many megabytes never lies in memory twice.
    explicit Writer(qsizetype estimate, const LibraryCodec::ByteSink *byteSink = nullptr) : sink(byteSink)
    {
        out.resize(byteSink ? flushSize : std::max<qsizetype>(estimate, 256));
        cur = out.data();
        cap = cur + out.size();
    }

    QByteArray finish()
    {
        out.resize(cur - out.data());
        return std::move(out);
    }

    // Writes what is left to the device; false when a write failed.
    bool flush()
    {
        const qsizetype used = cur - out.data();
        if (sink && used > 0 && !(*sink)(out.constData(), used))
            failed = true;
        cur = out.data();
        return !failed;
    }

    // Room for `n` more bytes.
    void room(qsizetype n)
    {
        if (cap - cur >= n)
            return;
        if (sink) {
            flush();
            if (cap - cur >= n)
                return;
        }
        const qsizetype used = cur - out.data();
        out.resize(std::max(out.size() * 2, used + n));
        cur = out.data() + used;
        cap = out.data() + out.size();
    }

    void raw(std::string_view s)
    {
        room(qsizetype(s.size()));
        std::memcpy(cur, s.data(), s.size());
        cur += s.size();
    }
    void ch(char c)
    {
        room(1);
        *cur++ = c;
    }

    // Keys are written in code-point order by the callers.
    void key(std::string_view k, bool first = false)
    {
        room(qsizetype(k.size()) + 4);
        if (!first)
            *cur++ = ',';
        *cur++ = '"';
        std::memcpy(cur, k.data(), k.size());
        cur += k.size();
        *cur++ = '"';
        *cur++ = ':';
    }

    void string(const QString &s)
    {
        // Worst case: every unit a control character, six bytes as \u00XX.
        room(s.size() * 6 + 2);
        *cur++ = '"';
        const auto *units = reinterpret_cast<const char16_t *>(s.constData());
        cur = JsonStringCodec::writeEscaped(cur, units, units + s.size());
        *cur++ = '"';
    }

    void strings(const QStringList &list)
    {
        ch('[');
        for (qsizetype i = 0; i < list.size(); ++i) {
            if (i)
                ch(',');
            string(list.at(i));
        }
        ch(']');
    }

    void uuid(const QUuid &id)
    {
        static const char hexDigits[] = "0123456789ABCDEF";
        const uchar b[16] = {uchar(id.data1 >> 24), uchar(id.data1 >> 16), uchar(id.data1 >> 8),
                             uchar(id.data1),       uchar(id.data2 >> 8),  uchar(id.data2),
                             uchar(id.data3 >> 8),  uchar(id.data3),       id.data4[0],
                             id.data4[1],           id.data4[2],           id.data4[3],
                             id.data4[4],           id.data4[5],           id.data4[6],
                             id.data4[7]};
        room(38);
        *cur++ = '"';
        for (int i = 0; i < 16; ++i) {
            if (i == 4 || i == 6 || i == 8 || i == 10)
                *cur++ = '-';
            *cur++ = hexDigits[b[i] >> 4];
            *cur++ = hexDigits[b[i] & 0xF];
        }
        *cur++ = '"';
    }

    void uuids(const QList<QUuid> &ids)
    {
        ch('[');
        for (qsizetype i = 0; i < ids.size(); ++i) {
            if (i)
                ch(',');
            uuid(ids.at(i));
        }
        ch(']');
    }

    void integer(qint64 v)
    {
        room(24);
        cur = std::to_chars(cur, cap, v).ptr;
    }

    void boolean(bool b) { raw(b ? "true"sv : "false"sv); }

    // An array of floats, each in the shortest text that reads back to it;
    // false for a value JSON cannot hold.
    bool reals(const Vector &v)
    {
        room(v.size() * qsizetype(FloatText::kMaxLength + 1) + 2);
        char *d = FloatText::writeList(cur + 1, v.constData(), v.constData() + v.size());
        if (!d)
            return false;
        *cur = '[';
        *d++ = ']';
        cur = d;
        return true;
    }

    void date(const QDateTime &d)
    {
        const qint64 secs = d.toSecsSinceEpoch();
        qint64 days = secs / 86400;
        qint64 rest = secs % 86400;
        if (rest < 0) {
            rest += 86400;
            --days;
        }
        qint64 y;
        unsigned m, day;
        civilFromDays(days, y, m, day);
        if (y < 0 || y > 9999) { // outside the four digits of the usual form
            char buf[48];
            const int n = std::snprintf(buf, sizeof buf, "\"%04lld-%02u-%02uT%02d:%02d:%02dZ\"",
                                        static_cast<long long>(y), m, day, int(rest / 3600),
                                        int(rest / 60 % 60), int(rest % 60));
            raw(std::string_view(buf, std::size_t(n)));
            return;
        }
        // By hand: printf costs more than the rest of a tab's dates.
        room(22);
        const auto two = [this](unsigned v) {
            *cur++ = char('0' + v / 10);
            *cur++ = char('0' + v % 10);
        };
        *cur++ = '"';
        two(unsigned(y / 100));
        two(unsigned(y % 100));
        *cur++ = '-';
        two(m);
        *cur++ = '-';
        two(day);
        *cur++ = 'T';
        two(unsigned(rest / 3600));
        *cur++ = ':';
        two(unsigned(rest / 60 % 60));
        *cur++ = ':';
        two(unsigned(rest % 60));
        *cur++ = 'Z';
        *cur++ = '"';
    }

private:
    static constexpr qsizetype flushSize = 1 << 20;

    const LibraryCodec::ByteSink *sink = nullptr;
    bool failed = false;
    QByteArray out;
    char *cur = nullptr;
    char *cap = nullptr;
};

void writeTab(Writer &w, const SavedTab &t)
{
    w.ch('{');
    w.key("domain"sv, true);
    w.string(t.domain);
    w.key("id"sv);
    w.uuid(t.id);
    w.key("isDemo"sv);
    w.boolean(t.isDemo);
    w.key("note"sv);
    w.string(t.note);
    w.key("projectTags"sv);
    w.strings(t.projectTags);
    if (t.readAt) {
        w.key("readAt"sv);
        w.date(*t.readAt);
    }
    if (t.reminderAt) {
        w.key("reminderAt"sv);
        w.date(*t.reminderAt);
    }
    w.key("savedAt"sv);
    w.date(t.savedAt);
    w.key("summary"sv);
    w.string(t.summary);
    w.key("tabIndex"sv);
    w.integer(t.tabIndex);
    w.key("tags"sv);
    w.strings(t.tags);
    w.key("text"sv);
    w.string(t.text);
    w.key("title"sv);
    w.string(t.title);
    if (t.topicId) {
        w.key("topicId"sv);
        w.uuid(*t.topicId);
    }
    w.key("url"sv);
    w.string(t.url);
    w.key("windowId"sv);
    w.uuid(t.windowId);
    w.key("windowIndex"sv);
    w.integer(t.windowIndex);
    w.ch('}');
}

void writeWindow(Writer &w, const SavedWindow &win)
{
    w.ch('{');
    w.key("id"sv, true);
    w.uuid(win.id);
    w.key("savedAt"sv);
    w.date(win.savedAt);
    w.key("tabIds"sv);
    w.uuids(win.tabIds);
    w.key("title"sv);
    w.string(win.title);
    w.ch('}');
}

void writeTopic(Writer &w, const Topic &t)
{
    w.ch('{');
    w.key("color"sv, true);
    w.string(t.color);
    w.key("id"sv);
    w.uuid(t.id);
    w.key("isUnsorted"sv);
    w.boolean(t.isUnsorted);
    w.key("name"sv);
    w.string(t.name);
    w.key("tabIds"sv);
    w.uuids(t.tabIds);
    w.ch('}');
}

void writeHint(Writer &w, const Hint &h)
{
    w.ch('{');
    w.key("createdAt"sv, true);
    w.date(h.createdAt);
    w.key("dismissed"sv);
    w.boolean(h.dismissed);
    w.key("id"sv);
    w.uuid(h.id);
    w.key("reason"sv);
    w.string(h.reason);
    w.key("tabId"sv);
    w.uuid(h.tabId);
    w.ch('}');
}

template <typename T, typename F>
void writeArray(Writer &w, const QList<T> &items, F &&write)
{
    w.ch('[');
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (i)
            w.ch(',');
        write(w, items.at(i));
    }
    w.ch(']');
}

Status writeLibrary(Writer &w, const LibraryData &data)
{

    w.ch('{');
    w.key("context"sv, true);
    w.ch('{');
    w.key("folderPaths"sv, true);
    w.strings(data.context.folderPaths);
    w.key("freeText"sv);
    w.string(data.context.freeText);
    w.key("hintHour"sv);
    w.integer(data.context.hintHour);
    w.key("hintsPerDay"sv);
    w.integer(data.context.hintsPerDay);
    w.ch('}');
    w.key("embedderKind"sv);
    w.string(data.embedderKind);
    w.key("embeddings"sv);
    w.ch('{');
    // Sorted by key with the vectors alongside, so that none is looked up.
    std::vector<std::pair<const QString *, const Vector *>> entries;
    entries.reserve(std::size_t(data.embeddings.size()));
    for (auto it = data.embeddings.cbegin(); it != data.embeddings.cend(); ++it)
        entries.emplace_back(&it.key(), &it.value());
    std::sort(entries.begin(), entries.end(), [](const auto &a, const auto &b) { return *a.first < *b.first; });
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i)
            w.ch(',');
        w.string(*entries[i].first);
        w.ch(':');
        const Vector &v = *entries[i].second;
        if (!w.reals(v))
            return Status::failure(QStringLiteral("Ein Textvektor enthält einen ungültigen Zahlenwert."));
    }
    w.ch('}');
    w.key("hints"sv);
    writeArray(w, data.hints, writeHint);
    if (data.lastHintDay) {
        w.key("lastHintDay"sv);
        w.string(*data.lastHintDay);
    }
    w.key("tabs"sv);
    writeArray(w, data.tabs, writeTab);
    w.key("topics"sv);
    writeArray(w, data.topics, writeTopic);
    w.key("topicsByAI"sv);
    w.boolean(data.topicsByAI);
    w.key("version"sv);
    w.integer(data.version);
    w.key("windows"sv);
    writeArray(w, data.windows, writeWindow);
    w.ch('}');
    return Done{};
}

Result<LibraryData> decodeReader(Reader &&r, const QDateTime &now)
{
    try {
        LibraryData data = readLibrary(r, now);
        if (!r.atEnd())
            r.fail(QStringLiteral("Zeichen nach dem Ende"));
        return data;
    } catch (const DecodeFailure &failure) {
        return Result<LibraryData>::failure(failure.reason);
    }
}

} // namespace

namespace LibraryCodec {

Result<LibraryData> decode(const QByteArray &json, const QDateTime &now)
{
    return decodeReader(Reader(json.constData(), json.constData() + json.size()), now);
}

Result<LibraryData> decodeMapped(const char *bytes, qsizetype size, const QDateTime &now)
{
    Reader r(bytes, bytes + size);
    r.releaseWhileReading();
    return decodeReader(std::move(r), now);
}

Result<QByteArray> encode(const LibraryData &data)
{
    qsizetype estimate = 256;
    for (const SavedTab &t : data.tabs)
        estimate += 400 + (t.text.size() + t.summary.size() + t.title.size() + t.url.size()) * 11 / 10;
    if (!data.embeddings.isEmpty())
        estimate += data.embeddings.size() * (50 + data.embeddings.cbegin()->size() * 13);
    Writer w(estimate);
    const Status written = writeLibrary(w, data);
    if (!written)
        return Result<QByteArray>::failure(written.error());
    return w.finish();
}

Status encodeTo(const LibraryData &data, const ByteSink &sink)
{
    Writer w(0, &sink);
    const Status written = writeLibrary(w, data);
    if (!written)
        return written;
    if (!w.flush())
        return Status::failure(QStringLiteral("Die Bibliothek konnte nicht geschrieben werden."));
    return Done{};
}

} // namespace LibraryCodec
