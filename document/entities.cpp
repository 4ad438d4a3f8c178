#include "document/entities.h"

#include <array>

#include "io/text.h"

namespace ormavec {

namespace {

// Entity names in the order they are tested; the index selects the collection.
enum class Kind : uint8_t { Arc, Circle, Ellipse, Face3D, Insert, Line, LwPolyline, MText, Point, Polyline, Text, Solid, AttDef, AttRib, None };

constexpr std::array<std::string_view, 14> kNames = {"ARC",   "CIRCLE", "ELLIPSE", "3DFACE",   "INSERT", "LINE",   "LWPOLYLINE",
                                                     "MTEXT", "POINT",  "POLYLINE", "TEXT",    "SOLID",  "ATTDEF", "ATTRIB"};

bool equalsAsciiUpper(std::string_view value, std::string_view upperName) noexcept {
    if (value.size() != upperName.size()) return false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        char c = value[i];
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        if (c != upperName[i]) return false;
    }
    return true;
}

Kind findKind(std::string_view value) {
    std::string upper;
    if (!IsAscii(value)) {
        // Rare: let the full case mapping decide, as a non-ASCII letter may
        // upper-case into an ASCII one.
        upper = UpperCase(value);
        value = upper;
    }
    for (std::size_t i = 0; i < kNames.size(); ++i)
        if (equalsAsciiUpper(value, kNames[i])) return static_cast<Kind>(i);
    return Kind::None;
}

// Reads one entity into a fresh record and appends it; a failing read
// leaves the list as it was.
template <class List>
void readInto(DXFReader& reader, List& list) {
    typename List::value_type record;
    ReadEntity(reader, record);
    list.Add(std::move(record));
}

}  // namespace

ENTITIES::ENTITIES()
    : arcs_(std::make_shared<::ormavec::ARCS>()), circles_(std::make_shared<::ormavec::CIRCLES>()),
      ellipses_(std::make_shared<::ormavec::ELLIPSES>()), face3ds_(std::make_shared<::ormavec::FACE3DS>()),
      inserts_(std::make_shared<::ormavec::INSERTS>()), lines_(std::make_shared<::ormavec::LINES>()),
      lwpolylines_(std::make_shared<::ormavec::LWPOLYLINES>()), mtexts_(std::make_shared<::ormavec::MTEXTS>()),
      polylines_(std::make_shared<::ormavec::POLYLINES>()), points_(std::make_shared<::ormavec::POINTS>()),
      texts_(std::make_shared<::ormavec::TEXTS>()), solids_(std::make_shared<::ormavec::SOLIDS>()),
      attdefs_(std::make_shared<::ormavec::ATTDEFS>()), attribs_(std::make_shared<::ormavec::ATTRIBS>()) {
    arcs_->SetGrowLength(500);
    circles_->SetGrowLength(500);
    ellipses_->SetGrowLength(500);
    face3ds_->SetGrowLength(500);
    inserts_->SetGrowLength(500);
    lines_->SetGrowLength(500);
    lwpolylines_->SetGrowLength(500);
    mtexts_->SetGrowLength(500);
    polylines_->SetGrowLength(500);
    points_->SetGrowLength(500);
    texts_->SetGrowLength(500);
    solids_->SetGrowLength(100);
    attdefs_->SetGrowLength(100);
    attribs_->SetGrowLength(100);
}

void ENTITIES::ReCalcExtent(double& X0, double& Y0, double& X1, double& Y1) const {
    X0 = Y0 = X1 = Y1 = 0.0;
    arcs_->GetExtent(X0, Y0, X1, Y1);
    circles_->GetExtent(X0, Y0, X1, Y1);
    ellipses_->GetExtent(X0, Y0, X1, Y1);
    face3ds_->GetExtent(X0, Y0, X1, Y1);
    inserts_->GetExtent(X0, Y0, X1, Y1);
    lines_->GetExtent(X0, Y0, X1, Y1);
    lwpolylines_->GetExtent(X0, Y0, X1, Y1);
    mtexts_->GetExtent(X0, Y0, X1, Y1);
    polylines_->GetExtent(X0, Y0, X1, Y1);
    points_->GetExtent(X0, Y0, X1, Y1);
    texts_->GetExtent(X0, Y0, X1, Y1);
    solids_->GetExtent(X0, Y0, X1, Y1);
}

void ENTITIES::ReadSection(DXFReader& reader) {
    std::shared_ptr<LWVERTEXES> lwVertices;  // made at the section's first LWPOLYLINE
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Value == "ENDSEC") break;
        // ATTDEF, ATTRIB and unknown names start nothing: their pairs fall
        // through this loop one by one.
        if (p.Code != 0) continue;
        switch (findKind(p.Value)) {
        case Kind::Arc: readInto(reader, *arcs_); break;
        case Kind::Circle: readInto(reader, *circles_); break;
        case Kind::Ellipse: readInto(reader, *ellipses_); break;
        case Kind::Face3D: readInto(reader, *face3ds_); break;
        case Kind::Insert: readInto(reader, *inserts_); break;
        case Kind::Line: readInto(reader, *lines_); break;
        case Kind::LwPolyline: {
            if (!lwVertices) lwVertices = std::make_shared<LWVERTEXES>();
            LWPOLYLINE_ENT record;
            ReadEntity(reader, *lwVertices, record);
            lwpolylines_->Add(std::move(record));
            break;
        }
        case Kind::MText: readInto(reader, *mtexts_); break;
        case Kind::Point: readInto(reader, *points_); break;
        case Kind::Polyline: readInto(reader, *polylines_); break;
        case Kind::Text: readInto(reader, *texts_); break;
        case Kind::Solid: readInto(reader, *solids_); break;
        case Kind::AttDef:
        case Kind::AttRib:
        case Kind::None: break;
        }
    }
}

void ENTITIES::WriteOut(DXFWriter& writer, int32_t& handle) const {
    OwnerScope modelSpace(writer, writer.StandardLinks().modelSpaceRecord);
    writer.BeginSection();
    writer.WriteString(2, "ENTITIES");
    arcs_->WriteOut(writer, handle);
    circles_->WriteOut(writer, handle);
    ellipses_->WriteOut(writer, handle);
    face3ds_->WriteOut(writer, handle);
    inserts_->WriteOut(writer, handle);
    lines_->WriteOut(writer, handle);
    lwpolylines_->WriteOut(writer, handle);
    mtexts_->WriteOut(writer, handle);
    polylines_->WriteOut(writer, handle);
    points_->WriteOut(writer, handle);
    texts_->WriteOut(writer, handle);
    solids_->WriteOut(writer, handle);
    attdefs_->WriteOut(writer, handle);
    writer.EndSection();
}

}  // namespace ormavec
