#!/bin/sh
# Usage: install_test.sh BUILD VERSION cmake|pip
# cmake: installs BUILD into a scratch prefix and builds the usage example against it as another project
#   would: through the CMake package (shared and static library) and through pkg-config.
# pip: builds the Python package from the sources reusing BUILD (no network, no build isolation) as a
#   wheel and into a fresh virtual environment, where the Python usage example runs.
set -eu
build=$(cd "$1" && pwd) version=$2 src=$(cd "$(dirname "$0")/.." && pwd) tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
run() { "$@" >"$tmp/log" 2>&1 || { cat "$tmp/log"; echo "install_test: failed: $*"; exit 1; }; }
drawing=$src/examples/site_plan.dxf example=$src/examples/usage_example.cpp prefix=$tmp/prefix

if [ "$3" = pip ]; then
  unset PYTHONPATH
  export ORMAVEC_BUILD_DIR="$build" PIP_DISABLE_PIP_VERSION_CHECK=1
  # Debian's setuptools and wheel are the build backend, hence the system site packages.
  run /usr/bin/python3 -m venv --system-site-packages "$tmp/venv"
  cd "$src"
  run "$tmp/venv/bin/pip" wheel --no-build-isolation --no-index --no-deps --no-cache-dir -w "$tmp/dist" .
  run "$tmp/venv/bin/pip" install --no-build-isolation --no-index --no-cache-dir .
  cd "$tmp"
  run venv/bin/python -c 'import glob, sys, zipfile, ormavec
names = set(zipfile.ZipFile(glob.glob("dist/ormavec-%s-*.whl" % sys.argv[1])[0]).namelist())
assert {"ormavec/__init__.py", "ormavec/__init__.pyi", "ormavec/py.typed"} <= names and any(n.endswith(".so") for n in names), names
assert ormavec.__file__.startswith(sys.prefix) and ormavec.__version__ == sys.argv[1], ormavec.__file__' "$version"
  run venv/bin/python "$src/examples/usage_example.py" "$drawing" out.dxf
  exit 0
fi

run cmake --install "$build" --prefix "$prefix"
test "$("$prefix/bin/ormavec" --version)" = "ormavec $version"
grep -q "^\.TH ORMAVEC 1 .*$version" "$prefix/share/man/man1/ormavec.1"
mkdir "$tmp/cmake" && cat >"$tmp/cmake/CMakeLists.txt" <<EOF
cmake_minimum_required(VERSION 3.25)
project(consumer CXX)
find_package(Ormavec $version CONFIG REQUIRED)
add_executable(shared $example)
target_link_libraries(shared PRIVATE Ormavec::ormavec)
add_executable(static $example)
target_link_libraries(static PRIVATE Ormavec::ormavec_static)
EOF
run cmake -S "$tmp/cmake" -B "$tmp/cmake/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix"
run cmake --build "$tmp/cmake/build"
pc() { pkg-config --with-path="$(dirname "$(find "$prefix" -name ormavec.pc)")" "$@" ormavec; }
test "$(pc --modversion)" = "$version"
# shellcheck disable=SC2046
run c++ -std=c++20 -o "$tmp/pc" "$example" $(pc --cflags --libs) -Wl,-rpath,"$(pc --variable=libdir)"
for consumer in cmake/build/shared cmake/build/static pc; do run "$tmp/$consumer" "$drawing" "$tmp/out.dxf"; done
ldd "$tmp/cmake/build/shared" | grep -q "$prefix/.*libormavec.so.${version%%.*}"
! ldd "$tmp/cmake/build/static" | grep -q libormavec || { echo "install_test: the static consumer needs libormavec"; exit 1; }
echo "install_test: installed tree, CMake and pkg-config consumers all right"
