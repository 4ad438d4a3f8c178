// One declarative description per entity type: the group codes it reads into
// which fields, the defaults of a record read from a file, and the lines it
// writes in order. The generic reader and writer below run the description;
// the few rules particular to one type stay beside it as small code.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

#include "entities/records.h"
#include "io/reader.h"
#include "io/writer.h"

namespace ormavec::entity {

// How the value of one group code is taken into a record.
template <class T>
struct ReadField {
    enum class As : uint8_t { String, Double, Int, Bool, Dropped };
    int32_t code = 0;
    As as = As::Dropped;
    std::string T::*str = nullptr;
    double T::*dbl = nullptr;
    int32_t T::*i32 = nullptr;
    XYZ T::*xyz = nullptr;
    double XYZ::*axis = nullptr;
    bool T::*flag = nullptr;

    void apply(const DXFReader& reader, std::string_view value, T& r) const {
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

template <class T>
ReadField<T> Str(int32_t code, std::string T::*m) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::String;
    f.str = m;
    return f;
}
template <class T>
ReadField<T> Dbl(int32_t code, double T::*m) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::Double;
    f.dbl = m;
    return f;
}
template <class T>
ReadField<T> Dbl(int32_t code, XYZ T::*point, double XYZ::*axis) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::Double;
    f.xyz = point;
    f.axis = axis;
    return f;
}
template <class T>
ReadField<T> Int(int32_t code, int32_t T::*m) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::Int;
    f.i32 = m;
    return f;
}
// True when the value is the integer 1.
template <class T>
ReadField<T> IsOne(int32_t code, bool T::*m) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::Bool;
    f.flag = m;
    return f;
}
// Converted as a number and not kept.
template <class T>
ReadField<T> Dropped(int32_t code) {
    ReadField<T> f;
    f.code = code;
    f.as = ReadField<T>::As::Dropped;
    return f;
}

// One line pair written for a record.
template <class T>
struct WriteOp {
    enum class Kind : uint8_t { Text, Handle, String, Double, Int, Custom };
    Kind kind = Kind::Text;
    int32_t code = 0;
    std::string_view text;      // Text: the value; String: the fallback for an empty field
    bool fallback = false;      // String: write text when the field is empty
    std::string T::*str = nullptr;
    double T::*dbl = nullptr;
    int32_t T::*i32 = nullptr;
    XYZ T::*xyz = nullptr;
    double XYZ::*axis = nullptr;
    bool (*when)(const T&) = nullptr;                  // written only when true
    void (*custom)(DXFWriter&, const T&) = nullptr;   // Custom

    WriteOp& If(bool (*pred)(const T&)) {
        when = pred;
        return *this;
    }
};

template <class T>
struct W {
    using Op = WriteOp<T>;
    static Op Text(int32_t code, std::string_view text) {
        Op o;
        o.kind = Op::Kind::Text;
        o.code = code;
        o.text = text;
        return o;
    }
    // Group 5 with the next handle of the save (and, in Standard saves, 330
    // with the writer's owner).
    static Op Handle() {
        Op o;
        o.kind = Op::Kind::Handle;
        o.code = 5;
        return o;
    }
    static Op String(int32_t code, std::string T::*m) {
        Op o;
        o.kind = Op::Kind::String;
        o.code = code;
        o.str = m;
        return o;
    }
    static Op String(int32_t code, std::string T::*m, std::string_view whenEmpty) {
        Op o = String(code, m);
        o.text = whenEmpty;
        o.fallback = true;
        return o;
    }
    static Op Double(int32_t code, double T::*m) {
        Op o;
        o.kind = Op::Kind::Double;
        o.code = code;
        o.dbl = m;
        return o;
    }
    static Op Double(int32_t code, XYZ T::*point, double XYZ::*axis) {
        Op o;
        o.kind = Op::Kind::Double;
        o.code = code;
        o.xyz = point;
        o.axis = axis;
        return o;
    }
    static Op Int(int32_t code, int32_t T::*m) {
        Op o;
        o.kind = Op::Kind::Int;
        o.code = code;
        o.i32 = m;
        return o;
    }
    static Op Custom(void (*fn)(DXFWriter&, const T&)) {
        Op o;
        o.kind = Op::Kind::Custom;
        o.custom = fn;
        return o;
    }
};

