// The array-list template seen through LINES, ATTRIBS, LAYERS and BLOCKS:
// capacity arithmetic, errors, the IArrayList view and value semantics.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using ormavec::test::Raised;

namespace {

LINE_ENT Line(const std::string& layer, double x = 0) {
    LINE_ENT r;
    r.Layer = layer;
    r.StartX = x;
    return r;
}

std::shared_ptr<LINES> Lines(int n) {
    auto l = std::make_shared<LINES>();
    for (int i = 0; i < n; ++i) l->Add(Line("L" + std::to_string(i), i));
    return l;
}

std::vector<std::string> Layers(const LINES& l) {
    std::vector<std::string> out;
    for (const LINE_ENT& r : l) out.push_back(r.Layer);
    return out;
}

}  // namespace

TEST(Collections, NewListMembers) {
    struct Case {
        std::shared_ptr<IArrayList> list;
        int32_t growLength;
    };
    const Case cases[] = {{std::make_shared<LINES>()->AsIArrayList(), 1000},
                          {std::make_shared<LAYERS>()->AsIArrayList(), 1000},
                          {std::make_shared<BLOCKS>()->AsIArrayList(), 1000},
                          {std::make_shared<XYZS>()->AsIArrayList(), 1000},
                          {std::make_shared<ATTRIBS>()->AsIArrayList(), 10}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.list->ClassName());
        EXPECT_EQ(c.list->Count(), 0);
        EXPECT_EQ(c.list->LowerBound(), 0);
        EXPECT_EQ(c.list->UpperBound(), -1);
        EXPECT_EQ(c.list->VarType(), 36);
        EXPECT_EQ(c.list->GrowLength(), c.growLength);
        EXPECT_EQ(c.list->ShrinkFactor(), 1.5f);
        Variant a = c.list->GetArray();
        ASSERT_TRUE(a.IsArray());
        EXPECT_FALSE(a.ArrayInfo()->allocated);
        EXPECT_EQ(Raised([&] { c.list->Copy(); }).number(), ErrInvalidArgument);
        EXPECT_EQ(Raised([&] { c.list->Sort(0, 0, std::make_shared<NullComparer>()); }).number(), ErrInvalidArgument);
    }
    EXPECT_EQ(LINES().Capacity(), 0);
}

TEST(Collections, AppendGrowsByGrowLength) {
    auto l = Lines(1);
    EXPECT_EQ(l->Capacity(), 1000);
    for (int i = 1; i < 1000; ++i) l->Add(Line("x"));
    EXPECT_EQ(l->Capacity(), 1000);
    l->Add(Line("x"));
    EXPECT_EQ(l->Count(), 1001);
    EXPECT_EQ(l->Capacity(), 2000);
}

TEST(Collections, RemovalsCutStorageToCountPlusOneAndAHalfGrowLengths) {
    auto l = Lines(1001);
    ASSERT_EQ(l->Capacity(), 2000);
    while (l->Count() > 0) {
        l->RemoveItem(l->Count() - 1, true);
        int32_t n = l->Count();
        int32_t expected = n == 0 ? 0 : std::min(2000, n + 1500);
        ASSERT_EQ(l->Capacity(), expected) << "at Count " << n;
        if (n == 500) {
            EXPECT_EQ(l->Capacity(), 2000);
        } else if (n == 499) {
            EXPECT_EQ(l->Capacity(), 1999);
        }
    }
}

TEST(Collections, SetCountGrowth) {
    struct Case {
        int32_t newCount;
        bool preserve;
        int32_t capacity;
        std::string first;  // element 0 afterwards
    };
    const Case cases[] = {{5000, true, 5000, "L0"}, {1500, true, 2000, "L0"}, {1500, false, 2000, ""}, {900, false, 1000, "L0"}};
    for (const Case& c : cases) {
        auto l = Lines(1);
        ASSERT_EQ(l->Capacity(), 1000);
        l->SetCount(c.newCount, c.preserve);
        EXPECT_EQ(l->Count(), c.newCount);
        EXPECT_EQ(l->Capacity(), c.capacity) << c.newCount;
        EXPECT_EQ(l->Item(0).Layer, c.first);
        EXPECT_EQ(l->Item(c.newCount - 1).Layer, "");
    }
    auto full = Lines(1000);
    full->SetCount(0, false);
    EXPECT_EQ(full->Count(), 0);
    EXPECT_EQ(full->Capacity(), 0);
}

