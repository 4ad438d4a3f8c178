// Field-by-field comparison of two document models, for tests.
//
// Two modes:
// - Identical: every field of every record must be equal.
// - AfterSave: `actual` was loaded from the file that saving `expected`
//   produced. Each value is first passed through what writing and reading
//   do to it (nine decimals, the code page, trimming, the substitutes for
//   empty names, the default layer / line types / blocks that saving adds,
//   the fields that are not written at all), and then compared exactly.
//
// Compare returns one line per difference, "path: expected X, got Y", e.g.
// "BLOCKS[2 \"DOOR\"].LINES[0].EndX: expected 0.9, got 0.8".
#pragma once

#include <charconv>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "document/fields.h"
#include "ormavec.h"

namespace ormavec::testing {

struct CompareOptions {
    enum class Mode { Identical, AfterSave };
    Mode mode = Mode::AfterSave;
    // The code page of the saved file and of the second load (AfterSave).
    CodePage codePage = CodePage::Windows1250;
    // The save wrote every character (a Standard save read back with Auto),
    // so texts lose nothing to the code page.
    bool textKept = false;
    // Whether the second load read the hatches of blocks (version mode 6 or
    // more); when not, the blocks of `actual` hold no hatch.
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
        path_.clear();
        header(*expected.HEADER(), *actual.HEADER());
        tables(*expected.TABLES(), *actual.TABLES());
        blocks(*expected.BLOCKS(), *actual.BLOCKS());
        entities(*expected.ENTITIES(), *actual.ENTITIES());
        if (total_ > diffs_.size())
            diffs_.push_back("... and " + std::to_string(total_ - diffs_.size()) + " more differences");
        return diffs_;
    }

    // The number of differences found by the last Compare, listed or not.
    std::size_t TotalDifferences() const noexcept { return total_; }

    // What writing a double and reading it back gives.
    static double SavedNumber(double v) {
        if (!std::isfinite(v)) return v;
        char buf[kNumberBufferSize];
        char* end = FormatDouble(buf, v);
        double out = 0;
        if (ParseDouble(std::string_view(buf, static_cast<std::size_t>(end - buf)), out) != ParseStatus::Ok) return v;
        return out;
    }

    // What writing a text (or `fallback` when it is empty and a fallback is
    // given) and reading it back gives.
    std::string SavedText(std::string_view s, const char* fallback = nullptr) const {
        if (s.empty() && fallback) s = fallback;
        std::string text;
        if (o_.textKept) {
            text = s;
        } else {
            std::string bytes;
            EncodeAppend(bytes, s, o_.codePage);
            DecodeAppend(text, bytes, o_.codePage);
        }
        std::string_view v = text;
        while (!v.empty() && v.front() == ' ') v.remove_prefix(1);
        while (!v.empty() && v.back() == ' ') v.remove_suffix(1);
        return std::string(v);
    }

private:
    bool afterSave() const noexcept { return o_.mode == CompareOptions::Mode::AfterSave; }

    // ---- reporting ----

    struct Scope {
        ModelComparer& c;
        std::size_t size;
        Scope(ModelComparer& comparer, std::string_view part) : c(comparer), size(comparer.path_.size()) {
            if (part.empty()) return;
            if (!c.path_.empty() && part.front() != '[') c.path_ += '.';
            c.path_ += part;
        }
        ~Scope() { c.path_.resize(size); }
    };

    static std::string show(double v) {
        char buf[64];
        auto [end, ec] = std::to_chars(buf, buf + sizeof buf, v);
        return ec == std::errc() ? std::string(buf, end) : std::string("?");
    }
    static std::string show(int64_t v) { return std::to_string(v); }
    static std::string show(bool v) { return v ? "true" : "false"; }
    static std::string show(std::string_view v) { return "\"" + std::string(v) + "\""; }

    void differ(std::string_view field, const std::string& e, const std::string& a) {
        ++total_;
        if (diffs_.size() >= o_.maxListed) return;
        std::string line = path_;
        if (!field.empty()) line += (line.empty() ? "" : ".") + std::string(field);
        diffs_.push_back(line + ": expected " + e + ", got " + a);
    }

    // ---- fields ----

