// The block store under every collection, against a vector: elements never
// move while it grows, blocks double up to their largest size, a growth that
// fails leaves the store as it was, and the iterators are random access.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include "collections/segmented.h"

namespace {

// 512 bytes: blocks of 1, 2, 4 ... 128 elements. Counts its live instances;
// its constructor throws when armed.
struct Counted {
    static inline int live = 0, throwAfter = -1;
    int64_t value = 0;
    char pad[504] = {};
    Counted(int64_t v = 0) : value(v) {
        if (throwAfter == 0) throw std::runtime_error("construct");
        if (throwAfter > 0) --throwAfter;
        ++live;
    }
    Counted(const Counted& o) : Counted(o.value) {}
    Counted& operator=(const Counted&) = default;
    ~Counted() { --live; }
};
using Store = ormavec::SegmentedStore<Counted>;
static_assert(std::random_access_iterator<Store::const_iterator> && std::sortable<ormavec::SegmentedStore<int>::iterator>);
static_assert(ormavec::SegmentedStore<char>::kFirstBlock == 64 && ormavec::SegmentedStore<char>::kMaxBlock == 65536);

}  // namespace

RC_GTEST_PROP(SegmentedStore, BehavesLikeAVectorWhoseElementsNeverMove, ()) {
    {
        Store s;
        std::vector<int64_t> model;
        std::vector<const Counted*> where;
        for (int step = 0, steps = *rc::gen::inRange(1, 20); step < steps; ++step) {
            const std::size_t n = *rc::gen::inRange<std::size_t>(0, 400);
            Counted::throwAfter = *rc::gen::arbitrary<bool>() ? -1 : *rc::gen::inRange(0, 20);
            try {
                switch (*rc::gen::inRange(0, 4)) {
                case 0: s.resize(n), model.resize(n); break;
                case 1: s.emplace_back(step), model.push_back(step); break;
                case 2: if (!model.empty()) s.push_back(s[n % s.size()]), model.push_back(model[n % model.size()]); break;
                default: s.clear(), model.clear();
                }
            } catch (const std::runtime_error&) {
            }
            Counted::throwAfter = -1;
            RC_ASSERT(s.size() == model.size() && Counted::live == static_cast<int>(model.size()));
            // The fewest blocks that hold the elements; large blocks start on a cache line.
            RC_ASSERT(s.capacity() == Store::slotsBefore(s.blockCount()) && s.capacity() >= s.size());
            RC_ASSERT(s.blockCount() == 0 || Store::slotsBefore(s.blockCount() - 1) < s.size());
            RC_ASSERT(s.allocatedBytes() >= s.capacity() * sizeof(Counted));
            for (std::size_t b = 0; b < s.blockCount() + 3; ++b) {
                RC_ASSERT(Store::slotsBefore(b + 1) - Store::slotsBefore(b) == Store::blockSize(b));
                RC_ASSERT(Store::blockSize(b) == std::min<std::size_t>(std::size_t{1} << std::min<std::size_t>(b, 20), 128));
                if (b < s.blockCount() && b >= 3) RC_ASSERT(reinterpret_cast<std::uintptr_t>(&s[Store::slotsBefore(b)]) % 64 == 0);
            }
            where.resize(std::min(where.size(), s.size()));
            for (std::size_t i = 0; i < s.size(); ++i) RC_ASSERT(s[i].value == model[i] && (i >= where.size() || &s[i] == where[i]));
            while (where.size() < s.size()) where.push_back(&s[where.size()]);
        }
        std::mt19937 rng(static_cast<uint32_t>(s.size()));
        std::shuffle(s.begin(), s.end(), rng);
        std::sort(s.begin(), s.end(), [](const Counted& a, const Counted& b) { return a.value < b.value; });
        std::sort(model.begin(), model.end());
        const auto n = static_cast<std::ptrdiff_t>(s.size());
        Store::const_iterator b = s.begin(), e = std::as_const(s).end();
        RC_ASSERT(e - b == n);
        for (std::ptrdiff_t k = 0; k < n; ++k) {
            RC_ASSERT(b[k].value == model[k] && (k + b)->value == model[k] && (e - (n - k))->value == model[k]);
            RC_ASSERT(b + k < e && b + k >= b && (b + k) - b == k);
        }
        auto it = s.begin();
        it++;
        it -= 1;
        RC_ASSERT(it == s.begin());
        RC_ASSERT(std::distance(s.begin(), s.end()) == n);
    }
    RC_ASSERT(Counted::live == 0);
}
