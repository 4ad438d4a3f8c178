#include "io/text.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace ormavec {

namespace {

// What is known of a page: the byte-to-character table, on a double-byte page
// the lead bytes and the pair table, and the reverse map of the characters
// above ASCII (a byte, or lead << 8 | trail), sorted, the lowest code first.
struct Charset {
    const char16_t* bytes = nullptr;
    std::array<char16_t, 256> own{};
    std::array<bool, 256> lead{};
    std::vector<char32_t> pairs;  // lead << 8 | trail -> character, 0 for none
    std::vector<std::pair<char32_t, uint16_t>> entries;

    void index() {
        for (int b = 128; b < 256; ++b) entries.emplace_back(bytes[b], static_cast<uint16_t>(b));
        for (std::size_t code = 0; code < pairs.size(); ++code)
            if (pairs[code]) entries.emplace_back(pairs[code], static_cast<uint16_t>(code));
        std::sort(entries.begin(), entries.end());
    }
    int find(char32_t ch) const noexcept {
        auto it = std::lower_bound(entries.begin(), entries.end(), std::pair<char32_t, uint16_t>(ch, 0));
        if (it != entries.end() && it->first == ch) return it->second;
        return -1;
    }
};

// Every page a drawing can declare, with the converter glibc knows it by.
struct Page {
    int32_t number;
    const char* converter;
};
constexpr Page kPages[] = {
    {437, "CP437"},   {850, "CP850"},   {852, "CP852"},   {855, "CP855"},     {857, "CP857"},       {860, "CP860"},
    {861, "CP861"},   {863, "CP863"},   {864, "CP864"},   {865, "CP865"},     {866, "CP866"},       {869, "CP869"},
    {874, "CP874"},   {932, "CP932"},   {936, "CP936"},   {949, "CP949"},     {950, "CP950"},       {1250, "CP1250"},
    {1251, "CP1251"}, {1252, "CP1252"}, {1253, "CP1253"}, {1254, "CP1254"},   {1255, "CP1255"},     {1256, "CP1256"},
    {1257, "CP1257"}, {1258, "CP1258"}, {1361, "JOHAB"},  {10000, "MACINTOSH"}, {20127, "ASCII"},  {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"}, {28593, "ISO-8859-3"}, {28594, "ISO-8859-4"}, {28595, "ISO-8859-5"}, {28596, "ISO-8859-6"},
    {28597, "ISO-8859-7"}, {28598, "ISO-8859-8"}, {28599, "ISO-8859-9"}, {28600, "ISO-8859-10"}, {28603, "ISO-8859-13"},
    {28605, "ISO-8859-15"}};
constexpr std::size_t kPageCount = sizeof kPages / sizeof kPages[0];

const Page* pageOf(int32_t number) noexcept {
    auto it = std::lower_bound(std::begin(kPages), std::end(kPages), number, [](const Page& p, int32_t n) { return p.number < n; });
    return it != std::end(kPages) && it->number == number ? it : nullptr;
}

// One character from the converter, or 0 when the bytes are not exactly one.
char32_t convertOne(iconv_t cd, const char* in, std::size_t n) {
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    wchar_t out[4];
    char* ip = const_cast<char*>(in);
    char* op = reinterpret_cast<char*>(out);
    std::size_t il = n, ol = sizeof out;
    const std::size_t r = iconv(cd, &ip, &il, &op, &ol);
    if (r == static_cast<std::size_t>(-1) || il != 0) return 0;
    iconv(cd, nullptr, nullptr, &op, &ol);  // a page that combines letters holds the last one back
    if (ol != sizeof out - sizeof(wchar_t)) return 0;
    const auto ch = static_cast<char32_t>(out[0]);
    return ch > 0 && ch < 0x110000 ? ch : 0;
}

// Built once per page from glibc's converter: the C library already carries
// every page, so no dependency is added. A page it lacks keeps only ASCII.
std::unique_ptr<Charset> build(const Page& page) {
    auto c = std::make_unique<Charset>();
    c->bytes = c->own.data();
    for (int b = 0; b < 128; ++b) c->own[b] = static_cast<char16_t>(b);
    std::vector<bool> taken(0x10000);
    iconv_t cd = iconv_open("WCHAR_T", page.converter);
    const bool open = cd != reinterpret_cast<iconv_t>(-1);
    for (int b = 128; b < 256 && open; ++b) {
        const char byte = static_cast<char>(b);
        const char32_t ch = convertOne(cd, &byte, 1);
        if (ch && ch < 0x10000) {
            c->own[b] = static_cast<char16_t>(ch);
            taken[ch] = true;
        } else {
            // A lead byte, or a byte the page leaves undefined.
            if (c->pairs.empty()) c->pairs.assign(0x10000, 0);
            for (int t = 0x21; t < 0xFF; ++t) {
                const char two[2] = {byte, static_cast<char>(t)};
                if (char32_t p = convertOne(cd, two, 2)) {
                    c->pairs[(b << 8) | t] = p;
                    c->lead[b] = true;
                    if (p < 0x10000) taken[p] = true;
                }
            }
        }
    }
    if (open) iconv_close(cd);
    if (std::find(c->lead.begin(), c->lead.end(), true) == c->lead.end()) c->pairs.clear();
    // Undefined bytes and lone lead bytes: a character of their own, so that
    // they survive a save; in the private use area where the page uses it not.
    for (int b = 128; b < 256; ++b) {
        if (c->own[b] != 0) continue;
        int ch = b < 0xA0 && !taken[b] ? b : 0xF700 + b;
        while (taken[ch] && ch > 0xE0FF) ch -= 0x100;
        c->own[b] = static_cast<char16_t>(ch);
        taken[ch] = true;
    }
    c->index();
    return c;
}

const Charset& builtIn(const char16_t* table) {
    auto c = std::make_unique<Charset>();
    c->bytes = table;
    c->index();
    return *c.release();
}

const Charset& charset(CodePage cp) noexcept {
    static const Charset& c1250 = builtIn(detail::kCp1250);
    static const Charset& c1252 = builtIn(detail::kCp1252);
    if (cp == CodePage::Windows1250) return c1250;
    if (cp == CodePage::Windows1252) return c1252;
    const Page* page = pageOf(static_cast<int32_t>(cp));
    if (!page) return c1250;
    static std::array<std::atomic<const Charset*>, kPageCount> built{};
    static std::mutex building;
    std::atomic<const Charset*>& slot = built[static_cast<std::size_t>(page - kPages)];
    if (const Charset* c = slot.load(std::memory_order_acquire)) return *c;
    std::lock_guard<std::mutex> lock(building);
    if (!slot.load(std::memory_order_relaxed)) slot.store(build(*page).release(), std::memory_order_release);
    return *slot.load(std::memory_order_relaxed);
}

using Reverse = Charset;
const Reverse& reverse(CodePage cp) { return charset(cp); }

// Appends a code of Charset::find: one byte or a lead and a trail.
void appendCode(std::string& out, int code) {
    if (code > 0xFF) out.push_back(static_cast<char>(code >> 8));
    out.push_back(static_cast<char>(code & 0xFF));
}

}  // namespace

// The two built-in tables without a look-up; nullptr for the other pages.
const char16_t* builtInTable(CodePage cp) noexcept {
    return cp == CodePage::Windows1250 ? detail::kCp1250 : cp == CodePage::Windows1252 ? detail::kCp1252 : nullptr;
}

char32_t DecodeByte(CodePage cp, unsigned char byte) noexcept {
    const char16_t* t = builtInTable(cp);
    return t ? t[byte] : charset(cp).bytes[byte];
}

char32_t DecodeChar(CodePage cp, std::string_view bytes, std::size_t& pos) noexcept {
    const Charset& c = charset(cp);
    const auto b = static_cast<unsigned char>(bytes[pos++]);
    if (c.lead[b] && pos < bytes.size()) {
        if (char32_t ch = c.pairs[(b << 8) | static_cast<unsigned char>(bytes[pos])]) {
            ++pos;
            return ch;
        }
    }
    return c.bytes[b];
}

bool IsDoubleByte(CodePage cp) noexcept { return !charset(cp).pairs.empty(); }

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
    const char16_t* t = builtInTable(cp);
    if (!t) {
        const Charset& c = charset(cp);
        if (!c.pairs.empty()) {
            for (std::size_t pos = 0; pos < bytes.size();) {
                if (static_cast<unsigned char>(bytes[pos]) < 0x80)
                    out.push_back(bytes[pos++]);
                else
                    AppendUtf8(out, DecodeChar(cp, bytes, pos));
            }
            return;
        }
        t = c.bytes;
    }
    for (unsigned char ch : bytes) {
        if (ch < 0x80)
            out.push_back(static_cast<char>(ch));
        else
            AppendUtf8(out, t[ch]);
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
    return !(ch >= 0xDC80 && ch <= 0xDCFF) && r.find(ch) < 0;
}

// One character at utf8[pos], which is not ASCII. The code page lacks it:
// '?' or, with escapes, \U+XXXX (above U+FFFF a surrogate pair of two). A
// byte that is not valid UTF-8 is '?' either way.
void encodeChar(std::string& out, std::string_view utf8, std::size_t& pos, const Reverse& r, bool escapes) {
    const char32_t ch = NextUtf8(utf8, pos);
    const int b = r.find(ch);
    if (b >= 0) {
        appendCode(out, b);
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

namespace ormavec {

namespace {
// Names a drawing may give a page by, besides the numbered forms.
constexpr std::pair<std::string_view, int32_t> kPageNames[] = {
    {"MACINTOSH", 10000}, {"BIG5", 950}, {"GB2312", 936}, {"KSC5601", 949}, {"JOHAB", 1361}, {"ASCII", 20127}};

std::optional<int32_t> digits(std::string_view text) {
    int32_t n = 0;
    if (text.empty() || text.size() > 5) return std::nullopt;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        n = n * 10 + (c - '0');
    }
    return n;
}
}  // namespace

bool IsUtf8CodePageName(std::string_view text) noexcept {
    for (std::string_view name : {"UTF-8", "UTF8", "ANSI_65001", "CP65001", "65001"})
        if (EqualsNoCase(text, name)) return true;
    return false;
}

std::optional<CodePage> ParseCodePage(std::string_view text) {
    const std::string name = UpperCase(text);
    std::string_view v = name;
    for (const auto& [known, number] : kPageNames)
        if (v == known) return static_cast<CodePage>(number);
    std::optional<int32_t> n;
    if (v.starts_with("ISO8859-") || v.starts_with("ISO-8859-")) {
        n = digits(v.substr(v.find('9', 4) + 2));
        if (n) n = *n + 28590;
    } else {
        for (std::string_view prefix : {"ANSI_", "DOS", "CP", ""}) {
            if (!v.starts_with(prefix)) continue;
            n = digits(v.substr(prefix.size()));
            break;
        }
    }
    if (n && pageOf(*n)) return static_cast<CodePage>(*n);
    return std::nullopt;
}

std::string CodePageName(CodePage cp) {
    const int32_t n = static_cast<int32_t>(cp);
    for (const auto& [known, number] : kPageNames)
        if (number == n && known != "BIG5" && known != "GB2312" && known != "KSC5601" && known != "JOHAB") return std::string(known);
    if (n > 28590 && n < 28606) return "ISO8859-" + std::to_string(n - 28590);
    if (n < 870) return "DOS" + std::to_string(n);
    return "ANSI_" + std::to_string(n);
}

std::string_view CodePageForms() noexcept {
    return "ANSI_874, ANSI_932, ANSI_936, ANSI_949, ANSI_950, ANSI_1250 to ANSI_1258, ANSI_1361, DOS437, DOS850, "
           "DOS852, DOS855, DOS857, DOS860, DOS861, DOS863, DOS864, DOS865, DOS866, DOS869, DOS932, ISO8859-1 to "
           "ISO8859-10, ISO8859-13, ISO8859-15, MACINTOSH, BIG5, GB2312, KSC5601, JOHAB, ASCII, or the number alone (1251)";
}

}  // namespace ormavec
