// Generated models (header, tables, entities of every kind, blocks) saved in
// both modes and loaded back come back as the comparison of model_compare.h
// expects; a Standard save numbers every object once, below the handle seed,
// and names each object's owner.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "model_compare.h"
#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;
namespace gen = rc::gen;
using ormavec::testing::CompareOptions;
using ormavec::testing::ModelComparer;

namespace {

// Names and texts: no "e" or "k", so that no value is a word the readers
// look for by value alone (ENDSEC, ENDTAB, LAYER, BLOCK, ...).
std::string Text() {
    static const std::vector<std::string> glyphs = {"a", "b", "x", "Z", "0", "9", " ", "_", "é", "Ő", "€", "ж", "\xF0\x9F\x99\x82"};
    std::string s;
    for (const std::string& g : *gen::container<std::vector<std::string>>(*gen::inRange(0, 8), gen::elementOf(glyphs))) s += g;
    return s;
}

template <class T>
std::vector<T> Some(int most, T (*make)()) {
    std::vector<T> v(static_cast<std::size_t>(*gen::inRange(0, most + 1)));
    for (T& x : v) x = make();
    return v;
}

template <class R>
R Random();

// A value for a field by its type; shared collections and hatch paths are
// left to the record's own rule below.
template <class M>
void Fill(M& m) {
    if constexpr (std::is_same_v<M, double>) m = *gen::map(gen::inRange(-(1 << 30), 1 << 30), [](int v) { return v / 1024.0; });
    else if constexpr (std::is_same_v<M, int32_t>) m = *gen::inRange(-3, 300);
    else if constexpr (std::is_same_v<M, bool>) m = *gen::arbitrary<bool>();
    else if constexpr (std::is_same_v<M, std::string>) m = Text();
    else if constexpr (requires { Fields<M>::list; }) m = Random<M>();
    else if constexpr (requires { Fields<typename M::value_type>::list; }) m = Some<typename M::value_type>(3, Random);
    else if constexpr (std::is_same_v<M, std::vector<double>>) m = Some<double>(3, [] { return 0.5; });
}

template <class R>
void Rule(R&) {}
// Counts no larger than their lists, so that the writer has what it walks.
void Rule(LTYPES_TAB& r) { r.LineElementCount = *gen::inRange(0, static_cast<int>(r.Pattern.size()) + 1); }
void Rule(HATCH_BOUNDARY_POLYLINE& r) {
    r.Bulges.assign(r.POINTS.size(), 0.25);
    r.VerticesCount = *gen::inRange(0, static_cast<int>(r.POINTS.size()) + 1);
}
void Rule(HATCH_ENT& r) {
    for (int i = *gen::inRange(0, 3); i > 0; --i)
        r.Boundaries.push_back(*gen::arbitrary<bool>() ? Variant::FromRecord(Random<HATCH_BOUNDARY_POLYLINE>()) : Variant());
    r.BoundaryCount = *gen::inRange(0, static_cast<int>(r.Boundaries.size()) + 1);
    r.SeedPointCount = *gen::inRange(0, static_cast<int>(r.Seedpoints.size()) + 1);
}
// Polylines have vertices; the face records (flag 128) are kept apart.
void Rule(LWPOLYLINE_ENT& r) { r.POINTS.push_back(Random<LWVERTEX>()); }
void Rule(POLYLINE_ENT& r) {
    r.Vertices.push_back(Random<VERTEX_ENT>());
    for (VERTEX_ENT& v : r.Vertices) v.VertexFlag = v.VertexFlag == 128 ? 0 : v.VertexFlag;
    for (VERTEX_ENT& v : r.CommandVertices) v.VertexFlag = 128;
}
void Rule(INSERT_ENT& r) {
    if (!*gen::arbitrary<bool>()) return;
    r.ATTRIBS = std::make_shared<ATTRIBS>();
    for (const ATTRIB_ENT& a : Some<ATTRIB_ENT>(2, Random)) r.ATTRIBS->Add(a);
}

// One entity set: up to one record of every kind it holds.
template <class Set>
void FillSet(const Set& set) {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K>)
            for (const auto& r : Some<KindRecord<K>>(1, Random)) ListIn<K>(set)->Add(r);
    });
}

