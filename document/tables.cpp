#include "document/tables.h"

#include <algorithm>
#include <string>

#include "diagnostics/call_log.h"

namespace ormavec {

namespace {

bool hasBlockNamedLower(const BLOCKS& blocks, std::string_view lowerName) {
    for (const BLOCK_BLOCK& b : blocks)
        if (LowerCase(b.BlockName) == lowerName) return true;
    return false;
}

// Returns the entry's handle. In a Standard save a model or paper space
// record also takes the handle of its layout object and links to it.
int32_t writeBlockRecordEntry(SaveContext& save, std::string_view name, bool modelSpace) {
    DXFWriter& w = save.Writer();
    w.WriteString(0, "BLOCK_RECORD");
    const int32_t entry = save.WriteHandle();
    w.WriteString(100, "AcDbSymbolTableRecord");
    w.WriteString(100, "AcDbBlockTableRecord");
    w.WriteString(2, name);
    if (save.Standard() && (modelSpace || LowerCase(name).starts_with("*paper_space"))) {
        const int32_t layout = save.TakeHandle();
        w.WriteHandle(340, layout);
        save.layouts.push_back({entry, layout});
    }
    return entry;
}

}  // namespace

TABLES::TABLES()
    : layers_(std::make_shared<::ormavec::LAYERS>()),
      ltypes_(std::make_shared<::ormavec::LTYPES>()),
      styles_(std::make_shared<::ormavec::STYLES>()) {
    layers_->SetGrowLength(10);
    ltypes_->SetGrowLength(10);
    styles_->SetGrowLength(10);
}

namespace {
std::string_view entryName(const RawEntity& e) {
    for (const DxfEntry& p : e.Pairs)
        if (p.Code == 2) return p.Value;
    return {};
}

// The subclass of a kept table's entries, for entries read without one.
std::string_view entrySubclass(std::string_view table) {
    static constexpr std::pair<std::string_view, std::string_view> kSubclasses[] = {
        {"VPORT", "AcDbViewportTableRecord"}, {"VIEW", "AcDbViewTableRecord"}, {"UCS", "AcDbUCSTableRecord"},
        {"APPID", "AcDbRegAppTableRecord"},   {"DIMSTYLE", "AcDbDimStyleTableRecord"}, {"BLOCK_RECORD", "AcDbBlockTableRecord"}};
    for (const auto& [name, subclass] : kSubclasses)
        if (name == table) return subclass;
    return {};
}

// The head of a kept table with its handle and its other pairs in their
// order; the count is the entries written. A head read without subclass
// markers gets the owner and marker first.
int32_t writeKeptHead(SaveContext& save, const RawEntity& head, int64_t count) {
    DXFWriter& w = save.Writer();
    w.WriteString(2, head.Name);
    const int32_t h = save.KeepHandle(head.Handle());
    const bool marked = std::any_of(head.Pairs.begin(), head.Pairs.end(), [](const DxfEntry& p) { return p.Code == 100; });
    if (!marked) {
        w.WriteHandle(5, h);
        w.WriteInteger(330, 0);
        w.WriteString(100, "AcDbSymbolTable");
    }
    bool handleSeen = false, countSeen = false;
    for (const DxfEntry& p : head.Pairs) {
        if (p.Code == 5 && !handleSeen) {
            handleSeen = true;
            if (marked) w.WriteHandle(5, h);
        } else if (p.Code == 70 && !countSeen) {
            countSeen = true;
            w.WriteInteger(70, static_cast<int32_t>(count));
        } else if (marked || (p.Code != 5 && p.Code != 330)) {
            w.WriteString(p.Code, p.Value);
        }
    }
    if (!countSeen) w.WriteInteger(70, static_cast<int32_t>(count));
    return h;
}

// The kept entries, after the fixed one when none of them has its name.
void writeKeptTable(SaveContext& save, const KeptTable& table, void (*writeFixed)(SaveContext&), std::string_view fixedName,
                    int32_t handleCode) {
    const KeptEntities& kept = table.entries;
    bool fixedKept = writeFixed == nullptr;
    for (const RawEntity& e : kept.Items()) fixedKept = fixedKept || EqualsNoCase(entryName(e), fixedName);
    OwnerScope heads(save, save.Owner());  // the entries' owner is their table's head
    if (!fixedKept) {
        writeFixed(save);  // its head, then the fixed entry
        save.SetOwner(save.LastHandle() - 1);
    } else {
        save.SetOwner(writeKeptHead(save, table.head, kept.Count()));
    }
    save.entrySubclass = entrySubclass(table.head.Name);
    for (const RawEntity& e : kept.Items()) KeptEntities::Write(save, e, handleCode);
    save.entrySubclass = {};
}

// The pairs of a table's head, up to its first entry or its end.
void readHead(DXFReader& reader, RawEntity& head) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            reader.UnRead();
            return;
        }
        head.Pairs.push_back({p.Code, std::string(reader.WithText().Value)});
    }
}

