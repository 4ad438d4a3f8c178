#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "entities/collections.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

ATTRIB_ENT Attribute(std::string layer, double x, double y, std::string value, std::string tag) {
    ATTRIB_ENT a;
    a.Layer = std::move(layer);
    a.X = x;
    a.Y = y;
    a.TextHeight = 2.5;
    a.DefaultValue = std::move(value);
    a.TagString = std::move(tag);
    // Not written:
    a.ColorNumber = 3;
    a.Rotation = 45;
    a.TextStyleName = "Other";
    return a;
}

}  // namespace

TEST(EntitiesInsert, ReadsAttributesUpToSeqendAndLeavesTheNextEntity) {
    DXFReader r;
    r.OpenString(R"(  5
1F
  8
A
  2
Door
 66
1
 10
7
 20
8
 41
2
 50
90
  0
ATTRIB
  5
20
  8
AttLayer
 10
1.5
  1
12
  2
NUM
 70
1
 73
5
  0
attrib
  1
second
  2
TAG2
 62
3
  0
SEQEND
  5
22
330
1F
100
AcDbEntity
  8
B
  0
LINE
  8
0
)");
    INSERT_ENT ins;
    ReadEntity(r, ins);
    EXPECT_EQ(ins.Layer, "B");  // the SEQEND's layer
    EXPECT_EQ(ins.LineType, "Continuous");
    EXPECT_EQ(ins.ColorNumber, 256);
    EXPECT_EQ(ins.BlockName, "Door");
    EXPECT_EQ(ins.CenterX, 7);
    EXPECT_EQ(ins.CenterY, 8);
    EXPECT_EQ(ins.XScale, 2);
    EXPECT_EQ(ins.YScale, 1);
    EXPECT_EQ(ins.ZScale, 1);
    EXPECT_EQ(ins.RotationAngle, 90);
    ASSERT_TRUE(ins.ATTRIBS);
    ASSERT_EQ(ins.ATTRIBS->Count(), 2);
    const ATTRIB_ENT& a = ins.ATTRIBS->ItemRef(0);
    EXPECT_EQ(a.Layer, "AttLayer");
    EXPECT_EQ(a.X, 1.5);
    EXPECT_EQ(a.DefaultValue, "12");
    EXPECT_EQ(a.TagString, "NUM");
    EXPECT_EQ(a.AttributeFlag, 1);
    EXPECT_EQ(a.TextStyleName, "STANDARD");
    EXPECT_EQ(a.XScaleFactor, 1.0);
    EXPECT_EQ(a.ColorNumber, 256);
    const ATTRIB_ENT& b = ins.ATTRIBS->ItemRef(1);
    EXPECT_EQ(b.DefaultValue, "second");
    EXPECT_EQ(b.TagString, "TAG2");
    EXPECT_EQ(b.ColorNumber, 3);
    EXPECT_EQ(b.Layer, "0");

    const DXFReader::Pair& next = r.Read();
    EXPECT_EQ(next.Code, 0);
    EXPECT_EQ(next.Value, "LINE");
}

TEST(EntitiesInsert, WithoutAttributesHoldsNoCollection) {
    DXFReader r;
    r.OpenString("-3\nx\n 10\n1\n 10\n4\n1001\nAPP\n 70\n3\n 44\n9\n  0\nINSERT\n");
    INSERT_ENT ins;
    ins.ATTRIBS = std::make_shared<ATTRIBS>();  // a stale value is not kept
    ReadEntity(r, ins);
    EXPECT_FALSE(ins.ATTRIBS);
    EXPECT_EQ(ins.CenterX, 4);  // the later pair wins
    EXPECT_EQ(ins.BlockName, "Alap");
    EXPECT_EQ(ins.Layer, "0");
    EXPECT_EQ(r.Read().Value, "INSERT");
}

TEST(EntitiesInsert, AttributeEndsAtSeqendInAnyCaseAndPushesBackAnythingElse) {
    DXFReader r;
    r.OpenString("  2\nT\n  0\n seqend \n  8\nL\n");
    ATTRIB_ENT a;
    ReadEntity(r, a);
    EXPECT_EQ(a.TagString, "T");
    EXPECT_EQ(r.Read().Code, 8);  // the SEQEND pair was consumed

    r.OpenString("  2\nT\n  0\nCIRCLE\n");
    ReadEntity(r, a);
    EXPECT_EQ(r.Read().Value, "CIRCLE");
}

TEST(EntitiesInsert, EndOfInputInsideTheSequenceKeepsWhatWasRead) {
    DXFReader r;
    r.OpenString("  2\nB\n  0\nATTRIB\n  1\nv\n");
    INSERT_ENT ins;
    ReadEntity(r, ins);
    EXPECT_EQ(ins.BlockName, "B");
    ASSERT_TRUE(ins.ATTRIBS);
    ASSERT_EQ(ins.ATTRIBS->Count(), 1);
    EXPECT_EQ(ins.ATTRIBS->ItemRef(0).DefaultValue, "v");
}

