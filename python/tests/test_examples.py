"""The examples of docs/examples run as a reader would: the C program makes
stock.dat, the Python script reads and extends it."""

import os
import subprocess
import sys

import pytest


def test_c_then_python_example(folder):
    exe = os.environ.get("VELNOR_EXAMPLE_C")
    if not exe or not os.path.exists(exe):
        pytest.skip("the C example is not built")
    assert subprocess.run([exe], capture_output=True, text=True, check=True).stdout == "A100 is nuts\n"
    script = os.path.join(os.environ["VELNOR_EXAMPLES"], "records.py")
    out = subprocess.run([sys.executable, script], capture_output=True, text=True, check=True).stdout
    assert out.splitlines() == ["A100 is nuts", "A100 nuts", "B200 bolts", "C300 washers", "D400 hinges"]
