"""Fits: of files, of networks, of arrays."""

from __future__ import annotations

import os
import sys
import warnings as python_warnings
from collections.abc import Callable, Sequence
from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Optional, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _polefit
from ._arrays import by_response, reals, samples, weights_of
from ._errors import Error
from .model import Model, Modelled, _Places
from .network import FileName, Matrix, Network, placed, places, read_network
from .records import Enforcement, Errors, Passivity, Progress, Report, SampledPassivity

if TYPE_CHECKING:
    from matplotlib.axes import Axes

Watcher = Callable[[Progress], Optional[bool]]


@dataclass(frozen=True)
class _Data:
    """What is fitted, as the library takes it."""

    frequencies: NDArray[np.float64]
    samples: NDArray[np.complex128]  # (M, R)
    names: list[str]
    matrix: Matrix | None
    name: str


class Fit(Modelled):
    """A fitted model, how it came about, and how good it is.

    Whatever can be asked of a `Model` can be asked of a fit.

    Attributes
    ----------
    model : Model
    report : Report
        What the run did.
    errors : Errors
        Of each response; arrays of the shape of the responses, such as (P, P).
    passivity : Passivity or None
        Of a stable model of a whole matrix.
    enforcement : Enforcement or None
        What made the model passive, where that was tried.
    converged : bool
        Whether the model may be taken without another thought, as the exit status of the command tells.
    harmful : bool
        Whether the model of S parameters does not fit and amplifies; `save` refuses that.
    data_passivity : SampledPassivity or None
        Of data that are not passive.
    not_corrected : str
        Why the model was not made passive, where that was tried.
    first_order, first_error : int, float
        Of the fit before it was made passive.
    noise : ndarray of the shape (R,)
        Of each response in the order of `names`, relative to its root mean square, where a search could tell it.
    orders_tried : int
        By a search.
    off_at_zero : float
        What values at 0 Hz that were to be exact are off by, as a part of the largest of their response.
    seconds : float
        That the library took.
    """

    model: Model
    report: Report
    errors: Errors
    passivity: Passivity | None
    enforcement: Enforcement | None
    converged: bool
    harmful: bool
    data_passivity: SampledPassivity | None
    not_corrected: str
    first_order: int
    first_error: float
    noise: NDArray[np.float64]
    orders_tried: int
    off_at_zero: float
    seconds: float

    def __init__(self, model: Model, data: _Data, outcome: _polefit.Outcome) -> None:
        self.model = model
        self._data = data
        self._outcome = outcome

    if not TYPE_CHECKING:  # by which checkers would believe any name

        def __getattr__(self, name):
            # What is told of a fit is taken from the library when it is first asked for.
            if name not in Fit.__annotations__ or "_outcome" not in self.__dict__:
                raise AttributeError(f"{type(self).__name__!r} object has no attribute {name!r}")
            self._take(self._outcome.told())
            return self.__dict__[name]

    def __getstate__(self) -> dict[str, Any]:
        state = {name: getattr(self, name) for name in Fit.__annotations__}
        return {**state, "_data": self._data}

    def _take(self, told: dict[str, Any]) -> None:
        report = told.pop("report")
        self.errors = self._errors_of(report.pop("errors"))
        self.report = Report(**report)
        passivity = told.pop("passivity")
        self.passivity = None if passivity is None else Passivity._of(passivity)
        enforcement = told.pop("enforcement")
        self.enforcement = None if enforcement is None else Enforcement._of(enforcement, self._errors_of)
        active = told.pop("active")
        self.data_passivity = None if active is None else SampledPassivity(**active)
        self.__dict__.update(told)

    @property
    def _native(self) -> _polefit.Model:
        return self.model._model

    @property
    def _places(self) -> _Places:
        return self.model._places

    @property
    def f(self) -> NDArray[np.float64]:
        """Frequencies of the data in hertz, of the shape (M,)."""
        return self._data.frequencies

    @property
    def data(self) -> NDArray[np.complex128]:
        """The data, of the shape (M,) + ``shape``."""
        return self._places.last(self._data.samples)

    @property
    def name(self) -> str:
        """Of the network that was fitted."""
        return self._data.name

    def save(self, file: FileName, *, anyway: bool = False) -> None:
        """Writes the model as JSON.

        A model that does not fit and amplifies is refused, as the command refuses it, unless ``anyway``.
        """
        if self.harmful and not anyway:
            raise Error(
                f"found a model that does not fit and amplifies up to {self.report.gain:.2g} times what the data ever "
                "are, expected anyway=True, to write it all the same",
                "bad_option",
            )
        self.model.save(file)

    def enforce_passivity(
        self,
        *,
        move_poles: bool = False,
        max_room_pairs: int = 0,
        error: float = 0.0,
        exact_dc: bool = False,
        weights: str | ArrayLike = "balanced",
    ) -> tuple[Model, Enforcement]:
        """The passive model with these poles that is nearest to the data, and what it took.

        Parameters
        ----------
        move_poles : bool
            Whether poles may move where the error would grow by more than 5 per cent.
        max_room_pairs : int
            Pairs of poles that may be added beyond the band.
        error : float
            That is small enough whatever it was before.
        exact_dc : bool
            Keeps the values at 0 Hz.
        weights : {'balanced', 'uniform', 'relative', 'root'}, or array_like of the shape (M,) or that of the data
            How differences count.
        """
        return enforced(
            self.model,
            self._data.frequencies,
            self._data.samples,
            weights,
            move_poles=move_poles,
            max_room_pairs=max_room_pairs,
            error=error,
            exact_dc=exact_dc,
        )

    def plot(
        self,
        names: str | Sequence[str] | None = None,
        axes: Sequence[Axes] | Axes | None = None,
        *,
        phase: bool = False,
    ) -> list[Axes]:
        """Draws magnitudes of data, model and error of responses on axes of matplotlib, one each.

        Parameters
        ----------
        names : str, or sequence of str
            Of the responses; the four that fit worst where it is not said.
        axes : matplotlib axes, or a sequence of as many as names
            A new figure where there are none.
        phase : bool
            Draws phases in degrees, of data and model.
        """
        from .plotting import plot_fit

        return plot_fit(self, names, axes, phase)

    def _repr_html_(self) -> str:
        from .html import table_of

        return table_of(self)

    def __repr__(self) -> str:
        verdict = "" if self.passivity is None else ", passive" if self.passivity else ", not passive"
        return (
            f"<polefit.Fit {self.name!r}: {len(self.poles)} poles, relative error "
            f"{self.report.relative_error:.2g}{verdict}>"
        )


