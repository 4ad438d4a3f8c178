#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "entities/collections.h"
#include "io/error.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

// Reads one entity: the first pair (0/<name>) is consumed as a section reader does.
template <class T>
T ReadOne(DXFReader& reader, const std::string& text) {
    reader.OpenString(text, "entity.dxf");
    EXPECT_EQ(reader.Read().Code, 0);
    T record;
    ReadEntity(reader, record);
    return record;
}

template <class T>
T ReadOne(const std::string& text) {
    DXFReader reader;
    return ReadOne<T>(reader, text);
}

template <class T>
std::string WriteOne(const T& record, int32_t& handle) {
    return Written([&](DXFWriter& writer) { WriteEntity(writer, record, handle); });
}

template <class T>
std::string WriteOne(const T& record) {
    int32_t handle = 16;
    return WriteOne(record, handle);
}

struct Box {
    double minX, minY, maxX, maxY;
};

template <class T>
Box BoxOf(const T& r) {
    Box b{};
    GetRecordExtent(r, b.minX, b.minY, b.maxX, b.maxY);
    return b;
}

void ExpectBox(const Box& b, double minX, double minY, double maxX, double maxY) {
    EXPECT_DOUBLE_EQ(b.minX, minX);
    EXPECT_DOUBLE_EQ(b.minY, minY);
    EXPECT_DOUBLE_EQ(b.maxX, maxX);
    EXPECT_DOUBLE_EQ(b.maxY, maxY);
}

}  // namespace

// Each double code of the SOLID table lands in its own corner coordinate.
TEST(EntitiesSimpleDescriptions, EachSolidCornerCodeLandsInItsField) {
    struct Case {
        int32_t code;
        XYZ SOLID_ENT::*corner;
        double XYZ::*axis;
    };
    const Case cases[] = {{10, &SOLID_ENT::Corner1, &XYZ::X}, {20, &SOLID_ENT::Corner1, &XYZ::Y}, {30, &SOLID_ENT::Corner1, &XYZ::Z},
                          {11, &SOLID_ENT::Corner2, &XYZ::X}, {21, &SOLID_ENT::Corner2, &XYZ::Y}, {31, &SOLID_ENT::Corner2, &XYZ::Z},
                          {12, &SOLID_ENT::Corner3, &XYZ::X}, {22, &SOLID_ENT::Corner3, &XYZ::Y}, {32, &SOLID_ENT::Corner3, &XYZ::Z},
                          {13, &SOLID_ENT::Corner4, &XYZ::X}, {23, &SOLID_ENT::Corner4, &XYZ::Y}, {33, &SOLID_ENT::Corner4, &XYZ::Z}};
    for (const Case& c : cases) {
        SOLID_ENT r = ReadOne<SOLID_ENT>(CrlfLines({"0", "SOLID", std::to_string(c.code), "7.25"}));
        EXPECT_EQ((r.*c.corner).*c.axis, 7.25) << c.code;
        // Only that coordinate is set.
        SOLID_ENT rest = r;
        (rest.*c.corner).*c.axis = 0;
        for (const XYZ& corner : {rest.Corner1, rest.Corner2, rest.Corner3, rest.Corner4}) EXPECT_EQ(corner, XYZ{}) << c.code;
    }
}

TEST(EntitiesSimpleArc, ReadsFieldsSkipsOtherCodesAndPushesBackTheNextEntity) {
    DXFReader reader;
    ARC_ENT r = ReadOne<ARC_ENT>(reader, CrlfLines({"0", "ARC", "5", "2F", "330", "1F", "100", "AcDbEntity", "8", " Walls ", "6",
                                                 "DASHED", "62", "3", "100", "AcDbCircle", "39", "0.5", "10", "99", "10", "10",
                                                 "20", "10", "30", "1", "40", "5", "100", "AcDbArc", "50", "0", "51", "90", "11",
                                                 "7", "-3", "x", "210", "0", "220", "0", "230", "1", "1001", "APP", "0", "LINE"}));
    ARC_ENT e;
    e.Layer = "Walls";
    e.LineType = "DASHED";
    e.ColorNumber = 3;
    e.Thickness = 0.5;
    e.CenterX = 10;  // the second 10 wins
    e.CenterY = 10;
    e.CenterZ = 1;
    e.Radius = 5;
    e.StartAngle = 0;
    e.EndAngle = 90;
    EXPECT_EQ(r, e);
    const DXFReader::Pair& next = reader.Read();
    EXPECT_EQ(next.Code, 0);
    EXPECT_EQ(next.Value, "LINE");
}

