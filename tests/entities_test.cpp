// Every entity kind read from its pairs and written back, through one table
// and one round-trip property driven by the kinds list and the field lists;
// then the ENTITIES and BLOCKS sections: which entities they read and skip,
// the order they write them in, and the extent of the model space.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "document/entity_sets.h"
#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

// Pairs given as "code value|code value|...", one CR LF line each.
std::string P(std::string_view pairs) {
    std::string lines(pairs);
    std::replace(lines.begin(), lines.end(), '|', '\n');
    return Dxf(lines);
}

// "Field=value" for every field not zero, false or empty; nested ones as
// Field.Sub and Field[i].Sub, a container's size as Field=n, an empty
// variant as Field=-.
template <class T>
void Render(const T& v, const std::string& key, std::vector<std::string>& out) {
    if constexpr (std::is_same_v<T, std::string>) {
        if (!v.empty()) out.push_back(key + "=" + v);
    } else if constexpr (std::is_same_v<T, bool>) {
        if (v) out.push_back(key + "=1");
    } else if constexpr (std::is_arithmetic_v<T>) {
        char buf[64];
        if (v != T{}) out.push_back(key + "=" + std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr));
    } else if constexpr (std::is_same_v<T, Variant>) {
        if (const auto* path = v.template RecordIf<HATCH_BOUNDARY_POLYLINE>()) Render(*path, key, out);
        else if (const auto* line = v.template RecordIf<HATCH_BOUNDARY_LINE>()) Render(*line, key, out);
        else if (const auto* edges = v.template ArrayIf<Variant>()) Render(edges->items, key, out);
        else out.push_back(key + "=-");
    } else if constexpr (std::is_same_v<T, std::shared_ptr<ATTRIBS>>) {
        if (v) Render(std::vector<ATTRIB_ENT>(v->begin(), v->end()), key, out);
    } else if constexpr (requires { v.size(); }) {
        if (!v.empty()) out.push_back(key + "=" + std::to_string(v.size()));
        for (std::size_t i = 0; i < v.size(); ++i) Render(v[i], key + "[" + std::to_string(i) + "]", out);
    } else {
        ForEachField<T>([&](std::string_view name, auto member) {
            Render(v.*member, key.empty() ? std::string(name) : key + "." + std::string(name), out);
        });
    }
}

