// The entity collections: the array list over each entity record, with the
// members that write all records and measure their extent.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "collections/array_list.h"
#include "entities/kinds.h"
#include "document/kept.h"
#include "document/save_context.h"
#include "entities/records.h"
#include "io/reader.h"
#include "io/writer.h"

namespace ormavec {

ORMAVEC_COLLECTION(LWVERTEXES, LWVERTEX, 1000);
ORMAVEC_COLLECTION(XYZS, XYZ, 1000);

// Readers keep scratch lists from one record to the next (no growth per
// record); one that an unusually large record grew gives its memory back.
template <class T>
void ReleaseIfLarge(std::vector<T>& scratch) noexcept {
    if (scratch.capacity() > (std::size_t{1} << 16)) std::vector<T>().swap(scratch);
}

// Reading one entity whose 0/<name> pair has been consumed: the record
// starts from its read defaults, takes the entity's pairs, and the code-0
// pair after them is pushed back.
void ReadEntity(DXFReader& reader, LINE_ENT& record);
void ReadEntity(DXFReader& reader, ARC_ENT& record);
void ReadEntity(DXFReader& reader, CIRCLE_ENT& record);
void ReadEntity(DXFReader& reader, ELLIPSE_ENT& record);
void ReadEntity(DXFReader& reader, POINT_ENT& record);
void ReadEntity(DXFReader& reader, SOLID_ENT& record);
void ReadEntity(DXFReader& reader, FACE3D_ENT& record);
void ReadEntity(DXFReader& reader, TEXT_ENT& record);
void ReadEntity(DXFReader& reader, MTEXT_ENT& record);
void ReadEntity(DXFReader& reader, INSERT_ENT& record);  // with the ATTRIBs that follow
void ReadEntity(DXFReader& reader, ATTDEF_ENT& record);
void ReadEntity(DXFReader& reader, ATTRIB_ENT& record);  // consumes a closing SEQEND
void ReadEntity(DXFReader& reader, POLYLINE_ENT& record);  // with its VERTEX and SEQEND
void ReadVertex(DXFReader& reader, VERTEX_ENT& record);
void ReadEntity(DXFReader& reader, LWVERTEXES& vertexList, LWPOLYLINE_ENT& record);
void ReadEntity(DXFReader& reader, XYZS& pointList, HATCH_ENT& record);

// The lists a section reader lends to the records that need one while they
// are read; each is made at its first use.
class ReadScratch {
public:
    LWVERTEXES& Vertices() {
        if (!vertices_) vertices_ = std::make_unique<LWVERTEXES>();
        return *vertices_;
    }
    XYZS& Points() {
        if (!points_) points_ = std::make_unique<XYZS>();
        return *points_;
    }

    // A preserving read numbers the entities in the order read (their draw
    // order) and keeps those it does not type; otherwise these are counted
    // in lost, when given.
    bool preserve = false;
    uint32_t place = 0;
    NotKept* lost = nullptr;
    // Kept also by a read that does not preserve: SPLINEs and the HATCHes a
    // set does not type, for an R12 save or a picture to draw.
    bool keepSplines = false;
    // Where the set being read keeps what its typed records carry beyond
    // their fields (made at need).
    std::shared_ptr<KeptEntities>* kept = nullptr;

