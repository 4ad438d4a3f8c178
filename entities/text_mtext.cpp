#include <charconv>
#include <cmath>
#include <string>
#include <vector>

#include "entities/collections.h"
#include "io/text.h"

namespace ormavec {

namespace {

// 3 / each full piece of 250 UTF-16 units, then 1 / the rest.
constexpr std::size_t kChunkUnits = 250;
// The note of a preserving read: where the pieces of the text ended (byte
// offsets in the model's text, the last its size), as decimal numbers.
constexpr int32_t kMTextCutsCode = kKeptOwnCode;
thread_local std::vector<uint32_t> tMTextCuts;

void writeText(DXFWriter& w, const MTEXT_ENT& r, const KeptCursor& kept) {
    std::vector<uint32_t>& cuts = tMTextCuts;
    cuts.clear();
    if (kept.read) {
        const std::string_view note = kept.Own(kMTextCutsCode);
        for (std::size_t pos = 0; pos < note.size();) {
            uint32_t c = 0;
            const auto [end, ec] = std::from_chars(note.data() + pos, note.data() + note.size(), c);
            if (ec != std::errc()) break;
            cuts.push_back(c);
            pos = static_cast<std::size_t>(end - note.data()) + 1;
        }
    }
    w.WriteTextPieces(r.Text, kChunkUnits, 3, 1, cuts);
}

const WriteOrder<TEXT_ENT>& textOrder() {
    using R = TEXT_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "TEXT"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Text(6, "Continuous"),
        O::Of(&R::ColorNumber), O::Text(100, "AcDbText"), O::Of(&R::Thickness), O::Of(&R::TextHeight), O::Of(&R::StartX),
        O::Of(&R::StartY), O::Of(&R::StartZ), O::Of(&R::Text),
        O::Of(&R::TextRotation).If([](const R& r) { return r.TextRotation != 0.0; }),
        O::Of(&R::XScaleFactor).If([](const R& r) { return r.XScaleFactor != 1.0; }),
        O::Of(&R::ObliqueAngle).If([](const R& r) { return r.ObliqueAngle != 0.0; }), O::Of(&R::TextStyleName),
        // The second alignment point is the insertion point for a record the
        // host made; a read one keeps the pairs it had.
        O::Double(11, &R::StartX).IfMade(), O::Double(21, &R::StartY).IfMade(), O::Double(31, &R::StartZ).IfMade(), O::Of(&R::HorTextJust),
        O::Text(100, "AcDbText"), O::Of(&R::VertTextJust)};
    return order;
}

// Whether the direction a preserving read kept (11, 21, before any embedded
// object) still gives the rotation, as the read took it (see WriteOp). The
// read leaves one along the Y axis to group 50: it stands while that is 0.
int directionGives(const MTEXT_ENT& r, std::span<const KeptPair> kept) {
    double x = 0, y = 0;
    int xs = 0, ys = 0;
    for (std::size_t i = 0; i < kept.size() && kept[i].Code != 101; ++i)
        if (kept[i].Code == 11 || kept[i].Code == 21) (kept[i].Code == 11 ? x : y) = kept[i].Number(), ++(kept[i].Code == 11 ? xs : ys);
    if (xs + ys == 0) return -1;
    // A repeated one reads back as the last written: kept pairs placed apart
    // need not keep their order, so the rotation is written instead.
    if (xs > 1 || ys > 1) return 0;
    return x == 0.0 ? r.TextRotation == 0.0 : std::atan(y / x) == r.TextRotation;
}

const WriteOrder<MTEXT_ENT>& mtextOrder() {
    using R = MTEXT_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "MTEXT"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::ColorNumber),
        O::Text(100, "AcDbMText"), O::Of(&R::X), O::Of(&R::Y), O::Of(&R::Z), O::Of(&R::TextHeight), O::Of(&R::Width),
        O::Of(&R::Align), O::Of(&R::Direction), O::Custom(writeText),
        O::Of(&R::Style),
        O::Custom([](DXFWriter& w, const R& r) { w.WriteDouble(42, r.CharWidth > r.Width ? r.Width : r.CharWidth); }, &R::CharWidth),
        O::Of(&R::EntityHeight), O::Of(&R::TextRotation).UnlessKept(directionGives, {11, 21, 31}), O::Of(&R::LineSpacing),
        O::Of(&R::LineSpacing2)};
    return order;
}

}  // namespace