TEST(EntitiesSimpleArc, BareEntityGetsDefaultsAndEndOfFileEndsItQuietly) {
    ARC_ENT bare = ReadOne<ARC_ENT>(CrlfLines({"0", "ARC", "0", "CIRCLE"}));
    EXPECT_EQ(bare.Layer, "0");
    EXPECT_EQ(bare.LineType, "Continuous");
    EXPECT_EQ(bare.ColorNumber, 256);
    EXPECT_EQ(bare.Radius, 0.0);

    DXFReader reader;
    ARC_ENT cut = ReadOne<ARC_ENT>(reader, CrlfLines({"0", "ARC", "40", "3"}));
    EXPECT_EQ(cut.Radius, 3.0);
    EXPECT_TRUE(reader.AtEnd());
}

TEST(EntitiesSimpleArc, ExtrusionIsConvertedSoABadValueFails) {
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<ARC_ENT>(CrlfLines({"0", "ARC", "220", "up"})); }), err::TypeMismatch);
    // CIRCLE does not look at 210..230 at all.
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<CIRCLE_ENT>(CrlfLines({"0", "CIRCLE", "220", "up"})); }), 0);
}

TEST(EntitiesSimpleArc, WritesItsLinesWithoutExtrusion) {
    ARC_ENT r;
    r.Layer = "Walls";
    r.LineType = "Dashed";
    r.ColorNumber = 3;
    r.Thickness = 0.5;
    r.CenterX = 1;
    r.CenterY = 2;
    r.CenterZ = 0;
    r.Radius = 2.5;
    r.StartAngle = 0;
    r.EndAngle = 90;
    int32_t handle = 16;
    EXPECT_EQ(WriteOne(r, handle), CrlfLines({"0", "ARC", "5", "11", "100", "AcDbEntity", "8", "Walls", "6", "Dashed", "62", "3", "100",
                                          "AcDbCircle", "39", "0.5", "10", "1.", "20", "2.", "30", "0.", "40", "2.5", "100", "AcDbArc",
                                          "50", "0.", "51", "90."}));
    EXPECT_EQ(handle, 17);
}

TEST(EntitiesSimpleCircle, ReadIgnoresArcAnglesAndWritesEmptyNamesAsDefaults) {
    CIRCLE_ENT r = ReadOne<CIRCLE_ENT>(CrlfLines({"0", "CIRCLE", "10", "-1.5", "20", "2", "40", "4", "50", "30", "51", "60", "62", "1"}));
    CIRCLE_ENT e;
    e.Layer = "0";
    e.LineType = "Continuous";
    e.ColorNumber = 1;
    e.CenterX = -1.5;
    e.CenterY = 2;
    e.Radius = 4;
    EXPECT_EQ(r, e);

    CIRCLE_ENT w;  // empty Layer and LineType
    w.ColorNumber = 256;
    w.CenterX = 3;
    w.Radius = 0.25;
    EXPECT_EQ(WriteOne(w), CrlfLines({"0", "CIRCLE", "5", "11", "100", "AcDbEntity", "8", "0", "6", "Continuous", "62", "256", "100",
                                  "AcDbCircle", "39", "0.", "10", "3.", "20", "0.", "30", "0.", "40", "0.25"}));
}

