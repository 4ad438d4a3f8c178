#include <memory>

#include "entities/collections.h"
#include "io/text.h"

namespace ormavec {

namespace {

const WriteOrder<ATTDEF_ENT>& attdefOrder() {
    using R = ATTDEF_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "ATTDEF"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Text(100, "AcDbText"), O::Of(&R::X),
        O::Of(&R::Y), O::Of(&R::Z), O::Of(&R::TextHeight), O::Of(&R::Rotation), O::Of(&R::XScaleFactor), O::Of(&R::ObliqueAngle),
        O::Of(&R::TextStyleName), O::Of(&R::HorTextJust), O::Of(&R::DefaultValue), O::Text(100, "AcDbAttributeDefinition"),
        O::Of(&R::PromptString), O::Of(&R::TagString), O::Of(&R::AttributeFlag)};
    return order;
}

// After the entity name, the handle and the owner, which an attribute writes
// in every save. A Standard save also writes the fields the fixed layout
// leaves out: where a read attribute had them, or where they hold more than
// their defaults.
const WriteOrder<ATTRIB_ENT>& attribOrder() {
    using R = ATTRIB_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType).InStandard(), O::Of(&R::ColorNumber).InStandard(),
        O::Text(100, "AcDbText"), O::Of(&R::X), O::Of(&R::Y), O::Of(&R::Z), O::Of(&R::TextHeight), O::Of(&R::DefaultValue),
        O::Of(&R::Rotation).InStandard(), O::Of(&R::XScaleFactor).InStandard(), O::Of(&R::ObliqueAngle).InStandard(),
        O::Of(&R::TextStyleName).InStandard(), O::Of(&R::HorTextJust).InStandard(), O::Text(100, "AcDbAttribute"),
        O::Of(&R::TagString), O::Of(&R::AttributeFlag), O::Of(&R::VertTextJust).InStandard()};
    return order;
}

bool hasAttribs(const INSERT_ENT& r) { return r.ATTRIBS != nullptr; }
bool scaled(const INSERT_ENT& r) { return r.XScale != 1.0 || r.YScale != 1.0 || r.ZScale != 1.0; }

// The INSERT up to 50; the attributes and SEQEND follow in code.
const WriteOrder<INSERT_ENT>& insertOrder() {
    using R = INSERT_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "INSERT"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType),
        O::Of(&R::ColorNumber), O::Text(100, "AcDbBlockReference"),
        // An empty collection still announces attributes.
        // A read one gives back a 66 that announced none.
        O::Text(66, "1").If(hasAttribs).Noted(kKeptNote(0), hasAttribs), O::Of(&R::Thickness), O::Of(&R::CenterX),
        O::Of(&R::CenterY), O::Of(&R::CenterZ), O::Of(&R::BlockName), O::Of(&R::XScale).If(scaled),
        O::Of(&R::YScale).If(scaled), O::Of(&R::ZScale).If(scaled), O::Of(&R::RotationAngle)};
    return order;
}

// Reads an attribute after its 0/ATTRIB; true when a SEQEND closed it.
bool ReadAttribute(DXFReader& reader, ATTRIB_ENT& record) {
    bool closed = false;
    ReadRecord(reader, record, [&closed](const DXFReader::Pair& p, ATTRIB_ENT&) {
        if (p.Code != 0) return PairIs::Field;
        // SEQEND closes the insert's attributes and belongs to them; anything
        // else is the next attribute or the next entity.
        closed = EqualsNoCase(p.Value, "SEQEND");
        return closed ? PairIs::EndTaken : PairIs::End;
    });
    return closed;
}

}  // namespace

