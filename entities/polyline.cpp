#include <vector>

#include "entities/collections.h"
#include "entities/sequence_descriptions.h"
#include "io/text.h"

namespace ormavec {

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
    const auto& d = entity::PolylineDescription();
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            reader.UnRead();
            return;
        }
        if (p.Code == 70)
            DecodeFlags(reader.ToInt32(p.Value), record);
        else
            entity::ApplyDescribedField(d, reader, p, record);
    }
}

constexpr int32_t kFaceRecord = 128;
constexpr int32_t kPolyFaceMeshVertex = 192;

}  // namespace

namespace entity {

const Description<POLYLINE_ENT>& PolylineDescription() {
    using R = POLYLINE_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "POLYLINE",
        [](R& r) {
            r.Layer = "0";
            r.LineType = "Continuous";
            r.ColorNumber = 256;
        },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(39, &R::Thickness), Dbl(40, &R::DefaultStartWidth),
         Dbl(41, &R::DefaultEndWidth), Int(62, &R::ColorNumber), Int(71, &R::PolygonMeshMVertexCount),
         Int(72, &R::PolygonMeshNVertexCount), Int(75, &R::SplineMode)},
        {Out::Text(0, "POLYLINE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Double(40, &R::DefaultStartWidth),
         Out::Double(41, &R::DefaultEndWidth), Out::Int(62, &R::ColorNumber),
         Out::Custom([](DXFWriter& w, const R& r) {
             w.WriteString(100, r.IsPolyFaceMesh ? "AcDbPolyFaceMesh" : r.Is3DPolyLine ? "AcDb3dPolyline" : "AcDb2dPolyline");
         }),
         Out::Text(66, "1"), Out::Double(39, &R::Thickness),
         Out::Custom([](DXFWriter& w, const R&) { w.WritePoint(0.0, 0.0, 0.0, 10, 20, 30); }),
         Out::Custom([](DXFWriter& w, const R& r) {
             w.WriteInteger(70, (r.IsClosed ? 1 : 0) + (r.Is3DPolyLine ? 8 : 0) + (r.IsPolyFaceMesh ? 64 : 0));
         })},
    };
    return d;
}

const Description<VERTEX_ENT>& VertexDescription() {
    using R = VERTEX_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "VERTEX",
        [](R&) {},
        {Dbl(10, &R::X), Dbl(20, &R::Y), Dbl(30, &R::Z), Dbl(40, &R::StartWidth), Dbl(41, &R::EndWidth),
         Dbl(42, &R::Bulge), Dbl(50, &R::CurveFitTangentDirection), Int(70, &R::VertexFlag),
         Int(71, &R::PolyFaceMesh1), Int(72, &R::PolyFaceMesh2), Int(73, &R::PolyFaceMesh3), Int(74, &R::PolyFaceMesh4)},
        {Out::Double(10, &R::X), Out::Double(20, &R::Y), Out::Double(30, &R::Z), Out::Double(40, &R::StartWidth),
         Out::Double(41, &R::EndWidth), Out::Double(50, &R::CurveFitTangentDirection), Out::Int(70, &R::VertexFlag),
         Out::Int(71, &R::PolyFaceMesh1).If([](const R& r) { return r.VertexFlag == kFaceRecord; }),
         Out::Int(72, &R::PolyFaceMesh2).If([](const R& r) { return r.VertexFlag == kFaceRecord; }),
         Out::Int(73, &R::PolyFaceMesh3).If([](const R& r) { return r.VertexFlag == kFaceRecord; }),
         Out::Int(74, &R::PolyFaceMesh4).If([](const R& r) { return r.VertexFlag == kFaceRecord; })},
    };
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, POLYLINE_ENT& record) {
    record = POLYLINE_ENT{};
    entity::PolylineDescription().defaults(record);
    std::vector<VERTEX_ENT> vertices, faces;

    ReadPolylinePairs(reader, record);

    // Only the values matter here: whatever is neither VERTEX nor SEQEND is
    // passed over, so a foreign entity inside the sequence is skipped.
    bool closed = false;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (EqualsNoCase(p.Value, "VERTEX")) {
            VERTEX_ENT v;
            ReadVertex(reader, v);
            (v.VertexFlag == kFaceRecord ? faces : vertices).push_back(v);
        } else if (EqualsNoCase(p.Value, "SEQEND")) {
            closed = true;
            break;
        }
    }
    // The SEQEND's own pairs count as the polyline's (its 8 sets the layer).
    if (closed) ReadPolylinePairs(reader, record);

    // Copied at their exact size: the model keeps many small vertex arrays,
    // and the growth reserve of the lists read into would stay with each.
    record.Vertices.assign(vertices.begin(), vertices.end());
    record.CommandVertices.assign(faces.begin(), faces.end());
}

