"""What models do: states, time, passivity, files, circuits, pictures."""

import copy
import os
import pickle
import subprocess
import sys
import types

import numpy as np
import polefit
import polefit._polefit as native
import pytest
import scipy.signal

from conftest import samples_of

F = np.linspace(0.0, 5.0, 101)
LADDER = polefit.Model(
    [-1 + 2j, -1 - 2j, -3.0],
    np.array([[[0.3 - 0.1j, 0.3 + 0.1j, 0.2], [0.1, 0.1, 0.0]], [[0.1, 0.1, 0.0], [0.2j, -0.2j, 0.4]]]),
    [[0.1, 0.0], [0.0, 0.2]],
)


@pytest.fixture
def fit(two_port):
    return polefit.fit(two_port)


def test_state_space_has_the_values_of_the_model():
    A, B, C, D, E = LADDER.state_space()
    assert A.shape == (6, 6) and B.shape == (6, 2) and C.shape == (2, 6) and D.shape == E.shape == (2, 2)
    for f in F:
        value = C @ np.linalg.solve(2j * np.pi * f * np.eye(6) - A, B) + D
        assert np.allclose(value, LADDER(f), rtol=0, atol=1e-14)  # a few roundings of values below 1
    system = LADDER.to_scipy()
    assert isinstance(system, scipy.signal.StateSpace) and np.array_equal(system.A, A)


def test_what_is_asked_of_control_are_the_four_matrices(monkeypatch):
    # A stand-in that keeps what it is told, for systems without python-control.
    monkeypatch.setitem(sys.modules, "control", types.SimpleNamespace(ss=lambda *given: given))
    given = LADDER.to_control()
    assert len(given) == 4 and all(np.array_equal(ours, theirs) for ours, theirs in zip(given, LADDER.state_space()))
    with pytest.raises(polefit.Error, match="proportional"):
        polefit.Model([-1.0], [1.0], 0.0, 1.0).to_control()


def test_control_gets_the_same_matrices():
    control = pytest.importorskip("control")
    assert isinstance(LADDER.to_control(), control.StateSpace)
    assert np.array_equal(LADDER.to_control().A, LADDER.state_space().A)


def test_time_response_is_that_of_scipy():
    times = np.linspace(0.0, 4.0, 401)
    steps = np.ones((401, 2)) * [1.0, -0.5]
    _, expected, _ = scipy.signal.lsim(LADDER.to_scipy(), steps, times)
    assert np.allclose(LADDER.time_response(times, steps), expected, rtol=0, atol=1e-12)  # both are exact
    points = LADDER.time_response(times, [([0.0], [1.0]), ([0.0], [-0.5])])
    assert np.allclose(points, expected, rtol=0, atol=1e-12)
    assert np.array_equal(LADDER.time_response(times, steps.tolist()), LADDER.time_response(times, steps))
    single = polefit.Model([-1.0], [[[1.0]]])
    for values in (np.ones(401), [1.0] * 401, np.ones((401, 1), int)):
        assert np.array_equal(single.time_response(times, values), single.time_response(times, np.ones((401, 1))))
    alone = LADDER.time_response(times, [([0.0], [1.0]), None])
    assert alone.shape == (401, 2) and not np.allclose(alone, points)


def test_a_matched_network_has_exact_signals_at_its_ports():
    times = np.linspace(0.0, 4.0, 41)
    signals = LADDER.terminated_response(times, [([0.0], [2.0]), None], 50.0)
    waves = LADDER.time_response(times, [([0.0], [1.0]), None])
    assert signals.exact
    # v = a + b, and the wave that comes in is half of the source's voltage.
    assert np.allclose(signals.voltages, waves + [1.0, 0.0], rtol=0, atol=1e-14)
    assert np.allclose(signals.currents, ([1.0, 0.0] - waves) / 50.0, rtol=0, atol=1e-15)
    assert not LADDER.terminated_response(times, [([0.0], [2.0]), None], [50.0, np.inf]).exact


