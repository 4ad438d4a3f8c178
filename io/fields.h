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

#include <array>
#include <cstdint>
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
        ForEachFieldDecl<R>([&](const auto& field) { add(field); });
        if constexpr (HasChecked<R>)
            for (int32_t code : Fields<R>::checked) put(code, ReadSlot<R>{});
    }

    void Apply(const DXFReader& reader, const DXFReader::Pair& p, R& r) const {
        if (p.Code < 0 || p.Code >= kCodes) return;
        const uint8_t k = index_[static_cast<std::size_t>(p.Code)];
        if (k) slots_[k - 1].apply(reader, p.Value, r);
    }

private:
    template <class M>
    void add(const Field<R, M>& field) {
        if (field.read == FieldRead::None) return;
        ReadSlot<R> s;
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

// What the loop does with a pair after a record's hook has seen it.
enum class PairIs : uint8_t {
    Field,     // taken by the field declared for its code, if any
    Taken,     // the hook took it
    End,       // the record ends before it: pushed back
    EndTaken,  // the record ends with it
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

// A preserving read of a table entry arms this; the record's loop then keeps
// the text of the entry's handle (group 5), so that a save can keep it.
struct HandleSeen {
    bool armed = false;
    std::string text;
};
inline thread_local HandleSeen tHandleSeen;

// The one read loop: the pairs of a record up to its end (by default the
// next code-0 pair, pushed back) or the end of the input. The hook sees every
// pair first; codes without a field are passed over; a later pair overwrites
// an earlier one.
template <class R, class Hook = EndAtCodeZero>
void ReadPairs(DXFReader& reader, R& record, Hook&& hook = {}) {
    const auto& table = ReadTableOf<R>();
    const bool noteLineType = std::exchange(tLineTypeSeen.armed, false);
    const bool noteHandle = std::exchange(tHandleSeen.armed, false);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (noteLineType && p.Code == 6) tLineTypeSeen.seen = true;
        if (noteHandle && p.Code == 5) tHandleSeen.text.assign(p.Value);
        switch (hook(p, record)) {
        case PairIs::Field: table.Apply(reader, p, record); break;
        case PairIs::Taken: break;
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
    bool (*when)(const R&) = nullptr;                  // written only when true
    void (*custom)(DXFWriter&, const R&) = nullptr;   // Custom

    WriteOp& If(bool (*pred)(const R&)) {
        when = pred;
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
        return o;
    }
    static Op Double(int32_t code, XYZ R::*point, double XYZ::*axis) {
        Op o;
        o.kind = Op::Kind::Double;
        o.code = code;
        o.xyz = point;
        o.axis = axis;
        return o;
    }
    static Op Int(int32_t code, int32_t R::*m) {
        Op o;
        o.kind = Op::Kind::Int;
        o.code = code;
        o.i32 = m;
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
};

// KeptSlot::pairs bit: the record was read without a line type.
inline constexpr uint32_t kKeptNoLineType = 1;

// Writes the record by its write order; save gives the handles and owners
// (Writer(), WriteHandle()).
template <class R, class Save>
void WriteByOrder(Save& save, const WriteOrder<R>& order, const R& r) {
    DXFWriter& writer = save.Writer();
    for (const WriteOp<R>& op : order) {
        if (op.when && !op.when(r)) continue;
        switch (op.kind) {
        case WriteOp<R>::Kind::Text: writer.WriteString(op.code, op.text); break;
        case WriteOp<R>::Kind::Handle: save.WriteHandle(); break;
        case WriteOp<R>::Kind::String: {
            const std::string& s = r.*op.str;
            // A line type the file did not give, still the one read in its place.
            if constexpr (requires { r.kept.pairs; })
                if (op.code == 6 && (r.kept.pairs & kKeptNoLineType) && writer.IsStandard() && (s.empty() || s == op.text)) break;
            writer.WriteString(op.code, (op.fallback && s.empty()) ? op.text : std::string_view(s));
            break;
        }
        case WriteOp<R>::Kind::Double: writer.WriteDouble(op.code, op.xyz ? (r.*op.xyz).*op.axis : r.*op.dbl); break;
        case WriteOp<R>::Kind::Int: writer.WriteInteger(op.code, r.*op.i32); break;
        case WriteOp<R>::Kind::Custom: op.custom(writer, r); break;
        }
    }
}

// How many handles the write order takes per record.
template <class R>
int32_t HandlesIn(const WriteOrder<R>& order) noexcept {
    int32_t n = 0;
    for (const WriteOp<R>& op : order) n += op.kind == WriteOp<R>::Kind::Handle ? 1 : 0;
    return n;
}

}  // namespace ormavec
