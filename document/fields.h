// The fields of every public record by name, in record order: one list that
// the scripting bindings, the automation layer and the model comparison of
// the tests share.
#pragma once

#include <string_view>
#include <tuple>

#include "document/blocks.h"
#include "entities/records.h"
#include "tables/tables.h"

namespace ormavec {

template <class Record, class Member>
struct FieldRef {
    std::string_view name;
    Member Record::*member;
};

template <class Record, class Member>
constexpr FieldRef<Record, Member> F(std::string_view name, Member Record::*member) {
    return {name, member};
}

template <class Record>
struct Fields;

#define ORMAVEC_FIELD(R, name) F(#name, &R::name)

template <>
struct Fields<XYZ> {
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(XYZ, X), ORMAVEC_FIELD(XYZ, Y), ORMAVEC_FIELD(XYZ, Z));
};

template <>
struct Fields<LINE_ENT> {
    using R = LINE_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, StartX), ORMAVEC_FIELD(R, StartY),
                                                 ORMAVEC_FIELD(R, StartZ), ORMAVEC_FIELD(R, EndX), ORMAVEC_FIELD(R, EndY),
                                                 ORMAVEC_FIELD(R, EndZ));
};

template <>
struct Fields<ARC_ENT> {
    using R = ARC_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY),
                                                 ORMAVEC_FIELD(R, CenterZ), ORMAVEC_FIELD(R, Radius), ORMAVEC_FIELD(R, StartAngle),
                                                 ORMAVEC_FIELD(R, EndAngle));
};

template <>
struct Fields<CIRCLE_ENT> {
    using R = CIRCLE_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY),
                                                 ORMAVEC_FIELD(R, CenterZ), ORMAVEC_FIELD(R, Radius));
};

template <>
struct Fields<ELLIPSE_ENT> {
    using R = ELLIPSE_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY), ORMAVEC_FIELD(R, CenterZ),
                                                 ORMAVEC_FIELD(R, MajorAxisEndX), ORMAVEC_FIELD(R, MajorAxisEndY),
                                                 ORMAVEC_FIELD(R, MajorAxisEndZ), ORMAVEC_FIELD(R, Ratio), ORMAVEC_FIELD(R, StartAngle),
                                                 ORMAVEC_FIELD(R, EndAngle));
};

template <>
struct Fields<POINT_ENT> {
    using R = POINT_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, Thickness),
                                                 ORMAVEC_FIELD(R, StartX), ORMAVEC_FIELD(R, StartY), ORMAVEC_FIELD(R, StartZ));
};

template <>
struct Fields<SOLID_ENT> {
    using R = SOLID_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, LineType),
                                                 ORMAVEC_FIELD(R, Corner1), ORMAVEC_FIELD(R, Corner2), ORMAVEC_FIELD(R, Corner3),
                                                 ORMAVEC_FIELD(R, Corner4), ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, ExtrusionX),
                                                 ORMAVEC_FIELD(R, ExtrusionY), ORMAVEC_FIELD(R, ExtrusionZ));
};

template <>
struct Fields<FACE3D_ENT> {
    using R = FACE3D_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, Corner1), ORMAVEC_FIELD(R, Corner2), ORMAVEC_FIELD(R, Corner3),
                                                 ORMAVEC_FIELD(R, Corner4), ORMAVEC_FIELD(R, Edge1IsInvisible),
                                                 ORMAVEC_FIELD(R, Edge2IsInvisible), ORMAVEC_FIELD(R, Edge3IsInvisible),
                                                 ORMAVEC_FIELD(R, Edge4IsInvisible));
};

template <>
struct Fields<TEXT_ENT> {
    using R = TEXT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, StartX),
        ORMAVEC_FIELD(R, StartY), ORMAVEC_FIELD(R, StartZ), ORMAVEC_FIELD(R, TextHeight), ORMAVEC_FIELD(R, Text),
        ORMAVEC_FIELD(R, TextRotation), ORMAVEC_FIELD(R, XScaleFactor), ORMAVEC_FIELD(R, ObliqueAngle),
        ORMAVEC_FIELD(R, TextStyleName), ORMAVEC_FIELD(R, HorTextJust), ORMAVEC_FIELD(R, VertTextJust));
};

