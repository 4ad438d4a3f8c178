#!/bin/sh
# Builds the fuzz targets with clang and runs each for SECONDS (default 60)
# from the seed corpus; fails on the first target that finds a crash.
# Usage: fuzz/run_fuzzers.sh [SECONDS] [target...]
set -eu
seconds=${1:-60}
[ $# -gt 0 ] && shift
root=$(cd "$(dirname "$0")/.." && pwd)
build=${ORMAVEC_FUZZ_BUILD:-$root/build/fuzz}
targets=${*:-"reader_fuzzer load_fuzzer roundtrip_fuzzer"}

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DORMAVEC_FUZZ=ON \
  -DORMAVEC_BUILD_BENCH=OFF -DORMAVEC_BUILD_PYTHON=OFF >/dev/null
# shellcheck disable=SC2086
cmake --build "$build" -j2 --target $targets

# Seeds: the shared corpus when present, plus the saved regression inputs.
seeds=$build/seeds
mkdir -p "$seeds"
if [ -d "$root/../shared/corpus" ]; then
  find "$root/../shared/corpus" -type f \( -iname '*.dxf' \) -size -2M -exec cp -f {} "$seeds/" \;
fi
[ -d "$root/tests/regressions" ] && cp -f "$root"/tests/regressions/* "$seeds/" 2>/dev/null || true

status=0
for t in $targets; do
  corpus=$build/corpus-$t
  mkdir -p "$corpus" "$build/artifacts-$t"
  echo "== $t: $seconds s"
  if ! "$build/$t" "$corpus" "$seeds" -dict="$root/fuzz/dxf.dict" -max_total_time="$seconds" \
       -max_len=65536 -rss_limit_mb=2048 -timeout=25 -print_final_stats=1 \
       -artifact_prefix="$build/artifacts-$t/" >"$build/$t.log" 2>&1; then
    echo "$t found a problem; see $build/$t.log and $build/artifacts-$t/"
    tail -n 40 "$build/$t.log"
    status=1
  fi
  grep -E '^(#[0-9]+\s+DONE|Done [0-9]+ runs|stat::number_of_executed_units)' "$build/$t.log" || true
done
exit $status
