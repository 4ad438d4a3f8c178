// A SPLINE kept as raw pairs, read into its curve and drawn as a polyline
// within a stated distance of it: by R12 saves, which have no such entity,
// and by the picture.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "document/kept.h"
#include "entities/records.h"

namespace ormavec {

struct SplineCurve {
    std::string Layer = "0";
    std::string LineType;
    int32_t ColorNumber = 256;
    int32_t Degree = 0;
    bool Closed = false;
    std::vector<double> Knots;
    std::vector<std::array<double, 4>> Control;  // x, y, z and weight
    std::vector<std::array<double, 3>> Fit;      // used only without control points
};

// Reads the pairs of a kept SPLINE: "" when they make a curve, else why not
// (a knot vector of the wrong length, degree 0 or above 31, a weight that
// is not positive, a coordinate that is no finite number...).
std::string ReadSpline(const RawEntity& e, SplineCurve& s);

struct SplinePoint {
    double u;  // the curve's parameter; for a fit-point spline, the point's index
    double x, y, z;
};

// The polyline's vertices, on the curve, such that no point of the curve
// strays more than `tolerance` (0: a thousandth of the diagonal of the
// points' box) from the chord of its parameter step. A curve needing more
// than 2^20 vertices gets coarser ones.
std::vector<SplinePoint> SplinePoints(const SplineCurve& s, double tolerance);

// The curve at u, by de Boor's algorithm on the weighted points; for a
// curve ReadSpline accepted with control points.
std::array<double, 3> SplineAt(const SplineCurve& s, double u);

namespace r12 {
// A 2D polyline, or a 3D one when the curve leaves the plane z = 0.
POLYLINE_ENT AsPolyline(const SplineCurve& s, double tolerance);
}  // namespace r12

}  // namespace ormavec
