#include "JsonStringCodec.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

// For each ASCII code: 0 when written as it is, else the letter after the
// backslash ('u' for the \u00xx form).
constexpr std::array<char, 128> kEscape = [] {
    std::array<char, 128> e{};
    for (int c = 0; c < 0x20; ++c)
        e[std::size_t(c)] = 'u';
    e['\n'] = 'n';
    e['\r'] = 'r';
    e['\t'] = 't';
    e['\b'] = 'b';
    e['\f'] = 'f';
    e['"'] = '"';
    e['\\'] = '\\';
    e['/'] = '/';
    return e;
}();

char *putUnit(char *out, char32_t cp)
{
    if (cp < 0x80) {
        const char e = kEscape[cp];
        if (e == 0) {
            *out++ = char(cp);
        } else if (e != 'u') {
            *out++ = '\\';
            *out++ = e;
        } else {
            static const char hexDigits[] = "0123456789abcdef";
            std::memcpy(out, "\\u00", 4);
            out[4] = hexDigits[cp >> 4];
            out[5] = hexDigits[cp & 0xF];
            out += 6;
        }
    } else if (cp < 0x800) {
        *out++ = char(0xC0 | (cp >> 6));
        *out++ = char(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        *out++ = char(0xE0 | (cp >> 12));
        *out++ = char(0x80 | ((cp >> 6) & 0x3F));
        *out++ = char(0x80 | (cp & 0x3F));
    } else {
        *out++ = char(0xF0 | (cp >> 18));
        *out++ = char(0x80 | ((cp >> 12) & 0x3F));
        *out++ = char(0x80 | ((cp >> 6) & 0x3F));
        *out++ = char(0x80 | (cp & 0x3F));
    }
    return out;
}

bool isHigh(char16_t u)
{
    return u >= 0xD800 && u <= 0xDBFF;
}

bool isLow(char16_t u)
{
    return u >= 0xDC00 && u <= 0xDFFF;
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

// The four hex digits at p, or -1.
int hex4(const char *p)
{
    int v = 0;
    for (int i = 0; i < 4; ++i) {
        const int d = hexValue(p[i]);
        if (d < 0)
            return -1;
        v = v << 4 | d;
    }
    return v;
}

} // namespace

namespace JsonStringCodec {

char *writeEscaped(char *out, const char16_t *p, const char16_t *end)
{
    while (p < end) {
#if defined(__SSE2__)
        // Sixteen units narrowed to bytes: anything from 0x80 up (a
        // surrogate saturates to 0) and the bytes to escape are flagged.
        // Blocks this long mostly hold one, so leaving the loop is the
        // branch the processor expects.
        while (end - p >= 16) {
            const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
            const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 8));
            const __m128i bytes = _mm_packus_epi16(first, second);
            const __m128i flagged = _mm_or_si128(
                _mm_or_si128(_mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20)), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('"'))),
                _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('/'))));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), bytes);
            const unsigned marks = unsigned(_mm_movemask_epi8(flagged));
            if (marks == 0) {
                p += 16;
                out += 16;
                continue;
            }
            const int plain = std::countr_zero(marks);
            p += plain;
            out += plain;
            break;
        }
        if (p == end)
            break;
#endif
        const char16_t u = *p++;
        if (isHigh(u) && p < end && isLow(*p)) {
            out = putUnit(out, 0x10000 + ((char32_t(u) - 0xD800) << 10) + (char32_t(*p) - 0xDC00));
            ++p;
        } else if (isHigh(u) || isLow(u)) {
            out = putUnit(out, 0xFFFD);
        } else {
            out = putUnit(out, u);
        }
    }
    return out;
}

