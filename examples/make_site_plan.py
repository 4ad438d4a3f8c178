#!/usr/bin/env python3
"""Writes examples/site_plan.dxf: a small site and ground-floor plan of a
family house, drawn with every entity type the Ormavec model holds.

The file has the structure of a release 2000 (AC1015) drawing: HEADER,
TABLES, BLOCKS, ENTITIES, OBJECTS and EOF, CR LF line ends, texts in
Windows-1250 (Hungarian names and texts). Standard library only; the output
is the same on every run.

    python3 examples/make_site_plan.py [OUT.dxf]
"""

import math
import os
import sys


def fmt(value):
    """A number as drawing programs write it: shortest exact form, a point
    always present for reals."""
    if isinstance(value, int):
        return str(value)
    text = repr(float(value))
    if "e" in text or "E" in text:
        text = "%.12f" % value
        text = text.rstrip("0")
    if text == "-0.0":
        text = "0.0"
    return text


class Dxf:
    def __init__(self):
        self.lines = []
        self.handle = 0x20

    def pair(self, code, value):
        self.lines.append(str(code).rjust(3))
        self.lines.append(fmt(value) if not isinstance(value, str) else value)

    def new_handle(self):
        self.handle += 1
        return "%X" % self.handle

    def point(self, p, base=10):
        self.pair(base, float(p[0]))
        self.pair(base + 10, float(p[1]))
        self.pair(base + 20, float(p[2]) if len(p) > 2 else 0.0)

    def encode(self):
        return ("\r\n".join(self.lines) + "\r\n").encode("cp1250")


# ---- the drawing ----------------------------------------------------------

LAYERS = [
    # name, colour, line type
    ("0", 7, "CONTINUOUS"),
    ("Telekhatár", 1, "SZAGGATOTT"),
    ("Falak", 7, "CONTINUOUS"),
    ("Nyílászárók", 4, "CONTINUOUS"),
    ("Kert_fák", 3, "CONTINUOUS"),
    ("Burkolat", 8, "CONTINUOUS"),
    ("Feliratok", 2, "CONTINUOUS"),
    ("Tengelyek", 5, "TENGELY"),
    ("Tető", 6, "CONTINUOUS"),
]

LTYPES = [
    # name, description, pattern
    ("CONTINUOUS", "Folytonos", []),
    ("SZAGGATOTT", "Szaggatott __ __ __", [0.5, -0.25]),
    ("TENGELY", "Tengely ____ _ ____", [1.25, -0.25, 0.25, -0.25]),
]

STYLES = [
    # name, font, width factor
    ("Standard", "txt", 1.0),
    ("Feliratok", "arial.ttf", 0.9),
]

NOTE = (
    "Megjegyzések: a telek területe 24,0 x 18,0 m. Az épület földszinti "
    "alaprajza a déli telekhatártól 4,0 m-re áll. A kerítés oszlopai 2,5 m-enként "
    "készülnek, a kapu a keleti oldalon nyílik. A fák helyét a kertész jelöli ki; "
    "a meglévő diófa megmarad. Az esővíz a kerti tóba folyik, amelynek túlfolyója "
    "a szikkasztó kútba vezet. Méretek méterben, szintek a Balti-tenger felett."
)

SITE_W, SITE_H = 24.0, 18.0
HOUSE = (4.0, 4.0, 16.0, 12.0)  # x0, y0, x1, y1


def write_header(d, extmin, extmax):
    d.pair(0, "SECTION")
    d.pair(2, "HEADER")
    for name, code, value in (
        ("$ACADVER", 1, "AC1015"),
        ("$ACADMAINTVER", 70, 6),
        ("$DWGCODEPAGE", 3, "ANSI_1250"),
    ):
        d.pair(9, name)
        d.pair(code, value)
    d.pair(9, "$INSBASE")
    d.point((0.0, 0.0, 0.0))
    d.pair(9, "$EXTMIN")
    d.point(extmin)
    d.pair(9, "$EXTMAX")
    d.point(extmax)
    d.pair(9, "$LIMMIN")
    d.pair(10, 0.0)
    d.pair(20, 0.0)
    d.pair(9, "$LIMMAX")
    d.pair(10, SITE_W)
    d.pair(20, SITE_H)
    d.pair(9, "$LTSCALE")
    d.pair(40, 1.0)
    d.pair(9, "$INSUNITS")
    d.pair(70, 6)
    d.pair(9, "$HANDSEED")
    d.pair(5, "FFFF")
    d.pair(0, "ENDSEC")