template <class T>
std::vector<std::string> Rendered(const T& v) {
    std::vector<std::string> out;
    Render(v, "", out);
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<std::string> Sorted(std::string_view fields) {
    std::vector<std::string> out;
    std::istringstream in{std::string(fields)};
    for (std::string token; in >> token;) out.push_back(token);
    std::sort(out.begin(), out.end());
    return out;
}

// One entity: its pairs after 0/<kind>; the fields of the record read from
// them, or "!n" for the error n; the lines of the record written back with
// the handle counter at 9, "!n" for an error, "" when not checked.
struct Shape {
    std::string_view kind, in, fields, out;
};

#define ENTITY "Layer=0 LineType=Continuous ColorNumber=256 "
#define MTEXT_READ "Align=1 Direction=1 Style=Standard Layer=0 LineSpacing=1 "
#define HATCH_READ ENTITY "PixelSize=-1 "
#define HATCH_HEAD "0 HATCH|5 A|100 AcDbEntity|"
#define VERTEX_HEAD "|100 AcDbEntity|8 0|6 Continuous|100 AcDbVertex|100 "
#define ZERO_WIDTHS "|30 0.|40 0.|41 0.|50 0."

const Shape kShapes[] = {
    {"LINE", "5 2F|330 1F|100 AcDbEntity|8 Walls|6 DASHED|62 3|39 0.5|10 99|10 1|20 2|30 3|11 4|21 5|31 6|210 0|1001 APP|-3 x",
     "Layer=Walls LineType=DASHED ColorNumber=3 Thickness=0.5 StartX=1 StartY=2 StartZ=3 EndX=4 EndY=5 EndZ=6",
     "0 LINE|5 A|100 AcDbEntity|8 Walls|6 DASHED|62 3|100 AcDbLine|39 0.5|10 1.|20 2.|30 3.|11 4.|21 5.|31 6."},
    {"ARC", "8 A|10 10|20 10|30 1|40 5|50 0|51 90|210 0|220 0|230 1|39 -2",
     "Layer=A LineType=Continuous ColorNumber=256 Thickness=-2 CenterX=10 CenterY=10 CenterZ=1 Radius=5 EndAngle=90",
     "0 ARC|5 A|100 AcDbEntity|8 A|6 Continuous|62 256|100 AcDbCircle|39 -2.|10 10.|20 10.|30 1.|40 5.|100 AcDbArc|50 0.|51 90."},
    {"ARC", "220 up", "!13", ""},
    {"CIRCLE", "10 -1.5|20 2|40 4|50 30|51 60|62 1|220 up|6|8", "ColorNumber=1 CenterX=-1.5 CenterY=2 Radius=4",
     "0 CIRCLE|5 A|100 AcDbEntity|8 0|6 Continuous|62 1|100 AcDbCircle|39 0.|10 -1.5|20 2.|30 0.|40 4."},
    {"ELLIPSE", "8 L|10 1|20 2|30 3|11 4|21 5|31 6|39 9|40 0.5|41 0.1|42 6.2|62 7|210 0",
     "Layer=L LineType=Continuous ColorNumber=7 CenterX=1 CenterY=2 CenterZ=3 MajorAxisEndX=4 MajorAxisEndY=5 MajorAxisEndZ=6 "
     "Ratio=0.5 StartAngle=0.1 EndAngle=6.2",
     "0 ELLIPSE|5 A|100 AcDbEntity|8 L|6 Continuous|62 7|100 AcDbEllipse|10 1.|20 2.|30 3.|11 4.|21 5.|31 6.|40 0.5|41 0.1|42 6.2"},
    {"POINT", "", "Layer=0 ColorNumber=256", "0 POINT|5 A|100 AcDbEntity|8 0|62 256|100 AcDbPoint|39 0.|10 0.|20 0.|30 0."},
    {"POINT", "6 DASHED|8 P|10 3|20 4|30 5|11 9|39 1.5|62 257", "Layer=P ColorNumber=257 Thickness=1.5 StartX=3 StartY=4 StartZ=5",
     "0 POINT|5 A|100 AcDbEntity|8 P|100 AcDbPoint|39 1.5|10 3.|20 4.|30 5."},
    {"POINT", "62 99999999999", "!6", ""},
    {"SOLID", "8 S|6 DOT|62 4|10 1|20 2|30 3|11 4|21 5|31 6|12 7|22 8|32 9|13 10|23 11|33 12.5|39 1|70 3|210 0|220 0|230 1",
     "Layer=S ColorNumber=4 LineType=DOT Corner1.X=1 Corner1.Y=2 Corner1.Z=3 Corner2.X=4 Corner2.Y=5 Corner2.Z=6 Corner3.X=7 "
     "Corner3.Y=8 Corner3.Z=9 Corner4.X=10 Corner4.Y=11 Corner4.Z=12.5 Thickness=1 ExtrusionZ=1",
     "0 SOLID|5 A|100 AcDbEntity|8 S|62 4|6 DOT|100 AcDbTrace|10 1.|20 2.|30 3.|11 4.|21 5.|31 6.|12 7.|22 8.|32 9.|13 10.|23 11.|"
     "33 12.5|39 1."},
    // 5 is not an edge value: the flags of the 1 stay.
    {"3DFACE", "8 F|6 HIDDEN|62 5|39 4|10 1|20 1|11 -2|21 1|12 1|22 6|13 50|23 50|33 1|70 1|70 5",
     "Layer=F LineType=HIDDEN ColorNumber=5 Corner1.X=1 Corner1.Y=1 Corner2.X=-2 Corner2.Y=1 Corner3.X=1 Corner3.Y=6 Corner4.X=50 "
     "Corner4.Y=50 Corner4.Z=1 Edge1IsInvisible=1",
     "0 3DFACE|5 A|100 AcDbEntity|8 F|6 HIDDEN|100 AcDbFace|62 5|10 1.|20 1.|30 0.|11 -2.|21 1.|31 0.|12 1.|22 6.|32 0.|13 50.|"
     "23 50.|33 1.|70 1"},
    {"3DFACE", "70 all", "!13", ""},
    // 11/21/31 are written as the insertion point; 72/73 are rounded, halves to even.
    {"TEXT", "6 DASHED|8 T|62 1|39 0.5|10 1|20 2|30 3|11 7|21 8|31 9|40 2.5|1 Hello|50 30|41 0.8|51 15|7 ROMANS|72 1.5|73 2.5",
     "Layer=T ColorNumber=1 Thickness=0.5 StartX=1 StartY=2 StartZ=3 TextHeight=2.5 Text=Hello TextRotation=30 XScaleFactor=0.8 "
     "ObliqueAngle=15 TextStyleName=ROMANS HorTextJust=2 VertTextJust=2",
     "0 TEXT|5 A|100 AcDbEntity|8 T|6 Continuous|62 1|100 AcDbText|39 0.5|40 2.5|10 1.|20 2.|30 3.|1 Hello|50 30.|41 0.8|51 15.|"
     "7 ROMANS|11 1.|21 2.|31 3.|72 2|100 AcDbText|73 2"},
    {"TEXT", "", "Layer=0 ColorNumber=256 Text=Alap XScaleFactor=1 TextStyleName=Standard",
     "0 TEXT|5 A|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbText|39 0.|40 0.|10 0.|20 0.|30 0.|1 Alap|7 Standard|11 0.|21 0.|"
     "31 0.|72 0|100 AcDbText|73 0"},
    {"TEXT", "8|1|7", "ColorNumber=256 XScaleFactor=1",
     "0 TEXT|5 A|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbText|39 0.|40 0.|10 0.|20 0.|30 0.|1 0|7 0|11 0.|21 0.|31 0.|72 0|"
     "100 AcDbText|73 0"},
    {"TEXT", "72 left", "!13", ""},
    {"MTEXT", "5 A1|8 M|62 3|10 1|20 2|30 3|40 2.5|41 20|46 9|71 5|72 3|3 abc|3 def|1 gh|42 4|43 6|44 1.5|73 2|90 1|50 0.25",
     "X=1 Y=2 Z=3 TextHeight=2.5 Width=20 Align=5 Direction=3 Text=abcdefgh Style=Standard Layer=M ColorNumber=3 CharWidth=4 "
     "EntityHeight=6 TextRotation=0.25 LineSpacing=2 LineSpacing2=1.5",
     "0 MTEXT|5 A|100 AcDbEntity|8 M|62 3|100 AcDbMText|10 1.|20 2.|30 3.|40 2.5|41 20.|71 5|72 3|1 abcdefgh|7 Standard|42 4.|43 6.|"
     "50 0.25|73 2|44 1.5"},
    // A character width above the width is written as the width.
    {"MTEXT", "1 gh|3 abc|7|41 2|42 3", "Align=1 Direction=1 Layer=0 LineSpacing=1 Text=ghabc Width=2 CharWidth=3",
     "0 MTEXT|5 A|100 AcDbEntity|8 0|62 0|100 AcDbMText|10 0.|20 0.|30 0.|40 0.|41 2.|71 1|72 1|1 ghabc|7 Standard|42 2.|43 0.|50 0.|"
     "73 1|44 0."},
    // The direction gives the rotation, principal value only, wherever 50 comes; an X of 0 is not divided.
    {"MTEXT", "11 1|21 1|50 0.5", MTEXT_READ "TextRotation=0.7853981633974483", ""},
    {"MTEXT", "50 0.5|11 -1|21 0", MTEXT_READ, ""},
    {"MTEXT", "50 0.5|11 0|21 1", MTEXT_READ "TextRotation=0.5", ""},
    {"MTEXT", "50 0.5|31 1", MTEXT_READ "TextRotation=0.5", ""},
    {"MTEXT", "31 z", "!13", ""},
    // The attributes up to SEQEND belong to the insert; the SEQEND's 8 sets its layer.
    {"INSERT",
     "5 1F|8 A|2 Door|66 1|10 7|20 8|41 2|50 90|0 ATTRIB|5 20|8 AttLayer|10 1.5|40 2.5|1 12|2 NUM|70 1|73 5|0 attrib|1 second|"
     "2 TAG2|62 3|0 SEQEND|5 22|330 1F|100 AcDbEntity|8 B",
     "Layer=B LineType=Continuous ColorNumber=256 CenterX=7 CenterY=8 BlockName=Door XScale=2 YScale=1 ZScale=1 RotationAngle=90 "
     "ATTRIBS=2 ATTRIBS[0].Layer=AttLayer ATTRIBS[0].ColorNumber=256 ATTRIBS[0].LineType=Continuous ATTRIBS[0].X=1.5 "
     "ATTRIBS[0].TextHeight=2.5 ATTRIBS[0].DefaultValue=12 ATTRIBS[0].TagString=NUM ATTRIBS[0].XScaleFactor=1 "
     "ATTRIBS[0].TextStyleName=STANDARD ATTRIBS[0].AttributeFlag=1 ATTRIBS[1].Layer=0 ATTRIBS[1].ColorNumber=3 "
     "ATTRIBS[1].LineType=Continuous ATTRIBS[1].DefaultValue=second ATTRIBS[1].TagString=TAG2 ATTRIBS[1].XScaleFactor=1 "
     "ATTRIBS[1].TextStyleName=STANDARD",
     "0 INSERT|5 A|100 AcDbEntity|8 B|6 Continuous|62 256|100 AcDbBlockReference|66 1|39 0.|10 7.|20 8.|30 0.|2 Door|41 2.|42 1.|"
     "43 1.|50 90.|0 ATTRIB|5 B|330 A|100 AcDbEntity|8 AttLayer|100 AcDbText|10 1.5|20 0.|30 0.|40 2.5|1 12|100 AcDbAttribute|2 NUM|"
     "70 1|0 ATTRIB|5 C|330 A|100 AcDbEntity|8 0|100 AcDbText|10 0.|20 0.|30 0.|40 0.|1 second|100 AcDbAttribute|2 TAG2|70 0|"
     "0 SEQEND|5 D|330 A|100 AcDbEntity|8 B"},
    {"INSERT", "66 1|44 9|70 3", ENTITY "BlockName=Alap XScale=1 YScale=1 ZScale=1",
     "0 INSERT|5 A|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbBlockReference|39 0.|10 0.|20 0.|30 0.|2 Alap|50 0."},
    {"INSERT", "0 ATTRIB|40 high", "!13", ""},
    // An ATTDEF ends at any code 0; ATTRIB consumes a SEQEND in any case.
    {"ATTDEF", "3 Ask|2 TG|1 D|72 1|74 2|62 5|10 1|40 0.5|50 30|8",
     "ColorNumber=5 LineType=Continuous X=1 TextHeight=0.5 DefaultValue=D PromptString=Ask TagString=TG Rotation=30 XScaleFactor=1 "
     "TextStyleName=STANDARD HorTextJust=1 VertTextJust=2",
     "0 ATTDEF|5 A|100 AcDbEntity|8 0|100 AcDbText|10 1.|20 0.|30 0.|40 0.5|50 30.|41 1.|51 0.|7 STANDARD|72 1|1 D|"
     "100 AcDbAttributeDefinition|3 Ask|2 TG|70 0"},
    {"ATTRIB", "2 T|1 v|8 L|7 ROMANS|62 4|0  seqend ",
     "Layer=L ColorNumber=4 LineType=Continuous DefaultValue=v TagString=T XScaleFactor=1 TextStyleName=ROMANS",
     "0 ATTRIB|5 A|330 0|100 AcDbEntity|8 L|100 AcDbText|10 0.|20 0.|30 0.|40 0.|1 v|100 AcDbAttribute|2 T|70 0"},
    // A vertex's own layer and colour are dropped; the SEQEND's 8 sets the layer (an empty one is written as 0).
    {"POLYLINE", "8 P|66 1|70 1|10 0|20 0|30 0|0 VERTEX|8 VertexLayer|62 5|10 1|20 2|40 0.5|0 vertex|10 3|20 4|42 1|0 VERTEX|10 5|"
     "20 6|0 SEQEND|8",
     "LineType=Continuous ColorNumber=256 IsClosed=1 Vertices=3 Vertices[0].X=1 Vertices[0].Y=2 Vertices[0].StartWidth=0.5 "
     "Vertices[1].X=3 Vertices[1].Y=4 Vertices[1].Bulge=1 Vertices[2].X=5 Vertices[2].Y=6",
     "0 POLYLINE|5 A|100 AcDbEntity|8 0|6 Continuous|40 0.|41 0.|62 256|100 AcDb2dPolyline|66 1|39 0.|10 0.|20 0.|30 0.|70 1|"
     "0 VERTEX|5 B" VERTEX_HEAD "AcDb2dVertex|10 1.|20 2.|30 0.|40 0.5|41 0.|50 0.|70 0|"
     "0 VERTEX|5 C" VERTEX_HEAD "AcDb2dVertex|10 3.|20 4." ZERO_WIDTHS "|70 0|"
     "0 VERTEX|5 D" VERTEX_HEAD "AcDb2dVertex|10 5.|20 6." ZERO_WIDTHS "|70 0|0 SEQEND|100 AcDbEntity|5 E"},
    // Face records (flag 128) go last; a foreign entity inside the sequence is passed over; a 70 after SEQEND adds flags.
    {"POLYLINE", "70 64|71 4|72 2|75 6|39 1|40 0.5|41 0.25|0 VERTEX|10 1|70 192|0 LINE|10 99|0 VERTEX|70 128|71 1|72 2|73 3|74 -4|"
     "0 VERTEX|10 2|70 32|0 SEQEND|70 1",
     ENTITY "Thickness=1 PolygonMeshMVertexCount=4 PolygonMeshNVertexCount=2 IsClosed=1 IsPolyFaceMesh=1 SplineMode=6 "
     "DefaultStartWidth=0.5 DefaultEndWidth=0.25 Vertices=2 Vertices[0].X=1 Vertices[0].VertexFlag=192 Vertices[1].X=2 "
     "Vertices[1].VertexFlag=32 CommandVertices=1 CommandVertices[0].VertexFlag=128 CommandVertices[0].PolyFaceMesh1=1 "
     "CommandVertices[0].PolyFaceMesh2=2 CommandVertices[0].PolyFaceMesh3=3 CommandVertices[0].PolyFaceMesh4=-4",
     "0 POLYLINE|5 A|100 AcDbEntity|8 0|6 Continuous|40 0.5|41 0.25|62 256|100 AcDbPolyFaceMesh|66 1|39 1.|10 0.|20 0.|30 0.|70 65|"
     "0 VERTEX|5 B" VERTEX_HEAD "AcDbPolyFaceMeshVertex|10 1.|20 0." ZERO_WIDTHS "|70 192|"
     "0 VERTEX|5 C" VERTEX_HEAD "AcDb2dVertex|10 2.|20 0." ZERO_WIDTHS "|70 32|"
     "0 VERTEX|5 D|100 AcDbEntity|8 0|6 Continuous|100 AcDbFaceRecord|10 0.|20 0." ZERO_WIDTHS "|70 128|71 1|72 2|73 3|74 -4|"
     "0 SEQEND|100 AcDbEntity|5 E"},
    // Without SEQEND the sequence runs to the end of the input.
    {"POLYLINE", "70 9|0 VERTEX|10 1", ENTITY "IsClosed=1 Is3DPolyLine=1 Vertices=1 Vertices[0].X=1",
     "0 POLYLINE|5 A|100 AcDbEntity|8 0|6 Continuous|40 0.|41 0.|62 256|100 AcDb3dPolyline|66 1|39 0.|10 0.|20 0.|30 0.|70 9|"
     "0 VERTEX|5 B" VERTEX_HEAD "AcDb3dPolylineVertex|10 1.|20 0." ZERO_WIDTHS "|70 0|0 SEQEND|100 AcDbEntity|5 C"},
    {"POLYLINE", "70 129|0 SEQEND", ENTITY "IsClosed=1", "!9"},
    {"POLYLINE", "70 126", ENTITY "IsCurveFitted=1 IsSplineFitted=1 Is3DPolyLine=1 Is3DPolygonMesh=1 Is3DPolygonMeshClosed=1 "
     "IsPolyFaceMesh=1", ""},
    // The vertices are the 10s, not the 90; a 10 resets Y, Z and the bulge, not the widths.
    {"LWPOLYLINE", "5 2A|100 AcDbPolyline|90 5|70 1|8 L|30 9|42 9|10 1|40 2|41 3|30 7|10 4|20 5|42 0.5|10 6|40 0|41 0|10 8",
     "Layer=L LineType=Continuous ColorNumber=256 IsClosed=1 ConstWidth=-100 POINTS=4 POINTS[0].X=1 POINTS[0].Z=7 "
     "POINTS[0].StartWidth=2 POINTS[0].EndWidth=3 POINTS[1].X=4 POINTS[1].Y=5 POINTS[1].StartWidth=2 POINTS[1].EndWidth=3 "
     "POINTS[1].Bulge=0.5 POINTS[2].X=6 POINTS[3].X=8",
     "0 LWPOLYLINE|5 A|100 AcDbEntity|8 L|6 Continuous|62 256|100 AcDbPolyline|90 4|70 1|10 1.|20 0.|40 2.|41 3.|10 4.|20 5.|40 2.|"
     "41 3.|10 6.|20 0.|40 0.|41 0.|10 8.|20 0.|40 0.|41 0."},
    {"LWPOLYLINE", "70 128|43 0.5|38 -1|39 2|6 Dot|62 7|10 1|20 2|40 3|41 4",
     "Layer=0 LineType=Dot ColorNumber=7 Thickness=2 PlineGen=1 ConstWidth=0.5 Elevation=-1 POINTS=1 POINTS[0].X=1 POINTS[0].Y=2 "
     "POINTS[0].StartWidth=3 POINTS[0].EndWidth=4",
     "0 LWPOLYLINE|5 A|100 AcDbEntity|8 0|6 Dot|62 7|100 AcDbPolyline|39 2.|90 1|70 128|43 0.5|38 -1.|10 1.|20 2."},
    {"LWPOLYLINE", "70 3|43 -100", ENTITY "IsClosed=1 ConstWidth=-100", "!9"},
    {"LWPOLYLINE", "10 1|10 2|20 abc", "!13", ""},
    // The fill is written solid, a path with type flag 3; a missing 47 is not written.
    {"HATCH", "5 3C|100 AcDbHatch|10 0|20 0|30 0|2 SOLID|70 0|91 1|92 7|72 0|73 1|93 4|10 0|20 0|10 4|20 0|10 4|20 3|10 0|20 3|97 0|"
     "75 1|76 1|98 0",
     HATCH_READ "HatchPatterName=SOLID BoundaryCount=1 Boundaries=1 Boundaries[0].IsClosed=1 Boundaries[0].VerticesCount=4 "
     "Boundaries[0].POINTS=4 Boundaries[0].POINTS[1].X=4 Boundaries[0].POINTS[2].X=4 Boundaries[0].POINTS[2].Y=3 "
     "Boundaries[0].POINTS[3].Y=3 HatchStyle=1 HatchPatternType=1",
     HATCH_HEAD "8 0|6 Continuous|62 256|100 AcDbHatch|10 0.|20 0.|30 0.|210 0.|220 0.|230 0.|2 SOLID|70 1|71 0|91 1|92 3|72 0|73 1|"
     "93 4|10 0.|20 0.|10 4.|20 0.|10 4.|20 3.|10 0.|20 3.|97 0|75 1|76 1|98 0"},
    // Line, arc, ellipse and spline (with fit data) edges; only the lines are kept and only the polyline path is
    // written. Names are written as they are.
    {"HATCH", "8|6|10 100|20 200|30 0|2 SOLID|70 1|71 1|91 2|92 1|93 4|72 1|10 0|20 0|11 10|21 0|72 2|10 5|20 5|40 2|50 0|51 90|"
     "73 1|72 3|10 1|20 1|11 3|21 0|40 0.5|50 0|51 180|73 1|72 4|94 3|73 1|74 0|95 2|96 2|40 0|40 1|10 0|20 0|42 1|10 4|20 4|42 1|"
     "97 1|11 2|21 2|12 1|22 0|13 0|23 1|97 1|330 1F|92 2|72 1|73 1|93 2|10 1|20 2|42 0.5|10 3|20 4|42 0|97 0|75 1|76 1|47 0.25|"
     "98 1|10 7|20 8",
     "ColorNumber=256 ElevationX=100 ElevationY=200 HatchPatterName=SOLID SolidFill=1 Associativity=1 BoundaryCount=2 Boundaries=2 "
     "Boundaries[0]=4 Boundaries[0][0].EndX=10 Boundaries[0][1]=- Boundaries[0][2]=- Boundaries[0][3]=- Boundaries[1].HasBulge=1 "
     "Boundaries[1].IsClosed=1 Boundaries[1].VerticesCount=2 Boundaries[1].POINTS=2 Boundaries[1].POINTS[0].X=1 "
     "Boundaries[1].POINTS[0].Y=2 Boundaries[1].POINTS[1].X=3 Boundaries[1].POINTS[1].Y=4 Boundaries[1].Bulges=2 "
     "Boundaries[1].Bulges[0]=0.5 HatchStyle=1 HatchPatternType=1 PixelSize=0.25 SeedPointCount=1 Seedpoints=1 Seedpoints[0].X=7 "
     "Seedpoints[0].Y=8",
     HATCH_HEAD "8|6|62 256|100 AcDbHatch|10 100.|20 200.|30 0.|210 0.|220 0.|230 0.|2 SOLID|70 1|71 1|91 1|92 3|72 1|73 1|93 2|"
     "10 1.|20 2.|42 0.5|10 3.|20 4.|42 0.|97 0|75 1|76 1|47 0.25|98 1|10 7.|20 8."},
    // Splines without fit data: one followed by the next edge, one whose 97 is the path's. A polyline path may lack
    // its 97, or its 93.
    {"HATCH", "91 3|92 1|93 2|72 4|94 3|73 0|74 0|95 1|96 1|40 0|10 1|20 1|72 4|94 3|73 0|74 0|95 0|96 1|10 1|20 1|97 2|330 A1|"
     "330 A2|92 2|72 0|93 1|10 5|20 6|92 3|73 1|97 1|330 A3|75 2",
     HATCH_READ "BoundaryCount=3 Boundaries=3 Boundaries[0]=2 Boundaries[0][0]=- Boundaries[0][1]=- Boundaries[1].VerticesCount=1 "
     "Boundaries[1].POINTS=1 Boundaries[1].POINTS[0].X=5 Boundaries[1].POINTS[0].Y=6 Boundaries[2].IsClosed=1 HatchStyle=2",
     ""},
    // An unknown path type ends the paths; the boundary pairs up to 75 are passed over.
    {"HATCH", "91 3|92 2|72 1|42 0|92 16|93 1|10 9|20 9|30 9|92 2|75 1|76 0",
     HATCH_READ "BoundaryCount=3 Boundaries=3 Boundaries[0].HasBulge=1 Boundaries[1]=- Boundaries[2]=- HatchStyle=1", ""},
    // An unknown edge type: the edges before it stay, the rest up to the next entity is passed over.
    {"HATCH", "91 2|92 1|93 3|72 1|10 1|20 2|11 3|21 4|72 9|10 9|20 9|92 2|62 1",
     HATCH_READ "BoundaryCount=2 Boundaries=2 Boundaries[0]=3 Boundaries[0][0].StartX=1 Boundaries[0][0].StartY=2 "
     "Boundaries[0][0].EndX=3 Boundaries[0][0].EndY=4 Boundaries[0][1]=- Boundaries[0][2]=- Boundaries[1]=-",
     ""},
    // Counts are refused before anything is allocated for them.
    {"HATCH", "91 2147483647|92 2", "!62", ""},
    {"HATCH", "91 -1", "!9", ""},
    {"HATCH", "91 1|92 2|72 0|93 -5|10 1", "!9", ""},
    {"HATCH", "91 1|92 2|93 1000000000|10 1", "!62", ""},
    {"HATCH", "98 2000000000|10 1|20 2", "!62", ""},
    {"HATCH", "91 1|92 1|93 2147483647", "!62", ""},
    {"HATCH", "91 1|92 1|93 1|72 4|94 3|73 0|74 0|95 99999|96 0", "!62", ""},
    {"HATCH", "91 many", "!13", ""},
};

template <Kind K>
void CheckShape(const Shape& s) {
    DXFReader reader;
    reader.OpenString(P("0 " + std::string(s.kind) + "|" + std::string(s.in) + "|0 NEXT"));
    reader.Read();
    KindRecord<K> r;
    ReadScratch scratch;
    const int32_t readError = ErrorNumberOf([&] { ReadEntity(reader, r, scratch); });
    if (s.fields.starts_with('!')) {
        EXPECT_EQ("!" + std::to_string(readError), s.fields);
        return;
    }
    ASSERT_EQ(readError, 0);
    EXPECT_EQ(Rendered(r), Sorted(s.fields));
    // The next entity's pair is pushed back.
    if (!reader.AtEnd()) {
        EXPECT_EQ(reader.Read().Value, "NEXT");
    }
    if (s.out.empty()) return;
    std::string out;
    int32_t handle = 9;
    const int32_t writeError = ErrorNumberOf([&] { out = Written([&](DXFWriter& w) { WriteEntity(w, r, handle); }); });
    if (s.out.starts_with('!'))
        EXPECT_EQ("!" + std::to_string(writeError), s.out);
    else
        EXPECT_EQ(SplitCrLf(out), SplitCrLf(P(s.out)));
}

}  // namespace