TEST(Collections, SlotsBeyondCountKeepTheirRecords) {
    struct Case {
        const char* what;
        void (*change)(LINES&);
        std::vector<std::string> afterRegrow;  // SetCount(4) afterwards
    };
    const Case cases[] = {
        {"remove last", [](LINES& l) { l.RemoveItem(3, true); }, {"L0", "L1", "L2", "L3"}},
        {"remove last unordered", [](LINES& l) { l.RemoveItem(3, false); }, {"L0", "L1", "L2", "L3"}},
        {"remove keeping order", [](LINES& l) { l.RemoveItem(1, true); }, {"L0", "L2", "L3", "L3"}},
        {"remove unordered", [](LINES& l) { l.RemoveItem(1, false); }, {"L0", "L3", "L2", "L3"}},
        {"delete first", [](LINES& l) { l.Delete(0); }, {"L1", "L2", "L3", "L3"}},
        {"cut count", [](LINES& l) { l.SetCount(1, true); }, {"L0", "L1", "L2", "L3"}},
        {"clear count", [](LINES& l) { l.SetCount(0, true); }, {"", "", "", ""}},  // storage released
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto l = Lines(4);
        c.change(*l);
        l->SetCount(4, false);
        EXPECT_EQ(Layers(*l), c.afterRegrow);
    }
    auto one = Lines(1);
    one->RemoveItem(0, false);
    EXPECT_EQ(one->Count(), 0);
    EXPECT_EQ(one->Capacity(), 0);
}

TEST(Collections, ShrinkRoundsTheLimitHalfToEven) {
    // GrowLength 3 x ShrinkFactor 1.5 leaves Count + 4.5 slots.
    const std::pair<int32_t, int32_t> cases[] = {{1, 6}, {2, 6}, {3, 8}, {4, 8}};
    for (auto [count, capacity] : cases) {
        auto l = Lines(10);
        l->SetGrowLength(3);
        l->SetCount(count, false);
        EXPECT_EQ(l->Capacity(), capacity) << "Count " << count;
    }
    auto l = Lines(10);
    l->Shrink(0);
    EXPECT_EQ(l->Capacity(), 1000);
    l->Shrink(1);
    EXPECT_EQ(l->Capacity(), 10);
    EXPECT_EQ(l->Item(9).Layer, "L9");
}

TEST(Collections, SettingsAndTheirErrors) {
    auto l = Lines(3);
    const float refused[] = {1.0f, 0.5f, -2.0f, std::numeric_limits<float>::quiet_NaN()};
    for (float f : refused) {
        Error e = Raised([&] { l->SetShrinkFactor(f); });
        EXPECT_EQ(e.number(), ErrInvalidArgument);
        EXPECT_EQ(e.description(), "Invalid shrink factor value,  must be greater than 1!");
        EXPECT_EQ(l->ShrinkFactor(), 1.5f);
    }
    l->SetShrinkFactor(std::nextafter(1.0f, 2.0f));
    EXPECT_EQ(l->ShrinkFactor(), 1.0000001f);

    for (int32_t g : {0, -1, INT32_MIN}) {
        Error e = Raised([&] { l->SetGrowLength(g); });
        EXPECT_EQ(e.number(), ErrInvalidArgument);
        EXPECT_EQ(e.description(), "GrowLength value must be greater than 0");
    }
    EXPECT_EQ(l->GrowLength(), 1000);
    l->SetGrowLength(1);
    EXPECT_EQ(l->GrowLength(), 1);

    Error e = Raised([&] { l->SetCount(-1, true); });
    EXPECT_EQ(e.number(), ErrInvalidArgument);
    EXPECT_EQ(e.description(), "Minimal Count value must be greater than 0");
    EXPECT_EQ(l->Count(), 3);
}

