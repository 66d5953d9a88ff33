"""Times of CDF files as NumPy's `datetime64`."""

from __future__ import annotations

from collections.abc import Callable
from typing import Any

import numpy as np

__all__ = ["from_datetime64", "to_datetime64"]

# From the beginning of the year 0 to that of 1970, in the Gregorian calendar.
_SECONDS_TO_1970 = 62_167_219_200
# Of `datetime64[ns]` on both sides of 1970: the seconds that it holds all of.
_LARGEST_SECONDS = np.iinfo(np.int64).max // 10**9 - 1
_NAT = np.iinfo(np.int64).min
# What is computed on the way stays in the caches, and below the size from which malloc maps memory
# anew for each array (in processes of Dask always).
_BLOCK = 1 << 13
_YEARS = 1678, 2261  # that `datetime64[ns]` holds all of
_NAMES = {31: "cdf_epoch", 32: "cdf_epoch16", 33: "cdf_time_tt2000"}


def to_datetime64(times: Any, datatype: str | int | None = None) -> np.ndarray:
    """Convert times to `datetime64[ns]`, which counts from 1970 and knows no leap seconds.

    Parameters
    ----------
    times : array_like
        Times as the gateway gives them. Those of `cdf_epoch16` have a first dimension of two.
    datatype : str or int, optional
        Their datatype, by its name in any letter case, its number or its constant: `CDF_EPOCH`,
        `CDF_EPOCH16` or `CDF_TIME_TT2000`. If it is left out, integers are `CDF_TIME_TT2000` and
        floats `CDF_EPOCH`.

    Returns
    -------
    numpy.ndarray of datetime64[ns]
        The same times; NaT for fill values and for times outside the years 1678 to 2261. What is
        finer than a nanosecond is cut, and a leap second becomes the second after it.

    Raises
    ------
    TypeError
        For `datetime64`.
    ValueError
        For another datatype, or epochs16 without a first dimension of two.
    """
    if np.asarray(times).dtype.kind == "M":
        raise TypeError("these times are datetime64 already")
    if datatype is None:
        times = np.asarray(times)
        datatype = "cdf_time_tt2000" if times.dtype.kind in "iu" else "cdf_epoch"
    width, dtype, convert = _CONVERSIONS[_inquired(datatype)]
    times = np.asarray(times, dtype)
    if width == 2 and (times.ndim < 1 or times.shape[0] != 2):
        raise ValueError(f"cdf_epoch16 needs a first dimension of 2, not the shape {times.shape}")
    shape = times.shape[width - 1 :]
    flat = times.reshape((width, -1), order="F")
    result = np.empty(flat.shape[1], np.int64)
    with np.errstate(invalid="ignore"):
        for start in range(0, result.size, _BLOCK):
            block = slice(start, start + _BLOCK)
            result[block] = convert(*flat[:, block])
    return result.view("datetime64[ns]").reshape(shape, order="F")


def from_datetime64(times: Any, datatype: str | int) -> np.ndarray:
    """Convert `datetime64` to times as the gateway takes them.

    Parameters
    ----------
    times : array_like of datetime64
        Of any unit; finer than the datatype's resolution is cut.
    datatype : str or int
        As in `to_datetime64`.

    Returns
    -------
    numpy.ndarray
        Milliseconds since the year 0 in float64 for `cdf_epoch`; seconds and picoseconds in a first
        dimension of two for `cdf_epoch16`; nanoseconds since J2000 in int64 for `cdf_time_tt2000`.
        What NaT becomes may change.

    Raises
    ------
    ValueError
        For another datatype.
    OverflowError
        For times outside the years 1678 to 2261.
    """
    datatype = _inquired(datatype)
    times = np.asarray(times)
    years = times.astype("datetime64[Y]").astype(np.int64) + 1970
    wrong = (years < _YEARS[0]) | (years > _YEARS[1])
    if (wrong & ~np.isnat(times)).any():
        raise OverflowError(f"{times[wrong].ravel()[0]} is outside the years 1678 to 2261")
    nanoseconds = times.astype("datetime64[ns]").view(np.int64)
    if datatype == "cdf_time_tt2000":
        return _to_tt2000(nanoseconds)
    if datatype == "cdf_epoch":
        whole, rest = np.divmod(nanoseconds, 10**6)
        return (whole + _SECONDS_TO_1970 * 1000) + rest / 1e6
    seconds, rest = np.divmod(nanoseconds, 10**9)
    return np.stack([(seconds + _SECONDS_TO_1970).astype(float), rest * 1000.0])


