"""A Python host of libormavec.so through ctypes alone (no extension module):
every entry point of the header is exported; load a drawing, add a line
through IArrayList, save, load the saved file and find the line there;
Progress events with Percent written back; registration.
(Variants the host made are not freed: the process ends.)

Usage: automation_ctypes_test.py /path/to/libormavec.so
"""
import ctypes as C
import os
import re
import sys
import tempfile

VT_I4, VT_BSTR, VT_DISPATCH, METHOD, GET = 3, 8, 9, 1, 2
lib = C.CDLL(sys.argv[1])
with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "automation", "ormavec_automation.h")) as header:
    ENTRY_POINTS = re.findall(r"^ORMAVEC_API [^(]*?(\w+)\(", header.read(), re.M)
assert len(ENTRY_POINTS) > 40 and [n for n in ENTRY_POINTS if not hasattr(lib, n)] == [], ENTRY_POINTS


class Value(C.Union):
    _fields_ = [("lVal", C.c_int32), ("dblVal", C.c_double), ("ptr", C.c_void_p)]


class Variant(C.Structure):
    _fields_ = [("vt", C.c_uint16), ("reserved", C.c_uint16 * 3), ("u", Value)]


SINK = C.CFUNCTYPE(None, C.c_void_p, C.c_int32, C.POINTER(Variant), C.c_int32)


def check(hr, what):
    assert hr >= 0, "%s failed: 0x%08X" % (what, hr & 0xFFFFFFFF)


def variant(value):
    v = Variant(VT_I4, (0, 0, 0), Value(lVal=value)) if isinstance(value, int) else Variant()
    check(isinstance(value, int) or lib.ormavec_variant_set_string(C.byref(v), value.encode()), value)
    return v


def call(obj, name, kind, *args):
    """The result of a late-bound call; an object comes with its reference."""
    dispid, result = C.c_int32(), Variant()
    check(lib.ormavec_get_ids_of_names(obj, C.byref(C.c_char_p(name.encode())), 1, C.byref(dispid)), name)
    check(lib.ormavec_invoke(obj, dispid, kind, (Variant * max(1, len(args)))(*args), len(args), C.byref(result)), name)
    return C.c_void_p(result.u.ptr) if result.vt == VT_DISPATCH else result


def recorder(events, pin=False):
    """A Progress sink keeping (id, argument count, Percent); with pin it sets Percent to 100."""
    def sink(context, dispid, args, argc):
        events.append((dispid, argc, args[0].u.lVal))
        args[0].u.lVal = 100 if pin else args[0].u.lVal
    return sink


def lines_of(path, sink):
    """A new document that loaded the file, and its LINES; the sink hears Progress meanwhile."""
    doc, cookie, callback = C.c_void_p(), C.c_uint32(), SINK(sink)
    check(lib.ormavec_create_object(b"Ormavec.DXFDocument", C.byref(doc)), "create")
    check(lib.ormavec_advise(doc, callback, None, C.byref(cookie)), "advise")
    call(doc, "Load", METHOD, variant(path))
    check(lib.ormavec_unadvise(doc, cookie), "unadvise")
    assert lib.ormavec_unadvise(doc, cookie) < 0, "a cookie unadvised twice"
    entities = call(doc, "ENTITIES", GET)
    lines = call(entities, "LINES", GET)
    lib.ormavec_release(entities)
    return doc, lines


with tempfile.TemporaryDirectory() as folder:
    source, saved, registry = (os.path.join(folder, name) for name in ("in.dxf", "out.dxf", "ormavec/registry.ini"))
    with open(source, "w", newline="\r\n") as f:
        f.write("0\nSECTION\n2\nENTITIES\n" + "0\nLINE\n8\n0\n10\n0\n20\n0\n11\n10\n21\n5\n" * 300 + "0\nENDSEC\n0\nEOF\n")
    plain, pinned, layer = [], [], Variant()
    doc, lines = lines_of(source, recorder(plain))
    record, as_list, iid = Variant(), C.c_void_p(), (C.c_uint8 * 16)()
    check(lib.ormavec_record_new(b"LINE_ENT", C.byref(record)) | lib.ormavec_record_put(C.byref(record), b"Layer", C.byref(variant("Walls"))), "record")
    check(lib.ormavec_guid_from_string(b"{72442825-B37F-40F9-8A11-B577A06BC0F6}", iid), "iid")
    check(lib.ormavec_query_interface(lines, iid, C.byref(as_list)), "_IArrayList")
    call(as_list, "AddItem", METHOD, record)
    call(doc, "Save", METHOD, variant(saved))
    for obj in (as_list, lines, doc):
        lib.ormavec_release(obj)
    assert lib.DllCanUnloadNow() == 1, "a record held by the host keeps the library loaded"
    lib.ormavec_variant_clear(C.byref(record))
    assert lib.DllCanUnloadNow() == 0, "an object outlived its last reference"
    doc, lines = lines_of(saved, recorder(pinned, True))
    item = call(lines, "Item", GET, variant(300))
    check(lib.ormavec_record_get(C.byref(item), b"Layer", C.byref(layer)) | lib.ormavec_variant_clear(C.byref(item)), "Layer")
    assert (call(lines, "Count", GET).u.lVal, layer.vt, C.string_at(layer.u.ptr)) == (301, VT_BSTR, b"Walls")
    lib.ormavec_release(lines), lib.ormavec_release(doc)

    # Progress (id 1, one argument) comes at every new whole percentage up to
    # 100; a sink that pins Percent to 100 hears every line until the reader's
    # own value reaches it.
    assert {event[:2] for event in plain + pinned} == {(1, 1)} and len(pinned) > len(plain) and lib.DllCanUnloadNow() == 0
    assert [p for _, _, p in plain] == sorted({p for _, _, p in plain}) and plain[-1][2] == 100

    # Registration writes one file in the per-user data folder, and takes it away.
    os.environ["XDG_DATA_HOME"] = folder
    check(lib.DllRegisterServer(), "DllRegisterServer")
    text = open(registry, encoding="utf-8").read()
    assert all(part in text for part in ("[TypeLib {3A6C0766-157B-4090-A3E4-C890402F0A86}]\nName=Ormavec\nVersion=7.2\n", "\nInprocServer32=/",
               "[CLSID {FDAD9AB1-0685-4ADA-AB7C-FC09134C81EE}]\nName=DXFDocument\nProgID=Ormavec.DXFDocument.7\nVersionIndependentProgID=",
               "ThreadingModel=Apartment\n", "[ProgID Ormavec.clsDebug]\nCLSID={39514D20-4538-4C88-9AAD-B0279D5132C3}\n")), text
    os.environ["ORMAVEC_REGISTRY_FILE"] = registry
    check(lib.DllUnregisterServer() | lib.DllUnregisterServer(), "DllUnregisterServer twice")
    assert not os.path.exists(registry)
print("automation_ctypes_test: passed")
