"""Rational models: evaluated, followed over time, judged, exported."""

from __future__ import annotations

import os
from collections.abc import Sequence
from typing import Any, Optional

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _polefit
from ._arrays import ohms, real_parts, reals, samples
from ._errors import Error
from .network import FileName, Network, matrix_for, names_of, places
from .records import Certificate, Errors, Origin, Passivity, PortSignals, StateSpace

Points = Optional[tuple[ArrayLike, ArrayLike]]
_nothing = (np.empty(0), np.empty(0))


class Modelled:
    """What can be asked of a model, and of a fit, which has one."""

    __slots__ = ()

    @property
    def _native(self) -> _polefit.Model:
        raise NotImplementedError

    @property
    def _places(self) -> _Places:
        raise NotImplementedError

    @property
    def shape(self) -> tuple[int, ...]:
        """Of the responses: (P, P) of a whole matrix, (R,) of several others, () of a single one."""
        return self._places.shape

    @property
    def poles(self) -> NDArray[np.complex128]:
        """Of the shape (N,), in rad/s: pairs side by side, the one with positive imaginary part first."""
        return self._native.poles

    @property
    def residues(self) -> NDArray[np.complex128]:
        """Of the shape ``shape + (N,)``, such as (P, P, N), in rad/s times the unit of the data."""
        return self._places.first(self._native.residues)

    @property
    def constants(self) -> NDArray[np.float64]:
        """Of the shape ``shape``, in the unit of the data."""
        return self._places.first(self._native.constants)

    @property
    def proportionals(self) -> NDArray[np.float64]:
        """Terms proportional to s, of the shape ``shape``, in seconds times the unit of the data."""
        return self._places.first(self._native.proportionals)

    @property
    def names(self) -> list[str]:
        """Of the responses, in the order in which files hold them."""
        return self._native.names

    @property
    def parameter(self) -> str | None:
        """S, Y or Z of responses that are elements of a matrix."""
        matrix = self._native.matrix
        return None if matrix is None else matrix[0]

    @property
    def nports(self) -> int | None:
        """Number of ports of responses that are elements of a matrix."""
        matrix = self._native.matrix
        return None if matrix is None else len(matrix[1])

    @property
    def z0(self) -> NDArray[np.float64] | None:
        """References of the ports in ohms, of the shape (P,); none where they vary with frequency."""
        matrix = self._native.matrix
        return None if matrix is None or matrix[4] else np.array(matrix[1])

    @property
    def origin(self) -> Origin | None:
        """The data that the model was fitted to, where that is known."""
        told = self._native.origin
        return None if told is None else Origin._of(told, self._errors_of)

    @property
    def certificate(self) -> Certificate | None:
        """What was certified of the model's passivity when it was made."""
        told = self._native.record
        return None if told is None else Certificate(**told)

    def __call__(self, f: ArrayLike) -> NDArray[np.complex128]:
        """The model's values.

        Parameters
        ----------
        f : array_like of any shape
            Frequencies in hertz.

        Returns
        -------
        ndarray of the shape ``f.shape + shape``
            In the unit of the data.

        Examples
        --------
        >>> import polefit
        >>> lowpass = polefit.Model([-1.0], [1.0])
        >>> complex(lowpass(0.0))
        (1+0j)
        >>> lowpass([0.0, 1.0, 2.0]).shape
        (3,)
        """
        array = np.asarray(f)
        return self._places.last(self._native.evaluate(reals(array.reshape(-1), "f"))).reshape(
            array.shape + self.shape
        )

    def s(self, f: ArrayLike) -> NDArray[np.complex128]:
        """S parameters, of the shape ``f.shape + (P, P)``, at frequencies in hertz of any shape."""
        if self.parameter == "S":
            return self(f)
        array = np.asarray(f)
        values = self.sampled(array.reshape(-1)).converted("S").s
        return values.reshape(array.shape + values.shape[1:])

    def sampled(self, f: ArrayLike, name: str = "") -> Network:
        """The model's values at frequencies in hertz, of the shape (M,), as a network."""
        return Network._of(_polefit.sampled(self._native, reals(f, "f"), os.fsencode(name)))

    def errors_against(self, f: ArrayLike, responses: ArrayLike) -> Errors:
        """The distance from data of the shape (M,) + ``shape`` at frequencies of the shape (M,), in hertz."""
        values = self._places.flat(samples(responses))
        return self._errors_of(self._native.errors(reals(f, "f"), values))

    def _errors_of(self, told: dict[str, NDArray[np.float64]]) -> Errors:
        return Errors(**{name: self._places.first(array) for name, array in told.items()})

    def largest_gain(self) -> tuple[float, float, str | int]:
        """Largest modulus of a response at any frequency, that frequency in hertz, and the response's name."""
        largest, frequency, response = self._native.largest_gain()
        return largest, frequency, self.names[response] if self.names else response

    def state_space(self) -> StateSpace:
        """Real matrices, whose inputs are the ports of a whole matrix; else there is a single input.

        Examples
        --------
        >>> import polefit
        >>> A, B, C, D, E = polefit.Model([-1 + 2j, -1 - 2j], [3.0, 3.0]).state_space()
        >>> A.tolist(), B.tolist(), C.tolist()
        ([[-1.0, 2.0], [-2.0, -1.0]], [[2.0], [0.0]], [[3.0, 0.0]])
        """
        return StateSpace(*self._native.states(len(self.shape) == 2))

    def _proper(self) -> StateSpace:
        states = self.state_space()
        if states.E.any():
            raise Error("found terms proportional to s, expected none: no such state space holds them", "bad_shape")
        return states

    def to_scipy(self) -> Any:
        """The same as ``scipy.signal.StateSpace``, which has no place for terms proportional to s."""
        from scipy import signal

        return signal.StateSpace(*self._proper()[:4])

    def to_control(self) -> Any:
        """The same as ``control.StateSpace`` of python-control."""
        import control

        return control.ss(*self._proper()[:4])

    def time_response(self, times: ArrayLike, excitations: ArrayLike | Sequence[Points]) -> NDArray[np.float64]:
        """What comes out of every port of the model at rest.

        Outgoing waves of incident waves for S, currents in amperes of voltages for Y, voltages of currents for Z.
        Exact but for rounding, for excitations that are linear between their points.

        Parameters
        ----------
        times : array_like of the shape (T,)
            In seconds, rising.
        excitations : array_like of the shape (T, P), (T,) of a single port, or sequence of P points
            Values at the times; or of each port a pair of times in seconds and values, or None for 0. It is 0 before
            its first point, and stays at the last value.

        Returns
        -------
        ndarray of the shape (T, P)

        Examples
        --------
        >>> import polefit
        >>> capacitor = polefit.Model([-1e9], [[[1e9]]], parameter="Z")
        >>> float(capacitor.time_response([0.0, 1e-9], [([0.0], [1.0])])[1, 0].round(6))
        0.632121
        """
        instants = reals(times, "times")
        return _polefit.time_response(self._native, _points_of(excitations, instants, self.nports or 0), instants)

    def terminated_response(
        self,
        times: ArrayLike,
        sources: ArrayLike | Sequence[Points],
        resistances: ArrayLike,
        largest_step: float = np.inf,
    ) -> PortSignals:
        """Voltages and currents of the model at rest with a source behind a resistance at every port.

        Parameters
        ----------
        times : array_like of the shape (T,)
            In seconds, rising.
        sources : array_like of the shape (T, P), or sequence of P points
            In volts, as the excitations of `time_response`.
        resistances : float, or array_like of the shape (P,)
            In ohms, 0 to infinity.
        largest_step : float
            In seconds: no step is longer.
        """
        instants = reals(times, "times")
        points = _points_of(sources, instants, self.nports or 0)
        values = ohms(resistances, "resistances")
        return PortSignals(
            *_polefit.terminated_response(
                self._native,
                (np.full(len(points), values[0]) if np.ndim(resistances) == 0 else values).tolist(),
                points,
                instants,
                largest_step,
            )
        )

    def check_passivity(self) -> Passivity:
        """Decides for every frequency from 0 to infinity; of a model of a whole matrix with stable poles.

        Examples
        --------
        >>> import polefit
        >>> check = polefit.Model([-1.0], [[[1.01]]], parameter="S").check_passivity()
        >>> check.passive, check.extreme
        (False, 1.01)
        """
        return Passivity._of(_polefit.passivity(self._native))

    def passivity_curve(self, f: ArrayLike) -> NDArray[np.float64]:
        """Largest singular value of S, least eigenvalue of the Hermitian part of Y or Z, at M frequencies in hertz."""
        return _polefit.passivity_curve(self._native, reals(f, "f"))

    def to_json(self) -> str:
        """The model as JSON text, of which numbers read back to the same bits."""
        return self._native.to_json()

    def spice(self, name: str = "model") -> str:
        """A SPICE subcircuit with one terminal a port and a last one that is the reference of all."""
        return _polefit.spice_subcircuit(self._native, name)

    def write_spice(self, file: FileName, name: str = "model") -> None:
        """Writes `spice` to a file, which until it is whole is the old one."""
        _polefit.write_spice(self._native, os.fsencode(file), name)

    def state_space_text(self) -> str:
        """The matrices of `state_space` as text."""
        return _polefit.state_space_text(self._native)

    def write_state_space(self, file: FileName) -> None:
        """Writes `state_space_text` to a file."""
        _polefit.write_state_space(self._native, os.fsencode(file))

    def s_solver_coefficients(self, response: int = 0, highest_frequency: float | None = None) -> str:
        """S_Solver's coefficient file for one response, counted from 0 as files hold them; frequency in hertz."""
        return _polefit.s_solver_coefficients(self._native, response, highest_frequency)

    def write_s_solver_coefficients(
        self, file: FileName, response: int = 0, highest_frequency: float | None = None
    ) -> None:
        """Writes `s_solver_coefficients` to a file."""
        _polefit.write_s_solver_coefficients(self._native, os.fsencode(file), response, highest_frequency)


