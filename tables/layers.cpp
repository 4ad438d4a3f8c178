#include "tables/tables.h"

namespace ormavec {

LAYERS_TAB LAYERS::ReadEntity(DXFReader& reader) {
    LAYERS_TAB r;
    r.LineTypeName = "Continuous";
    r.ColorNumber = 1;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        switch (p.Code) {
        case 0: reader.UnRead(); return r;
        case 2: r.LayerName.assign(p.Value); break;
        case 6: r.LineTypeName.assign(p.Value); break;
        case 62: r.ColorNumber = reader.ToInt32(p.Value); break;
        case 70: r.Flag = reader.ToInt32(p.Value); break;
        default: break;
        }
    }
    return r;
}

void LAYERS::ReadTable(DXFReader& reader) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        // Entry starts and the table end are recognised by value alone.
        if (EqualsNoCase(p.Value, "LAYER"))
            Add(ReadEntity(reader));
        else if (EqualsNoCase(p.Value, "ENDTAB"))
            return;
    }
}

void LAYERS::WriteOut(DXFWriter& w, int32_t& handle) const {
    OwnerScope entries(w, WriteTableHead(w, "LAYER", Count(), handle));
    if (IndexOfName("0") < 0) {
        // The layer every drawing must have; not counted in the head.
        WriteTableEntryHead(w, "LAYER", "AcDbLayerTableRecord", handle);
        w.WriteInteger(2, 0);
        w.WriteString(6, "Continuous");
        w.WriteInteger(62, 1);
        w.WriteInteger(70, 0);
        w.WriteString(390, "F");
    }
    for (const LAYERS_TAB& r : *this) {
        WriteTableEntryHead(w, "LAYER", "AcDbLayerTableRecord", handle);
        w.WriteString(2, r.LayerName);
        w.WriteString(6, r.LineTypeName);
        w.WriteInteger(62, r.ColorNumber);
        w.WriteInteger(70, r.Flag);
        w.WriteString(390, "F");
    }
}

}  // namespace ormavec
