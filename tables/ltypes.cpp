#include "tables/tables.h"

#include <string>

namespace ormavec {

namespace {

bool sameLower(std::string_view name, std::string_view lower) { return LowerCase(name) == lower; }

void writeFixed(DXFWriter& w, int32_t& handle, std::string_view name) {
    WriteTableEntryHead(w, "LTYPE", "AcDbLinetypeTableRecord", handle);
    w.WriteString(2, name);
    w.WriteInteger(70, 0);
    w.WriteString(3, "");
    w.WriteInteger(72, 65);
    w.WriteInteger(73, 0);
    w.WriteDouble(40, 0.0);
}

}  // namespace

LTYPES_TAB LTYPES::ReadEntity(DXFReader& reader) {
    LTYPES_TAB r;
    r.LineTypeName = "Continuous";
    r.Description = "Folytonos";
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        switch (p.Code) {
        case 0: reader.UnRead(); return r;
        case 2: r.LineTypeName.assign(p.Value); break;
        case 3: r.Description.assign(p.Value); break;
        case 40: r.TotalPatternLength = reader.ToDouble(p.Value); break;
        case 49: r.Pattern.push_back(LINEPATTERN{reader.ToDouble(p.Value)}); break;
        case 73: r.LineElementCount = reader.ToInt32(p.Value); break;
        default: break;
        }
    }
    return r;
}

void LTYPES::ReadTable(DXFReader& reader) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "LTYPE"))
            Add(ReadEntity(reader));
        else if (EqualsNoCase(p.Value, "ENDTAB"))
            return;
    }
}

void LTYPES::WriteByBlock(DXFWriter& w, int32_t& handle) { writeFixed(w, handle, "ByBlock"); }
void LTYPES::WriteByLayer(DXFWriter& w, int32_t& handle) { writeFixed(w, handle, "ByLayer"); }

void LTYPES::WriteOut(DXFWriter& w, int32_t& handle) const {
    OwnerScope entries(w, WriteTableHead(w, "LTYPE", Count(), handle));
    bool hasByBlock = false, hasByLayer = false;
    for (const LTYPES_TAB& r : *this) {
        hasByBlock = hasByBlock || sameLower(r.LineTypeName, "byblock");
        hasByLayer = hasByLayer || sameLower(r.LineTypeName, "bylayer");
    }
    if (!hasByBlock) WriteByBlock(w, handle);
    if (!hasByLayer) WriteByLayer(w, handle);
    for (const LTYPES_TAB& r : *this) {
        WriteTableEntryHead(w, "LTYPE", "AcDbLinetypeTableRecord", handle);
        w.WriteString(2, r.LineTypeName);
        w.WriteInteger(70, 0);
        w.WriteString(3, r.Description);
        w.WriteInteger(72, 65);
        w.WriteInteger(73, r.LineElementCount);
        w.WriteDouble(40, r.TotalPatternLength);
        // The stored count decides how many elements are written.
        for (int32_t k = 0; k < r.LineElementCount; ++k) {
            if (static_cast<std::size_t>(k) >= r.Pattern.size())
                RaiseError(err::SubscriptOutOfRange, kClassName,
                           "Subscript out of range: line type " + r.LineTypeName + " has " +
                               std::to_string(r.Pattern.size()) + " pattern elements, LineElementCount is " +
                               std::to_string(r.LineElementCount));
            w.WriteDouble(49, r.Pattern[static_cast<std::size_t>(k)].Value);
            w.WriteInteger(74, 0);
        }
    }
}

}  // namespace ormavec