def fit(
    network: Union[FileName, Network, Any, ArrayLike],
    responses: Union[ArrayLike, Sequence[str], None] = None,
    *,
    error: float | None = None,
    poles: int | ArrayLike | None = None,
    passive: bool | None = None,
    real: int | None = None,
    measure: str | None = None,
    max_poles: int | None = None,
    weights: str | ArrayLike = "balanced",
    constant: bool = True,
    proportional: bool = False,
    stable: bool = True,
    exact_dc: bool = False,
    spacing: str | None = None,
    iterations: int | None = None,
    polish: bool | None = None,
    orthogonal: bool = False,
    threads: int | None = None,
    parameter: str | None = None,
    z0: ArrayLike | None = None,
    names: str | Sequence[str] | None = None,
    format: str = "auto",
    progress: bool | Watcher = False,
) -> Fit:
    """Fits a network with a rational model; the same options give the same numbers as the command ``polefit fit``.

    Parameters
    ----------
    network : str or path, Network, any object with ``f``, ``s``, ``z0`` and ``name``, or array_like of the shape (M,)
        A file, a network (such as that of scikit-rf), or frequencies in hertz.
    responses : array_like of the shape (M,), (M, R) or (M, P, P), or sequence of str
        With frequencies the samples: of one response, of R, or of a matrix of P ports; complex128 is not copied where
        the elements of a matrix, row by row, are evenly spaced. With a network the names of the responses to be
        fitted, all without.
    error : float
        Target of the search for the order, 1e-3 without it; with ``poles`` what the fit has to meet.
    poles : int, or array_like of complex
        The order, in place of a search; or the poles to start with, in rad/s, pairs side by side.
    passive : bool
        Whether the model is made passive; without it where the data of a whole matrix are.
    real : int
        So many of ``poles`` start as real ones.
    measure : {'rms', 'worst', 'largest'}
        Of the target: over all responses, of the worst one, or the largest difference.
    max_poles : int
        Limit of the search.
    weights : {'balanced', 'uniform', 'relative', 'root'}, or array_like of the shape (M,) or that of the samples
        How residuals count.
    constant, proportional : bool
        Whether there are terms d, and s h.
    stable : bool
        Whether poles are kept in the left half-plane.
    exact_dc : bool
        Takes the values at 0 Hz exactly.
    spacing : {'linear', 'log', 'peaks'}
        Of the poles to start with.
    iterations : int
        Relocations at most, 30 without it.
    polish : bool
        Whether poles move downhill in the end, True without it.
    orthogonal : bool
        Solves by orthogonal factorisations throughout.
    threads : int
        As many as there are processors without it; the results do not depend on it.
    parameter : {'S', 'Y', 'Z'}
        What the matrix of ``responses`` holds, S without it; makes a single response that of a one-port.
    z0 : float, or array_like of the shape (P,)
        References in ohms, 50 without it.
    names : str, or sequence of str
        Of the responses in an array.
    format : {'auto', 'touchstone', 'csv', 'samples'}
        Of a file.
    progress : bool, or callable
        Shows what is done on standard error; or is told `Progress`, and ends the run by returning False, with the model
        so far.

    Returns
    -------
    Fit

    Raises
    ------
    Error
        Of data and options that cannot be fitted; never of data that fit badly.
    KeyboardInterrupt
        Ctrl-C ends a fit within a relocation.

    Examples
    --------
    >>> import numpy, polefit
    >>> f = numpy.linspace(0.0, 10.0, 101)
    >>> found = polefit.fit(f, 1.0 / (2j * numpy.pi * f + 3.0), error=1e-9)
    >>> found.poles.real.round(9).tolist(), found.residues.real.round(9).tolist()
    ([-3.0], [1.0])
    """
    starting: ArrayLike = ()
    if poles is not None and np.ndim(poles) > 0:
        starting = samples(poles, "poles").reshape(-1)
        poles = len(starting)
    refuse_without_effect(poles, starting, error, real, measure, max_poles, spacing, iterations, polish)
    data = _data_of(network, responses, parameter, z0, names, format)
    factors: str | NDArray[np.float64]
    factors = weights if isinstance(weights, str) else weights_of(weights, data.samples.shape, places(data.matrix))
    bar = _Bar() if progress is True else None
    options = {
        "poles": poles,
        "starting_poles": starting,
        "error": error,
        "passive": passive,
        "real": real,
        "measure": measure,
        "max_poles": max_poles,
        "constant": constant,
        "proportional": proportional,
        "stable": stable,
        "exact_dc": exact_dc,
        "spacing": "linear" if spacing is None else spacing,
        "iterations": 30 if iterations is None else iterations,
        "polish": True if polish is None else polish,
        "orthogonal": orthogonal,
        "threads": threads,
        "progress": bar or _watching(progress),
    }
    try:
        model, outcome = _polefit.fit(
            data.frequencies, data.samples, data.names, data.matrix, os.fsencode(data.name), factors, options
        )
    finally:
        if bar:
            bar.clear()
    return Fit(Model._of(model), data, outcome)


