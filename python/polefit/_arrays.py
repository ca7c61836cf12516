"""What users hand over, as the arrays that the library takes: not copied where their layout allows."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from ._errors import Error


def array_of(values: ArrayLike, what: str) -> NDArray[Any]:
    """As numpy takes it, but for rows of unequal lengths and what a mask hides."""
    if isinstance(values, np.ma.MaskedArray) and np.any(np.ma.getmaskarray(values)):  # type: ignore[no-untyped-call]
        raise Error(f"{what}: found masked values, expected numbers (compressed takes those that are not)", "bad_sample")
    try:
        return np.asarray(values)
    except ValueError as error:
        raise Error(f"{what}: found what is no array: {error!s:.60}", "bad_shape") from error


def reals(values: ArrayLike, what: str) -> NDArray[np.float64]:
    """Of one dimension and without gaps."""
    array = array_of(values, what)
    if array.dtype.kind not in "fiub":
        raise TypeError(f"{what}: found values of the type {array.dtype}, expected real numbers")
    if array.ndim != 1:
        raise Error(f"{what}: found an array of the shape {array.shape}, expected one of one dimension", "bad_shape")
    return np.ascontiguousarray(array, dtype=np.float64)


def real_parts(values: ArrayLike, what: str) -> NDArray[np.float64]:
    """Of any shape; complex numbers without an imaginary part, as others keep them, too."""
    array = array_of(values, what)
    if array.dtype.kind == "c" and not array.imag.any():
        array = array.real
    return reals(array.reshape(-1), what).reshape(array.shape)


def ohms(values: ArrayLike, what: str) -> NDArray[np.float64]:
    """One value, or one a port."""
    return reals(np.atleast_1d(real_parts(values, what)), what)


def samples(values: ArrayLike, what: str = "responses") -> NDArray[np.complex128]:
    """Complex, and where complex numbers may stand in memory."""
    array = array_of(values, what)
    if array.dtype.kind not in "cfiub":
        raise TypeError(f"{what}: found values of the type {array.dtype}, expected numbers")
    array = np.asarray(array, dtype=np.complex128)
    size = array.itemsize
    if not array.flags.aligned or any(stride % size for stride in array.strides):
        array = array.copy()
    return array


def by_response(values: NDArray[np.complex128]) -> NDArray[np.complex128]:
    """Of the shape (M, R), of (M,), (M, R) or (M, P, P); copied where no strides can tell that."""
    if not 1 <= values.ndim <= 3 or (values.ndim == 3 and values.shape[1] != values.shape[2]):
        raise Error(
            f"responses: found an array of the shape {values.shape}, expected (M,), (M, R) or (M, P, P)", "bad_shape"
        )
    if values.ndim == 2:
        return values
    return values.reshape(len(values), values.shape[1] ** 2 if values.ndim == 3 else 1)


def weights_of(values: ArrayLike, samples_shape: tuple[int, ...], place: list[int] | None) -> NDArray[np.float64]:
    """As the library takes them: one a sample, or those of the first response first, which has a place in a matrix."""
    array = array_of(values, "weights")
    if array.dtype.kind not in "fiub":
        raise TypeError(f"weights: found values of the type {array.dtype}, expected real numbers or a kind of weights")
    if array.size == 0:
        raise Error("weights: found none, expected one a sample, or a kind of weights", "bad_shape")
    if array.ndim > 1 and len(array) == samples_shape[0] and array.size == np.prod(samples_shape):
        flat = array.reshape(samples_shape)
        array = (flat if place is None or array.ndim == 2 else flat[:, place]).T.reshape(-1)
    return reals(array, "weights")
