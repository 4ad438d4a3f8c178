// Whole drawings. Every drawing of the shared corpus loads (or fails with an
// error naming the file and the line, when the manifest marks it broken),
// survives a save and a reload field by field, and its saves settle. Each is
// also read with Auto and saved in the Standard mode, which must load back as
// the same model, and so must its binary save. The first saves (classic,
// standard, binary) stay in the build folder, each with a JSON of our counts,
// for the check with an independent reader (ezdxf_check.py). Every input that once broke a fuzz target is replayed.
#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <numeric>
#include <sstream>
#include <regex>
#include <string>
#include <vector>

#include "document/entity_sets.h"
#include "fuzz/fuzz_entries.h"
#include "model_compare.h"
#include "test_support.h"

namespace fs = std::filesystem;
using namespace ormavec;
using ormavec::test::ReadFile;
using ormavec::testing::CompareOptions;
using ormavec::testing::ModelComparer;

namespace {

const fs::path kCorpus = fs::path(ORMAVEC_SOURCE_DIR) / ".." / "shared" / "corpus";
const fs::path kSaved[3] = {fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved", fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved_standard",
                            fs::path(ORMAVEC_BINARY_DIR) / "corpus_saved_binary"};

std::string Json(std::string_view s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        char buf[8];
        std::snprintf(buf, sizeof buf, c < 0x20 ? "\\u%04x" : c == '"' || c == '\\' ? "\\%c" : "%c", c);
        out += buf;
    }
    return out + "\"";
}

// What a drawing holds, counted straight from its pairs: entities by name
// (ENTITIES and blocks, a sequence's parts aside), their handles (the parts'
// too), header variables, objects,
// classes, entries by table and entities carrying XDATA.
// Also the pairs of each such entity, by section and name in the order
// met, handles, owners and subclass markers aside, and the groups that point
// into objects (reactors, extension dictionaries).
struct Census {
    using Pairs = std::vector<std::pair<int, std::string>>;
    std::map<std::string, int64_t> entities, tables;
    std::multiset<std::string> header;
    int64_t objects = 0, xdata = 0, classes = 0;
    bool entityOwned = false;  // an object is owned by an entity
    std::map<std::string, std::vector<Pairs>> pairs;  // "<section>/<name>"
    std::map<std::string, Pairs> entries;  // typed table entries, by "<table> <name>"
    std::set<std::string> entityHandles;
    explicit Census(const std::string& text) {
        std::string section, table, code, value, kind;
        std::istringstream in(text);
        bool entity = false, hasXData = false, objectGroup = false, owned = false;
        Pairs* current = nullptr;
        std::set<std::string> objectOwners;
        while (std::getline(in, code) && std::getline(in, value)) {
            const auto trim = [](std::string& t) { t.erase(t.find_last_not_of(" \r") + 1), t.erase(0, t.find_first_not_of(' ')); };
            trim(code), trim(value);
            if (code != "0" && current) {
                objectGroup = objectGroup || (code == "102" && (value == "{ACAD_REACTORS" || value == "{ACAD_XDICTIONARY"));
                if (!objectGroup && code != "5" && code != "330" && code != "100") current->emplace_back(std::stoi(code), value);
                objectGroup = objectGroup && !(code == "102" && value == "}");
            }
            if (code == "0") {
                current = nullptr;
                xdata += entity && hasXData;
                entity = hasXData = false;
                if (value == "EOF") break;
                if (value == "SECTION" && std::getline(in, code) && std::getline(in, section)) trim(section);
                else if (section == "OBJECTS" && value != "ENDSEC") ++objects;
                else if (section == "CLASSES" && value != "ENDSEC") ++classes;
                else if (section == "TABLES" && value == "TABLE" && std::getline(in, code) && std::getline(in, table)) trim(table), tables[table] += 0;
                else if (section == "TABLES" && value != "ENDTAB" && value != "ENDSEC" && ++tables[table] && (table == "LAYER" || table == "STYLE" || table == "LTYPE"))
                    current = &entries[table + " #" + std::to_string(tables[table])];
                else if ((section == "ENTITIES" || section == "BLOCKS") && value != "ENDSEC" && value != "BLOCK" && value != "ENDBLK")
                {
                    kind = value;
                    if (value != "SEQEND" && value != "VERTEX" && value != "ATTRIB") ++entities[value];
                    entity = true, current = &pairs[section + "/" + value].emplace_back();
                }
            } else if (code == "9" && section == "HEADER") {
                header.insert(value);
            } else if (code == "1001") {
                hasXData = true;
            } else if (code == "5" && entity && !value.empty()) {
                std::transform(value.begin(), value.end(), value.begin(), [](unsigned char c) { return std::toupper(c); });
                entityHandles.insert(value + " " + kind);  // still the same kind's
            } else if (code == "330" && section == "OBJECTS" && !owned) {
                objectOwners.insert(value);
            }
            owned = code == "330" || (code != "0" && owned);
        }
        for (std::string h : objectOwners) {
            std::transform(h.begin(), h.end(), h.begin(), [](unsigned char c) { return std::toupper(c); });
            const auto it = entityHandles.lower_bound(h + " ");
            entityOwned = entityOwned || (it != entityHandles.end() && it->starts_with(h + " "));
        }
        std::map<std::string, Pairs> named;  // each entry under its name (group 2)
        for (auto& [key, p] : entries)
            for (const auto& [c, v] : p)
                if (c == 2) named[key.substr(0, key.find(' ')) + " " + v] = std::move(p);
        entries = std::move(named);
    }
};

