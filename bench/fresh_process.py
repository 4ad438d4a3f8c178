#!/usr/bin/env python3
"""Times a drawing load as a user meets it: every run is a new process.

For each drawing it starts, one after the other and REPS times over (the
cases of a round side by side, so that they share the machine's load):
  limit    the plain read loop of ormavec_bench (split into pairs, convert numbers)
  load     ormavec_bench as a program that only calls DXFDocument::Load
  preserve the same with a preserving load (what the Standard path reads)
  info     ormavec info FILE
  convert  ormavec convert FILE OUT (Standard save of the loaded model)
  render   ormavec render FILE OUT.svg (the model space as a picture)
  python   python3 importing the module and loading the file once
and prints the medians of wall, user and system time, minor page faults and
peak RSS (from /usr/bin/time), MB/s and the share of the limit loop's speed. The save
part of convert is its wall time less that of info, over the bytes written,
and render's wall time is also given as a multiple of info's.

    bench/fresh_process.py --build build/perf [--python-path DIR] [--reps 5] FILE...

--idle SECONDS sleeps that long before every run, so that each meets memory
the machine has not just used: a process that loads once after a pause, as
a user's mostly does, pays more for its fresh pages than one of a tight
loop (on a virtual machine the host may have taken back what sat idle).

--limit-bench BIN takes the limit loop from another ormavec_bench (when the
one measured has no limit child yet). Cases whose program is missing are left
out. No figure here is checked against a target: this only reports.
"""
import argparse
import os
import statistics
import subprocess
import tempfile
import time

TIME = "/usr/bin/time"  # Debian package "time"

PYTHON_LOAD = "import sys, ormavec\nd = ormavec.DXFDocument()\nd.Load(sys.argv[1])\n"


def run(argv, env=None):
    """Runs argv once under /usr/bin/time; wall, user and system seconds,
    minor page faults and peak RSS in bytes. The peak and the faults are those
    time reports of its child (the peak of a process counts what the process
    it was forked from held, and time is small); the times come from wait4,
    finer than time's hundredths (time's own share is a fraction of a
    millisecond)."""
    with tempfile.NamedTemporaryFile("r", suffix=".time") as t:
        start = time.perf_counter()
        proc = subprocess.Popen([TIME, "-q", "-o", t.name, "-f", "%R %M"] + argv, env=env,
                                stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
        _, status, usage = os.wait4(proc.pid, 0)
        wall = time.perf_counter() - start
        err = proc.stderr.read().decode(errors="replace")
        proc.stderr.close()
        proc.returncode = os.waitstatus_to_exitcode(status)
        if proc.returncode != 0:
            raise SystemExit(f"{argv[0]} failed ({proc.returncode}): {err.strip()}")
        faults, kib = t.read().split()[-2:]
    return {"wall": wall, "user": usage.ru_utime, "sys": usage.ru_stime, "faults": int(faults), "rss": int(kib) * 1024}


def cases(a, path, out, picture):
    bench = os.path.join(a.build, "ormavec_bench")
    cli = os.path.join(a.build, "ormavec")
    limit_bench = a.limit_bench or bench
    env = dict(os.environ)
    child = ["--benchmark_filter=^BM_Child"]
    found = []
    if os.path.exists(limit_bench):
        found.append(("limit", [limit_bench] + child, dict(env, ORMAVEC_BENCH_CHILD_LIMIT=path)))
    if os.path.exists(bench):
        # The load child writes its peak memory to a descriptor; stdout is /dev/null.
        found.append(("load", [bench] + child, dict(env, ORMAVEC_BENCH_CHILD_LOAD=path, ORMAVEC_BENCH_CHILD_FD="1")))
        found.append(("preserve", [bench] + child,
                      dict(env, ORMAVEC_BENCH_CHILD_LOAD=path, ORMAVEC_BENCH_CHILD_FD="1", ORMAVEC_BENCH_CHILD_PRESERVE="1")))
    if os.path.exists(cli):
        found.append(("info", [cli, "info", path], env))
        found.append(("convert", [cli, "convert", path, out], env))
        found.append(("render", [cli, "render", path, picture], env))
    if a.python_path:
        pyenv = dict(env, PYTHONPATH=a.python_path)
        found.append(("python", [a.python, "-c", PYTHON_LOAD, path], pyenv))
    return found


def main():
    p = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    p.add_argument("files", nargs="+")
    p.add_argument("--build", required=True, help="folder with ormavec_bench and ormavec")
    p.add_argument("--limit-bench", help="ormavec_bench that runs the limit loop")
    p.add_argument("--python-path", help="folder holding the built ormavec module")
    p.add_argument("--python", default="/usr/bin/python3", help="the interpreter the module was built for")
    p.add_argument("--reps", type=int, default=5)
    p.add_argument("--out", help="folder for convert's output (default: beside each input)")
    p.add_argument("--idle", type=float, default=0, help="seconds to sleep before each run")
    a = p.parse_args()

    print(f"load average before: {open('/proc/loadavg').read().split()[:3]}")
    print("| file | case | wall s | user s | sys s | MB/s | of limit | page faults | peak RSS MB | peak/file |")
    print("|---|---|---|---|---|---|---|---|---|---|")
    for path in a.files:
        size = os.path.getsize(path)
        out = os.path.join(a.out or os.path.dirname(os.path.abspath(path)), os.path.basename(path) + ".fresh.dxf")
        picture = out[:-len(".dxf")] + ".svg"
        todo = cases(a, path, out, picture)
        runs = {name: [] for name, _, _ in todo}
        out_size = 0
        for _ in range(a.reps):
            for name, argv, env in todo:
                # A convert or render writes a new file, as users mostly do:
                # replacing a large file adds the freeing of the old one.
                written = {"convert": out, "render": picture}.get(name)
                if written and os.path.exists(written):
                    os.unlink(written)
                if a.idle > 0:
                    time.sleep(a.idle)
                runs[name].append(run(argv, env))
                if name == "convert":
                    out_size = os.path.getsize(out)
        for written in out, picture:
            if os.path.exists(written):
                os.unlink(written)
        med = {name: {k: statistics.median(r[k] for r in rs) for k in rs[0]} for name, rs in runs.items()}
        limit = med.get("limit", {}).get("wall")
        base = os.path.basename(path)
        for name, m in med.items():
            share = f"{limit / m['wall']:.2f}" if limit else "-"
            print(f"| {base} | {name} | {m['wall']:.3f} | {m['user']:.3f} | {m['sys']:.3f} | {size / m['wall'] / 1e6:.0f} | "
                  f"{share} | {m['faults']:.0f} | {m['rss'] / 1e6:.1f} | {m['rss'] / size:.2f} |")
        if "convert" in med and "info" in med and med["convert"]["wall"] > med["info"]["wall"]:
            save = med["convert"]["wall"] - med["info"]["wall"]
            print(f"| {base} | save part of convert | {save:.3f} | | | {out_size / save / 1e6:.0f} (of {out_size / 1e6:.0f} MB written) | | | | |")
        if "render" in med and "info" in med:
            print(f"| {base} | render / info wall | {med['render']['wall'] / med['info']['wall']:.2f} | | | | | | | |")
        if "preserve" in med and "load" in med:
            print(f"| {base} | preserve / load wall | {med['preserve']['wall'] / med['load']['wall']:.2f} | | | | | | | |")
        if "python" in med and "info" in med:
            print(f"| {base} | python / info wall | {med['python']['wall'] / med['info']['wall']:.2f} | | | | | | | |")
    print(f"load average after: {open('/proc/loadavg').read().split()[:3]}")


if __name__ == "__main__":
    main()
