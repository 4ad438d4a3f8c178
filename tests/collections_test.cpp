// The array list every collection is, against a model of its rules; sorting
// against the plain recursive quicksort; the generic value.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "ormavec.h"

using namespace ormavec;

namespace {

LINE_ENT Line(std::string layer, double key = 0, int32_t tag = 0) {
    LINE_ENT r;
    r.Layer = std::move(layer);
    r.StartX = key;
    r.ColorNumber = tag;
    return r;
}

// What `f` raises, as "number description"; "" when it raises nothing.
std::string Outcome(const std::function<void()>& f) {
    try {
        f();
    } catch (const Error& e) {
        return std::to_string(e.number()) + " " + e.description();
    }
    return "";
}
const std::string kBad = std::to_string(ErrInvalidArgument) + " ", kMismatch = "13 ";
const std::string kNoCompare = std::to_string(ErrNotSupported) + " Compare/1";

// The slots up to Capacity keep what was last stored in them; after a
// removal or a cut, Capacity comes down to Count + GrowLength x ShrinkFactor
// (rounded half to even) when that is less.
struct Model {
    std::vector<std::string> slots;
    int32_t count = 0, grow = 1000;
    float factor = 1.5f;
    int32_t capacity() const { return static_cast<int32_t>(slots.size()); }
    void shrink(bool destroy) {
        const double limit = count + static_cast<double>(grow) * static_cast<double>(factor);
        if (destroy || count == 0) slots.resize(count);
        else if (limit < capacity()) slots.resize(static_cast<std::size_t>(RoundHalfEven(limit)));
    }
};

}  // namespace

