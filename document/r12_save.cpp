#include "document/r12_save.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "document/entity_sets.h"
#include "document/spline.h"
#include "document/standard_save.h"
#include "document/tables.h"

namespace ormavec::r12 {

POLYLINE_ENT AsPolyline(const LWPOLYLINE_ENT& r) {
    POLYLINE_ENT p;
    p.Layer = r.Layer;
    p.LineType = r.LineType;
    p.ColorNumber = r.ColorNumber;
    p.Thickness = r.Thickness;
    p.IsClosed = r.IsClosed;
    const bool constant = r.ConstWidth != LWPOLYLINE_ENT::kNoConstWidth;
    if (constant) p.DefaultStartWidth = p.DefaultEndWidth = r.ConstWidth;
    p.Vertices.reserve(r.POINTS.size());
    for (const LWVERTEX& v : r.POINTS) {
        VERTEX_ENT x;
        x.X = v.X;
        x.Y = v.Y;
        x.Z = r.Elevation;
        x.StartWidth = constant ? r.ConstWidth : v.StartWidth;
        x.EndWidth = constant ? r.ConstWidth : v.EndWidth;
        x.Bulge = v.Bulge;
        p.Vertices.push_back(x);
    }
    return p;
}

// The ellipse is the image of a circle of its major radius a under a map
// that shortens one direction only, which shortens no distance to a chord:
// a parameter step d keeps every chord within a(1 - cos(d/2)) of the curve.
POLYLINE_ENT AsPolyline(const ELLIPSE_ENT& r, double tolerance) {
    constexpr double kTurn = 2 * std::numbers::pi;
    POLYLINE_ENT p;
    p.Layer = r.Layer;
    p.LineType = r.LineType;
    p.ColorNumber = r.ColorNumber;
    const double a = std::hypot(r.MajorAxisEndX, r.MajorAxisEndY, r.MajorAxisEndZ);
    const double tol = tolerance > 0 ? tolerance : a * 1e-3;
    double span = r.EndAngle - r.StartAngle;
    while (span <= 0) span += kTurn;
    while (span > kTurn) span -= kTurn;
    const bool whole = std::abs(span - kTurn) < 1e-9;
    const double step = tol >= a || a == 0 ? std::numbers::pi / 2 : 2 * std::acos(1 - tol / a);
    const int n = std::clamp(static_cast<int>(std::ceil(span / step)), whole ? 4 : 1, 1 << 16);
    p.IsClosed = whole;
    // The minor axis: the major one turned a quarter counterclockwise in the plane.
    const double nx = -r.MajorAxisEndY * r.Ratio, ny = r.MajorAxisEndX * r.Ratio;
    for (int i = 0; i < n + (whole ? 0 : 1); ++i) {
        const double t = r.StartAngle + span * i / n;
        VERTEX_ENT v;
        v.X = r.CenterX + r.MajorAxisEndX * std::cos(t) + nx * std::sin(t);
        v.Y = r.CenterY + r.MajorAxisEndY * std::cos(t) + ny * std::sin(t);
        v.Z = r.CenterZ + r.MajorAxisEndZ * std::cos(t);
        p.Vertices.push_back(v);
    }
    return p;
}

std::vector<std::string> PlainLines(std::string_view text) {
    std::vector<std::string> lines(1);
    const auto skipTo = [&](std::size_t& i, char end) {
        const std::size_t e = text.find(end, i);
        i = e == std::string_view::npos ? text.size() : e + 1;
    };
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        if (c == '{' || c == '}') {
            ++i;
            continue;
        }
        if (c != '\\' || i + 1 == text.size()) {
            lines.back() += c;
            ++i;
            continue;
        }
        const char code = text[i + 1];
        i += 2;
        switch (code) {
        case 'P': lines.emplace_back(); break;
        case '~': lines.back() += ' '; break;
        case '\\': case '{': case '}': lines.back() += code; break;
        case 'S': {  // a stacked fraction: the two parts with a slash
            const std::size_t e = std::min(text.find(';', i), text.size());
            for (char x : text.substr(i, e - i)) lines.back() += (x == '^' || x == '#') ? '/' : x;
            i = std::min(e + 1, text.size());
            break;
        }
        case 'A': case 'C': case 'c': case 'f': case 'F': case 'H': case 'Q': case 'T': case 'W': case 'p':
            skipTo(i, ';');
            break;
        case 'L': case 'l': case 'O': case 'o': case 'K': case 'k': case 'N': case 'X': break;
        default: lines.back() += '\\', lines.back() += code; break;  // not a formatting code: kept
        }
    }
    return lines;
}

