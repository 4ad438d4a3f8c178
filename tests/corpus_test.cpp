// Every drawing of the shared corpus: it loads (or fails with an error that
// names the file and the line, when the manifest marks it broken or it is one
// of the few known failures below), survives a
// save and a reload field by field, and saving the reloaded model gives the
// same bytes again. Each drawing is also saved in the Standard mode, which
// must load back as the same model. The first saves of both modes stay in the
// build folder, each with a JSON of our counts, for the check with an
// independent reader (ezdxf_check.py).
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "model_compare.h"
#include "ormavec.h"
#include "test_support.h"

namespace fs = std::filesystem;
using ormavec::test::ReadFile;

namespace {

const fs::path kCorpus = fs::path(ORMAVEC_SOURCE_DIR) / ".." / "shared" / "corpus";
const fs::path kSaved = fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved";
const fs::path kSavedStandard = fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved_standard";

// Feature words of the manifest that mark a file as not loadable.
bool MarksBroken(const std::string& features) {
    std::istringstream words(features);
    std::string w;
    while (words >> w) {
        for (const char* prefix : {"broken", "invalid", "malformed", "truncated", "corrupt", "binary"}) {
            std::string_view p(prefix);
            if (w == p || (w.starts_with(p) && (w[p.size()] == ':' || w[p.size()] == '-'))) return true;
        }
    }
    return false;
}

// Files that cannot load here although the manifest does not mark them, each
// with the reason. Keep this short: a file belongs here only when failing is
// the right outcome.
const std::map<std::string, std::string, std::less<>> kKnownFailures = {
    {"deb-openscad-testing-data/testdata_dxf_nothing-decimal-comma-separated.dxf",
     "its numbers use a decimal comma; group values always use \".\""},
};

struct ManifestRow {
    std::string acadver;
    std::string features;
};

std::map<std::string, ManifestRow> ReadManifest(const fs::path& file) {
    std::map<std::string, ManifestRow> rows;
    std::ifstream in(file);
    std::string line;
    bool first = true;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (first) {  // the column names
            first = false;
            continue;
        }
        std::vector<std::string> cols;
        std::size_t start = 0;
        for (std::size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1)
            cols.push_back(line.substr(start, tab - start));
        cols.push_back(line.substr(start));
        if (cols.size() < 9 || cols[0].empty()) continue;
        rows[cols[0]] = ManifestRow{cols[4], cols[8]};
    }
    return rows;
}

// The message holds the file name followed by ":" and a line number.
bool NamesFileAndLine(const std::string& message, const std::string& file) {
    for (std::size_t at = message.find(file); at != std::string::npos; at = message.find(file, at + 1)) {
        std::size_t p = at + file.size();
        if (p + 1 < message.size() && message[p] == ':' && std::isdigit(static_cast<unsigned char>(message[p + 1])))
            return true;
    }
    return false;
}

std::string Json(std::string_view s) {
    std::string out = "\"";
    for (char c : s) {
        unsigned char u = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (u < 0x20) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\u%04x", u);
            out += buf;
        } else {
            out += c;
        }
    }
    return out + "\"";
}

template <class C>
int32_t CountOf(const std::shared_ptr<C>& c) {
    return c ? c->Count() : 0;
}

template <class C>
int32_t AttribsOf(const std::shared_ptr<C>& inserts) {
    int32_t n = 0;
    if (inserts)
        for (const ormavec::INSERT_ENT& i : *inserts) n += CountOf(i.ATTRIBS);
    return n;
}

