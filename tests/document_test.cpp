// Loading and saving whole documents: loading adds to the model, a failed
// load keeps what it read, the version mode decides what is read, a failed
// save leaves the old file as it was. Then files loaded into a fresh
// document: the reading rules of sections, the header and the tables, and
// hostile input (counts that lie, endless sequences, huge lines, values that
// are not numbers). Each must end in the model the reading rules give or in a
// clear error naming the file and the line, never in a crash, a hang or an
// allocation the input cannot fill.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <charconv>
#include <set>
#include <cstdlib>
#include <cmath>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

TEST(Document, LoadAddsToTheModelAndTheVersionModeDecidesWhatIsRead) {
    TempDir dir;
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1015);
    doc.TABLES()->LAYERS()->Add(LAYERS_TAB{"Walls", "", 1, 0});
    BLOCK_BLOCK tree;
    BLOCKS::CreateEntityArrays(tree);
    tree.HATCHES->Add(HATCH_ENT{});
    doc.BLOCKS()->Add(tree);
    doc.ENTITIES()->LINES()->Add(LINE_ENT{});
    doc.Save(dir / "a.dxf");
    WriteFile(dir / "b.dxf", Dxf("0 SECTION\n2 HEADER\n9 $EXTMAX\n10 4\n20 5\n30 6\n0 ENDSEC\n0 EOF\n"));
    WriteFile(dir / "bad.dxf", Dxf("0 SECTION\n2 ENTITIES\n0 LINE\n0 LINE\n10 ten\n0 ENDSEC\n0 EOF\n"));
    const int16_t before = doc.VersionMode();
    for (int16_t mode : {5, 6}) {  // hatches in blocks are read from 6 on; the mode is the thread's
        DXFDocument().SetVersionMode(mode);
        DXFDocument loaded;
        loaded.Load(dir / "a.dxf");
        loaded.Load(dir / "a.dxf");
        EXPECT_EQ(loaded.BLOCKS()->ItemRef(2).HATCHES->Count(), mode - 5);
        EXPECT_EQ(loaded.ENTITIES()->LINES()->Count(), 2);
        EXPECT_EQ(loaded.TABLES()->LAYERS()->Count(), 2);  // "0" and "Walls", once each
        loaded.TABLES()->LAYERS()->Clear();
        EXPECT_EQ(ErrorNumberOf([&] { loaded.Load(dir / "bad.dxf"); }), err::TypeMismatch);
        EXPECT_EQ(loaded.ENTITIES()->LINES()->Count(), 3);  // what was read stays
        loaded.Load(dir / "b.dxf");
        EXPECT_EQ(loaded.FileName(), dir / "b.dxf");
        EXPECT_EQ(loaded.HEADER()->AcadVer(), 1015);  // kept: the second header has none; its extents are set anew
        EXPECT_EQ(loaded.HEADER()->ExtMax(), (XYZ{4, 5, 6}));
        EXPECT_EQ(loaded.TABLES()->LAYERS()->Count(), 0);
    }
    std::thread([] { EXPECT_EQ(CurrentVersionMode(), 0); }).join();
    doc.SetVersionMode(before);
}

// A save that fails halfway leaves the file it replaces as it was (contents
// and permissions) and no other file; one that succeeds keeps the permissions.
TEST(Document, FailedSaveLeavesTheOldFile) {
    for (int32_t error : {0, int32_t(err::Overflow), int32_t(err::SubscriptOutOfRange)}) {
        TempDir dir;
        WriteFile(dir / "keep.dxf", "old");
        std::filesystem::permissions(dir / "keep.dxf", std::filesystem::perms(0640));
        DXFDocument doc;
        if (error == err::Overflow) doc.HEADER()->SetExtMax({1, std::nan(""), 0});
        if (error == err::SubscriptOutOfRange) doc.TABLES()->LTYPES()->Add(LTYPES_TAB{"Short", "", 1, 2, {{0.5}}});
        EXPECT_EQ(ErrorNumberOf([&] { doc.Save(dir / "keep.dxf"); }), error);
        EXPECT_EQ(ReadFile(dir / "keep.dxf") == "old", error != 0);
        EXPECT_EQ(std::filesystem::status(dir / "keep.dxf").permissions(), std::filesystem::perms(0640));
        EXPECT_NE(ErrorNumberOf([&] { doc.Save(dir / "no-folder/out.dxf"); }), 0);
        EXPECT_EQ(dir.entries(), 1u);
    }
}

