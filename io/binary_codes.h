// Binary drawings: the sentinel they start with and how each group code's
// value is stored. A binary drawing holds the same pairs as a text one; the
// code is one byte (255 and a 16-bit code for larger ones) in drawings before
// AC1012 and 16 bits from AC1012 on, every number little-endian.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace ormavec {

inline constexpr std::string_view kBinarySentinel("AutoCAD Binary DXF\r\n\x1a\0", 22);

enum class BinaryValue : uint8_t {
    Text,    // NUL-terminated, in the drawing's code page or UTF-8
    Double,  // 8 bytes
    Int16,
    Int32,
    Int64,
    Byte,   // a flag, 0 or 1
    Chunk,  // a length byte and that many bytes, kept as hexadecimal text
};

namespace binary_detail {
constexpr std::array<BinaryValue, 1072> makeTable() {
    std::array<BinaryValue, 1072> t{};
    const auto set = [&](int32_t from, int32_t to, BinaryValue v) {
        for (int32_t c = from; c <= to; ++c) t[static_cast<std::size_t>(c)] = v;
    };
    set(10, 59, BinaryValue::Double);
    set(60, 79, BinaryValue::Int16);
    set(90, 99, BinaryValue::Int32);
    set(110, 149, BinaryValue::Double);
    set(160, 169, BinaryValue::Int64);
    set(170, 179, BinaryValue::Int16);
    set(210, 239, BinaryValue::Double);
    set(270, 289, BinaryValue::Int16);
    set(290, 299, BinaryValue::Byte);
    set(310, 319, BinaryValue::Chunk);
    set(370, 389, BinaryValue::Int16);
    set(400, 409, BinaryValue::Int16);
    set(420, 429, BinaryValue::Int32);
    set(440, 459, BinaryValue::Int32);
    set(460, 469, BinaryValue::Double);
    set(1004, 1004, BinaryValue::Chunk);
    set(1010, 1059, BinaryValue::Double);
    set(1060, 1070, BinaryValue::Int16);
    set(1071, 1071, BinaryValue::Int32);
    return t;
}
inline constexpr std::array<BinaryValue, 1072> kTable = makeTable();
}  // namespace binary_detail

constexpr BinaryValue BinaryValueOf(int32_t code) noexcept {
    return code >= 0 && code < 1072 ? binary_detail::kTable[static_cast<std::size_t>(code)] : BinaryValue::Text;
}

}  // namespace ormavec