TEST(EntitiesSimpleEllipse, ReadsAxisRatioAndParametersIgnoringThickness) {
    ELLIPSE_ENT r = ReadOne<ELLIPSE_ENT>(CrlfLines({"0", "ELLIPSE", "8", "L", "10", "1", "20", "2", "30", "3", "11", "4", "21", "5", "31",
                                                "6", "39", "9", "40", "0.5", "41", "0.1", "42", "6.2", "210", "0", "62", "7"}));
    ELLIPSE_ENT e;
    e.Layer = "L";
    e.LineType = "Continuous";
    e.ColorNumber = 7;
    e.CenterX = 1;
    e.CenterY = 2;
    e.CenterZ = 3;
    e.MajorAxisEndX = 4;
    e.MajorAxisEndY = 5;
    e.MajorAxisEndZ = 6;
    e.Ratio = 0.5;
    e.StartAngle = 0.1;
    e.EndAngle = 6.2;
    EXPECT_EQ(r, e);

    EXPECT_EQ(WriteOne(e), CrlfLines({"0", "ELLIPSE", "5", "11", "100", "AcDbEntity", "8", "L", "6", "Continuous", "62", "7", "100",
                                  "AcDbEllipse", "10", "1.", "20", "2.", "30", "3.", "11", "4.", "21", "5.", "31", "6.", "40",
                                  "0.5", "41", "0.1", "42", "6.2"}));
}

TEST(EntitiesSimpleCircular, BoxesAreWholeCircles) {
    ARC_ENT arc;
    arc.CenterX = 10;
    arc.CenterY = 10;
    arc.Radius = 5;
    arc.StartAngle = 0;
    arc.EndAngle = 90;
    ExpectBox(BoxOf(arc), 5, 5, 15, 15);

    CIRCLE_ENT circle;
    circle.CenterX = -1;
    circle.CenterY = 2;
    circle.Radius = 1;
    ExpectBox(BoxOf(circle), -2, 1, 0, 3);

    // A negative radius is used as it is: min above max.
    circle.Radius = -1;
    ExpectBox(BoxOf(circle), 0, 3, -2, 1);

    ELLIPSE_ENT ellipse;
    ellipse.MajorAxisEndX = 3;
    ellipse.MajorAxisEndY = 4;
    ellipse.MajorAxisEndZ = 7;  // Z plays no part
    ellipse.Ratio = 0.5;
    ExpectBox(BoxOf(ellipse), -5, -5, 5, 5);
    ellipse.Ratio = 1.0;
    ExpectBox(BoxOf(ellipse), -5, -5, 5, 5);
    ellipse.Ratio = 2.0;
    ExpectBox(BoxOf(ellipse), -10, -10, 10, 10);
}

TEST(EntitiesSimpleCircular, HugeBoxesFailWithOverflow) {
    CIRCLE_ENT circle;
    circle.CenterX = 1e308;
    circle.Radius = 1e308;
    EXPECT_EQ(ErrorNumberOf([&] { BoxOf(circle); }), err::Overflow);
    ELLIPSE_ENT ellipse;
    ellipse.MajorAxisEndX = 1e200;
    EXPECT_EQ(ErrorNumberOf([&] { BoxOf(ellipse); }), err::Overflow);
}

TEST(EntitiesSimplePoint, ReadsItsCodesOnly) {
    DXFReader reader;
    POINT_ENT r = ReadOne<POINT_ENT>(reader, CrlfLines({"0", "POINT", "6", "DASHED", "8", "P", "10", "3", "20", "4", "30", "5", "11",
                                                     "9", "39", "1.5", "62", "2", "62", "5"}));
    POINT_ENT e;
    e.Layer = "P";
    e.ColorNumber = 5;
    e.Thickness = 1.5;
    e.StartX = 3;
    e.StartY = 4;
    e.StartZ = 5;
    EXPECT_EQ(r, e);
    EXPECT_TRUE(reader.AtEnd());
    ExpectBox(BoxOf(r), 3, 4, 3.01, 4.01);
}