const char *closingQuote(const char *p, const char *end)
{
    for (;;) {
#if defined(__SSE2__)
        while (end - p >= 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
            const unsigned marks = unsigned(_mm_movemask_epi8(
                _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')))));
            if (marks != 0) {
                p += std::countr_zero(marks);
                break;
            }
            p += 16;
        }
#endif
        while (p < end && *p != '"' && *p != '\\')
            ++p;
        if (p == end)
            return nullptr;
        if (*p == '"')
            return p;
        p += 2; // a backslash and the character it escapes
        if (p >= end)
            return nullptr;
    }
}

char16_t *decode(char16_t *out, const char *begin, const char *end)
{
    const char *p = begin;
    while (p < end) {
#if defined(__SSE2__)
        // Sixteen bytes widened at once; control characters, backslashes
        // and everything from 0x80 up (negative as signed bytes) stop it.
        while (end - p >= 16) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
            const __m128i zero = _mm_setzero_si128();
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm_unpacklo_epi8(bytes, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i *>(out + 8), _mm_unpackhi_epi8(bytes, zero));
            const unsigned marks = unsigned(_mm_movemask_epi8(
                _mm_or_si128(_mm_cmplt_epi8(bytes, _mm_set1_epi8(0x20)), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')))));
            if (marks == 0) {
                p += 16;
                out += 16;
                continue;
            }
            const int plain = std::countr_zero(marks);
            p += plain;
            out += plain;
            break;
        }
        if (p == end)
            break;
#endif
        const auto c = static_cast<unsigned char>(*p);
        if (c >= 0x20 && c < 0x80 && c != '\\') {
            *out++ = c;
            ++p;
            continue;
        }
        if (c < 0x20)
            return nullptr;
        if (c == '\\') {
            if (end - p < 2)
                return nullptr;
            const char e = p[1];
            p += 2;
            switch (e) {
            case '"': *out++ = u'"'; break;
            case '\\': *out++ = u'\\'; break;
            case '/': *out++ = u'/'; break;
            case 'b': *out++ = u'\b'; break;
            case 'f': *out++ = u'\f'; break;
            case 'n': *out++ = u'\n'; break;
            case 'r': *out++ = u'\r'; break;
            case 't': *out++ = u'\t'; break;
            case 'u': {
                const int v = end - p >= 4 ? hex4(p) : -1;
                if (v < 0 || isLow(char16_t(v)))
                    return nullptr;
                p += 4;
                if (isHigh(char16_t(v))) {
                    const int low = end - p >= 6 && p[0] == '\\' && p[1] == 'u' ? hex4(p + 2) : -1;
                    if (low < 0 || !isLow(char16_t(low)))
                        return nullptr;
                    p += 6;
                    *out++ = char16_t(v);
                    *out++ = char16_t(low);
                } else {
                    *out++ = char16_t(v);
                }
                break;
            }
            default:
                return nullptr;
            }
            continue;
        }
        // A multi-byte sequence: shortest form only, no surrogates, at most
        // U+10FFFF.
        const auto *u = reinterpret_cast<const unsigned char *>(p);
        const std::ptrdiff_t left = end - p;
        const auto cont = [&](int i) { return i < left && (u[i] & 0xC0) == 0x80; };
        if (c >= 0xC2 && c <= 0xDF) {
            if (!cont(1))
                return nullptr;
            *out++ = char16_t((c & 0x1F) << 6 | (u[1] & 0x3F));
            p += 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            if (!cont(1) || !cont(2))
                return nullptr;
            const char32_t cp = char32_t(c & 0x0F) << 12 | char32_t(u[1] & 0x3F) << 6 | (u[2] & 0x3F);
            if (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF))
                return nullptr;
            *out++ = char16_t(cp);
            p += 3;
        } else if (c >= 0xF0 && c <= 0xF4) {
            if (!cont(1) || !cont(2) || !cont(3))
                return nullptr;
            const char32_t cp = char32_t(c & 0x07) << 18 | char32_t(u[1] & 0x3F) << 12 | char32_t(u[2] & 0x3F) << 6
                | (u[3] & 0x3F);
            if (cp < 0x10000 || cp > 0x10FFFF)
                return nullptr;
            *out++ = char16_t(0xD800 + ((cp - 0x10000) >> 10));
            *out++ = char16_t(0xDC00 + ((cp - 0x10000) & 0x3FF));
            p += 4;
        } else {
            return nullptr;
        }
    }
    return out;
}

} // namespace JsonStringCodec
