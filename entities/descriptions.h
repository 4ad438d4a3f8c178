// The descriptions of the entity types that are described declaratively,
// shared by the readers, the writers and the tests.
#pragma once

#include "entities/descriptor.h"

namespace ormavec::entity {

const Description<LINE_ENT>& LineDescription();
const Description<ARC_ENT>& ArcDescription();
const Description<CIRCLE_ENT>& CircleDescription();
const Description<ELLIPSE_ENT>& EllipseDescription();
const Description<POINT_ENT>& PointDescription();
const Description<SOLID_ENT>& SolidDescription();
// Group 70 (edge flags) is taken by the 3DFACE reader's own step, not by the table.
const Description<FACE3D_ENT>& Face3DDescription();
const Description<TEXT_ENT>& TextDescription();
// Groups 1, 3, 11, 21 and 31 are taken by the MTEXT reader's own step, not by the table.
const Description<MTEXT_ENT>& MTextDescription();

// ReadDescribed with a step that sees every pair of the entity before the
// table does and returns true when it has taken the pair itself.
template <class T, class Step>
void ReadDescribedWith(DXFReader& reader, const Description<T>& d, T& record, Step&& step) {
    record = T{};
    d.defaults(record);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 0) {
            reader.UnRead();
            break;
        }
        if (step(p, record)) continue;
        if (const ReadField<T>* f = d.find(p.Code)) f->apply(reader, p.Value, record);
    }
    if (d.finish) d.finish(record);
}

}  // namespace ormavec::entity
