"""The usage example in Python: load a drawing, move the lines of one layer to a new layer,
add a line, save, and read the saved file back.

    python3 usage_example.py IN.dxf OUT.dxf
"""
import sys

import ormavec


def main(source, target):
    doc = ormavec.DXFDocument()
    doc.Load(source)

    # Records are values: take a copy, change it, put it back.
    lines = doc.ENTITIES.LINES
    for i, line in enumerate(lines):
        if line.Layer.casefold() == "falak":
            line.Layer = "Falak_új"
            lines[i] = line
    layer = ormavec.LAYERS_TAB()
    layer.LayerName, layer.LineTypeName, layer.ColorNumber = "Falak_új", "Continuous", 1
    doc.TABLES.LAYERS.Add(layer)

    fence = ormavec.LINE_ENT()
    fence.Layer, fence.LineType, fence.ColorNumber = "Falak_új", "Continuous", 256
    fence.EndX, fence.EndY = 10.0, 5.0
    lines.Add(fence)

    # Save writes the extents held by the header; refresh them first.
    x0, y0, x1, y1 = doc.ENTITIES.ReCalcExtent()
    low, high = doc.HEADER.ExtMin, doc.HEADER.ExtMax
    low.X, low.Y, high.X, high.Y = x0, y0, x1, y1
    doc.HEADER.ExtMin, doc.HEADER.ExtMax = low, high
    doc.Save(target)

    again = ormavec.DXFDocument()
    again.Load(target)
    moved = sum(1 for line in again.ENTITIES.LINES if line.Layer == "Falak_új")
    print(f"ormavec {ormavec.__version__}: {len(again.ENTITIES.LINES)} lines ({moved} on Falak_új), "
          f"{len(again.BLOCKS)} blocks, extent ({x0:g}, {y0:g}) - ({x1:g}, {y1:g})")


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(f"usage: {sys.argv[0]} IN.dxf OUT.dxf")
    try:
        main(sys.argv[1], sys.argv[2])
    except ormavec.Error as e:
        sys.exit(str(e))