template <>
struct Fields<MTEXT_ENT> {
    using R = MTEXT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, X), ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z), ORMAVEC_FIELD(R, TextHeight), ORMAVEC_FIELD(R, Width),
        ORMAVEC_FIELD(R, Align), ORMAVEC_FIELD(R, Direction), ORMAVEC_FIELD(R, Text), ORMAVEC_FIELD(R, Style),
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, CharWidth), ORMAVEC_FIELD(R, EntityHeight),
        ORMAVEC_FIELD(R, TextRotation), ORMAVEC_FIELD(R, LineSpacing), ORMAVEC_FIELD(R, LineSpacing2));
};

template <>
struct Fields<ATTDEF_ENT> {
    using R = ATTDEF_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, X),
        ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z), ORMAVEC_FIELD(R, TextHeight), ORMAVEC_FIELD(R, DefaultValue),
        ORMAVEC_FIELD(R, PromptString), ORMAVEC_FIELD(R, TagString), ORMAVEC_FIELD(R, Rotation), ORMAVEC_FIELD(R, XScaleFactor),
        ORMAVEC_FIELD(R, ObliqueAngle), ORMAVEC_FIELD(R, TextStyleName), ORMAVEC_FIELD(R, HorTextJust),
        ORMAVEC_FIELD(R, AttributeFlag), ORMAVEC_FIELD(R, VertTextJust));
};

template <>
struct Fields<ATTRIB_ENT> {
    using R = ATTRIB_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, X),
        ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z), ORMAVEC_FIELD(R, TextHeight), ORMAVEC_FIELD(R, DefaultValue),
        ORMAVEC_FIELD(R, TagString), ORMAVEC_FIELD(R, Rotation), ORMAVEC_FIELD(R, XScaleFactor), ORMAVEC_FIELD(R, ObliqueAngle),
        ORMAVEC_FIELD(R, TextStyleName), ORMAVEC_FIELD(R, HorTextJust), ORMAVEC_FIELD(R, AttributeFlag),
        ORMAVEC_FIELD(R, VertTextJust));
};

template <>
struct Fields<INSERT_ENT> {
    using R = INSERT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, Thickness),
        ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY), ORMAVEC_FIELD(R, CenterZ), ORMAVEC_FIELD(R, BlockName),
        ORMAVEC_FIELD(R, XScale), ORMAVEC_FIELD(R, YScale), ORMAVEC_FIELD(R, ZScale), ORMAVEC_FIELD(R, RotationAngle),
        ORMAVEC_FIELD(R, ATTRIBS));
};

template <>
struct Fields<VERTEX_ENT> {
    using R = VERTEX_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, X), ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z), ORMAVEC_FIELD(R, StartWidth), ORMAVEC_FIELD(R, EndWidth),
        ORMAVEC_FIELD(R, Bulge), ORMAVEC_FIELD(R, CurveFitTangentDirection), ORMAVEC_FIELD(R, VertexFlag),
        ORMAVEC_FIELD(R, PolyFaceMesh1), ORMAVEC_FIELD(R, PolyFaceMesh2), ORMAVEC_FIELD(R, PolyFaceMesh3),
        ORMAVEC_FIELD(R, PolyFaceMesh4));
};

