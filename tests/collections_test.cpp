// The array list every collection is, against a model of its rules; sorting
// against the plain recursive quicksort; the generic value; the block store
// under every list against a vector.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "ormavec.h"

using namespace ormavec;

namespace {

LINE_ENT Line(std::string layer, double key = 0, int32_t tag = 0) {
    LINE_ENT r;
    r.Layer = std::move(layer), r.StartX = key, r.ColorNumber = tag;
    return r;
}

// What `f` raises, as "number description"; "" when it raises nothing.
std::string Outcome(const std::function<void()>& f) {
    try { f(); } catch (const Error& e) { return std::to_string(e.number()) + " " + e.description(); }
    return "";
}
const std::string kBad = std::to_string(ErrInvalidArgument) + " ", kMismatch = "13 ", kNoCompare = std::to_string(ErrNotSupported) + " Compare/1";

// The slots up to Capacity keep what was last stored in them; after a
// removal or a cut, Capacity comes down to Count + GrowLength x ShrinkFactor
// (rounded half to even) when that is less.
struct Model {
    std::vector<std::string> slots;
    int32_t count = 0, grow = *rc::gen::inRange(1, 12);
    float factor = *rc::gen::elementOf(std::vector<float>{std::nextafter(1.0f, 2.0f), 1.5f, 2.5f});
    int32_t capacity() const { return static_cast<int32_t>(slots.size()); }
    void shrink(bool destroy) {
        const double limit = count + static_cast<double>(grow) * static_cast<double>(factor);
        if (destroy || count == 0) slots.resize(count);
        else if (limit < capacity()) slots.resize(static_cast<std::size_t>(RoundHalfEven(limit)));
    }
};

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

// A host comparer over LINE_ENT by StartX, ColorNumber being the first
// position of a record; keeps the positions (element, pivot) of each call.
struct Host final : IComparer {
    std::function<int(const LINE_ENT&, const LINE_ENT&)> order;
    std::vector<std::pair<int32_t, int32_t>> calls;
    int failAt = -1;
    int16_t Compare(const Variant& a, const Variant& b) override {
        if (static_cast<int>(calls.size()) == failAt) RaiseError(ErrInvalidOperation, "host", "stop");
        calls.emplace_back(a.RecordIf<LINE_ENT>()->ColorNumber, b.RecordIf<LINE_ENT>()->ColorNumber);
        return static_cast<int16_t>(order(*a.RecordIf<LINE_ENT>(), *b.RecordIf<LINE_ENT>()));
    }
};
int ByKey(const LINE_ENT& x, const LINE_ENT& p) { return x.StartX < p.StartX ? -1 : x.StartX > p.StartX ? 1 : 0; }

// The sort as plainly stated: recursive, pivot a copy of the middle record
// (the middle rounded half to even), Hoare partition with unbounded scans.
void Reference(std::vector<LINE_ENT>& a, int lo, int hi, std::vector<std::pair<int32_t, int32_t>>& calls) {
    const LINE_ENT p = a[static_cast<std::size_t>(RoundHalfEven((lo + hi) / 2.0))];
    auto cmp = [&](int k) { return calls.emplace_back(a[k].ColorNumber, p.ColorNumber), ByKey(a[k], p); };
    int i = lo, j = hi;
    while (i <= j) {
        while (cmp(i) < 0) ++i;
        while (cmp(j) > 0) --j;
        if (i <= j) std::swap(a[i++], a[j--]);
    }
    if (lo < j) Reference(a, lo, j, calls);
    if (i < hi) Reference(a, i, hi, calls);
}

}  // namespace

