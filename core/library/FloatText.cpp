#include "FloatText.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

// Writing: for the floats that text vectors hold (about 1e-17 up to 8e6),
// at a decimal scale where the float's rounding interval is a few units
// wide, the integers in the interval are the candidates; the one with the
// most trailing zeros is the shortest text, and among equals the one closest
// to the float. Doubles find it nearly always; where they come too close to
// a decision, exact 128-bit integers do. Everything else goes to
// std::to_chars, whose form the output copies.
//
// Reading: Clinger's fast path through a double, which is exact whenever the
// digits fit in 53 bits and the power of ten is exact; rounding that double
// to float is then exact unless it lies on the midpoint between two floats,
// which goes to std::from_chars like every other unusual number.

namespace {

__extension__ typedef unsigned __int128 u128;

constexpr std::array<u128, 27> kPow10 = [] {
    std::array<u128, 27> p{};
    p[0] = 1;
    for (std::size_t i = 1; i < p.size(); ++i)
        p[i] = p[i - 1] * 10;
    return p;
}();

constexpr std::array<double, 12> kInversePow10 = {1e0,  1e-1, 1e-2, 1e-3, 1e-4,  1e-5,
                                                  1e-6, 1e-7, 1e-8, 1e-9, 1e-10, 1e-11};

constexpr std::array<double, 23> kExactPow10 = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                                1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// Binary exponents (of the 24-bit integer significand) the exact path takes.
constexpr int kMinExponent = -80;
constexpr int kMaxExponent = -1;

constexpr std::array<std::uint64_t, 20> kPow10u = [] {
    std::array<std::uint64_t, 20> p{};
    p[0] = 1;
    for (std::size_t i = 1; i < p.size(); ++i)
        p[i] = p[i - 1] * 10;
    return p;
}();

// Candidates stay below 2^35, so at most eleven zeros can end one.
constexpr int kMaxZeros = 11;

// Division by a constant compiles to a multiplication; by a variable it
// would cost more than the rest of the conversion.
std::uint64_t divPow10(std::uint64_t x, int n)
{
    switch (n) {
    case 0: return x;
    case 1: return x / 10;
    case 2: return x / 100;
    case 3: return x / 1000;
    case 4: return x / 10000;
    case 5: return x / 100000;
    case 6: return x / 1000000;
    case 7: return x / 10000000;
    case 8: return x / 100000000;
    case 9: return x / 1000000000;
    case 10: return x / 10000000000;
    default: return x / 100000000000;
    }
}

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
// below 10^10). Stores up to 28 bytes; returns the end of the text.
char *format(char *out, bool negative, std::uint64_t m, int e)
{
    const int nd = decimalDigits(m);
    const int x = e + nd - 1; // exponent of the scientific form
    const int absX = x < 0 ? -x : x;
    const int sciLength = nd + (nd > 1 ? 1 : 0) + 2 + (absX >= 100 ? 3 : 2);
    const int fixedLength = e >= 0 ? nd + e : (x >= 0 ? nd + 1 : nd + 1 - x);
    *out = '-';
    out += negative;
    if (fixedLength <= sciLength) {
        if (x < 0) { // 0.000ddd
            std::memcpy(out, "0.00000000000000", 16);
            putDigits(out + fixedLength - nd, m, nd);
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

// The usual case in doubles: the scaled value is off by less than 2^-23
// units, and every decision that comes within kDoubt of changing is left to
// the exact path (nullptr). Powers of two, whose interval is lopsided, too.
char *writeFast(char *out, float f)
{
    constexpr double kDoubt = 1e-6;
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(f);
    const std::uint32_t field = (bits >> 23) & 0xFF;
    const int q = int(field) - 150;
    if (q < kMinExponent || q > kMaxExponent || (bits & 0x7FFFFF) == 0)
        return nullptr;
    const bool negative = bits >> 31;
    const int k = ((1 - q) * 78913 >> 18) + 1; // interval 2…20 units wide
    if (k >= int(kExactPow10.size()))
        return nullptr;
    const double v = double(negative ? -f : f) * kExactPow10[std::size_t(k)];
    const double half = kExactPow10[std::size_t(k)] * std::bit_cast<double>(std::uint64_t(1023 + q - 1) << 52);

    // The closest multiple of 10^z for z = 0, 1, 2, side by side and without
    // jumps (which of them stays inside is random); more zeros are rare.
    // Signed conversions: the unsigned ones cost more on x86-64.
    const double s0 = v + 0.5;
    const double s1 = v * 0.1 + 0.5;
    const double s2 = v * 0.01 + 0.5;
    const auto r0 = std::int64_t(s0);
    const auto r1 = std::int64_t(s1);
    const auto r2 = std::int64_t(s2);
    const double f0 = s0 - double(r0);
    const double f1 = (s1 - double(r1)) * 10;
    const double f2 = (s2 - double(r2)) * 100;
    const double d0 = std::abs(double(r0) - v);
    const double d1 = std::abs(double(r1) * 10 - v);
    const double d2 = std::abs(double(r2) * 100 - v);
    // Halfway between two multiples, or on the edge of the interval.
    bool doubt = (f0 < kDoubt) | (f0 > 1 - kDoubt) | (f1 < kDoubt) | (f1 > 10 - kDoubt) | (f2 < kDoubt)
        | (f2 > 100 - kDoubt) | (std::abs(d0 - half) < kDoubt) | (std::abs(d1 - half) < kDoubt)
        | (std::abs(d2 - half) < kDoubt);
    const bool one = d1 < half;
    const bool two = one & (d2 < half);
    std::int64_t best = two ? r2 : (one ? r1 : r0);
    int zeros = int(one) + int(two);
    if (two) [[unlikely]] {
        for (int z = 3; z <= kMaxZeros; ++z) {
            const double scaled = v * kInversePow10[std::size_t(z)] + 0.5;
            const auto rounded = std::int64_t(scaled);
            const double unit = kExactPow10[std::size_t(z)];
            const double tie = (scaled - double(rounded)) * unit;
            const double distance = std::abs(double(rounded) * unit - v);
            doubt |= (tie < kDoubt) | (tie > unit - kDoubt) | (std::abs(distance - half) < kDoubt);
            if (distance > half)
                break;
            best = rounded;
            zeros = z;
        }
    }
    if (doubt || d0 > half) [[unlikely]]
        return nullptr;
    while (best % 10 == 0) { // only where a doubt was near
        best /= 10;
        ++zeros;
    }
    return format(out, negative, std::uint64_t(best), zeros - k);
}

// Shortest text through the exact path; nullptr when f is outside its range.
char *writeExact(char *out, float f)
{
    const std::uint32_t bits = std::bit_cast<std::uint32_t>(f);
    const std::uint32_t field = (bits >> 23) & 0xFF;
    if (field == 0)
        return nullptr;
    const int q = int(field) - 150;
    if (q < kMinExponent || q > kMaxExponent)
        return nullptr;
    const std::uint64_t c = (bits & 0x7FFFFF) | 0x800000;
    const bool negative = bits >> 31;

    // Scale 10^k makes the interval 10^k × 2^q between 2 and 20 units wide.
    const int k = ((1 - q) * 78913 >> 18) + 1;
    const int s = 2 - q; // the bounds below are in units of 2^-s × 10^-k
    const bool irregular = c == 0x800000 && field > 1; // the gap below is half as wide
    const u128 p = kPow10[std::size_t(k)];
    const u128 value = u128(4 * c) * p;
    const u128 low = u128(4 * c - (irregular ? 1 : 2)) * p;
    const u128 high = u128(4 * c + 2) * p;
    const bool closed = c % 2 == 0; // readers round ties to even

    const u128 mask = (u128(1) << s) - 1;
    u128 first = (low + mask) >> s;
    if (!closed && (first << s) == low)
        ++first;
    u128 last = high >> s;
    if (!closed && (last << s) == high)
        --last;
    if (first > last)
        return nullptr;
    const auto lo = std::uint64_t(first);
    const auto hi = std::uint64_t(last);
    int zeros = 0;
    while (zeros < kMaxZeros && divPow10(hi, zeros + 1) * kPow10u[std::size_t(zeros + 1)] >= lo)
        ++zeros;
    // Of the multiples of 10^zeros inside, the one closest to the value.
    const std::uint64_t step = kPow10u[std::size_t(zeros)];
    const std::uint64_t below = divPow10(std::uint64_t(value >> s), zeros) * step;
    const std::uint64_t above = below + step;
    std::uint64_t chosen = below;
    if (below < lo) {
        chosen = above;
    } else if (above <= hi) {
        const u128 dBelow = value - (u128(below) << s);
        const u128 dAbove = (u128(above) << s) - value;
        if (dAbove < dBelow || (dAbove == dBelow && divPow10(below, zeros) % 2 == 1))
            chosen = above;
    }
    std::uint64_t m = divPow10(chosen, zeros);
    int e = zeros - k;
    while (m % 10 == 0) { // a power of ten reached by rounding up
        m /= 10;
        ++e;
    }
    return format(out, negative, m, e);
}

// Whether the eight bytes of w are all ASCII digits.
bool eightDigits(std::uint64_t w)
{
    return (((w + 0x4646464646464646) | (w - 0x3030303030303030)) & 0x8080808080808080) == 0;
}

// The number eight ASCII digits in reading order stand for: pairs, then
// quadruples, combined in all lanes at once.
std::uint32_t valueOfEightDigits(std::uint64_t w)
{
    w -= 0x3030303030303030;
    w = w * 10 + (w >> 8);
    w = ((w & 0x000000FF000000FF) * (100 + (1000000ULL << 32))
         + ((w >> 16) & 0x000000FF000000FF) * (1 + (10000ULL << 32)))
        >> 32;
    return std::uint32_t(w);
}

} // namespace

namespace FloatText {

char *write(char *out, float f)
{
    if (f == 0.0f) {
        if (std::signbit(f))
            *out++ = '-';
        *out++ = '0';
        return out;
    }
    if (char *end = writeFast(out, f))
        return end;
    if (char *end = writeExact(out, f))
        return end;
    return std::to_chars(out, out + kMaxLength, f).ptr;
}

ReadResult read(const char *begin, const char *end, float &out)
{
    const char *p = begin;
    auto digit = [&] { return p < end && unsigned(*p - '0') < 10; };
    const bool negative = p < end && *p == '-';
    if (negative)
        ++p;
    if (!digit())
        return {p, ReadStatus::notANumber};

    // All digits go into the mantissa, leading zeros of a fraction too;
    // beyond 19 of them it may wrap, and only the slow path reads it.
    std::uint64_t mantissa = 0;
    int digits = 0;
    int exponent = 0;
    if (*p == '0') {
        ++p;
    } else {
        const char *first = p;
        while (digit())
            mantissa = mantissa * 10 + unsigned(*p++ - '0');
        digits = int(p - first);
    }
    if (p < end && *p == '.') {
        ++p;
        if (!digit())
            return {p, ReadStatus::notANumber};
        const char *first = p;
        std::uint64_t w;
        while (end - p >= 8 && (std::memcpy(&w, p, 8), eightDigits(w))) {
            mantissa = mantissa * 100000000 + valueOfEightDigits(w);
            p += 8;
        }
        while (digit())
            mantissa = mantissa * 10 + unsigned(*p++ - '0');
        digits += int(p - first);
        exponent = -int(p - first);
    }
    if (p < end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool negativeExponent = false;
        if (p < end && (*p == '+' || *p == '-'))
            negativeExponent = *p++ == '-';
        if (!digit())
            return {p, ReadStatus::notANumber};
        int e = 0;
        while (digit()) {
            if (e < 100000)
                e = e * 10 + (*p - '0');
            ++p;
        }
        exponent += negativeExponent ? -e : e;
    }

    if (digits <= 19 && mantissa == 0) {
        out = negative ? -0.0f : 0.0f;
        return {p, ReadStatus::ok};
    }
    if (digits <= 19 && mantissa <= (std::uint64_t(1) << 53) && exponent >= -22 && exponent <= 22) {
        double d = double(std::int64_t(mantissa));
        d = exponent < 0 ? d / kExactPow10[std::size_t(-exponent)] : d * kExactPow10[std::size_t(exponent)];
        if (d >= double(std::numeric_limits<float>::min()) && d <= double(std::numeric_limits<float>::max())) {
            // The 29 bits a double has beyond a normal float: exactly one
            // half there is a tie the double may have made up.
            if ((std::bit_cast<std::uint64_t>(d) & 0x1FFFFFFF) != 0x10000000) {
                const float f = float(d);
                out = negative ? -f : f;
                return {p, ReadStatus::ok};
            }
        }
    }
    float f = 0;
    const auto [ptr, ec] = std::from_chars(begin, p, f);
    if (ec != std::errc() || ptr != p)
        return {p, ReadStatus::outOfRange};
    out = f;
    return {p, ReadStatus::ok};
}

} // namespace FloatText
