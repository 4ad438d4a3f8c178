#!/bin/sh
# Builds the benchmarks (Release), generates the 10/100/500 MB drawings once
# and runs the load/save set on them, printing a table; then the same drawings
# in fresh processes (bench/fresh_process.py), one load per process.
#   BUILD=<dir>      build folder (default build/perf beside this script's tree)
#   SIZES="10 100"   the drawing sizes in MB (default 10 100 500)
#   REPS=5           runs per case; the table shows medians (default 3)
set -eu

src=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-$src/build/perf}
sizes=${SIZES:-10 100 500}
reps=${REPS:-3}
data=$build/bench-data
generator=${GENERATOR:-$src/../shared/bench/gen_dxf.py}

if [ ! -f "$build/build.ninja" ]; then
    cmake -S "$src" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORMAVEC_BUILD_BENCH=ON \
        -DORMAVEC_BUILD_TESTS=OFF -DORMAVEC_BUILD_PYTHON=OFF
fi
cmake --build "$build" -j2 --target ormavec_bench ormavec

mkdir -p "$data"
files=
for mb in $sizes; do
    f=$data/d$mb.dxf
    [ -f "$f" ] || python3 "$generator" "$f" --size "${mb}MB" --seed 1
    files=${files:+$files:}$f
done

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
json=$data/results.json
ORMAVEC_BENCH_DXF=$files ORMAVEC_BENCH_REPS=$reps "$build/ormavec_bench" \
    --benchmark_filter='^BM_(Limit|Load|Save)' --benchmark_out="$json" --benchmark_out_format=json

python3 - "$json" <<'EOF'
import json, sys
rows = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("error_occurred"):
        print("ERROR", b["name"], b.get("error_message"))
        continue
    if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
        continue
    case, file = b["run_name"].split("/")[:2]
    r = rows.setdefault(file, {})
    if case == "BM_LoadPeakMemory":
        r["peak"] = b["peak_MB"]
        r["empty"] = b["empty_process_MB"]
        r["file"] = b["file_MB"]
    elif "bytes_per_second" in b:
        wall = b["bytes_per_second"] / 1e6
        # The same bytes over the CPU time: what an idle machine would show.
        r[case] = (wall, wall * b["real_time"] / b["cpu_time"])
cols = [("BM_LimitRead", "limit read"), ("BM_Load", "Load"), ("BM_LimitWrite", "limit write"), ("BM_Save", "Save")]
print()
print("MB/s: wall-clock (CPU-time) medians; peak RSS of a fresh process that loads the file.")
print("| file | " + " | ".join(f"{t} MB/s" for _, t in cols) + " | Load/limit | peak RSS MB | peak/file | (peak - empty process)/file |")
print("|---" * (len(cols) + 5) + "|")
def num(f):
    return int("".join(c for c in f if c.isdigit()) or 0)
for file in sorted(rows, key=num):
    r = rows[file]
    cells = [f"{r[c][0]:.0f} ({r[c][1]:.0f})" if c in r else "-" for c, _ in cols]
    share = "-"
    if "BM_Load" in r and "BM_LimitRead" in r:
        share = f"{r['BM_Load'][0] / r['BM_LimitRead'][0]:.2f} ({r['BM_Load'][1] / r['BM_LimitRead'][1]:.2f})"
    mem = ["-", "-", "-"]
    if "peak" in r:
        mem = [f"{r['peak']:.0f}", f"{r['peak'] / r['file']:.2f}", f"{(r['peak'] - r['empty']) / r['file']:.2f}"]
    print(f"| {file} | " + " | ".join(cells) + f" | {share} | " + " | ".join(mem) + " |")
EOF

echo
echo "Fresh processes (the Python case when $build/python holds the module):"
pyargs=
[ -d "$build/python" ] && pyargs="--python-path $build/python"
# shellcheck disable=SC2086
python3 "$src/bench/fresh_process.py" --build "$build" --reps "$reps" $pyargs $(echo "$files" | tr ':' ' ')