TEST(EntityRecords, ReadAndWrittenByTheTables) {
    for (const Shape& s : kShapes) {
        SCOPED_TRACE(std::string(s.kind) + " " + std::string(s.in));
        Kind kind{};
        ASSERT_TRUE(kinds::Find(s.kind, kind));
        kinds::ForEach([&]<Kind K>() {
            if (K == kind) CheckShape<K>(s);
        });
    }
}

namespace {

// A value for every field, of the forms a file carries: texts without
// blanks or line ends, numbers of at most nine decimals (the sentinels
// among them), short arrays.
template <class T>
void Fill(T& v) {
    namespace gen = rc::gen;
    if constexpr (std::is_same_v<T, std::string>) {
        v = *gen::container<std::string>(gen::inRange<char>(33, 127));
    } else if constexpr (std::is_same_v<T, bool>) {
        v = *gen::arbitrary<bool>();
    } else if constexpr (std::is_same_v<T, int32_t>) {
        v = *gen::oneOf(gen::element(0, 1, 128, 192), gen::arbitrary<int32_t>());
    } else if constexpr (std::is_same_v<T, double>) {
        // A whole number over at most 2^9 has at most nine decimals.
        const auto dyadic = gen::apply([](int64_t n, int e) { return std::ldexp(static_cast<double>(n), -e); },
                                       gen::inRange<int64_t>(-(int64_t{1} << 52), int64_t{1} << 52), gen::inRange(0, 10));
        v = *gen::oneOf(gen::element(0.0, 1.0, -1.0, -100.0), dyadic);
    } else if constexpr (std::is_same_v<T, std::shared_ptr<ATTRIBS>>) {
        std::vector<ATTRIB_ENT> items;
        Fill(items);
        if (items.empty()) return;  // an empty collection is not read back
        v = std::make_shared<ATTRIBS>();
        for (ATTRIB_ENT& a : items) v->Add(a);
    } else if constexpr (requires { v.resize(0); }) {
        v.resize(*gen::inRange<std::size_t>(0, 4));
        for (auto& item : v) Fill(item);
    } else if constexpr (requires { Fields<T>::list; }) {
        ForEachField<T>([&](std::string_view, auto member) { Fill(v.*member); });
    }
}

// Records brought into the forms a file gives them.
template <class R>
void Fit(R&) {}
void Fit(POINT_ENT& r) {
    if (r.ColorNumber == 257) r.ColorNumber = 256;  // 257 writes no colour
}
void Fit(FACE3D_ENT& r) {  // only these edge combinations are read
    const int32_t flags = *rc::gen::element(0, 1, 8, 12, 14, 15);
    r.Edge1IsInvisible = flags & 1;
    r.Edge2IsInvisible = flags & 2;
    r.Edge3IsInvisible = flags & 4;
    r.Edge4IsInvisible = flags & 8;
}
void Fit(POLYLINE_ENT& r) {  // face records are written after the vertices
    if (r.Vertices.empty()) r.Vertices.resize(1);
    for (VERTEX_ENT& v : r.Vertices) v.VertexFlag = v.VertexFlag == 128 ? 0 : v.VertexFlag;
    for (VERTEX_ENT& v : r.CommandVertices) v.VertexFlag = 128;
}
void Fit(LWPOLYLINE_ENT& r) {
    if (r.POINTS.empty()) r.POINTS.resize(1);
}
void Fit(HATCH_ENT& r) {  // polyline paths, counts that match their arrays
    for (Variant& entry : r.Boundaries) {
        HATCH_BOUNDARY_POLYLINE path;
        Fill(path);
        path.VerticesCount = static_cast<int32_t>(path.POINTS.size());
        if (path.HasBulge) path.Bulges.resize(path.POINTS.size());
        entry = Variant::FromRecord(path);
    }
    r.BoundaryCount = static_cast<int32_t>(r.Boundaries.size());
    r.SeedPointCount = static_cast<int32_t>(r.Seedpoints.size());
}

// Written by one writer for all cases: a new one would clear its whole buffer each time.
template <class R>
std::string WrittenAlone(const R& r) {
    static DXFWriter writer;
    std::string out;
    writer.OpenString(&out);
    int32_t handle = 0;
    WriteEntity(writer, r, handle);
    writer.CloseOutput();
    return out;
}

template <class R>
R ReadAlone(const std::string& text) {
    DXFReader reader;
    reader.OpenString(text);
    reader.Read();
    R r;
    ReadScratch scratch;
    ReadEntity(reader, r, scratch);
    RC_ASSERT(reader.AtEnd());
    return r;
}

}  // namespace

