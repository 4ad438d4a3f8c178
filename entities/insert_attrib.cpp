#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, INSERT_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const INSERT_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const INSERT_ENT&, double&, double&, double&, double&) { todo(); }
void ReadEntity(DXFReader&, ATTDEF_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const ATTDEF_ENT&, int32_t&) { todo(); }
void ReadEntity(DXFReader&, ATTRIB_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const ATTRIB_ENT&, int32_t&, int32_t) { todo(); }

}  // namespace ormavec