// The version is the number in its text; the handles of a save end at 2^31 - 1.
TEST(Document, VersionTextsAndTheHandleLimit) {
    EXPECT_EQ(HEADER::ParseVersion("X 7") + HEADER::ParseVersion("AC"), 7);
    EXPECT_EQ(ErrorNumberOf([] { HEADER::ParseVersion("AC1015a"); }), err::TypeMismatch);
    EXPECT_EQ(ErrorNumberOf([] { HEADER::ParseVersion("AC99999999999"); }), err::Overflow);
    int32_t last = INT32_MAX - 4;  // the fixed objects take five
    EXPECT_EQ(ErrorNumberOf([&] { Written([&](DXFWriter& w) { WithSave(w, last, [](SaveContext& s) { DXFDocument::WriteObjects(s); }); }); }),
              err::Overflow);
}

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

using D = const DXFDocument&;
XYZ operator+(const XYZ& a, const XYZ& b) { return {a.X + b.X, a.Y + b.Y, a.Z + b.Z}; }
const LINE_ENT& Line(const DXFDocument& d, int i = 0) { return d.ENTITIES()->LINES()->ItemRef(i); }

struct Case {
    const char* name;
    std::function<std::string()> input;
    int32_t error;      // 0: the load succeeds
    const char* where;  // after the file name in the message: ":" and the line
    std::function<void(D)> check;
};