    // A double written with WriteDouble.
    void num(std::string_view f, double e, double a) {
        double want = afterSave() ? SavedNumber(e) : e;
        if (!(want == a) && !(std::isnan(want) && std::isnan(a))) differ(f, show(want), show(a));
    }
    void integer(std::string_view f, int64_t e, int64_t a) {
        if (e != a) differ(f, show(e), show(a));
    }
    void flag(std::string_view f, bool e, bool a) {
        if (e != a) differ(f, show(e), show(a));
    }
    // A text written as stored, or with `fallback` when empty.
    void text(std::string_view f, std::string_view e, std::string_view a, const char* fallback = nullptr) {
        std::string want = afterSave() ? SavedText(e, fallback) : std::string(e);
        if (want != a) differ(f, show(want), show(a));
    }
    // Fields that saving does not write: compared only between identical models.
    void unwritten(std::string_view f, double e, double a) {
        if (!afterSave()) num(f, e, a);
    }
    void unwrittenInt(std::string_view f, int64_t e, int64_t a) {
        if (!afterSave()) integer(f, e, a);
    }
    void unwrittenFlag(std::string_view f, bool e, bool a) {
        if (!afterSave()) flag(f, e, a);
    }
    void unwrittenText(std::string_view f, std::string_view e, std::string_view a) {
        if (!afterSave()) text(f, e, a);
    }
    void point(std::string_view f, const XYZ& e, const XYZ& a) {
        Scope s(*this, f);
        num("X", e.X, a.X);
        num("Y", e.Y, a.Y);
        num("Z", e.Z, a.Z);
    }
    bool count(std::string_view f, int64_t e, int64_t a) {
        if (e == a) return true;
        differ(std::string(f) + ".Count", show(e), show(a));
        return false;
    }

    // How a record type is saved: the text written for an empty string
    // field, and the fields that are not written at all.
    struct FieldRule {
        std::vector<std::pair<std::string_view, const char*>> fallbacks;
        std::vector<std::string_view> unwritten;
        const char* fallbackOf(std::string_view f) const {
            for (const auto& [name, text] : fallbacks)
                if (name == f) return text;
            return nullptr;
        }
        bool isUnwritten(std::string_view f) const {
            for (std::string_view name : unwritten)
                if (name == f) return true;
            return false;
        }
    };
    // Drawn entities: an empty layer is saved as "0", an empty line type as
    // "Continuous".
    static const FieldRule& drawn() {
        static const FieldRule rule{{{"Layer", "0"}, {"LineType", "Continuous"}}, {}};
        return rule;
    }

    template <class>
    static constexpr bool kAlwaysFalse = false;
    template <class T>
    struct IsVector : std::false_type {};
    template <class T>
    struct IsVector<std::vector<T>> : std::true_type {};

    // Every field of the shared field list, in its order, each compared by
    // its type.
    template <class R>
    void fields(const R& e, const R& a, const FieldRule& rule = {}) {
        ForEachField<R>([&](std::string_view name, auto member) { field(name, e.*member, a.*member, rule); });
    }
    template <class T>
    void field(std::string_view f, const T& e, const T& a, const FieldRule& rule) {
        if (afterSave() && rule.isUnwritten(f)) return;
        if constexpr (std::is_same_v<T, double>)
            num(f, e, a);
        else if constexpr (std::is_same_v<T, bool>)
            flag(f, e, a);
        else if constexpr (std::is_integral_v<T>)
            integer(f, e, a);
        else if constexpr (std::is_same_v<T, std::string>)
            text(f, e, a, rule.fallbackOf(f));
        else if constexpr (std::is_same_v<T, XYZ>)
            point(f, e, a);
        else if constexpr (IsVector<T>::value)
            list(f, e, a, [&](const auto& x, const auto& y) { fields(x, y); });
        else
            static_assert(kAlwaysFalse<T>, "no comparison for this field type");
    }

    // ---- collections ----

    template <class C>
    static int32_t sizeOf(const std::shared_ptr<C>& c) {
        return c ? c->Count() : 0;
    }