// Random operations through the typed members or the IArrayList view, with
// indexes and counts in and out of range.
RC_GTEST_PROP(Collections, BehavesLikeTheModel, ()) {
    auto list = std::make_shared<LINES>();
    auto view = list->AsIArrayList();
    Model m;
    view->SetGrowLength(m.grow), view->SetShrinkFactor(m.factor);
    for (int step = 0, steps = *rc::gen::inRange(1, 60); step < steps; ++step) {
        const bool typed = *rc::gen::arbitrary<bool>(), flag = *rc::gen::arbitrary<bool>();
        const int32_t i = *rc::gen::inRange(-1, m.count + 1), n = *rc::gen::inRange(-1, m.count + 3 * m.grow + 2);
        const bool inside = i >= 0 && i < m.count;
        const std::string name = "r" + std::to_string(step);
        auto& s = m.slots;
        switch (*rc::gen::inRange(0, 6)) {
        case 0:
            typed ? list->Add(Line(name)) : view->AddItem(Variant::FromRecord(Line(name)));
            if (m.count == m.capacity()) s.resize(s.size() + m.grow);
            s[m.count++] = name;
            break;
        case 1:
            RC_ASSERT(Outcome([&] { typed ? (flag ? list->Delete(i) : list->RemoveItem(i, false)) : view->RemoveItem(i, flag); }) ==
                      (inside ? "" : kBad));
            if (!inside) break;
            // Moved down in order (the freed slot keeps a copy of the last record), or the last one moved in.
            if (flag && i < m.count - 1) std::rotate(s.begin() + i, s.begin() + i + 1, s.begin() + m.count), s[m.count - 1] = s[m.count - 2];
            if (!flag && m.count >= 2) s[i] = s[m.count - 1];
            --m.count, m.shrink(false);
            break;
        case 2:
            RC_ASSERT(Outcome([&] { typed ? list->SetCount(n, flag) : view->SetCount(n, flag); }) ==
                      (n < 0 ? kBad + "Minimal Count value must be greater than 0" : ""));
            if (n > m.count && n > m.capacity()) {  // grows by at least GrowLength, emptying every slot without PreserveValues
                s.resize(m.capacity() + std::max(n - m.capacity(), m.grow));
                if (!flag) std::fill(s.begin(), s.end(), "");
                m.count = n;
            } else if (n >= 0) {
                m.count = n, m.shrink(false);
            }
            break;
        case 3:
            RC_ASSERT(Outcome([&] { typed ? list->LetItem(i, Line(name)) : view->LetItem(i, Variant::FromRecord(Line(name))); }) ==
                      (inside ? "" : kBad));
            if (inside) s[i] = name;
            break;
        case 4:
            typed ? list->Shrink(flag) : view->Shrink(flag), m.shrink(flag);
            break;
        default: {  // replaced by an array, or erased
            const std::vector<LINE_ENT> items(i + 1, Line(name));
            if (i < 0) typed ? list->EraseArray() : view->EraseArray();
            else typed ? list->SetArray(items) : view->SetArray(Variant::FromArray<LINE_ENT>(items));
            s.assign(items.size(), name), m.count = m.capacity();
        }
        }
        RC_ASSERT(view->Count() == m.count && view->UpperBound() == m.count - 1 && (list->StorageBytes() == 0) == (m.capacity() == 0));
        RC_ASSERT(list->Capacity() == m.capacity() && view->GrowLength() == m.grow && view->ShrinkFactor() == m.factor);
        for (int32_t k = 0; k < m.count; ++k) RC_ASSERT(list->ItemRef(k).Layer == s[k]);
        if (inside && i < m.count) RC_ASSERT(view->Item(i).RecordIf<LINE_ENT>()->Layer == s[i]);
    }
    const Variant array = view->GetArray();
    RC_ASSERT(array.VarType() == (vt::Array | vt::Record) && array.ArrayInfo()->Size() == m.count);
    RC_ASSERT(array.ArrayInfo()->allocated == (m.count > 0));
}

