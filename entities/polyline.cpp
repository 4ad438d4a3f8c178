#include <algorithm>
#include <span>
#include <type_traits>
#include <vector>

#include "entities/collections.h"
#include "io/text.h"

namespace ormavec {

// A SEQEND read by a preserving load: no fields, every pair is kept (its
// handle, owner and marker as any record's).
struct SEQEND_PAIRS {
    static constexpr std::string_view kTypeName = "SEQEND";
};
template <>
struct Fields<SEQEND_PAIRS> {
    static constexpr auto list = std::make_tuple();
};

namespace {

// Sets the booleans of the flag values present, highest value first; a flag
// already set stays set.
void DecodeFlags(int32_t value, POLYLINE_ENT& r) {
    if (value >= 128) value -= 128;
    if (value >= 64) { r.IsPolyFaceMesh = true; value -= 64; }
    if (value >= 32) { r.Is3DPolygonMeshClosed = true; value -= 32; }
    if (value >= 16) { r.Is3DPolygonMesh = true; value -= 16; }
    if (value >= 8) { r.Is3DPolyLine = true; value -= 8; }
    if (value >= 4) { r.IsSplineFitted = true; value -= 4; }
    if (value >= 2) { r.IsCurveFitted = true; value -= 2; }
    if (value == 1) r.IsClosed = true;
}

// The pairs of the POLYLINE entity, and again those after its SEQEND, up to
// the next code 0, which is pushed back.
void ReadPolylinePairs(DXFReader& reader, POLYLINE_ENT& record) {
    const bool preserving = tKeptRead.armed;
    ReadPairs(reader, record, [&reader, preserving](const DXFReader::Pair& p, POLYLINE_ENT& r) {
        if (p.Code == 0) return PairIs::End;
        // The point's Z is the elevation: a preserving read keeps one that is not 0.
        if (p.Code == 30 && preserving && reader.ToDouble(p.Value) != 0.0) {
            r.kept.pairs |= kKeptNote(1);
            return PairIs::Kept;
        }
        if (p.Code == 10 || p.Code == 20 || p.Code == 30) return PairIs::Taken;  // the dummy point, written as zeros
        if (p.Code == 66) {  // vertices follow: written for every polyline a host made
            if (reader.ToInt32(p.Value) == 1) r.kept.pairs |= kKeptNote(0);
            return PairIs::Taken;
        }
        if (p.Code != 70) return PairIs::Field;
        DecodeFlags(reader.ToInt32(p.Value), r);
        return PairIs::Taken;
    });
}

constexpr int32_t kFaceRecord = 128;
constexpr int32_t kPolyFaceMeshVertex = 192;

// The POLYLINE entity itself, up to its 70; vertices and SEQEND follow in code.
const WriteOrder<POLYLINE_ENT>& polylineOrder() {
    using R = POLYLINE_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "POLYLINE"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType),
        O::Of(&R::DefaultStartWidth), O::Of(&R::DefaultEndWidth), O::Of(&R::ColorNumber),
        O::Custom([](DXFWriter& w, const R& r) {
            w.WriteString(100, r.IsPolyFaceMesh ? "AcDbPolyFaceMesh" : r.Is3DPolyLine ? "AcDb3dPolyline" : "AcDb2dPolyline");
        }),
        O::Text(66, "1").Noted(kKeptNote(0)), O::Of(&R::Thickness), O::Custom([](DXFWriter& w, const R& r) {
            if (w.IsStandard() && r.kept.place && (r.kept.pairs & kKeptNote(1))) {
                w.WriteDouble(10, 0.0);  // the Z read follows among the kept pairs
                w.WriteDouble(20, 0.0);
            } else {
                w.WritePoint(0.0, 0.0, 0.0, 10, 20, 30);
            }
        }),
        O::Custom([](DXFWriter& w, const R& r) {
            // A Standard save also gives back the fitting and mesh flags.
            const int32_t more = w.IsStandard() ? (r.IsCurveFitted ? 2 : 0) + (r.IsSplineFitted ? 4 : 0) + (r.Is3DPolygonMesh ? 16 : 0) +
                                                      (r.Is3DPolygonMeshClosed ? 32 : 0)
                                                : 0;
            w.WriteInteger(70, (r.IsClosed ? 1 : 0) + (r.Is3DPolyLine ? 8 : 0) + (r.IsPolyFaceMesh ? 64 : 0) + more);
        }),
        O::Of(&R::PolygonMeshMVertexCount).IfRead(), O::Of(&R::PolygonMeshNVertexCount).IfRead(), O::Of(&R::SplineMode).IfRead()};
    return order;
}

