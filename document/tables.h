// The TABLES section: layers, line types and text styles, read and written
// together with the fixed tables a complete file carries.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "document/blocks.h"
#include "tables/tables.h"

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
    void ReadSection(DXFReader& reader);
    void WriteOut(DXFWriter& writer, const BLOCKS& blocks, int32_t& handle, double viewCenterX, double viewCenterY,
                  double viewHeight) const;

    static void WriteVport(DXFWriter& writer, int32_t& handle, double viewCenterX, double viewCenterY, double viewHeight);
    static void WriteView(DXFWriter& writer, int32_t& handle);
    static void WriteUcs(DXFWriter& writer, int32_t& handle);
    static void WriteAppid(DXFWriter& writer, int32_t& handle);
    static void WriteDimstyle(DXFWriter& writer, int32_t& handle);
    static void WriteBlockRecordHead(DXFWriter& writer, const BLOCKS& blocks, int32_t& handle);
    // The head, then the model and paper space entries the blocks lack, then
    // one entry per block.
    static void WriteBlockRecord(DXFWriter& writer, const BLOCKS& blocks, int32_t& handle);
    static void BeginTables(DXFWriter& writer);
    static void BeginTable(DXFWriter& writer);
    static void EndTable(DXFWriter& writer);

private:
    std::shared_ptr<::ormavec::LAYERS> layers_;
    std::shared_ptr<::ormavec::LTYPES> ltypes_;
    std::shared_ptr<::ormavec::STYLES> styles_;
};

}  // namespace ormavec