// What is written of a record is read back into a record that writes the
// same lines again.
TEST(EntityRecords, AnyRecordWrittenAndReadBackIsWrittenAlike) {
    kinds::ForEach([]<Kind K>() {
        EXPECT_TRUE(rc::check(std::string(kinds::RowOf(K).dxf), [] {
            KindRecord<K> r;
            Fill(r);
            Fit(r);
            const std::string first = WrittenAlone(r);
            RC_ASSERT(WrittenAlone(ReadAlone<KindRecord<K>>(first)) == first);
        }));
    });
}

namespace {

std::vector<std::pair<int32_t, std::string>> PiecesOf(const std::string& text) {
    MTEXT_ENT r;
    r.Text = text;
    DXFReader reader;
    reader.OpenString(WrittenAlone(r));
    std::vector<std::pair<int32_t, std::string>> pieces;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read(false);
        if (p.Code == 1 || p.Code == 3) pieces.emplace_back(p.Code, std::string(p.Value));
    }
    return pieces;
}

}  // namespace

TEST(EntityRecords, MTextWrittenInPiecesOf250Utf16Units) {
    using Pieces = std::vector<std::pair<int32_t, std::string>>;
    const std::string a(250, 'a'), e = "\xC3\xA9", astral = "\xF0\x9F\x98\x80";
    const auto times = [](const std::string& s, int n) {
        std::string r;
        while (n-- > 0) r += s;
        return r;
    };
    EXPECT_EQ(PiecesOf(a), (Pieces{{1, a}}));
    EXPECT_EQ(PiecesOf(a + a + "b"), (Pieces{{3, a}, {3, a}, {1, "b"}}));
    EXPECT_EQ(PiecesOf("a" + times(e, 250)), (Pieces{{3, "a" + times(e, 249)}, {1, e}}));
    // A surrogate pair starting at the 250th unit stays whole; the code page writes it as "?".
    EXPECT_EQ(PiecesOf(std::string(249, 'a') + astral + "b"), (Pieces{{3, std::string(249, 'a') + "?"}, {1, "b"}}));
    EXPECT_EQ(PiecesOf(times(astral, 125) + "x"), (Pieces{{3, std::string(125, '?')}, {1, "x"}}));
}

