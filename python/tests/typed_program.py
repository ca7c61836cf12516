"""A program that a type checker, and not the tests, goes through: what users write, and what they get."""

import pathlib

import numpy as np
import polefit
from numpy.typing import NDArray


def told(step: polefit.Progress) -> bool:
    return step.error > 0.0


def heard(step: polefit.Progress) -> None:
    print(step.iteration)


def fits(file: pathlib.Path) -> polefit.Fit:
    network: polefit.Network = polefit.read_network(file).selected("S11").renormalised([50.0]).converted("Z")
    fit: polefit.Fit = polefit.fit(network, ["Z11"], error=1e-3, progress=told)
    fit = polefit.fit([1.0, 2.0], [1.0, 2.0j], poles=[-1.0], progress=heard, names="gain", weights=[1.0, 2.0])
    fit = polefit.fit(np.arange(2), np.ones((2, 1, 1)), z0=np.array([75.0]), names=("S11",), passive=True)
    return polefit.fit(str(file), poles=4, progress=True, weights="uniform")


def arrays(fit: polefit.Fit) -> NDArray[np.float64]:
    poles: NDArray[np.complex128] = fit.poles
    values: NDArray[np.complex128] = fit(1e9) + fit.s([1e9]) + fit.residues[..., 0] + poles[0]
    print(values, fit.errors.rms, fit.report.reason, fit.noise, fit.model.z0)
    states: polefit.StateSpace = fit.state_space()
    signals: polefit.PortSignals = fit.terminated_response([0.0], [([0.0], [1.0]), None], resistances=50.0)
    waves: NDArray[np.float64] = fit.time_response([0.0, 1.0], [[1.0], [1.0]])
    return waves + fit.time_response([0.0, 1.0], np.ones((2, 1))) + signals.voltages + states.D


def passive(fit: polefit.Fit) -> polefit.Model:
    if fit.passivity is not None and not fit.passivity:
        print([band.highest for band in fit.passivity.violations])
    model, report = fit.enforce_passivity(weights="relative", move_poles=True)
    extreme: float = report.passivity.extreme
    largest: tuple[float, float, str | int] = model.largest_gain()
    print(extreme, largest, report.remedy)
    return model


def files(fit: polefit.Fit, folder: pathlib.Path) -> None:
    fit.save(folder / "model.json", anyway=True)
    fit.write_spice(b"model.cir", "model")
    fit.sampled([1.0]).write_touchstone("model.s1p", version="2")
    try:
        print(polefit.load(folder / "model.json").to_json())
    except polefit.Error as error:
        print(error.kind)
    for axes in fit.plot("S21"):
        axes.set_title("S21")


def drop_in(network: object) -> int:
    vf = polefit.VectorFitting(network)
    vf.vector_fit(1, 2, parameter_type="s")
    vf.auto_fit(target_error=1e-3)
    bands: NDArray[np.float64] = vf.passivity_test()
    error: float = vf.get_rms_error()
    print(vf.get_model_response(0, 0), bands, error)
    return 0 if vf.poles is None else vf.get_model_order(vf.poles)
