// The bodies of the fuzz targets, shared with the regression test so that a
// saved input is replayed through exactly the entry that found it. Errors of
// the library (ormavec::Error) are expected answers to bad input; anything
// else (a crash, a sanitizer report, a returned complaint) is a finding.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "io/binary_codes.h"
#include "ormavec.h"
#include "tests/model_compare.h"

namespace ormavec::fuzz {

// A private scratch folder per process (in memory when /dev/shm exists),
// removed at exit. The path is never destroyed: a static one would be gone
// before the handler that removes the folder runs.
inline const std::filesystem::path& ScratchDir() {
    static const std::filesystem::path& dir = *[] {
        std::filesystem::path base = std::filesystem::is_directory("/dev/shm") ? std::filesystem::path("/dev/shm")
                                                                                 : std::filesystem::temp_directory_path();
        auto* d = new std::filesystem::path(base / ("ormavec_fuzz_" + std::to_string(::getpid())));
        std::filesystem::create_directories(*d);
        std::atexit([] {
            std::error_code ec;
            std::filesystem::remove_all(ScratchDir(), ec);
        });
        return d;
    }();
    return dir;
}

inline std::string WriteScratch(const char* name, const uint8_t* data, size_t size) {
    std::string path = (ScratchDir() / name).string();
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) std::abort();
    if (size && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);
    return path;
}

// (a) The group reader alone; the first byte picks the options.
inline void ReaderEntry(const uint8_t* data, size_t size) {
    if (size == 0) return;
    const uint8_t options = data[0];
    const bool trim = options & 1, upper = options & 2;
    DXFReader reader((options & 4) ? CodePage::Windows1252 : CodePage::Windows1250);
    // Bit 3 and the input's size pick one of the four text modes.
    reader.SetTextConvertMode(static_cast<TextConvertMode>(((options >> 3) & 1) | ((size & 1) << 1)));
    // The next bit of the size takes the repairing path.
    reader.SetRecover(size & 2);
    int32_t lastPercent = 0;
    reader.Progress = [&lastPercent](int32_t& percent) { lastPercent = percent; };
    // The third bit of the size reads the rest as the pairs of a binary drawing.
    const bool binary = size & 4;
    reader.OpenString((binary ? std::string(kBinarySentinel) : std::string()) + std::string(reinterpret_cast<const char*>(data + 1), size - 1), "fuzz");
    try {
        if (binary) reader.CheckFormat();
        unsigned n = 0;
        while (!reader.AtEnd()) {
            ++n;
            if ((options & 16) && n % 3 == 0) {
                DxfEntry e = reader.ReadEntry(trim, upper);
                reader.UnReadEntry(e);
                (void)reader.ReadEntry(trim, upper);
                continue;
            }
            const DXFReader::Pair& p = reader.Read(trim, upper);
            if ((options & 32) && p.Code >= 10 && p.Code < 60) (void)reader.ToDouble(p.Value);
            if ((options & 64) && p.Code >= 60 && p.Code < 100) (void)reader.ToInt32(p.Value);
            if ((options & 128) && n % 5 == 0) {
                reader.UnRead();
                (void)reader.Read(trim, upper);
            }
        }
    } catch (const Error&) {
    }
    if (lastPercent < 0 || lastPercent > 100) __builtin_trap();
}

// (b) DXFDocument::Load; the size picks the version mode, the text mode (so
// that the hatches of blocks are read too), whether damage is repaired and
// whether the load preserves.
inline void LoadEntry(const uint8_t* data, size_t size) {
    const std::string path = WriteScratch("in.dxf", data, size);
    DXFDocument doc;
    doc.SetVersionMode((size & 1) ? 6 : 0);
    doc.SetTextConvertMode(static_cast<TextConvertMode>((size >> 1) & 3));
    doc.SetRecover(size & 8);
    doc.SetPreserve(size & 16);  // what the CLI's convert reads with
    try {
        doc.Load(path);
    } catch (const Error&) {
    }
    // What was read stays usable, whatever stopped the load.
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    try {
        doc.ENTITIES()->ReCalcExtent(x0, y0, x1, y1);
    } catch (const Error&) {
    }
}

// A Standard save may define the text styles, line types, layers and blocks
// that records name and the source lacked: drops them from the reloaded
// model (the fixed line types and layer 0 are the comparer's, and stay).
inline void DropAddedDefinitions(DXFDocument& saved, const DXFDocument& source) {
    const auto dropAdded = [](auto& added, const auto& had, std::initializer_list<std::string_view> fixed) {
        for (int32_t i = added.Count() - 1; i >= 0; --i)
            if (const std::string name(std::decay_t<decltype(added)>::NameOf(added.ItemRef(i)));
                had.IndexOfName(name) < 0 && std::find(fixed.begin(), fixed.end(), name) == fixed.end())
                added.Delete(i);
    };
    dropAdded(*saved.TABLES()->STYLES(), *source.TABLES()->STYLES(), {});
    dropAdded(*saved.TABLES()->LTYPES(), *source.TABLES()->LTYPES(), {"ByBlock", "ByLayer"});
    dropAdded(*saved.TABLES()->LAYERS(), *source.TABLES()->LAYERS(), {"0"});
    BLOCKS& blocks = *saved.BLOCKS();
    for (int32_t i = blocks.Count() - 1; i >= 0; --i)
        if (const std::string name(BLOCKS::NameOf(blocks.ItemRef(i)));
            source.BLOCKS()->FindByName(name) < 0 && !EqualsNoCase(name, "*Model_Space") && !EqualsNoCase(name, "*Paper_Space"))
            blocks.Delete(i);
}

// (c) Load, save, load again. Returns the differences between the two
// models (empty when they agree in every field the writer writes).
inline std::string RoundTripEntry(const uint8_t* data, size_t size) {
    const std::string in = WriteScratch("in.dxf", data, size);
    const std::string out = (ScratchDir() / "out.dxf").string();
    // Odd sizes take the opt-in path: Auto reading and Standard saving,
    // which must keep every character.
    const bool standard = size & 1;
    DXFDocument first;
    first.SetVersionMode(6);
    first.SetRecover(size & 2);  // what a repaired load holds must save and load back too
    first.SetBinary(size & 4);
    if (standard) {
        first.SetTextConvertMode(TextConvertMode::Auto);
        first.SetSaveMode(SaveMode::Standard);
        first.SetPreserve(size & 8);  // as the CLI's convert: kept content written back in place
    }
    try {
        first.Load(in);
    } catch (const Error&) {
        return {};  // only complete loads are saved
    }
    try {
        first.Save(out);
    } catch (const Error&) {
        return {};  // records the writer refuses (no vertices, counts beyond the arrays)
    }
    DXFDocument second;
    if (standard) second.SetTextConvertMode(TextConvertMode::Auto);
    second.SetPreserve(first.Preserve());  // which reads a left-out value as the format means it
    try {
        second.Load(out);
    } catch (const Error& e) {
        return std::string("the saved file does not load: ") + e.what();
    }
    if (standard) {
        // A Standard save may declare a later version and define the text
        // styles, line types, layers and blocks that records name; the rest must come
        // back as it was (the fixed line types and layer 0 are the comparer's).
        second.HEADER()->SetAcadVer(first.HEADER()->AcadVer());
        DropAddedDefinitions(second, first);
    }
    testing::CompareOptions options;
    options.textKept = standard;
    options.exactNumbers = size & 4;
    testing::ModelComparer comparer(options);
    std::string report;
    for (const std::string& d : comparer.Compare(first, second)) report += d + "\n";
    return report;
}

}  // namespace ormavec::fuzz