TEST(EntitiesSimplePoint, ColourLineLeftOutOnlyFor257) {
    POINT_ENT r;
    r.Layer = "P";
    r.StartX = 1;
    r.StartY = 2;
    r.StartZ = 0;
    r.ColorNumber = 257;
    EXPECT_EQ(WriteOne(r), CrlfLines({"0", "POINT", "5", "11", "100", "AcDbEntity", "8", "P", "100", "AcDbPoint", "39", "0.", "10", "1.",
                                  "20", "2.", "30", "0."}));
    for (int32_t color : {256, 0}) {
        r.ColorNumber = color;
        EXPECT_EQ(WriteOne(r), CrlfLines({"0", "POINT", "5", "11", "100", "AcDbEntity", "8", "P", "62", std::to_string(color), "100",
                                      "AcDbPoint", "39", "0.", "10", "1.", "20", "2.", "30", "0."}));
    }
}

TEST(EntitiesSimpleSolid, ReadsCornersAndExtrusion) {
    SOLID_ENT r = ReadOne<SOLID_ENT>(CrlfLines({"0", "SOLID", "8", "S", "6", "DOT", "62", "4", "10", "0", "20", "0", "30", "0", "11",
                                            "4", "21", "0", "31", "0", "12", "0", "22", "3", "32", "0", "13", "9", "23", "9", "33",
                                            "2.5", "39", "1", "70", "3", "210", "0", "220", "0", "230", "1", "0", "EOF"}));
    SOLID_ENT e;
    e.Layer = "S";
    e.LineType = "DOT";
    e.ColorNumber = 4;
    e.Corner2 = {4, 0, 0};
    e.Corner3 = {0, 3, 0};
    e.Corner4 = {9, 9, 2.5};
    e.Thickness = 1;
    e.ExtrusionZ = 1;
    EXPECT_EQ(r, e);
    // The fourth corner does not count.
    ExpectBox(BoxOf(r), 0, 0, 4, 3);

    SOLID_ENT bare = ReadOne<SOLID_ENT>(CrlfLines({"0", "SOLID"}));
    EXPECT_EQ(bare.ExtrusionZ, 0.0);
    EXPECT_EQ(bare.LineType, "Continuous");
}

TEST(EntitiesSimpleSolid, WritesCornersOneLineEachAndNoExtrusion) {
    SOLID_ENT r;
    r.ColorNumber = 256;
    r.Corner1 = {1, 2, 3};
    r.Corner2 = {4, 5, 6};
    r.Corner3 = {7, 8, 9};
    r.Corner4 = {10, 11, 12.5};
    r.Thickness = 0.5;
    r.ExtrusionZ = 1;
    EXPECT_EQ(WriteOne(r), CrlfLines({"0", "SOLID", "5", "11", "100", "AcDbEntity", "8", "0", "62", "256", "6", "Continuous", "100",
                                  "AcDbTrace", "10", "1.", "20", "2.", "30", "3.", "11", "4.", "21", "5.", "31", "6.", "12", "7.",
                                  "22", "8.", "32", "9.", "13", "10.", "23", "11.", "33", "12.5", "39", "0.5"}));
}

