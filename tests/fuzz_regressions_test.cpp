// Every input that once broke a fuzz target, replayed through the entry that
// found it, which the file name's prefix names: reader-, load- or roundtrip-.
// Errors of the library are fine; crashes, sanitizer reports and round trips
// that change the model are not.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "fuzz/fuzz_entries.h"
#include "test_support.h"

namespace fs = std::filesystem;

TEST(FuzzRegressions, EveryInputReplaysCleanly) {
    int replayed = 0;
    for (const auto& file : fs::directory_iterator(fs::path(ORMAVEC_SOURCE_DIR) / "tests" / "regressions")) {
        const std::string name = file.path().filename().string(), bytes = ormavec::test::ReadFile(file.path());
        const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
        SCOPED_TRACE(name);
        if (name.starts_with(".")) continue;
        ++replayed;
        if (name.starts_with("reader-"))
            ormavec::fuzz::ReaderEntry(data, bytes.size());
        else if (name.starts_with("load-"))
            ormavec::fuzz::LoadEntry(data, bytes.size());
        else if (name.starts_with("roundtrip-"))
            EXPECT_EQ(ormavec::fuzz::RoundTripEntry(data, bytes.size()), "");
        else
            ADD_FAILURE() << "no fuzz entry is named by " << name;
    }
    if (replayed == 0) GTEST_SKIP() << "no regression input saved yet";
}