// The VERTEX pairs from the location on, after the subclass markers, which
// depend on the owning polyline.
const WriteOrder<VERTEX_ENT>& vertexOrder() {
    using R = VERTEX_ENT;
    using O = W<R>;
    const auto face = [](const R& r) { return r.VertexFlag == kFaceRecord; };
    static const WriteOrder<R> order{O::Of(&R::X),        O::Of(&R::Y),
                                     O::Of(&R::Z),        O::Of(&R::StartWidth),
                                     O::Of(&R::EndWidth),
                                     O::Custom([](DXFWriter& w, const R& r) {
                                         if ((w.IsR12() || w.IsStandard()) && r.Bulge != 0.0) w.WriteDouble(42, r.Bulge);
                                     }),
                                     O::Of(&R::CurveFitTangentDirection),
                                     O::Of(&R::VertexFlag), O::Of(&R::PolyFaceMesh1).If(face),
                                     O::Of(&R::PolyFaceMesh2).If(face), O::Of(&R::PolyFaceMesh3).If(face),
                                     O::Of(&R::PolyFaceMesh4).If(face)};
    return order;
}

// A read vertex of a Standard save: where the kept pairs go (after the pair
// they followed) and how the polyline's vertices gave their pairs.
struct VertexKept {
    std::span<const KeptPair> pairs;
    std::vector<bool> done;
    uint32_t form = 0;
    bool read = false;
    void After(DXFWriter& w, int32_t code, std::string_view marker = {}) {
        if (!pairs.empty()) fields_detail::WriteKeptAt(w, pairs, done, code, marker, {}, false);
    }
};

// layer: the one the vertex before gave (the polyline's for the first).
void WriteVertex(SaveContext& save, const VERTEX_ENT& vertex, const POLYLINE_ENT& owner, uint32_t place, std::string_view& layer) {
    DXFWriter& writer = save.Writer();
    VertexKept kept;
    if (place) {
        kept.read = true;
        kept.form = owner.keptVertexForm.value;
        if (save.keptSet) {
            kept.pairs = save.keptSet->ExtrasOf(place);
            kept.done.resize(kept.pairs.size());
            save.OfferHandle(save.keptSet->HandleOf(place));
        }
    }
    writer.WriteString(0, "VERTEX");
    save.WriteHandle();
    writer.WriteString(100, "AcDbEntity");
    kept.After(writer, 100, "AcDbEntity");
    // A read vertex gives back its own layer and line type, if it had them.
    const auto own = std::find_if(kept.pairs.begin(), kept.pairs.end(), [](const KeptPair& p) { return p.Code == 8; });
    if (own != kept.pairs.end()) layer = own->Value();
    if (!kept.read || ((kept.form & kVertexHadLayer) && own == kept.pairs.end()))
        writer.WriteString(8, layer.empty() ? std::string_view("0") : layer);
    if (!kept.read) writer.WriteString(6, owner.LineType.empty() ? std::string_view("Continuous") : std::string_view(owner.LineType));
    kept.After(writer, 8);
    const auto marker = [&](std::string_view name) {
        writer.WriteString(100, name);
        kept.After(writer, 100, name);
    };
    if (vertex.VertexFlag == kFaceRecord) {
        marker("AcDbFaceRecord");
    } else {
        marker("AcDbVertex");
        if (vertex.VertexFlag == kPolyFaceMeshVertex)
            marker("AcDbPolyFaceMeshVertex");
        else
            marker(owner.Is3DPolyLine ? "AcDb3dPolylineVertex" : "AcDb2dVertex");
    }
    if (!kept.read) {
        WriteByOrder(save, vertexOrder(), vertex);
        return;
    }
    // A pair every vertex had is written; one some lacked where it is not 0.
    int32_t field = 0;
    const auto put = [&](int32_t code, auto value) {
        if (field < 2 || value != 0 || (kept.form & (1u << field))) {
            if constexpr (std::is_integral_v<decltype(value)>)
                writer.WriteInteger(code, value);
            else
                writer.WriteDouble(code, value);
            kept.After(writer, code);
        }
        ++field;
    };
    put(10, vertex.X), put(20, vertex.Y), put(30, vertex.Z), put(40, vertex.StartWidth), put(41, vertex.EndWidth);
    put(42, vertex.Bulge), put(50, vertex.CurveFitTangentDirection), put(70, vertex.VertexFlag);
    put(71, vertex.PolyFaceMesh1), put(72, vertex.PolyFaceMesh2), put(73, vertex.PolyFaceMesh3), put(74, vertex.PolyFaceMesh4);
    kept.After(writer, 0);
}

}  // namespace

