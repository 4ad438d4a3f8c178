// Whole-drawing throughput: DXFDocument::Load and Save of generated drawings,
// beside two plain loops that show what the machine can do with the same
// bytes (split into pairs with memchr and convert with from_chars; write the
// same pairs with to_chars through a 1 MiB buffer), and the peak memory of a
// load in a fresh process.
//
// Inputs: ORMAVEC_BENCH_DXF, a ':'-separated list of drawing files (default
// build/perf/bench-data/d100.dxf of the source tree). Saved files go to
// ORMAVEC_BENCH_OUT (default: the folder of each input). Each case runs
// ORMAVEC_BENCH_REPS times (default 3) and reports the median.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ormavec.h"

namespace {

using ormavec::DXFDocument;

std::vector<std::string> inputFiles() {
    std::vector<std::string> files;
    const char* env = std::getenv("ORMAVEC_BENCH_DXF");
    std::string list = env && *env ? env : ORMAVEC_SOURCE_DIR "/build/perf/bench-data/d100.dxf";
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t colon = list.find(':', start);
        if (colon == std::string::npos) colon = list.size();
        if (colon > start) files.push_back(list.substr(start, colon - start));
        start = colon + 1;
    }
    return files;
}

int repetitions() {
    const char* env = std::getenv("ORMAVEC_BENCH_REPS");
    int n = env ? std::atoi(env) : 3;
    return n > 0 ? n : 3;
}

int64_t fileSize(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? static_cast<int64_t>(st.st_size) : -1;
}

std::string baseName(const std::string& path) {
    std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string outputPath(const std::string& input, const char* suffix) {
    const char* env = std::getenv("ORMAVEC_BENCH_OUT");
    std::string folder;
    if (env && *env) {
        folder = env;
    } else {
        std::size_t slash = input.rfind('/');
        folder = slash == std::string::npos ? "." : input.substr(0, slash);
    }
    return folder + "/" + baseName(input) + suffix;
}

// What a load produced, to check every timed run against the first one.
struct Census {
    int64_t entities = 0;
    int64_t blocks = 0;
    int64_t layers = 0;
    bool operator==(const Census&) const = default;
};

Census census(const DXFDocument& doc) {
    const auto& e = *doc.ENTITIES();
    Census c;
    c.entities = int64_t{e.ARCS()->Count()} + e.CIRCLES()->Count() + e.ELLIPSES()->Count() + e.FACE3DS()->Count() +
                 e.INSERTS()->Count() + e.LINES()->Count() + e.LWPOLYLINES()->Count() + e.MTEXTS()->Count() +
                 e.POLYLINES()->Count() + e.POINTS()->Count() + e.TEXTS()->Count() + e.SOLIDS()->Count();
    c.blocks = doc.BLOCKS()->Count();
    c.layers = doc.TABLES()->LAYERS()->Count();
    return c;
}

// ---- The limit loops ----

bool isDoubleCode(int32_t c) {
    return (c >= 10 && c <= 59) || (c >= 110 && c <= 149) || (c >= 210 && c <= 239) || (c >= 1010 && c <= 1059);
}
bool isIntCode(int32_t c) {
    return (c >= 60 && c <= 99) || (c >= 170 && c <= 179) || (c >= 270 && c <= 289) || (c >= 370 && c <= 389) ||
           (c >= 1060 && c <= 1071);
}

std::string_view skipSpaces(std::string_view s) {
    while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
    while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
    return s;
}

// One pair as the limit writer sees it.
struct RawPair {
    int32_t code;
    enum Kind : int32_t { Text, Real, Integer } kind;
    double real;
    int64_t integer;
    std::string_view text;
};

// Splits a file into pairs through a 1 MiB read buffer and converts codes
// and numbers; calls sink(pair) for each. Returns the bytes read.
template <class Sink>
int64_t scanPairs(const std::string& path, Sink&& sink) {
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) throw std::runtime_error("cannot open " + path);
    std::size_t capacity = 1u << 20;
    std::unique_ptr<char[]> buf(new char[capacity]);
    std::size_t begin = 0, end = 0;
    int64_t total = 0;
    bool haveCode = false;
    int32_t code = 0;
    auto line = [&](std::string_view l) {
        if (!l.empty() && l.back() == '\r') l.remove_suffix(1);
        if (!haveCode) {
            std::string_view s = skipSpaces(l);
            std::from_chars(s.data(), s.data() + s.size(), code);
            haveCode = true;
            return;
        }
        haveCode = false;
        RawPair p{code, RawPair::Text, 0.0, 0, l};
        if (isDoubleCode(code)) {
            std::string_view s = skipSpaces(l);
            p.kind = RawPair::Real;
            std::from_chars(s.data(), s.data() + s.size(), p.real);
        } else if (isIntCode(code)) {
            std::string_view s = skipSpaces(l);
            p.kind = RawPair::Integer;
            std::from_chars(s.data(), s.data() + s.size(), p.integer);
        }
        sink(p);
    };
    for (;;) {
        if (begin > 0) {
            std::memmove(buf.get(), buf.get() + begin, end - begin);
            end -= begin;
            begin = 0;
        }
        ssize_t n = ::read(fd, buf.get() + end, capacity - end);
        if (n <= 0) break;
        end += static_cast<std::size_t>(n);
        total += n;
        for (;;) {
            const char* start = buf.get() + begin;
            const void* nl = std::memchr(start, '\n', end - begin);
            if (!nl) break;
            std::size_t len = static_cast<std::size_t>(static_cast<const char*>(nl) - start);
            line(std::string_view(start, len));
            begin += len + 1;
        }
    }
    if (begin < end) line(std::string_view(buf.get() + begin, end - begin));
    ::close(fd);
    return total;
}

