// A generic value: empty, a number, a boolean, a string, an object, a record
// of the model (tagged with its type name) or an array. Copies are deep
// except for objects, which are shared. Scalars are stored inline.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace ormavec {

// Base of every public class of the model.
class Object {
public:
    virtual ~Object() = default;
    virtual std::string_view ClassName() const = 0;
};

class Variant;

// Type names as the model's automation surface shows them.
template <class T, class = void>
struct TypeNameOf;
template <class T>
struct TypeNameOf<T, std::void_t<decltype(T::kTypeName)>> {
    static constexpr std::string_view value = T::kTypeName;
};
template <>
struct TypeNameOf<double> {
    static constexpr std::string_view value = "Double";
};
template <>
struct TypeNameOf<int32_t> {
    static constexpr std::string_view value = "Long";
};
template <>
struct TypeNameOf<std::string> {
    static constexpr std::string_view value = "String";
};
template <>
struct TypeNameOf<bool> {
    static constexpr std::string_view value = "Boolean";
};
template <>
struct TypeNameOf<Variant> {
    static constexpr std::string_view value = "Variant";
};

// Automation type codes.
namespace vt {
inline constexpr int32_t Empty = 0, Int16 = 2, Int32 = 3, Single = 4, Double = 5, String = 8, Object = 9, Bool = 11,
                         Variant = 12, Record = 36, Array = 0x2000;
}

namespace detail {
template <class T>
const void* TypeId() noexcept {
    static const char id = 0;
    return &id;
}

struct Box {
    virtual ~Box() = default;
    virtual std::unique_ptr<Box> Clone() const = 0;
    virtual std::string_view TypeName() const = 0;
    virtual const void* Type() const noexcept = 0;
};

template <class T>
struct RecordBox final : Box {
    T value;
    explicit RecordBox(T v) : value(std::move(v)) {}
    std::unique_ptr<Box> Clone() const override { return std::make_unique<RecordBox>(value); }
    std::string_view TypeName() const override { return TypeNameOf<T>::value; }
    const void* Type() const noexcept override { return TypeId<T>(); }
};

struct ArrayBoxBase : Box {
    int32_t lowerBound = 0;
    bool allocated = true;
    virtual int32_t Size() const noexcept = 0;
    virtual int32_t ElementVarType() const noexcept = 0;
};

template <class T>
constexpr int32_t ElementVarTypeOf() {
    if constexpr (std::is_same_v<T, double>) return vt::Double;
    else if constexpr (std::is_same_v<T, int32_t>) return vt::Int32;
    else if constexpr (std::is_same_v<T, std::string>) return vt::String;
    else if constexpr (std::is_same_v<T, bool>) return vt::Bool;
    else if constexpr (std::is_same_v<T, Variant>) return vt::Variant;
    else return vt::Record;
}

template <class T>
struct ArrayBox final : ArrayBoxBase {
    std::vector<T> items;
    ArrayBox() = default;
    explicit ArrayBox(std::vector<T> v) : items(std::move(v)) {}
    std::unique_ptr<Box> Clone() const override { return std::make_unique<ArrayBox>(*this); }
    std::string_view TypeName() const override { return TypeNameOf<T>::value; }
    const void* Type() const noexcept override { return TypeId<std::vector<T>>(); }
    int32_t Size() const noexcept override { return allocated ? static_cast<int32_t>(items.size()) : 0; }
    int32_t ElementVarType() const noexcept override { return ElementVarTypeOf<T>(); }
};
}  // namespace detail

class Variant {
public:
    enum class Kind : uint8_t { Empty, Int16, Int32, Single, Double, Bool, String, Object, Record, Array };

    Variant() noexcept {}
    Variant(int16_t v) noexcept : kind_(Kind::Int16) { scalar_.i = v; }
    Variant(int32_t v) noexcept : kind_(Kind::Int32) { scalar_.i = v; }
    Variant(float v) noexcept : kind_(Kind::Single) { scalar_.d = v; }
    Variant(double v) noexcept : kind_(Kind::Double) { scalar_.d = v; }
    Variant(bool v) noexcept : kind_(Kind::Bool) { scalar_.i = v ? -1 : 0; }
    Variant(std::string v) : kind_(Kind::String), string_(std::move(v)) {}
    Variant(const char* v) : kind_(Kind::String), string_(v) {}
    Variant(std::string_view v) : kind_(Kind::String), string_(v) {}
    Variant(std::shared_ptr<Object> v) : kind_(v ? Kind::Object : Kind::Empty), object_(std::move(v)) {}
    template <class T, class = std::enable_if_t<std::is_base_of_v<Object, T>>>
    Variant(std::shared_ptr<T> v) : Variant(std::static_pointer_cast<Object>(std::move(v))) {}