TEST(Collections, IndexAndRangeErrorsHaveNoDescription) {
    auto l = Lines(5);
    const std::function<void()> calls[] = {
        [&] { l->Item(-1); },         [&] { l->Item(5); },         [&] { l->LetItem(5, Line("x")); },
        [&] { l->RemoveItem(-1, true); }, [&] { l->RemoveItem(5, false); }, [&] { l->Delete(5); },
        [&] { l->Copy(2, 1); },       [&] { l->Copy(-1, 2); },     [&] { l->Copy(0, 5); },
        [&] { l->Sort(3, 2); },       [&] { l->SortWith(0, 5, [](auto&, auto&) { return 0; }); },
        [&] { l->SetArray(Variant(5)); },
        [&] { l->SetArray(Variant::FromArray<LINE_ENT>({Line("a"), Line("b"), Line("c")}, 1)); },
    };
    for (const auto& call : calls) {
        Error e = Raised(call);
        EXPECT_EQ(e.number(), ErrInvalidArgument);
        EXPECT_EQ(e.description(), "");
        EXPECT_EQ(e.source(), "LINES");
    }
    EXPECT_EQ(Layers(*l), (std::vector<std::string>{"L0", "L1", "L2", "L3", "L4"}));
}

TEST(Collections, CopyOfARange) {
    auto l = Lines(5);
    auto c = l->Copy(1, 2);
    EXPECT_EQ(Layers(*c), (std::vector<std::string>{"L1", "L2"}));
    EXPECT_EQ(c->Capacity(), 1000);
    auto whole = l->Copy();
    EXPECT_EQ(whole->Count(), 5);

    auto attribs = std::make_shared<ATTRIBS>();
    attribs->Add(ATTRIB_ENT{});
    attribs->SetShrinkFactor(3.0f);
    auto copy = attribs->AsIArrayList()->Copy(Variant(0), Variant());
    EXPECT_EQ(copy->ClassName(), "ATTRIBS");
    EXPECT_EQ(copy->GrowLength(), 10);
    EXPECT_EQ(copy->ShrinkFactor(), 1.5f);
    EXPECT_EQ(std::static_pointer_cast<ATTRIBS>(copy->Target())->Capacity(), 10);
}

