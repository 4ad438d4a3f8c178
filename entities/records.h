// The value records of the drawing entities. A default-constructed record is
// the empty record (empty strings, zeros, false, no arrays, no objects); the
// defaults a record gets when it is read from a file are applied by the
// readers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "collections/variant.h"

namespace ormavec {

struct XYZ {
    static constexpr std::string_view kTypeName = "XYZ";
    double X = 0, Y = 0, Z = 0;
    bool operator==(const XYZ&) const = default;
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
};

struct POINT_ENT {
    static constexpr std::string_view kTypeName = "POINT_ENT";
    std::string Layer;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double StartX = 0, StartY = 0, StartZ = 0;
    bool operator==(const POINT_ENT&) const = default;
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
};

class ATTRIBS;

struct INSERT_ENT {
    static constexpr std::string_view kTypeName = "INSERT_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
    double Thickness = 0;
    double CenterX = 0, CenterY = 0, CenterZ = 0;
    std::string BlockName;
    double XScale = 0, YScale = 0, ZScale = 0;
    double RotationAngle = 0;
    // Shared by every copy of the record.
    std::shared_ptr<::ormavec::ATTRIBS> ATTRIBS;
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

struct POLYLINE_ENT {
    static constexpr std::string_view kTypeName = "POLYLINE_ENT";
    std::string Layer;
    std::string LineType;
    int32_t ColorNumber = 0;
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
    std::vector<VERTEX_ENT> Vertices;         // empty: unallocated
    std::vector<VERTEX_ENT> CommandVertices;  // face records of a polyface mesh
    double DefaultStartWidth = 0;
    double DefaultEndWidth = 0;
    bool operator==(const POLYLINE_ENT&) const = default;
};

struct LWVERTEX {
    static constexpr std::string_view kTypeName = "LWVERTEX";
    double X = 0, Y = 0, Z = 0;
    double StartWidth = 0;
    double EndWidth = 0;
    double Bulge = 0;
    bool operator==(const LWVERTEX&) const = default;
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

struct HATCH_BOUNDARY_LINE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_LINE";
    double StartX = 0, StartY = 0, EndX = 0, EndY = 0;
    bool operator==(const HATCH_BOUNDARY_LINE&) const = default;
};

// Declared for hosts; no member reads or writes them.
struct HATCH_BOUNDARY_ARC {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_ARC";
    double CenterX = 0, CenterY = 0, Radius = 0, StartAngle = 0, EndAngle = 0;
    bool IsCounterClockwise = false;
    bool operator==(const HATCH_BOUNDARY_ARC&) const = default;
};

struct HATCH_BOUNDARY_ELLIPSE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_ELLIPSE";
    double CenterX = 0, CenterY = 0, EndOfMajorX = 0, EndOfMajorY = 0, MinorLength = 0, StartAngle = 0, EndAngle = 0;
    bool IsCounterClockwise = false;
    bool operator==(const HATCH_BOUNDARY_ELLIPSE&) const = default;
};

struct HATCH_BOUNDARY_SPLINE {
    static constexpr std::string_view kTypeName = "HATCH_BOUNDARY_SPLINE";
    int32_t Degree = 0, Rational = 0, Periodic = 0, KnotsCount = 0, ControlPointsCount = 0;
    std::vector<double> Knots;
    std::vector<XYZ> ControlPoints;
    std::vector<double> Weights;
    bool operator==(const HATCH_BOUNDARY_SPLINE&) const = default;
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
};

}  // namespace ormavec
