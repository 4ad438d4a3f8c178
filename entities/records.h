// The value records of the drawing entities, each followed by the
// declaration of its fields (see io/fields.h). A default-constructed record
// is the empty record (empty strings, zeros, false, no arrays, no objects);
// the defaults a record gets when it is read from a file are those its
// fields declare.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collections/variant.h"
#include "io/fields.h"

namespace ormavec {

struct XYZ {
    static constexpr std::string_view kTypeName = "XYZ";
    double X = 0, Y = 0, Z = 0;
    bool operator==(const XYZ&) const = default;
};

template <>
struct Fields<XYZ> {
    using R = XYZ;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(X), ORMAVEC_F(Y), ORMAVEC_F(Z));
};

// Where an entity record stood in the section a preserving load read it
// from (its draw order), and a reserved id of what it carried beyond its
// fields. Bookkeeping, not value: any two slots compare equal.
struct KeptSlot {
    uint32_t place = 0;  // 1-based; 0 for a record the host made
    uint32_t pairs = 0;  // flags (kKeptNoLineType, kKeptExtras) and absent fields, io/fields.h
    friend constexpr bool operator==(const KeptSlot&, const KeptSlot&) noexcept { return true; }
};

// More bookkeeping of a preserving load for a record that reads nested ones
// (an insert's attributes, a polyline's vertices, their SEQEND), placed where
// the record had padding: it costs no memory. Compares equal, as the slot.
struct KeptWord {
    uint32_t value = 0;
    friend constexpr bool operator==(const KeptWord&, const KeptWord&) noexcept { return true; }
};