TEST(EntitiesSimpleFace3D, EdgeFlagsReadOnlyFromKnownValues) {
    struct Case {
        std::vector<std::string_view> values;  // group 70 pairs in order
        bool e1, e2, e3, e4;
    };
    const Case cases[] = {
        {{}, false, false, false, false},         {{"0"}, false, false, false, false},   {{"1"}, true, false, false, false},
        {{"8"}, false, false, false, true},       {{"12"}, false, false, true, true},    {{"14"}, false, true, true, true},
        {{"15"}, true, true, true, true},         {{"2"}, false, false, false, false},   {{"1", "5"}, true, false, false, false},
        {{"15", "16"}, true, true, true, true},   {{"15", "-1"}, true, true, true, true}, {{"15", "0"}, false, false, false, false},
        {{"14", "9"}, false, true, true, true},
    };
    for (const Case& c : cases) {
        std::string text = CrlfLines({"0", "3DFACE"});
        for (std::string_view v : c.values) text += CrlfLines({"70", v});
        FACE3D_ENT r = ReadOne<FACE3D_ENT>(text);
        std::string label = "70 values: " + std::to_string(c.values.size()) + (c.values.empty() ? "" : " last " + std::string(c.values.back()));
        EXPECT_EQ(r.Edge1IsInvisible, c.e1) << label;
        EXPECT_EQ(r.Edge2IsInvisible, c.e2) << label;
        EXPECT_EQ(r.Edge3IsInvisible, c.e3) << label;
        EXPECT_EQ(r.Edge4IsInvisible, c.e4) << label;
    }
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<FACE3D_ENT>(CrlfLines({"0", "3DFACE", "70", "all"})); }), err::TypeMismatch);
}

// Our choice: the face keeps its group 62 colour like every other entity.
TEST(EntitiesSimpleFace3D, ReadsCornersAndKeepsColour) {
    FACE3D_ENT r = ReadOne<FACE3D_ENT>(CrlfLines({"0", "3DFACE", "8", "F", "6", "HIDDEN", "62", "5", "39", "4", "10", "1", "20", "1", "11",
                                              "-2", "21", "1", "12", "1", "22", "6", "13", "50", "23", "50", "33", "1", "0", "SEQEND"}));
    FACE3D_ENT e;
    e.Layer = "F";
    e.LineType = "HIDDEN";
    e.ColorNumber = 5;
    e.Corner1 = {1, 1, 0};
    e.Corner2 = {-2, 1, 0};
    e.Corner3 = {1, 6, 0};
    e.Corner4 = {50, 50, 1};
    EXPECT_EQ(r, e);
    ExpectBox(BoxOf(r), -2, 1, 1, 6);
    EXPECT_EQ(ReadOne<FACE3D_ENT>(CrlfLines({"0", "3DFACE"})).ColorNumber, 256);
}

TEST(EntitiesSimpleFace3D, WritesColourAfterMarkerAndPacksFlags) {
    FACE3D_ENT r;
    r.Layer = "F";
    r.ColorNumber = 256;
    r.Corner1 = {0, 0, 0};
    r.Corner2 = {1, 0, 0};
    r.Corner3 = {1, 1, 0.5};
    r.Corner4 = {0, 1, 0};
    r.Edge2IsInvisible = true;
    auto expected = [](std::string_view flags) {
        return CrlfLines({"0", "3DFACE", "5", "11", "100", "AcDbEntity", "8", "F", "6", "Continuous", "100", "AcDbFace", "62", "256", "10",
                      "0.", "20", "0.", "30", "0.", "11", "1.", "21", "0.", "31", "0.", "12", "1.", "22", "1.", "32", "0.5", "13",
                      "0.", "23", "1.", "33", "0.", "70", flags});
    };
    EXPECT_EQ(WriteOne(r), expected("2"));
    r.Edge1IsInvisible = r.Edge3IsInvisible = r.Edge4IsInvisible = true;
    EXPECT_EQ(WriteOne(r), expected("15"));
    r.Edge2IsInvisible = false;
    EXPECT_EQ(WriteOne(r), expected("13"));
}

