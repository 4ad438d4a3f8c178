// Hostile drawings: counts that lie, endless sequences, huge lines and
// values that are not numbers. Each must end in a clear error or in the
// model the reading rules give, never in a crash, a hang or an allocation
// that the input cannot fill.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "ormavec.h"

namespace fs = std::filesystem;
using namespace ormavec;

namespace {

class TempFile {
public:
    TempFile() {
        std::string tmpl = (fs::temp_directory_path() / "ormavec-hostile-XXXXXX").string();
        if (!::mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp");
        dir_ = tmpl;
    }
    ~TempFile() {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    const fs::path& Dir() const { return dir_; }
    std::string Write(const std::string& bytes, const char* name = "in.dxf") const {
        std::string path = (dir_ / name).string();
        std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
        return path;
    }

private:
    fs::path dir_;
};

std::string Section(const std::string& name, const std::string& body, bool withEnd = true) {
    return "0\nSECTION\n2\n" + name + "\n" + body + (withEnd ? "0\nENDSEC\n" : "");
}

std::string Repeat(const std::string& s, int n) {
    std::string out;
    out.reserve(s.size() * static_cast<std::size_t>(n));
    for (int i = 0; i < n; ++i) out += s;
    return out;
}

// A block holding one hatch whose body follows; hatches are read in blocks.
std::string HatchFile(const std::string& hatchBody) {
    return Section("BLOCKS", "0\nBLOCK\n2\nB\n0\nHATCH\n8\n0\n" + hatchBody + "0\nENDBLK\n") + "0\nEOF\n";
}

std::string LineWithStartX(const std::string& x) {
    return Section("ENTITIES", "0\nLINE\n8\n0\n10\n" + x + "\n20\n2\n") + "0\nEOF\n";
}

std::string LwPolyline(int vertices) {
    std::string body = "0\nLWPOLYLINE\n90\n" + std::to_string(vertices) + "\n";
    body.reserve(body.size() + static_cast<std::size_t>(vertices) * 14);
    for (int i = 0; i < vertices; ++i) body += "10\n" + std::to_string(i % 1000) + "\n20\n1\n";
    return Section("ENTITIES", body) + "0\nEOF\n";
}

struct Case {
    const char* name;
    std::function<std::string()> input;
    int32_t error;  // 0: the load succeeds
    std::function<void(const DXFDocument&)> check;
};

BLOCK_BLOCK FirstBlock(const DXFDocument& d) { return d.BLOCKS()->Item(0); }

std::vector<Case> Cases() {
    const std::string path93 = "91\n1\n92\n2\n72\n0\n73\n1\n93\n";
    return {
        // Counts of the hatch: refused before anything is allocated for them.
        {"hatch 91 negative", [] { return HatchFile("91\n-1\n92\n2\n"); }, err::SubscriptOutOfRange, nullptr},
        {"hatch 91 2^31-1", [] { return HatchFile("91\n2147483647\n92\n2\n"); }, err::InputPastEndOfFile, nullptr},
        {"hatch 93 negative", [=] { return HatchFile(path93 + "-1\n10\n0\n20\n0\n"); }, err::SubscriptOutOfRange, nullptr},
        {"hatch 93 2^31-1", [=] { return HatchFile(path93 + "2147483647\n10\n0\n20\n0\n"); }, err::InputPastEndOfFile, nullptr},
        {"hatch 93 huge, file padded", [=] { return HatchFile(path93 + "100000000\n" + Repeat("10\n1\n", 1000)); },
         err::InputPastEndOfFile, nullptr},
        {"hatch 98 negative", [] { return HatchFile("98\n-1\n10\n0\n20\n0\n"); }, err::SubscriptOutOfRange, nullptr},
        {"hatch 98 2^31-1", [] { return HatchFile("98\n2147483647\n10\n0\n20\n0\n"); }, err::InputPastEndOfFile, nullptr},
        {"hatch edges 2^31-1", [] { return HatchFile("91\n1\n92\n1\n93\n2147483647\n72\n1\n"); }, err::InputPastEndOfFile,
         nullptr},
        {"hatch edges negative", [] { return HatchFile("91\n1\n92\n1\n93\n-7\n72\n1\n"); }, err::SubscriptOutOfRange, nullptr},
        {"hatch counts that fit",
         [=] { return HatchFile(path93 + "2\n10\n1\n20\n2\n10\n3\n20\n4\n97\n0\n98\n1\n10\n5\n20\n6\n"); }, 0,
         [](const DXFDocument& d) {
             HATCH_ENT h = FirstBlock(d).HATCHES->Item(0);
             ASSERT_EQ(h.Boundaries.size(), 1u);
             const auto* path = h.Boundaries[0].RecordIf<HATCH_BOUNDARY_POLYLINE>();
             ASSERT_TRUE(path);
             EXPECT_EQ(path->POINTS.size(), 2u);
             ASSERT_EQ(h.Seedpoints.size(), 1u);
             EXPECT_EQ(h.Seedpoints[0].Y, 6.0);
         }},

        // Lines.
        {"10 MB value line",
         [] { return Section("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, 'L') + "\n10\n1\n") + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Item(0).Layer.size(), std::size_t(10) << 20); }},
        // Text that grows when decoded: every byte 0xE9 becomes two bytes.
        {"10 MB value of high bytes",
         [] { return Section("ENTITIES", "0\nLINE\n8\n" + std::string(10 << 20, '\xE9') + "\n") + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Item(0).Layer.size(), std::size_t(20) << 20); }},
        {"1 MB section name upper-cased", [] { return "0\nSECTION\n2\n" + std::string(1 << 20, '\xDF') + "\n0\nEOF\n"; }, 0,
         nullptr},
        {"single 10 MB line without line end", [] { return std::string(10 << 20, '7'); }, err::Overflow, nullptr},
        {"single line of letters without line end", [] { return std::string(1 << 20, 'x'); }, err::TypeMismatch, nullptr},
        {"only code lines, even count", [] { return Repeat("0\n", 1000); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Count(), 0); }},
        {"only code lines, odd count", [] { return Repeat("0\n", 1001); }, err::InputPastEndOfFile, nullptr},
        {"NUL in a code line", [] { return std::string("0\nSECTION\n2\nENTITIES\n0\0\nLINE\n", 29); }, err::TypeMismatch,
         nullptr},
        {"NUL in a value", [] { return Section("ENTITIES", std::string("0\nLINE\n8\nA\0B\n", 13)) + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Item(0).Layer, std::string("A\0B", 3)); }},
        {"code 99999999999", [] { return "99999999999\nx\n"; }, err::Overflow, nullptr},

        // Numbers.
        {"value nan", [] { return LineWithStartX("nan"); }, err::TypeMismatch, nullptr},
        {"value inf", [] { return LineWithStartX("inf"); }, err::TypeMismatch, nullptr},
        {"value 1e999", [] { return LineWithStartX("1e999"); }, err::Overflow, nullptr},
        {"value -0", [] { return LineWithStartX("-0"); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Item(0).StartX, 0.0); }},
        {"integer 1e999", [] { return Section("ENTITIES", "0\nLINE\n62\n1e999\n") + "0\nEOF\n"; }, err::Overflow, nullptr},

        // Sequences that never end.
        {"POLYLINE with 100k VERTEX and no SEQEND",
         [] { return Section("ENTITIES", "0\nPOLYLINE\n66\n1\n" + Repeat("0\nVERTEX\n10\n1\n20\n2\n", 100000)) + "0\nEOF\n"; },
         0, [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->POLYLINES()->Item(0).Vertices.size(), 100000u); }},
        {"INSERT with 100k ATTRIB and no SEQEND",
         [] { return Section("ENTITIES", "0\nINSERT\n2\nB\n66\n1\n" + Repeat("0\nATTRIB\n2\nT\n1\nv\n", 100000), false); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->INSERTS()->Item(0).ATTRIBS->Count(), 100000); }},
        {"BLOCK without ENDBLK",
         [] { return Section("BLOCKS", "0\nBLOCK\n2\nB\n" + Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0,
         [](const DXFDocument& d) {
             ASSERT_EQ(d.BLOCKS()->Count(), 1);
             EXPECT_EQ(FirstBlock(d).LINES->Count(), 1000);
         }},
        {"ENTITIES without ENDSEC", [] { return Section("ENTITIES", Repeat("0\nLINE\n10\n1\n", 1000), false); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LINES()->Count(), 1000); }},
        {"TABLES without ENDTAB and ENDSEC", [] { return Section("TABLES", "0\nTABLE\n2\nLAYER\n0\nLAYER\n2\nL1\n", false); }, 0,
         [](const DXFDocument& d) { EXPECT_GE(d.TABLES()->LAYERS()->Count(), 1); }},
        {"HEADER without ENDSEC", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n30\n3\n", false); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.HEADER()->ExtMin().Y, 2.0); }},
        // A point is read as exactly three pairs, so the file cannot end in one.
        {"HEADER ending inside a 2D point", [] { return Section("HEADER", "9\n$EXTMIN\n10\n1\n20\n2\n", false); },
         err::InputPastEndOfFile, nullptr},

        // Children without their parent.
        {"VERTEX and SEQEND without POLYLINE",
         [] { return Section("ENTITIES", "0\nVERTEX\n10\n1\n0\nSEQEND\n0\nLINE\n10\n5\n") + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) {
             EXPECT_EQ(d.ENTITIES()->POLYLINES()->Count(), 0);
             EXPECT_EQ(d.ENTITIES()->LINES()->Count(), 1);
         }},
        {"ATTRIB without INSERT", [] { return Section("ENTITIES", "0\nATTRIB\n2\nT\n0\nSEQEND\n") + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) {
             EXPECT_EQ(d.ENTITIES()->ATTRIBS()->Count(), 0);
             EXPECT_EQ(d.ENTITIES()->INSERTS()->Count(), 0);
         }},
        {"ENDBLK without BLOCK", [] { return Section("BLOCKS", "0\nENDBLK\n0\nLINE\n10\n1\n") + "0\nEOF\n"; }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.BLOCKS()->Count(), 0); }},
        {"HATCH in ENTITIES", [] { return Section("ENTITIES", "0\nHATCH\n91\n2147483647\n") + "0\nEOF\n"; }, 0, nullptr},

