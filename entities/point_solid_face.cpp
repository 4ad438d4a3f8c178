#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, POINT_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const POINT_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const POINT_ENT&, double&, double&, double&, double&) { todo(); }

void ReadEntity(DXFReader&, SOLID_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const SOLID_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const SOLID_ENT&, double&, double&, double&, double&) { todo(); }

void ReadEntity(DXFReader&, FACE3D_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const FACE3D_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const FACE3D_ENT&, double&, double&, double&, double&) { todo(); }

}  // namespace ormavec
