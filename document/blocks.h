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
    // Shared by every copy of the record; none until CreateEntityArrays.
    std::shared_ptr<::ormavec::ARCS> ARCS;
    std::shared_ptr<::ormavec::CIRCLES> CIRCLES;
    std::shared_ptr<::ormavec::ELLIPSES> ELLIPSES;
    std::shared_ptr<::ormavec::FACE3DS> FACE3DS;
    std::shared_ptr<::ormavec::INSERTS> INSERTS;
    std::shared_ptr<::ormavec::LINES> LINES;
    std::shared_ptr<::ormavec::LWPOLYLINES> LWPOLYLINES;
    std::shared_ptr<::ormavec::POLYLINES> POLYLINES;
    std::shared_ptr<::ormavec::POINTS> POINTS;
    std::shared_ptr<::ormavec::TEXTS> TEXTS;
    std::shared_ptr<::ormavec::MTEXTS> MTEXTS;
    std::shared_ptr<::ormavec::HATCHES> HATCHES;
    std::shared_ptr<::ormavec::ATTDEFS> ATTDEFS;
};

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
    static BLOCK_BLOCK ReadBlock(DXFReader& reader, XYZS& points, LWVERTEXES& vertices);
    static void ClearScratchLists(XYZS& points, LWVERTEXES& vertices) noexcept {
        points.EraseArray();
        vertices.EraseArray();
    }
    void WriteOut(DXFWriter& writer, int32_t& handle) const;
    void WriteDefaultBlocks(DXFWriter& writer, int32_t& handle) const;
    static void WriteBlock(DXFWriter& writer, const BLOCK_BLOCK& block, int32_t& handle);
};

}  // namespace ormavec
