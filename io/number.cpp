#include "io/number.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

namespace ormavec {

namespace {

std::string_view trimBlanks(std::string_view s) noexcept {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
    return s;
}

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }

// Checks the decimal shape by hand: from_chars alone would also take "inf",
// "nan" and other spellings that are not numbers in a drawing file.
bool hasDecimalShape(std::string_view s) noexcept {
    std::size_t i = 0;
    bool digits = false;
    while (i < s.size() && isDigit(s[i])) ++i, digits = true;
    if (i < s.size() && s[i] == '.') {
        ++i;
        while (i < s.size() && isDigit(s[i])) ++i, digits = true;
    }
    if (!digits) return false;
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        ++i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        bool expDigits = false;
        while (i < s.size() && isDigit(s[i])) ++i, expDigits = true;
        if (!expDigits) return false;
    }
    return i == s.size();
}

// Whether a decimal text that from_chars found out of range is tiny rather
// than huge: its decimal exponent is negative.
bool isTiny(std::string_view s) noexcept {
    long exponent = 0;
    std::size_t e = s.find_first_of("eE");
    std::string_view mantissa = s.substr(0, e);
    if (e != std::string_view::npos) {
        std::string_view ex = s.substr(e + 1);
        bool negative = !ex.empty() && ex.front() == '-';
        if (!ex.empty() && (ex.front() == '-' || ex.front() == '+')) ex.remove_prefix(1);
        for (char c : ex) {
            if (exponent < 100000) exponent = exponent * 10 + (c - '0');
        }
        if (negative) exponent = -exponent;
    }
    // Position of the first significant digit relative to the point.
    std::size_t point = mantissa.find('.');
    if (point == std::string_view::npos) point = mantissa.size();
    for (std::size_t i = 0; i < mantissa.size(); ++i) {
        char c = mantissa[i];
        if (c == '.' || c == '0') continue;
        long magnitude = i < point ? static_cast<long>(point - i) : -static_cast<long>(i - point) + 1;
        return magnitude + exponent <= 0;
    }
    return true;  // all zeros
}

// Words hold eight bytes of text, the first byte lowest (little-endian).
// How many of the word's bytes, from the first, are digits.
int leadingDigits(uint64_t w) noexcept {
    // A byte is 0x33 here exactly when it is a digit; a carry out of a high
    // byte only disturbs the bytes after the first non-digit.
    const uint64_t marks = ((w & 0xF0F0F0F0F0F0F0F0u) | (((w + 0x0606060606060606u) & 0xF0F0F0F0F0F0F0F0u) >> 4)) ^ 0x3333333333333333u;
    return marks == 0 ? 8 : std::countr_zero(marks) / 8;
}
constexpr uint64_t kPow10Int[9] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

// The value of eight ASCII digits.
uint32_t eightDigitsValue(uint64_t w) noexcept {
    constexpr uint64_t mask = 0x000000FF000000FFu;
    constexpr uint64_t mul1 = 0x000F424000000064u;  // 100 + (1000000 << 32)
    constexpr uint64_t mul2 = 0x0000271000000001u;  // 1 + (10000 << 32)
    w -= 0x3030303030303030u;
    w = (w * 10) + (w >> 8);
    return static_cast<uint32_t>((((w & mask) * mul1) + (((w >> 16) & mask) * mul2)) >> 32);
}

// Plain decimals whose digits form an integer below 2^53 with at most 22
// decimals: the integer and the power of ten are both exact doubles, so one
// division rounds correctly and gives the same double as from_chars.
bool parsePlainDecimal(std::string_view text, double& out) noexcept {
    static constexpr double kPow10[23] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                          1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    const char* p = text.data();
    const char* const end = p + text.size();
    if (p == end) return false;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    uint64_t m = 0;
    int digits = 0;
    // Takes a run of digits, up to eight at a time while eight bytes are left.
    auto run = [&]() noexcept {
        int taken = 0;
        while (std::endian::native == std::endian::little && end - p >= 8 && digits <= 11) {
            uint64_t word;
            std::memcpy(&word, p, 8);
            const int k = leadingDigits(word);
            if (k == 0) break;
            m = m * kPow10Int[k] + eightDigitsValue(k == 8 ? word : (word << (8 * (8 - k))) | (0x3030303030303030u >> (8 * k)));
            p += k;
            digits += k;
            taken += k;
            if (k < 8) return taken;
        }
        while (p != end && isDigit(*p) && digits < 19) m = m * 10 + static_cast<unsigned>(*p++ - '0'), ++digits, ++taken;
        return taken;
    };
    run();
    int decimals = 0;
    if (p != end && *p == '.') {
        ++p;
        decimals = run();
    }
    if (p != end || digits == 0 || decimals > 22 || m > (uint64_t{1} << 53)) return false;
    double v = static_cast<double>(m);
    if (decimals > 0) v /= kPow10[decimals];
    out = negative ? -v : v;
    return true;
}

}  // namespace

ParseStatus ParseDouble(std::string_view text, double& out) noexcept {
    if (parsePlainDecimal(text, out)) return ParseStatus::Ok;
    std::string_view s = trimBlanks(text);
    bool negative = false;
    if (!s.empty() && (s.front() == '+' || s.front() == '-')) {
        negative = s.front() == '-';
        s.remove_prefix(1);
    }
    if (!hasDecimalShape(s)) return ParseStatus::TypeMismatch;
    double value = 0.0;
    auto [ptr, ec] = std::from_chars(s.data(), s.data() + s.size(), value, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        if (!isTiny(s)) return ParseStatus::Overflow;
        value = 0.0;
    } else if (ec != std::errc() || ptr != s.data() + s.size()) {
        return ParseStatus::TypeMismatch;
    }
    out = negative ? -value : value;
    return ParseStatus::Ok;
}

