/* Ormavec automation layer: the late-bound interface of libormavec.so.
 *
 * A host creates objects by ProgID ("Ormavec.DXFDocument") or through the
 * class factory of a class identifier, looks members up by name, invokes them
 * with variant arguments and reads the type library's metadata. Everything is
 * plain C, so that any language with a foreign-function interface can use it.
 *
 * Results are HRESULT-like 32-bit integers: 0 (ORMAVEC_S_OK) success,
 * 1 (ORMAVEC_S_FALSE) success with a "no" answer, negative values failures.
 * Errors raised by the component keep their own numbers (0x80040001,
 * 0x80040002, 0x80040003). The classic runtime errors (type mismatch 13,
 * file not found 53, ...) are returned as 0x800A0000 + number; the error info
 * of the calling thread (ormavec_get_last_error) holds the classic number.
 *
 * Objects are used on the thread that created them. Every ormavec_object*
 * handed out carries one reference that the host gives back with
 * ormavec_release.
 */
#ifndef ORMAVEC_AUTOMATION_H
#define ORMAVEC_AUTOMATION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define ORMAVEC_API __attribute__((visibility("default")))
#else
#define ORMAVEC_API
#endif

/* ---- results ---- */
#define ORMAVEC_S_OK 0
#define ORMAVEC_S_FALSE 1
#define ORMAVEC_E_NOTIMPL ((int32_t)0x80004001u)
#define ORMAVEC_E_NOINTERFACE ((int32_t)0x80004002u)
#define ORMAVEC_E_POINTER ((int32_t)0x80004003u)
#define ORMAVEC_E_FAIL ((int32_t)0x80004005u)
#define ORMAVEC_E_UNEXPECTED ((int32_t)0x8000FFFFu)
#define ORMAVEC_E_OUTOFMEMORY ((int32_t)0x8007000Eu)
#define ORMAVEC_E_INVALIDARG ((int32_t)0x80070057u)
#define ORMAVEC_DISP_E_MEMBERNOTFOUND ((int32_t)0x80020003u)
#define ORMAVEC_DISP_E_PARAMNOTFOUND ((int32_t)0x80020004u)
#define ORMAVEC_DISP_E_TYPEMISMATCH ((int32_t)0x80020005u)
#define ORMAVEC_DISP_E_UNKNOWNNAME ((int32_t)0x80020006u)
#define ORMAVEC_DISP_E_BADPARAMCOUNT ((int32_t)0x8002000Eu)
#define ORMAVEC_DISP_E_BADINDEX ((int32_t)0x8002000Bu)
#define ORMAVEC_CLASS_E_NOAGGREGATION ((int32_t)0x80040110u)
#define ORMAVEC_CLASS_E_CLASSNOTAVAILABLE ((int32_t)0x80040111u)
#define ORMAVEC_CONNECT_E_NOCONNECTION ((int32_t)0x80040200u)
#define ORMAVEC_SELFREG_E_CLASS ((int32_t)0x80040201u)
#define ORMAVEC_CO_E_CLASSSTRING ((int32_t)0x800401F3u)
/* The component's own error numbers. */
#define ORMAVEC_ERR_INVALID_ARGUMENT ((int32_t)0x80040001u)
#define ORMAVEC_ERR_INVALID_OPERATION ((int32_t)0x80040002u)
#define ORMAVEC_ERR_NOT_SUPPORTED ((int32_t)0x80040003u)
/* A classic runtime error number n is returned as this + n. */
#define ORMAVEC_FACILITY_CONTROL_BASE ((int32_t)0x800A0000u)

/* ---- variant type codes ---- */
#define ORMAVEC_VT_EMPTY 0
#define ORMAVEC_VT_NULL 1
#define ORMAVEC_VT_I2 2
#define ORMAVEC_VT_I4 3
#define ORMAVEC_VT_R4 4
#define ORMAVEC_VT_R8 5
#define ORMAVEC_VT_BSTR 8 /* UTF-8, NUL-terminated, owned by the variant */
#define ORMAVEC_VT_DISPATCH 9
#define ORMAVEC_VT_ERROR 10 /* as an argument: "missing" */
#define ORMAVEC_VT_BOOL 11  /* 0 false, -1 true */
#define ORMAVEC_VT_VARIANT 12
#define ORMAVEC_VT_UNKNOWN 13
#define ORMAVEC_VT_RECORD 36
#define ORMAVEC_VT_ARRAY 0x2000 /* or-ed with the element type */

