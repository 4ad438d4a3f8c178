// Layer, line type and style tables, and the TABLES section reader and writer.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

TEST(TablesRead, SectionKeepsLayerLtypeStyleAndSkipsTheRest) {
    DXFReader r;
    // Files are single-byte (1250): the two layer names below are Kör and KÖR.
    r.OpenString(Dxf(R"(
        0 TABLE
        2 VPORT
        5 1
        70 1
        0 VPORT
        2 *ACTIVE
        0 ENDTAB
        0 table
        2 LAYER
        0 LAYER
        2 Hidden
        0 TABLE
        2 layer
        5 2
        100 AcDbSymbolTable
        70 5
        0 LAYER
        2 Wall
        62 -7
        70 4
        6 DASHED
        0 LAYER
        2 WALL
        62 3
        0 LAYER
        2 A
        0 layer
        2 K)" "\xF6" R"(r
        0 LAYER
        2 K)" "\xD6" R"(R
        0 ENDTAB
        0 TABLE
        2 LTYPE
        0 LTYPE
        2 CONTINUOUS
        73 0
        0 LTYPE
        2 Dashdot
        3 __ . __
        72 65
        73 2
        40 1.5
        49 1.0
        74 0
        49 -0.25
        49 0.0
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
        0 STYLE
        0 STYLE
        2 Slanted
        3 romans.shx
        40 2.5
        41 0.8
        42 3.0
        50 15.0
        70 1
        71 4
        0 ENDTAB
        0 ENDSEC
        0 AFTER
    )"));
    TABLES t;
    t.ReadSection(r);
    EXPECT_EQ(r.Read().Value, "AFTER");  // stops right after ENDSEC

    // "table" in lower case starts no table: the layer Hidden is not read.
    const LAYERS& layers = *t.LAYERS();
    ASSERT_EQ(layers.Count(), 3);
    EXPECT_EQ(layers.Item(0), (LAYERS_TAB{"Wall", "DASHED", -7, 4}));
    EXPECT_EQ(layers.Item(1), (LAYERS_TAB{"A", "Continuous", 1, 0}));
    EXPECT_EQ(layers.Item(2).LayerName, "Kör");

    const LTYPES& lt = *t.LTYPES();
    ASSERT_EQ(lt.Count(), 2);  // the bare entry is a duplicate Continuous
    EXPECT_EQ(lt.Item(0), (LTYPES_TAB{"CONTINUOUS", "Folytonos", 0, 0, {}}));
    EXPECT_EQ(lt.Item(1), (LTYPES_TAB{"Dashdot", "__ . __", 1.5, 2, {{1.0}, {-0.25}, {0.0}}}));

    const STYLES& st = *t.STYLES();
    ASSERT_EQ(st.Count(), 2);
    EXPECT_EQ(st.Item(0), (STYLES_TAB{"Standard", "txt.shx", 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(st.Item(1), (STYLES_TAB{"Slanted", "romans.shx", 2.5, 0.8, 15.0, 1, 4, 3.0}));
}

TEST(TablesRead, OnlyFixedTablesLeaveCollectionsEmptyAndEndOfFileIsQuiet) {
    DXFReader r;
    r.OpenString(Dxf("0 TABLE\n2 VPORT\n0 ENDTAB\n0 TABLE\n2 DIMSTYLE\n0 ENDTAB\n0 ENDSEC\n"));
    TABLES t;
    t.ReadSection(r);
    EXPECT_EQ(t.LAYERS()->Count() + t.LTYPES()->Count() + t.STYLES()->Count(), 0);

    for (std::string_view cut : {"0 TABLE\n", "0 TABLE\n2 LAYER\n0 LAYER\n2 X\n62 2\n"}) {
        DXFReader end;
        end.OpenString(Dxf(cut));
        TABLES u;
        EXPECT_NO_THROW(u.ReadSection(end));
        EXPECT_LE(u.LAYERS()->Count(), 1);
    }
}

TEST(TablesRead, BadNumbersFailWithTypeMismatch) {
    for (std::string_view text : {"0 TABLE\n2 LAYER\n0 LAYER\n62 red\n", "0 TABLE\n2 LTYPE\n0 LTYPE\n49 x\n",
                                  "0 TABLE\n2 STYLE\n0 STYLE\n71 bold\n"}) {
        DXFReader r;
        r.OpenString(Dxf(text));
        TABLES t;
        EXPECT_EQ(ErrorNumberOf([&] { t.ReadSection(r); }), err::TypeMismatch) << text;
    }
}

TEST(TablesNames, LookupIgnoresCaseOfEveryLetter) {
    LAYERS layers;
    layers.Add({"Kör", "Continuous", 1, 0});
    layers.Add({"KÖR", "Continuous", 2, 0});
    layers.Add({"Wall", "Continuous", 3, 0});
    EXPECT_EQ(layers.Count(), 2);
    LAYERS_TAB found{"untouched", "", 0, 0};
    EXPECT_TRUE(layers.ItemByName("kÖr", found));
    EXPECT_EQ(found.ColorNumber, 1);
    EXPECT_FALSE(layers.ItemByName("Door", found));
    EXPECT_EQ(found.ColorNumber, 1);
    EXPECT_FALSE(layers.DeleteByName("Door"));
    EXPECT_TRUE(layers.DeleteByName("KÖR"));
    ASSERT_EQ(layers.Count(), 1);
    EXPECT_EQ(layers.Item(0).LayerName, "Wall");

    STYLES styles;
    styles.Add({"Standard", "a.shx", 0, 0, 0, 0, 0, 0});
    styles.Add({"STANDARD", "b.shx", 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(styles.Count(), 1);
    EXPECT_EQ(styles.Item(0).FontName, "a.shx");
}

TEST(TablesWrite, LayersAddDefaultLayerZeroWithoutCountingIt) {
    LAYERS layers;
    layers.Add({"Wall", "", -5, 1});
    int32_t handle = 9;
    std::string out = Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { layers.WriteOut(s); }); });
    EXPECT_EQ(out, Dxf(R"(
        2 LAYER
        5 A
        100 AcDbSymbolTable
        70 1
        0 LAYER
        5 B
        100 AcDbSymbolTableRecord
        100 AcDbLayerTableRecord
        2 0
        6 Continuous
        62 1
        70 0
        390 F
        0 LAYER
        5 C
        100 AcDbSymbolTableRecord
        100 AcDbLayerTableRecord
        2 Wall
        6
        62 -5
        70 1
        390 F
    )"));
    EXPECT_EQ(handle, 12);

    layers.Add({"0", "Dashed", 7, 0});
    out = Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { layers.WriteOut(s); }); });
    EXPECT_EQ(out.find("6\r\nContinuous"), std::string::npos);  // no default layer now
    EXPECT_NE(out.find("70\r\n2\r\n0\r\nLAYER"), std::string::npos);
    EXPECT_EQ(handle, 15);
}

TEST(TablesWrite, LtypesAddByBlockAndByLayerWhenMissing) {
    LTYPES lt;
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { lt.WriteOut(s); }); }), Dxf(R"(
        2 LTYPE
        5 1
        100 AcDbSymbolTable
        70 0
        0 LTYPE
        5 2
        100 AcDbSymbolTableRecord
        100 AcDbLinetypeTableRecord
        2 ByBlock
        70 0
        3
        72 65
        73 0
        40 0.
        0 LTYPE
        5 3
        100 AcDbSymbolTableRecord
        100 AcDbLinetypeTableRecord
        2 ByLayer
        70 0
        3
        72 65
        73 0
        40 0.
    )"));

    lt.Add({"byblock", "", 0, 0, {}});
    lt.Add({"Dashdot", "d", 1.5, 2, {{1.0}, {-0.25}, {0.5}}});
    handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { lt.WriteOut(s); }); }), Dxf(R"(
        2 LTYPE
        5 1
        100 AcDbSymbolTable
        70 2
        0 LTYPE
        5 2
        100 AcDbSymbolTableRecord
        100 AcDbLinetypeTableRecord
        2 ByLayer
        70 0
        3
        72 65
        73 0
        40 0.
        0 LTYPE
        5 3
        100 AcDbSymbolTableRecord
        100 AcDbLinetypeTableRecord
        2 byblock
        70 0
        3
        72 65
        73 0
        40 0.
        0 LTYPE
        5 4
        100 AcDbSymbolTableRecord
        100 AcDbLinetypeTableRecord
        2 Dashdot
        70 0
        3 d
        72 65
        73 2
        40 1.5
        49 1.
        74 0
        49 -0.25
        74 0
    )"));
}