TEST(EntityRecords, HatchCountsBeyondTheirArraysFail) {
    for (int i = 0; i < 4; ++i) {
        HATCH_BOUNDARY_POLYLINE path;
        path.VerticesCount = i == 1 ? 3 : 2;
        path.POINTS.resize(2);
        path.HasBulge = i == 2;
        path.Bulges = {0.5};
        HATCH_ENT h;
        h.BoundaryCount = i == 0 ? 2 : 1;
        h.Boundaries = {Variant::FromRecord(path)};
        h.SeedPointCount = i == 3;
        EXPECT_EQ(ErrorNumberOf([&] { WrittenAlone(h); }), err::SubscriptOutOfRange) << i;
    }
}

// An empty attribute collection is still announced and closed.
TEST(EntityRecords, InsertWithAnEmptyAttributeCollection) {
    INSERT_ENT insert;
    insert.ATTRIBS = std::make_shared<ATTRIBS>();
    EXPECT_EQ(SplitCrLf(WrittenAlone(insert)),
              SplitCrLf(P("0 INSERT|5 1|100 AcDbEntity|8 0|6 Continuous|62 0|100 AcDbBlockReference|66 1|39 0.|10 0.|20 0.|30 0.|2|"
                          "41 0.|42 0.|43 0.|50 0.|0 SEQEND|5 2|330 1|100 AcDbEntity|8 0")));
}

