// Saving. A new document saves as the complete file typed below from the
// tables of the format. Generated models (header, tables, entities of every
// kind, blocks) saved in both modes and loaded back come back as the
// comparison of model_compare.h expects; a Standard save numbers every object
// once, below the handle seed, and names each object's owner.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "document/save_context.h"
#include "model_compare.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;
namespace gen = rc::gen;
using ormavec::testing::CompareOptions;
using ormavec::testing::ModelComparer;
using ormavec::testing::VersionModeScope;

namespace {

constexpr std::string_view kEmptyDocument = R"(
    0 SECTION
    2 HEADER
    9 $EXTMIN
    10 0.
    20 0.
    30 0.
    9 $EXTMAX
    10 0.
    20 0.
    30 0.
    9 $INSBASE
    10 0.
    20 0.
    30 0.
    9 $LTSCALE
    40 1
    9 $LUNITS
    70 2
    9 $LUPREC
    70 10
    9 $HANDLING
    70 0
    9 $HANDSEED
    5 999999
    0 ENDSEC
    0 SECTION
    2 CLASSES
    0 CLASS
    1 LWPOLYLINE
    2 AcDbPolyline
    3 AutoCAD
    90 0
    280 0
    281 1
    0 CLASS
    1 WIPEOUT
    2 AcDbWipeout
    3 WIPEOUT
    90 127
    280 0
    281 1
    0 CLASS
    1 WIPEOUTVARIABLES
    2 AcDbWipeoutVariables
    3 WIPEOUT
    90 0
    280 2
    281 0
    0 ENDSEC
    0 SECTION
    2 TABLES
    0 TABLE
    2 VPORT
    5 1
    100 AcDbSymbolTable
    70 0
    0 VPORT
    5 2
    100 AcDbSymbolTableRecord
    100 AcDbViewportTableRecord
    70 0
    2 *ACTIVE
    10 0.
    20 0.
    11 1.
    21 1.
    12 0.
    22 0.
    13 0.
    23 0.
    14 0.5
    24 0.5
    15 0.5
    25 0.5
    16 0.
    26 0.
    36 1.
    17 0.
    27 0.
    37 0.
    40 0.
    41 1.826004
    42 50.
    43 0.
    44 0.
    50 0.
    51 0.
    71 0
    72 100
    73 1
    74 1
    75 0
    76 0
    77 0
    78 0
    0 ENDTAB
    0 TABLE
    2 LTYPE
    5 3
    100 AcDbSymbolTable
    70 0
    0 LTYPE
    5 4
    100 AcDbSymbolTableRecord
    100 AcDbLinetypeTableRecord
    2 ByBlock
    70 0
    3
    72 65
    73 0
    40 0.
    0 LTYPE
    5 5
    100 AcDbSymbolTableRecord
    100 AcDbLinetypeTableRecord
    2 ByLayer
    70 0
    3
    72 65
    73 0
    40 0.
    0 ENDTAB
    0 TABLE
    2 LAYER
    5 6
    100 AcDbSymbolTable
    70 0
    0 LAYER
    5 7
    100 AcDbSymbolTableRecord
    100 AcDbLayerTableRecord
    2 0
    6 Continuous
    62 1
    70 0
    390 F
    0 ENDTAB
    0 TABLE
    2 STYLE
    5 8
    100 AcDbSymbolTable
    70 0
    0 ENDTAB
    0 TABLE
    2 VIEW
    5 9
    100 AcDbSymbolTable
    70 0
    0 ENDTAB
    0 TABLE
    2 UCS
    5 A
    100 AcDbSymbolTable
    70 0
    0 ENDTAB
    0 TABLE
    2 APPID
    5 B
    100 AcDbSymbolTable
    70 1
    0 APPID
    5 C
    100 AcDbSymbolTableRecord
    100 AcDbRegAppTableRecord
    2 ACAD
    70 0
    0 ENDTAB
    0 TABLE
    2 DIMSTYLE
    5 D
    330 0
    100 AcDbSymbolTable
    70 1
    100 AcDbDimStyleTable
    71 0
    0 DIMSTYLE
    105 E
    100 AcDbSymbolTableRecord
    100 AcDbDimStyleTableRecord
    2 STANDARD
    70 0
    340 D
    0 ENDTAB
    0 TABLE
    2 BLOCK_RECORD
    5 F
    100 AcDbSymbolTable
    70 0
    0 BLOCK_RECORD
    5 10
    100 AcDbSymbolTableRecord
    100 AcDbBlockTableRecord
    2 *MODEL_SPACE
    0 BLOCK_RECORD
    5 11
    100 AcDbSymbolTableRecord
    100 AcDbBlockTableRecord
    2 *PAPER_SPACE
    0 ENDTAB
    0 ENDSEC
    0 SECTION
    2 BLOCKS
    0 BLOCK
    5 12
    100 AcDbEntity
    8 0
    100 AcDbBlockBegin
    2 *MODEL_SPACE
    70 0
    10 0.
    20 0.
    30 0.
    3 *MODEL_SPACE
    1
    0 ENDBLK
    5 13
    100 AcDbEntity
    8 0
    100 AcDbBlockEnd
    0 BLOCK
    5 14
    100 AcDbEntity
    8 0
    67 1
    100 AcDbBlockBegin
    2 *PAPER_SPACE
    70 0
    10 0.
    20 0.
    30 0.
    3 *PAPER_SPACE
    1
    0 ENDBLK
    5 15
    100 AcDbEntity
    8 0
    67 1
    100 AcDbBlockEnd
    0 ENDSEC
    0 SECTION
    2 ENTITIES
    0 ENDSEC
    0 SECTION
    2 OBJECTS
    0 DICTIONARY
    5 16
    100 AcDbDictionary
    3 ACAD_GROUP
    350 17
    3 ACAD_MLINESTYLE
    350 18
    0 DICTIONARY
    5 17
    100 AcDbDictionary
    0 DICTIONARY
    5 19
    100 AcDbDictionary
    0 DICTIONARY
    5 18
    100 AcDbDictionary
    3 STANDARD
    350 1A
    0 MLINESTYLE
    5 1A
    100 AcDbMlineStyle
    2 STANDARD
    70 0
    3
    62 0
    51 90.
    52 90.
    71 2
    49 0.5
    62 256
    6 BYLAYER
    49 -0.5
    62 256
    6 BYLAYER
    0 ENDSEC
    0 EOF
)";


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
    doc.SetCodePage(*gen::element(CodePage::Windows1250, CodePage::Windows1252));
    doc.HEADER()->SetAcadVer(*gen::element(0, 1009, 1015, 1018, 1021));
    doc.HEADER()->SetExtMin(Random<XYZ>());
    doc.HEADER()->SetExtMax(Random<XYZ>());
    doc.HEADER()->SetInsBase(Random<XYZ>());
    for (const auto& r : Some<LAYERS_TAB>(3, Random)) doc.TABLES()->LAYERS()->Add(r);
    for (const auto& r : Some<LTYPES_TAB>(3, Random)) doc.TABLES()->LTYPES()->Add(r);
    for (const auto& r : Some<STYLES_TAB>(3, Random)) doc.TABLES()->STYLES()->Add(r);
    FillSet(*doc.ENTITIES());
    std::string specials;
    for (int i = *gen::inRange(0, 3); i > 0; --i) {
        BLOCK_BLOCK b = Random<BLOCK_BLOCK>();
        // Names stay distinct: a block whose name is already present is not read again.
        if (i == 1) b.BlockName += "#";
        if (*gen::inRange(0, 4) == 0) {
            const std::string name = *gen::element<std::string>("*Model_Space", "*PAPER_SPACE", "*Paper_Space7");
            if (specials.find(name) == std::string::npos) b.BlockName = name, specials += name;
        }
        BLOCKS::CreateEntityArrays(b);
        FillSet(b);
        doc.BLOCKS()->Add(b);
    }
}

