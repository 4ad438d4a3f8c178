#!/usr/bin/env bash
# Builds and tests Ormavec twice: the optimised build and the build with
# AddressSanitizer and UndefinedBehaviorSanitizer. Exits non-zero on the
# first failure. Two build jobs at a time, as the machines have two cores.
set -euo pipefail
cd "$(dirname "$0")/.."

jobs="${ORMAVEC_JOBS:-2}"

.ci/install-deps

for preset in release asan; do
  echo "== ${preset}: configure, build, test"
  cmake --preset "${preset}"
  cmake --build --preset "${preset}" -j "${jobs}"
  ctest --preset "${preset}" -j "${jobs}"
done
echo "== all tests passed (release and asan)"
