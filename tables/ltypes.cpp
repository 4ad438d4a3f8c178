#include "tables/tables.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "tables", "not implemented yet"); } }

LTYPES_TAB LTYPES::ReadEntity(DXFReader&) { todo(); }
void LTYPES::ReadTable(DXFReader&) { todo(); }
void LTYPES::WriteOut(DXFWriter&, int32_t&) const { todo(); }
void LTYPES::WriteByBlock(DXFWriter&, int32_t&) { todo(); }
void LTYPES::WriteByLayer(DXFWriter&, int32_t&) { todo(); }

}  // namespace ormavec
