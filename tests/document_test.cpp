// The document as a whole: loading adds to the model, a failed load keeps
// what it read, the version mode is per thread and decides what is read, a
// failed save leaves the old file as it was.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

const std::string kDrawing = Dxf(R"(0 SECTION
    2 HEADER
    9 $ACADVER
    1 AC1015
    9 $EXTMIN
    10 1
    20 2
    30 3
    0 ENDSEC
    0 SECTION
    2 TABLES
    0 TABLE
    2 LAYER
    0 LAYER
    2 Walls
    0 ENDTAB
    0 ENDSEC
    0 SECTION
    2 BLOCKS
    0 BLOCK
    2 Tree
    0 HATCH
    91 0
    0 ENDBLK
    0 ENDSEC
    0 SECTION
    2 ENTITIES
    0 LINE
    10 1
    0 ENDSEC
    0 EOF)");

TEST(Document, LoadAddsToTheModelAndEachHeaderSetsItsExtents) {
    TempDir dir;
    WriteFile(dir / "a.dxf", kDrawing);
    WriteFile(dir / "b.dxf", Dxf("0 SECTION\n2 HEADER\n9 $EXTMAX\n10 4\n20 5\n30 6\n0 ENDSEC\n0 EOF\n"));
    DXFDocument doc;
    const HEADER* header = doc.HEADER().get();
    doc.Load(dir / "a.dxf");
    doc.Load(dir / "a.dxf");
    EXPECT_EQ(doc.HEADER().get(), header);
    EXPECT_EQ(doc.ENTITIES()->LINES()->Count(), 2);
    EXPECT_EQ(doc.TABLES()->LAYERS()->Count(), 1);  // one entry per name
    EXPECT_EQ(doc.BLOCKS()->Count(), 1);
    doc.TABLES()->LAYERS()->Clear();
    doc.Load(dir / "b.dxf");
    EXPECT_EQ(doc.FileName(), dir / "b.dxf");
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1015);  // kept: the second header has none
    EXPECT_EQ(doc.HEADER()->ExtMin(), (XYZ{0, 0, 0}));
    EXPECT_EQ(doc.HEADER()->ExtMax(), (XYZ{4, 5, 6}));
    EXPECT_EQ(doc.TABLES()->LAYERS()->Count(), 0);
    doc.ExplodePolyLines();  // part of the interface, changing nothing
    doc.ExplodeLWPolyLines();
    EXPECT_EQ(doc.ENTITIES()->LINES()->Count(), 2);
}

// Every document on a thread shares one version mode; below 6 the hatches
// of blocks are not read.
TEST(Document, VersionModeIsPerThreadAndDecidesWhetherHatchesAreRead) {
    TempDir dir;
    WriteFile(dir / "a.dxf", kDrawing);
    DXFDocument a, b;
    const int16_t before = a.VersionMode();
    for (int16_t mode : {5, 6}) {
        a.SetVersionMode(mode);
        EXPECT_EQ(CurrentVersionMode(), mode);
        DXFDocument doc;
        doc.Load(dir / "a.dxf");
        EXPECT_EQ(doc.BLOCKS()->ItemRef(0).HATCHES->Count(), mode == 6 ? 1 : 0);
    }
    EXPECT_EQ(b.VersionMode(), 6);
    int16_t seen = -1;
    std::thread([&] { seen = DXFDocument().VersionMode(); }).join();
    EXPECT_EQ(seen, 0);
    a.SetVersionMode(before);
}

TEST(Document, FailedLoadKeepsWhatWasReadAndTheDocumentGoesOn) {
    TempDir dir;
    DXFDocument doc;
    EXPECT_EQ(ErrorNumberOf([&] { doc.Load(dir / "missing.dxf"); }), err::FileNotFound);
    EXPECT_EQ(doc.FileName(), dir / "missing.dxf");
    EXPECT_NE(std::string(Raised([&] { doc.Load(dir / "missing.dxf"); }).what()).find("missing.dxf"), std::string::npos);

    WriteFile(dir / "bad.dxf", Dxf("0 SECTION\n2 ENTITIES\n0 LINE\n10 1\n0 LINE\n10 2\n0 LINE\n10 ten\n0 ENDSEC\n0 EOF\n"));
    EXPECT_EQ(ErrorNumberOf([&] { doc.Load(dir / "bad.dxf"); }), err::TypeMismatch);
    ASSERT_EQ(doc.ENTITIES()->LINES()->Count(), 2);
    WriteFile(dir / "a.dxf", kDrawing);
    doc.Load(dir / "a.dxf");
    ASSERT_EQ(doc.ENTITIES()->LINES()->Count(), 3);
    doc.Save(dir / "saved.dxf");
    DXFDocument again;
    again.Load(dir / "saved.dxf");
    EXPECT_EQ(again.ENTITIES()->LINES()->Item(1).StartX, 2.0);
}