double RoundHalfEven(double x) noexcept {
    double r = std::round(x);  // halves away from zero
    if (std::fabs(x - std::trunc(x)) == 0.5) r = 2.0 * std::round(x / 2.0);
    return r;
}

ParseStatus ParseInt32(std::string_view text, int32_t& out) noexcept {
    std::string_view s = trimBlanks(text);
    // Plain integers, the common case, without going through a double.
    std::size_t i = (!s.empty() && (s.front() == '-' || s.front() == '+')) ? 1 : 0;
    if (s.size() > i && s.size() - i <= 10) {
        int64_t v = 0;
        std::size_t j = i;
        while (j < s.size() && isDigit(s[j])) v = v * 10 + (s[j++] - '0');
        if (j == s.size()) {
            if (s.front() == '-') v = -v;
            if (v < INT32_MIN || v > INT32_MAX) return ParseStatus::Overflow;
            out = static_cast<int32_t>(v);
            return ParseStatus::Ok;
        }
    }
    double d = 0;
    ParseStatus st = ParseDouble(s, d);
    if (st != ParseStatus::Ok) return st;
    double r = RoundHalfEven(d);
    if (!(r >= -2147483648.0 && r <= 2147483647.0)) return ParseStatus::Overflow;
    out = static_cast<int32_t>(r);
    return ParseStatus::Ok;
}

namespace {

constexpr char kDigitPairs[] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// The value times 10^9, rounded to the nearest integer with halves to even,
// computed exactly from the binary form; false when it does not fit 64 bits.
bool scaledByBillion(double value, uint64_t& scaled) noexcept {
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const int biased = static_cast<int>((bits >> 52) & 0x7FF);
    const uint64_t fraction = bits & ((uint64_t{1} << 52) - 1);
    const uint64_t m = biased == 0 ? fraction : (fraction | (uint64_t{1} << 52));
    const int e = biased == 0 ? -1074 : biased - 1075;
    // |value| * 10^9 = m * 5^9 * 2^(e + 9), with m * 5^9 below 2^74.
    using U128 = unsigned __int128;
    const U128 x = static_cast<U128>(m) * 1953125u;
    const int shift = e + 9;
    U128 q;
    if (shift >= 0) {
        if (shift >= 64) return m == 0 ? (scaled = 0, true) : false;
        q = x << shift;
        if ((q >> shift) != x) return false;
    } else if (-shift >= 128) {
        q = 0;  // below 2^-54: rounds to zero
    } else {
        const int s = -shift;
        q = x >> s;
        const U128 rest = x - (q << s);
        const U128 half = static_cast<U128>(1) << (s - 1);
        if (rest > half || (rest == half && (q & 1) != 0)) ++q;
    }
    if (q > static_cast<U128>(UINT64_MAX)) return false;
    scaled = static_cast<uint64_t>(q);
    return true;
}

}  // namespace

char* FormatDouble(char* buf, double value) noexcept {
    uint64_t scaled;
    if (scaledByBillion(value, scaled)) {
        char* p = buf;
        // A negative value that rounds to zero is written as plain zero.
        if (std::signbit(value) && scaled != 0) *p++ = '-';
        const uint64_t whole = scaled / 1000000000u;
        uint32_t decimals = static_cast<uint32_t>(scaled % 1000000000u);
        p = std::to_chars(p, buf + kNumberBufferSize, whole).ptr;
        *p++ = '.';
        if (decimals != 0) {
            // All nine decimals two at a time, then the trailing zeros cut.
            p[0] = static_cast<char>('0' + decimals / 100000000u);
            decimals %= 100000000u;
            for (int i = 3; i >= 0; --i) {
                std::memcpy(p + 1 + 2 * i, kDigitPairs + 2 * (decimals % 100u), 2);
                decimals /= 100u;
            }
            int digits = 9;
            while (p[digits - 1] == '0') --digits;
            p += digits;
        }
        return p;
    }
    return FormatDoubleFixed9(buf, value);
}

char* FormatDoubleFixed9(char* buf, double value) noexcept {
    auto res = std::to_chars(buf, buf + kNumberBufferSize, value, std::chars_format::fixed, 9);
    char* end = res.ptr;
    // Drop the trailing zeros of the nine decimals; the point always stays.
    while (end > buf && end[-1] == '0') --end;
    // A negative value that rounds to zero is written as plain zero.
    if (buf[0] == '-' && end - buf == 3 && buf[1] == '0' && buf[2] == '.') {
        buf[0] = '0';
        buf[1] = '.';
        return buf + 2;
    }
    return end;
}

char* FormatInt(char* buf, int32_t value) noexcept {
    return std::to_chars(buf, buf + kNumberBufferSize, value).ptr;
}

char* FormatHandle(char* buf, int32_t value) noexcept {
    char* end = std::to_chars(buf, buf + kNumberBufferSize, static_cast<uint32_t>(value), 16).ptr;
    for (char* p = buf; p != end; ++p)
        if (*p >= 'a' && *p <= 'f') *p = static_cast<char>(*p - 32);
    return end;
}

}  // namespace ormavec
