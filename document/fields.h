// The field reflection of every public record: each record declares its
// fields once beside itself (Fields<R>, see io/fields.h); this header brings
// them together with the list of the records, for the scripting bindings,
// the automation layer and the model comparison of the tests.
#pragma once

#include "document/blocks.h"
#include "entities/records.h"
#include "io/fields.h"
#include "tables/symbol_tables.h"

namespace ormavec {

template <class... R>
struct TypeList {};

// Every public record, in the order the type library and the Python module
// present them.
using AllRecords = TypeList<XYZ, LINE_ENT, ARC_ENT, CIRCLE_ENT, ELLIPSE_ENT, POINT_ENT, SOLID_ENT, FACE3D_ENT, TEXT_ENT, MTEXT_ENT,
                            ATTDEF_ENT, ATTRIB_ENT, INSERT_ENT, VERTEX_ENT, POLYLINE_ENT, LWVERTEX, LWPOLYLINE_ENT,
                            HATCH_BOUNDARY_POLYLINE, HATCH_BOUNDARY_LINE, HATCH_BOUNDARY_ARC, HATCH_BOUNDARY_ELLIPSE,
                            HATCH_BOUNDARY_SPLINE, HATCH_ENT, LAYERS_TAB, LINEPATTERN, LTYPES_TAB, STYLES_TAB, BLOCK_BLOCK>;

}  // namespace ormavec