const Case kCases[] = {
    // Sections: found by 0/SECTION exactly, named in any case; others are read past; nothing after EOF is read.
    {"section name in lower case", [] { return File("header", "9\n$acadver\n1\nac1006\n") + File("HEADER", "9\n$ACADVER\n1\nAC1018\n"); }, 0, "",
     [](D d) { EXPECT_EQ(d.HEADER()->AcadVer(), 1006); }},
    {"SECTION in lower case or under another code", [] { return "0\nsection\n2\nHEADER\n9\n$ACADVER\n1\nAC1015\n0\nENDSEC\n1\nSECTION\n2\nHEADER\n"; },
     0, "", [](D d) { EXPECT_EQ(d.HEADER()->AcadVer(), 0); }},
    {"other sections read past, no EOF needed",
     [] { return "999\nnote\n" + Section("CLASSES", "0\nCLASS\n1\nLINE\n2\nHEADER\n") + Section("OBJECTS", "0\nX\n") + Section("HEADER", "9\n$ACADVER\n1\nAC1018\n"); },
     0, "", [](D d) { EXPECT_EQ(d.HEADER()->AcadVer(), 1018); }},

    // Header: variables in any case, points of one to three pairs, the end only at an exact ENDSEC, under any code.
    {"2D points, lower-case names", [] { return File("HEADER", "9\n$EXTMAX\n10\n7.5\n20\n8.5\n9\n$extmin\n30\n-3\n9\n$insbase\n20\n4\n"); }, 0, "",
     [](D d) { EXPECT_EQ(d.HEADER()->ExtMax() + d.HEADER()->ExtMin() + d.HEADER()->InsBase(), (XYZ{7.5, 12.5, -3})); }},
    {"ENDSEC in another case", [] { return Section("HEADER", "0\nendsec\n9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n1\nENDSEC\n9\n$EXTMAX\n10\n9\n", false); }, 0, "",
     [](D d) { EXPECT_EQ(d.HEADER()->ExtMin() + d.HEADER()->ExtMax(), (XYZ{1, 2, 3})); }},
    // A point is read as exactly three pairs, so the file cannot end in one.
    {"HEADER ending inside a 2D point", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n", false); }, err::InputPastEndOfFile, "", nullptr},
    {"bad version", [] { return File("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n9\n$ACADVER\n1\nAC1015a\n"); }, err::TypeMismatch, ":16",
     [](D d) { EXPECT_EQ(d.HEADER()->ExtMin(), (XYZ{1, 2, 3})); }},

    // Tables: no table starts at "table"; LAYER, LTYPE and STYLE entries get
    // the read defaults, once per name; other tables and entries are read past.
    {"tables", [] { return File("TABLES", "0\ntable\n2\nLAYER\n0\nLAYER\n0\nTABLE\n2\nDIMSTYLE\n0\nDIMSTYLE\n2\nSTYLE\n0\nENDTAB\n0\nTABLE\n"
                                  "2\nLtype\n0\nLTYPE\n0\nLTYPE\n0\nENDTAB\n0\nTABLE\n2\nSTYLE\n0\nstyle\n42\n3\n0\nENDTAB\n"); }, 0, "",
     [](D d) {
         EXPECT_EQ(d.TABLES()->LAYERS()->Count(), 0);
         EXPECT_EQ(d.TABLES()->LTYPES()->GetArray(), (std::vector<LTYPES_TAB>{{"Continuous", "Folytonos", 0, 0, {}}}));
         EXPECT_EQ(d.TABLES()->STYLES()->GetArray(), (std::vector<STYLES_TAB>{{"Standard", "txt.shx", 0, 0, 0, 0, 0, 3}}));
     }},
    {"TABLES without ENDTAB and ENDSEC", [] { return Section("TABLES", "0\nTABLE\n2\nLAYER\n0\nLAYER\n2\nL1\n", false); }, 0, "",
     [](D d) { EXPECT_EQ(d.TABLES()->LAYERS()->Count(), 1); }},
    {"bad pattern element", [] { return File("TABLES", "0\nTABLE\n2\nLTYPE\n0\nLTYPE\n49\nx\n"); }, err::TypeMismatch, ":12", nullptr},
    {"bad style flag", [] { return File("TABLES", "0\nTABLE\n2\nSTYLE\n0\nSTYLE\n71\nbold\n"); }, err::TypeMismatch, ":12", nullptr},

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
     [](D d) {
         HATCH_ENT h = d.BLOCKS()->ItemRef(0).HATCHES->Item(0);
         ASSERT_EQ(h.Boundaries.size(), 1u);
         EXPECT_EQ(h.Boundaries[0].RecordIf<HATCH_BOUNDARY_POLYLINE>()->POINTS.size(), 2u);
         EXPECT_EQ(h.Seedpoints, (std::vector<XYZ>{{5, 6, 0}}));
     }},

    // Lines.
    {"10 MB value line", [] { return File("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, 'L') + "\n"); }, 0, "",
     [](D d) { EXPECT_EQ(Line(d).Layer.size(), std::size_t(10) << 20); }},
    // Text that grows when decoded: every byte 0xE9 becomes two.
    {"10 MB value of high bytes", [] { return File("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, '\xE9') + "\n"); }, 0, "",
     [](D d) { EXPECT_EQ(Line(d).Layer.size(), std::size_t(20) << 20); }},
    {"1 MB section name upper-cased", [] { return "0\nSECTION\n2\n" + std::string(1 << 20, '\xDF') + "\n0\nEOF\n"; }, 0, "", nullptr},
    // A first line that is no group code: not a drawing at all.
    {"single 10 MB line without line end", [] { return std::string(10 << 20, '7'); }, err::BadFileMode, " is not a DXF file", nullptr},
    {"single line of letters without line end", [] { return std::string(1 << 20, 'x'); }, err::BadFileMode, " is not a DXF file", nullptr},
    {"empty file", [] { return std::string(); }, err::InputPastEndOfFile, " is empty", nullptr},
    {"only code lines, even count", [] { return Repeat("0\n", 1000); }, 0, "", nullptr},
    {"only code lines, odd count", [] { return Repeat("0\n", 1001); }, err::InputPastEndOfFile, "", nullptr},
    {"code line not a number", [] { return "0\nSECTION\n2\nHEADER\nnine\n$EXTMIN\n"; }, err::TypeMismatch, ":5", nullptr},
    {"code line too large", [] { return "0\nSECTION\n2\nHEADER\n99999999999\n$EXTMIN\n"; }, err::Overflow, ":5", nullptr},
    {"file ending after a code line", [] { return "0\nSECTION\n2\nHEADER\n0\nENDSEC\n0\n"; }, err::InputPastEndOfFile, ":7", nullptr},
    {"NUL in a code line", [] { return std::string("0\nSECTION\n2\nENTITIES\n0\0\nLINE\n", 29); }, err::TypeMismatch, ":5", nullptr},
    {"NUL in a value", [] { return File("ENTITIES", std::string("0\nLINE\n8\nA\0B\n", 13)); }, 0, "",
     [](D d) { EXPECT_EQ(Line(d).Layer, std::string("A\0B", 3)); }},

    // Numbers.
    {"value nan", [] { return File("ENTITIES", "0\nLINE\n10\nnan\n"); }, err::TypeMismatch, ":8", nullptr},
    {"value 1e999", [] { return File("ENTITIES", "0\nLINE\n10\n1e999\n"); }, err::Overflow, "", nullptr},
    {"value -0", [] { return File("ENTITIES", "0\nLINE\n10\n-0\n"); }, 0, "", [](D d) { EXPECT_EQ(Line(d).StartX, 0.0); }},
    {"integer 1e999", [] { return File("ENTITIES", "0\nLINE\n62\n1e999\n"); }, err::Overflow, "", nullptr},

    // Sequences that never end.
    {"POLYLINE with 100k VERTEX and no SEQEND",
     [] { return File("ENTITIES", "0\nPOLYLINE\n66\n1\n" + Repeat("0\nVERTEX\n10\n1\n20\n2\n", 100000)); }, 0, "",
     [](D d) { EXPECT_EQ(d.ENTITIES()->POLYLINES()->Item(0).Vertices.size(), 100000u); }},
    {"INSERT with 100k ATTRIB and no SEQEND",
     [] { return Section("ENTITIES", "0\nINSERT\n2\nB\n66\n1\n" + Repeat("0\nATTRIB\n2\nT\n1\nv\n", 100000), false); }, 0, "",
     [](D d) { EXPECT_EQ(d.ENTITIES()->INSERTS()->Item(0).ATTRIBS->Count(), 100000); }},
    {"BLOCK without ENDBLK", [] { return Section("BLOCKS", "0\nBLOCK\n2\nB\n" + Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0, "",
     [](D d) { EXPECT_EQ(d.BLOCKS()->ItemRef(0).LINES->Count(), 1000); }},
    {"ENTITIES without ENDSEC", [] { return Section("ENTITIES", Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0, "",
     [](D d) {
         EXPECT_EQ(d.ENTITIES()->LINES()->Count(), 1000);
         ASSERT_EQ(d.Warnings().size(), 1u);  // the last line, 4 + 4000
         EXPECT_EQ(d.Warnings()[0].Line, 4004);
         EXPECT_NE(d.Warnings()[0].Message.find("inside the ENTITIES section"), std::string::npos);
     }},

    // Children without their parent.
    {"VERTEX and SEQEND without POLYLINE", [] { return File("ENTITIES", "0\nVERTEX\n10\n1\n0\nSEQEND\n0\nLINE\n10\n5\n"); }, 0, "",
     [](D d) {EXPECT_EQ(d.ENTITIES()->POLYLINES()->Count(), 0); EXPECT_EQ(Line(d).StartX, 5); }},
    {"ATTRIB without INSERT", [] { return File("ENTITIES", "0\nATTRIB\n2\nT\n0\nSEQEND\n"); }, 0, "",
     [](D d) { EXPECT_EQ(d.ENTITIES()->ATTRIBS()->Count() + d.ENTITIES()->INSERTS()->Count(), 0); }},
    {"ENDBLK without BLOCK", [] { return File("BLOCKS", "0\nENDBLK\n0\nLINE\n10\n1\n"); }, 0, "", [](D d) { EXPECT_EQ(d.BLOCKS()->Count(), 0); }},
    {"HATCH in ENTITIES", [] { return File("ENTITIES", "0\nHATCH\n91\n2147483647\n"); }, 0, "", nullptr},

    // Big but honest.
    {"LWPOLYLINE with 1e6 vertices", [] { return File("ENTITIES", "0\nLWPOLYLINE\n90\n1000000\n" + Repeat("10\n7\n20\n1\n", 1000000)); }, 0,
     "", [](D d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1000000u); }},
    {"LWPOLYLINE whose 90 claims 2^31-1", [] { return File("ENTITIES", "0\nLWPOLYLINE\n90\n2147483647\n10\n1\n20\n2\n"); }, 0, "",
     [](D d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1u); }},
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
        if (c.error == 0) {
            doc.Load(path);
        } else {
            const Error e = Raised([&] { doc.Load(path); });
            EXPECT_EQ(e.number(), c.error) << e.what();
            EXPECT_NE(std::string(e.what()).find(path + c.where), std::string::npos) << e.what();  // the file, and the line
        }
        if (c.check) c.check(doc);
    }
    DXFDocument().SetVersionMode(mode);
}

// Damage that leaves the meaning clear (a blank line before a group code, a
// decimal comma, a blank after a minus sign) fails as before, and with Recover
// each is repaired with a warning on its line, into the undamaged model.
RC_GTEST_PROP(Recover, RepairsEachDamageWithAWarningOnItsLine, ()) {
    std::vector<std::string> lines{"0", "SECTION", "2", "ENTITIES"};
    for (int e = *rc::gen::inRange(1, 12); e > 0; --e)
        for (const char* code : {"0", "8", "10", "20", "30", "11", "21", "31"}) {
            const int v = *rc::gen::inRange(-80000, 80000);
            lines.push_back(code);
            lines.push_back(code[0] == '0' ? "LINE" : code[0] == '8' ? "0" : std::to_string(v / 8) + "." + std::to_string(std::abs(v % 8) * 125));
        }
    for (const char* l : {"0", "ENDSEC", "0", "EOF"}) lines.push_back(l);
    std::string clean, damaged;
    std::vector<int64_t> expected;  // lines of the damage in the damaged file
    for (std::size_t i = 0, line = 1; i < lines.size(); ++i, ++line) {
        std::string l = lines[i];
        const bool number = i % 2 == 1 && lines[i - 1].size() == 2;  // the coordinates
        switch (*rc::gen::inRange(0, 8)) {
        case 0:
            if (i % 2 == 0) damaged += "\n", expected.push_back(static_cast<int64_t>(line++));
            break;
        case 1:
            if (number) l[l.find('.')] = ',', expected.push_back(static_cast<int64_t>(line));
            break;
        case 2:
            if (number && l[0] == '-') l.insert(1, " "), expected.push_back(static_cast<int64_t>(line));
            break;
        }
        clean += lines[i] + "\n";
        damaged += l + "\n";
    }
    TempDir dir;
    WriteFile(dir / "clean.dxf", clean);
    WriteFile(dir / "damaged.dxf", damaged);
    DXFDocument original, refused, repaired;
    original.Load(dir / "clean.dxf");
    RC_ASSERT(original.Warnings().empty());
    // Blank first: no drawing starts so.
    const int32_t refusal = expected.empty() ? 0 : expected.front() == 1 ? err::BadFileMode : err::TypeMismatch;
    RC_ASSERT(ErrorNumberOf([&] { refused.Load(dir / "damaged.dxf"); }) == refusal);
    repaired.SetRecover(true);
    repaired.Load(dir / "damaged.dxf");
    std::vector<int64_t> warned;
    for (const LoadWarning& w : repaired.Warnings()) warned.push_back(w.Line);
    RC_ASSERT(warned == expected);
    // Same model, same saved file.
    original.Save(dir / "a.dxf");
    repaired.Save(dir / "b.dxf");
    RC_ASSERT(ReadFile(dir / "a.dxf") == ReadFile(dir / "b.dxf"));
}

}  // namespace

// A preserving load keeps what the model does not type and the host still
// changes the model: the Standard save writes the kept entities in their
// place among the typed ones, without the deleted record (nor in a group),
// with the added one last, every handle once and the seed above them all. A load that does not
// preserve counts what it passed over.
TEST(Preserving, KeptContentMeetsTheHostsChanges) {
    TempDir dir;
    WriteFile(dir / "in.dxf", Dxf("0 SECTION\n2 HEADER\n9 $ACADVER\n1 AC1015\n9 $INSUNITS\n70 4\n9 $HANDSEED\n5 20\n0 ENDSEC\n"
                                  "0 SECTION\n2 ENTITIES\n0 LINE\n5 10\n8 0\n6 DASHED\n11 1\n0 SPLINE\n5 11\n330 1F\n100 AcDbEntity\n8 0\n"
                                  "100 AcDbSpline\n70 8\n71 3\n1001 APP\n1000 x\n0 LINE\n5 12\n8 0\n11 2\n0 HATCH\n5 13\n8 0\n2 SOLID\n"
                                  "0 ENDSEC\n0 SECTION\n2 OBJECTS\n0 DICTIONARY\n5 C\n330 0\n100 AcDbDictionary\n3 ACAD_GROUP\n350 D\n"
                                  "0 DICTIONARY\n5 D\n330 C\n100 AcDbDictionary\n3 G1\n350 E\n3 G2\n350 F\n0 GROUP\n5 E\n330 D\n"
                                  "100 AcDbGroup\n300 x\n70 0\n71 1\n340 10\n340 12\n0 GROUP\n5 F\n330 D\n100 AcDbGroup\n300 y\n"
                                  "70 0\n71 1\n340 10\n0 ENDSEC\n0 EOF\n"));
    DXFDocument lossy;
    lossy.Load(dir / "in.dxf");
    EXPECT_EQ(lossy.NotKept().Text(), "1 HATCH, 1 SPLINE, 1 header variables, 4 objects");
    DXFDocument doc;
    doc.SetPreserve(true);
    doc.SetSaveMode(SaveMode::Standard);
    doc.Load(dir / "in.dxf");
    EXPECT_TRUE(doc.NotKept().Empty());
    EXPECT_EQ(doc.ENTITIES()->LINES()->Item(1).LineType, "Continuous");  // the model's value for a line type not given
    doc.ENTITIES()->LINES()->Delete(0);
    doc.ENTITIES()->CIRCLES()->Add(CIRCLE_ENT{});
    doc.Save(dir / "out.dxf");
    const std::vector<std::string> lines = SplitCrLf(ReadFile(dir / "out.dxf"));
    std::vector<std::string> names, handles, insunits, lineTypes, entries, members;
    std::string section, seed;
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
        const int code = std::atoi(lines[i].c_str());
        const std::string& v = lines[i + 1];
        if (code == 2 && lines[i - 1] == "SECTION") section = v;
        if (code == 0 && v == "ENDSEC") section.clear();
        if (code == 0 && section == "ENTITIES") names.push_back(v);
        if ((code == 5 || code == 105) && section != "HEADER") handles.push_back(v);
        if (code == 6 && section == "ENTITIES") lineTypes.push_back(v);
        if (code == 3 && section == "OBJECTS") entries.push_back(v);
        if (code == 340 && section == "OBJECTS") members.push_back(v);
        if (i >= 2 && lines[i - 1] == "$HANDSEED") seed = v;
        if (i >= 2 && lines[i - 1] == "$INSUNITS") insunits.push_back(v);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"SPLINE", "LINE", "HATCH", "CIRCLE"}));
    EXPECT_EQ(insunits, std::vector<std::string>{"4"});
    EXPECT_EQ(lineTypes, std::vector<std::string>{"Continuous"}) << "only the added circle names one";
    // A group loses the deleted line; a group of nothing else goes, with its entry.
    EXPECT_EQ(entries, (std::vector<std::string>{"ACAD_GROUP", "G1"}));
    EXPECT_EQ(members, std::vector<std::string>{"12"});
    std::vector<uint32_t> numbers;
    for (const std::string& h : handles) numbers.push_back(ParseHandle(h));
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end()) << "a handle written twice";
    EXPECT_NE(std::find(handles.begin(), handles.end(), "11"), handles.end()) << "the SPLINE keeps its handle";
    EXPECT_GT(ParseHandle(seed), numbers.back());
}