class Model(Modelled):
    """f(s) = d + s h + sum of c_i / (s - a_i), s = 2 pi j f, of one or many responses; does not change.

    Parameters
    ----------
    poles : array_like of the shape (N,)
        In rad/s. Members of a conjugate pair stand side by side, the one with positive imaginary part first, and are
        exact conjugates, as their residues are.
    residues : array_like of the shape (N,), (R, N) or (P, P, N)
        Of one response, of R, or of the matrix of P ports.
    constants, proportionals : array_like of the shape (), (R,) or (P, P)
        d, and h in seconds.
    names : str, or sequence of str
        Of the responses; those of a matrix are called S11, S12, ...
    parameter : {'S', 'Y', 'Z'}
        Of a matrix.
    z0 : float, or array_like of the shape (P,)
        References in ohms.

    Examples
    --------
    >>> import polefit
    >>> series = polefit.Model([-2.0], [[[1.0], [-1.0]], [[-1.0], [1.0]]], parameter="Y")
    >>> series.shape, series.residues.shape, series.names
    ((2, 2), (2, 2, 1), ['Y11', 'Y12', 'Y21', 'Y22'])
    """

    __slots__ = ("_model", "_placed")
    _model: _polefit.Model
    _placed: _Places | None

    def __init__(
        self,
        poles: ArrayLike,
        residues: ArrayLike,
        constants: ArrayLike = 0.0,
        proportionals: ArrayLike = 0.0,
        *,
        names: str | Sequence[str] | None = None,
        parameter: str | None = None,
        z0: ArrayLike = 50.0,
    ) -> None:
        values = samples(residues, "residues")
        if not 1 <= values.ndim <= 3 or (values.ndim == 3 and values.shape[0] != values.shape[1]):
            raise Error(f"residues: found the shape {values.shape}, expected (N,), (R, N) or (P, P, N)", "bad_shape")
        shape = values.shape[:-1]
        chosen = names_of(names)
        matrix = None
        if values.ndim == 3:
            matrix = matrix_for("S" if parameter is None else parameter, shape[0], z0)
            chosen = chosen or _polefit.element_names(matrix[0], shape[0])
        elif parameter is not None:
            raise Error(f"parameter: found residues of the shape {values.shape}, expected (P, P, N)", "bad_shape")
        self._model = _polefit.Model(
            samples(poles, "poles").reshape(-1),
            values.reshape(-1),
            _terms(constants, "constants", shape),
            _terms(proportionals, "proportionals", shape),
            chosen,
            matrix,
        )
        self._placed = None

    @classmethod
    def _of(cls, native: _polefit.Model) -> Model:
        model = cls.__new__(cls)
        model._model = native
        model._placed = None
        return model

    @property
    def _native(self) -> _polefit.Model:
        return self._model

    @property
    def _places(self) -> _Places:
        if self._placed is None:
            self._placed = _Places(self._model)
        return self._placed

    def save(self, file: FileName) -> None:
        """Writes the model as JSON; a file of that name is either the old or the whole new one."""
        self._model.save(os.fsencode(file))

    def __reduce__(self) -> tuple[Any, ...]:
        return model_from_json, (self.to_json(),)

    def __copy__(self) -> Model:
        return self

    def __deepcopy__(self, memo: object) -> Model:
        return self

    def __repr__(self) -> str:
        what = f" of {self.parameter}" if self.parameter else ""
        return f"<polefit.Model{what}: {len(self.poles)} poles, responses of the shape {self.shape}>"


