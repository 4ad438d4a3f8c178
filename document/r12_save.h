// What an R12 save writes in place of the kinds that version lacks: an
// LWPOLYLINE as a POLYLINE with the same vertices, bulges and widths, an
// ELLIPSE or a kept SPLINE as a POLYLINE of chords, an MTEXT as one TEXT per
// line. HATCH and the other kept kinds have no counterpart and are left out
// (the save warns).
#pragma once

#include <cstdint>
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