template <class R>
R Random() {
    R r{};
    ForEachFieldDecl<R>([&](const auto& f) { Fill(r.*f.member); });
    Rule(r);
    return r;
}

// Header values, table entries, entities and blocks, one of them maybe a
// model or paper space of its own.
void RandomModel(DXFDocument& doc) {
    doc.HEADER()->SetAcadVer(*gen::element(0, 1009, 1015, 1018, 1021));
    doc.HEADER()->SetExtMin(Random<XYZ>());
    doc.HEADER()->SetExtMax(Random<XYZ>());
    doc.HEADER()->SetInsBase(Random<XYZ>());
    for (const auto& r : Some<LAYERS_TAB>(3, Random)) doc.TABLES()->LAYERS()->Add(r);
    for (const auto& r : Some<LTYPES_TAB>(3, Random)) doc.TABLES()->LTYPES()->Add(r);
    for (const auto& r : Some<STYLES_TAB>(3, Random)) doc.TABLES()->STYLES()->Add(r);
    FillSet(*doc.ENTITIES());
    for (int i = *gen::inRange(0, 3); i > 0; --i) {
        BLOCK_BLOCK b = Random<BLOCK_BLOCK>();
        if (*gen::inRange(0, 4) == 0) b.BlockName = *gen::element<std::string>("*Model_Space", "*PAPER_SPACE", "*Paper_Space7");
        BLOCKS::CreateEntityArrays(b);
        FillSet(b);
        doc.BLOCKS()->Add(b);
    }
}

// Saves in the mode and loads back; a Standard save is read with Auto and
// its additions (the version it declares, the styles texts name) undone.
std::vector<std::string> RoundTrip(DXFDocument& doc, SaveMode mode, std::string* text = nullptr) {
    TempDir dir;
    doc.SetSaveMode(mode);
    doc.Save(dir / "m.dxf");
    if (text) *text = ReadFile(dir / "m.dxf");
    DXFDocument back;
    CompareOptions options;
    options.textKept = mode == SaveMode::Standard;
    ModelComparer comparer(options);
    if (options.textKept) back.SetTextConvertMode(TextConvertMode::Auto);
    back.Load(dir / "m.dxf");
    if (options.textKept) {
        back.HEADER()->SetAcadVer(doc.HEADER()->AcadVer());
        STYLES& styles = *back.TABLES()->STYLES();
        for (int32_t i = styles.Count() - 1; i >= 0; --i)
            if (std::none_of(doc.TABLES()->STYLES()->begin(), doc.TABLES()->STYLES()->end(),
                             [&](const STYLES_TAB& s) { return EqualsNoCase(comparer.SavedText(s.StyleName), styles.Item(i).StyleName); }))
                styles.Delete(i);
    }
    return comparer.Compare(doc, back);
}

}  // namespace

// The version mode is per thread: set for a test and restored after it.
struct VersionModeScope {
    int16_t before = DXFDocument().VersionMode();
    explicit VersionModeScope(int16_t mode) { DXFDocument().SetVersionMode(mode); }
    ~VersionModeScope() { DXFDocument().SetVersionMode(before); }
};

RC_GTEST_PROP(ModelRoundTrip, GeneratedModelComesBackEqualInBothModes, ()) {
    VersionModeScope mode(6);  // the hatches of blocks are read
    DXFDocument doc;
    RandomModel(doc);
    for (SaveMode m : {SaveMode::Classic, SaveMode::Standard}) RC_ASSERT(RoundTrip(doc, m) == std::vector<std::string>{});
}

namespace {

// One object of a file: its 0 pair and the pairs up to the next one.
struct FileObject {
    std::string section, type;
    std::vector<std::pair<std::string, std::string>> pairs;
    std::string Get(std::string_view code) const {
        for (const auto& [c, v] : pairs)
            if (c == code) return v;
        return "";
    }
};

std::vector<FileObject> FileObjects(const std::string& text) {
    const std::vector<std::string> lines = SplitCrLf(text);
    std::vector<FileObject> out;
    std::string section;
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
        if (lines[i] != "0") {
            if (!out.empty()) out.back().pairs.emplace_back(lines[i], lines[i + 1]);
        }
        else if (lines[i + 1] == "SECTION")
            section = lines[(i += 2) + 1];
        else if (lines[i + 1] != "ENDSEC" && lines[i + 1] != "ENDTAB" && lines[i + 1] != "EOF")
            out.push_back({section, lines[i + 1], {}});
    }
    return out;
}

