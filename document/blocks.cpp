#include "document/blocks.h"

#include <optional>

#include "document/document.h"

namespace ormavec {

namespace {

template <class Collection>
std::shared_ptr<Collection> newEntityCollection() {
    auto c = std::make_shared<Collection>();
    c->SetGrowLength(10);
    return c;
}

template <class Collection>
void readInto(DXFReader& reader, Collection& collection) {
    typename Collection::value_type record;
    ReadEntity(reader, record);
    collection.Add(std::move(record));
}

template <class Collection>
void writeIfPresent(DXFWriter& w, const std::shared_ptr<Collection>& collection, int32_t& handle) {
    if (collection) collection->WriteOut(w, handle);
}

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
    e.ARCS = newEntityCollection<::ormavec::ARCS>();
    e.CIRCLES = newEntityCollection<::ormavec::CIRCLES>();
    e.ELLIPSES = newEntityCollection<::ormavec::ELLIPSES>();
    e.FACE3DS = newEntityCollection<::ormavec::FACE3DS>();
    e.HATCHES = newEntityCollection<::ormavec::HATCHES>();
    e.INSERTS = newEntityCollection<::ormavec::INSERTS>();
    e.LINES = newEntityCollection<::ormavec::LINES>();
    e.LWPOLYLINES = newEntityCollection<::ormavec::LWPOLYLINES>();
    e.MTEXTS = newEntityCollection<::ormavec::MTEXTS>();
    e.POINTS = newEntityCollection<::ormavec::POINTS>();
    e.POLYLINES = newEntityCollection<::ormavec::POLYLINES>();
    e.TEXTS = newEntityCollection<::ormavec::TEXTS>();
    e.ATTDEFS = newEntityCollection<::ormavec::ATTDEFS>();
}

void BLOCKS::ReadSection(DXFReader& reader) {
    // Scratch lists shared by every block of this section.
    std::optional<XYZS> points;
    std::optional<LWVERTEXES> vertices;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "ENDSEC")) return;
        if (!EqualsNoCase(p.Value, "BLOCK")) continue;  // includes what follows each ENDBLK
        if (!points) {
            points.emplace();
            vertices.emplace();
        }
        Add(ReadBlock(reader, *points, *vertices));
    }
}

BLOCK_BLOCK BLOCKS::ReadBlock(DXFReader& reader, XYZS& points, LWVERTEXES& vertices) {
    ClearScratchLists(points, vertices);
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
            const std::string_view name = p.Value;
            skipping = false;
            if (EqualsNoCase(name, "ENDBLK")) break;
            if (EqualsNoCase(name, "ARC"))
                readInto(reader, *b.ARCS);
            else if (EqualsNoCase(name, "CIRCLE"))
                readInto(reader, *b.CIRCLES);
            else if (EqualsNoCase(name, "ELLIPSE"))
                readInto(reader, *b.ELLIPSES);
            else if (EqualsNoCase(name, "3DFACE"))
                readInto(reader, *b.FACE3DS);
            else if (EqualsNoCase(name, "INSERT"))
                readInto(reader, *b.INSERTS);
            else if (EqualsNoCase(name, "LINE"))
                readInto(reader, *b.LINES);
            else if (EqualsNoCase(name, "LWPOLYLINE")) {
                LWPOLYLINE_ENT record;
                ReadEntity(reader, vertices, record);
                b.LWPOLYLINES->Add(std::move(record));
            } else if (EqualsNoCase(name, "MTEXT"))
                readInto(reader, *b.MTEXTS);
            else if (EqualsNoCase(name, "POINT"))
                readInto(reader, *b.POINTS);
            else if (EqualsNoCase(name, "POLYLINE"))
                readInto(reader, *b.POLYLINES);
            else if (EqualsNoCase(name, "TEXT"))
                readInto(reader, *b.TEXTS);
            else if (EqualsNoCase(name, "HATCH") && CurrentVersionMode() > 5) {
                HATCH_ENT record;
                ReadEntity(reader, points, record);
                b.HATCHES->Add(std::move(record));
            } else
                skipping = true;
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
    ClearScratchLists(points, vertices);
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
    writeIfPresent(w, b.ARCS, handle);
    writeIfPresent(w, b.CIRCLES, handle);
    writeIfPresent(w, b.ELLIPSES, handle);
    writeIfPresent(w, b.FACE3DS, handle);
    writeIfPresent(w, b.INSERTS, handle);
    writeIfPresent(w, b.LINES, handle);
    writeIfPresent(w, b.LWPOLYLINES, handle);
    writeIfPresent(w, b.MTEXTS, handle);
    writeIfPresent(w, b.POLYLINES, handle);
    writeIfPresent(w, b.POINTS, handle);
    writeIfPresent(w, b.TEXTS, handle);
    writeIfPresent(w, b.HATCHES, handle);
    writeIfPresent(w, b.ATTDEFS, handle);
    w.WriteString(0, "ENDBLK");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteOwner();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, b.LayerName);
    w.WriteString(100, "AcDbBlockEnd");
}

}  // namespace ormavec
