"""Fits an example with the installed module and with the installed command, and compares."""

import subprocess
import sys

import numpy as np
import polefit

found = polefit.fit(sys.argv[1], error=1e-5)
subprocess.run(["polefit", "fit", sys.argv[1], "--error", "1e-5", "--quiet", "-o", "command.json"], check=True)
command = polefit.load("command.json")
assert np.array_equal(found.poles, command.poles) and np.array_equal(found.residues, command.residues)
assert found.passivity
print(f"{len(found.poles)} poles, as the command, version {polefit.__version__}")
