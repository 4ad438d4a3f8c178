// What an R12 save writes in place of the kinds that version lacks: an
// LWPOLYLINE as a POLYLINE with the same vertices, bulges and widths, an
// ELLIPSE or a kept SPLINE as a POLYLINE of chords, an MTEXT as one TEXT per
// line. HATCH and the other kept kinds have no counterpart and are left out
// (the save warns).
#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "entities/collections.h"

namespace ormavec {

class TABLES;
class BLOCKS;
class ENTITIES;
class KeptEntities;

namespace r12 {

POLYLINE_ENT AsPolyline(const LWPOLYLINE_ENT& r);
// The chords stray at most `tolerance` drawing units from the ellipse (0: a
// thousandth of its major radius).
POLYLINE_ENT AsPolyline(const ELLIPSE_ENT& r, double tolerance);
std::vector<TEXT_ENT> AsTexts(const MTEXT_ENT& r);
// The lines of an MTEXT text without its formatting codes.
std::vector<std::string> PlainLines(std::string_view text);

// Where the first `count` of an MTEXT's lines stand as single-line texts:
// f(line, x, y, rotation in degrees, horizontal justification) for each line
// that is not blank. The R12 export and the picture place them alike.
template <class F>
void PlaceLines(const MTEXT_ENT& r, const std::vector<std::string>& lines, std::size_t count, F&& f) {
    const int align = r.Align >= 1 && r.Align <= 9 ? r.Align : 1;
    const double h = r.TextHeight;
    const double spacing = h * 5 / 3 * (r.LineSpacing2 > 0 ? r.LineSpacing2 : 1);
    const double last = spacing * static_cast<double>(count - 1);
    // The baseline of the first line below the attachment point.
    const double first = align <= 3 ? h : align <= 6 ? (h - last) / 2 : -last;
    const double c = std::cos(r.TextRotation), s = std::sin(r.TextRotation);
    const double degrees = r.TextRotation * 180 / std::numbers::pi;
    for (std::size_t i = 0; i < count; ++i) {
        if (lines[i].find_first_not_of(' ') == std::string::npos) continue;
        const double down = first + spacing * static_cast<double>(i);
        f(lines[i], r.X + s * down, r.Y - c * down, degrees, (align - 1) % 3);
    }
}

template <class R>
inline constexpr bool kLeftOut = std::is_same_v<R, HATCH_ENT>;

// f(record) for each record an R12 file holds in place of r.
template <class R, class F>
void ForEachRecord(const R& r, double tolerance, F&& f) {
    if constexpr (std::is_same_v<R, LWPOLYLINE_ENT>)
        f(AsPolyline(r));
    else if constexpr (std::is_same_v<R, ELLIPSE_ENT>)
        f(AsPolyline(r, tolerance));
    else if constexpr (std::is_same_v<R, MTEXT_ENT>)
        for (const TEXT_ENT& t : AsTexts(r)) f(t);
    else if constexpr (!kLeftOut<R>)
        f(r);
}

// Writes the kept SPLINEs as polylines; counts them and the rest as left out.
void WriteKept(SaveContext& save, const KeptEntities& kept);

// The $HANDSEED of an R12 save with handles: above every handle it takes.
int32_t HandleSeed(SaveContext& save, const TABLES& tables, const BLOCKS& blocks, const ENTITIES& e);
// The warning of the kinds left out, "" when none was.
std::string LeftOutWarning(const SaveContext& save);

}  // namespace r12
}  // namespace ormavec
