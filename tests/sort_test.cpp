// Sorting with host comparers: the pivot choice, ranges, failures, comparers
// that are not a consistent order, and deep inputs.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using ormavec::test::Raised;

namespace {

// A host comparer over LINE_ENT records keyed by StartX; ColorNumber tags a
// record with its original position. Counts the calls and keeps every pivot.
class HostComparer final : public IComparer {
public:
    std::function<int(const LINE_ENT& x, const LINE_ENT& p)> order = [](const LINE_ENT& x, const LINE_ENT& p) {
        return x.StartX < p.StartX ? -1 : x.StartX > p.StartX ? 1 : 0;
    };
    int calls = 0;
    std::vector<double> pivots;
    std::vector<std::string> seen;  // layers of both arguments

    int16_t Compare(const Variant& a, const Variant& b) override {
        ++calls;
        EXPECT_EQ(a.VarType(), 36);
        EXPECT_EQ(b.TypeName(), "LINE_ENT");
        const LINE_ENT& x = *a.RecordIf<LINE_ENT>();
        const LINE_ENT& p = *b.RecordIf<LINE_ENT>();
        pivots.push_back(p.StartX);
        seen.push_back(x.Layer);
        seen.push_back(p.Layer);
        return static_cast<int16_t>(order(x, p));
    }
};

LINE_ENT Rec(double key, int32_t tag, std::string layer = "in") {
    LINE_ENT r;
    r.StartX = key;
    r.ColorNumber = tag;
    r.Layer = std::move(layer);
    return r;
}

std::shared_ptr<LINES> ListOf(const std::vector<double>& keys) {
    auto l = std::make_shared<LINES>();
    int32_t tag = 0;
    for (double k : keys) l->Add(Rec(k, tag++));
    return l;
}

std::vector<double> Keys(const LINES& l) {
    std::vector<double> out;
    for (const LINE_ENT& r : l) out.push_back(r.StartX);
    return out;
}

std::vector<int32_t> Tags(const LINES& l) {
    std::vector<int32_t> out;
    for (const LINE_ENT& r : l) out.push_back(r.ColorNumber);
    return out;
}

// The plain algorithm, recursive and with unbounded scans, for reference.
struct RefRec {
    double key;
    int32_t tag;
};
void ReferenceSort(std::vector<RefRec>& a, int lo, int hi, int& calls, std::vector<double>& pivots) {
    const int sum = lo + hi;
    const int mid = sum % 2 == 0 ? sum / 2 : ((sum - 1) / 2 % 2 == 0 ? (sum - 1) / 2 : (sum + 1) / 2);
    const RefRec p = a[mid];
    auto cmp = [&](const RefRec& x) {
        ++calls;
        pivots.push_back(p.key);
        return x.key < p.key ? -1 : x.key > p.key ? 1 : 0;
    };
    int i = lo, j = hi;
    while (i <= j) {
        while (cmp(a[i]) < 0) ++i;
        while (cmp(a[j]) > 0) --j;
        if (i <= j) std::swap(a[i++], a[j--]);
    }
    if (lo < j) ReferenceSort(a, lo, j, calls, pivots);
    if (i < hi) ReferenceSort(a, i, hi, calls, pivots);
}

}  // namespace

TEST(Sort, MiddlePivotRoundsHalfToEven) {
    const struct {
        int32_t lo, hi;
        double pivot;
    } cases[] = {{0, 1, 0}, {0, 3, 2}, {1, 2, 2}, {2, 3, 2}, {1, 4, 2}, {0, 4, 2}, {3, 4, 4}};
    for (const auto& c : cases) {
        auto l = ListOf({0, 1, 2, 3, 4});
        auto cmp = std::make_shared<HostComparer>();
        l->Sort(c.lo, c.hi, cmp);
        ASSERT_FALSE(cmp->pivots.empty());
        EXPECT_EQ(cmp->pivots.front(), c.pivot) << c.lo << ".." << c.hi;
    }
}

