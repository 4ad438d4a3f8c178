#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "ormavec.h"
#include "test_support.h"

using ormavec::DXFDocument;
using ormavec::DXFWriter;
using ormavec::Error;
using namespace ormavec::test;

namespace {

int32_t loadError(DXFDocument& doc, const std::string& file, std::string* message = nullptr) {
    try {
        doc.Load(file);
    } catch (const Error& e) {
        if (message) *message = e.what();
        return e.number();
    }
    return 0;
}

TEST(DocumentSpine, OnlyEofLoadsNothing) {
    TempDir dir;
    WriteFile(dir / "eof.dxf", CrlfLines({"  0", "EOF", "0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1018", "0", "ENDSEC"}));
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1015);
    doc.HEADER()->SetExtMin({1, 2, 3});
    doc.Load(dir / "eof.dxf");
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1015);  // nothing after EOF is read
    EXPECT_EQ(doc.HEADER()->ExtMin().Y, 2);
    EXPECT_EQ(doc.FileName(), dir / "eof.dxf");
}

TEST(DocumentSpine, SectionNamesAndMarkers) {
    TempDir dir;
    const struct {
        std::string text;
        int32_t version;
    } cases[] = {
        // A section name in lower case is still the HEADER section.
        {LfLines({"0", "SECTION", "2", "header", "9", "$ACADVER", "1", "AC1015", "0", "ENDSEC", "0", "EOF"}), 1015},
        // 0/section in lower case does not start a section: its pairs are dropped.
        {LfLines({"0", "section", "2", "HEADER", "9", "$ACADVER", "1", "AC1015", "0", "ENDSEC", "0", "EOF"}), 0},
        // Nor does "SECTION" under another group code.
        {LfLines({"1", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1015", "0", "ENDSEC", "0", "EOF"}), 0},
        // CLASSES, OBJECTS and unknown sections are read past; no EOF is needed.
        {CrlfLines({"999", "comment", "0", "SECTION", "2", "CLASSES", "0", "CLASS", "1", "LWPOLYLINE", "2", "HEADER", "0", "ENDSEC",
               "0", "SECTION", "2", "THUMBNAILIMAGE", "90", "12", "0", "ENDSEC", "0", "SECTION", "2", "HEADER", "9", "$ACADVER",
               "1", "AC1018", "0", "ENDSEC", "0", "SECTION", "2", "OBJECTS", "0", "DICTIONARY", "5", "C", "0", "ENDSEC"}),
         1018},
    };
    for (const auto& c : cases) {
        WriteFile(dir / "case.dxf", c.text);
        DXFDocument doc;
        doc.Load(dir / "case.dxf");
        EXPECT_EQ(doc.HEADER()->AcadVer(), c.version) << c.text;
    }
}

TEST(DocumentSpine, TextConvertModeReachesTheReader) {
    TempDir dir;
    WriteFile(dir / "utf8.dxf", CrlfLines({"0", "SECTION", "2", "ENTITIES", "0", "LINE", "8", "\xC3\xA9", "10", "1", "20", "2", "30",
                                      "0", "11", "3", "21", "4", "31", "0", "0", "ENDSEC", "0", "EOF"}));
    const struct {
        ormavec::TextConvertMode mode;
        const char* layer;
    } cases[] = {{ormavec::TextConvertMode::FromUTF8, "\xC3\xA9"}, {ormavec::TextConvertMode::None, "\xC4\x82\xC2\xA9"}};
    for (const auto& c : cases) {
        DXFDocument doc;
        doc.SetTextConvertMode(c.mode);
        doc.Load(dir / "utf8.dxf");
        ASSERT_EQ(doc.ENTITIES()->LINES()->Count(), 1);
        EXPECT_EQ(doc.ENTITIES()->LINES()->Item(0).Layer, c.layer);
    }
}

TEST(DocumentSpine, SectionObjectsLastAsLongAsTheDocument) {
    TempDir dir;
    WriteFile(dir / "h.dxf", CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1009", "0", "ENDSEC", "0", "EOF"}));
    DXFDocument doc;
    const auto* header = doc.HEADER().get();
    const auto* entities = doc.ENTITIES().get();
    const auto* blocks = doc.BLOCKS().get();
    const auto* tables = doc.TABLES().get();
    EXPECT_EQ(doc.HEADER()->AcadVer(), 0);
    EXPECT_EQ(doc.ENTITIES()->LINES()->Count(), 0);
    EXPECT_EQ(doc.FileName(), "");
    doc.Load(dir / "h.dxf");
    doc.Load(dir / "h.dxf");
    EXPECT_EQ(doc.HEADER().get(), header);
    EXPECT_EQ(doc.ENTITIES().get(), entities);
    EXPECT_EQ(doc.BLOCKS().get(), blocks);
    EXPECT_EQ(doc.TABLES().get(), tables);
    EXPECT_EQ(header->AcadVer(), 1009);
}

TEST(DocumentSpine, EmptyFileLoadsNothing) {
    TempDir dir;
    WriteFile(dir / "empty.dxf", "");
    DXFDocument doc;
    int events = 0;
    doc.Progress = [&](int32_t&) { ++events; };
    doc.Load(dir / "empty.dxf");
    EXPECT_EQ(events, 0);
    EXPECT_EQ(doc.HEADER()->AcadVer(), 0);
}

TEST(DocumentSpine, VersionModeIsSharedOnAThreadOnly) {
    DXFDocument a, b;
    const int16_t before = a.VersionMode();
    a.SetVersionMode(6);
    EXPECT_EQ(b.VersionMode(), 6);
    DXFDocument c;
    EXPECT_EQ(c.VersionMode(), 6);
    int16_t seen = -1;
    std::thread([&] {
        DXFDocument d;
        seen = d.VersionMode();
        d.SetVersionMode(9);
    }).join();
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(a.VersionMode(), 6);
    b.SetVersionMode(-3);
    EXPECT_EQ(a.VersionMode(), -3);
    EXPECT_EQ(ormavec::CurrentVersionMode(), -3);
    a.SetVersionMode(before);
}

TEST(DocumentSpine, ExplodeChangesNothing) {
    DXFDocument doc;
    doc.ENTITIES()->LINES()->Add(ormavec::LINE_ENT{});
    doc.ENTITIES()->POLYLINES()->Add(ormavec::POLYLINE_ENT{});
    doc.ENTITIES()->LWPOLYLINES()->Add(ormavec::LWPOLYLINE_ENT{});
    doc.ExplodePolyLines();
    doc.ExplodeLWPolyLines();
    EXPECT_EQ(doc.ENTITIES()->LINES()->Count(), 1);
    EXPECT_EQ(doc.ENTITIES()->POLYLINES()->Count(), 1);
    EXPECT_EQ(doc.ENTITIES()->LWPOLYLINES()->Count(), 1);
}

TEST(DocumentSpine, MissingFileSetsFileNameFirst) {
    TempDir dir;
    DXFDocument doc;
    std::string message;
    EXPECT_EQ(loadError(doc, dir / "missing.dxf", &message), ormavec::err::FileNotFound);
    EXPECT_EQ(doc.FileName(), dir / "missing.dxf");
    EXPECT_NE(message.find("missing.dxf"), std::string::npos);
}

TEST(DocumentSpine, ErrorKeepsWhatWasReadAndTheNextLoadWorks) {
    TempDir dir;
    WriteFile(dir / "bad.dxf", CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1015", "9", "$EXTMIN", "10", "1",
                                     "20", "2", "30", "3", "9", "$EXTMAX", "10", "x4", "20", "5", "30", "6", "0", "ENDSEC",
                                     "0", "EOF"}));
    DXFDocument doc;
    std::string message;
    EXPECT_EQ(loadError(doc, dir / "bad.dxf", &message), ormavec::err::TypeMismatch);
    EXPECT_NE(message.find("bad.dxf:20"), std::string::npos) << message;
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1015);
    EXPECT_EQ(doc.HEADER()->ExtMin().Z, 3);

    WriteFile(dir / "good.dxf", CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$EXTMAX", "10", "4", "20", "5", "30", "6", "0",
                                      "ENDSEC", "0", "EOF"}));
    doc.Load(dir / "good.dxf");
    EXPECT_EQ(doc.HEADER()->ExtMax().Y, 5);
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1015);
    EXPECT_EQ(doc.FileName(), dir / "good.dxf");
}

