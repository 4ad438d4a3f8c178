// Text in files is single-byte, in the model UTF-8. These helpers convert
// between the two through a code page, and compare names without regard to
// letter case.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace ormavec {

enum class CodePage : int32_t { Windows1250 = 1250, Windows1252 = 1252 };

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

// The character a byte stands for in the code page.
char32_t DecodeByte(CodePage cp, unsigned char byte) noexcept;

// Appends the UTF-8 form of the bytes.
void DecodeAppend(std::string& out, std::string_view bytes, CodePage cp);

// Appends the bytes of UTF-8 text; a character the code page lacks becomes
// '?', as does a byte that is not valid UTF-8.
void EncodeAppend(std::string& out, std::string_view utf8, CodePage cp);

// Appends the bytes of UTF-8 text; a character the code page lacks becomes
// the escape \U+XXXX (uppercase hex; two escapes, a surrogate pair, above
// U+FFFF), a byte that is not valid UTF-8 becomes '?'.
void EncodeEscapedAppend(std::string& out, std::string_view utf8, CodePage cp);

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