/* ---- invoke kinds and special dispatch identifiers ---- */
#define ORMAVEC_DISPATCH_METHOD 1
#define ORMAVEC_DISPATCH_PROPERTYGET 2
#define ORMAVEC_DISPATCH_PROPERTYPUT 4    /* let */
#define ORMAVEC_DISPATCH_PROPERTYPUTREF 8 /* set */
#define ORMAVEC_DISPID_VALUE 0
#define ORMAVEC_DISPID_UNKNOWN (-1)

/* ---- parameter flags of the type library ---- */
#define ORMAVEC_PARAM_BYREF 1
#define ORMAVEC_PARAM_OPTIONAL 2
#define ORMAVEC_PARAM_OUT 4 /* the member writes the argument back */

typedef struct ormavec_guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} ormavec_guid;

/* Any object, interface view or class factory. */
typedef struct ormavec_object ormavec_object;

/* A generic value (16 bytes). Strings, records and arrays are owned by the
 * variant and released by ormavec_variant_clear; an object carries one
 * reference. Records and arrays are opaque: use the ormavec_record_* and
 * ormavec_array_* functions. */
typedef struct ormavec_variant {
    uint16_t vt;
    uint16_t reserved1;
    uint16_t reserved2;
    uint16_t reserved3;
    union {
        int16_t iVal;
        int32_t lVal;
        float fltVal;
        double dblVal;
        int16_t boolVal;
        int32_t scode;
        char* strVal;
        ormavec_object* objVal;
        void* recVal;
        void* arrVal;
        int64_t reserved;
    } u;
} ormavec_variant;

/* The last failure of the calling thread. The strings belong to the thread
 * and stay valid until its next failure. */
typedef struct ormavec_error_info {
    int32_t hresult;     /* what the failing call returned */
    int32_t number;      /* the error number as raised (13 for a type mismatch) */
    const char* source;  /* the object that raised it */
    const char* description;
} ormavec_error_info;

/* ---- in-process server entry points ---- */

/* The class factory of a class identifier; iid is IUnknown or IClassFactory
 * (NULL means IClassFactory). */
ORMAVEC_API int32_t DllGetClassObject(const ormavec_guid* clsid, const ormavec_guid* iid, ormavec_object** factory);
/* S_OK when no object handed out by this library and no server lock is alive,
 * S_FALSE otherwise. */
ORMAVEC_API int32_t DllCanUnloadNow(void);
/* Write / remove the per-user registry file (see the implementation notes in
 * server.cpp): $ORMAVEC_REGISTRY_FILE if set, else
 * $XDG_DATA_HOME/ormavec/registry.ini, else ~/.local/share/ormavec/registry.ini. */
ORMAVEC_API int32_t DllRegisterServer(void);
ORMAVEC_API int32_t DllUnregisterServer(void);

/* IClassFactory. outer must be NULL (no aggregation); iid NULL means the
 * class's default interface. */
ORMAVEC_API int32_t ormavec_factory_create_instance(ormavec_object* factory, ormavec_object* outer, const ormavec_guid* iid,
                                                    ormavec_object** out);
ORMAVEC_API int32_t ormavec_factory_lock_server(ormavec_object* factory, int32_t lock);

/* Creating objects: by ProgID ("Ormavec.LINES" or "Ormavec.LINES.7"), or by
 * class identifier and interface (NULL: the default interface). */
