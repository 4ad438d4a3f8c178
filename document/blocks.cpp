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
int32_t recordHandle(const SaveContext& save, std::size_t index) {
    return index < save.blockRecords.size() ? save.blockRecords[index] : 0;
}

// The block's own pairs before its entities, and its ENDBLK.
const WriteOrder<BLOCK_BLOCK>& headOrder() {
    using R = BLOCK_BLOCK;
    using O = W<R>;
    static const WriteOrder<R> order{O::Text(0, "BLOCK"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::LayerName),
                                     O::Text(100, "AcDbBlockBegin"), O::Of(&R::BlockName), O::Of(&R::Flag), O::Of(&R::X),
                                     O::Of(&R::Y), O::Of(&R::Z), O::String(3, &R::BlockName), O::Of(&R::XRefPathName)};
    return order;
}
const WriteOrder<BLOCK_BLOCK>& endOrder() {
    using R = BLOCK_BLOCK;
    using O = W<R>;
    static const WriteOrder<R> order{O::Text(0, "ENDBLK"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::LayerName),
                                     O::Text(100, "AcDbBlockEnd")};
    return order;
}

void writeDefaultBlock(SaveContext& save, std::string_view name, bool paperSpace) {
    DXFWriter& w = save.Writer();
    const bool anonymous = name.starts_with('*') && !paperSpace && !EqualsNoCase(name, "*MODEL_SPACE");
    w.WriteString(0, "BLOCK");
    save.WriteHandle();
    w.WriteString(100, "AcDbEntity");
    w.WriteString(8, "0");
    if (paperSpace) w.WriteInteger(67, 1);
    w.WriteString(100, "AcDbBlockBegin");
    w.WriteString(2, name);
    w.WriteInteger(70, anonymous ? 1 : 0);
    w.WritePoint(0.0, 0.0, 0.0, 10, 20, 30);
    w.WriteString(3, name);
    w.WriteString(1, "");
    w.WriteString(0, "ENDBLK");
    save.WriteHandle();
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

void BLOCKS::ReadSection(DXFReader& reader, bool preserve, NotKept* lost, bool keepSplines) {
    ReadScratch scratch;  // shared by every block of this section
    scratch.preserve = preserve;
    scratch.lost = lost;
    scratch.keepSplines = keepSplines;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "ENDSEC")) return;
        if (!EqualsNoCase(p.Value, "BLOCK")) continue;  // includes what follows each ENDBLK
        BLOCK_BLOCK b = ReadBlock(reader, scratch);
        // The pairs of its ENDBLK, for the handle.
        while (preserve && !reader.AtEnd()) {
            const DXFReader::Pair& end = reader.Read();
            if (end.Code == 0) {
                reader.UnRead();
                break;
            }
            if (end.Code == 5) b.EndHandle = ParseHandle(end.Value);
        }
        if (lost && FindByName(b.BlockName) >= 0) ++lost->duplicateBlocks;
        Add(std::move(b));
    }
}

BLOCK_BLOCK BLOCKS::ReadBlock(DXFReader& reader, ReadScratch& scratch) {
    BLOCK_BLOCK b;
    ResetToDefaults(b);
    CreateEntityArrays(b);
    scratch.kept = &b.Kept;
    // The pairs of an entity this reader does not type (ATTDEF, HATCH below
    // version mode 6, DIMENSION, SPLINE, ...) are kept by a preserving read,
    // or else skipped up to the next code-0 pair, so that they never change
    // the block's own fields.
    bool skipping = false, head = true;
    ReadPairs(reader, b, [&](const DXFReader::Pair& p, BLOCK_BLOCK& block) {
        if (p.Code == 0) {
            head = false;
            if (EqualsNoCase(p.Value, "ENDBLK")) return PairIs::EndTaken;
            Kind kind;
            skipping = (!kinds::Find(p.Value, kind) || !entity_sets::ReadInto(kind, reader, block, scratch)) &&
                       !entity_sets::PassOver(reader, p.Value, block.Kept, scratch);
            return PairIs::Taken;
        }
        if (skipping) return PairIs::Taken;
        if (head && p.Code == 5 && scratch.preserve) {
            block.BlockHandle = ParseHandle(p.Value);
            return PairIs::Taken;
        }
        if (p.Code != 2) return PairIs::Field;
        // The first group 2 names the block.
        if (EqualsNoCase(block.BlockName, "Alap")) block.BlockName.assign(p.Value);
        return PairIs::Taken;
    });
    return b;
}

void BLOCKS::WriteOut(SaveContext& save) const {
    DXFWriter& w = save.Writer();
    w.BeginSection();
    w.WriteString(2, "BLOCKS");
    WriteDefaultBlocks(save);
    // Block i after the default ones is owned by record i of that count.
    std::size_t record = 0;
    if (!hasBlockNamedLower(*this, "*model_space")) ++record;
    if (!hasBlockNamedLower(*this, "*paper_space")) ++record;
    for (const BLOCK_BLOCK& b : *this) {
        OwnerScope owned(save, recordHandle(save, record++));
        WriteBlock(save, b);
    }
    if (save.Standard())
        for (const std::string& name : save.extraBlocks) {
            OwnerScope owned(save, recordHandle(save, record++));
            writeDefaultBlock(save, name, LowerCase(name).starts_with("*paper_space"));
        }
    w.EndSection();
}

void BLOCKS::WriteDefaultBlocks(SaveContext& save) const {
    if (save.R12()) return;  // R12 keeps its spaces in ENTITIES only
    std::size_t record = 0;
    if (!hasBlockNamedLower(*this, "*model_space")) {
        OwnerScope owned(save, recordHandle(save, record++));
        writeDefaultBlock(save, "*MODEL_SPACE", false);
    }
    if (!hasBlockNamedLower(*this, "*paper_space")) {
        OwnerScope owned(save, recordHandle(save, record++));
        writeDefaultBlock(save, "*PAPER_SPACE", true);
    }
}

void BLOCKS::WriteBlock(SaveContext& save, const BLOCK_BLOCK& b) {
    save.OfferHandle(b.BlockHandle);
    WriteByOrder(save, headOrder(), b);
    entity_sets::WriteAll(save, b);
    save.OfferHandle(b.EndHandle);
    WriteByOrder(save, endOrder(), b);
}

int64_t BLOCKS::HeadHandles() noexcept { return HandlesIn(headOrder()) + HandlesIn(endOrder()); }

}  // namespace ormavec