struct LINE_ENT {
    static constexpr std::string_view kTypeName = "LINE_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double StartX = 0, StartY = 0, StartZ = 0;
    double EndX = 0, EndY = 0, EndZ = 0;
    bool operator==(const LINE_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<LINE_ENT> {
    using R = LINE_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"),
                        ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(Thickness, 39), ORMAVEC_F(StartX, 10),
                        ORMAVEC_F(StartY, 20), ORMAVEC_F(StartZ, 30), ORMAVEC_F(EndX, 11), ORMAVEC_F(EndY, 21),
                        ORMAVEC_F(EndZ, 31));
};

struct ARC_ENT {
    static constexpr std::string_view kTypeName = "ARC_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double CenterX = 0, CenterY = 0, CenterZ = 0;
    double Radius = 0;
    double StartAngle = 0;
    double EndAngle = 0;
    bool operator==(const ARC_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<ARC_ENT> {
    using R = ARC_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"),
                        ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(Thickness, 39), ORMAVEC_F(CenterX, 10),
                        ORMAVEC_F(CenterY, 20), ORMAVEC_F(CenterZ, 30), ORMAVEC_F(Radius, 40), ORMAVEC_F(StartAngle, 50),
                        ORMAVEC_F(EndAngle, 51));
    static constexpr int32_t checked[] = {210, 220, 230};  // the extrusion
};

struct CIRCLE_ENT {
    static constexpr std::string_view kTypeName = "CIRCLE_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double CenterX = 0, CenterY = 0, CenterZ = 0;
    double Radius = 0;
    bool operator==(const CIRCLE_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<CIRCLE_ENT> {
    using R = CIRCLE_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"),
                        ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(Thickness, 39), ORMAVEC_F(CenterX, 10),
                        ORMAVEC_F(CenterY, 20), ORMAVEC_F(CenterZ, 30), ORMAVEC_F(Radius, 40));
};

struct ELLIPSE_ENT {
    static constexpr std::string_view kTypeName = "ELLIPSE_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double CenterX = 0, CenterY = 0, CenterZ = 0;
    double MajorAxisEndX = 0, MajorAxisEndY = 0, MajorAxisEndZ = 0;
    double Ratio = 0;
    double StartAngle = 0;
    double EndAngle = 0;
    bool operator==(const ELLIPSE_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<ELLIPSE_ENT> {
    using R = ELLIPSE_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"),
                        ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(CenterX, 10), ORMAVEC_F(CenterY, 20),
                        ORMAVEC_F(CenterZ, 30), ORMAVEC_F(MajorAxisEndX, 11), ORMAVEC_F(MajorAxisEndY, 21),
                        ORMAVEC_F(MajorAxisEndZ, 31), ORMAVEC_F(Ratio, 40), ORMAVEC_F(StartAngle, 41), ORMAVEC_F(EndAngle, 42));
};

struct POINT_ENT {
    static constexpr std::string_view kTypeName = "POINT_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double StartX = 0, StartY = 0, StartZ = 0;
    bool operator==(const POINT_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<POINT_ENT> {
    using R = POINT_ENT;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).Default(256),
                                                 ORMAVEC_F(Thickness, 39), ORMAVEC_F(StartX, 10), ORMAVEC_F(StartY, 20),
                                                 ORMAVEC_F(StartZ, 30));
};

struct SOLID_ENT {
    static constexpr std::string_view kTypeName = "SOLID_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    std::string LineType;
    XYZ Corner1, Corner2, Corner3, Corner4;
    double Thickness = 0;
    double ExtrusionX = 0, ExtrusionY = 0, ExtrusionZ = 0;
    bool operator==(const SOLID_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<SOLID_ENT> {
    using R = SOLID_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).Default(256),
                        ORMAVEC_F(LineType, 6).Both("Continuous"), ORMAVEC_F(Corner1, 10), ORMAVEC_F(Corner2, 11),
                        ORMAVEC_F(Corner3, 12), ORMAVEC_F(Corner4, 13), ORMAVEC_F(Thickness, 39), ORMAVEC_F(ExtrusionX, 210),
                        ORMAVEC_F(ExtrusionY, 220), ORMAVEC_F(ExtrusionZ, 230));
};

struct FACE3D_ENT {
    static constexpr std::string_view kTypeName = "FACE3D_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    XYZ Corner1, Corner2, Corner3, Corner4;
    bool Edge1IsInvisible = false;
    bool Edge2IsInvisible = false;
    bool Edge3IsInvisible = false;
    bool Edge4IsInvisible = false;
    bool operator==(const FACE3D_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

// The edge flags come from group 70 by a table of their own.
template <>
struct Fields<FACE3D_ENT> {
    using R = FACE3D_ENT;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"),
                        ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(Corner1, 10), ORMAVEC_F(Corner2, 11),
                        ORMAVEC_F(Corner3, 12), ORMAVEC_F(Corner4, 13), ORMAVEC_F(Edge1IsInvisible),
                        ORMAVEC_F(Edge2IsInvisible), ORMAVEC_F(Edge3IsInvisible), ORMAVEC_F(Edge4IsInvisible));
};

struct TEXT_ENT {
    static constexpr std::string_view kTypeName = "TEXT_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double StartX = 0, StartY = 0, StartZ = 0;
    double TextHeight = 0;
    std::string Text;
    double TextRotation = 0;
    double XScaleFactor = 0;
    double ObliqueAngle = 0;
    std::string TextStyleName;
    int32_t HorTextJust = 0;
    int32_t VertTextJust = 0;
    bool operator==(const TEXT_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<TEXT_ENT> {
    using R = TEXT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(Thickness, 39),
        ORMAVEC_F(StartX, 10), ORMAVEC_F(StartY, 20), ORMAVEC_F(StartZ, 30), ORMAVEC_F(TextHeight, 40),
        ORMAVEC_F(Text, 1).Default("Alap").Fallback("0"), ORMAVEC_F(TextRotation, 50), ORMAVEC_F(XScaleFactor, 41).Default(1.0),
        ORMAVEC_F(ObliqueAngle, 51), ORMAVEC_F(TextStyleName, 7).Default("Standard").Fallback("0"), ORMAVEC_F(HorTextJust, 72),
        ORMAVEC_F(VertTextJust, 73));
};

struct MTEXT_ENT {
    static constexpr std::string_view kTypeName = "MTEXT_ENT";
    double X = 0, Y = 0, Z = 0;
    double TextHeight = 0;
    double Width = 0;
    int32_t Align = 0;
    int32_t Direction = 0;
    std::string Text;
    std::string Style;
    std::string Layer;
    int32_t ColorNumber = 0;
    double CharWidth = 0;
    double EntityHeight = 0;
    double TextRotation = 0;
    int32_t LineSpacing = 0;
    double LineSpacing2 = 0;
    bool operator==(const MTEXT_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

// Text comes in pieces under groups 3 and 1; a direction (11, 21) sets the rotation.
template <>
struct Fields<MTEXT_ENT> {
    using R = MTEXT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30), ORMAVEC_F(TextHeight, 40), ORMAVEC_F(Width, 41),
        ORMAVEC_F(Align, 71).Default(1), ORMAVEC_F(Direction, 72).Default(1), ORMAVEC_F(Text, 1),
        ORMAVEC_F(Style, 7).Both("Standard"), ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).KeptDefault(256),
        ORMAVEC_F(CharWidth, 42), ORMAVEC_F(EntityHeight, 43), ORMAVEC_F(TextRotation, 50),
        ORMAVEC_F(LineSpacing, 73).Default(1), ORMAVEC_F(LineSpacing2, 44));
};

struct ATTDEF_ENT {
    static constexpr std::string_view kTypeName = "ATTDEF_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    std::string LineType;
    double X = 0, Y = 0, Z = 0;
    double TextHeight = 0;
    std::string DefaultValue;
    std::string PromptString;
    std::string TagString;
    double Rotation = 0;
    double XScaleFactor = 0;
    double ObliqueAngle = 0;
    std::string TextStyleName;
    int32_t HorTextJust = 0;
    int32_t AttributeFlag = 0;
    int32_t VertTextJust = 0;
    bool operator==(const ATTDEF_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<ATTDEF_ENT> {
    using R = ATTDEF_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(LineType, 6).Default("Continuous"),
        ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30), ORMAVEC_F(TextHeight, 40), ORMAVEC_F(DefaultValue, 1),
        ORMAVEC_F(PromptString, 3), ORMAVEC_F(TagString, 2), ORMAVEC_F(Rotation, 50), ORMAVEC_F(XScaleFactor, 41).Default(1.0),
        ORMAVEC_F(ObliqueAngle, 51), ORMAVEC_F(TextStyleName, 7).Default("STANDARD"), ORMAVEC_F(HorTextJust, 72),
        ORMAVEC_F(AttributeFlag, 70), ORMAVEC_F(VertTextJust, 74));
};

struct ATTRIB_ENT {
    static constexpr std::string_view kTypeName = "ATTRIB_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    std::string LineType;
    double X = 0, Y = 0, Z = 0;
    double TextHeight = 0;
    std::string DefaultValue;
    std::string TagString;
    double Rotation = 0;
    double XScaleFactor = 0;
    double ObliqueAngle = 0;
    std::string TextStyleName;
    int32_t HorTextJust = 0;
    int32_t AttributeFlag = 0;
    int32_t VertTextJust = 0;
    bool operator==(const ATTRIB_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<ATTRIB_ENT> {
    using R = ATTRIB_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(ColorNumber, 62).Default(256), ORMAVEC_F(LineType, 6).Default("Continuous"),
        ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30), ORMAVEC_F(TextHeight, 40), ORMAVEC_F(DefaultValue, 1),
        ORMAVEC_F(TagString, 2), ORMAVEC_F(Rotation, 50), ORMAVEC_F(XScaleFactor, 41).Default(1.0), ORMAVEC_F(ObliqueAngle, 51),
        ORMAVEC_F(TextStyleName, 7).Default("STANDARD"), ORMAVEC_F(HorTextJust, 72), ORMAVEC_F(AttributeFlag, 70),
        ORMAVEC_F(VertTextJust, 74));
};

class ATTRIBS;

struct INSERT_ENT {
    static constexpr std::string_view kTypeName = "INSERT_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    KeptWord keptNested;  // places read after the insert's own: its attributes and SEQEND
    double Thickness = 0;
    double CenterX = 0, CenterY = 0, CenterZ = 0;
    std::string BlockName;
    double XScale = 0, YScale = 0, ZScale = 0;
    double RotationAngle = 0;
    // Shared by every copy of the record.
    std::shared_ptr<::ormavec::ATTRIBS> ATTRIBS;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

template <>
struct Fields<INSERT_ENT> {
    using R = INSERT_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"), ORMAVEC_F(ColorNumber, 62).Default(256),
        ORMAVEC_F(Thickness, 39), ORMAVEC_F(CenterX, 10), ORMAVEC_F(CenterY, 20), ORMAVEC_F(CenterZ, 30),
        ORMAVEC_F(BlockName, 2).Default("Alap"), ORMAVEC_F(XScale, 41).Default(1.0), ORMAVEC_F(YScale, 42).Default(1.0),
        ORMAVEC_F(ZScale, 43).Default(1.0), ORMAVEC_F(RotationAngle, 50), ORMAVEC_F(ATTRIBS));
};

struct VERTEX_ENT {
    static constexpr std::string_view kTypeName = "VERTEX_ENT";
    double X = 0, Y = 0, Z = 0;
    double StartWidth = 0;
    double EndWidth = 0;
    double Bulge = 0;
    double CurveFitTangentDirection = 0;
    int32_t VertexFlag = 0;
    int32_t PolyFaceMesh1 = 0, PolyFaceMesh2 = 0, PolyFaceMesh3 = 0, PolyFaceMesh4 = 0;
    bool operator==(const VERTEX_ENT&) const = default;
};

template <>
struct Fields<VERTEX_ENT> {
    using R = VERTEX_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30), ORMAVEC_F(StartWidth, 40), ORMAVEC_F(EndWidth, 41),
        ORMAVEC_F(Bulge, 42), ORMAVEC_F(CurveFitTangentDirection, 50), ORMAVEC_F(VertexFlag, 70), ORMAVEC_F(PolyFaceMesh1, 71),
        ORMAVEC_F(PolyFaceMesh2, 72), ORMAVEC_F(PolyFaceMesh3, 73), ORMAVEC_F(PolyFaceMesh4, 74));
};

struct POLYLINE_ENT {
    static constexpr std::string_view kTypeName = "POLYLINE_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    KeptWord keptNested;  // places read after the polyline's own: its vertices and SEQEND
    double Thickness = 0;
    int32_t PolygonMeshMVertexCount = 0;
    int32_t PolygonMeshNVertexCount = 0;
    bool IsClosed = false;
    bool IsCurveFitted = false;
    bool IsSplineFitted = false;
    bool Is3DPolyLine = false;
    bool Is3DPolygonMesh = false;
    bool Is3DPolygonMeshClosed = false;
    bool IsPolyFaceMesh = false;
    int32_t SplineMode = 0;
    KeptWord keptVertexForm;  // how the vertices gave their pairs (kVertexHad* in entities/polyline.cpp)
    std::vector<VERTEX_ENT> Vertices;         // empty: unallocated
    std::vector<VERTEX_ENT> CommandVertices;  // face records of a polyface mesh
    double DefaultStartWidth = 0;
    double DefaultEndWidth = 0;
    bool operator==(const POLYLINE_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

// The Is... flags come from group 70.
template <>
struct Fields<POLYLINE_ENT> {
    using R = POLYLINE_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"), ORMAVEC_F(ColorNumber, 62).Default(256),
        ORMAVEC_F(Thickness, 39), ORMAVEC_F(PolygonMeshMVertexCount, 71), ORMAVEC_F(PolygonMeshNVertexCount, 72),
        ORMAVEC_F(IsClosed), ORMAVEC_F(IsCurveFitted), ORMAVEC_F(IsSplineFitted), ORMAVEC_F(Is3DPolyLine),
        ORMAVEC_F(Is3DPolygonMesh), ORMAVEC_F(Is3DPolygonMeshClosed), ORMAVEC_F(IsPolyFaceMesh), ORMAVEC_F(SplineMode, 75),
        ORMAVEC_F(Vertices), ORMAVEC_F(CommandVertices), ORMAVEC_F(DefaultStartWidth, 40), ORMAVEC_F(DefaultEndWidth, 41));
};

struct LWVERTEX {
    static constexpr std::string_view kTypeName = "LWVERTEX";
    double X = 0, Y = 0, Z = 0;
    double StartWidth = 0;
    double EndWidth = 0;
    double Bulge = 0;
    bool operator==(const LWVERTEX&) const = default;
};

// Read by the LWPOLYLINE, one vertex from each group 10.
template <>
struct Fields<LWVERTEX> {
    using R = LWVERTEX;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30), ORMAVEC_F(StartWidth, 40),
                                                 ORMAVEC_F(EndWidth, 41), ORMAVEC_F(Bulge, 42));
};

struct LWPOLYLINE_ENT {
    static constexpr std::string_view kTypeName = "LWPOLYLINE_ENT";
    // The value of ConstWidth that means "no constant width".
    static constexpr double kNoConstWidth = -100.0;
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    bool IsClosed = false;
    bool PlineGen = false;
    double ConstWidth = 0;
    double Elevation = 0;
    std::vector<LWVERTEX> POINTS;  // empty: unallocated
    bool operator==(const LWPOLYLINE_ENT&) const = default;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

// IsClosed and PlineGen come from group 70.
template <>
struct Fields<LWPOLYLINE_ENT> {
    using R = LWPOLYLINE_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Both("0"), ORMAVEC_F(LineType, 6).Both("Continuous"), ORMAVEC_F(ColorNumber, 62).Default(256),
        ORMAVEC_F(Thickness, 39), ORMAVEC_F(IsClosed), ORMAVEC_F(PlineGen), ORMAVEC_F(ConstWidth, 43).Default(R::kNoConstWidth),
        ORMAVEC_F(Elevation, 38), ORMAVEC_F(POINTS));
};

struct HATCH_BOUNDARY_POLYLINE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_POLYLINE";
    bool HasBulge = false;
    bool IsClosed = false;
    int32_t VerticesCount = 0;
    std::vector<XYZ> POINTS;
    std::vector<double> Bulges;
    bool operator==(const HATCH_BOUNDARY_POLYLINE&) const = default;
};

template <>
struct Fields<HATCH_BOUNDARY_POLYLINE> {
    using R = HATCH_BOUNDARY_POLYLINE;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(HasBulge), ORMAVEC_F(IsClosed), ORMAVEC_F(VerticesCount),
                                                 ORMAVEC_F(POINTS), ORMAVEC_F(Bulges));
};

