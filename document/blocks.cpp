#include "document/blocks.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "BLOCKS", "not implemented yet"); } }

void BLOCKS::CreateEntityArrays(BLOCK_BLOCK&) { todo(); }
void BLOCKS::ReadSection(DXFReader&) { todo(); }
BLOCK_BLOCK BLOCKS::ReadBlock(DXFReader&, XYZS&, LWVERTEXES&) { todo(); }
void BLOCKS::WriteOut(DXFWriter&, int32_t&) const { todo(); }
void BLOCKS::WriteDefaultBlocks(DXFWriter&, int32_t&) const { todo(); }
void BLOCKS::WriteBlock(DXFWriter&, const BLOCK_BLOCK&, int32_t&) { todo(); }

}  // namespace ormavec
