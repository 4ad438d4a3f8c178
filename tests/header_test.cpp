#include <gtest/gtest.h>

#include <string>

#include "document/header.h"
#include "io/error.h"
#include "io/reader.h"
#include "io/writer.h"
#include "test_support.h"

using ormavec::DXFReader;
using ormavec::DXFWriter;
using ormavec::Error;
using ormavec::HEADER;
using ormavec::XYZ;
using ormavec::test::CrlfLines;
using ormavec::test::Written;

namespace {

// Reads a HEADER section body (the lines after 0/SECTION and 2/HEADER).
void readBody(HEADER& h, const std::string& body, DXFReader* reader = nullptr) {
    DXFReader own;
    DXFReader& r = reader ? *reader : own;
    r.OpenString(body, "header.dxf");
    h.ReadSection(r);
}

std::string writeOut(const HEADER& h) {
    return Written([&](DXFWriter& w) { h.WriteOut(w); });
}

void expectXYZ(const XYZ& p, double x, double y, double z) {
    EXPECT_EQ(p.X, x);
    EXPECT_EQ(p.Y, y);
    EXPECT_EQ(p.Z, z);
}

TEST(HeaderSection, VersionTextsLoadAndSave) {
    const struct {
        const char* text;
        int32_t version;
        const char* saved;
    } cases[] = {
        {"AC1018", 1018, "AC1018"}, {"AC1015", 1015, "AC1015"}, {"AC1009", 1009, "AC1009"},
        {"AC1021", 1021, "AC1021"}, {"AC1500", 1500, "AC1500"}, {"ac1006", 1006, "AC1006"},
    };
    for (const auto& c : cases) {
        HEADER h;
        readBody(h, CrlfLines({"9", "$ACADVER", "1", c.text, "0", "ENDSEC"}));
        EXPECT_EQ(h.AcadVer(), c.version) << c.text;
        std::string saved = writeOut(h);
        EXPECT_NE(saved.find(std::string("9\r\n$ACADVER\r\n1\r\n") + c.saved + "\r\n9\r\n$ACADMAINTVER\r\n"), std::string::npos) << c.text;
    }
}

TEST(HeaderSection, ParseVersion) {
    EXPECT_EQ(HEADER::ParseVersion("AC1015"), 1015);
    EXPECT_EQ(HEADER::ParseVersion("AC"), 0);
    EXPECT_EQ(HEADER::ParseVersion(""), 0);
    EXPECT_EQ(HEADER::ParseVersion("X 7"), 7);
    EXPECT_THROW(HEADER::ParseVersion("AC1015a"), Error);
}

TEST(HeaderSection, VersionOutsideTheTableIsWrittenAsFourDigits) {
    HEADER h;
    h.SetAcadVer(1021);
    EXPECT_NE(writeOut(h).find("9\r\n$ACADVER\r\n1\r\nAC1021\r\n"), std::string::npos);
    h.SetAcadVer(15);
    EXPECT_NE(writeOut(h).find("9\r\n$ACADVER\r\n1\r\nAC0015\r\n"), std::string::npos);
}

TEST(HeaderSection, FullSectionForATableVersion) {
    HEADER h;
    h.SetAcadVer(1015);
    h.SetExtMin({-1.5, 0, 0});
    h.SetExtMax({100, 50.25, 0});
    h.SetInsBase({0, 0, 1.0 / 3.0});
    EXPECT_EQ(writeOut(h), CrlfLines({"0",       "SECTION",  "2",        "HEADER",  "9",          "$ACADVER",     "1",
                                 "AC1015",  "9",        "$ACADMAINTVER", "70", "0",          "9",            "$DWGCODEPAGE",
                                 "3",       "ANSI_1250", "9",       "$EXTMIN", "10",         "-1.5",         "20",
                                 "0.",      "30",       "0.",       "9",       "$EXTMAX",    "10",           "100.",
                                 "20",      "50.25",    "30",       "0.",      "9",          "$INSBASE",     "10",
                                 "0.",      "20",       "0.",       "30",      "0.333333333", "9",           "$LTSCALE",
                                 "40",      "1",        "9",        "$LUNITS", "70",         "2",            "9",
                                 "$LUPREC", "70",       "10",       "9",       "$HANDLING",  "70",           "0",
                                 "9",       "$HANDSEED", "5",       "999999",  "0",          "ENDSEC"}));
}

TEST(HeaderSection, FullSectionWithoutVersionStartsWithExtMin) {
    HEADER h;
    EXPECT_EQ(writeOut(h), CrlfLines({"0",  "SECTION",   "2",  "HEADER",  "9",        "$EXTMIN", "10", "0.",  "20", "0.",
                                 "30", "0.",        "9",  "$EXTMAX", "10",       "0.",      "20", "0.",  "30", "0.",
                                 "9",  "$INSBASE",  "10", "0.",      "20",       "0.",      "30", "0.",  "9",  "$LTSCALE",
                                 "40", "1",         "9",  "$LUNITS", "70",       "2",       "9",  "$LUPREC", "70", "10",
                                 "9",  "$HANDLING", "70", "0",       "9",        "$HANDSEED", "5", "999999", "0", "ENDSEC"}));
}

TEST(HeaderSection, NoVersionKeepsTheEarlierValue) {
    HEADER h;
    h.SetAcadVer(1009);
    readBody(h, CrlfLines({"9", "$EXTMIN", "10", "1", "20", "2", "30", "3", "0", "ENDSEC"}));
    EXPECT_EQ(h.AcadVer(), 1009);
    // A version whose value does not come under group 1 is dropped, not pushed back.
    readBody(h, CrlfLines({"9", "$ACADVER", "2", "AC1018", "9", "$INSBASE", "10", "4", "20", "5", "30", "6", "0", "ENDSEC"}));
    EXPECT_EQ(h.AcadVer(), 1009);
    expectXYZ(h.InsBase(), 4, 5, 6);
}

TEST(HeaderSection, TwoDimensionalPointAndLowerCaseNames) {
    HEADER h;
    readBody(h, CrlfLines({"9", "$EXTMAX", "10", "7.5", "20", "8.5", "9", "$extmin", "10", "-1", "20", "-2", "30", "-3", "9",
                      "$insbase", "20", "4", "0", "ENDSEC"}));
    expectXYZ(h.ExtMax(), 7.5, 8.5, 0);
    expectXYZ(h.ExtMin(), -1, -2, -3);
    expectXYZ(h.InsBase(), 0, 4, 0);
}

TEST(HeaderSection, SectionEndMustBeExactlyEndsec) {
    HEADER h;
    DXFReader r;
    readBody(h, CrlfLines({"0", "endsec", "0", "Endsec", "9", "$EXTMIN", "10", "1", "20", "2", "30", "3", "0", "ENDSEC", "0", "EOF"}), &r);
    expectXYZ(h.ExtMin(), 1, 2, 3);
    // Whatever group code carries it; the pair after it is left for the caller.
    EXPECT_EQ(r.Read().Value, "EOF");
    HEADER g;
    readBody(g, CrlfLines({"9", "$EXTMIN", "10", "1", "20", "2", "30", "3", "1", "ENDSEC", "9", "$EXTMAX", "10", "9"}));
    expectXYZ(g.ExtMax(), 0, 0, 0);
}

TEST(HeaderSection, EverySectionResetsExtentsAndBase) {
    HEADER h;
    h.SetAcadVer(1015);
    readBody(h, CrlfLines({"9", "$EXTMIN", "10", "1", "20", "2", "30", "3", "9", "$EXTMAX", "10", "4", "20", "5", "30", "6", "9",
                      "$INSBASE", "10", "7", "20", "8", "30", "9", "0", "ENDSEC"}));
    expectXYZ(h.ExtMax(), 4, 5, 6);
    readBody(h, CrlfLines({"9", "$EXTMAX", "10", "10", "20", "11", "30", "12", "0", "ENDSEC"}));
    expectXYZ(h.ExtMin(), 0, 0, 0);
    expectXYZ(h.ExtMax(), 10, 11, 12);
    expectXYZ(h.InsBase(), 0, 0, 0);
    EXPECT_EQ(h.AcadVer(), 1015);
}

TEST(HeaderSection, BadVersionKeepsWhatWasReadBefore) {
    HEADER h;
    try {
        readBody(h, CrlfLines({"9", "$EXTMIN", "10", "1", "20", "2", "30", "3", "9", "$ACADVER", "1", "AC1015a", "0", "ENDSEC"}));
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), ormavec::err::TypeMismatch);
        EXPECT_NE(std::string(e.what()).find("header.dxf:12"), std::string::npos) << e.what();
    }
    expectXYZ(h.ExtMin(), 1, 2, 3);
    EXPECT_EQ(h.AcadVer(), 0);
}

TEST(HeaderSection, BadCoordinateRaisesTypeMismatch) {
    HEADER h;
    try {
        readBody(h, CrlfLines({"9", "$EXTMAX", "10", "1", "20", "1,5", "30", "0", "0", "ENDSEC"}));
        FAIL() << "no error";
    } catch (const Error& e) {
        EXPECT_EQ(e.number(), ormavec::err::TypeMismatch);
    }
}

TEST(HeaderSection, FileEndingInsideTheSectionIsNoError) {
    HEADER h;
    readBody(h, CrlfLines({"9", "$ACADVER", "1", "AC1018", "9", "$EXTMIN", "10", "1", "20", "2", "30", "3"}));
    EXPECT_EQ(h.AcadVer(), 1018);
    expectXYZ(h.ExtMin(), 1, 2, 3);
    // A point cut short at the end of the file leaves its last pair pushed back.
    HEADER g;
    readBody(g, CrlfLines({"9", "$EXTMIN", "10", "1", "20", "2", "9", "$EXTMAX"}));
    expectXYZ(g.ExtMin(), 1, 2, 0);
}

}  // namespace
