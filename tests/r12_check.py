#!/usr/bin/env python3
"""Independent readers open the R12 exports of every shared drawing. ezdxf
reads each export and finds, in the ENTITIES section and in every block, the
entities ezdxf finds in the Standard save of the same drawing after the
conversions R12 needs: LWPOLYLINE, ELLIPSE and SPLINE become POLYLINE, an
MTEXT one TEXT per line that is not blank, HATCH is left out, and the kinds
the export says it did not keep or left out (DIMENSION...) may be missing.
The export holds no handles, subclass markers, CLASSES or OBJECTS. dxflib
reads the export of the example drawing with the counts ezdxf gives.

    r12_check.py ORMAVEC CORPUS_DIR EXAMPLE [DXFLIB_COUNT]   (exit 77: no ezdxf)
"""
import collections
import os
import re
import subprocess
import sys
import tempfile

try:
    import ezdxf
    from ezdxf import recover
except ImportError:
    print("r12_check: skipped: no ezdxf (Debian package python3-ezdxf)")
    sys.exit(77)

AS_POLYLINE = {"LWPOLYLINE", "ELLIPSE", "SPLINE"}


def expected(layout):
    c = collections.Counter()
    for e in layout:
        kind = e.dxftype()
        if kind == "MTEXT":
            c["TEXT"] += sum(1 for line in e.plain_text(split=True) if line.strip())
        elif kind != "HATCH":
            c["POLYLINE" if kind in AS_POLYLINE else kind] += 1
    return +c


def found(layout):
    return +collections.Counter(e.dxftype() for e in layout)


def problems(ormavec, source, tmp):
    std, r12 = os.path.join(tmp, "s.dxf"), os.path.join(tmp, "r.dxf")
    if subprocess.run([ormavec, "convert", source, std], capture_output=True).returncode:
        return None  # not a drawing we load
    said = subprocess.run([ormavec, "convert", "--r12", source, r12], check=True, capture_output=True, text=True).stderr
    dropped = {kind for line in said.splitlines() if "not kept:" in line or "left out:" in line
               for kind in re.findall(r"\d+ ([A-Z0-9_]*[A-Z][A-Z0-9_]*)\b", line)}
    with open(r12, "rb") as f:
        lines = f.read().decode("latin-1").split("\r\n")
    pairs = list(zip((int(c) for c in lines[0::2] if c.strip()), lines[1::2]))
    codes = {c for c, _ in pairs}
    names = {v for c, v in pairs if c in (0, 2)}
    out = ["group %d written" % c for c in sorted(codes & {5, 100, 102, 330, 340, 360, 390})]
    out += ["%s written" % n for n in sorted(names & {"CLASSES", "OBJECTS", "BLOCK_RECORD", "LWPOLYLINE", "ELLIPSE", "MTEXT", "HATCH", "SPLINE"})]
    # The Standard save keeps escapes in names, which ezdxf reads only when it recovers.
    ours, theirs = recover.readfile(std)[0], ezdxf.readfile(r12)
    out += [e.message for e in theirs.audit().errors]
    if theirs.dxfversion != "AC1009":
        out.append("version " + theirs.dxfversion)
    # The Standard save keeps ENTITIES' paper space entities there; an R12 export has no paper space.
    pairs = [("ENTITIES", list(ours.modelspace()) + list(ours.layouts.active_layout()), theirs.modelspace())]
    # A name's characters the code page lacks are written as U+XXXX (a backslash is no name character).
    r12_name = lambda name: "".join(c if c.encode(theirs.encoding, "ignore") else "U+%04X" % ord(c) for c in name)
    pairs += [(b.name, b, theirs.blocks.get(r12_name(b.name))) for b in ours.blocks 
              # ezdxf takes $MODEL_SPACE and $PAPER_SPACE of an R12 file for its layouts
              if not b.name.upper().startswith(("*MODEL_SPACE", "*PAPER_SPACE", "$MODEL_SPACE", "$PAPER_SPACE"))]
    for where, a, b in pairs:
        if b is None:
            out.append("%s: no such block" % where)
        else:
            want, got = expected(a), found(b)
            # A kind said not kept may be missing (a block's SOLID), never added.
            if any(got[k] != want[k] and not (k in dropped and got[k] < want[k]) for k in want | got):
                out.append("%s: expected %s, ezdxf %s" % (where, dict(want), dict(got)))
    return out


def dxflib(ormavec, counter, example, tmp):
    r12 = os.path.join(tmp, "example.dxf")
    subprocess.run([ormavec, "convert", "--r12", example, r12], check=True, capture_output=True)
    run = subprocess.run([counter, r12], capture_output=True, text=True) if counter else None
    if run is None:
        print("r12_check: dxflib part skipped: no dxflib (Debian package libdxflib-dev)")
        return True
    theirs = dict((k, int(n)) for k, n in (line.split() for line in run.stdout.split("\n") if line))
    ours = {k: n for k, n in found(ezdxf.readfile(r12).modelspace()).items() if k in theirs or k in ("LINE", "POLYLINE", "TEXT", "INSERT")}
    ok = run.returncode == 0 and theirs == ours
    print("r12_check: dxflib %s the example's export: %s (ezdxf %s)" % ("reads" if ok else "FAILS on", theirs, ours))
    return ok


def handles(ormavec, example, tmp):
    r12 = os.path.join(tmp, "handles.dxf")
    subprocess.run([ormavec, "convert", "--r12", "--handles", example, r12], check=True, capture_output=True)
    doc = ezdxf.readfile(r12)
    with open(r12, "rb") as f:
        lines = f.read().decode("latin-1").split("\r\n")
    taken = [int(v, 16) for c, v in zip(lines[0::2], lines[1::2]) if c.strip() in ("5", "105")][1:]  # after $HANDSEED
    ok = doc.header["$HANDLING"] == 1 and len(set(taken)) == len(taken) > len(doc.modelspace())
    ok = ok and max(taken) < int(doc.header["$HANDSEED"], 16) and not doc.audit().errors
    print("r12_check: the export with handles %s" % ("is read" if ok else "FAILS"))
    return ok


def main(ormavec, corpus, example, counter=""):
    if not os.path.isdir(corpus):
        print("r12_check: skipped: no shared drawings at %s" % corpus)
        return 77
    checked = failed = 0
    with tempfile.TemporaryDirectory() as tmp:
        for folder, _, files in sorted(os.walk(corpus)):
            for name in sorted(f for f in files if f.lower().endswith(".dxf")):
                source = os.path.join(folder, name)
                try:
                    found_problems = problems(ormavec, source, tmp)
                except Exception as e:
                    found_problems = ["%s: %s" % (type(e).__name__, e)]
                if found_problems is None:
                    continue
                checked, failed = checked + 1, failed + bool(found_problems)
                if found_problems:
                    print("FAIL %s\n     %s" % (os.path.relpath(source, corpus), "\n     ".join(found_problems[:10])))
        print("r12_check: %d R12 exports read by ezdxf, %d failed" % (checked, failed))
        dxflib_ok = dxflib(ormavec, counter if os.path.exists(counter) else "", example, tmp) and handles(ormavec, example, tmp)
    return 1 if failed or not dxflib_ok or not checked else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
