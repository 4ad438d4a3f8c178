#include <algorithm>
#include <span>

#include "entities/collections.h"

namespace ormavec {

namespace {

// Notes of a read polyline: its vertices had a Z; every vertex had a bulge;
// every vertex had its widths.
constexpr uint32_t kVertexZ = kKeptNote(0), kVertexBulges = kKeptNote(1), kVertexWidths = kKeptNote(2);

bool HasConstWidth(const LWPOLYLINE_ENT& r) { return r.ConstWidth != LWPOLYLINE_ENT::kNoConstWidth; }

// Empties the scratch list however the read ends, so that no vertex of this
// entity reaches the next one.
struct EraseOnExit {
    LWVERTEXES& list;
    ~EraseOnExit() { list.EraseArray(); }
};

// The two flags a value of 70 gives, as a read takes them.
void DecodeFlags(int32_t flags, bool& closed, bool& plineGen) {
    plineGen = flags >= 128;
    closed = flags - (plineGen ? 128 : 0) >= 1;
}

// A kept 70 (flags beyond the two the model holds) still gives the record's.
int flagsGive(const LWPOLYLINE_ENT& r, std::span<const KeptPair> kept) {
    for (const KeptPair& p : kept)
        if (p.Code == 70) {
            bool closed = false, plineGen = false;
            DecodeFlags(static_cast<int32_t>(p.Number()), closed, plineGen);
            return closed == r.IsClosed && plineGen == r.PlineGen ? 1 : 0;
        }
    return -1;
}

const WriteOrder<LWPOLYLINE_ENT>& writeOrder() {
    using R = LWPOLYLINE_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "LWPOLYLINE"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType),
        O::Of(&R::ColorNumber), O::Text(100, "AcDbPolyline"), O::Of(&R::Thickness).If([](const R& r) { return r.Thickness != 0.0; }),
        O::Custom([](DXFWriter& w, const R& r) { w.WriteInteger(90, static_cast<int32_t>(r.POINTS.size())); }),
        O::Custom([](DXFWriter& w, const R& r) { w.WriteInteger(70, (r.IsClosed ? 1 : 0) + (r.PlineGen ? 128 : 0)); })
            .UnlessKept(flagsGive, {70}),
        O::Of(&R::ConstWidth).If(HasConstWidth), O::Of(&R::Elevation).If([](const R& r) { return r.Elevation != 0.0; }),
        O::Custom([](DXFWriter& w, const R& r) {
            // A Standard save writes bulges, and widths only for a polyline
            // that has some (a vertex without them takes its predecessor's).
            // A read one gives its vertices' pairs back as the file did (see
            // the notes in ReadEntity): widths where they change, unless every
            // vertex had them.
            const bool standard = w.IsStandard();
            const uint32_t notes = standard && r.kept.place ? r.kept.pairs : 0;
            const bool widths = !HasConstWidth(r) && (!standard || std::any_of(r.POINTS.begin(), r.POINTS.end(), [](const LWVERTEX& v) {
                                                          return v.StartWidth != 0.0 || v.EndWidth != 0.0;
                                                      }));
            const bool changes = standard && r.kept.place && !(notes & kVertexWidths);
            const LWVERTEX* last = nullptr;
            for (const LWVERTEX& v : r.POINTS) {
                w.WriteDouble(10, v.X);
                w.WriteDouble(20, v.Y);
                if (notes & kVertexZ) w.WriteDouble(30, v.Z);
                if ((widths || (notes & kVertexWidths)) &&
                    (!changes || (last ? v.StartWidth != last->StartWidth || v.EndWidth != last->EndWidth : v.StartWidth != 0.0 || v.EndWidth != 0.0))) {
                    w.WriteDouble(40, v.StartWidth);
                    w.WriteDouble(41, v.EndWidth);
                }
                if (standard && (v.Bulge != 0.0 || (notes & kVertexBulges))) w.WriteDouble(42, v.Bulge);
                last = &v;
            }
        })};
    return order;
}

}  // namespace

void ReadEntity(DXFReader& reader, LWVERTEXES& vertexList, LWPOLYLINE_ENT& record) {
    vertexList.EraseArray();
    EraseOnExit erase{vertexList};
    // The vertices gather in a list kept between polylines, then are copied
    // at their exact size.
    thread_local std::vector<LWVERTEX> vertices;
    vertices.clear();
    const bool preserving = tKeptRead.armed;
    LWVERTEX current;
    bool pending = false;
    int32_t flags = 0;
    std::size_t bulges = 0, widths = 0;  // vertices that had them
    bool bulge = false, width = false, z = false;
    ReadRecord(reader, record, [&](const DXFReader::Pair& p, LWPOLYLINE_ENT&) {
        switch (p.Code) {
        case 0: return PairIs::End;
        case 70:
            flags = reader.ToInt32(p.Value);
            // A preserving read keeps a value with flags the model does not hold.
            if (preserving && flags != 0 && flags != 1 && flags != 128 && flags != 129) return PairIs::Kept;
            break;
        case 90: break;  // the vertex count, written from the vertices
        case 10: {
            const double x = reader.ToDouble(p.Value);
            if (pending) vertices.push_back(current);
            bulges += bulge, widths += width;
            bulge = width = false;
            // Widths are not reset: a vertex without its own 40/41 keeps
            // those of the vertex before it.
            current.X = x;
            current.Y = 0;
            current.Z = 0;
            current.Bulge = 0;
            pending = true;
            break;
        }
        case 20: current.Y = reader.ToDouble(p.Value); break;
        case 30: current.Z = reader.ToDouble(p.Value), z = true; break;
        case 40: current.StartWidth = reader.ToDouble(p.Value), width = true; break;
        case 41: current.EndWidth = reader.ToDouble(p.Value), width = true; break;
        case 42: current.Bulge = reader.ToDouble(p.Value), bulge = true; break;
        default: return PairIs::Field;
        }
        return PairIs::Taken;
    });
    if (pending) vertices.push_back(current);
    bulges += bulge, widths += width;
    const std::size_t n = vertices.size();
    record.kept.pairs |= (z ? kVertexZ : 0) | (n && bulges == n ? kVertexBulges : 0) | (n && widths == n ? kVertexWidths : 0);

    DecodeFlags(flags, record.IsClosed, record.PlineGen);

    record.POINTS.assign(vertices.begin(), vertices.end());
    ReleaseIfLarge(vertices);
}

void WriteEntity(SaveContext& save, const LWPOLYLINE_ENT& record) {
    if (record.POINTS.empty())
        RaiseError(err::SubscriptOutOfRange, "LWPOLYLINES", "Subscript out of range: the polyline has no vertices to write");
    WriteByOrder(save, writeOrder(), record);
}
int64_t HandleCount(const LWPOLYLINE_ENT&) noexcept { return OrderHandles(writeOrder); }

void GetRecordExtent(const LWPOLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    if (r.POINTS.empty())
        RaiseError(err::SubscriptOutOfRange, "LWPOLYLINES", "Subscript out of range: the polyline has no vertices to measure");
    minX = maxX = r.POINTS[0].X;
    minY = maxY = r.POINTS[0].Y;
    for (const LWVERTEX& v : r.POINTS) {
        // Branch-free (min/max instructions); a NaN is passed over as before.
        minX = std::min(minX, v.X);
        minY = std::min(minY, v.Y);
        maxX = std::max(maxX, v.X);
        maxY = std::max(maxY, v.Y);
    }
}

}  // namespace ormavec
