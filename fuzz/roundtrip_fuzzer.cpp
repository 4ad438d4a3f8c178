#include <cstdio>

#include "fuzz/fuzz_entries.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string report = ormavec::fuzz::RoundTripEntry(data, size);
    if (!report.empty()) {
        std::fputs(report.c_str(), stderr);
        __builtin_trap();
    }
    return 0;
}
