#include <cmath>

#include "entities/collections.h"
#include "entities/descriptions.h"
#include "entities/descriptor.h"
#include "io/text.h"

namespace ormavec {

namespace {

constexpr std::size_t kChunkUnits = 250;

// Length in UTF-16 code units, the unit in which MTEXT pieces are measured.
std::size_t unitsOf(char32_t ch) noexcept { return ch >= 0x10000 ? 2 : 1; }

// 3 / each full piece, then 1 / the rest. A character outside the BMP that
// starts at the 250th unit stays whole in the piece where it starts, which
// then holds 251 units: a surrogate pair is never split across two pieces.
void writeMTextChunks(DXFWriter& w, std::string_view text) {
    std::size_t rest = 0;
    if (text.size() > kChunkUnits)  // at most one unit per byte
        for (std::size_t pos = 0; pos < text.size();) rest += unitsOf(NextUtf8(text, pos));
    std::size_t pos = 0;
    while (rest > kChunkUnits) {
        std::size_t start = pos, units = 0;
        while (units < kChunkUnits) units += unitsOf(NextUtf8(text, pos));
        w.WriteString(3, text.substr(start, pos - start));
        rest -= units;
    }
    w.WriteString(1, text.substr(pos));
}

}  // namespace

namespace entity {

const Description<TEXT_ENT>& TextDescription() {
    using R = TEXT_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "TEXT",
        [](R& r) {
            r.Layer = "0";
            r.ColorNumber = 256;
            r.Text = "Alap";
            r.XScaleFactor = 1.0;
            r.TextStyleName = "Standard";
        },
        {Str(1, &R::Text), Str(7, &R::TextStyleName), Str(8, &R::Layer), Dbl(10, &R::StartX), Dbl(20, &R::StartY),
         Dbl(30, &R::StartZ), Dbl(39, &R::Thickness), Dbl(40, &R::TextHeight), Dbl(41, &R::XScaleFactor),
         Dbl(50, &R::TextRotation), Dbl(51, &R::ObliqueAngle), Int(62, &R::ColorNumber), Int(72, &R::HorTextJust),
         Int(73, &R::VertTextJust)},
        {Out::Text(0, "TEXT"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::Text(6, "Continuous"), Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbText"),
         Out::Double(39, &R::Thickness), Out::Double(40, &R::TextHeight), Out::Double(10, &R::StartX),
         Out::Double(20, &R::StartY), Out::Double(30, &R::StartZ), Out::String(1, &R::Text, "0"),
         Out::Double(50, &R::TextRotation).If([](const R& r) { return r.TextRotation != 0.0; }),
         Out::Double(41, &R::XScaleFactor).If([](const R& r) { return r.XScaleFactor != 1.0; }),
         Out::Double(51, &R::ObliqueAngle).If([](const R& r) { return r.ObliqueAngle != 0.0; }),
         Out::String(7, &R::TextStyleName, "0"),
         // The second alignment point is always the insertion point.
         Out::Double(11, &R::StartX), Out::Double(21, &R::StartY), Out::Double(31, &R::StartZ),
         Out::Int(72, &R::HorTextJust), Out::Text(100, "AcDbText"), Out::Int(73, &R::VertTextJust)},
    };
    return d;
}

const Description<MTEXT_ENT>& MTextDescription() {
    using R = MTEXT_ENT;
    using Out = W<R>;
    static const Description<R> d{
        "MTEXT",
        [](R& r) {
            r.Align = 1;
            r.Direction = 1;
            r.Style = "Standard";
            r.Layer = "0";
            r.ColorNumber = 0;
            r.LineSpacing = 1;
        },
        {Str(7, &R::Style), Str(8, &R::Layer), Dbl(10, &R::X), Dbl(20, &R::Y), Dbl(30, &R::Z),
         Dbl(40, &R::TextHeight), Dbl(41, &R::Width), Dbl(42, &R::CharWidth), Dbl(43, &R::EntityHeight),
         Dbl(44, &R::LineSpacing2), Dbl(50, &R::TextRotation), Int(62, &R::ColorNumber), Int(71, &R::Align),
         Int(72, &R::Direction), Int(73, &R::LineSpacing)},
        {Out::Text(0, "MTEXT"), Out::Handle(), Out::Text(100, "AcDbEntity"), Out::String(8, &R::Layer, "0"),
         Out::Int(62, &R::ColorNumber), Out::Text(100, "AcDbMText"), Out::Double(10, &R::X), Out::Double(20, &R::Y),
         Out::Double(30, &R::Z), Out::Double(40, &R::TextHeight), Out::Double(41, &R::Width), Out::Int(71, &R::Align),
         Out::Int(72, &R::Direction), Out::Custom([](DXFWriter& w, const R& r) { writeMTextChunks(w, r.Text); }),
         Out::String(7, &R::Style, "Standard"),
         Out::Custom([](DXFWriter& w, const R& r) { w.WriteDouble(42, r.CharWidth > r.Width ? r.Width : r.CharWidth); }),
         Out::Double(43, &R::EntityHeight), Out::Double(50, &R::TextRotation), Out::Int(73, &R::LineSpacing),
         Out::Double(44, &R::LineSpacing2)},
    };
    return d;
}

}  // namespace entity

void ReadEntity(DXFReader& reader, TEXT_ENT& record) { entity::ReadDescribed(reader, entity::TextDescription(), record); }
void WriteEntity(DXFWriter& writer, const TEXT_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::TextDescription(), record, handle);
}
std::string_view WrittenStyle(const TEXT_ENT& record) noexcept {
    return record.TextStyleName.empty() ? std::string_view("0") : std::string_view(record.TextStyleName);
}
void GetRecordExtent(const TEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.StartX;
    minY = r.StartY;
    maxX = r.StartX + 0.01;
    maxY = r.StartY + 0.01;
}

void ReadEntity(DXFReader& reader, MTEXT_ENT& record) {
    bool hasDirection = false;
    double dirX = 0, dirY = 0;
    entity::ReadDescribedWith(reader, entity::MTextDescription(), record, [&](const DXFReader::Pair& p, MTEXT_ENT& r) {
        switch (p.Code) {
        case 1:
        case 3: r.Text.append(p.Value); return true;
        case 11: dirX = reader.ToDouble(p.Value); break;
        case 21: dirY = reader.ToDouble(p.Value); break;
        case 31: (void)reader.ToDouble(p.Value); break;
        default: return false;
        }
        hasDirection = true;
        return true;
    });
    // The direction wins over group 50 wherever that came; principal value only.
    if (hasDirection && dirX != 0.0) record.TextRotation = std::atan(dirY / dirX);
}
void WriteEntity(DXFWriter& writer, const MTEXT_ENT& record, int32_t& handle) {
    entity::WriteDescribed(writer, entity::MTextDescription(), record, handle);
}
std::string_view WrittenStyle(const MTEXT_ENT& record) noexcept {
    return record.Style.empty() ? std::string_view("Standard") : std::string_view(record.Style);
}
void GetRecordExtent(const MTEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.X;
    minY = r.Y;
    maxX = r.X + 0.01;
    maxY = r.Y + 0.01;
}

}  // namespace ormavec
