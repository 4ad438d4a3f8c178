#include "entities/collections.h"
#include "entities/sequence_descriptions.h"

namespace ormavec {

namespace {

bool HasConstWidth(const LWPOLYLINE_ENT& r) { return r.ConstWidth != LWPOLYLINE_ENT::kNoConstWidth; }

// Empties the scratch list however the read ends, so that no vertex of this
// entity reaches the next one.
struct EraseOnExit {
    LWVERTEXES& list;
    ~EraseOnExit() { list.EraseArray(); }
};

}  // namespace

namespace entity {

const Description<LWPOLYLINE_ENT>& LwpolylineDescription() {
    using R = LWPOLYLINE_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "LWPOLYLINE",
        [](R& r) {
            r.Layer = "0";
            r.LineType = "Continuous";
            r.ColorNumber = 256;
            r.ConstWidth = R::kNoConstWidth;
        },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(38, &R::Elevation), Dbl(39, &R::Thickness),
         Dbl(43, &R::ConstWidth), Int(62, &R::ColorNumber)},
        {Out::Text(0, "LWPOLYLINE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbPolyline"),
         Out::Double(39, &R::Thickness).If([](const R& r) { return r.Thickness != 0.0; }),
         Out::Custom([](DXFWriter& w, const R& r) { w.WriteInteger(90, static_cast<int32_t>(r.POINTS.size())); }),
         Out::Custom([](DXFWriter& w, const R& r) { w.WriteInteger(70, (r.IsClosed ? 1 : 0) + (r.PlineGen ? 128 : 0)); }),
         Out::Double(43, &R::ConstWidth).If(HasConstWidth),
         Out::Double(38, &R::Elevation).If([](const R& r) { return r.Elevation != 0.0; }),
         Out::Custom([](DXFWriter& w, const R& r) {
             const bool widths = !HasConstWidth(r);
             for (const LWVERTEX& v : r.POINTS) {
                 w.WriteDouble(10, v.X);
                 w.WriteDouble(20, v.Y);
                 if (widths) {
                     w.WriteDouble(40, v.StartWidth);
                     w.WriteDouble(41, v.EndWidth);
                 }
             }
         })},
    };
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, LWVERTEXES& vertexList, LWPOLYLINE_ENT& record) {
    const auto& d = entity::LwpolylineDescription();
    vertexList.EraseArray();
    EraseOnExit erase{vertexList};
    record = LWPOLYLINE_ENT{};
    d.defaults(record);

    LWVERTEX current;
    bool pending = false;
    int32_t flags = 0;
    bool more = true;
    while (more && !reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        switch (p.Code) {
        case 0:
            reader.UnRead();
            more = false;
            break;
        case 70: flags = reader.ToInt32(p.Value); break;
        case 10: {
            const double x = reader.ToDouble(p.Value);
            if (pending) vertexList.Add(current);
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
        case 30: current.Z = reader.ToDouble(p.Value); break;
        case 40: current.StartWidth = reader.ToDouble(p.Value); break;
        case 41: current.EndWidth = reader.ToDouble(p.Value); break;
        case 42: current.Bulge = reader.ToDouble(p.Value); break;
        default: entity::ApplyDescribedField(d, reader, p, record); break;
        }
    }
    if (pending) vertexList.Add(current);

    if (flags >= 128) {
        record.PlineGen = true;
        flags -= 128;
    }
    if (flags >= 1) record.IsClosed = true;

    record.POINTS = vertexList.GetArray();
}

void WriteEntity(DXFWriter& writer, const LWPOLYLINE_ENT& record, int32_t& handle) {
    if (record.POINTS.empty())
        RaiseError(err::SubscriptOutOfRange, "LWPOLYLINES", "Subscript out of range: the polyline has no vertices to write");
    entity::WriteDescribed(writer, entity::LwpolylineDescription(), record, handle);
}

void GetRecordExtent(const LWPOLYLINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    if (r.POINTS.empty())
        RaiseError(err::SubscriptOutOfRange, "LWPOLYLINES", "Subscript out of range: the polyline has no vertices to measure");
    minX = maxX = r.POINTS[0].X;
    minY = maxY = r.POINTS[0].Y;
    for (const LWVERTEX& v : r.POINTS) {
        if (v.X < minX) minX = v.X;
        if (v.Y < minY) minY = v.Y;
        if (v.X > maxX) maxX = v.X;
        if (v.Y > maxY) maxY = v.Y;
    }
}

}  // namespace ormavec
