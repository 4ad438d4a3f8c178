#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "document/entities.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

// Reads a section body (what follows 2/ENTITIES) and returns the pair after it, if any.
std::string ReadSection(ENTITIES& e, const std::string& body, DXFReader& reader) {
    reader.OpenString(body, "section.dxf");
    e.ReadSection(reader);
    if (reader.AtEnd()) return "<end>";
    const DXFReader::Pair& p = reader.Read();
    return std::to_string(p.Code) + "/" + std::string(p.Value);
}

std::string ReadSection(ENTITIES& e, const std::string& body) {
    DXFReader reader;
    return ReadSection(e, body, reader);
}

std::string WriteSection(const ENTITIES& e, int32_t& handle) {
    return Written([&](DXFWriter& writer) { WithSave(writer, handle, [&](SaveContext& s) { e.WriteOut(s); }); });
}

struct Extent {
    double x0, y0, x1, y1;
};

Extent ExtentOf(const ENTITIES& e) {
    Extent x{9, 9, 9, 9};  // ReCalcExtent must start from zeros itself
    e.ReCalcExtent(x.x0, x.y0, x.x1, x.y1);
    return x;
}

void ExpectExtent(const Extent& x, double x0, double y0, double x1, double y1) {
    EXPECT_DOUBLE_EQ(x.x0, x0);
    EXPECT_DOUBLE_EQ(x.y0, y0);
    EXPECT_DOUBLE_EQ(x.x1, x1);
    EXPECT_DOUBLE_EQ(x.y1, y1);
}

LINE_ENT Line(double x0, double y0, double x1, double y1) {
    LINE_ENT l;
    l.StartX = x0;
    l.StartY = y0;
    l.EndX = x1;
    l.EndY = y1;
    return l;
}

}  // namespace

TEST(EntitiesSection, CollectionsGrowInTheirOwnSteps) {
    ENTITIES e;
    for (int32_t g : {e.ARCS()->GrowLength(), e.CIRCLES()->GrowLength(), e.ELLIPSES()->GrowLength(), e.FACE3DS()->GrowLength(),
                      e.INSERTS()->GrowLength(), e.LINES()->GrowLength(), e.LWPOLYLINES()->GrowLength(), e.MTEXTS()->GrowLength(),
                      e.POLYLINES()->GrowLength(), e.POINTS()->GrowLength(), e.TEXTS()->GrowLength()})
        EXPECT_EQ(g, 500);
    EXPECT_EQ(e.SOLIDS()->GrowLength(), 100);
    EXPECT_EQ(e.ATTDEFS()->GrowLength(), 100);
    EXPECT_EQ(e.ATTRIBS()->GrowLength(), 100);
}

TEST(EntitiesSection, EachSimpleNameGoesToItsCollection) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "ARC", "40", "1", "0", "CIRCLE", "0", "ELLIPSE", "0", "3DFACE", "0", "LINE", "0", "MTEXT",
                                    "1", "m", "0", "POINT", "0", "TEXT", "1", "t", "0", "SOLID", "0", "ENDSEC", "0", "EOF"})),
              "0/EOF");
    EXPECT_EQ(e.ARCS()->Count(), 1);
    EXPECT_EQ(e.ARCS()->Item(0).Radius, 1.0);
    EXPECT_EQ(e.CIRCLES()->Count(), 1);
    EXPECT_EQ(e.ELLIPSES()->Count(), 1);
    EXPECT_EQ(e.FACE3DS()->Count(), 1);
    EXPECT_EQ(e.LINES()->Count(), 1);
    EXPECT_EQ(e.MTEXTS()->Count(), 1);
    EXPECT_EQ(e.MTEXTS()->Item(0).Text, "m");
    EXPECT_EQ(e.POINTS()->Count(), 1);
    EXPECT_EQ(e.TEXTS()->Count(), 1);
    EXPECT_EQ(e.TEXTS()->Item(0).Text, "t");
    EXPECT_EQ(e.SOLIDS()->Count(), 1);
}

TEST(EntitiesSection, NamesAnyCaseButEndsecExact) {
    ENTITIES e;
    // "endsec" does not end the section: the next section's pairs are read as entities.
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "line", "10", "1", "0", " Line ", "10", "2", "0", "endsec", "0", "SECTION", "2", "BLOCKS",
                                    "0", "LINE", "10", "3", "0", "ENDSEC", "0", "EOF"})),
              "0/EOF");
    ASSERT_EQ(e.LINES()->Count(), 3);
    EXPECT_EQ(e.LINES()->Item(0).StartX, 1.0);
    EXPECT_EQ(e.LINES()->Item(1).StartX, 2.0);
    EXPECT_EQ(e.LINES()->Item(2).StartX, 3.0);
}

