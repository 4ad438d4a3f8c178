#!/usr/bin/env python3
"""Opens the drawings that Ormavec saved with ezdxf, an independent reader,
and checks that it reads them strictly, that its auditor finds no error, and
that it sees the entities we wrote.

    ezdxf_check.py FOLDER [STANDARD_FOLDER]

Each folder holds the saved files and counts.json, written by the corpus
test: one entry per saved file with its $ACADVER and the counts of the model
that was saved. FOLDER holds the Classic saves: only files of version AC1015
or later are checked there, as the older versions have no handles and
subclass markers that ezdxf could rely on. STANDARD_FOLDER holds the Standard
saves of the same drawings: every one of them must be read strictly, audited
without an error and without a fix, and show our entities, unless ezdxf
cannot read the drawing we started from either.

For each mode one line reports how many saved files ezdxf reads strictly and
audits with zero errors and zero fixes; for Classic it is informational.
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


def clean(path):
    """Read strictly, and audited with zero errors and zero fixes."""
    try:
        doc = ezdxf.readfile(path)
        auditor = doc.audit()
    except Exception:
        return False
    return not auditor.errors and not auditor.fixes


def load_entries(folder):
    listing = os.path.join(folder, "counts.json")
    if not os.path.exists(listing):
        return None
    with open(listing, encoding="utf-8") as f:
        return json.load(f)


def clean_count(mode, folder, entries, unreadable_sources):
    n = sum(1 for entry in entries if clean(os.path.join(folder, entry["saved"])))
    print("ezdxf %s: %d of %d saved files read strictly with zero audit errors and zero fixes "
          "(%d not read whose source ezdxf cannot read either)" % (mode, n, len(entries), unreadable_sources))
    return n


def check_standard(folder, entries):
    """Every Standard save must pass in full. Returns the number that failed
    and the number whose source ezdxf cannot read either."""
    failed = unreadable = 0
    for entry in entries:
        try:
            problems, fixes = check(folder, entry)
        except Exception as e:
            if not readable(entry.get("source_path")):
                unreadable += 1
                print("skip standard %s: ezdxf cannot read the source drawing either (%s)"
                      % (entry["source"], type(e).__name__))
                continue
            problems, fixes = ["ezdxf could not read it: %s: %s" % (type(e).__name__, e)], 0
        if fixes:
            problems.append("the auditor made %d fixes" % fixes)
        if problems:
            failed += 1
            print("FAIL standard %s" % entry["source"])
            for p in problems[:10]:
                print("     %s" % p)
    return failed, unreadable


def main():
    if len(sys.argv) not in (2, 3):
        print(__doc__)
        return 2
    folder = sys.argv[1]
    entries = load_entries(folder)
    if entries is None:
        # The corpus test writes it; without the corpus there is nothing to read.
        print("ezdxf_check: skipped: %s is missing (no corpus, or its test did not run)"
              % os.path.join(folder, "counts.json"))
        return 77
    standard_folder = sys.argv[2] if len(sys.argv) == 3 else None
    standard_entries = load_entries(standard_folder) if standard_folder else None
    if standard_folder and standard_entries is None:
        print("ezdxf_check: %s is missing" % os.path.join(standard_folder, "counts.json"))
        return 1

    passed = failed = skipped = skipped_unreadable = 0
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
                skipped_unreadable += 1
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
    clean_count("Classic", folder, entries, skipped_unreadable)
    standard_failed = 0
    if standard_entries is not None:
        standard_failed, unreadable = check_standard(standard_folder, standard_entries)
        n = clean_count("Standard", standard_folder, standard_entries, unreadable)
        if n + unreadable < len(standard_entries):
            standard_failed = max(standard_failed, len(standard_entries) - unreadable - n)
    return 1 if failed or standard_failed else 0


if __name__ == "__main__":
    sys.exit(main())