void BM_LimitRead(benchmark::State& state, std::string path) {
    int64_t bytes = 0;
    int64_t pairs0 = -1;
    for (auto _ : state) {
        int64_t pairs = 0;
        double sum = 0;
        bytes += scanPairs(path, [&](const RawPair& p) {
            ++pairs;
            sum += p.real + static_cast<double>(p.integer) + p.code;
        });
        benchmark::DoNotOptimize(sum);
        if (pairs0 < 0) pairs0 = pairs;
        if (pairs == 0 || pairs != pairs0) {
            state.SkipWithError("the limit reader found no pairs");
            return;
        }
    }
    state.SetBytesProcessed(bytes);
    state.counters["pairs"] = static_cast<double>(pairs0);
}

// Writes pairs as code and value lines with to_chars into a 1 MiB buffer.
class LimitWriter {
public:
    explicit LimitWriter(const std::string& path) : buf_(new char[kSize]) {
        fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd_ < 0) throw std::runtime_error("cannot write " + path);
    }
    ~LimitWriter() {
        if (fd_ >= 0) ::close(fd_);
    }
    void put(const RawPair& p) {
        if (size_ + 400 > kSize) flush();
        char* o = buf_.get() + size_;
        char* e = buf_.get() + kSize;
        o = std::to_chars(o, e, p.code).ptr;
        *o++ = '\r';
        *o++ = '\n';
        switch (p.kind) {
        case RawPair::Real: o = std::to_chars(o, e, p.real).ptr; break;
        case RawPair::Integer: o = std::to_chars(o, e, p.integer).ptr; break;
        case RawPair::Text: {
            std::size_t n = p.text.size() < 300 ? p.text.size() : 300;
            std::memcpy(o, p.text.data(), n);
            o += n;
            break;
        }
        }
        *o++ = '\r';
        *o++ = '\n';
        written_ += o - (buf_.get() + size_);
        size_ = static_cast<std::size_t>(o - buf_.get());
    }
    // Flushes and syncs, as a save does.
    void close() {
        flush();
        ::fsync(fd_);
        ::close(fd_);
        fd_ = -1;
    }
    int64_t written() const { return written_; }

