"""Builds the Python package: CMake compiles the extension module and puts its files together."""

import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

root = Path(__file__).resolve().parent


def version() -> str:
    """The one in the header."""
    header = (root / "include/likeness/version.hpp").read_text()
    return ".".join(
        re.search(rf"LIKENESS_VERSION_{part} ([0-9]+)", header).group(1) for part in ("MAJOR", "MINOR", "PATCH")
    )


class CMakeExtension(build_ext):
    """The extension module and the modules that it loads on demand."""

    def build_extension(self, extension: Extension) -> None:
        package = Path(self.get_ext_fullpath(extension.name)).resolve().parent
        built = os.environ.get("LIKENESS_BUILT_PACKAGE")
        if built:  # by CMake before, for packagers who build in steps
            shutil.copytree(built, package, dirs_exist_ok=True, ignore=shutil.ignore_patterns("__pycache__"))
            return
        folder = Path(self.build_temp).resolve()
        folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(
            [
                "cmake", "-G", "Ninja", "-S", str(root), "-B", str(folder), "-DCMAKE_BUILD_TYPE=Release",
                "-DLIKENESS_BUILD_PYTHON=ON", "-DLIKENESS_BUILD_TESTS=OFF", "-DLIKENESS_BUILD_BENCHMARKS=OFF",
                "-DLIKENESS_BUILD_EXAMPLES=OFF", "-DLIKENESS_INSTALL=OFF", f"-DLIKENESS_PYTHON_PACKAGE={package}",
                f"-DPython3_EXECUTABLE={sys.executable}",
            ],
            check=True,
        )  # fmt: skip
        subprocess.run(
            ["cmake", "--build", str(folder), "--target", "likeness_python_package"],
            check=True,
            env={**os.environ, "CMAKE_BUILD_PARALLEL_LEVEL": os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")},
        )


setup(
    name="likeness",
    version=version(),
    description="Compares photographs by how they look, and the operations on photographs around that",
    python_requires=">=3.9",
    install_requires=["numpy"],
    packages=["likeness"],
    package_dir={"likeness": "python/likeness"},
    package_data={"likeness": ["py.typed", "_core.pyi"]},
    ext_modules=[Extension("likeness._core", sources=[])],
    cmdclass={"build_ext": CMakeExtension},
    zip_safe=False,
)
