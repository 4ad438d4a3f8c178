#include <string>
#include <vector>

#include "entities/collections.h"

namespace ormavec {

namespace {

// The shortest pair on file: a one-digit code, a one-character value and
// two bare LFs.
constexpr int64_t kMinPairBytes = 4;

// A count taken from the file, refused when it is negative or when the rest
// of the input could not hold that many items of pairsPerItem pairs each, so
// that nothing is allocated from a hostile count.
int32_t CheckedCount(const DXFReader& reader, int32_t count, int32_t pairsPerItem, std::string_view what) {
    if (count < 0) reader.Fail(err::SubscriptOutOfRange, "HATCH " + std::string(what) + " " + std::to_string(count) + " is negative");
    if (static_cast<int64_t>(count) * pairsPerItem * kMinPairBytes > reader.BytesLeft())
        reader.Fail(err::InputPastEndOfFile, "HATCH " + std::string(what) + " " + std::to_string(count) +
                                                 " is more than the rest of the file can hold");
    return count;
}

// One pair taken as a number whatever its group code.
double ReadNumber(DXFReader& reader) {
    const DXFReader::Pair& p = reader.Read();
    return reader.ToDouble(p.Value);
}
int32_t ReadCount(DXFReader& reader) {
    const DXFReader::Pair& p = reader.Read();
    return reader.ToInt32(p.Value);
}

void SkipPairs(DXFReader& reader, int64_t pairs) {
    for (int64_t i = 0; i < pairs; ++i) reader.Read();
}

// The next pair when it has the code; otherwise it is pushed back.
const DXFReader::Pair* Expect(DXFReader& reader, int32_t code) {
    if (reader.AtEnd()) return nullptr;
    const DXFReader::Pair& p = reader.Read();
    if (p.Code == code) return &p;
    reader.UnRead();
    return nullptr;
}

// Up to count source-object references (330) of a path.
void SkipSourceReferences(DXFReader& reader, int32_t count) {
    for (int32_t i = 0; i < count; ++i)
        if (!Expect(reader, 330)) return;
}

// The 97 that closes a path and its references, when it comes next.
void ReadPathEnd(DXFReader& reader) {
    if (const DXFReader::Pair* p = Expect(reader, 97)) SkipSourceReferences(reader, reader.ToInt32(p->Value));
}

// Skips the rest of the boundary data up to the hatch style (75) or the next
// entity, which are pushed back for the hatch's own loop.
void SkipToHatchStyle(DXFReader& reader) {
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        if (p.Code == 75 || p.Code == 0) {
            reader.UnRead();
            return;
        }
    }
}

HATCH_BOUNDARY_POLYLINE ReadPolylinePath(DXFReader& reader) {
    HATCH_BOUNDARY_POLYLINE path;
    while (!reader.AtEnd()) {
        const DXFReader::Pair& p = reader.Read();
        switch (p.Code) {
        case 72: path.HasBulge = reader.ToDouble(p.Value) == 1.0; break;
        case 73: path.IsClosed = reader.ToDouble(p.Value) == 1.0; break;
        case 93: {
            // The bulges are read only when 72 came before 93.
            const bool bulges = path.HasBulge;
            const int32_t n = CheckedCount(reader, reader.ToInt32(p.Value), bulges ? 3 : 2, "vertex count");
            path.VerticesCount = n;
            path.POINTS.resize(static_cast<std::size_t>(n));
            if (bulges) path.Bulges.resize(static_cast<std::size_t>(n));
            for (int32_t i = 0; i < n; ++i) {
                path.POINTS[i].X = ReadNumber(reader);
                path.POINTS[i].Y = ReadNumber(reader);
                if (bulges) path.Bulges[i] = ReadNumber(reader);
            }
            ReadPathEnd(reader);
            return path;
        }
        case 97: SkipSourceReferences(reader, reader.ToInt32(p.Value)); return path;
        // A path whose 97 is missing ends where the next path, the hatch
        // style or the next entity begins.
        case 0:
        case 75:
        case 92: reader.UnRead(); return path;
        default: break;
        }
    }
    return path;
}

// Skips one spline edge after its type. When the 97 met after the control
// points turns out to be the path's own (a spline without fit data that ends
// its path), its count is returned for the path's references; otherwise -1.
int32_t SkipSplineEdge(DXFReader& reader) {
    SkipPairs(reader, 1);  // 94 degree
    const bool rational = (ReadCount(reader) & 1) != 0;  // 73
    SkipPairs(reader, 1);  // 74 periodic
    const int32_t knots = CheckedCount(reader, ReadCount(reader), 1, "spline knot count");
    const int32_t controlPoints = CheckedCount(reader, ReadCount(reader), rational ? 3 : 2, "spline control point count");
    SkipPairs(reader, knots);
    SkipPairs(reader, static_cast<int64_t>(controlPoints) * (rational ? 3 : 2));
    const DXFReader::Pair* fit = Expect(reader, 97);
    if (!fit) return -1;
    const int32_t fitPoints = reader.ToInt32(fit->Value);
    if (fitPoints > 0) {
        if (!Expect(reader, 11)) return fitPoints;
        reader.UnRead();
    }
    SkipPairs(reader, static_cast<int64_t>(CheckedCount(reader, fitPoints, 2, "spline fit point count")) * 2);
    if (Expect(reader, 12)) SkipPairs(reader, 1);
    if (Expect(reader, 13)) SkipPairs(reader, 1);
    return -1;
}

// An edge-defined path: every edge is consumed by the layout of its type,
// only line edges are kept. False when an edge type is unknown: the rest of
// the boundary data cannot be followed then.
bool ReadEdgePath(DXFReader& reader, Variant& entry) {
    const int32_t n = CheckedCount(reader, ReadCount(reader), 1, "edge count");
    std::vector<Variant> edges(static_cast<std::size_t>(n));
    int32_t pathReferences = -1;
    bool known = true;
    for (int32_t i = 0; i < n && known; ++i) {
        pathReferences = -1;
        const double type = ReadNumber(reader);
        if (type == 1.0) {
            HATCH_BOUNDARY_LINE line;
            line.StartX = ReadNumber(reader);
            line.StartY = ReadNumber(reader);
            line.EndX = ReadNumber(reader);
            line.EndY = ReadNumber(reader);
            edges[i] = Variant::FromRecord(line);
        } else if (type == 2.0) {
            SkipPairs(reader, 6);  // 10, 20, 40, 50, 51, 73
        } else if (type == 3.0) {
            SkipPairs(reader, 8);  // 10, 20, 11, 21, 40, 50, 51, 73
        } else if (type == 4.0) {
            pathReferences = SkipSplineEdge(reader);
        } else {
            known = false;
        }
    }
    entry = Variant::FromArray<Variant>(std::move(edges));
    if (!known) return false;
    if (pathReferences >= 0)
        SkipSourceReferences(reader, pathReferences);
    else
        ReadPathEnd(reader);
    return true;
}

// The paths after group 91. A path of an unknown type ends the reading; the
// boundary pairs after it are skipped up to the hatch style, so none of them
// can reach the elevation point.
void ReadBoundaries(DXFReader& reader, std::string_view countValue, HATCH_ENT& record) {
    const int32_t n = CheckedCount(reader, reader.ToInt32(countValue), 1, "boundary path count");
    record.BoundaryCount = n;
    record.Boundaries.assign(static_cast<std::size_t>(n), Variant{});
    for (int32_t i = 0; i < n; ++i) {
        const double type = ReadNumber(reader);  // the path type flag, whatever its group code
        if (type == 2.0 || type == 3.0 || type == 7.0 || type == 6.0) {
            record.Boundaries[i] = Variant::FromRecord(ReadPolylinePath(reader));
        } else if (type == 1.0) {
            if (!ReadEdgePath(reader, record.Boundaries[i])) {
                SkipToHatchStyle(reader);
                return;
            }
        } else {
            SkipToHatchStyle(reader);
            return;
        }
    }
}

void ReadSeedPoints(DXFReader& reader, std::string_view countValue, HATCH_ENT& record) {
    record.SeedPointCount = reader.ToInt32(countValue);
    if (record.SeedPointCount == 0) return;
    const int32_t n = CheckedCount(reader, record.SeedPointCount, 2, "seed point count");
    record.Seedpoints.resize(static_cast<std::size_t>(n));
    for (XYZ& point : record.Seedpoints) {
        point.X = ReadNumber(reader);
        point.Y = ReadNumber(reader);
    }
}

struct EraseOnExit {
    XYZS& list;
    ~EraseOnExit() { list.EraseArray(); }
};

[[noreturn]] void RaiseCountTooLarge(std::string_view what) {
    RaiseError(err::SubscriptOutOfRange, "HATCHES", "Subscript out of range: " + std::string(what));
}

// The counts that the writer walks must fit their arrays; checked before
// anything is written.
void CheckCounts(const HATCH_ENT& r) {
    if (r.BoundaryCount > 0 && static_cast<std::size_t>(r.BoundaryCount) > r.Boundaries.size())
        RaiseCountTooLarge("BoundaryCount is larger than the Boundaries array");
    for (int32_t i = 0; i < r.BoundaryCount; ++i) {
        const HATCH_BOUNDARY_POLYLINE* path = r.Boundaries[i].RecordIf<HATCH_BOUNDARY_POLYLINE>();
        if (!path || path->VerticesCount <= 0) continue;
        const auto n = static_cast<std::size_t>(path->VerticesCount);
        if (n > path->POINTS.size()) RaiseCountTooLarge("VerticesCount of a boundary path is larger than its POINTS array");
        if (path->HasBulge && n > path->Bulges.size())
            RaiseCountTooLarge("VerticesCount of a boundary path is larger than its Bulges array");
    }
    if (r.SeedPointCount > 0 && static_cast<std::size_t>(r.SeedPointCount) > r.Seedpoints.size())
        RaiseCountTooLarge("SeedPointCount is larger than the Seedpoints array");
}

void WritePaths(DXFWriter& w, const HATCH_ENT& r) {
    int32_t polylines = 0;
    for (int32_t i = 0; i < r.BoundaryCount; ++i)
        if (r.Boundaries[i].RecordIf<HATCH_BOUNDARY_POLYLINE>()) ++polylines;
    w.WriteInteger(91, polylines);
    for (int32_t i = 0; i < r.BoundaryCount; ++i) {
        const HATCH_BOUNDARY_POLYLINE* path = r.Boundaries[i].RecordIf<HATCH_BOUNDARY_POLYLINE>();
        if (!path) continue;  // edge paths are not written
        w.WriteInteger(92, 3);
        w.WriteInteger(72, path->HasBulge ? 1 : 0);
        w.WriteInteger(73, path->IsClosed ? 1 : 0);
        w.WriteInteger(93, path->VerticesCount);
        for (int32_t v = 0; v < path->VerticesCount; ++v) {
            w.WriteDouble(10, path->POINTS[v].X);
            w.WriteDouble(20, path->POINTS[v].Y);
            if (path->HasBulge) w.WriteDouble(42, path->Bulges[v]);
        }
        w.WriteInteger(97, 0);
    }
}

// Names are written as they are; the fill is always written solid.
const WriteOrder<HATCH_ENT>& writeOrder() {
    using R = HATCH_ENT;
    using O = W<R>;
    static const WriteOrder<R> order{
        O::Text(0, "HATCH"), O::Handle(), O::Text(100, "AcDbEntity"), O::Of(&R::Layer), O::Of(&R::LineType),
        O::Of(&R::ColorNumber), O::Text(100, "AcDbHatch"), O::Of(&R::ElevationX), O::Of(&R::ElevationY), O::Of(&R::ElevationZ),
        O::Of(&R::ExtrusionX), O::Of(&R::ExtrusionY), O::Of(&R::ExtrusionZ), O::Of(&R::HatchPatterName), O::Text(70, "1"),
        O::Custom([](DXFWriter& w, const R& r) { w.WriteInteger(71, r.Associativity ? 1 : 0); }), O::Custom(WritePaths),
        O::Of(&R::HatchStyle), O::Of(&R::HatchPatternType),
        O::Of(&R::PixelSize).If([](const R& r) { return r.PixelSize != R::kNoPixelSize; }),
        O::Int(98, &R::SeedPointCount), O::Custom([](DXFWriter& w, const R& r) {
            for (int32_t i = 0; i < r.SeedPointCount; ++i) {
                w.WriteDouble(10, r.Seedpoints[i].X);
                w.WriteDouble(20, r.Seedpoints[i].Y);
            }
        })};
    return order;
}

}  // namespace

void ReadEntity(DXFReader& reader, XYZS& pointList, HATCH_ENT& record) {
    pointList.EraseArray();
    EraseOnExit erase{pointList};
    ReadRecord(reader, record, [&reader](const DXFReader::Pair& p, HATCH_ENT& r) {
        switch (p.Code) {
        case 0: return PairIs::End;
        case 91: ReadBoundaries(reader, p.Value, r); return PairIs::Taken;
        case 98: ReadSeedPoints(reader, p.Value, r); return PairIs::Taken;
        default: return PairIs::Field;
        }
    });
}

void WriteEntity(SaveContext& save, const HATCH_ENT& record) {
    CheckCounts(record);
    WriteByOrder(save, writeOrder(), record);
}
int64_t HandleCount(const HATCH_ENT&) noexcept { return OrderHandles(writeOrder); }

}  // namespace ormavec
