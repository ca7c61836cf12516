"""Type hints, as a checker reads them."""

import os
import pathlib
import subprocess
import sys

import polefit
import pytest

pytest.importorskip("mypy")
FOLDER = pathlib.Path(polefit.__file__).parent.parent
HERE = pathlib.Path(__file__).parent
# What pybind11 makes of any class.
NOT_OURS = r"""
polefit\._polefit\.(Model|Network|Outcome)
polefit\._polefit\.Outcome\.__init__
"""


def checked(module, *arguments, cwd):
    environment = {**os.environ, "PYTHONPATH": str(FOLDER)}
    words = [sys.executable, "-m", module, *map(str, arguments)]
    return subprocess.run(words, cwd=cwd, env=environment, capture_output=True, text=True)


def strictly(tmp_path, *arguments):
    options = ("--strict", "--ignore-missing-imports", "--cache-dir", tmp_path / "cache")
    return checked("mypy", *options, *arguments, cwd=FOLDER)


def test_the_module_and_a_program_that_uses_it_are_typed_strictly(tmp_path):
    for what in (("-p", "polefit"), (HERE / "typed_program.py",)):
        done = strictly(tmp_path, *what)
        assert done.returncode == 0, done.stdout


def test_what_is_not_so_is_told_by_the_hints(tmp_path):
    program = tmp_path / "wrong.py"
    program.write_text("import polefit\nwrong: str = polefit.fit('a', poles=4).poles\npolefit.fit('a', pole=4).pole\n")
    done = strictly(tmp_path, program)
    assert all(f"[{what}]" in done.stdout for what in ("assignment", "call-arg", "attr-defined")), done.stdout


def test_hints_tell_of_what_the_extension_has(tmp_path):
    (tmp_path / "not_ours").write_text(NOT_OURS)
    arguments = ("polefit._polefit", "--allowlist", tmp_path / "not_ours", "--ignore-unused-allowlist")
    done = checked("mypy.stubtest", *arguments, cwd=tmp_path)
    assert done.returncode == 0, done.stdout
