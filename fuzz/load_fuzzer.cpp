#include "fuzz/fuzz_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ormavec::fuzz::LoadEntry(data, size);
    return 0;
}
