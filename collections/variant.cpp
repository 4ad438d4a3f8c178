#include "collections/variant.h"

#include <cmath>
#include <charconv>

#include "io/error.h"
#include "io/number.h"

namespace ormavec {

int32_t Variant::VarType() const noexcept {
    switch (kind_) {
    case Kind::Empty: return vt::Empty;
    case Kind::Int16: return vt::Int16;
    case Kind::Int32: return vt::Int32;
    case Kind::Single: return vt::Single;
    case Kind::Double: return vt::Double;
    case Kind::Bool: return vt::Bool;
    case Kind::String: return vt::String;
    case Kind::Object: return vt::Object;
    case Kind::Record: return vt::Record;
    case Kind::Array: return vt::Array | static_cast<const detail::ArrayBoxBase*>(box_.get())->ElementVarType();
    }
    return vt::Empty;
}

std::string_view Variant::TypeName() const noexcept {
    switch (kind_) {
    case Kind::Empty: return "Empty";
    case Kind::Int16: return "Integer";
    case Kind::Int32: return "Long";
    case Kind::Single: return "Single";
    case Kind::Double: return "Double";
    case Kind::Bool: return "Boolean";
    case Kind::String: return "String";
    case Kind::Object: return object_ ? object_->ClassName() : std::string_view("Nothing");
    case Kind::Record:
    case Kind::Array: return box_->TypeName();
    }
    return "Empty";
}

void RaiseTypeMismatch(std::string_view source, const Variant& got, std::string_view expected) {
    std::string text = "Type mismatch: expected ";
    text += expected;
    text += ", got ";
    text += got.TypeName();
    if (got.IsArray()) text += "()";
    RaiseError(err::TypeMismatch, source, text);
}

double Variant::ToDouble() const {
    switch (kind_) {
    case Kind::Empty: return 0.0;
    case Kind::Int16:
    case Kind::Int32:
    case Kind::Bool: return scalar_.i;
    case Kind::Single:
    case Kind::Double: return scalar_.d;
    case Kind::String: {
        double d = 0;
        switch (ParseDouble(string_, d)) {
        case ParseStatus::Ok: return d;
        case ParseStatus::Overflow: RaiseError(err::Overflow, "Variant", "Overflow: \"" + string_ + "\"");
        case ParseStatus::TypeMismatch: break;
        }
        break;
    }
    default: break;
    }
    RaiseTypeMismatch("Variant", *this, "Double");
}

// A text that is no number is refused as the integer type asked for.
int32_t Variant::toInteger(std::string_view expected) const {
    switch (kind_) {
    case Kind::Empty: return 0;
    case Kind::Int16:
    case Kind::Int32:
    case Kind::Bool: return scalar_.i;
    case Kind::Single:
    case Kind::Double:
    case Kind::String: {
        double d = 0;
        if (kind_ == Kind::String && ParseDouble(string_, d) == ParseStatus::TypeMismatch) break;
        double r = RoundHalfEven(ToDouble());
        if (!(r >= -2147483648.0 && r <= 2147483647.0)) RaiseError(err::Overflow, "Variant", "Overflow");
        return static_cast<int32_t>(r);
    }
    default: break;
    }
    RaiseTypeMismatch("Variant", *this, expected);
}

int32_t Variant::ToInt32() const { return toInteger("Long"); }

int16_t Variant::ToInt16() const {
    int32_t v = toInteger("Integer");
    if (v < INT16_MIN || v > INT16_MAX) RaiseError(err::Overflow, "Variant", "Overflow");
    return static_cast<int16_t>(v);
}

bool Variant::ToBool() const {
    switch (kind_) {
    case Kind::String: {
        std::string_view s = string_;
        if (s == "True" || s == "true" || s == "TRUE") return true;
        if (s == "False" || s == "false" || s == "FALSE") return false;
        return ToDouble() != 0.0;
    }
    default: return ToDouble() != 0.0;
    }
}

std::string Variant::ToString() const {
    char buf[kNumberBufferSize];
    switch (kind_) {
    case Kind::Empty: return {};
    case Kind::Int16:
    case Kind::Int32: return std::string(buf, FormatInt(buf, scalar_.i));
    case Kind::Bool: return scalar_.i ? "True" : "False";
    case Kind::Single:
    case Kind::Double: {
        auto r = std::to_chars(buf, buf + sizeof buf, scalar_.d);
        return std::string(buf, r.ptr);
    }
    case Kind::String: return string_;
    default: break;
    }
    RaiseTypeMismatch("Variant", *this, "String");
}

const std::shared_ptr<Object>& Variant::ToObject() const {
    if (kind_ != Kind::Object) RaiseTypeMismatch("Variant", *this, "Object");
    return object_;
}

}  // namespace ormavec
