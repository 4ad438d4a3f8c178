// Appending to, reading and sorting a collection of a million records. The
// time per add and per comparison are printed in seconds with an SI prefix ("25n" is
// 25 ns).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "ormavec.h"

using namespace ormavec;

namespace {

constexpr int32_t kRecords = 1000000;

LINE_ENT SampleLine(double x) {
    LINE_ENT r;
    r.Layer = "Walls";
    r.LineType = "CONTINUOUS";
    r.ColorNumber = 7;
    r.StartX = x;
    r.EndX = x + 1;
    r.EndY = 2;
    return r;
}

std::vector<LINE_ENT> ShuffledLines() {
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> key(0, 1e6);
    std::vector<LINE_ENT> out;
    out.reserve(kRecords);
    for (int32_t i = 0; i < kRecords; ++i) out.push_back(SampleLine(key(rng)));
    return out;
}

class ByStartX final : public IComparer {
public:
    int64_t calls = 0;
    int16_t Compare(const Variant& a, const Variant& b) override {
        ++calls;
        const double x = a.RecordIf<LINE_ENT>()->StartX, p = b.RecordIf<LINE_ENT>()->StartX;
        return x < p ? -1 : x > p ? 1 : 0;
    }
};

void BM_AddLines(benchmark::State& state) {
    const LINE_ENT line = SampleLine(1);
    for (auto _ : state) {
        auto lines = std::make_shared<LINES>();
        for (int32_t i = 0; i < kRecords; ++i) lines->Add(line);
        benchmark::DoNotOptimize(lines->Count());
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
    state.counters["time_per_add"] = benchmark::Counter(static_cast<double>(kRecords),
                                                      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_AddLines)->Unit(benchmark::kMillisecond);

// Reading every record in place, by index and by range-for, in a shuffled
// order of positions and in storage order.
void BM_ItemRef(benchmark::State& state) {
    auto lines = std::make_shared<LINES>();
    lines->SetArray(ShuffledLines());
    std::vector<int32_t> order(kRecords);
    for (int32_t i = 0; i < kRecords; ++i) order[i] = i;
    if (state.range(0)) std::shuffle(order.begin(), order.end(), std::mt19937(1));
    for (auto _ : state) {
        double sum = 0;
        for (int32_t i : order) sum += lines->ItemRef(i).StartX;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_ItemRef)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Item get: a copy of each record, as a host reads the list.
void BM_Item(benchmark::State& state) {
    auto lines = std::make_shared<LINES>();
    lines->SetArray(ShuffledLines());
    for (auto _ : state) {
        double sum = 0;
        for (int32_t i = 0; i < kRecords; ++i) sum += lines->Item(i).StartX;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_Item)->Unit(benchmark::kMillisecond);

void BM_RangeFor(benchmark::State& state) {
    auto lines = std::make_shared<LINES>();
    lines->SetArray(ShuffledLines());
    for (auto _ : state) {
        double sum = 0;
        for (const LINE_ENT& r : *lines) sum += r.StartX;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK(BM_RangeFor)->Unit(benchmark::kMillisecond);

void BM_SortIComparer(benchmark::State& state) {
    const std::vector<LINE_ENT> input = ShuffledLines();
    auto lines = std::make_shared<LINES>();
    auto cmp = std::make_shared<ByStartX>();
    for (auto _ : state) {
        state.PauseTiming();
        lines->SetArray(input);
        state.ResumeTiming();
        lines->Sort({}, {}, cmp);
    }
    state.counters["comparisons"] = benchmark::Counter(static_cast<double>(cmp->calls), benchmark::Counter::kAvgIterations);
    state.counters["time_per_cmp"] = benchmark::Counter(static_cast<double>(cmp->calls),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SortIComparer)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_SortWith(benchmark::State& state) {
    const std::vector<LINE_ENT> input = ShuffledLines();
    auto lines = std::make_shared<LINES>();
    int64_t calls = 0;
    for (auto _ : state) {
        state.PauseTiming();
        lines->SetArray(input);
        state.ResumeTiming();
        lines->SortWith({}, {}, [&calls](const LINE_ENT& x, const LINE_ENT& p) {
            ++calls;
            return x.StartX < p.StartX ? -1 : x.StartX > p.StartX ? 1 : 0;
        });
    }
    state.counters["comparisons"] = benchmark::Counter(static_cast<double>(calls), benchmark::Counter::kAvgIterations);
    state.counters["time_per_cmp"] = benchmark::Counter(static_cast<double>(calls),
                                                      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_SortWith)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