// Saves in the mode and loads back; a Standard save is read with Auto and
// its additions (the version it declares, the styles texts name) undone.
std::vector<std::string> RoundTrip(DXFDocument& doc, SaveMode mode, std::string* text = nullptr, bool binary = false) {
    TempDir dir;
    doc.SetSaveMode(mode);
    doc.SetBinary(binary);
    doc.Save(dir / "m.dxf");
    if (text) *text = ReadFile(dir / "m.dxf");
    DXFDocument back;
    CompareOptions options;
    options.textKept = mode == SaveMode::Standard;
    options.exactNumbers = binary;
    options.codePage = doc.CodePage();
    back.SetCodePage(doc.CodePage());
    ModelComparer comparer(options);
    if (options.textKept) back.SetTextConvertMode(TextConvertMode::Auto);
    back.Load(dir / "m.dxf");
    if (options.textKept) {
        back.HEADER()->SetAcadVer(doc.HEADER()->AcadVer());
        // The text styles, line types, layers and blocks records name and the
        // tables lack are added (the fixed ones are the comparer's).
        const auto dropAdded = [&](auto& added, const auto& had, std::initializer_list<std::string_view> fixed = {}) {
            using Table = std::decay_t<decltype(added)>;
            for (int32_t i = added.Count() - 1; i >= 0; --i) {
                const std::string name(Table::NameOf(added.ItemRef(i)));
                if (std::none_of(fixed.begin(), fixed.end(), [&](std::string_view f) { return EqualsNoCase(f, name); }) &&
                    std::none_of(had.begin(), had.end(), [&](const auto& r) { return EqualsNoCase(comparer.SavedText(Table::NameOf(r)), name); }))
                    added.Delete(i);
            }
        };
        dropAdded(*back.TABLES()->STYLES(), *doc.TABLES()->STYLES());
        dropAdded(*back.TABLES()->LTYPES(), *doc.TABLES()->LTYPES(), {"ByBlock", "ByLayer"});
        dropAdded(*back.TABLES()->LAYERS(), *doc.TABLES()->LAYERS(), {"0"});
        dropAdded(*back.BLOCKS(), *doc.BLOCKS(), {"*Model_Space", "*Paper_Space"});
    }
    return comparer.Compare(doc, back);
}

}  // namespace

