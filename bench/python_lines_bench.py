#!/usr/bin/env python3
"""Times, from Python, a load of a drawing and a walk over all its LINEs
summing their lengths, and prints both so that the walk can be set beside
the load.

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_lines_bench.py DRAWING.dxf [RUNS]
"""
import math
import statistics
import sys
import time

import ormavec


def main():
    path = sys.argv[1]
    runs = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    loads, walks = [], []
    for _ in range(runs):
        doc = ormavec.DXFDocument()
        t0 = time.perf_counter()
        doc.Load(path)
        t1 = time.perf_counter()
        total = 0.0
        for line in doc.ENTITIES.LINES:
            total += math.hypot(line.EndX - line.StartX, line.EndY - line.StartY, line.EndZ - line.StartZ)
        t2 = time.perf_counter()
        loads.append(t1 - t0)
        walks.append(t2 - t1)
        count = doc.ENTITIES.LINES.Count
    load, walk = statistics.median(loads), statistics.median(walks)
    print(f"lines: {count}, total length {total:.3f}")
    print(f"load: {load:.3f} s   walk and sum: {walk:.3f} s   ({walk / load:.2f} x the load, "
          f"{walk / max(count, 1) * 1e9:.0f} ns per line)")


if __name__ == "__main__":
    main()
