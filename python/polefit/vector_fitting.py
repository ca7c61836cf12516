"""A class with the names and conventions that users of scikit-rf's vector fitting know."""

from __future__ import annotations

import io
import os
import time
import warnings
from collections.abc import Callable
from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _polefit
from ._arrays import by_response, real_parts, reals, samples
from ._errors import Error
from .fitting import enforced, fit
from .model import Model
from .network import FileName, Network, read_network
from .plotting import DATA_COLOUR, FIT_COLOUR, GRID_COLOUR
from .records import Passivity, Progress

if TYPE_CHECKING:
    from matplotlib.axes import Axes

SPACINGS = {"lin": "linear", "log": "log"}
COMPONENTS: dict[str, tuple[str, Callable[[NDArray[np.complex128]], Any]]] = {
    "db": ("magnitude / dB", lambda values: 20.0 * np.log10(np.abs(values))),
    "mag": ("magnitude", np.abs),
    "deg": ("phase / degrees", lambda values: np.angle(values, deg=True)),
    "deg_unwrap": ("phase / degrees", lambda values: np.rad2deg(np.unwrap(np.angle(values)))),
    "re": ("real part", np.real),
    "im": ("imaginary part", np.imag),
}


class VectorFitting:
    """Fits a network with one set of poles for all its responses.

    Names, arguments and arrays are those that scikit-rf documents for its class of this name; the fits are polefit's.
    What differs is told in docs/scikit-rf.md.

    Parameters
    ----------
    network : object, str or path
        With ``f`` (M,), ``s`` (M, P, P), ``z0`` and ``name``, such as scikit-rf's ``Network``, or a `Network`, or a file.

    Attributes
    ----------
    poles : ndarray of complex, of the shape (N,), or None
        In rad/s; of a conjugate pair only the member with positive imaginary part.
    residues : ndarray of complex, of the shape (P * P, N), or None
        Of the responses row by row: that of row i and column j has the number ``i * P + j``.
    constant_coeff, proportional_coeff : ndarray of float, of the shape (P * P,), or None
        d, and h in seconds.
    max_iterations : int
        Relocations at most.
    max_tol : float
        Taken for the sake of programs that set it; poles settle to a part in a hundred million here.
    wall_clock_time : float
        Of the last fit or enforcement, in seconds.
    d_res_history : list of float
        Residual of each relocation of the last fit, relative to the data.

    Examples
    --------
    >>> import numpy, polefit
    >>> f = numpy.linspace(0.0, 10e9, 201)
    >>> one_port = polefit.Network(f, (0.5 - 1e9 / (2j * numpy.pi * f + 2e9)).reshape(-1, 1, 1))
    >>> vf = polefit.VectorFitting(one_port)
    >>> vf.vector_fit(n_poles_real=1, n_poles_cmplx=0)
    >>> vf.poles.real.round(-3).tolist(), vf.residues.shape, vf.constant_coeff.round(9).tolist()
    ([-2000000000.0], (1, 1), [0.5])
    """

    def __init__(self, network: Any) -> None:
        if isinstance(network, (str, bytes, os.PathLike)):
            network = read_network(network)
            for warning in network.warnings:
                warnings.warn(warning, stacklevel=2)
        if not hasattr(network, "f") or not hasattr(network, "s"):
            raise TypeError(f"network: found {network!r:.50}, expected a network with f and s, or a file")
        self.network = network
        self.poles: NDArray[np.complex128] | None = None
        self.residues: NDArray[np.complex128] | None = None
        self.constant_coeff: NDArray[np.float64] | None = None
        self.proportional_coeff: NDArray[np.float64] | None = None
        self.max_iterations = 100
        self.max_tol = 1e-6
        self.wall_clock_time = 0.0
        self.d_res_history: list[float] = []
        self._fitted = "S"

    def vector_fit(
        self,
        n_poles_real: int = 2,
        n_poles_cmplx: int = 2,
        init_pole_spacing: str = "lin",
        parameter_type: str = "s",
        fit_constant: bool = True,
        fit_proportional: bool = False,
    ) -> None:
        """Fits with given numbers of real poles and of conjugate pairs to start with.

        Parameters
        ----------
        n_poles_real, n_poles_cmplx : int
            Poles that start as real ones, and pairs.
        init_pole_spacing : {'lin', 'log', 'custom'}
            Of the pairs over the band; custom ones are those in ``poles``, whatever the numbers above.
        parameter_type : {'s', 'y', 'z'}
            What is fitted.
        fit_constant, fit_proportional : bool
            Whether there are terms d, and s h.
        """
        options: dict[str, Any]
        if init_pole_spacing == "custom":
            options = {"poles": _with_conjugates(self._known(self.poles))}
        elif init_pole_spacing in SPACINGS:
            options = {
                "poles": n_poles_real + 2 * n_poles_cmplx,
                "real": n_poles_real,
                "spacing": SPACINGS[init_pole_spacing],
            }
        else:
            raise Error(f"init_pole_spacing: found {init_pole_spacing!r}, expected 'lin', 'log' or 'custom'", "bad_option")
        self._fit(
            parameter_type,
            iterations=self.max_iterations,
            constant=fit_constant,
            proportional=fit_proportional,
            **options,
        )

    def auto_fit(
        self,
        n_poles_init_real: int = 3,
        n_poles_init_cmplx: int = 3,
        n_poles_add: int = 3,
        model_order_max: int = 100,
        iters_start: int = 3,
        iters_inter: int = 3,
        iters_final: int = 5,
        target_error: float = 1e-2,
        alpha: float = 0.03,
        gamma: float = 0.03,
        nu_samples: float = 1.0,
        parameter_type: str = "s",
    ) -> None:
        """Finds the order.

        Parameters
        ----------
        target_error : float
            Largest modulus of a difference that is aimed at.
        model_order_max : int
            Of poles, both members of a pair counted.
        parameter_type : {'s', 'y', 'z'}
            What is fitted.

        Notes
        -----
        The other arguments steer a search of another kind and have no effect.
        """
        self._fit(parameter_type, error=target_error, measure="largest", max_poles=model_order_max)

    def get_model_response(self, i: int, j: int, freqs: ArrayLike | None = None) -> NDArray[np.complex128]:
        """Values of the response of row i and column j, counted from 0, at frequencies in hertz, of the shape (M,).

        Without frequencies at 1000 ones from the lowest to the highest of the network.
        """
        return self._model(z0=1.0)(self._points(freqs))[..., i, j]

    def get_rms_error(self, i: int = -1, j: int = -1, parameter_type: str = "s") -> float:
        """Root mean square modulus of the difference between model and network.

        Of the response of row i and column j; of all columns, or rows, where a number is -1.
        """
        data = self._values(parameter_type)
        difference = self._model(z0=1.0)(self._f) - data
        rows: Any = slice(None) if i == -1 else i
        columns: Any = slice(None) if j == -1 else j
        return float(np.sqrt(np.mean(np.abs(difference[:, rows, columns]) ** 2)))

    @staticmethod
    def get_model_order(poles: ArrayLike) -> int:
        """Number of poles, both members of a pair counted.

        >>> import polefit
        >>> polefit.VectorFitting.get_model_order([-1.0, -1.0 + 2.0j])
        3
        """
        imaginary = np.imag(np.asarray(poles, dtype=np.complex128))
        return int(imaginary.size + np.count_nonzero(imaginary))

    def passivity_test(self, parameter_type: str = "s") -> NDArray[np.float64]:
        """Bands in hertz in which the model is not passive, of the shape (K, 2); the last may end at infinity."""
        found = self._passivity(parameter_type)
        if not found.passive and not found.violations:
            raise Error(found.proportional_fault or "it cannot be told whether the model is passive", "numerical_breakdown")
        return np.array([[band.lowest, band.highest] for band in found.violations]).reshape(-1, 2)

    def is_passive(self, parameter_type: str = "s") -> bool:
        """Whether the model is passive at every frequency."""
        return self._passivity(parameter_type).passive

    def passivity_enforce(self, n_samples: int = 200, f_max: float | None = None, parameter_type: str = "s") -> None:
        """Makes the model passive at every frequency, with the least harm to the fit.

        Notes
        -----
        ``n_samples`` and ``f_max`` have no effect: passivity is certified for all frequencies, and the distance to the
        samples of the network is what is kept small.
        """
        begin = time.perf_counter()
        data = self._values(parameter_type)
        model, told = enforced(self._model(parameter_type), self._f, by_response(data), "uniform")
        self._take(model)
        self.wall_clock_time = time.perf_counter() - begin
        if not told.passivity:
            warnings.warn("the model could not be made passive", RuntimeWarning, stacklevel=2)

    def write_npz(self, path: FileName) -> None:
        """Writes the model to ``coefficients_NAME.npz`` in a folder, NAME that of the network."""
        name = os.path.basename(str(getattr(self.network, "name", None) or "network"))
        if isinstance(self.network, Network):
            name = os.path.splitext(name)[0]
        arrays = {
            "poles": self._known(self.poles),
            "residues": self._known(self.residues),
            "proportionals": self._known(self.proportional_coeff),
            "constants": self._known(self.constant_coeff),
        }
        content = io.BytesIO()
        np.savez_compressed(content, **arrays)
        file = os.path.join(os.fsdecode(path), f"coefficients_{name}.npz")
        _polefit.write_export(os.fsencode(file), content.getvalue())

    def read_npz(self, file: FileName) -> None:
        """Takes the model that `write_npz` wrote to a file."""
        shown = os.fsdecode(file)
        held = _arrays_in(shown)
        missing = {"poles", "residues", "proportionals", "constants"} - set(held)
        if missing:
            raise Error(f"{shown}: found no {', '.join(sorted(missing))}, expected a model's arrays", "bad_model_file")
        read = VectorFitting(self.network)
        try:
            read.poles, read.residues = samples(held["poles"]), samples(held["residues"])
            read.constant_coeff = real_parts(held["constants"], "constants").reshape(-1)
            read.proportional_coeff = real_parts(held["proportionals"], "proportionals").reshape(-1)
            model = read._model()
        except (TypeError, ValueError) as error:
            raise Error(f"{shown}: {error}", "bad_model_file") from error
        if model.constants.size != self._ports**2:
            raise Error(
                f"{shown}: found a model of {model.constants.size} responses, expected {self._ports ** 2} as in the network",
                "bad_model_file",
            )
        self.poles, self.residues, self._fitted = read.poles, read.residues, read._fitted
        self.constant_coeff, self.proportional_coeff = read.constant_coeff, read.proportional_coeff

    def write_spice_subcircuit_s(
        self, file: FileName, fitted_model_name: str = "s_equivalent", create_reference_pins: bool = False
    ) -> None:
        """Writes the model of S parameters as a SPICE subcircuit.

        Parameters
        ----------
        file : str or path
        fitted_model_name : str
            Of the subcircuit.
        create_reference_pins : bool
            Whether each port has a reference pin behind it, ``p1 p1_ref p2 p2_ref ...``; without, node 0 is that of all.
        """
        ports = range(1, self._ports + 1)
        if self._fitted != "S":
            raise Error(f"found a model of {self._fitted}, expected one of S for this circuit (fit writes any)", "bad_option")
        core = self._model("s", self._references()).spice(fitted_model_name + "_core")
        # Core first, so that simulators that read once know it.
        lines = [core.rstrip("\n")]
        if create_reference_pins:
            lines.append(f".subckt {fitted_model_name} " + " ".join(f"p{k} p{k}_ref" for k in ports))
            for k in ports:
                # The core sees the voltage between the pins, and its current flows between them.
                lines += [f"Ep{k} e{k} 0 p{k} p{k}_ref 1", f"Vp{k} e{k} c{k} 0", f"Fp{k} p{k} p{k}_ref Vp{k} 1"]
            nodes = " ".join(f"c{k}" for k in ports)
        else:
            lines.append(f".subckt {fitted_model_name} " + " ".join(f"p{k}" for k in ports))
            nodes = " ".join(f"p{k}" for k in ports)
        lines += [f"Xcore {nodes} 0 {fitted_model_name}_core", f".ends {fitted_model_name}"]
        text = "\n".join(_folded(line) for line in lines) + "\n"
        _polefit.write_export(os.fsencode(file), text.encode())

    def plot(
        self,
        component: str,
        i: int = -1,
        j: int = -1,
        freqs: ArrayLike | None = None,
        parameter: str = "s",
        *,
        ax: Axes | None = None,
    ) -> Axes:
        """Draws network and model of the response of row i and column j, of all where a number is -1.

        Parameters
        ----------
        component : {'db', 'mag', 'deg', 'deg_unwrap', 're', 'im'}
            What is drawn over the frequency.
        freqs : array_like
            Of the model's curves, in hertz.
        parameter : {'s', 'y', 'z'}
            Of the network's samples.
        """
        if component not in COMPONENTS:
            raise Error(f"component: found {component!r}, expected one of {', '.join(COMPONENTS)}", "bad_option")
        label, part = COMPONENTS[component]
        axes = _axes(ax)
        data = self._values(parameter)
        f, at = self._f, self._points(freqs)
        curve = self._model(z0=1.0)(at)
        for row in range(self._ports) if i == -1 else [i]:
            for column in range(self._ports) if j == -1 else [j]:
                axes.plot(f, part(data[:, row, column]), ".", color=DATA_COLOUR, label="samples")
                axes.plot(at, part(curve[:, row, column]), color=FIT_COLOUR, label="model")
        axes.set_xlabel("frequency / Hz")
        axes.set_ylabel(label)
        axes.grid(True, color=GRID_COLOUR)
        handles = dict(zip(*axes.get_legend_handles_labels()[::-1]))
        axes.legend(handles.values(), handles.keys())
        return axes

    def plot_s_db(self, i: int = -1, j: int = -1, freqs: ArrayLike | None = None, *, ax: Axes | None = None) -> Axes:
        """Draws magnitudes in decibels, as `plot`."""
        return self.plot("db", i, j, freqs, ax=ax)

    def plot_s_mag(self, i: int = -1, j: int = -1, freqs: ArrayLike | None = None, *, ax: Axes | None = None) -> Axes:
        """Draws magnitudes, as `plot`."""
        return self.plot("mag", i, j, freqs, ax=ax)

    def plot_s_re(self, i: int = -1, j: int = -1, freqs: ArrayLike | None = None, *, ax: Axes | None = None) -> Axes:
        """Draws real parts, as `plot`."""
        return self.plot("re", i, j, freqs, ax=ax)

    def plot_s_im(self, i: int = -1, j: int = -1, freqs: ArrayLike | None = None, *, ax: Axes | None = None) -> Axes:
        """Draws imaginary parts, as `plot`."""
        return self.plot("im", i, j, freqs, ax=ax)

    def plot_s_singular(self, freqs: ArrayLike | None = None, *, ax: Axes | None = None) -> Axes:
        """Draws the singular values of the model of S at frequencies in hertz."""
        axes = _axes(ax)
        at = self._points(freqs)
        values = np.linalg.svd(self._model(z0=1.0)(at), compute_uv=False)
        for k in range(values.shape[1]):
            axes.plot(at, values[:, k], label=f"singular value {k + 1}")
        axes.set_xlabel("frequency / Hz")
        axes.set_ylabel("magnitude")
        axes.grid(True, color=GRID_COLOUR)
        axes.legend()
        return axes

    def plot_convergence(self, ax: Axes | None = None) -> Axes:
        """Draws the residual of each relocation of the last fit."""
        axes = _axes(ax)
        axes.semilogy(np.arange(1, len(self.d_res_history) + 1), self.d_res_history, color=FIT_COLOUR)
        axes.set_xlabel("relocation")
        axes.set_ylabel("residual, relative to the data")
        axes.grid(True, color=GRID_COLOUR)
        return axes

    @property
    def _f(self) -> NDArray[np.float64]:
        return reals(self.network.f, "f")

    def _points(self, freqs: ArrayLike | None) -> NDArray[np.float64]:
        """Where a model is looked at: at these frequencies, or at 1000 in the band of the network."""
        if freqs is not None:
            return np.asarray(freqs)
        band: NDArray[np.float64] = np.linspace(self._f.min(), self._f.max(), 1000)
        return band

    @property
    def _ports(self) -> int:
        return self._values("s").shape[1]

    def _values(self, parameter_type: str) -> NDArray[np.complex128]:
        """The network's samples of the shape (M, P, P)."""
        kind = str(parameter_type).lower()
        if kind not in ("s", "y", "z"):
            raise Error(f"parameter_type: found {parameter_type!r}, expected 's', 'y' or 'z'", "bad_option")
        network = self.network
        if isinstance(network, Network):
            found = network.s if network.parameter == kind.upper() else network.converted(kind.upper()).s
        else:
            found = network.s
        values = samples(found)
        if values.ndim != 3 or values.shape[1] != values.shape[2]:
            raise Error(f"network: found samples of the shape {values.shape}, expected (M, P, P)", "bad_shape")
        if kind == "s" or isinstance(network, Network):
            return values
        references = self._references_of(values.shape[1])
        if references is None:
            return samples(getattr(network, kind))
        return Network(self._f, values, z0=references).converted(kind.upper()).s

    def _references(self) -> NDArray[np.float64]:
        """Of the ports in ohms, as a circuit needs them."""
        found = self._references_of(self._ports)
        if found is None:
            raise Error("network: found references that are complex or vary, expected real ones for a circuit", "bad_shape")
        return found

    def _references_of(self, ports: int) -> NDArray[np.float64] | None:
        """In ohms, where they are real and do not vary."""
        given = np.atleast_2d(np.asarray(getattr(self.network, "z0", 50.0), dtype=np.complex128))
        if given.shape[1] not in (1, ports):
            raise Error(f"network: found references of the shape {given.shape}, expected (M, {ports})", "bad_shape")
        first = np.broadcast_to(given[0].real if len(given) else 50.0, ports)
        return first if np.all(given == first) and np.all(first > 0.0) else None

    def _fit(self, parameter_type: str, **options: Any) -> None:
        begin = time.perf_counter()
        self.d_res_history = []

        def keep(step: Progress) -> None:
            if not step.polishing:
                self.d_res_history.append(step.residual)

        found = fit(
            self._f,
            self._values(parameter_type),
            parameter=str(parameter_type).upper(),
            weights="uniform",
            passive=False,
            progress=keep,
            **options,
        )
        self._take(found.model)
        self._fitted = str(parameter_type).upper()
        self.wall_clock_time = time.perf_counter() - begin
        if not found.converged:
            warnings.warn(
                f"relative error {found.report.relative_error:.2g}, not what was asked for"
                + (f": {found.report.finding}" if found.report.finding else ""),
                RuntimeWarning,
                stacklevel=3,
            )
        if found.passivity is not None and not found.passivity:
            warnings.warn("the model is not passive; passivity_enforce() makes it so", UserWarning, stacklevel=3)

    def _take(self, model: Model) -> None:
        """Keeps a model of a whole matrix in arrays."""
        first = model.poles.imag >= 0.0
        self.poles = model.poles[first]
        self.residues = model.residues.reshape(model.constants.size, len(first))[:, first]
        self.constant_coeff = model.constants.reshape(-1).copy()
        self.proportional_coeff = model.proportionals.reshape(-1).copy()

    def _model(self, parameter_type: str = "s", z0: ArrayLike = 50.0) -> Model:
        """The model that the arrays are now, which users may have changed."""
        poles = np.asarray(self._known(self.poles), dtype=np.complex128)
        residues = np.asarray(self._known(self.residues), dtype=np.complex128)
        if poles.ndim != 1 or residues.ndim != 2 or residues.shape[1] != poles.size:
            raise Error(f"residues: found the shape {residues.shape}, expected one column a pole of {poles.size}", "bad_shape")
        ports = round(len(residues) ** 0.5)
        if ports * ports != len(residues):
            raise Error(f"residues: found {len(residues)} rows, expected those of a square matrix", "bad_shape")
        constants, proportionals = np.asarray(self.constant_coeff), np.asarray(self.proportional_coeff)
        for what, terms in (("constant_coeff", constants), ("proportional_coeff", proportionals)):
            if terms.size != len(residues):
                raise Error(f"{what}: found {terms.size} values, expected {len(residues)}, one a response", "bad_shape")
        if not all(np.isfinite(values).all() for values in (poles, residues, constants, proportionals)):
            raise Error("found a model with infinite numbers or none, expected finite ones", "bad_shape")
        return Model(
            _with_conjugates(poles),
            np.stack([_with_conjugates(row, poles) for row in residues]).reshape(ports, ports, -1),
            constants.reshape(ports, ports),
            proportionals.reshape(ports, ports),
            parameter=str(parameter_type).upper(),
            z0=z0,
        )

    def _passivity(self, parameter_type: str) -> Passivity:
        return self._model(parameter_type).check_passivity()

    @staticmethod
    def _known(array: NDArray[Any] | None) -> NDArray[Any]:
        if array is None:
            raise Error("found no model, expected vector_fit, auto_fit or read_npz before this", "bad_option")
        return array