def table_head(d, name, count):
    h = d.new_handle()
    d.pair(0, "TABLE")
    d.pair(2, name)
    d.pair(5, h)
    d.pair(330, "0")
    d.pair(100, "AcDbSymbolTable")
    d.pair(70, count)
    return h


def record_head(d, kind, owner, subclass, handle_code=5):
    d.pair(0, kind)
    d.pair(handle_code, d.new_handle())
    d.pair(330, owner)
    d.pair(100, "AcDbSymbolTableRecord")
    d.pair(100, subclass)


def write_tables(d, block_names, view_center, view_height):
    d.pair(0, "SECTION")
    d.pair(2, "TABLES")

    t = table_head(d, "VPORT", 1)
    record_head(d, "VPORT", t, "AcDbViewportTableRecord")
    d.pair(2, "*Active")
    d.pair(70, 0)
    for code, value in ((10, 0.0), (20, 0.0), (11, 1.0), (21, 1.0), (12, view_center[0]), (22, view_center[1]),
                        (13, 0.0), (23, 0.0), (14, 0.5), (24, 0.5), (15, 0.5), (25, 0.5), (16, 0.0), (26, 0.0),
                        (36, 1.0), (17, 0.0), (27, 0.0), (37, 0.0), (40, view_height), (41, 1.6), (42, 50.0),
                        (43, 0.0), (44, 0.0), (50, 0.0), (51, 0.0)):
        d.pair(code, value)
    for code, value in ((71, 0), (72, 100), (73, 1), (74, 3), (75, 0), (76, 0), (77, 0), (78, 0)):
        d.pair(code, value)
    d.pair(0, "ENDTAB")

    t = table_head(d, "LTYPE", len(LTYPES) + 2)
    for name in ("ByBlock", "ByLayer"):
        record_head(d, "LTYPE", t, "AcDbLinetypeTableRecord")
        d.pair(2, name)
        d.pair(70, 0)
        d.pair(3, "")
        d.pair(72, 65)
        d.pair(73, 0)
        d.pair(40, 0.0)
    for name, description, pattern in LTYPES:
        record_head(d, "LTYPE", t, "AcDbLinetypeTableRecord")
        d.pair(2, name)
        d.pair(70, 0)
        d.pair(3, description)
        d.pair(72, 65)
        d.pair(73, len(pattern))
        d.pair(40, float(sum(abs(x) for x in pattern)))
        for element in pattern:
            d.pair(49, float(element))
            d.pair(74, 0)
    d.pair(0, "ENDTAB")

    t = table_head(d, "LAYER", len(LAYERS))
    for name, colour, ltype in LAYERS:
        record_head(d, "LAYER", t, "AcDbLayerTableRecord")
        d.pair(2, name)
        d.pair(70, 0)
        d.pair(62, colour)
        d.pair(6, ltype)
        d.pair(370, -3)
        d.pair(390, "F")
    d.pair(0, "ENDTAB")

    t = table_head(d, "STYLE", len(STYLES))
    for name, font, width in STYLES:
        record_head(d, "STYLE", t, "AcDbTextStyleTableRecord")
        d.pair(2, name)
        d.pair(70, 0)
        d.pair(40, 0.0)
        d.pair(41, width)
        d.pair(50, 0.0)
        d.pair(71, 0)
        d.pair(42, 0.25)
        d.pair(3, font)
        d.pair(4, "")
    d.pair(0, "ENDTAB")

    for name in ("VIEW", "UCS"):
        table_head(d, name, 0)
        d.pair(0, "ENDTAB")

    t = table_head(d, "APPID", 1)
    record_head(d, "APPID", t, "AcDbRegAppTableRecord")
    d.pair(2, "ACAD")
    d.pair(70, 0)
    d.pair(0, "ENDTAB")

    t = table_head(d, "DIMSTYLE", 1)
    d.pair(100, "AcDbDimStyleTable")
    d.pair(71, 0)
    record_head(d, "DIMSTYLE", t, "AcDbDimStyleTableRecord", handle_code=105)
    d.pair(2, "Standard")
    d.pair(70, 0)
    d.pair(0, "ENDTAB")

    t = table_head(d, "BLOCK_RECORD", len(block_names))
    records = {}
    for name in block_names:
        d.pair(0, "BLOCK_RECORD")
        h = d.new_handle()
        records[name] = h
        d.pair(5, h)
        d.pair(330, t)
        d.pair(100, "AcDbSymbolTableRecord")
        d.pair(100, "AcDbBlockTableRecord")
        d.pair(2, name)
    d.pair(0, "ENDTAB")
    d.pair(0, "ENDSEC")
    return records


