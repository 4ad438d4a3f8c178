#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, LWVERTEXES&, LWPOLYLINE_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const LWPOLYLINE_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const LWPOLYLINE_ENT&, double&, double&, double&, double&) { todo(); }

}  // namespace ormavec