// Random operations through the typed members or the IArrayList view, with
// indexes, counts and settings in and out of range.
RC_GTEST_PROP(Collections, BehavesLikeTheModel, ()) {
    auto list = std::make_shared<LINES>();
    auto view = list->AsIArrayList();
    Model m;
    for (int step = 0, steps = *rc::gen::inRange(1, 60); step < steps; ++step) {
        const bool typed = *rc::gen::arbitrary<bool>(), flag = *rc::gen::arbitrary<bool>();
        const int32_t i = *rc::gen::inRange(-1, m.count + 1), n = *rc::gen::inRange(-1, m.count + 3 * m.grow + 2);
        const bool inside = i >= 0 && i < m.count;
        const std::string name = "r" + std::to_string(step);
        auto& s = m.slots;
        switch (*rc::gen::inRange(0, 9)) {
        case 0:
            typed ? list->Add(Line(name)) : view->AddItem(Variant::FromRecord(Line(name)));
            if (m.count == m.capacity()) s.resize(s.size() + m.grow);
            s[m.count++] = name;
            break;
        case 1:
            RC_ASSERT(Outcome([&] { typed ? list->RemoveItem(i, flag) : view->RemoveItem(i, flag); }) == (inside ? "" : kBad));
            if (!inside) break;
            if (flag && i < m.count - 1) {
                std::rotate(s.begin() + i, s.begin() + i + 1, s.begin() + m.count);
                s[m.count - 1] = s[m.count - 2];  // the freed slot keeps a copy of the last record
            } else if (!flag && m.count >= 2) {
                s[i] = s[m.count - 1];
            }
            --m.count;
            m.shrink(false);
            break;
        case 2:
            RC_ASSERT(Outcome([&] { typed ? list->SetCount(n, flag) : view->SetCount(n, flag); }) ==
                      (n < 0 ? kBad + "Minimal Count value must be greater than 0" : ""));
            if (n < 0) break;
            if (n > m.count && n > m.capacity()) {
                s.resize(m.capacity() + std::max(n - m.capacity(), m.grow));
                if (!flag) std::fill(s.begin(), s.end(), "");
                m.count = n;
            } else {
                m.count = n;
                m.shrink(false);
            }
            break;
        case 3:
            RC_ASSERT(Outcome([&] { typed ? list->LetItem(i, Line(name)) : view->LetItem(i, Variant::FromRecord(Line(name))); }) ==
                      (inside ? "" : kBad));
            if (inside) s[i] = name;
            break;
        case 4:
            typed ? list->Shrink(flag) : view->Shrink(flag);
            m.shrink(flag);
            break;
        case 5:
            RC_ASSERT(Outcome([&] { typed ? list->SetGrowLength(i % 12) : view->SetGrowLength(i % 12); }) ==
                      (i % 12 < 1 ? kBad + "GrowLength value must be greater than 0" : ""));
            m.grow = i % 12 < 1 ? m.grow : i % 12;
            break;
        case 6: {
            const float f = *rc::gen::elementOf(std::vector<float>{0.5f, 1.0f, std::nextafter(1.0f, 2.0f), 2.5f, NAN});
            RC_ASSERT(Outcome([&] { typed ? list->SetShrinkFactor(f) : view->SetShrinkFactor(f); }) ==
                      (f > 1.0f ? "" : kBad + "Invalid shrink factor value,  must be greater than 1!"));
            m.factor = f > 1.0f ? f : m.factor;
            break;
        }
        case 7: {
            const int32_t to = *rc::gen::inRange(-1, m.count + 1);
            std::shared_ptr<IArrayList> copy;
            const bool valid = i >= 0 && i <= to && to < m.count;
            RC_ASSERT(Outcome([&] { copy = typed ? list->Copy(i, to)->AsIArrayList() : view->Copy(i, to); }) == (valid ? "" : kBad));
            if (!valid) break;
            auto c = std::static_pointer_cast<LINES>(copy->Target());
            RC_ASSERT(c->Capacity() == std::max(to - i + 1, 1000) && c->GrowLength() == 1000 && c->ShrinkFactor() == 1.5f);
            for (int32_t k = 0; k <= to - i; ++k) RC_ASSERT(c->ItemRef(k).Layer == s[i + k]);
            break;
        }
        default: {
            const std::vector<LINE_ENT> items(i + 1, Line(name));
            typed ? list->SetArray(items) : view->SetArray(Variant::FromArray<LINE_ENT>(items));
            s.assign(items.size(), name);
            m.count = m.capacity();
        }
        }
        RC_ASSERT(list->Count() == m.count && view->UpperBound() == m.count - 1);
        RC_ASSERT(list->Capacity() == m.capacity() && view->GrowLength() == m.grow && view->ShrinkFactor() == m.factor);
        for (int32_t k = 0; k < m.count; ++k) RC_ASSERT(list->ItemRef(k).Layer == s[k]);
        if (i >= 0 && i < m.count) RC_ASSERT(view->Item(i).RecordIf<LINE_ENT>()->Layer == s[i]);
    }
    const Variant array = view->GetArray();
    RC_ASSERT(array.VarType() == (vt::Array | vt::Record) && array.ArrayInfo()->Size() == m.count);
    RC_ASSERT(array.ArrayInfo()->allocated == (m.count > 0));
}

