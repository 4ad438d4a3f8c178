#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "entities/collections.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

HATCH_ENT Read(const std::string& text, std::string* next = nullptr) {
    DXFReader r;
    HATCH_ENT h = ReadEntityFrom<HATCH_ENT, XYZS>(r, text);
    if (next) *next = std::string(r.Read().Value);
    return h;
}

const HATCH_BOUNDARY_POLYLINE& PolylinePath(const HATCH_ENT& h, std::size_t i) {
    const HATCH_BOUNDARY_POLYLINE* p = h.Boundaries.at(i).RecordIf<HATCH_BOUNDARY_POLYLINE>();
    if (!p) throw std::runtime_error("not a polyline path");
    return *p;
}

}  // namespace

TEST(EntitiesHatch, SolidHatchWithOnePolylinePath) {
    DXFReader r;
    r.OpenString(R"(  5
3C
100
AcDbHatch
 10
0
 20
0
 30
0
  2
SOLID
 70
0
 91
1
 92
7
 72
0
 73
1
 93
4
 10
0
 20
0
 10
4
 20
0
 10
4
 20
3
 10
0
 20
3
 97
0
 75
1
 76
1
 98
0
  0
ENDBLK
)");
    XYZS list;
    list.Add(XYZ{1, 2, 3});
    HATCH_ENT h;
    ReadEntity(r, list, h);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(r.Read().Value, "ENDBLK");
    EXPECT_FALSE(h.SolidFill);
    EXPECT_EQ(h.PixelSize, -1.0);
    EXPECT_EQ(h.Layer, "0");
    EXPECT_EQ(h.ColorNumber, 256);
    EXPECT_EQ(h.BoundaryCount, 1);
    const HATCH_BOUNDARY_POLYLINE& path = PolylinePath(h, 0);
    EXPECT_FALSE(path.HasBulge);
    EXPECT_TRUE(path.IsClosed);
    EXPECT_EQ(path.VerticesCount, 4);
    EXPECT_EQ(path.POINTS, (std::vector<XYZ>{{0, 0, 0}, {4, 0, 0}, {4, 3, 0}, {0, 3, 0}}));
    EXPECT_TRUE(path.Bulges.empty());
    EXPECT_EQ(h.HatchStyle, 1);
    EXPECT_EQ(h.SeedPointCount, 0);
    EXPECT_TRUE(h.Seedpoints.empty());

    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, h, handle); }), Crlf(R"(0
HATCH
5
1
100
AcDbEntity
8
0
6
Continuous
62
256
100
AcDbHatch
10
0.
20
0.
30
0.
210
0.
220
0.
230
0.
2
SOLID
70
1
71
0
91
1
92
3
72
0
73
1
93
4
10
0.
20
0.
10
4.
20
0.
10
4.
20
3.
10
0.
20
3.
97
0
75
1
76
1
98
0
)"));
}

// Line, arc, ellipse and spline edges; every pair of the edge path is
// consumed by its layout, so the elevation point keeps its value.
TEST(EntitiesHatch, EdgePathKeepsLineEdgesAndConsumesTheOthers) {
    HATCH_ENT h = Read(R"(  8
H
 10
100
 20
200
 30
0
  2
SOLID
 70
1
 71
1
 91
2
 92
1
 93
4
 72
1
 10
0
 20
0
 11
10
 21
0
 72
2
 10
5
 20
5
 40
2
 50
0
 51
90
 73
1
 72
3
 10
1
 20
1
 11
3
 21
0
 40
0.5
 50
0
 51
180
 73
1
 72
4
 94
3
 73
1
 74
0
 95
2
 96
2
 40
0
 40
1
 10
0
 20
0
 42
1
 10
4
 20
4
 42
1
 97
1
 11
2
 21
2
 12
1
 22
0
 13
0
 23
1
 97
1
330
1F
 92
2
 72
1
 73
1
 93
2
 10
1
 20
2
 42
0.5
 10
3
 20
4
 42
0
 97
0
 75
1
 76
1
 47
0.25
 98
1
 10
7
 20
8
)");
    EXPECT_EQ(h.ElevationX, 100);
    EXPECT_EQ(h.ElevationY, 200);
    EXPECT_TRUE(h.SolidFill);
    EXPECT_TRUE(h.Associativity);
    ASSERT_EQ(h.Boundaries.size(), 2u);
    const auto* edges = h.Boundaries[0].ArrayIf<Variant>();
    ASSERT_TRUE(edges);
    ASSERT_EQ(edges->items.size(), 4u);
    const auto* line = edges->items[0].RecordIf<HATCH_BOUNDARY_LINE>();
    ASSERT_TRUE(line);
    EXPECT_EQ(*line, (HATCH_BOUNDARY_LINE{0, 0, 10, 0}));
    for (int i = 1; i < 4; ++i) EXPECT_TRUE(edges->items[i].IsEmpty()) << i;
    const HATCH_BOUNDARY_POLYLINE& path = PolylinePath(h, 1);
    EXPECT_TRUE(path.HasBulge);
    EXPECT_EQ(path.POINTS, (std::vector<XYZ>{{1, 2, 0}, {3, 4, 0}}));
    EXPECT_EQ(path.Bulges, (std::vector<double>{0.5, 0}));
    EXPECT_EQ(h.HatchStyle, 1);
    EXPECT_EQ(h.HatchPatternType, 1);
    EXPECT_EQ(h.PixelSize, 0.25);
    EXPECT_EQ(h.Seedpoints, (std::vector<XYZ>{{7, 8, 0}}));

    // Only the polyline path is written, with its bulges.
    int32_t handle = 9;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, h, handle); }), Crlf(R"(0
HATCH
5
A
100
AcDbEntity
8
H
6
Continuous
62
256
100
AcDbHatch
10
100.
20
200.
30
0.
210
0.
220
0.
230
0.
2
SOLID
70
1
71
1
91
1
92
3
72
1
73
1
93
2
10
1.
20
2.
42
0.5
10
3.
20
4.
42
0.
97
0
75
1
76
1
47
0.25
98
1
10
7.
20
8.
)"));
}

