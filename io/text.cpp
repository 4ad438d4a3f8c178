#include "io/text.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ormavec {

namespace {

const char16_t* table(CodePage cp) noexcept {
    return cp == CodePage::Windows1252 ? detail::kCp1252 : detail::kCp1250;
}

// Reverse maps for the upper half of each code page, built once.
struct Reverse {
    std::array<std::pair<char16_t, unsigned char>, 128> entries{};
    explicit Reverse(const char16_t* t) {
        for (int b = 0; b < 128; ++b) entries[b] = {t[128 + b], static_cast<unsigned char>(128 + b)};
        std::sort(entries.begin(), entries.end());
    }
    int find(char32_t ch) const noexcept {
        auto it = std::lower_bound(entries.begin(), entries.end(), std::pair<char16_t, unsigned char>(static_cast<char16_t>(ch), 0));
        if (it != entries.end() && it->first == ch) return it->second;
        return -1;
    }
};

const Reverse& reverse(CodePage cp) {
    static const Reverse r1250(detail::kCp1250);
    static const Reverse r1252(detail::kCp1252);
    return cp == CodePage::Windows1252 ? r1252 : r1250;
}

}  // namespace

char32_t DecodeByte(CodePage cp, unsigned char byte) noexcept { return table(cp)[byte]; }

