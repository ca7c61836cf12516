"""The class that stands in for scikit-rf's: its conventions, and that its circuits are the model."""

import io
import os
import pickle
import re
import subprocess

import numpy as np
import pytest

import polefit

F = np.linspace(1e6, 10e9, 201)
POLES = np.array([-1e9, -5e8 + 2e10j, -5e8 - 2e10j])


def model_of(ports=2):
    """Reciprocal and passive: small residues about a constant."""
    residues = np.zeros((ports, ports, 3), dtype=complex)
    for i in range(ports):
        for j in range(ports):
            residues[i, j] = [1e8 / (1 + abs(i - j)), 4e7 + 1e7j * (i + j), 4e7 - 1e7j * (i + j)]
    return polefit.Model(POLES, residues, 0.3 * np.eye(ports))


class Bare:
    """What the class needs of a network."""

    def __init__(self, model, name="bare", z0=50.0):
        self.f = F
        self.s = model(F)
        self.z0 = np.full((len(F), self.s.shape[1]), z0)
        self.name = name


def fitted(ports=2):
    vf = polefit.VectorFitting(Bare(model_of(ports)))
    vf.vector_fit(n_poles_real=1, n_poles_cmplx=1)
    return vf


def test_poles_are_the_members_of_pairs_with_positive_imaginary_part_and_residues_stand_row_by_row():
    vf = fitted()
    assert sorted(vf.poles.imag > 0.0) == [False, True]
    assert vf.get_model_order(vf.poles) == 3
    exact = model_of()
    assert vf.residues.shape == (4, 2) and vf.constant_coeff.shape == (4,)
    # The data are those of the model to rounding; the poles of a fit are right to the square root of its accuracy at worst.
    real, pair = np.argmin(vf.poles.imag), np.argmax(vf.poles.imag)
    np.testing.assert_allclose(vf.poles[[real, pair]], POLES[:2], rtol=1e-7)
    for i in range(2):
        for j in range(2):
            np.testing.assert_allclose(vf.residues[2 * i + j, [real, pair]], exact.residues[i, j, :2], rtol=1e-6)
    np.testing.assert_allclose(vf.constant_coeff, [0.3, 0.0, 0.0, 0.3], atol=1e-8)
    assert not vf.proportional_coeff.any()


def test_errors_and_responses_are_those_of_the_arrays_also_where_users_changed_them():
    vf = fitted()
    assert vf.get_rms_error() < 1e-8
    np.testing.assert_allclose(vf.get_model_response(0, 1, F), model_of()(F)[:, 0, 1], atol=1e-8)
    vf.constant_coeff[1] += 0.5
    assert vf.get_rms_error(0, 1) == pytest.approx(0.5, abs=1e-8)
    assert vf.get_rms_error(0) == pytest.approx(0.5 / np.sqrt(2.0), abs=1e-8)
    assert vf.get_rms_error(1, 0) < 1e-8


def test_a_given_order_counts_pairs_twice_and_custom_poles_are_taken():
    vf = polefit.VectorFitting(Bare(model_of()))
    vf.vector_fit(n_poles_real=2, n_poles_cmplx=1, init_pole_spacing="log", fit_constant=False)
    assert vf.get_model_order(vf.poles) == 4
    assert not vf.constant_coeff.any()
    vf.poles = POLES[:2]
    vf.vector_fit(init_pole_spacing="custom")
    assert vf.get_model_order(vf.poles) == 3
    with pytest.raises(polefit.Error, match="init_pole_spacing"):
        vf.vector_fit(init_pole_spacing="cubic")


def test_an_order_is_found_for_the_largest_difference():
    vf = polefit.VectorFitting(Bare(model_of()))
    vf.auto_fit(target_error=1e-3)
    assert np.abs(vf.get_model_response(0, 0, F) - model_of()(F)[:, 0, 0]).max() <= 1e-3
    with pytest.warns(RuntimeWarning, match="relative error"):
        vf.auto_fit(target_error=1e-9, model_order_max=2)
    with pytest.warns(RuntimeWarning, match="relative error"):
        vf.auto_fit(model_order_max=0)
    assert vf.residues.shape == (4, 0)


def test_bands_that_are_not_passive_are_told_and_mended():
    bare = Bare(model_of())
    bare.s = bare.s * 3.0
    vf = polefit.VectorFitting(bare)
    with pytest.warns(UserWarning, match="not passive"):
        vf.vector_fit(1, 1)
    bands = vf.passivity_test()
    ends = bands[(bands > 0.0) & np.isfinite(bands)]
    largest = lambda f: np.linalg.svd(vf._model()(f), compute_uv=False)[:, 0]  # noqa: E731
    assert len(ends) and np.all(largest(bands.mean(axis=1)) > 1.0)
    # Ends are right to a part in a million of themselves; a pole of quality 20 changes by 40 times that.
    np.testing.assert_allclose(largest(ends), 1.0, atol=4e-5)
    assert not vf.is_passive()
    vf.passivity_enforce()
    assert vf.is_passive() and vf.passivity_test().shape == (0, 2)