class _Places:
    """Where the responses of a model stand in arrays of a matrix."""

    __slots__ = ("shape", "order")

    def __init__(self, native: _polefit.Model) -> None:
        responses = len(native.constants)
        matrix = native.matrix
        self.order: NDArray[np.intp] | None = None
        self.shape: tuple[int, ...] = (responses,) if matrix or responses != 1 else ()
        if matrix is None:
            return
        ports = len(matrix[1])
        if responses == ports * ports:
            place = places(matrix)
            self.shape = (ports, ports)
            self.order = None if place is None else np.argsort(place)

    def first(self, array: NDArray[Any]) -> NDArray[Any]:
        """Of the shape (R, ...), as self.shape + (...)."""
        chosen = array if self.order is None else array[self.order]
        return chosen.reshape(self.shape + array.shape[1:])

    def last(self, array: NDArray[Any]) -> NDArray[Any]:
        """Of the shape (M, R), as (M,) + self.shape."""
        chosen = array if self.order is None else array[:, self.order]
        return chosen.reshape(array.shape[:1] + self.shape)

    def flat(self, array: NDArray[Any]) -> NDArray[Any]:
        """Of the shape (M,) + self.shape, as (M, R)."""
        if array.shape[1:] != self.shape:
            raise Error(f"found responses of the shape {array.shape}, expected {('M',) + self.shape}", "bad_shape")
        flat = array.reshape(len(array), int(np.prod(self.shape)))
        return flat if self.order is None else flat[:, np.argsort(self.order)]


