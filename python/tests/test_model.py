import math
import threading

import pytest

import ormavec


def test_load_walk_and_counts(small_drawing):
    doc = ormavec.DXFDocument()
    doc.Load(str(small_drawing))
    assert doc.FileName == str(small_drawing)
    assert doc.HEADER.AcadVer == 1015
    assert doc.HEADER.ExtMax.X == 10.0
    lines = doc.ENTITIES.LINES
    assert len(lines) == 2 and lines.Count == 2
    assert [ln.Layer for ln in lines] == ["Falak", "Falak"]
    assert lines[-1].EndY == 2.0
    assert doc.TABLES.LAYERS.ItemByName("KÖR").LayerName == "Kör"
    assert doc.BLOCKS.ItemByName("ajtó").BlockName == "Ajtó"
    insert = doc.ENTITIES.INSERTS[0]
    assert insert.ATTRIBS[0].DefaultValue == "A12"
    assert doc.ENTITIES.ReCalcExtent() == (0.0, 0.0, 7.01, 7.0)


def test_record_is_a_copy_until_stored_back(small_drawing):
    doc = ormavec.DXFDocument()
    doc.Load(str(small_drawing))
    lines = doc.ENTITIES.LINES
    line = lines[0]
    line.Layer = "Changed"
    assert lines[0].Layer == "Falak"
    lines[0] = line
    assert lines[0].Layer == "Changed"
    lines.LetItem(1, line)
    assert lines.Item(1).Layer == "Changed"


def test_shared_references_of_blocks_and_inserts(small_drawing):
    doc = ormavec.DXFDocument()
    doc.Load(str(small_drawing))
    block = doc.BLOCKS[0]
    new_line = ormavec.LINE_ENT()
    new_line.EndX = 9.0
    block.LINES.Add(new_line)
    assert doc.BLOCKS[0].LINES.Count == 2
    insert = doc.ENTITIES.INSERTS[0]
    insert.ATTRIBS.Add(ormavec.ATTRIB_ENT())
    assert doc.ENTITIES.INSERTS[0].ATTRIBS.Count == 2


def test_edit_save_and_reload(small_drawing, tmp_path):
    doc = ormavec.DXFDocument()
    doc.Load(str(small_drawing))
    layer = ormavec.LAYERS_TAB()
    layer.LayerName = "Új réteg"
    layer.LineTypeName = "Continuous"
    layer.ColorNumber = 2
    doc.TABLES.LAYERS.Add(layer)
    doc.TABLES.LAYERS.Add(layer)  # a duplicate name is dropped
    arc = ormavec.ARC_ENT()
    arc.Layer = "Új réteg"
    arc.Radius = 2.5
    arc.EndAngle = 90.0
    doc.ENTITIES.ARCS.Add(arc)
    doc.ENTITIES.LINES.Delete(0)
    out = tmp_path / "out.dxf"
    doc.Save(str(out))

    again = ormavec.DXFDocument()
    again.Load(str(out))
    # the saved file also carries the layer "0" that every saved file has
    assert again.TABLES.LAYERS.Count == 4
    assert again.TABLES.LAYERS.ItemByName("0") is not None
    assert again.TABLES.LAYERS.ItemByName("új RÉTEG").ColorNumber == 2
    assert again.ENTITIES.ARCS.Count == 1
    assert again.ENTITIES.ARCS[0].Radius == 2.5
    assert again.ENTITIES.LINES.Count == 1
    assert again.BLOCKS.ItemByName("Ajtó").LINES.Count == 1


def test_progress_callback_and_replacement(small_drawing):
    doc = ormavec.DXFDocument()
    seen = []

    def progress(percent):
        seen.append(percent)

    doc.Progress = progress
    doc.Load(str(small_drawing))
    assert seen == sorted(seen)
    assert seen[-1] == 100
    assert len(seen) == len(set(seen))

    # A returned value replaces the percentage: returning 100 every time
    # silences the events until the computed value differs from 100.
    calls = []

    def pinned(percent):
        calls.append(percent)
        return 100

    doc2 = ormavec.DXFDocument()
    doc2.Progress = pinned
    doc2.Load(str(small_drawing))
    assert calls[0] >= 1
    assert len(calls) > 1


def test_progress_exception_propagates(small_drawing):
    doc = ormavec.DXFDocument()

    def boom(percent):
        raise RuntimeError("stop at %d" % percent)

    doc.Progress = boom
    with pytest.raises(RuntimeError):
        doc.Load(str(small_drawing))
    doc.Progress = None
    doc.Load(str(small_drawing))


def test_missing_file_error_kinds(tmp_path):
    doc = ormavec.DXFDocument()
    with pytest.raises(FileNotFoundError) as info:
        doc.Load(str(tmp_path / "nope.dxf"))
    assert isinstance(info.value, ormavec.Error)
    assert info.value.number == 53
    assert "nope.dxf" in str(info.value)


