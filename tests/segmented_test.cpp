// The block store under every collection: block layout and index mapping at
// the block boundaries, growth past the largest block size, freeing on cuts,
// failures while growing, iterator arithmetic, and what lists built on it
// cost and keep while they grow and sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using ormavec::test::Raised;

namespace {

struct Big {
    char bytes[100000];
};

// Counts live instances; throws from the constructor when armed.
struct Counted {
    static inline int live = 0;
    static inline int throwAfter = -1;  // constructions left before a throw
    int64_t value = 0;
    Counted() {
        if (throwAfter == 0) throw std::runtime_error("construct");
        if (throwAfter > 0) --throwAfter;
        ++live;
    }
    explicit Counted(int64_t v) : Counted() { value = v; }
    Counted(const Counted& o) : Counted() { value = o.value; }
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }
};

// The element counts where blocks begin, and one on either side, up to
// two blocks past the end of the growing ones.
template <class T>
std::vector<std::size_t> BoundaryCounts() {
    using S = SegmentedStore<T>;
    std::vector<std::size_t> out{0, 1, 2};
    for (std::size_t b = 1; b <= S::kGrowingBlocks + 2; ++b) {
        const std::size_t start = S::slotsBefore(b);
        for (std::size_t n : {start - 1, start, start + 1}) out.push_back(n);
    }
    return out;
}

template <class T>
void CheckLayout() {
    using S = SegmentedStore<T>;
    SCOPED_TRACE(sizeof(T));
    // About 64 bytes first (at least one element), doubling up to the cap.
    EXPECT_EQ(S::kFirstBlock, std::max<std::size_t>(1, std::bit_floor(64 / sizeof(T))));
    EXPECT_LE(S::kMaxBlock * sizeof(T), std::max<std::size_t>(64 * 1024, sizeof(T)));
    if (sizeof(T) <= 32 * 1024) {
        EXPECT_GT(S::kMaxBlock * sizeof(T), 32 * 1024u);
    }
    for (std::size_t b = 1; b < S::kGrowingBlocks + 3; ++b)
        EXPECT_EQ(S::blockSize(b), std::min(2 * S::blockSize(b - 1), S::kMaxBlock)) << b;
    // blocksFor(n) is the smallest number of blocks holding n elements.
    for (std::size_t n : BoundaryCounts<T>()) {
        const std::size_t b = S::blocksFor(n);
        EXPECT_GE(S::slotsBefore(b), n) << n;
        if (b > 0) {
            EXPECT_LT(S::slotsBefore(b - 1), n) << n;
        }
    }
}

}  // namespace

TEST(SegmentedStore, BlockLayoutForEveryElementSize) {
    CheckLayout<char>();
    CheckLayout<XYZ>();
    CheckLayout<LWVERTEX>();
    CheckLayout<LINE_ENT>();
    CheckLayout<ATTRIB_ENT>();
    CheckLayout<Big>();  // larger than a block: one element per block
    EXPECT_EQ(SegmentedStore<Big>::kGrowingBlocks, 1u);
    EXPECT_EQ(SegmentedStore<char>::kGrowingBlocks, 11u);  // 64 .. 64 Ki
}

TEST(SegmentedStore, IndexesMapOntoBlocksWithoutGapsOrOverlaps) {
    using S = SegmentedStore<int64_t>;
    S s;
    const std::size_t n = S::slotsBefore(S::kGrowingBlocks + 3) + 5;
    for (std::size_t i = 0; i < n; ++i) s.push_back(static_cast<int64_t>(i));
    ASSERT_EQ(s.size(), n);
    EXPECT_EQ(s.blockCount(), S::blocksFor(n));
    EXPECT_EQ(s.capacity(), S::slotsBefore(s.blockCount()));
    std::size_t block = 0;
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(s[i], static_cast<int64_t>(i));
        if (i + 1 == n) break;
        // Neighbours are adjacent in memory unless the next one starts a block.
        const bool starts = i + 1 == S::slotsBefore(block + 1);
        if (starts) {
            ++block;
        } else {
            ASSERT_EQ(&s[i + 1], &s[i] + 1) << i;
        }
    }
    EXPECT_EQ(block + 1, s.blockCount());
}

