#include <memory>

#include "entities/collections.h"
#include "entities/sequence_descriptions.h"
#include "io/text.h"

namespace ormavec {

namespace entity {

namespace {
template <class R>
void AttributeDefaults(R& r) {
    r.Layer = "0";
    r.ColorNumber = 256;
    r.LineType = "Continuous";
    r.XScaleFactor = 1.0;
    r.TextStyleName = "STANDARD";
}
}  // namespace

const Description<ATTDEF_ENT>& AttdefDescription() {
    using R = ATTDEF_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "ATTDEF",
        AttributeDefaults<R>,
        {Str(1, &R::DefaultValue), Str(2, &R::TagString), Str(3, &R::PromptString), Str(6, &R::LineType),
         Str(7, &R::TextStyleName), Str(8, &R::Layer), Dbl(10, &R::X), Dbl(20, &R::Y), Dbl(30, &R::Z),
         Dbl(40, &R::TextHeight), Dbl(41, &R::XScaleFactor), Dbl(50, &R::Rotation), Dbl(51, &R::ObliqueAngle),
         Int(62, &R::ColorNumber), Int(70, &R::AttributeFlag), Int(72, &R::HorTextJust), Int(74, &R::VertTextJust)},
        {Out::Text(0, "ATTDEF"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::Text(100, "AcDbText"), Out::Double(10, &R::X), Out::Double(20, &R::Y), Out::Double(30, &R::Z),
         Out::Double(40, &R::TextHeight), Out::Double(50, &R::Rotation), Out::Double(41, &R::XScaleFactor),
         Out::Double(51, &R::ObliqueAngle), Out::String(7, &R::TextStyleName), Out::Int(72, &R::HorTextJust),
         Out::String(1, &R::DefaultValue), Out::Text(100, "AcDbAttributeDefinition"), Out::String(3, &R::PromptString),
         Out::String(2, &R::TagString), Out::Int(70, &R::AttributeFlag)},
    };
    return d;
}

const Description<ATTRIB_ENT>& AttribDescription() {
    using R = ATTRIB_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "ATTRIB",
        AttributeDefaults<R>,
        {Str(1, &R::DefaultValue), Str(2, &R::TagString), Str(6, &R::LineType), Str(7, &R::TextStyleName),
         Str(8, &R::Layer), Dbl(10, &R::X), Dbl(20, &R::Y), Dbl(30, &R::Z), Dbl(40, &R::TextHeight),
         Dbl(41, &R::XScaleFactor), Dbl(50, &R::Rotation), Dbl(51, &R::ObliqueAngle), Int(62, &R::ColorNumber),
         Int(70, &R::AttributeFlag), Int(72, &R::HorTextJust), Int(74, &R::VertTextJust)},
        {Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"), Out::Text(100, "AcDbText"),
         Out::Double(10, &R::X), Out::Double(20, &R::Y), Out::Double(30, &R::Z), Out::Double(40, &R::TextHeight),
         Out::String(1, &R::DefaultValue), Out::Text(100, "AcDbAttribute"), Out::String(2, &R::TagString),
         Out::Int(70, &R::AttributeFlag)},
    };
    return d;
}

const Description<INSERT_ENT>& InsertDescription() {
    using R = INSERT_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "INSERT",
        [](R& r) {
            r.Layer = "0";
            r.LineType = "Continuous";
            r.ColorNumber = 256;
            r.BlockName = "Alap";
            r.XScale = 1.0;
            r.YScale = 1.0;
            r.ZScale = 1.0;
        },
        {Str(2, &R::BlockName), Str(6, &R::LineType), Str(8, &R::Layer), Dbl(10, &R::CenterX), Dbl(20, &R::CenterY),
         Dbl(30, &R::CenterZ), Dbl(39, &R::Thickness), Dbl(41, &R::XScale), Dbl(42, &R::YScale), Dbl(43, &R::ZScale),
         Dbl(50, &R::RotationAngle), Int(62, &R::ColorNumber)},
        {Out::Text(0, "INSERT"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::String(6, &R::LineType, "Continuous"), Out::Int(62, &R::ColorNumber),
         Out::Text(100, "AcDbBlockReference"),
         // An empty collection still announces attributes.
         Out::Text(66, "1").If([](const R& r) { return r.ATTRIBS != nullptr; }), Out::Double(39, &R::Thickness),
         Out::Double(10, &R::CenterX), Out::Double(20, &R::CenterY), Out::Double(30, &R::CenterZ),
         Out::String(2, &R::BlockName),
         Out::Double(41, &R::XScale).If([](const R& r) { return r.XScale != 1.0 || r.YScale != 1.0 || r.ZScale != 1.0; }),
         Out::Double(42, &R::YScale).If([](const R& r) { return r.XScale != 1.0 || r.YScale != 1.0 || r.ZScale != 1.0; }),
         Out::Double(43, &R::ZScale).If([](const R& r) { return r.XScale != 1.0 || r.YScale != 1.0 || r.ZScale != 1.0; }),
         Out::Double(50, &R::RotationAngle)},
    };
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, INSERT_ENT& record) {
    const auto& d = entity::InsertDescription();
    record = INSERT_ENT{};
    d.defaults(record);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code != 0) {
            entity::ApplyDescribedField(d, reader, p, record);
            continue;
        }
        if (!EqualsNoCase(p.Value, "ATTRIB")) {
            reader.UnRead();
            break;
        }
        // The attribute consumes the closing SEQEND; the SEQEND's own pairs
        // then come here as the insert's pairs (its 8 sets the layer).
        if (!record.ATTRIBS) record.ATTRIBS = std::make_shared<ATTRIBS>();
        ATTRIB_ENT attribute;
        ReadEntity(reader, attribute);
        record.ATTRIBS->Add(std::move(attribute));
    }
}

