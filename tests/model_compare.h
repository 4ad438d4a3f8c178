// Field-by-field comparison of two document models, for tests. It walks the
// fields every record declares (Fields<R>) and the kinds list, so a field or
// kind added to the model is compared without a change here.
//
// Two modes:
// - Identical: every field of every record must be equal.
// - AfterSave: `actual` was loaded from the file that saving `expected`
//   produced. Each expected record is first passed through what writing and
//   reading do to it (nine decimals, the code page, trimming, the texts
//   written for empty strings, the layer, line types and blocks that saving
//   adds, the fields that are not written), and then compared exactly.
//
// Compare returns one line per difference, "path: expected X, got Y", e.g.
// "BLOCKS[2].LINES[0].EndX: expected 0.9, got 0.8".
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
    enum class Mode { Identical, AfterSave };
    Mode mode = Mode::AfterSave;
    // The code page of the saved file and of the second load (AfterSave).
    CodePage codePage = CodePage::Windows1250;
    // The save wrote every character (a Standard save read back with Auto).
    bool textKept = false;
    // Whether the second load read the hatches of blocks (version mode 6 on).
    bool hatchesRead = true;
    // Differences listed in full; the rest are only counted.
    std::size_t maxListed = 40;
};

class ModelComparer {
public:
    explicit ModelComparer(CompareOptions options = {}) : o_(options) {}

    std::vector<std::string> Compare(const DXFDocument& expected, const DXFDocument& actual) {
        diffs_.clear();
        total_ = 0;
        const HEADER &e = *expected.HEADER(), &a = *actual.HEADER();
        value("HEADER.AcadVer", e.AcadVer(), a.AcadVer());
        value("HEADER.ExtMin", e.ExtMin(), a.ExtMin());
        value("HEADER.ExtMax", e.ExtMax(), a.ExtMax());
        value("HEADER.InsBase", e.InsBase(), a.InsBase());
        tables(*expected.TABLES(), *actual.TABLES());
        std::vector<BLOCK_BLOCK> blocks = expected.BLOCKS()->GetArray();
        for (const char* name : {"*PAPER_SPACE", "*MODEL_SPACE"})  // the space blocks saving adds in front
            if (afterSave() && expected.BLOCKS()->FindByName(name) < 0) {
                blocks.insert(blocks.begin(), BLOCK_BLOCK{});
                blocks.front().LayerName = "0";
                blocks.front().BlockName = name;
                BLOCKS::CreateEntityArrays(blocks.front());
            }
        value("BLOCKS", blocks, actual.BLOCKS()->GetArray());
        path_ = "ENTITIES";
        entitySet(*expected.ENTITIES(), *actual.ENTITIES());
        path_.clear();
        if (total_ > diffs_.size()) diffs_.push_back("... and " + std::to_string(total_ - diffs_.size()) + " more differences");
        return diffs_;
    }

    // The number of differences found by the last Compare, listed or not.
    std::size_t TotalDifferences() const noexcept { return total_; }

    // What writing a double and reading it back gives.
    static double SavedNumber(double v) {
        char buf[kNumberBufferSize];
        if (std::isfinite(v)) (void)ParseDouble(std::string_view(buf, static_cast<std::size_t>(FormatDouble(buf, v) - buf)), v);
        return v;
    }

    // What writing a text and reading it back gives.
    std::string SavedText(std::string_view s) const {
        std::string text(s), bytes;
        if (!o_.textKept) {
            EncodeAppend(bytes, s, o_.codePage);
            text.clear();
            DecodeAppend(text, bytes, o_.codePage);
        }
        const std::size_t first = text.find_first_not_of(' ');
        return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') + 1 - first);
    }

private:
    bool afterSave() const noexcept { return o_.mode == CompareOptions::Mode::AfterSave; }

    // Adds a part to the path for its lifetime.
    struct Scope {
        ModelComparer& c;
        std::size_t size = c.path_.size();
        Scope(ModelComparer& comparer, std::string_view part) : c(comparer) {
            c.path_.append(c.path_.empty() || part.starts_with('[') ? "" : ".").append(part);
        }
        ~Scope() { c.path_.resize(size); }
    };

    static std::string show(const std::string& v) { return "\"" + v + "\""; }
    static std::string show(double v) {
        char buf[64];
        return std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
    }
    static std::string show(std::size_t v) { return std::to_string(v); }
    static std::string show(int32_t v) { return std::to_string(v); }