// A count is bounded by what the file holds, not by what the reader has buffered.
TEST(EntityRecords, HatchCountBoundedByTheFile) {
    TempDir dir;
    std::string text = "0\nHATCH\n98\n200000\n";
    for (int i = 0; i < 200000; ++i) text += "10\n1\n20\n2\n";  // more than the reader buffers
    WriteFile(dir / "seeds.dxf", text);
    DXFReader reader;
    reader.OpenInput(dir / "seeds.dxf");
    reader.Read();
    HATCH_ENT h;
    ReadScratch scratch;
    ReadEntity(reader, h, scratch);
    ASSERT_EQ(h.Seedpoints.size(), 200000u);
    EXPECT_EQ(h.Seedpoints.back(), (XYZ{1, 2, 0}));
}

namespace {

// "LINES=2 ..." for the collections of the set that hold records.
template <class Set>
std::string Counts(const Set& set) {
    std::string out;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K>)
            if (const auto& list = ListIn<K>(set); list && list->Count() > 0)
                out += std::string(kinds::RowOf(K).list) + "=" + std::to_string(list->Count()) + " ";
    });
    return out;
}

// The values of the code-0 pairs of a text.
std::string Names(const std::string& text) {
    DXFReader reader;
    reader.OpenString(text);
    std::string out;
    while (!reader.AtEnd())
        if (const DXFReader::Pair& p = reader.Read(); p.Code == 0) out += std::string(p.Value) + " ";
    return out;
}

}  // namespace

