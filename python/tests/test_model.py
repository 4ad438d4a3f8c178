import pathlib

import pytest
from hypothesis import given, strategies as st

import ormavec

EXAMPLE = str(pathlib.Path(__file__).resolve().parents[2] / "examples" / "site_plan.dxf")


OPS = ["add", "delete", "remove", "let", "append", "insert", "delslice", "setslice", "pop", "discard", "reverse"]


@given(st.lists(st.tuples(st.sampled_from(OPS), st.integers(-99, 99), st.integers(-99, 99), st.floats(-9, 9))))
def test_a_collection_follows_a_list(ops):
    lines, model = ormavec.LINES(), []
    line = lambda x: ormavec.LINE_ENT(StartX=x)  # noqa: E731
    for op, i, j, x in ops:
        k = i % max(1, len(model))
        if op == "add" or not model:
            lines.Add(line(x))
            model.append(x)
        elif op == "delete":
            lines.Delete(k)
            del model[k]
        elif op == "remove":  # the last record fills the gap
            lines.RemoveItem(k, False)
            model[k:k + 1] = [model.pop()] if k < len(model) - 1 else []
        elif op == "let":
            lines[k], model[k] = line(x), x
        elif op == "append":
            lines.extend([line(x)]) if i % 2 else lines.append(line(x))
            model.append(x)
        elif op == "insert":
            lines.insert(i, line(x))
            model.insert(i, x)
        elif op == "delslice":
            del lines[i:j:2], model[i:j:2]
        elif op == "setslice":
            lines[i:j], model[i:j] = [line(x)] * 2, [x] * 2
        elif op == "pop":
            assert lines.pop(k).StartX == model.pop(k)
        elif op == "discard":
            lines.remove(line(model[k]))
            model.remove(model[k])
        else:
            lines.reverse()
            model.reverse()
        assert [r.StartX for r in lines] == model and [r.StartX for r in lines[i:j]] == model[i:j]
        assert (len(lines), lines.UpperBound) == (len(model), len(model) - 1)
    assert all((line(x) in lines, lines.count(line(x)), lines.Find(line(x))[0]) == (True, model.count(x), True) for x in model)
    with pytest.raises(IndexError):
        lines[len(model)]
    if model:
        copy = lines.Copy(0, len(model) - 1)
        for _ in 1, 2:
            lines.Sort(Comparer=lambda a, b: (a.StartX > b.StartX) - (a.StartX < b.StartX))
        assert [copy[k].StartX for k in range(len(copy))] == model and [r.StartX for r in lines] == sorted(model)


def test_a_drawing_walked_changed_saved_and_read_again(tmp_path):
    doc, again = ormavec.DXFDocument(), ormavec.DXFDocument()
    doc.Load(EXAMPLE)
    lines, layers, layer = doc.ENTITIES.LINES, doc.TABLES.LAYERS, ormavec.LAYERS_TAB()
    assert (len(lines), layers.ItemByName("TETŐ").LayerName, layers.ItemByName("Nincs")) == (5, "Tető", None)
    x0, y0, x1, y1 = doc.ENTITIES.ReCalcExtent()  # holds every line
    assert all(x0 <= min(ln.StartX, ln.EndX) <= max(ln.StartX, ln.EndX) <= x1 and y0 <= min(ln.StartY, ln.EndY) <= max(ln.StartY, ln.EndY) <= y1
               for ln in lines)
    line = lines[0]  # a copy until stored back
    line.Layer = "Changed"
    assert lines[0].Layer != "Changed"
    lines[1], layer.LayerName = line, "Új réteg"
    doc.BLOCKS.ItemByName("ajtó").LINES.Add(ormavec.LINE_ENT())  # blocks and inserts share their collections
    next(i for i in doc.ENTITIES.INSERTS if i.ATTRIBS).ATTRIBS.Add(ormavec.ATTRIB_ENT())
    for _ in 1, 2:
        layers.Add(layer)  # a name already there is dropped
    doc.SaveMode, doc.Binary, doc.Progress = ormavec.SaveMode.Standard, True, None
    doc.Save(str(tmp_path / "out.dxf"))
    assert (tmp_path / "out.dxf").read_bytes().startswith(b"AutoCAD Binary DXF\r\n\x1a\0\0\0SECTION\0")
    again.Load(str(tmp_path / "out.dxf"))
    # The save adds a plain layer for "Changed", which the table lacks.
    assert (again.ENTITIES.LINES[1].Layer, again.TABLES.LAYERS.Count, again.BLOCKS.ItemByName("AJTÓ").LINES.Count) == ("Changed", 11, 3)
    assert again.TABLES.LAYERS.ItemByName("Changed").ColorNumber == 7
    assert sum(i.ATTRIBS.Count for i in again.ENTITIES.INSERTS if i.ATTRIBS) == 3