TEST(EntitiesSimpleText, ReadsFieldsAndDefaults) {
    TEXT_ENT r = ReadOne<TEXT_ENT>(CrlfLines({"0", "TEXT", "100", "AcDbText", "6", "DASHED", "8", "T", "62", "1", "39", "0.5", "10",
                                          "1", "20", "2", "30", "3", "11", "7", "21", "8", "31", "9", "40", "2.5", "1", "  Hello  ",
                                          "50", "30", "41", "0.8", "51", "15", "7", "ROMANS", "72", "1.5", "73", "2.5"}));
    TEXT_ENT e;
    e.Layer = "T";
    e.ColorNumber = 1;
    e.Thickness = 0.5;
    e.StartX = 1;
    e.StartY = 2;
    e.StartZ = 3;
    e.TextHeight = 2.5;
    e.Text = "Hello";
    e.TextRotation = 30;
    e.XScaleFactor = 0.8;
    e.ObliqueAngle = 15;
    e.TextStyleName = "ROMANS";
    e.HorTextJust = 2;  // halves go to even
    e.VertTextJust = 2;
    EXPECT_EQ(r, e);

    DXFReader reader;
    TEXT_ENT bare = ReadOne<TEXT_ENT>(reader, CrlfLines({"0", "TEXT", "8", "T"}));
    EXPECT_TRUE(reader.AtEnd());
    EXPECT_EQ(bare.Text, "Alap");
    EXPECT_EQ(bare.XScaleFactor, 1.0);
    EXPECT_EQ(bare.TextStyleName, "Standard");
    EXPECT_EQ(bare.ColorNumber, 256);
}

TEST(EntitiesSimpleText, WritesConditionalLinesAndFallbacks) {
    TEXT_ENT r;
    r.Layer = "";
    r.ColorNumber = 256;
    r.StartX = 1;
    r.StartY = 2;
    r.StartZ = 0;
    r.TextHeight = 2.5;
    r.Text = "";
    r.XScaleFactor = 1.0;
    r.TextStyleName = "";
    r.HorTextJust = 1;
    r.VertTextJust = 2;
    EXPECT_EQ(WriteOne(r), CrlfLines({"0", "TEXT", "5", "11", "100", "AcDbEntity", "8", "0", "6", "Continuous", "62", "256", "100",
                                  "AcDbText", "39", "0.", "40", "2.5", "10", "1.", "20", "2.", "30", "0.", "1", "0", "7", "0", "11",
                                  "1.", "21", "2.", "31", "0.", "72", "1", "100", "AcDbText", "73", "2"}));

    r.Text = "Hi";
    r.TextStyleName = "Standard";
    r.XScaleFactor = 0.8;
    EXPECT_EQ(WriteOne(r), CrlfLines({"0", "TEXT", "5", "11", "100", "AcDbEntity", "8", "0", "6", "Continuous", "62", "256", "100",
                                  "AcDbText", "39", "0.", "40", "2.5", "10", "1.", "20", "2.", "30", "0.", "1", "Hi", "41", "0.8", "7",
                                  "Standard", "11", "1.", "21", "2.", "31", "0.", "72", "1", "100", "AcDbText", "73", "2"}));

    r.TextRotation = 45;
    r.ObliqueAngle = -10;
    r.XScaleFactor = 1.0;
    EXPECT_EQ(WriteOne(r), CrlfLines({"0", "TEXT", "5", "11", "100", "AcDbEntity", "8", "0", "6", "Continuous", "62", "256", "100",
                                  "AcDbText", "39", "0.", "40", "2.5", "10", "1.", "20", "2.", "30", "0.", "1", "Hi", "50", "45.", "51",
                                  "-10.", "7", "Standard", "11", "1.", "21", "2.", "31", "0.", "72", "1", "100", "AcDbText", "73", "2"}));
    ExpectBox(BoxOf(r), 1, 2, 1.01, 2.01);
}

TEST(EntitiesSimpleMText, JoinsPiecesInFileOrder) {
    EXPECT_EQ(ReadOne<MTEXT_ENT>(CrlfLines({"0", "MTEXT", "3", "abc", "3", "def", "1", "gh"})).Text, "abcdefgh");
    EXPECT_EQ(ReadOne<MTEXT_ENT>(CrlfLines({"0", "MTEXT", "1", "gh", "3", "abc"})).Text, "ghabc");
}