// Why two entities' pairs differ ("" for the same): the first code, in code
// order, whose values differ or that one side lacks. Numbers compare by
// value (a save writes at most 9 decimals); the order of different codes is
// allowed to change (a save writes its own order, its kept pairs after the
// pair they followed), that of one code's values is not.
std::string PairsDiffer(Census::Pairs a, Census::Pairs b) {
    const auto byCode = [](const auto& x, const auto& y) { return x.first < y.first; };
    std::stable_sort(a.begin(), a.end(), byCode), std::stable_sort(b.begin(), b.end(), byCode);
    const auto number = [](const std::string& s, double& v) {
        const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
        return ec == std::errc() && end == s.data() + s.size();
    };
    for (std::size_t i = 0;; ++i) {
        if (i == a.size() || i == b.size()) return i == a.size() && i == b.size() ? "" : "code " + std::to_string(i == a.size() ? b[i].first : a[i].first) + (i == a.size() ? " added" : " dropped");
        if (a[i].first != b[i].first) return "code " + std::to_string(std::min(a[i].first, b[i].first)) + (a[i].first < b[i].first ? " dropped" : " added");
        double x, y;
        if (a[i].second == b[i].second || (number(a[i].second, x) && number(b[i].second, y) && std::abs(x - y) <= 1e-9 * std::max(1.0, std::abs(x)))) continue;
        return "code " + std::to_string(a[i].first) + " value";
    }
}

// The counts of the kinds a set writes, by entity name, and its attributes;
// entities kept as pairs count under their names.
template <class Set>
std::string CountsJson(const Set& set) {
    std::map<std::string, int64_t> raw;
    if (const KeptEntities* kept = entity_sets::RawOf(set))
        for (const RawEntity& e : kept->Items()) ++raw[e.Name];
    std::string out;
    int32_t attribs = 0;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write) {
            const auto& list = ListIn<K>(set);
            const std::string name(kinds::RowOf(K).dxf);
            out += (out.empty() ? "\"" : ",\"") + name + "\":" + std::to_string((list ? list->Count() : 0) + raw[name]);
            raw.erase(name);
            if constexpr (K == Kind::Insert)
                for (const INSERT_ENT& i : list ? list->GetArray() : std::vector<INSERT_ENT>{}) attribs += i.ATTRIBS ? i.ATTRIBS->Count() : 0;
        }
    });
    for (const auto& [name, n] : raw) out += (out.empty() ? "" : ",") + Json(name) + ":" + std::to_string(n);
    return "\"entities\":{" + out + "},\"attribs\":" + std::to_string(attribs);
}

