#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, XYZS&, HATCH_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const HATCH_ENT&, int32_t&) { todo(); }

}  // namespace ormavec
