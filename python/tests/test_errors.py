"""What is refused, and how."""

import copy
import os
import pickle

import hypothesis.strategies as st
import numpy as np
import polefit
import pytest
from hypothesis import given, settings

F = np.linspace(0.0, 1e9, 51)
S = 1 / (1 + 2j * np.pi * F / 1e9)


class Given:
    """A network of somebody else's."""

    def __init__(self, **attributes):
        self.__dict__ = {"f": F, "s": S.reshape(-1, 1, 1), "z0": 50.0, "name": "given", **attributes}


def fit(*arguments, **options):
    return polefit.fit(*arguments, **{"poles": 2, **options})


@pytest.mark.parametrize(
    ("kind", "action"),
    [
        ("no_samples", lambda: fit([], [])),
        ("bad_shape", lambda: fit(F, S[:-1])),
        ("bad_shape", lambda: fit(F, np.zeros((51, 2, 3)))),
        ("bad_shape", lambda: fit(F, np.zeros((51, 2, 2, 2)))),
        ("bad_shape", lambda: fit(F.reshape(3, 17), S)),
        ("bad_shape", lambda: fit(F, S, weights=np.ones(7))),
        ("bad_shape", lambda: fit(F, S, names=["a", "b"])),
        ("bad_shape", lambda: fit(F, S, passive=True)),
        ("bad_shape", lambda: fit(F, np.ones((51, 2)), parameter="S")),
        ("bad_frequency", lambda: fit(-F, S)),
        ("bad_frequency", lambda: fit(F * np.nan, S)),
        ("bad_sample", lambda: fit(F, np.full(51, np.inf))),
        ("bad_weight", lambda: fit(F, S, weights=-np.ones(51))),
        ("zero_data", lambda: fit(F, np.where(F > 0, 0, S), weights=np.where(F > 0, 1.0, 0.0))),
        ("bad_option", lambda: fit(F, S, poles=-1)),
        ("bad_option", lambda: fit(F, S, poles=2.5)),
        ("bad_option", lambda: fit(F, S, poles=True)),
        ("bad_option", lambda: fit(F, S, error=np.True_)),
        ("bad_option", lambda: fit(F, S, stable=None)),
        ("bad_option", lambda: fit(F, S, polish=1)),
        ("bad_option", lambda: fit(F, S, parameter="Q")),
        ("bad_shape", lambda: fit(F, S, parameter="S", z0=-50.0)),
        ("bad_option", lambda: fit(F, S, real=3)),
        ("bad_shape", lambda: fit(F, [[1.0, 2.0], [3.0]])),
        ("bad_shape", lambda: fit([[1.0], [1.0, 2.0]], S)),
        ("bad_shape", lambda: fit(F, S, weights=[])),
        ("bad_sample", lambda: fit(F, np.ma.masked_array(S, mask=F > 5e8))),
        ("bad_shape", lambda: fit(Given(s=S))),
        ("bad_shape", lambda: fit(Given(s=S.reshape(-1, 1)))),
        ("bad_shape", lambda: fit(Given(z0=np.ones(3)))),
        ("bad_shape", lambda: fit(Given(z0=np.ones((51, 3))))),
        ("bad_option", lambda: polefit.Network(F, np.ones((51, 2)), z0=75.0)),
        ("bad_shape", lambda: polefit.Network(F, np.ones((51, 2)), parameter="Y")),
        ("bad_shape", lambda: polefit.Model([-1.0], [1.0], [1.0, 2.0])),
        ("bad_shape", lambda: polefit.Model([-1.0], [1.0]).terminated_response([0.0], [None], 50.0)),
        ("bad_shape", lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], [([0.0], [1.0], [2.0])])),
        ("bad_shape", lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], np.ones((2, 1, 1)))),
        ("bad_shape", lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], [1.0, 2.0, 3.0])),
        ("bad_option", lambda: fit(F, S).plot([])),
        ("bad_option", lambda: fit(F, S, real=1)),
        ("bad_option", lambda: fit(F, S, error=0.0)),
        ("bad_option", lambda: fit(F, S, error="small")),
        ("bad_option", lambda: fit(F, S, error=np.inf)),
        ("bad_option", lambda: fit(F, S, poles=None, error=np.inf)),
        ("bad_shape", lambda: fit(polefit.Network(F, S), z0=[50.0, 50.0])),
        ("bad_shape", lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], [1.0, None])),
        ("bad_option", lambda: fit(F, S, spacing="even")),
        ("bad_option", lambda: fit(F, S, weights="heavy")),
        ("bad_option", lambda: fit(F, S, threads=0)),
        ("bad_option", lambda: fit(F, S, iterations=-1)),
        ("bad_option", lambda: fit(F, S, max_poles=3)),
        ("bad_option", lambda: fit(F, S, measure="worst")),
        ("bad_option", lambda: fit(F, S, poles=None, real=1)),
        ("bad_option", lambda: fit(F, S, poles=None, iterations=1)),
        ("bad_option", lambda: fit(F, S, poles=[-1.0 + 1j])),
        ("bad_option", lambda: fit(F, S, z0=50.0)),
        ("bad_option", lambda: fit(F, S, format="csv")),
        ("bad_option", lambda: fit(F[1:], S[1:], exact_dc=True)),
        ("bad_option", lambda: fit(F, S, parameter="S", passive=True, stable=False)),
        ("too_many_unknowns", lambda: fit(F, S, poles=200)),
        ("bad_model_file", lambda: polefit.load("/nowhere/model.json")),
        ("bad_model_file", lambda: polefit.model_from_json("{}")),
        ("bad_network_file", lambda: polefit.fit("/nowhere/network.s2p")),
        ("bad_network_file", lambda: polefit.network_from_text("# GHz S RI R 50\n1 x\n", "x.s1p")),
        ("bad_network_file", lambda: polefit.Network(F[::-1], S.reshape(-1, 1, 1)).touchstone()),
        ("bad_option", lambda: polefit.Network(F, S.reshape(-1, 1, 1)).touchstone(unit="THz")),
        ("bad_option", lambda: polefit.Network(F, S.reshape(-1, 1, 1)).selected(["S12"])),
        ("numerical_breakdown", lambda: polefit.Network(F, np.ones((51, 1, 1))).converted("Z")),
        ("bad_shape", lambda: polefit.Model([-1.0 + 1j], [1.0])),
        ("bad_shape", lambda: polefit.Model([-1.0], [1.0]).check_passivity()),
        ("bad_option", lambda: polefit.Model([-1.0], [[[1.0]]]).spice("1 2")),
        ("bad_shape", lambda: polefit.Model([-1.0], [1.0], 0.0, 1.0).to_scipy()),
        ("bad_option", lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([1.0, 0.0], [None])),
    ],
)
def test_what_cannot_be_done_is_an_error_of_its_kind(kind, action):
    with pytest.raises(polefit.Error) as caught:
        action()
    assert caught.value.kind == kind
    assert str(caught.value)