struct HATCH_BOUNDARY_LINE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_LINE";
    double StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    bool operator==(const HATCH_BOUNDARY_LINE&) const = default;
};

template <>
struct Fields<HATCH_BOUNDARY_LINE> {
    using R = HATCH_BOUNDARY_LINE;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(StartX), ORMAVEC_F(StartY), ORMAVEC_F(EndX), ORMAVEC_F(EndY));
};

// Declared for hosts; no member reads or writes them.
struct HATCH_BOUNDARY_ARC {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_ARC";
    double CenterX = 0, CenterY = 0, Radius = 0, StartAngle = 0, EndAngle = 0;
    bool IsCounterClockwise = false;
    bool operator==(const HATCH_BOUNDARY_ARC&) const = default;
};

template <>
struct Fields<HATCH_BOUNDARY_ARC> {
    using R = HATCH_BOUNDARY_ARC;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(CenterX), ORMAVEC_F(CenterY), ORMAVEC_F(Radius), ORMAVEC_F(StartAngle),
                                                 ORMAVEC_F(EndAngle), ORMAVEC_F(IsCounterClockwise));
};

struct HATCH_BOUNDARY_ELLIPSE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_ELLIPSE";
    double CenterX = 0, CenterY = 0, EndOfMajorX = 0, EndOfMajorY = 0, MinorLength = 0, StartAngle = 0, EndAngle = 0;
    bool IsCounterClockwise = false;
    bool operator==(const HATCH_BOUNDARY_ELLIPSE&) const = default;
};

