// Whole files loaded into a fresh document: the reading rules of sections,
// the header and the tables, and hostile input (counts that lie, endless
// sequences, huge lines, values that are not numbers). Each must end in the
// model the reading rules give or in a clear error naming the file and the
// line, never in a crash, a hang or an allocation the input cannot fill.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

std::string Section(const std::string& name, const std::string& body, bool end = true) {
    return "0\nSECTION\n2\n" + name + "\n" + body + (end ? "0\nENDSEC\n" : "");
}
std::string File(const std::string& name, const std::string& body) { return Section(name, body) + "0\nEOF\n"; }
std::string Repeat(const std::string& s, int n) {
    std::string out;
    while (n-- > 0) out += s;
    return out;
}
// A block holding one hatch whose body follows; hatches are read in blocks.
std::string Hatch(const std::string& body) { return File("BLOCKS", "0\nBLOCK\n2\nB\n0\nHATCH\n8\n0\n" + body + "0\nENDBLK\n"); }
const std::string kPath = "91\n1\n92\n2\n72\n0\n73\n1\n93\n";

void Point(const XYZ& p, double x, double y, double z) { EXPECT_EQ(p, (XYZ{x, y, z})); }
const LINE_ENT& Line(const DXFDocument& d, int i = 0) { return d.ENTITIES()->LINES()->ItemRef(i); }

struct Case {
    const char* name;
    std::function<std::string()> input;
    int32_t error;      // 0: the load succeeds
    const char* where;  // a part of the error message
    std::function<void(const DXFDocument&)> check;
    TextConvertMode mode = TextConvertMode::None;
};

