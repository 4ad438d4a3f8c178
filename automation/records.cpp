// Records and arrays as hosts see them: field access by name over the field
// lists of the model, arrays by element type, and the C variant.
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>

#include "automation/automation.h"
#include "automation/server.h"
#include "document/fields.h"

namespace ormavec::automation {

namespace {

using RecordTypes = AllRecords;
using ScalarTypes = TypeList<double, int32_t, std::string, bool, Variant>;

// f(std::type_identity<T>) for each type until one returns true.
template <class F, class... T>
bool AnyOf(TypeList<T...>, F&& f) {
    return (f(std::type_identity<T>{}) || ...);
}
template <class F>
bool AnyElementType(F&& f) {
    return AnyOf(ScalarTypes{}, f) || AnyOf(RecordTypes{}, f);
}

template <class M>
struct IsVector : std::false_type {};
template <class E>
struct IsVector<std::vector<E>> : std::true_type {};
template <class M>
struct IsShared : std::false_type {};
template <class C>
struct IsShared<std::shared_ptr<C>> : std::true_type {};

template <class M>
std::string TypeOfField() {
    if constexpr (IsVector<M>::value) return TypeOfField<typename M::value_type>() + "()";
    else if constexpr (IsShared<M>::value) return std::string(M::element_type::kClassName);
    else return std::string(TypeNameOf<M>::value);
}

template <class M>
Variant FieldToVariant(const M& value) {
    if constexpr (std::is_same_v<M, int32_t> || std::is_same_v<M, double> || std::is_same_v<M, bool> ||
                  std::is_same_v<M, std::string>) {
        return Variant(value);
    } else if constexpr (std::is_same_v<M, Variant>) {
        return value;
    } else if constexpr (IsVector<M>::value) {
        using E = typename M::value_type;
        // An empty array field is one that was never dimensioned.
        if (value.empty()) return Variant::UnallocatedArray<E>();
        return Variant::FromArray<E>(value);
    } else if constexpr (IsShared<M>::value) {
        return Variant(value);
    } else {
        return Variant::FromRecord<M>(value);
    }
}

constexpr std::string_view kSource = "Record";

template <class M>
M FieldFromVariant(const Variant& v) {
    if constexpr (std::is_same_v<M, int32_t>) {
        return v.ToInt32();
    } else if constexpr (std::is_same_v<M, double>) {
        return v.ToDouble();
    } else if constexpr (std::is_same_v<M, bool>) {
        return v.ToBool();
    } else if constexpr (std::is_same_v<M, std::string>) {
        if (v.IsObject() || v.IsRecord() || v.IsArray()) RaiseTypeMismatch(kSource, v, "String");
        return v.ToString();
    } else if constexpr (std::is_same_v<M, Variant>) {
        return v;
    } else if constexpr (IsVector<M>::value) {
        using E = typename M::value_type;
        if (v.IsEmpty()) return {};
        const detail::ArrayBoxBase* info = v.ArrayInfo();
        if (!info) RaiseTypeMismatch(kSource, v, TypeOfField<M>());
        if (!info->allocated) return {};
        if (const auto* typed = v.ArrayIf<E>()) return M(typed->items.begin(), typed->items.end());
        if constexpr (!std::is_same_v<E, Variant>) {
            if (const auto* vars = v.ArrayIf<Variant>()) {
                M out;
                out.reserve(vars->items.size());
                for (const Variant& item : vars->items) out.push_back(FieldFromVariant<E>(item));
                return out;
            }
        }
        RaiseTypeMismatch(kSource, v, TypeOfField<M>());
    } else if constexpr (IsShared<M>::value) {
        using C = typename M::element_type;
        if (v.IsEmpty()) return nullptr;
        auto typed = std::dynamic_pointer_cast<C>(v.ToObject());
        if (!typed) RaiseTypeMismatch(kSource, v, C::kClassName);
        return typed;
    } else {
        return VariantToRecord<M>(v, kSource);
    }
}

template <class R>
RecordInfo MakeRecordInfo() {
    RecordInfo info;
    info.name = std::string(R::kTypeName);
    ForEachField<R>([&](std::string_view name, auto member) {
        using M = std::remove_cvref_t<decltype(std::declval<R&>().*member)>;
        info.fields.push_back({std::string(name), TypeOfField<M>()});
    });
    info.create = [] { return Variant::FromRecord(R{}); };
    info.get = [](const Variant& record, std::string_view field, Variant& out) {
        const R* r = record.RecordIf<R>();
        if (!r) RaiseTypeMismatch(kSource, record, R::kTypeName);
        bool found = false;
        ForEachField<R>([&](std::string_view name, auto member) {
            if (!found && EqualsNoCase(name, field)) {
                out = FieldToVariant(r->*member);
                found = true;
            }
        });
        return found;
    };
    info.put = [](Variant& record, std::string_view field, const Variant& value) {
        R* r = record.RecordIf<R>();
        if (!r) RaiseTypeMismatch(kSource, record, R::kTypeName);
        bool found = false;
        ForEachField<R>([&](std::string_view name, auto member) {
            if (!found && EqualsNoCase(name, field)) {
                using M = std::remove_cvref_t<decltype(r->*member)>;
                r->*member = FieldFromVariant<M>(value);
                found = true;
            }
        });
        return found;
    };
    return info;
}

template <class... R>
void AddRecords(TypeLibrary& lib, TypeList<R...>) {
    (lib.records.push_back(MakeRecordInfo<R>()), ...);
}

[[noreturn]] void RaiseBadIndex() { RaiseError(err::SubscriptOutOfRange, "Array", "Subscript out of range"); }

template <class Box>
std::size_t Slot(const Box& box, int32_t index) {
    const int64_t i = static_cast<int64_t>(index) - box.lowerBound;
    if (!box.allocated || i < 0 || i >= static_cast<int64_t>(box.items.size())) RaiseBadIndex();
    return static_cast<std::size_t>(i);
}

char* DupString(const std::string& s) {
    char* p = static_cast<char*>(std::malloc(s.size() + 1));
    if (!p) throw std::bad_alloc();
    std::memcpy(p, s.data(), s.size());
    p[s.size()] = '\0';
    return p;
}

}  // namespace

void AddRecordTypes(TypeLibrary& lib) { AddRecords(lib, RecordTypes{}); }

bool NewArray(std::string_view elementType, int32_t lowerBound, int32_t count, Variant& out) {
    return AnyElementType([&](auto tag) {
        using E = typename decltype(tag)::type;
        if (!EqualsNoCase(TypeNameOf<E>::value, elementType)) return false;
        out = count < 0 ? Variant::UnallocatedArray<E>() : Variant::FromArray<E>(std::vector<E>(static_cast<std::size_t>(count)), lowerBound);
        return true;
    });
}

Variant ArrayGet(const Variant& array, int32_t index) {
    Variant out;
    const bool known = AnyElementType([&](auto tag) {
        using E = typename decltype(tag)::type;
        const auto* box = array.ArrayIf<E>();
        if (!box) return false;
        out = FieldToVariant<E>(box->items[Slot(*box, index)]);
        return true;
    });
    if (!known) RaiseTypeMismatch("Array", array, "Array");
    return out;
}

void ArrayPut(Variant& array, int32_t index, const Variant& value) {
    const bool known = AnyElementType([&](auto tag) {
        using E = typename decltype(tag)::type;
        const auto* box = array.ArrayIf<E>();
        if (!box) return false;
        const std::size_t slot = Slot(*box, index);
        E converted = FieldFromVariant<E>(value);
        // The box belongs to this (non-const) variant; the view is only const.
        const_cast<detail::ArrayBox<E>*>(box)->items[slot] = std::move(converted);
        return true;
    });
    if (!known) RaiseTypeMismatch("Array", array, "Array");
}

Variant FromC(const ormavec_variant& v) {
    switch (v.vt) {
    case ORMAVEC_VT_EMPTY:
    case ORMAVEC_VT_NULL:
    case ORMAVEC_VT_ERROR: return {};
    case ORMAVEC_VT_I2: return Variant(v.u.iVal);
    case ORMAVEC_VT_I4: return Variant(v.u.lVal);
    case ORMAVEC_VT_R4: return Variant(v.u.fltVal);
    case ORMAVEC_VT_R8: return Variant(v.u.dblVal);
    case ORMAVEC_VT_BOOL: return Variant(v.u.boolVal != 0);
    case ORMAVEC_VT_BSTR: return Variant(std::string(v.u.strVal ? v.u.strVal : ""));
    case ORMAVEC_VT_DISPATCH:
    case ORMAVEC_VT_UNKNOWN: return v.u.objVal ? Variant(v.u.objVal->object) : Variant();
    case ORMAVEC_VT_RECORD: return v.u.recVal ? *static_cast<const Variant*>(v.u.recVal) : Variant();
    default:
        if ((v.vt & ORMAVEC_VT_ARRAY) && v.u.arrVal) return *static_cast<const Variant*>(v.u.arrVal);
        RaiseError(err::TypeMismatch, "Variant", "Type mismatch: variant type " + std::to_string(v.vt) + " is not supported");
    }
}

void ToC(const Variant& v, ormavec_variant& out) {
    ormavec_variant_init(&out);
    switch (v.GetKind()) {
    case Variant::Kind::Empty: return;
    case Variant::Kind::Int16:
        out.u.iVal = v.ToInt16();
        out.vt = ORMAVEC_VT_I2;
        return;
    case Variant::Kind::Int32:
        out.u.lVal = v.ToInt32();
        out.vt = ORMAVEC_VT_I4;
        return;
    case Variant::Kind::Single:
        out.u.fltVal = static_cast<float>(v.ToDouble());
        out.vt = ORMAVEC_VT_R4;
        return;
    case Variant::Kind::Double:
        out.u.dblVal = v.ToDouble();
        out.vt = ORMAVEC_VT_R8;
        return;
    case Variant::Kind::Bool:
        out.u.boolVal = v.ToBool() ? -1 : 0;
        out.vt = ORMAVEC_VT_BOOL;
        return;
    case Variant::Kind::String:
        out.u.strVal = DupString(v.ToString());
        out.vt = ORMAVEC_VT_BSTR;
        return;
    case Variant::Kind::Object:
        out.u.objVal = Wrap(v.ToObject());
        out.vt = ORMAVEC_VT_DISPATCH;
        return;
    case Variant::Kind::Record:
        out.u.recVal = new Variant(v);
        CountValuePayload(1);
        out.vt = ORMAVEC_VT_RECORD;
        return;
    case Variant::Kind::Array:
        out.u.arrVal = new Variant(v);
        CountValuePayload(1);
        out.vt = static_cast<uint16_t>(v.VarType());
        return;
    }
}

}  // namespace ormavec::automation
