#!/usr/bin/env python3
"""Tests of the ormavec command: exit codes, the one-line errors, help and
version, convert with its options, info as text and as JSON.

    cli_test.py PATH/TO/ormavec
"""

import json
import os
import subprocess
import sys
import tempfile
import unittest

ORMAVEC = None
HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLE = os.path.join(HERE, "..", "examples", "site_plan.dxf")

ENTITY_KEYS = ["ARCS", "CIRCLES", "ELLIPSES", "FACE3DS", "INSERTS", "LINES", "LWPOLYLINES", "MTEXTS",
               "POLYLINES", "POINTS", "TEXTS", "SOLIDS", "ATTDEFS", "ATTRIBS"]
BLOCK_KEYS = ["ARCS", "CIRCLES", "ELLIPSES", "FACE3DS", "INSERTS", "LINES", "LWPOLYLINES", "POLYLINES",
              "POINTS", "TEXTS", "MTEXTS", "HATCHES", "ATTDEFS"]


def run(*args):
    # stdin closed and no terminal: the progress bar must stay silent.
    p = subprocess.run([ORMAVEC, *args], stdin=subprocess.DEVNULL, capture_output=True,
                       env=dict(os.environ, LC_ALL="C.UTF-8"))
    return p.returncode, p.stdout.decode("utf-8"), p.stderr.decode("utf-8", "replace")


class Errors(unittest.TestCase):
    def assertOneLineError(self, code, err, want_code):
        self.assertEqual(code, want_code, err)
        self.assertTrue(err.startswith("ormavec: "), err)
        self.assertTrue(err.endswith("\n"), err)
        self.assertEqual(err.count("\n"), 1, err)

    def test_usage_errors_exit_2(self):
        for args in ([], ["frobnicate"], ["--frob"], ["convert"], ["convert", "a.dxf"], ["convert", "a", "b", "c"],
                     ["info"], ["info", "a", "b"], ["convert", "--codepage", "1251", "a", "b"],
                     ["convert", "--codepage"], ["convert", "--version-mode", "x", "a", "b"],
                     ["convert", "--version-mode", "70000", "a", "b"], ["info", "--call-log", "l", "a"],
                     ["convert", "--json", "a", "b"], ["info", "--bogus", "a"]):
            with self.subTest(args=args):
                code, out, err = run(*args)
                self.assertOneLineError(code, err, 2)
                self.assertEqual(out, "")

    def test_missing_file_exits_1_and_names_it(self):
        with tempfile.TemporaryDirectory() as d:
            missing = os.path.join(d, "nincs.dxf")
            for args in (["info", missing], ["info", "--json", missing], ["convert", missing, os.path.join(d, "o")]):
                with self.subTest(args=args):
                    code, out, err = run(*args)
                    self.assertOneLineError(code, err, 1)
                    self.assertIn(missing, err)
                    self.assertEqual(out, "")
            self.assertFalse(os.path.exists(os.path.join(d, "o")))

    def test_bad_group_code_names_file_and_line(self):
        with tempfile.TemporaryDirectory() as d:
            bad = os.path.join(d, "bad.dxf")
            with open(bad, "wb") as f:
                f.write(b"0\r\nSECTION\r\n2\r\nENTITIES\r\nx\r\nLINE\r\n0\r\nENDSEC\r\n0\r\nEOF\r\n")
            code, out, err = run("info", bad)
            self.assertOneLineError(code, err, 1)
            self.assertIn(bad + ":5", err)

    def test_unwritable_output_exits_1(self):
        code, _, err = run("convert", EXAMPLE, "/nonexistent-folder/out.dxf")
        self.assertOneLineError(code, err, 1)


class HelpAndVersion(unittest.TestCase):
    def test_help(self):
        for args, word in ((["--help"], "convert"), (["-h"], "info"), (["convert", "--help"], "--call-log"),
                           (["info", "-h"], "--json"), (["convert", "a", "--help"], "--codepage")):
            with self.subTest(args=args):
                code, out, err = run(*args)
                self.assertEqual((code, err), (0, ""))
                self.assertTrue(out.startswith("Usage: ormavec"), out)
                self.assertIn(word, out)

    def test_version(self):
        code, out, err = run("--version")
        self.assertEqual((code, err), (0, ""))
        self.assertRegex(out, r"^ormavec \d+\.\d+\.\d+\n$")


