#include "io/number.h"

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

}  // namespace

ParseStatus ParseDouble(std::string_view text, double& out) noexcept {
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

char* FormatDouble(char* buf, double value) noexcept {
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
