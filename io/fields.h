// One declaration per record field: its name, the member, the group code it
// is read from, the value it has in a record read from a file, and the text
// written for it when it is an empty string. Every record of the model lists
// its fields once (Fields<R>, beside the record); the field reflection
// (automation, Python, the tests' model comparison), the read table and the
// read defaults all come from that list. A field's place in the list is its
// index, stable while fields are only appended (at most 64 per record).
//
// This header also holds the one loop that reads the pairs of a record, and
// the write orders: explicit lists of pairs, each referring to a field.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "io/reader.h"
#include "io/writer.h"

namespace ormavec {

struct XYZ;

// The value a field starts from in a record read from a file: its own type
// for numbers and flags, a text for strings, nothing for the rest.
template <class M>
using FieldDefault = std::conditional_t<std::is_arithmetic_v<M>, M,
                                        std::conditional_t<std::is_same_v<M, std::string>, std::string_view, std::nullptr_t>>;

// How a value read from the field's group code is taken.
enum class FieldRead : uint8_t {
    None,   // the field has no code of its own (read in code, or not at all)
    Value,  // converted to the member's type (a point: X, Y, Z from code, code + 10, code + 20)
    IsOne,  // a flag, true when the value is the integer 1
};

template <class R, class M>
struct Field {
    using Record = R;
    using Member = M;
    std::string_view name;
    M R::*member = nullptr;
    int32_t code = -1;
    FieldRead read = FieldRead::None;
    bool hasDefault = false;
    FieldDefault<M> readDefault{};
    // Written instead of an empty string (when hasFallback).
    bool hasFallback = false;
    std::string_view fallback;

    constexpr Field Default(FieldDefault<M> value) const {
        Field f = *this;
        f.hasDefault = true;
        f.readDefault = value;
        return f;
    }
    // What a preserving read gives the field when its pair is absent, where
    // the record's own default is not what the format means by leaving the
    // pair out (MTEXT without 62 is drawn by layer, not by block).
    bool hasKeptDefault = false;
    FieldDefault<M> keptDefault{};
    constexpr Field KeptDefault(FieldDefault<M> value) const {
        Field f = *this;
        f.hasKeptDefault = true;
        f.keptDefault = value;
        return f;
    }
    constexpr Field Fallback(std::string_view text) const {
        Field f = *this;
        f.hasFallback = true;
        f.fallback = text;
        return f;
    }
    // Default and fallback of the same text.
    constexpr Field Both(std::string_view text) const { return Default(text).Fallback(text); }
    constexpr Field IsOne() const {
        Field f = *this;
        f.read = FieldRead::IsOne;
        return f;
    }
};

// A field read from a group code; without a code, one the reader does not
// fill by its table.
template <class R, class M>
constexpr Field<R, M> F(std::string_view name, M R::*member, int32_t code = -1) {
    Field<R, M> f;
    f.name = name;
    f.member = member;
    f.code = code;
    f.read = code < 0 ? FieldRead::None : FieldRead::Value;
    return f;
}

// Fields<R>::list: the std::tuple of the record's fields, in record order.
// Fields<R>::checked (optional): codes that are converted as numbers, so that
// a bad number fails, but not kept.
template <class R>
struct Fields;

#define ORMAVEC_F(name, ...) ::ormavec::F(#name, &R::name __VA_OPT__(, ) __VA_ARGS__)

template <class R>
inline constexpr std::size_t kFieldCount = std::tuple_size_v<std::remove_const_t<decltype(Fields<R>::list)>>;

// f(field) for every field declaration of the record, in order.
template <class R, class Fn>
constexpr void ForEachFieldDecl(Fn&& f) {
    std::apply([&](const auto&... field) { (f(field), ...); }, Fields<R>::list);
}

// The positions of the fields read from a group code, as bits.
template <class R>
inline constexpr uint64_t kCodedFields = [] {
    uint64_t m = 0;
    int i = 0;
    ForEachFieldDecl<R>([&](const auto& f) {
        if (f.read != FieldRead::None && i < 64) m |= uint64_t{1} << i;
        ++i;
    });
    return m;
}();

// f(name, member pointer) for every field of the record, in order.
template <class R, class Fn>
constexpr void ForEachField(Fn&& f) {
    ForEachFieldDecl<R>([&](const auto& field) { f(field.name, field.member); });
}

// ---- reading ----

namespace fields_detail {

template <class R>
concept HasChecked = requires { Fields<R>::checked; };

// One entry of a record's read table: where the value of a code goes.
template <class R>
struct ReadSlot {
    enum class As : uint8_t { String, Double, Int, Bool, Dropped };
    As as = As::Dropped;
    std::string R::*str = nullptr;
    double R::*dbl = nullptr;
    int32_t R::*i32 = nullptr;
    bool R::*flag = nullptr;
    XYZ R::*xyz = nullptr;  // with axis: one coordinate of a point
    double XYZ::*axis = nullptr;
    uint8_t field = 0;  // the field's position + 1; 0 for a checked code