# ---- entities: each writer takes the owner handle -------------------------

def entity_head(d, kind, owner, layer, subclass, ltype=None, colour=None, paper=False):
    d.pair(0, kind)
    h = d.new_handle()
    d.pair(5, h)
    d.pair(330, owner)
    d.pair(100, "AcDbEntity")
    if paper:
        d.pair(67, 1)
    d.pair(8, layer)
    if ltype is not None:
        d.pair(6, ltype)
    if colour is not None:
        d.pair(62, colour)
    if subclass:
        d.pair(100, subclass)
    return h


def line(d, owner, layer, p, q, **kw):
    entity_head(d, "LINE", owner, layer, "AcDbLine", **kw)
    d.point(p)
    d.point(q, 11)


def circle(d, owner, layer, c, r, **kw):
    entity_head(d, "CIRCLE", owner, layer, "AcDbCircle", **kw)
    d.point(c)
    d.pair(40, r)


def arc(d, owner, layer, c, r, a0, a1, **kw):
    entity_head(d, "ARC", owner, layer, "AcDbCircle", **kw)
    d.point(c)
    d.pair(40, r)
    d.pair(100, "AcDbArc")
    d.pair(50, a0)
    d.pair(51, a1)


def ellipse(d, owner, layer, c, major, ratio, t0=0.0, t1=2 * math.pi):
    entity_head(d, "ELLIPSE", owner, layer, "AcDbEllipse")
    d.point(c)
    d.point(major, 11)
    d.pair(210, 0.0)
    d.pair(220, 0.0)
    d.pair(230, 1.0)
    d.pair(40, ratio)
    d.pair(41, round(t0, 9))
    d.pair(42, round(t1, 9))


def point(d, owner, layer, p, colour=None):
    entity_head(d, "POINT", owner, layer, "AcDbPoint", colour=colour)
    d.point(p)


def solid(d, owner, layer, corners, colour=None):
    entity_head(d, "SOLID", owner, layer, "AcDbTrace", colour=colour)
    for i, c in enumerate(corners):
        d.point(c, 10 + i)


def face3d(d, owner, layer, corners, invisible=0):
    entity_head(d, "3DFACE", owner, layer, "AcDbFace")
    for i, c in enumerate(corners):
        d.point(c, 10 + i)
    d.pair(70, invisible)


def text(d, owner, layer, p, height, value, rotation=0.0, style="Standard", halign=0, valign=0):
    entity_head(d, "TEXT", owner, layer, "AcDbText")
    d.point(p)
    d.pair(40, height)
    d.pair(1, value)
    if rotation:
        d.pair(50, rotation)
    d.pair(7, style)
    if halign or valign:
        d.point(p, 11)
    if halign:
        d.pair(72, halign)
    d.pair(100, "AcDbText")
    if valign:
        d.pair(73, valign)


def mtext(d, owner, layer, p, height, width, value, style="Feliratok"):
    entity_head(d, "MTEXT", owner, layer, "AcDbMText")
    d.point(p)
    d.pair(40, height)
    d.pair(41, width)
    d.pair(71, 1)
    d.pair(72, 5)
    chunks = [value[i:i + 250] for i in range(0, len(value), 250)] or [""]
    for chunk in chunks[:-1]:
        d.pair(3, chunk)
    d.pair(1, chunks[-1])
    d.pair(7, style)
    d.pair(73, 1)
    d.pair(44, 1.0)