namespace {
// The layer the last vertex read gave (or the polyline's).
thread_local std::string vertexLayer;
}  // namespace

void ReadEntity(DXFReader& reader, POLYLINE_ENT& record) {
    ResetToDefaults(record);
    const bool preserving = tKeptRead.armed;
    // Lists kept from one polyline to the next: no growth per polyline.
    thread_local std::vector<VERTEX_ENT> vertices, faces;
    vertices.clear();
    faces.clear();

    ReadPolylinePairs(reader, record);
    KeptRead& kept = tKeptRead;
    std::string& layerBefore = vertexLayer;  // one lookup of each thread's own
    if (preserving) layerBefore = record.Layer;

    // Only the values matter here: whatever is neither VERTEX nor SEQEND is
    // passed over, so a foreign entity inside the sequence is skipped.
    bool closed = false;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "VERTEX")) {
            VERTEX_ENT v;
            if (preserving) {
                // A preserving read keeps the vertex's handle and pairs; an 8
                // naming the layer of the vertex before (the polyline's for
                // the first) is noted, not kept.
                KeptRead::Nested& n = kept.ReadNested(kNestedVertex, [&] {
                    ReadRecord(reader, v, [&kept, &layerBefore](const DXFReader::Pair& q, VERTEX_ENT&) {
                        if (q.Code == 0) return PairIs::End;
                        if (q.Code != 8) return PairIs::Field;
                        kept.seen |= kVertexHadLayer;
                        if (q.Value == layerBefore) return PairIs::Taken;
                        layerBefore.assign(q.Value);
                        return PairIs::Field;
                    });
                });
                if (v.VertexFlag == kFaceRecord) n.kind = kNestedFace;
            } else {
                ReadVertex(reader, v);
            }
            (v.VertexFlag == kFaceRecord ? faces : vertices).push_back(v);
        } else if (EqualsNoCase(p.Value, "SEQEND")) {
            closed = true;
            break;
        }
    }
    // The SEQEND's own pairs count as the polyline's (its 8 sets the layer);
    // a preserving read keeps them as the SEQEND's.
    if (closed) {
        if (preserving)
            ReadSeqEnd(reader, layerBefore, record.kept.pairs);
        else
            ReadPolylinePairs(reader, record);
    }

    // Copied at their exact size: the model keeps many small vertex arrays,
    // and the growth reserve of the lists read into would stay with each.
    record.Vertices.assign(vertices.begin(), vertices.end());
    record.CommandVertices.assign(faces.begin(), faces.end());
    ReleaseIfLarge(vertices);
    ReleaseIfLarge(faces);
}

