#include "tables/symbol_tables.h"

namespace ormavec {

int32_t WriteTableHead(SaveContext& save, std::string_view name, int32_t count) {
    DXFWriter& w = save.Writer();
    w.WriteString(2, name);
    const int32_t table = save.WriteHandle();
    w.WriteString(100, "AcDbSymbolTable");
    w.WriteInteger(70, count);
    return table;
}

}  // namespace ormavec