def lwpolyline(d, owner, layer, vertices, closed=False, const_width=None, ltype=None):
    """vertices: (x, y) or (x, y, start_width, end_width, bulge)."""
    entity_head(d, "LWPOLYLINE", owner, layer, "AcDbPolyline", ltype=ltype)
    d.pair(90, len(vertices))
    d.pair(70, 1 if closed else 0)
    if const_width is not None:
        d.pair(43, const_width)
    for v in vertices:
        d.pair(10, float(v[0]))
        d.pair(20, float(v[1]))
        if len(v) > 2:
            d.pair(40, float(v[2]))
            d.pair(41, float(v[3]))
            if len(v) > 4 and v[4]:
                d.pair(42, float(v[4]))


def polyline(d, owner, layer, vertices, flags=0, faces=(), vertex_flag=0):
    """A heavy polyline; faces make it a polyface mesh."""
    h = entity_head(d, "POLYLINE", owner, layer,
                    "AcDbPolyFaceMesh" if flags & 64 else "AcDb3dPolyline" if flags & 8 else "AcDb2dPolyline")
    d.pair(66, 1)
    d.point((0.0, 0.0, 0.0))
    d.pair(70, flags)
    if flags & 64:
        d.pair(71, len(vertices))
        d.pair(72, len(faces))
    vertex_class = ("AcDbPolyFaceMeshVertex" if flags & 64 else
                    "AcDb3dPolylineVertex" if flags & 8 else "AcDb2dVertex")
    for v in vertices:
        entity_head(d, "VERTEX", h, layer, "AcDbVertex")
        d.pair(100, vertex_class)
        d.point(v[:3])
        if len(v) > 3 and v[3]:
            d.pair(42, float(v[3]))
        d.pair(70, vertex_flag)
    for f in faces:
        entity_head(d, "VERTEX", h, layer, "AcDbFaceRecord")
        d.point((0.0, 0.0, 0.0))
        d.pair(70, 128)
        for i, index in enumerate(f):
            d.pair(71 + i, index)
    entity_head(d, "SEQEND", h, layer, None)


def insert(d, owner, layer, name, p, scale=(1.0, 1.0, 1.0), rotation=0.0, attribs=()):
    h = entity_head(d, "INSERT", owner, layer, "AcDbBlockReference")
    if attribs:
        d.pair(66, 1)
    d.pair(2, name)
    d.point(p)
    if scale != (1.0, 1.0, 1.0):
        d.pair(41, scale[0])
        d.pair(42, scale[1])
        d.pair(43, scale[2])
    if rotation:
        d.pair(50, rotation)
    if not attribs:
        return
    for tag, value, at, height in attribs:
        entity_head(d, "ATTRIB", h, layer, "AcDbText")
        d.point(at)
        d.pair(40, height)
        d.pair(1, value)
        d.pair(7, "Feliratok")
        d.pair(100, "AcDbAttribute")
        d.pair(2, tag)
        d.pair(70, 0)
    entity_head(d, "SEQEND", h, layer, None)


def attdef(d, owner, layer, tag, prompt, default, at, height):
    entity_head(d, "ATTDEF", owner, layer, "AcDbText")
    d.point(at)
    d.pair(40, height)
    d.pair(1, default)
    d.pair(7, "Feliratok")
    d.pair(100, "AcDbAttributeDefinition")
    d.pair(3, prompt)
    d.pair(2, tag)
    d.pair(70, 0)


def hatch_solid(d, owner, layer, outline, colour=None):
    entity_head(d, "HATCH", owner, layer, "AcDbHatch", colour=colour)
    d.point((0.0, 0.0, 0.0))
    d.pair(210, 0.0)
    d.pair(220, 0.0)
    d.pair(230, 1.0)
    d.pair(2, "SOLID")
    d.pair(70, 1)
    d.pair(71, 0)
    d.pair(91, 1)
    d.pair(92, 7)
    d.pair(72, 0)
    d.pair(73, 1)
    d.pair(93, len(outline))
    for x, y in outline:
        d.pair(10, float(x))
        d.pair(20, float(y))
    d.pair(97, 0)
    d.pair(75, 1)
    d.pair(76, 1)
    d.pair(98, 1)
    d.pair(10, float(outline[0][0]))
    d.pair(20, float(outline[0][1]))