class Convert(unittest.TestCase):
    def test_convert_then_info_json(self):
        with tempfile.TemporaryDirectory() as d:
            out_file = os.path.join(d, "kimenet.dxf")
            log = os.path.join(d, "hívások.log")
            code, out, err = run("convert", "--call-log", log, EXAMPLE, out_file)
            self.assertEqual((code, out, err), (0, "", ""))
            with open(out_file, "rb") as f:
                data = f.read()
            self.assertTrue(data.startswith(b"0\r\nSECTION\r\n2\r\nHEADER\r\n"), data[:40])
            self.assertTrue(data.endswith(b"0\r\nEOF\r\n"))
            with open(log, "rb") as f:
                lines = f.read().split(b"\r\n")
            self.assertEqual(lines[0], b'"DXFDocument.Save >>>"')
            self.assertIn(b'"DXFDocument.Save <<<"', lines)

            code, out, err = run("info", "--json", out_file)
            self.assertEqual((code, err), (0, ""))
            info = json.loads(out)
            self.assertEqual(list(info), ["file", "acadver", "header", "extent", "entities", "attribs", "tables",
                                          "blocks"])
            self.assertEqual(info["file"], out_file)
            self.assertEqual(info["acadver"], 1015)
            self.assertEqual(info["header"]["extmin"], [-1, -3, 0])
            self.assertEqual(info["header"]["extmax"], [33, 18.5, 5])
            self.assertEqual(info["header"]["insbase"], [0, 0, 0])
            self.assertEqual(len(info["extent"]), 4)
            self.assertEqual(list(info["entities"]), ENTITY_KEYS)
            e = info["entities"]
            self.assertEqual((e["LINES"], e["INSERTS"], e["POLYLINES"], e["TEXTS"], e["MTEXTS"]), (5, 11, 4, 7, 1))
            self.assertEqual(info["attribs"], 2)
            # Saving adds the layer "0"? It is there already; ByBlock and ByLayer too.
            self.assertEqual(info["tables"], {"LAYERS": 9, "LTYPES": 5, "STYLES": 2})
            names = [b["name"] for b in info["blocks"]]
            self.assertEqual(names, ["*Model_Space", "*Paper_Space", "AJTÓ", "ABLAK", "FA", "ÉSZAK", "CÍMMEZŐ"])
            for b in info["blocks"]:
                self.assertEqual(list(b["entities"]), BLOCK_KEYS)
            self.assertEqual(info["blocks"][2]["entities"]["ARCS"], 1)

    def test_version_mode_reads_hatches_in_blocks(self):
        counts = []
        for mode in ("0", "6"):
            code, out, err = run("info", "--json", "--version-mode", mode, EXAMPLE)
            self.assertEqual((code, err), (0, ""))
            tree = [b for b in json.loads(out)["blocks"] if b["name"] == "FA"][0]
            counts.append(tree["entities"]["HATCHES"])
        self.assertEqual(counts, [0, 1])

    def test_codepage_changes_the_names(self):
        code, out, _ = run("info", "--json", "--codepage=1252", EXAMPLE)
        self.assertEqual(code, 0)
        names = [b["name"] for b in json.loads(out)["blocks"]]
        self.assertIn("CÍMMEZÕ", names)  # byte F5 is o with tilde in 1252

    def test_info_text(self):
        code, out, err = run("info", EXAMPLE)
        self.assertEqual((code, err), (0, ""))
        for word in ("File:", "Version:   AC1015", "$EXTMIN  -1, -3, 0", "Extent:", "LWPOLYLINES",
                     "Attributes held by inserts: 2", "LAYERS 9", "CÍMMEZŐ"):
            self.assertIn(word, out)