TEST(Collections, NewListsViewsAndRefusals) {
    for (auto list : {std::make_shared<LINES>()->AsIArrayList(), std::make_shared<ATTRIBS>()->AsIArrayList()}) {
        const auto fresh = list->CreateNew();
        EXPECT_EQ(fresh->ClassName(), list->ClassName());
        EXPECT_EQ(fresh->GrowLength(), list->ClassName() == "ATTRIBS" ? 10 : 1000);
        EXPECT_EQ(fresh->UpperBound() + fresh->LowerBound(), -1);
        EXPECT_EQ(fresh->VarType(), 36);
        EXPECT_FALSE(fresh->GetArray().ArrayInfo()->allocated);
        EXPECT_EQ(Outcome([&] { fresh->Copy(); }), kBad);
        EXPECT_EQ(Outcome([&] { fresh->Sort(0, 0, std::make_shared<NullComparer>()); }), kBad);
    }
    auto lines = std::make_shared<LINES>();
    int32_t index = 7;
    EXPECT_FALSE(lines->Find(Line("a"), index));
    lines->Add(Line("a"));
    auto view = lines->AsIArrayList();
    EXPECT_EQ(Outcome([&] { view->Find(view->Item(0), index); }), kNoCompare);
    EXPECT_EQ(index, 7);
    EXPECT_EQ(Outcome([&] { view->SetItem(0, view->Item(0)); }),
              std::to_string(ErrNotSupported) + " Value type container does not support Set statement!");
    const std::pair<Variant, std::string> refused[] = {
        {Variant(5), kBad}, {Variant::FromArray<LINE_ENT>({Line("b")}, 1), kBad}, {Variant::FromArray<ARC_ENT>({}), kMismatch},
        {Variant::UnallocatedArray<ARC_ENT>(), kMismatch}, {Variant::FromArray<Variant>({Variant(1)}), kMismatch}};
    for (const auto& [value, outcome] : refused) EXPECT_TRUE(Outcome([&] { view->SetArray(value); }).starts_with(outcome));
    EXPECT_TRUE(Outcome([&] { view->AddItem(Variant::FromRecord(ARC_ENT{})); }).starts_with(kMismatch));
    EXPECT_EQ(lines->Item(0).Layer, "a");
    view->SetArray(Variant::FromArray<Variant>({Variant::FromRecord(Line("v"))}));
    EXPECT_EQ(lines->Item(0).Layer, "v");
    EXPECT_TRUE(Outcome([] { LINES onStack; onStack.AsIArrayList(); }).starts_with(std::to_string(ErrInvalidOperation)));

    NullArrayList null;  // the creatable stand-in does nothing
    null.SetArray({}), null.SetShrinkFactor(2), null.SetGrowLength(2), null.Shrink(1), null.EraseArray(), null.SetCount(3, true);
    null.AddItem(Variant(1)), null.RemoveItem(0, true), null.LetItem(0, {}), null.SetItem(0, {}), null.Sort(0, 5, nullptr);
    EXPECT_FALSE(null.Find(Variant(1), index));
    EXPECT_EQ(null.Count() + null.UpperBound() + null.LowerBound() + null.GrowLength() + null.VarType() + null.ShrinkFactor(), 0);
    EXPECT_TRUE(null.Item(0).IsEmpty() && null.GetArray().IsEmpty() && !null.Copy({}, {}) && !null.CreateNew() && !null.Target());
    EXPECT_EQ(NullComparer().Compare(Variant(1), Variant("x")), 0);
}

TEST(Collections, RecordsAreCopiesAndObjectsAreShared) {
    auto polys = std::make_shared<POLYLINES>();
    POLYLINE_ENT p;
    p.Vertices.resize(2);
    polys->Add(p);
    p.Vertices.clear();
    POLYLINE_ENT out = polys->Item(0);
    out.Vertices.push_back({});
    polys->AsIArrayList()->Item(0).RecordIf<POLYLINE_ENT>()->Vertices.clear();
    polys->GetArray()[0].Vertices.clear();
    EXPECT_EQ(polys->Item(0).Vertices.size(), 2u);
    polys->LetItem(0, out);
    out.Vertices.clear();
    EXPECT_EQ(polys->Item(0).Vertices.size(), 3u);

    auto blocks = std::make_shared<BLOCKS>();
    BLOCK_BLOCK b;
    b.BlockName = "Door";
    BLOCKS::CreateEntityArrays(b);
    blocks->Add(b);
    b.BlockName = "DOOR";  // a name already present, in any case, is dropped
    blocks->AsIArrayList()->AddItem(Variant::FromRecord(b));
    b.LINES->Add(Line("in block"));
    EXPECT_EQ(blocks->Count(), 1);
    EXPECT_EQ(blocks->Copy()->Item(0).LINES->Count(), 1);

    auto lines = std::make_shared<LINES>();  // one of the list's own records, added while the storage grows
    lines->SetArray(std::vector<LINE_ENT>(1000, Line("x")));
    lines->Add(lines->ItemRef(999));
    EXPECT_EQ(lines->Item(1000).Layer, "x");
}