# ---- blocks ---------------------------------------------------------------

def block(d, record, name, layer, base, body, flags=0, paper=False):
    d.pair(0, "BLOCK")
    d.pair(5, d.new_handle())
    d.pair(330, record)
    d.pair(100, "AcDbEntity")
    if paper:
        d.pair(67, 1)
    d.pair(8, layer)
    d.pair(100, "AcDbBlockBegin")
    d.pair(2, name)
    d.pair(70, flags)
    d.point(base)
    d.pair(3, name)
    d.pair(1, "")
    body(record)
    d.pair(0, "ENDBLK")
    d.pair(5, d.new_handle())
    d.pair(330, record)
    d.pair(100, "AcDbEntity")
    if paper:
        d.pair(67, 1)
    d.pair(8, layer)
    d.pair(100, "AcDbBlockEnd")


def door_body(d):
    def body(owner):
        # A 0.9 m door leaf with its swing, drawn at the origin.
        line(d, owner, "0", (0.0, 0.0), (0.0, 0.9))
        arc(d, owner, "0", (0.0, 0.0), 0.9, 0.0, 90.0)
        line(d, owner, "0", (0.0, 0.0), (0.9, 0.0), ltype="ByBlock")
    return body


def window_body(d):
    def body(owner):
        for y in (0.0, 0.1, 0.2, 0.3):
            line(d, owner, "0", (0.0, y), (1.2, y))
        line(d, owner, "0", (0.0, 0.0), (0.0, 0.3))
        line(d, owner, "0", (1.2, 0.0), (1.2, 0.3))
        point(d, owner, "0", (0.6, 0.15))
    return body


def tree_body(d):
    def body(owner):
        # Crown outline, a filled trunk and the canopy as an ellipse.
        circle(d, owner, "0", (0.0, 0.0), 1.5)
        ellipse(d, owner, "0", (0.0, 0.0), (1.2, 0.0, 0.0), 0.8)
        trunk = [(-0.15, -0.15), (0.15, -0.15), (0.15, 0.15), (-0.15, 0.15)]
        hatch_solid(d, owner, "0", trunk, colour=34)
        face3d(d, owner, "0", [(-0.2, -0.2, 0.0), (0.2, -0.2, 0.0), (0.0, 0.0, 3.0), (0.0, 0.0, 3.0)])
    return body


def title_body(d):
    def body(owner):
        lwpolyline(d, owner, "0", [(0.0, 0.0), (8.0, 0.0), (8.0, 2.0), (0.0, 2.0)], closed=True, const_width=0.05)
        line(d, owner, "0", (0.0, 1.0), (8.0, 1.0))
        text(d, owner, "0", (0.2, 1.3), 0.35, "Tervező:", style="Feliratok")
        mtext(d, owner, "0", (0.2, 0.8), 0.25, 3.0, "Lépték 1:100\\PMéretek méterben")
        attdef(d, owner, "0", "CIM", "A rajz címe", "Alaprajz", (2.2, 1.3), 0.35)
        attdef(d, owner, "0", "TERVEZO", "Tervező neve", "Kovács Ödön", (2.2, 0.3), 0.35)
        polyline(d, owner, "0", [(7.0, 0.2), (7.6, 0.2), (7.6, 0.8)], flags=0)
        insert(d, owner, "0", "ÉSZAK", (7.3, 1.5), scale=(0.3, 0.3, 0.3))
    return body


def north_body(d):
    def body(owner):
        solid(d, owner, "0", [(0.0, 1.0), (-0.4, -0.6), (0.4, -0.6), (0.4, -0.6)])
        text(d, owner, "0", (0.0, 1.2), 0.5, "É", halign=1)
    return body


# ---- model space ----------------------------------------------------------