ORMAVEC_API int32_t ormavec_create_object(const char* progid, ormavec_object** out);
ORMAVEC_API int32_t ormavec_create_instance(const ormavec_guid* clsid, const ormavec_guid* iid, ormavec_object** out);
ORMAVEC_API int32_t ormavec_clsid_from_progid(const char* progid, ormavec_guid* clsid);
ORMAVEC_API int32_t ormavec_guid_from_string(const char* text, ormavec_guid* out);
/* Writes "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" and a NUL (39 bytes). */
ORMAVEC_API int32_t ormavec_guid_to_string(const ormavec_guid* guid, char* buffer39);

/* ---- IUnknown / IDispatch ---- */
ORMAVEC_API uint32_t ormavec_add_ref(ormavec_object* object);
ORMAVEC_API uint32_t ormavec_release(ormavec_object* object);
/* IUnknown, IDispatch, the class's default interface, and for collections
 * _IArrayList and _IComparer. */
ORMAVEC_API int32_t ormavec_query_interface(ormavec_object* object, const ormavec_guid* iid, ormavec_object** out);
/* The class and the interface of a handle; static strings. */
ORMAVEC_API const char* ormavec_class_name(const ormavec_object* object);
ORMAVEC_API const char* ormavec_interface_name(const ormavec_object* object);
/* names[0] is a member name, names[1..] names of its parameters (their ids
 * are their 0-based positions). Letter case does not matter. */
ORMAVEC_API int32_t ormavec_get_ids_of_names(ormavec_object* object, const char* const* names, int32_t count, int32_t* dispids);
/* Arguments in their natural order (a property put takes the value last).
 * Fewer arguments than parameters leave the optional ones missing. The slots
 * of parameters flagged ORMAVEC_PARAM_OUT are cleared and receive the value
 * the member leaves there, so they must hold values the host may pass to
 * ormavec_variant_clear. result may be NULL; it is overwritten, not cleared. */
ORMAVEC_API int32_t ormavec_invoke(ormavec_object* object, int32_t dispid, int32_t kind, ormavec_variant* args, int32_t argc,
                                   ormavec_variant* result);

/* ---- events (connection point of the document) ----
 * The sink receives the event's dispatch id (Progress = 1) and its arguments;
 * Percent arrives as a VT_I4 that the sink may change: the new value goes
 * back to the reader. A sink must not release the last reference of the
 * document from inside the callback. */
typedef void (*ormavec_event_sink)(void* context, int32_t dispid, ormavec_variant* args, int32_t argc);
ORMAVEC_API int32_t ormavec_advise(ormavec_object* source, ormavec_event_sink sink, void* context, uint32_t* cookie);
ORMAVEC_API int32_t ormavec_unadvise(ormavec_object* source, uint32_t cookie);

/* ---- a host comparer for Sort: an _IComparer object calling back ----
 * A negative result of the callback ends the sort with that number. */
typedef int32_t (*ormavec_compare_fn)(void* context, const ormavec_variant* a, const ormavec_variant* b, int16_t* result);
ORMAVEC_API int32_t ormavec_comparer_new(ormavec_compare_fn compare, void* context, ormavec_object** out);

/* ---- variants ---- */
ORMAVEC_API void ormavec_variant_init(ormavec_variant* v);
ORMAVEC_API int32_t ormavec_variant_clear(ormavec_variant* v);
ORMAVEC_API int32_t ormavec_variant_copy(ormavec_variant* dest, const ormavec_variant* src);
/* Clears v and stores a copy of the UTF-8 text. */
ORMAVEC_API int32_t ormavec_variant_set_string(ormavec_variant* v, const char* utf8);
/* Frees a string taken out of a variant (its vt then set to EMPTY by the host). */
ORMAVEC_API void ormavec_string_free(char* s);

/* ---- records: "LINE_ENT", "XYZ", ...; field names without regard to case ---- */
ORMAVEC_API int32_t ormavec_record_new(const char* type_name, ormavec_variant* out);
ORMAVEC_API const char* ormavec_record_type(const ormavec_variant* record);
ORMAVEC_API int32_t ormavec_record_get(const ormavec_variant* record, const char* field, ormavec_variant* out);
ORMAVEC_API int32_t ormavec_record_put(ormavec_variant* record, const char* field, const ormavec_variant* value);

