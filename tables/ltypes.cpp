#include "tables/symbol_tables.h"

#include <string>

namespace ormavec {

namespace {

bool sameLower(std::string_view name, std::string_view lower) { return LowerCase(name) == lower; }

// The stored count decides how many elements are written; a read entry's
// elements take back the pairs that followed their 49 (74 and those of a
// shape or text element), none where the file had none.
void writePattern(DXFWriter& w, const LTYPES_TAB& r, const KeptCursor& kept) {
    for (int32_t k = 0; k < r.LineElementCount; ++k) {
        if (static_cast<std::size_t>(k) >= r.Pattern.size())
            RaiseError(err::SubscriptOutOfRange, LTYPES::kClassName,
                       "Subscript out of range: line type " + r.LineTypeName + " has " + std::to_string(r.Pattern.size()) +
                           " pattern elements, LineElementCount is " + std::to_string(r.LineElementCount));
        w.WriteDouble(49, r.Pattern[static_cast<std::size_t>(k)].Value);
        if (!kept.After(49) && !kept.read) w.WriteInteger(74, 0);
    }
}

const WriteOrder<LTYPES_TAB>& writeOrder() {
    using R = LTYPES_TAB;
    using O = W<R>;
    static const WriteOrder<R> order = [] {
        WriteOrder<R> o{O::Of(&R::LineTypeName),     O::Text(70, "0"),     O::Of(&R::Description),
                        O::Text(72, "65"),           O::Of(&R::LineElementCount), O::Of(&R::TotalPatternLength),
                        O::Custom(writePattern)};
        TableEntryHead(o, "LTYPE", "AcDbLinetypeTableRecord");
        return o;
    }();
    return order;
}

}  // namespace

LTYPES_TAB LTYPES::ReadEntity(DXFReader& reader) {
    LTYPES_TAB r;
    ReadRecord(reader, r, [&reader](const DXFReader::Pair& p, LTYPES_TAB& t) {
        if (p.Code == 0) return PairIs::End;
        if (p.Code != 49) return PairIs::Field;
        t.Pattern.push_back(LINEPATTERN{reader.ToDouble(p.Value)});
        return PairIs::Taken;
    });
    return r;
}

void LTYPES::ReadTable(DXFReader& reader) { ReadTableEntries(reader, *this, "LTYPE"); }

int64_t LTYPES::EntryHandles() noexcept { return HandlesIn(writeOrder()); }

void LTYPES::WriteOut(SaveContext& save) const {
    OwnerScope entries(save, WriteTableHead(save, "LTYPE", Count()));
    bool hasByBlock = false, hasByLayer = false;
    for (const LTYPES_TAB& r : *this) {
        hasByBlock = hasByBlock || sameLower(r.LineTypeName, "byblock");
        hasByLayer = hasByLayer || sameLower(r.LineTypeName, "bylayer");
    }
    // The two fixed line types, when the table lacks them.
    if (!hasByBlock) WriteByOrder(save, writeOrder(), LTYPES_TAB{"ByBlock", "", 0.0, 0, {}});
    if (!hasByLayer) WriteByOrder(save, writeOrder(), LTYPES_TAB{"ByLayer", "", 0.0, 0, {}});
    for (const LTYPES_TAB& r : *this) {
        save.OfferSourceHandle("LTYPE", r.LineTypeName);
        WriteByOrder(save, writeOrder(), r);
    }
    // A Standard file defines every line type it names: those the table
    // lacks as continuous ones.
    if (save.Standard())
        for (const std::string& name : save.extraLineTypes) WriteByOrder(save, writeOrder(), LTYPES_TAB{name, "", 0.0, 0, {}});
}

}  // namespace ormavec
