#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "io/number.h"

using ormavec::ParseDouble;
using ormavec::ParseInt32;
using ormavec::ParseStatus;

namespace {

struct DoubleCase {
    const char* text;
    ParseStatus status;
    double value;
};

TEST(IoNumber, ParseDoubleAcceptsDecimalFormsOnly) {
    const DoubleCase cases[] = {
        {"0", ParseStatus::Ok, 0.0},
        {"1.5", ParseStatus::Ok, 1.5},
        {"  -3.25  ", ParseStatus::Ok, -3.25},
        {"+2", ParseStatus::Ok, 2.0},
        {".5", ParseStatus::Ok, 0.5},
        {"5.", ParseStatus::Ok, 5.0},
        {"1e3", ParseStatus::Ok, 1000.0},
        {"1.5E-2", ParseStatus::Ok, 0.015},
        {"1e+2", ParseStatus::Ok, 100.0},
        {"1e-400", ParseStatus::Ok, 0.0},          // too small: zero
        {"0.00001e-320", ParseStatus::Ok, 0.0},
        {"1e400", ParseStatus::Overflow, 0},
        {"-1e400", ParseStatus::Overflow, 0},
        {"123456789e305", ParseStatus::Overflow, 0},
        {"179769313486231570e291", ParseStatus::Ok, 1.7976931348623157e308},
        {"inf", ParseStatus::TypeMismatch, 0},
        {"-Infinity", ParseStatus::TypeMismatch, 0},
        {"nan", ParseStatus::TypeMismatch, 0},
        {"0x1A", ParseStatus::TypeMismatch, 0},
        {"1,5", ParseStatus::TypeMismatch, 0},
        {"", ParseStatus::TypeMismatch, 0},
        {"   ", ParseStatus::TypeMismatch, 0},
        {".", ParseStatus::TypeMismatch, 0},
        {"-", ParseStatus::TypeMismatch, 0},
        {"1e", ParseStatus::TypeMismatch, 0},
        {"1.2.3", ParseStatus::TypeMismatch, 0},
        {"+-1", ParseStatus::TypeMismatch, 0},
        {"1 2", ParseStatus::TypeMismatch, 0},
        {"12abc", ParseStatus::TypeMismatch, 0},
    };
    for (const DoubleCase& c : cases) {
        double out = -999;
        EXPECT_EQ(ParseDouble(c.text, out), c.status) << '"' << c.text << '"';
        if (c.status == ParseStatus::Ok) {
            EXPECT_DOUBLE_EQ(out, c.value) << '"' << c.text << '"';
        }
    }
}

struct IntCase {
    const char* text;
    ParseStatus status;
    int32_t value;
};

TEST(IoNumber, ParseInt32RoundsHalvesToEven) {
    const IntCase cases[] = {
        {"  10", ParseStatus::Ok, 10},
        {"10.5", ParseStatus::Ok, 10},
        {"11.5", ParseStatus::Ok, 12},
        {"-2.5", ParseStatus::Ok, -2},
        {"-3.5", ParseStatus::Ok, -4},
        {"0.4999", ParseStatus::Ok, 0},
        {"1e3", ParseStatus::Ok, 1000},
        {"2147483647", ParseStatus::Ok, INT32_MAX},
        {"-2147483648", ParseStatus::Ok, INT32_MIN},
        {"0000000000010", ParseStatus::Ok, 10},
        {"2147483648", ParseStatus::Overflow, 0},
        {"2147483647.5", ParseStatus::Overflow, 0},
        {"99999999999", ParseStatus::Overflow, 0},
        {"-99999999999", ParseStatus::Overflow, 0},
        {"1e300", ParseStatus::Overflow, 0},
        {"LINE", ParseStatus::TypeMismatch, 0},
        {"", ParseStatus::TypeMismatch, 0},
        {"+", ParseStatus::TypeMismatch, 0},
        {"1 0", ParseStatus::TypeMismatch, 0},
    };
    for (const IntCase& c : cases) {
        int32_t out = -999;
        EXPECT_EQ(ParseInt32(c.text, out), c.status) << '"' << c.text << '"';
        if (c.status == ParseStatus::Ok) {
            EXPECT_EQ(out, c.value) << '"' << c.text << '"';
        }
    }
}

std::string formatDouble(double v) {
    char buf[ormavec::kNumberBufferSize];
    return std::string(buf, ormavec::FormatDouble(buf, v));
}

TEST(IoNumber, FormatDoubleUsesNineDecimalsWithoutTrailingZeros) {
    const struct {
        double value;
        const char* text;
    } cases[] = {
        {2, "2."},
        {0, "0."},
        {-0.0, "0."},
        {0.5, "0.5"},
        {-3.25, "-3.25"},
        {1.25, "1.25"},
        {1.826004, "1.826004"},
        {90, "90."},
        {1.0 / 3.0, "0.333333333"},
        {2.0 / 3.0, "0.666666667"},
        {-2.0 / 3.0, "-0.666666667"},
        {0.0000000004, "0."},
        {-0.0000000004, "0."},
        {1e-10, "0."},
        {0.000000001, "0.000000001"},
        {-0.000000001, "-0.000000001"},
        {123456789.125, "123456789.125"},
        {1e15, "1000000000000000."},
        {-1e20, "-100000000000000000000."},
        {0.1, "0.1"},
    };
    for (const auto& c : cases) EXPECT_EQ(formatDouble(c.value), c.text) << c.value;
}

TEST(IoNumber, FormatDoubleFitsTheLargestValues) {
    std::string max = formatDouble(std::numeric_limits<double>::max());
    EXPECT_EQ(max.size(), 310u);
    EXPECT_EQ(max.substr(0, 6), "179769");
    EXPECT_EQ(max.back(), '.');
    std::string min = formatDouble(-std::numeric_limits<double>::max());
    EXPECT_EQ(min, "-" + max);
}

TEST(IoNumber, FormatIntAndHandle) {
    char buf[ormavec::kNumberBufferSize];
    const struct {
        int32_t value;
        const char* decimal;
        const char* hex;
    } cases[] = {
        {0, "0", "0"},       {10, "10", "A"},       {255, "255", "FF"},
        {4096, "4096", "1000"}, {-1, "-1", "FFFFFFFF"}, {INT32_MIN, "-2147483648", "80000000"},
        {INT32_MAX, "2147483647", "7FFFFFFF"}, {370, "370", "172"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(std::string(buf, ormavec::FormatInt(buf, c.value)), c.decimal);
        EXPECT_EQ(std::string(buf, ormavec::FormatHandle(buf, c.value)), c.hex);
    }
}

}  // namespace