def _points_of(
    given: Any, times: NDArray[np.float64], ports: int
) -> list[tuple[NDArray[np.float64], NDArray[np.float64]]]:
    if not np.iterable(given):
        raise TypeError(f"excitations: found {given!r:.50}, expected an array of the shape {(len(times), ports)}, or points")
    if hasattr(given, "__array__"):
        given = np.asarray(given)
    flat = isinstance(given, np.ndarray) and given.ndim < 3
    if flat or not any(port is None or (np.iterable(port) and any(map(np.ndim, port))) for port in given):
        table = real_parts(given, "excitations")
        if table.ndim == 1 and ports == 1:
            table = table.reshape(-1, 1)
        if table.shape != (len(times), ports):
            raise Error(f"excitations: found the shape {table.shape}, expected {(len(times), ports)}", "bad_shape")
        return [(times, reals(table[:, port], "excitations")) for port in range(ports)]
    points = []
    for port in given:
        pair: list[Any] = list(_nothing if port is None else port if np.iterable(port) else ())
        if len(pair) != 2:
            raise Error(f"excitations: found {port!r:.50}, expected times and values of a port, or None", "bad_shape")
        points.append((reals(pair[0], "times"), reals(pair[1], "values")))
    return points


def _terms(values: ArrayLike, what: str, shape: tuple[int, ...]) -> NDArray[np.float64]:
    """One a response."""
    found = real_parts(values, what)
    if found.shape not in ((), shape):
        raise Error(f"{what}: found the shape {found.shape}, expected {shape}", "bad_shape")
    return np.broadcast_to(found, shape).reshape(-1)


def load(file: FileName) -> Model:
    """The model in a file."""
    return Model._of(_polefit.load(os.fsencode(file)))


def model_from_json(text: str) -> Model:
    """The model of a JSON text.

    Examples
    --------
    >>> import polefit
    >>> model = polefit.Model([-1.0], [0.1])
    >>> polefit.model_from_json(model.to_json()).residues.tolist()
    [(0.1+0j)]
    """
    return Model._of(_polefit.model_from_json(text))
