#!/usr/bin/env python3
"""The ormavec command: one table of (arguments, exit code, pattern of the
output), run in order, as later rows read what earlier ones wrote. A failure
is one line on standard error and nothing on standard output; success writes
nothing on standard error (no progress bar without a terminal).

    cli_test.py PATH/TO/ormavec
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

EX = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "examples", "site_plan.dxf")
ROWS = [
    ("", 2, "no command"), ("frobnicate", 2, "unknown command 'frobnicate'"), ("--frob", 2, "unknown option '--frob'"),
    ("convert {ex}", 2, "convert needs an input and an output"), ("info {ex} {ex}", 2, "info needs exactly one"),
    ("convert --codepage ANSI_1299 a b", 2, "'ANSI_1299'; accepted: ANSI_874.*DOS866.*or the number alone"),
    ("convert --codepage", 2, "--codepage needs a value"),
    ("info --version-mode 70000 a", 2, "integer from -32768"), ("convert --call-log= a b", 2, "needs a file name"),
    ("info --call-log l a", 2, "unknown option '--call-log' for 'info'"), ("info --utf8=1 a", 2, "--utf8 takes no value"),
    ("info {d}/nincs.dxf", 1, "nincs.dxf"),
    ("convert {d}/nincs.dxf {d}/o.dxf", 1, "nincs.dxf"), ("info {d}/bad.dxf", 1, "bad.dxf:5"),
    ("convert {ex} /nonexistent-folder/out.dxf", 1, ""), ("--help", 0, "^Usage: ormavec COMMAND.*convert IN OUT"),
    ("help", 0, "^Usage: ormavec COMMAND"), ("info -h", 0, "^Usage: ormavec info .*--json"),
    ("convert a --help", 0, "^Usage: ormavec convert .*--call-log"), ("--version", 0, r"^ormavec \d+\.\d+\.\d+\n$"),
    ("info {ex}", 0, "Version:   AC1015\n.*EXTMIN  -1, -3, 0.*LWPOLYLINES.*inserts: 2\nTables:    LAYERS 9.*CÍMMEZŐ"),
    ("info --json {ex}", 0, '"name":"FA","entities":{[^}]*"HATCHES":0'),
    ("info --json --version-mode 6 {ex}", 0, '"name":"FA","entities":{[^}]*"HATCHES":1'),
    ("info --json --codepage=1252 {ex}", 0, "CÍMMEZÕ"),  # byte F5 is o with tilde in 1252
    ("convert --call-log {d}/log.txt {ex} {d}/out.dxf", 0, "^$"),
    ("info --json {d}/out.dxf", 0, r'^{"file":".*out.dxf","acadver":1015,"codepage":{"declared":"ANSI_1250","used":"ANSI_1250"},'
     r'"header":{"extmin":\[-1,-3,0\],"extmax":\[33,18.5,5\],'
     r'"insbase":\[0,0,0\]},"extent":\[[^]]+\],"entities":{"ARCS":\d+,.*"INSERTS":11,"LINES":5,"LWPOLYLINES":\d+,"MTEXTS":1,'
     r'"POLYLINES":4,"POINTS":\d+,"TEXTS":7,.*"attribs":2,"tables":{"LAYERS":9,"LTYPES":5,"STYLES":2},"blocks":\[{"name":'
     r'"\*Model_Space",.*"\*Paper_Space".*"AJTÓ".*"ABLAK".*"FA".*"ÉSZAK".*"CÍMMEZŐ"'),
    ("convert {d}/r12.dxf {d}/standard.dxf", 0, "^$"), ("info --json {d}/standard.dxf", 0, '"acadver":1015'),
    ("convert --classic --utf8 -- {d}/r12.dxf {d}/classic.dxf", 0, "^$"), ("info --json {d}/classic.dxf", 0, '"acadver":1009'),
    ("info --json {d}/utf8.dxf", 0, '"Árvíztűrő".*"Ελληνικά".*"中文图层"'), ("info --json --classic {d}/utf8.dxf", 0, "^(?!.*Ελληνικά)"),
]


def dxf(version):
    """A drawing typed by hand in UTF-8, with a block named in each script unless it is of version AC1009."""
    names = "" if version == "AC1009" else "Árvíztűrő Ελληνικά 中文图层"
    pairs = ("0 SECTION 2 HEADER 9 $ACADVER 1 %s 0 ENDSEC 0 SECTION 2 BLOCKS " % version + "".join(
        "0 BLOCK 8 0 2 %s 70 0 0 ENDBLK " % n for n in names.split()) + "0 ENDSEC 0 SECTION 2 ENTITIES 0 LINE 8 0 11 4 0 ENDSEC 0 EOF")
    return b"".join(p.encode() + b"\r\n" for p in pairs.split())


def main(ormavec):
    failures = 0
    with tempfile.TemporaryDirectory() as d:
        for name, data in (("r12", dxf("AC1009")), ("utf8", dxf("AC1021")), ("bad", b"0\r\nSECTION\r\n2\r\nENTITIES\r\nx\r\nLINE\r\n0\r\nEOF\r\n")):
            pathlib.Path(d, name + ".dxf").write_bytes(data)
        for args, want, pattern in ROWS:
            argv = [a.format(ex=EX, d=d) for a in args.split()]
            p = subprocess.run([ormavec, *argv], stdin=subprocess.DEVNULL, capture_output=True, env=dict(os.environ, LC_ALL="C.UTF-8"))
            out, err = p.stdout.decode(), p.stderr.decode("utf-8", "replace")
            ok = p.returncode == want and re.search(pattern, out if want == 0 else err, re.S)
            ok = ok and (err == "" if want == 0 else out == "" and re.fullmatch("ormavec: [^\n]*\n", err))
            if not ok or (want == 0 and "--json" in argv and not json.loads(out)):
                failures += 1
                print("FAIL ormavec %s: exit %d\n%s%s" % (" ".join(argv), p.returncode, out, err))
    print("cli_test: %d rows, %d failures" % (len(ROWS), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
