// Every drawing of the shared corpus loads (or fails with an error naming the
// file and the line, when the manifest marks it broken), survives a save and
// a reload field by field, and settles: once a reload gives the same model,
// saving it again gives the same bytes. Each drawing is also read with Auto
// and saved in the Standard mode, which must load back as the same model. The
// first saves of both modes stay in the build folder, each with a JSON of our
// counts, for the check with an independent reader (ezdxf_check.py).
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "model_compare.h"
#include "ormavec.h"
#include "test_support.h"

namespace fs = std::filesystem;
using namespace ormavec;
using ormavec::test::ReadFile;
using ormavec::testing::CompareOptions;
using ormavec::testing::ModelComparer;

namespace {

const fs::path kCorpus = fs::path(ORMAVEC_SOURCE_DIR) / ".." / "shared" / "corpus";
const fs::path kSaved = fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved";
const fs::path kSavedStandard = fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved_standard";

// Files that rightly fail to load although the manifest does not mark them.
const std::map<std::string, std::string, std::less<>> kKnownFailures = {
    {"deb-openscad-testing-data/testdata_dxf_nothing-decimal-comma-separated.dxf", "group values always use \".\""},
};

// The manifest's feature words (column 9) by file; a word "broken",
// "invalid", ..., alone or followed by ":" or "-", marks a file not loadable.
bool MarkedBroken(const std::string& features) {
    for (const char* word : {"broken", "invalid", "malformed", "truncated", "corrupt", "binary"})
        for (std::size_t at = features.find(word); at != std::string::npos; at = features.find(word, at + 1)) {
            const std::size_t end = at + std::string_view(word).size();
            if ((at == 0 || features[at - 1] == ' ') && (end == features.size() || std::string_view(" :-").find(features[end]) != std::string_view::npos))
                return true;
        }
    return false;
}

std::map<std::string, std::string> ManifestFeatures() {
    std::map<std::string, std::string> rows;
    std::ifstream in(kCorpus / "MANIFEST.tsv");
    std::string line;
    std::getline(in, line);  // the column names
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::vector<std::string> cols(1);
        for (char c : line)
            if (c == '\t')
                cols.emplace_back();
            else
                cols.back().push_back(c);
        if (cols.size() >= 9 && !cols[0].empty()) rows[cols[0]] = cols[8];
    }
    return rows;
}

std::string Json(std::string_view s) {
    std::string out = "\"";
    for (char c : s) {
        if (c == '"' || c == '\\') out += '\\';
        if (static_cast<unsigned char>(c) >= 0x20) {
            out += c;
        } else {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(c));
            out += buf;
        }
    }
    return out + "\"";
}

// The counts of the kinds a set writes, by entity name, and its attributes.
template <class Set>
std::string CountsJson(const Set& set) {
    std::string out;
    int32_t attribs = 0;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write) {
            const auto& list = ListIn<K>(set);
            out += (out.empty() ? "\"" : ",\"") + std::string(kinds::RowOf(K).dxf) + "\":" + std::to_string(list ? list->Count() : 0);
            if constexpr (K == Kind::Insert)
                if (list)
                    for (const INSERT_ENT& i : *list) attribs += i.ATTRIBS ? i.ATTRIBS->Count() : 0;
        }
    });
    return "\"entities\":{" + out + "},\"attribs\":" + std::to_string(attribs);
}

std::string ModelJson(const DXFDocument& doc) {
    std::string out = "{" + CountsJson(*doc.ENTITIES()) + ",\"blocks\":[";
    for (const BLOCK_BLOCK& b : *doc.BLOCKS()) out += (out.back() == '[' ? "{\"name\":" : ",{\"name\":") + Json(b.BlockName) + "," + CountsJson(b) + "}";
    return out + "]}";
}

// The version mode is per thread: set for this test and restored after it.
struct VersionModeScope {
    int16_t before = DXFDocument().VersionMode();
    explicit VersionModeScope(int16_t mode) { DXFDocument().SetVersionMode(mode); }
    ~VersionModeScope() { DXFDocument().SetVersionMode(before); }
};