// What a saved file holds, by the entity names of the file.
std::string CountsJson(const ormavec::DXFDocument& doc) {
    const ormavec::ENTITIES& e = *doc.ENTITIES();
    auto pair = [](const char* name, int32_t n) { return std::string("\"") + name + "\":" + std::to_string(n); };
    std::string out = "{\"entities\":{" + pair("ARC", CountOf(e.ARCS())) + "," + pair("CIRCLE", CountOf(e.CIRCLES())) +
                      "," + pair("ELLIPSE", CountOf(e.ELLIPSES())) + "," + pair("3DFACE", CountOf(e.FACE3DS())) + "," +
                      pair("INSERT", CountOf(e.INSERTS())) + "," + pair("LINE", CountOf(e.LINES())) + "," +
                      pair("LWPOLYLINE", CountOf(e.LWPOLYLINES())) + "," + pair("MTEXT", CountOf(e.MTEXTS())) + "," +
                      pair("POLYLINE", CountOf(e.POLYLINES())) + "," + pair("POINT", CountOf(e.POINTS())) + "," +
                      pair("TEXT", CountOf(e.TEXTS())) + "," + pair("SOLID", CountOf(e.SOLIDS())) + "," +
                      pair("ATTDEF", CountOf(e.ATTDEFS())) + "}";
    out += ",\"attribs\":" + std::to_string(AttribsOf(e.INSERTS()));
    out += ",\"blocks\":[";
    bool first = true;
    for (const ormavec::BLOCK_BLOCK& b : *doc.BLOCKS()) {
        if (!first) out += ",";
        first = false;
        out += "{\"name\":" + Json(b.BlockName) + ",\"attribs\":" + std::to_string(AttribsOf(b.INSERTS)) +
               ",\"entities\":{" + pair("ARC", CountOf(b.ARCS)) + "," + pair("CIRCLE", CountOf(b.CIRCLES)) + "," +
               pair("ELLIPSE", CountOf(b.ELLIPSES)) + "," + pair("3DFACE", CountOf(b.FACE3DS)) + "," +
               pair("INSERT", CountOf(b.INSERTS)) + "," + pair("LINE", CountOf(b.LINES)) + "," +
               pair("LWPOLYLINE", CountOf(b.LWPOLYLINES)) + "," + pair("POLYLINE", CountOf(b.POLYLINES)) + "," +
               pair("POINT", CountOf(b.POINTS)) + "," + pair("TEXT", CountOf(b.TEXTS)) + "," +
               pair("MTEXT", CountOf(b.MTEXTS)) + "," + pair("HATCH", CountOf(b.HATCHES)) + "," +
               pair("ATTDEF", CountOf(b.ATTDEFS)) + "}}";
    }
    return out + "]}";
}

// The version mode is per thread: set it for this test and restore it after.
class VersionModeScope {
public:
    explicit VersionModeScope(int16_t mode) : before_(ormavec::DXFDocument().VersionMode()) {
        ormavec::DXFDocument().SetVersionMode(mode);
    }
    ~VersionModeScope() { ormavec::DXFDocument().SetVersionMode(before_); }

private:
    int16_t before_;
};

struct Tally {
    int files = 0, loaded = 0, failedAsExpected = 0, roundTripsEqual = 0, settled = 0, firstSaveStable = 0,
        standardSame = 0;
};

constexpr int kMaxRounds = 4;

enum class Settled { AtFirstSave, Later, BytesDiffer, Never };

// A save is a fixed point once the model it came from loads back unchanged
// (every field, written or not): saving that model again must then give the
// same bytes. A first save need not be one, as it adds the layer "0", the
// ByBlock and ByLayer line types and the model and paper space blocks that
// the model may lack, drops unwritten fields, and trims the pieces of long
// MTEXT texts; so the rounds go on until the model stays the same.
Settled Settle(const ormavec::DXFDocument& first, ormavec::DXFDocument& second, const fs::path& saved,
               const fs::path& scratch) {
    ormavec::testing::CompareOptions identical;
    identical.mode = ormavec::testing::CompareOptions::Mode::Identical;
    std::vector<std::unique_ptr<ormavec::DXFDocument>> reloads;
    const ormavec::DXFDocument* before = &first;
    ormavec::DXFDocument* after = &second;
    std::string bytes = ReadFile(saved);  // the save of `before`
    for (int round = 0; round < kMaxRounds; ++round) {
        after->Save(scratch.string());
        std::string next = ReadFile(scratch);
        if (ormavec::testing::ModelComparer(identical).Compare(*before, *after).empty()) {
            if (next != bytes) return Settled::BytesDiffer;
            return round == 0 ? Settled::AtFirstSave : Settled::Later;
        }
        reloads.push_back(std::make_unique<ormavec::DXFDocument>());
        reloads.back()->Load(scratch.string());
        before = after;
        after = reloads.back().get();
        bytes = std::move(next);
    }
    return Settled::Never;
}