def test_conversion_error_is_value_error(tmp_path):
    bad = tmp_path / "bad.dxf"
    bad.write_bytes(b"0\r\nSECTION\r\n2\r\nENTITIES\r\n0\r\nLINE\r\n10\r\n1,5\r\n0\r\nENDSEC\r\n0\r\nEOF\r\n")
    doc = ormavec.DXFDocument()
    with pytest.raises(ValueError) as info:
        doc.Load(str(bad))
    err = info.value
    assert isinstance(err, ormavec.Error)
    assert err.number == 13
    assert "bad.dxf:8" in str(err)
    assert err.source == "DXFReader"


def test_component_error_numbers():
    lines = ormavec.LINES()
    with pytest.raises(ormavec.Error) as info:
        lines.GrowLength = 0
    assert info.value.number == ormavec.ErrInvalidArgument
    assert info.value.description == "GrowLength value must be greater than 0"
    with pytest.raises(ormavec.Error) as info:
        lines.Item(0)
    assert info.value.number == ormavec.ErrInvalidArgument
    lines.Add(ormavec.LINE_ENT())
    with pytest.raises(ormavec.Error) as info:
        lines.Sort()
    assert info.value.number == ormavec.ErrNotSupported
    assert info.value.description == "Compare/1"


def test_collection_protocols_and_sort():
    lines = ormavec.LINES()
    for x in (3.0, 1.0, 2.0):
        rec = ormavec.LINE_ENT()
        rec.StartX = x
        lines.Add(rec)
    assert len(lines) == 3
    assert lines[-1].StartX == 2.0
    with pytest.raises(IndexError):
        lines[3]
    lines.Sort(Comparer=lambda a, b: (a.StartX > b.StartX) - (a.StartX < b.StartX))
    assert [r.StartX for r in lines] == [1.0, 2.0, 3.0]
    generic = lines.AsIArrayList()
    assert generic.Count == 3
    assert generic.Item(0).StartX == 1.0
    assert generic.CreateNew().Count == 0
    assert "StartX=1.0" in repr(lines[0])


def test_version_mode_is_per_thread():
    a = ormavec.DXFDocument()
    b = ormavec.DXFDocument()
    a.VersionMode = 6
    assert b.VersionMode == 6
    seen = []
    t = threading.Thread(target=lambda: seen.append(ormavec.DXFDocument().VersionMode))
    t.start()
    t.join()
    assert seen == [0]
    a.VersionMode = 0


def test_bundled_example_loads(example_path):
    if not example_path.exists():
        pytest.skip("examples/site_plan.dxf is not there")
    doc = ormavec.DXFDocument()
    doc.Load(str(example_path))
    total = sum(len(getattr(doc.ENTITIES, n)) for n in
                ("ARCS", "CIRCLES", "ELLIPSES", "FACE3DS", "INSERTS", "LINES", "LWPOLYLINES",
                 "MTEXTS", "POLYLINES", "POINTS", "TEXTS", "SOLIDS"))
    assert total > 0
    x0, y0, x1, y1 = doc.ENTITIES.ReCalcExtent()
    assert x0 <= x1 and y0 <= y1
    assert not math.isnan(x0)


def test_iteration_yields_copies(small_drawing):
    doc = ormavec.DXFDocument()
    doc.Load(str(small_drawing))
    for line in doc.ENTITIES.LINES:
        line.Layer = "Elsewhere"
    assert [ln.Layer for ln in doc.ENTITIES.LINES] == ["Falak", "Falak"]


def test_unicode_modes_and_standard_save(tmp_path):
    src = tmp_path / "utf8.dxf"
    lines = ["0", "SECTION", "2", "HEADER", "9", "$ACADVER", "1", "AC1024", "0", "ENDSEC",
             "0", "SECTION", "2", "ENTITIES", "0", "TEXT", "8", "Ελληνικά", "1", "中文 \\U+00E9", "0", "ENDSEC", "0", "EOF"]
    src.write_bytes(("\r\n".join(lines) + "\r\n").encode("utf-8"))
    doc = ormavec.DXFDocument()
    assert doc.SaveMode == ormavec.SaveMode.Classic
    doc.TextConvertMode = ormavec.TextConvertMode.Auto
    doc.Load(str(src))
    text = doc.ENTITIES.TEXTS.Item(0)
    assert (text.Layer, text.Text) == ("Ελληνικά", "中文 é")
    doc.SaveMode = ormavec.SaveMode.Standard
    doc.Save(str(tmp_path / "out.dxf"))
    assert "中文 é".encode("utf-8") in (tmp_path / "out.dxf").read_bytes()
    assert int(ormavec.TextConvertMode.Utf8) == 2
