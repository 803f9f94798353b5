"""Functions of arrays of several dimensions, over the kernels and without their traps."""

from typing import Any, NamedTuple

import numpy as np
from numpy.typing import NDArray

from kxcalc import _native

Array = NDArray[Any]


class StatisticsResult(NamedTuple):
    """Statistics along an axis: numbers, or arrays of the shape without that axis.

    Attributes
    ----------
    count
        How many samples.
    minimum, maximum
        Of the type of the samples; NaN where there is a NaN.
    mean
        In double, as all that follows.
    rms
        Root mean square.
    ac_rms
        Root mean square about the mean.
    crest_factor
        The largest magnitude over `rms`; NaN of silence.
    """

    count: int  # type: ignore[assignment]  # it hides the tuple's method
    minimum: Any
    maximum: Any
    mean: Any
    rms: Any
    ac_rms: Any
    crest_factor: Any


def _array(x: object) -> Array:
    if not isinstance(x, np.ndarray):
        raise TypeError(f"x is of type {type(x).__name__}: a NumPy array is needed")
    if isinstance(x, np.ma.MaskedArray):
        raise TypeError("x is a masked array: its mask would be ignored")
    return x


def _rows(x: object, axis: int) -> tuple[Array, tuple[int, ...]]:
    """`x` with the axis at the end, and the shape of what is left without it."""
    array = _array(x).view(np.ndarray)
    if not -array.ndim <= axis < array.ndim:
        raise ValueError(f"axis is {axis}: x has {array.ndim} dimensions")
    array = np.moveaxis(array, axis, -1)
    if array.shape[-1] == 0:
        raise ValueError(f"x has no samples along axis {axis}")
    return array, array.shape[:-1]


def _result(name: str, out: Array | None, shape: tuple[int, ...], dtype: Any) -> tuple[Array, Array]:
    """Return what the results are returned in, and what they are computed in, side by side."""
    if out is None:
        values = np.empty(shape, dtype)
        return values, values.reshape(-1)
    if not isinstance(out, np.ndarray):
        raise TypeError(f"{name} is of type {type(out).__name__}: a NumPy array is needed")
    if out.dtype != dtype:
        raise TypeError(f"{name} is an array of {out.dtype}: {np.dtype(dtype)} is needed")
    if out.shape != shape:
        raise ValueError(f"{name} has the shape {out.shape}: {shape} is needed")
    if not out.flags.writeable:
        raise ValueError(f"{name} is read-only: results are written to it")
    return out, np.empty(out.size, dtype)


def _returned(values: Array, computed: Array) -> Any:
    if not np.shares_memory(values, computed):
        values[...] = computed.reshape(values.shape)
        return values
    return values[()]


def statistics(x: Array, axis: int = -1) -> StatisticsResult:
    """Count, extremes, mean and root mean squares along an axis.

    Parameters
    ----------
    x : ndarray of int16, int32, float32 or float64
        Any shape and strides.
    axis : int
        Along which the statistics are taken; at least 1 sample long.

    Returns
    -------
    StatisticsResult
        The results do not depend on strides or alignment: those of a view are those of its copy, bit for bit.

    Raises
    ------
    TypeError
        `x` is no array of one of these types in the machine's byte order.
    ValueError
        There is no such axis, or no sample along it.

    Examples
    --------
    >>> import numpy as np
    >>> line = statistics(np.array([3, -1, 2, 2, 4], np.int16))
    >>> int(line.minimum), int(line.maximum), float(line.mean)
    (-1, 4, 2.0)
    """
    rows, shape = _rows(x, axis)
    minimum, maximum = np.empty(shape, rows.dtype), np.empty(shape, rows.dtype)
    mean, rms_, ac_rms = (np.empty(shape) for _ in range(3))
    _native.statistics(rows, *(values.reshape(-1) for values in (minimum, maximum, mean, rms_, ac_rms)))
    largest = np.maximum(np.abs(minimum.astype(np.float64)), np.abs(maximum.astype(np.float64)))
    with np.errstate(divide="ignore", invalid="ignore"):
        crest_factor = np.where(rms_ > 0, largest / rms_, np.nan)
    return StatisticsResult(rows.shape[-1], minimum[()], maximum[()], mean[()], rms_[()], ac_rms[()], crest_factor[()])