    // Each record of two collections of one type, in index order.
    template <class C, class Fn>
    void each(std::string_view name, const std::shared_ptr<C>& e, const std::shared_ptr<C>& a, Fn&& fn) {
        const int32_t ne = sizeOf(e), na = sizeOf(a);
        count(name, ne, na);
        for (int32_t i = 0; i < ne && i < na; ++i) {
            Scope s(*this, std::string(name) + "[" + std::to_string(i) + "]");
            fn(e->ItemRef(i), a->ItemRef(i));
        }
    }
    // A collection that saving does not write or loading does not read: after
    // a save it must be empty.
    template <class C, class Fn>
    void notKept(std::string_view name, const std::shared_ptr<C>& e, const std::shared_ptr<C>& a, Fn&& fn) {
        if (afterSave())
            count(name, 0, sizeOf(a));
        else
            each(name, e, a, fn);
    }

    // ---- header and tables ----

    void header(const HEADER& e, const HEADER& a) {
        Scope s(*this, "HEADER");
        integer("AcadVer", e.AcadVer(), a.AcadVer());
        point("ExtMin", e.ExtMin(), a.ExtMin());
        point("ExtMax", e.ExtMax(), a.ExtMax());
        point("InsBase", e.InsBase(), a.InsBase());
    }

    // The records a reload holds: the ones saving adds in front, then the
    // saved ones, a name already present (without regard to case) dropped
    // as the collection's Add does.
    template <class T, class NameOf>
    static std::vector<T> withAdded(std::vector<T> front, const std::vector<T>& saved, NameOf nameOf) {
        for (const T& r : saved) {
            bool dup = false;
            for (const T& f : front) dup = dup || EqualsNoCase(nameOf(f), nameOf(r));
            if (!dup) front.push_back(r);
        }
        return front;
    }

    template <class T, class Fn>
    void list(std::string_view name, const std::vector<T>& e, const std::vector<T>& a, Fn&& fn) {
        count(name, static_cast<int64_t>(e.size()), static_cast<int64_t>(a.size()));
        for (std::size_t i = 0; i < e.size() && i < a.size(); ++i) {
            Scope s(*this, std::string(name) + "[" + std::to_string(i) + "]");
            fn(e[i], a[i]);
        }
    }

    void tables(const TABLES& e, const TABLES& a) {
        Scope s(*this, "TABLES");
        std::vector<LAYERS_TAB> layers = e.LAYERS()->GetArray();
        std::vector<LTYPES_TAB> ltypes = e.LTYPES()->GetArray();
        if (afterSave()) {
            for (LAYERS_TAB& l : layers) l.LayerName = SavedText(l.LayerName);
            for (LTYPES_TAB& l : ltypes) l.LineTypeName = SavedText(l.LineTypeName);
            std::vector<LAYERS_TAB> front;
            bool hasZero = false;
            for (const LAYERS_TAB& l : e.LAYERS()->GetArray()) hasZero = hasZero || l.LayerName == "0";
            if (!hasZero) front.push_back(LAYERS_TAB{"0", "Continuous", 1, 0});
            layers = withAdded(front, layers, [](const LAYERS_TAB& r) -> std::string_view { return r.LayerName; });

            std::vector<LTYPES_TAB> fixed;
            auto has = [&](std::string_view lower) {
                for (const LTYPES_TAB& l : e.LTYPES()->GetArray())
                    if (LowerCase(l.LineTypeName) == lower) return true;
                return false;
            };
            if (!has("byblock")) fixed.push_back(LTYPES_TAB{"ByBlock", "", 0, 0, {}});
            if (!has("bylayer")) fixed.push_back(LTYPES_TAB{"ByLayer", "", 0, 0, {}});
            // Only the first LineElementCount pattern elements are written.
            for (LTYPES_TAB& l : ltypes) {
                std::size_t n = l.LineElementCount > 0 ? static_cast<std::size_t>(l.LineElementCount) : 0;
                if (l.Pattern.size() > n) l.Pattern.resize(n);
            }
            ltypes = withAdded(fixed, ltypes, [](const LTYPES_TAB& r) -> std::string_view { return r.LineTypeName; });
        }
        list("LAYERS", layers, a.LAYERS()->GetArray(), [&](const LAYERS_TAB& x, const LAYERS_TAB& y) { fields(x, y); });
        list("LTYPES", ltypes, a.LTYPES()->GetArray(), [&](const LTYPES_TAB& x, const LTYPES_TAB& y) { fields(x, y); });
        list("STYLES", e.STYLES()->GetArray(), a.STYLES()->GetArray(),
             [&](const STYLES_TAB& x, const STYLES_TAB& y) { fields(x, y); });
    }