const Case kCases[] = {
    // Sections: found by 0/SECTION exactly, named in any case; others read past.
    {"nothing after EOF is read", [] { return "  0\nEOF\n" + File("HEADER", "9\n$ACADVER\n1\nAC1018\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 0); }},
    {"section name in lower case", [] { return File("header", "9\n$acadver\n1\nac1006\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 1006); }},
    {"0/section in lower case starts none", [] { return "0\nsection\n2\nHEADER\n9\n$ACADVER\n1\nAC1015\n0\nENDSEC\n"; }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 0); }},
    {"SECTION under another code starts none", [] { return "1\nSECTION\n2\nHEADER\n9\n$ACADVER\n1\nAC1015\n0\nENDSEC\n"; }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 0); }},
    {"other sections read past, no EOF needed",
     [] { return "999\nnote\n" + Section("CLASSES", "0\nCLASS\n1\nLINE\n2\nHEADER\n") + Section("THUMBNAILIMAGE", "90\n1\n") +
                 Section("HEADER", "9\n$ACADVER\n1\nAC1018\n") + Section("OBJECTS", "0\nDICTIONARY\n5\nC\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 1018); }},
    {"empty file", [] { return ""; }, 0, "", [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->AcadVer(), 0); }},
    {"UTF-8 text read with FromUTF8", [] { return File("ENTITIES", "0\nLINE\n8\n\xC3\xA9\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(Line(d).Layer, "é"); }, TextConvertMode::FromUTF8},
    {"UTF-8 text read as code page bytes", [] { return File("ENTITIES", "0\nLINE\n8\n\xC3\xA9\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(Line(d).Layer, "Ă©"); }},

    // Header: variables in any case, points of one to three pairs, the end only at an exact ENDSEC.
    {"version under another code", [] { return File("HEADER", "9\n$ACADVER\n2\nAC1018\n9\n$INSBASE\n10\n4\n20\n5\n30\n6\n"); }, 0, "",
     [](const DXFDocument& d) {
         EXPECT_EQ(d.HEADER()->AcadVer(), 0);
         Point(d.HEADER()->InsBase(), 4, 5, 6);
     }},
    {"2D points and lower-case names",
     [] { return File("HEADER", "9\n$EXTMAX\n10\n7.5\n20\n8.5\n9\n$extmin\n10\n-1\n20\n-2\n30\n-3\n9\n$insbase\n20\n4\n"); }, 0, "",
     [](const DXFDocument& d) {
         Point(d.HEADER()->ExtMax(), 7.5, 8.5, 0);
         Point(d.HEADER()->ExtMin(), -1, -2, -3);
         Point(d.HEADER()->InsBase(), 0, 4, 0);
     }},
    {"ENDSEC in another case does not end the header, under any code it does",
     [] { return Section("HEADER", "0\nendsec\n9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n1\nENDSEC\n9\n$EXTMAX\n10\n9\n", false); }, 0, "",
     [](const DXFDocument& d) {
         Point(d.HEADER()->ExtMin(), 1, 2, 3);
         Point(d.HEADER()->ExtMax(), 0, 0, 0);
     }},
    {"HEADER without ENDSEC", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n", false); }, 0, "",
     [](const DXFDocument& d) { Point(d.HEADER()->ExtMin(), 1, 2, 3); }},
    {"point cut short before the last variable", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n9\n$EXTMAX\n", false); }, 0, "",
     [](const DXFDocument& d) { Point(d.HEADER()->ExtMin(), 1, 2, 0); }},
    // A point is read as exactly three pairs, so the file cannot end in one.
    {"HEADER ending inside a 2D point", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n", false); }, err::InputPastEndOfFile, "", nullptr},
    {"bad version", [] { return File("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n9\n$ACADVER\n1\nAC1015a\n"); }, err::TypeMismatch, "in.dxf:16",
     [](const DXFDocument& d) { Point(d.HEADER()->ExtMin(), 1, 2, 3); }},
    {"bad coordinate", [] { return File("HEADER", "9\n$EXTMAX\n10\n1\n20\n1,5\n"); }, err::TypeMismatch, "in.dxf:10", nullptr},

    // Tables: LAYER, LTYPE and STYLE entries with their read defaults, one per
    // name without regard to case; other tables and entries are read past.
    {"tables",
     [] {
         return File("TABLES", Dxf(R"(0 TABLE
             2 VPORT
             0 VPORT
             2 *ACTIVE
             0 ENDTAB
             0 table
             2 LAYER
             0 LAYER
             2 Hidden
             0 TABLE
             2 layer
             0 LAYER
             2 Wall
             62 -7
             70 4
             6 DASHED
             0 layer
             2 WALL
             0 LAYER
             0 ENDTAB
             0 TABLE
             2 LTYPE
             0 LTYPE
             3 __ . __
             73 2
             40 1.5
             49 1.0
             74 0
             49 -0.25
             0 LTYPE
             0 ENDTAB
             0 TABLE
             2 DIMSTYLE
             0 DIMSTYLE
             2 STYLE
             0 ENDTAB
             0 TABLE
             2 STYLE
             0 STYLE
             2 Slanted
             42 3.0
             71 4
             0 ENDTAB)"));
     }, 0, "",
     [](const DXFDocument& d) {
         EXPECT_EQ(d.TABLES()->LAYERS()->GetArray(), (std::vector<LAYERS_TAB>{{"Wall", "DASHED", -7, 4}, {"", "Continuous", 1, 0}}));
         EXPECT_EQ(d.TABLES()->LTYPES()->GetArray(), (std::vector<LTYPES_TAB>{{"Continuous", "__ . __", 1.5, 2, {{1.0}, {-0.25}}}}));
         EXPECT_EQ(d.TABLES()->STYLES()->GetArray(), (std::vector<STYLES_TAB>{{"Slanted", "txt.shx", 0, 0, 0, 0, 4, 3.0}}));
     }},
    {"TABLES ending after TABLE", [] { return "0\nSECTION\n2\nTABLES\n0\nTABLE\n"; }, 0, "", nullptr},
    {"TABLES without ENDTAB and ENDSEC", [] { return Section("TABLES", "0\nTABLE\n2\nLAYER\n0\nLAYER\n2\nL1\n", false); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.TABLES()->LAYERS()->Count(), 1); }},
    {"bad pattern element", [] { return File("TABLES", "0\nTABLE\n2\nLTYPE\n0\nLTYPE\n49\nx\n"); }, err::TypeMismatch, "in.dxf:12", nullptr},
    {"bad layer colour", [] { return File("TABLES", "0\nTABLE\n2\nLAYER\n0\nLAYER\n62\nred\n"); }, err::TypeMismatch, "in.dxf:12", nullptr},
    {"bad style flag", [] { return File("TABLES", "0\nTABLE\n2\nSTYLE\n0\nSTYLE\n71\nbold\n"); }, err::TypeMismatch, "in.dxf:12", nullptr},

    // Counts of the hatch: refused before anything is allocated for them.
    {"hatch 91 negative", [] { return Hatch("91\n-1\n92\n2\n"); }, err::SubscriptOutOfRange, "", nullptr},
    {"hatch 91 2^31-1", [] { return Hatch("91\n2147483647\n92\n2\n"); }, err::InputPastEndOfFile, "", nullptr},
    {"hatch 93 negative", [] { return Hatch(kPath + "-1\n10\n0\n20\n0\n"); }, err::SubscriptOutOfRange, "", nullptr},
    {"hatch 93 2^31-1", [] { return Hatch(kPath + "2147483647\n10\n0\n20\n0\n"); }, err::InputPastEndOfFile, "", nullptr},
    {"hatch 93 huge, file padded", [] { return Hatch(kPath + "100000000\n" + Repeat("10\n1\n", 1000)); }, err::InputPastEndOfFile, "", nullptr},
    {"hatch 98 negative", [] { return Hatch("98\n-1\n10\n0\n20\n0\n"); }, err::SubscriptOutOfRange, "", nullptr},
    {"hatch 98 2^31-1", [] { return Hatch("98\n2147483647\n10\n0\n20\n0\n"); }, err::InputPastEndOfFile, "", nullptr},
    {"hatch edges 2^31-1", [] { return Hatch("91\n1\n92\n1\n93\n2147483647\n72\n1\n"); }, err::InputPastEndOfFile, "", nullptr},
    {"hatch edges negative", [] { return Hatch("91\n1\n92\n1\n93\n-7\n72\n1\n"); }, err::SubscriptOutOfRange, "", nullptr},
    {"hatch counts that fit", [] { return Hatch(kPath + "2\n10\n1\n20\n2\n10\n3\n20\n4\n97\n0\n98\n1\n10\n5\n20\n6\n"); }, 0, "",
     [](const DXFDocument& d) {
         HATCH_ENT h = d.BLOCKS()->ItemRef(0).HATCHES->Item(0);
         ASSERT_EQ(h.Boundaries.size(), 1u);
         EXPECT_EQ(h.Boundaries[0].RecordIf<HATCH_BOUNDARY_POLYLINE>()->POINTS.size(), 2u);
         EXPECT_EQ(h.Seedpoints, (std::vector<XYZ>{{5, 6, 0}}));
     }},

    // Lines.
    {"10 MB value line", [] { return File("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, 'L') + "\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(Line(d).Layer.size(), std::size_t(10) << 20); }},
    // Text that grows when decoded: every byte 0xE9 becomes two.
    {"10 MB value of high bytes", [] { return File("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, '\xE9') + "\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(Line(d).Layer.size(), std::size_t(20) << 20); }},
    {"1 MB section name upper-cased", [] { return "0\nSECTION\n2\n" + std::string(1 << 20, '\xDF') + "\n0\nEOF\n"; }, 0, "", nullptr},
    {"single 10 MB line without line end", [] { return std::string(10 << 20, '7'); }, err::Overflow, "in.dxf:1", nullptr},
    {"single line of letters without line end", [] { return std::string(1 << 20, 'x'); }, err::TypeMismatch, "in.dxf:1", nullptr},
    {"only code lines, even count", [] { return Repeat("0\n", 1000); }, 0, "", nullptr},
    {"only code lines, odd count", [] { return Repeat("0\n", 1001); }, err::InputPastEndOfFile, "", nullptr},
    {"code line not a number", [] { return "0\nSECTION\n2\nHEADER\nnine\n$EXTMIN\n"; }, err::TypeMismatch, "in.dxf:5", nullptr},
    {"code line too large", [] { return "0\nSECTION\n2\nHEADER\n99999999999\n$EXTMIN\n"; }, err::Overflow, "in.dxf:5", nullptr},
    {"file ending after a code line", [] { return "0\nSECTION\n2\nHEADER\n0\nENDSEC\n0\n"; }, err::InputPastEndOfFile, "in.dxf:7", nullptr},
    {"NUL in a code line", [] { return std::string("0\nSECTION\n2\nENTITIES\n0\0\nLINE\n", 29); }, err::TypeMismatch, "in.dxf:5", nullptr},
    {"NUL in a value", [] { return File("ENTITIES", std::string("0\nLINE\n8\nA\0B\n", 13)); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(Line(d).Layer, std::string("A\0B", 3)); }},

    // Numbers.
    {"value nan", [] { return File("ENTITIES", "0\nLINE\n10\nnan\n"); }, err::TypeMismatch, "in.dxf:8", nullptr},
    {"value inf", [] { return File("ENTITIES", "0\nLINE\n10\ninf\n"); }, err::TypeMismatch, "", nullptr},
    {"value 1e999", [] { return File("ENTITIES", "0\nLINE\n10\n1e999\n"); }, err::Overflow, "", nullptr},
    {"value 1..5", [] { return File("ENTITIES", "0\nLINE\n10\n1..5\n"); }, err::TypeMismatch, "", nullptr},
    {"value -0", [] { return File("ENTITIES", "0\nLINE\n10\n-0\n"); }, 0, "", [](const DXFDocument& d) { EXPECT_EQ(Line(d).StartX, 0.0); }},
    {"integer 1e999", [] { return File("ENTITIES", "0\nLINE\n62\n1e999\n"); }, err::Overflow, "", nullptr},

    // Sequences that never end.
    {"POLYLINE with 100k VERTEX and no SEQEND",
     [] { return File("ENTITIES", "0\nPOLYLINE\n66\n1\n" + Repeat("0\nVERTEX\n10\n1\n20\n2\n", 100000)); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->POLYLINES()->Item(0).Vertices.size(), 100000u); }},
    {"INSERT with 100k ATTRIB and no SEQEND",
     [] { return Section("ENTITIES", "0\nINSERT\n2\nB\n66\n1\n" + Repeat("0\nATTRIB\n2\nT\n1\nv\n", 100000), false); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->INSERTS()->Item(0).ATTRIBS->Count(), 100000); }},
    {"BLOCK without ENDBLK", [] { return Section("BLOCKS", "0\nBLOCK\n2\nB\n" + Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.BLOCKS()->ItemRef(0).LINES->Count(), 1000); }},
    {"ENTITIES without ENDSEC", [] { return Section("ENTITIES", Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Count(), 1000); }},

    // Children without their parent.
    {"VERTEX and SEQEND without POLYLINE", [] { return File("ENTITIES", "0\nVERTEX\n10\n1\n0\nSEQEND\n0\nLINE\n10\n5\n"); }, 0, "",
     [](const DXFDocument& d) {
         EXPECT_EQ(d.ENTITIES()->POLYLINES()->Count(), 0);
         EXPECT_EQ(Line(d).StartX, 5);
     }},
    {"ATTRIB without INSERT", [] { return File("ENTITIES", "0\nATTRIB\n2\nT\n0\nSEQEND\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->ATTRIBS()->Count() + d.ENTITIES()->INSERTS()->Count(), 0); }},
    {"ENDBLK without BLOCK", [] { return File("BLOCKS", "0\nENDBLK\n0\nLINE\n10\n1\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.BLOCKS()->Count(), 0); }},
    {"HATCH in ENTITIES", [] { return File("ENTITIES", "0\nHATCH\n91\n2147483647\n"); }, 0, "", nullptr},

    // Big but honest.
    {"LWPOLYLINE with 1e6 vertices", [] { return File("ENTITIES", "0\nLWPOLYLINE\n90\n1000000\n" + Repeat("10\n7\n20\n1\n", 1000000)); }, 0,
     "", [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1000000u); }},
    {"LWPOLYLINE whose 90 claims 2^31-1", [] { return File("ENTITIES", "0\nLWPOLYLINE\n90\n2147483647\n10\n1\n20\n2\n"); }, 0, "",
     [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1u); }},
};

TEST(HostileInput, EachCaseGivesItsErrorOrItsModel) {
    TempDir dir;
    const std::string path = dir / "in.dxf";
    const int16_t mode = DXFDocument().VersionMode();
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        WriteFile(path, c.input());
        DXFDocument doc;
        doc.SetVersionMode(6);
        doc.SetTextConvertMode(c.mode);
        std::string message;
        int32_t got = 0;
        try {
            doc.Load(path);
        } catch (const Error& e) {
            got = e.number();
            message = e.what();
            EXPECT_NE(message.find(path), std::string::npos) << message;
        }
        EXPECT_EQ(got, c.error) << message;
        EXPECT_NE(message.find(c.where), std::string::npos) << message;
        if (c.check) c.check(doc);
    }
    DXFDocument().SetVersionMode(mode);
}

}  // namespace