void ReadEntity(DXFReader& reader, TEXT_ENT& record) {
    // No field holds the alignment point (11, 21, 31): a preserving read keeps it.
    ReadRecord(reader, record);
}
void WriteEntity(SaveContext& save, const TEXT_ENT& record) { WriteByOrder(save, textOrder(), record); }
int64_t HandleCount(const TEXT_ENT&) noexcept { return OrderHandles(textOrder); }
void GetRecordExtent(const TEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.StartX;
    minY = r.StartY;
    maxX = r.StartX + 0.01;
    maxY = r.StartY + 0.01;
}

void ReadEntity(DXFReader& reader, MTEXT_ENT& record) {
    bool hasDirection = false;
    double dirX = 0, dirY = 0;
    // The pieces are decoded once joined; the hold ends with the record, read or not.
    struct Hold {
        DXFReader& reader;
        explicit Hold(DXFReader& r) : reader(r) { reader.HoldPieces(true); }
        ~Hold() { reader.HoldPieces(false); }
    } hold(reader);
    // The pairs of an embedded object (from 101 on) are not the text's own
    // 10, 40, 11...: a preserving read keeps them as they are. The classic
    // text modes read them as ever.
    const TextConvertMode mode = reader.GetTextConvertMode();
    const bool newer = mode == TextConvertMode::Utf8 || mode == TextConvertMode::Auto;
    bool embedded = false;
    // A preserving read notes where the file cut the text, so that a save
    // cuts it there again while it has the length it was read with.
    const bool noteCuts = tKeptRead.armed && reader.HoldsPieces();
    std::vector<uint32_t>& cuts = tMTextCuts;
    cuts.clear();
    ReadRecord(reader, record, [&](const DXFReader::Pair& p, MTEXT_ENT& r) {
        if (p.Code == 0) return PairIs::End;
        embedded = embedded || (newer && p.Code == 101);
        if (embedded) return PairIs::KeptWhole;
        switch (p.Code) {
        case 0: return PairIs::End;
        case 1:
        case 3:
            r.Text.append(p.Value);
            if (noteCuts) cuts.push_back(static_cast<uint32_t>(r.Text.size()));
            return PairIs::Taken;
        case 11: dirX = reader.ToDouble(p.Value); break;
        case 21: dirY = reader.ToDouble(p.Value); break;
        case 31: (void)reader.ToDouble(p.Value); break;
        default: return PairIs::Field;
        }
        // The direction gives the rotation; a preserving read also keeps its
        // pairs, written back while the rotation is still the one they give.
        hasDirection = true;
        return PairIs::Kept;
    });
    reader.DecodePieces(record.Text, cuts);
    if (cuts.size() > 1) {
        std::string note;
        for (uint32_t c : cuts) note.append(note.empty() ? "" : " ").append(std::to_string(c));
        tKeptRead.extras.push_back({kMTextCutsCode, std::move(note)});
    }
    // The direction wins over group 50 wherever that came; principal value only.
    if (hasDirection && dirX != 0.0) record.TextRotation = std::atan(dirY / dirX);
}
void WriteEntity(SaveContext& save, const MTEXT_ENT& record) { WriteByOrder(save, mtextOrder(), record); }
int64_t HandleCount(const MTEXT_ENT&) noexcept { return OrderHandles(mtextOrder); }
void GetRecordExtent(const MTEXT_ENT& r, double& minX, double& minY, double& maxX, double& maxY) {
    minX = r.X;
    minY = r.Y;
    maxX = r.X + 0.01;
    maxY = r.Y + 0.01;
}

}  // namespace ormavec