# A drawing of the old kind: no handles, no subclass markers, no owners.
R12 = (b"0\r\nSECTION\r\n2\r\nHEADER\r\n9\r\n$ACADVER\r\n1\r\nAC1009\r\n0\r\nENDSEC\r\n"
       b"0\r\nSECTION\r\n2\r\nENTITIES\r\n"
       b"0\r\nLINE\r\n8\r\nWALLS\r\n10\r\n0\r\n20\r\n0\r\n30\r\n0\r\n11\r\n4\r\n21\r\n3\r\n31\r\n0\r\n"
       b"0\r\nPOLYLINE\r\n8\r\n0\r\n66\r\n1\r\n70\r\n1\r\n"
       b"0\r\nVERTEX\r\n8\r\n0\r\n10\r\n0\r\n20\r\n0\r\n"
       b"0\r\nVERTEX\r\n8\r\n0\r\n10\r\n1\r\n20\r\n1\r\n"
       b"0\r\nSEQEND\r\n8\r\n0\r\n0\r\nENDSEC\r\n0\r\nEOF\r\n")


def pairs(data):
    lines = data.decode("ascii").split("\r\n")
    return [(int(lines[i]), lines[i + 1]) for i in range(0, len(lines) - 1, 2)]


class SaveModes(unittest.TestCase):
    def convert(self, *options):
        with tempfile.TemporaryDirectory() as d:
            src, dst = os.path.join(d, "r12.dxf"), os.path.join(d, "out.dxf")
            with open(src, "wb") as f:
                f.write(R12)
            code, out, err = run("convert", *options, src, dst)
            self.assertEqual((code, out, err), (0, "", ""))
            with open(dst, "rb") as f:
                data = f.read()
            if options:
                return data, None
            import ezdxf  # an independent reader, for the default (standard) output only
            doc = ezdxf.readfile(dst)
            auditor = doc.audit()
            return data, (len(auditor.errors), len(auditor.fixes), len(doc.modelspace()))

    def test_default_is_standard(self):
        data, audit = self.convert()
        p = pairs(data)
        self.assertEqual(p[p.index((9, "$ACADVER")) + 1], (1, "AC1015"))
        seed = int(p[p.index((9, "$HANDSEED")) + 1][1], 16)
        body = p[p.index((0, "ENDSEC")):]  # after the header, whose $HANDSEED is a 5 too
        handles = [int(v, 16) for c, v in body if c in (5, 105)]
        self.assertEqual(len(handles), len(set(handles)))
        self.assertGreater(seed, max(handles))
        line = p.index((0, "LINE"))
        self.assertEqual(p[line + 2][0], 330)
        self.assertEqual(audit, (0, 0, 2))

    def test_classic_keeps_the_old_structure(self):
        data, _ = self.convert("--classic")
        p = pairs(data)
        self.assertEqual(p[p.index((9, "$ACADVER")) + 1], (1, "AC1009"))
        self.assertEqual(p[p.index((9, "$HANDSEED")) + 1], (5, "999999"))
        line = p.index((0, "LINE"))
        self.assertEqual([c for c, _ in p[line:line + 3]], [0, 5, 100])
        self.assertEqual(self.convert("--classic", "--utf8")[0], data)  # ASCII: the repair changes nothing

    def test_classic_help(self):
        for command in ("convert", "info"):
            code, out, _ = run(command, "--help")
            self.assertIn("--classic", out)


# One name in each script, as layer, block and text of a drawing.
NAMES = ["Árvíztűrő", "Ελληνικά", "中文图层"]