TEST(Collections, SetArrayAndGetArray) {
    auto l = Lines(2);
    l->SetArray(Variant::FromArray<LINE_ENT>({Line("a"), Line("b"), Line("c")}));
    EXPECT_EQ(Layers(*l), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(l->Capacity(), 3);

    l->SetArray(Variant::FromArray<Variant>({Variant::FromRecord(Line("v"))}));
    EXPECT_EQ(Layers(*l), std::vector<std::string>{"v"});

    EXPECT_EQ(Raised([&] { l->SetArray(Variant::FromArray<ARC_ENT>({ARC_ENT{}})); }).number(), err::TypeMismatch);
    EXPECT_EQ(Raised([&] { l->SetArray(Variant::UnallocatedArray<ARC_ENT>()); }).number(), err::TypeMismatch);
    EXPECT_EQ(Raised([&] { l->SetArray(Variant::FromArray<Variant>({Variant(1)})); }).number(), err::TypeMismatch);
    EXPECT_EQ(Layers(*l), std::vector<std::string>{"v"});

    l->SetArray(Variant::UnallocatedArray<LINE_ENT>());
    EXPECT_EQ(l->Count(), 0);
    EXPECT_EQ(l->Capacity(), 0);

    auto view = Lines(3)->AsIArrayList();
    Variant a = view->GetArray();
    EXPECT_EQ(a.VarType(), vt::Array | 36);
    ASSERT_NE(a.ArrayIf<LINE_ENT>(), nullptr);
    EXPECT_EQ(a.ArrayInfo()->lowerBound, 0);
    EXPECT_EQ(a.ArrayIf<LINE_ENT>()->items.size(), 3u);
    EXPECT_EQ(a.ArrayIf<LINE_ENT>()->items[2].Layer, "L2");
}

TEST(Collections, FindHasNoOrderToUse) {
    auto l = std::make_shared<LINES>();
    int32_t index = 7;
    EXPECT_FALSE(l->Find(Line("a"), index));
    EXPECT_EQ(index, 7);
    l->Add(Line("a"));
    Error e = Raised([&] { l->Find(Line("a"), index); });
    EXPECT_EQ(e.number(), ErrNotSupported);
    EXPECT_EQ(e.description(), "Compare/1");
    EXPECT_EQ(index, 7);
}

TEST(Collections, IArrayListForwardsEveryMember) {
    auto l = std::make_shared<LINES>();
    auto v = l->AsIArrayList();
    EXPECT_EQ(v->Target(), l);
    v->AddItem(Variant::FromRecord(Line("a")));
    v->AddItem(Variant::FromRecord(Line("b")));
    EXPECT_EQ(l->Count(), 2);
    EXPECT_EQ(v->Count(), 2);
    EXPECT_EQ(v->UpperBound(), 1);
    Variant item = v->Item(1);
    EXPECT_EQ(item.VarType(), 36);
    EXPECT_EQ(item.TypeName(), "LINE_ENT");
    EXPECT_EQ(item.RecordIf<LINE_ENT>()->Layer, "b");
    v->LetItem(0, Variant::FromRecord(Line("c")));
    EXPECT_EQ(l->Item(0).Layer, "c");
    EXPECT_EQ(Raised([&] { v->LetItem(0, Variant::FromRecord(ARC_ENT{})); }).number(), err::TypeMismatch);
    EXPECT_EQ(Raised([&] { v->AddItem(Variant(1.5)); }).number(), err::TypeMismatch);
    Error set = Raised([&] { v->SetItem(0, Variant::FromRecord(Line("d"))); });
    EXPECT_EQ(set.number(), ErrNotSupported);
    EXPECT_EQ(set.description(), "Value type container does not support Set statement!");
    EXPECT_EQ(l->Item(0).Layer, "c");

    v->SetGrowLength(7);
    EXPECT_EQ(l->GrowLength(), 7);
    v->SetShrinkFactor(2.0f);
    EXPECT_EQ(l->ShrinkFactor(), 2.0f);
    v->SetCount(5, true);
    EXPECT_EQ(l->Count(), 5);
    v->RemoveItem(0, false);
    EXPECT_EQ(l->Count(), 4);
    v->Shrink(1);
    EXPECT_EQ(l->Capacity(), 4);
    int32_t index = -5;
    EXPECT_EQ(Raised([&] { v->Find(Variant::FromRecord(Line("b")), index); }).description(), "Compare/1");
    v->SetArray(Variant::FromArray<LINE_ENT>({Line("x")}));
    EXPECT_EQ(l->Item(0).Layer, "x");
    v->EraseArray();
    EXPECT_EQ(l->Count(), 0);
    EXPECT_EQ(l->Capacity(), 0);
    EXPECT_EQ(Raised([&] { v->Sort(0, 0, nullptr); }).number(), ErrInvalidArgument);

    EXPECT_EQ(Raised([] {
                  LINES onStack;
                  onStack.AsIArrayList();
              }).number(),
              ErrInvalidOperation);
}

TEST(Collections, CreateNewGivesAnEmptyListOfTheSameClass) {
    auto layers = std::make_shared<LAYERS>();
    layers->Add(LAYERS_TAB{"0", "CONTINUOUS", 7, 0});
    auto fresh = layers->AsIArrayList()->CreateNew();
    EXPECT_EQ(fresh->ClassName(), "LAYERS");
    EXPECT_NE(std::dynamic_pointer_cast<LAYERS>(fresh->Target()), nullptr);
    EXPECT_EQ(fresh->Count(), 0);

    auto attribs = std::make_shared<ATTRIBS>();
    attribs->SetGrowLength(99);
    auto a = attribs->AsIArrayList()->CreateNew();
    EXPECT_NE(std::dynamic_pointer_cast<ATTRIBS>(a->Target()), nullptr);
    EXPECT_EQ(a->GrowLength(), 10);
}

TEST(Collections, NullArrayListAndComparerDoNothing) {
    NullArrayList n;
    n.AddItem(Variant(1));
    n.SetItem(0, Variant(1));
    n.Sort(0, 5, nullptr);
    int32_t index = 3;
    EXPECT_FALSE(n.Find(Variant(1), index));
    EXPECT_EQ(index, 3);
    EXPECT_EQ(n.Count() + n.UpperBound() + n.LowerBound() + n.GrowLength() + n.VarType(), 0);
    EXPECT_EQ(n.ShrinkFactor(), 0.0f);
    EXPECT_TRUE(n.Item(0).IsEmpty());
    EXPECT_TRUE(n.GetArray().IsEmpty());
    EXPECT_EQ(n.Copy({}, {}), nullptr);
    EXPECT_EQ(n.CreateNew(), nullptr);
    EXPECT_EQ(n.Target(), nullptr);
    EXPECT_EQ(NullComparer().Compare(Variant(1), Variant("x")), 0);
}

TEST(Collections, NamedListsDropADuplicateNameInAnyCase) {
    auto blocks = std::make_shared<BLOCKS>();
    BLOCK_BLOCK b;
    b.BlockName = "Door";
    blocks->Add(b);
    b.BlockName = "DOOR";
    blocks->AddItem(b);
    blocks->AsIArrayList()->AddItem(Variant::FromRecord(b));
    EXPECT_EQ(blocks->Count(), 1);
    EXPECT_EQ(blocks->Item(0).BlockName, "Door");
}

TEST(Collections, RecordsAreCopiedInAndOut) {
    auto polys = std::make_shared<POLYLINES>();
    POLYLINE_ENT p;
    p.Layer = "walls";
    p.Vertices.resize(2);
    polys->Add(p);
    p.Layer = "changed";
    p.Vertices[0].X = 5;
    EXPECT_EQ(polys->Item(0).Layer, "walls");

    POLYLINE_ENT out = polys->Item(0);
    out.Vertices[1].Y = 9;
    out.Vertices.push_back({});
    EXPECT_EQ(polys->Item(0).Vertices.size(), 2u);
    EXPECT_EQ(polys->Item(0).Vertices[1].Y, 0);

    polys->LetItem(0, out);
    out.Vertices.clear();
    EXPECT_EQ(polys->Item(0).Vertices.size(), 3u);

    std::vector<POLYLINE_ENT> arr = polys->GetArray();
    arr[0].Vertices[0].X = 1;
    auto copy = polys->Copy();
    copy->LetItem(0, POLYLINE_ENT{});
    Variant item = polys->AsIArrayList()->Item(0);
    item.RecordIf<POLYLINE_ENT>()->Vertices.clear();
    EXPECT_EQ(polys->Item(0).Vertices.size(), 3u);
    EXPECT_EQ(polys->Item(0).Vertices[0].X, 0);

    // A record that is one of the list's own survives the growth of the storage.
    auto lines = Lines(1000);
    lines->Add(lines->ItemRef(999));
    EXPECT_EQ(lines->Item(1000).Layer, "L999");
}

TEST(Collections, ObjectReferencesInRecordsAreShared) {
    auto blocks = std::make_shared<BLOCKS>();
    BLOCK_BLOCK b;
    b.BlockName = "B";
    BLOCKS::CreateEntityArrays(b);
    blocks->Add(b);

    BLOCK_BLOCK taken = blocks->Item(0);
    taken.BlockName = "renamed";
    taken.LINES->Add(Line("in block"));
    EXPECT_EQ(blocks->Item(0).BlockName, "B");
    EXPECT_EQ(blocks->Item(0).LINES->Count(), 1);
    EXPECT_EQ(blocks->Copy()->Item(0).LINES, taken.LINES);

    auto inserts = std::make_shared<INSERTS>();
    INSERT_ENT ins;
    ins.ATTRIBS = std::make_shared<ATTRIBS>();
    inserts->Add(ins);
    ins.ATTRIBS->Add(ATTRIB_ENT{});
    EXPECT_EQ(inserts->Item(0).ATTRIBS->Count(), 1);
    EXPECT_EQ(inserts->Item(0).ATTRIBS->GrowLength(), 10);
}