TEST(TablesWrite, LineElementCountAbovePatternFailsAtFirstMissingElement) {
    LTYPES lt;
    lt.Add({"BYBLOCK", "", 0, 0, {}});
    lt.Add({"BYLAYER", "", 0, 0, {}});
    lt.Add({"Short", "", 1, 2, {{0.5}}});
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    int32_t handle = 0;
    EXPECT_EQ(ErrorNumberOf([&] { WithSave(w, handle, [&](SaveContext& s) { lt.WriteOut(s); }); }), err::SubscriptOutOfRange);
    w.CloseOutput();
    EXPECT_TRUE(out.ends_with("40\r\n1.\r\n49\r\n0.5\r\n74\r\n0\r\n")) << out;

    LTYPES unallocated;
    unallocated.Add({"None", "", 0, 1, {}});
    EXPECT_EQ(ErrorNumberOf([&] { Written([&](DXFWriter& x) { WithSave(x, handle, [&](SaveContext& s) { unallocated.WriteOut(s); }); }); }),
              err::SubscriptOutOfRange);
}

TEST(TablesWrite, StylesWriteExactlyTheirRecords) {
    STYLES st;
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { st.WriteOut(s); }); }),
              Dxf("2 STYLE\n5 1\n100 AcDbSymbolTable\n70 0\n"));
    st.Add({"Slanted", "romans.shx", 2.5, 0.8, 15.0, 1, 4, 3.0});
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { st.WriteOut(s); }); }), Dxf(R"(
        2 STYLE
        5 2
        100 AcDbSymbolTable
        70 1
        0 STYLE
        5 3
        100 AcDbSymbolTableRecord
        100 AcDbTextStyleTableRecord
        2 Slanted
        3 romans.shx
        4
        41 0.8
        50 15.
        42 3.
        40 2.5
        71 4
        70 1
    )"));
}