// A typed record keeps its handle and what its fields do not take, in its own
// place; a field absent in the file stays absent unless changed; a record
// copied from another document brings none of its kept pairs along.
TEST(Preserving, TypedRecordsKeepTheirPairsAndHandles) {
    TempDir dir;
    const auto drawing = [&](const char* name, std::string_view entities) {
        WriteFile(dir / name, Dxf("0 SECTION\n2 HEADER\n9 $ACADVER\n1 AC1015\n0 ENDSEC\n0 SECTION\n2 ENTITIES\n" + std::string(entities) +
                                  "0 ENDSEC\n0 EOF\n"));
        auto doc = std::make_unique<DXFDocument>();
        doc->SetPreserve(true);
        doc->SetSaveMode(SaveMode::Standard);
        doc->Load(dir / name);
        return doc;
    };
    auto doc = drawing("a.dxf", "0 LINE\n5 A0\n330 1F\n102 {APP\n1070 7\n102 }\n100 AcDbEntity\n8 0\n67 1\n370 25\n100 AcDbLine\n10 0\n20 0\n"
                                "30 0\n11 1\n21 1\n31 0\n210 0\n220 0\n230 -1\n1001 APP\n1000 a\n1005 A1\n"
                                "0 CIRCLE\n5 A1\n100 AcDbEntity\n8 0\n100 AcDbCircle\n10 0\n20 0\n30 0\n40 1\n1001 APP\n1000 c\n");
    auto other = drawing("b.dxf", "0 LINE\n5 A0\n100 AcDbEntity\n8 0\n100 AcDbLine\n10 5\n20 5\n30 0\n11 6\n21 6\n31 0\n1001 APP\n1000 b\n");
    LINE_ENT changed = doc->ENTITIES()->LINES()->Item(0);
    changed.ColorNumber = 3;
    doc->ENTITIES()->LINES()->LetItem(0, changed);
    doc->ENTITIES()->CIRCLES()->Delete(0);
    doc->ENTITIES()->LINES()->Add(other->ENTITIES()->LINES()->Item(0));
    doc->Save(dir / "out.dxf");
    const std::vector<std::string> lines = SplitCrLf(ReadFile(dir / "out.dxf"));
    std::vector<std::vector<std::pair<int, std::string>>> entities;
    std::string section, paperSpace;
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
        const int code = std::atoi(lines[i].c_str());
        const std::string& v = lines[i + 1];
        if (code == 2 && lines[i - 1] == "SECTION") section = v;
        if (code == 2 && v == "*PAPER_SPACE" && section == "TABLES")
            for (std::size_t j = i; j > 0 && paperSpace.empty(); j -= 2)
                if (lines[j] == "5") paperSpace = lines[j + 1];
        if (code == 0 && v == "ENDSEC") section.clear();
        if (section != "ENTITIES") continue;
        if (code == 0) entities.emplace_back();
        if (!entities.empty()) entities.back().emplace_back(code, v);
    }
    using P = std::pair<int, std::string>;
    ASSERT_EQ(entities.size(), 2u);
    const auto& line = entities[0];
    const auto at = [&](const P& p) { return std::find(line.begin(), line.end(), p) - line.begin(); };
    for (const P& p : {P{5, "A0"}, P{330, paperSpace}, P{102, "{APP"}, P{1070, "7"}, P{67, "1"}, P{370, "25"}, P{62, "3"}, P{230, "-1"},
                       P{1000, "a"}, P{1005, "A1"}})
        EXPECT_LT(at(p), std::ssize(line)) << p.first << " " << p.second;
    EXPECT_LT(at({102, "{APP"}), at({100, "AcDbEntity"}));
    EXPECT_LT(at({370, "25"}), at({100, "AcDbLine"}));
    EXPECT_LT(at({230, "-1"}), at({1001, "APP"}));
    for (const auto& e : entities)
        for (const P& p : e) EXPECT_TRUE((p.first != 39 && p.first != 6 && p != P{1000, "b"} && p != P{1000, "c"})) << p.first << " " << p.second;
    EXPECT_EQ(std::count(entities[1].begin(), entities[1].end(), P{5, "A0"}), 0) << "the copy gets a handle of its own";
}

