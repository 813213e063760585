#include <algorithm>
#include <atomic>
#include <bit>
#include <charconv>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "FloatText.h"

// Offline check of FloatText::write against std::to_chars, too long for the
// test suite: every finite float ("all", on as many threads as given), or
// every n-th bit pattern plus the special ones ("stride n"). Each text must
// also read back to the same float. Prints the first few differences.
namespace {

std::atomic<std::uint64_t> g_failures{0};

bool check(std::uint32_t bits)
{
    const float f = std::bit_cast<float>(bits);
    char own[FloatText::kMaxLength + 32];
    char standard[64];
    char *ownEnd = FloatText::write(own, f);
    char *standardEnd = std::to_chars(standard, standard + sizeof standard, f).ptr;
    const std::string_view a(own, std::size_t(ownEnd - own));
    const std::string_view b(standard, std::size_t(standardEnd - standard));
    float back = 0;
    const auto r = std::from_chars(own, ownEnd, back);
    const bool ok = a == b && r.ec == std::errc() && r.ptr == ownEnd && std::bit_cast<std::uint32_t>(back) == bits;
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

} // namespace

int main(int argc, char **argv)
{
    const bool all = argc >= 2 && std::strcmp(argv[1], "all") == 0;
    const bool strided = argc >= 3 && std::strcmp(argv[1], "stride") == 0;
    if (!all && !strided) {
        std::fprintf(stderr, "usage: %s all [threads] | stride n\n", argv[0]);
        return 2;
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
