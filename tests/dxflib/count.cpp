// Reads a drawing with dxflib, an independent R12 reader, and prints how
// many entities of each kind its ENTITIES section gave: "KIND N" lines.
#include <dxflib/dl_creationadapter.h>
#include <dxflib/dl_dxf.h>

#include <cstdio>
#include <map>
#include <string>

namespace {
class Counter : public DL_CreationAdapter {
public:
    std::map<std::string, int> counts;
    void addBlock(const DL_BlockData&) override { inBlock_ = true; }
    void endBlock() override { inBlock_ = false; }
    void addLine(const DL_LineData&) override { add("LINE"); }
    void addArc(const DL_ArcData&) override { add("ARC"); }
    void addCircle(const DL_CircleData&) override { add("CIRCLE"); }
    void addPoint(const DL_PointData&) override { add("POINT"); }
    void addPolyline(const DL_PolylineData&) override { add("POLYLINE"); }
    void addText(const DL_TextData&) override { add("TEXT"); }
    void addInsert(const DL_InsertData&) override { add("INSERT"); }
    void addSolid(const DL_SolidData&) override { add("SOLID"); }
    void add3dFace(const DL_3dFaceData&) override { add("3DFACE"); }

private:
    void add(const char* kind) {
        if (!inBlock_) ++counts[kind];
    }
    bool inBlock_ = false;
};
}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    Counter counter;
    DL_Dxf dxf;
    if (!dxf.in(argv[1], &counter)) return 1;
    for (const auto& [kind, n] : counter.counts) std::printf("%s %d\n", kind.c_str(), n);
    return 0;
}
