#include <algorithm>
#include <atomic>
#include <bit>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "FloatText.h"

// Offline check of FloatText::write against std::to_chars, too long for the
// test suite: every finite float ("all", on as many threads as given), or
// every n-th bit pattern plus the special ones ("stride n"). Each text must
// also read back to the same float. "read n" checks FloatText::read against
// std::from_chars on n random decimal texts, many of them next to the
// midpoint between two floats. Prints the first few differences.
namespace {

std::atomic<std::uint64_t> g_failures{0};

bool check(std::uint32_t bits)
{
    const float f = std::bit_cast<float>(bits);
    // Read back as in a file, with more of an array behind it: the reader
    // looks ahead there. (Alone it takes the general way, which the
    // "read" check covers.)
    char own[FloatText::kMaxLength + 32];
    char standard[64];
    char *ownEnd = FloatText::write(own, f);
    char *standardEnd = std::to_chars(standard, standard + sizeof standard, f).ptr;
    const std::string_view a(own, std::size_t(ownEnd - own));
    const std::string_view b(standard, std::size_t(standardEnd - standard));
    std::memcpy(ownEnd, ",0.12345678901234567,1]", 24);
    float back = 0;
    const FloatText::ReadResult r = FloatText::read(own, ownEnd + 23, back);
    const bool ok = a == b && r.status == FloatText::ReadStatus::ok && r.end == ownEnd
        && std::bit_cast<std::uint32_t>(back) == bits;
    if (!ok && g_failures.fetch_add(1) < 20)
        std::printf("%08" PRIx32 ": %.*s, std::to_chars %.*s\n", bits, int(a.size()), a.data(), int(b.size()),
                    b.data());
    return ok;
}

// All finite floats of both signs whose pattern is congruent to `part`
// modulo `parts`.
std::uint64_t checkPart(std::uint32_t part, std::uint32_t parts, std::uint64_t stride)
{
    std::uint64_t n = 0;
    for (std::uint64_t bits = part * stride; bits < 0x7F800000u; bits += std::uint64_t(parts) * stride) {
        check(std::uint32_t(bits));
        check(std::uint32_t(bits) | 0x80000000u);
        n += 2;
    }
    return n;
}

// The number alone, and followed by more of an array, where the reader
// may look further ahead.
bool checkRead(const char *text)
{
    const std::size_t length = std::strlen(text);
    char buffer[96];
    std::snprintf(buffer, sizeof buffer, "%s,0.123456789012345678901,1]", text);
    bool ok = true;
    for (const char *end : {buffer + length, buffer + std::strlen(buffer)}) {
        float own = 0, standard = 0;
        const FloatText::ReadResult r = FloatText::read(buffer, end, own);
        const auto [ptr, ec] = std::from_chars(buffer, end, standard);
        const bool standardOk = ec == std::errc() && ptr == buffer + length;
        const bool ownOk = r.status == FloatText::ReadStatus::ok && r.end == buffer + length;
        ok = ok && (standardOk ? ownOk && std::bit_cast<std::uint32_t>(own) == std::bit_cast<std::uint32_t>(standard)
                               : !ownOk);
        if (!ok) {
            if (g_failures.fetch_add(1) < 20)
                std::printf("%s: %a, std::from_chars %a\n", text, double(own), double(standard));
            break;
        }
    }
    return ok;
}

constexpr std::uint64_t kPow10[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000,
                                    10000000000, 100000000000, 1000000000000, 10000000000000, 100000000000000,
                                    1000000000000000, 10000000000000000, 100000000000000000};

std::uint64_t checkReads(std::uint64_t n)
{
    std::mt19937_64 rng(12345);
    char text[64];
    for (std::uint64_t i = 0; i < n; ++i) {
        const std::uint64_t kind = rng() % 3;
        if (kind == 0) { // the midpoint between a float and the next, to 17 digits
            const auto bits = std::uint32_t(rng() % 0x7F7FFFFFu);
            const double low = double(std::bit_cast<float>(bits));
            const double high = double(std::bit_cast<float>(bits + 1));
            std::snprintf(text, sizeof text, "%.*g", int(rng() % 4) + 14, (low + high) / 2);
        } else if (kind == 1) { // like a vector's values
            const int width = int(rng() % 18) + 1;
            std::snprintf(text, sizeof text, "%s0.%0*llu", rng() % 2 ? "-" : "", width,
                          static_cast<unsigned long long>(rng() % kPow10[std::size_t(std::min(width, 17))]));
        } else { // up to 19 digits, a point and an exponent anywhere
            const int digits = int(rng() % 19) + 1;
            const std::uint64_t m = 1000000000000000000ull + rng() % 9000000000000000000ull; // no leading zero
            char d[24];
            std::snprintf(d, sizeof d, "%019llu", static_cast<unsigned long long>(m));
            const int point = int(rng() % std::uint64_t(digits + 1));
            std::snprintf(text, sizeof text, "%.*s.%.*se%d", point == 0 ? 1 : point, point == 0 ? "0" : d,
                          digits - point == 0 ? 1 : digits - point, point == digits ? "0" : d + point,
                          int(rng() % 100) - 55);
        }
        checkRead(text);
    }
    return n;
}

} // namespace

int main(int argc, char **argv)
{
    const bool all = argc >= 2 && std::strcmp(argv[1], "all") == 0;
    const bool strided = argc >= 3 && std::strcmp(argv[1], "stride") == 0;
    const bool reads = argc >= 3 && std::strcmp(argv[1], "read") == 0;
    if (!all && !strided && !reads) {
        std::fprintf(stderr, "usage: %s all [threads] | stride n | read n\n", argv[0]);
        return 2;
    }
    if (reads) {
        const std::uint64_t checked = checkReads(std::strtoull(argv[2], nullptr, 10));
        std::printf("%" PRIu64 " texts read, %" PRIu64 " differ\n", checked, g_failures.load());
        return g_failures.load() == 0 ? 0 : 1;
    }
    std::uint64_t checked = 0;
    if (all) {
        const unsigned threads = argc >= 3 ? unsigned(std::atoi(argv[2])) : 1;
        std::vector<std::uint64_t> counts(threads);
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < threads; ++t)
            workers.emplace_back([&, t] { counts[t] = checkPart(t, threads, 1); });
        for (std::thread &w : workers)
            w.join();
        for (const std::uint64_t c : counts)
            checked += c;
    } else {
        const auto stride = std::uint64_t(std::strtoull(argv[2], nullptr, 10));
        checked += checkPart(0, 1, stride == 0 ? 1 : stride);
        // Every power of two, the patterns around it, and the ends of the
        // subnormal and normal ranges.
        for (std::uint32_t field = 0; field < 255; ++field) {
            for (std::uint32_t low : {0u, 1u, 2u, 3u, 0x7FFFFDu, 0x7FFFFEu, 0x7FFFFFu}) {
                check(field << 23 | low);
                check(field << 23 | low | 0x80000000u);
                checked += 2;
            }
        }
    }
    std::printf("%" PRIu64 " floats checked, %" PRIu64 " differ\n", checked, g_failures.load());
    return g_failures.load() == 0 ? 0 : 1;
}