    // ---- blocks ----

    void blocks(const BLOCKS& e, const BLOCKS& a) {
        std::vector<BLOCK_BLOCK> want;
        if (afterSave()) {
            auto has = [&](std::string_view lower) {
                for (const BLOCK_BLOCK& b : e)
                    if (LowerCase(b.BlockName) == lower) return true;
                return false;
            };
            for (std::string_view name : {std::string_view("*MODEL_SPACE"), std::string_view("*PAPER_SPACE")}) {
                if (has(LowerCase(name))) continue;
                BLOCK_BLOCK b;
                b.LayerName = "0";
                b.BlockName = std::string(name);
                BLOCKS::CreateEntityArrays(b);
                want.push_back(std::move(b));
            }
        }
        for (const BLOCK_BLOCK& b : e) want.push_back(b);
        const int32_t na = a.Count();
        count("BLOCKS", static_cast<int64_t>(want.size()), na);
        for (std::size_t i = 0; i < want.size() && static_cast<int32_t>(i) < na; ++i) {
            const BLOCK_BLOCK& x = want[i];
            const BLOCK_BLOCK& y = a.ItemRef(static_cast<int32_t>(i));
            Scope s(*this, "BLOCKS[" + std::to_string(i) + " \"" + y.BlockName + "\"]");
            text("LayerName", x.LayerName, y.LayerName);
            text("BlockName", x.BlockName, y.BlockName);
            integer("Flag", x.Flag, y.Flag);
            num("X", x.X, y.X);
            num("Y", x.Y, y.Y);
            num("Z", x.Z, y.Z);
            text("XRefPathName", x.XRefPathName, y.XRefPathName);
            each("ARCS", x.ARCS, y.ARCS, [&](auto& p, auto& q) { arc(p, q); });
            each("CIRCLES", x.CIRCLES, y.CIRCLES, [&](auto& p, auto& q) { circle(p, q); });
            each("ELLIPSES", x.ELLIPSES, y.ELLIPSES, [&](auto& p, auto& q) { ellipse(p, q); });
            each("FACE3DS", x.FACE3DS, y.FACE3DS, [&](auto& p, auto& q) { face3d(p, q); });
            each("INSERTS", x.INSERTS, y.INSERTS, [&](auto& p, auto& q) { insert(p, q); });
            each("LINES", x.LINES, y.LINES, [&](auto& p, auto& q) { line(p, q); });
            each("LWPOLYLINES", x.LWPOLYLINES, y.LWPOLYLINES, [&](auto& p, auto& q) { lwpolyline(p, q); });
            each("POLYLINES", x.POLYLINES, y.POLYLINES, [&](auto& p, auto& q) { polyline(p, q); });
            each("POINTS", x.POINTS, y.POINTS, [&](auto& p, auto& q) { pointEnt(p, q); });
            each("TEXTS", x.TEXTS, y.TEXTS, [&](auto& p, auto& q) { textEnt(p, q); });
            each("MTEXTS", x.MTEXTS, y.MTEXTS, [&](auto& p, auto& q) { mtext(p, q); });
            if (!afterSave() || o_.hatchesRead)
                each("HATCHES", x.HATCHES, y.HATCHES, [&](auto& p, auto& q) { hatch(p, q); });
            else
                count("HATCHES", 0, sizeOf(y.HATCHES));
            notKept("ATTDEFS", x.ATTDEFS, y.ATTDEFS, [&](auto& p, auto& q) { attdef(p, q); });
        }
    }

    // ---- entities ----

