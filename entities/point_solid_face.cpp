#include "entities/collections.h"

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
void cornerLines(WriteOrder<R>& order) {
    W<R>::Point(order, 10, &R::Corner1);
    W<R>::Point(order, 11, &R::Corner2);
    W<R>::Point(order, 12, &R::Corner3);
    W<R>::Point(order, 13, &R::Corner4);
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

const WriteOrder<POINT_ENT>& pointOrder() {
    using R = POINT_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{O::Text(0, "POINT"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer),
                                     O::Of(&R::ColorNumber).If([](const R& r) { return r.ColorNumber != 257; }),
                                     O::Text(100, "AcDbPoint"), O::Of(&R::Thickness), O::Of(&R::StartX), O::Of(&R::StartY),
                                     O::Of(&R::StartZ)};
    return order;
}

const WriteOrder<SOLID_ENT>& solidOrder() {
    using R = SOLID_ENT;
    using O = W<R>;
    static const WriteOrder<R> order = [] {
        WriteOrder<R> o{O::Text(0, "SOLID"), O::Handle(),          O::Text(100, "AcDbEntity"), O::Of(&R::Layer),
                        O::Of(&R::ColorNumber), O::Of(&R::LineType), O::Text(100, "AcDbTrace")};
        cornerLines(o);
        o.push_back(O::Of(&R::Thickness));
        for (double R::*m : {&R::ExtrusionX, &R::ExtrusionY, &R::ExtrusionZ}) o.push_back(O::Of(m).IfRead());
        return o;
    }();
    return order;
}

const WriteOrder<FACE3D_ENT>& faceOrder() {
    using R = FACE3D_ENT;
    using O = W<R>;
    static const WriteOrder<R> order = [] {
        WriteOrder<R> o{O::Text(0, "3DFACE"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType),
                        O::Text(100, "AcDbFace"), O::Of(&R::ColorNumber)};
        cornerLines(o);
        o.push_back(O::Custom([](DXFWriter& w, const R& r) {
                        w.WriteInteger(70, (r.Edge1IsInvisible ? 1 : 0) + (r.Edge2IsInvisible ? 2 : 0) + (r.Edge3IsInvisible ? 4 : 0) +
                                               (r.Edge4IsInvisible ? 8 : 0));
                    }).Noted(kKeptNote(0), [](const R& r) {
            return r.Edge1IsInvisible || r.Edge2IsInvisible || r.Edge3IsInvisible || r.Edge4IsInvisible;
        }));
        return o;
    }();
    return order;
}

}  // namespace

void ReadEntity(DXFReader& reader, POINT_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const POINT_ENT& record) { WriteByOrder(save, pointOrder(), record); }
int64_t HandleCount(const POINT_ENT&) noexcept { return OrderHandles(pointOrder); }
void GetRecordExtent(const POINT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.StartX;
    minY = r.StartY;
    maxX = r.StartX + 0.01;
    maxY = r.StartY + 0.01;
}

void ReadEntity(DXFReader& reader, SOLID_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const SOLID_ENT& record) { WriteByOrder(save, solidOrder(), record); }
int64_t HandleCount(const SOLID_ENT&) noexcept { return OrderHandles(solidOrder); }
void GetRecordExtent(const SOLID_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    triangleBox(r.Corner1, r.Corner2, r.Corner3, minX, minY, maxX, maxY);
}

void ReadEntity(DXFReader& reader, FACE3D_ENT& record) {
    ReadRecord(reader, record, [&reader](const DXFReader::Pair& p, FACE3D_ENT& r) {
        if (p.Code == 0) return PairIs::End;
        if (p.Code != 70) return PairIs::Field;
        r.kept.pairs |= kKeptNote(0);  // the edge flags were given
        setEdgeFlags(r, reader.ToInt32(p.Value));
        return PairIs::Taken;
    });
}
void WriteEntity(SaveContext& save, const FACE3D_ENT& record) { WriteByOrder(save, faceOrder(), record); }
int64_t HandleCount(const FACE3D_ENT&) noexcept { return OrderHandles(faceOrder); }
void GetRecordExtent(const FACE3D_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    triangleBox(r.Corner1, r.Corner2, r.Corner3, minX, minY, maxX, maxY);
}

}  // namespace ormavec
