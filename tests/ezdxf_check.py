#!/usr/bin/env python3
"""Opens the drawings that Ormavec saved with ezdxf, an independent reader,
and checks that it reads them strictly, that its auditor finds no error, and
that it sees the entities we wrote.

    ezdxf_check.py FOLDER

FOLDER holds the saved files and counts.json, written by the corpus test:
one entry per saved file with its $ACADVER and the counts of the model that
was saved. Only files of version AC1015 or later are checked; the older
versions have no handles and subclass markers that ezdxf could rely on.
"""

import collections
import json
import os
import sys

try:
    import ezdxf
except ImportError:  # pragma: no cover - reported, not hidden
    print("ezdxf_check: the ezdxf module is missing (Debian package python3-ezdxf)")
    sys.exit(1)


def modelspace_counts(doc):
    counts = collections.Counter(e.dxftype() for e in doc.modelspace())
    attribs = sum(len(e.attribs) for e in doc.modelspace() if e.dxftype() == "INSERT")
    return counts, attribs


def block_counts(block):
    counts = collections.Counter(e.dxftype() for e in block)
    attribs = sum(len(e.attribs) for e in block if e.dxftype() == "INSERT")
    return counts, attribs


def compare(where, ours, theirs, problems):
    for name, n in ours.items():
        if theirs.get(name, 0) != n:
            problems.append("%s %s: ours %d, ezdxf %d" % (where, name, n, theirs.get(name, 0)))
    for name, n in theirs.items():
        if name not in ours:
            problems.append("%s %s: not ours, ezdxf %d" % (where, name, n))


def check(folder, entry):
    path = os.path.join(folder, entry["saved"])
    problems = []
    doc = ezdxf.readfile(path)
    auditor = doc.audit()
    for error in auditor.errors:
        problems.append("audit: %s" % error.message)

    model = entry["model"]
    counts, attribs = modelspace_counts(doc)
    compare("ENTITIES", model["entities"], counts, problems)
    if attribs != model["attribs"]:
        problems.append("ENTITIES attribs: ours %d, ezdxf %d" % (model["attribs"], attribs))

    # Blocks are looked up by name, which ezdxf keys without regard to case;
    # a name we hold twice cannot be told apart there and is left out. To
    # ezdxf the model space block is the model space: our ENTITIES section
    # and that block's own entities together. The extra paper space layouts
    # (*Paper_Space0 ...) need layout objects that our fixed OBJECTS section
    # lacks, so ezdxf may drop or rename their blocks: they are not compared.
    names = collections.Counter(b["name"].upper() for b in model["blocks"])
    for block in model["blocks"]:
        upper = block["name"].upper()
        if names[upper] > 1 or (upper.startswith("*PAPER_SPACE") and upper != "*PAPER_SPACE"):
            continue
        found = doc.blocks.get(block["name"])
        if found is None:
            problems.append("block %r: missing" % block["name"])
            continue
        ours, our_attribs = dict(block["entities"]), block["attribs"]
        if upper == "*MODEL_SPACE":
            for name, n in model["entities"].items():
                ours[name] = ours.get(name, 0) + n
            our_attribs += model["attribs"]
        counts, attribs = block_counts(found)
        compare("block %r" % block["name"], ours, counts, problems)
        if attribs != our_attribs:
            problems.append("block %r attribs: ours %d, ezdxf %d" % (block["name"], our_attribs, attribs))
    return problems, len(auditor.fixes)


def readable(path):
    if not path or not os.path.exists(path):
        return True
    try:
        ezdxf.readfile(path)
        return True
    except Exception:
        return False


def main():
    if len(sys.argv) != 2:
        print(__doc__)
        return 2
    folder = sys.argv[1]
    listing = os.path.join(folder, "counts.json")
    if not os.path.exists(listing):
        # The corpus test writes it; without the corpus there is nothing to read.
        print("ezdxf_check: skipped: %s is missing (no corpus, or its test did not run)" % listing)
        return 77
    with open(listing, encoding="utf-8") as f:
        entries = json.load(f)

    passed = failed = skipped = 0
    for entry in entries:
        name = entry["source"]
        if entry["acadver"] < 1015:
            skipped += 1
            continue
        try:
            problems, fixes = check(folder, entry)
        except Exception as e:  # any failure to read is the finding ...
            if not readable(entry.get("source_path")):
                # ... unless ezdxf cannot read the drawing we started from either.
                skipped += 1
                print("skip %s: ezdxf cannot read the source drawing either (%s)" % (name, type(e).__name__))
                continue
            problems, fixes = ["ezdxf could not read it: %s: %s" % (type(e).__name__, e)], 0
        if problems:
            failed += 1
            print("FAIL %s" % name)
            for p in problems[:10]:
                print("     %s" % p)
            if len(problems) > 10:
                print("     ... and %d more" % (len(problems) - 10))
        else:
            passed += 1
            print("ok   %s%s" % (name, " (%d auditor fixes)" % fixes if fixes else ""))
    print("ezdxf_check: %d files checked, %d skipped (older than AC1015, or unreadable to ezdxf at the source)"
          % (passed + failed, skipped))
    print("ezdxf: %d passed, %d failed" % (passed, failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
