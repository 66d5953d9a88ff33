"""Times of CDF files as NumPy's `datetime64`, as Python's `datetime` and as ISO 8601 text.

==================  ====================  ===============================================
to what is stored   from what is stored   holds
==================  ====================  ===============================================
`from_datetime64`   `to_datetime64`       the years that its unit holds, no leap seconds
`from_datetime`     `to_datetime`         the years 1 to 9999, microseconds, no leap seconds
`from_text`         `to_text`             all that the datatype holds
==================  ====================  ===============================================

Stored times are as `variable.raw` gives them: float64 for `CDF_EPOCH`, complex for `CDF_EPOCH16`
(seconds and picoseconds), int64 for `CDF_TIME_TT2000`. Arrays keep their shape, and one time gives
one time. NaT, None and the text "NaT" stand for no time, which is stored as the datatype's fill
value; the fill value and the library's default pad value are read as no time.
"""

from __future__ import annotations

import datetime
from typing import Any

import numpy as np

from tarvik import _iso8601
from tarvik._epochs import BLOCK, TICKS, Kind, as_stored, in_leap, kind_of, seconds_of, stored_of

__all__ = [
    "from_datetime",
    "from_datetime64",
    "from_text",
    "to_datetime",
    "to_datetime64",
    "to_text",
]


def to_datetime64(
    times: Any, datatype: str | int | None = None, *, unit: str = "ns", errors: str = "coerce"
) -> Any:
    """Convert stored times to `datetime64`, which counts from 1970 and knows no leap seconds.

    Parameters
    ----------
    times : array_like
        Stored times. Those of `CDF_EPOCH16` may also be floats with a first dimension of two, as
        operations give them.
    datatype : str or int, optional
        Their datatype, by its name in any letter case, its number or its constant: `CDF_EPOCH`,
        `CDF_EPOCH16` or `CDF_TIME_TT2000`. If it is left out, integers are `CDF_TIME_TT2000`,
        complex numbers `CDF_EPOCH16` and other numbers `CDF_EPOCH`.
    unit : str
        Of the result: "s", "ms", "us", "ns" or "ps". What is finer is cut. Nanoseconds hold the
        years 1678 to 2261, picoseconds some 100 days around 1970, the others all years.
    errors : str
        What becomes of times that the unit or the calendar cannot hold: "coerce" makes them NaT,
        "raise" an error.

    Returns
    -------
    numpy.ndarray of datetime64, or datetime64
        NaT for fill and pad values, NaN and infinities. A leap second is the second after it.

    Raises
    ------
    OverflowError
        With `errors="raise"`, for a time that does not fit.
    TypeError
        For `datetime64`.
    ValueError
        For another datatype, unit or `errors`, or floats of `CDF_EPOCH16` of another shape.
    """
    values, kind = as_stored(times, datatype)
    ticks = TICKS.get(unit)
    if ticks is None:
        raise ValueError(f"unit={unit!r} is none of {', '.join(TICKS)}")
    flat = values.ravel()
    result = np.empty(flat.size, np.int64)
    with np.errstate(invalid="ignore", over="ignore"):
        for start in range(0, result.size, BLOCK):
            block = slice(start, start + BLOCK)
            result[block] = kind.ticks_since_1970(flat[block], ticks)
    found = result.view(f"M8[{unit}]").reshape(values.shape)
    if _must_raise(errors):
        wrong = np.isnat(found) & ~kind.is_none(values)
        _check(wrong, values, f"datetime64[{unit}]")
    return found[()]


def from_datetime64(times: Any, datatype: str | int, *, errors: str = "raise") -> Any:
    """Convert `datetime64` to stored times.

    Parameters
    ----------
    times : array_like of datetime64
        Of any unit; finer than the datatype's resolution is cut.
    datatype : str or int
        As in `to_datetime64`.
    errors : str
        What becomes of times that the datatype cannot hold: "raise" makes an error, "coerce" the
        fill value.

    Returns
    -------
    numpy.ndarray or NumPy scalar
        Stored times; the fill value for NaT. A `CDF_EPOCH` is the nearest double.

    Raises
    ------
    OverflowError
        For times outside the years 0 to 9999, or for `CDF_TIME_TT2000` outside 1707-09-23 to
        2292-04-10.
    TypeError
        For what is no `datetime64`.
    ValueError
        For another datatype or `errors`.
    """
    times = np.asarray(times)
    if times.dtype.kind != "M":
        raise TypeError(f"{times.dtype} is not datetime64; from_datetime and from_text take others")
    return _stored(times, *seconds_of(times), kind_of(datatype), errors)