template <>
struct Fields<HATCH_BOUNDARY_ELLIPSE> {
    using R = HATCH_BOUNDARY_ELLIPSE;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(CenterX), ORMAVEC_F(CenterY), ORMAVEC_F(EndOfMajorX), ORMAVEC_F(EndOfMajorY),
                        ORMAVEC_F(MinorLength), ORMAVEC_F(StartAngle), ORMAVEC_F(EndAngle), ORMAVEC_F(IsCounterClockwise));
};

struct HATCH_BOUNDARY_SPLINE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_SPLINE";
    int32_t Degree = 0, Rational = 0, Periodic = 0, KnotsCount = 0, ControlPointsCount = 0;
    std::vector<double> Knots;
    std::vector<XYZ> ControlPoints;
    std::vector<double> Weights;
    bool operator==(const HATCH_BOUNDARY_SPLINE&) const = default;
};

template <>
struct Fields<HATCH_BOUNDARY_SPLINE> {
    using R = HATCH_BOUNDARY_SPLINE;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(Degree), ORMAVEC_F(Rational), ORMAVEC_F(Periodic), ORMAVEC_F(KnotsCount),
                        ORMAVEC_F(ControlPointsCount), ORMAVEC_F(Knots), ORMAVEC_F(ControlPoints), ORMAVEC_F(Weights));
};

