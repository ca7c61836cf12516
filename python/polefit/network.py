"""Networks: samples of responses at frequencies, read from files or made from arrays."""

from __future__ import annotations

import os
from collections.abc import Sequence
from typing import Any, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _polefit
from ._arrays import by_response, ohms, reals, samples
from ._errors import Error

FileName = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
Matrix = tuple[str, Sequence[float], Any, Any, bool]


def known_parameter(given: Any, known: str = "SYZ") -> str:
    """One letter of those that are known."""
    if not isinstance(given, str) or len(given) != 1 or given not in known:
        *others, last = (f"'{letter}'" for letter in known)
        raise Error(f"parameter: found {given!r:.50}, expected {', '.join(others)} or {last}", "bad_option")
    return given


def matrix_for(parameter: str, ports: int, z0: ArrayLike) -> Matrix:
    """Of all elements row by row."""
    known_parameter(parameter)
    references = ohms(z0, "z0")
    if references.size not in (1, ports):
        raise Error(f"z0: found the shape {references.shape}, expected one reference or {ports}", "bad_shape")
    return parameter, np.broadcast_to(references, ports).tolist(), None, (), False


def places(matrix: Matrix | None) -> list[int] | None:
    """Of each element of a whole matrix the place row by row; None where they stand in that order."""
    if matrix is None or matrix[2] is None or len(matrix[2]) != len(matrix[1]) ** 2:
        return None
    place = [(row - 1) * len(matrix[1]) + column - 1 for row, column in matrix[2]]
    return None if place == sorted(place) else place


def names_of(names: str | Sequence[str] | None) -> list[str]:
    """A single one is no sequence of letters."""
    if names is None:
        return []
    chosen = [names] if isinstance(names, str) else list(names)
    try:
        for name in chosen:
            name.encode()  # what goes into files is UTF-8
    except (AttributeError, UnicodeEncodeError):
        raise TypeError(f"names: found {names!r:.50}, expected names of responses, such as ['S21']") from None
    return chosen


def placed(
    given: ArrayLike, parameter: str | None, z0: ArrayLike | None, names: str | Sequence[str] | None
) -> tuple[NDArray[np.complex128], list[str], Matrix | None]:
    """Samples of the shape (M, R), their names, and the matrix of which they are the elements where there is one."""
    values = samples(given)
    flat = by_response(values)
    chosen = names_of(names)
    if values.ndim == 3 or parameter is not None:
        ports = values.shape[1] if values.ndim == 3 else 1
        if flat.shape[1] != ports * ports:
            raise Error(f"parameter: found responses of the shape {values.shape}, expected (M, P, P)", "bad_shape")
        matrix = matrix_for("S" if parameter is None else parameter, ports, 50.0 if z0 is None else z0)
        return flat, chosen or _polefit.element_names(matrix[0], ports), matrix
    if z0 is not None:
        raise Error("z0 has no effect without a matrix, of which responses have the shape (M, P, P)", "bad_option")
    return flat, chosen, None