TEST(Collections, NewListsViewsAndRefusals) {
    for (auto list : {std::make_shared<LINES>()->AsIArrayList(), std::make_shared<ATTRIBS>()->AsIArrayList()}) {
        const auto fresh = list->CreateNew();
        EXPECT_TRUE(fresh->ClassName() == list->ClassName() && fresh->GrowLength() == (list->ClassName() == "ATTRIBS" ? 10 : 1000));
        EXPECT_TRUE(fresh->UpperBound() == -1 && fresh->LowerBound() == 0 && fresh->VarType() == 36 && !fresh->GetArray().ArrayInfo()->allocated);
        EXPECT_EQ(Outcome([&] { fresh->Copy(); }) + Outcome([&] { fresh->Sort(0, 0, std::make_shared<NullComparer>()); }), kBad + kBad);
    }
    auto lines = std::make_shared<LINES>();
    int32_t index = 7;
    EXPECT_FALSE(lines->Find(Line("a"), index));
    lines->Add(Line("a"));
    auto view = lines->AsIArrayList();
    EXPECT_EQ(Outcome([&] { view->Find(view->Item(0), index); }) + std::to_string(index), kNoCompare + "7");
    EXPECT_EQ(Outcome([&] { view->SetItem(0, view->Item(0)); }),
              std::to_string(ErrNotSupported) + " Value type container does not support Set statement!");
    for (int32_t g : {0, -1}) EXPECT_EQ(Outcome([&] { lines->SetGrowLength(g); }), kBad + "GrowLength value must be greater than 0");
    for (float f : {1.0f, 0.5f, NAN}) EXPECT_EQ(Outcome([&] { lines->SetShrinkFactor(f); }), kBad + "Invalid shrink factor value,  must be greater than 1!");
    const std::pair<Variant, std::string> refused[] = {
        {Variant(5), kBad}, {Variant::FromArray<LINE_ENT>({Line("b")}, 1), kBad}, {Variant::FromArray<ARC_ENT>({}), kMismatch},
        {Variant::UnallocatedArray<ARC_ENT>(), kMismatch}, {Variant::FromArray<Variant>({Variant(1)}), kMismatch}};
    for (const auto& c : refused) EXPECT_TRUE(Outcome([&] { view->SetArray(c.first); }).starts_with(c.second) && lines->Item(0).Layer == "a");
    EXPECT_TRUE(Outcome([&] { view->AddItem(Variant::FromRecord(ARC_ENT{})); }).starts_with(kMismatch));
    view->SetArray(Variant::FromArray<Variant>({Variant::FromRecord(Line("v"))}));
    EXPECT_EQ(lines->Item(0).Layer, "v");
    for (int k = 0; k < 4; ++k) lines->Add(Line(std::to_string(k)));
    const auto copy = std::static_pointer_cast<LINES>(view->Copy(Variant(1), Variant(2))->Target());  // a new list of the same class
    EXPECT_TRUE(copy->Count() == 2 && copy->Capacity() == 1000 && copy->Item(1).Layer == "1" && lines->Copy()->Count() == 5);
    EXPECT_EQ(Outcome([&] { lines->Copy(2, 1); }) + Outcome([&] { lines->Copy(-1, 0); }) + Outcome([&] { lines->Copy(0, 5); }), kBad + kBad + kBad);
    EXPECT_TRUE(Outcome([] { LINES onStack; onStack.AsIArrayList(); }).starts_with(std::to_string(ErrInvalidOperation)));
    lines->SetArray(std::vector<LINE_ENT>(1000, Line("x")));  // one of its own records, added while the storage grows
    lines->Add(lines->ItemRef(999));
    EXPECT_EQ(lines->Item(1000).Layer, "x");

    NullArrayList null;  // the creatable stand-in does nothing
    null.SetArray({}), null.SetShrinkFactor(2), null.SetGrowLength(2), null.Shrink(1), null.EraseArray(), null.SetCount(3, true);
    null.AddItem(Variant(1)), null.RemoveItem(0, true), null.LetItem(0, {}), null.SetItem(0, {}), null.Sort(0, 5, nullptr);
    EXPECT_FALSE(null.Find(Variant(1), index));
    EXPECT_EQ(null.Count() + null.UpperBound() + null.LowerBound() + null.GrowLength() + null.VarType() + null.ShrinkFactor(), 0);
    EXPECT_TRUE(null.Item(0).IsEmpty() && null.GetArray().IsEmpty() && !null.Copy({}, {}) && !null.CreateNew() && !null.Target());
    EXPECT_EQ(NullComparer().Compare(Variant(1), Variant("x")), 0);
}

// With a consistent order the sort makes exactly the comparisons of the plain
// algorithm; with any comparer (always -1, always 1, random, failing) it
// stays in its range and loses no record.
RC_GTEST_PROP(Sort, MatchesThePlainQuicksortAndStaysInRange, (bool typed)) {
    const int n = *rc::gen::inRange(1, 300), kind = *rc::gen::inRange(0, 4);
    const int32_t lo = *rc::gen::inRange(0, n), hi = *rc::gen::inRange(lo, n);
    std::mt19937 rng(*rc::gen::arbitrary<uint32_t>());
    const uint32_t spread = *rc::gen::elementOf(std::vector<uint32_t>{1, 3, 1000000});
    std::vector<LINE_ENT> records;
    for (int32_t k = 0; k < n; ++k) records.push_back(Line("", rng() % spread, k));
    auto list = std::make_shared<LINES>();
    list->SetArray(records);  // exactly n slots: a read past either end leaves the storage
    auto host = std::make_shared<Host>();
    host->failAt = *rc::gen::arbitrary<bool>() ? -1 : *rc::gen::inRange(0, 2 * n);
    host->order = [kind, &rng](const LINE_ENT& x, const LINE_ENT& p) { return kind == 0 ? ByKey(x, p) : kind == 3 ? int(rng() % 3) - 1 : kind == 1 ? -1 : 1; };
    const std::string outcome = Outcome([&] { typed ? list->Sort(lo, hi, host) : list->AsIArrayList()->Sort(lo, hi, host); });
    RC_ASSERT(outcome == "" || outcome == std::to_string(ErrInvalidOperation) + " stop");
    for (auto [x, p] : host->calls) RC_ASSERT(x >= lo && x <= hi && p >= lo && p <= hi);
    std::vector<int32_t> tags;
    for (const LINE_ENT& r : *list) tags.push_back(r.ColorNumber);
    for (int32_t k = 0; k < n; ++k) RC_ASSERT((k >= lo && k <= hi) || tags[k] == k);
    RC_ASSERT(std::set<int32_t>(tags.begin(), tags.end()).size() == static_cast<std::size_t>(n));
    RC_SUCCEED_IF(kind != 0 || !outcome.empty());
    std::vector<std::pair<int32_t, int32_t>> calls;
    Reference(records, lo, hi, calls);
    RC_ASSERT(host->calls == calls);
    for (int32_t k = 0; k < n; ++k) RC_ASSERT(tags[k] == records[k].ColorNumber);
}