// Pairs a typed record reads back as the file gave them, whatever the model
// writes for a record the host made: TEXT without its alignment point, with a
// width factor of 1 and an empty text, with a point of its own; MTEXT without
// 42 or 62, with a direction (no rotation of its own) and with an embedded
// object's pairs; a closed polygon mesh's flags and counts; polyline vertices with a
// Z, widths where they change or on every vertex, bulges of 0; a polyline
// without 66 at an elevation; a face without edge flags; an insert's empty
// sequence; a solid's extrusion; a layer without colour or plot style, a
// style's big font; line types without 74, with a text element. Numbers by
// value; 5, 330 and 100 aside (and the fixed line types a save adds).
TEST(Preserving, ReadPairsComeBackAsGiven) {
    TempDir dir;
    const std::string entities =
        "0 TEXT\n8 0\n10 1\n20 2\n30 0\n40 2.5\n1 \n41 1\n50 0\n7 Standard\n"
        "0 TEXT\n8 0\n10 1\n20 2\n30 0\n40 2.5\n1 A\n72 1\n11 4\n21 2\n31 0\n73 2\n"
        "0 MTEXT\n8 0\n10 3\n20 4\n30 0\n40 2.5\n41 20\n71 1\n72 5\n1 C\n11 0.5\n21 0.5\n31 0\n0 MTEXT\n8 0\n62 0\n1 D\n11 0\n21 1\n31 0\n"
        "0 MTEXT\n8 0\n10 3\n20 4\n30 0\n40 2.5\n41 20\n71 1\n72 5\n1 B\n73 1\n44 1\n101 Embedded Object\n70 1\n10 1\n20 0\n"
        "11 3\n21 4\n40 20\n41 0\n42 15\n43 15\n71 2\n72 1\n44 20\n45 12.5\n73 0\n74 0\n46 0\n"
        "0 POLYLINE\n8 0\n66 1\n10 0\n20 0\n30 0\n70 17\n71 2\n72 2\n"
        "0 VERTEX\n8 0\n10 0\n20 0\n30 0\n70 64\n0 VERTEX\n8 0\n10 1\n20 0\n30 0\n70 64\n"
        "0 VERTEX\n8 0\n10 0\n20 1\n30 0\n70 64\n0 VERTEX\n8 0\n10 1\n20 1\n30 1\n70 64\n0 SEQEND\n8 0\n"
        "0 LWPOLYLINE\n8 0\n90 3\n70 1\n10 0\n20 0\n30 0\n40 0.2\n41 0.2\n10 5\n20 0\n30 0\n42 0.5\n10 5\n20 5\n30 0\n"
        "0 LWPOLYLINE\n8 0\n90 2\n70 0\n10 0\n20 0\n40 0\n41 0\n42 0\n10 1\n20 1\n40 0\n41 0\n42 0\n"
        "0 POLYLINE\n8 0\n10 0\n20 0\n30 2.5\n70 0\n0 VERTEX\n8 0\n10 0\n20 0\n30 0\n0 VERTEX\n8 0\n10 1\n20 0\n30 0\n0 SEQEND\n8 0\n"
        "0 3DFACE\n8 0\n10 0\n20 0\n30 0\n11 1\n21 0\n31 0\n12 1\n22 1\n32 0\n13 0\n23 1\n33 0\n"
        "0 INSERT\n8 0\n66 1\n2 B\n10 0\n20 0\n30 0\n0 SEQEND\n8 0\n"
        "0 SOLID\n8 0\n10 0\n20 0\n30 0\n11 1\n21 0\n31 0\n12 0\n22 1\n32 0\n13 1\n23 1\n33 0\n210 0\n220 0\n230 -1\n";
    const std::string tables =
        "0 TABLE\n2 LTYPE\n0 LTYPE\n2 CONTINUOUS\n70 64\n3 Solid\n72 65\n73 0\n40 0\n0 LTYPE\n2 DASHED\n70 0\n3 __ __\n72 65\n73 2\n"
        "40 0.75\n49 0.5\n49 -0.25\n0 LTYPE\n2 TEXTED\n70 0\n3 T\n72 65\n73 2\n40 1\n49 0.5\n74 2\n75 0\n340 11\n46 0.1\n50 0\n44 0\n"
        "45 0\n9 T\n49 -0.5\n74 0\n0 ENDTAB\n0 TABLE\n2 LAYER\n0 LAYER\n2 0\n70 0\n6 CONTINUOUS\n0 ENDTAB\n0 TABLE\n2 STYLE\n0 STYLE\n"
        "2 Standard\n70 0\n40 0\n41 1\n50 0\n71 0\n42 2.5\n3 txt\n4 big.shx\n0 ENDTAB\n";
    WriteFile(dir / "in.dxf", Dxf("0 SECTION\n2 HEADER\n9 $ACADVER\n1 AC1015\n0 ENDSEC\n0 SECTION\n2 TABLES\n" + tables +
                                  "0 ENDSEC\n0 SECTION\n2 ENTITIES\n" + entities + "0 ENDSEC\n0 EOF\n"));
    DXFDocument doc;
    doc.SetPreserve(true);
    doc.SetSaveMode(SaveMode::Standard);
    doc.SetTextConvertMode(TextConvertMode::Auto);
    doc.Load(dir / "in.dxf");
    // An MTEXT without 62 is drawn by layer; one with 62 0 by block.
    EXPECT_EQ(doc.ENTITIES()->MTEXTS()->Item(0).ColorNumber, 256);
    EXPECT_EQ(doc.ENTITIES()->MTEXTS()->Item(1).ColorNumber, 0);
    doc.Save(dir / "out.dxf");
    using Entity = std::multiset<std::pair<int, std::string>>;
    const auto heads = [](const auto& lines) {
        std::vector<Entity> out;
        bool head = false;
        for (std::size_t i = 0; i + 1 < lines.size(); i += 2) {
            const int code = std::atoi(lines[i].c_str());
            std::string v = lines[i + 1];
            if (code == 0) head = std::set<std::string>{"TEXT", "MTEXT", "POLYLINE", "LWPOLYLINE", "3DFACE", "INSERT", "SOLID", "LAYER", "STYLE", "LTYPE"}.contains(v);
            if (code == 0 && head) out.emplace_back();
            double x;
            if (const auto r = std::from_chars(v.data(), v.data() + v.size(), x); r.ec == std::errc() && r.ptr == v.data() + v.size() && code != 1)
                v = std::to_string(x);
            if (head && code != 0 && code != 5 && code != 330 && code != 100) out.back().emplace(code, v);
        }
        std::erase_if(out, [](const Entity& e) { return e.contains({2, "ByBlock"}) || e.contains({2, "ByLayer"}); });
        return out;
    };
    const std::vector<Entity> given = heads(PairLines(tables + entities)), saved = heads(SplitCrLf(ReadFile(dir / "out.dxf")));
    ASSERT_EQ(given.size(), saved.size());
    for (std::size_t i = 0; i < given.size(); ++i) EXPECT_EQ(given[i], saved[i]) << "entity " << i;
}