private:
    static constexpr std::size_t kSize = 1u << 20;
    void flush() {
        const char* p = buf_.get();
        std::size_t left = size_;
        while (left > 0) {
            ssize_t n = ::write(fd_, p, left);
            if (n <= 0) throw std::runtime_error("write failed");
            p += n;
            left -= static_cast<std::size_t>(n);
        }
        size_ = 0;
    }
    std::unique_ptr<char[]> buf_;
    std::size_t size_ = 0;
    int fd_ = -1;
    int64_t written_ = 0;
};

// The pairs are converted in 8 MiB portions with the timer paused, so that
// only writing is timed and the memory stays small for any file size.
void BM_LimitWrite(benchmark::State& state, std::string path) {
    const std::string out = outputPath(path, ".limit.out");
    int64_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<RawPair> portion;
        std::vector<std::string> texts;  // the values of a portion outlive the read buffer
        LimitWriter writer(out);
        state.ResumeTiming();
        int64_t portionBytes = 0;
        auto writePortion = [&] {
            for (const RawPair& p : portion) writer.put(p);
            portion.clear();
            texts.clear();
            portionBytes = 0;
        };
        state.PauseTiming();
        scanPairs(path, [&](RawPair p) {
            if (p.kind == RawPair::Text) {
                texts.emplace_back(p.text);
                p.text = {};
            }
            portion.push_back(p);
            portionBytes += 24;
            if (portionBytes >= (8 << 20)) {
                // Text values point into `texts`, which no longer grows
                // while the portion is written.
                std::size_t t = 0;
                for (RawPair& q : portion)
                    if (q.kind == RawPair::Text) q.text = texts[t++];
                state.ResumeTiming();
                writePortion();
                state.PauseTiming();
            }
        });
        std::size_t t = 0;
        for (RawPair& q : portion)
            if (q.kind == RawPair::Text) q.text = texts[t++];
        state.ResumeTiming();
        writePortion();
        writer.close();
        bytes += writer.written();
        if (writer.written() == 0) {
            state.SkipWithError("the limit writer wrote nothing");
            return;
        }
    }
    ::unlink(out.c_str());
    state.SetBytesProcessed(bytes);
}

// ---- The document ----

