"""A Python host of libormavec.so through ctypes alone (no extension module):
load a drawing, add a line through IArrayList, save, load the saved file and
find the line there; a component error reaches the host with its source.

Usage: automation_ctypes_test.py /path/to/libormavec.so
"""
import ctypes as C
import os
import sys
import tempfile

VT_I4, VT_R8, VT_BSTR, VT_DISPATCH = 3, 5, 8, 9
METHOD, GET = 1, 2
lib = C.CDLL(sys.argv[1])


class Value(C.Union):
    _fields_ = [("lVal", C.c_int32), ("dblVal", C.c_double), ("ptr", C.c_void_p)]


class Variant(C.Structure):
    _fields_ = [("vt", C.c_uint16), ("reserved", C.c_uint16 * 3), ("u", Value)]


class ErrorInfo(C.Structure):
    _fields_ = [("hresult", C.c_int32), ("number", C.c_int32), ("source", C.c_char_p), ("description", C.c_char_p)]


def check(hr, what):
    if hr < 0:
        e = ErrorInfo()
        lib.ormavec_get_last_error(C.byref(e))
        raise AssertionError("%s: 0x%08X %s" % (what, hr & 0xFFFFFFFF, e.description))


def variant(value):
    v = Variant()
    if isinstance(value, str):
        check(lib.ormavec_variant_set_string(C.byref(v), value.encode()), value)
    else:
        v.vt, v.u.lVal = VT_I4, value
    return v


def call(obj, name, kind, *args):
    """The result of a late-bound call; an object result is a new reference."""
    dispid, result = C.c_int32(), Variant()
    check(lib.ormavec_get_ids_of_names(obj, C.byref(C.c_char_p(name.encode())), 1, C.byref(dispid)), name)
    check(lib.ormavec_invoke(obj, dispid, kind, (Variant * max(1, len(args)))(*args), len(args), C.byref(result)), name)
    return C.c_void_p(result.u.ptr) if result.vt == VT_DISPATCH else result


def load(path):
    doc, name = C.c_void_p(), variant(path)
    check(lib.ormavec_create_object(b"Ormavec.DXFDocument", C.byref(doc)), "create")
    call(doc, "Load", METHOD, name)
    lib.ormavec_variant_clear(C.byref(name))
    entities = call(doc, "ENTITIES", GET)
    lines = call(entities, "LINES", GET)
    lib.ormavec_release(entities)
    return doc, lines


with tempfile.TemporaryDirectory() as folder:
    source, saved = os.path.join(folder, "in.dxf"), os.path.join(folder, "out.dxf")
    with open(source, "w", newline="\r\n") as f:
        f.write("0\nSECTION\n2\nENTITIES\n" + "0\nLINE\n8\n0\n10\n0\n20\n0\n11\n10\n21\n5\n" * 3 + "0\nENDSEC\n0\nEOF\n")
    doc, lines = load(source)
    assert call(lines, "Count", GET).u.lVal == 3
    record, as_list, iid = Variant(), C.c_void_p(), (C.c_uint8 * 16)()
    check(lib.ormavec_record_new(b"LINE_ENT", C.byref(record)), "record")
    for field, value in (("Layer", "Walls"), ("StartY", 2)):
        v = variant(value)
        check(lib.ormavec_record_put(C.byref(record), field.encode(), C.byref(v)), field)
        lib.ormavec_variant_clear(C.byref(v))
    check(lib.ormavec_guid_from_string(b"{72442825-B37F-40F9-8A11-B577A06BC0F6}", iid), "iid")
    check(lib.ormavec_query_interface(lines, iid, C.byref(as_list)), "_IArrayList")
    call(as_list, "AddItem", METHOD, record)
    lib.ormavec_variant_clear(C.byref(record))
    name = variant(saved)
    call(doc, "Save", METHOD, name)
    lib.ormavec_variant_clear(C.byref(name))
    for obj in (as_list, lines, doc):
        lib.ormavec_release(obj)
    assert lib.DllCanUnloadNow() == 0, "an object outlived its last reference"

    doc, lines = load(saved)
    assert call(lines, "Count", GET).u.lVal == 4
    item, layer, y = call(lines, "Item", GET, variant(3)), Variant(), Variant()
    check(lib.ormavec_record_get(C.byref(item), b"Layer", C.byref(layer)), "Layer")
    check(lib.ormavec_record_get(C.byref(item), b"StartY", C.byref(y)), "StartY")
    assert (layer.vt, C.string_at(layer.u.ptr), y.vt, y.u.dblVal) == (VT_BSTR, b"Walls", VT_R8, 2.0)
    for v in (item, layer):
        lib.ormavec_variant_clear(C.byref(v))
    try:
        call(lines, "Item", GET, variant(4))
        raise RuntimeError("Item(4) of four lines did not fail")
    except AssertionError as e:
        assert "0x80040001" in str(e), e
    error = ErrorInfo()
    lib.ormavec_get_last_error(C.byref(error))
    assert error.source == b"LINES", error.source
    lib.ormavec_release(lines)
    lib.ormavec_release(doc)
    assert lib.DllCanUnloadNow() == 0
print("automation_ctypes_test: passed")