    void entities(const ENTITIES& e, const ENTITIES& a) {
        Scope s(*this, "ENTITIES");
        each("ARCS", e.ARCS(), a.ARCS(), [&](auto& p, auto& q) { arc(p, q); });
        each("CIRCLES", e.CIRCLES(), a.CIRCLES(), [&](auto& p, auto& q) { circle(p, q); });
        each("ELLIPSES", e.ELLIPSES(), a.ELLIPSES(), [&](auto& p, auto& q) { ellipse(p, q); });
        each("FACE3DS", e.FACE3DS(), a.FACE3DS(), [&](auto& p, auto& q) { face3d(p, q); });
        each("INSERTS", e.INSERTS(), a.INSERTS(), [&](auto& p, auto& q) { insert(p, q); });
        each("LINES", e.LINES(), a.LINES(), [&](auto& p, auto& q) { line(p, q); });
        each("LWPOLYLINES", e.LWPOLYLINES(), a.LWPOLYLINES(), [&](auto& p, auto& q) { lwpolyline(p, q); });
        each("MTEXTS", e.MTEXTS(), a.MTEXTS(), [&](auto& p, auto& q) { mtext(p, q); });
        each("POLYLINES", e.POLYLINES(), a.POLYLINES(), [&](auto& p, auto& q) { polyline(p, q); });
        each("POINTS", e.POINTS(), a.POINTS(), [&](auto& p, auto& q) { pointEnt(p, q); });
        each("TEXTS", e.TEXTS(), a.TEXTS(), [&](auto& p, auto& q) { textEnt(p, q); });
        each("SOLIDS", e.SOLIDS(), a.SOLIDS(), [&](auto& p, auto& q) { solid(p, q); });
        // ATTDEFs are written but never loaded; top-level ATTRIBs neither.
        notKept("ATTDEFS", e.ATTDEFS(), a.ATTDEFS(), [&](auto& p, auto& q) { attdef(p, q); });
        notKept("ATTRIBS", e.ATTRIBS(), a.ATTRIBS(), [&](auto& p, auto& q) { attrib(p, q); });
    }

    void line(const LINE_ENT& e, const LINE_ENT& a) { fields(e, a, drawn()); }

    void circle(const CIRCLE_ENT& e, const CIRCLE_ENT& a) { fields(e, a, drawn()); }

    void arc(const ARC_ENT& e, const ARC_ENT& a) { fields(e, a, drawn()); }

    void ellipse(const ELLIPSE_ENT& e, const ELLIPSE_ENT& a) { fields(e, a, drawn()); }

    void pointEnt(const POINT_ENT& e, const POINT_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        // 257 is not written; the reload then holds the default 256.
        integer("ColorNumber", afterSave() && e.ColorNumber == 257 ? 256 : e.ColorNumber, a.ColorNumber);
        num("Thickness", e.Thickness, a.Thickness);
        num("StartX", e.StartX, a.StartX);
        num("StartY", e.StartY, a.StartY);
        num("StartZ", e.StartZ, a.StartZ);
    }

    void solid(const SOLID_ENT& e, const SOLID_ENT& a) {
        static const FieldRule rule{drawn().fallbacks, {"ExtrusionX", "ExtrusionY", "ExtrusionZ"}};
        fields(e, a, rule);
    }

    void face3d(const FACE3D_ENT& e, const FACE3D_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        text("LineType", e.LineType, a.LineType, "Continuous");
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        point("Corner1", e.Corner1, a.Corner1);
        point("Corner2", e.Corner2, a.Corner2);
        point("Corner3", e.Corner3, a.Corner3);
        point("Corner4", e.Corner4, a.Corner4);
        bool edges[4] = {e.Edge1IsInvisible, e.Edge2IsInvisible, e.Edge3IsInvisible, e.Edge4IsInvisible};
        if (afterSave()) {
            // Written as one group 70; reading knows only some of its values.
            int packed = (edges[0] ? 1 : 0) + (edges[1] ? 2 : 0) + (edges[2] ? 4 : 0) + (edges[3] ? 8 : 0);
            bool known = packed == 0 || packed == 1 || packed == 8 || packed == 12 || packed == 14 || packed == 15;
            if (!known)
                for (bool& b : edges) b = false;
        }
        flag("Edge1IsInvisible", edges[0], a.Edge1IsInvisible);
        flag("Edge2IsInvisible", edges[1], a.Edge2IsInvisible);
        flag("Edge3IsInvisible", edges[2], a.Edge3IsInvisible);
        flag("Edge4IsInvisible", edges[3], a.Edge4IsInvisible);
    }

    void textEnt(const TEXT_ENT& e, const TEXT_ENT& a) {
        static const FieldRule rule{{{"Layer", "0"}, {"Text", "0"}, {"TextStyleName", "0"}}, {}};
        fields(e, a, rule);
    }

