#include "io/error.h"

namespace ormavec {

std::string_view DefaultErrorText(int32_t number) {
    switch (number) {
    case ErrInvalidArgument: return "Invalid argument";
    case ErrInvalidOperation: return "Invalid operation";
    case ErrNotSupported: return "Not supported";
    case err::InvalidProcedureCall: return "Invalid procedure call or argument";
    case err::Overflow: return "Overflow";
    case err::OutOfMemory: return "Out of memory";
    case err::SubscriptOutOfRange: return "Subscript out of range";
    case err::DivisionByZero: return "Division by zero";
    case err::TypeMismatch: return "Type mismatch";
    case err::BadFileNameOrNumber: return "Bad file name or number";
    case err::FileNotFound: return "File not found";
    case err::BadFileMode: return "Bad file mode";
    case err::DeviceIOError: return "Device I/O error";
    case err::DiskFull: return "Disk full";
    case err::InputPastEndOfFile: return "Input past end of file";
    case err::PermissionDenied: return "Permission denied";
    case err::PathFileAccessError: return "Path/File access error";
    case err::PathNotFound: return "Path not found";
    case err::InvalidUseOfNull: return "Invalid use of Null";
    default: return "Application-defined or object-defined error";
    }
}

namespace {
std::string composeMessage(int32_t number, const std::string& source, const std::string& description) {
    std::string text = description.empty() ? std::string(DefaultErrorText(number)) : description;
    if (!source.empty()) text = source + ": " + text;
    return text;
}
}  // namespace

Error::Error(int32_t number, std::string source, std::string description)
    : std::runtime_error(composeMessage(number, source, description)),
      number_(number),
      source_(std::move(source)),
      description_(std::move(description)) {}

void RaiseError(int32_t number, std::string_view source, std::string_view description) {
    throw Error(number, std::string(source), std::string(description));
}

}  // namespace ormavec