int Hex(const std::string& s) {
    int v = -1;
    std::from_chars(s.data(), s.data() + s.size(), v, 16);
    return v;
}

}  // namespace

// Right after its handle (a DIMSTYLE entry's under 105, a table's after its
// name) every object names its owner under 330: a table none ("0"), an entry
// its table, an entity its block's record (the model space's in ENTITIES), an
// ATTRIB, VERTEX or SEQEND the entity it follows, an object its dictionary.
// Each model or paper space record names its layout, which names it back.
RC_GTEST_PROP(StandardOutput, NumbersEveryObjectOnceAndNamesItsOwner, ()) {
    DXFDocument doc;
    RandomModel(doc);
    TempDir dir;
    doc.SetSaveMode(SaveMode::Standard);
    doc.Save(dir / "s.dxf");
    const std::string text = ReadFile(dir / "s.dxf");
    const std::size_t seedAt = text.find("$HANDSEED\r\n5\r\n") + 14;
    const int seed = Hex(text.substr(seedAt, text.find('\r', seedAt) - seedAt));
    std::map<int, std::string> handles;
    std::map<std::string, std::string> recordOf, layoutOf, recordOfLayout;
    std::string table, block, modelSpace, sequenceOwner, root;
    for (const FileObject& o : FileObjects(text)) {
        if (o.section == "CLASSES") continue;
        const std::size_t at = o.type == "TABLE" ? 1 : 0;
        RC_ASSERT(o.pairs.size() > at + 1);
        RC_ASSERT((o.pairs[at].first == "5" || (o.pairs[at].first == "105" && o.type == "DIMSTYLE")));
        const std::string handle = o.pairs[at].second;
        RC_ASSERT(handles.emplace(Hex(handle), o.type).second);
        RC_ASSERT(Hex(handle) > 0 && Hex(handle) < seed);
        RC_ASSERT(o.pairs[at + 1].first == "330");
        RC_ASSERT(std::count_if(o.pairs.begin(), o.pairs.end(), [](const auto& p) { return p.first == "330"; }) ==
                  (o.type == "LAYOUT" ? 2 : 1));  // a layout's second one is its record
        const std::string owner = o.pairs[at + 1].second;
        if (o.type == "TABLE") {
            RC_ASSERT(owner == "0");
            table = handle;
        } else if (o.section == "TABLES") {
            RC_ASSERT(owner == table);
            if (o.type != "BLOCK_RECORD") continue;
            const std::string name = LowerCase(o.Get("2"));
            recordOf[o.Get("2")] = handle;
            if (name == "*model_space" && modelSpace.empty()) modelSpace = handle;
            RC_ASSERT(o.Get("340").empty() == !(handle == modelSpace || name.starts_with("*paper_space")));
            if (!o.Get("340").empty()) layoutOf[handle] = o.Get("340");
        } else if (o.section == "BLOCKS" || o.section == "ENTITIES") {
            if (o.type == "BLOCK") block = o.Get("2");
            if (o.type == "ATTRIB" || o.type == "VERTEX" || o.type == "SEQEND") {
                RC_ASSERT(owner == sequenceOwner);
            } else {
                RC_ASSERT(owner == (o.section == "ENTITIES" ? modelSpace : recordOf.at(block)));
                sequenceOwner = handle;
            }
        } else if (o.section == "OBJECTS") {
            RC_ASSERT((owner == "0") == root.empty());  // only the root dictionary, the first object
            root = handle;
            if (o.type == "LAYOUT") recordOfLayout[handle] = o.pairs.back().second;
        }
    }
    for (const auto& [record, layout] : layoutOf) RC_ASSERT(recordOfLayout.at(layout) == record);
    RC_ASSERT(layoutOf.size() == recordOfLayout.size());
}

