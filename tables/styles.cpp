#include "tables/tables.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "tables", "not implemented yet"); } }

STYLES_TAB STYLES::ReadEntity(DXFReader&) { todo(); }
void STYLES::ReadTable(DXFReader&) { todo(); }
void STYLES::WriteOut(DXFWriter&, int32_t&) const { todo(); }

}  // namespace ormavec
