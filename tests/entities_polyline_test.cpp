#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "entities/collections.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

POLYLINE_ENT Read(const std::string& text) { return ReadEntityFrom<POLYLINE_ENT>(text); }

// The values of the subclass markers written, in order.
std::vector<std::string> Markers(const std::string& out) {
    std::vector<std::string> found;
    const std::string key = "\r\n100\r\n";
    for (std::size_t at = out.find(key); at != std::string::npos; at = out.find(key, at + 1)) {
        std::size_t begin = at + key.size();
        found.push_back(out.substr(begin, out.find("\r\n", begin) - begin));
    }
    return found;
}

}  // namespace

TEST(EntitiesPolyline, Reads2DPolylineWithVerticesAndSeqend) {
    DXFReader r;
    r.OpenString(R"(  8
P
 66
1
 70
1
 10
0
 20
0
 30
0
  0
VERTEX
  8
VertexLayer
 62
5
 10
1
 20
2
 40
0.5
  0
vertex
 10
3
 20
4
 42
1
  0
VERTEX
 10
5
 20
6
  0
SEQEND
  0
LINE
)");
    POLYLINE_ENT p;
    ReadEntity(r, p);
    EXPECT_EQ(p.Layer, "P");
    EXPECT_EQ(p.ColorNumber, 256);
    EXPECT_TRUE(p.IsClosed);
    EXPECT_FALSE(p.Is3DPolyLine);
    ASSERT_EQ(p.Vertices.size(), 3u);
    EXPECT_TRUE(p.CommandVertices.empty());
    EXPECT_EQ(p.Vertices[0], (VERTEX_ENT{1, 2, 0, 0.5, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(p.Vertices[1].Bulge, 1);
    EXPECT_EQ(p.Vertices[2].X, 5);
    EXPECT_EQ(r.Read().Value, "LINE");
}

TEST(EntitiesPolyline, FlagsAreDecodedFromTheHighestValueDown) {
    struct Case {
        const char* flags;
        bool closed, curve, spline, poly3d, mesh, meshClosed, polyface;
    };
    const Case cases[] = {
        {"9", true, false, false, true, false, false, false},
        {"3", true, true, false, false, false, false, false},
        {"129", true, false, false, false, false, false, false},
        {"64", false, false, false, false, false, false, true},
        {"52", false, false, true, false, true, true, false},
        {"0", false, false, false, false, false, false, false},
    };
    for (const Case& c : cases) {
        POLYLINE_ENT p = Read(std::string(" 70\n") + c.flags + "\n");
        SCOPED_TRACE(c.flags);
        EXPECT_EQ(p.IsClosed, c.closed);
        EXPECT_EQ(p.IsCurveFitted, c.curve);
        EXPECT_EQ(p.IsSplineFitted, c.spline);
        EXPECT_EQ(p.Is3DPolyLine, c.poly3d);
        EXPECT_EQ(p.Is3DPolygonMesh, c.mesh);
        EXPECT_EQ(p.Is3DPolygonMeshClosed, c.meshClosed);
        EXPECT_EQ(p.IsPolyFaceMesh, c.polyface);
    }
}

TEST(EntitiesPolyline, TrailerAfterSeqendAddsToTheHeader) {
    POLYLINE_ENT p = Read(" 70\n1\n  8\nA\n  0\nVERTEX\n 10\n1\n  0\nSeqEnd\n  8\nB\n 70\n8\n  0\nEOF\n");
    EXPECT_EQ(p.Layer, "B");
    EXPECT_TRUE(p.IsClosed);  // a later 70 only adds flags
    EXPECT_TRUE(p.Is3DPolyLine);
}

TEST(EntitiesPolyline, SkipsForeignPairsAndStopsAtEndOfInput) {
    // No SEQEND: the LINE's pairs are passed over and the file ends in the
    // vertex phase.
    POLYLINE_ENT p = Read("  0\nVERTEX\n 10\n1\n  0\nLINE\n 10\n99\n  0\nVERTEX\n 10\n2\n 70\n128\n");
    ASSERT_EQ(p.Vertices.size(), 1u);
    EXPECT_EQ(p.Vertices[0].X, 1);
    // A face record goes to the command vertices even without the polyface flag.
    ASSERT_EQ(p.CommandVertices.size(), 1u);
    EXPECT_EQ(p.CommandVertices[0].X, 2);
}

TEST(EntitiesPolyline, PolyfaceMeshReadsAndWritesVerticesBeforeFaces) {
    std::string text = " 70\n64\n 71\n4\n 72\n2\n";
    for (int i = 0; i < 4; ++i) text += "  0\nVERTEX\n 10\n" + std::to_string(i) + "\n 70\n192\n";
    text += "  0\nVERTEX\n 70\n128\n 71\n1\n 72\n2\n 73\n3\n 74\n-4\n";
    text += "  0\nVERTEX\n 70\n128\n 71\n2\n 72\n3\n 73\n4\n";
    text += "  0\nSEQEND\n";
    POLYLINE_ENT p = Read(text);
    EXPECT_TRUE(p.IsPolyFaceMesh);
    EXPECT_EQ(p.PolygonMeshMVertexCount, 4);
    ASSERT_EQ(p.Vertices.size(), 4u);
    ASSERT_EQ(p.CommandVertices.size(), 2u);
    EXPECT_EQ(p.Vertices[3].X, 3);
    EXPECT_EQ(p.CommandVertices[0].PolyFaceMesh4, -4);
    EXPECT_EQ(p.CommandVertices[1].PolyFaceMesh3, 4);

    int32_t handle = 0;
    std::string out = Written([&](DXFWriter& w) { WriteEntity(w, p, handle); });
    EXPECT_EQ(handle, 8);
    EXPECT_EQ(Markers(out), (std::vector<std::string>{
                                "AcDbEntity", "AcDbPolyFaceMesh",                                      //
                                "AcDbEntity", "AcDbVertex", "AcDbPolyFaceMeshVertex",                  //
                                "AcDbEntity", "AcDbVertex", "AcDbPolyFaceMeshVertex",                  //
                                "AcDbEntity", "AcDbVertex", "AcDbPolyFaceMeshVertex",                  //
                                "AcDbEntity", "AcDbVertex", "AcDbPolyFaceMeshVertex",                  //
                                "AcDbEntity", "AcDbFaceRecord", "AcDbEntity", "AcDbFaceRecord",        //
                                "AcDbEntity"}));
    // 71/72 of the mesh header are not written, those of the faces are.
    std::size_t header = out.find("VERTEX");
    EXPECT_EQ(out.substr(0, header).find("\r\n71\r\n"), std::string::npos);
    std::size_t faceLines = 0;
    for (std::size_t at = out.find("\r\n74\r\n"); at != std::string::npos; at = out.find("\r\n74\r\n", at + 1)) ++faceLines;
    EXPECT_EQ(faceLines, 2u);
}

TEST(EntitiesPolyline, WritesPolylineVerticesAndSeqend) {
    POLYLINE_ENT p;
    p.Layer = "";
    p.LineType = "Dashed";
    p.ColorNumber = 1;
    p.IsClosed = true;
    p.IsCurveFitted = true;   // not written
    p.Is3DPolygonMesh = true;  // not written
    p.PolygonMeshMVertexCount = 3;
    p.DefaultStartWidth = 0.5;
    VERTEX_ENT v;
    v.X = 1;
    v.Y = 2;
    v.Z = 3;
    v.Bulge = 1;  // never written
    v.StartWidth = 0.25;
    v.PolyFaceMesh1 = 7;  // only for face records
    p.Vertices.push_back(v);
    VERTEX_ENT face;
    face.VertexFlag = 128;
    face.PolyFaceMesh1 = 1;
    face.PolyFaceMesh2 = 2;
    face.PolyFaceMesh3 = 3;
    face.PolyFaceMesh4 = 0;
    p.CommandVertices.push_back(face);
    int32_t handle = 254;
    EXPECT_EQ(Written([&](DXFWriter& w) { WriteEntity(w, p, handle); }), Crlf(R"(0
POLYLINE
5
FF
100
AcDbEntity
8
0
6
Dashed
40
0.5
41
0.
62
1
100
AcDb2dPolyline
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
70
1
0
VERTEX
5
100
100
AcDbEntity
8
0
6
Dashed
100
AcDbVertex
100
AcDb2dVertex
10
1.
20
2.
30
3.
40
0.25
41
0.
50
0.
70
0
0
VERTEX
5
101
100
AcDbEntity
8
0
6
Dashed
100
AcDbFaceRecord
10
0.
20
0.
30
0.
40
0.
41
0.
50
0.
70
128
71
1
72
2
73
3
74
0
0
SEQEND
100
AcDbEntity
5
102
)"));
    EXPECT_EQ(handle, 258);

    p.Is3DPolyLine = true;
    p.CommandVertices.clear();
    std::string out = Written([&](DXFWriter& w) { WriteEntity(w, p, handle); });
    EXPECT_EQ(Markers(out), (std::vector<std::string>{"AcDbEntity", "AcDb3dPolyline", "AcDbEntity", "AcDbVertex",
                                                      "AcDb3dPolylineVertex", "AcDbEntity"}));
    EXPECT_NE(out.find("70\r\n9\r\n0\r\nVERTEX"), std::string::npos);
}

TEST(EntitiesPolyline, NoVerticesIsASubscriptError) {
    POLYLINE_ENT p;
    int32_t handle = 0;
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    try {
        WriteEntity(w, p, handle);
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::SubscriptOutOfRange);
    }
    EXPECT_EQ(handle, 0);

    POLYLINES list;
    list.Add(p);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    EXPECT_THROW(list.GetExtent(x0, y0, x1, y1), Error);
}

TEST(EntitiesPolyline, ExtentCoversTheVerticesOnly) {
    POLYLINE_ENT p;
    p.Vertices = {VERTEX_ENT{1, 2}, VERTEX_ENT{5, -1}, VERTEX_ENT{3, 7}};
    p.CommandVertices = {VERTEX_ENT{100, 100}};
    POLYLINES list;
    list.Add(p);
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    list.GetExtent(x0, y0, x1, y1);
    EXPECT_EQ(x0, 1);
    EXPECT_EQ(y0, -1);
    EXPECT_EQ(x1, 5);
    EXPECT_EQ(y1, 7);
}
