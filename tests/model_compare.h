// Field-by-field comparison of a model with the one loaded from the file that
// saving it produced, for tests. It walks the fields every record declares
// (Fields<R>) and the kinds list, so a field or kind added to the model is
// compared without a change here. Each expected record is first passed
// through what writing and reading do to it (nine decimals, the code page,
// trimming, the texts written for empty strings, the layer, line types and
// blocks that saving adds, the fields that are not written), and then
// compared exactly.
//
// Compare returns one line per difference, "path: expected X, got Y", e.g.
// "BLOCKS[2].LINES[0].EndX: expected 0.9, got 0.8". VersionModeScope, at the
// end, sets the version mode of the thread for a test.
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "io/number.h"
#include "io/text.h"
#include "ormavec.h"

namespace ormavec::testing {

struct CompareOptions {
    // The code page of the saved file and of the second load.
    CodePage codePage = CodePage::Windows1250;
    // The save wrote every character (a Standard save read back with Auto).
    bool textKept = false;
    // Doubles were written as they are (a binary save), not with nine decimals.
    bool exactNumbers = false;
};

class ModelComparer {
public:
    explicit ModelComparer(CompareOptions options = {}) : o_(options) {}

    std::vector<std::string> Compare(const DXFDocument& expected, const DXFDocument& actual) {
        diffs_.clear();
        const HEADER &e = *expected.HEADER(), &a = *actual.HEADER();
        value("HEADER.AcadVer", e.AcadVer(), a.AcadVer());
        value("HEADER.ExtMin", e.ExtMin(), a.ExtMin());
        value("HEADER.ExtMax", e.ExtMax(), a.ExtMax());
        value("HEADER.InsBase", e.InsBase(), a.InsBase());
        // Saving adds, in front, the layer "0", the line types ByBlock and
        // ByLayer and the model and paper space blocks the model lacks.
        LAYERS layers;
        LTYPES ltypes;
        STYLES styles;
        if (expected.TABLES()->LAYERS()->IndexOfName("0") < 0) layers.Add(LAYERS_TAB{"0", "Continuous", 1, 0});
        for (const char* name : {"ByBlock", "ByLayer"})
            if (expected.TABLES()->LTYPES()->IndexOfName(name) < 0) ltypes.Add(LTYPES_TAB{name, "", 0, 0, {}});
        std::vector<BLOCK_BLOCK> blocks = expected.BLOCKS()->GetArray();
        for (const char* name : {"*PAPER_SPACE", "*MODEL_SPACE"})
            if (expected.BLOCKS()->FindByName(name) < 0) {
                blocks.insert(blocks.begin(), BLOCK_BLOCK{});
                blocks.front().LayerName = "0";
                blocks.front().BlockName = name;
                BLOCKS::CreateEntityArrays(blocks.front());
            }
        table("TABLES.LAYERS", layers, *expected.TABLES()->LAYERS(), &LAYERS_TAB::LayerName, *actual.TABLES()->LAYERS());
        table("TABLES.LTYPES", ltypes, *expected.TABLES()->LTYPES(), &LTYPES_TAB::LineTypeName, *actual.TABLES()->LTYPES());
        table("TABLES.STYLES", styles, *expected.TABLES()->STYLES(), &STYLES_TAB::StyleName, *actual.TABLES()->STYLES());
        value("BLOCKS", blocks, actual.BLOCKS()->GetArray());
        entitySet("ENTITIES", *expected.ENTITIES(), *actual.ENTITIES());
        return diffs_;
    }

    // What writing a text and reading it back gives.
    std::string SavedText(std::string_view s) const {
        std::string bytes, text(o_.textKept ? s : "");
        if (!o_.textKept) EncodeAppend(bytes, s, o_.codePage);
        DecodeAppend(text, bytes, o_.codePage);
        const std::size_t first = text.find_first_not_of(' ');
        return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
    }

private:
    template <class T>
    void differ(const std::string& path, const T& e, const T& a) {
        auto show = [](const T& v) {
            char buf[64];
            if constexpr (std::is_same_v<T, std::string>) return "\"" + v + "\"";
            else if constexpr (std::is_same_v<T, bool>) return std::string(v ? "true" : "false");
            else return std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
        };
        diffs_.push_back(path + ": expected " + show(e) + ", got " + show(a));
    }

    // ---- values, by type; path names the value ----