    // The MTEXT text goes out in pieces of 250 UTF-16 units, each trimmed
    // when read back.
    std::string savedMText(std::string_view s) const {
        std::string out, piece;
        std::size_t units = 0, pos = 0;
        std::vector<std::string> pieces;
        while (pos < s.size()) {
            std::size_t start = pos;
            char32_t ch = NextUtf8(s, pos);
            std::size_t n = ch >= 0x10000 && ch <= 0x10FFFF ? 2 : 1;
            if (units + n > 250) {
                pieces.push_back(piece);
                piece.clear();
                units = 0;
            }
            piece.append(s.substr(start, pos - start));
            units += n;
        }
        pieces.push_back(piece);
        for (const std::string& p : pieces) out += SavedText(p);
        return out;
    }

    void mtext(const MTEXT_ENT& e, const MTEXT_ENT& a) {
        num("X", e.X, a.X);
        num("Y", e.Y, a.Y);
        num("Z", e.Z, a.Z);
        num("TextHeight", e.TextHeight, a.TextHeight);
        num("Width", e.Width, a.Width);
        integer("Align", e.Align, a.Align);
        integer("Direction", e.Direction, a.Direction);
        if (afterSave()) {
            std::string want = savedMText(e.Text);
            if (want != a.Text) differ("Text", show(want), show(a.Text));
        } else {
            text("Text", e.Text, a.Text);
        }
        text("Style", e.Style, a.Style, "Standard");
        text("Layer", e.Layer, a.Layer, "0");
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        // Group 42 carries the smaller of the character width and the width.
        num("CharWidth", afterSave() && e.CharWidth > e.Width ? e.Width : e.CharWidth, a.CharWidth);
        num("EntityHeight", e.EntityHeight, a.EntityHeight);
        num("TextRotation", e.TextRotation, a.TextRotation);
        integer("LineSpacing", e.LineSpacing, a.LineSpacing);
        num("LineSpacing2", e.LineSpacing2, a.LineSpacing2);
    }

    void attrib(const ATTRIB_ENT& e, const ATTRIB_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        num("X", e.X, a.X);
        num("Y", e.Y, a.Y);
        num("Z", e.Z, a.Z);
        num("TextHeight", e.TextHeight, a.TextHeight);
        text("DefaultValue", e.DefaultValue, a.DefaultValue);
        text("TagString", e.TagString, a.TagString);
        integer("AttributeFlag", e.AttributeFlag, a.AttributeFlag);
        unwrittenInt("ColorNumber", e.ColorNumber, a.ColorNumber);
        unwrittenText("LineType", e.LineType, a.LineType);
        unwritten("Rotation", e.Rotation, a.Rotation);
        unwritten("XScaleFactor", e.XScaleFactor, a.XScaleFactor);
        unwritten("ObliqueAngle", e.ObliqueAngle, a.ObliqueAngle);
        unwrittenText("TextStyleName", e.TextStyleName, a.TextStyleName);
        unwrittenInt("HorTextJust", e.HorTextJust, a.HorTextJust);
        unwrittenInt("VertTextJust", e.VertTextJust, a.VertTextJust);
    }

    void attdef(const ATTDEF_ENT& e, const ATTDEF_ENT& a) { fields(e, a); }

    void insert(const INSERT_ENT& e, const INSERT_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        text("LineType", e.LineType, a.LineType, "Continuous");
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        num("Thickness", e.Thickness, a.Thickness);
        num("CenterX", e.CenterX, a.CenterX);
        num("CenterY", e.CenterY, a.CenterY);
        num("CenterZ", e.CenterZ, a.CenterZ);
        text("BlockName", e.BlockName, a.BlockName);
        num("XScale", e.XScale, a.XScale);
        num("YScale", e.YScale, a.YScale);
        num("ZScale", e.ZScale, a.ZScale);
        num("RotationAngle", e.RotationAngle, a.RotationAngle);
        // An insert with no attribute holds no collection after a reload,
        // even when it was saved with an empty one.
        if (!afterSave() && static_cast<bool>(e.ATTRIBS) != static_cast<bool>(a.ATTRIBS))
            differ("ATTRIBS", e.ATTRIBS ? "a collection" : "none", a.ATTRIBS ? "a collection" : "none");
        each("ATTRIBS", e.ATTRIBS, a.ATTRIBS, [&](auto& p, auto& q) { attrib(p, q); });
    }

