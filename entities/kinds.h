// The entity kinds of the model: one row per kind. Everything that is done
// per kind comes from this list: the collection classes, the members of
// ENTITIES and BLOCK_BLOCK, the dispatch of the section readers, the order
// of writing, measuring and counting, the handle count of a save, the
// automation classes, the Python classes and the command's counts.
//
// Columns:
//   Kind   the enumerator of the kind
//   Dxf    the entity name on file
//   Record the value record
//   List   the collection class; also its member name in ENTITIES and BLOCK_BLOCK
//   Lives  which entity sets hold a collection of it: Entities, Blocks or Both
//   Read   whether the section readers read it: Always; Never (its pairs are
//          skipped: ATTDEF, and ATTRIB, which its INSERT reads); VersionMode6
//          (only from version mode 6 on: HATCH)
//   Write  whether the sections write it (ATTRIB: no, its INSERT writes it)
//   Order  the place in a section: writing, measuring the extent and the
//          command's ENTITIES counts follow it (SOLID and HATCH never meet)
//   Grow   the grow length of a collection made on its own, and of the one
//          ENTITIES holds (a block's collections have 10)
//   Getter the dispatch id of the ENTITIES member (0 where ENTITIES has none)
//   Clsid, Iid  the automation class and interface ids of the collection
//
// The rows are in the order of BLOCK_BLOCK's collections, which is also the
// order of its fields and of the command's block counts.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

// clang-format off
#define ORMAVEC_ENTITY_KINDS(X)                                                                                              \
/* Kind       Dxf           Record          List         Lives     Read          Write Order Grow      Getter      Clsid, Iid */ \
X(Arc,        "ARC",        ARC_ENT,        ARCS,        Both,     Always,       true,  1,   1000, 500, 0x6803000D, "{DCF0657E-1A5E-4E9E-8EA1-EDC3C6BF1A9C}", "{F304C0CF-05FB-4088-8632-E1C8005D1DA9}") \
X(Circle,     "CIRCLE",     CIRCLE_ENT,     CIRCLES,     Both,     Always,       true,  2,   1000, 500, 0x6803000C, "{2A2C51E6-C735-481D-AF21-E31896ED7C03}", "{6CB7AFA6-6CF4-4092-AFF6-D9B1328C6A37}") \
X(Ellipse,    "ELLIPSE",    ELLIPSE_ENT,    ELLIPSES,    Both,     Always,       true,  3,   1000, 500, 0x6803000B, "{E6D2ACCE-9C21-464B-A2A8-F2E639953C41}", "{0BAB20B0-D956-4C4C-B149-BEC9022A244F}") \
X(Face3D,     "3DFACE",     FACE3D_ENT,     FACE3DS,     Both,     Always,       true,  4,   1000, 500, 0x6803000A, "{495A7F21-8780-4EB6-9080-00A988DA2BC1}", "{16BCF46F-382D-4907-B9AF-E256EA8E5CA7}") \
X(Insert,     "INSERT",     INSERT_ENT,     INSERTS,     Both,     Always,       true,  5,   1000, 500, 0x68030009, "{E83568E7-5219-427F-856A-B06CA2F1255D}", "{B9FB4F47-E20B-43DA-BA6C-263CCCED9E79}") \
X(Line,       "LINE",       LINE_ENT,       LINES,       Both,     Always,       true,  6,   1000, 500, 0x68030008, "{B72C8019-5507-40D4-8EEC-637869A072CC}", "{86CE3558-C364-4B54-876E-DD90D9441A3F}") \
X(LwPolyline, "LWPOLYLINE", LWPOLYLINE_ENT, LWPOLYLINES, Both,     Always,       true,  7,   1000, 500, 0x68030007, "{12EEC826-21CC-418D-9183-CC348B66EEE2}", "{A491D259-0A2C-4285-BAFE-AD503DC2C04D}") \
X(Polyline,   "POLYLINE",   POLYLINE_ENT,   POLYLINES,   Both,     Always,       true,  9,   1000, 500, 0x68030005, "{230A9156-94CD-4286-B9EA-F1E44EA5EE0F}", "{8E1A5A8C-7359-4957-8BDE-DA9FE9723F7C}") \
X(Point,      "POINT",      POINT_ENT,      POINTS,      Both,     Always,       true,  10,  1000, 500, 0x68030004, "{3DB8AED2-9F16-4FA8-97D3-0BE6EE6FCF4D}", "{E6C30BBA-E019-4B75-80C5-B00F29EB38D8}") \
X(Text,       "TEXT",       TEXT_ENT,       TEXTS,       Both,     Always,       true,  11,  1000, 500, 0x68030003, "{09854016-CBD4-46E9-A757-A1F5EC8155E5}", "{922130A7-BA41-4611-A605-9CCA652C81F9}") \
X(MText,      "MTEXT",      MTEXT_ENT,      MTEXTS,      Both,     Always,       true,  8,   1000, 500, 0x68030006, "{9B6FBE9A-149D-468E-800D-87C81E634EC6}", "{F34E7CD5-17A2-459A-B11A-EF8DB44EC211}") \
X(Solid,      "SOLID",      SOLID_ENT,      SOLIDS,      Entities, Always,       true,  12,  1000, 100, 0x68030002, "{E28AD99D-DB1E-4D7D-A338-5DAA59424D16}", "{2791D7C3-34EB-4270-A209-1F37C645F91F}") \
X(Hatch,      "HATCH",      HATCH_ENT,      HATCHES,     Blocks,   VersionMode6, true,  13,  1000, 0,   0,          "{697B1305-E269-48DA-94D9-522BEBB75AD6}", "{6406CDD7-6E25-4B53-AC13-A4ABA52CFE16}") \
X(AttDef,     "ATTDEF",     ATTDEF_ENT,     ATTDEFS,     Both,     Never,        true,  14,  1000, 100, 0x68030001, "{55344A97-C488-40BA-A56B-AEC903A00986}", "{69891E35-E1AD-4600-9A9B-AA55CC4E57C1}") \
X(AttRib,     "ATTRIB",     ATTRIB_ENT,     ATTRIBS,     Entities, Never,        false, 15,  10,   100, 0x68030000, "{439BB43B-E65E-4D7B-A1BF-1CB83CC19596}", "{875FCD1B-2D9F-40DE-8B89-4582FEE2B6DF}")
// clang-format on

