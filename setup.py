"""Builds the Python module with the project's CMake build and packs it with its type stubs.

ORMAVEC_BUILD_DIR names a configured build to reuse (e.g. build/release); without it the
module is built in build/python.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(Ormavec VERSION ([0-9.]+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(os.environ.get("ORMAVEC_BUILD_DIR", ROOT / "build" / "python")).resolve()
        if not (build / "CMakeCache.txt").exists():
            subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                            "-DORMAVEC_BUILD_TESTS=OFF", "-DORMAVEC_BUILD_BENCH=OFF",
                            f"-DPython_EXECUTABLE={sys.executable}"], check=True)
        jobs = os.environ.get("ORMAVEC_JOBS", "2")
        subprocess.run(["cmake", "--build", str(build), "--target", "ormavec_python", "-j", jobs], check=True)
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        built = build / "python" / target.name
        if not built.exists():
            sys.exit(f"{build} has no {target.name}: pybind11-dev missing, or built for another Python?")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built, target)
        shutil.copyfile(build / "python" / "ormavec.pyi", target.parent / "__init__.pyi")


(ROOT / "build").mkdir(exist_ok=True)
setup(
    version=VERSION,
    packages=["ormavec"],
    package_dir={"ormavec": "python/ormavec"},
    package_data={"ormavec": ["py.typed"]},
    ext_modules=[Extension("ormavec.ormavec", sources=[])],
    cmdclass={"build_ext": CMakeBuild},
    options={"egg_info": {"egg_base": "build"}, "build": {"build_base": "build/setuptools"}},
    zip_safe=False,
)