        // Big but honest.
        {"LWPOLYLINE with 1e6 vertices", [] { return LwPolyline(1000000); }, 0,
         [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1000000u); }},
        {"LWPOLYLINE whose 90 claims 2^31-1", [] { return Section("ENTITIES", "0\nLWPOLYLINE\n90\n2147483647\n10\n1\n20\n2\n") + "0\nEOF\n"; },
         0, [](const DXFDocument& d) { EXPECT_EQ(d.ENTITIES()->LWPOLYLINES()->Item(0).POINTS.size(), 1u); }},
    };
}

TEST(HostileInput, EachCaseGivesItsErrorOrItsModel) {
    TempFile file;
    for (const Case& c : Cases()) {
        SCOPED_TRACE(c.name);
        DXFDocument doc;
        doc.SetVersionMode(6);
        const std::string path = file.Write(c.input());
        int32_t got = 0;
        std::string message;
        try {
            doc.Load(path);
        } catch (const Error& e) {
            got = e.number();
            message = e.what();
        }
        EXPECT_EQ(got, c.error) << message;
        if (got != 0) {
            EXPECT_FALSE(message.empty());
        }
        if (c.check && got == 0) c.check(doc);
    }
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

mode_t ModeOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return st.st_mode & 07777;
}

std::vector<std::string> FilesIn(const fs::path& dir) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(dir)) names.push_back(e.path().filename().string());
    return names;
}

