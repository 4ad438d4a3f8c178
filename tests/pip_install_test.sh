#!/bin/sh
# pip builds the Python package from the sources, reusing the build $1 (no network, no build
# isolation), as a wheel and into a fresh virtual environment, where the Python usage example
# then runs. $2 is the project version.
set -eu
build=$(cd "$1" && pwd) version=$2
src=$(cd "$(dirname "$0")/.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
run() { "$@" >"$tmp/log" 2>&1 || { cat "$tmp/log"; echo "pip_install_test: failed: $*"; exit 1; }; }
unset PYTHONPATH
export ORMAVEC_BUILD_DIR="$build" PIP_DISABLE_PIP_VERSION_CHECK=1

# Debian's setuptools and wheel are the build backend, hence the system site packages.
run /usr/bin/python3 -m venv --system-site-packages "$tmp/venv"
cd "$src"
run "$tmp/venv/bin/pip" wheel --no-build-isolation --no-index --no-deps --no-cache-dir -w "$tmp/dist" .
run "$tmp/venv/bin/pip" install --no-build-isolation --no-index --no-cache-dir .
cd "$tmp"
venv/bin/python - "$version" dist/ormavec-"$version"-*.whl <<'EOF'
import sys
import zipfile

import ormavec

names = zipfile.ZipFile(sys.argv[2]).namelist()
assert {"ormavec/__init__.py", "ormavec/__init__.pyi", "ormavec/py.typed"} <= set(names), names
assert [n for n in names if n.startswith("ormavec/ormavec.") and n.endswith(".so")], names
assert ormavec.__file__.startswith(sys.prefix), ormavec.__file__
assert ormavec.__version__ == sys.argv[1], ormavec.__version__
EOF
venv/bin/python "$src/examples/usage_example.py" "$src/examples/site_plan.dxf" out.dxf
