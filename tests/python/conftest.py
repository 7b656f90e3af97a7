"""What the tests of the Python package share."""

import os
import subprocess
from pathlib import Path

import numpy as np
import pytest

root = Path(__file__).resolve().parents[2]


def refuse_skipping(report) -> None:
    """Where scripts/test has installed all packages no test may be left out for want of one."""
    if report.skipped and not hasattr(report, "wasxfail") and os.environ.get("LIKENESS_ALL_PACKAGES") == "1":
        report.outcome = "failed"
        report.longrepr = f"{report.nodeid} is skipped, but all packages are there: {report.longrepr}"


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport():
    outcome = yield
    refuse_skipping(outcome.get_result())


@pytest.hookimpl(hookwrapper=True)
def pytest_make_collect_report():
    outcome = yield
    refuse_skipping(outcome.get_result())


@pytest.fixture(scope="module")
def photos() -> Path:
    return root / "examples/photos"


def program(variable: str):
    path = os.environ.get(variable)
    if path is None:
        pytest.skip(f"{variable} does not name the program")

    def run(*arguments: object, cwd: object = None) -> str:
        done = subprocess.run(
            [path, *map(str, arguments)], cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True
        )
        assert done.returncode == 0, done.stderr
        return done.stdout

    return run


@pytest.fixture(scope="module")
def darkroom():
    return program("LIKENESS_DARKROOM")


def made(seed: int, height: int = 48, width: int = 64, dtype: object = np.uint8) -> np.ndarray:
    """A smooth photograph with some noise."""
    random = np.random.default_rng(seed)
    y, x = np.mgrid[0:height, 0:width] / max(height, width)
    base = np.stack([0.2 + 0.6 * x, 0.3 + 0.5 * y, 0.7 - 0.4 * x * y], axis=-1)
    values = np.clip(base + random.normal(0, 0.05, base.shape) + 0.05 * seed % 0.2, 0.02, 0.98)
    if dtype == np.uint8:
        return (values * 255).round().astype(np.uint8)
    if dtype == np.uint16:
        return (values * 65535).round().astype(np.uint16)
    return values.astype(dtype)
