#include <gtest/gtest.h>

#include <string>

#include "entities/collections.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

LWPOLYLINE_ENT Read(const std::string& text) { return ReadEntityFrom<LWPOLYLINE_ENT, LWVERTEXES>(text); }

}  // namespace

TEST(EntitiesLwpolyline, ReadsVerticesByGroup10AndIgnoresTheCount) {
    DXFReader r;
    r.OpenString(R"(  5
2A
100
AcDbPolyline
 90
5
 70
1
  8
L
 10
1
 20
2
 10
3
 20
4
 42
0.5
 10
5
 20
6
  0
LWPOLYLINE
)");
    LWVERTEXES list;
    list.Add(LWVERTEX{9, 9});  // a stale list is erased first
    LWPOLYLINE_ENT p;
    ReadEntity(r, list, p);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(p.Layer, "L");
    EXPECT_EQ(p.LineType, "Continuous");
    EXPECT_EQ(p.ColorNumber, 256);
    EXPECT_EQ(p.ConstWidth, -100.0);
    EXPECT_TRUE(p.IsClosed);
    EXPECT_FALSE(p.PlineGen);
    ASSERT_EQ(p.POINTS.size(), 3u);
    EXPECT_EQ(p.POINTS[0], (LWVERTEX{1, 2, 0, 0, 0, 0}));
    EXPECT_EQ(p.POINTS[1], (LWVERTEX{3, 4, 0, 0, 0, 0.5}));
    EXPECT_EQ(p.POINTS[2], (LWVERTEX{5, 6, 0, 0, 0, 0}));
    EXPECT_EQ(r.Read().Value, "LWPOLYLINE");
}

TEST(EntitiesLwpolyline, FlagsGivePlineGenAndClosed) {
    struct Case {
        const char* flags;
        bool closed, plinegen;
    };
    for (const Case& c : {Case{"129", true, true}, Case{"128", false, true}, Case{"0", false, false},
                          Case{"3", true, false}, Case{"2", true, false}}) {
        LWPOLYLINE_ENT p = Read(std::string(" 70\n") + c.flags + "\n 10\n0\n");
        EXPECT_EQ(p.IsClosed, c.closed) << c.flags;
        EXPECT_EQ(p.PlineGen, c.plinegen) << c.flags;
    }
}

TEST(EntitiesLwpolyline, WidthsCarryOverAndGroup10ResetsTheRest) {
    // A 30 and a 42 before the first 10 are reset by it; widths are not.
    LWPOLYLINE_ENT p = Read(R"( 30
9
 42
9
 10
1
 40
2
 41
3
 30
7
 10
4
 20
5
 10
6
 40
0
 41
0
 10
8
)");
    ASSERT_EQ(p.POINTS.size(), 4u);
    EXPECT_EQ(p.POINTS[0], (LWVERTEX{1, 0, 7, 2, 3, 0}));
    EXPECT_EQ(p.POINTS[1], (LWVERTEX{4, 5, 0, 2, 3, 0}));
    EXPECT_EQ(p.POINTS[2], (LWVERTEX{6, 0, 0, 0, 0, 0}));
    EXPECT_EQ(p.POINTS[3], (LWVERTEX{8, 0, 0, 0, 0, 0}));
}

TEST(EntitiesLwpolyline, SecondEntityStartsFromAnEmptyList) {
    DXFReader r;
    r.OpenString(" 10\n1\n 40\n2\n 41\n3\n  0\nLWPOLYLINE\n 43\n-100\n 10\n5\n");
    LWVERTEXES list;
    LWPOLYLINE_ENT first, second;
    ReadEntity(r, list, first);
    EXPECT_EQ(r.Read().Value, "LWPOLYLINE");
    ReadEntity(r, list, second);
    ASSERT_EQ(second.POINTS.size(), 1u);
    EXPECT_EQ(second.POINTS[0], (LWVERTEX{5, 0, 0, 0, 0, 0}));
    EXPECT_EQ(second.ConstWidth, -100.0);
    EXPECT_EQ(list.Count(), 0);
}

TEST(EntitiesLwpolyline, BadNumberFailsAndLeavesTheListEmpty) {
    DXFReader r;
    r.OpenString(" 10\n1\n 10\n2\n 20\nabc\n");
    LWVERTEXES list;
    LWPOLYLINE_ENT p;
    try {
        ReadEntity(r, list, p);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::TypeMismatch);
    }
    EXPECT_EQ(list.Count(), 0);
}

TEST(EntitiesLwpolyline, WritesWidthsPerVertexWithoutConstantWidth) {
    LWPOLYLINE_ENT p;
    p.Layer = "";
    p.LineType = "";
    p.ColorNumber = 7;
    p.IsClosed = true;
    p.PlineGen = true;
    p.ConstWidth = -100.0;
    p.POINTS = {LWVERTEX{1, 2, 9, 0.5, 0.25, 1}, LWVERTEX{-3, 4, 0, 0, 0, 0}};
    int32_t handle = 41;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, p, handle); }), Crlf(R"(0
LWPOLYLINE
5
2A
100
AcDbEntity
8
0
6
Continuous
62
7
100
AcDbPolyline
90
2
70
129
10
1.
20
2.
40
0.5
41
0.25
10
-3.
20
4.
40
0.
41
0.
)"));
    EXPECT_EQ(handle, 42);
}

TEST(EntitiesLwpolyline, ConstantWidthThicknessAndElevationLines) {
    LWPOLYLINE_ENT p;
    p.Layer = "A";
    p.LineType = "Dot";
    p.Thickness = 2;
    p.ConstWidth = 0.5;
    p.Elevation = -1;
    p.POINTS = {LWVERTEX{1, 2, 0, 3, 4, 0}};
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, p, handle); }), Crlf(R"(0
LWPOLYLINE
5
1
100
AcDbEntity
8
A
6
Dot
62
0
100
AcDbPolyline
39
2.
90
1
70
0
43
0.5
38
-1.
10
1.
20
2.
)"));
}

TEST(EntitiesLwpolyline, NoVerticesIsASubscriptErrorAndExtentCoversVertices) {
    LWPOLYLINE_ENT empty;
    int32_t handle = 0;
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    try {
        WriteEntity(w, empty, handle);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::SubscriptOutOfRange);
        EXPECT_FALSE(e.description().empty());
    }
    double minX, minY, maxX, maxY;
    EXPECT_THROW(GetRecordExtent(empty, minX, minY, maxX, maxY), Error);

    LWPOLYLINES list;
    LWPOLYLINE_ENT p;
    p.POINTS = {LWVERTEX{1, 2}, LWVERTEX{5, -1}, LWVERTEX{3, 7}};
    list.Add(p);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    list.GetExtent(x0, y0, x1, y1);
    EXPECT_EQ(x0, 1);
    EXPECT_EQ(y0, -1);
    EXPECT_EQ(x1, 5);
    EXPECT_EQ(y1, 7);
}
