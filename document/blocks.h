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
    // The entities a preserving load kept as pairs, shared like the
    // collections; null when there are none.
    std::shared_ptr<KeptEntities> Kept;
    // The handles of its BLOCK and ENDBLK pairs as a preserving load read
    // them (0: none), which a Standard save keeps.
    uint32_t BlockHandle = 0, EndHandle = 0;
};

// The first group 2 names the block; each kind of collection is a field.
template <>
struct Fields<BLOCK_BLOCK> {
    using R = BLOCK_BLOCK;
#define ORMAVEC_BLOCK_FIELD(K, Dxf, Record, List, Lives, ...) ORMAVEC_IN_BLOCKS_##Lives(, ORMAVEC_F(List))
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(LayerName, 8).Default("0"), ORMAVEC_F(BlockName, 2).Default("Alap"), ORMAVEC_F(Flag, 70),
                        ORMAVEC_F(X, 10), ORMAVEC_F(Y, 20), ORMAVEC_F(Z, 30),
                        ORMAVEC_F(XRefPathName, 1).Default("Alap") ORMAVEC_ENTITY_KINDS(ORMAVEC_BLOCK_FIELD));
#undef ORMAVEC_BLOCK_FIELD
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

    // Reads the section body up to ENDSEC; see ReadScratch for preserve and
    // lost. A block whose name an earlier one has is dropped and counted in
    // lost.
    void ReadSection(DXFReader& reader, bool preserve = false, NotKept* lost = nullptr, bool keepSplines = false);
    // One block from after its BLOCK pair up to its ENDBLK pair.
    static BLOCK_BLOCK ReadBlock(DXFReader& reader, ReadScratch& scratch);
    void WriteOut(SaveContext& save) const;
    void WriteDefaultBlocks(SaveContext& save) const;
    static void WriteBlock(SaveContext& save, const BLOCK_BLOCK& block);
    // The handles WriteBlock takes for the block's own pairs (BLOCK, ENDBLK).
    static int64_t HeadHandles() noexcept;
};

}  // namespace ormavec