    template <class T>
    void differ(std::string_view field, const T& e, const T& a) {
        Scope s(*this, field);
        if (++total_ <= o_.maxListed) diffs_.push_back(path_ + ": expected " + show(e) + ", got " + show(a));
    }

    // ---- values, by type ----

    void value(std::string_view f, double e, double a) {
        if (afterSave()) e = SavedNumber(e);
        if (!(e == a) && !(std::isnan(e) && std::isnan(a))) differ(f, e, a);
    }
    void value(std::string_view f, int32_t e, int32_t a) {
        if (e != a) differ(f, e, a);
    }
    void value(std::string_view f, bool e, bool a) {
        if (e != a) differ(f, std::string(e ? "true" : "false"), std::string(a ? "true" : "false"));
    }
    // A text; a declared fallback is written in place of an empty one.
    void value(std::string_view f, const std::string& e, const std::string& a, std::string_view fallback = {}) {
        const std::string want = afterSave() ? SavedText(e.empty() ? fallback : std::string_view(e)) : e;
        if (want != a) differ(f, want, a);
    }
    template <class R>
        requires requires { Fields<R>::list; }
    void value(std::string_view f, const R& e, const R& a) {
        Scope s(*this, f);
        R want = e;
        if (afterSave()) saved(want);
        fields(want, a);
    }
    template <class T>
    void value(std::string_view f, const std::vector<T>& e, const std::vector<T>& a) {
        if (e.size() != a.size()) differ(std::string(f) + ".Count", e.size(), a.size());
        for (std::size_t i = 0; i < e.size() && i < a.size(); ++i) value(std::string(f) + "[" + std::to_string(i) + "]", e[i], a[i]);
    }
    // A collection; none counts as an empty one, but only after a save.
    template <class C>
    void value(std::string_view f, const std::shared_ptr<C>& e, const std::shared_ptr<C>& a) {
        if (!afterSave() && !e != !a) differ(std::string(f) + ".Exists", std::string(e ? "yes" : "no"), std::string(a ? "yes" : "no"));
        using Records = std::vector<typename C::value_type>;
        value(f, e ? e->GetArray() : Records{}, a ? a->GetArray() : Records{});
    }
    // A hatch path: polyline records field by field, any other kind by its type.
    void value(std::string_view f, const Variant& e, const Variant& a) {
        const auto *pe = e.RecordIf<HATCH_BOUNDARY_POLYLINE>(), *pa = a.RecordIf<HATCH_BOUNDARY_POLYLINE>();
        if (pe && pa) return value(f, *pe, *pa);
        if (!pe != !pa || e.TypeName() != a.TypeName()) differ(f, std::string(e.TypeName()), std::string(a.TypeName()));
    }

    // Every declared field; a block's collections as an entity set.
    template <class R>
    void fields(const R& e, const R& a) {
        ForEachFieldDecl<R>([&](const auto& decl) {
            using M = typename std::remove_cvref_t<decltype(decl)>::Member;
            if (afterSave() && unwritten(&e).find(" " + std::string(decl.name) + " ") != std::string_view::npos) return;
            if constexpr (std::is_same_v<M, std::string>)
                value(decl.name, e.*decl.member, a.*decl.member, decl.hasFallback ? decl.fallback : std::string_view{});
            else if constexpr (!std::is_same_v<R, BLOCK_BLOCK>)
                value(decl.name, e.*decl.member, a.*decl.member);
        });
        if constexpr (std::is_same_v<R, BLOCK_BLOCK>) entitySet(e, a);
    }

    // The collections of ENTITIES or of a block; after a save, those of the
    // kinds the second load does not read are expected empty.
    template <class Set>
    void entitySet(const Set& e, const Set& a) {
        kinds::ForEach([&]<Kind K>() {
            if constexpr (Holds<Set, K>) {
                const kinds::Read read = kinds::RowOf(K).read;
                const bool dropped = read == kinds::Read::Never || (read == kinds::Read::VersionMode6 && !o_.hatchesRead);
                value(kinds::RowOf(K).list, afterSave() && dropped ? nullptr : ListIn<K>(e), ListIn<K>(a));
            }
        });
    }