def test_passivity_is_decided_drawn_and_enforced():
    f, values = samples_of(1, poles=4)
    values = 1.2 * values / abs(values).max()
    fit = polefit.fit(f, values.reshape(-1, 1, 1), poles=4)
    assert fit.passivity is not None and not fit.passivity and fit.data_passivity is not None
    assert fit.passivity == fit.check_passivity()
    assert fit.passivity.violations[0].worst > 1.19
    curve = fit.passivity_curve(f)
    assert np.allclose(curve, abs(fit(f)[:, 0, 0]), rtol=1e-12, atol=0)  # one singular value: the modulus
    model, report = fit.enforce_passivity()
    assert model.check_passivity() and report.passivity and report.remedy != "none"
    assert report.error_after >= report.error_before
    assert model.certificate.passive
    by_kind, report = fit.enforce_passivity(weights="relative")
    assert by_kind.check_passivity()
    relative = native.weights(f, values.reshape(-1, 1), "relative")
    # A modulus and its inverse are rounded a few times each.
    assert np.allclose(relative * abs(values.ravel()), relative[0] * abs(values.ravel()[0]), rtol=1e-14, atol=0)
    by_array, _ = fit.enforce_passivity(weights=relative)
    assert np.array_equal(by_kind(f), by_array(f)) and not np.array_equal(by_kind(f), model(f))
    with pytest.raises(polefit.Error, match="weights: found 'heavy'"):
        fit.enforce_passivity(weights="heavy")
    assert polefit.fit(f, values.reshape(-1, 1, 1), poles=4, passive=True).passivity
    assert not polefit.sampled_passivity(f, values.reshape(-1, 1, 1))


def test_files_read_back_to_the_bit(fit, tmp_path):
    fit.save(tmp_path / "model.json")
    model = polefit.load(tmp_path / "model.json")
    assert np.array_equal(model.poles, fit.poles) and np.array_equal(model.residues, fit.residues)
    assert model.origin.samples == 501 and np.array_equal(model.origin.errors.rms, fit.model.origin.errors.rms)
    assert polefit.model_from_json(model.to_json()).to_json() == fit.to_json()


def test_exports_are_those_of_the_command(fit, tmp_path):
    fit.save(tmp_path / "model.json")

    def by_command(*words):
        words = [os.environ["POLEFIT_PROGRAM"], "export", "model.json", *words]
        return subprocess.run(words, capture_output=True, check=True, text=True, cwd=tmp_path).stdout

    assert fit.spice("filter") == by_command("--spice", "--name", "filter")
    assert fit.state_space_text() == by_command("--state-space")
    assert fit.s_solver_coefficients(1) == by_command("--s-solver", "--response", "S12")
    grid = np.linspace(5e7, 1.5e8, 3)
    assert fit.sampled(grid).csv() == by_command("--csv", "--grid", "5e7:1.5e8:3")
    fit.write_spice(tmp_path / "a", "filter")
    fit.write_state_space(tmp_path / "b")
    fit.write_s_solver_coefficients(tmp_path / "c", 1)
    fit.sampled(grid).write_touchstone(tmp_path / "d.s2p", format="ma", unit="MHz", version="2")
    assert (tmp_path / "a").read_text() == fit.spice("filter")
    assert (tmp_path / "b").read_text() == fit.state_space_text()
    assert (tmp_path / "c").read_text() == fit.s_solver_coefficients(1)
    read = polefit.read_network(tmp_path / "d.s2p")
    assert np.allclose(read.s, fit(grid), rtol=1e-14, atol=0)  # magnitude and angle, rounded


def test_networks_convert_and_renormalise(two_port):
    network = polefit.read_network(two_port)
    z = network.converted("Z")
    assert z.parameter == "Z" and np.allclose(z.converted("S").s, network.s, rtol=0, atol=1e-9)
    assert network.renormalised(75.0).z0.tolist() == [75.0, 75.0]
    model = polefit.fit(z, poles=12, passive=False)
    grid = network.f[:6].reshape(2, 3)
    assert np.array_equal(model.s(grid), model.s(grid.reshape(-1)).reshape(2, 3, 2, 2))
    assert np.array_equal(model.s(6e7), model.s([6e7])[0])
    assert np.allclose(model.s(network.f), model.sampled(network.f).converted("S").s)


@pytest.mark.parametrize("through", [copy.copy, copy.deepcopy, *(lambda x, p=p: pickle.loads(pickle.dumps(x, p)) for p in range(6))])
def test_fits_models_and_networks_are_copied_and_pickled_whole(fit, two_port, through):
    other = through(fit)
    assert other.to_json() == fit.to_json() and np.array_equal(other.data, fit.data)
    assert other.errors == fit.errors and other.origin == fit.origin and other.enforcement == fit.enforcement
    assert fit.enforce_passivity()[1] == other.enforce_passivity()[1] and fit.errors != LADDER.errors_against(F, LADDER(F))
    assert other.report == fit.report and other.passivity == fit.passivity and other.seconds == fit.seconds
    assert np.array_equal(other.errors.rms, fit.errors.rms) and repr(other) == repr(fit)
    assert through(fit.model).to_json() == fit.to_json()
    network = polefit.read_network(two_port)
    assert through(network).touchstone() == network.touchstone() and through(network).name == network.name


