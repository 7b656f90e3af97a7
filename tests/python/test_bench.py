"""The benchmark of the package runs; what it measures is not judged here, where others are at work too."""

import os
import re
import subprocess
import sys

import pytest
from conftest import root


def bench(*arguments):
    program = os.environ.get("LIKENESS_COMPARISON_CALL", "")
    if not os.path.exists(program):
        pytest.skip("LIKENESS_COMPARISON_CALL does not name the program")
    return subprocess.run(
        [sys.executable, root / "bench/python_bench.py", program, *arguments], capture_output=True, text=True
    )


def test_it_tells_ratios_overhead_and_import():
    done = bench("1")
    assert done.returncode == 0, done.stderr
    number = r"-?\d+\.\d+"
    assert re.fullmatch(
        f"python: a call takes {number} us more than in C\\+\\+\n"
        f"python: compare 0.3 MP {number} ms, C\\+\\+ {number} ms: ratio {number}\n"
        f"python: compare 8 MP {number} ms, C\\+\\+ {number} ms: ratio {number}\n"
        f"python: import beside NumPy {number} ms\n",
        done.stdout,
    )
