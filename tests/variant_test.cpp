// The generic value: type codes and names, conversions, copies and arrays.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using ormavec::test::Raised;

TEST(Variant, TypeCodesAndNames) {
    const struct {
        Variant value;
        int32_t varType;
        std::string_view typeName;
    } cases[] = {
        {Variant(), 0, "Empty"},
        {Variant(int16_t{2}), 2, "Integer"},
        {Variant(2), 3, "Long"},
        {Variant(2.5f), 4, "Single"},
        {Variant(2.5), 5, "Double"},
        {Variant("x"), 8, "String"},
        {Variant(true), 11, "Boolean"},
        {Variant(std::make_shared<LINES>()), 9, "LINES"},
        {Variant::FromRecord(LINE_ENT{}), 36, "LINE_ENT"},
        {Variant::FromRecord(LAYERS_TAB{}), 36, "LAYERS_TAB"},
        {Variant::FromArray<LINE_ENT>({}), 0x2000 | 36, "LINE_ENT"},
        {Variant::UnallocatedArray<ARC_ENT>(), 0x2000 | 36, "ARC_ENT"},
        {Variant::FromArray<Variant>({Variant(1)}), 0x2000 | 12, "Variant"},
        {Variant::FromArray<double>({1.0}), 0x2000 | 5, "Double"},
        {Variant::FromArray<std::string>({}), 0x2000 | 8, "String"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.value.VarType(), c.varType) << c.typeName;
        EXPECT_EQ(c.value.TypeName(), c.typeName);
    }
}

TEST(Variant, ConversionToInt32) {
    const struct {
        Variant value;
        int32_t result;
    } ok[] = {
        {Variant("12"), 12},  {Variant(" -7 "), -7},  {Variant(2.5), 2},      {Variant(3.5), 4},
        {Variant(-2.5), -2},  {Variant(2.5f), 2},     {Variant("0.5"), 0},    {Variant("1.5"), 2},
        {Variant(true), -1},  {Variant(false), 0},    {Variant(), 0},         {Variant(2147483647.4), 2147483647},
        {Variant(int16_t{-3}), -3},
    };
    for (const auto& c : ok) EXPECT_EQ(c.value.ToInt32(), c.result) << c.value.ToString();

    const struct {
        Variant value;
        int32_t number;
    } bad[] = {
        {Variant("2147483648"), err::Overflow},
        {Variant(-2147483649.0), err::Overflow},
        {Variant(1e300), err::Overflow},
        {Variant("1e999"), err::Overflow},
        {Variant("abc"), err::TypeMismatch},
        {Variant("1,5"), err::TypeMismatch},
        {Variant(""), err::TypeMismatch},
        {Variant::FromRecord(LINE_ENT{}), err::TypeMismatch},
        {Variant::FromArray<int32_t>({1}), err::TypeMismatch},
        {Variant(std::make_shared<LINES>()), err::TypeMismatch},
    };
    for (const auto& c : bad) EXPECT_EQ(Raised([&] { c.value.ToInt32(); }).number(), c.number) << c.value.TypeName();
    EXPECT_EQ(Raised([] { Variant(40000).ToInt16(); }).number(), err::Overflow);
    EXPECT_EQ(Variant(-32768).ToInt16(), -32768);
}

TEST(Variant, OtherConversions) {
    EXPECT_EQ(Variant("1.25").ToDouble(), 1.25);
    EXPECT_EQ(Variant(3).ToDouble(), 3.0);
    EXPECT_EQ(Variant(2.5).ToString(), "2.5");
    EXPECT_EQ(Variant(-12).ToString(), "-12");
    EXPECT_EQ(Variant(true).ToString(), "True");
    EXPECT_TRUE(Variant("True").ToBool());
    EXPECT_FALSE(Variant("0").ToBool());
    EXPECT_EQ(Raised([] { Variant(2).ToObject(); }).number(), err::TypeMismatch);
    Error e = Raised([] { VariantToRecord<LINE_ENT>(Variant::FromRecord(ARC_ENT{}), "LINES"); });
    EXPECT_EQ(e.number(), err::TypeMismatch);
    EXPECT_EQ(e.source(), "LINES");
}

TEST(Variant, CopiesAreDeepExceptForObjects) {
    POLYLINE_ENT p;
    p.Layer = "a";
    p.Vertices.resize(2);
    Variant v = Variant::FromRecord(p);
    Variant copy = v;
    copy.RecordIf<POLYLINE_ENT>()->Layer = "b";
    copy.RecordIf<POLYLINE_ENT>()->Vertices.clear();
    EXPECT_EQ(v.RecordIf<POLYLINE_ENT>()->Layer, "a");
    EXPECT_EQ(v.RecordIf<POLYLINE_ENT>()->Vertices.size(), 2u);
    EXPECT_EQ(v.RecordIf<LINE_ENT>(), nullptr);

    Variant arr = Variant::FromArray<Variant>({Variant::FromRecord(p), Variant("s")});
    Variant arrCopy = arr;
    EXPECT_EQ(arrCopy.ArrayIf<Variant>()->items[0].RecordIf<POLYLINE_ENT>()->Vertices.size(), 2u);
    EXPECT_NE(&arrCopy.ArrayIf<Variant>()->items[0], &arr.ArrayIf<Variant>()->items[0]);

    auto lines = std::make_shared<LINES>();
    Variant o(lines);
    Variant oCopy = o;
    EXPECT_EQ(oCopy.ToObject(), lines);

    Variant s("text");
    Variant sCopy = s;
    s = Variant(5);
    EXPECT_EQ(sCopy.ToString(), "text");

    Variant moved = std::move(v);
    EXPECT_TRUE(v.IsEmpty());  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(v.TypeName(), "Empty");
    EXPECT_EQ(moved.TypeName(), "POLYLINE_ENT");
}

TEST(Variant, ArraysKeepTheirBounds) {
    Variant a = Variant::FromArray<LINE_ENT>({LINE_ENT{}, LINE_ENT{}, LINE_ENT{}}, 1);
    Variant b = a;
    ASSERT_NE(b.ArrayInfo(), nullptr);
    EXPECT_EQ(b.ArrayInfo()->lowerBound, 1);
    EXPECT_EQ(b.ArrayInfo()->Size(), 3);
    EXPECT_TRUE(b.ArrayInfo()->allocated);
    EXPECT_EQ(b.ArrayIf<ARC_ENT>(), nullptr);

    Variant u = Variant::UnallocatedArray<LINE_ENT>();
    Variant uCopy = u;
    EXPECT_FALSE(uCopy.ArrayInfo()->allocated);
    EXPECT_EQ(uCopy.ArrayInfo()->Size(), 0);
    EXPECT_NE(uCopy.ArrayIf<LINE_ENT>(), nullptr);
    EXPECT_EQ(Variant(1).ArrayInfo(), nullptr);
}