    void vertex(const VERTEX_ENT& e, const VERTEX_ENT& a) {
        num("X", e.X, a.X);
        num("Y", e.Y, a.Y);
        num("Z", e.Z, a.Z);
        num("StartWidth", e.StartWidth, a.StartWidth);
        num("EndWidth", e.EndWidth, a.EndWidth);
        unwritten("Bulge", e.Bulge, a.Bulge);
        num("CurveFitTangentDirection", e.CurveFitTangentDirection, a.CurveFitTangentDirection);
        integer("VertexFlag", e.VertexFlag, a.VertexFlag);
        // The face indexes are written for face records only.
        if (e.VertexFlag == 128 || !afterSave()) {
            integer("PolyFaceMesh1", e.PolyFaceMesh1, a.PolyFaceMesh1);
            integer("PolyFaceMesh2", e.PolyFaceMesh2, a.PolyFaceMesh2);
            integer("PolyFaceMesh3", e.PolyFaceMesh3, a.PolyFaceMesh3);
            integer("PolyFaceMesh4", e.PolyFaceMesh4, a.PolyFaceMesh4);
        }
    }

    void polyline(const POLYLINE_ENT& e, const POLYLINE_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        text("LineType", e.LineType, a.LineType, "Continuous");
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        num("Thickness", e.Thickness, a.Thickness);
        unwrittenInt("PolygonMeshMVertexCount", e.PolygonMeshMVertexCount, a.PolygonMeshMVertexCount);
        unwrittenInt("PolygonMeshNVertexCount", e.PolygonMeshNVertexCount, a.PolygonMeshNVertexCount);
        flag("IsClosed", e.IsClosed, a.IsClosed);
        unwrittenFlag("IsCurveFitted", e.IsCurveFitted, a.IsCurveFitted);
        unwrittenFlag("IsSplineFitted", e.IsSplineFitted, a.IsSplineFitted);
        flag("Is3DPolyLine", e.Is3DPolyLine, a.Is3DPolyLine);
        unwrittenFlag("Is3DPolygonMesh", e.Is3DPolygonMesh, a.Is3DPolygonMesh);
        unwrittenFlag("Is3DPolygonMeshClosed", e.Is3DPolygonMeshClosed, a.Is3DPolygonMeshClosed);
        flag("IsPolyFaceMesh", e.IsPolyFaceMesh, a.IsPolyFaceMesh);
        unwrittenInt("SplineMode", e.SplineMode, a.SplineMode);
        list("Vertices", e.Vertices, a.Vertices, [&](auto& p, auto& q) { vertex(p, q); });
        list("CommandVertices", e.CommandVertices, a.CommandVertices, [&](auto& p, auto& q) { vertex(p, q); });
        num("DefaultStartWidth", e.DefaultStartWidth, a.DefaultStartWidth);
        num("DefaultEndWidth", e.DefaultEndWidth, a.DefaultEndWidth);
    }

    void lwpolyline(const LWPOLYLINE_ENT& e, const LWPOLYLINE_ENT& a) {
        text("Layer", e.Layer, a.Layer, "0");
        text("LineType", e.LineType, a.LineType, "Continuous");
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        num("Thickness", e.Thickness, a.Thickness);
        flag("IsClosed", e.IsClosed, a.IsClosed);
        flag("PlineGen", e.PlineGen, a.PlineGen);
        num("ConstWidth", e.ConstWidth, a.ConstWidth);
        num("Elevation", e.Elevation, a.Elevation);
        // Vertex widths are written only when there is no constant width.
        const bool widths = !afterSave() || e.ConstWidth == LWPOLYLINE_ENT::kNoConstWidth;
        list("POINTS", e.POINTS, a.POINTS, [&](const LWVERTEX& p, const LWVERTEX& q) {
            num("X", p.X, q.X);
            num("Y", p.Y, q.Y);
            unwritten("Z", p.Z, q.Z);
            num("StartWidth", widths ? p.StartWidth : 0.0, q.StartWidth);
            num("EndWidth", widths ? p.EndWidth : 0.0, q.EndWidth);
            unwritten("Bulge", p.Bulge, q.Bulge);
        });
    }

