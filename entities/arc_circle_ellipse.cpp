#include <cmath>

#include "entities/collections.h"

namespace ormavec {

namespace {

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

const WriteOrder<ARC_ENT>& arcOrder() {
    using R = ARC_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "ARC"),    O::Handle(),         O::Text(100, "AcDbEntity"), O::Of(&R::Layer),      O::Of(&R::LineType),
        O::Of(&R::ColorNumber), O::Text(100, "AcDbCircle"), O::Of(&R::Thickness), O::Of(&R::CenterX),   O::Of(&R::CenterY),
        O::Of(&R::CenterZ),   O::Of(&R::Radius),   O::Text(100, "AcDbArc"),    O::Of(&R::StartAngle), O::Of(&R::EndAngle)};
    return order;
}

const WriteOrder<CIRCLE_ENT>& circleOrder() {
    using R = CIRCLE_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{O::Text(0, "CIRCLE"), O::Handle(),         O::Text(100, "AcDbEntity"), O::Of(&R::Layer),
                                     O::Of(&R::LineType),   O::Of(&R::ColorNumber), O::Text(100, "AcDbCircle"), O::Of(&R::Thickness),
                                     O::Of(&R::CenterX),    O::Of(&R::CenterY),  O::Of(&R::CenterZ),         O::Of(&R::Radius)};
    return order;
}

const WriteOrder<ELLIPSE_ENT>& ellipseOrder() {
    using R = ELLIPSE_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "ELLIPSE"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType), O::Of(&R::ColorNumber),
        O::Text(100, "AcDbEllipse"), O::Of(&R::CenterX), O::Of(&R::CenterY), O::Of(&R::CenterZ), O::Of(&R::MajorAxisEndX),
        O::Of(&R::MajorAxisEndY), O::Of(&R::MajorAxisEndZ), O::Of(&R::Ratio), O::Of(&R::StartAngle), O::Of(&R::EndAngle)};
    return order;
}

}  // namespace

void ReadEntity(DXFReader& reader, ARC_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const ARC_ENT& record) { WriteByOrder(save, arcOrder(), record); }
int64_t HandleCount(const ARC_ENT&) noexcept { return OrderHandles(arcOrder); }
void GetRecordExtent(const ARC_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    circleBox("ARCS", r.CenterX, r.CenterY, r.Radius, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, CIRCLE_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const CIRCLE_ENT& record) { WriteByOrder(save, circleOrder(), record); }
int64_t HandleCount(const CIRCLE_ENT&) noexcept { return OrderHandles(circleOrder); }
void GetRecordExtent(const CIRCLE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    circleBox("CIRCLES", r.CenterX, r.CenterY, r.Radius, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, ELLIPSE_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const ELLIPSE_ENT& record) { WriteByOrder(save, ellipseOrder(), record); }
int64_t HandleCount(const ELLIPSE_ENT&) noexcept { return OrderHandles(ellipseOrder); }
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
