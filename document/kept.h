// What a preserving load keeps beside the typed model, so that a Standard
// save writes the drawing back without losing what the records do not hold.
//
// Where kept content lives:
// - A typed record grows by one 8-byte slot (KeptSlot): its place in its
//   section as read (draw order) and a 32-bit id reserved for its kept pairs
//   (KeptSlot in entities/records.h).
//   The slot is bookkeeping, not value: records compare equal whatever it
//   holds, and a record added by the host has place 0 (written after the
//   read ones, in kind order). Copies keep the place of their source; a
//   handle already written is never written again (the copy gets a new one).
// - Entities of kinds the model does not type, and typed kinds where a set
//   does not keep them (ATTDEF, SOLID in blocks, HATCH in ENTITIES), are kept
//   as raw pairs in the set that read them (KeptEntities), with their place;
//   the Standard save merges them with the typed records by place.
// - The tables the model does not type (VPORT, VIEW, UCS, APPID, DIMSTYLE,
//   BLOCK_RECORD, any other) are kept alike, entry by entry, with the pairs
//   of each table's head; the typed tables keep their heads' and entries'
//   handles by name, blocks the handles of their BLOCK and ENDBLK pairs.
//   Block records are written for the blocks of the model, by name: a
//   record whose block the host removed is not written.
// - The CLASSES and OBJECTS sections are kept as pairs, object by object,
//   and written as read (owners included) in place of the fixed ones; the
//   fixed ones stay for a drawing that had none.
// - Header variables are kept in order on the HEADER, as pairs; those the
//   model types are written from the model where they stood.
// - Handles: kept entities, typed records, entries, table heads, blocks and
//   objects keep theirs (a repeat gets a new one); a save numbers what it writes from
//   above every handle kept content carries or points to, so that a kept
//   pointer to something not written dangles instead of reaching something
//   else, and a save of a save numbers alike.
// - Typed records (entities in ENTITIES and blocks) keep what their fields do
//   not take beside them, not in them: the set's KeptEntities holds, by the
//   record's place, its handle (as runs, so that a drawing numbered in order
//   costs a few entries) and the pairs no field took (XDATA, 102 groups,
//   extrusion, 370, 420, 440, 48, 60, 67, any unknown code), each run of them
//   after the pair it followed in the file. A Standard save writes them back
//   after the same pair of its write order (a subclass marker by its name),
//   what finds no such place before the XDATA, and the XDATA last; an entity
//   of ENTITIES with 67 1 stays owned by the paper space. Places are unique
//   in the process, so a record the host copies into another set or
//   document finds nothing there, and a deleted record is simply not
//   written. The slot's word says whether the record has such pairs (so
//   that a drawing without them costs no lookup and no allocation) and, one
//   bit per field position, which fields were absent: those still holding
//   their read value are not written (a changed one is). Its top bits are
//   the kind's own notes of how the file gave what its read code takes (a
//   polyline's vertex Z, widths and bulges, a face's edge flags, a 66), so
//   that such pairs come back as given.
// - Records read nested in a typed one (an insert's attributes, a
//   polyline's vertices, their SEQEND) take the places right after it and
//   keep their handles and pairs alike; the record counts them (keptNested),
//   so that a save finds its SEQEND and, while the polyline has as many
//   vertices as it was read with, each vertex's (by position).
// - Typed table entries (layers, styles, line types) keep, by name, that
//   they were read and which fields were absent, and the pairs no field took
//   (a line type's per-element pairs after the 49 they followed); a read
//   entry gets no constant pair it did not have.
// - Nothing is kept on a load that does not preserve (the Classic path): it
//   only counts what it passes over (NotKept), so that the loss is said.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "io/reader.h"

namespace ormavec {

class SaveContext;

// A handle's hexadecimal text as a number; 0 for a text that is no handle
// of the 31-bit range a save writes.
uint32_t ParseHandle(std::string_view text) noexcept;

// A pair a typed record carried beyond its fields, as its set keeps it:
// 16 bytes, its text in the set's own store (many records carry one or two
// such pairs, often the same texts). A real number whose text is its value
// written with the text's own decimals ("12.50", "-3", "7.") keeps the value
// instead (no text bytes: an aligned TEXT's point is three such pairs).
// The first pair of a run may carry the code of the pair the run followed
// in the file (After()), so that the run needs no anchor entry of its own.
struct KeptPair {
    int32_t Code;
    uint32_t Size;  // the text's size, or the number's form; and the flags below
    union {
        const char* Text;
        double Num;
    };
    static constexpr uint32_t kNumber = 1u << 31;  // Num holds the value; the low bits give the form
    static constexpr uint32_t kAfter = 1u << 30;   // bits kAfterShift.. hold the code the run followed
    static constexpr int kAfterShift = 19;
    static constexpr uint32_t kAfterCodes = 1u << 11;
    static constexpr uint32_t kPoint = 1u << 5;  // a number's form: a point; decimals in the bits below
    bool IsNumber() const noexcept { return Size & kNumber; }
    // The code of the pair the run that starts here followed; -1 for none.
    int32_t After() const noexcept { return Size & kAfter ? static_cast<int32_t>((Size >> kAfterShift) & (kAfterCodes - 1)) : -1; }
    // The text of a pair kept as text ({} for a number: see Format).
    std::string_view Value() const noexcept {
        return IsNumber() ? std::string_view() : std::string_view(Text, Size & (Size & kAfter ? (1u << kAfterShift) - 1 : kAfter - 1));
    }
    // The pair's text as the file had it; buf holds a number's text.
    std::string_view Format(char (&buf)[48]) const noexcept;
    double Number() const noexcept;  // the value, for a text 0 unless a number
};

// One entity kept as the pairs of the file, its 0/<name> pair aside.
struct RawEntity {
    std::string Name;
    uint32_t Place = 0;
    std::vector<DxfEntry> Pairs;
    // The handle it carried (group 5, or 105 for a DIMSTYLE entry), 0 for
    // none or one that is no handle.
    uint32_t Handle(int32_t code = 5) const noexcept;
};

// The raw entities of one entity set, in the order read.
class KeptEntities {
public:
    const std::vector<RawEntity>& Items() const noexcept { return items_; }
    std::vector<RawEntity>& Items() noexcept { return items_; }
    int64_t Count() const noexcept { return static_cast<int64_t>(items_.size()); }
    // Reads the pairs after 0/<name> up to the next code-0 pair (pushed back).
    void Read(DXFReader& reader, std::string_view name, uint32_t place);
    // Writes one with the save's owner and the handle it carried, so that
    // what points to it still does; a fresh handle when it carried none or
    // one already written. Groups that point into objects a save does not
    // write (reactors, extension dictionaries) are left out.
    // Returns the handle written.
    static int32_t Write(SaveContext& save, const RawEntity& e, int32_t handleCode = 5);
    // Writes a CLASSES or OBJECTS section of kept items: objects as read,
    // classes (which carry no handle) pair by pair.
    static void WriteSection(SaveContext& save, std::string_view section, const KeptEntities& kept);
    // Reads entries (0/<name> and their pairs) up to the pair with the code 0
    // and the value end (pushed back) or the end of the input.
    void ReadUpTo(DXFReader& reader, std::string_view end);
    // The largest handle the kept entries and typed records carry or point
    // to (0 for none).
    uint32_t MaxHandle(int32_t handleCode = 5) const noexcept;