TEST(Sort, WithoutAComparerOrWithAListAsComparer) {
    auto l = std::make_shared<LINES>();
    for (int32_t k = 0; k < 3; ++k) l->Add(Line("", 3 - k, k));
    EXPECT_EQ(Outcome([&] { l->Sort(); }) + Outcome([&] { l->Sort({}, {}, std::make_shared<LINES>()->AsIComparer()); }), kNoCompare + kNoCompare);
    EXPECT_TRUE(Outcome([&] { l->Sort({}, {}, std::make_shared<ARCS>()->AsIComparer()); }).starts_with(kMismatch));
    EXPECT_TRUE(l->ItemRef(0).ColorNumber == 0 && l->LastComparer() != nullptr);
    l->SortWith(0, 2, ByKey);
    EXPECT_EQ(l->ItemRef(0).ColorNumber, 2);
    for (int32_t slots : {5000, 3}) {  // a comparer that resizes the list, or empties and refills it alike, is stopped
        auto host = std::make_shared<Host>();
        host->order = [&](const LINE_ENT&, const LINE_ENT&) { return l->SetCount(0, false), l->SetCount(slots, false), 1; };
        l->SetCount(3, false), l->Shrink(1);
        EXPECT_TRUE(Outcome([&] { l->Sort({}, {}, host); }).starts_with(std::to_string(ErrInvalidOperation)));
    }
}

