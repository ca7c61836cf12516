"""Rational models of network data: fitted, passive, in time, as circuits.

>>> import numpy, polefit
>>> f = numpy.linspace(0.0, 10e9, 201)
>>> s11 = 0.5 - 1e9 / (2j * numpy.pi * f + 2e9)
>>> fit = polefit.fit(f, s11.reshape(-1, 1, 1), error=1e-6)
>>> fit.poles.real.round(-3).tolist(), bool(fit.passivity)
([-2000000000.0], True)
"""

from ._errors import Error
from ._polefit import version as __version__
from .fitting import Fit, fit, sampled_passivity
from .model import Model, load, model_from_json
from .network import Network, network_from_text, read_network
from .records import (
    Certificate,
    Enforcement,
    Errors,
    Origin,
    Passivity,
    PortSignals,
    Progress,
    Report,
    SampledPassivity,
    StateSpace,
    Violation,
)
from .vector_fitting import VectorFitting

__all__ = [
    "Certificate",
    "Enforcement",
    "Error",
    "Errors",
    "Fit",
    "Model",
    "Network",
    "Origin",
    "Passivity",
    "PortSignals",
    "Progress",
    "Report",
    "SampledPassivity",
    "StateSpace",
    "VectorFitting",
    "Violation",
    "__version__",
    "fit",
    "load",
    "model_from_json",
    "network_from_text",
    "read_network",
    "sampled_passivity",
]