void WriteEntity(DXFWriter& writer, const INSERT_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::InsertDescription(), record, handle);
    if (!record.ATTRIBS) return;
    const int32_t owner = handle;  // the insert's own handle, its only one so far
    for (const ATTRIB_ENT& attribute : *record.ATTRIBS) WriteEntity(writer, attribute, handle, owner);
    writer.WriteString(0, "SEQEND");
    writer.WriteHandle(5, NextHandle(handle));
    writer.WriteHandle(330, owner);
    writer.WriteString(100, "AcDbEntity");
    writer.WriteString(8, record.Layer.empty() ? std::string_view("0") : std::string_view(record.Layer));
}

int64_t SequenceHandles(const INSERT_ENT& record) noexcept {
    return record.ATTRIBS ? record.ATTRIBS->Count() + 1 : 0;  // the attributes and SEQEND
}

void GetRecordExtent(const INSERT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.CenterX;
    minY = r.CenterY;
    maxX = r.CenterX + 0.01;
    maxY = r.CenterY + 0.01;
}

void ReadEntity(DXFReader& reader, ATTDEF_ENT& record) {
    entity::ReadDescribed(reader, entity::AttdefDescription(), record);
}

void WriteEntity(DXFWriter& writer, const ATTDEF_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::AttdefDescription(), record, handle);
}

std::string_view WrittenStyle(const ATTDEF_ENT& record) noexcept { return record.TextStyleName; }

void ReadEntity(DXFReader& reader, ATTRIB_ENT& record) {
    const auto& d = entity::AttribDescription();
    record = ATTRIB_ENT{};
    d.defaults(record);
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code != 0) {
            entity::ApplyDescribedField(d, reader, p, record);
            continue;
        }
        // SEQEND closes the insert's attributes and belongs to them; anything
        // else is the next attribute or the next entity.
        if (!EqualsNoCase(p.Value, "SEQEND")) reader.UnRead();
        break;
    }
}

void WriteEntity(DXFWriter& writer, const ATTRIB_ENT& record, int32_t& handle, int32_t ownerHandle) {
    writer.WriteString(0, "ATTRIB");
    writer.WriteHandle(5, NextHandle(handle));
    writer.WriteHandle(330, ownerHandle);
    entity::WriteDescribed(writer, entity::AttribDescription(), record, handle);
}

}  // namespace ormavec
