// What ENTITIES and a block do alike with the collections of the kinds list
// they hold: one dispatch for reading, one order for writing, measuring and
// counting handles.
#pragma once

#include <array>
#include <cstdint>

#include "document/blocks.h"
#include "document/entities.h"

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

// Every record the set writes, kind after kind in section order.
template <class Set>
void WriteAll(DXFWriter& writer, const Set& set, int32_t& handle) {
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set)) list->WriteOut(writer, handle);
    });
}

// The handles WriteAll takes.
template <class Set>
int64_t HandlesOf(const Set& set) {
    int64_t n = 0;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write) {
            const auto& list = ListIn<K>(set);
            if (!list) return;
            n += list->Count();
            if constexpr (HasSequence<KindRecord<K>>)
                for (const auto& r : *list) n += SequenceHandles(r);
        }
    });
    return n;
}

// f(name) for the text style every record of the set names, kind after
// kind in row order.
template <class Set, class F>
void ForEachStyleNamed(const Set& set, F&& f) {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && NamesStyle<KindRecord<K>>)
            if (const auto& list = ListIn<K>(set))
                for (const auto& r : *list) f(WrittenStyle(r));
    });
}

}  // namespace entity_sets
}  // namespace ormavec
