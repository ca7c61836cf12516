"""The table of a fit for notebooks."""

from __future__ import annotations

from html import escape
from typing import TYPE_CHECKING

import numpy as np

if TYPE_CHECKING:
    from .fitting import Fit

MOST_RESPONSES = 5


def table_of(fit: Fit) -> str:
    rows = [
        ("data", f"{fit._data.samples.shape[1]} responses, {len(fit.f)} samples from {min(fit.f, default=0.0):g} Hz to "
                 f"{max(fit.f, default=0.0):g} Hz"),
        ("order", f"{len(fit.poles)} poles, {int(np.sum(fit.poles.imag == 0.0))} of them real"),
    ]
    if fit.report.finding:
        rows.append(("search", f"{fit.orders_tried} orders tried; {fit.report.finding}"))
    if fit.passivity is not None:
        what = "largest singular value" if fit.parameter == "S" else "least eigenvalue of the real part"
        told = "at all frequencies" if fit.passivity else "no"
        rows.append(("passive", f"{told} ({what} {fit.passivity.extreme:.6g} at {fit.passivity.frequency:g} Hz)"))
    if fit.not_corrected:
        rows.append(("not corrected", fit.not_corrected))
    rows.append(("relocations", f"{fit.report.iterations}, {fit.report.reason.replace('_', ' ')}"))
    rows.append(("time", f"{fit.seconds:.2g} s"))
    head = "".join(f"<tr><th>{escape(what)}</th><td colspan='3'>{escape(value)}</td></tr>" for what, value in rows)
    columns = "<tr><th>response</th><th>relative rms</th><th>rms</th><th>largest error</th></tr>"
    errors = fit._native.errors(fit.f, fit._data.samples)
    names = fit.names or [str(r + 1) for r in range(len(errors["rms"]))]
    worst = sorted(range(len(names)), key=lambda r: -float(errors["relative"][r]))[:MOST_RESPONSES]
    body = "".join(
        f"<tr><td>{escape(names[r])}</td>"
        + "".join(f"<td>{errors[what][r]:.2g}</td>" for what in ("relative", "rms", "largest"))
        + "</tr>"
        for r in worst
    )
    return f"<table><caption>{escape(fit.name)}</caption>{head}{columns}{body}</table>"