RC_GTEST_PROP(ModelRoundTrip, GeneratedModelComesBackEqualInBothModes, ()) {
    VersionModeScope mode(6);  // the hatches of blocks are read
    DXFDocument doc;
    RandomModel(doc);
    for (SaveMode m : {SaveMode::Classic, SaveMode::Standard}) RC_ASSERT(RoundTrip(doc, m) == std::vector<std::string>{});
}

// Binary saves: one-byte group codes for a classic save of a version before
// AC1012, 16-bit ones otherwise; both come back as the model. Any cut of the
// file fails with the byte offset where the pair starts, or loads what it holds.
RC_GTEST_PROP(ModelRoundTrip, BinarySaveComesBackEqualAndItsCutsFailByOffset, ()) {
    VersionModeScope mode(6);
    DXFDocument doc;
    RandomModel(doc);
    std::string bytes;
    for (SaveMode m : {SaveMode::Classic, SaveMode::Standard}) {
        RC_ASSERT(RoundTrip(doc, m, &bytes, true) == std::vector<std::string>{});
        const bool oneByte = m == SaveMode::Classic && doc.HEADER()->AcadVer() < 1012;
        RC_ASSERT(bytes.substr(22, oneByte ? 2 : 3) == (oneByte ? std::string("\0S", 2) : std::string("\0\0S", 3)));
    }
    TempDir dir;
    WriteFile(dir / "cut.dxf", bytes.substr(0, *gen::inRange<std::size_t>(23, bytes.size())));
    DXFDocument cut;
    try {
        cut.Load(dir / "cut.dxf");
        RC_ASSERT(!cut.Warnings().empty());
    } catch (const Error& e) {
        RC_ASSERT(std::string(e.what()).find("cut.dxf: byte ") != std::string::npos);
    }
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
    std::vector<FileObject> out(1);  // the first holds the header variables
    std::string section;
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
        if (lines[i] != "0")
            out.back().pairs.emplace_back(lines[i], lines[i + 1]);
        else if (lines[i + 1] == "SECTION")
            section = lines[(i += 2) + 1];
        else if (lines[i + 1] != "ENDSEC" && lines[i + 1] != "ENDTAB" && lines[i + 1] != "EOF")
            out.push_back({section, lines[i + 1], {}});
    }
    return out;
}

}  // namespace

