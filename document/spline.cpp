#include "document/spline.h"

#include <algorithm>
#include <cmath>

#include "io/number.h"

namespace ormavec {
namespace {

using H = std::array<double, 4>;  // a weighted point: w*x, w*y, w*z, w

constexpr int32_t kMaxDegree = 31;
constexpr double kMaxVertices = 1 << 20;

bool finite(const std::vector<double>& v) {
    return std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
}

std::vector<H> weighted(const SplineCurve& s) {
    std::vector<H> h;
    h.reserve(s.Control.size());
    for (const auto& c : s.Control) h.push_back({c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]});
    return h;
}

// The control points of the derivative of the B-spline of degree p with
// these control points and knots (those of the derivative are the same
// knots less the first and the last). A zero knot step gives zero.
std::vector<H> derivative(const std::vector<H>& c, const std::vector<double>& knots, std::size_t first, int32_t p) {
    std::vector<H> d;
    for (std::size_t i = 0; i + 1 < c.size(); ++i) {
        const double step = knots[first + i + static_cast<std::size_t>(p)] - knots[first + i];
        H x{};
        if (step > 0)
            for (std::size_t j = 0; j < 4; ++j) x[j] = p * (c[i + 1][j] - c[i][j]) / step;
        d.push_back(x);
    }
    return d;
}

}  // namespace

std::string ReadSpline(const RawEntity& e, SplineCurve& s) {
    std::vector<double> weights;
    int32_t flags = 0;
    for (const DxfEntry& p : e.Pairs) {
        if (p.Code == 8) s.Layer = p.Value;
        else if (p.Code == 6) s.LineType = p.Value;
        const bool integer = p.Code == 62 || p.Code == 70 || p.Code == 71;
        const bool real = p.Code == 40 || p.Code == 41 || (p.Code >= 10 && p.Code <= 31 && p.Code % 10 <= 1);
        if (!integer && !real) continue;
        int32_t n = 0;
        double x = 0;
        if (integer ? ParseInt32(p.Value, n) != ParseStatus::Ok : ParseDouble(p.Value, x) != ParseStatus::Ok || !std::isfinite(x))
            return "group " + std::to_string(p.Code) + " holds no number";
        switch (p.Code) {
        case 62: s.ColorNumber = n; break;
        case 70: flags = n; break;
        case 71: s.Degree = n; break;
        case 40: s.Knots.push_back(x); break;
        case 41: weights.push_back(x); break;
        case 10: s.Control.push_back({x, 0, 0, 1}); break;
        case 11: s.Fit.push_back({x, 0, 0}); break;
        default: {  // 20, 30, 21, 31: the y or z of the last point
            const std::size_t axis = static_cast<std::size_t>(p.Code / 10 - 1);
            if (p.Code % 10 == 0 && !s.Control.empty()) s.Control.back()[axis] = x;
            if (p.Code % 10 == 1 && !s.Fit.empty()) s.Fit.back()[axis] = x;
        }
        }
    }
    s.Closed = (flags & 1) != 0;
    if (s.Control.empty()) return s.Fit.size() >= 2 ? "" : "neither control points nor two fit points";
    const std::size_t n = s.Control.size();
    if (s.Degree < 1 || s.Degree > kMaxDegree) return "degree " + std::to_string(s.Degree);
    const std::size_t p = static_cast<std::size_t>(s.Degree);
    if (n < p + 1) return std::to_string(n) + " control points for degree " + std::to_string(p);
    if (s.Knots.size() != n + p + 1)
        return std::to_string(s.Knots.size()) + " knots for " + std::to_string(n) + " control points of degree " + std::to_string(p) + " (" +
               std::to_string(n + p + 1) + " needed)";
    if (!std::is_sorted(s.Knots.begin(), s.Knots.end()) || !finite(s.Knots)) return "knots out of order";
    if (!(s.Knots[p] < s.Knots[n])) return "no knot span to draw";
    if (!weights.empty()) {
        if (weights.size() != n) return std::to_string(weights.size()) + " weights for " + std::to_string(n) + " control points";
        for (std::size_t i = 0; i < n; ++i) {
            if (!(weights[i] > 0)) return "a weight that is not positive";
            s.Control[i][3] = weights[i];
        }
    }
    return "";
}

namespace {
// The polynomial of knot span k at u.
std::array<double, 3> evalIn(const SplineCurve& s, std::size_t k, double u) {
    const std::size_t p = static_cast<std::size_t>(s.Degree);
    const std::vector<double>& t = s.Knots;
    std::array<H, kMaxDegree + 1> d;
    for (std::size_t j = 0; j <= p; ++j) {
        const auto& c = s.Control[j + k - p];
        d[j] = {c[0] * c[3], c[1] * c[3], c[2] * c[3], c[3]};
    }
    for (std::size_t r = 1; r <= p; ++r)
        for (std::size_t j = p; j >= r; --j) {
            const double lo = t[j + k - p], hi = t[j + 1 + k - r];
            const double a = hi > lo ? (u - lo) / (hi - lo) : 0;
            for (std::size_t m = 0; m < 4; ++m) d[j][m] = (1 - a) * d[j - 1][m] + a * d[j][m];
        }
    return {d[p][0] / d[p][3], d[p][1] / d[p][3], d[p][2] / d[p][3]};
}
}  // namespace

