#!/usr/bin/env python3
"""Drawings that ezdxf writes in one code page each: the default convert
(detected encoding, standard output) keeps their text, which ezdxf reads back
from our file; the file declares the page, and converting it again gives the
same bytes. Then the corpus drawing that declares ANSI_1252 but holds UTF-8.

    codepage_check.py PATH/TO/ormavec     (exit 77: no ezdxf)
"""
import json
import os
import subprocess
import sys
import tempfile

try:
    import ezdxf
except ImportError:
    print("codepage_check: skipped: no ezdxf (Debian package python3-ezdxf)")
    sys.exit(77)

# Declared page, Python codec, text. Trail bytes 0x5C (a backslash) in 932
# and 950; the euro sign is missing from some pages and travels as an escape
# (which ezdxf leaves to its caller; Python's gbk lacks the euro of 936).
PAGES = [("ANSI_1251", "cp1251", "Привет, мир €"), ("ANSI_1253", "cp1253", "Καλημέρα ΆΩ"),
         ("ANSI_932", "cp932", "表示テスト ソ能 €"), ("ANSI_936", "gbk", "中文测试"), ("ANSI_949", "cp949", "한국어 텍스트 €"),
         ("ANSI_950", "cp950", "繁體中文 許功蓋 €"), ("DOS866", "cp866", "Тест ёЁ €")]
CORPUS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "shared", "corpus", "gen-gdal", "geojson_layers.dxf")


def run(*args):
    return subprocess.run([sys.argv[1], *args], check=True, capture_output=True).stdout


def texts(path, encoding=None):
    doc = ezdxf.readfile(path, encoding=encoding)
    msp = doc.modelspace()
    return doc.header["$DWGCODEPAGE"], [ezdxf.decode_dxf_unicode(e.dxf.text) for e in msp.query("TEXT")], \
        [ezdxf.decode_dxf_unicode(e.text) for e in msp.query("MTEXT")], \
        {layer.dxf.name for layer in doc.layers}


def main():
    failed = []
    d = tempfile.mkdtemp()
    for page, codec, text in PAGES:
        source, once, twice = (os.path.join(d, page + suffix) for suffix in (".dxf", "_1.dxf", "_2.dxf"))
        doc = ezdxf.new("R2000")
        doc.encoding = codec
        doc.layers.add(text.split()[0])
        doc.modelspace().add_text(text, dxfattribs={"layer": text.split()[0]})
        doc.modelspace().add_mtext(text + "\\P" + text[::-1])
        doc.saveas(source, encoding=codec)
        if page.startswith("DOS"):  # ezdxf names Windows pages only
            with open(source, "rb") as f:
                data = f.read().replace(b"\n  3\nANSI_1252\n", b"\n  3\n%s\n" % page.encode())
            with open(source, "wb") as f:
                f.write(data)
        run("convert", source, once)
        run("convert", once, twice)
        with open(once, "rb") as a, open(twice, "rb") as b:
            if a.read() != b.read():
                failed.append("%s: the second convert differs" % page)
        expected = (page, [text], [text + "\\P" + text[::-1]])
        got = texts(once, codec if page.startswith("DOS") else None)
        if got[:3] != expected or text.split()[0] not in got[3]:
            failed.append("%s: ezdxf reads %s" % (page, got))
        info = json.loads(run("info", "--json", source))["codepage"]
        if info != {"declared": page, "used": page}:
            failed.append("%s: info %s" % (page, info))
    if os.path.exists(CORPUS):
        out = os.path.join(d, "geojson.dxf")
        run("convert", CORPUS, out)
        info = json.loads(run("info", "--json", CORPUS))["codepage"]
        layers = texts(out, "utf-8")[3]  # saved as read, and declared so
        if info != {"declared": "ANSI_1252", "used": "UTF-8"} or not {"Utak_őű", "Épületek"} <= layers:
            failed.append("geojson_layers: %s %s" % (info, layers))
    for line in failed:
        print("FAIL", line)
    print("codepage_check: %d drawings, %d failed" % (len(PAGES), len(failed)))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