// Names are found in any case (a dotless i is an I) but the section ends only at an exact ENDSEC; kinds the
// section does not read, and names it does not know, are passed over with their pairs.
TEST(EntitySections, EntitiesReadByNameAndWrittenKindAfterKind) {
    DXFReader reader;
    reader.SetTextConvertMode(TextConvertMode::Utf8);
    reader.OpenString(P("0 line|10 1|0  Line |10 2|0 l\xC4\xB1ne|0 DIMENSION|8 DIM|10 5|1 LINE|0 HATCH|8 H|91 1|10 0|0 ATTDEF|"
                        "2 TAG|0 ATTRIB|2 T|0 CIRCLE|40 2|0 INSERT|2 B|0 ATTRIB|2 T|0 SEQEND|0 POLYLINE|0 VERTEX|10 1|0 SEQEND|"
                        "0 LWPOLYLINE|10 1|40 2|0 LWPOLYLINE|10 5|0 ARC|0 ELLIPSE|0 3DFACE|0 MTEXT|0 POINT|0 TEXT|0 SOLID|0 endsec|"
                        "0 SECTION|2 BLOCKS|0 LINE|0 ENDSEC|0 EOF"));
    ENTITIES e;
    e.ReadSection(reader);
    EXPECT_EQ(reader.Read().Value, "EOF");
    EXPECT_EQ(Counts(e), "ARCS=1 CIRCLES=1 ELLIPSES=1 FACE3DS=1 INSERTS=1 LINES=4 LWPOLYLINES=2 POLYLINES=1 POINTS=1 TEXTS=1 "
                         "MTEXTS=1 SOLIDS=1 ");
    EXPECT_EQ(e.LINES()->Item(1).StartX, 2);
    // Each LWPOLYLINE starts from an empty vertex list.
    EXPECT_EQ(e.LWPOLYLINES()->Item(1).POINTS, (std::vector<LWVERTEX>{{5, 0, 0, 0, 0, 0}}));

    e.ATTDEFS()->Add(ATTDEF_ENT{});
    e.ATTRIBS()->Add(ATTRIB_ENT{});  // attributes are written by their inserts only
    int32_t handle = 0;
    const std::string out =
        Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& save) { e.WriteOut(save); }); });
    EXPECT_EQ(Names(out), "SECTION ARC CIRCLE ELLIPSE 3DFACE INSERT ATTRIB SEQEND LINE LINE LINE LINE LWPOLYLINE LWPOLYLINE MTEXT "
                          "POLYLINE VERTEX SEQEND POINT TEXT SOLID ATTDEF ENDSEC ");
    EXPECT_EQ(handle, 21);
}

TEST(EntitySections, EntitiesEndAtAnEndsecValueOrAtTheEndOrAtAnError) {
    struct Case {
        std::string_view pairs, counts, next;
        int32_t error;
    };
    const Case cases[] = {
        {"0 DIMENSION|1 ENDSEC|0 LINE", "", "LINE", 0},
        {"0 LINE|10 4|0 POINT|8 P", "LINES=1 POINTS=1 ", "", 0},
        // The entity that fails is not added; those before it stay.
        {"0 LINE|0 ARC|40 2|0 CIRCLE|8 C|40 two|0 ENDSEC", "ARCS=1 LINES=1 ", "", err::TypeMismatch},
    };
    for (const Case& c : cases) {
        ENTITIES e;
        DXFReader reader;
        reader.OpenString(P(c.pairs));
        EXPECT_EQ(ErrorNumberOf([&] { e.ReadSection(reader); }), c.error) << c.pairs;
        EXPECT_EQ(Counts(e), c.counts) << c.pairs;
        if (!c.error) {
            EXPECT_EQ(reader.AtEnd() ? "" : reader.Read().Value, c.next) << c.pairs;
        }
    }
}

TEST(EntitySections, ExtentOfTheModelSpace) {
    struct Case {
        std::string_view pairs;
        double x0, y0, x1, y1;
        int32_t error = 0;
    };
    const Case cases[] = {
        {"", 0, 0, 0, 0},
        {"0 LINE|10 3|20 5|11 1|21 2", 1, 2, 3, 5},
        {"0 ARC|10 10|20 10|40 5|51 90", 5, 5, 15, 15},  // the whole circle
        {"0 CIRCLE|10 -1|20 1|40 2", -3, -1, 1, 3},
        {"0 ELLIPSE|11 3|21 4|31 7|40 0.5", -5, -5, 5, 5},
        {"0 ELLIPSE|10 1|11 -3|21 4|40 2", -9, -10, 11, 10},  // a ratio above 1 widens
        {"0 POINT|10 3|20 4", 3, 4, 3.01, 4.01},
        {"0 SOLID|10 1|20 1|11 4|12 2|22 3|13 -9|23 9", 1, 0, 4, 3},  // the fourth corner does not count
        {"0 3DFACE|10 1|20 1|11 -4|12 2|22 3|13 9|23 -9", -4, 0, 2, 3},
        {"0 TEXT|10 -2|20 7|40 10", -2, 7, -1.99, 7.01},
        {"0 MTEXT|10 1|20 2|41 50", 1, 2, 1.01, 2.01},
        {"0 INSERT|10 7|20 7|41 5", 7, 7, 7.01, 7.01},
        {"0 LWPOLYLINE|10 1|20 2|10 5|20 -1|10 3|20 7", 1, -1, 5, 7},
        {"0 POLYLINE|0 VERTEX|10 1|20 2|0 VERTEX|10 5|20 -1|0 VERTEX|10 3|20 7|0 VERTEX|10 99|20 99|70 128", 1, -1, 5, 7},
        {"0 CIRCLE|40 -1", 1, 1, -1, -1},  // a negative radius inverts the box
        // A box of four zeros counts as nothing yet, whichever kind (arcs are measured before lines) gives it.
        {"0 LINE|10 1|20 1|11 2|21 2|0 ARC", 1, 1, 2, 2},
        {"0 LINE|0 ARC|10 5|20 5|40 1", 0, 0, 6, 6},
        {"0 POINT|0 CIRCLE|40 -1", 0, 0, 0.01, 0.01},
        {"0 CIRCLE|10 1e308|40 1e308", 0, 0, 0, 0, err::Overflow},
        {"0 ELLIPSE|11 1e200", 0, 0, 0, 0, err::Overflow},
        {"0 POLYLINE|0 SEQEND", 0, 0, 0, 0, err::SubscriptOutOfRange},
        {"0 LWPOLYLINE|43 1", 0, 0, 0, 0, err::SubscriptOutOfRange},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.pairs);
        ENTITIES e;
        DXFReader reader;
        reader.OpenString(P(c.pairs));
        e.ReadSection(reader);
        double x0 = 9, y0 = 9, x1 = 9, y1 = 9;
        EXPECT_EQ(ErrorNumberOf([&] { e.ReCalcExtent(x0, y0, x1, y1); }), c.error);
        if (!c.error) {
            EXPECT_EQ((std::vector<double>{x0, y0, x1, y1}), (std::vector<double>{c.x0, c.y0, c.x1, c.y1}));
        }
    }
}

