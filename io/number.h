// Conversions between group values and numbers. Always "." as the decimal
// separator, whatever the process locale.
#pragma once

#include <cstdint>
#include <string_view>

namespace ormavec {

enum class ParseStatus { Ok, TypeMismatch, Overflow };

// Decimal numbers only: optional sign, digits with at most one point, an
// optional exponent; surrounding blanks ignored. "inf", "nan", hexadecimal
// and a decimal comma are a type mismatch; a value beyond the double range is
// an overflow (one too small to represent becomes zero).
ParseStatus ParseDouble(std::string_view text, double& out) noexcept;

// The same text rounded to the nearest 32-bit integer, halves to even.
ParseStatus ParseInt32(std::string_view text, int32_t& out) noexcept;

// Rounds to the nearest integer, halves to even.
double RoundHalfEven(double value) noexcept;

// Writers' number forms. Each writes into buf (at least kNumberBufferSize
// bytes) and returns the end. FormatDouble requires a finite value.
inline constexpr int kNumberBufferSize = 352;
char* FormatDouble(char* buf, double value) noexcept;  // "0." and nine "#"
// The same text through to_chars with nine fixed decimals, trimmed; FormatDouble
// takes it for values of 1.8e10 and more.
char* FormatDoubleFixed9(char* buf, double value) noexcept;
char* FormatInt(char* buf, int32_t value) noexcept;
char* FormatHandle(char* buf, int32_t value) noexcept;  // upper-case hex, two's complement

}  // namespace ormavec
