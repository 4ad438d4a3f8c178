// One exception type for every failure of the library: the error number, the
// object or member it came from, and a description.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ormavec {

// Numbers raised by the component itself.
inline constexpr int32_t ErrInvalidArgument = static_cast<int32_t>(0x80040001u);
inline constexpr int32_t ErrInvalidOperation = static_cast<int32_t>(0x80040002u);
inline constexpr int32_t ErrNotSupported = static_cast<int32_t>(0x80040003u);

// Classic automation numbers for the platform's own failures.
namespace err {
inline constexpr int32_t InvalidProcedureCall = 5;
inline constexpr int32_t Overflow = 6;
inline constexpr int32_t OutOfMemory = 7;
inline constexpr int32_t SubscriptOutOfRange = 9;
inline constexpr int32_t DivisionByZero = 11;
inline constexpr int32_t TypeMismatch = 13;
inline constexpr int32_t BadFileNameOrNumber = 52;
inline constexpr int32_t FileNotFound = 53;
inline constexpr int32_t BadFileMode = 54;
inline constexpr int32_t DeviceIOError = 57;
inline constexpr int32_t DiskFull = 61;
inline constexpr int32_t InputPastEndOfFile = 62;
inline constexpr int32_t PermissionDenied = 70;
inline constexpr int32_t PathFileAccessError = 75;
inline constexpr int32_t PathNotFound = 76;
inline constexpr int32_t InvalidUseOfNull = 94;
}  // namespace err

// The standard text for a number, used when a raise gives no description.
std::string_view DefaultErrorText(int32_t number);

class Error : public std::runtime_error {
public:
    Error(int32_t number, std::string source, std::string description);

    int32_t number() const noexcept { return number_; }
    const std::string& source() const noexcept { return source_; }
    // The description as raised (may be empty for the component's own
    // argument errors); what() always carries a readable message.
    const std::string& description() const noexcept { return description_; }

private:
    int32_t number_;
    std::string source_;
    std::string description_;
};

[[noreturn]] void RaiseError(int32_t number, std::string_view source, std::string_view description = {});

}  // namespace ormavec
