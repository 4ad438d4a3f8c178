// The running state of one save that the writers of records and sections
// share beside the group writer: the handle counter, the owner of what is
// written now, and what one section of a Standard save hands to a later one.
// The group writer only writes pairs; handles, owners and links are here.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "document/kept.h"
#include "entities/kinds.h"
#include "io/error.h"
#include "io/text.h"
#include "io/writer.h"

namespace ormavec {

// Takes the next handle: adds 1 to the running counter of a save and
// returns the new value; fails with an overflow at the 32-bit limit.
inline int32_t NextHandle(int32_t& counter) {
    if (counter == INT32_MAX) RaiseError(err::Overflow, "DXFWriter", "Overflow: the handle counter passed the 32-bit range");
    return ++counter;
}

// A set of handles. A drawing numbers its records densely from 1, so a bit
// per handle (growing with the largest seen) costs 128 KiB for a million of
// them where a hash set would allocate a node each; the rare handles far
// above stay in a hash set, so a hostile one cannot ask for a huge bitmap.
class HandleSet {
public:
    // True when h was not in the set yet.
    bool Insert(uint32_t h) {
        if (h >= kDenseLimit) return sparse_.insert(h).second;
        const std::size_t word = h >> 6;
        if (word >= bits_.size()) bits_.resize(std::max(word + 1, bits_.size() * 2), 0);
        const uint64_t bit = uint64_t{1} << (h & 63);
        if (bits_[word] & bit) return false;
        bits_[word] |= bit;
        return true;
    }
    bool Contains(uint32_t h) const noexcept {
        if (h >= kDenseLimit) return sparse_.contains(h);
        const std::size_t word = h >> 6;
        return word < bits_.size() && (bits_[word] & (uint64_t{1} << (h & 63))) != 0;
    }

private:
    static constexpr uint32_t kDenseLimit = uint32_t{1} << 27;  // 16 MiB of bits at most
    std::vector<uint64_t> bits_;
    std::unordered_set<uint32_t> sparse_;
};

class SaveContext {
public:
    // Numbers from lastHandle + 1 on.
    explicit SaveContext(DXFWriter& writer, int32_t lastHandle = 0) noexcept
        : writer_(writer), standard_(writer.IsStandard()), r12_(writer.IsR12()), last_(lastHandle) {}
    SaveContext(const SaveContext&) = delete;
    SaveContext& operator=(const SaveContext&) = delete;

    DXFWriter& Writer() const noexcept { return writer_; }
    bool Standard() const noexcept { return standard_; }
    bool R12() const noexcept { return r12_; }

    // Takes the next handle; fails with an overflow at the 32-bit limit.
    int32_t TakeHandle() { return NextHandle(last_); }
    // The handle a record carried in the drawing, when no record of this
    // save wrote it yet; else (or for 0) the next handle.
    int32_t KeepHandle(uint32_t source) {
        return source != 0 && keptHandles.Insert(source) ? static_cast<int32_t>(source) : TakeHandle();
    }
    // The next WriteHandle() writes this source handle if it can.
    // Only a Standard save keeps handles.
    void OfferHandle(uint32_t source) noexcept { offered_ = standard_ ? source : 0; }
    // The handle taken last (0 before the first).
    int32_t LastHandle() const noexcept { return last_; }

    // The owner of what is written now; a Standard save writes it under 330
    // after each handle.
    int32_t Owner() const noexcept { return owner_; }
    void SetOwner(int32_t handle) noexcept { owner_ = handle; }
    void WriteOwner() {
        if (standard_) writer_.WriteHandle(330, owner_);
    }
    // Group 5 with the next handle (or the one offered, when no record
    // wrote it yet), then the owner; returns the handle.
    int32_t WriteHandle() {
        const int32_t h = KeepHandle(std::exchange(offered_, 0));
        writer_.WriteHandle(5, h);
        WriteOwner();
        return written_ = h;
    }
    // Group 5 with a handle the record kept (below the first taken), then
    // the owner.
    void WriteKeptHandle(int32_t h) {
        writer_.WriteHandle(5, h);
        WriteOwner();
        written_ = h;
    }
    // The handle the last WriteHandle or WriteKeptHandle wrote: a record's
    // own, for the sequence it owns.
    int32_t WrittenHandle() const noexcept { return written_; }

