#!/usr/bin/env python3
"""What the Python module costs over the library, and beside the command.

Usage: python_module.py POLEFIT, the program. The module is found by PYTHONPATH.
A call is timed as a whole and, by the extension, without all that is Python's: the difference is the module's.
"""

import os
import statistics
import subprocess
import sys
import tempfile
import time

import numpy as np

import polefit


def samples_of(responses, count, poles, seed):
    """Frequencies, and samples of the shape (count, responses) of a function with so many poles."""
    random = np.random.default_rng(seed)
    f = np.linspace(1e7, 1e10, count)
    s = 2j * np.pi * f
    resonances = 2 * np.pi * np.linspace(2e7, 9.9e9, poles // 2)
    a = -resonances * random.uniform(0.01, 0.05, len(resonances)) + 1j * resonances
    c = a.real * -1 * (random.standard_normal((responses, len(a))) + 1j * random.standard_normal((responses, len(a))))
    basis = 1 / (s[:, None] - a)
    conjugate = 1 / (s[:, None] - a.conj())
    return f, basis @ c.T + conjugate @ c.conj().T


def overhead(responses, count, poles, runs):
    f, values = samples_of(responses, count, poles, 1)
    values = values[:, 0] if responses == 1 else values
    extra, inside, told = [], [], []
    for _ in range(runs):
        before = time.perf_counter()
        fit = polefit.fit(f, values, poles=poles, threads=1)
        after = time.perf_counter()
        extra.append(after - before - fit.seconds)
        told.append(time.perf_counter() - after)
        inside.append(fit.seconds)
    print(
        f"{responses} x {count}, {poles} poles: library {1e3 * statistics.median(inside):.3f} ms, module over it "
        f"{1e6 * statistics.median(extra):.1f} us (median of {runs}; nine tenths below {1e6 * np.quantile(extra, 0.9):.1f}), report and errors when asked for "
        f"{1e6 * statistics.median(told):.1f} us"
    )


def beside_the_command(program, ports, count, poles):
    f, values = samples_of(ports * ports, count, poles, 2)
    values = 0.1 * values / abs(values).max()
    with tempfile.TemporaryDirectory() as folder:
        file = os.path.join(folder, f"network.s{ports}p")
        model = os.path.join(folder, "model.json")
        polefit.Network(f, values.reshape(count, ports, ports)).write_touchstone(file)

        def by_command():
            subprocess.run([program, "fit", file, "--poles", str(poles), "--quiet", "-o", model], check=False)

        def by_module():
            polefit.fit(file, poles=poles).save(model)

        times = []
        for work in (by_command, by_module):
            work()
            runs = []
            for _ in range(7):
                before = time.perf_counter()
                work()
                runs.append(time.perf_counter() - before)
            times.append(statistics.median(runs))
    print(
        f"{ports} ports, {count} samples, {poles} poles, Touchstone to model file: command {1e3 * times[0]:.1f} ms, "
        f"module in a running interpreter {1e3 * times[1]:.1f} ms"
    )


def main():
    overhead(1, 1000, 20, 1000)
    overhead(16, 1001, 40, 100)
    for ports in (2, 8):
        beside_the_command(sys.argv[1], ports, 501, 40)


main()
