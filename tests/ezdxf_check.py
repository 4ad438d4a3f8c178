#!/usr/bin/env python3
"""ezdxf, an independent reader, opens the drawings the corpus round trip
saved: every Standard save (text and binary), and the Classic saves of AC1015
or later (older versions lack the handles and subclass markers ezdxf relies
on). Each must be read strictly, audited without errors (Standard saves
without fixes either, where the source needs none) and show the entity counts
of the model that was saved, listed with the file in counts.json. A drawing
whose source ezdxf cannot read either is skipped.

    ezdxf_check.py CLASSIC_FOLDER STANDARD_FOLDER [BINARY_FOLDER]   (exit 77: nothing to check)

With --host-changed, every shared drawing is loaded through the Python module
with Preserve on and changed as a host would (every third LINE deleted, a
CIRCLE and a TEXT changed, a LINE and a CIRCLE added on a new layer, a layer
that records name removed, a block that an INSERT draws and a second layout's block removed) before its Standard save, which ezdxf must read
and audit without errors, and without fixes where the source needs none.

    ezdxf_check.py --host-changed MODULE_FOLDER CORPUS OUT_FOLDER

With --twins, ezdxf saves every shared drawing it can as text and as binary
(R12 drawings stay R12, with one-byte group codes); both twins must load as
the same model, seen as Standard saves of the two by the command that hold
the same pairs (numbers compared by value).

    ezdxf_check.py --twins ORMAVEC CORPUS OUT_FOLDER
"""
import collections
import json
import os
import sys

try:
    import ezdxf
except ImportError:
    print("ezdxf_check: skipped: no ezdxf (Debian package python3-ezdxf)")
    sys.exit(77)


def counts(layout):
    return +collections.Counter(e.dxftype() for e in layout), sum(len(e.attribs) for e in layout if e.dxftype() == "INSERT")


def problems(path, model, standard, source):
    auditor, doc = ezdxf.readfile(path).audit(), ezdxf.readfile(path)  # counted as read, before the audit's removals
    # A Standard save writes back what the drawing held: fixes count where the source needs none.
    fixes = standard and auditor.fixes and not ezdxf.readfile(source).audit().fixes
    out = [e.message for e in auditor.errors] + (["%d auditor fixes" % len(auditor.fixes)] if fixes else [])
    # ENTITIES holds the model space and, under 67 1, the active paper space, whose block ezdxf merges with it.
    paper = [b for b in model["blocks"] if b["name"].upper() == "*PAPER_SPACE"]
    paper = paper[0] if len(paper) == 1 else {"entities": {}, "attribs": 0}
    ours = {"ENTITIES": (collections.Counter(model["entities"]) + collections.Counter(paper["entities"]), model["attribs"] + paper["attribs"],
                         list(doc.modelspace()) + list(doc.layouts.active_layout()))}
    for b in model["blocks"]:
        # ezdxf keys blocks without regard to case; to it our ENTITIES section and the model space block are one;
        # extra paper spaces need layout objects that our fixed OBJECTS section lacks.
        name, model_space = b["name"].upper(), b["name"].upper() == "*MODEL_SPACE"
        if [x["name"].upper() for x in model["blocks"]].count(name) == 1 and not name.startswith("*PAPER_SPACE"):
            ours[b["name"]] = (collections.Counter(b["entities"]) + (ours["ENTITIES"][0] if model_space else collections.Counter()),
                               b["attribs"] + (ours["ENTITIES"][1] if model_space else 0),
                               ours["ENTITIES"][2] if model_space else doc.blocks.get(b["name"]))
    for where, (entities, attribs, layout) in ours.items():
        found = counts(layout) if layout is not None else "no such block"
        if found != (+entities, attribs):
            out.append("%s: ours %s, ezdxf %s" % (where, (dict(+entities), attribs), found))
    return out


def main(folders):
    checked = failed = 0
    for standard, folder in enumerate(folders):
        if not os.path.exists(os.path.join(folder, "counts.json")):
            print("ezdxf_check: %s holds no counts.json (no corpus, or its test did not run)" % folder)
            return 1 if standard else 77
        with open(os.path.join(folder, "counts.json"), encoding="utf-8") as f:
            entries = [e for e in json.load(f) if standard or e["acadver"] >= 1015]
        for entry in entries:
            try:
                found = problems(os.path.join(folder, entry["saved"]), entry["model"], standard, entry["source_path"])
            except Exception as e:
                found = ["ezdxf could not read it: %s: %s" % (type(e).__name__, e)]
                try:
                    ezdxf.readfile(entry.get("source_path", ""))
                except Exception:
                    print("skip %s: ezdxf cannot read the source drawing either" % entry["source"])
                    continue
            checked, failed = checked + 1, failed + bool(found)
            if found:  # the first ten problems
                print("FAIL %s %s\n     %s" % (("Classic", "Standard", "Binary")[standard], entry["source"], "\n     ".join(found[:10])))
    print("ezdxf_check: %d saved files read, %d failed" % (checked, failed))
    return 1 if failed else 0


