"""A Python host of libormavec.so through ctypes alone (no extension module):
load a drawing, add a line through IArrayList, save, reload, compare counts;
then a Progress subscription that writes Percent back.

Usage: automation_ctypes_test.py /path/to/libormavec.so
"""
import ctypes as C
import os
import sys
import tempfile
import unittest

LIB_PATH = sys.argv[1] if len(sys.argv) > 1 else os.environ.get("ORMAVEC_LIBRARY", "libormavec.so")

VT_EMPTY, VT_I4, VT_R8, VT_BSTR, VT_DISPATCH, VT_BOOL, VT_RECORD = 0, 3, 5, 8, 9, 11, 36
METHOD, GET, PUT = 1, 2, 4
IID_IARRAYLIST = "{72442825-B37F-40F9-8A11-B577A06BC0F6}"


class Guid(C.Structure):
    _fields_ = [("data1", C.c_uint32), ("data2", C.c_uint16), ("data3", C.c_uint16), ("data4", C.c_uint8 * 8)]


class _Value(C.Union):
    _fields_ = [("iVal", C.c_int16), ("lVal", C.c_int32), ("fltVal", C.c_float), ("dblVal", C.c_double),
                ("boolVal", C.c_int16), ("strVal", C.c_void_p), ("objVal", C.c_void_p), ("ptr", C.c_void_p),
                ("reserved", C.c_int64)]


class Variant(C.Structure):
    _fields_ = [("vt", C.c_uint16), ("r1", C.c_uint16), ("r2", C.c_uint16), ("r3", C.c_uint16), ("u", _Value)]


class ErrorInfo(C.Structure):
    _fields_ = [("hresult", C.c_int32), ("number", C.c_int32), ("source", C.c_char_p), ("description", C.c_char_p)]


SINK = C.CFUNCTYPE(None, C.c_void_p, C.c_int32, C.POINTER(Variant), C.c_int32)

lib = C.CDLL(LIB_PATH)
P, V, I32 = C.c_void_p, C.POINTER(Variant), C.c_int32
for name, args, res in [
    ("DllCanUnloadNow", [], I32),
    ("ormavec_create_object", [C.c_char_p, C.POINTER(P)], I32),
    ("ormavec_release", [P], C.c_uint32),
    ("ormavec_query_interface", [P, C.POINTER(Guid), C.POINTER(P)], I32),
    ("ormavec_get_ids_of_names", [P, C.POINTER(C.c_char_p), I32, C.POINTER(I32)], I32),
    ("ormavec_invoke", [P, I32, I32, V, I32, V], I32),
    ("ormavec_variant_clear", [V], I32),
    ("ormavec_variant_set_string", [V, C.c_char_p], I32),
    ("ormavec_record_new", [C.c_char_p, V], I32),
    ("ormavec_record_get", [V, C.c_char_p, V], I32),
    ("ormavec_record_put", [V, C.c_char_p, V], I32),
    ("ormavec_guid_from_string", [C.c_char_p, C.POINTER(Guid)], I32),
    ("ormavec_get_last_error", [C.POINTER(ErrorInfo)], I32),
    ("ormavec_advise", [P, SINK, P, C.POINTER(C.c_uint32)], I32),
    ("ormavec_unadvise", [P, C.c_uint32], I32),
]:
    fn = getattr(lib, name)
    fn.argtypes, fn.restype = args, res


class OrmavecError(Exception):
    pass


def check(hr, what):
    if hr < 0:
        e = ErrorInfo()
        lib.ormavec_get_last_error(C.byref(e))
        raise OrmavecError("%s: 0x%08X %d %s %s" % (what, hr & 0xFFFFFFFF, e.number, e.source, e.description))
    return hr


def new_variant(value=None):
    v = Variant()
    if isinstance(value, str):
        check(lib.ormavec_variant_set_string(C.byref(v), value.encode()), "set_string")
    elif isinstance(value, float):
        v.vt, v.u.dblVal = VT_R8, value
    elif isinstance(value, int):
        v.vt, v.u.lVal = VT_I4, value
    return v


class Obj:
    """One reference to an object of the library."""

    def __init__(self, ptr):
        self.ptr = ptr

    def release(self):
        if self.ptr:
            lib.ormavec_release(self.ptr)
            self.ptr = None

    def dispid(self, name):
        names = (C.c_char_p * 1)(name.encode())
        out = I32(-1)
        check(lib.ormavec_get_ids_of_names(self.ptr, names, 1, C.byref(out)), name)
        return out.value

    def invoke(self, name, kind, *args):
        arr = (Variant * max(1, len(args)))()
        for i, a in enumerate(args):
            if isinstance(a, Variant):
                C.memmove(C.byref(arr[i]), C.byref(a), C.sizeof(Variant))  # the callee only reads it
            else:
                arr[i] = new_variant(a)
        result = Variant()
        try:
            check(lib.ormavec_invoke(self.ptr, self.dispid(name), kind, arr, len(args), C.byref(result)), name)
            return take(result)
        finally:
            for i, a in enumerate(args):
                if not isinstance(a, Variant):
                    lib.ormavec_variant_clear(C.byref(arr[i]))

    def get(self, name):
        return self.invoke(name, GET)

    def query(self, iid_text):
        iid, out = Guid(), P()
        check(lib.ormavec_guid_from_string(iid_text.encode(), C.byref(iid)), "guid")
        check(lib.ormavec_query_interface(self.ptr, C.byref(iid), C.byref(out)), "QueryInterface")
        return Obj(out.value)


