// Standard saves: the declared version matches the structure, the handle
// seed lies above every handle, and every object names its owner.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

struct Pair {
    int code;
    std::string value;
};

// One object of the file: its 0 pair and the pairs up to the next one.
struct FileObject {
    std::string section;
    std::string type;
    std::vector<Pair> pairs;

    std::string Get(int code) const {
        for (const Pair& p : pairs)
            if (p.code == code) return p.value;
        return "<none>";
    }
    int Count(int code) const {
        int n = 0;
        for (const Pair& p : pairs) n += p.code == code;
        return n;
    }
    // The handle: 105 for a DIMSTYLE entry, 5 for everything else.
    std::string Handle() const { return type == "DIMSTYLE" && section == "TABLES" && Count(105) ? Get(105) : Get(5); }
};

std::vector<FileObject> FileObjects(const std::string& text) {
    const std::vector<std::string> lines = SplitCrLf(text);
    std::vector<FileObject> out;
    std::string section;
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
        const int code = std::stoi(lines[i]);
        const std::string& value = lines[i + 1];
        if (code == 0) {
            if (value == "SECTION") {
                section = lines[i + 3];
                i += 2;
                continue;
            }
            if (value == "ENDSEC" || value == "ENDTAB" || value == "EOF") continue;
            out.push_back({section, value, {}});
        } else if (!out.empty()) {
            out.back().pairs.push_back({code, value});
        }
    }
    return out;
}

std::string SaveText(DXFDocument& doc, SaveMode mode) {
    TempDir folder;
    const std::string path = folder / "saved.dxf";
    doc.SetSaveMode(mode);
    doc.Save(path);
    return ReadFile(path);
}

LINE_ENT Line(std::string layer, double x1, double y1) {
    LINE_ENT l;
    l.Layer = std::move(layer);
    l.LineType = "Continuous";
    l.ColorNumber = 256;
    l.EndX = x1;
    l.EndY = y1;
    return l;
}

POLYLINE_ENT Polyline(int vertices) {
    POLYLINE_ENT p;
    p.Layer = "0";
    for (int i = 0; i < vertices; ++i) {
        VERTEX_ENT v;
        v.X = i;
        p.Vertices.push_back(v);
    }
    return p;
}

INSERT_ENT InsertWithAttributes(std::string block, int count) {
    INSERT_ENT i;
    i.BlockName = std::move(block);
    i.XScale = i.YScale = i.ZScale = 1.0;
    i.ATTRIBS = std::make_shared<ATTRIBS>();
    for (int k = 0; k < count; ++k) {
        ATTRIB_ENT a;
        a.TagString = "T" + std::to_string(k);
        i.ATTRIBS->Add(a);
    }
    return i;
}

// A model of the old kind with something of every owner relation: entities
// in ENTITIES and in blocks, attributes, vertices, a second paper space and a
// text whose style the table lacks.
void FillOwnerModel(DXFDocument& doc) {
    doc.HEADER()->SetAcadVer(1009);
    ENTITIES& e = *doc.ENTITIES();
    e.LINES()->Add(Line("0", 1, 1));
    e.POLYLINES()->Add(Polyline(3));
    e.INSERTS()->Add(InsertWithAttributes("Door", 2));
    TEXT_ENT t;
    t.Text = "note";
    t.TextStyleName = "Titles";
    e.TEXTS()->Add(t);

    for (const char* name : {"Door", "*Paper_Space0"}) {
        BLOCK_BLOCK b;
        b.BlockName = name;
        b.LayerName = "0";
        BLOCKS::CreateEntityArrays(b);
        b.LINES->Add(Line("0", 2, 2));
        b.POLYLINES->Add(Polyline(2));
        b.INSERTS->Add(InsertWithAttributes("Window", 1));
        doc.BLOCKS()->Add(b);
    }
}

int Hex(const std::string& s) { return std::stoi(s, nullptr, 16); }

}  // namespace

