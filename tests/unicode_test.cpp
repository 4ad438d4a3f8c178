// Text beyond the code page: value decoding per mode (UTF-8, the letter
// repair, \U+XXXX escapes), the header that switches Auto mode, encoding per
// save mode, case mapping, and names in other scripts through a load and save.
#include <gtest/gtest.h>

#include <string>

#include "document/document.h"
#include "test_support.h"

using namespace ormavec;
using namespace ormavec::test;

namespace {
constexpr auto k1250 = CodePage::Windows1250, k1252 = CodePage::Windows1252;
constexpr auto kNone = TextConvertMode::None, kFromUtf8 = TextConvertMode::FromUTF8, kUtf8 = TextConvertMode::Utf8,
               kAuto = TextConvertMode::Auto;
const std::string kRepairedUtf8 =
    "\xC3\xB6\xC3\xBC\xC3\xB3\xC5\x91\xC3\xBA\xC3\xA9\xC3\xA1\xC5\xB1\xC3\xAD\xC3\x96\xC3\x9C\xC3\x93\xC5\x90\xC3\x9A\xC3\x89\xC3\x81\xC5\xB0\xC3\x8D";
}  // namespace

TEST(UnicodeRead, ValueDecodingPerMode) {
    const struct {
        CodePage cp;
        TextConvertMode mode;
        int32_t code;
        std::string raw, expected;
    } cases[] = {
        {k1250, kUtf8, 1, "\xCE\x95\xCE\xBB\xF0\x9F\x98\x80", "Ελ😀"},
        // Bytes outside a valid sequence go through the code page one by one:
        // truncated, a trail byte as lead, overlong, surrogate, above U+10FFFF.
        {k1250, kUtf8, 1, "caf\xE9", "café"},
        {k1252, kUtf8, 1, "\xF5\x80|\x80", "õ€|€"},
        {k1250, kUtf8, 1, "\xC0\xAF", "ŔŻ"},
        {k1250, kUtf8, 1, "\xED\xA0\x80", "í\u00A0€"},
        {k1250, kUtf8, 1, "\xE4\xB8z\xC3\xA9", "ä¸zé"},
        {k1250, kUtf8, 1, "\xF5\x80\x80\x80", "ő€€€"},
        // The other modes; the repair of the eighteen letters under codes 0-9.
        {k1250, kNone, 8, "\xC3\xA9", "Ă©"},
        {k1250, kAuto, 8, "\xC3\xA9", "Ă©"},
        {k1250, kFromUtf8, 10, "\xC3\xA9", "Ă©"},
        {k1250, kFromUtf8, 0, kRepairedUtf8, kRepairedUtf8},
        {k1252, kFromUtf8, 9, kRepairedUtf8, kRepairedUtf8},
        {k1250, kFromUtf8, 8, "x\xC3\xA4\xC3", "xĂ¤Ă"},
        // Escapes, in the codes of names and text only.
        {k1250, kUtf8, 8, "A\\U+00E9B\\U+03bb", "AéBλ"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+DE00!", "😀!"},
        {k1250, kUtf8, 1, "\\U+005CU+0041", "\\U+0041"},  // a decoded backslash starts nothing
        {k1250, kAuto, 2, "\xF5\\U+03BB", "őλ"},
        {k1252, kAuto, 2, "\xF5\\U+0151", "õő"},
        {k1250, kUtf8, 3, "\xC3\xA9\\U+4E2D", "é中"},
        {k1250, kUtf8, 300, "\\U+0041", "A"},
        {k1250, kUtf8, 1001, "\\U+0041", "A"},
        {k1250, kUtf8, 10, "\\U+0041", "\\U+0041"},
        {k1250, kUtf8, 310, "\\U+0041", "\\U+0041"},
        {k1250, kNone, 8, "\\U+00E9", "\\U+00E9"},
        // Left as text: lone or mismatched surrogates, malformed escapes, controls.
        {k1250, kUtf8, 1, "\\U+D83Dx\\U+DE00", "\\U+D83Dx\\U+DE00"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+0041", "\\U+D83DA"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+D83D", "\\U+D83D\\U+D83D"},
        {k1250, kUtf8, 1, "\\U+12G4 \\U00E9 \\U+000A x\\U+12", "\\U+12G4 \\U00E9 \\U+000A x\\U+12"},
    };
    for (const auto& c : cases) {
        DXFReader r(c.cp);
        r.SetTextConvertMode(c.mode);
        r.OpenString(std::to_string(c.code) + "\r\n" + c.raw + "\r\n");
        EXPECT_EQ(r.Read().Value, c.expected) << "mode " << static_cast<int>(c.mode) << " code " << c.code << " raw " << c.raw;
    }
    DXFReader u;  // a pushed-back value is trimmed and upper-cased, not decoded again
    u.SetTextConvertMode(kUtf8);
    u.OpenString(Dxf("2  \\U+005CU+0041\\U+03bb\xC3\xA9 "));
    EXPECT_EQ(u.Read(false).Value, " \\U+0041λé ");
    u.UnRead();
    EXPECT_EQ(u.Read(true, true).Value, "\\U+0041ΛÉ");
}

TEST(UnicodeRead, AutoSwitchesOnTheHeaderOnly) {
    const struct {
        std::string header;
        bool utf8;
    } cases[] = {
        {"9 $ACADVER\n1 AC1021", true},           {"9 $acadver\n1  AC1024 ", true},
        {"9 $ACADVER\n1 AC1018", false},          {"9 $ACADVER\n2 AC1021", false},
        {"9 $ACADVER\n9 $INSBASE\n1 AC1021", false}, {"1 AC1021", false},
        {"0 ENDSEC\n9 $ACADVER\n1 AC1021", false}, {"9 $DWGCODEPAGE\n3 ANSI_65001", true},
        {"9 $DWGCODEPAGE\n3 utf8", true},         {"9 $DWGCODEPAGE\n3 ANSI_1252", false},
    };
    for (const auto& c : cases) {
        DXFReader r;
        r.SetTextConvertMode(kAuto);
        r.OpenString(Dxf("0 SECTION\n2 HEADER\n" + c.header + "\n0 ENDSEC\n1 \xC3\xA9"));
        std::string last;
        while (!r.AtEnd()) last = r.Read().Value;
        EXPECT_EQ(r.DecodesUtf8(), c.utf8) << c.header;
        EXPECT_EQ(last, c.utf8 ? "é" : "Ă©") << c.header;
    }
}

TEST(UnicodeWrite, EncodingPerSaveModeAndCaseMapping) {
    const struct {
        CodePage cp;
        SaveMode mode;
        bool utf8;
        std::string text, expected;
    } cases[] = {
        {k1250, SaveMode::Classic, false, "Árvíztűrő 中\xFF", "\xC1rv\xEDzt\xFBr\xF5 ??"},
        {k1252, SaveMode::Classic, false, "Árvíztűrő", "\xC1rv\xEDzt?r?"},
        {k1252, SaveMode::Standard, false, "Árvíztűrő", "\xC1rv\xEDzt\\U+0171r\\U+0151"},
        {k1250, SaveMode::Standard, false, "Ελ中😀x\xFFy", "\\U+0395\\U+03BB\\U+4E2D\\U+D83D\\U+DE00x?y"},
        {k1250, SaveMode::Standard, true, "中文", "中文"},
    };
    for (const auto& c : cases) {
        std::string out;
        DXFWriter w(c.cp);
        w.SetSaveMode(c.mode);
        w.SetUtf8Output(c.utf8);
        w.OpenString(&out);
        w.WriteString(1, c.text);
        w.WriteLine(c.text, true);
        EXPECT_EQ(out, "1\r\n" + c.expected + "\r\n" + c.expected + "\r\n") << c.text;
    }
    EXPECT_EQ(UpperCase("line \xC5\x91z \xC3\xA9\xFF"), "LINE \xC5\x90Z \xC3\x89\xFF");  // malformed bytes kept
    EXPECT_EQ(LowerCase("\xC5\x90Z\xFF"), "\xC5\x91z\xFF");
    EXPECT_TRUE(EqualsNoCase("Layer\xC3\xA1", "LAYER\xC3\x81"));
    EXPECT_FALSE(EqualsNoCase("LAYER", "LAYERS"));
}

// A layer, a block and a text named in another script: read in Auto mode
// from the form the file holds, saved, and read back.
TEST(UnicodeDocument, NamesSurviveLoadAndSave) {
    const struct {
        const char* version;
        CodePage cp;
        SaveMode save;
        std::string model, file, saved;
    } cases[] = {
        {"AC1024", k1250, SaveMode::Standard, "Ελλ", "\xCE\x95\xCE\xBB\xCE\xBB", "\xCE\x95\xCE\xBB\xCE\xBB"},
        {"AC1021", k1252, SaveMode::Standard, "中文", "\xE4\xB8\xAD\xE6\x96\x87", "\xE4\xB8\xAD\xE6\x96\x87"},
        {"AC1015", k1250, SaveMode::Standard, "Árvíztűrő", "\xC1rv\xEDzt\xFBr\xF5", "\xC1rv\xEDzt\xFBr\xF5"},
        {"AC1015", k1252, SaveMode::Standard, "Árvíztűrő", "\xC1rv\xEDzt\\U+0171r\\U+0151", "\xC1rv\xEDzt\\U+0171r\\U+0151"},
        {"AC1015", k1250, SaveMode::Standard, "Ελ", "\\U+0395\\U+03BB", "\\U+0395\\U+03BB"},
        {"AC1024", k1250, SaveMode::Classic, "Ελ", "\xCE\x95\xCE\xBB", "??"},
    };
    TempDir dir;
    for (const auto& c : cases) {
        const std::string& n = c.file;
        WriteFile(dir / "in.dxf", Dxf("0 SECTION\n2 HEADER\n9 $ACADVER\n1 " + std::string(c.version) +
                                      "\n0 ENDSEC\n0 SECTION\n2 TABLES\n0 TABLE\n2 LAYER\n0 LAYER\n2 " + n +
                                      "\n70 0\n62 7\n6 CONTINUOUS\n0 ENDTAB\n0 ENDSEC\n0 SECTION\n2 BLOCKS\n0 BLOCK\n8 0\n2 " + n +
                                      "\n70 0\n10 0\n20 0\n30 0\n0 ENDBLK\n0 ENDSEC\n0 SECTION\n2 ENTITIES\n0 TEXT\n8 " + n +
                                      "\n10 1\n20 2\n30 0\n40 2.5\n1 " + n + "\n0 ENDSEC\n0 EOF"));
        for (int pass = 0; pass < 2; ++pass) {
            DXFDocument doc;
            doc.SetCodePage(c.cp);
            doc.SetTextConvertMode(kAuto);
            doc.Load(dir / (pass == 0 ? "in.dxf" : "out.dxf"));
            const std::string model = pass == 1 && c.save == SaveMode::Classic ? "??" : c.model;
            LAYERS_TAB layer;
            EXPECT_TRUE(doc.TABLES()->LAYERS()->ItemByName(model, layer)) << c.file;
            EXPECT_GE(doc.BLOCKS()->FindByName(model), 0) << c.file;
            ASSERT_EQ(doc.ENTITIES()->TEXTS()->Count(), 1);
            EXPECT_EQ(doc.ENTITIES()->TEXTS()->Item(0).Text, model) << c.file;
            EXPECT_EQ(doc.ENTITIES()->TEXTS()->Item(0).Layer, model) << c.file;
            doc.SetSaveMode(c.save);
            doc.Save(dir / "out.dxf");
            EXPECT_NE(ReadFile(dir / "out.dxf").find("\r\n1\r\n" + c.saved + "\r\n"), std::string::npos) << c.file;
        }
    }
}