TEST(CorpusTest, RoundTripsEveryFile) {
    if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no corpus folder at " << kCorpus.string() << "; nothing to check";

    const auto manifest = ReadManifest(kCorpus / "MANIFEST.tsv");
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(kCorpus))
        if (entry.is_regular_file() && entry.path().extension() == ".dxf") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    ASSERT_FALSE(files.empty()) << "the corpus folder holds no .dxf file";

    std::error_code ec;
    fs::remove_all(kSaved, ec);
    fs::create_directories(kSaved / "resaved");
    fs::remove_all(kSavedStandard, ec);
    fs::create_directories(kSavedStandard);

    // Hatches inside blocks are read only from version mode 6 on.
    VersionModeScope mode(6);
    Tally t;
    std::string counts = "[", standardCounts = "[";
    auto countsEntry = [](const fs::path& saved, const std::string& rel, const std::string& source, int32_t acadver,
                          const ormavec::DXFDocument& model) {
        return "{\"saved\":" + Json(saved.filename().string()) + ",\"source\":" + Json(rel) +
               ",\"source_path\":" + Json(source) + ",\"acadver\":" + std::to_string(acadver) +
               ",\"model\":" + CountsJson(model) + "}";
    };

    for (const fs::path& path : files) {
        ++t.files;
        const std::string rel = fs::relative(path, kCorpus).generic_string();
        std::string flat = rel;
        for (char& c : flat)
            if (c == '/') c = '~';
        auto row = manifest.find(rel);
        if (row == manifest.end()) ADD_FAILURE() << rel << ": not listed in MANIFEST.tsv";
        const bool broken =
            (row != manifest.end() && MarksBroken(row->second.features)) || kKnownFailures.contains(rel);
        const std::string name = path.string();

        ormavec::DXFDocument first;
        try {
            first.Load(name);
        } catch (const ormavec::Error& e) {
            const std::string message = e.what();
            if (!NamesFileAndLine(message, name))
                ADD_FAILURE() << rel << ": the load error does not name the file and a line: " << message;
            else if (broken)
                ++t.failedAsExpected;
            else
                ADD_FAILURE() << rel << ": failed to load: " << message;
            continue;
        } catch (const std::exception& e) {
            ADD_FAILURE() << rel << ": failed to load with an exception that is not an ormavec::Error: " << e.what();
            continue;
        }
        ++t.loaded;
        if (broken) std::printf("note: %s loads although it is expected to fail\n", rel.c_str());

        const fs::path saved = kSaved / flat;
        const fs::path resaved = kSaved / "resaved" / flat;
        ormavec::DXFDocument second;
        try {
            first.Save(saved.string());
            second.Load(saved.string());
        } catch (const std::exception& e) {
            ADD_FAILURE() << rel << ": save or reload failed: " << e.what();
            continue;
        }

        if (counts.size() > 1) counts += ",\n";
        counts += countsEntry(saved, rel, name, first.HEADER()->AcadVer(), first);

        // The opt-in path: read with Auto, save Standard, read with Auto again.
        // The model must come back the same; only the version it declares and
        // the text styles that texts name and the table lacked may differ.
        const fs::path savedStandard = kSavedStandard / flat;
        ormavec::DXFDocument source;
        ormavec::DXFDocument standard;
        source.SetTextConvertMode(ormavec::TextConvertMode::Auto);
        standard.SetTextConvertMode(ormavec::TextConvertMode::Auto);
        bool standardLoaded = false;
        try {
            source.Load(name);
            source.SetSaveMode(ormavec::SaveMode::Standard);
            source.Save(savedStandard.string());
            standard.Load(savedStandard.string());
            standardLoaded = true;
        } catch (const std::exception& e) {
            ADD_FAILURE() << rel << ": Auto load, Standard save or reload failed: " << e.what();
        }
        const int32_t written = std::max<int32_t>(source.HEADER()->AcadVer(), 1015);
        EXPECT_EQ(standard.HEADER()->AcadVer(), written) << rel;
        if (standardCounts.size() > 1) standardCounts += ",\n";
        standardCounts += countsEntry(savedStandard, rel, name, written, source);
        if (standardLoaded) {
            standard.HEADER()->SetAcadVer(source.HEADER()->AcadVer());
            ormavec::STYLES& styles = *standard.TABLES()->STYLES();
            for (int32_t i = styles.Count() - 1; i >= 0; --i)
                if (source.TABLES()->STYLES()->IndexOfName(styles.Item(i).StyleName) < 0) styles.Delete(i);
            ormavec::testing::CompareOptions kept;
            kept.textKept = true;
            ormavec::testing::ModelComparer same(kept);
            const std::vector<std::string> diffs = same.Compare(source, standard);
            if (diffs.empty())
                ++t.standardSame;
            else
                ADD_FAILURE() << rel << ": the Standard save loads other than the model saved: " << diffs.front();
        }

        ormavec::testing::ModelComparer comparer;
        const std::vector<std::string> diffs = comparer.Compare(first, second);
        if (diffs.empty()) {
            ++t.roundTripsEqual;
        } else {
            std::string text;
            for (std::size_t i = 0; i < diffs.size() && i < 12; ++i) text += "\n  " + diffs[i];
            ADD_FAILURE() << rel << ": " << comparer.TotalDifferences() << " differences after a save and a reload:" << text;
        }

        try {
            switch (Settle(first, second, saved, resaved)) {
            case Settled::AtFirstSave:
                ++t.firstSaveStable;
                ++t.settled;
                break;
            case Settled::Later: ++t.settled; break;
            case Settled::BytesDiffer:
                ADD_FAILURE() << rel << ": the model came back unchanged, yet saving it again gives other bytes";
                break;
            case Settled::Never:
                ADD_FAILURE() << rel << ": the model still changes after " << kMaxRounds << " saves and reloads";
                break;
            }
        } catch (const std::exception& e) {
            ADD_FAILURE() << rel << ": a later save or reload failed: " << e.what();
        }
        fs::remove(resaved, ec);
    }
    counts += "]\n";
    std::ofstream(kSaved / "counts.json", std::ios::binary) << counts;
    standardCounts += "]\n";
    std::ofstream(kSavedStandard / "counts.json", std::ios::binary) << standardCounts;

    std::printf("corpus: %d files, %d loaded, %d expected failures, %d round-trips equal, %d saves settle to the same "
                "bytes (%d already at the first save), %d Auto-loaded models come back equal from a Standard save\n",
                t.files, t.loaded, t.failedAsExpected, t.roundTripsEqual, t.settled, t.firstSaveStable, t.standardSame);
}

}  // namespace

