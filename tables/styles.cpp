#include "tables/tables.h"

namespace ormavec {

STYLES_TAB STYLES::ReadEntity(DXFReader& reader) {
    STYLES_TAB r;
    r.StyleName = "Standard";
    r.FontName = "txt.shx";
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        switch (p.Code) {
        case 0: reader.UnRead(); return r;
        case 2: r.StyleName.assign(p.Value); break;
        case 3: r.FontName.assign(p.Value); break;
        case 40: r.Height = reader.ToDouble(p.Value); break;
        case 41: r.Width = reader.ToDouble(p.Value); break;
        case 42: r.LastHeight = reader.ToDouble(p.Value); break;
        case 50: r.Angle = reader.ToDouble(p.Value); break;
        case 70: r.Flag = reader.ToInt32(p.Value); break;
        case 71: r.TextFlag = reader.ToInt32(p.Value); break;
        default: break;
        }
    }
    return r;
}

void STYLES::ReadTable(DXFReader& reader) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "STYLE"))
            Add(ReadEntity(reader));
        else if (EqualsNoCase(p.Value, "ENDTAB"))
            return;
    }
}

void STYLES::WriteOut(DXFWriter& w, int32_t& handle) const {
    w.WriteString(2, "STYLE");
    w.WriteHandle(5, NextHandle(handle));
    w.WriteString(100, "AcDbSymbolTable");
    w.WriteInteger(70, Count());
    for (const STYLES_TAB& r : *this) {
        w.WriteString(0, "STYLE");
        w.WriteHandle(5, NextHandle(handle));
        w.WriteString(100, "AcDbSymbolTableRecord");
        w.WriteString(100, "AcDbTextStyleTableRecord");
        w.WriteString(2, r.StyleName);
        w.WriteString(3, r.FontName);
        w.WriteString(4, "");
        w.WriteDouble(41, r.Width);
        w.WriteDouble(50, r.Angle);
        w.WriteDouble(42, r.LastHeight);
        w.WriteDouble(40, r.Height);
        w.WriteInteger(71, r.TextFlag);
        w.WriteInteger(70, r.Flag);
    }
}

}  // namespace ormavec
