#include "HeapReserve.h"

#if defined(Q_OS_LINUX) && defined(__GLIBC__)
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <mutex>

namespace {

constexpr qsizetype smallest = 8 << 20;
constexpr std::uintptr_t hugePage = 2 << 20;
// glibc's defaults, restored afterwards.
constexpr int defaultTopPad = 128 * 1024;
constexpr int defaultMmapThreshold = 128 * 1024;
constexpr int defaultTrimThreshold = 128 * 1024;
// glibc's largest threshold for blocks of their own (64-bit).
constexpr int largestMmapThreshold = 32 << 20;

std::mutex &guard()
{
    static std::mutex m;
    return m;
}

int reserves = 0; // under guard()

} // namespace

HeapReserve::HeapReserve(qsizetype bytes)
{
    if (bytes < smallest || bytes > (qsizetype(1) << 30))
        return;
    const std::lock_guard lock(guard());
    m_active = true;
    if (reserves++ > 0)
        return;
    // Large blocks (the tab list) stay in the advised heap instead of
    // mappings of their own, and freeing does not give the range back early.
    mallopt(M_MMAP_THRESHOLD, largestMmapThreshold);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TOP_PAD, int(bytes));
    auto *before = static_cast<char *>(sbrk(0));
    // A block bigger than the free top makes the heap grow now, by the
    // padding; freed, it returns to the top.
    const size_t top = mallinfo2().keepcost;
    if (top + 65536 < size_t(largestMmapThreshold)) {
        void *volatile block = std::malloc(top + 65536); // volatile: not optimised away
        std::free(block);
    }
    auto *after = static_cast<char *>(sbrk(0));
    const auto from = (reinterpret_cast<std::uintptr_t>(before) + hugePage - 1) & ~(hugePage - 1);
    const auto to = reinterpret_cast<std::uintptr_t>(after) & ~(hugePage - 1);
    if (to > from)
        madvise(reinterpret_cast<void *>(from), to - from, MADV_HUGEPAGE);
}

HeapReserve::~HeapReserve()
{
    if (!m_active)
        return;
    const std::lock_guard lock(guard());
    if (--reserves > 0)
        return;
    mallopt(M_TOP_PAD, defaultTopPad);
    mallopt(M_MMAP_THRESHOLD, defaultMmapThreshold);
    mallopt(M_TRIM_THRESHOLD, defaultTrimThreshold);
}

#else

HeapReserve::HeapReserve(qsizetype) {}
HeapReserve::~HeapReserve() = default;

#endif