// A first save need not be a fixed point: it adds the layer "0", the line
// types ByBlock and ByLayer and the space blocks, drops unwritten fields and
// trims the pieces of long MTEXT texts. So the rounds go on until a reload
// gives the same model (every field); the next save must give the same bytes.
std::string Settle(const DXFDocument& first, const fs::path& saved, const fs::path& scratch) {
    CompareOptions identical;
    identical.mode = CompareOptions::Mode::Identical;
    std::vector<std::unique_ptr<DXFDocument>> models;
    const DXFDocument* before = &first;
    std::string bytes = ReadFile(saved);
    for (int round = 0; round < 4; ++round) {
        models.push_back(std::make_unique<DXFDocument>());
        models.back()->Load(round == 0 ? saved.string() : scratch.string());
        models.back()->Save(scratch.string());
        std::string next = ReadFile(scratch);
        if (ModelComparer(identical).Compare(*before, *models.back()).empty())
            return next == bytes ? "" : "the model came back unchanged, yet saving it again gives other bytes";
        before = models.back().get();
        bytes = std::move(next);
    }
    return "the model still changes after 4 saves and reloads";
}

TEST(CorpusTest, RoundTripsEveryFile) {
    if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no corpus folder at " << kCorpus.string();
    const auto manifest = ManifestFeatures();
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(kCorpus))
        if (entry.is_regular_file() && entry.path().extension() == ".dxf") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    ASSERT_FALSE(files.empty());
    std::error_code ec;
    for (const fs::path& dir : {kSaved, kSavedStandard}) fs::remove_all(dir, ec), fs::create_directories(dir);

    VersionModeScope mode(6);  // hatches inside blocks are read from version mode 6 on
    int loaded = 0, expectedFailures = 0;
    std::string counts[2];
    for (const fs::path& path : files) {
        const std::string rel = fs::relative(path, kCorpus).generic_string(), name = path.string();
        SCOPED_TRACE(rel);
        std::string flat = rel;
        std::replace(flat.begin(), flat.end(), '/', '~');
        const auto row = manifest.find(rel);
        EXPECT_NE(row, manifest.end()) << "not listed in MANIFEST.tsv";
        const bool broken = (row != manifest.end() && MarkedBroken(row->second)) || kKnownFailures.contains(rel);

        DXFDocument first;
        try {
            first.Load(name);
        } catch (const Error& e) {
            // The message names the file, then ":" and a line number.
            const std::string m = e.what();
            const std::size_t at = m.find(name + ":");
            EXPECT_TRUE(at != std::string::npos && std::isdigit(static_cast<unsigned char>(m[at + name.size() + 1]))) << m;
            EXPECT_TRUE(broken) << "failed to load: " << m;
            expectedFailures += broken;
            continue;
        }
        ++loaded;
        const fs::path saved = kSaved / flat, savedStandard = kSavedStandard / flat;
        DXFDocument second, source, standard;
        source.SetTextConvertMode(TextConvertMode::Auto);
        standard.SetTextConvertMode(TextConvertMode::Auto);
        try {
            first.Save(saved.string());
            second.Load(saved.string());
            source.Load(name);
            source.SetSaveMode(SaveMode::Standard);
            source.Save(savedStandard.string());
            standard.Load(savedStandard.string());
        } catch (const std::exception& e) {
            ADD_FAILURE() << "a save or reload failed: " << e.what();
            continue;
        }
        const int32_t declared = std::max<int32_t>(source.HEADER()->AcadVer(), 1015);
        EXPECT_EQ(standard.HEADER()->AcadVer(), declared);
        const fs::path savedAs[2] = {saved, savedStandard};
        const int32_t versions[2] = {first.HEADER()->AcadVer(), declared};
        for (int m = 0; m < 2; ++m)
            counts[m] += (counts[m].empty() ? "[" : ",\n") + std::string("{\"saved\":") + Json(savedAs[m].filename().string()) +
                         ",\"source\":" + Json(rel) + ",\"source_path\":" + Json(name) +
                         ",\"acadver\":" + std::to_string(versions[m]) + ",\"model\":" + ModelJson(m ? source : first) + "}";

        ModelComparer comparer;
        const std::vector<std::string> diffs = comparer.Compare(first, second);
        EXPECT_TRUE(diffs.empty()) << comparer.TotalDifferences() << " differences after a save and a reload, first: " << diffs[0];
        EXPECT_EQ(Settle(first, saved, kSaved / "resaved.dxf"), "");

        // Only the declared version and the text styles that texts name and
        // the table lacked may differ after the Standard save.
        standard.HEADER()->SetAcadVer(source.HEADER()->AcadVer());
        STYLES& styles = *standard.TABLES()->STYLES();
        for (int32_t i = styles.Count() - 1; i >= 0; --i)
            if (source.TABLES()->STYLES()->IndexOfName(styles.Item(i).StyleName) < 0) styles.Delete(i);
        CompareOptions kept;
        kept.textKept = true;
        const std::vector<std::string> standardDiffs = ModelComparer(kept).Compare(source, standard);
        EXPECT_TRUE(standardDiffs.empty()) << "the Standard save loads other than the model saved: " << standardDiffs[0];
    }
    fs::remove(kSaved / "resaved.dxf", ec);
    std::ofstream(kSaved / "counts.json", std::ios::binary) << counts[0] << "]\n";
    std::ofstream(kSavedStandard / "counts.json", std::ios::binary) << counts[1] << "]\n";
    std::printf("corpus: %zu files, %d loaded, %d expected failures\n", files.size(), loaded, expectedFailures);
}