    // BLOCK_RECORD handles in the order the BLOCKS section writes its blocks
    // (the default model and paper space blocks first).
    std::vector<int32_t> blockRecords;
    int32_t modelSpaceRecord = 0;  // owner of the ENTITIES section
    // The layout object of each model or paper space record, in record order;
    // its handle is taken with the record, the object written with OBJECTS.
    struct Layout {
        int32_t record = 0;
        int32_t object = 0;
    };
    std::vector<Layout> layouts;
    // Text styles that entities name and the STYLE table lacks.
    std::vector<std::string> extraStyles;
    // Line types that layers and entities name and the LTYPE table lacks.
    std::vector<std::string> extraLineTypes;
    // Layers that records name and the LAYER table lacks.
    std::vector<std::string> extraLayers;
    // Blocks that inserts (or kept dimensions and tables) name and BLOCKS
    // lacks: written as empty definitions after the others.
    std::vector<std::string> extraBlocks;
    // R12: the largest distance of an approximating chord from its curve
    // (0: a thousandth of the curve's major radius), and the records of each
    // kind left out as R12 has no such entity.
    double r12Tolerance = 0;
    std::array<int64_t, kinds::kCount> r12LeftOut{};
    // R12: kept entities left out, by name, and kept SPLINEs not drawn, by reason.
    std::map<std::string, int64_t, std::less<>> r12LeftOutKept, r12Undrawn;
    // Handles that kept entities carry and this save wrote; all lie below
    // the first handle the save takes.
    HandleSet keptHandles;
    // The entity set being written, whose records' kept pairs and handles a
    // Standard save writes back (null: none).
    const KeptEntities* keptSet = nullptr;
    int32_t paperSpaceRecord = 0;  // owner of ENTITIES' paper space entities
    // The save writes the drawing's objects: pointers into them are kept.
    bool objectsKept = false;
    // The subclass of the entries of the kept table being written.
    std::string_view entrySubclass;
    // The handles typed table entries carried, by table and upper-case name
    // (see SourceKey).
    std::unordered_map<std::string, uint32_t> sourceHandles;
    static std::string SourceKey(std::string_view table, std::string_view name) {
        std::string key(table);
        key += '\n';
        key += UpperCase(name);
        return key;
    }
    // The pairs typed table entries kept, by the same key (null: none); the
    // extras of the entry whose handle was last offered, for its write.
    const std::unordered_map<std::string, std::vector<DxfEntry>>* sourceExtras = nullptr;
    const std::vector<DxfEntry>* entryExtras = nullptr;
    // Offers the handle the typed entry of this name carried, if any, and
    // readies the pairs it kept.
    void OfferSourceHandle(std::string_view table, std::string_view name) {
        entryExtras = nullptr;
        if (sourceExtras && !sourceExtras->empty())
            if (const auto it = sourceExtras->find(SourceKey(table, name)); it != sourceExtras->end()) entryExtras = &it->second;
        if (sourceHandles.empty()) return;
        const auto it = sourceHandles.find(SourceKey(table, name));
        if (it != sourceHandles.end()) OfferHandle(it->second);
    }

private:
    DXFWriter& writer_;
    bool standard_;
    bool r12_;
    int32_t last_;
    int32_t owner_ = 0;
    int32_t written_ = 0;
    uint32_t offered_ = 0;
};

// Sets the owner for a scope and restores the one before.
class OwnerScope {
public:
    OwnerScope(SaveContext& save, int32_t owner) noexcept : save_(save), before_(save.Owner()) { save.SetOwner(owner); }
    ~OwnerScope() { save_.SetOwner(before_); }
    OwnerScope(const OwnerScope&) = delete;
    OwnerScope& operator=(const OwnerScope&) = delete;

private:
    SaveContext& save_;
    int32_t before_;
};

}  // namespace ormavec