TEST(EntitiesSection, EndsecValueEndsTheSectionWhateverItsCode) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "DIMENSION", "1", "ENDSEC", "0", "LINE"})), "0/LINE");
    EXPECT_EQ(e.LINES()->Count(), 0);
}

TEST(EntitiesSection, UnknownAndAttributeEntitiesAreSkippedWithAllTheirPairs) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "DIMENSION", "5", "2A", "8", "DIM", "2", "*D1", "10", "5", "40", "x", "1", "LINE",
                                    "0", "HATCH", "8", "H", "2", "SOLID", "70", "1", "91", "1", "10", "0", "20", "0", "62", "1",
                                    "0", "ATTDEF", "8", "A", "1", "v", "2", "TAG", "0", "ATTRIB", "8", "B", "2", "TAG",
                                    "0", "CIRCLE", "40", "2", "0", "ENDSEC"})),
              "<end>");
    EXPECT_EQ(e.LINES()->Count(), 0);
    EXPECT_EQ(e.SOLIDS()->Count(), 0);
    EXPECT_EQ(e.ATTDEFS()->Count(), 0);
    EXPECT_EQ(e.ATTRIBS()->Count(), 0);
    ASSERT_EQ(e.CIRCLES()->Count(), 1);
    EXPECT_EQ(e.CIRCLES()->Item(0).Radius, 2.0);
    EXPECT_EQ(e.CIRCLES()->Item(0).Layer, "0");
}

TEST(EntitiesSection, EndOfInputInsideTheSectionIsQuiet) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "LINE", "10", "4", "0", "POINT", "8", "P"})), "<end>");
    EXPECT_EQ(e.LINES()->Count(), 1);
    ASSERT_EQ(e.POINTS()->Count(), 1);
    EXPECT_EQ(e.POINTS()->Item(0).Layer, "P");
}

TEST(EntitiesSection, FailedEntityIsNotAddedAndEarlierOnesStay) {
    ENTITIES e;
    DXFReader reader;
    int32_t number = 0;
    try {
        ReadSection(e, CrlfLines({"0", "LINE", "0", "ARC", "40", "2", "0", "CIRCLE", "8", "C", "40", "two", "0", "ENDSEC"}), reader);
    } catch (const Error& error) {
        number = error.number();
    }
    EXPECT_EQ(number, err::TypeMismatch);
    EXPECT_EQ(e.LINES()->Count(), 1);
    EXPECT_EQ(e.ARCS()->Count(), 1);
    EXPECT_EQ(e.CIRCLES()->Count(), 0);
}

TEST(EntitiesSection, SavesGroupedByTypeInFixedOrder) {
    ENTITIES e;
    ReadSection(e, CrlfLines({"0", "LINE", "8", "A", "10", "1", "0", "ARC", "40", "2", "0", "LINE", "8", "B", "0", "ENDSEC"}));
    int32_t handle = 0;
    EXPECT_EQ(WriteSection(e, handle),
              CrlfLines({"0", "SECTION", "2", "ENTITIES",
                     "0", "ARC", "5", "1", "100", "AcDbEntity", "8", "0", "6", "Continuous", "62", "256", "100", "AcDbCircle",
                     "39", "0.", "10", "0.", "20", "0.", "30", "0.", "40", "2.", "100", "AcDbArc", "50", "0.", "51", "0.",
                     "0", "LINE", "5", "2", "100", "AcDbEntity", "8", "A", "6", "Continuous", "62", "256", "100", "AcDbLine",
                     "39", "0.", "10", "1.", "20", "0.", "30", "0.", "11", "0.", "21", "0.", "31", "0.",
                     "0", "LINE", "5", "3", "100", "AcDbEntity", "8", "B", "6", "Continuous", "62", "256", "100", "AcDbLine",
                     "39", "0.", "10", "0.", "20", "0.", "30", "0.", "11", "0.", "21", "0.", "31", "0.",
                     "0", "ENDSEC"}));
    EXPECT_EQ(handle, 3);
}

