#include <gtest/gtest.h>

#include <set>
#include <string>

#include "io/text.h"

using ormavec::CodePage;

namespace {

TEST(IoText, EveryByteDecodesToItsOwnCharacterAndBack) {
    for (CodePage cp : {CodePage::Windows1250, CodePage::Windows1252}) {
        std::set<char32_t> seen;
        for (int b = 0; b < 256; ++b) {
            char32_t ch = ormavec::DecodeByte(cp, static_cast<unsigned char>(b));
            EXPECT_TRUE(seen.insert(ch).second) << "byte " << b << " of " << static_cast<int>(cp);
            std::string utf8, back;
            ormavec::AppendUtf8(utf8, ch);
            ormavec::EncodeAppend(back, utf8, cp);
            ASSERT_EQ(back.size(), 1u);
            EXPECT_EQ(static_cast<unsigned char>(back[0]), b);
        }
    }
}

TEST(IoText, KnownBytesOfBothCodePages) {
    const struct {
        CodePage cp;
        unsigned char byte;
        char32_t ch;
    } cases[] = {
        {CodePage::Windows1250, 0x80, U'\u20AC'}, {CodePage::Windows1250, 0xF5, U'\u0151'},
        {CodePage::Windows1250, 0xFB, U'\u0171'}, {CodePage::Windows1250, 0xC3, U'\u0102'},
        {CodePage::Windows1250, 0x81, U'\u0081'},  // undefined: the C1 control of the same number
        {CodePage::Windows1250, 0x98, U'\u0098'}, {CodePage::Windows1252, 0xC3, U'\u00C3'},
        {CodePage::Windows1252, 0x9F, U'\u0178'}, {CodePage::Windows1252, 0x8D, U'\u008D'},
        {CodePage::Windows1252, 0xE9, U'\u00E9'}, {CodePage::Windows1250, 0x41, U'A'},
    };
    for (const auto& c : cases) EXPECT_EQ(ormavec::DecodeByte(c.cp, c.byte), c.ch) << int(c.byte);
}

TEST(IoText, EncodingReplacesWhatTheCodePageLacks) {
    std::string out;
    // ő is in 1250 only; malformed UTF-8 and a 4-byte character become '?'.
    ormavec::EncodeAppend(out, "\xC5\x91|\xFF|\xF0\x9F\x98\x80|\xC3", CodePage::Windows1252);
    EXPECT_EQ(out, "?|?|?|?");
}

TEST(IoText, CaseMappingCoversAccentedLetters) {
    EXPECT_EQ(ormavec::UpperCase("line \xC5\x91z \xC3\xA9"), "LINE \xC5\x90Z \xC3\x89");
    EXPECT_EQ(ormavec::LowerCase("\xC5\x90Z"), "\xC5\x91z");
    EXPECT_EQ(ormavec::UpperCase("a\xFF"), "A\xFF");  // malformed bytes are kept
    EXPECT_TRUE(ormavec::EqualsNoCase("Layer\xC3\xA1", "LAYER\xC3\x81"));
    EXPECT_FALSE(ormavec::EqualsNoCase("LAYER", "LAYERS"));
    EXPECT_FALSE(ormavec::EqualsNoCase("a", "b"));
    EXPECT_TRUE(ormavec::EqualsNoCase("", ""));
}

}  // namespace