    // The next place, from blocks unique in the process.
    uint32_t NextPlace() noexcept {
        if (place == placeEnd_) {
            place = TakePlaces(kPlaceBlock) - 1;
            placeEnd_ = place + kPlaceBlock;
        }
        return ++place;
    }
    // The first of n places in a row (a record and those read nested in it).
    uint32_t NextPlaces(uint32_t n) noexcept {
        if (placeEnd_ - place < n) {
            const uint32_t size = std::max(kPlaceBlock, n);
            place = TakePlaces(size) - 1;
            placeEnd_ = place + size;
        }
        const uint32_t first = place + 1;
        place += n;
        return first;
    }

private:
    std::unique_ptr<LWVERTEXES> vertices_;
    std::unique_ptr<XYZS> points_;
    static constexpr uint32_t kPlaceBlock = 256;
    uint32_t placeEnd_ = 0;
};

// What a preserving read notes of the records nested in an insert or a
// polyline (KeptRead::Nested::kind), kept by place after the record's own:
// an insert's attributes, a polyline's vertices then its faces, and last the
// SEQEND, whose place is always reserved (the record's keptNested counts
// them all).
enum NestedKind : int { kNestedAttrib = 1, kNestedVertex, kNestedFace, kNestedSeqEnd };
// A note of an insert or polyline: its SEQEND gave the record's layer as its 8.
inline constexpr uint32_t kKeptSeqEndLayer = kKeptNote(2);
// A polyline's keptVertexForm: bit i, every vertex had the pair of VERTEX_ENT
// field i; kVertexHadLayer, every vertex had an 8 (one naming another
// layer than the polyline's is kept as the vertex's pair).
inline constexpr uint32_t kVertexHadLayer = 1u << 12;

// A SEQEND's pairs after its 0/SEQEND, read as the nested record of a
// preserving read: an 8 naming layer is noted in notes, the rest kept.
void ReadSeqEnd(DXFReader& reader, std::string_view layer, uint32_t& notes);
// The SEQEND after an insert's attributes or a polyline's vertices; a
// Standard save of a read record gives back its handle and pairs.
void WriteSeqEnd(SaveContext& save, std::string_view layer, const KeptSlot& kept, uint32_t nested, int32_t owner);

// Every kind read alike: with the scratch lists at hand.
template <class R>
void ReadEntity(DXFReader& reader, R& record, ReadScratch&) {
    ReadEntity(reader, record);
}
inline void ReadEntity(DXFReader& reader, LWPOLYLINE_ENT& record, ReadScratch& scratch) {
    ReadEntity(reader, scratch.Vertices(), record);
}
inline void ReadEntity(DXFReader& reader, HATCH_ENT& record, ReadScratch& scratch) {
    ReadEntity(reader, scratch.Points(), record);
}

// Writing one record of each kind, and the handles that takes: those of
// its write order, and for an INSERT or a POLYLINE those of the sequence it
// writes after itself.
#define ORMAVEC_KIND_WRITER(K, Dxf, Record, ...)                   \
    void WriteEntity(SaveContext& save, const Record& record);    \
    int64_t HandleCount(const Record& record) noexcept;
ORMAVEC_ENTITY_KINDS(ORMAVEC_KIND_WRITER)
#undef ORMAVEC_KIND_WRITER

// The handles of a write order, counted once.
template <class R>
int64_t OrderHandles(const WriteOrder<R>& (*order)()) {
    static const int32_t n = HandlesIn(order());
    return n;
}

// The 2D box of one record for the drawing extent.
void GetRecordExtent(const LINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const ARC_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const CIRCLE_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const ELLIPSE_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const POINT_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const SOLID_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const FACE3D_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const TEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const MTEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const INSERT_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const POLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY);
void GetRecordExtent(const LWPOLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY);

template <class T>
concept HasExtent = requires(const T& r, double& v) { GetRecordExtent(r, v, v, v, v); };

// Widens a running extent by one box; an extent of four exact zeros counts
// as empty and is replaced.
inline void MergeExtent(double& x0, double& y0, double& x1, double& y1, double minX, double minY, double maxX, double maxY) noexcept {
    if (x0 == 0.0 && y0 == 0.0 && x1 == 0.0 && y1 == 0.0) {
        x0 = minX;
        y0 = minY;
        x1 = maxX;
        y1 = maxY;
        return;
    }
    if (x0 > minX) x0 = minX;
    if (y0 > minY) y0 = minY;
    if (x1 < maxX) x1 = maxX;
    if (y1 < maxY) y1 = maxY;
}

template <class T, class Derived>
class EntityList : public ArrayList<T, Derived> {
public:
    using ArrayList<T, Derived>::ArrayList;

    // Writes every record in index order.
    void WriteOut(SaveContext& save) const {
        for (const T& r : *this) WriteEntity(save, r);
    }

    void GetRecordExtent(int32_t index, double& minX, double& minY, double& maxX, double& maxY) const
        requires HasExtent<T>
    {
        if (index < 0 || index >= this->Count()) RaiseError(err::SubscriptOutOfRange, Derived::kClassName, "Subscript out of range");
        ::ormavec::GetRecordExtent(this->ItemRef(index), minX, minY, maxX, maxY);
    }

    void GetExtent(double& x0, double& y0, double& x1, double& y1) const
        requires HasExtent<T>
    {
        for (const T& r : *this) {
            double minX = 0, minY = 0, maxX = 0, maxY = 0;
            ::ormavec::GetRecordExtent(r, minX, minY, maxX, maxY);
            MergeExtent(x0, y0, x1, y1, minX, minY, maxX, maxY);
        }
    }
};

// One collection class per kind of the list, and the types of each kind.
#define ORMAVEC_KIND_COLLECTION(K, Dxf, Record, List, Lives, Read, Write, Order, Grow, ...) \
    class List final : public ::ormavec::EntityList<Record, List> {                       \
    public:                                                                                \
        static constexpr std::string_view kClassName = #List;                              \
        List() : ::ormavec::EntityList<Record, List>(Grow) {}                              \
    };
ORMAVEC_ENTITY_KINDS(ORMAVEC_KIND_COLLECTION)
#undef ORMAVEC_KIND_COLLECTION

template <Kind K>
struct KindTypes;
#define ORMAVEC_KIND_TYPES(K, Dxf, Record, List, ...) \
    template <>                                       \
    struct KindTypes<Kind::K> {                       \
        using RecordType = Record;                    \
        using ListType = List;                        \
    };
ORMAVEC_ENTITY_KINDS(ORMAVEC_KIND_TYPES)
#undef ORMAVEC_KIND_TYPES

template <Kind K>
using KindRecord = typename KindTypes<K>::RecordType;
template <Kind K>
using KindList = typename KindTypes<K>::ListType;

// The collection of kind K in an entity set (ENTITIES, BLOCK_BLOCK): a
// specialisation names the set's member, where the set holds the kind.
template <class Set, Kind K>
struct Slot;
template <class Set, Kind K>
concept Holds = requires { Slot<Set, K>::member; };

template <Kind K, class Set>
const std::shared_ptr<KindList<K>>& ListIn(const Set& set) noexcept {
    return set.*Slot<Set, K>::member;
}

}  // namespace ormavec