    template <class T>
    static Variant FromRecord(T value) {
        Variant v;
        v.kind_ = Kind::Record;
        v.box_ = std::make_unique<detail::RecordBox<T>>(std::move(value));
        return v;
    }
    template <class T>
    static Variant FromArray(std::vector<T> items, int32_t lowerBound = 0) {
        Variant v;
        v.kind_ = Kind::Array;
        auto box = std::make_unique<detail::ArrayBox<T>>(std::move(items));
        box->lowerBound = lowerBound;
        v.box_ = std::move(box);
        return v;
    }
    // An array variable that was never dimensioned: no elements, no bounds.
    template <class T>
    static Variant UnallocatedArray() {
        Variant v = FromArray<T>({});
        static_cast<detail::ArrayBoxBase*>(v.box_.get())->allocated = false;
        return v;
    }

    Variant(const Variant& o) : kind_(o.kind_), scalar_(o.scalar_), string_(o.string_), object_(o.object_), box_(o.box_ ? o.box_->Clone() : nullptr) {}
    // A moved-from variant is Empty, never a record or array without its box.
    Variant(Variant&& o) noexcept
        : kind_(std::exchange(o.kind_, Kind::Empty)), scalar_(o.scalar_), string_(std::move(o.string_)), object_(std::move(o.object_)), box_(std::move(o.box_)) {}
    Variant& operator=(const Variant& o) {
        if (this != &o) {
            Variant copy(o);
            *this = std::move(copy);
        }
        return *this;
    }
    Variant& operator=(Variant&& o) noexcept {
        if (this != &o) {
            kind_ = std::exchange(o.kind_, Kind::Empty);
            scalar_ = o.scalar_;
            string_ = std::move(o.string_);
            object_ = std::move(o.object_);
            box_ = std::move(o.box_);
        }
        return *this;
    }

    Kind GetKind() const noexcept { return kind_; }
    bool IsEmpty() const noexcept { return kind_ == Kind::Empty; }
    bool IsArray() const noexcept { return kind_ == Kind::Array; }
    bool IsRecord() const noexcept { return kind_ == Kind::Record; }
    bool IsObject() const noexcept { return kind_ == Kind::Object; }
    bool IsNumeric() const noexcept { return kind_ == Kind::Int16 || kind_ == Kind::Int32 || kind_ == Kind::Single || kind_ == Kind::Double || kind_ == Kind::Bool; }
    int32_t VarType() const noexcept;
    // "LINE_ENT" for a record, the element's name for an array, "Long",
    // "Double", "String", "Boolean", "Empty", or the class of an object.
    std::string_view TypeName() const noexcept;

    template <class T>
    const T* RecordIf() const noexcept {
        if (kind_ != Kind::Record || box_->Type() != detail::TypeId<T>()) return nullptr;
        return &static_cast<const detail::RecordBox<T>*>(box_.get())->value;
    }
    template <class T>
    T* RecordIf() noexcept {
        return const_cast<T*>(static_cast<const Variant*>(this)->RecordIf<T>());
    }
    template <class T>
    const detail::ArrayBox<T>* ArrayIf() const noexcept {
        if (kind_ != Kind::Array || box_->Type() != detail::TypeId<std::vector<T>>()) return nullptr;
        return static_cast<const detail::ArrayBox<T>*>(box_.get());
    }
    const detail::ArrayBoxBase* ArrayInfo() const noexcept {
        return kind_ == Kind::Array ? static_cast<const detail::ArrayBoxBase*>(box_.get()) : nullptr;
    }

    // Conversions; a value of another kind that does not convert raises a
    // type mismatch (13), one out of range an overflow (6).
    int32_t ToInt32() const;
    int16_t ToInt16() const;
    double ToDouble() const;
    bool ToBool() const;
    std::string ToString() const;
    const std::shared_ptr<Object>& ToObject() const;

private:
    int32_t toInteger(std::string_view expected) const;

    Kind kind_ = Kind::Empty;
    union Scalar {
        int32_t i;
        double d;
    } scalar_{};
    std::string string_;
    std::shared_ptr<Object> object_;
    std::unique_ptr<detail::Box> box_;
};

// Raises the type-mismatch error for a value that is not of the expected kind.
[[noreturn]] void RaiseTypeMismatch(std::string_view source, const Variant& got, std::string_view expected);

// The record in a variant, copied; anything else is a type mismatch.
template <class T>
T VariantToRecord(const Variant& v, std::string_view source) {
    if (const T* r = v.RecordIf<T>()) return *r;
    RaiseTypeMismatch(source, v, TypeNameOf<T>::value);
}

}  // namespace ormavec