// A typed table's entries into its collection, with the handle of each and,
// given extras, the pairs no field took; an entry the collection refuses (its
// name is taken) is counted in lost.
template <class Table>
void readTypedTable(DXFReader& reader, Table& table, std::string_view entry, std::unordered_map<std::string, uint32_t>& handles,
                    NotKept* lost, std::unordered_map<std::string, std::vector<DxfEntry>>* extras,
                    std::vector<KeptStyleEntry>* shapes = nullptr) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, entry)) {
            tHandleSeen = {true, {}};
            if (extras) tKeptRead.Arm();
            auto r = Table::ReadEntity(reader);
            tKeptRead.armed = false;
            std::vector<DxfEntry> x;
            if (extras) {  // that it was read and its absent fields first, then its pairs
                using R = decltype(r);
                const uint64_t absent = kCodedFields<R> & ~tKeptRead.seen & ((uint64_t{1} << kKeptAbsentBits) - 1);
                x = {{fields_detail::kEntryReadCode, std::to_string(absent << kKeptAbsentShift)}};
                x.insert(x.end(), std::make_move_iterator(tKeptRead.extras.begin()), std::make_move_iterator(tKeptRead.extras.end()));
            }
            if (table.IndexOfName(Table::NameOf(r)) >= 0) {
                // A repeated name: a shape file's nameless entry is kept beside
                // the table; any other is counted.
                if constexpr (std::is_same_v<Table, STYLES>)
                    if (shapes && r.StyleName.empty()) {
                        shapes->push_back({std::move(r), ParseHandle(tHandleSeen.text), std::move(x)});
                        continue;
                    }
                if (lost) ++lost->tableEntries[std::string(entry)];
                continue;
            }
            handles.emplace(SaveContext::SourceKey(entry, Table::NameOf(r)), ParseHandle(tHandleSeen.text));
            if (extras) extras->emplace(SaveContext::SourceKey(entry, Table::NameOf(r)), std::move(x));
            table.Add(std::move(r));
        } else if (EqualsNoCase(p.Value, "ENDTAB")) {
            return;
        }
    }
}
}  // namespace

const KeptTable* TABLES::Kept(std::string_view name) const noexcept {
    for (const KeptTable& t : keptTables_)
        if (t.head.Name == name) return &t;
    return nullptr;
}

int64_t TABLES::KeptCount() const noexcept {
    int64_t n = 0;
    for (const KeptTable& t : keptTables_) n += 1 + t.entries.Count();
    return n + std::ssize(keptShapes_) * STYLES::EntryHandles();
}

uint32_t TABLES::KeptMaxHandle() const noexcept {
    uint32_t m = 0;
    for (const KeptTable& t : keptTables_) {
        m = std::max({m, t.head.Handle(), t.entries.MaxHandle(t.head.Name == "DIMSTYLE" ? 105 : 5)});
    }
    for (const auto& [key, h] : sourceHandles_) m = std::max(m, h);
    for (const KeptStyleEntry& e : keptShapes_) m = std::max(m, e.handle);
    return m;
}

