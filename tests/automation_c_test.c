/* A C host: the header compiles as C, and libormavec.so, loaded with dlopen,
 * makes and frees an object. (automation_ctypes_test.py checks that every
 * entry point is exported and loads, edits and saves a drawing through them.)
 * Usage: ormavec_automation_c_test /path/to/libormavec.so */
#include <dlfcn.h>
#include <stdio.h>

#include "automation/ormavec_automation.h"

#define SYM(name) __typeof__(&name) p_##name = lib ? (__typeof__(&name))dlsym(lib, #name) : NULL

int main(int argc, char** argv) {
    void* lib = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    SYM(ormavec_create_object);
    SYM(ormavec_release);
    SYM(DllCanUnloadNow);
    ormavec_object* lines = NULL;
    const int ok = p_ormavec_create_object && p_ormavec_release && p_DllCanUnloadNow &&
                   p_ormavec_create_object("Ormavec.LINES", &lines) == ORMAVEC_S_OK && p_DllCanUnloadNow() == ORMAVEC_S_FALSE &&
                   p_ormavec_release(lines) == 0 && p_DllCanUnloadNow() == ORMAVEC_S_OK;
    printf("automation_c_test: %s\n", ok ? "passed" : "FAILED");
    return !ok;
}
