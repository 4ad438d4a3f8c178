// A new document saves as the complete file below, typed from the tables of
// the format; loaded back and saved again, the entries read take the place of
// the ones saving added.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {

void ExpectSameLines(const std::vector<std::string>& actual, const std::vector<std::string>& expected) {
    for (std::size_t i = 0; i < std::min(actual.size(), expected.size()); ++i) ASSERT_EQ(actual[i], expected[i]) << "line " << i + 1;
    EXPECT_EQ(actual.size(), expected.size());
}

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

}  // namespace

TEST(EmptyDocument, SavesTheWholeFileAndSavesItAgainAfterALoad) {
    TempDir folder;
    DXFDocument doc;
    doc.Save(folder / "empty.dxf");
    std::vector<std::string> expected = PairLines(kEmptyDocument);
    ExpectSameLines(SplitCrLf(ReadFile(folder / "empty.dxf")), expected);

    DXFDocument loaded;
    loaded.Load(folder / "empty.dxf");
    EXPECT_EQ(loaded.TABLES()->LAYERS()->GetArray(), (std::vector<LAYERS_TAB>{{"0", "Continuous", 1, 0}}));
    EXPECT_EQ(loaded.TABLES()->LTYPES()->GetArray(),
              (std::vector<LTYPES_TAB>{{"ByBlock", "", 0, 0, {}}, {"ByLayer", "", 0, 0, {}}}));
    EXPECT_EQ(loaded.TABLES()->STYLES()->Count(), 0);
    ASSERT_EQ(loaded.BLOCKS()->Count(), 2);
    EXPECT_EQ(loaded.BLOCKS()->Item(1).BlockName, "*PAPER_SPACE");
    EXPECT_EQ(loaded.BLOCKS()->Item(1).XRefPathName, "");
    loaded.Save(folder / "again.dxf");
    // The table heads now count the entries read; the paper space read back
    // is an ordinary block, without 67/1.
    for (std::size_t i = 0; i + 7 < expected.size(); i += 2) {
        if (expected[i] == "67") expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(i), expected.begin() + static_cast<std::ptrdiff_t>(i) + 2);
        if (expected[i] == "2" && expected[i + 6] == "70")
            for (auto [table, count] : {std::pair{"LTYPE", "2"}, {"LAYER", "1"}, {"BLOCK_RECORD", "2"}})
                if (expected[i + 1] == table) expected[i + 7] = count;
    }
    ExpectSameLines(SplitCrLf(ReadFile(folder / "again.dxf")), expected);
}
