#include "tables/tables.h"

namespace ormavec {

int32_t WriteTableHead(DXFWriter& w, std::string_view name, int32_t count, int32_t& handle) {
    w.WriteString(2, name);
    const int32_t table = NextHandle(handle);
    w.WriteHandle(5, table);
    w.WriteOwner();
    w.WriteString(100, "AcDbSymbolTable");
    w.WriteInteger(70, count);
    return table;
}

int32_t WriteTableEntryHead(DXFWriter& w, std::string_view type, std::string_view subclass, int32_t& handle) {
    w.WriteString(0, type);
    const int32_t entry = NextHandle(handle);
    w.WriteHandle(5, entry);
    w.WriteOwner();
    w.WriteString(100, "AcDbSymbolTableRecord");
    w.WriteString(100, subclass);
    return entry;
}

}  // namespace ormavec