TEST(SegmentedStore, GrowthNeverMovesElements) {
    using S = SegmentedStore<LINE_ENT>;
    S s;
    std::vector<const LINE_ENT*> where;
    const std::size_t n = S::kGrowingSlots + 3 * S::kMaxBlock;
    for (std::size_t i = 0; i < n; ++i) {
        LINE_ENT r;
        r.StartX = static_cast<double>(i);
        s.push_back(r);
        where.push_back(&s[i]);
        if (i % 97 == 0) {
            s.push_back(s[i / 2]);  // a copy of one of ours, then cut back
            s.resize(i + 1);
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        ASSERT_EQ(&s[i], where[i]) << i;
        ASSERT_EQ(s[i].StartX, static_cast<double>(i));
    }
    // Large blocks start on a cache line.
    for (std::size_t b = 0; b < s.blockCount(); ++b) {
        if (S::blockSize(b) * sizeof(LINE_ENT) >= 4096) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&s[S::slotsBefore(b)]) % 64, 0u) << b;
        }
    }
}

TEST(SegmentedStore, CutsFreeWholeBlocksAndDestroyElements) {
    using S = SegmentedStore<Counted>;
    const std::size_t big = S::slotsBefore(S::kGrowingBlocks + 2) + 1;
    for (std::size_t keep : BoundaryCounts<Counted>()) {
        if (keep > big) continue;
        SCOPED_TRACE(keep);
        {
            S s;
            s.resize(big);
            EXPECT_EQ(Counted::live, static_cast<int>(big));
            s.resize(keep);
            EXPECT_EQ(Counted::live, static_cast<int>(keep));
            EXPECT_EQ(s.size(), keep);
            EXPECT_EQ(s.blockCount(), S::blocksFor(keep));
            const uint64_t before = s.generation();
            s.resize(keep);  // nothing to do: no block changes
            EXPECT_EQ(s.generation(), before);
        }
        EXPECT_EQ(Counted::live, 0);
    }
    S s;
    s.resize(1000);
    s.clear();
    EXPECT_EQ(s.blockCount(), 0u);
    EXPECT_EQ(s.allocatedBytes(), 0u);
    EXPECT_EQ(Counted::live, 0);
}

TEST(SegmentedStore, AFailedGrowthLeavesTheStoreAsItWas) {
    using S = SegmentedStore<Counted>;
    struct Case {
        std::size_t from, to, failAfter;
    };
    const std::size_t edge = S::slotsBefore(3);
    const Case cases[] = {{0, 10, 0}, {0, 10, 5}, {edge - 1, edge + 40, 1}, {edge, edge + 5, 0}, {3, 3000, 2500}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.from) + " -> " + std::to_string(c.to));
        S s;
        for (std::size_t i = 0; i < c.from; ++i) s.emplace_back(static_cast<int64_t>(i));
        const std::size_t blocks = s.blockCount();
        Counted::throwAfter = static_cast<int>(c.failAfter);
        EXPECT_THROW(s.resize(c.to), std::runtime_error);
        Counted::throwAfter = 0;
        EXPECT_THROW(s.emplace_back(int64_t{-1}), std::runtime_error);
        Counted::throwAfter = -1;
        EXPECT_EQ(s.size(), c.from);
        EXPECT_EQ(s.blockCount(), blocks);
        EXPECT_EQ(Counted::live, static_cast<int>(c.from));
        for (std::size_t i = 0; i < c.from; ++i) ASSERT_EQ(s[i].value, static_cast<int64_t>(i));
    }
    EXPECT_EQ(Counted::live, 0);
}

TEST(SegmentedStore, IteratorsAreRandomAccess) {
    using S = SegmentedStore<int>;
    static_assert(std::random_access_iterator<S::iterator>);
    static_assert(std::random_access_iterator<S::const_iterator>);
    static_assert(std::sortable<S::iterator>);
    static_assert(std::random_access_iterator<LINES::const_iterator>);
    S s;
    const int n = static_cast<int>(S::slotsBefore(S::kGrowingBlocks + 1)) + 7;
    for (int i = 0; i < n; ++i) s.push_back(i);
    S::iterator b = s.begin(), e = s.end();
    S::const_iterator cb = b;  // mutable to const
    EXPECT_EQ(e - b, n);
    EXPECT_EQ(std::distance(cb, std::as_const(s).end()), n);
    for (int k : {0, 1, 15, 16, 17, n / 2, n - 1}) {
        EXPECT_EQ(b[k], k);
        EXPECT_EQ(*(b + k), k);
        EXPECT_EQ(*(k + b), k);
        EXPECT_EQ(*(e - (n - k)), k);
        EXPECT_EQ((b + k) - b, k);
        EXPECT_TRUE(b + k < e);
        EXPECT_TRUE(b + k >= b);
    }
    // Stepping one by one crosses every block boundary both ways.
    int k = 0;
    for (S::iterator w = b; w != e; ++w, ++k) ASSERT_EQ(&*w, &s[static_cast<std::size_t>(k)]);
    for (S::iterator w = e; w != b;) {
        --w;
        --k;
        ASSERT_EQ(w.operator->(), &s[static_cast<std::size_t>(k)]);
    }
    // Standard algorithms over ranges that straddle blocks.
    std::mt19937 rng(5);
    std::shuffle(b, e, rng);
    std::sort(b, e);
    for (int k = 0; k < n; ++k) ASSERT_EQ(s[static_cast<std::size_t>(k)], k);
}

