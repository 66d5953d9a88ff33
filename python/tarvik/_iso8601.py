"""Times as text in ISO 8601, which holds any year and leap seconds."""

from __future__ import annotations

import warnings
from collections.abc import Iterator
from contextlib import contextmanager
from typing import TYPE_CHECKING, Any

import numpy as np

from tarvik._shared import call

if TYPE_CHECKING:
    from tarvik.datatypes import Datatype

__all__ = ["as_text", "read", "zones_allowed"]

# The parts of a time, each with what stands before it; then three digits for each part of a second.
_PARTS = (("", 4), ("-", 2), ("-", 2), ("T", 2), (":", 2), (":", 2))
_SECOND, _POINT = slice(17, 19), 19  # where they stand in a text
_MOST_DIGITS = 12
_NAT = np.iinfo(np.int64).min


def as_text(stored: np.ndarray, datatype: Datatype) -> np.ndarray:
    """Return texts of times. Those of CDF_TIME_TT2000 are UTC; a leap second is ":60".

    Parameters
    ----------
    stored : numpy.ndarray
        Times as they are in the file; complex for CDF_EPOCH16.
    datatype : Datatype

    Returns
    -------
    numpy.ndarray of object
        Of the same shape; an empty text for what is not finite.
    """
    flat = np.ravel(stored)
    if flat.size == 0:
        return np.empty(np.shape(stored), object)
    parts = _BREAKDOWNS[datatype.name](flat).reshape((-1, flat.size), order="F").astype(np.int64)
    texts = _iso(parts).astype(object)
    texts[~np.isfinite(flat)] = ""
    return texts.reshape(np.shape(stored))


def _epoch16_parts(times: np.ndarray) -> np.ndarray:
    return call("epoch16Breakdown", np.asfortranarray([times.real, times.imag]))


_BREAKDOWNS = {
    "CDF_EPOCH": lambda times: call("epochBreakdown", times),
    "CDF_EPOCH16": _epoch16_parts,
    "CDF_TIME_TT2000": lambda times: call("tt2000Breakdown", times),
}


def _iso(parts: np.ndarray) -> np.ndarray:
    """Texts of one width, written digit by digit for all times at once."""
    layout = (*_PARTS, (".", 3), ("", 3), ("", 3), ("", 3))[: len(parts)]
    width = sum(len(mark) + digits for mark, digits in layout)
    characters = np.empty((parts.shape[1], width), np.uint8)
    place = 0
    for numbers, (mark, digits) in zip(parts, layout):
        if mark:
            characters[:, place] = ord(mark)
        place += len(mark) + digits
        for power in range(digits):
            characters[:, place - 1 - power] = numbers // 10**power % 10 + ord("0")
    return characters.view(f"S{width}").ravel().astype(f"U{width}")


def read(texts: Any, raises: bool) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Read texts of times.

    Parameters
    ----------
    texts : array_like of str or bytes
    raises : bool
        Whether text that is no time is an error, not NaT.

    Returns
    -------
    given, seconds, picoseconds : numpy.ndarray
        Of the same shape. Seconds since 1970 in UTC; the lowest int64 stands for no time. A second
        60 is the second before it and 10**12 picoseconds more.

    Raises
    ------
    TypeError, ValueError
        For what is no text, and text that is no time.
    """
    given = np.asarray(texts)
    if given.dtype.kind == "O" and all(isinstance(item, (str, bytes)) for item in given.flat):
        given = given.astype(str if all(isinstance(i, str) for i in given.flat) else bytes)
    if given.size == 0:
        given = given.astype(str)
    if given.dtype.kind not in "SU":
        raise TypeError(f"values of dtype {given.dtype} are no text")
    encoded = np.char.encode(given, "ascii", "replace") if given.dtype.kind == "U" else given
    encoded = np.char.rstrip(np.char.strip(encoded), b"Zz").ravel()
    characters = _characters(encoded)
    leap = (characters[:, _SECOND] == (ord("6"), ord("0"))).all(1)
    characters[leap, _SECOND] = ord("5"), ord("9")
    picoseconds = _fraction(characters) + leap * 10**12
    seconds = _seconds(characters, given.ravel(), raises)
    return given, seconds.reshape(given.shape), picoseconds.reshape(given.shape)


def _characters(encoded: np.ndarray) -> np.ndarray:
    """The characters of each text in a row of its own, with NULs behind them."""
    width = max(encoded.dtype.itemsize, _POINT + 1 + _MOST_DIGITS)
    return encoded.astype(f"S{width}").view(np.uint8).reshape((encoded.size, width))


def _fraction(characters: np.ndarray) -> np.ndarray:
    """The digits behind the point, in picoseconds; finer ones are cut."""
    found = np.zeros(len(characters), np.int64)
    inside = characters[:, _POINT] == ord(".")
    for place in range(_MOST_DIGITS):
        digits = characters[:, _POINT + 1 + place].astype(np.int64) - ord("0")
        inside &= (digits >= 0) & (digits <= 9)
        found += np.where(inside, digits, 0) * 10 ** (_MOST_DIGITS - 1 - place)
    return found


def _seconds(characters: np.ndarray, given: np.ndarray, raises: bool) -> np.ndarray:
    texts = characters.view(f"S{characters.shape[1]}").ravel()
    none = (texts == b"") | (texts == b"NaT")
    digits = (characters[:, :4] >= ord("0")) & (characters[:, :4] <= ord("9"))
    irregular = ~(digits.all(1) & np.isin(characters[:, 4], (0, ord("-")))) & ~none
    if irregular.any() and raises:
        raise _no_time(given[irregular][0])
    texts = np.where(irregular, b"", texts)  # NumPy would read "now", and years of other lengths
    try:
        found = _converted(texts)
    except ValueError:
        found = np.array([_converted_alone(*pair, raises) for pair in zip(texts, given)])
    return np.where(irregular | none, _NAT, found)


def _converted(texts: Any) -> np.ndarray:
    with zones_allowed():
        return np.asarray(texts).astype("M8[s]").astype(np.int64)


def _converted_alone(text: bytes, given: Any, raises: bool) -> int:
    try:
        return int(_converted(text))
    except ValueError:
        if raises:
            raise _no_time(given) from None
        return _NAT


def _no_time(text: Any) -> ValueError:
    return ValueError(f"{text!s:.60} is no time in ISO 8601 such as 2020-02-28T12:30:00.25")


@contextmanager
def zones_allowed() -> Iterator[None]:
    """NumPy warns of time zones; it converts to UTC, as is wanted."""
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", UserWarning)
        yield