TEST(Sort, RangesAndTheComparerItCalls) {
    auto two = ListOf({2, 1});
    auto cmp = std::make_shared<HostComparer>();
    two->Sort(0, 1, cmp);
    EXPECT_EQ(Keys(*two), (std::vector<double>{1, 2}));
    EXPECT_EQ(cmp->pivots.front(), 2);
    EXPECT_EQ(two->LastComparer(), cmp);

    auto five = ListOf({5, 4, 3, 2, 1});
    five->Sort(1, 3, std::make_shared<HostComparer>());
    EXPECT_EQ(Keys(*five), (std::vector<double>{5, 2, 3, 4, 1}));

    // One element: two comparisons with itself, whatever the comparer says.
    for (int answer : {-1, 0, 1}) {
        auto l = ListOf({2, 1});
        auto c = std::make_shared<HostComparer>();
        c->order = [answer](const LINE_ENT&, const LINE_ENT&) { return answer; };
        l->AsIArrayList()->Sort(0, 0, c);
        EXPECT_EQ(c->calls, 2);
        EXPECT_EQ(Keys(*l), (std::vector<double>{2, 1}));
    }
    EXPECT_EQ(Raised([] { std::make_shared<LINES>()->AsIArrayList()->Sort(0, 0, std::make_shared<HostComparer>()); }).number(),
              ErrInvalidArgument);
    EXPECT_EQ(Raised([] { std::make_shared<LINES>()->Sort(); }).number(), ErrInvalidArgument);
}

TEST(Sort, WithoutAComparerNothingMoves) {
    auto l = ListOf({3, 1, 2});
    l->Sort({}, {}, std::make_shared<HostComparer>());
    Error e = Raised([&] { l->Sort(); });
    EXPECT_EQ(e.number(), ErrNotSupported);
    EXPECT_EQ(e.description(), "Compare/1");
    EXPECT_EQ(e.source(), "LINES");
    EXPECT_EQ(l->LastComparer(), nullptr);
    EXPECT_EQ(Keys(*l), (std::vector<double>{1, 2, 3}));
}

TEST(Sort, CollectionsAsComparers) {
    auto l = ListOf({3, 1, 2});
    Error same = Raised([&] { l->Sort({}, {}, std::make_shared<LINES>()->AsIComparer()); });
    EXPECT_EQ(same.number(), ErrNotSupported);
    EXPECT_EQ(same.description(), "Compare/1");
    Error other = Raised([&] { l->Sort({}, {}, std::make_shared<ARCS>()->AsIComparer()); });
    EXPECT_EQ(other.number(), err::TypeMismatch);
    EXPECT_EQ(Keys(*l), (std::vector<double>{3, 1, 2}));
}

TEST(Sort, AFailingComparerLosesNoRecord) {
    std::mt19937 rng(7);
    std::vector<double> keys;
    for (int i = 0; i < 100; ++i) keys.push_back(static_cast<double>(rng() % 50));
    auto l = ListOf(keys);
    auto cmp = std::make_shared<HostComparer>();
    cmp->order = [&cmp](const LINE_ENT& x, const LINE_ENT& p) {
        if (cmp->calls == 150) RaiseError(ErrInvalidOperation, "host", "stop");
        return x.StartX < p.StartX ? -1 : x.StartX > p.StartX ? 1 : 0;
    };
    EXPECT_EQ(Raised([&] { l->Sort({}, {}, cmp); }).description(), "stop");
    std::vector<int32_t> tags = Tags(*l);
    std::sort(tags.begin(), tags.end());
    for (int32_t i = 0; i < 100; ++i) ASSERT_EQ(tags[i], i);
}

TEST(Sort, AComparerThatResizesTheListIsStopped) {
    auto l = ListOf({3, 1, 2});
    auto cmp = std::make_shared<HostComparer>();
    cmp->order = [&l](const LINE_ENT&, const LINE_ENT&) {
        l->SetCount(5000, true);
        return 1;
    };
    EXPECT_EQ(Raised([&] { l->Sort({}, {}, cmp); }).number(), ErrInvalidOperation);
}