    void apply(const DXFReader& reader, std::string_view value, R& r) const {
        switch (as) {
        case As::String: (r.*str).assign(value.data(), value.size()); break;
        case As::Double:
            if (xyz)
                (r.*xyz).*axis = reader.ToDouble(value);
            else
                r.*dbl = reader.ToDouble(value);
            break;
        case As::Int: r.*i32 = reader.ToInt32(value); break;
        case As::Bool: r.*flag = reader.ToInt32(value) == 1; break;
        case As::Dropped: (void)reader.ToDouble(value); break;  // converted, so a bad number still fails
        }
    }
};

// Group code -> read slot, for the codes below kCodes.
template <class R>
class ReadTable {
public:
    static constexpr int32_t kCodes = 1072;

    ReadTable() {
        ForEachFieldDecl<R>([&](const auto& field) {
            ++position_;
            add(field);
        });
        if constexpr (HasChecked<R>)
            for (int32_t code : Fields<R>::checked) put(code, ReadSlot<R>{});
    }

    // The position + 1 of the field that took the value; 0 for none.
    uint8_t Apply(const DXFReader& reader, const DXFReader::Pair& p, R& r) const {
        if (p.Code < 0 || p.Code >= kCodes) return 0;
        const uint8_t k = index_[static_cast<std::size_t>(p.Code)];
        if (!k) return 0;
        slots_[k - 1].apply(reader, p.Value, r);
        return slots_[k - 1].field;
    }

private:
    template <class M>
    void add(const Field<R, M>& field) {
        if (field.read == FieldRead::None) return;
        ReadSlot<R> s;
        s.field = position_;
        if constexpr (std::is_same_v<M, std::string>) {
            s.as = ReadSlot<R>::As::String;
            s.str = field.member;
        } else if constexpr (std::is_same_v<M, double>) {
            s.as = ReadSlot<R>::As::Double;
            s.dbl = field.member;
        } else if constexpr (std::is_same_v<M, int32_t>) {
            s.as = ReadSlot<R>::As::Int;
            s.i32 = field.member;
        } else if constexpr (std::is_same_v<M, bool>) {
            s.as = ReadSlot<R>::As::Bool;
            s.flag = field.member;
        } else if constexpr (std::is_same_v<M, XYZ>) {
            // The three coordinates, at code, code + 10 and code + 20.
            double M::*axes[3] = {&M::X, &M::Y, &M::Z};
            for (int32_t i = 0; i < 3; ++i) {
                ReadSlot<R> axis;
                axis.as = ReadSlot<R>::As::Double;
                axis.xyz = field.member;
                axis.axis = axes[i];
                axis.field = position_;
                put(field.code + 10 * i, axis);
            }
            return;
        } else {
            return;  // arrays and shared collections are read in code
        }
        put(field.code, s);
    }
    // The first declaration of a code wins.
    void put(int32_t code, const ReadSlot<R>& s) {
        if (code < 0 || code >= kCodes || index_[static_cast<std::size_t>(code)] != 0) return;
        slots_.push_back(s);
        index_[static_cast<std::size_t>(code)] = static_cast<uint8_t>(slots_.size());
    }

    std::vector<ReadSlot<R>> slots_;
    std::array<uint8_t, kCodes> index_{};
    uint8_t position_ = 0;
};

}  // namespace fields_detail

template <class R>
const fields_detail::ReadTable<R>& ReadTableOf() {
    static const fields_detail::ReadTable<R> table;
    return table;
}

// The record as a file's record starts: empty, then the declared defaults.
template <class R>
void ResetToDefaults(R& record) {
    record = R{};
    ForEachFieldDecl<R>([&](const auto& field) {
        using M = typename std::remove_cvref_t<decltype(field)>::Member;
        if constexpr (!std::is_same_v<FieldDefault<M>, std::nullptr_t>)
            if (field.hasDefault) record.*(field.member) = field.readDefault;
    });
}

// A preserving read's values for the fields whose pairs were absent (bit i of
// absent: field i), where they differ from the plain read's.
template <class R>
void ApplyKeptDefaults(R& record, uint64_t absent) {
    int i = 0;
    ForEachFieldDecl<R>([&](const auto& field) {
        using M = typename std::remove_cvref_t<decltype(field)>::Member;
        if constexpr (!std::is_same_v<FieldDefault<M>, std::nullptr_t>)
            if (field.hasKeptDefault && i < 64 && ((absent >> i) & 1)) record.*(field.member) = field.keptDefault;
        ++i;
    });
}

// What the loop does with a pair after a record's hook has seen it.
enum class PairIs : uint8_t {
    Field,     // taken by the field declared for its code, if any
    Taken,     // the hook took it
    End,       // the record ends before it: pushed back
    EndTaken,  // the record ends with it
    Kept,      // no field takes it, whatever its code: a preserving read keeps it
    KeptWhole,  // as Kept, and so is all that follows up to the record's end, written
                // last as read (an embedded object: its markers and handles are its own)
};

// The hook of most records: a code-0 pair ends the record.
struct EndAtCodeZero {
    template <class R>
    PairIs operator()(const DXFReader::Pair& p, R&) const noexcept {
        return p.Code == 0 ? PairIs::End : PairIs::Field;
    }
};

// A preserving read arms this before a record's read; the record's own loop
// then notes whether it met group 6 (its line type), so that a record that
// had none is written without one: "by layer" stays so.
struct LineTypeSeen {
    bool armed = false;
    bool seen = false;
};
inline thread_local LineTypeSeen tLineTypeSeen;

// What a preserving read notes of one record beside its fields, armed like
// tLineTypeSeen: the field positions met, the handle's text, and the pairs no
// field took, each run of them after an anchor entry (code -1 - c, the value
// a marker's name for c = 100) naming the pair it followed, so that a save
// writes it back in that place; anchor 0 is the record's end (XDATA). The
// loop stops noting at a code-0 pair its hook takes (a nested record).
uint32_t ParseHandle(std::string_view text) noexcept;  // document/kept.h

struct KeptRead {
    bool armed = false;
    uint64_t seen = 0;
    uint32_t handle = 0;  // 0: none, or no handle
    bool handleSeen = false;
    std::vector<DxfEntry> extras;
    std::string marker;  // the last subclass marker's name, when long (KeptNotes)