template <>
struct Fields<POLYLINE_ENT> {
    using R = POLYLINE_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, Thickness),
        ORMAVEC_FIELD(R, PolygonMeshMVertexCount), ORMAVEC_FIELD(R, PolygonMeshNVertexCount), ORMAVEC_FIELD(R, IsClosed),
        ORMAVEC_FIELD(R, IsCurveFitted), ORMAVEC_FIELD(R, IsSplineFitted), ORMAVEC_FIELD(R, Is3DPolyLine),
        ORMAVEC_FIELD(R, Is3DPolygonMesh), ORMAVEC_FIELD(R, Is3DPolygonMeshClosed), ORMAVEC_FIELD(R, IsPolyFaceMesh),
        ORMAVEC_FIELD(R, SplineMode), ORMAVEC_FIELD(R, Vertices), ORMAVEC_FIELD(R, CommandVertices),
        ORMAVEC_FIELD(R, DefaultStartWidth), ORMAVEC_FIELD(R, DefaultEndWidth));
};

template <>
struct Fields<LWVERTEX> {
    using R = LWVERTEX;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, X), ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z),
                                                 ORMAVEC_FIELD(R, StartWidth), ORMAVEC_FIELD(R, EndWidth), ORMAVEC_FIELD(R, Bulge));
};

template <>
struct Fields<LWPOLYLINE_ENT> {
    using R = LWPOLYLINE_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber),
                                                 ORMAVEC_FIELD(R, Thickness), ORMAVEC_FIELD(R, IsClosed), ORMAVEC_FIELD(R, PlineGen),
                                                 ORMAVEC_FIELD(R, ConstWidth), ORMAVEC_FIELD(R, Elevation), ORMAVEC_FIELD(R, POINTS));
};

template <>
struct Fields<HATCH_BOUNDARY_POLYLINE> {
    using R = HATCH_BOUNDARY_POLYLINE;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, HasBulge), ORMAVEC_FIELD(R, IsClosed), ORMAVEC_FIELD(R, VerticesCount),
                                                 ORMAVEC_FIELD(R, POINTS), ORMAVEC_FIELD(R, Bulges));
};

template <>
struct Fields<HATCH_BOUNDARY_LINE> {
    using R = HATCH_BOUNDARY_LINE;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, StartX), ORMAVEC_FIELD(R, StartY), ORMAVEC_FIELD(R, EndX),
                                                 ORMAVEC_FIELD(R, EndY));
};

template <>
struct Fields<HATCH_BOUNDARY_ARC> {
    using R = HATCH_BOUNDARY_ARC;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY), ORMAVEC_FIELD(R, Radius),
                                                 ORMAVEC_FIELD(R, StartAngle), ORMAVEC_FIELD(R, EndAngle),
                                                 ORMAVEC_FIELD(R, IsCounterClockwise));
};

template <>
struct Fields<HATCH_BOUNDARY_ELLIPSE> {
    using R = HATCH_BOUNDARY_ELLIPSE;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, CenterX), ORMAVEC_FIELD(R, CenterY), ORMAVEC_FIELD(R, EndOfMajorX),
                                                 ORMAVEC_FIELD(R, EndOfMajorY), ORMAVEC_FIELD(R, MinorLength),
                                                 ORMAVEC_FIELD(R, StartAngle), ORMAVEC_FIELD(R, EndAngle),
                                                 ORMAVEC_FIELD(R, IsCounterClockwise));
};

template <>
struct Fields<HATCH_BOUNDARY_SPLINE> {
    using R = HATCH_BOUNDARY_SPLINE;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, Degree), ORMAVEC_FIELD(R, Rational), ORMAVEC_FIELD(R, Periodic),
                                                 ORMAVEC_FIELD(R, KnotsCount), ORMAVEC_FIELD(R, ControlPointsCount),
                                                 ORMAVEC_FIELD(R, Knots), ORMAVEC_FIELD(R, ControlPoints), ORMAVEC_FIELD(R, Weights));
};

