// Every input that once broke a fuzz target, replayed through the same entry
// that found it. The file name says which: reader-*, load-* or roundtrip-*.
// Errors of the library are fine; crashes, sanitizer reports and round trips
// that change the model are not.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz/fuzz_entries.h"

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> Inputs() {
    std::vector<fs::path> files;
    const fs::path dir = fs::path(ORMAVEC_SOURCE_DIR) / "tests" / "regressions";
    if (fs::is_directory(dir))
        for (const auto& e : fs::directory_iterator(dir))
            if (e.is_regular_file() && e.path().filename().string()[0] != '.') files.push_back(e.path());
    std::sort(files.begin(), files.end());
    return files;
}

TEST(FuzzRegressions, EveryInputReplaysCleanly) {
    const auto files = Inputs();
    if (files.empty()) GTEST_SKIP() << "no regression input saved yet";
    for (const fs::path& file : files) {
        SCOPED_TRACE(file.filename().string());
        std::ifstream in(file, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
        const std::string name = file.filename().string();
        if (name.rfind("reader-", 0) == 0) {
            ormavec::fuzz::ReaderEntry(data, bytes.size());
        } else if (name.rfind("load-", 0) == 0) {
            ormavec::fuzz::LoadEntry(data, bytes.size());
        } else if (name.rfind("roundtrip-", 0) == 0) {
            EXPECT_EQ(ormavec::fuzz::RoundTripEntry(data, bytes.size()), "");
        } else {
            ADD_FAILURE() << "no fuzz entry is named by " << name;
        }
    }
}

}  // namespace