    void Arm() {
        armed = true;
        seen = 0;
        handle = 0;
        handleSeen = false;
        extras.clear();
    }

    // The notes of the records read nested in the one being read (an
    // insert's attributes, a polyline's vertices, their SEQEND), in the order
    // read; the slots keep their room from record to record.
    struct Nested {
        uint32_t handle = 0;
        std::vector<DxfEntry> extras;
        uint64_t seen = 0;
        int kind = 0;  // the reading code's own tag
    };
    std::vector<Nested> nested;
    std::size_t nestedCount = 0;

    // Runs read() as the read of a nested record, its notes going to the
    // next nested slot; those of the enclosing record stay as they were (its
    // loop notes nothing after a nested record).
    template <class F>
    Nested& ReadNested(int kind, F&& read) {
        if (nestedCount == nested.size()) nested.emplace_back();
        Nested& slot = nested[nestedCount++];
        slot.extras.clear();
        slot.kind = kind;
        std::swap(extras, slot.extras);
        const uint64_t outerSeen = seen;
        const uint32_t outerHandle = handle;
        const bool outerArmed = armed, outerHandleSeen = handleSeen;
        Arm();
        read();
        armed = outerArmed;
        slot.handle = std::exchange(handle, outerHandle);
        handleSeen = outerHandleSeen;
        std::swap(extras, slot.extras);
        slot.seen = std::exchange(seen, outerSeen);
        return slot;
    }
};
inline thread_local KeptRead tKeptRead;

namespace fields_detail {

// The notes of one read loop, on the stack: cheap for a record whose every
// pair a field takes.
struct KeptNotes {
    explicit KeptNotes(KeptRead& kept) noexcept : k(kept) {}
    KeptRead& k;
    int32_t anchor = -1;  // code of the last pair taken; -1: none yet
    bool anchored = false;  // an anchor entry for it is in extras
    bool inClass = false, ownerSeen = false, in102 = false, xdata = false, whole = false;
    // The last subclass marker's name, on the stack (most are short; a longer
    // one goes to k.marker): copied for every record, used for few.
    uint8_t markerSize = 0;  // kLongMarker: in k.marker
    static constexpr uint8_t kLongMarker = 255;
    char marker[32];

