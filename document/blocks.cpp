#include "document/blocks.h"

#include "document/document.h"
#include "document/entity_sets.h"

namespace ormavec {

namespace {

bool hasBlockNamedLower(const BLOCKS& blocks, std::string_view lowerName) {
    for (const BLOCK_BLOCK& b : blocks)
        if (LowerCase(b.BlockName) == lowerName) return true;
    return false;
}

// The BLOCK_RECORD written for the block at this place of the section; 0
// when the TABLES section of this save did not write one (a block written on
// its own).
int32_t recordHandle(DXFWriter& w, std::size_t index) {
    const std::vector<int32_t>& records = w.StandardLinks().blockRecords;
    return index < records.size() ? records[index] : 0;
}

void writeDefaultBlock(DXFWriter& w, int32_t& handle, std::string_view name, bool paperSpace) {
    w.WriteString(0, "BLOCK");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteOwner();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, "0");
    if (paperSpace) w.WriteInteger(67, 1);
    w.WriteString(100, "AcDbBlockBegin");
    w.WriteString(2, name);
    w.WriteInteger(70, 0);
    w.WritePoint(0.0, 0.0, 0.0, 10, 20, 30);
    w.WriteString(3, name);
    w.WriteString(1, "");
    w.WriteString(0, "ENDBLK");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteOwner();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, "0");
    if (paperSpace) w.WriteInteger(67, 1);
    w.WriteString(100, "AcDbBlockEnd");
}

}  // namespace

void BLOCKS::CreateEntityArrays(BLOCK_BLOCK& e) {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<BLOCK_BLOCK, K>) {
            auto list = std::make_shared<KindList<K>>();
            list->SetGrowLength(10);
            e.*Slot<BLOCK_BLOCK, K>::member = std::move(list);
        }
    });
}

void BLOCKS::ReadSection(DXFReader& reader) {
    ReadScratch scratch;  // shared by every block of this section
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "ENDSEC")) return;
        if (!EqualsNoCase(p.Value, "BLOCK")) continue;  // includes what follows each ENDBLK
        Add(ReadBlock(reader, scratch));
    }
}

BLOCK_BLOCK BLOCKS::ReadBlock(DXFReader& reader, ReadScratch& scratch) {
    BLOCK_BLOCK b;
    b.LayerName = "0";
    b.BlockName = "Alap";
    b.XRefPathName = "Alap";
    CreateEntityArrays(b);
    // The pairs of an entity this reader does not keep (ATTDEF, HATCH below
    // version mode 6, DIMENSION, SPLINE, ...) are skipped up to the next
    // code-0 pair, so that they never change the block's own fields.
    bool skipping = false;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            if (EqualsNoCase(p.Value, "ENDBLK")) break;
            Kind kind;
            skipping = !kinds::Find(p.Value, kind) || !entity_sets::ReadInto(kind, reader, b, scratch);
            continue;
        }
        if (skipping) continue;
        switch (p.Code) {
        case 1: b.XRefPathName.assign(p.Value); break;
        case 2:
            // The first group 2 names the block.
            if (EqualsNoCase(b.BlockName, "Alap")) b.BlockName.assign(p.Value);
            break;
        case 8: b.LayerName.assign(p.Value); break;
        case 10: b.X = reader.ToDouble(p.Value); break;
        case 20: b.Y = reader.ToDouble(p.Value); break;
        case 30: b.Z = reader.ToDouble(p.Value); break;
        case 70: b.Flag = reader.ToInt32(p.Value); break;
        default: break;
        }
    }
    return b;
}

void BLOCKS::WriteOut(DXFWriter& w, int32_t& handle) const {
    w.BeginSection();
    w.WriteString(2, "BLOCKS");
    WriteDefaultBlocks(w, handle);
    // Block i after the default ones is owned by record i of that count.
    std::size_t record = 0;
    if (!hasBlockNamedLower(*this, "*model_space")) ++record;
    if (!hasBlockNamedLower(*this, "*paper_space")) ++record;
    for (const BLOCK_BLOCK& b : *this) {
        OwnerScope owned(w, recordHandle(w, record++));
        WriteBlock(w, b, handle);
    }
    w.EndSection();
}

void BLOCKS::WriteDefaultBlocks(DXFWriter& w, int32_t& handle) const {
    std::size_t record = 0;
    if (!hasBlockNamedLower(*this, "*model_space")) {
        OwnerScope owned(w, recordHandle(w, record++));
        writeDefaultBlock(w, handle, "*MODEL_SPACE", false);
    }
    if (!hasBlockNamedLower(*this, "*paper_space")) {
        OwnerScope owned(w, recordHandle(w, record++));
        writeDefaultBlock(w, handle, "*PAPER_SPACE", true);
    }
}

void BLOCKS::WriteBlock(DXFWriter& w, const BLOCK_BLOCK& b, int32_t& handle) {
    w.WriteString(0, "BLOCK");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteOwner();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, b.LayerName);
    w.WriteString(100, "AcDbBlockBegin");
    w.WriteString(2, b.BlockName);
    w.WriteInteger(70, b.Flag);
    w.WritePoint(b.X, b.Y, b.Z, 10, 20, 30);
    w.WriteString(3, b.BlockName);
    w.WriteString(1, b.XRefPathName);
    entity_sets::WriteAll(w, b, handle);
    w.WriteString(0, "ENDBLK");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteOwner();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, b.LayerName);
    w.WriteString(100, "AcDbBlockEnd");
}

}  // namespace ormavec