TEST(EntitiesSection, WriteOrderOfAllSimpleTypes) {
    ENTITIES e;
    e.SOLIDS()->Add(SOLID_ENT{});
    e.TEXTS()->Add(TEXT_ENT{});
    e.POINTS()->Add(POINT_ENT{});
    e.MTEXTS()->Add(MTEXT_ENT{});
    e.LINES()->Add(LINE_ENT{});
    e.FACE3DS()->Add(FACE3D_ENT{});
    e.ELLIPSES()->Add(ELLIPSE_ENT{});
    e.CIRCLES()->Add(CIRCLE_ENT{});
    e.ARCS()->Add(ARC_ENT{});
    e.ATTRIBS()->Add(ATTRIB_ENT{});  // never written from here
    int32_t handle = 0;
    std::string out = WriteSection(e, handle);
    DXFReader reader;
    reader.OpenString(out);
    std::vector<std::string> names;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) names.emplace_back(p.Value);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"SECTION", "ARC", "CIRCLE", "ELLIPSE", "3DFACE", "LINE", "MTEXT", "POINT", "TEXT",
                                               "SOLID", "ENDSEC"}));
    EXPECT_EQ(handle, 9);
}

TEST(EntitiesSection, AttdefsAreWrittenAfterSolids) {
    ENTITIES e;
    e.SOLIDS()->Add(SOLID_ENT{});
    ATTDEF_ENT a;
    a.TagString = "TAG";
    e.ATTDEFS()->Add(a);
    int32_t handle = 0;
    std::string out = WriteSection(e, handle);
    std::size_t solid = out.find("0\r\nSOLID\r\n");
    std::size_t attdef = out.find("0\r\nATTDEF\r\n");
    ASSERT_NE(solid, std::string::npos);
    ASSERT_NE(attdef, std::string::npos);
    EXPECT_LT(solid, attdef);
    EXPECT_EQ(handle, 2);
}

TEST(EntitiesSection, ReadsInsertWithAttributesThenNextEntity) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "INSERT", "8", "A", "2", "BLK", "10", "1", "20", "2", "66", "1", "0", "ATTRIB", "2", "T1",
                                    "1", "v1", "0", "ATTRIB", "2", "T2", "1", "v2", "0", "SEQEND", "8", "A", "0", "LINE", "10", "7",
                                    "0", "ENDSEC"})),
              "<end>");
    ASSERT_EQ(e.INSERTS()->Count(), 1);
    const INSERT_ENT& insert = e.INSERTS()->ItemRef(0);
    EXPECT_EQ(insert.BlockName, "BLK");
    ASSERT_TRUE(insert.ATTRIBS);
    EXPECT_EQ(insert.ATTRIBS->Count(), 2);
    EXPECT_EQ(e.ATTRIBS()->Count(), 0);
    ASSERT_EQ(e.LINES()->Count(), 1);
    EXPECT_EQ(e.LINES()->Item(0).StartX, 7.0);
}

TEST(EntitiesSection, ReadsPolylineWithItsVerticesThenNextEntity) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "POLYLINE", "66", "1", "70", "1", "0", "VERTEX", "10", "0", "20", "0", "0", "VERTEX", "10",
                                    "1", "20", "0", "0", "VERTEX", "10", "1", "20", "1", "0", "SEQEND", "0", "POINT", "10", "5",
                                    "0", "ENDSEC"})),
              "<end>");
    ASSERT_EQ(e.POLYLINES()->Count(), 1);
    EXPECT_EQ(e.POLYLINES()->ItemRef(0).Vertices.size(), 3u);
    EXPECT_TRUE(e.POLYLINES()->ItemRef(0).IsClosed);
    ASSERT_EQ(e.POINTS()->Count(), 1);
    EXPECT_EQ(e.POINTS()->Item(0).StartX, 5.0);
}

TEST(EntitiesSection, LwpolylinesKeepTheirOwnVertices) {
    ENTITIES e;
    EXPECT_EQ(ReadSection(e, CrlfLines({"0", "LWPOLYLINE", "90", "2", "10", "0", "20", "0", "10", "1", "20", "1", "0", "lwpolyline",
                                    "70", "1", "10", "5", "20", "5", "10", "6", "20", "5", "10", "6", "20", "6", "0", "ENDSEC"})),
              "<end>");
    ASSERT_EQ(e.LWPOLYLINES()->Count(), 2);
    EXPECT_EQ(e.LWPOLYLINES()->ItemRef(0).POINTS.size(), 2u);
    EXPECT_EQ(e.LWPOLYLINES()->ItemRef(1).POINTS.size(), 3u);
    EXPECT_TRUE(e.LWPOLYLINES()->ItemRef(1).IsClosed);
}

