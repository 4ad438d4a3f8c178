#include "document/tables.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "TABLES", "not implemented yet"); } }

TABLES::TABLES() : layers_(std::make_shared<::ormavec::LAYERS>()), ltypes_(std::make_shared<::ormavec::LTYPES>()), styles_(std::make_shared<::ormavec::STYLES>()) {
    layers_->SetGrowLength(10);
    ltypes_->SetGrowLength(10);
    styles_->SetGrowLength(10);
}
void TABLES::ReadSection(DXFReader&) { todo(); }
void TABLES::WriteOut(DXFWriter&, const BLOCKS&, int32_t&, double, double, double) const { todo(); }
void TABLES::WriteVport(DXFWriter&, int32_t&, double, double, double) { todo(); }
void TABLES::WriteView(DXFWriter&, int32_t&) { todo(); }
void TABLES::WriteUcs(DXFWriter&, int32_t&) { todo(); }
void TABLES::WriteAppid(DXFWriter&, int32_t&) { todo(); }
void TABLES::WriteDimstyle(DXFWriter&, int32_t&) { todo(); }
void TABLES::WriteBlockRecord(DXFWriter&, const BLOCKS&, int32_t&) { todo(); }

}  // namespace ormavec