void TABLES::ReadSection(DXFReader& reader, bool preserve, NotKept* lost) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Value == "ENDSEC") return;
        if (p.Value != "TABLE") continue;
        if (reader.AtEnd()) return;
        const DXFReader::Pair& nameRead = reader.Read();
        if (nameRead.Code != 2) continue;
        const std::string name = UpperCase(nameRead.Value);
        KeptTable* kept = nullptr;
        if (preserve) {
            kept = &keptTables_.emplace_back();
            kept->head.Name = name;
            readHead(reader, kept->head);
        }
        if (name == "LAYER")
            kept ? readTypedTable(reader, *layers_, "LAYER", sourceHandles_, lost, &sourceExtras_) : layers_->ReadTable(reader);
        else if (name == "LTYPE")
            kept ? readTypedTable(reader, *ltypes_, "LTYPE", sourceHandles_, lost, &sourceExtras_) : ltypes_->ReadTable(reader);
        else if (name == "STYLE")
            kept ? readTypedTable(reader, *styles_, "STYLE", sourceHandles_, lost, &sourceExtras_, &keptShapes_) : styles_->ReadTable(reader);
        else if (kept)
            kept->entries.ReadUpTo(reader, "ENDTAB");
        else if (lost) {
            // Counted, not kept: a save writes fixed entries.
            KeptEntities passed;
            passed.ReadUpTo(reader, "ENDTAB");
            if (passed.Count() > 0) lost->tableEntries[name] += passed.Count();
        }
    }
}

void TABLES::BeginTables(DXFWriter& w) { w.WriteString(2, "TABLES"); }
void TABLES::BeginTable(DXFWriter& w) { w.WriteString(0, "TABLE"); }
void TABLES::EndTable(DXFWriter& w) { w.WriteString(0, "ENDTAB"); }

void TABLES::WriteOut(SaveContext& save, const BLOCKS& blocks, double viewCenterX, double viewCenterY, double viewHeight) const {
    Trace("Tables.WriteOut >>>");
    OwnerScope tableHeads(save, 0);  // tables belong to no object
    DXFWriter& w = save.Writer();
    w.BeginSection();
    Trace("Tables.WriteOut 1");
    BeginTables(w);
    Trace("Tables.WriteOut 2");
    if (save.Standard()) save.sourceHandles = sourceHandles_;
    if (save.Standard()) save.sourceExtras = &sourceExtras_;
    const auto kept = [&](std::string_view name) { return save.Standard() ? Kept(name) : nullptr; };
    // A typed table keeps the handle of its head.
    const auto offerHead = [&](std::string_view name) {
        if (const KeptTable* t = kept(name)) save.OfferHandle(t->head.Handle());
    };
    BeginTable(w);
    if (const KeptTable* t = kept("VPORT"))
        writeKeptTable(save, *t, nullptr, {}, 5);
    else
        WriteVport(save, viewCenterX, viewCenterY, viewHeight);
    EndTable(w);
    Trace("Tables.WriteOut 3");
    BeginTable(w);
    offerHead("LTYPE");
    ltypes_->WriteOut(save);
    EndTable(w);
    Trace("Tables.WriteOut 4");
    BeginTable(w);
    offerHead("LAYER");
    layers_->WriteOut(save);
    EndTable(w);
    Trace("Tables.WriteOut 5");
    BeginTable(w);
    offerHead("STYLE");
    styles_->WriteOut(save, save.Standard() ? std::span<const KeptStyleEntry>(keptShapes_) : std::span<const KeptStyleEntry>());
    EndTable(w);
    Trace("Tables.WriteOut 6");
    BeginTable(w);
    if (const KeptTable* t = kept("VIEW"))
        writeKeptTable(save, *t, nullptr, {}, 5);
    else
        WriteView(save);
    EndTable(w);
    Trace("Tables.WriteOut 7");
    BeginTable(w);
    if (const KeptTable* t = kept("UCS"))
        writeKeptTable(save, *t, nullptr, {}, 5);
    else
        WriteUcs(save);
    EndTable(w);
    Trace("Tables.WriteOut 8");
    BeginTable(w);
    if (const KeptTable* t = kept("APPID"))
        writeKeptTable(save, *t, &WriteAppid, "ACAD", 5);
    else
        WriteAppid(save);
    EndTable(w);
    Trace("Tables.WriteOut 9");
    BeginTable(w);
    if (const KeptTable* t = kept("DIMSTYLE"))
        writeKeptTable(save, *t, &WriteDimstyle, "STANDARD", 105);
    else
        WriteDimstyle(save);
    EndTable(w);
    Trace("Tables.WriteOut 10");
    if (!save.R12()) {  // R12 has no block records
        BeginTable(w);
        WriteBlockRecord(save, blocks, kept("BLOCK_RECORD"));
        EndTable(w);
    }
    Trace("Tables.WriteOut 11");
    w.EndSection();
}