// A number kept beside a typed record comes back as the file wrote it, kept
// as its value or, in a form the number writer would not give, as text; a
// changed MTEXT rotation is written in place of the direction it was read from.
RC_GTEST_PROP(Preserving, KeptNumbersComeBackAsWritten, ()) {
    char buf[64];
    const double v = *rc::gen::inRange(-2000000, 2000000) / 997.0;
    const std::string fixed(buf, std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, *rc::gen::inRange(0, 12)).ptr);
    const std::string text = *rc::gen::element(fixed, fixed + ".", "0" + fixed, fixed + "e0", "+" + fixed, fixed + "0", std::string("-0.0"));
    TempDir dir;
    WriteFile(dir / "in.dxf", Dxf("0 SECTION\n2 ENTITIES\n0 LINE\n8 0\n48 " + text + "\n1001 APP\n1040 " + text +
                                  "\n0 MTEXT\n8 0\n1 M\n11 1\n21 1\n31 0\n0 ENDSEC\n0 EOF\n"));
    DXFDocument doc;
    doc.SetPreserve(true);
    doc.SetSaveMode(SaveMode::Standard);
    doc.Load(dir / "in.dxf");
    MTEXT_ENT m = doc.ENTITIES()->MTEXTS()->Item(0);
    m.TextRotation = 0.5;
    doc.ENTITIES()->MTEXTS()->LetItem(0, m);
    doc.Save(dir / "out.dxf");
    std::multiset<std::pair<std::string, std::string>> pairs;
    const std::vector<std::string> lines = SplitCrLf(ReadFile(dir / "out.dxf"));
    for (std::size_t i = 0; i + 1 < lines.size(); i += 2) pairs.emplace(lines[i].substr(lines[i].find_first_not_of(' ')), lines[i + 1]);
    RC_ASSERT(pairs.count({"48", text}) == 1 && pairs.count({"1040", text}) == 1);
    RC_ASSERT(pairs.count({"50", "0.5"}) == 1 && pairs.count({"11", "1"}) == 0);
}