TEST(EntitiesInsert, BadNumberInAnAttributeFails) {
    DXFReader r;
    r.OpenString("  0\nATTRIB\n 40\nhigh\n");
    INSERT_ENT ins;
    try {
        ReadEntity(r, ins);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::TypeMismatch);
    }
}

TEST(EntitiesInsert, WritesAttributesWithTheInsertAsOwnerThenSeqend) {
    INSERT_ENT ins;
    ins.Layer = "Walls";
    ins.ColorNumber = 256;
    ins.CenterX = 7;
    ins.CenterY = 8;
    ins.BlockName = "Door";
    ins.XScale = ins.YScale = ins.ZScale = 1;
    ins.RotationAngle = 90;
    ins.ATTRIBS = std::make_shared<ATTRIBS>();
    ins.ATTRIBS->Add(Attribute("", 1, 2, "12", "NUM"));
    ins.ATTRIBS->Add(Attribute("AL", 0.5, -3.25, "x y ", "T2"));
    int32_t handle = 9;
    std::string out = Written([&](DXFWriter& w) { WriteEntity(w, ins, handle); });
    EXPECT_EQ(handle, 13);
    EXPECT_EQ(out, Crlf(R"(0
INSERT
5
A
100
AcDbEntity
8
Walls
6
Continuous
62
256
100
AcDbBlockReference
66
1
39
0.
10
7.
20
8.
30
0.
2
Door
50
90.
0
ATTRIB
5
B
330
A
100
AcDbEntity
8
0
100
AcDbText
10
1.
20
2.
30
0.
40
2.5
1
12
100
AcDbAttribute
2
NUM
70
0
0
ATTRIB
5
C
330
A
100
AcDbEntity
8
AL
100
AcDbText
10
0.5
20
-3.25
30
0.
40
2.5
1
x y 
100
AcDbAttribute
2
T2
70
0
0
SEQEND
5
D
330
A
100
AcDbEntity
8
Walls
)"));
}

TEST(EntitiesInsert, EmptyCollectionAndScalesDecideTheOptionalLines) {
    INSERT_ENT ins;
    ins.XScale = 2;
    ins.YScale = 1;
    ins.ZScale = 1;
    ins.ATTRIBS = std::make_shared<ATTRIBS>();
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, ins, handle); }), Crlf(R"(0
INSERT
5
1
100
AcDbEntity
8
0
6
Continuous
62
0
100
AcDbBlockReference
66
1
39
0.
10
0.
20
0.
30
0.
2

41
2.
42
1.
43
1.
50
0.
0
SEQEND
5
2
330
1
100
AcDbEntity
8
0
)"));

    INSERT_ENT plain;
    plain.BlockName = "B";
    plain.XScale = plain.YScale = plain.ZScale = 1;
    std::string out = Written([&](DXFWriter& w) { WriteEntity(w, plain, handle); });
    EXPECT_EQ(handle, 3);
    EXPECT_EQ(out.find("\r\n66\r\n"), std::string::npos);
    EXPECT_EQ(out.find("\r\n41\r\n"), std::string::npos);
    EXPECT_EQ(out.find("SEQEND"), std::string::npos);
    EXPECT_TRUE(out.ends_with("2\r\nB\r\n50\r\n0.\r\n"));
}

TEST(EntitiesInsert, AttdefReadsPromptAndWritesItsLines) {
    DXFReader r;
    r.OpenString("  3\nAsk\n  2\nTG\n  1\nD\n 72\n1\n 74\n2\n 62\n5\n  0\nSEQEND\n");
    ATTDEF_ENT def;
    ReadEntity(r, def);
    EXPECT_EQ(def.PromptString, "Ask");
    EXPECT_EQ(def.HorTextJust, 1);
    EXPECT_EQ(def.VertTextJust, 2);
    EXPECT_EQ(def.ColorNumber, 5);
    EXPECT_EQ(def.TextStyleName, "STANDARD");
    EXPECT_EQ(r.Read().Value, "SEQEND");  // code 0 always ends an ATTDEF

    def.Layer = "";
    def.X = 1;
    def.TextHeight = 0.5;
    def.Rotation = 30;
    int32_t handle = 15;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, def, handle); }), Crlf(R"(0
ATTDEF
5
10
100
AcDbEntity
8
0
100
AcDbText
10
1.
20
0.
30
0.
40
0.5
50
30.
41
1.
51
0.
7
STANDARD
72
1
1
D
100
AcDbAttributeDefinition
3
Ask
2
TG
70
0
)"));
}

TEST(EntitiesInsert, ExtentIsTheInsertionPointPlusOneHundredth) {
    INSERTS list;
    INSERT_ENT ins;
    ins.CenterX = 7;
    ins.CenterY = 7;
    list.Add(ins);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    list.GetExtent(x0, y0, x1, y1);
    EXPECT_EQ(x0, 7);
    EXPECT_EQ(y0, 7);
    EXPECT_DOUBLE_EQ(x1, 7.01);
    EXPECT_DOUBLE_EQ(y1, 7.01);
}
