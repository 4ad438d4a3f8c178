#!/usr/bin/env python3
"""ezdxf, an independent reader, opens the drawings the corpus round trip
saved: every Standard save, and the Classic saves of AC1015 or later (older
versions lack the handles and subclass markers ezdxf relies on). Each must be
read strictly, audited without errors (Standard saves without fixes either)
and show the entity counts of the model that was saved, listed with the file
in counts.json. A drawing whose source ezdxf cannot read either is skipped.

    ezdxf_check.py CLASSIC_FOLDER STANDARD_FOLDER     (exit 77: nothing to check)
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
    found = collections.Counter(e.dxftype() for e in layout)
    return found, sum(len(e.attribs) for e in layout if e.dxftype() == "INSERT")


def problems(folder, entry, standard):
    doc = ezdxf.readfile(os.path.join(folder, entry["saved"]))
    auditor = doc.audit()
    out = [e.message for e in auditor.errors] + (["%d auditor fixes" % len(auditor.fixes)] if standard and auditor.fixes else [])
    model = entry["model"]
    expected = [("ENTITIES", model["entities"], model["attribs"], doc.modelspace())]
    names = collections.Counter(b["name"].upper() for b in model["blocks"])
    for block in model["blocks"]:
        name = block["name"].upper()
        # ezdxf keys blocks without regard to case; extra paper spaces need
        # layout objects that our fixed OBJECTS section lacks.
        if names[name] > 1 or (name.startswith("*PAPER_SPACE") and name != "*PAPER_SPACE"):
            continue
        entities, attribs = collections.Counter(block["entities"]), block["attribs"]
        if name == "*MODEL_SPACE":  # to ezdxf, our ENTITIES section and this block are one
            entities, attribs = entities + collections.Counter(model["entities"]), attribs + model["attribs"]
        expected.append((block["name"], entities, attribs, doc.blocks.get(block["name"])))
    for where, entities, attribs, layout in expected:
        if layout is None:
            out.append("block %r is missing" % where)
        elif counts(layout) != (+collections.Counter(entities), attribs):
            out.append("%s: ours %s, ezdxf %s" % (where, (dict(+collections.Counter(entities)), attribs), counts(layout)))
    return out


def readable(path):
    try:
        return not path or not os.path.exists(path) or bool(ezdxf.readfile(path))
    except Exception:
        return False


def main(folders):
    checked = failed = 0
    for standard, folder in enumerate(folders):
        listing = os.path.join(folder, "counts.json")
        if not os.path.exists(listing):
            print("ezdxf_check: %s is missing (no corpus, or its test did not run)" % listing)
            return 1 if standard else 77
        with open(listing, encoding="utf-8") as f:
            entries = [e for e in json.load(f) if standard or e["acadver"] >= 1015]
        for entry in entries:
            try:
                found = problems(folder, entry, standard)
            except Exception as e:
                if not readable(entry.get("source_path")):
                    print("skip %s: ezdxf cannot read the source drawing either" % entry["source"])
                    continue
                found = ["ezdxf could not read it: %s: %s" % (type(e).__name__, e)]
            checked += 1
            if found:
                failed += 1
                print("FAIL %s %s\n     %s" % (("Classic", "Standard")[standard], entry["source"], "\n     ".join(found[:10])))
    print("ezdxf_check: %d saved files read, %d failed" % (checked, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
