// Block definitions: the block record with its own entity collections, and
// the BLOCKS collection with the section reader and writer.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "collections/array_list.h"
#include "entities/collections.h"

namespace ormavec {

struct BLOCK_BLOCK {
    static constexpr std::string_view kTypeName = "BLOCK_BLOCK";
    std::string LayerName;
    std::string BlockName;
    int32_t Flag = 0;
    double X = 0, Y = 0, Z = 0;
    std::string XRefPathName;
    // One collection per kind blocks hold, shared by every copy of the
    // record; none until CreateEntityArrays.
#define ORMAVEC_BLOCK_MEMBER(K, Dxf, Record, List, Lives, ...) \
    ORMAVEC_IN_BLOCKS_##Lives(std::shared_ptr<::ormavec::List> List;)
    ORMAVEC_ENTITY_KINDS(ORMAVEC_BLOCK_MEMBER)
#undef ORMAVEC_BLOCK_MEMBER
};

#define ORMAVEC_BLOCK_SLOT(K, Dxf, Record, List, Lives, ...)            \
    ORMAVEC_IN_BLOCKS_##Lives(template <> struct Slot<BLOCK_BLOCK, Kind::K> { \
        static constexpr auto member = &BLOCK_BLOCK::List;               \
    };)
ORMAVEC_ENTITY_KINDS(ORMAVEC_BLOCK_SLOT)
#undef ORMAVEC_BLOCK_SLOT

class BLOCKS final : public NamedArrayList<BLOCK_BLOCK, BLOCKS> {
public:
    static constexpr std::string_view kClassName = "BLOCKS";
    static std::string_view NameOf(const BLOCK_BLOCK& r) noexcept { return r.BlockName; }

    // Gives the record new, empty entity collections (GrowLength 10).
    static void CreateEntityArrays(BLOCK_BLOCK& elem);
    // Index of the first block with the name, without regard to case; -1.
    int32_t FindByName(std::string_view name) const { return IndexOfName(name); }

    // Reads the section body up to ENDSEC.
    void ReadSection(DXFReader& reader);
    // One block from after its BLOCK pair up to its ENDBLK pair.
    static BLOCK_BLOCK ReadBlock(DXFReader& reader, ReadScratch& scratch);
    void WriteOut(DXFWriter& writer, int32_t& handle) const;
    void WriteDefaultBlocks(DXFWriter& writer, int32_t& handle) const;
    static void WriteBlock(DXFWriter& writer, const BLOCK_BLOCK& block, int32_t& handle);
};

}  // namespace ormavec