    void Taken(int32_t code) noexcept {
        if (code != anchor || code == 100) anchored = false;
        anchor = code;
    }
    void Extra(DXFReader& reader, const DXFReader::Pair& p) {
        const int32_t code = p.Code;
        if (code == 100) {
            inClass = true;
            if (p.Value.size() <= sizeof marker) {
                std::memcpy(marker, p.Value.data(), p.Value.size());
                markerSize = static_cast<uint8_t>(p.Value.size());
            } else {
                k.marker.assign(p.Value);
                markerSize = kLongMarker;
            }
            Taken(100);
            return;
        }
        if (code == 5 && !k.handleSeen && !in102) {
            k.handleSeen = true;
            k.handle = ParseHandle(p.Value);
            Taken(5);
            return;
        }
        if (code == 330 && !inClass && !ownerSeen && !in102) {  // the owner: a save writes its own
            ownerSeen = true;
            Taken(5);
            return;
        }
        if (code == 102) in102 = !p.Value.empty() && p.Value.front() == '{';
        if (code >= 1000 && !xdata && !in102) {
            xdata = true;
            anchor = 0;
            anchored = false;
        }
        if (!anchored) {
            k.extras.push_back({-1 - (anchor < 0 ? 5 : anchor),
                                anchor != 100 ? std::string() : markerSize == kLongMarker ? k.marker : std::string(marker, markerSize)});
            anchored = true;
        }
        k.extras.push_back({code, std::string(reader.WithText().Value)});
    }
    // A pair of what runs whole to the record's end: after everything else.
    void Whole(DXFReader& reader, const DXFReader::Pair& p) {
        if (!whole) {
            whole = xdata = true;
            k.extras.push_back({-1, std::string()});  // a run of its own, at the end
        }
        k.extras.push_back({p.Code, std::string(reader.WithText().Value)});
    }
};

}  // namespace fields_detail

// A preserving read of a table entry arms this; the record's loop then keeps
// the text of the entry's handle (group 5), so that a save can keep it.
struct HandleSeen {
    bool armed = false;
    std::string text;
};
inline thread_local HandleSeen tHandleSeen;

// The one read loop: the pairs of a record up to its end (by default the
// next code-0 pair, pushed back) or the end of the input. The hook sees every
// pair first; codes without a field are passed over (noted by a preserving
// read); a later pair overwrites an earlier one.
template <class R, class Hook = EndAtCodeZero>
void ReadPairs(DXFReader& reader, R& record, Hook&& hook = {}) {
    const auto& table = ReadTableOf<R>();
    const bool noteLineType = std::exchange(tLineTypeSeen.armed, false);
    KeptRead& kept = tKeptRead;  // one lookup of the thread's own per record
    bool note = std::exchange(kept.armed, false);
    fields_detail::KeptNotes notes(kept);
    const bool noteHandle = std::exchange(tHandleSeen.armed, false);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (noteLineType && p.Code == 6) tLineTypeSeen.seen = true;
        if (noteHandle && p.Code == 5) tHandleSeen.text.assign(p.Value);
        switch (hook(p, record)) {
        case PairIs::Field: {
            const uint8_t field = table.Apply(reader, p, record);
            if (!note) break;
            if (field == 0) {
                notes.Extra(reader, p);
            } else {
                if (field <= 64) kept.seen |= uint64_t{1} << (field - 1);
                notes.Taken(p.Code);
            }
            break;
        }
        case PairIs::Taken:
            if (note) {
                if (p.Code == 0) note = false;
                notes.Taken(p.Code);
            }
            break;
        case PairIs::Kept:
            if (note) notes.Extra(reader, p);
            break;
        case PairIs::KeptWhole:
            if (note) notes.Whole(reader, p);
            break;
        case PairIs::End: reader.UnRead(); return;
        case PairIs::EndTaken: return;
        }
    }
}

// A record read from a file: the defaults, then its pairs.
template <class R, class Hook = EndAtCodeZero>
void ReadRecord(DXFReader& reader, R& record, Hook&& hook = {}) {
    ResetToDefaults(record);
    ReadPairs(reader, record, static_cast<Hook&&>(hook));
}

}  // namespace ormavec

// ---- writing ----

namespace ormavec {

// What a piece of code writing repeated pairs (a line type's elements) sees
// of a Standard save of a read record: After(code) writes the next run of
// kept pairs that followed a pair of that code in the file, false for none.
struct KeptCursor {
    bool read = false;  // the record was read by a preserving load
    const void* state = nullptr;
    bool (*after)(const void*, int32_t) = nullptr;
    std::string_view (*own)(const void*, int32_t) = nullptr;
    bool After(int32_t code) const { return after && after(state, code); }
    // The text of the kind's own note of this code (kKeptOwnCode on), {} for none.
    std::string_view Own(int32_t code) const { return own ? own(state, code) : std::string_view(); }
};

// One pair (or a piece of code) in the write order of a record.
template <class R>
struct WriteOp {
    enum class Kind : uint8_t { Text, Handle, String, Double, Int, Custom };
    Kind kind = Kind::Text;
    int32_t code = 0;
    std::string_view text;      // Text: the value; String: the field's fallback
    bool fallback = false;      // String: write text when the field is empty
    std::string R::*str = nullptr;
    double R::*dbl = nullptr;
    int32_t R::*i32 = nullptr;
    XYZ R::*xyz = nullptr;
    double XYZ::*axis = nullptr;
    int32_t field = -1;         // the field's position, -1 for none
    double numDefault = 0;      // the value the field has when read without its pair
    std::string_view textDefault;
    bool (*when)(const R&) = nullptr;                  // written only when true
    // For a read record with kept pairs: 1 when those pairs still give the
    // field's value (a direction that gives a rotation), 0 when they no longer
    // do, -1 when none is kept. At 1 the op is left out where the field's pair
    // was absent; at 0 the kept pairs of keptCodes are left out (an embedded
    // object's aside), so that the field's value is the one read back.
    int (*keptGives)(const R&, std::span<const KeptPair>) = nullptr;
    std::array<int32_t, 3> keptCodes{};
    bool madeOnly = false;  // written only for a record the host made (a read one keeps its own pair, if any)
    bool readOnly = false;  // written only in a Standard save of a read record that had the pair
    // Written only in a Standard save (a field the fixed layout leaves out),
    // and there only where the file gave it or it holds more than its
    // default (neither the declared one nor a new record's zero or empty text).
    bool standardOnly = false;
    // A pair the kind reads in code: a Standard save of a read record writes
    // it only when the note says it was present or changed(r) holds.
    uint32_t note = 0;
    bool (*changed)(const R&) = nullptr;
    void (*custom)(DXFWriter&, const R&) = nullptr;   // Custom
    void (*customKept)(DXFWriter&, const R&, const KeptCursor&) = nullptr;  // Custom, placing kept pairs itself

