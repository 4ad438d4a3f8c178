// What ENTITIES and a block do alike with the collections of the kinds list
// they hold: one dispatch for reading, one order for writing, measuring and
// counting handles.
#pragma once

#include <array>
#include <cstdint>

#include "document/blocks.h"
#include "document/entities.h"
#include "document/r12_save.h"

namespace ormavec {

int32_t CurrentVersionMode() noexcept;

namespace entity_sets {

template <Kind K, class Set>
void readOne(DXFReader& reader, const Set& set, ReadScratch& scratch) {
    // A failing read leaves the list as it was.
    KindRecord<K> record;
    ReadEntity(reader, record, scratch);
    ListIn<K>(set)->Add(std::move(record));
}

// Reads one entity of the kind into the set, its 0/<name> pair consumed.
// False when the set does not read the kind: its pairs are then the
// caller's to pass over, as those of a kind the model does not type.
template <class Set>
bool ReadInto(Kind kind, DXFReader& reader, const Set& set, ReadScratch& scratch) {
    using Reader = void (*)(DXFReader&, const Set&, ReadScratch&);
    static constexpr std::array<Reader, kinds::kCount> kReaders = [] {
        std::array<Reader, kinds::kCount> t{};
        kinds::ForEach([&]<Kind K>() {
            if constexpr (Holds<Set, K>)
                if (kinds::RowOf(K).read != kinds::Read::Never) t[static_cast<std::size_t>(K)] = &readOne<K, Set>;
        });
        return t;
    }();
    const Reader read = kReaders[static_cast<std::size_t>(kind)];
    if (!read) return false;
    if (kinds::RowOf(kind).read == kinds::Read::VersionMode6 && CurrentVersionMode() <= 5) return false;
    read(reader, set, scratch);
    return true;
}

// Every record the set writes, kind after kind in section order; an R12
// save writes what that version holds in place of each record.
template <class Set>
void WriteAll(SaveContext& save, const Set& set) {
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write) {
            const auto& list = ListIn<K>(set);
            if (!list) return;
            if (!save.R12()) return list->WriteOut(save);
            if (r12::kLeftOut<KindRecord<K>>) save.r12LeftOut[static_cast<std::size_t>(K)] += list->Count();
            for (const auto& r : *list) r12::ForEachRecord(r, save.r12Tolerance, [&](const auto& x) { WriteEntity(save, x); });
        }
    });
}

// The handles WriteAll takes, counted by the records' own writers.
template <class Set>
int64_t HandlesOf(const Set& set) {
    int64_t n = 0;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set))
                for (const auto& r : *list) n += HandleCount(r);
    });
    return n;
}

// The text style a record names: the field it declares under group 7, or
// that field's fallback when it is empty, as its writer writes it.
template <class R>
constexpr bool DeclaresCode(int32_t code) {
    bool found = false;
    ForEachFieldDecl<R>([&](const auto& f) { found = found || f.code == code; });
    return found;
}

template <class R>
std::string_view StyleNamed(const R& r) {
    std::string_view name;
    ForEachFieldDecl<R>([&](const auto& f) {
        if constexpr (std::is_same_v<typename std::remove_cvref_t<decltype(f)>::Member, std::string>)
            if (f.code == 7) name = (r.*f.member).empty() && f.hasFallback ? f.fallback : std::string_view(r.*f.member);
    });
    return name;
}

// f(name) for the text style every written record of the set names, kind
// after kind in row order.
template <class Set, class F>
void ForEachStyleNamed(const Set& set, F&& f) {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write && DeclaresCode<KindRecord<K>>(7))
            if (const auto& list = ListIn<K>(set))
                for (const auto& r : *list) f(StyleNamed(r));
    });
}

}  // namespace entity_sets
}  // namespace ormavec
