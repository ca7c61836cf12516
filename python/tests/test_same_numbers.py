"""Module and command give the same bytes."""

import numpy as np
import polefit
import pytest
import skrf

CHOICES = [
    ((), {}),
    (("--error", "1e-5"), {"error": 1e-5}),
    (("--poles", "11"), {"poles": 11}),
    (("--poles", "10", "--real", "4", "--spacing", "log"), {"poles": 10, "real": 4, "spacing": "log"}),
    (("--poles", "8", "--no-polish", "--iterations", "3"), {"poles": 8, "polish": False, "iterations": 3}),
    (("--no-passive", "--weights", "relative"), {"passive": False, "weights": "relative"}),
    (("--no-stable", "--poles", "6"), {"stable": False, "poles": 6}),
    (("--measure", "worst", "--max-poles", "20"), {"measure": "worst", "max_poles": 20}),
    (("--orthogonal", "--threads", "2"), {"orthogonal": True, "threads": 2}),
    (("--no-constant", "--passive"), {"constant": False, "passive": True}),
]


def saved(fit, tmp_path):
    fit.save(tmp_path / "by_module.json", anyway=True)
    return (tmp_path / "by_module.json").read_bytes()


@pytest.mark.parametrize(("words", "options"), CHOICES)
def test_of_a_file_are_those_of_the_command(two_port, words, options, command, tmp_path):
    status, model = command(two_port, *words, "--write-anyway")
    fit = polefit.fit(two_port, **options)
    assert saved(fit, tmp_path) == model
    assert fit.converged == (status == 0)


def test_of_every_example_are_those_of_the_command(example, command, tmp_path):
    assert saved(polefit.fit(example), tmp_path) == command(example)[1]


def test_of_some_responses_are_those_of_the_command(two_port, command, tmp_path):
    assert saved(polefit.fit(two_port, ["S21", "s11"]), tmp_path) == command(two_port, "--responses", "S21,s11")[1]


def test_of_weights_of_a_file_are_those_of_the_command(two_port, command, tmp_path):
    weights = np.linspace(1.0, 2.0, 501)
    np.savetxt(tmp_path / "weights", weights, fmt="%.17g")
    model = command(two_port, "--weights-file", tmp_path / "weights")[1]
    assert saved(polefit.fit(two_port, weights=weights), tmp_path) == model


def test_of_arrays_and_of_scikit_rf_are_those_of_the_command(two_port, command, tmp_path):
    model = command(two_port)[1]
    network = polefit.read_network(two_port)
    assert saved(polefit.fit(network), tmp_path) == model
    assert saved(polefit.fit(network.f, network.s), tmp_path) == model
    assert saved(polefit.fit(network.f, np.array(network.s), z0=50.0), tmp_path) == model
    theirs = skrf.Network(two_port)
    assert np.array_equal(theirs.f, network.f) and np.array_equal(theirs.s, network.s)
    fit = polefit.fit(theirs)
    assert saved(fit, tmp_path) == model
    assert fit.name == "two_port"


def test_at_zero_hertz_are_those_of_the_command(samples, command, tmp_path):
    f, values = samples(1)
    f, values = np.append(0.0, f), np.append([[0.25]], values, axis=0)
    network = polefit.Network(f, 0.3 * values.reshape(-1, 1, 1))
    network.write_touchstone(tmp_path / "zero.s1p")
    fit = polefit.fit(tmp_path / "zero.s1p", exact_dc=True)
    assert saved(fit, tmp_path) == command(tmp_path / "zero.s1p", "--exact-dc")[1]
    assert abs(fit(0.0)[0, 0] - 0.075) < 1e-9  # what is_exact grants


def test_references_that_no_model_holds_are_told(two_port):
    network = skrf.Network(two_port)
    network.z0 = np.linspace(40.0, 60.0, 501)[:, None] * np.ones(2)
    with pytest.warns(UserWarning, match="references are complex, or vary"):
        fit = polefit.fit(network)
    with pytest.raises(polefit.Error):
        fit.spice()