def model_space(d, owner):
    x0, y0, x1, y1 = HOUSE
    # Site boundary and the axes of the house.
    lwpolyline(d, owner, "Telekhatár", [(0, 0), (SITE_W, 0), (SITE_W, SITE_H), (0, SITE_H)], closed=True)
    line(d, owner, "Tengelyek", (x0 - 1, (y0 + y1) / 2), (x1 + 1, (y0 + y1) / 2), ltype="TENGELY")
    line(d, owner, "Tengelyek", ((x0 + x1) / 2, y0 - 1), ((x0 + x1) / 2, y1 + 1))

    # Outer walls as a wide closed polyline, inner walls as lines.
    lwpolyline(d, owner, "Falak", [(x0, y0), (x1, y0), (x1, y1), (x0, y1)], closed=True, const_width=0.3)
    line(d, owner, "Falak", (10.0, y0), (10.0, y1))
    line(d, owner, "Falak", (x0, 8.5), (10.0, 8.5))
    line(d, owner, "Falak", (10.0, 9.0), (x1, 9.0), colour=8)

    # Doors and windows.
    insert(d, owner, "Nyílászárók", "AJTÓ", (7.0, y0))
    insert(d, owner, "Nyílászárók", "AJTÓ", (10.0, 6.0), rotation=90.0)
    insert(d, owner, "Nyílászárók", "AJTÓ", (12.0, 9.0), scale=(-1.0, 1.0, 1.0))
    for x in (5.0, 12.5):
        insert(d, owner, "Nyílászárók", "ABLAK", (x, y1 - 0.15))
    insert(d, owner, "Nyílászárók", "ABLAK", (x1 - 0.15, 6.0), rotation=90.0)

    # Garden: trees, pond, well, path with widths, fence, paved terrace.
    for i, (x, y) in enumerate(((2.0, 15.0), (6.0, 16.0), (20.0, 15.5), (21.5, 3.0))):
        insert(d, owner, "Kert_fák", "FA", (x, y), scale=(1.0 + 0.1 * i, 1.0 + 0.1 * i, 1.0))
    ellipse(d, owner, "Kert_fák", (19.5, 9.0), (2.0, 0.5, 0.0), 0.55)
    circle(d, owner, "Kert_fák", (2.0, 2.0), 0.6)
    circle(d, owner, "Kert_fák", (2.0, 2.0), 0.45, colour=5)
    lwpolyline(d, owner, "Burkolat",
               [(x1, 7.0, 1.2, 1.2, 0.0), (18.0, 7.0, 1.2, 0.8, 0.4), (20.0, 5.0, 0.8, 0.8, 0.0),
                (SITE_W, 5.0, 0.8, 0.8, 0.0)])
    arc(d, owner, "Burkolat", (18.0, 5.0), 2.0, 0.0, 90.0)
    polyline(d, owner, "Telekhatár", [(0.5, 0.5, 0.0), (23.5, 0.5, 0.0, 0.0), (23.5, 17.5, 0.0), (0.5, 17.5, 0.0)],
             flags=1)
    polyline(d, owner, "Burkolat", [(x0, y1, 0.0), (x0 - 2.0, y1, 0.0), (x0 - 2.0, y1 + 3.0, 0.0, 0.5),
                                    (x0, y1 + 3.0, 0.0)], flags=0)
    # The terrace slope as a 3D polyline, the garage roof as a polyface mesh.
    polyline(d, owner, "Burkolat", [(x1, y0, 0.0), (x1 + 3.0, y0, -0.15), (x1 + 3.0, y1 - 4.0, -0.1)],
             flags=8, vertex_flag=32)
    polyline(d, owner, "Tető", [(x0, y0, 3.0), (10.0, y0, 3.0), (10.0, y1, 3.0), (x0, y1, 3.0),
                                (7.0, (y0 + y1) / 2, 5.0)],
             flags=64, faces=[(1, 2, 5, 5), (2, 3, 5, 5), (3, 4, 5, 5), (4, 1, 5, 5)], vertex_flag=192)
    face3d(d, owner, "Tető", [(10.0, y0, 3.0), (x1, y0, 3.0), (x1, 8.0, 4.5), (10.0, 8.0, 4.5)])
    face3d(d, owner, "Tető", [(10.0, 8.0, 4.5), (x1, 8.0, 4.5), (x1, y1, 3.0), (10.0, y1, 3.0)], invisible=1)

    # Survey points, the north arrow as a solid.
    for p, z in (((0.0, 0.0), 101.2), ((SITE_W, 0.0), 101.05), ((SITE_W, SITE_H), 100.8), ((0.0, SITE_H), 100.95)):
        point(d, owner, "Telekhatár", (p[0], p[1], z), colour=1)
    solid(d, owner, "Feliratok", [(22.5, 16.0), (22.0, 14.8), (23.0, 14.8), (23.0, 14.8)], colour=2)

    # Room names, notes, the title block with attributes.
    for p, label in (((5.0, 10.0), "Nappali 24,5 m²"), ((5.0, 6.0), "Konyha-étkező"),
                     ((12.0, 10.5), "Hálószoba"), ((12.0, 6.5), "Fürdőszoba"), ((12.0, 5.0), "Előtér")):
        text(d, owner, "Feliratok", p, 0.3, label.replace("²", "2"), style="Feliratok")
    text(d, owner, "Feliratok", (1.0, 9.0), 0.4, "Kerti tó - szikkasztó", rotation=90.0)
    text(d, owner, "Feliratok", (12.0, 1.5), 0.5, "Szőlő utca", halign=1, valign=2)
    mtext(d, owner, "Feliratok", (0.5, -1.0), 0.25, 12.0, NOTE)
    insert(d, owner, "Feliratok", "CÍMMEZŐ", (SITE_W + 1.0, 0.0), attribs=(
        ("CIM", "Családi ház – földszinti alaprajz", (SITE_W + 3.2, 1.3, 0.0), 0.35),
        ("TERVEZO", "Kovács Ödön", (SITE_W + 3.2, 0.3, 0.0), 0.35),
    ))