TEST(SafeSave, ReplacingAFileKeepsItsPermissions) {
    TempFile file;
    const std::string target = file.Write("old", "drawing.dxf");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    DXFDocument doc;
    doc.Save(target);
    EXPECT_EQ(ModeOf(target), 0640u);
    EXPECT_EQ(ReadAll(target).substr(0, 10), "0\r\nSECTION");
    EXPECT_EQ(FilesIn(file.Dir()), std::vector<std::string>{"drawing.dxf"});
}

TEST(SafeSave, AnErrorInTheEntitiesLeavesTheOldFileAndNoTemporaryFile) {
    TempFile file;
    const std::string target = file.Write("old contents", "drawing.dxf");
    ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
    DXFDocument doc;
    LINE_ENT line;
    line.EndX = 1;
    doc.ENTITIES()->LINES()->Add(line);
    doc.ENTITIES()->POLYLINES()->Add(POLYLINE_ENT{});  // no vertices: the writer refuses it
    try {
        doc.Save(target);
        ADD_FAILURE() << "a polyline without vertices was saved";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::SubscriptOutOfRange) << e.what();
    }
    EXPECT_EQ(ReadAll(target), "old contents");
    EXPECT_EQ(ModeOf(target), 0640u);
    EXPECT_EQ(FilesIn(file.Dir()), std::vector<std::string>{"drawing.dxf"});
    // The same failure where no file was before leaves nothing behind.
    const std::string fresh = (file.Dir() / "new.dxf").string();
    EXPECT_THROW(doc.Save(fresh), Error);
    EXPECT_EQ(FilesIn(file.Dir()), std::vector<std::string>{"drawing.dxf"});
}

TEST(FailedLoad, WhatWasReadStaysAndTheDocumentGoesOn) {
    TempFile file;
    const std::string broken = file.Write(Section("ENTITIES", "0\nLINE\n10\n1\n0\nLINE\n10\n2\n0\nLINE\n10\nten\n") + "0\nEOF\n",
                                          "broken.dxf");
    const std::string good = file.Write(Section("ENTITIES", "0\nLINE\n10\n3\n") + "0\nEOF\n", "good.dxf");
    DXFDocument doc;
    try {
        doc.Load(broken);
        ADD_FAILURE() << "a coordinate \"ten\" was read";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), err::TypeMismatch);
        EXPECT_NE(std::string(e.what()).find("broken.dxf"), std::string::npos) << e.what();
    }
    ASSERT_EQ(doc.ENTITIES()->LINES()->Count(), 2);
    EXPECT_EQ(doc.ENTITIES()->LINES()->Item(1).StartX, 2.0);

    doc.Load(good);
    ASSERT_EQ(doc.ENTITIES()->LINES()->Count(), 3);
    EXPECT_EQ(doc.ENTITIES()->LINES()->Item(2).StartX, 3.0);

    const std::string saved = (file.Dir() / "saved.dxf").string();
    doc.Save(saved);
    DXFDocument again;
    again.Load(saved);
    ASSERT_EQ(again.ENTITIES()->LINES()->Count(), 3);
    EXPECT_EQ(again.ENTITIES()->LINES()->Item(0).StartX, 1.0);
}

}  // namespace
