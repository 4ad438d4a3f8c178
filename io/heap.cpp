#include "io/heap.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

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
// How far ahead of the allocator the helper thread maps pages, and the
// smallest input worth a thread.
constexpr uintptr_t kPrefaultLead = 16 << 20;
constexpr int64_t kPrefaultInput = 16 << 20;
// Input read between two moves of its goal: finding the allocator's top
// walks its free lists, too dear for every megabyte.
constexpr int64_t kPrefaultStep = 2 << 20;

struct State {
    std::mutex lock;
    HugePages setting = HugePages::Never;
    bool known = false;
    int loads = 0;
    uintptr_t advisedEnd = 0;
    bool tail = false;  // the end of the load's input is near
    // The kernel zeroes a page when it is first touched: a third of a fresh
    // process's load went to that. A helper thread touches the pages just
    // ahead of the allocator's top instead, while the load parses, asking
    // the kernel to map them without writing to them (memory the allocator
    // owns is never written by the helper).
    std::thread prefaulter;
    std::condition_variable wake;
    uintptr_t prefaultTarget = 0;
    uintptr_t prefaulted = 0;
    int64_t aimedAtInputLeft = 0;
    // Bumped to stop the helper: a new load may start the next one before
    // the last has seen that it is to stop.
    uint64_t prefaultRun = 0;
    bool canPrefault = true;  // false once the kernel refused
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

// The top of the allocator's heap: where its next allocations land.
uintptr_t heapTop(uintptr_t end) noexcept {
#if __GLIBC_PREREQ(2, 33)
    return end - ::mallinfo2().keepcost;
#else
    return end;
#endif
}

void prefaultLoop(State& s, uint64_t run) noexcept {
    std::unique_lock<std::mutex> guard(s.lock);
    for (;;) {
        s.wake.wait(guard, [&] { return s.prefaultRun != run || s.prefaulted < s.prefaultTarget; });
        if (s.prefaultRun != run) return;
        // A huge page at a time, so that a growth of the heap (which waits
        // for the mapping lock) is never held up for long.
        const uintptr_t from = s.prefaulted;
        const uintptr_t to = std::min(s.prefaultTarget, (from + kHugePage) & ~(kHugePage - 1));
        guard.unlock();
        const int result = ::madvise(reinterpret_cast<void*>(from), to - from, MADV_POPULATE_WRITE);
        const int error = result == 0 ? 0 : errno;
        guard.lock();
        // EINVAL: a kernel without the request; ENOMEM: the heap was trimmed
        // below the range, which is then left alone.
        if (error == EINVAL) s.canPrefault = false;
        s.prefaulted = std::max(s.prefaulted, to);
    }
}

// Moves the helper's goal to a little ahead of the allocator's top, but no
// further than the input still to come can fill, so that the pages mapped
// and never used stay few.
void aimPrefaultLocked(State& s, int64_t inputLeft) noexcept {
    if (!s.prefaulter.joinable() || !s.canPrefault) return;
    if (s.aimedAtInputLeft - inputLeft < kPrefaultStep && s.prefaultTarget != 0) return;
    s.aimedAtInputLeft = inputLeft;
    const uintptr_t end = currentBreak();
    if (end == static_cast<uintptr_t>(-1)) return;
    const uintptr_t top = heapTop(end);
    const uintptr_t lead = std::min<uintptr_t>(kPrefaultLead, static_cast<uintptr_t>(std::max<int64_t>(inputLeft, 0)) / 2);
    const uintptr_t target = std::min(end, top + lead) & ~(pageSize() - 1);
    if (target <= s.prefaulted) return;
    s.prefaulted = std::max(s.prefaulted, top & ~(pageSize() - 1));
    if (target <= s.prefaulted) return;
    s.prefaultTarget = target;
    s.wake.notify_all();
}

void startPrefault(State& s, int64_t inputBytes) noexcept {
    if (!s.canPrefault || inputBytes < kPrefaultInput || std::thread::hardware_concurrency() < 2) return;
    s.prefaulted = s.prefaultTarget = 0;
    s.aimedAtInputLeft = 0;
    try {
        s.prefaulter = std::thread(prefaultLoop, std::ref(s), ++s.prefaultRun);
    } catch (...) {
        // No thread to be had: the load goes on without one.
    }
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
        startPrefault(s, inputBytes);
        aimPrefaultLocked(s, inputBytes);
    }
    return true;
}

void EndLoad() noexcept {
    State& s = state();
    std::thread helper;
    {
        std::lock_guard<std::mutex> guard(s.lock);
        if (s.loads == 0) return;
        if (s.setting == HugePages::OnRequest && !s.tail) adviseLocked(s);
        if (--s.loads == 0) {
            ::mallopt(M_TOP_PAD, kUsualTopPad);
            ++s.prefaultRun;
            s.wake.notify_all();
            helper = std::move(s.prefaulter);
        }
    }
    if (helper.joinable()) helper.join();
}

void Advise(int64_t inputLeft) noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.loads == 0 || s.tail) return;
    if (s.setting == HugePages::OnRequest) adviseLocked(s);
    if (inputLeft >= kTailInput) aimPrefaultLocked(s, inputLeft);
    if (s.setting != HugePages::OnRequest || inputLeft >= kTailInput || s.loads > 1) return;
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