    // Saving adds the layer "0" and the line types ByBlock and ByLayer when
    // the tables lack them, in front; a reload keeps one entry per name.
    void tables(const TABLES& e, const TABLES& a) {
        Scope s(*this, "TABLES");
        LAYERS layers;
        LTYPES ltypes;
        STYLES styles;
        if (afterSave() && e.LAYERS()->IndexOfName("0") < 0) layers.Add(LAYERS_TAB{"0", "Continuous", 1, 0});
        for (const char* name : {"ByBlock", "ByLayer"})
            if (afterSave() && e.LTYPES()->IndexOfName(name) < 0) ltypes.Add(LTYPES_TAB{name, "", 0, 0, {}});
        table("LAYERS", layers, *e.LAYERS(), &LAYERS_TAB::LayerName, *a.LAYERS());
        table("LTYPES", ltypes, *e.LTYPES(), &LTYPES_TAB::LineTypeName, *a.LTYPES());
        table("STYLES", styles, *e.STYLES(), &STYLES_TAB::StyleName, *a.STYLES());
    }
    template <class Table, class R>
    void table(std::string_view f, Table& want, const Table& e, std::string R::*name, const Table& a) {
        for (R r : e) {
            if (afterSave()) r.*name = SavedText(r.*name);
            want.Add(r);
        }
        value(f, want.GetArray(), a.GetArray());
    }

    // ---- what a save and a load do to a record beyond its numbers and texts ----

    // The fields saving does not write, each between spaces.
    static std::string_view unwritten(const void*) { return ""; }
    static std::string_view unwritten(const SOLID_ENT*) { return " ExtrusionX ExtrusionY ExtrusionZ "; }
    static std::string_view unwritten(const ATTRIB_ENT*) {
        return " ColorNumber LineType Rotation XScaleFactor ObliqueAngle TextStyleName HorTextJust VertTextJust ";
    }
    static std::string_view unwritten(const POLYLINE_ENT*) {  // group 70 carries IsClosed, Is3DPolyLine, IsPolyFaceMesh
        return " PolygonMeshMVertexCount PolygonMeshNVertexCount IsCurveFitted IsSplineFitted Is3DPolygonMesh Is3DPolygonMeshClosed SplineMode ";
    }
    static std::string_view unwritten(const VERTEX_ENT* v) {  // the face indexes only for face records
        return v->VertexFlag == 128 ? " Bulge " : " Bulge PolyFaceMesh1 PolyFaceMesh2 PolyFaceMesh3 PolyFaceMesh4 ";
    }
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
    // read; group 42 carries the smaller of the character width and the width.
    void saved(MTEXT_ENT& r) const {
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
        r.CharWidth = std::min(r.CharWidth, r.Width);
    }
    // Vertex widths are written only when there is no constant width.
    void saved(LWPOLYLINE_ENT& r) const {
        if (r.ConstWidth != LWPOLYLINE_ENT::kNoConstWidth)
            for (LWVERTEX& v : r.POINTS) v.StartWidth = v.EndWidth = 0;
    }
    // A solid fill of the polyline paths among the first BoundaryCount, each
    // with its first VerticesCount points in 2D; the first SeedPointCount seeds.
    void saved(HATCH_ENT& r) const {
        cut(r.Boundaries, r.BoundaryCount);
        std::erase_if(r.Boundaries, [](const Variant& v) { return !v.RecordIf<HATCH_BOUNDARY_POLYLINE>(); });
        for (Variant& v : r.Boundaries) {
            HATCH_BOUNDARY_POLYLINE p = *v.RecordIf<HATCH_BOUNDARY_POLYLINE>();
            if (!p.HasBulge) p.Bulges.clear();
            cut(p.Bulges, p.VerticesCount);
            cut(p.POINTS, p.VerticesCount);
            for (XYZ& q : p.POINTS) q.Z = 0;
            v = Variant::FromRecord(p);
        }
        r.SolidFill = true;
        r.BoundaryCount = static_cast<int32_t>(r.Boundaries.size());
        cut(r.Seedpoints, r.SeedPointCount);
        for (XYZ& q : r.Seedpoints) q.Z = 0;
    }
    // Only the first LineElementCount pattern elements are written.
    void saved(LTYPES_TAB& r) const { cut(r.Pattern, r.LineElementCount); }

    CompareOptions o_;
    std::vector<std::string> diffs_;
    std::size_t total_ = 0;
    std::string path_;
};

}  // namespace ormavec::testing
