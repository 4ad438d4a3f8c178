#include "tables/symbol_tables.h"

namespace ormavec {

namespace {
const WriteOrder<STYLES_TAB>& writeOrder() {
    using R = STYLES_TAB;
    using O = W<R>;
    static const WriteOrder<R> order = [] {
        WriteOrder<R> o{O::Of(&R::StyleName),  O::Of(&R::FontName), O::Text(4, ""),        O::Of(&R::Width),  O::Of(&R::Angle),
                        O::Of(&R::LastHeight), O::Of(&R::Height),   O::Of(&R::TextFlag),   O::Of(&R::Flag)};
        TableEntryHead(o, "STYLE", "AcDbTextStyleTableRecord");
        return o;
    }();
    return order;
}
}  // namespace

STYLES_TAB STYLES::ReadEntity(DXFReader& reader) {
    STYLES_TAB r;
    ReadRecord(reader, r);
    return r;
}

void STYLES::ReadTable(DXFReader& reader) { ReadTableEntries(reader, *this, "STYLE"); }

int64_t STYLES::EntryHandles() noexcept { return HandlesIn(writeOrder()); }

void STYLES::WriteOut(SaveContext& save, std::span<const KeptStyleEntry> shapes) const {
    OwnerScope entries(save, WriteTableHead(save, "STYLE", Count() + std::ssize(shapes)));
    for (const STYLES_TAB& r : *this) {
        save.OfferSourceHandle("STYLE", r.StyleName);
        WriteByOrder(save, writeOrder(), r);
    }
    for (const KeptStyleEntry& e : shapes) {
        save.OfferHandle(e.handle);
        save.entryExtras = &e.extras;
        WriteByOrder(save, writeOrder(), e.record);
    }
    // A standard or R12 file defines every style its texts name: those the table
    // lacks get the font txt.shx and a width factor of 1.
    if (!save.Standard() && !save.R12()) return;
    for (const std::string& name : save.extraStyles) {
        STYLES_TAB r;
        r.StyleName = name;
        r.FontName = "txt.shx";
        r.Width = 1.0;
        WriteByOrder(save, writeOrder(), r);
    }
}

}  // namespace ormavec
