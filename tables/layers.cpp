#include "tables/symbol_tables.h"

namespace ormavec {

namespace {
const WriteOrder<LAYERS_TAB>& writeOrder() {
    using R = LAYERS_TAB;
    using O = W<R>;
    static const WriteOrder<R> order = [] {
        WriteOrder<R> o{O::Of(&R::LayerName), O::Of(&R::LineTypeName), O::Of(&R::ColorNumber), O::Of(&R::Flag), O::Text(390, "F")};
        TableEntryHead(o, "LAYER", "AcDbLayerTableRecord");
        return o;
    }();
    return order;
}
}  // namespace

LAYERS_TAB LAYERS::ReadEntity(DXFReader& reader) {
    LAYERS_TAB r;
    ReadRecord(reader, r);
    return r;
}

void LAYERS::ReadTable(DXFReader& reader) { ReadTableEntries(reader, *this, "LAYER"); }

int64_t LAYERS::EntryHandles() noexcept { return HandlesIn(writeOrder()); }

void LAYERS::WriteOut(SaveContext& save) const {
    OwnerScope entries(save, WriteTableHead(save, "LAYER", Count()));
    // The layer every drawing must have; not counted in the head.
    if (IndexOfName("0") < 0) WriteByOrder(save, writeOrder(), LAYERS_TAB{"0", "Continuous", 1, 0});
    for (const LAYERS_TAB& r : *this) {
        save.OfferSourceHandle("LAYER", r.LayerName);
        WriteByOrder(save, writeOrder(), r);
    }
    // Plain layers for the names records use that the table lacks, each with
    // the handle of a layer of its name the drawing had (one the host removed).
    if (!save.Standard()) return;
    for (const std::string& name : save.extraLayers) {
        save.OfferSourceHandle("LAYER", name);
        WriteByOrder(save, writeOrder(), LAYERS_TAB{name, "Continuous", 7, 0});
    }
}

}  // namespace ormavec