TEST(Variant, TypesConversionsAndCopies) {
    // ToInt32 and ToString give the value, or raise an error that starts so.
    const struct { Variant value; int32_t varType; std::string_view typeName; std::string asInt32, asString; } cases[] = {
        {Variant(), 0, "Empty", "0", ""},        {Variant(int16_t{-3}), 2, "Integer", "-3", "-3"}, {Variant(7), 3, "Long", "7", "7"},
        {Variant(2.5f), 4, "Single", "2", "2.5"}, {Variant(3.5), 5, "Double", "4", "3.5"},          {Variant(-2.5), 5, "Double", "-2", "-2.5"},
        {Variant(" -7 "), 8, "String", "-7", " -7 "}, {Variant("1.5"), 8, "String", "2", "1.5"},   {Variant(true), 11, "Boolean", "-1", "True"},
        {Variant(-2147483649.0), 5, "Double", "6 Overflow", "-2147483649"}, {Variant("1e999"), 8, "String", "6 Overflow: \"1e999\"", "1e999"},
        {Variant("1,5"), 8, "String", "13 Type mismatch: expected Long, got String", "1,5"},
        {Variant(std::make_shared<LINES>()), 9, "LINES", "13 Type mismatch: expected Long, got LINES", "13"},
        {Variant::FromRecord(LINE_ENT{}), 36, "LINE_ENT", "13", "13 Type mismatch: expected String, got LINE_ENT"},
        {Variant::FromArray<LINE_ENT>({}, 1), 0x2024, "LINE_ENT", "13 Type mismatch: expected Long, got LINE_ENT()", "13"},
        {Variant::UnallocatedArray<ARC_ENT>(), 0x2024, "ARC_ENT", "13", "13"}, {Variant::FromArray<Variant>({Variant(1)}), 0x200C, "Variant", "13", "13"},
        {Variant::FromArray<double>({1.0}), 0x2005, "Double", "13", "13"}, {Variant::FromArray<std::string>({}), 0x2008, "String", "13", "13"},
        {Variant::FromArray<bool>({}), 0x200B, "Boolean", "13", "13"},    {Variant::FromArray<int32_t>({}), 0x2003, "Long", "13", "13"},
    };
    for (const auto& c : cases) {
        const Variant copy = c.value;  // copies keep everything, the bounds of arrays too
        std::string i, s;
        i += Outcome([&] { i = std::to_string(copy.ToInt32()); });
        s += Outcome([&] { s = copy.ToString(); });
        EXPECT_TRUE(copy.VarType() == c.varType && copy.TypeName() == c.typeName && i.starts_with(c.asInt32) && s.starts_with(c.asString))
            << c.typeName << ": " << i << ", " << s;
        EXPECT_TRUE(!copy.IsArray() || (copy.ArrayInfo()->lowerBound == c.value.ArrayInfo()->lowerBound &&
                                        copy.ArrayInfo()->allocated == c.value.ArrayInfo()->allocated));
    }
    EXPECT_EQ(Variant("1.25").ToDouble() + Variant(3).ToDouble(), 4.25);
    EXPECT_TRUE(Variant("True").ToBool() && !Variant("false").ToBool() && !Variant("0").ToBool() && Variant(-32768).ToInt16() == -32768);
    EXPECT_EQ(Outcome([] { Variant(40000).ToInt16(); }) + Outcome([] { Variant("x").ToInt16(); }), "6 Overflow13 Type mismatch: expected Integer, got String");
    EXPECT_TRUE(Outcome([] { Variant(2).ToObject(); }).starts_with(kMismatch));
    Variant r = Variant::FromRecord(Line("a")), rCopy = r;  // copies are deep, objects shared
    rCopy.RecordIf<LINE_ENT>()->Layer = "b";
    const Variant moved = std::move(r), lines = Variant(std::make_shared<LINES>());
    EXPECT_TRUE(moved.RecordIf<LINE_ENT>()->Layer == "a" && !moved.RecordIf<ARC_ENT>() && r.IsEmpty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(Variant(lines).ToObject(), lines.ToObject());
}

// Growing, cutting and copying its own elements, with constructors that may
// fail: the store holds what a vector would, in the fewest blocks, never
// moves an element, and a failed growth leaves it as it was.
RC_GTEST_PROP(SegmentedStore, BehavesLikeAVectorWhoseElementsNeverMove, ()) {
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
        // The fewest blocks that hold the elements; large blocks start on a cache line.
        RC_ASSERT(s.size() == model.size() && Counted::live == static_cast<int>(model.size()) && s.capacity() >= s.size());
        RC_ASSERT(s.capacity() == Store::slotsBefore(s.blockCount()) && s.allocatedBytes() >= s.capacity() * sizeof(Counted));
        if (s.blockCount() > 0) RC_ASSERT(Store::slotsBefore(s.blockCount() - 1) < s.size());
        for (std::size_t b = 0; b < s.blockCount(); ++b) {  // blocks of 1, 2, 4 ... 128; from 8 on, aligned
            RC_ASSERT(Store::slotsBefore(b + 1) - Store::slotsBefore(b) == std::min<std::size_t>(std::size_t{1} << std::min<std::size_t>(b, 20), 128));
            if (b >= 3) RC_ASSERT(reinterpret_cast<std::uintptr_t>(&s[Store::slotsBefore(b)]) % 64 == 0);
        }
        where.resize(std::min(where.size(), s.size()));
        for (std::size_t i = 0; i < s.size(); ++i) RC_ASSERT(s[i].value == model[i] && (i >= where.size() || &s[i] == where[i]));
        while (where.size() < s.size()) where.push_back(&s[where.size()]);
    }
    std::reverse(s.begin(), s.end());
    std::sort(s.begin(), s.end(), [](const Counted& a, const Counted& b) { return a.value < b.value; });
    std::sort(model.begin(), model.end());
    const auto n = static_cast<std::ptrdiff_t>(s.size());
    Store::const_iterator b = s.begin(), e = std::as_const(s).end();
    auto it = s.begin();
    it++, it -= 1;
    RC_ASSERT(e - b == n && std::distance(s.begin(), s.end()) == n && it == s.begin());
    for (std::ptrdiff_t k = 0; k < n; ++k)
        RC_ASSERT(b[k].value == model[k] && (k + b)->value == model[k] && (e - (n - k))->value == model[k] && b + k < e && b + k >= b);
    s.clear();
    RC_ASSERT(Counted::live == 0);
}
