// Block definitions: the BLOCKS section reader and writer and the
// name-keyed block collection.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

BLOCKS ReadBlocks(std::string_view pairs) {
    DXFReader r;
    r.OpenString(Dxf(pairs));
    BLOCKS blocks;
    blocks.ReadSection(r);
    return blocks;
}

// The values of the code-0 pairs of written text, in order.
std::vector<std::string> EntityNames(const std::string& text) {
    std::vector<std::string> names;
    std::size_t pos = 0;
    bool codeLine = true, takeValue = false;
    while (pos < text.size()) {
        std::size_t eol = text.find("\r\n", pos);
        std::string line = text.substr(pos, eol - pos);
        pos = eol + 2;
        if (codeLine)
            takeValue = line == "0";
        else if (takeValue)
            names.push_back(line);
        codeLine = !codeLine;
    }
    return names;
}

// Sets the thread's version mode for one test.
struct VersionModeScope {
    explicit VersionModeScope(int16_t mode) { DXFDocument().SetVersionMode(mode); }
    ~VersionModeScope() { DXFDocument().SetVersionMode(0); }
};

}  // namespace

TEST(BlocksRead, HeaderEntitiesAndSkippedEntityPairs) {
    BLOCKS blocks = ReadBlocks(R"(
        0 BLOCK
        5 20
        100 AcDbEntity
        8 Walls
        100 AcDbBlockBegin
        2 Door
        70 2
        10 1.5
        20 2.5
        30 3.5
        3 Door
        1 xref.dwg
        0 LINE
        8 L
        11 4
        0 ATTDEF
        8 AttLayer
        1 default
        2 TAG
        10 9
        70 1
        0 DIMENSION
        8 DimLayer
        10 7
        20 7
        30 7
        70 33
        1 text
        0 circle
        10 5
        40 1
        0 LINE
        11 6
        0 endblk
        5 21
        100 AcDbEntity
        8 Walls
        100 AcDbBlockEnd
        0 BLOCK
        0 ATTDEF
        2 TAG
        1 value
        8 AttLayer
        0 ENDBLK
        0 ENDSEC
        0 BLOCK
        2 After
    )");
    ASSERT_EQ(blocks.Count(), 2);
    const BLOCK_BLOCK& door = blocks.ItemRef(0);
    EXPECT_EQ(door.LayerName, "Walls");
    EXPECT_EQ(door.BlockName, "Door");
    EXPECT_EQ(door.Flag, 2);
    EXPECT_EQ(door.X, 1.5);
    EXPECT_EQ(door.Y, 2.5);
    EXPECT_EQ(door.Z, 3.5);
    EXPECT_EQ(door.XRefPathName, "xref.dwg");
    ASSERT_EQ(door.LINES->Count(), 2);
    EXPECT_EQ(door.LINES->Item(0).EndX, 4);
    EXPECT_EQ(door.LINES->Item(1).EndX, 6);
    EXPECT_EQ(door.CIRCLES->Count(), 1);
    EXPECT_EQ(door.ATTDEFS->Count(), 0);

    const BLOCK_BLOCK& bare = blocks.ItemRef(1);
    EXPECT_EQ(bare.LayerName, "0");
    EXPECT_EQ(bare.BlockName, "Alap");
    EXPECT_EQ(bare.XRefPathName, "Alap");
    EXPECT_EQ(bare.Flag, 0);
}

TEST(BlocksRead, EmptySectionAndFileEndingInsideBlock) {
    EXPECT_EQ(ReadBlocks("0 ENDSEC\n0 BLOCK\n2 Late\n").Count(), 0);
    BLOCKS cut = ReadBlocks("0 BLOCK\n2 Cut\n0 LINE\n10 1\n");
    ASSERT_EQ(cut.Count(), 1);
    EXPECT_EQ(cut.Item(0).BlockName, "Cut");
    EXPECT_EQ(cut.Item(0).LINES->Count(), 1);
}

TEST(BlocksRead, NameKeptWhenFirstEntityIsAnInsert) {
    BLOCKS blocks = ReadBlocks(R"(
        0 BLOCK
        2 Door
        0 INSERT
        2 Window
        10 1
        0 ENDBLK
        0 BLOCK
        0 INSERT
        2 Frame
        0 ENDBLK
        0 ENDSEC
    )");
    ASSERT_EQ(blocks.Count(), 2);
    EXPECT_EQ(blocks.Item(0).BlockName, "Door");
    ASSERT_EQ(blocks.Item(0).INSERTS->Count(), 1);
    EXPECT_EQ(blocks.Item(0).INSERTS->Item(0).BlockName, "Window");
    EXPECT_EQ(blocks.Item(1).BlockName, "Alap");
}

TEST(BlocksRead, HatchOnlyFromVersionModeSix) {
    constexpr std::string_view text = R"(
        0 BLOCK
        2 Fill
        0 HATCH
        8 HatchLayer
        10 8
        2 SOLID
        70 1
        71 0
        91 0
        75 0
        76 1
        98 0
        0 ENDBLK
        0 ENDSEC
    )";
    {
        VersionModeScope mode(5);
        BLOCKS blocks = ReadBlocks(text);
        ASSERT_EQ(blocks.Count(), 1);
        EXPECT_EQ(blocks.Item(0).HATCHES->Count(), 0);
        EXPECT_EQ(blocks.Item(0).LayerName, "0");
        EXPECT_EQ(blocks.Item(0).X, 0);
        EXPECT_EQ(blocks.Item(0).Flag, 0);
    }
    VersionModeScope mode(6);
    BLOCKS blocks = ReadBlocks(text);
    ASSERT_EQ(blocks.Item(0).HATCHES->Count(), 1);
    EXPECT_EQ(blocks.Item(0).HATCHES->Item(0).Layer, "HatchLayer");
    EXPECT_EQ(blocks.Item(0).LayerName, "0");
}