// A block's head is read from its own pairs; the pairs of the entities it does not keep (ATTDEF, SOLID, unknown
// kinds) change none of its fields. Blocks are written after the default blocks they do not replace, with their
// entities kind after kind.
TEST(EntitySections, BlocksReadAndWritten) {
    DXFReader reader;
    reader.OpenString(P("0 BLOCK|5 20|100 AcDbEntity|8 Walls|100 AcDbBlockBegin|2 Door|70 2|10 1.5|20 2.5|30 3.5|3 Door|1 xref.dwg|"
                        "0 LINE|8 L|11 4|0 ATTDEF|8 AttLayer|1 default|2 TAG|10 9|70 1|0 SOLID|8 S|10 5|0 circle|10 5|40 1|"
                        "0 DIMENSION|8 DimLayer|10 7|70 33|1 text|0 LINE|11 6|0 endblk|5 21|100 AcDbEntity|8 Walls|"
                        "100 AcDbBlockEnd|0 BLOCK|0 DIMENSION|2 *D1|0 INSERT|2 Frame|0 ENDBLK|0 ENDSEC|0 BLOCK|2 After"));
    BLOCKS blocks;
    blocks.ReadSection(reader);
    BLOCK_BLOCK model;  // made by a host: no collections, empty texts
    model.BlockName = "*Model_Space";
    blocks.Add(model);
    int32_t handle = 0;
    EXPECT_EQ(SplitCrLf(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { blocks.WriteOut(s); }); })),
              SplitCrLf(P("0 SECTION|2 BLOCKS|0 BLOCK|5 1|100 AcDbEntity|8 0|67 1|100 AcDbBlockBegin|2 *PAPER_SPACE|70 0|10 0.|"
                          "20 0.|30 0.|3 *PAPER_SPACE|1|0 ENDBLK|5 2|100 AcDbEntity|8 0|67 1|100 AcDbBlockEnd|"
                          "0 BLOCK|5 3|100 AcDbEntity|8 Walls|100 AcDbBlockBegin|2 Door|70 2|10 1.5|20 2.5|30 3.5|3 Door|1 xref.dwg|"
                          "0 CIRCLE|5 4|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbCircle|39 0.|10 5.|20 0.|30 0.|40 1.|"
                          "0 LINE|5 5|100 AcDbEntity|8 L|6 Continuous|62 256|100 AcDbLine|39 0.|10 0.|20 0.|30 0.|11 4.|21 0.|31 0.|"
                          "0 LINE|5 6|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbLine|39 0.|10 0.|20 0.|30 0.|11 6.|21 0.|31 0.|"
                          "0 ENDBLK|5 7|100 AcDbEntity|8 Walls|100 AcDbBlockEnd|"
                          "0 BLOCK|5 8|100 AcDbEntity|8 0|100 AcDbBlockBegin|2 Alap|70 0|10 0.|20 0.|30 0.|3 Alap|1 Alap|"
                          "0 INSERT|5 9|100 AcDbEntity|8 0|6 Continuous|62 256|100 AcDbBlockReference|39 0.|10 0.|20 0.|30 0.|"
                          "2 Frame|50 0.|0 ENDBLK|5 A|100 AcDbEntity|8 0|100 AcDbBlockEnd|"
                          "0 BLOCK|5 B|100 AcDbEntity|8|100 AcDbBlockBegin|2 *Model_Space|70 0|10 0.|20 0.|30 0.|3 *Model_Space|1|"
                          "0 ENDBLK|5 C|100 AcDbEntity|8|100 AcDbBlockEnd|0 ENDSEC")));
    EXPECT_EQ(reader.Read().Value, "BLOCK");  // the section ended at its ENDSEC
}

TEST(EntitySections, BlocksEndAtEndsecOrAtTheEndAndReadHatchesFromVersionModeSix) {
    const auto read = [](std::string_view pairs) {
        DXFReader reader;
        reader.OpenString(P(pairs));
        BLOCKS blocks;
        blocks.ReadSection(reader);
        std::string out;
        for (const BLOCK_BLOCK& b : blocks) out += b.BlockName + " " + b.LayerName + " " + Counts(b) + "; ";
        return out;
    };
    EXPECT_EQ(read("0 ENDSEC|0 BLOCK|2 Late"), "");
    EXPECT_EQ(read("0 BLOCK|2 Cut|0 LINE|10 1"), "Cut 0 LINES=1 ; ");
    constexpr std::string_view fill = "0 BLOCK|2 Fill|0 HATCH|8 HatchLayer|10 8|70 1|91 0|0 ENDBLK";
    DXFDocument().SetVersionMode(5);  // the mode of this thread
    EXPECT_EQ(read(fill), "Fill 0 ; ");
    DXFDocument().SetVersionMode(6);
    EXPECT_EQ(read(fill), "Fill 0 HATCHES=1 ; ");
    DXFDocument().SetVersionMode(0);
}

// Copies of a block record share its collections until new ones are made.
TEST(EntitySections, BlockCopiesShareTheirCollections) {
    BLOCK_BLOCK b;
    b.BlockName = "Door";
    BLOCKS::CreateEntityArrays(b);
    BLOCKS blocks;
    blocks.Add(b);
    blocks.Item(0).LINES->Add(LINE_ENT{});
    EXPECT_EQ(Counts(b), "LINES=1 ");
    BLOCKS::CreateEntityArrays(b);
    EXPECT_EQ(Counts(b), "");
    EXPECT_EQ(Counts(blocks.Item(blocks.FindByName("dOOR"))), "LINES=1 ");
}