TEST(Sort, InconsistentComparersStayInTheirRangeAndEnd) {
    const int n = 300;
    const struct {
        const char* what;
        std::function<int(const LINE_ENT&, const LINE_ENT&)> order;
    } cases[] = {
        {"always less", [](const LINE_ENT&, const LINE_ENT&) { return -1; }},
        {"always greater", [](const LINE_ENT&, const LINE_ENT&) { return 1; }},
        {"never equal", [](const LINE_ENT& x, const LINE_ENT& p) { return x.StartX <= p.StartX ? -1 : 1; }},
        {"random", [rng = std::make_shared<std::mt19937>(3)](const LINE_ENT&, const LINE_ENT&) { return static_cast<int>((*rng)() % 3) - 1; }},
    };
    for (const auto& c : cases) {
        for (int32_t margin : {0, 3}) {
            SCOPED_TRACE(std::string(c.what) + " margin " + std::to_string(margin));
            // Exactly n slots, so that a read past either end leaves the storage.
            std::vector<LINE_ENT> recs(n);
            for (int32_t i = 0; i < n; ++i) recs[i] = Rec(i % 7, i, i < margin || i >= n - margin ? "out" : "in");
            auto l = std::make_shared<LINES>();
            l->SetArray(std::move(recs));
            auto cmp = std::make_shared<HostComparer>();
            cmp->order = c.order;
            l->Sort(margin, n - 1 - margin, cmp);
            EXPECT_EQ(std::count(cmp->seen.begin(), cmp->seen.end(), "out"), 0);
            std::vector<int32_t> tags = Tags(*l);
            for (int32_t i = 0; i < margin; ++i) {
                EXPECT_EQ(tags[i], i);
                EXPECT_EQ(tags[n - 1 - i], n - 1 - i);
            }
            std::sort(tags.begin(), tags.end());
            for (int32_t i = 0; i < n; ++i) ASSERT_EQ(tags[i], i);
        }
    }
}

TEST(Sort, BoundedScansCostNoExtraComparison) {
    std::mt19937 rng(11);
    for (int size : {2, 3, 4, 10, 257, 3000}) {
        for (uint32_t spread : {3u, 1000000u}) {
            std::vector<RefRec> ref;
            std::vector<double> keys;
            for (int i = 0; i < size; ++i) {
                keys.push_back(static_cast<double>(rng() % spread));
                ref.push_back({keys.back(), i});
            }
            int refCalls = 0;
            std::vector<double> refPivots;
            ReferenceSort(ref, 0, size - 1, refCalls, refPivots);

            auto l = ListOf(keys);
            auto cmp = std::make_shared<HostComparer>();
            l->Sort({}, {}, cmp);
            EXPECT_EQ(cmp->calls, refCalls) << size << " " << spread;
            EXPECT_EQ(cmp->pivots, refPivots);
            std::vector<int32_t> refTags;
            for (const RefRec& r : ref) refTags.push_back(r.tag);
            EXPECT_EQ(Tags(*l), refTags);
            std::vector<double> sorted = Keys(*l);
            EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
        }
    }
}

TEST(Sort, DeepInputsDoNotExhaustTheStack) {
    const int32_t n = 1000000;
    const struct {
        const char* what;
        double (*key)(int32_t);
    } cases[] = {
        {"sorted", [](int32_t i) { return static_cast<double>(i); }},
        {"reverse", [](int32_t i) { return static_cast<double>(-i); }},
        {"equal", [](int32_t) { return 1.0; }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<XYZ> pts(n);
        for (int32_t i = 0; i < n; ++i) pts[i].X = c.key(i);
        auto l = std::make_shared<XYZS>();
        l->SetArray(std::move(pts));
        l->SortWith({}, {}, [](const XYZ& a, const XYZ& b) { return a.X < b.X ? -1 : a.X > b.X ? 1 : 0; });
        EXPECT_TRUE(std::is_sorted(l->begin(), l->end(), [](const XYZ& a, const XYZ& b) { return a.X < b.X; }));
    }
}