@pytest.mark.parametrize(
    "action",
    [
        lambda: fit(F),
        lambda: fit(F, S, progress=3),
        lambda: fit(F, S, unknown=1),
        lambda: fit(F * 1j, S),
        lambda: fit(F, ["a"] * 51),
        lambda: fit(F, S, weights=object()),
        lambda: polefit.load(3),
        lambda: fit(F, S, names=["a\udcff"]),
        lambda: fit(polefit.Network(F, S), z0="75"),
        lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], None),
        lambda: fit(F, S, names=[1]),
        lambda: polefit.Model([-1.0], [1.0], np.array(1j)),
        lambda: polefit.Model(["a"], [1.0]),
        lambda: polefit.Model([-1.0], [[[1.0]]]).time_response([0.0, 1.0], None),
    ],
)
def test_what_is_of_the_wrong_type_is_a_type_error(action):
    with pytest.raises(TypeError):
        action()


def test_a_sentence_of_a_file_names_file_and_line(tmp_path):
    file = tmp_path / "bad.s1p"
    file.write_text("# GHz S RI R 50\n1 0.5 0\n2 O.4 0\n")
    with pytest.raises(polefit.Error, match=r"bad\.s1p.*3.*O\.4"):
        polefit.fit(file)


def test_errors_are_value_errors_and_pickle():
    with pytest.raises(ValueError) as caught:
        fit(F, S, poles=-1)
    for other in (pickle.loads(pickle.dumps(caught.value)), copy.copy(caught.value)):
        assert type(other) is polefit.Error and other.kind == "bad_option" and str(other) == str(caught.value)