/* ---- arrays: element type "Double", "Long", "String", "Boolean", "Variant"
 * or a record name. A negative count makes an unallocated array. Indexes run
 * from the lower bound. ---- */
ORMAVEC_API int32_t ormavec_array_new(const char* element_type, int32_t lower_bound, int32_t count, ormavec_variant* out);
/* S_FALSE (and 0, 0) for an unallocated array. */
ORMAVEC_API int32_t ormavec_array_bounds(const ormavec_variant* array, int32_t* lower_bound, int32_t* count);
ORMAVEC_API int32_t ormavec_array_get(const ormavec_variant* array, int32_t index, ormavec_variant* out);
ORMAVEC_API int32_t ormavec_array_put(ormavec_variant* array, int32_t index, const ormavec_variant* value);

/* ---- errors: S_FALSE when the thread has had no failure ---- */
ORMAVEC_API int32_t ormavec_get_last_error(ormavec_error_info* out);

/* ---- the type library ---- */
typedef struct ormavec_typelib_info {
    const char* name;
    uint16_t major;
    uint16_t minor;
    ormavec_guid libid;
    int32_t class_count;
    int32_t interface_count;
    int32_t record_count;
    int32_t enum_count;
} ormavec_typelib_info;

typedef struct ormavec_class_info {
    const char* name;
    const char* progid;
    ormavec_guid clsid;
    const char* default_interface;
    ormavec_guid iid;
    const char* source_interface; /* NULL when the class raises no events */
    int32_t creatable;
} ormavec_class_info;

typedef struct ormavec_interface_info {
    const char* name;
    ormavec_guid iid;
    int32_t member_count;
    int32_t is_source; /* an event interface */
} ormavec_interface_info;

typedef struct ormavec_member_info {
    const char* name;
    int32_t kind; /* ORMAVEC_DISPATCH_* */
    int32_t dispid;
    int32_t param_count;
    const char* result_type; /* "" for none */
    const char* help;        /* "" for none */
} ormavec_member_info;

typedef struct ormavec_param_info {
    const char* name;
    const char* type;
    int32_t flags; /* ORMAVEC_PARAM_* */
} ormavec_param_info;

typedef struct ormavec_record_info {
    const char* name;
    int32_t field_count;
} ormavec_record_info;

typedef struct ormavec_field_info {
    const char* name;
    const char* type; /* "Long", "Double", "String", "Boolean", "XYZ", "VERTEX_ENT()", "ATTRIBS", ... */
} ormavec_field_info;

typedef struct ormavec_enum_info {
    const char* name;
    int32_t value_count;
} ormavec_enum_info;

typedef struct ormavec_enum_value {
    const char* name;
    int32_t value;
} ormavec_enum_value;

ORMAVEC_API void ormavec_typelib_get_info(ormavec_typelib_info* out);
/* Indexes past the end give ORMAVEC_DISP_E_BADINDEX. */
ORMAVEC_API int32_t ormavec_typelib_class(int32_t index, ormavec_class_info* out);
ORMAVEC_API int32_t ormavec_typelib_interface(int32_t index, ormavec_interface_info* out);
ORMAVEC_API int32_t ormavec_typelib_find_interface(const char* name, int32_t* index);
ORMAVEC_API int32_t ormavec_typelib_member(int32_t interface_index, int32_t member_index, ormavec_member_info* out);
ORMAVEC_API int32_t ormavec_typelib_param(int32_t interface_index, int32_t member_index, int32_t param_index, ormavec_param_info* out);
ORMAVEC_API int32_t ormavec_typelib_record(int32_t index, ormavec_record_info* out);
ORMAVEC_API int32_t ormavec_typelib_field(int32_t record_index, int32_t field_index, ormavec_field_info* out);
ORMAVEC_API int32_t ormavec_typelib_enum(int32_t index, ormavec_enum_info* out);
ORMAVEC_API int32_t ormavec_typelib_enum_value(int32_t enum_index, int32_t value_index, ormavec_enum_value* out);

#ifdef __cplusplus
}
#endif

#endif /* ORMAVEC_AUTOMATION_H */