TEST(DocumentSpine, BadNumberInEntitiesKeepsTheHeader) {
    TempDir dir;
    WriteFile(dir / "bad.dxf", CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1018", "0", "ENDSEC", "0",
                                     "SECTION", "2", "ENTITIES", "0", "LINE", "8", "0", "10", "1..5", "20", "0", "30", "0",
                                     "11", "1", "21", "1", "31", "0", "0", "ENDSEC", "0", "EOF"}));
    DXFDocument doc;
    EXPECT_EQ(loadError(doc, dir / "bad.dxf"), ormavec::err::TypeMismatch);
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1018);
    WriteFile(dir / "good.dxf", CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1015", "0", "ENDSEC", "0", "EOF"}));
    doc.Load(dir / "good.dxf");
    EXPECT_EQ(doc.HEADER()->AcadVer(), 1015);
}

TEST(DocumentSpine, CodeLineErrorsNameFileAndLine) {
    TempDir dir;
    const struct {
        std::string text;
        int32_t error;
        const char* where;
    } cases[] = {
        {LfLines({"0", "SECTION", "2", "HEADER", "nine", "$EXTMIN"}), ormavec::err::TypeMismatch, "cut.dxf:5"},
        {LfLines({"0", "SECTION", "2", "HEADER", "99999999999", "$EXTMIN"}), ormavec::err::Overflow, "cut.dxf:5"},
        {LfLines({"0", "SECTION", "2", "HEADER", "0", "ENDSEC", "0"}), ormavec::err::InputPastEndOfFile, "cut.dxf:7"},
    };
    for (const auto& c : cases) {
        WriteFile(dir / "cut.dxf", c.text);
        DXFDocument doc;
        std::string message;
        EXPECT_EQ(loadError(doc, dir / "cut.dxf", &message), c.error) << c.text;
        EXPECT_NE(message.find(c.where), std::string::npos) << message;
    }
}