// ORMAVEC_IN_ENTITIES_##Lives(code) keeps the code for the kinds ENTITIES
// holds, ORMAVEC_IN_BLOCKS_##Lives(code) for those blocks hold.
#define ORMAVEC_IN_ENTITIES_Both(...) __VA_ARGS__
#define ORMAVEC_IN_ENTITIES_Entities(...) __VA_ARGS__
#define ORMAVEC_IN_ENTITIES_Blocks(...)
#define ORMAVEC_IN_BLOCKS_Both(...) __VA_ARGS__
#define ORMAVEC_IN_BLOCKS_Blocks(...) __VA_ARGS__
#define ORMAVEC_IN_BLOCKS_Entities(...)

namespace ormavec {

enum class Kind : uint8_t {
#define ORMAVEC_KIND_ENUM(K, ...) K,
    ORMAVEC_ENTITY_KINDS(ORMAVEC_KIND_ENUM)
#undef ORMAVEC_KIND_ENUM
};

namespace kinds {

enum Lives : uint8_t { Entities = 1, Blocks = 2, Both = 3 };
enum class Read : uint8_t { Always, Never, VersionMode6 };

struct Row {
    Kind kind;
    std::string_view dxf;
    std::string_view list;
    Lives lives;
    Read read;
    bool write;
    int32_t order;
    int32_t grow;
    int32_t entitiesGrow;
    int32_t getter;
    std::string_view clsid;
    std::string_view iid;

    constexpr bool InEntities() const noexcept { return (lives & Entities) != 0; }
    constexpr bool InBlocks() const noexcept { return (lives & Blocks) != 0; }
};

inline constexpr Row kRows[] = {
#define ORMAVEC_KIND_ROW(K, Dxf, Record, List, Lives, ReadRule, Write, Order, Grow, EntitiesGrow, Getter, Clsid, Iid) \
    {Kind::K, Dxf, #List, Lives, Read::ReadRule, Write, Order, Grow, EntitiesGrow, Getter, Clsid, Iid},
    ORMAVEC_ENTITY_KINDS(ORMAVEC_KIND_ROW)
#undef ORMAVEC_KIND_ROW
};

inline constexpr std::size_t kCount = std::size(kRows);

constexpr const Row& RowOf(Kind k) noexcept { return kRows[static_cast<std::size_t>(k)]; }

// The kinds in their place in a section.
inline constexpr std::array<Kind, kCount> kSectionOrder = [] {
    std::array<Kind, kCount> order{};
    for (std::size_t i = 0; i < kCount; ++i) order[i] = kRows[i].kind;
    for (std::size_t i = 1; i < kCount; ++i)
        for (std::size_t j = i; j > 0 && RowOf(order[j]).order < RowOf(order[j - 1]).order; --j) std::swap(order[j], order[j - 1]);
    return order;
}();

// f.template operator()<K>() for every kind, in row order or in section order.
template <class F>
constexpr void ForEach(F&& f) {
    [&]<std::size_t... I>(std::index_sequence<I...>) { (f.template operator()<static_cast<Kind>(I)>(), ...); }(
        std::make_index_sequence<kCount>{});
}
template <class F>
constexpr void ForEachInSectionOrder(F&& f) {
    [&]<std::size_t... I>(std::index_sequence<I...>) { (f.template operator()<kSectionOrder[I]>(), ...); }(
        std::make_index_sequence<kCount>{});
}

// The kind of an entity name without regard to letter case; false for a
// name the model does not type.
bool Find(std::string_view name, Kind& kind);

}  // namespace kinds
}  // namespace ormavec