// The comparison itself must see a change in any part of the model, and
// after a save expect what a reload gives.
TEST(ModelCompareTest, ReportsEveryChangedPart) {
    const std::string example = std::string(ORMAVEC_SOURCE_DIR) + "/examples/site_plan.dxf";
    VersionModeScope mode(6);
    DXFDocument a, b;
    a.Load(example);
    b.Load(example);
    CompareOptions identical;
    identical.mode = CompareOptions::Mode::Identical;
    EXPECT_EQ(ModelComparer(identical).Compare(a, b), std::vector<std::string>{});

    LINE_ENT line = b.ENTITIES()->LINES()->Item(0);
    line.EndX += 1e-6;
    b.ENTITIES()->LINES()->LetItem(0, line);
    LAYERS_TAB layer = b.TABLES()->LAYERS()->Item(1);
    layer.ColorNumber = 99;
    b.TABLES()->LAYERS()->LetItem(1, layer);
    const BLOCK_BLOCK& tree = b.BLOCKS()->ItemRef(b.BLOCKS()->FindByName("FA"));
    HATCH_ENT hatch = tree.HATCHES->Item(0);
    hatch.Boundaries[0].RecordIf<HATCH_BOUNDARY_POLYLINE>()->POINTS[2].Y = 7;
    tree.HATCHES->LetItem(0, hatch);
    INSERT_ENT title = b.ENTITIES()->INSERTS()->Item(b.ENTITIES()->INSERTS()->Count() - 1);
    ATTRIB_ENT attrib = title.ATTRIBS->Item(1);
    attrib.DefaultValue = "Kovács Ödön ";
    title.ATTRIBS->LetItem(1, attrib);
    b.ENTITIES()->POINTS()->Delete(b.ENTITIES()->POINTS()->Count() - 1);
    b.HEADER()->SetInsBase({0, 0, 1});
    ModelComparer comparer(identical);
    std::string all;
    for (const std::string& d : comparer.Compare(a, b)) all += d + "\n";
    EXPECT_EQ(comparer.TotalDifferences(), 6u) << all;
    for (const char* path : {"HEADER.InsBase.Z", "TABLES.LAYERS[1].ColorNumber", "BLOCKS[4].HATCHES[0].Boundaries[0].POINTS[2].Y",
                             "ENTITIES.INSERTS[10].ATTRIBS[1].DefaultValue", "ENTITIES.LINES[0].EndX", "ENTITIES.POINTS.Count"})
        EXPECT_NE(all.find(path), std::string::npos) << path << " missing from " << all;

    // After a save, an empty layer is expected as "0" and a number to nine decimals.
    line = a.ENTITIES()->LINES()->Item(0);
    line.Layer.clear();
    line.EndX = 1.0000000001;
    a.ENTITIES()->LINES()->LetItem(0, line);
    line.Layer = "0";
    line.EndX = 1;
    b.ENTITIES()->LINES()->LetItem(0, line);
    for (const std::string& d : ModelComparer().Compare(a, b)) EXPECT_EQ(d.find("LINES[0]"), std::string::npos) << d;
}

}  // namespace
