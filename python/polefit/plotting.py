"""Pictures of fits, in the colours of ``polefit plot``."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy as np

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
UNITS = ((1e12, "THz"), (1e9, "GHz"), (1e6, "MHz"), (1e3, "kHz"))


def plot_fit(fit: Fit, names: Sequence[str] | None, axes: Sequence[Axes] | Axes | None) -> list[Axes]:
    chosen = _chosen(fit, names)
    panels = _panels(len(chosen), axes)
    f = fit.f
    order = np.argsort(f, kind="stable")
    lowest, highest = float(f[order[0]]), float(f[order[-1]])
    grid = np.linspace(lowest, highest, CURVE_POINTS)
    size, unit = next(((s, u) for s, u in UNITS if highest >= s), (1.0, "Hz"))
    data = fit._data.samples
    curve = fit._native.evaluate(grid)
    values = fit._native.evaluate(f)
    for axis, r in zip(panels, chosen):
        axis.semilogy(f[order] / size, abs(data[order, r]), ".", color=DATA_COLOUR, markersize=4, label="data")
        axis.semilogy(grid / size, abs(curve[:, r]), "-", color=FIT_COLOUR, linewidth=1.2, label="model")
        axis.semilogy(
            f[order] / size, abs(values[order, r] - data[order, r]), "-", color=ERROR_COLOUR, linewidth=0.7, label="error"
        )
        axis.set_title(_name(fit, r))
        axis.set_xlabel(f"frequency / {unit}")
        axis.grid(True, color=GRID_COLOUR, linewidth=0.5)
    if panels:
        panels[0].legend()
    return panels


def _name(fit: Fit, response: int) -> str:
    return fit.names[response] if fit.names else str(response + 1)


def _chosen(fit: Fit, names: Sequence[str] | None) -> list[int]:
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
    return given