TEST(EntitiesSimpleMText, ReadsFieldsAndDefaults) {
    MTEXT_ENT r = ReadOne<MTEXT_ENT>(CrlfLines({"0", "MTEXT", "5", "A1", "8", "M", "62", "3", "10", "1", "20", "2", "30", "3", "40", "2.5",
                                            "41", "20", "46", "9", "71", "5", "72", "3", "1", "Text", "7", "ROMANS", "42", "4", "43",
                                            "6", "44", "1.5", "73", "2", "90", "1", "50", "0.25"}));
    MTEXT_ENT e;
    e.X = 1;
    e.Y = 2;
    e.Z = 3;
    e.TextHeight = 2.5;
    e.Width = 20;
    e.Align = 5;
    e.Direction = 3;
    e.Text = "Text";
    e.Style = "ROMANS";
    e.Layer = "M";
    e.ColorNumber = 3;
    e.CharWidth = 4;
    e.EntityHeight = 6;
    e.TextRotation = 0.25;
    e.LineSpacing = 2;
    e.LineSpacing2 = 1.5;
    EXPECT_EQ(r, e);

    MTEXT_ENT bare = ReadOne<MTEXT_ENT>(CrlfLines({"0", "MTEXT"}));
    MTEXT_ENT d;
    d.Align = 1;
    d.Direction = 1;
    d.Style = "Standard";
    d.Layer = "0";
    d.ColorNumber = 0;
    d.LineSpacing = 1;
    EXPECT_EQ(bare, d);
}

TEST(EntitiesSimpleMText, RotationFromDirection) {
    struct Case {
        std::initializer_list<std::string_view> pairs;
        double rotation;
    };
    const double pi = std::acos(-1.0);
    const Case cases[] = {
        {{"50", "0.5", "11", "1", "21", "1"}, pi / 4},
        {{"11", "1", "21", "1", "50", "0.5"}, pi / 4},  // the direction wins wherever 50 comes
        {{"50", "0.5", "11", "-1", "21", "0"}, 0.0},    // principal value, no quadrant
        {{"50", "0.5", "11", "-1", "21", "1"}, -pi / 4},
        {{"50", "0.5", "11", "0", "21", "1"}, 0.5},     // not divided
        {{"50", "0.5", "21", "1"}, 0.5},                // X stays 0
        {{"50", "0.5", "31", "1"}, 0.5},
        {{"50", "0.5"}, 0.5},
        {{"11", "2", "21", "1"}, std::atan(0.5)},
    };
    for (const Case& c : cases) {
        std::string text = CrlfLines({"0", "MTEXT"}) + CrlfLines(c.pairs) + CrlfLines({"0", "ENDSEC"});
        EXPECT_DOUBLE_EQ(ReadOne<MTEXT_ENT>(text).TextRotation, c.rotation) << text;
        // The same at the end of the input.
        text = CrlfLines({"0", "MTEXT"}) + CrlfLines(c.pairs);
        EXPECT_DOUBLE_EQ(ReadOne<MTEXT_ENT>(text).TextRotation, c.rotation) << text;
    }
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<MTEXT_ENT>(CrlfLines({"0", "MTEXT", "31", "z"})); }), err::TypeMismatch);
}

TEST(EntitiesSimpleMText, WritesItsLines) {
    MTEXT_ENT r;
    r.X = 1;
    r.Y = 2;
    r.TextHeight = 2.5;
    r.Width = 2;
    r.CharWidth = 3;
    r.Align = 1;
    r.Direction = 1;
    r.Text = "ab";
    r.Style = "";
    r.Layer = "M";
    r.ColorNumber = 0;
    r.EntityHeight = 4;
    r.TextRotation = 0.5;
    r.LineSpacing = 1;
    r.LineSpacing2 = 1.25;
    auto expected = [](std::string_view charWidth) {
        return CrlfLines({"0", "MTEXT", "5", "11", "100", "AcDbEntity", "8", "M", "62", "0", "100", "AcDbMText", "10", "1.", "20", "2.",
                      "30", "0.", "40", "2.5", "41", "2.", "71", "1", "72", "1", "1", "ab", "7", "Standard", "42", charWidth, "43",
                      "4.", "50", "0.5", "73", "1", "44", "1.25"});
    };
    EXPECT_EQ(WriteOne(r), expected("2."));
    r.CharWidth = 1;
    EXPECT_EQ(WriteOne(r), expected("1."));
    ExpectBox(BoxOf(r), 1, 2, 1.01, 2.01);
}

