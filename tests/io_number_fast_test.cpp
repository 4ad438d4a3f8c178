// The fast number paths must give exactly what the general conversions give:
// FormatDouble against to_chars with nine fixed decimals (trimmed), and
// ParseDouble of plain decimals against from_chars, over millions of values.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "io/number.h"

namespace {

std::string fast(double v) {
    char buf[ormavec::kNumberBufferSize];
    return std::string(buf, ormavec::FormatDouble(buf, v));
}
std::string general(double v) {
    char buf[ormavec::kNumberBufferSize];
    return std::string(buf, ormavec::FormatDoubleFixed9(buf, v));
}

double fromBits(uint64_t bits) {
    double d;
    std::memcpy(&d, &bits, sizeof d);
    return d;
}

// Counts mismatches and reports the first few, so that one failure does not
// print a million lines.
struct Mismatches {
    int count = 0;
    void check(double v) {
        const std::string a = fast(v), b = general(v);
        if (a != b && ++count <= 5) ADD_FAILURE() << "value bits " << std::hexfloat << v << ": fast \"" << a << "\", general \"" << b << "\"";
    }
};

TEST(IoNumberFast, FormatDoubleMatchesFixedNineOnEdgeValues) {
    Mismatches m;
    std::vector<double> edges = {0.0, -0.0, 1.0, -1.0, 0.5, 2.0, 1e-9, 5e-10, 4.9999999999e-10, 5.0000000001e-10, 1.5e-9, 2.5e-9,
                                 0.0000000004, 1.826004, 1.0 / 3.0, 2.0 / 3.0, 1e10, 1.8e10, 1.8446744073709551e10, 1.8446744073709552e10,
                                 1e11, 1e15, 9007199254740993.0, 1e300, std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::min(), std::numeric_limits<double>::denorm_min(), 0.1, 0.2, 0.3,
                                 123456.7890123456, 99999.9999999995, 99999.99999999951, 0.9999999995, 0.99999999949999};
    for (double e : edges) {
        m.check(e);
        m.check(-e);
        m.check(std::nextafter(e, 0.0));
        m.check(std::nextafter(e, 1e308));
    }
    // Exact binary ties at the tenth decimal (k / 1024 and friends) and the
    // neighbours of every nine-decimal half step around small integers.
    for (int k = -5000; k <= 5000; ++k) {
        m.check(k / 1024.0);
        m.check(k / 2048.0 + 1000.0);
        const double half = k * 1e-9 + 5e-10;
        m.check(half);
        m.check(std::nextafter(half, 0.0));
        m.check(std::nextafter(half, 1.0));
    }
    // Around the largest value the fast form takes.
    double limit = 18446744073.709551615;
    for (int i = 0; i < 2000; ++i) {
        m.check(limit);
        m.check(-limit);
        limit = std::nextafter(limit, 0.0);
    }
    EXPECT_EQ(m.count, 0);
}

TEST(IoNumberFast, FormatDoubleMatchesFixedNineOnRandomValues) {
    Mismatches m;
    std::mt19937_64 rng(20240607);
    std::uniform_real_distribution<double> coordinate(-1e6, 1e6);
    std::uniform_int_distribution<int> decimals(0, 12);
    for (int i = 0; i < 1000000; ++i) {
        // Any bit pattern that is a finite number.
        double any = fromBits(rng());
        if (std::isfinite(any)) m.check(any);
        // Drawing coordinates with few decimals, as read from files.
        const double p = std::pow(10.0, decimals(rng));
        m.check(std::round(coordinate(rng) * p) / p);
        // Values with the exponents where the nine decimals matter.
        const uint64_t bits = (rng() & 0x800FFFFFFFFFFFFFull) | (static_cast<uint64_t>(990 + rng() % 70) << 52);
        m.check(fromBits(bits));
    }
    EXPECT_EQ(m.count, 0);
}

TEST(IoNumberFast, ParseDoubleOfPlainDecimalsMatchesFromChars) {
    std::mt19937_64 rng(77);
    int mismatches = 0;
    auto check = [&](const std::string& text) {
        double parsed = -1, expected = -1;
        ASSERT_EQ(ormavec::ParseDouble(text, parsed), ormavec::ParseStatus::Ok) << text;
        std::string_view digits = text;
        const bool negative = !digits.empty() && digits.front() == '-';
        if (!digits.empty() && (digits.front() == '-' || digits.front() == '+')) digits.remove_prefix(1);
        std::from_chars(digits.data(), digits.data() + digits.size(), expected);
        if (negative) expected = -expected;
        if (std::memcmp(&parsed, &expected, sizeof parsed) != 0 && ++mismatches <= 5)
            ADD_FAILURE() << text << ": " << parsed << " instead of " << expected;
    };
    for (const char* text : {"0", "-0", "+0", "0.", ".5", "-.5", "5.", "9007199254740992", "9007199254740993", "0.1", "0.3",
                             "123456789012345678", "1234567890.1234567890123", "0.0000000000000000000001",
                             "0.00000000000000000000001", "83969.4612385102", "-59259.4627926042", "2994.3658994579"})
        check(text);
    for (int i = 0; i < 1000000; ++i) {
        std::string text = (rng() & 1) ? "-" : "";
        const int whole = static_cast<int>(rng() % 13), fraction = static_cast<int>(rng() % 18);
        for (int k = 0; k < whole; ++k) text += static_cast<char>('0' + rng() % 10);
        if (fraction > 0 || whole == 0) {
            text += '.';
            for (int k = 0; k < fraction || k == 0; ++k) text += static_cast<char>('0' + rng() % 10);
        }
        check(text);
    }
    EXPECT_EQ(mismatches, 0);
}

}  // namespace
