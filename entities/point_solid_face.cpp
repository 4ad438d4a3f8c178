#include "entities/collections.h"
#include "entities/descriptions.h"
#include "entities/descriptor.h"

namespace ormavec {

namespace {

// The box of the first three corners; the fourth never counts.
void triangleBox(const XYZ& c1, const XYZ& c2, const XYZ& c3, double& minX, double& minY, double& maxX, double& maxY) {
    minX = maxX = c1.X;
    minY = maxY = c1.Y;
    for (const XYZ* c : {&c2, &c3}) {
        if (c->X < minX) minX = c->X;
        if (c->Y < minY) minY = c->Y;
        if (c->X > maxX) maxX = c->X;
        if (c->Y > maxY) maxY = c->Y;
    }
}

template <class R>
void cornerFields(std::vector<entity::ReadField<R>>& fields) {
    using entity::Dbl;
    XYZ R::*corners[4] = {&R::Corner1, &R::Corner2, &R::Corner3, &R::Corner4};
    for (int32_t i = 0; i < 4; ++i) {
        fields.push_back(Dbl(10 + i, corners[i], &XYZ::X));
        fields.push_back(Dbl(20 + i, corners[i], &XYZ::Y));
        fields.push_back(Dbl(30 + i, corners[i], &XYZ::Z));
    }
}

template <class R>
void cornerLines(std::vector<entity::WriteOp<R>>& ops) {
    using Out = entity::W<R>;
    XYZ R::*corners[4] = {&R::Corner1, &R::Corner2, &R::Corner3, &R::Corner4};
    for (int32_t i = 0; i < 4; ++i) {
        ops.push_back(Out::Double(10 + i, corners[i], &XYZ::X));
        ops.push_back(Out::Double(20 + i, corners[i], &XYZ::Y));
        ops.push_back(Out::Double(30 + i, corners[i], &XYZ::Z));
    }
}

// Only these values of group 70 are understood; any other leaves the flags as they are.
void setEdgeFlags(FACE3D_ENT& r, int32_t value) {
    struct Row {
        int32_t value;
        bool e1, e2, e3, e4;
    };
    static constexpr Row kRows[] = {{0, false, false, false, false}, {1, true, false, false, false},
                                    {8, false, false, false, true},  {12, false, false, true, true},
                                    {14, false, true, true, true},   {15, true, true, true, true}};
    for (const Row& row : kRows) {
        if (row.value != value) continue;
        r.Edge1IsInvisible = row.e1;
        r.Edge2IsInvisible = row.e2;
        r.Edge3IsInvisible = row.e3;
        r.Edge4IsInvisible = row.e4;
        return;
    }
}

}  // namespace

namespace entity {

const Description<POINT_ENT>& PointDescription() {
    using R = POINT_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "POINT",
        [](R& r) {
            r.Layer = "0";
            r.ColorNumber = 256;
        },
        {Str(8, &R::Layer), Dbl(10, &R::StartX), Dbl(20, &R::StartY), Dbl(30, &R::StartZ), Dbl(39, &R::Thickness),
         Int(62, &R::ColorNumber)},
        {Out::Text(0, "POINT"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::Int(62, &R::ColorNumber).If([](const R& r) { return r.ColorNumber != 257; }), Out::Text(100, "AcDbPoint"),
         Out::Double(39, &R::Thickness), Out::Double(10, &R::StartX), Out::Double(20, &R::StartY),
         Out::Double(30, &R::StartZ)},
    };
    return d;
}

const Description<SOLID_ENT>& SolidDescription() {
    using R = SOLID_ENT;
    using Out = W<R>;
    static const Description<R> d = [] {
        Description<R> s{
            "SOLID",
            [](R& r) {
                r.Layer = "0";
                r.ColorNumber = 256;
                r.LineType = "Continuous";
            },
            {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(39, &R::Thickness), Int(62, &R::ColorNumber),
             Dbl(210, &R::ExtrusionX), Dbl(220, &R::ExtrusionY), Dbl(230, &R::ExtrusionZ)},
            {Out::Text(0, "SOLID"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
             Out::Int(62, &R::ColorNumber), Out::String(6, &R::LineType, "Continuous"), Out::Text(100, "AcDbTrace")},
        };
        cornerFields(s.read);
        cornerLines(s.write);
        s.write.push_back(Out::Double(39, &R::Thickness));
        return s;
    }();
    return d;
}

const Description<FACE3D_ENT>& Face3DDescription() {
    using R = FACE3D_ENT;
    using Out = W<R>;
    static const Description<R> d = [] {
        Description<R> s{
            "3DFACE",
            [](R& r) {
                r.Layer = "0";
                r.LineType = "Continuous";
                r.ColorNumber = 256;
            },
            // Group 62 is kept like in every other entity, so that a face's
            // colour survives a load and save.
            {Str(6, &R::LineType), Str(8, &R::Layer), Int(62, &R::ColorNumber)},
            {Out::Text(0, "3DFACE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
             Out::String(6, &R::LineType, "Continuous"), Out::Text(100, "AcDbFace"), Out::Int(62, &R::ColorNumber)},
        };
        cornerFields(s.read);
        cornerLines(s.write);
        s.write.push_back(Out::Custom([](DXFWriter& w, const R& r) {
            w.WriteInteger(70, (r.Edge1IsInvisible ? 1 : 0) + (r.Edge2IsInvisible ? 2 : 0) + (r.Edge3IsInvisible ? 4 : 0) +
                                   (r.Edge4IsInvisible ? 8 : 0));
        }));
        return s;
    }();
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, POINT_ENT& record) { entity::ReadDescribed(reader, entity::PointDescription(), record); }
void WriteEntity(DXFWriter& writer, const POINT_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::PointDescription(), record, handle);
}
void GetRecordExtent(const POINT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.StartX;
    minY = r.StartY;
    maxX = r.StartX + 0.01;
    maxY = r.StartY + 0.01;
}

void ReadEntity(DXFReader& reader, SOLID_ENT& record) { entity::ReadDescribed(reader, entity::SolidDescription(), record); }
void WriteEntity(DXFWriter& writer, const SOLID_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::SolidDescription(), record, handle);
}
void GetRecordExtent(const SOLID_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    triangleBox(r.Corner1, r.Corner2, r.Corner3, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, FACE3D_ENT& record) {
    entity::ReadDescribedWith(reader, entity::Face3DDescription(), record, [&reader](const DXFReader::Pair& p, FACE3D_ENT& r) {
        if (p.Code != 70) return false;
        setEdgeFlags(r, reader.ToInt32(p.Value));
        return true;
    });
}
void WriteEntity(DXFWriter& writer, const FACE3D_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::Face3DDescription(), record, handle);
}
void GetRecordExtent(const FACE3D_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    triangleBox(r.Corner1, r.Corner2, r.Corner3, minX, minY, maxX, maxY);
}

}  // namespace ormavec