    // A number: a double as written, with nine decimals.
    template <class T>
        requires std::is_arithmetic_v<T>
    void value(const std::string& path, T e, T a) {
        char buf[kNumberBufferSize];
        // A value the read derives from pairs kept as they were (an MTEXT's
        // rotation from its direction) comes back whole.
        const T whole = e;
        if constexpr (std::is_same_v<T, double>)
            if (std::isfinite(e) && !o_.exactNumbers) (void)ParseDouble(std::string_view(buf, static_cast<std::size_t>(FormatDouble(buf, e) - buf)), e);
        if (e != a && whole != a) differ(path, e, a);
    }
    // A text; a declared fallback is written in place of an empty one.
    void value(const std::string& path, const std::string& e, const std::string& a, std::string_view fallback = {}, bool trimmed = true) {
        if (const std::string want = trimmed ? SavedText(e.empty() ? fallback : std::string_view(e)) : e; want != a) differ(path, want, a);
    }
    // A record: every declared field that is written; a block's collections as an entity set.
    template <class R>
        requires requires { Fields<R>::list; }
    void value(const std::string& path, const R& expected, const R& a) {
        R e = expected;
        saved(e);
        int32_t at = -1;
        ForEachFieldDecl<R>([&](const auto& decl) {
            using M = typename std::remove_cvref_t<decltype(decl)>::Member;
            ++at;
            if (unwritten(&e).find(" " + std::string(decl.name) + " ") != std::string_view::npos) return;
            bool givenEmpty = false;  // a Standard save keeps an empty text the file gave
            if constexpr (requires { e.kept.pairs; })
                givenEmpty = o_.textKept && e.kept.place && decl.read != FieldRead::None && at < kKeptAbsentBits && !((e.kept.pairs >> (kKeptAbsentShift + at)) & 1);
            // An MTEXT's pieces keep their spaces where the text is kept.
            bool trimmed = true;
            if constexpr (std::is_same_v<R, MTEXT_ENT>) trimmed = !(o_.textKept && decl.code == 1);
            if constexpr (std::is_same_v<M, std::string>)
                value(path + "." + std::string(decl.name), e.*decl.member, a.*decl.member, decl.hasFallback && !givenEmpty ? decl.fallback : "", trimmed);
            else if constexpr (!std::is_same_v<R, BLOCK_BLOCK>)
                value(path + "." + std::string(decl.name), e.*decl.member, a.*decl.member);
        });
        if constexpr (std::is_same_v<R, BLOCK_BLOCK>) entitySet(path, e, a);
    }
    template <class T>
    void value(const std::string& path, const std::vector<T>& e, const std::vector<T>& a) {
        if (e.size() != a.size()) differ(path + ".Count", e.size(), a.size());
        for (std::size_t i = 0; i < e.size() && i < a.size(); ++i) value(path + "[" + std::to_string(i) + "]", e[i], a[i]);
    }
    // A collection; none counts as an empty one.
    template <class C>
    void value(const std::string& path, const std::shared_ptr<C>& e, const std::shared_ptr<C>& a) {
        using Records = std::vector<typename C::value_type>;
        value(path, e ? e->GetArray() : Records{}, a ? a->GetArray() : Records{});
    }
    // A hatch path: a polyline record field by field (saving writes no other kind).
    void value(const std::string& path, const Variant& e, const Variant& a) {
        const auto *pe = e.RecordIf<HATCH_BOUNDARY_POLYLINE>(), *pa = a.RecordIf<HATCH_BOUNDARY_POLYLINE>();
        if (pe && pa) return value(path, *pe, *pa);
        differ(path, std::string(e.TypeName()), std::string(a.TypeName()));
    }

    // The collections of ENTITIES or of a block; those of the kinds a load
    // does not read are expected empty.
    template <class Set>
    void entitySet(const std::string& path, const Set& e, const Set& a) {
        kinds::ForEach([&]<Kind K>() {
            if constexpr (Holds<Set, K>) {
                const bool dropped = kinds::RowOf(K).read == kinds::Read::Never;
                value(path + "." + std::string(kinds::RowOf(K).list), dropped ? nullptr : ListIn<K>(e), ListIn<K>(a));
            }
        });
    }

    // A table after the entries saving adds; a reload keeps one entry per name.
    template <class Table, class R>
    void table(const std::string& path, Table& want, const Table& e, std::string R::*name, const Table& a) {
        for (R r : e) {
            r.*name = SavedText(r.*name);
            want.Add(r);
        }
        value(path, want.GetArray(), a.GetArray());
    }

    // ---- what a save and a load do to a record beyond its numbers and texts ----