void ReadSeqEnd(DXFReader& reader, std::string_view layer, uint32_t& notes) {
    SEQEND_PAIRS s;
    tKeptRead.ReadNested(kNestedSeqEnd, [&] {
        ReadPairs(reader, s, [&](const DXFReader::Pair& p, SEQEND_PAIRS&) {
            if (p.Code == 0) return PairIs::End;
            if (p.Code != 8 || p.Value != layer) return PairIs::Kept;
            notes |= kKeptSeqEndLayer;
            return PairIs::Taken;
        });
    });
}

void WriteSeqEnd(SaveContext& save, std::string_view layer, const KeptSlot& kept, uint32_t nested, int32_t owner) {
    DXFWriter& writer = save.Writer();
    const uint32_t place = kept.place ? kept.place + nested : 0;
    VertexKept pairs;
    if (place && save.keptSet) {
        pairs.pairs = save.keptSet->ExtrasOf(place);
        pairs.done.resize(pairs.pairs.size());
    }
    writer.WriteString(0, "SEQEND");
    writer.WriteHandle(5, save.KeepHandle(place && save.keptSet ? save.keptSet->HandleOf(place) : 0));
    writer.WriteHandle(330, owner);
    writer.WriteString(100, "AcDbEntity");
    pairs.After(writer, 100, "AcDbEntity");
    if (!place || (kept.pairs & kKeptSeqEndLayer)) writer.WriteString(8, layer.empty() ? std::string_view("0") : layer);
    pairs.After(writer, 0);
}

void ReadVertex(DXFReader& reader, VERTEX_ENT& record) { ReadRecord(reader, record); }

void WriteEntity(SaveContext& save, const POLYLINE_ENT& record) {
    if (record.Vertices.empty())
        RaiseError(err::SubscriptOutOfRange, "POLYLINES", "Subscript out of range: the polyline has no vertices to write");
    WriteByOrder(save, polylineOrder(), record);
    DXFWriter& writer = save.Writer();
    {
        const int32_t polyline = save.WrittenHandle();  // the polyline's own
        OwnerScope owned(save, polyline);
        // A Standard save gives read vertices back their handles and pairs,
        // by position, while the polyline has as many as it was read with.
        const std::size_t count = record.Vertices.size() + record.CommandVertices.size();
        uint32_t place = save.Standard() && record.kept.place && record.keptNested.value == count + 1 ? record.kept.place : 0;
        const auto next = [&place] { return place ? ++place : 0; };
        std::string_view layer = record.Layer;
        for (const VERTEX_ENT& v : record.Vertices) WriteVertex(save, v, record, next(), layer);
        for (const VERTEX_ENT& v : record.CommandVertices) WriteVertex(save, v, record, next(), layer);
        if (save.Standard() && record.keptNested.value) return WriteSeqEnd(save, layer, record.kept, record.keptNested.value, polyline);
        writer.WriteString(0, "SEQEND");
        if (save.Standard() || save.R12()) {
            // Handle and owner first, and the polyline's layer, as for every entity.
            save.WriteHandle();
            writer.WriteString(100, "AcDbEntity");
            writer.WriteString(8, record.Layer.empty() ? std::string_view("0") : std::string_view(record.Layer));
            return;
        }
    }
    writer.WriteString(100, "AcDbEntity");
    writer.WriteHandle(5, save.TakeHandle());
}

int64_t HandleCount(const POLYLINE_ENT& record) noexcept {
    // The polyline, its vertices and SEQEND.
    return OrderHandles(polylineOrder) + static_cast<int64_t>(record.Vertices.size() + record.CommandVertices.size()) + 1;
}

void GetRecordExtent(const POLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    if (r.Vertices.empty())
        RaiseError(err::SubscriptOutOfRange, "POLYLINES", "Subscript out of range: the polyline has no vertices to measure");
    minX = maxX = r.Vertices[0].X;
    minY = maxY = r.Vertices[0].Y;
    for (const VERTEX_ENT& v : r.Vertices) {
        // Branch-free (min/max instructions); a NaN is passed over as before.
        minX = std::min(minX, v.X);
        minY = std::min(minY, v.Y);
        maxX = std::max(maxX, v.X);
        maxY = std::max(maxY, v.Y);
    }
}

}  // namespace ormavec
