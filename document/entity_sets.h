// What ENTITIES and a block do alike with the collections of the kinds list
// they hold: one dispatch for reading, one order for writing, measuring and
// counting handles.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "document/blocks.h"
#include "document/entities.h"
#include "document/r12_save.h"

namespace ormavec {

int32_t CurrentVersionMode() noexcept;

namespace entity_sets {

// The notes of a preserving read on a record: the values of absent fields,
// which were absent, whether it carried pairs no field took.
template <class R>
void noteRead(R& record, uint64_t seen, bool extras) {
    ApplyKeptDefaults(record, kCodedFields<R> & ~seen);
    const uint64_t absent = kCodedFields<R> & ~seen & ((uint64_t{1} << kKeptAbsentBits) - 1);
    record.kept.pairs |= static_cast<uint32_t>(absent) << kKeptAbsentShift;
    if (extras) record.kept.pairs |= kKeptExtras;
}

inline void keepAt(ReadScratch& scratch, uint32_t place, uint32_t handle, std::vector<DxfEntry>& extras) {
    if ((handle == 0 && extras.empty()) || !scratch.kept) return;
    if (!*scratch.kept) *scratch.kept = std::make_shared<KeptEntities>();
    (*scratch.kept)->KeepTyped(place, handle, &extras);
}

// The records read nested in the one at place (tKeptRead.nested), at the m
// places after it, the SEQEND at the last.
template <class R>
void keepNested(R& record, uint32_t place, uint32_t m, ReadScratch& scratch) {
    KeptRead& k = tKeptRead;
    const std::span<KeptRead::Nested> nested(k.nested.data(), k.nestedCount);
    record.keptNested.value = m;
    uint32_t at = place;
    if constexpr (std::is_same_v<R, INSERT_ENT>) {
        int64_t i = 0;
        for (KeptRead::Nested& n : nested) {
            ++at;
            if (n.kind == kNestedAttrib && record.ATTRIBS && i < record.ATTRIBS->Count()) {
                ATTRIB_ENT& a = record.ATTRIBS->SlotOf(i++);
                a.kept.place = at;
                noteRead(a, n.seen, !n.extras.empty());
            }
            keepAt(scratch, n.kind == kNestedSeqEnd ? place + m : at, n.handle, n.extras);
        }
    } else {
        // Vertices, then faces, as the model holds them.
        uint32_t form = ~0u;
        for (int kind : {kNestedVertex, kNestedFace})
            for (KeptRead::Nested& n : nested)
                if (n.kind == kind) {
                    form &= static_cast<uint32_t>(n.seen);
                    keepAt(scratch, ++at, n.handle, n.extras);
                }
        record.keptVertexForm.value = form;
        for (KeptRead::Nested& n : nested)
            if (n.kind == kNestedSeqEnd) keepAt(scratch, place + m, n.handle, n.extras);
    }
}

template <Kind K, class Set>
void readOne(DXFReader& reader, const Set& set, ReadScratch& scratch) {
    // A failing read leaves the list as it was.
    KindRecord<K> record;
    tLineTypeSeen = {scratch.preserve, false};
    if (scratch.preserve) tKeptRead.Arm(), tKeptRead.nestedCount = 0;
    ReadEntity(reader, record, scratch);
    // A picture draws in the order read (SPLINEs and HATCHes kept raw among the typed).
    if (scratch.keepSplines && !scratch.preserve) record.kept.place = scratch.NextPlace();
    if (scratch.preserve) {
        KeptRead& k = tKeptRead;
        // Records read nested take the places after the record's own, the
        // SEQEND's always reserved.
        uint32_t m = 0;
        if constexpr (requires { record.keptNested; })
            if (k.nestedCount) m = static_cast<uint32_t>(k.nestedCount) + (k.nested[k.nestedCount - 1].kind == kNestedSeqEnd ? 0 : 1);
        record.kept.place = scratch.NextPlaces(1 + m);
        if (!tLineTypeSeen.seen) record.kept.pairs |= kKeptNoLineType;
        noteRead(record, k.seen, !k.extras.empty());
        keepAt(scratch, record.kept.place, k.handle, k.extras);
        if constexpr (requires { record.keptNested; })
            if (m) {
                keepNested(record, record.kept.place, m, scratch);
                // The slots a very long polyline grew are given back.
                if (k.nested.size() > 4096) k.nested = {}, k.nestedCount = 0;
            }
    }
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
    // The typed HATCH holds polyline and line-edge paths only and writes its
    // fill solid: a preserving read keeps a block's HATCH whole, as its pairs,
    // as it keeps those of ENTITIES (a host finds them with the set's kept
    // entities; the render draws either).
    if (kind == Kind::Hatch && scratch.preserve) return false;
    if (kinds::RowOf(kind).read == kinds::Read::VersionMode6 && CurrentVersionMode() <= 5) return false;
    read(reader, set, scratch);
    return true;
}

// An entity the set does not read, its 0/<name> pair just read: a
// preserving read keeps its pairs in raw (made at need) and returns true;
// otherwise it is counted and its pairs are the caller's to pass over.
inline bool PassOver(DXFReader& reader, std::string_view name, std::shared_ptr<KeptEntities>& raw, ReadScratch& scratch) {
    // An image or underlay keeps its definition with the drawing's objects.
    const bool kept = scratch.preserve || (scratch.keepSplines && (EqualsNoCase(name, "SPLINE") || EqualsNoCase(name, "HATCH")));
    if (!kept) {
        if (scratch.lost) {
            auto it = scratch.lost->entities.find(name);
            if (it == scratch.lost->entities.end()) it = scratch.lost->entities.emplace(std::string(name), 0).first;
            ++it->second;
        }
        return false;
    }
    if (!raw) raw = std::make_shared<KeptEntities>();
    raw->Read(reader, name, scratch.NextPlace());
    return true;
}

inline const KeptEntities* RawOf(const ENTITIES& e) noexcept { return e.Kept().get(); }
inline const KeptEntities* RawOf(const BLOCK_BLOCK& b) noexcept { return b.Kept.get(); }

template <Kind K, class Set>
void writeAt(SaveContext& save, const Set& set, int32_t index) {
    WriteEntity(save, ListIn<K>(set)->ItemRef(index));
}

// Every record the set writes. A Standard save writes those read by a
// preserving load, typed or kept raw, in the order read, then those the host
// added; otherwise kind after kind in section order, an R12 save writing what
// that version holds in place of each record.
template <class Set>
void WriteAll(SaveContext& save, const Set& set) {
    if (!save.Standard()) {
        kinds::ForEachInSectionOrder([&]<Kind K>() {
            if constexpr (Holds<Set, K> && kinds::RowOf(K).write) {
                const auto& list = ListIn<K>(set);
                if (!list) return;
                if (!save.R12()) return list->WriteOut(save);
                if (r12::kLeftOut<KindRecord<K>>) save.r12LeftOut[static_cast<std::size_t>(K)] += list->Count();
                for (const auto& r : *list) r12::ForEachRecord(r, save.r12Tolerance, [&](const auto& x) { WriteEntity(save, x); });
            }
        });
        if (save.R12() && RawOf(set)) r12::WriteKept(save, *RawOf(set));
        return;
    }
    // The set's kept pairs and handles, for the records' writers.
    struct KeptSetScope {
        SaveContext& save;
        const KeptEntities* before;
        ~KeptSetScope() { save.keptSet = before; }
    } keptScope{save, std::exchange(save.keptSet, RawOf(set))};
    using Writer = void (*)(SaveContext&, const Set&, int32_t);
    static constexpr std::array<Writer, kinds::kCount> kWriters = [] {
        std::array<Writer, kinds::kCount> t{};
        kinds::ForEach([&]<Kind K>() {
            if constexpr (Holds<Set, K>) t[static_cast<std::size_t>(K)] = &writeAt<K, Set>;
        });
        return t;
    }();
    constexpr uint32_t kRaw = kinds::kCount;
    struct Item {
        uint32_t place;
        uint32_t kind;
        int32_t index;
    };
    std::vector<Item> items;
    std::size_t count = RawOf(set) ? RawOf(set)->Items().size() : 0;
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set)) count += static_cast<std::size_t>(list->Count());
    });
    items.reserve(count);
    kinds::ForEachInSectionOrder([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write)
            if (const auto& list = ListIn<K>(set)) {
                int32_t i = 0;
                for (const auto& r : *list) items.push_back({r.kept.place ? r.kept.place : UINT32_MAX, static_cast<uint32_t>(K), i++});
            }
    });
    const KeptEntities* raw = RawOf(set);
    if (raw)
        for (std::size_t j = 0; j < raw->Items().size(); ++j) items.push_back({raw->Items()[j].Place, kRaw, static_cast<int32_t>(j)});
    std::stable_sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.place < b.place; });
    for (const Item& it : items) {
        if (it.kind == kRaw)
            KeptEntities::Write(save, raw->Items()[static_cast<std::size_t>(it.index)]);
        else
            kWriters[it.kind](save, set, it.index);
    }
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
    if (const KeptEntities* raw = RawOf(set)) n += raw->Count();
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