TEST(StandardOutput, DeclaresTheVersionOfTheStructureWritten) {
    struct Case {
        int32_t acadVer;
        SaveMode mode;
        const char* written;  // nullptr: no $ACADVER
    };
    const Case cases[] = {
        {0, SaveMode::Standard, "AC1015"},    {1006, SaveMode::Standard, "AC1015"}, {1009, SaveMode::Standard, "AC1015"},
        {1014, SaveMode::Standard, "AC1015"}, {1015, SaveMode::Standard, "AC1015"}, {1018, SaveMode::Standard, "AC1018"},
        {1009, SaveMode::Classic, "AC1009"},  {0, SaveMode::Classic, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE("AcadVer " + std::to_string(c.acadVer));
        DXFDocument doc;
        doc.HEADER()->SetAcadVer(c.acadVer);
        const std::string text = SaveText(doc, c.mode);
        const std::size_t at = text.find("9\r\n$ACADVER\r\n1\r\n");
        if (!c.written) {
            EXPECT_EQ(at, std::string::npos);
        } else {
            ASSERT_NE(at, std::string::npos);
            EXPECT_EQ(text.substr(at + 16, 8), std::string(c.written) + "\r\n");
        }
        EXPECT_EQ(doc.HEADER()->AcadVer(), c.acadVer);  // the model keeps its own
        if (c.mode == SaveMode::Standard) {
            EXPECT_EQ(text.find("$HANDSEED\r\n5\r\n999999\r\n"), std::string::npos);
            EXPECT_NE(text.find("9\r\n$DWGCODEPAGE\r\n"), std::string::npos);
        }
    }
}

// A reader takes the code page of the bytes from $DWGCODEPAGE: a Standard
// save names the one it wrote, the classic output always 1250.
TEST(StandardOutput, NamesTheCodePageOfItsBytes) {
    struct Case {
        CodePage codePage;
        SaveMode mode;
        int32_t acadVer;
        const char* named;
    };
    const Case cases[] = {
        {CodePage::Windows1250, SaveMode::Standard, 1015, "ANSI_1250"},
        {CodePage::Windows1252, SaveMode::Standard, 1015, "ANSI_1252"},
        {CodePage::Windows1252, SaveMode::Standard, 1009, "ANSI_1252"},
        {CodePage::Windows1252, SaveMode::Standard, 1021, "ANSI_1252"},
        {CodePage::Windows1252, SaveMode::Classic, 1015, "ANSI_1250"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.named) + " for AcadVer " + std::to_string(c.acadVer));
        DXFDocument doc;
        doc.SetCodePage(c.codePage);
        doc.HEADER()->SetAcadVer(c.acadVer);
        const std::string text = SaveText(doc, c.mode);
        EXPECT_NE(text.find("9\r\n$DWGCODEPAGE\r\n3\r\n" + std::string(c.named) + "\r\n"), std::string::npos);
    }
}