TEST(BlocksNames, DuplicatesDroppedAndLookupInAnyCase) {
    BLOCKS blocks = ReadBlocks("0 BLOCK\n2 Door\n70 1\n0 ENDBLK\n0 BLOCK\n2 DOOR\n70 2\n0 ENDBLK\n0 ENDSEC\n");
    ASSERT_EQ(blocks.Count(), 1);
    for (std::string_view name : {"door", "DOOR", "Door"}) {
        BLOCK_BLOCK found;
        EXPECT_TRUE(blocks.ItemByName(name, found)) << name;
        EXPECT_EQ(found.Flag, 1);
    }
    BLOCK_BLOCK kept;
    kept.BlockName = "mine";
    EXPECT_FALSE(blocks.ItemByName("Window", kept));
    EXPECT_EQ(kept.BlockName, "mine");
    EXPECT_FALSE(blocks.DeleteByName("Window"));
    EXPECT_EQ(blocks.FindByName("dOOR"), 0);
    EXPECT_TRUE(blocks.DeleteByName("dooR"));
    EXPECT_EQ(blocks.Count(), 0);
}

TEST(BlocksCollections, CreateEntityArraysGivesSharedCollections) {
    BLOCK_BLOCK b;
    b.BlockName = "B";
    BLOCKS::CreateEntityArrays(b);
    const std::vector<int32_t> growLengths = {
        b.ARCS->GrowLength(),     b.CIRCLES->GrowLength(), b.ELLIPSES->GrowLength(),    b.FACE3DS->GrowLength(),
        b.HATCHES->GrowLength(),  b.INSERTS->GrowLength(), b.LINES->GrowLength(),       b.LWPOLYLINES->GrowLength(),
        b.MTEXTS->GrowLength(),   b.POINTS->GrowLength(),  b.POLYLINES->GrowLength(),   b.TEXTS->GrowLength(),
        b.ATTDEFS->GrowLength()};
    EXPECT_EQ(growLengths, std::vector<int32_t>(13, 10));

    BLOCKS blocks;
    blocks.Add(b);
    BLOCK_BLOCK copy = blocks.Item(0);
    copy.LINES->Add(LINE_ENT{});
    EXPECT_EQ(blocks.Item(0).LINES->Count(), 1);
    auto old = copy.LINES;
    BLOCKS::CreateEntityArrays(copy);
    EXPECT_NE(copy.LINES, old);
    EXPECT_EQ(copy.LINES->Count(), 0);
}

TEST(BlocksWrite, OwnModelSpaceReplacesDefaultAndBareBlockHasNoEntities) {
    BLOCKS blocks;
    BLOCK_BLOCK model;  // built by a host: no collections, empty texts
    model.BlockName = "*Model_Space";
    blocks.Add(model);
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { blocks.WriteOut(s); }); }), Dxf(R"(
        0 SECTION
        2 BLOCKS
        0 BLOCK
        5 1
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
        5 2
        100 AcDbEntity
        8 0
        67 1
        100 AcDbBlockEnd
        0 BLOCK
        5 3
        100 AcDbEntity
        8
        100 AcDbBlockBegin
        2 *Model_Space
        70 0
        10 0.
        20 0.
        30 0.
        3 *Model_Space
        1
        0 ENDBLK
        5 4
        100 AcDbEntity
        8
        100 AcDbBlockEnd
        0 ENDSEC
    )"));
    EXPECT_EQ(handle, 4);
}

TEST(BlocksWrite, EntitiesGroupedByTypeAndMissingPathWrittenAsAlap) {
    BLOCKS blocks = ReadBlocks(R"(
        0 BLOCK
        2 Mixed
        8 Parts
        70 0
        10 1
        20 2
        30 0
        0 LINE
        0 CIRCLE
        0 TEXT
        0 ARC
        0 LINE
        0 POINT
        0 ENDBLK
        0 ENDSEC
    )");
    ASSERT_EQ(blocks.Count(), 1);
    int32_t handle = 0;
    std::string out = Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { BLOCKS::WriteBlock(s, blocks.Item(0)); }); });
    EXPECT_EQ(EntityNames(out),
              (std::vector<std::string>{"BLOCK", "ARC", "CIRCLE", "LINE", "LINE", "POINT", "TEXT", "ENDBLK"}));
    EXPECT_TRUE(out.starts_with(Dxf(R"(
        0 BLOCK
        5 1
        100 AcDbEntity
        8 Parts
        100 AcDbBlockBegin
        2 Mixed
        70 0
        10 1.
        20 2.
        30 0.
        3 Mixed
        1 Alap
        0 ARC
        5 2
    )"))) << out;
    EXPECT_TRUE(out.ends_with(Dxf("0 ENDBLK\n5 8\n100 AcDbEntity\n8 Parts\n100 AcDbBlockEnd\n"))) << out;
}