template <>
struct Fields<HATCH_ENT> {
    using R = HATCH_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_FIELD(R, Layer), ORMAVEC_FIELD(R, LineType), ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, ElevationX),
        ORMAVEC_FIELD(R, ElevationY), ORMAVEC_FIELD(R, ElevationZ), ORMAVEC_FIELD(R, ExtrusionX), ORMAVEC_FIELD(R, ExtrusionY),
        ORMAVEC_FIELD(R, ExtrusionZ), ORMAVEC_FIELD(R, HatchPatterName), ORMAVEC_FIELD(R, SolidFill),
        ORMAVEC_FIELD(R, Associativity), ORMAVEC_FIELD(R, BoundaryCount), ORMAVEC_FIELD(R, Boundaries),
        ORMAVEC_FIELD(R, HatchStyle), ORMAVEC_FIELD(R, HatchPatternType), ORMAVEC_FIELD(R, PixelSize),
        ORMAVEC_FIELD(R, SeedPointCount), ORMAVEC_FIELD(R, Seedpoints));
};

template <>
struct Fields<LAYERS_TAB> {
    using R = LAYERS_TAB;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, LayerName), ORMAVEC_FIELD(R, LineTypeName),
                                                 ORMAVEC_FIELD(R, ColorNumber), ORMAVEC_FIELD(R, Flag));
};

template <>
struct Fields<LINEPATTERN> {
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(LINEPATTERN, Value));
};

template <>
struct Fields<LTYPES_TAB> {
    using R = LTYPES_TAB;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, LineTypeName), ORMAVEC_FIELD(R, Description),
                                                 ORMAVEC_FIELD(R, TotalPatternLength), ORMAVEC_FIELD(R, LineElementCount),
                                                 ORMAVEC_FIELD(R, Pattern));
};

template <>
struct Fields<STYLES_TAB> {
    using R = STYLES_TAB;
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, StyleName), ORMAVEC_FIELD(R, FontName), ORMAVEC_FIELD(R, Height),
                                                 ORMAVEC_FIELD(R, Width), ORMAVEC_FIELD(R, Angle), ORMAVEC_FIELD(R, Flag),
                                                 ORMAVEC_FIELD(R, TextFlag), ORMAVEC_FIELD(R, LastHeight));
};

template <>
struct Fields<BLOCK_BLOCK> {
    using R = BLOCK_BLOCK;
#define ORMAVEC_BLOCK_FIELD(K, Dxf, Record, List, Lives, ...) ORMAVEC_IN_BLOCKS_##Lives(, ORMAVEC_FIELD(R, List))
    static constexpr auto list = std::make_tuple(ORMAVEC_FIELD(R, LayerName), ORMAVEC_FIELD(R, BlockName), ORMAVEC_FIELD(R, Flag),
                                                 ORMAVEC_FIELD(R, X), ORMAVEC_FIELD(R, Y), ORMAVEC_FIELD(R, Z),
                                                 ORMAVEC_FIELD(R, XRefPathName) ORMAVEC_ENTITY_KINDS(ORMAVEC_BLOCK_FIELD));
#undef ORMAVEC_BLOCK_FIELD
};

#undef ORMAVEC_FIELD

template <class... R>
struct TypeList {};

// Every public record, in the order the type library and the Python module
// present them.
using AllRecords = TypeList<XYZ, LINE_ENT, ARC_ENT, CIRCLE_ENT, ELLIPSE_ENT, POINT_ENT, SOLID_ENT, FACE3D_ENT, TEXT_ENT, MTEXT_ENT,
                            ATTDEF_ENT, ATTRIB_ENT, INSERT_ENT, VERTEX_ENT, POLYLINE_ENT, LWVERTEX, LWPOLYLINE_ENT,
                            HATCH_BOUNDARY_POLYLINE, HATCH_BOUNDARY_LINE, HATCH_BOUNDARY_ARC, HATCH_BOUNDARY_ELLIPSE,
                            HATCH_BOUNDARY_SPLINE, HATCH_ENT, LAYERS_TAB, LINEPATTERN, LTYPES_TAB, STYLES_TAB, BLOCK_BLOCK>;

// Calls f(name, member pointer) for every field of the record, in order.
template <class Record, class Fn>
void ForEachField(Fn&& f) {
    std::apply([&](const auto&... field) { (f(field.name, field.member), ...); }, Fields<Record>::list);
}

}  // namespace ormavec
