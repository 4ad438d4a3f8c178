#include <cmath>

#include "entities/collections.h"
#include "entities/descriptions.h"
#include "entities/descriptor.h"

namespace ormavec {

namespace {

void commonDefaults(std::string& layer, std::string& lineType, int32_t& color) {
    layer = "0";
    lineType = "Continuous";
    color = 256;
}

// The box of a circle; huge centres or radii must fail rather than hand out
// an infinite extent.
void circleBox(std::string_view source, double cx, double cy, double r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = cx - r;
    minY = cy - r;
    maxX = cx + r;
    maxY = cy + r;
    if (!std::isfinite(minX) || !std::isfinite(minY) || !std::isfinite(maxX) || !std::isfinite(maxY))
        RaiseError(err::Overflow, source, "Overflow");
}

}  // namespace

namespace entity {

const Description<ARC_ENT>& ArcDescription() {
    using R = ARC_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "ARC",
        [](R& r) { commonDefaults(r.Layer, r.LineType, r.ColorNumber); },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(10, &R::CenterX), Dbl(20, &R::CenterY), Dbl(30, &R::CenterZ),
         Dbl(39, &R::Thickness), Dbl(40, &R::Radius), Dbl(50, &R::StartAngle), Dbl(51, &R::EndAngle),
         Int(62, &R::ColorNumber), Dropped<R>(210), Dropped<R>(220), Dropped<R>(230)},
        {Out::Text(0, "ARC"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbCircle"),
         Out::Double(39, &R::Thickness), Out::Double(10, &R::CenterX), Out::Double(20, &R::CenterY),
         Out::Double(30, &R::CenterZ), Out::Double(40, &R::Radius), Out::Text(100, "AcDbArc"),
         Out::Double(50, &R::StartAngle), Out::Double(51, &R::EndAngle)},
    };
    return d;
}

const Description<CIRCLE_ENT>& CircleDescription() {
    using R = CIRCLE_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "CIRCLE",
        [](R& r) { commonDefaults(r.Layer, r.LineType, r.ColorNumber); },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(10, &R::CenterX), Dbl(20, &R::CenterY), Dbl(30, &R::CenterZ),
         Dbl(39, &R::Thickness), Dbl(40, &R::Radius), Int(62, &R::ColorNumber)},
        {Out::Text(0, "CIRCLE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbCircle"),
         Out::Double(39, &R::Thickness), Out::Double(10, &R::CenterX), Out::Double(20, &R::CenterY),
         Out::Double(30, &R::CenterZ), Out::Double(40, &R::Radius)},
    };
    return d;
}

const Description<ELLIPSE_ENT>& EllipseDescription() {
    using R = ELLIPSE_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "ELLIPSE",
        [](R& r) { commonDefaults(r.Layer, r.LineType, r.ColorNumber); },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(10, &R::CenterX), Dbl(20, &R::CenterY), Dbl(30, &R::CenterZ),
         Dbl(11, &R::MajorAxisEndX), Dbl(21, &R::MajorAxisEndY), Dbl(31, &R::MajorAxisEndZ), Dbl(40, &R::Ratio),
         Dbl(41, &R::StartAngle), Dbl(42, &R::EndAngle), Int(62, &R::ColorNumber)},
        {Out::Text(0, "ELLIPSE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbEllipse"),
         Out::Double(10, &R::CenterX), Out::Double(20, &R::CenterY), Out::Double(30, &R::CenterZ),
         Out::Double(11, &R::MajorAxisEndX), Out::Double(21, &R::MajorAxisEndY), Out::Double(31, &R::MajorAxisEndZ),
         Out::Double(40, &R::Ratio), Out::Double(41, &R::StartAngle), Out::Double(42, &R::EndAngle)},
    };
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, ARC_ENT& record) { entity::ReadDescribed(reader, entity::ArcDescription(), record); }
void WriteEntity(DXFWriter& writer, const ARC_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::ArcDescription(), record, handle);
}
void GetRecordExtent(const ARC_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    circleBox("ARCS", r.CenterX, r.CenterY, r.Radius, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, CIRCLE_ENT& record) { entity::ReadDescribed(reader, entity::CircleDescription(), record); }
void WriteEntity(DXFWriter& writer, const CIRCLE_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::CircleDescription(), record, handle);
}
void GetRecordExtent(const CIRCLE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    circleBox("CIRCLES", r.CenterX, r.CenterY, r.Radius, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, ELLIPSE_ENT& record) { entity::ReadDescribed(reader, entity::EllipseDescription(), record); }
void WriteEntity(DXFWriter& writer, const ELLIPSE_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::EllipseDescription(), record, handle);
}
void GetRecordExtent(const ELLIPSE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    // Measured as the circle of the major axis (Z ignored), widened by a
    // ratio above 1 where the "minor" axis is the longer one.
    double squares = r.MajorAxisEndX * r.MajorAxisEndX + r.MajorAxisEndY * r.MajorAxisEndY;
    if (!std::isfinite(squares)) RaiseError(err::Overflow, "ELLIPSES", "Overflow");
    double radius = std::sqrt(squares);
    if (r.Ratio > 1.0) radius *= r.Ratio;
    circleBox("ELLIPSES", r.CenterX, r.CenterY, radius, minX, minY, maxX, maxY);
}

}  // namespace ormavec
