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
// The entries of a table up to its ENDTAB, as pairs.
void readKeptTable(DXFReader& reader, std::shared_ptr<KeptEntities>& kept) {
    if (!kept) kept = std::make_shared<KeptEntities>();
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code != 0) continue;  // the table's own pairs: a save writes its head
        if (EqualsNoCase(p.Value, "ENDTAB") || EqualsNoCase(p.Value, "ENDSEC")) {
            reader.UnRead();
            return;
        }
        kept->Read(reader, p.Value, 0);
    }
}

// The kept entries, after the fixed one when none of them has its name.
void writeKeptTable(SaveContext& save, std::string_view table, const KeptEntities& kept, void (*writeFixed)(SaveContext&), std::string_view fixedName,
                    int32_t handleCode) {
    bool fixedKept = false;
    for (const RawEntity& e : kept.Items())
        for (const DxfEntry& p : e.Pairs)
            if (p.Code == 2) fixedKept = fixedKept || EqualsNoCase(p.Value, fixedName);
    OwnerScope heads(save, save.Owner());  // the entries' owner is their table's head
    if (!fixedKept) {
        writeFixed(save);  // its head, then the fixed entry
        save.SetOwner(save.LastHandle() - 1);
    } else {
        DXFWriter& w = save.Writer();
        w.WriteString(2, table);
        const int32_t head = save.TakeHandle();
        w.WriteHandle(5, head);
        w.WriteInteger(330, 0);
        w.WriteString(100, "AcDbSymbolTable");
        w.WriteInteger(70, static_cast<int32_t>(kept.Count()));
        if (table == "DIMSTYLE") w.WriteString(100, "AcDbDimStyleTable");
        save.SetOwner(head);
    }
    for (const RawEntity& e : kept.Items()) KeptEntities::Write(save, e, handleCode);
}
}  // namespace

uint32_t TABLES::KeptMaxHandle() const noexcept {
    return std::max(keptAppids_ ? keptAppids_->MaxHandle() : 0u, keptDimstyles_ ? keptDimstyles_->MaxHandle(105) : 0u);
}

void TABLES::ReadSection(DXFReader& reader, bool preserve) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Value == "ENDSEC") return;
        if (p.Value != "TABLE") continue;
        if (reader.AtEnd()) return;
        const DXFReader::Pair& name = reader.Read();
        if (name.Code != 2) continue;
        if (EqualsNoCase(name.Value, "LAYER"))
            layers_->ReadTable(reader);
        else if (EqualsNoCase(name.Value, "LTYPE"))
            ltypes_->ReadTable(reader);
        else if (EqualsNoCase(name.Value, "STYLE"))
            styles_->ReadTable(reader);
        else if (preserve && EqualsNoCase(name.Value, "APPID"))
            readKeptTable(reader, keptAppids_);
        else if (preserve && EqualsNoCase(name.Value, "DIMSTYLE"))
            readKeptTable(reader, keptDimstyles_);
        // Other tables are read past pair by pair by this loop.
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
    BeginTable(w);
    WriteVport(save, viewCenterX, viewCenterY, viewHeight);
    EndTable(w);
    Trace("Tables.WriteOut 3");
    BeginTable(w);
    ltypes_->WriteOut(save);
    EndTable(w);
    Trace("Tables.WriteOut 4");
    BeginTable(w);
    layers_->WriteOut(save);
    EndTable(w);
    Trace("Tables.WriteOut 5");
    BeginTable(w);
    styles_->WriteOut(save);
    EndTable(w);
    Trace("Tables.WriteOut 6");
    BeginTable(w);
    WriteView(save);
    EndTable(w);
    Trace("Tables.WriteOut 7");
    BeginTable(w);
    WriteUcs(save);
    EndTable(w);
    Trace("Tables.WriteOut 8");
    BeginTable(w);
    if (save.Standard() && keptAppids_)
        writeKeptTable(save, "APPID", *keptAppids_, &WriteAppid, "ACAD", 5);
    else
        WriteAppid(save);
    EndTable(w);
    Trace("Tables.WriteOut 9");
    BeginTable(w);
    if (save.Standard() && keptDimstyles_)
        writeKeptTable(save, "DIMSTYLE", *keptDimstyles_, &WriteDimstyle, "STANDARD", 105);
    else
        WriteDimstyle(save);
    EndTable(w);
    Trace("Tables.WriteOut 10");
    if (!save.R12()) {  // R12 has no block records
        BeginTable(w);
        WriteBlockRecord(save, blocks);
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
    WriteTableHead(save, "BLOCK_RECORD", blocks.Count());
}

void TABLES::WriteBlockRecord(SaveContext& save, const BLOCKS& blocks) {
    WriteBlockRecordHead(save, blocks);
    OwnerScope entries(save, save.LastHandle());
    // Kept in the order the BLOCKS section writes the blocks, which take
    // these records as their owners.
    save.blockRecords.clear();
    save.layouts.clear();
    int32_t modelSpace = 0;
    if (!hasBlockNamedLower(blocks, "*model_space"))
        save.blockRecords.push_back(modelSpace = writeBlockRecordEntry(save, "*MODEL_SPACE", true));
    save.paperSpaceRecord = 0;
    if (!hasBlockNamedLower(blocks, "*paper_space"))
        save.blockRecords.push_back(save.paperSpaceRecord = writeBlockRecordEntry(save, "*PAPER_SPACE", false));
    for (const BLOCK_BLOCK& b : blocks) {
        // Only the first model space block is the model space.
        const bool isModel = save.Standard() && modelSpace == 0 && EqualsNoCase(b.BlockName, "*MODEL_SPACE");
        save.blockRecords.push_back(writeBlockRecordEntry(save, b.BlockName, isModel));
        if (isModel) modelSpace = save.blockRecords.back();
        if (!save.paperSpaceRecord && EqualsNoCase(b.BlockName, "*PAPER_SPACE")) save.paperSpaceRecord = save.blockRecords.back();
    }
    save.modelSpaceRecord = modelSpace;
}

}  // namespace ormavec