void TABLES::WriteVport(SaveContext& save, double viewCenterX, double viewCenterY, double viewHeight) {
    DXFWriter& w = save.Writer();
    Trace("Tables.WriteVport >>>");
    w.WriteString(2, "VPORT");
    Trace("Tables.WriteVport 1");
    int32_t h = save.TakeHandle();
    Trace("Tables.WriteVport 2");
    w.WriteHandle(5, h);
    save.WriteOwner();
    OwnerScope entries(save, h);
    Trace("Tables.WriteVport 3");
    w.WriteString(100, "AcDbSymbolTable");
    Trace("Tables.WriteVport 4");
    w.WriteInteger(70, 0);
    Trace("Tables.WriteVport 5");
    w.WriteString(0, "VPORT");
    Trace("Tables.WriteVport 6");
    h = save.TakeHandle();
    Trace("Tables.WriteVport 7");
    w.WriteHandle(5, h);
    save.WriteOwner();
    Trace("Tables.WriteVport 8");
    w.WriteString(100, "AcDbSymbolTableRecord");
    Trace("Tables.WriteVport 9");
    w.WriteString(100, "AcDbViewportTableRecord");
    Trace("Tables.WriteVport 10");
    w.WriteInteger(70, 0);
    Trace("Tables.WriteVport 11");
    w.WriteString(2, "*ACTIVE");
    Trace("Tables.WriteVport 12");
    w.WriteDouble(10, 0.0);
    Trace("Tables.WriteVport 13");
    w.WriteDouble(20, 0.0);
    w.WriteDouble(11, 1.0);
    w.WriteDouble(21, 1.0);
    w.WriteDouble(12, viewCenterX);
    w.WriteDouble(22, viewCenterY);
    w.WriteDouble(13, 0.0);
    w.WriteDouble(23, 0.0);
    w.WriteDouble(14, 0.5);
    w.WriteDouble(24, 0.5);
    w.WriteDouble(15, 0.5);
    w.WriteDouble(25, 0.5);
    Trace("Tables.WriteVport 14");
    w.WriteDouble(16, 0.0);
    w.WriteDouble(26, 0.0);
    w.WriteDouble(36, 1.0);
    w.WriteDouble(17, 0.0);
    w.WriteDouble(27, 0.0);
    w.WriteDouble(37, 0.0);
    w.WriteDouble(40, viewHeight);
    w.WriteDouble(41, 1.826004);
    w.WriteDouble(42, 50.0);
    w.WriteDouble(43, 0.0);
    w.WriteDouble(44, 0.0);
    w.WriteDouble(50, 0.0);
    w.WriteDouble(51, 0.0);
    w.WriteInteger(71, 0);
    w.WriteInteger(72, 100);
    w.WriteInteger(73, 1);
    Trace("Tables.WriteVport 15");
    w.WriteInteger(74, 1);
    w.WriteInteger(75, 0);
    w.WriteInteger(76, 0);
    w.WriteInteger(77, 0);
    w.WriteInteger(78, 0);
    Trace("Tables.WriteVport 16");
    Trace("Tables.WriteVport <<<");
}

void TABLES::WriteView(SaveContext& save) { WriteTableHead(save, "VIEW", 0); }
void TABLES::WriteUcs(SaveContext& save) { WriteTableHead(save, "UCS", 0); }

void TABLES::WriteAppid(SaveContext& save) {
    OwnerScope entries(save, WriteTableHead(save, "APPID", 1));
    DXFWriter& w = save.Writer();
    w.WriteString(0, "APPID");
    save.WriteHandle();
    w.WriteString(100, "AcDbSymbolTableRecord");
    w.WriteString(100, "AcDbRegAppTableRecord");
    w.WriteString(2, "ACAD");
    w.WriteInteger(70, 0);
}

