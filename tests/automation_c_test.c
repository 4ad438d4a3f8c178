/* A C host of libormavec.so: loads the library with dlopen, works only
 * through late-bound calls, and checks that a line added through IArrayList
 * survives a save and a new load.
 * Usage: ormavec_automation_c_test /path/to/libormavec.so */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "automation/ormavec_automation.h"

#define API(name) static __typeof__(&name) p_##name
API(DllCanUnloadNow);
API(ormavec_create_object);
API(ormavec_release);
API(ormavec_query_interface);
API(ormavec_get_ids_of_names);
API(ormavec_invoke);
API(ormavec_variant_init);
API(ormavec_variant_clear);
API(ormavec_variant_set_string);
API(ormavec_record_new);
API(ormavec_record_put);
API(ormavec_record_get);
API(ormavec_guid_from_string);
API(ormavec_get_last_error);

static int checks, failures;

#define CHECK(cond)                                                                   \
    do {                                                                              \
        ++checks;                                                                     \
        if (!(cond)) {                                                                \
            fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);  \
            ++failures;                                                               \
        }                                                                             \
    } while (0)

static int ok(int32_t hr, const char* what) {
    ++checks;
    if (hr >= 0) return 1;
    ormavec_error_info e;
    memset(&e, 0, sizeof e);
    p_ormavec_get_last_error(&e);
    fprintf(stderr, "%s failed: 0x%08X (number %d, %s: %s)\n", what, (unsigned)hr, e.number, e.source ? e.source : "",
            e.description ? e.description : "");
    ++failures;
    return 0;
}

static int32_t dispid(ormavec_object* o, const char* name) {
    int32_t id = ORMAVEC_DISPID_UNKNOWN;
    ok(p_ormavec_get_ids_of_names(o, &name, 1, &id), name);
    return id;
}

static int32_t call(ormavec_object* o, const char* name, int32_t kind, ormavec_variant* args, int32_t argc, ormavec_variant* result) {
    return p_ormavec_invoke(o, dispid(o, name), kind, args, argc, result);
}

static ormavec_object* get_object(ormavec_object* o, const char* name) {
    ormavec_variant r;
    p_ormavec_variant_init(&r);
    if (!ok(call(o, name, ORMAVEC_DISPATCH_PROPERTYGET, NULL, 0, &r), name) || r.vt != ORMAVEC_VT_DISPATCH) return NULL;
    return r.u.objVal; /* the reference of the result moves to the caller */
}

static int32_t get_count(ormavec_object* o) {
    ormavec_variant r;
    p_ormavec_variant_init(&r);
    if (!ok(call(o, "Count", ORMAVEC_DISPATCH_PROPERTYGET, NULL, 0, &r), "Count")) return -1;
    return r.vt == ORMAVEC_VT_I4 ? r.u.lVal : -1;
}

static int load(ormavec_object* doc, const char* path) {
    ormavec_variant name;
    p_ormavec_variant_init(&name);
    p_ormavec_variant_set_string(&name, path);
    int good = ok(call(doc, "Load", ORMAVEC_DISPATCH_METHOD, &name, 1, NULL), "Load");
    p_ormavec_variant_clear(&name);
    return good;
}

/* The LINES collection of a new document that loaded the file. */
static ormavec_object* lines_of(const char* path, ormavec_object** doc) {
    *doc = NULL;
    if (!ok(p_ormavec_create_object("Ormavec.DXFDocument", doc), "create DXFDocument")) return NULL;
    if (!load(*doc, path)) return NULL;
    ormavec_object* entities = get_object(*doc, "ENTITIES");
    if (!entities) return NULL;
    ormavec_object* lines = get_object(entities, "LINES");
    p_ormavec_release(entities);
    return lines;
}

static void put_double(ormavec_variant* record, const char* field, double value) {
    ormavec_variant v;
    p_ormavec_variant_init(&v);
    v.vt = ORMAVEC_VT_R8;
    v.u.dblVal = value;
    ok(p_ormavec_record_put(record, field, &v), field);
}

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: %s libormavec.so\n", argv[0]);
        return 2;
    }
    void* lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "dlopen: %s\n", dlerror());
        return 1;
    }
