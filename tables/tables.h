// Layers, line types and text styles: their records and collections, keyed
// by name without regard to letter case.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collections/array_list.h"
#include "io/reader.h"
#include "io/writer.h"

namespace ormavec {

struct LAYERS_TAB {
    static constexpr std::string_view kTypeName = "LAYERS_TAB";
    std::string LayerName;
    std::string LineTypeName;
    int32_t ColorNumber = 0;
    int32_t Flag = 0;
    bool operator==(const LAYERS_TAB&) const = default;
};

struct LINEPATTERN {
    static constexpr std::string_view kTypeName = "LINEPATTERN";
    double Value = 0;
    bool operator==(const LINEPATTERN&) const = default;
};

struct LTYPES_TAB {
    static constexpr std::string_view kTypeName = "LTYPES_TAB";
    std::string LineTypeName;
    std::string Description;
    double TotalPatternLength = 0;
    int32_t LineElementCount = 0;
    std::vector<LINEPATTERN> Pattern;  // empty: unallocated
    bool operator==(const LTYPES_TAB&) const = default;
};

struct STYLES_TAB {
    static constexpr std::string_view kTypeName = "STYLES_TAB";
    std::string StyleName;
    std::string FontName;
    double Height = 0;
    double Width = 0;
    double Angle = 0;
    int32_t Flag = 0;
    int32_t TextFlag = 0;
    double LastHeight = 0;
    bool operator==(const STYLES_TAB&) const = default;
};

class LAYERS final : public NamedArrayList<LAYERS_TAB, LAYERS> {
public:
    static constexpr std::string_view kClassName = "LAYERS";
    static std::string_view NameOf(const LAYERS_TAB& r) noexcept { return r.LayerName; }

    // One entry, called after the pair that opened it.
    static LAYERS_TAB ReadEntity(DXFReader& reader);
    // The entries of the table up to and including its ENDTAB.
    void ReadTable(DXFReader& reader);
    void WriteOut(DXFWriter& writer, int32_t& handle) const;
};

class LTYPES final : public NamedArrayList<LTYPES_TAB, LTYPES> {
public:
    static constexpr std::string_view kClassName = "LTYPES";
    static std::string_view NameOf(const LTYPES_TAB& r) noexcept { return r.LineTypeName; }

    static LTYPES_TAB ReadEntity(DXFReader& reader);
    void ReadTable(DXFReader& reader);
    void WriteOut(DXFWriter& writer, int32_t& handle) const;
    static void WriteByBlock(DXFWriter& writer, int32_t& handle);
    static void WriteByLayer(DXFWriter& writer, int32_t& handle);
};

class STYLES final : public NamedArrayList<STYLES_TAB, STYLES> {
public:
    static constexpr std::string_view kClassName = "STYLES";
    static std::string_view NameOf(const STYLES_TAB& r) noexcept { return r.StyleName; }

    static STYLES_TAB ReadEntity(DXFReader& reader);
    void ReadTable(DXFReader& reader);
    void WriteOut(DXFWriter& writer, int32_t& handle) const;
};

// The head of a symbol table: name, handle, owner, subclass and the entry
// count of the head. Returns the table's handle, the owner of its entries.
int32_t WriteTableHead(DXFWriter& writer, std::string_view name, int32_t count, int32_t& handle);
// The head of one entry: its type, handle, owner and subclass markers.
// Returns the entry's handle.
int32_t WriteTableEntryHead(DXFWriter& writer, std::string_view type, std::string_view subclass, int32_t& handle);

}  // namespace ormavec