// Loads in the given text mode: None is the default, Utf8 and Auto show what
// decoding UTF-8 and watching the header cost; preserving, what keeping the
// content the typed model does not hold costs (the Standard path's load).
void BM_Load(benchmark::State& state, std::string path, ormavec::TextConvertMode mode, bool preserve) {
    const int64_t size = fileSize(path);
    Census expected;
    {
        DXFDocument first;
        first.SetTextConvertMode(mode);
        first.SetPreserve(preserve);
        first.Load(path);
        expected = census(first);
    }
    if (size <= 0 || expected.entities == 0 || expected.layers == 0) {
        state.SkipWithError(("nothing loaded from " + path).c_str());
        return;
    }
    for (auto _ : state) {
        auto doc = std::make_unique<DXFDocument>();
        doc->SetTextConvertMode(mode);
        doc->SetPreserve(preserve);
        doc->Load(path);
        state.PauseTiming();
        if (!(census(*doc) == expected)) {
            state.SkipWithError("a load read something else than the first one");
            return;
        }
        doc.reset();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * size);
    state.counters["entities"] = static_cast<double>(expected.entities);
    state.counters["ns_per_byte"] = benchmark::Counter(static_cast<double>(size),
                                                        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Save(benchmark::State& state, std::string path, ormavec::SaveMode mode, bool binary) {
    DXFDocument doc;
    doc.Load(path);
    doc.SetSaveMode(mode);
    doc.SetBinary(binary);
    const Census loaded = census(doc);
    if (loaded.entities == 0) {
        state.SkipWithError(("nothing loaded from " + path).c_str());
        return;
    }
    const std::string out = outputPath(path, ".saved.dxf");
    int64_t bytes = 0;
    int64_t firstSize = -1;
    for (auto _ : state) {
        doc.Save(out);
        state.PauseTiming();
        int64_t size = fileSize(out);
        if (firstSize < 0) firstSize = size;
        if (size <= 0 || size != firstSize) {
            state.SkipWithError("a save wrote something else than the first one");
            return;
        }
        bytes += size;
        state.ResumeTiming();
    }
    // The saved file must load back into as many entities.
    {
        DXFDocument back;
        back.Load(out);
        if (census(back).entities != loaded.entities) state.SkipWithError("the saved file loads back differently");
    }
    ::unlink(out.c_str());
    state.SetBytesProcessed(bytes);
    state.counters["output_MB"] = static_cast<double>(firstSize) / 1e6;
}

// ---- Peak memory of a load in a fresh process ----

int64_t statusKiB(const char* field) {
    FILE* f = std::fopen("/proc/self/status", "r");
    if (!f) return -1;
    char line[256];
    int64_t kib = -1;
    const std::size_t n = std::strlen(field);
    while (std::fgets(line, sizeof line, f))
        if (std::strncmp(line, field, n) == 0 && line[n] == ':') kib = std::strtoll(line + n + 1, nullptr, 10);
    std::fclose(f);
    return kib;
}

// The child side: the binary started again with ORMAVEC_BENCH_CHILD_LOAD set
// runs only this case, which loads that file (nothing for "-") and writes its
// VmHWM in KiB and the entity count to the descriptor ORMAVEC_BENCH_CHILD_FD;
// with ORMAVEC_BENCH_CHILD_PRESERVE=1 the load preserves.
void BM_ChildLoad(benchmark::State& state) {
    for (auto _ : state) {
    }
    const char* path = std::getenv("ORMAVEC_BENCH_CHILD_LOAD");
    const char* fdText = std::getenv("ORMAVEC_BENCH_CHILD_FD");
    int fd = fdText ? std::atoi(fdText) : 1;
    int64_t entities = 0;
    // The model is not freed before the exit: its size is what is measured.
    auto* doc = new DXFDocument();
    if (const char* preserve = std::getenv("ORMAVEC_BENCH_CHILD_PRESERVE")) doc->SetPreserve(std::strcmp(preserve, "1") == 0);
    try {
        if (std::strcmp(path, "-") != 0) {
            doc->Load(path);
            entities = census(*doc).entities;
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "%s\n", e.what());
        std::_Exit(1);
    }
    char text[64];
    int n = std::snprintf(text, sizeof text, "%lld %lld\n", static_cast<long long>(statusKiB("VmHWM")), static_cast<long long>(entities));
    if (::write(fd, text, static_cast<std::size_t>(n)) != n) std::_Exit(1);
    std::_Exit(0);
}

// The limit loop as a process of its own (ORMAVEC_BENCH_CHILD_LIMIT names the
// file): what the fresh-process runs set a load beside.
void BM_ChildLimit(benchmark::State& state) {
    for (auto _ : state) {
    }
    double sum = 0;
    int64_t pairs = 0;
    scanPairs(std::getenv("ORMAVEC_BENCH_CHILD_LIMIT"), [&](const RawPair& p) {
        ++pairs;
        sum += p.real + static_cast<double>(p.integer) + p.code;
    });
    benchmark::DoNotOptimize(sum);
    std::_Exit(pairs > 0 ? 0 : 1);
}

// Runs this binary again as a child that loads `path`; its VmHWM in bytes.
bool childPeak(const std::string& path, int64_t& peakBytes, int64_t& entities) {
    char self[4096];
    ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return false;
    self[n] = 0;
    int fds[2];
    if (::pipe(fds) != 0) return false;
    pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        int null = ::open("/dev/null", O_WRONLY);
        if (null >= 0) ::dup2(null, 1);
        ::setenv("ORMAVEC_BENCH_CHILD_LOAD", path.c_str(), 1);
        ::setenv("ORMAVEC_BENCH_CHILD_FD", std::to_string(fds[1]).c_str(), 1);
        char filter[] = "--benchmark_filter=^BM_ChildLoad/";
        char* argv[] = {self, filter, nullptr};
        ::execv(self, argv);
        std::_Exit(127);
    }
    ::close(fds[1]);
    std::string text;
    char chunk[256];
    ssize_t got;
    while ((got = ::read(fds[0], chunk, sizeof chunk)) > 0) text.append(chunk, static_cast<std::size_t>(got));
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    long long kib = -1, count = -1;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || std::sscanf(text.c_str(), "%lld %lld", &kib, &count) != 2) return false;
    peakBytes = kib * 1024;
    entities = count;
    return true;
}