def test_what_harms_is_saved_only_when_that_is_said(tmp_path):
    random = np.random.default_rng(1)
    f = np.linspace(1e9, 2e9, 41)
    noise = random.standard_normal(41) + 1j * random.standard_normal(41)
    found = polefit.fit(f, 0.1 * noise.reshape(-1, 1, 1), poles=16, passive=False)
    assert found.harmful and not found.converged
    with pytest.raises(polefit.Error, match="amplifies"):
        found.save(tmp_path / "model.json")
    assert not (tmp_path / "model.json").exists()
    found.save(tmp_path / "model.json", anyway=True)
    assert np.array_equal(polefit.load(tmp_path / "model.json").poles, found.poles)


def test_a_warning_of_a_file_is_one_of_python(tmp_path):
    text = "# GHz Y RI R 50\n1 1e-4 0\n2 1e-4 0\n3 1e-4 0\n"  # 500 kilohms, or 10 if it means siemens
    network = polefit.network_from_text(text, "doubtful.s1p")
    assert network.warnings
    file = tmp_path / "doubtful.s1p"
    file.write_text(text)
    with pytest.warns(UserWarning, match="doubtful"):
        polefit.fit(file, poles=0)


def test_a_network_of_somebody_else_may_be_without_references():
    assert fit(Given(z0=None, name=None)).z0.tolist() == [50.0]


def test_references_are_real_numbers_of_any_type():
    for z0 in (75, 75.0, np.float32(75.0), 75 + 0j, [75], np.array([75 + 0j])):
        assert fit(F, S, parameter="S", z0=z0).z0.tolist() == [75.0]
        assert fit(polefit.Network(F, S), z0=z0).z0.tolist() == [75.0]
    for z0 in (75 + 1j, np.array([75 + 1j]), "75"):
        with pytest.raises(TypeError, match="z0: found values of the type"):
            fit(F, S, parameter="S", z0=z0)


def test_samples_beside_a_network_are_told_from_names():
    network = polefit.Network(F, S.reshape(-1, 1, 1))
    with pytest.raises(TypeError, match="expected names of responses"):
        fit(network, S)
    with pytest.raises(polefit.Error, match="S31"):
        fit(network, "S31")


def test_a_single_name_is_no_sequence_of_letters():
    assert fit(F, S, names="gain").names == ["gain"]


def test_files_may_have_names_of_any_bytes(tmp_path):
    for name in ("möd€l", b"x\xffy", "x\udcffy"):
        stem = tmp_path / os.fsdecode(name)
        network = polefit.Network(F, S.reshape(-1, 1, 1))
        network.write_touchstone(f"{stem}.s1p")
        for given in (f"{stem}.s1p", os.fsencode(f"{stem}.s1p")):
            assert polefit.read_network(given).name == f"{stem}.s1p"
            found = fit(given)
            assert found.name == f"{stem}.s1p" and pickle.loads(pickle.dumps(found)).name == found.name
        found.save(f"{stem}.json")
        assert polefit.load(os.fsencode(f"{stem}.json")).to_json() == found.to_json()
        found.write_spice(f"{stem}.cir")
        copied = pickle.loads(pickle.dumps(polefit.read_network(given)))
        assert copied.name == f"{stem}.s1p" and fit(copied).name == copied.name
        with pytest.raises(polefit.Error, match="No such file") as caught:
            polefit.read_network(f"{stem}.s2p")
        assert pickle.loads(pickle.dumps(caught.value)).kind == "bad_network_file"
        with pytest.raises(polefit.Error, match="whole pairs"):
            fit(given, poles=3, real=2)


def test_a_warning_of_a_network_names_the_line_that_fits_it():
    with pytest.warns(UserWarning, match="vary with frequency") as told:
        fit(Given(z0=50.0 + 1j))
    assert told[0].filename == __file__


def test_names_are_any_sequence():
    names = np.array(["a", "b"])
    two = np.stack([S, 2 * S], axis=1)
    assert fit(F, two, names=names).names == polefit.Network(F, two, names=names).names == ["a", "b"]
    assert polefit.Model([-1.0], [[1.0], [2.0]], names=names).names == ["a", "b"]
    network = polefit.Network(F, two, names=names)
    assert network.selected("b").names == fit(network, np.array(["b"])).names == ["b"]


def test_a_single_response_is_a_one_port_where_that_is_said():
    assert polefit.Network(F, S).parameter is None
    network = polefit.Network(F, S, parameter="Z")
    assert (network.parameter, network.names, network.z0.tolist(), network.s.shape) == ("Z", ["Z11"], [50.0], (51, 1, 1))
    assert fit(network).to_json() == fit(F, S, parameter="Z").to_json()


