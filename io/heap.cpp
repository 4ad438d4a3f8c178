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
// Mapping ahead: for inputs from this size on, at most this much heap ahead
// of its use, looked at after each such part of the input.
constexpr int64_t kLeastPrefaultInput = 8 << 20;
constexpr uintptr_t kAhead = 8 << 20;
constexpr int64_t kAskEvery = 512 << 10;

// Maps the heap's next pages from another thread while the load parses. A
// page the process touches first costs its zeroing in the kernel, a third or
// more of a first load's time; asked for ahead of use, that cost goes to the
// other core. The asking never changes what the pages hold, so it is safe
// beside the allocator's own use of them, and a range the heap gave back
// just fails.
class Prefault {
public:
    // False where there is no other core to do it on.
    static bool Worthwhile() noexcept { return std::thread::hardware_concurrency() > 1; }
    void Start(uintptr_t from) {
        std::lock_guard<std::mutex> guard(lock_);
        done_ = target_ = from;
        stop_ = false;
        thread_ = std::thread([this] { run(); });
    }
    // Pages up to `to` are wanted soon.
    void Ask(uintptr_t to) noexcept {
        {
            std::lock_guard<std::mutex> guard(lock_);
            if (to <= target_) return;
            target_ = to;
        }
        wake_.notify_one();
    }
    void Stop() noexcept {
        if (!thread_.joinable()) return;
        {
            std::lock_guard<std::mutex> guard(lock_);
            stop_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }
    bool Running() const noexcept { return thread_.joinable(); }

private:
#ifdef MADV_POPULATE_WRITE
    static constexpr int kPopulate = MADV_POPULATE_WRITE;
#else
    static constexpr int kPopulate = 23;  // older headers; a kernel without it says EINVAL
#endif
    // One request at a time, so that a stop waits little.
    static constexpr uintptr_t kStep = 2 << 20;
    void run() noexcept {
        std::unique_lock<std::mutex> guard(lock_);
        for (;;) {
            wake_.wait(guard, [this] { return stop_ || target_ > done_; });
            if (stop_) return;
            const uintptr_t from = done_, to = std::min(target_, from + kStep);
            guard.unlock();
            const bool unknown = ::madvise(reinterpret_cast<void*>(from), to - from, kPopulate) != 0 && errno == EINVAL;
            guard.lock();
            if (unknown) return;
            done_ = std::max(done_, to);
        }
    }
    std::mutex lock_;
    std::condition_variable wake_;
    std::thread thread_;
    uintptr_t done_ = 0, target_ = 0;
    bool stop_ = false;
};

struct State {
    std::mutex lock;
    HugePages setting = HugePages::Never;
    bool known = false;
    int loads = 0;
    uintptr_t advisedEnd = 0;
    bool tail = false;  // the end of the load's input is near
    // What the model took so far against the input read, for how much of the
    // heap to map ahead.
    int64_t input = 0;
    int64_t lastLeft = 0;
    uintptr_t usedAtStart = 0;
    Prefault prefault;
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

// The end of what the heap's allocations reach: its free top lies above.
uintptr_t usedEnd() noexcept {
#if __GLIBC_PREREQ(2, 33)
    return currentBreak() - ::mallinfo2().keepcost;
#else
    return 0;
#endif
}

void startPrefault(State& s, int64_t inputBytes) {
    if (inputBytes < kLeastPrefaultInput || !usedEnd() || !Prefault::Worthwhile()) return;
    s.input = s.lastLeft = inputBytes;
    s.usedAtStart = usedEnd();
    try {
        s.prefault.Start(s.usedAtStart & ~(pageSize() - 1));
    } catch (...) {  // no thread to be had: the load maps its pages itself
    }
}

// Asks for the heap the rest of the load will likely take, by what it took
// per byte of input so far, up to kAhead. The asked end stays on a huge page
// boundary, and asking stops near the end of the input, so that no page the
// model will not reach gets mapped.
void askAhead(State& s, int64_t inputLeft) noexcept {
    if (!s.prefault.Running() || s.loads > 1 || s.lastLeft - inputLeft < kAskEvery) return;
    s.lastLeft = inputLeft;
    if (inputLeft < kTailInput) return;
    const uintptr_t end = currentBreak(), used = usedEnd();
    const int64_t read = s.input - inputLeft;
    if (read <= 0 || used <= s.usedAtStart || used >= end) return;
    const double perByte = static_cast<double>(used - s.usedAtStart) / static_cast<double>(read);
    const uintptr_t need = static_cast<uintptr_t>(perByte * static_cast<double>(inputLeft));
    s.prefault.Ask(std::min(used + std::min(need, kAhead), end) & ~(kHugePage - 1));
}

}  // namespace

bool BeginLoad(int64_t inputBytes) noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.known) {
        s.setting = readSetting();
        s.known = true;
    }
    if (inputBytes < (1 << 20)) return false;
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
    }
    return true;
}

void EndLoad() noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.loads == 0) return;
    if (s.setting == HugePages::OnRequest && !s.tail) adviseLocked(s);
    if (--s.loads == 0) {
        s.prefault.Stop();
        ::mallopt(M_TOP_PAD, kUsualTopPad);
    }
}

void Advise(int64_t inputLeft) noexcept {
    State& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.loads == 0) return;
    askAhead(s, inputLeft);
    if (s.setting != HugePages::OnRequest || s.tail) return;
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