// The handler sees each new percentage and may change it.
TEST(Document, ProgressReachesTheHandler) {
    TempDir dir;
    std::string text;
    for (int i = 0; i < 50; ++i) text += "     999\r\nABCDEFGH\r\n";
    WriteFile(dir / "p.dxf", text);
    DXFDocument doc;
    std::vector<int32_t> got;
    doc.Progress = [&](int32_t& p) { got.push_back(std::exchange(p, 100)); };
    doc.Load(dir / "p.dxf");
    ASSERT_EQ(got.size(), 99u);
    EXPECT_EQ(got.front(), 1);
    EXPECT_EQ(got.back(), 99);
}

mode_t ModeOf(const std::string& path) {
    struct stat st {};
    EXPECT_EQ(::stat(path.c_str(), &st), 0) << path;
    return st.st_mode & 07777;
}

// A save that fails halfway leaves the file it replaces as it was (contents
// and permissions) and no other file; a save that succeeds keeps the
// permissions.
TEST(Document, FailedSaveLeavesTheOldFile) {
    const struct {
        const char* name;
        std::function<void(DXFDocument&)> fill;
        int32_t error;
    } cases[] = {
        {"a drawing that saves", [](DXFDocument&) {}, 0},
        {"an extent that is not a number", [](DXFDocument& d) { d.HEADER()->SetExtMax({1, std::nan(""), 0}); }, err::Overflow},
        {"a polyline without vertices", [](DXFDocument& d) { d.ENTITIES()->POLYLINES()->Add(POLYLINE_ENT{}); }, err::SubscriptOutOfRange},
        {"a line type counting more elements than it has",
         [](DXFDocument& d) { d.TABLES()->LTYPES()->Add(LTYPES_TAB{"Short", "", 1, 2, {{0.5}}}); }, err::SubscriptOutOfRange},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const std::string target = dir / "keep.dxf";
        WriteFile(target, "old");
        ASSERT_EQ(::chmod(target.c_str(), 0640), 0);
        DXFDocument doc;
        c.fill(doc);
        EXPECT_EQ(ErrorNumberOf([&] { doc.Save(target); }), c.error);
        EXPECT_EQ(ReadFile(target) == "old", c.error != 0);
        EXPECT_EQ(ModeOf(target), 0640u);
        EXPECT_EQ(doc.FileName(), target);
        EXPECT_EQ(ErrorNumberOf([&] { doc.Save(dir / "new.dxf"); }), c.error);
        EXPECT_NE(ErrorNumberOf([&] { doc.Save(dir / "no-folder/out.dxf"); }), 0);
        EXPECT_EQ(dir.entries(), c.error ? 1u : 2u);
    }
}

// The view of the active viewport is centred on the extents and as high.
TEST(Document, SaveCentresTheViewOnTheExtents) {
    TempDir dir;
    DXFDocument doc;
    doc.HEADER()->SetExtMin({0, -23, 0});
    doc.HEADER()->SetExtMax({25, 17, 0});
    doc.Save(dir / "v.dxf");
    const std::string text = ReadFile(dir / "v.dxf");
    EXPECT_NE(text.find("\r\n12\r\n12.5\r\n22\r\n-3.\r\n"), std::string::npos);
    EXPECT_NE(text.find("\r\n40\r\n40.\r\n41\r\n1.826004\r\n"), std::string::npos);
}

TEST(Document, VersionTextsAndTheHandleLimit) {
    EXPECT_EQ(HEADER::ParseVersion("AC1015"), 1015);
    EXPECT_EQ(HEADER::ParseVersion("X 7"), 7);
    EXPECT_EQ(HEADER::ParseVersion("AC"), 0);
    EXPECT_EQ(ErrorNumberOf([] { HEADER::ParseVersion("AC1015a"); }), err::TypeMismatch);
    EXPECT_EQ(ErrorNumberOf([] { HEADER::ParseVersion("AC99999999999"); }), err::Overflow);
    // The fixed objects take five handles; the counter may not pass 2^31 - 1.
    int32_t handle = INT32_MAX - 5;
    Written([&](DXFWriter& w) { WithSave(w, handle, [](SaveContext& s) { DXFDocument::WriteObjects(s); }); });
    EXPECT_EQ(handle, INT32_MAX);
    handle = INT32_MAX - 4;
    EXPECT_EQ(ErrorNumberOf([&] { Written([&](DXFWriter& w) { WithSave(w, handle, [](SaveContext& s) { DXFDocument::WriteObjects(s); }); }); }),
              err::Overflow);
}

}  // namespace