TEST(StandardOutput, HandleSeedLiesAboveEveryHandle) {
    struct Case {
        const char* name;
        void (*fill)(DXFDocument&);
    };
    const Case cases[] = {
        {"empty", [](DXFDocument&) {}},
        {"every owner relation", FillOwnerModel},
        {"many vertices and attributes",
         [](DXFDocument& doc) {
             for (int i = 0; i < 50; ++i) doc.ENTITIES()->POLYLINES()->Add(Polyline(40));
             for (int i = 0; i < 30; ++i) doc.ENTITIES()->INSERTS()->Add(InsertWithAttributes("X", 20));
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DXFDocument doc;
        c.fill(doc);
        const std::string text = SaveText(doc, SaveMode::Standard);
        const std::vector<FileObject> objects = FileObjects(text);
        const std::size_t at = text.find("$HANDSEED\r\n5\r\n");
        ASSERT_NE(at, std::string::npos);
        const int seed = Hex(text.substr(at + 14, text.find('\r', at + 14) - (at + 14)));
        std::map<int, int> seen;
        int last = 0;
        for (const FileObject& o : objects) {
            if (o.section == "CLASSES") continue;
            const std::string h = o.Handle();
            ASSERT_NE(h, "<none>") << o.type << " in " << o.section << " has no handle";
            const int value = Hex(h);
            EXPECT_EQ(++seen[value], 1) << "handle " << h << " twice";
            last = std::max(last, value);
        }
        EXPECT_GT(seed, last);
    }
}

TEST(StandardOutput, EveryObjectNamesItsOwner) {
    DXFDocument doc;
    FillOwnerModel(doc);
    const std::vector<FileObject> objects = FileObjects(SaveText(doc, SaveMode::Standard));

    std::map<std::string, std::string> recordOfBlock;  // block name -> BLOCK_RECORD handle
    std::map<std::string, std::string> layoutOfRecord, recordOfLayout;
    std::string table, block, sequenceOwner;
    bool root = true;
    int checked = 0;
    for (const FileObject& o : objects) {
        SCOPED_TRACE(o.section + " " + o.type + " " + o.Handle());
        // The owner comes right after the handle.
        const std::vector<Pair>& p = o.pairs;
        ASSERT_GE(p.size(), 2u);
        if (o.section == "CLASSES") continue;
        const std::size_t handleAt = o.type == "TABLE" ? 1 : 0;  // after the table's name
        EXPECT_TRUE(p[handleAt].code == 5 || p[handleAt].code == 105);
        if (o.type == "LAYOUT") {
            // The second 330 of a layout is its block record.
            EXPECT_EQ(o.Count(330), 2);
            recordOfLayout[o.Handle()] = p.back().value;
        } else {
            EXPECT_EQ(o.Count(330), 1);
        }
        ASSERT_EQ(p[handleAt + 1].code, 330);
        const std::string owner = p[handleAt + 1].value;
        ++checked;

        if (o.section == "TABLES") {
            if (o.type == "TABLE") {
                EXPECT_EQ(owner, "0");
                table = o.Handle();
                continue;
            }
            EXPECT_EQ(owner, table);
            if (o.type == "BLOCK_RECORD") {
                recordOfBlock[o.Get(2)] = o.Handle();
                if (o.Count(340)) layoutOfRecord[o.Handle()] = o.Get(340);
            }
        } else if (o.section == "BLOCKS" || o.section == "ENTITIES") {
            if (o.type == "BLOCK") block = o.Get(2);
            const std::string container = o.section == "ENTITIES" ? recordOfBlock.at("*MODEL_SPACE") : recordOfBlock.at(block);
            if (o.type == "ATTRIB" || o.type == "VERTEX" || o.type == "SEQEND") {
                EXPECT_EQ(owner, sequenceOwner);
            } else {
                EXPECT_EQ(owner, container);
                sequenceOwner = o.Handle();
            }
        } else if (o.section == "OBJECTS") {
            EXPECT_EQ(owner == "0", root);  // only the root dictionary, the first object, has none
            root = false;
        }
    }
    EXPECT_GT(checked, 40);

    // Model and paper spaces and their layouts point at each other.
    ASSERT_EQ(layoutOfRecord.size(), 3u);
    for (const char* name : {"*MODEL_SPACE", "*PAPER_SPACE", "*Paper_Space0"}) {
        SCOPED_TRACE(name);
        const std::string record = recordOfBlock.at(name);
        ASSERT_TRUE(layoutOfRecord.contains(record));
        EXPECT_EQ(recordOfLayout.at(layoutOfRecord.at(record)), record);
    }
    EXPECT_FALSE(layoutOfRecord.contains(recordOfBlock.at("Door")));
}

TEST(StandardOutput, DefinesTheTextStylesTextsNameWithoutChangingTheModel) {
    DXFDocument doc;
    STYLES_TAB standard;
    standard.StyleName = "Standard";
    standard.FontName = "txt.shx";
    doc.TABLES()->STYLES()->Add(standard);
    for (const char* style : {"Titles", "TITLES", "standard", "Notes"}) {
        TEXT_ENT t;
        t.TextStyleName = style;
        doc.ENTITIES()->TEXTS()->Add(t);
    }
    auto styleNames = [](const std::string& text) {
        std::vector<std::string> names;
        for (const FileObject& o : FileObjects(text))
            if (o.section == "TABLES" && o.type == "STYLE") names.push_back(o.Get(2));
        return names;
    };
    EXPECT_EQ(styleNames(SaveText(doc, SaveMode::Standard)), (std::vector<std::string>{"Standard", "Titles", "Notes"}));
    EXPECT_EQ(styleNames(SaveText(doc, SaveMode::Classic)), (std::vector<std::string>{"Standard"}));
    EXPECT_EQ(doc.TABLES()->STYLES()->Count(), 1);
}

// The whole structure after the fixed tables for one line in an empty model:
// BLOCK_RECORD table, BLOCKS and ENTITIES, and the head of OBJECTS.
TEST(StandardOutput, WritesTheExpectedPairsOfOneLine) {
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1009);
    doc.ENTITIES()->LINES()->Add(Line("Walls", 1, 2));
    const std::vector<std::string> lines = SplitCrLf(SaveText(doc, SaveMode::Standard));

    auto slice = [&](std::string_view code, std::string_view value, std::size_t count) {
        for (std::size_t i = 0; i + 1 < lines.size(); i += 2)
            if (lines[i] == code && lines[i + 1] == value)
                return std::vector<std::string>(lines.begin() + static_cast<std::ptrdiff_t>(i),
                                                lines.begin() + static_cast<std::ptrdiff_t>(std::min(lines.size(), i + count)));
        return std::vector<std::string>{};
    };

    const std::vector<std::string> structure = PairLines(R"(
        2 BLOCK_RECORD
        5 F
        330 0
        100 AcDbSymbolTable
        70 0
        0 BLOCK_RECORD
        5 10
        330 F
        100 AcDbSymbolTableRecord
        100 AcDbBlockTableRecord
        2 *MODEL_SPACE
        340 11
        0 BLOCK_RECORD
        5 12
        330 F
        100 AcDbSymbolTableRecord
        100 AcDbBlockTableRecord
        2 *PAPER_SPACE
        340 13
        0 ENDTAB
        0 ENDSEC
        0 SECTION
        2 BLOCKS
        0 BLOCK
        5 14
        330 10
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
        5 15
        330 10
        100 AcDbEntity
        8 0
        100 AcDbBlockEnd
        0 BLOCK
        5 16
        330 12
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
        5 17
        330 12
        100 AcDbEntity
        8 0
        67 1
        100 AcDbBlockEnd
        0 ENDSEC
        0 SECTION
        2 ENTITIES
        0 LINE
        5 18
        330 10
        100 AcDbEntity
        8 Walls
        6 Continuous
        62 256
        100 AcDbLine
        39 0.
        10 0.
        20 0.
        30 0.
        11 1.
        21 2.
        31 0.
        0 ENDSEC
        0 SECTION
        2 OBJECTS
        0 DICTIONARY
        5 19
        330 0
        100 AcDbDictionary
        3 ACAD_GROUP
        350 1A
        3 ACAD_LAYOUT
        350 1B
        3 ACAD_MLINESTYLE
        350 1C
        0 DICTIONARY
        5 1A
        330 19
        100 AcDbDictionary
        0 DICTIONARY
        5 1B
        330 19
        100 AcDbDictionary
        3 Model
        350 11
        3 Layout1
        350 13
        0 LAYOUT
        5 11
        330 1B
        100 AcDbPlotSettings
    )");
    EXPECT_EQ(slice("2", "BLOCK_RECORD", structure.size()), structure);

    const std::vector<std::string> multilineStyles = PairLines(R"(
        0 DICTIONARY
        5 1C
        330 19
        100 AcDbDictionary
        3 STANDARD
        350 1D
        0 MLINESTYLE
        5 1D
        330 1C
        100 AcDbMlineStyle
        2 STANDARD
    )");
    EXPECT_EQ(slice("5", "1C", multilineStyles.size() - 2),
              std::vector<std::string>(multilineStyles.begin() + 2, multilineStyles.end()));
    // Each layout names itself and ends with its block record.
    std::vector<std::string> layouts;
    for (const FileObject& o : FileObjects(SaveText(doc, SaveMode::Standard)))
        if (o.type == "LAYOUT") layouts.push_back(o.Handle() + " " + o.pairs.back().value);
    EXPECT_EQ(layouts, (std::vector<std::string>{"11 10", "13 12"}));
}