// Group code -> position in a description's read list, for the codes below
// kSize; built at the first look-up, after the description is complete. A copy
// starts unbuilt. Until one thread has finished building it, look-ups scan.
struct CodeIndex {
    static constexpr int32_t kSize = 1072;
    mutable std::atomic<uint8_t> state{0};  // 0 not built, 1 being built, 2 ready
    mutable std::array<uint8_t, kSize> slot{};  // position + 1, 0 for none

    CodeIndex() = default;
    CodeIndex(const CodeIndex&) noexcept {}
    CodeIndex& operator=(const CodeIndex&) noexcept {
        state.store(0);
        return *this;
    }
};

template <class T>
struct Description {
    std::string_view name;            // entity name on file
    void (*defaults)(T&);             // fields of a record read from a file
    std::vector<ReadField<T>> read;   // codes read (0 ends the entity)
    std::vector<WriteOp<T>> write;    // lines written, in order
    void (*finish)(T&) = nullptr;     // run after the last pair of the entity
    CodeIndex index{};

    // The first field read from the code, or none.
    const ReadField<T>* find(int32_t code) const noexcept {
        if (code >= 0 && code < CodeIndex::kSize) {
            uint8_t state = index.state.load(std::memory_order_acquire);
            if (state == 2) {
                const uint8_t k = index.slot[static_cast<std::size_t>(code)];
                return k ? &read[k - 1] : nullptr;
            }
            if (state == 0 && read.size() < 255 && index.state.compare_exchange_strong(state, 1, std::memory_order_acq_rel)) {
                for (std::size_t i = read.size(); i-- > 0;)
                    if (read[i].code >= 0 && read[i].code < CodeIndex::kSize)
                        index.slot[static_cast<std::size_t>(read[i].code)] = static_cast<uint8_t>(i + 1);
                index.state.store(2, std::memory_order_release);
                return find(code);
            }
        }
        for (const ReadField<T>& f : read)
            if (f.code == code) return &f;
        return nullptr;
    }
};

// Reads the pairs of one entity whose 0/<name> pair has been consumed: up to
// the next code-0 pair, which is pushed back, or the end of the input. Codes
// not in the description are skipped; a later pair overwrites an earlier one.
template <class T>
void ReadDescribed(DXFReader& reader, const Description<T>& d, T& record) {
    record = T{};
    d.defaults(record);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            reader.UnRead();
            break;
        }
        if (const ReadField<T>* f = d.find(p.Code)) f->apply(reader, p.Value, record);
    }
    if (d.finish) d.finish(record);
}

template <class T>
void WriteDescribed(DXFWriter& writer, const Description<T>& d, const T& r, int32_t& handle) {
    for (const WriteOp<T>& op : d.write) {
        if (op.when && !op.when(r)) continue;
        switch (op.kind) {
        case WriteOp<T>::Kind::Text: writer.WriteString(op.code, op.text); break;
        case WriteOp<T>::Kind::Handle:
            writer.WriteHandle(op.code, NextHandle(handle));
            writer.WriteOwner();
            break;
        case WriteOp<T>::Kind::String: {
            const std::string& s = r.*op.str;
            writer.WriteString(op.code, (op.fallback && s.empty()) ? op.text : std::string_view(s));
            break;
        }
        case WriteOp<T>::Kind::Double: writer.WriteDouble(op.code, op.xyz ? (r.*op.xyz).*op.axis : r.*op.dbl); break;
        case WriteOp<T>::Kind::Int: writer.WriteInteger(op.code, r.*op.i32); break;
        case WriteOp<T>::Kind::Custom: op.custom(writer, r); break;
        }
    }
}

}  // namespace ormavec::entity