// The name as the writer writes it: an empty text is written as the field's
// fallback, unless a Standard save (asRead) gives back the empty text a
// preserving load read.
template <int32_t Code, class R>
std::string_view NamedBy(const R& r, bool asRead) {
    std::string_view name;
    int32_t i = 0;
    ForEachFieldDecl<R>([&](const auto& f) {
        if constexpr (std::is_same_v<typename std::remove_cvref_t<decltype(f)>::Member, std::string>)
            if (f.code == Code) {
                name = r.*f.member;
                bool readEmpty = false;
                if constexpr (requires { r.kept.pairs; })
                    readEmpty = asRead && r.kept.place != 0 && i < kKeptAbsentBits && !((r.kept.pairs >> (kKeptAbsentShift + i)) & 1);
                if (name.empty() && f.hasFallback && !readEmpty) name = f.fallback;
            }
        ++i;
    });
    return name;
}

// f(name) for the table entry (text style: 7, line type: 6) every written
// record of the set names, kind after kind in row order; asRead as NamedBy's.
template <int32_t Code, class Set, class F>
void ForEachNamed(const Set& set, bool asRead, F&& f) {
    kinds::ForEach([&]<Kind K>() {
        if constexpr (Holds<Set, K> && kinds::RowOf(K).write && DeclaresCode<KindRecord<K>>(Code))
            if (const auto& list = ListIn<K>(set))
                for (const auto& r : *list) f(NamedBy<Code>(r, asRead));
    });
    if (const KeptEntities* raw = RawOf(set))
        for (const RawEntity& e : raw->Items())
            for (const DxfEntry& p : e.Pairs)
                if (p.Code == Code) f(std::string_view(p.Value));
}
// The blocks an INSERT, or a kept dimension or table, draws.
template <class Set, class F>
void ForEachBlockNamed(const Set& set, F&& f) {
    if constexpr (Holds<Set, Kind::Insert>)
        if (const auto& list = ListIn<Kind::Insert>(set))
            for (const auto& r : *list) f(std::string_view(r.BlockName));
    if (const KeptEntities* raw = RawOf(set))
        for (const RawEntity& e : raw->Items()) {
            if (!EqualsNoCase(e.Name, "DIMENSION") && !EqualsNoCase(e.Name, "ARC_DIMENSION") &&
                !EqualsNoCase(e.Name, "LARGE_RADIAL_DIMENSION") && !EqualsNoCase(e.Name, "ACAD_TABLE") && !EqualsNoCase(e.Name, "INSERT"))
                continue;
            for (const DxfEntry& p : e.Pairs)
                if (p.Code == 2) {
                    f(std::string_view(p.Value));
                    break;
                }
        }
}
template <class Set, class F>
void ForEachStyleNamed(const Set& set, bool asRead, F&& f) {
    ForEachNamed<7>(set, asRead, static_cast<F&&>(f));
}

}  // namespace entity_sets
}  // namespace ormavec
