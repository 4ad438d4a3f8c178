#include "entities/collections.h"

namespace ormavec {

namespace {
const WriteOrder<LINE_ENT>& writeOrder() {
    using R = LINE_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{O::Text(0, "LINE"),     O::Handle(),         O::Text(100, "AcDbEntity"), O::Of(&R::Layer),
                                     O::Of(&R::LineType),    O::Of(&R::ColorNumber), O::Text(100, "AcDbLine"), O::Of(&R::Thickness),
                                     O::Of(&R::StartX),      O::Of(&R::StartY),   O::Of(&R::StartZ),          O::Of(&R::EndX),
                                     O::Of(&R::EndY),        O::Of(&R::EndZ)};
    return order;
}
}  // namespace

void ReadEntity(DXFReader& reader, LINE_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const LINE_ENT& record) { WriteByOrder(save, writeOrder(), record); }
int64_t HandleCount(const LINE_ENT&) noexcept { return OrderHandles(writeOrder); }

void GetRecordExtent(const LINE_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.StartX;
    minY = r.StartY;
    maxX = r.StartX;
    maxY = r.StartY;
    if (r.EndX < minX) minX = r.EndX;
    if (r.EndY < minY) minY = r.EndY;
    if (r.EndX > maxX) maxX = r.EndX;
    if (r.EndY > maxY) maxY = r.EndY;
}

}  // namespace ormavec