def drawing(version, encode):
    """A small drawing typed by hand; encode turns a name into its bytes."""
    head = b"0\r\nSECTION\r\n2\r\nHEADER\r\n9\r\n$ACADVER\r\n1\r\n" + version + b"\r\n0\r\nENDSEC\r\n"
    tables = b"0\r\nSECTION\r\n2\r\nTABLES\r\n0\r\nTABLE\r\n2\r\nLAYER\r\n70\r\n3\r\n"
    blocks = b"0\r\nSECTION\r\n2\r\nBLOCKS\r\n"
    entities = b"0\r\nSECTION\r\n2\r\nENTITIES\r\n"
    for n in NAMES:
        e = encode(n)
        tables += b"0\r\nLAYER\r\n2\r\n" + e + b"\r\n70\r\n0\r\n62\r\n7\r\n6\r\nCONTINUOUS\r\n"
        blocks += (b"0\r\nBLOCK\r\n8\r\n0\r\n2\r\n" + e + b"\r\n70\r\n0\r\n10\r\n0\r\n20\r\n0\r\n30\r\n0\r\n3\r\n" + e +
                   b"\r\n0\r\nLINE\r\n8\r\n0\r\n10\r\n0\r\n20\r\n0\r\n30\r\n0\r\n11\r\n1\r\n21\r\n1\r\n31\r\n0\r\n"
                   b"0\r\nENDBLK\r\n8\r\n0\r\n")
        entities += (b"0\r\nTEXT\r\n8\r\n" + e + b"\r\n10\r\n0\r\n20\r\n0\r\n30\r\n0\r\n40\r\n1\r\n1\r\n" + e + b"\r\n"
                     b"0\r\nINSERT\r\n8\r\n" + e + b"\r\n2\r\n" + e + b"\r\n10\r\n0\r\n20\r\n0\r\n30\r\n0\r\n")
    tables += b"0\r\nENDTAB\r\n0\r\nENDSEC\r\n"
    return head + tables + blocks + b"0\r\nENDSEC\r\n" + entities + b"0\r\nENDSEC\r\n0\r\nEOF\r\n"


def escaped_1250(name):
    """The bytes of a code-page drawing: 1250 where it can, \\U+XXXX elsewhere."""
    out = b""
    for ch in name:
        try:
            out += ch.encode("cp1250")
        except UnicodeEncodeError:
            out += b"\\U+%04X" % ord(ch)
    return out


class Scripts(unittest.TestCase):
    """Hungarian, Greek and Chinese names survive the command's defaults in
    UTF-8 and in code-page drawings, and an independent reader sees them."""

    def check(self, source, version, independent=True):
        with tempfile.TemporaryDirectory() as d:
            src, dst = os.path.join(d, "in.dxf"), os.path.join(d, "out.dxf")
            with open(src, "wb") as f:
                f.write(source)
            code, out, err = run("info", "--json", src)
            self.assertEqual((code, err), (0, ""))
            self.assertEqual(sorted(b["name"] for b in json.loads(out)["blocks"]), sorted(NAMES))
            self.assertEqual(run("convert", src, dst), (0, "", ""))
            code, out, _ = run("info", "--json", dst)
            self.assertEqual(json.loads(out)["acadver"], version)
            self.assertEqual(sorted(b["name"] for b in json.loads(out)["blocks"] if not b["name"].startswith("*")),
                             sorted(NAMES))
            with open(dst, "rb") as f:
                saved = f.read()
            if not independent:
                return saved
            import ezdxf
            doc = ezdxf.readfile(dst)
            self.assertEqual(sorted(t.dxf.text for t in doc.modelspace().query("TEXT")), sorted(NAMES))
            self.assertEqual(sorted(i.dxf.name for i in doc.modelspace().query("INSERT")), sorted(NAMES))
            auditor = doc.audit()
            self.assertEqual((len(auditor.errors), len(auditor.fixes)), (0, 0))
            return saved

    def test_utf8_drawing(self):
        saved = self.check(drawing(b"AC1021", lambda n: n.encode("utf-8")), 1021)
        for n in NAMES:
            self.assertIn(b"\r\n" + n.encode("utf-8") + b"\r\n", saved)

    def test_code_page_drawing(self):
        # The independent reader refuses a backslash in a layer name, escape
        # or not; our own reload and the bytes are checked instead.
        saved = self.check(drawing(b"AC1015", escaped_1250), 1015, independent=False)
        for n in NAMES:
            self.assertIn(b"\r\n" + escaped_1250(n) + b"\r\n", saved)

    def test_classic_reading_keeps_bytes_not_characters(self):
        with tempfile.TemporaryDirectory() as d:
            src = os.path.join(d, "in.dxf")
            with open(src, "wb") as f:
                f.write(drawing(b"AC1021", lambda n: n.encode("utf-8")))
            code, out, _ = run("info", "--json", "--classic", src)
            self.assertEqual(code, 0)
            names = [b["name"] for b in json.loads(out)["blocks"]]
            self.assertEqual(len(names), 3)
            self.assertFalse(set(names) & set(NAMES))


if __name__ == "__main__":
    ORMAVEC = sys.argv.pop(1)
    unittest.main(verbosity=2)