TEST(CorpusTest, RoundTripsEveryFile) {
    if (!fs::is_directory(kCorpus)) GTEST_SKIP() << "no corpus folder at " << kCorpus.string();
    const std::string manifest = ReadFile(kCorpus / "MANIFEST.tsv");
    // A feature word that marks a file as not loadable; and a file that rightly
    // fails although unmarked: its numbers use a decimal comma, never valid.
    const std::regex broken("\t.*(^|[ \t])(broken|invalid|malformed|truncated|corrupt|binary)($|[ :\\-\\r])");
    const std::string knownFailure = "deb-openscad-testing-data/testdata_dxf_nothing-decimal-comma-separated.dxf";
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(kCorpus))
        if (entry.is_regular_file() && entry.path().extension() == ".dxf") files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::string counts[2];
    int64_t totals[6][2] = {};
    int64_t compared = 0;
    std::map<std::string, int64_t> differing, entriesDiffering;
    int64_t entriesCompared = 0, handlesCompared = 0, handlesLost = 0;
    for (const fs::path& dir : kSaved) fs::remove_all(dir), fs::create_directories(dir);
    ormavec::testing::VersionModeScope mode(6);  // hatches inside blocks are read from version mode 6 on
    for (const fs::path& path : files) {
        const std::string rel = fs::relative(path, kCorpus).generic_string(), name = path.string();
        SCOPED_TRACE(rel);
        const std::size_t row = manifest.find("\n" + rel + "\t");
        ASSERT_NE(row, std::string::npos) << "not listed in MANIFEST.tsv";
        std::string flat = rel;
        std::replace(flat.begin(), flat.end(), '/', '~');
        DXFDocument first, second, source, standard, binary;
        try {
            first.Load(name);
        } catch (const Error& e) {
            EXPECT_NE(std::string(e.what()).find(name + ":"), std::string::npos) << e.what();  // the file, then the line
            EXPECT_TRUE(rel == knownFailure || std::regex_search(manifest.substr(row + 1, manifest.find('\n', row + 1) - row - 1), broken))
                << e.what();
            continue;
        }
        // Classic: save, reload. Standard: load with Auto, save, reload with Auto.
        source.SetTextConvertMode(TextConvertMode::Auto);
        standard.SetTextConvertMode(TextConvertMode::Auto);
        standard.SetPreserve(true);  // a block's HATCH is kept whole there too
        source.SetSaveMode(SaveMode::Standard);
        source.SetPreserve(true);
        const fs::path saved[2] = {kSaved[0] / flat, kSaved[1] / flat};
        first.Save(saved[0].string());
        second.Load(saved[0].string());
        source.Load(name);
        source.Save(saved[1].string());
        standard.Load(saved[1].string());
        source.SetBinary(true);
        source.Save((kSaved[2] / flat).string());
        binary.SetTextConvertMode(TextConvertMode::Auto);
        binary.SetPreserve(true);
        binary.Load((kSaved[2] / flat).string());
        // Every entity the load kept and every header variable comes back, the entities in the
        // order drawn; the rest is counted for the totals.
        Census before(ReadFile(path));
        const Census after(ReadFile(saved[1]));
        for (const auto& [kind, n] : source.NotKept().entities)
            if ((before.entities[kind] -= n) == 0) before.entities.erase(kind);
        for (const auto& [table, n] : source.NotKept().tableEntries) before.tables[table] -= n;
        EXPECT_EQ(before.entities, after.entities);
        EXPECT_TRUE(std::includes(after.header.begin(), after.header.end(), before.header.begin(), before.header.end()));
        // Objects, classes and table entries come back where the drawing had
        // them; a save adds the entries every drawing needs (layer 0, ...).
        // (Objects an entity owns follow their owner's handle.)
        EXPECT_TRUE(before.objects == 0 || before.entityOwned || before.objects == after.objects) << before.objects << " objects, saved " << after.objects;
        EXPECT_TRUE(before.classes == 0 || before.classes == after.classes) << before.classes << " classes, saved " << after.classes;
        for (const auto& [table, n] : before.tables) {
            const int64_t saved = after.tables.contains(table) ? after.tables.at(table) : 0;
            EXPECT_TRUE(saved == n || (saved > n && table != "VPORT" && table != "VIEW" && table != "UCS")) << table << ": " << n << ", saved " << saved;
        }
        const auto sum = [](const std::map<std::string, int64_t>& m) {
            return std::accumulate(m.begin(), m.end(), int64_t{0}, [](int64_t n, const auto& e) { return n + e.second; });
        };
        totals[4][0] += before.classes, totals[4][1] += after.classes, totals[5][0] += sum(before.tables), totals[5][1] += sum(after.tables);
        const int64_t parts[4][2] = {{std::accumulate(before.entities.begin(), before.entities.end(), int64_t{0}, [](int64_t n, const auto& e) { return n + e.second; }),
                                      std::accumulate(after.entities.begin(), after.entities.end(), int64_t{0}, [](int64_t n, const auto& e) { return n + e.second; })},
                                     {std::ssize(before.header), std::ssize(after.header)}, {before.objects, after.objects}, {before.xdata, after.xdata}};
        for (int i = 0; i < 4; ++i) totals[i][0] += parts[i][0], totals[i][1] += parts[i][1];
        // The pairs of every entity, the n-th of a name in a section against the n-th.
        for (const auto& [kind, list] : before.pairs) {
            const auto it = after.pairs.find(kind);
            if (it == after.pairs.end()) continue;  // not kept, counted above
            for (std::size_t i = 0; i < list.size() && i < it->second.size(); ++i) {
                const std::string why = PairsDiffer(list[i], it->second[i]);
                ++compared;
                if (!why.empty()) ++differing[kind.substr(kind.find('/') + 1) + " " + why];
            }
        }
        for (const std::string& h : before.entityHandles) handlesLost += !after.entityHandles.contains(h);
        handlesCompared += std::ssize(before.entityHandles);
        EXPECT_TRUE(std::includes(after.entityHandles.begin(), after.entityHandles.end(), before.entityHandles.begin(), before.entityHandles.end()))
            << "an entity's handle is not kept";
        for (const auto& [key, p] : before.entries)
            if (const auto it = after.entries.find(key); it != after.entries.end())
                if (++entriesCompared; !PairsDiffer(p, it->second).empty())
                    ++entriesDiffering[key.substr(0, key.find(' ')) + " " + PairsDiffer(p, it->second)];
        const int32_t declared[2] = {first.HEADER()->AcadVer(), std::max<int32_t>(source.HEADER()->AcadVer(), 1015)};
        EXPECT_EQ(standard.HEADER()->AcadVer(), declared[1]);
        for (int m = 0; m < 2; ++m) {
            const DXFDocument& model = m ? source : first;
            std::string blocks;
            for (const BLOCK_BLOCK& b : *model.BLOCKS()) blocks += (blocks.empty() ? "{\"name\":" : ",{\"name\":") + Json(b.BlockName) + "," + CountsJson(b) + "}";
            counts[m] += (counts[m].empty() ? "[" : ",\n") + std::string("{\"saved\":") + Json(flat) + ",\"source\":" + Json(rel) +
                         ",\"source_path\":" + Json(name) + ",\"acadver\":" + std::to_string(declared[m]) + ",\"model\":{" +
                         CountsJson(*model.ENTITIES()) + ",\"blocks\":[" + blocks + "]}}";
        }
        std::vector<std::string> diffs = ModelComparer().Compare(first, second);
        EXPECT_TRUE(diffs.empty()) << diffs.size() << " differences after a save and a reload, first: " << diffs[0];

        // A first save need not repeat itself: it adds the layer "0", the line
        // types ByBlock and ByLayer and the space blocks, drops unwritten fields
        // and trims the pieces of long MTEXT texts. Saving what each reload
        // gives must settle within four rounds.
        const fs::path again = kSaved[0] / "again.dxf";
        std::deque<DXFDocument> reloads;
        std::string last, next = ReadFile(saved[0]);
        for (DXFDocument* model = &second; reloads.size() < 4 && next != last; model = &reloads.back()) {
            model->Save(again.string());
            last = std::exchange(next, ReadFile(again));
            reloads.emplace_back().Load(again.string());
        }
        EXPECT_TRUE(next == last) << "the saves of what each reload gives do not settle";

        // Only the declared version and the text styles, line types and
        // layers that records name and the tables lacked may differ after the Standard save, text or binary.
        for (DXFDocument* back : {&standard, &binary}) {
            back->HEADER()->SetAcadVer(source.HEADER()->AcadVer());
            fuzz::DropAddedDefinitions(*back, source);
            diffs = ModelComparer(CompareOptions{.textKept = true, .exactNumbers = back == &binary}).Compare(source, *back);
            EXPECT_TRUE(diffs.empty()) << "the Standard save " << (back == &binary ? "(binary) " : "") << "loads other than the model saved: " << diffs[0];
        }
    }
    fs::remove(kSaved[0] / "again.dxf");
    std::printf("source/Standard save: entities %lld/%lld, header variables %lld/%lld, objects %lld/%lld, XDATA entities %lld/%lld, "
                "classes %lld/%lld, table entries %lld/%lld\n",
                (long long)totals[0][0], (long long)totals[0][1], (long long)totals[1][0], (long long)totals[1][1], (long long)totals[2][0],
                (long long)totals[2][1], (long long)totals[3][0], (long long)totals[3][1], (long long)totals[4][0], (long long)totals[4][1],
                (long long)totals[5][0], (long long)totals[5][1]);
    const int64_t differ = std::accumulate(differing.begin(), differing.end(), int64_t{0}, [](int64_t n, const auto& d) { return n + d.second; });
    std::printf("entity pairs: %lld compared, %lld equal, %lld differ\n", (long long)compared, (long long)(compared - differ), (long long)differ);
    for (const auto& [why, n] : differing) std::printf("  %lld %s\n", (long long)n, why.c_str());
    std::printf("entity handles (a sequence's parts too): %lld in the sources, %lld not in their Standard saves\n", (long long)handlesCompared,
                (long long)handlesLost);
    std::printf("layer, style and line type entry pairs: %lld compared, %lld differ\n", (long long)entriesCompared,
                (long long)std::accumulate(entriesDiffering.begin(), entriesDiffering.end(), int64_t{0}, [](int64_t n, const auto& d) { return n + d.second; }));
    for (const auto& [why, n] : entriesDiffering) std::printf("  %lld %s\n", (long long)n, why.c_str());
    for (int m = 0; m < 3; ++m) std::ofstream(kSaved[m] / "counts.json", std::ios::binary) << counts[m ? 1 : 0] << "]\n";
}