namespace {

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
    host->order = ByKey;
    if (kind != 0) host->order = [kind, &rng](const LINE_ENT&, const LINE_ENT&) { return kind == 3 ? int(rng() % 3) - 1 : kind == 1 ? -1 : 1; };
    const std::string outcome = Outcome([&] { typed ? list->Sort(lo, hi, host) : list->AsIArrayList()->Sort(lo, hi, host); });
    RC_ASSERT(outcome == "" || outcome == std::to_string(ErrInvalidOperation) + " stop");
    for (auto [x, p] : host->calls) RC_ASSERT(x >= lo && x <= hi && p >= lo && p <= hi);
    std::vector<int32_t> tags, all(n);
    for (const LINE_ENT& r : *list) tags.push_back(r.ColorNumber);
    for (int32_t k = 0; k < n; ++k) RC_ASSERT((k >= lo && k <= hi) || tags[k] == k);
    std::iota(all.begin(), all.end(), 0);
    RC_ASSERT(std::is_permutation(tags.begin(), tags.end(), all.begin()));
    if (kind != 0 || !outcome.empty()) return;
    std::vector<std::pair<int32_t, int32_t>> calls;
    Reference(records, lo, hi, calls);
    RC_ASSERT(host->calls == calls);
    for (int32_t k = 0; k < n; ++k) RC_ASSERT(tags[k] == records[k].ColorNumber);
}

TEST(Sort, WithoutAComparerOrWithAListAsComparer) {
    auto l = std::make_shared<LINES>();
    for (int32_t k = 0; k < 3; ++k) l->Add(Line("", 3 - k, k));
    EXPECT_EQ(Outcome([&] { l->Sort(); }), kNoCompare);
    EXPECT_EQ(Outcome([&] { l->Sort({}, {}, std::make_shared<LINES>()->AsIComparer()); }), kNoCompare);
    EXPECT_TRUE(Outcome([&] { l->Sort({}, {}, std::make_shared<ARCS>()->AsIComparer()); }).starts_with(kMismatch));
    EXPECT_EQ(l->ItemRef(0).ColorNumber, 0);
    l->SortWith(0, 2, ByKey);
    EXPECT_EQ(l->ItemRef(0).ColorNumber, 2);
    // A comparer that resizes the list, or empties and refills it, is stopped.
    for (bool refill : {false, true}) {
        auto host = std::make_shared<Host>();
        host->order = [&](const LINE_ENT&, const LINE_ENT&) {
            if (refill) l->SetCount(0, false);
            l->SetCount(refill ? 3 : 5000, false);
            return 1;
        };
        l->SetCount(3, false);
        l->Shrink(1);
        EXPECT_TRUE(Outcome([&] { l->Sort({}, {}, host); }).starts_with(std::to_string(ErrInvalidOperation)));
    }
}