void TABLES::WriteDimstyle(SaveContext& save) {
    DXFWriter& w = save.Writer();
    w.WriteString(2, "DIMSTYLE");
    const int32_t table = save.TakeHandle();
    w.WriteHandle(5, table);
    w.WriteInteger(330, 0);
    w.WriteString(100, "AcDbSymbolTable");
    w.WriteInteger(70, 1);
    w.WriteString(100, "AcDbDimStyleTable");
    w.WriteInteger(71, 0);
    w.WriteString(0, "DIMSTYLE");
    // A DIMSTYLE entry carries its handle under 105, not 5.
    w.WriteHandle(105, save.TakeHandle());
    if (save.Standard()) w.WriteHandle(330, table);
    w.WriteString(100, "AcDbSymbolTableRecord");
    w.WriteString(100, "AcDbDimStyleTableRecord");
    w.WriteString(2, "STANDARD");
    w.WriteInteger(70, 0);
    w.WriteHandle(340, table);
}

void TABLES::WriteBlockRecordHead(SaveContext& save, const BLOCKS& blocks) {
    // Counts the blocks only: the two space entries below may come on top.
    WriteTableHead(save, "BLOCK_RECORD", blocks.Count() + (save.Standard() ? static_cast<int32_t>(save.extraBlocks.size()) : 0));
}

void TABLES::WriteBlockRecord(SaveContext& save, const BLOCKS& blocks, const KeptTable* kept) {
    if (kept)
        save.SetOwner(writeKeptHead(save, kept->head, blocks.Count() + static_cast<int32_t>(save.extraBlocks.size())));
    else
        WriteBlockRecordHead(save, blocks);
    OwnerScope entries(save, kept ? save.Owner() : save.LastHandle());
    // Kept in the order the BLOCKS section writes the blocks, which take
    // these records as their owners.
    save.blockRecords.clear();
    save.layouts.clear();
    std::vector<bool> used(kept ? kept->entries.Items().size() : 0);
    const auto record = [&](std::string_view name, bool modelSpace) {
        for (std::size_t i = 0; i < used.size(); ++i) {
            const RawEntity& e = kept->entries.Items()[i];
            if (used[i] || !EqualsNoCase(entryName(e), name)) continue;
            used[i] = true;
            save.entrySubclass = "AcDbBlockTableRecord";
            const int32_t h = KeptEntities::Write(save, e);
            save.entrySubclass = {};
            // Without the drawing's objects, the fixed ones carry the layout
            // the record points to.
            if (!save.objectsKept && (modelSpace || LowerCase(name).starts_with("*paper_space"))) {
                const uint32_t layout = e.Handle(340);
                save.layouts.push_back({h, layout != 0 ? static_cast<int32_t>(layout) : save.TakeHandle()});
            }
            return h;
        }
        // A record for a block the drawing had none for (or added by the host).
        return writeBlockRecordEntry(save, name, modelSpace);
    };
    int32_t modelSpace = 0;
    if (!hasBlockNamedLower(blocks, "*model_space")) save.blockRecords.push_back(modelSpace = record("*MODEL_SPACE", true));
    save.paperSpaceRecord = 0;
    if (!hasBlockNamedLower(blocks, "*paper_space")) save.blockRecords.push_back(save.paperSpaceRecord = record("*PAPER_SPACE", false));
    for (const BLOCK_BLOCK& b : blocks) {
        // Only the first model space block is the model space.
        const bool isModel = save.Standard() && modelSpace == 0 && EqualsNoCase(b.BlockName, "*MODEL_SPACE");
        save.blockRecords.push_back(record(b.BlockName, isModel));
        if (isModel) modelSpace = save.blockRecords.back();
        if (!save.paperSpaceRecord && EqualsNoCase(b.BlockName, "*PAPER_SPACE")) save.paperSpaceRecord = save.blockRecords.back();
    }
    // The blocks the host removed while records still draw them: the record
    // the drawing had for the name, if any, so that pointers to it hold.
    if (save.Standard())
        for (const std::string& name : save.extraBlocks) save.blockRecords.push_back(record(name, false));
    save.modelSpaceRecord = modelSpace;
}

}  // namespace ormavec