#define LOAD(name)                                                 \
    p_##name = (__typeof__(&name))dlsym(lib, #name);               \
    if (!p_##name) {                                               \
        fprintf(stderr, "missing entry point %s\n", #name);        \
        return 1;                                                  \
    }
    LOAD(DllCanUnloadNow);
    LOAD(ormavec_create_object);
    LOAD(ormavec_release);
    LOAD(ormavec_query_interface);
    LOAD(ormavec_get_ids_of_names);
    LOAD(ormavec_invoke);
    LOAD(ormavec_variant_init);
    LOAD(ormavec_variant_clear);
    LOAD(ormavec_variant_set_string);
    LOAD(ormavec_record_new);
    LOAD(ormavec_record_put);
    LOAD(ormavec_record_get);
    LOAD(ormavec_guid_from_string);
    LOAD(ormavec_get_last_error);

    char dir[] = "/tmp/ormavec_c_test_XXXXXX";
    if (!mkdtemp(dir)) {
        perror("mkdtemp");
        return 1;
    }
    char in[256], out[256];
    snprintf(in, sizeof in, "%s/in.dxf", dir);
    snprintf(out, sizeof out, "%s/out.dxf", dir);
    FILE* f = fopen(in, "wb");
    if (!f) {
        perror("fopen");
        return 1;
    }
    fputs("0\nSECTION\n2\nENTITIES\n"
          "0\nLINE\n8\n0\n10\n0.0\n20\n0.0\n30\n0.0\n11\n10.0\n21\n0.0\n31\n0.0\n"
          "0\nLINE\n8\n0\n10\n10.0\n20\n0.0\n30\n0.0\n11\n10.0\n21\n5.0\n31\n0.0\n"
          "0\nENDSEC\n0\nEOF\n",
          f);
    fclose(f);

    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_OK);
    ormavec_object* doc = NULL;
    ormavec_object* lines = lines_of(in, &doc);
    CHECK(lines != NULL);
    const int32_t before = lines ? get_count(lines) : -1;
    CHECK(before == 2);
    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_FALSE);

    /* A LINE_ENT built field by field, appended through IArrayList. */
    ormavec_guid iid;
    ok(p_ormavec_guid_from_string("{72442825-B37F-40F9-8A11-B577A06BC0F6}", &iid), "iid");
    ormavec_object* list = NULL;
    if (lines) ok(p_ormavec_query_interface(lines, &iid, &list), "QueryInterface _IArrayList");
    ormavec_variant rec;
    p_ormavec_variant_init(&rec);
    ok(p_ormavec_record_new("LINE_ENT", &rec), "record_new");
    ormavec_variant layer;
    p_ormavec_variant_init(&layer);
    p_ormavec_variant_set_string(&layer, "Walls");
    ok(p_ormavec_record_put(&rec, "Layer", &layer), "Layer");
    p_ormavec_variant_clear(&layer);
    put_double(&rec, "StartX", 10.0);
    put_double(&rec, "StartY", 5.0);
    put_double(&rec, "EndX", 0.0);
    put_double(&rec, "EndY", 0.0);
    if (list) {
        ok(call(list, "AddItem", ORMAVEC_DISPATCH_METHOD, &rec, 1, NULL), "AddItem");
        CHECK(get_count(list) == before + 1);
    }
    p_ormavec_variant_clear(&rec);

    ormavec_variant name;
    p_ormavec_variant_init(&name);
    p_ormavec_variant_set_string(&name, out);
    if (doc) ok(call(doc, "Save", ORMAVEC_DISPATCH_METHOD, &name, 1, NULL), "Save");
    p_ormavec_variant_clear(&name);
    p_ormavec_release(list);
    p_ormavec_release(lines);
    p_ormavec_release(doc);
    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_OK);

    /* The saved file, loaded in a new document, holds one line more. */
    ormavec_object* doc2 = NULL;
    ormavec_object* lines2 = lines_of(out, &doc2);
    CHECK(lines2 != NULL);
    if (lines2) {
        CHECK(get_count(lines2) == before + 1);
        ormavec_variant index, item, field;
        p_ormavec_variant_init(&index);
        p_ormavec_variant_init(&item);
        p_ormavec_variant_init(&field);
        index.vt = ORMAVEC_VT_I4;
        index.u.lVal = before;
        if (ok(p_ormavec_invoke(lines2, ORMAVEC_DISPID_VALUE, ORMAVEC_DISPATCH_PROPERTYGET, &index, 1, &item), "Item")) {
            ok(p_ormavec_record_get(&item, "Layer", &field), "get Layer");
            CHECK(field.vt == ORMAVEC_VT_BSTR && strcmp(field.u.strVal, "Walls") == 0);
            p_ormavec_variant_clear(&field);
            ok(p_ormavec_record_get(&item, "StartY", &field), "get StartY");
            CHECK(field.vt == ORMAVEC_VT_R8 && field.u.dblVal == 5.0);
        }
        p_ormavec_variant_clear(&field);
        p_ormavec_variant_clear(&item);
    }
    p_ormavec_release(lines2);
    p_ormavec_release(doc2);
    CHECK(p_DllCanUnloadNow() == ORMAVEC_S_OK);

    remove(in);
    remove(out);
    rmdir(dir);
    dlclose(lib);
    printf("automation: %d passed, %d failed\n", checks - failures, failures);
    return failures ? 1 : 0;
}