TEST(Variant, TypesAndConversions) {
    const struct {
        Variant value;
        int32_t varType;
        std::string_view typeName;
        std::string asInt32, asString;
    } cases[] = {
        {Variant(), 0, "Empty", "0", ""},
        {Variant(int16_t{-3}), 2, "Integer", "-3", "-3"},
        {Variant(7), 3, "Long", "7", "7"},
        {Variant(2.5f), 4, "Single", "2", "2.5"},
        {Variant(3.5), 5, "Double", "4", "3.5"},
        {Variant(-2.5), 5, "Double", "-2", "-2.5"},
        {Variant(-2147483649.0), 5, "Double", "6 Overflow", "-2147483649"},
        {Variant(" -7 "), 8, "String", "-7", " -7 "},
        {Variant("1.5"), 8, "String", "2", "1.5"},
        {Variant("1e999"), 8, "String", "6 Overflow: \"1e999\"", "1e999"},
        {Variant("1,5"), 8, "String", "13 Type mismatch: expected Double, got String", "1,5"},
        {Variant(true), 11, "Boolean", "-1", "True"},
        {Variant(std::make_shared<LINES>()), 9, "LINES", "13 Type mismatch: expected Long, got LINES", "13"},
        {Variant::FromRecord(LINE_ENT{}), 36, "LINE_ENT", "13 Type mismatch: expected Long, got LINE_ENT", "13"},
        {Variant::FromArray<LINE_ENT>({}, 1), 0x2024, "LINE_ENT", "13 Type mismatch: expected Long, got LINE_ENT()", "13"},
        {Variant::UnallocatedArray<ARC_ENT>(), 0x2024, "ARC_ENT", "13", "13"},
        {Variant::FromArray<Variant>({Variant(1)}), 0x200C, "Variant", "13", "13"},
        {Variant::FromArray<double>({1.0}), 0x2005, "Double", "13", "13"},
        {Variant::FromArray<std::string>({}), 0x2008, "String", "13", "13"},
        {Variant::FromArray<bool>({}), 0x200B, "Boolean", "13", "13"},
        {Variant::FromArray<int32_t>({}), 0x2003, "Long", "13", "13"},
    };
    for (const auto& c : cases) {
        const Variant copy = c.value;  // copies keep everything
        EXPECT_EQ(copy.VarType(), c.varType) << c.typeName;
        EXPECT_EQ(copy.TypeName(), c.typeName);
        std::string i, s;
        i += Outcome([&] { i = std::to_string(copy.ToInt32()); });
        s += Outcome([&] { s = copy.ToString(); });
        EXPECT_TRUE(i.starts_with(c.asInt32)) << c.typeName << ": " << i;
        EXPECT_TRUE(s.starts_with(c.asString)) << c.typeName << ": " << s;
        if (copy.IsArray()) {
            EXPECT_EQ(copy.ArrayInfo()->lowerBound, c.value.ArrayInfo()->lowerBound);
            EXPECT_EQ(copy.ArrayInfo()->allocated, c.value.ArrayInfo()->allocated);
        }
    }
    EXPECT_EQ(Variant("1.25").ToDouble() + Variant(3).ToDouble(), 4.25);
    EXPECT_TRUE(Variant("True").ToBool() && !Variant("false").ToBool() && !Variant("0").ToBool() && Variant(2).ToBool());
    EXPECT_EQ(Variant(-32768).ToInt16(), -32768);
    EXPECT_EQ(Outcome([] { Variant(40000).ToInt16(); }), "6 Overflow");
    EXPECT_TRUE(Outcome([] { Variant(2).ToObject(); }).starts_with(kMismatch));
    POLYLINE_ENT p;
    p.Vertices.resize(2);
    Variant r = Variant::FromRecord(p), rCopy = r;  // copies are deep
    rCopy.RecordIf<POLYLINE_ENT>()->Vertices.clear();
    EXPECT_EQ(r.RecordIf<POLYLINE_ENT>()->Vertices.size(), 2u);
    EXPECT_EQ(r.RecordIf<LINE_ENT>(), nullptr);
    const Variant a = Variant::FromArray<Variant>({r}), aCopy = a;
    EXPECT_NE(&aCopy.ArrayIf<Variant>()->items[0], &a.ArrayIf<Variant>()->items[0]);
    const Variant moved = std::move(r);
    EXPECT_TRUE(r.IsEmpty() && moved.IsRecord());  // NOLINT(bugprone-use-after-move)
    auto lines = std::make_shared<LINES>();
    EXPECT_EQ(Variant(lines).ToObject(), lines);  // objects are shared
}