def test_a_fit_is_pickled_before_anything_was_asked_of_it(two_port):
    other = pickle.loads(pickle.dumps(polefit.fit(two_port)))
    assert other.report.relative_error < 1e-3
    with pytest.raises(AttributeError):
        other.nothing


def test_a_plot_has_data_model_and_error(fit):
    pyplot = pytest.importorskip("matplotlib.pyplot")
    axes = fit.plot()
    assert len(axes) == 4
    figure, axis = pyplot.subplots()
    assert fit.plot(["S21"], axis) == [axis]
    data, curve, error = axis.get_lines()
    assert (data.get_color(), curve.get_color(), error.get_color()) == ("#e69f00", "#00478f", "#333333")
    assert np.array_equal(data.get_ydata(), abs(fit.data[:, 1, 0]))
    assert np.array_equal(error.get_ydata(), abs(fit(fit.f)[:, 1, 0] - fit.data[:, 1, 0]))
    assert np.allclose(curve.get_xdata()[[0, -1]], [50.0, 150.0]) and axis.get_xlabel() == "frequency / MHz"
    assert [axis.get_title() for axis in fit.plot(["s21", "S(1,2)"])] == ["S21", "S12"]
    with pytest.raises(polefit.Error, match="S33"):
        fit.plot(["S33"])
    with pytest.raises(polefit.Error, match="gain"):
        polefit.fit(fit.f, fit.data[:, 0, 0], poles=4).plot("gain")
    axis.clear()
    fit.plot("S21", axis, phase=True)
    data, curve = axis.get_lines()
    assert np.array_equal(data.get_ydata(), np.angle(fit.data[:, 1, 0], deg=True)) and axis.get_yscale() == "linear"
    figure.canvas.draw()
    pyplot.close("all")


def test_the_table_of_a_notebook_tells_order_passivity_and_errors_and_runs_nothing(fit):
    table = fit._repr_html_()
    assert "16 poles" in table and "at all frequencies" in table and "S21" in table
    named = polefit.fit(F, 1 / (1 + 1j * F), poles=2, names=["<script>"])
    assert "<script>" not in named._repr_html_() and "&lt;script&gt;" in named._repr_html_()


def test_names_of_the_package_have_docstrings():
    for name in polefit.__all__:
        if name != "__version__":
            assert getattr(polefit, name).__doc__, name


def test_errors_of_origin_and_enforcement_have_the_shape_of_the_responses(two_port):
    fit = polefit.fit(polefit.read_network(two_port).selected(["S21", "S22", "S11", "S12"]), poles=12)
    assert np.array_equal(fit.origin.errors.rms, fit.errors.rms) and fit.errors.rms.shape == (2, 2)
    assert np.array_equal(fit.enforcement.errors_after.rms, fit.errors.rms)
    model, report = fit.enforce_passivity()
    assert np.array_equal(report.errors_after.largest, model.errors_against(fit.f, fit.data).largest)


def test_a_plot_over_decades_is_logarithmic_and_shows_every_resonance():
    pyplot = pytest.importorskip("matplotlib.pyplot")
    f = np.concatenate([[0.0], np.geomspace(1e3, 1e9, 121)])
    sharp = 2 * np.pi * 3.3e6 * (-1e-5 + 1j)
    model = polefit.Model([sharp, sharp.conjugate()], [-sharp.real, -sharp.real], 0.01)
    fit = polefit.fit(f, model(f), poles=[sharp, sharp.conjugate()], iterations=0, polish=False)
    (axis,) = fit.plot()
    data, curve, error = axis.get_lines()
    assert axis.get_xscale() == "log" and len(data.get_xdata()) == 121 and np.min(curve.get_xdata()) > 0.0
    # At the resonance it is |c| / |Re a| = 1, less than a hundredth away from which the constant and the other pole are.
    assert np.max(curve.get_ydata()) > 0.98
    assert polefit.fit(F, model(F), poles=0).plot()[0].get_xscale() == "linear"
    pyplot.close("all")


def test_axes_that_are_none_and_no_responses_are_refused(fit):
    for names, axes in (([], None), (["S21"], "axes"), (["S21"], [])):
        with pytest.raises((polefit.Error, TypeError), match="names|axes"):
            fit.plot(names, axes)
    assert fit.plot("s21")[0].get_title() == "S21"