TEST(EntitiesHatch, PathEndsWithoutFitDataOrWithoutIts97) {
    // A spline without fit data ends the first path: the 97 after it is the
    // path's own. The second path has no 97 at all.
    HATCH_ENT h = Read(R"( 91
3
 92
1
 93
1
 72
4
 94
3
 73
0
 74
0
 95
1
 96
1
 40
0
 10
1
 20
1
 97
2
330
A1
330
A2
 92
2
 72
0
 93
1
 10
5
 20
6
 92
3
 93
1
 10
7
 20
8
 97
0
 75
2
)");
    ASSERT_EQ(h.Boundaries.size(), 3u);
    ASSERT_TRUE(h.Boundaries[0].ArrayIf<Variant>());
    EXPECT_EQ(PolylinePath(h, 1).POINTS, (std::vector<XYZ>{{5, 6, 0}}));
    EXPECT_EQ(PolylinePath(h, 2).POINTS, (std::vector<XYZ>{{7, 8, 0}}));
    EXPECT_EQ(h.HatchStyle, 2);
    EXPECT_EQ(h.ElevationX, 0);
}

TEST(EntitiesHatch, UnknownPathTypeSkipsTheRestOfTheBoundaryData) {
    std::string next;
    HATCH_ENT h = Read(" 91\n3\n 92\n2\n 93\n1\n 10\n1\n 20\n1\n 97\n0\n 92\n16\n 93\n1\n 10\n9\n 20\n9\n 30\n9\n"
                       " 92\n2\n 75\n1\n 76\n0\n  0\nENDBLK\n",
                       &next);
    EXPECT_EQ(h.BoundaryCount, 3);
    ASSERT_EQ(h.Boundaries.size(), 3u);
    EXPECT_TRUE(h.Boundaries[0].RecordIf<HATCH_BOUNDARY_POLYLINE>());
    EXPECT_TRUE(h.Boundaries[1].IsEmpty());
    EXPECT_TRUE(h.Boundaries[2].IsEmpty());
    EXPECT_EQ(h.ElevationX, 0);
    EXPECT_EQ(h.ElevationZ, 0);
    EXPECT_EQ(h.HatchStyle, 1);
    EXPECT_EQ(next, "ENDBLK");
}

TEST(EntitiesHatch, UnknownEdgeTypeKeepsTheEdgesBeforeItAndSkipsTheRest) {
    HATCH_ENT h = Read(" 91\n2\n 92\n1\n 93\n3\n 72\n1\n 10\n1\n 20\n2\n 11\n3\n 21\n4\n 72\n9\n 10\n9\n 20\n9\n"
                       " 92\n2\n 75\n1\n  0\nENDBLK\n");
    ASSERT_EQ(h.Boundaries.size(), 2u);
    const auto* edges = h.Boundaries[0].ArrayIf<Variant>();
    ASSERT_TRUE(edges);
    ASSERT_EQ(edges->items.size(), 3u);
    EXPECT_TRUE(edges->items[0].RecordIf<HATCH_BOUNDARY_LINE>());
    EXPECT_TRUE(edges->items[1].IsEmpty());
    EXPECT_TRUE(h.Boundaries[1].IsEmpty());
    EXPECT_EQ(h.ElevationX, 0);
    EXPECT_EQ(h.HatchStyle, 1);
}