class Network:
    """Samples at M frequencies of the responses of a network; does not change.

    Parameters
    ----------
    f : array_like of the shape (M,)
        In hertz.
    s : array_like of the shape (M,), (M, R) or (M, P, P)
        Samples of one response, of R, or of the matrix of P ports.
    parameter : {'S', 'Y', 'Z'}
        What a matrix holds: waves, siemens or ohms, S without it; makes a single response that of a one-port.
    z0 : float, or array_like of the shape (P,)
        References in ohms, 50 without it.
    names : str, or sequence of str
        Of the responses; those of a matrix are called S11, S12, ...
    name : str
        Of the network, in messages and tables.

    Examples
    --------
    >>> import polefit
    >>> network = polefit.Network([1e9, 2e9], [[[0.5j]], [[0.4j]]])
    >>> network.nports, network.names, network.converted("Z").s[0].round(3).tolist()
    (1, ['S11'], [[(30+40j)]])
    """

    __slots__ = ("_network",)

    def __init__(
        self,
        f: ArrayLike,
        s: ArrayLike,
        *,
        parameter: str | None = None,
        z0: ArrayLike | None = None,
        names: str | Sequence[str] | None = None,
        name: str = "",
    ) -> None:
        flat, chosen, matrix = placed(s, parameter, z0, names)
        chosen = chosen or [str(i + 1) for i in range(flat.shape[1])]
        self._network = _polefit.Network(reals(f, "f"), flat, chosen, matrix, os.fsencode(name))

    @classmethod
    def _of(cls, native: _polefit.Network) -> Network:
        network = cls.__new__(cls)
        network._network = native
        return network

    @property
    def f(self) -> NDArray[np.float64]:
        """Frequencies in hertz, of the shape (M,)."""
        return self._network.frequencies

    @property
    def responses(self) -> NDArray[np.complex128]:
        """Samples of the shape (M, R), in the order of `names`."""
        return self._network.samples

    @property
    def s(self) -> NDArray[np.complex128]:
        """Samples of the matrix, of the shape (M, P, P), whatever its parameter; of no whole matrix (M, R)."""
        flat = self._network.samples
        ports = self.nports or 0
        if ports * ports != flat.shape[1]:
            return flat
        place = places(self._network.matrix)
        return (flat if place is None else flat[:, np.argsort(place)]).reshape(len(flat), ports, ports)

    @property
    def names(self) -> list[str]:
        """Of the responses, in their order."""
        return self._network.names

    @property
    def name(self) -> str:
        """Of the file, or what was given."""
        return self._network.file

    @property
    def parameter(self) -> str | None:
        """S, Y or Z of responses that are elements of a matrix."""
        matrix = self._network.matrix
        return None if matrix is None else matrix[0]

    @property
    def nports(self) -> int | None:
        """Number of ports, where the responses are elements of a matrix."""
        matrix = self._network.matrix
        return None if matrix is None else len(matrix[1])

    @property
    def z0(self) -> NDArray[Any] | None:
        """References in ohms, of the shape (P,); complex and of (M, P) where they vary, if that is told."""
        matrix = self._network.matrix
        if matrix is None:
            return None
        if not matrix[4]:
            return np.array(matrix[1])
        impedances = self._network.impedances
        return impedances if impedances.size else None

    @property
    def warnings(self) -> list[str]:
        """What a reader could not take as it stands in the file, a sentence each with the line."""
        return self._network.warnings

    def selected(self, names: str | Sequence[str]) -> Network:
        """The responses of these names, such as S21 or S(2,1), in that order."""
        return Network._of(self._network.selected(names_of(names)))

    def as_one_port(self, parameter: str, z0: ArrayLike = 50.0) -> Network:
        """The single response as S, Y or Z of a one-port."""
        parameter, references = matrix_for(parameter, 1, z0)[:2]
        return Network._of(self._network.declared(parameter, references[0]))

    def converted(self, parameter: str) -> Network:
        """The network of S, Y (in siemens) or Z parameters (in ohms), or H or G of a two-port."""
        return Network._of(self._network.converted(known_parameter(parameter, "SYZHG")))

    def renormalised(self, z0: ArrayLike) -> Network:
        """The network at other references in ohms, one or one a port."""
        return Network._of(self._network.renormalised(ohms(z0, "z0").tolist()))

    def touchstone(self, *, format: str = "ri", unit: str = "Hz", version: str = "1") -> str:
        """The text of a Touchstone file: format ri, ma or db; unit Hz to GHz; version 1, 1.1, 2 or 2.1."""
        return self._network.touchstone_text({"format": format, "unit": unit, "version": version})

    def write_touchstone(self, file: FileName, *, format: str = "ri", unit: str = "Hz", version: str = "1") -> None:
        """Writes `touchstone` to a file, which until it is whole is the old one."""
        self._network.write_touchstone(os.fsencode(file), {"format": format, "unit": unit, "version": version})

    def csv(self) -> str:
        """A table, one line for each frequency."""
        return self._network.csv_text()

    def write_csv(self, file: FileName) -> None:
        """Writes `csv` to a file."""
        self._network.write_csv(os.fsencode(file))

    def __reduce__(self) -> tuple[Any, ...]:
        return _network_of_state, (self._network.state(),)

    def __copy__(self) -> Network:
        return self

    def __deepcopy__(self, memo: object) -> Network:
        return self

    def __repr__(self) -> str:
        return f"<polefit.Network {self.name!r}: {len(self.names)} responses, {len(self.f)} samples>"


def _network_of_state(state: tuple[Any, ...]) -> Network:
    return Network._of(_polefit.network_of_state(state))


def read_network(file: FileName, format: str = "auto") -> Network:
    """The network in a file: Touchstone, a table with commas, or S_Solver's samples.

    Parameters
    ----------
    file : str or path
    format : {'auto', 'touchstone', 'csv', 'samples'}
        By the name or the content where it is not said.
    """
    return Network._of(_polefit.read_network(os.fsencode(file), format if isinstance(format, str) else repr(format)))


def network_from_text(text: str, name: str, format: str = "auto") -> Network:
    """The same of the content of a file; `name` is its name.

    Examples
    --------
    >>> import polefit
    >>> polefit.network_from_text("# GHz S RI R 50\\n1 0.5 0\\n2 0.4 0\\n", "short.s1p").f.tolist()
    [1000000000.0, 2000000000.0]
    """
    return Network._of(_polefit.network_from_text(text, os.fsencode(name), format))