void ReadVertex(DXFReader& reader, VERTEX_ENT& record) {
    entity::ReadDescribed(reader, entity::VertexDescription(), record);
}

void WriteEntity(DXFWriter& writer, const POLYLINE_ENT& record, int32_t& handle) {
    if (record.Vertices.empty())
        RaiseError(err::SubscriptOutOfRange, "POLYLINES", "Subscript out of range: the polyline has no vertices to write");
    entity::WriteDescribed(writer, entity::PolylineDescription(), record, handle);
    OwnerScope owned(writer, handle);  // the polyline's own handle, its only one so far
    for (const VERTEX_ENT& v : record.Vertices) WriteVertex(writer, v, record, handle);
    for (const VERTEX_ENT& v : record.CommandVertices) WriteVertex(writer, v, record, handle);
    writer.WriteString(0, "SEQEND");
    if (writer.IsStandard()) {
        // Handle and owner first, and the polyline's layer, as for every entity.
        writer.WriteHandle(5, NextHandle(handle));
        writer.WriteOwner();
        writer.WriteString(100, "AcDbEntity");
        writer.WriteString(8, record.Layer.empty() ? std::string_view("0") : std::string_view(record.Layer));
        return;
    }
    writer.WriteString(100, "AcDbEntity");
    writer.WriteHandle(5, NextHandle(handle));
}

void WriteVertex(DXFWriter& writer, const VERTEX_ENT& vertex, const POLYLINE_ENT& owner, int32_t& handle) {
    writer.WriteString(0, "VERTEX");
    writer.WriteHandle(5, NextHandle(handle));
    writer.WriteOwner();
    writer.WriteString(100, "AcDbEntity");
    writer.WriteString(8, owner.Layer.empty() ? std::string_view("0") : std::string_view(owner.Layer));
    writer.WriteString(6, owner.LineType.empty() ? std::string_view("Continuous") : std::string_view(owner.LineType));
    if (vertex.VertexFlag == kFaceRecord) {
        writer.WriteString(100, "AcDbFaceRecord");
    } else {
        writer.WriteString(100, "AcDbVertex");
        if (vertex.VertexFlag == kPolyFaceMeshVertex)
            writer.WriteString(100, "AcDbPolyFaceMeshVertex");
        else
            writer.WriteString(100, owner.Is3DPolyLine ? "AcDb3dPolylineVertex" : "AcDb2dVertex");
    }
    entity::WriteDescribed(writer, entity::VertexDescription(), vertex, handle);
}

int64_t SequenceHandles(const POLYLINE_ENT& record) noexcept {
    return static_cast<int64_t>(record.Vertices.size() + record.CommandVertices.size()) + 1;  // with SEQEND
}

void GetRecordExtent(const POLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    if (r.Vertices.empty())
        RaiseError(err::SubscriptOutOfRange, "POLYLINES", "Subscript out of range: the polyline has no vertices to measure");
    minX = maxX = r.Vertices[0].X;
    minY = maxY = r.Vertices[0].Y;
    for (const VERTEX_ENT& v : r.Vertices) {
        if (v.X < minX) minX = v.X;
        if (v.Y < minY) minY = v.Y;
        if (v.X > maxX) maxX = v.X;
        if (v.Y > maxY) maxY = v.Y;
    }
}

}  // namespace ormavec
