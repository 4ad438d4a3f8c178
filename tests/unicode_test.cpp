#include <gtest/gtest.h>

#include <string>

#include "document/document.h"
#include "io/reader.h"
#include "io/text.h"
#include "io/writer.h"
#include "test_support.h"

using ormavec::CodePage;
using ormavec::DXFDocument;
using ormavec::DXFReader;
using ormavec::DXFWriter;
using ormavec::SaveMode;
using ormavec::TextConvertMode;
using namespace ormavec::test;

namespace {

constexpr auto k1250 = CodePage::Windows1250;
constexpr auto k1252 = CodePage::Windows1252;
constexpr auto kNone = TextConvertMode::None;
constexpr auto kFromUtf8 = TextConvertMode::FromUTF8;
constexpr auto kUtf8 = TextConvertMode::Utf8;
constexpr auto kAuto = TextConvertMode::Auto;

std::string readValue(CodePage cp, TextConvertMode mode, int32_t code, const std::string& raw) {
    DXFReader r(cp);
    r.SetTextConvertMode(mode);
    r.OpenString(std::to_string(code) + "\r\n" + raw + "\r\n");
    return std::string(r.Read().Value);
}

TEST(UnicodeRead, ValueDecodingPerMode) {
    const struct {
        CodePage cp;
        TextConvertMode mode;
        int32_t code;
        std::string raw;
        std::string expected;
    } cases[] = {
        // Well-formed UTF-8.
        {k1250, kUtf8, 8, "\xC3\xA9", "é"},
        {k1250, kUtf8, 1, "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xB7\xCE\xBD\xCE\xB9\xCE\xBA\xCE\xAC", "Ελληνικά"},
        {k1250, kUtf8, 1000, "\xE4\xB8\xAD\xE6\x96\x87", "中文"},
        {k1250, kUtf8, 1, "\xF0\x9F\x98\x80", "😀"},
        // Bytes outside a valid sequence go through the code page one by one.
        {k1250, kUtf8, 1, "caf\xE9", "café"},
        {k1252, kUtf8, 1, "\xF5\x80", "õ€"},
        {k1250, kUtf8, 1, "\xF5\x80", "ő€"},
        {k1250, kUtf8, 1, "\xC0\xAF", "ŔŻ"},                      // overlong '/'
        {k1250, kUtf8, 1, "\xED\xA0\x80", "í\u00A0€"},            // encoded surrogate
        {k1250, kUtf8, 1, "ab\xE4\xB8", "abä¸"},                   // truncated at the end
        {k1250, kUtf8, 1, "\xE4\xB8z", "ä¸z"},                     // truncated by ASCII
        {k1250, kUtf8, 1, "\xC3\xA9\xE9\xC3\xA9", "ééé"},          // valid, stray, valid
        {k1250, kUtf8, 1, "\xF5\x80\x80\x80", "ő€€€"},             // above U+10FFFF
        // The other modes on the same bytes.
        {k1250, kNone, 8, "\xC3\xA9", "Ă©"},
        {k1250, kAuto, 8, "\xC3\xA9", "Ă©"},
        {k1250, kFromUtf8, 8, "\xC3\xA9", "é"},
        {k1250, kFromUtf8, 1000, "\xC3\xA9", "Ă©"},
        // Escapes.
        {k1250, kUtf8, 8, "A\\U+00E9B", "AéB"},
        {k1250, kUtf8, 1, "\\U+03bb\\U+03BB", "λλ"},
        {k1250, kUtf8, 1, "\\U+00E9A", "éA"},  // four digits exactly
        {k1250, kUtf8, 1, "\\U+D83D\\U+DE00!", "😀!"},
        {k1250, kUtf8, 1, "\\U+d83d\\U+de00", "😀"},
        {k1250, kUtf8, 1, "\\U+005CU+0041", "\\U+0041"},  // a decoded backslash starts nothing
        {k1250, kUtf8, 1, "\\\\U+0041", "\\A"},
        {k1250, kAuto, 2, "\xF5\\U+03BB", "őλ"},
        {k1252, kAuto, 2, "\xF5\\U+0151", "õő"},
        {k1250, kUtf8, 3, "\xC3\xA9\\U+4E2D", "é中"},
        {k1250, kUtf8, 100, "\\U+0041", "A"},
        {k1250, kUtf8, 300, "\\U+0041", "A"},
        {k1250, kUtf8, 1001, "\\U+0041", "A"},
        // Left as text: lone or mismatched surrogates, malformed escapes,
        // control characters, and codes that hold no text.
        {k1250, kUtf8, 1, "\\U+D83Dx", "\\U+D83Dx"},
        {k1250, kUtf8, 1, "\\U+DE00", "\\U+DE00"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+0041", "\\U+D83DA"},
        {k1250, kUtf8, 1, "\\U+D83D\\U+D83D", "\\U+D83D\\U+D83D"},
        {k1250, kUtf8, 1, "\\U+12G4", "\\U+12G4"},
        {k1250, kUtf8, 1, "x\\U+12", "x\\U+12"},
        {k1250, kUtf8, 1, "\\U00E9", "\\U00E9"},
        {k1250, kUtf8, 1, "\\u+00E9", "\\u+00E9"},
        {k1250, kUtf8, 1, "\\U+000A", "\\U+000A"},
        {k1250, kUtf8, 1, "\\U+0000", "\\U+0000"},
        {k1250, kUtf8, 1, "\\", "\\"},
        {k1250, kUtf8, 10, "\\U+0041", "\\U+0041"},
        {k1250, kUtf8, 310, "\\U+0041", "\\U+0041"},
        {k1250, kNone, 8, "\\U+00E9", "\\U+00E9"},
        {k1250, kFromUtf8, 8, "\\U+00E9", "\\U+00E9"},
        {k1250, kNone, 8, "\xF5\\U+03BB", "ő\\U+03BB"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readValue(c.cp, c.mode, c.code, c.raw), c.expected)
            << "mode " << static_cast<int>(c.mode) << " code " << c.code << " raw \"" << c.raw << '"';
}

TEST(UnicodeRead, EscapesAreTrimmedAfterDecodingAndNotDecodedTwice) {
    DXFReader r;
    r.SetTextConvertMode(kUtf8);
    r.OpenString(Dxf("1  \\U+005CU+0041 \n0 EOF"));
    const DXFReader::Pair& p = r.Read();
    EXPECT_EQ(p.Value, "\\U+0041");
    r.UnRead();
    EXPECT_EQ(r.Read().Value, "\\U+0041");
    r.UnReadEntry({1, "\\U+0042"});
    EXPECT_EQ(r.ReadEntry(true, true).Value, "\\U+0042");
    // Upper-casing sees the decoded letters.
    DXFReader u;
    u.SetTextConvertMode(kUtf8);
    u.OpenString(Dxf("2 \\U+03bb\xC3\xA9"));
    EXPECT_EQ(u.Read(true, true).Value, "ΛÉ");
}

TEST(UnicodeRead, AutoSwitchesOnTheHeader) {
    const struct {
        TextConvertMode mode;
        std::string header;
        bool utf8;
    } cases[] = {
        {kAuto, "9 $ACADVER\n1 AC1021", true},
        {kAuto, "9 $ACADVER\n1 AC1032", true},
        {kAuto, "9 $acadver\n1  AC1024 ", true},
        {kAuto, "9 $ACADVER\n1 AC1018", false},
        {kAuto, "9 $ACADVER\n1 AC1009", false},
        {kAuto, "9 $ACADVER\n2 AC1021", false},
        {kAuto, "9 $ACADVER\n9 $INSBASE\n1 AC1021", false},
        {kAuto, "1 AC1021", false},
        // Only the header declares it: the same pairs after its end do not.
        {kAuto, "0 ENDSEC\n0 SECTION\n2 ENTITIES\n9 $ACADVER\n1 AC1021", false},
        {kAuto, "0 ENDSEC\n9 $DWGCODEPAGE\n3 UTF-8", false},
        {kAuto, "9 $DWGCODEPAGE\n3 ANSI_65001", true},
        {kAuto, "9 $DWGCODEPAGE\n3 utf-8", true},
        {kAuto, "9 $DWGCODEPAGE\n3 UTF8", true},
        {kAuto, "9 $DWGCODEPAGE\n3 ANSI_1252", false},
        {kAuto, "9 $ACADVER\n1 AC1015\n9 $DWGCODEPAGE\n3 ANSI_1250", false},
        {kAuto, "9 $ACADVER\n1 AC1015\n9 $DWGCODEPAGE\n3 UTF-8", true},
        {kNone, "9 $ACADVER\n1 AC1021", false},
        {kFromUtf8, "9 $ACADVER\n1 AC1021", false},
        {kUtf8, "9 $ACADVER\n1 AC1009", true},
    };
    for (const auto& c : cases) {
        DXFReader r;
        r.SetTextConvertMode(c.mode);
        r.OpenString(Dxf("0 SECTION\n2 HEADER\n" + c.header + "\n0 ENDSEC\n8 \xC3\xA9\n1 \xC3\xA9"));
        std::string last;
        while (!r.AtEnd()) last = std::string(r.Read().Value);
        EXPECT_EQ(r.DecodesUtf8(), c.utf8) << c.header;
        EXPECT_EQ(last, c.utf8 ? "é" : (c.mode == kFromUtf8 ? "é" : "Ă©")) << c.header;
    }
}

TEST(UnicodeWrite, TextEncodingPerSaveMode) {
    const struct {
        CodePage cp;
        SaveMode mode;
        bool utf8;
        std::string text;
        std::string expected;
    } cases[] = {
        {k1250, SaveMode::Classic, false, "Árvíztűrő", "\xC1rv\xEDzt\xFBr\xF5"},
        {k1252, SaveMode::Classic, false, "Árvíztűrő", "\xC1rv\xEDzt?r?"},
        {k1250, SaveMode::Classic, false, "中文", "??"},
        {k1250, SaveMode::Standard, false, "Árvíztűrő", "\xC1rv\xEDzt\xFBr\xF5"},
        {k1252, SaveMode::Standard, false, "Árvíztűrő", "\xC1rv\xEDzt\\U+0171r\\U+0151"},
        {k1250, SaveMode::Standard, false, "Ελλ", "\\U+0395\\U+03BB\\U+03BB"},
        {k1250, SaveMode::Standard, false, "a中文图层b", "a\\U+4E2D\\U+6587\\U+56FE\\U+5C42b"},
        {k1250, SaveMode::Standard, false, "😀", "\\U+D83D\\U+DE00"},
        {k1250, SaveMode::Standard, false, "x\xFFy", "x?y"},
        {k1250, SaveMode::Standard, false, "\\U+0041", "\\U+0041"},
        {k1250, SaveMode::Standard, true, "中文", "\xE4\xB8\xAD\xE6\x96\x87"},
        {k1250, SaveMode::Standard, true, "Ελ", "\xCE\x95\xCE\xBB"},
        {k1250, SaveMode::Standard, true, "plain", "plain"},
    };
    for (const auto& c : cases) {
        std::string out;
        DXFWriter w(c.cp);
        w.SetSaveMode(c.mode);
        w.SetUtf8Output(c.utf8);
        w.OpenString(&out);
        w.WriteString(1, c.text);
        w.WriteLine(c.text, true);
        w.CloseOutput();
        EXPECT_EQ(out, "1\r\n" + c.expected + "\r\n" + c.expected + "\r\n") << c.text;
    }
}

// A drawing with the name as layer, block and text, in the block and in the
// model space; `name` is given as the file holds it.
std::string drawing(const std::string& version, const std::string& name) {
    return Dxf("0 SECTION\n2 HEADER\n9 $ACADVER\n1 " + version +
               "\n0 ENDSEC\n"
               "0 SECTION\n2 TABLES\n0 TABLE\n2 LAYER\n0 LAYER\n2 " + name +
               "\n70 0\n62 7\n6 CONTINUOUS\n0 ENDTAB\n0 ENDSEC\n"
               "0 SECTION\n2 BLOCKS\n0 BLOCK\n8 " + name + "\n2 " + name +
               "\n70 0\n10 0\n20 0\n30 0\n"
               "0 TEXT\n8 " + name + "\n10 1\n20 2\n30 0\n40 2.5\n1 " + name +
               "\n0 ENDBLK\n0 ENDSEC\n"
               "0 SECTION\n2 ENTITIES\n0 TEXT\n8 " + name + "\n10 1\n20 2\n30 0\n40 2.5\n1 " + name +
               "\n0 ENDSEC\n0 EOF");
}

// The save adds entries of its own (layer 0): look the names up.
void expectNames(const DXFDocument& doc, const std::string& name, const std::string& where) {
    ormavec::LAYERS_TAB layer;
    EXPECT_TRUE(doc.TABLES()->LAYERS()->ItemByName(name, layer)) << where;
    EXPECT_EQ(layer.LayerName, name) << where;
    bool blockFound = false;
    for (int32_t i = 0; i < doc.BLOCKS()->Count(); ++i) {
        const auto block = doc.BLOCKS()->Item(i);
        if (block.BlockName != name) continue;
        blockFound = true;
        EXPECT_EQ(block.LayerName, name) << where;
        ASSERT_TRUE(block.TEXTS && block.TEXTS->Count() == 1) << where;
        EXPECT_EQ(block.TEXTS->Item(0).Text, name) << where;
    }
    EXPECT_TRUE(blockFound) << where;
    ASSERT_EQ(doc.ENTITIES()->TEXTS()->Count(), 1) << where;
    EXPECT_EQ(doc.ENTITIES()->TEXTS()->Item(0).Text, name) << where;
    EXPECT_EQ(doc.ENTITIES()->TEXTS()->Item(0).Layer, name) << where;
}

const struct Script {
    const char* label;
    std::string model;  // UTF-8
    std::string utf8File;
    std::string cp1250File;
    std::string cp1252File;
} kScripts[] = {
    {"Hungarian", "Árvíztűrő tükörfúrógép", "\xC3\x81rv\xC3\xADzt\xC5\xB1r\xC5\x91 t\xC3\xBCk\xC3\xB6rf\xC3\xBAr\xC3\xB3g\xC3\xA9p",
     "\xC1rv\xEDzt\xFBr\xF5 t\xFCk\xF6rf\xFAr\xF3g\xE9p", "\xC1rv\xEDzt\\U+0171r\\U+0151 t\xFCk\xF6rf\xFAr\xF3g\xE9p"},
    {"Greek", "Ελληνικά", "\xCE\x95\xCE\xBB\xCE\xBB\xCE\xB7\xCE\xBD\xCE\xB9\xCE\xBA\xCE\xAC",
     "\\U+0395\\U+03BB\\U+03BB\\U+03B7\\U+03BD\\U+03B9\\U+03BA\\U+03AC",
     "\\U+0395\\U+03BB\\U+03BB\\U+03B7\\U+03BD\\U+03B9\\U+03BA\\U+03AC"},
    {"Chinese", "中文图层", "\xE4\xB8\xAD\xE6\x96\x87\xE5\x9B\xBE\xE5\xB1\x82", "\\U+4E2D\\U+6587\\U+56FE\\U+5C42",
     "\\U+4E2D\\U+6587\\U+56FE\\U+5C42"},
};

TEST(UnicodeDocument, AutoLoadStandardSaveRoundTrip) {
    TempDir dir;
    const struct {
        const char* version;
        CodePage cp;
        std::string Script::*file;
    } forms[] = {
        {"AC1024", k1250, &Script::utf8File},
        {"AC1021", k1252, &Script::utf8File},
        {"AC1015", k1250, &Script::cp1250File},
        {"AC1015", k1252, &Script::cp1252File},
    };
    for (const Script& s : kScripts) {
        for (const auto& f : forms) {
            const std::string where = std::string(s.label) + " " + f.version + " cp" + std::to_string(static_cast<int>(f.cp));
            const std::string& inFile = s.*f.file;
            WriteFile(dir / "in.dxf", drawing(f.version, inFile));
            DXFDocument doc;
            doc.SetCodePage(f.cp);
            doc.SetTextConvertMode(kAuto);
            doc.Load(dir / "in.dxf");
            expectNames(doc, s.model, where + " first load");

            doc.SetSaveMode(SaveMode::Standard);
            doc.Save(dir / "out.dxf");
            const std::string saved = ReadFile(dir / "out.dxf");
            // The name as the file holds it, in the form the version calls for.
            EXPECT_NE(saved.find("\r\n2\r\n" + inFile + "\r\n"), std::string::npos) << where;
            EXPECT_NE(saved.find("\r\n1\r\n" + inFile + "\r\n"), std::string::npos) << where;
            EXPECT_NE(saved.find("\r\n8\r\n" + inFile + "\r\n"), std::string::npos) << where;
            if (f.file != &Script::utf8File) {
                EXPECT_EQ(saved.find(s.utf8File), std::string::npos) << where;
            }

            DXFDocument back;
            back.SetCodePage(f.cp);
            back.SetTextConvertMode(kAuto);
            back.Load(dir / "out.dxf");
            expectNames(back, s.model, where + " after save");
        }
    }
}

TEST(UnicodeDocument, DefaultModeKeepsBytesAndEscapes) {
    TempDir dir;
    for (const Script& s : kScripts) {
        // UTF-8 bytes come out garbled but survive a save byte for byte; the
        // escapes stay text; the Hungarian code page bytes are its letters.
        const struct {
            const char* version;
            const std::string& file;
            bool isModel;
        } cases[] = {
            {"AC1024", s.utf8File, false},
            {"AC1015", s.cp1250File, s.model == "Árvíztűrő tükörfúrógép"},
        };
        for (const auto& c : cases) {
            WriteFile(dir / "in.dxf", drawing(c.version, c.file));
            DXFDocument doc;
            doc.Load(dir / "in.dxf");
            const std::string text = doc.ENTITIES()->TEXTS()->Item(0).Text;
            if (c.isModel)
                EXPECT_EQ(text, s.model) << s.label;
            else if (c.file == s.utf8File)
                EXPECT_NE(text, s.model) << s.label;
            else
                EXPECT_EQ(text, c.file) << s.label;
            doc.Save(dir / "out.dxf");
            EXPECT_NE(ReadFile(dir / "out.dxf").find("\r\n1\r\n" + c.file + "\r\n"), std::string::npos) << s.label << " " << c.version;
        }
    }
}

TEST(UnicodeDocument, ClassicSaveIgnoresTheVersion) {
    TempDir dir;
    WriteFile(dir / "in.dxf", drawing("AC1024", kScripts[1].utf8File));
    DXFDocument doc;
    doc.SetTextConvertMode(kAuto);
    doc.Load(dir / "in.dxf");
    doc.Save(dir / "out.dxf");
    EXPECT_NE(ReadFile(dir / "out.dxf").find("\r\n2\r\n????????\r\n"), std::string::npos);
}

}  // namespace