    void boundary(const HATCH_BOUNDARY_POLYLINE& e, const HATCH_BOUNDARY_POLYLINE& a) {
        flag("HasBulge", e.HasBulge, a.HasBulge);
        flag("IsClosed", e.IsClosed, a.IsClosed);
        integer("VerticesCount", e.VerticesCount, a.VerticesCount);
        std::vector<XYZ> points = e.POINTS;
        std::vector<double> bulges = e.Bulges;
        if (afterSave()) {
            // The writer walks VerticesCount vertices, each X and Y only.
            std::size_t n = e.VerticesCount > 0 ? static_cast<std::size_t>(e.VerticesCount) : 0;
            if (points.size() > n) points.resize(n);
            for (XYZ& p : points) p.Z = 0;
            if (!e.HasBulge) bulges.clear();
            if (bulges.size() > n) bulges.resize(n);
        }
        list("POINTS", points, a.POINTS, [&](const XYZ& p, const XYZ& q) { point("", p, q); });
        list("Bulges", bulges, a.Bulges, [&](double p, double q) { num("", p, q); });
    }

    void hatch(const HATCH_ENT& e, const HATCH_ENT& a) {
        text("Layer", e.Layer, a.Layer);
        text("LineType", e.LineType, a.LineType);
        integer("ColorNumber", e.ColorNumber, a.ColorNumber);
        num("ElevationX", e.ElevationX, a.ElevationX);
        num("ElevationY", e.ElevationY, a.ElevationY);
        num("ElevationZ", e.ElevationZ, a.ElevationZ);
        num("ExtrusionX", e.ExtrusionX, a.ExtrusionX);
        num("ExtrusionY", e.ExtrusionY, a.ExtrusionY);
        num("ExtrusionZ", e.ExtrusionZ, a.ExtrusionZ);
        text("HatchPatterName", e.HatchPatterName, a.HatchPatterName);
        // Saving always writes a solid fill with polyline paths only.
        flag("SolidFill", afterSave() ? true : e.SolidFill, a.SolidFill);
        flag("Associativity", e.Associativity, a.Associativity);
        std::vector<const HATCH_BOUNDARY_POLYLINE*> paths;
        const std::size_t walked = std::min<std::size_t>(e.Boundaries.size(), e.BoundaryCount > 0 ? e.BoundaryCount : 0);
        for (std::size_t i = 0; i < (afterSave() ? walked : e.Boundaries.size()); ++i)
            paths.push_back(e.Boundaries[i].RecordIf<HATCH_BOUNDARY_POLYLINE>());
        if (afterSave()) std::erase(paths, nullptr);
        integer("BoundaryCount", afterSave() ? static_cast<int64_t>(paths.size()) : e.BoundaryCount, a.BoundaryCount);
        count("Boundaries", static_cast<int64_t>(paths.size()), static_cast<int64_t>(a.Boundaries.size()));
        for (std::size_t i = 0; i < paths.size() && i < a.Boundaries.size(); ++i) {
            Scope s(*this, "Boundaries[" + std::to_string(i) + "]");
            const auto* got = a.Boundaries[i].RecordIf<HATCH_BOUNDARY_POLYLINE>();
            if (!paths[i] || !got) {
                // Only identical models get here with other kinds of entries.
                if (static_cast<bool>(paths[i]) != static_cast<bool>(got) ||
                    e.Boundaries[i].TypeName() != a.Boundaries[i].TypeName())
                    differ("", std::string(e.Boundaries[i].TypeName()), std::string(a.Boundaries[i].TypeName()));
                continue;
            }
            boundary(*paths[i], *got);
        }
        integer("HatchStyle", e.HatchStyle, a.HatchStyle);
        integer("HatchPatternType", e.HatchPatternType, a.HatchPatternType);
        num("PixelSize", e.PixelSize, a.PixelSize);
        integer("SeedPointCount", e.SeedPointCount, a.SeedPointCount);
        std::vector<XYZ> seeds = e.Seedpoints;
        if (afterSave()) {
            std::size_t n = e.SeedPointCount > 0 ? static_cast<std::size_t>(e.SeedPointCount) : 0;
            if (seeds.size() > n) seeds.resize(n);
            for (XYZ& p : seeds) p.Z = 0;
        }
        list("Seedpoints", seeds, a.Seedpoints, [&](const XYZ& p, const XYZ& q) { point("", p, q); });
    }

    CompareOptions o_;
    std::vector<std::string> diffs_;
    std::size_t total_ = 0;
    std::string path_;
};

}  // namespace ormavec::testing
