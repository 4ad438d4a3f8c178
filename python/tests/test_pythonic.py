import copy
import errno
import os
import pathlib
import pickle
import re
import shutil
import subprocess
import sys

import pytest
from hypothesis import given, strategies as st

import ormavec

ROOT = pathlib.Path(__file__).resolve().parents[2]
RECORDS = [c for c in vars(ormavec).values() if isinstance(c, type) and hasattr(c, "__match_args__")]
VALUES = {bool: st.booleans(), int: st.integers(-2**31, 2**31 - 1), float: st.floats(allow_nan=False), str: st.text()}


def test_the_readme_script_runs_and_its_types_check(tmp_path):
    script = re.search(r"## Using it from Python.*?```python\n(.*?)```", (ROOT / "README.md").read_text("utf-8"), re.S).group(1)
    (tmp_path / "newcomer.py").write_text(script, encoding="utf-8")
    (tmp_path / "examples").symlink_to(ROOT / "examples")
    (tmp_path / "build").mkdir()
    env = dict(os.environ, PYTHONPATH=os.pathsep.join(sys.path))
    run = subprocess.run([sys.executable, "newcomer.py"], cwd=tmp_path, env=env, capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    stubs = pathlib.Path(ormavec.__file__).with_suffix("").with_suffix(".pyi")
    if not shutil.which("mypy"):
        pytest.skip("mypy is missing")
    env["MYPYPATH"] = str(stubs.parent)
    for target in "newcomer.py", str(stubs):  # errors in a stub found by path are not reported with the script
        check = subprocess.run(["mypy", "--strict", "--no-incremental", target], cwd=tmp_path, env=env, capture_output=True, text=True)
        assert check.returncode == 0, check.stdout


@given(st.sampled_from(RECORDS), st.data())
def test_records_are_values(cls, data):
    bare = cls()
    want = {n: data.draw(VALUES[type(getattr(bare, n))]) for n in cls.__match_args__ if type(getattr(bare, n)) in VALUES}
    record = cls(**want)
    assert all(getattr(record, n) == v and n + "=" in repr(record) for n, v in want.items())
    for twin in copy.copy(record), copy.deepcopy(record), pickle.loads(pickle.dumps(record)):
        assert twin == record and not twin != record
    if want:
        name = next(iter(want))
        assert cls(**{**want, name: data.draw(VALUES[type(want[name])].filter(lambda v: v != want[name]))}) != record
    for bad in lambda: cls(NoSuchField=1), lambda: hash(record):
        with pytest.raises(TypeError):
            bad()


def test_nested_values_shared_collections_and_errors(tmp_path):
    doc, poly, block = ormavec.DXFDocument(), ormavec.LWPOLYLINE_ENT(POINTS=[ormavec.LWVERTEX(X=1.0)]), ormavec.BLOCK_BLOCK()
    doc.HEADER.ExtMin.X = 99.0
    for change in lambda: poly.POINTS.append(ormavec.LWVERTEX()), lambda: setattr(poly.POINTS[0], "X", 5.0):
        with pytest.raises(AttributeError):  # a copy that cannot change rather than a change that is lost
            change()
    assert pickle.loads(pickle.dumps(poly.POINTS[0])) == copy.copy(poly.POINTS[0]) == poly.POINTS[0]
    block.LINES.append(ormavec.LINE_ENT(StartX=2.0))
    deep, shallow, restored = copy.deepcopy(block), copy.copy(block), pickle.loads(pickle.dumps(block))
    block.LINES.append(ormavec.LINE_ENT())
    assert doc.HEADER.ExtMin.X == 99.0 and poly.POINTS == (ormavec.LWVERTEX(X=1.0),)
    assert len(shallow.LINES) == 2 and len(deep.LINES) == len(restored.LINES) == 1 and deep == restored != block
    ormavec.set_thread_version_mode(6)
    assert (ormavec.thread_version_mode(), ormavec.DXFDocument().VersionMode) == (6, 6)
    ormavec.set_thread_version_mode(0)
    with pytest.raises(ormavec.FileNotFoundError) as info:
        doc.Load(tmp_path / "missing.dxf")
    assert (info.value.errno, info.value.filename, info.value.number) == (errno.ENOENT, str(tmp_path / "missing.dxf"), 53)
    (tmp_path / "cut.dxf").write_bytes(b"0\nSECTION\n2\nENTITIES\n0\nLINE\n10\n1,5\n")
    assert "EOF" in " ".join(ormavec.load(tmp_path / "cut.dxf", Recover=True).Warnings)
    (tmp_path / "binary.dxf").write_bytes(bytes(range(256)) * 4)
    for call, kind in ((lambda: ormavec.load(tmp_path / "binary.dxf"), ormavec.Error), (lambda: ormavec.load("x", Nope=1), TypeError),
                       (lambda: ormavec.load(tmp_path / "cut.dxf"), ormavec.ConversionError),
                       (lambda: ormavec.LINES().Item(0), ormavec.InvalidArgumentError)):
        with pytest.raises(kind):
            call()