// Right after its handle (a DIMSTYLE entry's under 105, a table's after its
// name) every object names its owner under 330: a table none ("0"), an entry
// its table, an entity its block's record (the model space's in ENTITIES), an
// ATTRIB, VERTEX or SEQEND the entity it follows, an object its dictionary.
// Each model or paper space record names its layout, which names it back.
// The handles a save has written: dense ones in a bitmap, far ones beside it.
RC_GTEST_PROP(StandardOutput, HandleSetAgreesWithASet, ()) {
    const auto handles = *gen::container<std::vector<uint32_t>>(
        gen::oneOf(gen::inRange<uint32_t>(0, 3000), gen::inRange<uint32_t>((1u << 27) - 70, (1u << 27) + 70), gen::arbitrary<uint32_t>()));
    HandleSet set;
    std::set<uint32_t> model;
    for (uint32_t h : handles) RC_ASSERT(set.Insert(h) == model.insert(h).second);
    for (uint32_t h = 0; h < 3100; ++h) RC_ASSERT(set.Contains(h) == model.contains(h));
    for (uint32_t h : handles) RC_ASSERT(set.Contains(h) && !set.Insert(h));
}

RC_GTEST_PROP(StandardOutput, NumbersEveryObjectOnceAndNamesItsOwner, ()) {
    DXFDocument doc;
    RandomModel(doc);
    std::string text;
    RoundTrip(doc, SaveMode::Standard, &text);
    const std::size_t seedAt = text.find("$HANDSEED\r\n5\r\n") + 14;
    const int seed = std::stoi(text.substr(seedAt, 8), nullptr, 16);
    std::set<int> handles;
    std::map<std::string, std::string> recordOf, layoutOf, recordOfLayout;
    std::string table, block, modelSpace, sequenceOwner, root;
    for (const FileObject& o : FileObjects(text)) {
        if (o.type.empty() || o.section == "CLASSES") continue;
        const std::size_t at = o.type == "TABLE" ? 1 : 0;
        RC_ASSERT(o.pairs.size() > at + 1);
        RC_ASSERT((o.pairs[at].first == "5" || (o.pairs[at].first == "105" && o.type == "DIMSTYLE")));
        const std::string handle = o.pairs[at].second;
        const int number = std::stoi(handle, nullptr, 16);
        RC_ASSERT(handles.insert(number).second && number > 0 && number < seed);
        RC_ASSERT(o.pairs[at + 1].first == "330");
        RC_ASSERT(std::count_if(o.pairs.begin(), o.pairs.end(), [](const auto& p) { return p.first == "330"; }) ==
                  (o.type == "LAYOUT" ? 2 : 1));  // a layout's second one is its record
        const std::string owner = o.pairs[at + 1].second;
        if (o.section == "TABLES") {
            RC_ASSERT(owner == (o.type == "TABLE" ? "0" : table));
            table = o.type == "TABLE" ? handle : table;
            if (o.type != "BLOCK_RECORD") continue;
            const std::string name = LowerCase(o.Get("2"));
            recordOf[o.Get("2")] = handle;
            if (name == "*model_space" && modelSpace.empty()) modelSpace = handle;
            RC_ASSERT(o.Get("340").empty() == !(handle == modelSpace || name.starts_with("*paper_space")));
            if (!o.Get("340").empty()) layoutOf[handle] = o.Get("340");
        } else if (o.section == "BLOCKS" || o.section == "ENTITIES") {
            // A block is owned by its record; the names are not compared, as
            // the first name above ASCII may be written escaped in one place only.
            if (o.type == "BLOCK") {
                RC_ASSERT(std::any_of(recordOf.begin(), recordOf.end(), [&](const auto& r) { return r.second == owner; }));
                block = owner;
            }
            if (o.type == "ATTRIB" || o.type == "VERTEX" || o.type == "SEQEND") {
                RC_ASSERT(owner == sequenceOwner);
            } else {
                RC_ASSERT(owner == (o.section == "ENTITIES" ? modelSpace : block));
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
// characters the code page lacks, from AC1021 on writes UTF-8, and defines
// the text styles texts name, once per name. The classic output names 1250
// whatever it wrote, replaces those characters with "?" and writes the table.
TEST(StandardOutput, DeclaresItsVersionAndCodePageAndEncodesTexts) {
    const std::tuple<int32_t, SaveMode, CodePage, std::string> cases[] = {
        {1014, SaveMode::Standard, CodePage::Windows1252, "AC1015|ANSI_1252|0 K\\U+0151\\U+0436 Standard Titles Notes "},
        {1021, SaveMode::Standard, CodePage::Windows1250, "AC1021|ANSI_1250|0 Kőж Standard Titles Notes "},
        {15, SaveMode::Classic, CodePage::Windows1252, "AC0015|ANSI_1250|0 K?? Standard "},
    };
    for (const auto& [acadVer, mode, codePage, expected] : cases) {
        DXFDocument doc;
        doc.SetCodePage(codePage);
        doc.HEADER()->SetAcadVer(acadVer);
        doc.TABLES()->LAYERS()->Add(LAYERS_TAB{"Kőж", "", 1, 0});
        doc.TABLES()->STYLES()->Add(STYLES_TAB{"Standard", "txt.shx", 0, 0, 0, 0, 0, 0});
        for (const char* style : {"Titles", "TITLES", "standard", "Notes"}) doc.ENTITIES()->TEXTS()->Add(TEXT_ENT{"", 0, 0, 0, 0, 0, 0, "", 0, 0, 0, style, 0, 0, {}});
        std::string text, names;
        EXPECT_EQ(RoundTrip(doc, mode, &text), std::vector<std::string>{});
        const std::vector<FileObject> objects = FileObjects(text);
        for (const FileObject& o : objects) names += o.type == "LAYER" || o.type == "STYLE" ? o.Get("2") + " " : "";
        EXPECT_EQ(objects[0].Get("1") + "|" + objects[0].Get("3") + "|" + names, expected);
        EXPECT_EQ(doc.HEADER()->AcadVer(), acadVer);
        EXPECT_EQ(doc.TABLES()->STYLES()->Count(), 1);
    }
}

// Loaded back, the entries saving added are ordinary records.
TEST(EmptyDocument, SavesTheWholeFileThatLoadsBackAsItsDefaults) {
    TempDir folder;
    DXFDocument doc;
    doc.Save(folder / "empty.dxf");
    const std::vector<std::string> lines = SplitCrLf(ReadFile(folder / "empty.dxf")), expected = PairLines(kEmptyDocument);
    for (std::size_t i = 0; i < std::min(lines.size(), expected.size()); ++i) ASSERT_EQ(lines[i], expected[i]) << "line " << i + 1;
    EXPECT_EQ(lines.size(), expected.size());
    doc.Load(folder / "empty.dxf");
    EXPECT_EQ(doc.TABLES()->LAYERS()->GetArray(), (std::vector<LAYERS_TAB>{{"0", "Continuous", 1, 0}}));
    EXPECT_EQ(doc.TABLES()->LTYPES()->GetArray(), (std::vector<LTYPES_TAB>{{"ByBlock", "", 0, 0, {}}, {"ByLayer", "", 0, 0, {}}}));
    EXPECT_EQ(doc.BLOCKS()->Count(), 2);
}