def enforced(
    model: Model,
    frequencies: NDArray[np.float64],
    values: NDArray[np.complex128],
    weights: str | ArrayLike = "balanced",
    *,
    move_poles: bool = False,
    max_room_pairs: int = 0,
    error: float = 0.0,
    exact_dc: bool = False,
) -> tuple[Model, Enforcement]:
    """As `Fit.enforce_passivity`, for samples of the shape (M, R)."""
    if isinstance(weights, str):
        factors = _polefit.weights(frequencies, values, weights)
    else:
        factors = weights_of(weights, values.shape, places(model._native.matrix))
    options = {"move_poles": move_poles, "max_room_pairs": max_room_pairs, "error": error, "exact_dc": exact_dc}
    passive, told = _polefit.enforce_passivity(model._native, frequencies, values, factors, options)
    made = Model._of(passive)
    return made, Enforcement._of(told, made._errors_of)


def refuse_without_effect(
    poles: Any, starting: Any, error: Any, real: Any, measure: Any, max_poles: Any, spacing: Any, iterations: Any,
    polish: Any,
) -> None:
    """An option that has no effect beside the others is refused, as the command refuses it."""
    if poles is None:
        for name, value in (("real", real), ("spacing", spacing), ("iterations", iterations), ("polish", polish)):
            if value is not None:
                raise Error(f"{name} has no effect without poles: a search decides that itself", "bad_option")
        return
    if max_poles is not None:
        raise Error("max_poles has no effect with poles: it is the limit of a search", "bad_option")
    if measure is not None and error is None:
        raise Error("measure has no effect with poles and without error: it says what that means", "bad_option")
    if len(starting):
        for name, value in (("real", real), ("spacing", spacing)):
            if value is not None:
                raise Error(f"{name} has no effect with poles that are given one by one", "bad_option")


def sampled_passivity(
    network: Union[FileName, Network, Any, ArrayLike],
    responses: ArrayLike | None = None,
    *,
    parameter: str | None = None,
    z0: ArrayLike | None = None,
) -> SampledPassivity:
    """Whether samples are those of a passive network, to 1e-3; arguments as those of `fit`.

    Examples
    --------
    >>> import polefit
    >>> polefit.sampled_passivity([1e9, 2e9], [[[0.5]], [[1.5]]]).frequency
    2000000000.0
    """
    data = _data_of(network, responses, parameter, z0, None, "auto")
    return SampledPassivity(**_polefit.sampled_passivity(data.frequencies, data.samples, data.matrix))


