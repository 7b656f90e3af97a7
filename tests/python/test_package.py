"""The package as it is installed: its wheel, its types, its documentation, how soon it is there."""

import doctest
import importlib
import os
import pkgutil
import subprocess
import sys
import zipfile
from pathlib import Path

import likeness
import pytest
from conftest import root

package = Path(likeness.__file__).parent


def test_a_wheel_has_all_that_it_needs(tmp_path):
    subprocess.run(
        [sys.executable, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", "--quiet", "-w", tmp_path / "wheels",
         str(copy_of_checkout(tmp_path / "checkout"))],
        check=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, env={**os.environ, "LIKENESS_BUILT_PACKAGE": str(package)},
    )  # fmt: skip
    (wheel,) = (tmp_path / "wheels").iterdir()
    assert wheel.name.startswith(f"likeness-{likeness.__version__}-cp")
    with zipfile.ZipFile(wheel) as archive:
        names = {name for name in archive.namelist() if name.startswith("likeness/")}
        archive.extractall(tmp_path / "site")
    sources = {f"likeness/{path.name}" for path in (root / "python/likeness").iterdir() if path.suffix in (".py", ".pyi", ".typed")}
    modules = {name for name in names if name.endswith(".so")}
    assert names == sources | modules
    assert {"likeness/likeness_imgcodecs.so", "likeness/likeness_video.so"} <= modules
    done = subprocess.run(
        [sys.executable, "-c", "import likeness, numpy; print(likeness.__file__); "
         "print(likeness.align_to(*[numpy.zeros((20, 20, 3), numpy.uint8)] * 2).flow.shape)"],
        cwd=tmp_path, env={**os.environ, "PYTHONPATH": str(tmp_path / "site")}, capture_output=True, text=True,
    )  # fmt: skip
    assert done.stdout == f"{tmp_path}/site/likeness/__init__.py\n(20, 20, 2)\n", done.stderr


def copy_of_checkout(folder: Path) -> Path:
    """What a wheel of a built package is made of, where pip may leave its own folders."""
    (folder / "include/likeness").mkdir(parents=True)
    for name in ("pyproject.toml", "setup.py", "include/likeness/version.hpp"):
        (folder / name).write_bytes((root / name).read_bytes())
    (folder / "python").symlink_to(root / "python")
    return folder


def modules():
    return ["likeness", *(f"likeness.{name}" for _, name, _ in pkgutil.iter_modules([str(package)]) if name != "_core" and not name.startswith("likeness_"))]


@pytest.mark.parametrize("name", modules())
def test_examples_in_the_documentation_hold(name):
    import numpy as np

    module = importlib.import_module(name)
    results = doctest.testmod(module, extraglobs={"np": np})
    assert results.failed == 0


def test_everything_public_is_documented():
    for name in likeness.__all__:
        value = getattr(likeness, name)
        if callable(value):
            assert value.__doc__ and not value.__doc__.startswith(f"{name}("), name


def test_types_hold():
    pytest.importorskip("mypy")
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--cache-dir", os.devnull], cwd=root, capture_output=True, text=True
    )
    assert done.returncode == 0, done.stdout
    assert (package / "py.typed").exists()


def test_stubs_of_the_extension_name_what_it_has(tmp_path):
    pytest.importorskip("mypy")
    allowed = tmp_path / "allowed.txt"
    # The metaclass of pybind11 has no name that the types could give.
    allowed.write_text("".join(f"likeness._core.{name}\n" for name in ("Archive", "ColorTransfer", "Distributions", "PublishedModel")))
    done = subprocess.run(
        [sys.executable, "-m", "mypy.stubtest", "likeness._core", "--allowlist", allowed],
        cwd=tmp_path, capture_output=True, text=True,
        env={**os.environ, "MYPYPATH": str(package.parent), "PYTHONPATH": str(package.parent)},
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr


def test_nothing_heavy_is_loaded_with_it():
    code = "import sys, likeness; print(*(name for name in ('cv2', 'skimage', 'pandas', 'matplotlib') if name in sys.modules)); print(*(line.split()[-1] for line in open('/proc/self/maps') if 'imgcodecs' in line))"
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, check=True)
    assert done.stdout == "\n\n"


def test_the_version_is_that_of_the_library():
    assert likeness.__version__ in (root / "CHANGELOG.md").read_text() or likeness.__version__.count(".") == 2
    assert likeness.threads() >= 1
    before = likeness.threads()
    likeness.set_threads(1)
    assert likeness.threads() == 1
    likeness.set_threads(0)
    assert likeness.threads() == before
    with pytest.raises(ValueError):
        likeness.set_threads(-1)


def test_examples_of_the_guide_hold(photos, tmp_path, monkeypatch):
    for module in ("skimage", "pandas", "matplotlib"):
        pytest.importorskip(module)
    monkeypatch.chdir(photos)
    results = doctest.testfile(
        str(root / "docs/python.md"), module_relative=False, globs={"folder": tmp_path}, verbose=False
    )
    assert results.failed == 0 and results.attempted > 40
    assert {path.name for path in tmp_path.iterdir()} == {"maps.png", "table.png", "coffee.png", "photos.likeness"}