@pytest.mark.parametrize("kind", ["y", "z"])
def test_admittances_and_impedances_of_other_networks_are_those_of_ours(kind):
    bare = Bare(model_of(), z0=75.0)
    vf, ours = polefit.VectorFitting(bare), polefit.VectorFitting(polefit.Network(F, bare.s, z0=75.0))
    for each in (vf, ours):
        each.vector_fit(1, 2, parameter_type=kind)
    np.testing.assert_array_equal(vf.residues, ours.residues)
    bare.z0 = np.linspace(50.0, 60.0, len(F))[:, None] * np.ones(2)  # which only the network itself can convert by
    setattr(bare, kind, 2.0 * polefit.Network(F, bare.s, z0=75.0).converted(kind.upper()).s)
    vf.vector_fit(1, 2, parameter_type=kind)
    np.testing.assert_allclose(vf.residues, 2.0 * ours.residues, rtol=1e-9)  # a power of two: exact but for the poles


@pytest.mark.parametrize("kind", ["y", "z"])
def test_admittances_and_impedances_are_fitted(kind):
    network = polefit.Network(F, model_of()(F))
    vf = polefit.VectorFitting(network)
    vf.vector_fit(1, 2, parameter_type=kind)
    values = network.converted(kind.upper()).s
    assert vf.get_rms_error(parameter_type=kind) < 1e-3 * np.sqrt(np.mean(np.abs(values) ** 2))


def test_arrays_are_written_and_read_back_to_the_bit(tmp_path):
    vf = fitted()
    vf.write_npz(tmp_path)
    other = polefit.VectorFitting(Bare(model_of()))
    other.read_npz(tmp_path / "coefficients_bare.npz")
    for name in ("poles", "residues", "constant_coeff", "proportional_coeff"):
        np.testing.assert_array_equal(getattr(other, name), getattr(vf, name))
    assert [path.name for path in tmp_path.iterdir()] == ["coefficients_bare.npz"]
    with pytest.raises(polefit.Error, match="expected"):
        polefit.VectorFitting(Bare(model_of(3))).read_npz(tmp_path / "coefficients_bare.npz")
    np.savez(tmp_path / "other.npz", poles=vf.poles)
    with pytest.raises(polefit.Error, match="found no constants"):
        other.read_npz(tmp_path / "other.npz")


