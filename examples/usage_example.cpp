// Loads a drawing, moves its walls to a layer of their own, adds a line,
// stores the computed extent in the header and saves the result.
//
//   usage_example IN.dxf OUT.dxf
#include <cstdio>

#include "ormavec.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s IN.dxf OUT.dxf\n", argv[0]);
        return 2;
    }
    try {
        ormavec::DXFDocument doc;
        doc.Load(argv[1]);

        // Records are values: take a copy, change it, put it back.
        ormavec::LINES& lines = *doc.ENTITIES()->LINES();
        for (int32_t i = 0; i < lines.Count(); ++i) {
            ormavec::LINE_ENT line = lines.Item(i);
            if (ormavec::EqualsNoCase(line.Layer, "Falak")) {
                line.Layer = "Falak_új";
                lines.LetItem(i, line);
            }
        }
        ormavec::LAYERS_TAB layer;
        layer.LayerName = "Falak_új";
        layer.LineTypeName = "Continuous";
        layer.ColorNumber = 1;
        doc.TABLES()->LAYERS()->Add(layer);

        ormavec::LINE_ENT fence;
        fence.Layer = "Falak_új";
        fence.LineType = "Continuous";
        fence.ColorNumber = 256;
        fence.EndX = 10;
        fence.EndY = 5;
        lines.Add(fence);

        // Save writes the extents held by the header; refresh them first.
        double x0 = 0, y0 = 0, x1 = 0, y1 = 0;
        doc.ENTITIES()->ReCalcExtent(x0, y0, x1, y1);
        doc.HEADER()->SetExtMin({x0, y0, 0});
        doc.HEADER()->SetExtMax({x1, y1, 0});
        doc.Save(argv[2]);

        std::printf("%d lines, %d blocks, extent (%g, %g) - (%g, %g)\n", lines.Count(), doc.BLOCKS()->Count(), x0, y0,
                    x1, y1);
    } catch (const ormavec::Error& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return 1;
    }
    return 0;
}
