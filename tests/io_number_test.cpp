// Number text: the fast formatter and parser against the general conversions,
// round trips through the nine-decimal form, and the shapes that are refused.
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string>

#include "io/number.h"

using namespace ormavec;

namespace {

std::string Text(char* (*format)(char*, double) noexcept, double v) {
    char buf[kNumberBufferSize];
    return std::string(buf, format(buf, v));
}

// Any finite double by its bits, or a drawing coordinate with a few decimals.
double AnyValue() {
    if (*rc::gen::arbitrary<bool>()) {
        const double v = std::bit_cast<double>(*rc::gen::arbitrary<uint64_t>());
        return std::isfinite(v) ? v : 0.0;
    }
    const double m = static_cast<double>(*rc::gen::inRange<int64_t>(0, int64_t{1} << 53));
    return (*rc::gen::arbitrary<bool>() ? -m : m) / std::pow(10.0, *rc::gen::inRange(0, 13));
}

}  // namespace

RC_GTEST_PROP(IoNumber, FastFormatIsTheFixedNineDecimalsForm, ()) {
    const double v = AnyValue();
    for (double x : {v, -v, std::nextafter(v, 0.0), std::nextafter(v, 1e308)})
        RC_ASSERT(Text(FormatDouble, x) == Text(FormatDoubleFixed9, x));
}

TEST(IoNumber, FastFormatOnTiesAtTheTenthDecimal) {
    int mismatches = 0;
    for (int k = -5000; k <= 5000; ++k) {
        const double half = k * 1e-9 + 5e-10;
        for (double x : {k / 1024.0, k / 2048.0 + 1000.0, half, std::nextafter(half, 0.0), std::nextafter(half, 1.0),
                         18446744073.709551615 - k * 3.8e-6})
            mismatches += Text(FormatDouble, x) != Text(FormatDoubleFixed9, x);
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_EQ(Text(FormatDoubleFixed9, -1e-10), "0.");
}

RC_GTEST_PROP(IoNumber, FormattedValuesReadBackWithinNineDecimals, ()) {
    const double v = AnyValue();
    const std::string text = Text(FormatDouble, v);
    double back = 0;
    RC_ASSERT(ParseDouble(text, back) == ParseStatus::Ok);
    RC_ASSERT(std::fabs(back - v) <= 5e-10 + 2 * std::fabs(v) * 0x1p-52);
    RC_ASSERT(Text(FormatDouble, back) == text);
}

// Generated decimal text with blanks, signs and exponents: ParseDouble gives
// what from_chars gives for the digits, zero for what is too small, an
// overflow for what is too large, and a mismatch when no digit is present.
RC_GTEST_PROP(IoNumber, ParseAgreesWithFromChars, ()) {
    auto digits = [](int most) {
        std::string s(static_cast<std::size_t>(*rc::gen::inRange(0, most + 1)), '0');
        for (char& c : s) c = static_cast<char>('0' + *rc::gen::inRange(0, 10));
        return s;
    };
    const std::string whole = digits(20), fraction = digits(25);
    const bool point = *rc::gen::arbitrary<bool>() || fraction.size() > 0;
    const bool exponent = *rc::gen::inRange(0, 4) == 0;
    const bool negativeExponent = *rc::gen::arbitrary<bool>();
    std::string number = whole + (point ? "." : "") + fraction;
    if (exponent) number += *rc::gen::elementOf(std::string("eE")) + std::string(negativeExponent ? "-" : "+") + std::to_string(*rc::gen::inRange(0, 400));
    const std::string sign = *rc::gen::elementOf(std::vector<std::string>{"", "-", "+"});
    const std::string blanks = *rc::gen::elementOf(std::vector<std::string>{"", " ", "\t ", "  "});
    double parsed = 7;
    const ParseStatus status = ParseDouble(blanks + sign + number + blanks, parsed);
    if (whole.empty() && fraction.empty()) {
        RC_ASSERT(status == ParseStatus::TypeMismatch);
        return;
    }
    double expected = 0;
    if (std::from_chars(number.data(), number.data() + number.size(), expected).ec == std::errc::result_out_of_range) {
        RC_ASSERT(status == (negativeExponent ? ParseStatus::Ok : ParseStatus::Overflow));
        expected = 0;
        if (!negativeExponent) return;
    }
    RC_ASSERT(status == ParseStatus::Ok);
    if (sign == "-") expected = -expected;
    RC_ASSERT(std::bit_cast<uint64_t>(parsed) == std::bit_cast<uint64_t>(expected));
}

RC_GTEST_PROP(IoNumber, IntegersAndHandlesReadBack, (int32_t n)) {
    char buf[kNumberBufferSize];
    int32_t i = 0;
    uint32_t h = 0;
    const std::string decimal(buf, FormatInt(buf, n)), hex(buf, FormatHandle(buf, n));
    RC_ASSERT(ParseInt32(decimal, i) == ParseStatus::Ok && i == n);
    RC_ASSERT(std::from_chars(hex.data(), hex.data() + hex.size(), h, 16).ptr == hex.data() + hex.size() && h == static_cast<uint32_t>(n));
    RC_ASSERT(hex.find_first_of("abcdef") == std::string::npos && (hex.size() == 1 || hex[0] != '0'));
    // A half rounds to the even neighbour.
    if (n < INT32_MAX && n > INT32_MIN) {
        RC_ASSERT(ParseInt32(std::to_string(n) + ".5", i) == ParseStatus::Ok);
        RC_ASSERT(i == (n % 2 == 0 ? n : (n < 0 ? n - 1 : n + 1)));
    }
}

TEST(IoNumber, RefusedShapesAndRanges) {
    const struct {
        const char* text;
        ParseStatus asDouble, asInt;
    } cases[] = {
        {"inf", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch}, {"-Infinity", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch},
        {"nan", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch}, {"0x1A", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch},
        {"1,5", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch}, {"1e", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch},
        {"1.2.3", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch}, {"+-1", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch},
        {"1 2", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch}, {"-", ParseStatus::TypeMismatch, ParseStatus::TypeMismatch},
        {"0.00001e-320", ParseStatus::Ok, ParseStatus::Ok},             {"179769313486231570e291", ParseStatus::Ok, ParseStatus::Overflow},
        {"123456789e305", ParseStatus::Overflow, ParseStatus::Overflow}, {"2147483647.5", ParseStatus::Ok, ParseStatus::Overflow},
        {"-2147483648", ParseStatus::Ok, ParseStatus::Ok},               {"-99999999999", ParseStatus::Ok, ParseStatus::Overflow},
    };
    for (const auto& c : cases) {
        double d = 0;
        int32_t i = 0;
        EXPECT_EQ(ParseDouble(c.text, d), c.asDouble) << c.text;
        EXPECT_EQ(ParseInt32(c.text, i), c.asInt) << c.text;
    }
}
