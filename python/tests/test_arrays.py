"""Arrays of every layout and type, in and out."""

import sys

import hypothesis.strategies as st
import numpy as np
import polefit
import pytest
from hypothesis import given

from conftest import samples_of

F, S = samples_of(4)
EXPECTED = polefit.fit(F, S, poles=12)


def same(fit, expected=EXPECTED):
    return np.array_equal(fit.poles, expected.poles) and np.array_equal(fit.residues, expected.residues)


@pytest.mark.parametrize(
    ("values", "shape"), [(S[:, 0], ()), (S[:, :1], ()), (S[:, :3], (3,)), (S.reshape(-1, 2, 2), (2, 2))]
)
def test_shapes_follow_those_of_the_samples(values, shape):
    fit = polefit.fit(F, values, poles=12)
    assert fit.shape == shape
    assert fit.poles.shape == (12,) and fit.residues.shape == shape + (12,)
    assert fit.constants.shape == fit.proportionals.shape == fit.errors.rms.shape == shape
    assert fit(F).shape == (201,) + shape and fit(1e9).shape == shape and fit(F[:6].reshape(2, 3)).shape == (2, 3) + shape
    # The samples have as many poles as the model: rounding is left, 1e-9 is far above it.
    assert np.allclose(fit(F), values.reshape((201,) + shape), rtol=0, atol=1e-9)
    assert fit.data.shape == (201,) + shape


def test_values_are_those_of_poles_and_residues():
    fit = polefit.fit(F, S.reshape(-1, 2, 2), poles=8, passive=False)
    s = 2j * np.pi * F
    expected = fit.constants + np.einsum("ijn,kn->kij", fit.residues, 1 / (s[:, None] - fit.poles))
    assert np.allclose(fit(F), expected, rtol=0, atol=1e-12)  # sums of eight terms, none above ten


def layouts():
    spaced = np.zeros((402, 12), complex)
    spaced[::2, ::3] = S
    turned = np.ascontiguousarray(S[::-1])[::-1]
    odd = np.zeros(S.size, [("real", "i2"), ("value", "c16")])["value"].reshape(S.shape)
    odd[...] = S
    fixed = S.copy()
    fixed.flags.writeable = False
    return {
        "rows": np.ascontiguousarray(S),
        "columns": np.asfortranarray(S),
        "spaced": spaced[::2, ::3],
        "turned": turned,
        "unaligned": odd,
        "read-only": fixed,
        "swapped": S.astype(">c16"),
        "list": S.tolist(),
    }


@pytest.mark.parametrize("layout", layouts())
def test_layouts_of_samples_do_not_matter_to_the_bit(layout):
    assert same(polefit.fit(F, layouts()[layout], poles=12))


@pytest.mark.parametrize("frequencies", [F.tolist(), F[::-1].copy()[::-1], np.repeat(F, 2)[::2], F.astype(">f8")])
def test_layouts_of_frequencies_do_not_matter_to_the_bit(frequencies):
    assert same(polefit.fit(frequencies, S, poles=12))


def test_numbers_of_single_precision_are_those_numbers():
    single = S.astype(np.complex64)
    assert same(polefit.fit(F, single, poles=8), polefit.fit(F, single.astype(complex), poles=8))
    assert polefit.fit(F.astype(np.float32), S.real.astype(np.float32), poles=4).shape == (4,)


@given(st.integers(1, 4), st.integers(1, 3), st.integers(-3, 3).filter(bool), st.sampled_from("CF"))
def test_any_strides_give_the_same_numbers(responses, step, turn, order):
    room = np.full((201 * abs(turn), 4 * step), 99.0 + 0j, order=order)
    view = room[::turn, ::step][:, :responses]
    view[...] = S[:, :responses]
    assert same(polefit.fit(F, view, poles=6), polefit.fit(F, S[:, :responses].copy(), poles=6))


def test_what_fits_is_not_copied_and_what_comes_out_is_a_view():
    values = S.reshape(-1, 2, 2)
    fit = polefit.fit(F, values, poles=6)
    assert np.shares_memory(fit.data, values) and np.shares_memory(fit.f, F)
    assert np.shares_memory(fit.poles, fit.poles) and np.shares_memory(fit.residues, fit.model.residues)
    with pytest.raises(ValueError, match="read-only"):
        fit.poles[0] = 1.0
    network = polefit.Network(F, values)
    assert np.shares_memory(network.s, network.responses)
    poles, expected = fit.poles, fit.poles.copy()
    del fit
    polefit.fit(F, values, poles=6)
    assert np.array_equal(poles, expected)  # which keeps its model alive
    assert sys.getrefcount(values) < 6


def test_elements_in_another_order_stand_where_they_belong(two_port):
    expected = polefit.fit(two_port, poles=10, passive=False)
    fit = polefit.fit(polefit.read_network(two_port).selected(["S21", "S22", "S11", "S12"]), poles=10, passive=False)
    assert fit.names == ["S21", "S22", "S11", "S12"]
    assert fit.shape == (2, 2)
    # Sums over responses in another order: rounding, of 1e-16 times conditions below 1e8.
    assert np.allclose(fit(fit.f), expected(fit.f), rtol=0, atol=1e-8)
    assert np.array_equal(fit.data, expected.data)
    against = fit.model.errors_against(fit.f, fit.data)
    assert np.array_equal(against.rms, fit.errors.rms)


def test_a_matrix_is_copied_only_where_its_elements_are_not_evenly_spaced():
    whole = np.ascontiguousarray(S.reshape(-1, 2, 2))
    expected = polefit.fit(F, whole, poles=6)
    last = np.moveaxis(np.ascontiguousarray(np.moveaxis(whole, 0, -1)), -1, 0)  # as arrays of the shape (P, P, M) hold them
    for values, shared in ((whole, True), (last, True), (whole[::-1][::-1], True), (np.asfortranarray(whole), False)):
        fit = polefit.fit(F, values, poles=6)
        assert np.shares_memory(fit.data, values) == shared
        assert same(fit, expected)


def test_weights_of_a_matrix_stand_where_its_elements_do(two_port):
    network = polefit.read_network(two_port).selected(["S21", "S22", "S11", "S12"])
    weights = np.random.default_rng(1).random((501, 2, 2)) + 0.5
    in_order = np.stack([weights[:, 1, 0], weights[:, 1, 1], weights[:, 0, 0], weights[:, 0, 1]], axis=1)
    fits = [polefit.fit(network, poles=10, passive=False, weights=each) for each in (weights, in_order)]
    assert same(*fits)
    enforced = [fits[0].enforce_passivity(weights=each)[0] for each in (weights, in_order)]
    assert same(*enforced)