// A Standard save declares the version of the structure it writes (AC1015 at
// least; the model keeps its own) and the code page of its bytes, escapes the
// characters the code page lacks, and from AC1021 on writes UTF-8; the
// classic output names 1250 whatever it wrote and replaces them with "?".
TEST(StandardOutput, DeclaresItsVersionAndCodePageAndEncodesTexts) {
    const struct {
        int32_t acadVer;
        SaveMode mode;
        CodePage bytes;
        const char* version;  // nullptr: neither version nor code page written
        const char* named;
        const char* layer;
    } cases[] = {
        {0, SaveMode::Standard, CodePage::Windows1250, "AC1015", "ANSI_1250", "K\xF5\\U+0436"},
        {1014, SaveMode::Standard, CodePage::Windows1252, "AC1015", "ANSI_1252", "K\\U+0151\\U+0436"},
        {1018, SaveMode::Standard, CodePage::Windows1252, "AC1018", "ANSI_1252", "K\\U+0151\\U+0436"},
        {1021, SaveMode::Standard, CodePage::Windows1250, "AC1021", "ANSI_1250", "Kőж"},
        {1009, SaveMode::Classic, CodePage::Windows1252, "AC1009", "ANSI_1250", "K??"},
        {15, SaveMode::Classic, CodePage::Windows1250, "AC0015", "ANSI_1250", "K\xF5?"},
        {0, SaveMode::Classic, CodePage::Windows1250, nullptr, nullptr, "K\xF5?"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.acadVer);
        TempDir dir;
        DXFDocument doc;
        doc.SetCodePage(c.bytes);
        doc.SetSaveMode(c.mode);
        doc.HEADER()->SetAcadVer(c.acadVer);
        doc.TABLES()->LAYERS()->Add(LAYERS_TAB{"Kőж", "", 1, 0});
        doc.Save(dir / "v.dxf");
        const std::string text = ReadFile(dir / "v.dxf");
        const std::string head = "0\r\nSECTION\r\n2\r\nHEADER\r\n9\r\n";
        const std::string version = c.version ? std::string("$ACADVER\r\n1\r\n") + c.version + "\r\n9\r\n$ACADMAINTVER\r\n70\r\n0\r\n9\r\n$DWGCODEPAGE\r\n3\r\n" + c.named + "\r\n9\r\n" : "";
        EXPECT_TRUE(text.starts_with(head + version + "$EXTMIN")) << text.substr(0, 200);
        EXPECT_NE(text.find(std::string("AcDbLayerTableRecord\r\n2\r\n") + c.layer + "\r\n"), std::string::npos);
        EXPECT_EQ(text.find("$HANDSEED\r\n5\r\n999999\r\n") == std::string::npos, c.mode == SaveMode::Standard);
        EXPECT_EQ(doc.HEADER()->AcadVer(), c.acadVer);
    }
}

// A Standard file defines every text style its texts name (once, without
// regard to case); the model's table stays as it was.
TEST(StandardOutput, DefinesTheTextStylesTextsName) {
    DXFDocument doc;
    doc.TABLES()->STYLES()->Add(STYLES_TAB{"Standard", "txt.shx", 0, 0, 0, 0, 0, 0});
    for (const char* style : {"Titles", "TITLES", "standard", "Notes"}) {
        TEXT_ENT t;
        t.TextStyleName = style;
        doc.ENTITIES()->TEXTS()->Add(t);
    }
    for (SaveMode mode : {SaveMode::Standard, SaveMode::Classic}) {
        TempDir dir;
        doc.SetSaveMode(mode);
        doc.Save(dir / "t.dxf");
        std::vector<std::string> names;
        for (const FileObject& o : FileObjects(ReadFile(dir / "t.dxf")))
            if (o.type == "STYLE") names.push_back(o.Get("2"));
        EXPECT_EQ(names, (mode == SaveMode::Standard ? std::vector<std::string>{"Standard", "Titles", "Notes"}
                                                     : std::vector<std::string>{"Standard"}));
    }
    EXPECT_EQ(doc.TABLES()->STYLES()->Count(), 1);
}
