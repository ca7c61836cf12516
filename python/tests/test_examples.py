"""Scripts of the examples run as they stand."""

import os
import pathlib
import subprocess
import sys

SOURCE = pathlib.Path(os.environ["POLEFIT_SOURCE"])


def test_the_channel_comes_to_a_transient_and_a_circuit(tmp_path):
    script = SOURCE / "examples" / "channel" / "transient.py"
    done = subprocess.run([sys.executable, script], cwd=tmp_path, capture_output=True, text=True, timeout=120)
    assert done.returncode == 0, done.stderr
    # 10 cm at 0.527 of the velocity of light are 633 ps.
    half = float(done.stdout.split("after")[1].split()[0])
    assert 633e-12 < half < 633e-12 + 35e-12
    assert ".subckt channel p1 p2 ref" in (tmp_path / "channel.cir").read_text()
    for picture in ("channel_fit.png", "channel_transient.png"):
        assert (tmp_path / picture).read_bytes().startswith(b"\x89PNG")