struct HATCH_ENT {
    static constexpr std::string_view kTypeName = "HATCH_ENT";
    // The value of PixelSize that means "not set".
    static constexpr double kNoPixelSize = -1.0;
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double ElevationX = 0, ElevationY = 0, ElevationZ = 0;
    double ExtrusionX = 0, ExtrusionY = 0, ExtrusionZ = 0;
    std::string HatchPatterName;
    bool SolidFill = false;
    bool Associativity = false;
    int32_t BoundaryCount = 0;
    // One entry per path: a HATCH_BOUNDARY_POLYLINE record, an array of edge
    // variants (HATCH_BOUNDARY_LINE records or empty), or empty.
    std::vector<Variant> Boundaries;
    int32_t HatchStyle = 0;
    int32_t HatchPatternType = 0;
    double PixelSize = 0;
    int32_t SeedPointCount = 0;
    std::vector<XYZ> Seedpoints;
    KeptSlot kept;  // bookkeeping of a preserving load, not a field
};

// The boundary paths follow group 91, the seed points group 98.
template <>
struct Fields<HATCH_ENT> {
    using R = HATCH_ENT;
    static constexpr auto list = std::make_tuple(
        ORMAVEC_F(Layer, 8).Default("0"), ORMAVEC_F(LineType, 6).Default("Continuous"), ORMAVEC_F(ColorNumber, 62).Default(256),
        ORMAVEC_F(ElevationX, 10), ORMAVEC_F(ElevationY, 20), ORMAVEC_F(ElevationZ, 30), ORMAVEC_F(ExtrusionX, 210),
        ORMAVEC_F(ExtrusionY, 220), ORMAVEC_F(ExtrusionZ, 230), ORMAVEC_F(HatchPatterName, 2), ORMAVEC_F(SolidFill, 70).IsOne(),
        ORMAVEC_F(Associativity, 71).IsOne(), ORMAVEC_F(BoundaryCount), ORMAVEC_F(Boundaries), ORMAVEC_F(HatchStyle, 75),
        ORMAVEC_F(HatchPatternType, 76), ORMAVEC_F(PixelSize, 47).Default(R::kNoPixelSize), ORMAVEC_F(SeedPointCount),
        ORMAVEC_F(Seedpoints));
};

}  // namespace ormavec
