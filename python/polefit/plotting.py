"""Pictures of fits, in the colours of ``polefit plot``."""

from __future__ import annotations

from collections.abc import Callable, Sequence
from functools import partial
from typing import TYPE_CHECKING, Any

import numpy as np
from numpy.typing import NDArray

from ._errors import Error
from .network import names_of

if TYPE_CHECKING:
    from matplotlib.axes import Axes

    from .fitting import Fit

FIT_COLOUR = "#00478f"
DATA_COLOUR = "#e69f00"
ERROR_COLOUR = "#333333"
GRID_COLOUR = "#d8d8d8"
MOST_PANELS = 4
CURVE_POINTS = 1001
# About a resonance, in units of its half width: between these places it is drawn straight.
RESONANCE_POINTS = np.array([-20, -8, -5, -3, -2, -1.5, -1, -0.7, -0.4, -0.2, 0, 0.2, 0.4, 0.7, 1, 1.5, 2, 3, 5, 8, 20])
UNITS = ((1e12, "THz"), (1e9, "GHz"), (1e6, "MHz"), (1e3, "kHz"))


def plot_fit(
    fit: Fit, names: str | Sequence[str] | None, axes: Sequence[Axes] | Axes | None, phase: bool = False
) -> list[Axes]:
    chosen = _chosen(fit, names)
    panels = _panels(len(chosen), axes)
    order = np.argsort(fit.f, kind="stable")
    f = fit.f[order]
    logarithmic = _is_logarithmic_sweep(f)
    if logarithmic:
        order, f = order[f > 0.0], f[f > 0.0]
    grid = _grid(fit.poles, float(f[0]), float(f[-1]), logarithmic)
    size, unit = next(((s, u) for s, u in UNITS if f[-1] >= s), (1.0, "Hz"))
    data = fit._data.samples[order]
    curve = fit._native.evaluate(grid)
    off = fit._native.evaluate(f) - data
    part: Callable[[NDArray[np.complex128]], Any] = np.abs
    if phase:
        part = partial(np.angle, deg=True)
    for axis, r in zip(panels, chosen):
        axis.set_xscale("log" if logarithmic else "linear")
        axis.set_yscale("linear" if phase else "log")
        axis.plot(f / size, part(data[:, r]), ".", color=DATA_COLOUR, markersize=4, label="data")
        axis.plot(grid / size, part(curve[:, r]), "-", color=FIT_COLOUR, linewidth=1.2, label="model")
        if not phase:
            axis.plot(f / size, part(off[:, r]), "-", color=ERROR_COLOUR, linewidth=0.7, label="error")
        axis.set_title(_name(fit, r))
        axis.set_xlabel(f"frequency / {unit}")
        axis.set_ylabel("phase / degrees" if phase else "magnitude")
        axis.grid(True, color=GRID_COLOUR, linewidth=0.5)
    panels[0].legend()
    return panels


def _is_logarithmic_sweep(f: NDArray[np.float64]) -> bool:
    """Whether rising frequencies crowd at the low end of a wide band, by the rule of ``polefit plot``."""
    positive = f[f > 0.0]
    return positive.size > 0 and positive[-1] >= 100.0 * positive[0] and bool(np.mean(positive <= positive[-1] / 5.0) >= 0.5)


def _grid(poles: NDArray[np.complex128], low: float, high: float, logarithmic: bool) -> NDArray[np.float64]:
    """Even on the axis, and closer where a resonance is narrower than that."""
    even = np.geomspace(low, high, CURVE_POINTS) if logarithmic else np.linspace(low, high, CURVE_POINTS)
    resonances = poles[poles.imag > 0.0, np.newaxis] / (2.0 * np.pi)
    near = (resonances.imag + RESONANCE_POINTS * np.abs(resonances.real)).reshape(-1)
    places: NDArray[np.float64] = np.unique(np.concatenate([even, near[(near > low) & (near < high)]]))
    return places


def _name(fit: Fit, response: int) -> str:
    return fit.names[response] if fit.names else str(response + 1)


def _chosen(fit: Fit, names: str | Sequence[str] | None) -> list[int]:
    every = [_name(fit, r) for r in range(fit._data.samples.shape[1])]
    if names is None:
        relative = fit._native.errors(fit.f, fit._data.samples)["relative"]
        return sorted(range(len(every)), key=lambda r: -float(relative[r]))[:MOST_PANELS]
    wanted = names_of(names)
    if not wanted:
        raise Error("names: found none, expected those of the responses to be drawn", "bad_option")
    if not set(wanted) <= set(every):
        wanted = fit.sampled(fit.f[:1]).selected(wanted).names  # which knows s21 and S(2,1), and refuses others
    return [every.index(name) for name in wanted]


def _panels(count: int, axes: Any) -> list[Axes]:
    if axes is None:
        import matplotlib.pyplot as plt

        columns = 1 if count == 1 else 2
        rows = -(-count // columns)
        figure, made = plt.subplots(rows, columns, squeeze=False, figsize=(5.0 * columns, 3.4 * rows), layout="constrained")
        for unused in made.flat[count:]:
            unused.remove()
        return list(made.flat[:count])
    given = list(np.ravel(np.asarray(axes, dtype=object)))
    if len(given) != count:
        raise Error(f"axes: found {len(given)}, expected {count}, one a response", "bad_shape")
    if not all(hasattr(axis, "plot") for axis in given):
        raise TypeError(f"axes: found {axes!r:.50}, expected axes of matplotlib")
    return given