TEST(EntitiesHatch, HostileCountsAreRefusedBeforeAllocating) {
    struct Case {
        const char* name;
        std::string text;
        int32_t number;
    };
    const Case cases[] = {
        {"paths", " 91\n2147483647\n 92\n2\n", err::InputPastEndOfFile},
        {"negative paths", " 91\n-1\n", err::SubscriptOutOfRange},
        {"negative vertices", " 91\n1\n 92\n2\n 72\n0\n 93\n-5\n 10\n1\n", err::SubscriptOutOfRange},
        {"vertices", " 91\n1\n 92\n2\n 93\n1000000000\n 10\n1\n", err::InputPastEndOfFile},
        {"seeds", " 98\n2000000000\n 10\n1\n 20\n2\n", err::InputPastEndOfFile},
        {"edges", " 91\n1\n 92\n1\n 93\n2147483647\n", err::InputPastEndOfFile},
        {"knots", " 91\n1\n 92\n1\n 93\n1\n 72\n4\n 94\n3\n 73\n0\n 74\n0\n 95\n99999\n 96\n0\n", err::InputPastEndOfFile},
        {"not a number", " 91\nmany\n", err::TypeMismatch},
    };
    for (const Case& c : cases) {
        try {
            Read(c.text);
            ADD_FAILURE() << c.name << ": no error";
        } catch (const Error& e) {
            EXPECT_EQ(e.number(), c.number) << c.name << ": " << e.what();
            if (c.number != err::TypeMismatch) {
                EXPECT_NE(std::string(e.what()).find("HATCH"), std::string::npos) << c.name << ": " << e.what();
            }
        }
    }
}

TEST(EntitiesHatch, WriterWritesNamesAsTheyAreAndOptionalLines) {
    HATCH_ENT h;
    h.PixelSize = -1.0;
    h.SeedPointCount = 0;
    h.Seedpoints = {XYZ{1, 1, 0}};  // not walked: the count is 0
    h.BoundaryCount = 1;
    h.Boundaries = {Variant{}};
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, h, handle); }), Crlf(R"(0
HATCH
5
1
100
AcDbEntity
8

6

62
0
100
AcDbHatch
10
0.
20
0.
30
0.
210
0.
220
0.
230
0.
2

70
1
71
0
91
0
75
0
76
0
98
0
)"));
}

TEST(EntitiesHatch, CountsLargerThanTheirArraysFailBeforeWriting) {
    HATCH_BOUNDARY_POLYLINE path;
    path.VerticesCount = 2;
    path.POINTS = {XYZ{}, XYZ{}};
    HATCH_ENT base;
    base.BoundaryCount = 1;
    base.Boundaries = {Variant::FromRecord(path)};

    std::vector<HATCH_ENT> bad(4, base);
    bad[0].BoundaryCount = 2;
    path.VerticesCount = 3;
    bad[1].Boundaries = {Variant::FromRecord(path)};
    path.VerticesCount = 2;
    path.HasBulge = true;
    path.Bulges = {0.5};
    bad[2].Boundaries = {Variant::FromRecord(path)};
    bad[3].SeedPointCount = 1;
    for (std::size_t i = 0; i < bad.size(); ++i) {
        std::string out;
        DXFWriter w;
        w.OpenString(&out);
        int32_t handle = 0;
        try {
            WriteEntity(w, bad[i], handle);
            ADD_FAILURE() << i << ": no error";
        } catch (const Error& e) {
            EXPECT_EQ(e.number(), err::SubscriptOutOfRange) << i;
        }
        w.CloseOutput();
        EXPECT_TRUE(out.empty()) << i;
    }
}

// A count whose items lie beyond what the reader has buffered is still
// accepted when the file holds them.
TEST(EntitiesHatch, LargeCountInAFileIsBoundedByTheFileNotTheBuffer) {
    const int32_t seeds = 200000;
    std::string text = " 98\n" + std::to_string(seeds) + "\n";
    for (int32_t i = 0; i < seeds; ++i) text += " 10\n" + std::to_string(i) + "\n 20\n1\n";
    text += "  0\nENDBLK\n";
    const std::string path = ::testing::TempDir() + "entities_hatch_seeds.dxf";
    {
        std::FILE* f = std::fopen(path.c_str(), "wb");
        ASSERT_TRUE(f);
        std::fwrite(text.data(), 1, text.size(), f);
        std::fclose(f);
    }
    DXFReader r;
    r.OpenInput(path);
    XYZS list;
    HATCH_ENT h;
    ReadEntity(r, list, h);
    std::remove(path.c_str());
    ASSERT_EQ(h.Seedpoints.size(), static_cast<std::size_t>(seeds));
    EXPECT_EQ(h.Seedpoints.back().X, seeds - 1);
    EXPECT_EQ(r.Read().Value, "ENDBLK");
}
