#include "document/entities.h"

namespace ormavec {

namespace { [[noreturn]] void todo() { RaiseError(ErrNotSupported, "ENTITIES", "not implemented yet"); } }

ENTITIES::ENTITIES()
    : arcs_(std::make_shared<::ormavec::ARCS>()), circles_(std::make_shared<::ormavec::CIRCLES>()),
      ellipses_(std::make_shared<::ormavec::ELLIPSES>()), face3ds_(std::make_shared<::ormavec::FACE3DS>()),
      inserts_(std::make_shared<::ormavec::INSERTS>()), lines_(std::make_shared<::ormavec::LINES>()),
      lwpolylines_(std::make_shared<::ormavec::LWPOLYLINES>()), mtexts_(std::make_shared<::ormavec::MTEXTS>()),
      polylines_(std::make_shared<::ormavec::POLYLINES>()), points_(std::make_shared<::ormavec::POINTS>()),
      texts_(std::make_shared<::ormavec::TEXTS>()), solids_(std::make_shared<::ormavec::SOLIDS>()),
      attdefs_(std::make_shared<::ormavec::ATTDEFS>()), attribs_(std::make_shared<::ormavec::ATTRIBS>()) {}

void ENTITIES::ReCalcExtent(double&, double&, double&, double&) const { todo(); }
void ENTITIES::ReadSection(DXFReader&) { todo(); }
void ENTITIES::WriteOut(DXFWriter&, int32_t&) const { todo(); }

}  // namespace ormavec