namespace {

// The 3 and 1 pieces of an MTEXT written with the given text.
std::vector<std::pair<int32_t, std::string>> PiecesOf(const std::string& text) {
    MTEXT_ENT r;
    r.Text = text;
    DXFReader reader;
    reader.OpenString(WriteOne(r));
    std::vector<std::pair<int32_t, std::string>> pieces;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read(false);
        if (p.Code == 1 || p.Code == 3) pieces.emplace_back(p.Code, std::string(p.Value));
    }
    return pieces;
}

}  // namespace

TEST(EntitiesSimpleMText, TextWrittenInPiecesOf250) {
    using P = std::vector<std::pair<int32_t, std::string>>;
    const std::string a(250, 'a');
    EXPECT_EQ(PiecesOf(""), (P{{1, ""}}));
    EXPECT_EQ(PiecesOf(a), (P{{1, a}}));
    EXPECT_EQ(PiecesOf(a + "b"), (P{{3, a}, {1, "b"}}));
    EXPECT_EQ(PiecesOf(a + a), (P{{3, a}, {1, a}}));
    EXPECT_EQ(PiecesOf(a + a + "b"), (P{{3, a}, {3, a}, {1, "b"}}));
}

TEST(EntitiesSimpleMText, PiecesCountUtf16UnitsAndKeepCharactersWhole) {
    using P = std::vector<std::pair<int32_t, std::string>>;
    const std::string e = "\xC3\xA9";  // one unit, two UTF-8 bytes
    auto repeat = [](const std::string& s, int n) {
        std::string r;
        for (int i = 0; i < n; ++i) r += s;
        return r;
    };
    EXPECT_EQ(PiecesOf(repeat(e, 251)), (P{{3, repeat(e, 250)}, {1, e}}));
    EXPECT_EQ(PiecesOf(std::string(249, 'a') + e + e), (P{{3, std::string(249, 'a') + e}, {1, e}}));
    // Outside the BMP: two units each; the code page has no such letter, so it comes back as "?".
    const std::string astral = "\xF0\x9F\x98\x80";
    // 249 units then a pair: the pair stays in the piece where it starts.
    EXPECT_EQ(PiecesOf(std::string(249, 'a') + astral + "b"), (P{{3, std::string(249, 'a') + "?"}, {1, "b"}}));
    // 125 pairs are exactly 250 units.
    EXPECT_EQ(PiecesOf(repeat(astral, 125)), (P{{1, std::string(125, '?')}}));
    EXPECT_EQ(PiecesOf(repeat(astral, 125) + "x"), (P{{3, std::string(125, '?')}, {1, "x"}}));
}

TEST(EntitiesSimpleMText, LongTextSurvivesWriteAndRead) {
    MTEXT_ENT r;
    r.Text = std::string(300, 'x') + "\xC3\xA9" + std::string(260, 'y');
    std::string file = WriteOne(r);
    MTEXT_ENT back = ReadOne<MTEXT_ENT>(file);
    EXPECT_EQ(back.Text, r.Text);
}

TEST(EntitiesSimple, BadNumberFailsWithTypeMismatchOrOverflow) {
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<CIRCLE_ENT>(CrlfLines({"0", "CIRCLE", "40", "1,5"})); }), err::TypeMismatch);
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<POINT_ENT>(CrlfLines({"0", "POINT", "62", "99999999999"})); }), err::Overflow);
    EXPECT_EQ(ErrorNumberOf([] { ReadOne<TEXT_ENT>(CrlfLines({"0", "TEXT", "72", "left"})); }), err::TypeMismatch);
}
