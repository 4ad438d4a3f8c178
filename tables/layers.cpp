#include "tables/tables.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "tables", "not implemented yet"); } }

LAYERS_TAB LAYERS::ReadEntity(DXFReader&) { todo(); }
void LAYERS::ReadTable(DXFReader&) { todo(); }
void LAYERS::WriteOut(DXFWriter&, int32_t&) const { todo(); }

}  // namespace ormavec