void AppendUtf8(std::string& out, char32_t ch) {
    if (ch < 0x80) {
        out.push_back(static_cast<char>(ch));
    } else if (ch < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (ch >> 6)));
        out.push_back(static_cast<char>(0x80 | (ch & 0x3F)));
    } else if (ch < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (ch >> 12)));
        out.push_back(static_cast<char>(0x80 | ((ch >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (ch & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (ch >> 18)));
        out.push_back(static_cast<char>(0x80 | ((ch >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((ch >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (ch & 0x3F)));
    }
}

void DecodeAppend(std::string& out, std::string_view bytes, CodePage cp) {
    const char16_t* t = table(cp);
    for (unsigned char c : bytes) {
        if (c < 0x80)
            out.push_back(static_cast<char>(c));
        else
            AppendUtf8(out, t[c]);
    }
}

char32_t NextUtf8(std::string_view s, std::size_t& pos) noexcept {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
    unsigned char c = byte(pos);
    if (c < 0x80) {
        ++pos;
        return c;
    }
    int len = 0;
    char32_t ch = 0;
    if ((c & 0xE0) == 0xC0) {
        len = 2;
        ch = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        len = 3;
        ch = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        len = 4;
        ch = c & 0x07;
    } else {
        ++pos;
        return 0xDC00 + c;
    }
    if (pos + len > s.size()) {
        ++pos;
        return 0xDC00 + c;
    }
    for (int i = 1; i < len; ++i) {
        unsigned char t = byte(pos + i);
        if ((t & 0xC0) != 0x80) {
            ++pos;
            return 0xDC00 + c;
        }
        ch = (ch << 6) | (t & 0x3F);
    }
    static constexpr char32_t kMin[5] = {0, 0, 0x80, 0x800, 0x10000};
    if (ch < kMin[len] || ch > 0x10FFFF || (ch >= 0xD800 && ch < 0xE000)) {
        ++pos;
        return 0xDC00 + c;
    }
    pos += len;
    return ch;
}

namespace {
constexpr char kHex[] = "0123456789ABCDEF";

void appendEscape(std::string& out, char32_t unit) {
    const char text[7] = {'\\', 'U', '+', kHex[(unit >> 12) & 15], kHex[(unit >> 8) & 15], kHex[(unit >> 4) & 15], kHex[unit & 15]};
    out.append(text, 7);
}

// True when the character at utf8[pos] is written as an escape: valid, and
// missing from the code page.
bool missing(std::string_view utf8, std::size_t pos, const Reverse& r) noexcept {
    if (static_cast<unsigned char>(utf8[pos]) < 0x80) return false;
    const char32_t ch = NextUtf8(utf8, pos);
    return !(ch >= 0xDC80 && ch <= 0xDCFF) && (ch >= 0x10000 || r.find(ch) < 0);
}

// One character at utf8[pos], which is not ASCII. The code page lacks it:
// '?' or, with escapes, \U+XXXX (above U+FFFF a surrogate pair of two). A
// byte that is not valid UTF-8 is '?' either way.
void encodeChar(std::string& out, std::string_view utf8, std::size_t& pos, const Reverse& r, bool escapes) {
    const char32_t ch = NextUtf8(utf8, pos);
    const int b = ch < 0x10000 ? r.find(ch) : -1;
    if (b >= 0) {
        out.push_back(static_cast<char>(b));
    } else if (!escapes || (ch >= 0xDC80 && ch <= 0xDCFF)) {
        out.push_back('?');
    } else if (ch >= 0x10000) {
        appendEscape(out, 0xD800 + ((ch - 0x10000) >> 10));
        appendEscape(out, 0xDC00 + ((ch - 0x10000) & 0x3FF));
    } else {
        appendEscape(out, ch);
    }
}

void encode(std::string& out, std::string_view utf8, CodePage cp, bool escapes) {
    const Reverse& r = reverse(cp);
    std::size_t pos = 0;
    while (pos < utf8.size()) {
        unsigned char c = static_cast<unsigned char>(utf8[pos]);
        if (c < 0x80) {
            out.push_back(static_cast<char>(c));
            ++pos;
            continue;
        }
        encodeChar(out, utf8, pos, r, escapes);
    }
}

int hex4(std::string_view s, std::size_t at) noexcept {
    if (at + 4 > s.size()) return -1;
    int v = 0;
    for (std::size_t i = at; i < at + 4; ++i) {
        const char c = s[i];
        int d;
        if (c >= '0' && c <= '9')
            d = c - '0';
        else if (c >= 'A' && c <= 'F')
            d = c - 'A' + 10;
        else if (c >= 'a' && c <= 'f')
            d = c - 'a' + 10;
        else
            return -1;
        v = v * 16 + d;
    }
    return v;
}

bool escapeAt(std::string_view s, std::size_t at) noexcept { return s.size() >= at + 3 && s.compare(at, 3, "\\U+") == 0; }
}  // namespace

void EncodeAppend(std::string& out, std::string_view utf8, CodePage cp) { encode(out, utf8, cp, false); }

void EncodeEscapedAppend(std::string& out, std::string_view utf8, CodePage cp) { encode(out, utf8, cp, true); }

// Control characters stay escaped: a line break would split the value's line.
char32_t DecodeEscape(std::string_view text, std::size_t at, std::size_t& length) noexcept {
    if (!escapeAt(text, at)) return 0;
    const int v = hex4(text, at + 3);
    if (v < 0x20) return 0;
    if (v >= 0xDC00 && v <= 0xDFFF) return 0;
    if (v >= 0xD800 && v <= 0xDBFF) {
        if (!escapeAt(text, at + 7)) return 0;
        const int low = hex4(text, at + 10);
        if (low < 0xDC00 || low > 0xDFFF) return 0;
        length = 14;
        return 0x10000 + ((static_cast<char32_t>(v) - 0xD800) << 10) + (static_cast<char32_t>(low) - 0xDC00);
    }
    length = 7;
    return static_cast<char32_t>(v);
}

void EncodeProtectedAppend(std::string& out, std::string_view text, std::size_t from, std::size_t to, CodePage cp, bool utf8,
                           bool pairs, bool& paired) {
    const Reverse& r = reverse(cp);
    std::size_t pos = from;
    while (pos < to) {
        const unsigned char c = static_cast<unsigned char>(text[pos]);
        if (c == '\\') {
            // Written as it is where the reader decodes nothing: a pair, or a
            // backslash that no escape follows.
            std::size_t length = 0;
            const bool second = paired;
            paired = pairs && !second && pos + 1 < text.size() && text[pos + 1] == '\\';
            bool literal = second || paired || DecodeEscape(text, pos, length) == 0;
            // Between pairs, the escape written for the next character would pair with it.
            if (literal && pairs && !second && !paired && !utf8 && pos + 1 < text.size()) literal = !missing(text, pos + 1, r);
            if (literal)
                out.push_back('\\');
            else
                appendEscape(out, '\\');
            ++pos;
        } else if (c < 0x80 || utf8) {
            // UTF-8 output copies every other byte as it is.
            const std::size_t start = pos++;
            while (pos < to && text[pos] != '\\' && (utf8 || static_cast<unsigned char>(text[pos]) < 0x80)) ++pos;
            out.append(text.data() + start, pos - start);
        } else {
            encodeChar(out, text, pos, r, true);
        }
    }
}

bool IsValidUtf8(std::string_view text) noexcept {
    std::size_t pos = 0;
    while (pos < text.size()) {
        if (static_cast<unsigned char>(text[pos]) < 0x80) {
            ++pos;
            continue;
        }
        const char32_t ch = NextUtf8(text, pos);
        if (ch >= 0xDC80 && ch <= 0xDCFF) return false;
    }
    return true;
}

char32_t ToUpper(char32_t ch) noexcept {
    if (ch < 0x80) return (ch >= 'a' && ch <= 'z') ? ch - 32 : ch;
    if (ch > 0xFFFF) return ch;
    const detail::CasePair* first = detail::kUpperPairs;
    const detail::CasePair* last = first + detail::kUpperPairCount;
    auto it = std::lower_bound(first, last, ch, [](const detail::CasePair& p, char32_t v) { return p.lower < v; });
    return (it != last && it->lower == ch) ? it->upper : ch;
}

char32_t ToLower(char32_t ch) noexcept {
    if (ch < 0x80) return (ch >= 'A' && ch <= 'Z') ? ch + 32 : ch;
    if (ch > 0xFFFF) return ch;
    // Lower-case by the reverse of the upper-case mapping; the first lower
    // letter that maps to this capital wins.
    static const auto reverseTable = [] {
        std::vector<detail::CasePair> v(detail::kUpperPairs, detail::kUpperPairs + detail::kUpperPairCount);
        std::stable_sort(v.begin(), v.end(), [](const detail::CasePair& a, const detail::CasePair& b) { return a.upper < b.upper; });
        return v;
    }();
    auto it = std::lower_bound(reverseTable.begin(), reverseTable.end(), ch,
                               [](const detail::CasePair& p, char32_t v) { return p.upper < v; });
    return (it != reverseTable.end() && it->upper == ch) ? it->lower : ch;
}

namespace {
template <char32_t (*Map)(char32_t) noexcept>
std::string mapCase(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    std::size_t pos = 0;
    while (pos < s.size()) {
        unsigned char c = static_cast<unsigned char>(s[pos]);
        if (c < 0x80) {
            out.push_back(static_cast<char>(Map(c)));
            ++pos;
            continue;
        }
        std::size_t start = pos;
        char32_t ch = NextUtf8(s, pos);
        if (ch >= 0xDC80 && ch <= 0xDCFF) {
            out.append(s.substr(start, pos - start));  // keep malformed bytes as they are
            continue;
        }
        AppendUtf8(out, Map(ch));
    }
    return out;
}
}  // namespace

std::string UpperCase(std::string_view s) { return mapCase<ToUpper>(s); }
std::string LowerCase(std::string_view s) { return mapCase<ToLower>(s); }

bool EqualsNoCase(std::string_view a, std::string_view b) noexcept {
    std::size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        unsigned char ca = static_cast<unsigned char>(a[i]);
        unsigned char cb = static_cast<unsigned char>(b[j]);
        if (ca < 0x80 && cb < 0x80) {
            if (ToUpper(ca) != ToUpper(cb)) return false;
            ++i;
            ++j;
            continue;
        }
        char32_t x = NextUtf8(a, i);
        char32_t y = NextUtf8(b, j);
        if (ToUpper(x) != ToUpper(y)) return false;
    }
    return i == a.size() && j == b.size();
}

}  // namespace ormavec