TEST(EntitiesSection, ExtentOfNothingIsZeros) {
    ENTITIES e;
    ExpectExtent(ExtentOf(e), 0, 0, 0, 0);
    // Attribute definitions take no part.
    ATTDEF_ENT a;
    a.X = 5;
    e.ATTDEFS()->Add(a);
    ExpectExtent(ExtentOf(e), 0, 0, 0, 0);
}

TEST(EntitiesSection, ExtentOfOneEntityOfEachType) {
    struct Case {
        const char* name;
        std::function<void(ENTITIES&)> add;
        Extent expected;
    };
    const Case cases[] = {
        {"line", [](ENTITIES& e) { e.LINES()->Add(Line(3, 5, 1, 2)); }, {1, 2, 3, 5}},
        {"arc", [](ENTITIES& e) { ARC_ENT a; a.CenterX = 10; a.CenterY = 10; a.Radius = 5; a.EndAngle = 90; e.ARCS()->Add(a); }, {5, 5, 15, 15}},
        {"circle", [](ENTITIES& e) { CIRCLE_ENT c; c.CenterX = -1; c.CenterY = 1; c.Radius = 2; e.CIRCLES()->Add(c); }, {-3, -1, 1, 3}},
        {"ellipse", [](ENTITIES& e) { ELLIPSE_ENT l; l.MajorAxisEndX = 3; l.MajorAxisEndY = 4; l.Ratio = 0.5; e.ELLIPSES()->Add(l); }, {-5, -5, 5, 5}},
        {"ellipse ratio 2", [](ENTITIES& e) { ELLIPSE_ENT l; l.CenterX = 1; l.MajorAxisEndX = -3; l.MajorAxisEndY = 4; l.Ratio = 2; e.ELLIPSES()->Add(l); }, {-9, -10, 11, 10}},
        {"point", [](ENTITIES& e) { POINT_ENT p; p.StartX = 3; p.StartY = 4; e.POINTS()->Add(p); }, {3, 4, 3.01, 4.01}},
        {"solid", [](ENTITIES& e) { SOLID_ENT s; s.Corner1 = {1, 1, 0}; s.Corner2 = {4, 0, 0}; s.Corner3 = {2, 3, 0}; s.Corner4 = {-9, 9, 0}; e.SOLIDS()->Add(s); }, {1, 0, 4, 3}},
        {"3dface", [](ENTITIES& e) { FACE3D_ENT f; f.Corner1 = {1, 1, 0}; f.Corner2 = {-4, 0, 0}; f.Corner3 = {2, 3, 0}; f.Corner4 = {9, -9, 0}; e.FACE3DS()->Add(f); }, {-4, 0, 2, 3}},
        {"text", [](ENTITIES& e) { TEXT_ENT t; t.StartX = -2; t.StartY = 7; t.TextHeight = 10; e.TEXTS()->Add(t); }, {-2, 7, -1.99, 7.01}},
        {"mtext", [](ENTITIES& e) { MTEXT_ENT m; m.X = 1; m.Y = 2; m.Width = 50; e.MTEXTS()->Add(m); }, {1, 2, 1.01, 2.01}},
        // A negative radius is used as it is: the box comes out inverted.
        {"negative radius", [](ENTITIES& e) { CIRCLE_ENT c; c.Radius = -1; e.CIRCLES()->Add(c); }, {1, 1, -1, -1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ENTITIES e;
        c.add(e);
        Extent x = ExtentOf(e);
        ExpectExtent(x, c.expected.x0, c.expected.y0, c.expected.x1, c.expected.y1);
    }
}

TEST(EntitiesSection, ExtentOfAllZeroCountsAsEmpty) {
    ENTITIES e;
    // Arcs are measured before lines: a zero box first is replaced by the line's.
    ARC_ENT dot;
    e.ARCS()->Add(dot);
    e.LINES()->Add(Line(1, 1, 2, 2));
    ExpectExtent(ExtentOf(e), 1, 1, 2, 2);

    // The other way round a zero line only widens what the arc gave.
    ENTITIES f;
    ARC_ENT arc;
    arc.CenterX = 5;
    arc.CenterY = 5;
    arc.Radius = 1;
    f.ARCS()->Add(arc);
    f.LINES()->Add(Line(0, 0, 0, 0));
    ExpectExtent(ExtentOf(f), 0, 0, 6, 6);

    // An inverted box widened by a point.
    ENTITIES g;
    CIRCLE_ENT neg;
    neg.Radius = -1;
    g.CIRCLES()->Add(neg);
    POINT_ENT p;
    g.POINTS()->Add(p);
    ExpectExtent(ExtentOf(g), 0, 0, 0.01, 0.01);
}
