// The TABLES section: layers, line types and text styles, read and written
// together with the fixed tables a complete file carries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "document/blocks.h"
#include "tables/symbol_tables.h"

namespace ormavec {

class TABLES final : public Object {
public:
    static constexpr std::string_view kClassName = "TABLES";
    std::string_view ClassName() const override { return kClassName; }

    TABLES();

    const std::shared_ptr<::ormavec::LAYERS>& LAYERS() const noexcept { return layers_; }
    const std::shared_ptr<::ormavec::LTYPES>& LTYPES() const noexcept { return ltypes_; }
    const std::shared_ptr<::ormavec::STYLES>& STYLES() const noexcept { return styles_; }

    // Reads the section after its 2/"TABLES" pair up to "ENDSEC".
    // A preserving read keeps the tables the model does not type and the
    // handles of the typed ones (see document/kept.h), which a Standard save
    // writes back; a read that does not preserve counts the entries it
    // passes over in lost.
    void ReadSection(DXFReader& reader, bool preserve = false, NotKept* lost = nullptr);
    // The kept table of this name (upper case), null when none was kept.
    const KeptTable* Kept(std::string_view name) const noexcept;
    // The kept entries and heads that may need a new handle.
    int64_t KeptCount() const noexcept;
    // The largest handle the kept entries carry or point to (0 for none).
    uint32_t KeptMaxHandle() const noexcept;
    void WriteOut(SaveContext& save, const BLOCKS& blocks, double viewCenterX, double viewCenterY, double viewHeight) const;

    static void WriteVport(SaveContext& save, double viewCenterX, double viewCenterY, double viewHeight);
    static void WriteView(SaveContext& save);
    static void WriteUcs(SaveContext& save);
    static void WriteAppid(SaveContext& save);
    static void WriteDimstyle(SaveContext& save);
    static void WriteBlockRecordHead(SaveContext& save, const BLOCKS& blocks);
    // The head, then the model and paper space entries the blocks lack, then
    // one entry per block.
    // The entries a kept table holds are written for the blocks of their
    // name (a Standard save), keeping their handles and layouts.
    static void WriteBlockRecord(SaveContext& save, const BLOCKS& blocks, const KeptTable* kept = nullptr);
    static void BeginTables(DXFWriter& writer);
    static void BeginTable(DXFWriter& writer);
    static void EndTable(DXFWriter& writer);

private:
    std::vector<KeptTable> keptTables_;
    // The handles of the typed tables' entries, by SaveContext::SourceKey.
    std::unordered_map<std::string, uint32_t> sourceHandles_;
    // The pairs those entries' fields did not take (see KeptRead), by the same key.
    std::unordered_map<std::string, std::vector<DxfEntry>> sourceExtras_;
    std::vector<KeptStyleEntry> keptShapes_;
    std::shared_ptr<::ormavec::LAYERS> layers_;
    std::shared_ptr<::ormavec::LTYPES> ltypes_;
    std::shared_ptr<::ormavec::STYLES> styles_;
};

}  // namespace ormavec
