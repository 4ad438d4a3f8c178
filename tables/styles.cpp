#include "tables/tables.h"

namespace ormavec {

namespace {

void writeEntry(DXFWriter& w, const STYLES_TAB& r, int32_t& handle) {
    WriteTableEntryHead(w, "STYLE", "AcDbTextStyleTableRecord", handle);
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

}  // namespace

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
    OwnerScope entries(w, WriteTableHead(w, "STYLE", Count(), handle));
    for (const STYLES_TAB& r : *this) writeEntry(w, r, handle);
    // A standard file defines every style its texts name: those the table
    // lacks get the font txt.shx and a width factor of 1.
    if (!w.IsStandard()) return;
    for (const std::string& name : w.StandardLinks().extraStyles) {
        STYLES_TAB r;
        r.StyleName = name;
        r.FontName = "txt.shx";
        r.Width = 1.0;
        writeEntry(w, r, handle);
    }
}

}  // namespace ormavec
