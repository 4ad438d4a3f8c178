#!/usr/bin/env python3
"""The ormavec command: one table of (arguments, exit code, pattern of the
output), run in order, as later rows read what earlier ones wrote. A failure
is one line on standard error and nothing on standard output; success writes
nothing on standard error but warnings (no progress bar without a terminal).
"<FILE" as an argument feeds FILE through a pipe on standard input. Then a save killed part-way must leave no temporary file.

    cli_test.py PATH/TO/ormavec
"""
import json
import os
import pathlib
import re
import shutil
import signal
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
    ("convert --classic {d}/hatch.dxf {d}/c.dxf", 0, "^ormavec: warning: not kept: 1 HATCH, 1 SPLINE, 2 header variables\n$"),
    ("convert {d}/hatch.dxf -", 0, r"^ *0\r\nSECTION\r\n *2\r\nHEADER\r\n.*\$INSUNITS\r\n *70\r\n4\r\n *9\r\n\$MEASUREMENT\r\n *70\r\n1\r\n"
     r".*\r\nSPLINE\r\n.*\r\nLINE\r\n.*\r\nHATCH\r\n.*\r\n *2\r\nSOLID\r\n.*EOF\r\n$"),
    ("info --json {d}/out.dxf", 0, r'^{"file":".*out.dxf","acadver":1015,"codepage":{"declared":"ANSI_1250","used":"ANSI_1250"},'
     r'"header":{"extmin":\[-1,-3,0\],"extmax":\[33,18.5,5\],'
     r'"insbase":\[0,0,0\]},"extent":\[[^]]+\],"entities":{"ARCS":\d+,.*"INSERTS":11,"LINES":5,"LWPOLYLINES":\d+,"MTEXTS":1,'
     r'"POLYLINES":4,"POINTS":\d+,"TEXTS":7,.*"attribs":2,"tables":{"LAYERS":9,"LTYPES":5,"STYLES":2},"blocks":\[{"name":'
     r'"\*Model_Space",.*"\*Paper_Space".*"AJTÓ".*"ABLAK".*"FA".*"ÉSZAK".*"CÍMMEZŐ"'),
    ("convert {d}/r12.dxf {d}/standard.dxf", 0, "^$"), ("info --json {d}/standard.dxf", 0, '"acadver":1015'),
    ("convert --classic --utf8 -- {d}/r12.dxf {d}/classic.dxf", 0, "^$"), ("info --json {d}/classic.dxf", 0, '"acadver":1009'),
    ("info --json {d}/utf8.dxf", 0, '"Árvíztűrő".*"Ελληνικά".*"中文图层"'), ("info --json --classic {d}/utf8.dxf", 0, "^(?!.*Ελληνικά)"),
    ("info {d}/empty.dxf", 1, "empty.dxf is empty"), ("info {d}/a.dwg", 1, r"a.dwg looks like a DWG drawing \(AC1032\)"),
    ("info {d}/bin.dxf", 1, r"bin.dxf: byte 50: the number of group code 10 is cut off \(8 bytes needed, 3 left\)"),
    ("convert --binary {ex} {d}/b.dxf", 0, "^$"), ("info --json {d}/b.dxf", 0, r'"acadver":1015,.*"INSERTS":11,"LINES":5,.*"TEXTS":7,'),
    ("info {d}/junk.dxf", 1, r'junk.dxf is not a DXF file \(its first line is "\\x00\\x1B\[31m\\xFF\\xC3(\\x[0-9A-F]{{2}})?\\x0D\\x0Dxxx+\.\.\."'),
    ("info {d}/cut.dxf", 0, "LINES        1.*warning: [^\n]*cut.dxf:26: the drawing ends inside the ENTITIES section"),
    ("info --strict {d}/cut.dxf", 1, "cut.dxf:26: the drawing ends inside the ENTITIES section"),
    ("convert --strict {d}/noeof.dxf {d}/x.dxf", 1, "noeof.dxf:28: the drawing ends without EOF"), ("info {d}/x.dxf", 1, "x.dxf"),
    ("info {d}/damaged.dxf", 1, r'damaged.dxf:9: invalid group code ""'),
    ("info --json --recover {d}/damaged.dxf", 0, r'"extent":\[0,-2,1.5,0\].*"LINES":1,.*damaged.dxf:9: blank line where a group code'
     r'[^\n]*\n[^\n]*damaged.dxf:10: group code " 1 0" read as 10\n[^\n]*damaged.dxf:11: number "1,5" read as 1.5\n'
     r'[^\n]*damaged.dxf:13: number "- 2" read as -2\n$'),
    ("info --recover --strict {d}/damaged.dxf", 1, r"damaged.dxf:9: blank line .* \(and 3 more warnings\)"),
    ("info --json - <{ex}", 0, '"file":"-".*"INSERTS":11'), ("info --json /dev/stdin <{ex}", 0, r'"file":"/dev/stdin".*"INSERTS":11'),
    ("convert {d}/r12.dxf -", 0, "^0\r\nSECTION\r\n2\r\nHEADER\r\n"), ("convert {ex} /dev/full", 1, "Disk full: /dev/full"),
    ("convert {ex} {d}/link.dxf", 0, "^$"), ("info --json {d}/target.dxf", 0, '"acadver":1015'),
]