def minmax(x: Array, axis: int = -1, *, out: tuple[Array, Array] | None = None) -> tuple[Any, Any]:
    """Smallest and largest along an axis.

    Parameters
    ----------
    x : ndarray of int16, int32, float32 or float64
        Any shape and strides.
    axis : int
        Along which; at least 1 sample long.
    out : tuple of two ndarrays, optional
        For the results: of the type of `x`, of its shape without the axis.

    Returns
    -------
    minimum, maximum
        Of the type of `x`; NaN where there is a NaN.

    Raises
    ------
    TypeError
        `x` or `out` is no array of one of these types in the machine's byte order.
    ValueError
        There is no such axis, no sample along it, or `out` has another shape or is read-only.

    Examples
    --------
    >>> import numpy as np
    >>> minmax(np.array([[3.0, -1.0], [0.5, 2.0]]))
    (array([-1. ,  0.5]), array([3., 2.]))
    """
    rows, shape = _rows(x, axis)
    minima, maxima = out if out is not None else (None, None)
    minimum, least = _result("out[0]", minima, shape, rows.dtype)
    maximum, greatest = _result("out[1]", maxima, shape, rows.dtype)
    _native.minmax(rows, least, greatest)
    return _returned(minimum, least), _returned(maximum, greatest)


def rms(x: Array, axis: int = -1, *, out: Array | None = None) -> Any:
    """Root mean square along an axis.

    Parameters
    ----------
    x : ndarray of int16, int32, float32 or float64
        Any shape and strides.
    axis : int
        Along which; at least 1 sample long.
    out : ndarray of float64, optional
        For the result: of the shape of `x` without the axis.

    Returns
    -------
    float64 or ndarray of float64
        It does not depend on strides or alignment.

    Raises
    ------
    TypeError
        `x` or `out` is no array of one of these types in the machine's byte order.
    ValueError
        There is no such axis, no sample along it, or `out` has another shape or is read-only.

    Examples
    --------
    >>> import numpy as np
    >>> rms(np.array([[3, 4], [1, 7]], np.int16))
    array([3.53553391, 5.        ])
    """
    rows, shape = _rows(x, axis)
    values, computed = _result("out", out, shape, np.float64)
    _native.rms(rows, computed)
    return _returned(values, computed)


def _elementwise(x: Array, out: Array | None, dtype: Any) -> Array:
    if out is None:
        return np.empty(x.shape, dtype)
    if not isinstance(out, np.ndarray):
        raise TypeError(f"out is of type {type(out).__name__}: a NumPy array is needed")
    return out


def scale(x: Array, factor: float, offset: float = 0.0, *, out: Array | None = None) -> Array:
    """Physical values of raw samples: x * factor + offset, each of the two steps rounded.

    Parameters
    ----------
    x : ndarray of an integer type up to 32 bits, int64, float32 or float64
        Any shape and strides.
    factor, offset : float
        In the precision of the result.
    out : ndarray of float32 or float64, optional
        For the result: of the shape of `x`. It may be `x` itself.

    Returns
    -------
    ndarray
        `out`, or a new array: float32 of float32, float64 of all else.

    Raises
    ------
    TypeError
        `x` or `out` is no array of one of these types in the machine's byte order.
    ValueError
        `out` has another shape, is read-only or overlaps `x` elsewhere than element on element; or an array is not
        aligned to its elements.

    Examples
    --------
    >>> import numpy as np
    >>> scale(np.array([-32768, 16384], np.int16), 10 / 32768)
    array([-10.,   5.])
    """
    array = _array(x)
    result = _elementwise(array, out, np.float32 if array.dtype == np.float32 else np.float64)
    _native.scale(array, factor, offset, result)
    return result


def sin(x: Array, *, out: Array | None = None) -> Array:
    """Sines of angles in radians.

    Parameters
    ----------
    x : ndarray of float32
        Any shape and strides; magnitudes up to 8192 for the full accuracy.
    out : ndarray of float32, optional
        For the result: of the shape of `x`. It may be `x` itself.

    Returns
    -------
    ndarray of float32
        Within 8e-8 of the sine. It depends on nothing but the element.

    Raises
    ------
    TypeError
        `x` or `out` is no array of float32 in the machine's byte order.
    ValueError
        `out` has another shape, is read-only or overlaps `x` elsewhere than element on element; or an array is not
        aligned to its elements.

    Examples
    --------
    >>> import numpy as np
    >>> sin(np.array([0, np.pi / 2], np.float32))
    array([0., 1.], dtype=float32)
    """
    result = _elementwise(_array(x), out, np.float32)
    _native.sin(x, result)
    return result


def arctan(x: Array, *, out: Array | None = None) -> Array:
    """Arctangents in radians.

    Parameters
    ----------
    x : ndarray of float32
        Any shape and strides.
    out : ndarray of float32, optional
        For the result: of the shape of `x`. It may be `x` itself.

    Returns
    -------
    ndarray of float32
        Within 1.1e-7 of the arctangent. It depends on nothing but the element.

    Raises
    ------
    TypeError
        `x` or `out` is no array of float32 in the machine's byte order.
    ValueError
        `out` has another shape, is read-only or overlaps `x` elsewhere than element on element; or an array is not
        aligned to its elements.

    Examples
    --------
    >>> import numpy as np
    >>> arctan(np.array([0, np.inf], np.float32))
    array([0.       , 1.5707964], dtype=float32)
    """
    result = _elementwise(_array(x), out, np.float32)
    _native.arctan(x, result)
    return result
