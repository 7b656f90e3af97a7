"""Times the Python package beside the C++ library, in turns, and its import beside NumPy's.

usage: python_bench.py COMPARISON_CALL [ROUNDS]     the program of comparison_call.cpp; 15 rounds
"""

import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import likeness
import numpy as np

SIZES = {"1 pixel": (1, 1), "0.3 MP": (640, 480), "8 MP": (3456, 2304)}


def photograph(seed, width, height):
    """Smooth, with the noise of a sensor."""
    random = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width] / max(width, height)
    base = np.stack([40 + 150 * x, 60 + 120 * y, 180 - 100 * x * y], axis=-1)
    return np.clip(base + random.normal(0, 6, base.shape), 0, 255).astype(np.uint8)


def in_turns(program, width, height, rounds):
    """Seconds of the calls in Python and in C++, which have the same coefficients."""
    pair = [photograph(seed, width, height) for seed in (1, 2)]
    with tempfile.TemporaryDirectory() as folder:
        files = [Path(folder) / name for name in ("first", "second")]
        for file, pixels in zip(files, pair):
            file.write_bytes(pixels.tobytes())
        with subprocess.Popen(
            [program, str(width), str(height), *map(str, files)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        ) as process:
            ours, theirs = [], []
            for turn in range(rounds + 2):
                process.stdin.write("\n")
                process.stdin.flush()
                seconds, *numbers = process.stdout.readline().split()
                begin = time.perf_counter()
                coefficients = likeness.compare(*pair)
                taken = time.perf_counter() - begin
                if any(np.float32(number) != np.float32(value) for number, value in zip(numbers, coefficients, strict=True)):
                    raise SystemExit(f"{width} x {height}: Python has {coefficients}, C++ {numbers}")
                if turn >= 2:  # the first ones make tables
                    ours.append(taken)
                    theirs.append(float(seconds))
            process.stdin.close()
    return ours, theirs


def import_seconds(rounds):
    code = "import numpy, time; begin = time.perf_counter(); import likeness; print(time.perf_counter() - begin)"
    return [float(subprocess.run([sys.executable, "-c", code], check=True, stdout=subprocess.PIPE).stdout) for _ in range(rounds)]


def main(program, rounds=15):
    for name, (width, height) in SIZES.items():
        # Small ones vary more, and take no time.
        ours, theirs = in_turns(program, width, height, rounds * (1 if width > 1000 else 20))
        one, other = statistics.median(ours), statistics.median(theirs)
        if width == 1:
            print(f"python: a call takes {1e6 * (one - other):.1f} us more than in C++")
        else:
            print(f"python: compare {name} {1e3 * one:.3f} ms, C++ {1e3 * other:.3f} ms: ratio {one / other:.3f}")
    print(f"python: import beside NumPy {1e3 * min(import_seconds(rounds)):.1f} ms")


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
