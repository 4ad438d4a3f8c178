// The C value API: variants, records and arrays as hosts hold them.
#include <cstdlib>
#include <cstring>

#include "automation/server.h"

using namespace ormavec;
using namespace ormavec::automation;

extern "C" {

ORMAVEC_API void ormavec_variant_init(ormavec_variant* v) {
    if (!v) return;
    std::memset(v, 0, sizeof *v);
}

ORMAVEC_API int32_t ormavec_variant_clear(ormavec_variant* v) {
    if (!v) return Fail(ORMAVEC_E_POINTER, "No variant");
    switch (v->vt) {
    case ORMAVEC_VT_BSTR: std::free(v->u.strVal); break;
    case ORMAVEC_VT_DISPATCH:
    case ORMAVEC_VT_UNKNOWN: ormavec_release(v->u.objVal); break;
    case ORMAVEC_VT_RECORD:
        if (v->u.recVal) CountValuePayload(-1);
        delete static_cast<Variant*>(v->u.recVal);
        break;
    default:
        if (v->vt & ORMAVEC_VT_ARRAY) {
            if (v->u.arrVal) CountValuePayload(-1);
            delete static_cast<Variant*>(v->u.arrVal);
        }
        break;
    }
    ormavec_variant_init(v);
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_variant_copy(ormavec_variant* dest, const ormavec_variant* src) {
    if (!dest || !src) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    if (dest == src) return ORMAVEC_S_OK;
    return Guard([&] {
        ormavec_variant copy;
        ormavec_variant_init(&copy);
        switch (src->vt) {
        case ORMAVEC_VT_DISPATCH:
        case ORMAVEC_VT_UNKNOWN:
            copy = *src;
            ormavec_add_ref(copy.u.objVal);
            break;
        default:
            if (src->vt == ORMAVEC_VT_BSTR || src->vt == ORMAVEC_VT_RECORD || (src->vt & ORMAVEC_VT_ARRAY)) ToC(FromC(*src), copy);
            else copy = *src;
            break;
        }
        ormavec_variant_clear(dest);
        *dest = copy;
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_variant_set_string(ormavec_variant* v, const char* utf8) {
    if (!v) return Fail(ORMAVEC_E_POINTER, "No variant");
    return Guard([&] {
        ormavec_variant s;
        ToC(Variant(std::string(utf8 ? utf8 : "")), s);
        ormavec_variant_clear(v);
        *v = s;
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API void ormavec_string_free(char* s) { std::free(s); }

ORMAVEC_API int32_t ormavec_record_new(const char* type_name, ormavec_variant* out) {
    if (!type_name || !out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    ormavec_variant_init(out);
    return Guard([&] {
        const RecordInfo* info = Library().RecordByName(type_name);
        if (!info) return Fail(ORMAVEC_DISP_E_UNKNOWNNAME, "Unknown record type: " + std::string(type_name));
        ToC(info->create(), *out);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API const char* ormavec_record_type(const ormavec_variant* record) {
    if (!record || record->vt != ORMAVEC_VT_RECORD || !record->u.recVal) return nullptr;
    const RecordInfo* info = Library().RecordByName(static_cast<const Variant*>(record->u.recVal)->TypeName());
    return info ? info->name.c_str() : nullptr;
}

ORMAVEC_API int32_t ormavec_record_get(const ormavec_variant* record, const char* field, ormavec_variant* out) {
    if (!record || !field || !out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    ormavec_variant_init(out);
    const char* type = ormavec_record_type(record);
    if (!type) return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, err::TypeMismatch, "Record", "Type mismatch: not a record");
    return Guard([&] {
        Variant value;
        if (!Library().RecordByName(type)->get(*static_cast<const Variant*>(record->u.recVal), field, value))
            return Fail(ORMAVEC_DISP_E_UNKNOWNNAME, std::string(type) + " has no field " + field);
        ToC(value, *out);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_record_put(ormavec_variant* record, const char* field, const ormavec_variant* value) {
    if (!record || !field || !value) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    const char* type = ormavec_record_type(record);
    if (!type) return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, err::TypeMismatch, "Record", "Type mismatch: not a record");
    return Guard([&] {
        const Variant v = FromC(*value);
        if (!Library().RecordByName(type)->put(*static_cast<Variant*>(record->u.recVal), field, v))
            return Fail(ORMAVEC_DISP_E_UNKNOWNNAME, std::string(type) + " has no field " + field);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_array_new(const char* element_type, int32_t lower_bound, int32_t count, ormavec_variant* out) {
    if (!element_type || !out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    ormavec_variant_init(out);
    return Guard([&] {
        Variant array;
        if (!NewArray(element_type, lower_bound, count, array))
            return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, "Unknown element type: " + std::string(element_type));
        ToC(array, *out);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_array_bounds(const ormavec_variant* array, int32_t* lower_bound, int32_t* count) {
    if (!array || !lower_bound || !count) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    *lower_bound = 0;
    *count = 0;
    if (!(array->vt & ORMAVEC_VT_ARRAY) || !array->u.arrVal)
        return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, err::TypeMismatch, "Array", "Type mismatch: not an array");
    const detail::ArrayBoxBase* info = static_cast<const Variant*>(array->u.arrVal)->ArrayInfo();
    if (!info || !info->allocated) return ORMAVEC_S_FALSE;
    *lower_bound = info->lowerBound;
    *count = info->Size();
    return ORMAVEC_S_OK;
}

ORMAVEC_API int32_t ormavec_array_get(const ormavec_variant* array, int32_t index, ormavec_variant* out) {
    if (!array || !out) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    ormavec_variant_init(out);
    if (!(array->vt & ORMAVEC_VT_ARRAY) || !array->u.arrVal)
        return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, err::TypeMismatch, "Array", "Type mismatch: not an array");
    return Guard([&] {
        ToC(ArrayGet(*static_cast<const Variant*>(array->u.arrVal), index), *out);
        return ORMAVEC_S_OK;
    });
}

ORMAVEC_API int32_t ormavec_array_put(ormavec_variant* array, int32_t index, const ormavec_variant* value) {
    if (!array || !value) return Fail(ORMAVEC_E_POINTER, "Missing argument");
    if (!(array->vt & ORMAVEC_VT_ARRAY) || !array->u.arrVal)
        return Fail(ORMAVEC_DISP_E_TYPEMISMATCH, err::TypeMismatch, "Array", "Type mismatch: not an array");
    return Guard([&] {
        ArrayPut(*static_cast<Variant*>(array->u.arrVal), index, FromC(*value));
        return ORMAVEC_S_OK;
    });
}

}  // extern "C"
