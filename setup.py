"""Builds the extension by CMake, which alone knows what it is made of; the rest stands in pyproject.toml."""

import os
import pathlib
import re
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

SOURCE = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"project\(S_Solver VERSION ([0-9.]+)", (SOURCE / "CMakeLists.txt").read_text())[1]


class BuildByCMake(build_ext):
    """Puts the extension where setuptools wants it."""

    def build_extension(self, extension):
        place = pathlib.Path(self.build_temp).resolve()
        folder = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        choices = {
            "CMAKE_BUILD_TYPE": "Release",
            "S_SOLVER_BUILD_TESTS": "OFF",
            "POLEFIT_BUILD_PYTHON": "ON",
            "Python_EXECUTABLE": sys.executable,
        }
        definitions = [f"-D{name}={value}" for name, value in choices.items()]
        subprocess.run(["cmake", "-S", SOURCE, "-B", place, "-G", "Ninja", *definitions], check=True)
        subprocess.run(["cmake", "--build", place, "--target", "polefit_python"], check=True)
        # Beside the files that setuptools copies itself, so only the extension is taken.
        folder.mkdir(parents=True, exist_ok=True)
        name = os.path.basename(self.get_ext_fullpath(extension.name))
        (folder / name).write_bytes((place / "python" / "polefit" / name).read_bytes())


setup(
    version=VERSION,
    packages=["polefit"],
    package_dir={"": "python"},
    package_data={"polefit": ["*.pyi", "py.typed"]},
    ext_modules=[Extension("polefit._polefit", [])],
    cmdclass={"build_ext": BuildByCMake},
)