TEST(DocumentSpine, ProgressIsForwardedByReference) {
    TempDir dir;
    std::string text;
    for (int i = 0; i < 50; ++i) text += "     999\r\nABCDEFGH\r\n";
    WriteFile(dir / "p.dxf", text);
    DXFDocument doc;
    std::vector<int32_t> got;
    doc.Progress = [&](int32_t& p) {
        got.push_back(p);
        p = 100;
    };
    doc.Load(dir / "p.dxf");
    ASSERT_EQ(got.size(), 99u);
    EXPECT_EQ(got.front(), 1);
    EXPECT_EQ(got.back(), 99);
}

TEST(DocumentSpine, FailedSaveLeavesTheOldFileUntouched) {
    TempDir dir;
    const std::string target = dir / "keep.dxf";
    const std::string old = CrlfLines({"0", "SECTION", "2", "HEADER", "0", "ENDSEC", "0", "EOF"});
    WriteFile(target, old);
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1015);
    doc.HEADER()->SetExtMax({1, std::nan(""), 0});  // the writer refuses it halfway through HEADER
    EXPECT_THROW(doc.Save(target), Error);
    EXPECT_EQ(ReadFile(target), old);
    EXPECT_EQ(dir.names(), std::vector<std::string>{"keep.dxf"});
    EXPECT_EQ(doc.FileName(), target);

    // A folder that does not exist: nothing is created anywhere.
    EXPECT_THROW(doc.Save(dir / "no-folder/out.dxf"), Error);
    EXPECT_EQ(dir.names(), std::vector<std::string>{"keep.dxf"});
}

