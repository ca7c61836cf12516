"""What is told of fits and models, as plain records."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any, NamedTuple

import numpy as np
from numpy.typing import NDArray

Reals = NDArray[np.float64]


class Progress(NamedTuple):
    """What is told after a relocation and after a step of polishing."""

    iteration: int
    """From 1."""
    order: int
    """Number of poles."""
    residual: float
    """Of the relocation, relative to the weighted data."""
    pole_change: float
    """Largest relative move of a pole."""
    path: str
    """How it was solved: ``gram`` or ``orthogonal``."""
    polishing: bool
    """Whether the poles were not relocated but moved downhill."""
    error: float
    """Of a model with these poles, relative to the weighted data; 0 where not known."""


class Violation(NamedTuple):
    """Frequencies in hertz between which a model is not passive, and the worst value there."""

    lowest: float
    highest: float
    worst: float
    frequency: float


class StateSpace(NamedTuple):
    """x' = A x + B u, y = C x + D u + E u' with N states, p inputs and q outputs."""

    A: Reals
    """Of the shape (N, N), in 1/s."""
    B: Reals
    """Of the shape (N, p)."""
    C: Reals
    """Of the shape (q, N)."""
    D: Reals
    """Of the shape (q, p)."""
    E: Reals
    """Of the shape (q, p), in seconds."""


class PortSignals(NamedTuple):
    """Voltages and currents of all ports at T times."""

    voltages: Reals
    """Of the shape (T, P), in volts."""
    currents: Reals
    """Of the shape (T, P), in amperes, into the network."""
    exact: bool
    """Whether they are exact but for rounding."""


@dataclass(frozen=True, eq=False)
class Errors:
    """The distance of a model from data; arrays of the shape of the responses, such as (P, P)."""

    rms: Reals
    """Root mean square modulus of the difference."""
    relative: Reals
    """The same over the root mean square modulus of the data."""
    largest: Reals
    """Largest modulus of the difference."""

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Errors):
            return NotImplemented
        pairs = ((self.rms, other.rms), (self.relative, other.relative), (self.largest, other.largest))
        return all(np.array_equal(ours, theirs) for ours, theirs in pairs)


ErrorsOf = Callable[[dict[str, Reals]], Errors]


@dataclass(frozen=True)
class Report:
    """What a run did and how far to trust it."""

    iterations: int
    """Relocations."""
    reason: str
    """Why they ended: poles_settled, residual_settled, iteration_limit, searched, cancelled."""
    last_path: str
    """How the last relocation was solved: gram (normal equations) or orthogonal."""
    gram_relocations: int
    orthogonal_relocations: int
    polishing_steps: int
    """Of variable projection behind the relocations."""
    residual: float
    """Of the last relocation, relative to the weighted data."""
    condition_basis: float
    """Reciprocal condition of the basis' normal matrix."""
    condition_sigma: float
    """Reciprocal condition of the equations for the weighting function."""
    relative_error: float
    """Root mean square over all responses, each relative to its own."""
    worst_relative_error: float
    """Largest of a response."""
    largest_error: float
    """Largest modulus of a difference."""
    gain: float
    """Largest modulus of the model at any frequency over that of the data."""
    finding: str
    """Why a search for the order ended, in one line."""


@dataclass(frozen=True)
class Passivity:
    """Whether a model gives back no more energy than it was given, at every frequency."""

    passive: bool
    decided: bool
    """Whether it could be told; if not, the model counts as one that is not passive."""
    method: str
    """What decided: certificate or hamiltonian."""
    tolerance: float
    pieces: int
    """Of the frequency axis that were looked at."""
    extreme: float
    """Largest singular value of S, least eigenvalue of (H + H^H) / 2 of Y or Z."""
    frequency: float
    """In hertz, where that is; may be infinite."""
    violations: tuple[Violation, ...]
    """By rising frequency."""
    proportional_fault: str
    """What is wrong with the terms proportional to s."""

    @classmethod
    def _of(cls, told: dict[str, Any]) -> Passivity:
        told["violations"] = tuple(Violation(*violation) for violation in told["violations"])
        return cls(**told)

    def __bool__(self) -> bool:
        return self.passive


@dataclass(frozen=True)
class Certificate:
    """What a model's file records of its passivity."""

    passive: bool
    tolerance: float
    extreme: float
    frequency: float


@dataclass(frozen=True)
class SampledPassivity:
    """Whether samples are those of a passive network."""

    passive: bool
    tolerance: float
    extreme: float
    frequency: float
    samples: int
    """That violate the limit."""
    lowest: float
    """In hertz, of those that violate it."""
    highest: float

    def __bool__(self) -> bool:
        return self.passive


@dataclass(frozen=True)
class Enforcement:
    """What made a model passive, and at what cost."""

    passivity: Passivity
    remedy: str
    """none, shrinking, nearest or drawn_inwards."""
    room_pairs: int
    """Pairs of poles that were added beyond the band."""
    rounds: int
    moves: int
    operations: float
    error_before: float
    """Root mean square of the weighted differences relative to that of the weighted data."""
    error_after: float
    errors_before: Errors
    errors_after: Errors

    @classmethod
    def _of(cls, told: dict[str, Any], errors_of: ErrorsOf) -> Enforcement:
        told["passivity"] = Passivity._of(told["passivity"])
        told["errors_before"] = errors_of(told["errors_before"])
        told["errors_after"] = errors_of(told["errors_after"])
        return cls(**told)


@dataclass(frozen=True)
class Origin:
    """The data that a model was fitted to."""

    lowest: float
    """In hertz."""
    highest: float
    samples: int
    errors: Errors
    finding: str
    """Why a search for the order ended, in one line."""

    @classmethod
    def _of(cls, told: dict[str, Any], errors_of: ErrorsOf) -> Origin:
        told["errors"] = errors_of(told["errors"])
        return cls(**told)