def test_references_that_vary_are_told_where_they_are_known_and_never_made_up():
    sample = "{0} 0.5 0.1\n! Gamma 0 0\n! Port Impedance {0}0 1\n"
    network = polefit.network_from_text("# GHz S RI R 50\n" + "".join(map(sample.format, range(1, 6))), "line.s1p")
    expected = [[10 + 1j], [20 + 1j], [30 + 1j], [40 + 1j], [50 + 1j]]
    assert np.array_equal(network.z0, expected)
    assert fit(network, poles=0).z0 is None and fit(network, poles=0).sampled([1.0]).z0 is None
    with pytest.warns(UserWarning, match="references"):
        assert fit(Given(z0=50 + 1j)).z0 is None
    vf = polefit.VectorFitting(network)
    vf.vector_fit(0, 0)
    with pytest.raises(polefit.Error, match="references"):
        vf.write_spice_subcircuit_s("/nowhere/line.cir")


@pytest.mark.parametrize("parameter", ["s", "", "SS", 3, ["S"], np.array(["S", "Y"])])
def test_a_parameter_that_is_none_is_told(parameter):
    matrix = 0.1 * np.ones((51, 1, 1))
    alone = polefit.Network(F, S)
    for use in (
        lambda: fit(F, matrix, parameter=parameter),
        lambda: polefit.Network(F, matrix, parameter=parameter),
        lambda: polefit.Model([-1.0], [[[1.0]]], parameter=parameter),
        lambda: fit(alone, parameter=parameter),
        lambda: alone.as_one_port(parameter),
    ):
        with pytest.raises(polefit.Error, match="parameter: found .*, expected 'S', 'Y' or 'Z'"):
            use()
    with pytest.raises(polefit.Error, match="format: found"):
        polefit.read_network("a.s1p", format=parameter)
    with pytest.raises(polefit.Error, match="parameter: found"):
        polefit.Network(F, matrix).converted(parameter)


NUMBERS = [0, 1, 3, -1, 10**30, 1.5, np.nan, np.inf, 1e300, 1j, np.int8(3)]
SCALARS = st.sampled_from([None, True, False, np.False_, *NUMBERS, "S", "", "log", "\udcff", b"S", object()])
TYPES = st.sampled_from([float, complex, int, bool, object, np.float32, ">c16", "S2", "U2", "M8[s]"])
SHAPES = st.lists(st.sampled_from([0, 1, 2, 9, 51]), max_size=4).map(tuple)
ARRAYS = st.builds(lambda shape, kind: np.ones(shape).astype(int).astype(kind), SHAPES, TYPES)
VALUES = st.one_of(SCALARS, st.lists(SCALARS, max_size=3), ARRAYS, ARRAYS.map(np.ndarray.tolist))
OPTIONS = sorted(set(polefit.fit.__kwdefaults__) - {"progress"})


def refused(action):
    """Whether it was, in a way that is told; what it gave otherwise."""
    try:
        return False, action()
    except (polefit.Error, TypeError) as told:
        assert str(told)
        return True, None


@settings(max_examples=400)
@given(st.dictionaries(st.sampled_from(OPTIONS), VALUES, max_size=3), ARRAYS, ARRAYS, st.booleans(), VALUES)
@pytest.mark.filterwarnings("ignore")
def test_whatever_is_handed_over_is_taken_or_refused(options, f, s, sound, value):
    _, found = refused(lambda: polefit.fit(*((F[:9], 0.1 * S[:9].reshape(9, 1, 1)) if sound else (f, s)), **options))
    if found is not None:
        assert found.report.reason and found._repr_html_()
        refused(lambda: found(value))
        refused(lambda: found.s(value))
        refused(lambda: found.time_response(value, f))
        refused(lambda: found.time_response(F, value))
        refused(lambda: found.terminated_response(F[:3], [None] * (found.nports or 1), value))
        refused(lambda: found.enforce_passivity(weights=value))
        refused(lambda: found.errors_against(f, s))
        refused(lambda: found.s_solver_coefficients(value))
    refused(lambda: polefit.Model(value, s))
    refused(lambda: polefit.Model([-1.0], [1.0], value, names=value))
    refused(lambda: polefit.Network(f, s, z0=value))