    // The fields saving does not write, each between spaces. Group 70 of a
    // POLYLINE carries IsClosed, Is3DPolyLine and IsPolyFaceMesh; a vertex
    // has face indexes when it is a face record.
    static std::string_view unwritten(const void*) { return ""; }
    static std::string_view unwritten(const SOLID_ENT*) { return " ExtrusionX ExtrusionY ExtrusionZ "; }
    static std::string_view unwritten(const ATTRIB_ENT*) { return " ColorNumber LineType Rotation XScaleFactor ObliqueAngle TextStyleName HorTextJust VertTextJust "; }
    static std::string_view unwritten(const POLYLINE_ENT*) { return " PolygonMeshMVertexCount PolygonMeshNVertexCount IsCurveFitted IsSplineFitted Is3DPolygonMesh Is3DPolygonMeshClosed SplineMode "; }
    static std::string_view unwritten(const VERTEX_ENT* v) { return v->VertexFlag == 128 ? " Bulge " : " Bulge PolyFaceMesh1 PolyFaceMesh2 PolyFaceMesh3 PolyFaceMesh4 "; }
    static std::string_view unwritten(const LWVERTEX*) { return " Z Bulge "; }

    template <class T>
    static void cut(std::vector<T>& v, int32_t n) {
        v.resize(std::min(v.size(), static_cast<std::size_t>(std::max(n, 0))));
    }

    template <class R>
    void saved(R&) const {}
    // 257 is not written; the reload holds the default 256.
    void saved(POINT_ENT& r) const { r.ColorNumber = r.ColorNumber == 257 ? 256 : r.ColorNumber; }
    // The edges go out as one group 70, of which reading knows only some values.
    void saved(FACE3D_ENT& r) const {
        const int packed = r.Edge1IsInvisible + 2 * r.Edge2IsInvisible + 4 * r.Edge3IsInvisible + 8 * r.Edge4IsInvisible;
        if (packed != 1 && packed != 8 && packed != 12 && packed != 14 && packed != 15)
            r.Edge1IsInvisible = r.Edge2IsInvisible = r.Edge3IsInvisible = r.Edge4IsInvisible = false;
    }
    // The text goes out in pieces of 250 UTF-16 units, each trimmed when
    // read by the classic modes (the others keep the spaces); group 42
    // carries the smaller of the character width and the width.
    void saved(MTEXT_ENT& r) const {
        r.CharWidth = std::min(r.CharWidth, r.Width);
        if (o_.textKept) return;
        std::string out, piece;
        std::size_t units = 0;
        for (std::size_t pos = 0, start = 0; pos < r.Text.size(); start = pos) {
            const char32_t ch = NextUtf8(r.Text, pos);
            const std::size_t n = ch >= 0x10000 && ch <= 0x10FFFF ? 2 : 1;
            if (units + n > 250) {
                out += SavedText(std::exchange(piece, ""));
                units = 0;
            }
            piece.append(r.Text, start, pos - start);
            units += n;
        }
        r.Text = out + SavedText(piece);
    }
    // Vertex widths are written only when there is no constant width.
    void saved(LWPOLYLINE_ENT& r) const {
        if (r.ConstWidth != LWPOLYLINE_ENT::kNoConstWidth)
            for (LWVERTEX& v : r.POINTS) v.StartWidth = v.EndWidth = 0;
    }
    // A solid fill of the polyline paths among the first BoundaryCount, each
    // with its first VerticesCount points (and bulges if it has any); the
    // first SeedPointCount seeds; all in 2D.
    void saved(HATCH_ENT& r) const {
        cut(r.Boundaries, r.BoundaryCount);
        std::erase_if(r.Boundaries, [](const Variant& v) { return !v.RecordIf<HATCH_BOUNDARY_POLYLINE>(); });
        r.SolidFill = true;
        r.BoundaryCount = static_cast<int32_t>(r.Boundaries.size());
        cut(r.Seedpoints, r.SeedPointCount);
        for (XYZ& q : r.Seedpoints) q.Z = 0;
    }
    void saved(HATCH_BOUNDARY_POLYLINE& r) const {
        cut(r.Bulges, r.HasBulge ? r.VerticesCount : 0);
        cut(r.POINTS, r.VerticesCount);
        for (XYZ& q : r.POINTS) q.Z = 0;
    }
    // Only the first LineElementCount pattern elements are written.
    void saved(LTYPES_TAB& r) const { cut(r.Pattern, r.LineElementCount); }

    CompareOptions o_;
    std::vector<std::string> diffs_;
};

// The version mode is per thread: set for a test and restored after it.
struct VersionModeScope {
    int16_t before = DXFDocument().VersionMode();
    explicit VersionModeScope(int16_t mode) { DXFDocument().SetVersionMode(mode); }
    ~VersionModeScope() { DXFDocument().SetVersionMode(before); }
};

}  // namespace ormavec::testing
