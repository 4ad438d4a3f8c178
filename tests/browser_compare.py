#!/usr/bin/env python3
"""Headless Chromium screenshots our SVG of the example and of a few shared
drawings; ezdxf's drawing add-on draws each with matplotlib at the same size.
Both are cut to their ink and scaled to 256 x 256; a drawing fails when more
than 25 % of either's ink lies over 3 pixels from the other's (our 3DFACEs are
filled where ezdxf draws edges, and fonts differ).

    browser_compare.py ORMAVEC OUTDIR DRAWING...   (exit 77: no chromium or matplotlib)
"""
import os, shutil, subprocess, sys
try:
    import numpy as np, matplotlib, ezdxf
    matplotlib.use("Agg")
    from matplotlib import pyplot as plt, image
    from ezdxf.addons.drawing import RenderContext, Frontend, matplotlib as backend, properties
except ImportError as e:
    sys.exit(print("browser_compare: skipped: %s (Debian python3-matplotlib, python3-ezdxf)" % e) or 77)


def ink(png):
    m = image.imread(png)[..., :3].min(axis=2) < 0.85
    ys, xs = np.nonzero(m)
    m = m[ys.min():ys.max() + 1, xs.min():xs.max() + 1]
    iy, ix = (np.arange(256) * m.shape[0] // 256), (np.arange(256) * m.shape[1] // 256)
    return np.logical_or.reduce([m[np.clip(iy + d, 0, m.shape[0] - 1)][:, np.clip(ix + e, 0, m.shape[1] - 1)] for d in (-1, 0, 1) for e in (-1, 0, 1)])


def apart(a, b):  # the share of a's ink farther than 3 pixels from b's
    near = np.logical_or.reduce([np.roll(np.roll(b, d, 0), e, 1) for d in range(-3, 4) for e in range(-3, 4)])
    return (a & ~near).sum() / max(a.sum(), 1)


def main(ormavec, outdir, *drawings):
    if not shutil.which("chromium"):
        return print("browser_compare: skipped: no chromium (Debian package chromium)") or 77
    os.makedirs(outdir, exist_ok=True)
    worst = 0
    for dxf in drawings:
        if not os.path.exists(dxf):  # the shared drawings are not on every machine
            print("browser_compare: skipped: no %s" % dxf)
            continue
        svg, ours, theirs = (os.path.join(outdir, os.path.basename(dxf) + s) for s in (".svg", ".chromium.png", ".ezdxf.png"))
        subprocess.run([ormavec, "render", "--background", "white", "--width", "800", dxf, svg], check=True)
        h = int(open(svg, encoding="utf-8").read(600).split('height="')[1].split('"')[0])
        subprocess.run(["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--hide-scrollbars", "--window-size=800,%d" % h,
                        "--screenshot=" + os.path.abspath(ours), "file://" + os.path.abspath(svg)], check=True, capture_output=True)
        doc, fig = ezdxf.readfile(dxf), plt.figure(figsize=(8, h / 100), dpi=100)
        layout = properties.LayoutProperties.from_layout(doc.modelspace())
        layout.set_colors("#ffffff")
        Frontend(RenderContext(doc), backend.MatplotlibBackend(fig.add_axes([0, 0, 1, 1]))).draw_layout(doc.modelspace(), finalize=True, layout_properties=layout)
        fig.savefig(theirs, dpi=100, facecolor="#ffffff")
        plt.close(fig)
        a, b = ink(ours), ink(theirs)
        worst = max(worst, diff := max(apart(a, b), apart(b, a)))
        print("browser_compare: %5.1f %% of the ink apart: %s" % (100 * diff, os.path.basename(dxf)))
    return 1 if worst > 0.25 else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