def _watching(progress: Any) -> Any:
    if progress is False or progress is None:
        return None
    if not callable(progress):
        raise TypeError(f"progress: found {progress!r}, expected True, False or what can be called")
    return lambda *step: progress(Progress(*step))


class _Bar:
    """One line on standard error that is written over."""

    def __init__(self) -> None:
        self._shown = 0

    def __call__(self, *step: Any) -> None:
        told = Progress(*step)
        error = told.error or told.residual
        text = f"order {told.order}   error {error:.2g}   {'polishing' if told.polishing else 'relocating'}"
        print("\r" + text.ljust(self._shown), end="", file=sys.stderr, flush=True)
        self._shown = len(text)

    def clear(self) -> None:
        if self._shown:
            print("\r" + " " * self._shown + "\r", end="", file=sys.stderr, flush=True)


def _data_of(
    given: Any, responses: Any, parameter: str | None, z0: ArrayLike | None, names: str | Sequence[str] | None, format: str
) -> _Data:
    if isinstance(given, (str, bytes, os.PathLike)):
        given = read_network(given, format)
        for warning in given.warnings:
            python_warnings.warn(warning, stacklevel=3)
    elif not isinstance(format, str) or format != "auto":
        raise Error("format has no effect without a file", "bad_option")
    if isinstance(given, Network):
        return _data_of_network(given, responses, parameter, z0, names)
    if hasattr(given, "f") and hasattr(given, "s"):
        return _data_of_object(given, responses, parameter, z0, names)
    if responses is None:
        raise TypeError("responses: found none, expected the samples at the frequencies")
    flat, chosen, matrix = placed(responses, parameter, z0, names)
    return _Data(reals(given, "frequencies"), flat, chosen, matrix, "")


def _data_of_network(
    network: Network, chosen: Any, parameter: str | None, z0: ArrayLike | None, names: str | Sequence[str] | None
) -> _Data:
    if names is not None:
        raise Error("names has no effect with a network, whose responses have names", "bad_option")
    if chosen is not None:
        network = network.selected(chosen)
    if parameter is not None or z0 is not None:
        known = network.z0
        reference = z0 if z0 is not None else known if known is not None and known.shape == (1,) else 50.0
        kind = network.parameter or "S" if parameter is None else parameter
        network = network.as_one_port(kind, reference)
    native = network._network
    return _Data(native.frequencies, native.samples, native.names, native.matrix, native.file)


def _data_of_object(
    network: Any, chosen: Any, parameter: str | None, z0: ArrayLike | None, names: str | Sequence[str] | None
) -> _Data:
    """Of S parameters with references that a model can hold; what it cannot is told, and keeps its values."""
    if parameter not in (None, "S") or z0 is not None:
        raise Error("parameter and z0 have no effect with a network, which has S and its references", "bad_option")
    if names is not None:
        raise Error("names has no effect with a network, whose responses have names", "bad_option")
    name = str(getattr(network, "name", None) or "")
    values = samples(network.s)
    if values.ndim != 3:
        raise Error(f"{name or 'the network'}: found s of the shape {values.shape}, expected (M, P, P)", "bad_shape")
    flat = by_response(values)
    ports = values.shape[1]
    impedances = samples(50.0 if getattr(network, "z0", None) is None else network.z0, "z0")
    try:
        impedances = np.broadcast_to(impedances, (len(values), ports))
    except ValueError:
        raise Error(
            f"{name or 'the network'}: found z0 of the shape {impedances.shape}, expected {(len(values), ports)}",
            "bad_shape",
        ) from None
    references = impedances[0].real if len(impedances) else np.full(ports, 50.0)
    varies = not (np.all(impedances == references) and np.all(references > 0.0))
    if varies:
        python_warnings.warn(
            f"{name or 'the network'}: its references are complex, or vary with frequency; the model keeps the values "
            "of S, but no references that a circuit could be made of (renormalize it to change that)",
            stacklevel=4,
        )
        references = np.where(references > 0.0, references, 50.0)
    matrix: Matrix = ("S", references.tolist(), None, (), varies)
    data = _Data(
        reals(network.f, "f"), flat, _polefit.element_names("S", ports), matrix, name
    )
    if chosen is None:
        return data
    native = _polefit.Network(data.frequencies, data.samples, data.names, data.matrix, os.fsencode(data.name))
    return _data_of_network(Network._of(native), chosen, None, None, None)