def pairs(path):
    """The (code, value) pairs of a text drawing, numbers as numbers: what a
    preserving save kept is written as the source spelled it ("1.0" or "1")."""
    lines = open(path, "rb").read().decode("utf-8", "surrogateescape").split("\r\n")
    def value(v):
        try:
            return float(v)
        except ValueError:
            return v
    out = [(c.strip(), value(v.strip())) for c, v in zip(lines[0::2], lines[1::2])]
    # ezdxf gives each file it saves new ids and update times, in the header and in its
    # own objects ("<version> @ <time>"), which a preserving save keeps.
    stamps = {("9", n) for n in ("$VERSIONGUID", "$FINGERPRINTGUID", "$TDUPDATE", "$TDUUPDATE")}
    return [p for i, p in enumerate(out) if not (i and out[i - 1] in stamps) and not (p[0] == "1" and " @ 20" in str(p[1]))]


def drawings(corpus):
    for folder, _, files in sorted(os.walk(corpus)):
        yield from (os.path.join(folder, name) for name in sorted(f for f in files if f.lower().endswith(".dxf")))


def twins(ormavec, corpus, out):
    import subprocess
    os.makedirs(out, exist_ok=True)
    saved = same = 0
    for source in drawings(corpus):
        base = os.path.join(out, "twin")
        try:
            doc = ezdxf.readfile(source)
            doc.saveas(base + ".txt.dxf")
            doc.saveas(base + ".bin.dxf", fmt="bin")
        except Exception:
            continue  # ezdxf cannot read or save it
        saved += 1
        runs = [subprocess.run([ormavec, "convert", base + form, base + form + ".std"], capture_output=True, text=True)
                for form in (".txt.dxf", ".bin.dxf")]
        if all(r.returncode == 0 for r in runs) and pairs(base + ".txt.dxf.std") == pairs(base + ".bin.dxf.std"):
            same += 1
        else:
            print("DIFF %s (%s) %s" % (os.path.relpath(source, corpus), doc.dxfversion, " | ".join(r.stderr.strip() for r in runs)))
    print("ezdxf_check --twins: %d drawings saved by ezdxf in both forms, %d load alike" % (saved, same))
    return 0 if saved == same and saved else 1


def host_changed(module, corpus, out):
    sys.path.insert(0, module)
    import ormavec
    os.makedirs(out, exist_ok=True)
    checked = failed = 0
    for source in drawings(corpus):
        saved = os.path.join(out, "changed.dxf")
        try:
            source_fixes = ezdxf.readfile(source).audit().fixes
            doc = ormavec.DXFDocument()
            doc.Preserve = True
            doc.Load(source)
        except Exception:
            continue  # not read by ezdxf, or refused by us (a damaged drawing)
        e = doc.ENTITIES
        del e.LINES[::3]
        for records, field, value in ((e.CIRCLES, "Radius", 2.5), (e.TEXTS, "Text", "changed")):
            if len(records):
                r = records[0]
                setattr(r, field, value)
                records[0] = r
        e.LINES.Add(ormavec.LINE_ENT(StartX=1, EndX=2, Layer="Host added"))
        e.CIRCLES.Add(ormavec.CIRCLE_ENT(Radius=1, Layer="Host added"))
        named = {r.Layer.upper() for kind in (e.LINES, e.CIRCLES, e.ARCS, e.TEXTS) for r in kind}
        layers = doc.TABLES.LAYERS
        gone = [k for k in range(len(layers)) if layers[k].LayerName.upper() in named - {"0"}][:1]
        for k in gone:
            layers.Delete(k)
        drawn, blocks = {r.BlockName.upper() for r in e.INSERTS}, doc.BLOCKS
        gone = [k for k in range(len(blocks)) if blocks[k].BlockName.upper() in drawn][:1]
        gone += [k for k in range(len(blocks)) if blocks[k].BlockName.upper().startswith("*PAPER_SPACE") and k not in gone][1:2]
        for k in sorted(gone, reverse=True):
            blocks.Delete(k)
        doc.SaveMode = ormavec.SaveMode.Standard
        doc.Save(saved)
        try:
            auditor = ezdxf.readfile(saved).audit()
            found = [x.message for x in auditor.errors] + (["%d auditor fixes" % len(auditor.fixes)] if auditor.fixes and not source_fixes else [])
        except Exception as x:
            found = ["ezdxf could not read it: %s: %s" % (type(x).__name__, x)]
        checked, failed = checked + 1, failed + bool(found)
        if found:
            print("FAIL %s\n     %s" % (os.path.relpath(source, corpus), "\n     ".join(found[:10])))
    print("ezdxf_check --host-changed: %d changed drawings saved, %d failed" % (checked, failed))
    return 0 if checked and not failed else 1


if __name__ == "__main__":
    modes = {"--twins": twins, "--host-changed": host_changed}
    sys.exit(modes[sys.argv[1]](*sys.argv[2:]) if sys.argv[1:2] and sys.argv[1] in modes else main(sys.argv[1:]))