def write_objects(d):
    d.pair(0, "SECTION")
    d.pair(2, "OBJECTS")
    root = d.new_handle()
    group = d.new_handle()
    d.pair(0, "DICTIONARY")
    d.pair(5, root)
    d.pair(330, "0")
    d.pair(100, "AcDbDictionary")
    d.pair(281, 1)
    d.pair(3, "ACAD_GROUP")
    d.pair(350, group)
    d.pair(0, "DICTIONARY")
    d.pair(5, group)
    d.pair(330, root)
    d.pair(100, "AcDbDictionary")
    d.pair(281, 1)
    d.pair(0, "ENDSEC")


def build():
    d = Dxf()
    extmin = (-1.0, -3.0, 0.0)
    extmax = (SITE_W + 9.0, SITE_H + 0.5, 5.0)
    write_header(d, extmin, extmax)
    blocks = [
        ("*Model_Space", None, False),
        ("*Paper_Space", None, True),
        ("AJTÓ", door_body, False),
        ("ABLAK", window_body, False),
        ("FA", tree_body, False),
        ("ÉSZAK", north_body, False),
        ("CÍMMEZŐ", title_body, False),
    ]
    centre = ((extmin[0] + extmax[0]) / 2, (extmin[1] + extmax[1]) / 2)
    records = write_tables(d, [b[0] for b in blocks], centre, extmax[1] - extmin[1])
    d.pair(0, "SECTION")
    d.pair(2, "BLOCKS")
    for name, body, paper in blocks:
        block(d, records[name], name, "0", (0.0, 0.0, 0.0), body(d) if body else (lambda owner: None),
              paper=paper)
    d.pair(0, "ENDSEC")
    d.pair(0, "SECTION")
    d.pair(2, "ENTITIES")
    model_space(d, records["*Model_Space"])
    d.pair(0, "ENDSEC")
    write_objects(d)
    d.pair(0, "EOF")
    return d.encode()


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    out = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "site_plan.dxf")
    data = build()
    with open(out, "wb") as f:
        f.write(data)
    print("%s: %d bytes" % (out, len(data)))


if __name__ == "__main__":
    main()