def to_datetime(times: Any, datatype: str | int | None = None, *, errors: str = "coerce") -> Any:
    """Convert stored times to `datetime` objects without a time zone, which are UTC.

    Parameters
    ----------
    times, datatype, errors
        As in `to_datetime64`.

    Returns
    -------
    numpy.ndarray of object, or datetime.datetime
        None for what is no time. What is finer than a microsecond is cut.

    Raises
    ------
    OverflowError, TypeError, ValueError
        As in `to_datetime64`; `datetime` holds the years 1 to 9999.
    """
    found = np.asarray(to_datetime64(times, datatype, unit="us", errors=errors))
    early = found < np.datetime64("0001-01-01")
    if _must_raise(errors):
        _check(early, found, "datetime, which holds the years 1 to 9999")
    objects = np.where(early, np.datetime64("NaT"), found).astype(object)
    return objects[()]


def from_datetime(times: Any, datatype: str | int, *, errors: str = "raise") -> Any:
    """Convert `datetime` objects to stored times.

    Parameters
    ----------
    times : array_like of datetime.datetime, datetime.date, datetime64 or None
        Those with a time zone are converted to UTC; those without one are UTC.
    datatype, errors
        As in `from_datetime64`.

    Returns
    -------
    numpy.ndarray or NumPy scalar

    Raises
    ------
    OverflowError, TypeError, ValueError
        As in `from_datetime64`.
    """
    given = np.asarray(times, object)
    for item in given.flat:
        if not isinstance(item, (datetime.date, np.datetime64, type(None))):
            raise TypeError(f"{item!r:.60} is no datetime")
    with _iso8601.zones_allowed():
        return from_datetime64(given.astype("M8[us]"), datatype, errors=errors)


def to_text(times: Any, datatype: str | int | None = None, *, errors: str = "coerce") -> Any:
    """Convert stored times to text in ISO 8601, with all digits that the datatype has.

    Parameters
    ----------
    times, datatype
        As in `to_datetime64`.
    errors : str
        What becomes of numbers that are no times: "coerce" makes them "NaT", "raise" an error.

    Returns
    -------
    numpy.ndarray of str, or str
        "2016-12-31T23:59:60.500000000" for example: a leap second of `CDF_TIME_TT2000` is ":60".
        `CDF_EPOCH` has 3 digits behind the point, `CDF_EPOCH16` 12 and `CDF_TIME_TT2000` 9.

    Raises
    ------
    OverflowError, ValueError
        As in `to_datetime64`.
    """
    from tarvik.datatypes import datatype_named

    values, kind = as_stored(times, datatype)
    none = kind.is_none(values)
    wrong = ~kind.is_time(values) & ~none
    if _must_raise(errors):
        _check(wrong, values, kind.title)
    none |= wrong
    texts = _iso8601.as_text(np.where(none, kind.pad, values), datatype_named(kind.name))
    return np.where(none, "NaT", texts).astype(str)[()]


def from_text(texts: Any, datatype: str | int, *, errors: str = "raise") -> Any:
    """Convert text in ISO 8601 to stored times.

    Parameters
    ----------
    texts : array_like of str or bytes
        "2020-02-28", "2020-02-28T12:30", "2020-02-28T12:30:00.25Z", for example: from the year
        alone to 18 digits behind the point, with "T" or a blank before the hours. "Z"
        may follow, or an offset such as "+01:00", which is converted to UTC. "NaT" and an empty
        text are no time.
    datatype, errors
        As in `from_datetime64`; text that is no time is the fill value with "coerce".

    Returns
    -------
    numpy.ndarray or NumPy scalar
        Stored times; finer than the datatype's resolution is cut.

    Raises
    ------
    OverflowError
        As in `from_datetime64`.
    ValueError
        For text that is no time, and for a leap second that never was or that the datatype does not
        hold: only `CDF_TIME_TT2000` has them.
    TypeError
        For what is no text.
    """
    given, seconds, picoseconds = _iso8601.read(texts, _must_raise(errors))
    return _stored(given, seconds, picoseconds, kind_of(datatype), errors)


def _must_raise(errors: str) -> bool:
    if errors not in ("raise", "coerce"):
        raise ValueError(f"errors={errors!r} is neither 'raise' nor 'coerce'")
    return errors == "raise"


def _check(wrong: Any, given: np.ndarray, what: str) -> None:
    if np.any(wrong):
        raise OverflowError(f"{np.asarray(given)[wrong].ravel()[0]} does not fit {what}")


def _stored(
    given: np.ndarray, seconds: np.ndarray, picoseconds: np.ndarray, kind: Kind, errors: str
) -> Any:
    stored, wrong = stored_of(seconds.ravel(), picoseconds.ravel(), kind)
    if _must_raise(errors):
        leap = wrong & in_leap(picoseconds.ravel())
        if leap.any():
            text = given.ravel()[leap][0]
            raise ValueError(f"{text!s} is a second 60 that never was, or that {kind.name} lacks")
        _check(wrong, given.ravel(), kind.title)
    return stored.reshape(given.shape)[()]