def _with_conjugates(values: NDArray[np.complex128], poles: NDArray[np.complex128] | None = None) -> NDArray[np.complex128]:
    """One behind each value that belongs to a complex pole; without poles the values are these."""
    complex_ones = np.imag(values if poles is None else poles) != 0.0
    both = np.repeat(np.asarray(values, dtype=np.complex128), np.where(complex_ones, 2, 1))
    second = np.cumsum(np.where(complex_ones, 2, 1))[complex_ones] - 1
    both[second] = np.conj(both[second])
    return both


def _arrays_in(file: str) -> dict[str, NDArray[Any]]:
    """Of a file of numpy's; whatever else it holds is an error, and nothing in it is run."""
    try:
        with open(file, "rb") as stream:
            held = np.load(stream, allow_pickle=False)
            return {name: held[name] for name in held.files}
    except MemoryError:
        raise
    except Exception as error:  # of the system, of zip files, of their compression, of numpy's headers
        raise Error(f"{file}: found {error!s:.100}, expected a file that write_npz wrote", "bad_model_file") from error


def _folded(line: str, width: int = 80) -> str:
    """Lines that are too long are continued by a plus sign; those of the core are already."""
    if "\n" in line or len(line) <= width:
        return line
    rows, row = [], ""
    for word in line.split(" "):
        if row and len(row) + 1 + len(word) > width:
            rows.append(row)
            row = "+"
        row = f"{row} {word}" if row else word
    return "\n".join([*rows, row])


def _axes(ax: Axes | None) -> Axes:
    if ax is not None:
        return ax
    import matplotlib.pyplot as plt

    return plt.gca()