TEST(FixedSections, Classes) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    DXFDocument::WriteClasses(w);
    EXPECT_EQ(out, CrlfLines({"0",  "SECTION", "2",   "CLASSES",          "0",   "CLASS",
                         "1",  "LWPOLYLINE", "2", "AcDbPolyline",    "3",   "AutoCAD",
                         "90", "0",       "280", "0",                "281", "1",
                         "0",  "CLASS",   "1",   "WIPEOUT",          "2",   "AcDbWipeout",
                         "3",  "WIPEOUT", "90",  "127",              "280", "0",
                         "281", "1",      "0",   "CLASS",            "1",   "WIPEOUTVARIABLES",
                         "2",  "AcDbWipeoutVariables", "3", "WIPEOUT", "90", "0",
                         "280", "2",      "281", "0",                "0",   "ENDSEC"}));
}

TEST(FixedSections, ObjectsContinueTheHandleCounter) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    int32_t h = 9;
    WithSave(w, h, [&](ormavec::SaveContext& s) { DXFDocument::WriteObjects(s); });
    EXPECT_EQ(h, 14);
    EXPECT_EQ(out, CrlfLines({"0",   "SECTION",        "2",   "OBJECTS",         "0",   "DICTIONARY",
                         "5",   "A",              "100", "AcDbDictionary",  "3",   "ACAD_GROUP",
                         "350", "B",              "3",   "ACAD_MLINESTYLE", "350", "C",
                         "0",   "DICTIONARY",     "5",   "B",               "100", "AcDbDictionary",
                         "0",   "DICTIONARY",     "5",   "D",               "100", "AcDbDictionary",
                         "0",   "DICTIONARY",     "5",   "C",               "100", "AcDbDictionary",
                         "3",   "STANDARD",       "350", "E",               "0",   "MLINESTYLE",
                         "5",   "E",              "100", "AcDbMlineStyle",  "2",   "STANDARD",
                         "70",  "0",              "3",   "",                "62",  "0",
                         "51",  "90.",            "52",  "90.",             "71",  "2",
                         "49",  "0.5",            "62",  "256",             "6",   "BYLAYER",
                         "49",  "-0.5",           "62",  "256",             "6",   "BYLAYER",
                         "0",   "ENDSEC"}));
}

TEST(FixedSections, ObjectsHandlesFromZeroAndAtTheLimit) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    int32_t h = 0;
    WithSave(w, h, [&](ormavec::SaveContext& s) { DXFDocument::WriteObjects(s); });
    EXPECT_EQ(h, 5);
    EXPECT_NE(out.find("0\r\nMLINESTYLE\r\n5\r\n5\r\n"), std::string::npos);
    h = INT32_MAX - 2;
    EXPECT_THROW(WithSave(w, h, [&](ormavec::SaveContext& s) { DXFDocument::WriteObjects(s); }), Error);
}

TEST(FixedSections, Eof) {
    std::string out;
    DXFWriter w;
    w.OpenString(&out);
    DXFDocument::WriteEof(w);
    EXPECT_EQ(out, "0\r\nEOF\r\n");
}

// Needs the TABLES, BLOCKS and ENTITIES writers.
TEST(DocumentSpine, NewDocumentSavesACompleteFileThatLoadsBack) {
    TempDir dir;
    DXFDocument doc;
    doc.HEADER()->SetAcadVer(1015);
    doc.HEADER()->SetExtMax({10, 20, 0});
    doc.Save(dir / "new.dxf");
    const std::string text = ReadFile(dir / "new.dxf");
    EXPECT_EQ(text.rfind(CrlfLines({"0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1015"}), 0), 0u);
    const std::string tail = CrlfLines({"6", "BYLAYER", "0", "ENDSEC", "0", "EOF"});
    ASSERT_GE(text.size(), tail.size());
    EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
    for (const char* section : {"CLASSES", "TABLES", "BLOCKS", "ENTITIES", "OBJECTS"})
        EXPECT_NE(text.find(std::string("0\r\nSECTION\r\n2\r\n") + section + "\r\n"), std::string::npos) << section;
    DXFDocument back;
    back.Load(dir / "new.dxf");
    EXPECT_EQ(back.HEADER()->AcadVer(), 1015);
    EXPECT_EQ(back.HEADER()->ExtMax().Y, 20);
    EXPECT_EQ(back.ENTITIES()->LINES()->Count(), 0);
    EXPECT_EQ(dir.names(), std::vector<std::string>{"new.dxf"});
}

}  // namespace