void BM_LoadPeakMemory(benchmark::State& state, std::string path) {
    const int64_t size = fileSize(path);
    int64_t peak = 0, entities = 0, base = 0, none = 0;
    if (!childPeak("-", base, none)) {
        state.SkipWithError("the child process failed");
        return;
    }
    for (auto _ : state) {
        if (!childPeak(path, peak, entities) || entities == 0) {
            state.SkipWithError(("the child could not load " + path).c_str());
            return;
        }
    }
    state.counters["peak_MB"] = static_cast<double>(peak) / 1e6;
    state.counters["empty_process_MB"] = static_cast<double>(base) / 1e6;
    state.counters["file_MB"] = static_cast<double>(size) / 1e6;
    state.counters["peak_per_file_byte"] = static_cast<double>(peak) / static_cast<double>(size);
}

// One set of cases per input file, named after it.
const bool kRegistered = [] {
    if (std::getenv("ORMAVEC_BENCH_CHILD_LOAD")) {
        benchmark::RegisterBenchmark("BM_ChildLoad", BM_ChildLoad)->Iterations(1);
        return true;
    }
    if (std::getenv("ORMAVEC_BENCH_CHILD_LIMIT")) {
        benchmark::RegisterBenchmark("BM_ChildLimit", BM_ChildLimit)->Iterations(1);
        return true;
    }
    const int reps = repetitions();
    for (const std::string& path : inputFiles()) {
        const std::string name = baseName(path);
        auto setUp = [&](benchmark::internal::Benchmark* b) {
            b->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(reps)->ReportAggregatesOnly(true);
        };
        setUp(benchmark::RegisterBenchmark(("BM_LimitRead/" + name).c_str(), BM_LimitRead, path));
        setUp(benchmark::RegisterBenchmark(("BM_Load/" + name).c_str(), BM_Load, path, ormavec::TextConvertMode::None, false));
        setUp(benchmark::RegisterBenchmark(("BM_LoadUtf8/" + name).c_str(), BM_Load, path, ormavec::TextConvertMode::Utf8, false));
        setUp(benchmark::RegisterBenchmark(("BM_LoadAuto/" + name).c_str(), BM_Load, path, ormavec::TextConvertMode::Auto, false));
        setUp(benchmark::RegisterBenchmark(("BM_LoadPreserving/" + name).c_str(), BM_Load, path, ormavec::TextConvertMode::Auto, true));
        setUp(benchmark::RegisterBenchmark(("BM_LimitWrite/" + name).c_str(), BM_LimitWrite, path));
        setUp(benchmark::RegisterBenchmark(("BM_Save/" + name).c_str(), BM_Save, path, ormavec::SaveMode::Classic, false));
        setUp(benchmark::RegisterBenchmark(("BM_SaveStandard/" + name).c_str(), BM_Save, path, ormavec::SaveMode::Standard, false));
        setUp(benchmark::RegisterBenchmark(("BM_SaveBinary/" + name).c_str(), BM_Save, path, ormavec::SaveMode::Standard, true));
        benchmark::RegisterBenchmark(("BM_LoadPeakMemory/" + name).c_str(), BM_LoadPeakMemory, path)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Iterations(1);
    }
    return true;
}();

}  // namespace
