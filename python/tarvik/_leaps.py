"""CDF_TIME_TT2000 and UTC, with the leap seconds of the library's own table."""

from __future__ import annotations

import numpy as np

from tarvik._shared import call

__all__ = ["RANGE", "from_utc", "is_leap", "to_utc"]

# The first and the last second since 1970 of the days that TT2000 holds all of.
_DAYS = np.array(["1707-09-23", "2292-04-10T23:59:59"], "M8[s]").astype(np.int64)
RANGE: tuple[int, int] = (int(_DAYS[0]), int(_DAYS[1]))
_TO_2000 = 946_728_000  # seconds from 1970 to 2000-01-01T12:00
_TO_1972 = 63_072_000  # from when on UTC differs by whole seconds that only grow
_UNITS = (86_400, 3600, 60, 1)
_BILLION = 10**9
_NO_TIME = np.iinfo(np.int64).min + 3  # the lowest values stand for no time at all


def to_utc(times: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Return seconds since 1970, and nanoseconds in these; a leap second is the second after it.

    Parameters
    ----------
    times : numpy.ndarray of int64
        In one dimension. What the lowest four values become, which are no times, is not defined.
    """
    none = times <= _NO_TIME
    if none.any():
        some = times[~none]
        times = np.where(none, some[0] if some.size else 0, times)
    ends = np.array([times.min(), times.max()])
    seconds, nanoseconds = _broken_down(ends)
    offsets = ends - _since_2000(seconds, nanoseconds)
    if seconds[0] < _TO_1972 or offsets[0] != offsets[1]:
        return _broken_down(times)
    since = times - offsets[0]
    seconds = since // _BILLION
    return seconds + _TO_2000, since - seconds * _BILLION


def from_utc(seconds: np.ndarray, nanoseconds: np.ndarray) -> np.ndarray:
    """Return times for seconds since 1970, in `RANGE`, and nanoseconds in these.

    Parameters
    ----------
    seconds, nanoseconds : numpy.ndarray of int64
        In one dimension. Those of a second 60 are the second before it and a billion more.
    """
    ends = np.array([seconds.min(), seconds.max()])
    offsets = _computed(ends, ends * 0) - _since_2000(ends, ends * 0)
    if ends[0] < _TO_1972 or offsets[0] != offsets[1] or nanoseconds.max() >= _BILLION:
        return _computed(seconds, nanoseconds)
    return _since_2000(seconds, nanoseconds) + offsets[0]


def is_leap(times: np.ndarray) -> np.ndarray:
    """Whether times, in one dimension, are in a leap second."""
    return call("tt2000Breakdown", times).reshape((9, -1), order="F")[5] == 60


def _since_2000(seconds: np.ndarray, nanoseconds: np.ndarray) -> np.ndarray:
    return (seconds - _TO_2000) * _BILLION + nanoseconds


def _broken_down(times: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    parts = call("tt2000Breakdown", times).reshape((9, -1), order="F").astype(np.int64)
    year, month, day, *clock = parts[:6]
    months = ((year - 1970) * 12 + month - 1).astype("datetime64[M]")
    days = months.astype("datetime64[D]").astype(np.int64) + day - 1
    seconds = sum(part * unit for part, unit in zip((days, *clock), _UNITS))
    milli, micro, nano = parts[6:]
    return np.asarray(seconds), milli * 10**6 + micro * 1000 + nano


def _computed(seconds: np.ndarray, nanoseconds: np.ndarray) -> np.ndarray:
    rest = seconds % 86_400
    dates = (seconds // 86_400).astype("datetime64[D]")
    months = dates.astype("datetime64[M]")
    number = months.astype(np.int64)
    parts = [number // 12 + 1970, number % 12 + 1, (dates - months).astype(np.int64) + 1]
    for unit in _UNITS[1:]:
        parts.append(rest // unit)
        rest = rest % unit
    parts[-1] = parts[-1] + nanoseconds // _BILLION
    parts += [nanoseconds // 10**6 % 1000, nanoseconds // 1000 % 1000, nanoseconds % 1000]
    made = call("computeTT2000", np.asfortranarray(np.array(parts, float)))
    return np.ravel(made).astype(np.int64)
