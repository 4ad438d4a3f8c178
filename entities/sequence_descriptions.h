// The descriptions of the entity types that come with a sequence (INSERT with
// its ATTRIBs, POLYLINE with its VERTEXes) or with nested arrays (LWPOLYLINE,
// HATCH). Their readers and writers run these tables for the plain fields and
// keep the rules of the sequence in code beside them.
#pragma once

#include <cstdint>
#include <string_view>

#include "entities/descriptor.h"

namespace ormavec::entity {

// Complete: read table and every line written.
const Description<ATTDEF_ENT>& AttdefDescription();

// The lines written start after the owner reference (0, 5 and 330 are
// written by the caller, which knows the owner's handle).
const Description<ATTRIB_ENT>& AttribDescription();

// The INSERT's own pairs and lines up to 50; code 0 (the attributes) and the
// attributes and SEQEND written after it are handled by the INSERT code.
const Description<INSERT_ENT>& InsertDescription();

// Header and trailer pairs of a POLYLINE (group 70 is decoded in code) and
// the lines of the POLYLINE entity itself, up to its 70.
const Description<POLYLINE_ENT>& PolylineDescription();

// The VERTEX pairs; the lines written start at the location, after the
// subclass markers, which depend on the owning polyline.
const Description<VERTEX_ENT>& VertexDescription();

// The entity-level pairs of an LWPOLYLINE (vertices and flags are read in
// code) and every line written.
const Description<LWPOLYLINE_ENT>& LwpolylineDescription();

// The plain HATCH pairs (boundary paths after 91 and seed points after 98
// are read in code) and every line written.
const Description<HATCH_ENT>& HatchDescription();

// Applies the description's field for the pair's code, if it has one.
template <class T>
inline void ApplyDescribedField(const Description<T>& d, const DXFReader& reader, const DXFReader::Pair& p, T& record) {
    if (const ReadField<T>* f = d.find(p.Code)) f->apply(reader, p.Value, record);
}

}  // namespace ormavec::entity