def test_progress_and_errors_reach_python(tmp_path):
    seen, pinned, doc = [], [], ormavec.DXFDocument()
    for progress in seen.append, lambda percent: pinned.append(percent) or 100:  # a number returned replaces the percentage
        doc.Progress = progress
        doc.Load(EXAMPLE)
    assert seen == sorted(set(seen)) and seen[-1] == 100 and len(pinned) > len(seen)
    (tmp_path / "bad.dxf").write_bytes(b"0\r\nSECTION\r\n2\r\nENTITIES\r\n0\r\nLINE\r\n10\r\n1,5\r\n0\r\nEOF\r\n")
    for name, kind, number in (("nope.dxf", FileNotFoundError, 53), ("bad.dxf:8", ValueError, 13), ("", ZeroDivisionError, None)):
        doc.Progress = (lambda percent: 1 / 0) if number is None else None
        with pytest.raises(kind) as info:
            doc.Load(str(tmp_path / name.split(":")[0]) if name else EXAMPLE)
        assert number is None or (isinstance(info.value, ormavec.Error) and info.value.number == number and name in str(info.value))
    with pytest.raises(ormavec.Error, match="GrowLength value must be greater than 0") as info:
        ormavec.LINES().GrowLength = 0
    assert info.value.number == ormavec.ErrInvalidArgument


def test_r12_export_and_picture(tmp_path):
    doc, again = ormavec.DXFDocument(), ormavec.DXFDocument()
    doc.Load(EXAMPLE)
    doc.SaveMode, doc.R12Handles = ormavec.SaveMode.R12, False
    doc.Save(tmp_path / "r12.dxf")
    again.Load(str(tmp_path / "r12.dxf"))
    kinds = ("LWPOLYLINES", "ELLIPSES", "MTEXTS")  # written as POLYLINE, POLYLINE and TEXT
    assert [getattr(again.ENTITIES, k).Count for k in kinds] == [0, 0, 0] and again.ENTITIES.POLYLINES.Count > doc.ENTITIES.POLYLINES.Count
    svg = doc.to_svg(width=300)
    doc.to_svg(tmp_path / "p.svg", layers=["0"], background="white")
    assert svg.startswith("<?xml") and 'width="300"' in svg and svg.count("<use") >= doc.ENTITIES.INSERTS.Count
    assert (tmp_path / "p.svg").read_text(encoding="utf-8").count("<use") < doc.ENTITIES.INSERTS.Count


def test_what_a_load_keeps_and_what_it_says_it_lost(tmp_path):
    spline = ["0", "SPLINE", "5", "2A", "8", "0", "70", "8", "71", "1", "72", "4", "73", "2", "74", "0",
              "40", "0.0", "40", "0.0", "40", "1.0", "40", "1.0", "10", "0.0", "20", "0.0", "30", "0.0", "10", "5.0", "20", "5.0", "30", "0.0"]
    text = "\n".join(["0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1015", "9", "$INSUNITS", "70", "4",
                      "0", "ENDSEC", "0", "SECTION", "2", "TABLES", "0", "TABLE", "2", "VPORT", "5", "8", "70", "1",
                      "0", "VPORT", "5", "29", "2", "*ACTIVE", "70", "0", "0", "ENDTAB", "0", "ENDSEC",
                      "0", "SECTION", "2", "ENTITIES"] + spline +
                     ["0", "LINE", "5", "3B", "8", "0", "370", "25", "10", "0", "20", "0", "30", "0", "11", "1", "21", "1", "31", "0",
                      "1001", "APP", "1000", "note", "0", "ENDSEC", "0", "SECTION", "2", "OBJECTS", "0", "DICTIONARY", "5", "C", "330", "0", "100", "AcDbDictionary",
                      "0", "ENDSEC", "0", "EOF"]) + "\n"
    (tmp_path / "in.dxf").write_text(text)
    lost = ormavec.load(str(tmp_path / "in.dxf"))
    assert lost.NotKept["entities"] == {"SPLINE": 1} and lost.NotKept["header_variables"] >= 1
    assert "1 SPLINE" in lost.NotKept["text"] and lost.ENTITIES.Kept == () and lost.HEADER.Kept == ()
    doc = ormavec.load(str(tmp_path / "in.dxf"), Preserve=True, SaveMode=ormavec.SaveMode.Standard)
    assert doc.NotKept["text"] == "" and doc.ENTITIES.LINES.Count == 1
    (kept,) = doc.ENTITIES.Kept
    assert (kept.Name, kept.Handle, kept.Pairs[:3]) == ("SPLINE", 0x2A, ((5, "2A"), (8, "0"), (70, "8")))
    line = doc.ENTITIES.LINES[0]
    assert doc.ENTITIES.KeptOf(line) == (0x3B, ((370, "25"), (1001, "APP"), (1000, "note")))
    assert doc.ENTITIES.KeptOf(ormavec.LINE_ENT()) is None and lost.ENTITIES.KeptOf(lost.ENTITIES.LINES[0]) is None
    assert ("$INSUNITS", ((70, "4"),)) in doc.HEADER.Kept
    assert [(o.Name, o.Handle) for o in doc.KeptObjects] == [("DICTIONARY", 0xC)] and doc.KeptClasses == ()
    head, entries = doc.TABLES.Kept("vport")
    assert (head.Handle, [(e.Name, e.Handle) for e in entries], doc.TABLES.Kept("NONE")) == (8, [("VPORT", 0x29)], None)
    doc.Save(str(tmp_path / "out.dxf"))
    again = ormavec.load(str(tmp_path / "out.dxf"), Preserve=True)
    assert [e.Name for e in again.ENTITIES.Kept] == ["SPLINE"] and again.ENTITIES.Kept[0].Pairs[-6:] == kept.Pairs[-6:]
