#include "FloatText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

// Writing: the float's rounding interval, scaled by a power of ten so that
// it is one to ten units wide, holds at most one multiple of ten; that one,
// when there is one, has the fewest digits, else the integer closest to the
// float does. The scaling multiplies by a 64-bit power of ten rounded up and
// keeps a sticky bit of what was cut off, which is exact enough for every
// comparison with the interval's bounds (checked against std::to_chars on
// every float by bench/library/VerifyFloatText). The digits then go out in
// the form std::to_chars chooses.

namespace {

__extension__ typedef unsigned __int128 u128;

// floor(10^-k × 2^(63 - r)) + 1 for k = kMinK…31, where 2^r <= 10^-k < 2^(r+1):
// the powers of ten the scaling needs, between 2^63 and 2^64, rounded up.
constexpr int kMinK = -45;
constexpr std::uint64_t kScale[] = {
    0xB35DBF821AE4F38C, 0x8F7E32CE7BEA5C70, 0xE596B7B0C643C71A,
    0xB7ABC627050305AE, 0x92EFD1B8D0CF37BF, 0xEB194F8E1AE525FE,
    0xBC143FA4E250EB32, 0x96769950B50D88F5, 0xF0BDC21ABB48DB21,
    0xC097CE7BC90715B4, 0x9A130B963A6C115D, 0xF684DF56C3E01BC7,
    0xC5371912364CE306, 0x9DC5ADA82B70B59E, 0xFC6F7C4045812297,
    0xC9F2C9CD04674EDF, 0xA18F07D736B90BE6, 0x813F3978F8940985,
    0xCECB8F27F4200F3B, 0xA56FA5B99019A5C9, 0x84595161401484A1,
    0xD3C21BCECCEDA101, 0xA968163F0A57B401, 0x878678326EAC9001,
    0xD8D726B7177A8001, 0xAD78EBC5AC620001, 0x8AC7230489E80001,
    0xDE0B6B3A76400001, 0xB1A2BC2EC5000001, 0x8E1BC9BF04000001,
    0xE35FA931A0000001, 0xB5E620F480000001, 0x9184E72A00000001,
    0xE8D4A51000000001, 0xBA43B74000000001, 0x9502F90000000001,
    0xEE6B280000000001, 0xBEBC200000000001, 0x9896800000000001,
    0xF424000000000001, 0xC350000000000001, 0x9C40000000000001,
    0xFA00000000000001, 0xC800000000000001, 0xA000000000000001,
    0x8000000000000001, 0xCCCCCCCCCCCCCCCD, 0xA3D70A3D70A3D70B,
    0x83126E978D4FDF3C, 0xD1B71758E219652C, 0xA7C5AC471B478424,
    0x8637BD05AF6C69B6, 0xD6BF94D5E57A42BD, 0xABCC77118461CEFD,
    0x89705F4136B4A598, 0xDBE6FECEBDEDD5BF, 0xAFEBFF0BCB24AAFF,
    0x8CBCCC096F5088CC, 0xE12E13424BB40E14, 0xB424DC35095CD810,
    0x901D7CF73AB0ACDA, 0xE69594BEC44DE15C, 0xB877AA3236A4B44A,
    0x9392EE8E921D5D08, 0xEC1E4A7DB69561A6, 0xBCE5086492111AEB,
    0x971DA05074DA7BEF, 0xF1C90080BAF72CB2, 0xC16D9A0095928A28,
    0x9ABE14CD44753B53, 0xF79687AED3EEC552, 0xC612062576589DDB,
    0x9E74D1B791E07E49, 0xFD87B5F28300CA0E, 0xCAD2F7F5359A3B3F,
    0xA2425FF75E14FC32, 0x81CEB32C4B43FCF5,
};

constexpr std::array<std::uint64_t, 20> kPow10u = [] {
    std::array<std::uint64_t, 20> p{};
    p[0] = 1;
    for (std::size_t i = 1; i < p.size(); ++i)
        p[i] = p[i - 1] * 10;
    return p;
}();

int decimalDigits(std::uint64_t v)
{
    const int t = (std::bit_width(v) * 1233) >> 12; // about log10(2) per bit
    return t + (v >= kPow10u[std::size_t(t)] ? 1 : 0) + (v == 0 ? 1 : 0);
}

constexpr char kPairs[] = "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
                          "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
                          "8081828384858687888990919293949596979899";

// Eight decimal digits of n < 10^8 as the bytes of one word, in reading
// order in memory: the digit pairs, then the digits, split by multiplying
// with fixed-point reciprocals in all lanes at once.
std::uint64_t eightDigits(std::uint32_t n)
{
    const std::uint64_t halves = n / 10000 | std::uint64_t(n % 10000) << 32;
    std::uint64_t pairs = ((halves * 10486) >> 20) & (0x7FULL << 32 | 0x7FULL);
    pairs |= (halves - pairs * 100) << 16;
    std::uint64_t singles = ((pairs * 103) >> 10) & (0xFULL << 48 | 0xFULL << 32 | 0xFULL << 16 | 0xFULL);
    singles |= (pairs - singles * 10) << 8;
    return singles | 0x3030303030303030;
}

// Stores the nd digits of m (< 10^10, nd its length) at to, and may store
// up to ten bytes beyond them. Kept in registers: the pieces stored one by
// one and read back as a block would stall the processor.
void putDigits(char *to, std::uint64_t m, int nd)
{
    const auto high = std::uint32_t(m / 100000000); // 0…99
    const int highDigits = nd > 8 ? nd - 8 : 0;
    std::memcpy(to, kPairs + 2 * high + (2 - highDigits), 2); // overwritten when unused
    const std::uint64_t low = eightDigits(std::uint32_t(m % 100000000)) >> (8 * (8 - nd + highDigits));
    std::memcpy(to + highDigits, &low, 8);
}

// The text std::to_chars gives for m × 10^e (m without trailing zeros,
// below 10^10), where whole is the float's exact value when that is a whole
// number, else 0: like printf, a whole number in fixed form shows all its
// digits, not the shortest ones padded with zeros. Stores up to 28 bytes;
// returns the end of the text.
char *format(char *out, bool negative, std::uint64_t m, int e, std::uint64_t whole)
{
    const int nd = decimalDigits(m);
    const int x = e + nd - 1; // exponent of the scientific form
    const int absX = x < 0 ? -x : x;
    const int sciLength = nd + (nd > 1 ? 1 : 0) + 2 + (absX >= 100 ? 3 : 2);
    const int fixedLength = e >= 0 ? nd + e : (x >= 0 ? nd + 1 : nd + 1 - x);
    *out = '-';
    out += negative;
    if (fixedLength <= sciLength) {
        if (x < 0 && fixedLength >= 9) { // 0.000ddd, room for nine digits with leading zeros
            // The digits do not depend on their count this way, only where
            // they go does; "0." comes last, over the leading zeros.
            char *const end = out + fixedLength;
            std::memcpy(out, "0.00000000000000", 16);
            const auto high = std::uint32_t(m / 100000000); // m < 10^9
            const std::uint64_t low = eightDigits(std::uint32_t(m % 100000000));
            end[-9] = char('0' + high);
            std::memcpy(end - 8, &low, 8);
            std::memcpy(out, "0.", 2);
        } else if (x < 0) { // 0.000ddd, short
            std::memcpy(out, "0.00000000000000", 16);
            putDigits(out + fixedLength - nd, m, nd);
        } else if (e > 0 && whole != 0) { // rare: from 2^24 up to 10^14
            return std::to_chars(out, out + 20, whole).ptr;
        } else if (e >= 0) { // ddd000
            putDigits(out, m, nd);
            std::memcpy(out + nd, "0000000000000000", 16);
        } else { // dd.ddd
            putDigits(out + 1, m, nd);
            std::memmove(out, out + 1, std::size_t(x + 1));
            out[x + 1] = '.';
        }
        return out + fixedLength;
    }
    putDigits(out + 1, m, nd); // d.ddd: the first digit moves before the point
    out[0] = out[1];
    out[1] = '.';
    out += nd > 1 ? nd + 1 : 1;
    *out++ = 'e';
    *out++ = x < 0 ? '-' : '+';
    if (absX >= 100)
        *out++ = char('0' + absX / 100);
    std::memcpy(out, kPairs + 2 * (absX % 100), 2);
    return out + 2;
}

// floor(log10(2^q)), floor(log10(3/4 × 2^q)) and floor(log2(10^e)) for the
// exponents of floats.
int floorLog10Pow2(int q)
{
    return (q * 78913) >> 18;
}

int floorLog10ThreeQuartersPow2(int q)
{
    return (q * 78913 - 32752) >> 18;
}

int floorLog2Pow10(int e)
{
    return (e * 1741647) >> 19;
}

// g × cp / 2^96, with the lowest bit set when anything was cut off, so
// that comparisons with exact multiples of four come out right.
std::uint64_t scaledRoundToOdd(std::uint64_t g, std::uint64_t cp)
{
    const auto high = std::uint64_t((u128(g) * cp) >> 64);
    return (high >> 32) | (((high & 0xFFFFFFFF) + 0xFFFFFFFF) >> 32);
}

struct Decimal
{
    std::uint64_t digits;
    int exponent;
};

// The shortest decimal digits × 10^exponent that read back as c × 2^q, the
// closest to it among those, ties to an even last digit.
Decimal shortest(std::uint64_t c, int q)
{
    // Bounds of the rounding interval, in quarter units of 2^q; the one of
    // a power of two is half as wide below. Readers round ties to even, so
    // the bounds belong to the interval when c is even.
    const std::uint64_t open = c & 1;
    const std::uint64_t cb = c << 2;
    const std::uint64_t cbr = cb + 2;
    const bool lopsided = c == 0x800000 && q > -149;
    const std::uint64_t cbl = lopsided ? cb - 1 : cb - 2;
    const int k = lopsided ? floorLog10ThreeQuartersPow2(q) : floorLog10Pow2(q);
    const int h = q + floorLog2Pow10(-k) + 33;
    const std::uint64_t g = kScale[k - kMinK];
    const std::uint64_t vb = scaledRoundToOdd(g, cb << h);
    const std::uint64_t vbl = scaledRoundToOdd(g, cbl << h);
    const std::uint64_t vbr = scaledRoundToOdd(g, cbr << h);

    // Which candidate wins is as good as random for the values of a text
    // vector, so all are worked out and picked by arithmetic, not by jumps
    // (which the compiler would otherwise choose).
    const std::uint64_t s = vb >> 2;
    const std::uint64_t s10 = s / 10;
    const std::uint64_t t = s + 1;
    const bool lowIn10 = s >= 10 && vbl + open <= s10 * 40;
    const bool highIn10 = s >= 10 && (s10 + 1) * 40 + open <= vbr;
    const bool lowIn = vbl + open <= s << 2;
    const bool highIn = (t << 2) + open <= vbr;
    const auto cmp = std::int64_t(vb) - std::int64_t((s + t) << 1);
    const bool roundUp = (cmp > 0) | ((cmp == 0) & (s % 2 == 1));
    const bool oneIn = lowIn != highIn;
    const std::uint64_t one = s + std::uint64_t((oneIn & !lowIn) | (!oneIn & roundUp));
    const std::uint64_t ten = s10 + std::uint64_t(!lowIn10);
    const bool useTen = lowIn10 != highIn10;
    const std::uint64_t mask = 0 - std::uint64_t(useTen);
    return {one ^ ((one ^ ten) & mask), k + int(useTen)};
}

// What the text of a finite float is made of.
struct TextParts
{
    std::uint64_t digits; // without trailing zeros; 0 for a zero
    int exponent;
    std::uint64_t whole; // see format()
    bool negative;
};

TextParts textParts(float f)
{
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(f);
    const bool negative = bits >> 31;
    if (f == 0.0f)
        return {0, 0, 0, negative};
    const std::uint32_t field = (bits >> 23) & 0xFF;
    const std::uint32_t fraction = bits & 0x7FFFFF;
    const std::uint64_t c = field == 0 ? fraction : fraction | 0x800000;
    const int q = field == 0 ? -149 : int(field) - 150;
    Decimal d = shortest(c, q);
    // One more zero is common enough to be dropped without a jump.
    const std::uint64_t tenth = d.digits / 10;
    const bool zero = tenth * 10 == d.digits;
    d.digits ^= (d.digits ^ tenth) & (0 - std::uint64_t(zero));
    d.exponent += int(zero);
    while (d.digits % 10 == 0) {
        d.digits /= 10;
        ++d.exponent;
    }
    // Whole numbers that need more than the 24 bits are below 2^64 wherever
    // the fixed form is chosen; whole is only looked at there.
    const std::uint64_t whole = q >= 0 && q < 40 ? c << q : 0;
    return {d.digits, d.exponent, whole, negative};
}

char *put(char *out, const TextParts &t)
{
    if (t.digits == 0) {
        *out = '-';
        out += t.negative;
        *out++ = '0';
        return out;
    }
    return format(out, t.negative, t.digits, t.exponent, t.whole);
}

} // namespace

namespace FloatText {

char *write(char *out, float f)
{
    return put(out, textParts(f));
}

char *writeList(char *out, const float *begin, const float *end)
{
    // In blocks: first every value's digits, then every text. Each step is
    // a long chain of multiplications; apart, the processor can work on
    // several values at once.
    constexpr std::ptrdiff_t kBlock = 32;
    TextParts parts[kBlock];
    for (const float *p = begin; p < end; p += kBlock) {
        const std::ptrdiff_t n = std::min(kBlock, end - p);
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            if (!std::isfinite(p[i]))
                return nullptr;
            parts[i] = textParts(p[i]);
        }
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            out = put(out, parts[i]);
            *out++ = ',';
        }
    }
    return begin == end ? out : out - 1;
}

} // namespace FloatText