// The comparison itself sees a change in any part of the model.
TEST(ModelCompareTest, ReportsEveryChangedPart) {
    ormavec::test::TempDir dir;
    ormavec::testing::VersionModeScope mode(6);
    DXFDocument a, b;
    a.Load(std::string(ORMAVEC_SOURCE_DIR) + "/examples/site_plan.dxf");
    a.Save(dir / "saved.dxf");
    b.Load(dir / "saved.dxf");
    EXPECT_EQ(ModelComparer().Compare(a, b), std::vector<std::string>{});
    b.HEADER()->SetInsBase({0, 0, 1});
    b.TABLES()->LAYERS()->LetItem(1, LAYERS_TAB{"Telekhatár", "SZAGGATOTT", 99, 0});
    b.BLOCKS()->ItemRef(4).HATCHES->Delete(0);
    ATTRIB_ENT attrib = b.ENTITIES()->INSERTS()->Item(10).ATTRIBS->Item(1);
    attrib.DefaultValue += " ";
    b.ENTITIES()->INSERTS()->Item(10).ATTRIBS->LetItem(1, attrib);
    EXPECT_EQ(ModelComparer().Compare(a, b),
              (std::vector<std::string>{"HEADER.InsBase.Z: expected 0, got 1", "TABLES.LAYERS[1].ColorNumber: expected 1, got 99",
                                        "BLOCKS[4].HATCHES.Count: expected 1, got 0",
                                        "ENTITIES.INSERTS[10].ATTRIBS[1].DefaultValue: expected \"Kovács Ödön\", got \"Kovács Ödön \""}));
}

TEST(FuzzRegressions, EveryInputReplaysCleanly) {
    int replayed = 0;
    for (const auto& file : fs::directory_iterator(fs::path(ORMAVEC_SOURCE_DIR) / "tests" / "regressions")) {
        const std::string name = file.path().filename().string(), bytes = ReadFile(file.path());
        const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
        SCOPED_TRACE(name);
        if (name.starts_with(".")) continue;
        ++replayed;
        // The prefix names the fuzz target whose entry found it.
        if (name.starts_with("reader-"))
            fuzz::ReaderEntry(data, bytes.size());
        else if (name.starts_with("load-"))
            fuzz::LoadEntry(data, bytes.size());
        else if (name.starts_with("roundtrip-"))
            EXPECT_EQ(fuzz::RoundTripEntry(data, bytes.size()), "");  // library errors are fine, changed models are not
        else
            ADD_FAILURE() << "no fuzz entry is named by " << name;
    }
    if (replayed == 0) GTEST_SKIP() << "no regression input saved yet";
}

}  // namespace