TEST(TablesWrite, BlockRecordCountsBlocksAndKeepsOwnSpaceBlocks) {
    BLOCKS blocks;
    BLOCK_BLOCK b;
    b.BlockName = "*Model_Space";
    blocks.Add(b);
    b.BlockName = "Door";
    blocks.Add(b);
    int32_t handle = 0;
    EXPECT_EQ(Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { TABLES::WriteBlockRecord(s, blocks); }); }), Dxf(R"(
        2 BLOCK_RECORD
        5 1
        100 AcDbSymbolTable
        70 2
        0 BLOCK_RECORD
        5 2
        100 AcDbSymbolTableRecord
        100 AcDbBlockTableRecord
        2 *PAPER_SPACE
        0 BLOCK_RECORD
        5 3
        100 AcDbSymbolTableRecord
        100 AcDbBlockTableRecord
        2 *Model_Space
        0 BLOCK_RECORD
        5 4
        100 AcDbSymbolTableRecord
        100 AcDbBlockTableRecord
        2 Door
    )"));
}

TEST(TablesWrite, VportCarriesTheView) {
    int32_t handle = 0;
    std::string out = Written([&](DXFWriter& w) { WithSave(w, handle, [&](SaveContext& s) { TABLES::WriteVport(s, 12.5, -3.0, 40.0); }); });
    EXPECT_NE(out.find("12\r\n12.5\r\n22\r\n-3.\r\n"), std::string::npos);
    EXPECT_NE(out.find("40\r\n40.\r\n41\r\n1.826004\r\n"), std::string::npos);
    EXPECT_EQ(handle, 2);
}