def _inquired(datatype: str | int) -> str:
    """The name of a datatype of times as inquiries give it."""
    name = datatype.lower() if isinstance(datatype, str) else _NAMES.get(datatype)
    if name not in _CONVERSIONS:
        raise ValueError(f"{datatype!r} is no datatype of times: {', '.join(_CONVERSIONS)} are")
    return name


def _to_tt2000(nanoseconds: np.ndarray) -> np.ndarray:
    from tarvik import ops

    days, rest = np.divmod(nanoseconds.ravel(), 86400 * 10**9)
    dates = days.astype("datetime64[D]")
    months = dates.astype("datetime64[M]")
    parts = [
        months.astype(np.int64) // 12 + 1970,
        months.astype(np.int64) % 12 + 1,
        (dates - months.astype("datetime64[D]")).astype(np.int64) + 1,
    ]
    for unit in (3600 * 10**9, 60 * 10**9, 10**9, 10**6, 1000, 1):
        whole, rest = np.divmod(rest, unit)
        parts.append(whole)
    made = ops.computeTT2000(np.asfortranarray(np.array(parts, float)))
    return np.ravel(made).astype(np.int64).reshape(nanoseconds.shape)


def _of_epoch(milliseconds: np.ndarray) -> np.ndarray:
    whole = np.floor(milliseconds)
    nanoseconds = np.floor((milliseconds - whole) * 1e6)
    return _nanoseconds(whole - _SECONDS_TO_1970 * 1000, 1000, nanoseconds)


def _of_epoch16(seconds: np.ndarray, picoseconds: np.ndarray) -> np.ndarray:
    return _nanoseconds(seconds - _SECONDS_TO_1970, 1, np.floor(picoseconds / 1000))


def _nanoseconds(ticks: np.ndarray, rate: int, nanoseconds: np.ndarray) -> np.ndarray:
    """Of whole ticks, `rate` to a second, and nanoseconds more, all as doubles."""
    inside = (np.abs(ticks) <= float(_LARGEST_SECONDS * rate)) & (np.abs(nanoseconds) < 1e9)
    result = ticks.astype(np.int64) * (10**9 // rate) + nanoseconds.astype(np.int64)
    return np.where(inside, result, _NAT)


def _of_tt2000(times: np.ndarray) -> np.ndarray:
    from tarvik import ops

    parts = ops.tt2000Breakdown(times).reshape((9, -1), order="F").astype(np.int64)
    year, month, day, hour, minute, second, *fraction = parts
    months = ((year - 1970) * 12 + month - 1).astype("datetime64[M]")
    days = months.astype("datetime64[D]").astype(np.int64) + day - 1
    seconds = days * 86400 + hour * 3600 + minute * 60 + second
    milli, micro, nano = fraction
    result = seconds * 10**9 + milli * 10**6 + micro * 1000 + nano
    # The lowest few values stand for no time at all.
    inside = (np.abs(seconds) <= _LARGEST_SECONDS) & (times > _NAT + 3)
    return np.where(inside, result, _NAT)


# The numbers of one time, their dtype, and what makes nanoseconds since 1970 of them.
_CONVERSIONS: dict[str, tuple[int, type, Callable[..., np.ndarray]]] = {
    "cdf_epoch": (1, np.float64, _of_epoch),
    "cdf_epoch16": (2, np.float64, _of_epoch16),
    "cdf_time_tt2000": (1, np.int64, _of_tt2000),
}