void ReadEntity(DXFReader& reader, INSERT_ENT& record) {
    const bool preserving = tKeptRead.armed;
    ReadRecord(reader, record, [&reader, preserving](const DXFReader::Pair& p, INSERT_ENT& r) {
        if (p.Code == 66) {  // written when there are attributes
            if (reader.ToInt32(p.Value) == 1) r.kept.pairs |= kKeptNote(0);
            return PairIs::Taken;
        }
        if (p.Code != 0) return PairIs::Field;
        // A preserving read takes a SEQEND right after a 66 of 1 as the end
        // of an empty sequence.
        if (preserving && !r.ATTRIBS && (r.kept.pairs & kKeptNote(0)) && EqualsNoCase(p.Value, "SEQEND")) {
            r.ATTRIBS = std::make_shared<ATTRIBS>();
            ReadSeqEnd(reader, r.Layer, r.kept.pairs);
            return PairIs::Taken;
        }
        if (!EqualsNoCase(p.Value, "ATTRIB")) return PairIs::End;
        if (!r.ATTRIBS) r.ATTRIBS = std::make_shared<ATTRIBS>();
        ATTRIB_ENT attribute;
        if (!preserving) {
            // The attribute consumes the closing SEQEND; the SEQEND's own pairs
            // then come here as the insert's pairs (its 8 sets the layer).
            ReadAttribute(reader, attribute);
            r.ATTRIBS->Add(std::move(attribute));
            return PairIs::Taken;
        }
        // A preserving read keeps the attribute's handle and pairs, and the
        // SEQEND's, as those of records of their own.
        bool closed = false;
        tKeptRead.ReadNested(kNestedAttrib, [&] { closed = ReadAttribute(reader, attribute); });
        r.ATTRIBS->Add(std::move(attribute));
        if (closed) ReadSeqEnd(reader, r.Layer, r.kept.pairs);
        return PairIs::Taken;
    });
}

void WriteEntity(SaveContext& save, const INSERT_ENT& record) {
    WriteByOrder(save, insertOrder(), record);
    if (!record.ATTRIBS) return;
    DXFWriter& writer = save.Writer();
    const int32_t insert = save.WrittenHandle();  // the insert's own
    {
        OwnerScope owned(save, insert);
        for (const ATTRIB_ENT& attribute : *record.ATTRIBS) WriteEntity(save, attribute);
    }
    if (save.Standard() && record.keptNested.value) return WriteSeqEnd(save, record.Layer, record.kept, record.keptNested.value, insert);
    writer.WriteString(0, "SEQEND");
    writer.WriteHandle(5, save.TakeHandle());
    writer.WriteHandle(330, insert);
    writer.WriteString(100, "AcDbEntity");
    writer.WriteString(8, record.Layer.empty() ? std::string_view("0") : std::string_view(record.Layer));
}

int64_t HandleCount(const INSERT_ENT& record) noexcept {
    int64_t n = OrderHandles(insertOrder);
    if (record.ATTRIBS) {
        for (const ATTRIB_ENT& attribute : *record.ATTRIBS) n += HandleCount(attribute);
        n += 1;  // SEQEND
    }
    return n;
}

void GetRecordExtent(const INSERT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.CenterX;
    minY = r.CenterY;
    maxX = r.CenterX + 0.01;
    maxY = r.CenterY + 0.01;
}

void ReadEntity(DXFReader& reader, ATTDEF_ENT& record) { ReadRecord(reader, record); }
void WriteEntity(SaveContext& save, const ATTDEF_ENT& record) { WriteByOrder(save, attdefOrder(), record); }
int64_t HandleCount(const ATTDEF_ENT&) noexcept { return OrderHandles(attdefOrder); }

void ReadEntity(DXFReader& reader, ATTRIB_ENT& record) { ReadAttribute(reader, record); }

void WriteEntity(SaveContext& save, const ATTRIB_ENT& record) {
    DXFWriter& writer = save.Writer();
    writer.WriteString(0, "ATTRIB");
    // A Standard save gives a read attribute back its handle.
    const uint32_t source = save.Standard() && save.keptSet && record.kept.place ? save.keptSet->HandleOf(record.kept.place) : 0;
    writer.WriteHandle(5, save.KeepHandle(source));
    writer.WriteHandle(330, save.Owner());
    WriteByOrder(save, attribOrder(), record);
}
int64_t HandleCount(const ATTRIB_ENT&) noexcept { return 1; }

}  // namespace ormavec
