#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, POLYLINE_ENT&) { todo(); }
void ReadVertex(DXFReader&, VERTEX_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const POLYLINE_ENT&, int32_t&) { todo(); }
void WriteVertex(DXFWriter&, const VERTEX_ENT&, const POLYLINE_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const POLYLINE_ENT&, double&, double&, double&, double&) { todo(); }

}  // namespace ormavec
