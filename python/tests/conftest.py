import os
import pathlib

import pytest

SOURCE_DIR = pathlib.Path(os.environ.get("ORMAVEC_SOURCE_DIR", pathlib.Path(__file__).resolve().parents[2]))


@pytest.fixture
def example_path():
    return SOURCE_DIR / "examples" / "site_plan.dxf"


def write_dxf(path, body_pairs):
    """Writes group pairs (code, value) as a drawing file with CR LF line ends."""
    lines = []
    for code, value in body_pairs:
        lines.append(str(code))
        lines.append(str(value))
    path.write_bytes(("\r\n".join(lines) + "\r\n").encode("cp1250"))
    return path


@pytest.fixture
def small_drawing(tmp_path):
    pairs = [
        (0, "SECTION"), (2, "HEADER"), (9, "$ACADVER"), (1, "AC1015"),
        (9, "$EXTMIN"), (10, 0.0), (20, 0.0), (30, 0.0),
        (9, "$EXTMAX"), (10, 10.0), (20, 5.0), (30, 0.0), (0, "ENDSEC"),
        (0, "SECTION"), (2, "TABLES"),
        (0, "TABLE"), (2, "LAYER"), (70, 2),
        (0, "LAYER"), (2, "Falak"), (62, 3), (6, "Continuous"), (70, 0),
        (0, "LAYER"), (2, "Kör"), (62, 5), (6, "Continuous"), (70, 0),
        (0, "ENDTAB"), (0, "ENDSEC"),
        (0, "SECTION"), (2, "BLOCKS"),
        (0, "BLOCK"), (8, "0"), (2, "Ajtó"), (70, 0), (10, 0.0), (20, 0.0), (30, 0.0), (3, "Ajtó"), (1, ""),
        (0, "LINE"), (8, "0"), (10, 0.0), (20, 0.0), (30, 0.0), (11, 1.0), (21, 0.0), (31, 0.0),
        (0, "ENDBLK"), (0, "ENDSEC"),
        (0, "SECTION"), (2, "ENTITIES"),
        (0, "LINE"), (8, "Falak"), (10, 0.0), (20, 0.0), (30, 0.0), (11, 3.0), (21, 4.0), (31, 0.0),
        (0, "LINE"), (8, "Falak"), (10, 1.0), (20, 1.0), (30, 0.0), (11, 1.0), (21, 2.0), (31, 0.0),
        (0, "CIRCLE"), (8, "Kör"), (10, 5.0), (20, 5.0), (30, 0.0), (40, 2.0),
        (0, "INSERT"), (8, "0"), (2, "Ajtó"), (10, 7.0), (20, 1.0), (30, 0.0), (66, 1),
        (0, "ATTRIB"), (8, "0"), (10, 7.0), (20, 1.0), (30, 0.0), (40, 0.25), (1, "A12"), (2, "SZAM"), (70, 0),
        (0, "SEQEND"), (8, "0"),
        (0, "ENDSEC"), (0, "EOF"),
    ]
    return write_dxf(tmp_path / "small.dxf", pairs)