namespace {

// The comparison itself must see a change in any part of the model.
TEST(ModelCompareTest, ReportsEveryChangedPart) {
    const std::string example = std::string(ORMAVEC_SOURCE_DIR) + "/examples/site_plan.dxf";
    VersionModeScope mode(6);
    ormavec::DXFDocument a, b;
    a.Load(example);
    b.Load(example);
    ormavec::testing::CompareOptions identical;
    identical.mode = ormavec::testing::CompareOptions::Mode::Identical;
    EXPECT_EQ(ormavec::testing::ModelComparer(identical).Compare(a, b), std::vector<std::string>{});

    ormavec::LINE_ENT line = b.ENTITIES()->LINES()->Item(0);
    line.EndX += 1e-6;
    b.ENTITIES()->LINES()->LetItem(0, line);
    ormavec::LAYERS_TAB layer = b.TABLES()->LAYERS()->Item(1);
    layer.ColorNumber = 99;
    b.TABLES()->LAYERS()->LetItem(1, layer);
    const ormavec::BLOCK_BLOCK& tree = b.BLOCKS()->ItemRef(b.BLOCKS()->FindByName("FA"));
    ormavec::HATCH_ENT hatch = tree.HATCHES->Item(0);
    hatch.Boundaries[0].RecordIf<ormavec::HATCH_BOUNDARY_POLYLINE>()->POINTS[2].Y = 7;
    tree.HATCHES->LetItem(0, hatch);
    ormavec::INSERT_ENT title = b.ENTITIES()->INSERTS()->Item(b.ENTITIES()->INSERTS()->Count() - 1);
    ormavec::ATTRIB_ENT attrib = title.ATTRIBS->Item(1);
    attrib.DefaultValue = "Kovács Ödön ";
    title.ATTRIBS->LetItem(1, attrib);
    b.ENTITIES()->POINTS()->Delete(b.ENTITIES()->POINTS()->Count() - 1);
    b.HEADER()->SetInsBase({0, 0, 1});

    ormavec::testing::ModelComparer comparer(identical);
    const std::vector<std::string> diffs = comparer.Compare(a, b);
    std::string all;
    for (const std::string& d : diffs) all += d + "\n";
    EXPECT_EQ(comparer.TotalDifferences(), 6u) << all;
    for (const char* path : {"HEADER.InsBase.Z", "TABLES.LAYERS[1].ColorNumber", "BLOCKS[4 \"FA\"].HATCHES[0].Boundaries[0].POINTS[2].Y",
                             "ENTITIES.INSERTS[10].ATTRIBS[1].DefaultValue", "ENTITIES.LINES[0].EndX", "ENTITIES.POINTS.Count"})
        EXPECT_NE(all.find(path), std::string::npos) << path << " missing from " << all;

    // After a save, the unwritten and substituted values are expected as a reload gives them.
    ormavec::testing::ModelComparer afterSave;
    ormavec::LINE_ENT noLayer = a.ENTITIES()->LINES()->Item(0);
    noLayer.Layer.clear();
    noLayer.EndX = 1.0000000001;
    ormavec::LINE_ENT reloaded = noLayer;
    reloaded.Layer = "0";
    reloaded.EndX = 1;
    a.ENTITIES()->LINES()->LetItem(0, noLayer);
    ormavec::DXFDocument c;
    c.Load(example);
    c.ENTITIES()->LINES()->LetItem(0, reloaded);
    const std::vector<std::string> saved = afterSave.Compare(a, c);
    for (const std::string& d : saved) EXPECT_EQ(d.find("LINES[0]"), std::string::npos) << d;
}

}  // namespace