TEST(SegmentedStore, SortsAcrossBlockBoundaries) {
    // LINE_ENT blocks grow 1, 2, 4, ... 512: ranges that start and end inside
    // different blocks, including past the growing ones.
    std::mt19937 rng(17);
    const struct {
        int32_t size, from, to;
    } cases[] = {{2, 0, 1}, {7, 0, 6}, {40, 2, 33}, {1030, 500, 1029}, {3000, 0, 2999}, {3000, 1022, 2048}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.size) + " " + std::to_string(c.from) + ".." + std::to_string(c.to));
        auto l = std::make_shared<LINES>();
        std::vector<double> keys;
        for (int32_t i = 0; i < c.size; ++i) {
            keys.push_back(static_cast<double>(rng() % 500));
            LINE_ENT r;
            r.StartX = keys.back();
            r.Layer = "L" + std::to_string(i);
            l->Add(r);
        }
        auto copy = l->Copy();
        std::vector<double> expect = keys;
        std::sort(expect.begin() + c.from, expect.begin() + c.to + 1);
        auto byStartX = [](const LINE_ENT& x, const LINE_ENT& p) { return x.StartX < p.StartX ? -1 : x.StartX > p.StartX ? 1 : 0; };
        l->SortWith(c.from, c.to, byStartX);
        struct Host final : IComparer {
            int16_t Compare(const Variant& a, const Variant& b) override {
                const double x = a.RecordIf<LINE_ENT>()->StartX, p = b.RecordIf<LINE_ENT>()->StartX;
                return x < p ? -1 : x > p ? 1 : 0;
            }
        };
        copy->Sort(c.from, c.to, std::make_shared<Host>());
        for (const auto* list : {l.get(), copy.get()}) {
            std::vector<double> got;
            std::vector<std::string> layers;
            for (const LINE_ENT& r : *list) {
                got.push_back(r.StartX);
                layers.push_back(r.Layer);
            }
            EXPECT_EQ(got, expect);
            std::sort(layers.begin(), layers.end());
            EXPECT_EQ(std::unique(layers.begin(), layers.end()), layers.end());  // none lost or doubled
        }
    }
}

TEST(SegmentedStore, AComparerThatEmptiesAndRefillsTheListIsStopped) {
    auto l = std::make_shared<LINES>();
    for (int i = 0; i < 3; ++i) l->Add(LINE_ENT{});
    struct Refill final : IComparer {
        LINES* list = nullptr;
        int16_t Compare(const Variant&, const Variant&) override {
            // As many slots afterwards as the sort made, but in new blocks.
            list->SetCount(0, false);
            list->SetCount(1000, false);
            return 1;
        }
    };
    auto cmp = std::make_shared<Refill>();
    cmp->list = l.get();
    EXPECT_EQ(Raised([&] { l->Sort({}, {}, cmp); }).number(), ErrInvalidOperation);
}

TEST(SegmentedStore, SmallListsCostLittle) {
    // An INSERT's attributes: one to three records, in blocks of one, two.
    const struct {
        int records;
        std::size_t slots;
    } cases[] = {{0, 0}, {1, 1}, {2, 3}, {3, 3}, {4, 7}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.records);
        auto a = std::make_shared<ATTRIBS>();
        for (int i = 0; i < c.records; ++i) a->Add(ATTRIB_ENT{});
        const std::size_t table = c.records ? 8 * sizeof(void*) : 0;
        EXPECT_LE(a->StorageBytes(), c.slots * sizeof(ATTRIB_ENT) + table);
        EXPECT_GE(a->StorageBytes(), c.slots * sizeof(ATTRIB_ENT));
    }
    // Capacity is logical: a list of 1000 slots with one record holds one.
    auto l = std::make_shared<LINES>();
    l->Add(LINE_ENT{});
    EXPECT_EQ(l->Capacity(), 1000);
    EXPECT_LT(l->StorageBytes(), 256u);
    l->EraseArray();
    EXPECT_EQ(l->StorageBytes(), 0u);
}
