#include "entities/collections.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "entities", "not implemented yet"); } }

void ReadEntity(DXFReader&, TEXT_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const TEXT_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const TEXT_ENT&, double&, double&, double&, double&) { todo(); }

void ReadEntity(DXFReader&, MTEXT_ENT&) { todo(); }
void WriteEntity(DXFWriter&, const MTEXT_ENT&, int32_t&) { todo(); }
void GetRecordExtent(const MTEXT_ENT&, double&, double&, double&, double&) { todo(); }

}  // namespace ormavec