def broken_files(whole):
    def with_(**arrays):
        content = io.BytesIO()
        np.savez(content, **{**np.load(io.BytesIO(whole)), **arrays})
        return content.getvalue()

    flipped = bytearray(whole)
    flipped[80] ^= 255
    array = io.BytesIO()
    np.save(array, np.ones(3))
    return {
        "empty": b"",
        "text": b"poles",
        "an array": array.getvalue(),
        "a pickle": pickle.dumps({"poles": 1}),
        "half": whole[: len(whole) // 2],
        "flipped": bytes(flipped),
        "objects": with_(poles=np.array([{}, {}], dtype=object)),
        "words": with_(poles=np.array(["a", "b"])),
        "none": with_(poles=np.full(2, np.nan + 0j)),
        "infinite": with_(constants=np.full(4, np.inf)),
        "below the axis": with_(poles=np.array([-1.0, -1.0 - 2.0j])),
        "two dimensions": with_(poles=np.ones((1, 2), complex)),
        "turned": with_(residues=np.ones((2, 4), complex)),
        "no square": with_(residues=np.ones((3, 2), complex)),
        "short": with_(constants=np.ones(3)),
        "complex": with_(constants=np.ones(4) + 1j),
    }


def test_broken_files_are_refused_and_leave_the_model_as_it_was(tmp_path):
    vf = fitted()
    vf.write_npz(os.fsencode(tmp_path))
    before = vf.poles, vf.residues, vf.constant_coeff, vf.proportional_coeff
    for what, content in broken_files((tmp_path / "coefficients_bare.npz").read_bytes()).items():
        (tmp_path / "broken.npz").write_bytes(content)
        with pytest.raises(polefit.Error, match="broken.npz") as caught:
            vf.read_npz(tmp_path / "broken.npz")
        assert caught.value.kind == "bad_model_file", what
        assert (vf.poles, vf.residues, vf.constant_coeff, vf.proportional_coeff) == before, what
    for nothing in (tmp_path, tmp_path / "none.npz"):
        with pytest.raises(polefit.Error, match="found"):
            vf.read_npz(nothing)


def test_files_are_written_as_the_library_writes_them(tmp_path):
    vf = fitted()
    with pytest.raises(polefit.Error, match="No such file"):
        vf.write_npz(tmp_path / "nowhere")
    (tmp_path / "linked.cir").write_text("old")
    (tmp_path / "linked.cir").chmod(0o640)
    (tmp_path / "link.cir").symlink_to("linked.cir")
    vf.write_spice_subcircuit_s(tmp_path / "link.cir")
    assert (tmp_path / "link.cir").is_symlink() and ".subckt s_equivalent" in (tmp_path / "linked.cir").read_text()
    assert (tmp_path / "linked.cir").stat().st_mode & 0o777 == 0o640
    os.mkfifo(tmp_path / "pipe.cir")
    with subprocess.Popen(["cat", tmp_path / "pipe.cir"], stdout=subprocess.PIPE, text=True) as reader:
        try:
            vf.write_spice_subcircuit_s(tmp_path / "pipe.cir")
            told = reader.communicate(timeout=10)[0]
        finally:
            reader.kill()
    assert told == (tmp_path / "linked.cir").read_text()
    assert (tmp_path / "pipe.cir").is_fifo()  # and no file in its place, as a device would be lost


def simulated(circuit, node_list, tmp_path):
    """S11 and S21 of a two-port by a simulator: between 50 ohms, with 2 V behind those of port 1."""
    deck = tmp_path / "deck.cir"
    deck.write_text(
        f"two-port\n.include {circuit}\nV1 s 0 DC 0 AC 2\nR1 s a 50\nR2 b 0 50\nX1 {node_list} two_port\n"
        ".ac lin 11 1e8 9e9\n.control\nrun\nset filetype=ascii\nwrite out.raw v(a) v(b)\nquit\n.endc\n.end\n"
    )
    subprocess.run(["ngspice", "-b", deck.name], cwd=tmp_path, check=True, capture_output=True, timeout=60)
    text = (tmp_path / "out.raw").read_text().split("Values:")[1]
    numbers = [complex(float(a), float(b)) for a, b in re.findall(r"([-+.\de]+),([-+.\de]+)", text)]
    rows = np.array(numbers).reshape(11, 3)
    return rows[:, 0].real, rows[:, 1] - 1.0, rows[:, 2]


@pytest.mark.parametrize("pins, nodes", [(False, "a b"), (True, "a 0 b 0")])
def test_the_subcircuit_has_the_pins_that_are_asked_for_and_behaves_as_the_model(pins, nodes, tmp_path):
    vf = fitted()
    vf.write_spice_subcircuit_s(tmp_path / "model.cir", "two_port", create_reference_pins=pins)
    assert all(len(line) <= 80 for line in (tmp_path / "model.cir").read_text().splitlines())
    f, s11, s21 = simulated("model.cir", nodes, tmp_path)
    exact = model_of()(f)
    # The simulator's own relative tolerance is 1e-3 of a step; its AC analysis solves linear equations to rounding.
    np.testing.assert_allclose(s11, exact[:, 0, 0], atol=1e-6)
    np.testing.assert_allclose(s21, exact[:, 1, 0], atol=1e-6)


def test_no_circuit_is_made_with_references_that_vary(tmp_path):
    vf = fitted()
    vf.network.z0 = vf.network.z0 * (1.0 + 0.1j)
    with pytest.raises(polefit.Error, match="references"):
        vf.write_spice_subcircuit_s(tmp_path / "model.cir")
    assert not list(tmp_path.iterdir())


def test_pictures_are_drawn_on_the_axes_that_are_given():
    matplotlib = pytest.importorskip("matplotlib")
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    vf = fitted()
    for draw in (vf.plot_s_db, vf.plot_s_mag, vf.plot_s_re, vf.plot_s_im):
        axes = plt.figure().add_subplot()
        assert draw(0, 1, ax=axes) is axes and len(axes.lines) == 2
    axes = plt.figure().add_subplot()
    assert len(vf.plot_s_singular(ax=axes).lines) == 2
    assert len(vf.plot_convergence(plt.figure().add_subplot()).lines) == 1
    plt.close("all")
    with pytest.raises(polefit.Error, match="component"):
        vf.plot("smith")


def test_what_needs_a_model_says_so_without_one():
    vf = polefit.VectorFitting(Bare(model_of()))
    for ask in (vf.passivity_test, vf.is_passive, vf.get_rms_error, lambda: vf.get_model_response(0, 0)):
        with pytest.raises(polefit.Error, match="found no model"):
            ask()


def test_what_is_no_network_and_what_is_doubtful_in_a_file_is_told(tmp_path):
    with pytest.raises(TypeError, match="expected a network"):
        polefit.VectorFitting(None)
    file = tmp_path / "doubtful.s1p"
    file.write_text("# GHz Y RI R 50\n1 1e-4 0\n2 1e-4 0\n3 1e-4 0\n")  # 500 kilohms, or 10 if it means siemens
    with pytest.warns(UserWarning, match="doubtful") as told:
        polefit.VectorFitting(file)
    assert told[0].filename == __file__


def test_no_circuit_of_s_is_made_of_a_model_of_y(tmp_path):
    vf = polefit.VectorFitting(polefit.Network(F, model_of()(F)))
    vf.vector_fit(1, 2, parameter_type="y")
    with pytest.raises(polefit.Error, match="model of Y"):
        vf.write_spice_subcircuit_s(tmp_path / "model.cir")
    assert not list(tmp_path.iterdir())
    vf.vector_fit(1, 2)
    vf.write_spice_subcircuit_s(tmp_path / "model.cir")
