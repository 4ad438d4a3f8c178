/* A C host loading libormavec.so with dlopen: every entry point of the header
 * is exported, and an object made through them works and goes away.
 * (tests/automation_ctypes_test.py runs a whole load, edit and save.)
 * Usage: ormavec_automation_c_test /path/to/libormavec.so */
#include <dlfcn.h>
#include <stdio.h>

#include "automation/ormavec_automation.h"

static const char* const kEntryPoints[] = {
    "DllGetClassObject", "DllCanUnloadNow", "DllRegisterServer", "DllUnregisterServer", "ormavec_factory_create_instance",
    "ormavec_factory_lock_server", "ormavec_create_object", "ormavec_create_instance", "ormavec_clsid_from_progid",
    "ormavec_guid_from_string", "ormavec_guid_to_string", "ormavec_add_ref", "ormavec_release", "ormavec_query_interface",
    "ormavec_class_name", "ormavec_interface_name", "ormavec_get_ids_of_names", "ormavec_invoke", "ormavec_advise",
    "ormavec_unadvise", "ormavec_comparer_new", "ormavec_variant_init", "ormavec_variant_clear", "ormavec_variant_copy",
    "ormavec_variant_set_string", "ormavec_string_free", "ormavec_record_new", "ormavec_record_type", "ormavec_record_get",
    "ormavec_record_put", "ormavec_array_new", "ormavec_array_bounds", "ormavec_array_get", "ormavec_array_put",
    "ormavec_get_last_error", "ormavec_typelib_get_info", "ormavec_typelib_class", "ormavec_typelib_interface",
    "ormavec_typelib_find_interface", "ormavec_typelib_member", "ormavec_typelib_param", "ormavec_typelib_record",
    "ormavec_typelib_field", "ormavec_typelib_enum", "ormavec_typelib_enum_value"};

static int failures;
#define CHECK(cond) ((cond) ? (void)0 : (void)(++failures, fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, __LINE__, #cond)))
#define SYM(name) __typeof__(&name) p_##name = (__typeof__(&name))dlsym(lib, #name)

int main(int argc, char** argv) {
    void* lib = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    if (!lib) {
        fprintf(stderr, "usage: %s libormavec.so (%s)\n", argv[0], argc == 2 ? dlerror() : "no library");
        return 2;
    }
    for (size_t i = 0; i < sizeof kEntryPoints / sizeof *kEntryPoints; ++i)
        if (!dlsym(lib, kEntryPoints[i])) ++failures, fprintf(stderr, "not exported: %s\n", kEntryPoints[i]);
    if (failures) return 1;
    SYM(ormavec_create_object);
    SYM(ormavec_get_ids_of_names);
    SYM(ormavec_invoke);
    SYM(ormavec_record_new);
    SYM(ormavec_variant_clear);
    SYM(ormavec_release);
    SYM(DllCanUnloadNow);

    /* Two new lines added by name, counted, then every object released. */
    ormavec_object* lines = NULL;
    CHECK(p_ormavec_create_object("Ormavec.LINES", &lines) == ORMAVEC_S_OK);
    const char* names[] = {"AddItem", "Count"};
    int32_t add = 0, count = 0;
    CHECK(p_ormavec_get_ids_of_names(lines, &names[0], 1, &add) == ORMAVEC_S_OK);
    CHECK(p_ormavec_get_ids_of_names(lines, &names[1], 1, &count) == ORMAVEC_S_OK);
    ormavec_variant record, result;
    CHECK(p_ormavec_record_new("LINE_ENT", &record) == ORMAVEC_S_OK);
    for (int i = 0; i < 2; ++i) CHECK(p_ormavec_invoke(lines, add, ORMAVEC_DISPATCH_METHOD, &record, 1, NULL) == ORMAVEC_S_OK);
    CHECK(p_ormavec_invoke(lines, count, ORMAVEC_DISPATCH_PROPERTYGET, NULL, 0, &result) == ORMAVEC_S_OK);
    CHECK(result.vt == ORMAVEC_VT_I4 && result.u.lVal == 2);
    p_ormavec_variant_clear(&record);
    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_FALSE);
    p_ormavec_release(lines);
    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_OK);
    dlclose(lib);
    printf("automation_c_test: %d failures\n", failures);
    return failures ? 1 : 0;
}
