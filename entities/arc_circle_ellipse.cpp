#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, ARC_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const ARC_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const ARC_ENT&, double&, double&, double&, double&) { todo(); }

void ReadEntity(DXFReader&, CIRCLE_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const CIRCLE_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const CIRCLE_ENT&, double&, double&, double&, double&) { todo(); }

void ReadEntity(DXFReader&, ELLIPSE_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const ELLIPSE_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const ELLIPSE_ENT&, double&, double&, double&, double&) { todo(); }

}  // namespace ormavec
