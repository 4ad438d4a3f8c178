// Layers, line types and text styles: their records with their fields, and
// their collections, keyed by name without regard to letter case.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "collections/array_list.h"
#include "document/save_context.h"
#include "io/fields.h"
#include "io/reader.h"

namespace ormavec {

struct LAYERS_TAB {
    static constexpr std::string_view kTypeName = "LAYERS_TAB";
    std::string LayerName;
    std::string LineTypeName;
    int32_t ColorNumber = 0;
    int32_t Flag = 0;
    bool operator==(const LAYERS_TAB&) const = default;
};

template <>
struct Fields<LAYERS_TAB> {
    using R = LAYERS_TAB;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(LayerName, 2), ORMAVEC_F(LineTypeName, 6).Default("Continuous"),
                                                 ORMAVEC_F(ColorNumber, 62).Default(1), ORMAVEC_F(Flag, 70));
};

struct LINEPATTERN {
    static constexpr std::string_view kTypeName = "LINEPATTERN";
    double Value = 0;
    bool operator==(const LINEPATTERN&) const = default;
};

template <>
struct Fields<LINEPATTERN> {
    using R = LINEPATTERN;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(Value, 49));
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

// Each group 49 adds an element to Pattern.
template <>
struct Fields<LTYPES_TAB> {
    using R = LTYPES_TAB;
    static constexpr auto list = std::make_tuple(ORMAVEC_F(LineTypeName, 2).Default("Continuous"),
                                                 ORMAVEC_F(Description, 3).Default("Folytonos"), ORMAVEC_F(TotalPatternLength, 40),
                                                 ORMAVEC_F(LineElementCount, 73), ORMAVEC_F(Pattern));
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

template <>
struct Fields<STYLES_TAB> {
    using R = STYLES_TAB;
    static constexpr auto list =
        std::make_tuple(ORMAVEC_F(StyleName, 2).Default("Standard"), ORMAVEC_F(FontName, 3).Default("txt.shx"),
                        ORMAVEC_F(Height, 40), ORMAVEC_F(Width, 41), ORMAVEC_F(Angle, 50), ORMAVEC_F(Flag, 70),
                        ORMAVEC_F(TextFlag, 71), ORMAVEC_F(LastHeight, 42));
};

class LAYERS final : public NamedArrayList<LAYERS_TAB, LAYERS> {
public:
    static constexpr std::string_view kClassName = "LAYERS";
    static std::string_view NameOf(const LAYERS_TAB& r) noexcept { return r.LayerName; }

    // One entry, called after the pair that opened it.
    static LAYERS_TAB ReadEntity(DXFReader& reader);
    // The entries of the table up to and including its ENDTAB.
    void ReadTable(DXFReader& reader);
    void WriteOut(SaveContext& save) const;
    // The handles one entry takes.
    static int64_t EntryHandles() noexcept;
};

class LTYPES final : public NamedArrayList<LTYPES_TAB, LTYPES> {
public:
    static constexpr std::string_view kClassName = "LTYPES";
    static std::string_view NameOf(const LTYPES_TAB& r) noexcept { return r.LineTypeName; }

    static LTYPES_TAB ReadEntity(DXFReader& reader);
    void ReadTable(DXFReader& reader);
    void WriteOut(SaveContext& save) const;
    static int64_t EntryHandles() noexcept;
};

// A STYLE entry of a shape file that a preserving load read after another
// of the same name (shape files' entries have empty names: a drawing may load
// several). Kept beside the collection, which holds one entry per name.
struct KeptStyleEntry {
    STYLES_TAB record;
    uint32_t handle = 0;
    std::vector<DxfEntry> extras;  // as SaveContext::entryExtras
};

class STYLES final : public NamedArrayList<STYLES_TAB, STYLES> {
public:
    static constexpr std::string_view kClassName = "STYLES";
    static std::string_view NameOf(const STYLES_TAB& r) noexcept { return r.StyleName; }

    static STYLES_TAB ReadEntity(DXFReader& reader);
    void ReadTable(DXFReader& reader);
    // In a Standard save, followed by the kept shape-file entries and the
    // styles entities name that the table lacks (SaveContext::extraStyles).
    void WriteOut(SaveContext& save, std::span<const KeptStyleEntry> shapes = {}) const;
    static int64_t EntryHandles() noexcept;
};

// The head of a symbol table: name, handle, owner, subclass and the entry
// count of the head. Returns the table's handle, the owner of its entries.
int32_t WriteTableHead(SaveContext& save, std::string_view name, int32_t count);
// The head of one entry: its type, handle, owner and subclass markers, as
// the first pairs of a write order.
template <class R>
void TableEntryHead(WriteOrder<R>& order, std::string_view type, std::string_view subclass) {
    order.insert(order.begin(), {W<R>::Text(0, type), W<R>::Handle(), W<R>::Text(100, "AcDbSymbolTableRecord"),
                                 W<R>::Text(100, subclass)});
}

// The entries of a table read into its collection: entry starts and the
// table end are recognised by value alone.
template <class Table>
void ReadTableEntries(DXFReader& reader, Table& table, std::string_view entryName) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, entryName))
            table.Add(Table::ReadEntity(reader));
        else if (EqualsNoCase(p.Value, "ENDTAB"))
            return;
    }
}

}  // namespace ormavec
