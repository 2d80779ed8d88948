"""Fixtures of the Python package's tests: a folder of its own per test and
the built velnor program to make and read files as a user would."""

import os
import subprocess

import pytest

# A parts file: CODE the primary key, NAME a second key (descending), QTY a
# right-justified whole number, PRICE a number with decimals, TAGS an item
# of two occurrences.
PARTS_FID = """TKF FID v7.0
RecLen = 48
NItems = 5
NKeys = 2
Flags = 0
Item = CODE,'C','L',0,8,1,0,
Item = NAME,'C','L',8,16,1,1,
Item = PRICE,'N','R',30,10,1,2,
Item = QTY,'N','R',24,6,1,3,
Item = TAGS,'C','L',40,4,2,4,
Key = CODE,8,1
0,8,0
Key = NAME,16,1
8,16,1
"""


@pytest.fixture
def folder(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    return tmp_path


def velnor(*args, check=True):
    """Runs the built program; its stdout."""
    exe = os.environ.get("VELNOR_EXE", "velnor")
    r = subprocess.run([exe, *map(str, args)], capture_output=True, text=True, encoding="utf-8")
    if check and r.returncode != 0:
        raise AssertionError(f"velnor {' '.join(map(str, args))}: {r.stderr}")
    return r.stdout


@pytest.fixture
def parts(folder):
    """parts.dat made by the program from three rows."""
    (folder / "parts.fid").write_text(PARTS_FID)
    (folder / "in.csv").write_bytes(
        "CODE,NAME,QTY,PRICE,TAGS[1],TAGS[2]\n"
        "A1,Müller bolt,3,12.50,red,big\n"
        "B2,nut,120,,,\n"
        "C3,washer,7,0.05,blue,\n".encode("cp1252"))
    velnor("load", "parts.dat", "--csv", "in.csv", "--create")
    return folder / "parts.dat"