std::array<double, 3> SplineAt(const SplineCurve& s, double u) {
    const std::size_t p = static_cast<std::size_t>(s.Degree), n = s.Control.size();
    const std::vector<double>& t = s.Knots;
    std::size_t k = static_cast<std::size_t>(std::upper_bound(t.begin() + static_cast<std::ptrdiff_t>(p), t.begin() + static_cast<std::ptrdiff_t>(n) + 1, u) - t.begin());
    k = std::clamp(k, p + 1, n) - 1;
    while (k > p && !(t[k] < t[k + 1])) --k;
    return evalIn(s, k, u);
}

// The bound. On a knot span the weighted curve H(u) = (w C(u), w(u)) is a
// polynomial. For a parameter step of length h, the chord of the weighted
// points differs from H by at most h^2/8 max|H''| (linear interpolation of
// a C^2 function), and H'' is a B-spline whose control points (the second
// differences of the weighted points, R) bound it. Dividing by the weight,
// and measuring from a control point o of the span (the curve is unchanged
// by moving its points):
//   |C(u) - chord| <= h^2/8 (max|R_xyz - o R_w| + rad * max|R_w|) / w_min
// where rad is the farthest control point of the span from o and w_min the
// least weight of the span. Each span is cut into steps small enough for
// this to be at most the tolerance. Where a knot repeats more than the
// degree the curve may jump: the polyline takes both ends, at one parameter.
std::vector<SplinePoint> SplinePoints(const SplineCurve& s, double tolerance) {
    std::vector<SplinePoint> out;
    const auto& pts = s.Control;
    if (s.Control.empty()) {
        for (std::size_t i = 0; i < s.Fit.size(); ++i) out.push_back({static_cast<double>(i), s.Fit[i][0], s.Fit[i][1], s.Fit[i][2]});
        return out;
    }
    double tol = tolerance;
    if (!(tol > 0)) {
        double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        for (const auto& c : pts)
            for (std::size_t j = 0; j < 3; ++j) lo[j] = std::min(lo[j], c[j]), hi[j] = std::max(hi[j], c[j]);
        tol = std::hypot(hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2]) * 1e-3;
        if (!(tol > 0)) tol = 1e-9;
    }
    const std::size_t p = static_cast<std::size_t>(s.Degree), n = pts.size();
    const std::vector<double>& t = s.Knots;
    std::vector<H> second;
    if (p >= 2) second = derivative(derivative(weighted(s), t, 1, s.Degree), t, 2, s.Degree - 1);
    std::vector<double> steps(n, 0);
    double total = 0;
    for (std::size_t k = p; k < n; ++k) {
        if (!(t[k] < t[k + 1])) continue;
        const auto& o = pts[k - p];
        double rad = 0, wmin = HUGE_VAL, me = 0, mw = 0;
        for (std::size_t j = k - p; j <= k; ++j) {
            rad = std::max(rad, std::hypot(pts[j][0] - o[0], pts[j][1] - o[1], pts[j][2] - o[2]));
            wmin = std::min(wmin, pts[j][3]);
        }
        for (std::size_t i = k - p; p >= 2 && i + 2 <= k; ++i) {
            const H& r = second[i];
            me = std::max(me, std::hypot(r[0] - o[0] * r[3], r[1] - o[1] * r[3], r[2] - o[2] * r[3]));
            mw = std::max(mw, std::abs(r[3]));
        }
        const double bound = (me + rad * mw) / (8 * wmin);  // times h^2
        const double m = std::ceil((t[k + 1] - t[k]) * std::sqrt(bound / tol));
        steps[k] = std::isfinite(m) ? std::clamp(m, 1.0, kMaxVertices) : kMaxVertices;
        total += steps[k];
    }
    const double thin = total > kMaxVertices ? kMaxVertices / total : 1;
    for (std::size_t k = p; k < n; ++k) {
        if (steps[k] == 0) continue;
        const double m = std::max(1.0, std::floor(steps[k] * thin));
        for (double i = 0; i <= m; ++i) {
            const double u = i == m ? t[k + 1] : t[k] + (t[k + 1] - t[k]) * i / m;
            if (i == m && u < t[n]) {
                const auto same = std::equal_range(t.begin(), t.end(), u);
                if (same.second - same.first <= static_cast<std::ptrdiff_t>(p)) break;
            }
            const auto c = evalIn(s, k, u);
            out.push_back({u, c[0], c[1], c[2]});
        }
    }
    return out;
}

namespace r12 {

POLYLINE_ENT AsPolyline(const SplineCurve& s, double tolerance) {
    POLYLINE_ENT p;
    p.Layer = s.Layer;
    p.LineType = s.LineType;
    p.ColorNumber = s.ColorNumber;
    p.IsClosed = s.Closed;
    std::vector<SplinePoint> pts = SplinePoints(s, tolerance);
    // A closed curve ends where it began: the closing segment stands for the last.
    if (s.Closed && pts.size() > 2 && pts.front().x == pts.back().x && pts.front().y == pts.back().y && pts.front().z == pts.back().z)
        pts.pop_back();
    for (const SplinePoint& q : pts) {
        VERTEX_ENT v;
        v.X = q.x, v.Y = q.y, v.Z = q.z;
        p.Is3DPolyLine = p.Is3DPolyLine || q.z != 0;
        p.Vertices.push_back(v);
    }
    if (p.Is3DPolyLine)
        for (VERTEX_ENT& v : p.Vertices) v.VertexFlag = 32;  // a 3D polyline's vertex
    return p;
}

}  // namespace r12
}  // namespace ormavec
