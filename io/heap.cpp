#include "io/heap.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace ormavec::heap {

#if defined(__GLIBC__)

namespace {

enum class HugePages { Never, OnRequest, Always };

// The system's setting, the word in brackets of "always [madvise] never".
HugePages readSetting() noexcept {
    char text[128] = {};
    int fd = ::open("/sys/kernel/mm/transparent_hugepage/enabled", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return HugePages::Never;
    ssize_t n = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (n <= 0) return HugePages::Never;
    if (std::strstr(text, "[always]")) return HugePages::Always;
    if (std::strstr(text, "[madvise]")) return HugePages::OnRequest;
    return HugePages::Never;
}

// Each step of heap growth during a load: about what the load will hold
// (the model takes a little less than its file), within bounds. The part not
// yet touched costs no memory; the gain is that the kernel sees whole 2 MiB
// ranges to map at once, and that few steps happen between two advices.
constexpr int64_t kLeastStep = 16 << 20;
constexpr int64_t kMostStep = 256 << 20;
// Input left when the heap's rest goes back to small pages, and their size.
constexpr int64_t kTailInput = 4 << 20;
constexpr uintptr_t kHugePage = 2 << 20;
// The allocator's own value, documented for M_TOP_PAD.
constexpr int kUsualTopPad = 128 << 10;

struct State {
    std::mutex lock;
    HugePages setting = HugePages::Never;
    bool known = false;
    int loads = 0;
    uintptr_t advisedEnd = 0;
    bool tail = false;  // the end of the load's input is near
};

State& state() noexcept {
    static State s;
    return s;
}

uintptr_t pageSize() noexcept {
    static const uintptr_t size = static_cast<uintptr_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

uintptr_t currentBreak() noexcept { return reinterpret_cast<uintptr_t>(::sbrk(0)); }

void adviseLocked(State& s) noexcept {
    const uintptr_t end = currentBreak();
    if (end == static_cast<uintptr_t>(-1)) return;
    if (end <= s.advisedEnd) {
        // The heap was trimmed: what grows again from here needs advice.
        s.advisedEnd = end & ~(pageSize() - 1);
        return;
    }
    const uintptr_t from = s.advisedEnd & ~(pageSize() - 1);
    ::madvise(reinterpret_cast<void*>(from), end - from, MADV_HUGEPAGE);
    s.advisedEnd = end;
}

// Makes the allocator take its next growth step now, so that the step is
// advised before anything lands on it: small blocks are taken from the top
// of the heap until the break moves, then given back (they join the top
// again, which the large pad keeps).
void growNow() noexcept {
    // Below the size the allocator maps on its own. The top left after a
    // trim is a few of them; a thread of another arena gives up after 1 MiB.
    constexpr std::size_t kPiece = 64 << 10;
    constexpr int kMostPieces = 16;
    void* pieces[kMostPieces];
    int n = 0;
    for (const uintptr_t before = currentBreak(); n < kMostPieces && currentBreak() == before; ++n)
        if (!(pieces[n] = std::malloc(kPiece))) break;
    while (n > 0) std::free(pieces[--n]);
}

}  // namespace

bool BeginLoad(int64_t inputBytes) noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.known) {
        s.setting = readSetting();
        s.known = true;
    }
    if (s.setting == HugePages::Never || inputBytes < (1 << 20)) return false;
    if (s.loads++ == 0) {
        ::mallopt(M_TOP_PAD, static_cast<int>(std::clamp(inputBytes, kLeastStep, kMostStep)));
        if (s.setting == HugePages::OnRequest) {
            // What the heap holds already is not advised again.
            s.tail = false;
            s.advisedEnd = currentBreak();
            growNow();
            adviseLocked(s);
        }
    }
    return true;
}

void EndLoad() noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.loads == 0) return;
    if (s.setting == HugePages::OnRequest && !s.tail) adviseLocked(s);
    if (--s.loads == 0) ::mallopt(M_TOP_PAD, kUsualTopPad);
}

void Advise(int64_t inputLeft) noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.loads == 0 || s.setting != HugePages::OnRequest || s.tail) return;
    adviseLocked(s);
    if (inputLeft >= kTailInput || s.loads > 1) return;
    // The free top of the heap starts where the last allocation ends; huge
    // pages stay for the one holding that point, which the rest of the load
    // is likely to fill.
    s.tail = true;
#if __GLIBC_PREREQ(2, 33)
    const uintptr_t end = currentBreak();
    const uintptr_t top = end - ::mallinfo2().keepcost;
    const uintptr_t from = (top + kHugePage - 1) & ~(kHugePage - 1);
    if (from < end) ::madvise(reinterpret_cast<void*>(from), end - from, MADV_NOHUGEPAGE);
#endif
}

#else  // another allocator: its growth is left as it is

bool BeginLoad(int64_t) noexcept { return false; }
void EndLoad() noexcept {}
void Advise(int64_t) noexcept {}

#endif

}  // namespace ormavec::heap
