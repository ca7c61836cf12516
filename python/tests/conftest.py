"""Networks that the tests fit, and the command that they are compared with."""

import os
import subprocess

import hypothesis
import numpy as np
import pytest

SOURCE = os.environ["POLEFIT_SOURCE"]
EXAMPLES = {
    "two_port": os.path.join(SOURCE, "examples/band_pass/two_port.s2p"),
    "interconnect": os.path.join(SOURCE, "examples/interconnect/interconnect.s4p"),
    "power": os.path.join(SOURCE, "examples/power_distribution/power_distribution.s1p"),
}
# No folder of found examples beside the sources, and the same trials on every machine.
hypothesis.settings.register_profile("ours", database=None, deadline=None, derandomize=True, max_examples=40)
hypothesis.settings.load_profile("ours")


@pytest.fixture
def two_port():
    return EXAMPLES["two_port"]


@pytest.fixture(params=sorted(EXAMPLES))
def example(request):
    return EXAMPLES[request.param]


@pytest.fixture
def command(tmp_path):
    """Runs the command; gives its status and the bytes of the model that it wrote."""

    def run(file, *options):
        model = tmp_path / "by_command.json"
        done = subprocess.run(
            [os.environ["POLEFIT_PROGRAM"], "fit", file, *options, "--quiet", "-o", model], capture_output=True, text=True
        )
        assert done.returncode in (0, 1), done.stderr
        return done.returncode, model.read_bytes()

    return run


def samples_of(responses, count=201, poles=12, seed=1):
    """Frequencies in hertz, and samples of the shape (count, responses) of a function with so many poles."""
    random = np.random.default_rng(seed)
    f = np.linspace(1e7, 1e10, count)
    s = 2j * np.pi * f[:, None]
    resonances = 2 * np.pi * np.linspace(5e8, 9e9, poles // 2)
    a = resonances * (-0.03 + 1j)
    c = -a.real * (random.standard_normal((responses, len(a))) + 1j * random.standard_normal((responses, len(a))))
    return f, 1 / (s - a) @ c.T + 1 / (s - a.conj()) @ c.conj().T


@pytest.fixture
def samples():
    return samples_of
