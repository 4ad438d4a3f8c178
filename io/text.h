// Text in files is single-byte, in the model UTF-8. These helpers convert
// between the two through a code page, and compare names without regard to
// letter case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace ormavec {

// A code page by its Windows number: 1251, 932 (Shift JIS), 437 (DOS),
// 28591 (ISO 8859-1), 10000 (Mac Roman) ... Only the numbers ParseCodePage
// knows are pages; 1250 and 1252 have built-in tables, the others are built
// once from the C library's converters. Bytes below 0x80 are ASCII in all.
enum class CodePage : int32_t { Windows1250 = 1250, Windows1252 = 1252 };

// The page a drawing's $DWGCODEPAGE names (ANSI_1251, DOS866, ISO8859-5,
// MACINTOSH, BIG5, GB2312, KSC5601, JOHAB ...) or a number (1251, 28595),
// any letter case; nothing when unknown or a UTF-8 name.
std::optional<CodePage> ParseCodePage(std::string_view text);
// The name a drawing declares the page with ("ANSI_1251", "DOS866").
std::string CodePageName(CodePage cp);
// The accepted forms, for error messages.
std::string_view CodePageForms() noexcept;
// True when the name is one of the spellings of UTF-8 seen in drawings.
bool IsUtf8CodePageName(std::string_view text) noexcept;
// True for the pages where a lead byte and a trail byte form one character.
bool IsDoubleByte(CodePage cp) noexcept;

namespace detail {
struct CasePair {
    char16_t lower;
    char16_t upper;
};
extern const char16_t kCp1250[256];
extern const char16_t kCp1252[256];
extern const CasePair kUpperPairs[];
extern const std::size_t kUpperPairCount;
}  // namespace detail

inline bool IsAscii(std::string_view s) noexcept {
    // Eight bytes at a time: one high bit anywhere is enough.
    const char* p = s.data();
    std::size_t n = s.size();
    uint64_t bits = 0;
    if (n >= 8) {
        uint64_t w;
        for (; n > 8; p += 8, n -= 8) {
            std::memcpy(&w, p, 8);
            bits |= w;
        }
        // The last eight bytes, overlapping the words already seen.
        std::memcpy(&w, p + n - 8, 8);
        bits |= w;
    } else {
        for (; n > 0; ++p, --n) bits |= static_cast<unsigned char>(*p);
    }
    return (bits & 0x8080808080808080ull) == 0;
}

// The character a byte stands for in the code page. A byte the page leaves
// undefined, or a lead byte alone, stands for a character of its own (the
// control character of its number below 0xA0 where free, else U+F700 +
// byte, or lower by 0x100 steps while the page uses that one) that is
// written back as that byte.
char32_t DecodeByte(CodePage cp, unsigned char byte) noexcept;

// The character at bytes[pos], which is not ASCII; advances pos past one
// byte or, on a double-byte page, past a valid lead and trail pair.
char32_t DecodeChar(CodePage cp, std::string_view bytes, std::size_t& pos) noexcept;

// Appends the UTF-8 form of the bytes.
void DecodeAppend(std::string& out, std::string_view bytes, CodePage cp);

// Appends the bytes of UTF-8 text; a character the code page lacks becomes
// '?', as does a byte that is not valid UTF-8.
void EncodeAppend(std::string& out, std::string_view utf8, CodePage cp);

// Appends the bytes of UTF-8 text; a character the code page lacks becomes
// the escape \U+XXXX (uppercase hex; two escapes, a surrogate pair, above
// U+FFFF), a byte that is not valid UTF-8 becomes '?'.
void EncodeEscapedAppend(std::string& out, std::string_view utf8, CodePage cp);

// Group codes whose values are names or text, where \U+XXXX escapes are
// decoded: 0-9, 100, 102, 300-309, 410-419, 430-439, 470-479, 999 and
// 1000-1003. Handles, numbers and binary chunks never hold one.
inline bool IsTextCode(int32_t code) noexcept {
    if (code >= 0 && code <= 9) return true;
    if (code < 100) return false;
    return code == 100 || code == 102 || (code >= 300 && code <= 309) || (code >= 410 && code <= 419) ||
           (code >= 430 && code <= 439) || (code >= 470 && code <= 479) || code == 999 || (code >= 1000 && code <= 1003);
}

// The character of the \U+XXXX escape at text[at], or of two escapes that
// form a surrogate pair, with the length it takes; 0 when there is none
// there, so that the characters stay as they are.
char32_t DecodeEscape(std::string_view text, std::size_t at, std::size_t& length) noexcept;

// The output of a text whose escapes the reader decodes: its UTF-8 bytes as
// they are (utf8) or the code page with \U+XXXX for a missing character, and
// a backslash that would read back as the start of an escape written as
// \U+005C, the escape of a backslash, so that it reads back as itself. This
// holds for every text value, MTEXT too: the formatting codes' own "\\"
// stays two characters in the model, so it cannot stand for one.
// `text` is the whole value as the reader sees it and [from, to) the part
// written now: pieces that are joined before decoding (MTEXT) are looked at
// whole. With `pairs` the reader keeps "\\" as one backslash of formatting
// codes that starts no escape: a lone backslash that would pair with an
// escape written after it becomes \U+005C too, and `paired` carries a pair
// that the end of the part cuts.
void EncodeProtectedAppend(std::string& out, std::string_view text, std::size_t from, std::size_t to, CodePage cp, bool utf8,
                           bool pairs, bool& paired);

// True when the text is well-formed UTF-8 (no overlong forms, surrogates or
// truncated sequences).
bool IsValidUtf8(std::string_view text) noexcept;

// Appends one character as UTF-8.
void AppendUtf8(std::string& out, char32_t ch);

// Decodes the UTF-8 character at text[pos]; advances pos. A malformed byte
// comes back as 0xDC00 + byte (U+DC80..U+DCFF, never valid text) so that
// callers can tell it apart.
char32_t NextUtf8(std::string_view text, std::size_t& pos) noexcept;

char32_t ToUpper(char32_t ch) noexcept;
char32_t ToLower(char32_t ch) noexcept;
std::string UpperCase(std::string_view utf8);
std::string LowerCase(std::string_view utf8);
// Equal without regard to letter case (every letter, not only ASCII).
bool EqualsNoCase(std::string_view a, std::string_view b) noexcept;

}  // namespace ormavec
