#include "entities/collections.h"
#include "entities/descriptor.h"
#include "entities/descriptions.h"

namespace ormavec {

namespace entity {
const Description<LINE_ENT>& LineDescription() {
    using R = LINE_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "LINE",
        [](R& r) {
            r.Layer = "0";
            r.LineType = "Continuous";
            r.ColorNumber = 256;
        },
        {Str(6, &R::LineType), Str(8, &R::Layer), Dbl(10, &R::StartX), Dbl(20, &R::StartY), Dbl(30, &R::StartZ),
         Dbl(11, &R::EndX), Dbl(21, &R::EndY), Dbl(31, &R::EndZ), Dbl(39, &R::Thickness), Int(62, &R::ColorNumber)},
        {Out::Text(0, "LINE"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbLine"),
         Out::Double(39, &R::Thickness), Out::Double(10, &R::StartX), Out::Double(20, &R::StartY),
         Out::Double(30, &R::StartZ), Out::Double(11, &R::EndX), Out::Double(21, &R::EndY), Out::Double(31, &R::EndZ)},
    };
    return d;
}
}  // namespace entity

void ReadEntity(DXFReader& reader, LINE_ENT& record) { entity::ReadDescribed(reader, entity::LineDescription(), record); }

void WriteEntity(DXFWriter& writer, const LINE_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::LineDescription(), record, handle);
}

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