    // What a typed record read at place carried beyond its fields (see
    // KeptRead in io/fields.h): its handle, and its pairs no field took.
    // Places are unique in the process, so a record copied from another
    // set finds nothing here.
    // (handle: as ParseHandle gives it, 0 for none)
    void KeepTyped(uint32_t place, uint32_t handle, std::vector<DxfEntry>* extras);
    std::span<const KeptPair> ExtrasOf(uint32_t place) const noexcept;  // empty for none
    uint32_t HandleOf(uint32_t place) const noexcept;
    // The pairs no field took of the typed record read at place (record.kept.place),
    // as (code, text) in the order read: what a host reads of them.
    std::vector<DxfEntry> PairsOf(uint32_t place) const;
    bool Empty() const noexcept { return items_.empty() && handles_.empty() && extras_.empty() && extrasAside_.empty(); }

private:
    std::vector<RawEntity> items_;
    // Handles by place as runs: place + i carried handle + i for i < count,
    // so that records numbered in order cost one run.
    struct HandleRun {
        uint32_t place, handle, count;
    };
    std::deque<HandleRun> handles_;  // no copy as they grow
    // Extra pairs in chunks that never move once filled (no copy as they
    // grow), and per record with some its place and where they lie: a few
    // bytes per record beside the pairs, no allocation of its own.
    static constexpr std::size_t kExtrasChunk = 1024;
    std::vector<std::vector<KeptPair>> extrasChunks_;
    // The pairs' texts: pieces that never move, shared by copies of the set;
    // the few short texts seen last are stored once.
    const char* storeText(std::string_view text);
    static constexpr std::size_t kTextPiece = 16 << 10;
    std::vector<std::shared_ptr<char[]>> textPieces_;
    std::size_t textSize_ = 0, textUsed_ = 0;  // of the piece texts go to
    std::array<std::string_view, 8> recentTexts_{};
    std::size_t recentNext_ = 0;
    // Where a record's pairs begin: its chunk (above kBeginBits) and the
    // index in it; they end where the next record's begin in the same chunk,
    // or at the chunk's end. 8 bytes per record with pairs.
    static constexpr uint32_t kBeginBits = 10;  // kExtrasChunk pairs
    struct ExtrasAt {
        uint32_t place, where;
    };
    std::deque<ExtrasAt> extras_;
    // A record kept again or out of place order (not seen from the readers):
    // its pairs fill a chunk of their own.
    std::map<uint32_t, uint32_t> extrasAside_;
    bool chunkClosed_ = false;  // the next pairs start a new chunk
    uint32_t maxTyped_ = 0;
};

// The first of n places unique in the process, taken for one reader in
// increasing order. Places wrap after about four billion entities read in one
// process; order and kept pairs are then no longer told apart.
uint32_t TakePlaces(uint32_t n) noexcept;

// One table the model does not type: its head's pairs (Name: the table's
// name) and its entries; a typed table keeps its head only.
struct KeptTable {
    RawEntity head;
    KeptEntities entries;
};

// What a load passed over without keeping it, by kind of loss.
struct NotKept {
    std::map<std::string, int64_t, std::less<>> entities;  // by entity name
    int64_t headerVariables = 0;
    int64_t objects = 0;
    int64_t xdataEntities = 0;
    int64_t classes = 0;
    int64_t duplicateBlocks = 0;  // blocks dropped for a name already defined
    std::map<std::string, int64_t, std::less<>> tableEntries;  // by table name
    bool Empty() const noexcept {
        return entities.empty() && headerVariables == 0 && objects == 0 && xdataEntities == 0 && classes == 0 && tableEntries.empty() &&
               duplicateBlocks == 0;
    }
    // "784 SPLINE, 12 DIMENSION, 241 header variables, 3 classes,
    // 5 VPORT entries, XDATA of 30 entities"
    std::string Text() const;
};

}  // namespace ormavec