    WriteOp& If(bool (*pred)(const R&)) {
        when = pred;
        return *this;
    }
    WriteOp& IfMade() {
        madeOnly = true;
        return *this;
    }
    WriteOp& IfRead() {
        readOnly = true;
        return *this;
    }
    WriteOp& InStandard() {
        standardOnly = true;
        return *this;
    }
    WriteOp& Noted(uint32_t bit, bool (*pred)(const R&) = nullptr) {
        note = bit;
        changed = pred;
        return *this;
    }
    WriteOp& UnlessKept(int (*gives)(const R&, std::span<const KeptPair>), std::array<int32_t, 3> codes) {
        keptGives = gives;
        keptCodes = codes;
        return *this;
    }
};

// The write order of a record: its pairs, in order, each referring to a
// field (with the field's fallback for an empty text) or constant.
template <class R>
using WriteOrder = std::vector<WriteOp<R>>;

template <class R>
struct W {
    using Op = WriteOp<R>;
    // Notes the position and read default of the field of member m.
    template <class M>
    static void Mark(Op& o, M R::*m) {
        int32_t i = 0;
        ForEachFieldDecl<R>([&](const auto& f) {
            using FM = typename std::remove_cvref_t<decltype(f)>::Member;
            if constexpr (std::is_same_v<FM, M>)
                if (f.member == m && o.field < 0 && f.read != FieldRead::None) {
                    o.field = i;
                    if constexpr (std::is_arithmetic_v<M>)
                        o.numDefault = f.hasKeptDefault ? static_cast<double>(f.keptDefault) : f.hasDefault ? static_cast<double>(f.readDefault) : 0.0;
                    if constexpr (std::is_same_v<M, std::string>) o.textDefault = f.hasDefault ? f.readDefault : std::string_view();
                }
            ++i;
        });
    }
    static Op Text(int32_t code, std::string_view text) {
        Op o;
        o.code = code;
        o.text = text;
        return o;
    }
    // Group 5 with the next handle of the save, and the owner in a Standard
    // save.
    static Op Handle() {
        Op o;
        o.kind = Op::Kind::Handle;
        o.code = 5;
        return o;
    }
    static Op String(int32_t code, std::string R::*m) {
        Op o;
        o.kind = Op::Kind::String;
        o.code = code;
        o.str = m;
        Mark(o, m);
        ForEachFieldDecl<R>([&](const auto& f) {
            if constexpr (std::is_same_v<typename std::remove_cvref_t<decltype(f)>::Member, std::string>)
                if (f.member == m && f.hasFallback) {
                    o.fallback = true;
                    o.text = f.fallback;
                }
        });
        return o;
    }
    static Op Double(int32_t code, double R::*m) {
        Op o;
        o.kind = Op::Kind::Double;
        o.code = code;
        o.dbl = m;
        Mark(o, m);
        return o;
    }
    static Op Double(int32_t code, XYZ R::*point, double XYZ::*axis) {
        Op o;
        o.kind = Op::Kind::Double;
        o.code = code;
        o.xyz = point;
        o.axis = axis;
        Mark(o, point);
        return o;
    }
    static Op Int(int32_t code, int32_t R::*m) {
        Op o;
        o.kind = Op::Kind::Int;
        o.code = code;
        o.i32 = m;
        Mark(o, m);
        return o;
    }
    // A field under its declared group code.
    template <class M>
    static Op Of(M R::*m) {
        int32_t code = -1;
        ForEachFieldDecl<R>([&](const auto& f) {
            if constexpr (std::is_same_v<typename std::remove_cvref_t<decltype(f)>::Member, M>)
                if (f.member == m) code = f.code;
        });
        if constexpr (std::is_same_v<M, std::string>)
            return String(code, m);
        else if constexpr (std::is_same_v<M, double>)
            return Double(code, m);
        else
            return Int(code, m);
    }
    // The three coordinates of a point field, under code, code + 10, code + 20.
    template <class P>
    static void Point(WriteOrder<R>& order, int32_t code, P R::*point) {
        order.push_back(Double(code, point, &P::X));
        order.push_back(Double(code + 10, point, &P::Y));
        order.push_back(Double(code + 20, point, &P::Z));
    }
    static Op Custom(void (*fn)(DXFWriter&, const R&)) {
        Op o;
        o.kind = Op::Kind::Custom;
        o.custom = fn;
        return o;
    }
    static Op Custom(void (*fn)(DXFWriter&, const R&, const KeptCursor&)) {
        Op o;
        o.kind = Op::Kind::Custom;
        o.customKept = fn;
        return o;
    }
    // Custom code writing the field of member m: left out like the field when
    // it was absent and still holds its read value.
    static Op Custom(void (*fn)(DXFWriter&, const R&), double R::*m) {
        Op o = Custom(fn);
        o.dbl = m;
        Mark(o, m);
        return o;
    }
};

// KeptSlot::pairs bits: the record was read without a line type; it
// carried pairs no field took (kept beside it by place); from bit
// kKeptAbsentShift on, one bit per field position: the field's pair was
// absent (fields from position kKeptAbsentBits on have no bit and are always
// written); and the top kKeptNoteBits bits, the kind's own notes of how the
// file gave what its read code takes (kKeptNote(i): a pair that was present,
// a form of its vertices), set on every read.
inline constexpr uint32_t kKeptNoLineType = 1;
inline constexpr uint32_t kKeptExtras = 2;
// Codes from here on are a kind's own notes kept among a record's pairs (an
// MTEXT's piece lengths): never written, never shown as the record's pairs.
inline constexpr int32_t kKeptOwnCode = 1 << 20;
inline constexpr int32_t kKeptAbsentShift = 2;
inline constexpr int32_t kKeptNoteBits = 3;
inline constexpr int32_t kKeptAbsentBits = 32 - kKeptAbsentShift - kKeptNoteBits;
constexpr uint32_t kKeptNote(int32_t i) noexcept { return 1u << (31 - i); }

namespace fields_detail {

// Writes the kept pairs of the anchors that match (code, marker), each run
// once; code 0 after everything else writes what no anchor placed, then the
// XDATA. A run starts at an anchor entry (code -1 - c) or at a pair whose
// After() is c. Groups pointing into objects are left out unless the save
// writes the drawing's objects.
inline bool WriteKeptAt(DXFWriter& w, std::span<const KeptPair> x, std::vector<bool>& done, int32_t code,
                        std::string_view marker, const std::vector<int32_t>& constant, bool objectsKept, bool once = false) {
    // Whether x[j] belongs to the run that starts at x[i].
    const auto inRun = [&](std::size_t i, std::size_t j) { return j < x.size() && x[j].Code >= 0 && (j == i || x[j].After() < 0); };
    char buf[48];
    for (int pass = 0; pass < (code == 0 ? 2 : 1); ++pass)
        for (std::size_t i = 0; i < x.size(); ++i) {
            const int32_t at = x[i].Code < 0 ? -1 - x[i].Code : x[i].After();
            if (at < 0 || done[i]) continue;
            const bool match = code == 0 ? (pass == 0) != (at == 0) : at == code && (code != 100 || x[i].Value() == marker);
            if (!match) continue;
            done[i] = true;
            bool embedded = false;  // an embedded object's pairs (from 101 on) are all its own
            for (std::size_t j = x[i].Code < 0 ? i + 1 : i; inRun(i, j); ++j) {
                if (x[j].Code >= kKeptOwnCode) continue;
                embedded = embedded || x[j].Code == 101;
                if (!embedded && std::find(constant.begin(), constant.end(), x[j].Code) != constant.end()) continue;  // the order writes its own
                if (!objectsKept && x[j].Code == 102 && (x[j].Value() == "{ACAD_REACTORS" || x[j].Value() == "{ACAD_XDICTIONARY")) {
                    while (inRun(i, j + 1) && !(x[j].Code == 102 && x[j].Value() == "}")) ++j;
                    continue;
                }
                w.WriteString(x[j].Code, x[j].Format(buf));
            }
            if (once) return true;
        }
    return false;
}

// Whether kept pairs put the entity in paper space (67 1).
inline bool InPaperSpace(std::span<const KeptPair> x) noexcept {
    for (const KeptPair& p : x)
        if (p.Code == 67) return p.Value().find('1') != std::string_view::npos;
    return false;
}
inline bool InPaperSpace(const std::vector<DxfEntry>& x) noexcept {
    for (const DxfEntry& p : x)
        if (p.Code == 67) return p.Value.find('1') != std::string::npos;
    return false;
}

// Whether the record's field of this op was absent and still holds the value
// it was read with.
template <class R>
bool AbsentAsRead(const WriteOp<R>& op, const R& r, uint32_t pairs) {
    if (op.field < 0 || op.field >= kKeptAbsentBits || !((pairs >> (kKeptAbsentShift + op.field)) & 1)) return false;
    switch (op.kind) {
    case WriteOp<R>::Kind::String: return (r.*op.str) == op.textDefault;
    case WriteOp<R>::Kind::Double:
    case WriteOp<R>::Kind::Custom: return op.dbl || op.xyz ? (op.xyz ? (r.*op.xyz).*op.axis : r.*op.dbl) == op.numDefault : false;
    case WriteOp<R>::Kind::Int: return r.*op.i32 == op.numDefault;
    default: return false;
    }
}

// Whether the read record's field of this op had its pair in the file: a
// Standard save then writes it even where a host-made record leaves the
// value out (TEXT's 41 of 1).
template <class R>
bool PresentAsRead(const WriteOp<R>& op, bool read, uint32_t pairs) {
    return read && ((pairs & op.note) != 0 || (op.field >= 0 && op.field < kKeptAbsentBits && !((pairs >> (kKeptAbsentShift + op.field)) & 1)));
}

// Whether the op's field holds its declared default or a new record's value.
template <class R>
bool HoldsDefault(const WriteOp<R>& op, const R& r) {
    switch (op.kind) {
    case WriteOp<R>::Kind::String: return (r.*op.str).empty() || r.*op.str == op.textDefault;
    case WriteOp<R>::Kind::Double: {
        const double v = op.xyz ? (r.*op.xyz).*op.axis : r.*op.dbl;
        return v == 0.0 || v == op.numDefault;
    }
    case WriteOp<R>::Kind::Int: return r.*op.i32 == 0 || r.*op.i32 == op.numDefault;
    default: return false;
    }
}

// A typed table entry read by a preserving load: the first of its kept pairs
// has this code and the entry's absent fields, as KeptSlot::pairs, in its text.
inline constexpr int32_t kEntryReadCode = INT32_MIN;

}  // namespace fields_detail

// Writes the record by its write order; save gives the handles and owners
// (Writer(), WriteHandle()). A Standard save of a record a preserving load
// read also leaves out the fields that were absent and still hold their read
// value, gives it back its handle and writes the pairs it kept in their place.
template <class R, class Save>
void WriteByOrder(Save& save, const WriteOrder<R>& order, const R& r) {
    DXFWriter& writer = save.Writer();
    std::span<const KeptPair> kept;
    uint32_t keptHandle = 0;
    if constexpr (requires { r.kept.place; save.keptSet; })
        if (writer.IsStandard() && save.keptSet && r.kept.place) {
            if (r.kept.pairs & kKeptExtras) kept = save.keptSet->ExtrasOf(r.kept.place);
            keptHandle = save.keptSet->HandleOf(r.kept.place);
        }
    // A typed table entry: the pairs kept for the name it was offered under,
    // viewed as a set's kept pairs.
    std::vector<KeptPair> entryPairs;
    bool entryRead = false;
    uint32_t entryBits = 0;
    if constexpr (requires { save.entryExtras; })
        if (kept.empty() && writer.IsStandard())
            if (const std::vector<DxfEntry>* x = std::exchange(save.entryExtras, nullptr)) {
                for (const DxfEntry& e : *x)
                    if (e.Code == fields_detail::kEntryReadCode)
                        entryRead = true, std::from_chars(e.Value.data(), e.Value.data() + e.Value.size(), entryBits);
                    else
                        entryPairs.push_back({e.Code, static_cast<uint32_t>(e.Value.size()), {e.Value.data()}});
                kept = entryPairs;
            }
    // A read entry's constant pairs: its own where it had them (a pointer
    // into objects not written aside), none where it had none.
    const auto keptHas = [&](int32_t code) { return std::any_of(kept.begin(), kept.end(), [&](const KeptPair& e) { return e.Code == code; }); };
    const auto entryOwn = [&](int32_t code) { return entryRead && code != 0 && code != 100 && (code < 390 || code > 399); };
    std::vector<bool> done(kept.size());
    bool objectsKept = false;
    if constexpr (requires { save.objectsKept; }) objectsKept = save.objectsKept;
    // A pointer into the objects the record kept replaces the order's constant
    // one when the save writes the drawing's objects (a layer's 390).
    const auto keptPointer = [&](int32_t code) {
        return !kept.empty() && objectsKept && code >= 390 && code <= 399 &&
               std::any_of(kept.begin(), kept.end(), [&](const KeptPair& e) { return e.Code == code; });
    };
    std::vector<int32_t> constant;  // codes the order writes as constants (66, ...), or whose kept pairs no longer stand
    if (!kept.empty())
        for (const WriteOp<R>& op : order) {
            if (op.kind == WriteOp<R>::Kind::Text && op.code != 0 && op.code != 100 && op.code != 6 && !keptPointer(op.code) && !entryOwn(op.code))
                constant.push_back(op.code);
            if (op.keptGives && op.keptGives(r, kept) == 0)
                for (int32_t c : op.keptCodes) constant.push_back(c);
        }
    // A paper space entity of the ENTITIES section is owned by the paper
    // space block's record, as it was.
    const int32_t owner = save.Owner();
    if constexpr (requires { save.paperSpaceRecord; })
        if (!kept.empty() && owner == save.modelSpaceRecord && save.paperSpaceRecord && fields_detail::InPaperSpace(kept))
            save.SetOwner(save.paperSpaceRecord);
    bool wasRead = entryRead;
    uint32_t readNotes = entryBits;
    if constexpr (requires { r.kept.pairs; }) {
        wasRead = writer.IsStandard() && r.kept.place != 0;
        readNotes = r.kept.pairs;
    }
    const bool absent = wasRead && (readNotes >> kKeptAbsentShift) != 0;
    for (const WriteOp<R>& op : order) {
        if (op.madeOnly && wasRead) continue;
        if (op.standardOnly && !writer.IsStandard()) continue;
        if (op.readOnly && !(wasRead && fields_detail::PresentAsRead(op, wasRead, readNotes))) continue;
        if (op.note && wasRead && !(readNotes & op.note) && !(op.changed && op.changed(r))) continue;
        if (op.when && !op.when(r) && !(wasRead && fields_detail::PresentAsRead(op, wasRead, readNotes))) continue;
        if (op.standardOnly && fields_detail::HoldsDefault(op, r) && !(wasRead && fields_detail::PresentAsRead(op, wasRead, readNotes))) continue;
        if (absent && fields_detail::AbsentAsRead(op, r, readNotes)) continue;
        if (op.keptGives && !kept.empty() && !fields_detail::PresentAsRead(op, wasRead, readNotes) && op.keptGives(r, kept) == 1) continue;
        switch (op.kind) {
        case WriteOp<R>::Kind::Text:
            // A constant line type only for a record the host made: a read one
            // gives back its own, if it had one.
            if ((op.code == 6 && wasRead) || keptPointer(op.code) || entryOwn(op.code) || (entryRead && op.code != 0 && op.code != 100 && !keptHas(op.code)))
                break;
            writer.WriteString(op.code, op.text);
            break;
        case WriteOp<R>::Kind::Handle:
            if (keptHandle && save.keptHandles.Insert(keptHandle))
                save.WriteKeptHandle(static_cast<int32_t>(std::exchange(keptHandle, 0)));
            else
                save.WriteHandle();
            break;
        case WriteOp<R>::Kind::String: {
            const std::string& s = r.*op.str;
            // A line type the file did not give, still the one read in its place.
            if constexpr (requires { r.kept.pairs; })
                if (op.code == 6 && (r.kept.pairs & kKeptNoLineType) && writer.IsStandard() && (s.empty() || s == op.text)) break;
            // An empty text the file gave stays empty.
            const bool fallback = op.fallback && s.empty() && !(wasRead && fields_detail::PresentAsRead(op, wasRead, readNotes));
            writer.WriteString(op.code, fallback ? op.text : std::string_view(s));
            break;
        }
        case WriteOp<R>::Kind::Double: writer.WriteDouble(op.code, op.xyz ? (r.*op.xyz).*op.axis : r.*op.dbl); break;
        case WriteOp<R>::Kind::Int: writer.WriteInteger(op.code, r.*op.i32); break;
        case WriteOp<R>::Kind::Custom:
            if (op.customKept) {
                struct State {
                    DXFWriter& w;
                    std::span<const KeptPair> kept;
                    std::vector<bool>& done;
                    const std::vector<int32_t>& constant;
                    bool objectsKept;
                } state{writer, kept, done, constant, objectsKept};
                op.customKept(writer, r,
                              KeptCursor{wasRead, &state,
                                         [](const void* p, int32_t code) {
                                             const State& s = *static_cast<const State*>(p);
                                             return fields_detail::WriteKeptAt(s.w, s.kept, s.done, code, {}, s.constant, s.objectsKept, true);
                                         },
                                         [](const void* p, int32_t code) {
                                             for (const KeptPair& k : static_cast<const State*>(p)->kept)
                                                 if (k.Code == code) return k.Value();
                                             return std::string_view();
                                         }});
            } else {
                op.custom(writer, r);
            }
            break;
        }
        if (!kept.empty() && op.code != 0 && op.kind != WriteOp<R>::Kind::Custom)
            fields_detail::WriteKeptAt(writer, kept, done, op.code, op.text, constant, objectsKept);
    }
    if (!kept.empty()) fields_detail::WriteKeptAt(writer, kept, done, 0, {}, constant, objectsKept);
    save.SetOwner(owner);
}

// How many handles the write order takes per record.
template <class R>
int32_t HandlesIn(const WriteOrder<R>& order) noexcept {
    int32_t n = 0;
    for (const WriteOp<R>& op : order) n += op.kind == WriteOp<R>::Kind::Handle ? 1 : 0;
    return n;
}

}  // namespace ormavec
