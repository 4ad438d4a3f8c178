#include "document/standard_save.h"

#include <algorithm>
#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include "document/entity_sets.h"
#include "document/tables.h"
#include "io/error.h"
#include "io/text.h"

namespace ormavec {
namespace {

// Table heads and fixed entries, the default blocks, their records and
// layouts, the objects, and a reserve: an upper bound, as counting an item
// that is not written only leaves a gap below the seed.
constexpr int64_t kFixedHandles = 64;
// A block's record, and its layout when it is a paper space.
constexpr int64_t kBlockRecordHandles = 2;

template <class Table>
int64_t entryHandles(const std::shared_ptr<Table>& table) {
    return table ? table->Count() * Table::EntryHandles() : 0;
}

// The names records use that a table lacks (text styles, line types).
class StyleNames {
public:
    template <class Table>
    StyleNames(const Table& table, std::vector<std::string>& missing) : missing_(missing) {
        // One set of upper-cased names, so that a model with many texts and
        // many styles costs a hash per text, not a scan of the table.
        for (const auto& s : table) known_.insert(UpperCase(Table::NameOf(s)));
    }

    void Use(std::string_view name) {
        // Texts mostly share a few styles: skip the lookup for a repeat.
        if (name.empty() || name == last_) return;
        last_.assign(name);
        if (known_.insert(UpperCase(name)).second) missing_.emplace_back(name);
    }
private:
    std::vector<std::string>& missing_;
    std::unordered_set<std::string> known_;
    std::string last_;
};

}  // namespace

int32_t PrepareStandardSave(SaveContext& save, const TABLES& tables, const BLOCKS& blocks, const ENTITIES& e, int64_t keptObjects) {
    // Empty names read by a preserving load stay empty in a Standard save only.
    const bool asRead = save.Standard();
    std::vector<std::string>& extra = save.extraStyles;
    extra.clear();
    StyleNames styles(*tables.STYLES(), extra);
    const auto use = [&](std::string_view name) { styles.Use(name); };
    entity_sets::ForEachStyleNamed(e, asRead, use);
    // Line types that layers and records name; the two fixed ones are
    // written anyway.
    std::vector<std::string>& extraLineTypes = save.extraLineTypes;
    StyleNames lineTypes(*tables.LTYPES(), extraLineTypes);
    for (std::string_view fixed : {"ByBlock", "ByLayer"}) lineTypes.Use(fixed);
    extraLineTypes.clear();
    for (const LAYERS_TAB& l : *tables.LAYERS()) lineTypes.Use(l.LineTypeName);
    const auto useLineType = [&](std::string_view name) { lineTypes.Use(name); };
    entity_sets::ForEachNamed<6>(e, asRead, useLineType);
    // Layers that records name and the table lacks: a drawing that never
    // defined them, or layers the host removed while kept records (or its
    // own) still name them. A plain layer keeps the file valid.
    std::vector<std::string>& extraLayers = save.extraLayers;
    StyleNames layers(*tables.LAYERS(), extraLayers);
    layers.Use("0");
    extraLayers.clear();
    const auto useLayer = [&](std::string_view name) { layers.Use(name); };
    entity_sets::ForEachNamed<8>(e, asRead, useLayer);

    // Blocks that records draw and BLOCKS lacks (the host removed them): an
    // empty definition keeps the file valid and the records drawing nothing.
    std::vector<std::string>& extraBlocks = save.extraBlocks;
    StyleNames blockNames(blocks, extraBlocks);
    for (std::string_view fixed : {"*Model_Space", "*Paper_Space"}) blockNames.Use(fixed);  // written anyway
    extraBlocks.clear();
    const auto useBlock = [&](std::string_view name) { blockNames.Use(name); };
    entity_sets::ForEachBlockNamed(e, useBlock);
    // A kept layout points to its paper space block's record.
    if (const KeptTable* records = tables.Kept("BLOCK_RECORD"))
        for (const RawEntity& r : records->entries.Items())
            for (const DxfEntry& p : r.Pairs)
                if (p.Code == 2) {
                    if (LowerCase(p.Value).starts_with("*paper_space")) useBlock(p.Value);
                    break;
                }

    int64_t n = kFixedHandles + entryHandles(tables.LAYERS()) + entryHandles(tables.LTYPES()) + entryHandles(tables.STYLES());
    for (const BLOCK_BLOCK& b : blocks) {
        entity_sets::ForEachStyleNamed(b, asRead, use);
        entity_sets::ForEachNamed<6>(b, asRead, useLineType);
        entity_sets::ForEachNamed<8>(b, asRead, useLayer);
        layers.Use(b.LayerName);
        entity_sets::ForEachBlockNamed(b, useBlock);
        n += kBlockRecordHandles + BLOCKS::HeadHandles() + entity_sets::HandlesOf(b);
    }
    n += static_cast<int64_t>(extra.size()) * STYLES::EntryHandles() + static_cast<int64_t>(extraLineTypes.size()) * LTYPES::EntryHandles() +
         static_cast<int64_t>(extraLayers.size()) * LAYERS::EntryHandles() +
         static_cast<int64_t>(extraBlocks.size()) * (kBlockRecordHandles + BLOCKS::HeadHandles());
    n += entity_sets::HandlesOf(e) + save.LastHandle() + tables.KeptCount() + keptObjects;
    if (n >= std::numeric_limits<int32_t>::max())
        RaiseError(err::Overflow, "DXFDocument", "Overflow: the drawing holds more objects than its handles can number");
    return static_cast<int32_t>(n + 1);
}

int32_t KeptHandleBase(uint32_t seed, const BLOCKS& blocks, const ENTITIES& e) {
    uint32_t base = seed;
    const auto raise = [&](const std::shared_ptr<KeptEntities>& raw) {
        if (raw)
            base = std::max(base, raw->MaxHandle());
    };
    raise(e.Kept());
    for (const BLOCK_BLOCK& b : blocks) {
        raise(b.Kept);
        base = std::max({base, b.BlockHandle, b.EndHandle});
    }
    return static_cast<int32_t>(base);
}

}  // namespace ormavec
