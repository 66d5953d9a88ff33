"""The numbers that times are stored as, and seconds since 1970 with picoseconds in these."""

from __future__ import annotations

from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

import numpy as np

from tarvik import _leaps

__all__ = [
    "BLOCK",
    "KINDS",
    "TICKS",
    "Kind",
    "as_stored",
    "in_leap",
    "kind_of",
    "seconds_of",
    "stored_of",
]

# What is computed on the way stays in the caches, and below the size from which malloc maps memory
# anew for each array (in processes of Dask always).
BLOCK = 1 << 13
NAT = np.iinfo(np.int64).min
# From the beginning of the year 0 to that of 1970, and to the last second of 9999, which the
# library takes for the fill value.
_TO_1970 = 62_167_219_200
_TO_END = 315_569_519_999
_FIRST, _LAST = -_TO_1970, _TO_END - _TO_1970 - 1  # seconds since 1970
TICKS = {"s": 1, "ms": 10**3, "us": 10**6, "ns": 10**9, "ps": 10**12}  # in a second
_FINER = {"fs": 10**3, "as": 10**6}  # in a picosecond
_PICO = 10**12


@dataclass(frozen=True)
class Kind:
    """A datatype of times.

    Attributes
    ----------
    name : str
        As inquiries give it.
    code : int
    fill, pad : NumPy scalar
        What no time is stored as, and the library's pad value.
    first, last : int
        The seconds since 1970 that it holds all of.
    span : str
        The same in words.
    is_time : callable
        Which stored values are times.
    ticks : callable
        Stored values and how many ticks a second has, to whole units since 1970, the units in a
        second, and further ticks.
    stored : callable
        Seconds and picoseconds to stored values.
    """

    name: str
    code: int
    fill: Any
    pad: Any
    first: int
    last: int
    span: str
    is_time: Callable[[np.ndarray], np.ndarray]
    ticks: Callable[[np.ndarray, int], tuple[np.ndarray, int, np.ndarray]]
    stored: Callable[[np.ndarray, np.ndarray], np.ndarray]

    @property
    def title(self) -> str:
        """The name and what it holds, for messages."""
        return f"{self.name.upper()}, which holds {self.span}"

    def is_none(self, values: np.ndarray) -> np.ndarray:
        """Which stored values stand for no time."""
        return (values == self.fill) | (values == self.pad) | ~np.isfinite(values)

    def ticks_since_1970(self, values: np.ndarray, ticks: int) -> np.ndarray:
        """The ticks, of which a second has so many; `NAT` where 64 bits do not hold them."""
        whole, rate, rest = self.ticks(values, ticks)
        most = (np.iinfo(np.int64).max // ticks - 1) * rate
        inside = self.is_time(values) & (np.abs(whole) <= float(most)) & (values != self.pad)
        whole = whole.astype(np.int64)
        found = whole * (ticks // rate) if ticks >= rate else whole // (rate // ticks)
        return np.where(inside, found + rest.astype(np.int64), NAT)


def kind_of(datatype: Any) -> Kind:
    """Find a datatype of times by its name in any letter case, its number or its constant."""
    found = KINDS.get(datatype.lower()) if isinstance(datatype, str) else _BY_CODE.get(datatype)
    if found is None:
        raise ValueError(f"{datatype!r} is no datatype of times: {', '.join(KINDS)} are")
    return found


def as_stored(times: Any, datatype: Any) -> tuple[np.ndarray, Kind]:
    """The times in the dtype of their datatype, which follows from theirs if it is None."""
    given = np.asarray(times)
    if given.dtype.kind == "M":
        raise TypeError("these times are datetime64 already")
    kind = kind_of(_GUESSED.get(given.dtype.kind, "cdf_epoch") if datatype is None else datatype)
    if kind.code != 32 or given.dtype.kind == "c":
        return given.astype(np.asarray(kind.fill).dtype, copy=False), kind
    if given.ndim < 1 or given.shape[0] != 2:
        raise ValueError(f"cdf_epoch16 needs a first dimension of 2, not the shape {given.shape}")
    values = np.empty(given.shape[1:], complex)
    values.real, values.imag = given
    return values, kind


def seconds_of(times: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Seconds since 1970 of `datetime64`, and picoseconds in these.

    The seconds are `NAT` for NaT, and the number after it outside the years 0 to 9999.
    """
    unit, _ = np.datetime_data(times.dtype)
    none = np.isnat(times)
    if unit in TICKS or unit in _FINER:
        ticks = TICKS.get(unit) or _PICO * _FINER[unit]
        seconds, rest = np.divmod(times.astype(f"M8[{unit}]").astype(np.int64), ticks)
        rest = rest // _FINER[unit] if unit in _FINER else rest * (_PICO // ticks)
        outside = (seconds < _FIRST) | (seconds > _LAST)
    else:  # seconds would wrap
        years = times.astype("M8[Y]").astype(np.int64) + 1970
        outside = (years < 0) | (years > 9999)
        seconds = (
            np.where(outside, times.dtype.type(0, "D"), times).astype("M8[s]").astype(np.int64)
        )
        rest = seconds * 0
    return np.where(none, NAT, np.where(outside, NAT + 1, seconds)), np.where(none, 0, rest)


def stored_of(
    seconds: np.ndarray, picoseconds: np.ndarray, kind: Kind
) -> tuple[np.ndarray, np.ndarray]:
    """Stored values, and which of the times, in one dimension, do not fit.

    `NAT` seconds are the fill value, and so is what does not fit. 10**12 picoseconds and more are
    those of a second 60.
    """
    none = seconds == NAT
    leap = in_leap(picoseconds)
    wrong = ((seconds < kind.first) | (seconds > kind.last)) & ~none
    if kind.code != 33:
        wrong |= leap
    unusual = none | wrong
    if unusual.any():
        some = seconds[~unusual]
        seconds = np.where(unusual, some[0] if some.size else 0, seconds)
        picoseconds = np.where(unusual, 0, picoseconds)
    stored = kind.stored(seconds, picoseconds)
    leap = leap & ~unusual
    if leap.any():
        wrong[leap] = ~_leaps.is_leap(stored[leap])
    return np.where(none | wrong, kind.fill, stored), wrong


def in_leap(picoseconds: np.ndarray) -> np.ndarray:
    """Whether picoseconds are those of a second 60, which is the second before it and more."""
    return picoseconds >= _PICO


def _is_epoch(milliseconds: np.ndarray) -> np.ndarray:
    return (milliseconds >= 0) & (milliseconds < _TO_END * 1000.0)


def _is_epoch16(times: np.ndarray) -> np.ndarray:
    seconds, picoseconds = times.real, times.imag
    inside = (seconds >= 0) & (seconds < float(_TO_END))
    return inside & (picoseconds >= 0) & (picoseconds < float(_PICO))


def _epoch_ticks(milliseconds: np.ndarray, ticks: int) -> tuple[np.ndarray, int, np.ndarray]:
    whole = np.floor(milliseconds)
    rest = np.floor((milliseconds - whole) * (ticks / 1000))
    return whole - _TO_1970 * 1000, 1000, rest


def _epoch16_ticks(times: np.ndarray, ticks: int) -> tuple[np.ndarray, int, np.ndarray]:
    return times.real - _TO_1970, 1, np.floor(times.imag / (_PICO // ticks))


def _tt2000_ticks(times: np.ndarray, ticks: int) -> tuple[np.ndarray, int, np.ndarray]:
    seconds, nanoseconds = _leaps.to_utc(times)
    return seconds, 1, nanoseconds * max(1, ticks // 10**9) // max(1, 10**9 // ticks)


def _epoch(seconds: np.ndarray, picoseconds: np.ndarray) -> np.ndarray:
    whole = picoseconds // 10**9
    milliseconds = (seconds + _TO_1970) * 1000 + whole
    return milliseconds + (picoseconds - whole * 10**9) / 1e9


def _epoch16(seconds: np.ndarray, picoseconds: np.ndarray) -> np.ndarray:
    times = np.empty(seconds.shape, complex)
    times.real, times.imag = seconds + _TO_1970, picoseconds
    return times


def _tt2000(seconds: np.ndarray, picoseconds: np.ndarray) -> np.ndarray:
    times = np.empty(seconds.shape, np.int64)
    for start in range(0, times.size, BLOCK):
        block = slice(start, start + BLOCK)
        times[block] = _leaps.from_utc(seconds[block], picoseconds[block] // 1000)
    return times


_YEARS = _FIRST, _LAST, "the years 0 to 9999"
_FILL = np.float64(-1e31)
KINDS = {
    kind.name: kind
    for kind in (
        Kind("cdf_epoch", 31, _FILL, 0.0, *_YEARS, _is_epoch, _epoch_ticks, _epoch),
        Kind(
            "cdf_epoch16",
            32,
            np.complex128(complex(_FILL, _FILL)),
            0.0,
            *_YEARS,
            _is_epoch16,
            _epoch16_ticks,
            _epoch16,
        ),
        Kind(
            "cdf_time_tt2000",
            33,
            np.int64(NAT),
            NAT + 1,
            *_leaps.RANGE,
            "1707-09-23 to 2292-04-10",
            lambda times: times > NAT + 3,
            _tt2000_ticks,
            _tt2000,
        ),
    )
}
_BY_CODE = {kind.code: kind for kind in KINDS.values()}
_GUESSED = {"i": "cdf_time_tt2000", "u": "cdf_time_tt2000", "c": "cdf_epoch16"}