def take(v):
    """The Python value of a result variant, which is released (objects move)."""
    if v.vt == VT_DISPATCH:
        return Obj(v.u.objVal)
    try:
        if v.vt == VT_I4:
            return v.u.lVal
        if v.vt == VT_R8:
            return v.u.dblVal
        if v.vt == VT_BOOL:
            return v.u.boolVal != 0
        if v.vt == VT_BSTR:
            return C.string_at(v.u.strVal).decode()
        if v.vt == VT_EMPTY:
            return None
        raise AssertionError("unexpected variant type %d" % v.vt)
    finally:
        lib.ormavec_variant_clear(C.byref(v))


def create(progid):
    out = P()
    check(lib.ormavec_create_object(progid.encode(), C.byref(out)), progid)
    return Obj(out.value)


def write_drawing(path, lines):
    text = "0\nSECTION\n2\nENTITIES\n"
    for (x0, y0, x1, y1) in lines:
        text += "0\nLINE\n8\n0\n10\n%r\n20\n%r\n11\n%r\n21\n%r\n" % (x0, y0, x1, y1)
    text += "0\nENDSEC\n0\nEOF\n"
    # CR LF, as the reader counts two characters per line end.
    with open(path, "w", newline="\r\n") as f:
        f.write(text)


class CtypesHost(unittest.TestCase):
    def setUp(self):
        self.dir = tempfile.TemporaryDirectory()
        self.objects = []

    def tearDown(self):
        for o in reversed(self.objects):
            o.release()
        self.dir.cleanup()
        self.assertEqual(0, lib.DllCanUnloadNow(), "an object outlived the test")

    def keep(self, obj):
        self.objects.append(obj)
        return obj

    def lines_after_load(self, path):
        doc = self.keep(create("Ormavec.DXFDocument"))
        doc.invoke("Load", METHOD, path)
        return doc, self.keep(self.keep(doc.get("ENTITIES")).get("LINES"))

    def test_added_line_survives_save_and_load(self):
        source = os.path.join(self.dir.name, "in.dxf")
        saved = os.path.join(self.dir.name, "out.dxf")
        write_drawing(source, [(0.0, 0.0, 10.0, 0.0), (10.0, 0.0, 10.0, 5.0), (10.0, 5.0, 0.0, 0.0)])
        doc, lines = self.lines_after_load(source)
        before = lines.get("Count")
        self.assertEqual(3, before)

        record = Variant()
        check(lib.ormavec_record_new(b"LINE_ENT", C.byref(record)), "record_new")
        try:
            for field, value in [("Layer", "Walls"), ("StartX", 1.5), ("StartY", 2.5), ("EndX", 3.5), ("EndY", 4.5)]:
                v = new_variant(value)
                check(lib.ormavec_record_put(C.byref(record), field.encode(), C.byref(v)), field)
                lib.ormavec_variant_clear(C.byref(v))
            as_list = self.keep(lines.query(IID_IARRAYLIST))
            as_list.invoke("AddItem", METHOD, record)
        finally:
            lib.ormavec_variant_clear(C.byref(record))
        self.assertEqual(before + 1, lines.get("Count"))
        doc.invoke("Save", METHOD, saved)

        _, reloaded = self.lines_after_load(saved)
        self.assertEqual(before + 1, reloaded.get("Count"))

    def test_progress_percent_goes_back_to_the_reader(self):
        source = os.path.join(self.dir.name, "many.dxf")
        write_drawing(source, [(float(i), 0.0, float(i), 1.0) for i in range(300)])

        def run(overwrite):
            seen = []

            def on_event(_context, dispid, args, argc):
                self.assertEqual((1, 1), (dispid, argc))
                seen.append(args[0].u.lVal)
                if overwrite:
                    args[0].u.lVal = 100

            sink = SINK(on_event)
            doc = self.keep(create("Ormavec.DXFDocument"))
            cookie = C.c_uint32()
            check(lib.ormavec_advise(doc.ptr, sink, None, C.byref(cookie)), "advise")
            doc.invoke("Load", METHOD, source)
            check(lib.ormavec_unadvise(doc.ptr, cookie.value), "unadvise")
            return seen

        plain = run(False)
        self.assertTrue(plain)
        self.assertEqual(sorted(set(plain)), plain)
        self.assertGreater(len(run(True)), len(plain))

    def test_component_error_reaches_the_host(self):
        lines = self.keep(create("Ormavec.LINES"))
        with self.assertRaises(OrmavecError) as caught:
            lines.invoke("Item", GET, 0)
        self.assertIn("0x80040001", str(caught.exception))
        e = ErrorInfo()
        lib.ormavec_get_last_error(C.byref(e))
        self.assertEqual(b"LINES", e.source)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0]], verbosity=1)