std::vector<TEXT_ENT> AsTexts(const MTEXT_ENT& r) {
    const std::vector<std::string> lines = PlainLines(r.Text);
    std::vector<TEXT_ENT> out;
    PlaceLines(r, lines, lines.size(), [&](const std::string& line, double x, double y, double degrees, int hor) {
        TEXT_ENT t;
        t.Layer = r.Layer;
        t.ColorNumber = r.ColorNumber;
        t.StartX = x;
        t.StartY = y;
        t.StartZ = r.Z;
        t.TextHeight = r.TextHeight;
        t.Text = line;
        t.TextRotation = degrees;
        t.XScaleFactor = 1.0;
        t.TextStyleName = r.Style;
        t.HorTextJust = hor;
        out.push_back(std::move(t));
    });
    return out;
}

namespace {
// f(polyline) for each kept SPLINE drawn; the rest counted on save when given.
template <class F>
void forEachKept(const KeptEntities& kept, double tolerance, SaveContext* save, F&& f) {
    for (const RawEntity& e : kept.Items()) {
        if (!EqualsNoCase(e.Name, "SPLINE")) {
            if (save) ++save->r12LeftOutKept[e.Name];
            continue;
        }
        SplineCurve s;
        if (std::string why = ReadSpline(e, s); !why.empty()) {
            if (save) ++save->r12Undrawn[why];
            continue;
        }
        f(AsPolyline(s, tolerance));
    }
}
}  // namespace

void WriteKept(SaveContext& save, const KeptEntities& kept) {
    forEachKept(kept, save.r12Tolerance, &save, [&](const POLYLINE_ENT& p) { WriteEntity(save, p); });
}

namespace {
template <class Set>
int64_t handlesOf(const Set& set, double tolerance) {
    int64_t n = 0;
    if (const KeptEntities* raw = entity_sets::RawOf(set))
        forEachKept(*raw, tolerance, nullptr, [&](const POLYLINE_ENT& p) { n += HandleCount(p); });
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set))
                for (const auto& r : *list) ForEachRecord(r, tolerance, [&](const auto& x) { n += HandleCount(x); });
    });
    return n;
}
}  // namespace

int32_t HandleSeed(SaveContext& save, const TABLES& tables, const BLOCKS& blocks, const ENTITIES& e) {
    // The count of a Standard save, with the records written in place of others on top.
    int64_t n = PrepareStandardSave(save, tables, blocks, e) + handlesOf(e, save.r12Tolerance);
    for (const BLOCK_BLOCK& b : blocks) n += handlesOf(b, save.r12Tolerance);
    if (n >= INT32_MAX) RaiseError(err::Overflow, "DXFDocument", "Overflow: the drawing holds more objects than its handles can number");
    return static_cast<int32_t>(n);
}

std::string LeftOutWarning(const SaveContext& save) {
    std::string text;
    for (std::size_t k = 0; k < kinds::kCount; ++k)
        if (save.r12LeftOut[k] > 0)
            text += (text.empty() ? "" : ", ") + std::to_string(save.r12LeftOut[k]) + " " + std::string(kinds::kRows[k].dxf);
    for (const auto& [name, n] : save.r12LeftOutKept) text += (text.empty() ? "" : ", ") + std::to_string(n) + " " + name;
    for (const auto& [why, n] : save.r12Undrawn)
        text += (text.empty() ? "" : ", ") + std::to_string(n) + " SPLINE not drawn (" + why + ")";
    return text.empty() ? text : "R12 has no such entities; left out: " + text;
}

}  // namespace ormavec::r12