def dxf(version):
    """A drawing typed by hand in UTF-8, with a block named in each script unless it is of version AC1009."""
    names = "" if version == "AC1009" else "Árvíztűrő Ελληνικά 中文图层"
    pairs = ("0 SECTION 2 HEADER 9 $ACADVER 1 %s 0 ENDSEC 0 SECTION 2 BLOCKS " % version + "".join(
        "0 BLOCK 8 0 2 %s 70 0 0 ENDBLK " % n for n in names.split()) + "0 ENDSEC 0 SECTION 2 ENTITIES 0 LINE 8 0 11 4 0 ENDSEC 0 EOF")
    return b"".join(p.encode() + b"\r\n" for p in pairs.split())


def run(ormavec, argv):
    """An argument "<FILE" sends FILE through a pipe on standard input."""
    feed = [pathlib.Path(a[1:]).read_bytes() for a in argv if a.startswith("<")]
    argv = [a for a in argv if not a.startswith("<")]
    return subprocess.run([ormavec, *argv], input=feed[0] if feed else b"", capture_output=True, env=dict(os.environ, LC_ALL="C.UTF-8"))


def killed_save_leaves_nothing(ormavec, d):
    """SIGTERM while a large save writes its temporary file: the process ends by the signal and the file is gone."""
    big = pathlib.Path(d, "big.dxf")
    big.write_bytes(b"0\r\nSECTION\r\n2\r\nENTITIES\r\n" + b"0\r\nLINE\r\n8\r\n0\r\n10\r\n1.25\r\n20\r\n2.5\r\n11\r\n3.75\r\n21\r\n5\r\n" * 600000
                    + b"0\r\nENDSEC\r\n0\r\nEOF\r\n")
    out = pathlib.Path(d, "kill")
    out.mkdir()
    for _ in range(5):  # a save too quick to be caught is tried again
        p = subprocess.Popen([ormavec, "convert", str(big), str(out / "big2.dxf")], stderr=subprocess.DEVNULL)
        while p.poll() is None and not any(n.startswith(".big2.dxf.") for n in os.listdir(out)):
            pass
        if p.poll() is None:
            p.send_signal(signal.SIGTERM)
            code, left = p.wait(), os.listdir(out)
            return code == -signal.SIGTERM and not left or print("FAIL kill: exit %d, left %s" % (code, left))
        p.wait()
        shutil.rmtree(out)
        out.mkdir()
    return print("FAIL kill: the save never seen part-way")


def main(ormavec):
    failures = 0
    cut = dxf("AC1009").split(b"0\r\nENDSEC\r\n0\r\nEOF")[0]
    with tempfile.TemporaryDirectory() as d:
        for name, data in (("r12", dxf("AC1009")), ("utf8", dxf("AC1021")), ("bad", b"0\r\nSECTION\r\n2\r\nENTITIES\r\nx\r\nLINE\r\n0\r\nEOF\r\n"),
                           ("empty", b""), ("a.dwg", b"AC1032\0\0\0\0\0\x1f\x02"), ("bin", b"AutoCAD Binary DXF\r\n\x1a\0\0\0SECTION\0\2\0ENTITIES\0\0\0LINE\0\x0a\0\0\0\0"),
                           ("junk", b"\0\x1b[31m\xff\xc3\r\r" + b"x" * 60 + b"\n"), ("cut", cut), ("noeof", cut + b"0\r\nENDSEC\r\n"),
                           ("damaged", b"0\nSECTION\n2\nENTITIES\n0\nLINE\n8\n0\n\n 1 0\n1,5\n20\n- 2\n0\nENDSEC\n0\nEOF\n"),
                           ("target", b"old\n"), ("hatch", b"".join(p.encode() + b"\r\n" for p in (
                               "0 SECTION 2 HEADER 9 $ACADVER 1 AC1015 9 $INSUNITS 70 4 9 $MEASUREMENT 70 1 0 ENDSEC 0 SECTION 2 ENTITIES "
                               "0 SPLINE 8 0 70 8 71 3 72 0 73 0 0 LINE 8 0 11 4 0 HATCH 8 0 2 SOLID 70 1 91 0 0 ENDSEC 0 EOF").split()))):
            pathlib.Path(d, name if "." in name else name + ".dxf").write_bytes(data)
        os.chmod(os.path.join(d, "target.dxf"), 0o640)
        os.symlink("target.dxf", os.path.join(d, "link.dxf"))
        for args, want, pattern in ROWS:
            argv = [a.format(ex=EX, d=d) for a in args.split()]
            p = run(ormavec, argv)
            out, err = p.stdout.decode("utf-8", "replace"), p.stderr.decode("utf-8", "replace")
            ok = p.returncode == want and re.search(pattern, out + err if want == 0 else err, re.S)
            ok = ok and (re.fullmatch("(ormavec: warning: [^\n]*\n)*", err) if want == 0 else out == "" and re.fullmatch("ormavec: [^\n]*\n", err))
            if not ok or (want == 0 and "--json" in argv and not json.loads(out)):
                failures += 1
                print("FAIL ormavec %s: exit %d\n%s%s" % (" ".join(filter(None, argv)), p.returncode, out, err))
        # The link stays a link; its target was replaced with its permissions kept.
        if not os.path.islink(os.path.join(d, "link.dxf")) or os.stat(os.path.join(d, "target.dxf")).st_mode & 0o777 != 0o640:
            failures += 1
            print("FAIL the save through link.dxf replaced the link or lost the permissions of its target")
        failures += not killed_save_leaves_nothing(ormavec, d)
    print("cli_test: %d rows, %d failures" % (len(ROWS), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
